"""hvtralo-plot: response plots measured through libhvtralofx, and the
before/after loudness curve of a rendered file.

  hvtralo-plot eq       [--preset P] [--channels 0,1] [--rate HZ] -o eq.png
  hvtralo-plot lfe      [--preset P] [--rate HZ] -o lfe.svg
  hvtralo-plot soundbar [--preset P] [--distance CM] [--width W] [--rate HZ] -o soundbar.png
  hvtralo-plot loudness REPORT.json -o loudness.png
  hvtralo-plot all      [--preset P] [--report REPORT.json] --out-dir DIR

The format follows the file name: .png or .svg. The eq plot draws one curve
per group of channels the preset treats alike (or the channels asked for);
a stage the preset switches off is drawn as it would act and marked "off".
Presets are checked by the preset core, as by hvtralo-render: a refused one
ends the run with the renderer's one-line message (exit 2)."""

import argparse
import json
import os
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

from . import complete_settings, check_settings, measure  # noqa: E402

_SIZE = (8, 4.5)
_DPI = 80


class Refused(Exception):
    """A bad argument or file: one line, exit 2."""


def _load_json(path, what):
    try:
        with open(path, encoding="utf-8") as f:
            return json.load(f)
    except UnicodeDecodeError:
        raise Refused("%s: not %s (binary data)" % (path, what)) from None
    except json.JSONDecodeError as e:
        raise Refused("%s: not %s (%s)" % (path, what, e)) from None
    except OSError as e:
        raise Refused("%s: %s" % (path, e.strerror)) from None


def _load_preset(path):
    if not path:
        return {}
    preset = _load_json(path, "a JSON preset")
    try:
        check_settings(preset)
    except ValueError as e:
        raise Refused("%s: %s" % (path, e)) from None
    return preset


def _off_notes(s, *stages):
    """Marks for the switches of ``stages`` that the settings ``s`` turn off."""
    notes = [] if s["master"] else ["master switch off"]
    if "eq" in stages:
        notes += ["equalizer off"] if not s["eq"]["enable"] else []
        notes += ["%s shelves off" % k for k in ("low", "high") if not s["eq"][k + "_shelf_enable"]]
    if "soundbar" in stages and s["soundbar"]["enable"] == "off":
        notes.append("soundbar off")
    if "lfe" in stages and not s["lfe"]["copy"]:
        notes.append("LFE mix off")
    return notes


def _title(text, notes):
    return text + ("\n[in this preset: %s; drawn as it would act when on]" % ", ".join(notes) if notes else "")


def _freq_axes(ax, rate, title, ylabel="gain (dB)"):
    ax.set_xscale("log")
    ax.set_xlim(20, rate / 2)
    ax.set_xlabel("frequency (Hz)")
    ax.set_ylabel(ylabel)
    ax.set_title(title, fontsize=10)
    ax.grid(True, which="both", alpha=0.3)


def _check_output(path):
    if os.path.splitext(path)[1].lower() not in (".png", ".svg"):
        raise Refused("%s: the file name must end in .png or .svg" % path)
    if not os.path.isdir(os.path.dirname(os.path.abspath(path))):
        raise Refused("%s: no such folder" % path)


def _save(fig, path):
    ext = os.path.splitext(path)[1].lower()
    fig.tight_layout()
    tmp = os.path.join(os.path.dirname(os.path.abspath(path)), "." + os.path.basename(path) + ".tmp" + ext)
    fig.savefig(tmp, dpi=_DPI)
    os.replace(tmp, path)
    plt.close(fig)


def eq_curves(preset, channels=None, rate=48000):
    """What the eq plot draws: ([(label, freqs, dB)], off notes). One curve per group of channels
    whose settings are the same (every channel of the record), or one per channel of ``channels``."""
    s = complete_settings(preset)
    per = s["eq"]["channels"]
    groups = [[c] for c in channels] if channels else []
    for c in range(len(per) if not channels else 0):
        same = next((g for g in groups if per[g[0]] == per[c]), None)
        if same:
            same.append(c)
        else:
            groups.append([c])
    curves = []
    for g in groups:
        f, db = measure.eq_response(preset, g[0], rate)
        label = "all channels" if len(g) == len(per) else "channel%s %s" % (
            "s" if len(g) > 1 else "", ", ".join("%d (%s)" % (c, measure.CHANNEL_NAMES[c]) for c in g))
        curves.append((label, f, db))
    return curves, _off_notes(s, "eq")


def plot_eq(preset, channels, rate, path):
    fig, ax = plt.subplots(figsize=_SIZE)
    curves, notes = eq_curves(preset, channels, rate)
    for label, f, db in curves:
        ax.plot(f[1:], db[1:], label=label)
    _freq_axes(ax, rate, _title("Equalizer, measured through the library (fixed -4.4 dB attenuation removed)",
                                notes))
    ax.set_ylim(-30, 25)
    ax.legend()
    _save(fig, path)


def plot_lfe(preset, rate, path):
    fig, ax = plt.subplots(figsize=_SIZE)
    f, db = measure.lfe_response(preset, rate)
    s = complete_settings(preset)
    ax.plot(f[1:], db[1:], label="LFE in -> LFE out")
    _freq_axes(ax, rate, _title("LFE band-pass (5.1, soundbar on, %s Hz %s dB), measured"
                                % (s["lfe"]["freq_hz"], s["lfe"]["gain_db"]), _off_notes(s, "soundbar", "lfe")))
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
    s = complete_settings(preset)
    fig.suptitle(_title("Soundbar outputs, measured: distance %s cm, width %s"
                        % (distance or s["soundbar"]["distance_cm"], width or s["soundbar"]["width"]),
                        _off_notes(s, "soundbar")), fontsize=11)
    _save(fig, path)


def plot_loudness(report_path, path):
    rep = _load_json(report_path, "a render report (JSON)")
    if not isinstance(rep, dict) or "loudness" not in rep or "short_term_step_s" not in rep:
        raise Refused("%s: not a render report of hvtralo-render --report-json" % report_path)
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


class _Parser(argparse.ArgumentParser):
    def error(self, message):  # one line, not the usage
        raise Refused("%s (see --help)" % message)


def _channels(text):
    if text is None:
        return None
    try:
        channels = [int(c) for c in text.split(",")]
    except ValueError:
        channels = [-1]
    if not all(0 <= c < len(measure.CHANNEL_NAMES) for c in channels):
        raise Refused("--channels: '%s' is not a list of channels 0 ... 5, e.g. 0,1" % text)
    return channels


def main(argv=None):
    try:
        return _main(argv)
    except Refused as e:
        print("hvtralo-plot: %s" % e, file=sys.stderr)
        return 2
    except (OSError, ValueError) as e:
        print("hvtralo-plot: %s" % e, file=sys.stderr)
        return 1


def _main(argv):
    p = _Parser(prog="hvtralo-plot", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    sub = p.add_subparsers(dest="what", required=True)

    def common(sp, out=True):
        sp.add_argument("--preset", help="settings (a preset of hvtralo-render --save-preset)")
        sp.add_argument("--rate", type=int, default=48000, choices=[44100, 48000] if sp.prog.endswith(
            ("lfe", "soundbar", "all")) else None, help="sample rate in Hz (default 48000)")
        if out:
            sp.add_argument("-o", "--output", required=True, help="PNG or SVG file")

    sp = sub.add_parser("eq", help="equalizer response per channel")
    common(sp)
    sp.add_argument("--channels", help="channels to draw, e.g. 0,1 (default: one curve per group of channels "
                    "the preset treats alike)")
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
    if a.what != "all":
        _check_output(a.output)
    if a.what == "loudness":
        plot_loudness(a.report, a.output)
        return 0
    preset = _load_preset(a.preset)
    try:
        check_settings(preset, a.rate, 6)
    except ValueError as e:
        raise Refused(str(e)) from None
    if a.what == "eq":
        plot_eq(preset, _channels(a.channels), a.rate, a.output)
    elif a.what == "lfe":
        plot_lfe(preset, a.rate, a.output)
    elif a.what == "soundbar":
        plot_soundbar(preset, a.distance, a.width, a.rate, a.output)
    else:
        os.makedirs(a.out_dir, exist_ok=True)
        files = {"eq": os.path.join(a.out_dir, "eq.png"), "lfe": os.path.join(a.out_dir, "lfe.png"),
                 "soundbar": os.path.join(a.out_dir, "soundbar.png")}
        plot_eq(preset, None, a.rate, files["eq"])
        plot_lfe(preset, a.rate, files["lfe"])
        plot_soundbar(preset, a.distance, a.width, a.rate, files["soundbar"])
        if a.report:
            files["loudness"] = os.path.join(a.out_dir, "loudness.png")
            plot_loudness(a.report, files["loudness"])
        for f in files.values():
            print(f)
    return 0
