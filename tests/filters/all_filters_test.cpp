#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/curve/same_edit.h"
#include "tests/curve/talo_text.h"
#include "tests/filters/made_filter.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvesettings.h"
#include "yfcurve/ymemoryblockqueue.h"

/// \file
/// What holds for every filter of the registry, whatever it does.

namespace {

// A joint, and a curve beside it.
struct Motion
{
    YFCurveNodePtr joint = nodetest::Joint();
    YFCurvePtr single{YFCurveCreate()};
    std::vector<YFCurve*> curves{single.get()};

    Motion()
    {
        for (int i = 0; i < 9; ++i) curves.push_back(&nodetest::CurveOf(Property(i / 3), i % 3));
    }

    YFCurveNode& Property(int index) const { return *joint->Get(index); }

    std::string Bytes() const
    {
        std::string bytes;
        for (const YFCurve* curve : curves)
            bytes += yfc::test::Bits(*curve) + "|" + std::to_string(curve->GetValue()) + "|" +
                     std::to_string(curve->GetUpdateId()) + "|" +
                     std::to_string(curve->GetPreExtrapolation()) + "|" +
                     std::to_string(curve->GetPostExtrapolation()) + "|";
        return bytes;
    }
};

// Applies a filter in every way that there is, and checks after each what it has returned.
void ApplyEverywhere(
    YFCurveFilter& filter, const Motion& motion, const std::function<void(bool)>& check = [](bool) {})
{
    for (int property = 0; property < 3; ++property) {
        YFCurve* const* curves = motion.curves.data() + 1 + 3 * property;
        YFCurve* three[] = {curves[0], curves[1], curves[2]};
        filter.NeedApply(three, 3);
        check(filter.Apply(three, 3));
        check(filter.Apply(motion.Property(property), true));
    }
    check(filter.Apply(*motion.joint, true));
    check(filter.Apply(*motion.single));
}

class AllFilters : public ::testing::TestWithParam<std::string>
{
  protected:
    FilterPtr Make() const { return MadeFilter(GetParam()); }
};

// Where a filter reports no change, all bytes of the curves are as before, and so are those of locked curves. While the
// brackets of edits are open, listeners of the curves are told of nothing.
TEST_P(AllFilters, KeysStayInOrderWhateverTheyHold)
{
    // Moves its keys and returns false all the same.
    const bool returnsFalse = GetParam() == "TimeShiftAndScale";
    const auto count = [](YFCurve*, YFCurveEvent*, void* object) { ++*static_cast<int*>(object); };
    RandomCurves random;
    constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max()};
    for (const int keyCount : {0, 1, 2, 3, 40}) {
        for (const bool withOddValues : {false, true}) {
            Motion motion;
            for (YFCurve* curve : motion.curves) {
                random.AddKeys(*curve, keyCount, 0.9);
                for (int i = 0; withOddValues && i < keyCount; ++i)
                    if (random.Chance(0.2)) curve->KeySetValue(i, odd[random.Below(4)]);
            }
            motion.Property(1).SetUseQuaternion(random.Chance(0.5));
            const FilterPtr filter = Make();
            for (const char* name : {"Shift", "Scale", "Offset"}) filter->SetParameter(name, "2");
            if (random.Chance(0.5))
                filter->SetStartTime(random.TimeBetween(YTIME_ZERO, YTime::FromSeconds(3)));
            if (random.Chance(0.5))
                filter->SetStopTime(random.Chance(0.5)
                                        ? random.TimeBetween(YTIME_ZERO, YTime::FromSeconds(20))
                                        : YTime::FromFrame(random.Below(600)));
            int events = 0;
            const bool locked = random.Chance(0.2);
            for (YFCurve* curve : motion.curves) {
                curve->SetLockedByProperty(locked);
                curve->CallbackRegister(count, &events);
                curve->KeyModifyBegin();
            }
            std::string before = motion.Bytes();
            ApplyEverywhere(*filter, motion, [&](bool applied) {
                const bool changed = filter->GetOutcome() == eFilterOutcome::Changed;
                EXPECT_TRUE(applied || !changed || returnsFalse);
                EXPECT_TRUE((changed && !locked) || motion.Bytes() == before);
                before = motion.Bytes();
            });
            EXPECT_EQ(events, 0);
            for (YFCurve* curve : motion.curves) {
                events = 0;
                curve->KeyModifyEnd();
                EXPECT_LE(events, 1);
                curve->CallbackUnregister(count, &events);
                for (int i = 1; i < curve->KeyGetCount(); ++i)
                    ASSERT_LT(curve->KeyGetTime(i - 1), curve->KeyGetTime(i));
            }
        }
    }
}

std::string TextOf(const YProperty& property)
{
    char text[YPropertyTextSize];
    property.GetString(text, sizeof text);
    return text;
}

// Gives a property another text than it has.
void SetOther(YFCurveFilter& filter, const YProperty& property)
{
    const std::string before = TextOf(property);
    for (const char* other : {"false", "true", "3,2,1", "XZY", "EachAngle", "broken", "0.75", "5"})
        if (TextOf(property) == before) filter.SetParameter(property.GetName(), other);
    EXPECT_NE(TextOf(property), before) << property.GetName();
}

TEST_P(AllFilters, ResetBringsBackWhatTheyStartWith)
{
    const FilterPtr filter = Make();
    EXPECT_EQ(filter->GetClassIdName(), "YFCurveFilter" + GetParam());
    EXPECT_STRNE(YClassRegistry::Find(filter->GetClassIdName())->GetOptions().summary, "");
    filter->Reset();
    for (int i = 0; i < filter->GetPropertyList().GetCount(); ++i) {
        const YProperty& property = *filter->GetPropertyList().Get(i);
        const std::string name = property.GetName();
        const std::string before = TextOf(property);
        SetOther(*filter, property);
        filter->Reset();
        // This one has no defaults of its own to go back to.
        if (GetParam().ends_with("ShiftAndScale") && name != "Start" && name != "Stop") continue;
        EXPECT_EQ(TextOf(property), before) << name;
    }
}

// Where a filter has parameters that are needed, any of them alone makes it do something, and no other does.
TEST_P(AllFilters, NeededParametersAreThoseThatMatterAlone)
{
    RandomCurves random;
    const auto isNeeded = [](const YProperty& property) {
        return property.GetDescription()->GetOptions().needed;
    };
    const int count = Make()->GetPropertyList().GetCount();
    bool any = false;
    for (int i = 0; i < count; ++i) any = any || isNeeded(*Make()->GetPropertyList().Get(i));
    for (int i = 0; any && i < count; ++i) {
        Motion motion;
        for (YFCurve* curve : motion.curves) random.AddKeys(*curve, 20, 0.0);
        const FilterPtr filter = Make();
        const YProperty& property = *filter->GetPropertyList().Get(i);
        SetOther(*filter, property);
        const std::string before = motion.Bytes();
        ApplyEverywhere(*filter, motion);
        EXPECT_EQ(motion.Bytes() != before, isNeeded(property)) << property.GetName();
    }
}

// A filter, parameters, and something that it leaves as it is: with which status and text.
TEST(Filters, SayWhyTheyLeaveThingsAsTheyAre)
{
    const char* still = "TimeShiftAndScaleFilter, No key were changed by filter.";
    const char* goesOn =
        "A curve repeats or goes on outside its keys at times at which another one has keys.";
    const struct
    {
        const char *name, *settings, *subject;
        int status;
        const char* text;
    } cases[] = {
        {"KeyReducer", "Start=9", "line", 1, "KeyReducer, Invalid Time Span. No key were changed by filter."},
        {"ConstantKeyReducer", "", "empty", 0, "ConstantKeyReducer, No key to be filtered."},
        {"KeysOnFrame", "", "empty", 0, "KeysOnFrame, No key to be filtered."},
        {"KeySync", "", "line", 1, "KeySyncFilter, No key were changed by filter."},
        {"Resample", "", "empty", 1, "Bad Interval"},
        {"Butterworth", "", "empty", 1, "Bad Interval"},
        {"Smooth", "Start=9", "line", 0, "Error"},
        {"Smooth2", "", "line", 3, "FCurveSmooth2, This filter only works on 3 curves."},
        {"Smooth2", "", "two curves", 3, "FCurveSmooth2, You need 3 curves."},
        {"Smooth2", "", "turning", 2, "FCurveSmooth2, No translation. No key to be filtered."},
        {"Smooth2", "", "translation", 0, "FCurveSmooth2, No keys."},
        {"Smooth2", "Start=9", "moving", 1, "FCurveSmooth2, Invalid Time Span."},
        {"EulerToQuat", "", "rotation", 0, "Euler To Quaternion, No key to be filtered."},
        {"EulerToQuat", "", "quaternions", 1, "Euler To Quaternion, Node not in Euler."},
        {"QuatToEuler", "", "turning", 2, "Quaternion To Euler, Not a quaternion Node."},
        {"Roll", "", "rotation", 0, "FilterRoll, No key to be filtered."},
        {"Roll", "", "translation", 2, "FilterRoll, You need 3 rotation curves."},
        {"Roll", "Start=1 Stop=0", "turning", 4, "FilterRoll. StartTime is after StopTime."},
        {"EulerToQuat", "", "repeating", 1, goesOn},
        {"Unroll", "", "repeating quaternions", 3, goesOn},
        {"UnrollDof", "", "repeating", 3, goesOn},
        {"GimbleKiller2", "", "repeating", 1, goesOn},
        {"Roll", "", "repeating quaternions", 1, goesOn},
        {"Unroll", "", "translation", 2, "Unroll Filter, Works only on rotation CurveNodes."},
        {"GimbleKiller", "", "rotation", 0, "Gimble Killer, No key to be filtered."},
        {"GimbleKiller", "", "turning", 1, "Gimble Killer, No key were changed by filter."},
        {"MatrixConverter", "", "joint", 1, "MatrixConverter, No key were changed by filter."},
        {"MatrixConverter", "", "moving", 3, "MatrixConverter, Missing curve."},
        {"MatrixConverter", "", "two curves", 2, "MatrixConverter, invalid apply method."},
        {"Offset", "", "line", 1, "FilterOffset, No key were changed by filter."},
        {"Scale", "Scale=0", "line", 1, "FilterScale, No key were changed by filter."},
        {"Clamp", "Ceil=1", "line", 1, "ClampFilter, No key were changed by filter."},
        {"TimeClamp", "", "line", 2, "FilterTimeClamp. Either Min or Max are not valid."},
        {"TimeClamp", "Min=1.25 Max=1.75", "line", 1, "FilterTimeClamp. No key were changed by filter."},
        // Keys that would meet or leave time stay.
        {"TimeShiftAndScale", "Scale=1e-13", "line", 1, still},
        {"TimeShiftAndScale", "Shift=inf", "line", 1, still},
        {"DeleteKey", "", "empty", 0, "DeleteKeyFilter, No key to be filtered."},
        {"DeleteKey", "CutTimeInterval=false Start=0.25 Stop=0.75", "line", 1,
         "DeleteKeyFilter, No key were changed by filter."}};
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.name << ' ' << one.settings << " on " << one.subject);
        const FilterPtr filter = MadeFilter(one.name, one.settings);
        Motion motion;
        const std::string subject = one.subject;
        if (subject == "line") nodetest::SetKeys(*motion.single, {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}});
        YFCurveNode& property = motion.Property(subject == "translation" || subject == "moving" ? 0 : 1);
        for (int axis = 0; axis < 3 && subject.find("ing") != std::string::npos; ++axis)
            nodetest::SetKeys(nodetest::CurveOf(property, axis), {{0.0, 0.0f}, {1.0, 50.0f}, {2.0, 20.0f}});
        if (subject.starts_with("repeating")) {
            YFCurve& curve = nodetest::CurveOf(property, 0);
            curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
            curve.SetPostExtrapolationCount(1);
            nodetest::SetKeys(nodetest::CurveOf(property, 1), {{3.0, 1.0f}});
        }
        property.SetUseQuaternion(subject.ends_with("quaternions"));
        const std::string before = motion.Bytes();
        const bool isCurve = subject == "line" || subject == "empty";
        YFCurve* two[] = {motion.curves[1], motion.curves[2]};
        EXPECT_FALSE(isCurve                   ? filter->Apply(*motion.single)
                     : subject == "two curves" ? filter->Apply(two, 2)
                     : subject == "joint"      ? filter->Apply(*motion.joint, false)
                                               : filter->Apply(property, true));
        EXPECT_EQ(filter->GetLastErrorID(), one.status);
        EXPECT_STREQ(filter->GetLastErrorString(), one.text);
        EXPECT_EQ(motion.Bytes(), before);
    }
}

// --- Threads -------------------------------------------------------------------------------------------

// The life of some trees: made, edited, stored, read, and filtered by every filter with frames of the thread's
// own. Returns what came of it; the trees end with `motions`, perhaps on another thread.
std::string LiveThrough(int which, std::vector<Motion>& motions)
{
    RandomCurves random(static_cast<unsigned>(which));
    const YThreadFrameRate frames({24 + which, 1});
    const YFCurveThreadPlotPeriod period(YTime::FromFrame(2));
    std::string outcome;
    for (const std::string& name : FilterNames()) {
        Motion motion;
        for (YFCurve* curve : motion.curves) random.AddKeys(*curve, 20 + 5 * which, 0.5);
        motion.curves[4]->KeySetSelectedAll(true);
        for (int i = 0; i < 100; ++i) motion.single->KeyAppendFast(YTime::FromSeconds(90 + i), 1.0f);
        const std::string text = Written([&](YTalo& talo) { motion.joint->TaloStore(&talo); });
        const YFCurveNodePtr read = yfc::test::Read(
            text, [](YTalo& talo) { return YFCurveNodePtr(YFCurveNodeCreate(&talo, false)); });
        const FilterPtr filter = MadeFilter(name);
        filter->Reset();
        ApplyEverywhere(*filter, motion);
        filter->Apply(*read, true);
        outcome += text + motion.Bytes() + Written([&](YTalo& talo) { read->TaloStore(&talo); });
        motions.push_back(std::move(motion));
    }
    return outcome;
}

// Meant for the thread sanitizer as well. Whatever the threads share has to come out even.
TEST(FilterThreads, DoWithTreesOfTheirOwnWhatOneThreadDoes)
{
    constexpr int kThreads = 4;
    YFCurve plain;
    plain.KeyAppendFast(YTIME_ZERO, 0.0f);
    const auto shared = [&plain] {
        return std::tuple(YFCURVE_GetKeyAttrCount(), plain.InternalPriKeyAttrGetPtr(0)->GetRefCount(),
                          GetRecordingMemory());
    };
    std::string expected[kThreads];
    std::vector<Motion> motions[kThreads];
    for (int i = 0; i < kThreads; ++i) expected[i] = LiveThrough(i, motions[i]);
    const auto whileAlive = shared();
    for (std::vector<Motion>& made : motions) made.clear();
    const auto before = shared();
    std::string outcomes[kThreads];
    test::InThreads(kThreads, [&](int i) { outcomes[i] = LiveThrough(i, motions[i]); });
    for (int i = 0; i < kThreads; ++i) EXPECT_TRUE(outcomes[i] == expected[i]) << i;
    EXPECT_EQ(shared(), whileAlive);
    for (std::vector<Motion>& made : motions) made.clear();
    EXPECT_EQ(shared(), before);
}

INSTANTIATE_TEST_SUITE_P(Registry, AllFilters, ::testing::ValuesIn(FilterNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
