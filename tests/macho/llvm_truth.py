"""What the LLVM tools say of a Mach-O file: the truth that other readers are compared with."""

import re
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

from sample_app import LLVM  # noqa: E402


@dataclass
class Slice:
    """Numbers are signed 32-bit ones, the subtype with its capability bits; versions are texts like 10.9,
    None when only LC_BUILD_VERSION records one."""

    architecture: str | None  # None in a thin file, whose architecture the tool does not name
    cputype: int = 0
    cpusubtype: int = 0
    uuid: str | None = None  # 32 lower-case hexadecimal digits
    minimum: str | None = None
    sdk: str | None = None
    dylibs: list[str] = field(default_factory=list)
    # (segment, section) -> offset in the slice
    sections: dict[tuple[str, str], int] = field(default_factory=dict)


def uuids(path: Path) -> list[tuple[str, str]]:
    """(UUID, architecture) of each slice with a UUID, in file order, of a Mach-O file or a dSYM bundle."""
    text = _run("llvm-dwarfdump", "--uuid", path)
    return [(uuid.replace("-", "").lower(), architecture)
            for uuid, architecture in re.findall(r"^UUID: (\S+) \((\S+)\)", text, re.MULTILINE)]


def slices(path: Path) -> list[Slice]:
    """The slices in file order, as llvm-objdump reads their headers."""
    text = _run("llvm-objdump", "--macho", "--private-headers", "--non-verbose", "--arch=all", path)
    parts = re.split(rf"^{re.escape(str(path))}(?: \(architecture (\S+)\))?:$", text, flags=re.MULTILINE)
    return [_slice(architecture, listing) for architecture, listing in zip(parts[1::2], parts[2::2])]


def _slice(architecture: str | None, listing: str) -> Slice:
    header, *commands = re.split(r"^Load command \d+$", listing, flags=re.MULTILINE)
    magic_line = header.strip().splitlines()[-1].split()
    found = Slice(architecture, cputype=_signed(int(magic_line[1])),
                  cpusubtype=_signed(int(magic_line[2]) | int(magic_line[3], 16) << 24))
    for command in commands:
        _read_command(found, command)
    return found


def _read_command(found: Slice, text: str) -> None:
    def value(name: str) -> str | None:
        match = re.search(rf"^\s*{name} (.+)$", text, re.MULTILINE)
        return match and match[1]

    kind = value("cmd")
    if kind == "LC_UUID":
        found.uuid = value("uuid").replace("-", "").lower()
    elif kind.startswith("LC_VERSION_MIN_"):
        found.minimum, found.sdk = value("version"), value("sdk")
    elif kind.endswith("_DYLIB") and kind != "LC_ID_DYLIB":
        found.dylibs.append(value("name").rpartition(" (offset")[0])
    elif kind.startswith("LC_SEGMENT"):
        for section in re.split(r"^Section$", text, flags=re.MULTILINE)[1:]:
            name, segment, offset = (re.search(rf"^\s*{key} (\S+)", section, re.MULTILINE)[1]
                                     for key in ("sectname", "segname", "offset"))
            found.sections[segment, name] = int(offset)


def _signed(number: int) -> int:
    return number - (1 << 32) if number >= 1 << 31 else number


def _run(tool: str, *arguments) -> str:
    return subprocess.run([LLVM / tool, *arguments], check=True, capture_output=True, text=True).stdout
