#pragma once
// The transport to a virtual camera of the camera emulator: the same
// channels as a real camera, with the emulator's endpoints behind them.

#include "quendral_vko_camera_emulator.h"
#include "usb/usb_driver_base.h"

namespace qx::usb {

class emulated_fx3_class final : public usb_driver_base {
  public:
    // Fails with "emulated_fx3_class::emulated_fx3_class cannot open device: ..."
    // when the emulator has no camera at that path.
    explicit emulated_fx3_class(std::string device_path);
    ~emulated_fx3_class() override;

    void read__blocking(std::uint32_t length, void* destination, std::uint32_t timeout_ms, bool& timed_out,
                        bool& failed, bool& stalled) override;
    void write(std::uint32_t length, const void* bytes, std::uint32_t timeout_ms, bool& timed_out,
               bool& stalled) override;
    std::string get_usb_port_speed() override;
    void read_image_data(void* destination, std::uint32_t timeout_ms, bool& timed_out, bool& failed,
                         bool& stalled) override;
    void wake_image_reader() noexcept override;
    void prime_image_channel() override;
    bool get_is_endpoint_stalled(int channel, bool is_in) override;
    void unstall_endpoint(int channel, bool is_in) override;
    void reset_parent_port() override;

  private:
    // Throws for the statuses that end the connection (an unplugged camera).
    void throw_if_gone(int status, const char* method) const;

    qx_emu_device* device;
};

}  // namespace qx::usb
