"""Shared fixtures: the build tree under test (HVTRALOFX_BUILD_DIR), the
renderer, and audio files made with sox and espeak-ng, which the tools did not
write themselves."""

import os
import subprocess
import sys

import numpy as np
import pytest

TOOLS = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))), "tools")
sys.path.insert(0, os.path.join(TOOLS, "python"))
BUILD = os.path.abspath(os.environ.get("HVTRALOFX_BUILD_DIR", os.path.join(TOOLS, "..", "build-native")))
os.environ["HVTRALOFX_BUILD_DIR"] = BUILD
RENDER = os.path.join(BUILD, "tools", "hvtralo-render")
PLOT = os.path.join(TOOLS, "hvtralo-plot")


def run(*args, check=True):
    r = subprocess.run([str(a) for a in args], capture_output=True, text=True)
    if check and r.returncode != 0:
        raise AssertionError("%s failed (%d): %s" % (args[0], r.returncode, r.stderr))
    return r


def render(*args, check=True):
    return run(RENDER, "-q", *args, check=check)


def read16(path):
    """Samples as int16 (frames, channels), through sox without dither."""
    channels = int(run("soxi", "-c", path).stdout)
    raw = subprocess.run(["sox", "-D", str(path), "-t", "raw", "-e", "signed", "-b", "16", "-L", "-"],
                         capture_output=True, check=True).stdout
    return np.frombuffer(raw, dtype="<i2").reshape(-1, channels)


@pytest.fixture(scope="session")
def media(tmp_path_factory):
    """name -> path: stereo 44.1 kHz WAV (16 bit, and as floats), 5.1 48 kHz FLAC (16 bit), speech 48 kHz
    stereo WAV (24 bit)."""
    d = tmp_path_factory.mktemp("media")
    files = {"stereo44.wav": d / "stereo44.wav", "surround48.flac": d / "surround48.flac",
             "speech48_24.wav": d / "speech48_24.wav"}
    run("sox", "-n", "-r", "44100", "-c", "2", "-b", "16", files["stereo44.wav"], "synth", "4",
        "pinknoise", "sine", "440", "gain", "-12", "tremolo", "2", "80")
    files["stereo44_float.wav"] = d / "stereo44_float.wav"  # the same samples as 32-bit floats
    run("sox", files["stereo44.wav"], "-e", "floating-point", "-b", "32", files["stereo44_float.wav"])
    run("sox", "-n", "-r", "48000", "-c", "6", "-b", "16", files["surround48.flac"], "synth", "3",
        "sine", "100", "sine", "1000", "pinknoise", "sine", "60", "whitenoise", "sine", "3000", "gain", "-14")
    voice = d / "voice.wav"
    run("espeak-ng", "-w", voice, "Tuning a device: render, look, change the preset and render again.")
    run("sox", voice, "-r", "48000", "-c", "2", "-b", "24", files["speech48_24.wav"])
    return files
