#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// The few keys that follow values at even times, found all at once or renewed where they have come to be too
/// far off.

namespace ymotion {

/// Times of a recording: those of its keys, with one half-way between each two. The even ones are the keys'.
struct RecordedTimes
{
    std::vector<YTime> times;
    std::vector<double> seconds;  ///< from the first one

    std::size_t Count() const { return times.size(); }
    std::size_t Last() const { return times.size() - 1; }
};

/// What a curve is to follow, at all times. New keys go by the values at those of keys.
struct ValuesToFollow
{
    std::vector<double> values;
    std::vector<double> tolerances;  ///< above 0
};

/// A cubic key at one of the times.
struct ChainKey
{
    std::size_t time = 0;
    double value = 0.0;
    double left = 0.0;  ///< slopes, units per second
    double right = 0.0;
    bool isAuto = false;
};

class ChainKeys
{
  public:
    bool IsEmpty() const { return mKeys.empty(); }
    std::size_t Count() const { return mKeys.size(); }

    /// Keys anew, from the first to the last time.
    /// \param tangents  one of `YFCurveFilterFit::ETangents`
    void Fit(const RecordedTimes& times, const ValuesToFollow& wanted, int tangents);

    /// Others in place of those around which the curve leaves the tolerances; the rest stays.
    void Renew(const RecordedTimes& times, const ValuesToFollow& wanted, int tangents);

    /// The values at all times.
    void Evaluate(const RecordedTimes& times, std::span<double> values) const;

    /// The curve of these keys; what is no key is that of another one.
    YFCurvePtr MakeCurve(const RecordedTimes& times, const YFCurve& other) const;

  private:
    /// From one key to another.
    void Evaluate(const RecordedTimes& times, std::span<double> values, std::size_t firstKey,
                  std::size_t lastKey) const;
    std::size_t KeyBefore(std::size_t time) const;

    std::vector<ChainKey> mKeys;
};

}  // namespace ymotion
