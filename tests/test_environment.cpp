// Part of every test program: keeps the configuration file that the first curve of a process reads and
// writes away from the user's own. Ahead of all static initialisers, since some of them make curves.

#include <cstdlib>

namespace {

[[gnu::constructor(101)]] void UseConfigurationOfTheBuild()
{
    constexpr int keepWhatIsSet = 0;
    setenv("YBASELIB_CONFIG_DIR", YFCURVE_TEST_CONFIG_DIR, keepWhatIsSet);
}

}  // namespace
