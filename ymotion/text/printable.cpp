#include "ymotion/text/printable.h"

#include <algorithm>
#include <array>
#include <vector>

#include <fmt/format.h>

namespace ymotion {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::size_t kQuotedColumns = 40;

struct Decoded
{
    char32_t character = 0;
    std::size_t length = 1;
    bool valid = false;
};

/// The first character of text that is not empty; an invalid one is one byte long.
Decoded Decode(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {};
    char32_t character = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {};
        character = character << 6 | (byte(i) & 0x3F);
    }
    constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < smallest[length] || character > 0x10FFFF || surrogate) return {};
    return {character, length, true};
}

struct Range
{
    char32_t first;
    char32_t last;
};

bool IsIn(char32_t character, const auto& ranges)
{
    return std::any_of(ranges.begin(), ranges.end(),
                       [=](Range range) { return character >= range.first && character <= range.last; });
}

bool IsControl(char32_t character)
{
    // Marks, embeddings and isolates that turn the direction of what follows, and the two line ends of
    // Unicode beside those of ASCII.
    constexpr std::array<Range, 6> controls{
        {{0, 0x1F}, {0x7F, 0x9F}, {0x61C, 0x61C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}}};
    const bool noCharacter = (character & 0xFFFE) == 0xFFFE;
    return IsIn(character, controls) || noCharacter;
}

std::size_t ColumnsOf(char32_t character)
{
    constexpr std::array<Range, 3> combining{{{0x300, 0x36F}, {0x200B, 0x200F}, {0xFE00, 0xFE0F}}};
    constexpr std::array<Range, 9> wide{{{0x1100, 0x115F},
                                         {0x2E80, 0xA4CF},
                                         {0xAC00, 0xD7A3},
                                         {0xF900, 0xFAFF},
                                         {0xFE30, 0xFE6F},
                                         {0xFF00, 0xFF60},
                                         {0xFFE0, 0xFFE6},
                                         {0x1F300, 0x1FAFF},
                                         {0x20000, 0x3FFFD}}};
    if (IsIn(character, combining)) return 0;
    return IsIn(character, wide) ? 2 : 1;
}

/// The pieces that stay whole: words, and what is between single quotation marks where they count.
std::vector<std::string_view> Words(std::string_view text, bool quotes)
{
    std::vector<std::string_view> words;
    bool quoted = false;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (quotes && i < text.size() && text[i] == '\'') quoted = !quoted;
        if (i < text.size() && (text[i] != ' ' || quoted)) continue;
        if (i > start) words.push_back(text.substr(start, i - start));
        start = i + 1;
    }
    return words;
}

}  // namespace

std::string_view TakePrintable(std::string_view& text)
{
    const Decoded next = Decode(text);
    const bool keep = next.valid && !IsControl(next.character);
    const std::string_view taken = keep ? text.substr(0, next.length) : kReplacement;
    text.remove_prefix(next.length);
    return taken;
}

std::string Printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) result += TakePrintable(text);
    return result;
}

std::string Quoted(std::string_view text)
{
    // A hostile token may be as long as its file: no more of it is looked at than can be shown.
    const std::string head = Printable(text.substr(0, 4 * (kQuotedColumns + 1)));
    return fmt::format("'{}'", ClippedTo(head, kQuotedColumns));
}

std::string QuotedName(std::string_view text, std::size_t columns)
{
    const std::size_t kept = std::min(text.size(), 4 * (columns + 1));
    const std::string end = Printable(text.substr(text.size() - kept));
    return fmt::format("'{}'", EndOf(end, columns));
}

std::size_t DisplayWidth(std::string_view text)
{
    std::size_t columns = 0;
    while (!text.empty()) {
        const Decoded next = Decode(text);
        columns += ColumnsOf(next.character);
        text.remove_prefix(next.length);
    }
    return columns;
}

std::string ClippedTo(std::string_view text, std::size_t columns, std::string_view mark)
{
    if (columns == 0) return {};
    std::size_t used = 0;
    std::size_t kept = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const Decoded next = Decode(rest);
        used += ColumnsOf(next.character);
        if (used > columns) return std::string(text.substr(0, kept)).append(mark);
        rest.remove_prefix(next.length);
        if (used < columns) kept = text.size() - rest.size();
    }
    return std::string(text);
}

std::string EndOf(std::string_view text, std::size_t columns, std::string_view mark)
{
    if (columns == 0) return {};
    std::size_t width = DisplayWidth(text);
    if (width <= columns) return std::string(text);
    while (!text.empty() && width > columns - 1) {
        const Decoded next = Decode(text);
        width -= ColumnsOf(next.character);
        text.remove_prefix(next.length);
    }
    // A combining mark goes with the letter that it belongs to.
    while (!text.empty() && ColumnsOf(Decode(text).character) == 0) text.remove_prefix(Decode(text).length);
    return std::string(mark).append(text);
}

std::string Wrapped(std::string_view text, std::size_t columns, std::size_t indent, std::size_t used,
                    std::string_view join)
{
    indent = std::min(indent, columns / 2);
    const std::size_t room = std::max<std::size_t>(columns, 1 + join.size()) - join.size();
    std::string result;
    bool atStart = true;
    const auto newLine = [&] {
        result.append(join).append("\n").append(indent, ' ');
        used = indent;
        atStart = true;
    };
    for (std::string_view word : Words(text, !join.empty())) {
        if (used + (atStart ? 0 : 1) + DisplayWidth(word) > room && (!atStart || used > indent)) newLine();
        if (!atStart) {
            result += ' ';
            ++used;
        }
        while (join.empty() && used + DisplayWidth(word) > room && DisplayWidth(word) > 1) {
            std::size_t length = 0;
            for (std::size_t width = used; length < word.size();) {
                const Decoded next = Decode(word.substr(length));
                width += ColumnsOf(next.character);
                if (width > room && length > 0) break;
                length += next.length;
            }
            if (length >= word.size()) break;
            result.append(word.substr(0, length));
            word.remove_prefix(length);
            newLine();
        }
        result.append(word);
        used += DisplayWidth(word);
        atStart = false;
    }
    return result;
}

}  // namespace ymotion
