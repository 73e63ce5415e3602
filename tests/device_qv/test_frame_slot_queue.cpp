// The slot queue between the packet loop and the frame waits.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "device_qv/frame_slot_queue_class.h"

namespace {

using qx::device_qv::frame_slot_queue_class;

TEST(frame_slot_queue, a_wake_ends_a_waiting_pop_as_a_time_out_and_keeps_the_items) {
    frame_slot_queue_class queue("pending");
    std::atomic<bool> returned{false};
    bool timed_out = false;
    unsigned char* popped = reinterpret_cast<unsigned char*>(1);
    std::thread waiter([&] {
        popped = queue.pop(3'600'000, timed_out);  // an hour: only a wake ends it
        returned = true;
    });
    // A wake before the pop begins to wait is not kept, so wake until it returns.
    while (!returned.load()) {
        queue.wake_waiters();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(popped, nullptr);
    EXPECT_TRUE(timed_out);

    // A wake takes nothing away: a slot pushed later is still popped.
    unsigned char slot = 0;
    queue.push(&slot);
    queue.wake_waiters();
    EXPECT_EQ(queue.pop(0, timed_out), &slot);
    EXPECT_FALSE(timed_out);
}

}  // namespace
