// A node as the sum of the curves below it: values, keys, locks and counters of updates.

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <set>
#include <thread>
#include <vector>

#include "nodes.h"
#include "tests/curve/random_curve.h"

using namespace nodetest;
using yfc::test::KeySeconds;

namespace {

using Values = std::vector<double>;

constexpr std::array kValues = {1.0, 2.0, 3.0, 4.0};

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

TEST(NodeEvaluate, WritesOneValueForEachCurveThatIsNotMute)
{
    const YFCurveNodePtr root = Character();
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{5, 6, 7, 0.25, 200, 200, 200}));
    EXPECT_EQ(ValuesAt(*root->Get(2), 0.5), Values{});
    TurnedLayer mute;
    mute.muted = true;
    root->Get(0)->SetLayerInfo({0, &mute});
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{0.25, 200, 200, 200}));
    root->Get(1)->SetLayerInfo({0, &mute});
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{200, 200, 200}));
    // A node with a curve does not look at its children.
    root->FCurveSet(YFCurveCreate());
    EXPECT_EQ(ValuesAt(*root, 0.5), (Values{0}));
    root->SetLayerInfo({0, &mute});
    EXPECT_EQ(ValuesAt(*root, 0.5), Values{});
}

// A data race here shows under the thread sanitizer.
TEST(NodeEvaluate, ThreadsEvaluateOneTree)
{
    const YFCurveNodePtr root = Character();
    const auto evaluate = [&root](int direction) {
        for (int i = -500; i <= 500; ++i) {
            const Values values = ValuesAt(*root, 0.5 + direction * 0.001 * i);
            ASSERT_NEAR(values[0], 5.0 + direction * 0.01 * i, 1e-5);
        }
    };
    std::thread other(evaluate, -1);
    evaluate(1);
    other.join();
}

TEST(NodeKeys, UpdateIdsAddUp)
{
    const YFCurveNodePtr root = Character();
    YFCurveNode* layer = root->SingleLayerCopy();
    layer->SetLayerInfo({1, nullptr});
    root->LayerSet(layer);
    const auto steps = [&, all = root->GetUpdateId(), values = root->GetValuesUpdateId()] {
        return std::pair(root->GetUpdateId() - all, root->GetValuesUpdateId() - values);
    };
    CurveOf(*root->Get(3), 1).KeySetValue(0, 5.0f);
    EXPECT_EQ(steps(), std::pair(1u, 1u));
    CurveOf(*root->Get(0), 2).KeySetSelected(0, true);
    EXPECT_EQ(steps(), std::pair(0x10001u, 1u));
    CurveOf(*layer->Get(0), 0).KeySetValue(0, 5.0f);
    EXPECT_EQ(steps(), std::pair(0x10001u, 2u));
}

TEST(NodeKeys, AreAddedToEveryCurveButLocksTakeNoValues)
{
    const YFCurveNodePtr node = Translation();
    EXPECT_EQ(node->KeyAdd(Seconds(1.0), kValues.data()), kValues.data() + 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(CurveOf(*node, i).KeyGetValue(0), static_cast<float>(i + 1));
        EXPECT_TRUE(CurveOf(*node, i).IsKeyInterpolationPureCubicAuto(0));
    }
    // Appending takes later times alone.
    for (int i = 0; i < 2; ++i) EXPECT_EQ(node->KeyAppend(Seconds(2.0), kValues.data()), kValues.data() + 3);
    EXPECT_EQ(node->KeyGetCount(), 6);
    TurnedLayer layer;
    layer.locked = true;
    node->SetLayerInfo({0, &layer});
    EXPECT_EQ(node->KeyAdd(Seconds(3.0), kValues.data()), kValues.data());
    EXPECT_EQ(node->KeyRecord(Seconds(3.0), kValues.data()), kValues.data());
    node->SetLayerInfo(YFCurveLayerInfo::Base);
    node->CreateLayerAt({2, nullptr});
    for (const bool lock : {true, false}) {
        node->SetLockedByProperty(lock);
        EXPECT_EQ(CurveOf(*node->LayerGet(), 2).IsLocked(), lock) << "its curves on all layers";
        EXPECT_EQ(node->KeyAppend(Seconds(3.0), kValues.data()) == kValues.data(), lock);
        EXPECT_EQ(node->DeleteKey(Seconds(2.0)), !lock);
    }
    EXPECT_EQ(node->KeyGetCount(), 6);
    // A locked child passes its value on.
    node->Get(0)->SetLockedByProperty(true);
    EXPECT_EQ(node->KeyAdd(Seconds(4.0), kValues.data()), kValues.data() + 2);
    EXPECT_EQ(CurveOf(*node, 1).KeyGetValue(2), 1.0f);
    CurveOf(*node, 1).SetLockedByLayer(true);
    EXPECT_TRUE(node->DeleteKey(Seconds(4.0)));
    EXPECT_FALSE(node->DeleteKey(Seconds(4.0)));
    EXPECT_EQ(node->KeyGetCount(), 7);
}

TEST(NodeKeys, RecordingKeepsFlatStretchesShort)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CreateFCurve();
    YFCurve& curve = *node->FCurveGet();
    const double flat = 5.0, other = 6.0;
    for (const double second : {0.0, 1.0, 2.0}) node->KeyRecord(Seconds(second), &flat);
    EXPECT_EQ(KeySeconds(curve), (Values{0.0, 1.0, 2.0}));
    yfc::test::EventLog log(curve);
    EXPECT_EQ(node->KeyRecord(Seconds(3.0), &flat), &flat + 1);
    EXPECT_EQ(log.Take().size(), 1u);
    node->KeyRecord(Seconds(3.0), &flat);
    node->KeyRecord(Seconds(2.5), &flat);
    EXPECT_EQ(KeySeconds(curve), (Values{0.0, 2.0, 3.0}));
    node->KeyRecord(Seconds(4.0), &other);
    node->KeyRecord(Seconds(5.0), &flat);
    EXPECT_EQ(KeySeconds(curve), (Values{0.0, 2.0, 3.0, 4.0, 5.0}));
    curve.KeyClear();
    for (const double value : {6.0, 5.0, 5.0, 5.0}) node->KeyRecord(Seconds(curve.KeyGetCount()), &value);
    EXPECT_EQ(curve.KeyGetCount(), 4) << "three keys that are not flat throughout";
}

// As in a plain set of the times.
TEST(NodeKeys, AreFoundAcrossCurvesAndLayers)
{
    RandomCurves random;
    for (int round = 0; round < 50 && !HasFailure(); ++round) {
        const YFCurveNodePtr node = Translation();
        std::set<YTime> times[2];  // of the base layer, of both
        int counts[3][2] = {};     // of a component, by layer
        for (const int id : {0, 1}) {
            for (int i = 0; i < 3; ++i) {
                YFCurve& curve = CurveOf(*(id == 0 ? node.get() : node->CreateLayerAt({1, nullptr})), i);
                for (int key = random.Below(3); key > 0; --key) curve.KeyAdd(YTime(random.Below(9)));
                counts[i][id] = curve.KeyGetCount();
                for (int key = 0; key < counts[i][id]; ++key)
                    for (int set = id; set < 2; ++set) times[set].insert(curve.KeyGetTime(key));
            }
        }
        for (const bool layers : {false, true}) {
            const std::set<YTime>& all = times[layers ? 1 : 0];
            for (YTime time(-1); time < YTime(10); time += YTime(1)) {
                const auto next = all.upper_bound(time);
                const auto from = all.lower_bound(time);
                EXPECT_EQ(node->IsKey(time, layers), all.contains(time));
                EXPECT_EQ(node->GetNextKeyTime(time, layers), next == all.end() ? YTIME_INFINITE : *next);
                EXPECT_EQ(node->GetPrevKeyTime(time, layers),
                          from == all.begin() ? YTIME_MINUS_INFINITE : *std::prev(from));
            }
            EXPECT_EQ(node->GetFirstKeyTime(layers), all.empty() ? YTIME_INFINITE : *all.begin());
            EXPECT_EQ(node->GetLastKeyTime(layers), all.empty() ? YTIME_MINUS_INFINITE : *all.rbegin());
            int count = 0;
            for (const auto& each : counts) count += each[0] + (layers ? each[1] : 0);
            EXPECT_EQ(node->KeyGetCount(layers), count);
        }
        for (int i = 0; i < 3; ++i) EXPECT_EQ(node->KeyGetCountOnChild(i), counts[i][0] + counts[i][1]);
    }
    EXPECT_EQ(Translation()->KeyGetCountOnChild(3), 0);
}

TEST(NodeSettings, OnlyThoseThatThereAreAreTakenAndLayersTurnAsTheirBase)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr, 2));
    for (const int order : {5, 6, -1}) node->SetRotationOrder(order);
    for (const int mode : {int{YFCURVE_LAYER_ROTATION_BY_LAYER}, 2})
        node->SetWeightRotationAccumulationMode(static_cast<eWeightRotationAccumulationMode>(mode));
    EXPECT_EQ(node->GetWeightRotationAccumulationMode(), YFCURVE_LAYER_ROTATION_BY_LAYER);
    YFCurveNode* layer = node->CloneTemplate({1, nullptr});
    node->SetUseQuaternion(true);
    node->LayerSet(layer);
    EXPECT_TRUE(layer->GetUseQuaternion());
    EXPECT_EQ(layer->GetRotationOrder(), 5);
    node->SetRotationOrder(2);
    EXPECT_EQ(layer->GetRotationOrder(), 2);
    for (const int type : {6, 4, 7, -1}) node->SetLayerType(type);
    EXPECT_EQ(node->GetLayerType(), 6);
}

}  // namespace
