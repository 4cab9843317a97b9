#!/usr/bin/env python3
"""Checks what cross/macos/build made, with LLVM's tools and with the inspector of the Linux build: prints what holds,
one line each, and fails at the first thing that does not."""

import hashlib
import json
import re
import struct
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILT = ROOT / "build/macos"
PROGRAMS = {"Vendra.framework/run": ROOT / "driver/Info.plist", "inspect": BUILT / "arm64/tools/Info.plist"}
TOOLS = subprocess.run(["llvm-config", "--bindir"], capture_output=True, text=True, check=True).stdout.strip()
FRAMEWORKS = "/System/Library/Frameworks"
# libcurl is loaded when it is needed; the C++ library comes with the compiler and is linked statically.
LIBRARIES = {"/usr/lib/libSystem.B.dylib", "/usr/lib/libexpat.1.dylib",
             f"{FRAMEWORKS}/CoreFoundation.framework/Versions/A/CoreFoundation",
             f"{FRAMEWORKS}/CoreServices.framework/Versions/A/CoreServices"}


def llvm(tool: str, *arguments: str) -> str:
    return subprocess.run([f"{TOOLS}/llvm-{tool}", *arguments], capture_output=True, text=True, check=True).stdout


def expect(holds: bool, what: str, found=""):
    if not holds:
        raise SystemExit(f"macos: not so: {what}; found {found}")
    print(f"macos: {what}")


def section(slice_path: Path, name: str) -> bytes:
    """The bytes of the section __TEXT,`name` of a thin file, found through the table that LLVM prints."""
    headers = llvm("objdump", "--macho", "--private-headers", str(slice_path))
    found = re.search(rf"sectname {name}\n +segname __TEXT\n +addr \S+\n +size (\S+)\n +offset (\d+)", headers)
    if not found:
        return b""
    size, offset = int(found[1], 16), int(found[2])
    return slice_path.read_bytes()[offset:offset + size]


def signature(slice_path: Path) -> bytes:
    """The code signature of a thin file: a blob that holds others."""
    found = re.search(r"cmd LC_CODE_SIGNATURE\n +cmdsize 16\n +dataoff (\d+)\n +datasize (\d+)",
                      llvm("objdump", "--macho", "--private-headers", str(slice_path)))
    if not found:
        return b""
    offset, size = int(found[1]), int(found[2])
    return slice_path.read_bytes()[offset:offset + size]


def code_directory(blob: bytes) -> bytes:
    """The part of a signature that says what every page of the file must be (all of it big-endian)."""
    magic, _, count = struct.unpack_from(">III", blob)
    if magic != 0xFADE0CC0:
        return b""
    for index in range(count):
        kind, offset = struct.unpack_from(">II", blob, 12 + 8 * index)
        if kind == 0:
            return blob[offset:offset + struct.unpack_from(">I", blob, offset + 4)[0]]
    return b""


def check_signature(label: str, slice_path: Path):
    directory = code_directory(signature(slice_path))
    expect(len(directory) > 44 and directory[:4] == b"\xfa\xde\x0c\x02", f"{label} is signed", directory[:4].hex())
    flags, hashes = struct.unpack_from(">II", directory, 12)
    count, limit = struct.unpack_from(">II", directory, 28)
    size, kind, _, page_bits = directory[36:40]
    expect(flags & 2 != 0, f"{label}: the signature is ad hoc", hex(flags))
    expect((size, kind) == (32, 2), f"{label}: the signature's hashes are SHA-256", (size, kind))
    code = slice_path.read_bytes()[:limit]
    pages = [code[start:start + (1 << page_bits)] for start in range(0, limit, 1 << page_bits)]
    written = [directory[hashes + size * index:hashes + size * (index + 1)] for index in range(count)]
    expect(len(code) == limit and [hashlib.sha256(page).digest() for page in pages] == written,
           f"{label}: each of {count} pages is as it was signed")


def check_slice(label: str, path: Path, info_plist: Path):
    headers = llvm("objdump", "--macho", "--private-headers", str(path))
    build = re.search(r"cmd LC_BUILD_VERSION\n.*\n +platform (\S+)\n +sdk .*\n +minos (\S+)", headers)
    expect(build is not None and build.groups() == ("macos", "11.0"), f"{label} starts on macOS 11.0", build)
    libraries = set(re.findall(r"cmd LC_LOAD\w*_DYLIB\n.*\n +name (\S+)", headers))
    # The inspector asks nothing of the last three, and the linker leaves out what nobody asks. That no header warned of
    # something newer than that system is the compiler's to say: with -Werror.
    needed = LIBRARIES if "run" in label else {"/usr/lib/libSystem.B.dylib"}
    expect(needed <= libraries <= LIBRARIES,
           f"{label} links {', '.join(sorted(name.rpartition('/')[2] for name in libraries))}", libraries)
    expect(section(path, "__info_plist") == info_plist.read_bytes(), f"{label} holds its Info.plist")
    undefined = llvm("nm", "-m", "-u", str(path)).splitlines()
    stubs = {name.rpartition("/")[2].split(".")[0] for name in libraries}
    homeless = [line for line in undefined
                if not (found := re.search(r"\(from (\w+)\)$", line)) or found[1] not in stubs]
    expect(bool(undefined) and not homeless, f"{label}: all {len(undefined)} symbols have a library", homeless)


def check_program(name: str, info_plist: Path):
    program = BUILT / name
    expect(set(llvm("lipo", "-archs", str(program)).split()) == {"arm64", "x86_64"}, f"{name} is universal")
    uuids = {}
    for processor in ("arm64", "x86_64"):
        thin = BUILT / processor / "thin"
        llvm("lipo", "-thin", processor, str(program), "-output", str(thin))
        check_slice(f"{name} ({processor})", thin, info_plist)
        if processor == "arm64":
            check_signature(f"{name} ({processor})", thin)
        uuid = re.search(r"uuid (\S+)", llvm("objdump", "--macho", "--private-headers", str(thin)))
        expect(uuid is not None, f"{name} ({processor}) has a UUID")
        uuids[processor] = uuid[1].replace("-", "").lower()
        thin.unlink()
    seen = json.loads(subprocess.run([ROOT / "build/inspect", program], capture_output=True, check=True).stdout)
    expect({found["architecture"]: found["uuid"] for found in seen["slices"]} == uuids,
           f"{name}: the inspector sees the same two UUIDs", seen)


def main():
    for name, info_plist in PROGRAMS.items():
        check_program(name, info_plist)


if __name__ == "__main__":
    main()
