#include <csignal>

#include "host/program.h"

int main(int argc, char** argv)
{
    // A reader that goes away shall be an error message like any other, not a silent end.
    std::signal(SIGPIPE, SIG_IGN);
    return host::RunProgram(argc, argv);
}
