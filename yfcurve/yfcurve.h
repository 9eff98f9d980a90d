#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "ybaselib/iobject.h"
#include "ybaselib/yspobjectholder.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveevent.h"
#include "yfcurve/yfcurveexport.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// The function curve: a value over time, given by keys.
///
/// Conventions of the whole interface:
/// - Times are `YTime`, slopes are value units per second, weights are fractions of a segment's duration.
/// - Key indices run from 0 to `KeyGetCount()` - 1 in time order. Accessors do not check them.
/// - `last` arguments are search hints. Pass the address of an int that starts at 0 and keep it from call
///   to call; null uses the hint inside the curve.
/// - Refusals are a false, a null or a negative index, and leave the curve unchanged. An operation that runs
///   out of memory refuses as well; one without a result then does nothing. Nothing throws but constructors.
/// - Threads: different curves, and different trees of nodes, may be made, read, edited, filtered, stored and
///   ended by different threads at the same time, and may go from one thread to another. One curve, and one
///   tree with all that it is linked to (time warps and other nodes that trees share make them one in this),
///   belongs to one thread at a time, with one exception: any number of threads may evaluate (`Evaluate`,
///   `KeyFind`, `KeyFindAll`, `EvaluateLeftDerivative`, `EvaluateRightDerivative` and the other const
///   accessors) one curve that is not being changed, as long as each passes a hint of its own. Settings of
///   the process, and `KeySelectAll` and `KeyUnselectAll`, which reach into other curves, are for moments
///   when no other thread is at work. Counts of the process (`YFCURVE_GetKeyAttrCount`, `GetRecordingMemory`)
///   are exact then.
/// - Edits that are many should stand between `KeyModifyBegin` and `KeyModifyEnd` (or in a
///   `YFCurveModify`, yfcurveptr.h): listeners then get one merged event.
///
/// A motion that meets an obstacle at a key, so that its speed changes in a moment:
///
///     void LandHard(YFCurve& curve, int key)
///     {
///         const YFCurveModify modify(curve);                    // listeners hear of all of it at once
///         curve.KeySetTangeantMode(key, YFCURVE_TANGENT_USER);  // from here on the slopes are ours
///         curve.KeySetBreak(key, true);                         // each side may have another one
///         curve.KeySetLeftDerivative(key, -20.0f);              // units a second, just before the key
///         curve.KeySetRightDerivative(key, 5.0f);               // and just behind it
///     }

/// What a curve does outside its keys.
enum EYFCurveExtrapolation : std::uint32_t
{
    YFCURVE_EXTRAPOLATION_CONST = 1,              ///< the value of the end key
    YFCURVE_EXTRAPOLATION_REPETITION = 2,         ///< the key range again and again
    YFCURVE_EXTRAPOLATION_MIRROR_REPETITION = 3,  ///< the same, the adjacent and every other copy reversed
    YFCURVE_EXTRAPOLATION_KEEP_SLOPE = 4          ///< a straight line with the end key's outer slope
};

class YTalo;

namespace yfc {
struct CubicEnds;
struct KeySegment;
struct KeySide;
enum class ETangents;
}  // namespace yfc

/// The extrapolation count that means without limit.
inline constexpr std::uint32_t YFCURVE_EXTRAPOLATION_UNLIMITED = 0xFFFFFFFFu;

/// The version of the layout in which `YFCurve::TaloStore` writes keys, as the field "KeyVer" has it: a file with a
/// higher one is from a newer library, and read as far as it is like this one.
inline constexpr int YFCURVE_KEY_VERSION = 4006;

class YFCURVE_EXPORT YFCurve : public ISpObjectHolder
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("YFCurve");

    /// White, value 0, no keys, constant extrapolation, callbacks and merging of attributes enabled.
    /// The first curve of a process reads the configuration (see `YFCURVE_GetConvertAutoTimeIndependent`).
    YFCurve();
    /// Keys, values and settings of another curve; its callbacks, candidate and locks are not copied. Throws
    /// `std::bad_alloc`, as a constructor has to; `Copy` returns null instead.
    YFCurve(const YFCurve& source);
    YFCurve& operator=(const YFCurve& source);

    // --- Object ----------------------------------------------------------------------------------------

    /// This object as the interface of that id (`IObject`, `ISpObjectHolder`, `YFCurve`), else null.
    IObject* IQuery(unsigned long interfaceId, int subId = 0) override;
    /// Clears the keys, tells the listeners (`YFCURVEEVENT_DESTROY`) and deletes the curve. Keys that a
    /// listener adds then go with it. A curve that was not made by `new` is left to its owner by any
    /// `isLocal` other than 0.
    void Destroy(int isLocal = 0) override;
    /// Where weak references (`YSpObject`) to this curve hang.
    YSpObjectHolder* GetSpHolder() override { return &mSpHolder; }
    virtual ~YFCurve();

    /// Takes over colour, value, extrapolation and was-data of another curve and, with `withKeys`, its
    /// keys with all their attributes. One event. Copying a curve onto itself changes nothing.
    void CopyFrom(const YFCurve& source, bool withKeys = true);
    /// A new curve with the settings of this one and its keys from `start` to `stop` (inclusive), each
    /// with the slopes that it has here, so that the copy evaluates alike between its first and last key.
    /// No key is added at the ends. The caller owns the result.
    YFCurve* Copy(YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE) const;

    // --- Settings --------------------------------------------------------------------------------------

    /// Red, green and blue, 0 to 1, for display.
    const float* GetColor() const { return mColor; }
    float* GetColor() { return mColor; }
    void SetColor(const float* color);

    /// The value of a curve without keys. `Delete` of all keys puts that of the last one here, not `KeyClear`.
    float GetValue() const { return mValue; }
    void SetValue(float value);

    /// Counts changes: a change of values adds 1 to the low 16 bits, which carry into the high ones, and a change
    /// of selection adds 1 to those.
    std::uint32_t GetUpdateId() const { return mUpdateId; }
    /// The low 16 bits alone.
    std::uint32_t GetValuesUpdateId() const { return mUpdateId & 0xFFFFu; }
    void IncrementUpdateId(int amount) { mUpdateId += static_cast<std::uint32_t>(amount); }
    /// A number that no other curve of the process has or had, copies included: tells a curve from one that
    /// was at its address before.
    std::uint64_t GetSerial() const { return mSerial; }

    /// Locks are for filters and tools, which leave a locked curve alone; the curve's own operations do
    /// not look at them.
    void SetLockedByLayer(bool locked) { SetOption(kLockedByLayer, locked); }
    void SetLockedByProperty(bool locked) { SetOption(kLockedByProperty, locked); }
    bool IsLockedByLayer() const { return (mOptions & kLockedByLayer) != 0; }
    bool IsLockedByProperty() const { return (mOptions & kLockedByProperty) != 0; }
    bool IsLocked() const { return (mOptions & (kLockedByLayer | kLockedByProperty)) != 0; }

    /// One of `EYFCurveExtrapolation` before the first and after the last key; other values act as
    /// constant. Each setter raises `YFCURVEEVENT_KEY_ATTR_CHANGED` with index -1 when something differs.
    std::uint32_t GetPreExtrapolation() const { return mPreExtrapolation; }
    void SetPreExtrapolation(unsigned mode);
    std::uint32_t GetPostExtrapolation() const { return mPostExtrapolation; }
    void SetPostExtrapolation(unsigned mode);
    /// Over how many key ranges the mode holds; then a slope stays at what it reached, repetitions at the end
    /// key's value, odd counts of mirrored ones too. 0 (the default) makes every mode constant.
    std::uint32_t GetPreExtrapolationCount() const { return mPreExtrapolationCount; }
    void SetPreExtrapolationCount(unsigned long count);
    std::uint32_t GetPostExtrapolationCount() const { return mPostExtrapolationCount; }
    void SetPostExtrapolationCount(unsigned long count);
    /// Whether mode and count let the curve repeat its keys or run on before them (else after them), rather than show
    /// the value of its end key. The keys are not looked at: a curve with less than two shows one value all the same.
    bool MovesOutside(bool before) const;

    /// Where the keys come from: 0 were set by hand, n > 0 were sampled n times a second.
    void SetWasData(int samplesPerSecond) { mWasData = samplesPerSecond; }
    int GetWasData() const { return mWasData; }
    /// What the keys themselves say: the rate when there are at least 8 keys, all of them one period of at
    /// most a second apart to within `tolerance` (null: one 1000th of a second), a quarter of the period at
    /// most; else 0. Stores nothing.
    int GuessWasData(const YTime* tolerance = nullptr) const;

    // --- Change notification ---------------------------------------------------------------------------

    /// Adds a listener; the same pair may be added several times and is then called as often.
    /// A listener may register and unregister listeners during a call; those added are not called for
    /// the event at hand, those removed not any more.
    /// \return  false for a null function, and when memory has run out.
    bool CallbackRegister(YFCurveCallback callback, void* object);
    /// Removes the latest registration of the pair; nothing when there is none.
    void CallbackUnregister(YFCurveCallback callback, void* object);
    /// Enabling delivers what is pending; while disabled, changes merge into one pending event.
    ///
    /// To hold events back whatever the edits are, open a bracket (`KeyModifyBegin`). Some single edits are
    /// brackets, and the end of one enables callbacks and delivers: `CopyFrom`; `KeyInsert` at one time,
    /// `CandidateKey`; `KeyRemove`, `Delete`, `DeleteSelected`, `KeyClear`; `KeyMove`, `KeyMoveOf`,
    /// `KeyMoveValueTo`, `KeyScaleValue`, `KeyScaleValueAndTangeant`; `KeySetSelectedAll`, `KeySelectAll`,
    /// `KeyUnselectAll`; `KeyMultDerivative`, the setters of auto parameters, of derivative infos and of the
    /// weight or velocity of one side; `KeyTangeantSetInterpolation`, `KeyTangeantSetMode`,
    /// `KeyTurnTo`, `KeyTangeantHide`. Filters and most other tools work in brackets, too.
    void CallbackEnable(bool enable);
    bool CallbackIsEnabled() const { return (mOptions & kCallbacksEnabled) != 0; }
    /// Drops the pending event.
    void CallbackClear() { mPendingEvent.Clear(); }
    /// Reports a change: merges it into the pending event, raises the update id, and delivers when
    /// callbacks are enabled. For code that writes key storage directly.
    void CallbackAddEvent(int type, int index);

    /// Opens a bracket: no listener is called until the outermost `KeyModifyEnd`.
    void KeyModifyBegin();
    /// Opens a bracket and makes room for `keyCount` keys, if there is memory for them.
    void KeyModifyBegin(int keyCount);
    /// Closes a bracket. The outermost one shares equal attribute records among neighbours (see
    /// `KeySetOptimizeEnable`), clears the candidate, and delivers one merged event. It always leaves
    /// callbacks enabled, even where they were disabled before the bracket.
    void KeyModifyEnd();
    /// For callers that filled the key blocks directly: sets the key count first.
    void KeyModifyEnd(int keyCount);

    /// Whether the end of a bracket lets neighbouring keys with equal attributes share one record, which
    /// saves 24 bytes a key.
    void KeySetOptimizeEnable(bool enable) { SetOption(kMergeEnabled, enable); }
    /// Curves with at most that many keys are not worth it; 16 at first, 2 at least.
    void KeySetOptimizeThreshold(int keyCount) { mMergeThreshold = keyCount < 2 ? 2 : keyCount; }

    // --- Keys ------------------------------------------------------------------------------------------

    int KeyGetCount() const { return mKeyCount; }
    int KeyGetSelectionCount() const;
    /// A copy of the key.
    YFCurveKey KeyGet(int index) const;
    /// Replaces a key whole (`YFCURVEEVENT_KEY_REPLACED`). Refuses a time that is not strictly between the
    /// neighbours'. An index equal to the key count appends.
    bool KeySet(int index, const YFCurveKey& key);
    bool KeySet(int index, const YFCurve* source, int sourceIndex);
    /// Replaces or appends a key given by its parts (see `YFCurveKey::Set`), under the same rules. What these
    /// do not say of a key that is there stays: whether it is selected or marked, and its velocity mode.
    bool KeySet(int index, YTime time, float value, unsigned interpolation = YFCURVE_INTERP_CUBIC,
                unsigned tangentMode = YFCURVE_TANGENT_AUTO, float data0 = 0.0f, float data1 = 0.0f,
                unsigned weightMode = YFCURVE_WEIGHT_NONE, float weight0 = YFCURVE_DEFAULT_WEIGHT,
                float weight1 = YFCURVE_DEFAULT_WEIGHT, float velocity0 = YFCURVE_DEFAULT_VELOCITY,
                float velocity1 = YFCURVE_DEFAULT_VELOCITY);

    /// Gives keys new values, `values[i]` to the key `indices[i]`, with one event; the rest of them stays.
    /// The indices may come in any order; of several equal ones the last counts. As many as there are of
    /// both. Where the host has disabled callbacks, the event waits.
    /// \return  false, with nothing changed, when an index is out of range.
    bool KeySet(std::span<const int> indices, std::span<const float> values);

    /// Adds a key, or replaces the one at that time; `key`'s own time is ignored. Returns its index.
    int KeyAdd(YTime time, const YFCurveKey& key, int* last = nullptr);
    int KeyAdd(YTime time, const YFCurve* source, int sourceIndex, int* last = nullptr);
    /// Adds a key with the curve's value at that time and the default attributes (cubic auto), so the
    /// shape around it may change; an existing key is left as it is. Returns the index either way.
    int KeyAdd(YTime time, int* last = nullptr);
    /// Adds keys of many times, or replaces those at their times. They may come in any order; of several for
    /// one time the last counts. What single calls would do, with one event, in time in proportion to the
    /// keys of the curve and to those that are added, plus sorting. Where the host has disabled callbacks,
    /// the event waits.
    /// \return  false, with nothing changed, when memory runs out.
    bool KeyAdd(std::span<const YFCurveKey> keys);
    /// Adds or replaces keys with the default attributes (cubic auto), `values[i]` at `times[i]`; as many as
    /// there are of both. Other keys keep their attributes.
    bool KeyAdd(std::span<const YTime> times, std::span<const float> values);
    /// Adds a copy of a key behind the last one. Refuses (-1) a time that is not after it.
    int KeyAppend(YTime time, const YFCurve* source, int sourceIndex);
    /// Adds a key with the default attributes behind the last one, for recording and for building curves
    /// out of samples: constant time, no heap traffic but a block every 64 keys. Refuses (-1) a time
    /// that is not after the last key's.
    int KeyAppendFast(YTime time, float value);
    /// Adds a key on the curve without changing its shape, and returns its index; an existing key is
    /// left as it is.
    ///
    /// The segment is split where it is (de Casteljau, in time and in value). The new key is a user key
    /// on a cubic segment and continues the interpolation of others. A neighbour whose slopes come from
    /// its surroundings (auto, TCB) and would change is turned into a user key with the slopes that it
    /// had. Where weights near 1 make a handle of a part reach beyond the part, further keys are set
    /// between, as few as keep the shape. The shape is kept outside the keys as well under constant and
    /// unlimited keep-slope extrapolation; under a repeating one a key outside the range changes the
    /// period.
    int KeyInsert(YTime time, int* last = nullptr);
    /// Inserts a key at each of several times, one after the other, with one event. Returns how many keys
    /// that adds; -1, with nothing changed, when memory runs out. Where the times ascend it takes time in
    /// proportion to keys and times, while single calls move all keys behind each new one.
    int KeyInsert(const YTime* times, int count);
    /// Removes a key; false when there is none of that index. The following key keeps its in-tangent.
    /// Removing the only key leaves its value as the curve's value.
    bool KeyRemove(int index);
    /// Removes keys of several indices, which may come in any order and be repeated: each run of neighbours
    /// as `Delete` does, from the last to the first, with one event, in time in proportion to the keys, plus
    /// sorting.
    /// \return  false, with nothing changed, when an index is out of range or memory runs out.
    bool KeyRemove(std::span<const int> indices);
    /// Removes all keys and releases their storage.
    void KeyClear();

    /// The position of a time among the keys: i at key i, i + fraction inside segment i, -0.5 before the
    /// first key, count - 0.5 after the last, -1 without keys. Costs one or two comparisons near the
    /// hint, O(log distance) away from it.
    double KeyFind(YTime time, int* last = nullptr) const;

    /// Moves a key in time, past others if need be, with its attributes and both its tangents: a first key has its
    /// right slope on its left too, and a last key that is not broken its left slope on its right.
    /// \return  its new index, or -1 when another key has that time already, for an index out of range, and when
    ///          memory runs out
    int KeyMove(int index, YTime time);
    /// Moves all keys, or the selected ones, in time and value. Refused (false) when a moved key would
    /// land on one that stays, or its time be infinite or more.
    bool KeyMoveOf(bool selectedOnly, YTime deltaTime, float deltaValue);
    /// Gives all keys, or the selected ones, one value.
    void KeyMoveValueTo(bool selectedOnly, float value);
    /// Multiplies the values of all keys, or of the selected ones; slopes stay.
    void KeyScaleValue(bool selectedOnly, float factor);
    /// Multiplies the slopes of user keys too, so that the whole curve is scaled when all keys are: auto
    /// and TCB slopes follow the values by themselves. What auto parameters beyond 500 add to a slope does
    /// not (see yfcurvetangeants.h); turn such keys into user keys first.
    void KeyScaleValueAndTangeant(bool selectedOnly, float factor);

    /// Removes the keys `first` to `last` (inclusive); the key after them keeps its in-tangent.
    /// \return  false for an index out of range, or the last before the first
    bool Delete(int first, int last);
    /// Removes the keys from `start` to `stop`.
    /// \param inclusive  also keys exactly at the two times.
    /// \return  false for a span that ends before it starts, or without keys
    bool Delete(YTime start, YTime stop, bool inclusive = true);
    /// Removes the selected keys.
    /// \return  false where none is selected
    bool DeleteSelected();
    /// Makes room at `time` and pastes another curve's keys there: keys at and after `time` move later by
    /// the source's duration plus `gap`, and the first pasted key lands on `time`. Every key keeps the
    /// slopes that it had in its curve. Refused (false) for a source without keys, the curve itself, a
    /// negative gap, a gap of 0 where the last pasted key would land on a moved one (a curve with a key
    /// exactly at `time`), or a time that overflows.
    bool Insert(const YFCurve& source, YTime time, YTime gap = YTIME_ZERO);
    /// Replaces the curve over [start, stop], in its own time, by what the source shows `offset` earlier.
    /// With `keyAtEnds`, keys are set at both ends (as `KeyInsert` does): every value outside the span stays,
    /// inside it is the source's, a jump at an end kept within one tick. Where the source would only hold its
    /// first or last key's value up to an end (give it a key there to have that), one segment leads from that
    /// key to what is kept: straight or stepped like the key, else smoothly, with auto and TCB keys following
    /// their new neighbour. Without, keys are just exchanged, and the segments around the ends bend.
    /// \param exactSpan false narrows the span to the source's keys inside it.
    /// An infinite start or stop means from the first or to the last key of either curve. Nothing happens
    /// when start is after stop, when the span is narrowed to nothing, or when a time overflows: that of a
    /// key of the source, moved by `offset`, or a tick before the span.
    void Replace(const YFCurve& source, YTime start = YTIME_MINUS_INFINITE, YTime stop = YTIME_INFINITE,
                 bool exactSpan = true, bool keyAtEnds = true, YTime offset = YTIME_ZERO);
    /// `Replace` for a curve of angles in degrees: the source is raised by whole turns to start nearest to
    /// this curve's value at `start`, and what follows `stop` by whole turns to continue nearest to the
    /// source's value there, so that the seams turn less than half a turn.
    void ReplaceForEulerXYZ(const YFCurve& source, YTime start, YTime stop, bool exactSpan = true,
                            bool keyAtEnds = true, YTime offset = YTIME_ZERO);

    /// Gives back blocks that the keys no longer need, and shares equal attribute records.
    void KeyShrink();
    /// Makes room for `keyCount` keys without adding any. Nothing when there is no memory for so many.
    /// \param reset  also forgets all keys, silently.
    void ResizeKeyBuffer(int keyCount, bool reset);

    // --- Key attributes --------------------------------------------------------------------------------
    // As on `YFCurveKey` (yfcurvekey.h), for the key of an index. A record that several keys share is
    // separated before it is changed, and a setter that changes nothing raises no event.

    float KeyGetValue(int index) const;
    YTime KeyGetTime(int index) const;
    unsigned KeyGetInterpolation(int index) const;
    unsigned KeyGetConstantMode(int index) const;
    unsigned KeyGetTangeantMode(int index, bool includeOverrides = false) const;
    unsigned KeyGetTangeantWeightMode(int index) const;
    unsigned KeyGetTangeantVelocityMode(int index) const;
    unsigned KeyGetTangeantVisibility(int index) const;
    bool KeyGetSelected(int index) const;
    bool KeyGetMarkedForManipulation(int index) const;
    bool KeyGetBreak(int index) const;
    float KeyGetDataDouble(int index, EYFCurveDataIndex dataIndex) const;
    float KeyGetDataFloat(int index, EYFCurveDataIndex word) const;
    /// The four data words, valid until the key's attributes change. The record may be shared: read only.
    const float* KeyGetDataPtr(int index) const;

    /// Value setters raise `YFCURVEEVENT_KEY_VALUE_CHANGED`, time setters `YFCURVEEVENT_KEY_TIME_CHANGED`,
    /// whether the value differs or not. Times are not checked against the neighbours: keep them in order, or
    /// use `KeyMove`. As long as they are not in order, nothing that goes by times finds what it should;
    /// slopes count durations below zero as such.
    void KeySetValue(int index, float value);
    void KeyIncValue(int index, float amount);
    void KeyMultValue(int index, float factor);
    void KeySetTime(int index, YTime time);
    void KeyIncTime(int index, YTime amount);

    /// These raise `YFCURVEEVENT_KEY_ATTR_CHANGED` when something differs.
    void KeySetInterpolation(int index, unsigned interpolation);
    void KeySetConstantMode(int index, unsigned mode);
    /// As on a key by itself, the mode alone. For keys that have weights and become TCB, and wherever what the
    /// key stores is to fit its new mode, use `KeyTurnTo` or `KeyTangeantSetMode`.
    void KeySetTangeantMode(int index, unsigned mode, bool noConversion = false);
    void KeySetTangeantWeightMode(int index, unsigned mode, unsigned mask = YFCURVE_WEIGHT_ALL);
    void KeySetTangeantVelocityMode(int index, unsigned mode, unsigned mask = YFCURVE_VELOCITY_ALL);
    void KeySetDataDouble(int index, EYFCurveDataIndex dataIndex, float value);
    void KeySetDataFloat(int index, EYFCurveDataIndex word, float value);
    /// Marks a key whose tangents an editor turns apart. Nothing couples the two sides of other keys: setters
    /// of slopes set one side of any key, and this leaves both sides as they are stored. An editor that turns
    /// both sides of an unbroken key sets both, and one that unifies a broken key gives both one slope as well
    /// (`KeySetLeftDerivative`, `KeySetRightDerivative`). In the library, the mark lets one side alone be
    /// clamped (`IsClamped`), and the manipulator continues the left slope of what was the last key on its
    /// right only where the key is unbroken. Not for TCB keys: see `YFCurveKey::GetBreak`.
    void KeySetBreak(int index, bool broken);
    /// These raise `YFCURVEEVENT_SELECTION` when something differs.
    void KeySetSelected(int index, bool selected);
    void KeySetTangeantVisibility(int index, unsigned visibility);
    /// Raises nothing.
    void KeySetMarkedForManipulation(int index, bool marked);

    /// Selects or unselects every key of this curve, and no others, with one event when that changes any.
    /// Neighbours that share a record still do so afterwards.
    void KeySetSelectedAll(bool selected);
    /// WARNING: these select and unselect keys of other curves too. They write straight into the attribute
    /// records, which costs no memory at all, but changes every key that shares one of them. The default
    /// record is shared by keys of all curves (`KeyAppendFast` gives it to each key, and merging to those
    /// that equal it) and by those that are added later; their curves raise no event. For curves that may
    /// share the default record with others use `KeySetSelectedAll`. One event.
    void KeySelectAll();
    void KeyUnselectAll();

    // --- Tangents --------------------------------------------------------------------------------------

    /// Slope to the right of a key; of the last key, its left slope. Constant 0, linear the segment's
    /// slope, user the stored one, auto and TCB what their parameters make of the neighbours.
    float KeyGetRightDerivative(int index) const;
    /// Slope to the left of a key; of the first key, its right slope.
    float KeyGetLeftDerivative(int index) const;
    /// Stores a slope: on user keys as it is, on auto keys as the auto parameter that gives it. Ignored on
    /// segments that are not cubic, on TCB keys, and to the right of the last (left of the first) key. The
    /// left slope of a key that follows a TCB key has no place of its own and is ignored too.
    void KeySetRightDerivative(int index, float derivative);
    void KeySetLeftDerivative(int index, float derivative);
    void KeyIncRightDerivative(int index, float amount);
    void KeyIncLeftDerivative(int index, float amount);
    /// Multiplies the slopes on both sides.
    void KeyMultDerivative(int index, float factor);

    /// The auto parameter: 100 is the slope of the segment on the side, -100 that of the other side, 0
    /// their mean; computed from the slope on keys that are not auto. Left 100 after a linear key and 0 after
    /// a constant one; right the same on such a key itself. Outside the first and the last key there is no
    /// segment: an auto key has its stored parameter there, any other 0.
    /// \param applyClamp  where the key is clamped, give the parameter of the flat tangent instead.
    float KeyGetRightAuto(int index, bool applyClamp = false) const;
    float KeyGetLeftAuto(int index, bool applyClamp = false) const;
    /// Stores a parameter on auto keys, and the slope that it means on user keys.
    void KeySetRightAuto(int index, float value);
    void KeySetLeftAuto(int index, float value);

    /// Everything about one side, to be set elsewhere.
    YFCurveTangeantInfo KeyGetRightDerivativeInfo(int index) const;
    YFCurveTangeantInfo KeyGetLeftDerivativeInfo(int index) const;
    /// Nothing on a TCB key.
    /// \param forceDerivative  set the slope even on an auto key, which otherwise takes the auto parameter.
    void KeySetRightDerivativeInfo(int index, const YFCurveTangeantInfo& info, bool forceDerivative = false);
    void KeySetLeftDerivativeInfo(int index, const YFCurveTangeantInfo& info, bool forceDerivative = false);

    /// The tangent as the value distance between the key and its Bezier handle, slope x duration x weight,
    /// counted in the direction of growing time on both sides; 0 where there is no segment.
    float KeyGetRightBezierTangeant(int index) const;
    float KeyGetLeftBezierTangeant(int index) const;
    void KeySetRightBezierTangeant(int index, float tangeant);
    void KeySetLeftBezierTangeant(int index, float tangeant);

    /// Whether the side has a weight of its own. The left side looks at the previous key's bit alone; the
    /// right side also asks that the key is cubic with a mode other than plain TCB.
    bool KeyIsLeftTangeantWeighted(int index) const;
    bool KeyIsRightTangeantWeighted(int index) const;
    /// The handle's length as a fraction of the segment; 1/3 where it has no weight.
    float KeyGetLeftTangeantWeight(int index) const;
    float KeyGetRightTangeantWeight(int index) const;
    /// The mode setters switch one side on or off where the segment is cubic; the value setters switch it
    /// on and store the value, clamped and cut off: see `YFCURVE_STEPS_TO_ONE`, and `YFCURVE_ToKeep` for one that was
    /// read. A left value is ignored after a TCB key.
    void KeySetLeftTangeantWeightedMode(int index, bool weighted);
    void KeySetRightTangeantWeightedMode(int index, bool weighted);
    void KeySetLeftTangeantWeight(int index, float weight);
    void KeySetRightTangeantWeight(int index, float weight);

    /// Velocities follow the same pattern; 0 where there is none.
    bool KeyIsLeftTangeantVelocity(int index) const;
    bool KeyIsRightTangeantVelocity(int index) const;
    float KeyGetLeftTangeantVelocity(int index) const;
    float KeyGetRightTangeantVelocity(int index) const;
    void KeySetLeftTangeantVelocityMode(int index, bool hasVelocity);
    void KeySetRightTangeantVelocityMode(int index, bool hasVelocity);
    void KeySetLeftTangeantVelocity(int index, float velocity);
    void KeySetRightTangeantVelocity(int index, float velocity);

    /// Whether the clamp override of a key holds it flat, per side. A key with the override is flat where
    /// a neighbour has its value or stands within 1e-5 seconds (a jump), and on both sides where its value
    /// is not between its neighbours'. An unbroken key is flat on both sides or on none. True when either
    /// side is.
    bool IsClamped(int index, bool& left, bool& right) const;

    /// Sets interpolation or tangent mode of all keys, or of the selected ones, with one event. Turning to
    /// user keeps the slopes; turning to auto or TCB sets their parameters to 0, and to TCB takes the weights
    /// away. Constant keys have no tangent mode to set.
    void KeyTangeantSetInterpolation(bool selectedOnly, unsigned interpolation);
    void KeyTangeantSetMode(bool selectedOnly, unsigned mode);
    /// The same for one key, with an event for each change outside of a bracket.
    void KeyTurnTo(int index, unsigned mode);
    /// Hides the tangent handles of every key.
    void KeyTangeantHide();
    /// Whether the key is cubic auto, unbroken, with both auto parameters 0 and no weight or velocity on
    /// either side: a key as it is when it is added.
    bool IsKeyInterpolationPureCubicAuto(int index) const;

    // --- Evaluation ------------------------------------------------------------------------------------

    /// The value at a time, extrapolation included; the default value without keys. With a hint of the
    /// caller's, nothing in the curve is written.
    float Evaluate(YTime time, int* last = nullptr) const;
    /// The values at many times, `values[i]` what `Evaluate` gives at `times[i]`, to the bit. The times may
    /// come in any order; where they ascend, each segment is worked out once for all that lie in it. As many
    /// as there are of both. Nothing in the curve is written.
    void Evaluate(std::span<const YTime> times, std::span<float> values) const;
    /// The same at `start`, `start` + `step`, `start` + 2 `step` and so on, for all values.
    void Evaluate(YTime start, YTime step, std::span<float> values) const;
    /// The value at a key position (see `KeyFind`) from 0 to count - 1. At the position of a time this is
    /// what `Evaluate` gives, but for what a large index leaves of the fraction. Positions outside give the
    /// end keys' values; one that is not a number gives what is not a number either.
    float EvaluateIndex(double position) const;
    /// The key position that a time has after extrapolation: inside 0 .. count - 1, or -1 without keys.
    double KeyFindAll(YTime time, int* last = nullptr) const;
    /// The one-sided slopes of what `Evaluate` gives, value units per second, extrapolation included. A
    /// jump (constant segments, the seams of a repetition) counts as the slope on its side.
    float EvaluateLeftDerivative(YTime time, int* last = nullptr) const;
    float EvaluateRightDerivative(YTime time, int* last = nullptr) const;

    /// The keys as a repeating extrapolation repeats them. Index 0 is the first real key; copies before
    /// have negative indices, copies after follow behind the last real key. Neighbouring copies share the
    /// key on their border. The count saturates at INT_MAX; only repeating modes add keys.
    int KeyGetCountAll() const;
    YTime KeyGetTimeAll(int indexAll) const;
    /// The real key behind an index over all copies.
    /// \param copy  receives which copy it belongs to, 0 for the real range, negative before it. A border key
    ///              belongs to the copy that is nearer to the range.
    int MapIndexAll(int indexAll, int& copy) const;

    /// Finds the inner local extremes of the segment that starts at a key, 0 to 2 of them, in time order.
    /// Times and values are written for those found; constant and linear segments have none.
    int FindPeaks(int leftKeyIndex, YTime& time1, float& value1, YTime& time2, float& value2) const;

    // --- Candidate -------------------------------------------------------------------------------------
    // A value at one time that is not a key (yet); every key change clears it.

    void CandidateSet(YTime time, double value);
    double CandidateGet() const { return mCandidateValue; }
    YTime CandidateGetTime() const { return mCandidateTime; }
    bool IsCandidate() const { return mCandidateTime != YTIME_INFINITE; }
    void CandidateClear();
    /// The candidate at its time; at any other, the evaluated value, which becomes the candidate: a
    /// one-entry cache. A time of infinity is evaluated but not kept.
    float CandidateEvaluate(YTime time, int* last = nullptr);
    /// Turns the candidate into a key and clears it. A key at that time takes the value and keeps its
    /// attributes; a new one gets the given ones with parameters of 0. Returns the index, -1 without a
    /// candidate.
    int CandidateKey(int* last = nullptr, unsigned interpolation = YFCURVE_INTERP_CUBIC,
                     unsigned tangentMode = YFCURVE_TANGENT_AUTO);

    // --- Key storage, for code that fills blocks directly ----------------------------------------------

    /// The array of block references, 64 keys to a block; null without storage. See
    /// `InternalPriKeyGetPtr` for addresses.
    const std::uint32_t* GetPriFCurveKeysList() const { return mBlocks; }
    /// The packed key, inside the room made by `ResizeKeyBuffer`.
    YPriFCurveKey* InternalPriKeyGetPtr(int index) const;
    /// Its attribute record; null when it has none.
    YPriFCurveKeyAttr* InternalPriKeyAttrGetPtr(int index) const;

    // --- Scene files -----------------------------------------------------------------------------------
    // A curve is a few fields of the block that is open, beside whatever else stands there:
    // docs/scene-file.md lists them. They keep default value, keys, extrapolation and colour; velocities,
    // selection, visible handles, marks, locks and was-data are not kept. Neither are the break, the weights
    // and a negative zero of an auto key whose parameters are both 0, the overrides of user keys, and the
    // tension, continuity and bias of a TCB key that is marked as broken.

    /// Writes the curve.
    /// \param onlyDefault  the default value alone.
    /// \param withColor    the colour as well.
    /// \param autoAsUser   write auto keys with the slopes that they have now, for readers that know no auto
    ///                     tangents. Auto keys with parameters of 0 stay auto, but lose their overrides.
    /// \return  true, false for null; whether the file could be written is for `YTalo::FileClose` to say.
    bool TaloStore(YTalo* talo, bool onlyDefault = false, bool withColor = true,
                   bool autoAsUser = false) const;
    /// Replaces default value and keys by those of the block that is open, and takes over extrapolation and
    /// colour where the block has them. Keys that cannot be read, or are not later than those before them,
    /// are left out; the key after one that is left out keeps its in-tangent. The curve has no keys
    /// afterwards when the block has none. One event.
    /// \param onlyDefault  read the default value alone; the keys go away all the same.
    /// \param withColor    read the colour as well.
    /// \return  false, with nothing changed, when no curve is left in the block, for null, and when memory
    ///          runs out.
    bool TaloRetrieve(YTalo* talo, bool onlyDefault = false, bool withColor = true);

  private:
    enum EOption : std::uint32_t
    {
        kCallbacksEnabled = 1,
        kMergeEnabled = 2,
        kLockedByLayer = 4,
        kLockedByProperty = 8
    };
    struct FoundSegment;
    struct Listener
    {
        YFCurveCallback callback;  // null once it is unregistered in the middle of a delivery
        void* object;
    };
    struct Delivery;

    static std::uint64_t NextSerial();

    void SetOption(std::uint32_t option, bool on) { mOptions = on ? mOptions | option : mOptions & ~option; }

    YPriFCurveKey& Key(int index) const;
    YPriFCurveKeyAttr& Attr(int index) const;

    template<class Edit>
    void Editing(int records, const Edit& edit);

    void InitBuffers(int keyCount, bool reset);
    bool MakeRoom(int keyCount);
    void TakeBlocks(int keyCount);
    void GiveBlocks(int lastKept);
    void GrowArray(int keyCount);
    void ShrinkArray();
    void ReleaseStorage();
    void ReleaseKeys();
    void ExchangeKeys(YFCurve& other);
    void OpenSlot(int index);
    void CloseSlots(int index, int count);

    YPriFCurveKeyAttr& KeyAttrSeparate(int index);
    YPriFCurveKeyAttr& KeyAttrSeparateCheck(int index);
    void KeyAttrSet(int index, const YPriFCurveKeyAttr& attr);
    void KeyAttrShrink(int first, int last);
    template<class Change>
    void ChangeAttr(int index, int event, Change change);
    void SelectAll(bool selected);
    void ResetTangeants(int index, unsigned mode);
    void ScaleSlopes(bool selectedOnly, float factor);

    void SetExtrapolation(std::uint32_t& setting, std::uint32_t value);
    /// Whether a change has to be noted for listeners, now or later.
    bool IsHeard() const { return !CallbackIsEnabled() || !mListeners.empty(); }
    void DeliverPendingEvent();
    void CopySettings(const YFCurve& source);
    void CopyKeys(const YFCurve& source, int first, int last);
    void ShareKeys(const YFCurve& source);
    void TakeOver(const YFCurve& source, bool withKeys);
    int AddKey(YTime time, const YFCurveKey& key, int* last);
    int FillSlot(int index, YTime time, const YFCurveKey& key, int* last);
    void ReplaceKey(int index, const YFCurveKey& key);
    void ReportAdded(int index);
    void RemoveKeys(int first, int last);
    int CountWith(const std::vector<YFCurveKey>& added) const;
    void MergeKeys(const YFCurve& source, const std::vector<YFCurveKey>& added);

    FoundSegment FindSegment(YTime time, int hint) const;
    void NarrowByGuess(YTime time, int& low, int& high) const;
    int FindInBracket(YTime time, int low, int high) const;
    int FindNear(YTime time, int from, bool after) const;
    int FindByGuess(YTime time) const;
    int Gallop(YTime time, int from, bool after) const;
    int KeyAt(YTime time, int* last) const;
    double PositionIn(const FoundSegment& found, YTime time) const;
    double MapOutside(YTime time, bool before, int* last) const;
    float EvaluateOutside(YTime time, bool before, int* last) const;
    [[gnu::noinline]] float EvaluateFar(YTime time, int* last) const;
    [[gnu::noinline]] float EvaluateOther(int index, const YPriFCurveKey& start, const YPriFCurveKey& end,
                                          double ticks, double fraction) const;
    float EvaluateSegment(const yfc::KeySegment& segment, double ticks, double fraction) const;
    yfc::KeySegment SegmentAt(int index) const;
    const YPriFCurveKey& KeyBefore(const yfc::KeySegment& segment) const;
    const YPriFCurveKey& KeyBehind(const yfc::KeySegment& segment) const;
    float EvaluateSlope(YTime time, int* last, bool rightSide) const;
    float SlopeInRange(YTime time, int* last, bool rightSide) const;
    template<class Use>
    auto WithFormula(const yfc::KeySegment& segment, double ticks, const Use& use) const;
    yfc::CubicEnds EndsOf(const yfc::KeySegment& segment) const;
    template<class TimeAt>
    void EvaluateEach(const TimeAt& timeAt, std::span<float> values) const;

    float SlopeOfSegment(int index) const;
    bool IsClamped(int index, unsigned mode, bool& left, bool& right) const;
    bool HasSegment(yfc::KeySide side) const;
    float SlopeFromAuto(yfc::KeySide side, unsigned mode, double parameter) const;
    float SlopeFromTCB(yfc::KeySide side) const;
    float LeftAutoParameter(int index) const;
    float GetSlope(yfc::KeySide side) const;
    float GetAuto(yfc::KeySide side, bool applyClamp) const;
    YFCurveTangeantInfo GetSide(yfc::KeySide side) const;
    bool CanStore(yfc::KeySide side) const;
    yfc::ETangents StoredAs(yfc::KeySide side) const;
    void SetSlope(yfc::KeySide side, float slope);
    void SetAuto(yfc::KeySide side, float value);
    void SetSide(yfc::KeySide side, const YFCurveTangeantInfo& info, bool forceDerivative);
    double HandleDuration(yfc::KeySide side) const;
    bool HasSideMode(yfc::KeySide side, unsigned bit) const;
    void SetSideMode(yfc::KeySide side, unsigned bit, bool on);
    void SetSideValue(yfc::KeySide side, EYFCurveDataIndex dataIndex, unsigned bit, float value);

    bool SetTimesAndValues(const std::vector<YTime>& times, const std::vector<float>& values);
    void SetInOrder(const std::vector<int>& order, const std::vector<YTime>& times,
                    const std::vector<float>& values);

    void ReadFrom(YTalo& talo, double value, bool onlyDefault, bool withColor);
    void RetrieveKeys(YTalo& talo, int version, int count);
    void RetrieveExtrapolation(YTalo& talo, const char* name, std::uint32_t& mode, std::uint32_t& count);
    YFCurveKeyAttrReference SharedAttribute(const YPriFCurveKeyAttr& attr) const;

    // Edits that rewrite several keys at once, each in a header of its own in curve/.
    friend class YFCurveShape;
    friend class YFCurveExchange;
    friend class YFCurvePieces;
    friend class YFCurveReplace;
    friend class YFCurveStorage;
    friend class YFCurveDraft;
    friend class YFCurveAscendingEdit;
    friend class YFCurveDescendingEdit;

    const std::uint64_t mSerial = NextSerial();
    float mColor[3] = {1.0f, 1.0f, 1.0f};
    float mValue = 0.0f;
    std::uint32_t mUpdateId = 0;
    std::uint32_t mOptions = kCallbacksEnabled | kMergeEnabled;
    std::int32_t mMergeThreshold = 16;
    std::int32_t mModifyDepth = 0;

    std::uint32_t* mBlocks = nullptr;
    std::int32_t mKeyCount = 0;
    std::int32_t mCapacity = 0;
    std::int32_t mLastBlock = -1;

    std::uint32_t mPreExtrapolation = YFCURVE_EXTRAPOLATION_CONST;
    std::uint32_t mPreExtrapolationCount = 0;
    std::uint32_t mPostExtrapolation = YFCURVE_EXTRAPOLATION_CONST;
    std::uint32_t mPostExtrapolationCount = 0;
    std::int32_t mWasData = 0;
    mutable std::int32_t mLastFound = 0;

    YTime mCandidateTime = YTIME_INFINITE;
    double mCandidateValue = 0.0;

    YFCurveEvent mPendingEvent;
    std::vector<Listener> mListeners;
    Delivery* mDelivery = nullptr;  // the innermost one under way
    YSpObjectHolder mSpHolder{this};
};

/// A new curve on the heap; release it with `Destroy`. Null when memory runs out.
YFCURVE_EXPORT YFCurve* YFCurveCreate();
/// A new curve, read as `YFCurve::TaloRetrieve` does. Null when no curve is left in the block that is open,
/// and when memory runs out.
YFCURVE_EXPORT YFCurve* YFCurveCreate(YTalo* talo, bool onlyDefault = false, bool withColor = true);
/// Reads into a curve that is there.
/// \param curve  null makes a new one.
/// \return  the curve that was read; null when none was, and `curve` is then as it was.
YFCURVE_EXPORT YFCurve* YFCurveCreate(YTalo* talo, YFCurve* curve, bool onlyDefault = false,
                                      bool withColor = true);

/// How many attribute records are alive in the process, the default one included. Equal to what it was
/// before once all curves made since are gone.
YFCURVE_EXPORT int YFCURVE_GetKeyAttrCount();
