#pragma once

#include <cstdint>
#include <vector>

#include "web/engine/keys.h"
#include "yfcurve/yfcurvemanipulator.h"

/// \file
/// Selected keys being dragged. One step of undo from the beginning to the end.

namespace editor {

struct DragOptions
{
    eFCurveManipulationMode mode = kManipulationMove;
    bool copy = false;             ///< leaves copies where the keys were
    bool rippleTime = false;       ///< keys behind move along
    bool rippleValue = false;      ///< and up and down
    bool rippleAllValues = false;  ///< all keys of the curve move up and down
    double scaleCentre = 0.0;      ///< the value that stays in place
};

/// Ends, as if nothing had happened, unless `End` was called. The document has to outlive it.
class Drag
{
  public:
    /// Throws where no key is selected, and where keys are on a locked curve.
    Drag(Document& document, const DragOptions& options);
    ~Drag();
    Drag(const Drag&) = delete;
    Drag& operator=(const Drag&) = delete;

    // Amounts count from where the keys were at the beginning.

    /// \param snap  moves keys such that the first of them comes to a frame
    void Offset(YTime time, double value, bool snap);
    void Stretch(double timeFactor, double valueFactor, YTime timePivot, double valuePivot);
    void Scale(double factor);
    void SetValue(double value);
    /// An amount near this one that brings a key to the value of a neighbour; itself where there is none.
    double SnapValueOffset(double offset, double tolerance) const;
    /// Where the keys are now.
    KeyRange Range();

    void End();
    void Cancel();

  private:
    void CheckIsActive() const;
    void Close();

    Document& mDocument;
    YFCurveManipulator mManipulator;
    std::vector<TrackKeys> mSelected;
    YTime mFirst;  ///< of the keys when they were taken up
    bool mIsActive = false;
};

}  // namespace editor
