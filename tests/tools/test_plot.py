"""Measured responses and hvtralo-plot: they must show what the settings ask for."""

import json

import numpy as np

from conftest import PLOT, render, run
from hvtralofx import measure, plot


def at(f, db, hz):
    return db[np.argmin(np.abs(f - hz))]


def test_eq_plot_draws_each_channel_the_preset_treats_differently():
    flat = {"low_shelf": {"gain_db": 0}, "high_shelf": {"gain_db": 0}}
    right = dict(flat, bands=[{}, {}, {}, {"gain_db": 12, "freq_hz": 1000, "q": 2.0}])
    curves, off = plot.eq_curves({"eq": {"channels": [flat, right, flat, flat, flat, flat]}})
    assert [c[0] for c in curves] == ["channels 0 (L), 2 (C), 3 (LFE), 4 (Ls), 5 (Rs)", "channel 1 (R)"]
    assert off == ["equalizer off"]
    (_, f, others), (_, _, db) = curves
    assert abs(at(f, db, 1000) - 12) < 0.5 and abs(at(f, db, 100)) < 0.5 and abs(at(f, db, 12000)) < 0.5
    assert np.max(np.abs(others[(f > 20) & (f < 20000)])) < 0.1  # the other channels are untouched


def test_soundbar_outputs_follow_the_matrix():
    f, db = measure.soundbar_responses({"lfe": {"copy": False}}, 40, "narrow", in_channel=2)
    audible = (f > 50) & (f < 20000)
    centre = db[audible, 2]
    assert np.ptp(centre) < 0.1  # centre passes through: flat
    assert np.all(db[audible][:, [0, 1, 4, 5]] < -90)  # and reaches nothing else
    f, db = measure.soundbar_responses({"lfe": {"copy": False}}, 40, "narrow", in_channel=0)
    assert np.all(db[audible, 2] < -90)
    assert np.max(np.abs(db[audible, 0] - db[audible, 1])) > 1  # left input: the pair differs


def test_plot_tool_writes_files_and_refuses_bad_arguments_in_one_line(media, tmp_path):
    run(PLOT, "eq", "-o", tmp_path / "eq.svg")
    assert (tmp_path / "eq.svg").read_text().lstrip().startswith("<?xml")
    render("--report-json", tmp_path / "r.json")  # the demo programme
    run(PLOT, "loudness", tmp_path / "r.json", "-o", tmp_path / "l.png")
    assert (tmp_path / "l.png").read_bytes()[:4] == b"\x89PNG"
    assert json.loads((tmp_path / "r.json").read_text())["input"]["seconds"] > 20
    for args, words in ((["eq", "--channels", "0,9"], "'0,9' is not a list of channels"),
                        (["loudness", media["stereo44.wav"]], "stereo44.wav: not a render report"),
                        (["eq", "--rate", "96000"], "96000 Hz is not supported")):
        r = run(PLOT, *args, "-o", tmp_path / "x.png", check=False)
        assert r.returncode == 2 and r.stderr.count("\n") == 1 and words in r.stderr, r.stderr
