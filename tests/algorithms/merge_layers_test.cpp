#include <gtest/gtest.h>

#include <utility>

#include "tests/node/random_stack.h"
#include "yfcurve/yfcurvemergelayers.h"

using namespace nodetest;

namespace {

void AddUserKey(YFCurve& curve, double second, float value, float slope)
{
    YFCurveKey key;
    key.Set(YTime(), value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, slope);
    curve.KeySetLeftDerivative(curve.KeyAdd(Seconds(second), key), slope);
}

// Whether a plot may have taken the time for part of a jump: jumps within the tolerance, as the layer has
// them, are spread from one sample to the next.
bool IsBesideKey(const YFCurveNode& property, YTime time, YTime sample)
{
    const YTime previous = property.GetPrevKeyTime(time, true), next = property.GetNextKeyTime(time, true);
    return (!previous.IsInfinite() && time - previous <= sample) ||
           (!next.IsInfinite() && next - time <= sample);
}

// All curves of a component go on alike outside their keys, as sums of them can, and some keys overshoot.
void ExtrapolateAlike(const RandomStack& stack, RandomCurves& random)
{
    for (int i = 0; i < stack.Components(); ++i) {
        YFCurve model;
        random.SetAnyExtrapolation(model);
        for (const auto& layer : stack.Layers()) {
            YFCurveNode* node = stack.NodeOn(layer->id);
            YFCurveNode* part = node != nullptr ? stack.PartOn(*node, i) : nullptr;
            if (part == nullptr) continue;
            YFCurve& curve = *part->FCurveGet();
            curve.SetPreExtrapolation(model.GetPreExtrapolation());
            curve.SetPostExtrapolation(model.GetPostExtrapolation());
            curve.SetPreExtrapolationCount(model.GetPreExtrapolationCount());
            curve.SetPostExtrapolationCount(model.GetPostExtrapolationCount());
            if (curve.KeyGetCount() > 0) curve.KeySetRightAuto(random.Below(curve.KeyGetCount()), 800.0f);
        }
    }
}

}  // namespace

TEST(MergeLayers, CarriesOnAtTheOpenEndOfASpan)
{
    for (const bool bothMove : {false, true}) {
        const YFCurveNodePtr node = PropertyOf(eDataType::Number, "n");
        TurnedLayer whole;
        YFCurve& upper = *node->CreateLayerAt({1, &whole})->FCurveGet();
        YFCurve& base = *node->FCurveGet();
        AddUserKey(base, 0.0, 0.0f, 1.0f);
        AddUserKey(base, 1.0, 4.0f, 2.0f);
        if (bothMove) AddUserKey(upper, 0.5, 0.0f, 0.0f);
        AddUserKey(upper, 3.0, 1.0f, 0.0f);
        base.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
        base.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        YMergeLayerOptions options;
        options.start = Seconds(2.0);
        const double before = ValueOf(*node, Seconds(0.75));
        ASSERT_TRUE(YFCURVE_ConstantCurveMerge(node.get(), options));
        EXPECT_EQ(upper.Evaluate(Seconds(20.0)), 0.0f);
        EXPECT_NEAR(ValueOf(*node, Seconds(20.0)), 4.0 + 2.0 * 19.0 + 1.0, 1e-4);
        EXPECT_NEAR(ValueOf(*node, Seconds(0.75)), before, 1e-6);
    }
}

TEST(MergeLayers, MergesAllPropertiesBelowANode)
{
    const YFCurveNodePtr joint = Joint();
    TurnedLayer whole, lockedLayer;
    lockedLayer.locked = true;
    for (const int property : {0, 1}) {
        YFCurveNode& base = *joint->Get(property);
        SetKeys(CurveOf(base, 1), {{0.0, 1.0f}, {1.0, 3.0f}});
        YFCurveNode* layer = base.CreateLayerAt({1, property == 0 ? &lockedLayer : &whole});
        SetKeys(CurveOf(*layer, 1), {{0.0, 2.0f}, {2.0, 4.0f}});
    }
    YFCurvePlotReport report;
    EXPECT_FALSE(YFCURVE_MergeLayers(joint.get(), {}, &report));
    EXPECT_EQ(report.status, eYFCurvePlotStatus::Locked);
    EXPECT_NE(joint->Get(0)->LayerGet(), nullptr);
    EXPECT_EQ(joint->Get(1)->LayerGet(), nullptr);
    // Components with layers of their own are properties.
    lockedLayer.locked = false;
    EXPECT_TRUE(YFCURVE_MergeLayers(joint.get(), {}, &report));
    EXPECT_EQ(report.keyCount, 3);
    YFCurveNode& component = *joint->Get(0)->Get(1);
    component.CreateLayerAt({1, &whole})->FCurveGet()->SetValue(1.0f);
    EXPECT_TRUE(YFCURVE_MergeLayers(joint.get()));
    EXPECT_EQ(component.LayerGet(), nullptr);
    EXPECT_NEAR(component.FCurveGet()->Evaluate(Seconds(1.5)), 3.0 + 3.5 + 1.0, 1e-6);
}

TEST(MergeLayers, OverASpanAnAddingLayerOfAScalingIsLeftWithZeros)
{
    const YFCurveNodePtr joint = Joint();
    YFCurveNode& scaling = *joint->Get(2);
    SetKeys(CurveOf(scaling, 0), {{0.0, 2.0f}, {4.0, 4.0f}});
    TurnedLayer info;
    info.scalings = YFCURVE_LAYER_SCALING_ADD;
    YFCurveNode* layer = scaling.CreateLayerAt({1, &info});
    layer->SetLayerType(YFCURVE_LayerTypeOn(*layer, layer->GetLayerInfo()));
    for (int i = 0; i < 3; ++i) SetKeys(CurveOf(*layer, i), {{0.0, 0.5f}, {4.0, 0.5f}});
    YMergeLayerOptions options;
    options.start = Seconds(1.0);
    options.stop = Seconds(3.0);
    ASSERT_TRUE(YFCURVE_MergeLayers(joint.get(), options));
    EXPECT_NEAR(CurveOf(scaling, 0).Evaluate(Seconds(2.0)), 3.5, 1e-5);
    double values[3];
    for (const double second : {0.5, 2.0, 3.5}) {
        scaling.GeneralEvaluate(values, Seconds(second));
        EXPECT_NEAR(values[0], 2.5 + second / 2, 1e-5) << second;
    }
}

// What stands in the way of the sum of a base and a layer above it, keys of both at 0 and 2 s.
TEST(MergeLayers, ExactSumsRefuseWhatTheyCannotHold)
{
    using Status = eYFCurvePlotStatus;
    struct Stack
    {
        SwingingLayer info{1};
        YFCurveNodePtr node = Translation();
        YMergeLayerOptions options;

        YFCurve& Base() { return CurveOf(*node, 0); }
        YFCurve& Upper() { return CurveOf(*node->LayerGet(1), 0); }
        void Extrapolate(std::uint32_t mode, std::uint32_t count = YFCURVE_EXTRAPOLATION_UNLIMITED)
        {
            for (YFCurve* curve : {&Base(), &Upper()}) {
                curve->SetPostExtrapolation(mode);
                curve->SetPostExtrapolationCount(count);
            }
        }
        void Weight(YFCurve& curve, float weight)
        {
            curve.KeySetTangeantWeightMode(0, YFCURVE_WEIGHT_RIGHT);
            curve.KeySetRightTangeantWeight(0, weight);
        }
    };
    const struct
    {
        const char* what;
        Status status;
        void (*change)(Stack&);
    } cases[] = {
        {"nothing", Status::Done, [](Stack&) {}},
        {"moving weight", Status::NotLinear, [](Stack& s) { s.info.Swing(0.1); }},
        {"quaternions", Status::NotLinear,
         [](Stack& s) { s.node->SetLayerType(5), s.node->SetUseQuaternion(true); }},
        {"angles one by one", Status::Done, [](Stack& s) { s.node->SetLayerType(5); }},
        {"time of a layer", Status::NotLinear,
         [](Stack& s) { s.node->LayerGet(1)->TimeWarpSet(LinearWarp(0.0f, 2.0f)); }},
        {"one repeats", Status::Extrapolation,
         [](Stack& s) {
             s.Extrapolate(YFCURVE_EXTRAPOLATION_REPETITION), s.Upper().SetPostExtrapolationCount(0);
         }},
        {"both repeat", Status::Done, [](Stack& s) { s.Extrapolate(YFCURVE_EXTRAPOLATION_REPETITION); }},
        {"other weights", Status::NotLinear,
         [](Stack& s) { s.Weight(s.Base(), 0.6f), s.Weight(s.Upper(), 0.2f); }},
        {"the same weights", Status::Done,
         [](Stack& s) { s.Weight(s.Base(), 0.6f), s.Weight(s.Upper(), 0.6f); }},
        {"no weight at the target", Status::NoWeight,
         [](Stack& s) { s.info.weight = 0.0, s.options.useTarget = true; }},
        {"an override for a span", Status::NotLinear,
         [](Stack& s) { s.info.mode = YFCURVE_LAYER_OVERRIDE, s.options.start = Seconds(1.0); }},
        {"no tolerance", Status::BadOptions, [](Stack& s) { s.options.plot.tolerance = 0.0; }},
        {"a lock", Status::Locked, [](Stack& s) { s.info.locked = true; }},
        {"no such layer", Status::NoLayer, [](Stack& s) { s.options.layerIds.Add(7); }},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        Stack stack;
        stack.info.weight = 0.5;
        stack.options.target = stack.info.Info();
        stack.node->CreateLayerAt(stack.info.Info());
        AddUserKey(stack.Base(), 0.0, 1.0f, 2.0f);
        AddUserKey(stack.Base(), 2.0, 5.0f, -2.0f);
        AddUserKey(stack.Upper(), 0.0, 3.0f, -1.0f);
        AddUserKey(stack.Upper(), 2.0, 2.0f, 0.5f);
        one.change(stack);
        const StoredCurve base(stack.Base()), upper(stack.Upper());
        YFCurvePlotReport report;
        YFCURVE_ConstantCurveMerge(stack.node.get(), stack.options, &report);
        EXPECT_EQ(report.status, one.status);
        const bool done = one.status == Status::Done;
        EXPECT_TRUE(!done || report.keyCount == 2) << report.keyCount;
        EXPECT_TRUE(done || (StoredCurve(stack.Base()) == base && StoredCurve(stack.Upper()) == upper));
    }
}

using MergeProperty = testing::TestWithParam<Kind>;

INSTANTIATE_TEST_SUITE_P(Kinds, MergeProperty, testing::ValuesIn(kAllKinds));

TEST_P(MergeProperty, MergedStacksEvaluateAsBeforeAndOtherLayersStay)
{
    RandomCurves random;
    int merged = 0;
    for (int round = 0; round < 80; ++round) {
        RandomStack stack(random, GetParam(), true, true);
        SCOPED_TRACE(stack.Description());
        YFCurveNode& property = stack.Property();
        if (property.KeyGetCount(true) == 0) continue;
        YMergeLayerOptions options;
        options.plot.tolerance = random.Between(1e-3, 0.1);
        options.removeMerged = random.Below(2) != 0;
        for (const auto& layer : stack.Layers())
            if (random.Below(3) != 0) options.layerIds.Add(layer->id);
        options.useTarget = random.Below(3) == 0;
        const auto layers = static_cast<int>(stack.Layers().size());
        options.target = stack.Layers()[static_cast<std::size_t>(random.Below(layers))]->Info();
        if (random.Below(3) == 0 && !property.TimeWarpGet()) {
            options.start = Seconds(random.Between(0.0, 1.5));
            options.stop = Seconds(random.Between(2.0, 4.0));
        }
        const bool exact = random.Below(2) == 0;
        const bool isSpan = !options.start.IsInfinite();
        const YTime first = property.GetFirstKeyTime(true), last = property.GetLastKeyTime(true);
        const bool outside = (exact || isSpan) && random.Below(2) == 0;
        if (outside) ExtrapolateAlike(stack, random);
        const YTime sample = options.plot.period / 10;
        std::vector<std::pair<YTime, Total>> before;
        bool isWarped = false;
        for (const auto& layer : stack.Layers()) isWarped = isWarped || stack.HasTimeOfItsOwn(layer->id);
        // Orientations may turn any way between two samples, and so may jumps be that no key tells of. Of scalings every
        // other round looks at samples, wherever these are.
        const bool onSample =
            !exact && (isWarped || GetParam() == Kind::Rotation || (IsScaling(GetParam()) && round % 2 == 0));
        for (YTime start = first; start <= last; start += sample) {
            // Weights count from where something begins to move to where all rests, which may be between two samples.
            if (isWarped && !(stack.Moves(start - sample, start) && stack.Moves(start, start + sample)))
                continue;
            const YTime time = onSample ? start : random.TimeBetween(start, std::min(start + sample, last));
            if (!exact && !onSample && IsBesideKey(property, time, sample)) continue;
            before.emplace_back(time, stack.Model(time));
        }
        // Weights swing from -5 to 9 s, whatever the span of the keys.
        for (int i = 0; !isWarped && i < 30; ++i) {
            const YTime time = first + sample * (random.Below(6600) - 2700);
            if (!exact && !onSample && IsBesideKey(property, time, sample)) continue;
            before.emplace_back(time, stack.Model(time));
        }
        std::vector<std::pair<YFCurve*, StoredCurve>> others;
        for (const auto& layer : stack.Layers()) {
            YFCurveNode* node = stack.NodeOn(layer->id);
            const bool isTarget = options.useTarget && options.target.GetLayerID() == layer->id;
            const bool isMerged =
                !layer->muted && (options.layerIds.IsEmpty() || options.layerIds.Find(layer->id) >= 0);
            for (int i = 0; node != nullptr && !isTarget && !isMerged && i < stack.Components(); ++i) {
                YFCurveNode* part = stack.PartOn(*node, i);
                if (part != nullptr) others.emplace_back(part->FCurveGet(), *part->FCurveGet());
            }
        }
        YFCurvePlotReport report;
        (exact ? YFCURVE_ConstantCurveMerge : YFCURVE_MergeLayers)(&property, options, &report);
        const bool done = report.status == eYFCurvePlotStatus::Done;
        merged += done ? 1 : 0;
        for (const auto& [curve, stored] : others) ASSERT_EQ(StoredCurve(*curve), stored);
        const double allowed = !done ? 0.0 : 4e-4 + (exact ? 0.0 : options.plot.tolerance);
        // The slopes of a scaling that others override in part grow without bound near 0, which samples do not tell.
        const auto isNearZero = [&](YTime from, YTime to) {
            for (const auto& layer : stack.Layers()) {
                YFCurveNode* node = stack.NodeOn(layer->id);
                for (int i = 0; node != nullptr && i < stack.Components(); ++i) {
                    YFCurveNode* part = stack.PartOn(*node, i);
                    if (part == nullptr) continue;
                    const float one = part->FCurveGet()->Evaluate(from),
                                other = part->FCurveGet()->Evaluate(to);
                    if (std::abs(one - other) > std::min(std::abs(one), std::abs(other)) / 2) return true;
                }
            }
            return false;
        };
        for (const auto& [time, total] : before) {
            if (IsScaling(GetParam()) && !exact && !onSample && isNearZero(time - sample, time + sample))
                continue;
            ASSERT_LE(total.Distance(stack.Model(time)), allowed)
                << "at " << time.GetSecondDouble() << " round " << round << " status "
                << static_cast<int>(report.status);
        }
    }
    EXPECT_GT(merged, 20);
}
