#pragma once

#include <memory>
#include <vector>

#include "yfcurve/player/clipformat.h"
#include "yfcurve/yfcurveclip.h"

/// \file
/// What a clip and its players share.

class YFCurveLayer;
class YFCurveNode;

namespace yfc {

struct ClipData
{
    std::vector<ClipChunk> memory;  ///< empty when the bytes belong to the caller
    ClipView view;
    std::vector<const YFCurveLayer*> layers;  ///< none for a clip out of a file

    std::span<const std::byte> Bytes() const
    {
        return {reinterpret_cast<const std::byte*>(view.header), static_cast<std::size_t>(view.header->size)};
    }
};

}  // namespace yfc

struct YFCurveClip::Impl
{
    /// A curve as it was when it was worked out, by its serial, and where its channel is.
    struct Source
    {
        std::uint64_t serial;
        std::uint32_t updateId;
        std::uint32_t place;
    };

    std::shared_ptr<const yfc::ClipData> data;
    std::vector<Source> sources;
    std::vector<const YFCurve*> curves;  ///< what the clip was made from, unless from a node
    YFCurveNode* node = nullptr;
    bool isFromBytes = false;
    double tolerance = DefaultTolerance;

    /// Makes the content anew, of all curves or of those that changed. Throws when memory runs out.
    /// \return  how many curves were worked out; -1, with nothing changed, where there can be no clip.
    int Make();
};
