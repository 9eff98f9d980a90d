#include <algorithm>
#include <array>
#include <cmath>

#include <pybind11/stl.h>

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"
#include "python/bindings/key_kinds.h"
#include "python/bindings/locks.h"
#include "ybaselib/ydatatype.h"
#include "ymotion/scene/finite_keys.h"

namespace yfpy {
namespace {

std::size_t Components(const YFCurveNode& node)
{
    return static_cast<std::size_t>(std::max(0, node.GetComponentCount()));
}

/// The nodes that are part of a scene's skeleton, which stands on them: joints and what is above them.
bool HoldsJoint(const Owner& owner, const YFCurveNode& node)
{
    if (owner.Scene() == nullptr) return false;
    const std::vector<YMotionJoint> joints = owner.Scene()->GetJoints();
    return std::any_of(joints.begin(), joints.end(), [&](const YMotionJoint& joint) {
        return joint.node != nullptr && (joint.node == &node || node.IsChild(joint.node, true));
    });
}

/// Whether it is, or belongs to, a property that a joint moves by.
bool MovesJoint(const Owner& owner, const YFCurveNode& node)
{
    for (const YFCurveNode* at = &node; at->GetParent() != nullptr; at = at->GetParent()) {
        const bool moves = at->GetDataType() == YDataType::Get(eDataType::LocalTranslation) ||
                           at->GetDataType() == YDataType::Get(eDataType::LocalRotation) ||
                           at->GetDataType() == YDataType::Get(eDataType::LocalScaling);
        if (moves && HoldsJoint(owner, *at->GetParent())) return true;
    }
    return false;
}

/// Whether it is the rotation that turns a joint, on any layer: the first one of the joint.
bool TurnsJoint(const Owner& owner, YFCurveNode& node)
{
    const YFCurveNode* const base = node.ObjectLayerGet();
    const YFCurveNode* const parent = base->GetParent();
    if (owner.Scene() == nullptr || parent == nullptr) return false;
    if (parent->Find(YDataType::Get(eDataType::LocalRotation)) != base) return false;
    const std::vector<YMotionJoint> joints = owner.Scene()->GetJoints();
    return std::any_of(joints.begin(), joints.end(),
                       [parent](const YMotionJoint& joint) { return joint.node == parent; });
}

NodePartPtr PartOf(const OwnerPtr& owner, YFCurveNode* node)
{
    return node == nullptr ? nullptr : std::make_shared<NodePart>(owner, *node);
}

NodePartPtr PartOfNew(YFCurveNode* node)
{
    if (node == nullptr) throw std::bad_alloc();
    auto owner = std::make_shared<Owner>(YFCurveNodePtr(node));
    const Use use(*owner);
    return PartOf(owner, node);
}

NodePartPtr MakeNode(const Text& name, const std::string& type)
{
    YDataType* dataType = type.empty() ? nullptr : YDataType::Find(type.c_str());
    if (!type.empty() && dataType == nullptr) {
        throw py::value_error("there is no data type '" + type +
                              "'; take one such as 'Lcl Rotation' or 'Number'");
    }
    YFCurveNode* node = FCurveNodeCreateFromDataType(dataType, name.bytes.c_str());
    if (node != nullptr && dataType != nullptr) node->CreateFCurve();
    return PartOfNew(node);
}

/// Takes off what refers to the layers of a scene, which may end before the tree does.
void LeaveLayers(YFCurveNode& node)
{
    node.SetLayerInfo(YFCurveLayerInfo::Base);
    while (const YFCurveNode* layer = node.LayerGet()) node.RemoveLayer(layer->GetLayerID(), true);
    for (int i = 0; i < node.GetCount(); ++i) LeaveLayers(*node.Get(i));
}

NodePartPtr CopyOf(const NodePart& part)
{
    return PartOfNew(Reading(part, [](const YFCurveNode& node) {
        YFCurveNodePtr copy(node.Clone());
        if (copy != nullptr) LeaveLayers(*copy);
        return copy.release();
    }));
}

// --- The tree ------------------------------------------------------------------------------------------

template<class Act>
NodePartPtr Related(const NodePart& part, const Act& act)
{
    return Reading(part, [&](YFCurveNode& node) { return PartOf(part.Of(), act(node)); });
}

std::vector<NodePartPtr> ChildrenOf(const NodePart& part)
{
    return Reading(part, [&](const YFCurveNode& node) {
        std::vector<NodePartPtr> children;
        for (int i = 0; i < node.GetCount(); ++i) children.push_back(PartOf(part.Of(), node.Get(i)));
        return children;
    });
}

NodePartPtr ChildOf(const NodePart& part, const Text& name)
{
    return Related(part, [&](const YFCurveNode& node) { return node.Get(node.Find(name.bytes.c_str())); });
}

/// The child of one of the data types.
NodePartPtr ChildOfType(const NodePart& part, const std::vector<std::string>& types)
{
    return Related(part, [&](const YFCurveNode& node) -> YFCurveNode* {
        for (const std::string& type : types) {
            if (YFCurveNode* child = node.Find(YDataType::Find(type.c_str()))) return child;
        }
        return nullptr;
    });
}

CurvePartPtr CurveOf(const NodePart& part)
{
    return Reading(part, [&](const YFCurveNode& node) -> CurvePartPtr {
        if (node.FCurveGet() == nullptr) return nullptr;
        return std::make_shared<CurvePart>(part.Of(), *node.FCurveGet());
    });
}

/// How many levels a tree may have: much of the library goes down a tree by calling itself.
constexpr int kMaxLevels = 1000;

int LevelsAbove(const YFCurveNode& node)
{
    int levels = 0;
    for (const YFCurveNode* at = node.GetParent(); at != nullptr; at = at->GetParent()) ++levels;
    return levels;
}

int LevelsFrom(const YFCurveNode& node)
{
    int levels = 0;
    for (int i = 0; i < node.GetCount(); ++i) levels = std::max(levels, LevelsFrom(*node.Get(i)));
    return levels + 1;
}

/// A copy, as a node belongs to one tree alone.
NodePartPtr Add(NodePart& part, const NodePart& child)
{
    const Use use(*part.Of(), *child.Of(), Purpose::Edit);
    YFCurveNode& node = part.Get();
    CheckNodeUnlocked(*part.Of(), node);
    if (LevelsAbove(node) + 1 + LevelsFrom(child.Get()) > kMaxLevels)
        Raise("Refused", "a tree has no more than 1000 levels; add the node further up");
    YFCurveNodePtr copy(child.Get().Clone());
    if (copy == nullptr) throw std::bad_alloc();
    if (part.Of() != child.Of()) LeaveLayers(*copy);
    if (node.Add(copy.get()) < 0) throw std::bad_alloc();
    part.Of()->NoteNewNodes();
    return PartOf(part.Of(), copy.release());
}

void Remove(NodePart& part, NodePart& child)
{
    if (part.Of() != child.Of()) throw py::value_error("it is not a child of this node");
    Editing(part, [&](YFCurveNode& node) {
        YFCurveNode& gone = child.Get();
        if (node.Find(&gone) < 0) throw py::value_error("it is not a child of this node");
        CheckLayersUnlocked(*part.Of(), gone);
        if (HoldsJoint(*part.Of(), gone) || MovesJoint(*part.Of(), gone))
            Raise("Refused", "the skeleton of the scene stands on it; clear its curves instead");
        node.Delete(&gone);
    });
}

/// The nodes of a property on its layers, lowest first.
std::vector<std::pair<int, NodePartPtr>> LayersOf(const NodePart& part)
{
    return Reading(part, [&](YFCurveNode& node) {
        std::vector<std::pair<int, NodePartPtr>> layers;
        for (YFCurveNode* at = &node; at != nullptr; at = at->LayerGet())
            layers.emplace_back(at->GetLayerID(), PartOf(part.Of(), at));
        return layers;
    });
}

YFCurveLayerInfo InfoOf(const Owner& owner, int layer)
{
    const YMotion* const scene = owner.Scene();
    if (scene == nullptr && layer == 0) return YFCurveLayerInfo::Base;
    if (scene == nullptr) Raise("Refused", "the node belongs to no scene, and only these have layers");
    std::string ids;
    for (const YMotionLayer& each : scene->GetLayers()) {
        if (each.id == layer) return scene->GetLayerInfo(layer);
        ids += (ids.empty() ? "" : ", ") + std::to_string(each.id);
    }
    Raise("NotFound", "there is no layer of the id " + std::to_string(layer) + "; there are: " + ids);
}

/// Whole properties are on layers; raises `Refused` for others.
void CheckTakesLayers(YFCurveNode& node, int layer)
{
    const YFCurveNode& base = *node.ObjectLayerGet();
    if (layer == 0 || YMotion::TakesLayers(base)) return;
    const std::string name = "'" + PathOf(base).bytes + "'";
    if (base.FCurveGet() == nullptr) {
        Raise("Refused", name +
                             " is no property, and these alone are on layers; take one that it has, as by "
                             ".rotation.on_layer(layer)");
    }
    const YFCurveNode* const whole = base.GetParent();
    Raise("Refused", name + " is a component of '" + whole->GetName() +
                         "', which is on layers as a whole; take it from there, as by "
                         ".on_layer(layer)['" +
                         base.GetName() + "'] of that");
}

NodePartPtr AddToLayer(const NodePart& part, int layer)
{
    return Editing(part, [&](YFCurveNode& node) {
        const YFCurveLayerInfo info = InfoOf(*part.Of(), layer);
        YMotion* const scene = part.Of()->Scene();
        if (YFCurveNode* there = node.LayerGet(layer)) return PartOf(part.Of(), there);
        CheckTakesLayers(node, layer);
        CheckLayerUnlocked(*part.Of(), node, info);
        YFCurveNode* made =
            scene == nullptr ? node.GetCorrectLayerAndCreateIfMissing(info) : scene->PutOnLayer(node, layer);
        if (made == nullptr) throw std::bad_alloc();
        return PartOf(part.Of(), made);
    });
}

// --- Evaluation and candidates -------------------------------------------------------------------------

DoubleArray Evaluate(const NodePart& part, const TickArray& ticks, bool withLayers)
{
    const Use use(*part.Of());
    const YFCurveNode& node = part.Get();
    const std::size_t width = withLayers ? Components(node) : static_cast<std::size_t>(node.GetCurveCount());
    DoubleArray values({static_cast<std::size_t>(ticks.size()), width});
    std::fill_n(values.mutable_data(), values.size(), 0.0);
    double* row = values.mutable_data();
    WithoutInterpreter([&] {
        int hint = 0;
        for (const YTime time : TimesOf(ticks)) {
            if (withLayers) {
                node.GeneralEvaluate(row, time, &hint);
            } else {
                node.Evaluate(row, time, &hint);
            }
            row += width;
        }
    });
    return values;
}

const double* CheckedValues(const DoubleArray& values, std::size_t wanted)
{
    if (static_cast<std::size_t>(values.size()) != wanted)
        throw py::value_error("it takes " + std::to_string(wanted) + " values, one for each component");
    const double* first = values.data();
    if (!std::all_of(first, first + wanted, ymotion::IsSingle))
        throw py::value_error("values have to be finite, and within single precision");
    return first;
}

YTime Finite(std::int64_t ticks)
{
    const YTime time(ticks);
    if (time.IsInfinite()) throw py::value_error("the times of keys have to be finite");
    return time;
}

bool AddKeys(YFCurveNode& node, std::int64_t ticks, const DoubleArray& values)
{
    const double* given = CheckedValues(values, static_cast<std::size_t>(node.GetCurveCount()));
    return node.KeyAdd(Finite(ticks), given) != given;
}

bool SetCandidate(const NodePart& part, std::int64_t ticks, const DoubleArray& values, int layer)
{
    return Editing(part, [&](YFCurveNode& node) {
        const double* given = CheckedValues(values, Components(node));
        const YFCurveLayerInfo info = InfoOf(*part.Of(), layer);
        if (node.FCurveGet() != nullptr) CheckTakesLayers(node, layer);
        CheckLayerUnlocked(*part.Of(), node, info);
        return node.CandidateSet(Finite(ticks), given, info) != given;
    });
}

bool KeyCandidate(const NodePart& part, int layer, unsigned interpolation, unsigned tangents)
{
    CheckKinds(interpolation, tangents);
    const auto stored = static_cast<int>(StoredTangents(interpolation, tangents));
    return Editing(part, [&](YFCurveNode& node) {
        const YFCurveLayerInfo info = InfoOf(*part.Of(), layer);
        if (node.FCurveGet() != nullptr) CheckTakesLayers(node, layer);
        CheckLayerUnlocked(*part.Of(), node, info);
        return node.CandidateKey(nullptr, info, nullptr, false, static_cast<int>(interpolation), stored);
    });
}

DoubleArray CandidateAt(const NodePart& part, std::int64_t ticks)
{
    return Editing(part, [&](YFCurveNode& node) {
        DoubleArray values(static_cast<py::ssize_t>(Components(node)));
        std::fill_n(values.mutable_data(), values.size(), 0.0);
        node.CandidateEvaluate(values.mutable_data(), Finite(ticks));
        return values;
    });
}

TickArray KeyTimes(const YFCurveNode& node, bool layers)
{
    std::vector<std::int64_t> times;
    for (YTime time = node.GetFirstKeyTime(layers); !time.IsInfinite();
         time = node.GetNextKeyTime(time, layers))
        times.push_back(time.Get());
    return TickArray(static_cast<py::ssize_t>(times.size()), times.data());
}

template<class Result>
auto Reader(Result (*function)(const YFCurveNode&))
{
    return [function](const NodePart& part) { return Reading(part, function); };
}

void AddTreeOperations(py::class_<NodePart, NodePartPtr>& node)
{
    node.def(py::init(&MakeNode));
    node.def("copy", CopyOf);
    node.def("identity", &NodePart::Identity);
    node.def("is_alive", [](const NodePart& part) {
        const Use use(*part.Of());
        return part.IsAlive();
    });
    node.def("name", Reader(+[](const YFCurveNode& n) { return Text{n.GetName()}; }));
    node.def("type", Reader(+[](const YFCurveNode& n) { return Text{n.GetTypeName()}; }));
    node.def("path", Reader(PathOf));
    node.def("parent", [](const NodePart& part) {
        return Related(part, [](const YFCurveNode& n) { return n.GetParent(); });
    });
    node.def("children", ChildrenOf);
    node.def("child", ChildOf);
    node.def("child_of_type", ChildOfType);
    node.def("curve", CurveOf);
    node.def("create_curves", [](NodePart& part) {
        Editing(part, [&](YFCurveNode& n) {
            CheckNodeUnlocked(*part.Of(), n);
            n.CreateFCurve();
        });
    });
    node.def("add", Add);
    node.def("remove", Remove);
    node.def("layers", LayersOf);
    node.def("add_to_layer", AddToLayer);
    node.def("is_locked", Reader(+[](const YFCurveNode& n) { return n.IsNodeLocked(); }));
    node.def("lock", [](NodePart& part, bool locked) {
        Editing(part, [&](YFCurveNode& n) { n.SetLockedByProperty(locked); });
    });
    node.def("rotation_order", Reader(+[](const YFCurveNode& n) { return n.GetRotationOrder(); }));
    node.def("set_rotation_order", [](NodePart& part, int order) {
        Editing(part, [&](YFCurveNode& n) {
            if (TurnsJoint(*part.Of(), n))
                Raise("Refused", "the order is that of the joint's channels; change it with clip(order=...)");
            CheckTreeUnlocked(*part.Of(), n);
            n.SetRotationOrder(order);
        });
    });
    node.def("is_rotation", Reader(+[](const YFCurveNode& n) { return n.IsRotationLayerType(); }));
    node.def("scene",
             [](const NodePart& part) { return part.Of()->Scene() == nullptr ? nullptr : part.Of(); });
    node.def("use_quaternion", Reader(+[](const YFCurveNode& n) { return n.GetUseQuaternion(); }));
    node.def("set_use_quaternion", [](NodePart& part, bool on) {
        Editing(part, [&](YFCurveNode& n) {
            CheckTreeUnlocked(*part.Of(), n);
            n.SetUseQuaternion(on);
        });
    });
}

}  // namespace

void AddNodes(py::module_& module)
{
    py::class_<NodePart, NodePartPtr> node(module, "Node");
    AddTreeOperations(node);
    node.def("component_count", Reader(+[](const YFCurveNode& n) { return n.GetComponentCount(); }));
    node.def("key_count", [](const NodePart& part, bool layers) {
        return Reading(part, [&](const YFCurveNode& n) { return n.KeyGetCount(layers); });
    });
    node.def("key_times", [](const NodePart& part, bool layers) {
        return Reading(part, [&](const YFCurveNode& n) { return KeyTimes(n, layers); });
    });
    node.def("evaluate", Evaluate);
    node.def("add_keys", [](const NodePart& part, std::int64_t ticks, const DoubleArray& values) {
        return Editing(part, [&](YFCurveNode& n) {
            CheckTreeUnlocked(*part.Of(), n);
            return AddKeys(n, ticks, values);
        });
    });
    node.def("delete_keys", [](const NodePart& part, std::int64_t ticks) {
        return Editing(part, [&](YFCurveNode& n) {
            CheckTreeUnlocked(*part.Of(), n);
            return n.DeleteKey(Finite(ticks));
        });
    });
    node.def("set_candidate", SetCandidate);
    node.def("clear_candidate",
             [](const NodePart& part) { Editing(part, [](YFCurveNode& n) { n.CandidateClear(); }); });
    node.def("key_candidate", KeyCandidate);
    node.def("candidate_at", CandidateAt);
}

}  // namespace yfpy
