#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sstream>

#include <zentara/ZentaraClient.h>
#include "dispatch/storage/QueueFiles.h"
#include "support/ClientCalls.h"
#include "support/FailureReporter.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/RawServer.h"
#include "support/SampleEvents.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/TestServer.h"

namespace zentara {
namespace {

using namespace test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// The lines that `run` prints on standard error.
std::vector<std::string> linesDuring(const std::function<void()>& run) {
    testing::internal::CaptureStderr();
    run();
    std::istringstream printed(testing::internal::GetCapturedStderr());
    std::vector<std::string> lines;
    for (std::string line; std::getline(printed, line);)
        lines.push_back(line);
    return lines;
}

class FailuresTest : public testing::Test {
  protected:
    FailuresTest() { resetClient(); }
    ~FailuresTest() override {
        resetClient();
        ZentaraEndpoints::use(endpoints_);
    }

    TestHost host_;
    const ZentaraEndpoints endpoints_ = ZentaraEndpoints::current();
};

TEST_F(FailuresTest, EachRequestNamesHostAndCauseOnce) {
    const auto answering = [](const std::string& status, const std::string& body) {
        return RawServer::answer("HTTP/1.1 " + status + " Some\r\nContent-Length: " +
                                 std::to_string(body.size()) + "\r\n\r\n" + body);
    };
    const TestAuthority authority;
    TestServer untrusted(TestAuthority().issue());
    TestServer misnamed(authority.issue({"elsewhere.test"}));
    RawServer refusing(answering("401", "secret"));
    RawServer garbage(answering("200", "<html>secret"));
    RawServer list(answering("200", "[\"secret\"]"));
    RawServer notHTTP(RawServer::answer("secret"));
    auto closed = std::make_unique<RawServer>(RawServer::silence());
    const auto closedURL = closed->url();
    closed.reset();
    const std::pair<URL, const char*> cases[] = {
        {refusing.url(), "unexpected HTTP status 401"},
        {garbage.url(), "JSON: "},
        {list.url(), "the body is not a JSON object"},
        {notHTTP.url(), "the answer is not an HTTP response"},
        {untrusted.url(), "SSL certificate problem"},
        {misnamed.url(), "subject name"},
        {URL::parse("http://nowhere.invalid").value(), "Could not resolve host: nowhere.invalid"},
        {closedURL, "connect to server (Connection refused)"},
    };
    for (const auto& [url, cause] : cases) {
        SCOPED_TRACE(cause);
        auto text = url.string();
        text.insert(text.find("//") + 2, "user:secret@");
        TestHost::useServer(URL::parse(text).value());
        auto endpoints = ZentaraEndpoints::current();
        endpoints.certificateAuthorityFile = authority.file();
        ZentaraEndpoints::use(endpoints);
        const auto lines = linesDuring([&] {
            const auto client = getClient();
            for (int i = 0; i < 2; ++i) {
                EXPECT_TRUE(fetchHsid(*client));
                EXPECT_EQ(fetch(*client), BackgroundFetchResult::failed);
            }
        });
        const auto request = "request to '" + url.host() + "' failed: ";
        const auto names = [&, expected = cause](const char* component) {
            return AllOf(StartsWith("ZentaraClient: " + std::string(component) + ": " + request),
                         HasSubstr(expected), Not(HasSubstr("secret")), Not(HasSubstr(" ms")));
        };
        EXPECT_THAT(lines, testing::UnorderedElementsAre(
                               names("schemas"), names("identity"),
                               "ZentaraClient: delivery: there is no identity yet"));
        const auto books = ZentaraClient::statistics();
        EXPECT_THAT(books.schemasFailure.text, AllOf(StartsWith(request), HasSubstr(cause)));
        EXPECT_EQ(books.schemasFailure.inARow, 1);
        EXPECT_THAT(books.identityFailure.text, AllOf(StartsWith(request), HasSubstr(cause)));
        EXPECT_GE(books.identityFailure.inARow, 2);
        EXPECT_EQ(books.deliveryFailure.text, "there is no identity yet");
        resetClient();
    }
}

TEST_F(FailuresTest, RecoveryIsPrintedOnce) {
    Services services;
    TestHost::useServer(services.url());
    services.idStatus = 502;
    const auto before = std::chrono::system_clock::now().time_since_epoch();
    const auto lines = linesDuring([&] {
        const auto client = getClient();
        EXPECT_TRUE(fetchHsid(*client));
        EXPECT_EQ(fetch(*client), BackgroundFetchResult::failed);
        services.idStatus = 200;
        EXPECT_TRUE(fetchHsid(*client));
        EXPECT_TRUE(fetchHsid(*client));
        EXPECT_EQ(fetch(*client), BackgroundFetchResult::noData);
        client->send("any", "1", "type", "url", "referer", {{"n", 7}});
        // The checkpoint is background work that must end before the folder is removed.
        const auto checkpoint = host_.file(".events-storage.checkpoint");
        EXPECT_TRUE(eventually([&] { return std::filesystem::exists(checkpoint); }));
        for (const int status : {413, 413, 500}) {
            services.eventStatus = status;
            EXPECT_EQ(fetch(*client), BackgroundFetchResult::failed);
        }
        EXPECT_EQ(ZentaraClient::statistics().deliveryFailure.inARow, 3);
        services.eventStatus = 200;
        EXPECT_EQ(fetch(*client), BackgroundFetchResult::newData);
        EXPECT_EQ(ZentaraClient::statistics().deliveryFailure.inARow, 0);
    });
    const std::string failure = ": request to 'localhost' failed: unexpected HTTP status ";
    EXPECT_THAT(lines, ElementsAre("ZentaraClient: identity" + failure + "502",
                                   "ZentaraClient: delivery: there is no identity yet",
                                   "ZentaraClient: identity: recovered",
                                   "ZentaraClient: delivery: recovered",
                                   "ZentaraClient: delivery" + failure + "413",
                                   "ZentaraClient: delivery" + failure + "500",
                                   "ZentaraClient: delivery: recovered"));
    const auto last = ZentaraClient::statistics().deliveryFailure;
    EXPECT_EQ(": " + last.text, failure + "500");
    EXPECT_EQ(last.inARow, 0);
    const std::chrono::milliseconds time(last.time);
    EXPECT_LE(std::chrono::duration_cast<std::chrono::milliseconds>(before), time);
    EXPECT_LE(time, std::chrono::system_clock::now().time_since_epoch());
}

TEST_F(FailuresTest, CauseSharedByFilesIsPrintedOnce) {
    std::function<void()> checkpoint;
    const auto keep = [&](auto, std::function<void()> work) {
        checkpoint = std::move(work);
    };
    const auto documents = host_.documents().string();
    const std::string broken = "broken disk: Input/output error";
    const std::pair<std::vector<DiskFault>, std::string> cases[] = {
        {{{{DiskCall::write}, ENOSPC}}, "broken disk: No space left on device"},
        {{{{DiskCall::open}, EROFS}}, "broken disk: Read-only file system"},
    };
    for (const auto& [faults, text] : cases) {
        SCOPED_TRACE(text);
        std::filesystem::remove_all(documents);
        FaultyDisk disk;
        const auto store =
            InternalEventStorageImpl::create(disk, "queue", std::chrono::seconds(10), keep);
        InFlightFile inFlight(QueueFiles(disk, "queue"));
        EventList list(sampleEvents(1, 1));
        const auto saveAll = [&] {
            const bool saved = store->save(list).ok();
            const bool kept = inFlight.save(list.events()).ok();
            if (checkpoint) std::exchange(checkpoint, nullptr)();
            list.append(sampleEvent(2));
            return saved && kept;
        };
        const auto lines = linesDuring([&, trouble = faults] {
            disk.fail(trouble);
            EXPECT_FALSE(saveAll());
            EXPECT_FALSE(saveAll());
            disk.fail({});
            EXPECT_TRUE(saveAll());
            disk.fail({{{DiskCall::write}, EIO, 1, "under-way"}});
            EXPECT_FALSE(saveAll()) << "only the file of events in flight fails";
            disk.fail({{{DiskCall::flush}, EIO}});
            EXPECT_TRUE(saveAll()) << "only the checkpoint fails";
            EXPECT_TRUE(isFailing(Component::storage));
            disk.fail({});
            EXPECT_TRUE(saveAll());
            EXPECT_TRUE(saveAll());
        });
        const std::string storage = "ZentaraClient: storage: ";
        EXPECT_THAT(lines,
                    ElementsAre(storage + "queue: " + text, storage + "recovered",
                                storage + ".queue.under-way: " + broken, storage + "recovered",
                                storage + ".queue.checkpoint: " + broken, storage + "recovered"));
    }
}

}  // namespace
}  // namespace zentara
