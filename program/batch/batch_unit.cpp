#include "program/batch/batch_unit.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <numeric>
#include <thread>

#include <fmt/format.h>

#include "program/batch/batch_records.h"
#include "program/batch/worker_pool.h"
#include "program/filtered_output.h"
#include "program/scene_work.h"
#include "program/terminal/progress.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

/// The right to make an output: a lock on a hidden file beside it, which the system gives back when the process ends in
/// whatever way. A process that was just killed may still be ending, so a lock that is held is tried for 0.2 s. The
/// destructor removes the hidden file too. Where the file system has no locks, every claim is granted.
class OutputClaim
{
  public:
    explicit OutputClaim(const fs::path& output)
        : mPath((output.parent_path() / ("." + output.filename().string() + ".lock")).string())
    {
        constexpr int mostTries = 20;
        for (int busyTries = 0; busyTries < mostTries;) {
            Release();
            mIsBusy = false;
            mDescriptor = open(mPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
            if (mDescriptor < 0) return;
            mIsBusy = flock(mDescriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
            // The one before may have removed the file while this one waited to open it.
            if (!mIsBusy && IsStillThere()) return;
            if (!mIsBusy) continue;
            ++busyTries;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    ~OutputClaim()
    {
        if (mDescriptor >= 0 && !mIsBusy) unlink(mPath.c_str());
        Release();
    }
    OutputClaim(const OutputClaim&) = delete;
    OutputClaim& operator=(const OutputClaim&) = delete;

    bool IsBusy() const { return mIsBusy; }

  private:
    void Release()
    {
        if (mDescriptor >= 0) close(mDescriptor);
        mDescriptor = -1;
    }

    bool IsStillThere() const
    {
        struct stat locked;
        struct stat current;
        return fstat(mDescriptor, &locked) == 0 && stat(mPath.c_str(), &current) == 0 &&
               locked.st_dev == current.st_dev && locked.st_ino == current.st_ino;
    }

    std::string mPath;
    int mDescriptor = -1;
    bool mIsBusy = false;
};

bool HasChanged(const Json& report)
{
    return std::any_of(report.at("filters").begin(), report.at("filters").end(),
                       [](const Json& step) { return step.at("changed") > 0; });
}

using Notes = std::vector<std::string>;

Json FailureLine(const BatchTask& task, const BatchWork& work, const std::string& reason, const Notes& notes)
{
    // Most messages name the file themselves.
    const bool named = reason.find(Printable(task.input)) != std::string::npos ||
                       reason.find(Printable(task.output)) != std::string::npos;
    const std::string message = named ? reason : fmt::format("{}: {}", Printable(task.input), reason);
    return RecordLine(task, StateOf(task.input), work.mark, BatchState::Failed, message, nullptr, notes);
}

/// Filters a file and returns its line. Throws `Failure` with the reason where that cannot be done.
Json FilterAndRecord(const BatchTask& task, const BatchWork& work, Notes& notes)
{
    MakeFolder(fs::path(task.output).parent_path());
    const FileState input = StateOf(task.input);
    const auto line = [&](BatchState state, const std::string& message, Json report) {
        return RecordLine(task, input, work.mark, state, message, std::move(report), notes);
    };
    const OutputClaim claim(task.output);
    if (claim.IsBusy()) {
        return line(BatchState::Busy,
                    fmt::format("{}: another process is making this file; wait for it, or end it",
                                Printable(task.output)),
                    nullptr);
    }
    const NoteTaker note = [&notes](const std::string& text) { notes.push_back(text); };
    Scene scene = LoadScene(task.input, note);
    std::vector<FilterStep> steps = ParseSteps(work.steps, &scene);
    const FilterOutcome outcome = FilterScene(scene, steps, work.patterns, 1);
    Json report = FilterJson(scene, outcome);
    // The joints one by one would be most of the records of a large batch.
    if (report.contains("world")) report["world"].erase("joints");
    const std::string refusal = outcome.Refusal();
    report["refusal"] = refusal;
    if (!refusal.empty()) return line(BatchState::Refused, refusal, std::move(report));
    FinishDespiteSignals();
    if (!work.pages.empty()) {
        const std::string page = work.PageOf(task.name);
        MakeFolder(fs::path(page).parent_path());
        SaveText(page, FilterPage(scene, outcome, CommandFor(task, work)), note);
    }
    SaveScene(scene, task.output, note);
    const BatchState state = HasChanged(report) ? BatchState::Filtered : BatchState::NothingToDo;
    return line(state, "", std::move(report));
}

/// What the process of a file does. Returns the line of the file, also where something is wrong with that.
std::string FilterFile(const BatchTask& task, const BatchWork& work)
{
    Notes notes;
    try {
        return FilterAndRecord(task, work, notes).dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (const Failure& failure) {
        if (failure.Code() >= kExitSignal) throw;
        return FailureLine(task, work, failure.what(), notes)
            .dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

}  // namespace

std::string BatchWork::PageOf(const std::string& name) const
{
    return (fs::path(pages) / (name + ".html")).string();
}

BatchWork MakeBatchWork(std::vector<std::string> steps, std::vector<std::string> patterns, std::string pages)
{
    const Json settings{{"version", YFCURVE_VERSION},
                        {"apply", steps},
                        {"node", patterns},
                        {"pages", pages},
                        {"animation", HowToRead().animation}};
    const std::string mark = SettingsMark(settings.dump(-1, ' ', false, Json::error_handler_t::replace));
    return {std::move(steps), std::move(patterns), std::move(pages), mark};
}

void FilterFiles(const std::vector<BatchTask>& tasks, const BatchWork& work, std::size_t jobs,
                 std::size_t retries, const std::function<void(std::size_t, const Json&)>& finished,
                 const std::function<void()>& waiting)
{
    std::vector<std::size_t> left(tasks.size());
    std::iota(left.begin(), left.end(), std::size_t{0});
    for (std::size_t attempt = 0; !left.empty() && StopSignals::Received() == 0; ++attempt) {
        std::vector<std::size_t> died;
        const auto take = [&](std::size_t i, const WorkResult& result) {
            const std::size_t task = left[i];
            if (!result.done && StopSignals::Received() != 0) return;
            if (result.died && attempt < retries) {
                died.push_back(task);
            } else if (result.done) {
                finished(task, Json::parse(result.text));
            } else {
                finished(task, FailureLine(tasks[task], work, result.text, {}));
            }
        };
        RunInProcesses(
            left.size(), jobs, [&](std::size_t i) { return FilterFile(tasks[left[i]], work); }, take,
            waiting);
        left = std::move(died);
        std::sort(left.begin(), left.end());
    }
}

std::string CommandFor(const BatchTask& task, const BatchWork& work)
{
    return "yfcurve filter " + ShellWord(task.input) + " " + ShellWord(task.output) +
           StepWords(work.steps, work.patterns) + ReadingWords();
}

}  // namespace program
