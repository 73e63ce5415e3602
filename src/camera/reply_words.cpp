#include "camera/reply_words.h"

#include <sstream>

namespace qx::camera {

std::vector<std::string> split_words(std::string_view reply) {
    std::istringstream stream{std::string(reply)};
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

std::optional<int> find_word(std::span<const std::string_view> words, std::string_view text) {
    for (std::size_t index = 0; index < words.size(); ++index) {
        if (words[index] == text)
            return static_cast<int>(index);
    }
    return std::nullopt;
}

std::vector<int> read_integers(std::string_view reply) {
    std::istringstream stream{std::string(reply)};
    std::vector<int> integers;
    for (int value = 0; stream >> value;) integers.push_back(value);
    return integers;
}

}  // namespace qx::camera
