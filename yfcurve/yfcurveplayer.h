#pragma once

#include <memory>
#include <span>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// A cursor on a clip.

class YFCurveClip;

/// Evaluates the channels of a clip, fastest where one time follows another closely, forwards or backwards.
/// Any other time costs a search: in proportion to the channels, and to the logarithm of the keys.
///
/// A player belongs to one thread. It keeps what the clip held when it was made, so that the clip itself may
/// go; only what that stands on (the bytes of a file, the layers of a tree) has to stay. Nothing but making a
/// player allocates memory. Values are the same, bit for bit, on every processor and from each of the
/// functions.
class YFCURVE_EXPORT YFCurvePlayer
{
  public:
    /// \return  null when memory runs out
    static std::unique_ptr<YFCurvePlayer> Create(const YFCurveClip& clip);

    ~YFCurvePlayer();
    YFCurvePlayer(const YFCurvePlayer&) = delete;
    YFCurvePlayer& operator=(const YFCurvePlayer&) = delete;

    /// The values of all channels at a time.
    /// \param values  room for `YFCurveClip::GetChannelCount` values; with less of it nothing is written
    void Evaluate(YTime time, std::span<float> values);

    /// The same, but leaves out the channels that never change: whoever keeps one array from time to time
    /// needs them once, from `Evaluate`.
    void EvaluateMoving(YTime time, std::span<float> values);

    /// The values of some channels at a time, in the order in which they are asked for. Where one of them is
    /// combined of layers, or has a time warp, all are evaluated.
    /// \param channels  each in range
    /// \param values    as many as channels, or else nothing is written
    void Evaluate(YTime time, std::span<const int> channels, std::span<float> values);

    /// The values of one channel at many times, in any order; quickest where they ascend. For a channel of
    /// layers, or with a time warp, each time takes as long as evaluating all channels.
    /// \param channel  in range
    /// \param values   as many as times, or else nothing is written
    void Evaluate(int channel, std::span<const YTime> times, std::span<float> values);

  private:
    struct Impl;

    explicit YFCurvePlayer(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> mImpl;
};
