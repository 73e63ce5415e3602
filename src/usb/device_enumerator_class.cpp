#include "usb/device_enumerator_class.h"

#include <algorithm>
#include <cstring>

#include "quendral_vko_camera_emulator.h"
#include "usb/usb_device_path.h"

namespace qx::usb {

namespace {

void to_upper_ascii(std::string& text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
}

}  // namespace

void device_enumerator_class::filter_candidates(const std::vector<std::string>& candidates,
                                                const usb_identity_filter& filter) {
    for (std::string path : candidates) {
        to_upper_ascii(path);
        const auto vendor = usb_id_after(path, "VID_");
        if (!vendor)
            continue;
        const auto product = usb_id_after(path, "PID_");
        if (!product)
            continue;
        if (*vendor != filter.vendor_id)
            continue;
        // Unused entries are 0, so a product id of 0 matches them.
        if (std::find(filter.product_ids.begin(), filter.product_ids.end(), *product) ==
            filter.product_ids.end()) {
            continue;
        }
        if (device_count >= max_enumerated_devices)
            continue;
        vendor_ids[device_count] = *vendor;
        product_ids[device_count] = *product;
        auto& stored = paths[device_count];
        stored.fill('\0');
        std::strncpy(stored.data(), path.c_str(), stored.size() - 1);
        ++device_count;
    }
}

int device_enumerator_class::enumerate(const usb_identity_filter& filter) {
    device_count = 0;
    for (auto& path : paths) path.fill('\0');
    vendor_ids.fill(0);
    product_ids.fill(0);

    const auto platform_paths = list_platform_device_paths();
    if (!platform_paths)
        return 0;
    filter_candidates(*platform_paths, filter);
    filter_candidates(list_emulated_device_paths(), filter);
    return device_count;
}

int device_enumerator_class::get_device_path(int index, char* destination, std::size_t size) const {
    if (index < 0 || index >= device_count || destination == nullptr)
        return 0;
    std::strncpy(destination, paths[static_cast<std::size_t>(index)].data(), size);
    return 1;
}

std::vector<std::string> list_emulated_device_paths() {
    std::vector<std::string> emulated;
    const int cameras = qx_emu_get_camera_count("qv");
    for (int index = 0; index < cameras; ++index) {
        char path[device_path_capacity] = {};
        if (qx_emu_get_camera_path("qv", index, path, sizeof path) == QX_EMU_OK)
            emulated.emplace_back(path);
    }
    return emulated;
}

}  // namespace qx::usb
