"""The tool: both roads, failing checks, the copy to the cache, and the reading of binaries."""

import os
import plistlib
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
from collections.abc import Callable, Iterator
from pathlib import Path

import symbols
from measure import Bench, Row, Run, Side, clear, megabytes, seconds, side_by_side, taking_turns

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tools"))

import sample_app  # noqa: E402
from service.server import SERVICE_HOSTS  # noqa: E402

API_KEY = "0123456789abcdef0123456789abcdef01234567"
UPLOAD_PATH = "/api/v3/platforms/ios/code_mappings"
MIB = 1 << 20
PAGE = 4096


class Sink:
    """The service, as fast as it can be; `environment` leads to it."""

    def __init__(self, bench: Bench):
        self._certificate = bench.folder / "sink.pem"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
             "-days", "2", "-subj", "/CN=bench", "-keyout", self._certificate, "-out", self._certificate,
             "-addext", "subjectAltName=" + ",".join(f"DNS:{host}" for host in SERVICE_HOSTS)],
            check=True, capture_output=True)
        self._program = [bench.programs / "bench_sink", self._certificate]

    def __enter__(self):
        self._process = subprocess.Popen(self._program, stdout=subprocess.PIPE, text=True)
        self.environment = {"HTTPS_PROXY": f"http://127.0.0.1:{int(self._process.stdout.readline())}",
                            "SSL_CERT_FILE": str(self._certificate)}
        return self

    def __exit__(self, *_exception):
        self._process.terminate()
        self._process.communicate()

    def rate(self) -> float:
        """Bytes a second of the next upload that arrived."""
        while True:
            count, elapsed, path = self._process.stdout.readline().split()
            if path == UPLOAD_PATH:
                return int(count) / float(elapsed)


def _app(bench: Bench, content: Path | bytes) -> sample_app.SampleApp:
    """A real app whose dSYM holds these symbols, or shares a file with them."""
    (bench.folder / "app").mkdir()
    app = sample_app.make(bench.folder / "app")
    dwarf = symbols.dwarf_file(app.dsym)
    if isinstance(content, Path):
        dwarf.unlink()
        os.link(content, dwarf)
    else:
        dwarf.write_bytes(content)
    return app


def _curl(archive: Path) -> str:
    return (f"exec curl -sSf -F 'code_mapping[file]=@{archive};type=application/zip'"
            f" https://{SERVICE_HOSTS[1]}{UPLOAD_PATH}")


def direct_road(bench: Bench) -> Iterator[Row]:
    app = _app(bench, symbols.dwarf_file(symbols.symbols()))
    archive = bench.folder / "peer.zip"
    with Sink(bench) as sink:
        def ours() -> Run:
            return bench.launch(bench.framework / "run", API_KEY, directory=app.project,
                                environment=app.environment() | sink.environment)

        def peer(zip_command: str) -> Callable[[], Run]:
            def run() -> Run:
                archive.unlink(missing_ok=True)
                return bench.launch("sh", "-c", f"{zip_command} && {_curl(archive)}", directory=app.products,
                                    environment=sink.environment)
            return run

        # pigz zips no folders, but people who hurry archive them with tar.
        commands = {"zip, then curl": f"zip -qr {archive} {app.dsym.name}",
                    "tar and pigz, then curl": f"tar -cf - {app.dsym.name} | pigz > {archive}"}
        runs = bench.runs(15)
        measured = taking_turns(runs, ours, *map(peer, commands.values()))
    sides = [Side(name, statistics.median(run.seconds for run in all_runs),
                  statistics.median(run.peak for run in all_runs))
             for name, all_runs in zip(["run", *commands], measured)]
    yield Row("direct road against zip -qr, then curl -F", seconds(sides[0].seconds), seconds(sides[1].seconds),
              sides[1].seconds / sides[0].seconds, 4.5, True, "×", runs, sides)


def upload(bench: Bench) -> Iterator[Row]:
    """Of what does not shrink, so that the archive has a size that is known."""
    app = _app(bench, os.urandom(300_000_000))
    archive = bench.folder / "peer.zip"
    bench.archive(app.dsym, archive)
    runs = bench.runs(25)
    with Sink(bench) as sink:
        settings = app.environment() | sink.environment

        def ours() -> float:
            bench.launch(bench.framework / "run", API_KEY, directory=app.project, environment=settings)
            return sink.rate()

        def peer() -> float:
            bench.launch("sh", "-c", _curl(archive), environment=sink.environment)
            return sink.rate()

        ours_rate, peer_rate = side_by_side(runs, ours, peer)
        peak = max(_peak(bench, app, settings) for _ in range(3))
    yield Row("upload alone over TLS against curl -F, rate", f"{megabytes(ours_rate)}/s",
              f"{megabytes(peer_rate)}/s", ours_rate / peer_rate, 0.9, True, "×", runs)
    yield Row("peak memory of run, a zip of 300 MB", f"{peak / MIB:.1f} MiB", "", peak / MIB, 48, False, " MiB", 3)


def _peak(bench: Bench, app: sample_app.SampleApp, settings: dict[str, str]) -> int:
    """Bytes that the tool had resident, without the archiver that it waits for. The kernel keeps the peak,
    so that reading it often misses at most what came in the last moment."""
    child = subprocess.Popen([bench.framework / "run", API_KEY], cwd=app.project, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL, env=bench.environment | settings)
    peak = 0
    while child.poll() is None:
        status = Path(f"/proc/{child.pid}/status").read_text()
        if "VmHWM:" in status:  # else it has just ended
            peak = int(status.split("VmHWM:")[1].split()[0]) * 1024
    if child.returncode != 0 or peak == 0:
        raise RuntimeError(f"run ended with {child.returncode}")
    return peak


def copy(bench: Bench) -> Iterator[Row]:
    dsym, target = symbols.symbols(), bench.folder / "copy"

    def copying(*command) -> float:
        clear(target)
        os.sync()  # or the disk is still busy with the copy before
        return bench.launch(*command, dsym, target).seconds

    runs = bench.runs(35)
    ours, peer = side_by_side(runs, lambda: copying(bench.programs / "bench_copy"),
                              lambda: copying("cp", "-a", "--reflink=auto"))
    yield Row("copy to the cache against cp -a --reflink=auto", seconds(ours), seconds(peer), ours / peer, 1.1,
              False, "×", runs)


def _register_desktop_app(bench: Bench) -> dict[str, str]:
    """Registers an app for the tool's URLs, which does nothing with them, among as many as a desktop has; gives
    the variables that say so."""
    contents = bench.folder / "Vendra.app/Contents"
    (contents / "MacOS").mkdir(parents=True)
    program = Path(shutil.copy("/bin/true", contents / "MacOS/Vendra"))
    (contents / "Info.plist").write_bytes(plistlib.dumps({"CFBundleVersion": "203"}))
    applications = bench.folder / "data/applications"
    applications.mkdir(parents=True)
    (applications / "vendra.desktop").write_text(
        f"[Desktop Entry]\nType=Application\nName=Vendra\nExec={program} %u\n"
        "MimeType=x-scheme-handler/quorvex;\n")
    others = (f"application/x-kind-{number}=org.example.Application{number}.desktop;\n" for number in range(1500))
    (applications / "mimeinfo.cache").write_text(
        "[MIME Cache]\n" + "".join(others) + "x-scheme-handler/quorvex=vendra.desktop;\n")
    return {"XDG_DATA_HOME": str(applications.parent), "XDG_DATA_DIRS": str(bench.folder / "none")}


def hand_off(bench: Bench) -> Iterator[Row]:
    with open(symbols.dwarf_file(symbols.symbols()), "rb") as file:
        app = _app(bench, file.read(1_000_000))
    # In memory: ext4 passes one by one over the inodes of all files that were deleted in the last minutes, so
    # that each run would take longer than the one before, by as much as it takes itself after some hundreds.
    with tempfile.TemporaryDirectory(prefix="row-", dir="/dev/shm") as folder:
        cache = Path(folder) / "cache"
        settings = (app.copy_to(Path(folder) / "app").environment() | _register_desktop_app(bench)
                    | {"XDG_CACHE_HOME": str(cache)})

        def ours() -> float:
            took = bench.launch(bench.framework / "run", API_KEY, directory=settings["SRCROOT"],
                                environment=settings).seconds
            if len(list(cache.rglob("Build.plist"))) != 1:
                raise RuntimeError("nothing was handed off")
            clear(cache)
            return took

        yield from _against_true(bench, "hand-off road, a dSYM of 1 MB in memory", 3.5, ours)


def failing_checks(bench: Bench) -> Iterator[Row]:
    run = bench.framework / "run"
    yield from _against_true(bench, "failing check, no arguments", 1.5, lambda: bench.launch(run, status=1).seconds)
    yield from _against_true(bench, "failing check, a missing setting", 1.5,
                             lambda: bench.launch(run, API_KEY, status=1).seconds)


def _against_true(bench: Bench, what: str, target: float, ours) -> Iterator[Row]:
    runs = bench.runs(401)
    ours_time, peer_time = side_by_side(runs, ours, lambda: bench.launch("/bin/true").seconds)
    yield Row(f"{what}, against /bin/true", seconds(ours_time), seconds(peer_time), ours_time / peer_time, target,
              False, "×", runs)


def open_binary(bench: Bench) -> Iterator[Row]:
    file = bench.folder / "fat"
    headers = _write_large_binary(_app(bench, b"").executable, file)
    runs = bench.runs(10001)
    printed = subprocess.run([bench.programs / "bench_open", file, str(runs)], check=True, capture_output=True)
    time, *touched = map(int, printed.stdout.split())
    yield Row("opening 500 MB with two slices, listing UUIDs", f"{time / 1e3:.1f} µs", "", time / 1e3, 100, False,
              " µs", runs)
    yield Row("pages of it that were touched; target: that hold headers", str(len(touched)), "", len(touched),
              len(headers.intersection(touched)), False, "", 1)


def match(bench: Bench) -> Iterator[Row]:
    """Which symbols an app lacks; one file in fifty has code."""
    app = sample_app.make(bench.folder)
    code, resource = app.executable.read_bytes(), os.urandom(4000)
    for number in range(10_000 - 2):  # besides the executable and its Info.plist
        file = app.wrapper / f"Part{number // 100}.bundle/Base.lproj/file{number}"
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(resource if number % 50 else code)
    inspector = bench.programs.parent / "inspect"
    runs = bench.runs(101)
    ours = [bench.launch(inspector, "--match", app.wrapper) for _ in range(runs)]
    time, peak = (statistics.median(column) for column in zip(*ours))
    # It ends at the first file that is no object file, so that each has to be given to one of its own.
    peer = bench.launch("find", app.wrapper, "-type", "f", "-exec", sample_app.LLVM / "llvm-dwarfdump", "--uuid", "{}",
                        ";").seconds
    yield Row("inspect --match, 10,000 files, against find -exec dwarfdump", seconds(time), seconds(peer), time, 0.5,
              False, " s", runs)
    yield Row("peak memory of it", f"{peak / MIB:.1f} MiB", "", peak / MIB, 8, False, " MiB", runs)


def _write_large_binary(small: Path, large: Path) -> set[int]:
    """Spreads the two slices over 500 MB; returns the numbers of the pages that hold headers."""
    content = small.read_bytes()
    count = struct.unpack_from(">I", content, 4)[0]
    room = 500_000_000 // count // 16384 * 16384
    headers = {0}
    with open(large, "wb") as file:
        file.truncate(16384 + count * room)
        file.write(content[:8])
        for index in range(count):
            cpu, subtype, offset, size, align = struct.unpack_from(">5I", content, 8 + 20 * index)
            start = 16384 + index * room
            file.seek(8 + 20 * index)
            file.write(struct.pack(">5I", cpu, subtype, start, room, align))
            file.seek(start)
            file.write(content[offset:offset + size])
            commands = struct.unpack_from("<I", content, offset + 20)[0]
            headers |= set(range(start // PAGE, (start + 32 + commands - 1) // PAGE + 1))
    return headers
