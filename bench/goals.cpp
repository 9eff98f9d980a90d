#include "bench/goals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

std::string ProcessorName()
{
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    }
    return "unknown processor";
}

/// Appends a line of JSON to the file that YFCURVE_BENCH_ROWS names, for bench/report.py.
void WriteRow(const char* kind, const std::string& name, double value, const std::string& rest)
{
    const char* path = std::getenv("YFCURVE_BENCH_ROWS");
    if (path == nullptr || !std::isfinite(value)) return;
    std::FILE* file = std::fopen(path, "a");
    if (file == nullptr) {
        std::fprintf(stderr, "%s: cannot be written; the rows are lost\n", path);
        return;
    }
    std::fprintf(file, "{\"kind\": \"%s\", \"name\": \"%s\", \"value\": %.6g, %s}\n", kind, name.c_str(),
                 value, rest.c_str());
    std::fclose(file);
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
    WriteRow("machine", ProcessorName(), context.cpu_info.cycles_per_second / 1e6,
             "\"cores\": " + std::to_string(context.cpu_info.num_cpus) + ", \"unit\": \"MHz\"");
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
        const double median = Median(times);
        std::printf("%-40s %10.2f %10.2f\n", name.c_str(), Fastest(name), median);
        WriteRow("time", name, Fastest(name), "\"median\": " + std::to_string(median) + ", \"unit\": \"ns\"");
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
        if (!std::isfinite(goal.limit)) {
            std::printf("%-40s %10.2f %10s %s\n", goal.what.c_str(), goal.measured, "", goal.unit.c_str());
            WriteRow("goal", goal.what, goal.measured, "\"unit\": \"" + goal.unit + "\"");
            continue;
        }
        const bool met = goal.measured <= goal.limit;
        std::printf("%-40s %10.2f %10.2f %s%s\n", goal.what.c_str(), goal.measured, goal.limit,
                    goal.unit.c_str(), met ? "" : "  MISSED");
        WriteRow("goal", goal.what, goal.measured,
                 "\"goal\": " + std::to_string(goal.limit) + ", \"unit\": \"" + goal.unit +
                     "\", \"met\": " + (met ? "true" : "false"));
    }
}
