// The program as a shell sees it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "tests/xml_check.h"
#include "ymotion/text/printable.h"

namespace {

constexpr const char* kTwoFrames =
    "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 2 Yposition Xrotation\nEnd Site\n{\nOFFSET 0 1 0\n}\n}\n"
    "MOTION\nFrames: 2\nFrame Time: 0.5\n1 0.1\n2 0.2\n";

/// "yfcurve: " and one line, nothing on standard output.
void ExpectError(const ProgramRun& run, int exitCode, const std::string& part)
{
    EXPECT_EQ(run.exitCode, exitCode) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors.substr(0, 9), "yfcurve: ");
    EXPECT_NE(run.errors.find(part), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << run.errors;
    EXPECT_EQ(run.errors.find('\x1b'), std::string::npos) << "colours outside a terminal";
}

std::vector<std::string> Lines(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

}  // namespace

TEST(Program, HelpAndVersion)
{
    const ProgramRun version = RunYFCurve({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.output.substr(0, 8), "yfcurve ");
    const ProgramRun help = RunYFCurve({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.output.find("Exit status"), std::string::npos);
    for (const char* command : {"info", "eval", "plot", "convert", "diff", "layers", "layer"}) {
        EXPECT_NE(help.output.find(command), std::string::npos);
        const ProgramRun one = RunYFCurve({command, "--help"});
        EXPECT_EQ(one.exitCode, 0);
        EXPECT_EQ(one.errors, "");
        EXPECT_NE(one.output.find("Examples:\n  yfcurve " + std::string(command)), std::string::npos)
            << one.output;
    }
}

TEST(Program, WrongUsageIsCode2)
{
    for (const std::vector<std::string>& bare : {std::vector<std::string>{}, {"layer"}}) {
        const ProgramRun run = RunYFCurve(bare);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_NE(run.errors.find("Examples:"), std::string::npos) << run.errors;
    }
    ExpectError(RunYFCurve({"dance"}), 2, "no command 'dance'");
    ExpectError(RunYFCurve({"plto"}), 2, "did you mean plot?");
    ExpectError(RunYFCurve({"layer", "rmeove"}), 2, "did you mean remove");
    ExpectError(RunYFCurve({"plot", "a.bvh", "--outptu", "a.svg"}), 2, "did you mean --output?");
    ExpectError(RunYFCurve({"layer", "mode", "a.ytalo", "up", "addtive"}), 2, "did you mean additive?");
    const TemporaryFolder folder;
    const std::string scene = folder.Path("walk.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), scene}).exitCode, 0);
    ExpectError(RunYFCurve({"layer", "mute", scene, "BaseAnimatoin"}), 1, "did you mean BaseAnimation?");
    ExpectError(RunYFCurve({"info"}), 2, "yfcurve info --help");
    ExpectError(RunYFCurve({"info", "a.bvh", "--colour"}), 2, "--colour");
    ExpectError(RunYFCurve({"plot", ExampleWalk()}), 2, "--output");
    ExpectError(RunYFCurve({"plot", ExampleWalk(), "--color", "X=oragne", "-o", "-"}), 2, "brown");
    ExpectError(RunYFCurve({"plot", ExampleWalk(), "--color", "X", "-o", "-"}), 2, "not PATH=COLOR");
    ExpectError(RunYFCurve({"plot", ExampleWalk(), "--color", "X=red", "--layers", "-o", "-"}), 2,
                "excludes");
    ExpectError(RunYFCurve({"eval", ExampleWalk(), "--rate", "0"}), 2, "'0' is not a frame rate");
    ExpectError(RunYFCurve({"eval", ExampleWalk(), "--start", "inf"}), 2, "'inf' is not a time");
    ExpectError(RunYFCurve({"eval", ExampleWalk(), "--start", "2", "--stop", "1"}), 2,
                "ends before it starts");
    ExpectError(RunYFCurve({"convert", ExampleWalk(), "walk.txt"}), 2, "let it end in .bvh");
}

TEST(Program, NoLineIsWiderThanTheWindow)
{
    const TemporaryFolder folder;
    std::string joint =
        "A_joint_of_a_rig_with_namespaces:and:a:name:that:goes:on:and:on:for:more:than:eighty:letters_End";
    std::string deep =
        "HIERARCHY\nROOT " + joint + "\n{\nOFFSET 0 0 0\nCHANNELS 3 Xrotation Yrotation Zrotation\n";
    for (int i = 0; i < 30; ++i)
        deep += "JOINT 腰腰腰腰腰腰腰腰腰腰腰腰" + std::to_string(i) +
                "\n{\nOFFSET 0 0 0\nCHANNELS 1 Xrotation\n";
    for (int i = 0; i < 31; ++i) deep += "}\n";
    deep += "MOTION\nFrames: 2\nFrame Time: 0.5\n";
    for (int i = 0; i < 66; ++i) deep += (i == 33 ? "\n123." : " 123.") + std::to_string(i);
    const std::string file = folder.Add("deep.bvh", deep + "\n");
    const std::string other = folder.Add("other.bvh", deep.replace(deep.rfind("123.65"), 6, "77.125") + "\n");
    const std::vector<std::string> runs[] = {{"info", file},
                                             {"diff", file, other},
                                             {"filters"},
                                             {"settings"},
                                             {"plot", "--help"},
                                             {"layer", "merge", "--help"},
                                             {"keys", "--help"},
                                             {"batch", "--help"},
                                             {"filter", file, "--dry-run", "--apply", "unroll", "--apply",
                                              "butterworth:CutOffFreq=1,Start=0,Stop=0.4"}};
    for (const char* columns : {"80", "50", "130"}) {
        setenv("COLUMNS", columns, 1);
        for (const auto& arguments : runs) {
            const ProgramRun run = RunYFCurve(arguments);
            for (const std::string& line : Lines(run.output))
                EXPECT_LE(ymotion::DisplayWidth(line), std::stoul(columns)) << line;
            if (arguments.front() == "info") {
                EXPECT_NE(run.output.find("letters_End"), std::string::npos) << run.output;
            }
        }
    }
    unsetenv("COLUMNS");
}

TEST(Program, UnreadableFilesAreCode1)
{
    const TemporaryFolder folder;
    std::string walk = FileContent(ExampleWalk());
    ExpectError(RunYFCurve({"info", folder.Path("none.bvh")}), 1, "none.bvh: cannot open: No such file");
    ExpectError(RunYFCurve({"info", folder.Path("")}), 1, "is a directory");
    ExpectError(RunYFCurve({"info", folder.Add("empty.bvh", "")}), 1, "empty.bvh:1: the file is empty");
    ExpectError(RunYFCurve({"info", kProgram}), 1, ":1: this is not a BVH file");
    const std::string cut = folder.Add("cut.bvh", walk.substr(0, walk.size() - 500));
    for (const char* command : {"info", "eval"}) ExpectError(RunYFCurve({command, cut}), 1, "the file ends");
    // What is refused leaves nothing behind.
    const std::vector<std::string> names = folder.Names();
    ExpectError(RunYFCurve({"plot", cut, "-o", folder.Path("cut.svg")}), 1, "the file ends");
    ExpectError(RunYFCurve({"convert", cut, folder.Path("copy.bvh")}), 1, "the file ends");
    EXPECT_EQ(folder.Names(), names);
    ExpectError(RunYFCurve({"eval", ExampleWalk(), "--node", "Hip"}), 1, "did you mean 'Hips'");
}

TEST(Program, WriteErrorsAreCode1)
{
    const TemporaryFolder folder;
    for (const char* command : {"info", "eval"}) {
        ExpectError(RunYFCurve({command, ExampleWalk()}, ">/dev/full"), 1, "No space left");
    }
    ExpectError(RunYFCurve({"--help"}, ">/dev/full"), 1, "No space left");
    ExpectError(RunYFCurve({"convert", ExampleWalk(), folder.Path("no/walk.bvh")}), 1, "No such file");
    // A reader that goes away: the table is larger than any pipe.
    const std::string code = folder.Path("code");
    RunProgram("sh", {"-c", "('" + kProgram + "' eval '" + ExampleWalk() + "' --rate 10000; echo $? >'" +
                                code + "') | head -n 1"});
    EXPECT_EQ(FileContent(code), "1\n");
    // A file-size limit stands for a full disk: the old file stays, and no scraps.
    const std::string target = folder.Add("walk.bvh", "before");
    const ProgramRun limited =
        RunProgram("sh", {"-c", "ulimit -f 16; trap '' XFSZ; exec '" + kProgram + "' convert '" +
                                    ExampleWalk() + "' '" + target + "'"});
    EXPECT_EQ(limited.exitCode, 1) << limited.errors;
    EXPECT_EQ(FileContent(target), "before");
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"code", "walk.bvh"}));
}

TEST(Program, InfoReportsTotalsTreeAndRanges)
{
    const ProgramRun run = RunYFCurve({"info", ExampleWalk()});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_NE(run.output.find("21 joints, 5 end sites"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("0 to 2.133333 s, 257 frames at 120 frames/s"), std::string::npos);
    EXPECT_NE(run.output.find("keys    16,962"), std::string::npos);
    EXPECT_NE(run.output.find("├─ LeftUpLeg"), std::string::npos);
    EXPECT_EQ(run.output.find('\x1b'), std::string::npos);
}

TEST(Program, InfoAsJson)
{
    const TemporaryFolder folder;
    const ProgramRun run = RunYFCurve({"info", folder.Add("two.bvh", kTwoFrames), "--json"});
    const nlohmann::json json = nlohmann::json::parse(run.output, nullptr, false);
    EXPECT_EQ(json["joints"][0]["rotationOrder"], "XYZ");
    EXPECT_EQ(json["curves"][3]["min"], 0.1);  // not 0.10000000149
    EXPECT_FALSE(json["curves"][2].contains("min"));
    EXPECT_FALSE(nlohmann::json::parse(RunYFCurve({"info", ExampleWalk(), "--json"}).output, nullptr, false)
                     .is_discarded());
}

TEST(Program, EvalWritesATable)
{
    const TemporaryFolder folder;
    const std::string two = folder.Add("two.bvh", kTwoFrames);
    EXPECT_EQ(RunYFCurve({"eval", two, "--node", "Lcl Translation/Y"}).output,
              "time,Hips/Lcl Translation/Y\n0,1\n0.5,2\n");
    // Beyond the keys the values stay; rows are counted from the start.
    EXPECT_EQ(
        RunYFCurve({"eval", two, "--node=Hips/*/X", "--rate", "4", "--start", "-0.25", "--stop=0.3"}).output,
        "time,Hips/Lcl Translation/X,Hips/Lcl Rotation/X\n-0.25,0,0.1\n0,0,0.1\n0.25,0,0.15\n");
    const ProgramRun file =
        RunYFCurve({"eval", "-o", folder.Path("out.csv"), "--node", "Y", "--node", "Z", two});
    EXPECT_EQ(file.exitCode, 0) << file.errors;
    EXPECT_EQ(file.output, "");
    EXPECT_EQ(Lines(FileContent(folder.Path("out.csv"))).at(0),
              "time,Hips/Lcl Translation/Y,Hips/Lcl Translation/Z,Hips/Lcl Rotation/Y,Hips/Lcl Rotation/Z");
    // Names that would be taken for several fields are quoted.
    std::string odd(kTwoFrames);
    odd.replace(odd.find("Hips"), 4, "a,\"b");
    const std::string oddFile = folder.Add("odd.bvh", odd);
    EXPECT_EQ(Lines(RunYFCurve({"eval", oddFile, "--node", "Lcl Rotation/X"}).output).at(0),
              "time,\"a,\"\"b/Lcl Rotation/X\"");
    const std::vector<std::string> walk = Lines(RunYFCurve({"eval", ExampleWalk()}).output);
    EXPECT_EQ(walk.size(), 258u);
    EXPECT_EQ(walk.back().substr(0, 14), "2.13333333333,");
}

TEST(Program, PlotWritesSvg)
{
    const TemporaryFolder folder;
    const std::string svg = folder.Path("walk.svg");
    const ProgramRun run = RunYFCurve({"plot", ExampleWalk(), "-o", svg});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output + run.errors, "");
    EXPECT_EQ(XmlFault(FileContent(svg)), "");
    const ProgramRun part = RunYFCurve(
        {"plot", ExampleWalk(), "--node", "LeftLeg", "--start", "0.5", "--stop", "0.6", "-o", "-"});
    EXPECT_EQ(XmlFault(part.output), "");
    EXPECT_NE(part.output.find("class=\"handle\""), std::string::npos);
    // One frame, and a file without any.
    std::string one(kTwoFrames);
    one.replace(one.find("Frames: 2"), 9, "Frames: 1").resize(one.size() - 6);
    EXPECT_EQ(XmlFault(RunYFCurve({"plot", folder.Add("one.bvh", one), "-o", "-"}).output), "");
    ExpectError(RunYFCurve({"plot",
                            folder.Add("still.bvh",
                                       "HIERARCHY ROOT a { OFFSET 0 0 0 } MOTION Frames: 0 Frame Time: 1"),
                            "-o", svg}),
                1, "no keys");
}

TEST(Program, ConvertReadsAndWritesInPlaceAndThroughPipes)
{
    const TemporaryFolder folder;
    const std::string copy = folder.Add("copy.bvh", FileContent(ExampleWalk()));
    EXPECT_EQ(RunYFCurve({"convert", copy, copy}).exitCode, 0);
    const ymotion::BvhMotion before = ymotion::ParseBvh(FileContent(ExampleWalk()), "walk");
    EXPECT_EQ(ymotion::ParseBvh(FileContent(copy), "copy").samples, before.samples);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"copy.bvh"});
    const ProgramRun piped = RunYFCurve({"convert", "-", "-"}, "<'" + ExampleWalk() + "'");
    EXPECT_EQ(piped.output, FileContent(copy));
    // To a scene file and back, by name and by option; the way back is recognised by the content alone.
    const std::string scene = folder.Path("scene.ytalo");
    EXPECT_EQ(RunYFCurve({"convert", copy, scene}).exitCode, 0);
    EXPECT_EQ(RunYFCurve({"convert", "-", "-", "--to", "ytalo"}, "<'" + copy + "'").output,
              FileContent(scene));
    EXPECT_EQ(RunYFCurve({"convert", "-", "-", "--to", "bvh"}, "<'" + scene + "'").output, FileContent(copy));
    EXPECT_EQ(RunYFCurve({"info", scene, "--json"}).exitCode, 0);
    ExpectError(RunYFCurve({"convert", copy, scene, "--to", "mp4"}), 2, "'mp4' is no format");
    ExpectError(RunYFCurve({"info", folder.Add("broken.ytalo", "ytalo 1\n a: 'xy'\n")}), 1,
                "broken.ytalo:2:");
    ExpectError(RunYFCurve({"info", "-"}, "</dev/null"), 1, "<standard input>:1: the file is empty");
}

TEST(Program, EveryRecordingIsReportedAndPlotted)
{
    if (test::Recordings().empty()) GTEST_SKIP() << "YFCURVE_RECORDINGS names no folder of recordings";
    for (const std::string& file : test::Recordings()) {
        EXPECT_EQ(RunYFCurve({"info", file}).exitCode, 0);
        EXPECT_EQ(XmlFault(RunYFCurve({"plot", file, "-o", "-"}).output), "");
    }
}

TEST(Program, TheExampleWalkIsWhatItsGeneratorMakes)
{
    if (kMakeWalk.empty()) GTEST_SKIP() << "the examples are not built";
    EXPECT_EQ(RunProgram(kMakeWalk, {}).output, FileContent(ExampleWalk()));
}
