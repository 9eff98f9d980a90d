#include "ymotion/formats/file_identity.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

bool Status(const std::string& path, struct stat& status)
{
    return path == "-" ? fstat(STDIN_FILENO, &status) == 0 : stat(path.c_str(), &status) == 0;
}

bool IsSame(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Where a file that is yet to be made will be.
std::filesystem::path Place(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path place = std::filesystem::weakly_canonical(path, error);
    return error ? std::filesystem::path(path).lexically_normal() : place;
}

/// Opens a file and waits for its lock; negative where it cannot be had.
int OpenAndLock(const std::string& path, const NoteTaker& waiting)
{
    // Some file systems lock exclusively only what is open for writing.
    int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return -1;
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    if (errno == EWOULDBLOCK && waiting) {
        waiting(InputName(path) + ": waiting for another process that edits it");
    }
    while (flock(descriptor, LOCK_EX) != 0) {
        if (errno == EINTR) continue;
        close(descriptor);
        return -1;
    }
    return descriptor;
}

}  // namespace

bool IsSameFile(const std::string& one, const std::string& other)
{
    struct stat first
    {};
    struct stat second
    {};
    const bool isThere = Status(one, first);
    if (isThere != Status(other, second)) return false;
    if (!isThere) return Place(one) == Place(other);
    if (!S_ISREG(first.st_mode) || !S_ISREG(second.st_mode)) return false;
    if (IsSame(first, second)) return true;
    // Between the two looks, another process may have put a new file in the place of the one.
    return one != "-" && other != "-" && Place(one) == Place(other);
}

void RefuseToReplaceInput(const std::string& input, const std::string& output)
{
    if (output.empty() || output == "-" || !IsSameFile(input, output)) return;
    throw Failure(fmt::format("{}: is the motion to read, which would be lost; name another file to write",
                              Printable(output)),
                  kExitUsage);
}

void RefuseSameStandardInput(const std::string& one, const std::string& other)
{
    if (one != "-" || other != "-") return;
    throw Failure("standard input cannot be both files; give the name of one", kExitUsage);
}

void RefuseSameOutput(const std::string& one, const std::string& other)
{
    if (one.empty() || other.empty() || one == "-" || other == "-" || !IsSameFile(one, other)) return;
    throw Failure(
        fmt::format("{}: two outputs would go there; give each a file of its own", Printable(other)),
        kExitUsage);
}

EditLock::EditLock(const std::string& input, const std::string& output, const NoteTaker& waiting)
{
    if (input == "-" || output == "-" || !IsSameFile(input, output)) return;
    for (;;) {
        mDescriptor = OpenAndLock(output, waiting);
        struct stat locked
        {};
        struct stat current
        {};
        if (mDescriptor < 0 || fstat(mDescriptor, &locked) != 0) return;
        // While this process waited, another one may have put a new file there: that one is to be locked.
        if (Status(output, current) && !IsSame(locked, current)) {
            close(mDescriptor);
            continue;
        }
        return;
    }
}

EditLock::~EditLock()
{
    if (mDescriptor >= 0) close(mDescriptor);
}

}  // namespace ymotion
