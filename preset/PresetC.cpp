// The C entry points of the preset core: every refusal becomes a return value
// of 0 and one line in the caller's buffer.
#include <hvtralofx/HVFX_Engine.h>
#include <hvtralofx/HVTralo_Preset.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>

#include "preset/Preset.h"

namespace {

void CopyOut(const std::string& text, char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  const size_t n = std::min(text.size(), size - 1);
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
}

// Runs `work` on the preset's settings; a refusal (or any other failure)
// lands in `message` and makes the result 0.
template <typename Work>
auto Guarded(const char* preset, char* message, size_t size, Work work) -> decltype(work(hvpreset::Settings{})) {
  try {
    hvpreset::Settings s;
    hvpreset::FromJson(hvpreset::Parse(preset != nullptr ? preset : "{}"), s);
    return work(s);
  } catch (const std::exception& e) {
    CopyOut(e.what(), message, size);
  } catch (...) {
    CopyOut("unexpected failure", message, size);
  }
  return 0;
}

}  // namespace

extern "C" {

int HVTralo_Preset_Check(const char* preset, int sampleRate, int channels, char* message, size_t size) {
  return Guarded(preset, message, size, [&](const hvpreset::Settings& s) {
    if (sampleRate > 0 || channels > 0) hvpreset::CheckLayout(s, sampleRate, channels);
    return 1;
  });
}

int HVTralo_Preset_ApplyToFront(const char* preset, int sampleRate, int channels, char* message, size_t size) {
  return Guarded(preset, message, size, [&](const hvpreset::Settings& s) {
    hvpreset::Apply(s, sampleRate, channels, hvpreset::FrontTarget());
    return 1;
  });
}

int HVTralo_Preset_ApplyToInstance(HVFX_Engine* engine, const char* preset, char* message, size_t size) {
  int rate = 0, channels = 0;
  if (HVFX_GetFormat(engine, &rate, &channels) != 1) {
    CopyOut("the instance is not initialised", message, size);
    return 0;
  }
  return Guarded(preset, message, size, [&](const hvpreset::Settings& s) {
    hvpreset::Apply(s, rate, channels, hvpreset::InstanceTarget(engine));
    return 1;
  });
}

size_t HVTralo_Preset_Complete(const char* preset, char* out, size_t outSize, char* message, size_t size) {
  return Guarded(preset, message, size, [&](const hvpreset::Settings& s) -> size_t {
    const std::string text = hvpreset::ToJson(s).dump();
    CopyOut(text, out, outSize);
    return text.size() + 1;
  });
}

}  // extern "C"
