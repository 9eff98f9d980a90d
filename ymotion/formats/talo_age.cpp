// What a scene file tells of the program that wrote it, besides its content.

#include <algorithm>
#include <limits>
#include <string_view>

#include "ybaselib/ytalo.h"
#include "yfcurve/yfcurve.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/formats/talo_fields.h"

namespace ymotion {
namespace {

/// The number in a field; 0 for what is none. A look at a file notes nothing as not understood.
int NumberOf(YTalo& talo)
{
    if (std::string_view("IDF").find(talo.FieldReadGetType()) == std::string_view::npos) return 0;
    const double number = talo.FieldReadD();
    constexpr double kMost = std::numeric_limits<int>::max();
    return number >= 0.0 && number <= kMost ? static_cast<int>(number) : 0;
}

}  // namespace

int WrittenKeyLayout()
{
    return YFCURVE_KEY_VERSION;
}

void NoteKeyLayouts(YTalo& talo, FileAge& age)
{
    if (!talo.FieldReadBlockBegin()) return;
    bool hasKeys = false;
    int layout = 0;
    while (const char* field = talo.FieldReadNext()) {
        const std::string_view name = field;
        if (name == "Key") hasKeys = true;
        if (name == "KeyVer") layout = NumberOf(talo);
        NoteKeyLayouts(talo, age);
        talo.FieldReadEnd();
    }
    talo.FieldReadBlockEnd();
    if (!hasKeys) return;
    age.oldestKeys = std::min(layout, age.oldestKeys.value_or(layout));
    age.newestKeys = std::max(layout, age.newestKeys.value_or(layout));
}

}  // namespace ymotion
