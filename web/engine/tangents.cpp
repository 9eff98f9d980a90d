#include "web/engine/tangents.h"

#include <algorithm>

#include "ymotion/text/failure.h"

namespace editor {

using ymotion::Failure;

namespace {

/// A shorter handle could not be seen, nor caught again.
constexpr double kLeastWeight = 0.01;

bool HasHandle(const YFCurve& curve, int index, Side side)
{
    const int segment = side == Side::Left ? index - 1 : index;
    return segment >= 0 && segment + 1 < curve.KeyGetCount() &&
           curve.KeyGetInterpolation(segment) == YFCURVE_INTERP_CUBIC;
}

/// Keys, and that of the handle.
std::vector<TrackKeys> With(const TangentHandle& handle, std::vector<TrackKeys> keys)
{
    const auto isTrack = [&](const TrackKeys& each) { return each.track == handle.track; };
    const auto found = std::find_if(keys.begin(), keys.end(), isTrack);
    if (found == keys.end()) {
        keys.push_back({handle.track, {handle.index}});
    } else if (!std::binary_search(found->indices.begin(), found->indices.end(), handle.index)) {
        found->indices.push_back(handle.index);
    }
    return keys;
}

}  // namespace

TangentDrag::TangentDrag(Document& document, const TangentHandle& handle)
    : mDocument(document), mSide(handle.side), mSelected(document.SelectedKeys())
{
    CheckIndices(document.CurveOf(handle.track), {handle.index});
    mHeld = TangentAt(document.CurveOf(handle.track), handle.index);
    for (const TrackKeys& keys : With(handle, mSelected)) Take(keys);
    document.BeginStep("Tangent");
    document.SetDragging(true);
    mIsActive = true;
}

TangentDrag::~TangentDrag()
{
    if (mIsActive) Cancel();
}

TangentDrag::Tangent TangentDrag::TangentAt(const YFCurve& curve, int index) const
{
    const bool isLeft = mSide == Side::Left;
    return {index, double{isLeft ? curve.KeyGetLeftDerivative(index) : curve.KeyGetRightDerivative(index)},
            double{isLeft ? curve.KeyGetLeftTangeantWeight(index) : curve.KeyGetRightTangeantWeight(index)},
            isLeft ? curve.KeyIsLeftTangeantWeighted(index) : curve.KeyIsRightTangeantWeighted(index)};
}

void TangentDrag::Take(const TrackKeys& keys)
{
    const YFCurve& curve = mDocument.EditableCurve(keys.track);
    TrackTangents taken{keys.track, {}};
    for (const int index : keys.indices)
        if (HasHandle(curve, index, mSide)) taken.tangents.push_back(TangentAt(curve, index));
    if (!taken.tangents.empty()) mTracks.push_back(std::move(taken));
}

KeyChange TangentDrag::ChangeOf(const Tangent& tangent, const TangentTarget& target) const
{
    KeyChange change;
    const bool isLeft = mSide == Side::Left;
    if (target.breaks) change.tangent = TangentMode::UserBreak;
    if (target.slope) {
        const auto slope = static_cast<float>(tangent.slope + (*target.slope - mHeld.slope));
        (isLeft ? change.leftSlope : change.rightSlope) = slope;
    }
    if (target.weight && (tangent.isWeighted || target.givesWeights)) {
        const double weight = tangent.weight + (*target.weight - mHeld.weight);
        (isLeft ? change.leftWeight : change.rightWeight) =
            static_cast<float>(std::clamp(weight, kLeastWeight, 1.0));
    }
    return change;
}

void TangentDrag::MoveTo(const TangentTarget& target)
{
    CheckIsActive();
    for (const TrackTangents& each : mTracks) {
        YFCurve& curve = mDocument.CurveOf(each.track);
        const YFCurveModify bracket(curve);
        for (const Tangent& tangent : each.tangents) SetKey(curve, tangent.index, ChangeOf(tangent, target));
    }
}

void TangentDrag::CheckIsActive() const
{
    if (!mIsActive) throw Failure("the tangents are not being dragged any more; begin again");
}

void TangentDrag::End()
{
    CheckIsActive();
    Close();
    mDocument.EndStep();
}

void TangentDrag::Cancel()
{
    CheckIsActive();
    Close();
    mDocument.CancelStep();
    SelectAgain(mDocument, mSelected);
}

void TangentDrag::Close()
{
    mIsActive = false;
    mDocument.SetDragging(false);
}

}  // namespace editor
