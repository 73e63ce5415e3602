#include "emulated_ralto_source_class.h"

#include "device_qv/device_dispatch.h"
#include "device_qv/qv_camera_class.h"
#include "platform/scoped_lock_class.h"
#include "quendral_vko_device_module.h"
#include "quendral_vko_camera_emulator.h"
#include "usb/emulated_fx3_class.h"

namespace qx {

namespace {

constexpr const char* emulator_family = "ralto";

// One opened camera: the transport first, so that it outlives the camera.
class emulated_ralto_camera_class final : public ralto_camera_class {
  public:
    explicit emulated_ralto_camera_class(const std::string& path) : transport_(path), camera_(&transport_) {}

    int get_data(const char* command, std::uint64_t command_size, const void* data, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) override {
        return device_qv::dispatch_get(
            {camera_, command, command_size, data, data_size, response, response_size});
    }
    int set_data(const char* command, std::uint64_t command_size, const void* data, std::uint64_t data_size,
                 char* response, std::uint64_t response_size) override {
        return device_qv::dispatch_set(
            {camera_, command, command_size, data, data_size, response, response_size});
    }

  private:
    usb::emulated_fx3_class transport_;
    device_qv::qv_camera_class camera_;
};

}  // namespace

std::vector<listed_camera> emulated_ralto_source_class::list_cameras() {
    std::vector<listed_camera> cameras;
    std::map<std::string, std::string> found;
    const int count = qx_emu_get_camera_count(emulator_family);
    for (int index = 0; index < count; ++index) {
        char path[256] = {};
        if (qx_emu_get_camera_path(emulator_family, index, path, sizeof path) != QX_EMU_OK)
            continue;
        try {
            usb::emulated_fx3_class transport(path);
            device_qv::qv_camera_class camera(&transport);
            cameras.push_back({camera.id(), camera.serial_number()});
            found[camera.id()] = path;
        } catch (...) {
            // A camera that cannot be read is not listed.
        }
    }
    platform::scoped_lock_class guard(mutex_);
    paths_ = std::move(found);
    return cameras;
}

std::unique_ptr<ralto_camera_class> emulated_ralto_source_class::open_camera(const std::string& device_id) {
    std::string path;
    {
        platform::scoped_lock_class guard(mutex_);
        const auto entry = paths_.find(device_id);
        if (entry == paths_.end())
            return nullptr;
        path = entry->second;
    }
    try {
        return std::make_unique<emulated_ralto_camera_class>(path);
    } catch (...) {
        return nullptr;
    }
}

std::string emulated_ralto_source_class::note_device_change(int event_code, const std::string& device_path) {
    if (event_code == QX_HOTPLUG_EVENT_ARRIVAL) {
        std::string camera_id;
        try {
            usb::emulated_fx3_class transport(device_path);
            device_qv::qv_camera_class camera(&transport);
            camera_id = camera.id();
        } catch (...) {
            return {};
        }
        platform::scoped_lock_class guard(mutex_);
        std::erase_if(paths_, [&](const auto& entry) { return entry.second == device_path; });
        paths_[camera_id] = device_path;
        return camera_id;
    }
    platform::scoped_lock_class guard(mutex_);
    for (auto entry = paths_.begin(); entry != paths_.end(); ++entry) {
        if (entry->second == device_path) {
            std::string camera_id = entry->first;
            paths_.erase(entry);
            return camera_id;
        }
    }
    return {};
}

}  // namespace qx
