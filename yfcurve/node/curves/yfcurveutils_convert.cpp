// A curve in keys of one kind.
//
// The shape is first written down as knots: the source's keys, a knot a tick beside every jump, and samples
// in the segments that the new kind cannot follow. Slopes and weights say what each segment should be; keys
// are then made of the knots. Whether auto and TCB parameters reach the slopes only the finished keys can
// tell, since they depend on their neighbours: where they do not, the segment is sampled and all keys are
// made again.

#include <algorithm>
#include <cmath>
#include <vector>

#include "yfcurve/curve/autotangents.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysegment.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvetangeants.h"
#include "yfcurve/yfcurveutils.h"

namespace {

// Of the largest value around: rounding of the stored slopes stays below it, a difference to be seen does
// not.
constexpr double kShapeTolerance = 1e-5;
// Sampling one segment may move the parameters of the next out of reach, and so on.
constexpr int kMostRounds = 16;

// A place in time where the new curve gets a key.
struct Knot
{
    YTime time;
    float value;
    float left;  // slopes, value units per second
    float right;
    int segment;  // of the source, the one that starts here or that this is in
    bool isKey;   // of the source
};

bool IsConstant(const YFCurve& curve, int index)
{
    return yfc::KeyKind(curve, index).IsConstant();
}

// The largest magnitude that the curve's value or a handle of it has in a segment.
double Magnitude(const yfc::CubicSegment& segment)
{
    double largest = 0.0;
    for (const double value : segment.value) largest = std::max(largest, std::abs(value));
    return largest;
}

class Conversion
{
  public:
    Conversion(const YFCurve& source, yfc::ResampledKey kind, YTime period)
        : mSource(source),
          mKind(kind),
          mPeriod(period),
          mSampled(static_cast<std::size_t>(std::max(source.KeyGetCount(), 1)), false)
    {
        for (int i = 0; i + 1 < source.KeyGetCount(); ++i) mSampled[At(i)] = !Follows(i);
    }

    // False when the samples are too many.
    bool Run(YFCurve& target)
    {
        for (int round = 0;; ++round) {
            if (!FindKnots()) return false;
            MakeKeys(target);
            if (mPeriod <= YTIME_ZERO || round == kMostRounds || !SampleMissed(target)) return true;
        }
    }

  private:
    static std::size_t At(int index) { return static_cast<std::size_t>(index); }

    // --- Knots ---

    // Whether keys of the new kind at both ends are enough for a segment, as far as that can be told now.
    bool Follows(int i) const
    {
        switch (yfc::KeyKind(mSource, i).GetInterpolation()) {
            case yfc::EInterpolation::None:
                return false;
            case yfc::EInterpolation::Constant:
                return true;
            case yfc::EInterpolation::Linear:
            case yfc::EInterpolation::Cubic:
                break;
        }
        if (mKind.IsCubic()) return true;
        return mKind.interpolation == YFCURVE_INTERP_LINEAR ? IsStraight(i) : IsFlat(i);
    }

    bool IsStraight(int i) const
    {
        if (yfc::KeyKind(mSource, i).IsLinear()) return true;
        const yfc::CubicSegment segment = yfc::CubicSegmentAt(mSource, i);
        const double chord = (segment.value[3] - segment.value[0]) / segment.Duration();
        const auto along = [&](double slope) {
            return std::abs(slope - chord) * segment.Duration() <= 1e-6 * Magnitude(segment);
        };
        return along(mSource.KeyGetRightDerivative(i)) && along(mSource.KeyGetLeftDerivative(i + 1));
    }

    bool IsFlat(int i) const
    {
        return mSource.KeyGetValue(i) == mSource.KeyGetValue(i + 1) &&
               mSource.KeyGetRightDerivative(i) == 0.0f && mSource.KeyGetLeftDerivative(i + 1) == 0.0f;
    }

    // A constant segment that shows a step which the new kind does not make by itself.
    bool NeedsJump(int i) const
    {
        if (!IsConstant(mSource, i) || mSource.KeyGetValue(i) == mSource.KeyGetValue(i + 1)) return false;
        const bool sameSteps = mKind.interpolation == YFCURVE_INTERP_CONSTANT &&
                               mSource.KeyGetConstantMode(i) == (mKind.tangentMode & YFCURVE_CONSTANT_ALL);
        return !sameSteps;
    }

    bool FindKnots()
    {
        mKnots.clear();
        const int count = mSource.KeyGetCount();
        for (int i = 0; i < count; ++i) {
            mKnots.push_back({mSource.KeyGetTime(i), mSource.KeyGetValue(i), mSource.KeyGetLeftDerivative(i),
                              mSource.KeyGetRightDerivative(i), i, true});
            if (i + 1 == count) break;
            if (NeedsJump(i)) AddJump(i);
            if (mSampled[At(i)] && mPeriod > YTIME_ZERO && !AddSamples(i)) return false;
        }
        return true;
    }

    // The value stays up to a tick before the next key, or turns to that key's a tick after this one.
    void AddJump(int i)
    {
        const bool next = mSource.KeyGetConstantMode(i) == YFCURVE_CONSTANT_NEXT;
        const YTime start = mSource.KeyGetTime(i);
        const YTime stop = mSource.KeyGetTime(i + 1);
        if (stop - YTIME_ONE_TICK == start) return;
        mKnots.push_back({next ? start + YTIME_ONE_TICK : stop - YTIME_ONE_TICK,
                          mSource.KeyGetValue(next ? i + 1 : i), 0.0f, 0.0f, i, false});
    }

    bool AddSamples(int i)
    {
        const YTime start = mSource.KeyGetTime(i);
        const YTime stop = mSource.KeyGetTime(i + 1);
        const yfc::FrameGrid grid(mPeriod);
        const YTime frame = grid.LastUntil(start);
        const std::uint64_t periods = grid.CountBetween(frame, stop);
        if (periods + mKnots.size() > yfc::kMostSamples) return false;
        int hint = i;
        for (std::uint64_t k = 1; k <= periods; ++k) {
            const YTime time = grid.On(frame, static_cast<std::int64_t>(k));
            if (time <= start || time >= stop) continue;
            mKnots.push_back({time, mSource.Evaluate(time, &hint),
                              mSource.EvaluateLeftDerivative(time, &hint),
                              mSource.EvaluateRightDerivative(time, &hint), i, false});
        }
        return true;
    }

    // --- Keys ---

    bool IsLast(int knot) const { return knot + 1 == static_cast<int>(mKnots.size()); }

    // Whether the segment from a knot to the next one is a whole one of the source.
    bool IsWhole(int knot) const
    {
        return !IsLast(knot) && mKnots[At(knot)].isKey && mKnots[At(knot + 1)].isKey;
    }

    void MakeKeys(YFCurve& target) const
    {
        const auto count = static_cast<int>(mKnots.size());
        target.KeyClear();
        const YFCurveModify modify(target, count);
        int hint = 0;
        for (int k = 0; k < count; ++k) target.KeyAdd(mKnots[At(k)].time, MakeKey(k), &hint);
        if (mKind.IsCubic() && !mKind.IsUser()) {
            for (int k = 0; k < count; ++k) mKind.IsTCB() ? SolveTCB(target, k) : SolveAuto(target, k);
        }
    }

    YFCurveKey MakeKey(int k) const
    {
        const Knot& knot = mKnots[At(k)];
        YFCurveKey key;
        key.Set(YTime(), knot.value);
        if (knot.isKey) key = mSource.KeyGet(knot.segment);
        const bool wasTCB = yfc::KeyKind(key).IsTCB();
        key.SetInterpolation(mKind.interpolation);
        key.SetTangeantMode(mKind.tangentMode);
        if (!mKind.IsCubic()) return key;
        // The place of the weights: TCB keys have their bias there.
        if (mKind.IsTCB() ? !wasTCB : wasTCB || !IsWhole(k)) key.ResetCubic();
        if (!mKind.IsTCB() && wasTCB && IsWhole(k)) CopyEndWeight(key, knot.segment);
        if (mKind.IsTCB() && !wasTCB) {
            for (const auto word : {YFCURVEKEY_TCB_TENSION, YFCURVEKEY_TCB_CONTINUITY, YFCURVEKEY_TCB_BIAS}) {
                key.SetDataFloat(word, 0.0f);
            }
        }
        const bool inner = k > 0 && !IsLast(k);
        if (!mKind.IsTCB() && inner && yfc::SlopesDiffer(knot.left, knot.right)) key.SetBreak(true);
        if (mKind.IsUser()) {
            key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, knot.right);
            key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, IsLast(k) ? 0.0f : mKnots[At(k + 1)].left);
        } else if (mKind.IsAuto()) {
            SetOwnParameters(key, k);
        }
        return key;
    }

    // The far handle of a segment that starts with a TCB key may have a length, the near one has none.
    void CopyEndWeight(YFCurveKey& key, int segment) const
    {
        if (!mSource.KeyIsLeftTangeantWeighted(segment + 1)) return;
        key.SetTangeantWeightMode(YFCURVE_WEIGHT_NEXT_LEFT);
        key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT,
                          yfc::RoundedWeight(mSource.KeyGetLeftTangeantWeight(segment + 1)));
    }

    // Keys that are auto already keep their parameters, which a user may have set.
    void SetOwnParameters(YFCurveKey& key, int k) const
    {
        const auto isAuto = [&](const Knot& knot) {
            return knot.isKey && yfc::KeyKind(mSource, knot.segment).IsAuto();
        };
        const Knot& knot = mKnots[At(k)];
        const bool nextIsAuto = IsWhole(k) && isAuto(mKnots[At(k + 1)]);
        if (!isAuto(knot)) key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, 0.0f);
        key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                         nextIsAuto ? mSource.KeyGetLeftAuto(knot.segment + 1) : 0.0f);
    }

    // Whether a slope does for the segment that starts at knot k.
    bool SlopeServes(const YFCurve& target, int k, double is, double wanted) const
    {
        const yfc::CubicSegment segment = yfc::CubicSegmentAt(target, k);
        const double handle = segment.Duration() / 3.0;
        const double magnitude =
            std::max({std::abs(segment.value[0]), std::abs(segment.value[3]), std::abs(wanted) * handle});
        return std::abs(is - wanted) * handle <= kShapeTolerance * magnitude;
    }
    bool LeftServes(const YFCurve& target, int k) const
    {
        return k == 0 || SlopeServes(target, k - 1, target.KeyGetLeftDerivative(k), mKnots[At(k)].left);
    }
    bool RightServes(const YFCurve& target, int k) const
    {
        return IsLast(k) || SlopeServes(target, k, target.KeyGetRightDerivative(k), mKnots[At(k)].right);
    }

    // A parameter beside a jump is too coarse for the steep slope of the jump: then the straight way is
    // nearer.
    void SolveAuto(YFCurve& target, int k) const
    {
        const Knot& knot = mKnots[At(k)];
        const auto misses = [](double is, double wanted) { return std::abs(is - wanted); };
        const yfc::NeighbourSlopes chords = yfc::ComputeNeighbourSlopes(target, k);
        if (!LeftServes(target, k)) {
            target.KeySetLeftDerivative(k, knot.left);
            const double miss = misses(target.KeyGetLeftDerivative(k), knot.left);
            if (miss > misses(chords.toLeft, knot.left)) target.KeySetLeftAuto(k, yfc::kAlongSegment);
        }
        if (!RightServes(target, k)) {
            target.KeySetRightDerivative(k, knot.right);
            const double miss = misses(target.KeyGetRightDerivative(k), knot.right);
            if (miss > misses(chords.toRight, knot.right)) target.KeySetRightAuto(k, yfc::kAlongSegment);
        }
    }

    // Tension 0 leaves continuity and bias for the two slopes; an end key has one, for which continuity does.
    // Where they do not get near, a tension of 1 makes the key flat.
    void SolveTCB(YFCurve& target, int k) const
    {
        if (LeftServes(target, k) && RightServes(target, k)) return;
        const Knot& knot = mKnots[At(k)];
        double tension = 0.0;
        double continuity = 0.0;
        double bias = 0.0;
        if (k > 0 && !IsLast(k)) {
            YFCURVE_ComputeTCBFromBezierForKey(tension, continuity, bias, knot.left, knot.right, &target, k);
        } else {
            const double chord = yfc::ComputeNeighbourSlopes(target, k).toRight;
            continuity = 1.0 - (k == 0 ? knot.right : knot.left) / chord;
        }
        SetTCB(target, k, tension, continuity, bias);
        const double miss = std::abs(static_cast<double>(target.KeyGetLeftDerivative(k)) - knot.left) +
                            std::abs(static_cast<double>(target.KeyGetRightDerivative(k)) - knot.right);
        const double missOfFlat = std::abs(static_cast<double>(knot.left)) + std::abs(knot.right);
        if (!(miss <= missOfFlat)) SetTCB(target, k, 1.0, 0.0, 0.0);
    }

    static void SetTCB(YFCurve& target, int k, double tension, double continuity, double bias)
    {
        YFCurveKey key = target.KeyGet(k);
        key.SetTCB(static_cast<float>(tension), static_cast<float>(continuity), static_cast<float>(bias));
        target.KeySet(k, key);
    }

    // --- What the keys made of it ---

    // Marks the segments that the keys miss, and have no samples yet, for sampling. False when there are
    // none.
    bool SampleMissed(const YFCurve& target)
    {
        if (!mKind.IsCubic() || mKind.IsUser()) return false;
        bool missed = false;
        for (int k = 0; !IsLast(k) && !mKnots.empty(); ++k) {
            const int segment = mKnots[At(k)].segment;
            if (mSampled[At(segment)] || IsConstant(mSource, segment)) continue;
            if (RightServes(target, k) && LeftServes(target, k + 1) && WeightsServe(target, k)) continue;
            mSampled[At(segment)] = true;
            missed = true;
        }
        return missed;
    }

    bool WeightsServe(const YFCurve& target, int k) const
    {
        const Knot& knot = mKnots[At(k)];
        if (!yfc::KeyKind(mSource, knot.segment).IsCubic()) return true;
        const yfc::CubicSegment wanted = yfc::CubicSegmentAt(mSource, knot.segment);
        const yfc::CubicSegment is = yfc::CubicSegmentAt(target, k);
        return std::abs(wanted.StartWeight() - is.StartWeight()) < 1e-3 &&
               std::abs(wanted.EndWeight() - is.EndWeight()) < 1e-3;
    }

    const YFCurve& mSource;
    const yfc::ResampledKey mKind;
    const YTime mPeriod;
    std::vector<bool> mSampled;  // by segment of the source
    std::vector<Knot> mKnots;
};

// A jump at an end of the keys is a steep line to an extrapolation that carries a slope on; the source, whose
// segment there is flat, stays as it is.
void KeepFlatOutside(const YFCurve& source, YFCurve& target)
{
    const int last = source.KeyGetCount() - 1;
    if (last < 1) return;
    if (source.GetPreExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE && IsConstant(source, 0)) {
        target.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    }
    if (source.GetPostExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE && IsConstant(source, last - 1)) {
        target.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    }
}

}  // namespace

bool YFCurveUtils::ConvertCurve(const YFCurve& source, YFCurve& target, unsigned interpolation,
                                unsigned tangentMode, YTime period)
{
    const yfc::ResampledKey kind{interpolation, tangentMode};
    if (!kind.IsValid()) {
        GetError().SetLastErrorID(eBadInterpolation);
        return false;
    }
    return yfc::Guarded([&] {
        YFCurve converted;
        converted.CopyFrom(source, false);
        if (!Conversion(source, kind, period).Run(converted)) {
            GetError().SetLastErrorID(eBadSpan);
            return false;
        }
        if (!kind.IsUser()) KeepFlatOutside(source, converted);
        target.CopyFrom(converted);
        return true;
    });
}
