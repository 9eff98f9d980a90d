#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

using Triple = std::array<double, 3>;

const YTime kTime = Seconds(0.5);

Triple General(YFCurveNode& node, YTime time = kTime)
{
    Triple values = {-1e9, -1e9, -1e9};
    node.GeneralEvaluate(values.data(), time);
    return values;
}

Triple WithCandidates(YFCurveNode& node, YTime time = kTime)
{
    Triple values = {-1e9, -1e9, -1e9};
    node.CandidateEvaluate(values.data(), time);
    return values;
}

void SetCandidate(YFCurveNode& node, const Triple& values,
                  const YFCurveLayerInfo& info = YFCurveLayerInfo::Base, YTime time = kTime)
{
    EXPECT_EQ(node.CandidateSet(time, values.data(), info), values.data() + 3);
}

/// A translation whose X, Y and Z go from 0 to 10, 20 and 30 in a second.
YFCurveNodePtr Moving()
{
    YFCurveNodePtr node = Translation();
    for (int i = 0; i < 3; ++i) {
        SetKeys(CurveOf(*node, i), {{0.0, 0.0f}, {1.0, 10.0f * static_cast<float>(i + 1)}});
    }
    return node;
}

// --- Evaluation ----------------------------------------------------------------------------------------

TEST(GeneralEvaluate, PropertiesBelowAJointAndNodesOfManyComponents)
{
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    root->Add(Moving().release());
    root->FindOrCreate("empty", false);
    root->FindOrCreate("weight", true)->FCurveGet()->SetValue(7.0f);
    TurnedLayer layer(YFCURVE_LAYER_OVERRIDE, 0.5);
    YFCurveNode* moved = root->Get(0)->CreateLayerAt({1, &layer});
    for (int i = 0; i < 3; ++i) CurveOf(*moved, i).SetValue(3.0f);
    std::array<double, 5> values = {};
    EXPECT_EQ(root->GeneralEvaluate(values.data(), kTime), values.data() + 5);
    EXPECT_EQ(values, (std::array<double, 5>{1.5, 1.5, 1.5, 0.0, 7.0}));
    // A layer of all but the empty one: half of it for the property, at a time of its own, and the whole for
    // the single value, unless that is muted.
    root->Get(0)->RemoveLayer(1, true);
    TurnedLayer half(YFCURVE_LAYER_ADDITIVE, 0.5);
    YFCurveNode* all = root->CreateLayerAt({1, &half});
    all->Delete(1);
    all->Get(0)->TimeWarpSet(LinearWarp(1.0f, 5.0f));
    SetKeys(CurveOf(*all->Get(0), 2), {{1.0, 0.0f}, {1.5, 4.0f}});
    all->Get(1)->FCurveGet()->SetValue(2.0f);
    EXPECT_EQ(root->GeneralEvaluate(values.data(), kTime), values.data() + 5);
    EXPECT_EQ(values, (std::array<double, 5>{5.0, 10.0, 17.0, 0.0, 9.0}));
    layer.muted = true;
    all->Get(1)->SetLayerInfo({1, &layer});
    root->GeneralEvaluate(values.data(), kTime);
    EXPECT_EQ(values[4], 7.0);

    constexpr int many = 50;
    const YFCurveNodePtr wide(YFCurveNodeCreate("wide", nullptr));
    for (int i = 0; i < many; ++i) {
        wide->FindOrCreate(std::to_string(i).c_str(), true)->FCurveGet()->SetValue(static_cast<float>(i));
    }
    YFCurveNode* upper = wide->CreateLayerAt({1, nullptr});
    for (int i = 0; i < many; ++i) CurveOf(*upper, i).SetValue(100.0f);
    std::array<double, many> sums = {};
    EXPECT_EQ(wide->GeneralEvaluate(sums.data(), kTime), sums.data() + many);
    for (int i = 0; i < many; ++i) EXPECT_EQ(sums[static_cast<std::size_t>(i)], 100.0 + i);

    // Candidates of all components, also of those beyond the ones that the node itself has room for.
    for (int i = 0; i < many; ++i) SetKeys(CurveOf(*wide, i), {{0.0, 1.0f}, {1.0, 2.0f}});
    std::array<double, many> wanted = {};
    for (int i = 0; i < many; ++i) wanted[static_cast<std::size_t>(i)] = 0.5 * i;
    EXPECT_EQ(wide->CandidateSet(kTime, wanted.data(), {1, nullptr}), wanted.data() + many);
    EXPECT_EQ(wide->CandidateGet(sums.data()), sums.data() + many);
    EXPECT_EQ(sums, wanted);
    YFCurveNodeCandidateState state;
    ASSERT_TRUE(wide->GetCandidateState(state));
    wide->CandidateClear();
    wide->SetCandidateState(state);
    wide->CandidateEvaluate(sums.data(), kTime);
    EXPECT_EQ(sums, wanted);
    wide->CandidateKey(nullptr, {1, nullptr});
    wide->GeneralEvaluate(sums.data(), kTime);
    EXPECT_EQ(sums, wanted);
}

TEST(GeneralEvaluate, ComponentsWithoutACurveAreNeutral)
{
    const YFCurveNodePtr scaling = PropertyOf(eDataType::LocalScaling, "S");
    for (int i = 0; i < 3; ++i) CurveOf(*scaling, i).SetValue(static_cast<float>(i + 2));
    scaling->Get(2)->FCurveSet(nullptr, true);
    EXPECT_EQ(General(*scaling), (Triple{2.0, 3.0, 1.0}));
    EXPECT_EQ(WithCandidates(*scaling), (Triple{2.0, 3.0, 1.0}));
    scaling->SetLayerType(6);
    EXPECT_EQ(General(*scaling), (Triple{2.0, 3.0, -1e9})) << "type 6 has no neutral value";

    // Arrays with a value for each component, and such with one for each curve.
    scaling->SetLayerType(3);
    const Triple values = {4.0, 5.0, 6.0};
    Triple read = {};
    EXPECT_EQ(scaling->GetComponentCount(), 3);
    EXPECT_EQ(scaling->CandidateSet(kTime, values.data()), values.data() + 3);
    EXPECT_EQ(scaling->CandidateGet(read.data()), read.data() + 3);
    EXPECT_EQ(read, values);
    scaling->CandidateClear();
    YTime time;
    EXPECT_EQ(scaling->GetCurveCount(), 2);
    EXPECT_EQ(scaling->Evaluate(read.data(), kTime), read.data() + 2);
    EXPECT_EQ(scaling->CandidateGetWithTime(read.data(), time), read.data() + 2);
    EXPECT_EQ(scaling->KeyAdd(kTime, values.data()), values.data() + 2);
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    root->FindOrCreate("empty", false);
    root->Add(Moving().release());
    EXPECT_EQ(root->GetComponentCount(), 4);
    EXPECT_EQ(root->GetCurveCount(), 3);
}

// The names of a layer's children, what they hold, and what base values of 10, 20 and 30 become.
TEST(GeneralEvaluate, LayersHaveTheComponentsOfTheirNames)
{
    struct Case
    {
        std::vector<const char*> names;
        std::vector<float> values;
        Triple total;
    };
    const Case cases[] = {{{"X"}, {5.0f}, {15.0, 20.0, 30.0}},
                          {{"Y"}, {5.0f}, {10.0, 25.0, 30.0}},
                          {{"Z", "x"}, {5.0f, 1.0f}, {11.0, 20.0, 35.0}},
                          {{"Z", "Y", "X"}, {1.0f, 2.0f, 3.0f}, {13.0, 22.0, 31.0}},
                          {{"R", "G", "B", "A"}, {1.0f, 2.0f, 3.0f, 4.0f}, {11.0, 22.0, 33.0}}};
    for (const Case& one : cases) {
        const YFCurveNodePtr node = Translation();
        for (int i = 0; i < 3; ++i) CurveOf(*node, i).SetValue(10.0f * static_cast<float>(i + 1));
        YFCurveNode* layer = YFCurveNodeCreate("layer", nullptr, 1, {1, nullptr});
        for (std::size_t i = 0; i < one.names.size(); ++i) {
            layer->FindOrCreate(one.names[i], true)->FCurveGet()->SetValue(one.values[i]);
        }
        node->LayerSet(layer);
        YFCurveNode* behind = node->CreateLayerAt({2, nullptr});
        EXPECT_EQ(General(*node), one.total);
        for (int i = 0; i < 3; ++i) CurveOf(*behind, i).SetValue(100.0f);
        Triple all = one.total;
        for (double& value : all) value += 100.0;
        EXPECT_EQ(General(*node), all);
        EXPECT_EQ(WithCandidates(*node), all);
    }

    // A rotation of fewer angles has them one by one, as it has after it was stored; and a curve of its own
    // stands for the first component.
    const YFCurveNodePtr rotation = Rotation();
    for (int i = 0; i < 3; ++i) CurveOf(*rotation, i).SetValue(10.0f * static_cast<float>(i + 1));
    YFCurveNode* layer = rotation->CreateLayerAt({1, nullptr});
    CurveOf(*layer, 0).SetValue(5.0f);
    layer->Delete(2);
    layer->Delete(1);
    const auto expectX = [&](double angle) {
        const Triple angles = General(*rotation);
        EXPECT_NEAR(angles[0], angle, 1e-9);
        EXPECT_NEAR(angles[2], 30.0, 1e-9);
    };
    expectX(15.0);
    YFCurveNode* single = YFCurveNodeCreate("single", nullptr, 1, {2, nullptr});
    single->CreateFCurve();
    single->FCurveGet()->SetValue(1.0f);
    layer->LayerSet(single);
    expectX(16.0);
}

TEST(GeneralEvaluate, QuaternionRotationsTurnEvenly)
{
    const YFCurveNodePtr node = Rotation();
    node->SetUseQuaternion(true);
    // From no turn to 120 degrees about the diagonal: half of the way is 60 degrees about it.
    SetKeys(CurveOf(*node, 0), {{0.0, 0.0f}, {1.0, 90.0f}});
    SetKeys(CurveOf(*node, 2), {{0.0, 0.0f}, {1.0, 90.0f}});
    const Triple half = General(*node);
    const double angle = std::atan2(2.0, 2.0) * 180.0 / M_PI;
    EXPECT_NEAR(half[0], angle, 1e-9);
    EXPECT_NEAR(half[1], std::asin(1.0 / 3.0) * 180.0 / M_PI, 1e-9);
    EXPECT_NEAR(half[2], angle, 1e-9);
    EXPECT_EQ(General(*node, Seconds(1.0)), (Triple{90.0, 0.0, 90.0}));
    EXPECT_EQ(General(*node, Seconds(3.0)), (Triple{90.0, 0.0, 90.0}));

    for (const int i : {0, 2}) {
        CurveOf(*node, i).KeySetInterpolation(0, YFCURVE_INTERP_CONSTANT);
        CurveOf(*node, i).KeySetConstantMode(0, YFCURVE_CONSTANT_STANDARD);
    }
    EXPECT_EQ(General(*node), (Triple{0.0, 0.0, 0.0}));
    Triple angles = {};
    EXPECT_EQ(node->RotationNodeEvaluate(angles.data(), kTime), angles.data() + 3);
    EXPECT_EQ(angles, (Triple{0.0, 0.0, 0.0}));
}

// --- Setting and reading -------------------------------------------------------------------------------

TEST(Candidates, ComponentsWithoutKeysChangeAtOnce)
{
    const YFCurveNodePtr node = Translation();
    SetKeys(CurveOf(*node, 0), {{0.0, 0.0f}, {1.0, 10.0f}});
    SetCandidate(*node, {1.0, 2.0, 3.0});
    EXPECT_EQ(General(*node), (Triple{5.0, 2.0, 3.0}));
    EXPECT_EQ(WithCandidates(*node), (Triple{1.0, 2.0, 3.0}));
    EXPECT_TRUE(node->IsCandidate());
    EXPECT_EQ(node->GetTotalCandidateMethod(), YFCurveNode::YFCURVE_CANDIDATE_TOTAL);
    EXPECT_EQ(node->GetSpecificCandidateMethod(), 2);
    Triple held = {};
    EXPECT_EQ(node->CandidateGet(held.data()), held.data() + 3);
    EXPECT_EQ(held, (Triple{1.0, 2.0, 3.0}));
    node->CandidateClear();
    EXPECT_EQ(WithCandidates(*node), (Triple{5.0, 2.0, 3.0}));

    // On a layer it is the layer's default that makes the total; a locked curve keeps its own.
    TurnedLayer layer(YFCURVE_LAYER_ADDITIVE, 0.5);
    CurveOf(*node->CreateLayerAt({1, &layer}), 2).SetLockedByLayer(true);
    SetCandidate(*node, {1.0, 12.0, 13.0}, {1, &layer});
    EXPECT_EQ(CurveOf(*node->LayerGet(), 1).GetValue(), 20.0f);
    EXPECT_EQ(General(*node), (Triple{5.0, 12.0, 3.0}));

    // Keys on the next layer make a component one that holds its candidate.
    SetKeys(CurveOf(*node->LayerGet(), 1), {{0.0, 0.0f}});
    SetCandidate(*node, {1.0, 99.0, 3.0});
    EXPECT_EQ(CurveOf(*node, 1).GetValue(), 2.0f);

    // The only curve of a property takes it, locked or not.
    const YFCurveNodePtr number = PropertyOf(eDataType::Number, "n");
    number->FCurveGet()->SetLockedByLayer(true);
    const double three = 3.0;
    EXPECT_EQ(number->CandidateSet(kTime, &three), &three + 1);
    EXPECT_EQ(number->FCurveGet()->GetValue(), 3.0f);
}

TEST(Candidates, AreReadBack)
{
    const YFCurveNodePtr node = Moving();
    Triple values = {-1.0, -1.0, -1.0};
    EXPECT_EQ(node->CandidateGet(values.data()), values.data());
    EXPECT_EQ(values[0], -1.0);
    EXPECT_EQ(node->GetSpecificCandidateMethod(), 1);
    EXPECT_EQ(node->GetTotalCandidateMethod(), YFCurveNode::YFCURVE_CANDIDATE_NONE);

    std::array<double, 4> total = {};
    YTime time;
    node->CandidateGetTotalCandidate(total.data(), time);
    EXPECT_EQ(time, YTIME_INFINITE);
    SetCandidate(*node, {1.0, 2.0, 3.0});
    node->CandidateGetTotalCandidate(total.data(), time);
    EXPECT_EQ(time, kTime);
    EXPECT_EQ(total, (std::array<double, 4>{1.0, 2.0, 3.0, 0.0}));
    // A copy, which has no children yet, holds it too.
    const YFCurveNodePtr copy(YFCurveNodeCreate(node.get()));
    std::array<double, 4> copied = {};
    YTime copiedTime;
    copy->CandidateGetTotalCandidate(copied.data(), copiedTime);
    EXPECT_EQ(copied, total);
    EXPECT_EQ(copiedTime, kTime);
    EXPECT_EQ(copy->GetSpecificCandidateMethod(), 2);

    CurveOf(*node, 1).CandidateSet(Seconds(0.25), 8.0);
    CurveOf(*node, 2).CandidateSet(Seconds(0.75), 9.0);
    EXPECT_EQ(node->CandidateGetWithTime(values.data(), time), values.data() + 3);
    EXPECT_EQ(values, (Triple{0.0, 8.0, 9.0}));
    EXPECT_EQ(time, Seconds(0.75));
}

TEST(Candidates, AreKeptByLocksAndRefusedOnUpperLayers)
{
    const YFCurveNodePtr node = Moving();
    const Triple values = {1.0, 2.0, 3.0};
    TurnedLayer layer;
    layer.locked = true;
    EXPECT_EQ(node->CandidateSetSpecificLayer(kTime, values.data(), {1, &layer}), values.data());
    EXPECT_EQ(node->LayerGet(), nullptr);
    layer.locked = false;
    EXPECT_EQ(node->CreateLayerAt({1, &layer})->CandidateSet(kTime, values.data()), values.data());

    // A locked base layer keeps what it holds.
    TurnedLayer base;
    node->SetLayerInfo({0, &base});
    SetCandidate(*node, values);
    base.locked = true;
    EXPECT_TRUE(node->CandidateClear());
    EXPECT_TRUE(node->IsCandidate());
    base.locked = false;
    node->SetLockedByProperty(true);
    node->CandidateClear();
    EXPECT_TRUE(node->IsCandidate());
    node->CandidateKey();
    EXPECT_EQ(node->KeyGetCount(), 6);
    node->SetLockedByProperty(false);
    node->CandidateClear();
    EXPECT_FALSE(node->IsCandidate());
}

TEST(Candidates, EvaluationKeepsItsResult)
{
    const YFCurveNodePtr node = Moving();
    SetCandidate(*node, {1.0, 2.0, 3.0});
    EXPECT_EQ(WithCandidates(*node, Seconds(1.0)), (Triple{10.0, 20.0, 30.0}));
    EXPECT_EQ(node->GetSpecificCandidateMethod(), 0);
    Triple held = {};
    node->CandidateGet(held.data());
    EXPECT_EQ(held, (Triple{10.0, 20.0, 30.0}));
    EXPECT_EQ(WithCandidates(*node), (Triple{5.0, 10.0, 15.0}));

    // A muted base shows none, and keeps none.
    TurnedLayer base;
    node->SetLayerInfo({0, &base});
    node->CandidateClear();
    SetCandidate(*node, {1.0, 2.0, 3.0});
    base.muted = true;
    EXPECT_EQ(WithCandidates(*node), (Triple{0.0, 0.0, 0.0}));
    Triple untouched = {4.0, 4.0, 4.0};
    EXPECT_EQ(node->Evaluate(untouched.data(), kTime), untouched.data());
}

TEST(Candidates, OneLayersAreClearedAlone)
{
    const YFCurveNodePtr node = Moving();
    YFCurveNode* layer = node->CreateLayerAt({3, nullptr});
    const auto setAll = [&] {
        SetCandidate(*node, {1.0, 2.0, 3.0});
        CurveOf(*node, 0).CandidateSet(kTime, 1.0);
        CurveOf(*layer, 0).CandidateSet(kTime, 1.0);
    };
    setAll();
    node->CandidateClear(3, false);
    EXPECT_TRUE(node->IsCandidate() && CurveOf(*node, 0).IsCandidate());
    EXPECT_FALSE(CurveOf(*layer, 0).IsCandidate());
    setAll();
    node->CandidateClear(0, false);
    EXPECT_FALSE(node->IsCandidate() || node->Get(0)->IsCandidate() || CurveOf(*node, 0).IsCandidate());
    EXPECT_TRUE(CurveOf(*layer, 0).IsCandidate());
    setAll();
    node->CandidateClear(2);
    EXPECT_TRUE(node->IsCandidate() && CurveOf(*layer, 0).IsCandidate());
    node->CandidateClear();
    EXPECT_FALSE(node->IsCandidate() || CurveOf(*layer, 0).IsCandidate());

    // Layers behind a child are cleared with it.
    YFCurve& behind = *node->Get(1)->CreateLayerAt({5, nullptr})->FCurveGet();
    behind.CandidateSet(kTime, 1.0);
    node->CandidateClear(0, false);
    EXPECT_TRUE(behind.IsCandidate());
    node->CandidateClear();
    EXPECT_FALSE(behind.IsCandidate());
}

// --- Shares and keys -----------------------------------------------------------------------------------

TEST(Candidates, SharesByHand)
{
    const YFCurveNodePtr node = Moving();
    TurnedLayer middle(YFCURVE_LAYER_ADDITIVE, 0.5);
    TurnedLayer top(YFCURVE_LAYER_ADDITIVE, 1.0);
    node->CreateLayerAt({1, &middle});
    YFCurveNode* upper = node->CreateLayerAt({2, &top});
    for (int i = 0; i < 3; ++i) CurveOf(*upper, i).SetValue(8.0f);
    const auto shareOf = [&](int layerId) {
        const Triple total = {20.0, 20.0, 20.0};
        Triple share = {};
        node->ComputeCandidateForLayer(share.data(), total.data(), kTime, layerId);
        return share;
    };
    // The total less the other layers, before the weight is divided out.
    EXPECT_EQ(shareOf(1), (Triple{7.0, 2.0, -3.0}));
    EXPECT_EQ(shareOf(0), (Triple{12.0, 12.0, 12.0}));
    EXPECT_EQ(shareOf(7), shareOf(0));

    const YFCurveNodePtr scaling = PropertyOf(eDataType::LocalScaling, "S");
    TurnedLayer half(YFCURVE_LAYER_ADDITIVE, 0.5);
    scaling->CreateLayerAt({1, &half});
    for (const int i : {0, 1}) CurveOf(*scaling, i).SetValue(2.0f);
    CurveOf(*scaling, 2).SetValue(0.0f);
    const Triple wanted = {8.0, 0.0, 3.0};
    Triple share = {};
    scaling->ComputeCandidateForLayer(share.data(), wanted.data(), kTime, 1);
    EXPECT_EQ(share, (Triple{4.0, 0.0, 1.0}));  // nothing makes 3 of 0

    // Scalings combine without their signs, but a layer gets the sign that is wanted: the square root of the
    // base's 16 times that of the layer's 4, and the other way round the root of 4 times that of 64.
    half.mode = YFCURVE_LAYER_WEIGHTED_OVERRIDE;
    for (int i = 0; i < 3; ++i) {
        CurveOf(*scaling, i).SetValue(i == 0 ? -16.0f : 16.0f);
        CurveOf(*scaling->LayerGet(), i).SetValue(i == 1 ? -4.0f : 4.0f);
    }
    EXPECT_EQ(General(*scaling), (Triple{8.0, 8.0, 8.0}));
    const Triple signs = {8.0, -8.0, -16.0};
    scaling->ComputeCandidateForLayer(share.data(), signs.data(), kTime, 0);
    EXPECT_EQ(share, (Triple{16.0, -16.0, -64.0}));
    scaling->ComputeCandidateForLayer(share.data(), signs.data(), kTime, 1);
    EXPECT_EQ(share, (Triple{2.0, -2.0, -4.0}));
    scaling->CandidateSetSpecificLayer(kTime, share.data(), {1, &half});
    scaling->CandidateEvaluateSpecificLayer(share.data(), kTime, 1);
    EXPECT_EQ(share, (Triple{4.0, -4.0, -16.0}));
}

TEST(Candidates, AreKeyedOnALayer)
{
    const YFCurveNodePtr node = Moving();
    TurnedLayer layer(YFCURVE_LAYER_ADDITIVE, 0.5);
    SetCandidate(*node, {1.0, 2.0, 3.0}, {4, &layer});
    std::array<int, 3> indices = {7, 7, 7};
    std::array<bool, 3> added = {};
    node->CandidateKey(indices.data(), {4, &layer}, added.data());
    EXPECT_EQ(indices, (std::array{0, 0, 0}));
    EXPECT_EQ(added, (std::array{true, true, true}));
    EXPECT_EQ(General(*node), (Triple{1.0, 2.0, 3.0}));
    EXPECT_EQ(node->KeyGetCount(), 6);
    EXPECT_EQ(CurveOf(*node->LayerGet(4), 2).KeyGetValue(0), -24.0f);
    EXPECT_FALSE(node->IsCandidate());

    // One component alone, only what differs, and no locked curves.
    SetCandidate(*node, {11.0, 12.0, 13.0});
    node->CandidateKey(indices.data(), YFCurveLayerInfo::Base, added.data(), false, YFCURVE_INTERP_CUBIC,
                       YFCURVE_TANGENT_AUTO, 1);
    EXPECT_EQ(indices, (std::array{-1, 1, -1}));
    EXPECT_EQ(General(*node), (Triple{1.0, 12.0, 3.0}));
    SetCandidate(*node, {1.0, 12.0, 5.0});
    node->CandidateKey(indices.data(), YFCurveLayerInfo::Base, added.data(), true);
    EXPECT_EQ(indices, (std::array{-1, -1, 1}));
    EXPECT_EQ(added, (std::array{false, false, true}));
    SetCandidate(*node, {1.0, 12.0, 7.0});
    node->CandidateKey(indices.data(), YFCurveLayerInfo::Base, added.data());
    EXPECT_EQ(added, (std::array{true, false, false}));
    EXPECT_EQ(node->KeyGetCount(), 9);
    CurveOf(*node, 0).SetLockedByProperty(true);
    SetCandidate(*node, {4.0, 4.0, 4.0});
    node->CandidateKey(indices.data());
    EXPECT_EQ(indices, (std::array{-1, 1, 1}));
    EXPECT_EQ(General(*node), (Triple{1.0, 4.0, 4.0}));
    CurveOf(*node, 0).SetLockedByProperty(false);

    // Without a candidate the time says what to key; without that there is nothing to do.
    node->CandidateKey();
    EXPECT_EQ(node->KeyGetCount(), 9);
    node->CandidateKey(nullptr, YFCurveLayerInfo::Base, nullptr, false, YFCURVE_INTERP_LINEAR, 0, -1, true,
                       Seconds(0.75));
    EXPECT_EQ(node->KeyGetCount(), 12);
    EXPECT_EQ(CurveOf(*node, 2).KeyGetInterpolation(2), YFCURVE_INTERP_LINEAR);
}

TEST(Candidates, OfOneLayer)
{
    const YFCurveNodePtr node = Moving();
    TurnedLayer layer(YFCURVE_LAYER_ADDITIVE, 0.5);
    SetCandidate(*node, {1.0, 2.0, 3.0});
    const Triple share = {1.0, 2.0, 3.0};
    EXPECT_EQ(node->CandidateSetSpecificLayer(kTime, share.data(), {1, &layer}), share.data() + 3);
    EXPECT_FALSE(node->IsCandidate());
    Triple values = {};
    EXPECT_EQ(node->CandidateEvaluateSpecificLayer(values.data(), kTime, 1), values.data() + 3);
    EXPECT_EQ(values, (Triple{2.0, 4.0, 6.0}));
    EXPECT_EQ(node->EvaluateSpecificLayer(values.data(), kTime, 1), values.data() + 3);
    EXPECT_EQ(values, (Triple{0.0, 0.0, 0.0}));
    EXPECT_EQ(node->EvaluateSpecificLayer(values.data(), kTime, 2), values.data());
    EXPECT_EQ(WithCandidates(*node), (Triple{6.0, 12.0, 18.0}));
    EXPECT_EQ(General(*node), (Triple{5.0, 10.0, 15.0}));

    EXPECT_FALSE(node->CandidateKeySpecificLayer(nullptr, {2, nullptr}));
    EXPECT_TRUE(node->CandidateKeySpecificLayer(nullptr, {1, &layer}));
    EXPECT_EQ(General(*node), (Triple{6.0, 12.0, 18.0}));
    EXPECT_EQ(node->LayerGet(1)->KeyGetCount(), 3);
}

TEST(Candidates, RotationsDoNotSpin)
{
    const YFCurveNodePtr node = Rotation();
    TurnedLayer layer;
    for (int i = 0; i < 3; ++i) SetKeys(CurveOf(*node, i), {{0.0, 0.0f}, {1.0, 0.0f}});
    YFCurveNode* upper = node->CreateLayerAt({1, &layer});
    SetKeys(CurveOf(*upper, 2), {{0.0, 350.0f}, {1.0, 370.0f}});
    const Triple wanted = {0.0, 0.0, 5.0};
    const auto key = [&](bool nearest) {
        SetCandidate(*node, wanted, {1, &layer});
        node->CandidateKey(nullptr, {1, &layer}, nullptr, false, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO,
                           -1, nearest);
        return CurveOf(*upper, 2).KeyGetValue(1);
    };
    EXPECT_NEAR(key(false), 5.0f, 1e-4f);
    CurveOf(*upper, 2).KeySetValue(1, 350.0f);
    EXPECT_NEAR(key(true), 365.0f, 1e-4f);

    // On one layer alone the angles are those that were asked for.
    const YFCurveNodePtr alone = Rotation();
    SetCandidate(*alone, {0.0, 0.0, 725.0});
    alone->CandidateKey();
    EXPECT_EQ(General(*alone), (Triple{0.0, 0.0, 725.0}));
}

TEST(Candidates, RotationsOutOfReachComeAsNearAsTheyCan)
{
    const YFCurveNodePtr node = Rotation();
    TurnedLayer layer(YFCURVE_LAYER_ADDITIVE, 0.25);
    YFCurveNode* upper = node->CreateLayerAt({1, &layer});
    for (YFCurveNode* each : {node.get(), upper}) {
        for (int i = 0; i < 3; ++i) SetKeys(CurveOf(*each, i), {{0.0, 0.0f}, {1.0, 0.0f}});
    }
    SetCandidate(*node, {0.0, 0.0, 100.0}, {1, &layer});
    node->CandidateKey(nullptr, {1, &layer});
    EXPECT_NEAR(General(*node)[2], 45.0, 1e-3);
}

// --- States --------------------------------------------------------------------------------------------

TEST(CandidateState, IsPutBack)
{
    const YFCurveNodePtr node = Moving();
    YFCurveNode* layer = node->CreateLayerAt({2, nullptr});
    YFCurveNodeCandidateState none;
    EXPECT_TRUE(node->GetCandidateState(none));
    SetCandidate(*node, {1.0, 2.0, 3.0});
    CurveOf(*layer, 1).CandidateSet(Seconds(0.25), 0.1);
    auto state = std::make_unique<YFCurveNodeCandidateState>();
    EXPECT_TRUE(node->GetCandidateState(*state));
    EXPECT_EQ(state->GetCandidateTotalTime(), kTime);
    const YFCurveNodeCandidateState copy = *state;
    state.reset();

    node->CandidateClear();
    node->CreateLayerAt({1, nullptr});
    node->SetCandidateState(copy);
    EXPECT_EQ(WithCandidates(*node), (Triple{1.0, 2.0, 3.0}));
    EXPECT_EQ(node->GetSpecificCandidateMethod(), 2);
    EXPECT_NEAR(CurveOf(*layer, 1).CandidateGet(), 0.1, 1e-14);
    EXPECT_EQ(CurveOf(*layer, 1).CandidateGetTime(), Seconds(0.25));
    node->SetCandidateState(none);
    EXPECT_FALSE(node->IsCandidate() || CurveOf(*layer, 1).IsCandidate());

    std::vector<std::string> lines;
    copy.Dump(
        [](const char* line, void* to) { static_cast<std::vector<std::string>*>(to)->emplace_back(line); },
        &lines, 1);
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0].rfind("  layer 0: total 2 at 0.5 s: 1 2 3 0", 0), 0u) << lines[0];
    EXPECT_EQ(lines[4].rfind("    layer 2: total 1", 0), 0u) << lines[4];
    EXPECT_NE(lines[6].find("at 0.25 s: 0.1"), std::string::npos) << lines[6];
}

}  // namespace
