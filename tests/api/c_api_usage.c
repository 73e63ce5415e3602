/* The public headers as a C program sees them: they compile as C11, and the
   C calling convention reaches the kit. */
#include <string.h>

#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"
#include "quendral_vko_device_module.h"
#include "quendral_vko_firmware_phrases.h"
#include "quendral_vko_logging.h"

static const char* const firmware_phrases[] = {QX_FIRMWARE_PHRASES};

/* A null handle from C: the status and the text it leaves. */
int c_api_null_handle_status(char* text, int text_size) {
    long long exposure = 0;
    const int status = qx_camera_get_exposure_time(NULL, &exposure);
    strncpy(text, qx_camera_get_last_error(), (size_t)text_size - 1);
    text[text_size - 1] = '\0';
    return status;
}

const char* c_api_firmware_phrase(int index) {
    return index >= 0 && index < QX_FIRMWARE_PHRASE_COUNT ? firmware_phrases[index] : NULL;
}
