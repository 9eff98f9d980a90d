#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

// Writes down what it hears as "name:type*count".
struct Listener
{
    std::string name;
    std::vector<std::string>* heard;
    std::function<void(YFCurveNode&)> reaction = {};

    static void Call(YFCurveNode* node, YFCurveNodeEvent* event, void* object)
    {
        const auto* self = static_cast<Listener*>(object);
        self->heard->push_back(self->name + ":" + std::to_string(event->type) + "*" +
                               std::to_string(event->count));
        if (self->reaction) self->reaction(*node);
    }
};

class NodeEvents : public testing::Test
{
  protected:
    using Heard = std::vector<std::string>;

    Heard Take() { return std::exchange(heard, {}); }

    Heard heard;
    Listener a{"a", &heard}, b{"b", &heard}, c{"c", &heard};
};

TEST_F(NodeEvents, LinksRaiseEvents)
{
    YFCurveNodePtr base(YFCurveNodeCreate("base", nullptr));
    YFCurveNode* layer = YFCurveNodeCreate("layer", nullptr, 1, {1, nullptr});
    base->CallbackRegister(Listener::Call, &a);
    layer->CallbackRegister(Listener::Call, &b);

    base->CreateFCurve();
    base->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"a:4*1"}));
    base->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), (Heard{"a:4*1"}));

    YFCurveNode* warp = YFCurveNodeCreate("warp", nullptr);
    base->TimeWarpSet(warp);
    base->TimeWarpSet(warp);
    base->TimeWarpSet(nullptr);
    EXPECT_EQ(Take(), (Heard{"a:8*1", "a:8*1"}));

    // The base node hears of the whole chain.
    base->LayerSet(layer);
    base->LayerSet(layer);
    layer->LayerSet(YFCurveNodeCreate("next", nullptr, 1, {2, nullptr}));
    layer->LayerSet(layer);
    EXPECT_EQ(Take(), (Heard{"a:16*1", "a:16*1"}));

    base.reset();
    EXPECT_EQ(Take(), (Heard{"a:2*1", "b:2*1"}));
}

TEST_F(NodeEvents, AreCountedWhereTheyAreWaitedForAndMergedMeanwhile)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CreateFCurve();
    EXPECT_EQ(node->GetNodeUpdateId(), 0);
    node->CallbackEnable(true);
    node->FCurveGet()->SetValue(1.0f);
    EXPECT_EQ(node->GetNodeUpdateId(), 1);
    node->FCurveReplace(nullptr);
    EXPECT_EQ(node->GetNodeUpdateId(), 2);
    node->CallbackRegister(Listener::Call, &a);
    node->CallbackEnable(false);
    node->CreateFCurve();
    node->TimeWarpSet(YFCurveNodeCreate("warp", nullptr));
    node->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), Heard{});
    EXPECT_EQ(node->GetNodeUpdateId(), 5);
    node->CallbackEnable(true);
    EXPECT_EQ(Take(), Heard{"a:12*3"});
    node->CallbackClear();
}

TEST_F(NodeEvents, ListenersComeAndGoAndAreCalledFromTheLatestToTheFirst)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    for (Listener* listener : {&a, &b, &a, &c}) node->CallbackRegister(Listener::Call, listener);
    node->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"c:4*1", "a:4*1", "b:4*1", "a:4*1"}));
    node->CallbackUnregister(Listener::Call, &a);
    node->CallbackUnregister(Listener::Call, nullptr);
    // During an event, too: those that come are not called for it, those that go not any more.
    Listener late{"late", &heard};
    c.reaction = [&](YFCurveNode& sender) {
        sender.CallbackUnregister(Listener::Call, &c);
        sender.CallbackUnregister(Listener::Call, &b);
        for (int i = 0; i < 20; ++i) sender.CallbackRegister(Listener::Call, &late);
        for (int i = 0; i < 19; ++i) sender.CallbackUnregister(Listener::Call, &late);
    };
    node->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), (Heard{"c:4*1", "a:4*1"}));
    node->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"late:4*1", "a:4*1"}));
    node->CallbackClear();
}

TEST_F(NodeEvents, AListenerMayChangeTheNodeAndEndIt)
{
    YFCurveNode* node = YFCurveNodeCreate("n", nullptr);
    node->CallbackRegister(Listener::Call, &a);
    node->CallbackRegister(Listener::Call, &b);
    b.reaction = [](YFCurveNode& sender) {
        if (sender.TimeWarpGet() == nullptr) sender.TimeWarpSet(YFCurveNodeCreate("warp", nullptr));
    };
    node->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"b:4*1", "b:8*1", "a:8*1", "a:4*1"})) << "an event of its own";
    b.reaction = [&](YFCurveNode& sender) {
        b.reaction = nullptr;
        sender.Destroy();
    };
    node->TimeWarpSet(nullptr);
    EXPECT_EQ(Take(), (Heard{"b:8*1", "b:2*1", "a:2*1"}));
}

// A curve that the host keeps for itself.
class KeptCurve : public YFCurve
{
  public:
    void Destroy(int) override {}
};

TEST_F(NodeEvents, ACurveThatOutlivesItsNodeIsHeardNoMore)
{
    KeptCurve curve;
    YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CallbackRegister(Listener::Call, &a);
    node->FCurveSet(&curve);
    node.reset();
    curve.SetValue(1.0f);
    EXPECT_EQ(Take(), (Heard{"a:4*1", "a:2*1"}));
}

}  // namespace
