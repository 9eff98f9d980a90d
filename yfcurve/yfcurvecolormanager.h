#pragma once

#include "ybaselib/ydatatype.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// The colours in which curves are displayed unless somebody has chosen others.

class YFCurveNode;

/// A colour of a display: red, green and blue, 0 to 1, in sRGB.
struct YFCurveColor
{
    float red = 0.0f;
    float green = 0.0f;
    float blue = 0.0f;

    friend bool operator==(const YFCurveColor&, const YFCurveColor&) = default;
};

/// Default colours by property type and component.
///
/// The axes X, Y and Z of vectors (and red, green and blue of colours) are red, green and blue; a fourth
/// component and the numbers of other properties have colours of their own. They are told apart by people
/// with any colour vision, as they differ in lightness as well as in hue, and stand out from a white
/// background as from a black one.
///
/// A colour is the first of these that is set: that of the component of the type, that of the component of
/// all types, and the built-in one. There is one set of colours for the process; it belongs to the thread
/// that the library is used from, and is not saved.
class YFCURVE_EXPORT YFCurveColorManager
{
  public:
    /// Components of a type that may have a colour each.
    static constexpr int MaximumComponentCount = YDataType::MaximumMemberCount;

    /// The colour of a component.
    /// \param type       null for properties without type
    /// \param component  from 0; a property of one number has component 0. Negative ones count as 0.
    static YFCurveColor GetColor(const YDataType* type, int component = 0);

    /// Sets the colour of a component of a type, or with a null type of that component of all types that
    /// have no own.
    /// \return  false, with nothing changed, for a component out of range, parts of the colour outside
    ///          0 to 1, and when memory runs out
    static bool SetColor(const YDataType* type, int component, const YFCurveColor& color);
    /// Back to the colour of all types or the built-in one.
    static void ResetColor(const YDataType* type, int component);
    /// Back to the built-in colours everywhere.
    static void ResetAllColors();

    /// Gives every curve of a tree, layers included, the colour of its type and component. A node with a
    /// curve that is the child of another counts as a component of that, unless it has a type of its own.
    /// \param onlyUncolored  leave curves alone that are not white, as new curves are
    static void ApplyTo(YFCurveNode* node, bool onlyUncolored = true);
};
