// The camera's text protocol through the device's command endpoints: how
// commands interact (locks, frame time, region and binning, streaming, the
// feature words), the argument errors each kind of word gives, and the raw
// byte transfers. Each script runs on one camera in order.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "emulator/emulator_test_support.h"

namespace qx::emulator::testing {
namespace {

struct step {
    std::string command;
    std::string reply;
};

const std::string running = "Camera running (parameter cannot be set while in this mode)";
const std::string alignment = "Width must start even, end odd and be multiple of 4";
const std::string size_range = "Height and/or width out of range";
const std::string bin_combination = "Roi and bin combination invalid";

std::string full_camera_json() {
    return small_camera_json(
        R"("features":["color","eep","fps","gain","blklvl","polar_phase","readout_frequency","taps","statusled",)"
        R"("NIR_boost","statustec","sfr","pixel_clock_count_base","hot_pixel_correction"],)"
        R"("id":"ABC","serial":"QV00000042","gain_max":2,"user_memory_size":512,)"
        R"("column_gains":[{"constant":1.0},{"ramp":[1.0,2.0]},{"constant":0.5}])");
}

void run_script(const emulated_camera& camera, const std::vector<step>& script) {
    for (std::size_t i = 0; i < script.size(); ++i) {
        EXPECT_EQ(camera.command(script[i].command), script[i].reply)
            << "step " << i << ": \"" << script[i].command << "\"";
    }
}

TEST(command_table_class, argument_errors_and_the_name_lock) {
    run_script(emulated_camera(full_camera_json()),
               {
                   {"id 5", "Too many arguments"},
                   {"bogus", "Invalid command"},
                   {"", "Invalid command"},
                   {"ver.max", "Invalid command"},
                   {"exp 5", "Parameter out of range"},
                   {"exp abc", "Command option not supported"},
                   {"exp.max 3", "Too many arguments"},
                   {"name other", "Command locked"},
                   {"unlock dl", "Success"},
                   {"name two words", "Success"},
                   {"name", "two words"},
                   {"unlock dl", "Success"},
                   {"exp", "10000"},
                   {"name late", "Command locked"},
                   {"unlock dl", "Success"},
                   {"name " + std::string(64, 'n'), "Parameter out of range"},
                   {"unlock", "Not enough arguments"},
                   {"unlock xx", "Command option not supported"},
               });
}

TEST(command_table_class, frame_time_follows_the_fixed_rate_switch) {
    run_script(emulated_camera(full_camera_json()), {
                                                        {"frametime 5000", "Success"},
                                                        {"sfr", "off 30000"},
                                                        {"sfr on", "Success"},
                                                        {"frametime", "33333"},
                                                        {"sfr 50000", "Success"},
                                                        {"sfr", "on 50000"},
                                                        {"frametime", "20000"},
                                                        {"sfr maybe", "Command option not supported"},
                                                        {"sfr 1", "Parameter out of range"},
                                                        {"sfr off", "Success"},
                                                        {"frametime", "5000"},
                                                        {"hot_pixel_correction threshold 200", "Success"},
                                                        {"hot_pixel_correction threshold", "200"},
                                                        {"fps 40", "Parameter out of range"},
                                                    });
}

TEST(command_table_class, region_of_interest_and_binning) {
    run_script(emulated_camera(full_camera_json()), {
                                                        {"roi 16 2 47 5", "Success"},
                                                        {"roi", "16 2 47 5"},
                                                        {"image_width", "32"},
                                                        {"image_height", "4"},
                                                        {"sensor_readout_time", "40000"},
                                                        {"roi 1 0 32 7", alignment},
                                                        {"roi 0 0 33 7", alignment},
                                                        {"roi 0 0 64 7", size_range},
                                                        {"roi 0 0 63 8", size_range},
                                                        {"roi 4 0 3 7", size_range},
                                                        {"roi 0 0 11 7", size_range},
                                                        {"roi -2 0 63 7", size_range},
                                                        {"roi 0 0 63", "Not enough arguments"},
                                                        {"roi a 0 63 7", "Command option not supported"},
                                                        {"roi", "16 2 47 5"},
                                                        {"hbin 2", "Success"},
                                                        {"image_width", "16"},
                                                        {"vbin 3", bin_combination},
                                                        {"hbin 5", "Parameter out of range"},
                                                        {"hbin 4", "Success"},
                                                        {"roi 0 0 23 7", bin_combination},
                                                        {"vbin 2", "Success"},
                                                        {"image_height", "2"},
                                                    });
}

TEST(command_table_class, trigger_modes_and_the_exposure_pin_follow_the_stream) {
    run_script(emulated_camera(full_camera_json()), {
                                                        {"gain 3", "Parameter out of range"},
                                                        {"hwtrig std lo", "Success"},
                                                        {"hwtrig bulb", "Success"},
                                                        {"hwtrig", "bulb lo"},
                                                        {"hwtrig fast", "Command option not supported"},
                                                        {"hwtrig std up", "Command option not supported"},
                                                        {"eep on", "Success"},
                                                        {"eep", "on bulb"},
                                                        {"hwtrig none", "Success"},
                                                        {"eep", "on inactive"},
                                                        {"arm", "Success"},
                                                        {"eep", "on active"},
                                                        {"stop", "Success"},
                                                    });
}

TEST(command_table_class, settings_refused_while_streaming) {
    run_script(emulated_camera(full_camera_json()), {
                                                        {"arm", "Success"},
                                                        {"roi 0 0 31 7", running},
                                                        {"hbin 2", running},
                                                        {"vbin 2", running},
                                                        {"pixel_bit_depth 8", running},
                                                        {"roi", "0 0 63 7"},
                                                        {"exp 1000", "Success"},
                                                        {"gain 1", "1"},
                                                        {"stop", "Success"},
                                                        {"roi 0 0 31 7", "Success"},
                                                        {"start", "Success"},
                                                        {"hbin 2", running},
                                                        {"stop now", "Too many arguments"},
                                                        {"stop", "Success"},
                                                        {"hbin 2", "Success"},
                                                    });
}

TEST(command_table_class, feature_words_decide_which_commands_exist) {
    const emulated_camera camera(small_camera_json(R"("features":["gain"])"));
    EXPECT_EQ(camera.command("discover"), "gain");
    for (const std::string missing : {"color", "color_filter_phase", "blklvl", "blklvl.max", "sfr", "eep",
                                      "fps", "taps", "tap_balance_enable on", "statusled", "statustec",
                                      "polar_phase", "readout_frequency", "hot_pixel_correction threshold"}) {
        EXPECT_EQ(camera.command(missing), "Invalid command") << missing;
    }
    run_script(camera,
               {{"NIR_boost.max", "0"}, {"NIR_boost 1", "Parameter out of range"}, {"prnu crc 0", "none"}});
    const emulated_camera table_camera(small_camera_json(R"("gain_table":[0,10,15,41])"));
    run_script(table_camera, {{"gain.disc", "table"},
                              {"gain.table", "0 10 15 41"},
                              {"gain.max", "3"},
                              {"gain 4", "Parameter out of range"}});
}

TEST(command_table_class, user_memory_round_trip_with_raw_bytes) {
    const emulated_camera camera(full_camera_json());
    run_script(camera, {
                           {"nvstor xx", "Command option not supported"},
                           {"nvstor rb 0", "Not enough arguments"},
                           {"nvstor rb 510 4", "Parameter out of range"},
                           {"nvstor rb 0 257", "Parameter out of range"},
                           {"nvstor erase 500 13", "Parameter out of range"},
                           {"nvstor erase 0 16", "Success"},
                       });
    const auto raw = [&](const std::string& bytes) { return camera.exchange_raw(bytes + '\0'); };
    // Erased memory reads 0xFF; the reply is the command's text, a colon and the raw bytes, without a NUL.
    EXPECT_EQ(raw("nvstor rb 0 4"), "nvstor rb 0 4:\xFF\xFF\xFF\xFF");
    // A chunk may end in a zero byte, right before the command's own NUL.
    EXPECT_EQ(camera.exchange(std::string("nvstor wb 2 3:\x01\x02\x00", 17) + '\0'), "Success");
    EXPECT_EQ(camera.exchange(std::string("nvstor wb 5 2:a ") + '\0'), "Success");
    EXPECT_EQ(raw("nvstor rb 1 7"), std::string("nvstor rb 1 7:\xFF\x01\x02\x00"
                                                "a \xFF",
                                                21));
    EXPECT_EQ(camera.exchange(std::string("nvstor wb 0 4:ab") + '\0'), "Not enough arguments");
    EXPECT_EQ(camera.exchange(std::string("nvstor wb 510 4:abcd") + '\0'), "Parameter out of range");
}

TEST(command_table_class, column_gains_as_hexadecimal_bit_patterns) {
    const emulated_camera camera(full_camera_json());
    // Every factor of every table is read bit for bit by the device module's
    // column-balancing test; here the bytes of 1.0, and a hexadecimal offset.
    EXPECT_EQ(camera.command("prnu r 0 0 8"), "0000803f0000803f");
    EXPECT_EQ(camera.command("prnu r 2 3f 4"), "0000003f");
    EXPECT_EQ(camera.command("prnu r 0 0 100").size(), 64u * 8u);
    for (const std::string refused :
         {"prnu r 3 0 4", "prnu r 0 3f 8", "prnu r 0 0 6", "prnu r 0 0 0", "prnu crc 3"}) {
        EXPECT_EQ(camera.command(refused), "Parameter out of range") << refused;
    }
    EXPECT_EQ(camera.command("prnu r 0 zz 4"), "Command option not supported");
    // Different tables have different check sums; the check sum is a decimal integer.
    const auto first = camera.command("prnu crc 0");
    EXPECT_NE(first, camera.command("prnu crc 1"));
    EXPECT_EQ(first.find_first_not_of("0123456789"), std::string::npos) << first;
}

TEST(command_table_class, command_bytes_tolerate_missing_nul_and_trailing_bytes) {
    const emulated_camera camera(full_camera_json());
    EXPECT_EQ(camera.exchange("sernum"), "QV00000042");
    EXPECT_EQ(camera.exchange(std::string("sernum\0garbage", 14)), "QV00000042");
    EXPECT_EQ(camera.exchange_raw(std::string("id") + '\0'), std::string("ABC") + '\0');
}

TEST(command_table_class, reply_overrides_and_command_log) {
    // Forward slashes: the path goes into JSON text unescaped, and Windows
    // reads them as well as its own.
    std::string log_path = ::testing::TempDir() + "emulator_command_log.txt";
    std::replace(log_path.begin(), log_path.end(), '\\', '/');
    std::remove(log_path.c_str());
    const emulated_camera camera(small_camera_json(
        R"("replies":{"iosetup":"!t!s","exp 7":"Camera Running"},"command_log":")" + log_path + "\""));
    run_script(camera, {{"iosetup", "!t!s"}, {"exp 7", "Camera Running"}, {"exp", "10000"}});
    EXPECT_EQ(camera.exchange(std::string("nvstor wb 0 2:\x01\n") + '\0'), "Success");
    std::ifstream log(log_path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"iosetup", "exp 7", "exp", "nvstor wb 0 2:\\x01\\x0A"}));
}

}  // namespace
}  // namespace qx::emulator::testing
