#include "ybaselib/scenefile/talowriter.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "ybaselib/core/standardlibrary.h"
#include "ybaselib/scenefile/taloindex.h"

namespace ybase {
namespace {

constexpr std::size_t bufferBytes = std::size_t{1} << 20;

// Values on a line, so that long lists can be read and compared line by line.
constexpr int maximumOnLine = 16;

// A line feed, a colon, blanks and a brace.
constexpr std::size_t layoutBytes = 8;

}  // namespace

TaloWriter::TaloWriter(YTalo& talo)
    : mTalo(talo), mBuffer(make_unique_for_overwrite<char[]>(bufferBytes)), mEnd(mBuffer.get())
{}

bool TaloWriter::CreateFile(const char* path)
{
    return (mFile.Open(path) || FailWrite(mFile.GetErrorNumber())) && Begin();
}

bool TaloWriter::CreateOutput(YTaloOutput& output)
{
    mOutput = &output;
    return Begin();
}

bool TaloWriter::Begin()
{
    Put(taloSignature);
    *mEnd++ = ' ';
    mEnd = SpellInteger(mEnd, YTalo::FormatVersion);
    *mEnd++ = ' ';
    Put(taloPromise);
    *mEnd++ = '\n';
    return true;
}

bool TaloWriter::Close()
{
    if (!IsOk()) return false;
    if (mInField || mDepth > 0) return Fail(YTalo::eErrorUsage, "a field that was begun has not been ended");
    if (!Room(taloEndMark.size() + 1)) return false;
    Put(taloEndMark);
    *mEnd++ = '\n';
    if (!Flush()) return false;
    return mOutput != nullptr || mFile.Commit() || FailWrite(mFile.GetErrorNumber());
}

bool TaloWriter::BeginField(const char* name)
{
    if (!IsOk()) return false;
    if (mInField)
        return Fail(YTalo::eErrorUsage, "a field begins where the last one has neither a block nor an end");
    if (name == nullptr) return Fail(YTalo::eErrorUsage, "a field has no name");
    const std::size_t size = std::strlen(name);
    if (size > YTalo::MaximumStringBytes) return Fail(YTalo::eErrorLimit, "a name has more than 65535 bytes");
    if (mFieldCount == TaloField::MaximumFields)
        return Fail(YTalo::eErrorLimit, "more fields than a file can have");
    if (!Room(layoutBytes + TaloStringBytes(size))) return false;
    ++mFieldCount;
    mEnd = SpellName(mEnd, {name, size});
    *mEnd++ = ':';
    mInField = true;
    mHadBlock = false;
    mOnLine = 0;
    mValueCount = 0;
    return true;
}

bool TaloWriter::EndField()
{
    if (!IsOk()) return false;
    if (!mInField)
        return Fail(YTalo::eErrorUsage, "a field ends where none is open, or before its block does");
    if (!mHadBlock) {
        if (!Room(layoutBytes + taloMaximumSpelling)) return false;
        PutLoneTime();
        *mEnd++ = '\n';
    }
    mInField = false;
    mHadBlock = false;
    return true;
}

bool TaloWriter::BeginBlock()
{
    if (!IsOk()) return false;
    if (!mInField || mHadBlock)
        return Fail(YTalo::eErrorUsage, "a block begins where no field is open or its block has ended");
    if (mDepth == YTalo::MaximumDepth) return Fail(YTalo::eErrorLimit, "more than 1024 blocks within blocks");
    if (!Room(layoutBytes + taloMaximumSpelling)) return false;
    PutLoneTime();
    Put(" {\n");
    ++mDepth;
    mInField = false;
    return true;
}

bool TaloWriter::EndBlock()
{
    if (!IsOk()) return false;
    if (mInField || mDepth == 0)
        return Fail(YTalo::eErrorUsage, "a block ends where none is open, or before a field in it does");
    if (!Room(layoutBytes)) return false;
    --mDepth;
    Put("}\n");
    mInField = true;
    mHadBlock = true;
    return true;
}

// Makes room for a value, after what has to stand before it.
bool TaloWriter::Prepare(std::size_t room)
{
    if (!IsOk()) return false;
    if (!mInField || mHadBlock)
        return Fail(YTalo::eErrorUsage, "a value is written where no field takes one");
    if (mValueCount == YTalo::MaximumValueCount)
        return Fail(YTalo::eErrorLimit, "more values than a field can have");
    if (!Room(room + 2 * layoutBytes + taloMaximumSpelling)) return false;
    ++mValueCount;
    if (mTimeWaits) {
        PutLineBreak();
        PutWaitingTime();
    }
    return true;
}

// As `Prepare`, up to the byte before the value. A character needs no blank behind another value.
bool TaloWriter::BeginValue(std::size_t room, bool isCharacter)
{
    if (!Prepare(room)) return false;
    if (mOnLine == maximumOnLine) {
        PutLineBreak();
    } else if (!isCharacter || mValueCount == 1) {
        *mEnd++ = ' ';
    }
    ++mOnLine;
    return true;
}

bool TaloWriter::AddInteger(int value)
{
    if (!BeginValue(taloMaximumSpelling)) return false;
    mEnd = SpellInteger(mEnd, value);
    return true;
}

bool TaloWriter::AddDouble(double value)
{
    if (!BeginValue(taloMaximumSpelling)) return false;
    mEnd = SpellReal(mEnd, value);
    return true;
}

bool TaloWriter::AddFloat(float value)
{
    if (!BeginValue(taloMaximumSpelling)) return false;
    mEnd = SpellReal(mEnd, value);
    return true;
}

bool TaloWriter::AddShortDouble(float value)
{
    if (!BeginValue(taloMaximumSpelling)) return false;
    mEnd = SpellShortReal(mEnd, value);
    return true;
}

bool TaloWriter::AddCharacter(char value)
{
    if (!BeginValue(taloMaximumSpelling, true)) return false;
    mEnd = SpellCharacter(mEnd, value);
    return true;
}

bool TaloWriter::AddString(const char* value)
{
    const std::size_t size = value != nullptr ? std::strlen(value) : 0;
    if (size > YTalo::MaximumStringBytes)
        return Fail(YTalo::eErrorLimit, "a string has more than 65535 bytes");
    if (!BeginValue(TaloStringBytes(size))) return false;
    mEnd = SpellString(mEnd, {value, size});
    return true;
}

// The first value of a field waits for the second: alone it stays on the line of the name.
bool TaloWriter::AddTime(YTime value)
{
    if (!Prepare(taloMaximumSpelling)) return false;
    mTime = value;
    mTimeWaits = true;
    if (mValueCount == 1) return true;
    PutLineBreak();
    PutWaitingTime();
    return true;
}

void TaloWriter::Put(std::string_view text)
{
    std::memcpy(mEnd, text.data(), text.size());
    mEnd += text.size();
}

void TaloWriter::PutLineBreak()
{
    *mEnd++ = '\n';
    mOnLine = 0;
}

void TaloWriter::PutLoneTime()
{
    if (!mTimeWaits) return;
    *mEnd++ = ' ';
    PutWaitingTime();
}

void TaloWriter::PutWaitingTime()
{
    *mEnd++ = '@';
    mEnd = SpellInteger(mEnd, mTime.Get());
    mTimeWaits = false;
    ++mOnLine;
}

// Has `count` bytes fit into the buffer.
bool TaloWriter::Room(std::size_t count)
{
    return static_cast<std::size_t>(mEnd - mBuffer.get()) + count <= bufferBytes || Flush();
}

bool TaloWriter::Flush()
{
    const auto count = static_cast<std::size_t>(mEnd - mBuffer.get());
    mEnd = mBuffer.get();
    if (mOutput == nullptr) return mFile.Write(mBuffer.get(), count) || FailWrite(mFile.GetErrorNumber());
    return mOutput->Write(mBuffer.get(), count) || Fail(YTalo::eErrorWrite, "cannot write");
}

// The file that was begun goes at once, as it could be what fills the disk.
bool TaloWriter::Fail(int identifier, const char* text)
{
    if (IsOk()) mTalo.NoteError(identifier, text);
    mFile.Abandon();
    return false;
}

bool TaloWriter::FailWrite(int errorNumber)
{
    if (errorNumber == EISDIR) return Fail(YTalo::eErrorWrite, "is a directory; give the name of a file");
    if (errorNumber == EINVAL)
        return Fail(YTalo::eErrorWrite, "is a device or a pipe; give the name of a file");
    return Fail(YTalo::eErrorWrite,
                ("cannot write: " + std::generic_category().message(errorNumber)).c_str());
}

}  // namespace ybase
