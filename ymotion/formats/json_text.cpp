#include "ymotion/formats/json_text.h"

#include <algorithm>

#include <fmt/format.h>

#include "ymotion/text/failure.h"

namespace ymotion {

nlohmann::json ParseJson(std::string_view text, const std::string& name, std::string_view notJson,
                         std::string_view advice)
{
    using Json = nlohmann::json;
    try {
        return Json::parse(text.begin(), text.end());
    } catch (const Json::parse_error& error) {
        const std::string_view before = text.substr(0, error.byte);
        FailAt(name, 1 + std::count(before.begin(), before.end(), '\n'), notJson);
    } catch (const Json::exception&) {
        throw Failure(fmt::format("{}: a number is beyond what a double can hold; {}", name, advice));
    }
}

}  // namespace ymotion
