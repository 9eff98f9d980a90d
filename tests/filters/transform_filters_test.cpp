#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/filters/made_filter.h"
#include "tests/filters/rotation_filters.h"
#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurvefiltermatrixconverter.h"
#include "yfcurve/yfcurvefilterroll.h"
#include "yfcurve/yfcurvefiltertrs.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

using namespace nodetest;
using namespace yfc::test;
using rotationtest::Apart;
using rotationtest::Shown;

void Animate(const YFCurveNode& property, RandomCurves& random, int keyCount, float range,
             YTime from = YTIME_ZERO)
{
    for (int axis = 0; axis < 3; ++axis)
        for (int i = 0; i < keyCount; ++i)
            CurveOf(property, axis).KeyAppendFast(from + Sec(i / 10.0), random.Float(-range, range));
}

TEST(RollFilter, ASpinBecomesASawTooth)
{
    const YFCurveNodePtr rotation = nodetest::Rotation();
    const YFCurve& curve = CurveOf(*rotation, 1);
    nodetest::SetKeys(CurveOf(*rotation, 1), {{0.0, 0.0f}, {2.0, 720.0f}});
    YFCurveFilterRoll filter;
    ASSERT_TRUE(filter.Apply(*rotation, false)) << filter.GetLastErrorString();
    // 180 is passed after half a second, 540 after one and a half; each jump takes a tick.
    EXPECT_EQ(curve.KeyGetTime(2) - curve.KeyGetTime(1), YTime(1));
    const float values[] = {0, 180, -180, 180, -180, 0};
    ASSERT_EQ(curve.KeyGetCount(), 6);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(curve.KeyGetValue(i), values[i], 1e-4) << i;
    EXPECT_FALSE(filter.Apply(*rotation, false));
    EXPECT_EQ(filter.GetLastErrorID(), 1);
    // Keys at angles are a change of their own, in quaternion form too.
    filter.SetKeyRateMode(YFCurveFilterRoll::eKeyEachAngle);
    filter.SetAngleInterval(45.0);
    rotation->SetUseQuaternion(true);
    nodetest::SetKeys(CurveOf(*rotation, 1), {{0.0, 0.0f}, {1.0, 100.0f}});
    EXPECT_TRUE(filter.Apply(*rotation, false));
    EXPECT_EQ(curve.KeyGetCount(), 4);
    // A swing between keys takes no more turns than are of use.
    rotation->SetUseQuaternion(false);
    CurveOf(*rotation, 1).KeySet(0, Sec(0.0), 0.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, 1e10f, 0.0f);
    EXPECT_FALSE(filter.Apply(*rotation, false));
}

TEST(RollFilter, KeepsEveryOrientationInsideTheBounds)
{
    RandomCurves random;
    for (int round = 0; round < 100; ++round) {
        const YFCurveNodePtr joint = Joint(random.Below(6));
        YFCurveNode& rotation = *joint->Get(1);
        for (int axis = 0; axis < 3; ++axis) {
            random.AddKeys(CurveOf(rotation, axis), 12, 0.0);
            CurveOf(rotation, axis).KeyScaleValueAndTangeant(false, random.Float(1.0, 10.0));
        }
        const YFCurveNodePtr before(rotation.Clone());
        YFCurveFilterRoll filter;
        if (random.Chance(0.5)) filter.SetStartTime(Sec(random.Between(0.0, 4.0)));
        if (random.Chance(0.5)) filter.SetStopTime(Sec(random.Between(4.0, 8.0)));
        const bool byAngle = random.Chance(0.3);
        if (byAngle) filter.SetKeyRateMode(YFCurveFilterRoll::eKeyEachAngle);
        filter.SetAngleInterval(random.Between(20.0, 400.0));
        filter.Apply(rotation, false);
        for (int axis = 0; axis < 3; ++axis) {
            const YFCurve& curve = CurveOf(rotation, axis);
            for (int i = 0; i < 60; ++i) {
                const YTime time = random.TimeBetween(Sec(-1.0), Sec(14.0));
                const double old = CurveOf(*before, axis).Evaluate(time);
                const double turned = double{curve.Evaluate(time)} - old;
                ASSERT_NEAR(turned, 360.0 * std::round(turned / 360.0), 2e-3 + 5e-7 * std::abs(old))
                    << "round " << round << " at " << time.Get();
            }
            const int stop = filter.GetStopKey(CurveOf(rotation, axis));
            for (int i = filter.GetStartKey(CurveOf(rotation, axis)) + 1; i < stop; ++i) {
                ASSERT_LE(std::fabs(curve.KeyGetValue(i)), 180.01f);
                const double step = double{curve.KeyGetValue(i)} - curve.KeyGetValue(i - 1);
                const bool isJump = curve.KeyGetTime(i) - curve.KeyGetTime(i - 1) == YTime(1) ||
                                    curve.KeyGetInterpolation(i - 1) == YFCURVE_INTERP_CONSTANT;
                ASSERT_TRUE(!byAngle || isJump || std::abs(step) <= filter.GetAngleInterval() + 0.01) << step;
            }
        }
    }
}

// Without a turn keys stay where they are.
TEST(TRSFilter, MovesTurnsAndScalesTheWholeMotion)
{
    RandomCurves random;
    for (int round = 0; round < 12; ++round) {
        const YFCurveNodePtr root(YFCurveNodeCreate("Root", static_cast<YDataType*>(nullptr)));
        root->Add(Joint(round % 6).release());  // found below a node without properties
        root->Add(Joint().release());
        root->Get(1)->SetLockedByProperty(true);
        YFCurveNode& joint = *root->Get(0);
        Animate(*joint.Get(0), random, 8, 20.0f);
        Animate(*joint.Get(1), random, 8, 90.0f);
        Animate(*joint.Get(2), random, 8, 20.0f);
        const bool turns = round < 6;
        joint.Get(1)->SetUseQuaternion(round % 2 == 1);
        const YFCurveNodePtr before(joint.Clone());
        const YgeRVector turn = turns ? YgeRVector(30.0, -50.0, 110.0) : YgeRVector();
        YFCurveFilterTRS filter;
        filter.SetT(5.0, 2.0, 3.0);
        filter.SetR(turn.x, turn.y, turn.z);
        filter.SetS(2.0, 1.0, 0.0);
        ASSERT_TRUE(filter.Apply(*root, true));
        EXPECT_EQ(filter.GetOutcome(), eFilterOutcome::Changed);
        const auto order = static_cast<eRotationOrder>(round % 6);
        const YgeMatrix matrix(turn, order);
        for (int i = 0; i <= 21; ++i) {
            const YTime time = i == 21 ? Sec(0.7) : YFCURVE_GetPlotPeriod() * i;
            const YgeRVector old = Shown(*before->Get(0), time);
            const YgeVector moved = matrix * YgeVector{2.0 * old.x, old.y, 0.0};
            const YgeRVector place = Shown(*joint.Get(0), time);
            EXPECT_NEAR(place.x, 5.0 + moved.x, 1e-4);
            EXPECT_NEAR(place.y, 2.0 + moved.y, 1e-4);
            EXPECT_NEAR(place.z, 3.0 + moved.z, 1e-4);
            EXPECT_NEAR(Shown(*joint.Get(2), time).x, 2.0 * Shown(*before->Get(2), time).x, 1e-4);
            const YgeMatrix wanted = matrix * YgeMatrix(Shown(*before->Get(1), time), order);
            EXPECT_LT(Apart(Shown(*joint.Get(1), time), YgeRVector(wanted, order), order), 1e-3);
        }
        EXPECT_EQ(CurveOf(*joint.Get(0), 0).KeyGetCount() == 8, !turns);
        EXPECT_EQ(CurveOf(*joint.Get(0), 1).GetValue(), 2.0f);
    }
}

// One axis has keys inside of the span alone, and one has none.
TEST(TRSFilter, ChangesNothingOutsideOfASpan)
{
    for (const int property : {0, 1}) {
        const YFCurveNodePtr joint = Joint();
        YFCurveNode& node = *joint->Get(property);
        nodetest::SetKeys(CurveOf(node, 0), {{0.0, 0.0f}, {4.0, 40.0f}});
        nodetest::SetKeys(CurveOf(node, 1), {{2.0, 7.0f}});
        CurveOf(node, 2).SetValue(20.0f);
        ASSERT_TRUE(MadeFilter("TRS", "R=30,60,90 Start=1 Stop=3")->Apply(*joint, true));
        for (const double time : {0.0, 0.9, 3.1, 4.0})
            EXPECT_LT(Apart(Shown(node, Sec(time)), {10.0 * time, 7.0, 20.0}, {}), 1e-4) << time;
    }
}

TEST(MatrixConverterFilter, EveryOrderKeepsTheOrientationsOfTheSamples)
{
    RandomCurves random;
    for (int source = 0; source < 6; ++source) {
        for (int destination = 0; destination < 6; ++destination) {
            const YFCurveNodePtr joint = Joint(source);
            const YTime from = source % 2 == 0 ? YTIME_ZERO : Sec(4e6);  // a month and a half later
            Animate(*joint->Get(0), random, 10, 20.0f, from);
            Animate(*joint->Get(1), random, 10, 200.0f, from);
            Animate(*joint->Get(2), random, 1, 1.0f, from);
            joint->Get(1)->SetUseQuaternion((source + destination) % 2 == 1);
            const YFCurveNodePtr before(joint->Clone());
            const auto order = static_cast<eRotationOrder>(destination);
            YFCurveFilterMatrixConverter filter;
            const YTime period = Sec(0.04);
            filter.SetResamplingPeriod(period);
            filter.SetDestRotateOrder(destination);
            ASSERT_TRUE(filter.Apply(*joint, true)) << filter.GetLastErrorString();
            EXPECT_EQ(joint->Get(1)->GetRotationOrder(), destination);
            for (int i = 0; i <= 23; ++i) {
                const YTime time = from + (i == 23 ? Sec(0.9) : period * i);
                const YgeMatrix wanted(Shown(*before->Get(1), time), static_cast<eRotationOrder>(source));
                EXPECT_LT(Apart(Shown(*joint->Get(1), time), YgeRVector(wanted, order), order), 1e-3);
                EXPECT_NEAR(Shown(*before->Get(0), time).y, Shown(*joint->Get(0), time).y, 1e-4);
            }
            // A layer's keys would be read in the new order.
            joint->Get(1)->CreateLayerAt({1, nullptr});
            filter.SetDestRotateOrder(source);
            EXPECT_EQ(filter.Apply(*joint, true), source == destination);
            // The scaling stands still, and keeps one value and no key.
            EXPECT_EQ(CurveOf(*joint->Get(2), 0).KeyGetCount(), 0);
            EXPECT_EQ(Shown(*joint->Get(2), Sec(0.5)).x, Shown(*before->Get(2), from).x);
        }
    }
}

TEST(MatrixConverterFilter, DoesWhatItsParametersSay)
{
    for (int options = 0; options < 64; ++options) {
        const auto isOn = [options](int bit) { return (options >> bit & 1) != 0; };
        const YFCurveNodePtr joint = Joint(2);
        for (int axis = 0; axis < 3; ++axis) {
            nodetest::SetKeys(CurveOf(*joint->Get(0), axis), {{0.05, 1.0f}, {0.35, axis < 2 ? 2.0f : 1.0f}});
            nodetest::SetKeys(CurveOf(*joint->Get(1), axis),
                              {{0.05, 0.0f}, {0.35, axis == 0 ? 400.0f : 0.0f}});
            nodetest::SetKeys(CurveOf(*joint->Get(2), axis), {{0.05, 1.0f}, {0.35, 1.0f}});
        }
        YFCurveFilterMatrixConverter filter;
        filter.SetResamplingPeriod(Sec(0.1));
        filter.SetResamplingOnFrameRateMultiple(isOn(0));
        filter.SetGenerateLastKeyExactlyAtEndTime(isOn(1));
        filter.SetApplyUnroll(isOn(2));
        filter.SetApplyConstantKeyReducer(isOn(3));
        filter.SetResampleTranslation(isOn(4));
        filter.SetSrcRotateOrder(isOn(5) ? 4 : YFCurveFilterMatrixConverter::NodeRotateOrder);
        ASSERT_TRUE(filter.Apply(*joint, true));
        std::vector<double> times =
            isOn(0) ? std::vector{0.05, 0.1, 0.2, 0.3} : std::vector{0.05, 0.15, 0.25, 0.35};
        if (isOn(0) && isOn(1)) times.push_back(0.35);
        EXPECT_EQ(KeySeconds(CurveOf(*joint->Get(1), 0)), times) << options;
        EXPECT_EQ(KeySeconds(CurveOf(*joint->Get(0), 0)), isOn(4) ? times : std::vector({0.05, 0.35}))
            << options;
        const int ofFlat = isOn(3) ? 0 : static_cast<int>(times.size());
        EXPECT_EQ(CurveOf(*joint->Get(2), 0).KeyGetCount(), ofFlat);
        EXPECT_EQ(CurveOf(*joint->Get(0), 2).KeyGetCount(), isOn(4) ? ofFlat : 2);
        const double last = CurveOf(*joint->Get(1), 0).Evaluate(Sec(0.35));
        if (times.back() == 0.35) {
            EXPECT_NEAR(last, isOn(2) ? 400.0 : 40.0, 1e-3) << options;
        }
        EXPECT_EQ(joint->Get(1)->GetRotationOrder(), 2);
    }
}

// The slopes at the ends are held, and know nothing of the turns that the samples of a spin come without.
TEST(MatrixConverterFilter, AnEvenSpinStaysEvenWhereASpanEnds)
{
    const YFCurveNodePtr joint = Joint();
    for (int axis = 0; axis < 3; ++axis)
        nodetest::SetKeys(CurveOf(*joint->Get(1), axis), {{0.0, 0.0f}, {4.0, axis == 0 ? 1440.0f : 0.0f}});
    // It starts after half a turn: the samples after that jump.
    const FilterPtr filter = MadeFilter("MatrixConverter", "ResamplingPeriod=0.04 Start=0.5 Stop=3.5");
    ASSERT_TRUE(filter->Apply(*joint, true)) << filter->GetLastErrorString();
    for (int i = 0; i <= 400; ++i)
        EXPECT_NEAR(CurveOf(*joint->Get(1), 0).Evaluate(Sec(i / 100.0)), 3.6 * i, 0.02) << i;
}

}  // namespace
