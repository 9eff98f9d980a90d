# What every target of the project shares, and how its libraries are made.

# Language, warnings and floating point. Contraction is off everywhere: results are defined by where
# they are rounded to single precision, and a fused multiply-add would move that place. So would g++ 12, whose
# straight-line vectoriser drops the rounding of neighbouring doubles to float and back.
function(yfcurve_defaults target)
  # In browsers only modules that are loaded at run time need it, and it is slower.
  set(position_independent ON)
  if(EMSCRIPTEN)
    set(position_independent OFF)
  endif()
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ${position_independent})
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -ffp-contract=off
    $<$<NOT:$<BOOL:${EMSCRIPTEN}>>:-fno-semantic-interposition>
    $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>
    # A library with symbols that are unique in a process would stay in it for good after `dlclose`.
    $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>
    $<$<BOOL:${YFCURVE_WERROR}>:-Werror>)
  if(YFCURVE_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${YFCURVE_SANITIZE} -fno-omit-frame-pointer
      -fno-sanitize-recover=all)
    target_link_options(${target} PUBLIC -fsanitize=${YFCURVE_SANITIZE})
  endif()
endfunction()

# The standard headers that most sources include, compiled once for each target. Of other libraries none: what all of
# their inline functions add to a source that calls few of them takes longer than reading their headers where they are
# needed. Sources include what they use all the same (the preset `fuzz` builds without this).
function(yfcurve_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <charconv> <cmath> <filesystem> <functional> <limits> <map> <memory> <new> <optional> <span>
    <string> <string_view> <utility> <vector>)
endfunction()

# One compilation, two libraries: `name` (shared) and `name_static`.
# yfcurve_library(name SOURCES ... DEPENDS other-library-names...)
function(yfcurve_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name}_objects OBJECT ${ARG_SOURCES})
  yfcurve_defaults(${name}_objects)
  yfcurve_precompile(${name}_objects)
  target_include_directories(${name}_objects PUBLIC ${PROJECT_SOURCE_DIR})
  if(EMSCRIPTEN)
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${name}_static)
    set(suffixes _static)
  else()
    add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
    # Calls within a library go straight to their target, not by way of a table that another could fill.
    target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    set(suffixes "" _static)
  endif()
  add_library(${name}_static STATIC $<TARGET_OBJECTS:${name}_objects>)
  set_target_properties(${name}_static PROPERTIES OUTPUT_NAME ${name})
  foreach(suffix IN LISTS suffixes)
    yfcurve_defaults(${name}${suffix})
    target_include_directories(${name}${suffix} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    foreach(dependency ${ARG_DEPENDS})
      target_link_libraries(${name}${suffix} PUBLIC ${dependency}${suffix})
    endforeach()
    add_library(yfcurve::${name}${suffix} ALIAS ${name}${suffix})
  endforeach()
  foreach(dependency ${ARG_DEPENDS})
    target_include_directories(${name}_objects PRIVATE
      $<TARGET_PROPERTY:${dependency},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
endfunction()
