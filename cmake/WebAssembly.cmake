# What a build for browsers needs beside the compiler: exceptions, and the header-only libraries. Those of the system
# are for another machine, so that its include directory as a whole must not be seen: each gets a link of its own.

add_compile_options(-fwasm-exceptions)
add_link_options(-fwasm-exceptions)

set(YFCURVE_HEADERS ${PROJECT_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${YFCURVE_HEADERS})
foreach(library fmt/format.h nlohmann/json.hpp)
  string(REGEX REPLACE "/.*" "" folder ${library})
  find_path(${folder}_PLACE ${library} PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  file(CREATE_LINK ${${folder}_PLACE}/${folder} ${YFCURVE_HEADERS}/${folder} SYMBOLIC)
endforeach()
foreach(target fmt::fmt fmt::fmt-header-only nlohmann_json::nlohmann_json)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${YFCURVE_HEADERS})
endforeach()
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY)
