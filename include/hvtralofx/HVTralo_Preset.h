/* Presets: the JSON form of every front-interface setting, as the tuning
 * tools write and read it (hvtralo-render --save-preset), checked and handed
 * to the library in one place. Shipped as its own library,
 * libhvtralofx_preset, beside libhvtralofx.
 *
 * A preset is a JSON object holding any subset of the complete form that
 * HVTralo_Preset_Complete writes; what it leaves out keeps its default.
 * Unknown keys, values of the wrong type, values out of range and settings
 * the stream's layout cannot run are refused with one line naming the key's
 * path and the value, e.g.
 *   eq.channels[0].bands[3].gain_db: 25 is out of range (-20 ... 20)
 *
 * Every function writes that line (NUL-terminated, cut to fit) into
 * `message` when it refuses, if `message` is not null and `size` > 0. A null
 * `preset` is the empty preset: every default. */
#ifndef HVTRALOFX_HVTRALO_PRESET_H
#define HVTRALOFX_HVTRALO_PRESET_H

#include <stddef.h>

#include "Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Checks a preset; with sampleRate and channels > 0 also that the stream
 * can run it (rate, channel count, a soundbar forced on). Returns 1 when it
 * is valid, 0 otherwise. */
HVFX_API int HVTralo_Preset_Check(const char* preset, int sampleRate, int channels, char* message, size_t size);

/* Checks the preset for the stream, then initialises the front interface
 * for it (HVTralo_Init) and hands it every setting, in the order that lets
 * each take effect from the first sample. Returns 1, or 0 with nothing
 * changed when the preset is refused (or the library refuses the stream,
 * with the front left released). */
HVFX_API int HVTralo_Preset_ApplyToFront(const char* preset, int sampleRate, int channels, char* message,
                                         size_t size);

/* The same for an engine instance (HVFX_Engine.h), at the rate and channel
 * count of its last HVFX_Init: it re-initialises the instance and hands it
 * every setting. Returns 1, or 0 with nothing changed when the preset is
 * refused or the instance was never initialised. */
typedef struct HVFX_Engine HVFX_Engine;
HVFX_API int HVTralo_Preset_ApplyToInstance(HVFX_Engine* engine, const char* preset, char* message, size_t size);

/* Writes the complete preset (every setting: `preset` laid over the
 * defaults) as JSON into `out`, cut to fit `outSize`. Returns the length it
 * needs including the NUL, or 0 when the preset is refused. */
HVFX_API size_t HVTralo_Preset_Complete(const char* preset, char* out, size_t outSize, char* message,
                                        size_t size);

#ifdef __cplusplus
}
#endif

#endif
