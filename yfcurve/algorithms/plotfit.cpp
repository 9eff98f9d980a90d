// Samples become keys by subdivision at the sample that a segment misses most, with the slopes of the motion:
// Ramer, "An Iterative Procedure for the Polygonal Approximation of Plane Curves", 1972, with Hermite
// segments in place of chords. Keys that the later ones have made superfluous are taken out again.

#include "yfcurve/algorithms/plotfit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>

#include "yfcurve/algorithms/tangentchecks.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/segment.h"

namespace yfc {
namespace {

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

// --- Slopes --------------------------------------------------------------------------------------------

// The slope at a sample by those on one side of it, up to a jump: of the cubic through four of them, by
// Newton's divided differences. 0 where there are none.
double SlopeTowards(const PlotSamples& samples, int component, int sample, int direction)
{
    constexpr int most = 4;
    double time[most];
    double difference[most];
    int count = 0;
    for (int s = sample; count < most; s += direction) {
        if (s < 0 || s >= samples.GetCount()) break;
        if (s != sample && samples.Has(direction > 0 ? s - 1 : s, kSampleBeforeJump)) break;
        time[count] = (samples.times[At(s)] - samples.times[At(sample)]).GetSecondDouble();
        difference[count] = samples.Value(s, component);
        ++count;
    }
    for (int level = 1; level < count; ++level) {
        for (int i = count - 1; i >= level; --i) {
            difference[i] = (difference[i] - difference[i - 1]) / (time[i] - time[i - level]);
        }
    }
    double slope = 0.0;
    double product = 1.0;
    for (int level = 1; level < count; ++level) {
        slope += difference[level] * product;
        product *= -time[level];
    }
    return slope;
}

struct Slopes
{
    double left;
    double right;
    bool bothSides;
};

Slopes SlopesAt(const PlotSamples& samples, int component, int sample)
{
    const bool hasLeft = sample > 0 && !samples.Has(sample - 1, kSampleBeforeJump);
    const bool hasRight = sample + 1 < samples.GetCount() && !samples.Has(sample, kSampleBeforeJump);
    Slopes slopes{SlopeTowards(samples, component, sample, -1), SlopeTowards(samples, component, sample, 1),
                  hasLeft && hasRight};
    if (!hasLeft) slopes.left = slopes.right;
    if (!hasRight) slopes.right = slopes.left;
    return slopes;
}

YFCurveKey UserKey(float value, double right)
{
    YFCurveKey key;
    key.Set(YTime(), value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, static_cast<float>(right));
    return key;
}

YFCurvePtr NewCurve()
{
    YFCurvePtr curve(YFCurveCreate());
    if (!curve) throw std::bad_alloc();
    return curve;
}

// The samples as a polygon.
YFCurvePtr Polygon(const PlotSamples& samples, int component)
{
    YFCurvePtr curve = NewCurve();
    const YFCurveModify modify(*curve, samples.GetCount());
    YFCurveKey key;
    int hint = 0;
    for (int s = 0; s < samples.GetCount(); ++s) {
        key.Set(YTime(), static_cast<float>(samples.Value(s, component)), YFCURVE_INTERP_LINEAR, 0);
        curve->KeyAdd(samples.times[At(s)], key, &hint);
    }
    return curve;
}

// --- Segments ------------------------------------------------------------------------------------------

// How far a cubic segment of one curve from one sample to another misses those between, as multiples of their
// tolerances.
class CubicMiss
{
  public:
    CubicMiss(const PlotSamples& samples, const YFCurve& dense, int component)
        : mSamples(samples), mDense(dense), mComponent(component)
    {}

    void SetEnds(int first, int last)
    {
        mStart = mSamples.times[At(first)];
        mTicks = Ticks(mStart, mSamples.times[At(last)]);
        mEnds = {mDense.KeyGetValue(first), mDense.KeyGetValue(last), mDense.KeyGetRightDerivative(first),
                 mDense.KeyGetLeftDerivative(last)};
    }

    double Of(int sample) const
    {
        const double fraction = Ticks(mStart, mSamples.times[At(sample)]) / mTicks;
        const double value = EvaluateCubic(mEnds, mTicks, fraction);
        return std::abs(value - mSamples.Value(sample, mComponent)) / mSamples.Tolerance(sample, mComponent);
    }

  private:
    const PlotSamples& mSamples;
    const YFCurve& mDense;
    const int mComponent;
    YTime mStart;
    double mTicks = 1.0;
    CubicEnds mEnds = {};
};

// Likewise for the orientations of a rotation that turns evenly from one to the other.
class TurnMiss
{
  public:
    TurnMiss(const PlotSamples& samples, eRotationOrder order) : mSamples(samples), mOrder(order) {}

    void SetEnds(int first, int last)
    {
        mStart = mSamples.times[At(first)];
        mTicks = Ticks(mStart, mSamples.times[At(last)]);
        mFrom = Orientation(first);
        mTo = Orientation(last);
    }

    double Of(int sample) const
    {
        const double fraction = Ticks(mStart, mSamples.times[At(sample)]) / mTicks;
        const YgeQuaternion turn = Slerp(mFrom, mTo, fraction).GetConjugate() * Orientation(sample);
        const double half = std::atan2(std::hypot(turn.x, turn.y, turn.z), std::abs(turn.w));
        return half * 360.0 / std::numbers::pi / mSamples.Tolerance(sample, 0);
    }

  private:
    YgeQuaternion Orientation(int sample) const
    {
        const double* values = mSamples.Values(sample);
        return YgeQuaternion(YgeRVector(values[0], values[1], values[2]), mOrder);
    }

    const PlotSamples& mSamples;
    const eRotationOrder mOrder;
    YTime mStart;
    double mTicks = 1.0;
    YgeQuaternion mFrom;
    YgeQuaternion mTo;
};

// --- Choosing ------------------------------------------------------------------------------------------

// Where to split a segment: at a key of the motion, else on a frame, unless another sample is missed by far
// more. -1 when none is out of tolerance.
template<class Miss>
int WorstBetween(const PlotSamples& samples, Miss& miss, int first, int last)
{
    constexpr double preference = 0.1;
    double worst[3] = {};
    int where[3] = {-1, -1, -1};
    miss.SetEnds(first, last);
    for (int s = first + 1; s < last; ++s) {
        const double at = miss.Of(s);
        const int rank = samples.Has(s, kSampleAtKey) ? 0 : samples.Has(s, kSampleOnFrame) ? 1 : 2;
        if (at > worst[rank]) {
            worst[rank] = at;
            where[rank] = s;
        }
    }
    const double largest = std::max({worst[0], worst[1], worst[2]});
    if (!(largest > 1.0)) return -1;
    for (int rank = 0; rank < 2; ++rank) {
        if (where[rank] >= 0 && worst[rank] >= preference * largest) return where[rank];
    }
    return where[2];
}

template<class Miss>
void Split(const PlotSamples& samples, Miss& miss, int first, int last, std::vector<int>& knots)
{
    // The right parts wait; what is done comes out from left to right.
    std::vector<int> waiting{last};
    while (!waiting.empty()) {
        const int worst = WorstBetween(samples, miss, first, waiting.back());
        if (worst >= 0) {
            waiting.push_back(worst);
            continue;
        }
        first = waiting.back();
        waiting.pop_back();
        knots.push_back(first);
    }
}

template<class Miss>
bool Serves(Miss& miss, int first, int last)
{
    miss.SetEnds(first, last);
    for (int s = first + 1; s < last; ++s) {
        if (!(miss.Of(s) <= 1.0)) return false;
    }
    return true;
}

// Until no key can be left out on its own.
template<class Miss>
void LeaveOut(Miss& miss, const std::vector<std::uint8_t>& forced, std::vector<int>& knots)
{
    for (bool again = true; again;) {
        again = false;
        std::vector<int> kept{knots.front()};
        for (std::size_t i = 1; i < knots.size(); ++i) {
            const bool stays = i + 1 == knots.size() || forced[At(knots[i])] != 0 ||
                               !Serves(miss, kept.back(), knots[i + 1]);
            if (stays) kept.push_back(knots[i]);
            again = again || !stays;
        }
        knots = std::move(kept);
    }
}

template<class Miss>
std::vector<int> ChooseKnots(const PlotSamples& samples, Miss miss, const std::vector<std::uint8_t>& forced)
{
    std::vector<int> knots{0};
    for (int s = 1, first = 0; s < samples.GetCount(); ++s) {
        if (forced[At(s)] == 0) continue;
        Split(samples, miss, first, s, knots);
        first = s;
    }
    LeaveOut(miss, forced, knots);
    return knots;
}

}  // namespace

CurveFit::CurveFit(const PlotSamples& samples, const FitOptions& options, const eRotationOrder* order)
    : mSamples(samples), mOptions(options), mOrder(order), mForced(samples.times.size(), 0)
{
    const int count = samples.GetCount();
    for (int s = 0; s < count; ++s) {
        const bool isEnd = s == 0 || s + 1 == count;
        if (isEnd || (options.keepKeys && samples.Has(s, kSampleAtKey))) Force(s);
        if (samples.Has(s, kSampleBeforeJump)) {
            Force(s);
            if (s + 1 < count) Force(s + 1);
        }
    }
    for (int i = 0; i < samples.components; ++i) MakeDense(i);
}

// A key at every sample, smooth but where the motion has a corner.
void CurveFit::MakeDense(int component)
{
    YFCurvePtr dense = NewCurve();
    const int count = mSamples.GetCount();
    {
        const YFCurveModify modify(*dense, count);
        int hint = 0;
        for (int s = 0; s < count; ++s) {
            const Slopes slopes = SlopesAt(mSamples, component, s);
            const auto slope = static_cast<float>(0.5 * (slopes.left + slopes.right));
            dense->KeyAdd(mSamples.times[At(s)],
                          UserKey(static_cast<float>(mSamples.Value(s, component)), slope), &hint);
            if (s > 0) dense->KeySetDataFloat(s - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, slope);
        }
        if (mOptions.breakTangents) {
            const YFCurvePtr reference = Polygon(mSamples, component);
            for (int s = 1; s + 1 < count; ++s) {
                const Slopes slopes = SlopesAt(mSamples, component, s);
                const double corner = std::abs(slopes.left - slopes.right);
                if (!slopes.bothSides || !(corner > mOptions.breakThreshold)) continue;
                // The chords to either side see curvature as well; the slopes at the key itself do not.
                if (FindDisagreement(dense.get(), reference.get(), s, mOptions.delta,
                                     mOptions.breakThreshold)) {
                    BreakKeyTangents(*dense, s, {slopes.left, slopes.right});
                }
            }
        }
    }
    mDense.push_back(std::move(dense));
}

void CurveFit::Choose()
{
    mKnots.clear();
    if (mOrder != nullptr) {
        mKnots.assign(At(mSamples.components), ChooseKnots(mSamples, TurnMiss(mSamples, *mOrder), mForced));
        return;
    }
    for (int i = 0; i < mSamples.components; ++i) {
        mKnots.push_back(ChooseKnots(mSamples, CubicMiss(mSamples, *mDense[At(i)], i), mForced));
    }
}

void CurveFit::MakeCurve(YFCurve& curve, int component) const
{
    const std::vector<int>& knots = mKnots[At(component)];
    const YFCurve& dense = *mDense[At(component)];
    const YFCurveModify modify(curve, static_cast<int>(knots.size()));
    int hint = 0;
    for (std::size_t k = 0; k < knots.size(); ++k) {
        YFCurveKey key = dense.KeyGet(knots[k]);
        const bool isLast = k + 1 == knots.size();
        const float nextLeft = isLast ? 0.0f : dense.KeyGetLeftDerivative(knots[k + 1]);
        key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, nextLeft);
        if (mOrder != nullptr || mSamples.Has(knots[k], kSampleBeforeJump)) {
            key.SetInterpolation(YFCURVE_INTERP_LINEAR);
        }
        curve.KeyAdd(key.GetTime(), key, &hint);
    }
}

// --- Fixed rate ----------------------------------------------------------------------------------------

namespace {

// A sample goes when it and two on either side are level: the remaining ones hold the stretch flat.
bool IsLevelAround(const PlotSamples& samples, int component, int sample, double flatness)
{
    constexpr int neighbours = 2;
    if (sample < neighbours || sample + neighbours >= samples.GetCount()) return false;
    for (int s = sample - neighbours; s <= sample + neighbours; ++s) {
        const double distance = std::abs(samples.Value(s, component) - samples.Value(sample, component));
        if (!(distance <= flatness) || samples.Has(s, kSampleBeforeJump)) return false;
    }
    return true;
}

}  // namespace

void MakeSampledCurve(YFCurve& curve, const PlotSamples& samples, int component, double flatness)
{
    const int count = samples.GetCount();
    const YFCurveModify modify(curve, count);
    int hint = 0;
    for (int s = 0; s < count; ++s) {
        if (IsLevelAround(samples, component, s, flatness)) continue;
        const auto value = static_cast<float>(samples.Value(s, component));
        const bool beforeJump = samples.Has(s, kSampleBeforeJump);
        YFCurveKey key;
        key.Set(YTime(), value);
        // An auto key would take its slope across the jump.
        if (beforeJump || (s > 0 && samples.Has(s - 1, kSampleBeforeJump))) {
            const double slope = SlopesAt(samples, component, s).right;
            key = UserKey(value, slope);
            const int before = curve.KeyGetCount() - 1;
            if (before >= 0) {
                curve.KeySetDataFloat(before, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, static_cast<float>(slope));
            }
        }
        if (beforeJump) key.SetInterpolation(YFCURVE_INTERP_LINEAR);
        curve.KeyAdd(samples.times[At(s)], key, &hint);
    }
}

bool IsFlat(const PlotSamples& samples, int component, double flatness)
{
    for (int s = 1; s < samples.GetCount(); ++s) {
        if (!(std::abs(samples.Value(s, component) - samples.Value(0, component)) <= flatness)) return false;
    }
    return true;
}

}  // namespace yfc
