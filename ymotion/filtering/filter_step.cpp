#include "ymotion/filtering/filter_step.h"

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>
#include <variant>

#include <fmt/format.h>

#include "yfcurve/yfcurvefilterbutterworth.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_span.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"

namespace ymotion {
namespace {

bool IsNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

/// Whether a text starts with "NAME=".
bool StartsAssignment(std::string_view text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), IsNameCharacter);
    return end != text.begin() && end != text.end() && *end == '=';
}

std::vector<std::string> Assignments(std::string_view text)
{
    std::vector<std::string> assignments;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != ',' || !StartsAssignment(text.substr(i + 1))) continue;
        assignments.emplace_back(text.substr(start, i - start));
        start = i + 1;
    }
    assignments.emplace_back(text.substr(start));
    return assignments;
}

bool IsGiven(const YProperty& parameter, const std::vector<std::string>& assignments)
{
    return std::any_of(assignments.begin(), assignments.end(), [&](const std::string& assignment) {
        return EqualsNoCase(assignment.substr(0, assignment.find('=')), parameter.GetName());
    });
}

void CheckNeeded(const FilterStep& step, const std::vector<std::string>& assignments)
{
    const std::vector<const YProperty*> needed = NeededParametersOf(*step.filter);
    if (needed.empty() || std::any_of(needed.begin(), needed.end(), [&](const YProperty* parameter) {
            return IsGiven(*parameter, assignments);
        })) {
        return;
    }
    throw Failure(
        fmt::format("{0} does nothing without {1}; write {0}:{2}=..., 'yfcurve filters {0}' says what "
                    "it takes",
                    step.name, NamesText(needed), needed.front()->GetName()),
        kExitUsage);
}

/// Checks the span of a step, if it is known: times in frames are not before there is a rate.
void CheckSpanOf(const FilterStep& step, const std::vector<std::string>& assignments, bool knowsRate)
{
    bool isKnown = true;
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        const YProperty* parameter =
            step.filter->FastFindPropertyByName(assignment.substr(0, equals).c_str());
        if (!IsOfSpan(parameter->GetName())) continue;
        if (!step.filter->HasSpan()) {
            throw Failure(
                fmt::format("{0} does nothing with {1}; leave it out, 'yfcurve filters {0}' says what "
                            "it takes",
                            step.name, parameter->GetName()),
                kExitUsage);
        }
        const std::optional<WrittenTime> time = ParseTime(assignment.substr(equals + 1));
        isKnown = isKnown && (knowsRate || !time || !time->IsCounted());
    }
    if (isKnown) CheckSpan(*step.filter);
}

/// A rate, or a time in seconds.
double NumberOf(const YFCurveFilter& filter, const YPropertyDescription& description)
{
    const YPropertyValue value = description.GetAccess().read(filter);
    if (const auto* time = std::get_if<YTime>(&value)) return time->GetSecondDouble();
    const auto* rate = std::get_if<double>(&value);
    return rate != nullptr ? *rate : 0.0;
}

std::unique_ptr<YFCurveFilter> MakeStepFilter(const YClassDefinition& definition)
{
    std::unique_ptr<YFCurveFilter> filter = MakeFilter(definition);
    // So that a constant comes out as it is, whatever its value.
    if (auto* lowPass = dynamic_cast<YFCurveFilterButterworth*>(filter.get())) {
        lowPass->SetRestsOnFirstSample(true);
    }
    return filter;
}

FilterStep ParseStep(const std::string& text, std::optional<FrameRate> rate)
{
    const std::size_t colon = text.find(':');
    const YClassDefinition& definition = FindFilter(text.substr(0, colon));
    FilterStep step{ShortName(definition), {}, MakeStepFilter(definition), {}};
    std::vector<std::string> assignments;
    if (colon != std::string::npos) {
        step.settings = text.substr(colon + 1);
        assignments = Assignments(step.settings);
    }
    for (const std::string& assignment : assignments) SetFilterParameter(*step.filter, assignment, rate);
    CheckNeeded(step, assignments);
    CheckSpanOf(step, assignments, rate.has_value());
    for (const YProperty* parameter : ParametersOf(*step.filter)) {
        const YPropertyDescription& description = *parameter->GetDescription();
        if (!description.GetOptions().ofFrames || IsGiven(*parameter, assignments)) continue;
        step.ofFrames.push_back(fmt::format("{} is {:.6g} {}", parameter->GetName(),
                                            NumberOf(*step.filter, description),
                                            description.GetOptions().unit));
    }
    return step;
}

}  // namespace

std::unique_ptr<YFCurveFilter> CopyOf(YFCurveFilter& filter)
{
    std::unique_ptr<YFCurveFilter> copy = MakeStepFilter(*filter.GetClassDefinition());
    YPropertyList& parameters = filter.GetPropertyList();
    YPropertyList& copied = copy->GetPropertyList();
    if (copied.GetCount() != parameters.GetCount()) throw std::bad_alloc();
    for (int i = 0; i < parameters.GetCount(); ++i) {
        YPropertyValue value;
        if (parameters.Get(i)->ReadValue(value)) copied.Get(i)->WriteValue(value);
    }
    return copy;
}

std::vector<FilterStep> ParseSteps(const std::vector<std::string>& texts, const Scene* scene)
{
    std::optional<FramesOf> frames;
    std::optional<FrameRate> rate;
    if (scene != nullptr) {
        frames.emplace(*scene);
        rate = scene->rate;
    }
    std::vector<FilterStep> steps;
    for (const std::string& text : texts) steps.push_back(ParseStep(text, rate));
    return steps;
}

}  // namespace ymotion
