#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace zentara {

/// A labelled serial queue with a synchronous entry: one block at a time, on the caller's thread.
class SerialQueue {
  public:
    explicit SerialQueue(std::string label) : label_(std::move(label)) {}

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Runs `block` when every earlier block has ended, and returns what it returns. Entering the
    /// queue from inside one of its own blocks could only wait for ever, so that is a fatal error
    /// that names the label.
    template <typename Block>
    decltype(auto) sync(Block&& block) {
        const Entry entry(*this);
        return std::forward<Block>(block)();
    }

    [[nodiscard]] const std::string& label() const noexcept { return label_; }

  private:
    class Entry {
      public:
        explicit Entry(SerialQueue& queue);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

      private:
        SerialQueue& queue_;
    };

    const std::string label_;
    std::mutex mutex_;
    std::atomic<std::thread::id> owner_{};
};

}  // namespace zentara
