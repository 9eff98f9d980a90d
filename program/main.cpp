#include <csignal>

#include "program/program.h"

int main(int argc, char** argv)
{
    // A reader that goes away and a file that may not grow shall be error messages like any other, not a
    // silent end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    return program::RunProgram(argc, argv);
}
