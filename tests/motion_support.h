#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/formats/bvh.h"
#include "ymotion/formats/talo.h"
#include "ymotion/scene/scene.h"

/// \file
/// What the tests of the program share.

/// A folder of its own for one test, gone afterwards.
class TemporaryFolder
{
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name) const { return (mPath / name).string(); }
    /// Writes a file into the folder and answers its path.
    std::string Add(const std::string& name, std::string_view content) const;
    std::vector<std::string> Names() const;

  private:
    std::filesystem::path mPath;
};

std::string FileContent(const std::string& path);

std::string ExampleWalk();

/// The programs that tests run. The last two are examples, and empty where these are not built.
extern const std::string kProgram;
extern const std::string kMakeWalk;
extern const std::string kExampleHost;

/// What a program left behind.
struct ProgramRun
{
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs a program with a shell's redirections, if any, behind its arguments: {"info", "x.bvh", ">/dev/full"}.
ProgramRun RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                      const std::string& redirections = {});
/// The same with yfcurve.
ProgramRun RunYFCurve(const std::vector<std::string>& arguments, const std::string& redirections = {});

/// The scene of a BVH text.
ymotion::Scene SceneOfText(std::string_view text);

/// The message of the failure that reading a BVH text ends in, empty when it succeeds.
std::string RefusalOf(std::string_view text);

/// Written by the program's writers.
std::string BvhTextOf(const ymotion::Scene& scene);
std::string TaloTextOf(const ymotion::Scene& scene);

/// Written as a scene file and read back.
ymotion::Scene ThroughTalo(const ymotion::Scene& scene);
