#include "yfcurve/yfcurvefilterunroll.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/filters/rotation/eulertriples.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterkeysync.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

constexpr int kNoKey = 0;
constexpr int kNoRotation = 2;
constexpr int kUnexpected = 3;
constexpr const char* kMessages[] = {"No key", "Left unchanged", "Need rotation curvenode", "Unexepected"};
constexpr const char* kNoKeyText = "Unroll Filter, No key to be filtered.";
constexpr const char* kNoRotationText = "Unroll Filter, Works only on rotation CurveNodes.";

bool EveryAngleHasCurve(const YFCurveNode& node)
{
    for (const char* name : {"X", "Y", "Z"}) {
        const YFCurveNode* child = node.FindRecursive(name);
        if (child != nullptr && child->FCurveGet() == nullptr) return false;
    }
    return true;
}

// The key at a time or before it, 0 before the first one, -1 without keys.
int KeyBefore(const YFCurve& curve, YTime time)
{
    return static_cast<int>(curve.KeyFind(time));
}

// The value at the time of a key of another curve.
double ValueAt(const YFCurve& curve, YTime time)
{
    const double position = curve.KeyFind(time);
    const bool onKey = position >= 0.0 && position == std::floor(position);
    return onKey ? curve.KeyGetValue(static_cast<int>(position)) : curve.Evaluate(time);
}

}  // namespace

YClassDefinition& YFCurveFilterUnroll::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterUnroll::mQualityTolerance, &YFCURVE_GetRotationFilterUnrollQuality>(
            "QualityTolerance",
            {.minimum = 0.0, .help = "least quality of a step whose end is a reference, with TestForPath"}),
        YPropertyOf<&YFCurveFilterUnroll::mTestForPath, &YFCURVE_GetRotationFilterUnrollTestForPath>(
            "TestForPath", {.help = "whether steps of poor quality do not lead the keys after them"}),
        YPropertyOf<&YFCurveFilterUnroll::mRotationOrder>("RotationOrder", 0, yfc::kRotationOrderOptions),
    };
    static constinit YClassDefinition definition("YFCurveFilterUnroll", &YFCurveFilter::StaticClass,
                                                 {.summary = "takes full turns and flips out of a rotation",
                                                  .worksOn = "whole rotations",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterUnroll>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterUnroll::YFCurveFilterUnroll() : YFCurveFilterOf("Unroll Filter", kMessages, 4)
{
    Reset();
}

double YFCurveFilterUnroll::InterpolationQualityFactor(const YgeRVector& a, const YgeRVector& b) const
{
    return yfc::InterpolationQuality(a, b, static_cast<eRotationOrder>(mRotationOrder));
}

bool YFCurveFilterUnroll::Apply(YFCurve&)
{
    return DoesNotApply(kNoRotation, kNoRotationText);
}

bool YFCurveFilterUnroll::FilterCurves(YFCurve** curves, int count)
{
    if (count == 3) return yfc::ApplyToCurves(*this, curves, mRotationOrder);
    return DoesNotApply(kNoRotation, kNoRotationText);
}

bool YFCurveFilterUnroll::FilterNode(YFCurveNode& node, bool)
{
    if (!node.IsRotationLayerType() || !EveryAngleHasCurve(node))
        return DoesNotApply(kNoRotation, kNoRotationText);
    mRotationOrder = node.GetRotationOrder();
    return yfc::Guarded([&] { return DoUnroll(node); });
}

bool YFCurveFilterUnroll::DoUnroll(YFCurveNode& node)
{
    if (!node.IsRotationLayerType() || !yfc::FindRotationCurves(node))
        return DoesNotApply(kNoRotation, kNoRotationText);
    if (yfc::IsRotationLocked(node)) return Locked();
    if (node.KeyGetCount() == 0) return NothingToDo(kNoKey, kNoKeyText);
    if (yfc::IsQuaternionRotation(node)) {
        if (yfc::GoesOnAmongKeys(node, GetStartTime(), GetStopTime()))
            return Refuse(kUnexpected, yfc::kGoesOnText);
        return UnrollTurns(node);
    }
    const YFCurveNodePtr work(node.SingleLayerCopy());
    if (!work) return Refuse(kUnexpected);
    const YTime start = std::max(node.GetFirstKeyTime(), GetStartTime());
    const YTime stop = std::min(node.GetLastKeyTime(), GetStopTime());
    yfc::RotationCurves curves = *yfc::FindRotationCurves(*work);
    YFCurveFilterKeySync synchroniser;
    synchroniser.SetStartTime(GetStartTime());
    synchroniser.SetStopTime(GetStopTime());
    if (synchroniser.NeedApply(curves.data(), 3)) synchroniser.Apply(curves.data(), 3);
    yfc::CompleteKeys(curves, GetStartTime(), GetStopTime());

    const int keyCount = UnrollKeys(curves, start, stop);
    if (keyCount < 0) return NothingToDo(kNoKey, kNoKeyText);
    if (keyCount <= 1) return Untouched();
    if (node.Replace(work.get(), GetStartTime(), GetStopTime(), false, true)) return true;
    return Refuse(kUnexpected);
}

// The span from its first key on, as a key ahead of it that was unrolled would leave the span.
bool YFCurveFilterUnroll::UnrollTurns(YFCurveNode& node)
{
    std::array<YFCurve, 3> turns = yfc::SynchronizedTurns(node);
    const int first = yfc::FirstKeyFrom(turns[0], GetStartTime());
    const int last = yfc::LastKeyUntil(turns[0], GetStopTime());
    if (first >= last) return Untouched();
    UnrollKeys({&turns[0], &turns[1], &turns[2]}, turns[0].KeyGetTime(first), turns[0].KeyGetTime(last));
    const yfc::RotationCurves curves = *yfc::FindRotationCurves(node);
    for (std::size_t axis = 0; axis < curves.size(); ++axis) curves[axis]->CopyFrom(turns[axis]);
    return true;
}

// \return  how many keys the span reaches, -1 where there is a curve without keys. Outside the span curves may
// have different keys, so each counts its own, from a time at which all of them have one.
int YFCurveFilterUnroll::UnrollKeys(const std::array<YFCurve*, 3>& curves, YTime start, YTime stop) const
{
    const auto order = static_cast<eRotationOrder>(mRotationOrder);
    int first[3];
    bool startAlike = true;
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve& curve = *curves[static_cast<std::size_t>(axis)];
        first[axis] = KeyBefore(curve, start);
        if (first[axis] < 0) return -1;
        startAlike = startAlike && curve.KeyGetTime(first[axis]) == curves[0]->KeyGetTime(first[0]);
    }
    if (!startAlike) {
        for (int axis = 0; axis < 3; ++axis)
            first[axis] = yfc::FirstKeyFrom(*curves[static_cast<std::size_t>(axis)], start);
    }
    const int firstX = first[0];
    const int keyCount = std::max(0, KeyBefore(*curves[0], stop) - firstX + 1);
    int reachable = keyCount;
    for (int axis = 0; axis < 3; ++axis)
        reachable = std::min(reachable, curves[static_cast<std::size_t>(axis)]->KeyGetCount() - first[axis]);
    YgeRVector reference;
    for (int axis = 0; firstX > 0 && axis < 3; ++axis) {
        reference[axis] = ValueAt(*curves[static_cast<std::size_t>(axis)], curves[0]->KeyGetTime(firstX - 1));
    }
    const YFCurveModify modifyX(*curves[0]);
    const YFCurveModify modifyY(*curves[1]);
    const YFCurveModify modifyZ(*curves[2]);
    for (int key = 0; key < reachable; ++key) {
        const YgeRVector angles(curves[0]->KeyGetValue(first[0] + key),
                                curves[1]->KeyGetValue(first[1] + key),
                                curves[2]->KeyGetValue(first[2] + key));
        const YgeRVector unrolled = V2VRef(angles, reference, order);
        for (int axis = 0; axis < 3; ++axis) {
            curves[static_cast<std::size_t>(axis)]->KeySetValue(first[axis] + key,
                                                                static_cast<float>(unrolled[axis]));
        }
        const bool astray =
            mTestForPath && InterpolationQualityFactor(reference, unrolled) < mQualityTolerance;
        if (!astray) reference = unrolled;
    }
    return keyCount;
}
