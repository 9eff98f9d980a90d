#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

/// \file
/// What tests take from their surroundings: files, programs, and the seed of everything random.

namespace test {

/// A file of the repository, such as "examples/walk.bvh".
std::string SourceFile(const std::string& name);

/// Recorded motion to test with besides the example walk, in order of name: the .bvh files of the folder that
/// the environment variable YFCURVE_RECORDINGS names. Without it there are none, so that tests are the same
/// for everybody.
std::vector<std::string> Recordings();

/// The next seed for the test that runs, a different one at each call: always the same ones for a test of
/// this name, unless the environment variable YFCURVE_TEST_SEED holds another number to start from.
unsigned Seed();

/// For SCOPED_TRACE: the command that runs what failed again.
std::string HowToRepeat();

/// Random numbers from the next seed. While it lives, what fails tells how to repeat it.
struct RandomEngine : std::mt19937_64
{
    RandomEngine() : std::mt19937_64(Seed()) {}

    const testing::ScopedTrace trace{__FILE__, __LINE__, HowToRepeat()};
};

/// Does `work(0)` to `work(count - 1)` on as many threads at once.
template<class Work>
void InThreads(int count, const Work& work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace test
