// Gain: the index getter and setter, the gain table read when a camera
// opens, and the conversions between indexes and decibels.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using gain = parameter_fixture;

using replies = std::vector<std::pair<std::string, std::string>>;

const replies linear_0_to_480 = {{"gain.disc", "linear"}, {"gain.min", "0"}, {"gain.max", "480"}};
const replies table_0_to_3 = {
    {"gain.disc", "gain table"}, {"gain.table", "0 10 15 41"}, {"gain.min", "0"}, {"gain.max", "3"}};
const std::vector<std::string> range_queries = {"get gain.min", "get gain.max"};

// A camera whose gain table reads so.
replies gain_table(const std::string& entries) {
    return {{"gain.disc", "table"}, {"gain.table", entries}};
}

TEST_F(gain, index_set_checks_index_then_feature) {
    run_send_cases("gain", {{writing(qx_camera_set_gain, 0), "gain 0", yields("")}});
    // The index is checked before the feature.
    run_send_cases("exp", {
                              {writing(qx_camera_set_gain, -1), "", fails_with("gain")},
                              {writing(qx_camera_set_gain, 5), "", fails_with("Gain is not supported.")},
                              {reading(qx_camera_get_gain), "", fails_with("Gain is not supported.")},
                          });
}

// Conversions on a camera answering these replies; "sends the range" says
// whether the call reads the gain range.
struct conversion_case {
    replies answers;
    parameter_call call;
    bool sends_the_range;
    expected_outcome expected;
};

parameter_call to_index(double decibels) {
    return reading_for(qx_camera_convert_decibels_to_gain, decibels);
}
parameter_call to_decibels(int index) {
    return reading_for(qx_camera_convert_gain_to_decibels, index);
}

class gain_conversion : public gain {
  protected:
    void run_conversions(const std::string& features, const std::vector<conversion_case>& cases) {
        int number = 0;
        for (const auto& entry : cases) {
            run_case({"conversion " + std::to_string(++number), features, entry.answers, entry.call,
                      entry.sends_the_range ? range_queries : std::vector<std::string>{}, entry.expected});
        }
    }
};

TEST_F(gain_conversion, linear_camera_converts_by_ten_rounding_halves_away_from_zero) {
    const double infinity = std::numeric_limits<double>::infinity();
    const replies plus_minus_100 = {{"gain.min", "-100"}, {"gain.max", "100"}};
    run_conversions("gain",
                    {
                        {linear_0_to_480, to_index(6.04), true, yields("60")},
                        {linear_0_to_480, to_index(6.05), true, yields("61")},
                        {linear_0_to_480, to_index(100.0), true, yields("480")},
                        {linear_0_to_480, to_index(-3.0), true, yields("0")},
                        {linear_0_to_480, to_index(infinity), true, yields("480")},
                        {plus_minus_100, to_index(-0.25), true, yields("-3")},
                        // A minimum above the maximum gives no answer.
                        {{{"gain.min", "5"}, {"gain.max", "2"}}, to_index(0.3), true, yields("untouched")},
                        {linear_0_to_480, to_index(std::numeric_limits<double>::quiet_NaN()), false,
                         fails_with("decibels")},
                        {linear_0_to_480, to_decibels(65), false, yields("6.5")},
                    });
    run_conversions("exp", {
                               {{}, to_index(1.0), false, fails_with("Camera does not support gain.")},
                               {{}, to_decibels(1), false, fails_with("Camera does not support gain.")},
                           });
}

TEST_F(gain_conversion, table_camera_picks_the_nearest_entry_and_breaks_ties_upward) {
    const auto outside = fails_with("Gain index is outside the gain table.");
    const replies past_the_table = {
        {"gain.disc", "gain table"}, {"gain.table", "0 10 15 41"}, {"gain.min", "0"}, {"gain.max", "9"}};
    run_conversions("gain",
                    {
                        {table_0_to_3, to_index(1.1), true, yields("1")},
                        {table_0_to_3, to_index(1.25), true, yields("2")},
                        {table_0_to_3, to_index(1.5), true, yields("2")},
                        {table_0_to_3, to_index(3.0), true, yields("3")},
                        {table_0_to_3, to_index(10.0), true, yields("3")},
                        {table_0_to_3, to_index(-1.0), true, yields("0")},
                        {table_0_to_3, to_decibels(2), false, yields("1.5")},
                        {table_0_to_3, to_decibels(4), false, outside},
                        {table_0_to_3, to_decibels(-1), false, outside},
                        {past_the_table, to_index(10.0), true, outside},
                        {gain_table("0 x 15"), to_decibels(1), false, fails_with("invalid stoi argument")},
                        // Runs of blanks make no empty entries.
                        {gain_table("0  10   15"), to_decibels(2), false, yields("1.5")},
                        // One entry, or no table at all: linear.
                        {gain_table("not applicable"), to_decibels(25), false, yields("2.5")},
                        {{{"gain.disc", "discrete"}, {"gain.table", "0 10 15 41"}},
                         to_decibels(25),
                         false,
                         yields("2.5")},
                    });
}

TEST_F(gain, opening_reads_the_table_only_when_the_camera_has_one) {
    const struct {
        const char* features;
        replies answers;
        std::vector<std::string> opening;
    } cases[] = {
        {"gain",
         {{"gain.disc", "gain table 5"}, {"gain.table", "0 10"}},
         {"set stop", "get discover", "get gain.disc", "get gain.table"}},
        {"gain", {{"gain.disc", "linear"}}, {"set stop", "get discover", "get gain.disc"}},
        {"gain", {{"gain.disc", "tab"}}, {"set stop", "get discover", "get gain.disc"}},
        {"color exp", {}, {"set stop", "get discover"}},
    };
    for (const auto& entry : cases) {
        scripted_module().reset();
        scripted_module().add_camera("id-1", "SN1");
        scripted_module().set_reply("discover", entry.features);
        for (const auto& [command, reply] : entry.answers) scripted_module().set_reply(command, reply);
        void* camera = open_camera("SN1");
        ASSERT_NE(camera, nullptr);
        EXPECT_EQ(sent_commands(), entry.opening) << entry.features;
        close_camera(camera);
    }
}

TEST_F(gain, a_camera_that_does_not_know_its_gain_table_fails_to_open) {
    scripted_module().set_reply("discover", "gain");
    scripted_module().set_reply("gain.disc", "Invalid command");
    void* handle = nullptr;
    char serial[] = "SN1";
    EXPECT_EQ(qx_camera_open_camera(serial, &handle), 1004);
    EXPECT_EQ(last_error(), not_supported + " Error: Invalid operation.");
    EXPECT_EQ(handle, nullptr);
}

}  // namespace
