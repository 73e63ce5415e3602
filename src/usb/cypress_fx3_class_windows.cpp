#include <windows.h>

#include <atomic>
#include <cstring>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "base/checks.h"
#include "usb/cypress_fx3_class.h"
#include "usb/windows_driver_calls.h"

namespace qx::usb {

static_assert(std::is_same_v<HANDLE, void*>, "the device handle is kept as void*");

namespace {

// The four channels: endpoint number, buffer size, transfer size, records.
struct channel_layout {
    std::uint32_t endpoint_number;
    std::uint32_t buffer_size;
    std::uint32_t transfer_size;
    std::size_t records_made;
};
constexpr channel_layout channel_layouts[] = {
    {2, command_transfer_size, command_transfer_size, 1},  // command channel (OUT 0x02, IN 0x82)
    {3, image_transfer_size, image_transfer_size, image_transfers_in_flight},  // image data (IN 0x83)
    {4, 512, 512, 1},                                                          // reserved
    {1, 128, 128, 1},                                                          // reserved
};

// Serial numbers of transfer records, unique across every transport.
std::atomic<std::uint64_t> next_record_serial_number{0};

// ERROR_TIMEOUT, which a wait may leave behind without being a failure.
constexpr DWORD error_timeout = 1460;
static_assert(error_timeout == ERROR_TIMEOUT);

// How long a cancelled transfer may take to come back from the driver.
constexpr DWORD cancel_wait_ms = 1000;
// A wait on a transfer's event that neither completes nor times out (it
// cannot happen on a valid event) is repeated at most this often.
constexpr int repeated_wait_limit = 3;

// An event of our own for one control request, closed on every way out.
class control_event {
  public:
    control_event() : handle(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}
    ~control_event() {
        if (handle != nullptr)
            CloseHandle(handle);
    }
    control_event(const control_event&) = delete;
    control_event& operator=(const control_event&) = delete;
    HANDLE handle;
};

// The text of a refused pipe request: the request's prefix, the channel
// index and the direction, in decimal.
std::string pipe_failure_text(const char* prefix, int channel, bool is_in) {
    return prefix + std::to_string(channel) + ", is_in_not_out=" + std::to_string(is_in ? 1 : 0);
}

}  // namespace

// One transfer the driver may hold: the request header and data in one
// buffer, and the overlapped-I/O block that reports its completion.
struct cypress_fx3_class::transfer_record {
    transfer_record() = default;
    transfer_record(const transfer_record&) = delete;
    transfer_record& operator=(const transfer_record&) = delete;
    ~transfer_record() {
        if (overlapped.hEvent != nullptr)
            CloseHandle(overlapped.hEvent);
    }

    unsigned char* data() { return buffer.get() + transfer_header_size; }
    DWORD submitted_bytes() const { return transfer_header_size + header->data_length; }

    std::uint64_t serial_number = 0;
    OVERLAPPED overlapped{};  // its event: auto-reset, made unsignalled
    std::unique_ptr<unsigned char[]> buffer;
    T_USB_TRANSFER_HEADER_STRUCT_PACKED* header = nullptr;  // at the start of buffer
    // Submitted and its completion not yet collected: the driver owns the
    // buffer and the overlapped block.
    bool pending = false;  // guarded by transfer_lock
};

cypress_fx3_class::cypress_fx3_class(std::string device_path)
    : cypress_fx3_class(std::move(device_path), installed_windows_driver_calls()) {}

cypress_fx3_class::cypress_fx3_class(std::string device_path, windows_driver_calls& calls)
    : usb_driver_base(std::move(device_path)),
      driver(calls),
      device(driver.create_file(this->device_path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING,
                                FILE_FLAG_OVERLAPPED)),
      image_reader_wake(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
    if (device == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("cypress_fx3_class::cypress_fx3_class CreateFile error.");
    }
    try {
        make_channels();
    } catch (...) {
        try {
            cleanup();
        } catch (...) {
            // The failure to make the channels is the one reported.
        }
        throw;
    }
}

cypress_fx3_class::~cypress_fx3_class() {
    try {
        cleanup();
    } catch (...) {
        // A device that cannot be closed is gone anyway.
    }
}

void cypress_fx3_class::make_channels() {
    for (std::size_t index = 0; index < channels.size(); ++index) {
        const channel_layout& layout = channel_layouts[index];
        channel_descriptor& channel = channels[index];
        channel.endpoint_number = layout.endpoint_number;
        channel.buffer_size = layout.buffer_size;
        channel.transfer_size = layout.transfer_size;
        for (std::size_t made = 0; made < layout.records_made; ++made) {
            std::unique_ptr<transfer_record> record(new (std::nothrow) transfer_record);
            if (record) {
                record->serial_number = next_record_serial_number.fetch_add(1);
                record->overlapped.hEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
                record->buffer.reset(
                    new (std::nothrow) unsigned char[transfer_header_size + layout.transfer_size]());
            }
            if (!record || record->overlapped.hEvent == nullptr || !record->buffer) {
                throw std::runtime_error(
                    "cypress_fx3::cypress_fx3 t_usb_transfer_header_plus_buffer_alloc returned null.");
            }
            record->header = new (record->buffer.get())
                T_USB_TRANSFER_HEADER_STRUCT_PACKED(bulk_transfer_header(0, layout.transfer_size));
            channel.queue.push_back(record.get());
            channel.records.push_back(std::move(record));
        }
    }
}

bool cypress_fx3_class::submit_bulk_transfer(transfer_record& record, unsigned long& error) {
    platform::scoped_lock_class guard(transfer_lock);
    kit::check_false(record.pending, "cypress_fx3_class: the transfer record is still held by the driver");
    const HANDLE event = record.overlapped.hEvent;
    record.overlapped = OVERLAPPED{};
    record.overlapped.hEvent = event;
    // Cleared first, so that the error read after a successful submission
    // is the driver's and not a stale one.
    SetLastError(ERROR_SUCCESS);
    DWORD returned = 0;
    const BOOL status =
        driver.device_io_control(device, cypress::bulk_transfer_code, record.buffer.get(), record.submitted_bytes(),
                                 record.buffer.get(), record.submitted_bytes(), &returned, &record.overlapped);
    error = GetLastError();
    if (status || error == ERROR_IO_PENDING)
        record.pending = true;
    return status != FALSE;
}

void cypress_fx3_class::cancel_transfer(transfer_record& record) noexcept {
    platform::scoped_lock_class guard(transfer_lock);
    if (!record.pending)
        return;
    driver.cancel_io(device, &record.overlapped);
    // The event is signalled when the driver gives the buffer back, whether
    // the transfer was cancelled or had just completed.
    if (WaitForSingleObject(record.overlapped.hEvent, cancel_wait_ms) == WAIT_OBJECT_0)
        record.pending = false;
}

bool cypress_fx3_class::send_control_request(std::uint32_t code, void* input, std::uint32_t input_size,
                                             void* output, std::uint32_t output_size) {
    platform::scoped_lock_class guard(control_lock);
    // The device is open for overlapped I/O, so even a request the driver
    // answers at once needs an overlapped block; the wait is the driver's.
    control_event event;
    if (event.handle == nullptr)
        return false;
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.handle;
    DWORD returned = 0;
    if (driver.device_io_control(device, code, input, input_size, output, output_size, &returned, &overlapped))
        return true;
    if (GetLastError() != ERROR_IO_PENDING)
        return false;
    return driver.get_overlapped_result(device, &overlapped, &returned, TRUE) != FALSE;
}

void cypress_fx3_class::write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms,
                              bool& timed_out, bool& stalled) {
    platform::scoped_lock_class guard(transfer_lock);
    timed_out = false;
    stalled = false;
    channel_descriptor& channel = channels[command_channel];
    kit::check_true(length <= channel.transfer_size,
                    "cypress_fx3_class::write: the command fits the command channel's transfer size");
    if (length > 0)
        kit::check_pointer_set(bytes, "cypress_fx3_class::write: bytes");
    transfer_record& record = *channel.queue.front();
    cancel_transfer(record);
    record.header->endpoint_address = endpoint_address(command_channel, false);
    record.header->data_length = length;
    if (length > 0)
        std::memcpy(record.data(), bytes, length);

    unsigned long error = 0;
    const bool submitted = submit_bulk_transfer(record, error);
    if (!submitted && error != ERROR_IO_PENDING) {
        throw std::runtime_error(
            "cypress_fx3_class::write DeviceIoControl status was zero and GetLastError was not "
            "ERROR_IO_PENDING.");
    }
    if (submitted && error != ERROR_SUCCESS) {
        cancel_transfer(record);
        throw std::runtime_error(
            "cypress_fx3_class::write DeviceIoControl status was not zero and GetLastError was not "
            "ERROR_SUCCESS.");
    }
    for (int waits = 1;; ++waits) {
        const DWORD waited = WaitForSingleObject(record.overlapped.hEvent, timeout_ms);
        if (waited == WAIT_OBJECT_0) {
            record.pending = false;
            DWORD transferred = 0;
            if (driver.get_overlapped_result(device, &record.overlapped, &transferred, FALSE))
                return;
            // A completed but failed write is the endpoint's halt when the
            // device says so; any other failure is the driver's.
            stalled = get_is_endpoint_stalled(command_channel, false);
            if (!stalled)
                throw std::runtime_error("cypress_fx3_class::write transfer failed.");
            return;
        }
        if (waited == WAIT_TIMEOUT)
            break;
        if (waits >= repeated_wait_limit) {
            cancel_transfer(record);
            throw std::runtime_error("cypress_fx3_class::write WaitForSingleObject error.");
        }
    }
    timed_out = true;
    stalled = get_is_endpoint_stalled(command_channel, false);
    // The channel's one record is needed again by the next exchange.
    cancel_transfer(record);
}

void cypress_fx3_class::read__blocking(std::uint32_t, void* destination, std::uint32_t timeout_ms,
                                       bool& timed_out, bool& failed, bool& stalled) {
    platform::scoped_lock_class guard(transfer_lock);
    timed_out = false;
    failed = false;
    stalled = false;
    if (destination != nullptr)
        static_cast<unsigned char*>(destination)[0] = 0;
    channel_descriptor& channel = channels[command_channel];
    transfer_record& record = *channel.queue.front();
    cancel_transfer(record);
    record.header->endpoint_address = endpoint_address(command_channel, true);
    record.header->data_length = channel.transfer_size;

    unsigned long error = 0;
    if (!submit_bulk_transfer(record, error) && error != ERROR_IO_PENDING) {
        throw std::runtime_error("cypress_fx3_class::read__blocking DeviceIoControl error.");
    }
    if (WaitForSingleObject(record.overlapped.hEvent, timeout_ms) != WAIT_OBJECT_0) {
        // After a plain time-out the submission's ERROR_IO_PENDING is still
        // the last error; anything else means the wait itself failed.
        const DWORD wait_error = GetLastError();
        if (wait_error != ERROR_IO_PENDING) {
            cancel_transfer(record);
            throw std::runtime_error(
                "cypress_fx3_class::read__blocking WaitForSingleObject returned a status other than "
                "WAIT_OBJECT_0 and GetLastError is not ERROR_IO_PENDING.");
        }
        timed_out = true;
        stalled = get_is_endpoint_stalled(command_channel, true);
        cancel_transfer(record);
        return;
    }
    record.pending = false;
    DWORD transferred = 0;
    if (driver.get_overlapped_result(device, &record.overlapped, &transferred, FALSE)) {
        // The whole transfer size is delivered, whatever was asked for.
        if (destination != nullptr)
            std::memcpy(destination, record.data(), channel.transfer_size);
    } else {
        failed = true;
        stalled = get_is_endpoint_stalled(command_channel, true);
    }
}

bool cypress_fx3_class::get_is_endpoint_stalled(int channel, bool is_in) {
    platform::scoped_lock_class guard(control_lock);
    const T_USB_TRANSFER_HEADER_STRUCT_PACKED request =
        endpoint_status_request(endpoint_address(channel, is_in));
    std::memcpy(control_scratch.data(), &request, sizeof request);
    std::memset(control_scratch.data() + transfer_header_size, 0, endpoint_status_length);
    if (!send_control_request(cypress::control_transfer_code, control_scratch.data(), transfer_header_size,
                              control_scratch.data(), cypress::control_data_capacity)) {
        throw std::runtime_error("cypress_fx3_class::get_is_endpoint_stalled DeviceIoControl error.");
    }
    return control_scratch[transfer_header_size] == 1;
}

void cypress_fx3_class::abort_pipe(int channel, bool is_in) {
    unsigned char address = endpoint_address(channel, is_in);
    if (!send_control_request(cypress::abort_pipe_code, &address, sizeof address, nullptr, 0)) {
        throw std::runtime_error(pipe_failure_text(
            "abort_pipe DeviceIoControl error: channel_index_0_for_comm_1_for_image_data=", channel, is_in));
    }
}

void cypress_fx3_class::reset_pipe(int channel, bool is_in) {
    unsigned char address = endpoint_address(channel, is_in);
    // Sent twice in a row on purpose; only the second answer counts.
    send_control_request(cypress::reset_pipe_code, &address, sizeof address, nullptr, 0);
    if (!send_control_request(cypress::reset_pipe_code, &address, sizeof address, nullptr, 0)) {
        throw std::runtime_error(pipe_failure_text(
            "reset_pipe DeviceIoControl error: channel_index_0_for_comm_1_for_image_data=", channel, is_in));
    }
}

void cypress_fx3_class::unstall_endpoint(int channel, bool is_in) {
    platform::scoped_lock_class transfers(transfer_lock);
    platform::scoped_lock_class controls(control_lock);
    abort_pipe(channel, is_in);
    reset_pipe(channel, is_in);
}

void cypress_fx3_class::reset_parent_port() {
    platform::scoped_lock_class guard(control_lock);
    if (!send_control_request(cypress::reset_parent_port_code, nullptr, 0, nullptr, 0)) {
        throw std::runtime_error("cypress_fx3_class::parent_reset DeviceIoControl error.");
    }
}

std::string cypress_fx3_class::get_usb_port_speed() {
    platform::scoped_lock_class guard(control_lock);
    std::uint32_t speed = 0;
    if (!send_control_request(cypress::usb_speed_code, &speed, sizeof speed, &speed, sizeof speed)) {
        throw std::runtime_error("Error getting USB-port speed.");
    }
    return cypress::usb_speed_text(speed);
}

void cypress_fx3_class::queue_packet(transfer_record& record) {
    platform::scoped_lock_class guard(transfer_lock);
    channels[image_channel].queue.push_back(&record);
    unsigned long error = 0;
    if (!submit_bulk_transfer(record, error) && error != ERROR_IO_PENDING) {
        throw std::runtime_error("cypress_fx3_class::queue_packet DeviceIoControl error.");
    }
}

void cypress_fx3_class::prime_image_channel() {
    // The image lock keeps a reader from seeing the queue while it turns.
    platform::scoped_lock_class reading(image_lock);
    platform::scoped_lock_class guard(transfer_lock);
    channel_descriptor& channel = channels[image_channel];
    for (std::size_t turn = channel.queue.size(); turn > 0; --turn) {
        transfer_record& record = *channel.queue.front();
        channel.queue.pop_front();
        if (record.pending) {
            // Already with the driver (primed before): it keeps its place.
            channel.queue.push_back(&record);
            continue;
        }
        record.header->endpoint_address = endpoint_address(image_channel, true);
        record.header->data_length = channel.transfer_size;
        std::memset(record.data(), 0, channel.transfer_size);
        queue_packet(record);
    }
}

void cypress_fx3_class::read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out,
                                        bool& failed, bool& stalled) {
    platform::scoped_lock_class reading(image_lock);
    platform::scoped_lock_class transfer(transfer_lock);
    timed_out = false;
    failed = false;
    stalled = false;
    check_finite_timeout(timeout_ms);
    kit::check_pointer_set(destination, "cypress_fx3_class::read_image_data: destination");
    channel_descriptor& channel = channels[image_channel];
    if (channel.queue.empty()) {
        failed = true;
        throw std::runtime_error("Unexpected empty transfer queue.");
    }
    // The oldest transfer stays at the front until it completes; only this
    // reader (under image_lock) takes records off the front.
    transfer_record& record = *channel.queue.front();
    bool completed = false;
    try {
        transfer.unlock();
        // Waiting happens without transfer_lock, so that command traffic goes
        // on while the image transfer is pending.
        for (int waits = 1;; ++waits) {
            SetLastError(ERROR_SUCCESS);
            const HANDLE events[] = {record.overlapped.hEvent, image_reader_wake};
            const DWORD waited =
                WaitForMultipleObjects(image_reader_wake != nullptr ? 2 : 1, events, FALSE, timeout_ms);
            const DWORD wait_error = GetLastError();
            transfer.lock();
            if (waited == WAIT_OBJECT_0 + 1) {
                // The reader is shutting down: the transfer stays pending at
                // the front, and no stall query is made on the way out.
                timed_out = true;
                break;
            }
            timed_out = waited == WAIT_TIMEOUT;
            if (waited == WAIT_OBJECT_0) {
                completed = true;
                record.pending = false;
                channel.queue.pop_front();
                DWORD transferred = 0;
                if (driver.get_overlapped_result(device, &record.overlapped, &transferred, FALSE)) {
                    std::memcpy(destination, record.data(), channel.transfer_size);
                } else {
                    stalled = get_is_endpoint_stalled(image_channel, true);
                    failed = true;
                }
                break;
            }
            if ((wait_error != ERROR_SUCCESS && wait_error != ERROR_IO_PENDING &&
                 wait_error != error_timeout) ||
                (!timed_out && waits >= repeated_wait_limit)) {
                throw std::runtime_error("cypress_fx3_class::read_image_data WaitForSingleObject error.");
            }
            stalled = get_is_endpoint_stalled(image_channel, true);
            if (stalled || timed_out)
                break;
            transfer.unlock();
        }
    } catch (...) {
        // Every throw above comes with the transfer lock held.
        transfer.unlock();
        if (completed) {
            try {
                queue_packet(record);
            } catch (...) {
                // The first failure is the one reported.
            }
        }
        throw;
    }
    // A completed record goes back to the driver, so that it again holds
    // all 256 reads; one that did not complete stays pending at the front.
    transfer.unlock();
    if (completed)
        queue_packet(record);
}

void cypress_fx3_class::wake_image_reader() noexcept {
    if (image_reader_wake != nullptr)
        SetEvent(image_reader_wake);
}

void cypress_fx3_class::cleanup() {
    // The driver must have handed every buffer back before it is freed.
    for (channel_descriptor& channel : channels) {
        for (auto& record : channel.records) cancel_transfer(*record);
    }
    bool closed = true;
    if (device != INVALID_HANDLE_VALUE && device != nullptr) {
        closed = driver.close_device(device) != FALSE;
        device = INVALID_HANDLE_VALUE;
    }
    for (channel_descriptor& channel : channels) {
        channel.queue.clear();
        for (auto& record : channel.records) {
            // A buffer the driver never gave back is left to it.
            if (record->pending)
                static_cast<void>(record.release());
        }
        channel.records.clear();
    }
    if (image_reader_wake != nullptr) {
        CloseHandle(image_reader_wake);
        image_reader_wake = nullptr;
    }
    if (!closed)
        throw std::runtime_error("cypress_fx3_class::cleanup CloseHandle error.");
}

}  // namespace qx::usb
