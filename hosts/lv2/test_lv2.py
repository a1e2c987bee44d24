"""The LV2 bundle as hosts drive it: lv2apply against the renderer, and a
minimal host (ctypes) for latency, bypass, block sizes and odd rates."""
import ctypes as C
import os
import subprocess

import numpy as np
import pytest
import scipy.io.wavfile as wav

pytestmark = pytest.mark.filterwarnings("ignore:Chunk")  # lv2apply writes a PEAK chunk
BUNDLE = os.environ["HVFX_LV2_BUNDLE"]
STEREO, SURROUND = "urn:hvtralofx:lv2:stereo", "urn:hvtralofx:lv2:surround51"


class Feature(C.Structure):
    _fields_ = [("URI", C.c_char_p), ("data", C.c_void_p)]


WORK = C.CFUNCTYPE(C.c_int, C.c_void_p, C.c_void_p, C.c_void_p, C.c_uint32, C.c_void_p)


class Worker(C.Structure):
    _fields_ = [("work", WORK), ("work_response", C.c_void_p), ("end_run", C.c_void_p)]


SCHEDULE = C.CFUNCTYPE(C.c_int, C.c_void_p, C.c_uint32, C.c_void_p)


class Schedule(C.Structure):
    _fields_ = [("handle", C.c_void_p), ("schedule_work", SCHEDULE)]


class Descriptor(C.Structure):
    _fields_ = [("URI", C.c_char_p),
                ("instantiate", C.CFUNCTYPE(C.c_void_p, C.c_void_p, C.c_double, C.c_char_p, C.c_void_p)),
                ("connect_port", C.CFUNCTYPE(None, C.c_void_p, C.c_uint32, C.c_void_p)),
                ("activate", C.CFUNCTYPE(None, C.c_void_p)),
                ("run", C.CFUNCTYPE(None, C.c_void_p, C.c_uint32)),
                ("deactivate", C.c_void_p), ("cleanup", C.CFUNCTYPE(None, C.c_void_p)),
                ("extension_data", C.CFUNCTYPE(C.c_void_p, C.c_char_p))]


def ports(uri):
    """(symbol, default) of every port in index order, from the bundle's Turtle."""
    text = open(os.path.join(BUNDLE, "stereo.ttl" if uri == STEREO else "surround51.ttl")).read()
    return [(part.split('"')[1], float(part.split("lv2:default ")[1].split(" ")[0]) if "lv2:default" in part else 0.0)
            for part in text.split("lv2:symbol ")[1:]]


class Host:
    """One plugin instance, every port connected; controls start at their
    defaults. With `worker`, the host offers a worker that does the work at
    once, as offline hosts do."""

    def __init__(self, uri, rate=48000, worker=False, **controls):
        lib = C.CDLL(os.path.join(BUNDLE, "hvtralofx_lv2.so"))
        lib.lv2_descriptor.restype = C.POINTER(Descriptor)
        self.d = next(lib.lv2_descriptor(i).contents for i in range(2) if lib.lv2_descriptor(i).contents.URI.decode() == uri)
        features = (C.POINTER(Feature) * 2)()
        if worker:
            iface = Worker.from_address(self.d.extension_data(b"http://lv2plug.in/ns/ext/worker#interface"))
            self.schedule = Schedule(None, SCHEDULE(
                lambda _, size, data: iface.work(self.h, None, None, size, data)))
            self.feature = Feature(b"http://lv2plug.in/ns/ext/worker#schedule", C.addressof(self.schedule))
            features[0] = C.pointer(self.feature)
        self.h = self.d.instantiate(C.byref(self.d), rate, BUNDLE.encode(), features)
        assert self.h
        self.ch = 2 if uri == STEREO else 6
        control = ports(uri)[2 * self.ch:]
        self.ports = {s: np.array([controls.get(s, default)], np.float32) for s, default in control}
        for i, (s, _) in enumerate(control):
            self.d.connect_port(self.h, 2 * self.ch + i, self.ports[s].ctypes.data)
        self.d.activate(self.h)

    def run(self, x, block=4096):
        y = np.zeros_like(x)
        for s in range(0, len(x), block):
            xi = [np.ascontiguousarray(x[s:s + block, c]) for c in range(self.ch)]
            yi = [np.zeros_like(v) for v in xi]
            for c in range(self.ch):
                self.d.connect_port(self.h, c, xi[c].ctypes.data)
                self.d.connect_port(self.h, self.ch + c, yi[c].ctypes.data)
            self.d.run(self.h, len(xi[0]))
            y[s:s + block] = np.stack(yi, 1)
        return y

    def latency(self):
        self.run(np.zeros((1, self.ch), np.float32))
        return int(self.ports["latency"][0])

    def __del__(self):
        if getattr(self, "h", None):
            self.d.cleanup(self.h)


def programme(channels, seconds=2.0, rate=48000):
    """Tones and noise on every channel, on the 16-bit grid."""
    t = np.arange(int(seconds * rate)) / rate
    rng = np.random.default_rng(7)
    x = np.stack([0.3 * np.sin(2 * np.pi * (220 * (c + 1)) * t) + 0.05 * rng.standard_normal(t.size)
                  for c in range(channels)], 1)
    return (np.round(x * 32768) / 32768).astype(np.float32)


def test_lv2apply_equals_renderer(tmp_path):
    # Every stage on but the surround shift: there the smooth mode of the
    # plugin's instance and the renderer's defined mode give the same samples,
    # the plugin's held back by its fixed latency.
    x = programme(2, 3.0)
    wav.write(tmp_path / "in.wav", 48000, x)
    wav.write(tmp_path / "in16.wav", 48000, np.round(x * 32768).astype(np.int16))
    env = dict(os.environ, LV2_PATH=os.path.dirname(BUNDLE))
    subprocess.run(["lv2apply", "-i", tmp_path / "in.wav", "-o", tmp_path / "lv2.wav", "-c", "eq", "1",
                    "-c", "ch0_band3_gain", "-6", "-c", "ch1_high_shelf_gain", "4", "-c", "autolevel_volume", "60",
                    "-c", "autolevel_up", "9", STEREO], check=True, env=env, capture_output=True)
    subprocess.run([os.environ["HVFX_RENDER"], "--quiet", "--eq", "on", "--eq-band", "0:3:-6:1000:2",
                    "--high-shelf", "1:4:8000", "--autolevel-volume", "60", "--autolevel-up", "9",
                    tmp_path / "in16.wav", tmp_path / "ref.wav"], check=True, capture_output=True)
    latency = Host(STEREO).latency()
    assert latency == 1792
    out = wav.read(tmp_path / "lv2.wav")[1] * 32768.0  # lv2apply's float WAV
    ref = wav.read(tmp_path / "ref.wav")[1]
    assert np.array_equal(out[:latency], np.zeros((latency, 2)))
    assert np.array_equal(out[latency:], ref[:len(ref) - latency])


@pytest.mark.parametrize("uri, latency", [(STEREO, 1792), (SURROUND, 2175)])
def test_latency_constant_and_bypass_click_free(uri, latency):
    host = Host(uri, surround=1)
    x = programme(host.ch)
    wet = Host(uri, surround=1).run(x)
    dry = np.concatenate([np.zeros((latency, host.ch), np.float32), x[:len(x) - latency]])
    y = host.run(x[:48000])
    host.ports["enabled"][0] = 0
    y = np.concatenate([y, host.run(x[48000:])])
    assert host.latency() == latency
    # The switch fades: a quarter of the way after 128 samples, then the
    # input held back by the reported latency, to the sample.
    fade = slice(48000, 48128)
    assert np.abs(y[fade] - wet[fade]).max() <= 0.3 * np.abs(dry[fade] - wet[fade]).max()
    assert np.array_equal(y[48512:], dry[48512:])


def test_any_block_size_with_or_without_worker():
    # A setting changed at sample 7400, which every block size here divides.
    x = programme(6, 0.5)

    def render(block, worker):
        host = Host(SURROUND, worker=worker, eq=1, ch0_band2_gain=5)
        y = host.run(x[:7400], block)
        host.ports["ch1_low_shelf_gain"][0] = 6
        return np.concatenate([y, host.run(x[7400:], block)])
    whole = render(7400, False)
    assert not np.array_equal(whole, Host(SURROUND, eq=1, ch0_band2_gain=5).run(x))
    for block in (1, 37, 100):
        assert np.array_equal(render(block, True), whole)


def test_surround_starts_without_a_fade():
    # The soundbar takes its settings before the engine starts: no fade
    # through silence after the first frames (the LFE row has its leveller's rise).
    y = Host(SURROUND).run(programme(6, 1.0))[:, [0, 1, 2, 4, 5]]
    rms = lambda part: np.sqrt((y[part] ** 2).mean(0))
    assert (rms(slice(2675, 4675)) > 0.8 * rms(slice(20000, 40000))).all()


@pytest.mark.parametrize("rate", [96000, 12345.5])
def test_unsupported_rate_passes_audio_through(rate):
    host = Host(STEREO, rate)
    x = programme(2, 0.1)
    assert np.array_equal(host.run(x, 100), x)
    assert host.latency() == 0
