#!/usr/bin/env python3
"""Makes the published numbers, table and picture from a run of ulmaro_bench. See scripts/bench.sh.

report.py summarise RAW.json OUT.json   medians of the program's own output
report.py render OUT.json               OUT.md and OUT.svg from them, without running anything
"""

import json
import pathlib
import platform
import re
import statistics
import sys

import operations

# The bars of the picture: case, label.
BARS = [
    ("sm2-sign", "SM2 sign"),
    ("sm2-verify", "SM2 verify"),
    ("sm2-key-pair", "SM2 key pair"),
    ("sm2-encrypt/32B", "SM2 encrypt 32 B"),
    ("sm2-decrypt/32B", "SM2 decrypt 32 B"),
    ("sm2-encrypt/64KiB", "SM2 encrypt 64 KiB"),
    ("sm2-decrypt/64KiB", "SM2 decrypt 64 KiB"),
    ("sm2-custom-sign", "sign, custom curve"),
    ("sm2-custom-verify", "verify, custom curve"),
    ("kdf/64KiB", "key derivation 64 KiB"),
    ("sm3/64B", "SM3 64 B"),
    ("sm3/64KiB", "SM3 64 KiB"),
    ("sm4-ecb-encrypt/16KiB", "SM4 ECB encrypt 16 KiB"),
    ("sm4-cbc-encrypt/16KiB", "SM4 CBC encrypt 16 KiB"),
    ("sm4-cbc-decrypt/16KiB", "SM4 CBC decrypt 16 KiB"),
]
YARDSTICK = "openssl-p256"


def processor():
    text = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    model = re.search(r"^model name\s*:\s*(.*)$", text, re.MULTILINE)
    return model.group(1) if model else platform.machine()


def summarise(raw_file, out_file):
    raw = json.loads(pathlib.Path(raw_file).read_text(encoding="utf-8"))
    context = raw["context"]
    named = lambda prefix: {key.removeprefix(prefix): value for key, value in context.items() if key.startswith(prefix)}
    times = {}
    for run in raw["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            case, _, implementation = run["run_name"].rpartition("/")
            nanoseconds = run["cpu_time"] * {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
            times.setdefault(case, {}).setdefault(implementation, []).append(nanoseconds)

    def figures(values):
        middle = statistics.median(values)
        spread = statistics.median(abs(value - middle) for value in values)  # half of the values lie within
        rounded = float(f"{middle:.4g}")
        return {"ns": int(rounded) if rounded.is_integer() else rounded, "spread": round(spread / middle, 3)}

    summary = {
        "machine": {"processor": processor(), "threads": context["num_cpus"],
                    "system": f"{platform.system()} {platform.machine()}"},
        "compiler": context["compiler"],
        "kernels": named("kernel "),
        "peers": named("peer "),
        "repetitions": max(len(values) for case in times.values() for values in case.values()),
        "cases": {case: {name: figures(values) for name, values in sorted(times[case].items())}
                  for case in sorted(times, key=operations.place)},
    }
    # One case per line.
    text = json.dumps(summary, indent=2)
    text = re.sub(r'\{\s+"ns": ([^,]+),\s+"spread": ([^\s]+)\s+\}', r'{"ns": \1, "spread": \2}', text)
    pathlib.Path(out_file).write_text(text + "\n", encoding="utf-8")


def medians(summary):
    return {case: {name: figures["ns"] for name, figures in by_name.items()}
            for case, by_name in summary["cases"].items()}


def own_text(case, nanoseconds):
    size = operations.split(case)[1]
    for limit, unit, scale in ((1e3, "ns", 1), (1e6, "µs", 1e3), (1e9, "ms", 1e6), (1e99, "s", 1e9)):
        if nanoseconds < limit:
            break
    time = f"{nanoseconds / scale:.3g} {unit}"
    if size is None or case.startswith("sm2"):
        return time
    return f"{time}, {operations.bytes_of(size) / nanoseconds * 1e3:.0f} MB/s"


def kernel_table(cases):
    """Each kernel beside the portable code: a row is a kernel and an operation, a column a size."""
    rows = {}
    for case, cost in cases.items():
        if case.startswith("kernel-"):
            kernel, operation, *size = case.removeprefix("kernel-").split("/")
            rows.setdefault((kernel, operation), {})[size[0] if size else ""] = cost["portable"] / cost["ulmaro"]
    if not rows:
        return []
    sizes = sorted({size for row in rows.values() for size in row}, key=lambda size: operations.bytes_of(size) if size else 0)
    lines = ["", "### Every kernel this processor runs, beside the portable code", "",
             "| Kernel | Operation | " + " | ".join(operations.size_text(size) or "one call" for size in sizes) + " |",
             "|---|---|" + "---:|" * len(sizes)]
    for (kernel, operation), row in rows.items():
        unit, name = re.fullmatch(r"(.+?)-((?:x86|arm)-.+)", kernel).groups()  # both may contain hyphens
        cells = [f"{unit.upper() if unit.startswith('sm') else unit.replace('-', ' ')} {name}", operation.replace("-", " ")]
        cells += [operations.ratio_text(row[size]) if size in row else "" for size in sizes]
        lines.append("| " + " | ".join(cells) + " |")
    return lines


def table(summary, name):
    machine = summary["machine"]
    kernels = ", ".join(f"{unit} {kernel}" for unit, kernel in summary["kernels"].items())
    lines = ["# Speed beside other libraries", "",
             f"Processor: {machine['processor']}, {machine['threads']} threads, {machine['system']}. "
             f"Compiler: {summary['compiler']}. Kernels in use: {kernels}. "
             f"Peers: {operations.peers_text(summary['peers'])}; the year is that in which the series began.", "",
             f"![How many times as fast as the fastest peer]({name}.svg)", "",
             "Each column of a peer is its time divided by ours: above 1 we are faster. Medians of "
             f"{summary['repetitions']} repetitions of every case in one process, in random order, CPU time; every "
             "result is checked before it is timed. " + operations.NOTE_ON_PEERS + " " +
             operations.constant_time_text(summary["peers"]), "",
             f"Numbers: [{name}.json]({name}.json). Made by `scripts/bench.sh`, which also measures newer peers. "
             "The newest releases of all are in [newest.md](newest.md)."]
    cases = medians(summary)
    lines += operations.tables(cases, summary["peers"], "This library", own_text) + kernel_table(cases)
    return "\n".join(lines) + "\n"


def picture(summary, out_file):
    import matplotlib
    matplotlib.use("svg")
    import matplotlib.pyplot as plt
    plt.rcParams.update({"svg.hashsalt": "ulmaro", "svg.fonttype": "path", "font.family": "DejaVu Sans",
                         "font.size": 9})
    cases = medians(summary)
    bars = []
    for case, label in BARS:
        cost = cases.get(case, {})
        peers = {name: value for name, value in cost.items() if name not in ("ulmaro", YARDSTICK)}
        if "ulmaro" in cost and peers:
            best = min(peers, key=peers.get)
            yardstick = cost[YARDSTICK] / cost["ulmaro"] if YARDSTICK in cost else None
            bars.append((label, best, peers[best] / cost["ulmaro"], yardstick))
    if not bars:
        return
    figure, axes = plt.subplots(figsize=(8.4, 0.6 + 0.27 * len(bars) + 0.5))
    places = range(len(bars), 0, -1)
    ratios = [bar[2] for bar in bars]
    axes.barh(places, [ratio - 1 for ratio in ratios], left=1, height=0.62, color=["#2f6f9f" if r >= 1 else "#b0b7bd" for r in ratios], zorder=2,
              label="fastest other library, same algorithm")
    marks = [(bar[3], place) for bar, place in zip(bars, places) if bar[3] is not None]
    if marks:
        axes.scatter(*zip(*marks), marker="D", s=26, color="#d9822b", edgecolors="white", linewidths=0.8, zorder=4,
                     label=operations.PEERS[YARDSTICK] + " (hand-written assembly)")
    low = min(ratios + [mark[0] for mark in marks])
    axes.set_xscale("log")
    axes.set_xlim(min(0.5, low * 0.8), max(max(ratios) * 2.2, 4))
    for (_, best, ratio, _), place in zip(bars, places):
        axes.annotate(f"{operations.ratio_text(ratio)}× {operations.PEERS[best]}", (max(ratio, 1), place),
                      xytext=(6, 0), textcoords="offset points", va="center", fontsize=8, color="#333333", zorder=5,
                      bbox={"boxstyle": "square,pad=0.1", "facecolor": "white", "edgecolor": "none", "alpha": 0.8})
    axes.axvline(1, color="#444444", linewidth=1, zorder=3)
    ticks = [t for t in (0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200) if axes.get_xlim()[0] <= t <= axes.get_xlim()[1]]
    axes.set_xticks(ticks, [f"{t:g}×" for t in ticks])
    axes.minorticks_off()
    axes.grid(axis="x", color="#dddddd", linewidth=0.6, zorder=0)
    axes.set_yticks(list(places), [bar[0] for bar in bars])
    axes.tick_params(axis="y", length=0)
    for side in ("top", "right", "left"):
        axes.spines[side].set_visible(False)
    axes.set_title("How many times as fast as others on the same machine", loc="left", fontsize=10, fontweight="bold",
                   pad=20)
    axes.annotate(operations.peers_text(summary["peers"]) + ": the year of the series", (0, 1), xytext=(0, 6),
                  xycoords="axes fraction", textcoords="offset points", fontsize=8, color="#333333")
    axes.legend(loc="upper right", bbox_to_anchor=(1, -0.06), ncol=2, frameon=False, fontsize=8, columnspacing=2)
    figure.tight_layout()
    figure.savefig(out_file, metadata={"Date": None, "Creator": None})


def render(summary_file):
    path = pathlib.Path(summary_file)
    summary = json.loads(path.read_text(encoding="utf-8"))
    path.with_suffix(".md").write_text(table(summary, path.stem), encoding="utf-8")
    picture(summary, path.with_suffix(".svg"))


if len(sys.argv) == 4 and sys.argv[1] == "summarise":
    summarise(sys.argv[2], sys.argv[3])
elif len(sys.argv) == 3 and sys.argv[1] == "render":
    render(sys.argv[2])
else:
    sys.exit(__doc__)
