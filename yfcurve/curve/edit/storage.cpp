#include "yfcurve/curve/edit/storage.h"

#include "yfcurve/curve/pool/keyblocks.h"

void YFCurveStorage::MakeRoom(YFCurve& curve, int keyCount)
{
    if (keyCount > 0 && (keyCount - 1) / yfc::kKeysPerBlock > curve.mLastBlock) curve.TakeBlocks(keyCount);
}

bool YFCurveStorage::SetSharing(YFCurve& curve, bool on)
{
    const bool before = (curve.mOptions & YFCurve::kMergeEnabled) != 0;
    curve.KeySetOptimizeEnable(on);
    return before;
}
