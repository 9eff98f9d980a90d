#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ymotion/plots/svg_plot.h"

/// \file
/// What stands above the panels of plots: title, note and legend, laid out without lying over each other.

namespace ymotion {

inline constexpr double kLegendLine = 18;
inline constexpr double kLegendStroke = 25;  // with the gap in front of the name
inline constexpr double kLegendGap = 16;
inline constexpr double kPanelHead = 30;

struct LegendEntry
{
    const PlotCurve* curve = nullptr;
    std::string name;
    double width = 0;
};

/// What stands above a panel.
struct PanelHead
{
    std::string title;
    std::string note;                     ///< beside the title
    std::vector<std::string> notesBelow;  ///< lines of it where there is no room beside the title
    std::vector<LegendEntry> legend;
    double legendWidth = 0;
    bool beside = true;           ///< the legend stands to the right of the title, or else in lines below it
    std::size_t legendLines = 0;  ///< below the title and the note

    double Height() const
    {
        return kPanelHead + kLegendLine * static_cast<double>(notesBelow.size() + legendLines);
    }
};

/// \param room  how wide it may be.
PanelHead HeadOf(const PlotPanel& panel, double room);

}  // namespace ymotion
