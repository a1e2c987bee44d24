"""One preset core behind the renderer, the binding and the plots: the same refusals, word for word."""

import json

import numpy as np
import pytest

import hvtralofx
from conftest import PLOT, render, run


def test_every_tool_refuses_a_bad_preset_with_the_same_line(media, tmp_path):
    path = tmp_path / "p.json"
    for preset, line in [  # the core's one line; the plots measure the equalizer with the soundbar off
            ({"eqq": 1}, "eqq: unknown key"),
            ({"autolevel": {"relative_volume_pct": 250}}, "autolevel.relative_volume_pct: 250 is out of range"),
            ({"eq": {"enable": "yes"}}, 'eq.enable: expected true or false, not "yes"'),
            ({"eq": {"channels": [{"bands": [{}, {}, {}, {"gain_db": 25}]}]}},
             "eq.channels[0].bands[3].gain_db: 25 is out of range (-20 ... 20)"),
            ({"soundbar": {"distance_cm": 45}}, "soundbar.distance_cm: 45 cm is not one of 30, 40, 50, 60, 70 cm"),
            ({"soundbar": {"enable": "on"}}, 'soundbar.enable: "on" needs 5.1 (6 channels) at 44.1 or 48 kHz')]:
        path.write_text(json.dumps(preset))
        with pytest.raises(ValueError) as e:
            hvtralofx.process(np.zeros((10, 2), np.int16), 44100, preset)
        assert str(e.value).startswith(line)
        for r in [render(media["stereo44.wav"], "--preset", path, check=False)] + (
                [] if "5.1" in line else [run(PLOT, "eq", "--preset", path, "-o", tmp_path / "eq.png", check=False)]):
            assert r.returncode == 2 and r.stderr.count("\n") == 1 and line in r.stderr, r.stderr
    with pytest.raises(ValueError, match="96000 Hz is not supported"):
        hvtralofx.process(np.zeros((10, 2), np.int16), 96000)
