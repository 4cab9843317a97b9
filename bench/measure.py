"""Runs programs side by side, and what came of it."""

import shutil
import statistics
import subprocess
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path
from typing import NamedTuple


@dataclass
class Row:
    """One figure against its target; `value` and `target` are what is compared."""

    what: str
    ours: str
    peer: str
    value: float
    target: float
    at_least: bool  # else at most
    unit: str
    runs: int  # of each side
    sides: list["Side"] = field(default_factory=list)  # for the picture

    @property
    def met(self) -> bool:
        return self.value >= self.target if self.at_least else self.value <= self.target

    @property
    def ratio_text(self) -> str:
        return f"{self.value:.4g}{self.unit}"

    @property
    def target_text(self) -> str:
        return f"{'at least' if self.at_least else 'at most'} {self.target:.4g}{self.unit}"


class Run(NamedTuple):
    seconds: float
    peak: int  # bytes resident, of the largest of its processes


class Side(NamedTuple):
    """One way to do what a row measures, with its medians."""

    name: str
    seconds: float
    peak: float


class Bench:
    """Where everything lies, and how programs are run: alone, with a small and fixed environment."""

    def __init__(self, build: Path, folder: Path, quick: bool):
        self.programs = build / "bench"
        self.framework = build / "bench/installed/lib/Vendra.framework"
        self.folder = folder  # empty at the start of each row, on the disk that the debug symbols are on
        self.quick = quick
        self.environment = {"PATH": "/usr/bin:/bin", "HOME": str(folder), "LC_ALL": "C"}

    def runs(self, usual: int) -> int:
        return max(3, usual // 5) if self.quick else usual

    def launch(self, *command, status: int = 0, environment: dict | None = None,
               directory: Path | None = None) -> Run:
        printed = subprocess.run(
            [self.programs / "bench_launch", *command], env=self.environment | (environment or {}),
            cwd=directory, check=True, capture_output=True, text=True).stdout
        seconds, peak, ended = printed.split()
        if int(ended) != status:
            raise RuntimeError(f"{command} ended with {ended}")
        return Run(float(seconds), int(peak) * 1024)

    def archive(self, source: Path, archive: Path) -> Run:
        archive.unlink(missing_ok=True)
        return self.launch(self.framework / "ditto", "-c", "-k", "--keepParent", source, archive)


def taking_turns(runs: int, *sides: Callable) -> list[list]:
    """What each of the sides gave; they take turns, so that what disturbs the machine disturbs all."""
    rounds = [[side() for side in sides] for _ in range(runs)]
    return [list(column) for column in zip(*rounds)]


def side_by_side(runs: int, ours: Callable[[], float], peer: Callable[[], float]) -> tuple[float, float]:
    """The medians of both."""
    ours_all, peer_all = taking_turns(runs, ours, peer)
    return statistics.median(ours_all), statistics.median(peer_all)


def clear(path: Path) -> None:
    shutil.rmtree(path, ignore_errors=True)


def megabytes(count: float) -> str:
    return f"{count / 1e6:.1f} MB"


def seconds(value: float) -> str:
    return f"{value:.2f} s" if value >= 0.1 else f"{value * 1e3:.2f} ms"
