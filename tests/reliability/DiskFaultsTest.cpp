#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <map>

#include <zentara/ZentaraClient.h>
#include "facade/ZentaraClientBuilder.h"
#include "model/EventDecoder.h"
#include "support/ClientCalls.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/NoDestructor.h"
#include "support/Services.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

/// A fault of the disk that ends at some time.
struct Trouble {
    const char* name;
    std::vector<DiskFault> faults;
    /// Whether handlers report that events are not queued.
    enum class Told { always, never, maybe } told = Told::always;
    enum class Folder { there, gone, aFile } folder = Folder::there;
};

/// Never destroyed: the client uses it until the process ends.
FaultyDisk& lastingDisk() {
    static NoDestructor<std::deque<FaultyDisk>> disks;
    return disks->emplace_back();
}

/// A client on a disk that is faulty for a while.
class TroubledClient {
  public:
    TroubledClient(const Trouble& trouble, bool fromTheStart) : trouble_(trouble) {
        TestHost::useServer(services_.url());
        services_.eventStatus = 503;
        if (fromTheStart) begin();
        EXPECT_TRUE(valueFrom<ZentaraClientErrorRef>([this](auto report) {
            const auto readiness = std::make_shared<ReadinessRelay>(std::move(report));
            client_ = ZentaraClientBuilder::build(*ClientSettings::current(), readiness, disk_);
            ZentaraClient::setSharedClient(client_);
            readiness->open();
        }));
        EXPECT_EQ(fetchHsid(*client_), "session");
    }
    ~TroubledClient() { resetClient(); }

    void run() {
        using Told = Trouble::Told;
        if (!hasBegun_) {
            for (const bool isReady : {true, true, false})
                send(isReady, Told::never);
            begin();
        }
        for (const bool isReady : {true, true, false, true, false})
            send(isReady, trouble_.told);
        EXPECT_EQ(fetch(*client_), BackgroundFetchResult::failed);
        services_.eventStatus = 200;
        EXPECT_EQ(fetch(*client_), BackgroundFetchResult::newData);
        services_.eventStatus = 503;
        EXPECT_EQ(fetchHsid(*client_), "session");
        send(true, trouble_.told);

        // The fault ends while a batch is in flight. The next save removes that batch from the
        // list.
        services_.beforeAnswering([this] {
            end();
            send(true, Told::never);
            expectUndeliveredOnDisk();
            services_.beforeAnswering({});
        });
        EXPECT_EQ(fetch(*client_), BackgroundFetchResult::failed);
        expectUndeliveredOnDisk();

        services_.eventStatus = 200;
        drain(*client_);
        EXPECT_EQ(services_.accepted(), sent_);
        expectBalanced(ZentaraClient::statistics());
        // Failing calls are not repeated in a loop.
        EXPECT_LT(disk_.failures(), 1000U);
        EXPECT_EQ(fetchHsid(*client_), "session");
        using testing::HasSubstr;
        EXPECT_THAT(contentsOf(file("anonymous-token-storage")), HasSubstr("anon"));
        EXPECT_THAT(namesIn(file("").parent_path()),
                    testing::Each(Not(AnyOf(HasSubstr(".new"), HasSubstr(".unre")))));
    }

  private:
    /// Without a descriptor for the claim the client uses a folder of its own.
    [[nodiscard]] std::filesystem::path file(const std::string& name) const {
        const auto documents = host_.documents();
        if (!std::filesystem::is_directory(documents)) return documents / name;
        for (const auto& folder : namesIn(documents)) {
            if (folder.starts_with("process-")) return documents / folder / name;
        }
        return documents / name;
    }

    void begin() {
        hasBegun_ = true;
        disk_.fail(trouble_.faults);
        if (trouble_.folder == Trouble::Folder::there) return;
        const bool isFile = trouble_.folder == Trouble::Folder::aFile;
        std::error_code error;
        // A worker may write there at the same time.
        do {
            std::filesystem::remove_all(host_.documents(), error);
            if (isFile) writeTo(host_.documents(), "");
        } while (error || (isFile && !std::filesystem::is_regular_file(host_.documents())));
    }
    void end() {
        disk_.fail({});
        if (trouble_.folder == Trouble::Folder::aFile) std::filesystem::remove(host_.documents());
    }

    void send(bool isReady, Trouble::Told told) {
        ZentaraClient::setIsReady(isReady);
        sent_[++last_] = 1;
        std::string outcome = "queued";
        client_->send("any", "1", "t", "u", "r", {{"n", last_}, {"text", std::string(5000, 'x')}},
                      std::nullopt, [&](const EventRef&, const ZentaraClientErrorRef& error) {
                          if (error) outcome = error->what();
                      });
        const std::string kept =
            isReady ? "queued" : "Zentara Client is not Ready! Event queued to be sent later: any.";
        const std::string lost =
            isReady ? "Event Not Queued" : "Zentara Client is not Ready! Event not queued: any.";
        EXPECT_TRUE(outcome == kept ? told != Trouble::Told::always
                                    : outcome == lost && told != Trouble::Told::never)
            << outcome;
        const auto list = file("events-storage");
        EXPECT_TRUE(!std::filesystem::exists(list) || decodeEvents(contentsOf(list)).isList);
    }

    /// A process that starts after a kill at this moment finds all undelivered events.
    void expectUndeliveredOnDisk() const {
        const auto accepted = services_.accepted();
        auto rest = sent_;
        std::erase_if(rest, [&](const auto& event) { return accepted.contains(event.first); });
        std::map<std::int64_t, int> waiting;
        for (const auto* name :
             {"events-storage", ".events-storage.under-way", "unvalidated-events-storage"}) {
            for (const auto& event : decodeEvents(contentsOf(file(name))).events)
                waiting[event.properties().at("n").integer()] = 1;
        }
        EXPECT_EQ(waiting, rest);
    }

    const Trouble& trouble_;
    TestHost host_;
    FaultyDisk& disk_ = lastingDisk();
    Services services_;
    std::shared_ptr<ZentaraClient> client_;
    bool hasBegun_ = false;
    std::int64_t last_ = 0;
    std::map<std::int64_t, int> sent_;  // each once
};

TEST(DiskFaultsTest, FailedSaveIsReportedAndRetried) {
    using enum DiskCall;
    using enum Trouble::Told;
    using enum Trouble::Folder;
    const Trouble troubles[] = {
        {"full", {{{write}, ENOSPC}}},
        {"read-only", {{{open, write, truncate, rename, remove}, EROFS}}},
        {"no renaming", {{{rename}, EIO}}},
        {"no flushing", {{{flush, flushFolder}, EIO}}, never},
        {"out of descriptors", {{{open}, EMFILE}}, maybe},
        {"every third call fails", {{{open, write, truncate, rename, flush}, EIO, 3}}, maybe},
        {"no keeping of batches", {{{open, write, rename, remove}, EIO, 1, "under-way"}}, never},
        {"the folder is gone", {}, never, gone},
        {"a file in place of the folder", {}, always, aFile},
    };
    // With a sink nothing is printed.
    const auto lines = std::make_shared<Signal>();
    ZentaraClient::setLogSink(LogLevel::info, [lines](const LogLine&) { lines->notify(); });
    for (const auto& trouble : troubles) {
        for (const bool fromTheStart : {false, true}) {
            SCOPED_TRACE(std::string(trouble.name) + (fromTheStart ? ", from the start" : ""));
            testing::internal::CaptureStdout();
            testing::internal::CaptureStderr();
            TroubledClient(trouble, fromTheStart).run();
            EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        }
    }
    EXPECT_TRUE(lines->waitFor(std::size(troubles)));
    ZentaraClient::setLogSink(LogLevel::info, nullptr);
}

}  // namespace
}  // namespace zentara
