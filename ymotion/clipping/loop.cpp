#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

#include <fmt/format.h>

#include "ymotion/clipping/append.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

void CheckKeyCount(const Scene& scene, int times)
{
    constexpr std::int64_t kMostKeys = 20'000'000;
    std::int64_t keys = 0;
    for (const YFCurve* curve : CurvesToMove(scene)) keys += curve->KeyGetCount();
    if (keys * times <= kMostKeys) return;
    throw Failure(fmt::format("{}: {} rounds have {} keys, more than {}; play less often, or trim",
                              scene.file, times, GroupedText(keys * times), GroupedText(kMostKeys)));
}

/// Lets a scene play some more times behind itself. Rounds are put together in halves: one by one, each of them
/// would take as long as all before it.
/// \return  how the root moves from a round to the next.
GroundMove AppendRounds(Scene& scene, int more, const Seam& seam)
{
    Scene rounds = CopyOf(scene);  // 1, 2, 4, ... of them
    std::optional<GroundMove> first;
    const auto append = [&](Scene& front) {
        const GroundMove move = Append(front, CopyOf(rounds), seam);
        if (!first) first = move;
    };
    for (; more > 0; more /= 2) {
        if (more % 2 == 1) append(scene);
        if (more > 1) append(rounds);
    }
    return *first;
}

/// When the rounds of a loop begin.
class Rounds
{
  public:
    /// Rounds of whole frames begin at frames, however those are rounded to ticks.
    Rounds(const TimeSpan& first, int times, FrameRate rate) : mFirst(first), mTimes(times), mRate(rate)
    {
        const std::int64_t frames = NearestFrame(first.Length(), rate);
        const YTime rest = first.Length() - TimeOfFrame(frames, rate);
        if (frames > 0 && rest <= kFewTicks && -rest <= kFewTicks) mFrames = frames;
    }

    YTime StartOf(std::int64_t number) const
    {
        if (mFrames) return TimeOfFrame(mFirst.start, *mFrames * number, mRate);
        return mFirst.start + mFirst.Length() * number;
    }

    /// The round that plays at a time.
    std::int64_t NumberAt(YTime time) const
    {
        const YTime after = time + kFewTicks * Roundings();
        std::int64_t number = (after - mFirst.start).Get() / mFirst.Length().Get();
        while (StartOf(number) > after) --number;
        while (StartOf(number + 1) <= after) ++number;
        return std::clamp<std::int64_t>(number, 0, mTimes - 1);
    }

    /// How often the times of keys are rounded at most: once for each doubling of the rounds.
    int Roundings() const { return static_cast<int>(std::bit_width(static_cast<unsigned>(mTimes))); }

  private:
    TimeSpan mFirst;
    int mTimes;
    FrameRate mRate;
    std::optional<std::int64_t> mFrames;  ///< of a round, where they are whole
};

/// What is intended in the world: each round shows what the first one does, from where the root has come to. Blends
/// show new motion.
WorldIntent IntentOf(const TimeSpan& round, const Rounds& rounds, int times, YTime blend,
                     const GroundMove& next)
{
    const auto timeBefore = [=](YTime time) -> std::optional<YTime> {
        const std::int64_t number = rounds.NumberAt(time);
        const YTime before = time - (rounds.StartOf(number) - round.start);
        if (number > 0 && before < round.start + blend) return std::nullopt;
        return std::max(before, round.start);
    };
    std::vector<GroundMove> moves(1);
    for (int i = 1; i < times; ++i) {
        const YgeVector place = next({moves.back().x, 0, moves.back().z});
        moves.push_back({moves.back().degrees + next.degrees, place.x, place.z});
    }
    const auto move = [=](std::vector<Placement>& places, YTime time) {
        for (Placement& place : places)
            place.origin = moves[static_cast<std::size_t>(rounds.NumberAt(time))](place.origin);
    };
    return {timeBefore, move, rounds.Roundings()};
}

ClipChange Loop(Scene& scene, int times, const std::optional<WrittenTime>& blend)
{
    if (times == 1) return {false, "nothing to do: it plays once as it is"};
    const Seam seam{blend ? blend->At(scene.rate) : YTIME_ZERO, true, Blending::CarryOn};
    CheckTakesSeam(scene, seam);
    const TimeSpan before = SpanOf(scene);
    if (before.start == before.stop) return {false, "nothing to do: all keys are at one time"};
    const double added = before.Length().GetSecondDouble() * (times - 1);
    CheckReach(scene, before.stop.GetSecondDouble() + added);
    CheckKeyCount(scene, times);
    // A blend goes on at the speed of the last frames, which is read between them.
    const std::string unrolled = seam.blend == YTIME_ZERO ? std::string() : UnrollRecordings(scene);
    const GroundMove move = AppendRounds(scene, times - 1, seam);
    std::string text =
        fmt::format("plays {} times, in {} s instead of {} s", times,
                    ShortSecondsText(SpanOf(scene).Length()), ShortSecondsText(before.Length()));
    if (!unrolled.empty()) text += "; " + unrolled;
    if (!scene.HasSkeleton()) return {true, text, {}};
    const YgeVector start = RootPoseAt(scene, before.start).position;
    const YgeVector next = move(start);
    text += fmt::format("; each time the root is {:.6g} further on and turned by {:.6g} degrees{}",
                        std::hypot(next.x - start.x, next.z - start.z), move.degrees, GroundNote(scene));
    return {true, text, IntentOf(before, Rounds(before, times, scene.rate), times, seam.blend, move)};
}

}  // namespace

ClipWork ParseLoop(const std::string& value, const ClipSettings& settings)
{
    constexpr double kMost = 1000;
    const std::optional<double> times = ParseDouble(value);
    if (!times || *times < 1 || *times > kMost || *times != std::floor(*times)) {
        throw Failure(fmt::format("loop: {} is not a whole number from 1 to 1000; give how often to play",
                                  Quoted(value)),
                      kExitUsage);
    }
    return [times = static_cast<int>(*times), blend = settings.blend](Scene& scene) {
        return Loop(scene, times, blend);
    };
}

}  // namespace ymotion
