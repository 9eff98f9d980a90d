#include "ybaselib/ydatatype.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

TEST(DataType, EveryBuiltInTypeIsFoundByItsOwnName)
{
    for (int i = 0; i <= static_cast<int>(eDataType::TimeWarp); ++i) {
        YDataType* type = YDataType::Get(static_cast<eDataType>(i));
        ASSERT_NE(type, nullptr) << i;
        EXPECT_EQ(YDataType::Find(type->GetName()), type) << type->GetName();
    }
    EXPECT_EQ(YDataType::Get(static_cast<eDataType>(-1)), nullptr);
    EXPECT_EQ(YDataType::Get(static_cast<eDataType>(10000)), nullptr);
    for (const char* name : {"lcl rotation", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(YDataType::Find(name), nullptr);
}

// The table follows the enumeration.
TEST(DataType, NamesAndMembers)
{
    const std::tuple<eDataType, const char*, eDataKind, int> cases[] = {
        {eDataType::Number, "Number", eDataKind::Double, 1},
        {eDataType::Matrix, "Transform Matrix", eDataKind::Double, 16},
        {eDataType::LocalRotation, "Lcl Rotation", eDataKind::Double, 3},
        {eDataType::TimeWarp, "Time Warp", eDataKind::Time, 1}};
    for (const auto& [type, name, kind, memberCount] : cases) {
        const YDataType* found = YDataType::Get(type);
        EXPECT_STREQ(found->GetName(), name);
        EXPECT_TRUE(found->GetKind() == kind && found->GetMemberCount() == memberCount) << name;
    }
}

TEST(DataType, HostsAddTheirOwn)
{
    std::string name = "Blend Weights";
    YDataType* type = YDataType::Register(name.c_str(), eDataKind::Float, 21);
    ASSERT_NE(type, nullptr);
    name = "overwritten";
    EXPECT_STREQ(type->GetName(), "Blend Weights");
    EXPECT_EQ(YDataType::Find("Blend Weights"), type);

    EXPECT_NE(YDataType::Register("Heat", eDataKind::Double, 0), type);
    EXPECT_EQ(YDataType::Register("Blend Weights", eDataKind::Float, 21), type);
    for (const auto& [bad, count] :
         {std::pair{"Blend Weights", 20}, {"Too Wide", 22}, {"Negative", -1}, {"", 1}})
        EXPECT_EQ(YDataType::Register(bad, eDataKind::Float, count), nullptr) << bad;
    EXPECT_EQ(YDataType::Find("Too Wide"), nullptr);
}

}  // namespace
