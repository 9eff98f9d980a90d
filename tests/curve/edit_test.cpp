// Edits of whole spans: replacing, pasting, copying, moving, scaling, converting.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "random_curve.h"
#include "same_edit.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"

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
        YFCurve source;
        source.KeyAdd(kSecond * 2, yfc::test::UserKey(0.0f));
        YFCurveKey last = yfc::test::AutoKey(10.0f, mode, 300.0f);
        last.SetTangeantWeightMode(YFCURVE_WEIGHT_RIGHT);
        last.SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, 0.9f);
        source.KeyAdd(kSecond * 3, last);
        source.KeySetLeftAuto(1, 50.0f);
        curve.Replace(source, kSecond * 2, kSecond * 5, true, true);
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
    const YTime start = YTime::FromSeconds(2.5);
    const YTime stop = YTime::FromSeconds(6.5);

    YFCurve plain;
    AddRamp(plain, 0, 10, 0.0f, 1.0f);
    plain.Replace(source, start, stop, true, false);
    EXPECT_EQ(plain.KeyGetCount(), 9) << "0, 1, 2, the three of the source, 7, 8, 9";
    EXPECT_EQ(plain.KeyGetValue(3), 100.0f);

    YFCurve narrowed;
    AddRamp(narrowed, 0, 10, 0.0f, 1.0f);
    narrowed.Replace(source, start, stop, false, true);
    EXPECT_EQ(narrowed.Evaluate(YTime::FromSeconds(5.75)), 5.75f) << "beyond the source's last key";
    EXPECT_EQ(narrowed.Evaluate(kSecond * 5), 102.0f);

    YFCurve whole;
    AddRamp(whole, 0, 2, 0.0f, 1.0f);
    whole.Replace(source);
    EXPECT_EQ(whole.Evaluate(kSecond * 4), 101.0f);
    EXPECT_EQ(whole.KeyGetTime(whole.KeyGetCount() - 1), kSecond * 5);

    YFCurve same;
    AddRamp(same, 0, 10, 0.0f, 1.0f);
    same.Replace(same, kSecond * 2, kSecond * 5, true, true, YTIME_ZERO);
    EXPECT_EQ(same.Evaluate(YTime::FromSeconds(3.5)), 3.5f) << "a curve replaced by itself";
}

TEST(Replace, AnglesJoinByWholeTurns)
{
    YFCurve curve;
    AddRamp(curve, 0, 10, 0.0f, 10.0f);  // 0 to 90 degrees
    YFCurve source;
    AddRamp(source, 0, 10, 725.0f, 30.0f);  // two turns ahead, faster: half a turn ahead after 9 s
    const YFCurve old(curve);
    curve.ReplaceForEulerXYZ(source, kSecond * 2, kSecond * 8);
    EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 2 - kTick), 20.0f);
    EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 2), 785.0f - 720.0f);
    EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 8), 965.0f - 720.0f);
    EXPECT_FLOAT_EQ(curve.Evaluate(kSecond * 9), 90.0f) << "245 to 90 is less than half a turn";
    YFCurve back(old);
    AddRamp(source, 0, 10, 0.0f, 60.0f);
    back.ReplaceForEulerXYZ(source, kSecond * 2, kSecond * 8);
    EXPECT_FLOAT_EQ(back.Evaluate(kSecond * 9), 90.0f + 360.0f) << "480 continues at 440 rather than at 80";
}

TEST(Insert, RipplesWhatFollows)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 300; ++round) {
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
        const int count = pasted.KeyGetCount();
        const YTime length = pasted.KeyGetTime(count - 1) - pasted.KeyGetTime(0);
        // Between keys of one origin the values travel with them.
        const auto sameShape = [&](const YFCurve& from, YTime fromStart, YTime fromStop, YTime shift) {
            for (int i = 0; i < 20; ++i) {
                const YTime at = random.TimeBetween(fromStart, fromStop);
                ASSERT_NEAR(curve.Evaluate(at + shift), from.Evaluate(at), 1e-3) << "round " << round;
            }
        };
        sameShape(pasted, pasted.KeyGetTime(0), pasted.KeyGetTime(count - 1), time - pasted.KeyGetTime(0));
        sameShape(old, time, old.KeyGetTime(old.KeyGetCount() - 1), length + gap);
        if (split > 1) sameShape(old, old.KeyGetTime(0), old.KeyGetTime(split - 1), YTIME_ZERO);
    }
    YFCurve empty;
    YFCurve curve;
    AddRamp(curve, 0, 3, 0.0f, 1.0f);
    EXPECT_FALSE(curve.Insert(empty, kSecond));
    EXPECT_FALSE(curve.Insert(curve, kSecond));
    EXPECT_FALSE(curve.Insert(YFCurve(curve), kSecond, -kSecond));
    EXPECT_FALSE(curve.Insert(YFCurve(curve), kSecond, YTIME_ZERO)) << "two keys at one time";
    YFCurve early;
    AddRamp(early, -5, 3, 0.0f, 1.0f);
    const YTime end = YTIME_INFINITE - kTick;
    EXPECT_FALSE(curve.Insert(early, end)) << "the last key would be beyond time";
    EXPECT_FALSE(curve.Insert(early, kSecond, end)) << "room and gap together";
    EXPECT_FALSE(curve.Insert(early, kSecond, end - kSecond * 3)) << "the keys that move";
    EXPECT_EQ(yfc::test::KeySeconds(curve), (std::vector<double>{0, 1, 2}));
    EXPECT_TRUE(YFCurve(curve).Insert(early, end - kSecond * 2));
    EXPECT_TRUE(YFCurve(curve).Insert(early, kSecond, end - kSecond * 4));
    EXPECT_TRUE(curve.Insert(YFCurve(curve), kSecond * 5, YTIME_ZERO)) << "nothing to move";
    EXPECT_EQ(curve.KeyGetCount(), 6);
}

TEST(Copy, EvaluatesAlikeBetweenItsKeys)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 500; ++round) {
        YFCurve curve;
        random.AddKeys(curve, 2 + random.Below(8), 0.9);
        const int first = random.Below(curve.KeyGetCount());
        const int last = first + random.Below(curve.KeyGetCount() - first);
        const YTime start = curve.KeyGetTime(first);
        const YTime stop = curve.KeyGetTime(last);
        const YFCurvePtr copy(curve.Copy(start - YTime(5), stop + YTime(5)));
        ASSERT_EQ(copy->KeyGetCount(), last - first + 1);
        for (int i = 0; i < 30; ++i) {
            const YTime time = random.TimeBetween(start, stop);
            ASSERT_NEAR(copy->Evaluate(time), curve.Evaluate(time), 1e-4) << "round " << round;
        }
    }
    // A copy has records of its own: selecting its keys does not reach into the source.
    YFCurve source;
    YFCurveKey key;
    key.Set(YTIME_ZERO, 1.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 1.0f, 1.0f);
    for (int i = 0; i < 40; ++i) source.KeyAdd(kSecond * i, key);
    source.KeyShrink();
    YFCurve copy(source);
    copy.KeySelectAll();
    EXPECT_EQ(copy.KeyGetSelectionCount(), 40);
    EXPECT_EQ(source.KeyGetSelectionCount(), 0);
}

TEST(Move, CarriesTangentsPastOtherKeys)
{
    YFCurve curve;
    for (int i = 0; i < 4; ++i) {
        YFCurveKey key;
        const auto slope = static_cast<float>(10 * i);
        key.Set(YTIME_ZERO, static_cast<float>(i), YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK,
                slope + 1.0f,
                slope + 9.0f);  // key i has the slopes 10 (i-1) + 9 on its left and 10 i + 1 on its right
        curve.KeyAdd(kSecond * i, key);
    }
    EXPECT_EQ(curve.KeyMove(1, kSecond * 2), -1) << "occupied";
    EXPECT_EQ(curve.KeyMove(1, YTime::FromSeconds(2.5)), 2);
    EXPECT_EQ(curve.KeyGetValue(2), 1.0f);
    EXPECT_EQ(curve.KeyGetLeftDerivative(2), 9.0f);
    EXPECT_EQ(curve.KeyGetRightDerivative(2), 11.0f);
    EXPECT_EQ(curve.KeyGetValue(1), 2.0f);
    EXPECT_EQ(curve.KeyGetLeftDerivative(1), 19.0f);
    EXPECT_EQ(curve.KeyGetRightDerivative(1), 21.0f);
    EXPECT_EQ(curve.KeyGetLeftDerivative(3), 29.0f);

    curve.KeySetSelected(0, true);
    EXPECT_FALSE(curve.KeyMoveOf(true, kSecond * 3, 0.0f)) << "key 3 stays there";
    EXPECT_FALSE(curve.KeyMoveOf(false, YTIME_INFINITE, 0.0f)) << "beyond the range of time";
    EXPECT_EQ(curve.KeyGetTime(0), YTIME_ZERO);
    EXPECT_TRUE(curve.KeyMoveOf(true, kSecond * 4, 5.0f));
    EXPECT_EQ(curve.KeyGetValue(3), 5.0f);
    EXPECT_TRUE(curve.KeyGetSelected(3));
    EXPECT_TRUE(curve.KeyMoveOf(false, -kSecond, 0.0f));
    EXPECT_EQ(curve.KeyGetTime(3), kSecond * 3);
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

TEST(Convert, ToUserKeepsTheShape)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 500; ++round) {
        YFCurve curve;
        random.AddKeys(curve, 6, 0.9);
        const YFCurve old(curve);
        curve.KeyTangeantSetMode(false, YFCURVE_TANGENT_USER_BREAK);
        for (int i = 0; i < 40; ++i) {
            const YTime time = random.TimeBetween(curve.KeyGetTime(0), curve.KeyGetTime(5));
            ASSERT_NEAR(curve.Evaluate(time), old.Evaluate(time), 1e-4) << "round " << round;
        }
    }
    YFCurve curve;
    for (const float value : {0.0f, 4.0f, 1.0f}) curve.KeyAppendFast(kSecond * curve.KeyGetCount(), value);
    curve.KeyTangeantSetMode(false, YFCURVE_TANGENT_USER);
    curve.KeySetRightDerivative(1, 55.0f);
    curve.KeyTangeantSetMode(false, YFCURVE_TANGENT_AUTO);
    EXPECT_TRUE(curve.IsKeyInterpolationPureCubicAuto(1)) << "a slope is no parameter";
    EXPECT_EQ(curve.KeyGetRightDerivative(1), 0.5f);
    curve.KeyTangeantSetMode(false, YFCURVE_TANGENT_TCB);
    EXPECT_EQ(curve.KeyGetRightDerivative(1), 0.5f) << "tension, continuity and bias of 0";
}

TEST(Delete, SpansAndSelections)
{
    const auto ten = [](YFCurve& curve) { AddRamp(curve, 0, 10, 0.0f, 1.0f); };
    YFCurve curve;
    ten(curve);
    yfc::test::EventLog log(curve);
    EXPECT_TRUE(curve.Delete(kSecond * 2, kSecond * 7));
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(log.events[0].first, 2);
    EXPECT_EQ(log.events[0].last, 7) << "listeners hear of the whole range";
    EXPECT_EQ(yfc::test::KeySeconds(curve), (std::vector<double>{0, 1, 8, 9}));
    EXPECT_TRUE(curve.Delete(kSecond, kSecond * 9, false));
    EXPECT_EQ(yfc::test::KeySeconds(curve), (std::vector<double>{0, 1, 9}));
    EXPECT_FALSE(curve.Delete(kSecond * 2, kSecond * 8));
    EXPECT_FALSE(curve.Delete(1, 3));
    EXPECT_TRUE(curve.Delete(YTIME_MINUS_INFINITE, YTIME_INFINITE));
    EXPECT_EQ(curve.KeyGetCount(), 0);
    EXPECT_EQ(curve.GetValue(), 9.0f);
    ten(curve);
    for (const int i : {0, 1, 4, 9}) curve.KeySetSelected(i, true);
    EXPECT_TRUE(curve.DeleteSelected());
    EXPECT_EQ(yfc::test::KeySeconds(curve), (std::vector<double>{2, 3, 5, 6, 7, 8}));
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
        yfc::test::EventLog oneLog(one);
        yfc::test::EventLog allLog(all);
        one.KeyModifyBegin();
        for (std::size_t i = spans.size(); i > 0; --i) one.Delete(spans[i - 1].first, spans[i - 1].second);
        one.KeyModifyEnd();

        ASSERT_EQ(all.DeleteSelected(), !spans.empty()) << "round " << round;
        ASSERT_NO_FATAL_FAILURE(yfc::test::ExpectSameEdit(all, allLog, one, oneLog)) << "round " << round;
    }
}

TEST(Survey, PeaksAndSampledData)
{
    // Slopes 6 and 6 between 0 and 0 over 1 s: v(u) = 6u - 18u^2 + 12u^3, extremes at u = 1/2 +- sqrt(3)/6.
    YFCurve curve;
    YFCurveKey key;
    key.Set(YTIME_ZERO, 0.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 6.0f, 6.0f);
    curve.KeyAdd(YTIME_ZERO, key);
    curve.KeyAdd(kSecond, key);
    YTime times[2];
    float values[2];
    ASSERT_EQ(curve.FindPeaks(0, times[0], values[0], times[1], values[1]), 2);
    EXPECT_NEAR(times[0].GetSecondDouble(), 0.5 - std::sqrt(3.0) / 6.0, 1e-9);
    EXPECT_NEAR(times[1].GetSecondDouble(), 0.5 + std::sqrt(3.0) / 6.0, 1e-9);
    EXPECT_NEAR(values[0], 1.0 / std::sqrt(3.0), 1e-6);
    EXPECT_NEAR(values[1], -1.0 / std::sqrt(3.0), 1e-6);
    curve.KeySetInterpolation(0, YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(curve.FindPeaks(0, times[0], values[0], times[1], values[1]), 0);

    YFCurve sampled;
    for (int i = 0; i < 50; ++i) sampled.KeyAppendFast(YTime::FromFrame(i, eTimeMode::Fps120), 0.0f);
    EXPECT_EQ(sampled.GuessWasData(), 120);
    EXPECT_EQ(sampled.GetWasData(), 0) << "a guess stores nothing";
    sampled.KeyRemove(20);
    EXPECT_EQ(sampled.GuessWasData(), 0) << "a hole";
}

TEST(Candidate, BecomesAKey)
{
    YFCurve curve;
    EXPECT_EQ(curve.CandidateKey(), -1);
    curve.CandidateSet(kSecond, 4.0);
    EXPECT_EQ(curve.CandidateKey(), 0);
    EXPECT_FALSE(curve.IsCandidate());
    EXPECT_EQ(curve.KeyGetValue(0), 4.0f);
    curve.KeySetInterpolation(0, YFCURVE_INTERP_LINEAR);
    curve.CandidateSet(kSecond, 6.0);
    EXPECT_EQ(curve.CandidateKey(), 0);
    EXPECT_EQ(curve.KeyGetInterpolation(0), unsigned{YFCURVE_INTERP_LINEAR})
        << "an existing key keeps its kind";
    EXPECT_EQ(curve.KeyGetValue(0), 6.0f);
}

}  // namespace
