"""Which symbols the inspector finds for a real app with a framework and an extension."""

import contextlib
import json
import os
import pty
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools"))

import llvm_truth  # noqa: E402
import sample_app  # noqa: E402
from sample_app import LLVM  # noqa: E402

INSPECT = os.environ.get("INSPECT", llvm_truth.ROOT / "build/inspect")
KIT, SHARE = "Frameworks/Kit.framework/Kit", "PlugIns/Share.appex/Share"
TARGET = "arm64-apple-ios13.0"


def match(*arguments, **options):
    """The exit status, the objects of all lines but the last, and the last."""
    done = subprocess.run([INSPECT, "--match", "--json", *arguments], capture_output=True, **options)
    *lines, counts = [json.loads(line.decode("utf-8")) for line in done.stdout.splitlines()]
    return done.returncode, lines, counts


def build(made, kind, text=sample_app.SOURCE):
    """Links the source, as arm64 code with debug information."""
    made.parent.mkdir(parents=True, exist_ok=True)
    source, object_, stub = (made.with_suffix(suffix) for suffix in (".c", ".o", ".tbd"))
    source.write_text(text)
    stub.write_text(sample_app.LIBRARY_STUB.format(target="arm64-ios"))
    subprocess.run(["clang", "-target", TARGET, "-g", "-c", source, "-o", object_], check=True)
    # Load commands that take more than a page.
    paths = [word for number in range(5) for word in ("-rpath", f"/{number:01000}")]
    subprocess.run([LLVM / "ld64.lld", "-arch", "arm64", "-platform_version", "ios", "13.0", "13.0", kind, *paths,
                    object_, stub, "-o", made], check=True)
    source.unlink()
    stub.unlink()


def extract(made, dsym):
    shutil.rmtree(dsym, ignore_errors=True)
    subprocess.run([LLVM / "dsymutil", made, "-o", dsym], check=True, capture_output=True)


class InspectMatchTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="inspect-match-")
        cls.addClassCleanup(folder.cleanup)
        cls.made = sample_app.make(Path(folder.name).resolve())
        for path, kind in ((KIT, "-dylib"), (SHARE, "-execute")):
            build(cls.made.wrapper / path, kind)
            extract(cls.made.wrapper / path, cls.made.products / f"{Path(path).parent.name}.dSYM")
            (cls.made.wrapper / path).with_suffix(".o").unlink()

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="inspect-match-")
        self.addCleanup(folder.cleanup)
        self.app = self.made.copy_to(Path(folder.name).resolve() / "copy")
        self.wrapper, self.products = self.app.wrapper, self.app.products
        self.kit_dsym = self.products / "Kit.framework.dSYM"
        self.dwarf = self.kit_dsym / "Contents/Resources/DWARF/Kit"

    def test_every_slice_is_found_as_llvm_reads_them(self):
        (self.wrapper / "Class").write_bytes(struct.pack(">IHH", 0xCAFEBABE, 0, 61) + b"\xff" * 4000)
        os.mkfifo(self.wrapper / "fifo")
        for link, target in (("Alias", "Sample"), ("Inner", KIT.rpartition("/")[0]), ("Self", "."),
                             ("Nowhere", "missing"), ("Endless", "Endless")):
            (self.wrapper / link).symlink_to(target)
        # A slice further away than 32 bits reach has another fat header.
        thin = (self.wrapper / SHARE).read_bytes()
        header = struct.pack(">4I2Q2I", 0xCAFEBABF, 1, 0x0100000C, 0, 64, len(thin), 0, 0)
        (self.wrapper / SHARE).write_bytes(header.ljust(64, b"\0") + thin)
        dsyms = ("Sample.app.dSYM", "Kit.framework.dSYM", "Share.appex.dSYM")
        expected = [(path, architecture, uuid, "found", f"../{dsym}")
                    for path, dsym in zip((KIT, SHARE, "Sample"), (dsyms[1], dsyms[2], dsyms[0]))
                    for uuid, architecture in llvm_truth.uuids(self.products / dsym)]
        self.assertEqual(llvm_truth.uuids(self.app.executable), llvm_truth.uuids(self.app.dsym))
        status, lines, counts = match(self.wrapper, timeout=20)
        self.assertEqual(0, status)
        self.assertEqual(expected, [tuple(line.values()) for line in lines[:4]])
        self.assertEqual(["Endless", "Nowhere", "Self"], [line["path"] for line in lines[4:]])
        self.assertEqual((3, 4, 4), (counts["files"], counts["slices"], counts["found"]))

        table = subprocess.run([INSPECT, "--match", self.wrapper], capture_output=True, text=True)
        header, *rows = table.stdout.splitlines()
        self.assertEqual(expected, [tuple(row.split()) for row in rows[:4]])
        columns = {tuple(row.index(text) for text in row.split()[1:]) for row in [header, *rows[:4]]}
        self.assertEqual(1, len(columns))
        self.assertEqual((0, "3 files, 4 slices, 4 found, 3 paths with a problem"), (table.returncode, rows[-1]))

    def test_each_way_to_lack_symbols(self):
        def another_build(made):
            build(made, "-dylib", sample_app.SOURCE + "int more;")

        def another_builds_symbols():
            another_build(self.app.root / "Kit")
            extract(self.app.root / "Kit", self.kit_dsym)
            shutil.copytree(self.kit_dsym, self.products / "Kit.app.dSYM")

        def strip(dsym):
            # The debug map leads to the object file, which has gone, and dsymutil writes tables about nothing.
            subprocess.run([LLVM / "llvm-strip", "-S", self.wrapper / KIT], check=True)
            extract(self.wrapper / KIT, dsym)

        usual = "Kit.framework.dSYM"
        for change, symbols, dsym, status, unmatched in (
                (lambda: shutil.rmtree(self.kit_dsym), "missing", None, 1, 0),
                (another_builds_symbols, "another build", usual, 1, 2),
                # Its namesake's symbols are those of this build.
                (lambda: another_build(self.wrapper / "Extra.appex/Kit"), "missing", None, 1, 0),
                (lambda: strip(self.kit_dsym), "empty", usual, 1, 0),
                (lambda: strip(self.products / "A.dSYM"), "found", usual, 0, 0),
                (lambda: self.dwarf.unlink(), "empty", usual, 1, 1),
                (lambda: os.truncate(self.dwarf, 8000), "empty", usual, 1, 0),
                (lambda: os.truncate(self.dwarf, 30), "missing", None, 1, 0),
                (lambda: self.kit_dsym.rename(self.products / "renamed"), "found", "renamed", 0, 0),
                (lambda: self.dwarf.rename(self.products / "bare"), "found", "bare", 0, 1),
                (lambda: shutil.copytree(self.kit_dsym, self.products / "A.xcarchive/A.dSYM"), "found", usual, 0, 0),
                (lambda: shutil.copy(self.wrapper / SHARE, self.dwarf), "missing", None, 1, 0),
                (lambda: os.truncate(self.wrapper / KIT, 600), "missing", None, 2, 1)):
            with self.subTest(symbols=symbols, status=status, unmatched=unmatched):
                self.setUp()
                change()
                found, lines, counts = match(self.wrapper)
                self.assertEqual((symbols, dsym and f"../{dsym}"), (lines[0]["symbols"], lines[0]["dSYM"]), lines)
                self.assertEqual((status, unmatched), (found, counts["unmatched"]), lines)
                self.assertEqual({"found"}, {line["symbols"] for line in lines[1:4]})

    def test_an_archive_and_named_symbols(self):
        archive = self.products / "Sample.xcarchive"
        (archive / "Products/Applications").mkdir(parents=True)
        (archive / "SwiftSupport").mkdir()
        shutil.copy(self.wrapper / KIT, archive / "SwiftSupport/libswift.dylib")
        (archive / "dSYMs").mkdir()
        for dsym in self.products.glob("*.dSYM"):
            dsym.rename(archive / "dSYMs" / dsym.name)
        self.wrapper.rename(archive / "Products/Applications/Sample.app")
        status, lines, _ = match("Products/Applications/../../../Sample.xcarchive/.", cwd=archive)
        self.assertEqual((0, 4), (status, len(lines)))
        self.assertEqual(("Products/Applications/Sample.app/" + KIT, "dSYMs/Kit.framework.dSYM"),
                         (lines[0]["path"], lines[0]["dSYM"]))
        executable = archive / "Products/Applications/Sample.app" / KIT
        for status, symbols in ((1, [self.app.project]), (0, [archive / "dSYMs"]), (2, [archive / "dSYMs", "none"]),
                                (0, [self.app.project, archive / "dSYMs/Kit.framework.dSYM"])):
            self.assertEqual(status, match(executable, *symbols)[0], symbols)

    def test_wrong_options_and_paths(self):
        os.mkfifo(self.app.root / "fifo")
        self.products.rename(self.app.root / "-a")
        for status, errors, *arguments in (
                (0, 0, "--help"), (2, 1, "--nonsense", "."), (2, 1, "--match"), (2, 1, "--json", "."),
                (2, 0, "--match", ""), (2, 0, "--match", "missing"), (2, 0, "--match", "fifo"),
                (2, 0, "--match", "Project"), (2, 1, "--match", "-a"), (0, 0, "--match", "--", "-a"),
                (0, 0, "./-a", "--match")):
            done = subprocess.run([INSPECT, *arguments], cwd=self.app.root, capture_output=True,
                                  timeout=20)
            self.assertEqual((status, errors), (done.returncode, len(done.stderr.splitlines())), arguments)
            self.assertNotEqual(bool(errors), bool(done.stdout))
        with open("/dev/full", "wb") as full:
            self.assertEqual(2, subprocess.run([INSPECT, "--match", self.app.root], stdout=full,
                                               stderr=subprocess.DEVNULL).returncode)

    def test_colours_and_names_that_would_break_a_line(self):
        name = b"\xff\n\x1b[2J\xc2\x9b\xe2\x80\xae\xe2\x80\xa8\xe6\xbc\xa2\xe6\xbc\xa2e\xcc\x81\""
        shutil.copy(self.wrapper / KIT, os.fsencode(self.wrapper) + b"/" + name)
        for variables, coloured in (({"TERM": "xterm"}, True), ({"TERM": "dumb"}, False), ({}, False),
                                    ({"TERM": "xterm", "NO_COLOR": "1"}, False)):
            terminal, side = pty.openpty()
            self.addCleanup(os.close, terminal)
            subprocess.run([INSPECT, "--match", self.wrapper], stdout=side, env=variables, check=True)
            os.close(side)
            written = b""
            with contextlib.suppress(OSError):  # how a terminal ends that nobody has open
                while piece := os.read(terminal, 1 << 16):
                    written += piece
            text = written.decode("utf-8")
            self.assertEqual(coloured, "\033[32mfound" in text)
            lines = re.sub(r"\033\[\d*m", "", text).replace("\r\n", "\n").split("\n")
            self.assertTrue(all(line.isprintable() for line in lines), lines)
            self.assertEqual(8, len(lines))
            # The two Chinese characters take four columns and the accent none.
            strange, usual = (next(line.index("arm64") for line in lines if name in line) for name in ("\u6f22", KIT))
            self.assertEqual(usual - 2 + 1, strange)
        self.assertEqual(5, match(self.wrapper)[2]["slices"])

    def test_hostile_files_and_files_that_change_end_in_lines(self):
        dice = random.Random(1)
        good = [(self.wrapper / path).read_bytes() for path in (KIT, SHARE, "Sample")]
        for number in range(600):
            bad = bytearray(dice.choice(good))
            for _ in range(dice.randint(1, 8)):
                word = dice.choice((0, 1, 0xFFFFFFFF, 0x7FFFFFFF, 0x80000000, 0xCAFEBABE, 0xFEEDFACE, len(bad)))
                struct.pack_into(dice.choice("<>") + "I", bad, 4 * dice.randrange(300), word)
            (self.wrapper / f"{number}").write_bytes(bad[:dice.choice((len(bad), dice.randrange(2000)))])
        status, lines, counts = match(self.wrapper, timeout=20)
        self.assertEqual(2, status)
        self.assertEqual(counts["slices"] + counts["problems"],
                         sum("path" in line and line["path"] is not None for line in lines))
        self.assertGreater(counts["problems"], 100)

        done = threading.Event()

        def change():
            while not done.is_set():
                for size in (0, 100, len(good[0])):
                    os.truncate(self.wrapper / KIT, size)
                shutil.rmtree(self.products / "Share.appex.dSYM", ignore_errors=True)
                shutil.copytree(self.kit_dsym, self.products / "Share.appex.dSYM")

        changer = threading.Thread(target=change)
        changer.start()
        try:
            statuses = {match(self.wrapper / "Frameworks", timeout=20)[0] for _ in range(50)}
        finally:
            done.set()
            changer.join()
        self.assertLessEqual(statuses, {0, 1, 2})


if __name__ == "__main__":
    unittest.main()
