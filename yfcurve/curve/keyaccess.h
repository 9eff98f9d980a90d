#pragma once

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/curve/pool/keyblocks.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/yfcurve.h"

/// \file
/// The way from a key index to the key's records, inlined into the curve's own sources.

namespace yfc {

/// Of the straight line from one key to another.
inline float SlopeBetween(const YPriFCurveKey& from, const YPriFCurveKey& to)
{
    const double rise = static_cast<double>(to.GetValue()) - from.GetValue();
    return static_cast<float>(rise / SecondsBetween(from.GetTime(), to.GetTime()));
}

/// An auto parameter of smaller magnitude counts as none.
inline constexpr double kSmallestAutoParameter = 0.01;

/// Whether a key can have a weight or a velocity on its right: cubic, and auto, user or broken. The bias of
/// a TCB key stands where its weights would be.
inline bool HasFreeRightSide(const YPriFCurveKeyAttr& attr)
{
    constexpr std::uint32_t notTCBAlone = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_USER | YFCURVE_TANGENT_BREAK;
    return yfc::KeyKind(attr).IsCubic() && (attr.GetFlags() & notTCBAlone) != 0;
}

}  // namespace yfc

inline YPriFCurveKey& YFCurve::Key(int index) const
{
    const auto position = static_cast<unsigned>(index);
    return yfc::BlockKeys(mBlocks[position / yfc::kKeysPerBlock])[position % yfc::kKeysPerBlock];
}

inline YPriFCurveKeyAttr& YFCurve::Attr(int index) const
{
    return yfc::Attribute(Key(index).GetAttr());
}

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

/// Runs an edit that separates records of so many keys at most: there is memory for all of them, or the edit
/// is not begun.
template<class Edit>
void YFCurve::Editing(int records, const Edit& edit)
{
    yfc::Guarded([&] {
        const yfc::AttributeReserve reserve(records);
        edit();
    });
}

/// For setters that found that they change something: the key gets a record of its own, the change is made
/// there, and listeners are told (unless `event` is 0).
template<class Change>
void YFCurve::ChangeAttr(int index, int event, Change change)
{
    yfc::Guarded([&] {
        change(KeyAttrSeparateCheck(index));
        mCandidateTime = YTIME_INFINITE;
        if (event != 0) CallbackAddEvent(event, index);
    });
}
