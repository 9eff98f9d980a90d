#pragma once

#include <string>
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

/// The seed of the test that runs: always the same for a test of this name, unless the environment variable
/// YFCURVE_TEST_SEED holds another number to start from. It is recorded as the test's property "seed", which
/// is how `make soak` finds the tests with random input.
unsigned Seed();

/// For SCOPED_TRACE: the command that runs what failed again.
std::string HowToRepeat();

}  // namespace test
