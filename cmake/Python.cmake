# Decides whether the Python package is built, and for which interpreter: YFCURVE_WITH_PYTHON, Python_EXECUTABLE.

set(YFCURVE_WITH_PYTHON OFF)
if(YFCURVE_BUILD_PYTHON STREQUAL "AUTO" AND (NOT YFCURVE_BUILD_PROGRAM OR YFCURVE_SANITIZE))
  # An interpreter that knows nothing of sanitizers cannot load what is built with them.
  return()
endif()
if(NOT YFCURVE_BUILD_PYTHON)
  return()
endif()

# One that PYTHON names takes the place of an earlier one.
if(NOT Python_EXECUTABLE OR NOT "$ENV{PYTHON}" STREQUAL "")
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/cmake/find-python.sh
    OUTPUT_VARIABLE found ERROR_VARIABLE why OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_STRIP_TRAILING_WHITESPACE)
  if(NOT found STREQUAL "${Python_EXECUTABLE}")
    # What was found out about the one before.
    get_cmake_property(known CACHE_VARIABLES)
    list(FILTER known INCLUDE REGEX "^(_?Python_|pybind11_DIR|PYTHON_|PYBIND11_PYTHON|FIND_PACKAGE_MESSAGE_DETAILS_Python)")
    foreach(variable ${known})
      unset(${variable} CACHE)
    endforeach()
  endif()
  if(found)
    set(Python_EXECUTABLE ${found} CACHE FILEPATH "The interpreter that the Python package is built for")
  endif()
endif()
if(Python_EXECUTABLE)
  message(STATUS "Python package: for ${Python_EXECUTABLE}")
  set(YFCURVE_WITH_PYTHON ON)
  if(NOT pybind11_DIR)
    execute_process(COMMAND ${Python_EXECUTABLE} -m pybind11 --cmakedir
      OUTPUT_VARIABLE pybind11_DIR OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
elseif(YFCURVE_BUILD_PYTHON STREQUAL "AUTO")
  message(STATUS "Python package: left out. ${why}")
else()
  message(FATAL_ERROR "${why}")
endif()
