#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace zentara {

/// Holds an object that is never destroyed, without memory of its own. For what belongs to the
/// process: threads may use it while static objects are destroyed.
///
///     static NoDestructor<WorkerPool> pool;
///     return *pool;
template <typename T>
class NoDestructor {
  public:
    template <typename... Arguments>
    explicit NoDestructor(Arguments&&... arguments) {
        new (static_cast<void*>(storage_)) T(std::forward<Arguments>(arguments)...);
    }
    NoDestructor(const NoDestructor&) = delete;
    NoDestructor& operator=(const NoDestructor&) = delete;

    [[nodiscard]] T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }
    [[nodiscard]] T* operator->() noexcept { return &**this; }

  private:
    alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace zentara
