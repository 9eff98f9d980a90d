// A tool changes all that plays together: every curve on every layer, the weights of layers, and the skeleton
// with it. What cannot be kept is refused before files are written. Keys are kept where a key can say what it
// has to: cuts are insertions, a mirror changes signs, and reversed keys exchange what they say of the
// segments on their sides. Where a tool takes new angles (another rotation order, a turned root, a dropped
// joint, a blend), `bake.cpp` sets keys at the times of the old ones, and more where these are not enough.

#include "ymotion/clipping/clip_steps.h"

#include <algorithm>

#include <fmt/format.h>

#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"
#include "ymotion/text/suggestion.h"

namespace ymotion {
namespace {

struct GivenWord
{
    const ClipWord* word;
    std::string text;
    std::string value;
};

GivenWord Find(const std::string& text)
{
    const std::string name = text.substr(0, text.find('='));
    const auto found = std::find_if(ClipWords().begin(), ClipWords().end(),
                                    [&](const ClipWord& word) { return name == word.name; });
    if (found == ClipWords().end()) {
        std::vector<std::string> names;
        for (const ClipWord& word : ClipWords()) names.push_back(word.name);
        throw Failure(fmt::format("there is no clip tool {}{}", Quoted(name),
                                  DidYouMean(name, names, "see 'yfcurve clip --help'")),
                      kExitUsage);
    }
    const bool hasValue = name.size() < text.size();
    if (hasValue != (found->value != nullptr)) {
        throw Failure(hasValue ? fmt::format("{} takes no value; write {} alone", name, name)
                               : fmt::format("{} needs a value; write {}={}", name, name, found->value),
                      kExitUsage);
    }
    return {&*found, text, hasValue ? text.substr(name.size() + 1) : std::string()};
}

void TakePairs(const std::string& value, ClipSettings& settings)
{
    const std::size_t middle = value.find('=');
    if (middle == 0 || middle == std::string::npos || middle + 1 == value.size()) {
        throw Failure(fmt::format("{} is no pair of names; write --pairs LEFT=RIGHT", Quoted(value)),
                      kExitUsage);
    }
    settings.pairs.emplace_back(value.substr(0, middle), value.substr(middle + 1));
}

void TakeSetting(const GivenWord& given, ClipSettings& settings)
{
    const std::string_view name = given.word->name;
    if (name == "resample") settings.resample = true;
    if (name == "keep-times") settings.keepTimes = true;
    if (name == "pairs") TakePairs(given.value, settings);
    if (name != "blend") return;
    settings.blend = ParseTime(given.value);
    if (!settings.blend || settings.blend->Sign() <= 0) {
        throw Failure(fmt::format("{} is no blend above 0; give {}", Quoted(given.value), kTimeForms),
                      kExitUsage);
    }
}

void CheckUsed(const GivenWord& setting, const std::vector<GivenWord>& words)
{
    const std::string_view tool = setting.word->tool;
    const auto times = std::count_if(words.begin(), words.end(),
                                     [&](const GivenWord& given) { return given.word == setting.word; });
    if (times > 1 && !setting.word->repeats)
        throw Failure(fmt::format("--{} is given twice; give it once", setting.word->name), kExitUsage);
    const bool used = std::any_of(words.begin(), words.end(),
                                  [&](const GivenWord& given) { return tool == given.word->name; });
    if (used) return;
    throw Failure(
        fmt::format("--{} is about --{}, which is missing; give both or none", setting.word->name, tool),
        kExitUsage);
}

}  // namespace

const std::vector<ClipWord>& ClipWords()
{
    static const std::vector<ClipWord> words{
        {"trim", "T0:T1", "what plays from T0 to T1, which then starts at time 0; either may be left out",
         ParseTrim},
        {"keep-times", nullptr, "of --trim: leave what is kept at its times", nullptr, "trim"},
        {"rate", "FPS", "frames a second: 30, 12.5, 24000/1001; keys stay where they are", ParseRate},
        {"resample", nullptr, "of --rate: keys at every frame of it, in place of those that there are",
         nullptr, "rate"},
        {"speed", "X", "play X times as fast, from 0.001 to 1000", ParseSpeed},
        {"reverse", nullptr, "play backwards", ParseReverse},
        {"shift", "T", "move all keys later by T, or earlier with a minus sign", ParseShift},
        {"loop", "N", "play N times in a row, each time from where the root has come to", ParseLoop},
        {"blend", "T", "of --loop: let each round start with the pose and speed of the end before, for T",
         nullptr, "loop"},
        {"mirror", nullptr, "the mirror image, with X pointing the other way, and left and right exchanged",
         ParseMirror},
        {"pairs", "L=R",
         "of --mirror: joints that are left and right, or what tells their names apart; may be repeated",
         nullptr, "mirror", true},
        {"scale", "X", "multiply all lengths, of the skeleton and of its motion", ParseScale},
        {"root-origin", nullptr, "start above the origin: X and Z of the root begin at 0", ParseRootOrigin},
        {"in-place", nullptr, "stay there: X and Z of each root are what they begin with", ParseInPlace},
        {"order", "ORDER", "axes of the rotations, the first turning first; orientations stay", ParseOrder},
        {"rename", "OLD=NEW", "give a joint another name, or several: 'rig:*=*'", ParseRename},
        {"drop", "JOINT", "take a joint out; its child joints move in the world as before", ParseDrop},
    };
    return words;
}

std::vector<ClipStep> ParseClip(const std::vector<std::string>& words)
{
    std::vector<GivenWord> given;
    ClipSettings settings;
    for (const std::string& word : words) {
        given.push_back(Find(word));
        if (given.back().word->parse == nullptr) TakeSetting(given.back(), settings);
    }
    std::vector<ClipStep> steps;
    for (const GivenWord& each : given) {
        if (each.word->parse == nullptr) {
            CheckUsed(each, given);
        } else {
            steps.push_back({each.text, each.word->parse(each.value, settings)});
        }
    }
    if (steps.empty()) throw Failure("there is nothing to do; give a tool, such as --trim 1:3", kExitUsage);
    return steps;
}

std::vector<ClipOutcome> ApplyClip(Scene& scene, const std::vector<ClipStep>& steps)
{
    std::vector<ClipOutcome> outcomes;
    for (const ClipStep& step : steps) {
        StopIfAsked();
        outcomes.push_back({step.text, step.work(scene)});
    }
    return outcomes;
}

}  // namespace ymotion
