// hvtralo-render: puts an audio file (or the built-in demo programme) through
// libhvtralofx's front interface with the settings given by flags or a
// preset, and reports what the chain did to its loudness and peaks. The file
// is streamed: read, processed, measured and written block by block, so the
// memory a render takes does not depend on the length of the file.
#include <android/log.h>
#include <hvtralofx/hvtralofx.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "AudioFile.h"
#include "CommandLine.h"
#include "DemoProgramme.h"
#include "LoudnessMeter.h"

using namespace hvrender;
using nlohmann::json;

namespace {

constexpr long long kHostFrames = 1024;  // frames per HVTralo_Process call

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

using Clock = std::chrono::steady_clock;
double SecondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

// Refuses material the library cannot take, naming the file and what it can.
void CheckMaterial(const Source& in, const std::string& name) {
  if (in.channels != 1 && in.channels != 2 && in.channels != 6)
    Fail(name + ": " + std::to_string(in.channels) +
         " channels are not supported (mono, stereo or 5.1 = 6 channels)");
  try {
    hvpreset::CheckLayout({}, in.sampleRate, in.channels);
  } catch (const hvpreset::Refusal&) {
    Fail(name + ": " + std::to_string(in.sampleRate) +
         " Hz is not supported (8000, 11025, 16000, 22050, 32000, 44100 or 48000 Hz)");
  }
  if (in.frames == 0) Fail(name + ": no audio in it");
}

[[noreturn]] void RefuseTruncated(const Source& in, const std::string& name, long long held) {
  const long long announced = std::max(in.frames, held) + in.missingFrames;
  char buf[160];
  std::snprintf(buf, sizeof buf, ": truncated: its header announces %.2f s, it holds %.2f s",
                static_cast<double>(announced) / in.sampleRate, static_cast<double>(held) / in.sampleRate);
  Fail(name + buf + " (--accept-truncated renders what is there)");
}

// Refuses, before anything is written, an output that is the input file or
// another output of the same run (the same file, whatever its name).
void CheckOutputsApart(const Options& o) {
  const std::pair<const char*, const std::string*> outputs[] = {
      {"the output", &o.output}, {"--report-json", &o.reportJson},
      {"--save-preset", &o.savePreset}, {"--save-input", &o.saveInput}};
  std::optional<FileId> input;
  if (!o.input.empty()) input = IdentifyFile(o.input);
  for (size_t i = 0; i < std::size(outputs); ++i) {
    const std::string& path = *outputs[i].second;
    if (path.empty()) continue;
    const FileId id = IdentifyFile(path);
    if (input && id == *input)
      throw UsageError(path + ": " + outputs[i].first + " is the input file; nothing written");
    for (size_t j = 0; j < i; ++j)
      if (!outputs[j].second->empty() && IdentifyFile(*outputs[j].second) == id)
        throw UsageError(path + ": named for both " + outputs[j].first + " and " + outputs[i].first +
                         "; nothing written");
  }
}

// Progress bar on standard error over the whole run: only on a terminal,
// only once the run has taken more than a second.
class Progress {
 public:
  explicit Progress(bool enabled) : enabled_(enabled && isatty(STDERR_FILENO)) {}
  void Update(long long done, long long total, int rate) {
    if (!enabled_) return;
    const double t = SecondsSince(start_);
    if (t < 1.0 || t - last_ < 0.1) return;
    last_ = t;
    shown_ = true;
    if (total <= 0) {  // a stream of unknown length
      std::fprintf(stderr, "\r%10.1f s of audio", static_cast<double>(done) / rate);
      return;
    }
    const double fraction = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const int width = 40, filled = static_cast<int>(fraction * width);
    std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(static_cast<size_t>(filled), '#').c_str(),
                 std::string(static_cast<size_t>(width - filled), ' ').c_str(), static_cast<int>(fraction * 100));
  }
  void Done() {
    if (shown_) std::fprintf(stderr, "\r%60s\r", "");
  }
 private:
  bool enabled_;
  bool shown_ = false;
  double last_ = 0;
  Clock::time_point start_ = Clock::now();
};

// The stages that run on this material with these settings.
json RunningStages(const Settings& s, int rate, int channels) {
  const bool soundbar = s.master && hvpreset::SoundbarRuns(s, rate, channels);
  const bool leveller = s.master && s.autolevel.enable;
  const bool any = s.master && (s.eq || leveller || soundbar || s.surround);
  return {{"soundbar", soundbar},
          {"lfe_mix", soundbar && s.lfeCopy},
          {"lfe_autolevel", s.master && channels == 6 && s.lfeLeveller.enable && any},
          {"autolevel", leveller},
          {"eq", s.master && s.eq},
          {"limiter", any && s.limiter},
          {"surround", s.master && s.surround},
          {"fixed_attenuation", !soundbar}};
}

// Where the blocks go besides the library: the meters and the files.
struct Sinks {
  LoudnessMeter inMeter, outMeter;
  AudioSink* output;
  AudioSink* input;
};

struct RenderResult {
  int latency = 0;
  long long frames = 0;           // input frames read
  double librarySeconds = 0;      // inside HVTralo_Process
};

// Streams the input through the front: each block is measured (and saved)
// as it comes, processed, and its output measured and written. Aligned, the
// first `latency` output frames are dropped and the tail flushed with silence.
RenderResult Render(Source& in, const Options& o, Sinks& sinks, Progress& progress) {
  RenderResult r;
  hvpreset::Apply(o.settings, in.sampleRate, in.channels, hvpreset::FrontTarget());
  if (HVTralo_GetLatency(&r.latency) != 1) Fail("the library did not report its latency");
  const size_t ch = static_cast<size_t>(in.channels);
  const long long tail = o.raw ? 0 : r.latency;
  long long skip = tail, flushed = 0;
  std::vector<short> block(static_cast<size_t>(kHostFrames) * ch), work(block.size());
  for (;;) {
    long long n = in.Read(block.data(), kHostFrames);
    if (n > 0) {
      r.frames += n;
      sinks.inMeter.Add(block.data(), static_cast<size_t>(n));
      if (sinks.input) sinks.input->Write(block.data(), n);
      std::copy_n(block.begin(), n * static_cast<long long>(ch), work.begin());
    } else {
      n = std::min(kHostFrames, tail - flushed);  // the tail: silence
      if (n <= 0) break;
      flushed += n;
      std::fill_n(work.begin(), n * static_cast<long long>(ch), short{0});
    }
    const auto t = Clock::now();
    if (HVTralo_Process(work.data(), static_cast<int>(n)) != 1)
      Fail("the library refused a block at frame " + std::to_string(r.frames + flushed - n));
    r.librarySeconds += SecondsSince(t);
    const long long drop = std::min(skip, n);
    skip -= drop;
    const short* out = work.data() + static_cast<size_t>(drop) * ch;
    sinks.outMeter.Add(out, static_cast<size_t>(n - drop));
    if (sinks.output) sinks.output->Write(out, n - drop);
    progress.Update(r.frames + flushed, in.frames < 0 ? -1 : in.frames + tail, in.sampleRate);
  }
  HVTralo_Release();
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

// One line when the loudness range rises because the output lifts quiet
// passages over the range measure's gate; empty otherwise.
std::string RangeNote(const Loudness& li, const Loudness& lo) {
  const double gained = SecondsGainedAboveRangeGate(li, lo);
  if (!(lo.rangeLu > li.rangeLu + 0.1) || gained < 1.0) return {};
  char buf[256];
  std::snprintf(buf, sizeof buf,
                "it rises because %.1f s of quiet passages, under the measure's gate (20 LU below the mean) "
                "in the input, pass it in the output and count",
                gained);
  return buf;
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
  const Settings& s = o.settings;
  std::printf("hvtralo-render %s\n", HVTralo_GetVersion());
  std::printf("input     %s: %d Hz, %d ch, %.2f s, %s%s\n", in["name"].get<std::string>().c_str(),
              in["sample_rate"].get<int>(), in["channels"].get<int>(), in["seconds"].get<double>(),
              in["format"].get<std::string>().c_str(), in["converted_to_16_bit"].get<bool>() ?
              " (rounded to 16 bits, no dither)" : "");
  if (in.contains("truncated"))
    std::printf("          truncated: its header announces %.2f s; rendered what is there\n",
                in["truncated"]["announced_seconds"].get<double>());
  const json& out = rep["output"];
  std::printf("output    %s%s, %s\n", o.output.empty() ? "(not written)" : o.output.c_str(),
              out.contains("format") ? (": " + out["format"].get<std::string>()).c_str() : "",
              o.raw ? "library timing (--raw)" : "time-aligned with the input");
  if (out.contains("note")) std::printf("          %s\n", out["note"].get<std::string>().c_str());
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
  if (rep.contains("loudness_range_note"))
    std::printf("%-22s %s\n", "", rep["loudness_range_note"].get<std::string>().c_str());
  std::printf("%-22s %s  %s\n", "sample peak", Fmt(li.samplePeakDbfs, "dBFS").c_str(),
              Fmt(lo.samplePeakDbfs, "dBFS").c_str());
  std::printf("%-22s %s  %s\n", "true peak", Fmt(li.truePeakDbtp, "dBTP").c_str(),
              Fmt(lo.truePeakDbtp, "dBTP").c_str());
  const int latency = rep["latency_frames"].get<int>();
  std::printf("\nlatency   %d frames (%.1f ms)%s\n", latency, 1000.0 * latency / in["sample_rate"].get<int>(),
              o.raw ? "" : ", removed");
  std::printf("speed     %.0fx real time (%.2f s of audio in %.2f s; the library's share %.2f s)\n",
              rep["speed_x_realtime"].get<double>(), in["seconds"].get<double>(), rep["run_seconds"].get<double>(),
              rep["processing_seconds"].get<double>());
}

int Run(const Options& o) {
  const auto start = Clock::now();
  if (o.version) {
    std::printf("hvtralo-render %s\n", HVTralo_GetVersion());
    return 0;
  }
  CheckOutputsApart(o);
  if (!o.savePreset.empty() && o.input.empty() && o.output.empty()) {  // write the preset and stop
    PendingFile preset(o.savePreset);
    WriteText(preset, hvpreset::ToJson(o.settings).dump(2) + "\n");
    preset.Commit();
    return 0;
  }

  const bool demo = o.input.empty();
  const Audio demoAudio = demo ? MakeDemoProgramme(o.demo51) : Audio{};
  const std::unique_ptr<Source> in = demo ? MemorySource(demoAudio) : OpenAudio(o.input);
  const std::string name = demo ? std::string(o.demo51 ? "demo programme 5.1" : "demo programme")
                                : o.input == "-" ? "standard input" : o.input;
  CheckMaterial(*in, name);
  if (in->missingFrames > 0 && !o.acceptTruncated) RefuseTruncated(*in, name, in->frames);
  try {
    hvpreset::CheckLayout(o.settings, in->sampleRate, in->channels);
  } catch (const hvpreset::Refusal& e) {
    throw UsageError(std::string(e.what()) + " (" + name + ")");
  }

  // Every file is opened under a temporary name before the work starts, so an
  // unwritable path fails at once and a failure leaves none of them behind.
  std::unique_ptr<PendingFile> out, report, preset, inputFile;
  std::unique_ptr<AudioSink> outAudio, inAudio;
  std::string formatNote;
  const int outFormat = o.output.empty() ? 0 : OutputFormat(o.output, in->format, formatNote);
  if (!o.output.empty()) {
    out = std::make_unique<PendingFile>(o.output);
    outAudio = std::make_unique<AudioSink>(*out, in->sampleRate, in->channels, outFormat);
  }
  if (!o.reportJson.empty()) report = std::make_unique<PendingFile>(o.reportJson);
  if (!o.savePreset.empty()) preset = std::make_unique<PendingFile>(o.savePreset);
  if (!o.saveInput.empty()) {
    inputFile = std::make_unique<PendingFile>(o.saveInput);
    inAudio = std::make_unique<AudioSink>(*inputFile, in->sampleRate, in->channels, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  }

  Sinks sinks{{in->channels, in->sampleRate}, {in->channels, in->sampleRate}, outAudio.get(), inAudio.get()};
  Progress progress(!o.quiet);
  const RenderResult r = Render(*in, o, sinks, progress);
  // A stream shorter than its header is found only at its end.
  const long long missing = in->missingFrames + (in->frames > r.frames ? in->frames - r.frames : 0);
  if (in->missingFrames == 0 && missing > 0 && !o.acceptTruncated) RefuseTruncated(*in, name, r.frames);
  for (AudioSink* sink : {outAudio.get(), inAudio.get()})
    if (sink) sink->Close();
  const Loudness li = sinks.inMeter.Result(), lo = sinks.outMeter.Result();
  const double seconds = static_cast<double>(r.frames) / in->sampleRate;
  const double runSeconds = SecondsSince(start);
  progress.Done();

  json rep = {{"tool", "hvtralo-render"},
              {"version", HVTralo_GetVersion()},
              {"input",
               {{"name", name},
                {"sample_rate", in->sampleRate},
                {"channels", in->channels},
                {"frames", r.frames},
                {"seconds", seconds},
                {"format", DescribeFormat(in->format)},
                {"converted_to_16_bit", !IsPcm16(in->format)}}},
              {"output", {{"name", o.output}, {"aligned", !o.raw}}},
              {"latency_frames", r.latency},
              {"settings", hvpreset::ToJson(o.settings)},
              {"stages_running", RunningStages(o.settings, in->sampleRate, in->channels)},
              {"processing_seconds", r.librarySeconds},
              {"run_seconds", runSeconds},
              {"speed_x_realtime", runSeconds > 0 ? seconds / runSeconds : 0.0},
              {"short_term_step_s", kShortTermStepSeconds},
              {"loudness", {{"input", LoudnessJson(li)}, {"output", LoudnessJson(lo)}}}};
  if (demo) rep["input"]["description"] = DemoDescription();
  if (missing > 0)
    rep["input"]["truncated"] = {{"announced_seconds", static_cast<double>(r.frames + missing) / in->sampleRate}};
  if (out) rep["output"]["format"] = DescribeFormat(outFormat);
  if (!formatNote.empty()) rep["output"]["note"] = formatNote;
  if (const std::string note = RangeNote(li, lo); !note.empty()) rep["loudness_range_note"] = note;

  PrintReport(rep, o, li, lo);
  if (missing > 0)
    std::fprintf(stderr, "hvtralo-render: %s: truncated (its header announces %.2f s); rendered the %.2f s there\n",
                 name.c_str(), static_cast<double>(r.frames + missing) / in->sampleRate, seconds);
  if (report) WriteText(*report, rep.dump(1) + "\n");
  if (preset) WriteText(*preset, hvpreset::ToJson(o.settings).dump(2) + "\n");
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
