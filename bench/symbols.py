"""Real debug symbols in bulk: C++ sources are generated, compiled for an Apple target, linked and extracted.

The files are made once and kept in the user's cache, until the text of this file changes.
"""

import hashlib
import os
import random
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tools"))

from sample_app import LLVM  # noqa: E402

UNITS = 45
RECORDS_PER_UNIT = 30
LEAST_BYTES = 200_000_000

CPP_LIBRARY = max((folder.name for folder in Path("/usr/include/c++").iterdir()), key=int, default="")
# The C++ library of this machine, made to compile for another one. Optimised, as released apps are.
COMPILE = [
    LLVM / "clang++", "-target", "arm64-apple-ios7", "-std=c++20", "-nostdinc",
    "-isystem", f"/usr/include/c++/{CPP_LIBRARY}", "-isystem", f"/usr/include/x86_64-linux-gnu/c++/{CPP_LIBRARY}",
    "-isystem", max(LLVM.parent.glob("lib/clang/*/include"), default=""),
    "-isystem", "/usr/include/x86_64-linux-gnu", "-isystem", "/usr/include",
    "-D__x86_64__", "-D__linux__", "-D_GNU_SOURCE", "-U__nonnull", "-D__builtin_ia32_pause()=((void)0)",
    "-O1", "-g", "-c"]

HEADERS = ("algorithm", "deque", "functional", "list", "map", "memory", "optional", "set", "string", "unordered_map",
           "utility", "variant", "vector")
NUMBERS = ("int", "long", "double", "unsigned", "short", "float", "unsigned long", "unsigned char")
# What a record is made of, and how it is used: {r} is an earlier record, {t} a number, {m} the member.
MEMBERS = (
    ("{t}", "{m} += static_cast<{t}>(key.size());"),
    ("std::string", "{m} += key;"),
    ("std::vector<{r}>", "{m}.emplace_back(); std::sort({m}.begin(), {m}.end());"),
    ("std::map<std::string, {r}>", "{m}[key];"),
    ("std::map<{t}, std::vector<{t}>>", "{m}[{n}].push_back(static_cast<{t}>(key.size()));"),
    ("std::unordered_map<std::string, {t}>", "{m}[key] = {n} % 100;"),
    ("std::set<{r}>", "{m}.emplace();"),
    ("std::list<{r}>", "{m}.emplace_front(); {m}.sort();"),
    ("std::deque<{r}>", "{m}.emplace_back();"),
    ("std::shared_ptr<{r}>", "auto owned = std::make_unique<{r}>(); {m} = std::move(owned);"),
    ("std::weak_ptr<{r}>", "{m} = std::make_shared<{r}>();"),
    ("std::function<{t}(const {r}&, {t})>",
     "{m} = [this](const {r}& one, {t} value) {{ return static_cast<{t}>(value + one.total + total); }};"),
    ("std::optional<std::pair<std::string, {t}>>", "{m}.emplace(key, static_cast<{t}>(key.size()));"),
    ("std::variant<std::monostate, std::string, {t}>", "{m} = static_cast<{t}>(key.size());"),
)
WORDS = ("account", "basket", "channel", "delivery", "employee", "forecast", "garden", "holiday", "invoice",
         "journey", "kitchen", "library", "message", "network", "order", "payment", "quote", "reservation",
         "schedule", "ticket", "upload", "vehicle", "warehouse", "index", "key", "layer", "cursor", "buffer",
         "style", "color", "frame", "event", "source", "target", "parent", "child", "range", "limit", "state")


def _cache() -> Path:
    home = os.environ.get("XDG_CACHE_HOME", "")
    return (Path(home) if os.path.isabs(home) else Path.home() / ".cache") / "qvx-bench"


def symbols() -> Path:
    """The folder App.app.dSYM with real debug symbols, LEAST_BYTES or more of them, in one file."""
    cache = _cache()
    folder = cache / hashlib.sha256(Path(__file__).read_bytes()).hexdigest()[:16]
    if not folder.exists():
        cache.mkdir(parents=True, exist_ok=True)
        for old in cache.glob("[0-9a-f]" * 16):  # made by an earlier generator
            shutil.rmtree(old)
        with tempfile.TemporaryDirectory(prefix="making-", dir=cache) as making:
            _make(Path(making))
            (Path(making) / "kept").rename(folder)
    return folder / "App.app.dSYM"


def dwarf_file(dsym: Path) -> Path:
    return next((dsym / "Contents/Resources/DWARF").iterdir())


def _record(name: str, earlier: list[str], dice: random.Random) -> str:
    lines, calls = [], []
    for word in dice.sample(WORDS, dice.randint(4, 9)):
        kind, use = dice.choice(MEMBERS)
        member = f"{word}_{dice.choice(WORDS)}"
        method = dice.choice(("add", "update", "load", "reset", "merge")) + "_" + member
        filled = {"r": dice.choice(earlier), "t": dice.choice(NUMBERS), "m": member, "n": dice.randint(0, 999)}
        lines += [f"{kind} {{m}}{{{{}}}};".format(**filled),
                  f"void {method}(const std::string& key) {{ {use.format(**filled)} }}"]
        calls.append(f"one.{method}(key);")
    body = "\n".join(lines)
    return (f"struct {name} {{\nint total = 0;\n{body}\n"
            f"bool operator<(const {name}& other) const {{ return total < other.total; }}\n}};\n"
            f"int use_{name}(const std::string& key) {{\n{name} one;\n{' '.join(calls)}\nreturn one.total;\n}}\n")


def _unit(number: int) -> str:
    """Names are distinct in all units, since types of the same name are kept only once."""
    dice = random.Random(number)
    names = [f"Root{number}"]
    text = "".join(f"#include <{header}>\n" for header in HEADERS)
    text += f"struct Root{number} {{ int total = 0; auto operator<=>(const Root{number}&) const = default; }};\n"
    for index in range(number * RECORDS_PER_UNIT, (number + 1) * RECORDS_PER_UNIT):
        name = f"{dice.choice(WORDS).title()}{dice.choice(WORDS).title()}{index}"
        text += _record(name, names, dice)
        names.append(name)
    return text


def _make(folder: Path) -> None:
    print(f"bench: compiling {UNITS} sources for the debug symbols (once)", file=sys.stderr, flush=True)
    objects = [folder / f"unit{number}.o" for number in range(UNITS)]

    def compile_unit(made: Path) -> None:
        source = made.with_suffix(".cpp")
        source.write_text(_unit(int(made.stem.removeprefix("unit"))))
        _run(*COMPILE, source, "-o", made)

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(compile_unit, objects))
    _run(LLVM / "ld64.lld", "-arch", "arm64", "-platform_version", "ios", "7.0", "7.0",
         "-undefined", "dynamic_lookup", "-dylib", *objects, "-o", folder / "App")
    dsym = folder / "kept/App.app.dSYM"
    _run(LLVM / "dsymutil", folder / "App", "-o", dsym)
    size = dwarf_file(dsym).stat().st_size
    if size < LEAST_BYTES:
        raise RuntimeError(f"only {size} bytes of debug symbols were made")


def _run(*command) -> None:
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{Path(command[0]).name} failed: {done.stderr[-2000:]}")
