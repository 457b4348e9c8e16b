#pragma once

namespace zentara {

/// Marks a thread while it runs a callback of the host. Scopes nest.
class CallbackScope {
  public:
    CallbackScope() noexcept { ++depth(); }
    ~CallbackScope() { --depth(); }
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

    /// Whether the calling thread runs a callback of the host.
    [[nodiscard]] static bool isInside() noexcept { return depth() > 0; }

  private:
    [[nodiscard]] static int& depth() noexcept {
        static thread_local int depth = 0;
        return depth;
    }
};

}  // namespace zentara
