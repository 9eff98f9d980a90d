#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/motion_support.h"

using namespace ymotion;

namespace {

constexpr std::string_view kSmall =
    "HIERARCHY\n"
    "ROOT Hips\n"
    "{\n"
    "\tOFFSET 0 1.5 -2\n"
    "\tCHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation Xrotation\n"
    "\tJOINT Leg\n"
    "\t{\n"
    "\t\tOFFSET 1 -40 0\n"
    "\t\tCHANNELS 2 Xrotation Zrotation\n"
    "\t\tEnd Site\n"
    "\t\t{\n"
    "\t\t\tOFFSET 0 -10 0\n"
    "\t\t}\n"
    "\t}\n"
    "}\n"
    "MOTION\n"
    "Frames: 2\n"
    "Frame Time: .0083333\n"
    "1 2 3 4 5 6 7 8\n"
    "-1 -2.5 3e1 4E-1 .5 6. 70 800\n";

/// kSmall with one part replaced.
std::string SmallWith(std::string_view part, std::string_view replacement)
{
    std::string text(kSmall);
    const std::size_t place = text.find(part);
    EXPECT_NE(place, std::string::npos) << part;
    return text.replace(place, part.size(), replacement);
}

std::string AllReplaced(std::string text, std::string_view part, std::string_view replacement)
{
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += replacement.size())
        text.replace(at, part.size(), replacement);
    return text;
}

/// Joints inside each other, each on two lines behind the first; the innermost is on line 2 * depth.
std::string Nested(int depth)
{
    std::string text = "HIERARCHY\n";
    for (int i = 0; i < depth; ++i)
        text += (i == 0 ? "ROOT a {\n" : "JOINT b {\n") + std::string("OFFSET 0 0 0 CHANNELS 0\n");
    text += "End Site { OFFSET 0 1 0 }\n" + std::string(static_cast<std::size_t>(depth), '}');
    return text + "\nMOTION\nFrames: 0\nFrame Time: 0.04\n";
}

}  // namespace

TEST(BvhReader, ReadsHierarchyAndFrames)
{
    const BvhMotion motion = ParseBvh(kSmall, "test.bvh");
    ASSERT_EQ(motion.skeleton.joints.size(), 3u);
    const Joint& hips = motion.skeleton.joints[0];
    EXPECT_EQ(hips.name, "Hips");
    ASSERT_EQ(hips.channels.size(), 6u);
    EXPECT_EQ(hips.channels[1], (Channel{ChannelKind::Translation, Axis::Y}));
    EXPECT_EQ(hips.channels[3], (Channel{ChannelKind::Rotation, Axis::Z}));
    EXPECT_EQ(motion.skeleton.joints[1].parent, 0);
    const Joint& tip = motion.skeleton.joints[2];
    EXPECT_TRUE(tip.parent == 1 && tip.endSite && tip.offset == (std::array{0.0f, -10.0f, 0.0f}));
    EXPECT_EQ(motion.frameCount, 2);
    EXPECT_EQ(motion.rate, (FrameRate{120, 1}));
    EXPECT_EQ(motion.frameTime, ".0083333");
    const std::vector<float> samples{1, 2, 3, 4, 5, 6, 7, 8, -1, -2.5f, 30, 0.4f, 0.5f, 6, 70, 800};
    EXPECT_EQ(motion.samples, samples);
}

TEST(BvhReader, WritingHabitsDoNotMatter)
{
    const BvhMotion plain = ParseBvh(kSmall, "test.bvh");
    const std::string text(kSmall);
    const std::vector<std::pair<const char*, std::string>> variants{
        {"CR LF", AllReplaced(text, "\n", "\r\n")},
        {"tabs between words", AllReplaced(text, " ", "\t")},
        {"byte order mark", "\xEF\xBB\xBF" + text},
        {"blank lines", AllReplaced(text, "\n", "\n \n")},
        {"no last line end", text.substr(0, text.size() - 1)},
        {"lower case",
         AllReplaced(AllReplaced(AllReplaced(text, "HIERARCHY", "hierarchy"), "OFFSET", "Offset"), "rotation",
                     "ROTATION")},
        {"End site", SmallWith("End Site", "END SITE")},
        {"brace behind the name", SmallWith("ROOT Hips\n{", "ROOT Hips{")},
        {"braces on one line", AllReplaced(AllReplaced(text, "\n\t\t}\n\t}\n}\n", "}}}"), "\n\t\t{\n", "{")},
        {"Frames :", SmallWith("Frames: 2", "Frames : 2")},
        {"Frame Time:.0083333", SmallWith("Frame Time: .0083333", "Frame  Time:.0083333")},
        {"FrameTime", SmallWith("Frame Time: .0083333", "FrameTime : 8.3333E-3")},
        {"plus signs", SmallWith("1 2 3 4", "+1 +2.0 +3e+0 4")},
        {"broken lines", SmallWith("4 5 6 7 8\n", "4\n 5 6 7\n8\n")},
        {"offset behind channels", SmallWith("\t\tOFFSET 1 -40 0\n\t\tCHANNELS 2 Xrotation Zrotation\n",
                                             "CHANNELS 2 Xrotation Zrotation\nOFFSET 1 -40 0\n")},
    };
    for (const auto& [habit, variant] : variants) {
        SCOPED_TRACE(habit);
        ASSERT_EQ(RefusalOf(variant), "");
        const BvhMotion same = ParseBvh(variant, "test.bvh");
        EXPECT_TRUE(same.skeleton.joints == plain.skeleton.joints && same.rate == plain.rate);
        EXPECT_EQ(same.samples, plain.samples);
    }
}

TEST(BvhReader, NamesReachFromTheKeywordToTheEndOfTheLineOrTheBrace)
{
    const auto name = [](std::size_t joint, const char* part, const char* replacement) {
        return ParseBvh(SmallWith(part, replacement), "t").skeleton.joints[joint].name;
    };
    EXPECT_EQ(name(1, "JOINT Leg", "JOINT Left Leg:2 "), "Left Leg:2");
    EXPECT_EQ(name(1, "JOINT Leg\n\t{", "JOINT Leg upper{"), "Leg upper");
    EXPECT_EQ(name(2, "End Site", "End Site toe"), "toe");
    EXPECT_EQ(name(0, "ROOT Hips", "ROOT H\xC3\xBC\x66te \xFF"), "H\xC3\xBC\x66te \xFF");
}

TEST(BvhReader, NumbersAreSinglePrecision)
{
    const auto read = [](std::string_view number) {
        return ParseBvh(SmallWith("1 2 3", std::string(number) + " 2 3"), "t").samples.at(0);
    };
    EXPECT_EQ(read("3.4028235e38"), std::numeric_limits<float>::max());
    EXPECT_TRUE(std::signbit(read("-0.0000")));
    // Noise of computations is nothing, not an error.
    EXPECT_EQ(read("1e-45"), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(read("-4e-9999"), 0.0f);
    EXPECT_EQ(read("0." + std::string(5000, '0') + "1"), 0.0f);
}

TEST(BvhReader, RefusesWithTheLineAndAReason)
{
    const std::tuple<std::string, int, const char*> cases[] = {
        // Hierarchy.
        {SmallWith("ROOT", "ROOF"), 2, "'ROOF'"},
        {SmallWith("ROOT Hips", "ROOT"), 3, "without a name"},
        {SmallWith("OFFSET 0 1.5 -2", ""), 15, "no OFFSET"},
        {SmallWith("\t\t}\n\t}\n", "\t\t}\n"), 15, "add the missing '}'"},
        {SmallWith("}\nMOTION", "}\n}\nMOTION"), 16, "'}' without"},
        {SmallWith("\t\t\tOFFSET 0 -10 0\n", "OFFSET 0 0 0\nCHANNELS 1 Xrotation\n"), 13, "end site"},
        // Channels.
        {SmallWith("OFFSET 0 1.5 -2", "OFFSET 0 0 0 OFFSET 0 0 0"), 4, "second OFFSET"},
        {SmallWith("2 Xrotation Zrotation", "0 CHANNELS 0"), 9, "second CHANNELS"},
        {SmallWith("2 Xrotation Zrotation", "2 Xrotation Wrotation"), 9, "unknown channel 'Wrotation'"},
        {SmallWith("2 Xrotation Zrotation", "2 Xrotation xROTATION"), 9, "twice"},
        {SmallWith("2 Xrotation Zrotation", "3 Xrotation Zrotation"), 10, "only 2 names"},
        {SmallWith("2 Xrotation Zrotation", "1 Xrotation Zrotation"), 9, "more names follow"},
        // Counts and times.
        {SmallWith("Frames: 2", "Frames: 99999999999999999999"), 17, "number of frames"},
        {SmallWith("Frames: 2", "Frames: 2147483647"), 17, "do not fit into the"},
        {SmallWith(".0083333", "0"), 18, "frame time"},
        // Frames.
        {SmallWith("1 2 3 4 5 6 7 8\n", "1 2 3 4 5 6 7\n"), 19, "frame 1 has 7 numbers"},
        {SmallWith("1 2 3 4 5 6 7 8\n", "1 2 3 4 5 6 7 8 9\n"), 19, "frame 1 has 9 numbers"},
        {SmallWith(" 70 800\n", " 70\n"), 20, "in frame 2 after 7 of 8 numbers"},
        {SmallWith("Frames: 2", "Frames: 3"), 21, "the file ends before frame 3"},
        {SmallWith("Frames: 2", "Frames: 1"), 20, "more text behind the 1 frames that line 17"},
        {SmallWith("7 8\n", "7 x8\n"), 19, "'x8'"},
        {SmallWith("7 8\n", "7 1e39\n"), 19, "'1e39'"},
        {SmallWith("7 8\n", "7 8,5\n"), 19, "decimals with a point"},
    };
    for (const auto& [text, line, what] : cases) {
        const std::string message = RefusalOf(text);
        const std::string place = "test.bvh:" + std::to_string(line) + ": ";
        EXPECT_EQ(message.substr(0, place.size()), place) << message;
        EXPECT_TRUE(Holds(message, what));
        EXPECT_TRUE(Holds(message, "; ")) << "no advice in: " << message;
    }
    // Lines count the same with every line end, and a long token is not repeated at length.
    for (const char* end : {"\r\n", "\r"})
        EXPECT_EQ(RefusalOf(AllReplaced(SmallWith("7 8\n", "7 x8\n"), "\n", end)).substr(0, 12),
                  "test.bvh:19:");
    EXPECT_LT(RefusalOf(SmallWith("7 8\n", "7 " + std::string(100000, 'y') + "\n")).size(), 300u);
}

TEST(BvhReader, NestingIsLimitedTo1000Joints)
{
    const std::string message = RefusalOf(Nested(1001));
    EXPECT_EQ(message.substr(0, 15), "test.bvh:2002: ") << message;
    EXPECT_TRUE(Holds(message, "more than 1000 deep"));
    EXPECT_NE(RefusalOf(Nested(200000)), "");
    // The whole way down and back: nodes, report and writer are no less deep.
    const Scene scene = SceneOfText(Nested(1000));
    EXPECT_EQ(ParseBvh(BvhTextOf(scene), "copy").skeleton.JointCount(), 1000u);
}

TEST(BvhReader, EveryBeginningOfAFileIsRefused)
{
    for (std::size_t length = 0; length <= kSmall.rfind("800"); ++length) {
        const std::string message = RefusalOf(kSmall.substr(0, length));
        EXPECT_EQ(message.substr(0, 9), "test.bvh:") << kSmall.substr(0, length);
    }
}
