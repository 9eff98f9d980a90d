#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ybaselib/scenefile/taloindex.h"
#include "ybaselib/scenefile/talotext.h"
#include "ybaselib/scenefile/talowindow.h"
#include "ybaselib/ytalo.h"

/// \file
/// The second way through a scene file: from field to field as the caller asks, decoding values.

namespace ybase {

/// Reads what `TaloChecker` has found good. A file that was changed after that gives other values, or zeros,
/// and an error.
class TaloReader
{
  public:
    /// Errors are noted in `talo`.
    explicit TaloReader(YTalo& talo) : mTalo(talo) {}

    bool OpenFile(const char* path);
    bool OpenText(const char* text, std::size_t size);
    bool Close();

    bool BeginField(const char* name);
    const char* NextField();
    void EndField();
    bool BeginBlock();
    void EndBlock();

    /// See `YTalo`.
    void NoteLeftOut(YTalo::ELeftOut what, int count);
    void NoteUnreadFields();
    std::int64_t GetLine() { return LineOf(mLastOffset); }

    char GetType();
    int GetRemain() const { return mRemain; }

    /// All take the next value. `converts` tells whether it was one of the type, or converted to it.
    int TakeInteger(bool& converts);
    double TakeDouble(bool& converts);
    float TakeFloat(bool& converts);
    char TakeCharacter(bool& converts);
    YTime TakeTime(bool& converts);
    const char* TakeString(bool& converts);

  private:
    /// A field of an open block, under its name. Sorted by name, then by place in the file.
    struct Child
    {
        std::uint32_t name;
        std::uint32_t field;
        std::uint32_t skip;  ///< in the first one of its name: how many of these are taken for sure
    };

    /// A block that is open.
    struct Block
    {
        std::uint32_t next;    ///< the first field that may be untaken
        std::size_t children;  ///< where its fields begin in `mChildren`
        std::uint32_t owner;   ///< its field, `NoField` outside of all
        std::uint64_t offset;  ///< where the values go on that its field has left
        int remain;            ///< how many these are
    };

    bool CheckAll();
    void OpenBlock(std::uint32_t owner, std::uint32_t first);
    void Enter(std::uint32_t field);
    bool FindToken();
    TaloToken ScanToken();
    TaloToken TakeToken(const char*& text);
    void FailRead();
    std::int64_t LineOf(std::uint64_t offset);

    /// What was left out of one kind.
    struct LeftOut
    {
        int count = 0;
        std::uint64_t offset = 0;  ///< of the first in the file
    };

    YTalo& mTalo;
    TaloWindow mWindow;
    TaloIndex mIndex;
    std::vector<Block> mBlocks;
    std::vector<Child> mChildren;               // of all open blocks
    std::uint32_t mField = TaloField::NoField;  // the field whose values are read
    std::uint64_t mOffset = 0;      // where its next value is looked for, unless the window is there already
    bool mPositioned = false;       // the window is there
    int mRemain = 0;                // values left in the field
    std::uint64_t mLastOffset = 0;  // of the value taken last, or of the field entered after it
    LeftOut mLeftOut[YTalo::LeftOutKinds];
    std::unique_ptr<char[]> mString;  // the string read last
};

}  // namespace ybase
