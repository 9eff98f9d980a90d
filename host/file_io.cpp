#include "host/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "host/diagnostic.h"
#include "host/printable.h"

namespace host {
namespace {

constexpr std::size_t kFirstPipeBytes = std::size_t{1} << 16;
constexpr std::size_t kBufferBytes = std::size_t{1} << 18;

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

/// As many bytes as there are, up to `size`; -1 with errno for a failure.
ssize_t ReadUpTo(int descriptor, char* to, std::size_t size)
{
    std::size_t got = 0;
    while (got < size) {
        const ssize_t count = read(descriptor, to + got, size - got);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        got += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(got);
}

mode_t CreationMask()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

/// Makes the rename itself survive a loss of power, where the file system can.
void FlushFolder(const std::string& file)
{
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    const Descriptor descriptor(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC));
    if (descriptor.Get() >= 0) fsync(descriptor.Get());
}

}  // namespace

std::string InputName(const std::string& path)
{
    return path == "-" ? "<standard input>" : Printable(path);
}

FileBytes ReadFile(const std::string& path)
{
    const std::string name = InputName(path);
    const Descriptor file(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0) FailWithErrno(name, "cannot open", errno, "check its name and permissions");
    struct stat status
    {};
    if (fstat(file.Get(), &status) != 0) FailWithErrno(name, "cannot read", errno);
    if (S_ISDIR(status.st_mode)) {
        throw Failure(name + ": is a directory; give the name of a file");
    }
    // A file is read in one go, with a byte to spare to see its end; what does not know its size, grows.
    std::size_t capacity =
        S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) + 1 : kFirstPipeBytes;
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    std::size_t size = 0;
    for (;;) {
        const ssize_t count = ReadUpTo(file.Get(), bytes.get() + size, capacity - size);
        if (count < 0) FailWithErrno(name, "cannot read", errno);
        size += static_cast<std::size_t>(count);
        if (size < capacity) return {std::move(bytes), size};
        auto larger = std::make_unique_for_overwrite<char[]>(capacity * 2);
        std::memcpy(larger.get(), bytes.get(), size);
        bytes = std::move(larger);
        capacity *= 2;
    }
}

OutputFile::OutputFile(const std::string& path) : mName(Printable(path))
{
    mBuffer.reserve(kBufferBytes);
    if (path == "-") {
        mName = "<standard output>";
        mDescriptor = STDOUT_FILENO;
        return;
    }
    struct stat status
    {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) {
        throw Failure(mName + ": is a directory; give the name of a file");
    }
    if (exists && !S_ISREG(status.st_mode)) {
        mDescriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (mDescriptor < 0) FailWithErrno(mName, "cannot open for writing", errno);
        return;
    }
    // A link keeps pointing at its file, which is the one that is replaced.
    std::error_code ignored;
    const std::filesystem::path resolved =
        exists ? std::filesystem::canonical(path, ignored) : std::filesystem::path();
    mTarget = resolved.empty() ? path : resolved.string();
    OpenBeside();
    const mode_t mode = exists ? status.st_mode & 07777 : 0666 & ~CreationMask();
    if (fchmod(mDescriptor, mode) != 0) {
        const int error = errno;
        GiveUp();
        FailWithErrno(mName, "cannot write", error);
    }
}

OutputFile::~OutputFile()
{
    GiveUp();
}

void OutputFile::OpenBeside()
{
    const std::filesystem::path folder = std::filesystem::path(mTarget).parent_path();
    std::string pattern = (folder / ".yfcurve-XXXXXX").string();
    mDescriptor = mkostemp(pattern.data(), O_CLOEXEC);
    if (mDescriptor < 0) FailWithErrno(mName, "cannot write", errno, "choose a folder that can be written");
    mTemporary = std::move(pattern);
}

void OutputFile::Write(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t room = kBufferBytes - mBuffer.size();
        mBuffer.append(text.substr(0, room));
        text.remove_prefix(std::min(room, text.size()));
        if (mBuffer.size() == kBufferBytes) Flush();
    }
}

void OutputFile::Flush()
{
    for (std::string_view rest = mBuffer; !rest.empty();) {
        const ssize_t count = write(mDescriptor, rest.data(), rest.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) FailWithErrno(mName, "cannot write", errno);
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    mBuffer.clear();
}

void OutputFile::Commit()
{
    Flush();
    const bool replaces = !mTemporary.empty();
    if (replaces && fsync(mDescriptor) != 0 && errno != EINVAL && errno != ENOTSUP) {
        FailWithErrno(mName, "cannot write", errno);
    }
    const int descriptor = std::exchange(mDescriptor, -1);
    // A file system across a network may report only here that the disk was full.
    if (descriptor > STDERR_FILENO && close(descriptor) != 0) FailWithErrno(mName, "cannot write", errno);
    if (!replaces) return;
    if (std::rename(mTemporary.c_str(), mTarget.c_str()) != 0) FailWithErrno(mName, "cannot write", errno);
    mTemporary.clear();
    FlushFolder(mTarget);
}

void OutputFile::GiveUp()
{
    const int descriptor = std::exchange(mDescriptor, -1);
    if (descriptor > STDERR_FILENO) close(descriptor);
    if (!mTemporary.empty()) unlink(mTemporary.c_str());
    mTemporary.clear();
}

}  // namespace host
