#pragma once
// The small lexer with which the module reads numbers and words out of
// camera replies.

#include <cstdint>

namespace qx::device_qv {

enum lex_kind : std::int32_t {
    LEX_ERROR = 0,  // a word of 64 characters or more
    LEX_WORD = 1,
    LEX_INT = 2,
    LEX_END = 3,
};

inline constexpr int lex_text_capacity = 64;

struct lex_token {
    std::int32_t kind = LEX_END;
    std::uint32_t value = 0;  // integers, modulo 2^32
    char text[lex_text_capacity] = {};
    const char* cursor = nullptr;
    const char* end = nullptr;
};

// Starts reading `length` characters of `text`.
lex_token make_lex_token(const char* text, std::size_t length);

// Reads the next token at the cursor, advances the cursor and returns the
// kind. Signs and punctuation between tokens are skipped, so a minus sign is
// never part of a number. A null token gives 0.
std::int32_t next_token(lex_token* token);

}  // namespace qx::device_qv
