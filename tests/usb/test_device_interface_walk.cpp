// The walk over the USB driver's device-interface list: its end, a member
// that cannot be selected, and a path that cannot be read.

#include <gtest/gtest.h>

#include <map>

#include "usb/device_interface_walk.h"

namespace {

using qx::usb::interface_selection;

// A driver list scripted member by member. A selection failure leaves the
// previous selection in place, as the driver's interface record does.
class scripted_interface_list final : public qx::usb::device_interface_list {
  public:
    std::vector<std::string> members;
    // Failures to report for an index before it is selected.
    std::map<std::uint32_t, int> failures_before;
    // Indexes whose path the driver refuses to give.
    std::vector<std::uint32_t> unreadable;
    std::vector<std::uint32_t> asked;

    interface_selection select_interface(std::uint32_t index) override {
        asked.push_back(index);
        if (auto failures = failures_before.find(index);
            failures != failures_before.end() && failures->second > 0) {
            --failures->second;
            return interface_selection::failed;
        }
        if (index >= members.size())
            return interface_selection::end_of_list;
        selected = static_cast<int>(index);
        return interface_selection::selected;
    }

    std::optional<std::string> read_selected_path() override {
        if (selected < 0)
            return std::nullopt;  // an empty record describes nothing
        for (const auto refused : unreadable) {
            if (refused == static_cast<std::uint32_t>(selected))
                return std::nullopt;
        }
        return members[static_cast<std::size_t>(selected)];
    }

  private:
    int selected = -1;
};

using paths = std::vector<std::string>;

TEST(device_interface_walk, lists_members_in_order_and_repeats_the_previous_one_on_a_failed_selection) {
    const int limit = qx::usb::interface_selection_retry_limit;
    paths at_limit(static_cast<std::size_t>(limit) + 1, "A");
    at_limit.push_back("B");
    const struct {
        const char* name;
        paths members;
        std::map<std::uint32_t, int> failures_before;
        std::vector<std::uint32_t> unreadable;
        std::optional<paths> expected;  // none: the list cannot be read
        std::size_t selections;         // asked of the driver, the one past the end included
    } rows[] = {
        {"every member until the end", {"1", "2", "3"}, {}, {}, paths{"1", "2", "3"}, 4},
        {"an empty list", {}, {}, {}, paths{}, 1},
        {"two failed selections", {"A", "B"}, {{1, 2}}, {}, paths{"A", "A", "A", "B"}, 5},
        {"failures up to the limit",
         {"A", "B"},
         {{1, limit}},
         {},
         at_limit,
         static_cast<std::size_t>(limit) + 3},
        {"one failure beyond the limit",
         {"A", "B"},
         {{1, limit + 1}},
         {},
         std::nullopt,
         static_cast<std::size_t>(limit) + 2},
        {"an unreadable first member", {"A", "B", "C", "D"}, {}, {0}, std::nullopt, 1},
        {"an unreadable member after others", {"A", "B", "C", "D"}, {}, {2}, std::nullopt, 3},
        {"a failure before anything was selected", {"A", "B", "C", "D"}, {{0, 1}}, {}, std::nullopt, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        scripted_interface_list list;
        list.members = row.members;
        list.failures_before = row.failures_before;
        list.unreadable = row.unreadable;
        EXPECT_EQ(qx::usb::walk_device_interfaces(list), row.expected);
        EXPECT_EQ(list.asked.size(), row.selections);
    }
}

}  // namespace
