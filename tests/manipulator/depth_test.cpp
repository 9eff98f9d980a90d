#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/node/nodes.h"
#include "tests/ybaselib/talo_testing.h"
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

constexpr int kLevels = 200'000;
constexpr int kLayers = 100'000;

// Groups within groups; below the last one a translation, and beside it a curve of its own.
YFCurveNodePtr DeepTree(int levels = kLevels)
{
    YFCurveNodePtr top(YFCurveNodeCreate("top", nullptr, 0));
    YFCurveNode* bottom = top.get();
    for (int i = 1; i < levels; ++i) {
        YFCurveNode* const next = YFCurveNodeCreate("group", nullptr, 0);
        EXPECT_EQ(bottom->Add(next), 0);
        bottom = next;
    }
    bottom->Add(Translation().release());
    YFCurveNode* const single = bottom->FindOrCreate("single");
    SetKeys(*single->FCurveGet(), {{0.0, 10.0f}, {4.0, 30.0f}});
    for (int i = 0; i < 3; ++i) {
        SetKeys(CurveOf(*bottom->Get(0), i), {{0.0, 1.0f}, {4.0, static_cast<float>(i)}});
    }
    return top;
}

YFCurveNode& Bottom(const YFCurveNode& top)
{
    return *top.FindRecursive("translation");
}

using Values = std::vector<double>;

template<class Evaluate>
Values ValuesOf(int count, const Evaluate& evaluate)
{
    Values values(static_cast<std::size_t>(count) + 1, -1.0);
    values.resize(static_cast<std::size_t>(evaluate(values.data()) - values.data()));
    return values;
}

Values GeneralValues(YFCurveNode& node, bool withCandidates = false)
{
    return ValuesOf(4, [&](double* values) {
        return node.GeneralEvaluate(values, Seconds(2.0), nullptr, withCandidates);
    });
}

// At 2 s, halfway between the keys.
const Values kMiddle = {0.5, 1.0, 1.5, 20.0};

}  // namespace

TEST(Depth, TreesAreEvaluatedSearchedKeyedAndHoldCandidates)
{
    const YFCurveNodePtr top = DeepTree();
    YFCurveNode& bottom = Bottom(*top);
    EXPECT_EQ(top->GetCurveCount(), 4);
    EXPECT_EQ(ValuesAt(*top, 2.0), kMiddle);
    EXPECT_EQ(GeneralValues(*top), kMiddle);
    EXPECT_TRUE(top->IsChild(&bottom, true));
    EXPECT_EQ(top->FindRecursive(YDataType::Get(eDataType::LocalTranslation)), &bottom);
    EXPECT_TRUE(top->IsKey(Seconds(4.0)) && top->GetLastKeyTime(true) == Seconds(4.0));
    EXPECT_TRUE(top->FCurveCreated());
    EXPECT_EQ(top->GetValuesUpdateId(), top->GetUpdateId());
    const Values held = {7.0, 8.0, 9.0, 11.0};
    EXPECT_EQ(top->KeyAdd(Seconds(2.0), held.data()), held.data() + 4);
    EXPECT_EQ(GeneralValues(*top), held);
    EXPECT_TRUE(top->DeleteKey(Seconds(2.0)));
    EXPECT_EQ(top->KeyGetCount(true), 8);

    EXPECT_EQ(top->CandidateSet(Seconds(2.0), held.data()), held.data() + 4);
    YFCurveNodeCandidateState state;
    EXPECT_TRUE(top->GetCandidateState(state));
    top->CandidateClear();
    EXPECT_EQ(GeneralValues(*top, true), kMiddle);
    top->SetCandidateState(state);
    EXPECT_EQ(GeneralValues(*top, true), held);
    int lines = 0;
    state.Dump([](const char*, void* count) { ++*static_cast<int*>(count); }, &lines);
    EXPECT_EQ(lines, kLevels + 5);
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
    using Copying = bool (*)(YFCurveNode & to, YFCurveNode & from);
    for (const Copying copies :
         {Copying([](YFCurveNode&to, YFCurveNode&from) { return to.CopyFrom(&from); }),
          Copying([](YFCurveNode&to, YFCurveNode&from) { return to.Replace(&from); })}) {
        curve.KeySetValue(0, 3.0f);
        EXPECT_TRUE(copies(*copy, *top));
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
    const float before = CurveOf(bottom, 0).KeyGetValue(0);
    EXPECT_FALSE(offset.Apply(*top, true));
    EXPECT_STREQ(offset.GetLastErrorString(), "YFCurveFilter, The tree has more than 1024 levels.");
    EXPECT_EQ(CurveOf(bottom, 0).KeyGetValue(0), before);
    EXPECT_TRUE(offset.Apply(*bottom.GetParent(), true));
    EXPECT_EQ(CurveOf(bottom, 0).KeyGetValue(0), before + 1.0f);

    YFCurveManipulator manipulator;
    manipulator.Add(top.get());
    EXPECT_EQ(manipulator.GetNodeCount(), 4);
    manipulator.Remove(top.get());
    EXPECT_EQ(manipulator.GetNodeCount(), 0);
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

TEST(Depth, FilesHoldAThousandLevelsAndRefuseMore)
{
    const auto store = [](const YFCurveNode& node, std::string& text) {
        TextOutput output;
        YTalo talo;
        talo.OutputCreate(&output);
        node.TaloStore(&talo);
        const bool stored = talo.FileClose();
        text = stored ? output.text : talo.GetError().GetLastErrorString();
        return stored;
    };
    std::string text;
    EXPECT_FALSE(store(*DeepTree(2000), text));
    EXPECT_EQ(text, "more than 1024 blocks within blocks");

    const YFCurveNodePtr tree = DeepTree(500);
    YFCurveNode* last = &Bottom(*tree);
    for (int id = 1; id <= 500; ++id) last = last->CreateLayerAt({id, nullptr});
    ASSERT_TRUE(store(*tree, text));
    YTalo talo;
    ASSERT_TRUE(talo.TextOpen(text.data(), text.size()));
    const YFCurveNodePtr read(YFCurveNodeCreate(&talo, false));
    ASSERT_TRUE(talo.FileClose() && read);
    EXPECT_EQ(GeneralValues(*read), kMiddle);
    EXPECT_EQ(Bottom(*read).LayerGet(500)->GetCurveCount(), 3);
    std::string again;
    EXPECT_TRUE(store(*read, again));
    EXPECT_EQ(again, text);
}
