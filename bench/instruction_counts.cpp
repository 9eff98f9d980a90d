// Ten operations on the hottest ways of the library, each in a function of its own, for valgrind to count the
// instructions of: a number that a busy machine does not change. bench/report.py reads the functions by name.

#include <cstdio>
#include <vector>

#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"

// How often each function does its operation.
inline constexpr int kOperations = 10'000;

namespace {

YTime TimeOf(int key)
{
    return YTime(key * (YTIME_TICKS_PER_SECOND / 30));
}

YFCurveKey UserKey(int index)
{
    YFCurveKey key;
    key.Set(TimeOf(index), static_cast<float>(index % 17), YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER,
            static_cast<float>(index % 5), static_cast<float>(index % 7));
    return key;
}

// Two a key, none of them on one.
std::vector<YTime> Moments()
{
    std::vector<YTime> times;
    for (int i = 0; i < kOperations; ++i) times.push_back(YTime(TimeOf(i).Get() / 2 + 7));
    return times;
}

}  // namespace

#define YFCURVE_COUNTED(name) extern "C" [[gnu::noinline]] void counted_##name

YFCURVE_COUNTED(append)(YFCurve& curve)
{
    for (int i = 0; i < kOperations; ++i) curve.KeyAppendFast(TimeOf(i), 1.0f);
}

YFCURVE_COUNTED(add_with_hint)(YFCurve& curve)
{
    int hint = 0;
    for (int i = 0; i < kOperations; ++i) curve.KeyAdd(TimeOf(i), UserKey(i), &hint);
}

YFCURVE_COUNTED(add_in_bulk)(YFCurve& curve, const std::vector<YFCurveKey>& keys)
{
    curve.KeyAdd(keys);
}

YFCURVE_COUNTED(set_value)(YFCurve& curve)
{
    for (int i = 0; i < kOperations; ++i) curve.KeySetValue(i, 2.0f);
}

YFCURVE_COUNTED(set_slope)(YFCurve& curve)
{
    for (int i = 0; i < kOperations; ++i) curve.KeySetRightDerivative(i, 3.0f);
}

YFCURVE_COUNTED(remove_last)(YFCurve& curve)
{
    for (int i = 0; i < kOperations; ++i) curve.KeyRemove(curve.KeyGetCount() - 1);
}

YFCURVE_COUNTED(copy_and_end)(const YFCurve& curve)
{
    const YFCurve copy(curve);
}

YFCURVE_COUNTED(evaluate_user)(const YFCurve& curve, const std::vector<YTime>& times, float& sum)
{
    int hint = 0;
    for (const YTime time : times) sum += curve.Evaluate(time, &hint);
}

YFCURVE_COUNTED(evaluate_recorded)(const YFCurve& curve, const std::vector<YTime>& times, float& sum)
{
    int hint = 0;
    for (const YTime time : times) sum += curve.Evaluate(time, &hint);
}

YFCURVE_COUNTED(evaluate_many)
(const YFCurve& curve, const std::vector<YTime>& times, std::vector<float>& values)
{
    curve.Evaluate(times, values);
}

int main()  // NOLINT(bugprone-exception-escape): ends with a message just as well
{
    const std::vector<YTime> times = Moments();
    std::vector<float> values(times.size());
    float sum = 0.0f;
    YFCurve recorded;
    counted_append(recorded);
    YFCurve user;
    counted_add_with_hint(user);
    counted_evaluate_recorded(recorded, times, sum);
    counted_evaluate_user(user, times, sum);
    counted_evaluate_many(user, times, values);
    counted_copy_and_end(user);
    counted_set_value(user);
    counted_set_slope(user);
    std::vector<YFCurveKey> keys;
    for (int i = kOperations; i > 0; --i) keys.push_back(UserKey(i));
    YFCurve bulk;
    counted_add_in_bulk(bulk, keys);
    counted_remove_last(user);
    std::printf("%d operations of each kind; the values add up to %g.\n", kOperations,
                static_cast<double>(sum));
    return bulk.KeyGetCount() == kOperations && user.KeyGetCount() == 0 ? 0 : 1;
}
