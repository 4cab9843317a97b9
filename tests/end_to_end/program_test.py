"""What the programs that are shipped need of a system, how they are hardened, and what they tell of their build."""

import os
import platform
import re
import shutil
import subprocess
import unittest

from support import FRAMEWORK, ROOT, EndToEndTest

NEWEST_C_LIBRARY = (2, 35)
# The headers of a later one make the programs need it, too; what is released is built with this one.
RELEASES_ARE_BUILT_WITH = (2, 36)
LARGEST = 1_500_000  # bytes without symbols


def readelf(*arguments) -> str:
    return subprocess.run(["readelf", "-W", *arguments], check=True, capture_output=True, text=True,
                          env=os.environ | {"LC_ALL": "C"}).stdout


BUILD = FRAMEWORK.parent
PROGRAMS = [FRAMEWORK / "run", FRAMEWORK / "ditto", BUILD / "inspect"]


class ProgramTest(unittest.TestCase):
    def test_it_needs_the_c_library_alone_and_no_new_one(self):
        for program in PROGRAMS:
            needed = re.findall(r"\(NEEDED\).*\[(.*)\]", readelf("-d", program))
            allowed = re.compile(r"libc\.so\.6|ld-linux[-\w]*\.so\.\d$")
            self.assertEqual([], [name for name in needed if not allowed.match(name)])
            versions = {tuple(map(int, version.split(".")))
                        for version in re.findall(r"GLIBC_(\d+(?:\.\d+)+)", readelf("--dyn-syms", program))}
            self.assertTrue(versions)
            here = tuple(map(int, platform.libc_ver()[1].split(".")))
            self.assertLessEqual(max(versions), NEWEST_C_LIBRARY if here <= RELEASES_ARE_BUILT_WITH else here)

    def test_it_is_hardened(self):
        for program in PROGRAMS:
            self.assertIn("Type:                              DYN", readelf("-h", program))
            dynamic, headers, symbols = (readelf(what, program) for what in ("-d", "-l", "-s"))
            self.assertRegex(dynamic, r"FLAGS_1.*\bPIE\b")
            self.assertRegex(dynamic, r"FLAGS.*\bBIND_NOW\b")
            self.assertIn("GNU_RELRO", headers)
            self.assertRegex(headers, r"GNU_STACK +(0x0+ +){5}RW +")
            self.assertNotRegex(headers, r"LOAD .* RWE ")
            self.assertIn("__stack_chk_fail", symbols)
            self.assertRegex(symbols, r"__\w+_chk@")
            if platform.machine() == "x86_64":
                code = subprocess.run(["objdump", "-d", "--no-show-raw-insn", "--disassemble=main", program],
                                      check=True, capture_output=True, text=True).stdout
                self.assertRegex(code, r"<main>:\n[^\n]*endbr64")

    def test_it_is_small_and_says_nothing_of_where_it_was_built(self):
        for program in PROGRAMS:
            self.assertNotIn(bytes(ROOT), program.read_bytes())
            self.assertNotIn(bytes(BUILD), program.read_bytes())
        sections = re.findall(r"^ +\[ *\d+\] (\.\S+) +(?!NOBITS)\S+ +\S+ +\S+ +(\S+)", readelf("-S", FRAMEWORK / "run"),
                              re.MULTILINE)
        symbolic = (".symtab", ".strtab", ".debug")
        size = sum(int(size, 16) for name, size in sections if not name.startswith(symbolic))
        self.assertLess(size, LARGEST)


class InstallationTest(EndToEndTest):
    def test_what_is_installed_is_whole_and_works_wherever_it_is_moved(self):
        root = self.folder / "a root"
        subprocess.run(["cmake", "--install", BUILD, "--strip", "--prefix", "/opt/tool"], check=True,
                       capture_output=True, env=os.environ | {"DESTDIR": str(root)})
        self.assertEqual(["lib/Vendra.framework/ditto", "lib/Vendra.framework/inspect", "lib/Vendra.framework/run",
                          "share/man/man1/vendra-ditto.1", "share/man/man1/vendra-run.1"],
                         sorted(str(path.relative_to(root / "opt/tool")) for path in root.rglob("*")
                                if not path.is_dir()))
        self.framework = self.folder / "another folder/Vendra.framework"
        self.framework.parent.mkdir()
        shutil.move(root / "opt/tool/lib/Vendra.framework", self.framework)
        self.assert_run(self.run_tool(), 0, self.uploaded())


if __name__ == "__main__":
    unittest.main()
