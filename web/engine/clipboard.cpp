#include <algorithm>
#include <map>
#include <new>
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
        if (i > 0 && indices[i - 1] != from - 1)
            copy->KeySetLeftDerivativeInfo(to, curve.KeyGetLeftDerivativeInfo(from));
    }
    return copy;
}

struct Paste
{
    const YFCurve* from = nullptr;
    int track = 0;
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
        pastes.push_back({each.curve.get(), found->second});
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
    for (std::size_t i = 0; i < tracks.size(); ++i)
        pastes.push_back({curves[i % curves.size()].curve.get(), tracks[i]});
    return pastes;
}

/// Keys at the times from one to another.
std::vector<int> IndicesBetween(const YFCurve& curve, YTime start, YTime stop)
{
    std::vector<int> indices;
    const int count = curve.KeyGetCount();
    for (int i = FirstFrom(curve, start); i < count && curve.KeyGetTime(i) <= stop; ++i) indices.push_back(i);
    return indices;
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
        curves.push_back(
            {Printable(track.path), Printable(layer), track.place, CopyOf(track.Curve(), each.indices)});
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
            YFCurve& curve = document.EditableCurve(paste.track);
            const YTime start = paste.from->KeyGetTime(0) + offset;
            const YTime stop = paste.from->KeyGetTime(paste.from->KeyGetCount() - 1) + offset;
            curve.Replace(*paste.from, start, stop, true, false, offset);
            pasted.push_back({paste.track, IndicesBetween(curve, start, stop)});
            if (pasted.back().indices.size() != static_cast<std::size_t>(paste.from->KeyGetCount()))
                throw Failure("the keys cannot be pasted there; choose another time");
        }
    });
    SelectKeys(document, SelectionMode::Replace, pasted);
}

}  // namespace editor
