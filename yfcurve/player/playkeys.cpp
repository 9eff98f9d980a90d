#include "yfcurve/player/playkeys.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ybaselib/core/standardlibrary.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/segmentcuts.h"
#include "yfcurve/player/clipformat.h"

namespace yfc {

bool PlayKeys::IsSmooth() const
{
    return std::all_of(keys.begin(), keys.end(), [](const PlayKey& key) {
        return ybase::bit_cast<std::uint32_t>(key.in) == ybase::bit_cast<std::uint32_t>(key.out);
    });
}

bool PlayKeys::Holds() const
{
    return std::any_of(keys.begin(), keys.end(), [](const PlayKey& key) { return key.out == kHolds; });
}

bool PlayKeys::IsFinite() const
{
    return std::all_of(keys.begin(), keys.end(), [](const PlayKey& key) {
        return std::isfinite(key.value) && std::isfinite(key.in) &&
               (std::isfinite(key.out) || key.out == kHolds);
    });
}

namespace {

// A curve with an infinite slope evaluates to not-a-number between its keys; players do the same.
float SlopeOf(float slope)
{
    return std::isinf(slope) ? std::numeric_limits<float>::quiet_NaN() : slope;
}

class PlayKeyMaker
{
  public:
    PlayKeyMaker(const YFCurve& curve, double tolerance, const std::vector<std::int64_t>* cuts,
                 PlayKeys& result)
        : mCurve(curve), mTolerance(tolerance), mCuts(cuts), mResult(result), mKeys(result.keys)
    {}

    void Make()
    {
        const int last = mCurve.KeyGetCount() - 1;
        mKeys.reserve(static_cast<std::size_t>(last) + 1);
        for (int i = 0; i < last; ++i) {
            Append(mCurve.KeyGetTime(i).Get(), mCurve.KeyGetValue(i));
            Segment(i);
        }
        Append(mCurve.KeyGetTime(last).Get(), mCurve.KeyGetValue(last));
        Sides(last);
        if (mIsCut) {
            for (int i = 0; i <= last; ++i) mResult.corners.push_back(mCurve.KeyGetTime(i).Get());
        }
    }

  private:
    void Append(std::int64_t time, float value)
    {
        mKeys.push_back({time, value + 0.0f, mIn, 0.0f});  // a zero has no sign: what is added up has none
        mIn = 0.0f;
    }

    void Leave(float out, float nextIn)
    {
        mKeys.back().out = out;
        mIn = nextIn;
    }

    void Segment(int i)
    {
        switch (KeyKind(mCurve, i).GetInterpolation()) {
            case EInterpolation::Constant:
                return Hold(i, mCurve.KeyGetConstantMode(i) == YFCURVE_CONSTANT_NEXT
                                   ? mCurve.KeyGetValue(i + 1)
                                   : mCurve.KeyGetValue(i));
            case EInterpolation::Linear: {
                const float slope = SlopeOf(mCurve.KeyGetRightDerivative(i));
                return Leave(slope, slope);
            }
            case EInterpolation::Cubic:
                return Cubic(i);
            case EInterpolation::None:
                return Hold(i, 0.0f);
        }
    }

    // A value between two keys, and the first key's own at it: one that differs begins a tick later.
    void Hold(int i, float value)
    {
        const std::int64_t time = mKeys.back().time;
        Leave(kHolds, 0.0f);
        if (value == mKeys.back().value || time + 1 == mCurve.KeyGetTime(i + 1).Get()) return;
        Append(time + 1, value);
        Leave(kHolds, 0.0f);
    }

    void Cubic(int i)
    {
        const float out = SlopeOf(mCurve.KeyGetRightDerivative(i));
        const float in = SlopeOf(mCurve.KeyGetLeftDerivative(i + 1));
        if (mCurve.KeyGetTangeantWeightMode(i) == YFCURVE_WEIGHT_NONE) return Leave(out, in);
        mIsCut = true;
        SegmentCuts segment = SegmentCuts::Relative(mCurve, i, mTolerance);
        const std::int64_t start = mKeys.back().time;
        Leave(out, in);
        for (const SegmentCut& cut : mCuts != nullptr ? Given(segment, i) : segment.Find()) {
            const float slope = SlopeOf(static_cast<float>(cut.slope));
            mIn = slope;
            Append(start + cut.ticks, static_cast<float>(cut.value));
            Leave(slope, in);
        }
    }

    std::vector<SegmentCut> Given(const SegmentCuts& segment, int i) const
    {
        const std::int64_t start = mCurve.KeyGetTime(i).Get();
        auto cut = std::upper_bound(mCuts->begin(), mCuts->end(), start);
        std::vector<SegmentCut> cuts;
        for (; cut != mCuts->end() && *cut < mCurve.KeyGetTime(i + 1).Get(); ++cut) {
            cuts.push_back(segment.At(*cut - start));
        }
        return cuts;
    }

    // The outer slopes of the end keys count outside; where they do not, they are what keeps the keys smooth.
    void Sides(int last)
    {
        mResult.before = Side(mCurve.GetPreExtrapolation(), mCurve.GetPreExtrapolationCount());
        mResult.after = Side(mCurve.GetPostExtrapolation(), mCurve.GetPostExtrapolationCount());
        mKeys.front().in = mKeys.front().out;
        mKeys.back().out = mKeys.back().in;
        if (mKeys.front().out == kHolds) mKeys.front().in = 0.0f;
        if (mResult.before.mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
            mKeys.front().in = SlopeOf(mCurve.KeyGetRightDerivative(0));
        }
        if (mResult.after.mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
            mKeys.back().out = SlopeOf(mCurve.KeyGetLeftDerivative(last));
        }
    }

    static PlaySide Side(std::uint32_t mode, std::uint32_t count)
    {
        return MovesOutside(mode, count) ? PlaySide{mode, count} : PlaySide{};
    }

    const YFCurve& mCurve;
    double mTolerance;
    const std::vector<std::int64_t>* mCuts;
    PlayKeys& mResult;
    std::vector<PlayKey>& mKeys;
    float mIn = 0.0f;
    bool mIsCut = false;
};

// Whether all keys have one value and nothing leads away from it.
bool IsFlat(const PlayKeys& result)
{
    return std::all_of(result.keys.begin(), result.keys.end(), [&](const PlayKey& key) {
        return key.value == result.keys.front().value && key.in == 0.0f &&
               (key.out == 0.0f || key.out == kHolds);
    });
}

}  // namespace

bool MakePlayKeys(const YFCurve& curve, double tolerance, const std::vector<std::int64_t>* cuts,
                  PlayKeys& result)
{
    result = {};
    const int count = curve.KeyGetCount();
    for (int i = 1; i < count; ++i) {
        if (curve.KeyGetTime(i) <= curve.KeyGetTime(i - 1)) return false;
    }
    result.constant = count == 0 ? curve.GetValue() : curve.KeyGetValue(0);
    if (count < 2) return true;
    PlayKeyMaker(curve, tolerance, cuts, result).Make();
    if (IsFlat(result)) result = {{}, result.constant, {}, {}, {}};
    return true;
}

}  // namespace yfc
