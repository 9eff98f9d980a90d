#pragma once

#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <emscripten/val.h>
#include <nlohmann/json.hpp>

#include "web/engine/dragging.h"
#include "web/engine/drawing.h"
#include "web/engine/filtering.h"
#include "web/engine/keys.h"
#include "web/engine/layers.h"
#include "web/engine/tangents.h"

/// \file
/// What crosses between the page and the engine.

namespace editor {

using Json = nlohmann::ordered_json;

// --- Failures ------------------------------------------------------------------------------------------

void NoteError(std::string message);
/// The message of the last failure; empty when it was taken before.
std::string TakeError();

/// The result of `act`, or one without content where it fails.
template<class Act>
auto Guarded(const Act& act) -> decltype(act())
{
    using Result = decltype(act());
    try {
        return act();
    } catch (const std::bad_alloc&) {
        NoteError("the browser has no memory left for that; close other pages, or take a smaller file");
    } catch (const std::exception& failure) {
        NoteError(failure.what());
    }
    if constexpr (std::is_same_v<Result, emscripten::val>) {
        return emscripten::val::undefined();
    } else if constexpr (!std::is_void_v<Result>) {
        return Result();
    }
}

// --- From the page -------------------------------------------------------------------------------------

template<class Number>
std::vector<Number> NumbersOf(const emscripten::val& array)
{
    return emscripten::convertJSArrayToNumberVector<Number>(array);
}

std::vector<YTime> TimesOf(const emscripten::val& array);
/// Both times, least and greatest value, width and height.
Window WindowOf(const emscripten::val& numbers);
/// A track, how many indices, and these; then the next one.
std::vector<TrackKeys> KeysOf(const emscripten::val& array);
/// An array of texts, as JSON.
std::vector<std::string> TextsOf(const std::string& text);

/// Sets what a member of an object is for, unless it is missing or null. Enumerations are numbers there.
template<class Value>
void Take(const Json& json, const char* name, Value& into)
{
    const auto found = json.find(name);
    if (found == json.end() || found->is_null()) return;
    if constexpr (std::is_enum_v<Value>) {
        into = static_cast<Value>(found->get<int>());
    } else {
        into = found->get<Value>();
    }
}

template<class Value>
void Take(const Json& json, const char* name, std::optional<Value>& into)
{
    if (!json.contains(name) || json[name].is_null()) return;
    into.emplace();
    Take(json, name, *into);
}

/// Sets what a member is the word for, unless it is missing or no such word.
template<class Value>
void TakeWord(const Json& json, const char* name, std::optional<Value> (*parse)(std::string_view),
              Value& into)
{
    std::string word;
    Take(json, name, word);
    if (const std::optional<Value> value = parse(word)) into = *value;
}

// Each of a JSON object with the members of the result that are to be set.
KeyChange KeyChangeOf(const std::string& text);
PlotRequest PlotRequestOf(const std::string& text);
DragOptions DragOptionsOf(const std::string& text);
TangentHandle TangentHandleOf(const std::string& text);
TangentTarget TangentTargetOf(const std::string& text);
FilterRequest FilterRequestOf(const std::string& text);

// --- To the page ---------------------------------------------------------------------------------------

template<class Number>
emscripten::val ArrayOf(const std::vector<Number>& numbers)
{
    return emscripten::val(emscripten::typed_memory_view(numbers.size(), numbers.data()))
        .template call<emscripten::val>("slice");
}

/// As `KeysOf` reads them.
emscripten::val NumbersOfKeys(const std::vector<TrackKeys>& keys);
emscripten::val ValueOf(const KeyTable& table);
emscripten::val ValueOf(const CurveDrawing& drawing);
emscripten::val ValueOf(const KeyDrawing& drawing);
emscripten::val ValueOf(const Picture& picture);

/// Names may hold any bytes; what is no UTF-8 is replaced for the page.
std::string Dump(const Json& json);
std::string TextOf(const KeyRange& range);
std::string TextOf(const std::vector<ymotion::PlottedProperty>& properties);

}  // namespace editor
