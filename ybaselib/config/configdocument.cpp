#include "ybaselib/config/configdocument.h"

#include <algorithm>

#include "ybaselib/ystring.h"

namespace ybase {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view blanks = " \t\r";  // a stray carriage return belongs to the line end

std::string_view Trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool EqualNoCase(std::string_view a, std::string_view b)
{
    return YStringCompareNoCase(a, b) == 0;
}

bool HasLineBreak(std::string_view text)
{
    return text.find_first_of("\r\n") != std::string_view::npos;
}

bool StartsComment(std::string_view text)
{
    return text.starts_with(';') || text.starts_with('#');
}

bool IsQuoted(std::string_view text)
{
    return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

// What a line holds; the views look into it. A line that is neither of these is kept but means nothing.
struct Content
{
    enum
    {
        Nothing,
        Section,
        Entry
    } kind = Nothing;
    std::string_view name = {};
    std::string_view value = {};  // without its quotes
    std::size_t valueOffset = 0;  // where what is written for the value begins
};

Content ParseLine(std::string_view line)
{
    const std::string_view text = Trimmed(line);
    if (text.empty() || StartsComment(text)) return {};
    if (text.front() == '[') {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos) return {};
        return {Content::Section, Trimmed(text.substr(1, end - 1))};
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return {};
    const std::string_view key = Trimmed(line.substr(0, equals));
    if (key.empty()) return {};
    const std::size_t offset = std::min(line.find_first_not_of(blanks, equals + 1), line.size());
    std::string_view value = Trimmed(line.substr(offset));
    if (IsQuoted(value)) value = value.substr(1, value.size() - 2);
    return {Content::Entry, key, value, offset};
}

// A value as it has to stand in a line for `ParseLine` to give it back.
std::string WrittenValue(const std::string& value)
{
    const bool needsQuotes = Trimmed(value).size() != value.size() || IsQuoted(value);
    return needsQuotes ? '"' + value + '"' : value;
}

// Calls `visit(line index, section, content)` for every line, until it returns true.
template<class Lines, class Visit>
void VisitLines(const Lines& lines, Visit visit)
{
    std::string_view section;
    int index = 0;
    for (const auto& line : lines) {
        const Content content = ParseLine(line.text);
        if (content.kind == Content::Section) section = content.name;
        if (visit(index++, section, content)) return;
    }
}

}  // namespace

bool ConfigEdit::IsExpressible() const
{
    if (HasLineBreak(section) || HasLineBreak(key) || HasLineBreak(value)) return false;
    if (section.find(']') != std::string::npos || Trimmed(section).size() != section.size()) return false;
    if (key.empty() || Trimmed(key).size() != key.size() || key.find('=') != std::string::npos) return false;
    return !StartsComment(key) && key.front() != '[' && !key.starts_with(byteOrderMark);
}

bool ConfigEdit::IsForSameEntry(const ConfigEdit& other) const
{
    return EqualNoCase(section, other.section) && EqualNoCase(key, other.key);
}

ConfigDocument::ConfigDocument(std::string_view text)
{
    mHasByteOrderMark = text.starts_with(byteOrderMark);
    if (mHasByteOrderMark) text.remove_prefix(byteOrderMark.size());
    while (!text.empty()) {
        const std::size_t feed = text.find('\n');
        const std::size_t length = std::min(feed, text.size());
        const bool hasReturn = feed != std::string_view::npos && length > 0 && text[length - 1] == '\r';
        const std::size_t end = hasReturn ? length - 1 : length;
        const std::size_t next = feed == std::string_view::npos ? text.size() : feed + 1;
        mLines.push_back({std::string(text.substr(0, end)), std::string(text.substr(end, next - end))});
        text.remove_prefix(next);
    }
    if (!mLines.empty() && !mLines.front().ending.empty()) mLineEnding = mLines.front().ending;
}

std::optional<std::string> ConfigDocument::Find(std::string_view section, std::string_view key) const
{
    const int index = FindLine(section, key);
    if (index < 0) return std::nullopt;
    return std::string(ParseLine(mLines[static_cast<std::size_t>(index)].text).value);
}

bool ConfigDocument::Apply(const ConfigEdit& edit)
{
    const int index = FindLine(edit.section, edit.key);
    if (index < 0) {
        InsertEntry(edit);
        return true;
    }
    std::string& text = mLines[static_cast<std::size_t>(index)].text;
    const Content content = ParseLine(text);
    if (!edit.overwrites || content.value == edit.value) return false;
    text.replace(content.valueOffset, std::string::npos, WrittenValue(edit.value));
    return true;
}

std::string ConfigDocument::GetText() const
{
    std::string text(mHasByteOrderMark ? byteOrderMark : "");
    for (const Line& line : mLines) text.append(line.text).append(line.ending);
    return text;
}

// -1 when there is no such entry.
int ConfigDocument::FindLine(std::string_view section, std::string_view key) const
{
    int found = -1;
    VisitLines(mLines, [&](int index, std::string_view current, const Content& content) {
        const bool isIt =
            content.kind == Content::Entry && EqualNoCase(current, section) && EqualNoCase(content.name, key);
        if (isIt) found = index;
        return isIt;
    });
    return found;
}

// The line behind the last entry of a section, or behind its heading, so that comments in front of the
// next section stay with that; -1 when there is no such section.
int ConfigDocument::FindInsertionPlace(std::string_view section) const
{
    int place = section.empty() ? 0 : -1;
    VisitLines(mLines, [&](int index, std::string_view current, const Content& content) {
        if (content.kind != Content::Nothing && EqualNoCase(current, section)) place = index + 1;
        return false;
    });
    return place;
}

void ConfigDocument::InsertLine(int index, std::string text)
{
    if (index > 0) {
        std::string& before = mLines[static_cast<std::size_t>(index) - 1].ending;
        if (before.empty()) before = mLineEnding;
    }
    mLines.insert(mLines.begin() + index, {std::move(text), mLineEnding});
}

// Returns the index of the line behind the new heading.
int ConfigDocument::AppendSection(std::string_view section)
{
    const auto end = [this] { return static_cast<int>(mLines.size()); };
    if (!mLines.empty() && !Trimmed(mLines.back().text).empty()) InsertLine(end(), "");
    InsertLine(end(), '[' + std::string(section) + ']');
    return end();
}

void ConfigDocument::InsertEntry(const ConfigEdit& edit)
{
    int place = FindInsertionPlace(edit.section);
    if (place < 0) place = AppendSection(edit.section);
    for (std::string_view comment = edit.comment; !comment.empty();) {
        const std::size_t end = std::min(comment.find_first_of("\r\n"), comment.size());
        if (end > 0) InsertLine(place++, "; " + std::string(comment.substr(0, end)));
        comment.remove_prefix(std::min(end + 1, comment.size()));
    }
    InsertLine(place, edit.key + " = " + WrittenValue(edit.value));
}

}  // namespace ybase
