#include "camera/gain_table_loader.h"

#include "camera/camera_command_port.h"

namespace qx::camera {

void load_gain_table(camera_command_port& handle) {
    const std::string description = handle.channel().get("gain.disc");
    constexpr std::size_t shortest_table_description = 5;
    if (description.size() < shortest_table_description || description.find("table") == std::string::npos)
        return;

    const std::string table = handle.channel().get("gain.table");
    if (table == "not applicable") {
        handle.camera_properties().gain_table.assign(1, "1");
        return;
    }
    std::size_t start = 0;
    while (start <= table.size()) {
        auto end = table.find(' ', start);
        if (end == std::string::npos)
            end = table.size();
        // Runs of blanks separate entries; they do not make empty ones.
        if (end > start)
            handle.camera_properties().gain_table.push_back(table.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace qx::camera
