#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/test_environment.h"
#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ybitset.h"
#include "ybaselib/yerror.h"
#include "ybaselib/yset.h"
#include "ybaselib/ystring.h"

namespace {

YArrayTemplate<int> ArrayOf(std::initializer_list<int> items)
{
    YArrayTemplate<int> array;
    for (const int item : items) array.Add(item);
    return array;
}

TEST(Array, AddsInsertsAndRemoves)
{
    YArrayTemplate<int> array = ArrayOf({10, 30});
    EXPECT_EQ(array.InsertAt(1, 20), 1);
    EXPECT_EQ(array.InsertAt(-5, 5), 0);
    EXPECT_EQ(array.InsertAt(99, 20), 4);
    EXPECT_EQ(array, ArrayOf({5, 10, 20, 30, 20}));
    EXPECT_TRUE(array.Find(20) == 2 && array.Find(7) == -1);
    EXPECT_TRUE(array.Remove(20) && array.RemoveAt(0));
    EXPECT_FALSE(array.Remove(7) || array.RemoveAt(-1) || array.RemoveAt(3));
    EXPECT_EQ(array, ArrayOf({10, 30, 20}));
    array.SetCount(5);
    EXPECT_EQ(array[4], 0);
    array.SetCount(-1);
    EXPECT_TRUE(array.IsEmpty());
}

TEST(String, NullIsEmptyAndCaseIsAscii)
{
    const YString null(static_cast<const char*>(nullptr));
    EXPECT_TRUE(null.IsEmpty());
    EXPECT_STREQ(null.Buffer(), "");
    EXPECT_TRUE(null == nullptr);
    EXPECT_EQ(YString("ab") + "c", "abc");
    EXPECT_LT(YString("B"), YString("a"));

    EXPECT_EQ(YStringCompareNoCase("Lcl ROTATION", "lcl rotation"), 0);
    EXPECT_EQ(YStringCompareNoCase(nullptr, ""), 0);
    EXPECT_LT(YString("ab").CompareNoCase("ABC"), 0);
    EXPECT_LT(YStringCompareNoCase("_", "A"), 0);  // as lower case; '_' lies between the two cases
    EXPECT_NE(YStringCompareNoCase("\xC4", "\xE4"), 0);
    EXPECT_NE(YStringCompareNoCase("@", "`"), 0);
}

TEST(BitSet, AgreesWithAStandardSet)
{
    test::RandomEngine random;
    YBitSet bits;
    std::set<int> model;
    for (int i = 0; i < 2000; ++i) {
        const int index = static_cast<int>(random() % 300);
        if (random() % 2 == 0) {
            bits.SetBit(index);
            model.insert(index);
        } else {
            bits.ClearBit(index);
            model.erase(index);
        }
        const int probe = static_cast<int>(random() % 400) - 50;
        ASSERT_EQ(bits.GetBit(probe), model.contains(probe)) << probe;
        const auto next = model.upper_bound(probe);
        ASSERT_EQ(bits.GetNext(probe), next == model.end() ? -1 : *next) << probe;
        ASSERT_EQ(bits.GetCount(), static_cast<int>(model.size()));
    }
    bits.SetBit(-1);
    bits.ClearBit(1 << 30);
    EXPECT_EQ(bits.GetNext(INT32_MAX), -1);
    bits.ClearAll();
    EXPECT_EQ(bits.GetFirst(), -1);
}

TEST(Set, KeepsOrderAndFindsBothWays)
{
    int a = 0, b = 0, c = 0;
    YSet set;
    EXPECT_EQ(set.Add(&a, 7), 0);
    EXPECT_EQ(set.Add(&b, 3), 1);
    EXPECT_EQ(set.Add(&c, 7), 2);
    EXPECT_EQ(set.Add(&a, 7), 0);
    EXPECT_TRUE(set.FindValue(7) == 0 && set.FindReference(&c) == 2);
    int value = -1;
    EXPECT_TRUE(set.GetFromIndex(3, &value) == nullptr && set.GetFromIndex(-1) == nullptr && value == -1);
    EXPECT_TRUE(set.GetFromIndex(1, &value) == &b && value == 3);

    set.Sort();
    EXPECT_TRUE(set.GetFromIndex(0) == &b && set.GetFromIndex(1) == &a);
    EXPECT_TRUE(set.Remove(&a));
    EXPECT_FALSE(set.Remove(&a));
    EXPECT_TRUE(set.FindValue(7) == 1 && set.FindValue(8) == -1);
}

TEST(Error, TextsComeFromTheTableOrTheCaller)
{
    static const char* const table[] = {"No key", "Left unchanged", nullptr};
    YError error(table, static_cast<int>(std::size(table)));
    const auto says = [&error](int id, const std::string& text) {
        return error.GetLastErrorID() == id && error.GetLastErrorString() == text;
    };
    EXPECT_TRUE(!error.Error() && says(YError::NoError, ""));
    error.SetLastErrorID(0);
    EXPECT_TRUE(error.Error() && says(0, "No key"));
    error.SetLastError(1, "Offset, nothing to do.");
    EXPECT_TRUE(says(1, "Offset, nothing to do."));
    for (const int withoutText : {2, 3}) {
        error.SetLastErrorID(withoutText);
        EXPECT_TRUE(says(withoutText, ""));
    }
    error.SetLastErrorID(-4);
    EXPECT_FALSE(error.Error());
}

}  // namespace
