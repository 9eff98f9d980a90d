#include "ymotion/tables/table_reader.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "ymotion/formats/file_io.h"
#include "ymotion/formats/talo.h"
#include "ymotion/scene/curve_samples.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// The columns of a table that are curves, and where in a row they and the times stand.
struct Columns
{
    std::vector<std::string> names;  ///< of all columns
    std::size_t time = kNone;
    std::size_t frame = kNone;
};

/// A row: its line, its time or frame, and its cells.
struct Row
{
    std::int64_t line = 0;
    std::vector<std::string> cells;
};

/// Goes through the cells of a table, line by line.
class TableText
{
  public:
    TableText(std::string_view text, const std::string& name) : mText(text), mName(name)
    {
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (mText.starts_with(kByteOrderMark)) mText.remove_prefix(kByteOrderMark.size());
        if (mText.starts_with('{') || mText.starts_with('['))
            FailAt(mName, 1,
                   "is JSON, which is not read as a table; write it as .csv, as 'yfcurve eval' does");
        // Names in quotes may hold the other separators.
        const std::size_t behindName = mText.starts_with('"') ? mText.find('"', 1) : 0;
        const std::size_t first = mText.substr(0, mText.find('\n')).find_first_of(",;\t", behindName);
        if (first != std::string_view::npos) mSeparator = mText[first];
    }

    /// Takes the next line that is not empty; false behind the last one.
    bool Next(Row& row)
    {
        while (!mText.empty() && (mText.front() == '\n' || mText.front() == '\r')) {
            mLine += mText.front() == '\n' ? 1 : 0;
            mText.remove_prefix(1);
        }
        if (mText.empty()) return false;
        row.line = mLine;
        row.cells.clear();
        for (;;) {
            row.cells.push_back(TakeCell());
            if (mText.empty() || mText.front() != mSeparator) break;
            mText.remove_prefix(1);
        }
        if (mText.starts_with('\r')) mText.remove_prefix(1);
        if (!mText.empty() && mText.front() != '\n')
            FailAt(mName, mLine, "something stands behind a cell in quotes; double the quotes inside it");
        return true;
    }

  private:
    std::string TakeCell()
    {
        if (!mText.starts_with('"')) {
            const char ends[] = {mSeparator, '\r', '\n', '\0'};
            const std::size_t size = std::min(mText.find_first_of(ends), mText.size());
            std::string cell(mText.substr(0, size));
            mText.remove_prefix(size);
            return cell;
        }
        std::string cell;
        for (mText.remove_prefix(1); !mText.empty(); mText.remove_prefix(1)) {
            if (mText.front() == '"') {
                mText.remove_prefix(1);
                if (!mText.starts_with('"')) return cell;
            }
            mLine += mText.front() == '\n' ? 1 : 0;
            cell += mText.front();
        }
        FailAt(mName, mLine, "a cell in quotes does not end; close it");
    }

    std::string_view mText;
    const std::string& mName;
    char mSeparator = ',';
    std::int64_t mLine = 1;
};

/// A name without the apostrophe that keeps spreadsheets from running it.
std::string NameOf(std::string cell)
{
    const bool isMarked =
        cell.size() > 1 && cell[0] == '\'' && std::string_view("=+-@").find(cell[1]) != kNone;
    return isMarked ? cell.substr(1) : cell;
}

Columns ReadColumns(TableText& table, const std::string& name)
{
    Row head;
    if (!table.Next(head)) FailAt(name, 1, "the file is empty; give a table");
    Columns columns;
    for (std::string& cell : head.cells) {
        // Both stand in front of all curves, of which one may have such a name.
        const std::size_t at = columns.names.size();
        columns.names.push_back(NameOf(std::move(cell)));
        const bool isFront = at < 2;
        if (isFront && columns.names[at] == "time" && columns.time == kNone) columns.time = at;
        if (isFront && columns.names[at] == "frame" && columns.frame == kNone) columns.frame = at;
    }
    if (columns.time == kNone && columns.frame == kNone)
        FailAt(name, head.line, "no column is called 'time' or 'frame'; let the first one be called so");
    return columns;
}

/// The frames of rows are counted at this rate.
YTime TimeOf(const Row& row, const Columns& columns, FrameRate rate, const std::string& name)
{
    if (columns.time != kNone) {
        const std::string& cell = row.cells[columns.time];
        if (const std::optional<YTime> time = ParseSeconds(cell)) return *time;
        FailAt(name, row.line, fmt::format("{} is no time in seconds; correct it", Quoted(cell)));
    }
    const std::string& cell = row.cells[columns.frame];
    const std::optional<double> frame = ParseDouble(cell);
    if (!frame || *frame != std::floor(*frame) || std::abs(*frame) * rate.SecondsPerFrame() > kMostSeconds)
        FailAt(name, row.line, fmt::format("{} is no number of a frame; correct it", Quoted(cell)));
    return TimeOfFrame(static_cast<std::int64_t>(*frame), rate);
}

bool AreFrames(const std::vector<YTime>& times, FrameRate rate)
{
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (times[i] != TimeOfFrame(times.front(), static_cast<std::int64_t>(i), rate)) return false;
    }
    return true;
}

/// Gives a scene the rate of the frames that the times are, if they are any.
void AdaptRate(Scene& scene, const std::vector<YTime>& times)
{
    if (times.size() < 2 || AreFrames(times, scene.rate)) return;
    const double mean =
        (times.back() - times.front()).GetSecondDouble() / static_cast<double>(times.size() - 1);
    const std::optional<FrameRate> rate = RateOfFrameTime(fmt::format("{:.11f}", mean));
    if (!rate || !AreFrames(times, *rate)) return;
    scene.SetRate(*rate);
}

/// The curve of a column; null for those that hold none.
struct ColumnCurve
{
    YFCurve* curve = nullptr;
    bool turns = false;  ///< see `SetSamples`
};

/// The cells of a column that are not empty.
struct ColumnValues
{
    std::vector<YTime> times;
    std::vector<float> values;
};

/// Tells of motion that is not the table's.
void TellWhatStays(const Scene& scene, const std::vector<ColumnCurve>& curves, const TimeSpan& span,
                   const std::string& name, const NoteTaker& note)
{
    const bool stays = std::any_of(curves.begin(), curves.end(), [&span](const ColumnCurve& column) {
        return column.curve != nullptr && HasKeysOutside(*column.curve, span);
    });
    if (!stays || !note) return;
    note(
        fmt::format("{}: is from {} s to {} s; what {} has outside of that stays, and 'yfcurve clip --trim' "
                    "cuts it off",
                    name, ShortSecondsText(span.start), ShortSecondsText(span.stop), scene.file));
}

/// Fills the curves of the columns from the rows that follow.
/// \return  the times of the rows
std::vector<YTime> ReadRows(TableText& table, const Columns& columns, const std::vector<ColumnCurve>& curves,
                            const Scene& scene, const std::string& name, const NoteTaker& note)
{
    std::vector<ColumnValues> cells(curves.size());
    std::vector<YTime> times;
    for (Row row; table.Next(row);) {
        if (row.cells.size() != columns.names.size()) {
            FailAt(name, row.line,
                   fmt::format("there are {} cells and {} columns; give every column a cell, if an empty one",
                               row.cells.size(), columns.names.size()));
        }
        const YTime time = TimeOf(row, columns, scene.rate, name);
        if (!times.empty() && time <= times.back())
            FailAt(name, row.line,
                   "the time is not later than that of the row before; sort the rows by time");
        times.push_back(time);
        for (std::size_t i = 0; i < curves.size(); ++i) {
            if (curves[i].curve == nullptr || row.cells[i].empty()) continue;
            const std::optional<float> value = ParseFloat(row.cells[i]);
            if (!value) {
                FailAt(name, row.line,
                       fmt::format("{} in column {} is no number of single precision; correct it",
                                   Quoted(row.cells[i]), QuotedName(columns.names[i])));
            }
            cells[i].times.push_back(time);
            cells[i].values.push_back(*value);
        }
    }
    if (times.empty()) FailAt(name, 1, "the table has no rows; give one with values");
    const TimeSpan span{times.front(), times.back()};
    TellWhatStays(scene, curves, span, name, note);
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const auto& [curve, turns] = curves[i];
        if (curve != nullptr) SetSamples(*curve, {span, cells[i].times, cells[i].values.data()}, turns);
    }
    return times;
}

bool IsCurveColumn(const Columns& columns, std::size_t column)
{
    return column != columns.time && column != columns.frame;
}

/// The child of a node that has the name; made where there is none.
YFCurveNode& ChildCalled(YFCurveNode& parent, const std::string& name)
{
    for (int i = 0; i < parent.GetCount(); ++i) {
        if (name == parent.Get(i)->GetName()) return *parent.Get(i);
    }
    return *AddTo(parent, MakeGroupNode(name.c_str()));
}

/// The curve at a path, which must not be there yet; null where another column stands in its way.
YFCurve* MakeCurve(YFCurveNode& root, const std::string& path)
{
    YFCurveNode* node = &root;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (node->FCurveGet() != nullptr) return nullptr;
        node = &ChildCalled(*node, path.substr(begin, end - begin));
        begin = end + 1;
    }
    if (node->FCurveGet() != nullptr || node->GetCount() > 0) return nullptr;
    YFCurvePtr curve(YFCurveCreate());
    if (curve == nullptr) throw std::bad_alloc();
    node->FCurveSet(curve.get());
    return curve.release();
}

}  // namespace

void ReadTableInto(Scene& scene, std::string_view text, const std::string& name, const NoteTaker& note)
{
    CheckUnlocked(scene, scene.layers.Base(), "give another --skeleton");
    // Curves of one path come in the order of the tree, as their columns do.
    std::map<std::string, std::vector<SelectedCurve>> found;
    for (const SelectedCurve& selected : SelectCurves(scene, {}))
        found[Printable(PathOf(*selected.node))].push_back(selected);
    TableText table(text, name);
    const Columns columns = ReadColumns(table, name);
    std::map<std::string, std::size_t> used;
    std::vector<ColumnCurve> curves(columns.names.size());
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!IsCurveColumn(columns, i)) continue;
        const auto same = found.find(columns.names[i]);
        std::size_t& place = used[columns.names[i]];
        if (same == found.end() || place >= same->second.size()) {
            FailAt(name, 1,
                   fmt::format("column {} is no curve of {}; remove it, or give another --skeleton",
                               QuotedName(columns.names[i]), scene.file));
        }
        const SelectedCurve& selected = same->second[place++];
        if (selected.property->LayerGet() != nullptr) {
            FailAt(name, 1,
                   fmt::format("the curve of column {} has layers in {}; {}", QuotedName(columns.names[i]),
                               scene.file, MergeAdvice(scene.layers, *selected.property)));
        }
        curves[i] = {selected.node->FCurveGet(), TurnsAsQuaternions(*selected.property)};
    }
    ReadRows(table, columns, curves, scene, name, note);
}

Scene SceneOfTable(std::string_view text, const std::string& name)
{
    Scene scene;
    scene.root = MakeGroupNode("Scene");
    scene.layers.Bind(*scene.root);
    TableText table(text, name);
    const Columns columns = ReadColumns(table, name);
    if (columns.time == kNone)
        FailAt(name, 1,
               "without a column 'time' it takes a scene whose frames these are; name it with --skeleton");
    std::vector<ColumnCurve> curves(columns.names.size());
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!IsCurveColumn(columns, i)) continue;
        curves[i].curve = MakeCurve(*scene.root, columns.names[i]);
        if (curves[i].curve == nullptr) {
            FailAt(name, 1,
                   fmt::format(
                       "column {} is there twice, or is a part of another; rename it, or give --skeleton",
                       QuotedName(columns.names[i])));
        }
    }
    AdaptRate(scene, ReadRows(table, columns, curves, scene, name, {}));
    // A scene file knows joints' properties by their names: one that is read back has them.
    OutputText out;
    WriteTalo(scene, out);
    Scene read = ReadTaloText(out.Take(), name);
    read.file = name;
    return read;
}

}  // namespace ymotion
