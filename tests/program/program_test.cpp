// The program as a shell sees it.

#include <gtest/gtest.h>

#include <sstream>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/text/printable.h"

namespace {

Words Lines(const std::string& text)
{
    std::istringstream stream(text);
    Words lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

}  // namespace

TEST(Program, HelpAndVersion)
{
    EXPECT_EQ(RunYFCurve({"--version"}).output.substr(0, 8), "yfcurve ");
    const ProgramRun help = RunYFCurve({"--help"});
    EXPECT_TRUE(Ended(help, 0, "Exit status"));
    for (const char* command : {"info", "eval", "plot", "convert", "diff", "layers", "layer"}) {
        EXPECT_TRUE(Holds(help.output, command));
        EXPECT_TRUE(
            Ended(RunYFCurve({command, "--help"}), 0, "Examples:\n  yfcurve " + std::string(command)));
    }
}

TEST(Program, WrongUsageIsCode2)
{
    for (const Words& bare : {Words{}, {"layer"}}) {
        const ProgramRun run = RunYFCurve(bare);
        EXPECT_TRUE(Ended(run, 2, "", "Examples:"));
        EXPECT_EQ(run.output, "");
    }
    const TemporaryFolder folder;
    const std::string walk = ExampleWalk();
    const std::string scene = folder.Path("walk.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", walk, scene}).exitCode, 0);
    ExpectRefused({"layer", "mute", scene, "BaseAnimatoin"}, 1, "did you mean BaseAnimation?");
    const std::pair<Words, const char*> cases[] = {
        {{"dance"}, "no command 'dance'"},
        {{"plto"}, "did you mean plot?"},
        {{"layer", "rmeove"}, "did you mean remove"},
        {{"plot", "a.bvh", "--outptu", "a.svg"}, "did you mean --output?"},
        {{"layer", "mode", "a.ytalo", "up", "addtive"}, "did you mean additive?"},
        {{"info"}, "yfcurve info --help"},
        {{"plot", walk}, "--output"},
        {{"plot", walk, "--color", "X=oragne", "-o", "-"}, "brown"},
        {{"plot", walk, "--color", "X=red", "--layers", "-o", "-"}, "excludes"},
        {{"eval", walk, "--rate", "0"}, "'0' is not a frame rate"},
        {{"eval", walk, "--start", "inf"}, "'inf' is not a time"},
        {{"eval", walk, "--start", "2", "--stop", "1"}, "ends before it starts"},
        {{"convert", walk, scene, "--to", "mp4"}, "'mp4' is no format"},
        {{"convert", walk, scene, "--order", "XYZ"}, "'yfcurve clip --order'"},
        {{"convert", walk, scene, "--tolerance", "0.01"}, "neither file is one"},
        {{"convert", walk, folder.Path("a.yclip"), "--rate", "60"}, "--rate resamples nothing"},
        {{"convert", walk, folder.Path("a.ytalo"), "--rate", "60"}, "'yfcurve clip --rate' gives"},
        {{"batch", walk, "--out", folder.Path("out"), "--apply", "unroll", "--tasks", "3"},
         "requires --slurm"},
        {{"layer", "mode", scene, "BaseAnimation"}, "nothing to set"},
    };
    for (const auto& [arguments, part] : cases) ExpectRefused(arguments, 2, part);
}

TEST(Program, ListsFiltersAndSettings)
{
    const std::string one = RunYFCurve({"filters", "key-sync"}).output;
    EXPECT_TRUE(Holds(one, "Stop   Time  inf     last time to filter [s]"));
    const auto filters = nlohmann::json::parse(RunYFCurve({"filters", "--json"}).output);
    EXPECT_EQ(filters.size(), ymotion::FilterClasses().size());
    EXPECT_EQ(filters.at(0).at("parameters").at(1).at("default"), "inf");
    const auto settings = nlohmann::json::parse(RunYFCurve({"settings", "--json"}).output);
    EXPECT_EQ(settings.size(), 17u);
    EXPECT_EQ(settings.at(7).at("name"), "ButterworthFilterInternalRate");
    EXPECT_EQ(settings.at(7).at("default"), "240");
    EXPECT_EQ(settings.at(7).at("aboveMinimum"), true);
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
    const Words runs[] = {{"info", file},
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
                EXPECT_TRUE(Holds(run.output, "letters_End"));
            }
        }
    }
    setenv("COLUMNS", "150", 1);
    EXPECT_TRUE(
        Holds(RunYFCurve({"info", ExampleWalk()}).output, " X                  Y                  Z "));
    unsetenv("COLUMNS");
}

TEST(Program, UnreadableFilesAreCode1)
{
    const TemporaryFolder folder;
    const std::string walk = FileContent(ExampleWalk());
    const std::string cut = folder.Add("cut.bvh", walk.substr(0, walk.size() - 500));
    const std::string empty = folder.Add("empty.bvh", "");
    const std::string broken = folder.Add("broken.ytalo", "ytalo 1\n a: 'xy'\n");
    const std::string still =
        folder.Add("still.bvh", "HIERARCHY ROOT a { OFFSET 0 0 0 } MOTION Frames: 0 Frame Time: 1");
    const Words names = folder.Names();
    const std::pair<Words, const char*> cases[] = {
        {{"info", folder.Path("none.bvh")}, "none.bvh: cannot open: No such file"},
        {{"info", folder.Path("")}, "is a directory"},
        {{"info", empty}, "empty.bvh:1: the file is empty"},
        {{"info", broken}, "broken.ytalo:2:"},
        {{"info", kProgram}, ":1: this is not a BVH file"},
        {{"plot", cut, "-o", folder.Path("cut.svg")}, "the file ends"},
        {{"convert", cut, folder.Path("copy.bvh")}, "the file ends"},
        {{"plot", still, "-o", folder.Path("still.svg")}, "has no frames"},
        {{"eval", ExampleWalk(), "--node", "Hip"}, "did you mean 'Hips'"}};
    for (const auto& [arguments, part] : cases) ExpectRefused(arguments, 1, part);
    ExpectRefused({"info", "-"}, 1, "<standard input>:1: the file is empty", "</dev/null");
    EXPECT_EQ(folder.Names(), names) << "what is refused leaves nothing behind";
}

TEST(Program, WriteErrorsAreCode1)
{
    const TemporaryFolder folder;
    for (const Words& command : std::vector<Words>{{"eval", ExampleWalk()}, {"--help"}})
        ExpectRefused(command, 1, "No space left", ">/dev/full");
    ExpectRefused({"convert", ExampleWalk(), folder.Path("no/walk.bvh")}, 1, "No such file");
    // A reader that goes away: the table is larger than any pipe.
    const std::string code = folder.Path("code");
    RunProgram("sh", {"-c", "('" + kProgram + "' eval '" + ExampleWalk() + "' --rate 10000; echo $? >'" +
                                code + "') | head -n 1"});
    EXPECT_EQ(FileContent(code), "1\n");
    // A file-size limit stands for a full disk: the old file stays, and no scraps.
    const std::string target = folder.Add("walk.bvh", "before");
    const std::string convert = "exec '" + kProgram + "' convert '" + ExampleWalk() + "' '" + target + "'";
    EXPECT_TRUE(Ended(RunProgram("sh", {"-c", "ulimit -f 16; trap '' XFSZ; " + convert}), 1));
    EXPECT_EQ(FileContent(target), "before");
    EXPECT_EQ(folder.Names(), (Words{"code", "walk.bvh"}));
}

TEST(Program, TheExampleWalkIsWhatItsGeneratorMakes)
{
    if (kMakeWalk.empty()) GTEST_SKIP() << "the examples are not built";
    EXPECT_EQ(RunProgram(kMakeWalk, {}).output, FileContent(ExampleWalk()));
}

TEST(Program, WritesWhatTheEndingsOfOutputsSay)
{
    const TemporaryFolder folder;
    const std::string png = folder.Path("walk.PNG");
    ASSERT_EQ(RunYFCurve({"plot", ExampleWalk(), "-o", png}).exitCode, 0);
    const std::string picture = FileContent(png);
    EXPECT_EQ(picture.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(picture.substr(16, 4), std::string("\0\0\x08\xC0", 4)) << "2240 pixels wide";
    EXPECT_GT(picture.size(), 50'000u);
    const std::pair<Words, std::string> refusals[] = {
        {{"plot", ExampleWalk(), "-o", "x.pdf"}, ".svg or .png"},
        {{"plot", ExampleWalk(), "-o", "x"}, ".svg or .png"},
        {{"eval", ExampleWalk(), "-o", "x.ytalo"}, ".csv"},
        {{"filter", ExampleWalk(), "--dry-run", "--apply", "unroll", "--report", "x.pdf"}, ".html"}};
    for (const auto& [arguments, part] : refusals) ExpectRefused(arguments, 2, part);
}
