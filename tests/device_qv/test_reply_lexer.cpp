// Reading numbers and words out of camera replies.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device_qv/reply_lexer.h"

namespace {

using namespace qx::device_qv;

struct expected_token {
    std::int32_t kind;
    std::uint32_t value;
    std::string text;
};

std::vector<expected_token> lex_all(const std::string& input) {
    std::vector<expected_token> tokens;
    lex_token token = make_lex_token(input.data(), input.size());
    for (;;) {
        const char* before = token.cursor;
        const std::int32_t kind = next_token(&token);
        tokens.push_back({kind, token.value, token.text});
        if (kind == LEX_END || kind == LEX_ERROR)
            break;
        // A word that runs to the end of the input leaves the cursor where it was.
        if (kind == LEX_WORD && token.cursor == before)
            break;
    }
    return tokens;
}

TEST(reply_lexer, reads_integers_words_and_the_end) {
    const struct {
        std::string input;
        std::vector<expected_token> expected;
    } cases[] = {
        {"0x1F", {{LEX_INT, 31, "0x1F"}, {LEX_END, 0, ""}}},
        {"0X1f ", {{LEX_INT, 31, "0X1f"}, {LEX_END, 0, ""}}},
        {"-5", {{LEX_INT, 5, "5"}, {LEX_END, 0, ""}}},
        {"   abc_1 2", {{LEX_WORD, 0, "abc_1"}, {LEX_INT, 2, "2"}, {LEX_END, 0, ""}}},
        {"", {{LEX_END, 0, ""}}},
        {" \t\r\n\f ", {{LEX_END, 0, ""}}},
        {"0x", {{LEX_INT, 0, "0x"}, {LEX_END, 0, ""}}},
        {"4294967297", {{LEX_INT, 1, "4294967297"}, {LEX_END, 0, ""}}},
        {"12abc", {{LEX_INT, 12, "12"}, {LEX_WORD, 0, "abc"}}},
        {"(7),[8]", {{LEX_INT, 7, "7"}, {LEX_INT, 8, "8"}, {LEX_END, 0, ""}}},
        {"Success", {{LEX_WORD, 0, "Success"}}},
        {std::string(63, 'w'), {{LEX_WORD, 0, std::string(63, 'w')}}},
    };
    for (const auto& entry : cases) {
        const auto tokens = lex_all(entry.input);
        ASSERT_EQ(tokens.size(), entry.expected.size()) << "input '" << entry.input << "'";
        for (std::size_t index = 0; index < tokens.size(); ++index) {
            EXPECT_EQ(tokens[index].kind, entry.expected[index].kind) << entry.input << " #" << index;
            EXPECT_EQ(tokens[index].value, entry.expected[index].value) << entry.input << " #" << index;
            EXPECT_EQ(tokens[index].text, entry.expected[index].text) << entry.input << " #" << index;
        }
    }
}

TEST(reply_lexer, a_word_of_64_characters_or_more_is_an_error_and_a_null_record_gives_zero) {
    const std::string too_long = std::string(64, 'w') + " 1";
    lex_token token = make_lex_token(too_long.data(), too_long.size());
    EXPECT_EQ(next_token(&token), LEX_ERROR);
    EXPECT_EQ(next_token(nullptr), 0);
}

}  // namespace
