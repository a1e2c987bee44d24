"""One preset core behind the renderer, the binding and the plots: the same refusals, word for word."""

import ctypes
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


def test_every_setting_reaches_the_library():
    lev = {"enable": False, "mode": "flat", "base_db": -3}
    last = {"low_shelf": {"gain_db": -7, "freq_hz": 300}, "high_shelf": {"gain_db": 5, "freq_hz": 9000},
            "bands": [{}] * 7 + [{"gain_db": 3, "freq_hz": 7000, "q": 1.5}]}
    hvtralofx.configure(48000, 6, {
        "master": False, "limiter": False, "surround": True, "eq": {"enable": True, "channels": [{}] * 5 + [last]},
        "autolevel": dict(lev, relative_volume_pct=40, station_ms=7000, up_db_per_s=4, down_db_per_s=12),
        "soundbar": {"enable": "off", "distance_cm": 30, "width": "narrow"}, "lfe": {"copy": False, "freq_hz": 120,
        "gain_db": -3, "autolevel": dict(lev, relative_volume_pct=20, station_ms=9000, up_db_per_s=5,
                                         down_db_per_s=7)}})
    f = hvtralofx.library()

    def get(name, *args, types="i"):
        v = [{"i": ctypes.c_int, "b": ctypes.c_bool, "f": ctypes.c_float}[t]() for t in types]
        assert getattr(f, name)(*args, *map(ctypes.byref, v)) == 1, name
        return [x.value for x in v]
    assert [get(n + "GetEnable", types="b")[0] for n in ("", "DRC_", "Surround_", "AutoLevel_", "EQ_", "Soundbar_")] \
        + get("Soundbar_GetLFECopyEnable", types="b") + get("Soundbar_GetLFESVEnable", types="b") == [
        False, False, True, False, True, False, False, False]
    assert get("AutoLevel_GetParam", types="iiii") + get("AutoLevel_GetVolUpDownRate", types="ii") == [
        0, 40, 7000, 1, 4, 12]
    assert get("Soundbar_GetLFESVParam", types="iiii") + get("Soundbar_GetLFESVVolUpDownRate", types="ii") == [
        0, 20, 9000, 1, 5, 7]
    assert [get("Soundbar_Get" + n)[0] for n in ("Distance", "Angle", "LFEFreq", "LFEGain")] == [30, 2, 120, -3]
    assert get("EQ_GetLPFBandGain", 5, types="ii") + get("EQ_GetHPFBandGain", 5, types="ii") == [-7, 300, 5, 9000]
    assert get("EQ_GetBandGain", 5, 7, types="iif") == [3, 7000, 1.5]
    f.Release()
