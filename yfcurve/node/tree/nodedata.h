#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <typeinfo>
#include <vector>

#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ystring.h"
#include "yfcurve/node/layers/layerkind.h"
#include "yfcurve/node/tree/ending.h"
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
    kNodeMultiLayer = 0x40,

    /// What has accessors. With any other flag a candidate counts at every time.
    kNodeKnownFlags = 0x7F
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

/// The state bit of each layer type; 4 has none.
inline constexpr std::uint32_t kLayerTypeBits[] = {0x01, 0x02, 0x10, 0x04, 0, 0x20, 0x08};
inline constexpr int kLayerTypeCount = static_cast<int>(std::size(kLayerTypeBits));

/// The layer kind of each pattern of bits.
inline constexpr auto kLayerKinds = [] {
    std::array<ELayerKind, kStateLayerTypes + 1> kinds = {};
    kinds.fill(ELayerKind::Plain);
    for (int type = 0; type < kLayerTypeCount; ++type) {
        if (kLayerTypeBits[type] != 0) kinds[kLayerTypeBits[type]] = static_cast<ELayerKind>(type);
    }
    return kinds;
}();

/// How many components' candidates a node keeps itself. Those of further ones are kept by the children.
inline constexpr int kStoredCandidates = 4;

/// Where a walk that takes no memory goes on; see `WalkSteadily`.
struct WayBack
{
    YFCurveNode* parent = nullptr;
    int next = 0;
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

    EndQueue* QueueOfClear() const { return endState == EEndState::Clearing ? endQueue : nullptr; }

    ELayerKind LayerKind() const { return kLayerKinds[stateFlags & kStateLayerTypes]; }

    /// Back to holding no candidate.
    void ClearCandidate();
    /// Takes over the candidate of another node.
    void CopyCandidate(const NodeData& source);

    // What evaluation reads comes first, on as few cache lines as possible.
    YFCurvePtr curve;
    CountedLink timeWarp;
    CountedLink layer;
    YFCurveLayerInfo layerInfo;
    YFCurveNode* parent = nullptr;
    std::uint32_t stateFlags = kStateNoTotalCandidate;
    std::uint32_t nodeFlags = kNodeExpanded | kNodeMultiLayer;
    YArrayTemplate<YFCurveNode*> children;
    std::int32_t rotationOrder = 0;
    float totalCandidate[kStoredCandidates] = {};
    YTime totalCandidateTime = YTIME_INFINITE;
    std::shared_ptr<NameInfo> names;
    std::int32_t referenceCount = 0;
    std::int32_t updateId = 0;
    YSpObject<YFCurveNode> objectLayer;  // null stands for the node itself
    YSpObject<YFCurveNode> copiedFrom;
    YSpObject<YFCurveNode> dataNode;
    std::shared_ptr<NodeCallbacks> callbacks;
    std::unique_ptr<IYFCurveETI, YFCurveDestroy> externalTime;
    IConnector* connector = nullptr;
    YSpObjectHolder spHolder;
    WayBack wayBack;
    YFCurveNode* nextToEnd = nullptr;
    EndQueue* endQueue = nullptr;
    EEndState endState = EEndState::None;
    bool ending = false;     // the destructor runs: nothing destroys the node again
    bool wasListed = false;  // some node has had it as a child

  private:
    static void Set(std::uint32_t& word, std::uint32_t bits, bool on)
    {
        word = on ? word | bits : word & ~bits;
    }
};

/// The children that a node presents, for evaluations: only a node of a derived class, which may present
/// others than it lists, has to be asked through its operations.
class Children
{
  public:
    explicit Children(const YFCurveNode& node) : mNode(node)
    {
        if (typeid(node) == typeid(YFCurveNode)) {
            const YArrayTemplate<YFCurveNode*>& list = NodeData::Of(node).children;
            mList = list.GetArray();
            mCount = list.GetCount();
        } else {
            mCount = node.GetCount();
        }
    }

    int GetCount() const { return mCount; }
    /// \param index  in range.
    YFCurveNode& operator[](int index) const { return mList != nullptr ? *mList[index] : *mNode.Get(index); }

  private:
    const YFCurveNode& mNode;
    YFCurveNode* const* mList = nullptr;
    int mCount;
};

/// Raises an event of the node. Listeners may destroy it: nothing of the node is to be touched afterwards.
void SendEvent(YFCurveNode& node, EYFCurveNodeEvent type);

/// Gives a node a curve, whose changes the node then tells of if it has callbacks, and raises its curve
/// event. Throws when memory runs out, with the node as it was and the curve's end. \return  the node's
/// former curve.
YFCurvePtr TakeCurve(YFCurveNode& node, YFCurvePtr curve);

/// Has a node that has callbacks, or is to have some, hear of the changes of a curve. Throws when memory runs
/// out.
void ListenToCurve(YFCurveNode& node, YFCurve& curve);
void StopListeningToCurve(YFCurveNode& node);
/// The same for a curve that the node does not have. The node is compared with, and may have ended.
void StopListeningTo(YFCurve& curve, YFCurveNode* node);

/// Makes sure that nothing takes memory any more when a node and the layers behind it, with their children by
/// name, become object layers of another one and its children. Throws when it runs out.
void PrepareChain(YFCurveNode& base, YFCurveNode& node);

/// Puts a layer (or none) behind a node and gives its chain the node's object layer and quaternion use,
/// without an event. Throws when memory runs out, and then leaves everything as it was; linking none never
/// does. \return  the former layer, if there was one and it is still there.
YFCurveNode* LinkLayer(YFCurveNode& node, YFCurveNode* layer, bool destroyOld);

/// The same for a layer that `PrepareChain` has been called for, or that has been in the chain. Takes no
/// memory.
YFCurveNode* LinkPrepared(YFCurveNode& node, YFCurveNode* layer, bool destroyOld);

/// Puts a node into the list of children of another one. Throws when memory runs out.
void List(YFCurveNode& child, YArrayTemplate<YFCurveNode*>& children, int index);

/// Makes a node of a layer, and those below it by name, one property with the node of the base layer: it
/// shares its names and has it as object layer. Throws when memory runs out.
void JoinBase(YFCurveNode& top, YFCurveNode& topBase);

/// Whether a node is another one or reaches it through its children and links. Throws when memory runs out.
bool DependsOn(const YFCurveNode& node, const YFCurveNode& other);

/// The type that a one-letter name stands for ("T", "R", "S": local translation, rotation, scaling), and the
/// letter of a type. Null for others.
YDataType* TypeOfLetter(const char* name);
const char* LetterOfType(const YDataType* type);

}  // namespace yfc
