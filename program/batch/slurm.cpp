#include "program/batch/slurm.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>

#include <fmt/format.h>

#include "program/filtered_output.h"
#include "program/scene_work.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;

// In the folder of the batch.
constexpr const char* kArrayScript = "slurm-array.sh";
constexpr const char* kMergeScript = "slurm-merge.sh";
constexpr const char* kJobs = "slurm-jobs";  // numbers of an array and its merging job in each line

// The merging job may start it with fewer tasks.
constexpr std::string_view kArrayCommands = R"sh(
# A program that is killed is started again; it goes on where it stopped. Slurm itself starts the task
# anew where a node fails, or the task has to give way to another.
tries=0
while :; do
    status=0
    {0} --shard "$SLURM_ARRAY_TASK_ID/$SLURM_ARRAY_TASK_COUNT" || status=$?
    case $status in 130|143) exit $status ;; esac
    if [ $status -lt 128 ] || [ $tries -ge {1} ]; then exit $status; fi
    tries=$((tries + 1))
done
)sh";

constexpr std::string_view kMergeCommands = R"sh(
# Files that are not done, as those of a task that was killed with its script or ran out of its time, are given out
# once more. $1 is how often this was done before.
folder={0}
try=${{1:-0}}
left=0
if [ "$try" -lt {1} ] && {2} "$folder/left.jsonl"; then
    left=$(wc -l <"$folder/left.jsonl")
fi
if [ "$left" -gt 0 ]; then
    mv "$folder/left.jsonl" "$folder/{3}"
    if [ "$left" -gt {4} ]; then left={4}; fi
    if array=$(sbatch --parsable --array="1-$left" "$folder/{5}"); then
        array=${{array%%;*}}
        if merge=$(sbatch --parsable --dependency="afterany:$array" "$folder/{6}" $((try + 1))); then
            echo "$array ${{merge%%;*}}" >>"$folder/{7}"
            exit 0
        fi
        scancel "$array"
    fi
fi
exec {8}
)sh";

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
    for (const std::string& option : batch.options) text += Option(option);
    return text;
}

/// \return  the number of the job.
std::string Submit(const std::vector<std::string>& more)
{
    std::vector<std::string> words{"sbatch", "--parsable"};
    words.insert(words.end(), more.begin(), more.end());
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
    return text + fmt::format(kArrayCommands, batch.unit, batch.retries);
}

std::string MergeScript(const SlurmBatch& batch)
{
    return Head(batch, "yfcurve-merge", "slurm-merge-%j.log") +
           fmt::format(kMergeCommands, ShellWord(batch.folder), batch.retries, batch.left, kToDo, batch.tasks,
                       kArrayScript, kMergeScript, kJobs, batch.merge);
}

SlurmJobs SubmitJobs(const SlurmBatch& batch)
{
    const std::string array = (fs::path(batch.folder) / kArrayScript).string();
    const std::string merge = (fs::path(batch.folder) / kMergeScript).string();
    SaveText(array, ArrayScript(batch));
    SaveText(merge, MergeScript(batch));
    SlurmJobs jobs;
    jobs.array = Submit({array});
    try {
        jobs.merge = Submit({"--dependency=afterany:" + jobs.array, merge});
        SaveText((fs::path(batch.folder) / kJobs).string(), jobs.array + " " + jobs.merge + "\n");
    } catch (const Failure&) {
        CancelJobs(jobs);
        throw;
    }
    return jobs;
}

bool TakeNextJobs(const std::string& folder, SlurmJobs& jobs)
{
    std::ifstream file(fs::path(folder) / kJobs);
    SlurmJobs last;
    for (SlurmJobs next; file >> next.array >> next.merge;) last = next;
    if (last.merge.empty() || last.merge == jobs.merge) return false;
    jobs = last;
    return true;
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
