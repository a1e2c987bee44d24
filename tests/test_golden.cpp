// Golden vectors of the whole chain: a CRC-32 of every call's output for 44.1
// and 48 kHz; mono, stereo and 5.1; each effect alone and all together;
// settings changed mid-stream; soundbar distance and width changes; through
// the engine interface (calls of 1024, 600 and 1448 frames) and the front;
// twenty-second programmes whose loudness moves between loud and quiet
// passages over seconds, long enough for the leveller's event, span and
// shortfall decisions and the limiter's switch ramps; a steady passage longer
// than the leveller's stationarity time; engine blocks of 509 and 37 frames
// (the vector kernels' tails); the front's attenuation with the master switch
// off and on; 5.1 through the front with the LFE leveller but not the main
// one. Then the exported classes on the paths the chain does not take: the
// soundbar's 16-bit and interleaved forms and its stereo input, the filters'
// other sample widths and channel counts, the equalizer on interleaved
// frames, and the FFT kit. The chain is integer arithmetic defined to the
// bit, so the file holds for every compiler, optimisation level, vector
// kernel and platform. It also carries the arithmetic checks of the
// equalizer, leveller, limiter, soundbar and filter stages: any change of
// their results shows here (docs/mutations.md lists the faults tried).
//
// After a deliberate change of the output (or of the soundbar's coefficient
// store), rewrite the file with
//   build-native/tests/test_golden --regenerate
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "hvtralofx/FixedFFT.h"
#include "hvtralofx/HVFX_Engine.h"
#include "soundbar/SoundbarCoefficientSet.h"
#include "support/ChainScenario.h"

using namespace chain;
using namespace hvfx::soundbar;  // the coefficient sets

namespace {

constexpr int kCallFrames[] = {1024, 600, 1448};

// CRC-32 of the samples (16 or 32 bits), continuing from the CRC of what came
// before them (previous = 0 for none): a group's CRC is that of its samples
// in a row.
template <class S>
uint32_t Crc32(const std::vector<S>& samples, uint32_t previous = 0) {
  uint32_t crc = ~previous;
  for (S s : samples)
    for (size_t byte = 0; byte < sizeof(S); ++byte) {  // little-endian, whatever the host
      crc ^= (static_cast<uint32_t>(s) >> (8 * byte)) & 0xFFu;
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
  return ~crc;
}

std::string Word(uint32_t crc) {
  char word[12];
  std::snprintf(word, sizeof word, " %08x", crc);
  return word;
}

enum Script {
  kSteady, kMidStreamChanges, kSoundbarMoves,                   // 18 calls
  kLong, kLongQuickMoves, kLongFlatCurve, kLongLimiterToggles,  // twenty seconds
  kSteadyLong                                                   // nine seconds at one level
};

struct Case {
  std::string name;
  bool front;
  int rate, channels;
  unsigned effects;
  Script script;
  int frameSize = 512;  // the engine's block (the front's is always 512)
  bool master = true;   // the front's master switch
};

bool IsLong(Script s) { return s >= kLong; }
int Calls(Script s) { return s == kSteadyLong ? 416 : IsLong(s) ? 960 : 18; }
constexpr int kCallsPerLongCrc = 32;  // one CRC for every 32 calls of a long programme
// The steady programme: about -22 dBFS RMS, raised by the leveller; the event
// of its start from silence ends after about 6.5 s, so with a stationarity
// time of 7 s the gain starts drifting back to 0 dB 7 s in.
constexpr int kSteadyLevel = 6000;
constexpr int kSteadyStationMs = 7000;

std::vector<Case> Cases() {
  std::vector<Case> cases;
  const std::pair<const char*, unsigned> alone[] = {
      {"eq", kEq}, {"leveller", kLeveller}, {"limiter", kLimiter}, {"surround", kSurround | kLimiter}};
  for (int rate : {44100, 48000})
    for (int ch : {1, 2, 6}) {
      const std::string at = std::to_string(rate) + "_" + std::to_string(ch) + "ch_";
      for (const auto& [name, bits] : alone) cases.push_back({at + name, false, rate, ch, bits, kSteady});
      if (ch == 6) cases.push_back({at + "soundbar", false, rate, ch, kSoundbar, kSteady});
      if (ch == 6) cases.push_back({at + "soundbar_moves", false, rate, ch, kSoundbar | kLimiter, kSoundbarMoves});
      cases.push_back({at + "all", false, rate, ch, kAllEffects, kSteady});
      cases.push_back({at + "all_changes", false, rate, ch, kAllEffects, kMidStreamChanges});
      cases.push_back({at + "front_all", true, rate, ch, kAllEffects, kSteady});
      cases.push_back({at + "front_changes", true, rate, ch, kAllEffects, kMidStreamChanges});
    }
  cases.push_back({"48000_2ch_leveller_long", false, 48000, 2, kLeveller, kLong});
  cases.push_back({"48000_2ch_leveller_quick_moves_long", false, 48000, 2, kLeveller, kLongQuickMoves});
  cases.push_back({"48000_2ch_leveller_flat_curve_long", false, 48000, 2, kLeveller, kLongFlatCurve});
  cases.push_back({"44100_6ch_all_long", false, 44100, 6, kAllEffects, kLong});
  // Without the equalizer (which saturates at full scale) the leveller's boost
  // and the virtualizer's doubled outputs drive the limiter past its ceiling.
  cases.push_back(
      {"48000_6ch_limiter_toggles_long", false, 48000, 6, kLeveller | kSoundbar | kLimiter, kLongLimiterToggles});
  // The front's first initialisation switches the LFE leveller on: with the
  // soundbar and without the main leveller its row is written back alone.
  cases.push_back({"48000_6ch_front_soundbar_lfe_leveller", true, 48000, 6, kSoundbar | kLimiter, kSteady});
  cases.push_back({"48000_2ch_leveller_steady", false, 48000, 2, kLeveller, kSteadyLong});
  // Blocks that are no multiple of four (the leveller, which takes whole
  // frames of 256, stays off).
  cases.push_back({"48000_6ch_block509_changes", false, 48000, 6, kAllEffects & ~kLeveller, kMidStreamChanges, 509});
  cases.push_back({"44100_2ch_block37", false, 44100, 2, kEq | kLimiter | kSurround, kSteady, 37});
  cases.push_back({"48000_2ch_front_master_off", true, 48000, 2, kAllEffects, kSteady, 512, false});
  cases.push_back({"44100_6ch_front_no_soundbar", true, 44100, 6, kAllEffects & ~kSoundbar, kMidStreamChanges});
  // The limiter alone behind the dynamic-bass switch reads the gathered input.
  cases.push_back({"48000_2ch_bass_switch_limiter", false, 48000, 2, kDynamicBass | kLimiter, kSteady});
  return cases;
}

// The CRCs of one case's calls, as one line of hex words.
std::string PlayCase(const Case& c) {
  ReloadLibrary();
  HVSFX_Param own;
  HVSFX_GetDefaultParam(&own);
  HVSFX_Param* p = &own;
  if (c.front) {
    HVTralo_Init(c.rate, c.channels);
    HVTralo_SetEnable(c.master);
    p = &hvfx::api::GlobalFront().record;
  } else {
    own.nSampleRate = c.rate;
    own.nFrameSize = c.frameSize;
    own.nInChannels = own.nOutChannels = c.channels;
    own.nGainShift = 1;
    HVSFX_Init(&own);
  }
  Configure(p, c.effects);
  if (c.script == kLongFlatCurve) HVSFX_AdaV_SetParam(p, 0, 60, 9000, 0);
  if (c.script == kSteadyLong) HVSFX_AdaV_SetParam(p, 1, 90, kSteadyStationMs, 1);
  if (c.script == kLong) {
    HVSFX_EQ_SetBandGain(p, -1, 7, 5, 1000, 0.001f);  // so small a Q that the bandwidth angle is held
    HVSFX_EQ_SetLPFBandGain(p, -1, 6, 100);           // below the low shelf's lowest corner
  }
  std::ostringstream line;
  long position = 0;
  uint32_t groupCrc = 0;
  for (int call = 0; call < Calls(c.script); ++call) {
    if (c.script == kMidStreamChanges && call % 5 == 2) ChangeSettings(p, call / 5);
    if (c.script == kSoundbarMoves && call % 6 == 3) HVSFX_Soundbar_SetDistance(p, 30 + 10 * (call / 6));
    if (c.script == kSoundbarMoves && call == 15) HVSFX_Soundbar_SetAngle(p, 2);
    if (c.script == kLongLimiterToggles && call % 40 == 20) HVSFX_DRC_SetEnable(p, call % 80 == 20);
    const int frames = c.front ? 1024 : kCallFrames[call % 3];
    std::vector<short> block = c.script == kSteadyLong ? Signal(c.channels, position, frames, kSteadyLevel)
                               : IsLong(c.script)
                                   ? SlowlyMovingSignal(c.channels, position, frames, c.script == kLongQuickMoves)
                                   : Signal(c.channels, position, frames);
    position += frames;
    if (c.front) hvfx::api::PublishFrontRecord(hvfx::api::GlobalFront());
    const int r = c.front ? HVTralo_Process(block.data(), frames) : HVSFX_Process(p, block.data(), frames);
    EXPECT_EQ(r, 1) << c.name << " call " << call;
    groupCrc = Crc32(block, groupCrc);
    if (IsLong(c.script) && (call + 1) % kCallsPerLongCrc != 0) continue;
    line << Word(groupCrc);
    groupCrc = 0;
  }
  if (c.front) HVTralo_Release(); else HVSFX_Release(&own);
  ReloadLibrary();
  return line.str();
}

// ---- The exported classes on the paths the chain does not take --------------

// One line of CRC words: `calls` calls of the frame counts in `sizes` (in
// turn); run(call, first frame, frames, crc) continues crc with the call's
// output, and every `group` calls give one word.
std::string Line(int calls, const std::vector<int>& sizes, int group,
                 const std::function<uint32_t(int, long, int, uint32_t)>& run) {
  std::string line;
  uint32_t crc = 0;
  long position = 0;
  for (int call = 0; call < calls; ++call) {
    const int frames = sizes[static_cast<size_t>(call) % sizes.size()];
    crc = run(call, position, frames, crc);
    position += frames;
    if ((call + 1) % group == 0) line += Word(crc), crc = 0;
  }
  return line;
}

// Frames of the programme as S, shifted left by `shift`, interleaved or
// planar (channel stride `frames`).
template <class S>
std::vector<S> Input(int channels, long first, int frames, bool interleaved, int shift) {
  const std::vector<short> x = Signal(channels, first, frames);
  std::vector<S> out(x.size());
  for (size_t f = 0; f < static_cast<size_t>(frames); ++f)
    for (size_t c = 0; c < static_cast<size_t>(channels); ++c)
      out[interleaved ? f * static_cast<size_t>(channels) + c : c * static_cast<size_t>(frames) + f] =
          static_cast<S>(x[f * static_cast<size_t>(channels) + c] * (1 << shift));
  return out;
}
template <class S>
constexpr int kWorkingShift = sizeof(S) == 4 ? 8 : 0;  // 16-bit samples to the 24-bit working range

// The soundbar as a class: 48 kHz, a distance change at call 20 (input fade,
// rebuild at its silent point, output fade), Bypass at call 40. The 32-bit
// input is at the engine's quarter scale.
template <class S>
std::string SoundbarProgramme(int channels, bool interleaved) {
  ReloadLibrary();
  CSoundbar4Fxd sb;
  sb.Init(48000, channels, 256, 128, 40, 0);
  return Line(48, {256, 100, 37}, 4, [&](int call, long first, int n, uint32_t crc) {
    if (call == 20) sb.SetDistance(60);
    std::vector<S> in = Input<S>(channels, first, n, interleaved, sizeof(S) == 4 ? 6 : 0);
    std::vector<S> out(6 * static_cast<size_t>(n));
    if (call == 40) sb.Bypass(in.data(), n, channels, out.data(), n, 6, interleaved);
    else sb.Process(in.data(), n, channels, out.data(), n, 6, interleaved);
    return Crc32(out, crc);
  });
}

// Two channels' coefficient rows: the 48 kHz / 30 cm set's and the
// 44.1 kHz / 70 cm set's (the second FIR rotated by one tap, so that it is
// not symmetric).
std::vector<short> TwoRows(const int16_t* SoundbarCoefficientSet::*field, size_t n, bool rotate = false) {
  const SoundbarCoefficientSet* sets[] = {SelectSoundbarCoefficientSet(48000, 30, 0),
                                          SelectSoundbarCoefficientSet(44100, 70, 2)};
  std::vector<short> rows;
  for (size_t k = 0; k < 2 * n; ++k) rows.push_back((sets[k / n]->*field)[(k % n + (rotate && k >= n)) % n]);
  return rows;
}

const std::vector<int> kOddSizes = {509, 37, 128, 3, 250};

template <class S>
std::string FirProgramme() {
  std::vector<short> taps = TwoRows(&SoundbarCoefficientSet::frontFir, 257, true), q = {1, 2};
  CFIRFxd fir;
  fir.Init(taps.data(), q.data(), 257, 2);
  return Line(25, kOddSizes, 5, [&](int, long first, int n, uint32_t crc) {
    std::vector<S> x = Input<S>(2, first, n, false, kWorkingShift<S>);
    fir.Filter(x.data(), x.data(), n, 2);
    return Crc32(x, crc);
  });
}

template <class S>
std::string FiltFiltProgramme() {
  std::vector<short> sos = TwoRows(&SoundbarCoefficientSet::frontLowpassSos, 12),
                     sosQ = TwoRows(&SoundbarCoefficientSet::frontLowpassSosQ, 2),
                     gain = TwoRows(&SoundbarCoefficientSet::frontLowpassGain, 3),
                     gainQ = TwoRows(&SoundbarCoefficientSet::frontLowpassGainQ, 3);
  CFiltFiltFxd f;
  f.Init(sos.data(), sosQ.data(), gain.data(), gainQ.data(), 2, 2, 128, 509);
  return Line(25, kOddSizes, 5, [&](int, long first, int n, uint32_t crc) {
    std::vector<S> x = Input<S>(2, first, n, false, kWorkingShift<S>), y(x.size());
    f.Filter(x.data(), y.data(), n, 2);
    return Crc32(y, crc);
  });
}

// The DC blocker's three forms (one object runs the 16-bit form, whose
// 32-bit state wraps at inShift 12, and the mixed one: separate states, one
// position), the integrator's two widths at both rates (and a re-Init at an
// unsupported rate, which keeps the gain), the delay line's two forms and
// widths on two channels, in place (also as a null output) and not.
std::string SmallFiltersProgramme() {
  CDCBlockerMAFxd shared, wide;
  shared.Init(12, 4);
  wide.Init(3, 9);
  CNGOIntegratorFxd narrowIntegrator, wideIntegrator;
  narrowIntegrator.Init(44100, 10, 2);
  narrowIntegrator.Init(32000, 10, 2);
  wideIntegrator.Init(48000, 10, 2);
  CDelayLineFxd lines[4];
  for (int k = 0; k < 4; ++k) lines[k].Init(k % 2 ? 127 : 7, 2, 0, nullptr);
  return Line(25, kOddSizes, 5, [&](int call, long first, int n, uint32_t crc) {
    std::vector<short> x = Input<short>(2, first, n, false, 0), y(x.size()), d = x, z = x;
    std::vector<int> w = Input<int>(2, first, n, false, 8), v(w.size()), m(x.size());
    shared.Filter(d.data() + n, d.data() + n, n);           // 16-bit form on channel 1
    if (call % 2) shared.Filter(x.data(), m.data(), n);     // and the mixed one on channel 0
    wide.Filter(w.data(), v.data(), n);
    narrowIntegrator.Filter(z.data(), z.data(), 2 * n);
    wideIntegrator.Filter(w.data() + n, w.data() + n, n);
    crc = Crc32(m, Crc32(d, Crc32(z, Crc32(v, crc))));
    lines[0].Filter(x.data(), y.data(), n, 2);
    lines[1].Filter_v3(x.data(), nullptr, n, 2);  // null out: in place
    lines[2].Filter(w.data(), nullptr, n, 2);
    lines[3].Filter_v3(w.data(), v.data(), n, 2);
    return Crc32(v, Crc32(w, Crc32(y, Crc32(x, crc))));
  });
}

// The equalizer on interleaved frames of three channels: it filters the
// first two and leaves the third alone.
std::string InterleavedEqualizerProgramme() {
  CHVAudioEQ_Ts eq(44100);
  eq.Initial(0);
  eq.Tst_SetBPFOption(2, true, 700, 9, 1.5f);
  eq.Tst_SetBPFOption(5, true, 3000, -12, 0.7f);
  eq.Tst_SetLFOption(true, 200, 6);
  return Line(25, kOddSizes, 5, [&](int, long first, int n, uint32_t crc) {
    std::vector<int> x = Input<int>(3, first, n, true, 8), y(x.size());
    eq.EQProcess(y.data(), x.data(), 3, n);
    return Crc32(y, crc);
  });
}

// Every function of the FFT kit at four lengths, one word per length.
std::string FftProgramme() {
  std::string line;
  for (short n : {2, 16, 256, 1024}) {
    std::vector<int> x = Input<int>(1, 7 * n, 2 * n, false, 8), one(x.begin(), x.begin() + n), re = one;
    std::vector<int> im(x.begin() + n, x.end()), exponents(3);
    short e1 = 0, e2 = 0;
    RealFFT_Fix(one.data(), n, e1);
    uint32_t crc = Crc32(one);
    RealInvFFT_Fix(one.data(), n, e1);
    RealFFT_2ch_Fix(x.data(), x.data() + n, n, e2);
    crc = Crc32(x, Crc32(one, crc));
    RealInvFFT_2ch_Fix(x.data(), x.data() + n, n, e2);
    exponents = {e1, e2, VectNormBySumAbs_Complex(re.data(), im.data(), n, 1)};
    ComplexFFT_Fix(re.data(), im.data(), n);
    crc = Crc32(im, Crc32(re, Crc32(x, crc)));
    exponents.push_back(VectNormBySumAbs_Real(re.data(), n, 2));
    VectRShiftWithRound(re.data(), 3, n);
    VectLShiftWithSature(im.data(), 9, n);
    line += Word(Crc32(exponents, Crc32(im, Crc32(re, crc))));
  }
  return line;
}

// Smooth control on an instance: eighteen groups of four 512-frame calls,
// a setter or switch before each group (calls of 300 frames for the last
// six, so that changes land inside blocks).
std::string SmoothProgramme(int channels) {
  static const std::function<void(HVFX_Engine*, int)> kControls[] = {
      [](HVFX_Engine* e, int k) { HVFX_EQ_SetBandGain(e, -1, k % 8, k - 9, 0, 1.5f); },
      [](HVFX_Engine* e, int k) { HVFX_EQ_SetLPFBandGain(e, -1, 6 - k, 300 + 40 * k); },
      [](HVFX_Engine* e, int k) { HVFX_EQ_SetEnable(e, k % 4 != 2); },
      [](HVFX_Engine* e, int k) { HVFX_AutoLevel_SetParam(e, k % 2, 5 * k, 5000 + 300 * k, k % 3 == 0); },
      [](HVFX_Engine* e, int k) { HVFX_AutoLevel_SetEnable(e, k % 8 != 4); },
      [](HVFX_Engine* e, int k) { HVFX_DRC_SetEnable(e, k % 6 != 5); },
      [](HVFX_Engine* e, int k) { HVFX_Soundbar_SetEnable(e, k % 7 != 6); },
      [](HVFX_Engine* e, int k) { HVFX_Soundbar_SetLFEFreq(e, 60 + 10 * k); },
      [](HVFX_Engine* e, int k) { HVFX_SetEnable(e, k != 8); },
  };
  HVFX_Engine* e = HVFX_Create();
  HVFX_Init(e, 48000, channels);
  HVFX_SetEnable(e, true);
  HVFX_EQ_SetEnable(e, true);
  HVFX_AutoLevel_SetEnable(e, true);
  HVFX_DRC_SetEnable(e, true);
  std::string line;
  long at = 0;
  for (int k = 0; k < 18; ++k) {
    kControls[k % 9](e, k);
    uint32_t crc = 0;
    const int frames = k < 12 ? 512 : 300;
    for (int call = 0; call < 4; ++call, at += frames) {
      std::vector<short> b = chain::Signal(channels, at, frames);
      HVFX_Process(e, b.data(), frames);
      crc = Crc32(b, crc);
    }
    line += Word(crc);
  }
  HVFX_Destroy(e);
  return line;
}

std::vector<std::pair<std::string, std::function<std::string()>>> ClassProgrammes() {
  std::vector<std::pair<std::string, std::function<std::string()>>> list;
  for (int channels : {2, 6})
    for (bool interleaved : {false, true}) {
      const std::string at =
          "class_soundbar_" + std::to_string(channels) + "ch_" + (interleaved ? "interleaved_" : "planar_");
      list.emplace_back(at + "16bit", [=] { return SoundbarProgramme<short>(channels, interleaved); });
      list.emplace_back(at + "32bit", [=] { return SoundbarProgramme<int>(channels, interleaved); });
    }
  list.emplace_back("class_fir_2ch_16bit", FirProgramme<short>);
  list.emplace_back("class_fir_2ch_32bit", FirProgramme<int>);
  list.emplace_back("class_filtfilt_2ch_16bit", FiltFiltProgramme<short>);
  list.emplace_back("class_filtfilt_2ch_32bit", FiltFiltProgramme<int>);
  list.emplace_back("class_dcblocker_integrator_delayline", SmallFiltersProgramme);
  list.emplace_back("class_equalizer_interleaved", InterleavedEqualizerProgramme);
  list.emplace_back("class_fft_kit", FftProgramme);
  list.emplace_back("smooth_2ch_controls", [] { return SmoothProgramme(2); });
  list.emplace_back("smooth_6ch_controls", [] { return SmoothProgramme(6); });
  return list;
}

bool Regenerating() {
  for (const std::string& arg : ::testing::internal::GetArgvs())
    if (arg == "--regenerate") return true;
  return false;
}

}  // namespace

TEST(Golden, WholeChainMatchesTheCommittedCrcs) {
  std::map<std::string, std::string> expected;
  {
    std::ifstream file(HVFX_GOLDEN_FILE);
    for (std::string name, rest; file >> name && std::getline(file, rest);)
      if (name[0] != '#') expected[name] = rest;
  }
  if (Regenerating()) {
    std::ofstream file(HVFX_GOLDEN_FILE);
    file << "# CRC-32 of the output of every call (tests/test_golden.cpp); regenerate with\n"
            "# build-native/tests/test_golden --regenerate\n";
    for (const Case& c : Cases()) file << c.name << PlayCase(c) << "\n";
    for (const auto& [name, play] : ClassProgrammes()) file << name << play() << "\n";
    GTEST_SKIP() << "rewrote " << HVFX_GOLDEN_FILE;
  }
  ASSERT_FALSE(expected.empty()) << "no golden file at " << HVFX_GOLDEN_FILE;
  const std::vector<Case> cases = Cases();
  const auto programmes = ClassProgrammes();
  EXPECT_EQ(expected.size(), cases.size() + programmes.size());
  for (const Case& c : cases) EXPECT_EQ(PlayCase(c), expected[c.name]) << c.name;
  for (const auto& [name, play] : programmes) EXPECT_EQ(play(), expected[name]) << name;
}
