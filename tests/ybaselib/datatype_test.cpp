#include "ybaselib/ydatatype.h"

#include <gtest/gtest.h>

#include <string>

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
    EXPECT_EQ(YDataType::Find("lcl rotation"), nullptr);
    EXPECT_EQ(YDataType::Find(""), nullptr);
    EXPECT_EQ(YDataType::Find(nullptr), nullptr);
}

// The table follows the enumeration: one from each stretch of it.
TEST(DataType, NamesAndMembers)
{
    struct Expected
    {
        eDataType type;
        const char* name;
        eDataKind kind;
        int memberCount;
    };
    for (const auto& [type, name, kind, memberCount] :
         {Expected{eDataType::Number, "Number", eDataKind::Double, 1},
          Expected{eDataType::String, "String", eDataKind::String, 0},
          Expected{eDataType::Matrix, "Transform Matrix", eDataKind::Double, 16},
          Expected{eDataType::Scaling, "Scaling", eDataKind::Double, 3},
          Expected{eDataType::LocalTranslation, "Lcl Translation", eDataKind::Double, 3},
          Expected{eDataType::LocalRotation, "Lcl Rotation", eDataKind::Double, 3},
          Expected{eDataType::MatrixScaling, "Matrix Scaling", eDataKind::Double, 3},
          Expected{eDataType::UVScaling, "UV Scaling", eDataKind::Double, 3},
          Expected{eDataType::ColorAndAlpha, "ColorAndAlpha", eDataKind::Double, 4},
          Expected{eDataType::Visibility, "Visibility", eDataKind::Double, 1},
          Expected{eDataType::TimeWarp, "Time Warp", eDataKind::Time, 1}}) {
        EXPECT_STREQ(YDataType::Get(type)->GetName(), name);
        EXPECT_EQ(YDataType::Get(type)->GetKind(), kind) << name;
        EXPECT_EQ(YDataType::Get(type)->GetMemberCount(), memberCount) << name;
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

    YDataType* other = YDataType::Register("Heat", eDataKind::Double, 0);
    EXPECT_NE(other, type);
    EXPECT_EQ(YDataType::Register("Blend Weights", eDataKind::Float, 21), type);
    EXPECT_EQ(YDataType::Register("Blend Weights", eDataKind::Float, 20), nullptr);
    EXPECT_EQ(YDataType::Register("Color", eDataKind::Integer, 3), nullptr);
    EXPECT_EQ(YDataType::Register("Too Wide", eDataKind::Float, 22), nullptr);
    EXPECT_EQ(YDataType::Register("Negative", eDataKind::Float, -1), nullptr);
    EXPECT_EQ(YDataType::Register("", eDataKind::Float, 1), nullptr);
    EXPECT_EQ(YDataType::Register(nullptr, eDataKind::Float, 1), nullptr);
    EXPECT_EQ(YDataType::Find("Too Wide"), nullptr);
}

}  // namespace
