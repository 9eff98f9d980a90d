// The pieces of docs/how-do-i.md that stand on ymotion, in a program that runs. Pieces are between ">>>" and "<<<".

#include <cstdio>
#include <string>
#include <vector>

#include "ymotion/all.h"

namespace {

// >>> clean a file
bool CleanFile(const char* from, const char* to)
{
    YMotion motion;
    YMotionFilterReport report;
    if (!motion.Load(from) || !motion.Filter({"unroll", "key-reducer:Precision=0.1"}, {"Hips"}, &report) ||
        !motion.Save(to)) {
        std::printf("%s\n", motion.GetError().GetLastErrorString());
        return false;
    }
    for (const YMotionPropertyReport& property : report.properties) {
        std::printf("%s: %d of %d keys, up to %.2f %s off\n", property.path.c_str(),
                    static_cast<int>(property.keysAfter), static_cast<int>(property.keysBefore),
                    property.largest, property.unit.c_str());
    }
    return true;
}
// <<<

// >>> make a loop of a step
bool MakeLoop(const char* from, const char* to)
{
    YMotion motion;
    std::vector<std::string> report;
    const bool done = motion.Load(from) &&
                      motion.Clip({"trim=0.5:1.6", "loop=4", "blend=0.2", "root-origin"}, &report) &&
                      motion.Save(to);
    if (!done) std::printf("%s\n", motion.GetError().GetLastErrorString());
    for (const std::string& line : report) std::printf("%s\n", line.c_str());
    return done;
}
// <<<

}  // namespace

int main(int count, char** arguments)
{
    const bool done =
        count == 3 && CleanFile(arguments[1], arguments[2]) && MakeLoop(arguments[1], arguments[2]);
    return done ? 0 : 1;
}
