#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// What curves show in columns of a window, kept while the window moves over them.

namespace editor {

/// The least and greatest of some values.
struct Extremes
{
    float least;
    float greatest;

    void Include(const Extremes& other);
};

/// Columns of equal duration. Each begins at a multiple of it, so that a window that moves keeps its columns.
struct ColumnGrid
{
    std::int64_t step = 1;   ///< duration of a column in ticks
    std::int64_t first = 0;  ///< the first column begins at `first * step`
    std::size_t count = 0;

    YTime Start(std::size_t column) const;
    /// From which to which column both grids have the same ones; an empty span where there are none.
    ColumnGrid Common(const ColumnGrid& other) const;
};

/// The keys of a curve in runs of 2, 8, 32 and so on, so that where many are in a column few are looked at.
class KeyRuns
{
  public:
    struct Run
    {
        YTime start;  ///< of its first key
        Extremes values;
    };

    static constexpr double kFewestInColumn = 4.0;

    explicit KeyRuns(const YFCurve& curve);

    /// Runs of which a column has two at least; none where it has fewer than `kFewestInColumn` keys.
    std::span<const Run> For(double keysInColumn) const;

  private:
    static constexpr std::size_t kFirstRun = 2;
    static constexpr std::size_t kRunsInNext = 4;

    std::vector<std::vector<Run>> mLevels;
};

/// What one curve shows in columns. Columns that were there before are not worked out again until the curve changes.
class CurveColumns
{
  public:
    /// The least and greatest value in each column; where the window has `keysInColumn` keys in one on the average,
    /// and that is 4 or more, keys up to half a column away may count as well.
    std::span<const Extremes> Of(const YFCurve& curve, const ColumnGrid& grid, double keysInColumn);

  private:
    /// By which of the ways of working them out columns are made.
    struct Way
    {
        std::span<const KeyRuns::Run> runs;
        bool hasMiddles = false;

        bool operator==(const Way& other) const;
    };

    static void Append(const YFCurve& curve, const ColumnGrid& grid, const Way& way,
                       std::vector<Extremes>& columns);

    std::uint32_t mUpdateId = 0;
    int mKeyCount = -1;
    std::unique_ptr<KeyRuns> mRuns;
    ColumnGrid mGrid;
    Way mWay;
    std::vector<Extremes> mColumns;
};

}  // namespace editor
