#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "ybaselib/scenefile/talotext.h"
#include "ybaselib/yfilewriter.h"
#include "ybaselib/ytalo.h"

/// \file
/// Writes the text of a scene file.

namespace ybase {

/// Refuses whatever a reader would refuse. All functions but the first two return false after an error.
class TaloWriter
{
  public:
    /// Errors are noted in `talo`.
    explicit TaloWriter(YTalo& talo);

    bool CreateFile(const char* path);
    bool CreateOutput(YTaloOutput& output);
    bool Close();

    bool BeginField(const char* name);
    bool EndField();
    bool BeginBlock();
    bool EndBlock();

    bool AddInteger(int value);
    bool AddDouble(double value);
    bool AddFloat(float value);
    bool AddShortDouble(float value);
    bool AddCharacter(char value);
    bool AddString(const char* value);
    bool AddTime(YTime value);

  private:
    bool Begin();
    bool Prepare(std::size_t room);
    bool BeginValue(std::size_t room, bool isCharacter = false);
    bool Room(std::size_t count);
    void Put(std::string_view text);
    void PutLineBreak();
    void PutWaitingTime();
    void PutLoneTime();
    bool Flush();
    bool IsOk() const { return !mTalo.mError.Error(); }
    bool Fail(int identifier, const char* text);
    bool FailWrite(int errorNumber);

    YTalo& mTalo;
    YFileWriter mFile;
    YTaloOutput* mOutput = nullptr;  // null for a file
    std::unique_ptr<char[]> mBuffer;
    char* mEnd = nullptr;     // of what the buffer holds
    int mDepth = 0;           // blocks that are open
    bool mInField = false;    // a field is open, its block is not
    bool mHadBlock = false;   // but it was
    bool mTimeWaits = false;  // the field's first value, which is `mTime`, is still to be put on a line
    YTime mTime;
    int mOnLine = 0;      // values on the line
    int mValueCount = 0;  // of the field
    std::uint32_t mFieldCount = 0;
};

}  // namespace ybase
