#include "ymotion/text/failure.h"

#include <cerrno>
#include <cstring>
#include <new>

#include <fmt/format.h>

#include "ymotion/text/printable.h"

namespace ymotion {

void FailAt(std::string_view file, std::int64_t line, std::string_view message)
{
    throw Failure(fmt::format("{}:{}: {}", Printable(file), line, message));
}

void FailWithErrno(std::string_view file, std::string_view action, int error, std::string_view advice)
{
    if (error == ENOMEM) throw std::bad_alloc();
    const std::string_view separator = advice.empty() ? "" : "; ";
    throw Failure(
        fmt::format("{}: {}: {}{}{}", Printable(file), action, std::strerror(error), separator, advice));
}

}  // namespace ymotion
