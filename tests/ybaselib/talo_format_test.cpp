#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "talo_testing.h"
#include "tests/test_environment.h"

namespace {

// What is wrong with a text and where: "line:column: text"; empty for one that is well-formed.
std::string FaultOf(const std::string& text)
{
    YTalo talo;
    if (talo.TextOpen(text.data(), text.size())) return "";
    return std::to_string(talo.GetErrorLine()) + ':' + std::to_string(talo.GetErrorColumn()) + ": " +
           talo.GetError().GetLastErrorString();
}

// The same for lines below the first one.
std::string FaultIn(const std::string& lines)
{
    return FaultOf("ytalo 1\n" + lines);
}

std::string Blocks(int depth)
{
    std::string text;
    for (int i = 0; i < depth; ++i) text += "B: {\n";
    for (int i = 0; i < depth; ++i) text += "}\n";
    return text;
}

TEST(TaloFormat, IsLaidOutLineByLine)
{
    const std::string text = Written([](YTalo& talo) {
        talo.FieldWriteBegin("Channel");
        talo.FieldWriteS("Lcl \"\xC3\xA9\"\n\xFF\\");
        talo.FieldWriteBlockBegin();
        talo.FieldWriteD("Default", 1.0);
        talo.FieldWriteF("Weight", 0.1f);
        talo.FieldWriteI("Pre-Extrapolation", -7);
        talo.FieldWriteCH("4th one", '\'');
        talo.FieldWriteT("Start", YTime(-5));
        talo.FieldWriteBegin("Key");
        for (int i = 0; i < 2; ++i) {
            talo.FieldWriteT(YTime(i));
            talo.FieldWriteD(i * 1e22);
            talo.FieldWriteCH('U');
        }
        talo.FieldWriteBlockBegin();
        talo.FieldWriteBlockEnd();
        talo.FieldWriteEnd();
        talo.FieldWriteBegin("List");
        for (int i = 0; i < 18; ++i) talo.FieldWriteI(i);
        talo.FieldWriteEnd();
        talo.FieldWriteBegin("Empty");
        talo.FieldWriteEnd();
        talo.FieldWriteBlockEnd();
        talo.FieldWriteEnd();
    });
    EXPECT_EQ(text, R"(ytalo 2
Channel: "Lcl \"é\"\n\xff\\" {
Default: 1.0
Weight: 0.1f
Pre-Extrapolation: -7
"4th one": '\''
Start: @-5
Key:
@0 0.0'U'
@1 1e+22'U' {
}
List: 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15
16 17
Empty:
}
)");
}

// How a value is spelled.
template<class Value>
std::string Spelled(bool (YTalo::*write)(const char*, Value), Value value)
{
    const std::string text = Written([&](YTalo& talo) { (talo.*write)("A", value); });
    return text.substr(11, text.size() - 12);
}

TEST(TaloFormat, SpellsRealsAsTheirBits)
{
    EXPECT_EQ(Spelled(&YTalo::FieldWriteD, -HUGE_VAL), "-inf");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteD, std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteD, std::bit_cast<double>(0xFFF0000000000001u)),
              "nan(fff0000000000001)");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteF, 16777216.0f), "16777216.0f");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteShortD, 16777216.0f), "16777216.0");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteShortD, std::bit_cast<float>(0xFFC00001u)), "nan(fff8000020000000)");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteF, HUGE_VALF), "inff");
    EXPECT_EQ(Spelled(&YTalo::FieldWriteF, std::bit_cast<float>(0x7FC00001u)), "nan(7fc00001)f");
}

// Two roundings, to a double and then to a float, give the float that was written.
TEST(TaloFormat, ShortDoublesKeepSinglePrecision)
{
    test::RandomEngine random;
    for (int i = 0; i < 20000; ++i) {
        const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        if (std::isnan(value)) continue;
        const std::string text = Spelled(&YTalo::FieldWriteShortD, value);
        EXPECT_EQ(static_cast<float>(std::stod(text)), value) << text;
        // A sign, nine digits, a point and an exponent; or as many digits of a whole number.
        EXPECT_LE(text.size(), 16u) << text;
        EXPECT_EQ(text.find('f'), std::isinf(value) ? text.size() - 1 : std::string::npos) << text;
    }
}

TEST(TaloFormat, ReadsWhatPeopleEdit)
{
    const std::string text =
        "\xEF\xBB\xBFytalo 1 \r\n"
        "# a comment\r\n"
        "\t\"A\":\t1 -2 # of values too\r\n"
        "\r\n"
        "  3\n"
        "   #\n"
        "\"quoted\"\n"
        "inf -inf nan {# and here\n"
        "Inner: 1.5E+3 0.5f\n"
        "} # and there\n"
        "inf: 007\n"
        "Z: '\\x41' \"\\x41\\t\"'b''c' 1.5'd' @7'e' inf'f'";
    YTalo talo;
    ASSERT_TRUE(talo.TextOpen(text.data(), text.size())) << talo.GetError().GetLastErrorString();
    ASSERT_TRUE(talo.FieldReadBegin("A"));
    EXPECT_EQ(talo.FieldReadGetRemain(), 7);
    EXPECT_EQ(talo.FieldReadI(), 1);
    EXPECT_EQ(talo.FieldReadI(), -2);
    ASSERT_TRUE(talo.FieldReadBlockBegin());
    EXPECT_EQ(talo.FieldReadD("Inner", 0.0), 1500.0);
    talo.FieldReadBlockEnd();
    EXPECT_EQ(talo.FieldReadI(), 3);
    EXPECT_STREQ(talo.FieldReadS(), "quoted");
    EXPECT_EQ(talo.FieldReadD(), HUGE_VAL);
    EXPECT_EQ(talo.FieldReadD(), -HUGE_VAL);
    EXPECT_TRUE(std::isnan(talo.FieldReadD()));
    talo.FieldReadEnd();
    EXPECT_EQ(talo.FieldReadI("inf", 0), 7);
    ASSERT_TRUE(talo.FieldReadBegin("Z"));
    EXPECT_EQ(talo.FieldReadCH(), 'A');
    EXPECT_STREQ(talo.FieldReadS(), "A\t");
    std::string characters;
    for (char type = talo.FieldReadGetType(); type != '\0'; type = talo.FieldReadGetType()) {
        characters += type;
        if (type == 'C') characters += talo.FieldReadCH();
        if (type == 'T') characters += std::to_string(talo.FieldReadT().Get());
        if (type == 'D') characters += talo.FieldReadD() == 1.5 ? '1' : 'i';
    }
    EXPECT_EQ(characters, "CbCcD1CdT7CeDiCf");
    EXPECT_TRUE(talo.FileClose());
}

TEST(TaloFormat, SaysWhatIsWrongAndWhere)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Default 1.0\n", "2:8:", "expected a colon after the name of the field, found a blank"},
        {"A:1\n", "2:3:", "expected a blank after the colon, found \"1\""},
        {"A: 1 {\nB: 2\n",
         "4:1:", "expected the } of the block that begins in line 2, found the end of the file"},
        {"}\n", "2:1:", "no block is open"},
        {"A: {\n1\n}\n", "3:1:", "expected a field"},
        {"A: {\n}\n1\n", "4:1:", "values stand before the block"},
        {"A: { B: 1 }\n", "2:6:", "expected the end of the line, found \"B:\""},
        {"A: 1.\n", "2:6:", "a digit after the decimal point"},
        {"A: 2147483648\n", "2:4:", "an integer of 32 bits"},
        {"A: 1e309\n", "2:4:", "in the range of a double"},
        {"A: 3.5e38f\n", "2:4:", "in the range of a float"},
        {"A: 1.5\"b\"\n", "2:7:", "a blank after the value"},
        {"A: nan(7ff0000000000000)\n", "2:8:", "hexadecimal"},
        {"A: @9223372036854775808\n", "2:4:", "a time of 64 bits"},
        {"A: ''\n", "2:5:", "one ASCII character"},
        {"A: \"ab\n", "2:7:", "the closing \""},
        {"A: \"a\\q\"\n", "2:6:", "an escape"},
        {"A: \"a\\x0\"\n", "2:6:", "an escape"},
        {"A: \"\\x00\"\n", "2:5:", "without zero bytes"},
        {"A: \"\xC0\x80\"\n", "2:5:", "UTF-8"},
        {"A: \"\xED\xA0\x80\"\n", "2:5:", "UTF-8"},
        {"A: \"\xE2\x82\"\n", "2:5:", "UTF-8"},
        {"A: \"\xF5\x80\x80\x80\"\n", "2:5:", "UTF-8"},
    };
    for (const auto& [lines, place, text] : cases) {
        const std::string fault = FaultIn(lines);
        EXPECT_EQ(fault.find(place), 0u) << lines << fault;
        EXPECT_NE(fault.find(text), std::string::npos) << lines << fault;
    }
    EXPECT_NE(FaultIn(std::string("A: 1\0\n", 6)).find("2:5: expected a blank after the value"),
              std::string::npos);
    for (const char* text :
         {"", "y", "HIERARCHY\n", "ytalo\n", "ytalo 0\n", "ytalo x\n", "ytalo -1\n", "ytalo 1x\n"})
        EXPECT_NE(FaultOf(text), "") << text;
    EXPECT_NE(FaultOf("ytalo 3\nanything").find("1:7: is in version 3 of the format"), std::string::npos);
    EXPECT_EQ(FaultOf("ytalo 1"), "");
}

TEST(TaloFormat, HasTheSameLimitsForReadingAndWriting)
{
    EXPECT_EQ(FaultIn(Blocks(YTalo::MaximumDepth)), "");
    EXPECT_NE(FaultIn(Blocks(YTalo::MaximumDepth + 1)).find("1026:"), std::string::npos);
    const auto nest = [](YTalo& talo, int depth) {
        for (int i = 0; i < depth; ++i) talo.FieldWriteBegin("B"), talo.FieldWriteBlockBegin();
        for (int i = 0; i < depth; ++i) talo.FieldWriteBlockEnd(), talo.FieldWriteEnd();
    };
    EXPECT_EQ(FaultOf(Written([&](YTalo& talo) { nest(talo, YTalo::MaximumDepth); })), "");
    EXPECT_EQ(Written([&](YTalo& talo) { nest(talo, YTalo::MaximumDepth + 1); }), "");

    // Escaped, a string is four times as long.
    const std::string longest(YTalo::MaximumStringBytes, '\x01');
    const std::string text = Written([&](YTalo& talo) {
        talo.FieldWriteS(longest.c_str(), longest.c_str());
        talo.FieldWriteS("B", longest.c_str());
    });
    YTalo talo;
    ASSERT_TRUE(talo.TextOpen(text.data(), text.size())) << talo.GetError().GetLastErrorString();
    EXPECT_EQ(talo.FieldReadS(longest.c_str(), ""), longest);
    EXPECT_EQ(talo.FieldReadS("B", ""), longest);
    const std::string longer = longest + 'x';
    EXPECT_EQ(Written([&](YTalo& to) { to.FieldWriteS("A", longer.c_str()); }), "");
    const auto repeated = [](const char* before, std::size_t count, char c, const char* after) {
        return before + std::string(count, c) + after;
    };
    EXPECT_NE(FaultIn(repeated("A: \"", YTalo::MaximumStringBytes + 1, 'x', "\"\n")), "");

    EXPECT_EQ(FaultIn(repeated("A: 0.", 2046, '0', "\n")), "");
    EXPECT_NE(FaultIn(repeated("A: 0.", 2047, '0', "\n")).find("2:4: expected a number of fewer digits"),
              std::string::npos);
    EXPECT_EQ(FaultIn("A: -2147483648 00000000000002147483647 @-9223372036854775808\n"), "");
    EXPECT_EQ(FaultIn(repeated("A:", 3000000, ' ', "1 #") + repeated("", 3000000, ' ', "\n")), "");
}

}  // namespace
