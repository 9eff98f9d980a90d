#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "web/engine/document.h"

/// \file
/// Keys of the document: tables, selection and edits. Each edit is a step.

namespace editor {

/// In the order of the names on the TypeScript side.
enum class Interpolation : std::uint8_t
{
    Constant,
    ConstantNext,
    Linear,
    Cubic
};

/// Of the segment that starts at a key.
Interpolation InterpolationOf(const YFCurve& curve, int index);

enum class TangentMode : std::uint8_t
{
    Auto,
    AutoBreak,
    Tcb,
    User,
    UserBreak
};

enum class SelectionMode
{
    Replace,
    Add,
    Remove,
    Toggle
};

/// One element for each key.
struct KeyTable
{
    std::vector<double> time;
    std::vector<float> value;
    std::vector<std::uint8_t> interpolation;
    std::vector<std::uint8_t> tangent;
    std::vector<std::uint8_t> clamped;
    std::vector<std::uint8_t> selected;
    std::vector<float> leftSlope;
    std::vector<float> rightSlope;
    std::vector<float> leftWeight;
    std::vector<float> rightWeight;
    std::vector<std::uint8_t> leftWeighted;
    std::vector<std::uint8_t> rightWeighted;
    std::vector<float> tension;
    std::vector<float> continuity;
    std::vector<float> bias;
};

struct KeyChange
{
    std::optional<float> value = {};
    std::optional<Interpolation> interpolation = {};
    std::optional<TangentMode> tangent = {};
    std::optional<bool> clamped = {};
    std::optional<float> leftSlope = {};
    std::optional<float> rightSlope = {};
    std::optional<float> leftWeight = {};  ///< 0 is the default one
    std::optional<float> rightWeight = {};
    std::optional<float> tension = {};
    std::optional<float> continuity = {};
    std::optional<float> bias = {};
};

struct Box
{
    YTime start;
    YTime stop;
    double low = 0.0;
    double high = 0.0;
};

/// Times and values of keys; all 0 where `count` is.
struct KeyRange
{
    int count = 0;
    YTime start{YTIME_ZERO};
    YTime stop{YTIME_ZERO};
    double least = 0.0;
    double greatest = 0.0;

    void Include(YTime time, double value);
};

/// Throws for an index of no key.
void CheckIndices(const YFCurve& curve, const std::vector<int>& indices);

/// The first key that is not before a time.
/// \param from  an index at or before it: quickest near to it
int FirstFrom(const YFCurve& curve, YTime time, int from = 0);

/// Takes in the keys of a curve between two times, and what it shows there.
void IncludeCurve(const YFCurve& curve, YTime start, YTime stop, KeyRange& range);

/// One of `EYFCurveExtrapolation` on each side, and over how many key ranges it holds.
struct Extrapolation
{
    unsigned before = YFCURVE_EXTRAPOLATION_CONST;
    unsigned after = YFCURVE_EXTRAPOLATION_CONST;
    std::uint32_t beforeCount = 0;
    std::uint32_t afterCount = 0;
};

/// A time of the page, in ticks: rounded, and kept within what the library can hold.
YTime TimeOf(double ticks);
double TicksOf(YTime time);

KeyTable TableOf(const YFCurve& curve);

void SelectKeys(Document& document, SelectionMode mode, const std::vector<TrackKeys>& keys);
void SelectBox(Document& document, SelectionMode mode, const std::vector<int>& tracks, const Box& box);
void SelectAll(Document& document, const std::vector<int>& tracks);
void ClearSelection(Document& document);
/// Selects keys that were selected before a step was cancelled, which may have forgotten that: those of them
/// that are there, and no others.
void SelectAgain(Document& document, const std::vector<TrackKeys>& keys);
KeyRange SelectionRange(Document& document);

/// \return  the keys at that time, those that were there among them
std::vector<TrackKeys> InsertKeys(Document& document, const std::vector<int>& tracks, YTime time);
/// Gives a curve a key, or the one at that time the value.
/// \return  the index of the key
int AddKey(YFCurve& curve, YTime time, float value);
int AddKey(Document& document, int track, YTime time, float value);
void DeleteKeys(Document& document, const std::vector<TrackKeys>& keys);
void SetKeys(Document& document, const std::vector<TrackKeys>& keys, const KeyChange& change);
/// Changes one key within a step of the caller's. Throws for a number that is none.
void SetKey(YFCurve& curve, int index, const KeyChange& change);
void SetKeyTime(Document& document, int track, int index, YTime time);
void SetValues(Document& document, int track, const std::vector<int>& indices,
               const std::vector<float>& values);
void SnapKeysToFrames(Document& document, const std::vector<TrackKeys>& keys);
Extrapolation ExtrapolationOf(const YFCurve& curve);
/// \param change  gets the settings of a curve, and changes what is to be changed
void SetExtrapolation(Document& document, const std::vector<int>& tracks,
                      const std::function<void(Extrapolation&)>& change);

/// The keys as JSON, see ymotion/formats/keys_json.h.
std::string CopyKeys(Document& document, const std::vector<TrackKeys>& keys);
/// Puts the earliest key of such a text to a time. Keys go to the tracks in turn, or without tracks to those
/// that they name; keys in between are replaced, and those that are pasted are selected.
void PasteKeys(Document& document, const std::string& json, YTime time, const std::vector<int>& tracks);

/// The time of the frame that is nearest to a time.
YTime SnappedToFrame(YTime time, ymotion::FrameRate rate);

}  // namespace editor
