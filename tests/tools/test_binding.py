"""The Python binding against the renderer."""

import json
import os
import shutil
import subprocess

import numpy as np

import hvtralofx
from conftest import TOOLS, read16, render, run
from test_render import TUNING


def test_binding_equals_renderer_bit_for_bit(media, tmp_path):
    for name, rate in (("surround48.flac", 48000), ("stereo44.wav", 44100)):
        out = tmp_path / ("out" + media[name].suffix)
        render(media[name], out, *TUNING, "--save-preset", tmp_path / "p.json")
        settings = json.loads((tmp_path / "p.json").read_text())
        y = hvtralofx.process(read16(media[name]), rate, settings)
        np.testing.assert_array_equal(y, read16(out), name)


def test_mono_shape_and_raw_timing():
    x = np.zeros(3000, np.int16)
    x[0] = 10000
    raw = hvtralofx.process(x, 48000, {"autolevel": {"enable": False}, "eq": {"enable": True}}, align=False)
    assert raw.shape == x.shape and np.argmax(np.abs(raw)) == 1024  # equalizer + limiter: a block each


def test_defaults_match_the_renderer(tmp_path):
    render("--save-preset", tmp_path / "d.json")
    assert json.loads((tmp_path / "d.json").read_text()) == hvtralofx.default_settings()


def test_installed_tools(tmp_path):
    prefix = tmp_path / "prefix"
    run("cmake", "--install", os.environ["HVTRALOFX_BUILD_DIR"], "--prefix", prefix)
    assert "hvtralo-render" in run(prefix / "bin" / "hvtralo-render", "--version").stdout
    env = {k: v for k, v in os.environ.items() if not k.startswith("HVTRALOFX")}
    r = subprocess.run([prefix / "bin" / "hvtralo-plot", "lfe", "-o", tmp_path / "lfe.png"], env=env,
                       capture_output=True, text=True)
    assert r.returncode == 0 and (tmp_path / "lfe.png").exists(), r.stderr
    # The package installed by pip finds the installed libraries through HVTRALOFX_LIBRARY.
    source = shutil.copytree(os.path.join(TOOLS, "python"), tmp_path / "src", ignore=shutil.ignore_patterns("*cache*"))
    run("/usr/bin/python3", "-m", "pip", "install", "-q", "--no-build-isolation", "--no-deps", "--target",
        tmp_path / "pip", source)
    code = "import hvtralofx, importlib.metadata as m; print(hvtralofx.library().path)"
    version = run(prefix / "bin" / "hvtralo-render", "--version").stdout.split()[-1]
    for site, lib in ((next(prefix.glob("lib/python3*/dist-packages")), {}),
                      (tmp_path / "pip", {"HVTRALOFX_LIBRARY": str(next(prefix.glob("lib*/libhvtralofx.so")))})):
        r = subprocess.run(["/usr/bin/python3", "-c", code + ("; print(m.version('hvtralofx'))" if lib else "")],
                           env=dict(env, PYTHONPATH=str(site), **lib), capture_output=True, text=True, cwd=tmp_path)
        assert r.stdout.startswith(str(prefix)) and (not lib or r.stdout.split()[-1] == version), r.stdout + r.stderr
