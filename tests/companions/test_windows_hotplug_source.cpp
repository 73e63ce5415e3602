// The Windows hot-plug source: the configuration manager's interface notices
// become arrivals and departures with the path enumeration lists (upper
// case) and the ids read from it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hotplug_event_dispatcher_class.h"
#include "hotplug_test_support.h"
#include "windows_hotplug_source_class.h"

namespace {

using qx::test::hotplug_recorder;

TEST(windows_hotplug_source, interface_notices_become_events_with_the_listed_path) {
    hotplug_recorder received;
    std::vector<std::string> expected;
    {
        qx::hotplug_event_dispatcher_class dispatcher;
        dispatcher.add_subscriber({0x2A7C, 0x6101, &hotplug_recorder::on_monitor_event, &received});
        qx::windows_hotplug_source_class source(dispatcher);
        const struct {
            bool arrived;
            const wchar_t* link;
            const char* delivered;  // null: no event for the subscriber
        } notices[] = {
            {true, L"\\\\?\\usb#vid_2a7c&pid_6101#qv1#{ae18aa60-7f6a-11d4-97dd-00010229b959}",
             "\\\\?\\USB#VID_2A7C&PID_6101#QV1#{AE18AA60-7F6A-11D4-97DD-00010229B959}"},
            {true, L"\\\\?\\usb#no_ids_here#{ae18aa60-7f6a-11d4-97dd-00010229b959}", nullptr},
            {true, L"\\\\?\\usb#vid_2a7c&pid_6117#other_product#{x}", nullptr},
            {true, nullptr, nullptr},
            {false, L"\\\\?\\USB#VID_2A7C&PID_6101#QV1#{X}", "\\\\?\\USB#VID_2A7C&PID_6101#QV1#{X}"},
        };
        for (const auto& notice : notices) {
            source.report_interface_change(notice.arrived, notice.link);
            if (notice.delivered != nullptr)
                expected.push_back((notice.arrived ? "arrival " : "departure ") +
                                   std::string(notice.delivered));
        }
        received.wait_for(expected.size());
    }
    // The dispatcher has stopped: nothing more can arrive.
    EXPECT_EQ(received.take_events(), expected);
}

}  // namespace
