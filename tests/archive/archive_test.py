"""Runs the archiver on real trees and has its archives read by other people's programs.

The environment variable DITTO is the path of the program.
"""

import contextlib
import os
import random
import resource
import signal
import stat
import struct
import subprocess
import tempfile
import time
import unittest
import zipfile

BUILT = os.path.join(os.path.dirname(__file__), "../../build/Vendra.framework/ditto")
DITTO = os.path.abspath(os.environ.get("DITTO", BUILT))
BLOCK = 2 << 20
ZONE_SECONDS = 19800
ENVIRONMENT = dict(os.environ, TZ="XST-5:30", LC_ALL="C.UTF-8")
UTF8_FLAG = 0x800
ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


def noise(size):
    return random.Random(size).randbytes(size)


def limit(kind, value):
    return lambda: resource.setrlimit(kind, (value, value))


def heed_signals():
    """Keeps what is ignored here, as in a background job of a shell, from being ignored in a child."""
    for number in ENDING:
        signal.signal(number, signal.SIG_DFL)


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="archive_test.")
        # Some of these trees are too deep for shutil.rmtree.
        self.addCleanup(subprocess.run, ["rm", "-rf", self.folder], check=True)
        self.source, self.zip = (os.path.join(self.folder, name) for name in ("App.dSYM", "out.zip"))

    def write(self, name, content=b""):
        path = os.path.join(os.fsencode(self.source), os.fsencode(name))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def ditto(self, source=None, destination=None, through=(), **options):
        command = [*through, DITTO, "-c", "-k", "--keepParent", source or self.source, destination or self.zip]
        return subprocess.run(command, capture_output=True, env=ENVIRONMENT, **options)

    def archive(self, *arguments, **options):
        """Runs the program, which must work and be quiet, and returns the archive's entries by raw name."""
        done = self.ditto(*arguments, **options)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        with zipfile.ZipFile(self.zip) as archive:
            return {info.filename.encode("utf-8" if info.flag_bits & UTF8_FLAG else "cp437"): info
                    for info in archive.infolist()}

    def assert_fails(self, done, message):
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertEqual(os.fsdecode(done.stderr), f"ditto: {message}\n")

    def assert_readers_agree(self):
        """Each reader checks every CRC; the piped one sees only what precedes each entry's content."""
        for command in (["unzip", "-tqq"], ["7z", "t", "-bso0"], ["bsdtar", "-tf"],
                        ["sh", "-c", 'cat "$0" | bsdtar -xOf - >/dev/null']):
            done = subprocess.run([*command, self.zip], capture_output=True, env=ENVIRONMENT)
            self.assertEqual((done.returncode, done.stderr), (0, b""), command)

class Contents(Case):
    FILES = {
        b"empty": b"",
        b"one": b"x",
        b"script.sh": b"#!/bin/sh\n" * 50,
        b"a/b": b"in a folder",
        b"a.txt": b"text " * 10_000,
        # Around the size of the blocks near a file's end, and of what such blocks are made of.
        **{b"%d" % size: b"0" * size for edge in (BLOCK // 4, 2 * BLOCK) for size in (edge - 1, edge, edge + 1)},
        b"noise": noise(3 * BLOCK + 12_345),
        b"small noise": noise(5_000),
        "größe/日本.txt".encode(): b"text",
        b"latin-\xe9\xff": b"text",
        b"\xed\xa0\x80 surrogate": b"text",
        b"new\nline": b"text",
    }
    LINKS = {b"link": b"a.txt", b"leaving": b"/../../etc/passwd", b"circle": b"circle",
             b"dangling\xff": b"no/such\xff"}
    TIMES = {b"one": 1_600_000_001, b"empty": 5, b"a/b": 4_000_000_000, b"a/": 1_500_000_000}

    def setUp(self):
        super().setUp()
        for name, content in self.FILES.items():
            os.chmod(self.write(name, content), 0o640)
        root = os.fsencode(self.source)
        os.chmod(os.path.join(root, b"script.sh"), 0o4755)
        os.mkdir(os.path.join(root, b"empty folder"), 0o711)
        for name, text in self.LINKS.items():
            os.symlink(text, os.path.join(root, name))
        for name, seconds in self.TIMES.items():
            os.utime(os.path.join(root, name), (seconds, seconds))

    def test_tree_reads_back_and_is_the_same_when_extracted(self):
        entries = self.archive(self.source + "//")
        names = list(entries)
        top = b"App.dSYM/"
        folders = [b"", b"a/", b"empty folder/", "größe/".encode()]
        self.assertEqual(names, sorted(top + name for name in [*self.FILES, *self.LINKS, *folders]))
        with zipfile.ZipFile(self.zip) as archive:
            for name, info in entries.items():
                path = os.path.join(os.fsencode(self.folder), name)
                with self.subTest(name=name):
                    content = archive.read(info)
                    status = os.lstat(path)
                    self.assertEqual(info.external_attr >> 16, status.st_mode)
                    self.assertEqual(bool(info.external_attr & 0x10), stat.S_ISDIR(status.st_mode))
                    key = name[len(top):]
                    self.assertEqual(content, self.FILES.get(key, self.LINKS.get(key, b"")))
                    self.assertEqual(bool(info.flag_bits & UTF8_FLAG), "größe".encode() in name)
                    local = max(time.gmtime(status.st_mtime + ZONE_SECONDS)[:6], (1980, 1, 1, 0, 0, 0))
                    self.assertEqual(info.date_time, local[:5] + (local[5] // 2 * 2,))
                    self.assertLessEqual(info.compress_size, info.file_size + info.file_size // 10_000)
        stored = {name for name in self.FILES if entries[top + name].compress_type == zipfile.ZIP_STORED}
        self.assertEqual(stored, {name for name, content in self.FILES.items() if len(content) < 50} | {b"small noise"})
        self.assert_readers_agree()
        out = os.path.join(self.folder, "out")
        os.mkdir(out)
        subprocess.run(["bsdtar", "-xpf", self.zip, "-C", out], check=True, env=ENVIRONMENT)
        subprocess.run(["diff", "-r", "--no-dereference", self.source, f"{out}/App.dSYM"], check=True)
        for name in ("one", "empty", "a/", "script.sh", "empty folder"):
            was, now = (os.lstat(os.path.join(place, name)) for place in (self.source, f"{out}/App.dSYM"))
            self.assertEqual((int(was.st_mtime), was.st_mode), (int(now.st_mtime), now.st_mode), name)

    def test_names_of_the_top_entry(self):
        os.mkdir(os.path.join(self.source, "a/x"))
        for source, cwd, expected in [(".", os.path.join(self.source, "a"), [b"a/", b"a/b", b"a/x/"]),
                                      ("a/.", self.source, [b"a/", b"a/b", b"a/x/"]),
                                      ("..", os.path.join(self.source, "a/x"), [b"a/", b"a/b", b"a/x/"]),
                                      ("a.txt", self.source, [b"a.txt"])]:
            self.assertEqual(list(self.archive(source, cwd=cwd)), expected)

    def test_destination_may_lie_in_the_source_and_is_replaced(self):
        self.zip = os.path.join(self.source, "z" * 246 + ".zip")
        for link in (None, os.path.join(self.source, "link to it")):
            self.write(os.path.basename(self.zip), b"old")
            if link:
                os.symlink(self.zip, link)
            before = set(os.listdir(self.source))
            self.assertFalse([name for name in self.archive(None, link) if b"partial" in name])
            self.assertEqual(set(os.listdir(self.source)), before)
        self.assertEqual(os.readlink(link), self.zip)


class Extents(Case):
    def test_sizes_that_32_bits_do_not_hold(self):
        size = (1 << 32) + 1
        os.truncate(self.write("sparse"), size)
        info = self.archive()[b"App.dSYM/sparse"]
        self.assertEqual(size, info.file_size)
        with open(self.zip, "rb") as file:
            file.seek(info.header_offset + 26)
            name, extra = struct.unpack("<HH", file.read(4))
            file.seek(name, os.SEEK_CUR)
            # The first of the extra fields: its kind, its size, both sizes of the content.
            self.assertEqual((1, 16, size, info.compress_size), struct.unpack_from("<HHQQ", file.read(extra)))

    def test_more_entries_than_16_bits_count(self):
        self.write("00007", b"content")
        for i in range(8, 66_008):
            os.close(os.open(f"{self.source}/{i:05}", os.O_CREAT | os.O_WRONLY))
        entries = self.archive()
        self.assertEqual(len(entries), 66_002)
        self.assertEqual(entries[b"App.dSYM/00007"].file_size, 7)
        self.assert_readers_agree()

    def nest(self, name, levels):
        """Makes the source, and in it folders of that name in each other and a file at their bottom."""
        os.mkdir(self.source)
        folder = os.open(self.source, os.O_RDONLY)
        for _ in range(levels):
            os.mkdir(name, dir_fd=folder)
            inner = os.open(name, os.O_RDONLY, dir_fd=folder)
            os.close(folder)
            folder = inner
        os.close(os.open("bottom", os.O_CREAT | os.O_WRONLY, dir_fd=folder))
        os.close(folder)

    def test_tree_deeper_than_paths_and_descriptors(self):
        self.nest("d", 2_500)
        self.write("e", b"after the way back up")
        entries = self.archive(preexec_fn=limit(resource.RLIMIT_NOFILE, 64))
        self.assertEqual(len(entries), 2_503)
        self.assertIn(b"App.dSYM/" + b"d/" * 2_500 + b"bottom", entries)

    def test_name_that_no_archive_can_hold(self):
        self.nest("d" * 250, 262)
        done = self.ditto()
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.endswith(b": File name too long\n"))


class Failures(Case):
    def setUp(self):
        super().setUp()
        self.noise = os.fsdecode(self.write("a noise", noise(BLOCK)))

    def assert_nothing_written(self):
        self.assertEqual(sorted(os.listdir(self.folder)), ["App.dSYM"])

    def test_usage(self):
        good = ["-c", "-k", "--keepParent", self.source, self.zip]
        for arguments in ([], good[:4], good + ["x"], ["-k", "-c", *good[2:]]):
            done = subprocess.run([DITTO, *arguments], capture_output=True)
            self.assertEqual((done.returncode, done.stdout, done.stderr),
                             (64, b"", b"usage: ditto -c -k --keepParent SOURCE DESTINATION\n"), arguments)
        self.assert_nothing_written()

    def test_paths_that_do_not_do(self):
        os.mkfifo(f"{self.source}/pipe")
        for name, target in (("to pipe", "pipe"), ("dangling", "nowhere")):
            os.symlink(target, f"{self.source}/{name}")
        for source, destination, message in [
            (f"{self.folder}/two\nlines", None, f"{self.folder}/two?lines: No such file or directory"),
            (f"{self.noise}/", None, f"{self.noise}/: Not a directory"),
            ("/dev/null", None, "/dev/null: Not a folder or file"),
            ("/", None, "/: Has no name of its own"),
            (None, f"{self.folder}/none/x.zip", f"{self.folder}/none/x.zip: No such file or directory"),
            (None, self.source, f"{self.source}: Is not a regular file"),
            (None, f"{self.source}/pipe", f"{self.source}/pipe: Is not a regular file"),
            (None, f"{self.source}/to pipe", f"{self.source}/to pipe: Is not a regular file"),
            (None, f"{self.source}/dangling", f"{self.source}/dangling: No such file or directory"),
        ]:
            with self.subTest(source=source, destination=destination):
                self.assert_fails(self.ditto(source, destination), message)
        self.assert_nothing_written()

    def test_special_files_are_refused_unopened(self):
        path = os.path.join(self.source, "special")
        os.mkfifo(path)
        self.assert_fails(self.ditto(), f"{path}: Not a folder, file or symbolic link")
        self.assert_nothing_written()

    def test_what_may_not_be_read_or_written(self):
        # Permission bits bind root only when it lacks these rights.
        through = () if os.geteuid() else ("setpriv", "--bounding-set", "-dac_override,-dac_read_search")
        secret = os.fsdecode(self.write("secret", b"x"))
        for path, mode, denied in [(self.folder, 0o500, self.zip), (secret, 0, secret), (self.source, 0, self.source)]:
            with self.subTest(path=path):
                before = os.stat(path).st_mode
                os.chmod(path, mode)
                done = self.ditto(through=through)
                os.chmod(path, before)
                self.assert_fails(done, f"{denied}: Permission denied")
        self.assert_nothing_written()

    def test_full_disk_leaves_what_was_there(self):
        self.write("more noise", noise(2 * BLOCK))
        full = limit(resource.RLIMIT_FSIZE, BLOCK + 5_000)
        with open(self.zip, "w", encoding="utf-8") as file:
            file.write("precious")
        self.assert_fails(self.ditto(preexec_fn=full), f"{self.zip}: File too large")
        with open(self.zip, encoding="utf-8") as file:
            self.assertEqual(file.read(), "precious")
        os.unlink(self.zip)
        self.assert_nothing_written()

    @contextlib.contextmanager
    def at_work_on_endless_file(self, prepare=heed_signals):
        """The program while it reads a sparse file that would take it hours."""
        endless = self.write("endless")
        os.truncate(endless, 1 << 40)
        with subprocess.Popen([DITTO, "-c", "-k", "--keepParent", self.source, self.zip],
                              stderr=subprocess.PIPE, preexec_fn=prepare) as process:
            try:
                # The noise comes first and is written when the pipeline is full of what follows it.
                while not any(file.stat().st_size >= BLOCK for file in os.scandir(self.folder)):
                    self.assertIsNone(process.poll())
                    time.sleep(0.001)
                yield process, endless
            finally:
                process.kill()

    def test_signals_remove_the_partial_archive(self):
        for number in ENDING:
            with self.subTest(signal=number), self.at_work_on_endless_file() as (process, _):
                process.send_signal(number)
                self.assertEqual(process.wait(), -number)
                self.assert_nothing_written()

    def test_a_signal_that_the_parent_ignores_stays_ignored(self):
        with self.at_work_on_endless_file(lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)) as (process, _):
            process.send_signal(signal.SIGHUP)
            process.terminate()
            self.assertEqual(process.wait(), -signal.SIGTERM)

    def test_file_that_shrinks(self):
        with self.at_work_on_endless_file() as (process, endless):
            os.truncate(endless, 5)
            message = f"ditto: {os.fsdecode(endless)}: Became shorter while it was read\n"
            self.assertEqual(process.communicate()[1].decode(), message)
            self.assertEqual(process.returncode, 1)
        self.assert_nothing_written()


if __name__ == "__main__":
    unittest.main()
