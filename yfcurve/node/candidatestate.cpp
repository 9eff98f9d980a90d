// Snapshots of candidates.

#include <array>
#include <cstdio>
#include <memory>

#include "yfcurve/node/nodedata.h"
#include "yfcurve/yfcurvecandidatestate.h"

using yfc::NodeData;

namespace yfc {

// Between a node and the record of its candidates.
struct CandidateSnapshot
{
    using State = YFCurveNodeCandidateState;
    static constexpr int kChildren = 4;

    static State Take(const YFCurveNode& node)
    {
        State state = TakeLayer(node);
        if (const YFCurveNode* layer = node.LayerGet()) {
            state.mLayer = std::make_shared<const State>(Take(*layer));
        }
        return state;
    }

    static void Restore(YFCurveNode& node, const State& state)
    {
        RestoreLayer(node, state);
        for (const State* behind = state.mLayer.get(); behind != nullptr; behind = behind->mLayer.get()) {
            YFCurveNode* layer = node.LayerGet(behind->mLayerId);
            if (layer != nullptr && layer != &node) RestoreLayer(*layer, *behind);
        }
    }

  private:
    static State TakeLayer(const YFCurveNode& node)
    {
        const NodeData& data = NodeData::Of(node);
        State state;
        state.mTotalMethod = static_cast<std::uint32_t>(node.GetTotalCandidateMethod());
        state.mSpecificMethod = static_cast<std::uint32_t>(node.GetSpecificCandidateMethod());
        for (int i = 0; i < kStoredCandidates; ++i) state.mTotalValues[i] = data.totalCandidate[i];
        state.mTotalTime = data.totalCandidateTime;
        state.mLayerId = node.GetLayerID();
        if (data.curve) {
            const double value = data.curve->CandidateGet();
            state.mSpecificValue[0] = static_cast<float>(value);
            state.mSpecificValue[1] =
                static_cast<float>(value - static_cast<double>(state.mSpecificValue[0]));
            state.mSpecificTime = data.curve->CandidateGetTime();
        }
        TakeChildren(state, node, 0);
        return state;
    }

    static void TakeChildren(State& state, const YFCurveNode& node, int first)
    {
        for (int i = 0; i < kChildren && first + i < node.GetCount(); ++i) {
            state.mChildren[i] = std::make_shared<const State>(Take(*node.Get(first + i)));
        }
        if (first + kChildren >= node.GetCount()) return;
        const auto more = std::make_shared<State>();
        TakeChildren(*more, node, first + kChildren);
        state.mMoreChildren = more;
    }

    static void RestoreLayer(YFCurveNode& node, const State& state)
    {
        NodeData& data = NodeData::Of(node);
        const bool total = state.mTotalMethod == YFCurveNode::YFCURVE_CANDIDATE_TOTAL;
        data.Set(kStateNoTotalCandidate, !total);
        data.Set(kStateSpecificCandidateHigh, (state.mSpecificMethod & 2) != 0);
        data.totalCandidateTime = total ? state.mTotalTime : YTIME_INFINITE;
        for (int i = 0; i < kStoredCandidates; ++i) data.totalCandidate[i] = state.mTotalValues[i];
        if (data.curve) {
            const double value =
                static_cast<double>(state.mSpecificValue[0]) + static_cast<double>(state.mSpecificValue[1]);
            data.curve->CandidateSet(state.mSpecificTime, value);
        }
        RestoreChildren(node, state, 0);
    }

    static void RestoreChildren(YFCurveNode& node, const State& state, int first)
    {
        for (int i = 0; i < kChildren; ++i) {
            YFCurveNode* child = node.Get(first + i);
            if (child != nullptr && state.mChildren[i]) Restore(*child, *state.mChildren[i]);
        }
        if (state.mMoreChildren) RestoreChildren(node, *state.mMoreChildren, first + kChildren);
    }
};

}  // namespace yfc

bool YFCurveNode::GetCandidateState(YFCurveNodeCandidateState& state) const
{
    return yfc::Guarded([&] {
        state = yfc::CandidateSnapshot::Take(*this);
        return true;
    });
}

void YFCurveNode::SetCandidateState(const YFCurveNodeCandidateState& state)
{
    yfc::CandidateSnapshot::Restore(*this, state);
}

void YFCurveNodeCandidateState::Dump(LineSink sink, void* object, int level) const
{
    constexpr int spacesPerLevel = 2;
    std::array<char, 256> line = {};
    const auto value = [this](int i) { return static_cast<double>(mTotalValues[i]); };
    std::snprintf(line.data(), line.size(),
                  "%*slayer %d: total %u at %.9g s: %.9g %.9g %.9g %.9g, specific %u at %.9g s: %.9g",
                  level * spacesPerLevel, "", mLayerId, mTotalMethod, mTotalTime.GetSecondDouble(), value(0),
                  value(1), value(2), value(3), mSpecificMethod, mSpecificTime.GetSecondDouble(),
                  static_cast<double>(mSpecificValue[0]) + static_cast<double>(mSpecificValue[1]));
    sink(line.data(), object);
    for (const YFCurveNodeCandidateState* part = this; part != nullptr; part = part->mMoreChildren.get()) {
        for (const Shared& child : part->mChildren) {
            if (child) child->Dump(sink, object, level + 1);
        }
    }
    if (mLayer) mLayer->Dump(sink, object, level + 1);
}
