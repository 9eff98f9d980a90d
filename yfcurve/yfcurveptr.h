#pragma once

#include <memory>

#include "yfcurve/yfcurve.h"

/// \file
/// Ownership and modification brackets for hosts in modern C++.
///
///     YFCurvePtr curve(YFCurveCreate());
///     {
///         const YFCurveModify modify(*curve);
///         curve->KeyAppendFast(YTime::FromSeconds(0.0), 1.0f);
///         curve->KeyAppendFast(YTime::FromSeconds(1.0), 2.0f);
///     }  // listeners hear of both keys here, once

class YFCurveNode;

/// Deletes curves and nodes as their interface wants it, by `Destroy`.
struct YFCurveDestroy
{
    template<class T>
    void operator()(T* object) const
    {
        object->Destroy();
    }
};

/// Owns a curve that came from `YFCurveCreate` or `YFCurve::Copy`. Not for curves that belong to a node.
using YFCurvePtr = std::unique_ptr<YFCurve, YFCurveDestroy>;

/// Owns a root node, and with it the tree below. Not for nodes that have a parent, which owns them.
using YFCurveNodePtr = std::unique_ptr<YFCurveNode, YFCurveDestroy>;

/// Brackets the edits of a curve: from here to the end of the scope no listener is called, then all of
/// them once with everything merged. Brackets nest; the outermost one counts. The curve has to outlive
/// the bracket.
class [[nodiscard]] YFCurveModify
{
  public:
    explicit YFCurveModify(YFCurve& curve) : mCurve(curve) { mCurve.KeyModifyBegin(); }
    /// Makes room for `keyCount` keys in all, so that adding them reallocates nothing, if there is memory.
    YFCurveModify(YFCurve& curve, int keyCount) : mCurve(curve) { mCurve.KeyModifyBegin(keyCount); }
    ~YFCurveModify() { mCurve.KeyModifyEnd(); }

    YFCurveModify(const YFCurveModify&) = delete;
    YFCurveModify& operator=(const YFCurveModify&) = delete;

  private:
    YFCurve& mCurve;
};
