/* libhvtralofx: the version of these headers and of the library.
 *
 * HVTRALOFX_VERSION_STRING is the version the headers were installed with;
 * HVTralo_GetVersion() returns the version of the library actually loaded.
 * The two agree unless a host runs against another build than it was
 * compiled for. The same string appears in the front's initialisation log
 * line, the CMake package and pkg-config file; the major number is the
 * shared library's SONAME (libhvtralofx.so.<major>).
 *
 * This is the one place the version is written: the build reads it from
 * here (CMakeLists.txt). A release changes the three macros together. */
#ifndef HVTRALOFX_VERSION_H
#define HVTRALOFX_VERSION_H

#include "Export.h"

#define HVTRALOFX_VERSION_MAJOR 6
#define HVTRALOFX_VERSION_MINOR 0
#define HVTRALOFX_VERSION_STRING "6.0"

#ifdef __cplusplus
extern "C" {
#endif

/* The loaded library's version, "major.minor": a static string, never
 * null. Any thread, any time, also before HVTralo_Init. */
HVFX_API const char* HVTralo_GetVersion(void);

#ifdef __cplusplus
}
#endif

#endif /* HVTRALOFX_VERSION_H */
