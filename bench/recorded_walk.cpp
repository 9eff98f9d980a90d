#include "bench/recorded_walk.h"

#include <cstdlib>
#include <filesystem>

#include "tests/filters/motion.h"

std::vector<YFCurvePtr> RecordedWalk()
{
    const char* folder = std::getenv("YFCURVE_RECORDINGS");
    if (!folder || !*folder) return {};
    return motion::ReadChannels(std::filesystem::path(folder) / "cmu_12_01_walk.bvh");
}
