#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// \file
/// The part of a scene file that is in memory while it is read.

namespace ybase {

/// Goes through a file, or through text in memory, with a window of at most a megabyte. A zero byte follows
/// the window's last byte, so that a loop over a token needs no other end.
class TaloWindow
{
  public:
    TaloWindow() = default;
    ~TaloWindow();
    TaloWindow(const TaloWindow&) = delete;
    TaloWindow& operator=(const TaloWindow&) = delete;

    /// \return  null, or what is wrong with the file, with `errorNumber` set where the system said so.
    const char* OpenFile(const char* path, int& errorNumber);
    void OpenText(const char* text, std::size_t size);

    const char* Cursor() const { return mCursor; }
    const char* End() const { return mEnd; }
    void MoveTo(const char* cursor) { mCursor = cursor; }

    /// Where the cursor is in the file.
    std::uint64_t Offset() const { return OffsetOf(mCursor); }
    std::uint64_t OffsetOf(const char* place) const
    {
        return mBegin + static_cast<std::uint64_t>(place - mBuffer.get());
    }

    /// Whether the window reaches to the end of the file.
    bool IsLast() const { return mLast; }

    /// Brings `count` bytes from the cursor on into the window, or as many as the file has. They may move.
    void Need(std::size_t count)
    {
        if (static_cast<std::size_t>(mEnd - mCursor) < count && !mLast) Fill(count);
    }

    void Seek(std::uint64_t offset);

    /// Skips to the line feed that ends the line, or to the end of the file.
    void SkipLine();

    /// The value of errno when reading failed, which looks like the end of the file; else 0.
    int GetErrorNumber() const { return mErrorNumber; }

    /// Whether the file's size or time of change is another than when it was opened.
    bool HasChanged() const;

  private:
    /// What tells one state of a file from another.
    struct Stamp
    {
        std::int64_t size = 0;
        std::int64_t seconds = 0;
        std::int64_t nanoseconds = 0;

        friend bool operator==(const Stamp&, const Stamp&) = default;
    };

    bool TakeStamp(Stamp& stamp) const;
    bool Reserve(std::size_t capacity);
    void Fill(std::size_t count);
    std::size_t Read(char* to, std::size_t count);

    std::unique_ptr<char[]> mBuffer;
    std::size_t mCapacity = 0;
    std::size_t mPiece = 0;  // bytes to read next
    const char* mCursor = nullptr;
    char* mEnd = nullptr;
    std::uint64_t mBegin = 0;  // the place of the buffer's first byte in the file
    bool mLast = false;
    int mErrorNumber = 0;
    int mDescriptor = -1;
    const char* mText = nullptr;
    std::size_t mTextSize = 0;
    Stamp mStamp;
};

}  // namespace ybase
