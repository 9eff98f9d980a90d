#pragma once

/// \file
/// How the library declares the few variables that each thread has for itself and that nearly every edit
/// reads.

/// In front of such a variable, which is a few bytes and starts as a constant. Reading it takes two
/// instructions where it has a fixed place among the variables of threads. The GNU C library has some room
/// there for libraries that are loaded late; others refuse to load a library that asks for such a place.
#ifdef __GLIBC__
#define YFC_THREAD_VARIABLE [[gnu::visibility("hidden"), gnu::tls_model("initial-exec")]]
#else
#define YFC_THREAD_VARIABLE [[gnu::visibility("hidden")]]
#endif
