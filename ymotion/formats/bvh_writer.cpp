#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include <fmt/format.h>

#include "ybaselib/core/standardlibrary.h"
#include "ymotion/formats/bvh.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// A channel of the frame table: what plays, or the constant that stands for a missing curve.
struct Column
{
    std::optional<PlayedCurve> curve;
    float constant = 0;

    float At(YTime time) { return curve ? curve->At(time) : constant; }
};

/// The skeleton as text; a joint is closed when the next one does not lie inside it.
class HierarchyWriter
{
  public:
    explicit HierarchyWriter(const Skeleton& skeleton) : mSkeleton(skeleton) {}

    std::string Write()
    {
        mText = "HIERARCHY\n";
        for (std::size_t i = 0; i < mSkeleton.joints.size(); ++i) {
            const Joint& joint = mSkeleton.joints[i];
            while (!mOpen.empty() && mOpen.back() != joint.parent) Close();
            OpenJoint(joint);
            mOpen.push_back(static_cast<int>(i));
        }
        while (!mOpen.empty()) Close();
        return std::move(mText);
    }

  private:
    std::string& Line() { return mText.append(mOpen.size(), '\t'); }

    void OpenJoint(const Joint& joint)
    {
        Line() += joint.endSite ? "End Site" : joint.parent < 0 ? "ROOT" : "JOINT";
        if (!joint.name.empty()) mText.append(" ").append(joint.name);
        mText += '\n';
        Line() += "{\n";
        Line() += "\tOFFSET";
        for (const float component : joint.offset) AppendFloat(mText += ' ', component);
        mText += '\n';
        if (joint.endSite) return;
        Line().append("\tCHANNELS ").append(std::to_string(joint.channels.size()));
        for (const Channel channel : joint.channels) {
            mText.append(" ").append(ChannelName(channel));
        }
        mText += '\n';
    }

    void Close()
    {
        mOpen.pop_back();
        Line() += "}\n";
    }

    const Skeleton& mSkeleton;
    std::vector<int> mOpen;
    std::string mText;
};

/// The curve of a channel with what it hangs on; all null where the tree has none.
SelectedCurve FindCurve(const YFCurveNode& joint, Channel channel)
{
    YFCurveNode* property = PropertyOf(joint, channel.kind);
    const YFCurveNode* node = property == nullptr ? nullptr : property->Get(static_cast<int>(channel.axis));
    if (node == nullptr || node->FCurveGet() == nullptr) return {};
    return {node->FCurveGet(), node, property};
}

/// Gives a joint channels for the axes, too, along which its translation plays without: in front, as readers expect.
void FitTranslationChannels(Joint& joint, const YFCurveNode& translation)
{
    const Joint before = joint;  // layers count for joints without such channels alone
    for (auto axis = kAxes.rbegin(); axis != kAxes.rend(); ++axis) {
        const Channel channel{ChannelKind::Translation, *axis};
        if (!before.Has(channel) && PlacesAlong(before, translation, *axis))
            joint.channels.insert(joint.channels.begin(), channel);
    }
}

/// The skeleton with channels for all that plays.
Skeleton PlayedSkeleton(const Scene& scene, const std::optional<TimeSpan>& span)
{
    Skeleton skeleton = scene.skeleton;
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i) {
        const YFCurveNode* node = scene.jointNodes[i];
        if (node == nullptr) continue;
        const YFCurveNode* translation = PropertyOf(*node, ChannelKind::Translation);
        YFCurveNode* rotation = PropertyOf(*node, ChannelKind::Rotation);
        if (translation != nullptr) FitTranslationChannels(skeleton.joints[i], *translation);
        if (rotation != nullptr) FitRotationChannels(skeleton.joints[i], *rotation, span, scene.rate);
    }
    return skeleton;
}

std::vector<Column> ColumnsOf(const Scene& scene, const Skeleton& skeleton)
{
    std::vector<Column> columns;
    std::vector<std::size_t> places;
    std::vector<SelectedCurve> curves;
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i) {
        const Joint& joint = skeleton.joints[i];
        for (const Channel channel : joint.channels) {
            const SelectedCurve found = FindCurve(*scene.jointNodes[i], channel);
            if (found.curve != nullptr) {
                places.push_back(columns.size());
                curves.push_back(found);
            }
            const bool translates = channel.kind == ChannelKind::Translation;
            columns.push_back({{}, translates ? joint.offset[static_cast<std::size_t>(channel.axis)] : 0.0f});
        }
    }
    const std::vector<PlayedCurve> played = PlayedCurves(curves);
    for (std::size_t i = 0; i < played.size(); ++i) columns[places[i]].curve = played[i];
    return columns;
}

/// The duration of a frame: as the scene's file wrote it, else in as many digits as its rate takes. A few digits count as
/// rounded where they are read, so that 0.08 would mean 13 frames a second and 0.0800 means 12.5.
std::string FrameTimeText(const Scene& scene)
{
    if (!scene.frameTime.empty()) return scene.frameTime;
    std::array<char, 400> buffer;
    const auto [end, error] = ybase::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                              scene.rate.SecondsPerFrame(), std::chars_format::fixed);
    const std::string shortest(buffer.data(), end);
    constexpr std::size_t kMostZeros = 9;
    for (std::size_t zeros = 0; zeros <= kMostZeros; ++zeros) {
        const std::string text = shortest + std::string(zeros, '0');
        if (RateOfFrameTime(text) == scene.rate) return text;
    }
    return shortest;
}

/// Whether a reader finds a name again.
bool IsBvhName(std::string_view name)
{
    const auto isOdd = [](unsigned char c) { return c < 0x20 || c == 0x7F || c == '{' || c == '}'; };
    if (name.empty() || name.front() == ' ' || name.back() == ' ') return false;
    return std::none_of(name.begin(), name.end(), isOdd);
}

/// Scenes come from other files than BVH, too, which can hold more.
void CheckFits(const Scene& scene, std::int64_t frames)
{
    constexpr const char* kInstead = "write a scene file (.ytalo) instead";
    if (!scene.HasSkeleton()) {
        throw Failure(
            fmt::format("{}: has no skeleton, without which there is no BVH file; {}", scene.file, kInstead));
    }
    for (const Joint& joint : scene.skeleton.joints) {
        if ((joint.endSite && joint.name.empty()) || IsBvhName(joint.name)) continue;
        throw Failure(fmt::format("{}: a BVH file cannot hold the joint name {}; rename the joint, or {}",
                                  scene.file, Quoted(joint.name), kInstead));
    }
    if (frames > std::numeric_limits<int>::max()) {
        throw Failure(
            fmt::format("{}: {} frames are too many for a BVH file; {}", scene.file, frames, kInstead));
    }
}

}  // namespace

Skeleton WriteBvh(const Scene& scene, Output& out)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    const std::int64_t frames = FrameCount(span, scene.rate);
    CheckFits(scene, frames);
    Skeleton skeleton = PlayedSkeleton(scene, span);
    out.Write(HierarchyWriter(skeleton).Write());
    out.Write(fmt::format("MOTION\nFrames: {}\nFrame Time: {}\n", frames, FrameTimeText(scene)));
    std::vector<Column> columns = ColumnsOf(scene, skeleton);
    std::string line;
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        StopIfAsked();
        const YTime time = TimeOfFrame(span->start, frame, scene.rate);
        line.clear();
        for (Column& column : columns) {
            const float value = column.At(time);
            if (!std::isfinite(value)) {
                throw Failure(
                    fmt::format("{}: a value at {} s is not finite, which BVH files cannot hold; "
                                "'yfcurve eval' shows which one",
                                scene.file, SecondsText(time)));
            }
            AppendFloat(line, value);
            line += ' ';
        }
        line.back() = '\n';
        out.Write(line);
    }
    return skeleton;
}

}  // namespace ymotion
