/* The audio framework's C effect interface (library version 3.0, effect
 * control version 2.0), declared from its published ABI: the structures,
 * constants and command codes the framework's effect loader and its effect
 * chains use. The layout checks at the end pin every size and offset the
 * framework relies on for 64-bit Arm (LP64). */
#ifndef HVTRALOFX_HOSTS_ANDROID_EFFECTAPI_H
#define HVTRALOFX_HOSTS_ANDROID_EFFECTAPI_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define EFFECT_MAKE_API_VERSION(major, minor) ((major) * 0x10000u + (minor))
#define EFFECT_API_VERSION_MAJOR(v) ((v) >> 16)
#define EFFECT_LIBRARY_API_VERSION EFFECT_MAKE_API_VERSION(3, 0)
#define EFFECT_CONTROL_API_VERSION EFFECT_MAKE_API_VERSION(2, 0)
#define AUDIO_EFFECT_LIBRARY_TAG 0x41454C54u /* 'AELT' */
#define AUDIO_EFFECT_LIBRARY_INFO_SYM_AS_STR "AELI"
#define EFFECT_STRING_LEN_MAX 64

typedef struct effect_uuid_s {
  uint32_t timeLow;
  uint16_t timeMid;
  uint16_t timeHiAndVersion;
  uint16_t clockSeq;
  uint8_t node[6];
} effect_uuid_t;

/* Descriptor flags: the effect's type and its place in the chain. */
enum {
  EFFECT_FLAG_TYPE_INSERT = 0,
  EFFECT_FLAG_TYPE_AUXILIARY = 1,
  EFFECT_FLAG_TYPE_POST_PROC = 4,
  EFFECT_FLAG_INSERT_ANY = 0 << 3,
  EFFECT_FLAG_INSERT_LAST = 2 << 3,
};

typedef struct effect_descriptor_s {
  effect_uuid_t type;  /* what the effect does (a vendor type for ours) */
  effect_uuid_t uuid;  /* this implementation */
  uint32_t apiVersion; /* EFFECT_CONTROL_API_VERSION */
  uint32_t flags;
  uint16_t cpuLoad;     /* 0.1 MIPS */
  uint16_t memoryUsage; /* KiB */
  char name[EFFECT_STRING_LEN_MAX];
  char implementor[EFFECT_STRING_LEN_MAX];
} effect_descriptor_t;

typedef struct audio_buffer_s {
  size_t frameCount;
  union {
    void* raw;
    float* f32;
    int32_t* s32;
    int16_t* s16;
    uint8_t* u8;
  };
} audio_buffer_t;

typedef struct buffer_provider_s {
  int32_t (*getBuffer)(void* cookie, audio_buffer_t* buffer);
  int32_t (*releaseBuffer)(void* cookie, audio_buffer_t* buffer);
  void* cookie;
} buffer_provider_t;

typedef struct buffer_config_s {
  audio_buffer_t buffer;
  uint32_t samplingRate;
  uint32_t channels; /* channel mask */
  buffer_provider_t bufferProvider;
  uint8_t format;
  uint8_t accessMode;
  uint16_t mask; /* which fields a set-configuration command carries */
} buffer_config_t;

typedef struct effect_config_s {
  buffer_config_t inputCfg;
  buffer_config_t outputCfg;
} effect_config_t;

enum { AUDIO_FORMAT_PCM_16_BIT = 1, AUDIO_FORMAT_PCM_FLOAT = 5 };
enum {
  AUDIO_CHANNEL_OUT_MONO = 0x1,
  AUDIO_CHANNEL_OUT_STEREO = 0x3,
  AUDIO_CHANNEL_OUT_5POINT1 = 0x3F,
};
enum { EFFECT_BUFFER_ACCESS_WRITE = 0, EFFECT_BUFFER_ACCESS_READ = 1, EFFECT_BUFFER_ACCESS_ACCUMULATE = 2 };
enum {
  EFFECT_CONFIG_BUFFER = 0x01,
  EFFECT_CONFIG_SMP_RATE = 0x02,
  EFFECT_CONFIG_CHANNELS = 0x04,
  EFFECT_CONFIG_FORMAT = 0x08,
  EFFECT_CONFIG_ACC_MODE = 0x10,
  EFFECT_CONFIG_PROVIDER = 0x20,
  EFFECT_CONFIG_ALL = 0x3F,
};

/* A parameter command's payload: psize parameter bytes, then, from the next
 * 32-bit boundary, vsize value bytes. */
typedef struct effect_param_s {
  int32_t status;
  uint32_t psize;
  uint32_t vsize;
  /* the parameter bytes follow */
} effect_param_t;
#define EFFECT_PARAM_VALUE_OFFSET(psize) ((((psize) + 3u) / 4u) * 4u)

enum effect_command_e {
  EFFECT_CMD_INIT = 0,
  EFFECT_CMD_SET_CONFIG = 1,
  EFFECT_CMD_RESET = 2,
  EFFECT_CMD_ENABLE = 3,
  EFFECT_CMD_DISABLE = 4,
  EFFECT_CMD_SET_PARAM = 5,
  EFFECT_CMD_SET_PARAM_DEFERRED = 6,
  EFFECT_CMD_SET_PARAM_COMMIT = 7,
  EFFECT_CMD_GET_PARAM = 8,
  EFFECT_CMD_SET_DEVICE = 9,
  EFFECT_CMD_SET_VOLUME = 10,
  EFFECT_CMD_SET_AUDIO_MODE = 11,
  EFFECT_CMD_SET_CONFIG_REVERSE = 12,
  EFFECT_CMD_SET_INPUT_DEVICE = 13,
  EFFECT_CMD_GET_CONFIG = 14,
  EFFECT_CMD_GET_CONFIG_REVERSE = 15,
  EFFECT_CMD_GET_FEATURE_SUPPORTED_CONFIGS = 16,
  EFFECT_CMD_GET_FEATURE_CONFIG = 17,
  EFFECT_CMD_SET_FEATURE_CONFIG = 18,
  EFFECT_CMD_SET_AUDIO_SOURCE = 19,
  EFFECT_CMD_OFFLOAD = 20,
  EFFECT_CMD_DUMP = 21,
  EFFECT_CMD_FIRST_PROPRIETARY = 0x10000,
};

struct effect_interface_s;
typedef const struct effect_interface_s** effect_handle_t;

struct effect_interface_s {
  int32_t (*process)(effect_handle_t self, audio_buffer_t* inBuffer, audio_buffer_t* outBuffer);
  int32_t (*command)(effect_handle_t self, uint32_t cmdCode, uint32_t cmdSize, void* pCmdData, uint32_t* replySize,
                     void* pReplyData);
  int32_t (*get_descriptor)(effect_handle_t self, effect_descriptor_t* pDescriptor);
  int32_t (*process_reverse)(effect_handle_t self, audio_buffer_t* inBuffer, audio_buffer_t* outBuffer);
};

typedef struct audio_effect_library_s {
  uint32_t tag;
  uint32_t version;
  const char* name;
  const char* implementor;
  int32_t (*create_effect)(const effect_uuid_t* uuid, int32_t sessionId, int32_t ioId, effect_handle_t* pHandle);
  int32_t (*release_effect)(effect_handle_t handle);
  int32_t (*get_descriptor)(const effect_uuid_t* uuid, effect_descriptor_t* pDescriptor);
} audio_effect_library_t;

#if UINTPTR_MAX == UINT64_MAX
static_assert(sizeof(effect_uuid_t) == 16, "uuid");
static_assert(sizeof(effect_descriptor_t) == 172, "descriptor");
static_assert(offsetof(effect_descriptor_t, apiVersion) == 32, "descriptor api version");
static_assert(offsetof(effect_descriptor_t, name) == 44, "descriptor name");
static_assert(offsetof(effect_descriptor_t, implementor) == 108, "descriptor implementor");
static_assert(sizeof(audio_buffer_t) == 16, "audio buffer");
static_assert(sizeof(buffer_config_t) == 56, "buffer configuration");
static_assert(offsetof(buffer_config_t, samplingRate) == 16, "buffer rate");
static_assert(offsetof(buffer_config_t, channels) == 20, "buffer channels");
static_assert(offsetof(buffer_config_t, bufferProvider) == 24, "buffer provider");
static_assert(offsetof(buffer_config_t, format) == 48, "buffer format");
static_assert(offsetof(buffer_config_t, accessMode) == 49, "buffer access mode");
static_assert(offsetof(buffer_config_t, mask) == 50, "buffer mask");
static_assert(sizeof(effect_config_t) == 112, "effect configuration");
static_assert(offsetof(effect_config_t, outputCfg) == 56, "output configuration");
static_assert(sizeof(effect_param_t) == 12, "parameter header");
static_assert(sizeof(struct effect_interface_s) == 32, "effect interface");
static_assert(sizeof(audio_effect_library_t) == 48, "library information");
static_assert(offsetof(audio_effect_library_t, create_effect) == 24, "library create");
#endif

#ifdef __cplusplus
}
#endif

#endif
