#include "yfcurve/curve/edit/replace.h"

#include <algorithm>
#include <cmath>

#include "ybaselib/rotation/turns.h"
#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/ticks.h"

using yfc::KeyKind;

// Both curves are cut at the ends of the span, and the pieces are joined with the slopes that they had. They
// are copied for that, which is most of what resampling costs beside evaluating each sample once.

namespace {

// Whether two values are one but for the rounding of what computed them.
bool SameValue(float a, float b)
{
    return std::abs(a - b) <= 5e-7f * std::max(std::abs(a), std::abs(b));
}

float WholeTurns(float angle, float reference)
{
    return static_cast<float>(ybase::WholeTurns(static_cast<double>(angle), static_cast<double>(reference)));
}

}  // namespace

// --- Replacing -----------------------------------------------------------------------------------------

namespace {

// Whether the sum of two times overflows.
bool LeavesRange(const YFCurve& source, YTime offset)
{
    const int count = source.KeyGetCount();
    return count > 0 && (yfc::SumOverflows(source.KeyGetTime(0), offset) ||
                         yfc::SumOverflows(source.KeyGetTime(count - 1), offset));
}

// Makes a key the start of a jump: a straight segment, which shapes neither of its ends.
void MakeJump(YFCurve& curve, int index)
{
    const YFCurveSlopes slopes = YFCurveShape::SlopesAt(curve, index);
    curve.KeySetInterpolation(index, YFCURVE_INTERP_LINEAR);
    YFCurveShape::Hold(curve, index, slopes);
}

// Makes a key the end of what an extrapolation carries on: a cubic key with its slopes in store.
void MakeBearing(YFCurve& curve, int index)
{
    const YFCurveSlopes slopes = YFCurveShape::SlopesAt(curve, index);
    curve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
    YFCurveShape::TurnToUser(curve, index, slopes);
}

// The slopes at a time where one curve goes over into another; both get a key there.
YFCurveSlopes SlopesAcross(YFCurve& before, YFCurve& after, YTime time)
{
    YFCurveSlopes slopes = YFCurveShape::SlopesAt(after, after.KeyInsert(time));
    slopes.left = before.KeyGetLeftDerivative(before.KeyInsert(time));
    return slopes;
}

}  // namespace

// The two ends are cut apart, each in a copy of its own: a span may lie inside one segment.
struct YFCurveReplace::Parts
{
    Parts(const YFCurve& curve, const YFCurve& source, const Span& span)
        : before(curve),
          inside(source),
          after(curve),
          openStart(span.start == YTIME_MINUS_INFINITE),
          openStop(span.stop == YTIME_INFINITE)
    {
        for (int i = 0; i < inside.mKeyCount; ++i)
            inside.Key(i).SetTime(inside.Key(i).GetTime() + span.offset);
    }

    YFCurve before;
    YFCurve inside;
    YFCurve after;
    const bool openStart;
    const bool openStop;
    YTime start;
    YTime stop;
    float stopTurns = 0.0f;   // what the values behind the span are raised by
    bool joinsStart = false;  // whether the parts meet in one key there
    bool joinsStop = false;
};

void YFCurveReplace::Apply(YFCurve& curve, const YFCurve& source, Span span)
{
    if (LeavesRange(source, span.offset)) return;
    Parts parts(curve, source, span);
    // There has to be a tick before the span as well; the last tick of all means infinity.
    if (!ResolveSpan(curve, parts.inside, span) || yfc::SumOverflows(span.start, -YTIME_ONE_TICK)) return;
    parts.start = span.start;
    parts.stop = span.stop;
    Turn(parts, curve, span.angles);
    if (span.keyAtEnds) CutEnds(parts, span.holds);
    Assemble(curve, parts, span.keyAtEnds);
}

// Brings angles within half a turn of those that they follow.
void YFCurveReplace::Turn(Parts& parts, const YFCurve& curve, bool angles)
{
    YFCurve& inside = parts.inside;
    const float turns = angles ? WholeTurns(inside.Evaluate(parts.start), curve.Evaluate(parts.start)) : 0.0f;
    inside.mValue += turns;
    for (int i = 0; i < inside.mKeyCount; ++i) inside.Key(i).SetValue(inside.Key(i).GetValue() + turns);
    if (angles) parts.stopTurns = WholeTurns(curve.Evaluate(parts.stop), inside.Evaluate(parts.stop));
}

void YFCurveReplace::CutEnds(Parts& parts, bool holds)
{
    YFCurve& inside = parts.inside;
    inside = WithExtrapolationKeys(inside, parts.start, parts.stop);
    const bool leadsIn = !holds && !parts.openStart && HoldsFrom(inside, parts.start, parts.stop);
    const bool leadsOut = !holds && !parts.openStop && HoldsUntil(inside, parts.start, parts.stop);
    if (leadsIn) LeadIn(inside, parts.before, parts.start);
    if (leadsOut) LeadOut(inside, parts.after, parts.stop, parts.stopTurns);
    inside.KeyInsert(parts.start);
    inside.KeyInsert(parts.stop);
    parts.joinsStart = !parts.openStart && CutAtStart(parts.before, inside, parts.start);
    parts.joinsStop = !parts.openStop && CutAtStop(parts.after, inside, parts.stop, parts.stopTurns);
}

// Where the parts join, the key is that of the part which starts there.
void YFCurveReplace::Assemble(YFCurve& curve, Parts& parts, bool holdSlopes)
{
    const auto& [before, inside, after, openStart, openStop, start, stop, stopTurns, joinsStart, joinsStop] =
        parts;
    const int lastBefore = openStart ? -1 : yfc::LastKeyUntil(before, start - YTIME_ONE_TICK);
    const int lastInside = yfc::LastKeyUntil(inside, joinsStop ? stop - YTIME_ONE_TICK : stop);
    const int firstAfter =
        openStop ? after.mKeyCount : yfc::FirstKeyFrom(after, joinsStop ? stop : stop + YTIME_ONE_TICK);
    const YFCurvePiece first{&before, 0, lastBefore};
    const YFCurvePiece middle{&inside,   yfc::FirstKeyFrom(inside, start), lastInside, YTIME_ZERO, 0.0f,
                              joinsStart};
    const YFCurvePiece last{&after, firstAfter, after.mKeyCount - 1, YTIME_ZERO, stopTurns, joinsStop};

    YFCurveSlopes startSlopes;
    YFCurveSlopes stopSlopes;
    if (joinsStart) startSlopes = SlopesAcross(parts.before, parts.inside, start);
    if (joinsStop) stopSlopes = SlopesAcross(parts.inside, parts.after, stop);
    const int startKey = lastBefore + 1;
    const int stopKey = startKey + std::max(middle.last - middle.first + 1, 0);
    if (startKey == stopKey) stopSlopes.left = startSlopes.left;

    YFCurveDraft draft(curve, false);
    YFCurve& replaced = draft.Get();
    YFCurvePieces::Assemble(replaced, {first, middle, last}, holdSlopes);
    if (joinsStart && startKey < stopKey) YFCurveShape::Hold(replaced, startKey, startSlopes);
    if (joinsStop) YFCurveShape::Hold(replaced, stopKey, stopSlopes);
    draft.Commit();
}

// Makes infinite ends times of keys, and narrows the span to the source's keys unless it is exact. False
// when nothing is left.
bool YFCurveReplace::ResolveSpan(const YFCurve& target, const YFCurve& source, Span& span)
{
    const yfc::OuterKeys keys({&target, &source});
    if (span.start == YTIME_MINUS_INFINITE) span.start = std::min(keys.first, span.stop);
    if (span.stop == YTIME_INFINITE) span.stop = std::max(keys.last, span.start);
    if (span.start > span.stop || span.start.IsInfinite() || span.stop.IsInfinite()) return false;
    if (span.exact) return true;
    const int from = yfc::FirstKeyFrom(source, span.start);
    const int to = yfc::LastKeyUntil(source, span.stop);
    if (from > to) return false;
    span.start = source.KeyGetTime(from);
    span.stop = source.KeyGetTime(to);
    return true;
}

// Whether the first (or the last) key of a source that was spelled out stands inside the span and nothing but
// its value is shown between there and the end of the span.
bool YFCurveReplace::HoldsFrom(const YFCurve& source, YTime start, YTime stop)
{
    if (source.mKeyCount == 0) return false;
    const bool goesOn = source.mKeyCount > 1 && source.mPreExtrapolation == YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
    return !goesOn && source.KeyGetTime(0) > start && source.KeyGetTime(0) <= stop;
}

bool YFCurveReplace::HoldsUntil(const YFCurve& source, YTime start, YTime stop)
{
    if (source.mKeyCount == 0) return false;
    const YTime last = source.KeyGetTime(source.mKeyCount - 1);
    const bool goesOn = source.mKeyCount > 1 && source.mPostExtrapolation == YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
    return !goesOn && last < stop && last >= start;
}

// Gives the source a key where the curve before it ends, from which one segment runs to its first key: with
// the slope of what is kept at the one end, and straight through a key that stores its slopes at the other.
// Auto and TCB keys follow their new neighbour.
void YFCurveReplace::LeadIn(YFCurve& inside, const YFCurve& outside, YTime start)
{
    const bool keepsKeys = outside.mKeyCount > 0 && outside.KeyGetTime(0) < start;
    const float slope =
        keepsKeys ? outside.EvaluateLeftDerivative(start) : outside.EvaluateRightDerivative(start);
    const float ownSide =
        KeyKind(inside, 0).IsUser() ? inside.KeyGetRightDerivative(0) : -inside.KeyGetRightAuto(0);
    YFCurveKey key;
    key.Set(start, outside.Evaluate(start), inside.KeyGetInterpolation(0), YFCURVE_TANGENT_USER, slope,
            KeyKind(inside, 0).IsCubic() ? ownSide : 0.0f);
    inside.KeyAdd(start, key);
}

void YFCurveReplace::LeadOut(YFCurve& inside, const YFCurve& outside, YTime stop, float shift)
{
    const int last = inside.mKeyCount - 1;
    const bool keepsKeys = outside.mKeyCount > 0 && outside.KeyGetTime(outside.mKeyCount - 1) > stop;
    const float slope =
        keepsKeys ? outside.EvaluateRightDerivative(stop) : outside.EvaluateLeftDerivative(stop);
    // The right side of the last key was never shown: it goes straight on from the left one, unweighted.
    if (KeyKind(inside, last).IsUser()) {
        inside.KeySetDataFloat(last, YFCURVEKEY_RIGHT_DERIVATIVE, inside.KeyGetLeftDerivative(last));
        inside.KeySetTangeantWeightMode(last, YFCURVE_WEIGHT_NONE);
    } else if (KeyKind(inside, last).IsAuto()) {
        if (last > 0 && KeyKind(inside, last - 1).IsCubic())
            inside.KeySetRightAuto(last, -inside.KeyGetLeftAuto(last));
        inside.KeySetTangeantWeightMode(last, YFCURVE_WEIGHT_NONE);
    }
    YFCurveKey key;
    key.Set(stop, outside.Evaluate(stop) + shift, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, slope);
    YFCurveShape::Hold(inside, inside.KeyAdd(stop, key), {slope, slope});
}

// Cut the outer curve for a span that starts (or stops) at `time`. True when both curves meet there: the
// outer one then has a key at the time. Else they are kept apart by one tick, in which nothing shows; so
// they are where the outer curve has no key beyond and an extrapolation that takes its slope from there.
bool YFCurveReplace::CutAtStart(YFCurve& outside, YFCurve& inside, YTime time)
{
    const bool hasKeys = outside.mKeyCount > 0 && outside.KeyGetTime(0) < time;
    const bool carriesSlope = !hasKeys && outside.mPreExtrapolation != YFCURVE_EXTRAPOLATION_CONST;
    if (!carriesSlope && SameValue(outside.Evaluate(time), inside.Evaluate(time))) {
        outside.KeyInsert(time);
        return true;
    }
    const int key = outside.KeyInsert(time - YTIME_ONE_TICK);
    if (carriesSlope) {
        MakeBearing(outside, key);
    } else {
        MakeJump(outside, key);
    }
    return false;
}

bool YFCurveReplace::CutAtStop(YFCurve& outside, YFCurve& inside, YTime time, float shift)
{
    const bool hasKeys = outside.mKeyCount > 0 && outside.KeyGetTime(outside.mKeyCount - 1) > time;
    const bool carriesSlope = !hasKeys && outside.mPostExtrapolation != YFCURVE_EXTRAPOLATION_CONST;
    if (!carriesSlope && SameValue(outside.Evaluate(time) + shift, inside.Evaluate(time))) {
        outside.KeyInsert(time);
        return true;
    }
    outside.KeyInsert(time + YTIME_ONE_TICK);
    const int key = inside.KeyInsert(time);
    if (carriesSlope) {
        MakeBearing(inside, key);
    } else {
        MakeJump(inside, key);
    }
    return false;
}
