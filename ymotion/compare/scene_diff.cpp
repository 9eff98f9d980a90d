#include "ymotion/compare/scene_diff.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <unordered_set>

#include <fmt/format.h>

#include "ymotion/compare/deviation.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// A curve of a scene and how it is found again in another one.
struct Entry
{
    CurveName name;
    int layerId = 0;
    const YFCurve* curve = nullptr;
    RotationAngle angle;  ///< without a node where the curve is not that of a rotation

    bool TurnsAsQuaternion() const
    {
        return angle.rotation != nullptr && TurnsAsQuaternions(*angle.rotation);
    }
};

/// The angle that a node with a curve is.
RotationAngle AngleOf(const YFCurveNode& node)
{
    const YFCurveNode* parent = node.GetParent();
    if (parent == nullptr || !IsRotation(*parent)) return {};
    return {parent, parent->Find(&node)};
}

/// In degrees, X first.
using Angles = std::array<double, 3>;

/// All curves of a scene, in the order of the tree, those of upper layers behind those of their property.
class CurveCollector
{
  public:
    explicit CurveCollector(const Scene& scene) : mScene(scene) { AddBelow(*scene.root, "", 0); }

    std::vector<Entry> Take() { return std::move(mEntries); }

  private:
    void AddBelow(const YFCurveNode& node, const std::string& path, int layerId)
    {
        for (int i = 0; i < node.GetCount(); ++i) {
            const YFCurveNode& child = *node.Get(i);
            Add(child, path.empty() ? child.GetName() : path + "/" + child.GetName(), layerId);
        }
    }

    void Add(const YFCurveNode& node, const std::string& path, int layerId)
    {
        AddLayer(node, path, layerId);
        if (layerId != 0) return;
        for (const YFCurveNode* layer = node.LayerGet(); layer != nullptr; layer = layer->LayerGet()) {
            AddLayer(*layer, path, layer->GetLayerID());
        }
    }

    void AddLayer(const YFCurveNode& node, const std::string& path, int layerId)
    {
        if (const YFCurve* curve = node.FCurveGet()) {
            mEntries.push_back({{path, LayerName(layerId)}, layerId, curve, AngleOf(node)});
        }
        AddBelow(node, path, layerId);
    }

    std::string LayerName(int layerId) const
    {
        if (layerId == 0) return {};
        const Layer* layer = mScene.layers.Find(layerId);
        return layer != nullptr ? layer->Name() : fmt::format("#{}", layerId);
    }

    const Scene& mScene;
    std::vector<Entry> mEntries;
};

/// \param count  of key ranges.
std::string ExtrapolationText(const YFCurve& curve, std::uint32_t mode, std::uint32_t count)
{
    static constexpr const char* kNames[] = {"constant", "repetition", "mirrored repetition", "kept slope"};
    const bool known = mode >= YFCURVE_EXTRAPOLATION_CONST && mode <= YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
    // Without keys, without a count, and with a mode that is unknown, the value stays.
    if (curve.KeyGetCount() == 0 || count == 0 || !known) return kNames[0];
    if (mode == YFCURVE_EXTRAPOLATION_CONST) return kNames[0];
    if (count == YFCURVE_EXTRAPOLATION_UNLIMITED) return kNames[mode - 1];
    return fmt::format("{}, {} times", kNames[mode - 1], count);
}

std::string PreText(const YFCurve& curve)
{
    return ExtrapolationText(curve, curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount());
}

std::string PostText(const YFCurve& curve)
{
    return ExtrapolationText(curve, curve.GetPostExtrapolation(), curve.GetPostExtrapolationCount());
}

/// A rotation of three angles as it plays.
class RotationPlayer
{
  public:
    explicit RotationPlayer(const std::vector<SelectedCurve>& components)
        : mProperty(components.front().property), mComponents(PlayedCurves(components))
    {
        for (const YFCurveNode* layer = mProperty; layer != nullptr; layer = layer->LayerGet()) {
            for (int i = 0; i < layer->GetCount(); ++i) {
                if (const YFCurve* curve = layer->Get(i)->FCurveGet()) mCurves.push_back(curve);
            }
        }
    }

    std::string Path() const { return PathOf(*mProperty); }
    int Order() const { return mProperty->GetRotationOrder(); }
    std::size_t CurveCount() const { return mCurves.size(); }
    std::size_t KeyCount() const
    {
        std::size_t keys = 0;
        for (const YFCurve* curve : mCurves) keys += static_cast<std::size_t>(curve->KeyGetCount());
        return keys;
    }
    void AddCurvesTo(std::unordered_set<const YFCurve*>& curves) const
    {
        curves.insert(mCurves.begin(), mCurves.end());
    }
    std::set<YTime> KeyTimes() const
    {
        std::set<YTime> times;
        for (const YFCurve* curve : mCurves) {
            for (int i = 0; i < curve->KeyGetCount(); ++i) times.insert(times.end(), curve->KeyGetTime(i));
        }
        return times;
    }

    Angles At(YTime time)
    {
        Angles angles{};
        for (std::size_t i = 0; i < angles.size(); ++i)
            angles[i] = static_cast<double>(mComponents[i].At(time));
        return angles;
    }

  private:
    const YFCurveNode* mProperty;
    std::vector<PlayedCurve> mComponents;
    std::vector<const YFCurve*> mCurves;  ///< of all layers
};

std::vector<RotationPlayer> RotationsOf(const Scene& scene)
{
    std::vector<RotationPlayer> rotations;
    const std::vector<SelectedCurve> curves = SelectCurves(scene, {});
    for (auto first = curves.begin(); first != curves.end();) {
        const YFCurveNode* property = first->property;
        const auto end = std::find_if(
            first, curves.end(), [property](const SelectedCurve& each) { return each.property != property; });
        if (IsRotation(*property) && end - first == 3)
            rotations.emplace_back(std::vector<SelectedCurve>(first, end));
        first = end;
    }
    return rotations;
}

/// The angle between two orientations; 0 where it is no more than the rounding of the angles makes, infinite
/// where only one of them is one.
double TurnBetween(const Angles& a, int orderA, const Angles& b, int orderB)
{
    double size = 180;
    bool finite = true;
    for (const Angles* angles : {&a, &b}) {
        for (const double angle : *angles) {
            size = std::max(size, std::abs(angle));
            finite = finite && std::isfinite(angle);
        }
    }
    if (!finite) {
        const auto same = [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); };
        const bool equal = std::equal(a.begin(), a.end(), b.begin(), same);
        return equal ? 0.0 : std::numeric_limits<double>::infinity();
    }
    // Six angles in single precision, each off by up to 6e-8 of its size.
    constexpr double kRounding = 5e-7;
    const double turn = AngleBetween(a.data(), orderA, b.data(), orderB);
    return turn <= kRounding * size ? 0.0 : turn;
}

class Comparer
{
  public:
    Comparer(const Scene& a, const Scene& b, double tolerance, bool orientation)
        : mA(a), mB(b), mTolerance(tolerance), mOrientation(orientation)
    {}

    SceneDifference Compare()
    {
        CompareSetting("frame rate", RateOf(mA), RateOf(mB));
        CompareSkeletons();
        CompareLayers();
        if (mOrientation) CompareRotations();
        if (mOrientation && mA.HasSkeleton() && mB.HasSkeleton()) mResult.world = CompareWorlds(mA, mB, 0.0);
        CompareTrees();
        return std::move(mResult);
    }

  private:
    static std::string RateOf(const Scene& scene)
    {
        return fmt::format("{}/{}", scene.rate.numerator, scene.rate.denominator);
    }

    void CompareSetting(const std::string& what, const std::string& a, const std::string& b)
    {
        if (a != b) mResult.settings.push_back({what, a, b});
    }

    /// The first joint that differs tells enough: behind it everything may be shifted.
    void CompareSkeletons()
    {
        if (!mA.HasSkeleton() || !mB.HasSkeleton()) return CompareOrders();
        const std::vector<Joint> a = JointsOf(mA);
        const std::vector<Joint> b = JointsOf(mB);
        const auto [atA, atB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
        if (atA == a.end() && atB == b.end()) return CompareOrders();
        const auto text = [](const auto& at, const auto& end) {
            return at == end ? std::string("none") : JointText(*at);
        };
        CompareSetting("skeleton", text(atA, a.end()), text(atB, b.end()));
    }

    /// Of orientations the order of the channels says nothing.
    std::vector<Joint> JointsOf(const Scene& scene) const
    {
        std::vector<Joint> joints = scene.skeleton.joints;
        if (!mOrientation) return joints;
        for (Joint& joint : joints) {
            std::sort(joint.channels.begin(), joint.channels.end(), [](Channel x, Channel y) {
                return std::pair(x.kind, x.axis) < std::pair(y.kind, y.axis);
            });
        }
        return joints;
    }

    static std::string JointText(const Joint& joint)
    {
        std::string text =
            fmt::format("{} {} at", joint.endSite ? "end site" : "joint", QuotedName(joint.name));
        for (const float component : joint.offset) AppendFloat(text += ' ', component);
        for (const Channel channel : joint.channels) text.append(" ").append(ChannelName(channel));
        return text;
    }

    /// The orders of the rotations of one path, the first with the first where several share one.
    void CompareOrders()
    {
        if (mOrientation) return;
        std::map<std::string, std::vector<int>> others;
        for (const NamedProperty& named : NamedProperties(mB)) {
            if (named.node->IsRotationLayerType())
                others[named.path].push_back(named.node->GetRotationOrder());
        }
        std::map<std::string, std::size_t> used;
        for (const NamedProperty& named : NamedProperties(mA)) {
            if (!named.node->IsRotationLayerType()) continue;
            const auto found = others.find(named.path);
            std::size_t& next = used[named.path];
            if (found == others.end() || next >= found->second.size()) continue;
            CompareSetting(fmt::format("rotation order of {}", QuotedName(named.path)),
                           RotationOrderName(named.node->GetRotationOrder()),
                           RotationOrderName(found->second[next++]));
        }
    }

    void CompareLayers()
    {
        for (const auto& layer : mA.layers.Layers()) {
            const Layer* other = mB.layers.Find(layer->GetLayerID());
            if (other != nullptr) CompareLayer(*layer, *other);
            if (other == nullptr) mResult.settings.push_back({"layer " + Quoted(layer->Name()), "there", ""});
        }
        for (const auto& layer : mB.layers.Layers()) {
            if (mA.layers.Find(layer->GetLayerID()) != nullptr) continue;
            mResult.settings.push_back({"layer " + Quoted(layer->Name()), "", "there"});
        }
    }

    void CompareLayer(const Layer& a, const Layer& b)
    {
        const auto compare = [&](std::string_view what, const std::string& valueA,
                                 const std::string& valueB) {
            CompareSetting(fmt::format("layer {}: {}", Quoted(a.Name()), what), valueA, valueB);
        };
        const auto onOff = [](bool on) { return std::string(on ? "on" : "off"); };
        compare("name", Quoted(a.Name()), Quoted(b.Name()));
        compare("mute", onOff(a.IsMuteOn()), onOff(b.IsMuteOn()));
        compare("solo", onOff(a.IsSolo()), onOff(b.IsSolo()));
        compare("lock", onOff(a.IsLocked()), onOff(b.IsLocked()));
        compare("mode", ModeText(a.GetLayerMode()), ModeText(b.GetLayerMode()));
        compare("rotations", RotationModeText(a.GetLayerRotationMode()),
                RotationModeText(b.GetLayerRotationMode()));
        compare("scalings", ScalingModeText(a.GetLayerScalingMode()),
                ScalingModeText(b.GetLayerScalingMode()));
        compare("exempt types", BypassText(a), BypassText(b));
        if (a.WeightCurve() == nullptr || b.WeightCurve() == nullptr) return;
        CompareCurves({"weight", a.Name()}, *a.WeightCurve(), *b.WeightCurve());
    }

    static std::string BypassText(const Layer& layer)
    {
        std::vector<std::string> names;
        for (const YDataType* type : layer.ModeBypasses()) names.emplace_back(type->GetName());
        std::sort(names.begin(), names.end());
        std::string text = names.empty() ? "none" : "";
        for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
        return text;
    }

    // --- Orientations ----------------------------------------------------------------------------------

    /// Pairs the rotations by their paths, the first with the first where several share one.
    void CompareRotations()
    {
        std::map<std::string, std::vector<RotationPlayer>> others;
        for (RotationPlayer& rotation : RotationsOf(mB))
            others[rotation.Path()].push_back(std::move(rotation));
        std::map<std::string, std::size_t> used;
        for (RotationPlayer& rotation : RotationsOf(mA)) {
            const auto found = others.find(rotation.Path());
            std::size_t& next = used[rotation.Path()];
            if (found == others.end() || next >= found->second.size()) continue;
            CompareRotation(rotation, found->second[next++]);
        }
    }

    void CompareRotation(RotationPlayer& a, RotationPlayer& b)
    {
        std::set<YTime> times = a.KeyTimes();
        times.merge(b.KeyTimes());
        mResult.compared += a.CurveCount();
        mResult.keys += a.KeyCount() + b.KeyCount();
        a.AddCurvesTo(mDone);
        b.AddCurvesTo(mDone);
        AddFrames(times);
        ValueDifference worst{{a.Path(), {}}, {}, 0.0};
        for (const YTime time : times) {
            const double turn = TurnBetween(a.At(time), a.Order(), b.At(time), b.Order());
            if (turn <= *worst.turn) continue;
            worst.turn = turn;
            worst.largest.time = time;
        }
        if (*worst.turn > mTolerance) mResult.values.push_back(std::move(worst));
    }

    /// The frames between the first and the last key, or some of them where there are very many.
    void AddFrames(std::set<YTime>& times) const
    {
        if (times.empty()) times.insert(YTIME_ZERO);
        const TimeSpan span{*times.begin(), *times.rbegin()};
        const std::vector<YTime> frames = TimesToCompare(span, mA.rate, FramesBetweenErrors(span, mA.rate));
        times.insert(frames.begin(), frames.end());
    }

    // --- Curves ----------------------------------------------------------------------------------------

    std::vector<Entry> RemainingCurves(const Scene& scene) const
    {
        std::vector<Entry> entries = CurveCollector(scene).Take();
        std::erase_if(entries, [this](const Entry& entry) { return mDone.contains(entry.curve); });
        return entries;
    }

    void CompareTrees()
    {
        std::vector<Entry> entries = RemainingCurves(mB);
        // The places of the curves of each name, first come, first paired.
        std::map<std::pair<std::string_view, int>, std::vector<std::size_t>> places;
        for (std::size_t i = entries.size(); i-- > 0;) {
            places[{entries[i].name.path, entries[i].layerId}].push_back(i);
        }
        std::vector<bool> paired(entries.size());
        for (const Entry& entry : RemainingCurves(mA)) {
            StopIfAsked();
            const auto found = places.find({entry.name.path, entry.layerId});
            if (found == places.end() || found->second.empty()) {
                mResult.onlyA.push_back(entry.name);
                continue;
            }
            const std::size_t other = found->second.back();
            found->second.pop_back();
            paired[other] = true;
            CompareEntries(entry, entries[other]);
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (!paired[i]) mResult.onlyB.push_back(entries[i].name);
        }
    }

    void CompareEntries(const Entry& a, const Entry& b)
    {
        const bool played = a.TurnsAsQuaternion() || b.TurnsAsQuaternion();
        if (!played || a.angle.rotation == nullptr || b.angle.rotation == nullptr)
            return CompareCurves(a.name, *a.curve, *b.curve);
        const auto form = [](const Entry& entry) {
            return std::string(entry.TurnsAsQuaternion() ? "as quaternions" : "by angles");
        };
        CompareSetting(a.name.Text() + ": interpolated", form(a), form(b));
        CompareValues(a.name, *a.curve, *b.curve, LargestDifference(a.angle, b.angle));
    }

    void CompareCurves(const CurveName& name, const YFCurve& a, const YFCurve& b)
    {
        CompareValues(name, a, b, LargestDifference(a, b));
    }

    void CompareValues(const CurveName& name, const YFCurve& a, const YFCurve& b,
                       const std::optional<CurveDifference>& largest)
    {
        ++mResult.compared;
        mResult.keys += static_cast<std::size_t>(a.KeyGetCount()) + static_cast<std::size_t>(b.KeyGetCount());
        if (largest && largest->Size() > mTolerance) mResult.values.push_back({name, *largest, {}});
        CompareSetting(name.Text() + ": before its keys", PreText(a), PreText(b));
        CompareSetting(name.Text() + ": after its keys", PostText(a), PostText(b));
    }

    const Scene& mA;
    const Scene& mB;
    double mTolerance;
    bool mOrientation;
    std::unordered_set<const YFCurve*> mDone;  ///< compared as orientations
    SceneDifference mResult;
};

}  // namespace

std::string CurveName::Text() const
{
    return Printable(layer.empty() ? path : fmt::format("{} [{}]", path, layer));
}

const ValueDifference* SceneDifference::Largest() const
{
    const auto largest = std::max_element(
        values.begin(), values.end(),
        [](const ValueDifference& x, const ValueDifference& y) { return x.Size() < y.Size(); });
    return largest != values.end() ? &*largest : nullptr;
}

SceneDifference CompareScenes(const Scene& a, const Scene& b, double tolerance, bool orientation)
{
    return Comparer(a, b, tolerance, orientation).Compare();
}

}  // namespace ymotion
