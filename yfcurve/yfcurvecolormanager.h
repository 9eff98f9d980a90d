#pragma once

#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ydatatype.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// The colours in which curves are displayed unless others have been chosen.

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
/// The axes X, Y and Z of vectors (and red, green and blue of colours) are red, green and blue, whatever the
/// type. A fourth component and the types of one number have four other colours: magenta for opacity (also
/// that of a colour), weights and plain numbers, brown for intensities and times, steel blue for fields of
/// view and integers, grey for visibility and choices. Components from the fifth on go through these four
/// again and again. Curves of one type and component have one colour, however many are displayed together.
///
/// All seven are told apart with any colour vision, and stand out from a white background as from a black
/// one (a contrast of 3 : 1 and more). That is for lines: text on white takes a darker shade.
///
/// A manager starts with these colours; a display that lets its user choose keeps one of its own:
///
///     YFCurveColorManager colors;
///     colors.SetColor(nullptr, 0, {1.0f, 0.5f, 0.0f});  // X of all types
///     colors.ApplyTo(scene);
class YFCURVE_EXPORT YFCurveColorManager
{
  public:
    YFCurveColorManager() = default;
    YFCurveColorManager(const YFCurveColorManager&) = delete;
    YFCurveColorManager& operator=(const YFCurveColorManager&) = delete;

    /// The colour of a component: the one set for the type, or else the one set for all types, or else the
    /// built-in one. What is set for all types does not reach types of one number, whose component is no X.
    /// \param type       null for properties without type, which count as vectors
    /// \param component  from 0; a property of one number has component 0. Negative ones count as 0, those
    ///                   that the type does not have get a colour all the same.
    YFCurveColor GetColor(const YDataType* type, int component = 0) const;

    /// Sets the colour of a component of a type, or with a null type that of a component of all types.
    /// \return  false, with nothing changed, for a component that the type (or for null, any type) does not
    ///          have, parts of the colour outside 0 to 1, and when memory runs out
    bool SetColor(const YDataType* type, int component, const YFCurveColor& color);
    /// Takes back what was set for a component of a type, or with a null type of all types: what is set for
    /// a type itself stays.
    void ResetColor(const YDataType* type, int component);
    /// Back to the built-in colours everywhere.
    void ResetAllColors();

    /// Gives every curve of a tree, layers included, the colour of its type and component. A node with a
    /// curve that is the child of another counts as a component of that, unless it has a type of its own;
    /// without parent and type it counts as a "Number". Later changes of the colours here do not reach
    /// curves that have got theirs.
    /// \param node           null does nothing
    /// \param onlyUncolored  leave curves alone that are not white, as new curves are
    void ApplyTo(YFCurveNode* node, bool onlyUncolored = true) const;

  private:
    struct Choice
    {
        const YDataType* type = nullptr;
        int component = 0;
        YFCurveColor color;
    };

    int Find(const YDataType* type, int component) const;
    void Apply(YFCurveNode& top, const YDataType* topType, int topComponent, bool onlyUncolored) const;

    YArrayTemplate<Choice> mChoices;
};
