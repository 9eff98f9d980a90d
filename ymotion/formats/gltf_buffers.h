#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "ymotion/formats/file_io.h"

/// \file
/// The members of a glTF file's JSON, and the numbers in its buffers.

namespace ymotion {

/// The members of the JSON, with messages that name them.
class GltfJson
{
  public:
    using Json = nlohmann::json;

    GltfJson(Json root, std::string file) : mRoot(std::move(root)), mFile(std::move(file)) {}

    const Json& Root() const { return mRoot; }
    const std::string& File() const { return mFile; }

    /// Throws `Failure`: "walk.glb: nodes[2]: what; advice".
    [[noreturn]] void Fail(const std::string& where, const std::string& message) const;

    /// A member of an object; null without one.
    const Json* Find(const Json& object, const char* member) const;
    /// A member that is a list; an empty one without it.
    const Json& List(const Json& object, const char* member, const std::string& where) const;
    /// An element of a list of the whole file: "nodes".
    const Json& Element(const char* list, std::size_t index) const;
    /// A whole number from 0 up.
    std::optional<std::size_t> FindNumber(const Json& object, const char* member,
                                          const std::string& where) const;
    std::size_t Number(const Json& object, const char* member, const std::string& where) const;
    /// The number of an element of a list of the whole file.
    std::optional<std::size_t> FindIndex(const Json& object, const char* member, const char* list,
                                         const std::string& where) const;
    std::size_t Index(const Json& object, const char* member, const char* list,
                      const std::string& where) const;
    /// The same of a number that stands in a list.
    std::size_t IndexOf(const Json& value, const char* list, const std::string& where) const;
    /// Text; empty without it.
    const std::string& Text(const Json& object, const char* member, const std::string& where) const;
    /// A list of finite numbers.
    std::vector<double> Numbers(const Json& object, const char* member, std::size_t count,
                                const std::string& where) const;

  private:
    std::size_t ToNumber(const Json& value, const char* name, const std::string& where) const;
    std::size_t CheckIndex(std::size_t index, const char* name, const char* list,
                           const std::string& where) const;

    Json mRoot;
    std::string mFile;
};

/// Decodes accessors.
class GltfBuffers
{
  public:
    /// \param binary  the part of a binary file that follows its JSON; both have to outlive this.
    GltfBuffers(const GltfJson& json, std::string_view binary, std::optional<std::string> folder,
                std::size_t fileBytes);

    /// How many elements an accessor says that it has.
    std::size_t CountOf(std::size_t accessor) const;
    /// The numbers of an accessor: integers that are normalised are spread over -1 to 1, or 0 to 1.
    /// \param type  that it has to have: "SCALAR", "VEC3" or "VEC4".
    std::vector<float> Read(std::size_t index, const char* type);

  private:
    struct Layout;

    Layout LayoutOf(const GltfJson::Json& accessor, const std::string& where);
    void ReadSparse(const GltfJson::Json& sparse, const Layout& layout, std::vector<float>& values,
                    const std::string& accessor);
    std::string_view Elements(std::size_t view, std::size_t offset, std::size_t count, std::size_t bytes,
                              std::size_t& stride, const std::string& user);
    std::string_view Buffer(std::size_t index);
    std::string_view External(const std::string& uri, const std::string& where);

    const GltfJson& mJson;
    std::string_view mBinary;
    std::optional<std::string> mFolder;
    std::size_t mRoom;  ///< numbers that may still be decoded
    std::map<std::size_t, std::string> mDecoded;
    std::map<std::string, FileBytes> mFiles;
};

}  // namespace ymotion
