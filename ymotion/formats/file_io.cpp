#include "ymotion/formats/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ybaselib/core/standardlibrary.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

constexpr std::size_t kFirstPipeBytes = std::size_t{1} << 16;
constexpr std::size_t kBufferBytes = std::size_t{1} << 18;

std::uint64_t mostBytes = std::uint64_t{4} << 30;

/// A descriptor that is closed at the end of the block.
class Descriptor
{
  public:
    explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
    ~Descriptor()
    {
        if (mDescriptor > STDERR_FILENO) close(mDescriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return mDescriptor; }

  private:
    int mDescriptor;
};

/// Whether a signal has ended a call of the system early, with errno, and the call is to be made again.
bool IsInterrupted(std::int64_t result)
{
    if (result >= 0 || errno != EINTR) return false;
    StopIfAskedNow();
    return true;
}

/// Waits for the other end of a pipe.
/// \return  negative with errno for a failure
int Open(const char* path, int flags)
{
    for (;;) {
        const int descriptor = open(path, flags | O_CLOEXEC);
        if (!IsInterrupted(descriptor)) return descriptor;
    }
}

/// As many bytes as there are, up to `size`; -1 with errno for a failure.
ssize_t ReadUpTo(int descriptor, char* to, std::size_t size)
{
    std::size_t got = 0;
    while (got < size) {
        const ssize_t count = read(descriptor, to + got, size - got);
        if (IsInterrupted(count)) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        got += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(got);
}

/// What the system knows of a path; empty for what is not there.
struct stat StatusOf(const std::string& path)
{
    struct stat status
    {};
    if (stat(path.c_str(), &status) != 0) return {};
    return status;
}

/// Whether it is a device or a pipe, which is written as it comes.
bool IsStream(const struct stat& status)
{
    return status.st_mode != 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

}  // namespace

GrowingBytes::GrowingBytes(std::size_t first)
    : mCapacity(static_cast<std::size_t>(std::min<std::uint64_t>(first, mostBytes + 1))),
      mBytes(ybase::make_unique_for_overwrite<char[]>(mCapacity))
{}

void GrowingBytes::Grow()
{
    mCapacity = static_cast<std::size_t>(std::min<std::uint64_t>(2 * mCapacity, mostBytes + 1));
    auto larger = ybase::make_unique_for_overwrite<char[]>(mCapacity);
    std::memcpy(larger.get(), mBytes.get(), mSize);
    mBytes = std::move(larger);
}

std::string InputName(const std::string& path)
{
    return path == "-" ? "<standard input>" : Printable(path);
}

std::uint64_t MostBytes()
{
    return mostBytes;
}

void SetMostBytes(std::uint64_t bytes)
{
    mostBytes = bytes;
}

void CheckSize(const std::string& name, std::uint64_t bytes)
{
    if (bytes <= mostBytes) return;
    throw Failure(fmt::format("{}: has more than {}, the most that is read; choose another --max-size", name,
                              BytesText(static_cast<long long>(mostBytes))));
}

FileBytes ReadFile(const std::string& path)
{
    const std::string name = InputName(path);
    const Descriptor file(path == "-" ? STDIN_FILENO : Open(path.c_str(), O_RDONLY));
    if (file.Get() < 0) FailWithErrno(name, "cannot open", errno, "check its name and permissions");
    struct stat status
    {};
    if (fstat(file.Get(), &status) != 0) FailWithErrno(name, "cannot read", errno);
    if (S_ISDIR(status.st_mode)) {
        throw Failure(name + ": is a directory; give the name of a file");
    }
    const bool isRegular = S_ISREG(status.st_mode);
    if (isRegular) CheckSize(name, static_cast<std::uint64_t>(status.st_size));
    // A file is read in one go, with a byte to spare to see its end; what does not know its size, grows.
    GrowingBytes bytes(isRegular ? static_cast<std::size_t>(status.st_size) + 1 : kFirstPipeBytes);
    for (;;) {
        const ssize_t count = ReadUpTo(file.Get(), bytes.End(), bytes.Room());
        if (count < 0) FailWithErrno(name, "cannot read", errno);
        bytes.Add(static_cast<std::size_t>(count));
        CheckSize(name, bytes.Size());
        if (bytes.Room() > 0) return bytes.Take();
        bytes.Grow();
    }
}

std::optional<std::string> BeginningOf(const std::string& path, std::size_t most)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
    std::ifstream file(path, std::ios::binary);
    std::string beginning(most, '\0');
    file.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
    if (file.bad() || !file.is_open()) return std::nullopt;
    beginning.resize(static_cast<std::size_t>(file.gcount()));
    return beginning;
}

std::string EndingOf(const std::filesystem::path& name)
{
    std::string ending = name.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), LowerCase);
    return ending;
}

OutputFile::OutputFile(const std::string& path, const NoteTaker& note) : mName(Printable(path))
{
    const struct stat status = StatusOf(path);
    if (path == "-") {
        mName = "<standard output>";
        mDescriptor = STDOUT_FILENO;
    } else if (path == "/dev/stderr") {
        mDescriptor = STDERR_FILENO;  // a file there holds messages already
    } else if (IsStream(status)) {
        mDescriptor = Open(path.c_str(), O_WRONLY);
        if (mDescriptor < 0) FailWithErrno(mName, "cannot open for writing", errno);
    } else if (!mFile.Open(path.c_str())) {
        if (mFile.GetErrorNumber() == EISDIR)
            throw Failure(mName + ": is a directory; give the name of a file");
        FailWithErrno(mName, "cannot write", mFile.GetErrorNumber(), "choose a folder that can be written");
    } else if (status.st_nlink > 1 && note) {
        note(fmt::format("{}: has {} names (hard links); only this one gets the new content", mName,
                         status.st_nlink));
    }
}

OutputFile::~OutputFile()
{
    if (mDescriptor > STDERR_FILENO) close(mDescriptor);
}

void OutputFile::Write(std::string_view text)
{
    if (mDescriptor < 0) {
        if (!mFile.Write(text.data(), text.size()))
            FailWithErrno(mName, "cannot write", mFile.GetErrorNumber());
        return;
    }
    mBuffer.append(text);
    if (mBuffer.size() >= kBufferBytes) Flush();
}

void OutputFile::Flush()
{
    for (std::string_view rest = mBuffer; !rest.empty();) {
        const ssize_t count = write(mDescriptor, rest.data(), rest.size());
        if (IsInterrupted(count)) continue;
        if (count < 0) FailWithErrno(mName, "cannot write", errno);
        rest.remove_prefix(static_cast<std::size_t>(count));
        // A signal has ended the wait for a full pipe after a part.
        if (!rest.empty()) StopIfAskedNow();
    }
    mBuffer.clear();
}

void OutputFile::Commit()
{
    if (mDescriptor < 0) {
        StopIfAskedNow();
        if (!mFile.Commit()) FailWithErrno(mName, "cannot write", mFile.GetErrorNumber());
        return;
    }
    Flush();
    const int descriptor = std::exchange(mDescriptor, -1);
    // What was gathered on the way may be refused only here.
    if (descriptor > STDERR_FILENO && close(descriptor) != 0) FailWithErrno(mName, "cannot write", errno);
}

std::string EndingToWrite(const std::string& path, const std::vector<std::string>& endings)
{
    if (path == "-" || IsStream(StatusOf(path))) return endings.front();
    std::string ending = EndingOf(path);
    if (std::find(endings.begin(), endings.end(), ending) != endings.end()) return ending;
    throw Failure(fmt::format("{}: the name does not end in what can be written; let it end in {}",
                              Printable(path), fmt::join(endings, " or ")),
                  kExitUsage);
}

void WriteFile(const std::string& path, std::string_view text, const NoteTaker& note)
{
    OutputFile out(path, note);
    out.Write(text);
    out.Commit();
}

}  // namespace ymotion
