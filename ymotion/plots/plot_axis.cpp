#include "ymotion/plots/plot_axis.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>

namespace ymotion {
namespace {

/// The smallest round step that is not below `least`.
double RoundStep(double least, AxisUnit unit)
{
    constexpr std::array<double, 7> degrees{10, 15, 30, 45, 90, 180, 360};
    if (unit == AxisUnit::Degrees && least > 5.0) {
        const auto step = std::find_if(degrees.begin(), degrees.end(), [=](double d) { return d >= least; });
        if (step != degrees.end()) return *step;
    }
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double digit : {1.0, 2.0, 5.0}) {
        // Not to be missed by the rounding of the power.
        if (digit * power >= least * (1.0 - 1e-9)) return digit * power;
    }
    return 10.0 * power;
}

/// With as many digits as tell a tick from its neighbours.
std::string TickLabel(double value, double step)
{
    const int stepPlace = static_cast<int>(std::floor(std::log10(step) + 1e-9));
    if (std::abs(value) < 1e7) return fmt::format("{:.{}f}", value, std::clamp(-stepPlace, 0, 12));
    const int place = static_cast<int>(std::floor(std::log10(std::abs(value))));
    return fmt::format("{:.{}e}", value, std::clamp(place - stepPlace, 0, 15));
}

}  // namespace

std::vector<Tick> NiceTicks(double from, double to, int most, AxisUnit unit)
{
    const double step = RoundStep((to - from) / std::max(most - 1, 1), unit);
    // Ticks at the very ends count in spite of rounding.
    const double first = std::ceil(from / step - 1e-6);
    const double last = std::floor(to / step + 1e-6);
    std::vector<Tick> ticks;
    // Far from zero, steps may be too small to be told apart: they are counted by a number of their own.
    for (int count = 0; count < most && first + count <= last; ++count) {
        const double i = first + count;
        const double value = i == 0.0 ? 0.0 : i * step;
        if (!ticks.empty() && value <= ticks.back().value) continue;
        ticks.push_back({value, TickLabel(value, step)});
    }
    return ticks;
}

}  // namespace ymotion
