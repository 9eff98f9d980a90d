#pragma once

#include <limits>
#include <optional>
#include <string>

#include "yfcurve/yfcurvemanipulator.h"
#include "ymotion/scene/time_text.h"

/// \file
/// Selections and edits of keys as the command line says them.

namespace program {

/// A stretch of time and of values, bounds included.
struct KeyRectangle
{
    YTime start = YTIME_MINUS_INFINITE;
    YTime stop = YTIME_INFINITE;
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
};

/// A rectangle as it was written.
struct WrittenRectangle
{
    ymotion::WrittenRange times;
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();

    /// Times are taken to the microsecond, as reports print none finer. Throws `Failure` as
    /// `WrittenRange::At`.
    KeyRectangle At(ymotion::FrameRate rate) const;
};

/// "0.5:1", "15f:30f,-10:10", "00:00:01:00..00:00:02:00"; a bound that is left out is open. Throws `Failure`
/// for anything else.
WrittenRectangle ParseKeyRectangle(const std::string& text);

/// The words behind the options, of which one has to be there.
struct KeyEditWords
{
    std::optional<std::string> move;         ///< "0.1,5", "3f", ",5"
    std::optional<std::string> stretchTime;  ///< "2", "2@0.5"
    std::optional<std::string> scale;        ///< "2", "2@50"
    std::optional<std::string> set;          ///< "50"
    bool ripple = false;
};

/// What is to be done with the keys, and how.
struct KeyEdit
{
    eFCurveManipulationMode mode = kManipulationNone;
    std::optional<ymotion::WrittenTime> time;  ///< by how much to move
    double value = 0.0;                        ///< by how much, or to which value
    double factor = 1.0;
    std::optional<ymotion::WrittenTime> timePivot;
    double valuePivot = 0.0;
    bool ripple = false;
};

/// Throws `Failure` for words that are no edit, and unless there is exactly one.
KeyEdit ParseKeyEdit(const KeyEditWords& words);

}  // namespace program
