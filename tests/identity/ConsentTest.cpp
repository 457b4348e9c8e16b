#include <gtest/gtest.h>

#include <cerrno>
#include <deque>

#include "dispatch/storage/FileStorage.h"
#include "identity/ConsentFile.h"
#include "identity/ZentaraIDManager.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/RecordingSession.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

TEST(ConsentFileTest, OnlyAMissingFileIsGranted) {
    const TestHost host;
    FaultyDisk disk;
    const ConsentFile file(disk);
    EXPECT_EQ(*file.load(), Consent::granted);
    for (const auto consent : {Consent::granted, Consent::pending, Consent::denied}) {
        writeTo(host.file("zentara-consent"), std::string(consentName(consent)));
        EXPECT_EQ(*file.load(), consent);
    }
    for (const auto* const text : {"", "grante", "granted\n"}) {
        writeTo(host.file("zentara-consent"), text);
        EXPECT_FALSE(file.load().ok()) << text;
    }
    writeTo(host.file("zentara-consent"), "granted");
    disk.fail({{{DiskCall::read}, EMFILE}});
    EXPECT_FALSE(file.load().ok());
    disk.fail({});
    std::filesystem::remove(host.file("zentara-consent"));
    std::filesystem::create_directory(host.file("zentara-consent"));
    EXPECT_FALSE(file.load().ok());
}

TEST(ConsentFileTest, SavedConsentIsOnTheDevice) {
    const TestHost host;
    FaultyDisk disk;
    const ConsentFile file(disk);
    std::vector<DiskCall> calls;
    disk.watch([&](const DiskStep& step) { calls.push_back(step.call); });
    ASSERT_TRUE(file.save(Consent::denied).ok());
    EXPECT_EQ(calls, (std::vector{DiskCall::open, DiskCall::write, DiskCall::flush,
                                  DiskCall::rename, DiskCall::flushFolder}));
    for (const auto call : {DiskCall::open, DiskCall::write, DiskCall::flush, DiskCall::rename}) {
        disk.fail({{{call}, EIO}});
        EXPECT_FALSE(file.save(Consent::granted).ok());
        EXPECT_EQ(contentsOf(host.file("zentara-consent")), "denied");
    }
}

class ForgottenIdentityTest : public testing::Test {
  protected:
    ForgottenIdentityTest() {
        session_.respond([this](const URLRequest&, URLSession::Completion done) {
            hanging_.push_back(std::move(done));
        });
    }
    std::optional<std::string> cookie() const {
        const auto headers = manager_->getHeaders({});
        const auto found = headers.find("Cookie");
        return found == headers.end() ? std::nullopt : std::optional(found->second);
    }
    void end(std::size_t index, const char* body) { hanging_.at(index)(URLResponse{200, body}); }

    TestHost host_;
    FaultyDisk disk_;
    ManualTicker ticker_;
    RecordingSession session_;
    std::deque<URLSession::Completion> hanging_;
    std::shared_ptr<ZentaraIDManager> manager_ = ZentaraIDManager::create(
        {"agent", std::make_unique<FileStorage<Token>>(disk_, "token"),
         std::make_unique<ManualTicker>(ticker_),
         RemoteService{ClientSettings::current,
                       [](auto) { return URL::parse("http://id.test").value(); },
                       RestClient(session_)},
         nullptr, TickerProtocol::Clock::now});
};

TEST_F(ForgottenIdentityTest, AnswersOfOlderFetchesAreIgnored) {
    ticker_.fire();
    end(0, R"({"qvn_uid":"t1","qvn_uid_public":"p1","hsid":"h1"})");
    manager_->setLoggedUser(UserTokenType::externalId, "user");
    EXPECT_EQ(cookie(), "qvn_uid=t1;hsid=h1;");
    EXPECT_FALSE(ticker_.isRunning());
    std::vector<std::string> hsids;
    manager_->start([&](const std::string& hsid) { hsids.push_back(hsid); });
    writeTo(host_.file(".token.new"), "left by a kill");

    ASSERT_TRUE(manager_->forget().ok());
    EXPECT_EQ(hsids, std::vector<std::string>{""});
    EXPECT_EQ(manager_->getLoggedUser(), std::nullopt);
    EXPECT_EQ(namesIn(host_.documents()), std::set<std::string>());
    end(1, R"({"qvn_uid":"t2","qvn_uid_public":"p2","hsid":"h2"})");
    EXPECT_EQ(cookie(), std::nullopt);
    EXPECT_EQ(namesIn(host_.documents()), std::set<std::string>());
    EXPECT_EQ(ticker_.runningInterval(), 5.0);
    ticker_.fire();
    EXPECT_EQ(session_.header(2, "Cookie"), std::nullopt);
    end(2, R"({"qvn_uid":"t3","qvn_uid_public":"p3","hsid":"h3"})");
    EXPECT_EQ(cookie(), "qvn_uid=t3;hsid=h3;");

    disk_.fail({{{DiskCall::remove}, EPERM}});
    EXPECT_FALSE(manager_->forget().ok());
    EXPECT_EQ(cookie(), std::nullopt);
}

TEST_F(ForgottenIdentityTest, ClosedSessionIsNoFailure) {
    ticker_.fire();
    session_.close("consent is pending");
    hanging_.at(0)(Status(plainError("consent is pending")));
    ticker_.fire();
    std::vector<std::string> hsids;
    const auto note = [&](const std::string& hsid) {
        hsids.push_back(hsid);
    };
    manager_->start(note);
    EXPECT_EQ(hsids, std::vector<std::string>{""});
    EXPECT_EQ(session_.requests().size(), 1U);
    EXPECT_FALSE(isFailing(Component::identity));

    session_.open();
    manager_->start(note);
    manager_->stop();
    EXPECT_EQ(hsids, (std::vector<std::string>{"", ""}));
    manager_->resume();
    EXPECT_FALSE(ticker_.isRunning());
    manager_->start(note);
    EXPECT_EQ(session_.requests().size(), 2U);
    EXPECT_EQ(lastFailure(Component::identity).text, "");
}

}  // namespace
}  // namespace zentara
