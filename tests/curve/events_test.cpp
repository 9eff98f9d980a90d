// What listeners hear of edits.

#include <gtest/gtest.h>

#include <vector>

#include "random_curve.h"
#include "same_edit.h"

using namespace yfc::test;

namespace {

constexpr unsigned kAttr = YFCURVEEVENT_KEY_ATTR_CHANGED;
constexpr unsigned kValue = YFCURVEEVENT_KEY_VALUE_CHANGED;
constexpr unsigned kTime = YFCURVEEVENT_KEY_TIME_CHANGED;
constexpr unsigned kSelection = YFCURVEEVENT_SELECTION;

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
    expect(kAttr, 0, [&] { curve->KeySetTangeantVelocityMode(0, YFCURVE_VELOCITY_ALL); });
    expect(kAttr, 0, [&] { curve->KeySetDataDouble(0, YFCURVEKEY_RIGHT_DERIVATIVE, 2.0f); });
    expect(kAttr, 2, [&] { curve->KeySetBreak(2, true); });
    expect(kSelection, 2, [&] { curve->KeySetSelected(2, true); });
    expectNone([&] { curve->KeySetSelected(2, true); });
    expect(kSelection, 2, [&] { curve->KeySetTangeantVisibility(2, YFCURVE_SHOW_BOTH); });
    expect(kValue, 0, [&] { curve->KeySetValue(0, 0.0f); });
    expect(kValue, 0, [&] { curve->KeyIncValue(0, 0.0f); });
    expect(kValue, 0, [&] { curve->KeyMultValue(0, 1.0f); });
    expect(kTime, 0, [&] { curve->KeyIncTime(0, Sec(0)); });
    expect(YFCURVEEVENT_CURVE_VALUE, -1, [&] { curve->SetValue(3.0f); });
    expect(kAttr, -1, [&] { curve->SetPreExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION); });
    expect(kAttr, -1, [&] { curve->SetPostExtrapolationCount(2); });
    expect(kSelection, -1, [&] { curve->KeySelectAll(); });
    expectNone([&] { curve->KeySetMarkedForManipulation(1, true); });
    expectNone([&] { curve->SetValue(3.0f); });
    expectNone([&] { curve->CandidateSet(Sec(1), 1.0); });

    // A new key is a replaced slot, then an added key.
    curve->KeyAdd(Sec(1.5), LinearKey(1));
    ExpectEvents(log,
                 {MakeEvent(YFCURVEEVENT_KEY_REPLACED, 2, 2, 1), MakeEvent(YFCURVEEVENT_KEY_ADDED, 2, 2, 1)});
    EXPECT_EQ(curve->GetValuesUpdateId(), curve->GetUpdateId() & 0xFFFF);
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
        curve->KeyTangeantSetMode(false, YFCURVE_TANGENT_USER);
        curve->KeySetRightTangeantWeight(1, 0.5f);
        curve->KeyInsert(Sec(3.5));
        curve->KeyRemove(0);
        EXPECT_TRUE(log.events.empty());
    }
    EXPECT_EQ(log.Take().size(), 1u);
}

TEST(Events, ListenersAreCalledInOrderLeaveFromTheEndAndMayEdit)
{
    static std::vector<int> calls;
    const YFCurveCallback record = [](YFCurve* curve, YFCurveEvent* event, void* object) {
        calls.push_back(*static_cast<int*>(object));
        if (calls.back() == 2 && event->type == kValue) curve->SetValue(5.0f);
    };
    int a = 1, b = 2;
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
    for (const bool bracket : {false, true}) {
        curve->CallbackEnable(false);
        if (bracket) curve->KeyModifyBegin();
        curve->KeySetValue(0, 1.0f);
        curve->KeySetSelected(2, !bracket);
        EXPECT_TRUE(log.events.empty());
        if (bracket) curve->KeyModifyEnd();
        if (!bracket) curve->CallbackEnable(true);
        ExpectEvents(log, {MakeEvent(kValue | kSelection, 0, 2, 2)});
    }
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

}  // namespace
