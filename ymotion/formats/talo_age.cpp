// What a scene file tells of the program that wrote it, besides its content.

#include <algorithm>
#include <new>

#include "ybaselib/ytalo.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/formats/talo.h"

namespace ymotion {
namespace {

/// Goes through all fields of the block that is open.
void NoteKeyLayouts(YTalo& talo, FileAge& age)
{
    bool hasKeys = false;
    int layout = 0;
    while (const char* field = talo.FieldReadNext()) {
        const std::string_view name = field;
        if (name == "Key") hasKeys = true;
        if (name == "KeyVer") layout = talo.FieldReadI();
        if (talo.FieldReadBlockBegin()) {
            NoteKeyLayouts(talo, age);
            talo.FieldReadBlockEnd();
        }
        talo.FieldReadEnd();
    }
    if (!hasKeys) return;
    age.oldestKeys = std::min(layout, age.oldestKeys.value_or(layout));
    age.newestKeys = std::max(layout, age.newestKeys.value_or(layout));
}

FileAge AgeOf(YTalo& talo)
{
    FileAge age;
    age.hasEndMark = talo.HasEndMark();
    NoteKeyLayouts(talo, age);
    talo.FileClose();
    if (talo.GetError().GetLastErrorID() == YTalo::eErrorMemory) throw std::bad_alloc();
    return age;
}

}  // namespace

FileAge AgeOfTaloFile(const std::string& path)
{
    YTalo talo;
    talo.FileOpen(path.c_str());
    return AgeOf(talo);
}

FileAge AgeOfTaloText(std::string_view text)
{
    YTalo talo;
    talo.TextOpen(text.data(), text.size());
    return AgeOf(talo);
}

}  // namespace ymotion
