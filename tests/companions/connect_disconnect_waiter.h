#pragma once
// One "connect_disconnect" wait on its own thread. Whether it has returned is
// a flag set only by that thread after the call, so a test orders its checks
// by its own actions, never by a clock. Released and joined however the test
// ends, so a failure never leaves the thread blocked.

#include <array>
#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>

namespace qx::test {

class connect_disconnect_waiter {
  public:
    connect_disconnect_waiter(std::function<int(char*)> wait, std::function<void()> release)
        : release_(std::move(release)) {
        payload_.fill('\0');
        std::promise<void> started;
        auto entered = started.get_future();
        thread_ = std::thread([this, wait = std::move(wait), started = std::move(started)]() mutable {
            started.set_value();
            const int result = wait(payload_.data());
            returned_ = true;
            finished_.set_value(result);
        });
        entered.wait();
    }
    ~connect_disconnect_waiter() {
        while (result_.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) release_();
        thread_.join();
    }
    connect_disconnect_waiter(const connect_disconnect_waiter&) = delete;
    connect_disconnect_waiter& operator=(const connect_disconnect_waiter&) = delete;

    // False while the call is blocked; a wait that should block and has
    // returned is a fault whatever the timing.
    bool has_returned() const { return returned_; }
    // The payload the call wrote once it returned, or "(blocked)" when it
    // never returns (a guard against a hang, not a measure of time).
    // @p repeat, when given, is done again until the call returns: for a
    // wake that reaches only a thread already inside the wait.
    std::string get_payload(const std::function<void()>& repeat = {}) {
        for (int attempt = 0; attempt < 1000; ++attempt) {
            if (repeat)
                repeat();
            if (result_.wait_for(std::chrono::milliseconds(10)) == std::future_status::ready)
                return result_.get() == 0 ? payload_.data() : "(failed)";
        }
        return "(blocked)";
    }

  private:
    std::function<void()> release_;
    std::array<char, 1024> payload_;
    std::atomic<bool> returned_{false};
    std::promise<int> finished_;
    std::shared_future<int> result_ = finished_.get_future().share();
    std::thread thread_;
};

}  // namespace qx::test
