#include "ymotion/clipping/clip_errors.h"

#include <cmath>

#include "ymotion/compare/deviation.h"
#include "ymotion/scene/world_pose.h"

namespace ymotion {
namespace {

/// The times that were shown before each step at a time after all of them, the first step first, and that time;
/// empty where a step shows something new.
std::vector<YTime> TimesBefore(const std::vector<ClipOutcome>& outcomes, YTime time)
{
    std::vector<YTime> times(outcomes.size() + 1, time);
    for (std::size_t i = outcomes.size(); i-- > 0;) {
        const WorldIntent& intent = outcomes[i].change.intent;
        times[i] = times[i + 1];
        if (!intent.timeBefore) continue;
        const std::optional<YTime> before = intent.timeBefore(times[i + 1]);
        if (!before) return {};
        times[i] = *before;
    }
    return times;
}

/// The frame that a time is beside by rounding alone, which tells on which side of a jump it is.
YTime OntoFrame(YTime time, YTime start, FrameRate rate)
{
    const double frames = (time - start).GetSecondDouble() * rate.PerSecond();
    const YTime frame = start + TimeOfFrame(std::llround(frames), rate);
    constexpr double kRounding = 1e-7;  // seconds
    return std::abs((frame - time).GetSecondDouble()) < kRounding ? frame : time;
}

}  // namespace

std::optional<ClipErrors> MeasureClip(const Scene& before, const Scene& after,
                                      const std::vector<ClipOutcome>& outcomes)
{
    const std::optional<TimeSpan> was = KeySpan(before);
    const std::optional<TimeSpan> span = KeySpan(after);
    if (!was || !span) return std::nullopt;
    std::optional<WorldPoses> old = PosesOf(before);
    std::optional<WorldPoses> now = PosesOf(after);
    if (!old || !now) return std::nullopt;
    std::vector<Placement> places;
    const auto intended = [&](YTime time) -> const std::vector<Placement>& {
        const std::vector<YTime> shown = TimesBefore(outcomes, time);
        places = old->PlacesAt(OntoFrame(shown.front(), was->start, before.rate));
        for (std::size_t i = 0; i < outcomes.size(); ++i) {
            const WorldIntent& intent = outcomes[i].change.intent;
            if (intent.move) intent.move(places, shown[i + 1]);
        }
        return places;
    };
    const auto actual = [&](YTime time) -> const std::vector<Placement>& { return now->PlacesAt(time); };
    ClipErrors errors;
    errors.every = FramesBetweenErrors(*span, after.rate);
    std::vector<YTime> times = TimesToCompare(*span, after.rate, errors.every, true);
    std::erase_if(times, [&](YTime time) { return TimesBefore(outcomes, time).empty(); });
    errors.world = MeasureWorld(after.skeleton, intended, actual, times);
    return errors;
}

}  // namespace ymotion
