"""hvtralo-render end to end, on files made by sox and espeak-ng."""

import json
import os

import numpy as np
import pytest

from conftest import read16, render, run

ALL_OFF = ["--autolevel", "off", "--limiter", "off", "--eq", "off", "--soundbar", "off",
           "--lfe-autolevel", "off", "--surround", "off"]
TUNING = ["--eq", "on", "--eq-band", "all:3:6:1000:1.5", "--low-shelf", "L:-6:200", "--autolevel-volume", "60",
          "--autolevel-up", "9", "--soundbar-distance", "30", "--soundbar-width", "narrow", "--lfe-gain", "-6"]


@pytest.mark.parametrize("name", ["stereo44.wav", "surround48.flac", "speech48_24.wav"])
def test_aligned_output_keeps_length_and_format(media, tmp_path, name):
    src = media[name]
    out = tmp_path / ("out" + src.suffix)
    report = tmp_path / "report.json"
    render(src, out, "--report-json", report)
    for query in ("-r", "-c", "-b", "-s", "-t"):
        assert run("soxi", query, out).stdout == run("soxi", query, src).stdout, query
    rep = json.loads(report.read_text())
    assert rep["latency_frames"] > 0
    assert rep["input"]["converted_to_16_bit"] == name.endswith("_24.wav")
    seconds = rep["input"]["seconds"]
    for side in ("input", "output"):
        assert len(rep["loudness"][side]["short_term_lufs"]) == int(seconds * 10)
        assert rep["loudness"][side]["integrated_lufs"] < 0


@pytest.mark.parametrize("name", ["stereo44.wav", "stereo44_float.wav", "surround48.flac"])
def test_everything_off_is_the_fixed_attenuation_only(media, tmp_path, name):
    out = tmp_path / ("out" + media[name].suffix)
    render(media[name], out, *ALL_OFF)
    x = read16(media[name]).astype(np.int32)
    np.testing.assert_array_equal(read16(out), (x * 19661 + 16384) >> 15)


def test_saved_preset_replays_bit_for_bit(media, tmp_path):
    src = media["surround48.flac"]
    render(src, tmp_path / "a.flac", *TUNING, "--save-preset", tmp_path / "p.json")
    # Flags before the preset are overridden by it.
    render(src, tmp_path / "b.flac", "--soundbar-distance", "70", "--preset", tmp_path / "p.json")
    np.testing.assert_array_equal(read16(tmp_path / "a.flac"), read16(tmp_path / "b.flac"))
    # ... and flags after it override it.
    render(src, tmp_path / "c.flac", "--preset", tmp_path / "p.json", "--eq", "off")
    assert not np.array_equal(read16(tmp_path / "a.flac"), read16(tmp_path / "c.flac"))


def bad_cases(media, tmp):
    (tmp / "notes.wav").write_text("not audio")
    (tmp / "typo.json").write_text('{"eq": {"enabel": true}}')
    (tmp / "broken.json").write_text('{"eq": ')
    run("sox", "-n", "-r", "48000", "-c", "4", "-b", "16", tmp / "quad.wav", "synth", "0.5", "sine", "440")
    run("sox", "-n", "-r", "96000", "-c", "2", "-b", "16", tmp / "hires.wav", "synth", "0.5", "sine", "440")
    st = media["stereo44.wav"]
    return [  # arguments, words the one-line message must contain, where the output would go
        ([tmp / "missing.wav", tmp / "o.wav"], "no such file", tmp / "o.wav"),
        ([tmp / "notes.wav", tmp / "o.wav"], "cannot read", tmp / "o.wav"),
        ([tmp / "quad.wav", tmp / "o.wav"], "5.1", tmp / "o.wav"),
        ([tmp / "hires.wav", tmp / "o.wav"], "48000 Hz", tmp / "o.wav"),
        ([st, tmp / "o.wav", "--soundbar", "on"], "44.1 or 48 kHz", tmp / "o.wav"),
        ([st, tmp / "o.wav", "--eq-band", "0:9:3"], "band 9", tmp / "o.wav"),
        ([st, tmp / "o.wav", "--autolevel-up", "fast"], "not a whole number", tmp / "o.wav"),
        ([st, tmp / "o.wav", "--preset", tmp / "typo.json"], "eq.enabel", tmp / "o.wav"),
        ([st, tmp / "o.wav", "--preset", tmp / "broken.json"], "not valid JSON", tmp / "o.wav"),
        ([st, tmp / "nodir" / "o.wav"], "cannot write", tmp / "nodir" / "o.wav"),
    ]


def test_bad_input_is_one_line_and_leaves_no_file(media, tmp_path):
    for args, words, target in bad_cases(media, tmp_path):
        before = set(os.listdir(tmp_path))
        r = render(*args, check=False)
        assert r.returncode != 0, args
        lines = r.stderr.strip().splitlines()
        assert len(lines) == 1 and words in lines[0], (args, r.stderr)
        assert not target.exists() and set(os.listdir(tmp_path)) == before, args



def test_report_figures_are_the_output_files(media, tmp_path):
    """The report's output column measures the written file: its sample peak as read back here, and, with
    every stage off (the fixed gain 19661/32768 alone), the input's loudness 4.44 dB lower."""
    src, out, report = media["stereo44.wav"], tmp_path / "out.wav", tmp_path / "report.json"
    for args in (TUNING, ALL_OFF):
        render(src, out, "--report-json", report, *args)
        rep = json.loads(report.read_text())["loudness"]
        for side, path in (("input", src), ("output", out)):
            peak = np.abs(read16(path).astype(np.int32)).max() / 32768
            assert rep[side]["sample_peak_dbfs"] == pytest.approx(20 * np.log10(peak), abs=0.006), (args, side)
    shift = 20 * np.log10(19661 / 32768)  # rep is that of ALL_OFF now
    assert rep["output"]["integrated_lufs"] - rep["input"]["integrated_lufs"] == pytest.approx(shift, abs=0.05)
    pairs = [(i, o) for i, o in zip(rep["input"]["short_term_lufs"], rep["output"]["short_term_lufs"]) if i and o]
    assert pairs and all(o - i == pytest.approx(shift, abs=0.05) for i, o in pairs)
