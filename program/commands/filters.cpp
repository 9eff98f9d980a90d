#include <unistd.h>

#include <memory>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/terminal.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/property_report.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

struct FiltersOptions
{
    std::string name;
    bool json = false;
};

constexpr const char* kScopeNames[] = {"curve", "property", "transform", "branch"};

const char* ScopeName(const YFCurveFilter& filter)
{
    return kScopeNames[static_cast<int>(filter.GetScope())];
}

std::string FilterText(const YClassDefinition& definition, const Style& style)
{
    const auto filter = MakeFilter(definition);
    const std::string name = ShortName(definition);
    const std::string scope =
        fmt::format("(\"{}\", works on a {} at a time)", filter->GetName(), ScopeName(*filter));
    const std::vector<const YProperty*> needed = NeededParametersOf(*filter);
    std::string summary = definition.GetOptions().summary;
    if (!needed.empty()) summary += fmt::format("; needs {}", NamesText(needed));
    return fmt::format("{}{}{}  {}{}{}\n  {}\n{}", style.Bold(), name, style.Plain(), style.Faint(),
                       Wrapped(scope, style.Columns(), 2, name.size() + 2), style.Plain(),
                       Wrapped(summary, style.Columns(), 2, 2), PropertyTable(ParametersOf(*filter), style));
}

Json FilterJson(const YClassDefinition& definition)
{
    const auto filter = MakeFilter(definition);
    Json json;
    json["name"] = ShortName(definition);
    json["class"] = definition.GetName();
    json["displayName"] = filter->GetName();
    json["summary"] = definition.GetOptions().summary;
    json["scope"] = ScopeName(*filter);
    json["parameters"] = Json::array();
    for (const YProperty* parameter : ParametersOf(*filter))
        json["parameters"].push_back(PropertyJson(*parameter));
    return json;
}

void RunFilters(const FiltersOptions& options)
{
    std::vector<const YClassDefinition*> classes;
    if (options.name.empty()) {
        classes = FilterClasses();
    } else {
        classes.push_back(&FindFilter(options.name));
    }
    const Style style = StyleOf(STDOUT_FILENO);
    std::string text;
    Json json = Json::array();
    for (const YClassDefinition* definition : classes) {
        if (options.json) {
            json.push_back(FilterJson(*definition));
        } else {
            text.append(text.empty() ? "" : "\n").append(FilterText(*definition, style));
        }
    }
    SaveText("-", options.json ? json.dump(2) + "\n" : text);
}

}  // namespace

void AddFiltersCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<FiltersOptions>();
    CLI::App* command = program.add_subcommand("filters", "List the filters and their parameters");
    command->add_option("NAME", options->name, "the filter to describe (default: all)")->type_name("");
    AddJsonFlag(*command, options->json);
    command->footer(
        "The columns are parameter, type, default, range and meaning. Times are printed in seconds;\n"
        "taken are also frames (30f) and time codes (00:00:01:00) at the rate of the file that is filtered,\n"
        "ticks (@46186158000), inf and -inf. A filter that works on a property sees all its curves\n"
        "at once, such as the three of a rotation. Defaults that go by \"the scene's rate\" and\n"
        "\"the scene's frame\" are those of that file.\n"
        "\n"
        "Examples:\n"
        "  yfcurve filters\n"
        "  yfcurve filters Butterworth\n"
        "  yfcurve filters --json | jq '.[] | {name, summary}'");
    command->callback([options, &chosen] { chosen = [options] { RunFilters(*options); }; });
}

}  // namespace program
