"""Runs the measurements that were built, ours and baseline in turn, and holds their ratios against the targets.

Usage: compare.py BUILD_DIR RESULTS_DIR
"""

import json
import pathlib
import statistics
import sys
import tempfile

from ratios import Table, run

LOAD_ROUNDS = 150
CODEC_ROUNDS = 25
WALK_ROUNDS = 25
STORE_ROUNDS = 25
MESSAGES = ["BatteryHealthLog", "GraphicsCards", "PcLogPerformanceSamplesAsCDM", "PcDeviceHealthEventAsCDM"]


def strip(libraries, scratch):
    """The libraries as they are installed: stripped, and written in one piece, as the system reads them best."""
    for build, library in libraries.items():
        run("strip", "-o", scratch / build, library)
    return {build: scratch / build for build in libraries}


def measure_size(libraries, table, absolute):
    sizes = {build: library.stat().st_size for build, library in libraries.items()}
    absolute["stripped_bytes"] = sizes
    table.add("size, stripped", [sizes["ours"] / sizes["baseline"]], 0.90, at_most=True)


def measure_load(programs, libraries, table, absolute):
    for mode, what, target in (("lazy", "load", 0.46), ("now", "load, every symbol bound at once", None)):
        times = {build: [] for build in libraries}
        for _ in range(LOAD_ROUNDS):
            for build, library in libraries.items():
                times[build].append(int(run(programs / "load", library, mode)))
        absolute[f"load_{mode}_ms"] = {build: round(statistics.median(values) / 1e6, 3)
                                       for build, values in times.items()}
        table.add(what, [ours / baseline for ours, baseline in zip(times["ours"], times["baseline"])], target, at_most=True)

    times = {"runtime": [], "baseline": [], "ours": []}
    for _ in range(LOAD_ROUNDS):
        for build, values in times.items():
            values.append(int(run(programs / f"start-{build}")))
    # What a program with the runtime alone takes is the same for both; its median is steadier than one run.
    runtime = statistics.median(times["runtime"])
    absolute["start_ms_after_the_runtime"] = {
        build: round((statistics.median(times[build]) - runtime) / 1e6, 3) for build in libraries}
    table.add("start of a linked program, after the runtime",
              [(ours - runtime) / (baseline - runtime) for ours, baseline in zip(times["ours"], times["baseline"])],
              at_most=True)


def measure_codec(programs, table, absolute, scratch):
    run(programs / "codec-ours", f"--samples={scratch}")
    commands = {"baseline": [programs / "codec-baseline"], "ours": [programs / "codec-ours"],
                "c": [programs / "codec-c", scratch]}
    times = {}
    for _ in range(CODEC_ROUNDS):
        for build, command in commands.items():
            report = json.loads(run(*command, "--benchmark_format=json", "--benchmark_min_time=0.02"))
            for benchmark in report["benchmarks"]:
                times.setdefault((build, benchmark["name"]), []).append(benchmark["cpu_time"])
    absolute["nanoseconds"] = {f"{build} {name}": round(statistics.median(values), 1)
                               for (build, name), values in sorted(times.items())}

    def ratios(other, ours):
        return [a / b for a, b in zip(times[other], times["ours", ours])]

    for message in MESSAGES:
        def against_baseline(what, ours, baseline, target=None):
            table.add(f"{message}: {what}", ratios(("baseline", f"{baseline}/{message}"), f"{ours}/{message}"), target)

        absolute.setdefault("bytes", {})[message] = (scratch / message).stat().st_size
        against_baseline("serialize", "serialize", "serialize", 1.4)
        against_baseline("parse, fresh message", "parse_fresh", "parse_fresh", 1.1)
        against_baseline("parse, arena", "parse_arena", "parse_fresh", 1.3)
        against_baseline("parse, reused message", "parse_reused", "parse_fresh", 2.0)
        against_baseline("parse, arena, against the baseline's arena", "parse_arena", "parse_arena")
        against_baseline("parse, reused, against the baseline's reused", "parse_reused", "parse_reused")
        against_baseline("serialize to a string", "serialize_as_string", "serialize_as_string")
        for runtime in ("protobuf_c", "nanopb"):
            table.add(f"{message}: serialize, against {runtime}",
                      ratios(("c", f"{runtime}/serialize/{message}"), f"serialize/{message}"), 1.0)
        table.add(f"{message}: parse, fresh, against protobuf_c",
                  ratios(("c", f"protobuf_c/parse/{message}"), f"parse_fresh/{message}"))
        # Like with like: nanopb works on one struct that is used again and allocates nothing.
        table.add(f"{message}: parse, reused, against nanopb",
                  ratios(("c", f"nanopb/parse/{message}"), f"parse_reused/{message}"), 1.0)
        table.add(f"{message}: parse, fresh, against nanopb",
                  ratios(("c", f"nanopb/parse/{message}"), f"parse_fresh/{message}"))


def measure_walk(programs, absolute):
    walks = [json.loads(run(programs / "walk")) for _ in range(WALK_ROUNDS)]
    absolute["walk"] = {key: statistics.median(walk[key] for walk in walks) for key in walks[0]}
    return max(walk["later_allocations"] for walk in walks)


def measure_store(programs, table, absolute):
    rates = {}
    for line in run(programs / "store-bench", STORE_ROUNDS).splitlines():
        rate = json.loads(line)
        rates.setdefault(rate["batch"], []).append(rate)
    for batch, target in ((1000, 0.7), (1, None)):
        what = "in batches of 1000" if batch > 1 else "one by one"
        table.add(f"store: records a second {what}, against plain SQLite",
                  [rate["ours"] / rate["plain"] for rate in rates[batch]], target)
        absolute[f"store_records_per_second_{batch}"] = {
            who: statistics.median(rate[who] for rate in rates[batch]) for who in ("ours", "plain")}
    absolute["store_million"] = json.loads(run(programs / "store-bench", "million"))


def write_plot_data(table, path):
    ways = ["serialize", "parse, fresh message", "parse, arena", "parse, reused message"]
    lines = ["message " + " ".join(f'"{way}"' for way in ways)]
    for message in MESSAGES:
        lines.append(message + " " + " ".join(str(table.ratio(f"{message}: {way}")) for way in ways))
    path.write_text("\n".join(lines) + "\n", encoding="ascii")


def main(build, results):
    programs, results = pathlib.Path(build, "benchmarks"), pathlib.Path(results)
    libraries = {"ours": programs.parent / "library/libovix-telemetry-data-contracts.so",
                 "baseline": programs / "libbaseline-contracts.so"}
    table, absolute = Table(), {}
    with tempfile.TemporaryDirectory() as scratch:
        stripped = strip(libraries, pathlib.Path(scratch))
        measure_size(stripped, table, absolute)
        measure_load(programs, stripped, table, absolute)
        measure_codec(programs, table, absolute, pathlib.Path(scratch))
    later_allocations = measure_walk(programs, absolute)
    measure_store(programs, table, absolute)

    table.print()
    walk = absolute["walk"]
    print(f"iteration over {walk['steps']:.0f} prototypes reading every option: first {walk['first_us'] / 1000:.2f} ms, "
          f"{walk['first_bytes'] / 1024:.0f} KiB in {walk['first_allocations']:.0f} allocations; later "
          f"{walk['later_us']:.1f} us, {later_allocations} allocations")
    million = absolute["store_million"]
    print(f"store of {million['rows']} rows: kept in {million['kept_s']:.1f} s, read in {million['read_s']:.1f} s, "
          f"{million['dropped']} of them dropped in {million['trim_s']:.2f} s, peak {million['peak_mb']:.0f} MB")
    (results / "results.json").write_text(
        json.dumps({"ratios": table.rows, "absolute": absolute}, indent=1) + "\n", encoding="ascii")
    write_plot_data(table, results / "codec.dat")

    missed = [row["what"] for row in table.rows if row["verdict"] == "MISSED"]
    noisy = [row["what"] for row in table.rows if row["verdict"] == "too noisy"]
    if later_allocations:
        missed.append("iteration: a later one allocates")
    if noisy:
        print("bench: the machine was too noisy: " + "; ".join(noisy))
    if missed:
        print("bench: missed: " + "; ".join(missed))
    return 1 if missed else 0


sys.exit(main(*sys.argv[1:]))
