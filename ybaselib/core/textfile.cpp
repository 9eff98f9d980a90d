#include "ybaselib/core/textfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "ybaselib/yfilewriter.h"

namespace ybase {
namespace {

// A file descriptor that closes itself.
class File
{
  public:
    explicit File(int descriptor) : mDescriptor(descriptor) {}
    ~File()
    {
        if (IsOpen()) ::close(mDescriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool IsOpen() const { return mDescriptor >= 0; }
    int Get() const { return mDescriptor; }

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
    YFileWriter writer;
    return writer.Open(path.c_str()) && writer.Write(text.data(), text.size()) && writer.Commit();
}

void MakeDirectories(const std::string& path)
{
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        ::mkdir(path.substr(0, slash).c_str(), 0700);
    ::mkdir(path.c_str(), 0700);
}

}  // namespace ybase
