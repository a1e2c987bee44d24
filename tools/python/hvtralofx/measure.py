"""Magnitude responses measured through the library's fixed-point code.

Each measurement configures the front with only the stage of interest running,
sends a train of impulses through it (after enough silence for the soundbar's
start-up fade), removes the latency, averages the responses of the impulses
and takes their spectrum. The equalizer curves are corrected for the front's
fixed attenuation, which is not part of the equalizer; the soundbar and LFE
curves are the gain from input to output as the host sees it (no fixed
attenuation applies while the soundbar runs)."""

import numpy as np

from . import FIXED_ATTENUATION, merge_settings, process

LENGTH = 16384      # frames per impulse response: 2.9 Hz resolution at 48 kHz
LEAD = 1024         # the impulse sits this far into its window: room for linear-phase precursors
PREROLL = 4096      # silence first: the soundbar fades its output in after initialisation
REPEATS = 8         # impulses averaged against the output's 16-bit rounding
AMPLITUDE = 16384   # -6 dBFS
OUTPUT_NAMES = ["0 high L", "1 high R", "2 centre", "3 LFE", "4 low L", "5 low R"]
CHANNEL_NAMES = ["L", "R", "C", "LFE", "Ls", "Rs"]

_ONLY = {"master": True, "autolevel": {"enable": False}, "limiter": False, "surround": False,
         "eq": {"enable": False}, "soundbar": {"enable": "off"}, "lfe": {"autolevel": {"enable": False}}}


def impulse_responses(settings, rate, channels, in_channel):
    """Averaged impulse responses, float (LENGTH, channels), from input channel ``in_channel``."""
    x = np.zeros((PREROLL + REPEATS * LENGTH, channels), dtype=np.int16)
    starts = PREROLL + LENGTH * np.arange(REPEATS)
    x[starts + LEAD, in_channel] = AMPLITUDE
    y = process(x, rate, settings, align=True).astype(np.float64)
    return sum(y[s:s + LENGTH] for s in starts) / (REPEATS * AMPLITUDE)


def magnitude_db(h, rate):
    """Frequencies (Hz) and magnitude (dB) of the responses in the columns of ``h``."""
    spectrum = np.abs(np.fft.rfft(h, axis=0))
    return np.fft.rfftfreq(h.shape[0], 1.0 / rate), 20 * np.log10(np.maximum(spectrum, 1e-6))


def eq_response(settings=None, channel=0, rate=48000):
    """The equalizer of one channel (settings' bands and shelves), fixed attenuation removed."""
    s = merge_settings(merge_settings(settings or {}, _ONLY), {"eq": {"enable": True}})
    channels = 2 if channel < 2 else 6
    f, db = magnitude_db(impulse_responses(s, rate, channels, channel)[:, channel], rate)
    return f, db - 20 * np.log10(FIXED_ATTENUATION)


def lfe_response(settings=None, rate=48000):
    """The LFE stage's band-pass: LFE input to LFE output, with the soundbar running (5.1)."""
    s = merge_settings(settings or {}, _ONLY)
    s = merge_settings(s, {"soundbar": {"enable": "on"}, "lfe": {"copy": True}})
    return magnitude_db(impulse_responses(s, rate, 6, 3)[:, 3], rate)


def soundbar_responses(settings=None, distance_cm=None, width=None, in_channel=0, rate=48000):
    """Every soundbar output channel for an impulse on ``in_channel`` of a 5.1 input: (freqs, dB[:, 6])."""
    s = merge_settings(settings or {}, _ONLY)
    bar = {"enable": "on"}
    if distance_cm is not None:
        bar["distance_cm"] = distance_cm
    if width is not None:
        bar["width"] = width
    s = merge_settings(s, {"soundbar": bar})
    return magnitude_db(impulse_responses(s, rate, 6, in_channel), rate)
