#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Many curves made ready to be played: a clip, which players (yfcurveplayer.h) evaluate.

class YFCurve;
class YFCurveNode;

/// What hundreds of curves show, in the form that is quickest to evaluate. A clip is made once, from curves
/// or from a tree of properties, and does not change when these do.
///
///     const std::unique_ptr<YFCurveClip> clip = YFCurveClip::Create(*scene);
///     const std::unique_ptr<YFCurvePlayer> player = YFCurvePlayer::Create(*clip);
///     std::vector<float> pose(static_cast<std::size_t>(clip->GetChannelCount()));
///     player->Evaluate(time, pose);
///
/// A clip has a number of channels, each of which has one value at a time: what `YFCurve::Evaluate` gives for
/// that curve, within two units in the last place of the largest value of the segment. Segments with weights,
/// whose cubic is not one of time, are kept as several that are, within a tolerance of the exact curve.
/// (`YFCurve::Evaluate` looks for the place in such a segment in a limited number of steps. Most are some 1e-6
/// of the segment away from the curve, those with weights near 0 or 1 visibly.) Extrapolation, curves with one
/// key and curves with none are as there.
///
/// It is small: 8 to 16 bytes a key and channel where channels have common key times, plus 8 for each time;
/// and less than 24 where key times differ from channel to channel. Channels that never change take next to
/// nothing.
///
/// Any number of threads may make players of one clip and use them, each its own. `Refresh` must not run at
/// the same time as anything else on the same clip but players that exist already.
class YFCURVE_EXPORT YFCurveClip
{
  public:
    /// The tolerance that is used where none is given, as a part of how far a segment's handles reach.
    static constexpr double DefaultTolerance = 1e-6;

    /// A clip with a channel for each of the curves, in their order; one may be there several times.
    /// \param tolerance  of segments with weights, as a part of the range of values of a segment's end points
    ///                   and handles; from 1e-7, what single precision can hold, to 1
    /// \return  null for a null curve, keys that are out of order, a tolerance out of range, and when memory
    ///          runs out
    static std::unique_ptr<YFCurveClip> Create(std::span<const YFCurve* const> curves,
                                               double tolerance = DefaultTolerance);

    /// A clip with the values that `YFCurveNode::GeneralEvaluate` writes for this node, in that order: all
    /// properties of a tree, with their layers, weights, modes, time warps and rotations. Other than there,
    /// the properties below a group play whether or not the group's own layer is muted. What the layers of
    /// the host say is taken as it is now, but for their weights, which players go on asking for at each
    /// time: the layers have to outlive the clip and its players.
    /// \return  null as above, for a node without any value, and for trees more than 1000 nodes deep
    static std::unique_ptr<YFCurveClip> Create(const YFCurveNode& node, double tolerance = DefaultTolerance);

    /// A clip in the bytes of a file, which `GetBytes` once gave. They are checked once, completely, and then
    /// used where they are, as in a file that is mapped into memory: they have to outlive the clip and all
    /// its players, and must not change.
    /// \param bytes  at an address that 8 divides
    /// \return  null for anything that is no complete clip of this version and byte order
    static std::unique_ptr<YFCurveClip> Open(std::span<const std::byte> bytes);

    ~YFCurveClip();
    YFCurveClip(const YFCurveClip&) = delete;
    YFCurveClip& operator=(const YFCurveClip&) = delete;

    /// Makes up for changes of the curves or the tree that the clip was made from, which have to be there
    /// still: curves whose update id is another than before are worked out anew, all others taken over. A
    /// changed tree is walked through anew. Players keep the former content until they are made anew.
    /// \return  how many curves were worked out; -1, with nothing changed, for a clip that came from bytes
    ///          and wherever `Create` gives null
    int Refresh();

    /// How many values a player writes.
    int GetChannelCount() const;
    /// How many of them are the same at all times.
    int GetConstantCount() const;
    /// How many pieces all channels and layers' weights consist of together, those of constant ones not counted.
    std::int64_t GetSegmentCount() const;
    /// The first and last time of a key, on any channel that is not constant: 0 and 0 if all are. Of channels
    /// behind a time warp, that is in their own time.
    YTime GetStart() const;
    YTime GetStop() const;
    /// What a channel is called: of a tree the names of the nodes, from below the one that the clip was made
    /// of, with slashes in between; empty for clips of curves.
    /// \param channel  in range
    const char* GetChannelName(int channel) const;

    /// All of the clip, as files have it (.yclip): little-endian, to be loaded to an address that 8 divides.
    /// They live as long as the clip, until `Refresh`. Weights of layers are in it as their curves have them
    /// (`YFCurveWeightedLayer`); those of layers without such a curve as they are at the time 0.
    std::span<const std::byte> GetBytes() const;

  private:
    friend class YFCurvePlayer;
    struct Impl;

    explicit YFCurveClip(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> mImpl;
};
