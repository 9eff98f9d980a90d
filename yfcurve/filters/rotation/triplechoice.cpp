// All triples of an orientation differ by whole turns, by the flip, and, at a pole, by the share v = third +
// direction * first of the two angles that turn about one line there. Turns and the flip map the distance of
// any two triples onto itself when both take them. So whatever one key becomes, the keys after it can follow
// at the cost that they have anyway, and the least sum over all steps is the sum of the least single steps:
// that chooses everything between keys off the poles.
//
// A stay at a pole ties its steps together by v, which is free at each of its keys and given at both ends.
// Its least square speed is even: v moves straight through the stay. A turn of a single angle changes u =
// third - direction * first and v by a full turn each, so that the turns of u and v are even or odd together;
// the end of a stay takes the better of both cases.
//
// Least square speed as the measure of a motion without needless turning: Shoemake, "Animating Rotation with
// Quaternion Curves", 1985, for orientations; here for the angles that write them.

#include "yfcurve/filters/rotation/triplechoice.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/curve/ticks.h"

namespace yfc {
namespace {

constexpr double kTie = 1e-9;

// First and third angle as what counts at a pole and the share of both.
struct Split
{
    double u;
    double v;
};

Split SplitOf(const YgeRVector& angles, const ybase::AxisOrder& axes, double direction)
{
    const double turned = direction * angles[axes.first];
    return {angles[axes.third] - turned, angles[axes.third] + turned};
}

double FirstOf(const Split& split, double direction)
{
    return 0.5 * direction * (split.v - split.u);
}

// What a further turn of u, against the way that it goes, adds to the cost of a step.
double CostOfOtherWay(double step, double seconds)
{
    const double other = 360.0 - std::abs(step);
    return (other * other - step * step) / (2.0 * seconds);
}

// A stay at a pole: keys in a row at the same one, what is before and what comes after.
struct Stay
{
    const TimedAngles* before;  // null at the start of all
    const TimedAngles* const* keys;
    std::size_t count;
    const TimedAngles* after;  // null when there is none, or it is at the other pole
    double direction;
};

class StaySolver
{
  public:
    StaySolver(const Stay& stay, const ybase::AxisOrder& axes) : mStay(stay), mAxes(axes)
    {
        const TimedAngles& origin = stay.before != nullptr ? *stay.before : *stay.keys[0];
        mOrigin = SplitOf(origin.angles, axes, stay.direction);
        mSecond = origin.angles[axes.second];
        double previous = mOrigin.u;
        YTime time = origin.time;
        for (std::size_t i = 0; i < stay.count; ++i) {
            const double own = SplitOf(stay.keys[i]->angles, axes, stay.direction).u;
            mU.push_back(WithTurns(own, 0.0, previous));
            if (i > 0 || stay.before != nullptr) NoteOtherWay(i, mU[i] - previous, stay.keys[i]->time, time);
            previous = mU[i];
            time = stay.keys[i]->time;
        }
        mEndV = mOrigin.v;
    }

    /// The triple of the key after the stay, which has one.
    EulerForm SolveEnd()
    {
        const YgeRVector& plain = mStay.after->angles;
        const double pole = std::copysign(90.0, std::remainder(mStay.keys[0]->angles[mAxes.second], 360.0));
        const double second = WithTurns(pole, 0.0, mSecond);
        for (const bool flip : {false, true}) TryEnd(flip ? Flipped(plain, mAxes) : plain, flip, second);
        if (mBest.otherWay) TakeOtherWay();
        mEndV = mBest.v;
        return {mBest.angles, mBest.flipped};
    }

    EulerForm SolveKey(std::size_t index)
    {
        const YTime time = mStay.keys[index]->time;
        double v = mEndV;
        if (mStay.before != nullptr && mStay.after != nullptr) {
            const YTime start = mStay.before->time;
            v = mOrigin.v + (mEndV - mOrigin.v) * (Ticks(start, time) / Ticks(start, mStay.after->time));
        }
        const double first = FirstOf({mU[index], v}, mStay.direction);
        const EulerForm form = AtPole(mStay.keys[index]->angles, first, mU[index], mSecond, mAxes);
        mSecond = form.angles[mAxes.second];
        return form;
    }

  private:
    struct End
    {
        double cost = AngleLimits::kNone;
        double way = AngleLimits::kNone;  // of v, which decides between equal costs
        bool otherWay = false;
        std::size_t otherStep = 0;
        bool flipped = false;
        double v = 0.0;
        YgeRVector angles;
    };

    // Keeps the step at which u can go the other way round at the least cost.
    void NoteOtherWay(std::size_t step, double change, YTime time, YTime previous)
    {
        const double cost = CostOfOtherWay(change, SecondsBetween(previous, time));
        if (cost >= mOtherCost) return;
        mOtherCost = cost;
        mOtherStep = step;
    }

    void TryEnd(const YgeRVector& angles, bool flipped, double second)
    {
        const TimedAngles& after = *mStay.after;
        const TimedAngles& last = *mStay.keys[mStay.count - 1];
        const double seconds = SecondsBetween(last.time, after.time);
        const double allSeconds =
            mStay.before != nullptr ? SecondsBetween(mStay.before->time, after.time) : 0.0;
        const Split own = SplitOf(angles, mAxes, mStay.direction);
        const double u = WithTurns(own.u, 0.0, mU.back());
        const double turnsOfU = std::round((u - own.u) / 360.0);
        const double stepU = u - mU.back();
        const double endSecond = WithTurns(angles[mAxes.second], 0.0, second);
        const double stepSecond = endSecond - second;
        const double otherHere = CostOfOtherWay(stepU, seconds);

        for (const bool otherWay : {false, true}) {
            const bool odd = (std::remainder(turnsOfU, 2.0) != 0.0) != otherWay;
            End end;
            end.v = WithTurns(own.v, odd ? 360.0 : 0.0, mOrigin.v, 720.0);
            end.way = std::abs(end.v - mOrigin.v);
            end.cost = (0.5 * stepU * stepU + stepSecond * stepSecond) / seconds;
            if (allSeconds > 0.0) end.cost += 0.5 * end.way * end.way / allSeconds;
            if (otherWay) end.cost += std::min(mOtherCost, otherHere);
            end.otherWay = otherWay;
            end.otherStep = otherHere < mOtherCost ? mStay.count : mOtherStep;
            end.flipped = flipped;
            if (!IsBetter(end)) continue;
            mBest = end;
            const double turnedU =
                otherWay ? u - std::copysign(360.0, OtherStepChange(end.otherStep, stepU)) : u;
            PlaceEnd(angles, endSecond, turnedU);
        }
    }

    bool IsBetter(const End& end) const
    {
        const double slack = kTie * std::max(1.0, end.cost);
        if (std::abs(end.cost - mBest.cost) > slack) return end.cost < mBest.cost;
        return end.way < mBest.way - kTie;
    }

    double OtherStepChange(std::size_t step, double endChange) const
    {
        if (step == mStay.count) return endChange;
        return mU[step] - (step > 0 ? mU[step - 1] : mOrigin.u);
    }

    // The triple itself with the turns that u and v have got.
    void PlaceEnd(const YgeRVector& angles, double second, double u)
    {
        const double first = FirstOf({u, mBest.v}, mStay.direction);
        mBest.angles[mAxes.first] = WithTurns(angles[mAxes.first], 0.0, first);
        mBest.angles[mAxes.second] = second;
        mBest.angles[mAxes.third] = WithTurns(angles[mAxes.third], 0.0, u + mStay.direction * first);
    }

    void TakeOtherWay()
    {
        if (mBest.otherStep == mStay.count) return;
        const double turn = std::copysign(360.0, OtherStepChange(mBest.otherStep, 0.0));
        for (std::size_t i = mBest.otherStep; i < mU.size(); ++i) mU[i] -= turn;
    }

    const Stay mStay;
    const ybase::AxisOrder mAxes;
    Split mOrigin{};
    double mSecond = 0.0;
    std::vector<double> mU;
    double mEndV = 0.0;
    double mOtherCost = AngleLimits::kNone;
    std::size_t mOtherStep = 0;
    End mBest;
};

// The keys from `first` on that stay at the pole of the first one.
Stay FindStay(const std::vector<const TimedAngles*>& keys, std::size_t first, const TimedAngles* before,
              const ybase::AxisOrder& axes, double poleTolerance)
{
    const double direction = PoleDirection(keys[first]->angles, axes);
    std::size_t end = first + 1;
    const auto isAtPole = [&](std::size_t i) {
        return DistanceFromPole(keys[i]->angles, axes) <= poleTolerance;
    };
    while (end < keys.size() && isAtPole(end) && PoleDirection(keys[end]->angles, axes) == direction) ++end;
    const TimedAngles* after = end < keys.size() && !isAtPole(end) ? keys[end] : nullptr;
    return {before, keys.data() + first, end - first, after, direction};
}

}  // namespace

std::vector<EulerForm> ChooseTriples(const std::vector<TimedAngles>& keys, const TimedAngles* anchor,
                                     const ybase::AxisOrder& axes, double poleTolerance)
{
    std::vector<EulerForm> forms;
    std::vector<const TimedAngles*> usable;
    for (const TimedAngles& key : keys) {
        forms.push_back({key.angles});
        if (IsUsable(key.angles)) usable.push_back(&key);
    }
    const auto formOf = [&](const TimedAngles* key) -> EulerForm& {
        return forms[static_cast<std::size_t>(key - keys.data())];
    };

    TimedAngles chosen;
    const TimedAngles* before = nullptr;
    if (anchor != nullptr && IsUsable(anchor->angles)) {
        chosen = *anchor;
        before = &chosen;
    }
    for (std::size_t i = 0; i < usable.size();) {
        const TimedAngles* last = usable[i];
        if (DistanceFromPole(last->angles, axes) > poleTolerance) {
            if (before != nullptr) {
                formOf(last) = NearestForm(last->angles, before->angles, axes, poleTolerance);
            }
            ++i;
        } else {
            const Stay stay = FindStay(usable, i, before, axes, poleTolerance);
            StaySolver solver(stay, axes);
            if (stay.after != nullptr) formOf(stay.after) = solver.SolveEnd();
            for (std::size_t k = 0; k < stay.count; ++k) formOf(stay.keys[k]) = solver.SolveKey(k);
            i += stay.count + (stay.after != nullptr ? 1 : 0);
            last = usable[i - 1];
        }
        chosen = {last->time, formOf(last).angles};
        before = &chosen;
    }
    return forms;
}

}  // namespace yfc
