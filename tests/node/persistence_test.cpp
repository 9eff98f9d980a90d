#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "nodes.h"
#include "tests/curve/talo_text.h"
#include "ybaselib/yset.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvetimewarpset.h"

namespace {

using namespace nodetest;
using yfc::test::Read;

std::string Stored(const YFCurveNode& node, bool onlyDefaults = false, bool shortNames = false,
                   bool noUserNames = false, bool withColor = false)
{
    return Written([&](YTalo& talo) {
        EXPECT_TRUE(node.TaloStore(&talo, onlyDefaults, shortNames, noUserNames, "Channel", withColor));
    });
}

YFCurveNodePtr Created(const std::string& text, bool onlyDefaults = false)
{
    return Read(text, [&](YTalo& talo) { return YFCurveNodePtr(YFCurveNodeCreate(&talo, onlyDefaults)); });
}

bool Retrieve(YFCurveNode& node, const std::string& text, bool createMissing = false)
{
    return Read(text, [&](YTalo& talo) { return node.TaloRetrieve(&talo, false, createMissing); });
}

/// A child field that holds a curve with that default value.
std::string Child(const std::string& name, const std::string& value)
{
    return "  Channel: \"" + name + "\" {\n    Default: " + value + "\n  }\n";
}

/// The default values of the children's curves; -1 for a child without one.
std::vector<float> Defaults(const YFCurveNode& node)
{
    std::vector<float> values;
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurve* curve = node.Get(i)->FCurveGet();
        values.push_back(curve != nullptr ? curve->GetValue() : -1.0f);
    }
    return values;
}

using Floats = std::vector<float>;
using Names = std::vector<std::string>;

/// The set of time warps that files are read with.
struct TimeWarps
{
    YSet set;

    TimeWarps() { YFCurve_SetTWSet(&set); }
    ~TimeWarps() { YFCurve_SetTWSet(nullptr); }
};

TEST(NodePersistence, Fields)
{
    EXPECT_EQ(YFCurve_FindTWFromNickNumber(7), nullptr) << "without a set";
    TimeWarps warps;
    YFCurveNode* warp = YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp));
    const YFCurveNodePtr node = PropertyOf(eDataType::Number, "Height");
    node->TimeWarpSet(warp);
    node->SetTimeWarpName("height");
    node->FCurveGet()->SetValue(2.0f);
    node->CreateLayerAt(YFCurveLayerInfo(3, nullptr));
    // A curve goes before children.
    node->FindOrCreate("below", true);
    EXPECT_EQ(Stored(*node, true, true, true),
              "ytalo 2\nChannel: \"Height\" {\nDefault: 2.0\nLayerType: 1\n}\n");
    warps.set.Add(warp, 7);
    const std::string file = R"(ytalo 1
Channel: "Height" {
  UserName: "height"
  TimeWarpID: 7
  Default: 2.0
  LayerType: 1
  LayerChannel: "Height" {
    UserName: "height"
    Default: 0.0
    LayerID: 3
    LayerType: 1
  }
}
)";
    EXPECT_EQ(Stored(*node), InNewLayout(file));
    EXPECT_NE(Stored(*node, true).find("UserName"), std::string::npos);
    const YFCurveNodePtr read = Created(file);
    EXPECT_STREQ(read->GetTimeWarpName(), "height");
    EXPECT_EQ(read->TimeWarpGet(), warp);
    EXPECT_EQ(Stored(*read), InNewLayout(file));
    // One letter for a property of a joint.
    EXPECT_EQ(Stored(*Translation("Lcl Translation"), true, true, true).substr(8, 13), "Channel: \"T\" ");
}

TEST(NodePersistence, ChildrenAreFoundByName)
{
    const std::string vector = "ytalo 1\nChannel: \"any\" {\n" + Child("x", "1.0") + Child("Y  (2)", "2.0") +
                               Child("Z (local)", "3.0") + Child("X   (3)", "9.0") + Child("W", "9.0") +
                               "}\n";
    const YFCurveNodePtr translation = Translation();
    ASSERT_TRUE(Retrieve(*translation, vector));
    EXPECT_STREQ(translation->GetName(), "any");
    EXPECT_EQ(ChildNames(*translation), (Names{"X", "Y", "Z"}));
    EXPECT_EQ(Defaults(*translation), (Floats{1.0f, 2.0f, 3.0f}));

    // One letter means the data type first, and then a name.
    const YFCurveNodePtr model(YFCurveNodeCreate("model", nullptr));
    model->FindOrCreate("r", false);
    model->Add(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), "Lcl Rotation"));
    const std::string rotation = "  Channel: \"R\" {\n" + Child("X", "5.0") + "  }\n";
    ASSERT_TRUE(Retrieve(*model, "ytalo 1\nChannel: \"model\" {\n" + rotation + "}\n"));
    EXPECT_EQ(Defaults(*model->Get(1)), (Floats{5.0f, -1.0f, -1.0f}));
    model->Delete(1);
    ASSERT_TRUE(Retrieve(*model, "ytalo 1\nChannel: \"model\" {\n" + rotation + "}\n", true));
    EXPECT_EQ(Defaults(*model->Get(0)), (Floats{5.0f}));
}

// What reading leaves out is told, with the line of the first. X stands in lines 3 to 11 of the file below.
TEST(NodePersistence, LeftOutPartsAreCounted)
{
    const std::string good =
        "ytalo 1 # ends with # end\nChannel: \"T\" {\n  Channel: \"X\" {\n    Default: 1.0\n    KeyVer: "
        "4006\n"
        "    KeyCount: 3\n    Key:\n      @0 1.0 'L'\n      @5 2.0 'U' 'a' 'n'\n      @9 3.0 'L'\n  }\n"
        "  LayerType: 1\n}\n# end\n";
    const struct
    {
        const char *good, *bad;
        std::array<int, 4> counts;  // keys, values, fields, end
        std::int64_t line;
    } damages[] = {
        {"", "", {0, 0, 0, 0}, 0},
        {"'U' 'a' 'n'", "'U' 'a' 'z'", {1, 0, 0, 0}, 9},
        {"@5 2.0", "@5", {1, 0, 0, 0}, 9},
        {"@5", "5", {0, 2, 0, 0}, 9},  // behind the first key, and a key less than the count says
        {"'n'", "'n' 7.0", {0, 1, 0, 0}, 9},
        {"KeyCount: 3", "KeyCount: 2", {1, 0, 0, 0}, 10},
        {"KeyCount: 3", "KeyCount: 2147483647", {0, 1, 0, 0}, 10},
        {"Key:", "Kez:", {0, 0, 1, 0}, 7},
        {"Default: 1.0", "Default:", {0, 1, 0, 0}, 4},
        {"  Channel", "  Chanel", {0, 0, 1, 0}, 3},
        {"LayerType: 1", "LayerType: \"one\"", {0, 1, 0, 0}, 12},
        {"# end\n", "", {0, 0, 0, 1}, 14},
        {"\n# end\n", "\n# end\nOther: 1\n", {0, 0, 0, 1}, 16},
    };
    for (const auto& damage : damages) {
        std::string text = good;
        const std::size_t place = text.rfind(damage.good);
        if (*damage.good != '\0') text.replace(place, std::strlen(damage.good), damage.bad);
        YTalo talo;
        ASSERT_TRUE(talo.TextOpen(text.data(), text.size())) << text;
        const YFCurveNodePtr node(YFCurveNodeCreate(&talo, false));
        ASSERT_TRUE(talo.FileClose());
        std::array<int, 4> counts{};
        std::int64_t line = 0;
        for (int kind = 0; kind < YTalo::LeftOutKinds; ++kind) {
            const auto what = static_cast<YTalo::ELeftOut>(kind);
            counts[static_cast<std::size_t>(kind)] = talo.GetLeftOutCount(what);
            if (line == 0) line = talo.GetLeftOutLine(what);
        }
        EXPECT_EQ(counts, damage.counts) << text;
        EXPECT_EQ(line, damage.line) << text;
    }
}

TEST(NodePersistence, FieldsWithoutAChildArePassedOver)
{
    const std::string children = Child("new", "1.0") + Child("X", "2.0") + Child("new", "3.0");
    const YFCurveNodePtr node = Translation();
    ASSERT_TRUE(Retrieve(*node, "ytalo 1\nChannel: \"n\" {\n" + children + "}\n", true));
    EXPECT_EQ(ChildNames(*node), (Names{"X", "Y", "Z", "new"}));
    EXPECT_EQ(Defaults(*node), (Floats{2.0f, 0.0f, 0.0f, 3.0f}));
    // A node with a curve takes no new children, and one with children no curve.
    const YFCurveNodePtr number(Created("ytalo 1\nChannel: \"n\" {\n  Default: 4.0\n" + children + "}\n"));
    EXPECT_EQ(number->FCurveGet()->GetValue(), 4.0f);
    EXPECT_EQ(number->GetCount(), 0);
    ASSERT_TRUE(Retrieve(*node, "ytalo 1\nChannel: \"n\" {\n  Default: 4.0\n}\n"));
    EXPECT_EQ(node->FCurveGet(), nullptr);
    // Children one by one, found or not, until there are no more fields.
    Read("ytalo 1\n" + children, [&](YTalo& talo) {
        for (YFCurveNode* next : {node->Get(3), node->Get(0), node->Get(3)})
            EXPECT_EQ(YFCurveNodeCreate(&talo, node.get(), false, false), next);
        EXPECT_FALSE(node->TaloRetrieve(&talo));
        return 0;
    });
    EXPECT_EQ(Created("ytalo 1\nLayerChannel: \"n\"\n"), nullptr);
}

// What one set of flags makes of children before, in, and behind a field that is skipped, and of a layer.
TEST(NodePersistence, FlagsReachChildrenAndLayers)
{
    const auto child = [](const std::string& name) {
        return "  Channel: \"" + name +
               "\" {\n    Default: 2.0\n    KeyVer: 4006\n    KeyCount: 1\n    Key:\n"
               "      @5 1.0 'L'\n    Color: 1.0 0.0 0.0\n  }\n";
    };
    const std::string file = "ytalo 1\nChannel: \"n\" {\n" + child("X") + child("new") + child("Y") +
                             "  LayerChannel: \"n\" {\n" + child("X") + child("more") +
                             "    LayerID: 2\n  }\n}\n";
    struct Case
    {
        bool onlyDefaults, createMissing, withColor;
        const char* looks;
    };
    // k: with keys, c: with colour. The flag for colours is off for the child behind a skipped field, and for
    // layers, which take all children that come.
    for (const Case& one :
         {Case{false, false, false, "Xk Yk Z Xk morek "}, Case{false, false, true, "Xkc Yk Z Xk morek "},
          Case{false, true, true, "Xkc Ykc Z newkc Xk morek "},
          Case{true, true, false, "X Y Z new X more "}}) {
        const YFCurveNodePtr node = Translation();
        Read(file, [&](YTalo& talo) {
            return node->TaloRetrieve(&talo, one.onlyDefaults, one.createMissing, one.withColor);
        });
        std::string looks;
        for (const YFCurveNode* layer = node.get(); layer != nullptr; layer = layer->LayerGet()) {
            for (int i = 0; i < layer->GetCount(); ++i) {
                const YFCurve& curve = CurveOf(*layer, i);
                looks += layer->Get(i)->GetName();
                looks += std::string(curve.KeyGetCount() > 0 ? "k" : "") +
                         (curve.GetColor()[1] == 0.0f ? "c " : " ");
            }
        }
        EXPECT_EQ(looks, one.looks);
    }
}

TEST(NodePersistence, LayerTypesFollowDataTypes)
{
    const struct
    {
        eDataType type;
        const char* name;
        std::vector<int> read;  // of the types 0, 1, 2, 3, 5 and 6
    } cases[] = {{eDataType::LocalRotation, "r", {2, 2, 2, 2, 5, 2}},
                 {eDataType::Vector3, "R", {2, 2, 2, 2, 5, 2}},
                 {eDataType::Vector2, "R", {0, 1, 0, 3, 0, 6}},
                 {eDataType::Vector3, "r", {0, 1, 2, 3, 5, 6}},
                 {eDataType::Rotation, "Rotation", {0, 1, 2, 3, 5, 6}},
                 {eDataType::Translation, "x", {1, 1, 1, 1, 1, 1}},
                 {eDataType::LocalScaling, "x", {3, 3, 3, 3, 3, 3}}};
    for (const auto& one : cases) {
        const YFCurveNodePtr node(FCurveNodeCreateFromDataType(YDataType::Get(one.type), one.name));
        std::vector<int> read;
        for (const int type : {0, 1, 2, 3, 5, 6}) {
            EXPECT_TRUE(Retrieve(*node, "ytalo 1\nChannel: \"" + std::string(one.name) +
                                            "\" {\n  LayerType: " + std::to_string(type) + "\n}\n"));
            read.push_back(node->GetLayerType());
        }
        EXPECT_EQ(read, one.read) << one.name;
    }
}

TEST(NodePersistence, TimeWarpsOfComponentsGoToTheProperty)
{
    TimeWarps warps;
    YFCurveNode* warp = YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp));
    const YFCurveNodePtr keep = Translation();
    keep->TimeWarpSet(warp);
    warps.set.Add(warp, 7);
    for (const auto& [component, property, child] :
         {std::tuple("\"X\" {\n TimeWarpID: 7\n LayerID: 0", true, false),
          {"\"x\" {\n TimeWarpID: 7\n LayerID: 0", false, true},
          {"\"X\" {\n TimeWarpID: 7\n LayerID: 1", false, true},
          {"\"X\" {\n TimeWarpID: 8\n LayerID: 0", false, false}}) {
        const YFCurveNodePtr node =
            Created("ytalo 1\nChannel: \"n\" {\n Channel: " + std::string(component) + "\n }\n}\n");
        EXPECT_EQ(node->TimeWarpGet() == warp, property) << component;
        EXPECT_EQ(node->Get(0)->TimeWarpGet() == warp, child) << component;
    }
    EXPECT_EQ(warp->GetReferenceCount(), 1);
}

TEST(NodePersistence, LayersJoinTheStack)
{
    const YFCurveNodePtr source = Translation("Lcl Translation");
    source->CreateLayerAt(YFCurveLayerInfo(4, nullptr));
    const YFCurveNodePtr node = Translation("Lcl Translation");
    node->SetUseQuaternion(true);
    node->LayerSet(new CountedNode("replaced", YFCurveLayerInfo(9, nullptr)));
    ASSERT_TRUE(Retrieve(*node, Stored(*source)));
    EXPECT_EQ(CountedNode::alive, 0);
    YFCurveNode* layer = node->LayerGet();
    EXPECT_TRUE(layer->GetUseQuaternion() && layer->GetDataType() == node->GetDataType());
    EXPECT_EQ(layer->Get(1)->ObjectLayerGet(), node->Get(1));
    // Names are shared with the base layer, and what a file does not have stays.
    node->Get(1)->SetTimeWarpName("height");
    ASSERT_TRUE(Retrieve(*node, "ytalo 1\nChannel: \"n\" { \n}\n"));
    EXPECT_STREQ(node->LayerGet(4)->Get(1)->GetTimeWarpName(), "height");
}

TEST(NodePersistence, NamesAreCutBetweenCharacters)
{
    const auto nameOf = [](const std::string& name) {
        return std::string(Created("ytalo 1\nChannel: \"" + name + "\" {\n}\n")->GetName());
    };
    const std::string ascii(1021, 'n');
    EXPECT_EQ(nameOf(ascii + "abc"), ascii + "ab");
    EXPECT_EQ(nameOf(ascii + "\u00e4b"), ascii + "\u00e4");
    EXPECT_EQ(nameOf(ascii + "a\u00e4"), ascii + "a");
    EXPECT_EQ(nameOf(ascii + "\U0001F600"), ascii);
}

}  // namespace
