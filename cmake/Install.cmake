# Installed are ybaselib and yfcurve, shared and static, ymotion, shared alone, their public headers, the program,
# a CMake package (find_package(yfcurve), targets yfcurve::yfcurve and yfcurve::motion) and pkg-config files. Everything finds everything else
# by relative paths, so that an installed tree can be moved.

include(CMakePackageConfigHelpers)

set(rooms ybaselib yfcurve)
set(libraries ybaselib ybaselib_static yfcurve yfcurve_static)
if(TARGET ymotion)
  list(APPEND rooms ymotion)
  list(APPEND libraries ymotion)
endif()

# The way from one directory of an installation to another.
function(yfcurve_relative_path result from to)
  file(RELATIVE_PATH path ${from} ${to})
  string(REGEX REPLACE "/$" "" path "${path}")
  set(${result} "${path}" PARENT_SCOPE)
endfunction()

set_target_properties(${rooms} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${libraries} EXPORT yfcurveTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The public headers are those of the umbrella header.
foreach(room ${rooms})
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${room}/all.h)
  file(STRINGS ${PROJECT_SOURCE_DIR}/${room}/all.h headers REGEX "^#include \"${room}/")
  list(TRANSFORM headers REPLACE "^#include \"(.*)\"" "${PROJECT_SOURCE_DIR}/\\1")
  install(FILES ${room}/all.h ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${room})
endforeach()

# Below another project this folder is that project's.
if(PROJECT_IS_TOP_LEVEL)
  install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright)
  install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()
# The editor's page, where `make editor` has made it.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/editor/ DESTINATION ${CMAKE_INSTALL_DATADIR}/yfcurve/editor OPTIONAL)

set(parts ${libraries})
if(TARGET yfcurve_program)
  yfcurve_relative_path(to_libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(yfcurve_program PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
  install(TARGETS yfcurve_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  list(APPEND parts yfcurve_program)
endif()
# What has to be built before installing: not the tests, not the examples.
add_custom_target(install-parts DEPENDS ${parts})

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/yfcurve)
configure_package_config_file(cmake/yfcurveConfig.cmake.in ${PROJECT_BINARY_DIR}/yfcurveConfig.cmake
  INSTALL_DESTINATION ${package_directory} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/yfcurveConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(EXPORT yfcurveTargets NAMESPACE yfcurve:: DESTINATION ${package_directory})
install(FILES ${PROJECT_BINARY_DIR}/yfcurveConfig.cmake ${PROJECT_BINARY_DIR}/yfcurveConfigVersion.cmake
  DESTINATION ${package_directory})

yfcurve_relative_path(to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(library ${rooms})
  configure_file(cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
