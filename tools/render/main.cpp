// hvtralo-render: puts an audio file (or the built-in demo programme) through
// libhvtralofx's front interface with the settings given by flags or a
// preset, and reports what the chain did to its loudness and peaks.
#include <android/log.h>
#include <hvtralofx/hvtralofx.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "AudioFile.h"
#include "CommandLine.h"
#include "DemoProgramme.h"
#include "LoudnessMeter.h"
#include "RenderSettings.h"

using namespace hvrender;
using nlohmann::json;

namespace {

constexpr int kHostFrames = 1024;  // frames per HVTralo_Process call
constexpr int kSupportedRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

// Refuses material the library cannot take, naming what it can.
void CheckMaterial(const Audio& a, const Options& o) {
  const std::string name = o.input.empty() ? "demo programme" : o.input;
  if (a.channels != 1 && a.channels != 2 && a.channels != 6)
    Fail(name + ": " + std::to_string(a.channels) +
         " channels are not supported (mono, stereo or 5.1 = 6 channels)");
  if (std::find(std::begin(kSupportedRates), std::end(kSupportedRates), a.sampleRate) == std::end(kSupportedRates))
    Fail(name + ": " + std::to_string(a.sampleRate) +
         " Hz is not supported (8000, 11025, 16000, 22050, 32000, 44100 or 48000 Hz)");
  if (a.Frames() == 0) Fail(name + ": no audio in it");
  if (o.settings.soundbar == SoundbarMode::On && !SoundbarSupported(a.sampleRate, a.channels))
    throw UsageError("--soundbar on: the soundbar needs 5.1 (6 channels) at 44.1 or 48 kHz, and " + name + " is " +
                     std::to_string(a.channels) + " ch at " + std::to_string(a.sampleRate) + " Hz");
}

// Progress bar on standard error: only on a terminal, only once the render
// has taken more than a second.
class Progress {
 public:
  explicit Progress(bool enabled) : enabled_(enabled && isatty(STDERR_FILENO)) {}
  void Update(double fraction) {
    if (!enabled_) return;
    const double t = Seconds();
    if (t < 1.0 || t - last_ < 0.1) return;
    last_ = t;
    shown_ = true;
    const int width = 40, filled = static_cast<int>(fraction * width);
    std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(static_cast<size_t>(filled), '#').c_str(),
                 std::string(static_cast<size_t>(width - filled), ' ').c_str(), static_cast<int>(fraction * 100));
  }
  void Done() {
    if (shown_) std::fprintf(stderr, "\r%60s\r", "");
  }
 private:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }
  bool enabled_;
  bool shown_ = false;
  double last_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct RenderResult {
  Audio output;
  int latency = 0;
  double seconds = 0;
  json stages;
};

// The stages that run on this material with these settings.
json RunningStages(const RenderSettings& s, const Audio& a) {
  const bool soundbar = s.master && s.soundbar != SoundbarMode::Off && SoundbarSupported(a.sampleRate, a.channels);
  const bool leveller = s.master && s.autolevel.enable;
  const bool any = s.master && (s.eq || leveller || soundbar || s.surround);
  return {{"soundbar", soundbar},
          {"lfe_mix", soundbar && s.lfeCopy},
          {"lfe_autolevel", s.master && a.channels == 6 && s.lfeLeveller.enable && any},
          {"autolevel", leveller},
          {"eq", s.master && s.eq},
          {"limiter", any && s.limiter},
          {"surround", s.master && s.surround},
          {"fixed_attenuation", !soundbar}};
}

RenderResult Render(const Audio& in, const Options& o) {
  RenderResult r;
  const std::string problem = ApplyToFront(o.settings, in.sampleRate, in.channels);
  if (!problem.empty()) Fail(problem);
  if (HVTralo_GetLatency(&r.latency) != 1) Fail("the library did not report its latency");
  r.stages = RunningStages(o.settings, in);

  const size_t ch = static_cast<size_t>(in.channels);
  const long long frames = in.Frames();
  const long long tail = o.raw ? 0 : r.latency;  // flushed with silence
  std::vector<short> work(in.samples);
  work.resize(static_cast<size_t>(frames + tail) * ch, 0);

  Progress progress(!o.quiet);
  const auto start = std::chrono::steady_clock::now();
  for (long long pos = 0; pos < frames + tail; pos += kHostFrames) {
    const int n = static_cast<int>(std::min<long long>(kHostFrames, frames + tail - pos));
    if (HVTralo_Process(work.data() + static_cast<size_t>(pos) * ch, n) != 1)
      Fail("the library refused a block at frame " + std::to_string(pos));
    progress.Update(static_cast<double>(pos) / static_cast<double>(frames + tail));
  }
  r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  progress.Done();
  HVTralo_Release();

  r.output = in;
  std::copy(work.begin() + static_cast<long>(static_cast<size_t>(tail) * ch), work.end(), r.output.samples.begin());
  return r;
}

json NumberOrNull(double v) { return std::isfinite(v) ? json(std::round(v * 100) / 100) : json(nullptr); }

json LoudnessJson(const Loudness& l) {
  json series = json::array();
  for (double v : l.shortTermLufs) series.push_back(NumberOrNull(v));
  return {{"integrated_lufs", NumberOrNull(l.integratedLufs)},
          {"loudness_range_lu", NumberOrNull(l.rangeLu)},
          {"sample_peak_dbfs", NumberOrNull(l.samplePeakDbfs)},
          {"true_peak_dbtp", NumberOrNull(l.truePeakDbtp)},
          {"short_term_lufs", series}};
}

std::string Fmt(double v, const char* unit) {
  char buf[32];
  if (!std::isfinite(v)) std::snprintf(buf, sizeof buf, "%8s %-4s", "-inf", unit);
  else std::snprintf(buf, sizeof buf, "%8.1f %-4s", v, unit);
  return buf;
}

std::string OnOffText(bool on) { return on ? "on" : "off"; }

void PrintReport(const json& rep, const Options& o, const Loudness& li, const Loudness& lo) {
  const json& in = rep["input"];
  const RenderSettings& s = o.settings;
  std::printf("hvtralo-render %s\n", HVTralo_GetVersion());
  std::printf("input     %s: %d Hz, %d ch, %.2f s, %s%s\n", in["name"].get<std::string>().c_str(),
              in["sample_rate"].get<int>(), in["channels"].get<int>(), in["seconds"].get<double>(),
              in["format"].get<std::string>().c_str(), in["converted_to_16_bit"].get<bool>() ?
              " (rounded to 16 bits, no dither)" : "");
  std::printf("output    %s, %s\n", o.output.empty() ? "(not written)" : o.output.c_str(),
              o.raw ? "library timing (--raw)" : "time-aligned with the input");
  const json& st = rep["stages_running"];
  std::string running;
  for (const char* k : {"soundbar", "lfe_mix", "lfe_autolevel", "autolevel", "eq", "limiter", "surround"})
    if (st[k].get<bool>()) running += std::string(running.empty() ? "" : ", ") + k;
  std::printf("master    %s; stages running: %s%s\n", OnOffText(s.master).c_str(),
              running.empty() ? "none" : running.c_str(),
              st["fixed_attenuation"].get<bool>() ? "; fixed attenuation -4.4 dB" : "");
  std::printf("settings  autolevel %s (%s, %d %%, %d ms, base %d dB, %d/%d dB/s), eq %s, limiter %s, soundbar %s "
              "(%d cm, %s)\n",
              OnOffText(s.autolevel.enable).c_str(), s.autolevel.mode == 1 ? "steep" : "flat",
              s.autolevel.relativeVolume, s.autolevel.stationMs, s.autolevel.baseDb, s.autolevel.upRate,
              s.autolevel.downRate, OnOffText(s.eq).c_str(), OnOffText(s.limiter).c_str(),
              rep["settings"]["soundbar"]["enable"].get<std::string>().c_str(), s.distanceCm,
              rep["settings"]["soundbar"]["width"].get<std::string>().c_str());
  std::printf("\n%-22s %13s  %13s\n", "", "input", "output");
  std::printf("%-22s %s  %s\n", "integrated loudness", Fmt(li.integratedLufs, "LUFS").c_str(),
              Fmt(lo.integratedLufs, "LUFS").c_str());
  std::printf("%-22s %s  %s\n", "loudness range", Fmt(li.rangeLu, "LU").c_str(), Fmt(lo.rangeLu, "LU").c_str());
  std::printf("%-22s %s  %s\n", "sample peak", Fmt(li.samplePeakDbfs, "dBFS").c_str(),
              Fmt(lo.samplePeakDbfs, "dBFS").c_str());
  std::printf("%-22s %s  %s\n", "true peak", Fmt(li.truePeakDbtp, "dBTP").c_str(),
              Fmt(lo.truePeakDbtp, "dBTP").c_str());
  const int latency = rep["latency_frames"].get<int>();
  std::printf("\nlatency   %d frames (%.1f ms)%s\n", latency, 1000.0 * latency / in["sample_rate"].get<int>(),
              o.raw ? "" : ", removed");
  std::printf("speed     %.0fx real time (%.2f s of audio in %.3f s)\n", rep["speed_x_realtime"].get<double>(),
              in["seconds"].get<double>(), rep["processing_seconds"].get<double>());
}

int Run(const Options& o) {
  if (o.version) {
    std::printf("hvtralo-render %s\n", HVTralo_GetVersion());
    return 0;
  }
  if (!o.savePreset.empty() && o.input.empty() && o.output.empty()) {  // write the preset and stop
    PendingFile preset(o.savePreset);
    WriteText(preset, ToJson(o.settings).dump(2) + "\n");
    preset.Commit();
    return 0;
  }

  const bool demo = o.input.empty();
  const Audio in = demo ? MakeDemoProgramme(o.demo51) : ReadAudio(o.input);
  CheckMaterial(in, o);

  // Every file is opened under a temporary name before the work starts, so an
  // unwritable path fails at once and a failure leaves none of them behind.
  std::unique_ptr<PendingFile> out, report, preset, inputFile;
  if (!o.output.empty()) out = std::make_unique<PendingFile>(o.output);
  if (!o.reportJson.empty()) report = std::make_unique<PendingFile>(o.reportJson);
  if (!o.savePreset.empty()) preset = std::make_unique<PendingFile>(o.savePreset);
  if (!o.saveInput.empty()) inputFile = std::make_unique<PendingFile>(o.saveInput);

  const RenderResult r = Render(in, o);
  const Loudness li = MeasureLoudness(in), lo = MeasureLoudness(r.output);
  const double seconds = static_cast<double>(in.Frames()) / in.sampleRate;

  json rep = {{"tool", "hvtralo-render"},
              {"version", HVTralo_GetVersion()},
              {"input",
               {{"name", demo ? std::string(o.demo51 ? "demo programme 5.1" : "demo programme") : o.input},
                {"sample_rate", in.sampleRate},
                {"channels", in.channels},
                {"frames", in.Frames()},
                {"seconds", seconds},
                {"format", DescribeFormat(in.format)},
                {"converted_to_16_bit", !IsPcm16(in.format)}}},
              {"output", {{"name", o.output}, {"aligned", !o.raw}}},
              {"latency_frames", r.latency},
              {"settings", ToJson(o.settings)},
              {"stages_running", r.stages},
              {"processing_seconds", r.seconds},
              {"speed_x_realtime", r.seconds > 0 ? seconds / r.seconds : 0.0},
              {"short_term_step_s", kShortTermStepSeconds},
              {"loudness", {{"input", LoudnessJson(li)}, {"output", LoudnessJson(lo)}}}};
  if (demo) rep["input"]["description"] = DemoDescription();

  PrintReport(rep, o, li, lo);
  if (out) WriteAudio(*out, r.output, in.format);
  if (inputFile) WriteAudio(*inputFile, in, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  if (report) WriteText(*report, rep.dump(1) + "\n");
  if (preset) WriteText(*preset, ToJson(o.settings).dump(2) + "\n");
  for (auto* f : {out.get(), report.get(), preset.get(), inputFile.get()})
    if (f) f->Commit();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // The library logs one line per initialisation; on a desktop that goes to
  // standard error, where it would bury the renderer's own messages.
  __android_log_set_minimum_priority(ANDROID_LOG_WARN);
  Options o;
  try {
    o = ParseCommandLine(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "hvtralo-render: %s\n", e.what());
    return 2;
  }
  if (o.help) {
    std::fputs(HelpText(), stdout);
    return 0;
  }
  try {
    return Run(o);
  } catch (const UsageError& e) {
    std::fprintf(stderr, "hvtralo-render: %s\n", e.what());
    return 2;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "hvtralo-render: %s\n", e.what());
    return 1;
  }
}
