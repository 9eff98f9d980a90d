#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "random_curve.h"
#include "talo_text.h"
#include "yfcurve/ymemoryblockqueue.h"

namespace {

using namespace yfc::test;

std::string Stored(const YFCurve& curve, bool onlyDefault = false, bool withColor = true,
                   bool autoAsUser = false)
{
    return Written(
        [&](YTalo& talo) { EXPECT_TRUE(curve.TaloStore(&talo, onlyDefault, withColor, autoAsUser)); });
}

YFCurvePtr Retrieved(const std::string& text, bool onlyDefault = false, bool withColor = true)
{
    return Read(text, [&](YTalo& talo) { return YFCurvePtr(YFCurveCreate(&talo, onlyDefault, withColor)); });
}

/// A file of keys in the newest layout.
std::string KeyFile(const std::string& keys, const std::string& count = "100")
{
    return "ytalo 1\nDefault: 0.0\nKeyVer: 4006\nKeyCount: " + count + "\nKey:\n" + keys;
}

/// Key `i` as "time value interpolation", followed for cubic keys by mode, data and weights in use.
std::string Key(const YFCurve& curve, int i)
{
    std::ostringstream text;
    text << curve.KeyGetTime(i).Get() << ' ' << curve.KeyGetValue(i);
    if (curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CONSTANT) {
        text << (curve.KeyGetConstantMode(i) == YFCURVE_CONSTANT_NEXT ? " next" : " constant");
        return text.str();
    }
    if (curve.KeyGetInterpolation(i) == YFCURVE_INTERP_LINEAR) return text.str() + " linear";
    static constexpr std::pair<unsigned, const char*> kModes[] = {
        {YFCURVE_TANGENT_AUTO, " auto"},     {YFCURVE_TANGENT_USER, " user"},
        {YFCURVE_TANGENT_TCB, " tcb"},       {YFCURVE_TANGENT_BREAK, " broken"},
        {YFCURVE_TANGENT_CLAMP, " clamped"}, {YFCURVE_TANGENT_TIME_INDEPENDENT, " independent"}};
    const unsigned mode = curve.KeyGetTangeantMode(i, true);
    for (const auto& [bit, name] : kModes) text << ((mode & bit) != 0 ? name : "");
    const float* data = curve.KeyGetDataPtr(i);
    text << ' ' << data[0] << ' ' << data[1];
    if ((mode & YFCURVE_TANGENT_TCB) != 0) text << ' ' << data[2];
    const unsigned weights = curve.KeyGetTangeantWeightMode(i);
    if ((weights & YFCURVE_WEIGHT_RIGHT) != 0)
        text << " right " << curve.KeyGetDataDouble(i, YFCURVEKEY_RIGHT_WEIGHT);
    if ((weights & YFCURVE_WEIGHT_NEXT_LEFT) != 0)
        text << " left " << curve.KeyGetDataDouble(i, YFCURVEKEY_NEXT_LEFT_WEIGHT);
    return text.str();
}

std::vector<std::string> Keys(const YFCurve& curve)
{
    std::vector<std::string> keys;
    for (int i = 0; i < curve.KeyGetCount(); ++i) keys.push_back(Key(curve, i));
    return keys;
}

using Strings = std::vector<std::string>;

// The file was written by hand.
TEST(CurvePersistence, TheNewestLayout)
{
    const std::string file = DataFile("keys-4006.ytalo");
    const YFCurvePtr curve = Retrieved(file);
    ASSERT_TRUE(curve);
    EXPECT_EQ(
        Keys(*curve),
        (Strings{
            "0 1 constant", "100 2 next", "200 3 linear", "300 4 tcb 0.25 -0.5 0.125", "400 5 user 1.5 -2",
            "500 6 user broken 0.5 0 right 0.49995", "600 7 user broken 0.5 0.25 left 0.249925",
            "700 8 user 1.5 0.25 right 0.249925 left 0.49995", "800 9 auto 0 0", "900 9 auto clamped 0 0",
            "1000 9 auto independent 0 0", "1100 9 auto clamped independent 0 0",
            "1200 0.5 auto independent 100 0", "1300 0.5 auto broken clamped independent 0 -50 right 0.49995",
            "1400 0.5 0 0", "1500 inf 0 0"}));
    EXPECT_EQ(curve->KeyGetInterpolation(15), 0u);
    EXPECT_EQ(curve->GetValue(), -1.5f);
    EXPECT_EQ(curve->GetPreExtrapolation(), YFCURVE_EXTRAPOLATION_MIRROR_REPETITION);
    EXPECT_EQ(curve->GetPreExtrapolationCount(), YFCURVE_EXTRAPOLATION_UNLIMITED);
    EXPECT_EQ(curve->GetPostExtrapolation(), YFCURVE_EXTRAPOLATION_CONST);
    EXPECT_EQ(curve->GetPostExtrapolationCount(), 2u);
    EXPECT_EQ(curve->GetColor()[1], 0.5f);
    EXPECT_EQ(Stored(*curve), DataFile("keys-4006-format-2.ytalo"));
    EXPECT_EQ(Stored(*Retrieved(Stored(*curve))), Stored(*curve));
}

// What the last version before a change reads, and the first one after it.
TEST(CurvePersistence, OlderLayouts)
{
    const auto keyOf = [](const std::string& version, const std::string& key) {
        const Strings keys = Keys(*Retrieved("ytalo 1\nDefault: 0.5\n" + version +
                                             "KeyCount: 2\nKey: @0 1.0 " + key + "\n@9 2.0f 'L'\n"));
        EXPECT_EQ(keys.back(), "9 2 linear") << version << key;
        return keys.size() == 2 ? keys[0].substr(4) : std::string();
    };
    const struct
    {
        int version;
        const char *key, *before, *from;
    } kCases[] = {
        {4000, "'C'", "constant", "constant"},
        {4000, "'C' 'n'", "next", "next"},
        {4000, "'U'", "auto 0 0", "0 0"},
        {4000, "'U' 1.5f -2", "user 1.5 -2", "0 0"},
        {4000, "'U' 1.5", "", "0 0"},
        {4000, "'U' 't' 0.25 -0.5 0.125", "tcb 0.25 -0.5 0.125", "tcb 0.25 -0.5 0.125"},
        {4002, "'U' 's' 1.5 -2.0 'a' 0.25 0.5", "user 1.5 -2", "user 1.5 -2 right 0.249925 left 0.49995"},
        {4002, "'U' 'b' 0.5 0.25", "user broken 0.5 0.25", ""},
        {4004, "'U' 'p' 100.0 50.0 'n'", "", "auto 100 50"},
        {4004, "'U' 'q' 10.0 0.0 'l' 0.5", "", "auto broken 10 0 left 0.49995"},
        {4004, "'U' 'd' -2.0 'r' 0.25", "", "auto 0 -2 right 0.249925"},
        {4005, "'U' 'a' 'c'", "auto 0 0", "auto clamped 0 0"},
        {4005, "'U' 'a'", "auto 0 0", "auto 0 0"},
        {4005, "'U' 'q' 10.0 0.0 'n' 'c'", "auto broken 10 0", "auto broken clamped 10 0"},
        {4006, "'U' 'a' 'i'", "", "auto independent 0 0"},
        {4006, "'U' 'p' 7.0 0.0 'n' 'b'", "", "auto clamped independent 7 0"},
        {4006, "'U' 'a' 'n'", "auto 0 0", "auto 0 0"}};
    for (const auto& [version, key, before, from] : kCases) {
        EXPECT_EQ(keyOf("KeyVer: " + std::to_string(version - 1) + "\n", key), before) << version << key;
        EXPECT_EQ(keyOf("KeyVer: " + std::to_string(version) + "\n", key), from) << version << key;
        if (version != 4000) continue;
        EXPECT_EQ(keyOf("", key), before) << "without a version " << key;
    }
}

// Slopes of straight lines and half-way between them. Keys without parameters stay auto keys, unless the
// next one's in-tangent has to be kept.
TEST(CurvePersistence, AutoKeysAsUserKeys)
{
    const YFCurvePtr curve = MakeCurve(
        {LinearKey(0.0f), AutoKey(1.0f, YFCURVE_TANGENT_AUTO_BREAK, 100.0f), AutoKey(4.0f), AutoKey(4.0f),
         UserKey(4.0f, 0.5f), AutoKey(5.0f, YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_CLAMP, 0.0f, 20.0f),
         AutoKey(8.0f), AutoKey(9.0f, YFCURVE_TANGENT_AUTO, 50.0f)});
    curve->KeySetLeftDerivative(4, -2.0f);
    curve->KeySetLeftTangeantWeight(4, 0.5f);
    curve->KeySetRightTangeantWeight(6, 0.25f);
    std::istringstream lines(Stored(*curve, false, false, true));
    Strings keys;
    for (std::string line; std::getline(lines, line);)
        if (line.find('@') != std::string::npos) keys.push_back(line.substr(line.find(' ', line.find('@'))));
    EXPECT_EQ(keys, (Strings{" 0.0'L'", " 1.0'U''b' 3.0 1.5'n'", " 4.0'U''a'", " 4.0'U''d' -2.0'l' 0.49995",
                             " 4.0'U''s' 0.5 0.0'n'", " 5.0'U''a'", " 8.0'U''s' 2.0 1.0'r' 0.24992499",
                             " 9.0'U''s' 1.0 0.0'n'"}));
    const YFCurvePtr read = Retrieved(Stored(*curve, false, false, true));
    EXPECT_EQ(read->KeyGetLeftDerivative(4), -2.0f);
    EXPECT_EQ(read->KeyGetLeftTangeantWeight(4), curve->KeyGetLeftTangeantWeight(4));
}

// What was not understood is not written, even if it has a count.
TEST(CurvePersistence, ExtrapolationThatIsIncomplete)
{
    const struct
    {
        const char* text;
        unsigned mode, count;
    } kCases[] = {{"", YFCURVE_EXTRAPOLATION_CONST, 0},
                  {": {\n  Type: 'K'\n}\n", YFCURVE_EXTRAPOLATION_KEEP_SLOPE, 0},
                  {": {\n  Repetition: 3\n}\n", 0, 3},
                  {": {\n  Type: 'x'\n}\n", 0, 0},
                  {": 5\n", 0, 0}};
    for (const auto& [text, mode, count] : kCases) {
        std::string file = KeyFile("  @0 1.0 'L'\n", "1");
        if (*text != '\0') file += std::string("Pre-Extrapolation") + text + "Post-Extrapolation" + text;
        const YFCurvePtr curve = Retrieved(file);
        EXPECT_TRUE(curve->GetPreExtrapolation() == mode && curve->GetPostExtrapolation() == mode) << text;
        EXPECT_EQ(curve->GetPreExtrapolationCount(), count) << text;
        const std::string written = Stored(*curve, false, false);
        EXPECT_EQ(written.find("Extrapolation") == std::string::npos, mode == 0 || *text == '\0') << written;
    }
}

TEST(CurvePersistence, WhatIsLeftOut)
{
    const YFCurvePtr curve = MakeSamples(3);
    curve->SetValue(2.0f);
    EXPECT_EQ(Stored(*curve, true), "ytalo 2\nDefault: 2.0\n");
    // What a file does not have stays, but for the keys.
    const float red[] = {1.0f, 0.0f, 0.0f};
    curve->SetColor(red);
    EventLog log(*curve);
    const auto retrieve = [&](const std::string& text, bool onlyDefault, bool withColor) {
        return Read(text,
                    [&](YTalo& talo) { return YFCurveCreate(&talo, curve.get(), onlyDefault, withColor); });
    };
    EXPECT_EQ(retrieve("ytalo 1\nKeyCount: 1\nKey: @0 1.0 'L'\n", false, true), nullptr);
    EXPECT_EQ(curve->KeyGetCount(), 3);
    EXPECT_EQ(retrieve("ytalo 1\nColor: 0.0 0.0 1.0\nDefault: 4\n", false, false), curve.get());
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(log.events[0].type, YFCURVEEVENT_CURVE_VALUE | YFCURVEEVENT_KEY_REMOVED);
    EXPECT_EQ(log.events[0].last, 3) << "those that were there";
    EXPECT_EQ(Stored(*curve), "ytalo 2\nDefault: 4.0\nColor: 1.0 0.0 0.0\n");
    EXPECT_NE(retrieve(KeyFile("@0 1.0 'L'\n"), true, true), nullptr);
    EXPECT_EQ(curve->KeyGetCount(), 0);
}

TEST(CurvePersistence, MalformedKeysAreLeftOut)
{
    const auto keysOf = [](const std::string& keys) { return Keys(*Retrieved(KeyFile(keys))); };
    for (const char* bad :
         {"@5", "@5 \"x\" 'L'", "@5 1.0 'X'", "@5 1.0 'C' 'x'", "@5 1.0 'U' 'z'", "@5 1.0 'U' 's' 1.0",
          "@5 1.0 'U' 's' 1.0 2.0", "@5 1.0 'U' 's' 1.0 2.0 'a' 0.5", "@5 1.0 'U' 's' 1.0 2.0 'r' nan",
          "@5 1.0 'U' 't' 1.0 2.0 'n'", "@5 1.0 'U' 'd' 'n'", "@5 1.0 'U' 'a' 'x'",
          "@5 1.0 'U' 'p' 1.0 2.0 'n' 'x'", "@0 1.0 'L'", "@-1 1.0 'L'"}) {
        const Strings keys = keysOf("@0 1.0 'L'\n" + std::string(bad) + "\n@9 2.0 'L'\n");
        EXPECT_EQ(keys, (Strings{"0 1 linear", "9 2 linear"})) << bad;
    }
    // Later keys have to be later than all before, not just than one that was left out.
    EXPECT_EQ(keysOf("@0 1.0 'L'\n@8 1.5 'L'\n@3 0.0 'L'\n@4 0.0 'L'\n@9 2.0 'L'\n"),
              (Strings{"0 1 linear", "8 1.5 linear", "9 2 linear"}));
    // What a newer layout adds to a key does not matter; neither do kinds of numbers.
    EXPECT_EQ(keysOf("@0 1 'U' 's' 2.0f -1 'n' 0.5 'x' \"y\"\n@9 2.0 'L' 7\n"),
              (Strings{"0 1 user 2 -1", "9 2 linear"}));
    EXPECT_TRUE(std::isnan(Retrieved(KeyFile("@0 nan 'U' 's' inf nan 'n'\n"))->KeyGetValue(0)));
    // Of auto keys with an unknown override the in-tangents of the keys behind them stay.
    EXPECT_EQ(keysOf("@0 1.0 'U' 's' 2.0 3.0 'n'\n@1 2.0 'U' 'q' 0.0 4.0 'n' 'x'\n@2 3.0 'U' 'q' 0.0 5.0 'n' "
                     "'x'\n@3 4.0 'U' 's' 6.0 0.0 'n'\n"),
              (Strings{"0 1 user 2 5", "3 4 user 6 0"}));
    const YFCurvePtr empty = Retrieved(KeyFile("@0 5.0 'U' 'a' 'x'\n@1 6.0 'U' 'a' 'x'\n"));
    EXPECT_EQ(empty->KeyGetCount(), 0);
    EXPECT_EQ(empty->GetValue(), 5.0f) << "of the first one";
}

TEST(CurvePersistence, TheCountOfKeysIsAnUpperBound)
{
    const std::string keys = "@0 1.0 'L'\n@1 2.0 'L'\n@2 3.0 'U' 's' 0.0\n";
    const unsigned before = GetRecordingMemory();
    for (const auto& [count, expected] : {std::pair("1", 1), {"-1", 0}, {"2147483647", 2}}) {
        const YFCurvePtr curve = Retrieved(KeyFile(keys, count));
        EXPECT_EQ(curve->KeyGetCount(), expected) << count;
        EXPECT_LE(GetRecordingMemory(), before + 2048u);
    }
}

// What the format does not keep of an auto key without parameters.
void Normalize(YFCurve& curve)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const bool plain = curve.KeyGetDataFloat(i, YFCURVEKEY_RIGHT_DERIVATIVE) == 0.0f &&
                           curve.KeyGetDataFloat(i, YFCURVEKEY_NEXT_LEFT_DERIVATIVE) == 0.0f;
        if (!plain || (curve.KeyGetTangeantMode(i) & YFCURVE_TANGENT_AUTO) == 0) continue;
        curve.KeySetBreak(i, false);
        curve.KeySetTangeantWeightMode(i, YFCURVE_WEIGHT_NONE);
    }
}

TEST(CurvePersistence, KeysInsertedBesideKeysWithoutTangents)
{
    const std::string file = KeyFile(
        "@0 20.0'U'\n@46186158000 4.0'U''a''i'\n@92372316000 -8.0'U'\n@138558474000 9.0'U''a''i'\n"
        "@184744632000 2.0'L'");
    const YFCurvePtr curve = Retrieved(file);
    for (const double inserted : {0.5, 3.5}) curve->KeyInsert(Sec(inserted));
    const YFCurvePtr read = Retrieved(Stored(*curve));
    for (const double time : {0.3, 0.8, 2.2, 3.9})
        EXPECT_NEAR(read->Evaluate(Sec(time)), Retrieved(file)->Evaluate(Sec(time)), 1e-4) << time;
}

TEST(CurvePersistence, ComesBackAsItWas)
{
    RandomCurves random;
    for (int round = 0; round < 200; ++round) {
        YFCurve curve;
        random.AddKeys(curve, random.Below(100), 1.0);
        random.SetAnyExtrapolation(curve);
        if (random.Chance(0.1)) curve.SetPostExtrapolationCount(0x80000003u);
        Normalize(curve);
        const std::string text = Stored(curve);
        const YFCurvePtr read = Retrieved(text);
        ASSERT_EQ(Stored(*read), text);
        if (curve.KeyGetCount() == 0) continue;
        for (int i = 0; i < 100; ++i) {
            const YTime time = random.TimeBetween(Sec(-30.0), Sec(250.0));
            ASSERT_EQ(std::bit_cast<unsigned>(read->Evaluate(time)),
                      std::bit_cast<unsigned>(curve.Evaluate(time)))
                << time.GetSecondDouble();
        }
    }
}

}  // namespace
