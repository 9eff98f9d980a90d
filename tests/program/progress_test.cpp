#include "program/terminal/progress.h"

#include <gtest/gtest.h>

#include "ymotion/text/failure.h"

using program::Progress;
using program::ProgressText;

TEST(Progress, TheBarFitsTheTerminal)
{
    EXPECT_EQ(ProgressText("filtering", 1, 4, 33), "filtering [###-----------]  25 %");
    EXPECT_EQ(ProgressText("filtering", 1, 4, 0),
              "filtering [##########------------------------------]  25 %");
    EXPECT_EQ(ProgressText("filtering", 99999, 100000, 20), "filtering  99 %");
    EXPECT_EQ(ProgressText("filtering", 3, 4, 12), " 75 %");
    for (const auto& [done, all] : {std::pair{0, 0}, {9, 3}})
        EXPECT_EQ(ProgressText("x", done, all, 18), "x [#######] 100 %");
}

TEST(Progress, ASignalStopsTheWorkAtTheNextStep)
{
    // What is run in the background may ignore it.
    const auto inherited = signal(SIGINT, SIG_DFL);
    {
        Progress progress("filtering", 3);
        progress.Step();
        raise(SIGINT);
        try {
            progress.Step();
            ADD_FAILURE() << "went on";
        } catch (const ymotion::Failure& failure) {
            EXPECT_EQ(failure.Code(), 128 + SIGINT);
            EXPECT_STREQ(failure.what(), "stopped while filtering; no file was changed");
        }
        struct sigaction now;
        sigaction(SIGINT, nullptr, &now);
        EXPECT_EQ(now.sa_handler, SIG_DFL) << "a second signal is not kept";
    }
    struct sigaction after;
    sigaction(SIGINT, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_DFL);
    signal(SIGINT, inherited);

    const auto inheritedTerm = signal(SIGTERM, SIG_IGN);
    {
        Progress progress("filtering", 1);  // the signal of the work before is forgotten
        raise(SIGTERM);
        progress.Step();
    }
    signal(SIGTERM, inheritedTerm);
}
