// An out-of-tree C++ host: only the umbrella header and -lhvtralofx.
#include <hvtralofx/hvtralofx.h>

#include <cstdio>
#include <cstring>
#include <vector>

int main() {
  HVSFX_Param param;
  if (HVSFX_GetDefaultParam(&param) != 1) return 1;
  if (std::memcmp(&param, &HVSFX_Param_Default, sizeof param) != 0) return 5;
  param.nSampleRate = 44100;
  param.nFrameSize = 256;
  if (HVSFX_Init(&param) != 1) return 2;
  HVSFX_Surround_SetEnable(&param, true);
  std::vector<short> samples(2 * 1000, 1234);
  if (HVSFX_Process(&param, samples.data(), 1000) != 1) return 3;
  if (HVSFX_Release(&param) != 1) return 4;
  std::puts("c++ consumer ok");
  return 0;
}
