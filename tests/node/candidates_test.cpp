// What random stacks of layers do not reach; candidate_property_test.cpp has what holds for those.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
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

void SetCandidate(YFCurveNode& node, const Triple& values,
                  const YFCurveLayerInfo& info = YFCurveLayerInfo::Base, YTime time = kTime)
{
    EXPECT_EQ(node.CandidateSet(time, values.data(), info), values.data() + 3);
}

/// A translation whose X, Y and Z go from 0 to 10, 20 and 30 in a second.
YFCurveNodePtr Moving()
{
    YFCurveNodePtr node = Translation();
    for (int i = 0; i < 3; ++i)
        SetKeys(CurveOf(*node, i), {{0.0, 0.0f}, {1.0, 10.0f * static_cast<float>(i + 1)}});
    return node;
}

/// The components stand still at these values.
void SetValues(const YFCurveNode& node, const std::vector<float>& values)
{
    for (int i = 0; i < node.GetCount(); ++i) CurveOf(node, i).SetValue(values[static_cast<std::size_t>(i)]);
}

// --- Evaluation ----------------------------------------------------------------------------------------

// Also candidates of more components than the node itself has room for.
TEST(GeneralEvaluate, NodesOfManyComponents)
{
    constexpr int many = 50;
    const YFCurveNodePtr wide(YFCurveNodeCreate("wide", nullptr));
    std::array<double, many> wanted = {};
    for (int i = 0; i < many; ++i) {
        SetKeys(*wide->FindOrCreate(std::to_string(i).c_str(), true)->FCurveGet(),
                {{0.0, 1.0f}, {1.0, 2.0f}});
        wanted[static_cast<std::size_t>(i)] = 0.5 * i;
    }
    SetValues(*wide->CreateLayerAt({1, nullptr}), std::vector<float>(many, 100.0f));
    std::array<double, many> sums = {};
    EXPECT_EQ(wide->GeneralEvaluate(sums.data(), kTime), sums.data() + many);
    for (const double sum : sums) EXPECT_EQ(sum, 101.5);
    EXPECT_EQ(wide->CandidateSet(kTime, wanted.data(), {1, nullptr}), wanted.data() + many);
    YFCurveNodeCandidateState state;
    ASSERT_TRUE(wide->GetCandidateState(state));
    wide->CandidateClear();
    wide->SetCandidateState(state);
    EXPECT_EQ(wide->CandidateGet(sums.data()), sums.data() + many);
    EXPECT_EQ(sums, wanted);
    wide->CandidateKey(nullptr, {1, nullptr});
    wide->GeneralEvaluate(sums.data(), kTime);
    EXPECT_EQ(sums, wanted);
}

// With a time warp at 1 s on the layer's joint, and a child that has no curve.
TEST(GeneralEvaluate, GroupsCombinePropertyByProperty)
{
    const YFCurveNodePtr group(YFCurveNodeCreate("group", nullptr));
    group->Add(Joint().release());
    YFCurveNode& joint = *group->Get(0);
    joint.FindOrCreate("visibility", false);
    group->FindOrCreate("weight", true)->FCurveGet()->SetValue(7.0f);
    for (int i = 0; i < 3; ++i) SetValues(*joint.Get(i), {1.0f, 2.0f, 3.0f});
    YFCurveNode& above = *group->CreateLayerAt({1, nullptr})->Get(0);
    for (int i = 0; i < 3; ++i) SetValues(*above.Get(i), {0.0f, 4.0f, 5.0f});
    SetKeys(CurveOf(*above.Get(0), 0), {{0.0, 0.0f}, {1.0, 10.0f}});
    above.TimeWarpSet(LinearWarp(1.0f, 1.0f));
    SetValues(*above.Get(1), {20.0f, 0.0f, 0.0f});
    SetValues(*joint.Get(1), {10.0f, 0.0f, 0.0f});
    std::array<double, 11> values = {};
    EXPECT_EQ(group->GeneralEvaluate(values.data(), kTime), values.data() + values.size());
    const std::array<double, 11> expected = {11, 6, 8, 30, 0, 0, 0, 8, 15, 0, 7};
    for (std::size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], expected[i], 1e-9) << i;
}

// Random stacks have layers of fewer components, which go by their names.
TEST(GeneralEvaluate, ComponentsOfOtherNamesGoByTheirPlaces)
{
    const YFCurveNodePtr node = Translation();
    SetValues(*node, {10.0f, 20.0f, 30.0f});
    YFCurveNode* layer = node->CloneTemplate({1, nullptr});
    layer->Clear();
    for (const char* name : {"R", "G", "B", "A"}) layer->FindOrCreate(name, true);
    SetValues(*layer, {1.0f, 2.0f, 3.0f, 4.0f});
    node->LayerSet(layer);
    EXPECT_EQ(General(*node), (Triple{11.0, 22.0, 33.0}));
}

TEST(GeneralEvaluate, QuaternionRotationsTurnEvenly)
{
    const YFCurveNodePtr node = Rotation();
    node->SetUseQuaternion(true);
    // From no turn to 120 degrees about the diagonal: half of the way is 60 degrees about it.
    for (const int i : {0, 2}) SetKeys(CurveOf(*node, i), {{0.0, 0.0f}, {1.0, 90.0f}});
    const Triple half = General(*node);
    EXPECT_NEAR(half[0], 45.0, 1e-9);
    EXPECT_NEAR(half[1], std::asin(1.0 / 3.0) * 180.0 / M_PI, 1e-9);
    EXPECT_NEAR(half[2], 45.0, 1e-9);
    EXPECT_EQ(General(*node, Seconds(3.0)), (Triple{90.0, 0.0, 90.0}));
}

// --- Setting and reading -------------------------------------------------------------------------------

TEST(Candidates, ComponentsWithoutKeysChangeAtOnce)
{
    // On a layer it is the layer's default that makes the total; a locked curve keeps its own.
    const YFCurveNodePtr node = Translation();
    SetKeys(CurveOf(*node, 0), {{0.0, 0.0f}, {1.0, 10.0f}});
    SetValues(*node, {0.0f, 2.0f, 3.0f});
    TurnedLayer layer(YFCURVE_LAYER_ADDITIVE, 0.5);
    CurveOf(*node->CreateLayerAt({1, &layer}), 2).SetLockedByLayer(true);
    SetCandidate(*node, {1.0, 12.0, 13.0}, {1, &layer});
    EXPECT_EQ(CurveOf(*node->LayerGet(), 1).GetValue(), 20.0f);
    EXPECT_EQ(General(*node), (Triple{5.0, 12.0, 3.0}));
    // Keys on the next layer make a component one that holds its candidate.
    SetKeys(CurveOf(*node->LayerGet(), 1), {{0.0, 0.0f}});
    SetCandidate(*node, {1.0, 99.0, 4.0});
    EXPECT_EQ(CurveOf(*node, 1).GetValue(), 2.0f);
    EXPECT_EQ(CurveOf(*node, 2).GetValue(), 4.0f);
    // The only curve of a property takes it, locked or not.
    const YFCurveNodePtr number = PropertyOf(eDataType::Number, "n");
    number->FCurveGet()->SetLockedByLayer(true);
    const double three = 3.0;
    EXPECT_EQ(number->CandidateSet(kTime, &three), &three + 1);
    EXPECT_EQ(number->FCurveGet()->GetValue(), 3.0f);
}

// The total at another time takes the place of the one that was set.
TEST(Candidates, EvaluationKeepsItsResultButForAMutedBase)
{
    const YFCurveNodePtr node = Moving();
    SetCandidate(*node, {1.0, 2.0, 3.0});
    std::array<double, 4> values = {};
    node->CandidateEvaluate(values.data(), Seconds(1.0));
    EXPECT_EQ(node->GetSpecificCandidateMethod(), 0);
    std::array<double, 4> held = {};
    YTime time;
    node->CandidateGetTotalCandidate(held.data(), time);
    EXPECT_EQ(held, (std::array<double, 4>{10.0, 20.0, 30.0, 0.0}));
    EXPECT_EQ(held, values);
    EXPECT_EQ(time, Seconds(1.0));
    TurnedLayer base;
    base.muted = true;
    node->SetLayerInfo({0, &base});
    node->CandidateEvaluate(values.data(), kTime);
    EXPECT_EQ(values, (std::array<double, 4>{}));
}

TEST(Candidates, OneLayersAreClearedAlone)
{
    const YFCurveNodePtr node = Moving();
    YFCurveNode* layer = node->CreateLayerAt({3, nullptr});
    // One on a layer behind a child goes with it.
    YFCurve& behind = *node->Get(1)->CreateLayerAt({5, nullptr})->FCurveGet();
    const auto leftBy = [&](int layerId, bool children) {
        SetCandidate(*node, {1.0, 2.0, 3.0});
        for (YFCurve* curve : {&CurveOf(*node, 0), &CurveOf(*layer, 0), &behind})
            curve->CandidateSet(kTime, 1.0);
        node->CandidateClear(layerId, children);
        return std::vector<bool>{node->IsCandidate(), CurveOf(*node, 0).IsCandidate(),
                                 CurveOf(*layer, 0).IsCandidate(), behind.IsCandidate()};
    };
    EXPECT_EQ(leftBy(3, false), (std::vector<bool>{true, true, false, true}));
    EXPECT_EQ(leftBy(0, false), (std::vector<bool>{false, false, true, true}));
    EXPECT_EQ(leftBy(2, true), (std::vector<bool>{true, true, true, true}));
    EXPECT_EQ(leftBy(0, true), (std::vector<bool>{false, false, false, false}));
}

// --- Shares and keys -----------------------------------------------------------------------------------

// Scalings combine without their signs, but a layer gets the sign that is wanted: the square root of the
// base's 16 times that of the layer's 4, and the other way round the root of 4 times that of 64.
TEST(Candidates, SharesOfScalings)
{
    const YFCurveNodePtr scaling = PropertyOf(eDataType::LocalScaling, "S");
    TurnedLayer half(YFCURVE_LAYER_WEIGHTED_OVERRIDE, 0.5);
    scaling->CreateLayerAt({1, &half});
    SetValues(*scaling, {-16.0f, 16.0f, 16.0f});
    SetValues(*scaling->LayerGet(), {4.0f, -4.0f, 4.0f});
    const auto shareOf = [&](const Triple& total, int layerId) {
        Triple share = {};
        scaling->ComputeCandidateForLayer(share.data(), total.data(), kTime, layerId);
        return share;
    };
    EXPECT_EQ(shareOf({8.0, -8.0, -16.0}, 0), (Triple{16.0, -16.0, -64.0}));
    Triple share = shareOf({8.0, -8.0, -16.0}, 1);
    EXPECT_EQ(share, (Triple{2.0, -2.0, -4.0}));
    // As candidates of that layer alone, from which the weight is divided out, and as keys of it.
    EXPECT_EQ(scaling->CandidateSetSpecificLayer(kTime, share.data(), {1, &half}), share.data() + 3);
    EXPECT_EQ(scaling->CandidateEvaluateSpecificLayer(share.data(), kTime, 1), share.data() + 3);
    EXPECT_EQ(share, (Triple{4.0, -4.0, -16.0}));
    for (const bool lock : {true, false}) {
        scaling->SetLockedByProperty(lock);
        EXPECT_EQ(scaling->CandidateKeySpecificLayer(nullptr, {1, &half}), !lock);
    }
    EXPECT_EQ(CurveOf(*scaling->LayerGet(), 2).KeyGetValue(0), -16.0f);
    SetValues(*scaling, {0.0f, 0.0f, 0.0f});
    half.mode = YFCURVE_LAYER_ADDITIVE;
    EXPECT_EQ(shareOf({8.0, 0.0, 3.0}, 1), (Triple{1.0, 1.0, 1.0})) << "nothing makes 3 of 0";
}

TEST(Candidates, AreKeyedWhereTheyAreAskedFor)
{
    const YFCurveNodePtr node = Moving();
    std::array<int, 3> indices = {7, 7, 7};
    std::array<bool, 3> added = {};
    const auto key = [&](const Triple& wanted, bool onlyChanged, int component) {
        SetCandidate(*node, wanted);
        node->CandidateKey(indices.data(), YFCurveLayerInfo::Base, added.data(), onlyChanged,
                           YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, component);
        return General(*node);
    };
    // One component alone, only what differs, and no locked curves.
    EXPECT_EQ(key({11.0, 12.0, 13.0}, false, 1), (Triple{5.0, 12.0, 15.0}));
    EXPECT_EQ(indices, (std::array{-1, 1, -1}));
    key({5.0, 12.0, 7.0}, true, -1);
    EXPECT_EQ(indices, (std::array{-1, -1, 1}));
    EXPECT_EQ(added, (std::array{false, false, true}));
    EXPECT_FALSE(node->IsCandidate());
    node->SetLockedByProperty(true);
    EXPECT_EQ(key({1.0, 1.0, 1.0}, false, -1), (Triple{5.0, 12.0, 7.0}));
    node->CandidateClear();
    EXPECT_TRUE(node->IsCandidate()) << "what is locked keeps its candidate";
    node->SetLockedByProperty(false);
    CurveOf(*node, 0).SetLockedByProperty(true);
    EXPECT_EQ(key({4.0, 4.0, 4.0}, false, -1), (Triple{5.0, 4.0, 4.0}));
    EXPECT_EQ(indices, (std::array{-1, 1, 1}));
    // Without a candidate the time says what to key; without that there is nothing to do.
    node->CandidateKey();
    EXPECT_EQ(node->KeyGetCount(), 8);
    node->CandidateKey(nullptr, YFCurveLayerInfo::Base, nullptr, false, YFCURVE_INTERP_LINEAR, 0, -1, true,
                       Seconds(0.75));
    EXPECT_EQ(node->KeyGetCount(), 10);
    EXPECT_EQ(CurveOf(*node, 2).KeyGetInterpolation(2), YFCURVE_INTERP_LINEAR);
}

TEST(Candidates, RotationsDoNotSpinAndComeAsNearAsTheyCan)
{
    const YFCurveNodePtr node = Rotation();
    TurnedLayer layer;
    for (int i = 0; i < 3; ++i) SetKeys(CurveOf(*node, i), {{0.0, 0.0f}, {1.0, 0.0f}});
    YFCurveNode* upper = node->CreateLayerAt({1, &layer});
    SetKeys(CurveOf(*upper, 2), {{0.0, 350.0f}, {1.0, 370.0f}});
    const auto key = [&](double wanted, bool nearest) {
        SetCandidate(*node, {0.0, 0.0, wanted}, {1, &layer});
        node->CandidateKey(nullptr, {1, &layer}, nullptr, false, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO,
                           -1, nearest);
        return CurveOf(*upper, 2).KeyGetValue(1);
    };
    EXPECT_NEAR(key(5.0, false), 5.0f, 1e-4f);
    CurveOf(*upper, 2).KeySetValue(1, 350.0f);
    EXPECT_NEAR(key(5.0, true), 365.0f, 1e-4f);
    // A quarter of half a turn is as far as it goes.
    SetKeys(CurveOf(*upper, 2), {{0.0, 0.0f}, {1.0, 0.0f}});
    layer.weight = 0.25;
    key(100.0, true);
    EXPECT_NEAR(General(*node)[2], 45.0, 1e-3);
}

}  // namespace
