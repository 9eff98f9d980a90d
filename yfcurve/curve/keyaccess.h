#pragma once

#include "yfcurve/curve/keyattributes.h"
#include "yfcurve/curve/keyblocks.h"
#include "yfcurve/yfcurve.h"

/// \file
/// The way from a key index to the key's records, inlined into the curve's own sources.

inline YPriFCurveKey& YFCurve::Key(int index) const
{
    const auto position = static_cast<unsigned>(index);
    return yfc::BlockKeys(mBlocks[position / yfc::kKeysPerBlock])[position % yfc::kKeysPerBlock];
}

inline YPriFCurveKeyAttr& YFCurve::Attr(int index) const { return yfc::Attribute(Key(index).GetAttr()); }

/// The segment that a time falls into.
struct YFCurve::FoundSegment
{
    enum EPlace
    {
        kInside,  ///< strictly between the keys `index` and `index` + 1
        kOnKey,   ///< exactly on key `index`
        kBefore,  ///< before the first key
        kAfter    ///< after the last key
    };
    EPlace place;
    int index;
    int hint;  ///< what a search leaves for the next one
};
