#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "manipulated.h"

using namespace manipulatortest;
using yfc::test::MakeSamples;
using yfc::test::UserKey;

namespace {

class OpenManipulator : public YFCurveManipulator
{
  public:
    using YFCurveManipulator::GetWorkCurve;
    using YFCurveManipulator::GetWorkTangents;
    using YFCurveManipulator::kWorkInside;
    using YFCurveManipulator::kWorkMarked;
    using YFCurveManipulator::kWorkWhole;
    using YFCurveManipulator::WorkTangents;
};

}  // namespace

TEST(ManipulatorNodes, AreRegisteredOnceWithTheirCurvesParentsFirst)
{
    const YFCurveNodePtr tree(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalTranslation), "t"));
    tree->CreateFCurve();
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

    const auto marks = [&](bool on, YFCurveNode* node) {
        manipulator.MarkCurveNodeForManip(on, node);
        return std::pair(manipulator.IsCurveNodeMarkedForManip(tree->Get(1)),
                         manipulator.IsCurveNodeMarkedForManip(tree->Get(2)));
    };
    EXPECT_EQ(marks(true, nullptr), std::pair(true, true));
    EXPECT_EQ(marks(false, tree->Get(2)), std::pair(true, false));
    EXPECT_EQ(marks(false, nullptr), std::pair(false, false));
    manipulator.ClearFCurveNodes();
    EXPECT_EQ(manipulator.GetNodeCount(), 0);
}

TEST(Manipulation, CutsCurvesIntoPieces)
{
    const YFCurveNodePtr node = NodeOf(
        {UserKey(0, 1, 10), UserKey(1, 2, 20), UserKey(2, 3, 30), UserKey(3, 4, 40), UserKey(4, 5, 50)});
    OpenManipulator manipulator;
    Mark(manipulator, *node, 1, 4);
    manipulator.ClearMarkKeysForManip();
    for (const int key : {1, 3}) manipulator.MarkKeysForManip(true, nullptr, key, key);
    for (const bool keep : {false, true}) {
        manipulator.BeginManipulation(kManipulationMove, keep);
        const auto keys = [&](auto part) { return Keys(*manipulator.GetWorkCurve(node.get(), part)); };
        EXPECT_EQ(keys(OpenManipulator::kWorkWhole), "0:0 1:1 2:2 3:3 4:4");
        EXPECT_EQ(keys(OpenManipulator::kWorkMarked), "1:1 3:3");
        EXPECT_EQ(keys(OpenManipulator::kWorkInside), keep ? "1:1 2:2 3:3" : "2:2");
        OpenManipulator::WorkTangents tangents;
        ASSERT_TRUE(manipulator.GetWorkTangents(node.get(), tangents));
        EXPECT_EQ(tangents.spanStart.Derivative, 10.0f);
        EXPECT_EQ(tangents.spanEnd.Derivative, keep ? 30.0f : 20.0f);
        EXPECT_EQ(tangents.after.Derivative, 40.0f);
    }
}

TEST(Manipulation, TakesUpNothingWithoutMarksOrWithAnUnknownMode)
{
    const YFCurveNodePtr node = Samples(3), locked = Samples(3);
    locked->SetLockedByProperty(true);
    YFCurveManipulator manipulator;
    Mark(manipulator, *locked, 0, 2);
    Mark(manipulator, *node, 0, -1);
    for (const int mode : {int{kManipulationMove}, 0, 7, -1}) {
        manipulator.BeginManipulation(static_cast<eFCurveManipulationMode>(mode));
        manipulator.Offset(Sec(1), 1.0);
        manipulator.MarkKeysForManip(true, node.get(), 0, 2);
    }
    EXPECT_EQ(Keys(*node->FCurveGet()), "0:0 1:1 2:2");
    EXPECT_EQ(Keys(*locked->FCurveGet()), "0:0 1:1 2:2");
}

TEST(Manipulation, IsSharedByCopies)
{
    const YFCurveNodePtr node = Samples(40);
    auto manipulator = std::make_unique<YFCurveManipulator>();
    Mark(*manipulator, *node, 10, 20);
    manipulator->BeginManipulation(kManipulationMove, true);
    manipulator->OffsetX(Sec(0.5));
    YFCurveManipulator copy;
    copy = *manipulator;
    manipulator.reset();
    copy.OffsetX(Sec(0));
    EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 40) << "as it was before the drag of the other one";
    copy.Remove(node.get());
    copy.OffsetX(Sec(1));
    EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 40) << "a node that is taken out is left alone";
}

// Perhaps at the same address.
TEST(Manipulation, LeavesACurveAloneThatTakesThePlaceOfAnotherOne)
{
    const YFCurveNodePtr node = Samples(3);
    YFCurveManipulator manipulator;
    Mark(manipulator, *node, 0, 2);
    manipulator.BeginManipulation(kManipulationMove);
    node->FCurveSet(nullptr, true);
    manipulator.OffsetY(5.0);
    manipulator.FrameManipulation();
    node->FCurveSet(MakeSamples(3).release(), true);
    manipulator.OffsetY(5.0);
    EXPECT_EQ(Keys(*node->FCurveGet()), "0:0 1:1 2:2");
}
