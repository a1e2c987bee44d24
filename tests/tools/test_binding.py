"""The Python binding against the renderer."""

import json
import os
import subprocess

import numpy as np

import hvtralofx
from conftest import read16, render, run
from test_render import TUNING


def test_binding_equals_renderer_bit_for_bit(media, tmp_path):
    for name, rate in (("surround48.flac", 48000), ("stereo44.wav", 44100)):
        out = tmp_path / ("out" + media[name].suffix)
        render(media[name], out, *TUNING, "--save-preset", tmp_path / "p.json")
        settings = json.loads((tmp_path / "p.json").read_text())
        y = hvtralofx.process(read16(media[name]), rate, settings)
        np.testing.assert_array_equal(y, read16(out), name)


def test_defaults_match_the_renderer(tmp_path):
    render("--save-preset", tmp_path / "d.json")
    assert json.loads((tmp_path / "d.json").read_text()) == hvtralofx.default_settings()


def test_mono_shape_and_raw_timing():
    x = np.zeros(3000, np.int16)
    x[0] = 10000
    raw = hvtralofx.process(x, 48000, {"autolevel": {"enable": False}, "eq": {"enable": True}}, align=False)
    assert raw.shape == x.shape and np.argmax(np.abs(raw)) == 1024  # equalizer + limiter: a block each


def test_installed_tools(tmp_path):
    prefix = tmp_path / "prefix"
    run("cmake", "--install", os.environ["HVTRALOFX_BUILD_DIR"], "--prefix", prefix)
    assert "hvtralo-render" in run(prefix / "bin" / "hvtralo-render", "--version").stdout
    env = {k: v for k, v in os.environ.items() if not k.startswith("HVTRALOFX")}
    r = subprocess.run([prefix / "bin" / "hvtralo-plot", "lfe", "-o", tmp_path / "lfe.png"], env=env,
                       capture_output=True, text=True)
    assert r.returncode == 0 and (tmp_path / "lfe.png").exists(), r.stderr
    code = "import hvtralofx; print(hvtralofx.library().path)"
    site = next(prefix.glob("lib/python3*/dist-packages"))
    r = subprocess.run(["/usr/bin/python3", "-c", code], env=dict(env, PYTHONPATH=str(site)),
                       capture_output=True, text=True, cwd=tmp_path)
    assert r.stdout.startswith(str(prefix)), r.stdout + r.stderr
