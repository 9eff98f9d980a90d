#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>

#include "curve_fixtures.h"
#include "tests/test_environment.h"

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
}

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

}  // namespace

// --- Finding -------------------------------------------------------------------------------------------

TEST(KeyFind, PositionsAndHints)
{
    YFCurve empty;
    int hint = 3;
    EXPECT_EQ(empty.KeyFind(Sec(1), &hint), -1.0);

    YFCurvePtr curve = MakeSamples(5);
    EXPECT_EQ(curve->KeyFind(Sec(-1), &hint), -0.5);
    EXPECT_EQ(hint, 0);
    EXPECT_EQ(curve->KeyFind(Sec(9), &hint), 4.5);
    EXPECT_EQ(hint, 5);
    EXPECT_EQ(curve->KeyFind(Sec(3), &hint), 3.0);
    EXPECT_EQ(hint, 3);

    // Forwards the hint is the key behind the time, backwards the one before it.
    EXPECT_EQ(curve->KeyFind(Sec(3.25), &hint), 3.25);
    EXPECT_EQ(hint, 4);
    EXPECT_EQ(curve->KeyFind(Sec(3.25), &hint), 3.25);
    EXPECT_EQ(hint, 3);

    // Without a hint of the caller's, the curve keeps one.
    EXPECT_EQ(curve->KeyFind(Sec(1.5)), 1.5);
    for (const int wild : {-7, 1000, INT_MIN, INT_MAX}) ExpectFoundAsByWalking(*curve, Sec(2.75), wild);
}

TEST(KeyFind, FindsAsAWalkDoes)
{
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 60; ++round) {
        const int count = random.Pick({1, 2, 3, 17, 64, 65, 300, 20000});
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
            const int near = random.Int(0, count - 1);
            const std::int64_t offset =
                random.Pick<std::int64_t>({0, 1, -1, spacing, random.Integer(-time, time)});
            ExpectFoundAsByWalking(curve, curve.KeyGetTime(near) + YTime(offset), random.Int(-1, count + 1));
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
        int last = hint;
        EXPECT_EQ(curve.KeyFind(YTime(INT64_MIN), &last), -0.5);
        last = hint;
        EXPECT_EQ(curve.KeyFind(YTime(INT64_MAX), &last), 3.5);
        last = hint;
        EXPECT_NEAR(curve.KeyFind(YTime(-INT64_MAX / 2), &last), 0.5, 1e-12);
        last = hint;
        EXPECT_NEAR(curve.KeyFind(YTime(INT64_MAX / 4), &last), 2.25, 1e-12);
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
    EventLog log(*curve);
    YFCurveKey key = UserKey(9);
    for (const double time : {0.0, -1.0, 2.0, 3.0}) {
        key.SetTime(Sec(time));
        EXPECT_FALSE(curve->KeySet(1, key)) << time;
    }
    key.SetTime(Sec(2));
    EXPECT_FALSE(curve->KeySet(3, key)) << "behind the last key, but not after it";
    EXPECT_EQ(curve->KeyGetValue(1), 1.0f);
    EXPECT_EQ(curve->KeyGetInterpolation(1), YFCURVE_INTERP_LINEAR);
    EXPECT_TRUE(log.events.empty());

    key.SetTime(Sec(2) - YTime(1));
    EXPECT_TRUE(curve->KeySet(1, key));
    EXPECT_EQ(curve->KeyGet(1).GetTime(), Sec(2) - YTime(1));
    ExpectEvents(log, {MakeEvent(0xE010, 1, 1, 1)});

    // Value alone, attributes equal: listeners still hear of it.
    key.SetValue(8);
    EXPECT_TRUE(curve->KeySet(1, key));
    EXPECT_EQ(log.TakeTypes(), std::vector<unsigned>{0xE010});

    key.SetTime(Sec(5));
    EXPECT_TRUE(curve->KeySet(3, key));
    EXPECT_EQ(curve->KeyGetCount(), 4);
    ExpectEvents(log, {MakeEvent(0x810, 3, 3, 1), MakeEvent(0x810, 3, 3, 1)});
}

TEST(KeyRemove, TheLastKeyLeavesItsValue)
{
    YFCurvePtr curve = MakeCurve({LinearKey(4)});
    EventLog log(*curve);
    EXPECT_TRUE(curve->KeyRemove(0));
    EXPECT_EQ(curve->KeyGetCount(), 0);
    EXPECT_EQ(curve->GetValue(), 4.0f);
    EXPECT_EQ(curve->Evaluate(Sec(7)), 4.0f);
    ExpectEvents(log, {MakeEvent(0x1011, 0, 0, 2)});
}

TEST(KeyClear, ReportsBothEnds)
{
    YFCurvePtr curve = MakeCurve({LinearKey(4), LinearKey(5), LinearKey(6)});
    curve->SetValue(1.0f);
    curve->CandidateSet(Sec(1), 3.0);
    EventLog log(*curve);
    curve->KeyClear();
    ExpectEvents(log, {MakeEvent(0x1010, 0, 3, 2)});
    EXPECT_EQ(curve->GetValue(), 1.0f);
    EXPECT_FALSE(curve->IsCandidate());
}

// --- Events --------------------------------------------------------------------------------------------

TEST(Events, EachSetterRaisesItsOwn)
{
    YFCurvePtr curve = MakeCurve({UserKey(0, 1), UserKey(1), UserKey(2)});
    EventLog log(*curve);
    const auto expect = [&](unsigned type, int index, auto change) {
        const std::uint32_t id = curve->GetUpdateId();
        change();
        ExpectEvents(log, {MakeEvent(type, index, index, 1)});
        EXPECT_EQ(curve->GetUpdateId() - id, (type & 0x100) != 0 ? 0x10000u : 1u);
    };
    const auto expectNone = [&](auto change) {
        const std::uint32_t id = curve->GetUpdateId();
        change();
        EXPECT_TRUE(log.Take().empty());
        EXPECT_EQ(curve->GetUpdateId(), id);
    };
    expect(0x8010, 1, [&] { curve->KeySetInterpolation(1, YFCURVE_INTERP_LINEAR); });
    expect(0x8010, 1, [&] { curve->KeySetInterpolation(1, YFCURVE_INTERP_CUBIC); });
    expect(0x8010, 0, [&] { curve->KeySetConstantMode(0, YFCURVE_CONSTANT_NEXT); });
    expect(0x8010, 0, [&] { curve->KeySetTangeantMode(0, YFCURVE_TANGENT_USER); });
    expect(0x8010, 0, [&] { curve->KeySetTangeantWeightMode(0, YFCURVE_WEIGHT_ALL, YFCURVE_WEIGHT_RIGHT); });
    expect(0x8010, 0, [&] { curve->KeySetTangeantVelocityMode(0, YFCURVE_VELOCITY_ALL); });
    expect(0x8010, 0, [&] { curve->KeySetDataDouble(0, YFCURVEKEY_RIGHT_DERIVATIVE, 2.0f); });
    expect(0x8010, 0, [&] { curve->KeySetDataFloat(0, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, 2.0f); });
    expect(0x8010, 2, [&] { curve->KeySetBreak(2, true); });
    expect(0x0100, 2, [&] { curve->KeySetSelected(2, true); });
    expect(0x0100, 2, [&] { curve->KeySetTangeantVisibility(2, YFCURVE_SHOW_BOTH); });
    expect(0x2010, 0, [&] { curve->KeySetValue(0, 0.0f); });
    expect(0x2010, 0, [&] { curve->KeyIncValue(0, 0.0f); });
    expect(0x2010, 0, [&] { curve->KeyMultValue(0, 1.0f); });
    expect(0x4010, 0, [&] { curve->KeySetTime(0, Sec(0)); });
    expect(0x4010, 0, [&] { curve->KeyIncTime(0, Sec(0)); });
    expect(0x0001, -1, [&] { curve->SetValue(3.0f); });
    expect(0x8010, -1, [&] { curve->SetPreExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION); });
    expect(0x8010, -1, [&] { curve->SetPreExtrapolationCount(2); });
    expect(0x8010, -1, [&] { curve->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE); });
    expect(0x8010, -1, [&] { curve->SetPostExtrapolationCount(2); });
    expect(0x0100, -1, [&] { curve->KeySelectAll(); });
    expect(0x0100, -1, [&] { curve->KeyUnselectAll(); });

    expectNone([&] { curve->KeySetMarkedForManipulation(1, true); });
    expectNone([&] { curve->KeySetInterpolation(1, YFCURVE_INTERP_CUBIC); });
    expectNone([&] { curve->KeySetTangeantWeightMode(0, 0, YFCURVE_WEIGHT_NEXT_LEFT); });
    expectNone([&] { curve->KeySetDataDouble(0, YFCURVEKEY_RIGHT_DERIVATIVE, 2.0f); });
    expectNone([&] { curve->KeySetSelected(1, false); });
    expectNone([&] { curve->KeySetTangeantVisibility(1, YFCURVE_SHOW_NONE); });
    expectNone([&] { curve->SetValue(3.0f); });
    expectNone([&] { curve->CandidateSet(Sec(1), 1.0); });

    // A new key is a replaced slot, then an added key.
    curve->KeyAdd(Sec(1.5), LinearKey(1));
    ExpectEvents(log, {MakeEvent(0xE010, 2, 2, 1), MakeEvent(0x810, 2, 2, 1)});
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
    ExpectEvents(log, {MakeEvent(0x6011, 2, 4, 4)});

    // What opens a bracket of its own leaves the outer one open.
    curve->KeyModifyBegin();
    curve->KeySelectAll();
    curve->KeyUnselectAll();
    curve->KeyTangeantHide();
    curve->KeyTangeantSetMode(false, YFCURVE_TANGENT_USER);
    curve->KeySetRightTangeantWeight(1, 0.5f);
    curve->KeySetLeftDerivative(2, 3.0f);
    curve->KeyInsert(Sec(3.5));
    curve->KeyRemove(0);
    EXPECT_TRUE(log.events.empty());
    curve->KeyModifyEnd();
    EXPECT_EQ(log.Take().size(), 1u);

    {
        const YFCurveModify nothing(*curve);
    }
    EXPECT_TRUE(log.events.empty());
}

TEST(Events, ListenersAreCalledInOrderAndLeaveFromTheEnd)
{
    static std::vector<int> calls;
    calls.clear();
    const YFCurveCallback record = [](YFCurve*, YFCurveEvent*, void* object) {
        calls.push_back(*static_cast<int*>(object));
    };
    int a = 1;
    int b = 2;
    YFCurvePtr curve = MakeSamples(1);
    for (int* object : {&a, &b, &a}) curve->CallbackRegister(record, object);
    curve->KeySetValue(0, 1.0f);
    EXPECT_EQ(calls, (std::vector<int>{1, 2, 1}));

    calls.clear();
    curve->CallbackUnregister(record, &a);
    curve->KeySetValue(0, 1.0f);
    EXPECT_EQ(calls, (std::vector<int>{1, 2})) << "the latest registration goes first";

    calls.clear();
    curve->CallbackUnregister(record, nullptr);
    curve->CallbackUnregister(record, &a);
    curve->CallbackUnregister(record, &a);
    curve->KeySetValue(0, 1.0f);
    EXPECT_EQ(calls, std::vector<int>{2});
    curve->CallbackUnregister(record, &b);
}

TEST(Events, AListenerMayEditAndUnregister)
{
    struct Editor
    {
        int calls = 0;
        static void OnEvent(YFCurve* curve, YFCurveEvent* event, void* object)
        {
            auto* self = static_cast<Editor*>(object);
            ++self->calls;
            EXPECT_EQ(event->count, 1);
            if (self->calls == 1) curve->SetValue(5.0f);
            if (self->calls == 2) curve->CallbackUnregister(&OnEvent, object);
        }
    };
    Editor editor;
    YFCurvePtr curve = MakeSamples(1);
    curve->CallbackRegister(&Editor::OnEvent, &editor);
    curve->KeySetValue(0, 1.0f);
    EXPECT_EQ(editor.calls, 2);
    curve->KeySetValue(0, 2.0f);
    EXPECT_EQ(editor.calls, 2);
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
    ExpectEvents(log, {MakeEvent(0x2110, 0, 2, 2)});
    curve->CallbackEnable(true);
    EXPECT_TRUE(log.events.empty());

    curve->CallbackEnable(false);
    curve->KeyModifyBegin();
    curve->KeySetValue(1, 1.0f);
    curve->KeyModifyEnd();
    ExpectEvents(log, {MakeEvent(0x2010, 1, 1, 1)});
    EXPECT_TRUE(curve->CallbackIsEnabled());

    curve->CallbackEnable(false);
    curve->KeySetValue(1, 1.0f);
    curve->CallbackClear();
    curve->CallbackEnable(true);
    EXPECT_TRUE(log.events.empty());
}

TEST(Events, DestructionClearsTheKeysThenSaysGoodbye)
{
    for (const bool silenced : {false, true}) {
        YFCurvePtr curve = MakeSamples(2);
        EventLog log(*curve);
        if (silenced) curve->CallbackEnable(false);
        curve.reset();
        ExpectEvents(log, {MakeEvent(0x1010, 0, 2, 2), MakeEvent(0x0200, -1, -1, 1)});
    }
}

// --- Candidate -----------------------------------------------------------------------------------------

TEST(Candidate, IsAOneEntryCacheThatKeyChangesClear)
{
    YFCurvePtr curve = MakeCurve({LinearKey(0), LinearKey(10)});
    EXPECT_FALSE(curve->IsCandidate());
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.5)), 5.0f);
    EXPECT_TRUE(curve->IsCandidate());
    EXPECT_EQ(curve->CandidateGetTime(), Sec(0.5));
    curve->CandidateSet(Sec(0.5), 7.0);
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.5)), 7.0f);
    EXPECT_EQ(curve->Evaluate(Sec(0.5)), 5.0f);
    EXPECT_EQ(curve->CandidateEvaluate(Sec(0.25)), 2.5f);
    EXPECT_EQ(curve->CandidateGet(), 2.5);
    curve->CandidateClear();
    EXPECT_EQ(curve->CandidateGet(), 0.0);
    EXPECT_EQ(curve->CandidateGetTime(), YTIME_INFINITE);

    const auto expectCleared = [&](const char* what, auto change) {
        curve->CandidateSet(Sec(0.5), 7.0);
        change();
        EXPECT_FALSE(curve->IsCandidate()) << what;
    };
    YFCurveKey key = curve->KeyGet(1);
    expectCleared("value", [&] { curve->KeySetValue(0, 1.0f); });
    expectCleared("time", [&] { curve->KeySetTime(0, Sec(-1)); });
    expectCleared("interpolation", [&] { curve->KeySetInterpolation(0, YFCURVE_INTERP_CUBIC); });
    expectCleared("mode", [&] { curve->KeySetTangeantMode(0, YFCURVE_TANGENT_AUTO); });
    expectCleared("slope", [&] { curve->KeySetRightDerivative(0, 3.0f); });
    expectCleared("weight", [&] { curve->KeySetRightTangeantWeight(0, 0.5f); });
    expectCleared("set", [&] { curve->KeySet(1, key); });
    expectCleared("add", [&] { curve->KeyAdd(Sec(3), key); });
    expectCleared("fast", [&] { curve->KeyAppendFast(Sec(4), 1.0f); });
    expectCleared("remove", [&] { curve->KeyRemove(0); });
    expectCleared("bracket", [&] { const YFCurveModify modify(*curve); });
    expectCleared("room", [&] { curve->ResizeKeyBuffer(1, false); });
}
