// The LV2 plugins: stereo and 5.1, one engine instance each in smooth mode.
//
// Audio thread (run): reads the ports, converts float to the library's 16
// bits and back, runs the engine, reports the latency and crossfades to the
// delayed input while the host bypasses the plugin. Nothing is allocated
// there. Port changes reach the engine through the host's worker thread when
// the host offers one (the setters do their design work on the calling
// thread); without a worker, as in offline hosts, run() makes the calls.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include <lv2/core/lv2.h>
#include <lv2/worker/worker.h>

#include <hvtralofx/HVFX_Engine.h>

#include "Controls.h"
#include "preset/Preset.h"

namespace {

constexpr char kStereoUri[] = "urn:hvtralofx:lv2:stereo";
constexpr char kSurroundUri[] = "urn:hvtralofx:lv2:surround51";
constexpr int kChunk = 1024;      // frames handed to the engine at a time
constexpr int kFadeSteps = 512;   // bypass crossfade, in samples

struct Plugin {
  int channels = 2;
  int rate = 0;
  bool processing = false;  // a layout the library runs; otherwise audio passes through
  bool soundbarRuns = false;
  HVFX_Engine* engine = nullptr;
  int latency = 0;
  const std::vector<hvlv2::Control>* controls = nullptr;
  std::vector<float*> ports;  // every port the host connected
  std::vector<float> sent, applied;  // control values handed on (audio side, engine side)
  std::vector<short> pcm;            // kChunk frames, interleaved
  std::vector<float> dry;            // the input, held back by the latency, per channel
  int dryPos = 0;
  int fade = kFadeSteps;  // kFadeSteps: processed output; 0: bypassed
  const LV2_Worker_Schedule* worker = nullptr;

  ~Plugin() { HVFX_Destroy(engine); }
};

bool LayoutSupported(int rate, int channels) {
  try {
    hvpreset::Settings any;
    any.soundbar = hvpreset::SoundbarMode::Off;
    hvpreset::CheckLayout(any, rate, channels);
    return true;
  } catch (const hvpreset::Refusal&) {
    return false;
  }
}

// Hands the engine the values that changed since the last call.
void ApplyPorts(Plugin* p, const float* values) {
  hvlv2::Apply(p->engine, *p->controls, values, p->applied.data(), p->soundbarRuns);
}

// Copies the control ports into `sent`; true when one changed (false too
// while a control port is not connected).
bool ReadPorts(Plugin* p) {
  const size_t first = size_t(hvlv2::FirstControl(p->channels));
  bool changed = false;
  for (size_t k = 0; k < p->controls->size(); ++k) {
    const float* port = p->ports[first + k];
    if (!port) return false;
    changed |= !(*port == p->sent[k]);
    p->sent[k] = *port;
  }
  return changed;
}

LV2_Handle Instantiate(const LV2_Descriptor* d, double rate, const char*, const LV2_Feature* const* features) {
  auto p = std::unique_ptr<Plugin>(new (std::nothrow) Plugin);
  if (!p) return nullptr;
  p->channels = std::strcmp(d->URI, kSurroundUri) == 0 ? 6 : 2;
  p->controls = &hvlv2::Controls(p->channels);
  const int n = int(p->controls->size());
  p->ports.assign(size_t(hvlv2::FirstControl(p->channels) + n), nullptr);
  p->sent.assign(size_t(n), std::numeric_limits<float>::quiet_NaN());
  p->applied = p->sent;
  for (int i = 0; features && features[i]; ++i)
    if (std::strcmp(features[i]->URI, LV2_WORKER__schedule) == 0)
      p->worker = static_cast<const LV2_Worker_Schedule*>(features[i]->data);
  const int r = int(std::lrint(rate));
  p->processing = r == rate && LayoutSupported(r, p->channels);
  if (!p->processing) return p.release();  // audio passes through
  p->rate = r;
  p->soundbarRuns = hvpreset::SoundbarSupported(r, p->channels);
  p->engine = HVFX_Create();
  if (!p->engine || HVFX_Init(p->engine, r, p->channels) != 1) return nullptr;
  HVFX_GetLatency(p->engine, &p->latency);
  p->pcm.assign(size_t(kChunk * p->channels), 0);
  p->dry.assign(size_t(std::max(p->latency, 1) * p->channels), 0.0f);
  return p.release();
}

void ConnectPort(LV2_Handle h, uint32_t port, void* data) {
  auto* p = static_cast<Plugin*>(h);
  if (port < p->ports.size()) p->ports[port] = static_cast<float*>(data);
}

// Starts the engine afresh with the settings the ports hold (their defaults
// where the host has not connected them yet), before any audio, so the first
// sample is processed with them: the settings an initialisation builds the
// modules with while released, then the others.
void Activate(LV2_Handle h) {
  auto* p = static_cast<Plugin*>(h);
  if (!p->processing) return;
  const size_t first = size_t(hvlv2::FirstControl(p->channels));
  if (std::find(p->ports.begin() + long(first), p->ports.end(), nullptr) == p->ports.end())
    ReadPorts(p);
  else
    for (size_t k = 0; k < p->controls->size(); ++k) p->sent[k] = (*p->controls)[k].def;
  HVFX_Release(p->engine);
  hvlv2::Apply(p->engine, *p->controls, p->sent.data(), p->applied.data(), p->soundbarRuns,
               hvlv2::kLastStoredWhileReleased);
  HVFX_Init(p->engine, p->rate, p->channels);
  ApplyPorts(p, p->sent.data());
  std::fill(p->dry.begin(), p->dry.end(), 0.0f);
  p->dryPos = 0;
}

void Process(Plugin* p, uint32_t frames) {
  const int ch = p->channels;
  float* const* out = &p->ports[size_t(hvlv2::AudioOut(ch))];
  const float* const* in = &p->ports[size_t(hvlv2::AudioIn(ch))];
  const float* enabled = p->ports[size_t(hvlv2::EnabledPort(ch))];
  const int target = !enabled || *enabled > 0.5f ? kFadeSteps : 0;
  const int latency = std::max(p->latency, 1);
  for (uint32_t done = 0; done < frames;) {
    const int n = int(std::min<uint32_t>(frames - done, kChunk));
    for (int i = 0; i < n; ++i)
      for (int c = 0; c < ch; ++c) {
        const float x = std::round(in[c][done + uint32_t(i)] * 32768.0f);
        p->pcm[size_t(i * ch + c)] = short(std::clamp(x, -32768.0f, 32767.0f));
      }
    HVFX_Process(p->engine, p->pcm.data(), n);
    for (int i = 0; i < n; ++i) {
      // The engine's output and the input from `latency` frames ago, mixed
      // by the bypass fade (one step per sample).
      if (p->fade != target) p->fade += p->fade < target ? 1 : -1;
      const float wet = float(p->fade) / kFadeSteps;
      for (int c = 0; c < ch; ++c) {
        float& held = p->dry[size_t(p->dryPos * ch + c)];
        const float x = in[c][done + uint32_t(i)];
        const float y = float(p->pcm[size_t(i * ch + c)]) / 32768.0f;
        out[c][done + uint32_t(i)] = wet * y + (1.0f - wet) * held;
        held = x;
      }
      if (++p->dryPos == latency) p->dryPos = 0;
    }
    done += uint32_t(n);
  }
}

void Run(LV2_Handle h, uint32_t frames) {
  auto* p = static_cast<Plugin*>(h);
  const int ch = p->channels;
  for (int c = 0; c < ch; ++c)
    if (!p->ports[size_t(hvlv2::AudioIn(ch) + c)] || !p->ports[size_t(hvlv2::AudioOut(ch) + c)]) return;
  if (float* latency = p->ports[size_t(hvlv2::LatencyPort(ch))])
    *latency = float(p->latency);
  if (!p->processing) {
    for (int c = 0; c < ch; ++c) {
      const float* in = p->ports[size_t(hvlv2::AudioIn(ch) + c)];
      float* out = p->ports[size_t(hvlv2::AudioOut(ch) + c)];
      if (in != out) std::memmove(out, in, frames * sizeof(float));
    }
    return;
  }
  if (ReadPorts(p)) {
    if (p->worker) {
      const uint32_t size = uint32_t(p->sent.size() * sizeof(float));
      if (p->worker->schedule_work(p->worker->handle, size, p->sent.data()) != LV2_WORKER_SUCCESS)
        std::fill(p->sent.begin(), p->sent.end(), std::numeric_limits<float>::quiet_NaN());  // next run retries
    } else
      ApplyPorts(p, p->sent.data());
  }
  Process(p, frames);
}

// Worker thread: the port values run() sent, handed to the engine.
LV2_Worker_Status Work(LV2_Handle h, LV2_Worker_Respond_Function, LV2_Worker_Respond_Handle, uint32_t size,
                       const void* data) {
  auto* p = static_cast<Plugin*>(h);
  if (size != p->applied.size() * sizeof(float)) return LV2_WORKER_ERR_UNKNOWN;
  std::vector<float> values(p->applied.size());
  std::memcpy(values.data(), data, size);
  ApplyPorts(p, values.data());
  return LV2_WORKER_SUCCESS;
}

LV2_Worker_Status WorkResponse(LV2_Handle, uint32_t, const void*) { return LV2_WORKER_SUCCESS; }

const void* ExtensionData(const char* uri) {
  static const LV2_Worker_Interface kWorker = {Work, WorkResponse, nullptr};
  return std::strcmp(uri, LV2_WORKER__interface) == 0 ? &kWorker : nullptr;
}

void Cleanup(LV2_Handle h) { delete static_cast<Plugin*>(h); }

const LV2_Descriptor kDescriptors[] = {
    {kStereoUri, Instantiate, ConnectPort, Activate, Run, nullptr, Cleanup, ExtensionData},
    {kSurroundUri, Instantiate, ConnectPort, Activate, Run, nullptr, Cleanup, ExtensionData},
};

}  // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index) {
  return index < 2 ? &kDescriptors[index] : nullptr;
}
