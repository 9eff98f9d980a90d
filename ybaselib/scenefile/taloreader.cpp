#include "ybaselib/scenefile/taloreader.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>

#include "ybaselib/core/standardlibrary.h"
#include "ybaselib/scenefile/talochecker.h"

namespace ybase {
namespace {

constexpr bool IsSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

std::string SystemMessage(const char* action, int errorNumber)
{
    return std::string(action) + ": " + std::generic_category().message(errorNumber);
}

}  // namespace

bool TaloReader::OpenFile(const char* path)
{
    int errorNumber = 0;
    const char* const wrong = mWindow.OpenFile(path, errorNumber);
    if (wrong == nullptr) return CheckAll();
    const std::string text = errorNumber != 0 ? SystemMessage(wrong, errorNumber) : wrong;
    mTalo.NoteError(YTalo::eErrorOpen, text.c_str());
    return false;
}

bool TaloReader::OpenText(const char* text, std::size_t size)
{
    mWindow.OpenText(text, size);
    return CheckAll();
}

bool TaloReader::CheckAll()
{
    TaloChecker checker(mWindow, mIndex);
    const bool good = checker.Check();
    if (mWindow.GetErrorNumber() != 0) {
        FailRead();
        return false;
    }
    if (!good) {
        mTalo.NoteError(checker.GetErrorID(), checker.GetErrorText().c_str(), checker.GetLine(),
                        checker.GetColumn());
        return false;
    }
    mTalo.mHasEndMark = checker.PromisesEnd();
    if (checker.IsCut()) {
        mLastOffset = mWindow.Offset();
        NoteLeftOut(YTalo::eLeftOutEnd, 1);
    }
    OpenBlock(TaloField::NoField, mIndex.first);
    return true;
}

bool TaloReader::Close()
{
    for (int kind = 0; kind < YTalo::LeftOutKinds; ++kind) {
        const LeftOut& leftOut = mLeftOut[kind];
        if (leftOut.count > 0) mTalo.mLeftOut[kind] = {leftOut.count, LineOf(leftOut.offset)};
    }
    if (mWindow.HasChanged()) FailRead();
    return !mTalo.mError.Error();
}

void TaloReader::FailRead()
{
    mRemain = 0;
    const int error = mWindow.GetErrorNumber();
    if (error == ENOMEM) {
        mTalo.NoteError(YTalo::eErrorMemory, "memory ran out");
    } else if (error != 0) {
        mTalo.NoteError(YTalo::eErrorRead, SystemMessage("cannot read", error).c_str());
    } else {
        mTalo.NoteError(YTalo::eErrorRead, "was changed while it was read; read it again");
    }
}

// Leaves everything as it was when memory runs out.
void TaloReader::OpenBlock(std::uint32_t owner, std::uint32_t first)
{
    const std::size_t begin = mChildren.size();
    std::size_t count = 0;
    for (std::uint32_t field = first; field < TaloField::MaximumFields; field = mIndex.fields[field].next)
        ++count;
    // Beyond this nothing can fail.
    mBlocks.reserve(mBlocks.size() + 1);
    if (begin + count > mChildren.capacity()) mChildren.reserve(begin + std::max(count, begin));
    for (std::uint32_t field = first; field < TaloField::MaximumFields; field = mIndex.fields[field].next) {
        mIndex.fields[field].taken = 0;
        mChildren.push_back({mIndex.fields[field].name, field, 0});
    }
    std::sort(mChildren.begin() + static_cast<std::ptrdiff_t>(begin), mChildren.end(),
              [](const Child& a, const Child& b) {
                  return a.name != b.name ? a.name < b.name : a.field < b.field;
              });
    mBlocks.push_back({first, begin, owner, mPositioned ? mWindow.Offset() : mOffset, mRemain});
    mField = TaloField::NoField;
    mRemain = 0;
}

bool TaloReader::BeginField(const char* name)
{
    if (mField != TaloField::NoField || name == nullptr || mTalo.mError.Error()) return false;
    const std::uint32_t number = mIndex.names.Find(name);
    if (number == TaloNames::None) return false;
    const auto begin = mChildren.begin() + static_cast<std::ptrdiff_t>(mBlocks.back().children);
    const auto first =
        std::lower_bound(begin, mChildren.end(), number,
                         [](const Child& child, std::uint32_t wanted) { return child.name < wanted; });
    if (first == mChildren.end() || first->name != number) return false;
    auto child = first + static_cast<std::ptrdiff_t>(first->skip);
    while (child != mChildren.end() && child->name == number && mIndex.fields[child->field].taken != 0)
        ++child;
    first->skip = static_cast<std::uint32_t>(child - first);
    if (child == mChildren.end() || child->name != number) return false;
    Enter(child->field);
    return true;
}

const char* TaloReader::NextField()
{
    if (mField != TaloField::NoField || mTalo.mError.Error()) return nullptr;
    std::uint32_t& next = mBlocks.back().next;
    while (next < TaloField::MaximumFields && mIndex.fields[next].taken != 0) next = mIndex.fields[next].next;
    if (next >= TaloField::MaximumFields) return nullptr;
    Enter(next);
    return mIndex.names.Get(mIndex.fields[next].name).data();
}

void TaloReader::NoteLeftOut(YTalo::ELeftOut what, int count)
{
    LeftOut& leftOut = mLeftOut[what];
    if (leftOut.count == 0 || mLastOffset < leftOut.offset) leftOut.offset = mLastOffset;
    leftOut.count = static_cast<int>(
        std::min<std::int64_t>(std::int64_t{leftOut.count} + count, std::numeric_limits<int>::max()));
}

void TaloReader::NoteUnreadFields()
{
    if (mField != TaloField::NoField) return;
    for (std::uint32_t field = mBlocks.back().next; field < TaloField::MaximumFields;
         field = mIndex.fields[field].next) {
        if (mIndex.fields[field].taken != 0) continue;
        mLastOffset = mIndex.fields[field].offset;
        NoteLeftOut(YTalo::eLeftOutFields, 1);
    }
}

// Goes through the file from its beginning, for places that few ask for.
std::int64_t TaloReader::LineOf(std::uint64_t offset)
{
    if (mPositioned) mOffset = mWindow.Offset();
    mPositioned = false;
    mWindow.Seek(0);
    std::int64_t line = 1;
    for (mWindow.SkipLine(); mWindow.Offset() < offset && mWindow.Cursor() != mWindow.End();
         mWindow.SkipLine()) {
        mWindow.MoveTo(mWindow.Cursor() + 1);
        ++line;
    }
    return line;
}

void TaloReader::Enter(std::uint32_t field)
{
    TaloField& entered = mIndex.fields[field];
    entered.taken = 1;
    mField = field;
    mOffset = entered.offset;
    mLastOffset = entered.offset;
    mPositioned = false;
    mRemain = static_cast<int>(entered.valueCount);
}

void TaloReader::EndField()
{
    if (mField == TaloField::NoField) EndBlock();
    mField = TaloField::NoField;
    mRemain = 0;
}

bool TaloReader::BeginBlock()
{
    if (mField == TaloField::NoField || mTalo.mError.Error()) return false;
    const std::uint32_t child = mIndex.fields[mField].child;
    if (child == TaloField::NoField) return false;
    OpenBlock(mField, child);
    return true;
}

void TaloReader::EndBlock()
{
    if (mBlocks.size() == 1) return;
    const Block& block = mBlocks.back();
    mField = block.owner;
    mOffset = block.offset;
    mPositioned = false;
    mRemain = block.remain;
    mChildren.resize(block.children);
    mBlocks.pop_back();
}

// Moves to the next value of the field.
// \return  false when there is none.
bool TaloReader::FindToken()
{
    if (mRemain == 0) return false;
    if (!mPositioned) mWindow.Seek(mOffset);
    mPositioned = true;
    mWindow.Need(taloMaximumNumberBytes + 1);
    while (true) {
        const char* cursor = mWindow.Cursor();
        while (IsSpace(*cursor)) ++cursor;
        mWindow.MoveTo(cursor);
        if (*cursor == '#') mWindow.SkipLine();
        mWindow.Need(taloMaximumNumberBytes + 1);
        const char here = *mWindow.Cursor();
        if (!IsSpace(here) && here != '#') break;
    }
    if (mWindow.Cursor() != mWindow.End()) return true;
    FailRead();
    return false;
}

// The token at the cursor. A string may need more of the file in the window than other values do.
TaloToken TaloReader::ScanToken()
{
    TaloToken token = ScanValue(mWindow.Cursor());
    if (token.type == '\0' && *mWindow.Cursor() == '"' && !mWindow.IsLast()) {
        mWindow.Need(TaloStringBytes(YTalo::MaximumStringBytes) + 1);
        token = ScanValue(mWindow.Cursor());
    }
    return token;
}

// Takes the next value, whose text stays where it is until the next one is looked for.
TaloToken TaloReader::TakeToken(const char*& text)
{
    if (!FindToken()) return {};
    const TaloToken token = ScanToken();
    text = mWindow.Cursor();
    mLastOffset = mWindow.Offset();
    if (token.type == '\0') {
        FailRead();
        return {};
    }
    mWindow.MoveTo(token.end);
    --mRemain;
    return token;
}

char TaloReader::GetType()
{
    if (!FindToken()) return '\0';
    switch (*mWindow.Cursor()) {
        case '\'':
            return 'C';
        case '"':
            return 'S';
        case '@':
            return 'T';
        default:
            break;
    }
    const TaloToken token = ScanToken();
    if (token.type == '\0') FailRead();
    return token.type;
}

int TaloReader::TakeInteger(bool& converts)
{
    const char* text = nullptr;
    const TaloToken token = TakeToken(text);
    converts = token.type == 'I';
    if (converts) return static_cast<int>(ReadInteger(text, token.end));
    if (token.type != 'D' && token.type != 'F') return 0;
    const double value = token.type == 'D' ? ReadDouble(text, token.end) : ReadFloat(text, token.end);
    using Limits = std::numeric_limits<int>;
    converts = value >= Limits::min() && value <= Limits::max() && value == std::floor(value);
    return converts ? static_cast<int>(value) : 0;
}

double TaloReader::TakeDouble(bool& converts)
{
    if (!FindToken()) {
        converts = false;
        return 0;
    }
    // Nearly every value of a scene file goes this way.
    const char* text = mWindow.Cursor();
    double value = 0;
    if (IsDigit(*text) || IsDigit(text[1])) {
        const std::from_chars_result result = from_chars(text, mWindow.End(), value);
        if (result.ec == std::errc() && (IsSpace(*result.ptr) || *result.ptr == '\'')) {
            mLastOffset = mWindow.Offset();
            mWindow.MoveTo(result.ptr);
            --mRemain;
            converts = true;
            return value;
        }
    }
    const TaloToken token = TakeToken(text);
    converts = token.type == 'D' || token.type == 'F' || token.type == 'I';
    if (!converts) return 0;
    return token.type == 'F' ? ReadFloat(text, token.end) : ReadDouble(text, token.end);
}

float TaloReader::TakeFloat(bool& converts)
{
    const char* text = nullptr;
    const TaloToken token = TakeToken(text);
    converts = token.type == 'F';
    if (converts) return ReadFloat(text, token.end);
    if (token.type != 'D' && token.type != 'I') return 0;
    const double value = ReadDouble(text, token.end);
    // Halfway from the largest float to the next power of two, from where on values round to infinity.
    constexpr double overflow = 0x1.FFFFFFp127;
    converts = !(std::abs(value) >= overflow) || std::isinf(value);
    return converts ? static_cast<float>(value) : 0;
}

char TaloReader::TakeCharacter(bool& converts)
{
    const char* text = nullptr;
    converts = TakeToken(text).type == 'C';
    return converts ? ReadCharacter(text) : '\0';
}

YTime TaloReader::TakeTime(bool& converts)
{
    const char* text = nullptr;
    const TaloToken token = TakeToken(text);
    converts = token.type == 'T';
    return converts ? YTime(ReadInteger(text + 1, token.end)) : YTime();
}

const char* TaloReader::TakeString(bool& converts)
{
    const char* text = nullptr;
    converts = TakeToken(text).type == 'S';
    if (!converts) return "";
    if (mString == nullptr) mString = make_unique_for_overwrite<char[]>(YTalo::MaximumStringBytes + 1);
    std::size_t size = 0;
    ScanString(text, mString.get(), size);
    mString[size] = '\0';
    return mString.get();
}

}  // namespace ybase
