#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <map>
#include <set>

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

/// The numbers of the events in a file, or the length of a file without a list.
std::string shown(const std::string& file) {
    const auto decoded = decodeEvents(file);
    return decoded.isList ? testing::PrintToString(numbersOf(decoded.events))
                          : std::to_string(file.size()) + " bytes";
}

/// What a loss of power can leave of a file that was written and not flushed, besides its versions
/// since the last flush: nothing, an empty file, its first half, that half with zeros behind it,
/// and the bytes of another file.
std::set<std::optional<std::string>> remnantsOf(const std::string& text) {
    const auto half = text.substr(0, text.size() / 2);
    return {std::nullopt, "", half, half + std::string((text.size() + 1) / 2, '\0'),
            "{\"not\":\"ours\"}"};
}

/// The states of a folder that a loss of power can leave. Flushed contents are there. Changes of
/// names since the last flush of the folder are there up to some moment.
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
            const auto start = static_cast<std::size_t>(step.offset);
            const auto end = start + step.bytes.size();
            if (step.call == DiskCall::truncate || end > text.size()) text.resize(end);
            text.replace(start, step.bytes.size(), step.bytes);
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

    /// All possible states.
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
            // After a restart of the system the queue reads none of these.
            if (name.ends_with("boot") || name.ends_with("new")) return {std::nullopt};
            // These files are written once.
            if (name.ends_with("spare") || name.ends_with("under-way"))
                return {std::nullopt, versions.back()};
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

using EventNumbers = std::set<std::int64_t>;

/// `events` must hold each event once, unchanged, and all of `wanted`.
void expectEventsBack(const std::vector<InternalEvent>& events, const EventNumbers& wanted,
                      const std::string& left) {
    const auto numbers = numbersOf(events);
    const EventNumbers found(numbers.begin(), numbers.end());
    ASSERT_TRUE(found.size() == numbers.size() &&
                std::includes(found.begin(), found.end(), wanted.begin(), wanted.end()))
        << left << "must restore " << testing::PrintToString(wanted) << " but restores "
        << testing::PrintToString(numbers);
    for (const auto& event : events)
        ASSERT_EQ(event.jsonText(), sampleEvent(event.fields().zentaraActionSequence).jsonText())
            << left;
}

/// One history of a queue, and the states that a loss of power at any moment can leave.
class History {
  public:
    /// The queue starts with `files`, whose events `flushed` are on the device.
    History(const Files& files, EventNumbers flushed) : flushed_(std::move(flushed)) {
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
        const auto queue = openSampleQueue(counts_, disk_, "queue", [this](auto, auto work) {
            background_.push_back(std::move(work));
        });
        std::int64_t last = 50;
        accepted_ = flushed_;
        const auto append = [&] {
            accepted_.insert(++last);
            queue->add(sampleEvent(last), [](const auto& result) { EXPECT_TRUE(result.ok()); });
        };
        const auto settle = [&](const std::vector<InternalEvent>& batch) {
            for (const auto number : numbersOf(batch)) {
                accepted_.erase(number);
                flushed_.erase(number);
            }
            queue->settle(batch);
        };
        append();
        checkpoint();
        append();
        const auto batch = queue->take(2);
        append();
        checkpoint();
        append();
        const auto another = queue->take(2);
        inTheMiddle_ = {append, [&] { settle(another); }, append};
        checkpoint();
        queue->insert(batch);
        queue->save();
        append();
        checkpoint();
        const auto held = queue->take(2);
        append();
        checkpoint();
        settle(held);
        settle(queue->take(100));
        append();
    }

    /// Starts a new process on each possible state.
    void checkRestoredEvents() {
        disk_.watch(nullptr);
        ASSERT_GT(outcomes_.size(), 100U) << "the disk calls are not recorded";
        for (const auto& [files, wanted] : outcomes_) {
            std::filesystem::remove_all(host_.documents());
            std::string left;
            for (const auto& [name, bytes] : files) {
                writeTo(host_.file(name), bytes);
                left += name + ": " + shown(bytes) + "\n";
            }
            const auto queue = openSampleQueue(counts_, disk_);
            queue->add(sampleEvent(99), nullptr);
            const auto file = contentsOf(host_.file("queue"));
            const auto events = queue->take(100);
            ASSERT_EQ(file, fileOf(events)) << left;
            ASSERT_NO_FATAL_FAILURE(expectEventsBack(events, wanted, left));
        }
    }

  private:
    /// From now on, events that were accepted before must survive until they are settled.
    void checkpoint() {
        const auto before = accepted_;
        for (const auto& task : std::exchange(background_, {}))
            task();
        std::set_intersection(before.begin(), before.end(), accepted_.begin(), accepted_.end(),
                              std::inserter(flushed_, flushed_.end()));
        note();
    }

    void note() {
        for (auto& files : device_->outcomes())
            outcomes_[files].insert(flushed_.begin(), flushed_.end());
    }

    TestHost host_;
    FaultyDisk disk_;
    Ledger::Queue counts_;
    std::optional<Device> device_;
    EventNumbers accepted_;  // and not settled
    EventNumbers flushed_;   // of these
    std::deque<std::function<void()>> background_;
    std::deque<std::function<void()>> inTheMiddle_;  // of a checkpoint, one at each flush
    std::map<Files, EventNumbers> outcomes_;         // each with the events it must restore
};

TEST(PowerLossTest, FlushedEventsAreRestored) {
    const auto older = fileOf(sampleEvents(11, 3));
    const auto newer = fileOf(sampleEvents(11, 4));
    const std::pair<const char*, Files> cases[] = {
        {"nothing", {}},
        {"a list and an older checkpoint", {{"queue", newer}, {".queue.checkpoint", older}}},
        {"a torn list", {{"queue", "[{"}, {".queue.checkpoint", older}}},
        {"no list", {{".queue.checkpoint", older}, {".queue.spare", newer}}},
    };
    for (const auto& [name, files] : cases) {
        SCOPED_TRACE(name);
        History history(files, files.empty() ? EventNumbers() : EventNumbers{11, 12, 13});
        history.run();
        // Each list that is set aside prints a line.
        testing::internal::CaptureStderr();
        history.checkRestoredEvents();
        static_cast<void>(testing::internal::GetCapturedStderr());
        if (HasFatalFailure()) return;
    }
}

TEST(PowerLossTest, MixtureOfTwoListsIsDamaged) {
    constexpr std::int64_t count = 20;
    const auto flushed = fileOf(sampleEvents(11, count));
    const auto numbers = numbersOf(sampleEvents(11, count));
    const EventNumbers wanted(numbers.begin(), numbers.end());
    testing::internal::CaptureStderr();
    for (const auto& [left, added] : {std::pair{1, 1}, {3, 2}, {2, 5}, {19, 4}, {20, 6}, {5, 0}}) {
        const auto list = fileOf(sampleEvents(11 + left, count - left + added));
        // The smallest block of a device.
        for (std::size_t block = 512; block < std::max(list.size(), flushed.size()); block += 512) {
            for (const auto& [front, end] : {std::pair{list, flushed}, {flushed, list}}) {
                auto mixture = front.substr(0, std::min(block, end.size()));
                if (block < end.size()) mixture += end.substr(block);
                const TestHost host;
                writeTo(host.file("queue"), mixture);
                writeTo(host.file(".queue.checkpoint"), flushed);
                const auto files =
                    std::to_string(block) + " bytes of " + shown(front) + ", " + shown(end) + ": ";
                Ledger::Queue counts;
                FaultyDisk disk;
                disk.fail({{{DiskCall::rename}, EIO}});
                ASSERT_NO_FATAL_FAILURE(
                    expectEventsBack(openSampleQueue(counts, disk)->take(100), wanted, files));
                disk.fail({});
                ASSERT_NO_FATAL_FAILURE(
                    expectEventsBack(openSampleQueue(counts, disk)->take(100), wanted, files));
            }
        }
    }
    static_cast<void>(testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace zentara
