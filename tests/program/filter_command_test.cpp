// Filters over scenes: what they reach, what is said of it, and what becomes of files.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/formats/bvh.h"

namespace {

using layermodel::Quaternion;
constexpr const char* kTwoFrames =
    "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation "
    "Xrotation\nEnd Site\n{\nOFFSET 0 1 0\n}\n}\n"
    "MOTION\nFrames: 2\nFrame Time: 0.5\n1 2 3 0 0 0\n4 5 6 0 0 90\n";

// --- What a file of one joint turns through ------------------------------------------------------------

std::string Turning()
{
    std::string text =
        "HIERARCHY ROOT Hips\n{ OFFSET 0 0 0 CHANNELS 3 Zrotation Xrotation Yrotation }\n"
        "MOTION Frames: 91 Frame Time: 0.0333333\n";
    for (int i = 0; i <= 90; ++i)
        text += fmt::format("{} {} {}\n", 170 * std::sin(0.11 * i), 70 * std::sin(0.07 * i + 1),
                            120 * std::cos(0.13 * i));
    return text;
}

std::vector<Quaternion> TurnsOf(const std::string& bvh)
{
    const ymotion::BvhMotion motion = ymotion::ParseBvh(bvh, "turns");
    std::vector<Quaternion> turns;
    for (std::size_t i = 0; i < static_cast<std::size_t>(motion.frameCount); ++i)
        turns.push_back(plainkinematics::PosesFromFile(motion, i)[0].turn);
    return turns;
}

}  // namespace

// Two keys 0.5 s apart, from 0 to 4, at so many frames a second; filters write keys behind them, or move the last one.
TEST(FilterCommand, TakesErrorsOverTheMotionAsItWasAndAsItIs)
{
    const std::tuple<const char*, const char*, double, double> cases[] = {
        {"30/1", "scale:Scale=2", 4.0, 0.5},
        {"173/10", "scale:Scale=2", 4.0, 0.5},
        {"173/10", "keys-on-frame", 4.0 - 4.0 * 0.5 / (9 / 17.3), 0.5},
        {"30/1", "time-shift-and-scale:Shift=1", 4.0, 0.5},
        {"30/1", "time-shift-and-scale:Shift=-1", 4.0, -0.5}};
    const TemporaryFolder folder;
    for (const auto& [rate, step, largest, when] : cases) {
        const std::string in = folder.Add(
            "in.ytalo",
            fmt::format(
                "ytalo 1\nScene: {{\nFrameRate: \"{}\"\n}}\nChannel: \"Lcl Translation\" {{\n"
                "LayerType: 1\nChannel: \"X\" {{\nDefault: 0.0\nKeyVer: 4006\nKeyCount: 2\nKey: @0 0.0 'L' "
                "@23093079000 4.0 'L'\n}}\n}}\n",
                rate));
        const auto error = JsonOf({"filter", in, "--dry-run", "--apply", step}).at("types").at(0).at("error");
        EXPECT_NEAR(error.at("largest").get<double>(), largest, 1e-5) << rate << ' ' << step;
        EXPECT_NEAR(error.at("time").get<double>(), when, 1e-5) << rate << ' ' << step;
    }
}

TEST(FilterCommand, TellsOfSpansThatMissTheMotion)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", kTwoFrames);
    const std::string behind = "the span from 5 s to 6 s lies behind the motion, which ends at 0.5 s";
    const std::string changed = "; keys nearest to it, or the form of whole rotations, were changed";
    const std::pair<const char*, std::string> cases[] = {
        {"trs:T=1,2,3,Start=5,Stop=6", behind + changed},
        {"butterworth:SamplingRate=30,Start=5,Stop=6", behind + changed},
        {"offset:Offset=1,Stop=-1",
         "the span up to -1 s lies before the motion, which starts at 0 s" + changed},
        {"offset:Offset=1,Start=0.5", ""},
        {"keys-on-frame", ""}};
    for (const auto& [step, warning] : cases) {
        const ProgramRun run = RunYFCurve({"filter", in, "--dry-run", "--json", "--apply", step});
        EXPECT_EQ(nlohmann::json::parse(run.output).at("filters").at(0).value("warning", ""), warning)
            << step;
        EXPECT_EQ(run.errors.find(warning) != std::string::npos, run.exitCode == 0) << step;
    }
    ExpectRefused({"filter", in, "--dry-run", "--apply", "smooth:Start=5,Stop=6", "--json"}, 1,
                  "smooth: " + behind, ">/dev/null");
}

TEST(FilterCommand, SamplesByTheRateOfTheFile)
{
    const TemporaryFolder folder;
    for (const int rate : {24, 120}) {
        std::string text(kTwoFrames, std::string_view(kTwoFrames).find("MOTION"));
        text += fmt::format("MOTION\nFrames: {}\nFrame Time: {:.7f}\n", rate + 1, 1.0 / rate);
        for (int i = 0; i <= rate; ++i)
            text += fmt::format("{0} {1} 0 {0} 0 {1}\n", i % 7, 20.0 * i / rate * i / rate);
        const std::string in = folder.Add(fmt::format("{}.bvh", rate), text);
        const auto run = [&](const char* step) {
            return JsonOf({"filter", in, "--dry-run", "--apply", step});
        };
        for (const char* step : {"resample", "keys-on-frame"})
            EXPECT_EQ(run(step).at("filters").at(0).at("unchanged"), 6) << step << rate;
        for (const char* step : {"butterworth", "smooth", "trs:R=0,10,0"})
            EXPECT_EQ(run(step).at("keysAfter"), 6 * (rate + 1)) << step << rate;
        EXPECT_EQ(run("butterworth").at("filters").at(0).at("ofFrames").at(0),
                  fmt::format("SamplingRate is {} Hz", rate));
        EXPECT_EQ(run("resample:Period=0.5").at("keysAfter"), 18) << rate;
    }
}

// A turn of 20 degrees a frame whose angle wraps at half turns, three times in 55 frames.
TEST(FilterCommand, TellsThatWrappedAnglesAreToBeUnrolledFirst)
{
    Words frames;
    for (int i = 0; i < 55; ++i)
        frames.push_back(fmt::format("100 {} 0 0", std::remainder(20.0 * i + 10.0, 360.0)));
    const TemporaryFolder folder;
    const std::string in =
        folder.Add("in.bvh", OneJoint("4 Xposition Zrotation Yrotation Xrotation", frames, "0.0333333"));
    const std::string warning = "a jumps by 360 degrees 3 times: put unroll first";
    for (const bool unrolls : {false, true}) {
        Words arguments{"filter", in, folder.Path("out.bvh"), "--apply", "butterworth:CutOffFreq=1",
                        "--json"};
        if (unrolls) arguments.emplace_back("--unroll-first");
        const ProgramRun run = RunYFCurve(arguments);
        EXPECT_EQ(run.errors.find(warning) != std::string::npos, !unrolls);
        const auto json = nlohmann::json::parse(run.output);
        EXPECT_EQ(json.at("filters").at(0).value("warning", ""), unrolls ? "" : warning);
        const auto errorOf = [&json](std::size_t type) {
            return json.at("types").at(type).at("error").at("largest").get<double>();
        };
        EXPECT_LT(errorOf(0), 1e-4) << "a constant stays one";
        EXPECT_EQ(errorOf(1) > 90.0, !unrolls);
    }
    // Tools that unroll by themselves say that, and turns of quaternions have no jumps.
    const std::string dry = "--dry-run";
    EXPECT_TRUE(
        Holds(RunYFCurve({"reduce", in, "--tolerance", "0.1", dry}).errors, "reduce: unrolled, as a jumps"));
    const std::string turning = folder.Path("turning.ytalo");
    ASSERT_EQ(RunYFCurve({"filter", in, turning, "--apply", "euler-to-quat"}).exitCode, 0);
    EXPECT_FALSE(Holds(RunYFCurve({"filter", turning, "--apply", "fit", dry}).errors, "jumps by"));
    const ProgramRun batch =
        RunYFCurve({"batch", in, "--out", folder.Path("many"), "--apply", "butterworth"});
    EXPECT_TRUE(Holds(batch.errors, warning));
    for (const char* other : {"fit", "key-reducer", "euler-to-quat"})
        EXPECT_TRUE(Holds(RunYFCurve({"filter", in, "--dry-run", "--apply", other}).errors, warning));
    // Angles without keys get none, and a zero below zero stays one, where there is nothing to do.
    for (const auto& [channels, frame] :
         {std::pair("1 Zrotation", "5"), {"3 Zrotation Yrotation Xrotation", "-0 5 -0"}}) {
        const std::string hinge = folder.Add("hinge.bvh", OneJoint(channels, Words(3, frame)));
        const auto step = JsonOf({"filter", hinge, "--dry-run", "--apply", "unroll"}).at("filters").at(0);
        EXPECT_EQ(step.at("changed"), 0) << channels;
        EXPECT_EQ(step.at("keysAfter"), step.at("keysBefore")) << channels;
    }
    const Words sync{"filter", folder.Path("hinge.bvh"), "--dry-run", "--apply", "key-sync"};
    EXPECT_EQ(JsonOf(sync).at("filters").at(0).at("changed"), 0);
}

// A rotation in quaternion form is written as it plays, is kept in scene files, and plays alike everywhere.
TEST(FilterCommand, ReportsTheErrorsOfTheFileThatItWrites)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", Turning());
    const std::string out = folder.Path("out.bvh");
    const std::string scene = folder.Path("out.ytalo");
    const std::vector<Quaternion> before = TurnsOf(Turning());
    for (const std::string last :
         {"", "smooth", "roll", "trs:R=10,20,30", "butterworth", "keys-on-frame", "unroll"}) {
        SCOPED_TRACE(last);
        Words arguments{
            "filter", in, out, "--apply", "key-reducer:Precision=30", "--apply", "euler-to-quat:Precision=0"};
        if (!last.empty()) arguments.insert(arguments.end(), {"--apply", last});
        const auto report = JsonOf(arguments);
        const std::vector<Quaternion> after = TurnsOf(FileContent(out));
        ASSERT_EQ(after.size(), before.size());
        double largest = 0;
        for (std::size_t i = 0; i < after.size(); ++i)
            largest = std::max(largest, layermodel::DegreesBetween(before[i], after[i]));
        EXPECT_NEAR(report.at("types").at(0).at("error").at("largest").get<double>(), largest, 1e-3);

        arguments[2] = scene;
        RunYFCurve(arguments);
        const std::string again = folder.Path("again.bvh");
        RunYFCurve({"convert", scene, again});
        EXPECT_EQ(FileContent(again), FileContent(out));
        std::string frames = RunYFCurve({"eval", scene, "--node", "Z"}).output;
        frames.erase(0, frames.find('\n') + 1);
        const std::vector<float> samples = ymotion::ParseBvh(FileContent(out), "out").samples;
        std::istringstream lines(frames);
        std::size_t row = 0;
        for (std::string line; std::getline(lines, line); row += 3)
            ASSERT_EQ(std::stof(line.substr(line.find(',') + 1)), samples.at(row));
        EXPECT_EQ(row, samples.size());
    }
    // Single curves do not say how such a rotation turns.
    RunYFCurve({"filter", in, scene, "--apply", "euler-to-quat"});
    const ProgramRun part =
        RunYFCurve({"filter", scene, "--dry-run", "--apply", "offset:Offset=1", "--node", "X"});
    EXPECT_TRUE(Holds(part.output, "of which some curves are not chosen"));
}

// A part of one joint is refused, and the other has nothing that trs moves.
TEST(FilterCommand, FailsWhereNothingChangesAndSomethingIsRefused)
{
    EXPECT_TRUE(Ended(RunYFCurve({"filter", ExampleWalk(), "--dry-run", "--apply", "trs:T=1,2,3", "--node",
                                  "Hips/Lcl Translation", "--node", "Spine"}),
                      1, "", "trs: works on whole joints, of which some curves are not chosen"));
    const ProgramRun whole = RunYFCurve({"filter", ExampleWalk(), "--dry-run", "--apply", "trs:R=90,0,0"});
    EXPECT_TRUE(Holds(whole.output, "trs: 1 joint changed; 20 joints below move along"));
}

TEST(FilterCommand, LeavesFilesAloneUnlessAllIsWell)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", kTwoFrames);
    const std::string out = folder.Add("out.bvh", "precious");
    const std::pair<Words, int> cases[] = {{{"filter", in, out, "--apply", "dance"}, 2},
                                           {{"filter", in, out}, 2},
                                           {{"filter", in, "--apply", "unroll"}, 2},
                                           {{"filter", in, out, "--apply", "scale"}, 2},
                                           {{"filter", in, out, "--apply", "unroll", "--node", "Knee"}, 1}};
    for (const auto& [arguments, exitCode] : cases) ExpectRefused(arguments, exitCode, "");
    EXPECT_TRUE(
        Ended(RunYFCurve({"filter", in, out, "--apply", "unroll", "--apply", "butterworth:Start=0.4"}), 1,
              "6 of 6 curves refused (Hips/Lcl Translation/X, ...): Bad Interval",
              "butterworth: Bad Interval; nothing is written"));
    EXPECT_TRUE(
        Ended(RunYFCurve({"filter", in, out, "--apply", "unroll", "--dry-run"}), 0, "unroll: nothing to do"));
    EXPECT_EQ(FileContent(out), "precious");
    EXPECT_EQ(folder.Names().size(), 2u);
}

TEST(Jobs, DoNotChangeWhatIsWritten)
{
    const TemporaryFolder folder;
    const std::string layered = folder.Path("layered.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), layered}).exitCode, 0);
    ASSERT_EQ(RunYFCurve({"layer", "add", layered, "Up", "--mode", "override"}).exitCode, 0);
    const std::string plotted = folder.Path("plotted.ytalo");
    ASSERT_EQ(RunYFCurve({"plot-into-layer", layered, "Up", "-o", plotted}).exitCode, 0);
    const std::vector<Words> commands = {
        {"filter", layered, "", "--apply", "unroll", "--apply", "butterworth:CutOffFreq=7", "--apply",
         "key-reducer:Precision=0.5"},
        {"filter", layered, "", "--apply", "euler-to-quat", "--apply", "smooth", "--apply", "quat-to-euler"},
        {"filter", layered, "", "--apply", "trs:T=1,0,0", "--apply", "roll", "--apply", "peak-remover"},
        {"plot-into-layer", layered, "Up", "--tolerance", "0.1", "-o", ""},
        {"layer", "merge", plotted, "-o", ""}};
    const std::string out = folder.Path("out.ytalo");
    for (Words arguments : commands) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const std::string before = FileContent(arguments[arguments[0] == "layer" ? 2 : 1]);
        std::replace(arguments.begin(), arguments.end(), std::string(), out);
        arguments.insert(arguments.end(), {"--jobs", ""});
        std::string outcomes[2];
        for (const int jobs : {1, 3}) {
            arguments.back() = std::to_string(jobs);
            nlohmann::json report = JsonOf(arguments);
            report.erase("milliseconds");
            for (auto& step : report["filters"]) step.erase("milliseconds");
            outcomes[jobs / 2] = report.dump() + FileContent(out);
            EXPECT_FALSE(FileContent(out) == before);
        }
        EXPECT_TRUE(outcomes[0] == outcomes[1]);
    }
}

TEST(FilterCommand, FiltersTheLayerThatIsNamed)
{
    const TemporaryFolder folder;
    const std::string scene = folder.Path("scene.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), scene}).exitCode, 0);
    ASSERT_EQ(RunYFCurve({"layer", "add", scene, "Up", "--mode", "override"}).exitCode, 0);
    Words filter = {"filter", scene, "--dry-run", "--json", "--layer", "Up", "--apply", "trs:T=1,0,0"};
    ExpectRefused(filter, 1, "base layer");
    filter.back() = "offset:Offset=10";
    ExpectRefused(filter, 1, "nothing of what is chosen is on the layer 'Up'");
    ASSERT_EQ(RunYFCurve({"plot-into-layer", scene, "Up", "--node", "Hips"}).exitCode, 0);
    EXPECT_EQ(JsonOf(filter)["filters"][0]["changed"], 6);
    ASSERT_EQ(RunYFCurve({"layer", "solo", scene, "0"}).exitCode, 0);
    EXPECT_TRUE(Holds(JsonOf(filter)["filters"][0]["warning"].get<std::string>(),
                      "the layer 'Up' does not play, as the layer 'BaseAnimation' is solo"));
}

TEST(FilterCommand, ReportsAsAPage)
{
    setenv("SOURCE_DATE_EPOCH", "86400", 1);
    const TemporaryFolder folder;
    const std::string page = folder.Path("page.html");
    EXPECT_TRUE(Ended(RunYFCurve({"filter", ExampleWalk(), "--dry-run", "--apply", "butterworth:CutOffFreq=5",
                                  "--apply", "key-reducer", "--report", page}),
                      0, "foot (Y is up)"));
    const std::string text = FileContent(page);
    // One for wide and one for narrow windows.
    std::size_t plots = 0;
    for (std::size_t start = 0; (start = text.find("<svg", start)) != std::string::npos; ++plots) {
        const std::size_t stop = text.find("</svg>", start) + 6;
        EXPECT_EQ(XmlFault(text.substr(start, stop - start)), "");
        start = stop;
    }
    EXPECT_EQ(plots, 2u);
    for (const char* part : {"<h2>Filters</h2>", "<h2>Keys and errors</h2>", "CutOffFreq=5, ", "Precision=",
                             "difference, up to", "LeftToe</td>", "prefers-color-scheme:dark", "1970-01-02"})
        EXPECT_TRUE(Holds(text, part)) << part;
    EXPECT_TRUE(Holds(text, "--apply butterworth:CutOffFreq=5"));
    EXPECT_EQ(text.find("http", text.rfind("</svg>")), std::string::npos) << "needs nothing from elsewhere";
    unsetenv("SOURCE_DATE_EPOCH");
}
