#include "ymotion/text/suggestion.h"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ymotion/text/ascii.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr std::size_t kLongestName = 200;
constexpr std::size_t kSuggestions = 3;

std::string LowerText(std::string_view text)
{
    std::string result(text.substr(0, kLongestName));
    std::transform(result.begin(), result.end(), result.begin(), LowerCase);
    return result;
}

}  // namespace

std::size_t EditDistance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) row[j] = j;
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::vector<std::string> NearestNames(std::string_view missing, const std::vector<std::string>& names)
{
    const std::string wanted = LowerText(missing);
    if (wanted.empty()) return {};
    std::set<std::pair<std::size_t, std::string>> near;
    for (const std::string& full : names) {
        const std::string name = LowerText(full);
        const bool inside = wanted.size() >= 3 && name.find(wanted) != std::string::npos;
        const std::size_t distance = inside ? 0 : EditDistance(wanted, name);
        if (distance > std::max<std::size_t>(2, wanted.size() / 3)) continue;
        near.emplace(distance, full);
        if (near.size() > kSuggestions) near.erase(std::prev(near.end()));
    }
    std::vector<std::string> result;
    for (const auto& [distance, name] : near) {
        if (distance == 0 || near.begin()->first > 0) result.push_back(name);
    }
    return result;
}

std::string DidYouMean(std::string_view missing, const std::vector<std::string>& names,
                       std::string_view otherwise)
{
    std::vector<std::string> near = NearestNames(missing, names);
    if (near.empty()) return fmt::format("; {}", otherwise);
    const std::string last = near.back();
    near.pop_back();
    if (near.empty()) return fmt::format("; did you mean {}?", last);
    return fmt::format("; did you mean {} or {}?", fmt::join(near, ", "), last);
}

std::string NoneOf(std::string_view missing, const std::vector<std::string>& words)
{
    const std::string text = fmt::format("{} is none of {}", Quoted(missing), fmt::join(words, ", "));
    return NearestNames(missing, words).empty() ? text : text + DidYouMean(missing, words, "");
}

}  // namespace ymotion
