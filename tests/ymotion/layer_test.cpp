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
    Layer* first = layers.Add("first");
    Layer* loaded = layers.Add("loaded", 7);
    Layer* between = layers.Add("between", 3);
    ASSERT_TRUE(first && loaded && between);
    EXPECT_EQ(first->GetLayerID(), 1);
    EXPECT_EQ(layers.Add("top")->GetLayerID(), 8);
    EXPECT_EQ(Names(layers),
              (std::vector<std::string>{layers.Base().Name(), "first", "between", "loaded", "top"}));
    EXPECT_EQ(layers.Find(3), between);
    EXPECT_EQ(layers.Find("loaded"), loaded);
    EXPECT_EQ(layers.Find("Loaded"), nullptr);
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    EXPECT_TRUE(layers.Remove(8, *root));
    for (const int id : {8, 0}) EXPECT_FALSE(layers.Remove(id, *root));
    EXPECT_EQ(layers.Add("top")->GetLayerID(), 9);

    // Names and ids that are taken.
    for (const char* name : {"top", ""}) EXPECT_EQ(layers.Add(name), nullptr);
    for (const int id : {1, 0, -1}) EXPECT_EQ(layers.Add("new", id), nullptr);
    EXPECT_TRUE(layers.Rename(*first, "first"));
    for (const std::string& name : {layers.Base().Name(), std::string()})
        EXPECT_FALSE(layers.Rename(*first, name));
    EXPECT_TRUE(layers.Rename(*first, "one"));
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
    EXPECT_TRUE(layer->SetMode(YFCURVE_LAYER_WEIGHTED_OVERRIDE));
    for (const int mode : {3, -1}) EXPECT_FALSE(layer->SetMode(static_cast<eLayerMode>(mode)));
    EXPECT_EQ(layer->GetLayerMode(), YFCURVE_LAYER_WEIGHTED_OVERRIDE);
    EXPECT_FALSE(layers.Base().SetMode(YFCURVE_LAYER_OVERRIDE));
    EXPECT_TRUE(layers.Base().SetMode(YFCURVE_LAYER_ADDITIVE));

    YDataType* scaling = YDataType::Get(eDataType::LocalScaling);
    EXPECT_FALSE(layer->GetLayerModeBypass(nullptr));
    for (int i = 0; i < 2; ++i) layer->SetModeBypass(scaling, true);
    EXPECT_TRUE(layer->GetLayerModeBypass(scaling));
    EXPECT_FALSE(layer->GetLayerModeBypass(YDataType::Get(eDataType::LocalRotation)));
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

    // What an animator hears of the buttons, also once the stack has moved.
    layers.SetSolo(*layer, true);
    SceneLayers moved = std::move(layers);
    EXPECT_TRUE(joint->Get(0)->IsNodeMuted());
    EXPECT_FALSE(upper->IsNodeMuted());
    // A layer that is removed takes its nodes along.
    EXPECT_TRUE(moved.Remove(4, *joint));
    EXPECT_EQ(joint->Get(0)->LayerGet(4), nullptr);
    EXPECT_FALSE(joint->Get(0)->IsNodeMuted());
}
