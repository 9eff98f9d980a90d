#include "yfcurve/yfcurvekey.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "curve_fixtures.h"

using namespace yfc::test;

namespace {

namespace fs = std::filesystem;

// Sets the process-wide switch for one test.
class Switch
{
  public:
    explicit Switch(bool on) { YFCURVE_SetConvertAutoTimeIndependent(on); }
    ~Switch() { YFCURVE_SetConvertAutoTimeIndependent(mBefore); }

  private:
    // The first curve of the process sets the switch; let that be over.
    YFCurve mFirst;
    bool mBefore = YFCURVE_GetConvertAutoTimeIndependent();
};

// What a 16-bit half of the data words holds, as the multiple of 1/9999 that it is.
int StoredUnits(const YFCurveKey& key, EYFCurveDataIndex index)
{
    std::int16_t halves[4];
    std::memcpy(halves, key.GetDataPtr() + 2, sizeof halves);
    return halves[index - YFCURVEKEY_RIGHT_WEIGHT];
}

// A key whose fields all differ from their defaults.
YFCurveKey FullKey()
{
    YFCurveKey key;
    key.Set(Sec(3), 7.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK, 1.5f, -2.5f, YFCURVE_WEIGHT_ALL,
            0.25f, 0.75f, -1.5f, 2.0f);
    key.SetTangeantVelocityMode(YFCURVE_VELOCITY_ALL);
    key.SetSelected(true);
    key.SetMarkedForManipulation(true);
    key.SetTangeantVisibility(YFCURVE_SHOW_BOTH);
    return key;
}

}  // namespace

// --- Data words ----------------------------------------------------------------------------------------

TEST(Key, WeightsAreClampedAndTruncatedToFixedPoint)
{
    // 0.99 x 9999 = 9899.01; 1/3 x 9999 = 3333; 0.5 x 9999 = 4999.5.
    const std::pair<float, int> cases[] = {{1.0f, 9899}, {0.99f, 9899}, {0.0f, 1},
                                           {-5.0f, 1},   {0.5f, 4999},  {1.0f / 3.0f, 3333}};
    YFCurveKey key;
    for (const EYFCurveDataIndex index : {YFCURVEKEY_RIGHT_WEIGHT, YFCURVEKEY_NEXT_LEFT_WEIGHT}) {
        for (const auto& [given, units] : cases) {
            key.SetDataDouble(index, given);
            EXPECT_EQ(StoredUnits(key, index), units) << given;
            EXPECT_EQ(key.GetDataDouble(index), static_cast<float>(units / 9999.0));
        }
    }
}

TEST(Key, VelocitiesAreNotClampedAndWrap)
{
    YFCurveKey key;
    key.SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, 3.0f);
    key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_VELOCITY, -1.99999f);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_RIGHT_VELOCITY), 29997);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_NEXT_LEFT_VELOCITY), -19997) << "towards zero, from -19997.9";

    key.SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, 4.0f);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_RIGHT_VELOCITY), 39996 - 65536);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_NEXT_LEFT_VELOCITY), -19997) << "the other half stays";
}

TEST(Key, WhatWasReadComesBack)
{
    YFCurveKey key;
    const auto keeps = [&](EYFCurveDataIndex index, int steps) {
        key.SetDataDouble(index, YFCURVE_ToKeep(static_cast<float>(steps / 9999.0)));
        return StoredUnits(key, index) == steps;
    };
    for (int steps = 1; steps <= 9899; ++steps) ASSERT_TRUE(keeps(YFCURVEKEY_RIGHT_WEIGHT, steps)) << steps;
    for (int steps = INT16_MIN; steps <= INT16_MAX; ++steps)
        ASSERT_TRUE(keeps(YFCURVEKEY_RIGHT_VELOCITY, steps)) << steps;
    EXPECT_TRUE(YFCURVE_LOWEST_VELOCITY < INT16_MIN / 9999.0 &&
                INT16_MAX / 9999.0 < YFCURVE_HIGHEST_VELOCITY);
}

TEST(Key, OnlyBecomingCubicResetsWeightsAndVelocities)
{
    YFCurveKey key = FullKey();
    key.SetInterpolation(YFCURVE_INTERP_CUBIC);
    EXPECT_EQ(key.GetTangeantWeightMode(), YFCURVE_WEIGHT_ALL);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_RIGHT_WEIGHT), 2499);

    key.SetInterpolation(YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(key.GetTangeantWeightMode(), YFCURVE_WEIGHT_ALL);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_RIGHT_VELOCITY), -14998);

    key.SetInterpolation(YFCURVE_INTERP_CUBIC);
    EXPECT_EQ(key.GetFlags() & (YFCURVE_WEIGHT_ALL | YFCURVE_VELOCITY_ALL), 0u);
    for (const int side : {0, 1}) {
        EXPECT_EQ(StoredUnits(key, static_cast<EYFCurveDataIndex>(YFCURVEKEY_RIGHT_WEIGHT + side)), 3333);
        EXPECT_EQ(StoredUnits(key, static_cast<EYFCurveDataIndex>(YFCURVEKEY_RIGHT_VELOCITY + side)), 0);
    }
    EXPECT_EQ(key.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE), 1.5f);
}

TEST(Key, SetFillsEverythingButTheVelocityMode)
{
    YFCurveKey key = FullKey();
    key.Set(Sec(1), 2.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 3.0f, 4.0f, YFCURVE_WEIGHT_RIGHT, 0.5f,
            2.0f, 1.0f, -1.0f);
    EXPECT_EQ(key.GetFlags(),
              0x1000408u | YFCURVE_VELOCITY_ALL | YFCURVE_SELECTED | YFCURVE_MARKED_FOR_MANIPULATION);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_NEXT_LEFT_WEIGHT), 9899);
    EXPECT_EQ(StoredUnits(key, YFCURVEKEY_NEXT_LEFT_VELOCITY), -9999);

    // As the key of a curve, at its place and behind it.
    YFCurvePtr curve = MakeCurve({LinearKey(0), FullKey()});
    for (const int index : {1, 2}) {
        EXPECT_TRUE(curve->KeySet(index, Sec(4 + index), 2.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER,
                                  3.0f, 4.0f, YFCURVE_WEIGHT_RIGHT, 0.5f, 2.0f, 1.0f, -1.0f));
        EXPECT_EQ(curve->KeyGetTime(index), Sec(4 + index));
        EXPECT_EQ(std::memcmp(curve->KeyGetDataPtr(index), key.GetDataPtr(), 16), 0) << index;
    }
    EXPECT_EQ(curve->KeyGet(2).GetFlags(), 0x1000408u) << "neither selected nor marked";
}

// --- The conversion switch -----------------------------------------------------------------------------

TEST(KeyConversion, AddsTimeIndependenceToCubicAutoKeysOnly)
{
    EXPECT_EQ(MakeSamples(1)->KeyGet(0).GetFlags(), 0x2108u) << "on where the configuration says nothing";
    const struct
    {
        bool on;
        unsigned interpolation, mode, expected;
    } kCases[] = {{true, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, 0x2100u},
                  {true, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO_BREAK | YFCURVE_TANGENT_CLAMP, 0x3900u},
                  {true, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 0x400u},
                  {true, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT, 0x100u},
                  {false, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, 0x100u}};
    for (const auto& [on, interpolation, mode, expected] : kCases) {
        SCOPED_TRACE(expected);
        const Switch converts(on);
        YFCurvePtr curve = MakeCurve({MakeKey(0.0f, interpolation)});
        curve->KeySetTangeantMode(0, mode, true);
        EXPECT_EQ(curve->KeyGetTangeantMode(0, true), mode) << "as given";
        curve->KeySetTangeantMode(0, mode);
        EXPECT_EQ(curve->KeyGetTangeantMode(0, true), expected);
        EXPECT_EQ(curve->KeyGetTangeantMode(0), expected & ~unsigned{YFCURVE_TANGENT_OVERRIDES});
        // Set looks at the interpolation that it sets.
        YFCurveKey other = interpolation == YFCURVE_INTERP_CUBIC ? LinearKey(0.0f) : UserKey(0.0f);
        other.Set(YTime(), 0.0f, interpolation, mode);
        EXPECT_EQ(other.GetTangeantMode(true), expected);
    }
}

// A process reads its configuration once, so that each case takes one of its own: it starts this test again
// with the configuration that the case wrote.
TEST(KeyConversion, TheConfigurationMaySayNo)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const fs::path before = std::getenv("YBASELIB_CONFIG_DIR");
    const fs::path folder = before.filename() == "saying-no" ? before : before / "saying-no";
    fs::create_directories(folder);
    setenv("YBASELIB_CONFIG_DIR", folder.c_str(), 1);
    for (const auto& [configured, on] : {std::pair("yES", true), {"Perhaps", false}}) {
        std::ofstream(folder / "Application.txt")
            << "[FCurve]\nConvertAutoTimeIndependent = " << configured << "\n";
        const auto mode = [] { return static_cast<int>(MakeSamples(1)->KeyGetTangeantMode(0, true) >> 8); };
        EXPECT_EXIT(std::exit(mode()), testing::ExitedWithCode(on ? 0x21 : 0x1), "") << configured;
    }
    setenv("YBASELIB_CONFIG_DIR", before.c_str(), 1);
}

// --- Attribute records ---------------------------------------------------------------------------------

TEST(KeyAttr, EqualityComparesFlagsAndDataAsFloats)
{
    // A velocity half of 0x7F80 or more on top of another one reads as not-a-number.
    YFCurveKey odd = UserKey(0.0f);
    odd.SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, 1.0f);
    odd.SetDataDouble(YFCURVEKEY_NEXT_LEFT_VELOCITY, 3.27f);
    ASSERT_TRUE(std::isnan(odd.GetDataFloat(static_cast<EYFCurveDataIndex>(3))));
    YFCurvePtr curve = MakeCurve({UserKey(1.0f, 0.0f, 2.0f), UserKey(9.0f, -0.0f, 2.0f), odd, odd});
    const auto equal = [&](int i, int j) {
        return *curve->InternalPriKeyAttrGetPtr(i) == *curve->InternalPriKeyAttrGetPtr(j);
    };
    EXPECT_TRUE(equal(0, 1)) << "zero equals minus zero, values and times are no attributes";
    EXPECT_TRUE(equal(2, 2));
    EXPECT_FALSE(equal(2, 3)) << "not-a-number equals only itself";
    curve->KeySetDataDouble(1, YFCURVEKEY_NEXT_LEFT_VELOCITY, 0.5f);
    EXPECT_FALSE(equal(0, 1));
}
