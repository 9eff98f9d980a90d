#include "ymotion/scene/whole_turns.h"

#include <array>
#include <cmath>
#include <set>

#include <fmt/format.h>

#include "yfcurve/yfcurvefilterbutterworth.h"
#include "yfcurve/yfcurvefilterresample.h"
#include "ymotion/scene/scene.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr double kHalfTurn = 180.0;
constexpr double kSmallTurn = 90.0;  // of the orientation, from one key to the next

YgeQuaternion OrientationAt(const YFCurveNode& rotation, YTime time)
{
    std::array<double, 3> angles;
    for (int i = 0; i < 3; ++i) {
        angles[static_cast<std::size_t>(i)] = double{rotation.Get(i)->FCurveGet()->Evaluate(time)};
    }
    return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]),
                         static_cast<eRotationOrder>(rotation.GetRotationOrder()));
}

}  // namespace

bool ReadsAnglesBetweenKeys(const YFCurveFilter& filter)
{
    const YClassDefinition* definition = filter.GetClassDefinition();
    return definition == &YFCurveFilterButterworth::StaticClass() ||
           definition == &YFCurveFilterResample::StaticClass();
}

int CountWholeTurns(const YFCurveNode& property)
{
    if (!HasThreeAngles(property)) return 0;
    std::set<YTime> jumps;
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve& curve = *property.Get(axis)->FCurveGet();
        for (int i = 1; i < curve.KeyGetCount(); ++i) {
            if (!(std::abs(double{curve.KeyGetValue(i)} - curve.KeyGetValue(i - 1)) > kHalfTurn)) continue;
            const double turn = OrientationAt(property, curve.KeyGetTime(i - 1))
                                    .GetAngleTo(OrientationAt(property, curve.KeyGetTime(i)));
            if (turn < kSmallTurn) jumps.insert(curve.KeyGetTime(i));
        }
    }
    return static_cast<int>(jumps.size());
}

std::string WholeTurnsText(const std::vector<YFCurveNode*>& properties)
{
    YFCurveNode* worst = nullptr;
    int most = 0;
    int jumping = 0;
    for (YFCurveNode* property : properties) {
        const int count = CountWholeTurns(*property);
        if (count == 0) continue;
        ++jumping;
        if (count <= most) continue;
        most = count;
        worst = property;
    }
    if (worst == nullptr) return {};
    const YFCurveNode* base = worst->ObjectLayerGet();  // which hangs in the tree
    const YFCurveNode* joint = base != nullptr && base->GetParent() != nullptr ? base->GetParent() : worst;
    std::string text = fmt::format("{} jumps by 360 degrees {}", Printable(joint->GetName()),
                                   most == 1 ? "once" : fmt::format("{} times", most));
    if (jumping > 1) text += fmt::format(", and {} more", jumping - 1);
    return text + ": put unroll first";
}

}  // namespace ymotion
