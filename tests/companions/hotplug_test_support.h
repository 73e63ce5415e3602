#pragma once
// The hot-plug monitor library loaded as the kit loads it; its subscribers
// in the tests are hotplug_recorder::on_monitor_event.

#include "quendral_vko_device_module.h"
#include "support/hotplug_recorder.h"
#include "support/loaded_library.h"
#include "support/test_platform.h"

namespace qx::test {

struct hotplug_monitor_library {
    loaded_library library{library_path(QX_TEST_LIB_DIR, "quendral_vko_usb_hotplug_monitor")};
    qx_hotplug_open_t open_monitor = library.find_function<qx_hotplug_open_t>("open");
    qx_hotplug_close_t close_monitor = library.find_function<qx_hotplug_close_t>("close");
    qx_hotplug_event_subscribe_t subscribe =
        library.find_function<qx_hotplug_event_subscribe_t>("hotplug_event_subscribe");

    // Leaves the process-wide monitor closed for the next test.
    ~hotplug_monitor_library() {
        while (close_monitor() == 0) {
        }
    }
};

}  // namespace qx::test
