#pragma once
// Failures inside the emulator carry the status the C boundary returns.

#include <stdexcept>
#include <string>

#include "quendral_vko_camera_emulator.h"

namespace qx::emulator {

class emulator_error_class : public std::runtime_error {
  public:
    emulator_error_class(qx_emu_status status, const std::string& text)
        : std::runtime_error(text), status_(status) {}

    qx_emu_status status() const { return status_; }

  private:
    qx_emu_status status_;
};

}  // namespace qx::emulator
