#pragma once
// Where the ralto module's cameras come from. The module itself knows no
// camera; a source plugged into it (ralto_module_class) lists the attached
// cameras and opens them. Without a source the module honestly lists none.

#include <memory>
#include <string>
#include <vector>

#include "ralto_camera_class.h"

namespace qx {

struct listed_camera {
    std::string device_id;
    std::string serial_number;
};

class camera_listing_source_class {
  public:
    virtual ~camera_listing_source_class() = default;

    // The cameras attached now, in a stable order.
    virtual std::vector<listed_camera> list_cameras() = 0;
    // Opens a listed camera; null when it cannot be opened.
    virtual std::unique_ptr<ralto_camera_class> open_camera(const std::string& device_id) = 0;
    // A device of the family arrived (1) or departed (2) at `device_path`:
    // the source updates what it can open and names the camera's id; empty
    // when it cannot tell. A source that hears of no devices keeps this.
    virtual std::string note_device_change(int event_code, const std::string& device_path) {
        (void)event_code;
        (void)device_path;
        return {};
    }
};

}  // namespace qx
