#pragma once

#include <string>

#include "curve_fixtures.h"

/// \file
/// For an edit that is to do what several others do, or what is written down.

namespace yfc::test {

/// Everything about a curve's keys.
inline std::string Bits(const YFCurve& curve)
{
    std::string bits;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const YFCurveKey key = curve.KeyGet(i);
        bits.append(reinterpret_cast<const char*>(&key), sizeof key);
    }
    return bits;
}

/// "seconds:value" of every key, whole numbers as such.
inline std::string Keys(const YFCurve& curve)
{
    std::string text;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        char key[64];
        std::snprintf(key, sizeof key, "%s%g:%g", i == 0 ? "" : " ", curve.KeyGetTime(i).GetSecondDouble(),
                      static_cast<double>(curve.KeyGetValue(i)));
        text += key;
    }
    return text;
}

/// Two edits with the same outcome: keys, records, what is heard of it and how often it would have been.
inline void ExpectSameEdit(const YFCurve& a, const EventLog& aLog, const YFCurve& b, const EventLog& bLog)
{
    ASSERT_EQ(Bits(a), Bits(b));
    const auto sharesRecord = [](const YFCurve& curve, int key) {
        return curve.InternalPriKeyGetPtr(key)->GetAttr() == curve.InternalPriKeyGetPtr(key - 1)->GetAttr();
    };
    for (int i = 1; i < a.KeyGetCount(); ++i) ASSERT_EQ(sharesRecord(a, i), sharesRecord(b, i)) << i;
    ASSERT_EQ(a.GetValue(), b.GetValue());
    ASSERT_EQ(a.GetUpdateId(), b.GetUpdateId());
    ExpectEqualEvents(aLog.events, bLog.events);
}

}  // namespace yfc::test
