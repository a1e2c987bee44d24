/* Loads the effect library the way the framework's effect loader does and
 * drives it with the framework's command sequence; the audio must equal an
 * engine instance's for the same settings. Usage: test_android_effect <lib>. */
#include <dlfcn.h>
#include <errno.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <hvtralofx/HVFX_Engine.h>

#include "hosts/android/EffectApi.h"
#include "hosts/android/HVFX_EffectParams.h"

static int failures;
#define CHECK(cond)                                                  \
  do {                                                               \
    if (!(cond)) {                                                   \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                    \
    }                                                                \
  } while (0)

enum { kFrames = 4800, kBlock = 480 };
static const audio_effect_library_t* lib;
static effect_descriptor_t desc;

static int32_t cmd(effect_handle_t h, uint32_t code, uint32_t size, void* data, int32_t* status) {
  uint32_t replySize = sizeof *status;
  return (*h)->command(h, code, size, data, &replySize, status);
}

/* Sets a parameter of 1 + nIdx words with nVal value words; returns the reply status. */
static int32_t set_param(effect_handle_t h, int32_t id, int nIdx, const int32_t* idx, int nVal, const void* val) {
  int32_t buf[16] = {0, 4 * (1 + nIdx), 4 * nVal, id}, status = 1;
  memcpy(buf + 4, idx, 4 * (size_t)nIdx);
  memcpy(buf + 4 + nIdx, val, 4 * (size_t)nVal);
  CHECK(cmd(h, EFFECT_CMD_SET_PARAM, 4 * (uint32_t)(4 + nIdx + nVal), buf, &status) == 0);
  return status;
}

/* Reads a parameter's first value word (or the status when refused). */
static int32_t get_param(effect_handle_t h, int32_t id, int nIdx, const int32_t* idx, int32_t* out) {
  int32_t buf[16] = {0, 4 * (1 + nIdx), 0, id};
  memcpy(buf + 4, idx, 4 * (size_t)nIdx);
  uint32_t replySize = sizeof buf;
  CHECK((*h)->command(h, EFFECT_CMD_GET_PARAM, 4 * (uint32_t)(4 + nIdx), buf, &replySize, buf) == 0);
  if (buf[0] == 0) *out = buf[4 + nIdx];
  return buf[0];
}

static int32_t configure(effect_handle_t h, uint32_t rate, uint32_t mask, uint8_t format, uint8_t access) {
  effect_config_t c;
  memset(&c, 0, sizeof c);
  c.inputCfg = (buffer_config_t){.samplingRate = rate, .channels = mask, .format = format,
                                 .accessMode = EFFECT_BUFFER_ACCESS_READ, .mask = EFFECT_CONFIG_ALL};
  c.outputCfg = c.inputCfg;
  c.outputCfg.accessMode = access;
  int32_t status = 1;
  CHECK(cmd(h, EFFECT_CMD_SET_CONFIG, sizeof c, &c, &status) == 0);
  return status;
}

static effect_handle_t create(void) {
  effect_handle_t h = NULL;
  CHECK(lib->create_effect(&desc.uuid, 0, 0, &h) == 0 && h != NULL);
  return h;
}

/* The settings of every comparison, through parameters and through the instance. */
static const int32_t kBand[2] = {-1, 2}, kLeveller[4] = {1, 60, 8000, 1};
static void settle(effect_handle_t h) {
  const int32_t on = 1, bandVal[3] = {6, 500, 0x3f800000 /* 1.0f */};
  CHECK(set_param(h, HVFX_PARAM_EQ_ENABLE, 0, NULL, 1, &on) == 0);
  CHECK(set_param(h, HVFX_PARAM_EQ_BAND, 2, kBand, 3, bandVal) == 0);
  CHECK(set_param(h, HVFX_PARAM_AUTOLEVEL_PARAM, 0, NULL, 4, kLeveller) == 0);
  int32_t status = 1;
  CHECK(cmd(h, EFFECT_CMD_ENABLE, 0, NULL, &status) == 0 && status == 0);
}

static void reference(int rate, int channels, short* pcm, int frames) {
  HVFX_Engine* e = HVFX_Create();
  CHECK(HVFX_Init(e, rate, channels) == 1);
  HVFX_EQ_SetEnable(e, 1);
  HVFX_EQ_SetBandGain(e, kBand[0], kBand[1], 6, 500, 1.0f);
  HVFX_AutoLevel_SetParam(e, kLeveller[0], kLeveller[1], kLeveller[2], kLeveller[3]);
  HVFX_SetEnable(e, 1);
  HVFX_Process(e, pcm, frames);
  HVFX_Destroy(e);
}

static int32_t process(effect_handle_t h, void* in, void* out, size_t frames) {
  audio_buffer_t i = {.frameCount = frames, .raw = in}, o = {.frameCount = frames, .raw = out};
  return (*h)->process(h, &i, &o);
}

int main(int argc, char** argv) {
  void* so = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  lib = so ? (const audio_effect_library_t*)dlsym(so, AUDIO_EFFECT_LIBRARY_INFO_SYM_AS_STR) : NULL;
  if (lib == NULL) return fprintf(stderr, "cannot load the effect library\n"), 1;
  CHECK(lib->tag == AUDIO_EFFECT_LIBRARY_TAG && lib->version == EFFECT_MAKE_API_VERSION(3, 0));
  CHECK(dlsym(so, "HVFX_Create") == NULL); /* the engine stays inside */

  /* The loader lists the descriptor by its implementation UUID. */
  effect_handle_t a = NULL;
  effect_uuid_t ours = {0x19b76f4e, 0xe3d4, 0x4190, 0xafe4, {0x24, 0x68, 0x71, 0x81, 0x41, 0xee}}, other = ours;
  other.timeLow ^= 1;
  CHECK(lib->get_descriptor(&ours, &desc) == 0 && EFFECT_API_VERSION_MAJOR(desc.apiVersion) == 2);
  CHECK(strcmp(desc.name, "hvtralofx") == 0);
  CHECK(lib->get_descriptor(&other, &desc) == -EINVAL && lib->create_effect(&other, 0, 0, &a) == -EINVAL);

  /* Three instances at once: 16-bit written, 16-bit accumulated, float 5.1 accumulated. */
  a = create();
  effect_handle_t b = create(), c = create();
  CHECK(configure(a, 48000, AUDIO_CHANNEL_OUT_STEREO, AUDIO_FORMAT_PCM_16_BIT, EFFECT_BUFFER_ACCESS_WRITE) == 0);
  CHECK(configure(b, 48000, AUDIO_CHANNEL_OUT_STEREO, AUDIO_FORMAT_PCM_16_BIT, EFFECT_BUFFER_ACCESS_ACCUMULATE) == 0);
  CHECK(configure(c, 44100, AUDIO_CHANNEL_OUT_5POINT1, AUDIO_FORMAT_PCM_FLOAT, EFFECT_BUFFER_ACCESS_ACCUMULATE) == 0);
  settle(a), settle(b), settle(c);

  static short in[kFrames * 6], ref2[kFrames * 2], ref6[kFrames * 6], outA[kFrames * 2], outB[kFrames * 2];
  static float inF[kFrames * 6], outF[kFrames * 6];
  for (int i = 0; i < kFrames * 6; ++i) {
    inF[i] = 0.7f * sinf(0.013f * (float)i) * sinf(0.0007f * (float)i);
    in[i] = (short)lrintf(inF[i] * 32768.0f);
  }
  memcpy(ref2, in, sizeof ref2), memcpy(ref6, in, sizeof ref6);
  reference(48000, 2, ref2, kFrames), reference(44100, 6, ref6, kFrames);
  for (int i = 0; i < kFrames * 6; ++i) outB[i % (kFrames * 2)] = 1000, outF[i] = 0.25f;
  for (int f = 0; f < kFrames; f += kBlock) {
    CHECK(process(a, in + 2 * f, outA + 2 * f, kBlock) == 0);
    CHECK(process(b, in + 2 * f, outB + 2 * f, kBlock) == 0);
    CHECK(process(c, inF + 6 * f, outF + 6 * f, kBlock) == 0);
  }
  int mismatches = 0;
  float worst = 0.0f;
  for (int i = 0; i < kFrames * 2; ++i) {
    const int acc = ref2[i] + 1000;
    mismatches += (outA[i] != ref2[i]) + (outB[i] != (acc > 32767 ? 32767 : acc));
  }
  for (int i = 0; i < kFrames * 6; ++i) {
    const float d = fabsf((outF[i] - 0.25f) * 32768.0f - (float)ref6[i]);
    if (d > worst) worst = d;
  }
  CHECK(mismatches == 0 && worst <= 1.0f);
  printf("float round trip: largest difference %.3f of a 16-bit step\n", (double)worst);

  /* The latency the instance reports, and a parameter read back. */
  int32_t latency = -1, latency6 = -1, got = 0, status = 1;
  CHECK(get_param(a, HVFX_PARAM_LATENCY, 0, NULL, &latency) == 0 && latency > 0);
  CHECK(get_param(c, HVFX_PARAM_LATENCY, 0, NULL, &latency6) == 0 && latency6 > 0);
  printf("latency reported: %d frames at 48 kHz stereo, %d at 44.1 kHz 5.1\n", latency, latency6);
  CHECK(get_param(a, HVFX_PARAM_EQ_BAND, 2, (const int32_t[]){0, 2}, &got) == 0 && got == 6);

  /* Refusals change nothing. */
  effect_config_t before, after;
  uint32_t size = sizeof before;
  CHECK((*a)->command(a, EFFECT_CMD_GET_CONFIG, 0, NULL, &size, &before) == 0);
  CHECK(configure(a, 7000, AUDIO_CHANNEL_OUT_STEREO, AUDIO_FORMAT_PCM_16_BIT, EFFECT_BUFFER_ACCESS_WRITE) == -EINVAL);
  CHECK(configure(a, 48000, 0x7, AUDIO_FORMAT_PCM_16_BIT, EFFECT_BUFFER_ACCESS_WRITE) == -EINVAL);
  CHECK(configure(a, 48000, AUDIO_CHANNEL_OUT_STEREO, 3, EFFECT_BUFFER_ACCESS_WRITE) == -EINVAL);
  CHECK(configure(a, 48000, AUDIO_CHANNEL_OUT_STEREO, AUDIO_FORMAT_PCM_16_BIT, EFFECT_BUFFER_ACCESS_READ) == -EINVAL);
  CHECK((*a)->command(a, EFFECT_CMD_GET_CONFIG, 0, NULL, &size, &after) == 0 && !memcmp(&before, &after, sizeof after));
  const int32_t tooLoud[3] = {21, 500, 0x3f800000}, shortBlob[3] = {0, 4, 4};
  CHECK(set_param(a, HVFX_PARAM_EQ_BAND, 2, (const int32_t[]){0, 2}, 3, tooLoud) == -EINVAL);
  CHECK(set_param(a, HVFX_PARAM_EQ_BAND, 1, (const int32_t[]){0}, 3, tooLoud) == -EINVAL);
  CHECK(set_param(a, 999, 0, NULL, 1, tooLoud) == -EINVAL && set_param(a, HVFX_PARAM_LATENCY, 0, NULL, 1, tooLoud) == -EINVAL);
  CHECK(cmd(a, EFFECT_CMD_SET_PARAM, sizeof shortBlob, (void*)shortBlob, &status) == -EINVAL);
  CHECK(cmd(a, EFFECT_CMD_SET_PARAM, 64, (int32_t[16]){0, 4, 1u << 30, HVFX_PARAM_PRESET}, &status) == -EINVAL);
  CHECK(get_param(a, HVFX_PARAM_EQ_BAND, 2, (const int32_t[]){0, 2}, &got) == 0 && got == 6);
  CHECK(cmd(a, 0x10000, 0, NULL, &status) == -EINVAL && cmd(a, EFFECT_CMD_SET_PARAM_DEFERRED, 0, NULL, &status) == -EINVAL);
  CHECK(process(a, NULL, outA, kBlock) == -EINVAL && (*a)->process(a, NULL, NULL) == -EINVAL);

  /* Presets: a wrong type is refused whole, a good one applies. */
  const char bad[36] = "{\"surround\": true, \"limiter\": 1}", good[20] = "{\"surround\": true}";
  CHECK(set_param(a, HVFX_PARAM_PRESET, 0, NULL, sizeof bad / 4, bad) == -EINVAL);
  CHECK(get_param(a, HVFX_PARAM_SURROUND_ENABLE, 0, NULL, &got) == 0 && got == 0);
  CHECK(set_param(a, HVFX_PARAM_PRESET, 0, NULL, sizeof good / 4, good) == 0);
  CHECK(get_param(a, HVFX_PARAM_SURROUND_ENABLE, 0, NULL, &got) == 0 && got == 1);

  /* Disabled: the tail (fade and latency) plays out, then no more data. */
  int frames = 0;
  CHECK(cmd(a, EFFECT_CMD_DISABLE, 0, NULL, &status) == 0 && status == 0);
  while (frames < 10 * kFrames && process(a, in, outA, kBlock) == 0) frames += kBlock;
  CHECK(frames + kBlock >= latency + 512 && frames < latency + 512);
  CHECK(process(a, in, outA, kBlock) == -ENODATA);

  CHECK(lib->release_effect(a) == 0 && lib->release_effect(b) == 0 && lib->release_effect(c) == 0);
  CHECK(lib->release_effect(NULL) == -EINVAL);
  dlclose(so);
  if (failures == 0) printf("android effect: all checks passed\n");
  return failures != 0;
}
