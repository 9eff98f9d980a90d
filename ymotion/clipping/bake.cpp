// A segment is the cubic through four values of the motion at equal distances, which is the motion itself where
// that is a cubic. It is measured at three more places, and divided where it is off.

#include "ymotion/clipping/bake.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

using Values = std::vector<double>;

/// The shortest segment is 1/64 of a frame.
constexpr int kMostParts = 64;
/// What single precision leaves of values, relative to the largest.
constexpr double kRounding = 1e-6;
constexpr double kTurnTolerance = 0.001;  // degrees

/// The motion as numbers, with what counts as a difference of it.
class BakeSource
{
  public:
    virtual ~BakeSource() = default;
    /// \param near  of all angles for an orientation, those nearest to these are given
    virtual Values At(YTime time, const Values& near) const = 0;
    /// How far two values are apart, in tolerances.
    virtual double Distance(const Values& a, const Values& b) const = 0;
    /// What plays at a part of a segment.
    virtual Values Between(const std::array<Values, 4>& points, double part) const = 0;
};

/// The cubic through values at 0, 1/3, 2/3 and 1.
double CubicAt(double p0, double p1, double p2, double p3, double u)
{
    const double a = (u - 1.0 / 3.0) * (u - 2.0 / 3.0) * (u - 1.0);
    const double b = u * (u - 2.0 / 3.0) * (u - 1.0);
    const double c = u * (u - 1.0 / 3.0) * (u - 1.0);
    const double d = u * (u - 1.0 / 3.0) * (u - 2.0 / 3.0);
    return -4.5 * a * p0 + 13.5 * b * p1 - 13.5 * c * p2 + 4.5 * d * p3;
}

Values CubicBetween(const std::array<Values, 4>& points, double part)
{
    Values values;
    for (std::size_t i = 0; i < points[0].size(); ++i)
        values.push_back(CubicAt(points[0][i], points[1][i], points[2][i], points[3][i], part));
    return values;
}

class ValueSource final : public BakeSource
{
  public:
    ValueSource(const ValueMotion& motion, const BakePlaces& places) : mMotion(motion)
    {
        for (const YTime time : places.times) {
            StopIfAsked();
            for (const double value : motion(time)) mLargest = std::max(mLargest, std::abs(value));
        }
    }

    Values At(YTime time, const Values&) const override { return mMotion(time); }
    double Distance(const Values& a, const Values& b) const override
    {
        double distance = 0;
        for (std::size_t i = 0; i < a.size(); ++i) distance = std::max(distance, std::abs(a[i] - b[i]));
        return mLargest > 0 ? distance / (kRounding * mLargest) : 0.0;
    }
    Values Between(const std::array<Values, 4>& points, double part) const override
    {
        return CubicBetween(points, part);
    }

  private:
    const ValueMotion& mMotion;
    double mLargest = 0;
};

class TurnSource final : public BakeSource
{
  public:
    TurnSource(const TurnMotion& motion, const YFCurveNode& rotation)
        : mMotion(motion),
          mOrder(static_cast<eRotationOrder>(rotation.GetRotationOrder())),
          mTurnsAsQuaternions(TurnsAsQuaternions(rotation))
    {}

    Values At(YTime time, const Values& near) const override
    {
        const YgeRVector angles =
            V2VRef(YgeRVector(mMotion(time), mOrder), {near[0], near[1], near[2]}, mOrder);
        return {angles.x, angles.y, angles.z};
    }
    double Distance(const Values& a, const Values& b) const override
    {
        double largest = 0;
        for (const double angle : a) largest = std::max(largest, std::abs(angle));
        // Single precision rounds each angle by half of the distance to the next number; the three roundings add up.
        const double spacing = largest * std::numeric_limits<float>::epsilon();
        return Turn(a).GetAngleTo(Turn(b)) / (kTurnTolerance + 2.0 * spacing);
    }
    Values Between(const std::array<Values, 4>& points, double part) const override
    {
        if (!mTurnsAsQuaternions) return CubicBetween(points, part);
        const YgeRVector angles(Slerp(Turn(points[0]), Turn(points[3]), part), mOrder);
        return {angles.x, angles.y, angles.z};
    }

  private:
    YgeQuaternion Turn(const Values& angles) const
    {
        return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]), mOrder);
    }

    const TurnMotion& mMotion;
    eRotationOrder mOrder;
    bool mTurnsAsQuaternions;
};

/// A key of all curves and the segment behind it.
struct BakedKey
{
    YTime time;
    Values values;
    unsigned interpolation = YFCURVE_INTERP_CUBIC;
    Values right;     ///< slopes at the start of the segment
    Values nextLeft;  ///< and at its end
};

class Baker
{
  public:
    Baker(const BakeSource& source, const BakePlaces& places) : mSource(source), mRate(places.rate)
    {
        mShortest = TimeOfFrame(1, mRate) / kMostParts;
    }

    std::vector<BakedKey> Keys(const std::vector<YTime>& times, const Values& before)
    {
        mLast = mSource.At(times.front(), before);
        for (std::size_t i = 0; i + 1 < times.size(); ++i) AddSegment(times[i], times[i + 1]);
        AddKey(times.back(), YFCURVE_INTERP_CUBIC);
        return std::move(mKeys);
    }

  private:
    struct Part
    {
        YTime start;
        YTime stop;
        std::array<Values, 4> points;

        YTime At(double part) const { return TimeSpan{start, stop}.At(part); }
        double Seconds() const { return (stop - start).GetSecondDouble(); }
    };

    void AddKey(YTime time, unsigned interpolation)
    {
        const Values still(mLast.size(), 0.0);
        mKeys.push_back({time, mLast, interpolation, still, still});
    }

    void AddJump(YTime start, YTime stop)
    {
        AddKey(start, YFCURVE_INTERP_LINEAR);
        mLast = mSource.At(stop, mLast);
    }

    /// Sets keys from one given time to the next. The motion may jump at either of them: just behind the first one, or
    /// just before the second one, it is then elsewhere than at that time itself.
    void AddSegment(YTime start, YTime stop)
    {
        if (stop - start > YTIME_ONE_TICK &&
            mSource.Distance(mLast, mSource.At(start + YTIME_ONE_TICK, mLast)) > 1) {
            AddJump(start, start + YTIME_ONE_TICK);
            start += YTIME_ONE_TICK;
        }
        if (stop - start <= YTIME_ONE_TICK) return AddJump(start, stop);
        const Part whole = PartOf(start, stop - YTIME_ONE_TICK);
        const Values after = mSource.At(stop, whole.points[3]);
        if (mSource.Distance(whole.points[3], after) <= 1) {
            AddPart(PartOf(start, stop));
        } else if (IsStill(whole)) {
            AddKey(start, YFCURVE_INTERP_CONSTANT);
            mLast = after;
        } else {
            AddPart(whole);
            AddKey(whole.stop, YFCURVE_INTERP_LINEAR);
            mLast = after;
        }
    }

    Part PartOf(YTime start, YTime stop) const
    {
        StopIfAsked();
        Part part{start, stop, {}};
        part.points[0] = mLast;
        for (std::size_t i = 1; i < 4; ++i) {
            const YTime time = i == 3 ? stop : part.At(static_cast<double>(i) / 3.0);
            part.points[i] = mSource.At(time, part.points[i - 1]);
        }
        return part;
    }

    bool IsStill(const Part& part) const
    {
        return std::all_of(part.points.begin() + 1, part.points.end(),
                           [&](const Values& point) { return point == part.points[0]; });
    }

    bool Fits(const Part& part) const
    {
        // Near where a motion comes farthest from the cubic through its four points. Even parts would not do: where a
        // turn is so fast that the angles taken at the thirds are whole turns off, the orientation at even parts may be
        // the expected one all the same.
        for (const double place : {0.1618, 0.4837, 0.8471}) {
            const Values expected = mSource.At(part.At(place), part.points[1]);
            if (mSource.Distance(expected, mSource.Between(part.points, place)) > 1) return false;
        }
        return true;
    }

    YTime Middle(const Part& part) const
    {
        const YTime middle = part.At(0.5);
        const double frames = middle.GetSecondDouble() * mRate.PerSecond();
        const YTime frame = TimeOfFrame(std::llround(frames), mRate);
        return frame > part.start && frame < part.stop ? frame : middle;
    }

    void AddPart(const Part& part)
    {
        if (part.stop - part.start > mShortest && !Fits(part)) {
            const YTime middle = Middle(part);
            AddPart(PartOf(part.start, middle));
            AddPart(PartOf(middle, part.stop));
            return;
        }
        AddKey(part.start, YFCURVE_INTERP_CUBIC);
        BakedKey& key = mKeys.back();
        const auto& [p0, p1, p2, p3] = part.points;
        for (std::size_t i = 0; i < p0.size(); ++i) {
            key.right[i] = (-5.5 * p0[i] + 9.0 * p1[i] - 4.5 * p2[i] + p3[i]) / part.Seconds();
            key.nextLeft[i] = (5.5 * p3[i] - 9.0 * p2[i] + 4.5 * p1[i] - p0[i]) / part.Seconds();
        }
        mLast = part.points[3];
    }

    const BakeSource& mSource;
    FrameRate mRate;
    YTime mShortest;
    Values mLast;  ///< at the end of the keys so far
    std::vector<BakedKey> mKeys;
};

void SetKeys(YFCurve& curve, const std::vector<BakedKey>& keys, std::size_t component)
{
    const YFCurveModify bracket(curve, static_cast<int>(keys.size()));
    curve.KeyClear();
    for (const BakedKey& key : keys) {
        const unsigned mode = key.interpolation == YFCURVE_INTERP_CUBIC ? YFCURVE_TANGENT_USER_BREAK : 0u;
        const bool done = curve.KeySet(
            curve.KeyGetCount(), key.time, static_cast<float>(key.values[component]), key.interpolation, mode,
            static_cast<float>(key.right[component]), static_cast<float>(key.nextLeft[component]));
        if (!done) throw std::bad_alloc();
    }
}

void Bake(const std::vector<YFCurve*>& curves, const BakePlaces& places, const BakeSource& source,
          const Values& before)
{
    // All is read before the first key changes, as the motion may be that of the curves themselves.
    const std::vector<BakedKey> keys = Baker(source, places).Keys(places.times, before);
    for (std::size_t i = 0; i < curves.size(); ++i) SetKeys(*curves[i], keys, i);
}

}  // namespace

void BakeValues(const std::vector<YFCurve*>& curves, const BakePlaces& places, const ValueMotion& motion)
{
    Bake(curves, places, ValueSource(motion, places), {});
}

void BakeTurns(YFCurveNode& rotation, const BakePlaces& places, const TurnMotion& motion,
               const YgeRVector& before)
{
    const std::vector<YFCurve*> curves{rotation.Get(0)->FCurveGet(), rotation.Get(1)->FCurveGet(),
                                       rotation.Get(2)->FCurveGet()};
    const TurnSource source(motion, rotation);
    const Values near{before.x, before.y, before.z};
    if (!places.times.empty()) return Bake(curves, places, source, near);
    const Values angles = source.At(YTIME_ZERO, near);
    for (std::size_t i = 0; i < curves.size(); ++i) curves[i]->SetValue(static_cast<float>(angles[i]));
}

YgeRVector OwnAngles(const YFCurveNode& rotation, YTime time)
{
    double angles[3] = {};
    rotation.RotationNodeEvaluate(angles, time);
    return {angles[0], angles[1], angles[2]};
}

YgeQuaternion OwnOrientation(const YFCurveNode& rotation, YTime time)
{
    return YgeQuaternion(OwnAngles(rotation, time), static_cast<eRotationOrder>(rotation.GetRotationOrder()));
}

}  // namespace ymotion
