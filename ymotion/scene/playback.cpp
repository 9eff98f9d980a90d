#include "ymotion/scene/playback.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>

#include "ymotion/text/stopping.h"

namespace ymotion {

/// The values of a property, kept for as long as the same time is asked for.
class PlayedProperty
{
  public:
    /// \param layers  `Base` for nodes of rotations alone
    PlayedProperty(const YFCurveNode& node, PlayedLayers layers)
        : mNode(node), mLayers(layers), mValues(static_cast<std::size_t>(std::max(1, node.GetCount())))
    {}

    bool IsOf(const YFCurveNode& node) const { return &node == &mNode; }

    double At(YTime time, std::size_t component)
    {
        if (mTime != time) Evaluate(time);
        mTime = time;
        return mValues[component];
    }

  private:
    void Evaluate(YTime time)
    {
        switch (mLayers) {
            case PlayedLayers::All:
                mNode.GeneralEvaluate(mValues.data(), time, &mHint);
                return;
            case PlayedLayers::Base:
                mNode.RotationNodeEvaluate(mValues.data(), time, &mHint);
                return;
        }
    }

    const YFCurveNode& mNode;
    PlayedLayers mLayers;
    std::vector<double> mValues;
    std::optional<YTime> mTime;
    int mHint = 0;
};

namespace {

bool IsCurveAlone(const YFCurveNode& property, PlayedLayers layers)
{
    switch (layers) {
        case PlayedLayers::All:
            return PlaysByCurves(property);
        case PlayedLayers::Base:
            break;
    }
    return !TurnsAsQuaternions(property);
}

bool TurnsBesideChannels(const Joint& joint, YFCurveNode& rotation, const std::optional<TimeSpan>& span,
                         FrameRate rate)
{
    constexpr float kNoTurn = 1e-5f;  // degrees
    std::vector<SelectedCurve> curves;
    for (const Axis axis : kAxes) {
        const YFCurveNode* node = rotation.Get(static_cast<int>(axis));
        const bool plays = node != nullptr && node->FCurveGet() != nullptr;
        if (plays && !joint.Has({ChannelKind::Rotation, axis}))
            curves.push_back({node->FCurveGet(), node, &rotation});
    }
    const std::int64_t frames = curves.empty() ? 0 : FrameCount(span, rate);
    std::vector<PlayedCurve> played = PlayedCurves(curves);
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        StopIfAsked();
        const YTime time = TimeOfFrame(span->start, frame, rate);
        const auto rests = [time](PlayedCurve& curve) { return std::abs(curve.At(time)) <= kNoTurn; };
        if (!std::all_of(played.begin(), played.end(), rests)) return true;
    }
    return false;
}

}  // namespace

bool PlaysByCurves(const YFCurveNode& property)
{
    return !TurnsAsQuaternions(property) && ShowsItsKeys(property);
}

bool ShowsItsKeys(const YFCurveNode& property)
{
    return property.LayerGet() == nullptr && property.TimeWarpGet() == nullptr && !property.IsNodeMuted();
}

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

std::vector<PlayedCurve> PlayedCurves(const std::vector<SelectedCurve>& curves, PlayedLayers layers)
{
    std::vector<PlayedCurve> played(curves.size());
    std::shared_ptr<PlayedProperty> last;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const SelectedCurve& selected = curves[i];
        played[i].mCurve = selected.curve;
        if (IsCurveAlone(*selected.property, layers)) continue;
        if (last == nullptr || !last->IsOf(*selected.property)) {
            last = std::make_shared<PlayedProperty>(*selected.property, layers);
        }
        played[i].mProperty = last;
        played[i].mComponent = ComponentOf(selected);
    }
    return played;
}

void FitRotationChannels(Joint& joint, YFCurveNode& rotation, const std::optional<TimeSpan>& span,
                         FrameRate rate)
{
    const bool whole = TurnsBesideChannels(joint, rotation, span, rate);
    joint.channels = ChannelsInOrder(joint, rotation.GetRotationOrder(), whole);
}

std::shared_ptr<const YFCurve> SampledCurve(PlayedCurve played, const TimeSpan& span)
{
    constexpr std::int64_t kSamples = 1500;
    YFCurvePtr curve(YFCurveCreate());
    if (curve == nullptr) throw std::bad_alloc();
    {
        const YFCurveModify bracket(*curve, kSamples + 1);
        for (std::int64_t i = 0; i <= kSamples; ++i) {
            const YTime time = span.At(static_cast<double>(i) / kSamples);
            YFCurveKey key;
            key.Set(time, played.At(time), YFCURVE_INTERP_LINEAR);
            if (curve->KeyAdd(time, key) < 0) throw std::bad_alloc();
        }
    }
    return curve;
}

}  // namespace ymotion
