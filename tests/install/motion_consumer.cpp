#include <ymotion/all.h>

#include <cstdio>
#include <string>

// A turn that jumps by a whole one is read, unrolled, saved, and read again.
int main(int count, char** arguments)
{
    const std::string bvh =
        "HIERARCHY\nROOT Hips\n{\n OFFSET 0 0 0\n CHANNELS 1 Zrotation\n}\nMOTION\nFrames: 3\nFrame Time: "
        "0.04\n"
        "170\n-170\n-160\n";
    YMotion motion;
    YMotion saved;
    std::vector<float> angles;
    if (count != 2 || !motion.LoadText(bvh.data(), bvh.size(), "turn") || !motion.Filter({"unroll"}) ||
        !motion.Save(arguments[1]) || !saved.Load(arguments[1]) ||
        !saved.Sample(angles, {YTime::FromSeconds(0.04)}, {"Lcl Rotation/Z"})) {
        std::printf("%s %s\n", motion.GetError().GetLastErrorString(), saved.GetError().GetLastErrorString());
        return 1;
    }
    std::printf("%g\n", static_cast<double>(angles[0]));
    return angles[0] == 190.0f ? 0 : 1;
}
