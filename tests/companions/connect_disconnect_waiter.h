#pragma once
// One "connect_disconnect" wait on its own thread. Whether it has returned is
// read from the call's own result, so a test orders its checks by its own
// actions, never by a clock. Released however the test ends, so a failure
// never leaves the thread blocked.

#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <string>

namespace qx::test {

class connect_disconnect_waiter {
  public:
    connect_disconnect_waiter(std::function<int(char*)> wait, std::function<void()> release)
        : release_(std::move(release)),
          result_(std::async(std::launch::async, [this, wait = std::move(wait)] {
                      return wait(payload_.data()) == 0 ? std::string(payload_.data()) : "(failed)";
                  }).share()) {}
    ~connect_disconnect_waiter() {
        while (!returned_within(std::chrono::milliseconds(10))) release_();
    }
    connect_disconnect_waiter(const connect_disconnect_waiter&) = delete;
    connect_disconnect_waiter& operator=(const connect_disconnect_waiter&) = delete;

    // False while the call is blocked; a wait that should block and has
    // returned is a fault whatever the timing.
    bool has_returned() const { return returned_within(std::chrono::milliseconds(0)); }
    // The payload the call wrote once it returned, or "(blocked)" when it
    // never returns (a guard against a hang, not a measure of time).
    // @p repeat, when given, is done again until the call returns: for a
    // wake that reaches only a thread already inside the wait.
    std::string get_payload(const std::function<void()>& repeat = {}) {
        for (int attempt = 0; attempt < 1000; ++attempt) {
            if (repeat)
                repeat();
            if (returned_within(std::chrono::milliseconds(10)))
                return result_.get();
        }
        return "(blocked)";
    }

  private:
    bool returned_within(std::chrono::milliseconds limit) const {
        return result_.wait_for(limit) == std::future_status::ready;
    }

    std::function<void()> release_;
    std::array<char, 1024> payload_{};
    std::shared_future<std::string> result_;
};

}  // namespace qx::test
