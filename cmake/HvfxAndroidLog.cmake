# The one log line of the front interface goes through the Android log
# (__android_log_print). On Android liblog is part of the platform; elsewhere
# the build needs the same library as Debian packages it (android-liblog-dev,
# and android-liblog-dev:arm64 for the aarch64 cross build). There is no
# fallback: without liblog the configuration stops.
if(ANDROID)
  set(HVFX_LOG_LIBRARY log)
  set(HVFX_LOG_INCLUDE_DIR "")
  set(HVFX_LOG_LIBRARY_DIR "")
else()
  # Debian keeps both in an android/ folder of the usual places.
  find_path(HVFX_LOG_INCLUDE_DIR android/log.h PATH_SUFFIXES android)
  find_library(HVFX_LOG_LIBRARY NAMES log PATH_SUFFIXES android)
  if(NOT HVFX_LOG_LIBRARY OR NOT HVFX_LOG_INCLUDE_DIR)
    set(_hvfx_log_package android-liblog-dev)
    if(CMAKE_LIBRARY_ARCHITECTURE MATCHES "^aarch64")
      set(_hvfx_log_package android-liblog-dev:arm64)
    endif()
    message(FATAL_ERROR
      "hvtralofx needs the Android log library (liblog) and its header android/log.h for "
      "${CMAKE_LIBRARY_ARCHITECTURE}; install the Debian package ${_hvfx_log_package} "
      "(scripts/deps.sh lists it).")
  endif()
  # Debian keeps liblog outside the loader's search path: the installed
  # library records the directory as its run path.
  get_filename_component(HVFX_LOG_LIBRARY_DIR ${HVFX_LOG_LIBRARY} DIRECTORY)
endif()
message(STATUS "hvtralofx log: ${HVFX_LOG_LIBRARY}")

# pkg-config: what a host linking the static library adds.
if(HVFX_LOG_LIBRARY_DIR)
  set(HVFX_PC_LIBS_PRIVATE "-L${HVFX_LOG_LIBRARY_DIR} -Wl,-rpath,${HVFX_LOG_LIBRARY_DIR} -llog")
else()
  set(HVFX_PC_LIBS_PRIVATE "-llog")
endif()

function(hvfx_use_android_log target)
  if(HVFX_LOG_INCLUDE_DIR)
    target_include_directories(${target} SYSTEM PRIVATE ${HVFX_LOG_INCLUDE_DIR})
  endif()
endfunction()

# The shared library links liblog privately; the static library passes it on
# to whoever links it.
function(hvfx_link_android_log target)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    target_link_libraries(${target} INTERFACE ${HVFX_LOG_LIBRARY})
  else()
    target_link_libraries(${target} PRIVATE ${HVFX_LOG_LIBRARY})
    if(HVFX_LOG_LIBRARY_DIR)
      set_property(TARGET ${target} APPEND PROPERTY INSTALL_RPATH ${HVFX_LOG_LIBRARY_DIR})
    endif()
  endif()
endfunction()
