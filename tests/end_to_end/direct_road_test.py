"""The direct road: what arrives at the service, what its answers make of a run, the archiver, the artifact."""

import os
import plistlib
import signal
import subprocess
import sys
import unittest
from pathlib import Path

from support import (
    API_HOST, API_KEY, BUILD_SECRET, CHECKER, FRAMEWORK, ROOT, UPLOAD_HOST, EndToEndTest, behaviours, failure,
    tree)

# A command that runs what follows it where /proc is empty.
WITHOUT_PROC = ("unshare", "-m", "sh", "-c", 'mount -t tmpfs none /proc && exec "$@"', "sh")
IDENTITY = [
    ("X-Quorvex-API-Key", API_KEY), ("X-Quorvex-Developer-Token", "5b0e2d9c41f7a3826ce09d4b17a5f3e2c8d64b90"),
    ("X-Quorvex-API-Client-Id", "com.quorvex.run"), ("User-Agent", "run/1.3.18"),
    ("X-Quorvex-API-Client-Build-Version", "150"), ("X-Quorvex-API-Client-Display-Version", "1.3.18")]
UNIQUE_ZIP = r"^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}-[0-9A-Za-z-]+\.zip$"


def text_part(name: str, value: str) -> bytes:
    return (f'--AaB03x\r\nContent-Disposition: form-data; name="{name}"\r\nContent-Type: text/plain\r\n\r\n'
            f"{value}\r\n").encode()


def zip_part(name: str, content: bytes) -> bytes:
    head = (f'--AaB03x\r\nContent-Disposition: form-data; name="code_mapping[file]"; filename="{name}"\r\n'
            "Content-Type: application/zip\r\nContent-Transfer-Encoding: binary\r\n\r\n")
    return head.encode() + content + b"\r\n"


class ExchangeTest(EndToEndTest):
    def test_the_report_and_the_upload_byte_for_byte(self):
        record, kept = self.folder / "arguments", self.folder / "kept.zip"
        self.copy_framework(f'printf "%s\\n" "$@" > {record}; "{FRAMEWORK}/ditto" "$@" && cp "$5" {kept}')
        # The app's own endpoint changes nothing here.
        info = plistlib.loads(self.app.info_plist.read_bytes())
        self.app.info_plist.write_bytes(plistlib.dumps(info | {"QuorvexAPIEndpoint": "https://elsewhere.example"}))
        self.assert_run(self.run_tool(API_KEY, BUILD_SECRET), 0, self.uploaded())
        *words, zip_path = record.read_text().splitlines()
        self.assertEqual(["-c", "-k", "--keepParent", str(self.app.dsym)], words)
        self.assertEqual(self.app.products, Path(zip_path).parent)
        self.assertRegex(Path(zip_path).name, UNIQUE_ZIP)
        pairs = [(line.split()[0][5:], line.split()[1][6:]) for line in self.uuid_log.splitlines()]
        parts = {
            API_HOST: [text_part("app_name", "Sample App"), text_part("tool_details", "build server")],
            UPLOAD_HOST: [
                text_part("project[identifier]", "com.example.sample"),
                text_part("project[display_version]", "241"), text_part("project[build_version]", "2.4.1"),
                text_part("code_mapping[build_configuration]", "Debug"),
                text_part("code_mapping[type]", "dsym"),
                text_part("com_quorvex_run_version", "150"),
                *(text_part("code_mapping[executables][][identifier]", uuid)
                  + text_part("code_mapping[executables][][arch]", name) for uuid, name in pairs),
                zip_part(Path(zip_path).name, kept.read_bytes())]}
        lines = {API_HOST: ("/spi/v1/platforms/ios/apps/com.example.sample/built",
                            [("X-Quorvex-Build-Secret", BUILD_SECRET)]),
                 UPLOAD_HOST: ("/api/v3/platforms/ios/code_mappings", [])}
        self.assertEqual([API_HOST, UPLOAD_HOST], [exchange.host for exchange in self.service.exchanges])
        for exchange in self.service.exchanges:
            path, secret = lines[exchange.host]
            body = b"MIME-Version: 1.0\r\n" + b"".join(parts[exchange.host]) + b"--AaB03x--\r\n"
            self.assertEqual(("POST", path), (exchange.method, exchange.path))
            self.assertEqual(body, exchange.body.bytes())
            # Which encodings it decodes is the HTTP library's to say.
            self.assertEqual([
                ("Host", exchange.host), *IDENTITY, *secret,
                ("Accept", "application/json, application/x-plist"),
                ("Content-Type", "multipart/form-data; boundary=AaB03x"), ("Content-Length", str(len(body)))],
                [header for header in exchange.headers if header[0] != "Accept-Encoding"])
        self.assert_no_zip_left()

    def test_values_that_are_no_text_leave_their_fields_out(self):
        self.app.info_plist.write_bytes(plistlib.dumps({
            "CFBundleIdentifier": "com.example.Ä b", "CFBundleDisplayName": 7, "CFBundleVersion": ["1"],
            "CFBundleShortVersionString": "2\r\n%@"}, fmt=plistlib.FMT_BINARY))
        del self.settings["CONFIGURATION"], self.settings["EXECUTABLE_PATH"]
        report = 'Could not be onboarded statusCode 0 Error Domain=NSURLErrorDomain Code=-1000 "bad URL"'
        self.assert_run(self.run_tool(), 0, report + self.uploaded(uuid_log=""))
        *texts, _ = self.exchanges(UPLOAD_HOST)[0].fields
        self.assertEqual([("project[identifier]", "com.example.Ä b"), ("project[build_version]", "2\r\n%@"),
                          ("code_mapping[type]", "dsym"), ("com_quorvex_run_version", "150")],
                         [(field.name, field.text) for field in texts])

    def test_the_platform_word(self):
        for name, word in [("macosx", "mac"), ("MacOSX", "mac"), ("iPhoneSimulator", "ios"),
                           ("appletvos", "unknown"), ("iphoneos ", "unknown")]:
            with self.subTest(name):
                settings = self.settings | {"PLATFORM_NAME": name}
                self.assert_run(self.run_tool(settings=settings), 0, self.uploaded())
                self.assertEqual([f"/spi/v1/platforms/{word}/apps/com.example.sample/built",
                                  f"/api/v3/platforms/{word}/code_mappings"],
                                 [exchange.path for exchange in self.service.exchanges[-2:]])
        count = len(self.service.proxy_requests)
        del self.settings["PLATFORM_NAME"]
        for settings in (self.settings, self.settings | {"PLATFORM_NAME": ""}):
            self.assert_run(self.run_tool(settings=settings), 1, "Failure determining project platform.")
        self.assertEqual(count, len(self.service.proxy_requests))

    def test_which_statuses_are_taken(self):
        for status in (200, 201, 202, 204, 300, 500):
            with self.subTest(report=status):
                self.service.answer(behaviours.reply(status), host=API_HOST)
                line = "" if status in (200, 201) else f"Could not be onboarded statusCode {status}"
                self.assert_run(self.run_tool(), 0, line + self.uploaded())
        self.service.answer(behaviours.reply(201), host=API_HOST)
        for status in (200, 204, 299, 300, 301, 304, 400, 599):
            taken = status < 301
            with self.subTest(upload=status):
                before = len(self.exchanges(UPLOAD_HOST))
                self.service.answer(behaviours.reply(status), host=UPLOAD_HOST)
                text = f"Sample.app.dSYM could not be uploaded statusCode {status}\n{self.uuid_log}"
                text = self.uploaded(status) if taken else text
                self.assert_run(self.run_tool(), 0 if taken else 1, text)
                self.assertEqual(1 if taken else 2, len(self.exchanges(UPLOAD_HOST)) - before)
        self.assert_no_zip_left()

    def test_a_first_failure_is_silent_and_the_second_upload_has_a_new_zip(self):
        self.service.answer(behaviours.reply(503), behaviours.reply(202), host=UPLOAD_HOST)
        self.assert_run(self.run_tool(), 0, self.uploaded(202))
        names = [exchange.field("code_mapping[file]").file_name for exchange in self.exchanges(UPLOAD_HOST)]
        self.assertEqual((2, 2, 1), (len(names), len(set(names)), len(self.exchanges(API_HOST))))
        self.assert_no_zip_left()


    @unittest.skipIf(CHECKER, "the tool is not run by the test itself")
    def test_a_dry_run_shows_what_would_have_arrived_and_ends_with_the_tools_status(self):
        for status, text in ((201, self.uploaded()), (403, self.refused("403"))):
            with self.subTest(status):
                command = [sys.executable, ROOT / "tools/local_service.py", "--status", str(status), "--", FRAMEWORK / "run", API_KEY]
                settings = self.settings | {"HTTPS_PROXY": "http://nowhere.example", "NO_PROXY": "*"}
                done = subprocess.run(command, env=settings, cwd=self.app.project, capture_output=True, text=True)
                self.assertEqual(0 if status == 201 else 1, done.returncode, done.stderr)
                self.assertTrue(done.stdout.startswith(text), done.stdout)
                self.assertIn("com.example.sample", done.stdout[len(text):])


class SliceWithoutUUIDTest(EndToEndTest):
    app_options = {"platform": "mac", "slices": {"i386": "10.7", "x86_64": "10.9"}}

    def test_it_is_told_at_each_attempt_and_left_out(self):
        self.service.answer(behaviours.reply(500), host=UPLOAD_HOST)
        unnamed = f"Unable to extract uuid-architecture pairs from binary {self.app.executable}"
        refused = f"Sample.app.dSYM could not be uploaded statusCode 500\n{self.uuid_log}"
        self.assert_run(self.run_tool(), 1, 2 * unnamed + refused)
        names = [field.name for field in self.exchanges(UPLOAD_HOST)[0].fields]
        self.assertEqual(1, names.count("code_mapping[executables][][identifier]"))


@unittest.skipIf(os.path.exists("/usr/bin/ditto"), "the machine has an archiver of its own")
class ArchiverTest(EndToEndTest):
    def test_an_archiver_that_fails(self):
        rows = [(None, "ditto tool unavailable at path /usr/bin/ditto\n\n"),
                ('echo half > "$5"; kill -KILL $$', self.compression_failed()),
                ("exit 0", failure("Failed to Load File", f"{self.app.dsym} data could not be loaded"))]
        for script, text in rows:
            with self.subTest(script):
                self.copy_framework(script)
                self.assert_run(self.run_tool(), 1, text)
                self.assert_no_zip_left()
        self.assertEqual([], self.exchanges(UPLOAD_HOST))

    def test_what_an_archiver_says_is_logged_when_it_fails_and_always_in_debug_mode(self):
        says = r'printf "no\xffroom\n 100 %%@\n\n" >&2; '
        for end, arguments, status, said in [("exit 3", (), 1, True), (f'"{FRAMEWORK}/ditto" "$@"', (), 0, False),
                                             (f'"{FRAMEWORK}/ditto" "$@"', ("-debug", "YES"), 0, True)]:
            with self.subTest(end, arguments=arguments):
                self.copy_framework(says.replace(r"\xff", r"\377") + end)
                result = self.run_tool(API_KEY, *arguments)
                self.assertEqual(status, result.status)
                log = ("no\ufffdroom\n 100 %@",) if said else ()
                self.assert_run(result, status, result.stdout.decode(), log)

    def test_an_archiver_that_is_missing_is_explained_in_debug_mode(self):
        self.copy_framework()
        text = self.run_tool(API_KEY, "-debug", "YES").stdout.decode()
        self.assertTrue(text.endswith("ditto tool unavailable at path /usr/bin/ditto\n\n"
                                      f"There is no ditto beside the tool in {self.framework} either.\n"), text)

    @unittest.skipIf(subprocess.run(WITHOUT_PROC + ("true",), stderr=subprocess.DEVNULL).returncode, "nobody may take /proc away")
    def test_without_its_own_path_the_tool_runs_no_archiver_of_the_project(self):
        (self.app.project / "ditto").write_text("#!/bin/sh\ntouch was-run\n")
        (self.app.project / "ditto").chmod(0o755)
        text = self.run_tool(API_KEY, "-debug", "YES", through=WITHOUT_PROC).stdout.decode()
        self.assertIn("ditto tool unavailable at path /usr/bin/ditto\n\nThe system does not tell", text)
        self.assertFalse((self.app.project / "was-run").exists())

    @unittest.skipIf(CHECKER, "the checker starts a child without being told of a failure")
    def test_an_archiver_that_cannot_be_started_ends_the_process(self):
        self.copy_framework("exit 0")
        archiver = self.framework / "ditto"
        archiver.chmod(0o644)
        here = self.app.project  # what was said before must come out of a pipe as well
        debug = (f"Src root {here}Current directory path {here}Run script build phase called from Xcode Bots 0"
                 "Run script build phase called from Xcode.app 0")
        self.assert_run(self.run_tool(API_KEY, "-debug", "YES"), -signal.SIGABRT, debug, (
            "*** Terminating app due to uncaught exception 'NSInvalidArgumentException', reason: "
            f"'launch path not accessible: {archiver}: Permission denied'",))


class ArtifactTest(EndToEndTest):
    def test_it_is_written_when_asked_for(self):
        named = self.folder / "named %@.plist"
        usual = self.app.products / "quorvex.plist"
        rows = [("YES", named, named), ("true", named, named), (" 1x", None, usual), ("YES", None, usual),
                ("NO", None, None), ("0", named, None), ("on", None, None)]
        for switch, path, written in rows:
            with self.subTest(switch, path=path):
                for old in (named, usual):
                    old.unlink(missing_ok=True)
                settings = self.settings | {"QUORVEX_CREATE_ARTIFACT": switch}
                settings |= {"QUORVEX_ARTIFACT_PATH": str(path)} if path else {}
                self.assert_run(self.run_tool(settings=settings, umask=0), 0, self.uploaded())
                self.assertEqual([written is named, written is usual], [named.exists(), usual.exists()])
                if written:
                    self.assertEqual({"QuorvexAPIKey": API_KEY}, plistlib.loads(written.read_bytes()))
                    self.assertEqual(0o600, written.stat().st_mode & 0o777)
        self.assertEqual([], list(self.folder.glob("named*")), "half-written files")

    def test_what_cannot_be_written_is_told_and_the_run_goes_on(self):
        os.mkfifo(self.folder / "pipe")
        for name, target in [("dangling", "nowhere"), ("to a pipe", "pipe"), ("to a folder", "build")]:
            (self.folder / name).symlink_to(target)
        before = tree(self.folder)
        for name in ("no/%@.plist", "build", "pipe", "dangling", "to a pipe", "to a folder"):
            with self.subTest(name):
                path = self.folder / name
                self.settings |= {"QUORVEX_CREATE_ARTIFACT": "YES", "QUORVEX_ARTIFACT_PATH": str(path)}
                self.assert_run(self.run_tool(), 0,
                                f"Failed to write data to artifact path {path}\n\n" + self.uploaded())
        self.assertEqual(before.keys(), tree(self.folder).keys())
        self.assertTrue((self.folder / "pipe").is_fifo())

    def test_a_link_stays_and_the_file_behind_it_is_replaced(self):
        (self.folder / "place").mkdir()
        (self.folder / "place/file").write_text("old")
        (self.folder / "link").symlink_to("place/file")
        self.settings |= {"QUORVEX_CREATE_ARTIFACT": "YES", "QUORVEX_ARTIFACT_PATH": str(self.folder / "link")}
        self.assert_run(self.run_tool(), 0, self.uploaded())
        self.assertEqual("place/file", os.readlink(self.folder / "link"))
        self.assertEqual({"QuorvexAPIKey": API_KEY}, plistlib.loads((self.folder / "place/file").read_bytes()))
        self.assertEqual(["file"], os.listdir(self.folder / "place"))


if __name__ == "__main__":
    unittest.main()
