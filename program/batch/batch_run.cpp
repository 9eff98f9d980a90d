#include "program/batch/batch_run.h"

#include <chrono>
#include <thread>

#include <fmt/format.h>

#include "ymotion/text/number_text.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::chrono::seconds kBetweenLooks{1};
constexpr int kMostLooks = 600;  // at outputs that another process is making

}  // namespace

std::size_t BytesOf(const std::vector<BatchTask>& tasks)
{
    std::size_t bytes = 0;
    for (const BatchTask& task : tasks) bytes += task.bytes + 1;
    return bytes;
}

std::string ProgressLabel(const std::vector<BatchTask>& tasks)
{
    return fmt::format("filtering {}", BytesText(static_cast<long long>(BytesOf(tasks))));
}

BatchRun::BatchRun(const std::vector<BatchTask>& tasks, const BatchWork& work, BatchRecords& records,
                   bool again)
    : mWork(work), mRecords(records)
{
    for (const BatchTask& task : tasks) {
        const BatchRecords::Record* record = again ? nullptr : records.Find(task, work.mark);
        if (record != nullptr && record->isDone) {
            ++mUpToDate;
        } else {
            mTasks.push_back(task);
        }
    }
}

int BatchRun::Run(std::size_t jobs, std::size_t retries, bool waits)
{
    if (!mTasks.empty()) mRecords.KeepRoom(mTasks.size());
    Progress progress(ProgressLabel(mTasks), BytesOf(mTasks));
    std::vector<BatchTask> left = RunOnce(mTasks, jobs, retries, progress);
    for (int look = 0; waits && !left.empty() && look < kMostLooks && StopSignals::Received() == 0; ++look) {
        std::this_thread::sleep_for(kBetweenLooks);
        mRecords.Refresh();
        std::erase_if(left, [this](const BatchTask& task) {
            const BatchRecords::Record* record = mRecords.Find(task, mWork.mark);
            return record != nullptr && record->isDone;
        });
        mBusy.clear();
        left = RunOnce(left, jobs, retries, progress);
    }
    return StopSignals::Received();
}

std::vector<BatchTask> BatchRun::RunOnce(const std::vector<BatchTask>& tasks, std::size_t jobs,
                                         std::size_t retries, Progress& progress)
{
    std::vector<BatchTask> busy;
    const auto finished = [&](std::size_t i, const Json& line) {
        if (StateIn(line) == BatchState::Busy) {
            busy.push_back(tasks[i]);
            mBusy.push_back(line.at("message"));
            return;
        }
        mRecords.Add(line);
        if (StopSignals::Received() == 0) progress.Step(tasks[i].bytes + 1);
    };
    FilterFiles(tasks, mWork, jobs, retries, finished, [&progress] { progress.Show(); });
    return busy;
}

}  // namespace program
