#include "program/terminal/messages.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include <fmt/format.h>

#include "program/terminal/terminal.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

void PrintLine(const std::string& line)
{
    // Nothing can be done about a standard error that cannot be written: the exit code remains.
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

}  // namespace

void PrintError(std::string_view message)
{
    const Style style = StyleOf(STDERR_FILENO);
    PrintLine(fmt::format("{}yfcurve:{} {}\n", style.Error(), style.Plain(), message));
}

void PrintNote(std::string_view message)
{
    PrintLine(fmt::format("yfcurve: {}\n", message));
}

void PrintNoteOnTerminal(std::string_view message)
{
    if (isatty(STDERR_FILENO) != 0) PrintNote(message);
}

namespace {

/// As much of a text as there is room for.
class FixedText
{
  public:
    void Clear() { mSize = 0; }
    void Append(std::string_view text)
    {
        if (text.size() > mBytes.size() - mSize) return;
        std::copy(text.begin(), text.end(), mBytes.begin() + static_cast<std::ptrdiff_t>(mSize));
        mSize += text.size();
    }
    std::string_view View() const { return {mBytes.data(), mSize}; }

  private:
    std::array<char, 4096> mBytes{};
    std::size_t mSize = 0;
};

FixedText fileInWork;

void SetFileInWork(std::string_view path)
{
    fileInWork.Clear();
    if (path == "-") return fileInWork.Append("<standard input>");
    while (!path.empty()) fileInWork.Append(TakePrintable(path));
}

}  // namespace

void NoteFileInWork(std::string_view path) noexcept
{
    SetFileInWork(path);
}

void PrintOutOfMemory(std::string_view fallback) noexcept
{
    if (fileInWork.View().empty()) SetFileInWork(fallback);
    const Style style = StyleOf(STDERR_FILENO);
    FixedText line;
    for (const std::string_view part : {style.Error(), std::string_view("yfcurve:"), style.Plain(),
                                        std::string_view(" "), fileInWork.View()})
        line.Append(part);
    if (!fileInWork.View().empty()) line.Append(": ");
    line.Append("out of memory; free some, or take a smaller file\n");
    std::fwrite(line.View().data(), 1, line.View().size(), stderr);
}

}  // namespace program
