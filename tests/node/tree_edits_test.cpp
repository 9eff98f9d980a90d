#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/curve/curve_fixtures.h"
#include "tests/node/nodes.h"
#include "tests/test_environment.h"
#include "tests/ybaselib/talo_testing.h"
#include "yfcurve/yfcurvemergelayers.h"

using namespace nodetest;
using yfc::test::Random;

// A session in an editor that tries everything: random edits of a tree with layers. A file holds
// what the tree is at any time, and at the end nothing of it is left.

namespace {

constexpr int kMostNodes = 40;
constexpr int kMostKeys = 30;
constexpr int kHostLayers = 4;
constexpr int kEdits = 6000;

class TreeEdits
{
  public:
    explicit TreeEdits(unsigned seed) : mRandom(seed)
    {
        for (int id = 1; id <= kHostLayers; ++id) {
            const auto mode = static_cast<eLayerMode>(mRandom.Int(0, 2));
            mLayers[static_cast<std::size_t>(id - 1)] = {mode, mRandom.Pick<double>({0.25, 0.5, 1.0})};
        }
    }

    void Edit(int edits)
    {
        using Operation = void (TreeEdits::*)();
        struct Choice
        {
            int share;
            Operation operation;
        };
        constexpr Choice choices[] = {
            {10, &TreeEdits::AddNode},     {6, &TreeEdits::EndNode},     {4, &TreeEdits::MoveNode},
            {40, &TreeEdits::AddKeys},     {10, &TreeEdits::DeleteKeys}, {8, &TreeEdits::AddLayer},
            {3, &TreeEdits::RemoveLayer},  {2, &TreeEdits::MergeLayers}, {10, &TreeEdits::SetCandidate},
            {6, &TreeEdits::EndCandidate}, {6, &TreeEdits::CopyNode},    {1, &TreeEdits::StoreAndRead},
        };
        int all = 0;
        for (const Choice& choice : choices) all += choice.share;
        for (int i = 0; i < edits && !testing::Test::HasFailure(); ++i) {
            int chosen = mRandom.Int(0, all - 1);
            const Choice* choice = choices;
            while (chosen >= choice->share) chosen -= (choice++)->share;
            (this->*choice->operation)();
        }
        StoreAndRead();
    }

  private:
    static YTime At(int frame) { return YTime::FromSeconds(frame / 10.0); }
    YTime AnyTime() { return At(mRandom.Int(0, 40)); }
    double AnyValue() { return mRandom.Int(-100, 100) * 0.5; }

    YFCurveLayerInfo AnyLayer()
    {
        const int id = mRandom.Int(0, kHostLayers);
        return id == 0 ? YFCurveLayerInfo::Base
                       : YFCurveLayerInfo(id, &mLayers[static_cast<std::size_t>(id - 1)]);
    }

    // --- Nodes ---

    // Of the base layer, parents before children.
    std::vector<YFCurveNode*> Nodes() const
    {
        std::vector<YFCurveNode*> nodes = {mTop.get()};
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            for (int k = 0; k < nodes[i]->GetCount(); ++k) nodes.push_back(nodes[i]->Get(k));
        }
        return nodes;
    }

    template<class Condition>
    YFCurveNode* AnyNode(const Condition& condition)
    {
        std::vector<YFCurveNode*> nodes = Nodes();
        std::erase_if(nodes, [&](const YFCurveNode* node) { return !condition(*node); });
        if (nodes.empty()) return nullptr;
        return nodes[static_cast<std::size_t>(mRandom.Int(0, static_cast<int>(nodes.size()) - 1))];
    }

    static bool IsGroup(const YFCurveNode& node) { return std::string(node.GetName()).starts_with("group"); }
    static bool IsProperty(const YFCurveNode& node)
    {
        return !IsGroup(node) && node.GetParent() != nullptr && IsGroup(*node.GetParent());
    }

    YFCurveNode* AnyGroup() { return AnyNode(IsGroup); }
    YFCurveNode* AnyProperty() { return AnyNode(IsProperty); }

    // A property, or one of its layers.
    YFCurveNode* AnyLayerNode()
    {
        YFCurveNode* node = AnyProperty();
        while (node != nullptr && node->LayerGet() != nullptr && mRandom.Chance(0.6)) node = node->LayerGet();
        return node;
    }

    YFCurve* AnyCurve()
    {
        YFCurveNode* const node = AnyLayerNode();
        if (node == nullptr) return nullptr;
        return node->GetCount() > 0 ? node->Get(mRandom.Int(0, node->GetCount() - 1))->FCurveGet()
                                    : node->FCurveGet();
    }

    std::string NewName(const char* kind) { return kind + std::to_string(++mNames); }

    void AddNode()
    {
        if (Nodes().size() > kMostNodes) return EndNode();
        YFCurveNode* const parent = AnyGroup();
        YFCurveNodePtr made;
        if (mRandom.Chance(0.3)) {
            made.reset(YFCurveNodeCreate(NewName("group").c_str(), nullptr, 0));
        } else {
            const auto type = mRandom.Pick<eDataType>({eDataType::LocalTranslation, eDataType::LocalRotation,
                                                       eDataType::LocalScaling, eDataType::Number});
            made = PropertyOf(type, NewName("property").c_str());
            made->SetUseQuaternion(type == eDataType::LocalRotation && mRandom.Chance(0.3));
        }
        ASSERT_GE(parent->Add(made.get()), 0);
        static_cast<void>(made.release());
    }

    void EndNode()
    {
        YFCurveNode* const node = AnyNode(
            [&](const YFCurveNode& at) { return &at != mTop.get() && (IsGroup(at) || IsProperty(at)); });
        if (node == nullptr) return;
        if (mRandom.Chance(0.5)) {
            node->Destroy();
        } else if (mRandom.Chance(0.5)) {
            node->GetParent()->Delete(node);
        } else {
            node->Clear();
            node->Destroy();
        }
    }

    // Into itself, too, which is refused.
    void MoveNode()
    {
        YFCurveNode* const node = AnyNode([&](const YFCurveNode& at) { return &at != mTop.get(); });
        if (node == nullptr || !(IsGroup(*node) || IsProperty(*node))) return;
        YFCurveNode* const former = node->GetParent();
        YFCurveNode* const group = AnyGroup();
        former->Remove(former->Find(node));
        if (group->Add(node) >= 0) return;
        EXPECT_TRUE(group == node || node->IsChild(group, true));
        EXPECT_GE(former->Add(node), 0);
    }

    void CopyNode()
    {
        YFCurveNode* const node = AnyProperty();
        if (node == nullptr) return;
        const YFCurveNodePtr copy(mRandom.Chance(0.5) ? node->Clone() : node->Copy(At(5), At(25)));
        ASSERT_TRUE(copy);
        if (mRandom.Chance(0.5)) copy->RemoveLayer(mRandom.Int(1, kHostLayers), true);
        YFCurveNode* const target = AnyNode(
            [&](const YFCurveNode& at) { return IsProperty(at) && at.GetCount() == node->GetCount(); });
        if (mRandom.Chance(0.5)) {
            target->CopyFrom(copy.get());
        } else {
            target->Replace(copy.get(), At(10), At(20), true, mRandom.Chance(0.5));
        }
    }

    // --- Keys ---

    // Without what a file does not keep: velocities, and weights of auto keys.
    YFCurveKey AnyKey()
    {
        const auto value = static_cast<float>(AnyValue());
        const auto slope = [&] { return static_cast<float>(AnyValue()); };
        switch (mRandom.Int(0, 5)) {
            case 0:
                return yfc::test::AutoKey(value);
            case 1:
                return yfc::test::TCBKey(value, slope() * 0.01f, slope() * 0.01f, slope() * 0.01f);
            case 2:
                return yfc::test::LinearKey(value);
            case 3:
                return yfc::test::ConstantKey(
                    value, mRandom.Pick<unsigned>({YFCURVE_CONSTANT_STANDARD, YFCURVE_CONSTANT_NEXT}));
            default:
                return yfc::test::UserKey(value, slope(), slope());
        }
    }

    void AddKeys()
    {
        YFCurve* const curve = AnyCurve();
        if (curve == nullptr || curve->KeyGetCount() > kMostKeys) return DeleteKeys();
        if (mRandom.Chance(0.3)) curve->KeyInsert(AnyTime());
        curve->KeyAdd(AnyTime(), AnyKey());
    }

    void DeleteKeys()
    {
        YFCurve* const curve = AnyCurve();
        if (curve == nullptr) return;
        const YTime start = AnyTime();
        curve->Delete(start, start + At(mRandom.Int(0, 10)));
    }

    // --- Layers and candidates ---

    void AddLayer()
    {
        YFCurveNode* const node = AnyProperty();
        if (node == nullptr) return;
        YFCurveNode* const layer = node->GetCorrectLayerAndCreateIfMissing(AnyLayer());
        ASSERT_NE(layer, nullptr);
        const std::vector<double> values(3, AnyValue());
        layer->KeyAdd(AnyTime(), values.data());
    }

    void RemoveLayer()
    {
        YFCurveNode* const node = AnyProperty();
        if (node == nullptr) return;
        const bool destroys = mRandom.Chance(0.5);
        const YFCurveNodePtr removed(node->RemoveLayer(mRandom.Int(1, kHostLayers), destroys));
        EXPECT_FALSE(destroys && removed);
    }

    void MergeLayers()
    {
        YFCurveNode* const node = AnyProperty();
        if (node == nullptr) return;
        YMergeLayerOptions options;
        options.plot.period = At(2);
        options.plot.tolerance = 1.0;
        options.removeMerged = mRandom.Chance(0.7);
        if (mRandom.Chance(0.3)) YFCURVE_MergeLayers(node, options);
        YFCURVE_ConstantCurveMerge(node, options);
    }

    void SetCandidate()
    {
        YFCurveNode* const node = AnyProperty();
        if (node == nullptr) return;
        std::vector<double> values(3, AnyValue());
        if (mRandom.Chance(0.3)) node->GetCandidateState(mState);
        if (mRandom.Chance(0.3)) {
            node->CandidateSetSpecificLayer(AnyTime(), values.data(), AnyLayer());
        } else {
            node->CandidateSet(AnyTime(), values.data(), AnyLayer());
        }
        node->CandidateEvaluate(values.data(), AnyTime());
    }

    void EndCandidate()
    {
        YFCurveNode* const node = mRandom.Chance(0.1) ? mTop.get() : AnyProperty();
        if (node == nullptr) return;
        if (mRandom.Chance(0.5)) {
            node->CandidateKey(nullptr, AnyLayer());
        } else if (mRandom.Chance(0.5)) {
            node->SetCandidateState(mState);
        } else {
            node->CandidateClear();
        }
    }

    // --- Files ---

    // A slope of 0 has no sign: the two sides of a key share one.
    static std::string Stored(const YFCurveNode& node)
    {
        std::string text = Written([&](YTalo& talo) { node.TaloStore(&talo); });
        for (const char* zero : {"-0.0 ", "-0.0'"}) {
            for (std::size_t at = 0; (at = text.find(zero, at)) != std::string::npos;) text.erase(at, 1);
        }
        return text;
    }

    void StoreAndRead()
    {
        const std::string text = Stored(*mTop);
        ASSERT_FALSE(text.empty());
        YTalo talo;
        ASSERT_TRUE(talo.TextOpen(text.data(), text.size()));
        const YFCurveNodePtr read(YFCurveNodeCreate(&talo, false));
        ASSERT_TRUE(talo.FileClose() && read);
        const std::string again = Stored(*read);
        const auto [was, is] = std::mismatch(text.begin(), text.end(), again.begin(), again.end());
        ASSERT_TRUE(again == text) << "stored\n"
                                   << std::string(was, std::min(was + 200, text.end())) << "\nstored again\n"
                                   << std::string(is, std::min(is + 200, again.end()));
        EXPECT_EQ(read->KeyGetCount(true), mTop->KeyGetCount(true));
        const auto count = static_cast<std::size_t>(mTop->GetCurveCount());
        ASSERT_EQ(static_cast<std::size_t>(read->GetCurveCount()), count);
        std::vector<double> expected(count);
        std::vector<double> values(count);
        for (int frame = -3; frame < 50; frame += 7) {
            mTop->Evaluate(expected.data(), At(frame));
            read->Evaluate(values.data(), At(frame));
            EXPECT_EQ(values, expected) << frame;
        }
    }

    Random mRandom;
    std::array<TurnedLayer, kHostLayers> mLayers;
    YFCurveNodePtr mTop{YFCurveNodeCreate("group", nullptr, 0)};
    YFCurveNodeCandidateState mState;
    int mNames = 0;
};

}  // namespace

TEST(TreeEdits, AreWhatAFileHoldsAndLeaveNothingBehind)
{
    const std::string howToRepeat = test::HowToRepeat();
    const int records = YFCURVE_GetKeyAttrCount();
    const unsigned seed = test::Seed();
    constexpr std::size_t kRounding = 128;  // where blocks happen to lie
    // A thread gives back what it has put by for itself. Pools keep what they have had: from the second time
    // on that is the same.
    std::size_t left = 0;
    for (int round = 0; round < 3; ++round) {
        std::thread([&] {
            SCOPED_TRACE(howToRepeat);
            TreeEdits(seed).Edit(kEdits);
        }).join();
        EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
        const std::size_t used = mallinfo2().uordblks;
        EXPECT_TRUE(round < 2 || used <= left + kRounding) << used - left << " bytes more\n" << howToRepeat;
        left = used;
    }
}
