// Part of every test program: see the header. Also keeps the configuration file that the first curve of a
// process reads and writes away from the user's own, ahead of all static initialisers, since some of them
// make curves.

#include "tests/test_environment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <utility>

namespace {

constexpr unsigned kFirstSeed = 1;

[[gnu::constructor(101)]] void UseConfigurationOfTheBuild()
{
    constexpr int keepWhatIsSet = 0;
    setenv("YBASELIB_CONFIG_DIR", YFCURVE_TEST_CONFIG_DIR, keepWhatIsSet);
}

unsigned SeedOfTheRun()
{
    const char* text = std::getenv("YFCURVE_TEST_SEED");
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : kFirstSeed;
}

std::string NameOfTheTest()
{
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    return info ? std::string(info->test_suite_name()) + "." + info->name() : std::string();
}

/// How often the test that runs has asked for a seed. A test that is repeated starts anew.
unsigned CallsOfTheTest()
{
    static std::pair<const testing::TestInfo*, testing::TimeInMillis> last;
    static unsigned calls = 0;
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    const std::pair run{info, info ? info->result()->start_timestamp() : 0};
    if (run != last) calls = 0;
    last = run;
    return calls++;
}

}  // namespace

namespace test {

std::string SourceFile(const std::string& name)
{
    return YFCURVE_SOURCE_DIR "/" + name;
}

std::vector<std::string> Recordings()
{
    std::vector<std::string> files;
    const char* folder = std::getenv("YFCURVE_RECORDINGS");
    if (!folder || !*folder) return files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".bvh") files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

unsigned Seed()
{
    const std::string name = NameOfTheTest();
    std::seed_seq mixed(name.begin(), name.end());
    unsigned seed = 0;
    mixed.generate(&seed, &seed + 1);
    seed ^= SeedOfTheRun() * 2654435769u + CallsOfTheTest() * 2246822519u;
    testing::Test::RecordProperty("seed", std::to_string(seed));
    return seed;
}

std::string HowToRepeat()
{
    return "YFCURVE_TEST_SEED=" + std::to_string(SeedOfTheRun()) + " " +
           std::filesystem::canonical("/proc/self/exe").string() + " --gtest_filter='" + NameOfTheTest() +
           "'";
}

}  // namespace test
