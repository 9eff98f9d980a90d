#include "bench/recorded_walk.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "yfcurve/yfcurve.h"

std::vector<YFCurvePtr> ChannelsOf(const std::string& path)
{
    std::ifstream file(path);
    std::size_t channels = 0;
    std::string word;
    while (file >> word && word != "MOTION") {
        std::size_t ofJoint = 0;
        if (word == "CHANNELS" && file >> ofJoint) channels += ofJoint;
    }
    while (file >> word && word != "Time:") {
    }
    double frameTime = 0.0;
    file >> frameTime;
    std::vector<YFCurvePtr> curves;
    for (std::size_t i = 0; i < channels; ++i) curves.emplace_back(YFCurveCreate());
    std::size_t read = 0;
    for (float number; channels > 0 && file >> number; ++read) {
        const double seconds = static_cast<double>(read / channels) * frameTime;
        curves[read % channels]->KeyAppendFast(YTime::FromSeconds(seconds), number);
    }
    return curves;
}

std::vector<YFCurvePtr> RecordedWalk()
{
    const char* folder = std::getenv("YFCURVE_RECORDINGS");
    if (!folder || !*folder) return {};
    return ChannelsOf((std::filesystem::path(folder) / "cmu_12_01_walk.bvh").string());
}
