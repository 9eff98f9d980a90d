// Candidates: values held at a time, and keys made of them.

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <memory>

#include "yfcurve/curve/edit/storage.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/node/layers/layertokeep.h"
#include "yfcurve/node/layers/layerwalk.h"
#include "yfcurve/node/tree/animationkeep.h"
#include "yfcurve/node/tree/steadywalk.h"

using yfc::EWalk;
using yfc::Guarded;
using yfc::NodeData;
using yfc::Pass;

namespace {

// Something for each component of a node; mostly there are few.
template<class Part>
class Parts
{
  public:
    explicit Parts(int count)
    {
        if (count > yfc::kMaximumComponents)
            mMany = std::make_unique<Part[]>(static_cast<std::size_t>(count));
    }
    Part* Get() { return mMany ? mMany.get() : mFew.data(); }

  private:
    std::array<Part, yfc::kMaximumComponents> mFew = {};
    std::unique_ptr<Part[]> mMany;
};

// The values of a node while they are worked on.
using Values = Parts<double>;

// The times of candidates are those that evaluation with candidates comes to.
constexpr Pass kWithCandidates{nullptr, true};

YTime LayerTime(YFCurveNode& node, const YFCurveNode& layer, YTime localTime)
{
    yfc::LayerWalk walk(node, localTime, kWithCandidates);
    walk.GoTo(layer);
    return walk.Time();
}

// An edit that changes keys last, when nothing can run out of memory any more. Before that it is made whole
// or not at all.
template<class Result, class Edit>
Result PuttingCandidatesBack(YFCurveNode& node, Result refusal, const Edit& edit)
{
    return yfc::GuardedOr(refusal, [&] {
        yfc::AnimationKeep keep;
        keep.Keep(node, yfc::AnimationKeep::EKeys::StayAnyway);
        return yfc::PuttingBack(keep, refusal, edit);
    });
}

// Forgets what the node and its children hold together; the candidates of curves stay.
void DropTotals(YFCurveNode& node)
{
    yfc::WalkSteadily(node, yfc::ChildOf, [](YFCurveNode& at, const YFCurveNode*) {
        NodeData::Of(at).ClearCandidate();
        return EWalk::Into;
    });
}

void ClearOwn(YFCurveNode& node, bool clearSubLayers)
{
    yfc::WalkSteadily(node, yfc::ChildOf, [=](YFCurveNode& at, const YFCurveNode*) {
        if (clearSubLayers) {
            for (YFCurveNode* layer = at.LayerGet(); layer != nullptr; layer = layer->LayerGet())
                ClearOwn(*layer, false);
        }
        if (at.IsNodeLocked()) return EWalk::Past;
        NodeData::Of(at).ClearCandidate();
        if (YFCurve* curve = at.FCurveGet()) curve->CandidateClear();
        return EWalk::Into;
    });
}

// --- Components without keys ---------------------------------------------------------------------------

bool HasNoKeys(const YFCurveNode& node, int component)
{
    if (node.FCurveGet() != nullptr) return node.GetParent() == nullptr && node.KeyGetCount() == 0;
    const YFCurveNode* layer = node.LayerGet();
    const YFCurveNode* above = layer != nullptr ? yfc::PartOf(node, *layer, component) : nullptr;
    return node.Get(component)->KeyGetCount() == 0 && (above == nullptr || above->KeyGetCount() == 0);
}

bool AnyHasNoKeys(const YFCurveNode& node)
{
    const int count = yfc::ComponentCount(node);
    for (int i = 0; i < count; ++i) {
        if (HasNoKeys(node, i)) return true;
    }
    return false;
}

void SetDefault(YFCurve& curve, double value)
{
    if (curve.GetValue() != static_cast<float>(value)) curve.SetValue(static_cast<float>(value));
    curve.CandidateClear();
}

// Puts what a layer has to hold for the values into the default values of the components without keys.
void SetDefaults(YFCurveNode& node, const double* values, YTime localTime, const YFCurveLayerInfo& info)
{
    const int count = yfc::ComponentCount(node);
    Values held(count);
    yfc::LayerToKeep made(node, node.GetCorrectLayerInfo(info));
    YFCurveNode* const layer = made.Get();
    if (layer == nullptr) return;
    yfc::SolveForLayer(node, *layer, held.Get(), values, localTime, nullptr);
    yfc::ResolveShare(node, *layer, held.Get(), LayerTime(node, *layer, localTime), true);
    made.Keep();
    const bool single = node.FCurveGet() != nullptr;
    for (int i = 0; i < count; ++i) {
        YFCurve* curve = HasNoKeys(node, i) ? yfc::CurveOf(node, *layer, i) : nullptr;
        if (curve != nullptr && (single || !curve->IsLocked())) SetDefault(*curve, held.Get()[i]);
    }
}

void HoldTotal(YFCurveNode& node, YTime localTime)
{
    NodeData& data = NodeData::Of(node);
    data.Set(yfc::kStateNoTotalCandidate, false);
    data.Set(yfc::kStateSpecificCandidateHigh, true);
    data.totalCandidateTime = localTime;
}

// Has one node hold its part of the values. \return  false where nothing is used of them.
// \param time  of the node's surroundings; set to its own.
bool HoldOwn(YFCurveNode& node, YTime& time, const double* values, const YFCurveLayerInfo& layerInfo)
{
    const YFCurveLayerInfo info = node.GetCorrectLayerInfo(layerInfo);
    if (info.IsLocked() || node.GetLayerID() != 0) return false;
    const YTime localTime = yfc::LocalTime(node, time, kWithCandidates);
    if (!yfc::HasProperties(node) && AnyHasNoKeys(node)) SetDefaults(node, values, localTime, info);
    HoldTotal(node, localTime);
    time = localTime;
    return true;
}

// Whether nothing can run out of memory any more once the node itself holds its values.
bool HoldsAtOnce(const YFCurveNode& node)
{
    if (yfc::HasProperties(node)) return false;
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (child.TimeWarpGet() != nullptr || AnyHasNoKeys(child)) return false;
    }
    return true;
}

// Has a node and all below it hold the values. The time of each is that of its parent, behind time warps.
const double* HoldBelow(YFCurveNode& top, YTime time, const double* values, const YFCurveLayerInfo& layerInfo)
{
    if (!HoldOwn(top, time, values, layerInfo)) return values;
    const auto holdsValue = [&](YFCurveNode& node) {
        if (node.FCurveGet() == nullptr) return false;
        yfc::KeepTotalCandidate(node, 0, *values++);
        return true;
    };
    if (holdsValue(top)) return values;
    yfc::WalkWith(top, time, [&](YFCurveNode& node, YTime childTime, int index) -> std::optional<YTime> {
        YFCurveNode& child = *node.Get(index);
        yfc::KeepTotalCandidate(node, index, *values);
        const bool uses = HoldOwn(child, childTime, values, YFCurveLayerInfo::Base);
        if (child.FCurveGet() == nullptr && child.GetCount() == 0) {
            ++values;
        } else if (uses && !holdsValue(child)) {
            return childTime;
        }
        return std::nullopt;
    });
    return values;
}

// --- Specific layers -----------------------------------------------------------------------------------

// A rotation is evaluated as a whole, whatever time warps its children have.
YTime ComponentTime(const YFCurveNode& layer, YFCurveNode& part, YTime time)
{
    if (&part == &layer || yfc::IsRotation(layer)) return time;
    return yfc::LocalTime(part, time, kWithCandidates);
}

// Gives the curves of one layer the values that its share takes. Throws before it changes any.
// \param held  the share, which becomes those values
void SetLayer(YFCurveNode& node, YFCurveNode& layer, Values& held, YTime layerTime, bool nearestAngles)
{
    const int count = yfc::ComponentCount(node);
    yfc::ResolveShare(node, layer, held.Get(), layerTime, nearestAngles);
    Parts<YTime> times(count);
    for (int i = 0; i < count; ++i) {
        YFCurveNode* part = yfc::PartOf(node, layer, i);
        if (part != nullptr) times.Get()[i] = ComponentTime(layer, *part, layerTime);
    }
    for (int i = 0; i < count; ++i) {
        YFCurve* curve = yfc::CurveOf(node, layer, i);
        if (curve != nullptr) curve->CandidateSet(times.Get()[i], held.Get()[i]);
    }
}

// How candidates become keys; the arguments of `YFCurveNode::CandidateKey`.
struct Keying
{
    int* indices;
    bool* added;
    bool onlyChanged;
    int interpolation;
    int tangentMode;
    int component;
    double tolerance;
};

bool HasValueAlready(const YFCurve& curve, double tolerance)
{
    int hint = 0;
    const auto value = static_cast<double>(curve.Evaluate(curve.CandidateGetTime(), &hint));
    return std::abs(value - curve.CandidateGet()) <= tolerance;
}

// Throws when there is no memory for the keys that the layer's curves are to get.
void MakeRoom(const YFCurveNode& node, const YFCurveNode& layer)
{
    const int count = yfc::ComponentCount(node);
    for (int i = 0; i < count; ++i) {
        if (YFCurve* curve = yfc::CurveOf(node, layer, i)) {
            YFCurveStorage::MakeRoom(*curve, curve->KeyGetCount() + 1);
        }
    }
}

void KeyLayer(const YFCurveNode& node, const YFCurveNode& layer, const Keying& keying)
{
    const int count = yfc::ComponentCount(node);
    for (int i = 0; i < count; ++i) {
        const bool wanted = keying.component < 0 || keying.component == i;
        YFCurve* curve = wanted ? yfc::CurveOf(node, layer, i) : nullptr;
        int index = -1;
        int former = 0;
        if (curve != nullptr && !curve->IsLocked() &&
            !(keying.onlyChanged && HasValueAlready(*curve, keying.tolerance))) {
            former = curve->KeyGetCount();
            index = curve->CandidateKey(nullptr, static_cast<unsigned>(keying.interpolation),
                                        static_cast<unsigned>(keying.tangentMode));
        }
        if (keying.indices != nullptr) keying.indices[i] = index;
        if (keying.added != nullptr) keying.added[i] = index >= 0 && curve->KeyGetCount() > former;
    }
}

// --- Keying the total ----------------------------------------------------------------------------------

// The time of a candidate that the node's own curves hold, none of them a total one; infinity without any.
YTime OwnCandidateTime(const YFCurveNode& node)
{
    const int count = yfc::ComponentCount(node);
    for (int i = 0; i < count; ++i) {
        const YFCurve* curve = yfc::CurveOf(node, node, i);
        if (curve != nullptr && curve->IsCandidate()) return curve->CandidateGetTime();
    }
    return YTIME_INFINITE;
}

// The total to be keyed, and at which local time; infinity when there is nothing to key.
YTime GatherTotal(YFCurveNode& node, double* total, YTime time)
{
    const NodeData& data = NodeData::Of(node);
    const bool timeGiven = time != YTIME_INFINITE;
    YTime localTime = timeGiven ? yfc::LocalTime(node, time, kWithCandidates) : data.totalCandidateTime;
    if (node.IsCandidate() && data.totalCandidateTime != YTIME_INFINITE) {
        const int count = yfc::ComponentCount(node);
        for (int i = 0; i < count; ++i) total[i] = static_cast<double>(yfc::TotalCandidate(node, i));
        return localTime;
    }
    if (!timeGiven) localTime = OwnCandidateTime(node);
    if (localTime != YTIME_INFINITE) yfc::EvaluateLayers(node, total, localTime, kWithCandidates);
    return localTime;
}

void KeyTotal(YFCurveNode& node, const YFCurveLayerInfo& info, const Keying& keying, bool nearestAngles,
              YTime time)
{
    Values values(yfc::ComponentCount(node));
    const YTime localTime = GatherTotal(node, values.Get(), time);
    if (localTime == YTIME_INFINITE) return;
    yfc::LayerToKeep made(node, node.GetCorrectLayerInfo(info));
    YFCurveNode* const layer = made.Get();
    if (layer == nullptr) return;
    const yfc::AttributeReserve reserve(yfc::ComponentCount(node));
    MakeRoom(node, *layer);
    yfc::SolveForLayer(node, *layer, values.Get(), values.Get(), localTime, nullptr);
    SetLayer(node, *layer, values, LayerTime(node, *layer, localTime), nearestAngles);
    made.Keep();
    KeyLayer(node, *layer, keying);
    node.CandidateClear(0, true);
}

// Keys a node that is a property. \return  true for one that is not, has properties below it and is not
// locked.
bool KeyOwn(YFCurveNode& node, const YFCurveLayerInfo& layerInfo, const Keying& keying, bool nearestAngles,
            YTime time)
{
    const YFCurveLayerInfo info = node.GetCorrectLayerInfo(layerInfo);
    if (info.IsLocked() || node.IsLockedByProperty()) return false;
    if (yfc::HasProperties(node)) return true;
    KeyTotal(node, info, keying, nearestAngles, time);
    return false;
}

// Keys all properties below a node, or the one that it is. Each time is that of the parent, behind time
// warps.
void KeyBelow(YFCurveNode& top, const YFCurveLayerInfo& layerInfo, Keying keying, bool nearestAngles,
              YTime time)
{
    const auto timeBelow = [](YFCurveNode& node, YTime outer) {
        return outer == YTIME_INFINITE ? outer : yfc::LocalTime(node, outer, kWithCandidates);
    };
    if (!KeyOwn(top, layerInfo, keying, nearestAngles, time)) return;
    keying.component = -1;
    const auto keyChild = [&](YFCurveNode& node, YTime outer, int index) -> std::optional<YTime> {
        YFCurveNode& child = *node.Get(index);
        if (KeyOwn(child, layerInfo, keying, nearestAngles, outer)) return timeBelow(child, outer);
        const int count = std::max(yfc::ValueCount(child), 1);
        if (keying.indices != nullptr) keying.indices += count;
        if (keying.added != nullptr) keying.added += count;
        return std::nullopt;
    };
    yfc::WalkWith(top, timeBelow(top, time), keyChild,
                  [](YFCurveNode& node) { NodeData::Of(node).ClearCandidate(); });
}

}  // namespace

// --- State ---------------------------------------------------------------------------------------------

bool YFCurveNode::IsCandidate() const
{
    return !mData->Has(yfc::kStateNoTotalCandidate);
}

YFCurveNode::eCandidateMethod YFCurveNode::GetTotalCandidateMethod() const
{
    return IsCandidate() ? YFCURVE_CANDIDATE_TOTAL : YFCURVE_CANDIDATE_NONE;
}

int YFCurveNode::GetSpecificCandidateMethod() const
{
    return (mData->Has(yfc::kStateNoTotalCandidate) ? 1 : 0) +
           (mData->Has(yfc::kStateSpecificCandidateHigh) ? 2 : 0);
}

double* YFCurveNode::CandidateGet(double* values) const
{
    if (!IsCandidate()) return values;
    const int count = yfc::ComponentCount(*this);
    for (int i = 0; i < count; ++i) *values++ = static_cast<double>(yfc::TotalCandidate(*this, i));
    return values;
}

double* YFCurveNode::CandidateGetWithTime(double* values, YTime& time) const
{
    Guarded([&] {
        return yfc::WalkTree(*this, [&](const YFCurveNode& node) {
            const YFCurve* const curve = node.FCurveGet();
            if (curve == nullptr) return EWalk::Into;
            *values++ = curve->CandidateGet();
            time = curve->CandidateGetTime();
            return EWalk::Past;
        });
    });
    return values;
}

void YFCurveNode::CandidateGetTotalCandidate(double* values, YTime& time) const
{
    std::copy(std::begin(mData->totalCandidate), std::end(mData->totalCandidate), values);
    time = mData->totalCandidateTime;
}

// --- Setting and clearing ------------------------------------------------------------------------------

const double* YFCurveNode::CandidateSet(YTime time, const double* values, const YFCurveLayerInfo& layerInfo,
                                        int)
{
    const auto hold = [&] { return HoldBelow(*this, time, values, layerInfo); };
    if (HoldsAtOnce(*this)) return yfc::GuardedOr(values, hold);
    return PuttingCandidatesBack(*this, values, hold);
}

bool YFCurveNode::CandidateClear(int layerId, bool clearSubLayers)
{
    YFCurveNode* node = this;
    while (node != nullptr && node->GetLayerID() != node->GetCorrectLayerID(layerId)) {
        YFCurveNode* const next = node->LayerGet();
        if (next != nullptr && next->GetLayerID() > node->GetCorrectLayerID(layerId)) return true;
        node = next;
    }
    if (node != nullptr) ClearOwn(*node, clearSubLayers);
    return true;
}

void YFCurveNode::CandidateClearSubLayers()
{
    for (YFCurveNode* layer = LayerGet(); layer != nullptr; layer = layer->LayerGet())
        ClearOwn(*layer, false);
}

// --- One layer -----------------------------------------------------------------------------------------

void YFCurveNode::ComputeCandidateForLayer(double* share, const double* total, YTime time, int layerId,
                                           int* last) const
{
    // Without candidates, solving changes no more than evaluating does.
    YFCurveNode& node = const_cast<YFCurveNode&>(*this);
    YFCurveNode* layer = node.LayerGet(layerId);
    Guarded([&] {
        yfc::SolveForLayer(node, layer != nullptr ? *layer : node, share, total,
                           yfc::LocalTime(node, time, {last, false}), last);
        return true;
    });
}

const double* YFCurveNode::CandidateSetSpecificLayer(YTime time, const double* share,
                                                     const YFCurveLayerInfo& layerInfo, bool nearestAngles)
{
    if (GetCorrectLayerInfo(layerInfo).IsLocked() || yfc::HasProperties(*this)) return share;
    return yfc::GuardedOr(share, [&] {
        const int count = yfc::ComponentCount(*this);
        Values held(count);
        yfc::LayerToKeep made(*this, GetCorrectLayerInfo(layerInfo));
        YFCurveNode* const layer = made.Get();
        if (layer == nullptr) return share;
        std::copy_n(share, count, held.Get());
        const YTime localTime = yfc::LocalTime(*this, time, kWithCandidates);
        SetLayer(*this, *layer, held, LayerTime(*this, *layer, localTime), nearestAngles);
        made.Keep();
        DropTotals(*this);
        return share + count;
    });
}

bool YFCurveNode::CandidateKeySpecificLayer(int* keyIndices, const YFCurveLayerInfo& layerInfo,
                                            bool* keyAdded, bool onlyChanged, int interpolation,
                                            int tangentMode, int childIndex, double tolerance)
{
    const YFCurveLayerInfo info = GetCorrectLayerInfo(layerInfo);
    YFCurveNode* layer = LayerGet(info.GetLayerID());
    if (layer == nullptr || info.IsLocked() || IsLockedByProperty()) return false;
    return Guarded([&] {
        const yfc::AttributeReserve reserve(yfc::ComponentCount(*this));
        MakeRoom(*this, *layer);
        KeyLayer(*this, *layer,
                 {keyIndices, keyAdded, onlyChanged, interpolation, tangentMode, childIndex, tolerance});
        return true;
    });
}

// --- The whole stack -----------------------------------------------------------------------------------

bool YFCurveNode::CandidateKey(int* keyIndices, const YFCurveLayerInfo& layerInfo, bool* keyAdded,
                               bool onlyChanged, int interpolation, int tangentMode, int childIndex,
                               bool nearestAngles, YTime time, double tolerance)
{
    const Keying keying = {keyIndices,  keyAdded,   onlyChanged, interpolation,
                           tangentMode, childIndex, tolerance};
    const auto keyAll = [&] {
        KeyBelow(*this, layerInfo, keying, nearestAngles, time);
        return true;
    };
    if (yfc::HasProperties(*this)) return yfc::Safely(*this, false, keyAll);
    return PuttingCandidatesBack(*this, false, keyAll);
}
