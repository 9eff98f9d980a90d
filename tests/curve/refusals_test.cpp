#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include "curve_fixtures.h"
#include "tests/test_environment.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/ymemoryblockqueue.h"

/// \file
/// Arguments that no host means.

using namespace yfc::test;

namespace {

// Times near both ends of the range, near zero, and anywhere.
YTime AnyTime(std::mt19937_64& random)
{
    const auto few = static_cast<std::int64_t>(random() % 5);
    switch (random() % 4) {
        case 0:
            return YTime(INT64_MAX - few);
        case 1:
            return YTime(INT64_MIN + few);
        case 2:
            return YTime(few - 2);
        default:
            return YTime(static_cast<std::int64_t>(random()) >> (random() % 60));
    }
}

YFCurvePtr AnyCurve(std::mt19937_64& random)
{
    YFCurvePtr curve(YFCurveCreate());
    const YFCurveKey keys[] = {AutoKey(1.0f), LinearKey(2.0f), UserKey(3.0f, 1.0f, 1.0f)};
    for (auto i = random() % 5; i > 0; --i) curve->KeyAdd(AnyTime(random), keys[random() % 3]);
    return curve;
}

bool IsInOrder(const YFCurve& curve)
{
    for (int i = 1; i < curve.KeyGetCount(); ++i) {
        if (curve.KeyGetTime(i) <= curve.KeyGetTime(i - 1)) return false;
    }
    return true;
}

TEST(Refusals, EditsAtTheEndsOfTimeKeepKeysInOrder)
{
    SCOPED_TRACE(::test::HowToRepeat());
    std::mt19937_64 random(::test::Seed());
    for (int round = 0; round < 20000; ++round) {
        const YFCurvePtr curve = AnyCurve(random);
        const YFCurvePtr source = AnyCurve(random);
        const YTime start = random() % 4 == 0 ? YTIME_MINUS_INFINITE : AnyTime(random);
        const YTime stop = random() % 4 == 0 ? YTIME_INFINITE : AnyTime(random);
        const YTime offset = random() % 2 == 0 ? YTIME_ZERO : AnyTime(random);
        switch (random() % 3) {
            case 0:
                curve->Insert(*source, start, offset);
                break;
            case 1:
                curve->Replace(*source, start, stop, random() % 2 == 0, random() % 2 == 0, offset);
                break;
            default:
                curve->ReplaceForEulerXYZ(*source, start, stop, random() % 2 == 0, true, offset);
        }
        ASSERT_TRUE(IsInOrder(*curve)) << "round " << round;
    }
}

TEST(Refusals, ValuesThatAreNoneChangeNothing)
{
    const YFCurvePtr curve = MakeCurve({AutoKey(1.0f), LinearKey(3.0f), UserKey(2.0f)});
    EXPECT_TRUE(std::isnan(curve->EvaluateIndex(std::numeric_limits<double>::quiet_NaN())));
    EXPECT_EQ(MakeSamples(1)->EvaluateIndex(std::numeric_limits<double>::quiet_NaN()), 0.0f);

    const std::uint32_t bytes = GetRecordingMemory();
    curve->ResizeKeyBuffer(INT_MAX, true);
    curve->KeyModifyBegin(INT_MAX);
    curve->KeyModifyEnd();
    EXPECT_EQ(GetRecordingMemory(), bytes);
    EXPECT_EQ(curve->KeyGetCount(), 3) << "forgotten for want of room";

    EXPECT_FALSE(curve->CallbackRegister(nullptr, nullptr));
    curve->CallbackUnregister(nullptr, nullptr);
    EXPECT_FALSE(curve->KeySet(0, nullptr, 0));
    EXPECT_EQ(curve->KeyAdd(Sec(5), nullptr, 0, nullptr), -1);
    EXPECT_EQ(curve->KeyAppend(Sec(5), nullptr, 0), -1);
    EXPECT_FALSE(curve->TaloStore(nullptr));
    EXPECT_FALSE(curve->TaloRetrieve(nullptr));
    EXPECT_EQ(YFCurveCreate(nullptr, true), nullptr);
    const YFCurveNodePtr node(YFCurveNodeCreate("node", static_cast<YDataType*>(nullptr)));
    EXPECT_FALSE(node->TaloStore(nullptr));
    EXPECT_FALSE(node->TaloRetrieve(nullptr));
    EXPECT_EQ(curve->KeyGetCount(), 3);
    EXPECT_EQ(curve->KeyGetValue(1), 3.0f);
}

TEST(Refusals, FiltersRefuseArraysWithHoles)
{
    for (YClassDefinition* found = YClassRegistry::GetFirst(); found != nullptr;
         found = YClassRegistry::GetNext(*found)) {
        if (!found->IsDerivedFrom(YFCurveFilter::StaticClass()) || found->GetOptions().create == nullptr)
            continue;
        SCOPED_TRACE(found->GetName());
        YFCurveFilter* filter = YFCurveFilterCreate(found->GetName());
        const YFCurvePtr curve = MakeSamples(20);
        const std::uint32_t before = curve->GetUpdateId();
        YFCurve* holes[] = {curve.get(), nullptr, curve.get()};
        for (YFCurve** curves : {holes, static_cast<YFCurve**>(nullptr)}) {
            EXPECT_FALSE(filter->Apply(curves, 3));
            EXPECT_EQ(filter->GetOutcome(), eFilterOutcome::Refused);
            filter->NeedApply(curves, 3);
        }
        EXPECT_EQ(curve->GetUpdateId(), before);
        filter->Destroy();
    }
}

TEST(Refusals, KeysThatAreAddedToADyingCurveGoWithIt)
{
    MakeSamples(3).reset();  // the block that a first curve leaves in stock
    const int records = YFCURVE_GetKeyAttrCount();
    const std::uint32_t bytes = GetRecordingMemory();
    YFCurve* curve = MakeSamples(3).release();
    const auto addKeys = [](YFCurve* dying, YFCurveEvent*, void*) { dying->KeyAdd(Sec(1), UserKey(2.0f)); };
    curve->CallbackRegister(addKeys, nullptr);
    curve->Destroy();
    EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
    EXPECT_EQ(GetRecordingMemory(), bytes);
}

}  // namespace
