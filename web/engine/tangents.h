#pragma once

#include <optional>
#include <vector>

#include "web/engine/keys.h"

/// \file
/// Tangents of the selected keys being dragged by the handle of one of them. One step of undo from the
/// beginning to the end.

namespace editor {

/// In the order of the names on the TypeScript side.
enum class Side
{
    Left,
    Right
};

/// The handle that is dragged.
struct TangentHandle
{
    int track = 0;
    int index = 0;
    Side side = Side::Left;
};

/// What that handle is to have. Its key gets that, and the other selected keys the same change.
struct TangentTarget
{
    std::optional<double> slope = {};   ///< value units a second; nothing leaves slopes alone
    std::optional<double> weight = {};  ///< above 0 to 1; nothing leaves weights alone
    bool givesWeights = false;          ///< also to sides without weights of their own
    bool breaks = false;                ///< keys, so that their other sides stay
};

/// The keys that have a handle on that side follow: those with a cubic segment there. Slopes change by the
/// same amount, and on both sides of a key that is not broken, which becomes a user key; weights change by the
/// same part of their segments, within their range.
///
/// Ends, as if nothing had happened, unless `End` was called. The document has to outlive it.
class TangentDrag
{
  public:
    /// Throws for a handle of no key, and where keys are on a locked curve.
    TangentDrag(Document& document, const TangentHandle& handle);
    ~TangentDrag();
    TangentDrag(const TangentDrag&) = delete;
    TangentDrag& operator=(const TangentDrag&) = delete;

    /// Counts from what the tangents were at the beginning; only a broken key, and a side that was given a
    /// weight, stay so.
    void MoveTo(const TangentTarget& target);

    void End();
    void Cancel();

  private:
    struct Tangent
    {
        int index = 0;
        double slope = 0.0;
        double weight = 0.0;
        bool isWeighted = false;
    };
    struct TrackTangents
    {
        int track = 0;
        std::vector<Tangent> tangents;
    };

    Tangent TangentAt(const YFCurve& curve, int index) const;
    void Take(const TrackKeys& keys);
    KeyChange ChangeOf(const Tangent& tangent, const TangentTarget& target) const;
    void CheckIsActive() const;
    void Close();

    Document& mDocument;
    Side mSide;
    Tangent mHeld;
    std::vector<TrackKeys> mSelected;
    std::vector<TrackTangents> mTracks;
    bool mIsActive = false;
};

}  // namespace editor
