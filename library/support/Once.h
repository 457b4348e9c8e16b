#pragma once

#include <atomic>

namespace zentara {

/// Lets one of several threads make something, and the others wait for it.
///
/// Like std::call_once, which however wakes waiters through the system each time, also when there
/// are none: two calls of the system for each event sent.
class Once {
  public:
    enum class State { idle, running, done };

    explicit Once(State state = State::idle) noexcept : state_(state) {}
    Once(const Once&) = delete;
    Once& operator=(const Once&) = delete;

    /// Returns when `make` has run, here or elsewhere. When it throws, the next one tries again.
    template <typename Make>
    void run(const Make& make) {
        auto state = state_.load(std::memory_order_acquire);
        while (state != State::done) {
            if (state == State::running) {
                state_.wait(state, std::memory_order_acquire);
                state = state_.load(std::memory_order_acquire);
            } else if (state_.compare_exchange_weak(state, State::running,
                                                    std::memory_order_acquire)) {
                Running running(*this);
                make();
                running.outcome = state = State::done;
            }
        }
    }

  private:
    struct Running {
        explicit Running(Once& running) noexcept : once(running) {}
        ~Running() {
            once.state_.store(outcome, std::memory_order_release);
            once.state_.notify_all();
        }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

        Once& once;
        State outcome = State::idle;
    };

    std::atomic<State> state_;
};

}  // namespace zentara
