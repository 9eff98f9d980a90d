// A rotation evaluated as a whole, by its angles or as quaternions between the times of its keys.

#include <algorithm>

#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/node/layers/evaluationpass.h"

namespace yfc {
namespace {

// The times of keys around a time, of several curves together.
struct KeySpan
{
    YTime start = YTIME_MINUS_INFINITE;
    YTime stop = YTIME_INFINITE;
    bool held = true;  // every curve is constant in it

    bool Encloses(YTime time) const
    {
        return start != YTIME_MINUS_INFINITE && stop != YTIME_INFINITE && start < time;
    }
};

void Narrow(KeySpan& span, const YFCurve& curve, YTime time)
{
    const int before = LastKeyUntil(curve, time);
    const int after = before + 1;
    if (before >= 0) span.start = std::max(span.start, curve.KeyGetTime(before));
    if (after < curve.KeyGetCount()) span.stop = std::min(span.stop, curve.KeyGetTime(after));
    const bool inside = before >= 0 && after < curve.KeyGetCount();
    if (inside && !yfc::KeyKind(curve, before).IsConstant()) span.held = false;
}

KeySpan SpanAround(const YFCurveNode& node, YTime time)
{
    KeySpan span;
    for (int i = 0; i < kRotationComponents; ++i) {
        if (const YFCurve* curve = node.Get(i)->FCurveGet()) Narrow(span, *curve, time);
    }
    return span;
}

bool HoldsCandidateAt(const YFCurveNode& node, YTime time)
{
    for (int i = 0; i < kRotationComponents; ++i) {
        const YFCurve* curve = node.Get(i)->FCurveGet();
        if (curve != nullptr && curve->CandidateGetTime() == time) return true;
    }
    return false;
}

void EvaluateAngles(const YFCurveNode& node, double* values, YTime time, const Pass& pass)
{
    for (int i = 0; i < kRotationComponents; ++i) {
        YFCurve* curve = node.Get(i)->FCurveGet();
        values[i] = curve != nullptr ? EvaluateCurve(*curve, time, pass) : 0.0;
    }
}

YgeRVector AnglesAt(const YFCurveNode& node, YTime time, const Pass& pass)
{
    const HintCopy hint(pass);
    double angles[kRotationComponents];
    EvaluateAngles(node, angles, time, hint.Get());
    return {angles[0], angles[1], angles[2]};
}

void EvaluateQuaternion(const YFCurveNode& node, double* values, YTime time, const KeySpan& span, Pass pass)
{
    pass.candidates = false;
    const auto order = static_cast<eRotationOrder>(node.GetRotationOrder());
    const double fraction = Ticks(span.start, time) / Ticks(span.start, span.stop);
    const YgeRVector angles = TurnedBetween(AnglesAt(node, span.start, pass), AnglesAt(node, span.stop, pass),
                                            fraction, AnglesAt(node, time, pass), order);
    for (int i = 0; i < kRotationComponents; ++i) values[i] = angles[i];
}

}  // namespace

YgeRVector TurnedBetween(const YgeRVector& from, const YgeRVector& to, double fraction,
                         const YgeRVector& reference, eRotationOrder order)
{
    const YgeQuaternion turned = Slerp(YgeQuaternion(from, order), YgeQuaternion(to, order), fraction);
    return V2VRef(YgeRVector(turned, order), reference, order);
}

bool TurnsAt(const YFCurveNode& node, YTime time)
{
    const KeySpan span = SpanAround(node, time);
    return span.Encloses(time) && !span.held;
}

double* EvaluateRotation(const YFCurveNode& node, double* values, YTime time, const Pass& pass)
{
    double* const end = values + kRotationComponents;
    if (node.GetUseQuaternion() && !(pass.candidates && HoldsCandidateAt(node, time))) {
        const KeySpan span = SpanAround(node, time);
        if (span.Encloses(time) && !span.held) {
            EvaluateQuaternion(node, values, time, span, pass);
            return end;
        }
    }
    EvaluateAngles(node, values, time, pass);
    return end;
}

}  // namespace yfc
