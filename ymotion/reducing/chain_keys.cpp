#include "ymotion/reducing/chain_keys.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// A stretch between two keys.
struct Window
{
    std::size_t first = 0;
    std::size_t last = 0;
    const double* slopeBefore = nullptr;  ///< the slope that its first key has to keep; null for any
    const double* slopeBehind = nullptr;
};

YFCurvePtr NewCurve()
{
    YFCurvePtr curve(YFCurveCreate());
    if (curve == nullptr) throw std::bad_alloc();
    return curve;
}

YFCurveKey UserKey(float value, double slope)
{
    YFCurveKey key;
    key.Set(YTime(), value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, static_cast<float>(slope));
    return key;
}

/// The values in a window as a curve with a key for each. Where the slope at an end is to stay, the curve runs on with
/// that slope beyond the end, and the fit keeps it.
YFCurvePtr CurveToFit(const RecordedTimes& times, const std::vector<double>& values, const Window& window)
{
    YFCurvePtr curve = NewCurve();
    const YFCurveModify modify(*curve);
    for (std::size_t t = window.first; t <= window.last; t += 2) {
        if (curve->KeyAppendFast(times.times[t], static_cast<float>(values[t])) < 0) throw std::bad_alloc();
    }
    const int last = curve->KeyGetCount() - 1;
    const auto bend = [&](int key, double slope) {
        const YTime time = curve->KeyGetTime(key);
        YFCurveKey bent = UserKey(curve->KeyGetValue(key), slope);
        bent.SetTime(time);
        curve->KeySet(key, bent);
    };
    if (window.slopeBefore != nullptr) {
        bend(0, *window.slopeBefore);
        curve->SetPreExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
        curve->SetPreExtrapolationCount(1);
    }
    if (window.slopeBehind != nullptr) {
        curve->KeySetDataFloat(last - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                               static_cast<float>(*window.slopeBehind));
        bend(last, *window.slopeBehind);
        curve->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
        curve->SetPostExtrapolationCount(1);
    }
    return curve;
}

/// The tolerances as a curve, linear from key to key.
YFCurvePtr FactorsOf(const RecordedTimes& times, const ValuesToFollow& wanted, const Window& window)
{
    YFCurvePtr factors = NewCurve();
    const YFCurveModify modify(*factors);
    YFCurveKey key;
    int hint = 0;
    for (std::size_t t = window.first; t <= window.last; t += 2) {
        key.Set(YTime(), static_cast<float>(wanted.tolerances[t]), YFCURVE_INTERP_LINEAR, 0);
        if (factors->KeyAdd(times.times[t], key, &hint) < 0) throw std::bad_alloc();
    }
    return factors;
}

std::vector<ChainKey> KeysFor(const RecordedTimes& times, const ValuesToFollow& wanted, const Window& window,
                              int tangents)
{
    const YFCurvePtr curve = CurveToFit(times, wanted.values, window);
    const YFCurvePtr factors = FactorsOf(times, wanted, window);
    YFCurveFilterFit fit;
    fit.SetTolerance(1.0);
    fit.SetToleranceFactor(factors.get());
    fit.SetTangents(tangents);
    fit.Apply(*curve);
    if (fit.GetOutcome() == eFilterOutcome::OutOfMemory) throw std::bad_alloc();
    std::vector<ChainKey> keys;
    std::size_t time = window.first;
    for (int i = 0; i < curve->KeyGetCount(); ++i) {
        while (times.times[time] < curve->KeyGetTime(i)) ++time;
        const bool isAuto = curve->KeyGetTangeantMode(i) == YFCURVE_TANGENT_AUTO &&
                            tangents == YFCurveFilterFit::eAuto && i > 0 && i + 1 < curve->KeyGetCount();
        keys.push_back({time, curve->KeyGetValue(i), curve->KeyGetLeftDerivative(i),
                        curve->KeyGetRightDerivative(i), isAuto});
    }
    return keys;
}

/// Changes the wanted values near the ends of a window so that they begin and end with those of the curve.
/// \param startsOff, endsOff  how far the curve is from the wanted values there
void Blend(std::vector<double>& values, const Window& window, double startsOff, double endsOff)
{
    constexpr std::size_t mostTimes = 16;
    const std::size_t length = std::min(mostTimes, (window.last - window.first) / 2);
    for (std::size_t i = 0; i <= length; ++i) {
        const double share = 1.0 - static_cast<double>(i) / (static_cast<double>(length) + 1.0);
        values[window.first + i] += startsOff * share;
        values[window.last - i] += endsOff * share;
    }
}

}  // namespace

void ChainKeys::Fit(const RecordedTimes& times, const ValuesToFollow& wanted, int tangents)
{
    mKeys = KeysFor(times, wanted, {0, times.Last(), nullptr, nullptr}, tangents);
}

/// The last key before a time, or the first one.
std::size_t ChainKeys::KeyBefore(std::size_t time) const
{
    const auto at = std::lower_bound(mKeys.begin(), mKeys.end(), time,
                                     [](const ChainKey& key, std::size_t t) { return key.time < t; });
    return at == mKeys.begin() ? 0 : static_cast<std::size_t>(at - mKeys.begin()) - 1;
}

void ChainKeys::Renew(const RecordedTimes& times, const ValuesToFollow& wanted, int tangents)
{
    constexpr double rounding = 1.05;
    constexpr double nearEnough = 0.2;
    constexpr std::size_t fewestTimes = 16;  // a shorter window is no recording, which the fit wants
    const bool isSmooth = tangents != YFCurveFilterFit::eBroken;
    std::vector<double> values(times.Count());
    Evaluate(times, values);
    ValuesToFollow blended = wanted;
    const auto off = [&](std::size_t t) {
        return std::abs(values[t] - wanted.values[t]) / wanted.tolerances[t];
    };
    for (std::size_t t = 0; t < times.Count(); ++t) {
        if (off(t) <= rounding) continue;
        StopIfAsked();
        std::size_t from = KeyBefore(t);
        std::size_t to = std::min(from + 1, mKeys.size() - 1);
        while (to + 1 < mKeys.size() && mKeys[to].time <= t) ++to;
        while (from > 0 && off(mKeys[from].time) > nearEnough) --from;
        while (to + 1 < mKeys.size() && off(mKeys[to].time) > nearEnough) ++to;
        while (mKeys[to].time - mKeys[from].time < fewestTimes && (from > 0 || to + 1 < mKeys.size())) {
            if (to + 1 < mKeys.size())
                ++to;
            else
                --from;
        }
        const ChainKey first = mKeys[from];
        const ChainKey last = mKeys[to];
        Window window{first.time, last.time, nullptr, nullptr};
        const bool isStart = first.time == 0;
        const bool isEnd = last.time == times.Last();
        if (isSmooth && !isStart) window.slopeBefore = &first.left;
        if (isSmooth && !isEnd) window.slopeBehind = &last.right;
        Blend(blended.values, window, isStart ? 0.0 : first.value - wanted.values[first.time],
              isEnd ? 0.0 : last.value - wanted.values[last.time]);
        std::vector<ChainKey> keys = KeysFor(times, blended, window, tangents);
        const auto place = static_cast<std::ptrdiff_t>(window.first);
        std::copy(wanted.values.begin() + place,
                  wanted.values.begin() + static_cast<std::ptrdiff_t>(window.last) + 1,
                  blended.values.begin() + place);
        if (!isStart) keys.front().left = first.left;
        if (!isEnd) keys.back().right = last.right;
        const auto at = mKeys.erase(mKeys.begin() + static_cast<std::ptrdiff_t>(from),
                                    mKeys.begin() + static_cast<std::ptrdiff_t>(to) + 1);
        mKeys.insert(at, keys.begin(), keys.end());
        // The segments beside the window end in its keys, whose values may have changed by a rounding.
        Evaluate(times, values, from - (from > 0 ? 1 : 0), std::min(from + keys.size(), mKeys.size() - 1));
        t = last.time;
    }
}

void ChainKeys::Evaluate(const RecordedTimes& times, std::span<double> values) const
{
    Evaluate(times, values, 0, mKeys.size() - 1);
}

void ChainKeys::Evaluate(const RecordedTimes& times, std::span<double> values, std::size_t firstKey,
                         std::size_t lastKey) const
{
    for (std::size_t i = firstKey; i < lastKey; ++i) {
        const ChainKey& from = mKeys[i];
        const ChainKey& to = mKeys[i + 1];
        const double start = times.seconds[from.time];
        const double duration = times.seconds[to.time] - start;
        for (std::size_t t = from.time; t <= to.time; ++t) {
            const double way = (times.seconds[t] - start) / duration;
            const double rest = 1.0 - way;
            values[t] = from.value * (1.0 + 2.0 * way) * rest * rest +
                        to.value * way * way * (3.0 - 2.0 * way) +
                        duration * way * rest * (from.right * rest - to.left * way);
        }
    }
}

YFCurvePtr ChainKeys::MakeCurve(const RecordedTimes& times, const YFCurve& other) const
{
    YFCurvePtr curve(other.Copy());
    if (curve == nullptr) throw std::bad_alloc();
    const YFCurveModify modify(*curve);
    curve->KeyClear();
    int hint = 0;
    for (std::size_t i = 0; i < mKeys.size(); ++i) {
        const ChainKey& here = mKeys[i];
        const ChainKey& next = mKeys[std::min(i + 1, mKeys.size() - 1)];
        const auto left = static_cast<float>(here.left);
        const auto right = static_cast<float>(here.right);
        unsigned mode = YFCURVE_TANGENT_USER_BREAK;
        if (left == right) mode = YFCURVE_TANGENT_USER;
        if (here.isAuto) mode = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TIME_INDEPENDENT;
        YFCurveKey key;
        key.Set(YTime(), static_cast<float>(here.value), YFCURVE_INTERP_CUBIC, mode,
                here.isAuto ? 0.0f : right, next.isAuto ? 0.0f : static_cast<float>(next.left));
        if (curve->KeyAdd(times.times[here.time], key, &hint) < 0) throw std::bad_alloc();
    }
    return curve;
}

}  // namespace ymotion
