#include "ymotion/scene/whole_turns.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>
#include <set>

#include <fmt/format.h>

#include "yfcurve/yfcurvefilterfit.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr double kHalfTurn = 180.0;
constexpr double kSmallTurn = 90.0;  // of the orientation, from one key to the next
constexpr double kLongestFrameOfRecordings =
    0.101;  // seconds: nothing usual is recorded at less than 10 a second

YgeRVector AnglesAt(const YFCurveNode& rotation, YTime time)
{
    YgeRVector angles;
    for (int i = 0; i < 3; ++i) angles[i] = double{rotation.Get(i)->FCurveGet()->Evaluate(time)};
    return angles;
}

YgeQuaternion OrientationAt(const YFCurveNode& rotation, YTime time)
{
    return YgeQuaternion(AnglesAt(rotation, time), static_cast<eRotationOrder>(rotation.GetRotationOrder()));
}

/// The times of the keys to which an angle jumps from the key before.
std::set<YTime> WholeTurns(const YFCurveNode& rotation)
{
    const YTime mostApart = YTime::FromSeconds(kLongestFrameOfRecordings);
    std::set<YTime> jumps;
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve& curve = *rotation.Get(axis)->FCurveGet();
        for (int i = 1; i < curve.KeyGetCount(); ++i) {
            if (!(std::abs(double{curve.KeyGetValue(i)} - curve.KeyGetValue(i - 1)) > kHalfTurn)) continue;
            if (TimeSpan{curve.KeyGetTime(i - 1), curve.KeyGetTime(i)}.Length() > mostApart) continue;
            const double turn = OrientationAt(rotation, curve.KeyGetTime(i - 1))
                                    .GetAngleTo(OrientationAt(rotation, curve.KeyGetTime(i)));
            if (turn < kSmallTurn) jumps.insert(curve.KeyGetTime(i));
        }
    }
    return jumps;
}

bool IsRecorded(const YFCurveNode& rotation)
{
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve& curve = *rotation.Get(axis)->FCurveGet();
        if (curve.KeyGetCount() > 0 && !YFCurveFilterFit::IsRecording(curve)) return false;
    }
    return true;
}

/// "Hips" and "jumps by 360 degrees 2 times, and 3 more", of the rotation that jumps most; nothing where none does.
struct JumpWords
{
    std::string joint;
    std::string jumps;
};

std::optional<JumpWords> WordsOf(const std::vector<YFCurveNode*>& properties)
{
    YFCurveNode* worst = nullptr;
    int most = 0;
    int jumping = 0;
    for (YFCurveNode* property : properties) {
        const int count = HasThreeAngles(*property) ? static_cast<int>(WholeTurns(*property).size()) : 0;
        if (count == 0) continue;
        ++jumping;
        if (count <= most) continue;
        most = count;
        worst = property;
    }
    if (worst == nullptr) return std::nullopt;
    const YFCurveNode* base = worst->ObjectLayerGet();  // which hangs in the tree
    const YFCurveNode* joint = base != nullptr && base->GetParent() != nullptr ? base->GetParent() : worst;
    std::string jumps =
        fmt::format("jumps by 360 degrees {}", most == 1 ? "once" : fmt::format("{} times", most));
    if (jumping > 1) jumps += fmt::format(", and {} more", jumping - 1);
    return JumpWords{Printable(joint->GetName()), std::move(jumps)};
}

}  // namespace

std::vector<YFCurveNode*> JumpingRecordings(const Scene& scene)
{
    std::vector<YFCurveNode*> jumping;
    for (const NamedProperty& property : NamedProperties(scene)) {
        YFCurveNode* const node = property.node;
        if (!HasThreeAngles(*node) || !PlaysByCurves(*node)) continue;
        if (!WholeTurns(*node).empty() && IsRecorded(*node)) jumping.push_back(node);
    }
    return jumping;
}

std::string UnrollRecordings(Scene& scene)
{
    std::vector<YFCurveNode*> jumping = JumpingRecordings(scene);
    std::erase_if(jumping, [](const YFCurveNode* rotation) {
        bool isLocked = rotation->IsNodeLocked();
        for (int axis = 0; axis < 3; ++axis) {
            const YFCurveNode& angle = *rotation->Get(axis);
            isLocked = isLocked || angle.IsNodeLocked() || angle.FCurveGet()->IsLocked();
        }
        return isLocked;
    });
    const std::optional<JumpWords> words = WordsOf(jumping);
    for (YFCurveNode* rotation : jumping) {
        YFCurveFilterUnroll unroll;
        unroll.SetTestForPath(false);
        if (!unroll.Apply(*rotation, true)) throw std::bad_alloc();
    }
    return words ? fmt::format("unrolled, as {} {}", words->joint, words->jumps) : std::string();
}

bool IsUnrolled(const YFCurveNode& rotation)
{
    if (!HasThreeAngles(rotation) || TurnsAsQuaternions(rotation)) return false;
    std::set<YTime> times;
    for (int axis = 0; axis < 3; ++axis) {
        const YFCurve& curve = *rotation.Get(axis)->FCurveGet();
        for (int i = 0; i < curve.KeyGetCount(); ++i) times.insert(curve.KeyGetTime(i));
    }
    YgeRVector last;
    for (const YTime time : times) {
        const YgeRVector angles = AnglesAt(rotation, time);
        last = V2VRef(angles, last, static_cast<eRotationOrder>(rotation.GetRotationOrder()));
        for (int axis = 0; axis < 3; ++axis) {
            if (static_cast<float>(last[axis]) != static_cast<float>(angles[axis])) return false;
        }
    }
    return !times.empty();
}

std::string WholeTurnsText(const std::vector<YFCurveNode*>& properties)
{
    const std::optional<JumpWords> words = WordsOf(properties);
    return words ? fmt::format("{} {}: put unroll first", words->joint, words->jumps) : std::string();
}

}  // namespace ymotion
