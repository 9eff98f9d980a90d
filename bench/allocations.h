#pragma once

/// \file
/// How often the whole program, its libraries included, has asked the heap for memory.

long AllocationCount();
