#pragma once
// A condition variable over mutex_class. Predicates read guarded members, so
// they are written as lambdas annotated QX_REQUIRES(<the mutex>).

#include <chrono>
#include <condition_variable>

#include "platform/scoped_lock_class.h"

namespace qx::platform {

class condition_variable_class {
  public:
    void notify_one() { condition.notify_one(); }
    void notify_all() { condition.notify_all(); }

    template <typename Predicate>
    void wait(scoped_lock_class<mutex_class>& lock, Predicate ready) {
        condition.wait(lock.native(), ready);
    }

    // Returns what the predicate returns at the end: false means timed out.
    template <typename Rep, typename Period, typename Predicate>
    bool wait_for(scoped_lock_class<mutex_class>& lock, std::chrono::duration<Rep, Period> time_out,
                  Predicate ready) {
        return condition.wait_for(lock.native(), time_out, ready);
    }

    template <typename Clock, typename Duration, typename Predicate>
    bool wait_until(scoped_lock_class<mutex_class>& lock, std::chrono::time_point<Clock, Duration> deadline,
                    Predicate ready) {
        return condition.wait_until(lock.native(), deadline, ready);
    }

  private:
    std::condition_variable condition;
};

}  // namespace qx::platform
