#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <string>
#include <vector>

#include "folder_testing.h"
#include "talo_testing.h"
#include "tests/test_environment.h"

namespace {

// The reader of a text that has to be well-formed.
struct Reading : YTalo
{
    explicit Reading(std::string lines) : text("ytalo 1\n" + std::move(lines))
    {
        EXPECT_TRUE(TextOpen(text.data(), text.size())) << GetError().GetLastErrorString();
    }

    std::string text;
};

using TaloFile = FolderTest;

// A step of writing or reading: a field begins (n) or ends (.), its block begins ({) or ends (}), or a value
// with the letter of its type.
struct Item
{
    char kind;
    std::uint64_t bits = 0;
    std::string text = {};

    int Integer() const { return static_cast<int>(bits); }
    YTime Time() const { return YTime(static_cast<std::int64_t>(bits)); }
};

std::string RandomText(test::RandomEngine& random, bool large)
{
    static const char* const pieces[] = {
        "a", "Z9", "\xC3\xA9", "\xF0\x9F\x98\x80", "\xFF", "\xE2\x82", "\"", "\n", "\\", ":", " ", "#"};
    std::string text;
    for (std::size_t i = random() % (large ? 20000 : 5); i > 0; --i)
        text += pieces[random() % std::size(pieces)];
    return text;
}

void AddRandomField(test::RandomEngine& random, int depth, std::vector<Item>& items)
{
    items.push_back({'n', 0, RandomText(random, random() % 200 == 0)});
    const bool isLong = random() % 50 == 0;
    for (std::size_t i = random() % (isLong ? 30000 : 6); i > 0; --i) {
        const char kind = "IDFCST"[random() % 6];
        items.push_back(
            {kind, random() >> random() % 64, kind == 'S' ? RandomText(random, random() % 500 == 0) : ""});
    }
    if (depth > 0 && random() % 2 == 0) {
        items.push_back({'{'});
        for (std::size_t i = random() % 8; i > 0; --i) AddRandomField(random, depth - 1, items);
        items.push_back({'}'});
    }
    items.push_back({'.'});
}

// How an item is written, and whether what is read next is the item.
struct Step
{
    char kind;
    bool (*write)(YTalo&, const Item&);
    bool (*reads)(YTalo&, const Item&);
};

const Step kSteps[] = {
    {'n', [](YTalo& to, const Item& item) { return to.FieldWriteBegin(item.text.c_str()); },
     [](YTalo& from, const Item& item) { return from.FieldReadBegin(item.text.c_str()); }},
    {'.', [](YTalo& to, const Item&) { return to.FieldWriteEnd(); },
     [](YTalo& from, const Item&) {
         const bool all = from.FieldReadGetRemain() == 0 && from.FieldReadGetType() == '\0';
         from.FieldReadEnd();
         return all;
     }},
    {'{', [](YTalo& to, const Item&) { return to.FieldWriteBlockBegin(); },
     [](YTalo& from, const Item&) { return from.FieldReadBlockBegin(); }},
    {'}', [](YTalo& to, const Item&) { return to.FieldWriteBlockEnd(); },
     [](YTalo& from, const Item&) {
         const bool all = from.FieldReadNext() == nullptr;
         from.FieldReadBlockEnd();
         return all;
     }},
    {'I', [](YTalo& to, const Item& item) { return to.FieldWriteI(item.Integer()); },
     [](YTalo& from, const Item& item) { return from.FieldReadI() == item.Integer(); }},
    {'D', [](YTalo& to, const Item& item) { return to.FieldWriteD(std::bit_cast<double>(item.bits)); },
     [](YTalo& from, const Item& item) {
         return std::bit_cast<std::uint64_t>(from.FieldReadD()) == item.bits;
     }},
    {'F', [](YTalo& to, const Item& item) { return to.FieldWriteF(std::bit_cast<float>(item.Integer())); },
     [](YTalo& from, const Item& item) { return std::bit_cast<int>(from.FieldReadF()) == item.Integer(); }},
    {'C', [](YTalo& to, const Item& item) { return to.FieldWriteCH(static_cast<char>(item.bits)); },
     [](YTalo& from, const Item& item) { return from.FieldReadCH() == static_cast<char>(item.bits); }},
    {'S', [](YTalo& to, const Item& item) { return to.FieldWriteS(item.text.c_str()); },
     [](YTalo& from, const Item& item) { return from.FieldReadS() == item.text; }},
    {'T', [](YTalo& to, const Item& item) { return to.FieldWriteT(item.Time()); },
     [](YTalo& from, const Item& item) { return from.FieldReadT() == item.Time(); }},
};

const Step& StepOf(const Item& item)
{
    return *std::find_if(kSteps, std::end(kSteps), [&](const Step& step) { return step.kind == item.kind; });
}

bool Reads(YTalo& talo, const Item& item)
{
    const bool isValue = item.kind >= 'A' && item.kind <= 'Z';
    return (!isValue || talo.FieldReadGetType() == item.kind) && StepOf(item).reads(talo, item);
}

// The same text with comments and blanks in between, which make no difference.
std::string Spread(const std::string& text, test::RandomEngine& random)
{
    std::string spread;
    for (const char c : text) {
        spread += c;
        if (c == '\n' && random() % 10 == 0) spread += "  # " + std::string(random() % 300, '{') + "\r\n\t";
    }
    return spread;
}

TEST_F(TaloFile, GivesBackTheBitsOfRandomFields)
{
    test::RandomEngine random;
    std::vector<Item> items;
    while (items.size() < 250000) AddRandomField(random, 6, items);
    YTalo talo;
    ASSERT_TRUE(talo.FileCreate(path.c_str()));
    for (const Item& item : items) ASSERT_TRUE(StepOf(item).write(talo, item));
    ASSERT_TRUE(talo.FileClose()) << talo.GetError().GetLastErrorString();
    const std::string text = Content();
    ASSERT_GT(text.size(), std::size_t{3} << 20) << "several windows";
    for (const bool spread : {false, true}) {
        if (spread) Put(Spread(text, random));
        ASSERT_TRUE(talo.FileOpen(path.c_str()))
            << talo.GetErrorLine() << ' ' << talo.GetError().GetLastErrorString();
        for (std::size_t i = 0; i < items.size(); ++i) ASSERT_TRUE(Reads(talo, items[i])) << "item " << i;
        EXPECT_TRUE(talo.FileClose());
    }
}

TEST(TaloFields, AreFoundInAnyOrderAndEachOnce)
{
    Reading talo("A: 1\nB: 2\nA: 3\nUnknown: 1 2 {\n  A: 9\n}\nC: 4\nA: 5\n");
    EXPECT_EQ(talo.FieldReadI("C", 0), 4);
    EXPECT_EQ(talo.FieldReadI("A", 0), 1);
    EXPECT_EQ(talo.FieldReadI("A", 0), 3);
    EXPECT_STREQ(talo.FieldReadNext(), "B");
    talo.FieldReadEnd();
    EXPECT_EQ(talo.FieldReadI("B", -1), -1);
    EXPECT_STREQ(talo.FieldReadNext(), "Unknown");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(talo.FieldReadBlockBegin());
        EXPECT_FALSE(talo.FieldReadBegin("C"));
        EXPECT_EQ(talo.FieldReadI("A", 0), 9) << "blocks that are entered again are unread";
        talo.FieldReadBlockEnd();
    }
    EXPECT_EQ(talo.FieldReadI(), 1);
    talo.FieldReadEnd();
    EXPECT_STREQ(talo.FieldReadNext(), "A");
    EXPECT_EQ(talo.FieldReadI(), 5);
    talo.FieldReadEnd();
    EXPECT_EQ(talo.FieldReadNext(), nullptr);
    EXPECT_FALSE(talo.FieldReadBegin("A"));
}

TEST(TaloFields, ValuesConvertWhereTheyFit)
{
    Reading talo(
        "I: 3.0 -7.0f 2147483647.0 2.5 1e10 nan 'c' \"1\" @4\n"
        "D: 5 0.1f inff @4\n"
        "F: 16777217 0.1 1e39 -inf 3.40282356779733e38 3.4028235677973367e38\n"
        "C: 67 \"C\"\n"
        "S: 'S' \"S\"\n"
        "T: 12 @12\n");
    ASSERT_TRUE(talo.FieldReadBegin("I"));
    for (const int value : {3, -7, 2147483647, 0, 0, 0, 0, 0, 0}) EXPECT_EQ(talo.FieldReadI(), value);
    EXPECT_EQ(talo.FieldReadGetRemain(), 0);
    EXPECT_EQ(talo.FieldReadI(), 0) << "past the last";
    talo.FieldReadEnd();
    ASSERT_TRUE(talo.FieldReadBegin("D"));
    for (const double value : {5.0, static_cast<double>(0.1f), HUGE_VAL, 0.0})
        EXPECT_EQ(talo.FieldReadD(), value);
    talo.FieldReadEnd();
    // The last but one is below the halfway point from the largest float to 2^128, the last one on it.
    ASSERT_TRUE(talo.FieldReadBegin("F"));
    for (const float value : {16777216.0f, 0.1f, 0.0f, -HUGE_VALF, std::numeric_limits<float>::max(), 0.0f})
        EXPECT_EQ(talo.FieldReadF(), value);
    talo.FieldReadEnd();
    // With a name, what does not convert counts as missing; the rest of the field is skipped.
    EXPECT_EQ(talo.FieldReadCH("C", 'x'), 'x');
    EXPECT_STREQ(talo.FieldReadS("S", nullptr), nullptr);
    EXPECT_EQ(talo.FieldReadT("T", YTime(5)), YTime(5));
    EXPECT_EQ(talo.FieldReadT("None", YTime(6)), YTime(6));
    EXPECT_TRUE(talo.FileClose());
}

// A call of either kind at random, sensible or not.
void CallAtRandom(YTalo& talo, test::RandomEngine& random, bool writing)
{
    static const char* const names[] = {"A", "B", "C c", ""};
    const Item item{'n', 1, names[random() % std::size(names)]};
    const Step& step = kSteps[random() % std::size(kSteps)];
    static_cast<void>(writing ? step.write(talo, item) : step.reads(talo, item));
}

TEST(TaloFields, CallsInAnyOrderAreRefusedOrReadable)
{
    test::RandomEngine random;
    int accepted = 0;
    for (int round = 0; round < 20000; ++round) {
        const auto calls = random() % 12;
        const std::string text = Written([&](YTalo& talo) {
            for (std::size_t i = 0; i < calls; ++i) CallAtRandom(talo, random, true);
        });
        if (text.empty()) continue;
        ++accepted;
        YTalo talo;
        ASSERT_TRUE(talo.TextOpen(text.data(), text.size())) << text;
        EXPECT_FALSE(talo.FieldReadBegin(nullptr));
        for (int i = 0; i < 40; ++i) CallAtRandom(talo, random, i % 13 == 12);
    }
    EXPECT_GT(accepted, 100);
    EXPECT_EQ(Written([](YTalo& talo) { talo.FieldWriteI(nullptr, 1); }), "");
    YTalo closed;
    for (int i = 0; i < 1000; ++i) CallAtRandom(closed, random, false);
    EXPECT_FALSE(closed.FileClose());
    EXPECT_FALSE(closed.FieldWriteI(1));
    EXPECT_EQ(closed.GetError().GetLastErrorID(), YTalo::eErrorUsage);
}

TEST_F(TaloFile, ThatChangesWhileItIsReadIsAnError)
{
    std::string text = "ytalo 1\nList:\n";
    for (int i = 0; i < 150000; ++i) text += "  @" + std::to_string(i) + " 1.5 \"text\"\n";
    const std::string others[] = {"",
                                  text.substr(0, 100),
                                  std::string(text.size(), '"'),
                                  std::string(text.size(), '1'),
                                  std::string(2 * text.size(), '\n'),
                                  "ytalo 1\nList: {\n}\n" + text};
    for (const std::string& other : others) {
        Put(text);
        YTalo talo;
        ASSERT_TRUE(talo.FileOpen(path.c_str()));
        ASSERT_TRUE(talo.FieldReadBegin("List"));
        Put(other);
        while (talo.FieldReadGetRemain() > 0) {
            talo.FieldReadT();
            talo.FieldReadD();
            talo.FieldReadS();
        }
        EXPECT_FALSE(talo.FileClose());
        EXPECT_EQ(talo.GetError().GetLastErrorID(), YTalo::eErrorRead);
    }
}

TEST_F(TaloFile, ThatIsNoneIsRefused)
{
    YTalo talo;
    EXPECT_FALSE(talo.FileOpen(path.c_str()));
    EXPECT_EQ(talo.GetError().GetLastErrorID(), YTalo::eErrorOpen);
    EXPECT_NE(std::string(talo.GetError().GetLastErrorString()).find("No such file"), std::string::npos);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    for (const char* other : {path.c_str(), folder.c_str(), "", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(talo.FileOpen(other));
        EXPECT_EQ(talo.GetError().GetLastErrorID(), YTalo::eErrorOpen);
        EXPECT_FALSE(talo.FileCreate(other));
        EXPECT_EQ(talo.GetError().GetLastErrorID(), YTalo::eErrorWrite);
        EXPECT_FALSE(talo.FieldWriteI("A", 1));
        EXPECT_FALSE(talo.FileClose());
    }
}

}  // namespace
