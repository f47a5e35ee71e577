#!/bin/sh
# Prints the standard-scene figures as a table: median of N runs (default 5)
# of each benchmark in bench/scenes.cpp. Usage: bench/scenes_table.sh [N] [build dir]
set -e
runs=${1:-5}
build=${2:-"$(dirname "$0")/../build/default"}
"$build/bench/scenes" --benchmark_repetitions="$runs" --benchmark_report_aggregates_only=true \
    --benchmark_format=json 2>/dev/null | python3 -c '
import json, sys
rows = {}
for b in json.load(sys.stdin)["benchmarks"]:
    if b.get("aggregate_name") != "median":
        continue
    _, scene, _, mode = b["run_name"].split("_")
    unit = "Mpix/s" if "Mpix/s" in b else "Mtri/s"
    rows.setdefault(scene, {})[mode] = (b[unit], unit, b["real_time"], b["time_unit"])
print("| Scene | depth pass | painter\x27s pass |")
print("|---|---|---|")
for scene in sorted(rows):
    cells = []
    for mode in ("Depth", "Painter"):
        v, unit, t, tu = rows[scene][mode]
        cells.append("%s %s (%.3g %s/frame)" % (format(round(v, 2 if v < 100 else 0), ",g"), unit, t, tu))
    print("| %s | %s | %s |" % (scene, cells[0], cells[1]))
'
