#!/usr/bin/env python3
"""Compares our reading of property lists with that of Python's plistlib and of plistutil: of lists that one of
them wrote, of such lists with a few bytes changed, or of the files in the folders that are named as arguments
(as a fuzzer leaves them).

What we read, plistlib must read as the same; what it writes, we must read. We refuse more than it does.
"""

import datetime
import math
import os
import plistlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILT = Path(__file__).resolve().parents[2] / "build/tests/platform/property_list_reader"
READER = os.environ.get("PROPERTY_LIST_READER", BUILT)
NOT_IN_XML = re.compile("[\0-\x08\x0b\x0c\x0e-\x1f\ufffe\uffff]")
DATE_BEYOND_PYTHON = re.compile(rb"<date>(-|0000|\d{5})[^<]*</date>")
EPOCH = datetime.datetime(2001, 1, 1)


def read_by_us(files: list[Path]) -> list:
    """What we make of each file, by way of the XML that we write; a text "error: ..." where we refuse."""
    printed = subprocess.run([READER, *files], capture_output=True, check=True).stdout
    return [text.decode() if text.startswith(b"error: ")
            else plistlib.loads(DATE_BEYOND_PYTHON.sub(b"<string>beyond</string>", text))["value"]
            for text in printed.split(b"\0")[:-1]]


def refused(value) -> bool:
    return isinstance(value, str) and value.startswith("error: ")


def comparable(value):
    """A value in a form in which order counts, and not what XML cannot hold."""
    if isinstance(value, dict):
        held = {comparable(key): comparable(item) for key, item in value.items()}
        return list(held.items())
    if isinstance(value, list):
        return [comparable(item) for item in value]
    if isinstance(value, str):
        return NOT_IN_XML.sub("\ufffd", value)
    if isinstance(value, float):
        return "nan" if math.isnan(value) else value
    if isinstance(value, datetime.datetime):
        return "date", math.trunc((value - EPOCH).total_seconds())
    if isinstance(value, plistlib.UID):
        return ""  # which has no place in a list of ours
    return type(value), value


def read_by_plistlib(data: bytes):
    """What plistlib makes of the list; ValueError where it refuses."""
    binary = data.startswith(b"bplist00")
    try:
        return plistlib.loads(data if binary else data.lstrip(b" \t\r\n"),
                              fmt=plistlib.FMT_BINARY if binary else plistlib.FMT_XML)
    except Exception as error:  # of as many types as there are damages
        raise ValueError(f"plistlib: {error!r}") from error


def is_beyond_plistlib(data: bytes, ours) -> bool:
    """Whether the list has something that plistlib is known not to take: dates outside of the years that Python
    has, halves of UTF-16 characters, a sign before a hexadecimal number, an encoding that does not exist."""
    text = repr(ours)
    return ("beyond" in text or "\ufffd" in text or re.search(rb"[-+]0[xX]", data) is not None
            or b"encoding=" in data and b'encoding="UTF-8"' not in data)


def as_plistutil_can(value):
    """The value without what plistutil is known not to hold: its dates and integers are of fewer bits, and it
    knows no empty key."""
    if isinstance(value, dict):
        return {key or "key": as_plistutil_can(item) for key, item in value.items()}
    if isinstance(value, list):
        return [as_plistutil_can(item) for item in value]
    if isinstance(value, datetime.datetime):
        return EPOCH + datetime.timedelta(seconds=math.trunc((value - EPOCH).total_seconds()) % 1_000_000_000)
    return 7 if type(value) is int and value >= 1 << 63 else value


class Generator:
    """Values of all kinds, the odd ones more often than their share."""

    def __init__(self, seed: int):
        self.random = random.Random(seed)

    def text(self) -> str:
        letters = "ab <>&\"'\t\n]\\;=(){},/é€😀\u0301"
        return "".join(self.random.choice(letters) for _ in range(self.random.choice((0, 1, 3, 14, 15, 40))))

    def scalar(self):
        integers = [0, 1, -1, 255, 256, 1 << 31, -(1 << 31), (1 << 63) - 1, -(1 << 63), 1 << 63, (1 << 64) - 1]
        reals = [0.0, 1.5, -2.25, 0.1, 1e300, 5e-324, math.inf, -math.inf]
        return self.random.choice((
            self.text, lambda: self.random.choice(integers), lambda: self.random.choice(reals),
            lambda: self.random.random() < 0.5, lambda: self.random.randbytes(self.random.choice((0, 1, 2, 3, 60, 300))),
            lambda: EPOCH + datetime.timedelta(seconds=self.random.randrange(-63_113_904_000, 252_423_993_600))))()

    def value(self, depth: int = 0):
        kind = self.random.random() + depth / 6
        if kind > 0.7:
            return self.scalar()
        count = self.random.choice((0, 1, 2, 5, 20 if depth < 2 else 3))
        if kind > 0.35:
            return [self.value(depth + 1) for _ in range(count)]
        return {self.text(): self.value(depth + 1) for _ in range(count)}

    def mutated(self, data: bytes) -> bytes:
        changed = bytearray(data)
        for _ in range(self.random.choice((1, 1, 1, 2))):
            place = self.random.randrange(len(changed) + 1)
            match self.random.randrange(4):
                case 0:
                    changed[place:place + 1] = self.random.randbytes(1)
                case 1:
                    del changed[place:place + self.random.choice((1, 2, 30))]
                case 2:
                    changed[place:place] = self.random.choice((b"0", b"<", b"/>", b"<array>", b"&#65;", b"\xff", b" "))
                case _:
                    other = self.random.randrange(len(changed) + 1)
                    changed[place:place + 8] = changed[other:other + 8]
        return bytes(changed)


def old_style(value, choice: random.Random) -> str:
    """The value in the old style, in which everything but data is text."""
    blank = choice.choice(("", " ", "\n\t", "/* { */", "// }\n"))
    if isinstance(value, dict):
        return "{" + "".join(f"{old_style(key, choice)}={old_style(item, choice)};{blank}"
                             for key, item in value.items()) + "}"
    if isinstance(value, list):
        return "(" + ",".join(old_style(item, choice) for item in value) + blank + ")"
    if isinstance(value, bytes):
        return "<" + value.hex(" ", choice.choice((1, 2, 4))) + ">"
    if re.fullmatch(r"[\w$/:.-]+", value, re.ASCII) and not value.startswith(("//", "/*")):
        return value + " " + blank  # a slash would belong to the word
    quote = choice.choice("\"'")
    escaped = value.replace("\\", "\\\\").replace(quote, "\\" + quote).replace("\t", choice.choice(("\t", "\\t", "\\011")))
    if choice.random() < 0.5:  # halves of UTF-16 characters, each in an escape of its own
        escaped = "".join(letter if letter < "\x80" else "".join(
            f"\\U{unit.hex()}" for unit in map(bytes, zip(*[iter(letter.encode("utf-16-be"))] * 2))) for letter in escaped)
    return quote + escaped + quote + blank


def as_text(value):
    """What the old style can hold of a value."""
    if isinstance(value, dict):
        return {key: as_text(item) for key, item in value.items()}
    if isinstance(value, list):
        return [as_text(item) for item in value]
    return value if isinstance(value, bytes) else str(value)


class PropertyListTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="property-lists-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name: str, data: bytes) -> Path:
        (self.folder / name).write_bytes(data)
        return self.folder / name

    def judge(self, files: list[Path]) -> tuple[int, int]:
        """Compares our reading of the files with plistlib's; how many both read, and how many it alone."""
        both = alone = 0
        for file, ours in zip(files, read_by_us(files)):
            data = file.read_bytes()
            if re.match(rb"[\xef\xbb\xbf\s]*[^\0<b\xfe\xff]", data):  # an old one, which plistlib does not know
                continue
            try:
                theirs = read_by_plistlib(data)
            except ValueError:
                theirs = None
            with self.subTest(file.name, data=data[:500]):
                if refused(ours):
                    alone += theirs is not None
                elif not is_beyond_plistlib(data, ours):
                    self.assertEqual(comparable(theirs), comparable(ours))
                    both += 1
        return both, alone

    def test_what_others_write_we_read(self):
        generator, values, files = Generator(1), [], []
        for number in range(300):
            value = generator.value()
            for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
                data = plistlib.dumps(value, fmt=form, sort_keys=False)
                if form == plistlib.FMT_XML and number % 3 == 0:
                    encoding = ("utf-16", "utf-16-be", "utf-8-sig")[number % 9 // 3]
                    mark = b"\xfe\xff" if encoding == "utf-16-be" else b""
                    data = mark + data.decode().replace('encoding="UTF-8"', "").encode(encoding)
                files.append(self.file(f"{number}.{form.name}", data))
                values.append(value)
            texts = as_text(value if isinstance(value, (dict, list)) else [value])
            files.append(self.file(f"{number}.old", old_style(texts, generator.random).encode()))
            values.append(texts)
        for file, value, ours in zip(files, values, read_by_us(files), strict=True):
            with self.subTest(file.name, data=file.read_bytes()[:500]):
                self.assertEqual(comparable(value), comparable(ours))

    def test_what_is_damaged_we_read_as_plistlib_or_not_at_all(self):
        generator, files = Generator(2), []
        for number in range(600):
            form = generator.random.choice((plistlib.FMT_XML, plistlib.FMT_BINARY))
            data = plistlib.dumps(generator.value(), fmt=form, sort_keys=False)
            files.append(self.file(str(number), generator.mutated(data)))
        both, alone = self.judge(files)
        self.assertGreater(both, 60, "hardly one of the lists is still one")
        self.assertLess(alone, both / 2, "we refuse too much")

    @unittest.skipUnless(shutil.which("plistutil"), "there is no plistutil")
    def test_what_we_write_plistutil_reads_and_what_it_writes_we_read(self):
        generator = Generator(3)
        for number in range(60):
            value = as_plistutil_can({"k": generator.value()})
            source = self.file("source", plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=False))
            written = subprocess.run([READER, source], capture_output=True, check=True).stdout[:-1]
            for form in ("bin", "xml"):
                target = self.folder / "target"
                subprocess.run(["plistutil", "-f", form, "-i", self.file("ours", written), "-o", target], check=True)
                with self.subTest(number, form=form, data=written):
                    theirs, = read_by_us([target])
                    self.assertEqual(comparable({"value": value}), comparable(theirs))

    @unittest.skipUnless(shutil.which("plistutil"), "there is no plistutil")
    def test_what_is_damaged_we_read_as_plistutil(self):
        generator, target, same = Generator(4), self.folder / "target", 0
        files = [self.file(str(number), generator.mutated(plistlib.dumps(
            as_plistutil_can(generator.value()), fmt=(plistlib.FMT_XML, plistlib.FMT_BINARY)[number % 2],
            sort_keys=False))) for number in range(300)]
        for file, ours in zip(files, read_by_us(files)):
            if refused(ours) or comparable(ours) != comparable(as_plistutil_can(ours)) or "\ufffd" in repr(ours):
                continue  # of what is no character it makes another one, or no XML
            target.unlink(missing_ok=True)
            subprocess.run(["plistutil", "-f", "xml", "-i", file, "-o", target], check=False, capture_output=True)
            if not target.exists():
                continue  # newer releases refuse more
            with self.subTest(file.name, data=file.read_bytes()[:500]):
                self.assertEqual(comparable(plistlib.loads(target.read_bytes())), comparable(ours))
                same += 1
        self.assertGreater(same, 30)


def main() -> int:
    folders = [Path(argument) for argument in sys.argv[1:] if Path(argument).is_dir()]
    if not folders:
        return unittest.main()
    test = PropertyListTest()
    files = [file for folder in folders for file in sorted(folder.iterdir())]
    for start in range(0, len(files), 500):
        test.judge(files[start:start + 500])
    print(f"{len(files)} lists compared with plistlib")
    return 0


if __name__ == "__main__":
    sys.exit(main())
