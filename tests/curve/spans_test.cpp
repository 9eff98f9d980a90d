// Spans replaced, pasted, copied and deleted.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "random_curve.h"
#include "same_edit.h"

using namespace yfc::test;

namespace {

const YTime kSecond = YTIME_ONE_SECOND;
const YTime kTick = YTime(1);

std::vector<YTime> ProbeTimes(RandomCurves& random, YTime start, YTime stop)
{
    std::vector<YTime> times = {start, stop, start - kTick, stop + kTick};
    for (int i = 0; i < 60; ++i) {
        times.push_back(random.TimeBetween(start, stop));
        times.push_back(random.TimeBetween(start - kSecond * 4, stop + kSecond * 4));
    }
    return times;
}

// What an exchanged span has to show, by its rules.
class PlainReplacement
{
  public:
    PlainReplacement(const YFCurve& old, const YFCurve& source, YTime start, YTime stop, YTime offset)
        : first(start), last(stop), mOld(old), mSource(source), mStart(start), mStop(stop), mOffset(offset)
    {
        const int count = source.KeyGetCount();
        if (count == 0) return;
        const YTime period = source.KeyGetTime(count - 1) - source.KeyGetTime(0);
        const auto reach = [&](unsigned mode, std::uint32_t limit) {
            if (mode == YFCURVE_EXTRAPOLATION_CONST || count == 1) return YTIME_ZERO;
            return std::min(YTime::FromSeconds(100.0), YTime(period.Get() * std::min(limit, 10000u)));
        };
        first = source.KeyGetTime(0) + offset -
                reach(source.GetPreExtrapolation(), source.GetPreExtrapolationCount());
        last = source.KeyGetTime(count - 1) + offset +
               reach(source.GetPostExtrapolation(), source.GetPostExtrapolationCount());
    }

    // Whether an end of the span is shown by neither of the two: there the curve leads from one to the other.
    bool LeadsIn() const { return first > mStart && first <= mStop; }
    bool LeadsOut() const { return last >= mStart && last < mStop; }
    bool IsLead(YTime time) const
    {
        return (LeadsIn() && time > mStart && time < first) || (LeadsOut() && time > last && time < mStop);
    }
    // An auto or TCB key beside such a lead takes its slope from there, so that the segment behind it bends.
    bool Bends(YTime time) const
    {
        const int count = mSource.KeyGetCount();
        const auto follows = [&](int key) {
            const unsigned mode = mSource.KeyGetTangeantMode(key) & ~unsigned{YFCURVE_TANGENT_BREAK};
            return mSource.KeyGetInterpolation(key) == YFCURVE_INTERP_CUBIC && mode != YFCURVE_TANGENT_USER;
        };
        return count > 1 && ((LeadsIn() && follows(0) && time < mSource.KeyGetTime(1) + mOffset) ||
                             (LeadsOut() && (follows(count - 1) || follows(count - 2)) &&
                              time > mSource.KeyGetTime(count - 2) + mOffset));
    }
    float At(YTime time) const
    {
        const bool kept =
            time < mStart || time > mStop || (LeadsIn() && time == mStart) || (LeadsOut() && time == mStop);
        return kept ? mOld.Evaluate(time) : mSource.Evaluate(time - mOffset);
    }

    YTime first;  // from here on the source shows more than the value of its first key, until its last one
    YTime last;

  private:
    const YFCurve& mOld;
    const YFCurve& mSource;
    YTime mStart, mStop, mOffset;
};

// A lead is one segment: the cubic through its ends with the curve's slopes there, a line, or a step. It is
// as smooth where it meets what is kept as that was itself.
void ExpectLead(const YFCurve& curve, const YFCurve& old, YTime from, YTime to, bool isIn)
{
    const YTime seam = isIn ? from : to;
    const bool keeps = old.KeyGetCount() > 0 &&
                       (isIn ? old.KeyGetTime(0) < seam : old.KeyGetTime(old.KeyGetCount() - 1) > seam);
    const int key = static_cast<int>(curve.KeyFind(from));
    const double v0 = curve.Evaluate(from), v1 = curve.Evaluate(to);
    const double slope0 = curve.EvaluateRightDerivative(from), slope1 = curve.EvaluateLeftDerivative(to);
    const double duration = (to - from).GetSecondDouble();
    const unsigned interpolation = curve.KeyGetInterpolation(key);
    for (const double u : {0.1, 0.5, 0.9}) {
        const double h = u * u * (3.0 - 2.0 * u);
        double expected = v0 + u * (v1 - v0);
        if (interpolation == YFCURVE_INTERP_CUBIC)
            expected = v0 + h * (v1 - v0) + duration * u * (1.0 - u) * ((1.0 - u) * slope0 - u * slope1);
        if (interpolation == YFCURVE_INTERP_CONSTANT)
            expected = curve.KeyGetConstantMode(key) == YFCURVE_CONSTANT_NEXT ? v1 : v0;
        const YTime time = from + YTime::FromSeconds(u * duration);
        ASSERT_NEAR(curve.Evaluate(time), expected, 1e-4 * std::max(20.0, std::abs(expected)));
    }
    if (interpolation != YFCURVE_INTERP_CUBIC || !keeps) return;
    const double kept = isIn ? old.EvaluateLeftDerivative(seam) : old.EvaluateRightDerivative(seam);
    ASSERT_NEAR(isIn ? slope0 : slope1, kept, 1e-4 * std::max(20.0, std::abs(kept)));
    // Where the source begins or ends, smoothly unless its key is broken.
    const YTime inner = isIn ? to : from;
    const int end = static_cast<int>(curve.KeyFind(inner));
    const int beside = end - (isIn ? 0 : 1);
    const unsigned mode = curve.KeyGetTangeantMode(end);
    if (mode != YFCURVE_TANGENT_AUTO && mode != YFCURVE_TANGENT_USER) return;
    if (beside < 0 || curve.KeyGetInterpolation(beside) != YFCURVE_INTERP_CUBIC) return;
    const double left = curve.EvaluateLeftDerivative(inner);
    ASSERT_NEAR(curve.EvaluateRightDerivative(inner), left, 1e-4 * std::max(20.0, std::abs(left)));
}

// Every value outside the span is the old one and every value inside it the source's, whatever the curves
// and their extrapolations, spans of a single time and spans inside one segment included; what the source
// leaves open of the span leads from one to the other.
TEST(Replace, ExchangesTheSpanAndNothingElse)
{
    RandomCurves random;
    int leads = 0;
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve, source;
        random.AddKeys(curve, random.Below(6), 0.0);
        // What is cut from weighted segments keeps their shape nearly.
        const bool weighted = round % 8 == 0;
        random.AddKeys(source, random.Below(6), weighted ? 1.0 : 0.0);
        curve.SetValue(2.0f);
        source.SetValue(-3.0f);
        random.SetEndlessExtrapolation(curve);
        random.SetAnyExtrapolation(source);
        const YTime offset = random.Below(2) ? YTime::FromSeconds(random.Between(-2.0, 2.0)) : YTIME_ZERO;
        const YTime start = YTime::FromSeconds(random.Between(-2.0, 8.0));
        const YTime stop = start + YTime::FromSeconds(random.Below(8) ? random.Between(0.0, 6.0) : 0.0);

        const YFCurve old(curve);
        const PlainReplacement plain(old, source, start, stop, offset);
        curve.Replace(source, start, stop, true, true, offset);
        for (int i = 1; i < curve.KeyGetCount(); ++i) ASSERT_LT(curve.KeyGetTime(i - 1), curve.KeyGetTime(i));
        for (const YTime time : ProbeTimes(random, start, stop)) {
            const bool inside = time >= start && time <= stop;
            if (inside && (plain.IsLead(time) || plain.Bends(time))) continue;
            const float expected = plain.At(time);
            ASSERT_NEAR(curve.Evaluate(time), expected,
                        (weighted && inside ? 2e-3 : 1e-5) * std::max(20.0f, std::abs(expected)))
                << (inside ? " inside" : " outside") << " at " << time.GetSecondDouble();
        }
        if (weighted) continue;
        if (plain.LeadsIn()) ExpectLead(curve, old, start, plain.first, true);
        if (plain.LeadsOut()) ExpectLead(curve, old, plain.last, stop, false);
        leads += (plain.LeadsIn() ? 1 : 0) + (plain.LeadsOut() ? 1 : 0);
    }
    EXPECT_GT(leads, 500);
}

void AddRamp(YFCurve& curve, int firstSecond, int count, float value, float rise)
{
    for (int i = 0; i < count; ++i, value += rise)
        curve.KeyAdd(kSecond * (firstSecond + i), MakeKey(value, YFCURVE_INTERP_LINEAR, 0));
}

TEST(Replace, OptionsChangeWhichKeysMove)
{
    YFCurve source;
    AddRamp(source, 3, 3, 100.0f, 1.0f);  // keys at 3, 4, 5 s
    YFCurve curve;
    AddRamp(curve, 0, 10, 0.0f, 1.0f);

    YFCurve plain(curve);
    plain.Replace(source, Sec(2.5), Sec(6.5), true, false);
    EXPECT_EQ(KeySeconds(plain), (std::vector<double>{0, 1, 2, 3, 4, 5, 7, 8, 9}));
    YFCurve narrowed(curve);
    narrowed.Replace(source, Sec(2.5), Sec(6.5), false, true);
    EXPECT_EQ(narrowed.Evaluate(Sec(5.75)), 5.75f) << "beyond the source's last key";
    EXPECT_EQ(narrowed.Evaluate(Sec(5)), 102.0f);
    curve.Replace(curve, Sec(2), Sec(5), true, true);
    EXPECT_EQ(curve.Evaluate(Sec(3.5)), 3.5f) << "a curve replaced by itself";
}

TEST(Replace, AnglesJoinByWholeTurns)
{
    // Two turns ahead of 0 to 90 degrees, and faster: 60 or 150 degrees ahead after 8 s.
    for (const auto& [rise, last] : {std::pair(30.0f, 90.0f), {60.0f, 450.0f}}) {
        YFCurve curve;
        AddRamp(curve, 0, 10, 0.0f, 10.0f);
        YFCurve source;
        AddRamp(source, 0, 10, 725.0f, rise);
        curve.ReplaceForEulerXYZ(source, kSecond * 2, kSecond * 8);
        EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 2 - kTick), 20.0f);
        EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 2), 5.0f + 2 * rise);
        EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 9), last) << "the nearest turn";
    }
}

// What was shown from `start` to `stop` is shown `shift` later.
void ExpectSameShape(RandomCurves& random, const YFCurve& curve, const YFCurve& old, YTime start, YTime stop,
                     YTime shift = YTIME_ZERO)
{
    for (int i = 0; i < 30; ++i) {
        const YTime time = random.TimeBetween(start, stop);
        ASSERT_NEAR(curve.Evaluate(time + shift), old.Evaluate(time), 1e-3);
    }
}

TEST(Insert, RipplesWhatFollows)
{
    RandomCurves random;
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve, pasted;
        random.AddKeys(curve, 2 + random.Below(6), 0.9);
        random.AddKeys(pasted, 1 + random.Below(5), 0.9);
        const YFCurve old(curve);
        const int split = random.Below(curve.KeyGetCount());
        const YTime gap = YTime::FromSeconds(0.5);
        const YTime time = curve.KeyGetTime(split);
        ASSERT_TRUE(curve.Insert(pasted, time, gap));
        ASSERT_EQ(curve.KeyGetCount(), old.KeyGetCount() + pasted.KeyGetCount());
        // Between keys of one origin the values travel with them.
        const YTime first = pasted.KeyGetTime(0), last = pasted.KeyGetTime(pasted.KeyGetCount() - 1);
        const YTime oldLast = old.KeyGetTime(old.KeyGetCount() - 1);
        ASSERT_NO_FATAL_FAILURE(ExpectSameShape(random, curve, pasted, first, last, time - first));
        ASSERT_NO_FATAL_FAILURE(ExpectSameShape(random, curve, old, time, oldLast, last - first + gap));
        if (split < 2) continue;
        ASSERT_NO_FATAL_FAILURE(
            ExpectSameShape(random, curve, old, old.KeyGetTime(0), old.KeyGetTime(split - 1)));
    }
    YFCurve curve;
    AddRamp(curve, 0, 3, 0.0f, 1.0f);
    YFCurve early;
    AddRamp(early, -5, 3, 0.0f, 1.0f);
    const YTime end = YTIME_INFINITE - kTick;
    EXPECT_FALSE(curve.Insert(YFCurve(), kSecond) || curve.Insert(curve, kSecond));
    EXPECT_FALSE(curve.Insert(early, kSecond, YTIME_ZERO)) << "two keys at one time";
    EXPECT_FALSE(curve.Insert(early, end)) << "the last key would be beyond time";
    EXPECT_FALSE(curve.Insert(early, kSecond, end)) << "room and gap together";
    EXPECT_FALSE(curve.Insert(early, kSecond, end - kSecond * 3)) << "the keys that move";
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{0, 1, 2}));
    EXPECT_TRUE(YFCurve(curve).Insert(early, end - kSecond * 2));
    EXPECT_TRUE(YFCurve(curve).Insert(early, kSecond, end - kSecond * 4));
}

TEST(Copy, EvaluatesAlikeBetweenItsKeys)
{
    RandomCurves random;
    for (int round = 0; round < 500; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve;
        random.AddKeys(curve, 2 + random.Below(8), 0.9);
        const int first = random.Below(curve.KeyGetCount());
        const int last = first + random.Below(curve.KeyGetCount() - first);
        const YTime start = curve.KeyGetTime(first), stop = curve.KeyGetTime(last);
        const YFCurvePtr copy(curve.Copy(start - YTime(5), stop + YTime(5)));
        ASSERT_EQ(copy->KeyGetCount(), last - first + 1);
        ASSERT_NO_FATAL_FAILURE(ExpectSameShape(random, *copy, curve, start, stop));
        const YTime end = curve.KeyGetTime(curve.KeyGetCount() - 1);
        YFCurve converted(curve);
        converted.KeyTangeantSetMode(false, YFCURVE_TANGENT_USER_BREAK);
        ASSERT_NO_FATAL_FAILURE(ExpectSameShape(random, converted, curve, curve.KeyGetTime(0), end));
        converted.KeySelectAll();
        ASSERT_EQ(curve.KeyGetSelectionCount(), 0) << "a copy has records of its own";
    }
}

TEST(Delete, Spans)
{
    YFCurve curve;
    AddRamp(curve, 0, 10, 0.0f, 1.0f);
    EventLog log(curve);
    EXPECT_TRUE(curve.Delete(kSecond * 2, kSecond * 7));
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REMOVED, 2, 7, 2)});
    EXPECT_TRUE(curve.Delete(kSecond, kSecond * 9, false));
    EXPECT_FALSE(curve.Delete(kSecond * 2, kSecond * 8) || curve.Delete(1, 3));
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{0, 1, 9}));
}

}  // namespace
