"""hvtralo-render with real files: no run may cost the user a file, cut the input short unsaid, or
need memory in proportion to the input's length."""

import os
import struct
import subprocess

import numpy as np

from conftest import RENDER, render, run


def wav(frames, channels, data=b""):  # a 16-bit WAV at 48 kHz announcing `frames`, holding `data`
    n = frames * channels * 2
    return b"RIFF%sWAVEfmt %sdata%s" % (struct.pack("<I", 36 + n), struct.pack(
        "<IHHIIHH", 16, 1, channels, 48000, 96000 * channels, channels * 2, 16), struct.pack("<I", n)) + data


def test_refusals_leave_every_file_as_it_was(media, tmp_path):
    src, out, short = tmp_path / "in.wav", tmp_path / "out.wav", tmp_path / "short.wav"
    src.write_bytes(media["stereo44.wav"].read_bytes())
    os.symlink(src, tmp_path / "link.wav")
    short.write_bytes(wav(144000, 2, bytes(100000)))
    out.write_bytes(b"an earlier render")
    before = {p.name: p.read_bytes() for p in tmp_path.iterdir()}
    for args, words in [([src, src], "the output is the input file"), ([src, tmp_path / "link.wav"], "the input"),
                        ([src, out, "--save-preset", src], "--save-preset is the input"),
                        ([src, out, "--report-json", src], "--report-json is the input"),
                        ([src, "--save-input", src], "--save-input is the input"),
                        ([src, out, "--report-json", tmp_path / "." / "out.wav"], "named for both the output and"),
                        ([short, out], "truncated: its header announces 3.00 s, it holds 0.52 s"),
                        ([src, "--bogus", out], "--bogus: unknown option"), ([tmp_path, out], "is a folder")]:
        r = render(*args, check=False)
        assert r.returncode in (1, 2) and r.stderr.count("\n") == 1 and words in r.stderr, (args, r.stderr)
        assert {p.name: p.read_bytes() for p in tmp_path.iterdir()} == before, args


def test_truncated_stream_renders_only_when_asked_and_the_name_sets_the_container(media, tmp_path):
    for flags, code, words in ([], 1, b"it holds 0.52 s"), (["--accept-truncated"], 0, b"rendered the 0.52 s"):
        r = subprocess.run([RENDER, "-q", "-", tmp_path / "o.flac"] + flags, input=wav(144000, 2, bytes(100000)),
                           capture_output=True)
        assert r.returncode == code and words in r.stderr, r.stderr
    assert run("soxi", "-s", tmp_path / "o.flac").stdout.strip() == "25000"
    assert run("soxi", "-t", tmp_path / "o.flac").stdout.strip() == "flac" and b"the input is WAV" in r.stdout


def peak_rss_mb(seconds):
    """Peak resident size of a report-only render of `seconds` of 5.1 noise fed through standard input."""
    p = subprocess.Popen(["/usr/bin/time", "-f", "%M", RENDER, "-q", "-"], stdin=subprocess.PIPE,
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    second = np.random.default_rng(1).normal(0, 3000, (48000, 6)).astype("<i2").tobytes()
    p.stdin.write(wav(seconds * 48000, 6))
    for _ in range(seconds):
        p.stdin.write(second)
    p.stdin.close()
    return int(p.stderr.read().split()[-1]) / 1024 if p.wait() == 0 else None


def test_memory_does_not_grow_with_the_length():
    short, long = peak_rss_mb(10), peak_rss_mb(40)
    assert long < 40 and long - short < 1, (short, long)
