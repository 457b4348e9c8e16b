#pragma once

#include <mutex>
#include <utility>

// Clang's thread-safety analysis checks these; other compilers see nothing.
#if defined(__clang__)
#define ZENTARA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZENTARA_THREAD_ATTRIBUTE(x)
#endif

#define ZENTARA_GUARDED_BY(mutex) ZENTARA_THREAD_ATTRIBUTE(guarded_by(mutex))
#define ZENTARA_REQUIRES(mutex) ZENTARA_THREAD_ATTRIBUTE(requires_capability(mutex))
#define ZENTARA_EXCLUDES(mutex) ZENTARA_THREAD_ATTRIBUTE(locks_excluded(mutex))

namespace zentara {

/// A std::mutex that the thread-safety analysis knows.
class ZENTARA_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
  public:
    void lock() ZENTARA_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
    [[nodiscard]] bool try_lock() ZENTARA_THREAD_ATTRIBUTE(try_acquire_capability(true)) {
        return mutex_.try_lock();
    }
    void unlock() ZENTARA_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

/// Holds a Mutex, or whatever else can be locked, for the length of a scope.
template <typename Lockable>
class ZENTARA_THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
  public:
    explicit MutexLock(Lockable& lockable) ZENTARA_THREAD_ATTRIBUTE(acquire_capability(lockable))
        : lockable_(lockable) {
        lockable_.lock();
    }
    ~MutexLock() ZENTARA_THREAD_ATTRIBUTE(release_capability()) { lockable_.unlock(); }

    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Lockable& lockable_;
};

/// A value that any thread may read and replace.
template <typename Value>
class Guarded {
  public:
    Guarded() = default;
    explicit Guarded(Value value) : value_(std::move(value)) {}

    [[nodiscard]] Value get() const {
        const MutexLock lock(mutex_);
        return value_;
    }
    void set(Value value) {
        const MutexLock lock(mutex_);
        std::swap(value_, value);
    }

  private:
    mutable Mutex mutex_;
    Value value_ ZENTARA_GUARDED_BY(mutex_){};
};

}  // namespace zentara
