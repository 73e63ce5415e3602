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

TEST(device_interface_walk, lists_every_member_in_the_driver_order_until_the_end) {
    scripted_interface_list list;
    list.members = {"\\\\?\\usb#vid_2a7c&pid_6101#1", "\\\\?\\usb#vid_2a7c&pid_6117#2",
                    "\\\\?\\usb#vid_04b4#3"};
    const auto found = qx::usb::walk_device_interfaces(list);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(*found, list.members);
    EXPECT_EQ(list.asked, (std::vector<std::uint32_t>{0, 1, 2, 3}));
}

TEST(device_interface_walk, an_empty_list_gives_no_path) {
    scripted_interface_list list;
    const auto found = qx::usb::walk_device_interfaces(list);
    ASSERT_TRUE(found.has_value());
    EXPECT_TRUE(found->empty());
}

TEST(device_interface_walk, a_failed_selection_repeats_the_previous_interface_and_asks_again) {
    scripted_interface_list list;
    list.members = {"A", "B"};
    list.failures_before[1] = 2;
    const auto found = qx::usb::walk_device_interfaces(list);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(*found, (paths{"A", "A", "A", "B"}));
    EXPECT_EQ(list.asked, (std::vector<std::uint32_t>{0, 1, 1, 1, 2}));
}

TEST(device_interface_walk, failures_are_retried_up_to_the_limit_and_then_give_up) {
    const int limit = qx::usb::interface_selection_retry_limit;
    {
        scripted_interface_list list;
        list.members = {"A", "B"};
        list.failures_before[1] = limit;
        const auto found = qx::usb::walk_device_interfaces(list);
        ASSERT_TRUE(found.has_value());
        EXPECT_EQ(found->size(), static_cast<std::size_t>(limit) + 2);
        EXPECT_EQ(found->back(), "B");
    }
    {
        scripted_interface_list list;
        list.members = {"A", "B"};
        list.failures_before[1] = limit + 1;
        EXPECT_FALSE(qx::usb::walk_device_interfaces(list).has_value());
        EXPECT_EQ(list.asked.size(), static_cast<std::size_t>(limit) + 2);
    }
}

TEST(device_interface_walk, an_unreadable_path_makes_the_whole_list_unreadable) {
    const struct {
        const char* name;
        std::vector<std::uint32_t> unreadable;
        std::map<std::uint32_t, int> failures_before;
    } cases[] = {
        {"first member", {0}, {}},
        {"after devices were found", {2}, {}},
        {"a failure before anything was selected", {}, {{0, 1}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        scripted_interface_list list;
        list.members = {"A", "B", "C", "D"};
        list.unreadable = c.unreadable;
        list.failures_before = c.failures_before;
        EXPECT_FALSE(qx::usb::walk_device_interfaces(list).has_value());
    }
}

}  // namespace
