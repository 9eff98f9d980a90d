// Keys added, set, removed, moved and scaled; candidates.

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "random_curve.h"
#include "same_edit.h"

using namespace yfc::test;

namespace {

TEST(KeySet, RefusesWhatBreaksTheOrder)
{
    YFCurvePtr curve = MakeCurve({LinearKey(0), LinearKey(1), LinearKey(2)});
    const std::string before = Bits(*curve);
    EventLog log(*curve);
    YFCurveKey key = UserKey(9);
    for (const auto& [index, seconds] : {std::pair(1, 0.0), {1, 2.0}, {3, 2.0}, {4, 9.0}, {-1, 9.0}}) {
        key.SetTime(Sec(seconds));
        EXPECT_FALSE(curve->KeySet(index, key)) << index << " at " << seconds;
        EXPECT_FALSE(curve->KeySet(index, Sec(seconds), 9.0f)) << index << " at " << seconds;
    }
    EXPECT_EQ(Bits(*curve), before);
    EXPECT_TRUE(log.events.empty());

    for (const float value : {9.0f, 8.0f}) {  // of equal attributes
        key.SetTime(Sec(2) - YTime(1));
        key.SetValue(value);
        EXPECT_TRUE(curve->KeySet(1, key));
        EXPECT_EQ(curve->KeyGet(1).GetTime(), Sec(2) - YTime(1));
        ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REPLACED, 1, 1, 1)});
    }
    key.SetTime(Sec(5));
    EXPECT_TRUE(curve->KeySet(3, key));
    ExpectEvents(log,
                 {MakeEvent(YFCURVEEVENT_KEY_ADDED, 3, 3, 1), MakeEvent(YFCURVEEVENT_KEY_ADDED, 3, 3, 1)});
}

TEST(KeyClear, ReportsBothEnds)
{
    YFCurvePtr curve = MakeCurve({LinearKey(4), LinearKey(5), LinearKey(6)});
    EventLog log(*curve);
    curve->KeyClear();
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REMOVED, 0, 3, 2)});
    EXPECT_EQ(curve->GetValue(), 0.0f);
    curve->KeyAdd(Sec(1), LinearKey(4));
    log.Take();
    EXPECT_TRUE(curve->KeyRemove(0));
    EXPECT_EQ(curve->GetValue(), 4.0f) << "a last key that is removed leaves its value";
    ExpectEvents(log, {MakeEvent(YFCURVEEVENT_KEY_REMOVED | YFCURVEEVENT_CURVE_VALUE, 0, 0, 2)});
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
    EXPECT_EQ(Slopes(*curve), (std::vector<float>{1, 1, 19, 21, 9, 11, 29, 29}));
    // An end key takes the slope of its only side to both.
    for (const auto& [end, slopes] : {std::pair{0, std::vector<float>{11, 11, 1, 1, 19, 21, 29, 29}},
                                      {3, std::vector<float>{1, 1, 9, 11, 29, 29, 19, 19}}}) {
        const YFCurvePtr unbroken =
            MakeCurve({UserKey(0, 1, 9), UserKey(1, 11, 19), UserKey(2, 21, 29), UserKey(3, 31)});
        EXPECT_EQ(unbroken->KeyMove(end, Sec(end == 0 ? 1.5 : 1.25)), end == 0 ? 1 : 2);
        EXPECT_EQ(Slopes(*unbroken), slopes);
    }
    curve->KeySetSelected(0, true);
    EXPECT_FALSE(curve->KeyMoveOf(true, Sec(3), 0.0f)) << "key 3 stays there";
    for (const YTime beyond : {YTIME_INFINITE, YTIME_MINUS_INFINITE})
        EXPECT_FALSE(curve->KeyMoveOf(false, beyond, 0.0f)) << "no time of keys";
    EXPECT_TRUE(curve->KeyMoveOf(true, Sec(4), 5.0f));
    EXPECT_TRUE(curve->KeyMoveOf(false, Sec(-1), 0.0f));
    EXPECT_EQ(KeySeconds(*curve), (std::vector{1.0, 1.5, 2.0, 3.0}));
    EXPECT_EQ(KeyValues(*curve), (std::vector{2.0f, 1.0f, 3.0f, 5.0f}));
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
    sampled.KeyRemove(20);
    EXPECT_EQ(sampled.GuessWasData(), 0) << "a hole";
}

TEST(Candidate, IsAOneEntryCacheThatBecomesAKey)
{
    YFCurvePtr curve = MakeCurve({LinearKey(0), LinearKey(10)});
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.5)), 5.0f);
    curve->CandidateSet(Sec(0.5), 7.0);
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.5)), 7.0f);
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.25)), 2.5f);
    EXPECT_EQ(curve->CandidateGetTime(), Sec(0.25));
    curve->CandidateClear();
    EXPECT_EQ(curve->CandidateKey(), -1);
    for (const auto& [seconds, key, interpolation] :
         {std::tuple(0.5, 1, YFCURVE_INTERP_CUBIC), {0.0, 0, YFCURVE_INTERP_LINEAR}}) {
        curve->CandidateSet(Sec(seconds), 7.0);
        EXPECT_EQ(curve->CandidateKey(), key);
        EXPECT_EQ(curve->KeyGetValue(key), 7.0f);
        EXPECT_EQ(curve->KeyGetInterpolation(key), interpolation) << "an existing key keeps its kind";
        EXPECT_FALSE(curve->IsCandidate());
    }
    using Change = void (*)(YFCurve & curve);
    for (const Change change :
         {Change([](YFCurve& c) { c.KeyAppendFast(Sec(4), 1.0f); }),
          Change([](YFCurve& c) { c.KeyRemove(0); }), Change([](YFCurve& c) { c.KeyClear(); })}) {
        curve->CandidateSet(Sec(0.5), 7.0);
        const YFCurveModify modify(*curve);
        change(*curve);
        EXPECT_FALSE(curve->IsCandidate()) << "at once";
    }
}

}  // namespace
