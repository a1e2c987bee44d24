#pragma once
#include <cstdint>
extern const int16_t SoundbarInputFadeTable[2048];
extern const int16_t SoundbarOutputFadeTable[1024];
