#include "ybaselib/scenefile/talowindow.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "ybaselib/scenefile/talotext.h"

namespace ybase {
namespace {

constexpr std::size_t maximumCapacity = std::size_t{1} << 20;

// Read first after a jump; doubled with every piece that follows without one. Fields that are read in another
// order than that of the file then cost little each.
constexpr std::size_t firstPiece = std::size_t{1} << 14;

}  // namespace

TaloWindow::~TaloWindow()
{
    if (mDescriptor >= 0) ::close(mDescriptor);
}

const char* TaloWindow::OpenFile(const char* path, int& errorNumber)
{
    // Without O_NONBLOCK opening a named pipe would wait for a writer.
    mDescriptor = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    if (mDescriptor < 0 || ::fstat(mDescriptor, &status) != 0) {
        errorNumber = errno;
        return "cannot open";
    }
    if (S_ISDIR(status.st_mode)) return "is a directory; give the name of a file";
    if (!S_ISREG(status.st_mode)) return "is a device or a pipe; give the name of a regular file";
    TakeStamp(mStamp);
    ::posix_fadvise(mDescriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    // A byte more than the file has, to see its end at once.
    const auto size = std::max<std::int64_t>(mStamp.size, 0);
    mPiece = static_cast<std::size_t>(std::min<std::int64_t>(size + 1, maximumCapacity));
    return nullptr;
}

void TaloWindow::OpenText(const char* text, std::size_t size)
{
    mText = text;
    mTextSize = size;
    mPiece = std::min(size + 1, maximumCapacity);
}

bool TaloWindow::TakeStamp(Stamp& stamp) const
{
    struct stat status = {};
    if (::fstat(mDescriptor, &status) != 0) return false;
    stamp = {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
    return true;
}

bool TaloWindow::HasChanged() const
{
    Stamp now;
    return mDescriptor >= 0 && (!TakeStamp(now) || now != mStamp);
}

bool TaloWindow::Reserve(std::size_t capacity)
{
    if (capacity <= mCapacity) return true;
    std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity + taloPadding]);
    if (larger == nullptr) return false;
    const std::size_t size = mBuffer == nullptr ? 0 : static_cast<std::size_t>(mEnd - mBuffer.get());
    const std::size_t place = mBuffer == nullptr ? 0 : static_cast<std::size_t>(mCursor - mBuffer.get());
    if (size > 0) std::memcpy(larger.get(), mBuffer.get(), size);
    mBuffer = std::move(larger);
    mCapacity = capacity;
    mCursor = mBuffer.get() + place;
    mEnd = mBuffer.get() + size;
    return true;
}

std::size_t TaloWindow::Read(char* to, std::size_t count)
{
    const std::uint64_t offset = OffsetOf(mEnd);
    if (mDescriptor < 0) {
        const std::size_t rest = offset < mTextSize ? mTextSize - static_cast<std::size_t>(offset) : 0;
        count = std::min(count, rest);
        if (count > 0) std::memcpy(to, mText + offset, count);
        return count;
    }
    while (true) {
        const ssize_t got = ::pread(mDescriptor, to, count, static_cast<off_t>(offset));
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno == EINTR) continue;
        mErrorNumber = errno;
        return 0;
    }
}

// Moves what is from the cursor on to the front, and reads until there is enough.
void TaloWindow::Fill(std::size_t count)
{
    count = std::min(count, maximumCapacity);
    if (!Reserve(std::max(count, mPiece))) {
        mErrorNumber = ENOMEM;
        mLast = true;
        return;
    }
    char* const front = mBuffer.get();
    const auto kept = static_cast<std::size_t>(mEnd - mCursor);
    mBegin = Offset();
    std::memmove(front, mCursor, kept);
    mCursor = front;
    mEnd = front + kept;
    while (static_cast<std::size_t>(mEnd - front) < count && !mLast) {
        const auto room = mCapacity - static_cast<std::size_t>(mEnd - front);
        const std::size_t got = Read(mEnd, std::min(room, std::max(mPiece, count)));
        mEnd += got;
        mLast = got == 0;
        mPiece = std::min(2 * mPiece, maximumCapacity);
    }
    std::memset(mEnd, 0, taloPadding);
}

void TaloWindow::Seek(std::uint64_t offset)
{
    if (offset >= mBegin && offset < OffsetOf(mEnd)) {
        mCursor = mBuffer.get() + (offset - mBegin);
        return;
    }
    mBegin = offset;
    mCursor = mEnd = mBuffer.get();
    mLast = false;
    mPiece = std::min(mPiece, firstPiece);
    Need(1);
}

void TaloWindow::SkipLine()
{
    while (true) {
        const auto size = static_cast<std::size_t>(mEnd - mCursor);
        const void* const feed = size > 0 ? std::memchr(mCursor, '\n', size) : nullptr;
        mCursor = feed != nullptr ? static_cast<const char*>(feed) : mEnd;
        if (feed != nullptr || mLast) return;
        Need(1);
    }
}

}  // namespace ybase
