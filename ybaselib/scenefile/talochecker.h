#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ybaselib/scenefile/taloindex.h"
#include "ybaselib/scenefile/talotext.h"
#include "ybaselib/scenefile/talowindow.h"

/// \file
/// The first way through a scene file: is it well-formed, and where are its fields?

namespace ybase {

/// Goes through a file once from its beginning, and stops at the first fault.
class TaloChecker
{
  public:
    TaloChecker(TaloWindow& window, TaloIndex& index) : mWindow(window), mIndex(index) {}

    /// \return  false when there is a fault, which the functions below then describe.
    bool Check();

    int GetErrorID() const { return mErrorID; }
    const std::string& GetErrorText() const { return mErrorText; }
    std::int64_t GetLine() const { return mLine; }

    /// Whether the first line promises an end mark.
    bool PromisesEnd() const { return mPromised; }
    /// Whether an end mark is promised and missing: the file has been cut off.
    bool IsCut() const { return mPromised && !mEnded; }
    std::int64_t GetColumn() const { return mColumn; }

  private:
    /// A block that is open.
    struct Block
    {
        std::uint32_t field;                      ///< that the block belongs to
        std::uint32_t last = TaloField::NoField;  ///< the last field in it so far
        std::int64_t line = 0;
    };

    bool TakeFirstLine();
    bool IsComment(std::string_view text) const;
    bool TakeLine();
    bool TakeLineEnd();
    bool TakeRestOfLine();
    bool TakeName(std::string_view& name, bool& isName);
    bool BeginField(std::string_view name);
    TaloToken ScanToken();
    bool TakeValue();
    bool BeginBlock();
    bool EndBlock();
    void SkipBlanks();
    bool IsAtLineEnd() const;
    std::string Found() const;
    bool Fail(int identifier, std::string text);
    bool FailExpecting(std::string_view what);

    TaloWindow& mWindow;
    TaloIndex& mIndex;
    std::vector<Block> mBlocks;   // the first stands for what is outside of all
    TaloField* mField = nullptr;  // that takes values; null where none does
    std::vector<char> mName;      // the bytes of a quoted name
    std::int64_t mLine = 1;
    std::uint64_t mLineBegin = 0;  // offset of its first byte
    std::int64_t mColumn = 0;
    int mErrorID = -1;
    std::string mErrorText;
    bool mPromised = false;
    bool mEnded = false;  // nothing but blanks and comments since the end mark
};

}  // namespace ybase
