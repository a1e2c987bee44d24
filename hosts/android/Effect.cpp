// The hvtralofx effect for the audio framework's effect chains: one engine
// instance per effect, in smooth control mode, so that the framework's
// parameter changes and enable/disable never click and the latency it is
// told stays put.
#include <hvtralofx/HVFX_Engine.h>
#include <hvtralofx/HVTralo_Preset.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <string>

#include "hosts/android/EffectApi.h"
#include "hosts/android/HVFX_EffectParams.h"
#include "preset/Preset.h"

namespace {

constexpr effect_descriptor_t kDescriptor = {
    {0x2f8877ad, 0x2019, 0x45e4, 0xa623, {0x51, 0xf3, 0x9c, 0xd2, 0x79, 0x30}},
    {0x19b76f4e, 0xe3d4, 0x4190, 0xafe4, {0x24, 0x68, 0x71, 0x81, 0x41, 0xee}},
    EFFECT_CONTROL_API_VERSION,
    EFFECT_FLAG_TYPE_INSERT | EFFECT_FLAG_INSERT_ANY,
    40,   // about 4 MIPS on a Cortex-A55 for stereo at 48 kHz
    256,  // KiB
    "hvtralofx",
    "Harvel Tralo",
};

constexpr int kChunkFrames = 512;  // frames converted per engine call
constexpr int kMaxChannels = 6;
constexpr int kCrossfadeFrames = 512;  // the master switch's fade in smooth mode
constexpr uint32_t kMaxPresetBytes = 64 * 1024;
constexpr size_t kMaxFrames = 1 << 24;  // far above any buffer the framework hands an effect

bool SameUuid(const effect_uuid_t& a, const effect_uuid_t& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

int ChannelCount(uint32_t mask) {
  switch (mask) {
    case AUDIO_CHANNEL_OUT_MONO: return 1;
    case AUDIO_CHANNEL_OUT_STEREO: return 2;
    case AUDIO_CHANNEL_OUT_5POINT1: return 6;
    default: return 0;
  }
}

enum class State { Idle, Active, Draining };

struct Effect {
  const effect_interface_s* itfe;
  HVFX_Engine* engine;
  effect_config_t config;
  std::atomic<State> state{State::Idle};
  std::atomic<int> tailFrames{0};
  bool initialised = false;  // the engine's first initialisation is postponed to the first configuration
  std::array<int16_t, kChunkFrames * kMaxChannels> scratch{};
};

Effect* FromHandle(effect_handle_t handle);

// ----- Parameters: one table row per control of the front interface.
using E = HVFX_Engine;
constexpr int kAny = -2147483647 - 1;
struct Limits {
  int lo, hi;
};
constexpr Limits kBool{0, 1}, kAnyInt{kAny, 2147483647}, kChannel{-1, kMaxChannels - 1};
constexpr Limits From(hvpreset::Range r) { return {r.lo, r.hi}; }
constexpr Limits kGain = From(hvpreset::kGainDb), kFreq = From(hvpreset::kFreqHz);
constexpr Limits kVolume = From(hvpreset::kVolumePct), kStation = From(hvpreset::kStationMs);
constexpr Limits kRate = From(hvpreset::kDbPerS);

struct Param {
  uint32_t id;
  int indices;  // 32-bit words after the id in the parameter bytes
  int values;   // 32-bit words of the value; with a Q, the last one is a float
  bool q;
  std::array<Limits, 4> limits;  // of the indices, then of the integer values
  int (*set)(E*, const int32_t* idx, const int32_t* v, float q);
  int (*get)(E*, const int32_t* idx, int32_t* v, float* q);
};

// Rows for the usual shapes of a control: a switch, one integer, the four
// leveller values, the two leveller rates, an equalizer shelf; a switch
// without a getter.
#define HVFX_SWITCH(ID, SET, GET)                                                        \
  Param{ID, 0, 1, false, {kBool},                                                        \
        [](E* e, const int32_t*, const int32_t* v, float) { return SET(e, v[0] != 0); }, \
        [](E* e, const int32_t*, int32_t* v, float*) {                                   \
          bool on = false;                                                               \
          const int r = GET(e, &on);                                                     \
          v[0] = on;                                                                     \
          return r;                                                                      \
        }}
#define HVFX_SETTER(ID, SET) \
  Param{ID, 0, 1, false, {kBool}, [](E* e, const int32_t*, const int32_t* v, float) { return SET(e, v[0] != 0); }, nullptr}
#define HVFX_INT(ID, SET, GET, LIMITS)                                                           \
  Param{ID, 0, 1, false, {LIMITS}, [](E* e, const int32_t*, const int32_t* v, float) { return SET(e, v[0]); }, \
        [](E* e, const int32_t*, int32_t* v, float*) { return GET(e, v); }}
#define HVFX_LEVELLER(ID, SET, GET)                                                                         \
  Param{ID, 0, 4, false, {kBool, kVolume, kStation, kBool},                                                 \
        [](E* e, const int32_t*, const int32_t* v, float) { return SET(e, v[0], v[1], v[2], v[3]); },        \
        [](E* e, const int32_t*, int32_t* v, float*) { return GET(e, v, v + 1, v + 2, v + 3); }}
#define HVFX_RATES(ID, SET, GET)                                                                    \
  Param{ID, 0, 2, false, {kRate, kRate},                                                            \
        [](E* e, const int32_t*, const int32_t* v, float) { return SET(e, v[0], v[1]); },            \
        [](E* e, const int32_t*, int32_t* v, float*) { return GET(e, v, v + 1); }}
#define HVFX_SHELF(ID, SET, GET)                                                                    \
  Param{ID, 1, 2, false, {kChannel, kGain, kFreq},                                                  \
        [](E* e, const int32_t* i, const int32_t* v, float) { return SET(e, i[0], v[0], v[1]); },    \
        [](E* e, const int32_t* i, int32_t* v, float*) { return GET(e, i[0], v, v + 1); }}

const Param kParams[] = {
    HVFX_SWITCH(HVFX_PARAM_DRC_ENABLE, HVFX_DRC_SetEnable, HVFX_DRC_GetEnable),
    HVFX_SWITCH(HVFX_PARAM_AUTOLEVEL_ENABLE, HVFX_AutoLevel_SetEnable, HVFX_AutoLevel_GetEnable),
    HVFX_LEVELLER(HVFX_PARAM_AUTOLEVEL_PARAM, HVFX_AutoLevel_SetParam, HVFX_AutoLevel_GetParam),
    HVFX_RATES(HVFX_PARAM_AUTOLEVEL_RATES, HVFX_AutoLevel_SetVolUpDownRate, HVFX_AutoLevel_GetVolUpDownRate),
    HVFX_SWITCH(HVFX_PARAM_SURROUND_ENABLE, HVFX_Surround_SetEnable, HVFX_Surround_GetEnable),
    HVFX_SWITCH(HVFX_PARAM_EQ_ENABLE, HVFX_EQ_SetEnable, HVFX_EQ_GetEnable),
    Param{HVFX_PARAM_EQ_BAND, 2, 3, true, {kChannel, {0, 7}, kGain, kFreq},
          [](E* e, const int32_t* i, const int32_t* v, float q) { return HVFX_EQ_SetBandGain(e, i[0], i[1], v[0], v[1], q); },
          [](E* e, const int32_t* i, int32_t* v, float* q) { return HVFX_EQ_GetBandGain(e, i[0], i[1], v, v + 1, q); }},
    HVFX_SETTER(HVFX_PARAM_EQ_LOW_SHELF_ENABLE, HVFX_EQ_SetLPFEnable),
    HVFX_SETTER(HVFX_PARAM_EQ_HIGH_SHELF_ENABLE, HVFX_EQ_SetHPFEnable),
    HVFX_SHELF(HVFX_PARAM_EQ_LOW_SHELF, HVFX_EQ_SetLPFBandGain, HVFX_EQ_GetLPFBandGain),
    HVFX_SHELF(HVFX_PARAM_EQ_HIGH_SHELF, HVFX_EQ_SetHPFBandGain, HVFX_EQ_GetHPFBandGain),
    HVFX_SWITCH(HVFX_PARAM_DYNAMIC_BASS_ENABLE, HVFX_DynamicBass_SetEnable, HVFX_DynamicBass_GetEnable),
    HVFX_INT(HVFX_PARAM_DYNAMIC_BASS_LEVEL, HVFX_DynamicBass_SetLevel, HVFX_DynamicBass_GetLevel, kAnyInt),
    HVFX_INT(HVFX_PARAM_DYNAMIC_BASS_CUTOFF, HVFX_DynamicBass_SetCutOffFreq, HVFX_DynamicBass_GetCutOffFreq, kAnyInt),
    HVFX_SWITCH(HVFX_PARAM_SOUNDBAR_ENABLE, HVFX_Soundbar_SetEnable, HVFX_Soundbar_GetEnable),
    HVFX_INT(HVFX_PARAM_SOUNDBAR_DISTANCE, HVFX_Soundbar_SetDistance, HVFX_Soundbar_GetDistance, (Limits{30, 70})),
    HVFX_INT(HVFX_PARAM_SOUNDBAR_WIDTH, HVFX_Soundbar_SetAngle, HVFX_Soundbar_GetAngle, (Limits{0, 2})),
    HVFX_SWITCH(HVFX_PARAM_LFE_COPY_ENABLE, HVFX_Soundbar_SetLFECopyEnable, HVFX_Soundbar_GetLFECopyEnable),
    HVFX_INT(HVFX_PARAM_LFE_FREQ, HVFX_Soundbar_SetLFEFreq, HVFX_Soundbar_GetLFEFreq, kFreq),
    HVFX_INT(HVFX_PARAM_LFE_GAIN, HVFX_Soundbar_SetLFEGain, HVFX_Soundbar_GetLFEGain, kGain),
    HVFX_SWITCH(HVFX_PARAM_LFE_AUTOLEVEL_ENABLE, HVFX_Soundbar_SetLFESVEnable, HVFX_Soundbar_GetLFESVEnable),
    HVFX_LEVELLER(HVFX_PARAM_LFE_AUTOLEVEL_PARAM, HVFX_Soundbar_SetLFESVParam, HVFX_Soundbar_GetLFESVParam),
    HVFX_RATES(HVFX_PARAM_LFE_AUTOLEVEL_RATES, HVFX_Soundbar_SetLFESVVolUpDownRate,
               HVFX_Soundbar_GetLFESVVolUpDownRate),
    Param{HVFX_PARAM_LATENCY, 0, 1, false, {}, nullptr,
          [](E* e, const int32_t*, int32_t* v, float*) { return HVFX_GetLatency(e, v); }},
};

const Param* FindParam(uint32_t id) {
  for (const Param& p : kParams)
    if (p.id == id) return &p;
  return nullptr;
}

int32_t Word(const char* bytes, size_t i) {
  int32_t w;
  std::memcpy(&w, bytes + 4 * i, 4);
  return w;
}

bool InLimits(int32_t v, Limits l) { return v >= l.lo && v <= l.hi; }

// The status of a set-parameter command: 0, or -EINVAL with nothing changed.
int32_t SetParam(Effect& fx, const char* data, uint32_t psize, uint32_t vsize) {
  const uint32_t id = static_cast<uint32_t>(Word(data, 0));
  const char* value = data + EFFECT_PARAM_VALUE_OFFSET(psize);
  if (id == HVFX_PARAM_PRESET) {
    if (psize != 4 || vsize == 0 || vsize > kMaxPresetBytes) return -EINVAL;
    thread_local std::string text;  // the control thread's, not the audio thread's
    text.assign(value, vsize);
    if (!text.empty() && text.back() == '\0') text.pop_back();
    if (HVTralo_Preset_ApplyToInstance(fx.engine, text.c_str(), nullptr, 0) != 1) return -EINVAL;
    // The effect's own enable state is the master switch, whatever the preset says.
    HVFX_SetEnable(fx.engine, fx.state.load() != State::Idle);
    return 0;
  }
  const Param* p = FindParam(id);
  if (p == nullptr || p->set == nullptr) return -EINVAL;
  if (psize != 4u * (1u + static_cast<uint32_t>(p->indices)) || vsize != 4u * static_cast<uint32_t>(p->values))
    return -EINVAL;
  int32_t words[6] = {};
  const int ints = p->values - (p->q ? 1 : 0);
  for (int i = 0; i < p->indices; ++i) words[i] = Word(data, 1 + static_cast<size_t>(i));
  for (int i = 0; i < ints; ++i) words[p->indices + i] = Word(value, static_cast<size_t>(i));
  for (int i = 0; i < p->indices + ints; ++i)
    if (!InLimits(words[i], p->limits[static_cast<size_t>(i)])) return -EINVAL;
  float q = 0.0f;
  if (p->q) {
    std::memcpy(&q, value + 4 * ints, 4);
    if (!(q >= hvpreset::kQLo && q <= hvpreset::kQHi)) return -EINVAL;
  }
  return p->set(fx.engine, words, words + p->indices, q) == 1 ? 0 : -EINVAL;
}

// Fills the value of a get-parameter reply; returns its size, or -EINVAL.
int32_t GetParam(Effect& fx, const char* data, uint32_t psize, char* value, uint32_t room) {
  const Param* p = FindParam(static_cast<uint32_t>(Word(data, 0)));
  if (p == nullptr || p->get == nullptr || psize != 4u * (1u + static_cast<uint32_t>(p->indices))) return -EINVAL;
  const uint32_t size = 4u * static_cast<uint32_t>(p->values);
  if (room < size) return -EINVAL;
  int32_t idx[2] = {}, v[4] = {};
  for (int i = 0; i < p->indices; ++i) idx[i] = Word(data, 1 + static_cast<size_t>(i));
  float q = 0.0f;
  if (p->get(fx.engine, idx, v, &q) != 1) return -EINVAL;
  if (p->q) std::memcpy(&v[p->values - 1], &q, 4);
  std::memcpy(value, v, size);
  return static_cast<int32_t>(size);
}

// ----- Configuration.
void Merge(buffer_config_t& to, const buffer_config_t& from) {
  if (from.mask & EFFECT_CONFIG_BUFFER) to.buffer = from.buffer;
  if (from.mask & EFFECT_CONFIG_SMP_RATE) to.samplingRate = from.samplingRate;
  if (from.mask & EFFECT_CONFIG_CHANNELS) to.channels = from.channels;
  if (from.mask & EFFECT_CONFIG_FORMAT) to.format = from.format;
  if (from.mask & EFFECT_CONFIG_ACC_MODE) to.accessMode = from.accessMode;
  if (from.mask & EFFECT_CONFIG_PROVIDER) to.bufferProvider = from.bufferProvider;
}

bool Supported(const effect_config_t& c) {
  const buffer_config_t &in = c.inputCfg, &out = c.outputCfg;
  return in.samplingRate >= 8000 && in.samplingRate <= 192000 && in.samplingRate == out.samplingRate &&
         ChannelCount(in.channels) > 0 && in.channels == out.channels &&
         (in.format == AUDIO_FORMAT_PCM_16_BIT || in.format == AUDIO_FORMAT_PCM_FLOAT) && in.format == out.format &&
         in.accessMode <= EFFECT_BUFFER_ACCESS_ACCUMULATE &&
         (out.accessMode == EFFECT_BUFFER_ACCESS_WRITE || out.accessMode == EFFECT_BUFFER_ACCESS_ACCUMULATE);
}

int Channels(const Effect& fx) { return ChannelCount(fx.config.outputCfg.channels); }

int32_t Configure(Effect& fx, const effect_config_t& request) {
  effect_config_t next = fx.config;
  Merge(next.inputCfg, request.inputCfg);
  Merge(next.outputCfg, request.outputCfg);
  if (!Supported(next)) return -EINVAL;
  const int rate = static_cast<int>(next.inputCfg.samplingRate), channels = ChannelCount(next.inputCfg.channels);
  if ((!fx.initialised || rate != static_cast<int>(fx.config.inputCfg.samplingRate) || channels != Channels(fx)) &&
      HVFX_Init(fx.engine, rate, channels) != 1)
    return -EINVAL;
  fx.initialised = true;
  next.inputCfg.mask = next.outputCfg.mask = EFFECT_CONFIG_ALL;
  fx.config = next;
  return 0;
}

// Commands that need the engine before any configuration get the default
// stream: the engine's first-time defaults depend on the first layout.
void Ready(Effect& fx) {
  if (!fx.initialised) Configure(fx, fx.config);
}

// ----- Audio.
int16_t ToShort(float x) {
  float y = x * 32768.0f;
  if (!(y > -32768.0f)) y = std::isnan(y) ? 0.0f : -32768.0f;
  if (y > 32767.0f) y = 32767.0f;
  return static_cast<int16_t>(std::lrintf(y));
}

int16_t AddShort(int32_t a, int32_t b) { return static_cast<int16_t>(std::clamp(a + b, -32768, 32767)); }

int32_t Process(effect_handle_t self, audio_buffer_t* in, audio_buffer_t* out) {
  Effect* fx = FromHandle(self);
  if (fx == nullptr || in == nullptr || out == nullptr || in->raw == nullptr || out->raw == nullptr ||
      in->frameCount != out->frameCount || in->frameCount > kMaxFrames)
    return -EINVAL;
  const State state = fx->state.load();
  if (state == State::Idle) return -ENODATA;
  const int channels = Channels(*fx);
  const bool isFloat = fx->config.outputCfg.format == AUDIO_FORMAT_PCM_FLOAT;
  const bool accumulate = fx->config.outputCfg.accessMode == EFFECT_BUFFER_ACCESS_ACCUMULATE;
  int16_t* s = fx->scratch.data();
  for (size_t done = 0; done < in->frameCount;) {
    const size_t frames = std::min<size_t>(kChunkFrames, in->frameCount - done);
    const size_t first = done * static_cast<size_t>(channels), n = frames * static_cast<size_t>(channels);
    for (size_t i = 0; i < n; ++i) s[i] = isFloat ? ToShort(in->f32[first + i]) : in->s16[first + i];
    HVFX_Process(fx->engine, s, static_cast<int>(frames));
    for (size_t i = 0; i < n; ++i) {
      if (isFloat)
        out->f32[first + i] = (accumulate ? out->f32[first + i] : 0.0f) + static_cast<float>(s[i]) / 32768.0f;
      else
        out->s16[first + i] = accumulate ? AddShort(out->s16[first + i], s[i]) : s[i];
    }
    done += frames;
  }
  if (state == State::Draining && fx->tailFrames.fetch_sub(static_cast<int>(in->frameCount)) <=
                                      static_cast<int>(in->frameCount)) {
    fx->state.store(State::Idle);
    return -ENODATA;
  }
  return 0;
}

// ----- Commands.
bool ReplyRoom(const uint32_t* replySize, const void* reply, uint32_t size) {
  return reply != nullptr && replySize != nullptr && *replySize >= size;
}

int32_t Reply(uint32_t* replySize, void* reply, int32_t status) {
  std::memcpy(reply, &status, sizeof status);
  *replySize = sizeof status;
  return 0;
}

int32_t Command(effect_handle_t self, uint32_t code, uint32_t cmdSize, void* cmd, uint32_t* replySize, void* reply) {
  Effect* fx = FromHandle(self);
  if (fx == nullptr) return -EINVAL;
  const bool statusRoom = ReplyRoom(replySize, reply, sizeof(int32_t));
  if (code != EFFECT_CMD_SET_CONFIG) Ready(*fx);
  switch (code) {
    case EFFECT_CMD_INIT:
      if (!statusRoom) return -EINVAL;
      return Reply(replySize, reply, 0);
    case EFFECT_CMD_RESET:
      HVFX_Init(fx->engine, static_cast<int>(fx->config.inputCfg.samplingRate), Channels(*fx));
      return 0;
    case EFFECT_CMD_SET_CONFIG: {
      if (cmd == nullptr || cmdSize != sizeof(effect_config_t) || !statusRoom) return -EINVAL;
      effect_config_t request;
      std::memcpy(&request, cmd, sizeof request);
      return Reply(replySize, reply, Configure(*fx, request));
    }
    case EFFECT_CMD_GET_CONFIG:
      if (!ReplyRoom(replySize, reply, sizeof(effect_config_t))) return -EINVAL;
      std::memcpy(reply, &fx->config, sizeof fx->config);
      *replySize = sizeof fx->config;
      return 0;
    case EFFECT_CMD_ENABLE:
      if (!statusRoom) return -EINVAL;
      fx->state.store(State::Active);
      HVFX_SetEnable(fx->engine, true);
      return Reply(replySize, reply, 0);
    case EFFECT_CMD_DISABLE: {
      if (!statusRoom) return -EINVAL;
      if (fx->state.load() == State::Active) {
        // The tail: the master switch's fade, then everything the chain holds back.
        int latency = 0;
        HVFX_GetLatency(fx->engine, &latency);
        HVFX_SetEnable(fx->engine, false);
        fx->tailFrames.store(latency + kCrossfadeFrames);
        fx->state.store(State::Draining);
      }
      return Reply(replySize, reply, 0);
    }
    case EFFECT_CMD_SET_PARAM: {
      if (cmd == nullptr || cmdSize < sizeof(effect_param_t) + 4 || !statusRoom) return -EINVAL;
      effect_param_t head;
      std::memcpy(&head, cmd, sizeof head);
      const uint64_t need = sizeof head + uint64_t{EFFECT_PARAM_VALUE_OFFSET(uint64_t{head.psize})} + head.vsize;
      if (head.psize < 4 || need != cmdSize) return -EINVAL;
      return Reply(replySize, reply,
                   SetParam(*fx, static_cast<const char*>(cmd) + sizeof head, head.psize, head.vsize));
    }
    case EFFECT_CMD_GET_PARAM: {
      if (cmd == nullptr || cmdSize < sizeof(effect_param_t) + 4 || replySize == nullptr || reply == nullptr)
        return -EINVAL;
      effect_param_t head;
      std::memcpy(&head, cmd, sizeof head);
      const uint64_t offset = sizeof head + uint64_t{EFFECT_PARAM_VALUE_OFFSET(uint64_t{head.psize})};
      if (head.psize < 4 || sizeof head + uint64_t{head.psize} != cmdSize || *replySize < offset) return -EINVAL;
      char* const r = static_cast<char*>(reply);
      std::memmove(r + sizeof head, static_cast<const char*>(cmd) + sizeof head, head.psize);
      const int32_t got = GetParam(*fx, r + sizeof head, head.psize, r + offset,
                                   *replySize - static_cast<uint32_t>(offset));
      head.status = got < 0 ? got : 0;
      head.vsize = got < 0 ? 0u : static_cast<uint32_t>(got);
      std::memcpy(r, &head, sizeof head);
      *replySize = static_cast<uint32_t>(offset) + head.vsize;
      return 0;
    }
    case EFFECT_CMD_SET_DEVICE:
    case EFFECT_CMD_SET_AUDIO_MODE:
    case EFFECT_CMD_SET_INPUT_DEVICE:
    case EFFECT_CMD_SET_AUDIO_SOURCE:
      return 0;  // the chain does not depend on routing or mode
    case EFFECT_CMD_SET_VOLUME:
      // Not a volume-controlling effect: volumes pass unchanged when asked.
      if (cmd != nullptr && cmdSize == 8 && ReplyRoom(replySize, reply, 8)) {
        std::memcpy(reply, cmd, 8);
        *replySize = 8;
      }
      return 0;
    default:
      // Deferred parameters, the reverse stream, features, offload, dump and
      // proprietary commands are not supported.
      return -EINVAL;
  }
}

int32_t GetDescriptor(effect_handle_t self, effect_descriptor_t* descriptor) {
  if (FromHandle(self) == nullptr || descriptor == nullptr) return -EINVAL;
  *descriptor = kDescriptor;
  return 0;
}

constexpr effect_interface_s kInterface = {Process, Command, GetDescriptor, nullptr};

Effect* FromHandle(effect_handle_t handle) {
  if (handle == nullptr || *handle != &kInterface) return nullptr;
  return reinterpret_cast<Effect*>(handle);
}

int32_t CreateEffect(const effect_uuid_t* uuid, int32_t, int32_t, effect_handle_t* handle) {
  if (uuid == nullptr || handle == nullptr || !SameUuid(*uuid, kDescriptor.uuid)) return -EINVAL;
  auto* fx = new (std::nothrow) Effect{};
  if (fx == nullptr) return -ENOMEM;
  fx->itfe = &kInterface;
  fx->engine = HVFX_Create();
  // The framework's usual stream until it configures one: 48 kHz stereo,
  // 16-bit, written over the output.
  for (buffer_config_t* b : {&fx->config.inputCfg, &fx->config.outputCfg}) {
    b->samplingRate = 48000;
    b->channels = AUDIO_CHANNEL_OUT_STEREO;
    b->format = AUDIO_FORMAT_PCM_16_BIT;
    b->accessMode = EFFECT_BUFFER_ACCESS_WRITE;
    b->mask = EFFECT_CONFIG_ALL;
  }
  fx->config.inputCfg.accessMode = EFFECT_BUFFER_ACCESS_READ;
  if (fx->engine == nullptr) {
    HVFX_Destroy(fx->engine);
    delete fx;
    return -ENOMEM;
  }
  *handle = reinterpret_cast<effect_handle_t>(fx);
  return 0;
}

int32_t ReleaseEffect(effect_handle_t handle) {
  Effect* fx = FromHandle(handle);
  if (fx == nullptr) return -EINVAL;
  HVFX_Destroy(fx->engine);
  delete fx;
  return 0;
}

int32_t LibGetDescriptor(const effect_uuid_t* uuid, effect_descriptor_t* descriptor) {
  if (uuid == nullptr || descriptor == nullptr || !SameUuid(*uuid, kDescriptor.uuid)) return -EINVAL;
  *descriptor = kDescriptor;
  return 0;
}

}  // namespace

// The framework's effect loader looks this symbol up by name.
extern "C" {
__attribute__((visibility("default"))) extern audio_effect_library_t AELI;
audio_effect_library_t AELI = {
    AUDIO_EFFECT_LIBRARY_TAG, EFFECT_LIBRARY_API_VERSION, "hvtralofx effect library", "Harvel Tralo",
    CreateEffect,             ReleaseEffect,              LibGetDescriptor,
};
}  // extern "C"
