#pragma once
// Finds the cameras of the built-in family among the USB devices present:
// every device path the platform's driver offers, then the emulator's
// cameras, filtered by vendor and product id. At most eight are kept.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qx::usb {

inline constexpr int max_enumerated_devices = 8;
inline constexpr std::size_t device_path_capacity = 256;
inline constexpr std::size_t product_table_size = 64;

// Which devices belong to the family; unused product entries are 0.
struct usb_identity_filter {
    std::uint32_t vendor_id = 0;
    std::array<std::uint32_t, product_table_size> product_ids{};
};

class device_enumerator_class {
  public:
    // Rebuilds the tables from the devices present; returns the count, or 0
    // when the platform's device list could not be read.
    int enumerate(const usb_identity_filter& filter);

    // Copies path `index` (NUL-padded to `size` bytes, unterminated if it
    // fills them) and returns 1; returns 0 and writes nothing for an index
    // outside 0 .. count - 1.
    int get_device_path(int index, char* destination, std::size_t size) const;

    int count() const { return device_count; }

    // Applies the filter to candidate paths in order, as enumerate does with
    // the platform's and the emulator's paths.
    void filter_candidates(const std::vector<std::string>& candidates, const usb_identity_filter& filter);

  private:
    int device_count = 0;
    std::array<std::array<char, device_path_capacity>, max_enumerated_devices> paths{};
    std::array<std::uint32_t, max_enumerated_devices> vendor_ids{};
    std::array<std::uint32_t, max_enumerated_devices> product_ids{};
};

// The paths of the present devices of the platform's USB driver, in the
// driver's order; empty optional when the list cannot be read. One
// definition per platform (libusb, or the Windows setup interfaces).
std::optional<std::vector<std::string>> list_platform_device_paths();

// The paths of the emulator's cameras of the built-in family.
std::vector<std::string> list_emulated_device_paths();

}  // namespace qx::usb
