#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "failing_heap.h"
#include "tests/curve/curve_fixtures.h"
#include "tests/manipulator/manipulated.h"
#include "tests/node/nodes.h"
#include "tests/ybaselib/talo_testing.h"
#include "ybaselib/all.h"
#include "yfcurve/all.h"

/// \file
/// Every operation that changes something, at every one of its allocations.

using manipulatortest::Bits;
using nodetest::Seconds;
using test::FailingHeap;
using test::Shortage;

namespace {

/// What an operation said: whether it did what it was asked to. One that returns nothing cannot say.
enum class Said
{
    Done,
    Refused,
    Nothing
};

Said When(bool done)
{
    return done ? Said::Done : Said::Refused;
}

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
        for (int i = 0; i < 4096 && !IsFull(*mRecords, key, i); ++i) {
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
    static bool IsFull(YFCurve& curve, YFCurveKey& key, int index)
    {
        const FailingHeap none(0);
        key.Set(YTime(index), 1.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, static_cast<float>(index));
        return curve.KeyAdd(YTime(index), key) < 0;
    }

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
          double(curve.GetWasData()), curve.CandidateGetTime().GetSecondDouble()}) {
        text += ' ' + std::to_string(number);
    }
}

void Describe(const YFCurveNode& node, std::string& text)
{
    text += std::string("\n") + node.GetName() + '|' + node.GetTimeWarpName();
    for (const int number : {node.GetLayerID(), node.GetLayerType(), node.GetRotationOrder(), node.GetCount(),
                             int{node.GetUseQuaternion()}, int{node.IsCandidate()}, node.IsMultiLayer(),
                             int{node.CallbackIsEnable()}}) {
        text += ' ' + std::to_string(number);
    }
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

void Hear(YFCurve*, YFCurveEvent*, void*) {}
void HearNode(YFCurveNode*, YFCurveNodeEvent*, void*) {}

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
        for (int i = 0; i < 3; ++i)
            rotation->LayerGet(3)->Get(i)->FCurveGet()->KeyAppendFast(Seconds(1), 5.0f);
        other.reset(rotation->Clone());
        for (int i = 0; i < 3; ++i) other->Get(i)->FCurveGet()->KeyMoveOf(false, YTIME_ZERO, 90.0f);
        other->CreateLayerAt({5, nullptr});
        other->RemoveLayer(3, true);
        other->TimeWarpSet(nodetest::LinearWarp(0.0f, 8.0f));
        manipulator.Add(translation);
        manipulator.MarkCurveNodeForManip(true, nullptr);
    }

    YFCurveNode* Property(eDataType type)
    {
        YFCurveNodePtr node = nodetest::PropertyOf(type, "property");
        for (int i = 0; i < 3; ++i) {
            YFCurve& curve = *node->Get(i)->FCurveGet();
            for (int k = 0; k < 64; ++k)
                curve.KeyAppendFast(Seconds(k), static_cast<float>((k * (i + 7)) % 50));
        }
        YFCurveNode* added = node.get();
        root->Add(node.release());
        return added;
    }

    /// Puts the tree below so many levels and beside so many nodes that no walk gets along without memory,
    /// gives it two layers, and makes another tree of its shape, with other keys and other layers.
    void Deepen()
    {
        for (int level = 0; level < kMany; ++level) {
            YFCurveNodePtr above(YFCurveNodeCreate("level", static_cast<YDataType*>(nullptr)));
            for (int i = 0; level == kMany - 1 && i < kMany; ++i) {
                YFCurveNode* const beside = above->FindOrCreate(("beside" + std::to_string(i)).c_str());
                beside->FCurveGet()->KeyAppendFast(Seconds(5), 1.0f);
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

    void Manipulate()
    {
        manipulator.SelectKeys(kSelectionReplace, Seconds(10), Seconds(20), -1e9, 1e9);
        manipulator.MarkKeysForManipFromSelection();
        manipulator.BeginManipulation(kManipulationMove, true);
    }

    std::string Text() const
    {
        std::string text;
        for (const YFCurvePtr* part : {&curve, &empty, &source}) Describe(**part, text);
        for (const YFCurveNodePtr* part : {&root, &other, &bare}) {
            if (*part) Describe(**part, text);
        }
        for (int i = 0; i < manipulator.GetNodeCount(); ++i) {
            text += manipulator.IsCurveNodeMarkedForManip(manipulator.GetNode(i)) ? " marked" : " not marked";
        }
        YTime start;
        YTime stop;
        double low = 0.0;
        double high = 0.0;
        manipulator.GetSelectionRange(start, stop, low, high);
        text += std::to_string(start.Get()) + std::to_string(stop.Get()) + std::to_string(high);
        text += std::to_string(static_cast<int>(manipulator.GetManipulationMode()));
        return text + std::to_string(colors.GetColor(nullptr, 1).red);
    }

    Said Made(YFCurve* result)
    {
        madeCurve.reset(result);
        return When(result != nullptr);
    }
    Said Made(YFCurveNode* result)
    {
        madeNode.reset(result);
        return When(result != nullptr);
    }
};

struct Operation
{
    std::string name;
    std::function<Said(World&)> run;
    std::function<void(World&)> prepare = [](World&) {};
};

/// Those of the manipulator, which tells by its own means.
template<class Run>
std::function<Said(World&)> Manipulated(Run run)
{
    return [run](World& world) {
        const bool hadRunOut = world.manipulator.HasRunOutOfMemory();
        run(world);
        return When(hadRunOut || !world.manipulator.HasRunOutOfMemory());
    };
}

/// Those that return nothing.
template<class Run>
std::function<Said(World&)> Silent(Run run)
{
    return [run](World& world) {
        run(world);
        return Said::Nothing;
    };
}

/// Runs an operation on a world of its own with an allocation that fails.
/// \return  whether there was one to fail.
bool RunShortOf(const Operation& operation, Shortage shortage, double allowed, const std::string& before,
                const std::string& after)
{
    World world;
    operation.prepare(world);
    const EmptyPools pools;
    Said said = Said::Nothing;
    bool hasFailed = false;
    {
        FailingHeap heap(static_cast<long>(allowed), shortage);
        EXPECT_NO_THROW(said = operation.run(world));
        hasFailed = heap.HasFailed();
    }
    const std::string now = world.Text();
    const std::string at = " at allocation " + std::to_string(static_cast<long>(allowed));
    EXPECT_TRUE(hasFailed || said != Said::Refused) << at;
    EXPECT_TRUE(said != Said::Refused || now == before) << "not as it was" << at;
    EXPECT_TRUE(said != Said::Done || now == after) << "not done" << at;
    EXPECT_TRUE(now == before || now == after) << "half done" << at;
    if (said == Said::Refused || (said == Said::Nothing && now != after)) {
        EXPECT_NE(operation.run(world), Said::Refused) << at;
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
    std::string before;
    std::string after;
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
    const YTime between = Seconds(1.5);
    const YTime late = Seconds(100);
    const std::vector<YTime> times = {Seconds(0.5), Seconds(1.5), Seconds(7.25), Seconds(30.5), Seconds(80)};
    CheckAll({
        {"create", [](World& w) { return w.Made(YFCurveCreate()); }},
        {"KeyAdd", [=](World& w) { return When(w.curve->KeyAdd(between, NewKey()) >= 0); }},
        {"KeyAdd on a key", [](World& w) { return When(w.curve->KeyAdd(Seconds(3), NewKey()) >= 0); }},
        {"first key", [=](World& w) { return When(w.empty->KeyAdd(between, NewKey()) >= 0); }},
        {"KeyAppendFast", [=](World& w) { return When(w.curve->KeyAppendFast(late, 1.0f) >= 0); }},
        {"KeySet behind", [=](World& w) { return When(w.curve->KeySet(64, late, 1.0f)); }},
        {"KeyInsert with cuts", [=](World& w) { return When(w.curve->KeyInsert(between) >= 0); },
         [](World& w) { w.curve->KeyRemove(60); }},
        {"KeyInsert of many", [=](World& w) { return When(w.curve->KeyInsert(times.data(), 5) >= 0); }},
        {"KeyAdd of many",
         [=](World& w) {
             const YTime wanted[] = {late, Seconds(3), between};
             return When(w.curve->KeyAdd(wanted, std::array{1.0f, 2.0f, 3.0f}));
         }},
        {"KeyRemove of many",
         [](World& w) {
             return When(w.curve->KeyRemove(std::array{60, 2, 3, 17}));
         }},
        {"KeyMove of a key with a shared record",
         [](World& w) { return When(w.translation->Get(0)->FCurveGet()->KeyMove(3, Seconds(20.5)) >= 0); }},
        {"KeyMoveOf", [](World& w) { return When(w.curve->KeyMoveOf(true, Seconds(5.5), 1.0f)); }},
        {"KeyScaleValueAndTangeant", Silent([](World& w) { w.curve->KeyScaleValueAndTangeant(true, 2.0f); }),
         [](World& w) {
             w.curve->KeyTangeantSetMode(false, YFCURVE_TANGENT_USER);
             w.curve->KeyShrink();
         }},
        {"KeyTangeantSetMode",
         Silent([](World& w) { w.curve->KeyTangeantSetMode(false, YFCURVE_TANGENT_USER); })},
        {"KeySetSelectedAll",
         Silent([](World& w) { w.translation->Get(0)->FCurveGet()->KeySetSelectedAll(true); })},
        {"KeySetLeftDerivativeInfo", Silent([](World& w) {
             YFCurveTangeantInfo info;
             info.Derivative = 3.0f;
             info.AutoValue = 30.0f;
             info.IsWeighted = true;
             info.Weight = 0.5f;
             w.translation->Get(0)->FCurveGet()->KeySetLeftDerivativeInfo(5, info);
         })},
        {"CandidateKey", [](World& w) { return When(w.curve->CandidateKey() >= 0); },
         [=](World& w) { w.curve->CandidateSet(between, 7.0); }},
        {"DeleteSelected",
         [](World& w) { return When(w.translation->Get(0)->FCurveGet()->DeleteSelected()); },
         [](World& w) {
             YFCurve& curve = *w.translation->Get(0)->FCurveGet();
             for (int i = 3; i < 40; i += 3) curve.KeySetSelected(i, true);
             curve.KeySetTangeantMode(4, YFCURVE_TANGENT_USER);
         }},
        {"Insert", [=](World& w) { return When(w.curve->Insert(*w.source, between, Seconds(1))); }},
        {"Replace", Silent([](World& w) { w.curve->Replace(*w.source, Seconds(3.5), Seconds(20.5)); })},
        {"ReplaceForEulerXYZ",
         Silent([](World& w) { w.curve->ReplaceForEulerXYZ(*w.source, Seconds(3.5), Seconds(20.5)); })},
        {"CopyFrom", Silent([](World& w) { w.empty->CopyFrom(*w.source); })},
        {"assignment", Silent([](World& w) { *w.curve = *w.source; })},
        {"Copy", [=](World& w) { return w.Made(w.curve->Copy(between, Seconds(20))); }},
        {"CallbackRegister", [](World& w) { return When(w.curve->CallbackRegister(Hear, nullptr)); }},
        {"ResizeKeyBuffer", Silent([](World& w) {
             w.empty->ResizeKeyBuffer(10000, false);
             w.empty->KeyModifyBegin(20000);
             w.empty->KeyModifyEnd();
         })},
        {"edit with listeners", [=](World& w) { return When(w.curve->KeyInsert(between) >= 0); },
         [](World& w) {
             for (int i = 0; i < 12; ++i) w.curve->CallbackRegister(Hear, nullptr);
         }},
        {"resample", Silent([](World& w) {
             YFCurveUtils::Resample(*w.curve, Seconds(0.7), Seconds(2), Seconds(30), false);
         })},
        {"resample onto",
         [](World& w) {
             return When(YFCurveUtils::Resample(*w.source, *w.empty, YFCURVE_INTERP_CUBIC,
                                                YFCURVE_TANGENT_USER, Seconds(0.7)));
         }},
        {"ConvertCurve",
         [](World& w) {
             return When(
                 YFCurveUtils::ConvertCurve(*w.source, *w.curve, YFCURVE_INTERP_LINEAR, 0, Seconds(0.3)));
         }},
        {"merge", Silent([](World& w) {
             YFCurvePtr part(w.source->Copy(Seconds(5), Seconds(9)));
             if (part) YFCurveUtils::Merge(*w.curve, *part, *w.curve);
         })},
        {"IncreaseFidelity",
         [](World& w) { return When(YFCURVE_IncreaseFidelity(w.curve.get(), w.source.get(), 0.1) >= 0); }},
    });
}

TEST(OutOfMemory, Nodes)
{
    static const double values[] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    static constexpr const char* longName = "a name that is too long for the string itself";
    const auto layer = YFCurveLayerInfo(9, nullptr);
    CheckAll({
        {"create",
         [](World& w) {
             return w.Made(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), longName));
         }},
        {"FindOrCreate", [](World& w) { return When(w.root->FindOrCreate(longName) != nullptr); }},
        {"Add",
         [](World& w) {
             const bool done = w.root->Add(w.bare.get()) >= 0;
             if (done) static_cast<void>(w.bare.release());
             return When(done);
         }},
        {"CreateLayerAt between",
         [](World& w) {
             return When(w.rotation->CreateLayerAt({1, nullptr}) != nullptr);
         }},
        {"InsertOrCopyLayer",
         [=](World& w) { return When(w.rotation->InsertOrCopyLayer(layer, w.other.get()) != nullptr); }},
        {"TimeWarpSet", Silent([](World& w) {
             w.translation->TimeWarpSet(w.madeNode.get());
             if (w.translation->TimeWarpGet() != nullptr) static_cast<void>(w.madeNode.release());
         }),
         [](World& w) { w.madeNode.reset(YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp))); }},
        {"CallbackRegister",
         [](World& w) { return When(w.translation->Get(0)->CallbackRegister(HearNode, nullptr)); }},
        {"CallbackEnable", Silent([](World& w) {
             w.translation->Get(0)->CallbackEnable(true);
             w.translation->Get(0)->CallbackEnable(false);
         })},
        {"clip, refreshed, and player",
         [](World& w) {
             w.madeClip = YFCurveClip::Create(*w.root);
             return When(w.madeClip && w.madeClip->Refresh() >= 0 && YFCurvePlayer::Create(*w.madeClip));
         }},
        {"Clone", [](World& w) { return w.Made(w.rotation->Clone()); }},
        {"Copy", [](World& w) { return w.Made(w.rotation->Copy(Seconds(2), Seconds(9))); }},
        {"CloneTemplate", [=](World& w) { return w.Made(w.rotation->CloneTemplate(layer)); }},
        {"CopyFrom", [](World& w) { return When(w.rotation->CopyFrom(w.other.get())); }},
        {"CopyFrom between layers", [](World& w) { return When(w.rotation->CopyFrom(w.other.get())); },
         [](World& w) {
             w.other->CreateLayerAt({1, nullptr});
             w.other->CreateLayerAt({3, nullptr})->Get(0)->FCurveGet()->KeyAppendFast(Seconds(1), 1.0f);
             w.rotation->CreateLayerAt({7, nullptr});
         }},
        {"KeyRecord", [](World& w) { return When(w.root->KeyRecord(Seconds(99), values) == values + 6); }},
        {"CandidateSet on a new layer",
         [=](World& w) { return When(w.bare->CandidateSet(Seconds(1), values, layer) == values + 3); },
         [](World& w) { w.bare->CreateFCurve(); }},
        {"CandidateSetSpecificLayer",
         [=](World& w) {
             return When(w.rotation->CandidateSetSpecificLayer(Seconds(1), values, layer) == values + 3);
         }},
        {"CandidateKey", [=](World& w) { return When(w.rotation->CandidateKey(nullptr, layer)); },
         [](World& w) { w.rotation->CandidateSet(Seconds(1.5), values); }},
        {"CandidateKeySpecificLayer", [](World& w) { return When(w.rotation->CandidateKeySpecificLayer()); },
         [](World& w) { w.rotation->CandidateSetSpecificLayer(Seconds(1.5), values); }},
        {"merge", [](World& w) { return When(YFCURVE_MergeLayers(w.translation)); },
         [](World& w) {
             w.translation->CreateLayerAt({2, nullptr})->Get(1)->FCurveGet()->KeyAppendFast(Seconds(2), 3.0f);
         }},
        {"color",
         [](World& w) {
             return When(w.colors.SetColor(nullptr, 1, {0.5f, 0.5f, 0.5f}));
         }},
    });
}

TEST(OutOfMemory, DeepTrees)
{
    static const double values[6 + World::kMany] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    const YTime time = Seconds(1.5);
    const auto setCandidates = [=](World& w) { w.root->CandidateSet(time, values); };
    std::vector<Operation> operations = {
        {"KeyAdd", [=](World& w) { return When(w.root->KeyAdd(time, values) == std::end(values)); }},
        {"DeleteKey", [](World& w) { return When(w.root->DeleteKey(Seconds(5))); }},
        {"CreateFCurve", Silent([](World& w) { w.root->CreateFCurve(); }),
         [](World& w) {
             for (int i = 0; i < 3; ++i) w.translation->Get(i)->FCurveReplace(nullptr);
         }},
        {"CandidateSet",
         [=](World& w) { return When(w.root->CandidateSet(time, values) == std::end(values)); }},
        {"CandidateKey",
         [](World& w) {
             return When(w.root->CandidateKey(nullptr, {2, nullptr}));
         },
         setCandidates},
        {"SetCandidateState", Silent([=](World& w) {
             YFCurveNodeCandidateState state;
             if (w.root->GetCandidateState(state)) w.root->SetCandidateState(state);
         })},
        {"ConvertCurveInterpolationRecursive", Silent([](World& w) {
             YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_LINEAR, 0, w.root.get());
         })},
        {"CreateLayerAt",
         [](World& w) {
             return When(w.root->CreateLayerAt({4, nullptr}) != nullptr);
         }},
        {"LayerSet", Silent([](World& w) { w.root->LayerSet(w.madeNode->LayerGet(), true); })},
        {"CopyFrom", [](World& w) { return When(w.root->CopyFrom(w.madeNode.get())); }},
        {"SingleLayerCopyFrom", [](World& w) { return When(w.root->SingleLayerCopyFrom(w.madeNode.get())); }},
        {"Replace",
         [](World& w) { return When(w.root->Replace(w.madeNode.get(), Seconds(2.5), Seconds(9.5))); }},
        {"BreakTangents",
         Silent([](World& w) { YFCURVE_BreakTangents(w.root.get(), w.madeNode.get(), Seconds(0.1), 1.0); })},
        {"IncreaseFidelity",
         [](World& w) {
             return When(
                 YFCURVE_IncreaseFidelity(w.root.get(), w.madeNode.get(), 1.0, Seconds(0), Seconds(6)) >= 0);
         }},
        {"plot",
         [](World& w) {
             YFCurveNode* const first = w.root->FindRecursive("joint");
             YSmartPlotOptions options;
             options.period = Seconds(0.5);
             options.smart = false;
             return When(YFCurve_PlotInLayers(first, {9, nullptr}, Seconds(1), Seconds(4), options));
         }},
        {"filter", Silent([](World& w) {
             const std::unique_ptr<YFCurveFilter, void (*)(YFCurveFilter*)> filter(
                 YFCurveFilterCreate("YFCurveFilterScale"), [](YFCurveFilter* made) { made->Destroy(); });
             if (!filter) return;
             filter->SetParameter("Scale", "2");
             filter->Apply(*w.root, true);
         })},
        {"manipulator", Silent([](World& w) { w.manipulator.Add(w.root.get()); })},
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
    World world;
    world.Deepen();
    static const double values[6 + World::kMany] = {};
    world.root->CandidateSet(Seconds(1), values);
    YFCurveNode& base = *world.root;
    YFCurveNode& last = *base.LayerGet(5);
    {
        const FailingHeap none(0);
        EXPECT_EQ(base.RemoveLayer(3, true), nullptr);
        base.CandidateClear(0, true);
        base.SetLockedByProperty(true);
        world.bare.reset();
    }
    EXPECT_EQ(base.LayerGet(), &last);
    for (YFCurveNode* node = &last; node != nullptr; node = node->Get(node->GetCount() - 1)) {
        EXPECT_TRUE(node->ObjectLayerGet()->GetLayerID() == 0 && node->IsLockedByProperty());
    }
    EXPECT_TRUE(world.rotation->IsLockedByProperty());
    EXPECT_FALSE(world.rotation->IsCandidate());
}

TEST(OutOfMemory, Manipulator)
{
    const auto manipulate = [](World& w) { w.Manipulate(); };
    CheckAll({
        {"Add", Manipulated([](World& w) { w.manipulator.Add(w.root.get()); })},
        {"SelectKeys", Manipulated([](World& w) {
             w.manipulator.SelectKeys(kSelectionReplace, Seconds(3), Seconds(9), -1e9, 1e9);
         })},
        {"mark keys", Manipulated([](World& w) { w.manipulator.MarkKeysForManip(true, nullptr, 3, 30); })},
        {"mark selected keys", Manipulated([](World& w) { w.manipulator.MarkKeysForManipFromSelection(); }),
         [](World& w) {
             w.manipulator.SelectKeys(kSelectionReplace, Seconds(3), Seconds(9), -1e9, 1e9);
             for (int i = 0; i < 3; ++i) w.translation->Get(i)->FCurveGet()->KeyShrink();
         }},
        {"show tangents", Manipulated([](World& w) { w.manipulator.SetTangentVisibility(true); }),
         [](World& w) {
             w.manipulator.SetShowManyTangents(false);
             w.manipulator.SelectKeys(kSelectionReplace, Seconds(3), Seconds(9), -1e9, 1e9);
         }},
        {"begin", Manipulated([](World& w) { w.manipulator.BeginManipulation(kManipulationMove, true); }),
         [](World& w) { w.manipulator.MarkKeysForManip(true, nullptr, 3, 30); }},
        {"offset", Manipulated([](World& w) { w.manipulator.Offset(Seconds(30.5), 1.0); }), manipulate},
        {"stretch", Manipulated([](World& w) { w.manipulator.StretchXY(-1.5, 2.0, Seconds(15), 1.0); }),
         manipulate},
        {"copy", Silent([](World& w) {
             YFCurveManipulator copy;
             copy = w.manipulator;
             if (copy.GetNodeCount() == 3) w.manipulator.SetTangentVisibility(true);
         })},
    });
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
            return talo.TextOpen(file.data(), file.size()) ? from(w, talo) : Said::Refused;
        };
    };
    const auto readCurve = [&](const auto& from) {
        return read([from](World& w, YTalo& talo) {
            talo.FieldReadBegin("Curve");
            return talo.FieldReadBlockBegin() ? from(w, talo) : Said::Refused;
        });
    };
    CheckAll({
        {"curve", readCurve([](World& w, YTalo& talo) { return When(w.empty->TaloRetrieve(&talo)); })},
        {"new curve", readCurve([](World& w, YTalo& talo) { return w.Made(YFCurveCreate(&talo)); })},
        {"node", read([](World& w, YTalo& talo) { return When(w.bare->TaloRetrieve(&talo)); })},
        {"node with layers", read([](World& w, YTalo& talo) { return When(w.other->TaloRetrieve(&talo)); })},
        {"new node", read([](World& w, YTalo& talo) { return w.Made(YFCurveNodeCreate(&talo, false)); })},
        {"child", read([](World& w, YTalo& talo) {
             return When(YFCurveNodeCreate(&talo, w.root.get(), false) != nullptr);
         })},
        {"writing",
         [&](World& w) {
             TextOutput output(100000);
             output.text.reserve(1);
             YTalo talo;
             if (!talo.OutputCreate(&output)) return Said::Refused;
             w.rotation->TaloStore(&talo);
             return When(talo.FileClose());
         }},
    });
}

TEST(OutOfMemory, Filters)
{
    std::vector<Operation> operations;
    for (YClassDefinition* found = YClassRegistry::GetFirst(); found != nullptr;
         found = YClassRegistry::GetNext(*found)) {
        if (!found->IsDerivedFrom(YFCurveFilter::StaticClass()) || found->GetOptions().create == nullptr)
            continue;
        const std::string name = found->GetName();
        const auto apply = [name](const auto& application) {
            return [=](World& w) {
                const std::unique_ptr<YFCurveFilter, void (*)(YFCurveFilter*)> filter(
                    YFCurveFilterCreate(name.c_str()), [](YFCurveFilter* made) { made->Destroy(); });
                if (!filter) return Said::Refused;
                application(w, *filter);
                return When(filter->GetOutcome() != eFilterOutcome::OutOfMemory);
            };
        };
        operations.push_back(
            {name + " of a curve", apply([](World& w, YFCurveFilter& f) { f.Apply(*w.curve); })});
        operations.push_back({name + " of a tree", apply([](World& w, YFCurveFilter& f) {
                                  if (auto* fit = dynamic_cast<YFCurveFilterFit*>(&f)) fit->SetTogether(true);
                                  f.Apply(*w.root, true);
                              })});
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
    CheckAll({{"undo", [=](World&) { return When((*undo)->Undo()); }, edit}});
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

TEST(OutOfMemory, ReleasingTakesNone)
{
    auto world = std::make_unique<World>();
    std::vector<YFCurvePtr> curves;  // of several chunks of records and of blocks
    for (int i = 0; i < 200; ++i) curves.push_back(MixedCurve());
    const FailingHeap none(0);
    curves.clear();
    world.reset();
    EXPECT_FALSE(none.HasFailed());
}

TEST(OutOfMemory, NamesStay)
{
    YObject object("old");
    YProperty property("old");
    bool isSet = false;
    {
        const FailingHeap none(0);
        const char* longName = "a name that is too long for the string itself";
        isSet = object.SetObjectName(longName) || property.SetName(longName);
    }
    EXPECT_FALSE(isSet);
    EXPECT_STREQ(object.GetObjectName(), "old");
    EXPECT_STREQ(property.GetName(), "old");
}

}  // namespace
