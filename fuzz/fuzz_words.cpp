#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "program/key_edit.h"
#include "tests/small_motion.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/formats/bvh.h"
#include "ymotion/text/failure.h"

/// \file
/// Any words of the command line are refused with one message, or
/// - filter a motion, a step a line, and leave only finite values in it;
/// - are a selection and an edit of keys: "keys", then lines for the selection, --move, --stretch-time, --scale
///   and --set, of which empty ones are not given.

namespace {

void Require(bool condition)
{
    if (!condition) std::abort();
}

std::vector<std::string> LinesOf(std::string_view text)
{
    std::vector<std::string> lines;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        lines.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

void RequireFiniteValues(YFCurveNode& node)
{
    if (YFCurve* curve = node.FCurveGet()) {
        for (int i = 0; i < curve->KeyGetCount(); ++i) Require(std::isfinite(curve->KeyGetValue(i)));
    }
    for (int i = 0; i < node.GetCount(); ++i) RequireFiniteValues(*node.Get(i));
}

void Filter(const std::vector<std::string>& texts)
{
    ymotion::Scene scene = ymotion::SceneOfBvh(ymotion::ParseBvh(test::kSmallMotion, "motion.bvh"));
    std::vector<ymotion::FilterStep> steps = ymotion::ParseSteps(texts, &scene);
    ymotion::ApplySteps(scene, steps, {});
    RequireFiniteValues(*scene.root);
}

void ParseKeyWords(const std::vector<std::string>& lines)
{
    const auto given = [&](std::size_t line) -> std::optional<std::string> {
        if (line >= lines.size() || lines[line].empty()) return std::nullopt;
        return lines[line];
    };
    const program::KeyRectangle rectangle = program::ParseKeyRectangle(given(1).value_or(":")).At({30, 1});
    Require(rectangle.start <= rectangle.stop && rectangle.least <= rectangle.greatest);
    const program::KeyEdit edit = program::ParseKeyEdit({given(2), given(3), given(4), given(5), false});
    Require(std::isfinite(edit.value) && std::isfinite(edit.factor) && std::isfinite(edit.valuePivot));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::vector<std::string> lines = LinesOf({reinterpret_cast<const char*>(bytes), size});
    try {
        if (lines.front() == "keys") {
            ParseKeyWords(lines);
        } else {
            Filter(lines);
        }
    } catch (const ymotion::Failure& failure) {
        Require(*failure.what() != '\0' &&
                std::string_view(failure.what()).find('\n') == std::string_view::npos);
    }
    return 0;
}
