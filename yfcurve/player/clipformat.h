#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/player/hermite.h"

/// \file
/// A clip in memory, which is the same as in a file: a header and sections of plain records, each section at
/// a multiple of 64 bytes. Whatever refers to something else does so by index.

namespace yfc {

inline constexpr std::array<char, 8> kClipMagic = {'Y', 'F', 'C', 'L', 'I', 'P', '\r', '\n'};
inline constexpr std::uint32_t kClipVersion = 1;
inline constexpr std::uint32_t kClipByteOrder = 0x01020304;  // reads otherwise on other machines
inline constexpr std::size_t kClipAlignment = 64;

enum EClipSection : std::uint32_t
{
    kClipUnits,
    kClipBlocks,
    kClipTimes,
    kClipFloats,
    kClipDoubles,
    kClipWords,
    kClipOrder,
    kClipConstants,
    kClipPlaces,
    kClipOps,
    kClipRules,
    kClipTurns,
    kClipNameStarts,
    kClipNames,
    kClipSectionCount
};

struct ClipSection
{
    std::uint64_t offset;  ///< in bytes, from the header
    std::uint64_t count;   ///< of elements
};

struct ClipHeader
{
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t byteOrder;
    std::uint64_t size;          ///< of all, in bytes
    std::uint32_t valueCount;    ///< the clip's channels
    std::uint32_t placeCount;    ///< these, and then what layers are combined of
    std::uint32_t slotCount;     ///< of the operations: first one for each value
    std::uint32_t domainCount;   ///< times: 0 is that of the scene, further ones come from time warps
    std::uint64_t segmentCount;  ///< see `YFCurveClip::GetSegmentCount`
    std::int64_t start;
    std::int64_t stop;
    std::array<ClipSection, kClipSectionCount> sections;
};

enum class EClipUnit : std::uint8_t
{
    /// Channels with common key times. Row by row: the values of all channels, their slopes before the key
    /// and those behind it, which are left out where no key of the unit has two different ones (stride 2).
    /// Such units are kept in double precision (wide) unless that makes them too large for a processor's
    /// caches.
    Rows,
    /// Channels with key times of their own, constant outside them, cut into blocks of time. Each block has
    /// all that its time takes, so that playing stays in little memory: channel by channel the keys from the
    /// last one at or before its start to the first one at or behind its end, value and slopes as above.
    /// Beside them, for the keys inside in the order of their times, which channel has that key.
    Stream
};

struct ClipUnit
{
    EClipUnit kind;
    std::uint8_t stride;
    std::uint8_t holds;   ///< whether a slope is `kHolds`
    std::uint8_t isWide;  ///< rows: `floats` counts in the section of doubles
    std::uint32_t domain;
    std::uint32_t channelCount;
    std::uint32_t blockCount;  ///< 0 for rows
    std::uint32_t preMode;
    std::uint32_t preCount;
    std::uint32_t postMode;
    std::uint32_t postCount;
    std::uint64_t keyCount;  ///< rows, or the keys of all channels together
    std::uint64_t places;    ///< these are indices of the first element in their sections
    std::uint64_t times;     ///< of rows, as the next one
    std::uint64_t floats;
    std::uint64_t blocks;
    std::int64_t base;  ///< of a stream: all its times are less than `kLongestSampled` away from it
};

struct ClipBlock
{
    std::int64_t start;  ///< of the time that it is for; before that another block, or any time
    std::uint64_t times;
    std::uint64_t floats;
    std::uint64_t firstKeys;  ///< of each channel, counted in the block, and one behind the last
    std::uint64_t order;
    std::uint64_t orderCount;
};

/// The largest unit that is kept wide, in bytes.
inline constexpr std::uint64_t kMostWide = std::uint64_t{4} << 20;

/// How many keys each channel has in a block on average.
inline constexpr std::uint64_t kBlockKeys = 32;
inline constexpr std::uint32_t kMostStreamed = 0xFFFF;

struct ClipConstant
{
    std::uint32_t place;
    float value;
};

/// Where the values of a place come from: a column of a unit, a constant, or operations.
struct ClipPlace
{
    static constexpr std::uint32_t kConstant = 0xFFFFFFFF;
    static constexpr std::uint32_t kComputed = 0xFFFFFFFE;

    std::uint32_t unit;
    std::uint32_t column;
};

/// Files have these numbers: further ones come last.
enum class EClipOp : std::uint8_t
{
    Channel,   ///< the slot becomes the value of the place `from`
    Constant,  ///< `count` slots become `value`
    Blend,     ///< `count` slots combine with those at `from`, by the rule `index`
    Turn,      ///< three slots, angles, become those of the table `index` where it has quaternions turn
    Warp,      ///< the time of domain `index` becomes what the slot says in seconds
    Output,    ///< `count` slots are the values from `index` on
    Weight     ///< the rule `index` has the value of the place `from` as its weight from here on
};

struct ClipOp
{
    EClipOp type;
    std::uint8_t unused;
    std::uint16_t count;
    std::uint32_t slot;
    std::uint32_t from;
    std::uint32_t index;
    double value;
};

/// How a layer combines: see `LayerBlend`.
struct ClipRule
{
    static constexpr std::uint32_t kNoLayer = 0xFFFFFFFF;

    std::uint8_t kind;
    std::uint8_t order;
    std::uint16_t unused;
    std::int32_t mode;
    double weight;         ///< where there is no layer to be asked, and no operation gives another one
    std::uint32_t layer;   ///< of the host; means nothing in a file
    std::uint32_t domain;  ///< whose time the weight is asked for
};

/// The key times of a rotation's three curves, and four floats for each: the angles there, and whether they
/// turn as quaternions up to the next time (1) or not (0).
struct ClipTurns
{
    std::uint32_t domain;
    std::int32_t order;
    std::uint64_t count;
    std::uint64_t times;
    std::uint64_t floats;
};

/// The sections of a clip.
struct ClipView
{
    const ClipHeader* header = nullptr;
    std::span<const ClipUnit> units;
    std::span<const ClipBlock> blocks;
    std::span<const std::int64_t> times;
    std::span<const float> floats;
    std::span<const double> doubles;
    std::span<const std::uint32_t> words;
    std::span<const std::uint16_t> order;
    std::span<const ClipConstant> constants;
    std::span<const ClipPlace> places;
    std::span<const ClipOp> ops;
    std::span<const ClipRule> rules;
    std::span<const ClipTurns> turns;
    std::span<const std::uint32_t> nameStarts;
    std::span<const char> names;

    /// The blocks of a stream.
    std::span<const ClipBlock> BlocksOf(const ClipUnit& unit) const
    {
        return blocks.subspan(unit.blocks, unit.blockCount);
    }

    /// Checks everything about the bytes that playing relies on, and refers to them. Throws when memory runs
    /// out.
    static bool Open(std::span<const std::byte> bytes, ClipView& view);
};

/// What is to become a clip.
struct ClipParts
{
    std::uint32_t valueCount = 0;
    std::uint32_t slotCount = 0;
    std::uint32_t domainCount = 1;
    std::uint64_t segmentCount = 0;
    std::int64_t start = 0;
    std::int64_t stop = 0;
    std::vector<ClipUnit> units;
    std::vector<ClipBlock> blocks;
    std::vector<std::int64_t> times;
    std::vector<float> floats;
    std::vector<double> doubles;
    std::vector<std::uint32_t> words;
    std::vector<std::uint16_t> order;
    std::vector<ClipConstant> constants;
    std::vector<ClipPlace> places;
    std::vector<ClipOp> ops;
    std::vector<ClipRule> rules;
    std::vector<ClipTurns> turns;
    std::vector<std::uint32_t> nameStarts;
    std::vector<char> names;
};

/// Memory as aligned as sections are.
struct alignas(kClipAlignment) ClipChunk
{
    std::array<std::byte, kClipAlignment> bytes;
};

/// Throws when memory runs out.
std::vector<ClipChunk> Written(const ClipParts& parts);

/// Which block of a stream a time is in.
std::size_t BlockAt(std::span<const ClipBlock> blocks, YTime time);

/// The keys of one channel, wherever they stand; of a stream, those in one block.
struct KeyColumn
{
    const std::int64_t* times;
    const float* values;
    const double* wide;  ///< instead of these, unless null
    std::size_t step;    ///< from key to key
    std::size_t in;      ///< from a value to the slope before the key
    std::size_t out;     ///< and to that behind it
    std::uint32_t count;
    std::uint32_t preMode;
    std::uint32_t preCount;
    std::uint32_t postMode;
    std::uint32_t postCount;

    /// \param block  0 in rows
    KeyColumn(const ClipView& clip, const ClipUnit& unit, std::uint32_t column, std::size_t block);

    YTime Time(std::uint32_t key) const { return YTime(times[key]); }
    float Value(std::uint32_t key) const { return Number(key * step); }
    float In(std::uint32_t key) const { return Number(key * step + in); }
    float Out(std::uint32_t key) const { return Number(key * step + out); }
    float Number(std::size_t index) const
    {
        return wide != nullptr ? static_cast<float>(wide[index]) : values[index];
    }
    Outside Before() const { return {Time(0), Time(count - 1), preMode, preCount}; }
    Outside After() const { return {Time(0), Time(count - 1), postMode, postCount}; }

    /// The last key at or before a time that is not before the first.
    /// \param hint  where to look first, anything below the count.
    std::uint32_t Find(YTime time, std::uint32_t hint) const;
    OneSegment SegmentFrom(std::uint32_t key) const;

    float At(YTime time, std::uint32_t& hint) const;
};

/// Where a time lies among keys.
struct KeyMoment
{
    enum EPlace : std::uint8_t
    {
        OnKey,
        Between,  ///< this key and the next
        OnLine    ///< which goes on from this end key
    };
    EPlace place;
    std::uint32_t key;
    HermiteWeights weights;
    double seconds;
};

KeyMoment MomentOf(const KeyColumn& keys, YTime time, std::uint32_t& hint);

inline double TicksBetween(YTime from, YTime to)
{
    return static_cast<double>(static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get()));
}

}  // namespace yfc
