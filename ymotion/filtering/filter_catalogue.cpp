#include "ymotion/filtering/filter_catalogue.h"

#include <string_view>

#include <fmt/format.h>

#include "ybaselib/ypropertydescription.h"
#include "ymotion/filtering/filter_span.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/property_report.h"
#include "ymotion/text/suggestion.h"

namespace ymotion {
namespace {

constexpr std::string_view kPrefix = "YFCurveFilter";

/// Letters and digits alone, in lower case.
std::string Bare(std::string_view name)
{
    std::string bare;
    for (const char c : name) {
        const char lower = LowerCase(c);
        if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9')) bare += lower;
    }
    return bare;
}

/// What is left of a name without what the names of all filters have, so that "KeySyncFilter" of a message
/// and "Filter Key-Sync" are one.
std::string Core(std::string_view name)
{
    std::string core = Bare(name);
    for (const std::string_view common : {"yfcurvefilter", "fcurve", "filter"}) {
        for (std::size_t at = core.find(common); at != std::string::npos; at = core.find(common))
            core.erase(at, common.size());
    }
    return core;
}

bool HasName(const YClassDefinition& definition, const std::string& core)
{
    return !core.empty() && (core == Core(definition.GetName()) || core == Core(ShortName(definition)) ||
                             core == Core(MakeFilter(definition)->GetName()));
}

/// What a parameter takes, for the message: "a number (> 0)".
std::string Expected(const YProperty& property)
{
    const YPropertyDescription& description = *property.GetDescription();
    const std::string range = RangeText(description);
    if (!description.GetOptions().names.IsEmpty()) return fmt::format("one of {}", range);
    const bool isLength = description.GetOptions().IsLength();
    const std::string time =
        fmt::format("{}{}", kTimeForms, isLength ? " or ticks (@100)" : ", ticks (@100), inf or -inf");
    const std::string kinds[] = {"true or false",
                                 "a whole number",
                                 "a number",
                                 time,
                                 "three numbers (1,0,-2.5)",
                                 "three flags (true,false,true)"};
    const std::string& kind = kinds[description.GetDefault().index()];
    return range.empty() ? kind : fmt::format("{}, {}", kind, range);
}

bool IsTime(const YProperty& parameter)
{
    return std::holds_alternative<YTime>(parameter.GetDescription()->GetDefault());
}

/// Sets a time that is given as ticks ("@123") or as an infinity.
/// \return  false where the value is neither.
bool SetTimeOfAnotherForm(YProperty& parameter, const std::string& value)
{
    const bool isOther = value.starts_with('@') || value == "inf" || value == "-inf";
    return isOther && parameter.SetString(value.c_str());
}

/// \param name  of the parameter, for messages
bool SetTime(YProperty& parameter, const std::string& name, const std::string& value,
             std::optional<FrameRate> rate)
{
    const std::optional<WrittenTime> time = ParseTime(value);
    if (!time) return SetTimeOfAnotherForm(parameter, value);
    if (!rate && time->IsCounted()) return true;
    const YTime meant = time->At(rate.value_or(FrameRate{}), name);
    return parameter.SetString(fmt::format("@{}", meant.Get()).c_str());
}

}  // namespace

std::vector<const YClassDefinition*> FilterClasses()
{
    std::vector<const YClassDefinition*> classes;
    for (const YClassDefinition* c = YClassRegistry::GetFirst(); c != nullptr;
         c = YClassRegistry::GetNext(*c)) {
        const YClassOptions& options = c->GetOptions();
        if (c->IsDerivedFrom(YFCurveFilter::StaticClass()) && options.create != nullptr && !options.pattern)
            classes.push_back(c);
    }
    return classes;
}

std::unique_ptr<YFCurveFilter> MakeFilter(const YClassDefinition& definition)
{
    std::unique_ptr<YFCurveFilter> filter(YFCurveFilterCreate(definition.GetName()));
    if (filter == nullptr) throw std::bad_alloc();
    return filter;
}

std::string ShortName(const YClassDefinition& definition)
{
    std::string_view name = definition.GetName();
    if (name.starts_with(kPrefix)) name.remove_prefix(kPrefix.size());
    if (name.starts_with('_')) name.remove_prefix(1);
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        // A word starts at a capital that is not one of an abbreviation's.
        const bool isStart = i > 0 && IsUpper(name[i]) && !IsUpper(name[i - 1]);
        if (isStart) text += '-';
        text += LowerCase(name[i]);
    }
    return text;
}

const YClassDefinition& FindFilter(const std::string& name)
{
    const std::string core = Core(name);
    std::vector<std::string> shortNames;
    for (const YClassDefinition* definition : FilterClasses()) {
        if (HasName(*definition, core)) return *definition;
        shortNames.push_back(ShortName(*definition));
    }
    throw Failure(fmt::format("there is no filter {}{}", Quoted(name),
                              DidYouMean(name, shortNames, "'yfcurve filters' lists them")),
                  kExitUsage);
}

std::vector<const YProperty*> ParametersOf(YFCurveFilter& filter)
{
    const YPropertyList& list = filter.GetPropertyList();
    std::vector<const YProperty*> parameters;
    for (int i = 0; i < list.GetCount(); ++i) {
        if (filter.HasSpan() || !IsOfSpan(list.Get(i)->GetName())) parameters.push_back(list.Get(i));
    }
    return parameters;
}

std::vector<const YProperty*> NeededParametersOf(YFCurveFilter& filter)
{
    std::vector<const YProperty*> needed = ParametersOf(filter);
    std::erase_if(needed, [](const YProperty* p) { return !p->GetDescription()->GetOptions().needed; });
    return needed;
}

std::string NamesText(const std::vector<const YProperty*>& parameters)
{
    std::string text;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const bool last = i + 1 == parameters.size();
        text.append(i == 0 ? "" : last ? " or " : ", ").append(parameters[i]->GetName());
    }
    return text;
}

std::vector<std::pair<std::string, std::string>> ParameterValues(YFCurveFilter& filter)
{
    std::vector<std::pair<std::string, std::string>> values;
    for (const YProperty* parameter : ParametersOf(filter)) {
        char text[YPropertyTextSize];
        parameter->GetString(text, sizeof text);
        values.emplace_back(parameter->GetName(), text);
    }
    return values;
}

void SetFilterParameter(YFCurveFilter& filter, const std::string& assignment, std::optional<FrameRate> rate)
{
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos)
        throw Failure(fmt::format("{} sets no parameter; write NAME=VALUE", Quoted(assignment)), kExitUsage);
    const std::string name = assignment.substr(0, equals);
    const std::string value = assignment.substr(equals + 1);
    YProperty* parameter = filter.FastFindPropertyByName(name.c_str());
    const std::string shortName = ShortName(*filter.GetClassDefinition());
    if (parameter == nullptr) {
        std::vector<std::string> names;
        for (const YProperty* known : ParametersOf(filter)) names.emplace_back(known->GetName());
        throw Failure(
            fmt::format("{} has no parameter {}{}", shortName, Quoted(name),
                        DidYouMean(name, names, fmt::format("'yfcurve filters {}' lists them", shortName))),
            kExitUsage);
    }
    const std::string title = fmt::format("{} of {}", parameter->GetName(), shortName);
    const bool isSet =
        IsTime(*parameter) ? SetTime(*parameter, title, value, rate) : parameter->SetString(value.c_str());
    if (isSet) return;
    throw Failure(
        fmt::format("{} is no value for {}; it takes {}", Quoted(value), title, Expected(*parameter)),
        kExitUsage);
}

}  // namespace ymotion
