"""Python binding of libhvtralofx's front interface (ctypes, numpy arrays).

The library has one process-wide front record, so this module drives one
stream at a time::

    import numpy as np, hvtralofx
    out = hvtralofx.process(samples, 48000, {"eq": {"enable": True}})

``samples`` is int16, shaped (frames,) for mono or (frames, channels) for
stereo and 5.1; the result has the same shape. Settings use the preset form of
``hvtralo-render --save-preset`` (any subset of it, over the renderer's
defaults). They are checked and handed to the library by the preset core
(libhvtralofx_preset), the same code the renderer uses, so the same settings
give the same output bit for bit, and a preset the renderer refuses raises
ValueError with the renderer's message.

The library is found through, in order: the environment variable
HVTRALOFX_LIBRARY (path of the shared library), HVTRALOFX_BUILD_DIR (a build
tree), the installed prefix this module sits in, the build trees beside this
source tree (build*/, most recently built first) and the system's loader path.
The preset core is taken from beside the library (a build tree keeps it in
preset/).
"""

import copy
import ctypes
import ctypes.util
import glob
import json
import os
import types

import numpy as np

__all__ = ["library", "default_settings", "merge_settings", "complete_settings", "check_settings", "configure",
           "process", "latency", "FIXED_ATTENUATION"]

#: Gain of every sample that does not go to the soundbar: 19661 / 32768.
FIXED_ATTENUATION = 19661 / 32768

_SONAME = "libhvtralofx.so"  # the development link to the current SONAME
_PRESET_SONAME = "libhvtralofx_preset.so"
_HOST_FRAMES = 1024  # frames per HVTralo_Process call, as the renderer
_ENGINE_BLOCK = 512  # the front's engine block (nFrameSize)
_lib = None


def _candidates():
    env = os.environ.get("HVTRALOFX_LIBRARY")
    if env:
        yield env
    build = os.environ.get("HVTRALOFX_BUILD_DIR")
    if build:
        yield os.path.join(build, _SONAME)
    here = os.path.dirname(os.path.abspath(__file__))
    # Installed: <prefix>/lib/python3.X/dist-packages/hvtralofx/__init__.py,
    # the library in <prefix>/lib or a multiarch folder below it.
    up = here
    for _ in range(4):
        up = os.path.dirname(up)
        yield os.path.join(up, _SONAME)
        yield from sorted(glob.glob(os.path.join(up, "*", _SONAME)), key=os.path.getmtime, reverse=True)
    # Source tree: tools/python/hvtralofx -> <repo>/build*/.
    repo = os.path.dirname(os.path.dirname(os.path.dirname(here)))
    builds = glob.glob(os.path.join(repo, "build*", _SONAME))
    yield from sorted(builds, key=os.path.getmtime, reverse=True)
    found = ctypes.util.find_library("hvtralofx")
    if found:
        yield found


_B, _I, _F = ctypes.c_bool, ctypes.c_int, ctypes.c_float
_PI, _PB, _PF = ctypes.POINTER(_I), ctypes.POINTER(_B), ctypes.POINTER(_F)
_PROTOTYPES = {
    "SetEnable": [_B], "GetEnable": [_PB], "Init": [_I, _I], "Release": [],
    "Process": [ctypes.POINTER(ctypes.c_short), _I], "GetLatency": [_PI],
    "DRC_SetEnable": [_B], "DRC_GetEnable": [_PB],
    "AutoLevel_SetEnable": [_B], "AutoLevel_GetEnable": [_PB],
    "AutoLevel_SetParam": [_I] * 4, "AutoLevel_GetParam": [_PI] * 4,
    "AutoLevel_SetVolUpDownRate": [_I] * 2, "AutoLevel_GetVolUpDownRate": [_PI] * 2,
    "Surround_SetEnable": [_B], "Surround_GetEnable": [_PB],
    "EQ_SetEnable": [_B], "EQ_GetEnable": [_PB],
    "EQ_SetBandGain": [_I, _I, _I, _I, _F], "EQ_GetBandGain": [_I, _I, _PI, _PI, _PF],
    "EQ_SetLPFEnable": [_B], "EQ_SetHPFEnable": [_B],
    "EQ_SetLPFBandGain": [_I] * 3, "EQ_GetLPFBandGain": [_I, _PI, _PI],
    "EQ_SetHPFBandGain": [_I] * 3, "EQ_GetHPFBandGain": [_I, _PI, _PI],
    "Soundbar_SetEnable": [_B], "Soundbar_GetEnable": [_PB],
    "Soundbar_SetDistance": [_I], "Soundbar_GetDistance": [_PI],
    "Soundbar_SetAngle": [_I], "Soundbar_GetAngle": [_PI],
    "Soundbar_SetLFECopyEnable": [_B], "Soundbar_GetLFECopyEnable": [_PB],
    "Soundbar_SetLFEFreq": [_I], "Soundbar_GetLFEFreq": [_PI],
    "Soundbar_SetLFEGain": [_I], "Soundbar_GetLFEGain": [_PI],
    "Soundbar_SetLFESVEnable": [_B], "Soundbar_GetLFESVEnable": [_PB],
    "Soundbar_SetLFESVParam": [_I] * 4, "Soundbar_GetLFESVParam": [_PI] * 4,
    "Soundbar_SetLFESVVolUpDownRate": [_I] * 2, "Soundbar_GetLFESVVolUpDownRate": [_PI] * 2,
}


_PRESET_PROTOTYPES = {
    "Check": ([ctypes.c_char_p, _I, _I, ctypes.c_char_p, ctypes.c_size_t], _I),
    "ApplyToFront": ([ctypes.c_char_p, _I, _I, ctypes.c_char_p, ctypes.c_size_t], _I),
    "Complete": ([ctypes.c_char_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.c_char_p, ctypes.c_size_t],
                 ctypes.c_size_t),
}


def _load_preset_core(path):
    """The preset core beside the library at ``path`` (the same file the library's loader finds)."""
    here = os.path.dirname(path)
    for p in (os.path.join(here, _PRESET_SONAME), os.path.join(here, "preset", _PRESET_SONAME)):
        if os.path.exists(p):
            return ctypes.CDLL(p)
    found = ctypes.util.find_library("hvtralofx_preset")
    if found:
        return ctypes.CDLL(found)
    raise OSError("%s not found beside %s" % (_PRESET_SONAME, path))


class _Front:
    """The front interface's functions without their prefix: ``front.EQ_SetEnable(True)``;
    the preset core's as ``front.preset.Check`` etc."""

    def __init__(self, cdll):
        self.path = cdll._name
        for name, args in _PROTOTYPES.items():
            fn = getattr(cdll, "HVTralo_" + name)
            fn.argtypes, fn.restype = args, _I
            setattr(self, name, fn)
        core = _load_preset_core(self.path)
        self.preset = types.SimpleNamespace()
        for name, (args, result) in _PRESET_PROTOTYPES.items():
            fn = getattr(core, "HVTralo_Preset_" + name)
            fn.argtypes, fn.restype = args, result
            setattr(self.preset, name, fn)
        # The initialisation line goes to the Android log, on a desktop to
        # standard error: keep it out of scripts' output.
        try:
            getattr(ctypes.CDLL("liblog.so.0"), "__android_log_set_minimum_priority")(5)  # ANDROID_LOG_WARN
        except (OSError, AttributeError):
            pass


def library():
    """The loaded front interface (loaded on first use). Raises OSError when no library is found."""
    global _lib
    if _lib is None:
        tried = []
        for path in _candidates():
            if os.path.sep in path and not os.path.exists(path):
                tried.append(path)
                continue
            _lib = _Front(ctypes.CDLL(path))
            break
        else:
            raise OSError("libhvtralofx not found; set HVTRALOFX_LIBRARY or HVTRALOFX_BUILD_DIR (tried: %s)"
                          % ", ".join(tried))
    return _lib


def _preset_call(fn, settings, *args):
    """Calls a preset-core function with ``settings`` as JSON; ValueError carries its refusal."""
    message = ctypes.create_string_buffer(512)
    text = None if settings is None else json.dumps(settings).encode()
    result = fn(text, *args, message, len(message))
    if not result:
        raise ValueError(message.value.decode())
    return result


def complete_settings(settings=None):
    """Every setting: ``settings`` (any subset of the preset form) over the defaults, checked by the core."""
    core = library().preset
    size = _preset_call(core.Complete, settings, None, 0)
    out = ctypes.create_string_buffer(size)
    _preset_call(core.Complete, settings, out, size)
    return json.loads(out.value.decode())


def default_settings():
    """The renderer's defaults, in preset form (``hvtralo-render --save-preset`` writes the same)."""
    return complete_settings(None)


def check_settings(settings, rate=0, channels=0):
    """Raises ValueError (the core's one-line message) unless ``settings`` is a valid preset,
    and with ``rate`` and ``channels`` one that stream can run."""
    _preset_call(library().preset.Check, settings, rate, channels)


def merge_settings(base, overrides):
    """``base`` with ``overrides`` laid over it: dicts key by key, lists item by item."""
    out = copy.deepcopy(base)
    if overrides is None:
        return out
    if isinstance(base, dict) and isinstance(overrides, dict):
        for k, v in overrides.items():
            out[k] = merge_settings(base[k], v) if k in base else copy.deepcopy(v)
        return out
    if isinstance(base, list) and isinstance(overrides, list):
        for i, v in enumerate(overrides):
            if i < len(out):
                out[i] = merge_settings(out[i], v)
            else:
                out.append(copy.deepcopy(v))
        return out
    return copy.deepcopy(overrides)


def configure(rate, channels, settings=None):
    """Initialises the front for a stream and hands it every setting, through the preset core.

    Raises ValueError (the core's message) for a preset or stream it refuses. Returns the full
    settings used (defaults merged with ``settings``)."""
    _preset_call(library().preset.ApplyToFront, settings, rate, channels)
    return complete_settings(settings)


def latency():
    """Frames of delay of the configured front (HVTralo_GetLatency)."""
    n = _I()
    if library().GetLatency(ctypes.byref(n)) != 1:
        raise RuntimeError("the front is not initialised")
    return n.value


def process(samples, rate, settings=None, align=True):
    """Runs int16 ``samples`` through the front configured with ``settings``.

    With ``align`` the library's latency is removed and its tail flushed with
    silence, so output sample i belongs to input sample i (as hvtralo-render
    does); without it the output keeps the library's timing."""
    x = np.asarray(samples)
    if x.dtype != np.int16:
        raise TypeError("samples must be int16")
    mono = x.ndim == 1
    x2 = x.reshape(-1, 1) if mono else x
    frames, channels = x2.shape
    configure(rate, channels, settings)
    lag = latency() if align else 0
    # The engine's position within its block outlives a re-initialisation:
    # the stream is padded to whole blocks so that the next one starts afresh,
    # as it does in a new process.
    total = frames + lag + (-(frames + lag)) % _ENGINE_BLOCK
    work = np.zeros((total, channels), dtype=np.int16)
    work[:frames] = x2
    f = library()
    ptr = ctypes.POINTER(ctypes.c_short)
    try:
        for pos in range(0, total, _HOST_FRAMES):
            n = min(_HOST_FRAMES, total - pos)
            block = work[pos:pos + n]  # rows of a C-contiguous array: contiguous
            if f.Process(block.ctypes.data_as(ptr), n) != 1:
                raise RuntimeError("the library refused the block at frame %d" % pos)
    finally:
        f.Release()
    out = work[lag:lag + frames]
    return out.reshape(-1) if mono else np.ascontiguousarray(out)
