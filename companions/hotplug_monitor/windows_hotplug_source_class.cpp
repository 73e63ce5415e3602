#include "windows_hotplug_source_class.h"

// clang-format off
#include <windows.h>
#include <cfgmgr32.h>
// clang-format on

#include <string>

#include "quendral_vko_device_module.h"
#include "usb/cypress_driver_interface_class.h"
#include "usb/usb_device_path.h"

namespace qx {

namespace {

// Looked up at run time: the notices exist from Windows 8 on, and the
// cross-compiler's headers declare only their types.
using register_notification_function = CONFIGRET(WINAPI*)(PCM_NOTIFY_FILTER, PVOID, PCM_NOTIFY_CALLBACK,
                                                          PHCMNOTIFICATION);
using unregister_notification_function = CONFIGRET(WINAPI*)(HCMNOTIFICATION);

template <typename function>
function find_configuration_manager_function(const char* name) {
    HMODULE library = GetModuleHandleA("cfgmgr32.dll");
    if (library == nullptr)
        library = LoadLibraryA("cfgmgr32.dll");
    if (library == nullptr)
        return nullptr;
    return reinterpret_cast<function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

DWORD CALLBACK report_notice(HCMNOTIFICATION, PVOID source, CM_NOTIFY_ACTION action,
                             PCM_NOTIFY_EVENT_DATA data, DWORD) {
    if (data == nullptr || data->FilterType != CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE)
        return ERROR_SUCCESS;
    if (action == CM_NOTIFY_ACTION_DEVICEINTERFACEARRIVAL ||
        action == CM_NOTIFY_ACTION_DEVICEINTERFACEREMOVAL) {
        static_cast<windows_hotplug_source_class*>(source)->report_interface_change(
            action == CM_NOTIFY_ACTION_DEVICEINTERFACEARRIVAL, data->u.DeviceInterface.SymbolicLink);
    }
    return ERROR_SUCCESS;
}

}  // namespace

windows_hotplug_source_class::windows_hotplug_source_class(hotplug_event_dispatcher_class& dispatcher)
    : dispatcher_(dispatcher) {
    const auto register_notification =
        find_configuration_manager_function<register_notification_function>("CM_Register_Notification");
    if (register_notification == nullptr)
        return;
    CM_NOTIFY_FILTER filter{};
    filter.cbSize = sizeof filter;
    filter.FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE;
    filter.u.DeviceInterface.ClassGuid = usb::cypress_driver_interface_class;
    HCMNOTIFICATION registration = nullptr;
    if (register_notification(&filter, this, report_notice, &registration) == CR_SUCCESS)
        registration_ = registration;
}

windows_hotplug_source_class::~windows_hotplug_source_class() {
    if (!is_watching())
        return;
    // Waits for notice calls in progress; they only post to the dispatcher.
    if (const auto unregister_notification =
            find_configuration_manager_function<unregister_notification_function>(
                "CM_Unregister_Notification")) {
        unregister_notification(static_cast<HCMNOTIFICATION>(registration_));
    }
}

void windows_hotplug_source_class::report_interface_change(bool arrived, const wchar_t* symbolic_link) {
    if (symbolic_link == nullptr)
        return;
    // Interface paths are ASCII; enumeration lists them upper-cased.
    std::string path;
    for (const wchar_t* c = symbolic_link; *c != L'\0'; ++c) {
        const wchar_t wide = (*c >= L'a' && *c <= L'z') ? static_cast<wchar_t>(*c - L'a' + L'A') : *c;
        path += wide < 0x80 ? static_cast<char>(wide) : '?';
    }
    const auto vendor_id = usb_id_after(path, "VID_");
    const auto product_id = usb_id_after(path, "PID_");
    if (!vendor_id || !product_id)
        return;
    dispatcher_.post_event({arrived ? QX_HOTPLUG_EVENT_ARRIVAL : QX_HOTPLUG_EVENT_DEPARTURE, std::move(path),
                            *vendor_id, *product_id});
}

}  // namespace qx
