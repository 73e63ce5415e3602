#pragma once
// The camera's text protocol: a table of command words, each row saying what
// the word reads, what it changes and how its range is reported, walked by
// one routine. docs/emulator.md lists every row and every refusal.

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "camera_state_class.h"
#include "packet_stream_class.h"

namespace qx::emulator {

class command_table_class {
  public:
    /** What a command may read and change. */
    struct context {
        camera_state_class& state;
        packet_stream_class& stream;
        packet_stream_class::clock::time_point now;
    };

    /** One received command, split up. */
    struct call {
        std::string_view raw;                     // every byte written, NUL and trailing bytes included
        std::string_view text;                    // the bytes before the first NUL
        std::vector<std::string_view> arguments;  // blank-separated words after the command words
        std::string_view rest;                    // the text after the command words and one blank
        bool unlocked = false;                    // the previous command was "unlock dl"
    };

    /**
     * Runs one command (the bytes the host wrote) and answers the reply bytes,
     * without a terminating NUL.
     */
    static std::string execute(context& context, std::string_view command);

    /** The first word of a command, without a ".min"/".max" suffix or arguments. */
    static std::string_view first_word(std::string_view command);
};

}  // namespace qx::emulator
