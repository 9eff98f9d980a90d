// Moving, stretching and setting the keys that a manipulation has taken up.

#include <cmath>

#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/manipulator/manipulation.h"
#include "yfcurve/manipulator/try.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace {

bool IsFinite(const yfc::KeyChange& change)
{
    return std::isfinite(change.timeFactor) && std::isfinite(change.valueFactor) &&
           std::isfinite(change.valuePivot) && std::isfinite(change.valueShift) &&
           !change.timePivot.IsInfinite() && !change.timeShift.IsInfinite();
}

// The nearest of several offsets to a wanted one.
struct Snap
{
    double wanted;
    double tolerance;
    double nearest = 0.0;
    bool found = false;

    void Offer(double offset)
    {
        const double distance = std::abs(offset - wanted);
        if (!(distance <= tolerance) || (found && distance >= std::abs(nearest - wanted))) return;
        nearest = offset;
        found = true;
    }
};

}  // namespace

// The change replaces the one before: everything is computed from the keys as they were at the beginning.
void YFCurveManipulator::Apply(const yfc::KeyChange& change)
{
    if (!mManipulation || !IsFinite(change)) return;
    const auto manipulation = mManipulation;  // a listener may end it
    const bool applied = Try([&] {
        const yfc::AttributeReserve reserve(manipulation->MakeRoom());
        manipulation->Apply(change);
    });
    if (!applied) return;
    if (YFCurveNode* followed = manipulation->GetFollowedNode()) {
        mLastSelectedIndex = manipulation->GetFollowedIndex();
        if (mLastSelectedIndex >= 0) {
            mLastSelectedNode = followed;
        } else {
            mLastSelectedNode.Reset();
        }
    }
    FrameSelection();
}

void YFCurveManipulator::Offset(YTime time, double value)
{
    yfc::KeyChange change;
    change.timeShift = time;
    change.valueShift = value;
    change.rippleX = mRippleMoveX;
    change.rippleY = mRippleMoveY || mRippleAllY;
    change.rippleAllY = mRippleAllY;
    Apply(change);
}

void YFCurveManipulator::OffsetX(YTime time)
{
    Offset(time, 0.0);
}
void YFCurveManipulator::OffsetY(double value)
{
    Offset(YTIME_ZERO, value);
}

void YFCurveManipulator::StretchXY(double timeFactor, double valueFactor, YTime timePivot, double valuePivot)
{
    yfc::KeyChange change;
    change.timeFactor = timeFactor;
    change.timePivot = timePivot;
    change.valueFactor = valueFactor;
    change.valuePivot = valuePivot;
    change.rippleX = mRippleStretchX;
    change.rippleY = mRippleStretchY || mRippleAllY;
    change.rippleAllY = mRippleAllY;
    Apply(change);
}

void YFCurveManipulator::StretchX(double factor, YTime pivot)
{
    StretchXY(factor, 1.0, pivot, 0.0);
}
void YFCurveManipulator::StretchY(double factor, double pivot)
{
    StretchXY(1.0, factor, YTIME_ZERO, pivot);
}
void YFCurveManipulator::ScaleY(double factor)
{
    StretchY(factor, mParameter);
}

void YFCurveManipulator::SetY(double value)
{
    yfc::KeyChange change;
    change.setsValue = true;
    change.valueShift = value;
    Apply(change);
}

bool YFCurveManipulator::AdjustYOffsetToSnapOnNeighbor(double& offset, double tolerance) const
{
    if (!mManipulation) return false;
    Snap snap{offset, tolerance};
    for (const yfc::ManipulatedNode& manipulated : mManipulation->GetNodes()) {
        if (!manipulated.node) continue;
        const yfc::KeySnapshotSet& all = *manipulated.all;
        for (int k = 1; k < all.GetCount(); ++k) {
            if (all[k].marked == all[k - 1].marked) continue;
            const double step = all[k].value - all[k - 1].value;
            snap.Offer(all[k].marked ? -step : step);
        }
    }
    if (snap.found) offset = snap.nearest;
    return snap.found;
}
