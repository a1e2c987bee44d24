// Random sequences of engine-interface calls on a host-owned record: init
// with any geometry, processing with buffers sized exactly for the frames,
// every setter and getter with edge values, release, and a host that
// rewrites its record between calls (geometry, buffer pointers, switches,
// counts) or hands the engine a second record. Each input ends with a
// release, so no module outlives it.
#include "FuzzInput.h"
#include "api/Engine.h"
#include "hvtralofx/hvtralofx.h"

using namespace hvfx::api;  // the engine's internals

using namespace hvfuzz;

namespace {

int AnyFrameSize(FuzzedDataProvider& in) {
  static constexpr int kSizes[] = {-1, 0, 1, 2, 64, 127, 128, 256, 512, HVSFX_MAX_FRAME_SIZE + 1, INT_MAX};
  return in.ConsumeBool() ? in.PickValueInArray(kSizes) : in.ConsumeIntegralInRange(1, 600);
}

void Process(FuzzedDataProvider& in, HVSFX_Param* param) {
  const int frames = in.ConsumeIntegralInRange(-1, 1300);
  // The buffer follows the channel count of the record handed in, as a host's would.
  const int channels = param->nInChannels;
  if (frames < 1 || channels < 1 || channels > HVSFX_MAX_CHANNELS || in.ConsumeProbability<float>() < 0.02f) {
    HVSFX_Process(param, nullptr, frames);
    return;
  }
  std::vector<short> buf = Samples<short>(in, static_cast<size_t>(frames) * static_cast<size_t>(channels));
  HVSFX_Process(param, buf.data(), frames);
}

// The host writes its record directly, between calls.
void RewriteRecord(FuzzedDataProvider& in, HVSFX_Param& p, const HVSFX_Param& other) {
  switch (in.ConsumeIntegralInRange(0, 9)) {
    case 0: p.nFrameSize = AnyFrameSize(in); break;
    case 1: p.nInChannels = in.ConsumeIntegralInRange(-1, 7); break;
    case 2: p.nOutChannels = in.ConsumeIntegralInRange(-1, 7); break;
    case 3: p.nSampleRate = AnyRate(in); break;
    case 4: std::swap(p.pInBuf, p.pOutBuf); break;
    case 5: p.pInBuf = in.ConsumeBool() ? nullptr : other.pInBuf; break;
    case 6: p.nGainShift = AnyInt(in); break;
    case 7: p.nEQBandNum = AnyInt(in); break;
    case 8:
      p.bSurroundEnable = in.ConsumeBool();
      p.bEQEnable = in.ConsumeBool();
      p.bAdaVEnable = in.ConsumeBool();
      p.bDRCEnable = in.ConsumeBool();
      p.bSoundbarEnable = in.ConsumeIntegral<int>();
      p.bLFECopyEnable = in.ConsumeIntegral<int>();
      p.bLFESVEnable = in.ConsumeIntegral<int>();
      break;
    default: {
      // Any stored setting: shelves, bands, LFE and leveller fields.
      const int c = in.ConsumeIntegralInRange(0, HVSFX_MAX_CHANNELS - 1);
      const int b = in.ConsumeIntegralInRange(0, HVSFX_MAX_EQ_BANDS - 1);
      p.nLPFFreq[c] = AnyInt(in);
      p.nHPFGain[c] = AnyInt(in);
      p.nEQBandFreq[c][b] = AnyInt(in);
      p.fEQBandQ[c][b] = AnyQ(in);
      p.nLFEFreq = AnyInt(in);
      p.nAdaVRelativeVolume = AnyInt(in);
      break;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  HVSFX_Param own{}, second{};
  HVSFX_GetDefaultParam(&own);
  HVSFX_GetDefaultParam(&second);
  hvfx::api::Engine::Global().GatheredFrames() = 0;
  bool b = false;
  int i1 = 0, i2 = 0, i3 = 0, i4 = 0;
  float q = 0.0f;
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    // Mostly the host's own record; sometimes a second one or none.
    const float who = in.ConsumeProbability<float>();
    HVSFX_Param* p = who < 0.9f ? &own : (who < 0.97f ? &second : nullptr);
    const bool nullOut = in.ConsumeProbability<float>() < 0.05f;
    bool* pb = nullOut ? nullptr : &b;
    int* pi = nullOut ? nullptr : &i1;
    switch (in.ConsumeIntegralInRange(0, 23)) {
      case 0:
        if (p != nullptr) {
          p->nSampleRate = AnyRate(in);
          p->nFrameSize = AnyFrameSize(in);
          p->nInChannels = in.ConsumeIntegralInRange(0, 7);
          p->nOutChannels = in.ConsumeBool() ? p->nInChannels : in.ConsumeIntegralInRange(0, 7);
        }
        HVSFX_Init(p);
        break;
      case 1: HVSFX_Release(p); break;
      case 2: case 3: case 4: if (p != nullptr) Process(in, p); else HVSFX_Process(p, nullptr, 1); break;
      case 5: if (p != nullptr) RewriteRecord(in, *p, second); break;
      case 6: HVSFX_GetLatency(p, pi); break;
      case 7: HVSFX_GetDefaultParam(in.ConsumeBool() ? nullptr : &second); break;
      case 8:
        HVSFX_DRC_SetEnable(p, in.ConsumeBool());
        HVSFX_AdaV_SetEnable(p, in.ConsumeBool());
        HVSFX_EQ_SetEnable(p, in.ConsumeBool());
        HVSFX_Surround_SetEnable(p, in.ConsumeBool());
        HVSFX_DynamicBass_SetEnable(p, in.ConsumeBool());
        HVSFX_DRC_GetEnable(p, pb);
        HVSFX_AdaV_GetEnable(p, pb);
        HVSFX_EQ_GetEnable(p, pb);
        HVSFX_Surround_GetEnable(p, pb);
        HVSFX_DynamicBass_GetEnable(p, pb);
        break;
      case 9:
        HVSFX_Soundbar_SetEnable(p, in.ConsumeBool());
        HVSFX_Soundbar_SetLFECopyEnable(p, in.ConsumeBool());
        HVSFX_Soundbar_SetLFESVEnable(p, in.ConsumeBool());
        HVSFX_Soundbar_GetEnable(p, pb);
        HVSFX_Soundbar_GetLFECopyEnable(p, pb);
        HVSFX_Soundbar_GetLFESVEnable(p, pb);
        break;
      case 10:
        HVSFX_DynamicBass_SetLevel(p, AnyInt(in));
        HVSFX_DynamicBass_SetCutOffFreq(p, AnyInt(in));
        HVSFX_DynamicBass_GetLevel(p, pi);
        HVSFX_DynamicBass_GetCutOffFreq(p, pi);
        break;
      case 11:
        HVSFX_EQ_SetLPFEnable(p, AnyIndex(in), in.ConsumeBool());
        HVSFX_EQ_SetHPFEnable(p, AnyIndex(in), in.ConsumeBool());
        HVSFX_EQ_GetLPFEnable(p, AnyIndex(in), pb);
        HVSFX_EQ_GetHPFEnable(p, AnyIndex(in), pb);
        break;
      case 12:
        HVSFX_EQ_SetLPFBandGain(p, AnyIndex(in), AnyInt(in), AnyInt(in));
        HVSFX_EQ_GetLPFBandGain(p, AnyIndex(in), pi, &i2);
        break;
      case 13:
        HVSFX_EQ_SetHPFBandGain(p, AnyIndex(in), AnyInt(in), AnyInt(in));
        HVSFX_EQ_GetHPFBandGain(p, AnyIndex(in), pi, &i2);
        break;
      case 14: {
        const int ch = AnyIndex(in), band = AnyIndex(in);
        HVSFX_EQ_SetBandGain(p, ch, band, AnyInt(in), AnyInt(in), AnyQ(in));
        HVSFX_EQ_GetBandGain(p, AnyIndex(in), AnyIndex(in), pi, &i2, &q);
        break;
      }
      case 15: HVSFX_EQ_ResetBandFreq(p, AnyIndex(in), AnyIndex(in)); break;
      case 16:
        HVSFX_AdaV_SetParam(p, AnyInt(in), AnyInt(in), AnyInt(in), AnyInt(in));
        HVSFX_AdaV_GetParam(p, pi, &i2, &i3, &i4);
        break;
      case 17:
        HVSFX_AdaV_SetVolUpDownRate(p, AnyInt(in), AnyInt(in));
        HVSFX_AdaV_GetVolUpDownRate(p, pi, &i2);
        break;
      case 18:
        HVSFX_Soundbar_SetDistance(p, AnyInt(in));
        HVSFX_Soundbar_SetAngle(p, AnyInt(in));
        HVSFX_Soundbar_GetDistance(p, pi);
        HVSFX_Soundbar_GetAngle(p, pi);
        break;
      case 19:
        HVSFX_Soundbar_SetLFEFreq(p, AnyInt(in));
        HVSFX_Soundbar_SetLFEGain(p, AnyInt(in));
        HVSFX_Soundbar_GetLFEFreq(p, pi);
        HVSFX_Soundbar_GetLFEGain(p, pi);
        break;
      case 20:
        HVSFX_Soundbar_SetLFESVParam(p, AnyInt(in), AnyInt(in), AnyInt(in), AnyInt(in));
        HVSFX_Soundbar_GetLFESVParam(p, pi, &i2, &i3, &i4);
        break;
      case 21:
        HVSFX_Soundbar_SetLFESVVolUpDownRate(p, AnyInt(in), AnyInt(in));
        HVSFX_Soundbar_GetLFESVVolUpDownRate(p, pi, &i2);
        break;
      default:  // the soundbar layout, where every stage runs
        own.nSampleRate = in.ConsumeBool() ? 44100 : 48000;
        own.nInChannels = own.nOutChannels = 6;
        own.nFrameSize = in.ConsumeBool() ? 256 : 512;
        HVSFX_Init(&own);
        break;
    }
  }
  HVSFX_Release(&own);
  hvfx::api::Engine::Global().GatheredFrames() = 0;
  return 0;
}
