/* libhvtralofx: fixed-point audio post-processing for Android audio hosts.
 *
 * The one header a host includes. From C it declares the two flat
 * interfaces; from C++ it also declares the fixed-point FFT kit and the
 * processing classes. */
#ifndef HVTRALOFX_HVTRALOFX_H
#define HVTRALOFX_HVTRALOFX_H

/* HVTRALOFX_VERSION_STRING and HVTralo_GetVersion(). */
#include "Version.h"

/* Front interface (HVTralo_*): one effect with a master switch over the
 * library's own record. */
#include "HVTralo_Front.h"

/* Instance interface (HVFX_*): any number of fronts, each with an engine
 * of its own. */
#include "HVFX_Engine.h"

/* Engine interface (HVSFX_*), over a record of the host's own. */
#include "HVSFX_Param.h"
#include "HVSFX_Engine.h"
#include "HVSFX_Switches.h"
#include "HVSFX_AdaVControl.h"
#include "HVSFX_EQControl.h"
#include "HVSFX_SoundbarControl.h"

#ifdef __cplusplus
/* C++ interfaces: FFT kit and processing classes. */
#include "FixedFFT.h"
#include "CHVAudioEQ_Ts.h"
#include "CDynamicRangeControl.h"
#include "CAdaptiveVolume_S24.h"
#include "CFiltFiltFxd.h"
#include "CFIRFxd.h"
#include "CDCBlockerMAFxd.h"
#include "CNGOIntegratorFxd.h"
#include "CDelayLineFxd.h"
#include "CSoundbar4Fxd.h"
#endif  /* __cplusplus */

#endif
