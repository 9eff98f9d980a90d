#include "ymotion/text/diagnostic.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include <fmt/format.h>

#include "ymotion/text/printable.h"
#include "ymotion/text/terminal.h"

namespace ymotion {

void FailAt(std::string_view file, std::int64_t line, std::string_view message)
{
    throw Failure(fmt::format("{}:{}: {}", Printable(file), line, message));
}

void FailWithErrno(std::string_view file, std::string_view action, int error, std::string_view advice)
{
    const std::string_view separator = advice.empty() ? "" : "; ";
    throw Failure(
        fmt::format("{}: {}: {}{}{}", Printable(file), action, std::strerror(error), separator, advice));
}

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
    const Style style(STDERR_FILENO);
    PrintLine(fmt::format("{}yfcurve:{} {}\n", style.Error(), style.Plain(), message));
}

void PrintNote(std::string_view message)
{
    PrintLine(fmt::format("yfcurve: {}\n", message));
}

}  // namespace ymotion
