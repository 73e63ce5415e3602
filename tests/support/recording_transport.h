#pragma once
// A transport that forwards every operation to another one and records it,
// so that a test sees exactly what the text channel asked of the link.

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "usb/usb_driver_base.h"

namespace qx::test {

class recording_transport final : public usb::usb_driver_base {
  public:
    explicit recording_transport(std::unique_ptr<usb::usb_driver_base> wrapped)
        : usb_driver_base(wrapped->device_path()), inner(std::move(wrapped)) {}

    void read__blocking(std::uint32_t length, void* destination, std::uint32_t timeout_ms, bool& timed_out,
                        bool& failed, bool& stalled) override {
        inner->read__blocking(length, destination, timeout_ms, timed_out, failed, stalled);
        record(std::string("read") + (timed_out ? " timed-out" : "") + (stalled ? " stalled" : ""));
    }
    void write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms, bool& timed_out,
               bool& stalled) override {
        inner->write(length, bytes, timeout_ms, timed_out, stalled);
        record("write " + std::string(static_cast<const char*>(bytes)) + (timed_out ? " timed-out" : "") +
               (stalled ? " stalled" : ""));
    }
    std::string get_usb_port_speed() override { return inner->get_usb_port_speed(); }
    void read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out, bool& failed,
                         bool& stalled) override {
        inner->read_image_data(destination, timeout_ms, timed_out, failed, stalled);
    }
    void prime_image_channel() override { inner->prime_image_channel(); }
    void wake_image_reader() noexcept override { inner->wake_image_reader(); }
    bool get_is_endpoint_stalled(int channel, bool is_in) override {
        const bool stalled = inner->get_is_endpoint_stalled(channel, is_in);
        if (stalled)
            record("stalled " + endpoint_name(channel, is_in));
        return stalled;
    }
    void unstall_endpoint(int channel, bool is_in) override {
        record("unstall " + endpoint_name(channel, is_in));
        inner->unstall_endpoint(channel, is_in);
    }
    void reset_parent_port() override {
        record("reset port");
        inner->reset_parent_port();
    }

    std::vector<std::string> take_operations() {
        std::lock_guard<std::mutex> guard(mutex);
        return std::exchange(operations, {});
    }

  private:
    static std::string endpoint_name(int channel, bool is_in) {
        char name[8];
        std::snprintf(name, sizeof name, "0x%02X", usb::endpoint_address(channel, is_in));
        return name;
    }
    void record(std::string operation) {
        std::lock_guard<std::mutex> guard(mutex);
        operations.push_back(std::move(operation));
    }

    std::unique_ptr<usb::usb_driver_base> inner;
    std::mutex mutex;
    std::vector<std::string> operations;  // guarded by mutex
};

}  // namespace qx::test
