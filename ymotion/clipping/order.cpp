#include <algorithm>

#include <fmt/format.h>

#include "ymotion/clipping/bake.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/suggestion.h"

namespace ymotion {
namespace {

void CheckHasAngles(const Scene& scene, const YFCurveNode& property, const YFCurveNode& layer)
{
    if (!HasThreeAngles(layer) || layer.GetLayerType() != YFCURVE_LAYERTYPE_ROTATION) {
        throw Failure(
            fmt::format("{}: {} has a layer that turns angle by angle, which only its own order can "
                        "do; {}",
                        scene.file, QuotedName(PathOf(property)), MergeAdvice(scene.layers, property)));
    }
}

/// The angles of the same orientations in another order, on one layer.
void Reorder(const Scene& scene, YFCurveNode& layer, int order)
{
    const std::vector<YTime> times = KeyTimesOf(CurvesOf(layer), kAlways);
    const YgeRVector before = OwnAngles(layer, times.empty() ? YTIME_ZERO : times.front());
    const YFCurveNodePtr old(layer.SingleLayerCopy());
    if (old == nullptr) throw std::bad_alloc();
    old->SetRotationOrder(layer.GetRotationOrder());
    layer.SetRotationOrder(order);
    BakeTurns(
        layer, {times, scene.rate}, [&](YTime time) { return OwnOrientation(*old, time); }, before);
}

void ReorderJoint(Scene& scene, std::size_t index, int order)
{
    Joint& joint = scene.skeleton.joints[index];
    YFCurveNode* rotation = PropertyOf(*scene.jointNodes[index], ChannelKind::Rotation);
    if (rotation == nullptr) return;
    CheckUnlocked(scene, *rotation);
    CheckHoldsBeyondKeys(scene, *rotation);
    const std::vector<YFCurveNode*> layers = LayersOf(*rotation);
    for (const YFCurveNode* layer : layers) CheckHasAngles(scene, *layers.front(), *layer);
    // From the top down, as an order that is set goes to the layers above as well.
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) Reorder(scene, **layer, order);
    rotation->SetRotationOrder(order);
    joint.channels = ChannelsInOrder(joint, order, true);
}

ClipChange SetOrder(Scene& scene, int order)
{
    CheckHasSkeleton(scene, "turn");
    std::vector<std::size_t> others;
    std::size_t single = 0;
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        if (joint.endSite || RotationOrderOf(joint) == order) continue;
        if (joint.Count(ChannelKind::Rotation) < 2) {
            ++single;  // one angle turns alike in every order
            continue;
        }
        others.push_back(i);
    }
    const std::string rest = single == 0
                                 ? ""
                                 : "; " + Counted(single, "joint with fewer than two angles stays as it is",
                                                  "joints with fewer than two angles stay as they are");
    if (others.empty()) return {false, "nothing to do: that is the order of all joints" + rest};
    // New keys come between frames where the other order takes them.
    const std::string unrolled = UnrollRecordings(scene);
    for (const std::size_t joint : others) ReorderJoint(scene, joint, order);
    return {true,
            fmt::format("{} in the order {}{}{}{}", Counted(others.size(), "joint turns", "joints turn"),
                        RotationOrderName(order), rest, unrolled.empty() ? "" : "; ", unrolled)};
}

}  // namespace

ClipWork ParseOrder(const std::string& value, const ClipSettings&)
{
    const std::vector<std::string> orders(kRotationOrderNames.begin(), kRotationOrderNames.end());
    const auto found = std::find(orders.begin(), orders.end(), value);
    if (found == orders.end()) throw Failure("order: " + NoneOf(value, orders), kExitUsage);
    return
        [order = static_cast<int>(found - orders.begin())](Scene& scene) { return SetOrder(scene, order); };
}

}  // namespace ymotion
