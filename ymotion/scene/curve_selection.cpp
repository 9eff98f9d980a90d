#include "ymotion/scene/curve_selection.h"

#include <algorithm>
#include <charconv>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"
#include "ymotion/text/suggestion.h"

namespace ymotion {
namespace {

/// Calls `visit` for every node below the top one, parents first.
template<class Visit>
void VisitNodes(const YFCurveNode& node, const Visit& visit)
{
    for (int i = 0; i < node.GetCount(); ++i) {
        YFCurveNode& child = *node.Get(i);
        visit(child);
        VisitNodes(child, visit);
    }
}

/// A pattern without the places of the one node that it may mean.
std::string_view NamesOf(std::string_view pattern)
{
    return pattern.substr(0, pattern.find('\0'));
}

class Pattern
{
  public:
    explicit Pattern(std::string_view text) : mText(NamesOf(text))
    {
        mWhole = !mText.empty() && mText.front() == '/';
        mNames = Parts(mText.substr(mWhole ? 1 : 0));
        if (mText.size() < text.size()) mPlaces = Parts(text.substr(mText.size() + 1));
    }

    bool Matches(const YFCurveNode& node) const
    {
        if (!mPlaces.empty()) return HasPlaces(node);
        if (mText == node.GetName()) return true;
        const YFCurveNode* at = &node;
        for (auto name = mNames.rbegin(); name != mNames.rend(); ++name, at = at->GetParent()) {
            if (IsTop(at) || !MatchesName(*name, at->GetName())) return IsPath(node);
        }
        return !mWhole || IsTop(at);
    }

    std::string_view Text() const { return mText; }
    const std::vector<std::string_view>& Names() const { return mNames; }

  private:
    static std::vector<std::string_view> Parts(std::string_view text)
    {
        std::vector<std::string_view> parts;
        for (;;) {
            const std::size_t slash = text.find('/');
            parts.push_back(text.substr(0, slash));
            if (slash == std::string_view::npos) return parts;
            text.remove_prefix(slash + 1);
        }
    }

    static bool IsTop(const YFCurveNode* node) { return node == nullptr || node->GetParent() == nullptr; }

    /// Compared from the end, without building the path of every node.
    bool IsPath(const YFCurveNode& node) const
    {
        std::string_view rest = mText.substr(mWhole ? 1 : 0);
        for (const YFCurveNode* at = &node; !IsTop(at); at = at->GetParent()) {
            const std::string_view name = at->GetName();
            if (!rest.ends_with(name)) return false;
            rest.remove_suffix(name.size());
            if (IsTop(at->GetParent())) return rest.empty();
            if (!rest.ends_with('/')) return false;
            rest.remove_suffix(1);
        }
        return false;
    }

    bool HasPlaces(const YFCurveNode& node) const
    {
        const YFCurveNode* at = &node;
        for (auto place = mPlaces.rbegin(); place != mPlaces.rend(); ++place, at = at->GetParent()) {
            int number = -1;
            std::from_chars(place->data(), place->data() + place->size(), number);
            if (IsTop(at) || at->GetParent()->Get(number) != at) return false;
        }
        return IsTop(at);
    }

    std::string_view mText;
    bool mWhole = false;
    std::vector<std::string_view> mNames;
    std::vector<std::string_view> mPlaces;  ///< of the one node that is meant; none for patterns of names
};

/// Gathers the curves that a matched node means.
void AddCurves(const YFCurveNode& node, std::unordered_set<const YFCurve*>& curves)
{
    if (const YFCurve* curve = node.FCurveGet()) curves.insert(curve);
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (IsProperty(node) || IsProperty(child)) AddCurves(child, curves);
    }
}

/// Names of the scene that the missing one may be a slip of.
std::vector<std::string> NamesNear(const Scene& scene, std::string_view missing)
{
    std::vector<std::string> names;
    VisitNodes(*scene.root, [&](const YFCurveNode& node) { names.emplace_back(node.GetName()); });
    names = NearestNames(missing, names);
    std::transform(names.begin(), names.end(), names.begin(), [](const auto& name) { return Quoted(name); });
    return names;
}

/// The first name of a pattern that no node has; empty where only their sequence is wrong.
std::string_view FirstUnknown(const Scene& scene, const Pattern& pattern)
{
    for (const std::string_view name : pattern.Names()) {
        bool known = false;
        VisitNodes(*scene.root, [&](const YFCurveNode& node) { known |= MatchesName(name, node.GetName()); });
        if (!known) return name;
    }
    return {};
}

[[noreturn]] void FailUnmatched(const Scene& scene, const Pattern& pattern)
{
    const std::vector<std::string> near = NamesNear(scene, FirstUnknown(scene, pattern));
    const std::string advice =
        near.empty() ? fmt::format("'yfcurve info {}' lists what there is", ShellWord(scene.file))
                     : fmt::format("did you mean {}?", fmt::join(near, " or "));
    throw Unmatched(
        fmt::format("{}: no node matches {}; {}", scene.file, QuotedName(pattern.Text()), advice));
}

}  // namespace

bool MatchesName(std::string_view pattern, std::string_view name)
{
    // Greedy with one step back to the last star, which is enough for stars and question marks.
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t star = std::string_view::npos;
    std::size_t starName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starName = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || LowerCase(pattern[p]) == LowerCase(name[n]))) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::string PathOf(const YFCurveNode& node)
{
    std::vector<std::string_view> names;
    for (const YFCurveNode* at = &node; at->GetParent() != nullptr; at = at->GetParent()) {
        names.emplace_back(at->GetName());
    }
    return fmt::format("{}", fmt::join(names.rbegin(), names.rend(), "/"));
}

std::string PatternOf(const YFCurveNode& node)
{
    if (node.GetParent() == nullptr) return "*";
    std::string places;
    for (const YFCurveNode* at = &node; at->GetParent() != nullptr; at = at->GetParent())
        places = fmt::format("{}{}{}", at->GetParent()->Find(at), places.empty() ? "" : "/", places);
    return PathOf(node) + '\0' + places;
}

std::string PatternWords(const std::vector<std::string>& patterns)
{
    std::vector<std::string_view> names(patterns.size());
    std::transform(patterns.begin(), patterns.end(), names.begin(), NamesOf);
    return fmt::format("{}", fmt::join(names, ", "));
}

std::vector<YFCurveNode*> SelectNodes(const Scene& scene, const std::vector<std::string>& patterns)
{
    std::vector<Pattern> wanted(patterns.begin(), patterns.end());
    std::vector<bool> matched(wanted.size(), false);
    std::vector<YFCurveNode*> nodes;
    VisitNodes(*scene.root, [&](YFCurveNode& node) {
        bool isMeant = wanted.empty();
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            if (!wanted[i].Matches(node)) continue;
            isMeant = true;
            matched[i] = true;
        }
        if (isMeant) nodes.push_back(&node);
    });
    const auto unmatched = std::find(matched.begin(), matched.end(), false);
    if (unmatched != matched.end())
        FailUnmatched(scene, wanted[static_cast<std::size_t>(unmatched - matched.begin())]);
    return nodes;
}

std::vector<SelectedCurve> SelectCurves(const Scene& scene, const std::vector<std::string>& patterns)
{
    std::unordered_set<const YFCurve*> wanted;
    if (!patterns.empty()) {
        for (const YFCurveNode* node : SelectNodes(scene, patterns)) AddCurves(*node, wanted);
    }
    std::vector<SelectedCurve> curves;
    VisitNodes(*scene.root, [&](YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr || (!patterns.empty() && !wanted.contains(curve))) return;
        curves.push_back({curve, &node, IsProperty(node) ? &node : node.GetParent()});
    });
    return curves;
}

YFCurveNode* NodeOnLayer(const SelectedCurve& selected, const Layer& layer)
{
    YFCurveNode* property = selected.property;
    if (!layer.IsBase()) property = property->LayerGet(layer.GetLayerID());
    if (property == nullptr || selected.node == selected.property) return property;
    for (int i = 0; i < property->GetCount(); ++i) {
        if (property->Get(i)->ObjectLayerGet() == selected.node) return property->Get(i);
    }
    return nullptr;
}

std::vector<NamedProperty> NamedProperties(const Scene& scene)
{
    std::vector<NamedProperty> properties;
    std::unordered_map<std::string, int> seen;
    for (const SelectedCurve& selected : SelectCurves(scene, {})) {
        if (!properties.empty() && properties.back().node == selected.property) continue;
        std::string path = PathOf(*selected.property);
        const int place = seen[path]++;
        properties.push_back({selected.property, std::move(path), place});
    }
    return properties;
}

}  // namespace ymotion
