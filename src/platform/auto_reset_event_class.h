#pragma once
// An auto-reset event: set() lets exactly one wait() through (or the next one
// to come); close() releases every waiter for good.

#include <condition_variable>
#include <mutex>

namespace qx::platform {

class auto_reset_event_class {
  public:
    void set() {
        std::lock_guard<std::mutex> guard(mutex);
        signalled = true;
        wake.notify_one();
    }

    // Blocks until the event is set (and resets it) or closed. Returns false
    // when it was closed.
    bool wait() {
        std::unique_lock<std::mutex> guard(mutex);
        wake.wait(guard, [&] { return signalled || closed; });
        if (closed)
            return false;
        signalled = false;
        return true;
    }

    void close() {
        std::lock_guard<std::mutex> guard(mutex);
        closed = true;
        wake.notify_all();
    }

  private:
    std::mutex mutex;
    std::condition_variable wake;
    bool signalled = false;  // guarded by mutex
    bool closed = false;     // guarded by mutex
};

}  // namespace qx::platform
