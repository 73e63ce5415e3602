// The driver calls as Windows answers them.

#include <atomic>

#include "usb/windows_driver_calls.h"

namespace qx::usb {

namespace {

class system_driver_calls final : public windows_driver_calls {
  public:
    HANDLE create_file(const char* path, DWORD access, DWORD share_mode, DWORD creation, DWORD flags) override {
        return CreateFileA(path, access, share_mode, nullptr, creation, flags, nullptr);
    }
    BOOL close_device(HANDLE device) override { return CloseHandle(device); }
    BOOL device_io_control(HANDLE device, DWORD code, void* input, DWORD input_size, void* output,
                           DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) override {
        return DeviceIoControl(device, code, input, input_size, output, output_size, returned, overlapped);
    }
    BOOL get_overlapped_result(HANDLE device, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) override {
        return GetOverlappedResult(device, overlapped, transferred, wait);
    }
    BOOL cancel_io(HANDLE device, OVERLAPPED* overlapped) override { return CancelIoEx(device, overlapped); }

    HDEVINFO get_class_devs(const GUID* interface_class, DWORD flags) override {
        return SetupDiGetClassDevsA(interface_class, nullptr, nullptr, flags);
    }
    BOOL enum_device_interfaces(HDEVINFO set, const GUID* interface_class, DWORD member_index,
                                SP_DEVICE_INTERFACE_DATA* interface_data) override {
        return SetupDiEnumDeviceInterfaces(set, nullptr, interface_class, member_index, interface_data);
    }
    BOOL get_device_interface_detail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* interface_data,
                                     SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD detail_size,
                                     DWORD* required_size, SP_DEVINFO_DATA* device) override {
        return SetupDiGetDeviceInterfaceDetailA(set, interface_data, detail, detail_size, required_size, device);
    }
    BOOL get_device_instance_id(HDEVINFO set, SP_DEVINFO_DATA* device, char* id, DWORD id_size) override {
        return SetupDiGetDeviceInstanceIdA(set, device, id, id_size, nullptr);
    }
    BOOL destroy_device_info_list(HDEVINFO set) override { return SetupDiDestroyDeviceInfoList(set); }
    CONFIGRET get_parent(DEVINST* parent, DEVINST device) override { return CM_Get_Parent(parent, device, 0); }
    CONFIGRET get_device_id(DEVINST device, char* id, ULONG id_size) override {
        return CM_Get_Device_IDA(device, id, id_size, 0);
    }
};

system_driver_calls system_calls;
std::atomic<windows_driver_calls*> installed_calls{nullptr};

}  // namespace

windows_driver_calls& installed_windows_driver_calls() {
    windows_driver_calls* calls = installed_calls.load();
    return calls != nullptr ? *calls : system_calls;
}

void install_windows_driver_calls(windows_driver_calls* calls) {
    installed_calls.store(calls);
}

}  // namespace qx::usb
