#include "ymotion/scene/layer.h"

#include <gtest/gtest.h>

#include <limits>

using namespace ymotion;

namespace {

std::vector<std::string> Names(const SceneLayers& layers)
{
    std::vector<std::string> names;
    for (const auto& layer : layers.Layers()) names.push_back(layer->Name());
    return names;
}

}  // namespace

TEST(Layers, StackInTheOrderOfIdsWhichNeverComeBack)
{
    SceneLayers layers;
    Layer* first = layers.Add("first");
    Layer* loaded = layers.Add("loaded", 7);
    Layer* between = layers.Add("between", 3);
    ASSERT_TRUE(first && loaded && between);
    EXPECT_EQ(first->GetLayerID(), 1);
    EXPECT_EQ(layers.Add("top")->GetLayerID(), 8);
    EXPECT_EQ(Names(layers),
              (std::vector<std::string>{layers.Base().Name(), "first", "between", "loaded", "top"}));
    EXPECT_TRUE(layers.Find(3) == between && layers.Find("loaded") == loaded && !layers.Find("Loaded"));
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    EXPECT_TRUE(layers.Remove(8, *root));
    for (const int id : {8, 0}) EXPECT_FALSE(layers.Remove(id, *root));
    EXPECT_EQ(layers.Add("top")->GetLayerID(), 9);

    // Names and ids that are taken.
    for (const char* name : {"top", ""}) {
        EXPECT_EQ(layers.Add(name), nullptr);
        EXPECT_FALSE(layers.Rename(*first, name));
    }
    for (const int id : {1, 0, -1}) EXPECT_EQ(layers.Add("new", id), nullptr);
    for (const char* name : {"first", "one"}) EXPECT_TRUE(layers.Rename(*first, name));
    EXPECT_EQ(layers.Find("one"), first);
    ASSERT_NE(layers.Add("last", std::numeric_limits<int>::max()), nullptr);
    EXPECT_EQ(layers.Add("beyond"), nullptr);
}

TEST(Layers, SoloSilencesAllThatAreNotAndMuteWins)
{
    SceneLayers layers;
    Layer* one = layers.Add("one");
    Layer* two = layers.Add("two");
    const auto muted = [&] {
        return std::vector<bool>{layers.Base().IsMuted(), one->IsMuted(), two->IsMuted()};
    };
    EXPECT_EQ(muted(), (std::vector<bool>{false, false, false}));
    layers.SetSolo(*one, true);
    EXPECT_EQ(muted(), (std::vector<bool>{true, false, true}));
    layers.SetSolo(layers.Base(), true);
    one->SetMute(true);
    EXPECT_EQ(muted(), (std::vector<bool>{false, true, true}));
    EXPECT_TRUE(layers.Add("three")->IsMuted()) << "a newcomer while others are solo";
    layers.SetSolo(layers.Base(), false);
    layers.SetSolo(*one, false);
    EXPECT_EQ(muted(), (std::vector<bool>{false, true, false}));

    layers.SetSolo(*two, true);
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    layers.Remove(two->GetLayerID(), *root);
    EXPECT_FALSE(layers.Base().IsMuted()) << "the solo went with its layer";
}

TEST(Layers, ModesAndWeightsAreTakenWhereTheyMakeSense)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer");
    EXPECT_TRUE(layer->SetMode(YFCURVE_LAYER_WEIGHTED_OVERRIDE));
    for (const int mode : {3, -1}) EXPECT_FALSE(layer->SetMode(static_cast<eLayerMode>(mode)));
    EXPECT_EQ(layer->GetLayerMode(), YFCURVE_LAYER_WEIGHTED_OVERRIDE);
    EXPECT_FALSE(layers.Base().SetMode(YFCURVE_LAYER_OVERRIDE));
    EXPECT_TRUE(layers.Base().SetMode(YFCURVE_LAYER_ADDITIVE));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const auto& [value, weight] : {std::pair{-1.0f, 0.0}, {0.25f, 0.25}, {3.5f, 1.0}, {nan, 0.0}}) {
        layer->WeightCurve()->SetValue(value);
        EXPECT_EQ(layer->GetWeight(YTIME_INFINITE), weight);
    }
}

TEST(Layers, BindTiesNodesToTheLayerOfTheirIdAndLocksItsCurves)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer", 4);
    // A joint as from a file: ids without layers.
    const YFCurveNodePtr joint(YFCurveNodeCreate("joint", nullptr));
    YFCurveNode* base = FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalTranslation), "T");
    base->CreateFCurve();
    joint->Add(base);
    base->LayerSet(base->CloneTemplate({4, nullptr}));
    YFCurveNode* upper = base->LayerGet(4);
    upper->LayerSet(base->CloneTemplate({9, nullptr}));
    upper->Get(1)->SetLayerInfo({});
    for (const bool locked : {true, false}) {
        layer->SetLocked(locked);
        layers.Bind(*joint);
        EXPECT_EQ(upper->Get(2)->FCurveGet()->IsLockedByLayer(), locked);
        EXPECT_FALSE(base->Get(2)->FCurveGet()->IsLockedByLayer());
    }
    EXPECT_EQ(joint->GetLayerInfo(), layers.Base().Info());
    for (const YFCurveNode* node : {upper, upper->Get(1), upper->Get(2)})
        EXPECT_EQ(node->GetLayerInfo(), layer->Info());
    EXPECT_EQ(base->LayerGet(9)->GetLayerInfo(), YFCurveLayerInfo(9, nullptr));

    // What an animator hears of the buttons, also once the stack has moved.
    layers.SetSolo(*layer, true);
    SceneLayers moved = std::move(layers);
    EXPECT_TRUE(base->IsNodeMuted());
    EXPECT_FALSE(upper->IsNodeMuted());
    // A layer that is removed takes its nodes along.
    EXPECT_TRUE(moved.Remove(4, *joint));
    EXPECT_EQ(base->LayerGet(4), nullptr);
    EXPECT_FALSE(base->IsNodeMuted());
}
