#include "yfcurve/filters/fit/fitsource.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/segmentcuts.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/fitting/fitsegment.h"
#include "yfcurve/node/curves/framegrid.h"

namespace yfc {

bool IsWeighted(const YFCurve& curve, int key)
{
    return KeyKind(curve, key).IsCubic() && curve.KeyGetTangeantWeightMode(key) != YFCURVE_WEIGHT_NONE;
}

bool IsAnyWeighted(const YFCurve& curve, int firstKey, int lastKey)
{
    for (int key = firstKey; key < lastKey; ++key) {
        if (IsWeighted(curve, key)) return true;
    }
    return false;
}

namespace {

// Steps and jumps, which keys a tick apart make, are no cubics of time.
bool Stays(const YFCurve& curve, int key, const FitOptions& options)
{
    const bool isJump = curve.KeyGetTime(key + 1) - curve.KeyGetTime(key) <= YTIME_ONE_TICK;
    switch (KeyKind(curve, key).GetInterpolation()) {
        case EInterpolation::Constant:
        case EInterpolation::None:
            return true;
        case EInterpolation::Linear:
            return isJump;
        case EInterpolation::Cubic:
            return isJump || (options.ToleranceBehind(curve, key) <= 0.0 && IsWeighted(curve, key));
    }
    return true;
}

// What is left of a tolerance beside rounding.
struct PartTolerance
{
    double share;
    double rounding;

    double Of(double tolerance) const { return std::max(tolerance * share - 4.0 * rounding, 8.0 * rounding); }
};

void AppendPoint(FitPart& part, const FitPoint& point, YTime time, int key)
{
    part.run.points.push_back(point);
    part.times.push_back(time);
    part.keys.push_back(key);
}

// On the cubic behind a point.
FitPoint PointInside(const FitPart& part, int point, YTime time)
{
    const FitPoint& from = part.run[point];
    const FitPoint& to = part.run[point + 1];
    const double duration = to.time - from.time;
    const double seconds = SecondsBetween(part.times[static_cast<std::size_t>(point)], time);
    const SegmentWeights weights = WeightsOfSlopes(seconds / duration, to.value - from.value);
    const double slope =
        weights.baseSlope / duration + weights.startSlope * from.right + weights.endSlope * to.left;
    const double value =
        from.value + weights.base + duration * (weights.start * from.right + weights.end * to.left);
    return {from.time + seconds, static_cast<float>(value), slope, slope, from.tolerance};
}

// Adds points to those of a part at times that have none, in order.
void AddPoints(FitPart& part, const std::vector<YTime>& times)
{
    const FitPart source = part;
    part.run.points.clear();
    part.times.clear();
    part.keys.clear();
    auto next = times.begin();
    for (int point = 0; point < source.run.GetCount(); ++point) {
        const auto at = static_cast<std::size_t>(point);
        for (; next != times.end() && *next < source.times[at]; ++next) {
            if (point > 0) AppendPoint(part, PointInside(source, point - 1, *next), *next, -1);
        }
        if (next != times.end() && *next == source.times[at]) ++next;
        AppendPoint(part, source.run[point], source.times[at], source.keys[at]);
    }
}

// The ends, and points on frames, or without frames all of them. Where there may be weights, segments that have some
// need not be cut: only keys count.
void ChoosePlaces(FitPart& part, const FitOptions& options)
{
    const FrameGrid grid(options.period);
    const auto mayBePlace = [&](YTime time, int key) {
        if (options.period > YTIME_ZERO) return grid.Since(time) == YTIME_ZERO;
        return !options.weighted || key >= 0;
    };
    const int last = part.run.GetCount() - 1;
    part.run.places.clear();
    for (int point = 0; point <= last; ++point) {
        const auto at = static_cast<std::size_t>(point);
        const bool isEnd = point == 0 || point == last;
        if (isEnd || mayBePlace(part.times[at], part.keys[at])) part.run.places.push_back(point);
    }
}

class PartMaker
{
  public:
    PartMaker(const YFCurve& curve, const FitOptions& options, const PartTolerance& tolerance, FitPart& part)
        : mCurve(curve), mOptions(options), mTolerance(tolerance), mPart(part)
    {}

    void Make()
    {
        for (int key = mPart.firstKey; key < mPart.lastKey; ++key) AddSegment(key);
        AddPoint(mCurve.KeyGetTime(mPart.lastKey), mPart.lastKey, mCurve.KeyGetValue(mPart.lastKey), 0.0);
        mPart.run.points.back().right = mPart.run.points.back().left;
        if (mOptions.period > YTIME_ZERO) AddPoints(mPart, Frames());
        ChoosePlaces(mPart, mOptions);
    }

  private:
    void AddPoint(YTime time, int key, double value, double right)
    {
        const double seconds = SecondsBetween(mCurve.KeyGetTime(mPart.firstKey), time);
        const double tolerance = mTolerance.Of(mOptions.ToleranceBehind(mCurve, mKey));
        AppendPoint(mPart, {seconds, value, mLeft, right, tolerance}, time, key);
    }

    void AddSegment(int key)
    {
        const YTime time = mCurve.KeyGetTime(key);
        mKey = key;
        AddPoint(time, key, mCurve.KeyGetValue(key), mCurve.KeyGetRightDerivative(key));
        if (key == mPart.firstKey) mPart.run.points.back().left = mPart.run.points.back().right;
        if (IsWeighted(mCurve, key)) {
            if (mOptions.weighted) NoteWeights(key);
            for (const SegmentCut& cut :
                 SegmentCuts(mCurve, key, 0.01 * mTolerance.Of(mOptions.ToleranceBehind(mCurve, key)))
                     .Find()) {
                mLeft = cut.slope;
                AddPoint(time + YTime(cut.ticks), -1, static_cast<float>(cut.value), cut.slope);
            }
        }
        mLeft = KeyKind(mCurve, key).IsLinear() ? mCurve.KeyGetRightDerivative(key)
                                                : mCurve.KeyGetLeftDerivative(key + 1);
    }

    void NoteWeights(int key)
    {
        FitPoint& start = mPart.run.points.back();
        start.weights = {mCurve.KeyGetRightTangeantWeight(key), mCurve.KeyGetLeftTangeantWeight(key + 1)};
        start.weightsUntil = SecondsBetween(mCurve.KeyGetTime(mPart.firstKey), mCurve.KeyGetTime(key + 1));
    }

    std::vector<YTime> Frames() const
    {
        const FrameGrid grid(mOptions.period);
        std::vector<YTime> frames;
        YTime time = grid.FirstAfter(mPart.times.front());
        for (; time < mPart.times.back(); time = grid.On(time, 1)) frames.push_back(time);
        return frames;
    }

    const YFCurve& mCurve;
    const FitOptions& mOptions;
    const PartTolerance mTolerance;
    FitPart& mPart;
    int mKey = 0;
    double mLeft = 0.0;
};

bool CarriesSlope(std::uint32_t mode, std::uint32_t count)
{
    return mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE && count > 0;
}

// Whether the slope at an end of a part has to stay that of the curve: it goes on smoothly there with what
// stays, or beyond the keys.
bool HoldsStart(const YFCurve& curve, const FitPart& part, bool broken)
{
    if (part.firstKey == 0) {
        return CarriesSlope(curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount());
    }
    const FitPoint point{0.0, 0.0, curve.KeyGetLeftDerivative(part.firstKey),
                         curve.KeyGetRightDerivative(part.firstKey), 0.0};
    return !broken && KeyKind(curve, part.firstKey - 1).IsCubic() && !point.IsCorner();
}

bool HoldsEnd(const YFCurve& curve, const FitPart& part, bool broken)
{
    if (part.lastKey == curve.KeyGetCount() - 1) {
        return CarriesSlope(curve.GetPostExtrapolation(), curve.GetPostExtrapolationCount());
    }
    const FitPoint point{0.0, 0.0, curve.KeyGetLeftDerivative(part.lastKey),
                         curve.KeyGetRightDerivative(part.lastKey), 0.0};
    return !broken && KeyKind(curve, part.lastKey).IsCubic() && !point.IsCorner();
}

}  // namespace

double FitOptions::ToleranceBetween(YTime time, YTime next) const
{
    if (factor == nullptr) return tolerance;
    int hint = 0;
    const float here = factor->Evaluate(time, &hint);
    const float there = factor->Evaluate(next, &hint);
    return here > 0.0f && there > 0.0f ? tolerance * std::min(here, there) : 0.0;
}

double FitOptions::ToleranceBehind(const YFCurve& curve, int key) const
{
    const int next = std::min(key + 1, curve.KeyGetCount() - 1);
    return ToleranceBetween(curve.KeyGetTime(key), curve.KeyGetTime(next));
}

double LargestMagnitude(const YFCurve& curve, int firstKey, int lastKey)
{
    double largest = 0.0;
    for (int key = firstKey; key <= lastKey; ++key) {
        largest = std::max<double>(largest, std::abs(curve.KeyGetValue(key)));
    }
    return largest;
}

bool AreUsual(const YFCurve& curve, int firstKey, int lastKey)
{
    constexpr float large = 1e30f;
    const auto isUsual = [](float number) { return std::abs(number) < large; };
    for (int key = firstKey; key <= lastKey; ++key) {
        if (!isUsual(curve.KeyGetValue(key)) || !isUsual(curve.KeyGetLeftDerivative(key)) ||
            !isUsual(curve.KeyGetRightDerivative(key))) {
            return false;
        }
    }
    return true;
}

bool HasTooManyFrames(const YFCurve& curve, int firstKey, int lastKey, YTime period)
{
    constexpr double kMostFrames = 1e7;
    if (period <= YTIME_ZERO) return false;
    const double ticks = Ticks(curve.KeyGetTime(firstKey), curve.KeyGetTime(lastKey));
    return ticks / static_cast<double>(period.Get()) > kMostFrames;
}

bool ClosesLoop(const YFCurve& curve)
{
    const int last = curve.KeyGetCount() - 1;
    return last > 0 && curve.KeyGetRightDerivative(0) == curve.KeyGetLeftDerivative(last);
}

std::vector<FitPart> PartsOf(const YFCurve& curve, int firstKey, int lastKey, const FitOptions& options)
{
    // What single precision makes of values of this magnitude.
    const double rounding = 6e-8 * LargestMagnitude(curve, firstKey, lastKey);
    const bool broken = options.tangents == YFCurveFilterFit::eBroken;
    // What the cubics that stand for segments with weights are off is taken from the tolerance.
    const double share = IsAnyWeighted(curve, firstKey, lastKey) ? 0.985 : 0.999;
    const PartTolerance tolerance{share, rounding};
    std::vector<FitPart> parts;
    for (int key = firstKey; key < lastKey; ++key) {
        const bool stays = Stays(curve, key, options);
        if (parts.empty() || parts.back().stays != stays) parts.push_back({key, key, stays, {}, {}, {}, {}});
        parts.back().lastKey = key + 1;
    }
    const bool isWhole = firstKey == 0 && lastKey == curve.KeyGetCount() - 1;
    const bool isLoop = isWhole && ClosesLoop(curve);
    for (FitPart& part : parts) {
        if (part.stays) continue;
        PartMaker(curve, options, tolerance, part).Make();
        part.rules = {broken, HoldsStart(curve, part, broken) || (isLoop && part.firstKey == 0),
                      HoldsEnd(curve, part, broken) || (isLoop && part.lastKey == lastKey)};
        part.rules.autoKeys = options.tangents == YFCurveFilterFit::eAuto;
        part.rules.weighted = options.weighted && options.tolerance > 0.0;
    }
    return parts;
}

void MakeTimesCommon(std::vector<FitPart>& parts, const FitOptions& options)
{
    std::vector<YTime> all;
    for (const FitPart& part : parts) all.insert(all.end(), part.times.begin(), part.times.end());
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    for (FitPart& part : parts) {
        if (part.times.size() == all.size()) continue;
        AddPoints(part, all);
        ChoosePlaces(part, options);
    }
}

}  // namespace yfc
