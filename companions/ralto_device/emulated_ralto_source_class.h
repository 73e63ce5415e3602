#pragma once
// The emulator's cameras of the ralto family as the module's camera source.
// Ralto cameras speak the same text protocol and stream the same packets as
// the built-in family, so each is served by the built-in family's camera
// core over the emulated USB transport.

#include <map>
#include <string>

#include "camera_listing_source_class.h"
#include "platform/annotated_mutex_class.h"

namespace qx {

class emulated_ralto_source_class final : public camera_listing_source_class {
  public:
    // Lists the emulator's ralto cameras by their "id" and "sernum"; a camera
    // that does not answer is left out.
    std::vector<listed_camera> list_cameras() QX_EXCLUDES(mutex_) override;
    // Opens a camera listed before; null when it is gone or was never listed.
    std::unique_ptr<ralto_camera_class> open_camera(const std::string& device_id) QX_EXCLUDES(mutex_) override;
    // An arriving camera is read for its id and becomes openable; a departed
    // one is forgotten.
    std::string note_device_change(int event_code, const std::string& device_path)
        QX_EXCLUDES(mutex_) override;

  private:
    platform::mutex_class mutex_;
    std::map<std::string, std::string> paths_ QX_GUARDED_BY(mutex_);  // camera id -> device path
};

}  // namespace qx
