// The command reduce: lengths in every unit, budgets of keys, and files that are left alone.

#include <gtest/gtest.h>

#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

/// A head 17 above a foot, both swinging to and fro.
std::string Swing()
{
    std::string text =
        "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 1 Xposition\nJOINT Foot\n{\nOFFSET 0 -10 0\n"
        "CHANNELS 0\n}\nJOINT Head\n{\nOFFSET 0 7 0\nCHANNELS 0\n}\n}\nMOTION\nFrames: 200\n"
        "Frame Time: 0.04\n";
    for (int i = 0; i < 200; ++i) text += fmt::format("{:.5f}\n", 5 * std::sin(0.3 * i));
    return text;
}

}  // namespace

TEST(ReduceCommand, KeepsWhatItIsAskedFor)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", Swing());
    const auto left = [&](const Words& options) {
        return JsonOf(Joined({"reduce", in, "--dry-run"}, options));
    };
    // In the file's units: 10 to a metre, unless the figure is higher than 1.7 of them.
    const std::pair<Words, double> cases[] = {{{"--tolerance", "0.25"}, 0.25},
                                              {{"--tolerance", "2mm"}, 0.02},
                                              {{"--tolerance", "3cm"}, 0.3},
                                              {{"--tolerance", "0.01m"}, 0.1},
                                              {{"--tolerance", "1in"}, 0.254},
                                              {{"--tolerance", "0.5%"}, 0.085},
                                              {{"--tolerance", "5%", "--tangents", "broken"}, 0.85},
                                              {{"--tolerance", "2mm", "--height", "3.4"}, 0.01}};
    for (const auto& [options, tolerance] : cases) {
        SCOPED_TRACE(options[1]);
        const auto json = left(options);
        EXPECT_EQ(json.at("filters").at(0).at("parameters"), fmt::format("{} in the world", tolerance));
        EXPECT_LE(json.at("world").at("largest"), tolerance);
        EXPECT_GT(json.at("world").at("largest"), 0.3 * tolerance) << "what is allowed is used";
        EXPECT_EQ(json.at("filters").at(0).at("used").at("Tangents"),
                  options.size() > 2 && options[3] == "broken" ? "broken" : "smooth");
    }
    for (const Words& budget :
         {Words{"--ratio", "25%"}, {"--ratio", "0.25"}, {"--keys", "5e1"}, {"--keys", "50.0"}}) {
        const auto json = left(budget);
        const int keys = json.at("keysAfter");
        EXPECT_EQ(json.at("filters").at(0).at("used").at("Keys"), "50");
        EXPECT_TRUE(keys <= 50 && keys > 40) << budget[1] << ": " << keys;
    }
    // As few as it says are the least.
    const std::string tooFew = RunYFCurve({"reduce", in, "--keys", "1", "--dry-run"}).errors;
    const std::string least =
        tooFew.substr(tooFew.find("need ") + 5, tooFew.find(" at least") - tooFew.find("need ") - 5);
    EXPECT_EQ(left({"--keys", least}).at("keysAfter").dump(), least);
    EXPECT_EQ(folder.Names().size(), 1u);
    const std::string out = folder.Path("out.ytalo");
    const auto written = JsonOf({"reduce", in, out, "--tolerance", "2mm", "--contacts"});
    EXPECT_EQ(JsonOf({"info", out}).at("keyCount"), written.at("keysAfter"));
    // No joint is farther off between the frames than the report says.
    const std::string largest = written.at("world").at("largest").dump();
    EXPECT_EQ(RunYFCurve({"diff", "--world", in, out, "--tolerance", largest}).exitCode, 0);
    const std::string frames = folder.Path("out.bvh");
    EXPECT_TRUE(Holds(RunYFCurve({"convert", out, frames}).errors,
                      fmt::format("{} keys have become 200 frames of", written.at("keysAfter").get<int>())));
    EXPECT_EQ(RunYFCurve({"convert", in, frames}).errors, "");
}

TEST(ReduceCommand, LeavesFilesAloneUnlessAllIsWell)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", Swing());
    const std::string layered = folder.Add("layered.ytalo", kLayered);
    const std::string still = folder.Add("still.ytalo", TaloTextOf(SceneOfText(OneJoint("0", {"", ""}))));
    const std::string out = folder.Add("out.ytalo", "precious");
    const std::string locked = folder.Path("locked.ytalo");
    ASSERT_EQ(RunYFCurve({"layer", "lock", in, "0", "-o", locked}).exitCode, 0);
    const std::string silent = folder.Path("silent.ytalo");
    ASSERT_EQ(RunYFCurve({"layer", "add", in, "Up", "-o", silent}).exitCode, 0);
    ASSERT_EQ(RunYFCurve({"layer", "solo", silent, "Up"}).exitCode, 0);
    const std::tuple<std::string, Words, int, const char*> cases[] = {
        {silent,
         {"--tolerance", "1"},
         1,
         "does not play, as the layer 'Up' is solo; let it be solo too, as 'yf"},
        {in, {}, 2, "how far joints may come away (a tolerance: 2mm)"},
        {in, {"--tolerance", "1", "--ratio", "5%"}, 2, "--tolerance excludes --ratio"},
        {in, {"--tolerance", "2ft"}, 2, "'2ft' is not a length above 0"},
        {in, {"--ratio", "101%"}, 2, "'101%' is not a part above 0"},
        {in, {"--tolerance", "1", "--height", "2"}, 2, "the height has no effect"},
        {in, {"--tolerance", "1", "--tangents", "smoth"}, 2, "did you mean smooth"},
        {layered, {"--tolerance", "1"}, 1, "has no skeleton"},
        {still, {"--tolerance", "1"}, 1, "no joint has keys"},
        {locked, {"--keys", "20"}, 1, "keys are locked; unlock them"},
        {locked, {"--ratio", "50%"}, 1, "keys are locked; unlock them"},
    };
    for (const auto& [file, options, exitCode, part] : cases)
        ExpectRefused(Joined({"reduce", file, out}, options), exitCode, part);
    ExpectRefused({"reduce", in, "--tolerance", "1"}, 2, "OUT is missing");
    EXPECT_EQ(FileContent(out), "precious");
}
