#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <tuple>

#include <fmt/format.h>

#include "web/engine/keys.h"
#include "yfcurve/yfcurveptr.h"
#include "ymotion/formats/keys_json.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace editor {

using namespace ymotion;

namespace {

void SetLeft(YFCurve& curve, int index, YFCurveTangeantInfo left)
{
    if (index == 0) return;
    left.Weight = YFCURVE_ToKeep(left.Weight);
    left.Velocity = YFCURVE_ToKeep(left.Velocity);
    curve.KeySetLeftDerivativeInfo(index, left);
}

/// These keys alone, as they are: automatic tangents go by the keys beside them, wherever these are pasted.
YFCurvePtr CopyOf(const YFCurve& curve, const std::vector<int>& indices)
{
    YFCurvePtr copy(new YFCurve);
    copy->CopyFrom(curve, false);
    const YFCurveModify bracket(*copy, static_cast<int>(indices.size()));
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const int from = indices[i];
        const int to = static_cast<int>(i);
        if (copy->KeyAppend(curve.KeyGetTime(from), &curve, from) != to) throw std::bad_alloc();
        copy->KeySetSelected(to, false);
        // The left tangent is stored with the key before, which may be another one.
        if (i > 0 && indices[i - 1] != from - 1) SetLeft(*copy, to, curve.KeyGetLeftDerivativeInfo(from));
    }
    return copy;
}

struct Paste
{
    const NamedKeys* from = nullptr;
    int track = 0;

    const YFCurve& Keys() const { return *from->curve; }
};

using CurveName =
    std::tuple<std::string, std::string, int>;  // path and layer, as the text has them, and place

std::map<CurveName, int> TracksByName(Document& document)
{
    std::map<CurveName, int> tracks;
    for (const Track& track : document.Tracks()) {
        const std::string& layer = document.GetScene().layers.Find(track.layer)->Name();
        tracks.emplace(CurveName{Printable(track.path), Printable(layer), track.place}, track.id);
    }
    return tracks;
}

std::vector<Paste> PastesByName(Document& document, const std::vector<NamedKeys>& curves)
{
    const std::map<CurveName, int> tracks = TracksByName(document);
    std::vector<Paste> pastes;
    for (const NamedKeys& each : curves) {
        const auto found = tracks.find({each.path, each.layer, each.place});
        if (found == tracks.end())
            throw Failure(fmt::format("there is no curve {} on a layer {}; choose the curves to paste to",
                                      QuotedName(each.path), Quoted(each.layer)));
        pastes.push_back({&each, found->second});
    }
    return pastes;
}

std::vector<Paste> PastesOf(Document& document, const std::vector<NamedKeys>& curves,
                            const std::vector<int>& tracks)
{
    if (tracks.empty()) return PastesByName(document, curves);
    if (tracks.size() < curves.size()) {
        throw Failure(
            fmt::format("there are keys of {} curves to paste; choose as many curves, or none for those "
                        "that they are from",
                        curves.size()));
    }
    std::vector<Paste> pastes;
    for (std::size_t i = 0; i < tracks.size(); ++i) pastes.push_back({&curves[i % curves.size()], tracks[i]});
    return pastes;
}

/// The key in front of others, which stores the left tangent of the first of them.
std::optional<YFCurveKey> KeyBefore(const YFCurve& curve, int index)
{
    if (index == 0) return std::nullopt;
    YFCurveKey key = curve.KeyGet(index - 1);
    key.SetSelected(false);
    return key;
}

/// The left tangent of the first key, where it was copied along.
std::optional<YFCurveTangeantInfo> LeftOfFirst(const NamedKeys& keys)
{
    if (!keys.before) return std::nullopt;
    YFCurve pair;
    if (!pair.KeySet(0, *keys.before) || !pair.KeySet(1, keys.curve->KeyGet(0))) throw std::bad_alloc();
    return pair.KeyGetLeftDerivativeInfo(1);
}

/// Keys at the times from one to another.
std::vector<int> IndicesBetween(const YFCurve& curve, YTime start, YTime stop)
{
    std::vector<int> indices;
    const int count = curve.KeyGetCount();
    for (int i = FirstFrom(curve, start); i < count && curve.KeyGetTime(i) <= stop; ++i) indices.push_back(i);
    return indices;
}

/// The key behind keeps its left tangent, which is stored with the last key that goes.
/// \return  the indices of what was pasted
std::vector<int> PasteInto(YFCurve& curve, const Paste& paste, YTime offset)
{
    const YFCurve& keys = paste.Keys();
    const YTime start = keys.KeyGetTime(0) + offset;
    const YTime stop = keys.KeyGetTime(keys.KeyGetCount() - 1) + offset;
    const YFCurveModify bracket(curve);
    const int behind = FirstFrom(curve, stop + YTime(1));
    const bool hasBehind = behind < curve.KeyGetCount();
    const auto leftOfBehind = hasBehind ? curve.KeyGetLeftDerivativeInfo(behind) : YFCurveTangeantInfo();
    curve.Replace(keys, start, stop, true, false, offset);
    std::vector<int> pasted = IndicesBetween(curve, start, stop);
    if (pasted.size() != static_cast<std::size_t>(keys.KeyGetCount()))
        throw Failure("the keys cannot be pasted there; choose another time");
    if (hasBehind) SetLeft(curve, pasted.back() + 1, leftOfBehind);
    if (const auto left = LeftOfFirst(*paste.from)) SetLeft(curve, pasted.front(), *left);
    return pasted;
}

}  // namespace

std::string CopyKeys(Document& document, const std::vector<TrackKeys>& keys)
{
    std::vector<NamedKeys> curves;
    for (const TrackKeys& each : keys) {
        if (each.indices.empty()) continue;
        const Track& track = document.TrackOf(each.track);
        CheckIndices(track.Curve(), each.indices);
        const std::string layer = document.GetScene().layers.Find(track.layer)->Name();
        curves.push_back({Printable(track.path), Printable(layer), track.place,
                          CopyOf(track.Curve(), each.indices),
                          KeyBefore(track.Curve(), each.indices.front())});
    }
    OutputText out;
    WriteKeysJson(curves, out);
    return out.Take();
}

void PasteKeys(Document& document, const std::string& json, YTime time, const std::vector<int>& tracks)
{
    std::vector<NamedKeys> curves = ReadKeysJson(json, "clipboard");
    std::erase_if(curves, [](const NamedKeys& each) { return each.curve->KeyGetCount() == 0; });
    if (curves.empty()) throw Failure("there are no keys in the clipboard; copy some first");
    const auto firstOf = [](const NamedKeys& each) { return each.curve->KeyGetTime(0); };
    YTime earliest = firstOf(curves.front());
    for (const NamedKeys& each : curves) earliest = std::min(earliest, firstOf(each));
    const YTime offset = time - earliest;
    const std::vector<Paste> pastes = PastesOf(document, curves, tracks);
    for (const Paste& paste : pastes) document.EditableCurve(paste.track);
    std::vector<TrackKeys> pasted;
    document.Run("Paste keys", [&] {
        for (const Paste& paste : pastes) {
            pasted.push_back({paste.track, PasteInto(document.EditableCurve(paste.track), paste, offset)});
        }
    });
    SelectKeys(document, SelectionMode::Replace, pasted);
}

}  // namespace editor
