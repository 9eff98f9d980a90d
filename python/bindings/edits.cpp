#include <algorithm>
#include <cfloat>
#include <cmath>
#include <memory>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"
#include "python/bindings/locks.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace yfpy {
namespace {

/// A stretch of time and of values, borders included, and what it does to the keys inside.
using Rectangle = std::tuple<int, std::int64_t, std::int64_t, double, double>;

/// The nodes whose keys are edited.
using Nodes = std::vector<NodePartPtr>;

/// How keys are moved.
struct Move
{
    std::string kind;  ///< "move", "stretch", "scale" or "set"
    std::int64_t time = 0;
    double value = 0.0;
    double timeFactor = 1.0;
    double valueFactor = 1.0;
    std::int64_t timePivot = 0;
    double valuePivot = 0.0;
    bool copy = false;
    bool ripple = false;
};

void CheckMemory(const YFCurveManipulator& manipulator)
{
    if (manipulator.HasRunOutOfMemory()) throw std::bad_alloc();
}

/// Locked nodes are left alone, and refused where there are no others.
void CheckAnyUnlocked(const Owner& owner, const Nodes& nodes)
{
    const bool isAny = std::any_of(nodes.begin(), nodes.end(),
                                   [&](const NodePartPtr& node) { return !IsLocked(owner, node->Get()); });
    if (!isAny && !nodes.empty()) CheckTreeUnlocked(owner, nodes.front()->Get());
}

/// Registers and marks those nodes that are not locked, all of one owner, which is in use.
void Register(YFCurveManipulator& manipulator, const Owner& owner, const Nodes& nodes)
{
    CheckAnyUnlocked(owner, nodes);
    manipulator.BeginAddRemoveCurveNode();
    for (const NodePartPtr& node : nodes) {
        if (node->Of().get() != &owner) throw py::value_error("a node belongs to another scene");
        if (!IsLocked(owner, node->Get())) manipulator.Add(&node->Get());
    }
    manipulator.EndAddRemoveCurveNode();
    manipulator.MarkCurveNodeForManip(true, nullptr);
    CheckMemory(manipulator);
}

int SelectedKeys(const YFCurveManipulator& manipulator)
{
    int keys = 0;
    for (int i = 0; i < manipulator.GetNodeCount(); ++i)
        keys += manipulator.GetNode(i)->FCurveGet()->KeyGetSelectionCount();
    return keys;
}

/// \return  how many keys are selected then
int Select(Owner& owner, const Nodes& nodes, const Rectangle& rectangle)
{
    const auto [mode, start, stop, least, greatest] = rectangle;
    const Use use(owner, Purpose::Edit);
    YFCurveManipulator manipulator;
    Register(manipulator, owner, nodes);
    manipulator.SelectKeys(static_cast<eSelectionMode>(mode), YTime(start), YTime(stop), least, greatest);
    CheckMemory(manipulator);
    return SelectedKeys(manipulator);
}

eFCurveManipulationMode ModeOf(const Move& move)
{
    if (move.kind == "move") return kManipulationMove;
    if (move.kind == "stretch") return kManipulationStretchXY;
    if (move.kind == "scale") return kManipulationScale;
    return kManipulationSetValue;
}

void Apply(YFCurveManipulator& manipulator, const Move& move)
{
    const eFCurveManipulationMode mode = ModeOf(move);
    manipulator.BeginManipulation(mode, move.copy, move.valuePivot);
    if (mode == kManipulationMove) {
        manipulator.Offset(YTime(move.time), move.value);
    } else if (mode == kManipulationStretchXY) {
        manipulator.StretchXY(move.timeFactor, move.valueFactor, YTime(move.timePivot), move.valuePivot);
    } else if (mode == kManipulationScale) {
        manipulator.ScaleY(move.valueFactor);
    } else {
        manipulator.SetY(move.value);
    }
    manipulator.EndManipulation();
    manipulator.ClearMarkKeysForManip();
}

/// The curves of nodes before an edit, for those whose keys run out of time or of single precision.
class CurvesBefore
{
  public:
    CurvesBefore(const YFCurveManipulator& manipulator, const Move& move)
    {
        if (move.kind == "set") return;  // to a value that keys can hold
        for (int i = 0; i < manipulator.GetNodeCount(); ++i) {
            YFCurve& curve = *manipulator.GetNode(i)->FCurveGet();
            mCurves.emplace_back(&curve, std::make_unique<YFCurve>(curve));
        }
    }

    /// Gives all curves back their keys where an edit has moved some to the ends of time or of values, where
    /// they stop.
    void RefuseEnds(const Move& move) const
    {
        const auto hasEnded = [&](const auto& each) {
            return IsAtEnd(*each.first, move) && !IsAtEnd(*each.second, move);
        };
        const bool movesTime = move.time != 0 || move.timeFactor != 1.0;
        if (movesTime && std::any_of(mCurves.begin(), mCurves.end(), hasEnded))
            Refuse("a key would lie out of time; choose another distance, factor or pivot");
        const auto hasGrown = [](const auto& each) {
            return KeysAtLimit(*each.first) > KeysAtLimit(*each.second);
        };
        const bool changesValues = move.value != 0.0 || move.valueFactor != 1.0 || move.timeFactor != 1.0;
        if (changesValues && std::any_of(mCurves.begin(), mCurves.end(), hasGrown))
            Refuse(
                "a value or a slope would not be within single precision; choose another distance or factor");
    }

  private:
    [[noreturn]] void Refuse(const char* message) const
    {
        for (const auto& [curve, before] : mCurves) curve->CopyFrom(*before, true);
        Raise("Refused", message);
    }

    /// How many keys have the largest value or the steepest slope that there is.
    static int KeysAtLimit(const YFCurve& curve)
    {
        const auto isAtLimit = [](float number) { return !(std::abs(number) < FLT_MAX); };
        int keys = 0;
        for (int i = 0; i < curve.KeyGetCount(); ++i) {
            bool is = isAtLimit(curve.KeyGetValue(i));
            if (curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CUBIC &&
                (curve.KeyGetTangeantMode(i) & YFCURVE_TANGENT_USER) != 0)
                is = is || isAtLimit(curve.KeyGetLeftDerivative(i)) ||
                     isAtLimit(curve.KeyGetRightDerivative(i));
            keys += is ? 1 : 0;
        }
        return keys;
    }

    static bool IsAtEnd(const YFCurve& curve, const Move& move)
    {
        if (curve.KeyGetCount() == 0) return false;
        const YTime first = curve.KeyGetTime(0);
        const YTime last = curve.KeyGetTime(curve.KeyGetCount() - 1);
        if (first <= YFCurveManipulator::FirstTime || last >= YFCurveManipulator::LastTime) return true;
        constexpr double kRounding = 4096.0;
        constexpr double kFarthest = YFCurveManipulator::FarthestStretch - kRounding;
        const auto pivot = static_cast<double>(move.timePivot);
        return move.timeFactor != 1.0 &&
               std::max(std::abs(static_cast<double>(first.Get()) - pivot),
                        std::abs(static_cast<double>(last.Get()) - pivot)) >= kFarthest;
    }

    std::vector<std::pair<YFCurve*, std::unique_ptr<YFCurve>>> mCurves;
};

/// \return  how many keys are selected, which are those that it does something to
int Manipulate(Owner& owner, const Nodes& nodes, const Move& move)
{
    const Use use(owner, Purpose::Edit);
    YFCurveManipulator manipulator;
    Register(manipulator, owner, nodes);
    manipulator.MarkKeysForManipFromSelection();
    const int selected = SelectedKeys(manipulator);
    manipulator.SetRippleMoveX(move.ripple);
    manipulator.SetRippleStretchX(move.ripple);
    const CurvesBefore before(manipulator, move);
    Apply(manipulator, move);
    CheckMemory(manipulator);
    before.RefuseEnds(move);
    return selected;
}

}  // namespace

void AddEdits(py::module_& module)
{
    py::class_<Move> move(module, "Move");
    move.def(py::init([](const std::string& kind) { return Move{kind}; }));
    move.def_readwrite("time", &Move::time);
    move.def_readwrite("value", &Move::value);
    move.def_readwrite("time_factor", &Move::timeFactor);
    move.def_readwrite("value_factor", &Move::valueFactor);
    move.def_readwrite("time_pivot", &Move::timePivot);
    move.def_readwrite("value_pivot", &Move::valuePivot);
    move.def_readwrite("copy", &Move::copy);
    move.def_readwrite("ripple", &Move::ripple);
    module.def("select", Select);
    module.def("manipulate", Manipulate);
}

}  // namespace yfpy
