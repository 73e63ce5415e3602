// User memory in chunks of at most 256 bytes, raw behind a colon, and the
// camera name with its unlock.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "camera/parameter_fixture.h"

namespace {

using namespace qx::test;

using user_memory = parameter_fixture;

// The bytes as text, for commands and replies that carry them raw.
std::string bytes(const std::vector<unsigned char>& values) {
    return std::string(values.begin(), values.end());
}

// count bytes counting up from `first`, wrapping at 256 and so holding zeros.
std::vector<unsigned char> counting(int count, int first) {
    std::vector<unsigned char> values(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index)
        values[static_cast<std::size_t>(index)] = static_cast<unsigned char>(first + index);
    return values;
}

// A read of `count` bytes at `offset`; the value is the bytes read, as text.
parameter_call reading_memory(long long count, long long offset) {
    return [count, offset](void* camera) {
        std::vector<unsigned char> destination(static_cast<std::size_t>(count > 0 ? count : 1), 0xEE);
        const int status = qx_camera_get_user_memory(camera, destination.data(), count, offset);
        const bool untouched = std::all_of(destination.begin(), destination.end(),
                                           [](unsigned char value) { return value == 0xEE; });
        return call_outcome{status, untouched ? "untouched" : bytes(destination)};
    };
}

parameter_call writing_memory(std::vector<unsigned char> source, long long offset) {
    return status_of([source, offset](void* camera) {
        // One byte of room past the data, so that even no data has an address.
        std::vector<unsigned char> storage = source;
        storage.push_back(0xEE);
        return qx_camera_set_user_memory(camera, storage.data(), static_cast<long long>(source.size()),
                                         offset);
    });
}

// The reply of a read chunk: the command echoed, a colon, the bytes.
std::pair<std::string, std::string> chunk_reply(const std::string& command,
                                                const std::vector<unsigned char>& data) {
    return {command, command + ":" + bytes(data)};
}

TEST_F(user_memory, reads_in_chunks_of_256) {
    const auto data = counting(600, 7);
    const std::vector<unsigned char> first(data.begin(), data.begin() + 256);
    const std::vector<unsigned char> second(data.begin() + 256, data.begin() + 512);
    const std::vector<unsigned char> third(data.begin() + 512, data.end());
    run_case({"600 bytes from offset 100, zeros included",
              "",
              {chunk_reply("nvstor rb 100 256", first), chunk_reply("nvstor rb 356 256", second),
               chunk_reply("nvstor rb 612 88", third)},
              reading_memory(600, 100),
              {"get nvstor rb 100 256", "get nvstor rb 356 256", "get nvstor rb 612 88"},
              yields(bytes(data))});
    const auto four = reading_memory(4, 0);
    const auto no_colon = fails_with("Did not find a colon in the nvstor response string.");
    run_reply_cases(
        "",
        {
            {four, "nvstor rb 0 4", "nvstor rb 0 4:" + bytes({1, 0, 2, 255}), yields(bytes({1, 0, 2, 255}))},
            {four, "nvstor rb 0 4", "nvstor rb 0 5:abcd", fails_with("nvstor rb 0 5:abcd")},
            {four, "nvstor rb 0 4", "Error", fails_with("Error")},
            {four, "nvstor rb 0 4", "nvstor rb 0 4 abcd", no_colon},
            {four, "nvstor rb 0 4", "nvstor rb 0 4", no_colon},
            {reading(qx_camera_get_user_memory_maximum_size), "nvstor size", "1048576", yields("1048576")},
            {reading(qx_camera_get_user_memory_maximum_size), "nvstor size", "big",
             fails_with("invalid stoll argument")},
        });
    run_send_cases("",
                   {
                       {reading_memory(0, 5), "", yields("untouched")},
                       {reading_memory(-1, 0), "", fails_with("Number of bytes to read cannot be negative.")},
                       {reading_memory(1, -1), "", fails_with("User-memory offset cannot be negative.")},
                       {reading_memory(2, LLONG_MAX), "", fails_with("User-memory range is too large.")},
                   });
}

TEST_F(user_memory, a_failed_chunk_keeps_the_chunks_before_it) {
    const auto data = counting(300, 1);
    void* camera = open_scripted_camera(
        "", {chunk_reply("nvstor rb 0 256", std::vector<unsigned char>(data.begin(), data.begin() + 256)),
             {"nvstor rb 256 44", "Command locked"}});
    std::vector<unsigned char> destination(300, 0xEE);
    EXPECT_EQ(qx_camera_get_user_memory(camera, destination.data(), 300, 0), 1004);
    EXPECT_EQ(last_error(),
              as_last_error(with_handle(context_of("nvstor rb 256 44"), camera) + "Command locked'"));
    EXPECT_TRUE(std::equal(destination.begin(), destination.begin() + 256, data.begin()));
    EXPECT_TRUE(
        std::all_of(destination.begin() + 256, destination.end(), [](auto value) { return value == 0xEE; }));
}

TEST_F(user_memory, writes_erase_first_and_end_chunks_at_zero_bytes) {
    std::vector<unsigned char> no_zeros(600);
    for (std::size_t index = 0; index < no_zeros.size(); ++index) {
        no_zeros[index] = static_cast<unsigned char>(index % 200 + 1);
    }
    const auto part = [&](std::size_t from, std::size_t to) {
        return bytes({no_zeros.begin() + static_cast<long>(from), no_zeros.begin() + static_cast<long>(to)});
    };
    // The erase, then the chunks; the erase must be answered "Success".
    const struct {
        std::vector<unsigned char> data;
        long long offset;
        std::string erase_reply;
        std::vector<std::string> sent;
        expected_outcome expected;
    } writes[] = {
        {{1, 2, 0, 3},
         0,
         "Success",
         {"set nvstor erase 0 4", "set nvstor wb 0 3:\x01\x02", "set nvstor wb 3 1:\x03"},
         yields("")},
        {{0, 5},
         9,
         "Success",
         {"set nvstor erase 9 2", "set nvstor wb 9 1:", "set nvstor wb 10 1:\x05"},
         yields("")},
        {no_zeros,
         10,
         "Success",
         {"set nvstor erase 10 600", "set nvstor wb 10 256:" + part(0, 256),
          "set nvstor wb 266 256:" + part(256, 512), "set nvstor wb 522 88:" + part(512, 600)},
         yields("")},
        {{9}, 0, "Success: 1 byte", {"set nvstor erase 0 1", "set nvstor wb 0 1:\x09"}, yields("")},
        {{9}, 0, "Error", {"set nvstor erase 0 1"}, fails_with("Error")},
        {{9}, 0, "Succes", {"set nvstor erase 0 1"}, fails_with("Succes")},
        {{9},
         0,
         "",
         {"set nvstor erase 0 1"},
         fails_with(context_of("nvstor erase 0 1") +
                    "Response required, but not received, possibly due to USB stall. Please try again.")},
        {{}, 5, "Success", {"set nvstor erase 5 0"}, yields("")},
    };
    for (const auto& entry : writes) {
        const std::string erase = entry.sent.front().substr(4);
        run_case({erase,
                  "",
                  {{erase, entry.erase_reply}},
                  writing_memory(entry.data, entry.offset),
                  entry.sent,
                  entry.expected});
    }
    run_send_cases("",
                   {
                       {writing_memory({1}, -1), "",
                        fails_with("Condition is unexpectedly false: Parameters cannot be negative.")},
                       {writing_memory({1, 2}, LLONG_MAX), "", fails_with("User-memory range is too large.")},
                   });
}

TEST_F(user_memory, the_name_is_unlocked_then_sent) {
    const auto naming = [](std::string name) {
        return status_of([name](void* camera) mutable { return qx_camera_set_name(camera, name.data()); });
    };
    // A name reaches the camera only after the unlock.
    run_case({"an empty name", "", {}, naming(""), {"set unlock dl", "set name "}, yields("")});
    run_case({"a refused unlock",
              "",
              {{"unlock dl", "Command locked"}},
              naming("x"),
              {"set unlock dl"},
              fails_with(context_of("unlock dl") + "Command locked")});
}

}  // namespace
