#include "ymotion/reducing/reduction_wish.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/suggestion.h"

namespace ymotion {
namespace {

constexpr double kUsualHeight = 1.7;  // metres

double UnitsOf(const Length& length, const Scene& scene, double metresHigh)
{
    switch (length.measure) {
        case Length::EMeasure::FileUnits:
            return length.size;
        case Length::EMeasure::Metres:
            return length.size * FigureHeight(scene) / metresHigh;
        case Length::EMeasure::Heights:
            return length.size * FigureHeight(scene);
    }
    return length.size;
}

}  // namespace

Length ParseLength(const std::string& text)
{
    struct Suffix
    {
        std::string_view text;
        double factor;
        Length::EMeasure measure;
    };
    using enum Length::EMeasure;
    constexpr std::array<Suffix, 6> suffixes{{{"mm", 1e-3, Metres},
                                              {"cm", 1e-2, Metres},
                                              {"in", 0.0254, Metres},
                                              {"m", 1.0, Metres},
                                              {"%", 1e-2, Heights},
                                              {"", 1.0, FileUnits}}};
    for (const Suffix& suffix : suffixes) {
        if (!text.ends_with(suffix.text)) continue;
        const std::optional<double> number = ParseDouble(text.substr(0, text.size() - suffix.text.size()));
        if (!number || !(*number > 0) || !std::isfinite(*number)) break;
        return {*number * suffix.factor, suffix.measure};
    }
    throw Failure(Quoted(text) +
                      " is not a length above 0; write it in the file's units (0.1), as mm, cm, "
                      "m or in (2mm), or as a part of the figure's height (0.5%)",
                  kExitUsage);
}

double ParsePart(const std::string& text)
{
    const bool percent = text.ends_with('%');
    const std::optional<double> number = ParseDouble(percent ? text.substr(0, text.size() - 1) : text);
    const double part = number ? *number * (percent ? 0.01 : 1.0) : 0.0;
    if (part > 0.0 && part <= 1.0) return part;
    throw Failure(Quoted(text) + " is not a part above 0 and up to 100%; write 5% or 0.05", kExitUsage);
}

const std::vector<std::string>& TangentNames()
{
    static_assert(YFCurveFilterFit::eSmooth == 0 && YFCurveFilterFit::eBroken == 1 &&
                  YFCurveFilterFit::eAuto == 2);
    static const std::vector<std::string> names{"smooth", "broken", "auto"};
    return names;
}

void CheckWish(const ReductionWish& wish)
{
    const int given =
        int{wish.tolerance.has_value()} + int{wish.ratio.has_value()} + int{wish.keys.has_value()};
    if (given != 1) {
        throw Failure(
            "say one of three: how far joints may come away (a tolerance: 2mm), which part of the keys to "
            "leave (a ratio: 5%), or how many (keys: 1500)",
            kExitUsage);
    }
    if (wish.keys.value_or(1) < 1)
        throw Failure("the number of keys to leave is not above 0; choose a larger one", kExitUsage);
    const std::vector<std::string>& names = TangentNames();
    if (std::find(names.begin(), names.end(), wish.tangents) == names.end())
        throw Failure("tangents: " + NoneOf(wish.tangents, names), kExitUsage);
    if (wish.height == 0.0) return;
    if (!(wish.height > 0.0) || !std::isfinite(wish.height))
        throw Failure("the figure's height is no number of metres above 0; choose another one", kExitUsage);
    if (!wish.tolerance || wish.tolerance->measure != Length::EMeasure::Metres) {
        throw Failure(
            "the height has no effect; give the tolerance in mm, cm, m or in, or leave the height out",
            kExitUsage);
    }
}

ReductionGoal GoalOf(const ReductionWish& wish, const Scene& scene)
{
    ReductionGoal goal;
    goal.contacts = wish.contacts;
    const std::vector<std::string>& names = TangentNames();
    goal.tangents = static_cast<int>(std::find(names.begin(), names.end(), wish.tangents) - names.begin());
    if (wish.tolerance)
        goal.tolerance = UnitsOf(*wish.tolerance, scene, wish.height > 0 ? wish.height : kUsualHeight);
    if (wish.ratio)
        goal.keys = static_cast<std::int64_t>(*wish.ratio * static_cast<double>(KeysToReduce(scene)));
    if (wish.keys) goal.keys = wish.keys;
    return goal;
}

}  // namespace ymotion
