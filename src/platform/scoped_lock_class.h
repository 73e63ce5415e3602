#pragma once
// The one way to hold an annotated mutex: locked for the scope, released on
// every way out. unlock() and lock() let a scope step out of the lock, for
// instance around a user callback, and the analysis follows both.

#include <mutex>

#include "platform/annotated_mutex_class.h"

namespace qx::platform {

template <typename Mutex>
class QX_SCOPED_CAPABILITY scoped_lock_class {
  public:
    explicit scoped_lock_class(Mutex& mutex) QX_ACQUIRE(mutex) : native_lock(mutex.native()) {}
    ~scoped_lock_class() QX_RELEASE() {}

    scoped_lock_class(const scoped_lock_class&) = delete;
    scoped_lock_class& operator=(const scoped_lock_class&) = delete;

    void unlock() QX_RELEASE() { native_lock.unlock(); }
    void lock() QX_ACQUIRE() { native_lock.lock(); }

    // For condition variables only.
    std::unique_lock<typename Mutex::native_type>& native() { return native_lock; }

  private:
    std::unique_lock<typename Mutex::native_type> native_lock;
};

}  // namespace qx::platform
