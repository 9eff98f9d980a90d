#include "yfcurve/curve/edit/replace.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"

using yfc::KeyKind;

// Both curves are cut at the ends of the span, and the pieces are joined with the slopes that they had.

namespace {

constexpr YTime kTick(1);

// Whether two values are one but for the rounding of what computed them.
bool SameValue(float a, float b)
{
    return std::abs(a - b) <= 5e-7f * std::max(std::abs(a), std::abs(b));
}

// Degrees that bring `angle` within half a turn of `reference`, in whole turns.
float WholeTurns(float reference, float angle)
{
    return static_cast<float>(360.0 * std::round((static_cast<double>(reference) - angle) / 360.0));
}

}  // namespace

// --- Replacing -----------------------------------------------------------------------------------------

namespace {

// Whether the sum of two times overflows.
bool SumOverflows(YTime a, YTime b)
{
    std::int64_t sum;
    return __builtin_add_overflow(a.Get(), b.Get(), &sum);
}

bool LeavesRange(const YFCurve& source, YTime offset)
{
    const int count = source.KeyGetCount();
    return count > 0 &&
           (SumOverflows(source.KeyGetTime(0), offset) || SumOverflows(source.KeyGetTime(count - 1), offset));
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

}  // namespace

void YFCurveReplace::Apply(YFCurve& curve, const YFCurve& source, Span span)
{
    if (LeavesRange(source, span.offset)) return;
    YFCurve inside(source);
    for (int i = 0; i < inside.mKeyCount; ++i) inside.Key(i).SetTime(inside.Key(i).GetTime() + span.offset);
    // The two ends are cut apart, each in a copy of its own: a span may lie inside one segment.
    YFCurve before(curve);
    YFCurve after(curve);
    const bool openStart = span.start == YTIME_MINUS_INFINITE;
    const bool openStop = span.stop == YTIME_INFINITE;
    // There has to be a tick before the span as well; the last tick of all means infinity.
    if (!ResolveSpan(curve, inside, span) || SumOverflows(span.start, -kTick)) return;
    const YTime start = span.start;
    const YTime stop = span.stop;

    const float turns = span.angles ? WholeTurns(curve.Evaluate(start), inside.Evaluate(start)) : 0.0f;
    inside.mValue += turns;
    for (int i = 0; i < inside.mKeyCount; ++i) inside.Key(i).SetValue(inside.Key(i).GetValue() + turns);
    const float stopTurns = span.angles ? WholeTurns(inside.Evaluate(stop), curve.Evaluate(stop)) : 0.0f;

    bool joinsStart = false;
    bool joinsStop = false;
    if (span.keyAtEnds) {
        inside = WithExtrapolationKeys(inside, start, stop);
        const bool leadsIn = !span.holds && !openStart && HoldsFrom(inside, start, stop);
        const bool leadsOut = !span.holds && !openStop && HoldsUntil(inside, start, stop);
        if (leadsIn) LeadIn(inside, before, start);
        if (leadsOut) LeadOut(inside, after, stop, stopTurns);
        inside.KeyInsert(start);
        inside.KeyInsert(stop);
        joinsStart = !openStart && CutAtStart(before, inside, start);
        joinsStop = !openStop && CutAtStop(after, inside, stop, stopTurns);
    }
    // Where the pieces join, the key is that of the piece which starts there.
    const YFCurvePiece first{&before, 0, openStart ? -1 : yfc::LastKeyUntil(before, start - kTick)};
    const YFCurvePiece middle{&inside,
                              yfc::FirstKeyFrom(inside, start),
                              yfc::LastKeyUntil(inside, joinsStop ? stop - kTick : stop),
                              YTIME_ZERO,
                              0.0f,
                              joinsStart};
    const YFCurvePiece last{
        &after,
        openStop ? after.mKeyCount : yfc::FirstKeyFrom(after, joinsStop ? stop : stop + kTick),
        after.mKeyCount - 1,
        YTIME_ZERO,
        stopTurns,
        joinsStop};

    YFCurveSlopes startSlopes;
    YFCurveSlopes stopSlopes;
    if (joinsStart) startSlopes = YFCurveShape::SlopesAt(inside, inside.KeyInsert(start));
    if (joinsStart) startSlopes.left = before.KeyGetLeftDerivative(before.KeyInsert(start));
    if (joinsStop) stopSlopes = YFCurveShape::SlopesAt(after, last.first);
    if (joinsStop) stopSlopes.left = inside.KeyGetLeftDerivative(inside.KeyInsert(stop));
    const int startKey = first.last + 1;
    const int stopKey = startKey + std::max(middle.last - middle.first + 1, 0);
    if (startKey == stopKey) stopSlopes.left = startSlopes.left;

    YFCurveDraft draft(curve, false);
    YFCurve& replaced = draft.Get();
    YFCurvePieces::Assemble(replaced, {first, middle, last}, span.keyAtEnds);
    if (joinsStart && startKey < stopKey) YFCurveShape::Hold(replaced, startKey, startSlopes);
    if (joinsStop) YFCurveShape::Hold(replaced, stopKey, stopSlopes);
    draft.Commit();
}

// Makes infinite ends times of keys, and narrows the span to the source's keys unless it is exact. False
// when nothing is left.
bool YFCurveReplace::ResolveSpan(const YFCurve& target, const YFCurve& source, Span& span)
{
    YTime first = YTIME_INFINITE;
    YTime last = YTIME_MINUS_INFINITE;
    for (const YFCurve* curve : {&target, &source}) {
        if (curve->mKeyCount == 0) continue;
        first = std::min(first, curve->KeyGetTime(0));
        last = std::max(last, curve->KeyGetTime(curve->mKeyCount - 1));
    }
    if (span.start == YTIME_MINUS_INFINITE) span.start = std::min(first, span.stop);
    if (span.stop == YTIME_INFINITE) span.stop = std::max(last, span.start);
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
    const int key = outside.KeyInsert(time - kTick);
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
    outside.KeyInsert(time + kTick);
    const int key = inside.KeyInsert(time);
    if (carriesSlope) {
        MakeBearing(inside, key);
    } else {
        MakeJump(inside, key);
    }
    return false;
}
