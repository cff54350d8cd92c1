#!/usr/bin/env python3
"""Tables of times and ratios from the JSON output of moxa1_bench.

usage: ratios.py RESULTS.json [--sets avx512,avx2,sse2] [--summary]

Every entry is the median processor time over the repetitions of the run. A ratio is a peer's time divided by ours: 2.0
means that this library takes half the peer's time. Where there are several peers, ratios are those of the first set.
--summary makes one table of each family: times for 1024 elements, and for each size the ratios of the first two sets to
the fastest peer (copies do not count); where the peers do not do the same work, in parentheses those to the plain loop
that does (contract-loop). A peer that is called after a set, as sleef-avx2, is compared with that set, and
its other form is not.
"""
import argparse
import collections
import json
import statistics
import sys

SETS = ["avx512", "avx2", "sse2"]
CONTRACT = "contract-loop"


def medians(results):
    """{(family, case): {size: {contender: nanoseconds}}} of all runs without error, and the errors."""
    runs, errors = collections.defaultdict(list), []
    for run in sorted(results["benchmarks"], key=lambda run: run["family_index"]):
        if run.get("run_type") == "aggregate":
            continue
        if run.get("error_occurred"):
            errors.append(f"{run['name']}: {run['error_message']}")
            continue
        runs[run["name"].split("/repeats")[0]].append(run["cpu_time"])
    tables = collections.defaultdict(lambda: collections.defaultdict(dict))
    for name, times in runs.items():
        family, case, size, contender = name.split("/")[:4]
        tables[family, case][int(size)][contender] = statistics.median(times)
    return tables, errors


def nanoseconds(time):
    return f"{time:.1f}" if time < 100 else f"{time:,.0f}"


def print_table(title, rows, sets):
    sets = [s for s in sets if any(s in row for row in rows.values())]
    peers = [p for p in dict.fromkeys(c for row in rows.values() for c in row) if p not in SETS]
    compared = sets if len(peers) == 1 else sets[:1]
    head = [title] + sets + peers
    head += [f"{p} / {s}" for p in peers for s in compared]
    print("| " + " | ".join(head) + " |")
    print("|" + "---:|" * len(head))
    for size, row in sorted(rows.items()):
        cells = [f"{size:,}"] + [nanoseconds(row[c]) if c in row else "" for c in sets + peers]
        cells += [f"{row[p] / row[s]:.2f}" if p in row and s in row else "" for p in peers for s in compared]
        print("| " + " | ".join(cells) + " |")
    print()


def fastest(row, ours):
    """The time and the name of the fastest peer of the set `ours`."""
    def meets(peer):
        form = next((s for s in SETS if peer.endswith("-" + s)), None)
        return form == ours if form else f"{peer}-{ours}" not in row
    return min(((t, p) for p, t in row.items() if p not in SETS + [CONTRACT] and not p.endswith("copy") and meets(p)),
               default=None)


def print_summary(family, cases, sets):
    """cases: {case: {size: {contender: nanoseconds}}}"""
    sets = sets[:2]
    sizes = sorted({size for rows in cases.values() for size in rows})
    print(f"| {family} | " + " | ".join(f"{s}, ns" for s in sets) + " | fastest peer, ns | "
          + " | ".join(f"{size:,}" for size in sizes) + " |")
    print("|---|" + "---:|" * (len(sets) + 1 + len(sizes)))
    for case, rows in cases.items():
        row = rows.get(1024, {})
        peers = list(dict.fromkeys(fastest(row, s) for s in sets if s in row))
        cells = [case] + [nanoseconds(row[s]) if s in row else "" for s in sets]
        cells.append(", ".join(f"{peer[1]} {nanoseconds(peer[0])}" for peer in peers if peer)
                     + (f" (loop {nanoseconds(row[CONTRACT])})" if CONTRACT in row else ""))
        for size in sizes:
            row = rows.get(size, {})
            ratios = [f"{fastest(row, s)[0] / row[s]:.2f}" for s in sets if s in row and fastest(row, s)]
            same = [f"{row[CONTRACT] / row[s]:.2f}" for s in sets if s in row and CONTRACT in row]
            cells.append(" / ".join(ratios) + (f" ({' / '.join(same)})" if same else ""))
        print("| " + " | ".join(cells) + " |")
    print()


def print_machine(context):
    caches = [f"{cache['size'] // 1024:,} KiB L{cache['level']}" for cache in context["caches"]
              if cache["type"] != "Instruction"]
    print(f"Processor: {context.get('processor', 'unknown')}, {', '.join(caches)}. Medians, ns.\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results", type=argparse.FileType())
    parser.add_argument("--sets", default=",".join(SETS))
    parser.add_argument("--summary", action="store_true")
    arguments = parser.parse_args()
    results = json.load(arguments.results)
    tables, errors = medians(results)
    print_machine(results["context"])
    families = collections.defaultdict(dict)
    for (family, case), rows in tables.items():
        families[family][case] = rows
    for family, cases in families.items() if arguments.summary else ():
        print_summary(family, cases, arguments.sets.split(","))
    for (family, case), rows in () if arguments.summary else tables.items():
        print_table(f"{case}, {'order' if family == 'fft' else 'n'}", rows, arguments.sets.split(","))
    for error in dict.fromkeys(errors):
        print(error, file=sys.stderr)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
