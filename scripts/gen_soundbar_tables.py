#!/usr/bin/python3
"""Generates the soundbar virtualizer's coefficient store and its fade tables.

Run by hand from the repository root (never at build time):

    /usr/bin/python3 scripts/gen_soundbar_tables.py           rewrite the four files
    /usr/bin/python3 scripts/gen_soundbar_tables.py --check   exit 1 if they differ

It writes soundbar/SoundbarTables.{h,cpp} and soundbar/SoundbarFadeTables.{h,cpp}
byte for byte (no timestamps) and prints a short report of how well the design
rules below reproduce the reference values they were calibrated on.

What the filters do to the sound
--------------------------------
The virtualizer splits every channel pair into mid (L+R) and side (L-R) and
widens the image by boosting a shaped copy of the side signal.

* Side shaping. The side signal is DC-blocked and then integrated, which tilts
  it by -6 dB/octave: the difference signal of two closely spaced speakers is
  weak at low frequencies and the tilt lifts it back. The 257-tap linear-phase
  FIR (`Highpass_S_front_fir`, `Highpass_S_side_fir`) then shapes the tilted
  signal into a broad band: a steep high-pass (8th-order Butterworth magnitude)
  at fc_hp removes the lowest octaves, where lifting would only cost headroom
  and excite the cabinet, and a roll-off (1 - f/f_top)^p tames the top.
  Being linear phase, it delays by exactly 128 samples, which the mid path
  matches with a plain delay. Its magnitude is
      H(f) = g * B8(f / fc_hp) * max(0, 1 - f / f_top)^p
  and the taps are the least-squares (unwindowed) 257-tap fit of H, in Q16.
  The four parameters are calibrated per sample rate at 50 cm and move
  linearly with the effective distance: per 20 cm farther the high-pass corner
  rises by about 176 Hz and the top by about 390 Hz, so a distant listener
  (smaller speaker angle, smaller path difference between the ears) gets
  the emphasis shifted upwards.
* Band split. A zero-phase low-pass (`Lowpass1_front`, `Lowpass1_side`: a
  3rd-order Butterworth run forwards and backwards) splits mid and side into a
  low band and a complementary high band (delayed input minus low band). Its
  corner rises with distance, from about 950 Hz at 30 cm to 2.1 kHz at 70 cm.
* Side gains. The gain pair (`SGain`, `SGain_side`) weights the low and high
  side bands before they are added to and subtracted from the mid bands:
  larger weights give a wider image. Both weights grow with distance (about
  x2.2 from 30 cm to 70 cm); the high band gets 3 to 3.5 times the weight of
  the low band (5.5 times when narrow). "Wide" raises the low weight by about
  43 % and the high one by about 17 %; "narrow" roughly halves the low weight
  and lowers the high one by about 20 %.

Sharing of FIR taps (width)
---------------------------
The FIR depends on the sample rate and an effective distance only: wide and
default width use the distance itself, narrow uses the distance 20 cm nearer,
but never nearer than 30 cm. So 30cm_wide, 30cm and 50cm_narr share taps, as do
50cm_wide, 50cm and 70cm_narr (per rate); 30cm_narr and 40cm_narr use the
30 cm taps.

Low-pass design rule
--------------------
First section b = [1, 1, 0], a = [1, a1, 0] in Q14 (exponent -1); second
section b = [1, 2, 1], a = [1, a1, a2] with Q = 1 in Q13 (exponent -2), both
by the bilinear transform with K = tan(pi fc / fs). The last gain normalises
the DC gain of the (unquantised) cascade to 1 and is stored as a mantissa in
16384 ... 32767 with its exponent. Coefficients round to nearest. The per-
section gains are 16384 / -1 and unused by the filter. The corner fc of each
distance and rate is solved from the reference last gains (and sections where
known): the interval of fc that reproduces every reference value is found and
its middle is used. The report prints these corners and the straight line
through them, with how far the straight line alone would miss.

Fade tables
-----------
Q15, scale 32768 rounded to nearest and clamped at 32767. Input table: 1536
entries falling along (1 + cos(pi k / 1536)) / 2, then 512 rising along
sin^2(pi (j + 1) / 1024). Output table: 1024 entries rising along
sin^2(pi (j + 1) / 2048).
"""

import argparse
import math
import pathlib
import sys

import numpy as np
from scipy.optimize import brentq

ROOT = pathlib.Path(__file__).resolve().parent.parent
COMMAND = "/usr/bin/python3 scripts/gen_soundbar_tables.py"

RATES = (44100, 48000)
RATE_SUFFIX = {44100: "", 48000: "_48kHz"}
DISTANCES = (30, 40, 50, 60, 70)
ANGLES = ("_wide", "", "_narr")  # angle code 0, 1, 2

# ---------------------------------------------------------------------------
# Reference values the rules are calibrated on and must reproduce exactly.

# Gain pairs (low band, high band) / exponent, by distance and width; the same
# at both rates, front equals surround.
GAIN_PAIRS = {
    30: {"_wide": (8305, 23943, -15), "": (5795, 20528, -15), "_narr": (5965, 32669, -14)},
    40: {"_wide": (10777, 31272, -15), "": (7520, 26811, -15), "_narr": (3870, 21334, -15)},
    50: {"_wide": (6646, 19352, -16), "": (4637, 16592, -16), "_narr": (4773, 26405, -15)},
    60: {"_wide": (7916, 23095, -16), "": (5524, 19801, -16), "_narr": (5685, 31512, -15)},
    70: {"_wide": (9193, 26855, -16), "": (6415, 23024, -16), "_narr": (3301, 18321, -16)},
}

# Last low-pass gain / exponent by distance and rate.
LOWPASS_LAST_GAIN = {
    30: {44100: (18407, 11), 48000: (28531, 12)},
    40: {44100: (19448, 10), 48000: (30436, 11)},
    50: {44100: (17460, 9), 48000: (27512, 10)},
    60: {44100: (28653, 9), 48000: (22529, 9)},
    70: {44100: (21559, 8), 48000: (17056, 8)},
}

# Known low-pass sections (a1 of the first, a1 a2 of the second) by distance, rate.
LOWPASS_SECTIONS = {
    (50, 48000): (-13404, -14612, 6715),
    (50, 44100): (-13164, -14444, 6599),
    (30, 48000): (-14465, -15309, 7236),
    (70, 44100): (-12073, -13631, 6079),
    (30, 44100): (-14298, -15204, 7154),
}

# Known FIR taps {index: value} by rate and effective distance.
FIR_KNOWN = {
    (48000, 50): dict(zip((0, 1, 2, 3, 126, 127, 128), (97, 68, 20, -18, 7369, 14092, 17288))),
    (44100, 50): dict(zip((0, 1, 2, 3, 126, 127, 128), (-38, 18, 74, 95, 6755, 15012, 19097))),
    (48000, 30): dict(zip((0, 1, 2, 3, 126, 127, 128), (-188, -149, -74, -12, 7662, 14386, 17582))),
    (44100, 30): {128: 19401},
}

# Fade table entries the shapes must meet.
INPUT_FADE_KNOWN = {0: 32767, 512: 24576, 768: 16384, 1024: 8192, 1533: 0, 1534: 0, 1535: 0,
                    1536: 0, 1537: 1, 1600: 1286, 1792: 16485, 1900: 26543, 2047: 32767}
OUTPUT_FADE_KNOWN = {0: 0, 1: 0, 2: 1, 256: 4834, 512: 16434, 768: 28005, 1022: 32767, 1023: 32767}

# ---------------------------------------------------------------------------
# FIR rule: parameters at 50 cm per rate, and their change per 20 cm of
# effective distance. Calibrated by a least-squares fit of the listed taps.

FIR_TAPS = 257
FIR_Q = 1  # value v means v / 2^16
FIR_HP_ORDER = 8
FIR_AT_50CM = {  # gain g, high-pass corner (Hz), top f_top (Hz), roll-off power p
    44100: (1.3040, 359.18, 13025.8, 1.4790),
    48000: (1.5632, 637.95, 15654.0, 2.3917),
}
FIR_PER_20CM = (0.0755, 175.86, 392.04, 0.1744)
FIR_GRID = 4096  # frequency intervals of the least-squares integral


def fir_effective_distance(distance, angle):
    return max(30, distance - 20) if angle == "_narr" else distance


def fir_design(rate, eff_distance):
    """The unquantised taps (in units of 2^-16) for one rate and effective distance."""
    t = (eff_distance - 50) / 20.0
    g, fc, ftop, p = (base + slope * t for base, slope in zip(FIR_AT_50CM[rate], FIR_PER_20CM))
    f = np.linspace(0.0, rate / 2.0, FIR_GRID + 1)
    x = (f / fc) ** FIR_HP_ORDER
    response = g * x / np.sqrt(1.0 + x * x) * np.clip(1.0 - f / ftop, 0.0, None) ** p
    weights = np.full(f.size, 1.0 / FIR_GRID)
    weights[0] = weights[-1] = 0.5 / FIR_GRID
    half = (FIR_TAPS - 1) // 2
    m = np.arange(half + 1)
    # h[m] = 2 * integral over 0 ... 1/2 of H cos(2 pi m f / fs) d(f / fs)
    h = np.cos(2.0 * np.pi * np.outer(m, f / rate)) @ (response * weights)
    h = np.concatenate([h[:0:-1], h])
    return h * 2.0 ** (15 + FIR_Q)


def fir_tables():
    """Taps per (rate, effective distance), and the largest miss of the rule."""
    taps, worst = {}, 0.0
    for rate in RATES:
        for eff in DISTANCES:
            h = fir_design(rate, eff)
            q = np.clip(np.floor(h + 0.5), -32768, 32767).astype(int)
            for k, v in FIR_KNOWN.get((rate, eff), {}).items():
                worst = max(worst, abs(h[k] - v))
                q[k] = q[FIR_TAPS - 1 - k] = v
            taps[(rate, eff)] = [int(v) for v in q]
    return taps, worst

# ---------------------------------------------------------------------------
# Low-pass rule.


def round_half_up(x):
    return int(math.floor(x + 0.5))


def lowpass_float(fc, rate):
    k = math.tan(math.pi * fc / rate)
    a1 = (k - 1.0) / (k + 1.0)
    d = 1.0 + k + k * k  # second section, Q = 1
    b1, b2 = 2.0 * (k * k - 1.0) / d, (1.0 - k + k * k) / d
    gain = (1.0 + a1) / 2.0 * (1.0 + b1 + b2) / 4.0
    return a1, b1, b2, gain


def split_gain(gain):
    """Mantissa in 16384 ... 32767 and exponent q with gain = m / 2^(15 + q)."""
    q = -math.floor(math.log2(gain)) - 1
    m = round_half_up(gain * 2.0 ** (15 + q))
    if m == 32768:
        m, q = 16384, q - 1
    return m, q


def lowpass_fixed(fc, rate):
    a1, b1, b2, gain = lowpass_float(fc, rate)
    return (round_half_up(a1 * 16384), round_half_up(b1 * 8192), round_half_up(b2 * 8192)), split_gain(gain)


def lowpass_corner(distance, rate):
    """The fc interval (lo, hi) that reproduces every reference value."""
    lo, hi = 100.0, 5000.0
    targets = [(3, LOWPASS_LAST_GAIN[distance][rate], None)]
    for i, v in enumerate(LOWPASS_SECTIONS.get((distance, rate), ())):
        targets.append((i, v, (16384, 8192, 8192)[i]))
    for index, value, scale in targets:
        if scale is None:
            m, q = value
            fn = lambda f: lowpass_float(f, rate)[3] * 2.0 ** (15 + q)
            v = m
        else:
            fn = lambda f, i=index, s=scale: lowpass_float(f, rate)[i] * s
            v = value
        edges = sorted(brentq(lambda f: fn(f) - e, 100.0, 5000.0, xtol=1e-9) for e in (v - 0.5, v + 0.5))
        lo, hi = max(lo, edges[0]), min(hi, edges[1])
    if not lo < hi:
        sys.exit(f"no low-pass corner reproduces {distance} cm at {rate} Hz")
    return lo, hi


def lowpass_tables():
    corners, sets = {}, {}
    for d in DISTANCES:
        for rate in RATES:
            lo, hi = lowpass_corner(d, rate)
            corners[(d, rate)] = round((lo + hi) / 2.0, 4)
            sets[(d, rate)] = lowpass_fixed(corners[(d, rate)], rate)
            coef, last = sets[(d, rate)]
            assert last == LOWPASS_LAST_GAIN[d][rate]
            assert coef == LOWPASS_SECTIONS.get((d, rate), coef)
    return corners, sets


def lowpass_line_fit(corners):
    """Straight line fc = a + b d through all corners, and its miss in units."""
    ds = np.array([d for d, _ in corners], float)
    fcs = np.array(list(corners.values()))
    b, a = np.polyfit(ds, fcs, 1)
    miss_hz = max(abs(a + b * d - fc) for (d, _), fc in corners.items())
    miss_units = 0
    for (d, rate), _ in corners.items():
        coef, (m, q) = lowpass_fixed(a + b * d, rate)
        ref_coef, (ref_m, ref_q) = lowpass_fixed(corners[(d, rate)], rate)
        miss_units = max(miss_units, max(abs(x - y) for x, y in zip(coef, ref_coef)),
                         abs(m * 2.0 ** (ref_q - q) - ref_m))
    return a, b, miss_hz, miss_units

# ---------------------------------------------------------------------------
# Fade tables.


def fade_tables():
    def q15(x):
        return min(32767, round_half_up(32768.0 * x))
    fall = [q15((1.0 + math.cos(math.pi * k / 1536)) / 2.0) for k in range(1536)]
    rise = [q15(math.sin(math.pi * (j + 1) / 1024) ** 2) for j in range(512)]
    out = [q15(math.sin(math.pi * (j + 1) / 2048) ** 2) for j in range(1024)]
    table_in = fall + rise
    for table, known in ((table_in, INPUT_FADE_KNOWN), (out, OUTPUT_FADE_KNOWN)):
        for k, v in known.items():
            assert table[k] == v, (k, table[k], v)
    return table_in, out

# ---------------------------------------------------------------------------
# C++ output.


def banner(what):
    return (f"// {what}\n"
            f"// Generated by {COMMAND}; do not edit by hand.\n"
            f"// Rerun the generator (or its --check) after changing the design rules.\n")


def c_array(values, per_line=16, indent="    "):
    lines = []
    for i in range(0, len(values), per_line):
        lines.append(indent + ", ".join(str(v) for v in values[i:i + per_line]) + ",")
    return "\n".join(lines)


def variants():
    for rate in RATES:
        for d in DISTANCES:
            for angle in ANGLES:
                yield rate, d, angle, f"{d}cm{RATE_SUFFIX[rate]}{angle}"


def array_layout(s):
    """(name, length) of every int16 array of one variant, in file order."""
    layout = []
    for fam in ("Highpass_S_front_fir", "Highpass_S_side_fir"):
        layout += [(f"{fam}_fxd_{s}", FIR_TAPS), (f"{fam}_Q_{s}", 1)]
    for fam in ("Lowpass1_front", "Lowpass1_side"):
        layout += [(f"{fam}_sos_fxd_{s}", 12), (f"{fam}_sos_Q_{s}", 2),
                  (f"{fam}_gain_fxd_{s}", 3), (f"{fam}_gain_Q_{s}", 3)]
    layout += [(f"SGain_fxd_{s}", 2), (f"SGain_side_fxd_{s}", 2)]
    return layout


def int32_names(s):
    return [f"Highpass_S_front_fir_ntaps_fxd_{s}", f"Highpass_S_front_fir_nchans_fxd_{s}",
            f"Highpass_S_side_fir_ntaps_fxd_{s}", f"Highpass_S_side_fir_nchans_fxd_{s}",
            f"Lowpass1_front_nsos_fxd_{s}", f"Lowpass1_front_nchans_fxd_{s}",
            f"Lowpass1_side_nsos_fxd_{s}", f"Lowpass1_side_nchans_fxd_{s}"]


def variant_values(rate, d, angle, firs, lowpass):
    taps = firs[(rate, fir_effective_distance(d, angle))]
    (a1, b1, b2), (gm, gq) = lowpass[(d, rate)]
    sos = [16384, 16384, 0, 16384, a1, 0, 8192, 16384, 8192, 8192, b1, b2]
    lp = [sos, [-1, -2], [16384, 16384, gm], [-1, -1, gq]]
    lo, hi, q = GAIN_PAIRS[d][angle]
    arrays = [taps, [FIR_Q], taps, [FIR_Q]] + lp + lp + [[lo, hi], [lo, hi]]
    int32s = [FIR_TAPS, 1, FIR_TAPS, 1, 2, 1, 2, 1]
    return arrays, int32s, q


def tables_header():
    out = [banner("Constant coefficient store of the soundbar virtualizer: for every sample\n"
                  "// rate, distance and width the side FIR pair, the low-pass pair and the side\n"
                  "// gain pair. Values v with exponent q mean v / 2^(15 + q)."),
           "#pragma once\n\n#include <cstdint>\n\n#include \"SoundbarCoefficientSet.h\"\n",
           "namespace hvfx::soundbar {\n"]
    for rate, d, angle, s in variants():
        out.append(f"// {d} cm, {rate} Hz, width {angle.strip('_') or 'default'}")
        for name, n in array_layout(s):
            out.append(f"extern const int16_t _{name}[{n}];")
        for name, _ in array_layout(s):
            out.append(f"extern const int16_t* const {name};")
        out.append("extern const int32_t " + ", ".join(int32_names(s)) + ";")
        out.append(f"extern const int16_t SGain_Q_{s}, SGain_side_Q_{s};\n")
    out.append("// Every set, indexed [rate: 0 = 44100, 1 = 48000][distance: 30, 40, 50, 60,\n"
               "// 70 cm][width: 0 wide, 1 default, 2 narrow].")
    out.append("extern const SoundbarCoefficientSet SoundbarCoefficientSets[2][5][3];")
    out.append("\n}  // namespace hvfx::soundbar")
    return "\n".join(out) + "\n"


def set_entry(s):
    def fam(f, kind):
        return f"_{f}_{kind}_{s}"
    fir = lambda f: f"{fam(f, 'fxd')}, {fam(f, 'Q')}, {f}_ntaps_fxd_{s}, {f}_nchans_fxd_{s},"
    lp = lambda f: (f"{fam(f, 'sos_fxd')}, {fam(f, 'sos_Q')}, {fam(f, 'gain_fxd')}, "
                    f"{fam(f, 'gain_Q')},\n       {f}_nsos_fxd_{s}, {f}_nchans_fxd_{s},")
    return (f"      {{{fir('Highpass_S_front_fir')}\n       {fir('Highpass_S_side_fir')}\n"
            f"       {lp('Lowpass1_front')}\n       {lp('Lowpass1_side')}\n"
            f"       _SGain_fxd_{s}, SGain_Q_{s}, _SGain_side_fxd_{s}, SGain_side_Q_{s}}},")


def tables_source(firs, lowpass):
    out = [banner("Values of the soundbar coefficient store (see SoundbarTables.h)."),
           "#include \"SoundbarTables.h\"\n",
           "namespace hvfx::soundbar {\n"]
    for rate, d, angle, s in variants():
        arrays, int32s, q = variant_values(rate, d, angle, firs, lowpass)
        out.append(f"// {d} cm, {rate} Hz, width {angle.strip('_') or 'default'}")
        for (name, n), values in zip(array_layout(s), arrays):
            assert len(values) == n
            if n > 16:
                out.append(f"const int16_t _{name}[{n}] = {{\n{c_array(values)}\n}};")
            else:
                out.append(f"const int16_t _{name}[{n}] = {{{', '.join(map(str, values))}}};")
        for name, _ in array_layout(s):
            out.append(f"const int16_t* const {name} = _{name};")
        for name, v in zip(int32_names(s), int32s):
            out.append(f"const int32_t {name} = {v};")
        out.append(f"const int16_t SGain_Q_{s} = {q};\nconst int16_t SGain_side_Q_{s} = {q};\n")
    out.append("constinit const SoundbarCoefficientSet SoundbarCoefficientSets[2][5][3] = {")
    for rate in RATES:
        out.append("  {")
        for d in DISTANCES:
            out.append("    {")
            for angle in ANGLES:
                out.append(set_entry(f"{d}cm{RATE_SUFFIX[rate]}{angle}"))
            out.append("    },")
        out.append("  },")
    out.append("};")
    out.append("\n}  // namespace hvfx::soundbar")
    return "\n".join(out) + "\n"


def fade_header():
    return (banner("Fade tables of the soundbar virtualizer, Q15 (32767 is unity).") +
            "#pragma once\n\n#include <cstdint>\n\nnamespace hvfx::soundbar {\n\n"
            "// Input fade after a distance or width change: entries 0 ... 1535 fall\n"
            "// from 32767 to 0 along a half cosine (the filters are rebuilt at the\n"
            "// silent point), entries 1536 ... 2047 rise back to 32767.\n"
            "extern const int16_t SoundbarInputFadeTable[2048];\n\n"
            "// Output fade-in after a start or a filter rebuild: rises from 0 to 32767.\n"
            "extern const int16_t SoundbarOutputFadeTable[1024];\n\n"
            "}  // namespace hvfx::soundbar\n")


def fade_source(table_in, table_out):
    return (banner("Values of the soundbar fade tables (see SoundbarFadeTables.h).") +
            "#include \"SoundbarFadeTables.h\"\n\nnamespace hvfx::soundbar {\n\n"
            f"const int16_t SoundbarInputFadeTable[2048] = {{\n{c_array(table_in)}\n}};\n\n"
            f"const int16_t SoundbarOutputFadeTable[1024] = {{\n{c_array(table_out)}\n}};\n\n"
            "}  // namespace hvfx::soundbar\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--check", action="store_true",
                        help="regenerate in memory and exit 1 if the committed files differ")
    args = parser.parse_args()

    firs, fir_worst = fir_tables()
    corners, lowpass = lowpass_tables()
    table_in, table_out = fade_tables()
    files = {
        "soundbar/SoundbarTables.h": tables_header(),
        "soundbar/SoundbarTables.cpp": tables_source(firs, lowpass),
        "soundbar/SoundbarFadeTables.h": fade_header(),
        "soundbar/SoundbarFadeTables.cpp": fade_source(table_in, table_out),
    }
    if args.check:
        stale = [p for p, text in files.items()
                 if not (ROOT / p).exists() or (ROOT / p).read_text() != text]
        for p in stale:
            print(f"out of date: {p}")
        return 1 if stale else 0

    for p, text in files.items():
        (ROOT / p).write_text(text)
    a, b, miss_hz, miss_units = lowpass_line_fit(corners)
    print(f"FIR: largest deviation of the rule from the reference taps: {fir_worst:.1f} "
          f"(units of 2^-16); the reference taps are stored as given")
    print("Low-pass corner per distance (Hz, 44100 / 48000):")
    for d in DISTANCES:
        print(f"  {d} cm: {corners[(d, 44100)]:8.2f} / {corners[(d, 48000)]:8.2f}")
    print("Low-pass: with these corners every reference section and last gain is "
          "reproduced exactly (0 units)")
    print(f"Low-pass straight line: fc = {a:.1f} Hz + {b:.2f} Hz/cm * d; misses the corners "
          f"by up to {miss_hz:.1f} Hz, i.e. up to {miss_units:.0f} units in a coefficient or "
          f"last gain")
    return 0


if __name__ == "__main__":
    sys.exit(main())
