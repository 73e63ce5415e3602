#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/checks.h"
#include "base/status_codes.h"
#include "usb/libusb_fx3_class.h"
#include "usb/libusb_session_class.h"

namespace qx::usb {

namespace {

constexpr int camera_interface = 0;
// Control requests get the same 5 s the Windows driver's requests carry.
constexpr unsigned int control_timeout_ms = 5000;
// How long a transfer may take to come back from libusb after it was
// cancelled, or after its own time-out.
constexpr auto cancellation_limit = std::chrono::seconds(5);
// The module status whose text tells the user to raise usbfs_memory_mb.
constexpr int usbfs_memory_limit_status = 17;

// GET_STATUS to an endpoint: device to host, standard, recipient endpoint.
constexpr std::uint8_t endpoint_status_request_type =
    static_cast<std::uint8_t>(LIBUSB_ENDPOINT_IN) | static_cast<std::uint8_t>(LIBUSB_REQUEST_TYPE_STANDARD) |
    static_cast<std::uint8_t>(LIBUSB_RECIPIENT_ENDPOINT);
constexpr std::uint8_t endpoint_halt_bit = 0x01;
constexpr std::uint16_t endpoint_status_size = 2;

struct speed_text {
    int speed;
    const char* text;
};
constexpr speed_text speed_texts[] = {
    {LIBUSB_SPEED_LOW, "USB 1.0"},   {LIBUSB_SPEED_FULL, "USB 1.0"},       {LIBUSB_SPEED_HIGH, "USB 2.0"},
    {LIBUSB_SPEED_SUPER, "USB 3.0"}, {LIBUSB_SPEED_SUPER_PLUS, "USB 3.0"},
};

// Every libusb failure reads "libusb_fx3_class::<method> <function> error:
// <libusb error name>". A submission that usbfs refuses for lack of memory
// gets the module's text that tells the user what to change instead.
[[noreturn]] void throw_libusb_failure(const char* method, const char* function, int code,
                                       const std::string& detail = {}) {
    if (code == LIBUSB_ERROR_NO_MEM)
        throw std::runtime_error(api::status_text(usbfs_memory_limit_status));
    throw std::runtime_error(std::string("libusb_fx3_class::") + method + " " + function +
                             " error: " + libusb_error_name(code) + detail + ".");
}

// A transfer's completion status as libusb's synchronous calls report it.
int code_of(int status) {
    switch (status) {
        case LIBUSB_TRANSFER_COMPLETED:
            return LIBUSB_SUCCESS;
        case LIBUSB_TRANSFER_TIMED_OUT:
            return LIBUSB_ERROR_TIMEOUT;
        case LIBUSB_TRANSFER_STALL:
            return LIBUSB_ERROR_PIPE;
        case LIBUSB_TRANSFER_NO_DEVICE:
            return LIBUSB_ERROR_NO_DEVICE;
        case LIBUSB_TRANSFER_OVERFLOW:
            return LIBUSB_ERROR_OVERFLOW;
        default:
            return LIBUSB_ERROR_IO;
    }
}

// What a transfer's result means on the command channel.
enum class transfer_outcome { done, timed_out, stalled, failed, broken };

transfer_outcome outcome_of(int code) {
    switch (code) {
        case LIBUSB_SUCCESS:
            return transfer_outcome::done;
        case LIBUSB_ERROR_TIMEOUT:
            return transfer_outcome::timed_out;
        case LIBUSB_ERROR_PIPE:
            return transfer_outcome::stalled;
        case LIBUSB_ERROR_IO:
        case LIBUSB_ERROR_OVERFLOW:
        case LIBUSB_ERROR_INTERRUPTED:
        case LIBUSB_ERROR_OTHER:
            return transfer_outcome::failed;
        default:
            // The device is gone, or the request could not be made at all.
            return transfer_outcome::broken;
    }
}

// libusb reads a time-out of 0 as "wait for ever"; the shortest wait it can
// do is 1 ms.
unsigned int libusb_timeout(std::uint32_t timeout_ms) {
    return timeout_ms == 0 ? 1 : timeout_ms;
}

std::string upper_case(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

}  // namespace

void libusb_fx3_class::transfer_deleter::operator()(libusb_transfer* transfer) const {
    libusb_free_transfer(transfer);
}

void libusb_fx3_class::handle_closer::operator()(libusb_device_handle* handle) const {
    libusb_close(handle);
}

libusb_fx3_class::libusb_fx3_class(std::string device_path)
    : usb_driver_base(std::move(device_path)), session(libusb_session_class::acquire()) {
    open_device_at_path();
    claim_interface("libusb_fx3_class");
    image_ring.resize(image_transfers_in_flight);
    for (std::size_t index = 0; index < image_ring.size(); ++index) {
        transfer_record& record = image_ring[index];
        make_record(record, image_transfer_size);
        // No libusb time-out: a transfer stays submitted until data comes;
        // read_image_data applies the caller's time-out to its wait.
        libusb_fill_bulk_transfer(record.transfer.get(), handle.get(), endpoint_address(image_channel, true),
                                  record.buffer.data(), static_cast<int>(image_transfer_size),
                                  &libusb_fx3_class::transfer_completed, &record, 0);
        image_queue.push_back(index);
    }
    make_record(command_transfer, command_transfer_size);
    make_record(control_transfer, LIBUSB_CONTROL_SETUP_SIZE + endpoint_status_size);
}

libusb_fx3_class::~libusb_fx3_class() {
    platform::scoped_lock_class transfers(transfer_lock);
    platform::scoped_lock_class controls(control_lock);
    // A transfer that does not come back in time is forgotten by libusb when
    // the handle closes, before the records' memory is freed.
    cancel_image_transfers();
    if (interface_claimed)
        libusb_release_interface(handle.get(), camera_interface);
}

void libusb_fx3_class::open_device_at_path() {
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(session->context(), &devices);
    if (count < 0)
        throw_libusb_failure("libusb_fx3_class", "libusb_get_device_list", static_cast<int>(count));
    const std::string wanted = upper_case(device_path());
    libusb_device* found = nullptr;
    for (ssize_t index = 0; index < count && found == nullptr; ++index) {
        if (libusb_device_path(devices[index]) == wanted)
            found = devices[index];
    }
    libusb_device_handle* opened = nullptr;
    const int code = found == nullptr ? LIBUSB_ERROR_NOT_FOUND : libusb_open(found, &opened);
    // An open handle holds its own reference to the device.
    libusb_free_device_list(devices, 1);
    if (found == nullptr) {
        throw std::runtime_error("libusb_fx3_class::libusb_fx3_class no USB device at " + device_path() +
                                 ".");
    }
    if (code != LIBUSB_SUCCESS)
        throw_libusb_failure("libusb_fx3_class", "libusb_open", code);
    handle.reset(opened);
}

void libusb_fx3_class::claim_interface(const char* method) {
    platform::scoped_lock_class guard(control_lock);
    const int active = libusb_kernel_driver_active(handle.get(), camera_interface);
    if (active == 1) {
        const int code = libusb_detach_kernel_driver(handle.get(), camera_interface);
        if (code != LIBUSB_SUCCESS && code != LIBUSB_ERROR_NOT_FOUND) {
            throw_libusb_failure(method, "libusb_detach_kernel_driver", code);
        }
    } else if (active < 0 && active != LIBUSB_ERROR_NOT_SUPPORTED) {
        throw_libusb_failure(method, "libusb_kernel_driver_active", active);
    }
    const int code = libusb_claim_interface(handle.get(), camera_interface);
    if (code != LIBUSB_SUCCESS)
        throw_libusb_failure(method, "libusb_claim_interface", code);
    interface_claimed = true;
}

void libusb_fx3_class::make_record(transfer_record& record, std::size_t buffer_size) {
    record.owner = this;
    record.buffer.assign(buffer_size, 0);
    record.transfer.reset(libusb_alloc_transfer(0));
    if (!record.transfer) {
        throw std::runtime_error("libusb_fx3_class::libusb_fx3_class libusb_alloc_transfer returned null.");
    }
}

void libusb_fx3_class::transfer_completed(libusb_transfer* transfer) {
    auto& record = *static_cast<transfer_record*>(transfer->user_data);
    libusb_fx3_class& owner = *record.owner;
    platform::scoped_lock_class completion(owner.completion_lock);
    record.status = transfer->status;
    record.actual_length = transfer->actual_length;
    record.state = transfer_state::completed;
    owner.completion_changed.notify_all();
}

void libusb_fx3_class::submit(transfer_record& record, const char* method) {
    {
        platform::scoped_lock_class completion(completion_lock);
        record.state = transfer_state::in_flight;
    }
    const int code = libusb_submit_transfer(record.transfer.get());
    if (code != LIBUSB_SUCCESS) {
        {
            platform::scoped_lock_class completion(completion_lock);
            record.state = transfer_state::idle;
        }
        throw_libusb_failure(method, "libusb_submit_transfer", code);
    }
}

int libusb_fx3_class::submit_and_wait(transfer_record& record, std::uint32_t timeout_ms, const char* method) {
    submit(record, method);
    const auto returned = [&]() QX_REQUIRES(completion_lock) { return record.state != transfer_state::in_flight; };
    platform::scoped_lock_class completion(completion_lock);
    // libusb ends the transfer at its time-out; the wait only guards against
    // a transfer that libusb never returns.
    if (!completion_changed.wait_for(completion, std::chrono::milliseconds(timeout_ms) + cancellation_limit,
                                     returned)) {
        completion.unlock();
        libusb_cancel_transfer(record.transfer.get());
        completion.lock();
        if (!completion_changed.wait_for(completion, cancellation_limit, returned)) {
            throw std::runtime_error(std::string("libusb_fx3_class::") + method +
                                     " the transfer did not come back after cancellation.");
        }
    }
    record.state = transfer_state::idle;
    return code_of(record.status);
}

int libusb_fx3_class::transfer_command(bool is_in, unsigned char* bytes, std::uint32_t length,
                                       std::uint32_t timeout_ms, const char* method) {
    transfer_record& record = command_transfer;
    if (record.buffer.size() < length)
        record.buffer.resize(length);
    if (is_in) {
        // Cleared, so that the bytes after a short reply never hold an older one.
        std::fill(record.buffer.begin(), record.buffer.end(), 0);
    } else if (length != 0) {
        std::memcpy(record.buffer.data(), bytes, length);
    }
    libusb_fill_bulk_transfer(record.transfer.get(), handle.get(), endpoint_address(command_channel, is_in),
                              record.buffer.data(), static_cast<int>(length),
                              &libusb_fx3_class::transfer_completed, &record, libusb_timeout(timeout_ms));
    const int code = submit_and_wait(record, timeout_ms, method);
    if (is_in && code == LIBUSB_SUCCESS && bytes != nullptr)
        std::memcpy(bytes, record.buffer.data(), length);
    return code;
}

void libusb_fx3_class::write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms,
                             bool& timed_out, bool& stalled) {
    platform::scoped_lock_class guard(transfer_lock);
    timed_out = false;
    stalled = false;
    if (bytes == nullptr && length != 0)
        throw std::runtime_error("libusb_fx3_class::write bytes is null.");
    // An OUT transfer only reads the bytes.
    exchange_on_command_channel(false, static_cast<unsigned char*>(const_cast<void*>(bytes)), length,
                                timeout_ms, timed_out, nullptr, stalled, "write");
}

void libusb_fx3_class::read__blocking(std::uint32_t, void* destination, std::uint32_t timeout_ms,
                                      bool& timed_out, bool& failed, bool& stalled) {
    platform::scoped_lock_class guard(transfer_lock);
    timed_out = false;
    failed = false;
    stalled = false;
    auto* out = static_cast<unsigned char*>(destination);
    if (out != nullptr)
        out[0] = 0;
    // The whole transfer size is read and delivered, whatever was asked for.
    exchange_on_command_channel(true, out, command_transfer_size, timeout_ms, timed_out, &failed, stalled,
                                "read__blocking");
}

void libusb_fx3_class::exchange_on_command_channel(bool is_in, unsigned char* bytes, std::uint32_t length,
                                                   std::uint32_t timeout_ms, bool& timed_out, bool* failed,
                                                   bool& stalled, const char* method) {
    const int code = transfer_command(is_in, bytes, length, timeout_ms, method);
    switch (outcome_of(code)) {
        case transfer_outcome::done:
            return;
        case transfer_outcome::timed_out:
            timed_out = true;
            stalled = get_is_endpoint_stalled(command_channel, is_in);
            return;
        case transfer_outcome::stalled:
            if (failed != nullptr)
                *failed = true;
            stalled = true;
            return;
        case transfer_outcome::failed:
            if (failed == nullptr)
                break;
            *failed = true;
            stalled = get_is_endpoint_stalled(command_channel, is_in);
            return;
        case transfer_outcome::broken:
            break;
    }
    throw_libusb_failure(method, "bulk transfer", code);
}

std::string libusb_fx3_class::get_usb_port_speed() {
    platform::scoped_lock_class guard(control_lock);
    const int speed = libusb_get_device_speed(libusb_get_device(handle.get()));
    for (const auto& row : speed_texts) {
        if (row.speed == speed)
            return row.text;
    }
    return "UNKNOWN";
}

void libusb_fx3_class::prime_image_channel() {
    platform::scoped_lock_class guard(transfer_lock);
    for (const std::size_t index : image_queue) {
        transfer_record& record = image_ring[index];
        bool idle = false;
        {
            platform::scoped_lock_class completion(completion_lock);
            idle = record.state == transfer_state::idle;
        }
        if (idle)
            submit(record, "prime_image_channel");
    }
}

void libusb_fx3_class::read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out,
                                       bool& failed, bool& stalled) {
    platform::scoped_lock_class reading(image_lock);
    platform::scoped_lock_class transfers(transfer_lock);
    timed_out = false;
    failed = false;
    stalled = false;
    check_finite_timeout(timeout_ms);
    kit::check_pointer_set(destination, "libusb_fx3_class::read_image_data: destination");
    if (image_queue.empty()) {
        failed = true;
        throw std::runtime_error("Unexpected empty transfer queue.");
    }
    const std::size_t index = image_queue.front();
    transfer_record& record = image_ring[index];

    // Wait without the transfer lock, so that commands go on meanwhile. Only
    // this reader (under image_lock) takes records off the queue.
    transfers.unlock();
    bool came_back = false;
    bool woken = false;
    {
        platform::scoped_lock_class completion(completion_lock);
        completion_changed.wait_for(completion, std::chrono::milliseconds(timeout_ms), [&]() QX_REQUIRES(completion_lock) {
            return record.state != transfer_state::in_flight || image_reader_woken;
        });
        came_back = record.state != transfer_state::in_flight;
        woken = std::exchange(image_reader_woken, false);
    }
    transfers.lock();
    if (!came_back && woken) {
        // The reader is shutting down: no stall query on the way out.
        timed_out = true;
        return;
    }
    if (!came_back) {
        // Still submitted: it stays the oldest, for the next call.
        timed_out = true;
        stalled = get_is_endpoint_stalled(image_channel, true);
        return;
    }

    image_queue.pop_front();
    image_queue.push_back(index);
    // The record goes back to libusb whatever the completion reported, so
    // that libusb again holds every transfer of the ring.
    std::exception_ptr failure;
    try {
        report_image_completion(record, destination, failed, stalled);
    } catch (...) {
        failure = std::current_exception();
    }
    try {
        submit(record, "read_image_data");
    } catch (...) {
        if (!failure)
            failure = std::current_exception();
    }
    if (failure)
        std::rethrow_exception(failure);
}

void libusb_fx3_class::report_image_completion(transfer_record& record, void* destination, bool& failed,
                                               bool& stalled) {
    transfer_state state = transfer_state::idle;
    int status = LIBUSB_TRANSFER_ERROR;
    int actual_length = 0;
    {
        platform::scoped_lock_class completion(completion_lock);
        state = record.state;
        status = record.status;
        actual_length = record.actual_length;
        record.state = transfer_state::idle;
    }
    // A record that is idle here could not be submitted earlier; it counts
    // as a failed transfer.
    const bool completed = state == transfer_state::completed;
    if (completed && status == LIBUSB_TRANSFER_COMPLETED) {
        // The whole transfer size is delivered; what a short transfer did not
        // fill is zero, never part of an older packet.
        const auto filled = static_cast<std::size_t>(std::max(actual_length, 0));
        std::fill(record.buffer.begin() + static_cast<std::ptrdiff_t>(std::min(filled, record.buffer.size())),
                  record.buffer.end(), 0);
        std::memcpy(destination, record.buffer.data(), image_transfer_size);
        return;
    }
    failed = true;
    if (completed && status == LIBUSB_TRANSFER_STALL) {
        stalled = true;
        return;
    }
    // A departed device has no endpoint left to ask; submitting the record
    // again reports the loss.
    if (completed && status == LIBUSB_TRANSFER_NO_DEVICE)
        return;
    stalled = get_is_endpoint_stalled(image_channel, true);
}

void libusb_fx3_class::wake_image_reader() noexcept {
    {
        platform::scoped_lock_class completion(completion_lock);
        image_reader_woken = true;
    }
    completion_changed.notify_all();
}

bool libusb_fx3_class::cancel_image_transfers() {
    for (transfer_record& record : image_ring) {
        bool in_flight = false;
        {
            platform::scoped_lock_class completion(completion_lock);
            in_flight = record.state == transfer_state::in_flight;
        }
        // Nothing submits meanwhile (the caller holds transfer_lock); a
        // transfer that completes first makes this return NOT_FOUND.
        if (in_flight)
            libusb_cancel_transfer(record.transfer.get());
    }
    platform::scoped_lock_class completion(completion_lock);
    return completion_changed.wait_for(completion, cancellation_limit, [&]() QX_REQUIRES(completion_lock) {
        return std::none_of(image_ring.begin(), image_ring.end(), [](const transfer_record& record) {
            return record.state == transfer_state::in_flight;
        });
    });
}

bool libusb_fx3_class::get_is_endpoint_stalled(int channel, bool is_in) {
    platform::scoped_lock_class guard(control_lock);
    transfer_record& record = control_transfer;
    libusb_fill_control_setup(record.buffer.data(), endpoint_status_request_type, LIBUSB_REQUEST_GET_STATUS,
                              0, endpoint_address(channel, is_in), endpoint_status_size);
    libusb_fill_control_transfer(record.transfer.get(), handle.get(), record.buffer.data(),
                                 &libusb_fx3_class::transfer_completed, &record, control_timeout_ms);
    const int code = submit_and_wait(record, control_timeout_ms, "get_is_endpoint_stalled");
    if (code != LIBUSB_SUCCESS)
        throw_libusb_failure("get_is_endpoint_stalled", "GET_STATUS request", code);
    if (record.actual_length < 1) {
        throw std::runtime_error(
            "libusb_fx3_class::get_is_endpoint_stalled GET_STATUS request returned no status.");
    }
    return (libusb_control_transfer_get_data(record.transfer.get())[0] & endpoint_halt_bit) != 0;
}

void libusb_fx3_class::unstall_endpoint(int channel, bool is_in) {
    platform::scoped_lock_class transfers(transfer_lock);
    platform::scoped_lock_class controls(control_lock);
    const std::string endpoint_detail =
        ", channel_index_0_for_comm_1_for_image_data=" + std::to_string(channel) +
        ", is_in_not_out=" + std::to_string(is_in ? 1 : 0);
    if (channel == image_channel && is_in && !cancel_image_transfers()) {
        throw std::runtime_error(
            "libusb_fx3_class::unstall_endpoint cancelled image transfers did not come back" +
            endpoint_detail + ".");
    }
    const int code = libusb_clear_halt(handle.get(), endpoint_address(channel, is_in));
    if (code != LIBUSB_SUCCESS)
        throw_libusb_failure("unstall_endpoint", "libusb_clear_halt", code, endpoint_detail);
}

void libusb_fx3_class::reset_parent_port() {
    platform::scoped_lock_class transfers(transfer_lock);
    platform::scoped_lock_class controls(control_lock);
    // A reset ends every transfer; cancelling them first has each come back
    // in order, as a failed read.
    if (!cancel_image_transfers()) {
        throw std::runtime_error(
            "libusb_fx3_class::reset_parent_port cancelled image transfers did not come back.");
    }
    const int code = libusb_reset_device(handle.get());
    if (code != LIBUSB_SUCCESS)
        throw_libusb_failure("reset_parent_port", "libusb_reset_device", code);
    // libusb claims the interface again after the reset; a kernel driver that
    // bound in between is detached here.
    claim_interface("reset_parent_port");
}

}  // namespace qx::usb
