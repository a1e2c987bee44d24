# Finds a Python 3 interpreter that can import the given modules:
#   hvfx_find_python(<var> MODULES numpy scipy [REQUIRED])
# sets <var> to its path, or to "" when none on the search path can. The
# first interpreter FindPython3 reports is often a user's own (pyenv, a
# virtual environment) without the system's packages, so every python3 on
# the PATH is tried in turn; the chosen one is then confirmed through
# find_package(Python3).
function(_hvfx_python_can_import result candidate)
  execute_process(COMMAND ${candidate} -c "import ${_hvfx_python_modules}"
                  RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
  if(failed)
    set(${result} FALSE PARENT_SCOPE)
  endif()
endfunction()

function(hvfx_find_python var)
  cmake_parse_arguments(arg "REQUIRED" "" "MODULES" ${ARGN})
  list(JOIN arg_MODULES ", " _hvfx_python_modules)
  if(NOT _hvfx_python_modules)
    set(_hvfx_python_modules sys)
  endif()
  set(cache_var HVFX_PYTHON_WITH_${arg_MODULES})
  string(MAKE_C_IDENTIFIER "${cache_var}" cache_var)
  find_program(${cache_var} NAMES python3 python VALIDATOR _hvfx_python_can_import
               NO_CMAKE_FIND_ROOT_PATH)
  if(${cache_var})
    set(Python3_EXECUTABLE ${${cache_var}})
    find_package(Python3 COMPONENTS Interpreter QUIET)
    set(${var} ${Python3_EXECUTABLE} PARENT_SCOPE)
    message(STATUS "hvtralofx: Python with ${_hvfx_python_modules}: ${Python3_EXECUTABLE}")
  elseif(arg_REQUIRED)
    message(FATAL_ERROR "hvtralofx needs a Python 3 that can import ${_hvfx_python_modules} "
                        "(Debian: python3 and python3-<module>; scripts/deps.sh lists them)")
  else()
    set(${var} "" PARENT_SCOPE)
  endif()
endfunction()
