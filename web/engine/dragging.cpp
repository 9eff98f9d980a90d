#include "web/engine/dragging.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "ymotion/text/failure.h"

namespace editor {

using ymotion::Failure;

namespace {

const char* NameOf(const DragOptions& options)
{
    if (options.copy) return "Copy keys";
    switch (options.mode) {
        case kManipulationStretchX:
        case kManipulationStretchY:
        case kManipulationStretchXY:
            return "Stretch keys";
        case kManipulationScale:
            return "Scale keys";
        case kManipulationSetValue:
            return "Set values";
        default:
            return "Move keys";
    }
}

void CheckNumbers(std::initializer_list<double> numbers)
{
    for (const double number : numbers)
        if (!std::isfinite(number)) throw Failure("the amount is no number");
}

}  // namespace

Drag::Drag(Document& document, const DragOptions& options)
    : mDocument(document), mSelected(document.SelectedKeys())
{
    if (mSelected.empty()) throw Failure("no key is selected; select some first");
    mManipulator.BeginAddRemoveCurveNode();
    mFirst = YTIME_INFINITE;
    for (const TrackKeys& keys : mSelected) {
        const YFCurve& curve = document.EditableCurve(keys.track);
        mFirst = std::min(mFirst, curve.KeyGetTime(keys.indices.front()));
        mManipulator.Add(document.TrackOf(keys.track).node);
    }
    mManipulator.EndAddRemoveCurveNode();
    document.BeginStep(NameOf(options));  // before keys are marked, which is nothing to come back
    mManipulator.MarkCurveNodeForManip(true, nullptr);
    mManipulator.MarkKeysForManipFromSelection();
    mManipulator.SetRippleMoveX(options.rippleTime);
    mManipulator.SetRippleStretchX(options.rippleTime);
    mManipulator.SetRippleMoveY(options.rippleValue);
    mManipulator.SetRippleStretchY(options.rippleValue);
    mManipulator.SetRippleAllY(options.rippleAllValues);
    mManipulator.BeginManipulation(options.mode, options.copy, options.scaleCentre);
    mIsActive = true;
    document.SetDragging(true);
    if (mManipulator.GetManipulationMode() != kManipulationNone) return;
    Cancel();
    throw std::bad_alloc();
}

Drag::~Drag()
{
    if (mIsActive) Cancel();
}

void Drag::CheckIsActive() const
{
    if (!mIsActive) throw Failure("the keys are not being dragged any more; begin again");
}

void Drag::Offset(YTime time, double value, bool snap)
{
    CheckIsActive();
    CheckNumbers({value});
    if (snap) time = SnappedToFrame(mFirst + time, mDocument.GetScene().rate) - mFirst;
    mManipulator.Offset(time, value);
}

void Drag::Stretch(double timeFactor, double valueFactor, YTime timePivot, double valuePivot)
{
    CheckIsActive();
    CheckNumbers({timeFactor, valueFactor, valuePivot});
    mManipulator.StretchXY(timeFactor, valueFactor, timePivot, valuePivot);
}

void Drag::Scale(double factor)
{
    CheckIsActive();
    CheckNumbers({factor});
    mManipulator.ScaleY(factor);
}

void Drag::SetValue(double value)
{
    CheckIsActive();
    CheckNumbers({value});
    mManipulator.SetY(value);
}

double Drag::SnapValueOffset(double offset, double tolerance) const
{
    CheckIsActive();
    mManipulator.AdjustYOffsetToSnapOnNeighbor(offset, tolerance);
    return offset;
}

KeyRange Drag::Range()
{
    CheckIsActive();
    return SelectionRange(mDocument);
}

void Drag::End()
{
    CheckIsActive();
    const bool isWhole = !mManipulator.HasRunOutOfMemory();
    Close();
    if (!isWhole) {
        mDocument.CancelStep();
        throw std::bad_alloc();
    }
    mDocument.EndStep();
}

void Drag::Cancel()
{
    CheckIsActive();
    Close();
    mDocument.CancelStep();
    SelectAgain(mDocument, mSelected);
}

void Drag::Close()
{
    mManipulator.EndManipulation();
    mManipulator.ClearMarkKeysForManip();
    mIsActive = false;
    mDocument.SetDragging(false);
}

}  // namespace editor
