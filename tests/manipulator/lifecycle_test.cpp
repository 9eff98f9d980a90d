#include <gtest/gtest.h>

#include <memory>

#include "manipulated.h"
#include "yfcurve/manipulator/manipulation.h"

using namespace manipulatortest;
using yfc::test::UserKey;

namespace {

class OpenManipulator : public YFCurveManipulator
{
  public:
    using YFCurveManipulator::GetManipulation;
};

YFCurveNodePtr Translation()
{
    YFCurveNodePtr node(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalTranslation), "t"));
    node->CreateFCurve();
    return node;
}

}  // namespace

TEST(ManipulatorNodes, AreRegisteredOnceWithTheirCurvesParentsFirst)
{
    const YFCurveNodePtr tree = Translation();
    YFCurveManipulator manipulator;
    manipulator.Add(tree.get());
    manipulator.Add(tree.get());
    manipulator.Add(nullptr);
    ASSERT_EQ(manipulator.GetNodeCount(), 3) << "the parent has no curve";
    EXPECT_EQ(manipulator.GetNode(2), tree->Get(2));

    manipulator.BeginAddRemoveCurveNode();
    manipulator.BeginAddRemoveCurveNode();
    manipulator.Remove(tree->Get(0));
    manipulator.MarkCurveNodeForManip(true, tree->Get(1));
    manipulator.EndAddRemoveCurveNode();
    EXPECT_EQ(manipulator.GetNodeCount(), 3);
    EXPECT_TRUE(manipulator.IsCurveNodeMarkedForManip(tree->Get(1)));
    manipulator.EndAddRemoveCurveNode();
    EXPECT_EQ(manipulator.GetNodeCount(), 2);
    EXPECT_FALSE(manipulator.IsCurveNodeMarkedForManip(tree->Get(1))) << "an update clears the marks";

    manipulator.MarkCurveNodeForManip(true, nullptr);
    EXPECT_TRUE(manipulator.IsCurveNodeMarkedForManip(tree->Get(2)));
    manipulator.MarkCurveNodeForManip(false, tree->Get(2));
    EXPECT_FALSE(manipulator.IsCurveNodeMarkedForManip(tree->Get(2)));
    EXPECT_TRUE(manipulator.IsCurveNodeMarkedForManip(tree->Get(1)));
    manipulator.MarkCurveNodeForManip(false, nullptr);
    EXPECT_FALSE(manipulator.IsCurveNodeMarkedForManip(tree->Get(1)));
    manipulator.ClearFCurveNodes();
    EXPECT_EQ(manipulator.GetNodeCount(), 0);
}

TEST(ManipulatorMarks, FollowTheSelectionWithoutEvents)
{
    const YFCurveNodePtr node = Samples(4);
    YFCurve& curve = *node->FCurveGet();
    YFCurveManipulator manipulator;
    Mark(manipulator, *node, 0, 1);
    curve.KeySetSelected(1, true);
    curve.KeySetSelected(3, true);
    yfc::test::EventLog log(curve);
    manipulator.MarkKeysForManipFromSelection();
    EXPECT_FALSE(curve.KeyGetMarkedForManipulation(0));
    EXPECT_TRUE(curve.KeyGetMarkedForManipulation(1));
    EXPECT_TRUE(curve.KeyGetMarkedForManipulation(3));
    manipulator.ClearMarkKeysForManip();
    EXPECT_FALSE(curve.KeyGetMarkedForManipulation(1));
    EXPECT_FALSE(curve.KeyGetMarkedForManipulation(3));
    EXPECT_TRUE(log.events.empty());
}

TEST(Manipulation, CutsCurvesIntoPieces)
{
    const YFCurveNodePtr node = NodeOf(
        {UserKey(0, 1, 10), UserKey(1, 2, 20), UserKey(2, 3, 30), UserKey(3, 4, 40), UserKey(4, 5, 50)});
    YFCurve& curve = *node->FCurveGet();
    OpenManipulator manipulator;
    Mark(manipulator, *node, 1, 1);
    manipulator.MarkKeysForManip(true, nullptr, 3, 3);
    curve.KeySetSelected(3, true);
    manipulator.BeginManipulation(kManipulationMove);
    {
        const yfc::ManipulatedNode& pieces = manipulator.GetManipulation()->Get(0);
        EXPECT_EQ(Keys(*pieces.markedCurve), "1:1 3:3");
        EXPECT_EQ(pieces.markedCurve->KeyGetLeftDerivative(1), 30.0f) << "of what is now another key's";
        EXPECT_EQ(Keys(*pieces.insideCurve), "2:2");
        EXPECT_EQ(Keys(*pieces.beforeCurve), "0:0");
        EXPECT_EQ(Keys(*pieces.afterCurve), "4:4");
        EXPECT_EQ(Bits(*pieces.wholeCurve), Bits(curve));
        EXPECT_EQ(pieces.spanStart.Derivative, 10.0f);
        EXPECT_EQ(pieces.spanEnd.Derivative, 20.0f) << "left of the unmarked key 2";
        EXPECT_EQ(pieces.afterLeft.Derivative, 40.0f);
        EXPECT_EQ(pieces.all->GetCount(), 5);
        EXPECT_EQ((*pieces.marked)[1].index, 3);
        EXPECT_TRUE((*pieces.marked)[1].selected);
        EXPECT_EQ((*pieces.inside)[0].left.Derivative, 20.0f);
    }
    manipulator.BeginManipulation(kManipulationMove, true);
    const yfc::ManipulatedNode& pieces = manipulator.GetManipulation()->Get(0);
    EXPECT_EQ(Keys(*pieces.insideCurve), "1:1 2:2 3:3");
    EXPECT_FALSE(pieces.insideCurve->KeyGetMarkedForManipulation(2));
    EXPECT_FALSE(pieces.insideCurve->KeyGetSelected(2));
    EXPECT_EQ(pieces.spanEnd.Derivative, 30.0f);
    EXPECT_EQ(Bits(*pieces.wholeCurve), Bits(curve));
}

TEST(Manipulation, TakesUpNothingWithoutMarksOrWithAnUnknownMode)
{
    const YFCurveNodePtr node = Samples(3);
    const YFCurveNodePtr locked = Samples(3);
    locked->SetLockedByProperty(true);
    OpenManipulator manipulator;
    Mark(manipulator, *locked, 0, 2);
    Mark(manipulator, *node, 0, -1);
    manipulator.BeginManipulation(kManipulationMove);
    const yfc::ManipulatedNode& pieces = manipulator.GetManipulation()->Get(1);
    EXPECT_EQ(manipulator.GetManipulation()->Get(0).all, nullptr);
    EXPECT_EQ(pieces.markedCurve->KeyGetCount() + pieces.insideCurve->KeyGetCount(), 0);
    EXPECT_EQ(pieces.spanStart.Weight, YFCURVE_DEFAULT_WEIGHT);
    manipulator.Offset(Sec(1), 1.0);
    for (const int mode : {0, 7, -1}) {
        manipulator.MarkKeysForManip(true, node.get(), 0, 2);
        manipulator.BeginManipulation(static_cast<eFCurveManipulationMode>(mode));
        EXPECT_EQ(manipulator.GetManipulation(), nullptr);
        manipulator.Offset(Sec(1), 1.0);
    }
    manipulator.EndManipulation();
    manipulator.StretchX(2.0, Sec(0));
    EXPECT_EQ(Keys(*node->FCurveGet()), "0:0 1:1 2:2");
    EXPECT_EQ(Keys(*locked->FCurveGet()), "0:0 1:1 2:2");
}

TEST(Manipulation, IsSharedByCopiesAndLeavesNothingBehind)
{
    const int records = YFCURVE_GetKeyAttrCount();
    {
        const YFCurveNodePtr node = Samples(40);
        auto manipulator = std::make_unique<OpenManipulator>();
        Mark(*manipulator, *node, 10, 20);
        manipulator->BeginManipulation(kManipulationMove, true);
        manipulator->OffsetX(Sec(0.5));
        OpenManipulator copy;
        copy = *manipulator;
        EXPECT_EQ(copy.GetManipulation(), manipulator->GetManipulation());
        manipulator.reset();
        copy.OffsetX(Sec(0));
        EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 40);
        copy.Remove(node.get());
        copy.OffsetX(Sec(1));
        EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 40) << "a node that is taken out is left alone";
    }
    EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
}
