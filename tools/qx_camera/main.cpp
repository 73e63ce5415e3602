// qx-camera: the SDK's command-line tool. Finds cameras, reads and sets any
// parameter by name, saves frames as TIFF, FITS or PNG, streams with live
// statistics, checks the system, and speaks JSON for scripts.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "camera_session.h"
#include "exit_codes.h"
#include "subcommand_table.h"

int main(int argc, char** argv) {
    using namespace qx::tool;
    CLI::App app{
        "qx-camera: find, configure, capture from and stream Quendral VKO cameras.\n"
        "Every subcommand takes --serial, --emulate N|FILE and --json; 'qx-camera SUBCOMMAND --help' "
        "tells more.\nParameter names, units and ranges: 'qx-camera params' (add --emulate 1 to try "
        "without a camera)."};
    app.footer(exit_code_help());
    command_options options;
    const subcommand* chosen = nullptr;
    build_command_line(app, options, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        return code == 0 ? exit_success : exit_usage;
    }
    try {
        use_emulated_cameras(options.emulate);
        return chosen->run(options);
    } catch (const tool_failure& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "qx-camera: %s\n", failure.what());
        return failure.code();
    } catch (const std::exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "qx-camera: %s\n", failure.what());
        return exit_failure;
    }
}
