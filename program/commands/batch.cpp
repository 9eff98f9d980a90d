#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>

#include <fmt/format.h>

#include "program/batch/batch_manifest.h"
#include "program/batch/worker_pool.h"
#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/progress.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/filtering/world_report.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBetweenSaves{1};

struct BatchOptions
{
    std::vector<std::string> inputs;
    std::string folder;
    std::vector<std::string> steps;
    std::vector<std::string> patterns;
    std::string extension;
    std::string shard = "1/1";
    std::size_t jobs = 1;
    bool unrollFirst = false;
    bool again = false;
    bool json = false;
};

/// All that an output depends on besides its input.
std::string SettingsText(const BatchOptions& options)
{
    return Json({{"version", YFCURVE_VERSION},
                 {"apply", options.steps},
                 {"node", options.patterns},
                 {"animation", HowToRead().animation}})
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Filters one file, in a process of its own.
std::string FilterFile(const BatchTask& task, const BatchOptions& options)
{
    Scene scene = LoadScene(task.input);
    std::vector<FilterStep> steps = ParseSteps(options.steps, &scene);
    const FilterOutcome outcome = FilterScene(scene, steps, options.patterns, 1);
    Json report = FilterJson(scene, outcome);
    report["refusal"] = outcome.Refusal();
    if (!outcome.Refusal().empty()) return report.dump();
    FinishDespiteSignals();
    SaveScene(scene, task.output);
    return report.dump();
}

/// A batch under way: what is done goes into the record and the summary.
class Batch
{
  public:
    Batch(const BatchOptions& options, std::vector<BatchTask> tasks, const Shard& shard)
        : mOptions(options), mSettings(SettingsText(options)), mManifest(options.folder, shard)
    {
        for (BatchTask& task : tasks) {
            const bool skip = !options.again && mManifest.IsUpToDate(task, mSettings);
            if (skip) {
                ++mSkipped;
                Note(task, "up to date");
            } else {
                mTasks.push_back(std::move(task));
            }
        }
    }

    /// \return  the number of the signal that stopped it, 0 for none.
    int Run()
    {
        const std::function<std::string(std::size_t)> work = [this](std::size_t i) {
            return FilterFile(mTasks[i], mOptions);
        };
        Progress progress("filtering", mTasks.size());
        const std::function<void(std::size_t, const WorkResult&)> finished = [&](std::size_t i,
                                                                                 const WorkResult& result) {
            Finish(mTasks[i], result);
            if (StopSignals::Received() == 0) progress.Step();
        };
        RunInProcesses(mTasks.size(), mOptions.jobs, work, finished, [&progress] { progress.Show(); });
        SaveRecord();
        if (!mUnsaved.empty()) {
            mFiles.push_back(
                {{"output", Printable(mManifest.Path())}, {"state", "failed"}, {"message", mUnsaved}});
        }
        return StopSignals::Received();
    }

    void Report() const
    {
        const double seconds = std::chrono::duration<double>(Clock::now() - mStart).count();
        const std::size_t left = Left();
        std::string text = fmt::format("{}: {} filtered, {} up to date, {} refused, {} failed",
                                       mOptions.folder, mDone, mSkipped, mRefused, mFailures.size());
        if (left > 0) text += fmt::format(", {} left", left);
        text += fmt::format("; {} keys -> {}; {:.1f} s\n", GroupedText(mKeysBefore), GroupedText(mKeysAfter),
                            seconds);
        if (mUnchanged > 0) text += fmt::format("  {} of them had nothing to do\n", mUnchanged);
        if (mWorst > 0)
            text += fmt::format("  joints in the world: {} {}, {}\n",
                                std::isfinite(mWorst) ? "largest error" : "worst is", DistanceText(mWorst),
                                mWorstPlace);
        if (!mSlidingFoot.empty())
            text += fmt::format("  foot that slides most for the height of its figure: {}\n", mSlidingFoot);
        for (const auto& [refusal, count] : mRefusals) {
            text += fmt::format("  {} of them refused: {}\n", count, Printable(refusal));
        }
        for (const std::string& subfolder : mPassedOver) {
            text += fmt::format("  {0} is a folder and was passed over; name its files: '{0}/*'\n",
                                Printable(subfolder));
        }
        // Where the summary cannot be written, what failed is still to be told.
        std::string unwritten;
        try {
            SaveText("-", mOptions.json ? mFiles.dump(2) + "\n" : text);
        } catch (const Failure& failure) {
            unwritten = failure.what();
        }
        for (const std::string& warning : mWarnings) PrintError("warning: " + warning);
        for (const std::string& failure : mFailures) PrintError(failure);
        if (!mUnsaved.empty()) PrintError(mUnsaved);
        if (!unwritten.empty()) throw Failure(unwritten);
    }

    bool HasFailures() const { return mRefused > 0 || !mFailures.empty(); }
    /// Whether the record is there, so that the next batch can go on from it.
    bool HasRecord() const { return mUnsaved.empty(); }
    /// Files that are still to be done after a stop.
    std::size_t Left() const { return mTasks.size() - mDone - mRefused - mFailures.size(); }

    /// Folders among the inputs.
    void PassOver(std::vector<std::string> folders)
    {
        for (const std::string& folder : folders)
            mFiles.push_back({{"input", Printable(folder)}, {"state", "passed over"}});
        mPassedOver = std::move(folders);
    }

  private:
    Json& Note(const BatchTask& task, const char* state)
    {
        mFiles.push_back(
            {{"input", Printable(task.input)}, {"output", Printable(task.output)}, {"state", state}});
        return mFiles.back();
    }

    /// Reports are long; only JSON shows them.
    void Note(const BatchTask& task, const char* state, const Json& report)
    {
        Json& noted = Note(task, state);
        if (mOptions.json) noted["report"] = report;
    }

    void Finish(const BatchTask& task, const WorkResult& result)
    {
        if (!result.done) {
            if (StopSignals::Received() != 0) return;
            // Most messages name the file themselves.
            const bool named = result.text.find(Printable(task.input)) != std::string::npos ||
                               result.text.find(Printable(task.output)) != std::string::npos;
            mFailures.push_back(named ? result.text
                                      : fmt::format("{}: {}", Printable(task.input), result.text));
            Note(task, "failed")["message"] = mFailures.back();
            return;
        }
        const Json report = Json::parse(result.text);
        if (const std::string refusal = report.at("refusal"); !refusal.empty()) {
            ++mRefused;
            ++mRefusals[refusal];
            Note(task, "refused", report);
            return;
        }
        ++mDone;
        const bool changed = std::any_of(report.at("filters").begin(), report.at("filters").end(),
                                         [](const Json& step) { return step.at("changed") > 0; });
        mUnchanged += changed ? 0 : 1;
        mKeysBefore += report.at("keysBefore").get<long long>();
        mKeysAfter += report.at("keysAfter").get<long long>();
        if (report.contains("world")) AddWorld(task, report.at("world"));
        for (const Json& step : report.at("filters")) {
            if (!step.contains("warning")) continue;
            mWarnings.push_back(fmt::format("{}: {}: {}", Printable(task.input),
                                            step.at("filter").get<std::string>(),
                                            step.at("warning").get<std::string>()));
        }
        Note(task, changed ? "filtered" : "nothing to do", report);
        mManifest.Add(task, mSettings);
        if (Clock::now() - mSaved >= kBetweenSaves) SaveRecord();
    }

    /// A number that has become none is null.
    static double NumberOf(const Json& number)
    {
        return number.is_number() ? number.get<double>() : std::numeric_limits<double>::infinity();
    }

    /// Slides are compared as parts of the figure's height: files may have different units.
    void AddFoot(const BatchTask& task, const Json& foot, double height)
    {
        const double after = NumberOf(foot.at("slideAfter"));
        if (!(after / height > mWorstSlide)) return;
        mWorstSlide = after / height;
        mSlidingFoot =
            fmt::format("{} of {}, {} -> {}", foot.at("foot").get<std::string>(), Printable(task.input),
                        ErrorText(NumberOf(foot.at("slideBefore")), ""), DistanceText(after));
    }

    void AddWorld(const BatchTask& task, const Json& world)
    {
        for (const Json& foot : world.at("feet")) AddFoot(task, foot, NumberOf(world.at("height")));
        const double error = NumberOf(world.at("largest"));
        if (error <= mWorst) return;
        mWorst = error;
        mWorstPlace =
            fmt::format("{} of {} at {} s", world.at("joint").get<std::string>(), Printable(task.input),
                        ShortSecondsText(YTime::FromSeconds(world.at("time").get<double>())));
    }

    /// A record that cannot be written, perhaps for now, stops nothing.
    void SaveRecord()
    {
        mSaved = Clock::now();
        mUnsaved.clear();
        try {
            mManifest.Save();
        } catch (const Failure& failure) {
            mUnsaved = failure.what();
        }
    }

    const BatchOptions& mOptions;
    std::string mSettings;
    BatchManifest mManifest;
    std::vector<BatchTask> mTasks;
    std::vector<std::string> mFailures;
    std::string mUnsaved;  ///< why the record is not up to date; empty when it is
    std::vector<std::string> mWarnings;
    std::vector<std::string> mPassedOver;
    Json mFiles = Json::array();
    std::size_t mSkipped = 0;
    std::size_t mDone = 0;
    std::size_t mUnchanged = 0;  // of those done
    std::size_t mRefused = 0;
    std::map<std::string, std::size_t> mRefusals;  // files by what was said
    long long mKeysBefore = 0;
    long long mKeysAfter = 0;
    double mWorst = 0;        // distance of a joint from where it was
    std::string mWorstPlace;  // of that joint
    double mWorstSlide = 0;   // of a foot, as a part of its figure's height
    std::string mSlidingFoot;
    Clock::time_point mStart = Clock::now();
    Clock::time_point mSaved = mStart;
};

void RunBatch(const BatchOptions& options)
{
    ParseSteps(options.steps);  // says now what is wrong with them, once
    const Shard shard = ParseShard(options.shard);
    std::vector<std::string> subfolders;
    const std::vector<BatchTask> tasks =
        FindTasks(options.inputs, options.folder, options.extension, subfolders);
    std::error_code error;
    std::filesystem::create_directories(options.folder, error);
    if (error) FailWithErrno(options.folder, "cannot make the folder", error.value());
    Batch batch(options, TasksOf(tasks, shard), shard);
    batch.PassOver(std::move(subfolders));
    const int signal = batch.Run();
    batch.Report();
    if (signal != 0)
        throw Failure(fmt::format("stopped with {} {} left; run it again to go on", batch.Left(),
                                  batch.Left() == 1 ? "file" : "files"),
                      static_cast<ExitCode>(kExitSignal + signal));
    if (batch.HasFailures())
        throw Failure("some files were not filtered; run it again to try these once more", kExitFailure);
    if (!batch.HasRecord())
        throw Failure("the record was not written; run again, the batch would filter these files anew",
                      kExitFailure);
}

}  // namespace

void AddBatchCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<BatchOptions>();
    CLI::App* command = program.add_subcommand("batch", "Apply filters to many motion files");
    command->add_option("IN", options->inputs, "files, or patterns between quotes: 'captures/*.bvh'")
        ->required()
        ->type_name("");
    command->add_option("--out", options->folder, "the folder for the outputs, which keep their names")
        ->required()
        ->type_name("DIR");
    AddApplyOption(*command, options->steps);
    AddUnrollFirstFlag(*command, options->unrollFirst);
    AddNodeOption(*command, options->patterns);
    AddJobsOption(*command, options->jobs, "files at a time");
    RefuseEmpty(
        *command
             ->add_option("--shard", options->shard, "of the sorted list, every N-th file from the I-th on")
             ->type_name("I/N"));
    command
        ->add_option(
            "--to", options->extension,
            "the format to write: bvh, ytalo, glb or gltf, or bvh.gz or ytalo.gz (default: as the input)")
        ->check(OneOf({"bvh", "ytalo", "glb", "gltf", "bvh.gz", "ytalo.gz"}))
        ->type_name("FORMAT");
    command->add_flag("--again", options->again, "filter also what is up to date");
    AddJsonFlag(*command, options->json);
    AddReadingOptions(*command);
    command->footer(
        "Each file is filtered in a process of its own. One that fails, or that a filter refuses wherever\n"
        "it applies, is reported, and the others go on; the exit status is 1 then. Rates and periods are\n"
        "each file's own unless given. Run again, a batch goes on where it stopped: outputs that are as\n"
        "they were made, of the same input with the same filters, are left alone. docs/batch.md has\n"
        "batches on several machines.\n"
        "\n"
        "Folders among the inputs are passed over. Ctrl-C lets files that are being written come to their\n"
        "end, counts them, and says how many are left.\n"
        "\n"
        "The JSON array has a member for each input: input, output, state (filtered, nothing to do, up to\n"
        "date, refused, failed, passed over), message where it failed, and report, which is what 'yfcurve\n"
        "filter --json' prints and refusal, what a filter said that refused it. Where the record of what is\n"
        "done cannot be written, a member without input says so.\n"
        "\n"
        "Examples:\n"
        "  yfcurve batch 'captures/*.bvh' --out clean --apply unroll --apply butterworth:CutOffFreq=7\n"
        "  yfcurve batch --jobs 4 --shard 2/8 'captures/*.bvh' --out clean --apply key-reducer");
    command->callback([options, &chosen] {
        if (options->unrollFirst) options->steps.insert(options->steps.begin(), kUnrollStep);
        chosen = [options] { RunBatch(*options); };
    });
}

}  // namespace program
