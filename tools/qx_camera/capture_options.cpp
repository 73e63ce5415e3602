#include "capture_options.h"

#include <CLI/CLI.hpp>

namespace qx::tool {

void add_capture_options(CLI::App& command, command_options& options, bool output_required) {
    auto* output = command.add_option("-o,--output", options.output,
                                      "Image file: .tif/.tiff (TIFF), .fits/.fit/.fts (FITS) or .png (PNG); "
                                      "{n} in the name gives one file per frame");
    if (output_required)
        output->required();
    command.add_option("-s,--set", options.assignments, "NAME=VALUE set before capturing (repeatable)");
    command.add_flag("--msb-align", options.msb_align,
                     "Scale counts to the full 16 bits (default: raw counts)");
    command.add_option("--compression", options.compression, "TIFF compression")
        ->check(CLI::IsMember({"none", "deflate"}));
    command.add_flag("--fits-cube", options.fits_cube,
                     "FITS: one cube for all frames instead of one HDU each");
    command.add_option("--timeout", options.timeout_s, "Seconds to wait for a frame before giving up")
        ->check(CLI::PositiveNumber);
    command.add_option("--buffers", options.buffers, "Frame buffers the SDK keeps")
        ->check(CLI::Range(2, 1024));
}

writer_settings writer_settings_of(const command_options& options) {
    return {options.compression == "deflate", options.fits_cube};
}

}  // namespace qx::tool
