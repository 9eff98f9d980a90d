#include "web/engine/page_values.h"

#include <cstddef>
#include <utility>

#include "ymotion/scene/curve_selection.h"

namespace editor {

using emscripten::val;

namespace {

std::string lastError;

}  // namespace

void NoteError(std::string message)
{
    lastError = std::move(message);
}

std::string TakeError()
{
    return std::exchange(lastError, {});
}

// --- From the page -------------------------------------------------------------------------------------

std::vector<YTime> TimesOf(const val& array)
{
    std::vector<YTime> times;
    for (const double ticks : NumbersOf<double>(array)) times.push_back(TimeOf(ticks));
    return times;
}

Window WindowOf(const val& numbers)
{
    const std::vector<double> all = NumbersOf<double>(numbers);
    return {TimeOf(all.at(0)), TimeOf(all.at(1)), all.at(2), all.at(3), all.at(4), all.at(5)};
}

std::vector<TrackKeys> KeysOf(const val& array)
{
    std::vector<TrackKeys> keys;
    const std::vector<int> numbers = NumbersOf<int>(array);
    for (std::size_t i = 0; i + 1 < numbers.size();) {
        const auto first = numbers.begin() + static_cast<std::ptrdiff_t>(i) + 2;
        const int count = numbers[i + 1];
        keys.push_back({numbers[i], {first, first + count}});
        i += static_cast<std::size_t>(count) + 2;
    }
    return keys;
}

std::vector<std::string> TextsOf(const std::string& text)
{
    const Json json = Json::parse(text);
    return json.is_array() ? json.get<std::vector<std::string>>() : std::vector<std::string>();
}

KeyChange KeyChangeOf(const std::string& text)
{
    const Json json = Json::parse(text);
    KeyChange change;
    Take(json, "value", change.value);
    Take(json, "interpolation", change.interpolation);
    Take(json, "tangent", change.tangent);
    Take(json, "clamped", change.clamped);
    Take(json, "leftSlope", change.leftSlope);
    Take(json, "rightSlope", change.rightSlope);
    Take(json, "leftWeight", change.leftWeight);
    Take(json, "rightWeight", change.rightWeight);
    Take(json, "tension", change.tension);
    Take(json, "continuity", change.continuity);
    Take(json, "bias", change.bias);
    return change;
}

PlotRequest PlotRequestOf(const std::string& text)
{
    const Json json = Json::parse(text);
    PlotRequest request;
    Take(json, "layers", request.layers);
    Take(json, "nodes", request.nodes);
    Take(json, "target", request.target);
    Take(json, "tolerance", request.tolerance);
    Take(json, "everyFrame", request.everyFrame);
    return request;
}

DragOptions DragOptionsOf(const std::string& text)
{
    const Json json = Json::parse(text);
    DragOptions options;
    Take(json, "mode", options.mode);
    Take(json, "copy", options.copy);
    Take(json, "rippleTime", options.rippleTime);
    Take(json, "rippleValue", options.rippleValue);
    Take(json, "rippleAllValues", options.rippleAllValues);
    Take(json, "scaleCentre", options.scaleCentre);
    return options;
}

TangentHandle TangentHandleOf(const std::string& text)
{
    const Json json = Json::parse(text);
    TangentHandle handle;
    Take(json, "track", handle.track);
    Take(json, "index", handle.index);
    Take(json, "side", handle.side);
    return handle;
}

TangentTarget TangentTargetOf(const std::string& text)
{
    const Json json = Json::parse(text);
    TangentTarget target;
    Take(json, "slope", target.slope);
    Take(json, "weight", target.weight);
    Take(json, "givesWeights", target.givesWeights);
    Take(json, "breaks", target.breaks);
    return target;
}

FilterRequest FilterRequestOf(const std::string& text)
{
    const Json json = Json::parse(text);
    FilterRequest request;
    Take(json, "steps", request.steps);
    Take(json, "nodes", request.nodes);
    Take(json, "layer", request.layer);
    return request;
}

// --- To the page ---------------------------------------------------------------------------------------

val NumbersOfKeys(const std::vector<TrackKeys>& keys)
{
    std::vector<int> numbers;
    for (const TrackKeys& each : keys) {
        numbers.push_back(each.track);
        numbers.push_back(static_cast<int>(each.indices.size()));
        numbers.insert(numbers.end(), each.indices.begin(), each.indices.end());
    }
    return ArrayOf(numbers);
}

val ValueOf(const KeyTable& table)
{
    val keys = val::object();
    keys.set("time", ArrayOf(table.time));
    keys.set("value", ArrayOf(table.value));
    keys.set("interpolation", ArrayOf(table.interpolation));
    keys.set("tangent", ArrayOf(table.tangent));
    keys.set("clamped", ArrayOf(table.clamped));
    keys.set("selected", ArrayOf(table.selected));
    keys.set("leftSlope", ArrayOf(table.leftSlope));
    keys.set("rightSlope", ArrayOf(table.rightSlope));
    keys.set("leftWeight", ArrayOf(table.leftWeight));
    keys.set("rightWeight", ArrayOf(table.rightWeight));
    keys.set("leftWeighted", ArrayOf(table.leftWeighted));
    keys.set("rightWeighted", ArrayOf(table.rightWeighted));
    keys.set("tension", ArrayOf(table.tension));
    keys.set("continuity", ArrayOf(table.continuity));
    keys.set("bias", ArrayOf(table.bias));
    return keys;
}

val ValueOf(const CurveDrawing& drawing)
{
    val result = val::object();
    result.set("first", ArrayOf(drawing.first));
    result.set("points", ArrayOf(drawing.points));
    return result;
}

val ValueOf(const KeyDrawing& drawing)
{
    val result = val::object();
    result.set("first", ArrayOf(drawing.first));
    result.set("points", ArrayOf(drawing.points));
    result.set("index", ArrayOf(drawing.index));
    result.set("selected", ArrayOf(drawing.selected));
    result.set("inSight", ArrayOf(drawing.inSight));
    return result;
}

val ValueOf(const Picture& picture)
{
    val result = val::object();
    result.set("width", picture.width);
    result.set("height", picture.height);
    // Millions of them: the page looks at the drawer's own.
    result.set("pixels", val(emscripten::typed_memory_view(picture.pixels.size(), picture.pixels.data())));
    return result;
}

std::string Dump(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string TextOf(const KeyRange& range)
{
    return Dump({{"count", range.count},
                 {"start", TicksOf(range.start)},
                 {"stop", TicksOf(range.stop)},
                 {"least", range.least},
                 {"greatest", range.greatest}});
}

std::string TextOf(const std::vector<ymotion::PlottedProperty>& properties)
{
    Json json = Json::array();
    for (const ymotion::PlottedProperty& property : properties) {
        json.push_back({{"path", ymotion::PathOf(*property.node)},
                        {"unit", ymotion::UnitOf(*property.node)},
                        {"isResampled", property.resampled},
                        {"keysBefore", property.keysBefore},
                        {"keysAfter", property.keysAfter},
                        {"largest", property.largest},
                        {"time", TicksOf(property.when)}});
    }
    return Dump(json);
}

}  // namespace editor
