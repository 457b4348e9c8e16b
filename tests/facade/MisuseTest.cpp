// What each call answers where it cannot do its work: a row for each call, a column for each wrong
// use.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "facade/ZentaraClientAccess.h"
#include "support/ClientCalls.h"
#include "support/Services.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using namespace std::chrono_literals;

std::string text(const FlushResult& result) {
    return std::to_string(static_cast<int>(result.outcome)) + " " + result.lastFailure;
}

std::string text(const ZentaraClientErrorRef& error) {
    return error ? error->what() : "done";
}

/// What a callback is given, "throws", or "nothing" when the callback was not called.
template <typename Value, typename Call>
std::string answer(const Call& call, const std::function<std::string(const Value&)>& format) {
    const auto values = std::make_shared<Mailbox<std::string>>();
    try {
        call([values, format](const Value& value) { values->put(format(value)); });
    } catch (const ZentaraClientNotConfiguredError&) {
        return "throws";
    }
    return values->waitFor(0, 300ms).value_or("nothing");
}

template <typename Call>
std::string ended(const Call& call) {
    try {
        call();
        return "done";
    } catch (const ZentaraClientNotConfiguredError&) {
        return "throws";
    }
}

struct Row {
    const char* name;
    std::function<std::string(ZentaraClient&)> call;
    const char* beforeSettings;
    const char* inCallback;
    const char* afterShutdown;
    const char* inForkedChild;
};

constexpr const char* notInitialized = "Zentara Client not initialized!";
constexpr const char* notQueued = "Event Not Queued";
constexpr const char* shutDown = "Event not queued: the client is shut down";
constexpr const char* noSchemas = "Zentara client can not get schemas";

const std::vector<Row>& rows() {
    static const std::vector<Row> all{
        {"send",
         [](ZentaraClient& client) {
             return answer<ZentaraClientErrorRef>(
                 [&](auto done) {
                     client.send({.schemaId = "any", .schemaVersion = "1"},
                                 [done](const auto&, const auto& error) { done(error); });
                 },
                 [](const auto& error) { return text(error); });
         },
         notInitialized, "done", shutDown, notQueued},
        {"send without a handler",
         [](ZentaraClient& client) {
             return ended([&] { client.send({.schemaId = "any", .schemaVersion = "1"}); });
         },
         "done", "done", "done", "done"},
        {"send of null",
         [](ZentaraClient& client) {
             return answer<ZentaraClientErrorRef>(
                 [&](auto done) {
                     client.send(EventRef(),
                                 [done](const auto&, const auto& error) { done(error); });
                     client.send({nullptr, nullptr}, std::nullopt,
                                 [done](const auto&, const auto& error) { done(error); });
                 },
                 [](const auto& error) { return text(error); });
         },
         "nothing", "nothing", "nothing", "nothing"},
        {"flush",
         [](ZentaraClient&) {
             return answer<FlushResult>([](auto done) { ZentaraClient::flush(200ms, done); },
                                        [](const auto& result) { return text(result); });
         },
         "1 there is no client", "0 ", "1 there is no client", "1 there is no client"},
        {"flush without a callback",
         [](ZentaraClient&) { return ended([] { ZentaraClient::flush(0ms, nullptr); }); }, "done",
         "done", "done", "done"},
        {"performFetch",
         [](ZentaraClient& client) {
             return answer<BackgroundFetchResult>(
                 [&](auto done) { client.performFetch(done); },
                 [](auto result) { return std::to_string(static_cast<int>(result)); });
         },
         "2", "1", "2", "2"},
        {"getAnonymousUser",
         [](ZentaraClient& client) {
             return answer<std::string>(
                 [&](auto done) {
                     client.getAnonymousUser(
                         [done](const auto& type, const auto&, const auto&) { done(type); });
                 },
                 [](const auto& type) { return type; });
         },
         "throws", "qvn_uid", "throws", ""},
        {"getHsid",
         [](ZentaraClient& client) {
             return answer<std::string>([&](auto done) { client.getHsid(done); },
                                        [](const auto& hsid) { return hsid; });
         },
         "throws", "session", "throws", ""},
        {"setLoggedUser",
         [](ZentaraClient&) {
             return ended([] { ZentaraClient::setLoggedUser(UserTokenType::guest, "token"); });
         },
         "throws", "done", "throws", "done"},
        {"removeLoggedUser",
         [](ZentaraClient&) { return ended([] { ZentaraClient::removeLoggedUser(); }); }, "throws",
         "done", "throws", "done"},
        {"validate",
         [](ZentaraClient& client) {
             return std::to_string(static_cast<int>(client.validate("any", "1", {}).outcome));
         },
         "3", "0", "3", "3"},
        {"setConsent",
         [](ZentaraClient&) {
             return std::to_string(static_cast<int>(ZentaraClient::setConsent(Consent::granted)));
         },
         "1", "1", "1", "0"},
        {"consent",
         [](ZentaraClient&) { return std::to_string(static_cast<int>(ZentaraClient::consent())); },
         "0", "0", "0", "0"},
        {"forgetUser",
         [](ZentaraClient&) {
             return std::to_string(static_cast<int>(ZentaraClient::forgetUser()));
         },
         "1", "1", "1", "0"},
        {"the functions of the host, null",
         [](ZentaraClient&) {
             return ended([] {
                 ZentaraClient::setLogSink(LogLevel::info, nullptr);
                 ZentaraClient::setBeforeQueue(nullptr);
                 ZentaraClient::setGlobalProperties({});
                 ZentaraClient::setDeliveryObserver(nullptr);
                 ZentaraClient::setFailFast(false);
                 ZentaraClient::setSessionTimeout(0s);
             });
         },
         "done", "done", "done", "done"},
        {"pause, resume, retry",
         [](ZentaraClient&) {
             return ended([] {
                 ZentaraClient::pauseDelivery();
                 ZentaraClient::resumeDelivery();
                 ZentaraClient::retryRefused();
             });
         },
         "done", "done", "done", "done"},
        {"context and advertising ids",
         [](ZentaraClient& client) {
             return ended([&] {
                 client.newContextId();
                 static_cast<void>(client.getContextId());
                 client.setAdvertisingId("id");
                 client.removeAdvertisingId();
             });
         },
         "done", "done", "done", "done"},
        {"statistics",
         [](ZentaraClient&) { return std::to_string(ZentaraClient::statistics().evicted); }, "0",
         "0", "0", "0"},
        {"get",
         [](ZentaraClient&) {
             return answer<ZentaraClientErrorRef>(
                 [](auto done) { static_cast<void>(ZentaraClient::get(done)); },
                 [](const auto& error) { return text(error); });
         },
         "throws", "done", "done", noSchemas},
        // Last: it ends the client.
        {"shutdown", [](ZentaraClient&) { return text(ZentaraClient::shutdown(200ms)); }, "0 ",
         "3 shutdown was called by a callback", "0 ",
         "3 this process was forked off from one that uses the library"},
    };
    return all;
}

/// A line for each call whose answer is not the one of its column.
std::string wrongAnswers(ZentaraClient& client, const char* Row::*column) {
    std::string wrong;
    for (const auto& row : rows()) {
        const auto given = row.call(client);
        if (given != row.*column) {
            wrong += std::string(row.name) + ": \"" + given + "\", not \"" + row.*column + "\"\n";
        }
    }
    return wrong;
}

class MisuseTest : public testing::Test {
  protected:
    MisuseTest() {
        resetClient();
        TestHost::useServer(services_.url());
    }
    ~MisuseTest() override { ZentaraClient::shutdown(0ms); }

    TestHost host_;
    Services services_;
};

TEST_F(MisuseTest, BeforeSettings) {
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_EQ(wrongAnswers(*ZentaraClientAccess::makePlain(), &Row::beforeSettings), "");
}

TEST_F(MisuseTest, InCallback) {
    const auto client = getClient();
    ASSERT_TRUE(fetchHsid(*client));
    std::string wrong = "not called";
    client->send({.schemaId = "any", .schemaVersion = "1"}, [&](const auto&, const auto&) {
        drain(*client);
        wrong = wrongAnswers(*client, &Row::inCallback);
    });
    EXPECT_EQ(wrong, "");
}

TEST_F(MisuseTest, AfterShutdown) {
    const auto client = getClient();
    EXPECT_EQ(text(ZentaraClient::shutdown(generousTimeout)), "0 ");
    EXPECT_EQ(wrongAnswers(*client, &Row::afterShutdown), "");
}

TEST_F(MisuseTest, InForkedChild) {
    const auto client = getClient();
    // Forks while no thread works: the child uses the allocator.
    EXPECT_TRUE(fetchHsid(*client));
    int channel[2];
    ASSERT_EQ(::pipe(channel), 0);
    const auto child = ::fork();
    if (child == 0) {
        const auto wrong = wrongAnswers(*client, &Row::inForkedChild);
        const auto written = ::write(channel[1], wrong.data(), wrong.size());
        ::_exit(written == static_cast<ssize_t>(wrong.size()) ? 0 : 1);
    }
    ::close(channel[1]);
    std::string wrong;
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(channel[0], bytes, sizeof bytes)) > 0;)
        wrong.append(bytes, static_cast<std::size_t>(count));
    ::close(channel[0]);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(wrong, "");
}

}  // namespace
}  // namespace zentara
