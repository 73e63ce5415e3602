#pragma once
// The reader's hold of a shared_mutex_class: shared for the scope, released
// on every way out. Writers use scoped_lock_class<shared_mutex_class>.

#include <shared_mutex>

#include "platform/annotated_shared_mutex_class.h"

namespace qx::platform {

class QX_SCOPED_CAPABILITY scoped_shared_lock_class {
  public:
    explicit scoped_shared_lock_class(shared_mutex_class& mutex) QX_ACQUIRE_SHARED(mutex)
        : native_lock(mutex.native()) {}
    ~scoped_shared_lock_class() QX_RELEASE() {}

    scoped_shared_lock_class(const scoped_shared_lock_class&) = delete;
    scoped_shared_lock_class& operator=(const scoped_shared_lock_class&) = delete;

  private:
    std::shared_lock<shared_mutex_class::native_type> native_lock;
};

}  // namespace qx::platform
