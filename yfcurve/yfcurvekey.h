#pragma once

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// The key of a function curve: the value object that hosts fill and read (`YFCurveKey`), the packed
/// record that a curve stores (`YPriFCurveKey`), and the attribute record that keys with equal
/// attributes share (`YPriFCurveKeyAttr`).
///
/// All three describe attributes by one 32-bit flags word and four 32-bit data words. A key owns the
/// segment that starts at it: its interpolation, its out-tangent, and the *in*-tangent of the key that
/// follows ("next left").

/// The flags word of a key: fields side by side, each with the mask of the whole field.
enum EYFCurveKeyFlags : std::uint32_t
{
    /// Interpolation of the segment that starts at the key.
    YFCURVE_INTERP_CONSTANT = 0x00000002,
    YFCURVE_INTERP_LINEAR = 0x00000004,
    YFCURVE_INTERP_CUBIC = 0x00000008,
    YFCURVE_INTERP_ALL = 0x0000000E,

    /// What a constant segment shows: the value of its first key, or already that of the next one. The bit
    /// is the one that means "auto" on cubic keys; setting it does not look at the interpolation.
    YFCURVE_CONSTANT_STANDARD = 0x00000000,
    YFCURVE_CONSTANT_NEXT = 0x00000100,
    YFCURVE_CONSTANT_ALL = 0x00000100,

    /// How the tangents of a cubic key are given.
    YFCURVE_TANGENT_AUTO = 0x00000100,   ///< an auto parameter blends the slopes to the neighbours
    YFCURVE_TANGENT_TCB = 0x00000200,    ///< tension, continuity and bias
    YFCURVE_TANGENT_USER = 0x00000400,   ///< explicit slopes
    YFCURVE_TANGENT_BREAK = 0x00000800,  ///< with auto or user: a mark for editors, see `GetBreak`
    YFCURVE_TANGENT_AUTO_BREAK = 0x00000900,
    YFCURVE_TANGENT_USER_BREAK = 0x00000C00,
    YFCURVE_TANGENT_ALL = 0x00000F00,
    /// Overrides of auto tangents.
    YFCURVE_TANGENT_CLAMP = 0x00001000,             ///< flat beside an equal neighbour and at an extreme
    YFCURVE_TANGENT_TIME_INDEPENDENT = 0x00002000,  ///< parameter 0 means the chord of the neighbours
    YFCURVE_TANGENT_OVERRIDES = 0x00003000,
    YFCURVE_TANGENT_ALL_WITH_OVERRIDES = 0x00003F00,

    /// Selection, with two companion bits that every selection change clears, and the manipulator's mark.
    YFCURVE_SELECTED = 0x00010000,
    YFCURVE_SELECTED_COMPANIONS = 0x00060000,
    YFCURVE_MARKED_FOR_MANIPULATION = 0x00080000,

    /// Which tangent handles an editor shows: side A is the left (in) handle, side B the right (out) one.
    YFCURVE_SHOW_NONE = 0x00000000,
    YFCURVE_SHOW_SIDE_A = 0x00100000,
    YFCURVE_SHOW_SIDE_B = 0x00200000,
    YFCURVE_SHOW_BOTH = 0x00300000,

    /// Which of a segment's handles have a length of their own; the others reach a third of the segment.
    YFCURVE_WEIGHT_NONE = 0x00000000,
    YFCURVE_WEIGHT_RIGHT = 0x01000000,
    YFCURVE_WEIGHT_NEXT_LEFT = 0x02000000,
    YFCURVE_WEIGHT_ALL = 0x03000000,

    /// Which ends of a segment carry a velocity. Velocities travel with keys; evaluation ignores them.
    YFCURVE_VELOCITY_NONE = 0x00000000,
    YFCURVE_VELOCITY_RIGHT = 0x10000000,
    YFCURVE_VELOCITY_NEXT_LEFT = 0x20000000,
    YFCURVE_VELOCITY_ALL = 0x30000000
};

/// Addresses the data words of a key. 0 and 1 are floats: slopes (value units per second) on user keys,
/// auto parameters on auto keys, tension and continuity on TCB keys. 2 to 5 are 16-bit fixed point, see
/// `YFCURVE_STEPS_TO_ONE`.
enum EYFCurveDataIndex
{
    YFCURVEKEY_RIGHT_DERIVATIVE = 0,
    YFCURVEKEY_NEXT_LEFT_DERIVATIVE = 1,
    YFCURVEKEY_RIGHT_WEIGHT = 2,      ///< fraction of the segment's duration, clamped
    YFCURVEKEY_NEXT_LEFT_WEIGHT = 3,  ///< of the segment too, in the same range
    YFCURVEKEY_RIGHT_VELOCITY = 4,    ///< not clamped; wraps outside of its range
    YFCURVEKEY_NEXT_LEFT_VELOCITY = 5,

    YFCURVEKEY_TCB_TENSION = 0,  ///< for the `DataFloat` accessors of TCB keys
    YFCURVEKEY_TCB_CONTINUITY = 1,
    YFCURVEKEY_TCB_BIAS = 2  ///< overlays the two weights: a TCB key has none
};

/// Weights and velocities are stored as whole steps of 1/9999, cut off towards zero.
inline constexpr double YFCURVE_STEPS_TO_ONE = 9999.0;
/// Setters clamp weights to this range, of which 1 to 9899 steps are stored.
inline constexpr float YFCURVE_SMALLEST_WEIGHT = 1.0f / 9999.0f;
inline constexpr float YFCURVE_LARGEST_WEIGHT = 0.99f;
/// Velocities in this range are stored as they are, but for the cutting off; others wrap.
inline constexpr float YFCURVE_LOWEST_VELOCITY = -3.2772f;
inline constexpr float YFCURVE_HIGHEST_VELOCITY = 3.2771f;

/// What to give a setter of a weight or a velocity for a number that a getter gave, so that exactly that one comes
/// back: the float nearest to a number of steps may lie below it, and would be cut off to one step less. Numbers
/// between two steps are cut off as ever.
inline float YFCURVE_ToKeep(float read)
{
    return std::nextafter(read, std::copysign(HUGE_VALF, read));
}

/// The weight of a handle that has no weight of its own.
inline constexpr float YFCURVE_DEFAULT_WEIGHT = 1.0f / 3.0f;
/// The velocity of an end that has none of its own.
inline constexpr float YFCURVE_DEFAULT_VELOCITY = 0.0f;

/// The process-wide switch that makes new auto tangents time-independent: while it is on, every setter of
/// a tangent mode adds `YFCURVE_TANGENT_TIME_INDEPENDENT` to a mode with the auto bit on a key that is
/// cubic at that moment, unless the caller passes `noConversion`. Off until the first curve of the
/// process is constructed, which sets it from the host's configuration file "@Application.txt", section
/// "FCurve", key "ConvertAutoTimeIndependent" (default "Yes").
YFCURVE_EXPORT bool YFCURVE_GetConvertAutoTimeIndependent();
/// Overrides the configured switch, for hosts with a preference of their own.
YFCURVE_EXPORT void YFCURVE_SetConvertAutoTimeIndependent(bool on);

/// The flags word and the data words as they are stored: 20 bytes. Use the accessors below instead.
struct YFCurveKeyWords
{
    std::uint32_t flags;
    float data[4];
};

/// The attribute accessors that the public key and the shared attribute record have in common; this is
/// the one place that packs and unpacks the flags word. They act on the object alone, check nothing and
/// raise no event.
template<class Record>
class YFCurveKeyAttributes
{
  public:
    /// Interpolation, mode, data, weights and velocities in one go; hides the tangent handles and leaves
    /// the velocity mode as it was. The tangent mode is subject to the auto conversion.
    void Set(unsigned interpolation, unsigned tangentMode, float data0, float data1, unsigned weightMode,
             float weight0, float weight1, float velocity0, float velocity1)
    {
        SetInterpolation(interpolation);
        SetTangeantMode(tangentMode, false);
        SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, data0);
        SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, data1);
        SetTangeantWeightMode(weightMode);
        SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, weight0);
        SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, weight1);
        SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, velocity0);
        SetDataDouble(YFCURVEKEY_NEXT_LEFT_VELOCITY, velocity1);
        SetTangeantVisibility(YFCURVE_SHOW_NONE);
    }

    /// Makes the key a cubic TCB key (Kochanek and Bartels, "Interpolating Splines with Local Tension,
    /// Continuity, and Bias Control", 1984); clears break and the overrides and hides the handles.
    ///
    /// Weights that a cubic key has stay switched on, although their place is the bias's: the segment then
    /// plays with what that makes of a left weight (0 for a bias of 0), until it is stored and read again.
    /// Call `SetTangeantWeightMode(YFCURVE_WEIGHT_NONE)` as well, or turn keys of a curve to TCB with
    /// `YFCurve::KeyTangeantSetMode`, which does so.
    void SetTCB(float tension, float continuity, float bias)
    {
        if (GetInterpolation() != YFCURVE_INTERP_CUBIC) ResetCubic();
        Replace(YFCURVE_INTERP_ALL | YFCURVE_TANGENT_ALL_WITH_OVERRIDES,
                YFCURVE_INTERP_CUBIC | YFCURVE_TANGENT_TCB);
        SetDataFloat(YFCURVEKEY_TCB_TENSION, tension);
        SetDataFloat(YFCURVEKEY_TCB_CONTINUITY, continuity);
        SetDataFloat(YFCURVEKEY_TCB_BIAS, bias);
        SetTangeantVisibility(YFCURVE_SHOW_NONE);
    }

    /// One of `YFCURVE_INTERP_...`.
    unsigned GetInterpolation() const { return Words().flags & YFCURVE_INTERP_ALL; }
    /// A key that was not cubic becomes cubic with weights of 1/3, velocities of 0, and both modes none.
    void SetInterpolation(unsigned interpolation)
    {
        if ((interpolation & YFCURVE_INTERP_CUBIC) != 0 && (Words().flags & YFCURVE_INTERP_CUBIC) == 0) {
            ResetCubic();
        }
        Replace(YFCURVE_INTERP_ALL, interpolation);
    }

    /// Meaningful on constant keys; on a cubic key the bit reads and writes as auto.
    unsigned GetConstantMode() const { return Words().flags & YFCURVE_CONSTANT_ALL; }
    void SetConstantMode(unsigned mode) { Replace(YFCURVE_CONSTANT_ALL, mode); }

    /// \param includeOverrides with the clamp and time-independent bits.
    unsigned GetTangeantMode(bool includeOverrides) const
    {
        return Words().flags & (includeOverrides ? YFCURVE_TANGENT_ALL_WITH_OVERRIDES : YFCURVE_TANGENT_ALL);
    }
    /// Replaces mode and overrides, so overrides that are not in `mode` are cleared. The data words stay and
    /// mean something else in another mode. For a key with weights that becomes TCB see `SetTCB`.
    /// \param noConversion keep an auto mode as given whatever the process-wide switch says.
    void SetTangeantMode(unsigned mode, bool noConversion = false)
    {
        Words().flags = FlagsWithTangeantMode(Words().flags, mode, noConversion);
    }

    /// One of `YFCURVE_WEIGHT_...`.
    unsigned GetTangeantWeightMode() const { return Words().flags & YFCURVE_WEIGHT_ALL; }
    /// \param mask which side's bit to replace; the other keeps its state.
    void SetTangeantWeightMode(unsigned mode, unsigned mask = YFCURVE_WEIGHT_ALL)
    {
        Replace(mask & YFCURVE_WEIGHT_ALL, mode);
    }

    /// One of `YFCURVE_VELOCITY_...`.
    unsigned GetTangeantVelocityMode() const { return Words().flags & YFCURVE_VELOCITY_ALL; }
    /// \param mask which side's bit to replace; the other keeps its state.
    void SetTangeantVelocityMode(unsigned mode, unsigned mask = YFCURVE_VELOCITY_ALL)
    {
        Replace(mask & YFCURVE_VELOCITY_ALL, mode);
    }

    /// One of `YFCURVE_SHOW_...`.
    unsigned GetTangeantVisibility() const { return Words().flags & YFCURVE_SHOW_BOTH; }
    void SetTangeantVisibility(unsigned visibility) { Replace(YFCURVE_SHOW_BOTH, visibility); }

    /// The value of one of the six indices, decoded. A float despite the name.
    float GetDataDouble(EYFCurveDataIndex index) const
    {
        return index < YFCURVEKEY_RIGHT_WEIGHT ? Words().data[index] : GetFixed(index);
    }
    /// Stores a value; weights are clamped first. See `YFCURVE_ToKeep` for one that was read.
    void SetDataDouble(EYFCurveDataIndex index, float value)
    {
        if (index < YFCURVEKEY_RIGHT_WEIGHT) {
            Words().data[index] = value;
        } else {
            SetFixed(index, value);
        }
    }

    /// Data word 0 to 3 as a float, without any conversion.
    float GetDataFloat(EYFCurveDataIndex word) const { return Words().data[word]; }
    void SetDataFloat(EYFCurveDataIndex word, float value) { Words().data[word] = value; }

    /// The address of data word 0; four words follow each other.
    const float* GetDataPtr() const { return Words().data; }
    float* GetDataPtr() { return Words().data; }

    bool GetSelected() const { return (Words().flags & YFCURVE_SELECTED) != 0; }
    void SetSelected(bool selected)
    {
        Replace(YFCURVE_SELECTED | YFCURVE_SELECTED_COMPANIONS, selected ? YFCURVE_SELECTED : 0u);
    }

    /// The mark that a key manipulator sets while it holds the key.
    bool GetMarkedForManipulation() const { return (Words().flags & YFCURVE_MARKED_FOR_MANIPULATION) != 0; }
    void SetMarkedForManipulation(bool marked)
    {
        Replace(YFCURVE_MARKED_FOR_MANIPULATION, marked ? YFCURVE_MARKED_FOR_MANIPULATION : 0u);
    }

    /// Whether an editor turns left and right tangent apart; the bit is part of the tangent mode as well. It is
    /// a mark: setters of slopes set one side, whatever it says, and setting it changes no slope that is stored
    /// (see `YFCurve::KeySetBreak`). It does not go with TCB: such a key is flat on both sides as long as it
    /// has the mark, and stored so in files, which do not keep its tension, continuity and bias.
    bool GetBreak() const { return (Words().flags & YFCURVE_TANGENT_BREAK) != 0; }
    void SetBreak(bool broken) { Replace(YFCURVE_TANGENT_BREAK, broken ? YFCURVE_TANGENT_BREAK : 0u); }

    /// The whole flags word.
    std::uint32_t GetFlags() const { return Words().flags; }
    void SetFlags(std::uint32_t flags) { Words().flags = flags; }

    /// The flags word that setting a tangent mode makes of `flags`.
    static std::uint32_t FlagsWithTangeantMode(std::uint32_t flags, unsigned mode, bool noConversion)
    {
        if (!noConversion && (flags & YFCURVE_INTERP_CUBIC) != 0 && (mode & YFCURVE_TANGENT_AUTO) != 0 &&
            YFCURVE_GetConvertAutoTimeIndependent()) {
            mode |= YFCURVE_TANGENT_TIME_INDEPENDENT;
        }
        return (flags & ~std::uint32_t{YFCURVE_TANGENT_ALL_WITH_OVERRIDES}) |
               (mode & YFCURVE_TANGENT_ALL_WITH_OVERRIDES);
    }

    /// Weights of 1/3, velocities of 0, weight and velocity mode none: what a key that becomes cubic gets.
    void ResetCubic()
    {
        Replace(YFCURVE_WEIGHT_ALL | YFCURVE_VELOCITY_ALL, 0);
        SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, YFCURVE_DEFAULT_WEIGHT);
        SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, YFCURVE_DEFAULT_WEIGHT);
        SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, YFCURVE_DEFAULT_VELOCITY);
        SetDataDouble(YFCURVEKEY_NEXT_LEFT_VELOCITY, YFCURVE_DEFAULT_VELOCITY);
    }

  protected:
    YFCurveKeyAttributes() = default;

  private:
    const YFCurveKeyWords& Words() const { return static_cast<const Record*>(this)->mWords; }
    YFCurveKeyWords& Words() { return static_cast<Record*>(this)->mWords; }

    void Replace(std::uint32_t mask, std::uint32_t bits)
    {
        Words().flags = (Words().flags & ~mask) | (bits & mask);
    }

    // The halves of words 2 and 3, in the order of the indices 2 to 5.
    float GetFixed(EYFCurveDataIndex index) const
    {
        std::int16_t stored;
        __builtin_memcpy(&stored, HalfWord(Words().data, index), sizeof stored);
        return static_cast<float>(stored * (1.0 / YFCURVE_STEPS_TO_ONE));
    }
    void SetFixed(EYFCurveDataIndex index, float value)
    {
        if (index <= YFCURVEKEY_NEXT_LEFT_WEIGHT) {
            if (value > YFCURVE_LARGEST_WEIGHT) {
                value = YFCURVE_LARGEST_WEIGHT;
            } else if (value < YFCURVE_SMALLEST_WEIGHT) {
                value = YFCURVE_SMALLEST_WEIGHT;
            }
        }
        const double scaled = static_cast<double>(value) * YFCURVE_STEPS_TO_ONE;
        // By way of 64 bits, so that a velocity out of range wraps; one beyond those (or NaN) stores 0.
        const bool wraps = scaled > -9.2e18 && scaled < 9.2e18;
        const auto stored = static_cast<std::int16_t>(wraps ? static_cast<std::int64_t>(scaled) : 0);
        __builtin_memcpy(HalfWord(Words().data, index), &stored, sizeof stored);
    }
    template<class Float>
    static auto HalfWord(Float* data, EYFCurveDataIndex index)
    {
        using Byte = std::conditional_t<std::is_const_v<Float>, const unsigned char, unsigned char>;
        return reinterpret_cast<Byte*>(data + 2) + (index - YFCURVEKEY_RIGHT_WEIGHT) * 2;
    }
};

class YPriFCurveKeyAttr;
class YPriFCurveKey;

/// One key as a value of its own: 32 bytes, copied freely.
class YFCURVE_EXPORT YFCurveKey : public YFCurveKeyAttributes<YFCurveKey>
{
  public:
    /// Time, value and flags 0; the data words are 0 as well.
    YFCurveKey() = default;

    using YFCurveKeyAttributes<YFCurveKey>::Set;
    using YFCurveKeyAttributes<YFCurveKey>::SetTCB;

    /// The whole key in one go. `data0` and `data1` mean what the tangent mode says: slopes, or auto
    /// parameters. The velocity mode is left as it was; the handles are hidden.
    void Set(YTime time, float value, unsigned interpolation = YFCURVE_INTERP_CUBIC,
             unsigned tangentMode = YFCURVE_TANGENT_AUTO, float data0 = 0.0f, float data1 = 0.0f,
             unsigned weightMode = YFCURVE_WEIGHT_NONE, float weight0 = YFCURVE_DEFAULT_WEIGHT,
             float weight1 = YFCURVE_DEFAULT_WEIGHT, float velocity0 = YFCURVE_DEFAULT_VELOCITY,
             float velocity1 = YFCURVE_DEFAULT_VELOCITY)
    {
        mTime = time;
        mValue = value;
        Set(interpolation, tangentMode, data0, data1, weightMode, weight0, weight1, velocity0, velocity1);
    }

    /// A TCB key; each parameter is nominally in [-1, 1].
    void SetTCB(YTime time, float value, float tension = 0.0f, float continuity = 0.0f, float bias = 0.0f)
    {
        mTime = time;
        mValue = value;
        SetTCB(tension, continuity, bias);
    }

    /// Becomes a copy of `source`.
    void Set(const YFCurveKey& source) { *this = source; }

    float GetValue() const { return mValue; }
    void SetValue(float value) { mValue = value; }
    void IncValue(float amount) { mValue += amount; }
    void MultValue(float factor) { mValue *= factor; }

    YTime GetTime() const { return mTime; }
    void SetTime(YTime time) { mTime = time; }
    void IncTime(YTime amount) { mTime += amount; }

    /// Time, value and flags 0; the data words stay as they are.
    void Init()
    {
        mTime = YTime();
        mValue = 0.0f;
        mWords.flags = 0;
    }

  private:
    friend class YFCurve;
    friend class YFCurveKeyAttributes<YFCurveKey>;

    YFCurveKey(const YPriFCurveKey& key, const YPriFCurveKeyAttr& attr);
    YPriFCurveKeyAttr GetKeyAttr() const;

    YTime mTime;
    float mValue = 0.0f;
    YFCurveKeyWords mWords = {};
};

/// The number of keys of the whole process that point at the default attribute record, and one more. Exact
/// when no other thread edits keys.
YFCURVE_EXPORT std::uint32_t YFCURVE_GetDefaultKeyAttrRefCount();

/// The attribute record that keys of equal attributes share by reference count: 24 bytes. It has no
/// constructor of its own, so that a zero-filled record of the pool is one.
class YPriFCurveKeyAttr : public YFCurveKeyAttributes<YPriFCurveKeyAttr>
{
  public:
    /// The count of the default record, which is no number: keys of all threads point at that one, and each
    /// thread counts its own.
    static constexpr std::uint32_t CountedApart = 0xFFFFFFFFu;

    /// The number of keys that point here (one more for the process-wide default record).
    std::uint32_t GetRefCount() const
    {
        return mRefCount != CountedApart ? mRefCount : YFCURVE_GetDefaultKeyAttrRefCount();
    }
    /// Whether a key must not change the record, as others have it too. Always for the default record.
    bool IsShared() const { return mRefCount > 1; }
    void SetRefCount(std::uint32_t count) { mRefCount = count; }
    /// Not for the default record.
    void IncRefCount() { ++mRefCount; }
    /// Not for the default record. Returns what is left.
    std::uint32_t DecRefCount() { return --mRefCount; }

    /// Takes over flags and data of another record; the reference count stays.
    void SetWords(const YPriFCurveKeyAttr& source) { mWords = source.mWords; }

    /// Equal flags, and data words that compare equal as floats. Two different records whose weight or
    /// velocity bits happen to read as a float NaN are therefore never equal; they are just not shared.
    friend bool operator==(const YPriFCurveKeyAttr& a, const YPriFCurveKeyAttr& b)
    {
        if (&a == &b) return true;
        return a.mWords.flags == b.mWords.flags && a.mWords.data[0] == b.mWords.data[0] &&
               a.mWords.data[1] == b.mWords.data[1] && a.mWords.data[2] == b.mWords.data[2] &&
               a.mWords.data[3] == b.mWords.data[3];
    }

  private:
    friend class YFCurveKey;
    friend class YFCurveKeyAttributes<YPriFCurveKeyAttr>;

    YFCurveKeyWords mWords;
    std::uint32_t mRefCount;
};

/// Names an attribute record in 32 bits; 0 names none.
using YFCurveKeyAttrReference = std::uint32_t;

/// The key as a curve stores it, 64 to a block: 16 bytes.
class YPriFCurveKey
{
  public:
    YTime GetTime() const { return mTime; }
    void SetTime(YTime time) { mTime = time; }
    float GetValue() const { return mValue; }
    void SetValue(float value) { mValue = value; }
    /// Never 0 for a key inside the curve's count.
    YFCurveKeyAttrReference GetAttr() const { return mAttr; }
    void SetAttr(YFCurveKeyAttrReference attr) { mAttr = attr; }

  private:
    YTime mTime;
    YFCurveKeyAttrReference mAttr = 0;
    float mValue = 0.0f;
};

static_assert(sizeof(YFCurveKey) == 32 && sizeof(YPriFCurveKeyAttr) == 24 && sizeof(YPriFCurveKey) == 16);

inline YFCurveKey::YFCurveKey(const YPriFCurveKey& key, const YPriFCurveKeyAttr& attr)
    : mTime(key.GetTime()), mValue(key.GetValue()), mWords(attr.mWords)
{}

inline YPriFCurveKeyAttr YFCurveKey::GetKeyAttr() const
{
    YPriFCurveKeyAttr attr;
    attr.mWords = mWords;
    attr.mRefCount = 0;
    return attr;
}

/// One side's tangent of a key, for carrying it from one key to another.
class YFCurveTangeantInfo
{
  public:
    float Derivative = 0.0f;                ///< slope, value units per second
    float Weight = YFCURVE_DEFAULT_WEIGHT;  ///< handle length, as a fraction of the segment
    float Velocity = YFCURVE_DEFAULT_VELOCITY;
    float AutoValue = 0.0f;  ///< auto parameter of the side
    bool IsWeighted = false;
    bool HasVelocity = false;
};
