#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "yfcurve/yfcurvecolormanager.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/scene.h"

/// \file
/// Which colours plots draw curves in.

namespace ymotion {

/// A colour as "#RRGGBB", "#RGB" or one of `ColourNames`, regardless of case; nothing for anything else.
std::optional<YFCurveColor> ParseColour(std::string_view text);
/// The names of colours that can be written, as in CSS.
std::vector<std::string> ColourNames();
/// "#RRGGBB".
std::string ColourText(const YFCurveColor& colour);

/// A colour for the curves that a pattern means, see `SelectCurves`.
struct ColourChoice
{
    std::string pattern;
    YFCurveColor colour;
};

/// The colours of the curves of a scene: what was chosen for the plot, or else the colour that the curve
/// has of its own, unless that is white, as new curves are; or else that of its type and component.
class PlotColours
{
  public:
    PlotColours() = default;
    /// Later choices go before earlier ones. Throws `Failure` for a pattern that matches nothing.
    PlotColours(const Scene& scene, const std::vector<ColourChoice>& choices);

    YFCurveColor Of(const SelectedCurve& selected) const;

  private:
    std::unordered_map<const YFCurve*, YFCurveColor> mChosen;
};

/// The colour of a layer, by its place in the stack: never that of a component, and the same wherever the
/// layer is shown. From the ninth layer on they come again.
YFCurveColor LayerColour(std::size_t place);

}  // namespace ymotion
