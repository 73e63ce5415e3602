/**
 * @file quendral_vko_firmware_phrases.h
 * @brief The phrases a camera's firmware puts in a reply that refuses a
 *        command, in the firmware's own order.
 *
 * Index 0, "Success", is the firmware's answer to an accepted setting; every
 * other phrase marks a refusal. The SDK scans each reply for phrases 1 to 17
 * in this order, and so can an application that sends raw commands with
 * `_internal_command`:
 * @code
 *   static const char* const phrases[] = {QX_FIRMWARE_PHRASES};
 * @endcode
 */
#ifndef QUENDRAL_VKO_FIRMWARE_PHRASES_H
#define QUENDRAL_VKO_FIRMWARE_PHRASES_H

/** Number of phrases in #QX_FIRMWARE_PHRASES. */
#define QX_FIRMWARE_PHRASE_COUNT 18

/** The phrases, as a list of string literals for an array initialiser. */
#define QX_FIRMWARE_PHRASES                                                                               \
    "Success", "Command not found", "Too many arguments", "Not enough arguments", "Invalid command",      \
        "Duplicate command", "Command missing in JSON structure", "Initializing",                         \
        "Command option not supported", "FPGA not programmed",                                            \
        "Width must start even, end odd and be multiple of 4", "Height and/or width out of range",        \
        "Parameter out of range", "Command locked",                                                       \
        "Camera running (parameter cannot be set while in this mode)", "Roi and bin combination invalid", \
        "Image data sync failure", "Camera Running"

#endif
