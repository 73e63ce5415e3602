#include "usb/simulated_cypress_driver_class.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "support/emulated_endpoints.h"
#include "usb/cypress_driver_interface_class.h"
#include "usb/cypress_driver_protocol.h"
#include "usb/usb_transfer_header.h"

namespace qx::test {

namespace {

using qx::usb::T_USB_TRANSFER_HEADER_STRUCT_PACKED;
using qx::usb::transfer_header_size;

// The data each endpoint's requests carry: at most this much for a command,
// exactly this much for a read.
constexpr DWORD endpoint_data_sizes[camera_endpoint_count] = {1024, 1024, 16384};
const int image_queue = camera_endpoint_index(QX_EMU_ENDPOINT_IMAGE_IN);
constexpr auto every_request = [](const auto&) { return true; };

std::string upper_case(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

std::string hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(value));
    return text;
}

}  // namespace

struct simulated_cypress_driver_class::pending_request {
    OVERLAPPED* overlapped = nullptr;
    unsigned char* data = nullptr;  // after the request's header
    std::size_t length = 0;
};

struct simulated_cypress_driver_class::open_device {
    qx_emu_device* emulator = nullptr;
    std::unique_ptr<endpoint_worker<pending_request>> endpoints[camera_endpoint_count];
    std::map<OVERLAPPED*, std::pair<DWORD, DWORD>> results;  // error, bytes
    std::condition_variable completed;
    bool removed = false;

    // Hands a request back: its result, its overlapped block and its event.
    void complete(OVERLAPPED* overlapped, DWORD error, DWORD bytes) {
        results[overlapped] = {error, bytes};
        overlapped->Internal = error == 0 ? 0 : 0xC0000001;  // STATUS_UNSUCCESSFUL
        overlapped->InternalHigh = bytes;
        SetEvent(overlapped->hEvent);
        completed.notify_all();
    }
    // Hands back cancelled the requests of an endpoint `match` selects; false
    // when there were none.
    template <class match_type>
    bool cancel(int queue, match_type&& match) {
        const auto taken = endpoints[queue]->take(match);
        for (const auto& request : taken) complete(request.overlapped, ERROR_OPERATION_ABORTED, 0);
        return !taken.empty();
    }
};

simulated_cypress_driver_class::simulated_cypress_driver_class() {
    qx::usb::install_windows_driver_calls(this);
}

simulated_cypress_driver_class::~simulated_cypress_driver_class() {
    qx::usb::install_windows_driver_calls(nullptr);
    std::vector<open_device*> left;
    {
        std::lock_guard<std::mutex> guard(mutex);
        left.assign(devices.begin(), devices.end());
    }
    for (open_device* device : left) close_device(device);
}

std::string simulated_cypress_driver_class::interface_path_for(unsigned vendor_id, unsigned product_id,
                                                               const std::string& serial) {
    char ids[32];
    std::snprintf(ids, sizeof ids, "vid_%04x&pid_%04x", vendor_id, product_id);
    return std::string("\\\\?\\usb#") + ids + "#" + serial + "#{ae18aa60-7f6a-11d4-97dd-00010229b959}";
}

void simulated_cypress_driver_class::add_interface(const std::string& interface_path,
                                                   const std::string& emulator_path) {
    std::lock_guard<std::mutex> guard(mutex);
    interfaces.push_back({interface_path, emulator_path});
}

std::vector<std::string> simulated_cypress_driver_class::violations() const {
    std::lock_guard<std::mutex> guard(mutex);
    return violation_texts;
}

int simulated_cypress_driver_class::requests_with(std::uint32_t code) const {
    std::lock_guard<std::mutex> guard(mutex);
    const auto found = request_counts.find(code);
    return found == request_counts.end() ? 0 : found->second;
}

int simulated_cypress_driver_class::open_interface_sets() const {
    std::lock_guard<std::mutex> guard(mutex);
    return static_cast<int>(sets.size());
}

int simulated_cypress_driver_class::image_reads_held() const {
    std::lock_guard<std::mutex> guard(mutex);
    int held = 0;
    for (const open_device* device : devices)
        held += static_cast<int>(device->endpoints[image_queue]->held());
    return held;
}

void simulated_cypress_driver_class::violation(const std::string& text) {
    violation_texts.push_back(text);
}

HANDLE simulated_cypress_driver_class::create_file(const char* path, DWORD access, DWORD share_mode,
                                                   DWORD creation, DWORD flags) {
    std::lock_guard<std::mutex> guard(mutex);
    if (access != (GENERIC_READ | GENERIC_WRITE) || share_mode != 0 || creation != OPEN_EXISTING ||
        (flags & FILE_FLAG_OVERLAPPED) == 0) {
        violation("CreateFile: the driver is opened for overlapped reading and writing, unshared");
    }
    const std::string wanted = upper_case(path == nullptr ? "" : path);
    for (const interface_entry& entry : interfaces) {
        if (upper_case(entry.path) != wanted || entry.emulator_path.empty())
            continue;
        qx_emu_device* emulator = qx_emu_device_open(entry.emulator_path.c_str());
        if (emulator == nullptr)
            break;
        auto* device = new open_device;
        device->emulator = emulator;
        devices.insert(device);
        for (std::size_t queue = 0; queue < camera_endpoint_count; ++queue) {
            device->endpoints[queue] = std::make_unique<endpoint_worker<pending_request>>(
                mutex, emulator, camera_endpoints[queue], false,
                [device](pending_request& request, const endpoint_transfer& done) {
                    // A halted pipe, or a transfer the device broke off, fails in general.
                    DWORD error = done.status == QX_EMU_OK ? 0 : ERROR_GEN_FAILURE;
                    if (done.status == QX_EMU_NO_DEVICE) {
                        device->removed = true;
                        error = ERROR_DEVICE_NOT_CONNECTED;
                    }
                    device->complete(request.overlapped, error,
                                     error == 0 ? transfer_header_size + static_cast<DWORD>(done.bytes) : 0);
                });
        }
        return reinterpret_cast<HANDLE>(device);
    }
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
}

BOOL simulated_cypress_driver_class::close_device(HANDLE handle) {
    auto* device = reinterpret_cast<open_device*>(handle);
    {
        std::lock_guard<std::mutex> guard(mutex);
        if (devices.count(device) == 0) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
        // Whatever the driver still holds comes back cancelled.
        for (int queue = 0; queue < static_cast<int>(camera_endpoint_count); ++queue)
            device->cancel(queue, every_request);
        devices.erase(device);
    }
    for (auto& endpoint : device->endpoints) endpoint.reset();
    qx_emu_device_close(device->emulator);
    delete device;
    return TRUE;
}

bool simulated_cypress_driver_class::check_bulk_request(std::uint8_t endpoint, const unsigned char* buffer,
                                                        DWORD size) {
    T_USB_TRANSFER_HEADER_STRUCT_PACKED header{};
    std::memcpy(&header, buffer, sizeof header);
    const int queue = camera_endpoint_index(endpoint);
    std::string problems;
    if (queue < 0)
        problems += " endpoint " + hex(endpoint) + " is not one of the camera's;";
    if (header.request_type != 0 || header.request_code != 0 || header.value != 0 || header.index != 0 ||
        header.control_length != 0 || header.control_timeout != 0 || header.reserved != 0) {
        problems += " control fields set;";
    }
    for (std::uint32_t field : header.driver_fields) {
        if (field != 0)
            problems += " driver fields not cleared;";
    }
    if (header.data_offset != transfer_header_size)
        problems += " data offset " + std::to_string(header.data_offset) + ";";
    if (header.data_length != size - transfer_header_size)
        problems += " data length " + std::to_string(header.data_length) + " in a buffer of " +
                    std::to_string(size) + ";";
    if (queue > 0 && header.data_length != endpoint_data_sizes[queue])
        problems += " a read of " + std::to_string(header.data_length) + " bytes;";
    if (queue == 0 && header.data_length > endpoint_data_sizes[0])
        problems += " a command of " + std::to_string(header.data_length) + " bytes;";
    if (!problems.empty())
        violation("bulk transfer on " + hex(endpoint) + ":" + problems);
    return problems.empty();
}

BOOL simulated_cypress_driver_class::submit_bulk(open_device& device, void* buffer, DWORD size,
                                                 OVERLAPPED* overlapped) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    const std::uint8_t endpoint = bytes[13];
    if (overlapped == nullptr || overlapped->hEvent == nullptr) {
        violation("bulk transfer without an overlapped block and its event");
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (!check_bulk_request(endpoint, bytes, size)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (device.removed) {
        SetLastError(ERROR_DEVICE_NOT_CONNECTED);
        return FALSE;
    }
    auto& worker = *device.endpoints[camera_endpoint_index(endpoint)];
    if (worker.holds([&](const pending_request& held) { return held.overlapped == overlapped; }))
        violation("an overlapped block submitted while the driver still holds it");
    device.results.erase(overlapped);
    worker.submit({overlapped, bytes + transfer_header_size, size - transfer_header_size});
    SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

BOOL simulated_cypress_driver_class::answer_control(open_device& device, DWORD code, void* input,
                                                    DWORD input_size, void* output, DWORD output_size,
                                                    DWORD* returned, OVERLAPPED* overlapped) {
    namespace cypress = qx::usb::cypress;
    auto* in = static_cast<unsigned char*>(input);
    auto* out = static_cast<unsigned char*>(output);
    DWORD bytes = 0;
    int status = QX_EMU_OK;
    auto refuse = [&](const std::string& text) {
        violation(hex(code) + ": " + text);
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    };
    if (code == cypress::control_transfer_code) {
        T_USB_TRANSFER_HEADER_STRUCT_PACKED header{};
        if (in == nullptr || input_size != transfer_header_size || out == nullptr ||
            output_size < transfer_header_size + 2) {
            return refuse("a control transfer is a 38-byte header in, header and data out");
        }
        std::memcpy(&header, in, sizeof header);
        // GET_STATUS (device to host, standard, to an endpoint) for two
        // bytes, with the driver's 5 ms control time-out and no bulk endpoint.
        const std::uint32_t no_driver_fields[4] = {};
        if (header.request_type != 0x82 || header.request_code != 0 || header.value != 0 ||
            camera_endpoint_index(header.index) < 0 || header.control_length != 2 ||
            header.control_timeout != 5 || header.reserved != 0 || header.endpoint_address != 0 ||
            std::memcmp(header.driver_fields, no_driver_fields, sizeof no_driver_fields) != 0 ||
            header.data_offset != transfer_header_size || header.data_length != 2)
            return refuse("not a GET_STATUS request to one of the camera's endpoints");
        int stalled = 0;
        status = qx_emu_device_get_endpoint_stalled(device.emulator, static_cast<unsigned char>(header.index),
                                                    &stalled);
        out[transfer_header_size] = stalled != 0 ? 1 : 0;
        out[transfer_header_size + 1] = 0;
        bytes = transfer_header_size + 2;
    } else if (code == cypress::reset_pipe_code || code == cypress::abort_pipe_code) {
        if (in == nullptr || input_size != 1 || output_size != 0)
            return refuse("a pipe request carries the one-byte endpoint address");
        const int queue = camera_endpoint_index(in[0]);
        if (queue < 0)
            return refuse("pipe request for endpoint " + hex(in[0]));
        if (code == cypress::reset_pipe_code) {
            status = qx_emu_device_clear_stall(device.emulator, in[0]);
        } else {
            device.cancel(queue, every_request);
        }
    } else if (code == cypress::reset_parent_port_code) {
        if (input_size != 0 || output_size != 0)
            return refuse("a port reset carries nothing");
        status = qx_emu_device_reset_port(device.emulator);
    } else if (code == cypress::usb_speed_code) {
        if (in == nullptr || input_size != 4 || out == nullptr || output_size != 4)
            return refuse("the speed request is four bytes in and out");
        const int speed = qx_emu_device_get_speed(device.emulator);
        status = speed < 0 ? speed : QX_EMU_OK;
        const std::uint32_t code_value = speed < 0 ? 0u : static_cast<std::uint32_t>(speed);
        std::memcpy(out, &code_value, 4);
        bytes = 4;
    } else {
        return refuse("unknown control code");
    }
    if (status == QX_EMU_NO_DEVICE) {
        device.removed = true;
        SetLastError(ERROR_DEVICE_NOT_CONNECTED);
        return FALSE;
    }
    if (status != QX_EMU_OK) {
        SetLastError(ERROR_GEN_FAILURE);
        return FALSE;
    }
    // This driver answers every request later, as the real one may: the
    // caller must collect the result through its overlapped block.
    if (overlapped == nullptr || overlapped->hEvent == nullptr)
        return refuse("a request on an overlapped device needs an overlapped block");
    device.results.erase(overlapped);
    device.complete(overlapped, 0, bytes);
    if (returned != nullptr)
        *returned = 0;
    SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

BOOL simulated_cypress_driver_class::device_io_control(HANDLE handle, DWORD code, void* input,
                                                       DWORD input_size, void* output, DWORD output_size,
                                                       DWORD* returned, OVERLAPPED* overlapped) {
    std::lock_guard<std::mutex> guard(mutex);
    auto* device = reinterpret_cast<open_device*>(handle);
    if (devices.count(device) == 0) {
        violation("a request on a handle that is not open");
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    ++request_counts[code];
    if (code == qx::usb::cypress::bulk_transfer_code) {
        if (input == nullptr || input != output || input_size != output_size ||
            input_size < transfer_header_size) {
            violation("a bulk transfer hands one buffer, header and data, in both directions");
            SetLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        return submit_bulk(*device, input, input_size, overlapped);
    }
    if (device->removed) {
        SetLastError(ERROR_DEVICE_NOT_CONNECTED);
        return FALSE;
    }
    return answer_control(*device, code, input, input_size, output, output_size, returned, overlapped);
}

BOOL simulated_cypress_driver_class::get_overlapped_result(HANDLE handle, OVERLAPPED* overlapped,
                                                           DWORD* transferred, BOOL wait) {
    std::unique_lock<std::mutex> lock(mutex);
    auto* device = reinterpret_cast<open_device*>(handle);
    if (devices.count(device) == 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    for (;;) {
        const auto found = device->results.find(overlapped);
        if (found != device->results.end()) {
            if (transferred != nullptr)
                *transferred = found->second.second;
            if (found->second.first != 0) {
                SetLastError(found->second.first);
                return FALSE;
            }
            return TRUE;
        }
        if (!wait) {
            SetLastError(ERROR_IO_INCOMPLETE);
            return FALSE;
        }
        device->completed.wait(lock);
    }
}

BOOL simulated_cypress_driver_class::cancel_io(HANDLE handle, OVERLAPPED* overlapped) {
    std::lock_guard<std::mutex> guard(mutex);
    auto* device = reinterpret_cast<open_device*>(handle);
    if (devices.count(device) == 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    for (int queue = 0; queue < static_cast<int>(camera_endpoint_count); ++queue) {
        if (device->cancel(queue,
                           [&](const pending_request& request) { return request.overlapped == overlapped; }))
            return TRUE;
    }
    SetLastError(ERROR_NOT_FOUND);
    return FALSE;
}

simulated_cypress_driver_class::interface_set* simulated_cypress_driver_class::find_set(HDEVINFO set) const {
    for (const auto& owned : sets) {
        if (reinterpret_cast<HDEVINFO>(owned.get()) == set)
            return owned.get();
    }
    return nullptr;
}

HDEVINFO simulated_cypress_driver_class::get_class_devs(const GUID* interface_class, DWORD flags) {
    std::lock_guard<std::mutex> guard(mutex);
    if (interface_class == nullptr ||
        std::memcmp(interface_class, &qx::usb::cypress_driver_interface_class, sizeof(GUID)) != 0 ||
        flags != (DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {
        violation("SetupDiGetClassDevs: the present interfaces of the driver's class are asked for");
    }
    if (refuse_class_list) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    auto set = std::make_unique<interface_set>();
    for (const interface_entry& entry : interfaces) {
        // Only present devices: an unplugged camera's interface is gone.
        if (entry.emulator_path.empty()) {
            set->push_back(entry);
        } else if (qx_emu_device* present = qx_emu_device_open(entry.emulator_path.c_str())) {
            qx_emu_device_close(present);
            set->push_back(entry);
        }
    }
    sets.push_back(std::move(set));
    return reinterpret_cast<HDEVINFO>(sets.back().get());
}

BOOL simulated_cypress_driver_class::enum_device_interfaces(HDEVINFO handle, const GUID* interface_class,
                                                            DWORD member_index,
                                                            SP_DEVICE_INTERFACE_DATA* interface_data) {
    std::lock_guard<std::mutex> guard(mutex);
    interface_set* set = find_set(handle);
    if (set == nullptr || interface_data == nullptr ||
        interface_data->cbSize != sizeof(SP_DEVICE_INTERFACE_DATA) || interface_class == nullptr) {
        violation("SetupDiEnumDeviceInterfaces: a listed set and an interface record of size 32");
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (static_cast<int>(member_index) == fail_selection_once_at) {
        fail_selection_once_at = -1;
        SetLastError(ERROR_GEN_FAILURE);
        return FALSE;
    }
    if (member_index >= set->size()) {
        SetLastError(ERROR_NO_MORE_ITEMS);
        return FALSE;
    }
    interface_data->InterfaceClassGuid = *interface_class;
    interface_data->Flags = SPINT_ACTIVE;
    interface_data->Reserved = member_index + 1;
    return TRUE;
}

BOOL simulated_cypress_driver_class::get_device_interface_detail(HDEVINFO handle,
                                                                 SP_DEVICE_INTERFACE_DATA* interface_data,
                                                                 SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail,
                                                                 DWORD detail_size, DWORD* required_size,
                                                                 SP_DEVINFO_DATA* device) {
    std::lock_guard<std::mutex> guard(mutex);
    interface_set* set = find_set(handle);
    if (set == nullptr || interface_data == nullptr || interface_data->Reserved == 0 ||
        interface_data->Reserved > set->size()) {
        violation("SetupDiGetDeviceInterfaceDetail: an interface that was not selected");
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::size_t index = interface_data->Reserved - 1;
    const std::string& path = (*set)[index].path;
    const DWORD needed =
        static_cast<DWORD>(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) + path.size() + 1);
    if (required_size != nullptr)
        *required_size = needed;
    if (detail == nullptr) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    if (detail->cbSize != sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) || device == nullptr ||
        device->cbSize != sizeof(SP_DEVINFO_DATA)) {
        violation("SetupDiGetDeviceInterfaceDetail: detail record of size 8 and device record of size 32");
        SetLastError(ERROR_INVALID_USER_BUFFER);
        return FALSE;
    }
    if (fail_detail) {
        SetLastError(ERROR_GEN_FAILURE);
        return FALSE;
    }
    if (detail_size < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(detail->DevicePath, path.c_str(), path.size() + 1);
    device->DevInst = static_cast<DEVINST>(index + 1);
    return TRUE;
}

BOOL simulated_cypress_driver_class::get_device_instance_id(HDEVINFO handle, SP_DEVINFO_DATA* device,
                                                            char* id, DWORD id_size) {
    std::lock_guard<std::mutex> guard(mutex);
    if (find_set(handle) == nullptr || device == nullptr || id == nullptr || id_size < 256) {
        violation("SetupDiGetDeviceInstanceId: a listed device and a 256-byte buffer");
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    std::snprintf(id, id_size, "usb\\vid_2a7c&pid_6101\\simulated%lu",
                  static_cast<unsigned long>(device->DevInst));
    return TRUE;
}

BOOL simulated_cypress_driver_class::destroy_device_info_list(HDEVINFO handle) {
    std::lock_guard<std::mutex> guard(mutex);
    const auto found = std::find_if(sets.begin(), sets.end(), [&](const auto& owned) {
        return reinterpret_cast<HDEVINFO>(owned.get()) == handle;
    });
    if (found == sets.end()) {
        violation("SetupDiDestroyDeviceInfoList: a set that is not open");
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    sets.erase(found);
    return TRUE;
}

CONFIGRET simulated_cypress_driver_class::get_parent(DEVINST* parent, DEVINST device) {
    if (parent == nullptr || device == 0)
        return CR_INVALID_POINTER;
    // Every camera hangs on a port of one root hub.
    *parent = 0x1000;
    return CR_SUCCESS;
}

CONFIGRET simulated_cypress_driver_class::get_device_id(DEVINST device, char* id, ULONG id_size) {
    if (device != 0x1000 || id == nullptr || id_size < 256)
        return CR_INVALID_DEVNODE;
    std::snprintf(id, id_size, "usb\\root_hub30\\4&2a5b6c7d&0&0");
    return CR_SUCCESS;
}

}  // namespace qx::test
