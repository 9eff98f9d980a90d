#pragma once

#include <memory>
#include <string>
#include <vector>

#include "yfcurve/yfcurvecolormanager.h"
#include "ymotion/scene/scene.h"

/// \file
/// Curves as an SVG picture: one panel above the other with a common time axis.

namespace ymotion {

struct PlotCurve
{
    const YFCurve* curve = nullptr;
    std::string name;  ///< in the legend: "X"; empty for none there
    std::string path;  ///< shown when the pointer rests on the curve
    YFCurveColor colour;
    bool heavy = false;             ///< drawn as a broad line
    bool sampled = false;           ///< has samples for keys, which are not marked
    const YFCurve* keys = nullptr;  ///< of which the keys are marked instead; null for none
};

struct PlotPanel
{
    std::string title;
    std::string note;  ///< behind the title, fainter
    std::string axis;  ///< "degrees"
    bool degrees = false;
    bool fromZero = false;  ///< zero is shown wherever the values are
    std::vector<PlotCurve> curves;
};

struct Plot
{
    std::string title;
    std::string subtitle;
    TimeSpan span;  ///< what the time axis covers; stop after start
    std::vector<PlotPanel> panels;
    std::vector<std::shared_ptr<const YFCurve>> sampled;  ///< curves in the panels that are not the scene's
    double width = 1120;                                  ///< of the picture, in pixels; 300 at least
    bool headless = false;                                ///< without title and subtitle above the panels
};

/// Whether no curve of a panel moves in a span by more than a ten thousandth of its values.
bool StandsStill(const PlotPanel& panel, const TimeSpan& span);

/// Draws a plot on a light background. Lines too pale to be seen there get a darker edge, and names are
/// written in darker shades of the colours where these cannot be read.
///
/// Segments are drawn as the Bezier curves that they are; where keys lie closer together than the paper can
/// show, the outline of their values is drawn instead. Keys are marked where there is room between them,
/// and the handles of their tangents where there is more. Outside its keys a curve is dashed.
std::string SvgOf(const Plot& plot);

}  // namespace ymotion
