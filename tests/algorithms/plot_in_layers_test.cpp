#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/node/random_stack.h"
#include "yfcurve/yfcurvemergelayers.h"
#include "yfcurve/yfcurveplot.h"
#include "yfcurve/yfcurvesettings.h"

using namespace nodetest;

namespace {

YFCurveNodePtr Single(std::initializer_list<std::pair<double, float>> keys = {})
{
    YFCurveNodePtr node = PropertyOf(eDataType::Number, "n");
    for (const auto& [second, value] : keys)
        node->FCurveGet()->KeyAdd(Seconds(second), yfc::test::UserKey(value));
    return node;
}

// A parabola with a jump at 1.2345 s and a corner at 2 s.
double Motion(double second)
{
    double value = second * second;
    if (second >= 1.2345) value += 10.0;
    return value + 5.0 * std::abs(second - 2.0);
}

// A host that answers with a function of the seconds, and counts.
template<auto Function>
bool Answer(YFCurveNode*, YTime time, double* values, void* object)
{
    values[0] = Function(time.GetSecondDouble());
    if (object != nullptr) ++*static_cast<int*>(object);
    return true;
}

using Status = eYFCurvePlotStatus;

/// What to plot: the stack itself onto its base layer, from end to end.
struct What
{
    YFCurveLayerInfo layer = YFCurveLayerInfo::Base;
    YFCurvePlotSource source = nullptr;
    YTime start = YTIME_MINUS_INFINITE, stop = YTIME_INFINITE;
    YSmartPlotOptions options = {};
    void* object = nullptr;
};

YFCurvePlotReport Plot(YFCurveNode& node, const What& what)
{
    YFCurvePlotReport report;
    const bool done = YFCurve_PlotInLayers(&node, what.layer, what.start, what.stop, what.options,
                                           what.source, what.object, &report);
    EXPECT_EQ(done, report.status == Status::Done);
    return report;
}

}  // namespace

TEST(PlotInLayers, FollowsAHostWithFewKeysAJumpAndACorner)
{
    const YFCurveNodePtr node = Single();
    YSmartPlotOptions options;
    options.preciseDiscontinuities = true;
    options.tolerance = 1e-3;
    int calls = 0;
    const YFCurvePlotReport report =
        Plot(*node, {YFCurveLayerInfo::Base, Answer<Motion>, YTIME_ZERO, Seconds(4.0), options, &calls});
    EXPECT_GT(calls, 0);
    EXPECT_LE(report.largestDifference, options.tolerance + 1e-5);
    const YFCurve& curve = *node->FCurveGet();
    // Parabolas are cubics: a key at either end, two at the jump, one at the corner; and a jump at either end
    // to the value that was outside.
    EXPECT_EQ(report.keyCount, 5);
    EXPECT_LE(curve.KeyGetCount(), report.keyCount + 2);
    const YTime jump = YTime::FromSeconds(1.2345);
    for (const YTime time : {jump - YTime(2), jump - YTime(1), jump, jump + YTime(1)})
        EXPECT_NEAR(ValueOf(*node, time), Motion(time.GetSecondDouble()), 2e-3);
    for (int i = 0; i <= 1200; ++i) {
        const double second = i / 300.0;
        EXPECT_NEAR(ValueOf(*node, Seconds(second)), Motion(second), 1.1e-3) << second;
    }
    EXPECT_TRUE(curve.KeyGetBreak(static_cast<int>(curve.KeyFind(Seconds(2.0)))));
    EXPECT_EQ(ValueOf(*node, Seconds(-1.0)), 0.0);
    EXPECT_EQ(ValueOf(*node, Seconds(5.0)), 0.0);
}

TEST(PlotInLayers, MakesNodesOfTheTypeThatTheirLayerAsksFor)
{
    TurnedLayer lower, upper;
    lower.rotations = YFCURVE_LAYER_ROTATION_BY_CHANNEL;
    lower.scalings = YFCURVE_LAYER_SCALING_ADD;
    const YFCurveNodePtr joint = Joint();
    for (const int i : {1, 2}) {
        YFCurveNode& property = *joint->Get(i);
        SetKeys(CurveOf(property, 0), {{0.0, 1.0f}, {1.0, 2.0f}});
        for (TurnedLayer* layer : {&lower, &upper}) Plot(property, {{layer == &lower ? 1 : 2, layer}});
        EXPECT_EQ(property.LayerGet(1)->GetLayerType(), i == 1 ? 5 : 1);
        EXPECT_EQ(property.LayerGet(2)->GetLayerType(), i == 1 ? 2 : 3);
    }
}

// Hermite segments of the length h miss a sine by h^4 / 384: 0.001 takes a key every 0.787 s.
TEST(PlotInLayers, TakesFewKeys)
{
    const YFCurvePlotSource sine = Answer<[](double second) { return std::sin(second); }>;
    YFCurveNodePtr node = Single();
    EXPECT_LE(Plot(*node, {.source = sine, .start = YTIME_ZERO, .stop = Seconds(10.0)}).keyCount, 14);

    // A curve that is cubic already needs no key more, and with sharp corners beside fast motion neither.
    RandomCurves random;
    int more = 0;
    for (int round = 0; round < 20; ++round) {
        node = Single();
        YFCurve& curve = *node->FCurveGet();
        YTime time;
        for (int i = 0; i < 20; ++i, time += Seconds(random.Between(0.1, 1.0))) {
            const float value = random.Float(-50.0f, 50.0f);
            curve.KeyAdd(time, yfc::test::UserKey(value, random.Float(-50.0f, 50.0f)));
        }
        const YFCurve before(curve);
        YSmartPlotOptions options;
        options.tolerance = round % 2 == 0 ? 0.001 : 0.1;
        ASSERT_EQ(Plot(*node, {.options = options}).status, Status::Done);
        // A corner just too slight to be broken takes one to either side.
        more += curve.KeyGetCount() - before.KeyGetCount();
        for (YTime at = before.KeyGetTime(0); at < before.KeyGetTime(19); at += Seconds(0.00123))
            ASSERT_NEAR(curve.Evaluate(at), before.Evaluate(at), options.tolerance) << at.GetSecondDouble();
    }
    EXPECT_LE(more, 20) << "than 400";

    // Nor does a rotation that turns evenly from key to key.
    const YFCurveNodePtr rotation = Rotation();
    rotation->SetUseQuaternion(true);
    const float angles[3][4] = {{0, 90, 20, 150}, {0, 40, -60, 10}, {0, 10, 80, -30}};
    for (int axis = 0; axis < 3; ++axis) {
        const float* of = angles[axis];
        SetKeys(CurveOf(*rotation, axis), {{0.0, of[0]}, {1.0, of[1]}, {2.0, of[2]}, {3.0, of[3]}});
    }
    EXPECT_EQ(Plot(*rotation, {}).keyCount, 12);
}

TEST(PlotInLayers, JumpsOfOneComponentLeaveTheOthersAlone)
{
    const YFCurveNodePtr node = Translation();
    for (int step = 1; step < 4; ++step) {
        YFCurveKey key;
        key.Set(YTime(), static_cast<float>(step), YFCURVE_INTERP_CONSTANT, 0);
        CurveOf(*node, 0).KeyAdd(Seconds(step * 10 / 24.0), key);
    }
    SetKeys(CurveOf(*node, 2), {{0.0, 0.0f}, {2.0, 200.0f}});
    YSmartPlotOptions options;
    options.preciseDiscontinuities = true;
    options.breakTangents = false;
    const YFCurvePlotReport report = Plot(*node, {.options = options});
    EXPECT_EQ(report.status, Status::Done);
    EXPECT_LE(report.largestDifference, options.tolerance);
    EXPECT_LE(CurveOf(*node, 2).KeyGetCount(), 3);
}

TEST(PlotInLayers, KeepsSourceKeysWhereAsked)
{
    const YFCurveNodePtr node = Single({{0.0, 0.0f}, {0.51, 0.1f}, {0.5101, 0.1f}, {1.3, 0.0f}});
    YFCurveNode* upper = node->CreateLayerAt({1, nullptr});
    SetKeys(*upper->FCurveGet(), {{0.777, 0.0f}});
    // At half speed: its keys show at 0.4 s and 2.2 s.
    YFCurveNode* slow = node->CreateLayerAt({2, nullptr});
    SetKeys(*slow->FCurveGet(), {{0.2, 0.0f}, {1.1, 0.0f}});
    slow->TimeWarpSet(LinearWarp(0.0f, 2.0f));
    YSmartPlotOptions options;
    options.tolerance = 1.0;
    options.keepSourceKeys = true;
    EXPECT_EQ(Plot(*node, {.layer = {1, nullptr}, .options = options}).keyCount, 7);
    EXPECT_NEAR(upper->FCurveGet()->KeyGetTime(1).GetSecondDouble(), 0.4, 1e-6);
    EXPECT_NEAR(upper->FCurveGet()->KeyGetTime(6).GetSecondDouble(), 2.2, 1e-6);
    for (const double second : {0.0, 0.51, 0.5101, 0.777, 1.3}) {
        const double index = upper->FCurveGet()->KeyFind(Seconds(second));
        EXPECT_EQ(index, std::floor(index)) << second;
    }
}

TEST(PlotInLayers, SpreadsJumpsAndRoundsCornersWhereAsked)
{
    const YFCurveNodePtr node = Single();
    YSmartPlotOptions options;
    options.breakTangents = false;
    Plot(*node, {.source = Answer<Motion>, .start = YTIME_ZERO, .stop = Seconds(4.0), .options = options});
    const YFCurve& curve = *node->FCurveGet();
    for (int i = 0; i < curve.KeyGetCount(); ++i) EXPECT_FALSE(curve.KeyGetBreak(i));
    // The jump lies between the samples 370 and 371.
    const YTime step = options.period / 10;
    double last = ValueOf(*node, step * 370);
    for (YTime time = step * 370; time <= step * 371; time += step / 10) {
        EXPECT_GE(ValueOf(*node, time), last);
        EXPECT_LE(ValueOf(*node, time), last + 5.0) << "a tenth of the way at a time";
        last = ValueOf(*node, time);
    }
}

TEST(PlotInLayers, FixedRateSetsKeysOnFramesAndLeavesOutFlatOnes)
{
    const YFCurveNodePtr node = Single({{0.0, 0.0f}, {1.0, 1.0f}, {3.0, 1.0f}});
    YSmartPlotOptions options;
    options.smart = false;
    const YThreadFrameRate rate({10000, 1001});  // frames are no whole number of ticks
    options.period = YTime::FromFrame(1);
    options.reduceConstant = false;
    TurnedLayer layer(YFCURVE_LAYER_OVERRIDE, 1.0);
    Plot(*node, {.layer = {2, &layer}, .options = options});
    YFCurve& plotted = *node->LayerGet(2)->FCurveGet();
    EXPECT_EQ(plotted.KeyGetCount(), 31);
    EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 3) << "other layers stay";
    for (int i = 0; i < 31; ++i)
        EXPECT_EQ(plotted.KeyGetTime(i), std::min(YTime::FromFrame(i), Seconds(3.0)));
    options.reduceConstant = true;
    Plot(*node, {.layer = {2, &layer}, .options = options});
    // Level from 1 s on: of those 21 keys the outer two on either side remain.
    EXPECT_EQ(plotted.KeyGetCount(), 14);
    EXPECT_NEAR(ValueOf(*node, Seconds(2.0)), 1.0, 1e-6);

    const YFCurveNodePtr still = Single({{0.0, 2.0f}, {1.0, 2.0f}, {3.0, 2.0f}});
    options.smart = true;
    for (const bool keepsOne : {true, false}) {
        YFCURVE_SetConstantKeyReducerKeepOneKey(keepsOne);
        Plot(*still, {.options = options});
        EXPECT_EQ(still->FCurveGet()->KeyGetCount(), keepsOne ? 1 : 0);
    }
    YFCURVE_SetConstantKeyReducerKeepOneKey(true);
}

TEST(PlotInLayers, FixedRateKeepsJumpsAndSlowDrift)
{
    const YFCurveNodePtr node = Single();
    YSmartPlotOptions options;
    options.smart = false;
    options.preciseDiscontinuities = true;
    options.defaultThreshold = 1e-3;
    static constexpr auto drift = [](double second) {
        return (second < 31.234 ? 0.0 : 1.0) + 0.1 * std::sin(0.05 * second);
    };
    const YFCurvePlotReport report = Plot(
        *node, {.source = Answer<drift>, .start = YTIME_ZERO, .stop = Seconds(100.0), .options = options});
    EXPECT_LT(report.keyCount, 1500) << "half of the frames";
    EXPECT_LE(report.largestDifference, 1.5e-3);
    for (int i = 0; i < 10000; ++i) EXPECT_NEAR(ValueOf(*node, Seconds(0.01 * i)), drift(0.01 * i), 1.5e-3);
}

TEST(PlotInLayers, ReducesWhatDoesNotMoveByKind)
{
    const struct
    {
        eDataType type;
        double (*get)();
        void (*set)(double);
    } kinds[] = {{eDataType::LocalTranslation, &YFCURVE_GetUseConstantKeyReducerTranslationThreshold,
                  &YFCURVE_SetUseConstantKeyReducerTranslationThreshold},
                 {eDataType::LocalRotation, &YFCURVE_GetUseConstantKeyReducerRotationThreshold,
                  &YFCURVE_SetUseConstantKeyReducerRotationThreshold},
                 {eDataType::LocalScaling, &YFCURVE_GetUseConstantKeyReducerScalingThreshold,
                  &YFCURVE_SetUseConstantKeyReducerScalingThreshold},
                 {eDataType::Color, &YFCURVE_GetUseConstantKeyReducerDefaultThreshold,
                  &YFCURVE_SetUseConstantKeyReducerDefaultThreshold}};
    for (const auto& loose : kinds) {
        const double usual = loose.get();
        loose.set(0.5);
        YSmartPlotOptions options;
        loose.set(usual);
        for (const auto& kind : kinds) {
            for (const bool smart : {false, true}) {
                const YFCurveNodePtr node = PropertyOf(kind.type, "n");
                SetKeys(CurveOf(*node, 0), {{0.0, 1.0f}, {1.0, 1.4f}});
                options.smart = smart;
                const YFCurvePlotReport report = Plot(*node, {.options = options});
                const bool isLoose = &kind == &loose && !smart;
                EXPECT_EQ(CurveOf(*node, 0).KeyGetCount() == 1, isLoose) << node->GetName();
                EXPECT_NEAR(report.largestDifference, isLoose ? 0.4 : 0.0, 1e-3);
            }
        }
    }
}

TEST(PlotInLayers, RefusesWithNothingChanged)
{
    const YFCurvePlotSource none = [](YFCurveNode*, YTime, double*, void*) { return false; };
    const YFCurvePlotSource beyondFloat = Answer<[](double) { return 1e39; }>;
    const YFCurvePlotSource onePlus = [](YFCurveNode*, YTime, double* values, void*) {
        values[0] += 1.0;
        return true;
    };
    TurnedLayer whole, weightless(YFCURVE_LAYER_ADDITIVE, 0.0), locked;
    locked.locked = true;
    YSmartPlotOptions fixed, bad;
    fixed.smart = false;
    bad.period = YTIME_ZERO;
    const YFCurveLayerInfo upper(1, &whole);
    const YTime second = Seconds(1.0);
    const std::pair<Status, What> cases[] = {
        {Status::BadSpan, {upper, nullptr, second, YTIME_ZERO}},
        {Status::NoSource, {upper, none, YTIME_ZERO, second}},
        {Status::Unreachable, {upper, beyondFloat, YTIME_ZERO, second}},
        {Status::Unreachable, {upper, beyondFloat, YTIME_ZERO, second, fixed}},
        {Status::NoWeight, {{1, &weightless}, onePlus, YTIME_ZERO, second}},
        {Status::Locked, {{1, &locked}, onePlus, YTIME_ZERO, second}},
        {Status::BadOptions, {upper, onePlus, YTIME_ZERO, second, bad}}};
    const YFCurveNodePtr node = Single({{0.0, 1.0f}, {1.0, 4.0f}});
    for (const auto& [status, what] : cases) {
        EXPECT_EQ(Plot(*node, what).status, status);
        EXPECT_EQ(node->LayerGet(), nullptr);
        EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 2);
    }
    for (const YSmartPlotOptions& options : {YSmartPlotOptions(), fixed})
        EXPECT_NE(Plot(*node, {YFCurveLayerInfo::Base, beyondFloat, YTIME_ZERO, second, options}).status,
                  Status::Done);
    // Below a layer that replaces everything.
    TurnedLayer overriding(YFCURVE_LAYER_OVERRIDE, 1.0);
    node->CreateLayerAt({2, &overriding});
    EXPECT_EQ(Plot(*node, {upper, onePlus, YTIME_ZERO, second}).status, Status::Hidden);
    EXPECT_FALSE(YFCurve_PlotInLayers(nullptr, YFCurveLayerInfo::Base));
}

TEST(PlotInLayers, ASpanLeavesNoTraceOutside)
{
    const YFCurveNodePtr node = Single({{0.0, 1.0f}, {4.0, 3.0f}});
    node->FCurveGet()->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    node->FCurveGet()->SetPostExtrapolationCount(2);
    TurnedLayer lower(YFCURVE_LAYER_ADDITIVE, 0.999), overriding(YFCURVE_LAYER_OVERRIDE, 1.0);
    node->SetLayerInfo({0, &lower});
    const auto statusOf = [&](const YFCurveLayerInfo& info) {
        return Plot(*node, {info, Answer<Motion>, Seconds(1.0), Seconds(2.0)}).status;
    };
    // Alone, the base counts in full; below another layer a thousandth less.
    EXPECT_EQ(statusOf({1, nullptr}), Status::ShowsOutside);
    lower.weight = 1.0;
    EXPECT_EQ(statusOf({1, &overriding}), Status::ShowsOutside);
    EXPECT_EQ(statusOf(YFCurveLayerInfo::Base), Status::Extrapolation);
    EXPECT_EQ(node->LayerGet(), nullptr);
    EXPECT_EQ(statusOf({1, nullptr}), Status::Done);
    EXPECT_NEAR(ValueOf(*node, Seconds(1.5)), Motion(1.5), 1e-3);
    EXPECT_DOUBLE_EQ(ValueOf(*node, Seconds(5.0)), 1.3125) << "1 + 2 (3 - 2 / 4) / 16";

    // Where what is outside may go, a bake goes as far as it is asked to.
    YSmartPlotOptions within;
    within.keepOutside = false;
    ASSERT_EQ(Plot(*node, {{2, &overriding}, nullptr, Seconds(3.0), Seconds(5.0), within}).status,
              Status::Done);
    for (const auto& [second, value] : {std::pair(0.0, 2.6875), {3.0, 2.6875}, {5.0, 1.3125}, {9.0, 1.3125}})
        EXPECT_NEAR(ValueOf(*node, Seconds(second)), value, 1e-3) << second;

    // A rotation that turns evenly, without keys, that would go on with the slope of its first ones.
    const YFCurveNodePtr rotation = Rotation();
    rotation->SetUseQuaternion(true);
    for (int i = 0; i < 3; ++i) {
        CurveOf(*rotation, i).SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
        CurveOf(*rotation, i).SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        CurveOf(*rotation, i).SetValue(10.0f);
    }
    Plot(*rotation, {.source = Answer<Motion>, .start = Seconds(1.0), .stop = Seconds(2.0)});
    EXPECT_NEAR(ValuesAt(*rotation, 1.5)[0], Motion(1.5), 1e-3);
    for (const double second : {0.0, 2.5, 9.0})
        for (const double value : ValuesAt(*rotation, second)) EXPECT_FLOAT_EQ(float(value), 10.0f);
}

// A base of 10 and a layer of 30 without any movement of their own, as all moves with the weight.
TEST(PlotInLayers, AWeightThatMovesBelongsToTheSpan)
{
    const struct
    {
        const char* what;
        eLayerMode mode;
        double atHalf;             // the weight is 0, 1 and 0 at 0, 1 and 2 s
        std::vector<double> keys;  // of the base layer
    } cases[] = {{"no keys", YFCURVE_LAYER_ADDITIVE, 25.0, {}},
                 {"a key", YFCURVE_LAYER_ADDITIVE, 25.0, {1.5}},
                 {"keys to the middle", YFCURVE_LAYER_WEIGHTED_OVERRIDE, 20.0, {-1.0, 1.0}},
                 {"keys all over", YFCURVE_LAYER_OVERRIDE, 15.0, {-1.0, 3.0}}};
    for (const auto& one : cases) {
        for (const bool merges : {false, true}) {
            SCOPED_TRACE(std::string(one.what) + (merges ? ", merged" : ", baked"));
            const YFCurveNodePtr node = Single();
            node->FCurveGet()->SetValue(10.0f);
            for (const double second : one.keys)
                node->FCurveGet()->KeyAdd(Seconds(second), yfc::test::UserKey(10.0f));
            SwingingLayer fading(1, one.mode), baked(2, YFCURVE_LAYER_OVERRIDE);
            SetKeys(fading.Weight(), {{0.0, 0.0f}, {1.0, 1.0f}, {2.0, 0.0f}});
            node->CreateLayerAt(fading.Info())->FCurveGet()->SetValue(30.0f);
            YFCurvePlotReport report;
            ASSERT_TRUE(!merges || YFCURVE_MergeLayers(node.get(), {}, &report));
            if (!merges) report = Plot(*node, {.layer = baked.Info()});
            ASSERT_EQ(report.status, Status::Done);
            fading.muted = true;
            const double ends = one.mode == YFCURVE_LAYER_OVERRIDE ? 0.0 : 10.0;
            const double top = one.mode == YFCURVE_LAYER_ADDITIVE ? 40.0 : 30.0;
            const std::pair<double, double> shown[] = {{-3.0, ends}, {0.0, ends},       {0.5, one.atHalf},
                                                       {1.0, top},   {1.5, one.atHalf}, {2.0, ends},
                                                       {4.0, ends}};
            for (const auto& [second, value] : shown)
                EXPECT_NEAR(ValueOf(*node, Seconds(second)), value, 2e-3) << second;
            EXPECT_LE(report.largestDifference, 1e-3);
        }
    }

    // Weights that have no effect move nothing, and one that goes on beyond its keys cannot be held there.
    const YFCurveNodePtr node = Single();
    node->FCurveGet()->SetValue(10.0f);
    SwingingLayer layer(1);
    SetKeys(layer.Weight(), {{0.0, 0.0f}, {1.0, 1.0f}});
    YFCurveNode& upper = *node->CreateLayerAt(layer.Info());
    EXPECT_EQ(Plot(*node, {}).status, Status::BadSpan) << "a layer that adds 0";
    upper.FCurveGet()->SetValue(30.0f);
    layer.muted = true;
    EXPECT_EQ(Plot(*node, {}).status, Status::BadSpan);
    layer.muted = false;
    layer.Weight().SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    layer.Weight().SetPostExtrapolationCount(1);
    YFCurvePlotReport report;
    EXPECT_FALSE(YFCURVE_MergeLayers(node.get(), {}, &report));
    EXPECT_EQ(report.status, Status::Extrapolation);
}

TEST(PlotInLayers, FollowsAHostThroughATimeWarp)
{
    const YFCurveNodePtr node = Single();
    YFCurveNode* warp = LinearWarp(1.0f, 3.0f);
    node->TimeWarpSet(warp);
    const What what{.source = Answer<Motion>, .start = YTIME_ZERO, .stop = Seconds(1.0)};
    ASSERT_EQ(Plot(*node, what).status, Status::Done);
    for (int i = 0; i < 100; ++i) EXPECT_NEAR(ValueOf(*node, Seconds(i / 100.0)), Motion(i / 100.0), 1.1e-3);
    SetKeys(*warp->FCurveGet(), {{0.0, 3.0f}, {4.0, 1.0f}});
    EXPECT_EQ(Plot(*node, what).status, Status::TimeWarp);
}

using PlotProperty = testing::TestWithParam<Kind>;

INSTANTIATE_TEST_SUITE_P(Kinds, PlotProperty, testing::ValuesIn(kAllKinds));

// Baking a stack into any of its layers leaves what it evaluates to, between the samples too.
TEST_P(PlotProperty, BakedStacksEvaluateAsBefore)
{
    RandomCurves random;
    int plotted = 0;
    for (int round = 0; round < 80; ++round) {
        RandomStack stack(random, GetParam(), true, true);
        SCOPED_TRACE(stack.Description());
        const auto& layers = stack.Layers();
        SwingingLayer& layer =
            *layers[static_cast<std::size_t>(random.Below(static_cast<int>(layers.size())))];
        YSmartPlotOptions options;
        options.tolerance = random.Between(1e-3, 0.1);
        options.preciseDiscontinuities = true;
        options.keepSourceKeys = random.Below(4) == 0;
        options.breakTangents = random.Below(4) != 0;
        options.onFrame = random.Below(4) != 0;
        // With a time warp on a layer or component, the first and last key are at other times of the property.
        const bool isAnyWarped = std::any_of(
            layers.begin(), layers.end(), [&](const auto& each) { return stack.HasTimeOfItsOwn(each->id); });
        const bool open = stack.Property().KeyGetCount(true) > 0 && !isAnyWarped && random.Below(2) != 0;
        // The model's times are those behind the time warp, which may run backwards.
        if (stack.Property().TimeWarpGet() != nullptr && !open) continue;
        if (stack.Property().GetCurveCount() == 0) continue;
        std::vector<std::pair<YTime, Total>> before;
        const YTime first = open ? stack.Property().GetFirstKeyTime(true) : YTIME_ZERO;
        const YTime last = open ? stack.Property().GetLastKeyTime(true) : Seconds(4.0);
        const auto turnsOver = [&](YTime time) {
            const YTime beside = Seconds(1e-3);
            return layermodel::DegreesBetween(stack.Model(time - beside).Turn(),
                                              stack.Model(time + beside).Turn()) > 20.0;
        };
        // Corners that are not broken are so off the samples.
        const YTime shift =
            options.breakTangents ? random.TimeBetween(YTIME_ZERO, options.period / 10) : YTIME_ZERO;
        for (YTime time = first + shift; time <= last; time += options.period / 10) {
            // At half a turn a weighted layer changes to the other way round. That jump may move a little in time.
            if (GetParam() == Kind::Rotation && turnsOver(time)) continue;
            before.emplace_back(time, stack.Model(time));
        }
        const bool isWhole = stack.IsWhole(layer.id);
        const bool isWarped = stack.HasTimeOfItsOwn(layer.id);
        const Status status =
            Plot(stack.Property(), {layer.Info(), nullptr, open ? YTIME_MINUS_INFINITE : first,
                                    open ? YTIME_INFINITE : last, options})
                .status;
        // A layer that is there holds what leads there already; one that gets a component more may hide it.
        const bool hides =
            status == Status::Unreachable || status == Status::NoWeight || status == Status::ShowsOutside;
        if (!isWhole && hides) continue;
        ASSERT_EQ(status, isWarped ? Status::TimeWarp : Status::Done)
            << "layer " << layer.id << (isWhole ? "" : ", not whole");
        plotted += isWarped ? 0 : 1;
        const YFCurveNode* const on = stack.NodeOn(layer.id);
        const auto isBetweenDenseKeys = [&](YTime time) {
            if (on == nullptr) return false;  // refused before the layer was made
            const YTime previous = on->GetPrevKeyTime(time, true), next = on->GetNextKeyTime(time, true);
            return !previous.IsInfinite() && !next.IsInfinite() && next - previous < options.period / 6;
        };
        for (const auto& [time, total] : before) {
            // Angles beside a pole move faster than samples tell, and get a key at each of these.
            if (GetParam() == Kind::Rotation && isBetweenDenseKeys(time)) continue;
            ASSERT_LE(total.Distance(stack.Model(time)), options.tolerance + 1e-4)
                << "at " << time.GetSecondDouble() << " round " << round << " layer " << layer.id;
        }
    }
    EXPECT_GT(plotted, 15);
}
