#include "python/bindings/key_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>

#include "python/bindings/key_kinds.h"

namespace yfpy {
namespace {

constexpr float kNone = std::numeric_limits<float>::quiet_NaN();

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
        if (velocity < YFCURVE_LOWEST_VELOCITY || velocity > YFCURVE_HIGHEST_VELOCITY)
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
    if (std::isfinite(row.leftWeight)) curve.KeySetLeftTangeantWeight(index, YFCURVE_ToKeep(row.leftWeight));
    // The bias of a TCB key is stored where others have their weights.
    if (std::isfinite(row.rightWeight) && (rightTangents & YFCURVE_TANGENT_TCB) == 0)
        curve.KeySetRightTangeantWeight(index, YFCURVE_ToKeep(row.rightWeight));
    if (std::isfinite(row.leftVelocity))
        curve.KeySetLeftTangeantVelocity(index, YFCURVE_ToKeep(row.leftVelocity));
    if (std::isfinite(row.rightVelocity))
        curve.KeySetRightTangeantVelocity(index, YFCURVE_ToKeep(row.rightVelocity));
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

}  // namespace

void AddKeyRows()
{
    PYBIND11_NUMPY_DTYPE_EX(
        KeyRow, ticks, "ticks", value, "value", interpolation, "interpolation", selected, "selected",
        tangents, "tangents", leftSlope, "left_slope", rightSlope, "right_slope", leftWeight, "left_weight",
        rightWeight, "right_weight", leftVelocity, "left_velocity", rightVelocity, "right_velocity", leftAuto,
        "left_auto", rightAuto, "right_auto", tension, "tension", continuity, "continuity", bias, "bias");
    PYBIND11_NUMPY_DTYPE(RawKey, ticks, value, flags, data0, data1, data2, data3);
}

KeyRows KeysOf(const YFCurve& curve)
{
    KeyRows rows(curve.KeyGetCount());
    KeyRow* row = rows.mutable_data();
    for (int i = 0; i < curve.KeyGetCount(); ++i) *row++ = RowOf(curve, i);
    return rows;
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

void CheckMemory(bool isDone)
{
    if (!isDone) throw std::bad_alloc();
}

}  // namespace yfpy
