#include <gtest/gtest.h>

#include "tests/node/random_stack.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"

using namespace nodetest;

namespace {

// The names of the nodes with a value, from below the top one.
void AddNames(YFCurveNode& node, const std::string& above, std::vector<std::string>& names)
{
    if (node.FCurveGet() != nullptr || node.GetCount() == 0) return names.push_back(above);
    for (int i = 0; i < node.GetCount(); ++i)
        AddNames(*node.Get(i), above + (above.empty() ? "" : "/") + node.Get(i)->GetName(), names);
}

// Whether a clip of a node plays what the node evaluates to, at many times in no order.
void ExpectPlayed(YFCurveNode& node, RandomCurves& random, const std::string& what)
{
    const auto clip = YFCurveClip::Create(node);
    ASSERT_TRUE(clip) << what;
    ASSERT_EQ(clip->GetChannelCount(), node.GetComponentCount()) << what;
    std::vector<std::string> names;
    AddNames(node, "", names);
    for (int i = 0; i < clip->GetChannelCount(); ++i)
        ASSERT_EQ(clip->GetChannelName(i), names[static_cast<std::size_t>(i)]);
    const auto player = YFCurvePlayer::Create(*clip);
    const auto file = YFCurveClip::Open(clip->GetBytes());
    ASSERT_TRUE(file) << what;
    const auto filePlayer = YFCurvePlayer::Create(*file);
    const auto count = static_cast<std::size_t>(clip->GetChannelCount());
    std::vector<double> wanted(count);
    std::vector<float> values(count), fromFile(count);
    for (int i = 0; i < 40; ++i) {
        const YTime time = random.Chance(0.3) ? Seconds(0.25 * random.Below(17))
                                              : random.TimeBetween(Seconds(-1.0), Seconds(5.0));
        std::fill(wanted.begin(), wanted.end(), 0.0);
        node.GeneralEvaluate(wanted.data(), time);
        player->Evaluate(time, values);
        filePlayer->Evaluate(time, fromFile);
        for (std::size_t k = 0; k < count; ++k) {
            float single = 0.0f;
            const int channel = static_cast<int>(k);
            player->Evaluate(time, std::span(&channel, 1), std::span(&single, 1));
            const double scale = std::max(1.0, std::abs(wanted[k]));
            ASSERT_NEAR(static_cast<double>(values[k]), wanted[k], 1e-4 * scale)
                << what << " value " << k << " (" << names[k] << ") at " << time.GetSecondDouble();
            ASSERT_EQ(single, values[k]);
            ASSERT_NEAR(static_cast<double>(fromFile[k]), wanted[k], 1e-4 * scale) << what << " in a file";
        }
    }
}

}  // namespace

TEST(TreeClip, PlaysWhatLayersMake)
{
    RandomCurves random;
    for (int round = 0; round < 100; ++round) {
        for (const Kind kind : kAllKinds) {
            const RandomStack stack(random, kind, true, true);
            ExpectPlayed(stack.Property(), random, stack.Description());
            if (HasFatalFailure()) return;
        }
    }
}

// As where a host mutes its base layer, to which the groups belong as well, or plays another one alone.
TEST(TreeClip, PropertiesOfMutedGroupsPlayTheirLayers)
{
    TurnedLayer base;
    base.muted = true;
    SwingingLayer top;
    top.weight = 0.5;
    top.Swing(0.0);
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    YFCurveNode* const property = Translation().release();
    root->Add(property);
    for (YFCurveNode* node : {root.get(), property, property->Get(0)}) node->SetLayerInfo({0, &base});
    property->CreateLayerAt({1, &top});
    property->Get(0)->FCurveGet()->KeyAdd(YTIME_ZERO, yfc::test::AutoKey(7.0f));
    property->LayerGet(1)->Get(0)->FCurveGet()->KeyAdd(YTIME_ZERO, yfc::test::AutoKey(30.0f));
    const auto clip = YFCurveClip::Create(*root);
    float values[3] = {};
    YFCurvePlayer::Create(*clip)->Evaluate(YTIME_ZERO, values);
    EXPECT_EQ(values[0], 15.0f);
    EXPECT_EQ(clip->GetStop(), YTIME_ZERO) << "keys of weights, up to 9 s, are none of the motion";
}

// A skeleton, with properties below nodes on layers of their own, and times of their own.
TEST(TreeClip, PlaysTrees)
{
    RandomCurves random;
    TurnedLayer half(YFCURVE_LAYER_ADDITIVE, 0.5);
    TurnedLayer over(YFCURVE_LAYER_WEIGHTED_OVERRIDE, 0.7);
    const auto keyAll = [&](YFCurveNode& top, const auto& self) -> void {
        if (YFCurve* curve = top.FCurveGet()) {
            for (int i = random.Below(4); i >= 0; --i)
                curve->KeyAdd(Seconds(random.Below(5)), yfc::test::AutoKey(random.Float(-40.0, 40.0)));
        }
        for (int i = 0; i < top.GetCount(); ++i) self(*top.Get(i), self);
    };
    for (int round = 0; round < 50; ++round) {
        const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
        YFCurveNode* parent = root.get();
        for (int i = 0; i < 6; ++i) {
            YFCurveNode* const joint = Joint(random.Below(6)).release();
            joint->Get(1)->SetUseQuaternion(random.Chance(0.5));
            if (random.Chance(0.3)) joint->Add(YFCurveNodeCreate("bare", nullptr));
            parent->Add(joint);
            keyAll(*joint, keyAll);
            for (TurnedLayer* layer : {&half, &over}) {
                YFCurveNode& where = random.Chance(0.5) ? *joint : *joint->Get(random.Below(3));
                const int id = layer == &half ? 1 : 2;
                YFCurveNode* on = random.Chance(0.6) ? where.CreateLayerAt({id, layer}) : nullptr;
                if (on != nullptr) keyAll(*on, keyAll);
            }
            if (random.Chance(0.3)) joint->TimeWarpSet(LinearWarp(1.0f, 3.0f));
            if (random.Chance(0.6)) parent = joint;
        }
        ExpectPlayed(*root, random, "round " + std::to_string(round));
        if (HasFatalFailure()) return;
    }
}
