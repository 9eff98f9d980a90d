#include "yfcurve/yfcurveundo.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace {

using nodetest::Seconds;

/// All bits of a tree that a step is to bring back, and which nodes its links lead to.
class State
{
  public:
    explicit State(const YFCurveNode& top) { AddNode(top); }
    bool operator==(const State&) const = default;

  private:
    template<class... Values>
    void Add(const Values&... values)
    {
        (mBytes.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
    }

    void AddNode(const YFCurveNode& node)
    {
        Add(&node, node.TimeWarpGet(), node.GetUseQuaternion(), node.GetRotationOrder(), node.GetLayerType(),
            node.GetWeightRotationAccumulationMode(), node.FCurveGet() != nullptr,
            node.LayerGet() != nullptr);
        if (node.FCurveGet() != nullptr) AddCurve(*node.FCurveGet());
        for (int i = 0; i < node.GetCount(); ++i) AddNode(*node.Get(i));
        if (node.LayerGet() != nullptr) AddNode(*node.LayerGet());
    }

    void AddCurve(const YFCurve& curve)
    {
        for (int i = 0; i < curve.KeyGetCount(); ++i) {
            YFCurveKey key = curve.KeyGet(i);
            key.SetSelected(false);  // no edit
            key.SetMarkedForManipulation(false);
            Add(key);
        }
        for (int i = 0; i < 3; ++i) Add(curve.GetColor()[i]);
        Add(curve.GetValue(), curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount(),
            curve.GetPostExtrapolation(), curve.GetPostExtrapolationCount(), curve.GetWasData());
    }

    std::string mBytes;
};

/// Edits of every kind on a joint of nine curves with layers.
class RandomEdits
{
  public:
    explicit RandomEdits(RandomCurves& random) : mRandom(random)
    {
        for (int i = 0; i < 9; ++i) mRandom.AddKeys(*Curve(i), 40, 0.5);
        YFCurve& zeros = *Curve(8);  // slopes that differ in their sign alone
        zeros.KeySetOptimizeEnable(false);
        for (int i = 0; i < 40; ++i) {
            const float zero = mRandom.Chance(0.5) ? -0.0f : 0.0f;
            zeros.KeyAdd(Seconds(i), yfc::test::UserKey(1.0f, zero, -zero));
        }
        zeros.KeySetOptimizeEnable(true);
        manipulator.Add(joint->Get(0)->Get(0));
    }

    void Edit()
    {
        YFCurve* const curve = Curve(mRandom.Below(9));
        YFCurveNode& property = *joint->Get(mRandom.Below(3));
        const YTime time = Seconds(mRandom.Between(-1.0, 20.0));
        const int kind = mRandom.Below(13);
        if (kind == 0) curve->KeyAdd(time, yfc::test::RandomKey(mRandom));
        if (kind == 1) curve->KeyInsert(time);
        if (kind == 2) curve->Delete(time, time + Seconds(mRandom.Between(0.0, 9.0)));
        if (kind == 3) MoveKeys(*curve);
        if (kind == 4) mRandom.SetAnyExtrapolation(*curve);
        if (kind == 5) curve->KeyClear();
        if (kind == 6) property.CreateLayerAt({mRandom.Below(4) + 1, nullptr});
        if (kind == 7) property.RemoveLayer(mRandom.Below(5), true);
        if (kind == 8) property.TimeWarpSet(mRandom.Chance(0.3) ? nullptr : nodetest::LinearWarp(1, 2));
        if (kind == 9) ChangeCurve(property);
        if (kind == 10) SelectKeys(*curve);
        if (kind == 11) Drag();
        if (kind == 12) ChangeSettings(property);
    }

    YFCurveNodePtr joint = nodetest::Joint();
    YFCurveManipulator manipulator;

  private:
    /// Of the joint or, now and then, of the layer behind one of its properties; a missing one is made.
    YFCurve* Curve(int index)
    {
        YFCurveNode* property = joint->Get(index / 3);
        if (property->LayerGet() != nullptr && mRandom.Chance(0.5)) property = property->LayerGet();
        property->Get(index % 3)->CreateFCurve();
        return property->Get(index % 3)->FCurveGet();
    }

    void SelectKeys(YFCurve& curve)
    {
        for (int i = 0; i < curve.KeyGetCount(); ++i) curve.KeySetSelected(i, mRandom.Chance(0.3));
    }

    void MoveKeys(YFCurve& curve)
    {
        SelectKeys(curve);
        curve.KeyMoveOf(true, YTime(mRandom.Below(1000)), mRandom.Float(-1.0, 1.0));
    }

    /// Of the property with all its layers, or from one of them on.
    void ChangeSettings(YFCurveNode& property)
    {
        const bool isOfLayer = property.LayerGet() != nullptr && mRandom.Chance(0.5);
        YFCurveNode& node = isOfLayer ? *property.LayerGet() : property;
        if (mRandom.Chance(0.5)) return node.SetUseQuaternion(mRandom.Chance(0.5));
        if (mRandom.Chance(0.5)) return node.SetRotationOrder(mRandom.Below(6));
        node.SetLayerType(mRandom.Pick({0, 2, 5}));
        node.SetWeightRotationAccumulationMode(YFCURVE_LAYER_ROTATION_BY_LAYER);
    }

    void ChangeCurve(YFCurveNode& property)
    {
        YFCurveNode& leaf = *property.Get(0);
        if (mRandom.Chance(0.3)) return leaf.FCurveReplace(nullptr);
        leaf.CreateFCurve();
        const float colour[3] = {mRandom.Float(0.0, 1.0), 0.5f, -0.0f};
        leaf.SetColor(colour);
        leaf.FCurveGet()->SetValue(1.0f);
        leaf.FCurveGet()->SetValue(mRandom.Chance(0.5) ? -0.0f : 0.0f);
    }

    void Drag()
    {
        YFCurve* const curve = joint->Get(0)->Get(0)->FCurveGet();
        if (curve == nullptr) return;
        manipulator.MarkCurveNodeForManip(true, nullptr);
        for (int i = 0; i < curve->KeyGetCount(); i += 3) curve->KeySetMarkedForManipulation(i, true);
        manipulator.BeginManipulation(kManipulationMove);
        for (int i = 1; i < 4; ++i) manipulator.Offset(YTime(i * 1000), 0.5 * i);
        manipulator.EndManipulation();
    }

    RandomCurves& mRandom;
};

TEST(Undo, BringsBackEveryBitOfEveryStep)
{
    RandomCurves random;
    for (int round = 0; round < 8; ++round) {
        RandomEdits edits(random);
        YFCurveUndo undo;
        ASSERT_TRUE(undo.Watch(edits.joint.get()));
        std::vector<State> states{State(*edits.joint)};
        for (int step = 0; step < 40; ++step) {
            undo.StepBegin("outer");
            for (int i = random.Below(4); i >= 0; --i) {
                const YFCurveUndoStep inner(undo, "inner");
                edits.Edit();
            }
            if (random.Chance(0.1)) {
                undo.StepCancel();
                ASSERT_TRUE(State(*edits.joint) == states.back()) << "cancelled step " << step;
                continue;
            }
            const int before = undo.GetUndoCount();
            undo.StepEnd();
            if (undo.GetUndoCount() > before) states.emplace_back(*edits.joint);
        }
        ASSERT_EQ(undo.GetUndoCount(), static_cast<int>(states.size()) - 1);
        ASSERT_GT(states.size(), 10u);
        for (int turn = 0; turn < 3; ++turn) {
            for (std::size_t i = states.size() - 1; i-- > 0;) {
                ASSERT_STREQ(undo.GetUndoName(), "outer");
                ASSERT_TRUE(undo.Undo());
                ASSERT_TRUE(State(*edits.joint) == states[i]) << "undo to " << i;
            }
            ASSERT_FALSE(undo.Undo());
            for (std::size_t i = 1; i < states.size(); ++i) {
                ASSERT_TRUE(undo.Redo());
                ASSERT_TRUE(State(*edits.joint) == states[i]) << "redo to " << i;
            }
            ASSERT_FALSE(undo.Redo());
        }
    }
}

/// Counts how often it was undone and not redone. May keep a node that was taken out of the tree.
class Action final : public YFCurveUndoAction
{
  public:
    explicit Action(int& undone, YFCurveNodePtr node = {}) : mUndone(undone), mNode(std::move(node)) {}
    void Undo() override { ++mUndone; }
    void Redo() override { --mUndone; }
    std::size_t GetByteCount() const override { return 1000; }

  private:
    int& mUndone;
    YFCurveNodePtr mNode;
};

/// Sets what comes back by itself.
class MeddlingAction final : public YFCurveUndoAction
{
  public:
    explicit MeddlingAction(YFCurveNode& node) : mNode(node) {}
    void Undo() override { mNode.SetRotationOrder(5); }
    void Redo() override { mNode.SetRotationOrder(5); }

  private:
    YFCurveNode& mNode;
};

TEST(Undo, ACurveThatComesBackIsLockedAsItsNodeIs)
{
    const YFCurveNodePtr joint = nodetest::Joint();
    joint->SetLockedByProperty(true);
    YFCurveUndo undo;
    ASSERT_TRUE(undo.Watch(joint.get()));
    YFCurveNode& leaf = *joint->Get(0)->Get(0);
    leaf.FCurveReplace(nullptr);
    ASSERT_TRUE(undo.Undo());
    EXPECT_TRUE(leaf.FCurveGet()->IsLockedByProperty());
}

TEST(Undo, StepsAreEditsAndKeepToTheirMemory)
{
    const YFCurveNodePtr node = nodetest::Translation();
    YFCurve& curve = *node->Get(0)->FCurveGet();
    YFCurveUndo undo(5000);
    undo.Watch(node.get());
    curve.KeyAppendFast(Seconds(0), 1.0f);
    curve.KeyAppendFast(Seconds(1), 1.0f);
    EXPECT_EQ(undo.GetUndoCount(), 2);
    curve.KeySetSelected(0, true);
    EXPECT_EQ(undo.GetUndoCount(), 2) << "selecting is no edit";
    EXPECT_TRUE(undo.Undo());
    EXPECT_EQ(curve.KeyGetCount(), 1);
    EXPECT_TRUE(curve.KeyGetSelected(0));
    static_cast<void>(YFCurveUndoStep(undo, "nothing"));
    EXPECT_EQ(undo.GetRedoCount(), 1) << "a step without changes is none";
    curve.KeySetValue(0, 2.0f);
    EXPECT_EQ(undo.GetRedoCount(), 0);
    node->SetUseQuaternion(true);
    EXPECT_TRUE(undo.Undo() && !node->GetUseQuaternion() && undo.GetRedoCount() == 1) << "without an event";
    EXPECT_EQ(curve.KeyGetValue(0), 2.0f);
    {
        const YFCurveUndoStep step(undo, "of a key that was selected before");
        curve.KeySet(0, YFCurveKey());
        node->SetRotationOrder(3);
        undo.Add(std::make_unique<MeddlingAction>(*node));
    }
    EXPECT_TRUE(undo.Undo() && curve.KeyGetSelected(0) && node->GetRotationOrder() == 0);
    EXPECT_TRUE(undo.Redo() && !curve.KeyGetSelected(0) && node->GetRotationOrder() == 3 && undo.Undo());
    undo.Clear();

    int undone = 0;
    for (int i = 0; i < 9; ++i) {
        EXPECT_TRUE(undo.Add(std::make_unique<Action>(undone)));
        EXPECT_LE(undo.GetByteCount(), 5000u);
        EXPECT_GE(undo.GetUndoCount(), i < 4 ? i + 1 : 4) << "what the last actions leave room for";
    }
    while (undo.Undo()) {
    }
    EXPECT_EQ(undone, 4);
    undo.SetMemory(2500);
    EXPECT_EQ(undo.GetRedoCount(), 2);
    EXPECT_TRUE(undo.Redo());
    EXPECT_EQ(undone, 3);
    EXPECT_TRUE(undo.Add(std::make_unique<Action>(undone)));
    EXPECT_EQ(undo.GetUndoCount(), 2) << "in place of the step that could be redone";

    undo.SetMemory(0);
    const std::uint64_t changes = undo.GetChangeCount();
    curve.KeySetValue(0, 2.5f);
    EXPECT_EQ(undo.GetUndoCount(), 0);
    EXPECT_EQ(undo.GetChangeCount(), changes + 1) << "of a step that is forgotten at once";
    undo.SetMemory(5000);
    curve.KeySetValue(0, 3.0f);
    EXPECT_TRUE(undo.Undo() && undo.Redo());
    EXPECT_EQ(undo.GetChangeCount(), changes + 2) << "of an edit alone";
    node->Get(0)->CallbackEnable(false);
    curve.KeySetValue(0, 4.0f);
    node->Get(0)->CallbackClear();
    node->Get(0)->CallbackEnable(true);
    EXPECT_FALSE(undo.Undo()) << "edited behind its back";
    EXPECT_EQ(undo.GetChangeCount(), changes + 3) << "of what is given up";
    EXPECT_EQ(curve.KeyGetValue(0), 4.0f);
    EXPECT_EQ(undo.GetByteCount(), 0u);
}

TEST(Undo, EndsWithItsNodesAndTakesNothingAlong)
{
    const int records = YFCURVE_GetKeyAttrCount();
    int undone = 0;
    nodetest::CountedNode::alive = 0;
    {
        YFCurveUndo undo;
        auto* const base = new nodetest::CountedNode("base");
        YFCurveNodePtr owner(base);
        base->LayerSet(new nodetest::CountedNode("layer", {1, nullptr}));
        undo.Watch(base);
        YFCurveNode* const layer = base->LayerGet();
        layer->CreateFCurve();
        layer->FCurveGet()->KeyAppendFast(Seconds(0), 1.0f);
        base->RemoveLayer(1, true);
        EXPECT_EQ(nodetest::CountedNode::alive, 2) << "a step needs the layer";
        EXPECT_TRUE(undo.Undo() && undo.Undo() && undo.Redo());
        EXPECT_EQ(base->LayerGet(), layer);
        EXPECT_EQ(layer->FCurveGet()->KeyGetCount(), 1);
        EXPECT_TRUE(undo.Redo());
        undo.Clear();
        EXPECT_EQ(nodetest::CountedNode::alive, 1);
        {
            const YFCurveUndoStep step(undo, "with nodes of an action");
            for (int i = 0; i < 2; ++i) {
                YFCurveNodePtr kept(new nodetest::CountedNode("kept"));
                undo.Watch(kept.get());
                undo.Add(std::make_unique<Action>(undone, std::move(kept)));
            }
            base->Add(new nodetest::CountedNode("ended"));
            undo.Watch(base);
            base->Delete(0);
            EXPECT_EQ(nodetest::CountedNode::alive, 1) << "the step cannot keep its actions";
        }
        undo.StepBegin("with a node that is watched in it");
        auto* const child = new nodetest::CountedNode("child");
        base->Add(child);
        undo.Watch(base);
        child->CreateFCurve();
        undo.StepEnd();
        EXPECT_TRUE(undo.Undo() && child->FCurveGet() == nullptr);
        undo.Clear();
        {
            const YFCurveUndoStep step(undo, "named");
            base->Delete(0);
            base->CreateFCurve();
            base->FCurveGet()->KeyAppendFast(Seconds(0), 1.0f);
        }
        EXPECT_STREQ(undo.GetUndoName(), "named") << "a node that ends in a step leaves its name";
        EXPECT_TRUE(undo.Undo() && base->FCurveGet() == nullptr && undo.Redo());
        EXPECT_EQ(undo.GetUndoCount(), 1);
        owner.reset();
        EXPECT_EQ(undo.GetUndoCount(), 0);
        EXPECT_EQ(nodetest::CountedNode::alive, 0);
    }
    EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
}

}  // namespace
