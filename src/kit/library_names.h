#pragma once
// The file names under which the kit finds its libraries. They are the
// Windows names; qx::platform maps them to the local form ("libX.so").

namespace qx::kit {

inline constexpr const char* kit_library_name = "quendral_vko_camera_sdk.dll";
inline constexpr const char* second_family_library_name = "quendral_vko_ralto_camera_device.dll";
inline constexpr const char* hotplug_monitor_library_name = "quendral_vko_usb_hotplug_monitor.dll";
inline constexpr const char* logger_library_name = "quendral_vko_logger.dll";

}  // namespace qx::kit
