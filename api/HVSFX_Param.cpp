#include "hvtralofx/HVSFX_Param.h"

#include <cstring>

namespace {

constexpr HVSFX_Param MakeDefaultParam() {
  HVSFX_Param p{};
  p.nSampleRate = 48000;
  p.nFrameSize = 512;
  p.nInChannels = 2;
  p.nOutChannels = 2;
  p.nGainShift = 0;
  p.nEQBandNum = 8;
  p.fEQBandQ[0][0] = 2.0f;
  p.nLPFFreq[0] = 160;
  p.nHPFFreq[0] = 10000;
  p.nDynamicBassLevel = 5;
  p.nDynamicBassCutOffFreq = 200;
  p.bDRCEnable = true;
  p.nAdaVMode = 1;
  p.nAdaVRelativeVolume = 75;
  p.nAdaVStationSigMs = 6000;
  p.nAdaVBaseFlag = 0;
  p.nAdaVVolUpRate = 6;
  p.nAdaVVolDownRate = 6;
  p.nSoundbarDistance = 50;
  p.nSoundbarAngle = 1;
  p.nLFEFreq = 400;
  p.nLFEGain = -12;
  p.nLFESVMode = 1;
  p.nLFESVRelativeVolume = 75;
  p.nLFESVStationSigMs = 6000;
  p.nLFESVBaseFlag = 0;
  p.nLFESVVolUpRate = 6;
  p.nLFESVVolDownRate = 6;
  return p;
}

}  // namespace

const HVSFX_Param HVSFX_Param_Default = MakeDefaultParam();

extern "C" int HVSFX_GetDefaultParam(void* param) {
  if (param == nullptr) return 0;
  std::memcpy(param, &HVSFX_Param_Default, sizeof(HVSFX_Param));
  return 1;
}
