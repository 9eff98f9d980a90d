#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <tuple>
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
    YFCurvePtr curve = MakeCurve({before, middle, after});
    curve->KeySetTime(2, Sec(3));
    return curve;
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
            EXPECT_EQ(Slopes(*curve), std::vector<float>(2, 0.0f));
        }
    }
    const YFCurvePtr none =
        Around(MakeKey(0, 0, YFCURVE_TANGENT_USER, 1, 2), MakeKey(0, YFCURVE_INTERP_CUBIC, 0, 7, 3));
    EXPECT_EQ(none->KeyGetLeftDerivative(1), 0.0f) << "no interpolation, no slope";
    EXPECT_EQ(none->KeyGetRightDerivative(1), 0.0f) << "no mode, no slope";
    // The first key: (1 - 0.2)(1 - 0.3)(1 + 0.4) 2
    EXPECT_FLOAT_EQ(Around(kMiddle[5], UserKey(0))->KeyGetRightDerivative(0), 1.568f);
}

// Between the slopes 2 and 1/2, as above; beyond 500 with 1000 x (100 / 500)^2 or 1000 x (200 / 500)^2 more. Time
// independence means the chord, of slope 1, where no parameter is set.
TEST(Slopes, OfAutoKeysOvershootBeyond500)
{
    const struct
    {
        unsigned mode;
        float parameter, left, right;
    } kCases[] = {{YFCURVE_TANGENT_AUTO, 100, 2, 0.5f},
                  {YFCURVE_TANGENT_AUTO, -100, 0.5f, 2},
                  {YFCURVE_TANGENT_AUTO, 600, 5.75f + 40, -3.25f - 40},
                  {YFCURVE_TANGENT_AUTO_BREAK, -700, -4.0f - 160, 6.5f + 160},
                  {kTimeIndependent, -0.0099f, 1, 1},
                  {kTimeIndependent, 0.0101f, 1.25f, 1.25f}};
    for (const auto& [mode, parameter, left, right] : kCases) {
        const YFCurvePtr curve =
            Around(Auto(0, parameter), Auto(parameter, 0, mode), Auto(0, 0, kTimeIndependent));
        EXPECT_NEAR(curve->KeyGetLeftDerivative(1), left, 1e-3) << parameter;
        EXPECT_NEAR(curve->KeyGetRightDerivative(1), right, 1e-3) << parameter;
        EXPECT_FLOAT_EQ(curve->KeyGetLeftDerivative(2), 0.5f);
    }
}

// The middle key goes to 4 s, a second behind the one after it: slopes 1/2 and -1 beside it.
TEST(Slopes, OfKeysOutOfOrderCountTimeBackwards)
{
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
    bool left, right;
    EXPECT_EQ(slopesOf(0, 3, kClamped, left, right), std::pair(1.5f, 0.5f * (1.3f * 2.0f + 0.7f * 1.0f)));
    EXPECT_FALSE(left || right);
    for (const auto& [before, after] : {std::pair(1.0f, 3.0f), {0.0f, 1.0f}, {0.0f, 0.5f}, {2.0f, 3.0f}}) {
        EXPECT_EQ(slopesOf(before, after, kClamped, left, right), std::pair(0.0f, 0.0f));
        EXPECT_TRUE(left && right) << before << " " << after;
    }
    const std::pair slopes = slopesOf(1, 3, kClamped | YFCURVE_TANGENT_BREAK, left, right);
    EXPECT_TRUE(left && !right && slopes.first == 0.0f && slopes.second != 0.0f);
    EXPECT_NE(slopesOf(1, 3, YFCURVE_TANGENT_AUTO, left, right).first, 0.0f) << "only with the override";

    // A neighbour within a hundredth of a millisecond, 461,861 ticks, is the other side of a jump.
    for (const auto& [ticks, isJump] : {std::pair(461'000, true), {463'000, false}}) {
        YFCurvePtr jump(YFCurveCreate());
        const YTime times[] = {Sec(0), Sec(1), Sec(1) + YTime(ticks), Sec(2)};
        for (int i = 0; i < 4; ++i) jump->KeyAdd(times[i], AutoKey(static_cast<float>(i), kClamped));
        EXPECT_EQ(jump->KeyGetRightDerivative(1) == 0.0f, isJump);
        EXPECT_EQ(jump->KeyGetLeftDerivative(2) == 0.0f, isJump);
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
    YFCurvePtr user = Around(UserKey(0, 0, 4), UserKey(0, 3));
    user->KeyIncRightDerivative(1, 0.5f);
    user->KeyIncLeftDerivative(1, -1.0f);
    EventLog log(*user);
    user->KeyMultDerivative(1, 2.0f);
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(Slopes(*user), (std::vector<float>{0, 0, 6, 7, 0, 0}));
}

TEST(SetSide, AutoKeysAtTheEndsHaveOneParameterForBothSides)
{
    YFCurvePtr curve = Around(Auto(10, 20), Auto(30, 40), Auto(50, 60));
    curve->KeySetLeftAuto(0, 11);
    curve->KeySetRightDerivativeInfo(2, Info(0.5f, 52), true);
    EXPECT_EQ(curve->KeyGetLeftAuto(0), 11.0f);
    EXPECT_EQ(curve->KeyGetRightAuto(0), 11.0f);
    EXPECT_EQ(curve->KeyGetLeftAuto(2), 40.0f) << "stored on the key before";
    EXPECT_EQ(curve->KeyGetRightAuto(2), 52.0f);
    EXPECT_EQ(Around(UserKey(0, 10), Auto(0))->KeyGetLeftAuto(0), 0.0f);
    // Elsewhere a whole side brings its parameter, unless its slope is asked for.
    curve->KeySetLeftDerivativeInfo(1, Info(0.5f, 13));
    EXPECT_EQ(curve->KeyGetLeftAuto(1), 13.0f);
}

TEST(SetSide, AWholeSideComesBack)
{
    // Between the slopes 2 and 0.5, the parameter 50 is 1.625 on the left and 0.875 on the right.
    YFCurvePtr curve = Around(UserKey(0), UserKey(0), UserKey(0));
    curve->KeySetLeftDerivativeInfo(1, {1.625f, kThird, -1.0f, 50.0f, true, true});
    curve->KeySetRightDerivativeInfo(1, {0.875f, 2.0f * kThird, 2.0f, 50.0f, true, true});
    for (const auto& [info, slope, weight, velocity] :
         {std::tuple(curve->KeyGetLeftDerivativeInfo(1), 1.625f, kThird, -1.0f),
          {curve->KeyGetRightDerivativeInfo(1), 0.875f, 2.0f * kThird, 2.0f}}) {
        EXPECT_FLOAT_EQ(info.Derivative, slope);
        EXPECT_FLOAT_EQ(info.AutoValue, 50.0f);
        EXPECT_FLOAT_EQ(info.Weight, weight);
        EXPECT_EQ(info.Velocity, velocity);
        EXPECT_TRUE(info.IsWeighted && info.HasVelocity);
    }
    curve->KeySetLeftDerivativeInfo(1, {});
    EXPECT_EQ(curve->KeyGet(0).GetFlags() & (YFCURVE_WEIGHT_ALL | YFCURVE_VELOCITY_ALL), 0u);
}

TEST(Weights, AreSwitchedOnAndOff)
{
    YFCurvePtr curve = Around(UserKey(0), UserKey(0), UserKey(0));
    curve->KeySetLeftTangeantWeight(1, 0.5f);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_NEXT_LEFT);
    curve->KeySetRightTangeantWeightedMode(0, true);
    curve->KeySetLeftTangeantWeightedMode(1, false);
    EXPECT_EQ(curve->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_RIGHT);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), kThird);
    curve->KeySetLeftTangeantWeightedMode(1, true);
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(4999 / 9999.0)) << "it was kept";
    curve->KeySetLeftTangeantVelocity(1, 1.0f);
    curve->KeySetLeftTangeantVelocityMode(1, false);
    curve->KeySetRightTangeantVelocityMode(1, true);
    EXPECT_TRUE(!curve->KeyIsLeftTangeantVelocity(1) && curve->KeyIsRightTangeantVelocity(1));

    YFCurvePtr tcb = Around(TCBKey(0, 0.1f, 0.2f, 0.3f), UserKey(0));
    tcb->KeySetRightTangeantWeight(0, 0.5f);
    EXPECT_EQ(tcb->KeyGetTangeantWeightMode(0), YFCURVE_WEIGHT_RIGHT) << "set, though it has no effect";
    EXPECT_EQ(tcb->KeyGetRightTangeantWeight(0), kThird);
}

// --- Several keys --------------------------------------------------------------------------------------

TEST(KeyRemoveTangents, TheFollowingKeyKeepsItsInTangent)
{
    YFCurvePtr curve = MakeCurve({UserKey(0, 1, 2), UserKey(1, 3, 4), UserKey(2, 5, 6)});
    curve->KeySetLeftTangeantWeight(2, 0.75f);
    ASSERT_TRUE(curve->KeyRemove(1));
    EXPECT_EQ(Slopes(*curve), (std::vector<float>{1, 1, 4, 4}));
    EXPECT_EQ(curve->KeyGetLeftTangeantWeight(1), static_cast<float>(7499 / 9999.0));
    for (float number = 0.1f; number < 0.98f; number += 0.0137f) {  // to the last stored digit
        curve = MakeCurve({UserKey(0), UserKey(1), UserKey(2)});
        curve->KeySetLeftTangeantWeight(2, number);
        curve->KeySetLeftTangeantVelocity(2, number);
        const YFCurveTangeantInfo before = curve->KeyGetLeftDerivativeInfo(2);
        curve->KeyRemove(1);
        const YFCurveTangeantInfo after = curve->KeyGetLeftDerivativeInfo(1);
        EXPECT_TRUE(after.Weight == before.Weight && after.Velocity == before.Velocity) << number;
    }

    // In front of a weighted key a TCB key stays what it was.
    YFCurvePtr tcb = MakeCurve({TCBKey(0, 0.0f, 0.0f, 0.5f), UserKey(1), UserKey(2)});
    tcb->KeySetLeftTangeantWeight(2, 0.75f);
    tcb->KeyRemove(1);
    EXPECT_EQ(tcb->KeyGet(0).GetFlags(), TCBKey(0).GetFlags());
}

TEST(AllKeys, SelectedOnesAreSetWithOneEvent)
{
    YFCurvePtr curve = Around(Auto(30, 40), Auto(-20, 10), TCBKey(0, 0.1f, 0.2f, 0.3f));
    for (const int key : {0, 1}) curve->KeySetSelected(key, true);
    EventLog log(*curve);
    curve->KeyTangeantSetMode(true, YFCURVE_TANGENT_USER);
    EXPECT_EQ(curve->KeyGetTangeantMode(1), YFCURVE_TANGENT_USER);
    curve->KeyTangeantSetInterpolation(true, YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(curve->KeyGetInterpolation(1), YFCURVE_INTERP_LINEAR);
    EXPECT_EQ(curve->KeyGet(2).GetFlags(), TCBKey(0).GetFlags());
    EXPECT_EQ(log.Take().size(), 2u);
    curve->KeySetTangeantVisibility(2, YFCURVE_SHOW_BOTH);
    curve->KeyTangeantHide();
    EXPECT_EQ(curve->KeyGetTangeantVisibility(2), YFCURVE_SHOW_NONE);
}
