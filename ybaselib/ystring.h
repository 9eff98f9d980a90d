#pragma once

#include <compare>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "ybaselib/yexport.h"

/// \file
/// Text.

/// Compares two texts without regard to the case of ASCII letters, whatever the locale: both are compared
/// byte by byte as if in lower case. Null counts as the empty text.
/// \return  below, equal to or above 0 as `a` comes before, equals or comes after `b`.
YBASELIB_EXPORT int YStringCompareNoCase(const char* a, const char* b);
YBASELIB_EXPORT int YStringCompareNoCase(std::string_view a, std::string_view b);

/// A text of bytes (UTF-8 by convention) over `std::string`, with null taken as the empty text wherever
/// a `const char*` is. Running out of memory throws `std::bad_alloc`, as there, save in `Set`.
class YString
{
  public:
    YString() = default;
    YString(const char* text) : mText(text != nullptr ? text : "") {}
    YString(std::string_view text) : mText(text) {}
    YString(std::string text) : mText(std::move(text)) {}

    /// The text, ended by a zero byte; never null, valid until the string changes or ends.
    const char* Buffer() const { return mText.c_str(); }
    std::string_view View() const { return mText; }

    /// Bytes, the final zero not counted.
    int Len() const { return static_cast<int>(mText.size()); }
    bool IsEmpty() const { return mText.empty(); }
    void Clear() { mText.clear(); }

    /// Takes another text.
    /// \return  false, with the text as it was, when memory runs out.
    bool Set(const char* text)
    {
        try {
            mText = text != nullptr ? text : "";
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    /// The byte at an index in 0..`Len()`.
    char operator[](int index) const { return mText[static_cast<std::size_t>(index)]; }

    YString& operator+=(const YString& other)
    {
        mText += other.mText;
        return *this;
    }
    friend YString operator+(YString a, const YString& b) { return a += b; }

    /// As `YStringCompareNoCase`.
    int CompareNoCase(const char* other) const { return YStringCompareNoCase(Buffer(), other); }
    int CompareNoCase(const YString& other) const { return CompareNoCase(other.Buffer()); }

    friend bool operator==(const YString&, const YString&) = default;
    friend std::strong_ordering operator<=>(const YString&, const YString&) = default;
    friend bool operator==(const YString& a, const char* b) { return a.mText == (b != nullptr ? b : ""); }

  private:
    std::string mText;
};
