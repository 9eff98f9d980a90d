#include "ymotion/tables/table_writer.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

std::string JsonText(const std::string& text)
{
    return nlohmann::json(text).dump();
}

}  // namespace

const std::vector<std::string>& TableEndings()
{
    static const std::vector<std::string> endings{".csv", ".tsv", ".json"};
    return endings;
}

TableFormat TableFormatOf(std::string_view ending)
{
    const auto found = std::find(TableEndings().begin(), TableEndings().end(), ending);
    return static_cast<TableFormat>(found - TableEndings().begin());
}

std::string TableName(std::string_view head, TableFormat format)
{
    std::string text = Printable(head);
    if (format == TableFormat::Json) return JsonText(text);
    const bool isFormula = !text.empty() && std::string_view("=+-@").find(text.front()) != std::string::npos;
    const char* const special = format == TableFormat::Csv ? ",\"\r\n" : "\t\"\r\n";
    if (!isFormula && text.find_first_of(special) == std::string::npos) return text;
    std::string field = isFormula ? "\"'" : "\"";
    for (const char c : text) field.append(c == '"' ? 2 : 1, c);
    return field += '"';
}

void TableWriter::Begin(const Scene& scene, FrameRate rate, bool hasFrames,
                        const std::vector<std::string>& heads)
{
    std::vector<std::string> names = heads;
    names.insert(names.begin(), "time");
    if (hasFrames) names.insert(names.begin(), "frame");
    mLine.clear();
    if (mFormat == TableFormat::Json) {
        mLine = fmt::format("{{\n\"file\": {},\n\"rate\": \"{}/{}\",\n\"columns\": [",
                            JsonText(Printable(scene.file)), rate.numerator, rate.denominator);
    }
    for (const std::string& name : names) {
        mLine += TableName(name, mFormat);
        mLine += mFormat == TableFormat::Tsv ? '\t' : ',';
    }
    mLine.pop_back();
    mLine += mFormat == TableFormat::Json ? "],\n\"rows\": [" : "\n";
    mOut.Write(mLine);
}

void TableWriter::Row(std::optional<std::int64_t> frame, YTime time, std::span<const float> values)
{
    const bool isJson = mFormat == TableFormat::Json;
    const char separator = mFormat == TableFormat::Tsv ? '\t' : ',';
    mLine.clear();
    if (isJson) mLine = mIsFirst ? "\n[" : ",\n[";
    mIsFirst = false;
    if (frame) mLine.append(std::to_string(*frame)) += separator;
    AppendSeconds(mLine, time);
    for (const float value : values) {
        mLine += separator;
        if (isJson && !std::isfinite(value)) {
            mLine += "null";
        } else {
            AppendFloat(mLine, value);
        }
    }
    mLine += isJson ? "]" : "\n";
    mOut.Write(mLine);
}

void TableWriter::End()
{
    if (mFormat == TableFormat::Json) mOut.Write("\n]\n}\n");
}

}  // namespace ymotion
