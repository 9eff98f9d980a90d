#include "program/batch/slurm.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include <fmt/format.h>

#include "program/filtered_output.h"
#include "program/scene_work.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;

struct CommandRun
{
    int exitCode = -1;
    std::string output;  ///< of standard output and error
};

CommandRun Run(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words) line += ShellWord(word) + " ";
    std::fflush(nullptr);
    FILE* pipe = popen((line + "2>&1 </dev/null").c_str(), "r");
    if (pipe == nullptr) return {};
    CommandRun run;
    std::array<char, 4096> buffer;
    while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        run.output.append(buffer.data(), count);
    const int status = pclose(pipe);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    while (!run.output.empty() && run.output.back() == '\n') run.output.pop_back();
    return run;
}

std::string Option(const std::string& text)
{
    return fmt::format("#SBATCH {}\n", text);
}

std::string Head(const SlurmBatch& batch, const std::string& name, const std::string& log)
{
    std::string text = "#!/bin/sh\n";
    text += Option("--job-name=" + name);
    text += Option("--chdir=" + ShellWord(fs::current_path().string()));
    text += Option("--output=" + ShellWord((fs::path(batch.folder) / log).string()));
    text += Option("--open-mode=append");
    text += Option("--requeue");
    if (!batch.partition.empty()) text += Option("--partition=" + ShellWord(batch.partition));
    return text;
}

/// \return  the number of the job.
std::string Submit(const std::string& script, const std::vector<std::string>& options)
{
    std::vector<std::string> words{"sbatch", "--parsable"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(script);
    const CommandRun run = Run(words);
    if (run.exitCode == 127)
        throw Failure(
            "sbatch is not there; run this where Slurm's commands are, or give --print for the scripts");
    if (run.exitCode != 0) throw Failure(fmt::format("sbatch refused: {}", Printable(run.output)));
    // "12;cluster", behind what Slurm may have warned of.
    const std::string last = run.output.substr(run.output.find_last_of('\n') + 1);
    return last.substr(0, last.find(';'));
}

}  // namespace

std::string ArrayScript(const SlurmBatch& batch)
{
    std::string text = Head(batch, "yfcurve-batch", "slurm-%A_%a.log");
    text += Option(fmt::format("--array=1-{}", batch.tasks));
    text += Option(fmt::format("--cpus-per-task={}", batch.jobs));
    for (const std::string& option : batch.options) text += Option(option);
    text += fmt::format(
        "# A program that is killed is started again; it goes on where it stopped. Slurm itself starts the "
        "task\n"
        "# anew where a node fails, or the task has to give way to another.\n"
        "tries=0\n"
        "while :; do\n"
        "    status=0\n"
        "    {} --shard \"$SLURM_ARRAY_TASK_ID/{}\" || status=$?\n"
        "    case $status in 130|143) exit $status ;; esac\n"
        "    if [ $status -lt 128 ] || [ $tries -ge {} ]; then exit $status; fi\n"
        "    tries=$((tries + 1))\n"
        "done\n",
        batch.unit, batch.tasks, batch.retries);
    return text;
}

std::string MergeScript(const SlurmBatch& batch)
{
    return Head(batch, "yfcurve-merge", "slurm-merge-%j.log") + "exec " + batch.merge + "\n";
}

SlurmJobs SubmitJobs(const SlurmBatch& batch)
{
    const std::string array = (fs::path(batch.folder) / "slurm-array.sh").string();
    const std::string merge = (fs::path(batch.folder) / "slurm-merge.sh").string();
    SaveText(array, ArrayScript(batch));
    SaveText(merge, MergeScript(batch));
    SlurmJobs jobs;
    jobs.array = Submit(array, {});
    try {
        jobs.merge = Submit(merge, {"--dependency=afterany:" + jobs.array});
    } catch (const Failure&) {
        CancelJobs(jobs);
        throw;
    }
    return jobs;
}

bool IsInQueue(const std::string& job)
{
    const CommandRun run = Run({"squeue", "--noheader", "--format=%T", "--jobs=" + job});
    // A controller that does not reply for a while has not lost the job.
    if (run.exitCode != 0) return run.output.find("Invalid job id") == std::string::npos;
    return !run.output.empty();
}

void CancelJobs(const SlurmJobs& jobs)
{
    Run({"scancel", jobs.array});
    if (!jobs.merge.empty()) Run({"scancel", jobs.merge});
}

}  // namespace program
