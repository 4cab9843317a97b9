"""The hand-off road: which builds take it, what the desktop app is given, and what is left for it."""

import errno
import hashlib
import os
import plistlib
import re
import resource
import shutil
import signal
import unittest
from pathlib import Path
from urllib.parse import quote

from desktop_app import HandOffTest
from support import API_KEY, CHECKER, UNPRIVILEGED, posix_error, tree

API_BASE_URL = "https://api.quorvex.example"
UUID = r"[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"  # RFC 9562, version 4
COPIED = ("PLATFORM_NAME", "PROJECT_FILE_PATH", "CONFIGURATION", "XCODE_VERSION_ACTUAL", "CODE_SIGN_IDENTITY",
          "SDKROOT")
INFO_KEYS = ("CFBundleShortVersionString", "CFBundleVersion", "CFBundleDisplayName", "CFBundleName",
             "CFBundleIdentifier")
LEGACY = ("BUILT_PRODUCTS_DIR", "PRODUCT_NAME", "WRAPPER_NAME", "DWARF_DSYM_FOLDER_PATH",
          "DWARF_DSYM_FILE_NAME", "PLATFORM_NAME", "PROJECT_FILE_PATH", "INFOPLIST_PATH", "CONFIGURATION",
          "SDKROOT")
NEW = {"CFBundleVersion": "203"}
OLD = {"CFBundleVersion": "202"}


def cache_root(caches: Path, endpoint: str) -> Path:
    return caches / "com.quorvex.mac" / hashlib.md5(endpoint.encode()).hexdigest() / "builds"


class RecordTest(HandOffTest):
    def build_folders(self) -> list[Path]:
        root = cache_root(Path(self.settings["XDG_CACHE_HOME"]), API_BASE_URL)
        return sorted(root.iterdir()) if root.exists() else []

    def record_of(self, folder: Path) -> dict:
        """What the record of a build must be."""
        info = plistlib.loads(self.app.info_plist.read_bytes())
        record = {key: self.settings.get(key) for key in COPIED}
        record |= {"QUORVEX_FRAMEWORK_PATH": str(self.framework), "QUORVEX_API_KEY": API_KEY,
                   "QUORVEX_RUN_VERSION": "150",
                   "PROVISIONING_PROFILE": self.settings.get("PROVISIONING_PROFILE"),
                   "dSYMs": sorted(str(folder / path.name) for path in self.app.products.glob("*.dSYM"))}
        record |= {key: info.get(key) for key in INFO_KEYS} | {"Runner_Environment_Dictionary": self.settings}
        return {key: value for key, value in record.items() if value is not None}

    @unittest.skipIf(CHECKER, "the checker changes the environment")
    def test_the_record_and_the_dsyms(self):
        shutil.copytree(self.app.dsym, self.app.products / "Ext ä.appex.dSYM")
        (self.app.products / "Ext ä.appex.dSYM/empty").mkdir(mode=0o750)
        (self.app.products / "Ext ä.appex.dSYM/circle").symlink_to("../circle")
        (self.app.products / "lower.DSYM").mkdir()
        # Copied as what it stands for: in the cache the link itself would lead to nothing.
        shutil.copytree(self.app.dsym, self.folder / "elsewhere")
        (self.app.products / "Linked.dSYM").symlink_to("../../../elsewhere")
        self.settings["XDG_CACHE_HOME"] = str(self.folder / "a b&ä=%+")
        program = self.register(info=NEW)
        for missing in ((), ("SDKROOT", "XCODE_VERSION_ACTUAL", "PROVISIONING_PROFILE")):
            for name in missing:
                del self.settings[name]
            before = set(self.build_folders())
            self.assert_run(self.run_tool(umask=0), 0, "")
            folder, = set(self.build_folders()) - before
            self.assertRegex(folder.name, f"^{UUID}$")
            path = quote(str(folder / "Build.plist"), safe="")
            self.assertEqual(f"quorvex://xcode?QUORVEX_BUILD_PLIST_PATH={path}", self.received(program))
            record = plistlib.loads((folder / "Build.plist").read_bytes())
            self.assertEqual(self.record_of(folder), record)
            self.assertEqual(list(self.record_of(folder)), list(record))
            self.assertEqual(0o600, (folder / "Build.plist").stat().st_mode & 0o777)
            self.assertEqual({"Build.plist", "Sample.app.dSYM", "Ext ä.appex.dSYM", "Linked.dSYM"}, set(os.listdir(folder)))
            for path in record["dSYMs"]:
                self.assertEqual(tree((self.app.products / Path(path).name).resolve()), tree(Path(path)))
        self.assertEqual([], self.service.proxy_requests)

    def test_the_legacy_query(self):
        program = self.register(info=OLD)
        self.settings["PRODUCT_NAME"] = "AZaz09-._~ !*'\"();:@&=+$,/?#[]%20é€😀<>\\^`{|}\x7f\n"
        self.settings["FRAMEWORK_SEARCH_PATHS"] = '"/a b" /c'
        for missing in ((), ("XCODE_VERSION_ACTUAL", "FRAMEWORK_SEARCH_PATHS", "SDKROOT", "WRAPPER_NAME")):
            for name in missing:
                del self.settings[name]
            key = f"&{API_KEY[1:]}"
            self.assert_run(self.run_tool(key), 0, "")
            pairs = [(name, quote(self.settings.get(name, ""), safe="")) for name in LEGACY]
            pairs += [("QUORVEX_FRAMEWORK_PATH", quote(str(self.framework), safe="")),
                      ("QUORVEX_API_KEY", quote(key, safe="")), ("QUORVEX_RUN_VERSION", "150")]
            if not missing:
                pairs += [("XCODE_VERSION_ACTUAL", "0511"),
                          ("FRAMEWORK_SEARCH_PATHS", "%22%2Fa%20b%22%20%2Fc")]
            self.assertEqual("quorvex://xcode?" + "&".join(f"{name}={value}" for name, value in pairs),
                             self.received(program))
        self.assertEqual(2 * [["Sample.app.dSYM"]], [os.listdir(folder) for folder in self.build_folders()])

    def test_which_version_reads_the_record(self):
        for info in (*({"CFBundleVersion": version} for version in (203, "203.1b", "203", "202", 202, "v203")),
                     {"CFBundleShortVersionString": "203"}, None):
            with self.subTest(info):
                program = self.register(info=info)
                self.assert_run(self.run_tool(), 0, "")
                reads = info is not None and str(info.get("CFBundleVersion")).startswith("203")
                self.assertEqual(reads, "QUORVEX_BUILD_PLIST_PATH" in self.received(program))

    def test_where_the_cache_is(self):
        program = self.register(info=NEW)
        endpoint = "https://elsewhere.example/ä/"
        info = plistlib.loads(self.app.info_plist.read_bytes())
        home = Path(self.settings["HOME"])
        rows = [(str(self.folder / "other"), endpoint, self.folder / "other"),
                ("relative", API_BASE_URL, home / ".cache"), (None, API_BASE_URL, home / ".cache"),
                ("", 7, home / ".cache")]
        for setting, configured, cache in rows:
            with self.subTest(setting):
                self.app.info_plist.write_bytes(plistlib.dumps(info | {"QuorvexAPIEndpoint": configured}))
                self.settings.pop("XDG_CACHE_HOME", None)
                self.settings |= {} if setting is None else {"XDG_CACHE_HOME": setting}
                self.assert_run(self.run_tool(), 0, "")
                path = self.received(program).partition("=")[2]
                builds = cache_root(cache, configured if isinstance(configured, str) else API_BASE_URL)
                self.assertRegex(path, f"^{re.escape(quote(f'{builds}/', safe=''))}{UUID}%2FBuild\\.plist$")

    @unittest.skipIf(CHECKER, "the checker changes the environment")
    def test_any_environment_reads_back(self):
        program = self.register(info=NEW)
        many = {f"VARIABLE_{number}": str(number) for number in range(10_000)}
        odd = {b"LINES": b"a\nb\r\nc\rd\te ", b"EMPTY": b"", b"MARKUP": "<&>\"']]>\u20ac😀".encode(),
               b"EQUALS": b"=a=b="}
        broken = {b"BYTES": (b"a\xffb", "a\ufffdb"), b"CONTROL": (b"a\x01\x1b[0mb", "a\ufffd\ufffd[0mb"),
                  b"NO_CHARACTER": ("a\uffffb".encode(), "a\ufffdb"), b"NAME\xfe": (b"x", "x")}
        passed = {os.fsencode(name): os.fsencode(value) for name, value in (self.settings | many).items()}
        passed |= odd | {name: value for name, (value, _) in broken.items()}
        self.assert_run(self.run_tool(settings=passed), 0, "")
        self.received(program)
        folder, = self.build_folders()
        wanted = self.settings | many | {name.decode(): value.decode() for name, value in odd.items()}
        wanted |= {name.decode(errors="replace"): text for name, (_, text) in broken.items()}
        record = plistlib.loads((folder / "Build.plist").read_bytes())
        self.assertEqual(wanted, record["Runner_Environment_Dictionary"])


    @unittest.skipIf(CHECKER, "the checker writes files of its own")
    def test_a_record_that_does_not_fit_is_not_begun(self):
        program = self.register(info=NEW)
        self.settings |= {f"VARIABLE_{number}": "x" * 100 for number in range(10_000)}
        most = 4 * max(path.stat().st_size for path in self.app.dsym.rglob("*"))

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (most, most))

        self.assert_run(self.run_tool(preexec_fn=limit), 0, "")
        self.assertIn("Build.plist", self.received(program))  # the app says that it finds none
        folder, = self.build_folders()
        self.assertEqual([self.app.dsym.name], os.listdir(folder))


class RoadTest(HandOffTest):
    DIRECT, HAND_OFF = "direct", "hand-off"

    def test_which_road_is_taken(self):
        rows = [  # the ancestors, whether the desktop app is there
            ((), False, self.DIRECT), (("xcode",), False, self.DIRECT), (("Xcode",), False, self.HAND_OFF),
            (("Xcode", "sh (x) y"), False, self.HAND_OFF), (("XcodeHelper",), False, self.DIRECT),
            (("xcsbuildd",), False, self.DIRECT), (("xcsbuildd", "Xcode"), False, self.DIRECT),
            (("Xcode", "xcsbuildd"), True, self.DIRECT), (("xcsbuildd",), True, self.DIRECT),
            ((), True, self.HAND_OFF), (("Xcode",), True, self.HAND_OFF)]
        for names, installed, road in rows:
            with self.subTest(names, installed=installed):
                shutil.rmtree(Path(self.settings["XDG_DATA_HOME"]) / "applications", ignore_errors=True)
                program = self.register(info=NEW) if installed else None
                before = len(self.service.exchanges)
                result = self.run_tool(API_KEY, through=self.ancestors(*names))
                if road == self.DIRECT:
                    self.assert_run(result, 0, self.uploaded())
                elif installed:
                    self.assert_run(result, 0, "")
                    self.received(program)
                else:
                    self.assert_run(result, 1, self.sign_up())
                self.assertEqual(2 if road == self.DIRECT else 0, len(self.service.exchanges) - before)

    def sign_up(self) -> str:
        return ("This app relies on Vendra. Please sign up for access at "
                "https://www.vendra.example/sign_up,\ninstall Vendra.app then ask a team member to invite you "
                "to this app's organization.\n\nIf this machine is a build server please remove Vendra.app if "
                "present and use xcodebuild so that Sample.app.dSYM is uploaded.\n")

    def test_debug_lines_of_both_questions(self):
        program, here = self.register(info=NEW), self.app.project
        self.assert_run(self.run_tool(API_KEY, "-debug", "YES", through=self.ancestors("Xcode")), 0, (
            f"Src root {here}Current directory path {here}Run script build phase called from Xcode Bots 0"
            f"Install path file://{program.parents[2]}/Sending data to Vendra.app"))
        self.received(program)

    def test_without_a_desktop_app_the_browser_gets_the_sign_up_page(self):
        program = self.register("https")
        self.assert_run(self.run_tool(API_KEY, through=self.ancestors("Xcode")), 1, self.sign_up())
        self.assertEqual("https://www.vendra.example/sign_up", self.received(program))

    def test_only_the_direct_road_loads_the_libraries_of_the_network(self):
        self.settings["LD_DEBUG"] = "files"  # the loader names each file on standard error
        for road in (self.DIRECT, self.HAND_OFF):
            with self.subTest(road):
                program = self.register(info=NEW) if road == self.HAND_OFF else None
                loaded = self.run_tool().stderr.decode()
                for library in ("libcurl", "libssl", "libcrypto"):
                    self.assertEqual(road == self.DIRECT, f"file={library}" in loaded, library)
                if program:
                    self.received(program)

    def test_an_app_that_keeps_running_holds_nothing_of_ours(self):
        program = self.register(info=NEW, then=f"while [ -e '{self.app.project}' ]; do sleep 0.1; done")
        self.assert_run(self.run_tool(), 0, "")  # which ends although the app goes on
        self.received(program)
        # Out of reach of the build's terminal and group.
        process, session = program.with_name("Vendra.session").read_text().split()
        self.assertEqual(process, session)
        # A shell has its script open as well.
        self.assertEqual(sorted(["/dev/null"] * 3 + [str(program)]),
                         sorted(program.with_name("Vendra.descriptors").read_text().splitlines()))


class FailureTest(HandOffTest):
    def setUp(self):
        super().setUp()
        self.program = self.register(info=NEW)
        self.cache = Path(self.settings["XDG_CACHE_HOME"])
        self.build = cache_root(self.cache, API_BASE_URL) / "UUID"

    def assert_failed(self, *log: str, **options):
        """The run ends with these log lines; the source is untouched, and the app neither asked nor served."""
        before = tree(self.app.dsym)
        result = self.run_tool(API_KEY, **options)
        stderr = re.sub(UUID, "UUID", result.stderr.decode()).encode()
        self.assert_run(result._replace(stderr=stderr), 1, "", log)
        self.assertEqual(before, tree(self.app.dsym))
        self.assertEqual([], list(self.cache.rglob("Build.plist*")))
        self.assertFalse(self.program.with_name("Vendra.called").exists())

    def test_what_cannot_be_copied(self):
        os.mkfifo(self.app.dsym / "pipe")
        error = posix_error(errno.EOPNOTSUPP, self.app.dsym / "pipe")
        self.assert_failed(f"Unable to copy dSYM at path {self.app.products} to path "
                           f"{self.build}/Sample.app.dSYM {error}")

    def test_a_cache_without_room(self):
        large = self.app.dsym / "large"
        large.write_bytes(os.urandom(200_000))
        self.settings["XDG_CACHE_HOME"] = str(self.cache / "small")
        build = self.cache / "small" / self.build.relative_to(self.cache)
        self.assert_failed(f"Unable to copy dSYM at path {self.app.products} to path {build}/Sample.app.dSYM "
                           + posix_error(errno.ENOSPC, build / "Sample.app.dSYM/large"),
                           through=self.small_disk(self.cache / "small"))

    def test_a_products_folder_that_cannot_be_listed(self):
        self.app.products.chmod(0o300)
        self.addCleanup(self.app.products.chmod, 0o700)
        self.assert_failed(f"Unable to get contents of path {self.app.products} \n"
                           + posix_error(errno.EACCES, self.app.products), through=UNPRIVILEGED)

    def test_a_cache_that_cannot_be_made(self):
        self.cache.rmdir()
        self.cache.symlink_to("nowhere")  # the reason is that of the attempt, not that of looking what is there
        error = posix_error(errno.EEXIST, self.cache)
        self.assert_failed("ERROR: unable to write directory for object store.", error,
                           f"Unable to create directory at path {self.build} \n{error}")


if __name__ == "__main__":
    unittest.main()
