#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "failing_heap.h"
#include "tests/curve/curve_fixtures.h"
#include "tests/filters/made_filter.h"
#include "tests/manipulator/manipulated.h"
#include "tests/node/nodes.h"
#include "tests/ybaselib/talo_testing.h"
#include "ybaselib/all.h"
#include "yfcurve/all.h"

/// \file
/// Every operation that changes something, at every one of its allocations.

using manipulatortest::Bits;
using nodetest::CurveOf;
using nodetest::Seconds;
using test::FailingHeap;
using test::Shortage;

namespace {

/// What an operation said: whether it did what it was asked to. One that returns nothing cannot say.
using Said = std::optional<bool>;

// The process-wide pools are emptied before every operation, or else most would find what they need there.
class EmptyPools
{
  public:
    EmptyPools()
    {
        mRecords->KeySetOptimizeEnable(false);
        mRecords->ResizeKeyBuffer(4096, false);
        YFCURVE_SetFCurveRecordMemoryBlockCount(0);
        YFCurveKey key;
        for (int i = 0, added = 0; i < 4096 && added >= 0; ++i) {
            const FailingHeap none(0);
            key.Set(YTime(i), 1.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, static_cast<float>(i));
            added = mRecords->KeyAdd(YTime(i), key);
        }
        for (bool isFull = false; !isFull;) {
            mBlocks.emplace_back(YFCurveCreate())->ResizeKeyBuffer(1, false);
            const FailingHeap none(0);
            for (int keys = 65; keys < 4096 && !isFull; keys += 64) {
                const std::uint32_t bytes = GetRecordingMemory();
                mBlocks.back()->ResizeKeyBuffer(keys, false);
                isFull = GetRecordingMemory() == bytes;
            }
        }
    }
    ~EmptyPools() { YFCURVE_SetFCurveRecordMemoryBlockCount(1); }

  private:
    YFCurvePtr mRecords{YFCurveCreate()};
    std::vector<YFCurvePtr> mBlocks;
};

// --- What is operated on -------------------------------------------------------------------------------

/// Keys of all kinds, as many as fill a block exactly, some with weights, some selected and marked.
YFCurvePtr MixedCurve(double offset = 0.0)
{
    YFCurvePtr curve(YFCurveCreate());
    for (int i = 0; i < 64; ++i) {
        const float value = static_cast<float>((i * 37) % 11) + static_cast<float>(offset);
        YFCurveKey key = yfc::test::AutoKey(value);
        if (i % 5 == 1) key = yfc::test::UserKey(value, 2.0f, -1.0f);
        if (i % 5 == 2 || i % 5 == 3) key = yfc::test::TCBKey(value, 0.2f, 0.3f, 0.1f);
        if (i % 9 == 4) key = yfc::test::LinearKey(value);
        curve->KeyAdd(Seconds(i), key);
    }
    curve->KeySetRightTangeantWeight(1, 0.9f);
    curve->KeySetLeftTangeantWeight(2, 0.95f);
    for (int i = 10; i < 14; ++i) curve->KeySetSelected(i, true);
    curve->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    curve->SetPostExtrapolationCount(2);
    curve->KeyShrink();
    return curve;
}

void Describe(const YFCurve& curve, std::string& text)
{
    text += Bits(curve);
    for (const double number :
         {double{curve.GetValue()}, double{curve.GetColor()[0]}, double(curve.GetPreExtrapolation()),
          double(curve.GetPostExtrapolation()), double(curve.GetPostExtrapolationCount()),
          double(curve.GetWasData()), curve.CandidateGetTime().GetSecondDouble()})
        text += ' ' + std::to_string(number);
}

void Describe(const YFCurveNode& node, std::string& text)
{
    text += std::string("\n") + node.GetName() + '|' + node.GetTimeWarpName();
    for (const int number : {node.GetLayerID(), node.GetLayerType(), node.GetRotationOrder(), node.GetCount(),
                             int{node.GetUseQuaternion()}, int{node.IsCandidate()}, node.IsMultiLayer(),
                             int{node.CallbackIsEnable()}})
        text += ' ' + std::to_string(number);
    const YFCurveNode& base = *const_cast<YFCurveNode&>(node).ObjectLayerGet();
    text += std::string("@") + base.GetName() + std::to_string(base.GetLayerID());
    if (&base != &node && base.FCurveGet() != nullptr)
        text += std::to_string(base.FCurveGet()->KeyGetCount());
    double total[4] = {};
    YTime time;
    node.CandidateGetTotalCandidate(total, time);
    if (node.IsCandidate()) text += '@' + std::to_string(time.GetSecondDouble());
    if (const YFCurve* curve = node.FCurveGet()) Describe(*curve, text);
    for (int i = 0; i < node.GetCount(); ++i) Describe(*node.Get(i), text);
    if (const YFCurveNode* warp = node.TimeWarpGet())
        text += "warp" + std::to_string(warp->GetReferenceCount());
    if (const YFCurveNode* layer = node.LayerGet()) Describe(*layer, text);
}

/// All that the operations below work on.
struct World
{
    static constexpr int kMany = 20;

    YFCurvePtr curve = MixedCurve();
    YFCurvePtr empty{YFCurveCreate()};
    YFCurvePtr source = MixedCurve(3.0);
    YFCurveNodePtr root{YFCurveNodeCreate("joint", static_cast<YDataType*>(nullptr))};
    YFCurveNode* translation = nullptr;
    YFCurveNode* rotation = nullptr;
    YFCurveNodePtr other;
    YFCurveNodePtr bare{FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalTranslation), "bare")};
    YFCurveManipulator manipulator;
    YFCurveColorManager colors;
    YFCurvePtr madeCurve;  // what an operation has made, to be destroyed
    YFCurveNodePtr madeNode;
    std::unique_ptr<YFCurveClip> madeClip;

    World()
    {
        translation = Property(eDataType::LocalTranslation);
        rotation = Property(eDataType::LocalRotation);
        rotation->CreateLayerAt({3, nullptr});
        for (int i = 0; i < 3; ++i) CurveOf(*rotation->LayerGet(3), i).KeyAppendFast(Seconds(1), 5.0f);
        other.reset(rotation->Clone());
        for (int i = 0; i < 3; ++i) CurveOf(*other, i).KeyMoveOf(false, YTIME_ZERO, 90.0f);
        other->CreateLayerAt({5, nullptr});
        other->RemoveLayer(3, true);
        other->TimeWarpSet(nodetest::LinearWarp(0.0f, 8.0f));
        manipulator.Add(translation);
        manipulator.MarkCurveNodeForManip(true, nullptr);
    }

    YFCurveNode* Property(eDataType type)
    {
        YFCurveNodePtr node = nodetest::PropertyOf(type, "property");
        for (int i = 0; i < 3; ++i)
            for (int k = 0; k < 64; ++k)
                CurveOf(*node, i).KeyAppendFast(Seconds(k), static_cast<float>((k * (i + 7)) % 50));
        return root->Get(root->Add(node.release()));
    }

    /// Puts the tree below so many levels and beside so many nodes that no walk gets along without memory,
    /// gives it two layers, and makes another tree of its shape, with other keys and other layers.
    void Deepen()
    {
        for (int level = 0; level < kMany; ++level) {
            YFCurveNodePtr above(YFCurveNodeCreate("level", static_cast<YDataType*>(nullptr)));
            for (int i = 0; level == kMany - 1 && i < kMany; ++i) {
                const std::string beside = "beside" + std::to_string(i);
                above->FindOrCreate(beside.c_str())->FCurveGet()->KeyAppendFast(Seconds(5), 1.0f);
            }
            above->Add(root.release());
            root = std::move(above);
        }
        madeNode.reset(root->Clone());
        YFCurveNode* property = madeNode->FindRecursive("property");
        for (int i = 0; i < 3; ++i) property->Get(i)->FCurveGet()->KeyMoveOf(false, YTIME_ZERO, 90.0f);
        madeNode->CreateLayerAt({2, nullptr});
        root->CreateLayerAt({3, nullptr});
        root->CreateLayerAt({5, nullptr});
    }

    std::string Text() const
    {
        std::string text;
        for (const YFCurvePtr* part : {&curve, &empty, &source}) Describe(**part, text);
        for (const YFCurveNodePtr* part : {&root, &other, &bare})
            if (*part) Describe(**part, text);
        for (int i = 0; i < manipulator.GetNodeCount(); ++i)
            text += manipulator.IsCurveNodeMarkedForManip(manipulator.GetNode(i)) ? " marked" : " not marked";
        const manipulatortest::Range range = manipulatortest::SelectionRange(manipulator);
        text +=
            std::to_string(range.start.Get()) + std::to_string(range.stop.Get()) + std::to_string(range.high);
        text += std::to_string(static_cast<int>(manipulator.GetManipulationMode()));
        return text + std::to_string(colors.GetColor(nullptr, 1).red);
    }

    YFCurve& Samples() const { return *translation->Get(0)->FCurveGet(); }

    bool Made(YFCurve* result) { return (madeCurve = YFCurvePtr(result)) != nullptr; }
    bool Made(YFCurveNode* result) { return (madeNode = YFCurveNodePtr(result)) != nullptr; }
};

/// `run` gives whether the operation was done, or nothing if that cannot be told.
struct Operation
{
    template<class Run>
    Operation(
        std::string title, Run operation, std::function<void(World&)> preparation = [](World&) {})
        : name(std::move(title)), prepare(std::move(preparation))
    {
        run = [operation](World& world) {
            if constexpr (std::is_void_v<decltype(operation(world))>) {
                operation(world);
                return Said();
            } else {
                return Said(operation(world));
            }
        };
    }

    std::string name;
    std::function<Said(World&)> run;
    std::function<void(World&)> prepare;
};

/// Runs an operation on a world of its own with an allocation that fails.
/// \return  whether there was one to fail.
bool RunShortOf(const Operation& operation, Shortage shortage, double allowed, const std::string& before,
                const std::string& after)
{
    World world;
    operation.prepare(world);
    const EmptyPools pools;
    Said said;
    bool hasFailed = false;
    {
        FailingHeap heap(static_cast<long>(allowed), shortage);
        EXPECT_NO_THROW(said = operation.run(world));
        hasFailed = heap.HasFailed();
    }
    const std::string now = world.Text();
    const std::string at = " at allocation " + std::to_string(static_cast<long>(allowed));
    EXPECT_TRUE(hasFailed || said != false) << at;
    EXPECT_TRUE(said != false || now == before) << "not as it was" << at;
    EXPECT_TRUE(said != true || now == after) << "not done" << at;
    EXPECT_TRUE(now == before || now == after) << "half done" << at;
    if (said == false || (!said && now != after)) {
        EXPECT_TRUE(operation.run(world) != false) << at;
        EXPECT_TRUE(world.Text() == after) << "not done afterwards" << at;
    }
    return hasFailed;
}

/// Runs an operation once for each of its allocations, which then fails. It has to refuse and leave
/// everything as it was, or to get along without; then it has to succeed after all, and all memory has to
/// come back. Each time is on a thread of its own, since a thread keeps some records until it ends.
void Check(const Operation& operation, Shortage shortage)
{
    SCOPED_TRACE(operation.name + (shortage == Shortage::Once ? ", one failure" : ", lasting"));
    std::string before, after;
    std::thread([&] {
        World world;
        operation.prepare(world);
        before = world.Text();
        operation.run(world);
        after = world.Text();
    }).join();
    const int recordsBefore = YFCURVE_GetKeyAttrCount();
    long liveBefore = 0;
    double allowed = 0.0;
    for (int rounds = 0;; ++rounds, allowed = allowed < 40.0 ? allowed + 1.0 : allowed * 1.4) {
        if (rounds == 2) liveBefore = test::LivePieces();  // after what is made once
        bool hasFailed = false;
        std::thread([&] { hasFailed = RunShortOf(operation, shortage, allowed, before, after); }).join();
        ASSERT_FALSE(::testing::Test::HasFailure());
        ASSERT_EQ(YFCURVE_GetKeyAttrCount(), recordsBefore);
        if (hasFailed) continue;
        ASSERT_GT(allowed, 0.0) << "takes no memory";
        ASSERT_TRUE(rounds <= 2 || test::LivePieces() <= liveBefore + 4) << "memory was lost";
        return;
    }
}

void CheckAll(const std::vector<Operation>& operations)
{
    for (const Operation& operation : operations) {
        Check(operation, Shortage::Lasting);
        Check(operation, Shortage::Once);
    }
}

// --- The operations ------------------------------------------------------------------------------------

YFCurveKey NewKey()
{
    return yfc::test::UserKey(4.0f, 9.0f, 8.0f);
}

TEST(OutOfMemory, Curves)
{
    static const YTime between = Seconds(1.5), late = Seconds(100);
    static const std::array times = {late, Seconds(3), between};
    static const std::array values = {1.0f, 2.0f, 3.0f};
    static const std::array indices = {60, 2, 3, 17};
    static const YFCurveTangeantInfo side{3.0f, 0.5f, 0.0f, 30.0f, true, false};
    CheckAll({
        {"create", [](World& w) { return w.Made(YFCurveCreate()); }},
        {"KeyAdd", [](World& w) { return w.curve->KeyAdd(between, NewKey()) >= 0; }},
        {"KeyAppendFast", [](World& w) { return w.curve->KeyAppendFast(late, 1.0f) >= 0; }},
        {"KeySet behind", [](World& w) { return w.curve->KeySet(64, late, 1.0f); }},
        {"KeyInsert with cuts", [](World& w) { return w.curve->KeyInsert(between) >= 0; },
         [](World& w) { w.curve->KeyRemove(60); }},
        {"KeyAdd of many", [](World& w) { return w.curve->KeyAdd(times, values); }},
        {"KeyRemove of many", [](World& w) { return w.curve->KeyRemove(indices); }},
        {"KeyMove of a key with a shared record",
         [](World& w) { return w.Samples().KeyMove(3, Seconds(20.5)) >= 0; }},
        {"KeyMoveOf", [](World& w) { return w.curve->KeyMoveOf(true, Seconds(5.5), 1.0f); }},
        {"KeyTangeantSetMode", [](World& w) { w.curve->KeyTangeantSetMode(false, YFCURVE_TANGENT_USER); }},
        {"KeySetSelectedAll", [](World& w) { w.Samples().KeySetSelectedAll(true); }},
        {"KeySetLeftDerivativeInfo", [](World& w) { w.Samples().KeySetLeftDerivativeInfo(5, side); }},
        {"CandidateKey", [](World& w) { return w.curve->CandidateKey() >= 0; },
         [](World& w) { w.curve->CandidateSet(between, 7.0); }},
        {"DeleteSelected", [](World& w) { return w.Samples().DeleteSelected(); },
         [](World& w) {
             for (int i = 3; i < 40; i += 3) w.Samples().KeySetSelected(i, true);
             w.Samples().KeySetTangeantMode(4, YFCURVE_TANGENT_USER);
         }},
        {"Insert", [](World& w) { return w.curve->Insert(*w.source, between, Seconds(1)); }},
        {"Replace", [](World& w) { w.curve->Replace(*w.source, Seconds(3.5), Seconds(20.5)); }},
        {"CopyFrom", [](World& w) { w.empty->CopyFrom(*w.source); }},
        {"Copy", [](World& w) { return w.Made(w.curve->Copy(between, Seconds(20))); }},
        {"CallbackRegister", [](World& w) { return w.curve->CallbackRegister([](auto*...) {}, nullptr); }},
        {"ResizeKeyBuffer",
         [](World& w) {
             w.empty->ResizeKeyBuffer(10000, false);
             w.empty->KeyModifyBegin(20000);
             w.empty->KeyModifyEnd();
         }},
        {"resample",
         [](World& w) { YFCurveUtils::Resample(*w.curve, Seconds(0.7), Seconds(2), Seconds(30), false); }},
        {"ConvertCurve",
         [](World& w) {
             return YFCurveUtils::ConvertCurve(*w.source, *w.curve, YFCURVE_INTERP_LINEAR, 0, Seconds(0.3));
         }},
        {"merge",
         [](World& w) {
             YFCurvePtr part(w.source->Copy(Seconds(5), Seconds(9)));
             if (part) YFCurveUtils::Merge(*w.curve, *part, *w.curve);
         }},
        {"IncreaseFidelity",
         [](World& w) { return YFCURVE_IncreaseFidelity(w.curve.get(), w.source.get(), 0.1) >= 0; }},
    });
}

TEST(OutOfMemory, Nodes)
{
    static const double values[] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    static constexpr const char* longName = "a name that is too long for the string itself";
    static constexpr YFCurveLayerInfo first(1, nullptr), layer(9, nullptr);
    CheckAll({
        {"create",
         [](World& w) {
             return w.Made(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), longName));
         }},
        {"FindOrCreate", [](World& w) { return w.root->FindOrCreate(longName) != nullptr; }},
        {"Add", [](World& w) { return w.root->Add(w.bare.get()) >= 0 && w.bare.release() != nullptr; }},
        {"CreateLayerAt between", [](World& w) { return w.rotation->CreateLayerAt(first) != nullptr; }},
        {"InsertOrCopyLayer",
         [](World& w) { return w.rotation->InsertOrCopyLayer(layer, w.other.get()) != nullptr; }},
        {"TimeWarpSet",
         [](World& w) {
             w.translation->TimeWarpSet(w.madeNode.get());
             if (w.translation->TimeWarpGet() != nullptr) static_cast<void>(w.madeNode.release());
         },
         [](World& w) { w.madeNode.reset(YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp))); }},
        {"CallbackRegister",
         [](World& w) { return w.translation->Get(0)->CallbackRegister([](auto*...) {}, nullptr); }},
        {"CallbackEnable",
         [](World& w) {
             for (const bool on : {true, false}) w.translation->Get(0)->CallbackEnable(on);
         }},
        {"clip, refreshed, and player",
         [](World& w) {
             w.madeClip = YFCurveClip::Create(*w.root);
             return w.madeClip && w.madeClip->Refresh() >= 0 && YFCurvePlayer::Create(*w.madeClip);
         }},
        {"Copy", [](World& w) { return w.Made(w.rotation->Copy(Seconds(2), Seconds(9))); }},
        {"CopyFrom between layers", [](World& w) { return w.rotation->CopyFrom(w.other.get()); },
         [](World& w) {
             w.other->CreateLayerAt(first);
             w.other->CreateLayerAt({3, nullptr})->Get(0)->FCurveGet()->KeyAppendFast(Seconds(1), 1.0f);
             w.rotation->CreateLayerAt({7, nullptr});
         }},
        {"KeyRecord", [](World& w) { return w.root->KeyRecord(Seconds(99), values) == values + 6; }},
        {"CandidateSet on a new layer",
         [](World& w) { return w.bare->CandidateSet(Seconds(1), values, layer) == values + 3; },
         [](World& w) { w.bare->CreateFCurve(); }},
        {"CandidateSetSpecificLayer",
         [](World& w) {
             return w.rotation->CandidateSetSpecificLayer(Seconds(1), values, layer) == values + 3;
         }},
        {"CandidateKeySpecificLayer", [](World& w) { return w.rotation->CandidateKeySpecificLayer(); },
         [](World& w) { w.rotation->CandidateSetSpecificLayer(Seconds(1.5), values); }},
        {"merge", [](World& w) { return YFCURVE_MergeLayers(w.translation); },
         [](World& w) {
             w.translation->CreateLayerAt({2, nullptr})->Get(1)->FCurveGet()->KeyAppendFast(Seconds(2), 3.0f);
         }},
        {"color",
         [](World& w) {
             return w.colors.SetColor(nullptr, 1, {0.5f, 0.5f, 0.5f});
         }},
    });
}

TEST(OutOfMemory, DeepTrees)
{
    static const double values[6 + World::kMany] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    static const YTime time = Seconds(1.5);
    static constexpr YFCurveLayerInfo second(2, nullptr), fourth(4, nullptr);
    std::vector<Operation> operations = {
        {"KeyAdd", [](World& w) { return w.root->KeyAdd(time, values) == std::end(values); }},
        {"DeleteKey", [](World& w) { return w.root->DeleteKey(Seconds(5)); }},
        {"CreateFCurve", [](World& w) { w.root->CreateFCurve(); },
         [](World& w) {
             for (int i = 0; i < 3; ++i) w.translation->Get(i)->FCurveReplace(nullptr);
         }},
        {"CandidateKey", [](World& w) { return w.root->CandidateKey(nullptr, second); },
         [](World& w) { w.root->CandidateSet(time, values); }},
        {"SetCandidateState",
         [](World& w) {
             YFCurveNodeCandidateState state;
             if (w.root->GetCandidateState(state)) w.root->SetCandidateState(state);
         }},
        {"ConvertCurveInterpolationRecursive",
         [](World& w) {
             YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_LINEAR, 0, w.root.get());
         }},
        {"CreateLayerAt", [](World& w) { return w.root->CreateLayerAt(fourth) != nullptr; }},
        {"LayerSet", [](World& w) { w.root->LayerSet(w.madeNode->LayerGet(), true); }},
        {"CopyFrom", [](World& w) { return w.root->CopyFrom(w.madeNode.get()); }},
        {"SingleLayerCopyFrom", [](World& w) { return w.root->SingleLayerCopyFrom(w.madeNode.get()); }},
        {"Replace", [](World& w) { return w.root->Replace(w.madeNode.get(), Seconds(2.5), Seconds(9.5)); }},
        {"BreakTangents",
         [](World& w) { YFCURVE_BreakTangents(w.root.get(), w.madeNode.get(), Seconds(0.1), 1.0); }},
        {"IncreaseFidelity",
         [](World& w) {
             return YFCURVE_IncreaseFidelity(w.root.get(), w.madeNode.get(), 1.0, Seconds(0), Seconds(6)) >=
                    0;
         }},
        {"plot",
         [](World& w) {
             YSmartPlotOptions options;
             options.period = Seconds(0.5);
             options.smart = false;
             return YFCurve_PlotInLayers(w.root->FindRecursive("joint"), {9, nullptr}, Seconds(1), Seconds(4),
                                         options);
         }},
        {"manipulator", [](World& w) { w.manipulator.Add(w.root.get()); }},
    };
    for (Operation& operation : operations) {
        operation.prepare = [prepare = operation.prepare](World& w) {
            w.Deepen();
            prepare(w);
        };
    }
    CheckAll(operations);
}

TEST(OutOfMemory, WhatTakesNoMemory)
{
    auto world = std::make_unique<World>();
    world->Deepen();
    static const double values[6 + World::kMany] = {};
    world->root->CandidateSet(Seconds(1), values);
    YFCurveNode& base = *world->root;
    YFCurveNode& last = *base.LayerGet(5);
    std::vector<YFCurvePtr> curves;  // of several chunks of records and of blocks
    for (int i = 0; i < 200; ++i) curves.push_back(MixedCurve());
    std::optional<FailingHeap> none(0);
    const YFCurveNode* const removed = base.RemoveLayer(3, true);
    base.CandidateClear(0, true);
    base.SetLockedByProperty(true);
    none.reset();
    EXPECT_EQ(removed, nullptr);
    EXPECT_EQ(base.LayerGet(), &last);
    for (YFCurveNode* node = &last; node != nullptr; node = node->Get(node->GetCount() - 1))
        EXPECT_TRUE(node->ObjectLayerGet()->GetLayerID() == 0 && node->IsLockedByProperty());
    EXPECT_TRUE(world->rotation->IsLockedByProperty());
    EXPECT_FALSE(world->rotation->IsCandidate());
    none.emplace(0);
    curves.clear();
    world.reset();
    EXPECT_FALSE(none->HasFailed());
}

TEST(OutOfMemory, Manipulator)
{
    const auto select = [](World& w) {
        w.manipulator.SelectKeys(kSelectionReplace, Seconds(3), Seconds(9), -1e9, 1e9);
    };
    const auto mark = [](World& w) { w.manipulator.MarkKeysForManip(true, nullptr, 3, 30); };
    const auto manipulate = [](World& w) {
        w.manipulator.SelectKeys(kSelectionReplace, Seconds(10), Seconds(20), -1e9, 1e9);
        w.manipulator.MarkKeysForManipFromSelection();
        w.manipulator.BeginManipulation(kManipulationMove, true);
    };
    std::vector<Operation> operations = {
        {"Add", [](World& w) { w.manipulator.Add(w.root.get()); }},
        {"SelectKeys", select},
        {"mark keys", mark},
        {"mark selected keys", [](World& w) { w.manipulator.MarkKeysForManipFromSelection(); },
         [=](World& w) {
             select(w);
             for (int i = 0; i < 3; ++i) w.translation->Get(i)->FCurveGet()->KeyShrink();
         }},
        {"show tangents", [](World& w) { w.manipulator.SetTangentVisibility(true); },
         [=](World& w) {
             w.manipulator.SetShowManyTangents(false);
             select(w);
         }},
        {"begin", [](World& w) { w.manipulator.BeginManipulation(kManipulationMove, true); }, mark},
        {"offset", [](World& w) { w.manipulator.Offset(Seconds(30.5), 1.0); }, manipulate},
        {"stretch", [](World& w) { w.manipulator.StretchXY(-1.5, 2.0, Seconds(15), 1.0); }, manipulate}};
    for (Operation& operation : operations) {  // which tell by a means of their own
        operation.run = [run = operation.run](World& w) {
            const bool hadRunOut = w.manipulator.HasRunOutOfMemory();
            run(w);
            return hadRunOut || !w.manipulator.HasRunOutOfMemory();
        };
    }
    operations.push_back({"copy", [](World& w) {
                              YFCurveManipulator copy;
                              copy = w.manipulator;
                              if (copy.GetNodeCount() == 3) w.manipulator.SetTangentVisibility(true);
                          }});
    CheckAll(operations);
}

TEST(OutOfMemory, SceneFiles)
{
    World written;
    const std::string file = Written([&](YTalo& talo) {
        written.rotation->TaloStore(&talo);
        talo.FieldWriteBegin("Curve");
        talo.FieldWriteBlockBegin();
        written.curve->TaloStore(&talo);
        talo.FieldWriteBlockEnd();
        talo.FieldWriteEnd();
    });
    const auto read = [&](const auto& from) {
        return [&file, from](World& w) {
            YTalo talo;
            return talo.TextOpen(file.data(), file.size()) && from(w, talo);
        };
    };
    const auto readCurve = [&](const auto& from) {
        return read([from](World& w, YTalo& talo) {
            talo.FieldReadBegin("Curve");
            return talo.FieldReadBlockBegin() && from(w, talo);
        });
    };
    CheckAll({
        {"curve", readCurve([](World& w, YTalo& talo) { return w.empty->TaloRetrieve(&talo); })},
        {"new curve", readCurve([](World& w, YTalo& talo) { return w.Made(YFCurveCreate(&talo)); })},
        {"node", read([](World& w, YTalo& talo) { return w.bare->TaloRetrieve(&talo); })},
        {"node with layers", read([](World& w, YTalo& talo) { return w.other->TaloRetrieve(&talo); })},
        {"new node", read([](World& w, YTalo& talo) { return w.Made(YFCurveNodeCreate(&talo, false)); })},
        {"child", read([](World& w, YTalo& talo) {
             return YFCurveNodeCreate(&talo, w.root.get(), false) != nullptr;
         })},
        {"writing",
         [&](World& w) {
             TextOutput output(100000);
             output.text.reserve(1);
             YTalo talo;
             if (!talo.OutputCreate(&output)) return false;
             w.rotation->TaloStore(&talo);
             return talo.FileClose();
         }},
    });
}

TEST(OutOfMemory, Filters)
{
    std::vector<Operation> operations;
    for (const std::string& kind : FilterNames()) {
        for (const bool ofTree : {false, true}) {
            const auto apply = [name = "YFCurveFilter" + kind, ofTree](World& w) {
                const FilterPtr filter(YFCurveFilterCreate(name.c_str()));
                if (!filter) return false;
                if (auto* fit = dynamic_cast<YFCurveFilterFit*>(filter.get())) fit->SetTogether(ofTree);
                if (ofTree) filter->Apply(*w.root, true);
                if (!ofTree) filter->Apply(*w.curve);
                return filter->GetOutcome() != eFilterOutcome::OutOfMemory;
            };
            operations.push_back({kind + (ofTree ? " of a tree" : " of a curve"), apply});
        }
    }
    CheckAll(operations);
}

TEST(OutOfMemory, Undo)
{
    const auto undo = std::make_shared<std::unique_ptr<YFCurveUndo>>();
    const auto edit = [=](World& w) {
        *undo = std::make_unique<YFCurveUndo>();
        (*undo)->Watch(w.root.get());
        const YFCurveUndoStep step(**undo, "edit");
        w.translation->Get(0)->FCurveGet()->KeyInsert(Seconds(0.5));
        w.translation->Get(1)->FCurveGet()->Delete(3, 40);
        w.translation->Get(2)->FCurveReplace(nullptr);
        w.rotation->CreateLayerAt({4, nullptr});
        w.rotation->RemoveLayer(3, true);
    };
    CheckAll({{"undo", [=](World&) { return (*undo)->Undo(); }, edit}});
    undo->reset();
}

// What one thread has reserved no other one gets: the second takes all there is while the first is at work, some
// of it after reserving it (added keys) and some without (selected ones).
TEST(OutOfMemory, WhatIsReservedStaysReserved)
{
    struct Taking
    {
        YFCurve selected;
        std::unique_ptr<EmptyPools> taken;
        std::unique_ptr<FailingHeap> none;
    } taking;
    for (int i = 0; i < 200; ++i) taking.selected.KeyAppendFast(Seconds(i), 1.0f);
    World world;
    const auto onFirstChange = [](YFCurve*, YFCurveEvent*, void* object) {
        Taking& now = *static_cast<Taking*>(object);
        if (now.none) return;
        std::thread([&] {
            now.taken = std::make_unique<EmptyPools>();
            const FailingHeap none(0);
            for (int i = 0; i < 200; ++i) now.selected.KeySetSelected(i, true);
        }).join();
        now.none = std::make_unique<FailingHeap>(0);
    };
    world.translation->Get(0)->FCurveGet()->CallbackRegister(onFirstChange, &taking);
    world.manipulator.SelectKeys(kSelectionReplace, Seconds(-1), Seconds(100), -1e9, 1e9);
    ASSERT_NE(taking.none, nullptr);
    taking.none.reset();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(world.translation->Get(i)->FCurveGet()->KeyGetSelectionCount(), 64);
}

TEST(OutOfMemory, NamesStay)
{
    YObject object("old");
    YProperty property("old");
    const char* longName = "a name that is too long for the string itself";
    std::optional<FailingHeap> none(0);
    const bool isSet = object.SetObjectName(longName) || property.SetName(longName);
    none.reset();
    EXPECT_FALSE(isSet);
    EXPECT_STREQ(object.GetObjectName(), "old");
    EXPECT_STREQ(property.GetName(), "old");
}

}  // namespace
