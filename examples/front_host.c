/* An example host of the front interface, written the way an Android audio
 * effect wrapper drives it: initialise for the stream, switch effects, change
 * settings while audio runs, report the latency, release and re-initialise.
 * Each step prints what it did, the latency the host would report and the
 * level of the output it got back.
 *
 *   build/examples/front_host */
#include <hvtralofx/hvtralofx.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { kRate = 48000, kPeriod = 480 /* 10 ms, a typical Android buffer */ };

static short s_buffer[kPeriod * HVSFX_MAX_CHANNELS];
static long s_clock; /* frames generated so far */

/* Programme material: 220 Hz and 1 kHz tones, the same on every channel. */
static void Generate(int channels) {
  const double pi = 3.14159265358979323846;
  int f, c;
  for (f = 0; f < kPeriod; ++f, ++s_clock) {
    const double t = (double)s_clock / kRate;
    const double v = 0.15 * sin(2.0 * pi * 220.0 * t) + 0.1 * sin(2.0 * pi * 1000.0 * t);
    for (c = 0; c < channels; ++c) s_buffer[f * channels + c] = (short)lrint(v * 32767.0);
  }
}

/* Runs `seconds` of audio through HVTralo_Process in host-sized periods and
 * returns the RMS level of the last half second of output in dBFS. */
static double Run(int channels, double seconds, int* failures) {
  const int periods = (int)(seconds * kRate / kPeriod);
  const int measured = kRate / 2 / kPeriod;
  double sum = 0.0;
  long count = 0;
  int p, i;
  for (p = 0; p < periods; ++p) {
    Generate(channels);
    if (HVTralo_Process(s_buffer, kPeriod) != 1) ++*failures;
    if (p >= periods - measured)
      for (i = 0; i < kPeriod * channels; ++i, ++count) sum += (double)s_buffer[i] * s_buffer[i];
  }
  if (count == 0 || sum <= 0.0) return -200.0;
  return 10.0 * log10(sum / (double)count / (32768.0 * 32768.0));
}

static void Report(int step, const char* what, int channels, int* failures) {
  int latency = -1;
  double level;
  if (HVTralo_GetLatency(&latency) != 1) ++*failures;
  level = Run(channels, 2.0, failures);
  printf("%2d  %-46s latency %5d frames  output %6.1f dBFS\n", step, what, latency, level);
}

int main(void) {
  int failures = 0;
  int step = 0;
  bool on = false;

  printf("front interface example host, %d Hz, periods of %d frames\n", kRate, kPeriod);
  printf("    input: 220 Hz + 1 kHz tones at about %.1f dBFS RMS\n",
         20.0 * log10(sqrt(0.15 * 0.15 / 2 + 0.1 * 0.1 / 2)));

  if (HVTralo_Init(kRate, 2) != 1) ++failures;
  Report(++step, "init 48 kHz stereo, master switch off (dry)", 2, &failures);

  HVTralo_SetEnable(true);
  if (HVTralo_GetEnable(&on) != 1 || !on) ++failures;
  Report(++step, "master switch on, limiter only (pass-through)", 2, &failures);

  HVTralo_EQ_SetEnable(true);
  Report(++step, "equalizer on (first-time low shelf -20 dB)", 2, &failures);

  HVTralo_EQ_SetLPFBandGain(-1, 0, 0);
  HVTralo_EQ_SetBandGain(-1, 3, 6, 1000, 1.5f);
  Report(++step, "low shelf flat, band 3 +6 dB at 1 kHz", 2, &failures);

  HVTralo_AutoLevel_SetEnable(true);
  Report(++step, "AutoLevel on", 2, &failures);

  /* Settings change between periods while audio runs, as a UI would. */
  {
    int p;
    for (p = 0; p < 100; ++p) {
      Generate(2);
      if (HVTralo_Process(s_buffer, kPeriod) != 1) ++failures;
      if (p == 30) HVTralo_AutoLevel_SetParam(1, 100, 5000, 1);
      if (p == 60) HVTralo_AutoLevel_SetVolUpDownRate(15, 9);
      if (p == 90) HVTralo_EQ_SetBandGain(-1, 3, 0, 0, 0.0f);
    }
  }
  Report(++step, "AutoLevel louder, faster; band 3 off (live)", 2, &failures);

  HVTralo_DRC_SetEnable(false);
  Report(++step, "limiter off", 2, &failures);

  if (HVTralo_Release() != 1) ++failures;
  if (HVTralo_Init(kRate, 6) != 1) ++failures;
  Report(++step, "released, re-init 48 kHz 5.1 (settings kept)", 6, &failures);

  HVTralo_AutoLevel_SetEnable(false);
  HVTralo_DRC_SetEnable(true);
  Report(++step, "AutoLevel off, limiter on", 6, &failures);

  HVTralo_SetEnable(false);
  Report(++step, "master switch off (dry)", 6, &failures);

  if (HVTralo_Release() != 1) ++failures;
  printf("released; %d failed calls\n", failures);
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
