#pragma once

#include <string>

#include "curve_fixtures.h"

/// \file
/// For an edit that is to do what several others do.

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
