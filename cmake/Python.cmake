# Decides whether the Python package is built, and for which interpreter: YFCURVE_WITH_PYTHON, Python_EXECUTABLE.

set(YFCURVE_WITH_PYTHON OFF)
if(YFCURVE_BUILD_PYTHON STREQUAL "AUTO" AND (NOT YFCURVE_BUILD_PROGRAM OR YFCURVE_SANITIZE))
  # An interpreter that knows nothing of sanitizers cannot load what is built with them.
  return()
endif()
if(NOT YFCURVE_BUILD_PYTHON)
  return()
endif()

if(NOT Python_EXECUTABLE)
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/cmake/find-python.sh
    OUTPUT_VARIABLE found ERROR_VARIABLE why OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_STRIP_TRAILING_WHITESPACE)
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
