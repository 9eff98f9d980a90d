// Nearly all of a file is the table of numbers. Their digits are read eight at a time (number_text.h),
// without branches on their count or sign.

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>

#include <fmt/format.h>

#include "ymotion/formats/bvh.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
/// The longest time that ticks can count, with room to spare: about six years.
constexpr double kLongestMotion = 1.9e8;

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsLineEnd(char c)
{
    return c == '\n' || c == '\r';
}
bool IsBrace(char c)
{
    return c == '{' || c == '}';
}

/// Moves over the text and counts its lines.
class Cursor
{
  public:
    Cursor(std::string_view text, std::string_view file)
        : mAt(text.data()), mEnd(text.data() + text.size()), mFile(file)
    {
        if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) mAt += kByteOrderMark.size();
    }

    bool AtEnd() const { return mAt == mEnd; }
    char Peek() const { return *mAt; }
    std::int64_t Line() const { return mLine; }
    const char* Position() const { return mAt; }
    std::size_t Remaining() const { return static_cast<std::size_t>(mEnd - mAt); }

    void SkipSpace()
    {
        for (; mAt != mEnd && IsSpace(*mAt); ++mAt) {
            if (IsLineEnd(*mAt)) CountLineEnd();
        }
    }

    void SkipBlanks()
    {
        while (mAt != mEnd && IsSpace(*mAt) && !IsLineEnd(*mAt)) ++mAt;
    }

    /// The next word after any space: up to the next space or brace; a brace is a word of its own. Empty
    /// at the end of the text.
    std::string_view PeekWord()
    {
        SkipSpace();
        const char* end = mAt;
        if (end != mEnd && IsBrace(*end)) return {mAt, 1};
        while (end != mEnd && !IsSpace(*end) && !IsBrace(*end)) ++end;
        return {mAt, static_cast<std::size_t>(end - mAt)};
    }

    std::string_view ReadWord()
    {
        const std::string_view word = PeekWord();
        mAt += word.size();
        return word;
    }

    /// What is left of the line up to a brace, without blanks at its end.
    std::string_view ReadToBrace()
    {
        SkipBlanks();
        const char* begin = mAt;
        while (mAt != mEnd && !IsLineEnd(*mAt) && !IsBrace(*mAt)) ++mAt;
        const char* end = mAt;
        while (end != begin && IsSpace(end[-1])) --end;
        return {begin, static_cast<std::size_t>(end - begin)};
    }

    /// Steps over a character that is no line end.
    void Step() { ++mAt; }

    /// A number up to the next space, with the cursor on its first character. The straight path of the
    /// frame table: everything unusual is left to `ReadNumber`.
    bool ReadPlainFloat(float& value)
    {
        const char* const stop = ReadFloat(mAt, mEnd, value);
        if (stop == nullptr || (stop != mEnd && !IsSpace(*stop))) return false;
        mAt = stop;
        return true;
    }

    [[noreturn]] void Fail(std::string_view message) const { FailAt(mFile, mLine, message); }
    [[noreturn]] void FailAtLine(std::int64_t line, std::string_view message) const
    {
        FailAt(mFile, line, message);
    }

  private:
    /// CR LF counts once, at its LF.
    void CountLineEnd()
    {
        if (*mAt == '\n' || mAt + 1 == mEnd || mAt[1] != '\n') ++mLine;
    }

    const char* mAt;
    const char* mEnd;
    std::int64_t mLine = 1;
    std::string_view mFile;
};

/// "the end of the file", or the word in quotes.
std::string Described(std::string_view word)
{
    return word.empty() ? "the end of the file" : Quoted(word);
}

float ReadNumber(Cursor& cursor, std::string_view what)
{
    const std::string_view word = cursor.PeekWord();
    if (const std::optional<float> value = ParseFloat(word)) {
        cursor.ReadWord();
        return *value;
    }
    const char* advice = word.find(',') != std::string_view::npos ? "write decimals with a point"
                                                                  : "write a finite decimal number";
    cursor.Fail(fmt::format("expected a number for {}, found {}; {}", what, Described(word), advice));
}

class HierarchyReader
{
  public:
    explicit HierarchyReader(Cursor& cursor) : mCursor(cursor) {}

    /// Reads up to and including the word MOTION.
    Skeleton Read();

  private:
    /// A joint that is not closed yet.
    struct Open
    {
        int joint;
        std::int64_t line;
        bool hasOffset = false;
        bool hasChannels = false;
        bool hasChildren = false;
    };

    Joint& Current() { return mSkeleton.joints[static_cast<std::size_t>(mOpen.back().joint)]; }
    std::string CurrentName();

    bool ReadOutside();
    void ReadInside();
    void OpenJoint(bool endSite);
    void ReadOffset();
    void ReadChannels();
    void AddChannel(std::string_view word, std::size_t declared);
    void CloseJoint();
    std::string_view ReadName(bool optional);

    Cursor& mCursor;
    Skeleton mSkeleton;
    std::vector<Open> mOpen;
};

Skeleton HierarchyReader::Read()
{
    const std::string_view first = mCursor.PeekWord();
    if (first.empty()) mCursor.Fail("the file is empty; give a BVH or scene file");
    if (!EqualsNoCase(first, "HIERARCHY")) {
        mCursor.Fail(fmt::format(
            "this is not a BVH file: it begins with {} instead of HIERARCHY; give a BVH or scene file",
            Described(first)));
    }
    mCursor.ReadWord();
    for (;;) {
        if (!mOpen.empty()) {
            ReadInside();
        } else if (!ReadOutside()) {
            return std::move(mSkeleton);
        }
    }
}

/// Between roots. False at the word MOTION.
bool HierarchyReader::ReadOutside()
{
    const std::string_view word = mCursor.PeekWord();
    if (EqualsNoCase(word, "ROOT")) {
        mCursor.ReadWord();
        OpenJoint(false);
        return true;
    }
    if (EqualsNoCase(word, "MOTION") && !mSkeleton.joints.empty()) {
        mCursor.ReadWord();
        return false;
    }
    if (word == "}") mCursor.Fail("'}' without a '{'; remove it, or restore the brace that opens it");
    mCursor.Fail(fmt::format("expected ROOT{}, found {}; check that the hierarchy is complete",
                             mSkeleton.joints.empty() ? "" : " or MOTION", Described(word)));
}

void HierarchyReader::ReadInside()
{
    const std::string_view word = mCursor.PeekWord();
    if (word.empty() || EqualsNoCase(word, "MOTION")) {
        mCursor.Fail(fmt::format("{} inside {}, which line {} opens; add the missing '}}'",
                                 word.empty() ? "the file ends" : "MOTION stands", CurrentName(),
                                 mOpen.back().line));
    }
    mCursor.ReadWord();
    if (word == "}") return CloseJoint();
    if (EqualsNoCase(word, "OFFSET")) return ReadOffset();
    if (!Current().endSite) {
        if (EqualsNoCase(word, "CHANNELS")) return ReadChannels();
        if (EqualsNoCase(word, "JOINT")) return OpenJoint(false);
        if (EqualsNoCase(word, "End")) return OpenJoint(true);
    }
    mCursor.Fail(
        fmt::format("unexpected {} inside {}; expected {}", Quoted(word), CurrentName(),
                    Current().endSite ? "OFFSET or '}'" : "OFFSET, CHANNELS, JOINT, End Site or '}'"));
}

std::string HierarchyReader::CurrentName()
{
    if (Current().endSite) return "an end site";
    return fmt::format("joint {}", Quoted(Current().name));
}

std::string_view HierarchyReader::ReadName(bool optional)
{
    std::string_view name = mCursor.ReadToBrace();
    if (name.empty() && !optional) {
        mCursor.SkipSpace();
        name = mCursor.ReadToBrace();
        if (name.empty()) mCursor.Fail("a joint without a name; write one behind ROOT or JOINT");
    }
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    if (std::any_of(name.begin(), name.end(), isControl)) {
        mCursor.Fail(
            fmt::format("the joint name {} contains a control character; rename the joint", Quoted(name)));
    }
    return name;
}

/// Behind the word ROOT, JOINT or End.
void HierarchyReader::OpenJoint(bool endSite)
{
    if (endSite && !EqualsNoCase(mCursor.ReadWord(), "Site")) {
        mCursor.Fail("'End' without 'Site'; write 'End Site'");
    }
    // The end site of the deepest joint is allowed one level more.
    if (!endSite && mOpen.size() >= static_cast<std::size_t>(kDeepestJoint)) {
        mCursor.Fail(
            fmt::format("joints are nested more than {} deep; flatten the hierarchy", kDeepestJoint));
    }
    Joint joint;
    joint.endSite = endSite;
    const std::int64_t line = mCursor.Line();
    joint.name = ReadName(endSite);
    if (mCursor.PeekWord() != "{") {
        mCursor.Fail(fmt::format("expected '{{' for {}, found {}; open the joint with a brace",
                                 endSite ? "an end site" : fmt::format("joint {}", Quoted(joint.name)),
                                 Described(mCursor.PeekWord())));
    }
    mCursor.ReadWord();
    if (!mOpen.empty()) {
        joint.parent = mOpen.back().joint;
        mOpen.back().hasChildren = true;
    }
    mOpen.push_back({static_cast<int>(mSkeleton.joints.size()), line});
    mSkeleton.joints.push_back(std::move(joint));
}

void HierarchyReader::ReadOffset()
{
    if (mOpen.back().hasOffset) {
        mCursor.Fail(fmt::format("a second OFFSET for {}; keep one", CurrentName()));
    }
    for (float& component : Current().offset) component = ReadNumber(mCursor, "OFFSET");
    mOpen.back().hasOffset = true;
}

void HierarchyReader::ReadChannels()
{
    Open& open = mOpen.back();
    if (open.hasChannels) mCursor.Fail(fmt::format("a second CHANNELS for {}; keep one", CurrentName()));
    if (open.hasChildren) {
        mCursor.Fail(fmt::format("CHANNELS of {} behind its children; write it before them", CurrentName()));
    }
    open.hasChannels = true;
    const std::string_view word = mCursor.ReadWord();
    std::size_t count = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), count);
    if (word.empty() || error != std::errc() || stop != word.data() + word.size()) {
        mCursor.Fail(fmt::format("expected the number of channels of {}, found {}; write 'CHANNELS 3 ...'",
                                 CurrentName(), Described(word)));
    }
    if (count > kMostChannels) {
        mCursor.Fail(fmt::format("CHANNELS {} for {}, but a joint has {} at most; correct the count", count,
                                 CurrentName(), kMostChannels));
    }
    for (std::size_t i = 0; i < count; ++i) AddChannel(mCursor.PeekWord(), count);
    if (FindChannel(mCursor.PeekWord())) {
        mCursor.Fail(fmt::format("CHANNELS {} for {}, but more names follow; correct the count", count,
                                 CurrentName()));
    }
}

/// \param word  where the cursor stands; read when it is a channel.
void HierarchyReader::AddChannel(std::string_view word, std::size_t declared)
{
    constexpr std::array<std::string_view, 5> others{"JOINT", "End", "OFFSET", "CHANNELS", "MOTION"};
    const bool ends = word.empty() || IsBrace(word.front()) ||
                      std::any_of(others.begin(), others.end(),
                                  [word](std::string_view other) { return EqualsNoCase(word, other); });
    if (ends) {
        mCursor.Fail(fmt::format("CHANNELS {} for {}, but only {} names follow; correct the count", declared,
                                 CurrentName(), Current().channels.size()));
    }
    const std::optional<Channel> channel = FindChannel(word);
    if (!channel) {
        mCursor.Fail(fmt::format("unknown channel {} of {}; channels are [XYZ]position and [XYZ]rotation",
                                 Quoted(word), CurrentName()));
    }
    if (Current().Has(*channel)) {
        mCursor.Fail(fmt::format("channel {} twice for {}; remove one", Quoted(word), CurrentName()));
    }
    Current().channels.push_back(*channel);
    mCursor.ReadWord();
}

void HierarchyReader::CloseJoint()
{
    if (!mOpen.back().hasOffset) {
        mCursor.Fail(
            fmt::format("{} has no OFFSET; write one, 'OFFSET 0 0 0' if it has no length", CurrentName()));
    }
    mOpen.pop_back();
}

/// Reads "Frames:" or "Frame Time:" up to the colon, whatever the blanks.
void ReadLabel(Cursor& cursor, std::string_view label)
{
    cursor.SkipSpace();
    const std::int64_t line = cursor.Line();
    for (const char expected : label) {
        cursor.SkipBlanks();
        if (expected == ' ') continue;
        const bool matches = !cursor.AtEnd() && LowerCase(cursor.Peek()) == LowerCase(expected);
        if (!matches)
            cursor.FailAtLine(line, fmt::format("expected '{}' and a number; add that line", label));
        cursor.Step();
    }
}

std::int64_t ReadFrameCount(Cursor& cursor)
{
    ReadLabel(cursor, "Frames:");
    const std::string_view word = cursor.PeekWord();
    std::int64_t count = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), count);
    const bool whole = !word.empty() && error == std::errc() && stop == word.data() + word.size();
    if (!whole || count < 0 || count > std::numeric_limits<int>::max()) {
        cursor.Fail(fmt::format("expected a number of frames, found {}; write a whole number from 0 to {}",
                                Described(word), std::numeric_limits<int>::max()));
    }
    cursor.ReadWord();
    return count;
}

void ReadFrameTime(Cursor& cursor, BvhMotion& motion)
{
    ReadLabel(cursor, "Frame Time:");
    const std::string_view word = cursor.PeekWord();
    const std::optional<FrameRate> rate = RateOfFrameTime(word);
    if (!rate) {
        cursor.Fail(fmt::format("expected a frame time, found {}; write seconds from {} to {}",
                                Described(word), "0.000001", "1000000"));
    }
    if (static_cast<double>(motion.frameCount) * rate->SecondsPerFrame() > kLongestMotion) {
        cursor.Fail(fmt::format("{} frames of {} seconds are more than six years; correct the frame time",
                                motion.frameCount, word));
    }
    cursor.ReadWord();
    motion.frameTime = word;
    motion.rate = *rate;
}

/// Reads the frame table.
class FrameReader
{
  public:
    FrameReader(Cursor& cursor, BvhMotion& motion)
        : mCursor(cursor), mMotion(motion), mChannels(motion.skeleton.ChannelCount())
    {}

    /// \param countLine  where the number of frames is given.
    void Read(std::int64_t countLine);

  private:
    void CheckRoom(std::int64_t countLine) const;
    void ReadFrame(std::int64_t frame);
    [[noreturn]] void FailInLine(std::int64_t frame) const;
    [[noreturn]] void FailTruncated(std::int64_t frame, std::size_t channel) const;

    Cursor& mCursor;
    BvhMotion& mMotion;
    std::size_t mChannels;
    const char* mFrameBegin = nullptr;
    std::int64_t mFrameLine = 0;
};

void FrameReader::Read(std::int64_t countLine)
{
    if (mChannels > 0) {
        CheckRoom(countLine);
        mMotion.samples.reserve(static_cast<std::size_t>(mMotion.frameCount) * mChannels);
        for (std::int64_t frame = 0; frame < mMotion.frameCount; ++frame) {
            StopIfAsked();
            ReadFrame(frame);
        }
    }
    mCursor.SkipSpace();
    if (mCursor.AtEnd()) return;
    mCursor.Fail(fmt::format("more text behind the {} frames that line {} declares; correct 'Frames:'",
                             mMotion.frameCount, countLine));
}

/// Every number takes a character and a space at least, the last one no space.
void FrameReader::CheckRoom(std::int64_t countLine) const
{
    const std::size_t most = (mCursor.Remaining() + 1) / 2 / mChannels;
    if (static_cast<std::size_t>(mMotion.frameCount) <= most) return;
    mCursor.FailAtLine(
        countLine, fmt::format("{} frames of {} numbers do not fit into the {} bytes that follow; the file "
                               "is truncated, or 'Frames:' is too large",
                               mMotion.frameCount, mChannels, mCursor.Remaining()));
}

void FrameReader::ReadFrame(std::int64_t frame)
{
    mCursor.SkipSpace();
    mFrameBegin = mCursor.Position();
    mFrameLine = mCursor.Line();
    for (std::size_t channel = 0; channel < mChannels; ++channel) {
        mCursor.SkipSpace();
        float value = 0;
        if (!mCursor.ReadPlainFloat(value)) {
            if (mCursor.AtEnd()) FailTruncated(frame, channel);
            value = ReadNumber(mCursor, fmt::format("frame {}", frame + 1));
        }
        mMotion.samples.push_back(value);
    }
    mCursor.SkipBlanks();
    if (!mCursor.AtEnd() && !IsLineEnd(mCursor.Peek())) FailInLine(frame);
}

void FrameReader::FailInLine(std::int64_t frame) const
{
    // Counted again from the start of the frame: the line to blame is the one that has a number too few or
    // too many, not the one where the surplus shows.
    const char* end = mFrameBegin + (mCursor.Position() - mFrameBegin) + mCursor.Remaining();
    std::size_t words = 0;
    bool inside = false;
    for (const char* at = mFrameBegin; at != end && !IsLineEnd(*at); ++at) {
        if (!IsSpace(*at) && !inside) ++words;
        inside = !IsSpace(*at);
    }
    mCursor.FailAtLine(mFrameLine,
                       fmt::format("frame {} has {} numbers on its line, but the hierarchy declares "
                                   "{} channels; correct the line or the hierarchy",
                                   frame + 1, words, mChannels));
}

void FrameReader::FailTruncated(std::int64_t frame, std::size_t channel) const
{
    const std::string where =
        channel == 0 ? fmt::format("before frame {}", frame + 1)
                     : fmt::format("in frame {} after {} of {} numbers", frame + 1, channel, mChannels);
    mCursor.FailAtLine(
        channel == 0 ? mCursor.Line() : mFrameLine,
        fmt::format("the file ends {}, but {} frames are declared; it is truncated, or 'Frames:' "
                    "is too large",
                    where, mMotion.frameCount));
}

}  // namespace

bool IsBvh(std::string_view text)
{
    Cursor cursor(text, {});
    return EqualsNoCase(cursor.PeekWord(), "HIERARCHY");
}

BvhMotion ParseBvh(std::string_view text, std::string_view file)
{
    Cursor cursor(text, file);
    BvhMotion motion;
    motion.skeleton = HierarchyReader(cursor).Read();
    motion.frameCount = ReadFrameCount(cursor);
    const std::int64_t countLine = cursor.Line();
    ReadFrameTime(cursor, motion);
    FrameReader(cursor, motion).Read(countLine);
    return motion;
}

}  // namespace ymotion
