"""Formats one run of bench/run_performance.sh as the performance table of
docs/performance.md: every figure beside its goal, ratios taken within the run.

    performance_table.py RESULTS_DIR LOAD_AFTER [--update-docs]
"""
import json
import pathlib
import re
import sys

results = pathlib.Path(sys.argv[1])
load_after = sys.argv[2]
update_docs = "--update-docs" in sys.argv[3:]


def medians(program):
    """cpu_time in ns of each benchmark's median, by run name."""
    data = json.loads((results / f"{program}.json").read_text())
    found = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name") == "median":
            scale = {"ns": 1.0, "us": 1e3, "ms": 1e6}[b["time_unit"]]
            found[b["run_name"]] = b["cpu_time"] * scale
    return found, data["context"]


chain, context = medians("bench_chain")
eq, _ = medians("bench_equalizer")
lev, _ = medians("bench_leveller")
fir, _ = medians("bench_fir_filtfilt")
fft, _ = medians("bench_fft")

counts = {}
for line in (results / "counts.tsv").read_text().splitlines():
    arch, layout, what, value = line.split("\t")
    counts[(arch, layout, what)] = float(value)
heap = int((results / "heap.txt").read_text().split()[0])
sizes = dict(line.split() for line in (results / "size.txt").read_text().splitlines())

BLOCK = 512
STAGES = {0: "soundbar", 1: "lfe_bandpass", 2: "lfe_leveller", 3: "leveller", 4: "equalizer", 5: "limiter"}
STAGE_TEXT = {"soundbar": "soundbar virtualizer", "lfe_bandpass": "LFE band-pass", "lfe_leveller": "LFE leveller",
              "leveller": "leveller", "equalizer": "equalizer (per channel: 8 bands + 2 shelves)",
              "limiter": "limiter"}
ORDER = ["soundbar", "leveller", "lfe_bandpass", "lfe_leveller", "equalizer", "limiter"]


def mark(ok):
    return "met" if ok else "**missed**"


rows = []
chain_rows = []
for channels, layout, goal in ((6, "5.1", 250), (2, "stereo", 800)):
    whole = chain[f"BM_Chain/channels:{channels}"] / BLOCK
    times = 1e9 / 48000 / whole
    rows.append((f"{layout} chain, every stage on, 48 kHz, 512-frame calls",
                 f"{whole:.1f} ns/frame = {times:.0f}x real time", f">= {goal}x", mark(times >= goal)))
    stage_sum = 0.0
    x86_sum = arm_sum = 0.0
    for name in ORDER:
        key = next((f"BM_Stage/channels:{channels}/stage:{k}" for k, v in STAGES.items() if v == name), None)
        if key not in chain:
            continue
        t = chain[key] / BLOCK
        stage_sum += t
        cx, ca = counts[("x86-64", layout, name)], counts[("arm64", layout, name)]
        x86_sum += cx
        arm_sum += ca
        chain_rows.append((layout, STAGE_TEXT[name], f"{t:.1f}", f"{cx:.0f}", f"{ca:.0f}"))
    cx, ca = counts[("x86-64", layout, "chain")], counts[("arm64", layout, "chain")]
    chain_rows.append((layout, "between the stages (gathering, conversions, copies)", f"{whole - stage_sum:.1f}",
                       f"{cx - x86_sum:.0f}", f"{ca - arm_sum:.0f}"))
    chain_rows.append((layout, "**whole chain**", f"**{whole:.1f}**", f"**{cx:.0f}**", f"**{ca:.0f}**"))

eq_ns = eq["BM_EQProcess_8Bands2Shelves"] / BLOCK
float_ns = eq["BM_FloatBiquadCascade10"] / BLOCK
rows.append(("equalizer 8 bands + 2 shelves / float 10-section biquad cascade",
             f"{eq_ns:.2f} / {float_ns:.2f} ns per sample = {eq_ns / float_ns:.2f}", "<= 0.25",
             mark(eq_ns / float_ns <= 0.25)))
if "BM_WebRtcAgcAdaptiveDigital" in lev:
    lev_ns = lev["BM_LevellerFrame/channels:2"] / (256 * 2)
    webrtc_ns = lev["BM_WebRtcAgcAdaptiveDigital"] / (480 * 2)
    rows.append(("leveller / WebRTC gain control (adaptive digital), stereo, per channel sample",
                 f"{lev_ns:.2f} / {webrtc_ns:.1f} ns = {lev_ns / webrtc_ns:.3f}", "<= 0.10",
                 mark(lev_ns / webrtc_ns <= 0.10)))
fir_v = fir["FIR257/kernel32/vector"] / BLOCK
fir_p = fir["FIR257/kernel32/portable"] / BLOCK
rows.append(("257-tap FIR, 32-bit: vector kernel / portable loop",
             f"{fir_v:.2f} / {fir_p:.1f} ns per sample = {fir_p / fir_v:.1f}x faster", ">= 8x",
             mark(fir_p / fir_v >= 8)))
fx = fft["BM_RealFFT_Fix/1024"]
if "BM_KissFftr_Forward/1024" in fft:
    kiss = fft["BM_KissFftr_Forward/1024"]
    rows.append(("1024-point forward real FFT / kissfft (float)", f"{fx:.0f} / {kiss:.0f} ns = {fx / kiss:.2f}",
                 "< 1", mark(fx < kiss)))
if "BM_Fftwf_R2C/1024" in fft:
    fftw = fft["BM_Fftwf_R2C/1024"]
    rows.append(("1024-point forward real FFT / FFTW (float)", f"{fx:.0f} / {fftw:.0f} ns = {fx / fftw:.2f}",
                 "<= 4", mark(fx / fftw <= 4)))
fir_arm = counts[("arm64", "fir257", "-")]
rows.append(("arm64: 257-tap FIR instructions per output sample (x86-64: "
             f"{counts[('x86-64', 'fir257', '-')]:.0f})", f"{fir_arm:.0f}", "<= 300", mark(fir_arm <= 300)))
arm51, x8651 = counts[("arm64", "5.1", "chain")], counts[("x86-64", "5.1", "chain")]
rows.append(("arm64: 5.1 chain instructions per frame / x86-64", f"{arm51:.0f} / {x8651:.0f} = {arm51 / x8651:.2f}",
             "<= 1.5", mark(arm51 / x8651 <= 1.5)))
static = int(sizes.get(".data", 0)) + int(sizes.get(".data.rel.ro", 0)) + int(sizes.get(".bss", 0))
rows.append(("memory: heap held after HVTralo_Init(48000, 6)", f"{heap / 1024:.0f} KiB", "reported", ""))
rows.append(("memory: static data (.data + .data.rel.ro + .bss) / constant tables (.rodata)",
             f"{static / 1024:.1f} KiB / {int(sizes.get('.rodata', 0)) / 1024:.1f} KiB", "reported", ""))
rows.append(("code size (.text of the shared library)", f"{int(sizes.get('.text', 0)) / 1024:.0f} KiB", "reported",
             ""))

lines = [
    f"Measured in one run of `bench/run_performance.sh` on {context['num_cpus']} x86-64 cores at "
    f"{context['mhz_per_cpu']} MHz (load average {context['load_avg'][0]:.1f} before the benchmarks, "
    f"{load_after.split()[0]} after; cpu time, median of 3 repetitions); instruction counts are exact "
    "(valgrind's callgrind on x86-64, qemu-aarch64's execution log on arm64).",
    "",
    "| figure | measured | goal | |",
    "|---|---|---|---|",
]
lines += [f"| {a} | {b} | {c} | {d} |" for a, b, c, d in rows]
lines += [
    "",
    "Where a block's time goes (each stage alone on one block in the chain's configuration; the engine's share "
    "is the chain less the stages):",
    "",
    "| layout | stage | ns per frame | instructions per frame, x86-64 | arm64 |",
    "|---|---|---|---|---|",
]
lines += [f"| {a} | {b} | {c} | {d} | {e} |" for a, b, c, d, e in chain_rows]
table = "\n".join(lines)
print(table)

if update_docs:
    doc = pathlib.Path("docs/performance.md")
    text = doc.read_text()
    begin, end = "<!-- performance table: begin -->", "<!-- performance table: end -->"
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.S)
    if not pattern.search(text):
        sys.exit("docs/performance.md has no performance table markers")
    doc.write_text(pattern.sub(lambda _: f"{begin}\n{table}\n{end}", text))
