#include <cstring>
#include <optional>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"
#include "python/bindings/key_rows.h"

namespace yfpy {
namespace {

// --- Files ---------------------------------------------------------------------------------------------

OwnerPtr OwnerOf(YMotion&& scene)
{
    return std::make_shared<Owner>(std::move(scene));
}

/// How glTF files are read: animation, rotation order, tolerance.
using ReadingRow = std::tuple<Text, int, double>;
/// And how they are written: sampled, mesh, tolerance.
using WritingRow = std::tuple<bool, bool, double>;

YMotionReading ReadingOf(const ReadingRow& row)
{
    return {std::get<0>(row).bytes, std::get<1>(row), std::get<2>(row)};
}

YMotionWriting WritingOf(const WritingRow& row)
{
    return {std::get<0>(row), std::get<1>(row), std::get<2>(row)};
}

OwnerPtr Load(const std::string& path, const ReadingRow& row)
{
    YMotion scene;
    const YMotionReading reading = ReadingOf(row);
    if (!WithoutInterpreter([&] { return scene.Load(path.c_str(), reading); }))
        RaiseErrorOf(scene, "FormatError");
    return OwnerOf(std::move(scene));
}

/// \param content  is not changed meanwhile, as it belongs to Python's own, unchangeable bytes
OwnerPtr LoadBytes(const py::bytes& content, const Text& name, const ReadingRow& row)
{
    YMotion scene;
    const YMotionReading reading = ReadingOf(row);
    const char* const text = PyBytes_AS_STRING(content.ptr());
    const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(content.ptr()));
    if (!WithoutInterpreter([&] { return scene.LoadText(text, size, name.bytes.c_str(), reading); }))
        RaiseErrorOf(scene, "FormatError");
    return OwnerOf(std::move(scene));
}

const char* FormatOf(const std::optional<std::string>& format)
{
    return format ? format->c_str() : nullptr;
}

void Save(Owner& owner, const std::string& path, const std::optional<std::string>& format, bool repair,
          const WritingRow& row)
{
    const YMotionWriting writing = WritingOf(row);
    const Use use(owner);
    YMotion& scene = *owner.Scene();
    if (!WithoutInterpreter([&] { return scene.Save(path.c_str(), FormatOf(format), repair, writing); }))
        RaiseErrorOf(scene, "FileError");
}

py::bytes ToBytes(Owner& owner, const std::optional<std::string>& format, const WritingRow& row)
{
    const YMotionWriting writing = WritingOf(row);
    std::string content;
    {
        const Use use(owner);
        const YMotion& scene = *owner.Scene();
        if (!WithoutInterpreter([&] { return scene.SaveText(content, FormatOf(format), writing); }))
            RaiseErrorOf(scene, "FileError");
    }
    return py::bytes(content);
}

OwnerPtr CopyOf(Owner& owner)
{
    YMotion copy;
    const Use use(owner);
    if (!WithoutInterpreter([&] { return copy.CopyFrom(*owner.Scene()); })) RaiseErrorOf(copy, "FileError");
    return OwnerOf(std::move(copy));
}

/// What a scene file does not keep of a node: type, rotation order, whether the node and its curve are locked, and the
/// numbers of selected keys.
using Mark = std::tuple<std::string, int, bool, bool, std::vector<int>>;
/// The way down from the top to a node, by the numbers of children, and by ids of layers as numbers below 0.
using Way = std::vector<int>;
/// Of each node that has more than the file keeps, parents before their children.
using Marks = std::vector<std::pair<Way, Mark>>;

Mark MarkOf(const YFCurveNode& node)
{
    Mark mark{node.GetTypeName(), node.GetRotationOrder(), node.IsLockedByProperty(), false, {}};
    const YFCurve* const curve = node.FCurveGet();
    if (curve == nullptr) return mark;
    std::get<3>(mark) = curve->IsLockedByProperty();
    for (int i = 0; i < curve->KeyGetCount(); ++i) {
        if (curve->KeyGetSelected(i)) std::get<4>(mark).push_back(i);
    }
    return mark;
}

bool IsWorthKeeping(const YFCurveNode& node, const Mark& mark)
{
    const auto& [type, order, isLocked, isCurveLocked, selected] = mark;
    return (!type.empty() && type != node.GetName() && node.GetCount() > 0) || order != 0 || isLocked ||
           isCurveLocked || !selected.empty();
}

void AddMarks(const YFCurveNode& node, Way& way, Marks& marks)
{
    const Mark mark = MarkOf(node);
    if (IsWorthKeeping(node, mark)) marks.emplace_back(way, mark);
    for (int i = 0; i < node.GetCount(); ++i) {
        way.push_back(i);
        AddMarks(*node.Get(i), way, marks);
        way.pop_back();
    }
    const YFCurveNode* const layer = node.LayerGet();
    if (layer == nullptr) return;
    // From one layer on to the next: a way goes through all of them.
    way.push_back(-layer->GetLayerID());
    AddMarks(*layer, way, marks);
    way.pop_back();
}

YFCurveNode* NodeAt(YFCurveNode* node, const Way& way)
{
    for (const int step : way) {
        if (node == nullptr) return nullptr;
        node = step < 0 ? node->LayerGet(-step) : node->Get(step);
    }
    return node;
}

/// Makes a group the property that it was, in its place.
YFCurveNode* Retyped(YFCurveNode& node, YDataType& type)
{
    YFCurveNode* const parent = node.GetParent();
    const int place = parent == nullptr ? -1 : parent->Find(&node);
    if (place < 0) return &node;
    YFCurveNodePtr typed(FCurveNodeCreateFromDataType(&type, node.GetName()));
    if (typed == nullptr) throw std::bad_alloc();
    if (!typed->CopyFrom(&node)) return &node;
    const int count = parent->GetCount();
    YFCurveNode* const made = typed.get();
    for (int i = place; i < count; ++i) {
        YFCurveNodePtr child(parent->Get(place));
        parent->Remove(place);
        if (i == place) child.swap(typed);
        if (parent->Add(child.get()) < 0) throw std::bad_alloc();
        child.release();
    }
    return made;
}

/// Only for the state of a scene, so that what does not fit is left as it is.
void Apply(YFCurveNode& root, const Way& way, const Mark& mark)
{
    const auto& [typeName, order, isLocked, isCurveLocked, selected] = mark;
    YFCurveNode* node = NodeAt(&root, way);
    if (node == nullptr) return;
    YDataType* const type = typeName.empty() ? nullptr : YDataType::Find(typeName.c_str());
    if (type != nullptr && node->GetDataType() != type) node = Retyped(*node, *type);
    if (node->GetRotationOrder() != order && order >= 0 && order < 6) node->SetRotationOrder(order);
    if (isLocked) node->SetLockedByProperty(true);
    YFCurve* const curve = node->FCurveGet();
    if (curve == nullptr) return;
    for (const int key : selected) {
        if (key >= 0 && key < curve->KeyGetCount()) curve->KeySetSelected(key, true);
    }
    if (isCurveLocked) curve->SetLockedByProperty(true);
}

/// Of curves that are not the same to the last bit in the file, where they are and their keys.
using KeptKeys = std::vector<std::pair<Way, RawKeys>>;

/// Keeps the keys of a curve where the one that was read has others.
void KeepKeys(const YFCurve* curve, const YFCurve* read, const Way& way, KeptKeys& kept)
{
    if (curve == nullptr || curve->KeyGetCount() == 0) return;
    const RawKeys keys = RawKeysOf(*curve);
    const RawKeys others = read == nullptr ? RawKeys() : RawKeysOf(*read);
    if (keys.size() != others.size() ||
        std::memcmp(keys.data(), others.data(), static_cast<std::size_t>(keys.nbytes())) != 0)
        kept.emplace_back(way, keys);
}

void AddKeptKeys(const YFCurveNode& node, YFCurveNode* read, Way& way, KeptKeys& kept)
{
    KeepKeys(node.FCurveGet(), read == nullptr ? nullptr : read->FCurveGet(), way, kept);
    for (int i = 0; i < node.GetCount(); ++i) {
        way.push_back(i);
        AddKeptKeys(*node.Get(i), read != nullptr && i < read->GetCount() ? read->Get(i) : nullptr, way,
                    kept);
        way.pop_back();
    }
    const YFCurveNode* const layer = node.LayerGet();
    if (layer == nullptr) return;
    way.push_back(-layer->GetLayerID());
    AddKeptKeys(*layer, read == nullptr ? nullptr : read->LayerGet(layer->GetLayerID()), way, kept);
    way.pop_back();
}

/// The curve of a layer's weight; null without one.
YFCurve* WeightOf(const YMotion& scene, int id)
{
    for (const YMotionLayer& layer : scene.GetLayers()) {
        if (layer.id == id) return layer.weight;
    }
    return nullptr;
}

/// Of the tree, and of the weights of layers by their ids.
std::pair<KeptKeys, KeptKeys> KeptOf(const Owner& owner, const std::string& content)
{
    YMotion read;
    if (!WithoutInterpreter([&] { return read.LoadText(content.data(), content.size(), "copy"); }))
        RaiseErrorOf(read, "FileError");
    std::pair<KeptKeys, KeptKeys> kept;
    Way way;
    AddKeptKeys(*owner.Root(), read.GetRoot(), way, kept.first);
    for (const YMotionLayer& layer : owner.Scene()->GetLayers())
        KeepKeys(layer.weight, WeightOf(read, layer.id), {layer.id}, kept.second);
    return kept;
}

void PutKept(Owner& owner, const std::pair<KeptKeys, KeptKeys>& kept)
{
    for (const auto& [way, keys] : kept.first) {
        const YFCurveNode* const node = NodeAt(owner.Root(), way);
        if (node != nullptr && node->FCurveGet() != nullptr) SetRawKeys(*node->FCurveGet(), keys);
    }
    for (const auto& [way, keys] : kept.second) {
        YFCurve* const weight = way.size() == 1 ? WeightOf(*owner.Scene(), way.front()) : nullptr;
        if (weight != nullptr) SetRawKeys(*weight, keys);
    }
}

/// Content, path, name, format, whether it is packed, the counts and lines of what was left out, marks, and keys that
/// the content does not hold to the last bit.
using State = std::tuple<py::bytes, py::bytes, py::bytes, int, bool,
                         std::vector<std::pair<int, std::int64_t>>, Marks, std::pair<KeptKeys, KeptKeys>>;

State StateOf(Owner& owner)
{
    std::string content;
    YMotionOrigin origin;
    Marks marks;
    std::pair<KeptKeys, KeptKeys> kept;
    {
        const Use use(owner);
        const YMotion& scene = *owner.Scene();
        if (!WithoutInterpreter([&] { return scene.SaveText(content, "ytalo"); }))
            RaiseErrorOf(scene, "FileError");
        origin = scene.GetOrigin();
        Way way;
        AddMarks(*owner.Root(), way, marks);
        kept = KeptOf(owner, content);
    }
    std::vector<std::pair<int, std::int64_t>> leftOut;
    for (const YMotionOrigin::LeftOut& each : origin.leftOut) leftOut.emplace_back(each.count, each.line);
    return {py::bytes(content),
            py::bytes(origin.path),
            py::bytes(origin.name),
            origin.format,
            origin.isPacked,
            leftOut,
            marks,
            kept};
}

OwnerPtr OfState(const State& state)
{
    const OwnerPtr owner = LoadBytes(std::get<0>(state), Text{"copy"}, {Text{}, 0, 0.01});
    for (const auto& [way, mark] : std::get<6>(state)) Apply(*owner->Root(), way, mark);
    PutKept(*owner, std::get<7>(state));
    YMotionOrigin origin{std::get<1>(state), std::get<2>(state), std::get<3>(state), std::get<4>(state), {}};
    for (const auto& [count, line] : std::get<5>(state)) origin.leftOut.push_back({count, line});
    if (!owner->Scene()->SetOrigin(origin)) RaiseErrorOf(*owner->Scene(), "FormatError");
    return owner;
}

// --- What is in it -------------------------------------------------------------------------------------

template<class Act>
auto OfScene(Owner& owner, Purpose purpose, const Act& act)
{
    const Use use(owner, purpose);
    return act(*owner.Scene());
}

std::vector<Text> NotesOf(Owner& owner)
{
    return OfScene(owner, Purpose::Read, [](const YMotion& scene) { return TextsOf(scene.GetNotes()); });
}

std::vector<Text> AnimationsOf(Owner& owner)
{
    return OfScene(owner, Purpose::Read, [](const YMotion& scene) { return TextsOf(scene.GetAnimations()); });
}

/// A time as people write it, at the scene's rate.
std::int64_t TimeOfText(Owner& owner, const Text& text)
{
    return OfScene(owner, Purpose::Read, [&](const YMotion& scene) {
        YTime time;
        if (!scene.ParseTime(text.bytes.c_str(), time)) RaiseErrorOf(scene, "Refused");
        return time.Get();
    });
}

NodePartPtr RootOf(const OwnerPtr& owner)
{
    const Use use(*owner);
    if (owner->Root() == nullptr) throw std::bad_alloc();
    return std::make_shared<NodePart>(owner, *owner->Root());
}

/// Name, parent, whether it is an end site, offset, node.
using JointRow = std::tuple<Text, int, bool, std::array<float, 3>, NodePartPtr>;

std::vector<JointRow> JointsOf(const OwnerPtr& owner)
{
    return OfScene(*owner, Purpose::Read, [&](const YMotion& scene) {
        std::vector<JointRow> rows;
        for (const YMotionJoint& joint : scene.GetJoints()) {
            const std::array<float, 3> offset{joint.offset[0], joint.offset[1], joint.offset[2]};
            NodePartPtr node;
            if (joint.node != nullptr) node = std::make_shared<NodePart>(owner, *joint.node);
            rows.emplace_back(Text{joint.name}, joint.parent, joint.isEndSite, offset, node);
        }
        return rows;
    });
}

using CurveRow = std::tuple<Text, CurvePartPtr, NodePartPtr>;

std::vector<CurveRow> CurvesOf(const OwnerPtr& owner, const Choices& nodes)
{
    return OfScene(*owner, Purpose::Read, [&](const YMotion& scene) {
        std::vector<YMotionCurve> curves;
        if (!scene.GetCurves(curves, PatternsOf(*owner, nodes))) RaiseErrorOf(scene, "Refused");
        std::vector<CurveRow> rows;
        for (const YMotionCurve& curve : curves) {
            rows.emplace_back(Text{curve.path}, std::make_shared<CurvePart>(owner, *curve.curve),
                              std::make_shared<NodePart>(owner, *curve.property));
        }
        return rows;
    });
}

std::vector<NodePartPtr> NodesOf(const OwnerPtr& owner, const Choices& chosen)
{
    return OfScene(*owner, Purpose::Read, [&](const YMotion& scene) {
        std::vector<YFCurveNode*> nodes;
        if (!scene.GetNodes(nodes, PatternsOf(*owner, chosen))) RaiseErrorOf(scene, "Refused");
        std::vector<NodePartPtr> parts;
        for (YFCurveNode* node : nodes) parts.push_back(std::make_shared<NodePart>(owner, *node));
        return parts;
    });
}

using Rate = std::pair<std::int32_t, std::int32_t>;

Rate RateOf(Owner& owner)
{
    const YFrameRate rate =
        OfScene(owner, Purpose::Read, [](const YMotion& scene) { return scene.GetFrameRate(); });
    return {rate.numerator, rate.denominator};
}

void SetRate(Owner& owner, const Rate& rate)
{
    OfScene(owner, Purpose::Edit, [&](YMotion& scene) {
        if (!scene.SetFrameRate({rate.first, rate.second})) RaiseErrorOf(scene, "Refused");
    });
}

std::optional<std::pair<std::int64_t, std::int64_t>> SpanOf(Owner& owner)
{
    using Span = std::optional<std::pair<std::int64_t, std::int64_t>>;
    return OfScene(owner, Purpose::Read, [](const YMotion& scene) -> Span {
        YTime start;
        YTime stop;
        if (!scene.GetSpan(start, stop)) return std::nullopt;
        return std::pair(start.Get(), stop.Get());
    });
}

}  // namespace

void AddScenes(py::module_& module)
{
    py::class_<Owner, OwnerPtr> scene(module, "Scene");
    scene.def(py::init([] { return OwnerOf(YMotion()); }));
    scene.def_static("load", Load);
    scene.def_static("load_bytes", LoadBytes);
    scene.def("save", Save);
    scene.def("to_bytes", ToBytes);
    scene.def("state", StateOf);
    scene.def_static("of_state", OfState);
    scene.def("copy", CopyOf);
    scene.def("notes", NotesOf);
    scene.def("animations", AnimationsOf);
    scene.def("time_of", TimeOfText);
    scene.def("root", RootOf);
    scene.def("joints", JointsOf);
    scene.def("curves", CurvesOf);
    scene.def("nodes", NodesOf);
    scene.def("rate", RateOf);
    scene.def("set_rate", SetRate);
    scene.def("span", SpanOf);
}

}  // namespace yfpy
