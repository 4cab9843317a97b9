"""The archiver: its speed and its result against its peers, its memory, and its sizes' edges."""

import os
import subprocess
import sys
import zipfile
from collections.abc import Iterator
from pathlib import Path

import symbols
from measure import Bench, Row, megabytes, seconds, side_by_side

MIB = 1 << 20


def _against(bench: Bench, name: str, faster: tuple[float, bool], size: float, *command) -> Iterator[Row]:
    """`command` makes `peer.zip` in the bench's folder. `faster`: the target and whether it is a speed-up."""
    ours_zip, peer_zip = bench.folder / "ours.zip", bench.folder / "peer.zip"
    dsym = symbols.symbols()

    def peer() -> float:
        peer_zip.unlink(missing_ok=True)
        return bench.launch(*command, directory=dsym.parent).seconds

    runs = bench.runs(15)
    ours_time, peer_time = side_by_side(runs, lambda: bench.archive(dsym, ours_zip).seconds, peer)
    target, speed_up = faster
    yield Row(f"ditto against {name}, {'speed' if speed_up else 'time'}", seconds(ours_time), seconds(peer_time),
              peer_time / ours_time if speed_up else ours_time / peer_time, target, speed_up, "×", runs)
    ours_size, peer_size = ours_zip.stat().st_size, peer_zip.stat().st_size
    yield Row(f"ditto against {name}, size", megabytes(ours_size), megabytes(peer_size), ours_size / peer_size,
              size, False, "×", 1)


def against_zip(bench: Bench) -> Iterator[Row]:
    return _against(bench, "zip -qr", (5, True), 1.01, "zip", "-qr", bench.folder / "peer.zip",
                    symbols.symbols().name)


def _pigz(bench: Bench, options: str) -> tuple:
    return ("sh", "-c", f'exec pigz {options} -c "$0" >"$1"', symbols.dwarf_file(symbols.symbols()),
            bench.folder / "peer.zip")


def against_pigz(bench: Bench) -> Iterator[Row]:
    return _against(bench, "pigz -K", (2.3, True), 1.01, *_pigz(bench, "-K"))


def against_fast_pigz(bench: Bench) -> Iterator[Row]:
    return _against(bench, "pigz -1 -K", (1.1, False), 0.92, *_pigz(bench, "-1 -K"))


def against_libdeflate(bench: Bench) -> Iterator[Row]:
    dsym = symbols.symbols()

    def library(program: str) -> float:
        command = [bench.programs / program, symbols.dwarf_file(dsym)]
        return float(subprocess.run(command, check=True, capture_output=True).stdout)

    runs = bench.runs(15)
    static, shared = side_by_side(runs, lambda: library("bench_deflate"), lambda: library("bench_deflate_shared"))
    yield Row("libdeflate linked statically against the shared library", seconds(static), seconds(shared),
              static / shared, 1, False, "×", runs)
    ours, peer = side_by_side(runs, lambda: bench.archive(dsym, bench.folder / "ours.zip").seconds,
                              lambda: library("bench_deflate") / 2)
    yield Row("ditto against half the time of libdeflate on one core", seconds(ours), seconds(peer), ours / peer,
              1.35, False, "×", runs)


def memory(bench: Bench) -> Iterator[Row]:
    content = symbols.dwarf_file(symbols.symbols()).read_bytes()
    runs = bench.runs(5)
    for title, size, piece in (("2 MB", 2_000_000, content), ("2 GB", 2_000_000_000, content),
                               ("300 MB of noise", 300_000_000, os.urandom(300_000_000))):
        source = bench.folder / title
        with open(source, "wb") as file:
            while (left := size - file.tell()) > 0:
                file.write(piece[:left])
        peak = max(bench.archive(source, bench.folder / "ours.zip").peak for _ in range(runs))
        yield Row(f"peak memory of ditto, {title}", f"{peak / MIB:.1f} MiB", "", peak / MIB, 64, False, " MiB",
                  runs)
        source.unlink()


def _checked(bench: Bench, what: str, source: Path, entries: int) -> Iterator[Row]:
    """Whether four independent readers take the archive, and one sees every entry."""
    archive = bench.folder / "ours.zip"
    bench.archive(source, archive)
    readers = (["unzip", "-tqq"], [sys.executable, "-m", "zipfile", "-t"], ["bsdtar", "-xOf"], ["7z", "t", "-bd"])
    sound = [not subprocess.run([*reader, archive], stdout=subprocess.DEVNULL).returncode for reader in readers]
    with zipfile.ZipFile(archive) as read:
        sound.append(len(read.infolist()) == entries)
    yield Row(f"archive of {what}: checks passed", str(sum(sound)), "", sum(sound), len(sound), True, "", 1)


def large_file(bench: Bench) -> Iterator[Row]:
    source = bench.folder / "large"
    with open(source, "wb") as file:
        file.truncate((4 << 30) + 12345)
        file.seek(-5, os.SEEK_END)
        file.write(b"heard")
    return _checked(bench, "a file over 4 GiB", source, 1)


def many_files(bench: Bench) -> Iterator[Row]:
    source = bench.folder / "many"
    source.mkdir()
    for number in range(70_000):
        (source / str(number)).write_bytes(b"%d" % number)
    return _checked(bench, "70,000 files", source, 70_001)
