// Curves whose values are positions in a list, counted from 1.

#include <algorithm>

#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace {

// The index in the list that a key stands for. Values that are no number stand for the first entry.
int IndexAt(const YFCurve& curve, int key, int largestIndex)
{
    const double position = static_cast<double>(curve.KeyGetValue(key)) + 0.5;
    if (!(position > 1.0)) return 0;
    const double largest = std::max(largestIndex, 0);
    return static_cast<int>(std::min(position - 1.0, largest));
}

}  // namespace

void YFCurveUtils::RemoveIndexFromCurve(YFCurve& curve, int index, int largestIndex)
{
    if (index < 0 || index > largestIndex) return;
    const int count = curve.KeyGetCount();
    int key = count - 1;
    while (key >= 0 && IndexAt(curve, key, largestIndex) < index) --key;
    if (key < 0) return;

    const YFCurveModify modify(curve);
    for (int i = 0; i < count; ++i) {
        const int own = IndexAt(curve, i, largestIndex);
        if (own > index) {
            curve.KeySetValue(i, static_cast<float>(own));
        } else if (own == index) {
            const int previous = i > 0 ? IndexAt(curve, i - 1, largestIndex) : 0;
            curve.KeySetValue(i, static_cast<float>(previous + 1));
        }
    }
}

void YFCurveUtils::ReplaceIndexFromCurve(YFCurve& curve, int oldIndex, int newIndex, int largestIndex)
{
    if (oldIndex < 0 || newIndex < 0 || oldIndex == newIndex) return;
    const int count = curve.KeyGetCount();
    int key = 0;
    while (key < count && IndexAt(curve, key, largestIndex) != oldIndex) ++key;
    if (key == count) return;

    const YFCurveModify modify(curve);
    for (; key < count; ++key) {
        if (IndexAt(curve, key, largestIndex) != oldIndex) continue;
        curve.KeySetValue(key, static_cast<float>(static_cast<double>(newIndex) + 1.0));
    }
}
