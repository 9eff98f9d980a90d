#include "ybaselib/textfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace ybase {
namespace {

// A file descriptor that closes itself.
class File
{
  public:
    explicit File(int descriptor) : mDescriptor(descriptor) {}
    ~File() { Close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool IsOpen() const { return mDescriptor >= 0; }
    int Get() const { return mDescriptor; }

    // False when the system reports a failure of earlier writing only now.
    bool Close()
    {
        const int descriptor = mDescriptor;
        mDescriptor = -1;
        return descriptor < 0 || ::close(descriptor) == 0;
    }

  private:
    int mDescriptor;
};

bool ReadAll(int descriptor, std::size_t maximumSize, std::string& text)
{
    char buffer[16384];
    while (true) {
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count == 0) return true;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > maximumSize) return false;
    }
}

bool WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Where a path leads through symbolic links; the path itself when it leads nowhere yet.
std::string ResolveLinks(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

// Creates a file that nobody else has, beside the one at `path`, and sets `temporaryPath` to its name. Its
// permissions are never wider than `mode`.
int CreateBeside(const std::string& path, mode_t mode, std::string& temporaryPath)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporaryPath = path + '.' + std::to_string(::getpid()) + '.' + std::to_string(attempt) + ".tmp";
        const int descriptor = ::open(temporaryPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

// Has the new name of a file reach the disk; where directories cannot be synchronised it goes without.
void SynchronizeDirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const File file(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (file.IsOpen()) ::fsync(file.Get());
}

// Owner and group first, as changing them may take permission bits away. Where the group cannot be kept
// its bits go, for they would admit other people.
bool CopyOwnerAndPermissions(int descriptor, const struct stat& old)
{
    constexpr auto unchanged = static_cast<uid_t>(-1);
    const bool groupKept = ::fchown(descriptor, unchanged, old.st_gid) == 0;
    // Only a privileged process can give a file away; for any other it stays the process's own.
    [[maybe_unused]] const bool ownerKept = ::fchown(descriptor, old.st_uid, unchanged) == 0;
    return ::fchmod(descriptor, old.st_mode & (groupKept ? 0777u : 0707u)) == 0;
}

bool WriteNewFile(File& file, const std::string& text, const struct stat* old)
{
    if (!WriteAll(file.Get(), text)) return false;
    if (old != nullptr && !CopyOwnerAndPermissions(file.Get(), *old)) return false;
    return ::fsync(file.Get()) == 0 && file.Close();
}

}  // namespace

ReadResult ReadTextFile(const std::string& path, std::size_t maximumSize, std::string& text)
{
    text.clear();
    // Without O_NONBLOCK opening a named pipe would wait for a writer.
    const File file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.IsOpen()) return errno == ENOENT ? ReadResult::Missing : ReadResult::Unreadable;
    struct stat status = {};
    if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return ReadResult::Unreadable;
    if (ReadAll(file.Get(), maximumSize, text)) return ReadResult::Read;
    text.clear();
    return ReadResult::Unreadable;
}

bool ReplaceTextFile(const std::string& path, const std::string& text)
{
    const std::string target = ResolveLinks(path);
    struct stat old = {};
    const bool exists = ::stat(target.c_str(), &old) == 0;
    if (exists && (!S_ISREG(old.st_mode) || ::access(target.c_str(), W_OK) != 0)) return false;

    std::string temporaryPath;
    File file(CreateBeside(target, exists ? old.st_mode & 0700u : 0666u, temporaryPath));
    if (!file.IsOpen()) return false;
    const bool replaced = WriteNewFile(file, text, exists ? &old : nullptr) &&
                          std::rename(temporaryPath.c_str(), target.c_str()) == 0;
    if (!replaced) {
        ::unlink(temporaryPath.c_str());
        return false;
    }
    SynchronizeDirectoryOf(target);
    return true;
}

void MakeDirectories(const std::string& path)
{
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        ::mkdir(path.substr(0, slash).c_str(), 0700);
    ::mkdir(path.c_str(), 0700);
}

}  // namespace ybase
