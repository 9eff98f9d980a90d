#include "ybaselib/yfilewriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#ifndef __EMSCRIPTEN__
#include <sys/xattr.h>
#endif

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "ybaselib/core/fnv1a.h"

namespace {

constexpr std::size_t bufferBytes = std::size_t{1} << 18;

// Where a path leads through symbolic links, the last of which may lead to a file that is yet to be made.
std::string ResolveLinks(const std::string& path)
{
    constexpr int maximumLinks = 40;  // what the system itself follows
    std::filesystem::path target = path;
    std::error_code error;
    for (int i = 0; i < maximumLinks; ++i) {
        const std::filesystem::path link = std::filesystem::read_symlink(target, error);
        if (error) break;
        target = target.parent_path() / link;
    }
    return target.string();
}

std::string FolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string("./") : path.substr(0, slash + 1);
}

// Locks a file for as long as it is open, which tells other processes that it is still being written. A
// process that looks for abandoned files may have taken it away before the lock was there. File systems
// without locks go without.
bool LockAndKeep(int descriptor)
{
    while (::flock(descriptor, LOCK_EX) != 0 && errno == EINTR) {
    }
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

// Removes a file that was left by a process that is no more. Whoever moves or removes such a file holds its
// lock, so that once it is held here and the file still has the name, the name stays.
void RemoveIfAbandoned(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return;
    struct stat status = {};
    struct stat named = {};
    const bool isAbandoned = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                             ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 &&
                             ::lstat(path.c_str(), &named) == 0 && named.st_ino == status.st_ino &&
                             named.st_dev == status.st_dev;
    if (isAbandoned) ::unlink(path.c_str());
    ::close(descriptor);
}

// The name of the file to write until `path` is replaced. The same path always gets the same names, so that
// what a killed process has left is found again; made of a hash, as the target's own name may be as long as
// names can be.
std::string TemporaryName(const std::string& path, int attempt)
{
    const std::uint64_t hash = ybase::Fnv1a(std::string_view(path).substr(path.rfind('/') + 1));
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return FolderOf(path) + ".ysave-" + digits + '-' + std::to_string(attempt);
}

// Creates a file that no other process has in the folder of `path`, and sets `name` to its path. Its
// permissions are never wider than `mode`.
int CreateBeside(const std::string& path, mode_t mode, std::string& name)
{
    constexpr int maximumAttempts = 1000;
    for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
        name = TemporaryName(path, attempt);
        RemoveIfAbandoned(name);
        const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor < 0 && errno != EEXIST) return -1;
        if (descriptor >= 0 && LockAndKeep(descriptor)) return descriptor;
        if (descriptor >= 0) ::close(descriptor);
    }
    return -1;
}

// The value of errno, 0 when all was written.
int WriteAll(int descriptor, const char* bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t written = ::write(descriptor, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return written < 0 ? errno : EIO;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return 0;
}

// Owner and group first, as changing them may take permission bits away. Where the group cannot be kept its
// bits go, for they would admit other people.
bool KeepOwnerAndPermissions(int descriptor, const struct stat& old)
{
    constexpr auto unchanged = static_cast<uid_t>(-1);
    const bool groupKept = ::fchown(descriptor, unchanged, old.st_gid) == 0;
    // Only a privileged process can give a file away; for any other it stays the process's own.
    [[maybe_unused]] const bool ownerKept = ::fchown(descriptor, old.st_uid, unchanged) == 0;
    return ::fchmod(descriptor, old.st_mode & (groupKept ? 0777u : 0707u)) == 0;
}

#ifdef __EMSCRIPTEN__
// The file systems of browsers have none.
void KeepExtendedAttributes(int, const char*) {}
#else
// Access lists are among the extended attributes. One that the file system or the process cannot set is left
// out: a new file would not have it either.
void KeepExtendedAttributes(int descriptor, const char* oldPath)
{
    const ssize_t size = ::listxattr(oldPath, nullptr, 0);
    if (size <= 0) return;
    std::string names(static_cast<std::size_t>(size), '\0');
    const ssize_t listed = ::listxattr(oldPath, names.data(), names.size());
    if (listed <= 0) return;
    names.resize(static_cast<std::size_t>(listed));
    std::string value;
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
        const char* name = names.data() + at;
        const ssize_t valueSize = ::getxattr(oldPath, name, nullptr, 0);
        if (valueSize < 0) continue;
        value.resize(static_cast<std::size_t>(valueSize));
        const ssize_t read = ::getxattr(oldPath, name, value.data(), value.size());
        if (read >= 0) ::fsetxattr(descriptor, name, value.data(), static_cast<std::size_t>(read), 0);
    }
}
#endif

// Some file systems have nothing to flush to.
bool Synchronize(int descriptor)
{
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
}

// Has the new name of a file reach the disk; where directories cannot be synchronised it goes without.
void SynchronizeFolder(const std::string& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

}  // namespace

struct YFileWriter::Pending
{
    Pending() = default;
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;
    ~Pending()
    {
        if (created) ::unlink(temporary.c_str());
        if (descriptor >= 0) ::close(descriptor);
    }

    // All return the value of errno, 0 when nothing failed.
    int Begin(const char* path)
    {
        target = ResolveLinks(path);
        replaces = ::stat(target.c_str(), &old) == 0;
        if (!replaces && errno != ENOENT) return errno;
        if (replaces && S_ISDIR(old.st_mode)) return EISDIR;
        if (replaces && !S_ISREG(old.st_mode)) return EINVAL;
        if (replaces && ::access(target.c_str(), W_OK) != 0) return errno;
        folder = FolderOf(target);
        buffer.reserve(bufferBytes);
        descriptor = CreateBeside(target, replaces ? old.st_mode & 0700u : 0666u, temporary);
        created = descriptor >= 0;
        return created ? 0 : errno;
    }

    int Flush()
    {
        const int error = WriteAll(descriptor, buffer.data(), buffer.size());
        buffer.clear();
        return error;
    }

    int Add(const char* bytes, std::size_t count)
    {
        if (buffer.size() + count > bufferBytes) {
            if (const int error = Flush()) return error;
            if (count >= bufferBytes) return WriteAll(descriptor, bytes, count);
        }
        buffer.append(bytes, count);
        return 0;
    }

    int MoveIntoPlace()
    {
        if (const int error = Flush()) return error;
        if (replaces && !KeepOwnerAndPermissions(descriptor, old)) return errno;
        if (replaces) KeepExtendedAttributes(descriptor, target.c_str());
        if (!Synchronize(descriptor)) return errno;
        // A file system across a network may report only when it is closed that the disk was full. The lock
        // goes with the last descriptor, after the file has left its temporary name.
        const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        if (copy < 0 || ::close(copy) != 0) return errno;
        if (std::rename(temporary.c_str(), target.c_str()) != 0) return errno;
        created = false;
        ::close(std::exchange(descriptor, -1));
        SynchronizeFolder(folder);
        return 0;
    }

    std::string target;
    std::string folder;
    std::string temporary;
    std::string buffer;
    struct stat old = {};
    int descriptor = -1;
    bool replaces = false;
    bool created = false;  // the temporary file exists
};

YFileWriter::YFileWriter() = default;

YFileWriter::~YFileWriter() = default;

bool YFileWriter::Fail(int errorNumber)
{
    if (mErrorNumber == 0) mErrorNumber = errorNumber;
    mPending.reset();
    return false;
}

bool YFileWriter::Open(const char* path)
{
    mPending.reset();
    mErrorNumber = 0;
    if (path == nullptr || *path == '\0') return Fail(ENOENT);
    try {
        mPending = std::make_unique<Pending>();
        const int error = mPending->Begin(path);
        return error == 0 || Fail(error);
    } catch (const std::exception&) {
        return Fail(ENOMEM);
    }
}

bool YFileWriter::Write(const char* bytes, std::size_t count)
{
    if (mPending == nullptr) return Fail(EBADF);
    const int error = mPending->Add(bytes, count);
    return error == 0 || Fail(error);
}

bool YFileWriter::Commit()
{
    if (mPending == nullptr) return Fail(EBADF);
    try {
        const int error = mPending->MoveIntoPlace();
        if (error != 0) return Fail(error);
    } catch (const std::exception&) {
        return Fail(ENOMEM);
    }
    mPending.reset();
    return true;
}

void YFileWriter::Abandon()
{
    mPending.reset();
}
