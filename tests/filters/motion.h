#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "yfcurve/yfcurveptr.h"

/// \file
/// Motion for filters to work on: the channels of BVH files, without their names.

namespace motion {

/// A curve of auto keys for each column of numbers behind "Frame Time:"; none when there is no such file.
inline std::vector<YFCurvePtr> ReadChannels(const std::filesystem::path& file)
{
    std::vector<YFCurvePtr> curves;
    std::ifstream stream(file);
    std::string line;
    double frameTime = 0.0;
    for (int frame = 0; std::getline(stream, line);) {
        std::istringstream words(line);
        std::string first, second;
        if (frameTime == 0.0) {
            if (words >> first >> second && first == "Frame" && second == "Time:") words >> frameTime;
            continue;
        }
        float value;
        for (std::size_t channel = 0; words >> value; ++channel) {
            if (channel == curves.size()) curves.emplace_back(YFCurveCreate());
            curves[channel]->KeyAppendFast(YTime::FromSeconds(frame * frameTime), value);
        }
        ++frame;
    }
    return curves;
}

/// Those of the example walk, and those of the recordings where they are at hand.
inline std::vector<YFCurvePtr> AllChannels()
{
    std::vector<std::filesystem::path> files{YFCURVE_SOURCE_DIR "/examples/walk.bvh"};
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(YFCURVE_SHARED_DATA_DIR, missing)) {
        if (entry.path().extension() == ".bvh") files.push_back(entry.path());
    }
    std::vector<YFCurvePtr> all;
    for (const std::filesystem::path& file : files) {
        for (YFCurvePtr& curve : ReadChannels(file)) all.push_back(std::move(curve));
    }
    return all;
}

}  // namespace motion
