#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <thread>

#include <fmt/format.h>

#include "program/batch/batch_records.h"
#include "program/batch/batch_report.h"
#include "program/batch/batch_run.h"
#include "program/batch/slurm.h"
#include "program/commands/command.h"
#include "program/filtered_output.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/progress.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/filtering/world_report.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

struct BatchOptions
{
    std::vector<std::string> inputs;
    std::string folder;
    std::string one;
    std::string list;
    std::string makeList;
    std::string shard;
    std::vector<std::string> steps;
    std::vector<std::string> patterns;
    std::string extension;
    std::string pages;
    std::string report;
    std::string times;
    std::string partition;
    std::vector<std::string> slurmOptions;
    std::size_t slurmTasks = 0;
    std::size_t jobs = 1;
    std::size_t retries = 2;
    bool recursive = false;
    bool slurm = false;
    bool print = false;
    bool merge = false;
    bool unrollFirst = false;
    bool again = false;
    bool json = false;
};

void RefuseUsage(bool isWrong, const char* message)
{
    if (isWrong) throw Failure(message, kExitUsage);
}

void CheckUsage(const BatchOptions& options)
{
    if (!options.one.empty()) {
        RefuseUsage(options.inputs.size() != 1, "--one takes exactly one input; name one file");
        RefuseUsage(!options.list.empty() || options.slurm || options.merge,
                    "--one is a file by itself; leave out --list, --slurm and --merge");
        return;
    }
    RefuseUsage(options.folder.empty(), "--out is missing; name the folder for the outputs");
    RefuseUsage(options.inputs.empty() == options.list.empty(), "give either files or --list");
    RefuseUsage(!options.shard.empty() && options.list.empty(),
                "--shard takes part of a list; make one with --make-list, and give it with --list");
    RefuseUsage(options.slurm && !options.list.empty(), "--slurm makes a list itself; name the files");
    RefuseUsage(options.print && !options.slurm, "--print shows the scripts of --slurm; give that as well");
    RefuseUsage(!options.report.empty() && !options.shard.empty(),
                "a shard has no report; give --report with --merge when all shards are done");
    if (!options.report.empty()) EndingToWrite(options.report, {".html", ".htm"});
}

/// What to do with each file, in words of the command line.
std::string WorkWords(const BatchOptions& options)
{
    std::string words = " --out " + ShellWord(options.folder);
    for (const std::string& step : options.steps) words += " --apply " + ShellWord(step);
    for (const std::string& pattern : options.patterns) words += " --node " + ShellWord(pattern);
    if (!options.pages.empty()) words += " --pages " + ShellWord(options.pages);
    if (!HowToRead().animation.empty()) words += " --animation " + ShellWord(HowToRead().animation);
    return words + fmt::format(" --max-size {}", MostBytes());
}

/// How many files had it, by what was said.
using Reasons = std::map<std::string, std::size_t>;

/// The largest errors over all files.
std::string WorstText(const BatchReport& report)
{
    const BatchRow* farthest = nullptr;
    const BatchRow* sliding = nullptr;
    const auto slideOf = [](const BatchRow& row) { return row.foot->after / row.foot->height; };
    for (const BatchRow& row : report.Rows()) {
        if (!row.IsDone()) continue;
        if (row.error > 0 && (farthest == nullptr || row.error > farthest->error)) farthest = &row;
        if (row.foot && slideOf(row) > 0 && (sliding == nullptr || slideOf(row) > slideOf(*sliding)))
            sliding = &row;
    }
    std::string text;
    if (farthest != nullptr) {
        text += fmt::format("  joints in the world: {} {}, {} of {} at {} s\n",
                            std::isfinite(farthest->error) ? "largest error" : "worst is",
                            DistanceText(farthest->error), farthest->joint, Printable(farthest->task.input),
                            ShortSecondsText(YTime::FromSeconds(farthest->when)));
    }
    if (sliding != nullptr) {
        text += fmt::format("  foot that slides most for the height of its figure: {} of {}, {} -> {}\n",
                            sliding->foot->name, Printable(sliding->task.input),
                            ErrorText(sliding->foot->before, ""), DistanceText(sliding->foot->after));
    }
    return text;
}

/// What a run adds to what the records tell.
struct RunNotes
{
    std::size_t upToDate = 0;
    std::vector<std::string> passedOver;
    std::size_t skipped = 0;
    std::vector<std::string> busy;
    double seconds = 0;  ///< 0 where the work was done elsewhere
};

std::string SummaryText(const std::string& folder, const BatchReport& report, const RunNotes& notes)
{
    long long keysBefore = 0;
    long long keysAfter = 0;
    Reasons refusals;
    for (const BatchRow& row : report.Rows()) {
        if (row.state == "refused") ++refusals[row.message];
        keysBefore += row.IsDone() ? row.keysBefore : 0;
        keysAfter += row.IsDone() ? row.keysAfter : 0;
    }
    const std::size_t idle = report.Count("nothing to do");
    std::string text = fmt::format("{}: {} filtered, {} up to date, {} refused, {} failed", folder,
                                   report.Count("filtered") + idle - notes.upToDate, notes.upToDate,
                                   report.Count("refused"), report.Count("failed"));
    if (const std::size_t left = report.Count("not done"); left > 0) text += fmt::format(", {} left", left);
    text += fmt::format("; {} keys -> {}", GroupedText(keysBefore), GroupedText(keysAfter));
    text += notes.seconds > 0 ? fmt::format("; {:.1f} s\n", notes.seconds) : "\n";
    if (idle > 0) text += fmt::format("  {} of them had nothing to do\n", idle);
    text += WorstText(report);
    for (const auto& [refusal, count] : refusals)
        text += fmt::format("  {} of them refused: {}\n", count, Printable(refusal));
    if (notes.skipped > 0)
        text += fmt::format("  {} other {} no motion by the name and skipped\n", notes.skipped,
                            notes.skipped == 1 ? "file is" : "files are");
    for (const std::string& subfolder : notes.passedOver) {
        text += fmt::format(
            "  {0} is a folder and was passed over; name its files: '{0}/*', or give --recursive\n",
            Printable(subfolder));
    }
    return text;
}

/// Tells what came of the batch on all channels, and throws where not all of it is done.
void TellAndEnd(const BatchOptions& options, const BatchReport& report, const BatchRecords& records,
                const RunNotes& notes, int signal)
{
    // Where a summary cannot be written, what failed is still to be told.
    std::string unwritten;
    try {
        if (!options.report.empty()) report.WritePage(options.report, options.folder);
        if (!options.times.empty()) report.WriteTimes(options.times);
        if (options.json) {
            report.WriteJson("-");
        } else {
            SaveText("-", SummaryText(options.folder, report, notes));
        }
    } catch (const Failure& failure) {
        unwritten = failure.what();
    }
    for (const BatchRow& row : report.Rows()) {
        for (const std::string& warning : row.warnings)
            PrintError(fmt::format("warning: {}: {}", Printable(row.task.input), warning));
    }
    for (const BatchRow& row : report.Rows()) {
        if (row.state == "failed") PrintError(row.message);
    }
    for (const std::string& busy : notes.busy) PrintError(busy);
    if (!records.Unsaved().empty()) PrintError(records.Unsaved());
    if (!unwritten.empty()) throw Failure(unwritten);
    const std::size_t left = report.Count("not done");
    if (signal != 0) {
        throw Failure(
            fmt::format("stopped with {} {} left; run it again to go on", left, left == 1 ? "file" : "files"),
            static_cast<ExitCode>(kExitSignal + signal));
    }
    if (report.Count("failed") > 0 || left > 0)
        throw Failure("some files were not filtered; run it again to try these once more");
    if (const std::size_t refused = report.Count("refused"); refused > 0) {
        throw Failure(
            fmt::format("{} of {} files were refused by a filter and have no output; choose other parameters",
                        refused, report.Rows().size()));
    }
    if (!records.Unsaved().empty())
        throw Failure("the record was not written; run again, the batch would filter these files anew");
}

/// The unit of work for schedulers: one file, and a line about it.
void RunOne(const BatchOptions& options, const BatchWork& work)
{
    const std::string& input = options.inputs.front();
    RefuseToReplaceInput(input, options.one);
    const fs::path name = options.folder.empty() ? fs::path(options.one).filename()
                                                 : fs::path(options.one).lexically_relative(options.folder);
    const std::vector<BatchTask> tasks{{input, options.one, name.string(), 0}};
    Json line;
    const StopSignals signals;
    FilterFiles(tasks, work, 1, options.retries,
                [&line](std::size_t, const Json& finished) { line = finished; });
    if (line.is_null()) {
        const int signal = std::max(StopSignals::Received(), 1);
        throw Failure("stopped; no file was changed", static_cast<ExitCode>(kExitSignal + signal));
    }
    SaveText("-", line.dump() + "\n");
    const std::string state = line.at("state");
    if (state == "filtered" || state == "nothing to do") return;
    throw Failure(
        fmt::format("{}{}", state == "refused" ? "refused: " : "", line.at("message").get<std::string>()));
}

/// Shows how far jobs are, until the merging one has left the queue.
/// \return  false when the user wants to wait no longer.
bool FollowJobs(const SlurmJobs& jobs, const std::vector<BatchTask>& tasks, BatchRecords& records)
{
    std::map<std::string, std::size_t> bytes;
    for (const BatchTask& task : tasks) bytes[task.name] = task.bytes + 1;
    Progress progress(ProgressLabel(tasks), BytesOf(tasks));
    Clock::time_point nextLook = Clock::now();
    while (StopSignals::Received() == 0) {
        if (Clock::now() >= nextLook) {
            const bool waits = IsInQueue(jobs.merge);
            for (const std::string& name : records.Refresh()) {
                const auto done = bytes.extract(name);
                if (!done.empty() && StopSignals::Received() == 0) progress.Step(done.mapped());
            }
            if (!waits) return true;
            nextLook = Clock::now() + std::chrono::seconds(2);
        }
        progress.Show();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

/// Asks what is to become of jobs that the user waits for no longer.
[[noreturn]] void LeaveJobs(const SlurmJobs& jobs, const BatchOptions& options, int signal)
{
    bool cancels = false;
    if (isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1) {
        std::cerr << fmt::format("\nCancel the jobs {} and {}? [y/N] ", jobs.array, jobs.merge) << std::flush;
        std::string reply;
        std::getline(std::cin, reply);
        cancels = reply == "y" || reply == "Y" || reply == "yes";
    }
    const auto code = static_cast<ExitCode>(kExitSignal + signal);
    if (cancels) {
        CancelJobs(jobs);
        throw Failure(
            fmt::format("the jobs {} and {} are cancelled; run it again to go on", jobs.array, jobs.merge),
            code);
    }
    throw Failure(
        fmt::format("the jobs {0} and {1} go on; 'squeue --jobs={0},{1}' shows them, 'scancel {0} {1}' ends "
                    "them, and {2} will have the report",
                    jobs.array, jobs.merge,
                    Printable((fs::path(BatchRecords::FolderOf(options.folder)) / "report.json").string())),
        code);
}

SlurmBatch SlurmOf(const BatchOptions& options, std::size_t files)
{
    constexpr std::size_t kFilesPerTask = 250;
    constexpr std::size_t kLeastTasks = 8;
    constexpr std::size_t kMostTasks = 1000;  // Slurm has arrays of up to 1001 unless told otherwise
    SlurmBatch slurm;
    slurm.partition = options.partition;
    slurm.options = options.slurmOptions;
    slurm.jobs = options.jobs;
    slurm.retries = options.retries;
    slurm.tasks = options.slurmTasks;
    if (slurm.tasks == 0) slurm.tasks = std::clamp(files / kFilesPerTask, kLeastTasks, kMostTasks);
    slurm.tasks = std::clamp<std::size_t>(files, 1, slurm.tasks);
    slurm.folder = fs::absolute(BatchRecords::FolderOf(options.folder)).lexically_normal().string();
    std::error_code ignored;
    const std::string program = ShellWord(fs::read_symlink("/proc/self/exe", ignored).string());
    const auto list = [&](const char* name) {
        return " --list " + ShellWord((fs::path(BatchRecords::FolderOf(options.folder)) / name).string());
    };
    slurm.unit = program + " batch" + list("todo.jsonl") + WorkWords(options) +
                 fmt::format(" --jobs {} --retries {}", slurm.jobs, slurm.retries);
    if (options.again) slurm.unit += " --again";
    const std::string json = (fs::path(BatchRecords::FolderOf(options.folder)) / "report.json").string();
    slurm.merge = program + " batch --merge" + list("list.jsonl") + WorkWords(options) + " --json";
    if (!options.report.empty()) slurm.merge += " --report " + ShellWord(options.report);
    if (!options.times.empty()) slurm.merge += " --times " + ShellWord(options.times);
    slurm.merge += " >" + ShellWord(json);
    return slurm;
}

void RunOnSlurm(const BatchOptions& options, const std::vector<BatchTask>& tasks, const BatchWork& work,
                RunNotes& notes)
{
    if (options.print) {
        const SlurmBatch slurm = SlurmOf(options, tasks.size());
        SaveText("-", ArrayScript(slurm) + "\n" + MergeScript(slurm));
        return;
    }
    BatchRecords records(options.folder, {}, false);
    const BatchRun run(tasks, work, records, options.again);
    notes.upToDate = run.UpToDate();
    if (!run.Tasks().empty()) {
        const fs::path folder = BatchRecords::FolderOf(options.folder);
        SaveTasks(tasks, (folder / "list.jsonl").string());
        SaveTasks(run.Tasks(), (folder / "todo.jsonl").string());
        const SlurmBatch slurm = SlurmOf(options, run.Tasks().size());
        const SlurmJobs jobs = SubmitJobs(slurm);
        PrintNote(fmt::format("{} files in {} tasks of job {}, merged by job {}", run.Tasks().size(),
                              slurm.tasks, jobs.array, jobs.merge));
        if (!FollowJobs(jobs, run.Tasks(), records)) LeaveJobs(jobs, options, StopSignals::Received());
        records.Refresh();
    }
    TellAndEnd(options, BatchReport(tasks, records, work), records, notes, 0);
}

/// Those that are to be gone through: of a list, or found.
std::vector<BatchTask> TasksFor(const BatchOptions& options, RunNotes& notes)
{
    if (!options.list.empty()) {
        std::vector<BatchTask> tasks = LoadTasks(options.list, options.folder);
        return options.shard.empty() ? tasks : TasksOf(tasks, ParseShard(options.shard));
    }
    BatchInputs inputs = FindTasks(options.inputs, options.folder, options.extension, options.recursive);
    notes.passedOver = std::move(inputs.folders);
    notes.skipped = inputs.skipped;
    return std::move(inputs.tasks);
}

void RunBatch(const BatchOptions& options)
{
    CheckUsage(options);
    ParseSteps(options.steps);  // says now what is wrong with them, once
    const BatchWork work = MakeBatchWork(options.steps, options.patterns, options.pages);
    if (!options.one.empty()) return RunOne(options, work);
    RunNotes notes;
    const std::vector<BatchTask> tasks = TasksFor(options, notes);
    if (!options.makeList.empty()) return SaveTasks(tasks, options.makeList);
    if (options.slurm) return RunOnSlurm(options, tasks, work, notes);
    const Clock::time_point start = Clock::now();
    const Shard shard = options.shard.empty() ? Shard{} : ParseShard(options.shard);
    BatchRecords records(options.folder, shard, !options.shard.empty());
    int signal = 0;
    if (!options.merge) {
        BatchRun run(tasks, work, records, options.again);
        notes.upToDate = run.UpToDate();
        signal = run.Run(options.jobs, options.retries, !options.shard.empty());
        notes.busy = run.Busy();
        notes.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    }
    TellAndEnd(options, BatchReport(tasks, records, work), records, notes, signal);
}

void AddInputOptions(CLI::App& command, BatchOptions& options)
{
    command.add_option("IN", options.inputs, "files, folders, or patterns between quotes: 'captures/*.bvh'")
        ->type_name("");
    RefuseEmpty(
        *command.add_option("--out", options.folder, "the folder for the outputs, which keep their names")
             ->type_name("DIR"));
    command.add_flag("--recursive", options.recursive, "go through the folders among the inputs");
    command
        .add_option(
            "--to", options.extension,
            "the format to write: bvh, ytalo, glb or gltf, or bvh.gz or ytalo.gz (default: as the input)")
        ->check(OneOf({"bvh", "ytalo", "glb", "gltf", "bvh.gz", "ytalo.gz"}))
        ->type_name("FORMAT");
}

void AddReportOptions(CLI::App& command, BatchOptions& options)
{
    RefuseEmpty(*command
                     .add_option("--report", options.report,
                                 "write a page of all files, the worst first, with pictures of these")
                     ->type_name("OUT.html"));
    RefuseEmpty(
        *command
             .add_option("--pages", options.pages, "write a page for each file, as 'filter --report' does")
             ->type_name("DIR"));
    RefuseEmpty(*command.add_option("--times", options.times, "write how long each file took, and where")
                     ->type_name("OUT.csv"));
    AddJsonFlag(command, options.json);
}

void AddSchedulerOptions(CLI::App& command, BatchOptions& options)
{
    command.add_flag("--slurm", options.slurm, "run on a Slurm cluster, and wait for it");
    RefuseEmpty(*command.add_option("--partition", options.partition, "of the cluster")->type_name("NAME"));
    command
        .add_option("--slurm-option", options.slurmOptions,
                    "for sbatch, as --mem=2G or --time=30; may be repeated")
        ->type_name("OPTION")
        ->allow_extra_args(false);
    command
        .add_option("--tasks", options.slurmTasks,
                    "of the array (default: one for 250 files, from 8 to 1000)")
        ->check(CLI::Range(1, 1'000'000).description(""))
        ->type_name("N");
    command.add_flag("--print", options.print, "show the scripts of --slurm, and submit nothing");
    RefuseEmpty(*command
                     .add_option("--one", options.one,
                                 "filter the one file IN into OUT and print a line of JSON; with --out as a "
                                 "part of that batch")
                     ->type_name("OUT"));
    RefuseEmpty(
        *command.add_option("--make-list", options.makeList, "write the list of files, and do no more")
             ->type_name("LIST"));
    RefuseEmpty(*command.add_option("--list", options.list, "take the files of a list in place of IN")
                     ->type_name("LIST"));
    RefuseEmpty(
        *command.add_option("--shard", options.shard, "of the list, every N-th file from the I-th on")
             ->type_name("I/N"));
    command.add_flag("--merge", options.merge, "filter nothing, and report what the records tell");
}

constexpr const char* kFooter =
    "Each file is filtered in a process of its own. One that fails, or that a filter refuses wherever\n"
    "it applies, is reported, and the others go on; the exit status is 1 then. Rates and periods are\n"
    "each file's own unless given. Run again, a batch goes on where it stopped: outputs that are as\n"
    "they were made, of the same input with the same filters, are left alone. An output that another\n"
    "process is making is refused. docs/batch.md has batches on clusters.\n"
    "\n"
    "Folders among the inputs are passed over without --recursive, and files whose names are none of\n"
    "motion. With --recursive, and where two files have one name, outputs keep their folders below the\n"
    "deepest one that all inputs have in common. Ctrl-C lets files that are being written come to their\n"
    "end, counts them, and says how many are left; of --slurm it asks whether to cancel the jobs.\n"
    "\n"
    "The JSON array has a member for each file, the worst first, the same wherever it was made: input,\n"
    "output, state (filtered, nothing to do, refused, failed, not done), message where it failed or was\n"
    "refused, and report: what 'yfcurve filter --json' prints without times and single joints, and\n"
    "refusal, what a filter said that refused it.\n"
    "\n"
    "Examples:\n"
    "  yfcurve batch 'captures/*.bvh' --out clean --apply unroll --apply butterworth:CutOffFreq=7\n"
    "  yfcurve batch captures --recursive --out clean --apply key-reducer --report clean.html\n"
    "  yfcurve batch 'captures/*.bvh' --out clean --apply key-reducer --slurm --partition short";

}  // namespace

void AddBatchCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<BatchOptions>();
    CLI::App* command = program.add_subcommand("batch", "Apply filters to many motion files");
    AddInputOptions(*command, *options);
    AddApplyOption(*command, options->steps);
    AddUnrollFirstFlag(*command, options->unrollFirst);
    AddNodeOption(*command, options->patterns);
    CLI::Option* jobs = AddJobsOption(*command, options->jobs, "files at a time");
    command->add_option("--retries", options->retries, "of a file whose process was killed (default: 2)")
        ->check(CLI::Range(0, 100).description(""))
        ->type_name("N");
    command->add_flag("--again", options->again, "filter also what is up to date");
    AddReportOptions(*command, *options);
    AddSchedulerOptions(*command, *options);
    AddReadingOptions(*command);
    command->footer(kFooter);
    command->callback([options, jobs, &chosen] {
        if (options->unrollFirst) options->steps.insert(options->steps.begin(), kUnrollStep);
        // A task of a cluster asks for one processor unless told.
        if (options->slurm && jobs->count() == 0) options->jobs = 1;
        chosen = [options] { RunBatch(*options); };
    });
}

}  // namespace program
