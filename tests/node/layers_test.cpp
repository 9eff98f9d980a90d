#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "nodes.h"
#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"

using namespace nodetest;

namespace {

// Layers come and go, and are where a plain map has them.
TEST(Layers, AreFoundInTheOrderOfTheirIds)
{
    RandomCurves random;
    int events = 0;
    const YFCurveNodePtr base = Translation();
    base->CallbackRegister(
        [](YFCurveNode*, YFCurveNodeEvent* event, void* count) {
            *static_cast<int*>(count) += event->type == YFCURVENODEEVENT_LAYER ? 1 : 0;
        },
        &events);
    std::map<int, YFCurveNode*> expected{{0, base.get()}};
    for (int round = 0; round < 500 && !HasFailure(); ++round) {
        const int id = random.Below(12);
        const bool isThere = expected.contains(id);
        events = 0;
        if (random.Below(2) == 0) {
            YFCurveNode* layer = base->CreateLayerAt({id, nullptr});
            ASSERT_EQ(layer == nullptr, id == 0);
            if (layer != nullptr && !isThere) expected[id] = layer;
            EXPECT_EQ(events, isThere ? 0 : 1);
        } else {
            const YFCurveNodePtr removed(base->RemoveLayer(id, false));
            ASSERT_EQ(removed.get(), isThere && id != 0 ? expected[id] : nullptr);
            if (removed) {
                EXPECT_TRUE(removed->LayerGet() == nullptr && removed->GetReferenceCount() == 0);
                EXPECT_EQ(removed->ObjectLayerGet(), base.get());
                expected.erase(id);
            }
        }
        YFCurveNode* previous = nullptr;
        for (const auto& [layerId, layer] : expected) {
            ASSERT_EQ(base->LayerGet(layerId), layer);
            EXPECT_EQ(base->GetPreviousLayer(layerId), previous);
            EXPECT_EQ(layer->ObjectLayerGet(), base.get());
            EXPECT_EQ(layer->Get(2)->ObjectLayerGet(), base->Get(2));
            EXPECT_EQ(layer->GetReferenceCount(), previous != nullptr ? 1 : 0);
            previous = layer;
        }
        EXPECT_EQ(previous->LayerGet(), nullptr);
        EXPECT_EQ(base->GetPreviousLayer(99), previous);
    }
}

TEST(Layers, AreMadeWhereTheyMayBe)
{
    const YFCurveNodePtr base = Translation();
    YFCurveNode* three = base->CreateLayerAt({3, nullptr});
    EXPECT_EQ(three->CreateLayerAt({3, nullptr}), nullptr);
    EXPECT_EQ(three->LayerGet(0), nullptr);
    YFCurveNode* seven = three->CreateLayerAt({7, nullptr});
    EXPECT_EQ(seven->CreateLayerAt({4, nullptr}), nullptr);
    EXPECT_EQ(seven->GetPreviousLayer(1), seven);
    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing({3, nullptr}), three);
    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing({4, nullptr})->GetLayerID(), 4);
    base->SetMultiLayer(false);
    EXPECT_EQ(base->GetCorrectLayerID(7), 0);
    EXPECT_EQ(base->GetCorrectLayer(7), base.get());
    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing({7, nullptr}), base.get());
    EXPECT_EQ(base->CreateLayerAt({9, nullptr}), nullptr);
    // One that is counted on elsewhere outlives its removal.
    seven->IncReferenceCount();
    EXPECT_EQ(base->RemoveLayer(7, true), nullptr);
    EXPECT_EQ(seven->GetReferenceCount(), 1);
    seven->Destroy();
}

TEST(Layers, NewOnesAreNeutral)
{
    const YFCurveNodePtr group(YFCurveNodeCreate("group", nullptr));
    group->Add(PropertyOf(eDataType::LocalScaling, "S").release());
    group->FindOrCreate("weight", true)->FCurveGet()->SetValue(3.0f);
    YFCurveNode& scaling = *group->Get(0);
    SetKeys(CurveOf(scaling, 1), {{0.0, 5.0f}, {1.0, 6.0f}});
    CurveOf(scaling, 0).SetValue(4.0f);
    for (YFCurveNode* layer :
         {scaling.CreateLayerAt({1, nullptr}), group->CreateLayerAt({1, nullptr})->Get(0)}) {
        EXPECT_EQ(layer->KeyGetCount(), 0);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(CurveOf(*layer, i).GetValue(), 1.0f);
        EXPECT_EQ(layer->Get(0)->GetLayerID(), 1);
    }
    EXPECT_EQ(CurveOf(*group, 1).GetValue(), 3.0f);
    EXPECT_EQ(group->LayerGet()->Get(1)->FCurveGet()->GetValue(), 0.0f);
}

TEST(Layers, HideWhatTheyReplaceInFull)
{
    // Additive, overriding, overriding by half and all but in full, seen from a layer below and from itself.
    const std::tuple<int, double, int, int> cases[] = {{0, 1.0, 3, 1},     {1, 0.5, 3, 0},
                                                       {1, 0.5, 5, 3},     {2, 0.5, 3, 2},
                                                       {2, 0.99998, 3, 2}, {2, 0.999995, 3, 0}};
    for (const auto& [mode, weight, reference, expected] : cases) {
        TurnedLayer layer(static_cast<eLayerMode>(mode), weight);
        const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr, 1, {5, &layer}));
        EXPECT_EQ(static_cast<int>(node->CheckLayerMode(Seconds(0.0), reference)), expected)
            << mode << weight;
        layer.muted = true;
        EXPECT_EQ(static_cast<int>(node->CheckLayerMode(Seconds(0.0), reference)), 1);
    }
}

TEST(Layers, AnglesAddToTheKeyedOnesOfTheBase)
{
    const YFCurveNodePtr node = Rotation();
    SetKeys(CurveOf(*node, 0), {{0.0, 170.0f}, {1.0, 190.0f}});
    SetKeys(CurveOf(*node, 1), {{0.0, 80.0f}, {1.0, 100.0f}});
    TurnedLayer half(YFCURVE_LAYER_WEIGHTED_OVERRIDE, 0.5);
    half.rotations = YFCURVE_LAYER_ROTATION_BY_CHANNEL;
    YFCurveNode* layer = node->CreateLayerAt({1, &half});
    layer->SetLayerType(YFCURVE_LayerTypeOn(*layer, layer->GetLayerInfo()));
    CurveOf(*layer, 0).SetValue(200.0f);
    const auto clip = YFCurveClip::Create(*node);
    const auto player = YFCurvePlayer::Create(*clip);
    for (const double seconds : {0.25, 0.45, 0.55, 0.75}) {
        double total[3];
        node->GeneralEvaluate(total, Seconds(seconds));
        EXPECT_NEAR(total[0], 185.0 + 10.0 * seconds, 1e-4) << seconds;
        EXPECT_NEAR(total[1], 40.0 + 10.0 * seconds, 1e-4) << seconds;
        float played[3];
        player->Evaluate(Seconds(seconds), played);
        EXPECT_NEAR(played[0], total[0], 1e-4) << seconds;
    }
    // What the base has to hold for a total.
    double wanted[3] = {195.0, 47.0, 3.0};
    double share[3];
    node->ComputeCandidateForLayer(share, wanted, Seconds(0.5), 0);
    for (const auto& [i, value] : {std::pair{0, 190.0}, {1, 94.0}, {2, 6.0}})
        EXPECT_NEAR(share[i], value, 1e-6);
}

TEST(Layers, ExternalTimesStandForTheCurvesAndKeepToTheBaseLayer)
{
    const YFCurveNodePtr node = Translation();
    for (int i = 0; i < 3; ++i) SetKeys(CurveOf(*node, i), {{0.0, 1.0f}, {2.5, 1.0f}});
    YFCurveNode& x = *node->Get(0);
    x.SetETI(new Clip());
    EXPECT_TRUE(x.ETIIsKey(Seconds(3.0)));
    EXPECT_FALSE(x.ETIIsKey(Seconds(3.5)));
    EXPECT_EQ(x.ETIGetNextKeyTime(Seconds(3.0)), Seconds(4.0));
    EXPECT_EQ(x.ETIGetPrevKeyTime(Seconds(3.0)), Seconds(2.0));
    EXPECT_EQ(x.GetFirstKeyTime(), Seconds(2.0));
    EXPECT_EQ(node->GetFirstKeyTime(), Seconds(0.0));
    EXPECT_EQ(node->GetLastKeyTime(), Seconds(5.0));
    EXPECT_EQ(node->GetCorrectLayerAndCreateIfMissing({2, nullptr}), node.get());
}

TEST(Layers, ExternalTimesSayWhenANodeIsActive)
{
    const YFCurveNodePtr node = Translation();
    auto* clip = new Clip();
    node->SetETI(clip);
    const YTime one = Seconds(1.0);
    const YTime huge = YTIME_INFINITE - YTime(1);  // ends later than any time
    for (const auto& [start, duration, time, active] : {std::tuple(one, YTIME_ZERO, -one, true),
                                                        {one, one * 2, one, true},
                                                        {one, one * 2, one * 3, true},
                                                        {one, one * 2, one - YTime(1), false},
                                                        {one, one * 2, one * 3 + YTime(1), false},
                                                        {one, -one, one, false},
                                                        {one, huge, huge, true},
                                                        {-one, huge, huge - one + YTime(1), false},
                                                        {YTIME_MINUS_INFINITE, YTIME_INFINITE, one, true}}) {
        clip->start = start;
        clip->duration = duration;
        EXPECT_EQ(node->ETIIsGlobalTimeInSpan(time), active) << time.GetSecondDouble();
    }
}

}  // namespace
