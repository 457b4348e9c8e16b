#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace zentara::test {

/// Long enough for a loaded machine under a sanitizer. Only a failing test waits this long.
inline constexpr std::chrono::seconds generousTimeout{30};

/// Values from other threads, in order of arrival. Must outlive those threads.
template <typename Value>
class Mailbox {
  public:
    void put(Value value) {
        const std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        changed_.notify_all();
    }

    /// Waits for the value at `index`; nothing after the time-out.
    [[nodiscard]] std::optional<Value> waitFor(
        std::size_t index = 0, std::chrono::milliseconds timeout = generousTimeout) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, timeout, [&] { return values_.size() > index; })) {
            return std::nullopt;
        }
        return values_[index];
    }

    [[nodiscard]] std::vector<Value> values() const {
        const std::lock_guard lock(mutex_);
        return values_;
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Value> values_;
};

/// The value that `start` passes to its callback; nothing after the time-out.
template <typename Value, typename Start>
std::optional<Value> valueFrom(const Start& start) {
    const auto values = std::make_shared<Mailbox<Value>>();
    start([values](const Value& value) { values->put(value); });
    return values->waitFor();
}

/// Counts calls from other threads and waits for enough of them. Must outlive those threads; share
/// it where that is not certain.
class Signal {
  public:
    void notify() { calls_.put({}); }

    /// Whether `count` calls of `notify` in all were seen before the time was up.
    [[nodiscard]] bool waitFor(std::size_t count = 1,
                               std::chrono::milliseconds timeout = generousTimeout) {
        return count == 0 || calls_.waitFor(count - 1, timeout).has_value();
    }

    [[nodiscard]] std::size_t count() const { return calls_.values().size(); }

  private:
    Mailbox<std::monostate> calls_;
};

/// Whether `condition` became true in time. For states without a signal.
template <typename Condition>
[[nodiscard]] bool eventually(const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + generousTimeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

/// Runs `work` on `count` threads at once, with the number of the thread.
template <typename Work>
void inThreads(int count, const Work& work) {
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back(work, number);
}

}  // namespace zentara::test
