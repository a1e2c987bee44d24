/* Parameter ids of the hvtralofx effect, for a vendor app or HAL that sends
 * set- and get-parameter commands. The parameter bytes are the 32-bit id,
 * followed by a 32-bit channel (-1 = every channel, 0 ... 5) for the
 * equalizer shelves, and by a channel and a band (0 ... 7) for an equalizer
 * band. The value is one or more 32-bit words: integers, except the band's
 * Q, a 32-bit float. README.md lists every value and its range. */
#ifndef HVTRALOFX_HOSTS_ANDROID_HVFX_EFFECTPARAMS_H
#define HVTRALOFX_HOSTS_ANDROID_HVFX_EFFECTPARAMS_H

enum hvfx_effect_param {
  HVFX_PARAM_DRC_ENABLE = 1,
  HVFX_PARAM_AUTOLEVEL_ENABLE = 2,
  HVFX_PARAM_AUTOLEVEL_PARAM = 3, /* mode, relative volume, station ms, base flag */
  HVFX_PARAM_AUTOLEVEL_RATES = 4, /* up, down (dB per second) */
  HVFX_PARAM_SURROUND_ENABLE = 5,
  HVFX_PARAM_EQ_ENABLE = 6,
  HVFX_PARAM_EQ_BAND = 7, /* [channel, band] gain dB, frequency Hz, Q (float) */
  HVFX_PARAM_EQ_LOW_SHELF_ENABLE = 8,  /* set only */
  HVFX_PARAM_EQ_HIGH_SHELF_ENABLE = 9, /* set only */
  HVFX_PARAM_EQ_LOW_SHELF = 10,        /* [channel] gain dB, frequency Hz */
  HVFX_PARAM_EQ_HIGH_SHELF = 11,       /* [channel] gain dB, frequency Hz */
  HVFX_PARAM_DYNAMIC_BASS_ENABLE = 12,
  HVFX_PARAM_DYNAMIC_BASS_LEVEL = 13,
  HVFX_PARAM_DYNAMIC_BASS_CUTOFF = 14,
  HVFX_PARAM_SOUNDBAR_ENABLE = 15,
  HVFX_PARAM_SOUNDBAR_DISTANCE = 16, /* cm */
  HVFX_PARAM_SOUNDBAR_WIDTH = 17,    /* 0 wide, 1 default, 2 narrow */
  HVFX_PARAM_LFE_COPY_ENABLE = 18,
  HVFX_PARAM_LFE_FREQ = 19,
  HVFX_PARAM_LFE_GAIN = 20,
  HVFX_PARAM_LFE_AUTOLEVEL_ENABLE = 21,
  HVFX_PARAM_LFE_AUTOLEVEL_PARAM = 22,
  HVFX_PARAM_LFE_AUTOLEVEL_RATES = 23,
  HVFX_PARAM_LATENCY = 0x100, /* get only: frames */
  HVFX_PARAM_PRESET = 0x101,  /* set only: a JSON preset, its text as the value */
};

#endif
