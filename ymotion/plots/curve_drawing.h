#pragma once

#include <string>

#include "ymotion/plots/plot_axis.h"
#include "ymotion/plots/svg_plot.h"

/// \file
/// Curves in the panels of plots, and the keys that are marked there.

namespace ymotion {

// Pixels between keys from which on they are marked, and given handles.
inline constexpr double kRoomForMarks = 6.0;
inline constexpr double kRoomForHandles = 22.0;

/// A range of key indices, last included; empty when last < first.
struct KeySlice
{
    int first = 0;
    int last = -1;

    int Count() const { return last - first + 1; }
};

/// The keys inside a span.
KeySlice KeysIn(const YFCurve& curve, const TimeSpan& span);

/// Pixels from key to key, on average.
double RoomBetween(const YFCurve& curve, const KeySlice& keys, const AxisScale& time);

/// The curve of which the keys are marked.
PlotCurve MarkedOf(const PlotCurve& plotted);

/// The two axes of a panel, and the span that it shows.
struct PanelScales
{
    const TimeSpan& span;
    const AxisScale& time;
    const AxisScale& value;
};

/// Each appends to the picture what it draws.
void DrawLine(std::string& out, const PlotCurve& plotted, const PanelScales& scales);
void DrawHandles(std::string& out, const PlotCurve& plotted, const PanelScales& scales);
void DrawMarks(std::string& out, const PlotCurve& plotted, const PanelScales& scales);

}  // namespace ymotion
