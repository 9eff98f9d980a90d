// Many keys added, set and removed in one call.

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <vector>

#include "random_curve.h"
#include "same_edit.h"

using namespace yfc::test;

namespace {

// Spans in any order against single calls: of keys in order of time, each once, those given last.
void AddOneByOne(YFCurve& curve, const std::vector<YFCurveKey>& keys)
{
    std::map<YTime, YFCurveKey> inOrder;
    for (const YFCurveKey& key : keys) inOrder[key.GetTime()] = key;
    curve.KeyModifyBegin();
    int last = 0;
    for (const auto& [time, key] : inOrder) {
        const int index = curve.KeyAdd(time, key, key.GetValue() > 0.0f ? &last : nullptr);
        ASSERT_TRUE(curve.KeyGetTime(index) == time && (key.GetValue() <= 0.0f || last == index));
    }
    curve.KeyModifyEnd();
    int before = 0;
    for (const auto& [time, key] : inOrder) {
        const int index = static_cast<int>(curve.KeyFind(time, &before));
        ASSERT_EQ(curve.KeyGetValue(index), key.GetValue());
        ASSERT_EQ(std::memcmp(curve.KeyGetDataPtr(index), key.GetDataPtr(), 4 * sizeof(float)), 0);
    }
    for (int i = 1; i < curve.KeyGetCount(); ++i) ASSERT_LT(curve.KeyGetTime(i - 1), curve.KeyGetTime(i));
}

TEST(BulkEdits, DoWhatSingleCallsDoWithOneEvent)
{
    RandomCurves random;
    for (int round = 0; round < 200; ++round) {
        const YFCurvePtr bulk = random.Curve(random.Pick({0, 1, 5, 40, 200}));
        YFCurve plain(*bulk);
        EventLog log(*bulk), plainLog(plain);
        const std::uint32_t idAhead = bulk->GetUpdateId() - plain.GetUpdateId();

        std::vector<YFCurveKey> keys;
        for (int i = random.Int(1, 60); i > 0; --i) {
            const int near = random.Int(0, std::max(bulk->KeyGetCount() - 1, 0));
            const bool onKey = bulk->KeyGetCount() > 0 && random.Chance(0.3);
            keys.push_back(RandomKey(random));
            if (onKey && random.Chance(0.5)) keys.back() = bulk->KeyGet(near);
            keys.back().SetTime(onKey ? bulk->KeyGetTime(near) : Sec(random.Int(-50, 150)));
        }
        ASSERT_TRUE(bulk->KeyAdd(keys));
        ASSERT_NO_FATAL_FAILURE(AddOneByOne(plain, keys));
        ExpectSameKeys(*bulk, plain);
        ExpectEvents(log, plainLog.Take());
        EXPECT_EQ(bulk->GetUpdateId() - plain.GetUpdateId(), idAhead);

        const bool selects = random.Chance(0.5);  // what is to be removed
        std::vector<int> indices;
        std::vector<float> values;
        for (int i = random.Int(1, 60); i > 0; --i) {
            indices.push_back(random.Int(0, bulk->KeyGetCount() - 1));
            values.push_back(random.Float(-9.0, 9.0));
        }
        ASSERT_TRUE(bulk->KeySet(indices, values));
        plain.KeyModifyBegin();
        for (std::size_t i = 0; i < indices.size(); ++i) plain.KeySetValue(indices[i], values[i]);
        plain.KeyModifyEnd();
        for (YFCurve* curve : {bulk.get(), &plain})
            for (const int index : indices) curve->KeySetSelected(index, selects);
        ASSERT_TRUE(selects ? bulk->DeleteSelected() : bulk->KeyRemove(indices));
        plain.KeyModifyBegin();
        for (int last = plain.KeyGetCount() - 1; last >= 0; --last) {
            const auto goes = [&](int key) { return std::count(indices.begin(), indices.end(), key) > 0; };
            int first = last;
            while (goes(first)) --first;
            if (first == last) continue;
            plain.Delete(first + 1, last);
            last = first + 1;
        }
        plain.KeyModifyEnd();
        ExpectSameKeys(*bulk, plain);
        ExpectEvents(log, plainLog.Take());
        EXPECT_EQ(bulk->GetUpdateId() - plain.GetUpdateId(), idAhead);
        EXPECT_EQ(bulk->GetValue(), plain.GetValue());
    }
}

TEST(BulkEdits, RefuseIndicesOutOfRangeAndWaitWhereCallbacksAreDisabled)
{
    const YFCurvePtr curve = MakeSamples(3);
    EventLog log(*curve);
    const float values[] = {5.0f, 6.0f};
    for (const auto& outside : {std::array{0, 3}, {0, -1}})
        EXPECT_FALSE(curve->KeySet(outside, values) || curve->KeyRemove(outside)) << outside[1];
    EXPECT_TRUE(curve->KeyAdd(std::span<const YFCurveKey>()));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0.0f, 1.0f, 2.0f}));
    const YTime times[] = {Sec(9), Sec(1), Sec(20)};
    curve->CallbackEnable(false);
    EXPECT_TRUE(curve->KeyAdd(times, values));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0.0f, 6.0f, 2.0f, 5.0f}));
    EXPECT_TRUE(curve->KeySet(std::array{0}, values));
    EXPECT_TRUE(log.events.empty() && !curve->CallbackIsEnabled());
    curve->CallbackEnable(true);
    const std::uint32_t added = YFCURVEEVENT_KEY_REPLACED | YFCURVEEVENT_KEY_ADDED;
    ExpectEvents(log, {MakeEvent(added | YFCURVEEVENT_KEY_VALUE_CHANGED, 0, 3, 4)});
}

}  // namespace
