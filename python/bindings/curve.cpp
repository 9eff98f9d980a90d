#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"
#include "python/bindings/key_kinds.h"
#include "python/bindings/locks.h"
#include "python/bindings/raw_keys.h"
#include "ymotion/scene/finite_keys.h"

namespace yfpy {
namespace {

/// Velocities are stored as multiples of 1/9999 in 16 bits.
constexpr float kMostVelocity = 32767.5f / 9999.0f;
constexpr float kNone = std::numeric_limits<float>::quiet_NaN();

/// A key as Python sees it: `yfcurve.KEY` has the same fields. Numbers that a key does not have are not-a-number.
struct KeyRow
{
    std::int64_t ticks;
    float value;
    std::uint8_t interpolation;
    bool selected;
    std::uint16_t tangents;
    float leftSlope;
    float rightSlope;
    float leftWeight;
    float rightWeight;
    float leftVelocity;
    float rightVelocity;
    float leftAuto;
    float rightAuto;
    float tension;
    float continuity;
    float bias;
};

void CheckMemory(bool isDone)
{
    if (!isDone) throw std::bad_alloc();
}

int CheckedIndex(const YFCurve& curve, int index)
{
    const int count = curve.KeyGetCount();
    if (index < -count || index >= count) throw py::index_error("there is no key of that number");
    return index < 0 ? index + count : index;
}

/// Numbers that a key does not have are not-a-number, but those that count have to be there.
void CheckNumbers(const KeyRow& row)
{
    const bool isUser =
        row.interpolation == YFCURVE_INTERP_CUBIC && (row.tangents & YFCURVE_TANGENT_USER) != 0;
    const auto isSlope = [](float slope) { return std::isfinite(slope); };
    if (isUser && !(isSlope(row.leftSlope) && isSlope(row.rightSlope)))
        throw py::value_error("the slopes of USER keys have to be finite");
    for (const float number : {row.leftSlope, row.rightSlope, row.leftVelocity, row.rightVelocity,
                               row.leftAuto, row.rightAuto, row.tension, row.continuity, row.bias}) {
        if (std::isinf(number)) throw py::value_error("the numbers of keys have to be finite");
    }
    for (const float weight : {row.leftWeight, row.rightWeight}) {
        if (weight < 0.0f || weight > 1.0f) throw py::value_error("the weights of keys are from 0 to 1");
    }
    for (const float velocity : {row.leftVelocity, row.rightVelocity}) {
        if (std::abs(velocity) > kMostVelocity)
            throw py::value_error("the velocities of keys are from -3.277 to 3.277");
    }
}

/// Keys have to be in the order of time, with numbers that curves can hold.
template<class Row>
void CheckRows(const Row* rows, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(rows[i].value)) throw py::value_error("the values of keys have to be finite");
        if (YTime(rows[i].ticks).IsInfinite() || rows[i].ticks == INT64_MIN)
            throw py::value_error("the times of keys have to be finite");
        if (i > 0 && rows[i].ticks <= rows[i - 1].ticks)
            throw py::value_error("the times of keys have to ascend, none twice");
    }
}

// --- Keys ----------------------------------------------------------------------------------------------

/// How the tangents of a key are given; 0 where it has none.
unsigned TangentsOf(const YFCurve& curve, int index)
{
    return curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC ? curve.KeyGetTangeantMode(index) : 0u;
}

unsigned TangentsOf(const KeyRow& row)
{
    return row.interpolation == YFCURVE_INTERP_CUBIC ? row.tangents : 0u;
}

/// How the tangent on the left of a key is given, which is up to the key before where the key itself has none.
unsigned LeftTangentsOf(const YFCurve& curve, int index)
{
    const unsigned own = TangentsOf(curve, index);
    return own != 0 || index == 0 ? own : TangentsOf(curve, index - 1);
}

unsigned LeftTangentsOf(const KeyRow* row, std::size_t index)
{
    const unsigned own = TangentsOf(row[index]);
    return own != 0 || index == 0 ? own : TangentsOf(row[index - 1]);
}

void TakeHandles(KeyRow& row, const YFCurve& curve, int index)
{
    if (curve.KeyIsLeftTangeantWeighted(index)) row.leftWeight = curve.KeyGetLeftTangeantWeight(index);
    if (curve.KeyIsRightTangeantWeighted(index)) row.rightWeight = curve.KeyGetRightTangeantWeight(index);
    if (curve.KeyIsLeftTangeantVelocity(index)) row.leftVelocity = curve.KeyGetLeftTangeantVelocity(index);
    if (curve.KeyIsRightTangeantVelocity(index)) row.rightVelocity = curve.KeyGetRightTangeantVelocity(index);
}

void TakeParameters(KeyRow& row, const YFCurve& curve, int index)
{
    if ((LeftTangentsOf(curve, index) & YFCURVE_TANGENT_AUTO) != 0)
        row.leftAuto = curve.KeyGetLeftAuto(index);
    if ((TangentsOf(curve, index) & YFCURVE_TANGENT_AUTO) != 0) row.rightAuto = curve.KeyGetRightAuto(index);
    if ((TangentsOf(curve, index) & YFCURVE_TANGENT_TCB) == 0) return;
    row.tension = curve.KeyGetDataFloat(index, YFCURVEKEY_TCB_TENSION);
    row.continuity = curve.KeyGetDataFloat(index, YFCURVEKEY_TCB_CONTINUITY);
    row.bias = curve.KeyGetDataFloat(index, YFCURVEKEY_TCB_BIAS);
}

KeyRow RowOf(const YFCurve& curve, int index)
{
    KeyRow row{};
    for (float* number : {&row.leftWeight, &row.rightWeight, &row.leftVelocity, &row.rightVelocity,
                          &row.leftAuto, &row.rightAuto, &row.tension, &row.continuity, &row.bias})
        *number = kNone;
    row.ticks = curve.KeyGetTime(index).Get();
    row.value = curve.KeyGetValue(index);
    row.interpolation = static_cast<std::uint8_t>(curve.KeyGetInterpolation(index));
    row.selected = curve.KeyGetSelected(index);
    row.tangents =
        static_cast<std::uint16_t>(GivenTangents(row.interpolation, curve.KeyGetTangeantMode(index, true)));
    row.leftSlope = curve.KeyGetLeftDerivative(index);
    row.rightSlope = curve.KeyGetRightDerivative(index);
    TakeHandles(row, curve, index);
    TakeParameters(row, curve, index);
    return row;
}

float OrZero(float number)
{
    return std::isfinite(number) ? number : 0.0f;
}

YFCurveKey PlainKey(const KeyRow& row)
{
    YFCurveKey key;
    key.Set(YTime(row.ticks), row.value, row.interpolation, 0);
    if (row.interpolation == YFCURVE_INTERP_CUBIC && (row.tangents & YFCURVE_TANGENT_TCB) != 0) {
        key.SetTCB(OrZero(row.tension), OrZero(row.continuity), OrZero(row.bias));
    }
    key.SetTangeantMode(StoredTangents(row.interpolation, row.tangents), true);
    key.SetSelected(row.selected);
    return key;
}

/// A weight or velocity such that one which was read is stored as it was: they are stored as multiples of 1/9999, cut
/// off towards zero.
float Kept(float number)
{
    return number + std::copysign(1e-6f, number);
}

/// A slope or an auto parameter on each side, and what handles have of their own.
void SetSides(YFCurve& curve, int index, const KeyRow& row, unsigned leftTangents)
{
    const unsigned rightTangents = TangentsOf(row);
    const auto isGiven = [](unsigned tangents, unsigned kind, float number) {
        return (tangents & kind) != 0 && std::isfinite(number);
    };
    if (isGiven(leftTangents, YFCURVE_TANGENT_AUTO, row.leftAuto)) curve.KeySetLeftAuto(index, row.leftAuto);
    if (isGiven(leftTangents, YFCURVE_TANGENT_USER, row.leftSlope))
        curve.KeySetLeftDerivative(index, row.leftSlope);
    if (isGiven(rightTangents, YFCURVE_TANGENT_AUTO, row.rightAuto))
        curve.KeySetRightAuto(index, row.rightAuto);
    if (isGiven(rightTangents, YFCURVE_TANGENT_USER, row.rightSlope))
        curve.KeySetRightDerivative(index, row.rightSlope);
    if (std::isfinite(row.leftWeight)) curve.KeySetLeftTangeantWeight(index, Kept(row.leftWeight));
    // The bias of a TCB key is stored where others have their weights.
    if (std::isfinite(row.rightWeight) && (rightTangents & YFCURVE_TANGENT_TCB) == 0)
        curve.KeySetRightTangeantWeight(index, Kept(row.rightWeight));
    if (std::isfinite(row.leftVelocity)) curve.KeySetLeftTangeantVelocity(index, Kept(row.leftVelocity));
    if (std::isfinite(row.rightVelocity)) curve.KeySetRightTangeantVelocity(index, Kept(row.rightVelocity));
}

using KeyRows = py::array_t<KeyRow, py::array::c_style>;

KeyRows KeysOf(const YFCurve& curve)
{
    KeyRows rows(curve.KeyGetCount());
    KeyRow* row = rows.mutable_data();
    for (int i = 0; i < curve.KeyGetCount(); ++i) *row++ = RowOf(curve, i);
    return rows;
}

void PutKeys(YFCurve& curve, std::span<const KeyRow> rows)
{
    const YFCurveModify bracket(curve, static_cast<int>(rows.size()));
    curve.KeyClear();
    int last = 0;
    for (const KeyRow& row : rows) CheckMemory(curve.KeyAdd(YTime(row.ticks), PlainKey(row), &last) >= 0);
    for (std::size_t i = 0; i < rows.size(); ++i)
        SetSides(curve, static_cast<int>(i), rows[i], LeftTangentsOf(rows.data(), i));
}

/// Beyond some size of auto parameters, slopes grow with their squares.
void CheckAutoSlopes(std::span<const KeyRow> rows)
{
    const auto isLarge = [](const KeyRow& row) {
        return std::abs(OrZero(row.leftAuto)) > 1e6f || std::abs(OrZero(row.rightAuto)) > 1e6f;
    };
    if (std::none_of(rows.begin(), rows.end(), isLarge)) return;
    YFCurve trial;
    PutKeys(trial, rows);
    for (int i = 0; i < trial.KeyGetCount(); ++i) {
        if (!std::isfinite(trial.KeyGetLeftDerivative(i)) || !std::isfinite(trial.KeyGetRightDerivative(i)))
            throw py::value_error("the slopes of auto parameters have to be finite; give smaller ones");
    }
}

void SetKeys(YFCurve& curve, const KeyRows& rows)
{
    const std::span all(rows.data(), static_cast<std::size_t>(rows.size()));
    CheckRows(all.data(), all.size());
    for (const KeyRow& row : all) {
        CheckKinds(row.interpolation, row.tangents);
        CheckNumbers(row);
    }
    CheckAutoSlopes(all);
    PutKeys(curve, all);
}

/// Cubic keys with auto tangents in place of all that there were.
void SetPlainKeys(YFCurve& curve, const TickArray& ticks, const FloatArray& values)
{
    if (ticks.size() != values.size()) throw py::value_error("times and values have to be as many");
    const auto times = TimesOf(ticks);
    for (std::size_t i = 0; i < times.size(); ++i) {
        const bool isLater = i == 0 || times[i] > times[i - 1];
        if (!isLater) throw py::value_error("the times of keys have to ascend, none twice");
        if (!std::isfinite(values.data()[i])) throw py::value_error("the values of keys have to be finite");
    }
    const YFCurveModify bracket(curve, static_cast<int>(times.size()));
    curve.KeyClear();
    for (std::size_t i = 0; i < times.size(); ++i)
        CheckMemory(curve.KeyAppendFast(times[i], values.data()[i]) >= 0);
}

TickArray TicksOf(const YFCurve& curve)
{
    TickArray ticks(curve.KeyGetCount());
    for (int i = 0; i < curve.KeyGetCount(); ++i) ticks.mutable_data()[i] = curve.KeyGetTime(i).Get();
    return ticks;
}

FloatArray ValuesOf(const YFCurve& curve)
{
    FloatArray values(curve.KeyGetCount());
    for (int i = 0; i < curve.KeyGetCount(); ++i) values.mutable_data()[i] = curve.KeyGetValue(i);
    return values;
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
void SetTangents(YFCurve& curve, bool selectedOnly, unsigned tangents)
{
    CheckKinds(YFCURVE_INTERP_CUBIC, tangents);
    const YFCurveModify bracket(curve);
    for (int i = 0; (tangents & kShowsNext) != 0 && i < curve.KeyGetCount(); ++i) {
        const bool isMeant = !selectedOnly || curve.KeyGetSelected(i);
        if (isMeant && curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CONSTANT)
            curve.KeySetConstantMode(i, YFCURVE_CONSTANT_NEXT);
    }
    if (tangents != kShowsNext) curve.KeyTangeantSetMode(selectedOnly, tangents & ~kShowsNext);
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

RawKeys RawKeysOf(const YFCurve& curve)
{
    RawKeys rows(curve.KeyGetCount());
    RawKey* row = rows.mutable_data();
    for (int i = 0; i < curve.KeyGetCount(); ++i, ++row) {
        const YFCurveKey key = curve.KeyGet(i);
        row->ticks = key.GetTime().Get();
        row->value = key.GetValue();
        row->flags = key.GetFlags();
        std::memcpy(&row->data0, key.GetDataPtr(), 4 * sizeof(float));
    }
    return rows;
}

void SetRawKeys(YFCurve& curve, const RawKeys& rows)
{
    const auto count = static_cast<std::size_t>(rows.size());
    CheckRows(rows.data(), count);
    for (const RawKey& row : std::span(rows.data(), count)) {
        if (!IsInterpolation(row.flags & YFCURVE_INTERP_ALL)) throw py::value_error("unknown interpolation");
    }
    const YFCurveModify bracket(curve, static_cast<int>(count));
    curve.KeyClear();
    int last = 0;
    for (const RawKey& row : std::span(rows.data(), count)) {
        YFCurveKey key;
        key.SetTime(YTime(row.ticks));
        key.SetValue(row.value);
        key.SetFlags(row.flags);
        std::memcpy(key.GetDataPtr(), &row.data0, 4 * sizeof(float));
        CheckMemory(curve.KeyAdd(key.GetTime(), key, &last) >= 0);
    }
}

void AddCurves(py::module_& module)
{
    PYBIND11_NUMPY_DTYPE_EX(
        KeyRow, ticks, "ticks", value, "value", interpolation, "interpolation", selected, "selected",
        tangents, "tangents", leftSlope, "left_slope", rightSlope, "right_slope", leftWeight, "left_weight",
        rightWeight, "right_weight", leftVelocity, "left_velocity", rightVelocity, "right_velocity", leftAuto,
        "left_auto", rightAuto, "right_auto", tension, "tension", continuity, "continuity", bias, "bias");
    PYBIND11_NUMPY_DTYPE(RawKey, ticks, value, flags, data0, data1, data2, data3);

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
