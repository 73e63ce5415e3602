#pragma once
// Drives camera parameter functions against the scripted device module: each
// case opens a fresh camera with the features it names, scripts the replies,
// makes one call and checks the commands sent (exact bytes and sizes) and
// the value produced or the failure text.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/kit_fixture.h"

namespace qx::test {

// What one call produced: its status and its output as text ("untouched"
// when the output still holds the value it had before the call).
struct call_outcome {
    int status = 0;
    std::string value;
};

using parameter_call = std::function<call_outcome(void*)>;

inline constexpr int untouched_marker = -7777;

template <class Value>
std::string value_text(Value value) {
    if (value == static_cast<Value>(untouched_marker))
        return "untouched";
    std::ostringstream text;
    text << std::setprecision(17) << value;
    return text.str();
}

// Values as text separated by blanks, in order.
template <class Values>
std::string values_text(const Values& values) {
    std::string text;
    for (const auto& value : values) text += (text.empty() ? "" : " ") + value_text(value);
    return text;
}

// A getter of one or more values of one type (a range reads "minimum
// maximum").
template <class Value, class... Same>
parameter_call reading(int (*getter)(void*, Value*, Same*...)) {
    return [getter](void* camera) {
        std::array<Value, 1 + sizeof...(Same)> values;
        values.fill(static_cast<Value>(untouched_marker));
        const int status = std::apply([&](auto&... value) { return getter(camera, &value...); }, values);
        return call_outcome{status, values_text(values)};
    };
}

// A getter taking one input before its output.
template <class Input, class Value>
parameter_call reading_for(int (*getter)(void*, Input, Value*), Input input) {
    return [getter, input](void* camera) {
        Value value = static_cast<Value>(untouched_marker);
        const int status = getter(camera, input, &value);
        return call_outcome{status, value_text(value)};
    };
}

// A setter; its outcome has no value.
template <class Value>
parameter_call writing(int (*setter)(void*, Value), Value value) {
    return [setter, value](void* camera) { return call_outcome{setter(camera, value), ""}; };
}

using camera_call = std::function<int(void*)>;

// Any call whose outcome is only its status.
inline parameter_call status_of(camera_call call) {
    return [call](void* camera) { return call_outcome{call(camera), ""}; };
}

struct expected_outcome {
    bool success = true;
    std::string text;  // the value on success, the failure's message otherwise
};

inline expected_outcome yields(std::string value) {
    return {true, std::move(value)};
}
inline expected_outcome fails_with(std::string message) {
    return {false, std::move(message)};
}

struct parameter_case {
    std::string label;
    std::string features;  // the camera's "discover" reply
    std::vector<std::pair<std::string, std::string>> replies;
    parameter_call call;
    std::vector<std::string> sent;  // "get exp", "set exp 100", in order
    expected_outcome expected;
};

// A call that sends one command: the command, the camera's reply to it and
// the outcome.
struct reply_case {
    parameter_call call;
    std::string command;
    std::string reply;
    expected_outcome expected;
};

// A call that sends at most one set command, without reply: the command
// ("" when nothing may be sent) and the outcome.
struct send_case {
    parameter_call call;
    std::string command;
    expected_outcome expected;
};

// The text put in front of every failure of an exchange, with the handle's
// address left as "{handle}" (see with_handle). By default the sizes are
// those of a parameter method: the command with its NUL, no data, the
// handle's 1,024-byte reply buffer.
inline std::string context_of(const std::string& command, std::uint64_t command_size, std::uint64_t data_size,
                              std::int64_t response_size) {
    return "Error: qx_camera_handle={handle}, command='" + command +
           "', command_size_bytes_including_any_null_terminator = " + std::to_string(command_size) +
           ", data_size_bytes = " + std::to_string(data_size) +
           "', response_size_bytes_up_to_1024 = " + std::to_string(response_size) + ": ";
}

inline std::string context_of(const std::string& command) {
    return context_of(command, command.size() + 1, 0, 1024);
}

// The text with its "{handle}" replaced by the camera's address in decimal.
inline std::string with_handle(std::string text, void* camera) {
    const std::string marker = "{handle}";
    if (const auto at = text.find(marker); at != std::string::npos)
        text.replace(at, marker.size(), std::to_string(reinterpret_cast<std::uintptr_t>(camera)));
    return text;
}

// What the last error reads after a camera function failed with this
// message: the message, a blank and the code's text, cut to the 255
// characters the last error keeps.
inline std::string as_last_error(const std::string& message) {
    return (message + " Error: Invalid operation.").substr(0, 255);
}

class parameter_fixture : public kit_fixture {
  protected:
    void SetUp() override {
        kit_fixture::SetUp();
        open_sdk_with_cameras({{"id-1", "SN1"}});
    }

    // A camera opened with these features and replies; its calls so far
    // (the opening sequence) are dropped. No features: the camera lists only
    // a word that names none.
    void* open_scripted_camera(const std::string& features,
                               const std::vector<std::pair<std::string, std::string>>& replies) {
        scripted_module().reset();
        scripted_module().add_camera("id-1", "SN1");
        scripted_module().set_reply("discover", features.empty() ? "none" : features);
        scripted_module().set_reply("gain.disc", "linear");
        for (const auto& [command, reply] : replies) scripted_module().set_reply(command, reply);
        void* camera = open_camera("SN1");
        scripted_module().take_calls();
        return camera;
    }

    // The get and set calls received since the last look, as "get exp"; each
    // must carry its command with exactly one terminating NUL counted in its
    // size, no data, and the handle's 1,024-byte reply buffer.
    static std::vector<std::string> sent_commands() {
        std::vector<std::string> commands;
        for (const auto& call : scripted_module().take_calls()) {
            if (call.function != "get_data" && call.function != "set_data")
                continue;
            std::string expected_bytes = call.command;
            expected_bytes.push_back('\0');
            EXPECT_EQ(std::string(call.command_bytes.begin(), call.command_bytes.end()), expected_bytes)
                << call.command;
            EXPECT_EQ(call.command_size, call.command.size() + 1) << call.command;
            EXPECT_EQ(call.data_size, 0u) << call.command;
            EXPECT_EQ(call.response_size, 1024u) << call.command;
            commands.push_back(call.function.substr(0, 3) + " " + call.command);
        }
        return commands;
    }

    // Runs one case on a freshly opened camera.
    void run_case(const parameter_case& entry) {
        SCOPED_TRACE(entry.label);
        void* camera = open_scripted_camera(entry.features, entry.replies);
        ASSERT_NE(camera, nullptr);
        const call_outcome outcome = entry.call(camera);
        EXPECT_EQ(sent_commands(), entry.sent);
        if (entry.expected.success) {
            EXPECT_EQ(outcome.status, 0) << last_error();
            EXPECT_EQ(outcome.value, entry.expected.text);
        } else {
            EXPECT_EQ(outcome.status, 1004);
            EXPECT_EQ(last_error(), as_last_error(with_handle(entry.expected.text, camera)));
            // Outputs are written on success only.
            std::istringstream values(outcome.value);
            for (std::string value; values >> value;) EXPECT_EQ(value, "untouched");
        }
        close_camera(camera);
    }

    // The cases' commands are gets, or sets when `direction` is "set".
    void run_reply_cases(const std::string& features, const std::vector<reply_case>& cases,
                         const std::string& direction = "get") {
        for (const auto& entry : cases) {
            run_case({entry.command + " <- '" + entry.reply + "'",
                      features,
                      {{entry.command, entry.reply}},
                      entry.call,
                      {direction + " " + entry.command},
                      entry.expected});
        }
    }

    void run_send_cases(const std::string& features, const std::vector<send_case>& cases) {
        for (const auto& entry : cases) {
            std::vector<std::string> sent;
            if (!entry.command.empty())
                sent.push_back("set " + entry.command);
            run_case({"sends '" + entry.command + "', expects '" + entry.expected.text + "'",
                      features,
                      {},
                      entry.call,
                      sent,
                      entry.expected});
        }
    }
};

inline const std::string not_supported = "Condition is unexpectedly false: Command is not supported.";

}  // namespace qx::test
