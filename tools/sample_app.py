#!/usr/bin/env python3
"""Makes a real app with its dSYM, laid out as Xcode lays it out, with clang, lld and dsymutil.

FOLDER/Project is the source folder, FOLDER/Products/CONFIGURATION holds the app and its dSYM.
lld links no i386: such a slice is an object file as clang writes it, without UUID or debug symbols.
"""

import argparse
import functools
import os
import plistlib
import shlex
import shutil
import subprocess
import tempfile
from dataclasses import dataclass, replace
from pathlib import Path

# Where the programs of clang's own release are; some have no other name without a version.
LLVM = Path(shutil.which("clang") or "clang").resolve().parent

SOURCE = """\
static int twice(int number) { return 2 * number; }
int main(int argc, char **argv) { (void)argv; return twice(argc); }
"""

# Stands in for the SDK: enough of the system's library to be linked with.
LIBRARY_STUB = """\
--- !tapi-tbd
tbd-version: 4
targets: [ {target} ]
install-name: '/usr/lib/libSystem.B.dylib'
current-version: 1197.1.1
exports:
  - targets: [ {target} ]
    symbols: [ dyld_stub_binder ]
...
"""

UNLINKABLE = ("i386",)


@functools.cache
def older_phone() -> str:
    """The architecture of an iOS slice beside arm64: newer releases of lld link no 32-bit ARM."""
    refusal = subprocess.run([LLVM / "ld64.lld", "-arch", "armv7"], capture_output=True, text=True, check=False).stderr
    return "x86_64" if "unsupported -arch" in refusal else "armv7"


@dataclass(frozen=True)
class Platform:
    target: str  # as clang and lld name it
    name: str  # as Xcode names it
    products: str
    contents: str  # the folder inside the wrapper that holds Info.plist
    executables: str  # the folder inside the wrapper that holds the executable

    def slices(self) -> dict[str, str]:
        """Those of an app of which nobody wants anything special, each with its minimum OS version."""
        return {older_phone(): "7.0", "arm64": "7.0"} if self.target == "ios" else {"x86_64": "10.9"}


PLATFORMS = {
    "ios": Platform("ios", "iphoneos", "Debug-iphoneos", "", ""),
    "mac": Platform("macos", "macosx", "Debug", "Contents", "Contents/MacOS"),
}


@dataclass(frozen=True)
class SampleApp:
    """Where everything of one app lies."""

    root: Path
    platform: Platform
    name: str = "Sample"

    @property
    def project(self) -> Path:
        return self.root / "Project"

    @property
    def products(self) -> Path:
        return self.root / "Products" / self.platform.products

    @property
    def wrapper(self) -> Path:
        return self.products / f"{self.name}.app"

    @property
    def executable(self) -> Path:
        return self.wrapper / self.platform.executables / self.name

    @property
    def info_plist(self) -> Path:
        return self.wrapper / self.platform.contents / "Info.plist"

    @property
    def dsym(self) -> Path:
        return self.products / f"{self.name}.app.dSYM"

    def copy_to(self, folder: Path) -> "SampleApp":
        """A copy of all of it in a folder that does not exist yet."""
        shutil.copytree(self.root, folder, symlinks=True)
        return replace(self, root=folder)

    def environment(self) -> dict[str, str]:
        """The build settings that Xcode gives to a Run Script phase."""
        settings = {
            "BUILT_PRODUCTS_DIR": str(self.products),
            "INFOPLIST_PATH": str(self.info_plist.relative_to(self.products)),
            "EXECUTABLE_PATH": str(self.executable.relative_to(self.products)),
            "PLATFORM_NAME": self.platform.name,
            "PROJECT_FILE_PATH": str(self.project / f"{self.name}.xcodeproj"),
            "CONFIGURATION": "Debug",
            "XCODE_VERSION_ACTUAL": "0511",
            "CODE_SIGN_IDENTITY": "iPhone Developer" if self.platform.target == "ios" else "-",
            "SDKROOT": f"/Applications/Xcode.app/Contents/Developer/SDKs/{self.platform.name}.sdk",
            "PROVISIONING_PROFILE": "",
            "PRODUCT_NAME": self.name,
            "WRAPPER_NAME": self.wrapper.name,
            "DWARF_DSYM_FOLDER_PATH": str(self.products),
            "DWARF_DSYM_FILE_NAME": self.dsym.name,
            "FRAMEWORK_SEARCH_PATHS": str(self.project),
            "SRCROOT": str(self.project),
        }
        if self.platform.target == "ios":
            settings |= {"TARGETED_DEVICE_FAMILY": "1,2", "IPHONEOS_DEPLOYMENT_TARGET": "7.0"}
        return settings


def make(folder: Path, platform: str = "ios", slices: dict[str, str] | None = None, name: str = "Sample",
         info: dict | None = None) -> SampleApp:
    """Makes the app in an existing folder.

    `slices` gives the minimum OS version by architecture; iOS from 13 and macOS from 10.14 on are recorded
    in another load command than the ones before. `info` adds to the Info.plist or replaces what it holds.
    """
    app = SampleApp(folder, PLATFORMS[platform], name)
    app.executable.parent.mkdir(parents=True)
    (app.project / f"{name}.xcodeproj").mkdir(parents=True)
    source = app.project / "main.c"
    source.write_text(SOURCE)
    with tempfile.TemporaryDirectory(prefix="sample-app-") as intermediates:
        _link(app, source, slices or app.platform.slices(), Path(intermediates))
        _extract_symbols(app, Path(intermediates))
    with open(app.info_plist, "wb") as file:
        plistlib.dump(_info(name) | (info or {}), file)
    return app


def _info(name: str) -> dict[str, str]:
    return {
        "CFBundleIdentifier": "com.example.sample",
        "CFBundleDisplayName": f"{name} App",
        "CFBundleName": name,
        "CFBundleShortVersionString": "2.4.1",
        "CFBundleVersion": "241",
        "CFBundleExecutable": name,
    }


def _link(app: SampleApp, source: Path, slices: dict[str, str], intermediates: Path) -> None:
    system = app.platform.target
    thin = []
    for architecture, minimum in slices.items():
        target = f"{architecture}-apple-{system}{minimum}"
        made = intermediates / f"{architecture}.o"
        # lld knows no Thumb branches, so 32-bit ARM code is made without them.
        arm = ["-marm"] if architecture.startswith("armv7") else []
        _run("clang", "-target", target, *arm, "-g", "-c", source, "-o", made)
        if architecture not in UNLINKABLE:
            stub = intermediates / f"{architecture}.tbd"
            stub.write_text(LIBRARY_STUB.format(target=f"{architecture}-{system}"))
            linked = intermediates / architecture
            _run(LLVM / "ld64.lld", "-arch", architecture, "-platform_version", system, minimum, minimum,
                 "-undefined", "dynamic_lookup", "-e", "_main", made, stub, "-o", linked)
            made = linked
        thin.append(made)
    if len(thin) == 1:
        shutil.copy(thin[0], app.executable)
    else:
        _run(LLVM / "llvm-lipo", "-create", *thin, "-output", app.executable)


def _extract_symbols(app: SampleApp, intermediates: Path) -> None:
    # dsymutil joins the slices' symbols with a program called lipo.
    programs = intermediates / "bin"
    programs.mkdir()
    (programs / "lipo").symlink_to(LLVM / "llvm-lipo")
    _run(LLVM / "dsymutil", app.executable, "-o", app.dsym,
         environment=os.environ | {"PATH": f"{programs}:{os.environ['PATH']}"})


def _run(*command, environment: dict[str, str] | None = None) -> None:
    done = subprocess.run(command, env=environment, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{Path(command[0]).name} failed: {done.stderr}")


def main() -> None:
    parser = argparse.ArgumentParser(
        description="Makes a sample app with its dSYM, and FOLDER/environment.sh to be sourced.")
    parser.add_argument("folder", metavar="FOLDER", type=Path, help="an existing folder")
    parser.add_argument("--platform", choices=PLATFORMS, default="ios")
    parser.add_argument("--slice", metavar="ARCH:MINIMUM", action="append", default=[],
                        help="for example arm64:7.0 (iOS) or x86_64:10.9 (Mac); once for each slice")
    parser.add_argument("--name", default="Sample")
    arguments = parser.parse_args()
    slices = dict(text.split(":", 1) for text in arguments.slice)
    app = make(arguments.folder.resolve(), arguments.platform, slices, arguments.name)
    lines = (f"export {key}={shlex.quote(value)}\n" for key, value in app.environment().items())
    (app.root / "environment.sh").write_text("".join(lines))


if __name__ == "__main__":
    main()
