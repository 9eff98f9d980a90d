#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <utility>

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

YFCurveKey Auto(float right, float nextLeft = 0.0f, unsigned mode = YFCURVE_TANGENT_AUTO)
{
    return AutoKey(0.0f, mode, right, nextLeft);
}

constexpr unsigned kTimeIndependent = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TIME_INDEPENDENT;
constexpr unsigned kClamped = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_CLAMP;

// Every kind of key, once as the one before the middle and once as the middle one.
const YFCurveKey kBefore[] = {ConstantKey(0), LinearKey(0), UserKey(0, 1, 1.625f), Auto(0, 1.5f),
                              TCBKey(0, 0.1f, 0.2f)};
const YFCurveKey kMiddle[] = {ConstantKey(0, YFCURVE_CONSTANT_NEXT),
                              LinearKey(0),
                              UserKey(0, 0.875f, 8),
                              Auto(50),
                              Auto(50, 0, YFCURVE_TANGENT_AUTO_BREAK),
                              TCBKey(0, 0.2f, 0.3f, -0.4f)};

}  // namespace

// --- Slopes and parameters -----------------------------------------------------------------------------

// Between the slopes 2 and 1/2, the parameter p stands for 1.25 + 0.0075 p on the left and 1.25 - 0.0075 p on
// the right; at the last key both slopes are 2. The TCB key arrives with
//   0.5 (1 - 0.2) ((1 - 0.3)(1 - 0.4) 2 + (1 + 0.3)(1 + 0.4) 0.5) = 0.7,
// as the last key with (1 - 0.2)(1 - 0.3)(1 - 0.4) 2 = 0.672, and leaves with
//   0.5 (1 - 0.2) ((1 + 0.3)(1 - 0.4) 2 + (1 - 0.3)(1 + 0.4) 0.5) = 0.82.
TEST(Slopes, FollowTheKeysOnBothSides)
{
    constexpr float tcb = -0.55f / 0.0075f;
    const float left[][6] = {{0, 0, 0, 0, 0, 0},
                             {2, 2, 2, 2, 2, 2},
                             {1.625f, 1.625f, 1.625f, 1.2621875f, 1.2621875f, 0.7f},
                             {1.26125f, 1.26125f, 1.5f, 1.26125f, 1.26125f, 0.7f},
                             {0, 0.5f, 0.875f, 0.875f, 2, 0.7f}};
    const float lastLeft[][6] = {{0, 0, 0, 0, 0, 0},
                                 {2, 2, 2, 2, 2, 2},
                                 {1.625f, 1.625f, 1.625f, 2, 2, 0.672f},
                                 {2, 2, 1.5f, 2, 2, 0.672f},
                                 {0, 0, 0, 2, 2, 0.672f}};
    const float leftAuto[][6] = {{0, 0, 0, 0, 0, 0},
                                 {100, 100, 100, 100, 100, 100},
                                 {50, 50, 50, 1.625f, 1.625f, tcb},
                                 {1.5f, 1.5f, 0.25f / 0.0075f, 1.5f, 1.5f, tcb},
                                 {-500.0f / 3, -100, -50, -50, 100, tcb}};
    const float right[] = {0, 0.5f, 0.875f, 0.875f, 0.875f, 0.82f};
    const float rightAuto[] = {0, 100, 50, 50, 50, 0.43f / 0.0075f};
    for (std::size_t b = 0; b < std::size(kBefore); ++b) {
        for (std::size_t m = 0; m < std::size(kMiddle); ++m) {
            SCOPED_TRACE(testing::Message() << "key " << m << " after key " << b);
            YFCurvePtr curve = Around(kBefore[b], kMiddle[m]);
            EXPECT_FLOAT_EQ(curve->KeyGetLeftDerivative(1), left[b][m]);
            EXPECT_FLOAT_EQ(curve->KeyGetRightDerivative(1), right[m]);
            EXPECT_NEAR(curve->KeyGetLeftAuto(1), leftAuto[b][m], 1e-4);
            EXPECT_NEAR(curve->KeyGetRightAuto(1), rightAuto[m], 1e-4);
            curve->KeyRemove(2);
            EXPECT_FLOAT_EQ(curve->KeyGetLeftDerivative(1), lastLeft[b][m]);
            EXPECT_FLOAT_EQ(curve->KeyGetRightDerivative(1), lastLeft[b][m]) << "goes on as it came";
            EXPECT_EQ(curve->KeyGetLeftDerivative(0), curve->KeyGetRightDerivative(0));
            curve->KeyRemove(0);
            EXPECT_EQ(curve->KeyGetRightDerivative(0), 0.0f);
            EXPECT_EQ(curve->KeyGetLeftDerivative(0), 0.0f);
        }
    }
    EXPECT_EQ(RightSlope(MakeKey(0, YFCURVE_INTERP_CUBIC, 0, 7, 3)), 0.0f) << "no mode, no slope";
    YFCurveKey none = UserKey(0, 1, 2);
    none.SetInterpolation(0);
    EXPECT_EQ(LeftSlope(none, UserKey(0, 7)), 0.0f);
    // The first key: (1 - 0.2)(1 - 0.3)(1 + 0.4) 2
    EXPECT_FLOAT_EQ(Around(kMiddle[5], UserKey(0))->KeyGetRightDerivative(0), 1.568f);
}

TEST(Slopes, OfAutoKeysOvershootBeyond500)
{
    for (const unsigned mode : {YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_AUTO_BREAK}) {
        EXPECT_FLOAT_EQ(RightSlope(Auto(-100, 0, mode)), 2.0f);
        // (7 x 0.5 - 5 x 2) / 2, and 1000 x (100 / 500)^2 further down.
        EXPECT_FLOAT_EQ(RightSlope(Auto(600, 0, mode)), -43.25f);
    }
    EXPECT_EQ(LeftSlope(Auto(0, 100), Auto(0)), 2.0f);
    EXPECT_EQ(LeftSlope(Auto(0, -100), Auto(0)), 0.5f);
    // (-6 x 2 + 8 x 0.5) / 2, and 1000 x (200 / 500)^2 further down.
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, -700), Auto(0)), -164.0f);
}

TEST(Slopes, TimeIndependentMeansTheChordWhereNoParameterIsSet)
{
    EXPECT_FLOAT_EQ(RightSlope(Auto(-0.0099f, 0, kTimeIndependent)), 1.0f);
    EXPECT_NEAR(RightSlope(Auto(0.0101f, 0, kTimeIndependent)), 1.25f, 1e-3);
    EXPECT_FLOAT_EQ(LeftSlope(Auto(0, 0), Auto(0, 0, kTimeIndependent)), 1.0f);
    EXPECT_NEAR(LeftSlope(Auto(0, -0.0101f), Auto(0, 0, kTimeIndependent)), 1.25f, 1e-3);

    YFCurvePtr ends = Around(Auto(0, 0, kTimeIndependent), Auto(0), Auto(0, 0, kTimeIndependent));
    EXPECT_FLOAT_EQ(ends->KeyGetRightDerivative(0), 2.0f);
    EXPECT_FLOAT_EQ(ends->KeyGetLeftDerivative(2), 0.5f);
}

TEST(Slopes, OfKeysOutOfOrderCountTimeBackwards)
{
    // The middle key goes to 4 s, a second behind the one after it: slopes 1/2 and -1 beside it.
    const std::pair<YFCurveKey, float> cases[] = {
        {LinearKey(0), -1.0f}, {Auto(0), -0.25f}, {Auto(0, 0, kTimeIndependent), 1.0f}, {TCBKey(0), -0.25f}};
    for (const auto& [key, expected] : cases) {
        YFCurvePtr curve = Around(UserKey(0), key);
        curve->KeySetTime(1, Sec(4));
        const float right = curve->KeyGetRightDerivative(1);
        EXPECT_FLOAT_EQ(right, expected);
        // Half-way the handles count 3/8 each, and are a third of -1 s long.
        EXPECT_FLOAT_EQ(curve->EvaluateIndex(1.5), 2.5f - (right - curve->KeyGetLeftDerivative(2)) / 8);
    }
}

TEST(Clamp, HoldsKeysFlat)
{
    const auto slopesOf = [](float before, float after, unsigned mode, bool& left, bool& right) {
        YFCurvePtr curve = MakeCurve({AutoKey(before, mode), AutoKey(1, mode, 30, 0), AutoKey(after, mode)});
        curve->IsClamped(1, left, right);
        return std::pair(curve->KeyGetLeftDerivative(1), curve->KeyGetRightDerivative(1));
    };
    bool left;
    bool right;
    EXPECT_EQ(slopesOf(0, 3, kClamped, left, right), std::pair(1.5f, 0.5f * (1.3f * 2.0f + 0.7f * 1.0f)));
    EXPECT_FALSE(left || right);
    for (const auto& [before, after] : {std::pair(1.0f, 3.0f), {0.0f, 1.0f}, {0.0f, 0.5f}, {2.0f, 3.0f}}) {
        EXPECT_EQ(slopesOf(before, after, kClamped, left, right), std::pair(0.0f, 0.0f));
        EXPECT_TRUE(left && right) << before << " " << after;
    }
    std::pair slopes = slopesOf(1, 3, kClamped | YFCURVE_TANGENT_BREAK, left, right);
    EXPECT_TRUE(left && !right && slopes.first == 0.0f && slopes.second != 0.0f);
    slopes = slopesOf(1, 3, YFCURVE_TANGENT_AUTO, left, right);
    EXPECT_TRUE(!left && !right && slopes.first != 0.0f) << "only with the override";

    // A neighbour within a hundredth of a millisecond, 461,861 ticks, is the other side of a jump.
    for (const auto& [ticks, isJump] : {std::pair(461'000, true), {463'000, false}}) {
        YFCurvePtr jump(YFCurveCreate());
        const YTime times[] = {Sec(0), Sec(1), Sec(1) + YTime(ticks), Sec(2)};
        for (int i = 0; i < 4; ++i) jump->KeyAdd(times[i], AutoKey(static_cast<float>(i), kClamped));
        EXPECT_EQ(jump->KeyGetRightDerivative(1) == 0.0f, isJump);
        EXPECT_EQ(jump->KeyGetLeftDerivative(2) == 0.0f, isJump);
        EXPECT_NE(jump->KeyGetRightDerivative(0), 0.0f);
    }
    // Beside an equal neighbour: between the slopes 0 and 1, 0 is the left one and not the right one.
    YFCurvePtr clamped = MakeCurve({AutoKey(1, kClamped, 0, 30), AutoKey(1, kClamped, 40), AutoKey(2)});
    EXPECT_EQ(clamped->KeyGetLeftAuto(1, false), 30.0f);
    EXPECT_EQ(clamped->KeyGetRightAuto(1, false), 40.0f);
    EXPECT_FLOAT_EQ(clamped->KeyGetLeftAuto(1, true), 100.0f);
    EXPECT_FLOAT_EQ(clamped->KeyGetRightAuto(1, true), -100.0f);
}

// --- Setting them --------------------------------------------------------------------------------------

YFCurveTangeantInfo Info(float all, float parameter)
{
    return {all, all, all, parameter, true, true};
}

// What can be set of both sides of a key.
struct Part
{
    using Set = std::function<void(YFCurve&, int, float)>;
    using Get = std::function<float(const YFCurve&, int)>;
    const char* name;
    bool ofTCB;  // whether a TCB key has it, too
    Set setLeft;
    Get getLeft;
    Set setRight;
    Get getRight;
};

const Part kParts[] = {
    {"slope", false, &YFCurve::KeySetLeftDerivative, &YFCurve::KeyGetLeftDerivative,
     &YFCurve::KeySetRightDerivative, &YFCurve::KeyGetRightDerivative},
    {"handle", false, &YFCurve::KeySetLeftBezierTangeant, &YFCurve::KeyGetLeftBezierTangeant,
     &YFCurve::KeySetRightBezierTangeant, &YFCurve::KeyGetRightBezierTangeant},
    {"parameter", false, &YFCurve::KeySetLeftAuto, [](auto& c, int i) { return c.KeyGetLeftAuto(i); },
     &YFCurve::KeySetRightAuto, [](auto& c, int i) { return c.KeyGetRightAuto(i); }},
    {"weight", true, &YFCurve::KeySetLeftTangeantWeight, &YFCurve::KeyGetLeftTangeantWeight,
     &YFCurve::KeySetRightTangeantWeight, &YFCurve::KeyGetRightTangeantWeight},
    {"velocity", true, &YFCurve::KeySetLeftTangeantVelocity, &YFCurve::KeyGetLeftTangeantVelocity,
     &YFCurve::KeySetRightTangeantVelocity, &YFCurve::KeyGetRightTangeantVelocity},
    {"side", false, [](auto& c, int i, float all) { c.KeySetLeftDerivativeInfo(i, Info(all, 9), true); },
     [](auto& c, int i) { return c.KeyGetLeftDerivativeInfo(i).Derivative; },
     [](auto& c, int i, float all) { c.KeySetRightDerivativeInfo(i, Info(all, 9), true); },
     [](auto& c, int i) { return c.KeyGetRightDerivativeInfo(i).Derivative; }},
};

bool IsCubic(const YFCurveKey& key)
{
    return key.GetInterpolation() == YFCURVE_INTERP_CUBIC;
}

bool IsTCB(const YFCurveKey& key)
{
    return IsCubic(key) && key.GetTangeantMode(false) == YFCURVE_TANGENT_TCB;
}

constexpr float kThird = 1.0f / 3.0f;  // which weights and velocities store exactly

void ExpectSet(YFCurve& curve, const Part::Set& set, const Part::Get& get, bool isThere)
{
    EventLog log(curve);
    curve.CandidateSet(Sec(1), 7.0);
    set(curve, 1, kThird);
    ASSERT_EQ(log.Take().size(), isThere ? 1u : 0u);
    if (!isThere) return;
    ASSERT_FALSE(curve.IsCandidate());
    ASSERT_NEAR(get(curve, 1), kThird, 1e-4);
    set(curve, 1, kThird);
    ASSERT_TRUE(log.events.empty()) << "unchanged";
}

TEST(SetSide, IsReadBackOrRefusedAndHeardOnce)
{
    for (const Part& part : kParts) {
        for (const YFCurveKey& before : kBefore) {
            for (const YFCurveKey& middle : kMiddle) {
                SCOPED_TRACE(testing::Message() << part.name << std::hex << " of a key " << middle.GetFlags()
                                                << " after " << before.GetFlags());
                YFCurvePtr curve = Around(before, middle);
                // A left side is stored on the key before, in words that a TCB key has in use.
                const bool hasRoom = IsCubic(before) && !IsTCB(before);
                ExpectSet(*curve, part.setLeft, part.getLeft, hasRoom && (part.ofTCB || !IsTCB(middle)));
                if (IsTCB(middle) && part.ofTCB) continue;  // stored on the right without effect, see below
                ExpectSet(*curve, part.setRight, part.getRight, IsCubic(middle) && !IsTCB(middle));
            }
        }
        YFCurvePtr ends = Around(UserKey(0, 1, 2), UserKey(0, 3, 4), UserKey(0, 5, 6));
        EventLog log(*ends);
        part.setLeft(*ends, 0, 0.25f);
        part.setRight(*ends, 2, 0.25f);
        EXPECT_TRUE(log.events.empty()) << part.name << ": ends have no outer side";
        EXPECT_EQ(ends->KeyGetLeftBezierTangeant(0), 0.0f);
        EXPECT_EQ(ends->KeyGetRightBezierTangeant(2), 0.0f);
    }
}

TEST(SetSide, ChangesSlopesInSteps)
{
    YFCurvePtr user = Around(UserKey(0), UserKey(0, 3));
    user->KeySetLeftDerivative(1, 4.0f);
    EXPECT_EQ(user->KeyGetDataDouble(0, YFCURVEKEY_NEXT_LEFT_DERIVATIVE), 4.0f);
    user->KeyIncRightDerivative(1, 0.5f);
    user->KeyIncLeftDerivative(1, -1.0f);
    EventLog log(*user);
    user->KeyMultDerivative(1, 2.0f);
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(user->KeyGetRightDerivative(1), 7.0f);
    EXPECT_EQ(user->KeyGetLeftDerivative(1), 6.0f);
}

TEST(SetSide, AutoKeysAtTheEndsHaveOneParameterForBothSides)
{
    YFCurvePtr curve = Around(Auto(10, 20), Auto(30, 40), Auto(50, 60));
    const auto expectEnds = [&](float first, float last) {
        EXPECT_EQ(curve->KeyGetLeftAuto(0), first);
        EXPECT_EQ(curve->KeyGetRightAuto(0), first);
        EXPECT_EQ(curve->KeyGetLeftAuto(2), 40.0f) << "stored on the key before";
        EXPECT_EQ(curve->KeyGetRightAuto(2), last);
    };
    expectEnds(10, 50);
    curve->KeySetLeftAuto(0, 11);
    curve->KeySetRightAuto(2, 51);
    expectEnds(11, 51);
    curve->KeySetLeftDerivativeInfo(0, Info(0.5f, 12), true);
    curve->KeySetRightDerivativeInfo(2, Info(0.5f, 52), true);
    expectEnds(12, 52);
    EXPECT_EQ(Around(UserKey(0, 10), Auto(0))->KeyGetLeftAuto(0), 0.0f);

    // Elsewhere a whole side brings its parameter, unless its slope is asked for.
    curve->KeySetLeftDerivativeInfo(1, Info(0.5f, 13));
    curve->KeySetRightDerivativeInfo(1, Info(0.5f, 14));
    EXPECT_EQ(curve->KeyGetLeftAuto(1), 13.0f);
    EXPECT_EQ(curve->KeyGetRightAuto(1), 14.0f);
}

TEST(SetSide, AWholeSideComesBack)
{
    // Between the slopes 2 and 0.5, the parameter 50 is 1.625 on the left and 0.875 on the right.
    const YFCurveTangeantInfo left = {1.625f, 0.25f, -1.0f, 50.0f, true, true};
    const YFCurveTangeantInfo right = {0.875f, 0.75f, 2.0f, 50.0f, true, true};
    YFCurvePtr curve = Around(UserKey(0), UserKey(0), UserKey(0));
    curve->KeySetLeftDerivativeInfo(1, left);
    curve->KeySetRightDerivativeInfo(1, right);
    for (const auto& [info, expected] : {std::pair(curve->KeyGetLeftDerivativeInfo(1), left),
                                         {curve->KeyGetRightDerivativeInfo(1), right}}) {
        EXPECT_FLOAT_EQ(info.Derivative, expected.Derivative);
        EXPECT_FLOAT_EQ(info.AutoValue, expected.AutoValue);
        EXPECT_NEAR(info.Weight, expected.Weight, 1.1 / 9999);
        EXPECT_EQ(info.Velocity, expected.Velocity);
        EXPECT_TRUE(info.IsWeighted && info.HasVelocity);
    }
    curve->KeySetLeftDerivativeInfo(1, {});
    curve->KeySetRightDerivativeInfo(1, {});
    for (const int key : {0, 1}) {
        EXPECT_EQ(curve->KeyGetTangeantWeightMode(key), YFCURVE_WEIGHT_NONE);
        EXPECT_EQ(curve->KeyGetTangeantVelocityMode(key), YFCURVE_VELOCITY_NONE);
    }
}

TEST(Weights, AreSwitchedOnAndOff)
{
    YFCurvePtr curve = Around(UserKey(0), UserKey(0), UserKey(0));
    curve->KeySetLeftTangeantWeight(1, 0.5f);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_NEXT_LEFT);
    curve->KeySetRightTangeantWeightedMode(0, true);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_ALL);
    curve->KeySetLeftTangeantWeightedMode(1, false);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_RIGHT);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), 1.0f / 3.0f);
    curve->KeySetLeftTangeantWeightedMode(1, true);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(4999 / 9999.0)) << "it was kept";

    curve->KeySetLeftTangeantVelocity(1, 1.0f);
    EXPECT_EQ(curve->KeyGetTangeantVelocityMode(0), YFCURVE_VELOCITY_NEXT_LEFT);
    curve->KeySetLeftTangeantVelocityMode(1, false);
    curve->KeySetRightTangeantVelocityMode(1, true);
    EXPECT_TRUE(!curve->KeyIsLeftTangeantVelocity(1) && curve->KeyIsRightTangeantVelocity(1));
}

TEST(Weights, OnlyTheRightSideLooksAtTheMode)
{
    YFCurvePtr curve = Around(TCBKey(0, 0.1f, 0.2f, 0.3f), UserKey(0));
    curve->KeySetRightTangeantWeight(0, 0.5f);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_RIGHT) << "set, though it has no effect";
    EXPECT_FALSE(curve->KeyIsRightTangeantWeighted(0));
    EXPECT_EQ(curve->KeyGetRightTangeantWeight(0), 1.0f / 3.0f);

    YFCurvePtr linear = Around(LinearKey(0), UserKey(0));
    linear->KeySetLeftTangeantWeightedMode(1, true);
    EXPECT_EQ(linear->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_NONE);
    linear->KeySetTangeantWeightMode(0, YFCURVE_WEIGHT_ALL);
    EXPECT_TRUE(linear->KeyIsLeftTangeantWeighted(1));
    EXPECT_FALSE(linear->KeyIsRightTangeantWeighted(0));
}

// --- Several keys --------------------------------------------------------------------------------------

TEST(KeyRemoveTangents, TheFollowingKeyKeepsItsInTangent)
{
    YFCurvePtr curve = MakeCurve({UserKey(0, 1, 2), UserKey(1, 3, 4), UserKey(2, 5, 6)});
    curve->KeySetLeftTangeantWeight(2, 0.75f);
    curve->KeySetLeftTangeantVelocity(2, 1.0f);
    EventLog log(*curve);
    ASSERT_TRUE(curve->KeyRemove(1));
    EXPECT_EQ(curve->KeyGetLeftDerivative(1), 4.0f);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(7499 / 9999.0));
    EXPECT_EQ(curve->KeyGetLeftTangeantVelocity(1), 1.0f);
    EXPECT_EQ(curve->KeyGetRightDerivative(0), 1.0f);
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(log.events[0].type & 0x1010, 0x1010u);

    // In front of a weighted key a TCB key stays what it was.
    YFCurvePtr tcb = MakeCurve({TCBKey(0, 0.0f, 0.0f, 0.5f), UserKey(1), UserKey(2)});
    tcb->KeySetLeftTangeantWeight(2, 0.75f);
    tcb->KeyRemove(1);
    EXPECT_EQ(tcb->KeyGet(0).GetFlags(), TCBKey(0).GetFlags());
    EXPECT_EQ(tcb->KeyGetLeftTangeantWeight(1), 1.0f / 3.0f);
}

TEST(AllKeys, SelectedOnesAreSetWithOneEvent)
{
    YFCurvePtr curve = Around(Auto(30, 40), Auto(-20, 10), TCBKey(0, 0.1f, 0.2f, 0.3f));
    for (const int key : {0, 1}) curve->KeySetSelected(key, true);
    EventLog log(*curve);
    const float slope = curve->KeyGetRightDerivative(1);
    curve->KeyTangeantSetMode(true, YFCURVE_TANGENT_USER);
    EXPECT_EQ(curve->KeyGetTangeantMode(1), YFCURVE_TANGENT_USER);
    EXPECT_EQ(curve->KeyGetTangeantMode(2), YFCURVE_TANGENT_TCB);
    EXPECT_EQ(curve->KeyGetRightDerivative(1), slope);
    curve->KeyTangeantSetInterpolation(true, YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(curve->KeyGetInterpolation(1), YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(curve->KeyGetInterpolation(2), YFCURVE_INTERP_CUBIC);
    EXPECT_EQ(log.Take().size(), 2u);
    curve->KeySetTangeantVisibility(2, YFCURVE_SHOW_BOTH);
    curve->KeyTangeantHide();
    EXPECT_EQ(curve->KeyGetTangeantVisibility(2), YFCURVE_SHOW_NONE);
}

TEST(AllKeys, PureCubicAutoIsAKeyAsItWasMade)
{
    const auto pure = [](auto... change) {
        YFCurvePtr curve = Around(Auto(0), Auto(0), Auto(0));
        (change(*curve), ...);
        return curve->IsKeyInterpolationPureCubicAuto(1);
    };
    EXPECT_TRUE(pure());
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetBreak(1, true); }));
    EXPECT_FALSE(pure([](YFCurve& c) { c.KeySetInterpolation(1, YFCURVE_INTERP_LINEAR); }));
    for (const Part& part : kParts) {
        EXPECT_FALSE(pure([&](YFCurve& curve) { part.setLeft(curve, 1, 0.25f); })) << part.name;
        EXPECT_FALSE(pure([&](YFCurve& curve) { part.setRight(curve, 1, 0.25f); })) << part.name;
    }
}
