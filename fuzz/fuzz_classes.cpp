// One fuzz target per processing class, each built from this file with
// HVFX_FUZZ_CLASS naming the function below that drives it: a random
// configuration within the class's stated contract (and the refused values
// just outside it), then a bounded sequence of processing calls on buffers
// sized exactly as the header asks, interleaved with resets and
// reconfiguration.
#include <algorithm>

#include "FuzzInput.h"
#include "hvtralofx/hvtralofx.h"

using namespace hvfuzz;

namespace {

constexpr int kMaxBlock = 300;  // samples per channel and call: past every internal block, cheap inputs

int AnyCount(FuzzedDataProvider& in, int max) { return in.ConsumeIntegralInRange(-1, max); }

template <class Sample>
std::vector<Sample> Planar(FuzzedDataProvider& in, int channels, int n) {
  return Samples<Sample>(in, static_cast<size_t>(channels > 0 ? channels : 0) * static_cast<size_t>(n > 0 ? n : 0));
}

std::vector<short> Shorts(FuzzedDataProvider& in, int count) { return Samples<short>(in, static_cast<size_t>(count)); }

}  // namespace

void FuzzEqualizer(FuzzedDataProvider& in) {
  CHVAudioEQ_Ts eq(AnyRate(in));
  eq.Initial(in.ConsumeIntegralInRange(-1, 2));
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 4)) {
      case 0: eq.Tst_SetLFOption(in.ConsumeBool(), AnyInt(in), AnyInt(in)); break;
      case 1: eq.Tst_SetHFOption(in.ConsumeBool(), AnyInt(in), AnyInt(in)); break;
      case 2: eq.Tst_SetBPFOption(in.ConsumeBool() ? in.ConsumeIntegralInRange(-2, 11) : AnyInt(in), in.ConsumeBool(), AnyInt(in), AnyInt(in), AnyQ(in)); break;
      case 3: eq.Reset(); break;
      default: {
        const int stride = in.ConsumeIntegralInRange(0, 3), frames = AnyCount(in, kMaxBlock);
        std::vector<int> buf = Planar<int>(in, stride, frames), out(buf.size());
        eq.EQProcess(in.ConsumeBool() ? buf.data() : out.data(), buf.data(), stride, frames);
      }
    }
  }
}

void FuzzLimiter(FuzzedDataProvider& in) {
  const int channels = in.ConsumeIntegralInRange(-1, 10), block = AnyCount(in, kMaxBlock);
  CDynamicRangeControl drc(channels, block);
  if (in.ConsumeBool()) drc.Init(AnyRate(in));
  const int rows = channels < 0 ? 0 : (channels > 8 ? 8 : channels);
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 4)) {
      case 0: drc.EnableDRC(AnyInt(in)); break;
      case 1: drc.Reset(); break;
      case 2: drc.DetermineDRCVolume(AnyCount(in, kMaxBlock)); break;
      default: {
        const int n = AnyCount(in, kMaxBlock);
        std::vector<int> buf = Planar<int>(in, rows, n);
        int* ptrs[8] = {};
        for (int c = 0; c < rows; ++c) ptrs[c] = buf.data() + static_cast<size_t>(c) * static_cast<size_t>(n > 0 ? n : 0);
        drc.Process(ptrs, n);
        if (rows > 0) drc.GetMaximum(buf.data(), n);
      }
    }
  }
}

void FuzzLeveller(FuzzedDataProvider& in) {
  CAdaptiveVolume_S24 adav(AnyRate(in), in.ConsumeBool() ? 32768 : AnyInt(in), AnyInt(in), AnyInt(in), AnyInt(in),
                           AnyInt(in));
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 5)) {
      case 0: adav.SetAdaVParam(AnyInt(in), AnyInt(in), AnyInt(in), AnyInt(in)); break;
      case 1: adav.SetVolUpDownRate(AnyInt(in), AnyInt(in)); break;
      case 2: adav.Reset(); break;
      default: {
        const int channels = in.ConsumeIntegralInRange(-1, 9), n = AnyCount(in, 2 * kMaxBlock);
        std::vector<int> buf = Planar<int>(in, channels, n), out(buf.size());
        adav.Process(in.ConsumeBool() ? buf.data() : out.data(), buf.data(), channels, n);
      }
    }
  }
}

void FuzzDcBlocker(FuzzedDataProvider& in) {
  CDCBlockerMAFxd dc;
  if (in.ConsumeBool()) dc.Init(AnyInt(in), AnyInt(in));
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    const int n = AnyCount(in, kMaxBlock);
    std::vector<short> s16 = Shorts(in, n > 0 ? n : 0);
    std::vector<int> s32 = Planar<int>(in, 1, n);
    switch (in.ConsumeIntegralInRange(0, 4)) {
      case 0: dc.Filter(s16.data(), s16.data(), n); break;
      case 1: dc.Filter(s32.data(), s32.data(), n); break;
      case 2: dc.Filter(s16.data(), s32.data(), n); break;
      case 3: dc.Reset(); break;
      default: dc.Init(AnyInt(in), AnyInt(in)); break;
    }
  }
}

void FuzzIntegrator(FuzzedDataProvider& in) {
  CNGOIntegratorFxd integrator;
  integrator.Clear();
  integrator.Init(AnyRate(in), in.ConsumeIntegral<short>(), in.ConsumeIntegral<short>());
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    const int n = AnyCount(in, kMaxBlock);
    std::vector<short> s16 = Shorts(in, n > 0 ? n : 0);
    std::vector<int> s32 = Planar<int>(in, 1, n);
    switch (in.ConsumeIntegralInRange(0, 3)) {
      case 0: integrator.Filter(s16.data(), s16.data(), n); break;
      case 1: integrator.Filter(s32.data(), s32.data(), n); break;
      case 2: integrator.Reset(); break;
      default: integrator.Init(AnyRate(in), in.ConsumeIntegral<short>(), in.ConsumeIntegral<short>()); break;
    }
  }
}

void FuzzDelayLine(FuzzedDataProvider& in) {
  CDelayLineFxd line;
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 6)) {
      case 0: {
        const int delay = AnyCount(in, 700), channels = in.ConsumeIntegralInRange(-1, 4);
        std::vector<short> initial = Shorts(in, delay > 0 && channels > 0 ? delay * channels : 0);
        line.Init(delay, channels, AnyInt(in), in.ConsumeBool() && !initial.empty() ? initial.data() : nullptr);
        break;
      }
      case 1: line.Reset(); break;
      case 2: line.Free(); break;
      default: {
        const int channels = in.ConsumeIntegralInRange(-1, 5), n = AnyCount(in, kMaxBlock);
        std::vector<short> s16 = Planar<short>(in, channels, n), o16(s16.size());
        std::vector<int> s32 = Planar<int>(in, channels, n), o32(s32.size());
        const bool inPlace = in.ConsumeBool();
        if (in.ConsumeBool()) {
          line.Filter(s16.data(), inPlace ? s16.data() : o16.data(), n, channels);
          line.Filter(s32.data(), inPlace ? nullptr : o32.data(), n, channels);
        } else {
          line.Filter_v3(s16.data(), inPlace ? s16.data() : o16.data(), n, channels);
          line.Filter_v3(s32.data(), inPlace ? nullptr : o32.data(), n, channels);
        }
      }
    }
  }
}

void FuzzFir(FuzzedDataProvider& in) {
  CFIRFxd fir;
  bool wide = in.ConsumeBool();  // one sample width per object, as the header asks
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 5)) {
      case 0: {
        const int taps = AnyCount(in, 300), channels = in.ConsumeIntegralInRange(-1, 4);
        std::vector<short> h = Shorts(in, taps > 0 && channels > 0 ? taps * channels : 0);
        std::vector<short> q(channels > 0 ? static_cast<size_t>(channels) : 0);
        for (short& v : q) v = static_cast<short>(in.ConsumeIntegralInRange(-15, 16));
        fir.Init(h.empty() ? nullptr : h.data(), q.empty() ? nullptr : q.data(), taps, channels);
        break;
      }
      case 1: fir.Reset(); break;
      case 2: fir.Free(); wide = in.ConsumeBool(); break;
      default: {
        const int channels = in.ConsumeIntegralInRange(-1, 5), n = AnyCount(in, kMaxBlock);
        std::vector<short> s16 = Planar<short>(in, channels, n);
        std::vector<int> s32 = Planar<int>(in, channels, n);
        if (wide) fir.Filter(s32.data(), s32.data(), n, channels);
        else fir.Filter(s16.data(), s16.data(), n, channels);
      }
    }
  }
}

void FuzzFiltFilt(FuzzedDataProvider& in) {
  CFiltFiltFxd ff;
  int maxBlock = 0, lookahead = 0, sections = 0;
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 5)) {
      case 0: {
        sections = in.ConsumeIntegralInRange(-1, 4);
        const int channels = in.ConsumeIntegralInRange(-1, 3);
        const int la = AnyCount(in, 200), mb = AnyCount(in, kMaxBlock);
        const int ch = channels > 0 ? channels : 0, s = sections > 0 ? sections : 0;
        std::vector<short> sos = Shorts(in, ch * s * 6), sosQ(static_cast<size_t>(ch * s));
        std::vector<short> gain = Shorts(in, ch * (s + 1)), gainQ(static_cast<size_t>(ch * (s + 1)));
        for (short& v : sosQ) v = static_cast<short>(in.ConsumeIntegralInRange(-2, 3));
        for (short& v : gainQ) v = static_cast<short>(in.ConsumeIntegralInRange(-2, 3));
        ff.Init(sos.data(), sosQ.data(), gain.data(), gainQ.data(), sections, channels, la, mb);
        if (sections >= 1 && channels >= 1 && la >= 0 && mb >= 1) maxBlock = mb, lookahead = la;
        break;
      }
      case 1: ff.Reset(); break;
      case 2: ff.Free(); maxBlock = lookahead = 0; break;
      case 3: {
        // The cascade on its own, over a block the scratch rows can hold.
        const int s = in.ConsumeIntegralInRange(1, 4), n = AnyCount(in, lookahead + maxBlock);
        std::vector<short> sos = Shorts(in, 6 * s), sosQ(static_cast<size_t>(s)), gain = Shorts(in, s + 1);
        std::vector<short> gainQ(static_cast<size_t>(s + 1));
        std::vector<int> state(static_cast<size_t>(4 * s)), x = Planar<int>(in, 1, n);
        ff.SOSFilter_DF1(x.data(), nullptr, n, sos.data(), sosQ.data(), gain.data(), gainQ.data(), state.data(), s);
        break;
      }
      default: {
        const int channels = in.ConsumeIntegralInRange(-1, 4), n = AnyCount(in, kMaxBlock);
        std::vector<short> s16 = Planar<short>(in, channels, n);
        std::vector<int> s32 = Planar<int>(in, channels, n);
        if (in.ConsumeBool()) ff.Filter(s32.data(), s32.data(), n, channels);
        else ff.Filter(s16.data(), s16.data(), n, channels);
      }
    }
  }
  (void)sections;
}

void FuzzSoundbar(FuzzedDataProvider& in) {
  CSoundbar4Fxd sb;
  int block = 0;
  for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
    switch (in.ConsumeIntegralInRange(0, 7)) {
      case 0: {
        static constexpr int kRates[] = {44100, 48000, 32000, 0};
        block = AnyCount(in, 512);
        sb.Init(in.PickValueInArray(kRates), in.ConsumeIntegralInRange(-1, 8), block, AnyCount(in, 200),
                AnyInt(in), AnyInt(in));
        break;
      }
      case 1: sb.SetDistance(AnyInt(in)); break;
      case 2: sb.SetAngle(AnyInt(in)); break;
      case 3: sb.Reset(); break;
      default: {
        const int frames = AnyCount(in, block + 1), channels = in.ConsumeIntegralInRange(-1, 8);
        const int frameStride = in.ConsumeIntegralInRange(5, 8);
        const int channelStride = in.ConsumeIntegralInRange(frames > 0 ? frames - 1 : 0, (frames > 0 ? frames : 0) + 2);
        const int interleaved = in.ConsumeIntegralInRange(0, 1);
        const size_t outCount = static_cast<size_t>(std::max(frames, channelStride) * frameStride);
        const bool bypass = in.ConsumeProbability<float>() < 0.2f;
        if (in.ConsumeBool()) {
          std::vector<int> x = Planar<int>(in, channels, frames), y(outCount);
          bypass ? sb.Bypass(x.data(), frames, channels, y.data(), channelStride, frameStride, interleaved)
                 : sb.Process(x.data(), frames, channels, y.data(), channelStride, frameStride, interleaved);
        } else {
          std::vector<short> x = Planar<short>(in, channels, frames), y(outCount);
          bypass ? sb.Bypass(x.data(), frames, channels, y.data(), channelStride, frameStride, interleaved)
                 : sb.Process(x.data(), frames, channels, y.data(), channelStride, frameStride, interleaved);
        }
      }
    }
  }
  sb.Free();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  HVFX_FUZZ_CLASS(in);
  return 0;
}
