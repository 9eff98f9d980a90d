#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

using Names = std::vector<std::string>;

YDataType* Type(eDataType type)
{
    return YDataType::Get(type);
}

YFCurveNode* Named(const char* name, eDataType type)
{
    return YFCurveNodeCreate(name, Type(type));
}

TEST(NodeTree, SortedAddGoesBeforeEqualNamesAndLeavesTheParentAlone)
{
    const YFCurveNodePtr root(new CountedNode());
    for (const char* name : {"a", "B", "c"}) root->Add(new CountedNode(name));
    auto* b = new CountedNode("b");
    EXPECT_EQ(root->SortedAdd(b), 1);
    EXPECT_EQ(ChildNames(*root), (Names{"a", "b", "B", "c"}));
    EXPECT_EQ(b->GetParent(), nullptr);
    EXPECT_EQ(root->Get(0)->GetParent(), root.get());
    EXPECT_EQ(root->SortedAdd(new CountedNode("d")), 4);
    EXPECT_EQ(root->SortedAdd(new CountedNode("")), 0);
    // The first name that does not sort before it decides, also where children are in no order.
    root->Add(new CountedNode("A"));
    EXPECT_EQ(root->SortedAdd(new CountedNode("_")), 1);
    EXPECT_EQ(root->Find("a"), 2);
    EXPECT_EQ(root->Find("A"), 2);
    EXPECT_EQ(ChildNames(*root), (Names{"", "_", "a", "b", "B", "c", "d", "A"}));

    // A property attached to a node is what it is sorted and found by.
    YProperty property("Cc");
    auto* attached = new CountedNode("zzz");
    attached->SetProperty(&property);
    EXPECT_EQ(root->SortedAdd(attached), 6);
    EXPECT_EQ(root->Find("cC"), 6);
    EXPECT_EQ(root->Find("zzz"), -1);
    attached->SetProperty(nullptr);
    EXPECT_EQ(root->Find("zzz"), 6);
}

TEST(NodeTree, AnswersNothingOutOfRange)
{
    const YFCurveNodePtr root(new CountedNode());
    root->Add(new CountedNode("a"));
    EXPECT_EQ(root->Get(-1), nullptr);
    EXPECT_EQ(root->Get(1), nullptr);
    root->Remove(-1);
    root->Delete(1);
    root->Delete(root.get());
    EXPECT_EQ(root->GetCount(), 1);
    EXPECT_EQ(root->Add(nullptr), -1);
    EXPECT_EQ(root->SortedAdd(nullptr), -1);
    EXPECT_EQ(root->Find("b"), -1);
    EXPECT_EQ(root->Find(static_cast<const char*>(nullptr)), -1);
    EXPECT_EQ(root->Find(Type(eDataType::Color)), nullptr);
    EXPECT_EQ(root->FindRecursive("b"), nullptr);
}

TEST(NodeTree, CapitalLettersFindTheLocalTransform)
{
    const YFCurveNodePtr model(YFCurveNodeCreate("model", nullptr));
    YFCurveNode* transform = YFCurveNodeCreate("transform", nullptr);
    YFCurveNode* translation = Named("position", eDataType::LocalTranslation);
    YFCurveNode* rotation = Named("turn", eDataType::LocalRotation);
    YFCurveNode* scaling = Named("size", eDataType::LocalScaling);
    YFCurveNode* global = Named("global", eDataType::Translation);
    model->Add(transform);
    for (YFCurveNode* node : {global, translation, rotation, scaling}) transform->Add(node);

    EXPECT_EQ(model->FindRecursive("T"), translation);
    EXPECT_EQ(model->FindRecursive("R"), rotation);
    EXPECT_EQ(model->FindRecursive("S"), scaling);
    EXPECT_EQ(model->FindRecursive("t"), nullptr);
    EXPECT_EQ(model->FindRecursive("SIZE"), scaling);
    EXPECT_EQ(model->FindRecursive(Type(eDataType::LocalRotation)), rotation);
    EXPECT_EQ(model->Find(Type(eDataType::LocalRotation)), nullptr);
    EXPECT_EQ(transform->Find(Type(eDataType::LocalRotation)), rotation);
    EXPECT_TRUE(transform->IsChild(rotation) && model->IsChild(rotation, true));
    EXPECT_FALSE(model->IsChild(rotation) || model->IsChild(model.get(), true));

    // Whichever of the two kinds of match comes first in the tree is found.
    YFCurveNode* letter = YFCurveNodeCreate("t", nullptr);
    model->Add(letter);
    EXPECT_EQ(model->FindRecursive("T"), translation);
    EXPECT_EQ(model->FindRecursive("t"), letter);
    model->Remove(model->Find(letter));
    model->Add(transform->Get(0));
    transform->Remove(0);
    EXPECT_EQ(model->FindRecursive("global"), global);
    letter->Destroy();
}

TEST(NodeTree, DataTypesGiveChildrenAndLayerTypes)
{
    const auto create = [](YDataType* type) {
        return YFCurveNodePtr(FCurveNodeCreateFromDataType(type, "property"));
    };
    const YFCurveNodePtr vector = create(Type(eDataType::LocalTranslation));
    EXPECT_EQ(ChildNames(*vector), (Names{"X", "Y", "Z"}));
    EXPECT_STREQ(vector->GetName(), "property");
    EXPECT_STREQ(vector->GetTimeWarpName(), "property");
    EXPECT_STREQ(vector->GetTypeName(), "Lcl Translation");
    EXPECT_EQ(vector->GetLayerType(), 1);
    EXPECT_EQ(vector->Get(0)->GetLayerType(), 0);
    EXPECT_EQ(vector->Get(0)->GetDataType(), nullptr);
    EXPECT_STREQ(vector->Get(0)->GetTypeName(), "");
    EXPECT_EQ(vector->Get(2)->GetParent(), vector.get());
    EXPECT_FALSE(vector->FCurveCreated());

    EXPECT_EQ(ChildNames(*create(Type(eDataType::ColorAndAlpha))), (Names{"X", "Y", "Z", " "}));
    EXPECT_EQ(create(Type(eDataType::Number))->GetCount(), 0);
    EXPECT_EQ(create(nullptr)->GetCount(), 0);
    const YFCurveNodePtr widest = create(YDataType::Register("node test, 21 members", eDataKind::Double, 21));
    ASSERT_EQ(widest->GetCount(), 21);
    EXPECT_STREQ(widest->Get(4)->GetName(), "A");
    EXPECT_STREQ(widest->Get(20)->GetName(), "Q");

    for (const auto type : {eDataType::Rotation, eDataType::LocalRotation, eDataType::MatrixRotation}) {
        EXPECT_EQ(create(Type(type))->GetLayerType(), 2);
    }
    for (const auto type :
         {eDataType::Scaling, eDataType::LocalScaling, eDataType::MatrixScaling, eDataType::UVScaling}) {
        EXPECT_EQ(create(Type(type))->GetLayerType(), 3);
    }
    EXPECT_EQ(create(Type(eDataType::UVRotation))->GetLayerType(), 1);
    EXPECT_EQ(create(nullptr)->GetLayerType(), 1);

    const YFCurveNodePtr timeWarp = create(Type(eDataType::TimeWarp));
    EXPECT_STREQ(timeWarp->GetName(), "");
    EXPECT_STREQ(timeWarp->GetTimeWarpName(), "property");
}

TEST(NodeTree, FindsOrCreatesChildren)
{
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    YFCurveNode* x = root->FindOrCreate("x", false);
    EXPECT_EQ(x->FCurveGet(), nullptr);
    EXPECT_EQ(x->GetParent(), root.get());
    EXPECT_EQ(x->GetLayerType(), 0);
    EXPECT_STREQ(x->GetTimeWarpName(), "x");
    EXPECT_EQ(root->FindOrCreate("X", true), x);
    const YFCurve* curve = x->FCurveGet();
    ASSERT_NE(curve, nullptr);
    root->FindOrCreate("x", true);
    EXPECT_EQ(x->FCurveGet(), curve);
    EXPECT_EQ(root->GetCount(), 1);
}

TEST(NodeTree, CreatesCurvesOnTheLeavesAlone)
{
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    EXPECT_FALSE(root->FCurveCreated());
    root->Add(FCurveNodeCreateFromDataType(Type(eDataType::LocalTranslation), "t"));
    YFCurveNode* leaf = root->FindOrCreate("leaf", true);
    const YFCurve* kept = leaf->FCurveGet();
    EXPECT_FALSE(root->FCurveCreated());
    root->CreateFCurve();
    EXPECT_TRUE(root->FCurveCreated());
    EXPECT_EQ(root->FCurveGet(), nullptr);
    EXPECT_EQ(root->Get(0)->FCurveGet(), nullptr);
    EXPECT_EQ(leaf->FCurveGet(), kept);
}

// A node whose children are those of another one.
class View : public YFCurveNode
{
  public:
    explicit View(const YFCurveNode& shown)
        : YFCurveNode("view", "view", nullptr, 1, YFCurveLayerInfo::Base), mShown(shown)
    {}
    int GetCount() const override { return mShown.GetCount(); }
    YFCurveNode* Get(int index) const override { return mShown.Get(index); }

  private:
    const YFCurveNode& mShown;
};

TEST(NodeTree, WorksOnTheChildrenThatADerivedNodePresents)
{
    const YFCurveNodePtr shown = Translation();
    for (int i = 0; i < 3; ++i) CurveOf(*shown, i).SetValue(static_cast<float>(i + 1));
    const View view(*shown);
    EXPECT_EQ(ValuesAt(view, 0.0), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(view.Find("y"), 1);
    EXPECT_EQ(view.FindRecursive("z"), shown->Get(2));
    EXPECT_TRUE(view.IsChild(shown->Get(0)));
    EXPECT_TRUE(view.FCurveCreated());
    const YFCurveNodePtr copy(view.Clone());
    EXPECT_EQ(ValuesAt(*copy, 0.0), (std::vector<double>{1, 2, 3}));
    EXPECT_NE(copy->Get(0), shown->Get(0));
}

}  // namespace
