#include "ymotion/text/shell_word.h"

#include <string_view>

namespace ymotion {

std::string ShellWord(const std::string& word)
{
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,:@%";
    if (word == "<standard input>") return "-";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted += "'";
}

}  // namespace ymotion
