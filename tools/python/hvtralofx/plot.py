"""hvtralo-plot: response plots measured through libhvtralofx, and the
before/after loudness curve of a rendered file.

  hvtralo-plot eq       [--preset P] [--channels 0,1] [--rate HZ] -o eq.png
  hvtralo-plot lfe      [--preset P] [--rate HZ] -o lfe.svg
  hvtralo-plot soundbar [--preset P] [--distance CM] [--width W] [--rate HZ] -o soundbar.png
  hvtralo-plot loudness REPORT.json -o loudness.png
  hvtralo-plot all      [--preset P] [--report REPORT.json] --out-dir DIR

The format follows the file name: .png or .svg."""

import argparse
import json
import os
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

from . import measure  # noqa: E402

_SIZE = (8, 4.5)
_DPI = 80


def _load_preset(path):
    if not path:
        return {}
    with open(path) as f:
        return json.load(f)


def _freq_axes(ax, rate, title, ylabel="gain (dB)"):
    ax.set_xscale("log")
    ax.set_xlim(20, rate / 2)
    ax.set_xlabel("frequency (Hz)")
    ax.set_ylabel(ylabel)
    ax.set_title(title, fontsize=10)
    ax.grid(True, which="both", alpha=0.3)


def _save(fig, path):
    ext = os.path.splitext(path)[1].lower()
    if ext not in (".png", ".svg"):
        raise SystemExit("hvtralo-plot: %s: the file name must end in .png or .svg" % path)
    fig.tight_layout()
    tmp = os.path.join(os.path.dirname(os.path.abspath(path)), "." + os.path.basename(path) + ".tmp" + ext)
    fig.savefig(tmp, dpi=_DPI)
    os.replace(tmp, path)
    plt.close(fig)


def plot_eq(preset, channels, rate, path):
    fig, ax = plt.subplots(figsize=_SIZE)
    for c in channels:
        f, db = measure.eq_response(preset, c, rate)
        ax.plot(f[1:], db[1:], label="channel %d (%s)" % (c, measure.CHANNEL_NAMES[c]))
    _freq_axes(ax, rate, "Equalizer, measured through the library (fixed -4.4 dB attenuation removed)")
    ax.set_ylim(-30, 25)
    ax.legend()
    _save(fig, path)


def plot_lfe(preset, rate, path):
    fig, ax = plt.subplots(figsize=_SIZE)
    f, db = measure.lfe_response(preset, rate)
    lfe = measure.merge_settings(measure.merge_settings({}, preset), {}).get("lfe", {})
    ax.plot(f[1:], db[1:], label="LFE in -> LFE out")
    _freq_axes(ax, rate, "LFE band-pass (5.1, soundbar on%s), measured"
               % (", %s Hz %s dB" % (lfe["freq_hz"], lfe["gain_db"]) if "freq_hz" in lfe and "gain_db" in lfe
                  else ""))
    ax.set_ylim(max(-80, db[1:].max() - 70), db[1:].max() + 5)
    ax.legend()
    _save(fig, path)


def plot_soundbar(preset, distance, width, rate, path):
    inputs = [0, 2, 4]
    fig, axes = plt.subplots(1, len(inputs), figsize=(12, 4.5), sharey=True)
    for ax, inp in zip(axes, inputs):
        f, db = measure.soundbar_responses(preset, distance, width, inp, rate)
        for out in range(6):
            if db[1:, out].max() > -90:  # channels the input does not reach are left out
                ax.plot(f[1:], db[1:, out], label=measure.OUTPUT_NAMES[out])
        _freq_axes(ax, rate, "impulse on input %s" % measure.CHANNEL_NAMES[inp])
        ax.legend(fontsize=8)
    axes[0].set_ylim(-60, 15)
    bar = preset.get("soundbar", {})
    fig.suptitle("Soundbar outputs, measured: distance %s cm, width %s"
                 % (distance or bar.get("distance_cm", 50), width or bar.get("width", "wide")), fontsize=11)
    _save(fig, path)


def plot_loudness(report_path, path):
    with open(report_path) as f:
        rep = json.load(f)
    step = rep["short_term_step_s"]
    fig, ax = plt.subplots(figsize=_SIZE)
    for key, style in (("input", "-"), ("output", "-")):
        series = np.array([np.nan if v is None else v for v in rep["loudness"][key]["short_term_lufs"]], float)
        t = step * (1 + np.arange(len(series)))
        il = rep["loudness"][key]["integrated_lufs"]
        ax.plot(t, series, style, label="%s (integrated %s LUFS, range %s LU)"
                % (key, il, rep["loudness"][key]["loudness_range_lu"]))
    ax.set_xlabel("time (s)")
    ax.set_ylabel("short-term loudness (LUFS)")
    ax.set_title("%s: short-term loudness before and after" % (rep["input"]["name"]), fontsize=10)
    ax.grid(True, alpha=0.3)
    ax.legend()
    _save(fig, path)


def main(argv=None):
    p = argparse.ArgumentParser(prog="hvtralo-plot", description=__doc__,
                                formatter_class=argparse.RawDescriptionHelpFormatter)
    sub = p.add_subparsers(dest="what", required=True)

    def common(sp, out=True):
        sp.add_argument("--preset", help="settings (a preset of hvtralo-render --save-preset)")
        sp.add_argument("--rate", type=int, default=48000, choices=[44100, 48000] if sp.prog.endswith(
            ("lfe", "soundbar", "all")) else None, help="sample rate in Hz (default 48000)")
        if out:
            sp.add_argument("-o", "--output", required=True, help="PNG or SVG file")

    sp = sub.add_parser("eq", help="equalizer response per channel")
    common(sp)
    sp.add_argument("--channels", default="0", help="channels to draw, e.g. 0,1 (default 0)")
    sp = sub.add_parser("lfe", help="LFE band-pass response")
    common(sp)
    for name in ("soundbar", "all"):
        sp = sub.add_parser(name, help="every soundbar output for a distance and width" if name == "soundbar"
                            else "eq, lfe and soundbar plots (and loudness with --report) into a folder")
        common(sp, out=name == "soundbar")
        sp.add_argument("--distance", type=int, choices=[30, 40, 50, 60, 70], help="listening distance, cm")
        sp.add_argument("--width", choices=["wide", "default", "narrow"])
    sp.add_argument("--report", help="JSON report of hvtralo-render --report-json")
    sp.add_argument("--out-dir", required=True)
    sp = sub.add_parser("loudness", help="short-term loudness of input and output from a render report")
    sp.add_argument("report")
    sp.add_argument("-o", "--output", required=True)
    a = p.parse_args(argv)

    try:
        if a.what == "loudness":
            plot_loudness(a.report, a.output)
            return 0
        preset = _load_preset(a.preset)
        if a.what == "eq":
            plot_eq(preset, [int(c) for c in a.channels.split(",")], a.rate, a.output)
        elif a.what == "lfe":
            plot_lfe(preset, a.rate, a.output)
        elif a.what == "soundbar":
            plot_soundbar(preset, a.distance, a.width, a.rate, a.output)
        else:
            os.makedirs(a.out_dir, exist_ok=True)
            files = {"eq": os.path.join(a.out_dir, "eq.png"), "lfe": os.path.join(a.out_dir, "lfe.png"),
                     "soundbar": os.path.join(a.out_dir, "soundbar.png")}
            plot_eq(preset, [0, 1], a.rate, files["eq"])
            plot_lfe(preset, a.rate, files["lfe"])
            plot_soundbar(preset, a.distance, a.width, a.rate, files["soundbar"])
            if a.report:
                files["loudness"] = os.path.join(a.out_dir, "loudness.png")
                plot_loudness(a.report, files["loudness"])
            for f in files.values():
                print(f)
    except (OSError, ValueError, KeyError) as e:
        print("hvtralo-plot: %s" % e, file=sys.stderr)
        return 1
    return 0
