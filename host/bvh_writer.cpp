#include <array>
#include <charconv>

#include <fmt/format.h>

#include "host/bvh.h"
#include "host/file_io.h"
#include "host/number_text.h"

namespace host {
namespace {

/// A channel of the frame table: its curve, or the constant that stands for a missing one.
struct Column
{
    const YFCurve* curve = nullptr;
    float constant = 0;
    int hint = 0;

    float At(YTime time) { return curve != nullptr ? curve->Evaluate(time, &hint) : constant; }
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
            mText.append(" ").append(kAxisNames[static_cast<std::size_t>(channel.axis)]);
            mText += channel.kind == ChannelKind::Translation ? "position" : "rotation";
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

std::vector<Column> ColumnsOf(const Scene& scene)
{
    std::vector<Column> columns;
    columns.reserve(scene.skeleton.ChannelCount());
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        for (const Channel channel : joint.channels) {
            const bool translates = channel.kind == ChannelKind::Translation;
            const float rest = translates ? joint.offset[static_cast<std::size_t>(channel.axis)] : 0.0f;
            columns.push_back({CurveOf(*scene.jointNodes[i], channel), rest});
        }
    }
    return columns;
}

/// The duration of a frame: as the scene's file wrote it, else with all digits.
std::string FrameTimeText(const Scene& scene)
{
    if (!scene.frameTime.empty()) return scene.frameTime;
    std::array<char, 400> buffer;
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                            scene.rate.SecondsPerFrame(), std::chars_format::fixed);
    return {buffer.data(), end};
}

}  // namespace

void WriteBvh(const Scene& scene, OutputFile& out)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    const std::int64_t frames = span ? LastFrame(span->stop - span->start, scene.rate) + 1 : 0;
    out.Write(HierarchyWriter(scene.skeleton).Write());
    out.Write(fmt::format("MOTION\nFrames: {}\nFrame Time: {}\n", frames, FrameTimeText(scene)));
    std::vector<Column> columns = ColumnsOf(scene);
    std::string line;
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        const YTime time = span->start + TimeOfFrame(frame, scene.rate);
        line.clear();
        for (Column& column : columns) {
            AppendFloat(line, column.At(time));
            line += ' ';
        }
        line.back() = '\n';
        out.Write(line);
    }
}

}  // namespace host
