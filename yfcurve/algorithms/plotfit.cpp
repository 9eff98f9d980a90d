// Samples become keys, with the slopes of the motion, in two steps. Subdivision at the sample that a segment
// misses most: Ramer, "An Iterative Procedure for the Polygonal Approximation of Plane Curves", 1972, with
// Hermite segments in place of chords. It finds how densely keys have to stand, but takes half as many again
// as it has to; among the places thereabouts, the fewest come from a shortest path.

#include "yfcurve/algorithms/plotfit.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <new>
#include <numbers>

#include "yfcurve/algorithms/tangentchecks.h"
#include "yfcurve/curve/keyaccess.h"

namespace yfc {
namespace {

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

// --- Slopes --------------------------------------------------------------------------------------------

// The samples that tell the slope at one: up to four of them, none too near to another.
struct Stencil
{
    static constexpr int most = 4;
    const PlotSamples& samples;
    const int component;
    const int sample;
    int count = 0;
    double times[most];
    double values[most];

    void Take(int s)
    {
        times[count] = (samples.times[At(s)] - samples.times[At(sample)]).GetSecondDouble();
        values[count] = samples.Value(s, component);
        ++count;
    }

    // Those on one side, up to a jump, the end, or the next key of the motion, behind which it may bend.
    void Walk(int direction)
    {
        int last = sample;
        for (int s = sample + direction; count < most; s += direction) {
            if (s < 0 || s >= samples.GetCount() ||
                samples.JumpsBehind(direction > 0 ? s - 1 : s, component)) {
                return;
            }
            const YTime step = samples.times[At(s)] - samples.times[At(last)];
            const bool isLast = samples.Has(s, kSampleAtKey) || s == 0 || s + 1 == samples.GetCount();
            if (step >= samples.apart || step <= -samples.apart || (isLast && last == sample)) {
                Take(s);
                last = s;
            }
            if (isLast) return;
        }
    }

    // Of the polynomial through them, by Newton's divided differences. 0 for a lone sample.
    double Slope()
    {
        for (int level = 1; level < count; ++level) {
            for (int i = count - 1; i >= level; --i) {
                values[i] = (values[i] - values[i - 1]) / (times[i] - times[i - level]);
            }
        }
        double slope = 0.0;
        double product = 1.0;
        for (int level = 1; level < count; ++level) {
            slope += values[level] * product;
            product *= -times[level];
        }
        return std::clamp<double>(slope, -FLT_MAX, FLT_MAX);
    }
};

// Between keys of the motion there is none to bend it: where these leave too few samples on one side, the
// other side helps out.
double SlopeTowards(const PlotSamples& samples, int component, int sample, int direction)
{
    Stencil stencil{samples, component, sample, 0, {}, {}};
    stencil.Take(sample);
    stencil.Walk(direction);
    if (!samples.Has(sample, kSampleAtKey)) stencil.Walk(-direction);
    return stencil.Slope();
}

struct Slopes
{
    double left;
    double right;
    bool bothSides;
};

Slopes SlopesAt(const PlotSamples& samples, int component, int sample)
{
    const bool hasLeft = sample > 0 && !samples.JumpsBehind(sample - 1, component);
    const bool hasRight = sample + 1 < samples.GetCount() && !samples.JumpsBehind(sample, component);
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
    {
        mPoints.reserve(samples.times.size());
        for (int s = 0; s < samples.GetCount(); ++s) {
            mPoints.push_back({SecondsBetween(samples.times[0], samples.times[At(s)]),
                               samples.Value(s, component), 1.0 / samples.Tolerance(s, component),
                               dense.KeyGetValue(s), dense.KeyGetLeftDerivative(s),
                               dense.KeyGetRightDerivative(s)});
        }
    }

    void SetEnds(int first, int last)
    {
        const Point& from = mPoints[At(first)];
        const Point& to = mPoints[At(last)];
        const double perDuration = 1.0 / (to.time - from.time);
        const double chord = (to.key - from.key) * perDuration;
        mStart = from.time;
        mPowers[0] = from.key;
        mPowers[1] = from.right;
        mPowers[2] = (3.0 * chord - 2.0 * from.right - to.left) * perDuration;
        mPowers[3] = (from.right + to.left - 2.0 * chord) * perDuration * perDuration;
    }

    double Of(int sample) const
    {
        const Point& point = mPoints[At(sample)];
        const double t = point.time - mStart;
        const double value = mPowers[0] + t * (mPowers[1] + t * (mPowers[2] + t * mPowers[3]));
        return std::abs(value - point.wanted) * point.perTolerance;
    }

  private:
    // What is asked for again and again, side by side.
    struct Point
    {
        double time;
        double wanted;
        double perTolerance;
        double key;
        double left;
        double right;
    };

    std::vector<Point> mPoints;
    double mStart = 0.0;
    double mPowers[4] = {};
};

// The same for the orientations of a rotation that turns evenly from one to the other.
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

// Keys stand best at those of the motion, then on frames.
int RankOf(const PlotSamples& samples, int sample)
{
    return samples.Has(sample, kSampleAtKey) ? 0 : samples.Has(sample, kSampleOnFrame) ? 1 : 2;
}

// Where to split a segment: at a sample of good rank, unless another is missed by far more. -1 when none is
// out of tolerance.
template<class Miss>
int WorstBetween(const PlotSamples& samples, Miss& miss, int first, int last)
{
    constexpr double preference = 0.1;
    double worst[3] = {};
    int where[3] = {-1, -1, -1};
    miss.SetEnds(first, last);
    for (int s = first + 1; s < last; ++s) {
        const double at = miss.Of(s);
        const int rank = RankOf(samples, s);
        if (at > worst[rank]) {
            worst[rank] = at;
            where[rank] = s;
        }
    }
    const double largest = std::max({worst[0], worst[1], worst[2]});
    if (!(largest > 1.0)) return -1;
    int split = where[2];
    for (int rank = 1; rank >= 0; --rank) {
        if (where[rank] >= 0 && worst[rank] >= preference * largest) split = where[rank];
    }
    // Of long segments more than a crumb has to come off, or they would be looked through time and again.
    constexpr int isLong = 4096;
    const int crumb = (last - first) / 64;
    const bool isCrumb = split - first < crumb || last - split < crumb;
    return last - first > isLong && isCrumb ? first + (last - first) / 2 : split;
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
    // Segments that are too long mostly miss what is inside them by far.
    const int quarter = (last - first) / 4;
    for (int s = first + quarter; quarter > 0 && s < last; s += quarter) {
        if (!(miss.Of(s) <= 1.0)) return false;
    }
    for (int s = first + 1; s < last; ++s) {
        if (!(miss.Of(s) <= 1.0)) return false;
    }
    return true;
}

// The places for keys among which the fewest are looked for: the knots, and some between each two.
constexpr int kPlaces = 16;

std::vector<int> PlacesAmong(const PlotSamples& samples, const std::vector<int>& knots)
{
    std::vector<int> places{knots.front()};
    for (std::size_t k = 1; k < knots.size(); ++k) {
        const std::int64_t first = knots[k - 1] + 1;
        const std::int64_t count = knots[k] - first;
        const std::int64_t slots = std::min<std::int64_t>(count, kPlaces - 1);
        for (std::int64_t slot = 0; slot < slots; ++slot) {
            const auto from = static_cast<int>(first + count * slot / slots);
            const auto to = static_cast<int>(first + count * (slot + 1) / slots);
            int best = from;
            for (int s = from + 1; s < to; ++s) {
                if (RankOf(samples, s) < RankOf(samples, best)) best = s;
            }
            places.push_back(best);
        }
        places.push_back(knots[k]);
    }
    return places;
}

// The fewest places that serve, those of better rank among as many. The knots themselves serve, and so
// there is always a way.
template<class Miss>
std::vector<int> Fewest(const PlotSamples& samples, Miss& miss, const std::vector<std::uint8_t>& forced,
                        const std::vector<int>& knots)
{
    constexpr std::uint64_t key = std::uint64_t{1} << 32;
    constexpr std::uint64_t none = ~std::uint64_t{0};
    constexpr int reach = 4 * kPlaces;
    const std::vector<int> places = PlacesAmong(samples, knots);
    const int count = static_cast<int>(places.size());
    std::vector<std::uint64_t> costs(places.size(), none);
    std::vector<int> from(places.size(), 0);
    costs[0] = 0;
    int lastForced = 0;
    for (int place = 1; place < count; ++place) {
        const std::uint64_t own = key + static_cast<std::uint64_t>(RankOf(samples, places[At(place)]));
        // The best way to the place before tells about where from.
        const int farthest = std::max(place - reach, from[At(place - 1)] - kPlaces);
        for (int i = std::max(farthest, lastForced); i < place; ++i) {
            if (costs[At(i)] == none || costs[At(i)] + own >= costs[At(place)]) continue;
            if (!Serves(miss, places[At(i)], places[At(place)])) continue;
            costs[At(place)] = costs[At(i)] + own;
            from[At(place)] = i;
        }
        if (forced[At(places[At(place)])] != 0) lastForced = place;
    }
    std::vector<int> fewest;
    for (int place = count - 1; place > 0; place = from[At(place)]) fewest.push_back(places[At(place)]);
    fewest.push_back(places[0]);
    std::reverse(fewest.begin(), fewest.end());
    return fewest;
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
    return Fewest(samples, miss, forced, knots);
}

}  // namespace

CurveFit::CurveFit(const PlotSamples& samples, const FitOptions& options, const eRotationOrder* order)
    : mSamples(samples),
      mOptions(options),
      mOrder(order),
      mForced(At(samples.components), std::vector<std::uint8_t>(samples.times.size(), 0))
{
    const int count = samples.GetCount();
    for (int s = 0; s < count; ++s) {
        const bool isEnd = s == 0 || s + 1 == count;
        if (isEnd || (options.keepKeys && samples.Has(s, kSampleAtKey))) Force(s);
        for (int i = 0; i < samples.components; ++i) {
            if (samples.JumpsBehind(s, i)) mForced[At(i)][At(s)] = mForced[At(i)][At(s + 1)] = 1;
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
        std::vector<std::uint8_t> forced(mSamples.times.size(), 0);
        for (const std::vector<std::uint8_t>& one : mForced) {
            std::transform(forced.begin(), forced.end(), one.begin(), forced.begin(), std::bit_or<>());
        }
        mKnots.assign(At(mSamples.components), ChooseKnots(mSamples, TurnMiss(mSamples, *mOrder), forced));
        return;
    }
    for (int i = 0; i < mSamples.components; ++i) {
        mKnots.push_back(ChooseKnots(mSamples, CubicMiss(mSamples, *mDense[At(i)], i), mForced[At(i)]));
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
        if (mOrder != nullptr || mSamples.JumpsBehind(knots[k], component)) {
            key.SetInterpolation(YFCURVE_INTERP_LINEAR);
        }
        curve.KeyAdd(key.GetTime(), key, &hint);
    }
}

// --- Fixed rate ----------------------------------------------------------------------------------------

namespace {

// The last of the samples from one on that do not move away from it.
int LastLevelWith(const PlotSamples& samples, int component, int first, double flatness)
{
    int last = first;
    while (last + 1 < samples.GetCount() && !samples.JumpsBehind(last, component) &&
           std::abs(samples.Value(last + 1, component) - samples.Value(first, component)) <= flatness) {
        ++last;
    }
    return last;
}

}  // namespace

void MakeSampledCurve(YFCurve& curve, const PlotSamples& samples, int component, double flatness)
{
    const int count = samples.GetCount();
    const YFCurveModify modify(curve, count);
    // Two keys at either end of a level stretch hold it flat.
    constexpr int kept = 2;
    int hint = 0;
    int first = 0;
    int last = -1;
    for (int s = 0; s < count; ++s) {
        if (s > last) {
            first = s;
            last = LastLevelWith(samples, component, s, flatness);
        }
        if (s - first >= kept && last - s >= kept) continue;
        const auto value = static_cast<float>(samples.Value(s, component));
        YFCurveKey key;
        key.Set(YTime(), value);
        // An auto key would take its slope across the jump.
        if (samples.JumpsBehind(s, component) || (s > 0 && samples.JumpsBehind(s - 1, component))) {
            const double slope = SlopesAt(samples, component, s).right;
            key = UserKey(value, slope);
            const int before = curve.KeyGetCount() - 1;
            if (before >= 0) {
                curve.KeySetDataFloat(before, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, static_cast<float>(slope));
            }
        }
        curve.KeyAdd(samples.times[At(s)], key, &hint);
    }
}

}  // namespace yfc
