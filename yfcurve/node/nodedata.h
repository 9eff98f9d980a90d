#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ystring.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

// What a node keeps behind its public face, shared by the sources of the node.

namespace yfc {

/// What a node shares with its copies.
struct NameInfo
{
    YString name;
    YString timeWarpName;
    YDataType* dataType = nullptr;
    YProperty* property = nullptr;
};

/// A link to a layer or time-warp node, which counts as a reference to it. It reads null once the node has
/// been destroyed by somebody else. Links are given up with `Relink`, as that may end the node.
class CountedLink
{
  public:
    YFCurveNode* Get() const { return mNode.Get(); }

    /// Links another node, or none, and uncounts the former one. Throws when memory runs out, and then
    /// leaves everything as it was; linking none never does.
    /// \param destroyUnused  destroy the former node if this was the last reference to it.
    /// \return  the former node, if there was one and it is still there.
    YFCurveNode* Relink(YFCurveNode* node, bool destroyUnused);

  private:
    YSpObject<YFCurveNode> mNode;
};

/// Listeners and what they are still to hear. Shared with the deliveries under way, so that a listener may
/// destroy the node.
struct NodeCallbacks
{
    struct Listener
    {
        YFCurveNodeCallback callback;  // null once it is unregistered in the middle of a delivery
        void* object;
    };

    std::vector<Listener> listeners;
    YFCurveNodeEvent pending;
    int deliveries = 0;  // under way
    bool enabled = true;
    bool nodeEnded = false;
};

enum ENodeFlag : std::uint32_t
{
    kNodeIOType = 0x01,
    kNodeVisibility = 0x02,
    kNodeContainer = 0x08,
    kNodeTake = 0x10,
    kNodeExpanded = 0x20,
    kNodeMultiLayer = 0x40
};

enum ENodeState : std::uint32_t
{
    kStateLayerTypes = 0x3F,  // one bit for each layer type
    kStateRotationByLayer = 0x0800,
    kStateUseQuaternion = 0x2000,
    kStateNoTotalCandidate = 0x4000,  // and the low bit of the specific candidate method
    kStateSpecificCandidateHigh = 0x10000,
    kStateLockedByProperty = 0x40000,

    kStateCandidate = kStateNoTotalCandidate | kStateSpecificCandidateHigh,
    /// What a copy of the animation takes over.
    kStateSettings = kStateLayerTypes | kStateRotationByLayer | kStateUseQuaternion
};

struct NodeData
{
    explicit NodeData(YFCurveNode* owner) : spHolder(owner) {}

    static NodeData& Of(YFCurveNode& node) { return *node.mData; }
    static const NodeData& Of(const YFCurveNode& node) { return *node.mData; }

    bool Has(ENodeFlag flag) const { return (nodeFlags & flag) != 0; }
    void Set(ENodeFlag flag, bool on) { Set(nodeFlags, flag, on); }
    bool Has(ENodeState state) const { return (stateFlags & state) != 0; }
    void Set(ENodeState state, bool on) { Set(stateFlags, state, on); }

    /// Back to holding no candidate.
    void ClearCandidate();
    /// Takes over the candidate of another node.
    void CopyCandidate(const NodeData& source);

    std::shared_ptr<NameInfo> names;
    CountedLink layer;
    YFCurveLayerInfo layerInfo;
    std::uint32_t nodeFlags = kNodeExpanded | kNodeMultiLayer;
    std::int32_t referenceCount = 0;
    YArrayTemplate<YFCurveNode*> children;
    YFCurvePtr curve;
    CountedLink timeWarp;
    YSpObject<YFCurveNode> objectLayer;  // null stands for the node itself
    YSpObject<YFCurveNode> copiedFrom;
    YSpObject<YFCurveNode> dataNode;
    YFCurveNode* parent = nullptr;
    std::uint32_t stateFlags = kStateNoTotalCandidate;
    std::int32_t updateId = 0;
    std::int32_t rotationOrder = 0;
    float totalCandidate[4] = {};
    YTime totalCandidateTime = YTIME_INFINITE;
    std::shared_ptr<NodeCallbacks> callbacks;
    std::unique_ptr<IYFCurveETI, YFCurveDestroy> externalTime;
    IConnector* connector = nullptr;
    YSpObjectHolder spHolder;
    bool ending = false;  // the destructor runs: links that are given up meanwhile do not destroy again

  private:
    static void Set(std::uint32_t& word, std::uint32_t bits, bool on)
    {
        word = on ? word | bits : word & ~bits;
    }
};

/// Raises an event of the node. Listeners may destroy it: nothing of the node is to be touched afterwards.
void SendEvent(YFCurveNode& node, EYFCurveNodeEvent type);

/// Raises the curve event for every change of the node's curve, once the node has callbacks.
void ListenToCurve(YFCurveNode& node);
void StopListeningToCurve(YFCurveNode& node);

/// Puts a layer (or none) behind a node and gives its chain the node's object layer and quaternion use,
/// without an event. Throws when memory runs out, and then leaves everything as it was.
/// \return  the former layer, if there was one and it is still there.
YFCurveNode* LinkLayer(YFCurveNode& node, YFCurveNode* layer, bool destroyOld);

/// Runs an operation that may run out of memory, which must not leave the library as an exception. Answers
/// a null, a false, or what else a value-initialised result means.
template<class Operation>
auto Guarded(Operation operation) noexcept -> decltype(operation())
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return decltype(operation())();
    }
}

}  // namespace yfc
