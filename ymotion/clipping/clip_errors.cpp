#include "ymotion/clipping/clip_errors.h"

#include <algorithm>
#include <map>
#include <utility>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/compare/deviation.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/scene/world_pose.h"

namespace ymotion {
namespace {

/// For a time after all steps: the time that showed the same before each step, the first step first; last, the time
/// itself. Empty where a step made new motion there, such as a blend.
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

/// How far the first of `TimesBefore` may be beside the frame that is meant, as every step rounds times to ticks: where
/// the motion jumps at that frame, the time has to be on it to show the right side. 0 where no step changes times, and
/// a microsecond at most.
YTime RoundingOf(const std::vector<ClipOutcome>& outcomes)
{
    constexpr YTime kMost{YTIME_TICKS_PER_SECOND / 1'000'000};
    YTime rounding;
    for (const ClipOutcome& outcome : outcomes) {
        const WorldIntent& intent = outcome.change.intent;
        if (intent.timeBefore) rounding = std::min(std::max(rounding, kFewTicks) * intent.roundings, kMost);
    }
    return rounding;
}

}  // namespace

std::optional<ClipErrors> MeasureClip(const Scene& before, const Scene& after,
                                      const std::vector<ClipOutcome>& outcomes)
{
    const std::optional<TimeSpan> was = KeySpan(before);
    const std::optional<TimeSpan> span = KeySpan(after);
    if (!was || !span) return std::nullopt;
    // Errors are taken between frames, too.
    const std::optional<Scene> oldUnrolled = UnrolledCopy(before);
    const std::optional<Scene> nowUnrolled = UnrolledCopy(after);
    std::optional<WorldPoses> old = PosesOf(oldUnrolled ? *oldUnrolled : before);
    std::optional<WorldPoses> now = PosesOf(nowUnrolled ? *nowUnrolled : after);
    if (!old || !now) return std::nullopt;
    std::vector<Placement> places;
    const YTime rounding = RoundingOf(outcomes);
    ClipErrors errors;
    errors.every = FramesBetweenErrors(*span, after.rate);
    std::map<YTime, std::vector<YTime>> shownAt;
    std::vector<YTime> times = TimesToCompare(*span, after.rate, errors.every, true);
    std::erase_if(times, [&](YTime time) {
        std::vector<YTime> shown = TimesBefore(outcomes, time);
        if (shown.empty()) return true;
        shownAt.emplace(time, std::move(shown));
        return false;
    });
    const auto intended = [&](YTime time) -> const std::vector<Placement>& {
        const std::vector<YTime>& shown = shownAt.at(time);
        places = old->PlacesAt(SceneFrames{was->start, before.rate}.Onto(shown.front(), rounding));
        for (std::size_t i = 0; i < outcomes.size(); ++i) {
            const WorldIntent& intent = outcomes[i].change.intent;
            if (intent.move) intent.move(places, shown[i + 1]);
        }
        return places;
    };
    const auto actual = [&](YTime time) -> const std::vector<Placement>& { return now->PlacesAt(time); };
    errors.world = MeasureWorld(after.skeleton, intended, actual, times);
    return errors;
}

}  // namespace ymotion
