"""The inspector against what the LLVM tools say of the same real files."""

import hashlib
import json
import os
import plistlib
import subprocess
import tempfile
import unittest
from pathlib import Path

import llvm_truth

import sample_app

INSPECT = os.environ.get("INSPECT", llvm_truth.ROOT / "build/inspect")


def inspect(*paths):
    """The exit status and the object of each line."""
    done = subprocess.run([INSPECT, *paths], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return done.returncode, [json.loads(line.decode("utf-8")) for line in done.stdout.splitlines()]


def version(text):
    """In three numbers, as LLVM prints them only when the last is not 0; it prints n/a for 0."""
    numbers = [] if text in (None, "n/a") else text.split(".")
    return ".".join((numbers + ["0", "0", "0"])[:3])


class InspectTest(unittest.TestCase):
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
        for platform, slices in (("ios", {sample_app.older_phone(): "7.0", "arm64": "7.0"}),
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
        for target in ("armv7-apple-ios7.0", "arm64-apple-ios7.0", "i386-apple-macos10.6", "x86_64-apple-macos10.9"):
            with self.subTest(target), tempfile.NamedTemporaryFile(suffix=".o") as made:
                subprocess.run(["clang", "-target", target, "-x", "c", "-c", "-", "-o", made.name], check=True,
                               input=sample_app.SOURCE.encode())
                status, (found,) = inspect(made.name)
                self.assertEqual((0, [target.split("-")[0]]), (status, self.assert_agrees(found, made.name)))
                self.assertTrue(found["slices"][0]["ehFrame"] or not target.endswith("10.6"), found)


if __name__ == "__main__":
    unittest.main()
