#pragma once

#include <cstdint>
#include <utility>

#include "ybaselib/iobject.h"
#include "ybaselib/yexport.h"

/// \file
/// Weak references to objects: references that read null once the object is gone.

namespace ybase {
struct SpBlock;
}

/// The part of an object that weak references hang on. An object that implements `ISpObjectHolder` has
/// one as a member and hands it out from `GetSpHolder`.
///
/// It takes one word; the record that the references share is allocated when the first reference is made.
/// An object and the references to it belong to one thread, as the counting is not synchronised.
class YBASELIB_EXPORT YSpObjectHolder
{
  public:
    /// \param owner  the object that this holder is a member of; not null.
    explicit YSpObjectHolder(ISpObjectHolder* owner);

    /// Every reference to the owner reads null from now on.
    ~YSpObjectHolder();

    /// A holder belongs to one object; a copy of the object has a holder of its own.
    YSpObjectHolder(const YSpObjectHolder&) = delete;
    YSpObjectHolder& operator=(const YSpObjectHolder&) = delete;

    ISpObjectHolder* GetOwner() const;

  private:
    friend class YSpReference;

    ybase::SpBlock* GetBlock() const;
    ybase::SpBlock* GetOrCreateBlock();

    std::uintptr_t mWord;  // the owner's address until a block exists, then the block's address plus 1
};

/// Tells whether the object behind a holder still lives; the part of `YSpObject` that does not depend on
/// the object's type.
class YBASELIB_EXPORT YSpReference
{
  public:
    /// Refers to nothing.
    YSpReference() = default;

    /// Refers to the holder's owner; to nothing when the holder is null or memory has run out.
    explicit YSpReference(YSpObjectHolder* holder);

    YSpReference(const YSpReference& other);
    YSpReference(YSpReference&& other) noexcept : mBlock(std::exchange(other.mBlock, nullptr)) {}
    YSpReference& operator=(YSpReference other) noexcept
    {
        std::swap(mBlock, other.mBlock);
        return *this;
    }
    ~YSpReference();

    bool IsAlive() const;

  private:
    ybase::SpBlock* mBlock = nullptr;
};

/// A reference to an object that does not keep it alive and reads null after its end.
///
/// `T` is a class with a `GetSpHolder` operation. Copies refer to the same object. Like the object, a
/// reference belongs to one thread.
template<class T>
class YSpObject
{
  public:
    /// Refers to nothing.
    YSpObject() = default;

    /// Refers to an object, or to nothing when it is null. When memory runs out the reference reads null
    /// from the start.
    YSpObject(T* object) : mObject(object), mReference(object != nullptr ? object->GetSpHolder() : nullptr) {}

    /// The object; null when it is gone or there never was one.
    T* Get() const { return mReference.IsAlive() ? mObject : nullptr; }

    /// As `Get`; the object has to be there.
    T* operator->() const { return Get(); }
    T& operator*() const { return *Get(); }

    explicit operator bool() const { return Get() != nullptr; }

    /// Refers to nothing again.
    void Reset() { *this = YSpObject(); }

    /// Two references are equal when both read the same object, or both read null.
    friend bool operator==(const YSpObject& a, const YSpObject& b) { return a.Get() == b.Get(); }
    friend bool operator==(const YSpObject& a, const T* b) { return a.Get() == b; }

  private:
    T* mObject = nullptr;
    YSpReference mReference;
};
