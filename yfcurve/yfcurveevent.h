#pragma once

#include <cstdint>

#include "yfcurve/yfcurveexport.h"

/// \file
/// The record in which a curve reports its changes.

/// What happened to a curve; an event's type is the OR of these.
enum EYFCurveEvent : std::uint32_t
{
    YFCURVEEVENT_NONE = 0,
    YFCURVEEVENT_CURVE_VALUE = 0x0001,  ///< the default value changed
    YFCURVEEVENT_KEY = 0x0010,          ///< comes with every key event below
    YFCURVEEVENT_SELECTION = 0x0100,    ///< selection or visibility of handles
    YFCURVEEVENT_DESTROY = 0x0200,      ///< the curve is going away
    YFCURVEEVENT_KEY_ADD = 0x0800,
    YFCURVEEVENT_KEY_REMOVE = 0x1000,
    YFCURVEEVENT_KEY_VALUE = 0x2000,
    YFCURVEEVENT_KEY_TIME = 0x4000,
    YFCURVEEVENT_KEY_ATTR = 0x8000,  ///< interpolation, tangents, extrapolation

    YFCURVEEVENT_KEY_ADDED = YFCURVEEVENT_KEY | YFCURVEEVENT_KEY_ADD,
    YFCURVEEVENT_KEY_REMOVED = YFCURVEEVENT_KEY | YFCURVEEVENT_KEY_REMOVE,
    YFCURVEEVENT_KEY_VALUE_CHANGED = YFCURVEEVENT_KEY | YFCURVEEVENT_KEY_VALUE,
    YFCURVEEVENT_KEY_TIME_CHANGED = YFCURVEEVENT_KEY | YFCURVEEVENT_KEY_TIME,
    YFCURVEEVENT_KEY_ATTR_CHANGED = YFCURVEEVENT_KEY | YFCURVEEVENT_KEY_ATTR,
    YFCURVEEVENT_KEY_REPLACED =
        YFCURVEEVENT_KEY_VALUE_CHANGED | YFCURVEEVENT_KEY_TIME_CHANGED | YFCURVEEVENT_KEY_ATTR_CHANGED
};

/// One or many changes of a curve, merged. Key indices are those that were current when each change was
/// made; inside one modification bracket the range covers them all.
struct YFCurveEvent
{
    std::uint32_t type = YFCURVEEVENT_DESTROY;  ///< bits of `EYFCurveEvent`
    bool handled = false;                       ///< for hosts; the library never reads it
    std::int32_t first = -1;                    ///< lowest key index concerned, -1 when none
    std::int32_t last = -1;                     ///< highest key index concerned, -1 when none
    std::int32_t count = 0;                     ///< how many changes were merged

    /// Back to no change.
    void Clear()
    {
        type = YFCURVEEVENT_NONE;
        first = last = -1;
        count = 0;
    }

    /// Merges one more change in.
    /// \param index  key concerned, -1 when none.
    void Add(std::uint32_t addedType, std::int32_t index)
    {
        type |= addedType;
        ++count;
        if (index < first || first == -1) first = index;
        if (index > last) last = index;
    }
};

class YFCurve;

/// Receives a curve's changes: the curve, the merged event (valid during the call), and the object that
/// was registered with the function.
using YFCurveCallback = void (*)(YFCurve* curve, YFCurveEvent* event, void* object);
