#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

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

TEST_F(NodeLifetime, ParentsEndTheirChildrenAndEndingChildrenLeave)
{
    YFCurveNodePtr root(new CountedNode("root"));
    for (const char* name : {"a", "b", "c", "d"}) root->Add(new CountedNode(name));
    root->Get(0)->Add(new CountedNode("grandchild"));
    root->SortedAdd(new CountedNode("e"));
    root->Delete(root->Get(0));
    root->Delete(0);
    EXPECT_EQ(CountedNode::alive, 4);
    root->Get(0)->Destroy();
    EXPECT_EQ(ChildNames(*root), (std::vector<std::string>{"d", "e"}));
    root->Clear();
    EXPECT_EQ(CountedNode::alive, 1);

    {
        CountedNode onTheStack("stack");
        root->Add(&onTheStack);
        onTheStack.Destroy(1);
        EXPECT_EQ(root->GetCount(), 1);
        root->Remove(0);
        EXPECT_EQ(onTheStack.GetParent(), nullptr);
    }
    root->Add(new CountedNode("another"));
    root.reset();
    EXPECT_EQ(CountedNode::alive, 0);
}

TEST_F(NodeLifetime, ContainersNeverEndWhatTheyList)
{
    const YFCurveNodePtr owner(new CountedNode("owner"));
    for (const char* name : {"a", "b", "c"}) owner->Add(new CountedNode(name));
    YFCurveNodePtr container(new CountedNode("container"));
    container->SetContainerType(true);
    for (int i = 0; i < 3; ++i) container->Add(owner->Get(i));
    EXPECT_EQ(container->GetCount(), 3);
    EXPECT_EQ(owner->Get(0)->GetParent(), owner.get());

    container->Remove(0);
    container->Delete(0);
    EXPECT_EQ(container->GetCount(), 1);
    EXPECT_EQ(owner->Get(0)->GetParent(), owner.get());
    container->Clear();
    EXPECT_EQ(container->GetCount(), 0);
    EXPECT_EQ(owner->GetCount(), 3);
    EXPECT_EQ(CountedNode::alive, 5);

    // A container may even outlive its children, as long as nobody asks for them.
    container->Add(owner->Get(0));
    owner->Clear();
    container.reset();
    EXPECT_EQ(CountedNode::alive, 1);
}

TEST_F(NodeLifetime, TimeWarpsEndWithTheirLastLink)
{
    auto a = YFCurveNodePtr(new CountedNode("a"));
    auto b = YFCurveNodePtr(new CountedNode("b"));
    auto* warp = new CountedNode("warp");
    EXPECT_EQ(warp->GetReferenceCount(), 0);
    a->TimeWarpSet(warp);
    b->TimeWarpSet(warp);
    b->TimeWarpSet(warp);
    EXPECT_EQ(warp->GetReferenceCount(), 2);
    a.reset();
    EXPECT_EQ(b->TimeWarpGet(), warp);
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

TEST_F(NodeLifetime, ChainsOfLayersEndWithTheirBase)
{
    YFCurveNodePtr base(new CountedNode("base"));
    CountedNode* one = Layer(1);
    CountedNode* five = Layer(5);
    base->LayerSet(one);
    one->LayerSet(five);
    EXPECT_EQ(one->ObjectLayerGet(), base.get());
    EXPECT_EQ(five->ObjectLayerGet(), base.get());
    EXPECT_EQ(base->ObjectLayerGet(), base.get());
    EXPECT_EQ(five->GetReferenceCount(), 1);
    EXPECT_EQ(base->LayerGet(0), base.get());
    EXPECT_EQ(base->LayerGet(1), one);
    EXPECT_EQ(base->LayerGet(5), five);
    EXPECT_EQ(base->LayerGet(3), nullptr);
    EXPECT_EQ(one->LayerGet(0), nullptr);
    base.reset();
    EXPECT_EQ(CountedNode::alive, 0);

    // A layer that is destroyed on its own takes those behind it along.
    base.reset(new CountedNode("base"));
    one = Layer(1);
    base->LayerSet(one);
    one->LayerSet(Layer(5));
    one->Destroy();
    EXPECT_EQ(base->LayerGet(), nullptr);
    EXPECT_EQ(CountedNode::alive, 1);
    base->LayerSet(Layer(2));
    EXPECT_EQ(CountedNode::alive, 2);
}

TEST_F(NodeLifetime, LayersAreTakenOutOfAChain)
{
    YFCurveNodePtr base(new CountedNode("base"));
    CountedNode* one = Layer(1);
    CountedNode* two = Layer(2);
    CountedNode* three = Layer(3);
    base->LayerSet(one);
    one->LayerSet(two);
    two->LayerSet(three);

    // Out of the middle, for good.
    EXPECT_EQ(base->LayerSet(two, true), nullptr);
    EXPECT_EQ(CountedNode::alive, 3);
    EXPECT_EQ(two->GetReferenceCount(), 1);
    EXPECT_EQ(two->ObjectLayerGet(), base.get());
    EXPECT_EQ(three->ObjectLayerGet(), base.get());

    // Out of the middle, kept, with its own link to the layer behind it.
    EXPECT_EQ(base->LayerSet(three), two);
    EXPECT_EQ(two->ObjectLayerGet(), two);
    EXPECT_EQ(three->ObjectLayerGet(), base.get());
    EXPECT_EQ(three->GetReferenceCount(), 2);
    two->Destroy();
    EXPECT_EQ(base->LayerGet(), three);
    EXPECT_EQ(three->ObjectLayerGet(), base.get());

    // The whole rest, kept.
    CountedNode* four = Layer(4);
    three->LayerSet(four);
    EXPECT_EQ(base->LayerSet(nullptr), three);
    EXPECT_EQ(three->ObjectLayerGet(), three);
    EXPECT_EQ(four->ObjectLayerGet(), three);
    EXPECT_EQ(three->GetReferenceCount(), 0);
    base.reset();
    EXPECT_EQ(CountedNode::alive, 2);
    three->Destroy();
}

TEST_F(NodeLifetime, ASharedLayerEndsWithItsLastLink)
{
    YFCurveNodePtr a(new CountedNode("a"));
    const YFCurveNodePtr b(new CountedNode("b"));
    CountedNode* layer = Layer(1);
    a->LayerSet(layer);
    b->LayerSet(layer);
    EXPECT_EQ(a->LayerSet(nullptr, true), layer);
    EXPECT_EQ(layer->ObjectLayerGet(), b.get());
    a->LayerSet(layer);
    a.reset();
    EXPECT_EQ(b->LayerGet(), layer);
    EXPECT_EQ(layer->ObjectLayerGet(), layer);
    EXPECT_EQ(b->LayerSet(nullptr, true), nullptr);
    EXPECT_EQ(CountedNode::alive, 1);
}

TEST_F(NodeLifetime, LinksThatLeadBackAreRefused)
{
    const YFCurveNodePtr base(new CountedNode("base"));
    CountedNode* layer = Layer(1);
    base->LayerSet(layer);
    layer->LayerSet(base.get());
    layer->LayerSet(layer);
    EXPECT_EQ(layer->LayerGet(), nullptr);
    base->TimeWarpSet(base.get());
    EXPECT_EQ(base->TimeWarpGet(), nullptr);
    layer->TimeWarpSet(base.get());
    EXPECT_EQ(layer->TimeWarpGet(), nullptr);

    auto* child = new CountedNode("child");
    base->Add(child);
    child->TimeWarpSet(base.get());
    EXPECT_EQ(child->TimeWarpGet(), nullptr);
    auto* warp = new CountedNode("warp");
    base->TimeWarpSet(warp);
    warp->TimeWarpSet(child);
    EXPECT_EQ(warp->TimeWarpGet(), child);
    warp->TimeWarpSet(base.get());
    EXPECT_EQ(warp->TimeWarpGet(), child);
}

TEST_F(NodeLifetime, ANodeMayWarpItsParentsTime)
{
    YFCurveNodePtr root(new CountedNode("root"));
    auto* child = new CountedNode("child");
    root->Add(child);
    root->TimeWarpSet(child);
    root->Delete(child);
    EXPECT_EQ(root->TimeWarpGet(), nullptr);

    root.reset();
}

TEST_F(NodeLifetime, ChildrenOfLayersBelongToTheChildrenOfTheBase)
{
    YFCurveNodePtr base = Translation();
    YFCurveNode* layer = base->CloneTemplate({1, nullptr});
    EXPECT_EQ(layer->Get(0)->ObjectLayerGet(), layer->Get(0));
    base->LayerSet(layer);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(layer->Get(i)->ObjectLayerGet(), base->Get(i));
    base->Delete(1);
    EXPECT_EQ(layer->Get(1)->ObjectLayerGet(), layer->Get(1));
    base->LayerSet(nullptr);
    EXPECT_EQ(layer->Get(0)->ObjectLayerGet(), layer->Get(0));
    layer->Destroy();

    // What a container lists stays where it belongs.
    const YFCurveNodePtr elsewhere = Translation();
    YFCurveNode* container = YFCurveNodeCreate("container", nullptr, 1, {1, nullptr});
    container->SetContainerType(true);
    container->Add(elsewhere->Get(0));
    base->LayerSet(container);
    EXPECT_EQ(elsewhere->Get(0)->ObjectLayerGet(), elsewhere->Get(0));
}

TEST_F(NodeLifetime, CopiesShareNamesAndTakeOverSettingsAlone)
{
    YProperty property("property");
    YFCurveNodePtr source = Translation("name");
    source->SetLayerInfo({3, nullptr});
    source->SetLayerType(5);
    source->SetRotationOrder(4);
    source->SetUseQuaternion(true);
    source->SetIOType(true);
    source->LayerSet(YFCurveNodeCreate("layer", nullptr, 1, {4, nullptr}));
    const YFCurveNodePtr copy(YFCurveNodeCreate(source.get()));
    EXPECT_EQ(copy->TemplateGet(), source.get());
    EXPECT_EQ(copy->GetLayerType(), 5);
    EXPECT_EQ(copy->GetRotationOrder(), 4);
    EXPECT_TRUE(copy->GetUseQuaternion());
    EXPECT_EQ(copy->GetDataType(), source->GetDataType());
    EXPECT_EQ(copy->GetLayerInfo(), YFCurveLayerInfo::Base);
    EXPECT_EQ(copy->GetIOType(), 0);
    EXPECT_TRUE(copy->GetCount() == 0 && copy->LayerGet() == nullptr);

    copy->SetTimeWarpName("renamed");
    EXPECT_STREQ(source->GetTimeWarpName(), "renamed");
    copy->SetTimeWarpName(nullptr);
    EXPECT_STREQ(source->GetTimeWarpName(), "");
    source->SetProperty(&property);
    EXPECT_STREQ(copy->GetName(), "property");
    source->SetProperty(nullptr);
    source.reset();
    EXPECT_STREQ(copy->GetName(), "name");
    EXPECT_EQ(copy->TemplateGet(), nullptr);
    EXPECT_EQ(YFCurveNodeCreate(static_cast<YFCurveNode*>(nullptr)), nullptr);
}

int ended = 0;

class TestETI : public IYFCurveETI
{
  public:
    IObject* IQuery(unsigned long, int) override { return nullptr; }
    void Destroy(int) override { delete this; }
    int ETIKeyGetCount() const override { return 0; }
    YTime ETIKeyGetTime(int) const override { return YTIME_ZERO; }
    virtual ~TestETI() { ++ended; }
};

class CountedCurve : public YFCurve
{
  public:
    ~CountedCurve() override { ++ended; }
};

TEST_F(NodeLifetime, ANodeEndsItsCurveAndExternalTime)
{
    ended = 0;
    const auto newCurve = [] { return new CountedCurve(); };
    YFCurveNodePtr node(new CountedNode());
    YFCurve* first = newCurve();
    EXPECT_EQ(node->FCurveSet(first), nullptr);
    EXPECT_EQ(node->FCurveSet(first, true), nullptr);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(node->FCurveSet(newCurve()), first);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(node->FCurveSet(first, true), nullptr);
    EXPECT_EQ(ended, 1);
    node->FCurveReplace(newCurve());
    EXPECT_EQ(ended, 2);
    node->Clear();
    EXPECT_EQ(ended, 3);

    node->FCurveSet(newCurve());
    auto* information = new TestETI();
    node->SetETI(information);
    node->SetETI(information);
    EXPECT_EQ(node->GetETI(), information);
    node->SetETI(new TestETI());
    EXPECT_EQ(ended, 4);
    node.reset();
    EXPECT_EQ(ended, 6);
}

TEST_F(NodeLifetime, AnswersInterfaceQueriesAndWeakReferences)
{
    YFCurveNodePtr node(new CountedNode());
    const YSpObject<YFCurveNode> reference(node.get());
    EXPECT_EQ(YQueryInterface<YFCurveNode>(node.get()), node.get());
    EXPECT_EQ(YQueryInterface<ISpObjectHolder>(node.get()), node.get());
    EXPECT_EQ(YQueryInterface<YFCurve>(node.get()), nullptr);
    const YFCurveNodePtr other(new CountedNode());
    other->DataNodeSet(node.get());
    EXPECT_EQ(other->DataNodeGet(), node.get());
    node.reset();
    EXPECT_EQ(reference.Get(), nullptr);
    EXPECT_EQ(other->DataNodeGet(), nullptr);
}

}  // namespace
