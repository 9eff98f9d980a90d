#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvesettings.h"
#include "ymotion/scene/scene.h"

/// \file
/// Filters with their parameters, as they are written on the command line.

namespace ymotion {

/// A filter with its parameters.
struct FilterStep
{
    std::string name;      ///< short
    std::string settings;  ///< the parameters that were given: "CutOffFreq=7", or empty
    std::unique_ptr<YFCurveFilter> filter;
    std::vector<std::string> ofFrames;  ///< that were not, and go by the scene's frames: "SamplingRate is 24"
    /// What was asked for, by which reports describe the step; the filter's parameters where this is empty.
    std::vector<std::pair<std::string, std::string>> asked = {};
    /// Makes another one for another thread; by class and parameters where this is empty.
    std::function<std::unique_ptr<YFCurveFilter>()> copy = {};
    /// It keeps what joints do half-way between frames, too; errors are taken there.
    bool betweenFrames = false;
    std::string told = {};  ///< what its report tells of what was done ahead of it
};

/// Steps out of the texts of the command line: a filter's name and, behind a colon, parameters between
/// commas: "unroll", "butterworth:CutOffFreq=7,Stop=2.5". A comma that is not followed by NAME= belongs to
/// the value: "trs:T=1,0,-2.5,Start=1". Throws `Failure` for what is unknown, out of range or missing.
///
/// Times in frames and time codes, and rates, periods and windows that are not given, go by the frames of the
/// scene. Without a scene the texts are checked.
std::vector<FilterStep> ParseSteps(const std::vector<std::string>& texts, const Scene* scene = nullptr);

/// Another filter with the same parameters, for another thread.
std::unique_ptr<YFCurveFilter> CopyOf(YFCurveFilter& filter);

/// The library's filters sample by the frames and the plot period of the thread that they are on.
struct FramesOf
{
    explicit FramesOf(const Scene& scene) : rate(LibraryRate(scene.rate)) {}

    YThreadFrameRate rate;
    YFCurveThreadPlotPeriod period{YTime::FromFrame(1)};
};

}  // namespace ymotion
