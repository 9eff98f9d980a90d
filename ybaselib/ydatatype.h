#pragma once

#include "ybaselib/yexport.h"

/// \file
/// The types of animated properties.

/// The types that every process has; the names in quotes are those that files and `YDataType::Find` use.
enum class eDataType : int
{
    Bool,                   ///< "Bool"
    Integer,                ///< "Integer"
    Enum,                   ///< "Enum"
    Float,                  ///< "Float", single precision
    Double,                 ///< "Double"
    Number,                 ///< "Number", the plain animated number
    Time,                   ///< "Time", a `YTime`
    String,                 ///< "String", which has no curve
    Vector2,                ///< "Vector2D"
    Vector3,                ///< "Vector3D"
    Vector4,                ///< "Vector4D"
    Quaternion,             ///< "Quaternion", members x, y, z, w
    Matrix,                 ///< "Transform Matrix", 4 by 4
    Translation,            ///< "Translation"
    Rotation,               ///< "Rotation", Euler angles in degrees, as all rotations here
    Scaling,                ///< "Scaling"
    LocalTranslation,       ///< "Lcl Translation"
    LocalRotation,          ///< "Lcl Rotation"
    LocalScaling,           ///< "Lcl Scaling"
    MatrixTranslation,      ///< "Matrix Translation", a part of a transform matrix
    MatrixRotation,         ///< "Matrix Rotation"
    MatrixScaling,          ///< "Matrix Scaling"
    UVTranslation,          ///< "UV Translation", of a texture: three members, for u, v and w
    UVRotation,             ///< "UV Rotation"
    UVScaling,              ///< "UV Scaling"
    Color,                  ///< "Color", red, green and blue in 0..1
    ColorAndAlpha,          ///< "ColorAndAlpha", with opacity as fourth member
    Opacity,                ///< "Opacity"
    Intensity,              ///< "Intensity", of a light
    FieldOfView,            ///< "FieldOfView", of a camera, in degrees
    Weight,                 ///< "Weight", of a layer or a deformation, in per cent
    Visibility,             ///< "Visibility", hidden at 0
    VisibilityInheritance,  ///< "Visibility Inheritance"
    TimeWarp                ///< "Time Warp", a curve from time to time
};

/// What the value of a type is, or what each of its members is.
enum class eDataKind : int
{
    Bool,
    Integer,  ///< enumerations too
    Float,
    Double,
    Time,
    String
};

/// The type of an animated property.
///
/// There is one object for each type, for as long as the process runs: types are compared by address.
/// The built-in ones can be used from the first static initialiser on. Any thread may register types and look
/// them up at any time.
class YBASELIB_EXPORT YDataType
{
  public:
    /// As many members as the children of a curve node have names.
    static constexpr int MaximumMemberCount = 21;

    /// A built-in type; null for values outside the enumeration.
    static YDataType* Get(eDataType type);

    /// The type of a name, compared exactly; null for unknown names and for null.
    static YDataType* Find(const char* name);

    /// Adds a type of the host's own.
    /// \param name         copied; not empty.
    /// \param memberCount  how many curves animate the type: 0 (none) to `MaximumMemberCount`.
    /// \return  the type; the existing one when a type of that name has the same kind and member count;
    ///          null when it differs, the arguments are out of range or memory has run out.
    static YDataType* Register(const char* name, eDataKind kind, int memberCount);

    YDataType(const YDataType&) = delete;
    YDataType& operator=(const YDataType&) = delete;

    const char* GetName() const { return mName; }
    eDataKind GetKind() const { return mKind; }

    /// The number of components: 1 for a number, 3 for a vector, 0 for what cannot be animated.
    int GetMemberCount() const { return mMemberCount; }

  private:
    struct Registry;

    constexpr YDataType(const char* name, eDataKind kind, int memberCount)
        : mName(name), mKind(kind), mMemberCount(memberCount)
    {}

    const char* mName;
    eDataKind mKind;
    int mMemberCount;
};
