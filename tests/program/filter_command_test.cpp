// Filters over scenes: what they reach, what is said of it, and what becomes of files.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/node/layer_model.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/suggestion.h"

namespace {

using layermodel::Quaternion;
constexpr const char* kTwoFrames =
    "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation "
    "Xrotation\nEnd Site\n{\nOFFSET 0 1 0\n}\n}\n"
    "MOTION\nFrames: 2\nFrame Time: 0.5\n1 2 3 0 0 0\n4 5 6 0 0 90\n";

std::string RefusedStep(const std::string& text)
{
    return FailureOf([&] { ymotion::ParseSteps({text}); }, ymotion::kExitUsage);
}

void SetAngles(ymotion::Scene& scene, int key, std::array<float, 3> angles)
{
    YFCurveNode* rotation = scene.jointNodes.front()->Find(YDataType::Get(eDataType::LocalRotation));
    for (int i = 0; i < 3; ++i)
        rotation->Get(i)->FCurveGet()->KeySetValue(key, angles[static_cast<std::size_t>(i)]);
}

ymotion::Deviation RotationDeviation(const ymotion::Scene& a, const ymotion::Scene& b)
{
    YDataType* type = YDataType::Get(eDataType::LocalRotation);
    return ymotion::Compare(*a.jointNodes.front()->Find(type), *b.jointNodes.front()->Find(type),
                            ymotion::KeySpan(a).value(), a.rate);
}

// --- What a file of one joint turns through ------------------------------------------------------------

std::string Turning()
{
    std::string text =
        "HIERARCHY ROOT Hips\n{ OFFSET 0 0 0 CHANNELS 3 Zrotation Xrotation Yrotation }\n"
        "MOTION Frames: 91 Frame Time: 0.0333333\n";
    for (int i = 0; i <= 90; ++i) {
        text += fmt::format("{} {} {}\n", 170 * std::sin(0.11 * i), 70 * std::sin(0.07 * i + 1),
                            120 * std::cos(0.13 * i));
    }
    return text;
}

// The channels of a BVH file turn one inside the other, in their order.
std::vector<Quaternion> TurnsOf(const std::string& bvh)
{
    const std::vector<float> samples = ymotion::ParseBvh(bvh, "turns").samples;
    std::vector<Quaternion> turns;
    for (std::size_t i = 0; i + 2 < samples.size(); i += 3) {
        const auto about = [&](std::size_t channel, std::size_t axis) {
            layermodel::Triple angles{};
            angles[axis] = double{samples[i + channel]};
            return layermodel::OfAngles(angles, 0);
        };
        turns.push_back(about(0, 2) * about(1, 0) * about(2, 1));
    }
    return turns;
}

}  // namespace

TEST(FilterSteps, TakeParametersAndSayWhatIsWrong)
{
    ymotion::Scene scene;
    scene.rate = {50, 1};
    const auto steps = ymotion::ParseSteps({"unroll", "trs:T=1,0,-2.5,Stop=0:0:1:0,Start=25f"}, &scene);
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0].name, "unroll");
    EXPECT_EQ(steps[1].filter->GetStartTime(), YTime::FromSeconds(0.5));
    EXPECT_EQ(steps[1].filter->GetStopTime(), YTime::FromSeconds(1.0));
    EXPECT_EQ(RefusedStep("buterworth"), "there is no filter 'buterworth'; did you mean butterworth?");
    EXPECT_EQ(RefusedStep("butterworth:CutOfFreq=7"),
              "butterworth has no parameter 'CutOfFreq'; did you mean CutOffFreq?");
    EXPECT_TRUE(Holds(RefusedStep("butterworth:CutOffFreq=-1"), "> 0"));
    EXPECT_EQ(RefusedStep("unroll:"), "'' sets no parameter; write NAME=VALUE");
    EXPECT_TRUE(Holds(RefusedStep("time-clamp:Start=1"), "does nothing without Min or Max"));
    EXPECT_EQ(RefusedStep("scale:scale=2"), "");
    EXPECT_EQ(ymotion::NearestNames("LEFTLEG", {"LeftUpLeg", "LeftLeg", "Hips"}).front(), "LeftLeg");
}

TEST(FilterCommand, TellsHowFarJointsAndFeetCome)
{
    const TemporaryFolder folder;
    const std::string page = folder.Path("page.html");
    // Everything moves along X by 1, which no foot slides by.
    const std::vector<std::string> filter{
        "filter", ExampleWalk(),       "--dry-run", "--apply", "offset:Offset=1",
        "--node", "Lcl Translation/X", "--report",  page};
    const std::string text = RunYFCurve(filter).output;
    EXPECT_TRUE(Holds(text, "joints in the world: largest error 1.00 units at "));
    EXPECT_TRUE(Holds(text, "foot (Y is up)"));
    const auto world = JsonOf(filter).at("world");
    EXPECT_EQ(world.at("up"), "Y");
    ASSERT_EQ(world.at("feet").size(), 2u);
    const std::string content = FileContent(page);
    for (const auto& foot : world.at("feet")) {
        EXPECT_GT(foot.at("contacts"), 0);
        EXPECT_NEAR(foot.at("slideAfter").get<double>(), foot.at("slideBefore").get<double>(), 1e-4);
        EXPECT_TRUE(Holds(text, foot.at("foot").get<std::string>()));
        EXPECT_TRUE(Holds(content, ">" + foot.at("foot").get<std::string>() + "</td>"));
    }
}

TEST(FilterCommand, BatchNamesTheFootThatSlidesMostForItsHeight)
{
    const TemporaryFolder folder;
    const auto add = [&folder](const char* name, double height, double slide) {
        std::string text = fmt::format(
            "HIERARCHY\nROOT a\n{{\nOFFSET 0 0 0\nJOINT Foot\n{{\nOFFSET 0 -{} 0\n"
            "CHANNELS 1 Xposition\n}}\n}}\nMOTION\nFrames: 11\nFrame Time: 0.1\n",
            height);
        for (int i = 0; i <= 10; ++i) text += fmt::format("{}\n", slide * i / 10);
        return folder.Add(name, text);
    };
    const std::string small = add("small.bvh", 1, 0.1);
    const std::string large = add("large.bvh", 100, 5);
    const std::string text =
        RunYFCurve({"batch", small, large, "--out", folder.Path("out"), "--apply", "offset:Offset=0"}).output;
    EXPECT_TRUE(Holds(text, "foot that slides most for the height of its figure: Foot of " + small +
                                ", 0.100 -> 0.100 units\n"));
}

TEST(DiffCommand, ComparesJointsInTheWorld)
{
    const auto figure = [](const std::string& child, const std::string& tail, const std::string& frame) {
        return "HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 1 Zrotation\nJOINT " + child +
               "\n{\nOFFSET 0 2 0\nCHANNELS 1 Xposition\nEnd Site\n{\nOFFSET 0 " + tail +
               " 0\n}\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.1\n0 0\n" + frame + "\n";
    };
    const TemporaryFolder folder;
    const std::string a = folder.Add("a.bvh", figure("b", "1", "0 0"));
    const std::tuple<std::string, int, const char*> cases[] = {
        {figure("b", "1", "360 0"), 1, "2 are apart, most of all a/b/End Site by 6.00"},
        {figure("b", "1", "0 0"), 0, "3 joints compared in the world: no difference\n"},
        {figure("b", "1", "0 3"), 1, "a/b: 3.00 units apart at 0.1 s (1f), 1.50 on average\n"},
        {figure("b", "2", "0 0"), 1, "1 is apart, most of all a/b/End Site by 1.00"},
        {figure("c", "1", "0 0"), 1, "1 joint compared in the world: 2 are in "},
    };
    for (const auto& [text, exitCode, words] : cases) {
        const std::string b = folder.Add("b.bvh", text);
        const ProgramRun run = RunYFCurve({"diff", a, b, "--world"});
        EXPECT_EQ(run.exitCode, exitCode) << run.errors;
        EXPECT_TRUE(Holds(run.output, words)) << run.output;
        const auto world = nlohmann::json::parse(RunYFCurve({"diff", a, b, "--world", "--json"}).output);
        EXPECT_EQ(world.at("equal"), exitCode == 0);
        if (!world.at("only")[0].empty()) continue;
        const auto all = nlohmann::json::parse(RunYFCurve({"diff", a, b, "--orientation", "--json"}).output);
        EXPECT_EQ(all.at("joints"), world.at("joints"));
    }
}

TEST(Deviation, MeasuresOrientationsAndDistances)
{
    const ymotion::Scene before = SceneOfText(kTwoFrames);
    ymotion::Scene after = SceneOfText(kTwoFrames);
    // Half a turn about X is half a turn about Y and one about Z; whole turns are none.
    ymotion::Scene half = SceneOfText(kTwoFrames);
    SetAngles(half, 0, {180, 0, 0});
    SetAngles(after, 0, {0, 180, -180});
    SetAngles(half, 1, {20, 30, 40});
    SetAngles(after, 1, {20 + 360, 30, 40 - 720});
    EXPECT_LT(RotationDeviation(half, after).largest, 1e-5);

    SetAngles(after, 0, {0, 30, 0});
    SetAngles(after, 1, {90, 0, 0});
    const ymotion::Deviation turned = RotationDeviation(before, after);
    EXPECT_NEAR(turned.largest, 30, 1e-5);
    EXPECT_NEAR(turned.RootMeanSquare(), 30 / std::sqrt(2.0), 1e-5);
    EXPECT_EQ(turned.when, YTime::FromSeconds(0.0));
    EXPECT_EQ(turned.samples, 2);
}

TEST(Deviation, IsTakenAtFramesHoweverManyThereAre)
{
    // The two agree at every frame, and at none between.
    constexpr int frames = 250'001;
    const ymotion::FrameRate rate{100, 1};
    const YFCurveNodePtr before(YFCurveNodeCreate("T", YDataType::Get(eDataType::Number)));
    before->FCurveSet(YFCurveCreate());
    YFCurve& curve = *before->FCurveGet();
    curve.KeyModifyBegin(frames);
    for (int i = 0; i < frames; ++i)
        curve.KeyAppendFast(ymotion::TimeOfFrame(i, rate), i % 2 == 0 ? 0.0f : 180.0f);
    for (int i = 0; i < frames; ++i) curve.KeySetInterpolation(i, YFCURVE_INTERP_LINEAR);
    curve.KeyModifyEnd();
    const YFCurveNodePtr after(before->SingleLayerCopy());
    for (int i = 0; i < frames; ++i) after->FCurveGet()->KeySetInterpolation(i, YFCURVE_INTERP_CONSTANT);
    const ymotion::TimeSpan span = ymotion::KeySpan(curve).value();
    EXPECT_EQ(ymotion::FramesBetweenErrors(span, rate), 3);
    EXPECT_EQ(ymotion::Compare(*before, *after, span, rate).largest, 0.0);
    after->FCurveGet()->KeySetValue(frames - 1, 7.0f);
    EXPECT_EQ(ymotion::Compare(*before, *after, span, rate).largest, 7.0);
    EXPECT_EQ(ymotion::FramesBetweenErrors({span.start, ymotion::TimeOfFrame(99'999, rate)}, rate), 1);
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

TEST(FilterCommand, FiltersWhatIsChosen)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", kTwoFrames);
    const std::string out = folder.Path("out.bvh");
    const auto filters = JsonOf({"filter", in, out, "--apply", "offset:Offset=10", "--apply", "unroll",
                                 "--node", "Hips/Lcl Translation/Y"})
                             .at("filters");
    EXPECT_TRUE(Holds(FileContent(out), "\n1 12 3 0 0 0\n4 15 6 0 0 90\n"));
    EXPECT_EQ(filters.at(0).at("changed"), 1);
    EXPECT_EQ(filters.at(1).at("skipped"), 1);

    // The same file in and out; text on standard output.
    JsonOf({"filter", out, out, "--apply", "offset:Offset=-10", "--node", "Lcl Translation/Y"});
    EXPECT_TRUE(Holds(FileContent(out), "\n1 2 3 0 0 0\n"));
    const ProgramRun piped = RunYFCurve({"filter", "-", "-", "--apply", "unroll"}, "<" + in + " 2>/dev/null");
    EXPECT_EQ(piped.output.substr(0, 9), "HIERARCHY");
}

// A turn of 20 degrees a frame whose angle wraps at half turns, three times in 55 frames.
TEST(FilterCommand, TellsThatWrappedAnglesAreToBeUnrolledFirst)
{
    std::vector<std::string> frames;
    for (int i = 0; i < 55; ++i)
        frames.push_back(fmt::format("100 {} 0 0", std::remainder(20.0 * i + 10.0, 360.0)));
    const TemporaryFolder folder;
    const std::string in =
        folder.Add("in.bvh", OneJoint("4 Xposition Zrotation Yrotation Xrotation", frames, "0.0333333"));
    const std::string warning = "a jumps by 360 degrees 3 times: put unroll first";
    for (const bool unrolls : {false, true}) {
        std::vector<std::string> arguments{
            "filter", in, folder.Path("out.bvh"), "--apply", "butterworth:CutOffFreq=1", "--json"};
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
    const ProgramRun batch =
        RunYFCurve({"batch", in, "--out", folder.Path("many"), "--apply", "butterworth"});
    EXPECT_TRUE(Holds(batch.errors, warning));
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
        std::vector<std::string> arguments{
            "filter", in, out, "--apply", "key-reducer:Precision=30", "--apply", "euler-to-quat:Precision=0"};
        if (!last.empty()) arguments.insert(arguments.end(), {"--apply", last});
        arguments.emplace_back("--json");
        const ProgramRun run = RunYFCurve(arguments);
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        const std::vector<Quaternion> after = TurnsOf(FileContent(out));
        ASSERT_EQ(after.size(), before.size());
        double largest = 0;
        for (std::size_t i = 0; i < after.size(); ++i)
            largest = std::max(largest, layermodel::DegreesBetween(before[i], after[i]));
        const auto error = nlohmann::json::parse(run.output).at("types").at(0).at("error");
        EXPECT_NEAR(error.at("largest").get<double>(), largest, 1e-3);

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

TEST(FilterCommand, LeavesFilesAloneUnlessAllIsWell)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", kTwoFrames);
    const std::string out = folder.Add("out.bvh", "precious");
    const std::pair<std::vector<std::string>, int> cases[] = {
        {{"filter", in, out, "--apply", "dance"}, 2},
        {{"filter", in, out}, 2},
        {{"filter", in, "--apply", "unroll"}, 2},
        {{"filter", in, out, "--apply", "scale"}, 2},
        {{"filter", in, out, "--apply", "unroll", "--node", "Knee"}, 1}};
    for (const auto& [arguments, exitCode] : cases) ExpectRefused(arguments, exitCode, "");
    const ProgramRun refused =
        RunYFCurve({"filter", in, out, "--apply", "unroll", "--apply", "resample:Start=3,Stop=2"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(Holds(refused.errors, "resample: Bad Interval; nothing is written"));
    EXPECT_TRUE(Holds(refused.output, "6 of 6 curves refused (Hips/Lcl Translation/X, ...): Bad Interval"));
    const ProgramRun dry = RunYFCurve({"filter", in, out, "--apply", "unroll", "--dry-run"});
    EXPECT_EQ(dry.exitCode, 0);
    EXPECT_TRUE(Holds(dry.output, "unroll: nothing to do"));
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
    const std::vector<std::vector<std::string>> commands = {
        {"filter", layered, "", "--apply", "unroll", "--apply", "key-reducer:Precision=0.5"},
        {"plot-into-layer", layered, "Up", "--tolerance", "0.1", "-o", ""},
        {"layer", "merge", plotted, "-o", ""}};
    for (const std::vector<std::string>& command : commands) {
        std::string written[2];
        for (const int jobs : {1, 3}) {
            const std::string out = folder.Path(fmt::format("out{}.ytalo", jobs));
            std::vector<std::string> arguments = command;
            std::replace(arguments.begin(), arguments.end(), std::string(), out);
            arguments.insert(arguments.end(), {"--jobs", std::to_string(jobs)});
            const ProgramRun run = RunYFCurve(arguments);
            ASSERT_EQ(run.exitCode, 0) << command.front() << run.errors;
            written[jobs / 2] = FileContent(out);
        }
        EXPECT_TRUE(written[0] == written[1]) << command.front();
        EXPECT_FALSE(written[0] == FileContent(command[command.front() == "layer" ? 2 : 1]))
            << command.front();
    }
}

TEST(FilterCommand, ReportsAsAPage)
{
    setenv("SOURCE_DATE_EPOCH", "86400", 1);
    const TemporaryFolder folder;
    const std::string page = folder.Path("page.html");
    const ProgramRun run =
        RunYFCurve({"filter", ExampleWalk(), "--dry-run", "--apply", "butterworth:CutOffFreq=5", "--apply",
                    "key-reducer", "--report", page});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const std::string text = FileContent(page);
    // One for wide and one for narrow windows.
    std::size_t plots = 0;
    for (std::size_t start = 0; (start = text.find("<svg", start)) != std::string::npos; ++plots) {
        const std::size_t stop = text.find("</svg>", start) + 6;
        EXPECT_EQ(XmlFault(text.substr(start, stop - start)), "");
        start = stop;
    }
    EXPECT_EQ(plots, 2u);
    for (const char* part : {"<h2>Filters</h2>", "<h2>Keys and errors</h2>", "CutOffFreq=5, ",
                             "Precision=", "difference, up to", "prefers-color-scheme:dark", "1970-01-02"})
        EXPECT_TRUE(Holds(text, part)) << part;
    EXPECT_TRUE(Holds(text, "--apply butterworth:CutOffFreq=5"));
    EXPECT_EQ(text.find("http", text.rfind("</svg>")), std::string::npos) << "needs nothing from elsewhere";
    unsetenv("SOURCE_DATE_EPOCH");
}
