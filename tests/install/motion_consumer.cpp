#include <ymotion/all.h>

#include <string>

// A turn that jumps by a whole one is read, unrolled, saved, and read again.
int main(int, char** arguments)
{
    const std::string bvh =
        "HIERARCHY\nROOT Hips\n{\n OFFSET 0 0 0\n CHANNELS 1 Zrotation\n}\nMOTION\nFrames: 3\nFrame Time: "
        "0.04\n"
        "170\n-170\n-160\n";
    YMotion motion;
    std::vector<float> angles;
    const bool isDone = motion.LoadText(bvh.data(), bvh.size(), "turn") && motion.Filter({"unroll"}) &&
                        motion.Save(arguments[1]) && motion.Load(arguments[1]) &&
                        motion.Sample(angles, {YTime::FromSeconds(0.04)}, {"Lcl Rotation/Z"});
    return isDone && angles[0] == 190.0f ? 0 : 1;
}
