#include "ymotion/formats/gltf_buffers.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include <fmt/format.h>

#include "ymotion/text/failure.h"
#include "ymotion/text/percent.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

static_assert(std::endian::native == std::endian::little, "buffers are read as they stand in the file");

/// Whole numbers beyond this lose digits in JSON.
constexpr double kLargestNumber = 9007199254740992.0;

/// The types of numbers in buffers.
enum class Component : std::size_t
{
    Byte = 5120,
    UnsignedByte = 5121,
    Short = 5122,
    UnsignedShort = 5123,
    UnsignedInt = 5125,
    Float = 5126
};

/// 0 for what is no such type.
std::size_t BytesOf(std::size_t component)
{
    switch (static_cast<Component>(component)) {
        case Component::Byte:
        case Component::UnsignedByte:
            return 1;
        case Component::Short:
        case Component::UnsignedShort:
            return 2;
        case Component::UnsignedInt:
        case Component::Float:
            return 4;
    }
    return 0;
}

template<class Number>
float Decode(const char* bytes, bool normalised)
{
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    if constexpr (std::is_floating_point_v<Number>) {
        return number;
    } else {
        const auto value = static_cast<double>(number);
        if (!normalised) return static_cast<float>(value);
        return static_cast<float>(std::max(value / double{std::numeric_limits<Number>::max()}, -1.0));
    }
}

float Decode(const char* bytes, Component component, bool normalised)
{
    switch (component) {
        case Component::Byte:
            return Decode<std::int8_t>(bytes, normalised);
        case Component::UnsignedByte:
            return Decode<std::uint8_t>(bytes, normalised);
        case Component::Short:
            return Decode<std::int16_t>(bytes, normalised);
        case Component::UnsignedShort:
            return Decode<std::uint16_t>(bytes, normalised);
        case Component::UnsignedInt:
            return Decode<std::uint32_t>(bytes, normalised);
        case Component::Float:
            return Decode<float>(bytes, normalised);
    }
    return 0;
}

/// An index out of a buffer, of an unsigned type.
std::size_t DecodeIndex(const char* bytes, std::size_t size)
{
    std::uint32_t index = 0;
    std::memcpy(&index, bytes, size);
    return index;
}

/// 64 for what is no digit.
unsigned Base64Digit(char c)
{
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned>(c - 'A');
    if (c >= 'a' && c <= 'z') return static_cast<unsigned>(c - 'a') + 26;
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0') + 52;
    if (c == '+' || c == '-') return 62;
    if (c == '/' || c == '_') return 63;
    return 64;
}

/// Nothing for what is no base64.
std::optional<std::string> DecodeBase64(std::string_view text)
{
    while (!text.empty() && text.back() == '=') text.remove_suffix(1);
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    unsigned bits = 0;
    int held = 0;
    for (const char c : text) {
        const unsigned digit = Base64Digit(c);
        if (digit > 63) return std::nullopt;
        bits = (bits << 6 | digit) & 0xFFFFFF;
        held += 6;
        if (held < 8) continue;
        held -= 8;
        bytes += static_cast<char>(bits >> held & 0xFF);
    }
    return bytes;
}

/// Whether a path stays in the folder that it starts from, whatever the system.
bool StaysInside(const std::string& path)
{
    if (path.empty() || path.front() == '/') return false;
    if (path.find_first_of(std::string_view("\\:\0", 3)) != std::string::npos) return false;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (path.compare(start, end - start, "..") == 0) return false;
        start = end + 1;
    }
    return true;
}

}  // namespace

void GltfJson::Fail(const std::string& where, const std::string& message) const
{
    throw Failure(fmt::format("{}: {}: {}", mFile, where, message));
}

const GltfJson::Json* GltfJson::Find(const Json& object, const char* member) const
{
    if (!object.is_object()) return nullptr;
    const auto found = object.find(member);
    return found != object.end() ? &*found : nullptr;
}

const GltfJson::Json& GltfJson::List(const Json& object, const char* member, const std::string& where) const
{
    static const Json empty = Json::array();
    const Json* found = Find(object, member);
    if (found == nullptr) return empty;
    if (!found->is_array()) Fail(where, fmt::format("{} is not a list; export the file again", member));
    return *found;
}

const GltfJson::Json& GltfJson::Element(const char* list, std::size_t index) const
{
    return List(mRoot, list, "the file")[index];
}

std::size_t GltfJson::ToNumber(const Json& value, const char* name, const std::string& where) const
{
    const double number = value.is_number() ? value.get<double>() : -1.0;
    if (!(number >= 0 && number <= kLargestNumber && number == std::floor(number)))
        Fail(where, fmt::format("{} is not a whole number from 0 up; export the file again", name));
    return static_cast<std::size_t>(number);
}

std::size_t GltfJson::CheckIndex(std::size_t index, const char* name, const char* list,
                                 const std::string& where) const
{
    const std::size_t count = List(mRoot, list, "the file").size();
    if (index < count) return index;
    Fail(where,
         fmt::format("{} is {}, but there are {} {}; export the file again", name, index, count, list));
}

std::optional<std::size_t> GltfJson::FindNumber(const Json& object, const char* member,
                                                const std::string& where) const
{
    const Json* found = Find(object, member);
    if (found == nullptr) return std::nullopt;
    return ToNumber(*found, member, where);
}

std::size_t GltfJson::Number(const Json& object, const char* member, const std::string& where) const
{
    if (const std::optional<std::size_t> number = FindNumber(object, member, where)) return *number;
    Fail(where, fmt::format("there is no {}; export the file again", member));
}

std::optional<std::size_t> GltfJson::FindIndex(const Json& object, const char* member, const char* list,
                                               const std::string& where) const
{
    const std::optional<std::size_t> index = FindNumber(object, member, where);
    if (index) CheckIndex(*index, member, list, where);
    return index;
}

std::size_t GltfJson::Index(const Json& object, const char* member, const char* list,
                            const std::string& where) const
{
    return CheckIndex(Number(object, member, where), member, list, where);
}

std::size_t GltfJson::IndexOf(const Json& value, const char* list, const std::string& where) const
{
    return CheckIndex(ToNumber(value, "an element", where), "an element", list, where);
}

const std::string& GltfJson::Text(const Json& object, const char* member, const std::string& where) const
{
    static const std::string none;
    const Json* found = Find(object, member);
    if (found == nullptr) return none;
    if (!found->is_string()) Fail(where, fmt::format("{} is not text; export the file again", member));
    return found->get_ref<const std::string&>();
}

std::vector<double> GltfJson::Numbers(const Json& object, const char* member, std::size_t count,
                                      const std::string& where) const
{
    const Json& list = List(object, member, where);
    const bool whole = list.size() == count && std::all_of(list.begin(), list.end(), [](const Json& each) {
                           return each.is_number() &&
                                  std::abs(each.get<double>()) <= double{std::numeric_limits<float>::max()};
                       });
    if (!whole)
        Fail(where, fmt::format("{} is not a list of {} numbers; export the file again", member, count));
    return list.get<std::vector<double>>();
}

/// How the elements of an accessor lie.
struct GltfBuffers::Layout
{
    std::size_t count = 0;
    std::size_t components = 1;
    Component component = Component::Float;
    bool normalised = false;

    std::size_t ElementBytes() const { return components * BytesOf(static_cast<std::size_t>(component)); }

    void Decode(const char* element, float* values) const
    {
        const std::size_t bytes = BytesOf(static_cast<std::size_t>(component));
        for (std::size_t i = 0; i < components; ++i) {
            values[i] = ymotion::Decode(element + i * bytes, component, normalised);
        }
    }
};

GltfBuffers::GltfBuffers(const GltfJson& json, std::string_view binary, std::optional<std::string> folder,
                         std::size_t fileBytes)
    : mJson(json),
      mBinary(binary),
      mFolder(std::move(folder)),
      // Tracks may share their times, and a key of small integers takes fewer bytes than numbers.
      mRoom(1'000'000 + 4 * fileBytes)
{}

GltfBuffers::Layout GltfBuffers::LayoutOf(const GltfJson::Json& accessor, const std::string& where)
{
    Layout layout;
    layout.count = mJson.Number(accessor, "count", where);
    const std::size_t component = mJson.Number(accessor, "componentType", where);
    if (BytesOf(component) == 0) {
        mJson.Fail(where,
                   fmt::format("componentType {} is no type of numbers; export the file again", component));
    }
    layout.component = static_cast<Component>(component);
    const GltfJson::Json* normalised = mJson.Find(accessor, "normalized");
    layout.normalised = normalised != nullptr && normalised->is_boolean() && normalised->get<bool>();
    return layout;
}

std::size_t GltfBuffers::CountOf(std::size_t accessor) const
{
    return mJson.Number(mJson.Element("accessors", accessor), "count",
                        fmt::format("accessors[{}]", accessor));
}

std::vector<float> GltfBuffers::Read(std::size_t index, const char* type)
{
    const std::string where = fmt::format("accessors[{}]", index);
    const GltfJson::Json& accessor = mJson.Element("accessors", index);
    Layout layout = LayoutOf(accessor, where);
    if (mJson.Text(accessor, "type", where) != type) {
        mJson.Fail(where, fmt::format("type is {}, but {} is needed; export the file again",
                                      Quoted(mJson.Text(accessor, "type", where)), type));
    }
    layout.components = std::strcmp(type, "SCALAR") == 0 ? 1 : static_cast<std::size_t>(type[3] - '0');
    std::optional<std::string_view> elements;
    std::size_t stride = layout.ElementBytes();
    if (const auto view = mJson.FindIndex(accessor, "bufferView", "bufferViews", where)) {
        elements = Elements(*view, mJson.FindNumber(accessor, "byteOffset", where).value_or(0), layout.count,
                            layout.ElementBytes(), stride, where);
    }
    if (layout.count > mRoom / layout.components)
        mJson.Fail(where, "it has more numbers than the file can hold; export the file again");
    mRoom -= layout.count * layout.components;
    std::vector<float> values(layout.count * layout.components, 0.0f);
    for (std::size_t i = 0; elements && i < layout.count; ++i) {
        layout.Decode(elements->data() + i * stride, &values[i * layout.components]);
    }
    if (const GltfJson::Json* sparse = mJson.Find(accessor, "sparse"))
        ReadSparse(*sparse, layout, values, where);
    const auto odd =
        std::find_if(values.begin(), values.end(), [](float value) { return !std::isfinite(value); });
    if (odd != values.end())
        mJson.Fail(where,
                   fmt::format("number {} is not finite; export the file again", odd - values.begin() + 1));
    return values;
}

void GltfBuffers::ReadSparse(const GltfJson::Json& sparse, const Layout& layout, std::vector<float>& values,
                             const std::string& accessor)
{
    const std::string where = accessor + ".sparse";
    const std::size_t count = mJson.Number(sparse, "count", where);
    const GltfJson::Json* indices = mJson.Find(sparse, "indices");
    const GltfJson::Json* substitutes = mJson.Find(sparse, "values");
    if (indices == nullptr || substitutes == nullptr)
        mJson.Fail(where, "there are no indices and values; export the file again");
    const std::size_t indexBytes = BytesOf(mJson.Number(*indices, "componentType", where));
    if (indexBytes == 0) mJson.Fail(where, "the indices have no type of numbers; export the file again");
    std::size_t indexStride = indexBytes;
    std::size_t valueStride = layout.ElementBytes();
    const auto elementsOf = [&](const GltfJson::Json& part, std::size_t bytes, std::size_t& stride) {
        return Elements(mJson.Index(part, "bufferView", "bufferViews", where),
                        mJson.FindNumber(part, "byteOffset", where).value_or(0), count, bytes, stride, where);
    };
    const std::string_view places = elementsOf(*indices, indexBytes, indexStride);
    const std::string_view numbers = elementsOf(*substitutes, layout.ElementBytes(), valueStride);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place = DecodeIndex(places.data() + i * indexStride, indexBytes);
        if (place >= layout.count) {
            mJson.Fail(where, fmt::format("index {} is beyond the {} elements; export the file again", place,
                                          layout.count));
        }
        layout.Decode(numbers.data() + i * valueStride, &values[place * layout.components]);
    }
}

/// The bytes of elements in a view, from the first one on.
/// \param stride  from one to the next; the elements' own size at first.
std::string_view GltfBuffers::Elements(std::size_t view, std::size_t offset, std::size_t count,
                                       std::size_t bytes, std::size_t& stride, const std::string& user)
{
    const std::string where = fmt::format("bufferViews[{}]", view);
    const GltfJson::Json& json = mJson.Element("bufferViews", view);
    if (const GltfJson::Json* extensions = mJson.Find(json, "extensions");
        extensions != nullptr && !extensions->empty()) {
        mJson.Fail(where, "it is compressed in a way that is not read; export the file without compression");
    }
    const std::string_view buffer = Buffer(mJson.Index(json, "buffer", "buffers", where));
    const std::size_t start = mJson.FindNumber(json, "byteOffset", where).value_or(0);
    const std::size_t length = mJson.Number(json, "byteLength", where);
    if (start > buffer.size() || length > buffer.size() - start) {
        mJson.Fail(where, fmt::format("it ends behind the {} bytes of its buffer; the file is truncated, or "
                                      "has to be exported again",
                                      buffer.size()));
    }
    stride = std::max(stride, mJson.FindNumber(json, "byteStride", where).value_or(0));
    const bool fits =
        offset <= length &&
        (count == 0 || (bytes <= length - offset && count - 1 <= (length - offset - bytes) / stride));
    if (!fits) {
        mJson.Fail(user, fmt::format("{} elements do not fit into {}; export the file again", count, where));
    }
    return buffer.substr(start + offset, length - offset);
}

/// The bytes of a buffer, as many as it declares.
std::string_view GltfBuffers::Buffer(std::size_t index)
{
    const std::string where = fmt::format("buffers[{}]", index);
    const GltfJson::Json& json = mJson.Element("buffers", index);
    const std::string& uri = mJson.Text(json, "uri", where);
    std::string_view bytes;
    if (uri.empty()) {
        bytes = mBinary;
    } else if (uri.starts_with("data:")) {
        const std::size_t comma = uri.find(";base64,");
        if (mDecoded.count(index) == 0) {
            std::optional<std::string> decoded = comma == std::string::npos
                                                     ? std::nullopt
                                                     : DecodeBase64(std::string_view(uri).substr(comma + 8));
            if (!decoded) mJson.Fail(where, "uri is no base64 text; export the file again");
            mDecoded.emplace(index, std::move(*decoded));
        }
        bytes = mDecoded.at(index);
    } else {
        bytes = External(uri, where);
    }
    const std::size_t declared = mJson.Number(json, "byteLength", where);
    if (declared > bytes.size()) {
        mJson.Fail(where,
                   fmt::format("it has {} of {} bytes; the file is truncated, or has to be exported again",
                               bytes.size(), declared));
    }
    return bytes.substr(0, declared);
}

/// The content of a file beside this one, read once.
std::string_view GltfBuffers::External(const std::string& uri, const std::string& where)
{
    const std::string path = PercentDecoded(uri);
    if (!StaysInside(path)) {
        mJson.Fail(where,
                   fmt::format("{} is outside of the file's folder, where nothing is read; move it beside "
                               "the file, or export a .glb file",
                               QuotedName(path)));
    }
    if (!mFolder) {
        mJson.Fail(where, fmt::format(
                              "the numbers are in another file, {}, which cannot be read from here; make one "
                              ".glb file of both",
                              QuotedName(path)));
    }
    const auto known = mFiles.find(path);
    if (known != mFiles.end()) return known->second.View();
    const FileBytes& bytes = mFiles.emplace(path, ReadFile(*mFolder + path)).first->second;
    std::uint64_t all = 0;
    for (const auto& [name, content] : mFiles) all += content.View().size();
    CheckSize(mJson.File(), all);
    mRoom += 4 * bytes.View().size();
    return bytes.View();
}

}  // namespace ymotion
