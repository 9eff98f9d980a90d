// Keys found, added, set and removed; spans replaced, pasted, copied, moved, scaled and converted; and what
// listeners hear of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "random_curve.h"
#include "same_edit.h"
#include "yfcurve/ymemoryblockqueue.h"

using namespace yfc::test;

namespace {

// The search as a walk from the hint, one key at a time.
double Walk(const YFCurve& curve, YTime time, int& last)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return -1.0;
    const auto at = [&](int i) { return curve.KeyGetTime(i); };
    const auto inside = [&](int i) {
        return i + (time - at(i)).GetSecondDouble() / (at(i + 1) - at(i)).GetSecondDouble();
    };
    const int from = std::clamp(last, 0, count - 1);
    last = from;
    if (time == at(from)) return from;
    if (time > at(from)) {
        while (last < count && at(last) < time) ++last;
        return last == count ? count - 0.5 : inside(last - 1);
    }
    while (last >= 0 && at(last) > time) --last;
    if (last >= 0) return inside(last);
    last = 0;
    return -0.5;
}

void ExpectFoundAsByWalking(const YFCurve& curve, YTime time, int hint)
{
    int expectedHint = hint;
    int foundHint = hint;
    const double expected = Walk(curve, time, expectedHint);
    EXPECT_DOUBLE_EQ(curve.KeyFind(time, &foundHint), expected) << time.Get() << " from " << hint;
    EXPECT_EQ(foundHint, expectedHint) << time.Get() << " from " << hint;
    EXPECT_DOUBLE_EQ(curve.KeyFind(time), expected) << "from where the curve was last";
}

constexpr unsigned kAttr = YFCURVEEVENT_KEY_ATTR_CHANGED;
constexpr unsigned kValue = YFCURVEEVENT_KEY_VALUE_CHANGED;
constexpr unsigned kTime = YFCURVEEVENT_KEY_TIME_CHANGED;
constexpr unsigned kSelection = YFCURVEEVENT_SELECTION;

YFCurveEvent MakeEvent(unsigned type, int first, int last, int count)
{
    return {type, false, first, last, count};
}

void ExpectEvents(EventLog& log, const std::vector<YFCurveEvent>& expected)
{
    const std::vector<YFCurveEvent> events = log.Take();
    ASSERT_EQ(events.size(), expected.size());
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].type, expected[i].type) << "event " << i;
        EXPECT_EQ(events[i].first, expected[i].first) << "event " << i;
        EXPECT_EQ(events[i].last, expected[i].last) << "event " << i;
        EXPECT_EQ(events[i].count, expected[i].count) << "event " << i;
    }
}

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
        : mOld(old), mSource(source), mStart(start), mStop(stop), mOffset(offset)
    {
        const int count = source.KeyGetCount();
        mFirst = start;
        mLast = stop;
        if (count == 0) return;
        const YTime period = source.KeyGetTime(count - 1) - source.KeyGetTime(0);
        const auto reach = [&](unsigned mode, std::uint32_t limit) {
            if (mode == YFCURVE_EXTRAPOLATION_CONST || count == 1) return YTIME_ZERO;
            return std::min(YTime::FromSeconds(100.0), YTime(period.Get() * std::min(limit, 10000u)));
        };
        mFirst = source.KeyGetTime(0) + offset -
                 reach(source.GetPreExtrapolation(), source.GetPreExtrapolationCount());
        mLast = source.KeyGetTime(count - 1) + offset +
                reach(source.GetPostExtrapolation(), source.GetPostExtrapolationCount());
    }

    // Whether an end of the span is shown by neither of the two: there the curve leads from one to the other.
    bool LeadsIn() const { return mFirst > mStart && mFirst <= mStop; }
    bool LeadsOut() const { return mLast >= mStart && mLast < mStop; }
    bool IsLead(YTime time) const
    {
        return (LeadsIn() && time > mStart && time < mFirst) || (LeadsOut() && time > mLast && time < mStop);
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
    YTime First() const { return mFirst; }
    YTime Last() const { return mLast; }

  private:
    const YFCurve& mOld;
    const YFCurve& mSource;
    YTime mStart;
    YTime mStop;
    YTime mOffset;
    YTime mFirst;  // from here on the source shows more than the value of its first key, until its last one
    YTime mLast;
};

// A lead is one segment: the cubic through its ends with the curve's slopes there, a line, or a step. It is
// as smooth where it meets what is kept as that was itself.
void ExpectLead(const YFCurve& curve, const YFCurve& old, YTime from, YTime to, bool isIn)
{
    const YTime seam = isIn ? from : to;
    const bool keeps = old.KeyGetCount() > 0 &&
                       (isIn ? old.KeyGetTime(0) < seam : old.KeyGetTime(old.KeyGetCount() - 1) > seam);
    const int key = static_cast<int>(curve.KeyFind(from));
    const double v0 = curve.Evaluate(from);
    const double v1 = curve.Evaluate(to);
    const double slope0 = curve.EvaluateRightDerivative(from);
    const double slope1 = curve.EvaluateLeftDerivative(to);
    const double duration = (to - from).GetSecondDouble();
    const unsigned interpolation = curve.KeyGetInterpolation(key);
    for (const double u : {0.1, 0.5, 0.9}) {
        const double h = u * u * (3.0 - 2.0 * u);
        double expected = v0 + u * (v1 - v0);
        if (interpolation == YFCURVE_INTERP_CUBIC) {
            expected = v0 + h * (v1 - v0) + duration * u * (1.0 - u) * ((1.0 - u) * slope0 - u * slope1);
        } else if (interpolation == YFCURVE_INTERP_CONSTANT) {
            expected = curve.KeyGetConstantMode(key) == YFCURVE_CONSTANT_NEXT ? v1 : v0;
        }
        const YTime time = from + YTime::FromSeconds(u * duration);
        ASSERT_NEAR(curve.Evaluate(time), expected, 1e-4 * std::max(20.0, std::abs(expected)));
    }
    if (interpolation != YFCURVE_INTERP_CUBIC || !keeps) return;
    const double kept = isIn ? old.EvaluateLeftDerivative(seam) : old.EvaluateRightDerivative(seam);
    ASSERT_NEAR(isIn ? slope0 : slope1, kept, 1e-4 * std::max(20.0, std::abs(kept)));
    const YTime inner =
        isIn ? to : from;  // where the source begins or ends, smoothly unless its key is broken
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
    SCOPED_TRACE(test::HowToRepeat());
    int leads = 0;
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve;
        YFCurve source;
        random.AddKeys(curve, random.Below(6), 0.0);
        random.AddKeys(source, random.Below(6), 0.0);
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
            ASSERT_NEAR(curve.Evaluate(time), expected, 1e-5 * std::max(20.0f, std::abs(expected)))
                << (inside ? " inside" : " outside") << " at " << time.GetSecondDouble();
        }
        if (plain.LeadsIn()) ExpectLead(curve, old, start, plain.First(), true);
        if (plain.LeadsOut()) ExpectLead(curve, old, plain.Last(), stop, false);
        leads += (plain.LeadsIn() ? 1 : 0) + (plain.LeadsOut() ? 1 : 0);
    }
    EXPECT_GT(leads, 500);
}

void AddRamp(YFCurve& curve, int firstSecond, int count, float value, float rise)
{
    for (int i = 0; i < count; ++i) {
        YFCurveKey key;
        key.Set(YTIME_ZERO, value + rise * static_cast<float>(i), YFCURVE_INTERP_LINEAR, 0);
        curve.KeyAdd(kSecond * (firstSecond + i), key);
    }
}

TEST(Replace, LeadsStraightThroughTheLastAutoKey)
{
    for (const unsigned mode : {YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_AUTO_BREAK}) {
        YFCurve curve;
        AddRamp(curve, 0, 10, 20.0f, 0.0f);
        const YFCurvePtr source = MakeCurve({UserKey(0.0f), AutoKey(10.0f, mode, 300.0f)});
        source->KeySetTangeantWeightMode(1, YFCURVE_WEIGHT_RIGHT);
        source->KeySetDataDouble(1, YFCURVEKEY_RIGHT_WEIGHT, 0.9f);
        source->KeySetLeftAuto(1, 50.0f);
        curve.Replace(*source, kSecond * 2, kSecond * 5, true, true, kSecond * 2);
        // Slopes of 10 before and 5 behind: half of the way from their mean to the one before is 8.75.
        EXPECT_FLOAT_EQ(curve.EvaluateLeftDerivative(kSecond * 3), 8.75f);
        EXPECT_FLOAT_EQ(curve.EvaluateRightDerivative(kSecond * 3), 8.75f);
        // Halfway through two seconds that end flat: 15 + 2 x 8.75 / 8.
        EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 4), 17.1875f);
    }
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
    EXPECT_EQ(plain.KeyGetValue(3), 100.0f);

    YFCurve narrowed(curve);
    narrowed.Replace(source, Sec(2.5), Sec(6.5), false, true);
    EXPECT_EQ(narrowed.Evaluate(Sec(5.75)), 5.75f) << "beyond the source's last key";
    EXPECT_EQ(narrowed.Evaluate(Sec(5)), 102.0f);

    YFCurve whole(curve);
    whole.Replace(source);
    EXPECT_EQ(whole.Evaluate(Sec(4)), 101.0f);

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
        EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 8), 5.0f + 8 * rise);
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
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve;
        YFCurve pasted;
        random.AddKeys(curve, 2 + random.Below(6), 0.9);
        random.AddKeys(pasted, 1 + random.Below(5), 0.9);
        const YFCurve old(curve);
        const int split = random.Below(curve.KeyGetCount());
        const YTime gap = YTime::FromSeconds(0.5);
        const YTime time = curve.KeyGetTime(split);
        ASSERT_TRUE(curve.Insert(pasted, time, gap));
        ASSERT_EQ(curve.KeyGetCount(), old.KeyGetCount() + pasted.KeyGetCount());
        // Between keys of one origin the values travel with them.
        const YTime first = pasted.KeyGetTime(0);
        const YTime last = pasted.KeyGetTime(pasted.KeyGetCount() - 1);
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
    EXPECT_FALSE(curve.Insert(YFCurve(), kSecond));
    EXPECT_FALSE(curve.Insert(curve, kSecond));
    EXPECT_FALSE(curve.Insert(early, kSecond, -kSecond));
    EXPECT_FALSE(curve.Insert(early, kSecond, YTIME_ZERO)) << "two keys at one time";
    EXPECT_FALSE(curve.Insert(early, end)) << "the last key would be beyond time";
    EXPECT_FALSE(curve.Insert(early, kSecond, end)) << "room and gap together";
    EXPECT_FALSE(curve.Insert(early, kSecond, end - kSecond * 3)) << "the keys that move";
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{0, 1, 2}));
    EXPECT_TRUE(YFCurve(curve).Insert(early, end - kSecond * 2));
    EXPECT_TRUE(YFCurve(curve).Insert(early, kSecond, end - kSecond * 4));
    EXPECT_TRUE(curve.Insert(early, kSecond * 5, YTIME_ZERO)) << "nothing to move";
    EXPECT_EQ(curve.KeyGetCount(), 6);
}

TEST(Copy, EvaluatesAlikeBetweenItsKeys)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 500; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve;
        random.AddKeys(curve, 2 + random.Below(8), 0.9);
        const int first = random.Below(curve.KeyGetCount());
        const int last = first + random.Below(curve.KeyGetCount() - first);
        const YTime start = curve.KeyGetTime(first);
        const YTime stop = curve.KeyGetTime(last);
        const YFCurvePtr copy(curve.Copy(start - YTime(5), stop + YTime(5)));
        ASSERT_EQ(copy->KeyGetCount(), last - first + 1);
        ASSERT_NO_FATAL_FAILURE(ExpectSameShape(random, *copy, curve, start, stop));
        const YTime end = curve.KeyGetTime(curve.KeyGetCount() - 1);
        YFCurve converted(curve);
        converted.KeyTangeantSetMode(false, YFCURVE_TANGENT_USER_BREAK);
        ASSERT_NO_FATAL_FAILURE(ExpectSameShape(random, converted, curve, curve.KeyGetTime(0), end));
    }
    // A copy has records of its own: selecting its keys does not reach into the source.
    const YFCurvePtr source = MakeCurve(std::vector(40, UserKey(1.0f)));
    source->KeyShrink();
    YFCurve copy(*source);
    copy.KeySelectAll();
    EXPECT_EQ(copy.KeyGetSelectionCount(), 40);
    EXPECT_EQ(source->KeyGetSelectionCount(), 0);
}

TEST(Move, CarriesTangentsPastOtherKeys)
{
    // Key i has the slopes 10 (i-1) + 9 on its left and 10 i + 1 on its right.
    const YFCurvePtr curve =
        MakeCurve({UserKey(0, 1, 9), UserKey(1, 11, 19), UserKey(2, 21, 29), UserKey(3, 31)});
    for (int i = 0; i < 4; ++i) curve->KeySetBreak(i, true);
    EXPECT_EQ(curve->KeyMove(1, Sec(2)), -1) << "occupied";
    EXPECT_EQ(curve->KeyMove(1, Sec(2.5)), 2);
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0, 2, 1, 3}));
    const float lefts[] = {1, 19, 9, 29};
    const float rights[] = {1, 21, 11, 29};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(curve->KeyGetLeftDerivative(i), lefts[i]) << i;
        EXPECT_EQ(curve->KeyGetRightDerivative(i), rights[i]) << i;
    }
    curve->KeySetSelected(0, true);
    EXPECT_FALSE(curve->KeyMoveOf(true, Sec(3), 0.0f)) << "key 3 stays there";
    EXPECT_FALSE(curve->KeyMoveOf(false, YTIME_INFINITE, 0.0f)) << "beyond the range of time";
    EXPECT_EQ(curve->KeyGetTime(0), YTIME_ZERO);
    EXPECT_TRUE(curve->KeyMoveOf(true, Sec(4), 5.0f));
    EXPECT_EQ(curve->KeyGetValue(3), 5.0f);
    EXPECT_TRUE(curve->KeyGetSelected(3));
    EXPECT_TRUE(curve->KeyMoveOf(false, Sec(-1), 0.0f));
    EXPECT_EQ(curve->KeyGetTime(3), Sec(3));
}

TEST(Scale, WithTangentsScalesTheWholeCurve)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 300; ++round) {
        YFCurve curve;
        random.AddKeys(curve, 5, 0.9);
        // An overshooting auto parameter adds a fixed slope, which does not scale.
        for (int i = 0; i < 5; ++i) {
            if ((curve.KeyGetTangeantMode(i) & YFCURVE_TANGENT_AUTO) == 0) continue;
            curve.KeySetDataFloat(i, YFCURVEKEY_RIGHT_DERIVATIVE, 30.0f);
            curve.KeySetDataFloat(i, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, -40.0f);
        }
        YFCurve scaled(curve);
        const float factor = random.Pick({-0.25f, -2.0f, 8.0f});  // powers of two, so that nothing is rounded
        scaled.KeyScaleValueAndTangeant(false, factor);
        for (int i = 0; i < 40; ++i) {
            const YTime time = random.TimeBetween(curve.KeyGetTime(0), curve.KeyGetTime(4));
            ASSERT_EQ(scaled.Evaluate(time), factor * curve.Evaluate(time)) << "round " << round;
        }
    }
}

TEST(Delete, Spans)
{
    YFCurve curve;
    AddRamp(curve, 0, 10, 0.0f, 1.0f);
    EventLog log(curve);
    EXPECT_TRUE(curve.Delete(kSecond * 2, kSecond * 7));
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(log.events[0].first, 2);
    EXPECT_EQ(log.events[0].last, 7) << "listeners hear of the whole range";
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{0, 1, 8, 9}));
    EXPECT_TRUE(curve.Delete(kSecond, kSecond * 9, false));
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{0, 1, 9}));
    EXPECT_FALSE(curve.Delete(kSecond * 2, kSecond * 8));
    EXPECT_FALSE(curve.Delete(1, 3));
    EXPECT_TRUE(curve.Delete(YTIME_MINUS_INFINITE, YTIME_INFINITE));
    EXPECT_EQ(curve.KeyGetCount(), 0);
    EXPECT_EQ(curve.GetValue(), 9.0f);
}

TEST(Delete, SelectedKeysGoAsTheirSpansDoFromTheLastToTheFirst)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 1000; ++round) {
        YFCurve source;
        random.AddKeys(source, random.Below(60), random.Pick({0.0, 0.9}));
        const double share = random.Pick({0.1, 0.5, 0.9});
        std::vector<std::pair<int, int>> spans;
        for (int i = 0; i < source.KeyGetCount(); ++i) {
            if (!random.Chance(share)) continue;
            source.KeySetSelected(i, true);
            if (spans.empty() || spans.back().second != i - 1) spans.emplace_back(i, i);
            spans.back().second = i;
        }
        YFCurve one(source);
        YFCurve all(source);
        EventLog oneLog(one);
        EventLog allLog(all);
        one.KeyModifyBegin();
        for (std::size_t i = spans.size(); i > 0; --i) one.Delete(spans[i - 1].first, spans[i - 1].second);
        one.KeyModifyEnd();

        ASSERT_EQ(all.DeleteSelected(), !spans.empty()) << "round " << round;
        ASSERT_NO_FATAL_FAILURE(ExpectSameEdit(all, allLog, one, oneLog)) << "round " << round;
    }
}

TEST(Survey, PeaksAndSampledData)
{
    // Slopes 6 and 6 between 0 and 0 over 1 s: v(u) = 6u - 18u^2 + 12u^3, extremes at u = 1/2 +- sqrt(3)/6.
    const YFCurvePtr curve = MakeCurve({UserKey(0, 6, 6), UserKey(0)});
    YTime times[2];
    float values[2];
    ASSERT_EQ(curve->FindPeaks(0, times[0], values[0], times[1], values[1]), 2);
    for (const int i : {0, 1}) {
        EXPECT_NEAR(times[i].GetSecondDouble(), 0.5 + (2 * i - 1) * std::sqrt(3.0) / 6.0, 1e-9);
        EXPECT_NEAR(values[i], (1 - 2 * i) / std::sqrt(3.0), 1e-6);
    }
    curve->KeySetInterpolation(0, YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(curve->FindPeaks(0, times[0], values[0], times[1], values[1]), 0);

    YFCurve sampled;
    for (int i = 0; i < 50; ++i) sampled.KeyAppendFast(YTime::FromFrame(i, eTimeMode::Fps120), 0.0f);
    EXPECT_EQ(sampled.GuessWasData(), 120);
    EXPECT_EQ(sampled.GetWasData(), 0) << "a guess stores nothing";
    sampled.KeyRemove(20);
    EXPECT_EQ(sampled.GuessWasData(), 0) << "a hole";
}

// --- Finding -------------------------------------------------------------------------------------------

TEST(KeyFind, FindsAsAWalkDoes)
{
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 60; ++round) {
        const int count = random.Pick({0, 1, 2, 3, 17, 64, 65, 300, 20000});
        const std::int64_t spacing = random.Pick<std::int64_t>({1, 2, 1000, 384884650});
        YFCurve curve;
        std::int64_t time = random.Integer(-100, 100) * spacing;
        for (int i = 0; i < count; ++i) {
            curve.KeyAppendFast(YTime(time), 0.0f);
            // Now and then a gap that no guess from evenly spaced keys foresees.
            time +=
                random.Chance(0.05) ? spacing * random.Integer(1, 1000000) : spacing * random.Integer(1, 3);
        }
        for (int query = 0; query < 300; ++query) {
            const YTime near = count > 0 ? curve.KeyGetTime(random.Int(0, count - 1)) : YTIME_ZERO;
            const std::int64_t offset = random.Pick<std::int64_t>(
                {0, 1, -1, spacing, random.Integer(-std::abs(time), std::abs(time))});
            const int hint =
                random.Pick({random.Int(-1, count + 1), random.Int(-1, count + 1), INT_MIN, INT_MAX});
            ExpectFoundAsByWalking(curve, near + YTime(offset), hint);
        }
    }
}

TEST(KeyFind, TimesAtTheLimits)
{
    YFCurve curve;
    for (const std::int64_t t : {-INT64_MAX, std::int64_t{-5}, std::int64_t{0}, INT64_MAX - 1}) {
        curve.KeyAppendFast(YTime(t), 0.0f);
    }
    for (int hint = 0; hint <= 4; ++hint) {
        for (const auto& [time, position] :
             {std::pair(INT64_MIN, -0.5), {INT64_MAX, 3.5}, {-INT64_MAX / 2, 0.5}, {INT64_MAX / 4, 2.25}}) {
            int last = hint;
            EXPECT_NEAR(curve.KeyFind(YTime(time), &last), position, 1e-12);
        }
    }
    YFCurve wide;
    wide.KeyAppendFast(YTime(INT64_MIN), 0.0f);
    wide.KeyAppendFast(YTime(INT64_MAX), 0.0f);
    EXPECT_NEAR(wide.KeyFind(YTime(INT64_MAX / 2)), 0.75, 1e-12);
}

// --- Adding, replacing, removing -----------------------------------------------------------------------

TEST(KeyAdd, KeepsOrderAndContentsOverManyBlocks)
{
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 20; ++round) {
        YFCurve curve;
        std::map<std::int64_t, float> expected;
        int last = 0;
        for (int i = 0; i < 700; ++i) {
            const std::int64_t time = random.Integer(-400, 400);
            if (random.Chance(0.3) && !expected.empty()) {
                const int index = random.Int(0, curve.KeyGetCount() - 1);
                const YTime removed = curve.KeyGetTime(index);
                ASSERT_TRUE(curve.KeyRemove(index));
                expected.erase(removed.Get());
                continue;
            }
            // The value is in the attributes as well, which have to travel with the key.
            const auto value = static_cast<float>(i);
            const bool hinted = random.Chance(0.5);
            const int index = curve.KeyAdd(YTime(time), UserKey(value, value), hinted ? &last : nullptr);
            expected[time] = value;
            ASSERT_EQ(curve.KeyGetTime(index), YTime(time));
            if (hinted) {
                ASSERT_EQ(last, index);
            }
        }
        ASSERT_EQ(curve.KeyGetCount(), static_cast<int>(expected.size()));
        int index = 0;
        for (const auto& [time, value] : expected) {
            ASSERT_EQ(curve.KeyGetTime(index), YTime(time));
            ASSERT_EQ(curve.KeyGetValue(index), value);
            ASSERT_EQ(curve.KeyGetDataDouble(index, YFCURVEKEY_RIGHT_DERIVATIVE), value);
            ++index;
        }
    }
}

TEST(KeySet, RefusesWhatBreaksTheOrder)
{
    YFCurvePtr curve = MakeCurve({LinearKey(0), LinearKey(1), LinearKey(2)});
    const std::string before = Bits(*curve);
    EventLog log(*curve);
    YFCurveKey key = UserKey(9);
    for (const auto& [index, seconds] :
         {std::pair(1, 0.0), {1, -1.0}, {1, 2.0}, {1, 3.0}, {3, 2.0}, {4, 9.0}, {-1, 9.0}}) {
        key.SetTime(Sec(seconds));
        EXPECT_FALSE(curve->KeySet(index, key)) << index << " at " << seconds;
        EXPECT_FALSE(curve->KeySet(index, Sec(seconds), 9.0f)) << index << " at " << seconds;
    }
    EXPECT_EQ(Bits(*curve), before);
    EXPECT_TRUE(log.events.empty());

    key.SetTime(Sec(2) - YTime(1));
    EXPECT_TRUE(curve->KeySet(1, key));
    EXPECT_EQ(curve->KeyGet(1).GetTime(), Sec(2) - YTime(1));
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REPLACED, 1, 1, 1)});
    key.SetValue(8);  // alone, with equal attributes
    EXPECT_TRUE(curve->KeySet(1, key));
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REPLACED, 1, 1, 1)});
    key.SetTime(Sec(5));
    EXPECT_TRUE(curve->KeySet(3, key));
    EXPECT_EQ(curve->KeyGetCount(), 4);
    ExpectEvents(log,
                 {MakeEvent(YFCURVEEVENT_KEY_ADDED, 3, 3, 1), MakeEvent(YFCURVEEVENT_KEY_ADDED, 3, 3, 1)});
}

TEST(KeyClear, ReportsBothEnds)
{
    YFCurvePtr curve = MakeCurve({LinearKey(4), LinearKey(5), LinearKey(6)});
    curve->SetValue(1.0f);
    curve->CandidateSet(Sec(1), 3.0);
    EventLog log(*curve);
    curve->KeyClear();
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REMOVED, 0, 3, 2)});
    EXPECT_EQ(curve->GetValue(), 1.0f);
    EXPECT_FALSE(curve->IsCandidate());

    // A last key that is removed leaves its value.
    curve->KeyAdd(Sec(1), LinearKey(4));
    log.Take();
    EXPECT_TRUE(curve->KeyRemove(0));
    EXPECT_EQ(curve->Evaluate(Sec(7)), 4.0f);
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REMOVED | YFCURVEEVENT_CURVE_VALUE, 0, 0, 2)});
}

// --- Events --------------------------------------------------------------------------------------------

// Spans in any order against single calls: of keys in order of time, each once, those given last.
void AddOneByOne(YFCurve& curve, const std::vector<YFCurveKey>& keys)
{
    std::map<YTime, YFCurveKey> inOrder;
    for (const YFCurveKey& key : keys) inOrder[key.GetTime()] = key;
    curve.KeyModifyBegin();
    for (const auto& [time, key] : inOrder) curve.KeyAdd(time, key);
    curve.KeyModifyEnd();
}

TEST(BulkEdits, DoWhatSingleCallsDoWithOneEvent)
{
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 200; ++round) {
        const YFCurvePtr bulk = RandomCurve(random, random.Pick({0, 1, 5, 40, 200}));
        YFCurve plain(*bulk);
        EventLog log(*bulk);
        EventLog plainLog(plain);
        const std::uint32_t idAhead = bulk->GetUpdateId() - plain.GetUpdateId();

        std::vector<YFCurveKey> keys;
        for (int i = random.Int(1, 60); i > 0; --i) {
            const int near = random.Int(0, std::max(bulk->KeyGetCount() - 1, 0));
            const bool onKey = bulk->KeyGetCount() > 0 && random.Chance(0.3);
            keys.push_back(RandomKey(random));
            if (onKey && random.Chance(0.5)) keys.back() = bulk->KeyGet(near);
            keys.back().SetTime(onKey ? bulk->KeyGetTime(near) : Sec(random.Int(-50, 150)));
        }
        ASSERT_TRUE(bulk->KeyAdd(keys));
        AddOneByOne(plain, keys);
        ExpectSameKeys(*bulk, plain);
        ExpectEvents(log, plainLog.Take());
        EXPECT_EQ(bulk->GetUpdateId() - plain.GetUpdateId(), idAhead);

        std::vector<int> indices;
        std::vector<float> values;
        for (int i = random.Int(1, 60); i > 0; --i) {
            indices.push_back(random.Int(0, bulk->KeyGetCount() - 1));
            values.push_back(random.Float(-9.0, 9.0));
        }
        ASSERT_TRUE(bulk->KeySet(indices, values));
        plain.KeyModifyBegin();
        for (std::size_t i = 0; i < indices.size(); ++i) plain.KeySetValue(indices[i], values[i]);
        plain.KeyModifyEnd();
        ASSERT_TRUE(bulk->KeyRemove(indices));
        plain.KeyModifyBegin();
        for (int last = plain.KeyGetCount() - 1; last >= 0; --last) {
            const auto goes = [&](int key) { return std::count(indices.begin(), indices.end(), key) > 0; };
            int first = last;
            while (goes(first)) --first;
            if (first == last) continue;
            plain.Delete(first + 1, last);
            last = first + 1;
        }
        plain.KeyModifyEnd();
        ExpectSameKeys(*bulk, plain);
        ExpectEvents(log, plainLog.Take());
        EXPECT_EQ(bulk->GetUpdateId() - plain.GetUpdateId(), idAhead);
        EXPECT_EQ(bulk->GetValue(), plain.GetValue());
    }
}

TEST(BulkEdits, WaitWhereTheHostHasDisabledCallbacks)
{
    const YFCurvePtr curve = MakeSamples(3);
    EventLog log(*curve);
    curve->CallbackEnable(false);
    const YTime times[] = {Sec(9)};
    const int indices[] = {0};
    const float values[] = {5.0f};
    EXPECT_TRUE(curve->KeyAdd(times, values));
    EXPECT_TRUE(curve->KeySet(indices, values));
    EXPECT_FALSE(curve->CallbackIsEnabled());
    EXPECT_TRUE(log.events.empty());
    curve->CallbackEnable(true);
    const std::uint32_t added = YFCURVEEVENT_KEY_REPLACED | YFCURVEEVENT_KEY_ADDED;
    ExpectEvents(log, {MakeEvent(added | YFCURVEEVENT_KEY_VALUE_CHANGED, 0, 3, 3)});
}

// Keys that a host writes into the room of a curve have no records.
TEST(BulkEdits, LeaveRoomAndKeysWithoutRecords)
{
    YFCurve curve;
    curve.KeySetOptimizeEnable(false);
    curve.ResizeKeyBuffer(640, false);
    curve.KeyModifyBegin();
    for (int i = 0; i < 64; ++i) curve.InternalPriKeyGetPtr(i)->SetTime(Sec(i));
    curve.KeyModifyEnd(64);
    const YTime times[] = {Sec(3), Sec(90)};
    const float values[] = {5.0f, 6.0f};
    const int records = YFCURVE_GetKeyAttrCount();
    EXPECT_TRUE(curve.KeyAdd(times, values));
    EXPECT_EQ(curve.KeyGetCount(), 65);
    EXPECT_EQ(curve.InternalPriKeyAttrGetPtr(2), nullptr);
    EXPECT_EQ(curve.KeyGetValue(3), 5.0f);
    EXPECT_EQ(curve.KeyGetInterpolation(3), YFCURVE_INTERP_CUBIC);
    EXPECT_EQ(YFCURVE_GetKeyAttrCount(),
              records + 1);  // the added key has the default one, the other its own
    const std::uint32_t bytes = GetRecordingMemory();
    for (int i = 65; i < 640; ++i) curve.KeyAppendFast(Sec(100 + i), 1.0f);
    EXPECT_EQ(GetRecordingMemory(), bytes);
}

TEST(BulkEdits, RefuseIndicesOutOfRange)
{
    const YFCurvePtr curve = MakeSamples(3);
    EventLog log(*curve);
    const int beyond[] = {0, 3};
    const int below[] = {0, -1};
    const float values[] = {5.0f, 6.0f};
    EXPECT_FALSE(curve->KeySet(beyond, values));
    EXPECT_FALSE(curve->KeySet(below, values));
    EXPECT_FALSE(curve->KeyRemove(beyond));
    EXPECT_FALSE(curve->KeyRemove(below));
    EXPECT_TRUE(curve->KeyAdd(std::span<const YFCurveKey>()));
    EXPECT_TRUE(log.events.empty());
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0.0f, 1.0f, 2.0f}));
    const YTime times[] = {Sec(9), Sec(1), Sec(20)};
    EXPECT_TRUE(curve->KeyAdd(times, values));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0.0f, 6.0f, 2.0f, 5.0f}));
    EXPECT_TRUE(curve->IsKeyInterpolationPureCubicAuto(1));
}

TEST(Events, EachSetterRaisesItsOwn)
{
    YFCurvePtr curve = MakeCurve({UserKey(0, 1), UserKey(1), UserKey(2)});
    EventLog log(*curve);
    const auto expect = [&](unsigned type, int index, auto change) {
        SCOPED_TRACE(testing::Message() << std::hex << type << " of key " << index);
        const std::uint32_t id = curve->GetUpdateId();
        curve->CandidateSet(Sec(0.5), 7.0);
        change();
        ExpectEvents(log, {MakeEvent(type, index, index, 1)});
        EXPECT_EQ(curve->GetUpdateId() - id, type == kSelection ? 0x10000u : 1u);
        EXPECT_TRUE(type == kSelection || !curve->IsCandidate());
    };
    const auto expectNone = [&](auto change) {
        const std::uint32_t id = curve->GetUpdateId();
        change();
        EXPECT_TRUE(log.Take().empty());
        EXPECT_EQ(curve->GetUpdateId(), id);
    };
    expect(kAttr, 1, [&] { curve->KeySetInterpolation(1, YFCURVE_INTERP_LINEAR); });
    expectNone([&] { curve->KeySetInterpolation(1, YFCURVE_INTERP_LINEAR); });
    expect(kAttr, 0, [&] { curve->KeySetConstantMode(0, YFCURVE_CONSTANT_NEXT); });
    expect(kAttr, 0, [&] { curve->KeySetTangeantMode(0, YFCURVE_TANGENT_USER); });
    expect(kAttr, 0, [&] { curve->KeySetTangeantWeightMode(0, YFCURVE_WEIGHT_ALL, YFCURVE_WEIGHT_RIGHT); });
    expect(kAttr, 0, [&] { curve->KeySetTangeantVelocityMode(0, YFCURVE_VELOCITY_ALL); });
    expect(kAttr, 0, [&] { curve->KeySetDataDouble(0, YFCURVEKEY_RIGHT_DERIVATIVE, 2.0f); });
    expect(kAttr, 2, [&] { curve->KeySetBreak(2, true); });
    expect(kSelection, 2, [&] { curve->KeySetSelected(2, true); });
    expectNone([&] { curve->KeySetSelected(2, true); });
    expect(kSelection, 2, [&] { curve->KeySetTangeantVisibility(2, YFCURVE_SHOW_BOTH); });
    expect(kValue, 0, [&] { curve->KeySetValue(0, 0.0f); });
    expect(kValue, 0, [&] { curve->KeyIncValue(0, 0.0f); });
    expect(kValue, 0, [&] { curve->KeyMultValue(0, 1.0f); });
    expect(kTime, 0, [&] { curve->KeySetTime(0, Sec(0)); });
    expect(kTime, 0, [&] { curve->KeyIncTime(0, Sec(0)); });
    expect(YFCURVEEVENT_CURVE_VALUE, -1, [&] { curve->SetValue(3.0f); });
    expect(kAttr, -1, [&] { curve->SetPreExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION); });
    expect(kAttr, -1, [&] { curve->SetPreExtrapolationCount(2); });
    expect(kAttr, -1, [&] { curve->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE); });
    expect(kAttr, -1, [&] { curve->SetPostExtrapolationCount(2); });
    expect(kSelection, -1, [&] { curve->KeySelectAll(); });
    expect(kSelection, -1, [&] { curve->KeyUnselectAll(); });

    expectNone([&] { curve->KeySetMarkedForManipulation(1, true); });
    expectNone([&] { curve->SetValue(3.0f); });
    expectNone([&] { curve->CandidateSet(Sec(1), 1.0); });

    // A new key is a replaced slot, then an added key.
    curve->KeyAdd(Sec(1.5), LinearKey(1));
    ExpectEvents(log,
                 {MakeEvent(YFCURVEEVENT_KEY_REPLACED, 2, 2, 1), MakeEvent(YFCURVEEVENT_KEY_ADDED, 2, 2, 1)});
    const std::uint32_t id = curve->GetUpdateId();
    EXPECT_EQ(curve->GetValuesUpdateId(), id & 0xFFFF);
    curve->IncrementUpdateId(-1);
    EXPECT_EQ(curve->GetUpdateId(), id - 1);
}

TEST(Events, ABracketDeliversOnceWithEverythingMerged)
{
    YFCurvePtr curve = MakeSamples(6);
    EventLog log(*curve);
    curve->KeyModifyBegin();
    curve->KeyModifyBegin();
    curve->SetValue(7.0f);
    curve->KeySetValue(4, 1.0f);
    curve->KeySetTime(2, Sec(2.5));
    curve->KeyModifyEnd();
    EXPECT_TRUE(log.events.empty());
    curve->KeySetValue(3, 1.0f);
    curve->KeyModifyEnd();
    ExpectEvents(log, {MakeEvent(kValue | kTime | YFCURVEEVENT_CURVE_VALUE, 2, 4, 4)});

    // What opens a bracket of its own leaves the outer one open.
    {
        const YFCurveModify modify(*curve);
        curve->KeySelectAll();
        curve->KeyUnselectAll();
        curve->KeyTangeantHide();
        curve->KeyTangeantSetMode(false, YFCURVE_TANGENT_USER);
        curve->KeySetRightTangeantWeight(1, 0.5f);
        curve->KeyInsert(Sec(3.5));
        curve->KeyRemove(0);
        EXPECT_TRUE(log.events.empty());
    }
    EXPECT_EQ(log.Take().size(), 1u);
    {
        const YFCurveModify nothing(*curve);
    }
    EXPECT_TRUE(log.events.empty());
}

TEST(Events, ListenersAreCalledInOrderLeaveFromTheEndAndMayEdit)
{
    static std::vector<int> calls;
    const YFCurveCallback record = [](YFCurve* curve, YFCurveEvent* event, void* object) {
        calls.push_back(*static_cast<int*>(object));
        if (calls.back() == 2 && event->type == kValue) curve->SetValue(5.0f);
    };
    int a = 1;
    int b = 2;
    YFCurvePtr curve = MakeSamples(1);
    const auto called = [&] {
        calls.clear();
        curve->KeySetValue(0, 1.0f);
        return calls;
    };
    for (int* object : {&a, &a}) curve->CallbackRegister(record, object);
    EXPECT_EQ(called(), (std::vector<int>{1, 1}));
    curve->CallbackRegister(record, &b);
    EXPECT_EQ(called(), (std::vector<int>{1, 1, 2, 1, 1, 2})) << "its edit has an event of its own";
    curve->CallbackUnregister(record, &a);
    EXPECT_EQ(called(), (std::vector<int>{1, 2})) << "no edit: the value is there already";
    for (int* object : std::initializer_list<int*>{nullptr, &a, &a})
        curve->CallbackUnregister(record, object);
    EXPECT_EQ(called(), std::vector<int>{2});
}

TEST(Events, DisabledCallbacksSaveUpAndABracketEnablesThem)
{
    YFCurvePtr curve = MakeSamples(3);
    EventLog log(*curve);
    curve->CallbackEnable(false);
    curve->KeySetValue(0, 1.0f);
    curve->KeySetSelected(2, true);
    EXPECT_TRUE(log.events.empty());
    curve->CallbackEnable(true);
    ExpectEvents(log, {MakeEvent(kValue | kSelection, 0, 2, 2)});

    curve->CallbackEnable(false);
    curve->KeyModifyBegin();
    curve->KeySetValue(1, 1.0f);
    curve->KeyModifyEnd();
    ExpectEvents(log, {MakeEvent(kValue, 1, 1, 1)});
    EXPECT_TRUE(curve->CallbackIsEnabled());
}

TEST(Events, DestructionClearsTheKeysThenSaysGoodbye)
{
    for (const bool silenced : {false, true}) {
        YFCurvePtr curve = MakeSamples(2);
        EventLog log(*curve);
        if (silenced) curve->CallbackEnable(false);
        curve.reset();
        ExpectEvents(
            log, {MakeEvent(YFCURVEEVENT_KEY_REMOVED, 0, 2, 2), MakeEvent(YFCURVEEVENT_DESTROY, -1, -1, 1)});
    }
}

// --- Candidate -----------------------------------------------------------------------------------------

TEST(Candidate, IsAOneEntryCacheThatBecomesAKey)
{
    YFCurvePtr curve = MakeCurve({LinearKey(0), LinearKey(10)});
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.5)), 5.0f);
    EXPECT_EQ(curve->CandidateGetTime(), Sec(0.5));
    curve->CandidateSet(Sec(0.5), 7.0);
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.5)), 7.0f);
    EXPECT_EQ(curve->Evaluate(Sec(0.5)), 5.0f);
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.25)), 2.5f);
    curve->CandidateClear();
    EXPECT_EQ(curve->CandidateGetTime(), YTIME_INFINITE);
    EXPECT_EQ(YFCurve().CandidateKey(), -1);
    for (const auto& [seconds, key, interpolation] :
         {std::tuple(0.5, 1, YFCURVE_INTERP_CUBIC), {0.0, 0, YFCURVE_INTERP_LINEAR}}) {
        curve->CandidateSet(Sec(seconds), 7.0);
        EXPECT_EQ(curve->CandidateKey(), key);
        EXPECT_EQ(curve->KeyGetValue(key), 7.0f);
        EXPECT_EQ(curve->KeyGetInterpolation(key), interpolation) << "an existing key keeps its kind";
        EXPECT_FALSE(curve->IsCandidate());
    }
    curve->CandidateSet(Sec(0.5), 7.0);
    curve->KeyAppendFast(Sec(4), 1.0f);
    EXPECT_FALSE(curve->IsCandidate()) << "as with all changes of keys";
}

}  // namespace
