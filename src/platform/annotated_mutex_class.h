#pragma once
// A standard mutex the thread-safety analysis knows as a capability. Members
// it guards carry QX_GUARDED_BY(<this mutex>); it is locked only through
// scoped_lock_class.

#include <mutex>

#include "platform/thread_safety_annotations.h"

namespace qx::platform {

template <typename Native>
class QX_CAPABILITY("mutex") annotated_mutex_class {
  public:
    using native_type = Native;

    void lock() QX_ACQUIRE() { native_mutex.lock(); }
    void unlock() QX_RELEASE() { native_mutex.unlock(); }

    // The standard mutex underneath, for the scoped lock and condition
    // variables only.
    Native& native() { return native_mutex; }

  private:
    Native native_mutex;
};

using mutex_class = annotated_mutex_class<std::mutex>;
using recursive_mutex_class = annotated_mutex_class<std::recursive_mutex>;

}  // namespace qx::platform
