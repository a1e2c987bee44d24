# The one log line of the front interface goes through the Android log
# (__android_log_print). On Android liblog is part of the platform; on Linux
# Debian's android-liblog-dev provides the same library, and without it the
# library writes the line to standard error instead.
if(ANDROID)
  set(HVFX_LOG_LIBRARY log)
  set(HVFX_LOG_INCLUDE_DIR "")
else()
  find_path(HVFX_LOG_INCLUDE_DIR android/log.h PATHS /usr/include/android NO_CMAKE_FIND_ROOT_PATH)
  if(CMAKE_LIBRARY_ARCHITECTURE)
    set(_hvfx_log_hint /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
  endif()
  find_library(HVFX_LOG_LIBRARY NAMES log PATHS ${_hvfx_log_hint} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
endif()
if(HVFX_LOG_LIBRARY)
  message(STATUS "hvtralofx log: ${HVFX_LOG_LIBRARY}")
else()
  message(STATUS "hvtralofx log: liblog not found, logging to standard error")
endif()

function(hvfx_use_android_log target)
  if(HVFX_LOG_LIBRARY)
    target_compile_definitions(${target} PRIVATE HVFX_HAVE_ANDROID_LOG=1)
    if(HVFX_LOG_INCLUDE_DIR)
      target_include_directories(${target} SYSTEM PRIVATE ${HVFX_LOG_INCLUDE_DIR})
    endif()
  endif()
endfunction()

function(hvfx_link_android_log target)
  if(HVFX_LOG_LIBRARY)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:${HVFX_LOG_LIBRARY}>)
  endif()
endfunction()
