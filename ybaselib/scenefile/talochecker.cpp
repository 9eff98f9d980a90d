// Every byte of a file comes by here, and later only the values that are asked for. Digits, which are most of
// it, are skipped eight at a time (digits.h).

#include "ybaselib/scenefile/talochecker.h"

#include <algorithm>
#include <charconv>

#include "ybaselib/ytalo.h"

namespace ybase {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t maximumNameBytes = YTalo::MaximumStringBytes;
constexpr std::size_t maximumStringToken = TaloStringBytes(maximumNameBytes);

constexpr std::size_t lineEndBytes = 3;  // a colon and a line end, or what stands in their place
constexpr const char* fieldExample = "a field, as in \"Name: 1.5\"";

constexpr bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

std::string Limited(const char* what, std::int64_t limit)
{
    return std::string(what) + ", and the limit is " + std::to_string(limit);
}

}  // namespace

bool TaloChecker::Check()
{
    mBlocks.push_back({TaloField::NoField});
    if (!TakeFirstLine()) return false;
    for (mWindow.Need(1); mWindow.Cursor() != mWindow.End(); mWindow.Need(1)) {
        if (!TakeLine()) return false;
    }
    if (mBlocks.size() == 1) return true;
    return FailExpecting("the } of the block that begins in line " + std::to_string(mBlocks.back().line));
}

bool TaloChecker::TakeFirstLine()
{
    constexpr std::size_t lookAhead = 64;
    mWindow.Need(lookAhead);
    const auto rest = [this] {
        return std::string_view(mWindow.Cursor(), static_cast<std::size_t>(mWindow.End() - mWindow.Cursor()));
    };
    if (rest().starts_with(byteOrderMark)) mWindow.MoveTo(mWindow.Cursor() + byteOrderMark.size());
    mLineBegin = mWindow.Offset();
    const std::string signature = std::string(taloSignature) + ' ';
    if (!rest().starts_with(signature)) return FailExpecting("the first line of a scene file, \"ytalo 1\"");
    mWindow.MoveTo(mWindow.Cursor() + signature.size());
    int version = 0;
    const auto [end, error] = std::from_chars(mWindow.Cursor(), mWindow.End(), version);
    const bool tooLarge = error == std::errc::result_out_of_range;
    if ((error != std::errc() && !tooLarge) || version < 0 || (!tooLarge && version == 0))
        return FailExpecting("the version of the format");
    if (tooLarge || version > YTalo::FormatVersion) {
        const std::string written(mWindow.Cursor(), end);
        return Fail(YTalo::eErrorVersion, "is in version " + written +
                                              " of the format, and this program reads version " +
                                              std::to_string(YTalo::FormatVersion) + "; use a newer one");
    }
    mWindow.MoveTo(end);
    SkipBlanks();
    mPromised = IsComment(taloPromise);
    return TakeLineEnd();
}

// Whether the rest of the line is this comment.
bool TaloChecker::IsComment(std::string_view text) const
{
    const std::string_view rest(mWindow.Cursor(), static_cast<std::size_t>(mWindow.End() - mWindow.Cursor()));
    return rest.starts_with(text) &&
           (rest.size() == text.size() || rest[text.size()] == '\n' || rest[text.size()] == '\r');
}

bool TaloChecker::TakeLine()
{
    SkipBlanks();
    const char first = *mWindow.Cursor();
    if (first != '#' && !IsAtLineEnd()) mEnded = false;
    if (first == '#' && mBlocks.size() == 1 && IsComment(taloEndMark)) mEnded = true;
    if (first == '}') return EndBlock();
    if (!IsNameStart(first) && first != '"') return TakeRestOfLine();
    std::string_view name;
    bool isName = false;
    if (!TakeName(name, isName)) return false;
    return (!isName || BeginField(name)) && TakeRestOfLine();
}

// Moves past the colon when the line starts with a name; otherwise it starts with a value.
bool TaloChecker::TakeName(std::string_view& name, bool& isName)
{
    if (*mWindow.Cursor() == '"') {
        mWindow.Need(maximumStringToken + lineEndBytes);
        mName.resize(maximumNameBytes);
        std::size_t size = 0;
        const TaloToken token = ScanString(mWindow.Cursor(), mName.data(), size);
        isName = token.type == 'S' && *token.end == ':';
        if (!isName) return true;
        name = {mName.data(), size};
        mWindow.MoveTo(token.end + 1);
        return true;
    }
    mWindow.Need(maximumNameBytes + lineEndBytes);
    const char* const begin = mWindow.Cursor();
    const char* end = begin;
    while (IsNameByte(*end)) ++end;
    const auto size = static_cast<std::size_t>(end - begin);
    if (size > maximumNameBytes)
        return Fail(YTalo::eErrorLimit, Limited("a longer name than the format has", maximumNameBytes));
    isName = *end == ':';
    if (!isName && ScanValue(begin).type == '\0') {
        mWindow.MoveTo(end);
        return FailExpecting("a colon after the name of the field");
    }
    if (!isName) return true;  // inf or nan
    name = {begin, size};
    mWindow.MoveTo(end + 1);
    return true;
}

bool TaloChecker::BeginField(std::string_view name)
{
    if (mIndex.fields.size() >= TaloField::MaximumFields)
        return Fail(YTalo::eErrorLimit,
                    Limited("more fields than a file can have", TaloField::MaximumFields));
    const auto number = static_cast<std::uint32_t>(mIndex.fields.size());
    mField = &mIndex.fields.emplace_back(TaloField{mWindow.Offset(), mIndex.names.Add(name)});
    Block& block = mBlocks.back();
    if (block.last != TaloField::NoField) {
        mIndex.fields[block.last].next = number;
    } else if (block.field != TaloField::NoField) {
        mIndex.fields[block.field].child = number;
    } else {
        mIndex.first = number;
    }
    block.last = number;
    const char next = *mWindow.Cursor();
    return IsBlank(next) || IsAtLineEnd() || FailExpecting("a blank after the colon");
}

bool TaloChecker::TakeRestOfLine()
{
    while (true) {
        SkipBlanks();
        const char c = *mWindow.Cursor();
        if (c == '\n' || c == '#' || IsAtLineEnd()) return TakeLineEnd();
        if (c == '{') return BeginBlock();
        if (!TakeValue()) return false;
    }
}

// The token at the cursor, which may be none.
TaloToken TaloChecker::ScanToken()
{
    if (*mWindow.Cursor() == '"') {
        mWindow.Need(maximumStringToken + lineEndBytes);
        return ScanValue(mWindow.Cursor());
    }
    const char* const text = mWindow.Cursor();
    const TaloToken token = ScanValue(text);
    const bool tooLong = token.end - text > static_cast<std::ptrdiff_t>(taloMaximumNumberBytes);
    return tooLong ? TaloToken{text, '\0', ETaloFault::Length} : token;
}

bool TaloChecker::TakeValue()
{
    if (!StartsValue(*mWindow.Cursor()))
        return FailExpecting(mField != nullptr ? "a value or {" : fieldExample);
    const TaloToken token = ScanToken();
    if (token.type == '\0') {
        mWindow.MoveTo(token.end);
        return FailExpecting(ExpectationOf(token.fault));
    }
    if (mField == nullptr) {
        const bool behindBlock = mBlocks.back().last != TaloField::NoField;
        return FailExpecting(behindBlock ? "a field, as values stand before the block of theirs"
                                         : fieldExample);
    }
    mWindow.MoveTo(token.end);
    const char next = *token.end;
    if (!IsBlank(next) && next != '\n' && next != '\'' && !IsAtLineEnd())
        return FailExpecting("a blank after the value");
    if (mField->valueCount == YTalo::MaximumValueCount)
        return Fail(YTalo::eErrorLimit,
                    Limited("more values than a field can have", YTalo::MaximumValueCount));
    mField->valueCount = (mField->valueCount + 1) & 0x7FFFFFFFu;
    return true;
}

bool TaloChecker::BeginBlock()
{
    if (mField == nullptr) return FailExpecting("a field, which a block belongs to");
    if (mBlocks.size() > YTalo::MaximumDepth)
        return Fail(YTalo::eErrorLimit,
                    Limited("more blocks within blocks than a file can have", YTalo::MaximumDepth));
    mWindow.MoveTo(mWindow.Cursor() + 1);
    mField->child = TaloField::EmptyBlock;
    mBlocks.push_back({mBlocks.back().last, TaloField::NoField, mLine});
    mField = nullptr;
    SkipBlanks();
    return TakeLineEnd();
}

bool TaloChecker::EndBlock()
{
    if (mBlocks.size() == 1) return FailExpecting("a field, as no block is open");
    mWindow.MoveTo(mWindow.Cursor() + 1);
    mBlocks.pop_back();
    mField = nullptr;
    SkipBlanks();
    return TakeLineEnd();
}

// Leaves a whole token other than a string in the window.
void TaloChecker::SkipBlanks()
{
    const char* cursor = mWindow.Cursor();
    while (true) {
        while (IsBlank(*cursor)) ++cursor;
        mWindow.MoveTo(cursor);
        if (cursor != mWindow.End() || mWindow.IsLast()) break;
        mWindow.Need(1);
        cursor = mWindow.Cursor();
    }
    mWindow.Need(taloMaximumNumberBytes + lineEndBytes);
}

bool TaloChecker::IsAtLineEnd() const
{
    const char* cursor = mWindow.Cursor();
    if (*cursor == '\r') ++cursor;
    return *cursor == '\n' || (cursor == mWindow.End() && mWindow.IsLast());
}

bool TaloChecker::TakeLineEnd()
{
    if (*mWindow.Cursor() == '#') {
        mWindow.SkipLine();
    } else if (!IsAtLineEnd()) {
        return FailExpecting("the end of the line");
    }
    if (*mWindow.Cursor() == '\r') mWindow.MoveTo(mWindow.Cursor() + 1);
    if (mWindow.Cursor() == mWindow.End()) return true;
    mWindow.MoveTo(mWindow.Cursor() + 1);
    ++mLine;
    mLineBegin = mWindow.Offset();
    return true;
}

// The word at the cursor, for a message.
std::string TaloChecker::Found() const
{
    constexpr std::ptrdiff_t maximumBytes = 32;
    const char* const begin = mWindow.Cursor();
    if (begin == mWindow.End()) return "the end of the file";
    if (IsAtLineEnd()) return "the end of the line";
    if (IsBlank(*begin)) return "a blank";
    const char* const limit = begin + std::min(maximumBytes, mWindow.End() - begin);
    const char* const end =
        std::find_if(begin + 1, limit, [](char c) { return IsBlank(c) || c == '\n' || c == '\r'; });
    char spelled[TaloStringBytes(maximumBytes)];
    const std::string_view word(begin, static_cast<std::size_t>(end - begin));
    return std::string(spelled, SpellString(spelled, word)) + (end - begin == maximumBytes ? "..." : "");
}

bool TaloChecker::Fail(int identifier, std::string text)
{
    mErrorID = identifier;
    mErrorText = std::move(text);
    mColumn = static_cast<std::int64_t>(mWindow.Offset() - mLineBegin) + 1;
    return false;
}

bool TaloChecker::FailExpecting(std::string_view what)
{
    return Fail(YTalo::eErrorFormat, "expected " + std::string(what) + ", found " + Found());
}

}  // namespace ybase
