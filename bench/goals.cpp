#include "bench/goals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string_view>

namespace {

std::string ProcessorName()
{
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    }
    return "unknown processor";
}

double Median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

bool GoalReporter::ReportContext(const Context& context)
{
    std::printf("%s, %d x %.0f MHz\n", ProcessorName().c_str(), context.cpu_info.num_cpus,
                context.cpu_info.cycles_per_second / 1e6);
    return true;
}

void GoalReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
        const auto items = run.counters.find("items");
        const double operations = items != run.counters.end() ? items->second.value : 1.0;
        const double seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
        mNanoseconds[run.run_name.function_name].push_back(seconds * 1e9 / operations);
    }
}

void GoalReporter::Finalize()
{
    std::printf("\n%-40s %10s %10s\n", "nanoseconds an operation", "fastest", "median");
    for (const auto& [name, times] : mNanoseconds) {
        std::printf("%-40s %10.2f %10.2f\n", name.c_str(), Fastest(name), Median(times));
    }
}

double GoalReporter::Fastest(const std::string& benchmark) const
{
    const auto found = mNanoseconds.find(benchmark);
    if (found == mNanoseconds.end()) return std::nan("");
    return *std::min_element(found->second.begin(), found->second.end());
}

void PrintGoals(const std::vector<Goal>& goals)
{
    std::printf("\n%-40s %10s %10s\n", "goal", "measured", "at most");
    for (const Goal& goal : goals) {
        if (!std::isfinite(goal.measured)) continue;
        std::printf("%-40s %10.2f %10.2f %s%s\n", goal.what.c_str(), goal.measured, goal.limit,
                    goal.unit.c_str(), goal.measured <= goal.limit ? "" : "  MISSED");
    }
}
