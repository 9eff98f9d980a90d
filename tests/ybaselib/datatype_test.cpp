#include "ybaselib/ydatatype.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

TEST(DataType, EveryBuiltInTypeIsFoundByItsOwnName)
{
    for (int i = 0; i <= static_cast<int>(eDataType::TimeWarp); ++i) {
        YDataType* type = YDataType::Get(static_cast<eDataType>(i));
        ASSERT_NE(type, nullptr) << i;
        EXPECT_EQ(YDataType::Find(type->GetName()), type) << type->GetName();
    }
    std::string members;
    for (int i = 0; i <= static_cast<int>(eDataType::TimeWarp); ++i)
        members += "0123456789abcdefg"[YDataType::Get(static_cast<eDataType>(i))->GetMemberCount()];
    EXPECT_EQ(members, "111111102344g333333333333341111111");
    EXPECT_EQ(YDataType::Get(static_cast<eDataType>(-1)), nullptr);
    EXPECT_EQ(YDataType::Get(static_cast<eDataType>(10000)), nullptr);
    for (const char* name : {"lcl rotation", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(YDataType::Find(name), nullptr);
    // The table follows the enumeration.
    const YDataType* last = YDataType::Get(eDataType::TimeWarp);
    EXPECT_STREQ(last->GetName(), "Time Warp");
    EXPECT_TRUE(last->GetKind() == eDataKind::Time && last->GetMemberCount() == 1);
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
