#include <gtest/gtest.h>

#include "nodes.h"

using namespace nodetest;

namespace {

// Every test ends with all its nodes gone; the address sanitizer watches the rest.
class NodeLifetime : public testing::Test
{
  protected:
    void TearDown() override { EXPECT_EQ(CountedNode::alive, 0); }

    static CountedNode* Layer(int id) { return new CountedNode("layer", {id, nullptr}); }
};

TEST_F(NodeLifetime, ContainersNeverEndWhatTheyList)
{
    const YFCurveNodePtr owner(new CountedNode("owner"));
    for (const char* name : {"a", "b", "c"}) owner->Add(new CountedNode(name));
    YFCurveNodePtr container(new CountedNode("container"));
    container->SetContainerType(true);
    for (int i = 0; i < 3; ++i) container->Add(owner->Get(i));
    const YFCurveNodePtr copy(container->Clone());
    EXPECT_EQ(copy->GetContainerType(), 0x08);
    EXPECT_EQ(copy->Get(1), owner->Get(1));
    container->Remove(0);
    container->Delete(0);
    container->Clear();
    EXPECT_EQ(container->GetCount(), 0);
    EXPECT_EQ(owner->Get(0)->GetParent(), owner.get());
    EXPECT_EQ(CountedNode::alive, 5);
    // A container may even outlive its children, as long as it is not asked for them.
    container->Add(owner->Get(0));
    owner->Clear();
    container.reset();
}

TEST_F(NodeLifetime, TimeWarpsEndWithTheirLastLink)
{
    auto a = YFCurveNodePtr(new CountedNode("a"));
    auto b = YFCurveNodePtr(new CountedNode("b"));
    auto* warp = new CountedNode("warp");
    a->TimeWarpSet(warp);
    for (int i = 0; i < 2; ++i) b->TimeWarpSet(warp);
    EXPECT_EQ(warp->GetReferenceCount(), 2);
    a.reset();
    EXPECT_EQ(warp->GetReferenceCount(), 1);
    auto* other = new CountedNode("other");
    b->TimeWarpSet(other);
    EXPECT_EQ(CountedNode::alive, 2);
    other->IncReferenceCount();
    b->Clear();
    EXPECT_EQ(b->TimeWarpGet(), nullptr);
    EXPECT_EQ(other->DecReferenceCount(), 0);

    // One that is destroyed regardless leaves links that read null.
    b->TimeWarpSet(other);
    other->Destroy();
    EXPECT_EQ(b->TimeWarpGet(), nullptr);
    b->TimeWarpSet(new CountedNode("third"));
}

// Removing layers by their ids is tested elsewhere.
TEST_F(NodeLifetime, LayersLiveAsLongAsALinkToThem)
{
    YFCurveNodePtr base(new CountedNode("base"));
    const YFCurveNodePtr other(new CountedNode("other"));
    const auto expect = [&](YFCurveNode* layer, YFCurveNode* object, int references) {
        EXPECT_EQ(layer->ObjectLayerGet(), object);
        EXPECT_EQ(layer->GetReferenceCount(), references);
    };
    CountedNode* shared = Layer(1);
    CountedNode* behind = Layer(2);
    shared->LayerSet(behind);
    base->LayerSet(shared);
    // Out of the middle, kept, with its own link to the layer behind it.
    EXPECT_EQ(base->LayerSet(behind), shared);
    expect(shared, shared, 0);
    expect(behind, base.get(), 2);
    for (YFCurveNode* each : {base.get(), other.get()}) each->LayerSet(shared);
    EXPECT_EQ(base->LayerSet(nullptr, true), shared);
    expect(shared, other.get(), 1);
    base->LayerSet(shared);
    base.reset();
    expect(shared, shared, 1);
    EXPECT_EQ(other->LayerSet(nullptr, true), nullptr);
    EXPECT_EQ(CountedNode::alive, 1) << "with the one behind it";
}

TEST_F(NodeLifetime, ChildrenLeaveAStackWithTheirLayerAndThoseOfContainersStayOut)
{
    const YFCurveNodePtr base = Translation();
    YFCurveNode* layer = base->CreateLayerAt({1, nullptr});
    base->LayerSet(nullptr);
    EXPECT_EQ(layer->Get(0)->ObjectLayerGet(), layer->Get(0));
    layer->Destroy();
    const YFCurveNodePtr elsewhere = Translation();
    YFCurveNode* container = YFCurveNodeCreate("container", nullptr, 1, {1, nullptr});
    container->SetContainerType(true);
    container->Add(elsewhere->Get(0));
    base->LayerSet(container);
    EXPECT_EQ(elsewhere->Get(0)->ObjectLayerGet(), elsewhere->Get(0));
}

TEST_F(NodeLifetime, CopiesShareNamesWithWhatTheyAreMadeOf)
{
    YFCurveNodePtr source = Translation("name");
    const YFCurveNodePtr copy(YFCurveNodeCreate(source.get()));
    copy->SetTimeWarpName("renamed");
    EXPECT_STREQ(source->GetTimeWarpName(), "renamed");
    copy->DataNodeSet(source.get());
    source.reset();
    EXPECT_STREQ(copy->GetName(), "name");
    EXPECT_TRUE(copy->TemplateGet() == nullptr && copy->DataNodeGet() == nullptr);
}

int ended = 0;

template<class Base>
class Counted : public Base
{
  public:
    ~Counted() override { ++ended; }
};

TEST_F(NodeLifetime, ANodeEndsItsCurveAndExternalTime)
{
    ended = 0;
    const auto newCurve = [] { return new Counted<YFCurve>(); };
    YFCurveNodePtr node(new CountedNode());
    YFCurve* first = newCurve();
    EXPECT_EQ(node->FCurveSet(first), nullptr);
    EXPECT_EQ(node->FCurveSet(first, true), nullptr);
    EXPECT_EQ(node->FCurveSet(newCurve()), first);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(node->FCurveSet(first, true), nullptr);
    EXPECT_EQ(ended, 1);
    node->FCurveReplace(newCurve());
    EXPECT_EQ(ended, 2);
    node->Clear();
    EXPECT_EQ(ended, 3);
    node->FCurveSet(newCurve());
    auto* information = new Counted<Clip>();
    for (int i = 0; i < 2; ++i) node->SetETI(information);
    node->SetETI(new Counted<Clip>());
    EXPECT_EQ(ended, 4);
    node.reset();
    EXPECT_EQ(ended, 6);
}

}  // namespace
