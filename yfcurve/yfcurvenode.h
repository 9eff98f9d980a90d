#pragma once

#include <cstdint>
#include <memory>

#include "ybaselib/iobject.h"
#include "ybaselib/ydatatype.h"
#include "ybaselib/yproperty.h"
#include "ybaselib/yspobjectholder.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvecandidatestate.h"
#include "yfcurve/yfcurveexport.h"
#include "yfcurve/yfcurvelayer.h"

/// \file
/// The curve node: a tree of curves for one animated property.
///
/// A local translation, for example, is a node with three children "X", "Y" and "Z", each of which holds a
/// curve. A property of one number is a node that holds the curve itself.
///
/// Ownership:
/// - A node owns its curve and its children, and ends them when it ends. A container node (see
///   `SetContainerType`) only lists children that belong elsewhere.
/// - A child added with `Add` knows its parent and leaves the parent's list when it ends. A child added
///   with `SortedAdd` does not, and neither does one that a container lists: take it out of the list before
///   it ends in another way.
/// - Layer nodes and time-warp nodes are shared: each link counts as a reference, and the node ends with its
///   last link. A node that is destroyed in spite of links to it leaves links that read null.
/// - Links to the object layer, the template and the data node hold nothing and read null (the object layer:
///   the node itself) once their target is gone.
///
/// Conventions:
/// - Names are compared without regard to the case of ASCII letters, unless said otherwise; a null name is
///   an empty one. Texts that are returned stay valid until the name is set again.
/// - An operation that runs out of memory is refused, and leaves the tree as it was: the result is null, -1,
///   false, or the position of the first value where values are handed in.
/// - Trees may be as deep, and chains of layers as long, as memory allows. What a walk over a tree of more
///   than 16 levels has to remember takes memory; where that runs out, what only looks at a tree sees a part
///   of it.
/// - A const node still hands out children, links and the curve for changing, as pointers do.
/// - A tree belongs to one thread at a time; different trees may belong to different threads (see
///   yfcurve.h). One exception: any number of threads may evaluate a tree that does not change, as long
///   as each passes a hint of its own.

/// What happened to a node; an event's type is the OR of these.
enum EYFCurveNodeEvent : std::uint32_t
{
    YFCURVENODEEVENT_NONE = 0,
    YFCURVENODEEVENT_DESTROY = 2,   ///< the node is going away
    YFCURVENODEEVENT_CURVE = 4,     ///< the node has another curve, or its curve changed
    YFCURVENODEEVENT_TIMEWARP = 8,  ///< the node has another time-warp node
    YFCURVENODEEVENT_LAYER = 16     ///< the chain of layers above the node changed
};

/// One or many changes of a node, merged.
struct YFCurveNodeEvent
{
    std::uint32_t type = YFCURVENODEEVENT_NONE;  ///< bits of `EYFCurveNodeEvent`
    std::int32_t mark = 0;                       ///< for hosts; kept from event to event
    std::int32_t count = 0;                      ///< how many changes were merged
    void* data = nullptr;                        ///< for hosts, see `SetData`

    /// Back to no change; the mark stays.
    void Clear()
    {
        type = YFCURVENODEEVENT_NONE;
        count = 0;
        data = nullptr;
    }

    /// Merges one more change in.
    void Add(std::uint32_t addedType)
    {
        type |= addedType;
        ++count;
    }

    void SetData(void* userData) { data = userData; }
};

class IConnector;
class YFCurveNode;
class YTalo;

namespace yfc {
struct NodeData;
}

/// Receives a node's changes: the node, the merged event (valid during the call), and the object that was
/// registered with the function.
using YFCurveNodeCallback = void (*)(YFCurveNode* node, YFCurveNodeEvent* event, void* object);

/// Where a node's keys are when they are not in its curves: samples that the host streams, the frames of a
/// clip. The host implements this for `YFCurveNode::SetETI`, and the node then takes all times of keys
/// from it. Such a property has keys on its base layer alone: see
/// `YFCurveNode::GetCorrectLayerInfo`. The library holds one for a node and ends it (`Destroy`).
class YFCURVE_EXPORT IYFCurveETI : public IObject
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("IYFCurveETI");

    virtual int ETIKeyGetCount() const = 0;
    /// \param index  from 0 to the count - 1; times ascend strictly with it.
    virtual YTime ETIKeyGetTime(int index) const = 0;

    /// Where the node's own time is on the host's time line, and back. Both ascend strictly and are each
    /// other's inverse to the tick; at first the two times are one.
    virtual YTime ETINodeTime2GlobalTime(YTime time) const { return time; }
    virtual YTime ETIGlobalTime2NodeTime(YTime time) const { return time; }
    /// The span of the time line in which the node is active; a duration of 0, as at first, is no limit, and
    /// an infinite one has no end.
    virtual YTime ETIGetGlobalActiveStart() const { return YTIME_MINUS_INFINITE; }
    virtual YTime ETIGetDuration() const { return YTIME_ZERO; }

  protected:
    ~IYFCurveETI() = default;
};

class YFCURVE_EXPORT YFCurveNode : public ISpObjectHolder
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("YFCurveNode");

    /// Whether a node holds a total candidate: values at one time for all of its components together.
    enum eCandidateMethod : std::int32_t
    {
        YFCURVE_CANDIDATE_NONE = 1,
        YFCURVE_CANDIDATE_TOTAL = 2
    };

    /// What a layer does to what lies below it, seen from the layer that a user wants to key. See
    /// `CheckLayerMode`.
    enum LayerModeCase : std::int32_t
    {
        YFCURVE_LAYERCASE_HIDES_REFERENCE = 0,  ///< it replaces what the reference layer makes
        YFCURVE_LAYERCASE_ADDS = 1,             ///< it adds to it, or is muted
        YFCURVE_LAYERCASE_BLENDS = 2,           ///< it replaces a part of it
        YFCURVE_LAYERCASE_HIDES_BELOW = 3       ///< it replaces what lies below the reference layer
    };

    /// A node without curve, children and layers, on its own. Prefer `YFCurveNodeCreate`, which returns null
    /// where a constructor has to throw `std::bad_alloc`.
    /// \param type       not owned; null for none.
    /// \param layerType  see `SetLayerType`; a number that has no type gives plain values.
    YFCurveNode(const char* name, const char* timeWarpName, YDataType* type, int layerType,
                const YFCurveLayerInfo& layerInfo);
    /// A node for the same property, without curve, children and layers: it shares the names, data type and
    /// property of `source` (renaming one renames the other), takes over layer type, rotation order,
    /// quaternion use and candidate, belongs to the base layer, and has `source` as template. For copies
    /// of the animation see `Clone`.
    YFCurveNode(const YFCurveNode& source);
    YFCurveNode& operator=(const YFCurveNode&) = delete;

    // --- Object ----------------------------------------------------------------------------------------

    /// This object as the interface of that id (`IObject`, `ISpObjectHolder`, `YFCurveNode`), else null.
    IObject* IQuery(unsigned long interfaceId, int subId = 0) override;
    /// Ends the node: tells the listeners (`YFCURVENODEEVENT_DESTROY`, with everything still in place),
    /// clears it (see `Clear`), leaves the parent's list and deletes it. Nothing for a node that tells its
    /// listeners so already. Of a tree each node is gone before those below it hear of their own end.
    void Destroy(int isLocal = 0) override;
    /// Where weak references (`YSpObject`) to this node hang.
    YSpObjectHolder* GetSpHolder() override;
    virtual ~YFCurveNode();

    // --- Children --------------------------------------------------------------------------------------
    // Every operation on a tree asks for children through `GetCount` and `Get`, so that a derived node may
    // present others than those that were added.

    /// Empties the node: its children are destroyed (a container only forgets them), its curve is, and its
    /// links to a layer and to a time-warp node are released. The node is its own object layer again. Raises
    /// no event.
    virtual void Clear();
    /// Appends a child and, unless this is a container, becomes its parent. A child belongs to one list at a
    /// time, containers aside. Returns its index; -1 for null, for the node itself, and for one that leads
    /// back to it through its children, layers and time warps, such as an ancestor.
    virtual int Add(YFCurveNode* child);
    /// Takes the child out of the list, which then is the caller's. An index out of range does nothing.
    virtual void Remove(int index);
    /// Takes the child out of the list and destroys it, unless this is a container.
    virtual void Delete(int index);
    virtual int GetCount() const;
    /// Null for an index out of range.
    virtual YFCurveNode* Get(int index) const;
    /// \param recursive  also whether the node is a child of a child, at any depth.
    virtual bool IsChild(const YFCurveNode* node, bool recursive = false) const;
    /// The first child of that data type, null when there is none.
    virtual YFCurveNode* Find(YDataType* type) const;
    /// The index of that child, -1 when it is none.
    virtual int Find(const YFCurveNode* child) const;
    /// The index of the first child of that name, -1 when there is none.
    virtual int Find(const char* name) const;
    /// Stores the parent; the lists of both parents stay as they are.
    virtual void SetParent(YFCurveNode* parent);
    virtual YFCurveNode* GetParent() const;
    /// Inserts a child in the order of names, before those of the same name, and returns its index; -1 as
    /// `Add`. Takes the list to be in order. Other than `Add`, it leaves the child's parent alone: for views
    /// that sort nodes which belong elsewhere.
    virtual int SortedAdd(YFCurveNode* child);

    /// As `Delete` of its index; nothing when it is not a child.
    void Delete(YFCurveNode* child);
    /// The child of that name. A missing one is added: a node of that name without a data type.
    /// \param createCurve  also give it a curve when it has none, and raise its curve event.
    YFCurveNode* FindOrCreate(const char* name, bool createCurve = true);
    /// The first node below this one of that name, each child coming before its own children; null when
    /// there is none. The names "T", "R" and "S", in capitals, also find the local translation, rotation and
    /// scaling, whatever their nodes are called.
    YFCurveNode* FindRecursive(const char* name) const;
    /// The same by data type.
    YFCurveNode* FindRecursive(YDataType* type) const;

    // --- Names and property ----------------------------------------------------------------------------
    // A node and the copies made from it share these.

    /// The property's name while one is attached, else the node's own.
    const char* GetName() const;
    const char* GetTimeWarpName() const;
    void SetTimeWarpName(const char* name);
    /// The data type's name, empty without one.
    const char* GetTypeName() const;
    YDataType* GetDataType() const;
    YProperty* GetProperty() const;
    /// Attaches a property, not owned, or detaches it (null). It has to stay as long as it is attached.
    void SetProperty(YProperty* property);

    // --- Curve -----------------------------------------------------------------------------------------

    YFCurve* FCurveGet() const;
    /// Takes another curve over (null for none) and raises the curve event; nothing when it is the current
    /// one. A curve belongs to one node.
    /// \param destroyOld  destroy the curve that the node had.
    /// \return  that curve, which then is the caller's; null when it was destroyed or there was none, and
    ///          when memory runs out: the node then keeps its curve, and the other one stays the caller's.
    YFCurve* FCurveSet(YFCurve* curve, bool destroyOld = false);
    /// As `FCurveSet`, destroying the old curve.
    void FCurveReplace(YFCurve* curve);
    /// Gives a curve to every leaf of the tree that has none, raising the leaf's curve event.
    void CreateFCurve();
    /// Whether every leaf of the tree has a curve.
    bool FCurveCreated() const;
    /// The curve's colour; black without a curve.
    const float* GetColor() const;
    /// Nothing without a curve.
    void SetColor(const float* color);

    // --- Layers ----------------------------------------------------------------------------------------
    // The nodes of a property's layers form a chain of ascending layer ids that starts at the base node; all
    // have the base node as object layer, and their children have the base node's children of the same
    // names.

    /// The next node of the chain; null at its end.
    YFCurveNode* LayerGet() const;
    /// The node of that layer id, found from here along the chain; null when there is none.
    YFCurveNode* LayerGet(int layerId);
    /// Puts another node (and the chain that hangs on it) behind this one, or nothing (null); gives it this
    /// node's object layer and quaternion use, and raises the layer event at the object layer. Nothing when
    /// it is the current one or leads back here. The order of ids is the caller's affair.
    /// \param destroyOld  false leaves the former layer without this link but alive, even if it was the last.
    /// \return  the former layer when it was not destroyed (others may link it still), else null.
    YFCurveNode* LayerSet(YFCurveNode* layer, bool destroyOld = false);

    /// As `LayerGet` of an id; of a node that is not multi-layer always the base layer, the only one it has.
    YFCurveNode* GetLayerNode(int layerId);
    /// The node of the chain behind which a layer of that id hangs, or would hang; null for id 0.
    YFCurveNode* GetPreviousLayer(int layerId);
    /// As `GetLayerNode`.
    YFCurveNode* GetCorrectLayer(int layerId);
    /// The layer that a wish for a layer means on this node: the id itself when the node is multi-layer, else
    /// 0.
    int GetCorrectLayerID(int layerId) const;
    /// The same for a layer info: itself on a node that is multi-layer and whose times of keys are its own
    /// (its first child has no `IYFCurveETI` or, without children, it has none itself), else `Base`.
    YFCurveLayerInfo GetCorrectLayerInfo(const YFCurveLayerInfo& layerInfo) const;
    /// The node of the layer that a layer info means here; a missing one is made. Null as `CreateLayerAt`.
    YFCurveNode* GetCorrectLayerAndCreateIfMissing(const YFCurveLayerInfo& layerInfo);
    /// The node of that layer, made at its place in the chain if it is missing: a tree of the same shape
    /// (`CloneTemplate`) as the layer before it or, where that one lacks a component, as this node, whose
    /// curves hold the neutral values, so that an additive layer changes nothing yet.
    /// \return  null when the node is not multi-layer, when its own id is not below the wanted one, or when
    ///          memory runs out.
    YFCurveNode* CreateLayerAt(const YFCurveLayerInfo& layerInfo);
    /// Makes the node of that layer animate as another node of the same shape (`SingleLayerCopyFrom`), and
    /// returns it. Null when it is missing and cannot be made, and for a null source.
    YFCurveNode* InsertOrCopyLayer(const YFCurveLayerInfo& layerInfo, const YFCurveNode* source);
    /// Takes the layer of that id out of the chain and raises the layer event at the object layer.
    /// \param destroy  end it, unless others link it still.
    /// \return  the layer, which then is the caller's and keeps this node as object layer; null when it was
    ///          destroyed or there is none.
    YFCurveNode* RemoveLayer(int layerId, bool destroy);

    /// What this layer does at a time to the total that the layers below have made, for a host that wants to
    /// key the layer of a reference id.
    LayerModeCase CheckLayerMode(YTime time, int referenceLayerId) const;

    /// Writes the values that a layer which changes nothing holds, one for each child, or one for a node that
    /// holds a curve: 0, or 1 for layer type 3. Layer types 4 and 6 write nothing.
    void GetZeroValues(double* values) const;

    /// Combines this layer into a total at a time, by its weight and mode (yfcurvelayer.h).
    ///
    /// Plain values (layer types 0, 1 and 5) add up as the modes say. Scalings (type 3) do on absolute values
    /// and in the exponent: |d| |s|^w, |s|^w, and |s|^w |d|^(1 - w); so a stack of them has no negative and,
    /// once a layer is 0, no other result than 0. Rotations of type 2 (Euler angles in the node's rotation
    /// order, three children) turn as wholes: the total and then the w-th power of the layer, that power
    /// alone, or the way w from the total to the layer (Shoemake 1985). Type 6 changes nothing.
    ///
    /// A node with a curve does so when it has no parent. As the component of a node it adds its value (types
    /// 0 and 1) or multiplies by it (type 3) whole, since the weight is its parent's affair; and rotations
    /// and type 6 have no meaning for a single value and change nothing.
    void AccumulateValue(double* total, const double* values, YTime time) const;

    /// Replaces values by what counts of them at a weight: a rotation (layer type 2, three children) by its
    /// power, a local scaling's components by theirs, with their signs, and others by the multiple. A node
    /// without children of layer type 0 leaves its value.
    ///
    /// Powers of rotations come from the turn by at most 180 degrees; turns below 0.51 degrees are left as
    /// they are. With an angle of 180 degrees the triple is shrunk by a thousandth for the conversion, which
    /// keeps turns about one axis on their side of the half turn.
    void ApplyWeightedValue(double* values, double weight) const;
    /// The same for weights of a layer: above 0.99999 it leaves the values, and below 1e-5 they become
    /// neutral (`GetZeroValues`).
    void AddWeightedValue(double* values, double weight) const;
    /// The way back: what a layer of that weight has to hold so that these values count of it. Weights above
    /// 0.99999 and below 1e-5 leave the values.
    void ResolveWeightedValue(double* values, double weight) const;

    /// The base node of the chain; the node itself where it is on no chain.
    YFCurveNode* ObjectLayerGet();
    /// Stores a link; null means the node itself.
    void ObjectLayerSet(YFCurveNode* node);

    int GetLayerID() const;
    const YFCurveLayerInfo& GetLayerInfo() const;
    void SetLayerInfo(const YFCurveLayerInfo& layerInfo);
    /// Whether the layer is muted.
    bool IsNodeMuted() const;
    /// The curve of the layer's weight (`YFCurveWeightedLayer`) where what the property shows moves with it, as
    /// it does with the curves of the node: its keys then are as good as theirs. Null where no curve gives the
    /// weight or the weight has no effect: on a muted layer, on a base layer that is alone, on components and
    /// nodes of properties, and on an additive layer that adds nothing.
    const YFCurve* GetWeightCurve() const;

    /// How the values of the node combine across layers: one of `eLayerType`.
    int GetLayerType() const;
    /// Other numbers, 4 among them, are ignored.
    /// \param node  for the caller's own use; the type does not depend on it.
    void SetLayerType(int layerType, YFCurveNode* node = nullptr);
    bool IsRotationLayerType() const;
    bool IsScalingLayerType() const;

    /// By channel for a new node.
    eWeightRotationAccumulationMode GetWeightRotationAccumulationMode() const;
    /// Values outside the enumeration are ignored.
    void SetWeightRotationAccumulationMode(eWeightRotationAccumulationMode mode);

    /// 0 to 5 for XYZ, XZY, YZX, YXZ, ZXY and ZYX, the first letter being the axis that turns the vector
    /// first. 0 for a new node.
    int GetRotationOrder() const;
    /// Sets it on the layers behind this node as well. Other numbers are ignored.
    void SetRotationOrder(int order);
    /// Whether rotations are interpolated as quaternions.
    bool GetUseQuaternion() const;
    /// Sets it on the layers behind this node as well.
    void SetUseQuaternion(bool useQuaternion);

    // --- Time warp, other links ------------------------------------------------------------------------

    /// The node whose curve maps the time of this one; null for none.
    YFCurveNode* TimeWarpGet() const;
    /// Links another one (or none), releases the former, and raises the time-warp event. Nothing when it is
    /// the current one or depends on this node itself.
    void TimeWarpSet(YFCurveNode* timeWarp);

    /// The node that this one was copied from; null for none.
    YFCurveNode* TemplateGet() const;
    YFCurveNode* DataNodeGet() const;
    void DataNodeSet(YFCurveNode* node);

    /// The host's connection to the animated object; not owned.
    IConnector* GetConnector() const;
    void SetConnector(IConnector* connector);
    IYFCurveETI* GetETI() const;
    /// Takes the information over and ends what was there before.
    void SetETI(IYFCurveETI* information);
    // What the information says, as the operations of the same names say it of curves; as for no keys at all
    // when there is none.
    int ETIKeyGetCount() const;
    bool ETIIsKey(YTime time) const;
    YTime ETIGetNextKeyTime(YTime time) const;
    YTime ETIGetPrevKeyTime(YTime time) const;
    YTime ETIGetFirstKeyTime() const;
    YTime ETIGetLastKeyTime() const;
    // The node's place on the host's time line; without information its own time, active always.
    YTime ETINodeTime2GlobalTime(YTime time) const;
    YTime ETIGlobalTime2NodeTime(YTime time) const;
    YTime ETIGetGlobalActiveStart() const;
    YTime ETIGetDuration() const;
    /// Whether the node is active at a global time; both ends count.
    bool ETIIsGlobalTimeInSpan(YTime time) const;

    /// Links to this node: 0 at first, one for each layer and time-warp link and for each host that counts
    /// itself in. The operations return the new count; a host that counts itself out destroys the node when
    /// that is below 1.
    int GetReferenceCount() const;
    int IncReferenceCount();
    int DecReferenceCount();

    // --- Flags -----------------------------------------------------------------------------------------
    // Getters return 0 or the bit named here. New nodes are expanded and multi-layer, everything else is off.

    int GetIOType() const;  ///< 0x01
    void SetIOType(bool on);
    bool GetVisibility() const;
    void SetVisibility(bool on);
    int GetContainerType() const;  ///< 0x08
    /// A container lists children without owning them. To be set before the first child is added.
    void SetContainerType(bool on);
    int GetTakeType() const;  ///< 0x10
    void SetTakeType(bool on);
    int IsExpended() const;  ///< 0x20
    void SetExpended(bool on);
    /// Whether the node may have other layers than its base.
    int IsMultiLayer() const;  ///< 0x40
    void SetMultiLayer(bool on);

    /// A node that its property locks takes no keys and gives up no candidate.
    bool IsLockedByProperty() const;
    /// Locks or unlocks what is there: the node, its curve, its children and the layers behind it.
    void SetLockedByProperty(bool locked);
    /// Locked by the property or by the layer: filters and tools that come upon the node in a tree leave it
    /// and all below it alone. For one that is itself given to a filter see `YFCurveFilter::Apply`.
    bool IsNodeLocked() const;

    // --- Evaluation ------------------------------------------------------------------------------------
    // Arrays of values come in two layouts, which differ where a child has no curve:
    // - one value for each curve below the node: `Evaluate`, `KeyAdd`, `KeyAppend`, `KeyRecord`,
    //   `CandidateGetWithTime`, and so do the children in the order in which they are;
    // - one value for each component, with or without a curve: all that evaluates across layers,
    //   `CandidateSet`, `CandidateGet` and `CandidateKey`.
    // Muted nodes write nothing in `Evaluate`, locked ones use nothing, and without a candidate
    // `CandidateGet` writes nothing: to walk an array over several nodes, step by `GetCurveCount` or
    // `GetComponentCount`, never by what was returned.
    //
    // Which one to use: the own curves `Evaluate`; all layers `GeneralEvaluate`; all layers with a pose that
    // is not keyed yet `CandidateEvaluate`; one layer `EvaluateSpecificLayer`; a rotation's own angles, in
    // the form of angles or of quaternions, `RotationNodeEvaluate`.

    /// The values of a node in the first layout: how many curves there are, at any depth.
    int GetCurveCount() const;
    /// The values of a node in the second layout: 1 for a node with a curve, else one for each child or,
    /// where children have children, for each of theirs. 0 for a node with neither.
    int GetComponentCount() const;

    /// Writes the values at a time, one for each curve: a node with a curve writes the curve's value, any
    /// other has its children write theirs in order, and a muted one writes nothing. Layers, time warp and
    /// candidates are not looked at.
    /// \param values  room for one value for each curve below the node.
    /// \param last    one hint for all curves, which usually have keys at the same times; null uses the hint
    ///                inside each curve. With a hint of the caller's, nothing in the tree is written.
    /// \return  the position after the last value written.
    double* Evaluate(double* values, YTime time, int* last = nullptr) const;

    // The operations below evaluate a property across its layers. They are for its base node, and write one
    // value for each child, or one for a node with a curve. Time warps count: where the node or a layer has
    // one, its value in seconds is the time from there on, and weights are those at that time. Time warps may
    // be warped in turn; where the components of one have links of their own, and so on, the first 100 of
    // them count.
    //
    // A node with no layer behind it has its own values as they are, whatever weight and mode its layer has.
    // On a chain every layer that is not muted is combined into the neutral values (`AccumulateValue`), and a
    // child without a curve counts as neutral: 1 on a layer of type 3, and on a node of type 6 with no layers
    // what the array held before. A child that is muted on its own counts with its own neutral value. A node
    // whose children have children of their own, on a chain, combines them one by one, each as the property
    // that it is. Evaluating allocates nothing.
    //
    // A layer may have other children than the base node. Its children belong to the components of their
    // names, one with a name that no component has to the component at its position, and a component for
    // which the layer has no child stays what the layers below make it. Rotations of type 2 turn as wholes on
    // layers with three children; with fewer, angles combine one by one.

    /// The values of all layers together, by their keys alone.
    /// \param values  room for one value for each child or, where children have children, for each of theirs.
    /// \param last    a hint as for `Evaluate`; the layers start from it. With one, nothing in the tree is
    ///                written.
    /// \return  the position after the last value.
    double* GeneralEvaluate(double* values, YTime time, int* last = nullptr) const;
    /// \param withCandidates  as `CandidateEvaluate`.
    double* GeneralEvaluate(double* values, YTime time, int* last, bool withCandidates);
    /// The same with candidates. A total candidate at that time is the result as it stands, unless the base
    /// layer is muted; otherwise the candidates of the curves count (`YFCurve::CandidateEvaluate`).
    ///
    /// The result becomes the node's total candidate, as the curves keep theirs: asking again for the same
    /// time is cheap. It replaces a candidate that was set for another time, and does not notice later
    /// changes of keys, layers and weights; `CandidateClear` forgets it.
    double* CandidateEvaluate(double* values, YTime time, int* last = nullptr);

    /// The values of a rotation (layer type 2 or 5) by its own three curves, without layers: the angles as
    /// the curves have them or, when the node uses quaternions (`SetUseQuaternion`), orientations that turn
    /// evenly and on the shortest way from each time at which any of the curves has a key to the next. There
    /// and outside the keys the angles are those of the curves; in between they are the ones nearest to what
    /// the curves say. A span in which every curve is constant keeps its angles.
    double* RotationNodeEvaluate(double* values, YTime time, int* last = nullptr) const;
    /// \param withCandidates  the curves' candidates count, and are kept as `YFCurve::CandidateEvaluate`
    ///                        does.
    double* RotationNodeEvaluate(double* values, YTime time, int* last, bool withCandidates);

    /// What one layer's curves say at a time of the base node, without weight. Nothing is written, and
    /// `values` returned, when there is no such layer; mute does not matter.
    double* EvaluateSpecificLayer(double* values, YTime time, int layerId, int* last = nullptr);
    /// The same with the candidates of the curves.
    double* CandidateEvaluateSpecificLayer(double* values, YTime time, int layerId, int* last = nullptr);

    // --- Candidates ------------------------------------------------------------------------------------
    // A candidate is what a property is to be at one time, before keys are made of it: set it while the
    // user drags, then key it (`CandidateKey`) or forget it (`CandidateClear`). Keys stay as they are until
    // then. Operations take a node's values as `Evaluate` writes them, and return the position after those
    // that they used.

    /// Whether the node holds a total candidate.
    bool IsCandidate() const;
    eCandidateMethod GetTotalCandidateMethod() const;
    /// A number of two bits that tells what kind of candidate the node holds: 1 none, 2 one that was set, 0
    /// one that evaluation has kept.
    int GetSpecificCandidateMethod() const;

    /// Holds values for the whole stack at a time as candidate; the time warp applies.
    ///
    /// Components without any key, on this node and on the next layer, cannot hold one alone: what the layer
    /// has to hold for these values becomes the default value of its curve at once (not of a locked one), for
    /// good. So dragging a property that is not animated just sets it.
    /// \param layerInfo   the layer that the values are meant for; a missing one is made when a default value
    ///                    has to go there.
    /// \param childIndex  for derived nodes: which component of its parent this is, -1 for a call that does
    ///                    not come from the parent.
    /// \return  `values` when the layer is locked, or when this is not a base node: nothing is used then.
    const double* CandidateSet(YTime time, const double* values,
                               const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base,
                               int childIndex = -1);
    /// Writes the total candidate, in single precision; nothing when there is none.
    double* CandidateGet(double* values) const;
    /// Writes the candidates of the node's own curves, and into `time` that of the last one.
    double* CandidateGetWithTime(double* values, YTime& time) const;
    /// Writes the four values and the time of the total candidate, whether there is one or not.
    void CandidateGetTotalCandidate(double* values, YTime& time) const;

    /// Forgets the candidates of a layer, its children and curves included, unless it is locked or the node
    /// is locked by its property. Every evaluation is then what the keys and default values make it.
    /// \param layerId         on a node that is not multi-layer always the base layer's.
    /// \param clearSubLayers  those of all layers behind it as well.
    /// \return  true.
    bool CandidateClear(int layerId = 0, bool clearSubLayers = true);
    /// Forgets those of the layers behind this node.
    void CandidateClearSubLayers();

    /// Makes keys of the candidate, on one layer, such that the whole stack evaluates to it; without a total
    /// candidate of what `CandidateEvaluate` says. Then all candidates are cleared. Nothing happens when the
    /// layer is locked or the node is locked by its property, and curves that are locked are left out, as are
    /// components that the layer has no curve for.
    ///
    /// The layer gets what solves the stack for it. Where no value does, it is keyed all the same, and the
    /// stack goes on to show something else than the candidate did: `ComputeCandidateForLayer` says where.
    /// \param keyIndices     receives the index of each component's key, -1 where none was set; null if not
    ///                       wanted.
    /// \param layerInfo      the layer to key; it is made when it is missing.
    /// \param keyAdded       receives for each component whether a key is new; null if not wanted.
    /// \param onlyChanged    leave curves alone that have the value already, to within `tolerance`.
    /// \param interpolation  of new keys; an existing key at the time takes the value and stays what it is.
    /// \param tangentMode    of new keys.
    /// \param childIndex     key this component alone; -1 for all.
    /// \param nearestAngles  give a rotation on several layers those of its equal angles that are nearest to
    ///                       what the layer has at that time, so that its curves do not spin.
    /// \param time           of the key, where the candidate's values are to go; infinity means the
    ///                       candidate's own time. The time warp applies to it.
    /// \return  true; false, with nothing changed, when memory runs out.
    bool CandidateKey(int* keyIndices = nullptr, const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base,
                      bool* keyAdded = nullptr, bool onlyChanged = false,
                      int interpolation = YFCURVE_INTERP_CUBIC, int tangentMode = YFCURVE_TANGENT_AUTO,
                      int childIndex = -1, bool nearestAngles = true, YTime time = YTIME_INFINITE,
                      double tolerance = 0.0);

    /// The share that a layer has to contribute so that the whole stack comes to a total at a time, whatever
    /// the layer holds now: after the weight, which `CandidateSetSpecificLayer` divides out. For plain values
    /// over and under additive layers it is the total less the other layers; layers above that override in
    /// part are undone, layers below count as far as this one leaves them.
    ///
    /// Not every total can be reached, and what is written then is
    /// - for a component that the layer has no child for: the total;
    /// - below a layer that overrides all, and at weight 0: a share that has no effect;
    /// - for a rotation: weights below 1 leave a part of a half turn at most, and the share is what comes
    ///   nearest when the way is longer than that;
    /// - for a scaling: the absolute value where it would have to be negative, as of a negative total or of one
    ///   that is less than what layers above add; and where other layers are 0, neutral values.
    ///
    /// \param share    room for the node's values. Layer type 6 gets the total; nothing is written for a node
    ///                 whose children have children.
    /// \param layerId  an id without a layer means this node.
    void ComputeCandidateForLayer(double* share, const double* total, YTime time, int layerId,
                                  int* last = nullptr) const;
    /// Gives the curves of one layer candidates at a time, such that its share of the stack is that one (see
    /// `ComputeCandidateForLayer`), and drops the total candidate: `CandidateEvaluate` shows the stack with
    /// them. A missing layer is made.
    /// \param nearestAngles  as for `CandidateKey`.
    /// \return  the position after the values used; `share` when the layer is locked or cannot be made.
    const double* CandidateSetSpecificLayer(YTime time, const double* share,
                                            const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base,
                                            bool nearestAngles = true);
    /// Makes keys of the candidates that the curves of one layer hold. The arguments are those of
    /// `CandidateKey`. Other candidates stay.
    /// \return  false when there is no such layer, or it or the node is locked, and when memory runs out.
    bool CandidateKeySpecificLayer(int* keyIndices = nullptr,
                                   const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base,
                                   bool* keyAdded = nullptr, bool onlyChanged = false,
                                   int interpolation = YFCURVE_INTERP_CUBIC,
                                   int tangentMode = YFCURVE_TANGENT_AUTO, int childIndex = -1,
                                   double tolerance = 0.0);

    /// Saves the candidates of the node, its children and the layers behind it, those of curves included.
    /// \return  false, with the state unchanged, when memory runs out.
    bool GetCandidateState(YFCurveNodeCandidateState& state) const;
    /// Puts them back: children are matched by index, layers by id, and those that the state does not know
    /// are left alone. Default values and keys are not part of a state.
    void SetCandidateState(const YFCurveNodeCandidateState& state);

    // --- Keys ------------------------------------------------------------------------------------------
    // These act on all curves below the node, on its own layer, at the curves' own times: time warps do not
    // count. Those that add keys take one value for each curve, in the order of `Evaluate`, and return the
    // position after those that they used: nothing is used by a node whose layer is locked or that is locked
    // by its property. Where times are asked for, those of a node with an `IYFCurveETI` come from that.

    /// Adds cubic auto keys without weights, or replaces the keys at that time. The values are those of this
    /// layer as they are; for a total of all layers use `CandidateSet` and `CandidateKey`.
    const double* KeyAdd(YTime time, const double* values);
    /// Adds keys behind the last ones, as `YFCurve::KeyAppendFast`: a curve whose last key is not before the
    /// time gets none.
    const double* KeyAppend(YTime time, const double* values);
    /// `KeyAppend` for recording: a curve that has three keys of the same value and is to get a fourth moves
    /// the last two of them instead, the third to the new time and the second to where the third was. So a
    /// curve that does not move stays at three keys.
    const double* KeyRecord(YTime time, const double* values);
    /// Removes the keys at that time, from no locked curve.
    /// \return  whether there was one.
    bool DeleteKey(YTime time);

    /// The keys of the curves below the node.
    /// \param includeLayers  also those of the layers behind the node itself; here and below.
    int KeyGetCount(bool includeLayers = false) const;
    /// The keys of one child, on this node's layer and on those behind it; 0 for an index out of range.
    int KeyGetCountOnChild(int index) const;
    /// Whether any of the curves has a key at exactly that time.
    bool IsKey(YTime time, bool includeLayers = false) const;
    /// The first time after a given one at which any of the curves has a key; infinity when there is none.
    YTime GetNextKeyTime(YTime time, bool includeLayers = false) const;
    /// The last time before it; minus infinity when there is none.
    YTime GetPrevKeyTime(YTime time, bool includeLayers = false) const;
    /// Infinity without keys.
    YTime GetFirstKeyTime(bool includeLayers = false) const;
    /// Minus infinity without keys.
    YTime GetLastKeyTime(bool includeLayers = false) const;

    // --- Update counters -------------------------------------------------------------------------------

    /// The update ids of the curves below the node, added up (see `YFCurve::GetUpdateId`): when two results
    /// differ, something was changed in between.
    std::uint32_t GetUpdateId() const;
    /// The same for changes of values alone, in the layers behind each node too.
    std::uint32_t GetValuesUpdateId() const;
    /// How many events the node has raised.
    int GetNodeUpdateId() const;

    // --- Copies ----------------------------------------------------------------------------------------
    // Copies share names, data type and property with what they were copied from, as the copy constructor
    // says, node by node; a copy has no parent, listeners, connector, data node and external time
    // information. A container's copy lists the same children.

    /// A new tree with the same children, curves and keys, flags, settings and layer infos, and a chain of
    /// layers of its own; time-warp nodes are shared. The caller owns the result.
    YFCurveNode* Clone() const;
    /// As `Clone`, with the keys from `start` to `stop` (inclusive) alone, so that each curve evaluates alike
    /// between its first and last remaining key (`YFCurve::Copy`).
    YFCurveNode* Copy(YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE) const;
    /// As `Clone`, without any layers: neither those behind this node nor those behind the nodes below it.
    YFCurveNode* SingleLayerCopy() const;
    /// A new tree of the same shape on another layer: the same children, flags and settings, curves of the
    /// same colour, default value and extrapolation without keys, no layers and no time warp. Every node of
    /// it gets the layer info.
    YFCurveNode* CloneTemplate(const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base) const;

    // The operations below need a tree of the same shape: as many children, of the same names in the same
    // order, at every level; the names of the two top nodes may differ. Otherwise, and for null, they refuse
    // (false) before anything is changed. Layers are matched by id, and so have to have the same shape.

    /// Makes this tree animate as another one: takes over curves with their keys and settings, flags (the
    /// container flag excepted), layer type, rotation settings and time warp, and the same for each layer
    /// behind each node; layers that only one of the two has are added, under this tree's names, or destroyed.
    /// Curves that both have keep their identity and their listeners; names, property, lock, candidates and
    /// the layer infos of nodes that were there stay. Refused where a node would have to become equal to
    /// another layer of its own chain.
    bool CopyFrom(const YFCurveNode* source);
    /// `CopyFrom` without the layers, here and below, which stay as they are. Also from one layer of a chain
    /// to another.
    /// \param withLayerInfo  take the source's layer infos over as well.
    bool SingleLayerCopyFrom(const YFCurveNode* source, bool withLayerInfo = false);
    /// Replaces a span of time by the source's, on every pair of curves and on every layer that both have,
    /// of the node itself and of those below it: see `YFCurve::Replace` for the meaning of the arguments.
    /// Where either of two nodes has no curve, nothing happens; call `CreateFCurve` first to paste onto a
    /// property that is not animated yet. Refused as `CopyFrom` is.
    bool Replace(const YFCurveNode* source, YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE,
                 bool exactSpan = true, bool keyAtEnds = true, YTime offset = YTIME_ZERO);

    // --- Change notification ---------------------------------------------------------------------------
    // Node events tell of the node's links and, one for one with the events of its curve, of edits of keys;
    // what changed in the curve is for listeners of the curve itself. A node whose callbacks no host has
    // registered or enabled does not listen to its curve, keeps no event and counts no updates.

    /// Adds a listener; the same pair may be added several times and is then called as often. Listeners are
    /// called from the latest to the first. One may register and unregister listeners during a call: those
    /// added are not called for the event at hand, those removed not any more. It may even destroy the node,
    /// unless the event comes from its curve or from an operation on a whole tree (`CreateFCurve`,
    /// `CopyFrom`, `TaloRetrieve`).
    /// \return  false for a null function, and when memory has run out.
    bool CallbackRegister(YFCurveNodeCallback callback, void* object);
    /// Removes the latest registration of the pair; nothing when there is none.
    void CallbackUnregister(YFCurveNodeCallback callback, void* object);
    /// Enabling delivers what is pending; while disabled, changes merge into one pending event. The first
    /// registration enables callbacks, unless they were disabled before.
    void CallbackEnable(bool enable);
    bool CallbackIsEnable() const;
    /// Drops the pending event.
    void CallbackClear();

    // --- Scene files -----------------------------------------------------------------------------------
    // A node is a field with its name as value, and in its block the curve or the children, the layer
    // settings and the layers behind it: docs/scene-file.md has the details. Files know time-warp nodes by
    // their nick numbers (yfcurvetimewarpset.h). Flags, rotation order, quaternion use, data type and
    // property are not kept: hosts make their trees from their properties and have them filled, or set these
    // things afterwards. Hosts also tie the layer infos, which come back with an id and no layer, to their
    // layers.

    /// Writes the node, its curve or its children, and the layers behind it, into the block that is open. A
    /// node with a curve writes no children.
    /// \param onlyDefaults  curves with their default values alone, and no layers.
    /// \param shortNames    nodes of local translations, rotations and scalings as "T", "R" and "S".
    /// \param noUserNames   leave out second names (`GetTimeWarpName`) that differ from the names.
    /// \param fieldName     "Channel" for what `TaloRetrieve` and `YFCurveNodeCreate` read.
    /// \param withColor     curves with their colours, those of layers excepted.
    /// \param autoAsUser    see `YFCurve::TaloStore`.
    /// \return  true; whether the file could be written is for `YTalo::FileClose` to say.
    bool TaloStore(YTalo* talo, bool onlyDefaults = false, bool shortNames = false, bool noUserNames = false,
                   const char* fieldName = "Channel", bool withColor = true, bool autoAsUser = false) const;
    /// Reads the next "Channel" field of the block that is open into this node, which takes the field's name
    /// for both its names.
    ///
    /// Children are found by their names as children of this node and read into those. A curve is made where
    /// a node without children has none and the file does. What the file does not have stays as it is:
    /// children, curves, time warps, and layers. A layer in the file takes the place of the chain behind the
    /// node. The layer type follows the data type: 1 for translations, 3 for scalings, 2 (or 5) for local
    /// rotations with three children.
    /// \param onlyDefaults   curves with their default values alone.
    /// \param createMissing  make the children that are not there, except in a container; otherwise they are
    ///                       left out, but layers are read whole.
    /// \param withColor      curves with their colours.
    /// \return  false when there is no such field, and when memory runs out.
    bool TaloRetrieve(YTalo* talo, bool onlyDefaults = false, bool createMissing = true,
                      bool withColor = true);
    /// The same for a field of any name that the caller has entered, whose value is not looked at. The field
    /// stays entered.
    /// \return  true; false when memory runs out.
    bool TaloInternalRetrieve(YTalo* talo, bool onlyDefaults = false, bool createMissing = true,
                              bool withColor = true);

  private:
    friend struct yfc::NodeData;

    std::unique_ptr<yfc::NodeData> mData;
};

// The nodes made by the functions below are released with `Destroy`. They return null when memory runs out.

/// \param typeName   a registered data type's (`YDataType::Find`); an unknown one gives a node without type.
/// \param layerType  see `YFCurveNode::SetLayerType`.
YFCURVE_EXPORT YFCurveNode* YFCurveNodeCreate(const char* name, const char* timeWarpName,
                                              const char* typeName, int layerType = YFCURVE_LAYERTYPE_PLAIN,
                                              const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base);
/// The name serves as time-warp name as well. A node of the time-warp type has that name only: its node name
/// is empty.
YFCURVE_EXPORT YFCurveNode* YFCurveNodeCreate(const char* name, YDataType* type,
                                              int layerType = YFCURVE_LAYERTYPE_PLAIN,
                                              const YFCurveLayerInfo& layerInfo = YFCurveLayerInfo::Base);
/// The copy constructor's node; null for a null source.
YFCURVE_EXPORT YFCurveNode* YFCurveNodeCreate(const YFCurveNode* source);
/// A node as properties of that type need it: layer type 2 for (local, matrix) rotations, 3 for (local,
/// matrix, UV) scalings and 1 for all others, and for a type of several members one child each, named "X",
/// "Y", "Z", " " and then "A" to "Q", of layer type 0. No curves yet: see `YFCurveNode::CreateFCurve`.
/// \param type  null gives a node without type and children.
YFCURVE_EXPORT YFCurveNode* FCurveNodeCreateFromDataType(YDataType* type, const char* name);

/// A node, with all that is below and behind it, from the next "Channel" field of the block that is open; see
/// `YFCurveNode::TaloRetrieve`. It has no data type. Of names longer than 1,023 bytes the beginning is taken.
/// \return  null when there is no such field.
YFCURVE_EXPORT YFCurveNode* YFCurveNodeCreate(YTalo* talo, bool onlyDefaults, bool withColor = true);
/// Reads the next "Channel" field of the block that is open into the child of a parent that it means. That is
///
/// - for "T", "R" and "S" the child that is a local translation, rotation or scaling,
/// - the child of that name,
/// - for "X", "Y", "Z" and " " below a colour the child named "R", "G", "B" and "A",
/// - the child of that name without a suffix in parentheses and up to two spaces before it,
///
/// whichever is found first, and else a new child. Fields that mean no child are passed over when none is to
/// be made, and below a parent with a curve; what is read then after them comes without its colour.
/// \param parent         null: the node is a new one on its own (if missing ones are to be made).
/// \param createMissing  whether to make a child that is not there.
/// \return  the node that was read; null when there is no such field any more.
YFCURVE_EXPORT YFCurveNode* YFCurveNodeCreate(YTalo* talo, YFCurveNode* parent, bool onlyDefaults,
                                              bool createMissing = true, bool withColor = true);
/// Reads the next "LayerChannel" field of the block that is open, with what is behind it, as the layer behind
/// a node, in place of the one that is there. Raises the layer event at the node's object layer.
/// \return  the layer; null when there is no such field.
YFCURVE_EXPORT YFCurveNode* YFCurveNodeLayerCreate(YTalo* talo, YFCurveNode* node, bool onlyDefaults);
