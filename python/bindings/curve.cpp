#include <cmath>
#include <optional>
#include <span>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"
#include "python/bindings/key_kinds.h"
#include "python/bindings/key_rows.h"
#include "python/bindings/locks.h"
#include "ymotion/scene/finite_keys.h"

namespace yfpy {
namespace {

int CheckedIndex(const YFCurve& curve, int index)
{
    const int count = curve.KeyGetCount();
    if (index < -count || index >= count) throw py::index_error("there is no key of that number");
    return index < 0 ? index + count : index;
}

// --- Evaluation ----------------------------------------------------------------------------------------

FloatArray EvaluateAll(const CurvePart& part, const TickArray& ticks)
{
    FloatArray values(ticks.size());
    const std::span out(values.mutable_data(), static_cast<std::size_t>(ticks.size()));
    const Use use(*part.Of());
    const YFCurve& curve = part.Get();
    WithoutInterpreter([&] { curve.Evaluate(TimesOf(ticks), out); });
    return values;
}

FloatArray SlopesOf(const CurvePart& part, const TickArray& ticks, bool right)
{
    FloatArray values(ticks.size());
    float* out = values.mutable_data();
    Reading(part, [&](const YFCurve& curve) {
        int hint = 0;
        for (const YTime time : TimesOf(ticks)) {
            *out++ = right ? curve.EvaluateRightDerivative(time, &hint)
                           : curve.EvaluateLeftDerivative(time, &hint);
        }
    });
    return values;
}

// --- Settings ------------------------------------------------------------------------------------------

/// Modes and counts before and after the keys.
using Extrapolation = std::tuple<unsigned, unsigned, unsigned, unsigned>;

Extrapolation ExtrapolationOf(const YFCurve& curve)
{
    return {curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount(), curve.GetPostExtrapolation(),
            curve.GetPostExtrapolationCount()};
}

void SetExtrapolation(YFCurve& curve, const Extrapolation& given)
{
    const auto [pre, preCount, post, postCount] = given;
    curve.SetPreExtrapolation(pre);
    curve.SetPreExtrapolationCount(preCount);
    curve.SetPostExtrapolation(post);
    curve.SetPostExtrapolationCount(postCount);
}

std::vector<float> ColorOf(const YFCurve& curve)
{
    const float* color = curve.GetColor();
    return {color[0], color[1], color[2]};
}

void SetColor(YFCurve& curve, const std::array<float, 3>& color)
{
    curve.SetColor(color.data());
}

CurvePartPtr PartOfNew(YFCurve* curve)
{
    if (curve == nullptr) throw std::bad_alloc();
    auto owner = std::make_shared<Owner>(YFCurvePtr(curve));
    const Use use(*owner);
    return std::make_shared<CurvePart>(owner, *curve);
}

CurvePartPtr CopyOf(const CurvePart& part, std::int64_t start, std::int64_t stop)
{
    return PartOfNew(
        Reading(part, [&](const YFCurve& curve) { return curve.Copy(YTime(start), YTime(stop)); }));
}

// --- Two curves ----------------------------------------------------------------------------------------

/// Does something to a curve with what another one holds.
template<class Act>
auto WithSource(CurvePart& part, const CurvePart& source, const Act& act)
{
    const Use use(*part.Of(), *source.Of(), Purpose::Edit);
    CheckUnlocked(*part.Of(), part.Get());
    return act(part.Get(), source.Get());
}

/// Also of a locked curve, which gets back what it was.
void CopyFrom(CurvePart& part, const CurvePart& source, bool withKeys)
{
    const Use use(*part.Of(), *source.Of(), Purpose::Edit);
    part.Get().CopyFrom(source.Get(), withKeys);
}

void Replace(CurvePart& part, const CurvePart& source, std::int64_t start, std::int64_t stop, bool exactSpan,
             bool keyAtEnds, std::int64_t offset)
{
    WithSource(part, source, [&](YFCurve& curve, const YFCurve& from) {
        curve.Replace(from, YTime(start), YTime(stop), exactSpan, keyAtEnds, YTime(offset));
    });
}

bool InsertCurve(CurvePart& part, const CurvePart& source, std::int64_t time, std::int64_t gap)
{
    return WithSource(part, source, [&](YFCurve& curve, const YFCurve& from) {
        return curve.Insert(from, YTime(time), YTime(gap));
    });
}

// --- Values --------------------------------------------------------------------------------------------

/// Does what may give keys too large values, on a copy first. Raises `ValueError` then.
template<class Act>
auto KeptFinite(YFCurve& curve, const Act& act)
{
    YFCurve trial(curve);
    act(trial);
    if (ymotion::HasFiniteKeys(curve) && !ymotion::HasFiniteKeys(trial))
        throw py::value_error("the values of keys would not be within single precision; nothing was changed");
    return act(curve);
}

// --- Single keys ---------------------------------------------------------------------------------------

int InsertKeys(YFCurve& curve, const TickArray& ticks)
{
    const auto times = TimesOf(ticks);
    for (const YTime time : times) {
        if (time.IsInfinite()) throw py::value_error("the times of keys have to be finite");
    }
    const int added = curve.KeyInsert(times.data(), static_cast<int>(times.size()));
    CheckMemory(added >= 0);
    return added;
}

int AddKey(YFCurve& curve, std::int64_t ticks, float value, unsigned interpolation, unsigned tangents)
{
    const YTime time(ticks);
    if (time.IsInfinite() || !std::isfinite(value)) throw py::value_error("time and value have to be finite");
    CheckKinds(interpolation, tangents);
    YFCurveKey key;
    key.Set(time, value, interpolation, StoredTangents(interpolation, tangents));
    const int index = curve.KeyAdd(time, key);
    CheckMemory(index >= 0);
    return index;
}

int CandidateKey(YFCurve& curve, unsigned interpolation, unsigned tangents)
{
    CheckKinds(interpolation, tangents);
    return curve.CandidateKey(nullptr, interpolation, StoredTangents(interpolation, tangents));
}

/// Constant keys that are so already stay as they are. What becomes cubic without tangents gets those of a new
/// key.
void SetInterpolation(YFCurve& curve, bool selectedOnly, unsigned interpolation)
{
    CheckKinds(interpolation, 0);
    const YFCurveModify bracket(curve);
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const unsigned before = curve.KeyGetInterpolation(i);
        if (before == interpolation || (selectedOnly && !curve.KeyGetSelected(i))) continue;
        const unsigned tangents = GivenTangents(before, curve.KeyGetTangeantMode(i, true));
        const unsigned kept = StoredTangents(interpolation, tangents);
        const bool isBare = interpolation == YFCURVE_INTERP_CUBIC && (kept & kTangentKinds) == 0;
        curve.KeySetInterpolation(i, interpolation);
        curve.KeySetTangeantMode(i, isBare ? kept | YFCURVE_TANGENT_AUTO : kept, !isBare);
    }
}

/// Constant keys have nothing but whether they show the next one.
void TurnConstantKey(YFCurve& curve, int index, unsigned tangents)
{
    const bool isConstant = curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CONSTANT;
    if (isConstant && (tangents & kShowsNext) != 0) curve.KeySetConstantMode(index, YFCURVE_CONSTANT_NEXT);
}

void SetTangents(YFCurve& curve, bool selectedOnly, unsigned tangents)
{
    CheckKinds(YFCURVE_INTERP_CUBIC, tangents);
    const YFCurveModify bracket(curve);
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (!selectedOnly || curve.KeyGetSelected(i)) TurnConstantKey(curve, i, tangents);
    }
    if (tangents != kShowsNext) curve.KeyTangeantSetMode(selectedOnly, tangents & ~kShowsNext);
}

void TurnKey(YFCurve& curve, int given, unsigned tangents)
{
    const int index = CheckedIndex(curve, given);
    CheckKinds(YFCURVE_INTERP_CUBIC, tangents);
    const YFCurveModify bracket(curve);
    TurnConstantKey(curve, index, tangents);
    if (tangents != kShowsNext) curve.KeyTurnTo(index, tangents & ~kShowsNext);
}

std::optional<std::pair<std::int64_t, double>> CandidateOf(const YFCurve& curve)
{
    if (!curve.IsCandidate()) return std::nullopt;
    return std::pair(curve.CandidateGetTime().Get(), curve.CandidateGet());
}

/// A method of Python out of a function on a curve.
template<class Result, class... Arguments>
auto Reader(Result (*function)(const YFCurve&, Arguments...))
{
    return [function](const CurvePart& part, Arguments... arguments) {
        return Reading(part, [&](const YFCurve& curve) { return function(curve, arguments...); });
    };
}

/// For what locks do not keep from being changed.
template<class Result, class... Arguments>
auto Setter(Result (*function)(YFCurve&, Arguments...))
{
    return [function](const CurvePart& part, Arguments... arguments) {
        return Editing(part, [&](YFCurve& curve) { return function(curve, arguments...); });
    };
}

/// For what only a curve takes that is not locked.
template<class Result, class... Arguments>
auto Editor(Result (*function)(YFCurve&, Arguments...))
{
    return [function](const CurvePart& part, Arguments... arguments) {
        return Editing(part, [&](YFCurve& curve) {
            CheckUnlocked(*part.Of(), curve);
            return function(curve, arguments...);
        });
    };
}

using CurveClass = py::class_<CurvePart, CurvePartPtr>;

void AddKeyArrays(CurveClass& curve)
{
    curve.def("count", Reader(+[](const YFCurve& c) { return c.KeyGetCount(); }));
    curve.def("ticks", Reader(TicksOf));
    curve.def("values", Reader(ValuesOf));
    curve.def("keys", Reader(KeysOf));
    curve.def("set_keys", Editor<void, const KeyRows&>(SetKeys));
    curve.def("raw_keys", Reader(RawKeysOf));
    curve.def("set_raw_keys", Editor<void, const RawKeys&>(SetRawKeys));
    curve.def("set_plain_keys", Editor<void, const TickArray&, const FloatArray&>(SetPlainKeys));
    curve.def("key", Reader(+[](const YFCurve& c, int i) {
                  return py::object(KeysOf(c)[py::int_(CheckedIndex(c, i))]);
              }));
}

void AddValues(CurveClass& curve)
{
    curve.def("evaluate", EvaluateAll);
    curve.def("evaluate_at", Reader(+[](const YFCurve& c, std::int64_t t) { return c.Evaluate(YTime(t)); }));
    curve.def("slopes", SlopesOf);
    curve.def("find", Reader(+[](const YFCurve& c, std::int64_t t) { return c.KeyFind(YTime(t)); }));
}

void AddEdits(CurveClass& curve)
{
    curve.def("insert_keys", Editor(InsertKeys));
    curve.def("add_key", Editor(AddKey));
    curve.def("move_key", Editor(+[](YFCurve& c, int i, std::int64_t t) {
                  if (YTime(t).IsInfinite()) throw py::value_error("the times of keys have to be finite");
                  return c.KeyMove(CheckedIndex(c, i), YTime(t));
              }));
    curve.def("remove_key", Editor(+[](YFCurve& c, int i) { return c.KeyRemove(CheckedIndex(c, i)); }));
    curve.def("remove_span", Editor(+[](YFCurve& c, std::int64_t start, std::int64_t stop) {
                  return c.Delete(YTime(start), YTime(stop));
              }));
    curve.def("clear", Editor(+[](YFCurve& c) { c.KeyClear(); }));
    curve.def("select", Setter(+[](YFCurve& c, bool selected) { c.KeySetSelectedAll(selected); }));
    curve.def("move", Editor(+[](YFCurve& c, bool selected, std::int64_t time, float value) {
                  return KeptFinite(
                      c, [&](YFCurve& each) { return each.KeyMoveOf(selected, YTime(time), value); });
              }));
    curve.def("scale", Editor(+[](YFCurve& c, bool selected, float factor) {
                  KeptFinite(c, [&](YFCurve& each) { each.KeyScaleValueAndTangeant(selected, factor); });
              }));
    curve.def("set_interpolation", Editor(SetInterpolation));
    curve.def("set_tangents", Editor(SetTangents));
    curve.def("turn_key", Editor(TurnKey));

    curve.def("copy_from", CopyFrom);
    curve.def("replace", Replace);
    curve.def("insert_curve", InsertCurve);
}

void AddSettings(CurveClass& curve)
{
    curve.def("default", Reader(+[](const YFCurve& c) { return c.GetValue(); }));
    curve.def("set_default", Editor(+[](YFCurve& c, float value) { c.SetValue(value); }));
    curve.def("extrapolation", Reader(ExtrapolationOf));
    curve.def("set_extrapolation", Editor<void, const Extrapolation&>(SetExtrapolation));
    curve.def("color", Reader(ColorOf));
    curve.def("set_color", Setter<void, const std::array<float, 3>&>(SetColor));
    curve.def("is_locked", Reader(+[](const YFCurve& c) { return c.IsLocked(); }));
    curve.def("lock", Setter(+[](YFCurve& c, bool locked) { c.SetLockedByProperty(locked); }));
    curve.def("sample_rate", Reader(+[](const YFCurve& c) { return c.GetWasData(); }));
    curve.def("set_sample_rate", Setter(+[](YFCurve& c, int rate) { c.SetWasData(rate); }));
    curve.def("update_id", Reader(+[](const YFCurve& c) { return c.GetUpdateId(); }));
}

void AddCandidate(CurveClass& curve)
{
    curve.def("candidate", Reader(CandidateOf));
    curve.def("set_candidate",
              Editor(+[](YFCurve& c, std::int64_t t, double value) { c.CandidateSet(YTime(t), value); }));
    curve.def("clear_candidate", Setter(+[](YFCurve& c) { c.CandidateClear(); }));
    curve.def("key_candidate", Editor(CandidateKey));
}

}  // namespace

void AddCurves(py::module_& module)
{
    AddKeyRows();

    CurveClass curve(module, "Curve");
    curve.def(py::init([] { return PartOfNew(YFCurveCreate()); }));
    curve.def("copy", CopyOf);
    curve.def("identity", &CurvePart::Identity);
    curve.def("scene",
              [](const CurvePart& part) { return part.Of()->Scene() == nullptr ? nullptr : part.Of(); });
    curve.def("is_alive", [](const CurvePart& part) {
        const Use use(*part.Of());
        return part.IsAlive();
    });
    AddKeyArrays(curve);
    AddValues(curve);
    AddEdits(curve);
    AddSettings(curve);
    AddCandidate(curve);
}

}  // namespace yfpy
