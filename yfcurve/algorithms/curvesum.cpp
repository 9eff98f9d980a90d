#include "yfcurve/algorithms/curvesum.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>
#include <utility>

#include "yfcurve/curve/edit/replace.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/keysegment.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace yfc {
namespace {

// By so much, a little less than two of the steps in which they are stored, weights may differ and count as one.
constexpr double kSameWeights = 2e-4;
constexpr double kThird = 1.0 / 3.0;
// Where a key beyond all others gives a straight line its slope.
constexpr YTime kFarOut = YTIME_ONE_SECOND;

bool HasInterpolation(const YFCurve& curve, unsigned interpolation, bool everywhere)
{
    const int segments = curve.KeyGetCount() - 1;
    for (int i = 0; i < segments; ++i) {
        const bool has = curve.KeyGetInterpolation(i) == interpolation &&
                         (interpolation != YFCURVE_INTERP_CONSTANT || !everywhere ||
                          curve.KeyGetConstantMode(i) == YFCURVE_CONSTANT_STANDARD);
        if (has != everywhere) return !everywhere;
    }
    return everywhere;
}

constexpr Outside kHeld{YTIME_ZERO, YTIME_ZERO, YFCURVE_EXTRAPOLATION_CONST, 0};

// How a curve goes on outside its keys on one side, in the one way in which that can be said.
Outside ShownOutside(const YFCurve& curve, bool before)
{
    if (curve.KeyGetCount() < 2) return kHeld;
    const Outside outside = OutsideOf(curve, before);
    const bool known =
        outside.mode >= YFCURVE_EXTRAPOLATION_REPETITION && outside.mode <= YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
    return known && outside.count != 0 ? outside : kHeld;
}

// The curves' common way of going on; nothing when they have none. Straight ones and constant ones together
// go on straight.
std::optional<Outside> CommonOutside(const std::vector<SumTerm>& terms, bool before)
{
    Outside common = ShownOutside(*terms.front().curve, before);
    bool same = true;
    bool straight = true;
    bool flat = true;
    for (const SumTerm& term : terms) {
        const Outside outside = ShownOutside(*term.curve, before);
        const bool isFlat = outside.mode == YFCURVE_EXTRAPOLATION_CONST;
        const bool isEndless = outside.mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE &&
                               outside.count == YFCURVE_EXTRAPOLATION_UNLIMITED;
        same = same && outside == common;
        straight = straight && (isFlat || isEndless);
        flat = flat && isFlat;
    }
    if (flat) return kHeld;
    if (straight) {
        return Outside{YTIME_ZERO, YTIME_ZERO, YFCURVE_EXTRAPOLATION_KEEP_SLOPE,
                       YFCURVE_EXTRAPOLATION_UNLIMITED};
    }
    if (same) return common;
    return std::nullopt;
}

// Moving curves that are added up key by key.
class Summation
{
  public:
    Summation(std::vector<SumTerm> moving, double offset, PlotSpan span)
        : mTerms(std::move(moving)), mOffset(offset), mSpan(span)
    {}

    ESum Run(YFCurve& sum)
    {
        if (!FindOutsides()) return ESum::Extrapolations;
        MakeAlike();
        FindTimes();
        if (!AddKeys(sum)) return ESum::NeedsSamples;
        sum.SetPreExtrapolation(mPre.mode);
        sum.SetPreExtrapolationCount(mPre.count);
        sum.SetPostExtrapolation(mPost.mode);
        sum.SetPostExtrapolationCount(mPost.count);
        return ESum::Exact;
    }

  private:
    // Where the sum goes on straight, keys beyond those of all curves give it the slope.
    bool FindOutsides()
    {
        const std::optional<Outside> pre = mSpan.openStart ? CommonOutside(mTerms, true) : kHeld;
        const std::optional<Outside> post = mSpan.openStop ? CommonOutside(mTerms, false) : kHeld;
        if (!pre || !post) return false;
        const bool straightBefore = pre->mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
        const bool straightAfter = post->mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
        const bool repeats = yfc::Repeats(pre->mode) || yfc::Repeats(post->mode);
        // A limited way counts in ranges of keys, which have to be those of every curve.
        const auto hasLimits = [](const Outside& outside) {
            return outside.mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE &&
                   outside.count != YFCURVE_EXTRAPOLATION_UNLIMITED;
        };
        if (hasLimits(*pre) || hasLimits(*post)) return false;
        if (repeats && (straightBefore || straightAfter)) return false;
        if (repeats && (!mSpan.IsWhole() || !HaveRange(mSpan.start, mSpan.stop))) return false;
        if (straightBefore) mSpan.start -= kFarOut;
        if (straightAfter) mSpan.stop += kFarOut;
        mPre = *pre;
        mPost = *post;
        return true;
    }

    bool HaveRange(YTime start, YTime stop) const
    {
        return std::all_of(mTerms.begin(), mTerms.end(), [&](const SumTerm& term) {
            return term.curve->KeyGetTime(0) == start &&
                   term.curve->KeyGetTime(term.curve->KeyGetCount() - 1) == stop;
        });
    }

    // Steps among curves of other kinds become jumps between two keys.
    void MakeAlike()
    {
        mSteps = std::all_of(mTerms.begin(), mTerms.end(), [](const SumTerm& term) {
            return HasInterpolation(*term.curve, YFCURVE_INTERP_CONSTANT, true);
        });
        for (SumTerm& term : mTerms) {
            YFCurvePtr curve(YFCurveCreate());
            if (!curve) throw std::bad_alloc();
            curve->CopyFrom(mSpan.IsWhole() ? *term.curve
                                            : YFCurveReplace::WithExtrapolationKeys(*term.curve, mSpan.start,
                                                                                    mSpan.stop));
            mSteps = mSteps && HasInterpolation(*curve, YFCURVE_INTERP_CONSTANT, true);
            term.curve = curve.get();
            mCurves.push_back(std::move(curve));
        }
        if (mSteps) return;
        for (const YFCurvePtr& curve : mCurves) {
            if (!HasInterpolation(*curve, YFCURVE_INTERP_CONSTANT, false)) continue;
            YFCurveUtils::ConvertCurve(*curve, *curve, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER);
        }
    }

    void FindTimes()
    {
        mTimes = {mSpan.start, mSpan.stop};
        for (const SumTerm& term : mTerms) {
            for (int i = 0; i < term.curve->KeyGetCount(); ++i) {
                const YTime time = term.curve->KeyGetTime(i);
                if (time > mSpan.start && time < mSpan.stop) mTimes.push_back(time);
            }
        }
        std::sort(mTimes.begin(), mTimes.end());
        mTimes.erase(std::unique(mTimes.begin(), mTimes.end()), mTimes.end());
    }

    struct Point
    {
        double value = 0.0;
        double left = 0.0;
        double right = 0.0;
    };

    Point PointAt(YTime time, std::vector<int>& hints) const
    {
        Point point;
        point.value = mOffset;
        for (std::size_t i = 0; i < mTerms.size(); ++i) {
            const YFCurve& curve = *mTerms[i].curve;
            const double factor = mTerms[i].factor;
            point.value += factor * curve.Evaluate(time, &hints[i]);
            if (mSteps) continue;
            point.left += factor * curve.EvaluateLeftDerivative(time, &hints[i]);
            point.right += factor * curve.EvaluateRightDerivative(time, &hints[i]);
        }
        return point;
    }

    // The common geometry of all curves between two neighbouring times.
    struct Shape
    {
        bool straight = true;
        double startWeight = kThird;
        double endWeight = kThird;
    };

    // Adds one curve's part of it; false when it does not go together with the others.
    static bool AddShape(Shape& shape, const YFCurve& curve, YTime from, YTime to)
    {
        const int index = LastKeyUntil(curve, from);
        if (index < 0 || index + 1 >= curve.KeyGetCount()) return true;
        if (!yfc::KeyKind(curve, index).IsCubic()) return true;
        const CubicSegment whole = CubicSegmentAt(curve, index);
        const YTime start = curve.KeyGetTime(index);
        const CubicSegment segment = whole.Part(
            whole.ParameterAt(SecondsBetween(start, from)),
            to >= curve.KeyGetTime(index + 1) ? 1.0 : whole.ParameterAt(SecondsBetween(start, to)));
        if (IsStraight(segment)) return true;
        const bool agrees = std::abs(segment.StartWeight() - shape.startWeight) <= kSameWeights &&
                            std::abs(segment.EndWeight() - shape.endWeight) <= kSameWeights;
        if (!shape.straight && !agrees) return false;
        shape = {false, segment.StartWeight(), segment.EndWeight()};
        return true;
    }

    static bool IsStraight(const CubicSegment& segment)
    {
        const double slope = (segment.value[3] - segment.value[0]) / segment.Duration();
        double magnitude = 0.0;
        for (const double value : segment.value) magnitude = std::max(magnitude, std::abs(value));
        for (const int k : {1, 2}) {
            const double chord = segment.value[0] + slope * (segment.time[k] - segment.time[0]);
            if (!(std::abs(segment.value[k] - chord) <= 1e-6 * magnitude)) return false;
        }
        return true;
    }

    static bool IsStorable(double weight)
    {
        return weight >= kLeastRoundedWeight && weight <= kMostRoundedWeight;
    }

    bool AddKeys(YFCurve& sum) const
    {
        const YFCurveModify modify(sum, static_cast<int>(mTimes.size()));
        std::vector<int> hints(mTerms.size(), 0);
        Point point = PointAt(mTimes.front(), hints);
        point.left = point.right;
        int hint = 0;
        for (std::size_t k = 0; k < mTimes.size(); ++k) {
            const bool isLast = k + 1 == mTimes.size();
            const Point next = isLast ? Point{} : PointAt(mTimes[k + 1], hints);
            Shape shape;
            for (const SumTerm& term : mTerms) {
                if (!isLast && !mSteps && !AddShape(shape, *term.curve, mTimes[k], mTimes[k + 1]))
                    return false;
            }
            if (!IsStorable(shape.startWeight) || !IsStorable(shape.endWeight)) return false;
            if (isLast) point.right = point.left;
            sum.KeyAdd(mTimes[k], KeyOf(point, next, shape), &hint);
            point = next;
        }
        return true;
    }

    YFCurveKey KeyOf(const Point& point, const Point& next, const Shape& shape) const
    {
        YFCurveKey key;
        const auto value = static_cast<float>(point.value);
        if (mSteps) {
            key.Set(YTime(), value, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_STANDARD);
            return key;
        }
        const auto left = static_cast<float>(point.left);
        const auto right = static_cast<float>(point.right);
        key.Set(YTime(), value, YFCURVE_INTERP_CUBIC,
                SlopesDiffer(left, right) ? YFCURVE_TANGENT_USER_BREAK : YFCURVE_TANGENT_USER, right,
                static_cast<float>(next.left));
        const bool hasWeights = std::abs(shape.startWeight - kThird) > kSameWeights ||
                                std::abs(shape.endWeight - kThird) > kSameWeights;
        if (hasWeights) {
            key.SetTangeantWeightMode(YFCURVE_WEIGHT_ALL);
            key.SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, RoundedWeight(shape.startWeight));
            key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, RoundedWeight(shape.endWeight));
        }
        return key;
    }

    std::vector<SumTerm> mTerms;
    std::vector<YFCurvePtr> mCurves;  // what the terms are of, once made alike
    const double mOffset;
    PlotSpan mSpan;
    bool mSteps = false;
    std::vector<YTime> mTimes;
    Outside mPre = kHeld;
    Outside mPost = kHeld;
};

// An auto tangent with a parameter beyond 500 adds an amount that does not scale with the values; such keys
// become user keys first.
void FixOvershoots(YFCurve& curve)
{
    constexpr float overshootStart = 500.0f;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const bool isAuto = yfc::KeyKind(curve, i).IsAuto();
        const bool swingsOut = std::abs(curve.KeyGetLeftAuto(i)) > overshootStart ||
                               std::abs(curve.KeyGetRightAuto(i)) > overshootStart;
        if (isAuto && swingsOut) YFCurveShape::TurnToUser(curve, i, YFCurveShape::SlopesAt(curve, i));
    }
}

// One curve keeps its keys, whatever their kind. False when it does not go on outside of them in a way that
// half of a curve can.
bool CopyScaled(YFCurve& sum, const SumTerm& term, double offset, const PlotSpan& span)
{
    sum.CopyFrom(*term.curve);
    if (!span.IsWhole()) {
        if (span.openStart && RepeatsOutside(sum, true)) return false;
        if (span.openStop && RepeatsOutside(sum, false)) return false;
        // The slope to go on with has to be found among the keys in the span.
        const bool straightBefore = sum.GetPreExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
        const bool straightAfter = sum.GetPostExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
        if (span.openStart && straightBefore) sum.KeyInsert(span.start - kFarOut);
        if (span.openStop && straightAfter) sum.KeyInsert(span.stop + kFarOut);
    }
    if (term.factor != 1.0) {
        FixOvershoots(sum);
        sum.KeyScaleValueAndTangeant(false, static_cast<float>(term.factor));
    }
    if (offset != 0.0) sum.KeyMoveOf(false, YTIME_ZERO, static_cast<float>(offset));
    return true;
}

}  // namespace

bool IsConstant(const YFCurve& curve)
{
    const int last = curve.KeyGetCount() - 1;
    for (int i = 0; i < last; ++i) {
        if (curve.KeyGetValue(i) != curve.KeyGetValue(i + 1)) return false;
        const bool isCurved = yfc::KeyKind(curve, i).IsCubic() && (curve.KeyGetRightDerivative(i) != 0.0f ||
                                                                   curve.KeyGetLeftDerivative(i + 1) != 0.0f);
        if (isCurved) return false;
    }
    return true;
}

ESum SumCurves(YFCurve& sum, const std::vector<SumTerm>& terms, PlotSpan span)
{
    std::vector<SumTerm> moving;
    double value = 0.0;
    double offset = 0.0;
    bool hasKeys = false;
    for (const SumTerm& term : terms) {
        value += term.factor * static_cast<double>(term.curve->GetValue());
        hasKeys = hasKeys || term.curve->KeyGetCount() > 0;
        if (term.factor == 0.0) continue;
        if (IsConstant(*term.curve)) {
            offset += term.factor * term.curve->Evaluate(span.start);
        } else {
            moving.push_back(term);
        }
    }
    if (moving.empty()) {
        sum.SetValue(static_cast<float>(offset));
        if (!span.IsWhole() || hasKeys) sum.KeyAppendFast(span.start, static_cast<float>(offset));
        if (!span.IsWhole()) sum.KeyAppendFast(span.stop, static_cast<float>(offset));
        return ESum::Exact;
    }
    if (moving.size() == 1) {
        if (!CopyScaled(sum, moving.front(), offset, span)) return ESum::Extrapolations;
        sum.SetValue(static_cast<float>(value));
        return ESum::Exact;
    }
    sum.SetValue(static_cast<float>(value));
    if (span.IsWhole()) {
        span.start = YTIME_INFINITE;
        span.stop = YTIME_MINUS_INFINITE;
        for (const SumTerm& term : moving) {
            span.start = std::min(span.start, term.curve->KeyGetTime(0));
            span.stop = std::max(span.stop, term.curve->KeyGetTime(term.curve->KeyGetCount() - 1));
        }
    }
    return Summation(std::move(moving), offset, span).Run(sum);
}

}  // namespace yfc
