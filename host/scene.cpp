#include "host/scene.h"

#include <algorithm>
#include <new>

namespace host {
namespace {

YFCurveNodePtr Owned(YFCurveNode* node)
{
    if (node == nullptr) throw std::bad_alloc();
    return YFCurveNodePtr(node);
}

/// Hands a node over to its parent.
YFCurveNode* AddTo(YFCurveNode& parent, YFCurveNodePtr child)
{
    if (parent.Add(child.get()) < 0) throw std::bad_alloc();
    return child.release();
}

void AddProperty(YFCurveNode& joint, eDataType type, int rotationOrder)
{
    YDataType* dataType = YDataType::Get(type);
    YFCurveNode* property = AddTo(joint, Owned(FCurveNodeCreateFromDataType(dataType, dataType->GetName())));
    property->SetRotationOrder(rotationOrder);
    property->CreateFCurve();
    if (!property->FCurveCreated()) throw std::bad_alloc();
}

void Widen(std::optional<TimeSpan>& span, const std::optional<TimeSpan>& other)
{
    if (!other) return;
    if (!span) {
        span = other;
        return;
    }
    span->start = std::min(span->start, other->start);
    span->stop = std::max(span->stop, other->stop);
}

std::optional<TimeSpan> SpanBelow(const YFCurveNode& node)
{
    std::optional<TimeSpan> span;
    if (const YFCurve* curve = node.FCurveGet()) Widen(span, KeySpan(*curve));
    for (int i = 0; i < node.GetCount(); ++i) Widen(span, SpanBelow(*node.Get(i)));
    return span;
}

}  // namespace

void MakeJointNodes(Scene& scene)
{
    scene.root = Owned(YFCurveNodeCreate("Scene", static_cast<YDataType*>(nullptr)));
    scene.jointNodes.assign(scene.skeleton.joints.size(), nullptr);
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        if (joint.endSite) continue;
        YFCurveNode* parent =
            joint.parent < 0 ? scene.root.get() : scene.jointNodes[static_cast<std::size_t>(joint.parent)];
        YFCurveNode* node =
            AddTo(*parent, Owned(YFCurveNodeCreate(joint.name.c_str(), static_cast<YDataType*>(nullptr))));
        scene.jointNodes[i] = node;
        const int order = RotationOrderOf(joint);
        if (joint.Has(ChannelKind::Translation)) AddProperty(*node, eDataType::LocalTranslation, 0);
        if (joint.Has(ChannelKind::Rotation)) AddProperty(*node, eDataType::LocalRotation, order);
    }
}

bool IsProperty(const YFCurveNode& node)
{
    const YFCurveNode* parent = node.GetParent();
    return node.GetDataType() != nullptr && parent != nullptr && parent->GetDataType() == nullptr;
}

const char* UnitOf(const YFCurveNode& property)
{
    if (property.IsRotationLayerType()) return "degrees";
    return property.GetDataType() == YDataType::Get(eDataType::LocalTranslation) ? "units" : "";
}

YFCurve* CurveOf(const YFCurveNode& joint, Channel channel)
{
    const eDataType type =
        channel.kind == ChannelKind::Translation ? eDataType::LocalTranslation : eDataType::LocalRotation;
    const YFCurveNode* property = joint.Find(YDataType::Get(type));
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
    return SpanBelow(*scene.root);
}

}  // namespace host
