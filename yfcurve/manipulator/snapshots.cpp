#include "yfcurve/manipulator/snapshots.h"

#include "yfcurve/curve/keykind.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvenode.h"

namespace yfc {

KeySnapshot TakeSnapshot(const YFCurveNode& node, const YFCurve& curve, int index)
{
    KeySnapshot snapshot;
    snapshot.globalTime = node.ETINodeTime2GlobalTime(curve.KeyGetTime(index));
    snapshot.value = curve.KeyGetValue(index);
    snapshot.left = curve.KeyGetLeftDerivativeInfo(index);
    snapshot.right = curve.KeyGetRightDerivativeInfo(index);
    snapshot.selected = curve.KeyGetSelected(index);
    snapshot.marked = curve.KeyGetMarkedForManipulation(index);
    snapshot.interpolation = curve.KeyGetInterpolation(index);
    snapshot.tangentMode = curve.KeyGetTangeantMode(index, true);
    snapshot.visibility = curve.KeyGetTangeantVisibility(index);
    if (KeyKind(snapshot.interpolation | snapshot.tangentMode).IsTCB()) {
        snapshot.tension = curve.KeyGetDataFloat(index, YFCURVEKEY_TCB_TENSION);
        snapshot.continuity = curve.KeyGetDataFloat(index, YFCURVEKEY_TCB_CONTINUITY);
        snapshot.bias = curve.KeyGetDataFloat(index, YFCURVEKEY_TCB_BIAS);
    }
    snapshot.index = index;
    return snapshot;
}

// --- Pool ----------------------------------------------------------------------------------------------

KeySnapshot* KeySnapshotPool::Take(const KeySnapshot& snapshot)
{
    KeySnapshot* taken = nullptr;
    if (!mFree.empty()) {
        taken = mFree.back();
        mFree.pop_back();
    } else {
        if (mUsedOfLast == kPerChunk) {
            mFree.reserve((mChunks.size() + 1) * kPerChunk);  // so that returning takes no memory
            mChunks.push_back(std::make_unique<KeySnapshot[]>(kPerChunk));
            mUsedOfLast = 0;
        }
        taken = &mChunks.back()[mUsedOfLast++];
    }
    *taken = snapshot;
    taken->uses = 1;
    return taken;
}

void KeySnapshotPool::Return(KeySnapshot* snapshot)
{
    if (--snapshot->uses == 0) mFree.push_back(snapshot);
}

// --- Set -----------------------------------------------------------------------------------------------

KeySnapshotSet::~KeySnapshotSet()
{
    for (KeySnapshot* snapshot : mSnapshots) mPool.Return(snapshot);
}

KeySnapshot* KeySnapshotSet::Add(const KeySnapshot& snapshot)
{
    // Growing the list may throw, and a snapshot that is not in it yet would leak.
    if (mSnapshots.size() == mSnapshots.capacity()) mSnapshots.reserve(2 * mSnapshots.size() + 1);
    mSnapshots.push_back(mPool.Take(snapshot));
    return mSnapshots.back();
}

void KeySnapshotSet::Share(KeySnapshot* snapshot)
{
    mSnapshots.push_back(snapshot);
    ++snapshot->uses;
}

}  // namespace yfc
