#include "host/playback.h"

#include <algorithm>
#include <optional>

namespace host {

/// The values of all layers together, kept for as long as the same time is asked for.
class PlayedProperty
{
  public:
    explicit PlayedProperty(const YFCurveNode& node)
        : mNode(node), mValues(static_cast<std::size_t>(std::max(1, node.GetCount())))
    {}

    bool IsOf(const YFCurveNode& node) const { return &node == &mNode; }

    double At(YTime time, std::size_t component)
    {
        if (mTime != time) mNode.GeneralEvaluate(mValues.data(), time, &mHint);
        mTime = time;
        return mValues[component];
    }

  private:
    const YFCurveNode& mNode;
    std::vector<double> mValues;
    std::optional<YTime> mTime;
    int mHint = 0;
};

namespace {

bool IsCurveAlone(const YFCurveNode& property)
{
    return property.LayerGet() == nullptr && property.TimeWarpGet() == nullptr && !property.IsNodeMuted() &&
           !TurnsAsQuaternions(property);
}

}  // namespace

float PlayedCurve::At(YTime time)
{
    if (mProperty == nullptr) return mCurve->Evaluate(time, &mHint);
    return static_cast<float>(mProperty->At(time, mComponent));
}

std::size_t ComponentOf(const SelectedCurve& selected)
{
    if (selected.node == selected.property) return 0;
    return static_cast<std::size_t>(std::max(0, selected.property->Find(selected.node)));
}

std::vector<PlayedCurve> PlayedCurves(const std::vector<SelectedCurve>& curves)
{
    std::vector<PlayedCurve> played(curves.size());
    std::shared_ptr<PlayedProperty> last;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const SelectedCurve& selected = curves[i];
        played[i].mCurve = selected.curve;
        if (IsCurveAlone(*selected.property)) continue;
        if (last == nullptr || !last->IsOf(*selected.property)) {
            last = std::make_shared<PlayedProperty>(*selected.property);
        }
        played[i].mProperty = last;
        played[i].mComponent = ComponentOf(selected);
    }
    return played;
}

}  // namespace host
