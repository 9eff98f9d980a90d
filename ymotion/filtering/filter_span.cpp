#include "ymotion/filtering/filter_span.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <variant>

#include <fmt/format.h>

#include "ybaselib/ypropertydescription.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/number_text.h"

namespace ymotion {
namespace {

constexpr std::array<const char*, 2> kNames = {"Start", "Stop"};

/// The span; nothing where neither end was set, or neither matters.
std::optional<TimeSpan> SetSpanOf(YFCurveFilter& filter)
{
    if (!filter.HasSpan()) return std::nullopt;
    const std::unique_ptr<YFCurveFilter> unset = MakeFilter(*filter.GetClassDefinition());
    std::array<YTime, 2> ends;
    bool isSet = false;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        const YProperty& end = *filter.FastFindPropertyByName(kNames[i]);
        const auto read = end.GetDescription()->GetAccess().read;
        ends[i] = std::get<YTime>(read(filter));
        isSet = isSet || ends[i] != std::get<YTime>(read(*unset));
    }
    if (!isSet) return std::nullopt;
    return TimeSpan{ends[0], ends[1]};
}

std::optional<TimeSpan> KeySpanOf(const std::vector<ChosenProperty>& chosen)
{
    std::optional<TimeSpan> all;
    for (const ChosenProperty& property : chosen) {
        for (const YFCurve* curve : property.curves) {
            const std::optional<TimeSpan> own = KeySpan(*curve);
            if (!own) continue;
            const TimeSpan before = all.value_or(*own);
            all = {std::min(before.start, own->start), std::max(before.stop, own->stop)};
        }
    }
    return all;
}

std::string SpanText(const TimeSpan& span)
{
    if (span.stop == YTIME_INFINITE) return fmt::format("from {} s on", EndText(span.start));
    if (span.start == YTIME_MINUS_INFINITE) return fmt::format("up to {} s", EndText(span.stop));
    return fmt::format("from {} s to {} s", ShortSecondsText(span.start), ShortSecondsText(span.stop));
}

}  // namespace

bool IsOfSpan(std::string_view parameter)
{
    return std::find(kNames.begin(), kNames.end(), parameter) != kNames.end();
}

void CheckSpan(YFCurveFilter& filter)
{
    const std::optional<TimeSpan> span = SetSpanOf(filter);
    if (span) CheckEndsInOrder(span->start, span->stop, "Start and Stop");
}

std::string MissedMotionText(YFCurveFilter& filter, const std::vector<ChosenProperty>& chosen)
{
    const std::optional<TimeSpan> span = SetSpanOf(filter);
    const std::optional<TimeSpan> keys = span ? KeySpanOf(chosen) : std::nullopt;
    if (!keys) return {};
    if (span->start > keys->stop) {
        return fmt::format("the span {} lies behind the motion, which ends at {} s", SpanText(*span),
                           ShortSecondsText(keys->stop));
    }
    if (span->stop < keys->start) {
        return fmt::format("the span {} lies before the motion, which starts at {} s", SpanText(*span),
                           ShortSecondsText(keys->start));
    }
    return {};
}

}  // namespace ymotion
