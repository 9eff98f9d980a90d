#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/test_environment.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// Motion for filters to work on: the channels of BVH files, without their names.

namespace motion {

/// A recording: its channels by joint and axis, and their numbers frame after frame.
struct Recording
{
    struct Channel
    {
        int joint;
        bool rotation;
        int axis;
    };

    std::vector<Channel> channels;
    double frameTime = 0.0;
    std::vector<float> numbers;
};

/// Empty when there is no such file.
inline Recording ReadRecording(const std::filesystem::path& path)
{
    Recording recording;
    std::ifstream file(path);
    std::string word;
    for (int joint = 0; file >> word && word != "MOTION";) {
        if (word != "CHANNELS") continue;
        int count = 0;
        file >> count;
        for (int i = 0; i < count && file >> word; ++i)
            recording.channels.push_back({joint, word.ends_with("rotation"), word[0] - 'X'});
        ++joint;
    }
    while (file >> word && word != "Time:") {
    }
    file >> recording.frameTime;
    for (float number; file >> number;) recording.numbers.push_back(number);
    return recording;
}

/// A curve of auto keys for each channel.
inline std::vector<YFCurvePtr> ReadChannels(const std::filesystem::path& path)
{
    const Recording recording = ReadRecording(path);
    const std::size_t count = recording.channels.size();
    std::vector<YFCurvePtr> curves;
    for (std::size_t i = 0; i < count; ++i) curves.emplace_back(YFCurveCreate());
    for (std::size_t i = 0; i < recording.numbers.size(); ++i) {
        const double seconds = static_cast<double>(i / count) * recording.frameTime;
        curves[i % count]->KeyAppendFast(YTime::FromSeconds(seconds), recording.numbers[i]);
    }
    return curves;
}

/// Those of the example walk, and those of the recordings that were asked for.
inline std::vector<YFCurvePtr> AllChannels()
{
    std::vector<std::string> files = test::Recordings();
    files.insert(files.begin(), test::SourceFile("examples/walk.bvh"));
    std::vector<YFCurvePtr> all;
    for (const std::string& file : files) {
        for (YFCurvePtr& curve : ReadChannels(file)) all.push_back(std::move(curve));
    }
    return all;
}

}  // namespace motion
