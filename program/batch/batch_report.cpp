#include "program/batch/batch_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <tuple>

#include <fmt/format.h>

#include "program/scene_work.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/filtering/world_report.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/html.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/percent.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr std::size_t kMostRows = 5000;  // that a browser still sorts at once
constexpr std::size_t kPictures = 6;

/// A number that has become none is null.
double NumberOf(const Json& number)
{
    return number.is_number() ? number.get<double>() : std::numeric_limits<double>::infinity();
}

double ShareOf(double length, double height)
{
    return height > 0 && std::isfinite(height) ? length / height : length;
}

void TakeWorld(BatchRow& row, const Json& world)
{
    row.error = NumberOf(world.at("largest"));
    row.joint = world.at("joint");
    row.when = world.at("time").get<double>();
    const double height = NumberOf(world.at("height"));
    row.share = ShareOf(row.error, height);
    for (const Json& foot : world.at("feet")) {
        if (foot.at("contacts") == 0) continue;  // what never stands does not slide
        const double after = NumberOf(foot.at("slideAfter"));
        FootRow slide{foot.at("foot"), NumberOf(foot.at("slideBefore")), after, ShareOf(after, height)};
        if (!row.foot || slide.after > row.foot->after) row.foot = std::move(slide);
    }
}

BatchRow RowOf(const BatchTask& task, const BatchRecords& records, const BatchWork& work)
{
    BatchRow row;
    row.task = task;
    row.record = records.Find(task, work.mark);
    const Json line = row.record == nullptr ? Json() : records.LineOf(task, *row.record);
    if (!line.is_object()) return row;
    row.state = StateIn(line);
    row.message = line.at("message");
    row.notes = line.value("notes", std::vector<std::string>());
    const Json& report = line.at("report");
    if (!report.is_object()) return row;
    row.keysBefore = report.at("keysBefore");
    row.keysAfter = report.at("keysAfter");
    if (row.IsDone() && report.contains("world")) TakeWorld(row, report.at("world"));
    for (const Json& step : report.at("filters")) {
        if (!step.contains("warning")) continue;
        row.warnings.push_back(fmt::format("{}: {}", step.at("filter").get<std::string>(),
                                           step.at("warning").get<std::string>()));
    }
    return row;
}

int RankOf(const BatchRow& row)
{
    if (row.state == BatchState::Failed) return 0;
    if (row.state == BatchState::Refused) return 1;
    return row.IsDone() ? 3 : 2;
}

bool IsWorse(const BatchRow& a, const BatchRow& b)
{
    return std::tuple(RankOf(a), -a.share, a.task.input) < std::tuple(RankOf(b), -b.share, b.task.input);
}

constexpr std::array kHeadings{"file",
                               "state",
                               "keys before",
                               "keys after",
                               "largest error in the world",
                               "where",
                               "foot that slides most"};
constexpr std::size_t kTextColumns = 2;

std::string KindOf(std::size_t column)
{
    return column < kTextColumns ? " class=\"text\"" : "";
}

/// A row of the table, cell by cell.
class RowText
{
  public:
    /// \param value  that the column is sorted by; empty for a cell that goes below all others.
    void Add(const std::string& html, const std::string& value = {})
    {
        mText += fmt::format("<td{} data-head=\"{}\"{}>{}</td>", KindOf(mColumn), kHeadings[mColumn],
                             value.empty() ? "" : " data-v=\"" + HtmlEscaped(value) + "\"", html);
        ++mColumn;
    }
    void AddNumber(const std::string& text, double number)
    {
        Add(HtmlEscaped(text), std::isfinite(number) ? fmt::format("{:.9g}", number) : "1e999");
    }
    std::string Finish()
    {
        while (mColumn < kHeadings.size()) Add("");
        return mText + "</tr>\n";
    }

  private:
    std::string mText = "<tr>";
    std::size_t mColumn = 0;
};

/// A link from the folder of a page to a file.
std::string LinkTo(const std::string& path, const std::string& page)
{
    std::error_code ignored;
    const fs::path folder = fs::absolute(page, ignored).lexically_normal().parent_path();
    return PercentEncoded(fs::absolute(path, ignored).lexically_normal().lexically_relative(folder).string());
}

std::string TableRow(const BatchRow& row, const BatchWork& work, const std::string& page)
{
    RowText text;
    std::string name = HtmlEscaped(row.task.name);
    const bool hasPage = !work.pages.empty() && row.IsDone();
    if (hasPage) name = fmt::format("<a href=\"{}\">{}</a>", LinkTo(work.PageOf(row.task.name), page), name);
    text.Add(name, row.task.name);
    std::string told = NameOf(row.state);
    if (!row.message.empty()) told += ": " + row.message;
    text.Add(HtmlEscaped(told), told);
    if (!row.IsDone()) return text.Finish();
    text.AddNumber(GroupedText(row.keysBefore), static_cast<double>(row.keysBefore));
    text.AddNumber(GroupedText(row.keysAfter), static_cast<double>(row.keysAfter));
    if (row.joint.empty()) return text.Finish();
    text.AddNumber(DistanceText(row.error), row.share);
    text.AddNumber(fmt::format("{} at {} s", row.joint, ShortSecondsText(YTime::FromSeconds(row.when))),
                   row.when);
    if (!row.foot) {
        text.Add("-");
        return text.Finish();
    }
    text.AddNumber(fmt::format("{}: {}, then {}", row.foot->name, ErrorText(row.foot->before, ""),
                               DistanceText(row.foot->after)),
                   row.foot->share);
    return text.Finish();
}

constexpr std::string_view kSorting =
    "<script>document.querySelectorAll('th').forEach((head,column)=>head.onclick=()=>{"
    "const body=head.closest('table').tBodies[0],sign=head.dataset.sign=-(head.dataset.sign||1);"
    "const of=row=>row.cells[column].dataset.v;"
    "const number=text=>text===undefined?-Infinity:Number(text);"
    "const rows=[...body.rows].slice(1);"
    "rows.sort((a,b)=>{const x=of(a),y=of(b);"
    "return "
    "sign*(head.className==='text'?String(x).localeCompare(String(y)):Math.sign(number(x)-number(y))||0)});"
    "body.append(...rows)})</script>\n";

/// How a file was and is, made again from its input.
std::string PictureOf(const BatchRow& row, const BatchWork& work)
{
    try {
        Scene scene = LoadScene(row.task.input, {});
        std::vector<FilterStep> steps = ParseSteps(work.steps, &scene);
        const FilterOutcome outcome = ApplySteps(scene, steps, work.patterns);
        return FilterPicture(scene, outcome);
    } catch (const Failure&) {
        return {};  // the input has gone since
    }
}

}  // namespace

BatchReport::BatchReport(const std::vector<BatchTask>& tasks, const BatchRecords& records,
                         const BatchWork& work)
    : mRecords(records), mWork(work)
{
    mRows.reserve(tasks.size());
    for (const BatchTask& task : tasks) mRows.push_back(RowOf(task, records, work));
    std::sort(mRows.begin(), mRows.end(), IsWorse);
}

std::size_t BatchReport::Count(BatchState state) const
{
    return static_cast<std::size_t>(std::count_if(
        mRows.begin(), mRows.end(), [state](const BatchRow& row) { return row.state == state; }));
}

void BatchReport::WriteJson(const std::string& path) const
{
    OutputFile file(path);
    file.Write("[");
    for (const BatchRow& row : mRows) {
        Json json{{"name", PercentEncoded(row.task.name)},
                  {"input", Printable(row.task.input)},
                  {"output", Printable(row.task.output)},
                  {"state", NameOf(row.state)}};
        if (!row.message.empty()) json["message"] = row.message;
        if (!row.notes.empty()) json["notes"] = row.notes;
        const Json line = row.record == nullptr ? Json() : mRecords.LineOf(row.task, *row.record);
        if (line.is_object() && line.at("report").is_object()) json["report"] = line.at("report");
        file.Write(&row == &mRows.front() ? "\n" : ",\n");
        file.Write(json.dump(-1, ' ', false, Json::error_handler_t::replace));
    }
    file.Write("\n]\n");
    file.Commit();
}

std::string BatchReport::Pictures() const
{
    std::string text;
    std::size_t count = 0;
    for (const BatchRow& row : mRows) {
        if (count == kPictures) break;
        if (!row.IsDone() || !(row.share > 0)) continue;
        const std::string picture = PictureOf(row, mWork);
        if (picture.empty()) continue;
        ++count;
        text += fmt::format("<h3>{}: {}, {}</h3>\n<p><code>{}</code></p>\n{}\n", HtmlEscaped(row.task.name),
                            DistanceText(row.error), HtmlEscaped(row.joint),
                            HtmlEscaped(CommandFor(row.task, mWork)), picture);
    }
    if (text.empty()) return text;
    return "<h2>The worst</h2>\n<p class=\"note\">The property that changed most. Grey is what was.</p>\n" +
           text;
}

void BatchReport::WritePage(const std::string& path, const std::string& title) const
{
    OutputFile file(path);
    const std::size_t done = Count(BatchState::Filtered) + Count(BatchState::NothingToDo);
    file.Write(fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n<title>{0}</title>\n"
        "<style>{1}th{{cursor:pointer}}</style>\n</head>\n<body>\n"
        "<h1>{0}: {2} of {3} files filtered, {4} refused, {5} failed</h1>\n",
        HtmlEscaped(title), kPageStyle, done, mRows.size(), Count(BatchState::Refused),
        Count(BatchState::Failed)));
    if (const std::size_t left = Count(BatchState::NotDone); left > 0)
        file.Write(fmt::format("<p><strong>{} are not done.</strong></p>\n", left));
    file.Write(
        "<p class=\"note\">Worst first: errors and slides are compared as parts of the height of their "
        "figures. A "
        "click on a heading sorts by it, and back.</p>\n"
        "<div class=\"scroll\"><table>\n<tr>");
    for (std::size_t i = 0; i < kHeadings.size(); ++i)
        file.Write(fmt::format("<th{}>{}</th>", KindOf(i), kHeadings[i]));
    file.Write("</tr>\n");
    for (std::size_t i = 0; i < std::min(kMostRows, mRows.size()); ++i)
        file.Write(TableRow(mRows[i], mWork, path));
    file.Write("</table></div>\n");
    if (mRows.size() > kMostRows) {
        file.Write(fmt::format("<p class=\"note\">and {} more; --json has all</p>\n",
                               GroupedText(static_cast<long long>(mRows.size() - kMostRows))));
    }
    file.Write(Pictures());
    file.Write(kSorting);
    file.Write(fmt::format("<p class=\"note\">yfcurve {}</p>\n</body>\n</html>\n", YFCURVE_VERSION));
    file.Commit();
}

void BatchReport::WriteTimes(const std::string& path) const
{
    OutputFile file(path);
    file.Write("file,milliseconds,host,finished\n");
    for (const BatchRow& row : mRows) {
        const Json line = row.record == nullptr ? Json() : mRecords.LineOf(row.task, *row.record);
        if (!line.is_object()) continue;
        const Json& run = line.at("run");
        file.Write(fmt::format("{},{:.3f},{},{}\n", PercentEncoded(row.task.name),
                               run.value("milliseconds", 0.0), run.at("host").get<std::string>(),
                               run.at("finished").get<std::int64_t>()));
    }
    file.Commit();
}

}  // namespace program
