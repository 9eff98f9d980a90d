#include "ymotion/text/percent.h"

#include <charconv>

#include <fmt/format.h>

namespace ymotion {

std::string PercentEncoded(std::string_view path)
{
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,@";
    std::string text;
    for (const char c : path) {
        if (plain.find(c) != std::string_view::npos) {
            text += c;
        } else {
            text += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        }
    }
    return text;
}

std::string PercentDecoded(std::string_view text)
{
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned byte = 0;
        const bool isCode = text[i] == '%' && i + 2 < text.size() &&
                            std::from_chars(&text[i + 1], &text[i + 1] + 2, byte, 16).ptr == &text[i + 1] + 2;
        path += isCode ? static_cast<char>(byte) : text[i];
        if (isCode) i += 2;
    }
    return path;
}

}  // namespace ymotion
