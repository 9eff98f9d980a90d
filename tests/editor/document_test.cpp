#include "web/engine/document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "web/engine/dragging.h"
#include "web/engine/filtering.h"
#include "web/engine/keys.h"
#include "web/engine/layers.h"
#include "web/engine/tangents.h"
#include "web/engine/versions.h"
#include "yfcurve/yfcurveptr.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/scene_copy.h"

namespace {

using namespace editor;
using ymotion::Failure;

std::string Walk()
{
    return FileContent(ExampleWalk());
}

/// The document, and a scene on which the library alone does the same.
class RandomProgram
{
  public:
    /// Edits that both are told of in their own words.
    void Edit()
    {
        const Track track = document.Tracks()[Below(document.Tracks().size())];
        YFCurve& curve = Alone(track);
        if (curve.KeyGetCount() < 8) return;
        const std::vector<int> indices = SomeIndices(curve);
        const std::vector<TrackKeys> keys{{track.id, indices}};
        const auto value = static_cast<float>(Between(-40.0, 40.0));
        const YTime time = YTime::FromSeconds(Between(0.0, 3.0));
        switch (Below(10)) {
            case 0:
                InsertKeys(document, {track.id}, time);
                curve.KeyInsert(time);
                break;
            case 1:
                DeleteKeys(document, keys);
                curve.KeyRemove(indices);
                break;
            case 2:
                SetKeys(document, keys, {.value = value});
                for (const int index : indices) curve.KeySetValue(index, value);
                break;
            case 3:
                SetKeys(document, keys, {.interpolation = Interpolation::ConstantNext});
                for (const int index : indices) {
                    curve.KeySetInterpolation(index, YFCURVE_INTERP_CONSTANT);
                    curve.KeySetConstantMode(index, YFCURVE_CONSTANT_NEXT);
                }
                break;
            case 4:
                SetKeys(document, keys,
                        {.interpolation = Interpolation::Cubic,
                         .tangent = TangentMode::UserBreak,
                         .leftSlope = value});
                for (const int index : indices) {
                    curve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
                    curve.KeyTurnTo(index, YFCURVE_TANGENT_USER_BREAK);
                    curve.KeySetLeftDerivative(index, value);
                }
                break;
            case 5:
                SetKeys(document, keys,
                        {.interpolation = Interpolation::Cubic, .tension = 0.5f, .bias = -0.25f});
                for (const int index : indices) {
                    curve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
                    curve.KeyTurnTo(index, YFCURVE_TANGENT_TCB);
                    curve.KeySetDataFloat(index, YFCURVEKEY_TCB_TENSION, 0.5f);
                    curve.KeySetDataFloat(index, YFCURVEKEY_TCB_BIAS, -0.25f);
                }
                break;
            case 6:
                SetExtrapolation(document, {track.id}, [](Extrapolation& settings) {
                    settings.after = YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
                    settings.afterCount = 3;
                });
                curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
                curve.SetPostExtrapolationCount(3);
                break;
            case 7:
                DragBoth(track, indices, time, static_cast<double>(value));
                break;
            case 8:
                FilterBoth(track);
                break;
            default:
                LayerBoth(track, time, value);
        }
    }

    std::string AloneText() const { return ymotion::SceneText(mAlone, "ytalo"); }

    Document document{Walk(), "walk.bvh"};

  private:
    std::size_t Below(std::size_t count)
    {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(mRandom);
    }
    double Between(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(mRandom);
    }

    std::vector<int> SomeIndices(const YFCurve& curve)
    {
        std::vector<int> indices;
        for (int i = 1; i + 1 < curve.KeyGetCount(); ++i)
            if (Below(10) == 0) indices.push_back(i);
        if (indices.empty()) indices.push_back(1);
        return indices;
    }

    YFCurveNode& NodeAlone(const Track& track)
    {
        const ymotion::SelectedCurve selected = ymotion::SelectCurves(mAlone, {"/" + track.path}).front();
        return *ymotion::NodeOnLayer(selected, *mAlone.layers.Find(track.layer));
    }

    YFCurve& Alone(const Track& track)
    {
        return track.isWeight ? *mAlone.layers.Find(track.layer)->WeightCurve()
                              : *NodeAlone(track).FCurveGet();
    }

    void DragBoth(const Track& track, const std::vector<int>& indices, YTime time, double value)
    {
        SelectKeys(document, SelectionMode::Replace, {{track.id, indices}});
        Drag drag(document, {.copy = value > 20.0, .rippleTime = value < 0.0});
        drag.Stretch(3.0, 2.0, time, 1.0);
        drag.Offset(time, value, false);
        drag.End();
        if (track.isWeight) return;
        YFCurveManipulator manipulator;
        YFCurveNode& node = NodeAlone(track);
        manipulator.Add(&node);
        manipulator.MarkCurveNodeForManip(true, nullptr);
        for (const int index : indices) manipulator.MarkKeysForManip(true, &node, index, index);
        manipulator.SetRippleMoveX(value < 0.0);
        manipulator.BeginManipulation(kManipulationMove, value > 20.0);
        manipulator.Offset(time, value);
        manipulator.EndManipulation();
        manipulator.ClearMarkKeysForManip();
    }

    void FilterBoth(const Track& track)
    {
        if (track.isWeight) return;
        const std::vector<std::string> steps{"scale:Scale=1.25", "key-reducer:Precision=0.05"};
        ApplyFilters(document, {steps, document.PatternsOf({track.id}), track.layer});
        std::vector<ymotion::FilterStep> parsed = ymotion::ParseSteps(steps, &mAlone);
        ymotion::ApplySteps(mAlone, parsed, {"/" + track.path}, {}, 1, mAlone.layers.Find(track.layer));
    }

    /// A layer with a key, or a setting of the one that is there.
    void LayerBoth(const Track& track, YTime time, float value)
    {
        if (track.isWeight) return;
        if (mAlone.layers.Layers().size() > 2) return;
        const std::string name = "Layer " + std::to_string(mAlone.layers.HighestId());
        const int id = AddLayer(document, name, document.PatternsOf({track.id}));
        SetLayer(document, id, [&](LayerSettings& settings) {
            settings.muted = value > 0.0f;
            settings.mode = YFCURVE_LAYER_OVERRIDE;
        });
        SetLayerWeight(document, id, 0.5, time);
        ymotion::Layer& layer = *mAlone.layers.Add(name);
        layer.SetMute(value > 0.0f);
        layer.SetMode(YFCURVE_LAYER_OVERRIDE);
        ymotion::SelectCurves(mAlone, {"/" + track.path}).front().property->CreateLayerAt(layer.Info());
        layer.WeightCurve()->KeySetValue(layer.WeightCurve()->KeyAdd(time), 0.5f);
    }

    test::RandomEngine mRandom;
    Scene mAlone = ymotion::ReadSceneText(Walk(), "walk.bvh");
};

TEST(EditorEdits, AreThoseOfTheLibraryAndUndoBringsBackEveryBit)
{
    for (int program = 0; program < 12; ++program) {
        RandomProgram random;
        Document& document = random.document;
        std::vector<std::string> states{document.Save("ytalo")};
        for (int i = 0; i < 10; ++i) {
            random.Edit();
            const std::string now = document.Save("ytalo");
            ASSERT_EQ(now, random.AloneText()) << "after edit " << i;
            if (now != states.back()) states.push_back(now);
        }
        EXPECT_TRUE(document.IsDirty());
        for (const bool again : {true, false}) {
            auto next = states.rbegin() + 1;  // one edit may be several steps
            while (document.Undo())
                if (next != states.rend() && document.Save("ytalo") == *next) ++next;
            EXPECT_TRUE(next == states.rend()) << states.rend() - next << " states did not come back";
            EXPECT_EQ(document.Save("ytalo"), states.front());
            EXPECT_FALSE(document.IsDirty());
            if (!again) break;
            while (document.Redo()) {
            }
            ASSERT_EQ(document.Save("ytalo"), states.back());
        }
    }
}

TEST(EditorKeys, KeepTheirSlopesInOtherModesWhereTheseHaveRoom)
{
    YFCurve curve;
    for (const float value : {0.0f, 1.0f, 5.0f})
        curve.KeyAppendFast(YTime::FromSeconds(curve.KeyGetCount()), value);
    const std::pair<float, float> slopesByBias[] = {
        {0.0f, 2.5f}, {-0.5f, 3.25f}, {0.5f, 1.75f}, {5.0f, -5.0f}};
    for (const auto& [bias, slope] : slopesByBias) {
        SetKey(curve, 1, {.rightWeight = 0.5f, .bias = bias});
        SetKey(curve, 1, {.rightWeight = 0.25f});  // has the place of the bias
        EXPECT_EQ(TableOf(curve).bias[1], bias);
        EXPECT_FLOAT_EQ(curve.KeyGetRightDerivative(1), slope);
    }
    const std::tuple<KeyChange, float, float> changes[] = {
        {{.tangent = TangentMode::User}, -5.0f, -5.0f},
        {{.tangent = TangentMode::UserBreak, .leftSlope = 7.0f, .rightWeight = 0.5f}, 7.0f, -5.0f},
        {{.tangent = TangentMode::Tcb}, 2.5f, 2.5f},
        {{.tangent = TangentMode::Auto, .clamped = true}, 2.5f, 2.5f},
        {{.tangent = TangentMode::AutoBreak}, 2.5f, 2.5f}};
    for (const auto& [change, left, right] : changes) {
        SetKey(curve, 1, change);
        EXPECT_FLOAT_EQ(curve.KeyGetLeftDerivative(1), left);
        EXPECT_FLOAT_EQ(curve.KeyGetRightDerivative(1), right);
    }
    for (const Interpolation each : {Interpolation::Constant, Interpolation::Cubic})
        SetKey(curve, 1, {.interpolation = each});
    EXPECT_FLOAT_EQ(curve.KeyGetRightDerivative(1), 2.5f);
    EXPECT_TRUE(TableOf(curve).clamped[1]);
    SetKey(curve, 1, {.leftSlope = 1.0f});
    EXPECT_FLOAT_EQ(curve.KeyGetRightDerivative(1), 2.5f);
}

/// The document of the walk, and a curve of it.
class EditorDocument : public testing::Test
{
  protected:
    Document document{Walk(), "walk.bvh"};
    std::string before = document.Save("ytalo");
    const int track = document.Tracks()[5].id;
};

TEST_F(EditorDocument, DragsThatAreGivenUpLeaveNothing)
{
    SelectKeys(document, SelectionMode::Replace, {{track, {3, 4, 5}}});
    {
        Drag drag(document, {});
        drag.Offset(YTime::FromSeconds(0.2), 3.0, true);
        EXPECT_NE(document.Save("ytalo"), before);
        EXPECT_THROW(DeleteKeys(document, {{track, {1}}}), Failure);
        EXPECT_THROW(document.Undo(), Failure);
        EXPECT_THROW(document.EndStep(), Failure);
    }
    EXPECT_EQ(document.Save("ytalo"), before);
    ASSERT_EQ(document.SelectedKeys().size(), 1u);
    EXPECT_EQ(document.SelectedKeys().front().indices, (std::vector<int>{3, 4, 5}));
    DeleteKeys(document, document.SelectedKeys());
    ClearSelection(document);
    EXPECT_TRUE(document.Undo());
    ASSERT_EQ(document.SelectedKeys().size(), 1u);
    EXPECT_EQ(document.SelectedKeys().front().indices, (std::vector<int>{3, 4, 5}));
    document.CancelStep();            // of a step that the drag took along
    document.History().SetMemory(1);  // a step that cannot be kept is a change all the same
    const std::int64_t revision = document.Revision();
    DeleteKeys(document, {{track, {1}}});
    EXPECT_FALSE(document.Undo());
    EXPECT_TRUE(document.IsDirty() && document.Revision() > revision);
}

TEST_F(EditorDocument, TangentsOfAllSelectedKeysChangeByAsMuch)
{
    const int other = document.Tracks()[9].id;
    SetKeys(document, {{track, {10}}}, {.leftSlope = 2.0f});
    SetKeys(document, {{track, {20}}}, {.tangent = TangentMode::UserBreak, .leftSlope = 1.0f});
    SetKeys(document, {{track, {20}}}, {.rightSlope = -3.0f, .rightWeight = 0.5f});
    SetKeys(document, {{track, {30}}}, {.tangent = TangentMode::Auto});
    SetKeys(document, {{track, {40}}}, {.interpolation = Interpolation::Linear});
    SetKeys(document, {{other, {15}}}, {.leftSlope = 5.0f, .rightWeight = 0.8f});
    SelectKeys(document, SelectionMode::Replace, {{track, {10, 20, 30, 40}}, {other, {15}}});
    before = document.Save("ytalo");
    const KeyTable old = TableOf(document.CurveOf(track));
    const TangentHandle handle{track, 10, Side::Right};
    {
        TangentDrag drag(document, handle);
        drag.MoveTo({.slope = 40.0, .weight = 0.9, .givesWeights = true, .breaks = true});
        EXPECT_NE(document.Save("ytalo"), before);
        EXPECT_THROW(DeleteKeys(document, {{track, {1}}}), Failure);
    }
    EXPECT_EQ(document.Save("ytalo"), before);
    const int steps = document.History().GetUndoCount();
    TangentDrag drag(document, handle);
    drag.MoveTo({.slope = -100.0, .weight = 0.9});
    drag.MoveTo({.slope = 7.0, .weight = 0.5});  // from the beginning again
    drag.End();
    EXPECT_EQ(document.History().GetUndoCount(), steps + 1);
    const KeyTable table = TableOf(document.CurveOf(track));
    const KeyTable others = TableOf(document.CurveOf(other));
    const auto mode = [](const KeyTable& in, std::size_t key) {
        return static_cast<TangentMode>(in.tangent[key]);
    };
    const float risen = old.rightSlope[30] + 5.0f;
    const std::tuple<const KeyTable*, std::size_t, TangentMode, float, float, float> expected[] = {
        {&table, 10, TangentMode::User, 7.0f, 7.0f, 1.0f / 3.0f},  // has no weight of its own
        {&table, 20, TangentMode::UserBreak, 1.0f, 2.0f, 0.5f + 1.0f / 6.0f},
        {&table, 30, TangentMode::User, risen, risen, 1.0f / 3.0f},
        {&table, 40, mode(old, 40), old.leftSlope[40], old.rightSlope[40], 1.0f / 3.0f},
        {&others, 15, TangentMode::User, 10.0f, 10.0f, 0.8f + 1.0f / 6.0f}};
    for (const auto& [in, key, tangent, left, right, weight] : expected) {
        EXPECT_EQ(mode(*in, key), tangent) << key;
        EXPECT_NEAR(in->leftSlope[key], left, 1e-4) << key;
        EXPECT_NEAR(in->rightSlope[key], right, 1e-4) << key;
        EXPECT_NEAR(in->rightWeight[key], weight, 1e-3) << key;
    }
    EXPECT_TRUE(document.Undo());
    EXPECT_EQ(document.Save("ytalo"), before);
    SetLayer(document, 0, [](LayerSettings& settings) { settings.locked = true; });
    EXPECT_THROW(TangentDrag(document, handle), Failure);
}

// What they do there is shown by filters on one layer and by the page.
TEST_F(EditorDocument, FiltersAreRefusedOnLayersThatCannotHaveThem)
{
    const int up = AddLayer(document, "Up", {"LeftFoot/Lcl Rotation"});
    ApplyFilters(document, {{"euler-to-quat"}, {"LeftFoot"}});
    before = document.Save("ytalo");
    for (const FilterRequest& refused :
         {FilterRequest{{"trs:T=1,0,0"}, {}, up}, FilterRequest{{"offset:Offset=1"}, {"Hips"}, up},
          FilterRequest{{"offset:Offset=1"}, {"LeftFoot"}, up},
          FilterRequest{{"offset:Offset=1"}, {}, up + 1}})
        EXPECT_THROW(ApplyFilters(document, refused), Failure) << refused.steps.front();
    EXPECT_EQ(document.Save("ytalo"), before);
}

TEST_F(EditorDocument, StepsThatAreCancelledAndRefusedEditsLeaveNothing)
{
    document.BeginStep("Two edits");
    DeleteKeys(document, {{track, {1}}});
    const int layer = AddLayer(document, "Up", document.PatternsOf({track}));
    document.CancelStep();
    EXPECT_EQ(document.Save("ytalo"), before);
    const std::vector<TrackKeys> none{{track, {1'000'000}}}, one{{track, {1}}};
    const std::function<void()> refused[] = {
        [&] { SetKeys(document, none, {.value = 1.0f}); },
        [&] { SetKeys(document, one, {.value = std::numeric_limits<float>::quiet_NaN()}); },
        [&] { SetKeyTime(document, track, 1, YTIME_ZERO); },
        [&] { PasteKeys(document, "{}", YTIME_ZERO, {}); },
        [&] { AddLayer(document, "BaseAnimation", {}); },
        [&] { RemoveLayer(document, 0); },
        [&] { SetLayer(document, layer, [](LayerSettings& settings) { settings.muted = true; }); },
        [&] { SetLayer(document, 0, [](LayerSettings& settings) { settings.name.clear(); }); },
        [&] { SetLayerWeight(document, 0, 0.5, std::nullopt); },
        [&] { MergeLayers(document, {}); },
        [&] { ApplyFilters(document, {{"no-such-filter"}}); },
        [&] { ApplyFilters(document, {{"butterworth:CutOffFreq=1e9"}}); },
        [&] {
            ApplyFilters(document, {{"unroll"}, {}, layer});
        },
        [&] { SetFrameRate(document, "many"); },
        [&] { document.SetColor(track, "red"); },
        [&] { document.SetColor(track, "#0x123"); },
    };
    for (const auto& act : refused) EXPECT_THROW(act(), Failure) << &act - refused;
    const auto lock = [](LayerSettings& settings) { settings.locked = true; };
    SetLayer(document, 0, lock);
    SetLayer(document, 0, lock);  // is locked already: no second step
    EXPECT_THROW(DeleteKeys(document, {{track, {1}}}), Failure);
    EXPECT_TRUE(document.Undo());
    EXPECT_EQ(document.Save("ytalo"), before);
    EXPECT_EQ(document.History().GetUndoCount(), 0);
}

TEST_F(EditorDocument, PastedKeysPlayAsTheyDidWhereTheyWereCopied)
{
    const Track from = document.Tracks()[3];
    const Track to = document.Tracks()[10];
    std::vector<int> run;
    for (int i = 10; i <= 20; ++i) run.push_back(i);
    const std::string json = CopyKeys(document, {{from.id, run}});
    const YTime first = from.Curve().KeyGetTime(10);
    const YTime offset = YTime::FromSeconds(0.5);
    PasteKeys(document, json, first + offset, {to.id});
    // Automatic tangents go by the neighbours, which are others at both ends.
    for (YTime time = from.Curve().KeyGetTime(11); time <= from.Curve().KeyGetTime(19);
         time = time + YTime::FromSeconds(0.001)) {
        EXPECT_FLOAT_EQ(to.Curve().Evaluate(time + offset), from.Curve().Evaluate(time));
    }
    const std::vector<TrackKeys> selected = document.SelectedKeys();
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(selected.front().track, to.id);
    EXPECT_EQ(selected.front().indices.size(), run.size());
    // By name, on top of where it came from: nothing is different.
    before = document.Save("ytalo");
    PasteKeys(document, json, first, {});
    EXPECT_EQ(document.Save("ytalo"), before);
    // Left tangents are stored with the key before.
    const KeyChange broken{.interpolation = Interpolation::Cubic, .tangent = TangentMode::UserBreak};
    SetKeys(document, {{from.id, {0, 1, 3}}, {to.id, {0, 1, 2, 3, 4}}}, broken);
    SetKeys(document, {{from.id, {1}}}, {.leftSlope = 7.0f, .leftWeight = 0.5f});
    SetKeys(document, {{to.id, {4}}}, {.leftSlope = 41.0f});
    PasteKeys(document, CopyKeys(document, {{from.id, {1, 3}}}), to.Curve().KeyGetTime(1), {to.id});
    EXPECT_EQ(to.Curve().KeyGetLeftDerivative(1), 7.0f);
    EXPECT_EQ(to.Curve().KeyGetLeftTangeantWeight(1), from.Curve().KeyGetLeftTangeantWeight(1));
    EXPECT_EQ(to.Curve().KeyGetLeftDerivative(3), 41.0f);
}

TEST_F(EditorDocument, LayersCanBeMergedAndBakedAndComeBack)
{
    const std::string path = document.TrackOf(track).path;
    const int up = AddLayer(document, "Up", document.PatternsOf({track}));
    const auto onUp = [&](const Track& each) { return each.layer == up && each.path == path; };
    const auto found = std::ranges::find_if(document.Tracks(), onUp);
    ASSERT_NE(found, document.Tracks().end());
    const int id = found->id;
    AddKey(document, id, YTIME_ZERO, 10.0f);
    BakeIntoLayer(document, {.target = up, .nodes = document.PatternsOf({track})});
    const std::string baked = document.Save("ytalo");
    EXPECT_FALSE(MergeLayers(document, {}).empty());
    EXPECT_EQ(document.GetScene().layers.Layers().size(), 1u);
    EXPECT_THROW(document.TrackOf(id), Failure);
    const std::string merged = document.Save("ytalo");
    RemoveLayer(document, AddLayer(document, "Empty", {}));
    for (int steps = 3; steps > 0; --steps) ASSERT_TRUE(document.Undo());
    EXPECT_EQ(document.Save("ytalo"), baked);
    EXPECT_EQ(document.TrackOf(id).path, path);
    while (document.Undo()) {
    }
    EXPECT_EQ(document.Save("ytalo"), before);
    for (int steps = 4; steps > 0; --steps) ASSERT_TRUE(document.Redo());
    EXPECT_EQ(document.Save("ytalo"), merged);
}

TEST_F(EditorDocument, KeysSnapToTheFramesNextToThem)
{
    SetFrameRate(document, "10");
    const YFCurve& curve = document.CurveOf(track);
    std::vector<int> all;
    for (int i = 0; i < curve.KeyGetCount(); ++i) all.push_back(i);
    const YTime frame = YTime::FromSeconds(0.1);
    const YTime last = curve.KeyGetTime(curve.KeyGetCount() - 1);
    std::map<std::int64_t, float> lasts;  // half-way belongs to the frame before
    for (const int i : all)
        lasts[(curve.KeyGetTime(i).Get() + frame.Get() / 2 - 1) / frame.Get()] = curve.KeyGetValue(i);
    SnapKeysToFrames(document, {{track, all}});
    EXPECT_EQ(curve.KeyGetCount(), static_cast<int>((last.Get() + frame.Get() / 2) / frame.Get()) + 1);
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        EXPECT_EQ(curve.KeyGetTime(i).Get(), i * frame.Get());
        EXPECT_EQ(curve.KeyGetValue(i), lasts.at(i));
    }
    EXPECT_EQ(NearestFrame(YTime::FromSeconds(-0.26), document.GetScene().rate), -3);
}

TEST_F(EditorDocument, ColoursAreTheCurvesOwnOrThoseOfTheirComponent)
{
    const auto color = [&] { return document.ColorOf(document.TrackOf(track)); };
    const std::string ofComponent = color();
    EXPECT_NE(ofComponent, document.ColorOf(document.Tracks()[4]));
    const std::pair<const char*, const char*> given[] = {{"#12aBf0", "#12abf0"}, {"#FFFFFF", "#fffffe"}};
    for (const auto& [written, shown] : given) {
        document.SetColor(track, written);
        EXPECT_EQ(color(), shown);
        EXPECT_TRUE(document.Undo());
        EXPECT_EQ(color(), ofComponent);
    }
    const float none[] = {0.5f, std::numeric_limits<float>::quiet_NaN(), 0.5f};
    document.CurveOf(track).SetColor(none);
    EXPECT_EQ(color(), ofComponent);
}

TEST_F(EditorDocument, VersionsHoldTheSameCurvesAndTheJointsAsTheyMove)
{
    SceneVersion current(document.GetScene());
    SceneVersion original(document.Original());
    const int up = AddLayer(document, "Up", document.PatternsOf({track}));
    const YTime time = YTime::FromSeconds(0.5);
    const std::vector<float> places = original.Positions(time);
    EXPECT_EQ(places.size(), 3 * document.GetScene().skeleton.joints.size());
    EXPECT_EQ(current.Positions(time), places);
    std::vector<int> all(static_cast<std::size_t>(document.CurveOf(track).KeyGetCount()));
    std::iota(all.begin(), all.end(), 0);
    SetKeys(document, {{track, all}}, {.value = 7.0f});
    EXPECT_EQ(current.Positions(time), places);  // not told yet
    current.Changed(document.PlayedState());
    EXPECT_NE(current.Positions(time), places);
    EXPECT_EQ(original.Positions(time), places);
    const std::vector<float> trail = original.Trail(2, {YTIME_ZERO, time});
    ASSERT_EQ(trail.size(), 6u);
    EXPECT_TRUE(std::equal(trail.begin() + 3, trail.end(), places.begin() + 6));
    for (const Track& each : document.Tracks()) {
        const YFCurve* there = original.CurveOf(each);
        const auto base = original.BaseOf(each);
        ASSERT_EQ(there == nullptr, each.layer == up);
        ASSERT_EQ(base ? ymotion::PathOf(*base->node) : std::string(),
                  each.isWeight ? std::string() : each.path);
        const bool isEdited = there != nullptr && there->Evaluate(time) != each.Curve().Evaluate(time);
        EXPECT_EQ(isEdited, each.id == track);
    }
}

TEST(EditorTracks, OfOnePathAreToldApart)
{
    std::string text = Walk();
    const std::string right = "JOINT RightUpLeg";
    text.replace(text.find(right), right.size(), "JOINT LeftUpLeg");
    Document document(text, "walk.bvh");
    SceneVersion original(document.Original());
    std::map<std::string, int> counts;
    std::map<int, std::string> paths;  // by track
    for (const Track& track : document.Tracks()) {
        EXPECT_EQ(track.place, counts[track.path]++) << track.path;
        EXPECT_TRUE(paths.emplace(track.id, track.path).second) << track.path;
        ASSERT_NE(original.CurveOf(track), nullptr);
        EXPECT_EQ(original.CurveOf(track)->KeyGetValue(20), track.Curve().KeyGetValue(20)) << track.path;
    }
    EXPECT_EQ(counts.at("Hips/LeftUpLeg/Lcl Rotation/X"), 2);
    const auto isFirst = [](const Track& track) { return track.path == "Hips/LeftUpLeg/Lcl Rotation/X"; };
    const Track track = *std::ranges::find_if(document.Tracks(), isFirst);
    const auto chosen = ymotion::SelectCurves(document.GetScene(), document.PatternsOf({track.id}));
    ASSERT_EQ(chosen.size(), 1u);
    EXPECT_EQ(chosen.front().node, track.node);
}

}  // namespace
