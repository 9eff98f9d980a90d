#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

ClipChange SetSpeed(Scene& scene, double speed)
{
    if (speed == 1.0) return {false, "nothing to do: that is the speed that it has"};
    const std::vector<YFCurve*> curves = CurvesToMove(scene);
    const TimeSpan before = SpanOf(scene);
    if (before.start == before.stop) return {false, "nothing to do: all keys are at one time"};
    CheckReach(scene, before.start.GetSecondDouble() + before.Length().GetSecondDouble() / speed);
    const std::string unrolled = UnrollRecordings(scene);
    const SceneFrames frames{before.start, scene.rate};
    const auto newTime = [&](YTime time) {
        const double after = (time - before.start).GetSecondDouble() / speed;
        return frames.Onto(before.start + YTime::FromSeconds(after));
    };
    for (YFCurve* curve : curves) Retime(*curve, frames, newTime, speed);
    const auto oldTime = [start = before.start, speed](YTime time) {
        return start + YTime::FromSeconds((time - start).GetSecondDouble() * speed);
    };
    return {true,
            fmt::format("plays {} times as fast: in {} s instead of {} s{}{}", speed,
                        ShortSecondsText(SpanOf(scene).Length()), ShortSecondsText(before.Length()),
                        unrolled.empty() ? "" : "; ", unrolled),
            {oldTime, {}, std::max<std::int64_t>(1, std::llround(speed))}};
}

}  // namespace

ClipWork ParseSpeed(const std::string& value, const ClipSettings&)
{
    constexpr double kSlowest = 0.001;
    constexpr double kFastest = 1000.0;
    const std::optional<double> speed = ParseDouble(value);
    if (!speed || *speed < kSlowest || *speed > kFastest) {
        throw Failure(fmt::format("speed: {} is not a number from 0.001 to 1000; reverse plays backwards",
                                  Quoted(value)),
                      kExitUsage);
    }
    return [speed = *speed](Scene& scene) { return SetSpeed(scene, speed); };
}

}  // namespace ymotion
