// Random sequences of front-interface calls: initialisation with any rate and
// channel count, processing with buffers sized exactly for the frames, every
// setter and getter with edge values, release and re-initialisation. Each
// input starts from the state the library has at load time, so a finding
// replays on its own.
#include "FuzzInput.h"
#include "api/FrontInternal.h"
#include "hvtralofx/hvtralofx.h"
#include "tests/support/ChainScenario.h"

using namespace hvfx::api;  // the engine's internals

using namespace hvfuzz;

namespace {

void Process(FuzzedDataProvider& in) {
  // Up to a little over two 512-frame blocks, so that the chain runs.
  const int frames = in.ConsumeIntegralInRange(-1, 1100);
  const int channels = hvfx::api::GlobalFront().record.nOutChannels;  // the layout the next call takes
  if (frames < 1 || channels < 1 || channels > HVSFX_MAX_CHANNELS || in.ConsumeProbability<float>() < 0.02f) {
    HVTralo_Process(nullptr, frames);
    return;
  }
  std::vector<short> buf = Samples<short>(in, static_cast<size_t>(frames) * static_cast<size_t>(channels));
  HVTralo_Process(buf.data(), frames);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  chain::ReloadLibrary();
  bool b = false;
  int i1 = 0, i2 = 0, i3 = 0, i4 = 0;
  float q = 0.0f;
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    const bool nullOut = in.ConsumeProbability<float>() < 0.05f;
    bool* pb = nullOut ? nullptr : &b;
    int* pi = nullOut ? nullptr : &i1;
    switch (in.ConsumeIntegralInRange(0, 27)) {
      case 0: HVTralo_Init(AnyRate(in), in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 7) : AnyInt(in)); break;
      case 1: HVTralo_Release(); break;
      case 2: case 3: case 4: Process(in); break;
      case 5: HVTralo_SetEnable(in.ConsumeBool()); HVTralo_GetEnable(pb); break;
      case 6: HVTralo_GetLatency(pi); break;
      case 7: HVTralo_DRC_SetEnable(in.ConsumeBool()); HVTralo_DRC_GetEnable(pb); break;
      case 8: HVTralo_AutoLevel_SetEnable(in.ConsumeBool()); HVTralo_AutoLevel_GetEnable(pb); break;
      case 9:
        HVTralo_AutoLevel_SetParam(AnyInt(in), AnyInt(in), AnyInt(in), AnyInt(in));
        HVTralo_AutoLevel_GetParam(pi, &i2, &i3, &i4);
        break;
      case 10:
        HVTralo_AutoLevel_SetVolUpDownRate(AnyInt(in), AnyInt(in));
        HVTralo_AutoLevel_GetVolUpDownRate(pi, &i2);
        break;
      case 11: HVTralo_Surround_SetEnable(in.ConsumeBool()); HVTralo_Surround_GetEnable(pb); break;
      case 12: HVTralo_EQ_SetEnable(in.ConsumeBool()); HVTralo_EQ_GetEnable(pb); break;
      case 13: {
        const int ch = AnyIndex(in), band = AnyIndex(in);
        HVTralo_EQ_SetBandGain(ch, band, AnyInt(in), AnyInt(in), AnyQ(in));
        HVTralo_EQ_GetBandGain(AnyIndex(in), AnyIndex(in), pi, &i2, &q);
        break;
      }
      case 14: HVTralo_EQ_SetLPFEnable(in.ConsumeBool()); break;
      case 15: HVTralo_EQ_SetHPFEnable(in.ConsumeBool()); break;
      case 16:
        HVTralo_EQ_SetLPFBandGain(AnyIndex(in), AnyInt(in), AnyInt(in));
        HVTralo_EQ_GetLPFBandGain(AnyIndex(in), pi, &i2);
        break;
      case 17:
        HVTralo_EQ_SetHPFBandGain(AnyIndex(in), AnyInt(in), AnyInt(in));
        HVTralo_EQ_GetHPFBandGain(AnyIndex(in), pi, &i2);
        break;
      case 18:
        HVTralo_DynamicBass_SetEnable(in.ConsumeBool());
        HVTralo_DynamicBass_GetEnable(pb);
        HVTralo_DynamicBass_SetLevel(AnyInt(in));
        HVTralo_DynamicBass_GetLevel(pi);
        HVTralo_DynamicBass_SetCutOffFreq(AnyInt(in));
        HVTralo_DynamicBass_GetCutOffFreq(pi);
        break;
      case 19: HVTralo_Soundbar_SetEnable(in.ConsumeBool()); HVTralo_Soundbar_GetEnable(pb); break;
      case 20: HVTralo_Soundbar_SetDistance(AnyInt(in)); HVTralo_Soundbar_GetDistance(pi); break;
      case 21: HVTralo_Soundbar_SetAngle(AnyInt(in)); HVTralo_Soundbar_GetAngle(pi); break;
      case 22:
        HVTralo_Soundbar_SetLFECopyEnable(in.ConsumeBool());
        HVTralo_Soundbar_GetLFECopyEnable(pb);
        HVTralo_Soundbar_SetLFESVEnable(in.ConsumeBool());
        HVTralo_Soundbar_GetLFESVEnable(pb);
        break;
      case 23: HVTralo_Soundbar_SetLFEFreq(AnyInt(in)); HVTralo_Soundbar_GetLFEFreq(pi); break;
      case 24: HVTralo_Soundbar_SetLFEGain(AnyInt(in)); HVTralo_Soundbar_GetLFEGain(pi); break;
      case 25:
        HVTralo_Soundbar_SetLFESVParam(AnyInt(in), AnyInt(in), AnyInt(in), AnyInt(in));
        HVTralo_Soundbar_GetLFESVParam(pi, &i2, &i3, &i4);
        break;
      case 26:
        HVTralo_Soundbar_SetLFESVVolUpDownRate(AnyInt(in), AnyInt(in));
        HVTralo_Soundbar_GetLFESVVolUpDownRate(pi, &i2);
        break;
      default: HVTralo_Init(in.ConsumeBool() ? 44100 : 48000, 6); break;  // the soundbar layout
    }
  }
  chain::ReloadLibrary();
  return 0;
}
