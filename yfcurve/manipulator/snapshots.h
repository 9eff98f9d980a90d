#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// Keys as they were when a manipulation began.

class YFCurve;
class YFCurveNode;

namespace yfc {

/// One key. Tension, continuity and bias are 0 on keys that are not TCB.
struct KeySnapshot
{
    YTime globalTime;
    double value = 0.0;
    YFCurveTangeantInfo left;
    YFCurveTangeantInfo right;
    bool selected = false;
    bool marked = false;
    std::uint32_t interpolation = 0;
    std::uint32_t tangentMode = 0;  ///< with its overrides
    std::uint32_t visibility = 0;
    float tension = 0.0f;
    float continuity = 0.0f;
    float bias = 0.0f;
    int index = -1;
    int uses = 0;  ///< the sets that hold it
};

KeySnapshot TakeSnapshot(const YFCurveNode& node, const YFCurve& curve, int index);

/// Where the snapshots of one manipulation are taken from and returned to.
class KeySnapshotPool
{
  public:
    KeySnapshot* Take(const KeySnapshot& snapshot);
    void Return(KeySnapshot* snapshot);

  private:
    static constexpr std::size_t kPerChunk = 256;

    std::vector<std::unique_ptr<KeySnapshot[]>> mChunks;
    std::size_t mUsedOfLast = kPerChunk;
    std::vector<KeySnapshot*> mFree;
};

/// Snapshots in the order of the keys. One key may be in several sets, which share its snapshot.
class KeySnapshotSet
{
  public:
    explicit KeySnapshotSet(KeySnapshotPool& pool) : mPool(pool) {}
    ~KeySnapshotSet();
    KeySnapshotSet(const KeySnapshotSet&) = delete;
    KeySnapshotSet& operator=(const KeySnapshotSet&) = delete;

    KeySnapshot* Add(const KeySnapshot& snapshot);
    void Share(KeySnapshot* snapshot);

    int GetCount() const { return static_cast<int>(mSnapshots.size()); }
    const KeySnapshot& operator[](int index) const { return *mSnapshots[static_cast<std::size_t>(index)]; }
    const KeySnapshot& GetLast() const { return *mSnapshots.back(); }

  private:
    KeySnapshotPool& mPool;
    std::vector<KeySnapshot*> mSnapshots;
};

}  // namespace yfc
