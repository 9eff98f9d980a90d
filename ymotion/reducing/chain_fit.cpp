// The rotations of a joint move all joints below it. The joints next below can bring the rest of their chain back to
// its place. So an error of a joint matters no farther than to these next joints, and its new angles need not be near
// those of the source: they follow those that bring the next joints nearest to their places in the source, after what
// the fit has made of the joints above.

#include "ymotion/reducing/chain_fit.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ybaselib/rotation/degrees.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/scene/skeleton.h"
#include "ymotion/scene/vectors.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

constexpr double kRadians = ybase::kRadiansPerDegree;

// Shares of the tolerance. A joint that others hang on uses less than all of it: what it is off, those below have to
// make up for, which takes a part of their own.
constexpr double kUsed = 0.985;  // of each share; rounding and the times half-way between keys need the rest
constexpr double kMoveShare = 0.8;  // how far a joint's own translation may put it off
// How far the turns of a joint may put the next joints below it off:
constexpr double kRootShare = 0.85;  // of a joint that has a translation as well, as roots have
constexpr double kShare = 0.93;      // of a joint with farther joints behind the next ones
constexpr double kEndShare = 0.98;   // of a joint without any behind these
// Of these, what is left for angles however much the joints above have used up.
constexpr double kLeastShare = 0.25;

// How much a joint farther below counts, where 1 is a next joint: joints in between can still bring it back.
constexpr double kFartherWeight = 0.3;
// How much an angle's staying near the source counts, where 1 is a joint's staying in its place.
constexpr double kStayWeight = 0.1;

constexpr double kStillPart = 0.01;   // curves that hardly move may be off by this part of the tolerance
constexpr double kMostDegrees = 8.0;  // an angle is never off by more, however short its lever is
constexpr int kWholeRounds = 3;   // rounds in which all keys are found anew; later, only those around faults
constexpr int kGentleRounds = 7;  // rounds in which an error lowers the shares of joints above by little

/// Solves a symmetric system of up to three equations; without pivots, as its diagonal has been raised.
class SmallSystem
{
  public:
    explicit SmallSystem(int count) : mCount(count) {}

    void Add(const std::array<YgeVector, 3>& columns, const YgeVector& wanted, double weight)
    {
        for (int i = 0; i < mCount; ++i) {
            mWanted[At(i)] += weight * Dot(columns[At(i)], wanted);
            for (int j = 0; j < mCount; ++j)
                mSums[At(i)][At(j)] += weight * Dot(columns[At(i)], columns[At(j)]);
        }
    }

    void Raise(int i, double weight, double wanted)
    {
        mSums[At(i)][At(i)] += weight;
        mWanted[At(i)] += weight * wanted;
    }

    std::array<double, 3> Solve()
    {
        for (int i = 0; i < mCount; ++i) {
            for (int row = i + 1; row < mCount; ++row) {
                const double factor = mSums[At(row)][At(i)] / mSums[At(i)][At(i)];
                for (int j = i; j < mCount; ++j) mSums[At(row)][At(j)] -= factor * mSums[At(i)][At(j)];
                mWanted[At(row)] -= factor * mWanted[At(i)];
            }
        }
        std::array<double, 3> result{};
        for (int i = mCount - 1; i >= 0; --i) {
            double rest = mWanted[At(i)];
            for (int j = i + 1; j < mCount; ++j) rest -= mSums[At(i)][At(j)] * result[At(j)];
            result[At(i)] = rest / mSums[At(i)][At(i)];
        }
        return result;
    }

  private:
    static std::size_t At(int i) { return static_cast<std::size_t>(i); }

    const int mCount;
    std::array<std::array<double, 3>, 3> mSums{};
    std::array<double, 3> mWanted{};
};

int AxisOfOrder(int order, int place)
{
    return RotationOrderName(order)[place] - 'X';
}

YgeQuaternion TurnAbout(int axis, double degrees)
{
    YgeRVector angles;
    angles[axis] = degrees;
    return YgeQuaternion(angles);
}

Placement TurnOf(int order, const std::array<double, 3>& angles)
{
    const YgeQuaternion turn(YgeRVector(angles[0], angles[1], angles[2]), static_cast<eRotationOrder>(order));
    return Placement::Of({}, turn, {1, 1, 1});
}

/// Lowers shares around a time.
void Lower(std::vector<double>& shares, std::size_t time, double factor)
{
    constexpr std::ptrdiff_t reach = 5;
    const auto last = static_cast<std::ptrdiff_t>(shares.size()) - 1;
    const auto center = static_cast<std::ptrdiff_t>(time);
    for (std::ptrdiff_t t = std::max<std::ptrdiff_t>(center - reach + 1, 0);
         t <= std::min(center + reach - 1, last); ++t) {
        const double nearness = 1.0 - static_cast<double>(std::abs(t - center)) / reach;
        double& share = shares[static_cast<std::size_t>(t)];
        share = std::min(share, 1.0 - (1.0 - factor) * nearness);
    }
}

}  // namespace

ChainFit::ChainFit(const ChainMotion& motion, double tolerance, int tangents)
    : mMotion(motion), mTolerance(tolerance), mTangents(tangents), mLimbs(motion.joints.size())
{
    const std::size_t times = motion.times.Count();
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) {
        const ChainJoint& source = motion.joints[joint];
        Limb& limb = mLimbs[joint];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            limb.angles[axis] = source.angles[axis].source;
            limb.moves[axis] = source.moves[axis].source;
        }
        limb.places = source.places;
        limb.turnShare.assign(times, 1.0);
        limb.moveShare.assign(times, 1.0);
        limb.before.assign(times, 0.0);
        limb.share = source.farther.empty() ? kEndShare : kShare;
        if (source.HasMoves()) limb.share = kRootShare;
    }
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) HoldStanding(joint);
}

/// While a foot stands, the joints above it may be off hardly more than the foot itself.
void ChainFit::HoldStanding(std::size_t joint)
{
    constexpr double share = 1.5 * kContactShare;
    const std::vector<bool>& standing = mMotion.standing[joint];
    for (int above = mMotion.joints[joint].parent; above >= 0;) {
        const auto at = static_cast<std::size_t>(above);
        above = mMotion.joints[at].parent;
        if (mMotion.joints[joint].mover == static_cast<int>(at)) continue;
        for (std::size_t t = 0; t < standing.size(); ++t) {
            if (!standing[t]) continue;
            mLimbs[at].turnShare[t] = share;
            mLimbs[at].moveShare[t] = share;
        }
    }
}

double ChainFit::Bound(std::size_t joint, std::size_t time) const
{
    const std::vector<bool>& standing = mMotion.standing[joint];
    return !standing.empty() && standing[time] ? kContactShare * mTolerance : mTolerance;
}

double ChainFit::Off(std::size_t joint, std::size_t time) const
{
    return Distance(mLimbs[joint].places[time].origin, mMotion.joints[joint].places[time].origin);
}

bool ChainFit::Changes(const ChainCurve& curve) const
{
    return curve.extent * kRadians * mMotion.height > kStillPart * mTolerance;
}

void ChainFit::FitCurve(const ValuesToFollow& wanted, ChainKeys& keys, std::vector<double>& values) const
{
    if (mRound < kWholeRounds || keys.IsEmpty()) {
        keys.Fit(mMotion.times, wanted, mTangents);
    } else {
        keys.Renew(mMotion.times, wanted, mTangents);
    }
    keys.Evaluate(mMotion.times, values);
}

/// A curve that hardly changes gets the fewest keys by itself.
void ChainFit::FitStill(const ChainCurve& curve, ChainKeys& keys, std::vector<double>& values) const
{
    if (!curve.HasKeys() || !keys.IsEmpty()) return;
    const double most = kStillPart * mTolerance / (kRadians * mMotion.height);
    FitCurve({curve.source, std::vector<double>(curve.source.size(), most)}, keys, values);
}

// --- Joint after joint ----------------------------------------------------------------------------------------------

void ChainFit::DoRound()
{
    if (mRound > 0) TightenWhereOff();
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) {
        StopIfAsked();
        FitMoves(joint);
        Place(joint);
        FitTurns(joint);
        Place(joint);
    }
    Measure();
    ++mRound;
}

Placement ChainFit::Parent(std::size_t joint, std::size_t time) const
{
    const int parent = mMotion.joints[joint].parent;
    return parent < 0 ? Placement{} : mLimbs[static_cast<std::size_t>(parent)].places[time];
}

/// Puts a joint where its fitted translation and its parent bring it: at its offset from the parent in the source, plus
/// what the fit has changed of the translation.
void ChainFit::Place(std::size_t joint)
{
    const ChainJoint& source = mMotion.joints[joint];
    Limb& limb = mLimbs[joint];
    for (std::size_t t = 0; t < mMotion.times.Count(); ++t) {
        const Placement parent = Parent(joint, t);
        YgeVector offset = source.places[t].origin;
        if (source.parent >= 0) {
            const Placement& above = mMotion.joints[static_cast<std::size_t>(source.parent)].places[t];
            offset = above.Reversed() * offset;
        }
        const auto moved = [&](std::size_t axis) {
            return limb.moves[axis][t] - source.moves[axis].source[t];
        };
        offset = {offset.x + moved(0), offset.y + moved(1), offset.z + moved(2)};
        limb.places[t].origin = parent * offset;
        if (source.endSite) continue;
        limb.places[t] = Turned(joint, t, {limb.angles[0][t], limb.angles[1][t], limb.angles[2][t]});
    }
}

/// A joint where the fit has put it, turned by angles.
Placement ChainFit::Turned(std::size_t joint, std::size_t time, const Angles& angles) const
{
    Placement parent = Parent(joint, time);
    parent.origin = mLimbs[joint].places[time].origin;
    return parent * TurnOf(mMotion.joints[joint].order, angles);
}

/// The way from a joint to one below it, which follows the joint's turn: in the joint's own axes it is the same as in
/// the source.
YgeVector ChainFit::Arm(std::size_t joint, std::size_t below, std::size_t time, const Placement& turned) const
{
    const Placement& source = mMotion.joints[joint].places[time];
    const YgeVector arm = Difference(mMotion.joints[below].places[time].origin, source.origin);
    YgeVector result;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        result = Sum(result, Dot(source.axes[axis], arm), turned.axes[axis]);
    }
    return result;
}

/// The axes in the world about which the three angles turn.
std::array<YgeVector, 3> ChainFit::AxesOf(std::size_t joint, std::size_t time, const Angles& angles) const
{
    const int order = mMotion.joints[joint].order;
    Placement turned = Parent(joint, time);
    std::array<YgeVector, 3> axes;
    for (int place = 2; place >= 0; --place) {
        const int axis = AxisOfOrder(order, place);
        const auto at = static_cast<std::size_t>(axis);
        axes[at] = turned.axes[at];
        turned = turned * Placement::Of({}, TurnAbout(axis, angles[at]), {1, 1, 1});
    }
    return axes;
}

/// Finds the free angles that bring the joints below nearest to their places.
void ChainFit::Solve(std::size_t joint, std::size_t time, const std::array<bool, 3>& isFree,
                     Angles& angles) const
{
    constexpr int steps = 2;
    constexpr double tiny = 1e-12;
    const ChainJoint& source = mMotion.joints[joint];
    std::vector<std::size_t> free;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (isFree[axis]) free.push_back(axis);
    }
    for (int step = 0; step < steps && !free.empty(); ++step) {
        const std::array<YgeVector, 3> axes = AxesOf(joint, time, angles);
        const Placement turned = Turned(joint, time, angles);
        SmallSystem system(static_cast<int>(free.size()));
        double size = 0.0;
        const auto add = [&](std::size_t below, double weight) {
            const YgeVector arm = Arm(joint, below, time, turned);
            const YgeVector here = Sum(turned.origin, 1.0, arm);
            std::array<YgeVector, 3> columns;
            for (std::size_t i = 0; i < free.size(); ++i)
                columns[i] = Scaled(Cross(axes[free[i]], arm), kRadians);
            system.Add(columns, Difference(mMotion.joints[below].places[time].origin, here), weight);
            size += weight * Dot(arm, arm) * kRadians * kRadians;
        };
        for (const std::size_t below : source.nearest) add(below, 1.0);
        const double farther =
            kFartherWeight * kFartherWeight / static_cast<double>(source.farther.size() + 1);
        for (const std::size_t below : source.farther) add(below, farther);
        for (std::size_t i = 0; i < free.size(); ++i) {
            const double back = source.angles[free[i]].source[time] - angles[free[i]];
            system.Raise(static_cast<int>(i), kStayWeight * size + tiny, back);
        }
        const std::array<double, 3> change = system.Solve();
        for (std::size_t i = 0; i < free.size(); ++i) angles[free[i]] += change[i];
    }
}

/// How far an angle may be off. What the nearest joints are off already is taken from what they may be; the rest is
/// divided equally among the angles that are still to be fitted.
/// \param left  how many these are, with this one
double ChainFit::ToleranceOf(std::size_t joint, std::size_t time, int axis, const Angles& angles,
                             int left) const
{
    constexpr double tiny = 1e-9;
    const ChainJoint& source = mMotion.joints[joint];
    const Limb& limb = mLimbs[joint];
    const Placement turned = Turned(joint, time, angles);
    const YgeVector about = AxesOf(joint, time, angles)[static_cast<std::size_t>(axis)];
    const double each = std::sqrt(static_cast<double>(left));
    double most = kMostDegrees;
    for (const std::size_t below : source.nearest) {
        const double allowed = kUsed * limb.share * limb.turnShare[time] * Bound(below, time);
        const YgeVector arm = Arm(joint, below, time, turned);
        const YgeVector way = Scaled(Cross(about, arm), kRadians);
        const double lever = std::max(Length(way), tiny);
        const YgeVector off =
            Difference(mMotion.joints[below].places[time].origin, Sum(turned.origin, 1.0, arm));
        const double along = std::abs(Dot(off, way)) / lever;
        const double across = std::max(Dot(off, off) - along * along, 0.0);
        const double rest = std::sqrt(std::max(allowed * allowed - across, 0.0)) - along;
        most = std::min(most, std::max(rest, kLeastShare * allowed) / each / lever);
    }
    for (const std::size_t below : source.farther) {
        const double lever = Length(Cross(about, Arm(joint, below, time, turned))) * kRadians;
        const double allowed = limb.share * mTolerance / kFartherWeight;
        most = std::min(most, allowed / std::sqrt(3.0) / std::max(lever, tiny));
    }
    // A joint without others below turns as if it moved the end of a bone of usual length.
    if (source.nearest.empty()) most = std::min(most, mTolerance / (0.1 * mMotion.height * kRadians));
    return most;
}

/// Lowers tolerances where values bend so much that there is a key at nearly every frame. Joints are fitted at frames,
/// so that those below do not make up for what is off between frames, and these errors add up along the chain.
void ChainFit::FollowBends(ValuesToFollow& wanted) const
{
    constexpr double bent = 0.5;
    constexpr double least = 0.3;
    std::vector<double> factors(wanted.values.size(), 1.0);
    const std::size_t last = wanted.values.size() - 1;
    for (std::size_t t = 0; t <= last; t += 2) {
        const std::size_t at = std::clamp<std::size_t>(t, 2, last - 2);
        const double bend =
            std::abs(wanted.values[at - 2] - 2.0 * wanted.values[at] + wanted.values[at + 2]) / 8.0;
        const double share = bend / wanted.tolerances[t];
        if (share > bent) factors[t] = std::max(least, bent / share);
    }
    for (std::size_t t = 0; t <= last; t += 2) {
        const double before = t >= 2 ? factors[t - 2] : 1.0;
        const double behind = t + 2 <= last ? factors[t + 2] : 1.0;
        wanted.tolerances[t] *= std::min({before, factors[t], behind});
    }
}

/// Fills in the times half-way between frames: the difference from the source is the mean of those at the frames beside
/// it, and the tolerance the smaller one of theirs.
void ChainFit::FillBetween(const ChainCurve& curve, ValuesToFollow& wanted) const
{
    for (std::size_t t = 1; t < wanted.values.size(); t += 2) {
        const auto change = [&](std::size_t at) { return wanted.values[at] - curve.source[at]; };
        wanted.values[t] = curve.source[t] + 0.5 * (change(t - 1) + change(t + 1));
        wanted.tolerances[t] = std::min(wanted.tolerances[t - 1], wanted.tolerances[t + 1]);
    }
}

void ChainFit::FitMoves(std::size_t joint)
{
    const ChainJoint& source = mMotion.joints[joint];
    Limb& limb = mLimbs[joint];
    if (source.translation == nullptr) return;
    std::vector<double> used(mMotion.times.Count(), 0.0);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const ChainCurve& curve = source.moves[axis];
        if (!curve.HasKeys()) continue;
        ValuesToFollow wanted{curve.source, std::vector<double>(used.size())};
        for (std::size_t t = 0; t < used.size(); ++t) {
            const double allowed = kUsed * kMoveShare * limb.moveShare[t] * Bound(joint, t);
            const double rest = std::max(allowed * allowed - used[t], 0.01 * allowed * allowed);
            wanted.tolerances[t] = std::sqrt(rest / static_cast<double>(3 - axis));
        }
        FillBetween(curve, wanted);
        FitCurve(wanted, limb.moveKeys[axis], limb.moves[axis]);
        for (std::size_t t = 0; t < used.size(); ++t) {
            const double off = limb.moves[axis][t] - curve.source[t];
            used[t] += off * off;
        }
    }
}

/// Fits the angles one after the other: those that are still free make up for what the fitted ones are off.
void ChainFit::FitTurns(std::size_t joint)
{
    const ChainJoint& source = mMotion.joints[joint];
    Limb& limb = mLimbs[joint];
    if (source.rotation == nullptr) return;
    std::array<bool, 3> isFree{};
    int left = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        isFree[axis] = source.angles[axis].HasKeys() && Changes(source.angles[axis]);
        if (isFree[axis]) ++left;
        if (!isFree[axis]) FitStill(source.angles[axis], limb.angleKeys[axis], limb.angles[axis]);
    }
    std::vector<Angles> angles(mMotion.times.Count());
    for (std::size_t t = 0; t < angles.size(); ++t) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            angles[t][axis] = isFree[axis] ? source.angles[axis].source[t] : limb.angles[axis][t];
        }
    }
    bool isFirst = true;
    for (int place = 0; place < 3; ++place) {
        const int axis = AxisOfOrder(source.order, place);
        const auto at = static_cast<std::size_t>(axis);
        if (!isFree[at]) continue;
        ValuesToFollow wanted{std::vector<double>(angles.size()), std::vector<double>(angles.size(), 1.0)};
        for (std::size_t t = 0; t < angles.size(); t += 2) {
            Solve(joint, t, isFree, angles[t]);
            wanted.values[t] = angles[t][at];
            wanted.tolerances[t] = ToleranceOf(joint, t, axis, angles[t], left);
        }
        FollowBends(wanted);
        FillBetween(source.angles[at], wanted);
        if (std::exchange(isFirst, false)) NoteBefore(joint, angles);
        FitCurve(wanted, limb.angleKeys[at], limb.angles[at]);
        for (std::size_t t = 0; t < angles.size(); ++t) angles[t][at] = limb.angles[at][t];
        isFree[at] = false;
        --left;
    }
}

/// Notes how far the nearest joints are off with the angles that are to be followed, before keys are fitted to these.
/// Half-way between frames, angles differ from the source by the mean of what they do at the frames beside.
void ChainFit::NoteBefore(std::size_t joint, std::vector<Angles>& angles)
{
    const ChainJoint& source = mMotion.joints[joint];
    for (std::size_t t = 0; t < angles.size(); ++t) {
        for (std::size_t axis = 0; t % 2 == 1 && axis < 3; ++axis) {
            const std::vector<double>& values = source.angles[axis].source;
            const auto change = [&](std::size_t at) { return angles[at][axis] - values[at]; };
            angles[t][axis] = values[t] + 0.5 * (change(t - 1) + change(t + 1));
        }
        const Placement turned = Turned(joint, t, angles[t]);
        for (const std::size_t below : source.nearest) {
            const YgeVector here = Sum(turned.origin, 1.0, Arm(joint, below, t, turned));
            mLimbs[below].before[t] = Distance(here, mMotion.joints[below].places[t].origin);
        }
    }
}

// --- What comes of it -----------------------------------------------------------------------------------------------

void ChainFit::Measure()
{
    mWorst = 0.0;
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) {
        for (std::size_t t = 0; t < mMotion.times.Count(); ++t) {
            mWorst = std::max(mWorst, Off(joint, t) / Bound(joint, t));
        }
    }
}

void ChainFit::TightenWhereOff()
{
    std::vector<Limb> changes(mLimbs.size());
    for (Limb& change : changes) {
        change.turnShare.assign(mMotion.times.Count(), 1.0);
        change.moveShare = change.turnShare;
    }
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) {
        for (std::size_t t = 0; t < mMotion.times.Count(); ++t) {
            if (Off(joint, t) > Bound(joint, t)) Tighten(joint, t, changes);
        }
    }
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) {
        for (std::size_t t = 0; t < mMotion.times.Count(); ++t) {
            mLimbs[joint].turnShare[t] *= changes[joint].turnShare[t];
            mLimbs[joint].moveShare[t] *= changes[joint].moveShare[t];
        }
    }
}

/// Lowers the share of what has put a joint too far off at a time: of the joint that moves it, if that one alone can
/// still keep it near enough; otherwise of the joints above that one, the nearer the more.
void ChainFit::Tighten(std::size_t joint, std::size_t time, std::vector<Limb>& changes) const
{
    constexpr double mostBefore = 0.95;
    constexpr double leastShare = 0.05;
    const int mover = mMotion.joints[joint].mover;
    const double bound = Bound(joint, time);
    const double off = Off(joint, time) / bound;
    const double before = mover < 0 ? 1.0 : mLimbs[joint].before[time] / bound;
    int above = static_cast<int>(joint);
    if (mover >= 0) {
        const auto at = static_cast<std::size_t>(mover);
        if (before <= mostBefore && mLimbs[at].turnShare[time] > leastShare) {
            const double factor = (kUsed - before) / std::max(off - before, 0.02);
            Lower(changes[at].turnShare, time, std::clamp(factor, 0.1, 0.9));
            return;
        }
        above = mMotion.joints[at].parent;
        if (mMotion.joints[at].HasMoves()) above = mover;
    }
    const double passedOn = mRound < kGentleRounds ? 0.3 : 0.8;
    double factor = std::clamp(0.8 / std::max(before, mostBefore), 0.3, 0.9);
    if (mRound >= kGentleRounds) factor = std::min(factor, 0.6);
    for (; above >= 0; above = mMotion.joints[static_cast<std::size_t>(above)].parent) {
        const auto at = static_cast<std::size_t>(above);
        // A joint's own turns leave it where it is; what its mover can do has been done.
        const bool movesIt = above != static_cast<int>(joint) && above != mover;
        if (mMotion.joints[at].CountTurns() > 0 && movesIt) {
            Lower(changes[at].turnShare, time, factor);
            factor = 1.0 - (1.0 - factor) * passedOn;
        }
        if (mMotion.joints[at].HasMoves()) Lower(changes[at].moveShare, time, factor);
    }
}

FittedCurves ChainFit::MakeCurves() const
{
    FittedCurves curves;
    const auto take = [&](const YFCurveNode* property, const std::array<ChainCurve, 3>& sources,
                          const std::array<ChainKeys, 3>& keys) {
        if (property == nullptr) return;
        std::array<YFCurvePtr, 3>& made = curves[property];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (!keys[axis].IsEmpty()) made[axis] = keys[axis].MakeCurve(mMotion.times, *sources[axis].curve);
        }
    };
    for (std::size_t joint = 0; joint < mLimbs.size(); ++joint) {
        const ChainJoint& source = mMotion.joints[joint];
        take(source.rotation, source.angles, mLimbs[joint].angleKeys);
        take(source.translation, source.moves, mLimbs[joint].moveKeys);
    }
    return curves;
}

}  // namespace ymotion
