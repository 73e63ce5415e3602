#pragma once
// An auto-reset event: set() lets exactly one wait() through (or the next one
// to come); close() releases every waiter for good.

#include "platform/condition_variable_class.h"

namespace qx::platform {

class auto_reset_event_class {
  public:
    void set() QX_EXCLUDES(mutex) {
        scoped_lock_class guard(mutex);
        signalled = true;
        wake.notify_one();
    }

    // Blocks until the event is set (and resets it) or closed. Returns false
    // when it was closed.
    bool wait() QX_EXCLUDES(mutex) {
        scoped_lock_class guard(mutex);
        wake.wait(guard, [&]() QX_REQUIRES(mutex) { return signalled || closed; });
        if (closed)
            return false;
        signalled = false;
        return true;
    }

    void close() QX_EXCLUDES(mutex) {
        scoped_lock_class guard(mutex);
        closed = true;
        wake.notify_all();
    }

  private:
    mutex_class mutex;
    condition_variable_class wake;
    bool signalled QX_GUARDED_BY(mutex) = false;
    bool closed QX_GUARDED_BY(mutex) = false;
};

}  // namespace qx::platform
