#include "ymotion/filtering/plot_source.h"

#include <map>

#include <fmt/format.h>

#include "ybaselib/yrotation.h"
#include "ymotion/filtering/layer_plot.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

eRotationOrder OrderOf(const YFCurveNode& property)
{
    return static_cast<eRotationOrder>(property.GetRotationOrder());
}

bool HaveSameComponents(const YFCurveNode& a, const YFCurveNode& b)
{
    if (a.GetCount() != b.GetCount() || IsRotation(a) != IsRotation(b)) return false;
    for (int i = 0; i < a.GetCount(); ++i) {
        if (!EqualsNoCase(a.Get(i)->GetName(), b.Get(i)->GetName())) return false;
    }
    return true;
}

/// The angles of the same orientation in another order, as near as possible to given ones.
YgeRVector Reordered(const YgeRVector& angles, eRotationOrder from, eRotationOrder to, const YgeRVector& near)
{
    return V2VRef(YgeRVector(YgeQuaternion(angles, from), to), near, to);
}

}  // namespace

Counterpart::Counterpart(const YFCurveNode& other, const YFCurveNode& property)
    : mOther(other), mTurnsInAnotherOrder(IsRotation(other) && OrderOf(other) != OrderOf(property))
{}

bool Counterpart::Evaluate(YFCurveNode* property, YTime time, double* values, void* object)
{
    auto& counterpart = *static_cast<Counterpart*>(object);
    const YFCurveNode& other = counterpart.mOther;
    if (!counterpart.mTurnsInAnotherOrder) {
        other.GeneralEvaluate(values, time, &counterpart.mHint);
        return true;
    }
    double angles[3] = {};
    other.GeneralEvaluate(angles, time, &counterpart.mHint);
    const YgeRVector turned = Reordered({angles[0], angles[1], angles[2]}, OrderOf(other), OrderOf(*property),
                                        {values[0], values[1], values[2]});
    for (int i = 0; i < 3; ++i) values[i] = turned[i];
    return true;
}

void Counterpart::AddKeyTimes(YFCurveNode& layer, const std::optional<TimeSpan>& span) const
{
    std::vector<YTime> times = KeyTimesOf(mOther);
    if (span) std::erase_if(times, [&](YTime time) { return time < span->start || time > span->stop; });
    // A plot without a span goes by keys: a property that has none gets one, so that its value is plotted.
    if (times.empty() && !span) times.push_back(YTIME_ZERO);
    const auto addTo = [&times](YFCurve* curve) {
        if (curve != nullptr) curve->KeyInsert(times.data(), static_cast<int>(times.size()));
    };
    addTo(layer.FCurveGet());
    for (int i = 0; i < layer.GetCount(); ++i) addTo(layer.Get(i)->FCurveGet());
}

PlotSource::PlotSource(const Scene& scene, const Scene& other) : mOther(other)
{
    std::map<std::string, std::vector<const YFCurveNode*>> byPath;
    for (const YFCurveNode* property : PropertiesOf(other, {})) byPath[PathOf(*property)].push_back(property);
    std::map<std::string, std::size_t> used;
    for (const YFCurveNode* property : PropertiesOf(scene, {})) {
        const std::string path = PathOf(*property);
        const std::size_t place = used[path]++;
        const auto found = byPath.find(path);
        if (found == byPath.end() || place >= found->second.size()) continue;
        mCounterparts.emplace(property, found->second[place]);
    }
}

void PlotSource::CheckHas(const std::vector<YFCurveNode*>& properties) const
{
    for (const YFCurveNode* property : properties) {
        const auto found = mCounterparts.find(property);
        if (found == mCounterparts.end()) {
            throw Failure(fmt::format("{}: there is no property {}; leave it out with --node", mOther.file,
                                      QuotedName(PathOf(*property))));
        }
        if (HaveSameComponents(*property, *found->second)) continue;
        throw Failure(fmt::format("{}: the property {} has other components; leave it out with --node",
                                  mOther.file, QuotedName(PathOf(*property))));
    }
}

Counterpart PlotSource::Of(const YFCurveNode& property) const
{
    return {*mCounterparts.at(&property), property};
}

}  // namespace ymotion
