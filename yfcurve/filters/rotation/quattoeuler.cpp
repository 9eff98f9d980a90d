// The angles of an even turn (Shoemake, "Animating Rotation with Quaternion Curves", 1985) are smooth but at
// the poles, so a cubic with their values and slopes at both ends follows them to the fourth order (Hermite
// interpolation); where it does not follow well enough, a stretch is halved.

#include <algorithm>

#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kNoKey = 0;
constexpr int kNotQuaternion = 2;
constexpr const char* kMessages[] = {"No key", "Left unchanged", "Not a quaternion Node"};
constexpr const char* kNoKeyText = "Quaternion To Euler, No key to be filtered.";
constexpr const char* kNotQuaternionText = "Quaternion To Euler, Not a quaternion Node.";

using ConstCurves = std::array<const YFCurve*, 3>;

// A key that the curves are to have.
struct Knot
{
    YTime time;
    YgeRVector angles;
    YgeRVector leftSlopes;  // per second
    YgeRVector rightSlopes;
    bool movesBefore = false;  // the slopes count
    bool movesAfter = false;
};

YgeRVector AnglesAt(const ConstCurves& curves, YTime time)
{
    return {curves[0]->Evaluate(time), curves[1]->Evaluate(time), curves[2]->Evaluate(time)};
}

// The turn between two times of keys.
struct Turn
{
    YTime start;
    YTime stop;
    YgeQuaternion from;
    YgeQuaternion to;
    eRotationOrder order;

    double FractionOf(YTime time) const { return yfc::Ticks(start, time) / yfc::Ticks(start, stop); }
    YgeQuaternion At(double fraction) const { return Slerp(from, to, fraction); }
    YgeRVector AnglesAt(double fraction, const YgeRVector& reference) const
    {
        return V2VRef(YgeRVector(At(fraction), order), reference, order);
    }
    // Per fraction, on the side of a fraction that `step` points at.
    YgeRVector SlopesAt(double fraction, const YgeRVector& angles, double step) const
    {
        const YgeRVector near = AnglesAt(fraction + step, angles);
        const YgeRVector far = AnglesAt(fraction + 2.0 * step, near);
        YgeRVector slopes;
        for (int axis = 0; axis < 3; ++axis)
            slopes[axis] = (4.0 * near[axis] - far[axis] - 3.0 * angles[axis]) / (2.0 * step);
        return slopes;
    }
};

// A stretch of a turn as cubics of its angles, with slopes per stretch.
struct Piece
{
    YgeRVector from, to, fromSlopes, toSlopes;

    YgeRVector At(double s) const
    {
        YgeRVector angles;
        for (int axis = 0; axis < 3; ++axis) {
            const double rise = to[axis] - from[axis];
            const double curved = (1.0 - s) * (fromSlopes[axis] - rise) - s * (toSlopes[axis] - rise);
            angles[axis] = from[axis] + s * rise + s * (1.0 - s) * curved;
        }
        return angles;
    }
};

class TurnFitter
{
  public:
    /// \param added  counts the knots that are not at the end of a turn.
    TurnFitter(const Turn& turn, double precision, std::vector<Knot>& knots, std::size_t& added)
        : mTurn(turn), mPrecision(precision), mKnots(knots), mAdded(added)
    {}

    /// Adds knots behind the last one, which is the start of the turn, up to its end.
    void Run(const YgeRVector& endAngles)
    {
        mEndAngles = endAngles;
        Fit(mTurn.start, mTurn.stop, 0);
    }

  private:
    void Fit(YTime from, YTime to, int depth)
    {
        const double start = mTurn.FractionOf(from);
        const double length = mTurn.FractionOf(to) - start;
        const YgeRVector fromAngles = mKnots.back().angles;
        const YgeRVector toAngles = to == mTurn.stop ? V2VRef(mEndAngles, fromAngles, mTurn.order)
                                                     : mTurn.AnglesAt(start + length, fromAngles);
        Piece piece = {fromAngles, toAngles, mTurn.SlopesAt(start, fromAngles, 1e-3 * length),
                       mTurn.SlopesAt(start + length, toAngles, -1e-3 * length)};
        Scale(piece.fromSlopes, length);
        Scale(piece.toSlopes, length);
        const double deviation = Deviation(piece, start, length);
        const YTime middle = yfc::Middle(from, to);
        const bool isLeaf = depth == yfc::kLargestDepth || mAdded >= yfc::kLargestKeyCount ||
                            middle == from || !(mPrecision > 0.0);
        if (deviation > mPrecision && !isLeaf) {
            ++mAdded;
            Fit(from, middle, depth + 1);
            Fit(middle, to, depth + 1);
            return;
        }
        // At a pole the angles leave with a jump, and their slopes say nothing.
        Piece straight = piece;
        for (int axis = 0; axis < 3; ++axis)
            straight.fromSlopes[axis] = straight.toSlopes[axis] = toAngles[axis] - fromAngles[axis];
        const bool isStraight = deviation > mPrecision && Deviation(straight, start, length) < deviation;
        Add(isStraight ? straight : piece, from, to);
    }

    static void Scale(YgeRVector& angles, double factor)
    {
        angles = {angles.x * factor, angles.y * factor, angles.z * factor};
    }

    double Deviation(const Piece& piece, double start, double length) const
    {
        double deviation = 0.0;
        for (int i = 1; i < yfc::kProbes; ++i) {
            const double s = static_cast<double>(i) / yfc::kProbes;
            const YgeQuaternion shown(piece.At(s), mTurn.order);
            deviation = std::max(deviation, shown.GetAngleTo(mTurn.At(start + s * length)));
        }
        return deviation;
    }

    void Add(Piece piece, YTime from, YTime to)
    {
        const double perSecond = 1.0 / yfc::SecondsBetween(from, to);
        Scale(piece.fromSlopes, perSecond);
        Scale(piece.toSlopes, perSecond);
        mKnots.back().rightSlopes = piece.fromSlopes;
        mKnots.back().movesAfter = true;
        Knot knot;
        knot.time = to;
        knot.angles = piece.to;
        knot.leftSlopes = piece.toSlopes;
        knot.movesBefore = true;
        mKnots.push_back(knot);
    }

    const Turn mTurn;
    const double mPrecision;
    std::vector<Knot>& mKnots;
    std::size_t& mAdded;
    YgeRVector mEndAngles;
};

std::vector<Knot> KnotsOf(const ConstCurves& curves, eRotationOrder order, const std::vector<YTime>& times,
                          double precision)
{
    std::vector<Knot> knots;
    std::size_t added = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const YgeRVector angles = AnglesAt(curves, times[i]);
        if (i > 0 && !yfc::IsHeldAfter(curves, times[i - 1])) {
            const YgeQuaternion from(AnglesAt(curves, times[i - 1]), order);
            const Turn turn = {times[i - 1], times[i], from, YgeQuaternion(angles, order), order};
            TurnFitter(turn, precision, knots, added).Run(angles);
        } else {
            Knot knot;
            knot.time = times[i];
            knot.angles = i > 0 ? V2VRef(angles, knots.back().angles, order) : angles;
            knots.push_back(knot);
        }
    }
    return knots;
}

// Gives a curve keys at all knots; a new key continues what is there, with its value to be set. The curve is
// put together anew, as single insertions would move its later keys each time.
void AddMissingKeys(YFCurve& curve, const std::vector<Knot>& knots)
{
    const int first = yfc::FirstKeyFrom(curve, knots.front().time);
    const int last = yfc::LastKeyUntil(curve, knots.back().time);
    if (last - first + 1 == static_cast<int>(knots.size())) return;
    YFCurve complete;
    complete.CopyFrom(curve, false);
    {
        const YFCurveModify modify(complete, curve.KeyGetCount() + static_cast<int>(knots.size()));
        YFCurvePieces::Append(complete, {&curve, 0, first - 1});
        int next = first;
        for (const Knot& knot : knots) {
            if (next <= last && curve.KeyGetTime(next) == knot.time) {
                YFCurvePieces::Append(complete, {&curve, next, next});
                ++next;
                continue;
            }
            YFCurveKey key;
            key.SetInterpolation(YFCURVE_INTERP_CONSTANT);
            if (next > 0) key = yfc::ContinuingKey(curve.KeyGet(next - 1), 0.0f);
            complete.KeyAdd(knot.time, key);
        }
        YFCurvePieces::Append(complete, {&curve, last + 1, curve.KeyGetCount() - 1});
    }
    curve.CopyFrom(complete);
}

void WriteKnots(YFCurve& curve, const std::vector<Knot>& knots, int axis)
{
    const YFCurveModify modify(curve, curve.KeyGetCount() + static_cast<int>(knots.size()));
    const int first = yfc::FirstKeyFrom(curve, knots.front().time);
    const int last = yfc::LastKeyUntil(curve, knots.back().time);
    const float leftSlope = first < curve.KeyGetCount() ? curve.KeyGetLeftDerivative(first) : 0.0f;
    const float rightSlope = last >= 0 ? curve.KeyGetRightDerivative(last) : 0.0f;

    AddMissingKeys(curve, knots);
    const int offset = yfc::FirstKeyFrom(curve, knots.front().time);
    for (std::size_t i = 0; i < knots.size(); ++i) {
        const int index = offset + static_cast<int>(i);
        curve.KeySetValue(index, static_cast<float>(knots[i].angles[axis]));
        if (!knots[i].movesAfter) {
            // Where nothing turns, a curve that has no keys on one side holds as it did outside its keys.
            const bool isHeld = i + 1 == knots.size() || yfc::KeyKind(curve, index).IsConstant();
            if (!isHeld) curve.KeySetInterpolation(index, YFCURVE_INTERP_CONSTANT);
            continue;
        }
        curve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
        curve.KeySetTangeantWeightMode(index, YFCURVE_WEIGHT_NONE);
    }
    for (std::size_t i = 0; i < knots.size(); ++i) {
        const Knot& knot = knots[i];
        const int index = offset + static_cast<int>(i);
        if (!knot.movesBefore && !knot.movesAfter) continue;
        const float left = knot.movesBefore ? static_cast<float>(knot.leftSlopes[axis])
                           : i == 0         ? leftSlope
                                            : curve.KeyGetLeftDerivative(index);
        const float right = knot.movesAfter         ? static_cast<float>(knot.rightSlopes[axis])
                            : i + 1 == knots.size() ? rightSlope
                                                    : curve.KeyGetRightDerivative(index);
        YFCurveShape::Hold(curve, index, {left, right});
    }
}

}  // namespace

YClassDefinition& YFCurveFilterQuatToEuler::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterQuatToEuler::mPrecision>("Precision", yfc::kDefaultPrecision,
                                                           yfc::kPrecisionOptions),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterQuatToEuler", &YFCurveFilter::StaticClass,
        {.summary = "makes a rotation that interpolates as quaternions interpolate by angles",
         .worksOn = "whole rotations that turn as quaternions",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterQuatToEuler>,
         .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterQuatToEuler::YFCurveFilterQuatToEuler() : YFCurveFilterOf("Quaternion To Euler", kMessages, 3)
{
    Reset();
}

bool YFCurveFilterQuatToEuler::Apply(YFCurve&)
{
    return DoesNotApply(kNotQuaternion, kNotQuaternionText);
}

bool YFCurveFilterQuatToEuler::FilterCurves(YFCurve**, int)
{
    return DoesNotApply(kNotQuaternion, kNotQuaternionText);
}

bool YFCurveFilterQuatToEuler::FilterNode(YFCurveNode& node, bool)
{
    if (!node.IsRotationLayerType() || !yfc::FindRotationCurves(node) || !node.GetUseQuaternion())
        return DoesNotApply(kNotQuaternion, kNotQuaternionText);
    return yfc::Guarded([&] { return Convert(node); });
}

bool YFCurveFilterQuatToEuler::Convert(YFCurveNode& node)
{
    const std::vector<YFCurveNode*> layers = yfc::RotationLayers(node);
    if (yfc::IsAnyLocked(layers)) return Locked();
    if (node.KeyGetCount(true) == 0) return NothingToDo(kNoKey, kNoKeyText);
    std::vector<std::array<YFCurve, 3>> converted;
    for (const YFCurveNode* layer : layers) {
        const yfc::RotationCurves curves = *yfc::FindRotationCurves(*layer);
        const ConstCurves sources = {curves[0], curves[1], curves[2]};
        std::array<YFCurve, 3>& copies = converted.emplace_back(
            std::array<YFCurve, 3>{YFCurve(*curves[0]), YFCurve(*curves[1]), YFCurve(*curves[2])});
        const std::vector<YTime> times = yfc::KeyTimes(sources, GetStartTime(), GetStopTime());
        if (times.empty()) continue;
        const auto order = static_cast<eRotationOrder>(layer->GetRotationOrder());
        const std::vector<Knot> knots = KnotsOf(sources, order, times, mPrecision);
        for (int axis = 0; axis < 3; ++axis) WriteKnots(copies[static_cast<std::size_t>(axis)], knots, axis);
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
        const yfc::RotationCurves curves = *yfc::FindRotationCurves(*layers[i]);
        for (std::size_t axis = 0; axis < 3; ++axis) curves[axis]->CopyFrom(converted[i][axis]);
    }
    node.SetUseQuaternion(false);
    return true;
}
