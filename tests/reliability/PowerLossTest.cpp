#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <set>

#include "dispatch/InternalEventStorageImpl.h"
#include "model/EventDecoder.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

/// The files of a folder, by name.
using Files = std::map<std::string, std::string>;

/// A file of events as the numbers of these; what is not a list, by its length.
std::string shown(const std::string& file) {
    const auto decoded = decodeEvents(file);
    return decoded.isList ? testing::PrintToString(numbersOf(decoded.events))
                          : std::to_string(file.size()) + " bytes";
}

/// What a loss of power can make of a file that was written and not flushed since, besides each of
/// its versions from the last flush on: gone, empty, cut short, with zeros at its end, and what was
/// in its place before in another file.
std::set<std::optional<std::string>> remnantsOf(const std::string& text) {
    const auto half = text.substr(0, text.size() / 2);
    return {std::nullopt, "", half, half + std::string((text.size() + 1) / 2, '\0'),
            "{\"not\":\"ours\"}"};
}

/// A folder as the device may hold it. What was flushed is there. Of names, what was done since the
/// folder was flushed is there up to some moment; of a file, anything may be.
class Device {
  public:
    explicit Device(std::filesystem::path folder) : folder_(std::move(folder)) {
        for (const auto& name : namesIn(folder_)) {
            names_.back()[name] = contents_.size();
            contents_.push_back({{contentsOf(folder_ / name)}, true});
        }
    }

    void take(const DiskStep& step) {
        if (step.call == DiskCall::flushFolder && step.path == folder_) {
            names_ = {names_.back()};
        }
        if (step.path.parent_path() != folder_) return;
        auto names = names_.back();
        const auto name = step.path.filename().string();
        if (step.call == DiskCall::open) {
            if (names.try_emplace(name, contents_.size()).second)
                contents_.push_back({{""}, false});
            open_[step.file] = names[name];
        } else if (step.call == DiskCall::write || step.call == DiskCall::truncate) {
            auto& content = contents_.at(open_.at(step.file));
            auto text = content.versions.back();
            const auto end = step.offset + step.bytes.size();
            if (step.call == DiskCall::truncate || end > text.size()) text.resize(end);
            text.replace(step.offset, step.bytes.size(), step.bytes);
            content.versions.push_back(std::move(text));
            content.isFlushed = false;
        } else if (step.call == DiskCall::flush) {
            auto& content = contents_.at(open_.at(step.file));
            content = {{content.versions.back()}, true};
        } else if (step.call == DiskCall::rename) {
            std::swap(names[name], names[step.target.filename().string()]);
            if (!step.exchanges) names.erase(name);
        } else if (step.call == DiskCall::remove) {
            names.erase(name);
        }
        if (names != names_.back()) names_.push_back(std::move(names));
    }

    /// All that may be left.
    [[nodiscard]] std::set<Files> outcomes() const {
        std::set<Files> all;
        for (const auto& names : names_) {
            std::set<Files> outcomes{{}};
            for (const auto& [name, number] : names) {
                std::set<Files> longer;
                for (const auto& content : contents_[number].outcomes(name)) {
                    for (auto outcome : outcomes) {
                        if (content) outcome[name] = *content;
                        longer.insert(std::move(outcome));
                    }
                }
                outcomes = std::move(longer);
            }
            all.merge(outcomes);
        }
        return all;
    }

  private:
    struct Content {
        std::vector<std::string> versions;  ///< since the last flush, or since there is the file
        bool isFlushed = false;             ///< the last of them, and it is the only one

        [[nodiscard]] std::set<std::optional<std::string>> outcomes(const std::string& name) const {
            if (isFlushed) return {versions.back()};
            // Nobody looks into a spare.
            if (name.ends_with("spare")) return {std::nullopt, versions.back()};
            auto all = remnantsOf(versions.back());
            all.insert(versions.begin(), versions.end());
            return all;
        }
    };

    const std::filesystem::path folder_;
    std::vector<Content> contents_;
    std::map<std::uint64_t, std::size_t> open_;
    std::vector<std::map<std::string, std::size_t>> names_{{}};  // since the folder was flushed
};

/// One history of a queue, and all that a loss of power at any moment of it can leave.
class History {
  public:
    /// The queue begins with these files. `lists` are those that a loss of power right now may
    /// bring back.
    History(const Files& files, std::vector<std::string> lists) : lists_(std::move(lists)) {
        for (const auto& [name, bytes] : files)
            writeTo(host_.file(name), bytes);
        device_.emplace(host_.documents());
        disk_.watch([this](const DiskStep& step) {
            device_->take(step);
            note();
            if (step.call == DiskCall::flush && !inTheMiddle_.empty()) {
                const auto work = std::move(inTheMiddle_.front());
                inTheMiddle_.pop_front();
                work();
            }
        });
    }

    void run() {
        note();
        InternalEventStorageImpl store(
            "queue", std::chrono::seconds(10),
            [this](auto, std::function<void()> work) { background_.push_back(std::move(work)); });
        store.recover();
        EventList list(store.load().records);
        std::int64_t last = 50;
        const auto save = [&] {
            lists_.push_back(fileOf(list.events()));
            EXPECT_EQ(store.save(list), nullptr);
        };
        const auto append = [&] {
            list.append(sampleEvent(++last));
            save();
        };
        const auto take = [&] {
            auto taken = list.takeFront(2);
            save();
            return taken;
        };
        append();
        checkpoint();
        append();
        const auto batch = take();
        append();
        checkpoint();
        append();
        inTheMiddle_ = {append, [&] { take(); }, append};
        checkpoint();
        list.insertAtFront(batch);
        save();
        append();
        checkpoint();
        for (int i = 0; i < 3; ++i) {
            // A list that is full.
            list.dropFront(1);
            append();
            checkpoint();
        }
        while (!list.empty())
            take();
        append();
    }

    /// Lets a new process find each thing that may be left.
    void checkWhatComesBack() {
        disk_.watch(nullptr);
        ASSERT_GT(outcomes_.size(), 100U) << "the calls of the system go unseen";
        std::filesystem::remove_all(host_.documents());
        for (const auto& [files, wanted] : outcomes_) {
            std::string left;
            for (const auto& [name, bytes] : files) {
                writeTo(host_.file(name), bytes);
                left += name + ": " + shown(bytes) + "\n";
            }
            InternalEventStorageImpl store("queue", std::chrono::seconds(10), [](auto, auto) {});
            store.recover();
            EventList list(store.load().records);
            const auto text = fileOf(list.events());
            for (const auto& [oldest, newest] : wanted) {
                ASSERT_TRUE(std::any_of(&lists_[oldest], &lists_[newest] + 1,
                                        [&text](const auto& one) { return one == text; }))
                    << left << "must bring back one from " << shown(lists_[oldest]) << " on to "
                    << shown(lists_[newest]) << " but gives " << shown(text);
            }
            list.append(sampleEvent(99));
            ASSERT_EQ(store.save(list), nullptr);
            EXPECT_EQ(contentsOf(host_.file("queue")), fileOf(list.events()));
            std::filesystem::remove_all(host_.documents());
        }
    }

  private:
    /// After it, no loss brings back what is older than the list that was there at its beginning.
    void checkpoint() {
        const auto flushed = lists_.size() - 1;
        const auto work = std::exchange(background_, {});
        for (const auto& task : work)
            task();
        oldest_ = flushed;
        note();
    }

    void note() {
        for (auto& files : device_->outcomes())
            outcomes_[files].emplace(oldest_, lists_.size() - 1);
    }

    TestHost host_;
    FaultyDisk disk_{host_.documents()};
    std::optional<Device> device_;
    std::vector<std::string> lists_;  // all that were saved
    std::size_t oldest_ = 0;          // of those that may come back
    std::deque<std::function<void()>> background_;
    std::deque<std::function<void()>> inTheMiddle_;  // of a checkpoint, one at each flush
    /// Each with the oldest and the newest list that it may bring back, as they were when it was
    /// possible.
    std::map<Files, std::set<std::pair<std::size_t, std::size_t>>> outcomes_;
};

TEST(PowerLossTest, AWholeListComesBack) {
    const auto older = fileOf(sampleEvents(11, 3));
    const auto newer = fileOf(sampleEvents(11, 4));
    struct Case {
        const char* name;
        Files files;
        std::vector<std::string> lists;
    };
    const Case cases[] = {
        {"nothing", {}, {"[]"}},
        {"a list and an older checkpoint",
         {{"queue", newer}, {".queue.checkpoint", older}},
         {older, newer}},
        {"a torn list", {{"queue", "[{"}, {".queue.checkpoint", older}}, {older}},
        {"no list", {{".queue.checkpoint", older}, {".queue.spare", newer}}, {older}},
    };
    for (const auto& [name, files, lists] : cases) {
        SCOPED_TRACE(name);
        History history(files, lists);
        history.run();
        // One line for each list that is set aside.
        testing::internal::CaptureStderr();
        history.checkWhatComesBack();
        static_cast<void>(testing::internal::GetCapturedStderr());
        if (HasFatalFailure()) return;
    }
}

}  // namespace
}  // namespace zentara
