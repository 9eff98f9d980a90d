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
    using YFCurveManipulator::eWorkCurve;
    using YFCurveManipulator::GetWorkCurve;
    using YFCurveManipulator::GetWorkTangents;
    using YFCurveManipulator::kWorkAfter;
    using YFCurveManipulator::kWorkBefore;
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

TEST(ManipulatorMarks, FollowTheSelectionWithoutEvents)
{
    const YFCurveNodePtr node = Samples(4);
    YFCurve& curve = *node->FCurveGet();
    YFCurveManipulator manipulator;
    Mark(manipulator, *node, 0, 1);
    for (const int i : {1, 3}) curve.KeySetSelected(i, true);
    yfc::test::EventLog log(curve);
    manipulator.MarkKeysForManipFromSelection();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(curve.KeyGetMarkedForManipulation(i), i % 2 == 1) << i;
    manipulator.ClearMarkKeysForManip();
    for (int i = 0; i < 4; ++i) EXPECT_FALSE(curve.KeyGetMarkedForManipulation(i)) << i;
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
    OpenManipulator::WorkTangents tangents;
    EXPECT_FALSE(manipulator.GetWorkTangents(node.get(), tangents));
    const auto piece = [&](auto part) -> const YFCurve& {
        return *manipulator.GetWorkCurve(node.get(), part);
    };
    const auto expectEnds = [&](float start, float end, float after) {
        ASSERT_TRUE(manipulator.GetWorkTangents(node.get(), tangents));
        EXPECT_EQ(tangents.spanStart.Derivative, start);
        EXPECT_EQ(tangents.spanEnd.Derivative, end);
        EXPECT_EQ(tangents.after.Derivative, after);
        EXPECT_EQ(Bits(piece(OpenManipulator::kWorkWhole)), Bits(curve));
    };

    manipulator.BeginManipulation(kManipulationMove);
    EXPECT_EQ(Keys(piece(OpenManipulator::kWorkMarked)), "1:1 3:3");
    EXPECT_EQ(piece(OpenManipulator::kWorkMarked).KeyGetLeftDerivative(1), 30.0f)
        << "of what is now another key's";
    EXPECT_EQ(Keys(piece(OpenManipulator::kWorkInside)), "2:2");
    EXPECT_EQ(Keys(piece(OpenManipulator::kWorkBefore)), "0:0");
    EXPECT_EQ(Keys(piece(OpenManipulator::kWorkAfter)), "4:4");
    expectEnds(10, 20, 40);

    manipulator.BeginManipulation(kManipulationMove, true);
    EXPECT_EQ(Keys(piece(OpenManipulator::kWorkInside)), "1:1 2:2 3:3");
    EXPECT_FALSE(piece(OpenManipulator::kWorkInside).KeyGetMarkedForManipulation(2));
    EXPECT_FALSE(piece(OpenManipulator::kWorkInside).KeyGetSelected(2));
    expectEnds(10, 30, 40);
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
    EXPECT_EQ(manipulator.GetWorkCurve(locked.get(), OpenManipulator::kWorkWhole), nullptr);
    EXPECT_EQ(manipulator.GetWorkCurve(node.get(), OpenManipulator::kWorkMarked)->KeyGetCount(), 0);
    EXPECT_EQ(manipulator.GetWorkCurve(node.get(), OpenManipulator::kWorkInside)->KeyGetCount(), 0);
    manipulator.Offset(Sec(1), 1.0);
    for (const int mode : {0, 7, -1}) {
        manipulator.MarkKeysForManip(true, node.get(), 0, 2);
        manipulator.BeginManipulation(static_cast<eFCurveManipulationMode>(mode));
        EXPECT_EQ(manipulator.GetWorkCurve(node.get(), OpenManipulator::kWorkWhole), nullptr);
        manipulator.Offset(Sec(1), 1.0);
    }
    manipulator.EndManipulation();
    manipulator.StretchX(2.0, Sec(0));
    EXPECT_EQ(Keys(*node->FCurveGet()), "0:0 1:1 2:2");
    EXPECT_EQ(Keys(*locked->FCurveGet()), "0:0 1:1 2:2");
}

TEST(Manipulation, IsSharedByCopies)
{
    const YFCurveNodePtr node = Samples(40);
    auto manipulator = std::make_unique<OpenManipulator>();
    Mark(*manipulator, *node, 10, 20);
    manipulator->BeginManipulation(kManipulationMove, true);
    manipulator->OffsetX(Sec(0.5));
    OpenManipulator copy;
    copy = *manipulator;
    EXPECT_EQ(copy.GetWorkCurve(node.get(), OpenManipulator::kWorkWhole),
              manipulator->GetWorkCurve(node.get(), OpenManipulator::kWorkWhole));
    manipulator.reset();
    copy.OffsetX(Sec(0));
    EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 40);
    copy.Remove(node.get());
    copy.OffsetX(Sec(1));
    EXPECT_EQ(node->FCurveGet()->KeyGetCount(), 40) << "a node that is taken out is left alone";
}

// Three nodes are dragged; what is destroyed from a listener of the second one is not touched any more.
TEST(Manipulation, OutlivesItsNodesAndCurves)
{
    struct Host
    {
        YFCurveNodePtr nodes[3] = {Samples(3), Samples(3), Samples(3)};
        YFCurveManipulator manipulator;
        int destroys;

        static void OnEvent(YFCurve*, YFCurveEvent* event, void* object)
        {
            auto& host = *static_cast<Host*>(object);
            if (host.destroys < 0 || (event->type & YFCURVEEVENT_KEY_VALUE) == 0) return;
            const int index = std::exchange(host.destroys, -1);
            host.manipulator.Remove(host.nodes[index].get());
            host.nodes[index].reset();
        }
    };
    for (const int destroyed : {0, 1, 2}) {
        Host host;
        host.destroys = destroyed;
        for (const YFCurveNodePtr& node : host.nodes) host.manipulator.Add(node.get());
        host.manipulator.MarkCurveNodeForManip(true, nullptr);
        host.manipulator.MarkKeysForManip(true, nullptr, 0, 2);
        host.manipulator.BeginManipulation(kManipulationMove);
        host.nodes[1]->FCurveGet()->CallbackRegister(&Host::OnEvent, &host);
        host.manipulator.OffsetY(5.0);
        host.manipulator.OffsetY(6.0);
        for (const YFCurveNodePtr& node : host.nodes) {
            EXPECT_EQ(node ? Keys(*node->FCurveGet()) : "0:6 1:7 2:8", "0:6 1:7 2:8") << destroyed;
        }
    }

    // A curve that takes the place of another one, perhaps at the same address.
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
