/* Compiles as C against the umbrella header and drives the engine through
 * the flat interface only: defaults, init, a few blocks, release. */
#include <hvtralofx/hvtralofx.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  HVSFX_Param param;
  short samples[2 * 1024];
  int i;
  if (HVSFX_GetDefaultParam(&param) != 1) return 1;
  param.nFrameSize = 256;
  if (HVSFX_Init(&param) != 1) return 2;
  if (HVSFX_Surround_SetEnable(&param, true) != 1) return 3;
  for (i = 0; i < 2 * 1024; ++i) samples[i] = (short)((i * 37) % 2000 - 1000);
  if (HVSFX_Process(&param, samples, 1024) != 1) return 4;
  if (HVSFX_Release(&param) != 1) return 5;
  if (HVSFX_Process(&param, samples, 1024) != 0) return 6;
  puts("c interface ok");
  return 0;
}
