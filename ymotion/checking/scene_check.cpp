#include "ymotion/checking/scene_check.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include <fmt/format.h>

#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

/// From here on, neighbouring numbers of single precision are more than 1 apart.
constexpr float kCoarse = 16'777'216.0f;

/// How often something was met, and where first.
struct Tally
{
    long long count = 0;
    std::string path;
    std::optional<YTime> time;

    void Add(const std::string& at, std::optional<YTime> when = std::nullopt)
    {
        if (count++ > 0) return;
        path = at;
        time = when;
    }
};

class Checker
{
  public:
    Checker(const Scene& scene, const FileAge& age) : mScene(scene), mAge(age), mSpan(KeySpan(scene)) {}

    std::vector<Finding> Check()
    {
        CheckReading();
        CheckCurves();
        CheckChannels();
        CheckNames();
        CheckTurns();
        CheckSpan();
        CheckRate();
        CheckLayers();
        std::stable_partition(mFindings.begin(), mFindings.end(),
                              [](const Finding& finding) { return finding.isWrong; });
        return std::move(mFindings);
    }

  private:
    Finding& Add(bool isWrong, const char* what, std::string text)
    {
        Finding finding;
        finding.isWrong = isWrong;
        finding.what = what;
        finding.text = std::move(text);
        mFindings.push_back(std::move(finding));
        return mFindings.back();
    }
    Finding& Wrong(const char* what, std::string text) { return Add(true, what, std::move(text)); }
    Finding& Note(const char* what, std::string text) { return Add(false, what, std::move(text)); }

    /// "3 key values are not finite, the first of them of Hips/Lcl Rotation/X at 0.5 s"; nothing for none.
    void AddTally(bool isWrong, const char* what, const Tally& tally, std::string_view one,
                  std::string_view several)
    {
        if (tally.count == 0) return;
        std::string text = Counted(tally.count, one, several);
        text += fmt::format(": {}{}", tally.count == 1 ? "" : "first ", tally.path);
        if (tally.time) text += fmt::format(" at {} s", ShortSecondsText(*tally.time));
        Finding& finding = Add(isWrong, what, std::move(text));
        finding.count = tally.count;
        finding.path = tally.path;
        finding.time = tally.time;
    }

    void CheckReading()
    {
        for (const LeftOut& each : mScene.leftOut) {
            Finding& finding = Add(IsDamage(each), "left out", LeftOutText(each));
            finding.count = each.count;
            finding.line = each.line;
        }
        if (!mAge.hasEndMark) {
            Note("no end mark",
                 "has no mark at its end, by which a cut would be noticed; what writes it anew adds one");
        }
        const int layout = WrittenKeyLayout();
        if (mAge.oldestKeys.value_or(layout) < layout) {
            Note("older keys", fmt::format("has keys of the older layout {}; written anew, they get {}",
                                           *mAge.oldestKeys, layout));
        }
        if (mAge.newestKeys.value_or(layout) > layout) {
            Wrong("newer keys", fmt::format("has keys of the layout {}, of which only what {} has is read; "
                                            "update this program",
                                            *mAge.newestKeys, layout));
        }
        if (!mScene.foreignFields.empty())
            Note("foreign fields", "has fields of other programs beside its curves, which are kept");
    }

    /// Every curve of every layer.
    void CheckCurves()
    {
        FindFrames();
        for (const NamedProperty& property : NamedProperties(mScene)) {
            for (const YFCurveNode* node = property.node; node != nullptr; node = node->LayerGet()) {
                const std::string path = Printable(property.path);
                const Layer* layer = mScene.layers.Find(node->GetLayerID());
                const std::string on = node == property.node || layer == nullptr
                                           ? ""
                                           : fmt::format(" on layer {}", Printable(layer->Name()));
                if (const YFCurve* curve = node->FCurveGet()) CheckCurve(*node, *curve, path + on);
                for (int i = 0; i < node->GetCount(); ++i) {
                    const YFCurve* curve = node->Get(i)->FCurveGet();
                    if (curve == nullptr) continue;
                    const std::string name = Printable(node->Get(i)->GetName());
                    CheckCurve(*node, *curve, fmt::format("{}/{}{}", path, name, on));
                }
            }
        }
        AddTally(true, "not finite", mNotFinite, "value or slope is no finite number",
                 "values or slopes are no finite numbers");
        AddTally(true, "overflow", mOverflow, "segment between keys leaves what single precision holds",
                 "segments between keys leave what single precision holds");
        AddTally(false, "large values", mLarge,
                 "key has a value beyond 16,777,216, where steps of single precision are wider than 1",
                 "keys have values beyond 16,777,216, where steps of single precision are wider than 1");
        AddTally(false, "far times", mFar, "key lies beyond 100,000,000 s, the last time that options take",
                 "keys lie beyond 100,000,000 s, the last time that options take");
        AddBetween();
    }

    /// \param layer  the node of the property's layer that the curve is on.
    void CheckCurve(const YFCurveNode& layer, const YFCurve& curve, const std::string& path)
    {
        mKeys[layer.GetLayerID()] += curve.KeyGetCount();
        if (!std::isfinite(curve.GetValue())) mNotFinite.Add(path);
        int hint = 0;
        for (int i = 0; i < curve.KeyGetCount(); ++i) {
            const YTime time = curve.KeyGetTime(i);
            const float value = curve.KeyGetValue(i);
            const bool isFinite = std::isfinite(value) && std::isfinite(curve.KeyGetLeftDerivative(i)) &&
                                  std::isfinite(curve.KeyGetRightDerivative(i));
            if (!isFinite) mNotFinite.Add(path, time);
            if (isFinite && std::abs(value) > kCoarse) mLarge.Add(path, time);
            if (std::abs(time.GetSecondDouble()) > kMostSeconds) mFar.Add(path, time);
            if (const YTime apart = FromFrame(mFramesFrom, time); apart > YTIME_ZERO) {
                mBetween.Add(path, time);
                mFarthest = std::max(mFarthest, apart);
            }
            if (!isFinite || i + 1 == curve.KeyGetCount()) continue;
            const YTime middle = TimeSpan{time, curve.KeyGetTime(i + 1)}.At(0.5);
            if (!std::isfinite(curve.Evaluate(middle, &hint)) && std::isfinite(curve.KeyGetValue(i + 1)))
                mOverflow.Add(path, middle);
        }
    }

    /// How far a time is from the nearest frame, counted from another one; nothing for what rounding does.
    YTime FromFrame(YTime counted, YTime time) const
    {
        const YTime since = TimeSpan{std::min(counted, time), std::max(counted, time)}.Length();
        const std::int64_t frame = LastFrame(since, mScene.rate);
        const YTime before = since - TimeOfFrame(frame, mScene.rate);
        const YTime after = TimeOfFrame(frame + 1, mScene.rate) - since;
        const YTime apart = std::min(YTime(std::abs(before.Get())), YTime(std::abs(after.Get())));
        return apart > kFrameRounding ? apart : YTIME_ZERO;
    }

    /// Finds the frames that most keys stand on: of all times within rounding of one place between two frames, the
    /// most; of as many those of the earliest key.
    void FindFrames()
    {
        if (!mSpan) return;
        struct Placed
        {
            YTime place;  // since the frame before
            YTime time;
        };
        std::vector<Placed> keys;
        for (const NamedProperty& property : NamedProperties(mScene)) {
            VisitNodesAndLayers(*property.node, [&](const YFCurveNode& node) {
                const YFCurve* curve = node.FCurveGet();
                for (int i = 0; curve != nullptr && i < curve->KeyGetCount(); ++i) {
                    const YTime since = TimeSpan{mSpan->start, curve->KeyGetTime(i)}.Length();
                    const YTime place = since - TimeOfFrame(LastFrame(since, mScene.rate), mScene.rate);
                    keys.push_back({place, curve->KeyGetTime(i)});
                }
            });
        }
        std::sort(keys.begin(), keys.end(),
                  [](const Placed& a, const Placed& b) { return a.place < b.place; });
        // Places at the end of a frame are close to those at its start.
        const std::size_t count = keys.size();
        const YTime frame = TimeOfFrame(1, mScene.rate);
        for (std::size_t i = 0; i < count; ++i) keys.push_back({keys[i].place + frame, keys[i].time});
        std::size_t most = 0;
        for (std::size_t first = 0, last = 0; first < count; ++first) {
            while (last < first + count && keys[last].place - keys[first].place <= kFrameRounding) ++last;
            YTime earliest = keys[first].time;
            if (last - first < most) continue;
            for (std::size_t i = first; i < last; ++i) earliest = std::min(earliest, keys[i].time);
            if (last - first > most || earliest < mFramesFrom) mFramesFrom = earliest;
            most = last - first;
        }
    }

    void AddBetween()
    {
        AddTally(false, "between frames", mBetween, "key stands between the frames of the others",
                 "keys stand between the frames of the others");
        if (mBetween.count == 0) return;
        std::string& text = mFindings.back().text;
        const double frames = mFarthest.GetSecondDouble() / mScene.rate.SecondsPerFrame();
        text += fmt::format(", by {} of a frame{}",
                            frames < 1e-6 ? "less than 0.000001" : fmt::format("{:.3g}", frames),
                            mBetween.count == 1 ? "" : " at most");
        if (FromFrame(mFramesFrom, mSpan->start) == YTIME_ZERO) {
            text += "; a BVH file has what plays at the frames alone";
        } else {
            text += "; those of a BVH file begin with the first key, and would fall between the other keys";
        }
    }

    void CheckChannels()
    {
        Tally missing;
        const std::vector<Joint>& joints = mScene.skeleton.joints;
        for (std::size_t i = 0; i < joints.size(); ++i) {
            for (const Channel channel : joints[i].channels) {
                const YFCurve* curve = CurveOf(*mScene.jointNodes[i], channel);
                if (curve != nullptr && curve->KeyGetCount() > 0) continue;
                missing.Add(fmt::format("{} {}", Printable(joints[i].name), ChannelName(channel)));
            }
        }
        if (mSpan) {
            AddTally(false, "channels without keys", missing, "channel has no keys", "channels have no keys");
        }
    }

    void CheckNames()
    {
        Tally twice;
        std::map<std::string, int> seen;
        for (const Joint& joint : mScene.skeleton.joints) {
            if (!joint.endSite && ++seen[joint.name] == 2) twice.Add(Printable(joint.name));
        }
        AddTally(false, "joints twice", twice, "name stands for several joints",
                 "names stand for several joints");
        Tally paths;
        for (const NamedProperty& property : NamedProperties(mScene)) {
            if (property.place == 1) paths.Add(Printable(property.path));
        }
        AddTally(false, "paths twice", paths, "path leads to several properties",
                 "paths lead to several properties");
    }

    void CheckTurns()
    {
        std::vector<YFCurveNode*> rotations;
        for (const NamedProperty& property : NamedProperties(mScene)) {
            if (!TurnsAsQuaternions(*property.node)) rotations.push_back(property.node);
        }
        const std::string text = WholeTurnsText(rotations);
        if (text.empty()) return;
        Note("whole turns", text + " of the filters, which would take that for motion");
    }

    void CheckSpan()
    {
        if (!mSpan) {
            Note("no keys", "has no keys, and so no motion");
            return;
        }
        const YTime length = mSpan->Length();
        if (length == YTIME_ZERO) {
            Note("one pose",
                 fmt::format("has keys at {} s alone: a pose, no motion", ShortSecondsText(mSpan->start)))
                .time = mSpan->start;
        } else if (length < TimeOfFrame(1, mScene.rate)) {
            Note("short", fmt::format("lasts {} s, which is less than a frame", ShortSecondsText(length)));
        }
    }

    void CheckRate()
    {
        if (!IsUsualRate(mScene.rate))
            Note("unusual rate",
                 fmt::format("has {} frames a second, which is unusual", RateText(mScene.rate)));
        if (mScene.frameTime.empty()) return;
        const std::optional<FrameRate> meant = RateOfFrameTime(mScene.frameTime);
        if (!meant || *meant == mScene.rate) return;
        Wrong("two rates", fmt::format("its frame time {} means {} frames a second, its frame rate is {}",
                                       Quoted(mScene.frameTime), RateText(*meant), RateText(mScene.rate)));
    }

    void AddLayerNote(bool isWrong, const char* what, const Layer& layer, std::string_view text)
    {
        Add(isWrong, what, fmt::format("layer {} {}", Quoted(layer.Name()), text)).path =
            Printable(layer.Name());
    }

    void CheckLayers()
    {
        for (const auto& layer : mScene.layers.Layers()) {
            if (layer->IsMuteOn()) AddLayerNote(false, "muted", *layer, "is muted");
            if (layer->IsMuted() && !layer->IsMuteOn())
                AddLayerNote(false, "silent", *layer, "does not play, because another one is solo");
            if (layer->IsLocked())
                AddLayerNote(false, "locked", *layer, "is locked: commands leave its keys");
            if (layer->IsBase()) continue;
            if (mKeys[layer->GetLayerID()] == 0) AddLayerNote(false, "empty", *layer, "has no keys");
            CheckWeight(*layer);
        }
    }

    void CheckWeight(const Layer& layer)
    {
        const YFCurve& weight = *layer.WeightCurve();
        std::vector<float> values;
        for (int i = 0; i < weight.KeyGetCount(); ++i) values.push_back(weight.KeyGetValue(i));
        if (values.empty()) values.push_back(weight.GetValue());
        const auto any = [&values](auto test) { return std::any_of(values.begin(), values.end(), test); };
        if (any([](float value) { return !std::isfinite(value); }))
            AddLayerNote(true, "not finite", layer, "has a weight that is no finite number");
        if (any([](float value) { return value < 0.0f || value > 1.0f; }))
            AddLayerNote(false, "weight", layer, "has weights outside of 0 to 1, which count as 0 or 1");
        if (!any([](float value) { return !(value <= 0.0f); }))
            AddLayerNote(false, "without effect", layer, "has the weight 0, and so no effect");
    }

    const Scene& mScene;
    const FileAge& mAge;
    std::optional<TimeSpan> mSpan;
    std::vector<Finding> mFindings;
    std::map<int, long long> mKeys;  // of each layer
    Tally mNotFinite;
    Tally mOverflow;
    Tally mLarge;
    Tally mFar;
    Tally mBetween;
    YTime mFramesFrom;  // counted from there, most keys are on frames
    YTime mFarthest;    // from these frames
};

}  // namespace

std::vector<Finding> CheckScene(const Scene& scene, const FileAge& age)
{
    return Checker(scene, age).Check();
}

}  // namespace ymotion
