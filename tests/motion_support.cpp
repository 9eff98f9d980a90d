#include "tests/motion_support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "tests/test_environment.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/text/failure.h"

namespace {

/// Quoted for the shell.
std::string Word(const std::string& text)
{
    std::string word = "'";
    for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word += '\'';
}

}  // namespace

const std::string kProgram = YFCURVE_PROGRAM;
const std::string kMakeWalk = YFCURVE_MAKE_WALK;
const std::string kExampleHost = YFCURVE_EXAMPLE_HOST;

Words Joined(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "yfcurve-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    mPath = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::string TemporaryFolder::Add(const std::string& name, std::string_view content) const
{
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
}

Words TemporaryFolder::Names() const
{
    Words names;
    for (const auto& entry : std::filesystem::directory_iterator(mPath))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string FileContent(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string ExampleWalk()
{
    return test::SourceFile("examples/walk.bvh");
}

Words RecordedMotions()
{
    Words files = test::Recordings();
    files.push_back(ExampleWalk());
    return files;
}

ProgramRun RunProgram(const std::string& program, const Words& arguments, const std::string& redirections)
{
    const TemporaryFolder folder;
    std::string command = Word(program);
    for (const std::string& argument : arguments) command.append(" ").append(Word(argument));
    command.append(" >").append(Word(folder.Path("out"))).append(" 2>").append(Word(folder.Path("err")));
    command.append(" ").append(redirections);
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, FileContent(folder.Path("out")),
            FileContent(folder.Path("err"))};
}

ProgramRun RunYFCurve(const Words& arguments, const std::string& redirections)
{
    return RunProgram(kProgram, arguments, redirections);
}

testing::AssertionResult Ended(const ProgramRun& run, int exitCode, std::string_view output,
                               std::string_view errors)
{
    const bool isSo = run.exitCode == exitCode && Holds(run.output, output) && Holds(run.errors, errors);
    return (isSo ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "exit code " << run.exitCode << ", not " << exitCode << ", with '" << output
           << "' in: " << run.output << "and '" << errors << "' in: " << run.errors;
}

void ExpectRefused(const Words& arguments, int exitCode, const std::string& part,
                   const std::string& redirections)
{
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ProgramRun run = RunYFCurve(arguments, redirections);
    EXPECT_EQ(run.exitCode, exitCode) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors.substr(0, 9), "yfcurve: ");
    EXPECT_TRUE(Holds(run.errors, part));
    EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << run.errors;
    EXPECT_FALSE(Holds(run.errors, "\x1b")) << "colours outside a terminal";
}

nlohmann::json JsonOf(const Words& arguments)
{
    const ProgramRun run = RunYFCurve(Joined(arguments, {"--json"}));
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    return nlohmann::json::parse(run.output, nullptr, false);
}

std::string OneJoint(const std::string& channels, const Words& frames, const std::string& frameTime)
{
    std::string text = "HIERARCHY\nROOT a\n{\nOFFSET 7 8 9\nCHANNELS " + channels +
                       "\n}\nMOTION\nFrames: " + std::to_string(frames.size()) +
                       "\nFrame Time: " + frameTime + "\n";
    for (const std::string& frame : frames) text += frame + "\n";
    return text;
}

std::string XmlFault(std::string_view text)
{
    const TemporaryFolder folder;
    const std::string parse = "import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])";
    return RunProgram("python3", {"-c", parse, folder.Add("document", text)}).errors;
}

ymotion::Scene SceneOfText(std::string_view text)
{
    ymotion::Scene scene = ymotion::SceneOfBvh(ymotion::ParseBvh(text, "test.bvh"));
    scene.file = "test.bvh";
    scene.format = ymotion::SceneFormat::Bvh;
    return scene;
}

testing::AssertionResult Holds(std::string_view text, std::string_view part)
{
    const bool holds = text.find(part) != std::string_view::npos;
    return (holds ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "'" << part << "' in: " << text;
}

std::string RefusalOf(std::string_view text)
{
    return FailureOf([&] { ymotion::ParseBvh(text, "test.bvh"); });
}

std::string BvhTextOf(const ymotion::Scene& scene)
{
    return ymotion::SceneText(scene, "bvh");
}

std::string TaloTextOf(const ymotion::Scene& scene)
{
    return ymotion::SceneText(scene, "ytalo");
}

ymotion::Scene ThroughTalo(const ymotion::Scene& scene)
{
    return ymotion::ReadTaloText(TaloTextOf(scene), "test.ytalo");
}
