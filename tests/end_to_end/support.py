"""The base of the end-to-end tests: the production binary as a child, a real app, the local service."""

import errno
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from collections.abc import Callable
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tools"), str(ROOT / "tests/macho")]

import llvm_truth  # noqa: E402
import sample_app  # noqa: E402
from service import behaviours  # noqa: E402, F401
from service.certificates import Flaw  # noqa: E402, F401
from service.server import SERVICE_HOSTS, LocalService  # noqa: E402

API_HOST, UPLOAD_HOST = SERVICE_HOSTS
API_KEY = "0123456789abcdef0123456789abcdef01234567"
BUILD_SECRET = "0123456789abcdef" * 4
BANNER = "Vendra.framework/run 1.3.18"
# A command that runs what follows it under a checker of its memory, which makes it many times slower.
CHECKER = tuple(os.environ.get("QVX_CHECKER", "").split())
# Only keeps a hanging child from hanging the tests; no test may depend on it.
SAFETY_TIMEOUT = 1500 if CHECKER else 150
LOG_PREFIX = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} run\[\d+:\d+\] ", re.MULTILINE)
ZIP_NAME = re.compile(r"[0-9A-F-]{36}-\d+\.zip")
# A command that runs what follows it as a process that permission bits bind, as they do not bind root.
UNPRIVILEGED = () if os.geteuid() else ("setpriv", "--bounding-set", "-dac_override,-dac_read_search")
# What is tested: the folder with the tool and the archiver, and a library for it.
FRAMEWORK = Path(os.environ.get("QVX_FRAMEWORK", ROOT / "build/Vendra.framework")).resolve()
PICKY_CURL = Path(os.environ.get("QVX_PICKY_CURL", ROOT / "build/tests/end_to_end/picky_curl")).resolve()


class Result(NamedTuple):
    status: int  # negative: the signal that ended it
    stdout: bytes
    stderr: bytes


def finish(child: subprocess.Popen) -> Result:
    """Waits until the child and its streams have ended."""
    with child:
        try:
            stdout, stderr = child.communicate(timeout=SAFETY_TIMEOUT)
        except subprocess.TimeoutExpired:
            child.kill()
            raise
    return Result(child.returncode, stdout, stderr)


def end(child: subprocess.Popen):
    """Lets go of a child that a failed test may have left running."""
    with child:
        child.kill()


def wait_for(condition: Callable[[], object]):
    """What the condition gives once that counts as true."""
    deadline = time.monotonic() + SAFETY_TIMEOUT
    while not (found := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError("nothing came")
        time.sleep(0.01)
    return found


def failure(title: str, reason: str) -> str:
    """What a fatal problem prints."""
    return f"error: Vendra: {title}\n\n{reason}"


def posix_error(code: int, path: Path) -> str:
    """How the tool names a system error."""
    return f'Error Domain=NSPOSIXErrorDomain Code={code} "{path}: {os.strerror(code)}"'


def uuid_log(executable: Path) -> str:
    """One line for each slice of a linked executable."""
    return "".join(f"UUID:{uuid} Slice:{name}\n" for uuid, name in llvm_truth.uuids(executable))


def tree(root: Path) -> dict:
    """All of a folder that a copy must keep."""
    return {path.relative_to(root): (path.lstat().st_mode, path.lstat().st_mtime,
                                     os.readlink(path) if path.is_symlink() else path.is_file() and path.read_bytes())
            for path in (root, *root.rglob("*"))}


class EndToEndTest(unittest.TestCase):
    """Each test gets a folder, a copy of the app (made once per class) and a service of its own.

    `settings` is the environment that the tool is run with, to be changed by the test as it likes.
    """

    app_options: dict = {}  # what sample_app.make is to be told
    hosts = SERVICE_HOSTS
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="end-to-end-app-")
        cls.addClassCleanup(folder.cleanup)
        cls.made_app = sample_app.make(Path(folder.name).resolve(), **cls.app_options)
        cls.uuid_log = uuid_log(cls.made_app.executable)

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="end-to-end-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()
        self.app = self.made_app.copy_to(self.folder / "build")
        self.framework = FRAMEWORK
        self.service = LocalService(self.hosts)
        self.service.start()
        self.addCleanup(self.service.stop)
        self.settings = self.app.environment() | self._home() | {
            "PATH": os.environ["PATH"], "HTTPS_PROXY": self.service.proxy_url,
            "SSL_CERT_FILE": str(self.service.ca_file)}

    def start_tool(self, *arguments: str | bytes, settings: dict | None = None, directory: Path | None = None,
                   name: str | None = None, through: tuple = (), **options) -> subprocess.Popen:
        """Starts the tool from the source folder, or another, with exactly this environment (self.settings
        by default), under its own name or another, or by way of a command that runs what follows it.
        `options` are Popen's; the streams are pipes when nothing else is asked for."""
        streams = dict.fromkeys(("stdout", "stderr"), subprocess.PIPE) | {"stdin": subprocess.DEVNULL}
        program = self.framework / "run"
        command = [name, *arguments] if name else [*CHECKER, program, *arguments]
        child = subprocess.Popen([*through, *command], executable=program if name else None,
                                 cwd=directory or self.app.project,
                                 env=self.settings if settings is None else settings, **streams | options)
        self.addCleanup(end, child)
        return child

    def run_tool(self, *arguments: str | bytes, **options) -> Result:
        """Runs the tool to its end, with an API key when no argument is given; options as for start_tool."""
        return finish(self.start_tool(*arguments or (API_KEY,), **options))

    def assert_run(self, result: Result, status: int, stdout: str, log: tuple[str, ...] = ()):
        """Compares all that came out of a run; `log` are the log lines that follow the banner."""
        self.assertEqual(stdout, result.stdout.decode())
        before, *lines = LOG_PREFIX.split(ZIP_NAME.sub("UNIQUE.zip", result.stderr.decode()))
        self.assertEqual(("", [f"{text}\n" for text in (BANNER, *log)]), (before, lines))
        self.assertEqual(status, result.status)

    def uploaded(self, status: int = 201, uuid_log: str | None = None) -> str:
        """What an accepted upload prints."""
        log = self.uuid_log if uuid_log is None else uuid_log
        return f"{self.app.dsym.name} uploaded statusCode {status}\n{log}"

    def refused(self, outcome: str) -> str:
        """What a run prints whose report and uploads all had this outcome."""
        return (f"Could not be onboarded statusCode {outcome}"
                f"{self.app.dsym.name} could not be uploaded statusCode {outcome}\n{self.uuid_log}")

    def no_dsym(self) -> str:
        """What the archiver says when there is nothing to pack."""
        return f"ditto: {self.app.dsym}: {os.strerror(errno.ENOENT)}"

    def compression_failed(self) -> str:
        return f"Compression of {self.app.dsym.name} failed, unable to upload.\n\n"

    def exchanges(self, host: str) -> list:
        return [exchange for exchange in self.service.exchanges if exchange.host == host]

    def copy_framework(self, archiver: str | None = None):
        """Makes the test run a copy of the product without its archiver, or with this script in its place."""
        self.framework = self.folder / "Vendra.framework"
        shutil.copytree(FRAMEWORK, self.framework, dirs_exist_ok=True)
        (self.framework / "ditto").unlink()
        if archiver is not None:
            (self.framework / "ditto").write_text(f"#!/bin/sh\n{archiver}\n")
            (self.framework / "ditto").chmod(0o755)

    def small_disk(self, folder: Path) -> tuple:
        """A command that runs what follows it with a disk of 384 KiB in the place of the folder, holding a
        copy of the dSYM; what is there at the end is listed in a file of the folder's name and ".listing"."""
        folder.mkdir()
        probe = ["unshare", "-Urm", "mount", "-t", "tmpfs", "none", folder]
        if subprocess.run(probe, capture_output=True, check=False).returncode != 0:
            self.skipTest("this machine lets nobody mount a disk in a namespace")
        script = ('mount -t tmpfs -o size=384k none "$0" && cp -R "$dsym" "$0" && "$@"; status=$?\n'
                  'ls "$0" > "$0.listing"; exit $status')
        return "unshare", "-Urm", "sh", "-c", f"dsym={self.app.dsym}\n{script}", folder

    def assert_no_zip_left(self):
        self.assertEqual([], sorted(self.app.products.glob("*.zip")), "left beside the dSYM")

    def _home(self) -> dict[str, str]:
        folders = {"HOME": "home", "XDG_CONFIG_HOME": "home/.config", "XDG_CACHE_HOME": "home/.cache",
                   "XDG_DATA_HOME": "home/.local/share", "XDG_RUNTIME_DIR": "runtime", "TMPDIR": "tmp"}
        for name in folders.values():
            (self.folder / name).mkdir(mode=0o700, parents=True, exist_ok=True)
        # Nothing that is installed on the machine may answer for a URL scheme.
        system = dict.fromkeys(("XDG_DATA_DIRS", "XDG_CONFIG_DIRS"), str(self.folder / "system"))
        return system | {variable: str(self.folder / name) for variable, name in folders.items()}
