#pragma once

#include "yfcurve/yfcurve.h"

namespace yfc {

/// A bracket around edits of a curve that leaves its callbacks as they are: the end of a plain one enables
/// them. Where the host has disabled them, or a bracket is open, the changes wait with the others anyway.
class [[nodiscard]] QuietModify
{
  public:
    explicit QuietModify(YFCurve& curve) : mCurve(curve), mBrackets(curve.CallbackIsEnabled())
    {
        if (mBrackets) mCurve.KeyModifyBegin();
    }
    ~QuietModify()
    {
        if (mBrackets) mCurve.KeyModifyEnd();
    }
    QuietModify(const QuietModify&) = delete;
    QuietModify& operator=(const QuietModify&) = delete;

  private:
    YFCurve& mCurve;
    bool mBrackets;
};

}  // namespace yfc
