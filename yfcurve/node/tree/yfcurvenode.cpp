#include "yfcurve/yfcurvenode.h"

#include <cstddef>
#include <initializer_list>
#include <iterator>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/steadywalk.h"

// The object itself: making and ending a node, its names, flags and settings.

using yfc::EWalk;
using yfc::Guarded;
using yfc::NodeData;

static_assert(sizeof(YFCurveNode) == 2 * sizeof(void*), "a node is its operations and its record");

namespace {

// The children of a node for a type of several members, in the order of the members.
constexpr const char* kMemberNames[] = {"X", "Y", "Z", " ", "A", "B", "C", "D", "E", "F", "G",
                                        "H", "I", "J", "K", "L", "M", "N", "O", "P", "Q"};
static_assert(std::size(kMemberNames) == YDataType::MaximumMemberCount);

bool IsOneOf(const YDataType* type, std::initializer_list<eDataType> candidates)
{
    for (const eDataType candidate : candidates) {
        if (type == YDataType::Get(candidate)) return true;
    }
    return false;
}

yfc::ELayerKind LayerKindFor(const YDataType* type)
{
    using yfc::ELayerKind;
    if (type == nullptr) return ELayerKind::Plain;
    if (IsOneOf(type, {eDataType::Rotation, eDataType::LocalRotation, eDataType::MatrixRotation})) {
        return ELayerKind::Rotation;
    }
    if (IsOneOf(type, {eDataType::Scaling, eDataType::LocalScaling, eDataType::MatrixScaling,
                       eDataType::UVScaling})) {
        return ELayerKind::Scaling;
    }
    return ELayerKind::Plain;
}

}  // namespace

void NodeData::ClearCandidate()
{
    Set(yfc::kStateCandidate, false);
    Set(yfc::kStateNoTotalCandidate, true);
    totalCandidateTime = YTIME_INFINITE;
}

void NodeData::CopyCandidate(const NodeData& source)
{
    stateFlags = (stateFlags & ~yfc::kStateCandidate) | (source.stateFlags & yfc::kStateCandidate);
    totalCandidateTime = source.totalCandidateTime;
    for (std::size_t i = 0; i < std::size(totalCandidate); ++i) totalCandidate[i] = source.totalCandidate[i];
}

// --- Creation ------------------------------------------------------------------------------------------

YFCurveNode* YFCurveNodeCreate(const char* name, const char* timeWarpName, const char* typeName,
                               int layerType, const YFCurveLayerInfo& layerInfo)
{
    YDataType* type = YDataType::Find(typeName);
    return Guarded([&] { return new YFCurveNode(name, timeWarpName, type, layerType, layerInfo); });
}

YFCurveNode* YFCurveNodeCreate(const char* name, YDataType* type, int layerType,
                               const YFCurveLayerInfo& layerInfo)
{
    const char* nodeName = type != nullptr && type == YDataType::Get(eDataType::TimeWarp) ? "" : name;
    return Guarded([&] { return new YFCurveNode(nodeName, name, type, layerType, layerInfo); });
}

YFCurveNode* YFCurveNodeCreate(const YFCurveNode* source)
{
    if (source == nullptr) return nullptr;
    return Guarded([&] { return new YFCurveNode(*source); });
}

YFCurveNode* FCurveNodeCreateFromDataType(YDataType* type, const char* name)
{
    YFCurveNodePtr node(YFCurveNodeCreate(name, type, static_cast<int>(LayerKindFor(type))));
    const int memberCount = type != nullptr ? type->GetMemberCount() : 0;
    if (!node || memberCount < 2) return node.release();
    for (int i = 0; i < memberCount; ++i) {
        YFCurveNodePtr child(YFCurveNodeCreate(kMemberNames[i], nullptr, YFCURVE_LAYERTYPE_COMPONENT));
        if (!child || node->Add(child.get()) < 0) return nullptr;
        static_cast<void>(child.release());  // the node's from here on
    }
    return node.release();
}

YFCurveNode::YFCurveNode(const char* name, const char* timeWarpName, YDataType* type, int layerType,
                         const YFCurveLayerInfo& layerInfo)
    : mData(std::make_unique<NodeData>(this))
{
    mData->names = std::make_shared<yfc::NameInfo>(yfc::NameInfo{name, timeWarpName, type});
    mData->layerInfo = layerInfo;
    SetLayerType(layerType);
}

YFCurveNode::YFCurveNode(const YFCurveNode& source) : mData(std::make_unique<NodeData>(this))
{
    const NodeData& from = *source.mData;
    mData->names = from.names;
    // The copy hands its template out for changing, as a const node does with all that it links.
    mData->copiedFrom = const_cast<YFCurveNode*>(&source);
    if (mData->copiedFrom.Get() == nullptr) throw std::bad_alloc();
    SetLayerType(source.GetLayerType());
    mData->rotationOrder = from.rotationOrder;
    mData->Set(yfc::kStateUseQuaternion, from.Has(yfc::kStateUseQuaternion));
    mData->CopyCandidate(from);
}

YFCurveNode::~YFCurveNode()
{
    yfc::EndQueue* const queue = yfc::EndQueue::Leave(*this);
    mData->ending = true;
    yfc::SendEvent(*this, YFCURVENODEEVENT_DESTROY);
    if (mData->callbacks) mData->callbacks->nodeEnded = true;
    mData->endQueue = queue;
    if (queue != nullptr) mData->endState = yfc::EEndState::Begun;
    YFCurveNode::Clear();
    if (mData->parent != nullptr) mData->parent->mData->children.Remove(this);
}

IObject* YFCurveNode::IQuery(unsigned long interfaceId, int)
{
    const bool known = interfaceId == InterfaceId || interfaceId == ISpObjectHolder::InterfaceId ||
                       interfaceId == IObject::InterfaceId;
    return known ? this : nullptr;
}

void YFCurveNode::Destroy(int isLocal)
{
    // A listener of the destroy event may ask for what is under way.
    if (isLocal == 0 && !mData->ending) delete this;
}

YSpObjectHolder* YFCurveNode::GetSpHolder()
{
    return &mData->spHolder;
}

// --- Names and property --------------------------------------------------------------------------------

const char* YFCurveNode::GetName() const
{
    const yfc::NameInfo& names = *mData->names;
    return names.property != nullptr ? names.property->GetName() : names.name.Buffer();
}

const char* YFCurveNode::GetTimeWarpName() const
{
    return mData->names->timeWarpName.Buffer();
}

void YFCurveNode::SetTimeWarpName(const char* name)
{
    Guarded([&] { mData->names->timeWarpName = name; });
}

const char* YFCurveNode::GetTypeName() const
{
    const YDataType* type = GetDataType();
    return type != nullptr ? type->GetName() : "";
}

YDataType* YFCurveNode::GetDataType() const
{
    return mData->names->dataType;
}
YProperty* YFCurveNode::GetProperty() const
{
    return mData->names->property;
}
void YFCurveNode::SetProperty(YProperty* property)
{
    mData->names->property = property;
}

// --- Layer and rotation settings -----------------------------------------------------------------------

int YFCurveNode::GetLayerID() const
{
    return mData->layerInfo.GetLayerID();
}
const YFCurveLayerInfo& YFCurveNode::GetLayerInfo() const
{
    return mData->layerInfo;
}
void YFCurveNode::SetLayerInfo(const YFCurveLayerInfo& layerInfo)
{
    mData->layerInfo = layerInfo;
}
bool YFCurveNode::IsNodeMuted() const
{
    return mData->layerInfo.IsMuted();
}

int YFCurveNode::GetLayerType() const
{
    return static_cast<int>(mData->LayerKind());
}

void YFCurveNode::SetLayerType(int layerType, YFCurveNode*)
{
    if (layerType < 0 || layerType >= yfc::kLayerTypeCount || yfc::kLayerTypeBits[layerType] == 0) return;
    if (layerType == GetLayerType()) return;
    mData->Set(yfc::kStateLayerTypes, false);
    mData->stateFlags |= yfc::kLayerTypeBits[layerType];
}

bool YFCurveNode::IsRotationLayerType() const
{
    return yfc::IsRotation(mData->LayerKind());
}

bool YFCurveNode::IsScalingLayerType() const
{
    const yfc::ELayerKind kind = mData->LayerKind();
    return kind == yfc::ELayerKind::Scaling || kind == yfc::ELayerKind::ScalingUnlayered;
}

eWeightRotationAccumulationMode YFCurveNode::GetWeightRotationAccumulationMode() const
{
    return mData->Has(yfc::kStateRotationByLayer) ? YFCURVE_LAYER_ROTATION_BY_LAYER
                                                  : YFCURVE_LAYER_ROTATION_BY_CHANNEL;
}

void YFCurveNode::SetWeightRotationAccumulationMode(eWeightRotationAccumulationMode mode)
{
    if (mode != YFCURVE_LAYER_ROTATION_BY_LAYER && mode != YFCURVE_LAYER_ROTATION_BY_CHANNEL) return;
    mData->Set(yfc::kStateRotationByLayer, mode == YFCURVE_LAYER_ROTATION_BY_LAYER);
}

int YFCurveNode::GetRotationOrder() const
{
    return mData->rotationOrder;
}

void YFCurveNode::SetRotationOrder(int order)
{
    constexpr int orderCount = 6;
    if (order < 0 || order >= orderCount) return;
    for (YFCurveNode* node = this; node != nullptr; node = node->LayerGet())
        node->mData->rotationOrder = order;
}

bool YFCurveNode::GetUseQuaternion() const
{
    return mData->Has(yfc::kStateUseQuaternion);
}

void YFCurveNode::SetUseQuaternion(bool useQuaternion)
{
    for (YFCurveNode* node = this; node != nullptr; node = node->LayerGet()) {
        node->mData->Set(yfc::kStateUseQuaternion, useQuaternion);
    }
}

// --- Flags ---------------------------------------------------------------------------------------------

int YFCurveNode::GetIOType() const
{
    return static_cast<int>(mData->nodeFlags & yfc::kNodeIOType);
}
void YFCurveNode::SetIOType(bool on)
{
    mData->Set(yfc::kNodeIOType, on);
}
bool YFCurveNode::GetVisibility() const
{
    return mData->Has(yfc::kNodeVisibility);
}
void YFCurveNode::SetVisibility(bool on)
{
    mData->Set(yfc::kNodeVisibility, on);
}
int YFCurveNode::GetContainerType() const
{
    return static_cast<int>(mData->nodeFlags & yfc::kNodeContainer);
}
void YFCurveNode::SetContainerType(bool on)
{
    mData->Set(yfc::kNodeContainer, on);
}
int YFCurveNode::GetTakeType() const
{
    return static_cast<int>(mData->nodeFlags & yfc::kNodeTake);
}
void YFCurveNode::SetTakeType(bool on)
{
    mData->Set(yfc::kNodeTake, on);
}
int YFCurveNode::IsExpended() const
{
    return static_cast<int>(mData->nodeFlags & yfc::kNodeExpanded);
}
void YFCurveNode::SetExpended(bool on)
{
    mData->Set(yfc::kNodeExpanded, on);
}
int YFCurveNode::IsMultiLayer() const
{
    return static_cast<int>(mData->nodeFlags & yfc::kNodeMultiLayer);
}
void YFCurveNode::SetMultiLayer(bool on)
{
    mData->Set(yfc::kNodeMultiLayer, on);
}

bool YFCurveNode::IsLockedByProperty() const
{
    return mData->Has(yfc::kStateLockedByProperty);
}

bool YFCurveNode::IsNodeLocked() const
{
    return IsLockedByProperty() || GetLayerInfo().IsLocked();
}

void YFCurveNode::SetLockedByProperty(bool locked)
{
    yfc::WalkSteadily(*this, yfc::ChildOrLayerOf, [=](YFCurveNode& node, const YFCurveNode*) {
        node.mData->Set(yfc::kStateLockedByProperty, locked);
        if (node.mData->curve) node.mData->curve->SetLockedByProperty(locked);
        return EWalk::Into;
    });
}
