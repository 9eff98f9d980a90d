#include <gtest/gtest.h>

#include "tests/motion_support.h"

TEST(Example, HostKeysItsCandidateOnALayerAndSavesIt)
{
    // The layer's smooth keys 0, 40 and 0 leave and reach the ends at 40 degrees a second, so half-way it is
    // at 20 + 40 / 8 degrees; half of its angle counts.
    if (kExampleHost.empty()) GTEST_SKIP() << "the examples are not built";
    const TemporaryFolder folder;
    const ProgramRun run = RunProgram(kExampleHost, {folder.Path("head.ytalo")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(
        run.output,
        "degrees about X, Y and Z\n"
        "0.0 seconds  base   0.00   0.00   0.00  layer   0.00   0.00   0.00  total   0.00   0.00   0.00\n"
        "0.5 seconds  base   0.00  15.00   0.00  layer   0.00  25.00   0.00  total   0.00  27.50   0.00\n"
        "1.0 seconds  base   0.00  30.00   0.00  layer   0.00  40.00   0.00  total   0.00  50.00   0.00\n"
        "1.5 seconds  base   0.00  15.00   0.00  layer   0.00  25.00   0.00  total   0.00  27.50   0.00\n"
        "2.0 seconds  base   0.00   0.00   0.00  layer   0.00   0.00   0.00  total   0.00   0.00   0.00\n");
}
