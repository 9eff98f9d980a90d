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
    EXPECT_EQ(root->SortedAdd(new CountedNode("d")), 4);
    // The first name that does not sort before it decides, also where children are in no order.
    root->Add(new CountedNode("A"));
    EXPECT_EQ(root->SortedAdd(new CountedNode("_")), 0);
    EXPECT_EQ(root->Find("a"), 1);

    // A property attached to a node is what it is sorted and found by.
    YProperty property("Cc");
    auto* attached = new CountedNode("zzz");
    attached->SetProperty(&property);
    EXPECT_EQ(root->SortedAdd(attached), 5);
    EXPECT_TRUE(root->Find("cC") == 5 && root->Find("zzz") == -1);
}

TEST(NodeTree, CapitalLettersFindTheLocalTransform)
{
    const YFCurveNodePtr model(YFCurveNodeCreate("model", nullptr));
    YFCurveNode* transform = YFCurveNodeCreate("transform", nullptr);
    YFCurveNode* translation = Named("position", eDataType::LocalTranslation);
    YFCurveNode* rotation = Named("turn", eDataType::LocalRotation);
    YFCurveNode* scaling = Named("size", eDataType::LocalScaling);
    YFCurveNode* letter = YFCurveNodeCreate("t", nullptr);
    model->Add(transform);
    model->Add(letter);
    transform->Add(Named("global", eDataType::Translation));
    for (YFCurveNode* node : {translation, rotation, scaling}) transform->Add(node);
    // Whichever of the two kinds of match comes first in the tree is found.
    const std::pair<const char*, YFCurveNode*> found[] = {
        {"T", translation}, {"R", rotation}, {"S", scaling}, {"t", letter}, {"SIZE", scaling}};
    for (const auto& [name, node] : found) EXPECT_EQ(model->FindRecursive(name), node) << name;
    EXPECT_EQ(model->FindRecursive(Type(eDataType::LocalRotation)), rotation);
    EXPECT_EQ(model->Find(Type(eDataType::LocalRotation)), nullptr);
    EXPECT_TRUE(model->IsChild(rotation, true));
    EXPECT_FALSE(model->IsChild(rotation) || model->IsChild(model.get(), true));
    transform->Remove(1);
    EXPECT_EQ(model->FindRecursive("T"), letter);
    translation->Destroy();
}

TEST(NodeTree, DataTypesGiveChildrenAndLayerTypes)
{
    const auto create = [](YDataType* type) {
        return YFCurveNodePtr(FCurveNodeCreateFromDataType(type, "property"));
    };
    const Names widest = ChildNames(*create(YDataType::Register("21 members", eDataKind::Double, 21)));
    ASSERT_EQ(widest.size(), 21u);
    EXPECT_EQ(widest[4], "A");
    EXPECT_EQ(widest[20], "Q");
    const std::pair<eDataType, int> cases[] = {
        {eDataType::Rotation, 2},  {eDataType::LocalRotation, 2}, {eDataType::MatrixRotation, 2},
        {eDataType::Scaling, 3},   {eDataType::LocalScaling, 3},  {eDataType::MatrixScaling, 3},
        {eDataType::UVScaling, 3}, {eDataType::UVRotation, 1},    {eDataType::Vector3, 1}};
    for (const auto& [type, layerType] : cases) EXPECT_EQ(create(Type(type))->GetLayerType(), layerType);
    const YFCurveNodePtr timeWarp = create(Type(eDataType::TimeWarp));
    EXPECT_STREQ(timeWarp->GetName(), "");
    EXPECT_STREQ(timeWarp->GetTimeWarpName(), "property");
}

TEST(NodeTree, FindsChildrenOrCreatesThemAndCurvesOnTheLeavesAlone)
{
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    root->Add(FCurveNodeCreateFromDataType(Type(eDataType::LocalTranslation), "t"));
    YFCurveNode* leaf = root->FindOrCreate("x", false);
    EXPECT_EQ(leaf->FCurveGet(), nullptr);
    EXPECT_EQ(leaf->GetParent(), root.get());
    EXPECT_STREQ(leaf->GetTimeWarpName(), "x");
    EXPECT_EQ(root->FindOrCreate("X", true), leaf);
    const YFCurve* kept = leaf->FCurveGet();
    ASSERT_NE(kept, nullptr);
    EXPECT_FALSE(root->FCurveCreated());
    root->CreateFCurve();
    EXPECT_TRUE(root->FCurveCreated());
    EXPECT_EQ(root->Get(0)->FCurveGet(), nullptr);
    EXPECT_EQ(leaf->FCurveGet(), kept);
    // Nothing is out of range.
    root->Remove(-1);
    root->Delete(2);
    EXPECT_TRUE(root->Get(-1) == nullptr && root->Get(2) == nullptr && root->Add(nullptr) == -1 &&
                root->SortedAdd(nullptr) == -1);
}

}  // namespace
