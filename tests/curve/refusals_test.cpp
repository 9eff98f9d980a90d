#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "random_curve.h"
#include "yfcurve/ymemoryblockqueue.h"

/// \file
/// Arguments that no host means.

using namespace yfc::test;

namespace {

// Times near both ends of the range, near zero, and anywhere.
YTime AnyTime(Random& random)
{
    const std::int64_t few = random.Int(0, 4);
    const std::int64_t any = 2 * random.Integer(-INT64_MAX / 2, INT64_MAX / 2) >> random.Int(0, 59);
    return YTime(random.Pick({INT64_MAX - few, INT64_MIN + few, few - 2, any}));
}

YFCurvePtr AnyCurve(Random& random)
{
    YFCurvePtr curve(YFCurveCreate());
    const YFCurveKey keys[] = {AutoKey(1.0f), LinearKey(2.0f), UserKey(3.0f, 1.0f, 1.0f)};
    for (int i = random.Int(0, 4); i > 0; --i) curve->KeyAdd(AnyTime(random), keys[random.Int(0, 2)]);
    return curve;
}

TEST(Refusals, EditsAtTheEndsOfTimeKeepKeysInOrder)
{
    RandomCurves random;
    for (int round = 0; round < 20000; ++round) {
        const YFCurvePtr curve = AnyCurve(random), source = AnyCurve(random);
        const YTime start = random.Chance(0.25) ? YTIME_MINUS_INFINITE : AnyTime(random);
        const YTime stop = random.Chance(0.25) ? YTIME_INFINITE : AnyTime(random);
        const YTime offset = random.Chance(0.5) ? YTIME_ZERO : AnyTime(random);
        const int kind = random.Int(0, 2);
        if (kind == 0) curve->Insert(*source, start, offset);
        if (kind == 1) curve->Replace(*source, start, stop, random.Chance(0.5), random.Chance(0.5), offset);
        if (kind == 2) curve->ReplaceForEulerXYZ(*source, start, stop, random.Chance(0.5), true, offset);
        for (int i = 1; i < curve->KeyGetCount(); ++i)
            ASSERT_LT(curve->KeyGetTime(i - 1), curve->KeyGetTime(i)) << "round " << round;
    }
}

TEST(Refusals, ValuesThatAreNoneChangeNothing)
{
    const YFCurvePtr curve = MakeCurve({AutoKey(1.0f), LinearKey(3.0f), UserKey(2.0f)});
    EXPECT_TRUE(std::isnan(curve->EvaluateIndex(std::numeric_limits<double>::quiet_NaN())));

    const std::uint32_t bytes = GetRecordingMemory();
    curve->ResizeKeyBuffer(INT_MAX, true);
    curve->KeyModifyBegin(INT_MAX);
    curve->KeyModifyEnd();
    EXPECT_EQ(GetRecordingMemory(), bytes);

    EXPECT_FALSE(curve->CallbackRegister(nullptr, nullptr) || curve->KeySet(0, nullptr, 0));
    EXPECT_EQ(curve->KeyAdd(Sec(5), nullptr, 0, nullptr), -1);
    EXPECT_EQ(curve->KeyAppend(Sec(5), nullptr, 0), -1);
    EXPECT_FALSE(curve->TaloStore(nullptr) || curve->TaloRetrieve(nullptr));
    EXPECT_EQ(YFCurveCreate(nullptr, true), nullptr);
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{1.0f, 3.0f, 2.0f}));
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
