/* Compiles as C against the umbrella header and drives both flat interfaces
 * through the shared library: defaults, init, a few blocks, latency,
 * release. */
#include <hvtralofx/hvtralofx.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  HVSFX_Param param;
  short samples[2 * 1024];
  int i;
  int latency = -1;
  bool on = false;
  if (HVSFX_GetDefaultParam(&param) != 1) return 1;
  if (memcmp(&param, &HVSFX_Param_Default, sizeof param) != 0) return 7;
  param.nFrameSize = 256;
  if (HVSFX_Init(&param) != 1) return 2;
  if (HVSFX_Surround_SetEnable(&param, true) != 1) return 3;
  for (i = 0; i < 2 * 1024; ++i) samples[i] = (short)((i * 37) % 2000 - 1000);
  if (HVSFX_Process(&param, samples, 1024) != 1) return 4;
  /* the block, and the limiter's look-ahead block (it is on by default) */
  if (HVSFX_GetLatency(&param, &latency) != 1 || latency != 2 * 256) return 8;
  if (HVSFX_Release(&param) != 1) return 5;
  if (HVSFX_Process(&param, samples, 1024) != 0) return 6;
  if (HVTralo_Init(48000, 2) != 1 || HVTralo_SetEnable(true) != 1 || HVTralo_GetEnable(&on) != 1 || !on) return 9;
  if (HVTralo_Process(samples, 1024) != 1 || HVTralo_Release() != 1) return 10;
  puts("c interface ok");
  return 0;
}
