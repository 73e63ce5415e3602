// Lists the device interfaces of the Cypress USB driver through the Windows
// setup interfaces, in the driver's order.

#include <cstddef>
#include <cstring>
#include <new>

#include "usb/cypress_driver_interface_class.h"
#include "usb/device_enumerator_class.h"
#include "usb/device_interface_walk.h"
#include "usb/windows_driver_calls.h"

namespace qx::usb {

namespace {

// DIGCF_PRESENT | DIGCF_DEVICEINTERFACE.
constexpr DWORD present_interfaces = 0x12;
static_assert(present_interfaces == (DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));

// The size fields the setup interfaces check, on 64-bit Windows.
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 32);
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) == 8);
static_assert(sizeof(SP_DEVINFO_DATA) == 32);

constexpr std::size_t detail_buffer_size = 4096;
constexpr std::size_t id_buffer_size = 256;

void upper_case(char* text) {
    for (; *text != '\0'; ++text) {
        if (*text >= 'a' && *text <= 'z')
            *text = static_cast<char>(*text - 'a' + 'A');
    }
}

class setup_interface_list final : public device_interface_list {
  public:
    setup_interface_list(windows_driver_calls& calls, HDEVINFO device_set) : driver(calls), set(device_set) {
        selected.cbSize = sizeof selected;
    }

    interface_selection select_interface(std::uint32_t index) override {
        if (driver.enum_device_interfaces(set, &cypress_driver_interface_class, index, &selected)) {
            return interface_selection::selected;
        }
        return GetLastError() == ERROR_NO_MORE_ITEMS ? interface_selection::end_of_list
                                                     : interface_selection::failed;
    }

    std::optional<std::string> read_selected_path() override {
        // The first call only learns the size; the path always fits the
        // fixed detail buffer or the interface is treated as unreadable.
        DWORD required_size = 0;
        driver.get_device_interface_detail(set, &selected, nullptr, 0, &required_size, nullptr);

        alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_A) unsigned char storage[detail_buffer_size] = {};
        auto* detail = new (storage) SP_DEVICE_INTERFACE_DETAIL_DATA_A{};
        detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A);
        SP_DEVINFO_DATA device{};
        device.cbSize = sizeof device;
        if (!driver.get_device_interface_detail(set, &selected, detail, sizeof storage, &required_size,
                                                &device)) {
            return std::nullopt;
        }
        read_instance_ids(device);

        const char* path =
            reinterpret_cast<const char*>(storage) + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
        const std::size_t room = sizeof storage - offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
        return std::string(path, strnlen(path, room));
    }

  private:
    // The device's instance id and its parent's (the hub port it hangs on)
    // are looked up for a debugger's benefit; they do not change the list.
    void read_instance_ids(SP_DEVINFO_DATA& device) {
        if (driver.get_device_instance_id(set, &device, instance_id, sizeof instance_id)) {
            upper_case(instance_id);
        }
        DEVINST parent = 0;
        if (driver.get_parent(&parent, device.DevInst) == CR_SUCCESS &&
            driver.get_device_id(parent, parent_id, sizeof parent_id) == CR_SUCCESS) {
            upper_case(parent_id);
        }
    }

    windows_driver_calls& driver;
    HDEVINFO set;
    SP_DEVICE_INTERFACE_DATA selected{};
    char instance_id[id_buffer_size] = {};
    char parent_id[id_buffer_size] = {};
};

}  // namespace

std::optional<std::vector<std::string>> list_platform_device_paths() {
    windows_driver_calls& driver = installed_windows_driver_calls();
    HDEVINFO device_set = driver.get_class_devs(&cypress_driver_interface_class, present_interfaces);
    if (device_set == INVALID_HANDLE_VALUE)
        return std::nullopt;
    std::optional<std::vector<std::string>> paths;
    try {
        setup_interface_list list(driver, device_set);
        paths = walk_device_interfaces(list);
    } catch (...) {
        paths.reset();
    }
    driver.destroy_device_info_list(device_set);
    return paths;
}

}  // namespace qx::usb
