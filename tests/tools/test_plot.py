"""Measured responses: they must show what the settings ask for."""

import json

import numpy as np

from conftest import PLOT, render, run
from hvtralofx import measure


def at(f, db, hz):
    return db[np.argmin(np.abs(f - hz))]


def test_equalizer_band_is_measured_at_its_gain():
    flat = {"low_shelf": {"gain_db": 0}, "high_shelf": {"gain_db": 0}}
    band = dict(flat, bands=[{}, {}, {}, {"gain_db": 6, "freq_hz": 1000, "q": 2.0}])
    f, db = measure.eq_response({"eq": {"channels": [band, flat]}}, channel=0)
    assert abs(at(f, db, 1000) - 6) < 0.5
    assert abs(at(f, db, 100)) < 0.5 and abs(at(f, db, 12000)) < 0.5
    f, db = measure.eq_response({"eq": {"channels": [band, flat]}}, channel=1)
    assert np.max(np.abs(db[(f > 20) & (f < 20000)])) < 0.1  # the other channel is untouched


def test_soundbar_outputs_follow_the_matrix():
    f, db = measure.soundbar_responses({"lfe": {"copy": False}}, 40, "narrow", in_channel=2)
    audible = (f > 50) & (f < 20000)
    centre = db[audible, 2]
    assert np.ptp(centre) < 0.1  # centre passes through: flat
    assert np.all(db[audible][:, [0, 1, 4, 5]] < -90)  # and reaches nothing else
    f, db = measure.soundbar_responses({"lfe": {"copy": False}}, 40, "narrow", in_channel=0)
    assert np.all(db[audible, 2] < -90)
    assert np.max(np.abs(db[audible, 0] - db[audible, 1])) > 1  # left input: the pair differs


def test_plot_tool_writes_svg_and_loudness_png(tmp_path):
    run(PLOT, "eq", "-o", tmp_path / "eq.svg")
    assert (tmp_path / "eq.svg").read_text().lstrip().startswith("<?xml")
    render("--report-json", tmp_path / "r.json")  # the demo programme
    run(PLOT, "loudness", tmp_path / "r.json", "-o", tmp_path / "l.png")
    assert (tmp_path / "l.png").read_bytes()[:4] == b"\x89PNG"
    assert json.loads((tmp_path / "r.json").read_text())["input"]["seconds"] > 20
