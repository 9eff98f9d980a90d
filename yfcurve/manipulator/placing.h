#pragma once

#include <vector>

#include "ybaselib/ytime.h"

/// \file
/// Where a change puts the keys of a curve, and which of them remain where several meet.

namespace yfc {

struct ManipulatedNode;

/// Keys of a curve by their indices.
struct KeyRun
{
    int begin = 0;
    int end = 0;  ///< behind the last one

    int GetCount() const { return end - begin; }
};

/// What an operation does to the marked keys. Factors act first, shifts after them.
struct KeyChange
{
    double timeFactor = 1.0;
    YTime timePivot = YTIME_ZERO;
    YTime timeShift = YTIME_ZERO;
    double valueFactor = 1.0;
    double valuePivot = 0.0;
    double valueShift = 0.0;
    bool setsValue = false;  ///< to `valueShift`
    bool rippleX = false;
    bool rippleY = false;
    bool rippleAllY = false;

    /// What slopes are multiplied by.
    double SlopeFactor() const;
    bool Mirrors() const { return timeFactor < 0.0; }

    YTime MovedTime(YTime globalTime) const;
    float MovedValue(float value) const;
};

/// One key in its new place.
struct PlacedKey
{
    int source = 0;  ///< its index when the manipulation began
    YTime time;
    float value = 0.0f;
    bool moved = false;  ///< marked, and not the copy that stays behind
    bool copy = false;   ///< the copy of a marked key that stays behind
};

/// Places the keys of one curve after another.
class KeyPlacing
{
  public:
    /// Room for curves of that many keys, copies included.
    void Reserve(std::size_t keyCount);

    /// Places the keys that a change touches, and with them those of `written`. The keys outside the returned
    /// run stay as they were.
    KeyRun Place(const ManipulatedNode& manipulated, const KeyChange& change, bool keepMarkedInside,
                 KeyRun written);

    /// The keys of that run, in strictly ascending order of time.
    const std::vector<PlacedKey>& GetKeys() const { return mKeys; }
    /// The run that the change alone would have needed.
    KeyRun GetNeeded() const { return mNeeded; }

  private:
    void PlaceMoved(const ManipulatedNode& manipulated, const KeyChange& change);
    void FindRipple(const ManipulatedNode& manipulated, const KeyChange& change);
    void PlaceRippled(const ManipulatedNode& manipulated);
    void FindNeeded(const ManipulatedNode& manipulated);
    void PlaceStaying(const ManipulatedNode& manipulated, KeyRun run, bool keepMarkedInside);
    void Merge();

    std::vector<PlacedKey> mMoved;
    std::vector<PlacedKey> mRippled;
    std::vector<PlacedKey> mStaying;
    std::vector<PlacedKey> mKeys;
    KeyRun mNeeded;
    YTime mRippleTime;
    double mRippleValue = 0.0;
    bool mRipples = false;
    bool mAllRipple = false;  // keys before and between as well, in value
};

}  // namespace yfc
