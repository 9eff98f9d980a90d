#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include <fmt/format.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

void CheckStaysFinite(const Scene& scene, const char* what, double largest, double factor)
{
    if (largest * factor <= double{std::numeric_limits<float>::max()}) return;
    throw Failure(
        fmt::format("{}: {} of {:.3g} become too large for single precision; choose a smaller factor",
                    scene.file, what, largest));
}

void CheckStaysFinite(const Scene& scene, const YFCurve& curve, double factor)
{
    double largest = std::abs(double{curve.GetValue()});
    if (const std::optional<ValueRange> range = KeyRange(curve))
        largest = std::max({largest, std::abs(double{range->least}), std::abs(double{range->greatest})});
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        for (const float slope : {curve.KeyGetLeftDerivative(i), curve.KeyGetRightDerivative(i)}) {
            if (std::isfinite(slope)) largest = std::max(largest, std::abs(double{slope}));
        }
    }
    CheckStaysFinite(scene, "positions or slopes", largest, factor);
}

void CheckStaysFinite(const Scene& scene, const Skeleton& skeleton, double factor)
{
    CheckStaysFinite(scene, "offsets", LargestOffset(skeleton), factor);
}

ClipChange Scale(Scene& scene, double factor)
{
    if (factor == 1.0) return {false, "nothing to do: lengths stay as they are"};
    CheckStaysFinite(scene, scene.skeleton, factor);
    std::size_t count = 0;
    for (const NamedProperty& property : NamedProperties(scene)) {
        if (property.node->GetDataType() != YDataType::Get(eDataType::LocalTranslation)) continue;
        CheckUnlocked(scene, *property.node);
        ++count;
        for (const YFCurveNode* layer : LayersOf(*property.node)) {
            for (YFCurve* curve : CurvesOf(*layer)) {
                CheckStaysFinite(scene, *curve, factor);
                ScaleValues(*curve, factor);
            }
        }
    }
    for (Joint& joint : scene.skeleton.joints) {
        for (float& component : joint.offset) component = static_cast<float>(double{component} * factor);
    }
    if (count == 0 && !scene.HasSkeleton()) return {false, "nothing to do: nothing in it is a length"};
    const auto move = [factor](std::vector<Placement>& places, YTime) {
        for (auto& [axes, origin] : places)
            origin = {origin.x * factor, origin.y * factor, origin.z * factor};
    };
    return {true,
            fmt::format("multiplies {} and {} by {}", Counted(scene.skeleton.joints.size(), "offset"),
                        Counted(count, "translation"), factor),
            {{}, move}};
}

}  // namespace

ClipWork ParseScale(const std::string& value, const ClipSettings&)
{
    constexpr double kLeast = 1e-9;
    constexpr double kMost = 1e9;
    const std::optional<double> factor = ParseDouble(value);
    if (!factor || *factor < kLeast || *factor > kMost) {
        throw Failure(
            fmt::format(
                "scale: {} is not a number above 0, up to 1e9; give the factor of lengths, such as 0.01",
                Quoted(value)),
            kExitUsage);
    }
    return [factor = *factor](Scene& scene) { return Scale(scene, factor); };
}

}  // namespace ymotion
