#include "status_error.h"

#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::python {

status_error::status_error(int status, std::string text, bool from_emulator)
    : std::runtime_error(std::move(text)), status_(status), from_emulator_(from_emulator) {}

void check_sdk(int status) {
    if (status != QX_STATUS_SUCCESS) throw status_error(status, qx_camera_get_last_error());
}

void check_emulator(int status) {
    if (status != QX_EMU_OK) throw status_error(status, qx_emu_get_last_error(), true);
}

}  // namespace qx::python
