#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ymotion/scene/scene.h"

/// \file
/// Curves found by their path in the tree: "Hips/LeftUpLeg/Lcl Rotation/X".

namespace ymotion {

/// A curve and where it hangs.
struct SelectedCurve
{
    const YFCurve* curve = nullptr;
    const YFCurveNode* node = nullptr;  ///< that holds it
    YFCurveNode* property = nullptr;    ///< that it is a component of: "Lcl Rotation"
};

/// The names from a root of the scene down to a node, joined by "/"; the top node has no part in it.
std::string PathOf(const YFCurveNode& node);

/// The curves that any of the patterns means, each once, in the order of the tree; all curves without a
/// pattern.
///
/// A pattern is one or more names joined by "/", which have to match the end of a node's path: "Hips",
/// "Lcl Rotation/X", "Hips/LeftUpLeg". Inside a name "*" stands for any text and "?" for one character;
/// the case of ASCII letters does not count. A pattern that starts with "/" has to match the whole path.
/// A pattern that is just a node's path or name means that node whatever characters it has. A node means
/// the curves of its property, or of the properties of its joint, but not those of child joints.
///
/// Throws `Failure` for a pattern that matches nothing, and names what comes near.
std::vector<SelectedCurve> SelectCurves(const Scene& scene, const std::vector<std::string>& patterns);

/// The nodes that any of the patterns means by themselves, each once, in the order of the tree: joints,
/// properties and components; all nodes without a pattern. Throws as `SelectCurves` does.
std::vector<YFCurveNode*> SelectNodes(const Scene& scene, const std::vector<std::string>& patterns);

/// A pattern that means a node alone, and no other one of its path or with a name that its own name would match; of
/// the top node, everything. Its path is in front of a zero character, which no name holds, and its places among
/// the children of the nodes above it are behind that.
std::string PatternOf(const YFCurveNode& node);
/// Patterns as people are shown them.
std::string PatternWords(const std::vector<std::string>& patterns);

/// The node that holds what a layer has for a curve of the base layer; null where it has nothing.
YFCurveNode* NodeOnLayer(const SelectedCurve& selected, const Layer& layer);

/// A property and what tells it from all others: its path, and how many properties before it have the same
/// one.
struct NamedProperty
{
    YFCurveNode* node = nullptr;
    std::string path;
    int place = 0;
};

/// All properties with curves, in the order of the tree.
std::vector<NamedProperty> NamedProperties(const Scene& scene);

/// Whether a name matches a pattern with "*" and "?", regardless of the case of ASCII letters.
bool MatchesName(std::string_view pattern, std::string_view name);

}  // namespace ymotion
