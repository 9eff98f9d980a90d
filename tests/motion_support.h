#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "ymotion/formats/bvh.h"
#include "ymotion/formats/talo.h"
#include "ymotion/scene/scene.h"
#include "ymotion/text/failure.h"

/// \file
/// What the tests of the program share.

using Words = std::vector<std::string>;
Words Joined(Words words, const Words& more);

/// A folder of its own for one test, gone afterwards.
class TemporaryFolder
{
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name) const { return (mPath / name).string(); }
    /// Writes a file into the folder and returns its path.
    std::string Add(const std::string& name, std::string_view content) const;
    Words Names() const;

  private:
    std::filesystem::path mPath;
};

std::string FileContent(const std::string& path);

std::string ExampleWalk();
/// The paths of the example walk and of `test::Recordings`.
Words RecordedMotions();

/// The programs that tests run. The last two are examples, and empty where these are not built.
extern const std::string kProgram;
extern const std::string kMakeWalk;
extern const std::string kExampleHost;

/// X is 10 and, half of it counting, 4 on a layer that begins with a key.
inline constexpr const char* kLayered =
    "ytalo 1\nScene: {\n Layer: \"up\" {\n LayerID: 1\n Weight: {\n Default: 0.5\n }\n }\n}\n"
    "Channel: \"Lcl Translation\" {\n LayerType: 1\n Channel: \"X\" {\n Default: 10.0\n }\n"
    " Channel: \"Y\" {\n Default: 0.0\n }\n Channel: \"Z\" {\n Default: 0.0\n }\n"
    " LayerChannel: \"Lcl Translation\" {\n LayerType: 1\n LayerID: 1\n"
    " Channel: \"X\" {\n Default: 0.0\n KeyVer: 4006\n KeyCount: 1\n Key: @0 4.0 'L'\n LayerID: 1\n }\n"
    " Channel: \"Y\" {\n Default: 0.0\n }\n Channel: \"Z\" {\n Default: 0.0\n }\n }\n}\n";

/// What a program left behind.
struct ProgramRun
{
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs a program with a shell's redirections, if any, behind its arguments: {"info", "x.bvh", ">/dev/full"}.
ProgramRun RunProgram(const std::string& program, const Words& arguments,
                      const std::string& redirections = {});
/// The same with yfcurve.
ProgramRun RunYFCurve(const Words& arguments, const std::string& redirections = {});

/// Whether a program ended with an exit code, and with parts in what it printed; what it did, where it did not.
testing::AssertionResult Ended(const ProgramRun& run, int exitCode, std::string_view output = "",
                               std::string_view errors = "");
/// That yfcurve refuses: with "yfcurve: " and one line, and nothing on standard output.
void ExpectRefused(const Words& arguments, int exitCode, const std::string& part,
                   const std::string& redirections = {});
/// What a command that succeeds prints with --json.
nlohmann::json JsonOf(const Words& arguments);

/// A BVH text of one joint at an offset of (7, 8, 9), with frames of the given numbers.
std::string OneJoint(const std::string& channels, const Words& frames, const std::string& frameTime = "0.5");

/// What is wrong with an XML document, empty when it is well-formed.
std::string XmlFault(std::string_view text);

/// The scene of a BVH text.
ymotion::Scene SceneOfText(std::string_view text);

/// Whether a text has a part; what it is, where it is not as expected.
testing::AssertionResult Holds(std::string_view text, std::string_view part);

/// The message of the failure that something ends in, empty when it succeeds.
template<class Act>
std::string FailureOf(const Act& act, int exitCode = ymotion::kExitFailure)
{
    try {
        act();
    } catch (const ymotion::Failure& failure) {
        EXPECT_EQ(failure.Code(), exitCode);
        return failure.what();
    }
    return {};
}

/// The same of reading a BVH text.
std::string RefusalOf(std::string_view text);

/// Written by the program's writers.
std::string BvhTextOf(const ymotion::Scene& scene);
std::string TaloTextOf(const ymotion::Scene& scene);

/// Written as a scene file and read back.
ymotion::Scene ThroughTalo(const ymotion::Scene& scene);
