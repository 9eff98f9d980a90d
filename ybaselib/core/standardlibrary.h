#pragma once

#include <bit>
#include <charconv>
#include <memory>
#include <version>

#include "ybaselib/core/realtext.h"

/// \file
/// Parts of the standard library of C++20 that the one of WebAssembly compilers lacks. Where the standard
/// library has them, these are its own.

namespace ybase {

#ifdef __cpp_lib_bit_cast
using std::bit_cast;
#else
template<class To, class From>
constexpr To bit_cast(const From& from)
{
    return __builtin_bit_cast(To, from);
}
#endif

#ifdef __cpp_lib_smart_ptr_for_overwrite
using std::make_unique_for_overwrite;
#else
/// For arrays alone.
template<class Array>
std::unique_ptr<Array> make_unique_for_overwrite(std::size_t count)
{
    return std::unique_ptr<Array>(new std::remove_extent_t<Array>[count]);
}
#endif

using std::from_chars;
using std::to_chars;
#ifndef __cpp_lib_to_chars
template<class Real, class = std::enable_if_t<std::is_floating_point_v<Real>>>
std::from_chars_result from_chars(const char* text, const char* end, Real& value)
{
    return ReadRealText(text, end, value);
}

template<class Real, class = std::enable_if_t<std::is_floating_point_v<Real>>>
std::to_chars_result to_chars(char* to, char* end, Real value, std::chars_format format = {})
{
    return SpellRealText(to, end, value, format);
}
#endif

}  // namespace ybase

/// For objects with a recursive mutex that are made before any code runs. Emscripten's has no constexpr
/// constructor; its builds have one thread.
#ifdef __EMSCRIPTEN__
#define YBASE_CONSTINIT_MUTEX
#else
#define YBASE_CONSTINIT_MUTEX constinit
#endif
