#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

using Values = std::vector<double>;

// root: "t" (X, Y, Z), "weight", "empty" (no curve), "r" (X, Y, Z)
YFCurveNodePtr Character()
{
    YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    root->Add(Translation("t").release());
    root->FindOrCreate("weight", true);
    root->FindOrCreate("empty", false);
    root->Add(Translation("r").release());
    for (int i = 0; i < 3; ++i) {
        const auto offset = static_cast<float>(i);
        SetKeys(CurveOf(*root->Get(0), i), {{0.0, offset}, {1.0, offset + 10.0f}});
        SetKeys(CurveOf(*root->Get(3), i), {{0.0, 100.0f}, {0.5, 200.0f}, {1.0, offset}});
    }
    root->Get(1)->FCurveGet()->SetValue(0.25f);
    return root;
}

TEST(NodeEvaluate, WritesOneValueForEachCurveInOrder)
{
    const YFCurveNodePtr root = Character();
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{5, 6, 7, 0.25, 200, 200, 200}));
    EXPECT_EQ(ValuesAt(*root, 2.0), (Values{10, 11, 12, 0.25, 0, 1, 2}));
    EXPECT_EQ(ValuesAt(*root->Get(1), 0.5), (Values{0.25}));
    EXPECT_EQ(ValuesAt(*root->Get(2), 0.5), Values{});

    // A node with a curve does not look at its children.
    root->FCurveSet(YFCurveCreate());
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{0}));

    double value = 0.0;
    EXPECT_EQ(root->Evaluate(&value, Seconds(0.0)), &value + 1);
}

TEST(NodeEvaluate, AMutedNodeWritesNothing)
{
    const YFCurveNodePtr root = Character();
    TestLayer layer;
    layer.muted = true;
    root->Get(0)->SetLayerInfo({0, &layer});
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{0.25, 200, 200, 200}));
    root->Get(1)->SetLayerInfo({0, &layer});
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{200, 200, 200}));
    root->SetLayerInfo({0, &layer});
    double untouched = 42.0;
    EXPECT_EQ(root->Evaluate(&untouched, Seconds(0.5)), &untouched);
    EXPECT_EQ(untouched, 42.0);
    layer.muted = false;
    EXPECT_EQ(ValuesAt(*root, 0.5).size(), 7u);
}

// A data race here shows under the thread sanitizer.
TEST(NodeEvaluate, ThreadsEvaluateOneTreeWithTheirOwnHints)
{
    const YFCurveNodePtr root = Character();
    const auto sum = [&root](bool backwards) {
        double total = 0.0;
        int hint = 0;
        for (int i = 0; i <= 1000; ++i) {
            std::array<double, 7> values = {};
            const int step = backwards ? 1000 - i : i;
            root->Evaluate(values.data(), Seconds(step / 1000.0), &hint);
            for (const double value : values) total += value;
        }
        return total;
    };
    double forwards = 0.0;
    double backwards = 0.0;
    std::thread first([&] { forwards = sum(false); });
    std::thread second([&] { backwards = sum(true); });
    first.join();
    second.join();
    EXPECT_NEAR(forwards, backwards, 1e-6);
    EXPECT_GT(forwards, 0.0);
}

TEST(NodeKeys, CountsKeysOfChildrenAndLayers)
{
    const YFCurveNodePtr root = Character();
    EXPECT_EQ(root->KeyGetCount(), 15);
    EXPECT_EQ(root->Get(1)->KeyGetCount(), 0);

    YFCurveNode* layer = root->SingleLayerCopy();
    layer->SetLayerInfo({1, nullptr});
    layer->LayerSet(YFCurveNodeCreate("top", nullptr, 1, {2, nullptr}));
    layer->LayerGet()->CreateFCurve();
    SetKeys(*layer->LayerGet()->FCurveGet(), {{0.0, 1.0f}});
    root->LayerSet(layer);
    EXPECT_EQ(root->KeyGetCount(false), 15);
    EXPECT_EQ(root->KeyGetCount(true), 31);

    // Layers of children count only for the children themselves.
    YFCurveNode* child = root->Get(0);
    child->LayerSet(child->SingleLayerCopy());
    EXPECT_EQ(child->KeyGetCount(true), 12);
    EXPECT_EQ(root->KeyGetCount(true), 31);
}

TEST(NodeKeys, UpdateIdsAddUp)
{
    const YFCurveNodePtr root = Character();
    YFCurveNode* layer = root->SingleLayerCopy();
    layer->SetLayerInfo({1, nullptr});
    root->LayerSet(layer);
    std::uint32_t all = root->GetUpdateId();
    std::uint32_t values = root->GetValuesUpdateId();

    const auto expectSteps = [&](std::uint32_t stepAll, std::uint32_t stepValues) {
        EXPECT_EQ(root->GetUpdateId(), all + stepAll);
        EXPECT_EQ(root->GetValuesUpdateId(), values + stepValues);
        all = root->GetUpdateId();
        values = root->GetValuesUpdateId();
    };
    CurveOf(*root->Get(3), 1).KeySetValue(0, 5.0f);
    expectSteps(1, 1);
    CurveOf(*root->Get(0), 2).KeySetSelected(0, true);
    expectSteps(0x10000, 0);
    CurveOf(*layer->Get(0), 0).KeySetValue(0, 5.0f);
    expectSteps(0, 1);
    EXPECT_EQ(root->Get(1)->GetUpdateId(), root->Get(1)->FCurveGet()->GetUpdateId());
}

}  // namespace
