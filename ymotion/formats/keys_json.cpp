#include "ymotion/formats/keys_json.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <tuple>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ymotion/formats/json_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Json = nlohmann::json;

constexpr int kVersion = 1;

/// A name for bits of a key's flags word.
struct Named
{
    const char* name;
    std::uint32_t bits;
};

constexpr std::array<Named, 4> kInterpolations{{{"cubic", YFCURVE_INTERP_CUBIC},
                                                {"linear", YFCURVE_INTERP_LINEAR},
                                                {"constant", YFCURVE_INTERP_CONSTANT},
                                                {"none", 0}}};
constexpr std::array<Named, 4> kTangents{{{"auto", YFCURVE_TANGENT_AUTO},
                                          {"user", YFCURVE_TANGENT_USER},
                                          {"tcb", YFCURVE_TANGENT_TCB},
                                          {"none", 0}}};
constexpr std::uint32_t kTangentMask = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_USER | YFCURVE_TANGENT_TCB;
constexpr std::array<Named, 2> kSteps{
    {{"standard", YFCURVE_CONSTANT_STANDARD}, {"next", YFCURVE_CONSTANT_NEXT}}};

/// Members that are true or not there.
constexpr std::array<Named, 11> kFlags{{{"break", YFCURVE_TANGENT_BREAK},
                                        {"clamp", YFCURVE_TANGENT_CLAMP},
                                        {"timeIndependent", YFCURVE_TANGENT_TIME_INDEPENDENT},
                                        {"rightWeighted", YFCURVE_WEIGHT_RIGHT},
                                        {"nextLeftWeighted", YFCURVE_WEIGHT_NEXT_LEFT},
                                        {"rightHasVelocity", YFCURVE_VELOCITY_RIGHT},
                                        {"nextLeftHasVelocity", YFCURVE_VELOCITY_NEXT_LEFT},
                                        {"selected", YFCURVE_SELECTED},
                                        {"marked", YFCURVE_MARKED_FOR_MANIPULATION},
                                        {"showLeft", YFCURVE_SHOW_SIDE_A},
                                        {"showRight", YFCURVE_SHOW_SIDE_B}}};

/// A number of a key that is left out where it is what a new cubic key has.
struct NamedData
{
    const char* name;
    EYFCurveDataIndex index;
    bool isFixed;  ///< a weight or velocity, which are stored in steps
};

constexpr std::array<NamedData, 3> kTcbData{{{"tension", YFCURVEKEY_TCB_TENSION, false},
                                             {"continuity", YFCURVEKEY_TCB_CONTINUITY, false},
                                             {"bias", YFCURVEKEY_TCB_BIAS, false}}};
constexpr std::array<NamedData, 4> kSideData{{{"right", YFCURVEKEY_RIGHT_DERIVATIVE, false},
                                              {"nextLeft", YFCURVEKEY_NEXT_LEFT_DERIVATIVE, false},
                                              {"rightWeight", YFCURVEKEY_RIGHT_WEIGHT, true},
                                              {"nextLeftWeight", YFCURVEKEY_NEXT_LEFT_WEIGHT, true}}};
constexpr std::array<NamedData, 2> kVelocities{{{"rightVelocity", YFCURVEKEY_RIGHT_VELOCITY, true},
                                                {"nextLeftVelocity", YFCURVEKEY_NEXT_LEFT_VELOCITY, true}}};

constexpr std::array<const char*, 5> kExtrapolations{"none", "constant", "repetition", "mirrorRepetition",
                                                     "keepSlope"};

YFCurveKey NewCubicKey()
{
    YFCurveKey key;
    key.ResetCubic();
    return key;
}

float DataOf(const YFCurveKey& key, const NamedData& data)
{
    return data.isFixed ? key.GetDataDouble(data.index) : key.GetDataFloat(data.index);
}

/// Calls `visit` for the numbers that a key with these tangents has.
template<class Visit>
void VisitData(std::uint32_t tangent, const Visit& visit)
{
    if (tangent == YFCURVE_TANGENT_TCB) {
        for (const NamedData& data : kTcbData) visit(data);
    } else {
        for (const NamedData& data : kSideData) visit(data);
    }
    for (const NamedData& data : kVelocities) visit(data);
}

// --- Writing -------------------------------------------------------------------------------------------

/// The digits give the same float to those who read a double first.
void AppendNumber(std::string& text, float value)
{
    if (!std::isfinite(value)) {
        text += std::isnan(value) ? "\"nan\"" : value > 0 ? "\"inf\"" : "\"-inf\"";
        return;
    }
    if (value == 0.0f) {
        text += std::signbit(value) ? "-0.0" : "0";  // "-0" is an integer to some, and has no sign
        return;
    }
    const std::size_t begin = text.size();
    AppendFloat(text, value);
    const std::optional<double> read = ParseDouble(std::string_view(text).substr(begin));
    if (read && static_cast<float>(*read) == value) return;
    text.resize(begin);
    text += fmt::format("{:.17g}", double{value});
}

template<std::size_t N>
const char* NameOf(const std::array<Named, N>& names, std::uint32_t bits)
{
    const auto found =
        std::find_if(names.begin(), names.end(), [bits](const Named& named) { return named.bits == bits; });
    return found != names.end() ? found->name : names.back().name;
}

void AppendKey(std::string& text, const YFCurveKey& key)
{
    const std::uint32_t flags = key.GetFlags();
    const unsigned interpolation = key.GetInterpolation();
    text += fmt::format("{{\"ticks\":{},\"seconds\":{},\"value\":", key.GetTime().Get(),
                        SecondsText(key.GetTime()));
    AppendNumber(text, key.GetValue());
    text += fmt::format(",\"interpolation\":\"{}\"", NameOf(kInterpolations, interpolation));
    std::uint32_t tangent = flags & kTangentMask;
    if (interpolation == YFCURVE_INTERP_CONSTANT) {
        text += fmt::format(",\"constant\":\"{}\"", NameOf(kSteps, key.GetConstantMode()));
        tangent &= ~std::uint32_t{YFCURVE_CONSTANT_ALL};
    }
    if (interpolation == YFCURVE_INTERP_CUBIC || tangent != 0)
        text += fmt::format(",\"tangent\":\"{}\"", NameOf(kTangents, tangent));
    for (const Named& flag : kFlags) {
        if ((flags & flag.bits) != 0) text += fmt::format(",\"{}\":true", flag.name);
    }
    const YFCurveKey plain = NewCubicKey();
    VisitData(tangent, [&](const NamedData& data) {
        const float value = DataOf(key, data);
        if (value == DataOf(plain, data) && !std::signbit(value) && tangent != YFCURVE_TANGENT_TCB) return;
        text += fmt::format(",\"{}\":", data.name);
        AppendNumber(text, value);
    });
    text += '}';
}

void AppendExtrapolation(std::string& text, const char* name, std::uint32_t mode, std::uint32_t count)
{
    text += fmt::format("\"{}\":{{\"mode\":\"{}\",\"count\":{}}},\n", name,
                        kExtrapolations[mode < kExtrapolations.size() ? mode : 0],
                        static_cast<std::int32_t>(count));
}

// --- Curves by name ------------------------------------------------------------------------------------

/// What tells a curve from all others: its path, the layer, and how many of that path stand before it.
using CurveName = std::tuple<std::string, std::string, int>;

/// The curves of one scene, named one after the other.
class CurveNames
{
  public:
    CurveName Next(const SelectedCurve& selected, const Layer& layer)
    {
        const std::string path = Printable(PathOf(*selected.node));
        const std::string name = Printable(layer.Name());
        return {path, name, mSeen[{path, name}]++};
    }

  private:
    std::map<std::pair<std::string, std::string>, int> mSeen;
};

// --- Reading -------------------------------------------------------------------------------------------

/// Takes values out of JSON and says of what is wrong where it stands.
class KeysReader
{
  public:
    /// Finds the curve that gets the keys; what it throws for one that gets none is told with the place.
    using Finder = std::function<YFCurve&(const CurveName&)>;

    /// Takes the key in front of those of the curve that was found last.
    using BeforeTaker = std::function<void(const YFCurveKey&)>;

    KeysReader(std::string name, Finder find, BeforeTaker takeBefore = {})
        : mFile(std::move(name)), mFind(std::move(find)), mTakeBefore(std::move(takeBefore))
    {}

    ImportedKeys Read(const Json& json)
    {
        CheckMembers(json, {"format", "version", "curves"});
        if (Text(json, "format") != "yfcurve-keys") Fail("the format is not 'yfcurve-keys'");
        if (Whole(json, "version", 1, std::numeric_limits<int>::max()) > kVersion)
            Fail("it is from a newer program; use that one");
        const Json& curves = Member(json, "curves");
        if (!curves.is_array()) Fail("'curves' is not an array");
        for (const Json& curve : curves) ReadCurve(curve);
        return mRead;
    }

  private:
    [[noreturn]] void Fail(const std::string& what) const
    {
        throw Failure(
            fmt::format("{}: {}{}; docs/keys.schema.json says what is expected", mFile, mPlace, what));
    }

    template<class Names>
    void CheckMembers(const Json& json, const Names& known) const
    {
        if (!json.is_object()) Fail("there is something other than an object");
        for (const auto& [name, value] : json.items()) {
            if (std::find(known.begin(), known.end(), std::string_view(name)) == known.end())
                Fail(fmt::format("unknown member {}", Quoted(name)));
        }
    }

    void CheckMembers(const Json& json, std::initializer_list<std::string_view> known) const
    {
        CheckMembers<std::initializer_list<std::string_view>>(json, known);
    }

    const Json& Member(const Json& json, const char* name) const
    {
        const auto found = json.find(name);
        if (found == json.end()) Fail(fmt::format("'{}' is missing", name));
        return *found;
    }

    std::string Text(const Json& json, const char* name) const
    {
        const Json& value = Member(json, name);
        if (!value.is_string()) Fail(fmt::format("'{}' is not a text", name));
        return value.get<std::string>();
    }

    std::int64_t Whole(const Json& json, const char* name, std::int64_t least, std::int64_t most) const
    {
        const Json& value = Member(json, name);
        const bool fits =
            value.is_number_integer() &&
            (!value.is_number_unsigned() ||
             value.get<std::uint64_t>() <= std::uint64_t{std::numeric_limits<std::int64_t>::max()});
        if (!fits || value.get<std::int64_t>() < least || value.get<std::int64_t>() > most)
            Fail(fmt::format("'{}' is not a whole number from {} to {}", name, least, most));
        return value.get<std::int64_t>();
    }

    float Number(const Json& json, const char* name) const
    {
        const Json& value = Member(json, name);
        if (value.is_string()) {
            const auto& word = value.get_ref<const std::string&>();
            if (word == "inf") return std::numeric_limits<float>::infinity();
            if (word == "-inf") return -std::numeric_limits<float>::infinity();
            if (word == "nan") return std::numeric_limits<float>::quiet_NaN();
        }
        // From here on what is rounded to single precision becomes an infinity.
        constexpr double kOverflow = 0x1.FFFFFFp127;
        if (!value.is_number() || !(std::abs(value.get<double>()) < kOverflow))
            Fail(fmt::format("'{}' is not a number of single precision, \"inf\", \"-inf\" or \"nan\"", name));
        return static_cast<float>(value.get<double>());
    }

    template<std::size_t N>
    std::uint32_t Bits(const Json& json, const char* name, const std::array<Named, N>& names) const
    {
        const std::string text = Text(json, name);
        for (const Named& named : names) {
            if (text == named.name) return named.bits;
        }
        Fail(fmt::format("'{}' is {}", name, Quoted(text)));
    }

    YTime Time(const Json& json) const
    {
        using Limits = std::numeric_limits<std::int64_t>;
        if (json.contains("ticks")) return YTime(Whole(json, "ticks", Limits::min(), Limits::max()));
        const Json& seconds = Member(json, "seconds");
        if (!seconds.is_number() || !(std::abs(seconds.get<double>()) <= kMostSeconds))
            Fail("'seconds' is not a time of up to three years");
        return YTime::FromSeconds(seconds.get<double>());
    }

    void SetFixed(YFCurveKey& key, const NamedData& data, float value) const
    {
        const bool isWeight = data.index <= YFCURVEKEY_NEXT_LEFT_WEIGHT;
        const float least = isWeight ? 0.0f : YFCURVE_LOWEST_VELOCITY;
        const float most = isWeight ? 1.0f : YFCURVE_HIGHEST_VELOCITY;
        if (!(value >= least && value <= most))
            Fail(fmt::format("'{}' is not from {} to {}", data.name, least, most));
        key.SetDataDouble(data.index, YFCURVE_ToKeep(value));
    }

    YFCurveKey ReadKey(const Json& json) const
    {
        static const std::vector<std::string_view> kMembers = [] {
            std::vector<std::string_view> names{"ticks",         "seconds",  "value",
                                                "interpolation", "constant", "tangent"};
            for (const Named& flag : kFlags) names.push_back(flag.name);
            for (const NamedData& data : kTcbData) names.push_back(data.name);
            VisitData(0, [&](const NamedData& data) { names.push_back(data.name); });
            return names;
        }();
        CheckMembers(json, kMembers);
        YFCurveKey key = NewCubicKey();
        key.SetTime(Time(json));
        key.SetValue(Number(json, "value"));
        std::uint32_t flags = Bits(json, "interpolation", kInterpolations);
        const std::uint32_t tangent = json.contains("tangent") ? Bits(json, "tangent", kTangents) : 0;
        flags |= tangent;
        if (json.contains("constant")) flags |= Bits(json, "constant", kSteps);
        for (const Named& flag : kFlags) {
            if (!json.contains(flag.name)) continue;
            if (!Member(json, flag.name).is_boolean())
                Fail(fmt::format("'{}' is not true or false", flag.name));
            if (Member(json, flag.name).get<bool>()) flags |= flag.bits;
        }
        key.SetFlags(flags);
        VisitData(tangent, [&](const NamedData& data) {
            if (!json.contains(data.name)) return;
            const float value = Number(json, data.name);
            if (data.isFixed) {
                SetFixed(key, data, value);
            } else {
                key.SetDataFloat(data.index, value);
            }
        });
        return key;
    }

    std::pair<unsigned, std::uint32_t> ReadExtrapolation(const Json& json) const
    {
        CheckMembers(json, {"mode", "count"});
        const std::string mode = Text(json, "mode");
        const auto found = std::find(kExtrapolations.begin(), kExtrapolations.end(), mode);
        if (found == kExtrapolations.end()) Fail(fmt::format("'mode' is {}", Quoted(mode)));
        using Limits = std::numeric_limits<std::int32_t>;
        const auto count = static_cast<std::int32_t>(Whole(json, "count", -1, Limits::max()));
        return {static_cast<unsigned>(found - kExtrapolations.begin()), static_cast<std::uint32_t>(count)};
    }

    YFCurve& FindCurve(const Json& json)
    {
        const std::string path = Text(json, "path");
        const std::string layer = Text(json, "layer");
        const int place = json.contains("place")
                              ? static_cast<int>(Whole(json, "place", 0, std::numeric_limits<int>::max()))
                              : 0;
        mPlace = fmt::format("curve {} on layer {}: ", QuotedName(path), Quoted(layer));
        try {
            return mFind({path, layer, place});
        } catch (const Failure& why) {
            throw Failure(fmt::format("{}: {}{}", mFile, mPlace, why.what()));
        }
    }

    void ReadCurve(const Json& json)
    {
        mPlace = fmt::format("curve {}: ", mRead.curves + 1);
        CheckMembers(json, {"path", "layer", "place", "default", "pre", "post", "before", "keys"});
        YFCurve& curve = FindCurve(json);
        const std::string place = mPlace;
        const Json& keys = Member(json, "keys");
        if (!keys.is_array()) Fail("'keys' is not an array");
        std::optional<YFCurveKey> before;
        if (json.contains("before")) before = ReadKey(json["before"]);
        if (before && mTakeBefore) mTakeBefore(*before);
        const YFCurveModify bracket(curve, static_cast<int>(keys.size()));
        curve.KeyClear();
        for (const Json& each : keys) {
            const int index = curve.KeyGetCount();
            mPlace = fmt::format("{}key {}: ", place, index + 1);
            const YFCurveKey key = ReadKey(each);
            const bool isLater = index > 0 ? key.GetTime() > curve.KeyGetTime(index - 1)
                                           : !before || key.GetTime() > before->GetTime();
            if (!isLater) Fail("it is not later than the one before it");
            if (!curve.KeySet(index, key)) throw std::bad_alloc();
        }
        mPlace = place;
        curve.SetValue(Number(json, "default"));
        if (json.contains("pre")) {
            const auto [mode, count] = ReadExtrapolation(json["pre"]);
            curve.SetPreExtrapolation(mode);
            curve.SetPreExtrapolationCount(count);
        }
        if (json.contains("post")) {
            const auto [mode, count] = ReadExtrapolation(json["post"]);
            curve.SetPostExtrapolation(mode);
            curve.SetPostExtrapolationCount(count);
        }
        mPlace.clear();
        ++mRead.curves;
        mRead.keys += curve.KeyGetCount();
    }

    std::string mFile;
    std::string mPlace;  ///< in the file, for messages
    Finder mFind;
    BeforeTaker mTakeBefore;
    ImportedKeys mRead;
};

ImportedKeys ReadWith(KeysReader reader, std::string_view text, const std::string& name)
{
    return reader.Read(ParseJson(text, name, "this is not JSON; give a file that --export wrote",
                                 "docs/keys.schema.json says what is expected"));
}

/// Why there is no curve of a name, and what helps.
const char* MissingText(const Scene& scene, const std::map<CurveName, YFCurve*>& curves,
                        const CurveName& name)
{
    const auto& [wantedPath, wantedLayer, place] = name;
    bool hasLayer = false;
    for (const auto& layer : scene.layers.Layers())
        hasLayer = hasLayer || Printable(layer->Name()) == wantedLayer;
    if (!hasLayer) return "the scene has no such layer";
    // Names are in order of their paths.
    const auto nearest = curves.lower_bound({wantedPath, "", 0});
    const bool isElsewhere = nearest != curves.end() && std::get<0>(nearest->first) == wantedPath;
    return isElsewhere ? "that layer has no curve of it; plot into the layer first, which makes some"
                       : "the scene has no such curve";
}

/// The curves of a scene, each for one use.
KeysReader::Finder CurvesOf(Scene& scene)
{
    std::map<CurveName, YFCurve*> curves;
    CurveNames names;
    for (const SelectedCurve& selected : SelectCurves(scene, {})) {
        for (const auto& layer : scene.layers.Layers()) {
            const CurveName called = names.Next(selected, *layer);
            const YFCurveNode* node = NodeOnLayer(selected, *layer);
            if (node != nullptr && node->FCurveGet() != nullptr) curves[called] = node->FCurveGet();
        }
    }
    return [&scene, curves = std::move(curves)](const CurveName& name) mutable -> YFCurve& {
        const auto found = curves.find(name);
        if (found == curves.end()) throw Failure(MissingText(scene, curves, name));
        if (found->second == nullptr) throw Failure("it is there twice");
        YFCurve& curve = *std::exchange(found->second, nullptr);
        if (curve.IsLocked()) throw Failure("it is locked, and has to be unlocked first");
        return curve;
    };
}

void AppendCurve(std::string& text, const CurveName& name, const YFCurve& curve,
                 const std::optional<YFCurveKey>& before)
{
    const auto& [path, layer, place] = name;
    text += fmt::format("\n{{\"path\":{},\"layer\":{},", Json(path).dump(), Json(layer).dump());
    if (place > 0) text += fmt::format("\"place\":{},", place);
    text += "\"default\":";
    AppendNumber(text, curve.GetValue());
    text += ",\n";
    AppendExtrapolation(text, "pre", curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount());
    AppendExtrapolation(text, "post", curve.GetPostExtrapolation(), curve.GetPostExtrapolationCount());
    if (before) {
        text += "\"before\":";
        AppendKey(text, *before);
        text += ",\n";
    }
    text += "\"keys\":[";
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        text += i == 0 ? "\n" : ",\n";
        AppendKey(text, curve.KeyGet(i));
    }
    text += "]}";
}

/// Writes the frame of the file around its curves.
class KeysWriter
{
  public:
    explicit KeysWriter(Output& out) : mOut(out)
    {
        mOut.Write(fmt::format("{{\n\"format\":\"yfcurve-keys\",\n\"version\":{},\n\"curves\":[", kVersion));
    }

    void Add(const CurveName& name, const YFCurve& curve, const std::optional<YFCurveKey>& before = {})
    {
        std::string text = mIsFirst ? "" : ",";
        mIsFirst = false;
        AppendCurve(text, name, curve, before);
        mOut.Write(text);
    }

    void Finish() { mOut.Write("\n]\n}\n"); }

  private:
    Output& mOut;
    bool mIsFirst = true;
};

}  // namespace

void WriteKeysJson(const Scene& scene, const std::vector<SelectedCurve>& curves,
                   const std::vector<const Layer*>& layers, Output& out)
{
    // Places count all curves of a name, chosen or not.
    CurveNames names;
    std::map<std::pair<const YFCurve*, int>, int> places;
    for (const SelectedCurve& selected : SelectCurves(scene, {})) {
        for (const Layer* layer : layers)
            places[{selected.curve, layer->GetLayerID()}] = std::get<2>(names.Next(selected, *layer));
    }
    KeysWriter writer(out);
    for (const SelectedCurve& selected : curves) {
        for (const Layer* layer : layers) {
            const YFCurveNode* node = NodeOnLayer(selected, *layer);
            if (node == nullptr || node->FCurveGet() == nullptr) continue;
            const int place = places[{selected.curve, layer->GetLayerID()}];
            writer.Add({Printable(PathOf(*selected.node)), Printable(layer->Name()), place},
                       *node->FCurveGet());
        }
    }
    writer.Finish();
}

void WriteKeysJson(const std::vector<NamedKeys>& curves, Output& out)
{
    KeysWriter writer(out);
    for (const NamedKeys& each : curves)
        writer.Add({each.path, each.layer, each.place}, *each.curve, each.before);
    writer.Finish();
}

ImportedKeys ReadKeysJson(std::string_view text, const std::string& name, Scene& scene)
{
    return ReadWith(KeysReader(name, CurvesOf(scene)), text, name);
}

std::vector<NamedKeys> ReadKeysJson(std::string_view text, const std::string& name)
{
    std::vector<NamedKeys> curves;
    const auto add = [&curves](const CurveName& called) -> YFCurve& {
        const auto& [path, layer, place] = called;
        curves.push_back({path, layer, place, YFCurvePtr(new YFCurve)});
        return *curves.back().curve;
    };
    const auto take = [&curves](const YFCurveKey& before) { curves.back().before = before; };
    ReadWith(KeysReader(name, add, take), text, name);
    return curves;
}

}  // namespace ymotion
