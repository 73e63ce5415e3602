#pragma once
// Reading the words and integers of a camera's text reply.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qx::camera {

// The words of a reply, split at white space as a text stream reads them.
std::vector<std::string> split_words(std::string_view reply);

// The position of the text in a list of words (compared whole and
// case-sensitively); empty when it is none of them.
std::optional<int> find_word(std::span<const std::string_view> words, std::string_view text);

// The integers at the start of a reply, read with a text stream one after
// another until a read fails.
std::vector<int> read_integers(std::string_view reply);

}  // namespace qx::camera
