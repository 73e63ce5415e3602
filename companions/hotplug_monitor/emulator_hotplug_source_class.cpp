#include "emulator_hotplug_source_class.h"

#if defined(QX_HAVE_EMULATOR)
#include "quendral_vko_camera_emulator.h"
#endif

namespace qx {

emulator_hotplug_source_class::emulator_hotplug_source_class(hotplug_event_dispatcher_class& dispatcher)
    : dispatcher_(dispatcher) {
#if defined(QX_HAVE_EMULATOR)
    listener_id_ = qx_emu_add_hotplug_listener(&emulator_hotplug_source_class::report_camera_change, this);
#endif
}

emulator_hotplug_source_class::~emulator_hotplug_source_class() {
#if defined(QX_HAVE_EMULATOR)
    if (is_listening())
        qx_emu_remove_hotplug_listener(listener_id_);
#endif
}

void emulator_hotplug_source_class::report_camera_change(int event_code, const char* device_path,
                                                         unsigned int vendor_id, unsigned int product_id,
                                                         void* source) {
    if (device_path == nullptr)
        return;
    static_cast<emulator_hotplug_source_class*>(source)->dispatcher_.post_event(
        {event_code, device_path, vendor_id, product_id});
}

}  // namespace qx
