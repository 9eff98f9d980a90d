#include "ymotion/scene/scene.h"

#include <algorithm>
#include <new>

#include "ymotion/scene/node_walk.h"

namespace ymotion {
namespace {

YFCurveNodePtr Owned(YFCurveNode* node)
{
    if (node == nullptr) throw std::bad_alloc();
    return YFCurveNodePtr(node);
}

/// Whether all that a node without a type has is curves: the components of one property.
bool HoldsComponents(const YFCurveNode& node)
{
    // More than any type has members is a list of properties, however long.
    if (node.GetCount() == 0 || node.GetCount() > YDataType::MaximumMemberCount) return false;
    if (node.GetParent() == nullptr || node.FCurveGet() != nullptr) return false;
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (child.FCurveGet() == nullptr || child.GetDataType() != nullptr) return false;
    }
    return true;
}

}  // namespace

YTime TimeSpan::Length() const
{
    std::int64_t ticks = 0;
    if (__builtin_sub_overflow(stop.Get(), start.Get(), &ticks)) return YTIME_INFINITE;
    return YTime(ticks);
}

YTime TimeSpan::At(double part) const
{
    // All of it fits into 64 bits without a sign, and so does what is less than that.
    const auto length = static_cast<std::uint64_t>(stop.Get()) - static_cast<std::uint64_t>(start.Get());
    const double ticks = part * static_cast<double>(length);
    if (ticks >= static_cast<double>(length)) return stop;
    return YTime(static_cast<std::int64_t>(static_cast<std::uint64_t>(start.Get()) +
                                           static_cast<std::uint64_t>(ticks)));
}

void Widen(std::optional<TimeSpan>& span, const std::optional<TimeSpan>& other)
{
    if (!other) return;
    if (!span) span = other;
    span->start = std::min(span->start, other->start);
    span->stop = std::max(span->stop, other->stop);
}

std::int64_t FrameCount(const std::optional<TimeSpan>& span, FrameRate rate)
{
    return span ? LastFrame(span->Length(), rate) + 1 : 0;
}

YFCurveNodePtr MakeGroupNode(const char* name)
{
    return Owned(YFCurveNodeCreate(name, static_cast<YDataType*>(nullptr)));
}

YFCurveNodePtr MakePropertyNode(YDataType& type, const char* name)
{
    YFCurveNodePtr property = Owned(FCurveNodeCreateFromDataType(&type, name));
    property->CreateFCurve();
    if (!property->FCurveCreated()) throw std::bad_alloc();
    return property;
}

YFCurveNode* AddTo(YFCurveNode& parent, YFCurveNodePtr child)
{
    if (parent.Add(child.get()) < 0) throw std::bad_alloc();
    return child.release();
}

void MakeJointNodes(Scene& scene)
{
    const auto addProperty = [](YFCurveNode& joint, eDataType dataType, const std::array<float, 3>& rest) {
        YDataType& type = *YDataType::Get(dataType);
        YFCurveNode* property = AddTo(joint, MakePropertyNode(type, type.GetName()));
        for (int axis = 0; axis < 3; ++axis)
            property->Get(axis)->FCurveGet()->SetValue(rest[static_cast<std::size_t>(axis)]);
        return property;
    };
    scene.root = MakeGroupNode("Scene");
    scene.jointNodes.assign(scene.skeleton.joints.size(), nullptr);
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        if (joint.endSite) continue;
        YFCurveNode* parent =
            joint.parent < 0 ? scene.root.get() : scene.jointNodes[static_cast<std::size_t>(joint.parent)];
        YFCurveNode* node = AddTo(*parent, MakeGroupNode(joint.name.c_str()));
        scene.jointNodes[i] = node;
        if (joint.Has(ChannelKind::Translation))
            addProperty(*node, eDataType::LocalTranslation, joint.offset);
        if (joint.Has(ChannelKind::Rotation)) {
            addProperty(*node, eDataType::LocalRotation, {})->SetRotationOrder(RotationOrderOf(joint));
        }
    }
    scene.layers.Bind(*scene.root);
}

bool IsProperty(const YFCurveNode& node)
{
    const YFCurveNode* parent = node.GetParent();
    if (parent == nullptr || parent->GetDataType() != nullptr) return false;
    if (node.GetDataType() != nullptr) return true;
    return node.FCurveGet() != nullptr ? !HoldsComponents(*parent) : HoldsComponents(node);
}

bool TakesLayers(const YFCurveNode& node)
{
    if (IsProperty(node)) return true;
    bool holdsCurves = false;
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        holdsCurves = holdsCurves || (child.FCurveGet() != nullptr && !IsProperty(child));
    }
    return holdsCurves && node.FCurveGet() == nullptr;
}

bool IsRotation(const YFCurveNode& property)
{
    return property.IsRotationLayerType() && property.GetCount() == 3;
}

bool HasThreeAngles(const YFCurveNode& property)
{
    if (!IsRotation(property)) return false;
    for (int i = 0; i < 3; ++i) {
        if (property.Get(i)->FCurveGet() == nullptr) return false;
    }
    return true;
}

bool TurnsAsQuaternions(const YFCurveNode& property)
{
    return property.GetUseQuaternion() && IsRotation(property);
}

const char* UnitOf(const YFCurveNode& property)
{
    if (property.IsRotationLayerType()) return "degrees";
    return property.GetDataType() == YDataType::Get(eDataType::LocalTranslation) ? "units" : "";
}

YFCurveNode* PropertyOf(const YFCurveNode& joint, ChannelKind kind)
{
    return joint.Find(YDataType::Get(kind == ChannelKind::Translation ? eDataType::LocalTranslation
                                                                      : eDataType::LocalRotation));
}

bool PlacesAlong(const Joint& joint, const YFCurveNode& translation, Axis axis)
{
    if (joint.Has({ChannelKind::Translation, axis})) return true;
    const bool layersCount = !joint.Has(ChannelKind::Translation);
    for (const YFCurveNode* layer = &translation; layer != nullptr;
         layer = layersCount ? layer->LayerGet() : nullptr) {
        const YFCurveNode* component = layer->Get(static_cast<int>(axis));
        const YFCurve* curve = component == nullptr ? nullptr : component->FCurveGet();
        if (curve != nullptr && curve->KeyGetCount() > 0) return true;
    }
    return false;
}

YFCurve* CurveOf(const YFCurveNode& joint, Channel channel)
{
    const YFCurveNode* property = PropertyOf(joint, channel.kind);
    if (property == nullptr) return nullptr;
    const YFCurveNode* component = property->Get(static_cast<int>(channel.axis));
    return component == nullptr ? nullptr : component->FCurveGet();
}

std::optional<ValueRange> KeyRange(const YFCurve& curve)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return std::nullopt;
    ValueRange range{curve.KeyGetValue(0), curve.KeyGetValue(0)};
    for (int i = 1; i < count; ++i) {
        const float value = curve.KeyGetValue(i);
        range.least = std::min(range.least, value);
        range.greatest = std::max(range.greatest, value);
    }
    return range;
}

std::optional<TimeSpan> KeySpan(const YFCurve& curve)
{
    if (curve.KeyGetCount() == 0) return std::nullopt;
    return TimeSpan{curve.KeyGetTime(0), curve.KeyGetTime(curve.KeyGetCount() - 1)};
}

std::optional<TimeSpan> KeySpan(const Scene& scene)
{
    std::optional<TimeSpan> span;
    VisitCurves(*scene.root, [&span](const YFCurve& curve) { Widen(span, KeySpan(curve)); });
    return span;
}

std::vector<YTime> KeyTimesOf(const YFCurveNode& property)
{
    std::vector<YTime> times;
    VisitCurves(property, [&times](const YFCurve& curve) {
        for (int i = 0; i < curve.KeyGetCount(); ++i) times.push_back(curve.KeyGetTime(i));
    });
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

}  // namespace ymotion
