#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "nodes.h"

using namespace nodetest;

// How nodes end while others, or they themselves, are asked to; and the rings that nothing could end.

namespace {

/// Calls a function when a node tells that it goes, and notes its name.
class Farewell
{
  public:
    std::vector<std::string> ended;
    std::function<void(YFCurveNode&)> then = [](YFCurveNode&) {};

    YFCurveNode* Watch(YFCurveNode* node)
    {
        node->CallbackRegister(&OnEvent, this);
        return node;
    }

  private:
    static void OnEvent(YFCurveNode* node, YFCurveNodeEvent* event, void* object)
    {
        if ((event->type & YFCURVENODEEVENT_DESTROY) == 0) return;
        auto& farewell = *static_cast<Farewell*>(object);
        farewell.ended.emplace_back(node->GetName());
        farewell.then(*node);
    }
};

class NodeEndings : public testing::Test
{
  protected:
    // top: a (a1, a2), b, and a layer that has one more behind it
    void SetUp() override
    {
        top = mFarewell.Watch(new CountedNode("top"));
        for (const char* name : {"a", "b"}) top->Add(mFarewell.Watch(new CountedNode(name)));
        for (const char* name : {"a1", "a2"}) top->Get(0)->Add(mFarewell.Watch(new CountedNode(name)));
        auto* layer = new CountedNode("layer", {1, nullptr});
        top->LayerSet(mFarewell.Watch(layer));
        layer->LayerSet(mFarewell.Watch(new CountedNode("last", {2, nullptr})));
    }
    void TearDown() override { EXPECT_EQ(CountedNode::alive, 0); }

    Farewell mFarewell;
    YFCurveNode* top = nullptr;
};

}  // namespace

TEST_F(NodeEndings, ComeOnceToEachWithAllBelowInPlace)
{
    std::vector<int> children;
    mFarewell.then = [&](YFCurveNode& node) {
        children.push_back(node.GetCount());
        node.Destroy();
    };
    top->Destroy();
    EXPECT_EQ(mFarewell.ended, (std::vector<std::string>{"top", "b", "a", "a2", "a1", "layer", "last"}));
    EXPECT_EQ(children, (std::vector<int>{2, 0, 2, 0, 0, 0, 0}));
}

TEST_F(NodeEndings, MayComeWhileOtherLeavesGetTheirCurves)
{
    YFCurveNode* const a = top->Get(0);
    const auto endSibling = [](YFCurveNode* leaf, YFCurveNodeEvent* event, void*) {
        if ((event->type & YFCURVENODEEVENT_CURVE) != 0) leaf->GetParent()->Delete(1);
    };
    a->Get(0)->CallbackRegister(endSibling, nullptr);
    a->CreateFCurve();
    ASSERT_EQ(a->GetCount(), 1);
    EXPECT_NE(a->Get(0)->FCurveGet(), nullptr);
    EXPECT_EQ(mFarewell.ended, (std::vector<std::string>{"a2"}));
    top->Destroy();
}

TEST_F(NodeEndings, MayBeHastenedAndAvertedByListeners)
{
    YFCurveNode* const a = top->Get(0);
    YFCurveNode* const a1 = a->Get(0);
    YFCurveNode* const layer = top->LayerGet();
    const YFCurveNodePtr shelter(new CountedNode("shelter"));
    mFarewell.then = [&](YFCurveNode& node) {
        if (std::string("b") != node.GetName()) return;
        // b goes first; what would come after it ends now, or not at all.
        a->Remove(0);
        shelter->Add(a1);
        shelter->LayerSet(layer);
        a->Destroy();
        EXPECT_EQ(mFarewell.ended.back(), "a2") << "at once, with all below";
    };
    top->Destroy();
    EXPECT_EQ(mFarewell.ended, (std::vector<std::string>{"top", "b", "a", "a2"}));
    EXPECT_EQ(CountedNode::alive, 4);
    EXPECT_EQ(shelter->Find(a1), 0);
    EXPECT_EQ(shelter->LayerGet(2)->ObjectLayerGet(), shelter.get());
}

// Each case links what is there already and then asks for a link that leads back.
TEST_F(NodeEndings, RingsAreRefused)
{
    YFCurveNode* const a = top->Get(0);
    YFCurveNode* const last = top->LayerGet()->LayerGet();
    for (YFCurveNode* each : {top, a, last}) {
        each->TimeWarpSet(top);
        EXPECT_EQ(each->TimeWarpGet(), nullptr);
        if (each != a) last->LayerSet(each);
    }
    EXPECT_EQ(last->LayerGet(), nullptr);
    auto* const warp = new CountedNode("warp");
    const YFCurveNodePtr other(new CountedNode("other"));
    other->TimeWarpSet(warp);
    const auto refuses = [](YFCurveNode* node, YFCurveNode* child) {
        return node->Add(child) == -1 && node->SortedAdd(child) == -1 && child->GetParent() == nullptr;
    };
    EXPECT_TRUE(refuses(top, top));
    EXPECT_TRUE(refuses(a->Get(1), top)) << "the parent's parent";
    EXPECT_TRUE(refuses(last, top)) << "what the layer is one of";
    EXPECT_EQ(warp->Add(new CountedNode("part")), 0);
    warp->TimeWarpSet(other.get());
    EXPECT_EQ(warp->TimeWarpGet(), nullptr);
    EXPECT_TRUE(refuses(warp->Get(0), other.get())) << "what its parent warps";

    // A copied layer does not bring a time warp along that leads back to where it comes to hang.
    const YFCurveNodePtr source(new CountedNode("source")), target(new CountedNode("target"));
    auto* const around = new CountedNode("around");
    around->Add(target.get());
    auto* const warped = new CountedNode("layer", {1, nullptr});
    source->LayerSet(warped);
    warped->TimeWarpSet(around);
    EXPECT_TRUE(target->CopyFrom(source.get()));
    ASSERT_NE(target->LayerGet(), nullptr);
    EXPECT_EQ(target->LayerGet()->TimeWarpGet(), nullptr);
    around->Remove(0);
    top->Destroy();
}
