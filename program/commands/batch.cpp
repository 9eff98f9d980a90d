#include <unistd.h>

#include <algorithm>
#include <chrono>
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
#include "ymotion/formats/scene_name.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

// Beside the records, with `kToDo`.
constexpr const char* kAll = "list.jsonl";
constexpr const char* kReport = "report.json";

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
    SlurmBatch slurm;  ///< what is given for it
    std::size_t jobs = 1;
    std::size_t retries = 2;
    bool recursive = false;
    bool onSlurm = false;
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

void CheckOne(const BatchOptions& options)
{
    RefuseUsage(options.inputs.size() != 1, "--one takes exactly one input; name one file");
    const std::pair<bool, const char*> others[] = {
        {!options.list.empty(), "--list"},    {!options.makeList.empty(), "--make-list"},
        {!options.shard.empty(), "--shard"},  {options.onSlurm, "--slurm"},
        {options.print, "--print"},           {options.merge, "--merge"},
        {options.recursive, "--recursive"},   {options.again, "--again"},
        {!options.extension.empty(), "--to"}, {!options.report.empty(), "--report"},
        {!options.times.empty(), "--times"},  {options.json, "--json"},
    };
    for (const auto& [isGiven, name] : others) {
        if (isGiven) throw Failure(fmt::format("--one is a file by itself; leave out {}", name), kExitUsage);
    }
}

void CheckUsage(const BatchOptions& options)
{
    if (!options.one.empty()) return CheckOne(options);
    RefuseUsage(options.folder.empty(), "--out is missing; name the folder for the outputs");
    RefuseUsage(options.inputs.empty() == options.list.empty(), "give either files or --list");
    RefuseUsage(!options.shard.empty() && options.list.empty(),
                "--shard takes part of a list; make one with --make-list, and give it with --list");
    RefuseUsage(options.onSlurm && !options.list.empty(), "--slurm makes a list itself; name the files");
    RefuseUsage(options.print && !options.onSlurm, "--print shows the scripts of --slurm; give that as well");
    RefuseUsage(!options.report.empty() && !options.shard.empty(),
                "a shard has no report; give --report with --merge when all shards are done");
    RefuseUsage(options.merge && options.onSlurm, "--merge reports what is done; leave out --slurm");
    if (!options.report.empty()) EndingToWrite(options.report, {".html", ".htm"});
    if (!options.times.empty()) EndingToWrite(options.times, {".csv"});
    // A pattern without quotes is a list of files, of which --make-list would take and replace the first.
    if (HasNameOfScene(options.makeList)) {
        throw Failure(fmt::format("--make-list: {} has the name of a motion file; name a list, such as "
                                  "files.jsonl, and put patterns between quotes",
                                  Printable(options.makeList)),
                      kExitUsage);
    }
}

/// Refuses lists and tables in the place of an input.
void RefuseToReplaceFiles(const BatchOptions& options, const std::vector<BatchTask>& tasks)
{
    for (const std::string& written : {options.makeList, options.times}) {
        if (written.empty()) continue;
        for (const BatchTask& task : tasks) RefuseToReplaceInput(task.input, written);
    }
}

/// A file beside the records.
std::string PathOf(const BatchOptions& options, const char* name)
{
    return (fs::path(BatchRecords::FolderOf(options.folder)) / name).string();
}

/// What to do with each file, in words of the command line.
std::string WorkWords(const BatchOptions& options)
{
    std::string words =
        " --out " + ShellWord(options.folder) + StepWords(options.steps, options.patterns) + ReadingWords();
    if (!options.pages.empty()) words += " --pages " + ShellWord(options.pages);
    return words + fmt::format(" --max-size {}", MostBytes());
}

/// How many files had it, by what was said.
using Reasons = std::map<std::string, std::size_t>;

/// The largest errors over all files, as parts of the heights of their figures.
std::string WorstText(const BatchReport& report)
{
    const BatchRow* farthest = nullptr;
    const BatchRow* sliding = nullptr;
    for (const BatchRow& row : report.Rows()) {
        // The rows are in the order of their errors.
        if (farthest == nullptr && row.IsDone() && row.share > 0) farthest = &row;
        const double slide = row.foot ? row.foot->share : 0;
        if (slide > 0 && (sliding == nullptr || slide > sliding->foot->share)) sliding = &row;
    }
    std::string text;
    if (farthest != nullptr) {
        text += fmt::format("  joint farthest off for the height of its figure: {} of {}, {} at {} s\n",
                            farthest->joint, Printable(farthest->task.input), DistanceText(farthest->error),
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
        if (row.state == BatchState::Refused) ++refusals[row.message];
        keysBefore += row.IsDone() ? row.keysBefore : 0;
        keysAfter += row.IsDone() ? row.keysAfter : 0;
    }
    const std::size_t idle = report.Count(BatchState::NothingToDo);
    std::string text = fmt::format("{}: {} filtered, {} up to date, {} refused, {} failed", folder,
                                   report.Count(BatchState::Filtered) + idle - notes.upToDate, notes.upToDate,
                                   report.Count(BatchState::Refused), report.Count(BatchState::Failed));
    if (const std::size_t left = report.Count(BatchState::NotDone); left > 0)
        text += fmt::format(", {} left", left);
    text += fmt::format("; {} keys -> {}", GroupedText(keysBefore), GroupedText(keysAfter));
    text += notes.seconds > 0 ? fmt::format("; {:.1f} s\n", notes.seconds) : "\n";
    if (idle > 0) text += fmt::format("  {} of them had nothing to do\n", idle);
    text += WorstText(report);
    for (const auto& [refusal, count] : refusals)
        text += fmt::format("  {} of them refused: {}\n", count, Printable(refusal));
    if (notes.skipped > 0)
        text += fmt::format("  {} no motion by the name and skipped\n",
                            Counted(notes.skipped, "other file is", "other files are"));
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
        for (const std::string& note : row.notes) PrintNote(note);
        for (const std::string& warning : row.warnings)
            PrintError(fmt::format("warning: {}: {}", Printable(row.task.input), warning));
    }
    for (const BatchRow& row : report.Rows()) {
        if (row.state == BatchState::Failed) PrintError(row.message);
    }
    for (const std::string& busy : notes.busy) PrintError(busy);
    if (!records.Unsaved().empty()) PrintError(records.Unsaved());
    if (!unwritten.empty()) throw Failure(unwritten);
    const std::size_t left = report.Count(BatchState::NotDone);
    if (signal != 0) {
        throw Failure(fmt::format("stopped with {} left; run it again to go on", Counted(left, "file")),
                      static_cast<ExitCode>(kExitSignal + signal));
    }
    if (report.Count(BatchState::Failed) > 0) {
        throw Failure(
            "some files were not filtered; mend what hindered them and run it again: what is complete is "
            "kept");
    }
    if (left > 0) throw Failure("some files are left; run it again to go on");
    if (const std::size_t refused = report.Count(BatchState::Refused); refused > 0) {
        throw Failure(
            fmt::format("{} of {} files were refused by a filter and have no output; choose other parameters",
                        refused, report.Rows().size()));
    }
    if (!records.Unsaved().empty())
        throw Failure("the record was not written; run again, the batch would filter these files anew");
}

/// The name that the output of --one has in its batch.
std::string NameOfOne(const BatchOptions& options)
{
    if (options.folder.empty()) return fs::path(options.one).filename().string();
    const fs::path folder = fs::absolute(options.folder).lexically_normal();
    const fs::path name = fs::absolute(options.one).lexically_normal().lexically_relative(folder);
    if (name.empty() || name == "." || *name.begin() == "..") {
        throw Failure(fmt::format("--one: {} is not below {}, the folder of --out; name a file there, or "
                                  "leave out --out",
                                  Printable(options.one), Printable(options.folder)),
                      kExitUsage);
    }
    return name.string();
}

/// The unit of work for schedulers: one file, and a line about it.
void RunOne(const BatchOptions& options, const BatchWork& work)
{
    const std::string& input = options.inputs.front();
    RefuseToReplaceInput(input, options.one);
    const std::vector<BatchTask> tasks{{input, options.one, NameOfOne(options), 0}};
    Json line;
    const StopSignals signals;
    FilterFiles(tasks, work, 1, options.retries,
                [&line](std::size_t, const Json& finished) { line = finished; });
    if (line.is_null()) {
        const int signal = std::max(StopSignals::Received(), 1);
        throw Failure("stopped; no file was changed", static_cast<ExitCode>(kExitSignal + signal));
    }
    SaveText("-", line.dump() + "\n");
    for (const Json& note : line.at("notes")) PrintNote(note.get<std::string>());
    const BatchState state = StateIn(line);
    if (IsDone(state)) return;
    throw Failure(fmt::format("{}{}", state == BatchState::Refused ? "refused: " : "",
                              line.at("message").get<std::string>()));
}

/// Shows how far jobs are, until the last merging one has left the queue.
/// \param jobs  become those that give files out once more
/// \return  false when the user wants to wait no longer.
bool FollowJobs(SlurmJobs& jobs, const std::string& folder, const std::vector<BatchTask>& tasks,
                BatchRecords& records)
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
            if (!waits && !TakeNextJobs(folder, jobs)) return true;
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
                    jobs.array, jobs.merge, Printable(PathOf(options, kReport))),
        code);
}

SlurmBatch SlurmOf(const BatchOptions& options, std::size_t files)
{
    constexpr std::size_t kFilesPerTask = 250;
    constexpr std::size_t kLeastTasks = 8;
    constexpr std::size_t kMostTasks = 1000;  // Slurm has arrays of up to 1001 unless told otherwise
    SlurmBatch slurm = options.slurm;
    slurm.jobs = options.jobs;
    slurm.retries = options.retries;
    if (slurm.tasks == 0) slurm.tasks = std::clamp(files / kFilesPerTask, kLeastTasks, kMostTasks);
    slurm.tasks = std::clamp<std::size_t>(files, 1, slurm.tasks);
    slurm.folder = fs::absolute(BatchRecords::FolderOf(options.folder)).lexically_normal().string();
    std::error_code ignored;
    const std::string program = ShellWord(fs::read_symlink("/proc/self/exe", ignored).string());
    const auto list = [&](const char* name) { return " --list " + ShellWord(PathOf(options, name)); };
    slurm.unit = program + " batch" + list(kToDo) + WorkWords(options) +
                 fmt::format(" --jobs {} --retries {}", slurm.jobs, slurm.retries);
    if (options.again) slurm.unit += " --again";
    const std::string merge = program + " batch --merge" + WorkWords(options);
    slurm.left = merge + list(kToDo) + " --make-list";
    slurm.merge = merge + list(kAll) + " --json";
    if (!options.report.empty()) slurm.merge += " --report " + ShellWord(options.report);
    if (!options.times.empty()) slurm.merge += " --times " + ShellWord(options.times);
    slurm.merge += " >" + ShellWord(PathOf(options, kReport));
    return slurm;
}

void RunOnSlurm(BatchOptions options, const std::vector<BatchTask>& tasks, const BatchWork& work,
                RunNotes& notes)
{
    if (options.print) {
        const SlurmBatch slurm = SlurmOf(options, tasks.size());
        SaveText("-", ArrayScript(slurm) + "\n" + MergeScript(slurm));
        return;
    }
    BatchRecords records(options.folder, {}, tasks);
    const BatchRun run(tasks, work, records, options.again);
    notes.upToDate = run.UpToDate();
    if (!run.Tasks().empty()) {
        SaveTasks(tasks, PathOf(options, kAll));
        SaveTasks(run.Tasks(), PathOf(options, kToDo));
        const SlurmBatch slurm = SlurmOf(options, run.Tasks().size());
        const FileState reportBefore = StateOf(options.report);
        const FileState timesBefore = StateOf(options.times);
        SlurmJobs jobs = SubmitJobs(slurm);
        PrintNote(fmt::format("{} files in {} tasks of job {}, merged by job {}", run.Tasks().size(),
                              slurm.tasks, jobs.array, jobs.merge));
        if (!FollowJobs(jobs, slurm.folder, run.Tasks(), records))
            LeaveJobs(jobs, options, StopSignals::Received());
        records.Refresh();
        // What the merging job has written need not be made again.
        for (const auto& [path, before] :
             {std::pair{&options.report, reportBefore}, {&options.times, timesBefore}})
            if (StateOf(*path) != before) path->clear();
    }
    TellAndEnd(options, BatchReport(tasks, records, work), records, notes, 0);
}

/// Those that nothing is known of, not even a failure.
std::vector<BatchTask> NotDone(const std::vector<BatchTask>& tasks, const BatchWork& work,
                               const BatchRecords& records)
{
    std::vector<BatchTask> left;
    std::copy_if(tasks.begin(), tasks.end(), std::back_inserter(left),
                 [&](const BatchTask& task) { return records.Find(task, work.mark) == nullptr; });
    return left;
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
    for (const auto& [other, name] : inputs.otherNames)
        PrintNote(fmt::format("{}: is {} by another name, and gets no output of its own", Printable(other),
                              Printable(name)));
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
    RefuseToReplaceFiles(options, tasks);
    if (!options.makeList.empty() && !options.merge) return SaveTasks(tasks, options.makeList);
    if (options.onSlurm) return RunOnSlurm(options, tasks, work, notes);
    const Clock::time_point start = Clock::now();
    const Shard shard = options.shard.empty() ? Shard{} : ParseShard(options.shard);
    BatchRecords records(options.folder, shard, tasks);
    if (!options.makeList.empty()) return SaveTasks(NotDone(tasks, work, records), options.makeList);
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
        .add_option("--to", options.extension,
                    "the format to write: bvh, ytalo, glb or gltf, each also with .gz behind it (default: as "
                    "the input)")
        ->check(OneOf({"bvh", "ytalo", "glb", "gltf", "bvh.gz", "ytalo.gz", "glb.gz", "gltf.gz"}))
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
    CLI::Option* slurm =
        command.add_flag("--slurm", options.onSlurm, "run on a Slurm cluster, and wait for it");
    RefuseEmpty(*command.add_option("--partition", options.slurm.partition, "of the cluster")
                     ->type_name("NAME")
                     ->needs(slurm));
    command
        .add_option("--slurm-option", options.slurm.options,
                    "for sbatch, as --mem=2G or --time=30, of both jobs; may be repeated")
        ->type_name("OPTION")
        ->allow_extra_args(false)
        ->needs(slurm);
    command
        .add_option("--tasks", options.slurm.tasks,
                    "of the array (default: one for 250 files, from 8 to 1000)")
        ->check(CLI::Range(1, 1'000'000).description(""))
        ->type_name("N")
        ->needs(slurm);
    command.add_flag("--print", options.print, "show the scripts of --slurm, and submit nothing");
    RefuseEmpty(*command
                     .add_option("--one", options.one,
                                 "filter the one file IN into OUT and print a line of JSON; with --out as a "
                                 "part of that batch")
                     ->type_name("OUT"));
    RefuseEmpty(
        *command
             .add_option("--make-list", options.makeList,
                         "write the list of files, and do no more; with --merge, of those that are not done")
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
    "The JSON array has a member for each file, the worst first, the same wherever it was made: name (of\n"
    "the output below DIR, with %XX for bytes that are no plain letters), input, output, state (filtered,\n"
    "nothing to do, refused, failed, not done), message where it failed or was refused, notes where there\n"
    "is more to know of the file (which are on standard error, too), and report: what\n"
    "'yfcurve filter --json' prints without times and single joints, and refusal, what a filter said that\n"
    "refused it.\n"
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
        if (options->onSlurm && jobs->count() == 0) options->jobs = 1;
        chosen = [options] { RunBatch(*options); };
    });
}

}  // namespace program
