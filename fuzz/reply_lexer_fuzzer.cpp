// Camera reply text into the module's lexer and the kit's number
// conversions: no read past the text, no endless token stream, every token
// terminated, every conversion failure one of its two documented texts.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/number_conversion.h"
#include "device_qv/reply_lexer.h"
#include "fuzz_support.h"

namespace {

using qx::device_qv::lex_token;

void lex_everything(const char* text, std::size_t length) {
    lex_token token = qx::device_qv::make_lex_token(text, length);
    // Every token but a word at the very end moves the cursor on, so the
    // stream ends within one call per character.
    for (std::size_t call = 0; call <= length + 1; ++call) {
        const char* before = token.cursor;
        const std::int32_t kind = qx::device_qv::next_token(&token);
        QX_FUZZ_REQUIRE(kind >= qx::device_qv::LEX_ERROR && kind <= qx::device_qv::LEX_END);
        QX_FUZZ_REQUIRE(token.cursor >= text && token.cursor <= text + length);
        QX_FUZZ_REQUIRE(std::memchr(token.text, '\0', sizeof token.text) != nullptr);
        if (kind == qx::device_qv::LEX_INT && token.text[0] != '0' && std::strlen(token.text) < 9) {
            // Short decimal numbers carry their exact value.
            QX_FUZZ_REQUIRE(token.value == static_cast<std::uint32_t>(std::stoul(token.text)));
        }
        if (kind == qx::device_qv::LEX_END || kind == qx::device_qv::LEX_ERROR || token.cursor == before)
            return;
    }
    QX_FUZZ_REQUIRE(!"the token stream did not end");
}

// Runs one conversion; it either succeeds or fails with exactly one of its
// two texts.
template <class Conversion>
bool converts(Conversion conversion, std::string_view text, const char* name) {
    try {
        conversion(text);
        return true;
    } catch (const std::invalid_argument& failure) {
        QX_FUZZ_REQUIRE(std::string(failure.what()) == std::string("invalid ") + name + " argument");
    } catch (const std::out_of_range& failure) {
        QX_FUZZ_REQUIRE(std::string(failure.what()) == std::string(name) + " argument out of range");
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // An exact-size copy, so that any read past the text is caught.
    const std::vector<char> text(data, data + size);
    lex_everything(text.data(), text.size());

    const std::string_view view(text.data(), text.size());
    const bool is_int = converts(qx::camera::to_int, view, "stoi");
    converts(qx::camera::to_long_long, view, "stoll");
    converts(qx::camera::to_unsigned_long, view, "stoul");
    converts(qx::camera::to_float, view, "stof");
    converts(qx::camera::to_double, view, "stod");
    const int lenient = qx::camera::to_int_or_zero(view);
    if (is_int)
        QX_FUZZ_REQUIRE(lenient == qx::camera::to_int(view));
    return 0;
}
