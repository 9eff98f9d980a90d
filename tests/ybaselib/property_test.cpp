#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>

#include "tests/test_environment.h"
#include "ybaselib/yobject.h"

namespace {

enum class eShape : int
{
    Round = 3,
    Square = 7
};
constexpr YEnumName kShapes[] = {{3, "round"}, {7, "Square"}};

double TwiceTheFrameRate()
{
    return 2.0 * YTime::GetFrameRate();
}

// Values of every kind, as plain members and as a property.
class Sheet : public YObject
{
  public:
    static YClassDefinition& StaticClass()
    {
        static constexpr YPropertyDescription properties[] = {
            YPropertyOf<&Sheet::mOn>("On", true),
            YPropertyOf<&Sheet::mCount>("Count", 3, {.minimum = 1, .maximum = 10}),
            YPropertyOf<&Sheet::mSize>("Size", 0.5, {.minimum = 0.0, .aboveMinimum = true, .unit = "cm"}),
            YPropertyOf<&Sheet::mWhen>("When", YTIME_INFINITE),
            YPropertyOf<&Sheet::mShape>("Shape", eShape::Square, {.names = kShapes}),
            YPropertyOf<&Sheet::mPlace>("Place", {1.0, 0.1, -2.0}, {.minimum = -5.0}),
            YPropertyOf<&Sheet::mAxes>("Axes", {true, false, true}),
            YPropertyOf<&Sheet::mRate, &TwiceTheFrameRate>("Rate", {.minimum = 0.0}),
        };
        static constinit YClassDefinition definition("Sheet", &YObject::StaticClass,
                                                     {.properties = properties});
        return definition;
    }
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    Sheet() { ResetProperties(StaticClass()); }

    bool mOn{};
    int mCount{};
    double mSize{};
    YTime mWhen;
    eShape mShape{};
    std::array<double, 3> mPlace{};
    std::array<bool, 3> mAxes{};
    YPropertyT<double> mRate;
};

std::string TextOf(YObject& object, const char* name)
{
    char text[YPropertyTextSize];
    object.FastFindPropertyByName(name)->GetString(text, sizeof text);
    return text;
}

TEST(Property, AnObjectShowsItsMembersInOrder)
{
    Sheet sheet;
    sheet.mCount = 4;
    std::string all;
    YPropertyList& list = sheet.GetPropertyList();
    for (int i = 0; i < list.GetCount(); ++i) all += TextOf(sheet, list.Get(i)->GetName()) + "; ";
    EXPECT_EQ(all, "true; 4; 0.5; inf; Square; 1,0.1,-2; true,false,true; 60; ");
    EXPECT_STREQ(list.Get(6)->GetDataType()->GetName(), "Bool3D");
    EXPECT_EQ(sheet.FastFindPropertyByName("rate"), &sheet.mRate);
    EXPECT_EQ(sheet.FastFindPropertyByName("Rates"), nullptr);
    EXPECT_EQ(list.Get(list.GetCount()), nullptr);
    YPropertyT<int> added("Added", 5);
    EXPECT_TRUE(list.Add(&added) && list.Add(&added));
    EXPECT_EQ(sheet.GetPropertyList().GetIndex(&added), 8);
}

TEST(Property, TextsAreReadAsDocumented)
{
    constexpr std::tuple<const char*, const char*, const char*> cases[] = {
        // name, text, value or null where refused
        {"On", " No ", "false"},         {"On", "1", "true"},
        {"On", "oui", nullptr},          {"Count", "+7", "7"},
        {"Count", "0", nullptr},         {"Count", "11", nullptr},
        {"Size", "1e-3", "0.001"},       {"Size", "0", nullptr},
        {"Size", "nan", nullptr},        {"Size", "1,5", nullptr},
        {"When", "0.5", "0.5"},          {"When", "@9000000000000000001", "@9000000000000000001"},
        {"When", "-inf", "-inf"},        {"When", "1e30", "inf"},
        {"When", "00:01:00:15", "60.5"}, {"When", "-00:00:01;15", "-1.5"},
        {"When", "01:00:00", nullptr},   {"When", "1:+2:3:4", nullptr},
        {"Shape", "ROUND", "round"},     {"Shape", "7", "Square"},
        {"Shape", "4", nullptr},         {"Place", "3 -4,\t5", "3,-4,5"},
        {"Place", "1,2", nullptr},       {"Place", "1,,2", nullptr},
        {"Place", "1,-6,2", nullptr},    {"Axes", "yes 0 on", "true,false,true"}};
    YTime::SetTimeMode(eTimeMode::Fps30);
    for (const auto& [name, text, value] : cases) {
        Sheet sheet;
        const std::string before = TextOf(sheet, name);
        EXPECT_EQ(sheet.FastFindPropertyByName(name)->SetString(text), value != nullptr) << text;
        EXPECT_EQ(TextOf(sheet, name), value != nullptr ? value : before) << name << " " << text;
    }
    char cut[4] = "xyz";
    Sheet().FastFindPropertyByName("On")->GetString(cut, 3);
    EXPECT_STREQ(cut, "tr");
}

TEST(Property, EveryTimeAndNumberComesBackFromItsText)
{
    test::RandomEngine random;
    YPropertyT<YTime> time("t");
    YPropertyT<double> number("n");
    for (int i = 0; i < 2000; ++i) {
        const auto ticks = static_cast<std::int64_t>(random()) >> (random() % 60);
        time.Set(YTime(ticks));
        auto value = std::bit_cast<double>(static_cast<std::uint64_t>(random()));
        if (std::isnan(value)) value = -std::numeric_limits<double>::infinity();
        number.Set(value);
        char text[YPropertyTextSize];
        time.GetString(text, sizeof text);
        time.Set(YTIME_ZERO);
        ASSERT_TRUE(time.SetString(text)) << text;
        ASSERT_EQ(time.Get().Get(), ticks) << text;
        number.GetString(text, sizeof text);
        number.Set(0.0);
        ASSERT_TRUE(number.SetString(text)) << text;
        ASSERT_EQ(number.Get(), value) << text;
    }
}

TEST(Property, NumbersStandForValuesOfOneMember)
{
    Sheet sheet;
    const double refused = -99.0;
    const std::tuple<const char*, double, double> cases[] = {
        {"On", 0.2, 1.0},        {"Count", 2.9, 2.0},  {"Count", 1e10, refused}, {"Size", NAN, refused},
        {"Size", -1.0, refused}, {"When", 0.25, 0.25}, {"Place", 1.0, refused}};
    for (const auto& [name, set, read] : cases) {
        YProperty* property = sheet.FastFindPropertyByName(name);
        double value = 0.0;
        const bool taken = property->SetDouble(set) && property->GetDouble(&value);
        EXPECT_EQ(taken ? value : refused, read) << name;
    }
    EXPECT_EQ(sheet.mWhen, YTime(11546539500));
    double unused;
    EXPECT_FALSE(YProperty("plain").GetDouble(&unused));
    EXPECT_FALSE(YProperty("plain").SetString("1"));
}

TEST(Property, DefaultsMayBeThoseOfTheMoment)
{
    YTime::SetTimeMode(eTimeMode::Fps30);
    Sheet sheet;
    sheet.mRate.Set(1.0);
    sheet.mSize = -7.0;  // a member takes what its range refuses
    EXPECT_EQ(TextOf(sheet, "Size"), "-7");
    EXPECT_FALSE(sheet.FastFindPropertyByName("Size")->IsDefault());
    YTime::SetTimeMode(eTimeMode::Fps24);
    sheet.ResetProperties(Sheet::StaticClass());
    EXPECT_EQ(sheet.mRate, 48.0);
    EXPECT_EQ(sheet.mSize, 0.5);
    EXPECT_TRUE(sheet.FastFindPropertyByName("Rate")->IsDefault());
    YTime::SetTimeMode(eTimeMode::Fps30);
    EXPECT_FALSE(sheet.mRate.IsDefault());
}

}  // namespace
