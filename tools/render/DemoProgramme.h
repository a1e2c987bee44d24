// The built-in demo programme: about half a minute of synthesised material at
// 48 kHz that shows what the chain does without any file to hand. Passages
// alternate between speech-like sound (voiced pulses through vowel formants,
// syllable rhythm, pauses) and music-like sound (chords, a bass line, drums),
// quiet and loud, with one passage driven close to full scale. The 5.1 form
// puts the voice in the centre, the music in the front pair, ambience in the
// surrounds and the bass in the LFE channel. The same programme every time.
#pragma once

#include "AudioFile.h"

namespace hvrender {

constexpr int kDemoRate = 48000;

Audio MakeDemoProgramme(bool surround51);

// One line per passage, for the report.
const char* DemoDescription();

}  // namespace hvrender
