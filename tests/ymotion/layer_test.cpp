#include "ymotion/scene/layer.h"

#include <gtest/gtest.h>

#include <limits>

using ymotion::Layer;
using ymotion::SceneLayers;

namespace {

YTime Seconds(double seconds)
{
    return YTime::FromSeconds(seconds);
}

std::vector<std::string> Names(const SceneLayers& layers)
{
    std::vector<std::string> names;
    for (const auto& layer : layers.Layers()) names.push_back(layer->Name());
    return names;
}

/// A joint with a translation, on the base layer and on the given one.
YFCurveNodePtr JointOnLayer(const YFCurveLayerInfo& info)
{
    YFCurveNodePtr joint(YFCurveNodeCreate("joint", nullptr));
    YFCurveNode* translation = FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalTranslation), "T");
    translation->CreateFCurve();
    joint->Add(translation);
    translation->LayerSet(translation->CloneTemplate(info));
    return joint;
}

}  // namespace

TEST(Layers, StackInTheOrderOfIdsWhichNeverComeBack)
{
    SceneLayers layers;
    EXPECT_EQ(layers.Base().GetLayerID(), 0);
    Layer* first = layers.Add("first");
    Layer* loaded = layers.Add("loaded", 7);
    Layer* between = layers.Add("between", 3);
    Layer* top = layers.Add("top");
    ASSERT_TRUE(first && loaded && between && top);
    EXPECT_EQ(first->GetLayerID(), 1);
    EXPECT_EQ(top->GetLayerID(), 8);
    EXPECT_EQ(Names(layers),
              (std::vector<std::string>{layers.Base().Name(), "first", "between", "loaded", "top"}));
    EXPECT_EQ(layers.Find(3), between);
    EXPECT_EQ(layers.Find("loaded"), loaded);
    EXPECT_EQ(layers.Find("Loaded"), nullptr);
    EXPECT_EQ(layers.Find(2), nullptr);

    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    EXPECT_TRUE(layers.Remove(8, *root));
    EXPECT_FALSE(layers.Remove(8, *root));
    EXPECT_FALSE(layers.Remove(0, *root));
    EXPECT_EQ(layers.Add("top")->GetLayerID(), 9);
}

TEST(Layers, RefuseNamesAndIdsThatAreTaken)
{
    SceneLayers layers;
    Layer* layer = layers.Add("one");
    EXPECT_EQ(layers.Add("one"), nullptr);
    EXPECT_EQ(layers.Add(""), nullptr);
    EXPECT_EQ(layers.Add("two", 1), nullptr);
    EXPECT_EQ(layers.Add("two", 0), nullptr);
    EXPECT_EQ(layers.Add("two", -1), nullptr);
    EXPECT_EQ(layers.Layers().size(), 2u);
    EXPECT_TRUE(layers.Rename(*layer, "one"));
    EXPECT_FALSE(layers.Rename(*layer, layers.Base().Name()));
    EXPECT_FALSE(layers.Rename(*layer, ""));
    EXPECT_TRUE(layers.Rename(*layer, "two"));
    EXPECT_EQ(layers.Find("two"), layer);
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
    EXPECT_FALSE(two->IsMuteOn());
    layers.SetSolo(layers.Base(), true);
    EXPECT_EQ(muted(), (std::vector<bool>{false, false, true}));
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

TEST(Layers, WeightFollowsItsCurveWithinBounds)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer");
    EXPECT_EQ(layer->GetWeight(Seconds(5.0)), 1.0);
    layer->WeightCurve()->SetValue(0.25f);
    EXPECT_EQ(layer->GetWeight(YTIME_INFINITE), 0.25);
    YFCurveKey key;
    for (const auto& [seconds, value] : {std::pair{0.0, -1.0f}, {1.0, 0.5f}, {2.0, 3.5f}}) {
        key.Set(Seconds(seconds), value, YFCURVE_INTERP_LINEAR);
        layer->WeightCurve()->KeyAdd(Seconds(seconds), key);
    }
    EXPECT_EQ(layer->GetWeight(Seconds(0.0)), 0.0);
    EXPECT_EQ(layer->GetWeight(Seconds(1.0)), 0.5);
    EXPECT_NEAR(layer->GetWeight(Seconds(1.125)), 0.875, 1e-7);
    EXPECT_EQ(layer->GetWeight(Seconds(2.0)), 1.0);
    layer->WeightCurve()->KeyClear();
    layer->WeightCurve()->SetValue(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(layer->GetWeight(Seconds(0.0)), 0.0);

    EXPECT_EQ(layers.Base().WeightCurve(), nullptr);
    EXPECT_EQ(layers.Base().GetWeight(Seconds(0.0)), 1.0);
}

TEST(Layers, ModesAreTakenWhereTheyMakeSense)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer");
    EXPECT_EQ(layer->GetLayerMode(), YFCURVE_LAYER_ADDITIVE);
    EXPECT_TRUE(layer->SetMode(YFCURVE_LAYER_WEIGHTED_OVERRIDE));
    EXPECT_FALSE(layer->SetMode(static_cast<eLayerMode>(3)));
    EXPECT_FALSE(layer->SetMode(static_cast<eLayerMode>(-1)));
    EXPECT_EQ(layer->GetLayerMode(), YFCURVE_LAYER_WEIGHTED_OVERRIDE);
    EXPECT_FALSE(layers.Base().SetMode(YFCURVE_LAYER_OVERRIDE));
    EXPECT_TRUE(layers.Base().SetMode(YFCURVE_LAYER_ADDITIVE));

    YDataType* scaling = YDataType::Get(eDataType::LocalScaling);
    YDataType* rotation = YDataType::Get(eDataType::LocalRotation);
    EXPECT_FALSE(layer->GetLayerModeBypass(scaling));
    EXPECT_FALSE(layer->GetLayerModeBypass(nullptr));
    layer->SetModeBypass(scaling, true);
    layer->SetModeBypass(scaling, true);
    EXPECT_TRUE(layer->GetLayerModeBypass(scaling));
    EXPECT_FALSE(layer->GetLayerModeBypass(rotation));
    EXPECT_EQ(layer->ModeBypasses().size(), 1u);
    layer->SetModeBypass(scaling, false);
    EXPECT_FALSE(layer->GetLayerModeBypass(scaling));
}

TEST(Layers, BindTiesNodesToTheLayerOfTheirIdAndLocksItsCurves)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer", 4);
    layer->SetLocked(true);
    // As from a file: ids without layers.
    const YFCurveNodePtr joint = JointOnLayer({4, nullptr});
    joint->Get(0)->LayerGet()->LayerSet(joint->Get(0)->CloneTemplate({9, nullptr}));
    layers.Bind(*joint);
    YFCurveNode* upper = joint->Get(0)->LayerGet(4);
    EXPECT_EQ(joint->GetLayerInfo(), layers.Base().Info());
    EXPECT_EQ(upper->GetLayerInfo(), layer->Info());
    EXPECT_EQ(upper->Get(2)->GetLayerInfo(), layer->Info());
    EXPECT_EQ(joint->Get(0)->LayerGet(9)->GetLayerInfo(), YFCurveLayerInfo(9, nullptr));
    EXPECT_TRUE(upper->Get(2)->FCurveGet()->IsLockedByLayer());
    EXPECT_FALSE(joint->Get(0)->Get(2)->FCurveGet()->IsLockedByLayer());
    EXPECT_TRUE(upper->GetLayerInfo().IsLocked());

    layer->SetLocked(false);
    layers.Bind(*joint);
    EXPECT_FALSE(upper->Get(2)->FCurveGet()->IsLockedByLayer());

    // What an animator hears of the buttons.
    layers.SetSolo(*layer, true);
    EXPECT_TRUE(joint->Get(0)->IsNodeMuted());
    EXPECT_FALSE(upper->IsNodeMuted());
}

TEST(Layers, RemovingOneTakesItsNodesAlong)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer");
    const YFCurveNodePtr joint = JointOnLayer(layer->Info());
    layers.Bind(*joint);
    YFCurveNode* translation = joint->Get(0);
    ASSERT_NE(translation->LayerGet(), nullptr);
    EXPECT_TRUE(layers.Remove(layer->GetLayerID(), *joint));
    EXPECT_EQ(translation->LayerGet(), nullptr);
    EXPECT_EQ(layers.Layers().size(), 1u);
}

TEST(Layers, StayInPlaceWhenTheirStackMoves)
{
    SceneLayers layers;
    Layer* layer = layers.Add("layer");
    layers.SetSolo(*layer, true);
    const SceneLayers moved = std::move(layers);
    EXPECT_EQ(moved.Find("layer"), layer);
    EXPECT_TRUE(moved.Base().IsMuted());
}
