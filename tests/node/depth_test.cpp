#include <gtest/gtest.h>

#include <vector>

#include "tests/node/nodes.h"
#include "yfcurve/yfcurvecolormanager.h"
#include "yfcurve/yfcurvefilteroffset.h"
#include "yfcurve/yfcurvemanipulator.h"
#include "yfcurve/yfcurvemergelayers.h"
#include "yfcurve/yfcurveplot.h"
#include "yfcurve/yfcurvetangentchecks.h"
#include "yfcurve/yfcurveutils.h"

using namespace nodetest;

// Trees far deeper, and chains of layers far longer, than a stack of calls could follow. What is expected of
// an operation is what it makes of the one property at the bottom.

namespace {

constexpr int kLevels = 100'000;
constexpr int kLayers = 100'000;

// Groups within groups; below the last one a translation.
YFCurveNodePtr DeepTree(int levels = kLevels)
{
    YFCurveNodePtr top(YFCurveNodeCreate("top", nullptr, 0));
    YFCurveNode* bottom = top.get();
    for (int i = 1; i < levels; ++i) {
        bottom->Add(YFCurveNodeCreate("group", nullptr, 0));
        bottom = bottom->Get(0);
    }
    bottom->Add(Translation().release());
    for (int i = 0; i < 3; ++i)
        SetKeys(CurveOf(*bottom->Get(0), i), {{0.0, 1.0f}, {4.0, static_cast<float>(i)}});
    return top;
}

YFCurveNode& Bottom(const YFCurveNode& top)
{
    return *top.FindRecursive("translation");
}

using Values = std::vector<double>;

Values GeneralValues(YFCurveNode& node, bool withCandidates = false)
{
    Values values(static_cast<std::size_t>(node.GetCurveCount()));
    EXPECT_EQ(node.GeneralEvaluate(values.data(), Seconds(2.0), nullptr, withCandidates),
              values.data() + values.size());
    return values;
}

// At 2 s, halfway between the keys.
const Values kMiddle = {0.5, 1.0, 1.5};

}  // namespace

TEST(Depth, TreesAreEvaluatedSearchedKeyedAndHoldCandidates)
{
    const YFCurveNodePtr top = DeepTree();
    YFCurveNode& bottom = Bottom(*top);
    EXPECT_EQ(ValuesAt(*top, 2.0), kMiddle);
    EXPECT_EQ(GeneralValues(*top), kMiddle);
    EXPECT_TRUE(top->IsChild(&bottom, true));
    EXPECT_EQ(top->FindRecursive(YDataType::Get(eDataType::LocalTranslation)), &bottom);
    EXPECT_TRUE(top->IsKey(Seconds(4.0)) && top->GetLastKeyTime(true) == Seconds(4.0));
    EXPECT_TRUE(top->FCurveCreated() && top->GetValuesUpdateId() == top->GetUpdateId());
    const Values held = {7.0, 8.0, 9.0};
    EXPECT_EQ(top->KeyAdd(Seconds(2.0), held.data()), held.data() + 3);
    EXPECT_EQ(GeneralValues(*top), held);
    EXPECT_TRUE(top->DeleteKey(Seconds(2.0)));
    EXPECT_EQ(top->KeyGetCount(true), 6);

    EXPECT_EQ(top->CandidateSet(Seconds(2.0), held.data()), held.data() + 3);
    YFCurveNodeCandidateState state;
    EXPECT_TRUE(top->GetCandidateState(state));
    top->CandidateClear();
    EXPECT_EQ(GeneralValues(*top, true), kMiddle);
    top->SetCandidateState(state);
    EXPECT_EQ(GeneralValues(*top, true), held);
    int lines = 0;
    state.Dump([](const char*, void* count) { ++*static_cast<int*>(count); }, &lines);
    EXPECT_EQ(lines, kLevels + 4);
    top->CandidateKey();
    EXPECT_EQ(GeneralValues(*top), held);
    top->SetLockedByProperty(true);
    EXPECT_TRUE(bottom.Get(2)->IsLockedByProperty());
}

TEST(Depth, TreesAreCopiedAndCompared)
{
    const YFCurveNodePtr top = DeepTree();
    const YFCurveNodePtr copy(top->Clone());
    YFCurve& curve = CurveOf(Bottom(*copy), 0);
    for (const bool replaces : {false, true}) {
        curve.KeySetValue(0, 3.0f);
        EXPECT_TRUE(replaces ? copy->Replace(top.get()) : copy->CopyFrom(top.get()));
        EXPECT_EQ(GeneralValues(*copy), kMiddle);
    }
    YFCurveNode* const layer = copy->CreateLayerAt({1, nullptr});
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(Bottom(*layer).ObjectLayerGet(), &Bottom(*copy));
    EXPECT_EQ(GeneralValues(*copy), kMiddle) << "a new layer adds nothing";
    copy->RemoveLayer(1, true);
    EXPECT_EQ(Bottom(*copy).LayerGet(), nullptr);
    copy->Get(0)->Add(YFCurveNodeCreate("other", nullptr, 0));
    EXPECT_FALSE(copy->CopyFrom(top.get()));
}

TEST(Depth, ToolsReachTheBottomOfATreeOrRefuseIt)
{
    const YFCurveNodePtr top = DeepTree();
    YFCurveNode& bottom = Bottom(*top);
    YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, top.get());
    EXPECT_TRUE(YFCURVE_IsAllSameInterpolation(top.get(), YFCURVE_INTERP_CUBIC, true));
    const YFCurveNodePtr copy(top->Clone());
    SetKeys(CurveOf(Bottom(*copy), 0), {{0.0, 0.0f}, {1.0, 400.0f}, {4.0, 400.0f}});
    YFCURVE_BreakTangents(top.get(), copy.get(), YTIME_ONE_SECOND, 10.0);
    EXPECT_EQ(CurveOf(bottom, 0).KeyGetTangeantMode(0), unsigned{YFCURVE_TANGENT_USER_BREAK});
    EXPECT_GT(YFCURVE_IncreaseFidelity(top.get(), copy.get(), 0.01), 0);
    YFCurveColorManager().ApplyTo(top.get());
    Bottom(*copy).CreateLayerAt({1, nullptr});
    EXPECT_TRUE(YFCURVE_MergeLayers(copy.get()));
    EXPECT_EQ(Bottom(*copy).LayerGet(), nullptr);
    EXPECT_TRUE(YFCurve_PlotInLayers(copy.get(), YFCurveLayerInfo::Base, Seconds(0.0), Seconds(1.0)));

    YFCurveFilterOffset offset;
    offset.SetOffset(1.0);
    EXPECT_FALSE(offset.Apply(*top, true));
    EXPECT_TRUE(offset.Apply(*bottom.GetParent(), true));

    YFCurveManipulator manipulator;
    manipulator.Add(top.get());
    EXPECT_EQ(manipulator.GetNodeCount(), 3);
}

TEST(Depth, ChainsOfLayersAreEvaluatedCopiedAndEnded)
{
    // A layer on every id, each of which adds one.
    const YFCurveNodePtr base(YFCurveNodeCreate("value", nullptr, 1));
    base->CreateFCurve();
    YFCurveNode* last = base.get();
    for (int id = 1; id <= kLayers; ++id) {
        YFCurveNode* const layer = YFCurveNodeCreate("value", nullptr, 1, {id, nullptr});
        layer->CreateFCurve();
        SetKeys(*layer->FCurveGet(), {{0.0, 1.0f}});
        last->LayerSet(layer);
        last = layer;
    }
    EXPECT_EQ(GeneralValues(*base), Values{kLayers});
    EXPECT_EQ(base->KeyGetCount(true), kLayers);
    double share = 0.0;
    const double total = kLayers + 5.0;
    base->ComputeCandidateForLayer(&share, &total, YTIME_ZERO, 0);
    EXPECT_EQ(share, 5.0);
    base->CandidateSetSpecificLayer(YTIME_ZERO, &share, {kLayers / 2, nullptr});
    YFCurveNodeCandidateState state;
    EXPECT_TRUE(base->GetCandidateState(state));
    base->CandidateClear();
    base->SetCandidateState(state);
    EXPECT_TRUE(base->LayerGet(kLayers / 2)->FCurveGet()->IsCandidate());
    const YFCurveNodePtr copy(base->Clone());
    EXPECT_EQ(GeneralValues(*copy), Values{kLayers});
    EXPECT_TRUE(copy->CopyFrom(base.get()));
    copy->RemoveLayer(kLayers, true);
    EXPECT_EQ(GeneralValues(*copy), Values{kLayers - 1.0});
    EXPECT_TRUE(YFCURVE_IsAllSameInterpolation(base.get(), YFCURVE_INTERP_LINEAR, true));
}

TEST(Depth, ChainsOfTimeWarpsAreEvaluatedAndEnded)
{
    // Each turns the time around, 2 s being the middle.
    const YFCurveNodePtr top(YFCurveNodeCreate("value", nullptr, 1));
    top->CreateFCurve();
    SetKeys(*top->FCurveGet(), {{0.0, 0.0f}, {8.0, 8.0f}});
    YFCurveNode* warped = top.get();
    for (int i = 0; i < kLayers; ++i) {
        YFCurveNode* const warp = LinearWarp(4.0f, 0.0f);
        warped->TimeWarpSet(warp);
        warped = warp;
    }
    EXPECT_EQ(GeneralValues(*top), Values{2.0});
    warped->TimeWarpSet(top.get());
    EXPECT_EQ(warped->TimeWarpGet(), nullptr);
}
