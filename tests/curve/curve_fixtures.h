#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

/// \file
/// What the tests of curves share: times, keys, a listener that remembers, and random curves.

namespace yfc::test {

inline YTime Sec(double seconds)
{
    return YTime::FromSeconds(seconds);
}

/// The auto modes are taken as given, whatever the configuration says.
inline YFCurveKey MakeKey(float value, unsigned interpolation, unsigned mode = YFCURVE_TANGENT_USER,
                          float data0 = 0.0f, float data1 = 0.0f)
{
    YFCurveKey key;
    key.Set(YTime(), value, interpolation, mode, data0, data1);
    key.SetTangeantMode(mode, true);
    return key;
}

inline YFCurveKey UserKey(float value, float right = 0.0f, float nextLeft = 0.0f)
{
    return MakeKey(value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, right, nextLeft);
}

inline YFCurveKey AutoKey(float value, unsigned mode = YFCURVE_TANGENT_AUTO, float right = 0.0f,
                          float nextLeft = 0.0f)
{
    return MakeKey(value, YFCURVE_INTERP_CUBIC, mode, right, nextLeft);
}

inline YFCurveKey TCBKey(float value, float tension = 0.0f, float continuity = 0.0f, float bias = 0.0f)
{
    YFCurveKey key;
    key.SetTCB(YTime(), value, tension, continuity, bias);
    return key;
}

inline YFCurveKey LinearKey(float value)
{
    return MakeKey(value, YFCURVE_INTERP_LINEAR);
}
inline YFCurveKey ConstantKey(float value, unsigned mode = YFCURVE_CONSTANT_STANDARD)
{
    return MakeKey(value, YFCURVE_INTERP_CONSTANT, mode);
}

/// The keys at 0, 1, 2 ... seconds, each with a record of its own.
inline YFCurvePtr MakeCurve(const std::vector<YFCurveKey>& keys)
{
    YFCurvePtr curve(YFCurveCreate());
    for (const YFCurveKey& key : keys) curve->KeyAdd(Sec(curve->KeyGetCount()), key);
    return curve;
}

/// `count` keys with the default record, at 0, 1, 2 ... seconds, key i with the value i.
inline YFCurvePtr MakeSamples(int count)
{
    YFCurvePtr curve(YFCurveCreate());
    for (int i = 0; i < count; ++i) curve->KeyAppendFast(Sec(i), static_cast<float>(i));
    return curve;
}

/// Keys with the default record and these values.
inline YFCurvePtr MakeSamples(const std::vector<float>& values, double secondsApart = 1.0)
{
    YFCurvePtr curve(YFCurveCreate());
    for (const float value : values) curve->KeyAppendFast(Sec(curve->KeyGetCount() * secondsApart), value);
    return curve;
}

inline std::vector<double> KeySeconds(const YFCurve& curve)
{
    std::vector<double> seconds;
    for (int i = 0; i < curve.KeyGetCount(); ++i) seconds.push_back(curve.KeyGetTime(i).GetSecondDouble());
    return seconds;
}

inline std::vector<float> KeyValues(const YFCurve& curve)
{
    std::vector<float> values;
    for (int i = 0; i < curve.KeyGetCount(); ++i) values.push_back(curve.KeyGetValue(i));
    return values;
}

/// The slopes of every key, on its left and then on its right.
inline std::vector<float> Slopes(const YFCurve& curve)
{
    std::vector<float> slopes;
    for (int i = 0; i < curve.KeyGetCount(); ++i)
        slopes.insert(slopes.end(), {curve.KeyGetLeftDerivative(i), curve.KeyGetRightDerivative(i)});
    return slopes;
}

/// How far apart two curves are where they are farthest from each other.
inline double Farthest(const YFCurve& a, const YFCurve& b, YTime start = YTIME_MINUS_INFINITE,
                       YTime stop = YTIME_INFINITE)
{
    YFCurveDifference farthest;
    YFCurveUtils::CompareCurve(a, b, 0.0, &farthest, start, stop);
    return farthest.value;
}

/// Bit for bit: not-a-number equals itself.
inline void ExpectSameKeys(const YFCurve& a, const YFCurve& b)
{
    ASSERT_EQ(a.KeyGetCount(), b.KeyGetCount());
    const auto bits = [](float value) { return std::bit_cast<std::uint32_t>(value); };
    for (int i = 0; i < a.KeyGetCount(); ++i) {
        ASSERT_EQ(a.KeyGetTime(i), b.KeyGetTime(i)) << i;
        ASSERT_EQ(bits(a.KeyGetValue(i)), bits(b.KeyGetValue(i))) << i;
        ASSERT_EQ(a.KeyGet(i).GetFlags(), b.KeyGet(i).GetFlags()) << i;
        ASSERT_EQ(std::memcmp(a.KeyGetDataPtr(i), b.KeyGetDataPtr(i), 4 * sizeof(float)), 0) << i;
    }
}

/// Remembers every event of a curve, and may outlive it.
class EventLog
{
  public:
    explicit EventLog(YFCurve& curve) : mCurve(&curve) { curve.CallbackRegister(&OnEvent, this); }
    ~EventLog()
    {
        if (mCurve) mCurve->CallbackUnregister(&OnEvent, this);
    }
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    std::vector<YFCurveEvent> events;

    /// All that was remembered so far, which is then forgotten.
    std::vector<YFCurveEvent> Take() { return std::exchange(events, {}); }

    /// The types alone.
    std::vector<unsigned> TakeTypes()
    {
        std::vector<unsigned> types;
        for (const YFCurveEvent& event : Take()) types.push_back(event.type);
        return types;
    }

  private:
    static void OnEvent(YFCurve*, YFCurveEvent* event, void* self)
    {
        auto* log = static_cast<EventLog*>(self);
        log->events.push_back(*event);
        if ((event->type & YFCURVEEVENT_DESTROY) != 0) log->mCurve = nullptr;
    }

    YFCurve* mCurve;
};

inline YFCurveEvent MakeEvent(unsigned type, int first, int last, int count)
{
    return {type, false, first, last, count};
}

inline void ExpectEqualEvents(const std::vector<YFCurveEvent>& events,
                              const std::vector<YFCurveEvent>& expected)
{
    ASSERT_EQ(events.size(), expected.size());
    const auto parts = [](const YFCurveEvent& e) { return std::tuple(e.type, e.first, e.last, e.count); };
    for (std::size_t i = 0; i < events.size(); ++i) EXPECT_EQ(parts(events[i]), parts(expected[i])) << i;
}

/// What a log holds, which is then forgotten.
inline void ExpectEvents(EventLog& log, const std::vector<YFCurveEvent>& expected)
{
    ExpectEqualEvents(log.Take(), expected);
}

/// Random numbers that are the same on every machine.
class Random
{
  public:
    explicit Random(std::uint64_t seed) : mEngine(seed) {}

    /// Both ends included.
    std::int64_t Integer(std::int64_t low, std::int64_t high)
    {
        return low + static_cast<std::int64_t>(mEngine() % static_cast<std::uint64_t>(high - low + 1));
    }
    int Int(int low, int high) { return static_cast<int>(Integer(low, high)); }
    double Real(double low, double high)
    {
        return low + (high - low) * static_cast<double>(mEngine() >> 11) * 0x1p-53;
    }
    float Float(double low, double high) { return static_cast<float>(Real(low, high)); }
    bool Chance(double probability) { return Real(0.0, 1.0) < probability; }
    template<class T>
    T Pick(std::initializer_list<T> choices)
    {
        return choices.begin()[Int(0, static_cast<int>(choices.size()) - 1)];
    }

  private:
    std::mt19937_64 mEngine;
};

/// A key of any interpolation, mode, override, weight (up to a largest, 0: none) and velocity; time 0.
inline YFCurveKey RandomKey(Random& random, double largestWeight = 1.0)
{
    constexpr unsigned cubic = YFCURVE_INTERP_CUBIC;
    const float value = random.Float(-50.0, 50.0);
    const unsigned interpolation =
        random.Pick<unsigned>({cubic, cubic, cubic, YFCURVE_INTERP_LINEAR, YFCURVE_INTERP_CONSTANT});
    if (interpolation == YFCURVE_INTERP_LINEAR) return LinearKey(value);
    if (interpolation == YFCURVE_INTERP_CONSTANT)
        return ConstantKey(value, random.Pick<unsigned>({YFCURVE_CONSTANT_STANDARD, YFCURVE_CONSTANT_NEXT}));
    const unsigned mode =
        random.Pick<unsigned>({YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_AUTO_BREAK, YFCURVE_TANGENT_USER,
                               YFCURVE_TANGENT_USER_BREAK, YFCURVE_TANGENT_TCB});
    if (mode == YFCURVE_TANGENT_TCB)
        return TCBKey(value, random.Float(-1.0, 1.0), random.Float(-1.0, 1.0), random.Float(-1.0, 1.0));
    YFCurveKey key = UserKey(value, random.Float(-100.0, 100.0), random.Float(-100.0, 100.0));
    if ((mode & YFCURVE_TANGENT_AUTO) != 0) {
        const double range = random.Pick({0.0, 100.0, 800.0});
        key = AutoKey(value, mode, random.Float(-range, range), random.Float(-range, range));
    }
    const unsigned overrides = random.Pick<unsigned>(
        {0u, YFCURVE_TANGENT_CLAMP, YFCURVE_TANGENT_TIME_INDEPENDENT, YFCURVE_TANGENT_OVERRIDES});
    key.SetTangeantMode(mode | overrides, true);
    if (largestWeight > 0.0 && random.Chance(0.5)) {
        key.SetTangeantWeightMode(static_cast<unsigned>(random.Int(1, 3)) * YFCURVE_WEIGHT_RIGHT);
        key.SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, random.Float(0.0, largestWeight));
        key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, random.Float(0.0, largestWeight));
    }
    if (random.Chance(0.2)) {
        key.SetTangeantVelocityMode(static_cast<unsigned>(random.Int(1, 3)) * YFCURVE_VELOCITY_RIGHT);
        key.SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, random.Float(-3.0, 3.0));
        key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_VELOCITY, random.Float(-3.0, 3.0));
    }
    return key;
}

}  // namespace yfc::test
