#include "program/reports/report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

constexpr std::size_t kWidestName = 60;
constexpr std::size_t kLeastName = 24;
constexpr std::size_t kWidestKind = 20;
constexpr std::size_t kRangeWidth = 17;
constexpr std::size_t kSparkCells = 16;

std::string Padded(std::string text, std::size_t columns)
{
    const std::size_t width = DisplayWidth(text);
    return width < columns ? text.append(columns - width, ' ') : text;
}

struct Totals
{
    std::size_t curves = 0;
    std::size_t withKeys = 0;
    std::size_t keys = 0;
};

Totals TotalsOf(const std::vector<SelectedCurve>& curves)
{
    Totals totals;
    for (const SelectedCurve& selected : curves) {
        const auto keys = static_cast<std::size_t>(selected.curve->KeyGetCount());
        ++totals.curves;
        totals.withKeys += keys > 0 ? 1 : 0;
        totals.keys += keys;
    }
    return totals;
}

/// A value with few digits: fewer the larger it is, more where a curve hardly moves.
std::string ShortValue(float value, float extent)
{
    const float size = std::abs(value);
    if (size >= 1e6f) return fmt::format("{:.2e}", value);
    int decimals = size < 99.995f ? 2 : size < 9999.95f ? 1 : 0;
    if (extent > 0 && extent < 0.03f) decimals = size < 9.99995f ? 4 : 3;
    std::string text = fmt::format("{:.{}f}", value, size < 9999.95f ? decimals : 0);
    const bool zero = text.find_first_of("123456789") == std::string::npos;
    return zero && text.front() == '-' ? text.substr(1) : text;
}

/// What a line tells of a curve.
struct CurveSummary
{
    std::optional<ValueRange> range;  ///< nothing without keys
    std::array<float, kSparkCells> course{};

    float Extent() const { return range ? range->Extent() : 0.0f; }
};

/// The middle of a part of a span, of which there is one for every cell of a spark.
YTime TimeOfCell(const TimeSpan& span, std::size_t cell)
{
    return span.At((static_cast<double>(cell) + 0.5) / kSparkCells);
}

CurveSummary SummaryOf(const YFCurve& curve)
{
    CurveSummary summary{KeyRange(curve), {}};
    if (!summary.range) return summary;
    const TimeSpan span = *KeySpan(curve);
    YTime times[kSparkCells];
    for (std::size_t cell = 0; cell < kSparkCells; ++cell) times[cell] = TimeOfCell(span, cell);
    curve.Evaluate(times, summary.course);
    return summary;
}

/// In order, without repetition.
std::vector<YTime> KeyTimes(const YFCurveNode& rotation)
{
    std::vector<YTime> times;
    for (int i = 0; i < rotation.GetCount(); ++i) {
        const YFCurve* curve = rotation.Get(i)->FCurveGet();
        if (curve == nullptr) continue;
        for (int key = 0; key < curve->KeyGetCount(); ++key) times.push_back(curve->KeyGetTime(key));
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

/// The key times and many in between: what the angles are there the keys do not tell.
std::vector<YTime> TimesToAsk(std::vector<YTime> keys, const TimeSpan& span)
{
    constexpr int kBetween = 1000;
    for (int i = 1; i < kBetween; ++i) keys.push_back(span.At(static_cast<double>(i) / kBetween));
    std::sort(keys.begin(), keys.end());
    return keys;
}

/// The same of the angles that a rotation as quaternions plays.
std::vector<CurveSummary> TurnSummaries(const YFCurveNode& rotation)
{
    std::vector<CurveSummary> summaries(3);
    const std::vector<YTime> keys = KeyTimes(rotation);
    if (keys.empty()) return summaries;
    const TimeSpan span{keys.front(), keys.back()};
    int hint = 0;
    std::array<double, 3> angles{};
    for (const YTime time : TimesToAsk(keys, span)) {
        rotation.RotationNodeEvaluate(angles.data(), time, &hint);
        for (std::size_t i = 0; i < 3; ++i) {
            const auto angle = static_cast<float>(angles[i]);
            std::optional<ValueRange>& range = summaries[i].range;
            if (!range) range = ValueRange{angle, angle};
            range = ValueRange{std::min(range->least, angle), std::max(range->greatest, angle)};
        }
    }
    for (std::size_t cell = 0; cell < kSparkCells; ++cell) {
        rotation.RotationNodeEvaluate(angles.data(), TimeOfCell(span, cell), &hint);
        for (std::size_t i = 0; i < 3; ++i) summaries[i].course[cell] = static_cast<float>(angles[i]);
    }
    return summaries;
}

/// A line of the tree: a property, or a joint without one.
struct Row
{
    std::string tree;  ///< branches in front of the name
    std::string name;  ///< empty on the further properties of a joint
    std::string kind;
    std::size_t keys = 0;
    std::vector<CurveSummary> curves;
    bool axes = false;  ///< whether the curves are X, Y and Z
};

/// The characters that trees and sparks are drawn with.
struct Glyphs
{
    std::string_view branch;
    std::string_view lastBranch;
    std::string_view trunk;
    std::string_view deeper;
    std::string_view range;
    std::string_view missing;
    std::array<std::string_view, 8> levels;
};

constexpr Glyphs kUnicode{"├─ ", "└─ ", "│  ", "… ", "…", "–", {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"}};
constexpr Glyphs kAscii{"|- ", "`- ", "|  ", "> ", "~", "-", {"_", ".", ",", "-", "=", "+", "*", "#"}};

std::string KindOf(const YFCurveNode& property)
{
    const YDataType* type = property.GetDataType();
    if (type == YDataType::Get(eDataType::LocalTranslation)) return "position";
    if (property.IsRotationLayerType()) {
        return fmt::format("{} {}", TurnsAsQuaternions(property) ? "quaternion" : "rotation",
                           RotationOrderName(property.GetRotationOrder()));
    }
    return Printable(property.GetName());
}

/// Gathers the rows of a tree of joints.
class RowCollector
{
  public:
    /// \param widestTree  columns of branches in front of a name; deeper joints stand no deeper.
    RowCollector(const Glyphs& glyphs, std::size_t widestTree) : mGlyphs(glyphs), mWidestTree(widestTree) {}

    std::vector<Row> Collect(const YFCurveNode& top)
    {
        for (int i = 0; i < top.GetCount(); ++i) {
            const YFCurveNode& node = *top.Get(i);
            if (!IsProperty(node)) {
                AddJoint(node, "", "");
                continue;
            }
            const std::size_t first = mRows.size();
            AddProperty(node, "", false);
            mRows[first].name = Printable(node.GetName());
            if (node.FCurveGet() != nullptr && node.GetDataType() == nullptr) mRows[first].kind = "curve";
        }
        return std::move(mRows);
    }

  private:
    static std::vector<const YFCurveNode*> JointsBelow(const YFCurveNode& node)
    {
        std::vector<const YFCurveNode*> joints;
        for (int i = 0; i < node.GetCount(); ++i) {
            if (!IsProperty(*node.Get(i))) joints.push_back(node.Get(i));
        }
        return joints;
    }

    /// \param head  what stands before the joint's name, \param tail before the lines below it.
    void AddJoint(const YFCurveNode& joint, const std::string& head, const std::string& tail)
    {
        const std::vector<const YFCurveNode*> children = JointsBelow(joint);
        const std::size_t first = mRows.size();
        for (int i = 0; i < joint.GetCount(); ++i) {
            if (IsProperty(*joint.Get(i))) AddProperty(*joint.Get(i), tail, !children.empty());
        }
        if (mRows.size() == first) mRows.push_back({});
        mRows[first].tree = head;
        mRows[first].name = Printable(joint.GetName());
        for (const YFCurveNode* child : children) {
            if (DisplayWidth(tail) >= mWidestTree) {
                AddJoint(*child, tail + std::string(mGlyphs.deeper), tail);
                continue;
            }
            const bool last = child == children.back();
            const std::string_view branch = last ? mGlyphs.lastBranch : mGlyphs.branch;
            AddJoint(*child, tail + std::string(branch), tail + std::string(last ? "   " : mGlyphs.trunk));
        }
    }

    void AddProperty(const YFCurveNode& property, const std::string& tail, bool hasChildren)
    {
        Row row;
        row.tree = tail + (hasChildren ? std::string(mGlyphs.trunk) : "");
        row.kind = KindOf(property);
        if (!HasAxes(property)) return AddComponents(property, std::move(row));
        row.axes = true;
        for (int i = 0; i < property.GetCount(); ++i) AddCurve(row, *property.Get(i));
        if (TurnsAsQuaternions(property)) row.curves = TurnSummaries(property);
        mRows.push_back(std::move(row));
    }

    /// Whether the components are X, Y and Z, which have columns of their own.
    static bool HasAxes(const YFCurveNode& property)
    {
        const int count = property.GetCount();
        if (count == 0 || count > static_cast<int>(kAxisNames.size())) return false;
        for (int i = 0; i < count; ++i) {
            if (std::string_view(property.Get(i)->GetName()) != kAxisNames[static_cast<std::size_t>(i)])
                return false;
        }
        return true;
    }

    /// A row for each curve, with its name.
    void AddComponents(const YFCurveNode& property, Row row)
    {
        if (property.FCurveGet() != nullptr) AddCurve(row, property);
        if (!row.curves.empty() || property.GetCount() == 0) mRows.push_back(row);
        for (int i = 0; i < property.GetCount(); ++i) {
            Row component;
            component.tree = row.tree;
            component.kind = Printable(property.Get(i)->GetName());
            if (property.GetParent()->GetParent() != nullptr)
                component.kind = row.kind + "/" + component.kind;
            AddCurve(component, *property.Get(i));
            mRows.push_back(std::move(component));
        }
    }

    static void AddCurve(Row& row, const YFCurveNode& component)
    {
        const YFCurve* curve = component.FCurveGet();
        if (curve == nullptr) return;
        row.curves.push_back(SummaryOf(*curve));
        row.keys += static_cast<std::size_t>(curve->KeyGetCount());
    }

    const Glyphs& mGlyphs;
    std::size_t mWidestTree;
    std::vector<Row> mRows;
};

/// The curve that moves most, by its place; nothing where none does.
std::optional<std::size_t> LiveliestOf(const Row& row)
{
    std::optional<std::size_t> liveliest;
    float extent = 0;
    for (std::size_t i = 0; i < row.curves.size(); ++i) {
        const float candidate = row.curves[i].Extent();
        if (!std::isfinite(candidate) || candidate <= extent) continue;
        liveliest = i;
        extent = candidate;
    }
    return liveliest;
}

/// Writes the rows in columns.
class TableWriter
{
  public:
    TableWriter(const ReportLook& look, const Glyphs& glyphs, const std::vector<Row>& rows,
                std::string nameHead)
        : mLook(look), mGlyphs(glyphs), mRows(rows), mNameHead(std::move(nameHead))
    {
        for (const Row& row : rows) {
            mNameWidth = std::max(mNameWidth, DisplayWidth(row.tree) + DisplayWidth(row.name));
            mKindWidth = std::max(mKindWidth, std::min(kWidestKind, DisplayWidth(row.kind)));
            mKeysWidth = std::max(mKeysWidth, GroupedText(static_cast<long long>(row.keys)).size());
            mAxes = std::max(mAxes, std::min<std::size_t>(row.curves.size(), 3));
        }
        mNameWidth = std::min(mNameWidth, kWidestName);
        ChooseColumns();
    }

    std::string Write()
    {
        WriteHead();
        for (const Row& row : mRows) WriteRow(row);
        return std::move(mText);
    }

  private:
    std::size_t Columns() const { return mLook.style.Columns(); }

    /// Of everything but the names.
    std::size_t OtherWidth() const
    {
        const std::size_t ranges = mLiveliestAlone ? kRangeWidth + 4 : mAxes * (kRangeWidth + 2);
        return 4 + (mKindWidth > 0 ? mKindWidth + 2 : 0) + mKeysWidth + ranges +
               (mSparks ? 4 + kSparkCells : 0);
    }

    /// Drops what does not fit: the courses, then all axes but the one that moves most, then ends of names.
    void ChooseColumns()
    {
        const std::size_t names = std::min(mNameWidth, kLeastName);
        mSparks = OtherWidth() + mNameWidth <= Columns();
        if (OtherWidth() + names > Columns() && mAxes > 1) {
            mLiveliestAlone = true;
            mSparks = true;
            mSparks = OtherWidth() + mNameWidth <= Columns();
        }
        const std::size_t room = Columns() > OtherWidth() ? Columns() - OtherWidth() : 0;
        mNameWidth = std::min(mNameWidth, room);
        if (mNameWidth >= names / 2 || mKindWidth == 0) return;
        // In the narrowest windows the names are more than what their rows are about.
        mKindWidth = 0;
        mSparks = false;
        mNameWidth = std::min(names, Columns() > OtherWidth() ? Columns() - OtherWidth() : 0);
    }

    void WriteHead()
    {
        mText += "  ";
        mText += mLook.style.Faint();
        mText += Padded(ClippedTo(mNameHead, mNameWidth), mNameWidth + 2) +
                 (mKindWidth > 0 ? Padded("property", mKindWidth + 2) : "");
        mText += fmt::format("{:>{}}", "keys", mKeysWidth);
        if (mLiveliestAlone) mText += Padded("     moves most", kRangeWidth + 4);
        for (std::size_t axis = mLiveliestAlone ? mAxes : 0; axis < mAxes; ++axis) {
            mText += "  ";
            mText += Padded(fmt::format("{:>8}", HeadOf(axis)), kRangeWidth);
        }
        if (mSparks && mAxes > 0) mText += "  course";
        EndLine();
    }

    /// The axis, unless none of the rows has axes.
    std::string HeadOf(std::size_t axis) const
    {
        const bool named = std::any_of(mRows.begin(), mRows.end(), [](const Row& row) { return row.axes; });
        if (!named) return "value";
        const bool others = std::any_of(mRows.begin(), mRows.end(),
                                        [](const Row& row) { return !row.axes && !row.curves.empty(); });
        return axis == 0 && others ? "X, value" : kAxisNames[axis];
    }

    void WriteRow(const Row& row)
    {
        mText += "  ";
        mText += mLook.style.Faint();
        mText += row.tree;
        mText += mLook.style.Plain();
        const std::size_t tree = DisplayWidth(row.tree);
        const std::size_t room = mNameWidth > tree ? mNameWidth - tree : 0;
        const std::string_view mark = mLook.unicode ? "…" : "<";
        mText += Padded(EndOf(row.name, room, mark), room + 2);
        if (row.curves.empty()) return EndLine();
        if (mKindWidth > 0) mText += Padded(EndOf(row.kind, mKindWidth, mark), mKindWidth + 2);
        mText += fmt::format("{:>{}}", GroupedText(static_cast<long long>(row.keys)), mKeysWidth);
        if (mLiveliestAlone) {
            const std::size_t axis = LiveliestOf(row).value_or(0);
            mText += row.axes && row.keys > 0 ? fmt::format("  {} ", kAxisNames[axis]) : "    ";
            WriteRange(row.curves[axis].range, row.axes ? axis : kAxisNames.size());
            if (mSparks) WriteSpark(row);
            return EndLine();
        }
        for (std::size_t axis = 0; axis < std::min(row.curves.size(), mAxes); ++axis) {
            mText += "  ";
            // No colour for what is not an axis.
            WriteRange(row.curves[axis].range, row.axes ? axis : kAxisNames.size());
        }
        if (mSparks) WriteSpark(row);
        EndLine();
    }

    void WriteRange(const std::optional<ValueRange>& range, std::size_t axis)
    {
        if (!range) {
            mText += Padded(std::string(6, ' ') + std::string(mGlyphs.missing), kRangeWidth);
            return;
        }
        const std::string least = ShortValue(range->least, range->Extent());
        const std::string greatest = ShortValue(range->greatest, range->Extent());
        // What moves by less than the digits show is rounding.
        const bool moves = range->Extent() > 0 && least != greatest;
        std::string text = fmt::format("{:>7}", least);
        if (moves) text += fmt::format(" {} {}", mGlyphs.range, greatest);
        mText += moves ? mLook.style.Axis(axis) : mLook.style.Faint();
        mText += Padded(text, kRangeWidth);
        mText += mLook.style.Plain();
    }

    /// The curve that moves most as a row of blocks, from its least to its greatest value.
    void WriteSpark(const Row& row)
    {
        const std::optional<std::size_t> liveliest = LiveliestOf(row);
        if (!liveliest) return;
        const std::size_t axis = *liveliest;
        const CurveSummary& curve = row.curves[axis];
        mText += "  ";
        mText += mLook.style.Axis(row.axes ? axis : kAxisNames.size());
        mText += row.axes ? kAxisNames[axis] : " ";
        mText += ' ';
        for (const float value : curve.course) {
            const float height = (value - curve.range->least) / curve.Extent();
            if (std::isnan(height)) {
                mText += ' ';
                continue;
            }
            const double level = std::clamp(static_cast<double>(height) * 8.0, 0.0, 7.0);
            mText += mGlyphs.levels[static_cast<std::size_t>(level)];
        }
        mText += mLook.style.Plain();
    }

    void EndLine()
    {
        mText += mLook.style.Plain();
        mText.erase(mText.find_last_not_of(' ') + 1);
        mText += '\n';
    }

    const ReportLook& mLook;
    const Glyphs& mGlyphs;
    const std::vector<Row>& mRows;
    std::string mNameHead;
    std::size_t mNameWidth = 5;
    std::size_t mKindWidth = 8;
    std::size_t mKeysWidth = 4;
    std::size_t mAxes = 0;
    bool mSparks = true;
    bool mLiveliestAlone = false;
    std::string mText;
};

std::string TimeLine(const Scene& scene, const std::optional<TimeSpan>& span)
{
    std::string rate = fmt::format("{} frames/s", RateText(scene.rate));
    if (!scene.frameTime.empty()) rate += fmt::format(" (frame time {})", scene.frameTime);
    if (!span) return fmt::format("no frames, {}", rate);
    return fmt::format("{} to {} s, {} at {}", ShortSecondsText(span->start), ShortSecondsText(span->stop),
                       Counted(static_cast<std::size_t>(FrameCount(span, scene.rate)), "frame", "frames"),
                       rate);
}

/// The span as time codes.
std::string CodesLine(const TimeSpan& span, FrameRate rate)
{
    return fmt::format("{} to {}", TimeCodeText(span.start, rate), TimeCodeText(span.stop, rate));
}

std::string MemoryLine(const Scene& scene, const Totals& totals)
{
    std::string text = BytesText(static_cast<long long>(scene.curveBytes));
    if (totals.keys > 0) {
        text += fmt::format(", {:.1f} bytes a key",
                            static_cast<double>(scene.curveBytes) / static_cast<double>(totals.keys));
    }
    return text;
}

bool HasTurns(const std::vector<SelectedCurve>& curves)
{
    return std::any_of(curves.begin(), curves.end(),
                       [](const SelectedCurve& selected) { return TurnsAsQuaternions(*selected.property); });
}

/// "1 Walk; the file has 2 Run, 3 Jump too".
std::string AnimationsLine(const Scene& scene)
{
    const auto numbered = [&scene](std::size_t i) {
        const std::string number = fmt::format("{}", i + 1);
        return scene.animations[i] == "animation " + number ? number : number + " " + scene.animations[i];
    };
    std::string others;
    for (std::size_t i = 0; i < scene.animations.size(); ++i) {
        if (i == scene.animation) continue;
        others += (others.empty() ? "; the file has " : ", ") + numbered(i);
    }
    if (!others.empty()) others += " too";
    return fmt::format("animation {}{}", numbered(scene.animation), others);
}

}  // namespace

std::string TextReport(const Scene& scene, const ReportLook& look)
{
    const Glyphs& glyphs = look.unicode ? kUnicode : kAscii;
    const std::optional<TimeSpan> span = KeySpan(scene);
    const std::vector<SelectedCurve> curves = SelectCurves(scene, {});
    const Totals totals = TotalsOf(curves);
    const Style& style = look.style;
    const std::string skeleton =
        scene.HasSkeleton() ? fmt::format("{}, {}", Counted(scene.skeleton.JointCount(), "joint", "joints"),
                                          Counted(scene.skeleton.EndSiteCount(), "end site", "end sites"))
                            : "no skeleton";
    const std::string kind = fmt::format(": {}, {}", FormatName(scene.format), skeleton);
    const std::size_t room = RoomBeside(DisplayWidth(kind), style.Columns());
    std::string text =
        fmt::format("{}{}{}{}\n\n", style.Bold(), EndOf(scene.file, room), style.Plain(), kind);
    const auto line = [&](std::string_view label, const std::string& value) {
        text += fmt::format("  {}{:<8}{}{}\n", style.Faint(), label, style.Plain(),
                            Wrapped(value, style.Columns(), 10, 10));
    };
    line("time", TimeLine(scene, span));
    if (span) line("codes", CodesLine(*span, scene.rate));
    if (!scene.animations.empty()) line("taken", AnimationsLine(scene));
    line("curves",
         totals.withKeys == totals.curves
             ? GroupedText(static_cast<long long>(totals.curves))
             : fmt::format("{}, {} of them with keys", GroupedText(static_cast<long long>(totals.curves)),
                           GroupedText(static_cast<long long>(totals.withKeys))));
    line("keys", GroupedText(static_cast<long long>(totals.keys)));
    line("memory", MemoryLine(scene, totals));
    if (const std::size_t layers = scene.layers.Layers().size(); layers > 1) {
        line("layers", fmt::format("{}; the table has the base layer, 'yfcurve layers' the others", layers));
    }
    const std::vector<Row> rows = RowCollector(glyphs, style.Columns() / 4).Collect(*scene.root);
    text += '\n';
    text += TableWriter(look, glyphs, rows, scene.HasSkeleton() ? "joint" : "node").Write();
    std::string note = "ranges of key values: positions in the file's units, rotations in degrees";
    if (HasTurns(curves)) note += "; quaternion XYZ: a rotation as quaternions, with the angles that play";
    text += fmt::format("\n  {}{}{}\n", style.Faint(), Wrapped(note, style.Columns(), 2, 2), style.Plain());
    return text;
}

}  // namespace program
