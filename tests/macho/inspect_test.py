"""The inspector against what the LLVM tools say of the same real files."""

import hashlib
import json
import os
import plistlib
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools"))

import llvm_truth  # noqa: E402
import sample_app  # noqa: E402


def inspect(*paths):
    """The exit status and the object of each line."""
    done = subprocess.run([os.environ["INSPECT"], *paths], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return done.returncode, [json.loads(line.decode("utf-8")) for line in done.stdout.splitlines()]


def version(text):
    """In three numbers, as LLVM prints them only when the last is not 0; it prints n/a for 0."""
    numbers = [] if text in (None, "n/a") else text.split(".")
    return ".".join((numbers + ["0", "0", "0"])[:3])


class InspectTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="inspect-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()

    def assert_agrees(self, found, path):
        truth = llvm_truth.slices(path)
        self.assertEqual(len(truth), len(found["slices"]))
        for slice_, expected in zip(found["slices"], truth):
            self.assertEqual(expected.architecture or slice_["architecture"], slice_["architecture"])
            self.assertEqual((expected.cputype, expected.cpusubtype, expected.uuid),
                             (slice_["cputype"], slice_["cpusubtype"], slice_["uuid"]))
            self.assertEqual((version(expected.minimum), version(expected.sdk)),
                             (slice_["minimumOSVersion"], slice_["linkedSDKVersion"]))
            self.assertEqual(expected.dylibs, slice_["linkedDylibs"])
            self.assertEqual((expected.sections.get(("__TEXT", "__eh_frame")),
                              expected.sections.get(("__TEXT", "__unwind_info"))),
                             (slice_["ehFrame"], slice_["unwindInfo"]))
        pairs = [(s["uuid"], s["architecture"]) for s in found["slices"] if s["uuid"]]
        self.assertEqual(llvm_truth.uuids(path), pairs)
        text = "".join(uuid for uuid, _ in sorted(pairs, key=lambda pair: pair[1]))
        self.assertEqual(hashlib.sha1(text.encode()).hexdigest(), found["instanceIdentifier"])
        return [s["architecture"] for s in found["slices"]]

    def test_executables_and_dsyms_agree_with_llvm(self):
        for platform, slices in (("ios", {"armv7": "7.0", "arm64": "7.0"}),
                                 ("ios", {"arm64": "13.0"}),
                                 ("mac", {"x86_64": "10.9", "i386": "10.6"})):
            with self.subTest(platform=platform, slices=slices), tempfile.TemporaryDirectory() as folder:
                app = sample_app.make(Path(folder).resolve(), platform, slices)
                status, (executable, dsym) = inspect(app.executable, app.dsym)
                self.assertEqual(0, status)
                self.assertEqual(str(app.executable), executable["path"])
                self.assertEqual(list(slices), self.assert_agrees(executable, app.executable))

                inner = app.dsym / "Contents/Resources/DWARF" / app.name
                self.assertEqual((str(app.dsym), str(inner)), (dsym["path"], dsym["executablePath"]))
                self.assert_agrees(dsym["executable"], inner)
                info = plistlib.loads((app.dsym / "Contents/Info.plist").read_bytes())
                self.assertEqual((info["CFBundleIdentifier"].removeprefix("com.apple.xcode.dsym."),
                                  info["CFBundleVersion"], info["CFBundleShortVersionString"]),
                                 (dsym["bundleIdentifier"], dsym["bundleVersion"], dsym["shortBundleVersion"]))

    def test_objects_agree_with_llvm(self):
        source = self.folder / "main.c"
        source.write_text(sample_app.SOURCE)
        for target in ("armv7-apple-ios7.0", "arm64-apple-ios7.0", "i386-apple-macos10.6", "x86_64-apple-macos10.9"):
            made = self.folder / target
            subprocess.run(["clang", "-target", target, "-c", source, "-o", made], check=True)
            status, (found,) = inspect(made)
            self.assertEqual((0, [target.split("-")[0]]), (status, self.assert_agrees(found, made)))
            self.assertTrue(found["slices"][0]["ehFrame"] or not target.endswith("10.6"), found)

    def test_what_cannot_be_opened_is_told_after_all_others_were_handled(self):
        fifo, good = self.folder / "fifo", self.folder / "good"
        os.mkfifo(fifo)
        good.write_bytes(b"sixteen bytes..!")
        broken = self.folder / "Broken.dSYM"
        (broken / "Contents/Resources/DWARF").mkdir(parents=True)
        (broken / "Contents/Resources/DWARF/short").touch()
        status, lines = inspect(self.folder, fifo, self.folder / "missing", broken, good)
        self.assertEqual(1, status)
        self.assertEqual([str(self.folder), str(fifo), str(self.folder / "missing")],
                         [line["path"] for line in lines if line.get("error")])
        self.assertIsNone(lines[3]["executable"])
        self.assertIsNone(lines[3]["executablePath"])
        self.assertEqual("unknown", lines[4]["slices"][0]["architecture"])
        self.assertEqual((64, []), inspect())

    def test_output_is_json_whatever_the_bytes(self):
        names = [bytes(range(1, 128)), "\u00e9\u2028\U0001f600".encode(), b"\xff\xc0\x80"]
        commands = b"".join(struct.pack("<6I", 0xC, 24 + len(name) + 1, 24, 0, 0, 0) + name + b"\0" for name in names)
        path = os.fsencode(self.folder) + b"/\xff\"\\\n"
        with open(path, "wb") as file:
            file.write(struct.pack("<7I", 0xFEEDFACE, 7, 3, 2, len(names), len(commands), 0) + commands)
        status, (found,) = inspect(path)
        self.assertEqual(0, status)
        self.assertEqual(f"{self.folder}/\ufffd\"\\\n", found["path"])
        self.assertEqual([name.decode() for name in names[:2]], found["slices"][0]["linkedDylibs"])


if __name__ == "__main__":
    unittest.main()
