#include "program/terminal/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace ymotion;

namespace program {
namespace {

/// The value of an environment variable; empty when it is not set.
std::string_view Environment(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

}  // namespace

Style StyleOf(int descriptor)
{
    const bool hasColours =
        isatty(descriptor) == 1 && Environment("NO_COLOR").empty() && Environment("TERM") != "dumb";
    return {hasColours, LineColumns(descriptor)};
}

bool ShowsUnicode(int descriptor)
{
    if (isatty(descriptor) != 1) return true;
    // The first of these that is set decides.
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        std::string value(Environment(name));
        if (value.empty()) continue;
        std::transform(value.begin(), value.end(), value.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return value.find("utf-8") != std::string::npos || value.find("utf8") != std::string::npos;
    }
    return false;
}

std::size_t LineColumns(int descriptor)
{
    winsize size{};
    if (isatty(descriptor) == 1 && ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    const std::string_view text = Environment("COLUMNS");
    std::size_t columns = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), columns);
    return error == std::errc() && columns > 0 ? columns : kUsualColumns;
}

}  // namespace program
