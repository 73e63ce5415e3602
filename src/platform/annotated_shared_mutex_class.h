#pragma once
// A standard shared mutex the thread-safety analysis knows as a capability:
// writers hold it through scoped_lock_class, readers through
// scoped_shared_lock_class. Members it guards carry QX_GUARDED_BY and may be
// read under either hold, written only under the writer's.

#include <shared_mutex>

#include "platform/thread_safety_annotations.h"

namespace qx::platform {

class QX_CAPABILITY("mutex") shared_mutex_class {
  public:
    using native_type = std::shared_mutex;

    void lock() QX_ACQUIRE() { native_mutex.lock(); }
    void unlock() QX_RELEASE() { native_mutex.unlock(); }
    void lock_shared() QX_ACQUIRE_SHARED() { native_mutex.lock_shared(); }
    void unlock_shared() QX_RELEASE_SHARED() { native_mutex.unlock_shared(); }

    // The standard mutex underneath, for the scoped locks only.
    native_type& native() { return native_mutex; }

  private:
    native_type native_mutex;
};

}  // namespace qx::platform
