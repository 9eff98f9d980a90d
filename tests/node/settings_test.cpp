#include <gtest/gtest.h>

#include "nodes.h"

using namespace nodetest;

namespace {

TEST(NodeSettings, LayerTypesOutsideTheTableAreIgnored)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr, 0));
    EXPECT_EQ(node->GetLayerType(), 0);
    for (const int type : {0, 1, 2, 3, 5, 6}) {
        node->SetLayerType(type);
        for (const int other : {4, 7, 100, -1}) node->SetLayerType(other);
        EXPECT_EQ(node->GetLayerType(), type);
        EXPECT_EQ(node->IsRotationLayerType(), type == 2 || type == 5);
        EXPECT_EQ(node->IsScalingLayerType(), type == 3 || type == 6);
    }
    // A layer type without a bit of its own leaves a new node at the default one.
    EXPECT_EQ(YFCurveNodePtr(YFCurveNodeCreate("n", nullptr, 4))->GetLayerType(), 1);
}

TEST(NodeSettings, RotationSettings)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr, 2));
    EXPECT_EQ(node->GetWeightRotationAccumulationMode(), 1);
    node->SetWeightRotationAccumulationMode(YFCURVE_LAYER_ROTATION_BY_LAYER);
    node->SetWeightRotationAccumulationMode(static_cast<eWeightRotationAccumulationMode>(2));
    EXPECT_EQ(node->GetWeightRotationAccumulationMode(), 0);
    node->SetWeightRotationAccumulationMode(YFCURVE_LAYER_ROTATION_BY_CHANNEL);
    EXPECT_EQ(node->GetWeightRotationAccumulationMode(), 1);

    node->SetRotationOrder(5);
    node->SetRotationOrder(6);
    node->SetRotationOrder(-1);
    EXPECT_EQ(node->GetRotationOrder(), 5);

    // The layers behind a node turn alike.
    YFCurveNode* layer = node->CloneTemplate({1, nullptr});
    node->SetUseQuaternion(true);
    EXPECT_FALSE(layer->GetUseQuaternion());
    node->LayerSet(layer);
    EXPECT_TRUE(layer->GetUseQuaternion());
    EXPECT_EQ(layer->GetRotationOrder(), 5);
    node->SetUseQuaternion(false);
    node->SetRotationOrder(2);
    EXPECT_FALSE(layer->GetUseQuaternion());
    EXPECT_EQ(layer->GetRotationOrder(), 2);
    EXPECT_EQ(node->GetLayerType(), 2);
}

TEST(NodeSettings, PropertyLockReachesCurvesChildrenAndLayers)
{
    const YFCurveNodePtr node = Translation();
    YFCurveNode* layer = node->CloneTemplate({2, nullptr});
    node->LayerSet(layer);
    node->SetLockedByProperty(true);
    EXPECT_TRUE(node->IsLockedByProperty());
    EXPECT_TRUE(node->Get(1)->IsLockedByProperty());
    EXPECT_TRUE(CurveOf(*node, 1).IsLockedByProperty());
    EXPECT_TRUE(CurveOf(*layer, 2).IsLocked());
    node->SetLockedByProperty(false);
    EXPECT_FALSE(CurveOf(*layer, 2).IsLocked());
}

TEST(NodeSettings, WithoutAHostsLayerANodeIsOnTheBaseLayer)
{
    TestLayer layer;
    layer.muted = true;
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr, 1, {3, &layer}));
    EXPECT_TRUE(node->IsNodeMuted());
    node->SetLayerInfo({4, nullptr});
    EXPECT_EQ(node->GetLayerInfo(), YFCurveLayerInfo(4, nullptr));
    EXPECT_FALSE(node->IsNodeMuted());
    const YFCurveLayerInfo& base = YFCurveLayerInfo::Base;
    EXPECT_EQ(base.GetWeight(Seconds(1.0)), 1.0);
    EXPECT_FALSE(base.IsMuted() || base.IsLocked() || base.GetLayerModeBypass(node->GetDataType()));
    EXPECT_EQ(base.GetLayerMode(), YFCURVE_LAYER_ADDITIVE);
}

}  // namespace
