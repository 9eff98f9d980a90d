#include <gtest/gtest.h>

#include "tests/curve/random_curve.h"
#include "tests/filters/made_filter.h"
#include "tests/filters/rotation_filters.h"
#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvefilterroll.h"

namespace {

using namespace nodetest;
using namespace rotationtest;

double LargestChange(const YFCurveNode& a, const YFCurveNode& b, double stop = 6.4, double start = -0.4)
{
    const auto order = static_cast<eRotationOrder>(a.GetRotationOrder());
    double largest = 0.0;
    for (double seconds = start; seconds <= stop; seconds += 1.0 / 50.0)
        largest = std::max(largest, Apart(Shown(a, seconds), Shown(b, seconds), order));
    return largest;
}

using QuaternionFilters = RandomRotation;

TEST_F(QuaternionFilters, KeepTheMotionThereAndBack)
{
    YFCurveFilterEulerToQuat toQuaternion;
    YFCurveFilterQuatToEuler toEuler;
    EXPECT_EQ(toQuaternion.GetPrecision(), 0.1);
    for (const eRotationOrder order : allOrders) {
        for (int round = 0; round < 10; ++round) {
            Triples keys;
            for (int i = 0; i < 6; ++i) keys.emplace_back(60 * Part(), 60 * Part(), 60 * Part());
            keys[3].x += 720.0;  // a spin that no quaternion shows
            const YFCurveNodePtr node = Rotation(keys, order);
            for (int axis = 0; axis < 3; ++axis) {
                YFCurve& curve = CurveOf(*node, axis);
                if (round % 2 == 1) curve.KeyTangeantSetInterpolation(false, YFCURVE_INTERP_CUBIC);
                curve.KeySetInterpolation(4, YFCURVE_INTERP_CONSTANT);
            }
            const YFCurveNodePtr before(node->Clone());
            ASSERT_TRUE(toQuaternion.Apply(*node, true));
            EXPECT_TRUE(node->GetUseQuaternion());
            EXPECT_LT(LargestChange(*before, *node), 0.13);
            const YFCurveNodePtr turned(node->Clone());
            ASSERT_TRUE(toEuler.Apply(*node, true));
            EXPECT_FALSE(node->GetUseQuaternion());
            EXPECT_LT(LargestChange(*turned, *node), 0.13);
            for (int i = 0; i < 6; ++i)
                EXPECT_LT(Apart(Shown(*node, i), keys[static_cast<std::size_t>(i)], order), 1e-3);
            EXPECT_LT(CurveOf(*node, 0).KeyGetCount(), 400);
        }
    }
}

// --- Every filter on a rotation in quaternion form --------------------------------------------------------

enum class Leaves
{
    Motion,  // as it is, and keys outside of the span as they are
    Form,    // what it makes of the angles that play, in the form that there was
    Angles   // the same in the form of angles
};

struct FilterCase
{
    const char* name;
    const char* settings;
    Leaves leaves;
    double tolerance;  // degrees
};

const FilterCase kFilterCases[] = {
    {"Unroll", "", Leaves::Motion, 2e-3},
    {"UnrollDof", "EnableMaxX=true MaxFreedom=20,0,0", Leaves::Motion, 2e-3},
    {"GimbleKiller", "", Leaves::Motion, 2e-3},
    {"GimbleKiller2", "", Leaves::Motion, 2e-3},
    {"Roll", "", Leaves::Motion, 2e-3},
    {"Roll", "KeyRateMode=EachAngle AngleInterval=30", Leaves::Motion, 0.05},
    {"KeySync", "", Leaves::Motion, 2e-3},
    {"KeysOnFrame", "Period=0.1", Leaves::Motion, 2e-3},
    {"ConstantKeyReducer", "", Leaves::Motion, 0.0},
    {"_TestTemplate", "", Leaves::Motion, 0.0},
    {"Smooth", "Width=0.4 FramePeriod=0.02", Leaves::Form, 0.03},
    {"MatrixConverter", "ResamplingPeriod=0.03 ApplyConstantKeyReducer=false", Leaves::Form, 0.03},
    {"TRS", "R=20,-40,100", Leaves::Form, 0.03},
    {"Smooth", "UseQuaternion=false Width=0.4", Leaves::Angles, 2e-3},
    {"Smooth", "ApplyKeyReducer=true", Leaves::Angles, 0.1},
    {"Butterworth", "CutOffFreq=2", Leaves::Angles, 2e-3},
    {"KeyReducer", "", Leaves::Angles, 2e-3},
    {"Scale", "Scale=0.5", Leaves::Angles, 2e-3},
    {"Clamp", "ApplyCeilClamping=true Ceil=25", Leaves::Angles, 2e-3},
};

// A joint whose rotation has wrapped keys at whole and half seconds, some of them on one axis alone.
YFCurveNodePtr RandomJoint(RandomCurves& random, eRotationOrder order)
{
    YFCurveNodePtr joint = nodetest::Joint(static_cast<int>(order));
    for (int property = 0; property < 3; ++property) {
        for (int axis = 0; axis < 3; ++axis) {
            YFCurve& curve = CurveOf(*joint->Get(property), axis);
            for (int i = 0; i <= 12; ++i) {
                if (i > 0 && i < 12 && random.Chance(0.3)) continue;
                const int turns = property == 1 ? random.Below(5) - 2 : 0;
                const float angle = random.Float(-60.0f, 60.0f) + 360.0f * static_cast<float>(turns);
                curve.KeyAppendFast(Seconds(i / 2.0), angle);
            }
        }
    }
    return joint;
}

bool HasChanged(const YFCurveNode& before, const YFCurveNode& after)
{
    bool changed = LargestChange(before, after) > 0.0;
    for (int axis = 0; axis < 3; ++axis)
        changed = changed || CurveOf(before, axis).KeyGetCount() != CurveOf(after, axis).KeyGetCount();
    return changed;
}

// Samples are joined by even turns in one form, by cubics of the angles in the other, which go their own way
// the closer a pole is. So both are compared at the samples, where the angles have keys. From there the
// quaternions go on no faster than a random joint, which makes half a turn in half a second at most.
void ExpectSameSamples(const YFCurveNode& angles, const YFCurveNode& quaternions, double tolerance)
{
    const auto order = static_cast<eRotationOrder>(angles.GetRotationOrder());
    const YFCurve& keys = CurveOf(angles, 0);
    for (int i = 0; i < keys.KeyGetCount(); ++i) {
        const YTime time = keys.KeyGetTime(i);
        const YgeRVector sample = Shown(quaternions, time);
        ASSERT_LE(Apart(Shown(angles, time), sample, order), tolerance) << time.GetSecondDouble();
        if (i + 1 == keys.KeyGetCount()) return;
        const YTime half((keys.KeyGetTime(i + 1) - time).Get() / 2);
        ASSERT_LE(Apart(Shown(quaternions, time + half), sample, order),
                  360.0 * half.GetSecondDouble() + tolerance)
            << time.GetSecondDouble();
    }
}

// Whether keys outside of a filter's span are what they were. Rolling takes in the keys that the span
// reaches, which are the next ones outside where it starts or stops between keys.
void ExpectKeptOutside(YFCurveFilter& filter, const YFCurveNode& before, const YFCurveNode& after)
{
    YTime start = filter.GetStartTime(), stop = filter.GetStopTime();
    if (dynamic_cast<YFCurveFilterRoll*>(&filter) != nullptr) {
        YFCurve& rolled = CurveOf(after, 0);
        const int first = filter.GetStartKey(rolled), last = filter.GetStopKey(rolled);
        for (int i = first; i <= last; ++i) EXPECT_LE(std::abs(rolled.KeyGetValue(i)), 180.01f) << i;
        start = std::min(start, rolled.KeyGetTime(first));
        stop = std::max(stop, rolled.KeyGetTime(last));
    }
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve& old = CurveOf(before, axis);
        for (int i = 0; i < old.KeyGetCount(); ++i) {
            const YTime time = old.KeyGetTime(i);
            if (time >= start && time <= stop) continue;
            EXPECT_EQ(CurveOf(after, axis).Evaluate(time), old.KeyGetValue(i)) << axis << " key " << i;
        }
    }
}

void ExpectSeesWhatPlays(const FilterCase& filterCase, RandomCurves& random, bool inSpan)
{
    const auto order = allOrders[random.Below(6)];
    const YFCurveNodePtr joint = RandomJoint(random, order);
    YFCurveNode& rotation = *joint->Get(1);
    rotation.SetUseQuaternion(true);
    const YFCurveNodePtr before(joint->Clone());
    const YFCurveNodePtr angles(joint->Clone());
    YFCurveFilterQuatToEuler toAngles;
    toAngles.SetPrecision(0.01);
    ASSERT_TRUE(toAngles.Apply(*angles->Get(1), true));

    const FilterPtr filter = MadeFilter(filterCase.name, filterCase.settings);
    if (inSpan) filter->SetStartTime(Seconds(0.5 * (1 + random.Below(4))));
    if (inSpan) filter->SetStopTime(Seconds(0.5 * (7 + random.Below(4))));
    const bool ofJoint = filter->GetScope() != eFilterScope::Property;
    filter->Apply(ofJoint ? *joint : rotation, true);
    if (filterCase.leaves == Leaves::Motion) {
        EXPECT_TRUE(rotation.GetUseQuaternion());
        EXPECT_LE(LargestChange(*before->Get(1), rotation), filterCase.tolerance);
        ExpectKeptOutside(*filter, *before->Get(1), rotation);
        return;
    }
    const YFCurveNodePtr unfiltered(angles->Get(1)->Clone());
    filter->Apply(ofJoint ? *angles : *angles->Get(1), true);
    if (!HasChanged(*unfiltered, *angles->Get(1))) {
        EXPECT_EQ(LargestChange(*before->Get(1), rotation), 0.0);
        return;
    }
    EXPECT_EQ(rotation.GetUseQuaternion(), filterCase.leaves == Leaves::Form);
    if (filterCase.leaves == Leaves::Form) {
        ExpectSameSamples(*angles->Get(1), rotation, filterCase.tolerance);
    } else {
        EXPECT_LE(LargestChange(*angles->Get(1), rotation), filterCase.tolerance);
    }
}

TEST(RotationInQuaternionForm, EveryFilterSeesWhatPlays)
{
    RandomCurves random;
    for (const FilterCase& filterCase : kFilterCases) {
        SCOPED_TRACE(filterCase.name);
        for (int round = 0; round < 12; ++round) ExpectSeesWhatPlays(filterCase, random, round % 2 == 1);
    }
}

// What is left of keys that go, or move in time, plays as before up to the keys next to those.
TEST(RotationInQuaternionForm, KeysGoAndMoveAsTheyAre)
{
    RandomCurves random;
    const std::pair<const char*, const char*> filters[] = {
        {"DeleteKey", "CutTimeInterval=false Start=2 Stop=3"},
        {"TimeClamp", "Min=2 Max=3"},
        {"TimeShiftAndScale", "Shift=0.5 Start=-inf Stop=inf"}};
    for (int round = 0; round < 60; ++round) {
        const eRotationOrder order = allOrders[random.Below(6)];
        const YFCurveNodePtr joint = RandomJoint(random, order);
        YFCurveNode& node = *joint->Get(1);
        node.SetUseQuaternion(true);
        const YFCurveNodePtr before(node.Clone());
        double from = 0.0, to = 6.0;  // the keys around what goes
        for (int axis = 0; axis < 3; ++axis) {
            for (const double time : yfc::test::KeySeconds(CurveOf(node, axis))) {
                if (time < 2.0) from = std::max(from, time);
                if (time > 3.0) to = std::min(to, time);
            }
        }
        const auto& [name, settings] = filters[round % 3];
        const bool shifts = round % 3 == 2;
        MadeFilter(name, settings)->Apply(node, true);
        EXPECT_TRUE(node.GetUseQuaternion());
        for (int i = 0; i <= 60; ++i) {
            if (!shifts && i / 10.0 > from && i / 10.0 < to) continue;
            const double now = i / 10.0 + (shifts ? 0.5 : 0.0);
            ASSERT_LT(Apart(Shown(node, now), Shown(*before, i / 10.0), order), 2e-3) << name << " " << i;
        }
    }
}

TEST(EulerToQuat, AddsKeysOnlyWhereTheyAreNeeded)
{
    // Turns about one axis by less than half a turn are the same in both forms.
    const YFCurveNodePtr node = Rotation({{0, 0, 0}, {90, 0, 0}, {0, 0, 0}});
    SetKeys(CurveOf(*node, 1), {});
    YFCurveFilterEulerToQuat toQuaternion;
    YFCurveFilterQuatToEuler toEuler;
    for (YFCurveFilter* filter : std::initializer_list<YFCurveFilter*>{&toQuaternion, &toEuler}) {
        EXPECT_TRUE(filter->Apply(*node, true));
        for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(CurveOf(*node, axis).KeyGetCount(), 3);
    }
    // A turn through a pole, which no angles follow: bounded, and the orientations stay.
    const YFCurveNodePtr pole = Rotation({{0, 90, 0}, {90, 40, 30}});
    pole->SetUseQuaternion(true);
    const YFCurveNodePtr before(pole->Clone());
    EXPECT_TRUE(toEuler.Apply(*pole, true));
    EXPECT_LE(CurveOf(*pole, 0).KeyGetCount(), 1025);
    EXPECT_LT(LargestChange(*before, *pole, 1.0), 0.13);

    // Where nothing turns, angles without keys there hold.
    const YFCurveNodePtr held = nodetest::Rotation();
    for (const int axis : {0, 1, 2}) AddLinearKey(CurveOf(*held, axis), axis, 50.0f);
    held->SetUseQuaternion(true);
    EXPECT_TRUE(toEuler.Apply(*held, true));
    for (const double at : {0.5, 1.5})
        EXPECT_EQ(Apart(Shown(*held, at), {50, 50, 50}, eRotationOrder::XYZ), 0.0);

    const YFCurveNodePtr coarse = Rotation({{0, 0, 0}, {100, 80, -100}});
    toQuaternion.SetPrecision(0.0);
    EXPECT_TRUE(toQuaternion.Apply(*coarse, true));
    EXPECT_EQ(CurveOf(*coarse, 0).KeyGetCount(), 2);
}

TEST(EulerToQuat, ConvertsTheLayersBehind)
{
    const YFCurveNodePtr node = Rotation({{0, 0, 0}, {10, 50, 60}});
    YFCurveNode* layer = node->CreateLayerAt(YFCurveLayerInfo(1, nullptr));
    ASSERT_NE(layer, nullptr);
    SetKeys(CurveOf(*layer, 0), {{0, 0.0f}, {1, 720.0f}});
    const YFCurveNodePtr before(node->Clone());
    YFCurveFilterEulerToQuat filter;
    CurveOf(*layer, 2).SetLockedByLayer(true);
    EXPECT_FALSE(filter.Apply(*node, true));
    EXPECT_FALSE(node->GetUseQuaternion());
    CurveOf(*layer, 2).SetLockedByLayer(false);
    EXPECT_TRUE(filter.Apply(*node, true));
    EXPECT_TRUE(layer->GetUseQuaternion());
    EXPECT_LT(LargestChange(*before->LayerGet(), *layer, 1.0), 0.13);
    // A lock there keeps the rotation from being reduced, and from keys that bring it in step.
    CurveOf(*node, 0).KeyAdd(Seconds(0.3));
    CurveOf(*layer, 2).SetLockedByLayer(true);
    const int keyCount = node->KeyGetCount();
    EXPECT_FALSE(MadeFilter("KeyReducer", "KeySync=true")->Apply(*node, true));
    EXPECT_EQ(node->KeyGetCount(), keyCount);
    CurveOf(*layer, 2).SetLockedByLayer(false);
    // And back, behind a layer that is no whole rotation.
    YFCurveNode* upper = node->CreateLayerAt({2, nullptr});
    for (const int axis : {0, 1, 2}) SetKeys(CurveOf(*upper, axis), {{0, 0.0f}, {1, 100.0f}});
    layer->Delete(2);
    const YFCurveNodePtr turned(upper->SingleLayerCopy());
    EXPECT_TRUE(MadeFilter("Offset", "Offset=1")->Apply(*node, true));
    EXPECT_LT(LargestChange(*turned, *upper, 1.0), 0.02);
}

}  // namespace
