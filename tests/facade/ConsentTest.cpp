#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <random>

#include "facade/ClientLifecycle.h"
#include "facade/ZentaraClientBuilder.h"
#include "support/ChildProcess.h"
#include "support/ClientCalls.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using testing::IsEmpty;
using Names = std::set<std::string>;

const Names afterDenial{".zentara-lock", "zentara-consent"};
constexpr const char* denied = "Event not queued: consent is denied";

class ConsentTest : public testing::Test {
  protected:
    ConsentTest() {
        resetClient();
        server_.respond([this](const RecordedRequest& request) { return answer(request); });
        TestHost::useServer(server_.url());
        // Timers that fire once: only what begins at once is seen.
        auto settings = std::make_shared<ClientSettings>(*ClientSettings::current());
        settings->dispatchInterval = settings->schemasRefreshInterval =
            settings->identityRefreshInterval = 1000;
        ClientSettingsAccess::setCurrent(std::move(settings));
    }
    ~ConsentTest() override {
        expectBalanced(ZentaraClient::statistics());
        mayAnswer_.notify();
        EXPECT_TRUE(ZentaraClient::setConsent(Consent::granted));
        resetClient();
    }

    TestAnswer answer(const RecordedRequest& request) {
        if (request.target == "/schemas") return {200, Services::table};
        if (request.target == "/event") {
            isAsked_.notify();
            EXPECT_TRUE(!isHanging_ || mayAnswer_.waitFor());
            return {};
        }
        // A request without a token gets a new identity.
        const bool isNew = !request.header("Cookie");
        const auto number = std::to_string(isNew ? ++identities_ : identities_.load());
        return {200, R"({"qvn_uid":"anon-)" + number + R"(","qvn_uid_public":"public-)" + number +
                         R"(","hsid":"session-)" + number + "\"}"};
    }

    static std::string send(ZentaraClient& client, const std::string& title = "secret-title") {
        return test::send(client, {.schemaId = "view",
                                   .schemaVersion = "1",
                                   .properties = {{"title", title}},
                                   .url = "https://secret-url"});
    }

    /// A client that has posted one event, has a batch in flight, and files with every secret.
    std::shared_ptr<ZentaraClient> fullClient() {
        auto client = getClient();
        EXPECT_EQ(fetchHsid(*client), "session-1");
        ZentaraClient::setLoggedUser(UserTokenType::externalId, "secret-user");
        EXPECT_EQ(send(*client), "queued");
        EXPECT_EQ(flush().delivered, 1);
        const auto envelope = *parseJSON(server_.requests().back().body);
        secrets_.emplace_back(envelope.at("zentaraClientUUID").string());
        secrets_.push_back(client->getContextId());
        isHanging_ = true;
        EXPECT_EQ(send(*client), "queued");
        client->performFetch([this](BackgroundFetchResult result) {
            EXPECT_EQ(result, BackgroundFetchResult::failed);
            fetchEnded_.notify();
        });
        EXPECT_TRUE(isAsked_.waitFor(2));
        EXPECT_EQ(send(*client), "queued");
        ZentaraClient::setIsReady(false);
        send(*client);
        ZentaraClient::setIsReady(true);
        for (const auto* name : {"events-storage.unreadable-5", "process-7/events-storage",
                                 "process-7/anonymous-token-storage", ".events-storage.new",
                                 "process-7/.unvalidated-events-storage.checkpoint"})
            writeTo(host_.file(name), "secret-title anon-1");
        EXPECT_GT(filesWithSecrets().size(), 6U);
        return client;
    }

    [[nodiscard]] std::vector<std::string> filesWithSecrets() const {
        std::vector<std::string> found;
        const auto all = host_.documents().parent_path();
        for (const auto& entry : std::filesystem::recursive_directory_iterator(all)) {
            if (!entry.is_regular_file()) continue;
            const auto contents = contentsOf(entry.path());
            for (const auto& secret : secrets_) {
                if (contents.find(secret) != std::string::npos)
                    found.push_back(entry.path().filename().string() + ": " + secret);
            }
        }
        return found;
    }
    /// The first of the requests from this one on brings no token; no post brings a secret.
    void expectAnotherUser(ZentaraClient& client, std::size_t request) {
        isHanging_ = false;
        EXPECT_EQ(fetchHsid(client), "session-2");
        EXPECT_EQ(server_.requests().at(request).header("Cookie"), std::nullopt);
        EXPECT_EQ(test::send(client, 1), "queued");
        EXPECT_EQ(flush().delivered, 1);
        const auto post = server_.requests().back();
        EXPECT_EQ(post.header("Cookie"), "qvn_uid=anon-2;hsid=session-2;");
        for (const auto& secret : secrets_)
            EXPECT_EQ(post.body.find(secret), std::string::npos) << secret;
    }
    [[nodiscard]] Names names() const { return namesIn(host_.documents()); }

    TestHost host_;
    Signal isAsked_;
    Signal mayAnswer_;
    Signal fetchEnded_;
    std::atomic<bool> isHanging_ = false;
    std::atomic<int> identities_ = 0;
    std::vector<std::string> secrets_{"secret-title", "secret-url", "secret-user",
                                      "anon-1",       "public-1",   "session-1"};
    TestServer server_;
};

TEST_F(ConsentTest, PendingMakesNoRequestGrantingDoes) {
    ASSERT_TRUE(ZentaraClient::setConsent(Consent::pending));
    const auto ready = std::make_shared<Mailbox<ZentaraClientErrorRef>>();
    const auto client = ZentaraClient::get([ready](const auto& error) { ready->put(error); });
    EXPECT_EQ(fetchHsid(*client), "");
    EXPECT_EQ(fetch(*client), BackgroundFetchResult::failed);
    send(*client);
    EXPECT_EQ(contentsOf(host_.file("zentara-consent")), "pending");
    EXPECT_THAT(server_.requests(), IsEmpty());
    EXPECT_THAT(ready->values(), IsEmpty());
    const auto books = ZentaraClient::statistics();
    EXPECT_EQ(books.schemasFailure.text + books.identityFailure.text, "");

    ASSERT_TRUE(ZentaraClient::setConsent(Consent::granted));
    EXPECT_EQ(ready->waitFor(), ZentaraClientErrorRef());
    EXPECT_EQ(flush().delivered, 1);
}

TEST_F(ConsentTest, DenialLeavesNoByteAnywhere) {
    const auto client = fullClient();
    const auto before = ZentaraClient::statistics();
    const auto requests = server_.requests().size();
    ASSERT_TRUE(ZentaraClient::setConsent(Consent::denied));
    EXPECT_EQ(names(), afterDenial);
    EXPECT_THAT(filesWithSecrets(), IsEmpty());
    EXPECT_TRUE(fetchEnded_.waitFor());
    mayAnswer_.notify();

    EXPECT_EQ(send(*client), denied);
    ZentaraClient::setIsReady(false);
    EXPECT_EQ(send(*client), denied);
    ZentaraClient::setIsReady(true);
    ZentaraClient::setLoggedUser(UserTokenType::externalId, "secret-user");
    EXPECT_EQ(fetchHsid(*client), "");
    EXPECT_EQ(fetch(*client), BackgroundFetchResult::failed);
    client->getAnonymousUser([](const auto& type, const auto& value, const auto& publicValue) {
        EXPECT_EQ(type + value + publicValue.value_or(""), "");
    });
    EXPECT_EQ(names(), afterDenial);
    EXPECT_EQ(server_.requests().size(), requests);
    const auto after = ZentaraClient::statistics();
    EXPECT_EQ(after.discarded - before.discarded, 2);
    EXPECT_EQ(after.heldBackDiscarded - before.heldBackDiscarded, 1);
    EXPECT_EQ(after.refusedConsent - before.refusedConsent, 2);

    ASSERT_TRUE(ZentaraClient::setConsent(Consent::granted));
    expectAnotherUser(*client, requests);
}

TEST_F(ConsentTest, ForgottenUserIsReplacedByANewOne) {
    const auto client = fullClient();
    const auto requests = server_.requests().size();
    ASSERT_TRUE(ZentaraClient::forgetUser());
    EXPECT_EQ(fetchHsid(*client), "session-2");
    EXPECT_TRUE(fetchEnded_.waitFor());
    EXPECT_EQ(names(), (Names{".zentara-lock", "anonymous-token-storage"}));
    EXPECT_THAT(filesWithSecrets(), IsEmpty());
    mayAnswer_.notify();
    expectAnotherUser(*client, requests);
}

/// After each call of the disk, a copy of the folder is what a kill leaves there.
TEST_F(ConsentTest, KilledDenialIsEndedByTheNextStart) {
    FaultyDisk disk;
    const auto start = [&] {
        const auto relay = std::make_shared<ReadinessRelay>(nullptr);
        ZentaraClient::setSharedClient(
            ZentaraClientBuilder::build(*ClientSettings::current(), relay, disk));
        relay->open();
    };
    start();
    ZentaraClient::setIsReady(true);
    for (int i = 0; i < 3; ++i)
        send(*ZentaraClient::get());
    std::vector<std::filesystem::path> moments;
    disk.watch([&, thread = std::this_thread::get_id()](const DiskStep&) {
        if (std::this_thread::get_id() != thread) return;
        moments.push_back(host_.documents().parent_path() / std::to_string(moments.size()));
        std::filesystem::create_directory(moments.back());
        // A checkpoint that is written meanwhile makes files and renames them.
        for (const auto& name : namesIn(host_.documents())) {
            std::error_code ignored;
            std::filesystem::copy_file(host_.file(name), moments.back() / name, ignored);
        }
    });
    EXPECT_TRUE(ClientLifecycle::shared().setConsent(Consent::denied, disk));
    disk.watch(nullptr);
    EXPECT_EQ(names(), afterDenial);
    ASSERT_GT(moments.size(), 8U);
    int granted = 0;
    for (const auto& moment : moments) {
        resetClient();
        HostApplication::setDocumentsDirectory(moment);
        start();
        if (ClientLifecycle::consentInForce() == Consent::granted) {
            ++granted;
            EXPECT_EQ(namesIn(moment).count("unvalidated-events-storage"), 1U);
        } else {
            EXPECT_EQ(namesIn(moment), afterDenial) << moment;
        }
    }
    EXPECT_EQ(granted, 3) << "until the file of the consent has its name";
    resetClient();
    HostApplication::setDocumentsDirectory(host_.documents());
}

TEST_F(ConsentTest, KilledProcessLeavesNothing) {
    std::mt19937 random(7);
    for (int run = 0; run < 12; ++run) {
        const TemporaryDirectory folder;
        writeTo(folder.path() / "zentara-schemas-storage",
                "[" + std::string(Services::table) + "]");
        ChildProcess host({ZENTARA_CONSENT_HOST, folder.path(), "deny"});
        ASSERT_EQ(host.readLine(), "denying");
        const auto moment =
            std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 4000);
        while (std::chrono::steady_clock::now() < moment)
            std::this_thread::yield();
        host.signal(SIGKILL);
        host.wait();
        EXPECT_EQ(ChildProcess({ZENTARA_CONSENT_HOST, folder.path(), "start"}).wait(), 0);
        auto left = namesIn(folder.path());
        left.erase("zentara-schemas-storage");
        left.erase("user-defaults.json");
        if (contentsOf(folder.path() / "zentara-consent") == "denied")
            EXPECT_EQ(left, afterDenial);
        else
            EXPECT_EQ(left.count("events-storage"), 1U);
    }
}

TEST_F(ConsentTest, FailedRemovalIsReportedAndRepeated) {
    FaultyDisk disk;
    auto& lifecycle = ClientLifecycle::shared();
    send(*getClient());
    disk.fail({{{DiskCall::flush}, EIO, 1, "zentara-consent"}});
    EXPECT_FALSE(lifecycle.setConsent(Consent::pending, disk));
    EXPECT_EQ(ZentaraClient::consent(), Consent::pending) << "holds for this process";
    // Without a client that holds the system's files.
    writeTo(host_.file("process-7/events-storage"), "secret-title");
    disk.fail({{{DiskCall::remove}, EPERM, 1, "events-storage"}});
    EXPECT_FALSE(lifecycle.setConsent(Consent::denied, disk));
    EXPECT_EQ(names(), (Names{".zentara-lock", "zentara-consent", "process-7"}));
    resetClient();
    disk.fail({});
    EXPECT_TRUE(lifecycle.setConsent(Consent::denied, disk));
    EXPECT_EQ(names(), afterDenial);
}

TEST_F(ConsentTest, FilesGoWithoutAClientToo) {
    send(*getClient());
    resetClient();
    // The client lives until its first fetch has ended.
    EXPECT_TRUE(eventually([] { return ZentaraClient::statistics().restored == -1; }));
    const auto before = ZentaraClient::statistics();
    writeTo(host_.file("unvalidated-events-storage"), "damaged secret-title");
    ASSERT_TRUE(ZentaraClient::forgetUser());
    EXPECT_EQ(names(), Names{".zentara-lock"});
    EXPECT_EQ(ZentaraClient::statistics().restored, 0);
    EXPECT_EQ(ZentaraClient::statistics().discarded - before.discarded, 1);
}

}  // namespace
}  // namespace zentara
