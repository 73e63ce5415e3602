#pragma once
// The walk over a USB driver's list of device interfaces that produces the
// candidate device paths, in the driver's order (the identity filter of
// device_enumerator_class upper-cases and sorts them out afterwards). The Windows setup
// interfaces provide the list; the walk itself is portable so that its
// behaviour at the list's end and on failures is checked everywhere.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qx::usb {

// What asking for interface i of the list gave.
enum class interface_selection {
    selected,     // interface i is now the selected one
    end_of_list,  // there is no interface i (ERROR_NO_MORE_ITEMS)
    failed,       // another failure: the previous selection stands
};

// One driver interface list, read one member at a time.
class device_interface_list {
  public:
    virtual ~device_interface_list() = default;
    // Selects member `index` of the list.
    virtual interface_selection select_interface(std::uint32_t index) = 0;
    // The device path of the selected interface, or empty when the driver
    // refuses to describe it.
    virtual std::optional<std::string> read_selected_path() = 0;
};

// How often one member index is asked for again after failures other than
// the list's end before the walk gives up.
inline constexpr int interface_selection_retry_limit = 16;

// Walks the list from member 0 until its end. A failure to select a member
// does not advance the index; the pass goes on with the previous selection
// (which lists that interface's path once more) and the same index is asked
// for again, at most interface_selection_retry_limit times in a row. A path
// that cannot be read, or too many failures in a row, make the whole list
// unreadable: empty optional.
inline std::optional<std::vector<std::string>> walk_device_interfaces(device_interface_list& list) {
    std::vector<std::string> paths;
    std::uint32_t index = 0;
    int failures_in_a_row = 0;
    for (;;) {
        switch (list.select_interface(index)) {
            case interface_selection::selected:
                ++index;
                failures_in_a_row = 0;
                break;
            case interface_selection::end_of_list:
                return paths;
            case interface_selection::failed:
                if (++failures_in_a_row > interface_selection_retry_limit)
                    return std::nullopt;
                break;
        }
        auto path = list.read_selected_path();
        if (!path)
            return std::nullopt;
        paths.push_back(std::move(*path));
    }
}

}  // namespace qx::usb
