#include "ybaselib/ystring.h"

#include <algorithm>
#include <cstddef>

namespace {

int LowerCase(char c)
{
    const int code = static_cast<unsigned char>(c);
    return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

}  // namespace

int YStringCompareNoCase(const char* a, const char* b)
{
    return YStringCompareNoCase(std::string_view(a != nullptr ? a : ""),
                                std::string_view(b != nullptr ? b : ""));
}

int YStringCompareNoCase(std::string_view a, std::string_view b)
{
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i)
        if (const int difference = LowerCase(a[i]) - LowerCase(b[i]); difference != 0) return difference;
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}
