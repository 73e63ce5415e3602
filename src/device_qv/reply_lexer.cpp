#include "device_qv/reply_lexer.h"

#include <cstring>

namespace qx::device_qv {

namespace {
bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\f' || c == '\r';
}
bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_hex_digit(char c) {
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
std::uint32_t hex_value(char c) {
    if (is_digit(c))
        return static_cast<std::uint32_t>(c - '0');
    return static_cast<std::uint32_t>((c | 0x20) - 'a' + 10);
}
}  // namespace

lex_token make_lex_token(const char* text, std::size_t length) {
    lex_token token;
    token.cursor = text;
    token.end = text + length;
    return token;
}

std::int32_t next_token(lex_token* token) {
    if (token == nullptr)
        return 0;
    std::memset(token->text, 0, sizeof token->text);
    token->value = 0;
    const char* cursor = token->cursor;
    const char* const end = token->end;
    if (cursor == nullptr || cursor >= end)
        return token->kind = LEX_END;

    while (cursor < end && is_blank(*cursor)) ++cursor;
    while (cursor < end && !is_digit(*cursor) && !is_letter(*cursor)) ++cursor;
    if (cursor >= end) {
        token->cursor = cursor;
        return token->kind = LEX_END;
    }

    int length = 0;
    if (is_letter(*cursor)) {
        while (cursor < end && (is_letter(*cursor) || is_digit(*cursor) || *cursor == '_')) {
            if (length >= lex_text_capacity - 1)
                return token->kind = LEX_ERROR;
            token->text[length++] = *cursor++;
        }
        // A word that runs to the end of the input leaves the cursor where it
        // was; the next call reads the same word again only if asked.
        if (cursor < end)
            token->cursor = cursor;
        return token->kind = LEX_WORD;
    }

    if (cursor[0] == '0' && cursor + 1 < end && (cursor[1] == 'x' || cursor[1] == 'X')) {
        token->text[length++] = *cursor++;
        token->text[length++] = *cursor++;
        while (cursor < end && is_hex_digit(*cursor)) {
            token->value = token->value * 16u + hex_value(*cursor);
            if (length < lex_text_capacity - 1)
                token->text[length++] = *cursor;
            ++cursor;
        }
    } else {
        while (cursor < end && is_digit(*cursor)) {
            token->value = token->value * 10u + static_cast<std::uint32_t>(*cursor - '0');
            if (length < lex_text_capacity - 1)
                token->text[length++] = *cursor;
            ++cursor;
        }
    }
    token->cursor = cursor;
    return token->kind = LEX_INT;
}

}  // namespace qx::device_qv
