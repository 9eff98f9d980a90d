#pragma once

#include <vector>

#include "yfcurve/player/clipformat.h"
#include "yfcurve/player/playkeys.h"

/// \file
/// Channels sorted into the units of a clip.

namespace yfc {

struct PlannedChannel
{
    const YFCurve* curve = nullptr;  ///< null: the constant of `keys`
    std::uint32_t domain = 0;
    std::uint32_t place = 0;
    PlayKeys keys = {};
    bool isWeight = false;  ///< of a layer, which says nothing of where the clip begins and ends
};

/// Adds units and constants for the channels, and fills `places`, which has its size already. Throws when
/// memory runs out.
void Pack(std::vector<PlannedChannel>& channels, double tolerance, ClipParts& parts);

/// The keys of a channel as a clip has them, for taking them over into another one.
PlayKeys Unpacked(const ClipView& clip, std::uint32_t place);

}  // namespace yfc
