#include <algorithm>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/filters/transform/transformnode.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterscale.h"
#include "yfcurve/yfcurvefiltertrs.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

constexpr int kUnexpected = 0;
constexpr const char* kMessages[] = {"Unexpected"};
constexpr const char* kUnexpectedText = "TRS Filter. Unexpected";

constexpr std::array<double, 3> kNothing = {0.0, 0.0, 0.0};
constexpr std::array<double, 3> kFullSize = {1.0, 1.0, 1.0};

// Keys in the span and the value without keys, which is the one that counts where there are none.
template<class Change>
void ChangeValues(const YFCurveFilter& filter, YFCurve& curve, Change change)
{
    const YFCurveModify modify(curve);
    curve.SetValue(change(curve.GetValue()));
    const int stop = filter.GetStopKey(curve);
    for (int i = std::max(filter.GetStartKey(curve), 0); i <= stop; ++i)
        curve.KeySetValue(i, change(curve.KeyGetValue(i)));
}

}  // namespace

YClassDefinition& YFCurveFilterTRS::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterTRS::mT>("T", kNothing, {.help = "where the origin goes", .needed = true}),
        YPropertyOf<&YFCurveFilterTRS::mR>(
            "R", kNothing, {.unit = "degrees", .help = "how the motion is turned", .needed = true}),
        YPropertyOf<&YFCurveFilterTRS::mS>(
            "S", kFullSize, {.help = "how much larger it gets along each axis", .needed = true})};
    static constinit YClassDefinition definition(
        "YFCurveFilterTRS", &YFCurveFilter::StaticClass,
        {.summary = "moves, turns and scales a whole motion",
         .worksOn = "joints with a translation, a rotation or a scaling",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterTRS>,
         .tag = static_cast<int>(eFilterScope::Branch)});
    return definition;
}

YFCurveFilterTRS::YFCurveFilterTRS() : YFCurveFilterOf("TRS Filter", kMessages, 1)
{
    Reset();
}

bool YFCurveFilterTRS::Moves(const YFCurveNode& node)
{
    return !yfc::FindTransform(node).IsEmpty();
}

bool YFCurveFilterTRS::Apply(YFCurve&)
{
    return DoesNotApply(kUnexpected, kUnexpectedText);
}

bool YFCurveFilterTRS::FilterCurves(YFCurve**, int)
{
    return DoesNotApply(kUnexpected, kUnexpectedText);
}

bool YFCurveFilterTRS::FilterNode(YFCurveNode& node, bool recursive)
{
    std::optional<eFilterOutcome> outcome;
    const bool applied = ApplyToTopmost(node, recursive, outcome);
    if (!outcome) return DoesNotApply(kUnexpected, kUnexpectedText);
    SetOutcome(*outcome);
    return applied;
}

// `outcome` is of all that were found, or locked.
bool YFCurveFilterTRS::ApplyToTopmost(YFCurveNode& node, bool recursive,
                                      std::optional<eFilterOutcome>& outcome)
{
    const yfc::TransformNodes transform = yfc::FindTransform(node);
    if (node.IsNodeLocked() || !transform.IsEmpty()) {
        SetOutcome(eFilterOutcome::Changed);
        const bool applied = node.IsNodeLocked() ? Locked() : ApplyToTransform(transform);
        outcome = std::max(outcome.value_or(GetOutcome()), GetOutcome());
        return applied;
    }
    bool applied = false;
    for (int i = 0; recursive && i < node.GetCount(); ++i)
        applied = ApplyToTopmost(*node.Get(i), recursive, outcome) || applied;
    return applied;
}

bool YFCurveFilterTRS::ApplyToTransform(const yfc::TransformNodes& transform)
{
    for (const YFCurveNode* property : transform.All()) {
        if (property != nullptr && yfc::IsRotationLocked(*property)) return Locked();
    }
    const int order = transform.rotation != nullptr ? transform.rotation->GetRotationOrder() : 0;
    bool applied = true;
    if (transform.translation != nullptr) applied = Translate(*transform.translation, order);
    if (transform.rotation != nullptr && mR != kNothing) applied = Rotate(*transform.rotation) && applied;
    if (transform.scaling != nullptr) ScaleAxes(*transform.scaling, kNothing);
    return applied || Refuse(kUnexpected, kUnexpectedText);
}

bool YFCurveFilterTRS::Translate(YFCurveNode& node, int rotationOrder)
{
    if (mR == kNothing) {
        ScaleAxes(node, mT);
        return true;
    }
    const YgeMatrix turn(YgeRVector(mR[0], mR[1], mR[2]), static_cast<eRotationOrder>(rotationOrder));
    return ChangeBySamples(node, [&](const YgeRVector& old, const YgeRVector&) {
        const YgeVector turned = turn * YgeVector{mS[0] * old.x, mS[1] * old.y, mS[2] * old.z};
        return YgeRVector(mT[0] + turned.x, mT[1] + turned.y, mT[2] + turned.z);
    });
}

bool YFCurveFilterTRS::Rotate(YFCurveNode& node)
{
    const auto order = static_cast<eRotationOrder>(node.GetRotationOrder());
    const YgeQuaternion turn(YgeRVector(mR[0], mR[1], mR[2]), order);
    const auto rotate = [&](const YgeRVector& old, const YgeRVector& reference) {
        return V2VRef(YgeRVector(turn * YgeQuaternion(old, order), order), reference, order);
    };
    if (!yfc::IsQuaternionRotation(node)) return ChangeBySamples(node, rotate);
    return yfc::Guarded([&] { return ChangeTurns(node, rotate); });
}

// Even turns between keys stay even when all is turned. The keys a tick outside of the span hold what is
// there.
template<class Change>
bool YFCurveFilterTRS::ChangeTurns(YFCurveNode& node, Change change)
{
    const yfc::AxisCurves curves = yfc::CurvesOf(node);
    YgeRVector rest(curves[0]->GetValue(), curves[1]->GetValue(), curves[2]->GetValue());
    rest = change(rest, rest);
    const auto span = yfc::SpanOfKeys({curves}, GetStartTime(), GetStopTime());
    if (yfc::HasKeys(curves) && !span) return true;
    std::array<YFCurve, 3> turns =
        yfc::SynchronizedTurns(node, span ? yfc::TimesAround(*span) : std::vector<YTime>());
    const int last = span ? yfc::LastKeyUntil(turns[0], span->stop) : -1;
    std::optional<YgeRVector> previous;
    for (int key = span ? yfc::FirstKeyFrom(turns[0], span->start) : 0; key <= last; ++key) {
        const YgeRVector old(turns[0].KeyGetValue(key), turns[1].KeyGetValue(key), turns[2].KeyGetValue(key));
        previous = change(old, previous.value_or(old));
        for (int axis = 0; axis < 3; ++axis)
            turns[static_cast<std::size_t>(axis)].KeySetValue(key, static_cast<float>((*previous)[axis]));
    }
    for (std::size_t axis = 0; axis < curves.size(); ++axis) {
        const YFCurveModify modify(*curves[axis]);
        curves[axis]->CopyFrom(turns[axis]);
        curves[axis]->SetValue(static_cast<float>(rest[static_cast<int>(axis)]));
    }
    return true;
}

// Each axis by itself: S times the values and slopes, plus an offset.
void YFCurveFilterTRS::ScaleAxes(YFCurveNode& node, const std::array<double, 3>& offset)
{
    const yfc::AxisCurves curves = yfc::CurvesOf(node);
    for (std::size_t axis = 0; axis < curves.size(); ++axis) {
        YFCurve& curve = *curves[axis];
        const YFCurveModify modify(curve);
        if (mS[axis] == 0.0 || curve.KeyGetCount() == 0) {
            ChangeValues(*this, curve, [&](float value) { return static_cast<float>(mS[axis] * value); });
        } else {
            YFCurveFilterScale scale;
            scale.SetStartTime(GetStartTime());
            scale.SetStopTime(GetStopTime());
            scale.SetScale(mS[axis]);
            scale.SetApplyTangent(true);
            scale.Apply(curve);
        }
        if (offset[axis] != 0.0) {
            ChangeValues(*this, curve, [&](float value) { return static_cast<float>(value + offset[axis]); });
        }
    }
}

// `change` makes new values of the old ones and of the new ones of the sample before.
template<class Change>
bool YFCurveFilterTRS::ChangeBySamples(YFCurveNode& node, Change change)
{
    const yfc::AxisCurves curves = yfc::CurvesOf(node);
    YgeRVector rest(curves[0]->GetValue(), curves[1]->GetValue(), curves[2]->GetValue());
    rest = change(rest, rest);

    std::vector<YTime> times;
    std::vector<YgeRVector> values;
    std::optional<yfc::KeyedSpan> span;
    if (yfc::HasKeys(curves)) {
        const YTime period = YFCURVE_GetPlotPeriod();
        span = yfc::SpanOfKeys({curves}, GetStartTime(), GetStopTime());
        if (!span) return true;
        if (period <= YTIME_ZERO) return false;
        times = yfc::SampleTimes(*span, {.period = period, .onMultiples = false, .exactEnd = true});
        if (times.empty()) return false;
        int hint = 0;
        for (const YTime time : times) {
            const YgeRVector old = yfc::ValuesAt(curves, time, hint);
            values.push_back(change(old, values.empty() ? old : values.back()));
        }
    }
    for (YFCurve* curve : curves) curve->KeyModifyBegin();
    // A curve without keys shows its value outside of the span.
    if (!times.empty()) yfc::ReplaceBySamples(curves, *span, times, values);
    for (std::size_t axis = 0; axis < curves.size(); ++axis) {
        curves[axis]->SetValue(static_cast<float>(rest[static_cast<int>(axis)]));
        curves[axis]->KeyModifyEnd();
    }
    return true;
}
