// Goes the way of the evaluation across layers (node/layers/yfcurvenode_evaluate.cpp), with the same rules for
// what a node's values come from, and notes each step: a curve's value, a blend, a turn, a time warp. Slots
// stand for the places in memory that an evaluation writes to.

#include "yfcurve/player/clipplan.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "yfcurve/node/layers/layerwalk.h"
#include "yfcurve/node/tree/nodedata.h"

namespace yfc {
namespace {

// Where the values of a node go, at which of the clip's times.
struct Target
{
    std::uint32_t slot;
    std::uint32_t domain;
    int nesting;  // see `Pass`

    Target Moved(std::uint32_t slots) const { return {slot + slots, domain, nesting}; }
};

class Planning
{
  public:
    explicit Planning(ClipPlan& plan) : mPlan(plan), mParts(plan.parts) {}

    bool All(YFCurveNode& node)
    {
        const int count = ValueCount(node);
        if (count <= 0) return false;
        mParts.valueCount = static_cast<std::uint32_t>(count);
        mParts.slotCount = mParts.valueCount;
        Layers(node, InLocalTime(node, {0, 0, 0}));
        Name(node, {});
        if (mIsTooDeep) return false;
        mParts.nameStarts.resize(mParts.valueCount, 0);
        if (mParts.names.empty()) mParts.names.push_back('\0');
        PlaceChannels();
        return true;
    }

  private:
    // --- Steps -----------------------------------------------------------------------------------------

    void Add(const ClipOp& op)
    {
        mIsTooDeep = mIsTooDeep || mParts.ops.size() >= kMostOps;
        if (!mIsTooDeep) mParts.ops.push_back(op);
    }

    void Curve(const YFCurve& curve, const Target& target)
    {
        const auto channel = static_cast<std::uint32_t>(mPlan.channels.size());
        if (!mIsTooDeep) mPlan.channels.push_back({&curve, target.domain});
        Add({EClipOp::Channel, 0, 1, target.slot, channel, 0, 0.0});
    }

    void Fill(const Target& target, int count, double value)
    {
        for (int first = 0; first < count; first += kMaximumComponents) {
            const auto part = static_cast<std::uint16_t>(std::min(count - first, kMaximumComponents));
            Add({EClipOp::Constant, 0, part, target.slot + static_cast<std::uint32_t>(first), 0, 0, value});
        }
    }

    std::uint32_t NewSlots(int count)
    {
        const std::uint32_t first = mParts.slotCount;
        mParts.slotCount += static_cast<std::uint32_t>(count);
        return first;
    }

    std::uint32_t RuleFor(const YFCurveNode& layer, int count, std::uint32_t domain)
    {
        const LayerBlend::Rule rule = LayerBlend::RuleAmongLayers(layer, count);
        const YFCurveLayerInfo& info = NodeData::Of(layer).layerInfo;
        std::uint32_t number = ClipRule::kNoLayer;
        if (info.GetLayer() != nullptr) {
            const auto found = mLayers.emplace(info.GetLayer(), mPlan.layers.size());
            if (found.second) mPlan.layers.push_back(info.GetLayer());
            number = static_cast<std::uint32_t>(found.first->second);
        }
        mParts.rules.push_back({static_cast<std::uint8_t>(rule.kind), static_cast<std::uint8_t>(rule.order),
                                0, rule.mode, info.GetWeight(YTIME_ZERO), number, domain});
        const auto index = static_cast<std::uint32_t>(mParts.rules.size() - 1);
        const auto* const weighted = dynamic_cast<const YFCurveWeightedLayer*>(info.GetLayer());
        const YFCurve* const weight = weighted != nullptr ? weighted->GetWeightCurve() : nullptr;
        if (weight != nullptr && weight->KeyGetCount() > 0) Weight(*weight, domain, index);
        return index;
    }

    // For players of a file, which have no layer to be asked. Rules of one layer share the channel.
    void Weight(const YFCurve& curve, std::uint32_t domain, std::uint32_t rule)
    {
        const auto [known, isNew] =
            mWeights.emplace(std::pair(&curve, domain), static_cast<std::uint32_t>(mPlan.channels.size()));
        if (isNew) mPlan.channels.push_back({&curve, domain, 0, {}, true});
        Add({EClipOp::Weight, 0, 1, 0, known->second, rule, 0.0});
    }

    void Blend(std::uint32_t rule, std::uint32_t total, std::uint32_t values, int count)
    {
        Add({EClipOp::Blend, 0, static_cast<std::uint16_t>(count), total, values, rule, 0.0});
    }

    // --- Time ------------------------------------------------------------------------------------------

    Target InLocalTime(YFCurveNode& node, Target target)
    {
        YFCurveNode* warp = NodeData::Of(node).timeWarp.Get();
        if (warp == nullptr || target.nesting == Pass::kMostNesting) return target;
        std::vector<YFCurveNode*> warps;
        for (; warp != nullptr && CanWarp(*warp) && !mIsTooDeep; warp = NodeData::Of(*warp).timeWarp.Get()) {
            warps.push_back(warp);
            mIsTooDeep = warps.size() > kMostWarps;
        }
        for (; !warps.empty(); warps.pop_back()) target.domain = Warped(*warps.back(), target);
        return target;
    }

    std::uint32_t Warped(YFCurveNode& warp, const Target& target)
    {
        const auto key = std::pair(&warp, target.domain);
        const auto known = mDomains.find(key);
        if (known != mDomains.end()) return known->second;
        const Target inner{NewSlots(ValueCount(warp)), target.domain, target.nesting + 1};
        Fill(inner, ValueCount(warp), 0.0);
        Layers(warp, inner);
        const std::uint32_t domain = mParts.domainCount++;
        Add({EClipOp::Warp, 0, 1, inner.slot, 0, domain, 0.0});
        mDomains.emplace(key, domain);
        return domain;
    }

    // --- Nodes -----------------------------------------------------------------------------------------

    void Layers(YFCurveNode& node, const Target& target)
    {
        if (++mDepth > kDeepest) mIsTooDeep = true;
        if (!mIsTooDeep) LayersOf(node, target);
        --mDepth;
    }

    void LayersOf(YFCurveNode& node, const Target& target)
    {
        const NodeData& data = NodeData::Of(node);
        const bool isAlone = data.layerInfo.GetLayerID() == 0 && !data.layer.IsLinked();
        // A group has no values that its layer could mute; its properties have layers of their own.
        if (isAlone && (HasProperties(node) || !data.layerInfo.IsMuted())) return Own(node, target);
        Neutral(node, target);
        if (isAlone) return;
        const bool hasProperties = HasProperties(node);
        Target layer = target;
        int hint = 0;
        for (LayerWalk walk(node, YTIME_ZERO, {&hint}); !walk.IsAtEnd(); walk.Next()) {
            if (&walk.Layer() != &node) layer = InLocalTime(walk.Layer(), layer);
            if (!walk.Counts()) continue;
            if (hasProperties) {
                Properties(node, walk.Layer(), layer);
            } else {
                Combine(node, walk, layer);
            }
        }
    }

    void Neutral(const YFCurveNode& node, const Target& target)
    {
        std::vector<double> values(static_cast<std::size_t>(ValueCount(node)));
        FillNeutral(node, values.data());
        for (std::uint32_t i = 0; i < values.size(); ++i) Fill(target.Moved(i), 1, values[i]);
    }

    // The values of the node's own layer.
    void Own(YFCurveNode& node, const Target& target)
    {
        if (const YFCurve* curve = NodeData::Of(node).curve.get()) return Curve(*curve, target);
        if (IsRotation(node)) return Rotation(node, target);
        Target next = target;
        const Children children(node);
        for (int i = 0; i < children.GetCount(); ++i) {
            YFCurveNode& child = children[i];
            Child(child, node, next);
            next.slot += static_cast<std::uint32_t>(std::max(ValueCount(child), 1));
        }
    }

    void Child(YFCurveNode& child, const YFCurveNode& parent, const Target& target)
    {
        const YFCurve* const curve = NodeData::Of(child).curve.get();
        if (curve != nullptr && IsCurveAlone(child, parent)) return Curve(*curve, target);
        if (curve == nullptr && child.GetCount() == 0) {
            return Fill(target, 1, HasNeutralValue(parent) ? NeutralValue(parent) : 0.0);
        }
        Layers(child, InLocalTime(child, target));
    }

    void Rotation(const YFCurveNode& node, const Target& target)
    {
        const Children children(node);
        for (int i = 0; i < kRotationComponents; ++i) {
            const Target angle = target.Moved(static_cast<std::uint32_t>(i));
            if (const YFCurve* curve = NodeData::Of(children[i]).curve.get()) {
                Curve(*curve, angle);
            } else {
                Fill(angle, 1, 0.0);
            }
        }
        if (node.GetUseQuaternion()) Turn(node, target);
    }

    void Turn(const YFCurveNode& node, const Target& target)
    {
        std::set<std::int64_t> times;
        for (int i = 0; i < kRotationComponents; ++i) {
            const YFCurve* const curve = node.Get(i)->FCurveGet();
            for (int k = 0; curve != nullptr && k < curve->KeyGetCount(); ++k) {
                times.insert(curve->KeyGetTime(k).Get());
            }
        }
        if (times.size() < 2) return;
        const auto table = static_cast<std::uint32_t>(mParts.turns.size());
        mParts.turns.push_back({target.domain, static_cast<std::int32_t>(node.GetRotationOrder()),
                                times.size(), mParts.times.size(), mParts.floats.size()});
        for (auto time = times.begin(); time != times.end(); ++time) {
            mParts.times.push_back(*time);
            for (int i = 0; i < kRotationComponents; ++i) {
                int hint = 0;
                const YFCurve* const curve = node.Get(i)->FCurveGet();
                mParts.floats.push_back(curve != nullptr ? curve->Evaluate(YTime(*time), &hint) : 0.0f);
            }
            const bool isLast = std::next(time) == times.end();
            const bool turns = !isLast && *std::next(time) > *time + 1 && TurnsAt(node, YTime(*time + 1));
            mParts.floats.push_back(turns ? 1.0f : 0.0f);
        }
        Add({EClipOp::Turn, 0, kRotationComponents, target.slot, 0, table, 0.0});
    }

    // --- Layers ----------------------------------------------------------------------------------------

    void Component(YFCurveNode& child, const YFCurveNode& node, const Target& target)
    {
        Fill(target, 1, NeutralValue(node));
        if (!NodeData::Of(child).curve || target.nesting == Pass::kMostNesting) return;
        Target own = InLocalTime(child, target);
        ++own.nesting;
        Layers(child, own);
    }

    void Components(YFCurveNode& node, int count, const Target& target)
    {
        if (NodeData::Of(node).curve || IsRotation(node)) return Own(node, target);
        const Children children(node);
        for (int i = 0; i < count; ++i) {
            const Target component = target.Moved(static_cast<std::uint32_t>(i));
            if (NodeData::Of(children[i]).curve && IsCurveAlone(children[i], node)) {
                Curve(*NodeData::Of(children[i]).curve, component);
            } else {
                Component(children[i], node, component);
            }
        }
    }

    // One layer, combined into the values of a property, which are the target.
    void Combine(YFCurveNode& property, LayerWalk& walk, const Target& target)
    {
        YFCurveNode& layer = walk.Layer();
        const int count = ComponentCount(property);
        const std::uint32_t rule = RuleFor(layer, count, target.domain);
        const Target values{NewSlots(count), target.domain, target.nesting};
        if (walk.IsAlike()) {
            Components(layer, count, values);
        } else {
            for (int i = 0; i < count; ++i) {
                Part(PartOf(property, layer, i), layer, values.Moved(static_cast<std::uint32_t>(i)));
            }
        }
        const bool isWhole = walk.IsAlike() || mParts.rules[rule].kind ==
                                                   static_cast<std::uint8_t>(LayerBlend::EKind::Rotation);
        const int step = isWhole ? kMaximumComponents : 1;
        for (int i = 0; i < count; i += step) {
            if (!isWhole && PartOf(property, layer, i) == nullptr) continue;
            const auto at = static_cast<std::uint32_t>(i);
            Blend(rule, target.slot + at, values.slot + at, std::min(step, count - i));
        }
    }

    void Part(YFCurveNode* part, YFCurveNode& layer, const Target& target)
    {
        if (part == nullptr || part == &layer) Fill(target, 1, NeutralValue(layer));
        if (part == &layer) return Own(layer, target);
        if (part != nullptr) Component(*part, layer, target);
    }

    void Properties(YFCurveNode& top, YFCurveNode& layer, const Target& target)
    {
        if (++mDepth > kDeepest) mIsTooDeep = true;
        Target next = target;
        for (int i = 0; !mIsTooDeep && i < top.GetCount(); ++i) {
            YFCurveNode& child = *top.Get(i);
            if (YFCurveNode* part = PartOf(top, layer, i); part != nullptr && !part->IsNodeMuted()) {
                Target own = InLocalTime(*part, target);
                own.slot = next.slot;
                Property(child, *part, own);
            }
            next.slot += static_cast<std::uint32_t>(std::max(ValueCount(child), 1));
        }
        --mDepth;
    }

    void Property(YFCurveNode& child, YFCurveNode& part, const Target& target)
    {
        if (HasProperties(child)) return Properties(child, part, target);
        int hint = 0;
        LayerWalk walk(child, part, YTIME_ZERO, {&hint});
        Combine(child, walk, target);
    }

    // --- Names -----------------------------------------------------------------------------------------

    void Name(const YFCurveNode& node, const std::string& name)
    {
        const Children children(node);
        if (NodeData::Of(node).curve || children.GetCount() == 0) {
            mParts.nameStarts.push_back(static_cast<std::uint32_t>(mParts.names.size()));
            mParts.names.insert(mParts.names.end(), name.c_str(), name.c_str() + name.size() + 1);
            return;
        }
        if (++mDepth > kDeepest) mIsTooDeep = true;
        for (int i = 0; !mIsTooDeep && i < children.GetCount(); ++i) {
            const char* const own = children[i].GetName();
            Name(children[i], (name.empty() ? name : name + '/') + (own != nullptr ? own : ""));
        }
        --mDepth;
    }

    // --- Places ----------------------------------------------------------------------------------------

    // A value that is nothing but that of a curve, or a constant, needs no operation: its channel gets the
    // value's own place. All others get places behind.
    void PlaceChannels()
    {
        std::vector<int> uses(mParts.slotCount);
        for (const ClipOp& op : mParts.ops) {
            for (std::uint32_t i = 0; i < OpCount(op); ++i) ++uses[op.slot + i];
            if (op.type == EClipOp::Warp) ++uses[op.slot];
        }
        std::vector<ClipOp> rest;
        std::uint32_t places = mParts.valueCount;
        std::vector<bool> isPlaced(mParts.valueCount);
        for (ClipOp op : mParts.ops) {
            const bool isDirect = OpCount(op) == 1 && op.slot < mParts.valueCount && uses[op.slot] == 1;
            if (isDirect && op.type == EClipOp::Channel) {
                mPlan.channels[op.from].place = op.slot;
                isPlaced[op.slot] = true;
            } else if (isDirect && op.type == EClipOp::Constant) {
                mPlan.channels.push_back({nullptr, 0, op.slot});
                mPlan.channels.back().keys.constant = static_cast<float>(op.value);
                isPlaced[op.slot] = true;
            } else {
                if (op.type == EClipOp::Channel) {
                    mPlan.channels[op.from].place = places;
                    op.from = places++;
                }
                if (op.type == EClipOp::Weight) {
                    std::uint32_t& place = mPlan.channels[op.from].place;
                    if (place == 0) place = places++;  // none yet, as place 0 belongs to a value of the clip
                    op.from = place;
                }
                rest.push_back(op);
            }
        }
        mParts.ops = std::move(rest);
        mParts.places.assign(places, {ClipPlace::kComputed, 0});
        for (std::uint32_t i = 0; i < mParts.valueCount; ++i) {
            if (!isPlaced[i]) AddOutput(i);
        }
        if (mParts.ops.empty()) mParts.slotCount = 0;
    }

    static std::uint32_t OpCount(const ClipOp& op)
    {
        const bool isOfNone =
            op.type == EClipOp::Weight || op.type == EClipOp::Warp || op.type == EClipOp::Output;
        return isOfNone ? 0 : op.count;
    }

    void AddOutput(std::uint32_t value)
    {
        ClipOp* const last = mParts.ops.empty() ? nullptr : &mParts.ops.back();
        const bool goesOn = last != nullptr && last->type == EClipOp::Output && last->count < UINT16_MAX &&
                            last->index + last->count == value;
        if (goesOn) {
            ++last->count;
        } else {
            mParts.ops.push_back({EClipOp::Output, 0, 1, value, 0, value, 0.0});
        }
    }

    static constexpr int kDeepest = 1000;
    static constexpr std::size_t kMostOps = std::size_t{1} << 24;
    static constexpr std::size_t kMostWarps = 1000;

    ClipPlan& mPlan;
    ClipParts& mParts;
    std::map<const YFCurveLayer*, std::size_t> mLayers;
    std::map<std::pair<YFCurveNode*, std::uint32_t>, std::uint32_t> mDomains;
    std::map<std::pair<const YFCurve*, std::uint32_t>, std::uint32_t> mWeights;  // the channels of curves
    int mDepth = 0;
    bool mIsTooDeep = false;
};

}  // namespace

bool MakePlan(YFCurveNode& node, ClipPlan& plan)
{
    return Planning(plan).All(node);
}

}  // namespace yfc
