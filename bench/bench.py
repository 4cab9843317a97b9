#!/usr/bin/env python3
"""Measures the built product against its targets, each side by side with what people use today."""

import argparse
import dataclasses
import json
import os
import platform
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

import archive_rows
import chart
import symbols
import tool_rows
from measure import Bench, Row

ROOT = Path(__file__).resolve().parents[1]
ROWS = {
    "zip": archive_rows.against_zip,
    "pigz": archive_rows.against_pigz,
    "pigz-1": archive_rows.against_fast_pigz,
    "libdeflate": archive_rows.against_libdeflate,
    "archive-memory": archive_rows.memory,
    "direct-road": tool_rows.direct_road,
    "upload": tool_rows.upload,
    "copy": tool_rows.copy,
    "hand-off": tool_rows.hand_off,
    "failing-checks": tool_rows.failing_checks,
    "open": tool_rows.open_binary,
    "match": tool_rows.match,
    "large-file": archive_rows.large_file,
    "many-files": archive_rows.many_files,
}
PEERS = ("zip", "pigz", "libdeflate-dev", "libdeflate0", "curl", "libssl3", "coreutils")


def _first(path: str, key: str) -> str:
    return next(line for line in Path(path).read_text().splitlines() if line.startswith(key)).split(":")[1].strip()


def _machine() -> dict[str, str]:
    packages = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}, ", *PEERS], check=True,
                              capture_output=True, text=True).stdout
    size = symbols.dwarf_file(symbols.symbols()).stat().st_size
    return {"cpu": f"{_first('/proc/cpuinfo', 'model name')}, {os.cpu_count()} cores",
            "memory": _first("/proc/meminfo", "MemTotal"), "kernel": platform.release(),
            "load before": f"{os.getloadavg()[0]:.2f}", "debug symbols": f"{size:,} bytes",
            "peers": packages.rstrip(", ")}


def _print_row(row: Row) -> None:
    print(f"{row.what:<58} {row.ours:>12} {row.peer:>12} {row.ratio_text:>10}  {row.target_text:<18}"
          f" {'met' if row.met else 'MISSED':<6} {row.runs:>6}", flush=True)


def _measure(build: Path, names: list[str], quick: bool) -> list[Row]:
    rows = []
    print(f"{'what':<58} {'ours':>12} {'peer':>12} {'ratio':>10}  {'target':<18} {'':<6} {'runs':>6}")
    for name in names:
        # On the same disk as the debug symbols, where files can be linked and are really written.
        with tempfile.TemporaryDirectory(prefix="row-", dir=symbols.symbols().parent) as folder:
            for row in ROWS[name](Bench(build, Path(folder), quick)):
                _print_row(row)
                rows.append(row)
    return rows


def main() -> int:
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__)
    parser.add_argument("names", metavar="NAME", nargs="*", help=f"only these rows: {', '.join(ROWS)}")
    parser.add_argument("--quick", action="store_true", help="fewer runs")
    parser.add_argument("--build", type=Path, default=ROOT / "build", help="the folder that was built to")
    arguments = parser.parse_args()
    if unknown := set(arguments.names) - set(ROWS):
        parser.error(f"no such row: {', '.join(sorted(unknown))}")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that what was made is removed

    machine = _machine()
    footer = [f"{key}: {value}" for key, value in machine.items()]
    print(*footer, "", sep="\n")
    rows = _measure(arguments.build.resolve(), arguments.names or list(ROWS), arguments.quick)

    results = arguments.build / "bench/results.json"
    results.write_text(json.dumps({"machine": machine, "quick": arguments.quick, "only": arguments.names, "rows": [
        dataclasses.asdict(row) | {"met": row.met} for row in rows]}, indent=2, ensure_ascii=False) + "\n")
    print(f"\n{results}")
    for sides in (row.sides for row in rows if row.sides):
        # The picture that is kept was measured in full.
        picture = results.with_suffix(".svg") if arguments.quick else ROOT / "docs/comparison.svg"
        picture.write_text(chart.draw(sides, footer))
        print(picture)
    return 0 if all(row.met for row in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
