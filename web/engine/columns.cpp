#include "web/engine/columns.h"

#include <algorithm>

#include "web/engine/keys.h"

namespace editor {

void Extremes::Include(const Extremes& other)
{
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
}

YTime ColumnGrid::Start(std::size_t column) const
{
    return YTime((first + static_cast<std::int64_t>(column)) * step);
}

ColumnGrid ColumnGrid::Common(const ColumnGrid& other) const
{
    const std::int64_t from = std::max(first, other.first);
    const std::int64_t to = std::min(first + static_cast<std::int64_t>(count),
                                     other.first + static_cast<std::int64_t>(other.count));
    if (step != other.step || to <= from) return {step, first, 0};
    return {step, from, static_cast<std::size_t>(to - from)};
}

// --- Runs of keys --------------------------------------------------------------------------------------

namespace {

KeyRuns::Run RunOfKey(const YFCurve& curve, std::size_t index)
{
    const float value = curve.KeyGetValue(static_cast<int>(index));
    return {curve.KeyGetTime(static_cast<int>(index)), {value, value}};
}

/// The `count` runs that `at` gives, `size` at a time.
template<class At>
std::vector<KeyRuns::Run> Joined(std::size_t count, std::size_t size, const At& at)
{
    std::vector<KeyRuns::Run> joined;
    joined.reserve((count + size - 1) / size);
    for (std::size_t i = 0; i < count; i += size) {
        KeyRuns::Run run = at(i);
        for (std::size_t j = i + 1; j < std::min(i + size, count); ++j) run.values.Include(at(j).values);
        joined.push_back(run);
    }
    return joined;
}

}  // namespace

KeyRuns::KeyRuns(const YFCurve& curve)
{
    mLevels.push_back(Joined(static_cast<std::size_t>(curve.KeyGetCount()), kFirstRun,
                             [&](std::size_t i) { return RunOfKey(curve, i); }));
    while (mLevels.back().size() > kRunsInNext) {
        const std::vector<Run>& below = mLevels.back();
        mLevels.push_back(Joined(below.size(), kRunsInNext, [&](std::size_t i) { return below[i]; }));
    }
}

std::span<const KeyRuns::Run> KeyRuns::For(double keysInColumn) const
{
    std::span<const Run> chosen;
    double keysInRun = kFirstRun;
    for (const std::vector<Run>& level : mLevels) {
        if (keysInColumn >= 2.0 * keysInRun) chosen = level;
        keysInRun *= kRunsInNext;
    }
    return chosen;
}

// --- Columns -------------------------------------------------------------------------------------------

namespace {

/// With fewer keys in a column, what is between them counts.
constexpr double kFewKeys = 2.0;

/// The keys between two times, and what the curve shows at both, column after column.
class ExactColumns
{
  public:
    ExactColumns(const YFCurve& curve, YTime start) : mCurve(curve), mKey(FirstFrom(curve, start)) {}

    Extremes Next(YTime start, YTime end, float atStart, float atEnd)
    {
        Extremes extremes{std::min(atStart, atEnd), std::max(atStart, atEnd)};
        const int count = mCurve.KeyGetCount();
        if (mKey < count && mCurve.KeyGetTime(mKey) < start) mKey = FirstFrom(mCurve, start, mKey);
        for (; mKey < count && mCurve.KeyGetTime(mKey) < end; ++mKey) {
            const float value = mCurve.KeyGetValue(mKey);
            extremes.Include({value, value});
        }
        return extremes;
    }

  private:
    const YFCurve& mCurve;
    int mKey;
};

void AppendExact(const YFCurve& curve, const ColumnGrid& grid, std::vector<Extremes>& columns)
{
    std::vector<float> borders(grid.count + 1);
    curve.Evaluate(grid.Start(0), YTime(grid.step), borders);
    ExactColumns exact(curve, grid.Start(0));
    for (std::size_t i = 0; i < grid.count; ++i)
        columns.push_back(exact.Next(grid.Start(i), grid.Start(i + 1), borders[i], borders[i + 1]));
}

/// Takes in what the curve shows in the middle of each column, where it may swing out between two keys.
void IncludeMiddles(const YFCurve& curve, const ColumnGrid& grid, std::span<Extremes> columns)
{
    std::vector<float> middles(columns.size());
    curve.Evaluate(grid.Start(0) + YTime(grid.step / 2), YTime(grid.step), middles);
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i].Include({middles[i], middles[i]});
}

/// The extremes of all runs that reach into a column.
class RunColumns
{
  public:
    RunColumns(std::span<const KeyRuns::Run> runs, YTime start) : mRuns(runs)
    {
        const auto after =
            std::upper_bound(runs.begin(), runs.end(), start,
                             [](YTime time, const KeyRuns::Run& run) { return time < run.start; });
        mRun = static_cast<std::size_t>(std::max<std::ptrdiff_t>(after - runs.begin() - 1, 0));
    }

    /// False where keys are rare, so that one of the runs is longer than a column, and outside of the keys.
    bool Next(YTime start, YTime end, Extremes& extremes)
    {
        while (mRun + 1 < mRuns.size() && mRuns[mRun + 1].start <= start) ++mRun;
        if (mRun >= mRuns.size() || mRuns[mRun].start > start) return false;
        extremes = mRuns[mRun].values;
        for (std::size_t i = mRun; mRuns[i].start < end; ++i) {
            if (i + 1 == mRuns.size() || mRuns[i + 1].start - mRuns[i].start > end - start) return false;
            extremes.Include(mRuns[i].values);
        }
        return true;
    }

  private:
    std::span<const KeyRuns::Run> mRuns;
    std::size_t mRun = 0;
};

}  // namespace

bool CurveColumns::Way::operator==(const Way& other) const
{
    return runs.data() == other.runs.data() && hasMiddles == other.hasMiddles;
}

void CurveColumns::Append(const YFCurve& curve, const ColumnGrid& grid, const Way& way,
                          std::vector<Extremes>& columns)
{
    if (grid.count == 0) return;
    if (way.runs.empty()) {
        const std::size_t before = columns.size();
        AppendExact(curve, grid, columns);
        if (way.hasMiddles) IncludeMiddles(curve, grid, std::span(columns).subspan(before));
        return;
    }
    RunColumns inRuns(way.runs, grid.Start(0));
    ExactColumns exact(curve, grid.Start(0));
    int hint = 0;
    for (std::size_t i = 0; i < grid.count; ++i) {
        const YTime start = grid.Start(i);
        const YTime end = grid.Start(i + 1);
        Extremes extremes{};
        if (!inRuns.Next(start, end, extremes)) {
            const float atStart = curve.Evaluate(start, &hint);
            extremes = exact.Next(start, end, atStart, curve.Evaluate(end, &hint));
        }
        columns.push_back(extremes);
    }
}

std::span<const Extremes> CurveColumns::Of(const YFCurve& curve, const ColumnGrid& grid, double keysInColumn)
{
    const bool isSame = mUpdateId == curve.GetUpdateId() && mKeyCount == curve.KeyGetCount();
    if (!isSame) {
        mUpdateId = curve.GetUpdateId();
        mKeyCount = curve.KeyGetCount();
        mRuns = nullptr;
        mGrid = {};
    }
    Way way{{}, keysInColumn < kFewKeys};
    if (keysInColumn >= KeyRuns::kFewestInColumn) {
        if (!mRuns) mRuns = std::make_unique<KeyRuns>(curve);
        way.runs = mRuns->For(keysInColumn);
    }
    if (!(way == mWay)) mGrid = {};
    const ColumnGrid common = grid.Common(mGrid);
    if (common.count == grid.count && grid.first == mGrid.first && grid.count == mGrid.count) return mColumns;

    std::vector<Extremes> columns;
    columns.reserve(grid.count);
    const auto before = static_cast<std::size_t>(common.first - grid.first);
    Append(curve, {grid.step, grid.first, common.count == 0 ? grid.count : before}, way, columns);
    if (common.count > 0) {
        const auto from = mColumns.begin() + static_cast<std::ptrdiff_t>(common.first - mGrid.first);
        columns.insert(columns.end(), from, from + static_cast<std::ptrdiff_t>(common.count));
        const std::int64_t next = common.first + static_cast<std::int64_t>(common.count);
        Append(curve, {grid.step, next, grid.count - columns.size()}, way, columns);
    }
    mColumns = std::move(columns);
    mGrid = grid;
    mWay = way;
    return mColumns;
}

}  // namespace editor
