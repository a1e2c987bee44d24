// Fuzz target: random command codes, sizes and blobs (parameters,
// configurations, presets) and process calls on one effect, as a misbehaving
// framework or vendor app could send them.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "hosts/android/EffectApi.h"

extern "C" audio_effect_library_t AELI;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  effect_descriptor_t d;
  const effect_uuid_t ours = {0x19b76f4e, 0xe3d4, 0x4190, 0xafe4, {0x24, 0x68, 0x71, 0x81, 0x41, 0xee}};
  effect_handle_t h = nullptr;
  if (AELI.get_descriptor(&ours, &d) != 0 || AELI.create_effect(&ours, 0, 0, &h) != 0) __builtin_trap();
  for (int call = 0; call < hvfuzz::kMaxCalls && in.remaining_bytes() > 0; ++call) {
    if (in.ConsumeBool()) {
      // A command: mostly the known codes, with a blob of any size.
      const uint32_t code = in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 22) : in.ConsumeIntegral<uint32_t>();
      std::vector<uint8_t> blob = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 160));
      std::vector<uint8_t> reply(in.ConsumeIntegralInRange<size_t>(0, 160));
      uint32_t replySize = static_cast<uint32_t>(reply.size());
      const uint32_t cmdSize = in.ConsumeBool() ? static_cast<uint32_t>(blob.size()) : in.ConsumeIntegral<uint32_t>() % 200;
      blob.resize(std::max<size_t>(blob.size(), cmdSize));
      (*h)->command(h, code, cmdSize, blob.empty() ? nullptr : blob.data(), in.ConsumeBool() ? &replySize : nullptr,
                    reply.empty() ? nullptr : reply.data());
    } else {
      // Audio in the configured format: float buffers are large enough for either.
      const size_t frames = in.ConsumeIntegralInRange<size_t>(0, 1200);
      std::vector<float> samples(frames * 6, in.ConsumeFloatingPoint<float>());
      audio_buffer_t buf = {frames, {samples.data()}};
      (*h)->process(h, &buf, in.ConsumeBool() ? &buf : nullptr);
    }
  }
  AELI.release_effect(h);
  return 0;
}
