/* libhvtralofx: fixed-point audio post-processing for Android audio hosts.
 *
 * The one header a host includes. From C it declares the two flat
 * interfaces; from C++ it also declares the fixed-point FFT kit and the
 * processing classes. */
#ifndef HVTRALOFX_HVTRALOFX_H
#define HVTRALOFX_HVTRALOFX_H

/* Front interface (HVTralo_*): one effect with a master switch over the
 * library's own record. */
#include "api/HVTralo_Front.h"

/* Engine interface (HVSFX_*), over a record of the host's own. */
#include "api/HVSFX_Param.h"
#include "api/HVSFX_Engine.h"
#include "api/HVSFX_Switches.h"
#include "api/HVSFX_AdaVControl.h"
#include "api/HVSFX_EQControl.h"
#include "api/HVSFX_SoundbarControl.h"

#ifdef __cplusplus
/* C++ interfaces: FFT kit and processing classes. */
#include "fixedpoint/FixedFFT.h"
#include "eq/CHVAudioEQ_Ts.h"
#include "loudness/CDynamicRangeControl.h"
#include "loudness/CAdaptiveVolume_S24.h"
#include "filters/CFiltFiltFxd.h"
#include "filters/CFIRFxd.h"
#include "filters/CDCBlockerMAFxd.h"
#include "filters/CNGOIntegratorFxd.h"
#include "filters/CDelayLineFxd.h"
#include "soundbar/CSoundbar4Fxd.h"
#endif  /* __cplusplus */

#endif
