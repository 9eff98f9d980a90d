#include <gtest/gtest.h>

#include <cmath>

#include "curve_fixtures.h"

using namespace yfc::test;

namespace {

// Three keys, the middle one at (1 s, 2) between segments of the slopes 2 and 1/2; the chord of its
// neighbours has the slope 1, which is not their mean.
YFCurvePtr Around(YFCurveKey before, YFCurveKey middle, YFCurveKey after = LinearKey(0))
{
    before.SetValue(0.0f);
    middle.SetValue(2.0f);
    after.SetValue(3.0f);
    YFCurvePtr curve(YFCurveCreate());
    curve->KeyAdd(Sec(0), before);
    curve->KeyAdd(Sec(1), middle);
    curve->KeyAdd(Sec(3), after);
    return curve;
}

float RightSlope(const YFCurveKey& key)
{
    return Around(UserKey(0), key)->KeyGetRightDerivative(1);
}

float LeftSlope(const YFCurveKey& before, const YFCurveKey& key)
{
    return Around(before, key)->KeyGetLeftDerivative(1);
}

// The same without a key behind.
float LastLeftSlope(const YFCurveKey& before, const YFCurveKey& key)
{
    YFCurvePtr curve = Around(before, key);
    curve->KeyRemove(2);
    return curve->KeyGetLeftDerivative(1);
}

YFCurveKey Auto(float right, float nextLeft = 0.0f, unsigned mode = YFCURVE_TANGENT_AUTO)
{
    return AutoKey(0.0f, mode, right, nextLeft);
}

constexpr unsigned kTimeIndependent = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TIME_INDEPENDENT;
constexpr unsigned kClamped = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_CLAMP;

}  // namespace

// --- Slopes to the right -------------------------------------------------------------------------------

TEST(RightSlope, FollowsInterpolationAndMode)
{
    EXPECT_EQ(RightSlope(ConstantKey(0)), 0.0f);
    EXPECT_EQ(RightSlope(ConstantKey(0, YFCURVE_CONSTANT_NEXT)), 0.0f);
    EXPECT_EQ(RightSlope(LinearKey(0)), 0.5f);
    EXPECT_EQ(RightSlope(UserKey(0, 7, 3)), 7.0f);
    EXPECT_EQ(RightSlope(MakeKey(0, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK, 7, 3)), 7.0f);
    EXPECT_EQ(RightSlope(MakeKey(0, YFCURVE_INTERP_CUBIC, 0, 7, 3)), 0.0f) << "no mode, no slope";
}

TEST(RightSlope, OfAutoKeysBlendsTheNeighbours)
{
    for (const unsigned mode : {YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_AUTO_BREAK}) {
        EXPECT_FLOAT_EQ(RightSlope(Auto(0, 0, mode)), 1.25f);
        EXPECT_FLOAT_EQ(RightSlope(Auto(100, 0, mode)), 0.5f);
        EXPECT_FLOAT_EQ(RightSlope(Auto(-100, 0, mode)), 2.0f);
        EXPECT_FLOAT_EQ(RightSlope(Auto(50, 0, mode)), 0.875f);
        // (7 x 0.5 - 5 x 2) / 2, and 1000 x (100 / 500)^2 further down.
        EXPECT_FLOAT_EQ(RightSlope(Auto(600, 0, mode)), -43.25f);
    }
}

TEST(RightSlope, TimeIndependentMeansTheChordWhereNoParameterIsSet)
{
    EXPECT_FLOAT_EQ(RightSlope(Auto(0, 0, kTimeIndependent)), 1.0f);
    EXPECT_FLOAT_EQ(RightSlope(Auto(-0.0099f, 0, kTimeIndependent)), 1.0f);
    EXPECT_NEAR(RightSlope(Auto(0.0101f, 0, kTimeIndependent)), 1.25f, 1e-3);
    EXPECT_NEAR(LeftSlope(Auto(0, -0.0101f), Auto(0, 0, kTimeIndependent)), 1.25f, 1e-3);
    EXPECT_FLOAT_EQ(RightSlope(Auto(50, 0, kTimeIndependent)), 0.875f);

    YFCurvePtr ends = Around(Auto(0, 0, kTimeIndependent), Auto(0), Auto(0, 0, kTimeIndependent));
    EXPECT_FLOAT_EQ(ends->KeyGetRightDerivative(0), 2.0f);
    EXPECT_FLOAT_EQ(ends->KeyGetLeftDerivative(2), 0.5f);
}

TEST(RightSlope, OfTCBKeysIsTheOutgoingDerivative)
{
    // 0.5 (1 - 0.2) ((1 + 0.3)(1 - 0.4) 2 + (1 - 0.3)(1 + 0.4) 0.5) = 0.4 (1.56 + 0.49)
    EXPECT_FLOAT_EQ(RightSlope(TCBKey(0, 0.2f, 0.3f, -0.4f)), 0.82f);
    EXPECT_FLOAT_EQ(RightSlope(TCBKey(0)), 1.25f);
    EXPECT_FLOAT_EQ(RightSlope(TCBKey(0, 1.0f)), 0.0f);
    // The first key: (1 - 0.2)(1 - 0.3)(1 + 0.4) 2
    EXPECT_FLOAT_EQ(Around(TCBKey(0, 0.2f, 0.3f, -0.4f), UserKey(0))->KeyGetRightDerivative(0), 1.568f);
}

TEST(RightSlope, OfTheLastKeyIsItsLeftOne)
{
    YFCurvePtr curve = Around(UserKey(0), UserKey(0, 3, 4), UserKey(0, 5, 6));
    EXPECT_EQ(curve->KeyGetRightDerivative(2), 4.0f);
    EXPECT_EQ(curve->KeyGetLeftDerivative(0), curve->KeyGetRightDerivative(0));
    YFCurvePtr lone = MakeCurve({UserKey(1, 5, 6)});
    EXPECT_EQ(lone->KeyGetRightDerivative(0), 0.0f);
    EXPECT_EQ(lone->KeyGetLeftDerivative(0), 0.0f);
}

TEST(RightSlope, OfKeysOutOfOrderCountsTimeBackwards)
{
    // The middle key goes to 4 s, a second behind the one after it: slopes 1/2 and -1 beside it.
    const auto slope = [](const YFCurveKey& key) {
        YFCurvePtr curve = Around(UserKey(0), key);
        curve->KeySetTime(1, Sec(4));
        const float right = curve->KeyGetRightDerivative(1);
        // Half-way the handles count 3/8 each, and are a third of -1 s long.
        EXPECT_FLOAT_EQ(curve->EvaluateIndex(1.5), 2.5f - (right - curve->KeyGetLeftDerivative(2)) / 8);
        return right;
    };
    EXPECT_FLOAT_EQ(slope(LinearKey(0)), -1.0f);
    EXPECT_FLOAT_EQ(slope(Auto(0)), -0.25f);
    EXPECT_FLOAT_EQ(slope(Auto(0, 0, kTimeIndependent)), 1.0f);
    EXPECT_FLOAT_EQ(slope(TCBKey(0)), -0.25f);
}

// --- Slopes to the left --------------------------------------------------------------------------------

TEST(LeftSlope, AfterConstantAndLinearKeys)
{
    for (const YFCurveKey& key : {LinearKey(0), ConstantKey(0), UserKey(0, 7), Auto(50), TCBKey(0, 0.5f)}) {
        EXPECT_EQ(LeftSlope(ConstantKey(0), key), 0.0f);
        EXPECT_EQ(LeftSlope(LinearKey(0), key), 2.0f);
    }
    YFCurveKey none = UserKey(0, 1, 2);
    none.SetInterpolation(0);
    EXPECT_EQ(LeftSlope(none, UserKey(0, 7)), 0.0f);
}

TEST(LeftSlope, BeforeAKeyThatIsNotCubicFollowsThePreviousMode)
{
    EXPECT_EQ(LeftSlope(UserKey(0, 1, 5), LinearKey(0)), 5.0f);
    EXPECT_EQ(LeftSlope(UserKey(0, 1, 5), ConstantKey(0)), 5.0f);
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, 50), LinearKey(0)), 1.625f);
    EXPECT_FLOAT_EQ(LastLeftSlope(Auto(0, 50), LinearKey(0)), 2.0f);
    EXPECT_FLOAT_EQ(LeftSlope(TCBKey(0, 0.1f), LinearKey(0)), 0.5f) << "its right slope";
    EXPECT_EQ(LeftSlope(TCBKey(0, 0.1f), ConstantKey(0)), 0.0f);
    EXPECT_EQ(LastLeftSlope(TCBKey(0, 0.1f), LinearKey(0)), 0.0f);
}

TEST(LeftSlope, OfUserKeysIsStoredBeforeThem)
{
    EXPECT_EQ(LeftSlope(UserKey(0, 1, 5), UserKey(0, 7, 8)), 5.0f);
    EXPECT_EQ(LeftSlope(Auto(0, 50), UserKey(0, 7, 8)), 50.0f) << "the word is taken for what the key says";
    EXPECT_EQ(LeftSlope(TCBKey(0, 0.1f, 0.2f), UserKey(0, 7, 8)), 7.0f) << "no room there: its right slope";
    EXPECT_EQ(LastLeftSlope(TCBKey(0, 0.1f, 0.2f), UserKey(0, 7, 8)), 0.0f);
}

TEST(LeftSlope, OfAutoKeysBlendsTheNeighbours)
{
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, 0), Auto(0)), 1.25f);
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, 50), Auto(0)), 1.625f);
    EXPECT_EQ(LeftSlope(Auto(0, 100), Auto(0)), 2.0f);
    EXPECT_EQ(LeftSlope(Auto(0, -100), Auto(0)), 0.5f);
    EXPECT_FLOAT_EQ(LeftSlope(UserKey(0, 0, 5), Auto(0)), 1.2875f);
    // (-6 x 2 + 8 x 0.5) / 2, and 1000 x (200 / 500)^2 further down.
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, -700), Auto(0)), -164.0f);
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, 0), Auto(0, 0, kTimeIndependent)), 1.0f);
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, 50), Auto(0, 0, kTimeIndependent)), 1.625f);
    // After a TCB key an unbroken one goes on straight, a broken one takes the segment's slope.
    EXPECT_FLOAT_EQ(LeftSlope(TCBKey(0, 0.1f), Auto(50)), RightSlope(Auto(50)));
    EXPECT_EQ(LeftSlope(TCBKey(0, 0.1f), Auto(50, 0, YFCURVE_TANGENT_AUTO_BREAK)), 2.0f);
}

TEST(LeftSlope, OfTCBKeysIsTheIncomingDerivative)
{
    // 0.5 (1 - 0.2) ((1 - 0.3)(1 - 0.4) 2 + (1 + 0.3)(1 + 0.4) 0.5) = 0.4 (0.84 + 0.91)
    const YFCurveKey key = TCBKey(0, 0.2f, 0.3f, -0.4f);
    for (const YFCurveKey& before : {UserKey(0, 1, 9), Auto(0, 50), TCBKey(0, 0.9f, 0.8f, 0.7f)}) {
        EXPECT_FLOAT_EQ(LeftSlope(before, key), 0.7f);
    }
    // The last key: (1 - 0.2)(1 - 0.3)(1 - 0.4) 2
    EXPECT_FLOAT_EQ(LastLeftSlope(UserKey(0), key), 0.672f);
}

// --- Clamping ------------------------------------------------------------------------------------------

TEST(Clamp, HoldsKeysFlat)
{
    const auto slopesOf = [](float before, float after, unsigned mode, bool& left, bool& right) {
        YFCurvePtr curve = MakeCurve({AutoKey(before, mode), AutoKey(1, mode, 30, 0), AutoKey(after, mode)});
        curve->IsClamped(1, left, right);
        return std::pair(curve->KeyGetLeftDerivative(1), curve->KeyGetRightDerivative(1));
    };
    bool left;
    bool right;
    auto slopes = slopesOf(0, 3, kClamped, left, right);
    EXPECT_FALSE(left || right);
    EXPECT_FLOAT_EQ(slopes.first, 1.5f);
    EXPECT_FLOAT_EQ(slopes.second, 0.5f * (1.3f * 2.0f + 0.7f * 1.0f));

    for (const auto& [before, after] : {std::pair(1.0f, 3.0f), {0.0f, 1.0f}, {0.0f, 0.5f}, {2.0f, 3.0f}}) {
        slopes = slopesOf(before, after, kClamped, left, right);
        EXPECT_TRUE(left && right) << before << " " << after;
        EXPECT_EQ(slopes, std::pair(0.0f, 0.0f));
    }
    slopes = slopesOf(1, 3, kClamped | YFCURVE_TANGENT_BREAK, left, right);
    EXPECT_TRUE(left);
    EXPECT_FALSE(right);
    EXPECT_EQ(slopes.first, 0.0f);
    EXPECT_NE(slopes.second, 0.0f);

    slopes = slopesOf(1, 3, YFCURVE_TANGENT_AUTO, left, right);
    EXPECT_FALSE(left || right) << "only with the override";
    EXPECT_NE(slopes.first, 0.0f);

    // A neighbour within a hundredth of a millisecond, 461,861 ticks, is the other side of a jump.
    for (const auto& [ticks, isJump] : {std::pair(461'000, true), {463'000, false}}) {
        YFCurvePtr jump(YFCurveCreate());
        jump->KeyAdd(Sec(0), AutoKey(0, kClamped));
        jump->KeyAdd(Sec(1), AutoKey(1, kClamped));
        jump->KeyAdd(Sec(1) + YTime(ticks), AutoKey(2, kClamped));
        jump->KeyAdd(Sec(2), AutoKey(3, kClamped));
        EXPECT_EQ(jump->KeyGetRightDerivative(1) == 0.0f, isJump);
        EXPECT_EQ(jump->KeyGetLeftDerivative(2) == 0.0f, isJump);
        EXPECT_NE(jump->KeyGetRightDerivative(0), 0.0f);
    }
}

// --- Setting slopes and parameters ---------------------------------------------------------------------

TEST(SetSlope, StoresWhatTheModeCallsFor)
{
    YFCurvePtr user = Around(UserKey(0), UserKey(0));
    EventLog log(*user);
    user->KeySetRightDerivative(1, 3.0f);
    user->KeySetLeftDerivative(1, 4.0f);
    EXPECT_EQ(user->KeyGetDataDouble(1, YFCURVEKEY_RIGHT_DERIVATIVE), 3.0f);
    EXPECT_EQ(user->KeyGetDataDouble(0, YFCURVEKEY_NEXT_LEFT_DERIVATIVE), 4.0f);
    EXPECT_EQ(log.TakeTypes(), (std::vector<unsigned>{0x8010, 0x8010}));
    user->KeySetRightDerivative(1, 3.0f);
    EXPECT_TRUE(log.Take().empty()) << "unchanged";
    user->KeyIncRightDerivative(1, 0.5f);
    user->KeyIncLeftDerivative(1, -1.0f);
    user->KeyMultDerivative(1, 2.0f);
    EXPECT_EQ(user->KeyGetRightDerivative(1), 7.0f);
    EXPECT_EQ(user->KeyGetLeftDerivative(1), 6.0f);

    YFCurvePtr automatic = Around(Auto(0), Auto(0));
    automatic->KeySetRightDerivative(1, 0.875f);
    automatic->KeySetLeftDerivative(1, 1.625f);
    EXPECT_FLOAT_EQ(automatic->KeyGetDataDouble(1, YFCURVEKEY_RIGHT_DERIVATIVE), 50.0f);
    EXPECT_FLOAT_EQ(automatic->KeyGetDataDouble(0, YFCURVEKEY_NEXT_LEFT_DERIVATIVE), 50.0f);
    for (const float slope : {-200.0f, -43.25f, 0.0f, 0.3f, 90.0f}) {
        automatic->KeySetRightDerivative(1, slope);
        automatic->KeySetLeftDerivative(1, slope);
        EXPECT_NEAR(automatic->KeyGetRightDerivative(1), slope, 1e-4);
        EXPECT_NEAR(automatic->KeyGetLeftDerivative(1), slope, 1e-4);
    }
}

TEST(SetSlope, IgnoresKeysWithoutRoomForOne)
{
    for (const YFCurveKey& key : {TCBKey(0, 0.1f, 0.2f, 0.3f), LinearKey(0), ConstantKey(0)}) {
        YFCurvePtr curve = Around(key, key, UserKey(0, 5, 6));
        EventLog log(*curve);
        curve->KeySetRightDerivative(1, 9.0f);
        curve->KeySetLeftDerivative(1, 9.0f);
        curve->KeySetLeftDerivative(2, 9.0f);
        curve->KeySetRightAuto(1, 9.0f);
        curve->KeySetLeftAuto(1, 9.0f);
        curve->KeySetRightDerivative(2, 9.0f);
        curve->KeySetLeftDerivative(0, 9.0f);
        curve->KeySetRightAuto(2, 9.0f);
        EXPECT_TRUE(log.events.empty());
        EXPECT_EQ(curve->KeyGetDataFloat(1, YFCURVEKEY_TCB_TENSION),
                  key.GetDataFloat(YFCURVEKEY_TCB_TENSION));
        EXPECT_EQ(curve->KeyGetDataFloat(2, YFCURVEKEY_RIGHT_DERIVATIVE), 5.0f);
    }
}

TEST(AutoParameter, IsReadWhereItIsStored)
{
    YFCurvePtr curve = Around(Auto(10, 20), Auto(30, 40), Auto(50, 60));
    EXPECT_EQ(curve->KeyGetLeftAuto(0), 10.0f) << "the first key has one for both sides";
    EXPECT_EQ(curve->KeyGetRightAuto(0), 10.0f);
    EXPECT_EQ(curve->KeyGetLeftAuto(1), 20.0f);
    EXPECT_EQ(curve->KeyGetRightAuto(1), 30.0f);
    EXPECT_EQ(curve->KeyGetLeftAuto(2), 40.0f);
    EXPECT_EQ(curve->KeyGetRightAuto(2), 50.0f);

    EXPECT_EQ(Around(UserKey(0, 10), Auto(0))->KeyGetLeftAuto(0), 0.0f);
    EXPECT_EQ(Around(ConstantKey(0), Auto(30))->KeyGetLeftAuto(1), 0.0f);
    EXPECT_EQ(Around(LinearKey(0), Auto(30))->KeyGetLeftAuto(1), 100.0f);
    EXPECT_EQ(Around(LinearKey(0), UserKey(0, 30))->KeyGetLeftAuto(1), 100.0f);
    EXPECT_EQ(Around(TCBKey(0, 0.1f, 0.2f), Auto(30))->KeyGetLeftAuto(1), -30.0f);
    EXPECT_EQ(Around(TCBKey(0, 0.1f, 0.2f), Auto(30, 0, YFCURVE_TANGENT_AUTO_BREAK))->KeyGetLeftAuto(1),
              100.0f);
}

TEST(AutoParameter, IsComputedFromTheSlopeElsewhere)
{
    YFCurvePtr curve = Around(UserKey(0, 0, 1.625f), UserKey(0, 0.875f));
    EXPECT_FLOAT_EQ(curve->KeyGetLeftAuto(1), 50.0f);
    EXPECT_FLOAT_EQ(curve->KeyGetRightAuto(1), 50.0f);

    // Flat beside an equal neighbour: between the slopes 0 and 1, 0 is the left one and not the right one.
    YFCurvePtr clamped = MakeCurve({AutoKey(1, kClamped, 0, 30), AutoKey(1, kClamped, 40), AutoKey(2)});
    EXPECT_EQ(clamped->KeyGetLeftAuto(1, false), 30.0f);
    EXPECT_EQ(clamped->KeyGetRightAuto(1, false), 40.0f);
    EXPECT_FLOAT_EQ(clamped->KeyGetLeftAuto(1, true), 100.0f);
    EXPECT_FLOAT_EQ(clamped->KeyGetRightAuto(1, true), -100.0f);
}

TEST(AutoParameter, IsSetOnAutoKeysAndBecomesASlopeOnUserKeys)
{
    YFCurvePtr automatic = Around(Auto(0), Auto(0), Auto(0));
    EventLog log(*automatic);
    automatic->KeySetRightAuto(1, 50.0f);
    automatic->KeySetLeftAuto(1, 60.0f);
    automatic->KeySetRightAuto(2, 70.0f);
    EXPECT_EQ(automatic->KeyGetDataDouble(1, YFCURVEKEY_RIGHT_DERIVATIVE), 50.0f);
    EXPECT_EQ(automatic->KeyGetDataDouble(0, YFCURVEKEY_NEXT_LEFT_DERIVATIVE), 60.0f);
    EXPECT_EQ(automatic->KeyGetDataDouble(2, YFCURVEKEY_RIGHT_DERIVATIVE), 70.0f);
    EXPECT_EQ(log.Take().size(), 3u);

    YFCurvePtr user = Around(UserKey(0), UserKey(0), UserKey(0, 5));
    user->KeySetRightAuto(1, 50.0f);
    user->KeySetLeftAuto(1, 50.0f);
    user->KeySetRightAuto(2, 50.0f);
    EXPECT_FLOAT_EQ(user->KeyGetRightDerivative(1), 0.875f);
    EXPECT_FLOAT_EQ(user->KeyGetLeftDerivative(1), 1.625f);
    EXPECT_EQ(user->KeyGetDataDouble(2, YFCURVEKEY_RIGHT_DERIVATIVE), 5.0f);
}

// --- Weights and velocities ----------------------------------------------------------------------------

TEST(Weights, LiveOnTheKeyThatStartsTheSegment)
{
    YFCurvePtr curve = Around(UserKey(0), UserKey(0), UserKey(0));
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), 1.0f / 3.0f);
    EventLog log(*curve);
    curve->KeySetLeftTangeantWeight(1, 0.5f);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_NEXT_LEFT);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(1), YFCURVE_WEIGHT_NONE);
    EXPECT_TRUE(curve->KeyIsLeftTangeantWeighted(1));
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(4999 / 9999.0));
    EXPECT_EQ(curve->KeyGetRightTangeantWeight(0), 1.0f / 3.0f);
    EXPECT_EQ(log.Take().size(), 1u);

    curve->KeySetRightTangeantWeight(1, 2.0f);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(1), YFCURVE_WEIGHT_RIGHT);
    EXPECT_EQ(curve->KeyGetRightTangeantWeight(1), static_cast<float>(9899 / 9999.0));

    // The ends have no outer side.
    curve->KeySetLeftTangeantWeight(0, 0.5f);
    curve->KeySetRightTangeantWeight(2, 0.5f);
    EXPECT_FALSE(curve->KeyIsLeftTangeantWeighted(0) || curve->KeyIsRightTangeantWeighted(2));
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(2), YFCURVE_WEIGHT_NONE);

    curve->KeySetRightTangeantWeightedMode(0, true);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_ALL);
    curve->KeySetLeftTangeantWeightedMode(1, false);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_RIGHT);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), 1.0f / 3.0f);
    curve->KeySetLeftTangeantWeightedMode(1, true);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(4999 / 9999.0)) << "it was kept";
}

TEST(Weights, OnlyTheRightSideLooksAtTheMode)
{
    YFCurvePtr curve = Around(TCBKey(0, 0.1f, 0.2f, 0.3f), UserKey(0));
    curve->KeySetRightTangeantWeight(0, 0.5f);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_RIGHT) << "set, though it has no effect";
    EXPECT_FALSE(curve->KeyIsRightTangeantWeighted(0));
    EXPECT_EQ(curve->KeyGetRightTangeantWeight(0), 1.0f / 3.0f);

    YFCurvePtr linear = Around(LinearKey(0), UserKey(0));
    linear->KeySetLeftTangeantWeight(1, 0.5f);
    linear->KeySetRightTangeantWeight(0, 0.5f);
    linear->KeySetLeftTangeantWeightedMode(1, true);
    EXPECT_EQ(linear->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_NONE);
    linear->KeySetTangeantWeightMode(0, YFCURVE_WEIGHT_ALL);
    EXPECT_TRUE(linear->KeyIsLeftTangeantWeighted(1));
    EXPECT_FALSE(linear->KeyIsRightTangeantWeighted(0));
}

TEST(Weights, VelocitiesFollowThePattern)
{
    YFCurvePtr curve = Around(UserKey(0), UserKey(0), UserKey(0));
    curve->KeySetLeftTangeantVelocity(1, 1.0f);
    curve->KeySetRightTangeantVelocity(1, -2.0f);
    EXPECT_EQ(curve->KeyGetTangeantVelocityMode(0), YFCURVE_VELOCITY_NEXT_LEFT);
    EXPECT_EQ(curve->KeyGetTangeantVelocityMode(1), YFCURVE_VELOCITY_RIGHT);
    EXPECT_EQ(curve->KeyGetLeftTangeantVelocity(1), 1.0f);
    EXPECT_EQ(curve->KeyGetRightTangeantVelocity(1), -2.0f);
    EXPECT_EQ(curve->KeyGetLeftTangeantVelocity(2), 0.0f);
    curve->KeySetLeftTangeantVelocityMode(1, false);
    curve->KeySetRightTangeantVelocityMode(1, false);
    EXPECT_EQ(curve->KeyGetLeftTangeantVelocity(1), 0.0f);
    EXPECT_FALSE(curve->KeyIsRightTangeantVelocity(1));
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(1), YFCURVE_WEIGHT_NONE);
}

// --- A whole side --------------------------------------------------------------------------------------

void ExpectSame(const YFCurveTangeantInfo& a, const YFCurveTangeantInfo& b)
{
    EXPECT_FLOAT_EQ(a.Derivative, b.Derivative);
    EXPECT_FLOAT_EQ(a.AutoValue, b.AutoValue);
    EXPECT_EQ(a.IsWeighted, b.IsWeighted);
    EXPECT_EQ(a.Weight, b.Weight);
    EXPECT_EQ(a.HasVelocity, b.HasVelocity);
    EXPECT_EQ(a.Velocity, b.Velocity);
}

TEST(TangentInfo, CarriesASideFromKeyToKey)
{
    // Between the slopes 2 and 0.5, the parameter 50 is 1.625 on the left and 0.875 on the right.
    YFCurvePtr source = Around(UserKey(0, 0, 1.625f), UserKey(0, 0.875f), UserKey(0));
    const YFCurveTangeantInfo plain = {1.625f, YFCURVE_DEFAULT_WEIGHT, 0.0f, 50.0f, false, false};
    ExpectSame(source->KeyGetLeftDerivativeInfo(1), plain);
    source->KeySetLeftTangeantWeight(1, 0.25f);
    source->KeySetLeftTangeantVelocity(1, -1.0f);
    source->KeySetRightTangeantWeight(1, 0.75f);
    source->KeySetRightTangeantVelocity(1, 2.0f);
    const YFCurveTangeantInfo left = source->KeyGetLeftDerivativeInfo(1);
    ExpectSame(left, {1.625f, static_cast<float>(2499 / 9999.0), -1.0f, 50.0f, true, true});
    const YFCurveTangeantInfo right = source->KeyGetRightDerivativeInfo(1);
    ExpectSame(right, {0.875f, static_cast<float>(7499 / 9999.0), 2.0f, 50.0f, true, true});

    YFCurvePtr user = Around(UserKey(0), UserKey(0), UserKey(0, 5));
    EventLog log(*user);
    user->KeySetRightDerivativeInfo(1, right);
    user->KeySetLeftDerivativeInfo(1, left);
    EXPECT_EQ(log.Take().size(), 2u);
    EXPECT_NEAR(user->KeyGetLeftTangeantWeight(1), left.Weight, 1.1 / 9999) << "truncated again";
    EXPECT_EQ(user->KeyGetRightDerivativeInfo(1).Velocity, 2.0f);
    EXPECT_TRUE(user->KeyIsLeftTangeantVelocity(1) && user->KeyIsRightTangeantWeighted(1));
    user->KeySetLeftDerivativeInfo(1, plain);
    ExpectSame(user->KeyGetLeftDerivativeInfo(1), plain);
    user->KeySetRightDerivativeInfo(2, right);
    EXPECT_EQ(user->KeyGetDataDouble(2, YFCURVEKEY_RIGHT_DERIVATIVE), 5.0f);

    YFCurveTangeantInfo disagreeing = right;
    disagreeing.AutoValue = 10.0f;
    YFCurvePtr automatic = Around(Auto(0), Auto(0), Auto(0));
    automatic->KeySetRightDerivativeInfo(1, disagreeing);
    EXPECT_EQ(automatic->KeyGetRightAuto(1), 10.0f);
    automatic->KeySetRightDerivativeInfo(1, disagreeing, true);
    EXPECT_FLOAT_EQ(automatic->KeyGetRightAuto(1), 50.0f);
    automatic->KeySetRightDerivativeInfo(2, disagreeing, true);
    EXPECT_EQ(automatic->KeyGetRightAuto(2), 10.0f);
    disagreeing.Derivative = 1.625f;
    automatic->KeySetLeftDerivativeInfo(1, disagreeing);
    EXPECT_EQ(automatic->KeyGetLeftAuto(1), 10.0f);
    automatic->KeySetLeftDerivativeInfo(1, disagreeing, true);
    EXPECT_FLOAT_EQ(automatic->KeyGetLeftAuto(1), 50.0f);
    automatic->KeySetLeftDerivativeInfo(0, disagreeing, true);
    EXPECT_EQ(automatic->KeyGetLeftAuto(0), 10.0f);

    YFCurvePtr tcb = Around(TCBKey(0), TCBKey(0, 0.1f, 0.2f, 0.3f), TCBKey(0));
    EventLog tcbLog(*tcb);
    tcb->KeySetRightDerivativeInfo(1, right);
    tcb->KeySetLeftDerivativeInfo(1, left);
    EXPECT_TRUE(tcbLog.events.empty());
}

// Its words hold tension, continuity and bias: what was stored there would be read as those.
TEST(TangentInfo, ATCBKeyHasNoRoomForTheLeftSideOfTheNext)
{
    YFCurveTangeantInfo info;
    info.IsWeighted = info.HasVelocity = true;
    info.Weight = 0.5f;
    for (const YFCurveKey& next : {UserKey(0, 7), Auto(30), Auto(30, 0, YFCURVE_TANGENT_AUTO_BREAK),
                                   TCBKey(0, 0.4f), LinearKey(0), ConstantKey(0)}) {
        YFCurvePtr curve = Around(TCBKey(0, 0.1f, 0.2f, 0.5f), next);
        EventLog log(*curve);
        curve->KeySetLeftDerivative(1, 9.0f);
        curve->KeyIncLeftDerivative(1, 9.0f);
        curve->KeySetLeftBezierTangeant(1, 9.0f);
        curve->KeySetLeftAuto(1, 9.0f);
        curve->KeySetLeftTangeantWeight(1, 0.9f);
        curve->KeySetLeftTangeantVelocity(1, 2.0f);
        curve->KeySetLeftDerivativeInfo(1, info);
        EXPECT_TRUE(log.events.empty());
        EXPECT_EQ(curve->KeyGetDataFloat(0, YFCURVEKEY_TCB_BIAS), 0.5f);
        EXPECT_FALSE(curve->KeyIsLeftTangeantWeighted(1) || curve->KeyIsLeftTangeantVelocity(1));
        EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), 1.0f / 3.0f);
    }
}

TEST(KeyRemoveTangents, TheFollowingKeyKeepsItsInTangent)
{
    YFCurvePtr curve = MakeCurve({UserKey(0, 1, 2), UserKey(1, 3, 4), UserKey(2, 5, 6), UserKey(3, 7, 8)});
    curve->KeySetLeftTangeantWeight(2, 0.75f);
    curve->KeySetLeftTangeantVelocity(2, 1.0f);
    EventLog log(*curve);
    ASSERT_TRUE(curve->KeyRemove(1));
    EXPECT_EQ(curve->KeyGetLeftDerivative(1), 4.0f);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(7499 / 9999.0));
    EXPECT_EQ(curve->KeyGetLeftTangeantVelocity(1), 1.0f);
    EXPECT_EQ(curve->KeyGetRightDerivative(0), 1.0f);
    EXPECT_EQ(curve->KeyGetRightDerivative(1), 5.0f);
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(log.events[0].type & 0x1010, 0x1010u);

    ASSERT_TRUE(curve->KeyRemove(0));
    ASSERT_TRUE(curve->KeyRemove(1));
    EXPECT_EQ(curve->KeyGetRightDerivative(0), 0.0f) << "a lone key";

    // In front of a weighted key a TCB key stays what it was.
    YFCurvePtr tcb = MakeCurve({TCBKey(0, 0.0f, 0.0f, 0.5f), UserKey(1), UserKey(2)});
    tcb->KeySetLeftTangeantWeight(2, 0.75f);
    tcb->KeyRemove(1);
    EXPECT_EQ(tcb->KeyGet(0).GetFlags(), TCBKey(0).GetFlags());
    EXPECT_EQ(tcb->KeyGetLeftTangeantWeight(1), 1.0f / 3.0f);
}

// --- All keys ------------------------------------------------------------------------------------------

TEST(AllKeys, ModesAreSetWithOneEvent)
{
    YFCurvePtr curve = Around(Auto(30, 40), Auto(-20, 10), TCBKey(0, 0.1f, 0.2f, 0.3f));
    curve->KeySetSelected(0, true);
    curve->KeySetSelected(1, true);
    EventLog log(*curve);
    const float slope = curve->KeyGetRightDerivative(1);
    curve->KeyTangeantSetMode(true, YFCURVE_TANGENT_USER);
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(curve->KeyGetTangeantMode(1), YFCURVE_TANGENT_USER);
    EXPECT_EQ(curve->KeyGetTangeantMode(2), YFCURVE_TANGENT_TCB);
    EXPECT_EQ(curve->KeyGetRightDerivative(1), slope);

    curve->KeyTangeantSetInterpolation(false, YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(curve->KeyGetInterpolation(2), YFCURVE_INTERP_LINEAR);
    curve->KeySetTangeantVisibility(2, YFCURVE_SHOW_BOTH);
    curve->KeyTangeantHide();
    EXPECT_EQ(curve->KeyGetTangeantVisibility(2), YFCURVE_SHOW_NONE);
}

TEST(AllKeys, PureCubicAutoIsAKeyThatNobodyTouched)
{
    const auto pure = [](auto change) {
        YFCurvePtr curve = Around(Auto(0), Auto(0), Auto(0));
        change(*curve);
        return curve->IsKeyInterpolationPureCubicAuto(1);
    };
    EXPECT_TRUE(pure([](YFCurve&) {}));
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetRightAuto(1, 1.0f); }));
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetLeftAuto(1, 1.0f); }));
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetBreak(1, true); }));
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetLeftTangeantWeight(1, 0.5f); }));
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetInterpolation(1, YFCURVE_INTERP_LINEAR); }));
}
