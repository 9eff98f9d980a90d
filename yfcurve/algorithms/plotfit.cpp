// Chooses which samples become keys.
//
// Curves: the samples are joined by cubics whose slopes come from neighbouring samples, and the search in
// `yfcurve/fitting/` finds the fewest keys, with slopes of their own, that stay near these cubics.
//
// Rotations that turn evenly from key to key have no slopes. First each segment is split at the sample that it
// misses most, until none is out of tolerance (Ramer, "An Iterative Procedure for the Polygonal Approximation of
// Plane Curves", 1972, with turns in place of chords). That gives about half again as many keys as are needed.
// So a shortest path then looks for the fewest keys among those samples and some between each two of them.

#include "yfcurve/algorithms/plotfit.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <new>
#include <utility>

#include "yfcurve/algorithms/tangentchecks.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/fitting/fitpath.h"
#include "yfcurve/fitting/fitsegment.h"

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
            // Where another component jumps there are two samples one tick apart. They tell one value of this one.
            const bool isTwin = step >= -YTIME_ONE_TICK && step <= YTIME_ONE_TICK;
            if (isTwin && s != 0 && s + 1 != samples.GetCount()) continue;
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

// --- Even turns ----------------------------------------------------------------------------------------

// How far a rotation that turns evenly from one sample to another misses the orientations of those between, as
// multiples of their tolerances.
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
        return Slerp(mFrom, mTo, fraction).GetAngleTo(Orientation(sample)) / Tolerance(sample);
    }

  private:
    double Tolerance(int sample) const
    {
        if (std::isinf(mSamples.Tolerance(sample, 0))) return mSamples.Tolerance(sample, 0);
        const double* angles = mSamples.Values(sample);
        const double largest = std::max({std::abs(angles[0]), std::abs(angles[1]), std::abs(angles[2])});
        return mSamples.within + kValueRounding * largest;
    }
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

// Keys stand best at those of the motion, then on frames.
constexpr int kRankBetween = 2;

int RankOf(const PlotSamples& samples, int sample)
{
    return samples.Has(sample, kSampleAtKey) ? 0 : samples.Has(sample, kSampleOnFrame) ? 1 : kRankBetween;
}

// Where to split a segment: at a sample of good rank, unless another is missed by far more. -1 when none is
// out of tolerance.
int WorstBetween(const PlotSamples& samples, TurnMiss& miss, int first, int last)
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
    // A long segment is halved where the worst sample lies within 1/64 of an end: splitting off so little
    // would look through the rest again and again.
    constexpr int isLong = 4096;
    const int leastPart = (last - first) / 64;
    const bool isNearEnd = split - first < leastPart || last - split < leastPart;
    return last - first > isLong && isNearEnd ? first + (last - first) / 2 : split;
}

void Split(const PlotSamples& samples, TurnMiss& miss, int first, int last, std::vector<int>& knots)
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

bool Serves(TurnMiss& miss, int first, int last)
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
std::vector<int> Fewest(const PlotSamples& samples, TurnMiss& miss, const std::vector<std::uint8_t>& forced,
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

std::vector<int> ChooseKnots(const PlotSamples& samples, TurnMiss miss,
                             const std::vector<std::uint8_t>& forced)
{
    std::vector<int> knots{0};
    for (int s = 1, first = 0; s < samples.GetCount(); ++s) {
        if (forced[At(s)] == 0) continue;
        Split(samples, miss, first, s, knots);
        first = s;
    }
    return Fewest(samples, miss, forced, knots);
}

// --- Cubics --------------------------------------------------------------------------------------------

// The samples of a component as runs from one that has to become a key to the next.
class RunFit
{
  public:
    RunFit(const PlotSamples& samples, const YFCurve& dense, int component)
        : mSamples(samples), mDense(dense), mComponent(component)
    {}

    /// Adds keys from one sample, at which the last one stands, to another that gets one as well.
    void GoOn(int first, int last, std::vector<FitKey>& keys)
    {
        MakeRun(first, last);
        FitRules rules;
        rules.holdsStart = !mRun.points.front().IsCorner();
        rules.holdsEnd = !mRun.points.back().IsCorner();
        std::vector<FitKey> added = FewestKeys({{&mRun, rules}}).front();
        // `FewestKeys` tries only some of many places. Where the motion has few keys of its own, try those alone too,
        // and take them if they need no more keys.
        if (2 * mKeyPlaces.size() < mRun.places.size()) {
            mRun.places.swap(mKeyPlaces);
            std::vector<FitKey> own = FewestKeys({{&mRun, rules}}).front();
            if (own.size() <= added.size()) added = std::move(own);
        }
        for (FitKey& key : added) key.point = mPointSamples[At(key.point)];
        keys.back().right = added.front().right;
        keys.insert(keys.end(), added.begin() + 1, added.end());
    }

  private:
    // Keys are tried on frames and at keys of the motion; the search adds other samples only where these do not
    // suffice. Samples between two such places are left out where one cubic passes through all of them.
    void MakeRun(int first, int last)
    {
        mRun = {};
        mKeyPlaces.clear();
        mPointSamples.clear();
        mStart = mSamples.times[At(first)];
        for (int s = first; s < last;) {
            int next = s + 1;
            while (next < last && (IsTwin(next) || !IsPlace(next))) ++next;
            const bool isPlace = s == first || IsPlace(s);
            if (IsOneCubic(s, next)) {
                AddPoint(s, next, isPlace);
            } else {
                for (int at = s; at < next; ++at) {
                    if (at == s || !IsTwin(at)) AddPoint(at, at + 1, isPlace && at == s);
                }
            }
            s = next;
        }
        AddPoint(last, last, true);
    }

    bool IsPlace(int s) const { return RankOf(mSamples, s) < kRankBetween; }

    // Whether the next sample is only a tick later, because another component jumps there. This one is left out then.
    bool IsTwin(int s) const { return mSamples.times[At(s + 1)] - mSamples.times[At(s)] <= YTIME_ONE_TICK; }

    // Whether the samples between two lie within a hundredth of their tolerance of the cubic from one to the other.
    bool IsOneCubic(int from, int to) const
    {
        constexpr double share = 0.01;
        const double duration = SecondsBetween(mSamples.times[At(from)], mSamples.times[At(to)]);
        const double base = mDense.KeyGetValue(from);
        const double rise = mDense.KeyGetValue(to) - base;
        const double start = mDense.KeyGetRightDerivative(from) * duration;
        const double end = mDense.KeyGetLeftDerivative(to) * duration;
        for (int s = from + 1; s < to; ++s) {
            const SegmentWeights weights = WeightsOfSlopes(
                SecondsBetween(mSamples.times[At(from)], mSamples.times[At(s)]) / duration, rise);
            const double value = base + weights.base + weights.start * start + weights.end * end;
            if (!(std::abs(value - mSamples.Value(s, mComponent)) <= share * ToleranceAt(s))) return false;
        }
        return true;
    }

    // \param next  the sample of the next point.
    void AddPoint(int s, int next, bool isPlace)
    {
        if (isPlace) mRun.places.push_back(mRun.GetCount());
        const bool isEnd = mPointSamples.empty() || next == s;
        if (isEnd || (isPlace && mSamples.Has(s, kSampleAtKey))) mKeyPlaces.push_back(mRun.GetCount());
        double tolerance = ToleranceAt(s);
        for (int behind = s + 1; behind <= next; ++behind)
            tolerance = std::min(tolerance, ToleranceAt(behind));
        mRun.points.push_back({SecondsBetween(mStart, mSamples.times[At(s)]), mDense.KeyGetValue(s),
                               mDense.KeyGetLeftDerivative(s), mDense.KeyGetRightDerivative(s), tolerance});
        mPointSamples.push_back(s);
    }

    double ToleranceAt(int s) const
    {
        // Infinite tolerances (the value has no effect on the total) become large finite ones.
        const double any = 1e6 * std::max(1.0, std::abs(mSamples.Value(s, mComponent)));
        return std::min(mSamples.Tolerance(s, mComponent), any);
    }

    const PlotSamples& mSamples;
    const YFCurve& mDense;
    const int mComponent;
    YTime mStart;
    FitRun mRun;
    std::vector<int> mKeyPlaces;  // of the places, those at keys of the motion and the ends
    std::vector<int> mPointSamples;
};

}  // namespace

PlotFit::PlotFit(const PlotSamples& samples, const PlotFitOptions& options, const eRotationOrder* order)
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
void PlotFit::MakeDense(int component)
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

void PlotFit::Choose()
{
    mKeys.assign(At(mSamples.components), {});
    if (mOrder != nullptr) return ChooseTurns();
    const int count = mSamples.GetCount();
    for (int i = 0; i < mSamples.components; ++i) {
        RunFit fit(mSamples, *mDense[At(i)], i);
        std::vector<FitKey>& keys = mKeys[At(i)];
        const auto addAlone = [&](int s) {
            const double slope = mDense[At(i)]->KeyGetRightDerivative(s);
            keys.push_back({s, slope, slope});
        };
        addAlone(0);
        for (int s = 1, first = 0; s < count; ++s) {
            if (mForced[At(i)][At(s)] == 0) continue;
            if (mSamples.JumpsBehind(s - 1, i)) {
                addAlone(s);
            } else {
                fit.GoOn(first, s, keys);
            }
            first = s;
        }
    }
}

// All three angles get keys at the same samples. Playing ignores their slopes; curve editors show them.
void PlotFit::ChooseTurns()
{
    std::vector<std::uint8_t> forced(mSamples.times.size(), 0);
    for (const std::vector<std::uint8_t>& one : mForced) {
        std::transform(forced.begin(), forced.end(), one.begin(), forced.begin(), std::bit_or<>());
    }
    const std::vector<int> knots = ChooseKnots(mSamples, TurnMiss(mSamples, *mOrder), forced);
    for (int i = 0; i < mSamples.components; ++i) {
        const YFCurve& dense = *mDense[At(i)];
        for (const int s : knots) {
            mKeys[At(i)].push_back({s, dense.KeyGetLeftDerivative(s), dense.KeyGetRightDerivative(s)});
        }
    }
}

void PlotFit::MakeCurve(YFCurve& curve, int component) const
{
    const std::vector<FitKey>& keys = mKeys[At(component)];
    const YFCurveModify modify(curve, static_cast<int>(keys.size()));
    int hint = 0;
    for (std::size_t k = 0; k < keys.size(); ++k) {
        const FitKey& from = keys[k];
        const auto left = static_cast<float>(from.left);
        const auto right = static_cast<float>(from.right);
        const auto nextLeft = k + 1 < keys.size() ? static_cast<float>(keys[k + 1].left) : 0.0f;
        YFCurveKey key;
        key.Set(YTime(), static_cast<float>(mSamples.Value(from.point, component)), YFCURVE_INTERP_CUBIC,
                left == right ? YFCURVE_TANGENT_USER : YFCURVE_TANGENT_USER_BREAK, right, nextLeft);
        if (mOrder != nullptr || mSamples.JumpsBehind(from.point, component)) {
            key.SetInterpolation(YFCURVE_INTERP_LINEAR);
        }
        curve.KeyAdd(mSamples.times[At(from.point)], key, &hint);
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
