#include "ymotion/filtering/world_report.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "ymotion/filtering/filter_report.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kUnit = "units";

const char* NameOf(Axis axis)
{
    return kAxisNames[static_cast<std::size_t>(axis)];
}

std::string SlideText(double slide)
{
    return ErrorText(slide, "");
}

}  // namespace

std::string TimeWithFrame(YTime time, FrameRate rate)
{
    return fmt::format("{} s ({})", ShortSecondsText(time), FramesText(time, rate));
}

std::string DistanceText(double distance)
{
    return std::isfinite(distance) ? ErrorText(distance, kUnit) : "no place any more";
}

std::vector<std::vector<std::string>> JointRows(const WorldErrors& errors, std::size_t most)
{
    std::vector<const JointError*> joints;
    for (const JointError& joint : errors.joints) {
        if (joint.largest > 0) joints.push_back(&joint);
    }
    std::stable_sort(joints.begin(), joints.end(),
                     [](const JointError* a, const JointError* b) { return a->largest > b->largest; });
    joints.resize(std::min(joints.size(), most));
    std::vector<std::vector<std::string>> rows{{"joint in the world", "largest error", "at", "mean error"}};
    for (const JointError* joint : joints) {
        rows.push_back({Printable(joint->name), DistanceText(joint->largest),
                        ShortSecondsText(joint->when) + " s", DistanceText(joint->Mean())});
    }
    return rows;
}

std::vector<std::vector<std::string>> FootRows(const WorldErrors& errors)
{
    std::vector<std::vector<std::string>> rows{{fmt::format("foot ({} is up)", NameOf(errors.up)), "contacts",
                                                "stands", "slides before", "after", "largest"}};
    for (const FootSlide& foot : errors.feet) {
        if (foot.contacts == 0) continue;
        rows.push_back({Printable(foot.name), GroupedText(static_cast<long long>(foot.contacts)),
                        fmt::format("{:.2f} s", foot.seconds), SlideText(foot.before), SlideText(foot.after),
                        SlideText(foot.largest)});
    }
    return rows;
}

std::string WorldText(const WorldErrors& errors, FrameRate rate, const Style& style)
{
    const JointError* worst = errors.Worst();
    if (worst == nullptr) return {};
    std::string line = "joints in the world: no error";
    if (worst->largest > 0) {
        line = fmt::format("joints in the world: largest error {} at {}, {}; mean {}",
                           DistanceText(worst->largest), TimeWithFrame(worst->when, rate),
                           Printable(worst->name), DistanceText(errors.Mean()));
    }
    if (!std::isfinite(worst->largest)) {
        line = fmt::format("joints in the world: {} has no place any more at {}", Printable(worst->name),
                           TimeWithFrame(worst->when, rate));
    }
    const std::string text = fmt::format("  {}\n", Wrapped(line, style.Columns(), 4, 2));
    const std::vector<std::vector<std::string>> feet = FootRows(errors);
    return feet.size() > 1 ? text + AlignedTable(feet, style) : text;
}

std::string ErrorsEveryText(std::int64_t every)
{
    return fmt::format("  errors at every {}th frame\n", GroupedText(every));
}

Json WorldJson(const WorldErrors& errors)
{
    Json json;
    const JointError* worst = errors.Worst();
    json["largest"] = worst != nullptr ? NumberOrNull(worst->largest) : Json(nullptr);
    json["joint"] = worst != nullptr ? Printable(worst->name) : "";
    json["time"] = worst != nullptr ? worst->when.GetSecondDouble() : 0.0;
    json["mean"] = NumberOrNull(errors.Mean());
    json["height"] = NumberOrNull(errors.height);
    json["up"] = NameOf(errors.up);
    json["joints"] = Json::array();
    for (const JointError& joint : errors.joints) {
        json["joints"].push_back({{"joint", Printable(joint.name)},
                                  {"largest", NumberOrNull(joint.largest)},
                                  {"mean", NumberOrNull(joint.Mean())},
                                  {"time", joint.when.GetSecondDouble()}});
    }
    json["feet"] = Json::array();
    for (const FootSlide& foot : errors.feet) {
        json["feet"].push_back({{"foot", Printable(foot.name)},
                                {"contacts", foot.contacts},
                                {"seconds", foot.seconds},
                                {"slideBefore", NumberOrNull(foot.before)},
                                {"slideAfter", NumberOrNull(foot.after)},
                                {"largestSlide", NumberOrNull(foot.largest)},
                                {"time", foot.when.GetSecondDouble()}});
    }
    return json;
}

}  // namespace ymotion
