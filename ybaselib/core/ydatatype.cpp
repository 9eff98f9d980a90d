#include "ybaselib/ydatatype.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

// Types of the host are linked into a list and stay until the process ends, since their address
// may still be held anywhere. The list is read without a lock: it only grows, and at its head.
struct YDataType::Registry
{
    struct HostType
    {
        std::unique_ptr<char[]> name;
        YDataType type;
        HostType* next;
    };

    static constexpr std::size_t builtInCount = static_cast<std::size_t>(eDataType::TimeWarp) + 1;
    static constinit YDataType builtIn[];
    static constinit std::mutex mutex;  // of those that register
    static constinit std::atomic<HostType*> hostTypes;
};

constinit YDataType YDataType::Registry::builtIn[] = {
    {"Bool", eDataKind::Bool, 1},
    {"Integer", eDataKind::Integer, 1},
    {"Enum", eDataKind::Integer, 1},
    {"Float", eDataKind::Float, 1},
    {"Double", eDataKind::Double, 1},
    {"Number", eDataKind::Double, 1},
    {"Time", eDataKind::Time, 1},
    {"String", eDataKind::String, 0},
    {"Vector2D", eDataKind::Double, 2},
    {"Vector3D", eDataKind::Double, 3},
    {"Vector4D", eDataKind::Double, 4},
    {"Quaternion", eDataKind::Double, 4},
    {"Transform Matrix", eDataKind::Double, 16},
    {"Translation", eDataKind::Double, 3},
    {"Rotation", eDataKind::Double, 3},
    {"Scaling", eDataKind::Double, 3},
    {"Lcl Translation", eDataKind::Double, 3},
    {"Lcl Rotation", eDataKind::Double, 3},
    {"Lcl Scaling", eDataKind::Double, 3},
    {"Matrix Translation", eDataKind::Double, 3},
    {"Matrix Rotation", eDataKind::Double, 3},
    {"Matrix Scaling", eDataKind::Double, 3},
    {"UV Translation", eDataKind::Double, 3},
    {"UV Rotation", eDataKind::Double, 3},
    {"UV Scaling", eDataKind::Double, 3},
    {"Color", eDataKind::Double, 3},
    {"ColorAndAlpha", eDataKind::Double, 4},
    {"Opacity", eDataKind::Double, 1},
    {"Intensity", eDataKind::Double, 1},
    {"FieldOfView", eDataKind::Double, 1},
    {"Weight", eDataKind::Double, 1},
    {"Visibility", eDataKind::Double, 1},
    {"Visibility Inheritance", eDataKind::Bool, 1},
    {"Time Warp", eDataKind::Time, 1},
};
constinit std::mutex YDataType::Registry::mutex;
constinit std::atomic<YDataType::Registry::HostType*> YDataType::Registry::hostTypes = nullptr;

YDataType* YDataType::Get(eDataType type)
{
    static_assert(std::size(Registry::builtIn) == Registry::builtInCount);
    const auto index = static_cast<std::size_t>(type);
    return index < Registry::builtInCount ? &Registry::builtIn[index] : nullptr;
}

YDataType* YDataType::Find(const char* name)
{
    if (name == nullptr) return nullptr;
    for (YDataType& type : Registry::builtIn)
        if (std::strcmp(type.mName, name) == 0) return &type;
    for (Registry::HostType* entry = Registry::hostTypes; entry != nullptr; entry = entry->next)
        if (std::strcmp(entry->type.mName, name) == 0) return &entry->type;
    return nullptr;
}

YDataType* YDataType::Register(const char* name, eDataKind kind, int memberCount)
{
    if (name == nullptr || *name == '\0') return nullptr;
    if (memberCount < 0 || memberCount > MaximumMemberCount) return nullptr;
    const std::lock_guard lock(Registry::mutex);
    if (YDataType* existing = Find(name)) {
        const bool same = existing->mKind == kind && existing->mMemberCount == memberCount;
        return same ? existing : nullptr;
    }
    const std::size_t size = std::strlen(name) + 1;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[size]);
    if (copy == nullptr) return nullptr;
    std::memcpy(copy.get(), name, size);
    const char* text = copy.get();
    auto* entry = new (std::nothrow)
        Registry::HostType{std::move(copy), YDataType(text, kind, memberCount), Registry::hostTypes};
    if (entry == nullptr) return nullptr;
    Registry::hostTypes = entry;
    return &entry->type;
}
