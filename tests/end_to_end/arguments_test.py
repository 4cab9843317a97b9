"""The command line: the key, the secret, the debug switch and the flag words."""

import calendar
import plistlib
import shutil
import time
import unittest

from support import API_HOST, API_KEY, BUILD_SECRET, UPLOAD_HOST, EndToEndTest, failure, finish

USAGE = ("Your Vendra run script build phase should contain your API key:\n"
         "./Vendra.framework/run YOUR_API_KEY YOUR_BUILD_SECRET\n\n")
NOT_SET = failure("Configuration Issue", f"Vendra API key not set. {USAGE}")
NOT_VALID = failure("Configuration Issue", f"Venrda API key not valid. {USAGE}")


class ArgumentsTest(EndToEndTest):
    def test_the_first_line_tells_the_local_time(self):
        self.settings["TZ"] = "XST-5:30"
        before = time.time() + 19800
        line = self.run_tool().stderr.decode()
        told = calendar.timegm(time.strptime(line[:19], "%Y-%m-%d %H:%M:%S"))
        self.assertTrue(before - 1 <= told <= time.time() + 19800, line)

    def test_wrong_keys_stop_the_run(self):
        rows = [(), ("",), (API_KEY[:39],), (API_KEY + "8",), (b"\xff" * 40,), (b"\xc3" + b"a" * 39,),
                ("😀" * 40,), ("é" * 20,), ("no-warn-missing-dsym", API_KEY), ("-debug", "YES", API_KEY)]
        for arguments in rows:
            with self.subTest(arguments):
                self.assert_run(finish(self.start_tool(*arguments)), 1, NOT_VALID if arguments else NOT_SET)
        self.assertEqual([], self.service.proxy_requests)

    def test_forty_characters_of_any_kind_make_a_key(self):
        for key in (API_KEY, "%@%s%n\"'\\<>&;:,=+/?#[]{}|^`~!$*()-_. end", "😀" * 20, "é" * 40):
            with self.subTest(key):
                self.assert_run(self.run_tool(key), 0, self.uploaded())
                for exchange in self.service.exchanges[-2:]:
                    self.assertEqual(key.encode(), exchange.header("X-Quorvex-API-Key").encode("latin-1"))

    def test_only_64_bytes_make_a_secret_and_only_the_report_carries_it(self):
        rows = [(None, None), ("", None), (BUILD_SECRET[:63], None), (BUILD_SECRET + "0", None),
                ("é" * 64, None), (b"\xff" * 64, None), (BUILD_SECRET, BUILD_SECRET), ("é" * 32, "é" * 32)]
        for argument, sent in rows:
            with self.subTest(argument):
                arguments = () if argument is None else (argument,)
                self.assert_run(self.run_tool(API_KEY, *arguments), 0, self.uploaded())
                report, upload = self.service.exchanges[-2:]
                self.assertEqual((API_HOST, UPLOAD_HOST), (report.host, upload.host))
                secret = report.header("X-Quorvex-Build-Secret")
                self.assertEqual(sent, secret and secret.encode("latin-1").decode())
                self.assertIsNone(upload.header("X-Quorvex-Build-Secret"))

    def test_debug_comes_from_the_arguments_or_the_users_defaults(self):
        here = self.app.project
        lines = (f"Src root {here}Current directory path {here}"
                 "Run script build phase called from Xcode Bots 0"
                 "Run script build phase called from Xcode.app 0"
                 f"Uploading dSYM at path {self.app.dsym}")
        defaults = self.folder / "home/.config/com.quorvex.run.plist"
        rows = [
            (("-debug", "YES"), {}, True), ((BUILD_SECRET, "-debug", " +01"), {}, True),
            (("-debug", "NO", "-debug", "YES"), {"debug": True}, False), (("-debug",), {}, False),
            (("-Debug", "YES"), {}, False), (("-debug",), {"debug": 0.5}, True), ((), {"debug": "true"}, True),
            ((), {"debug": 0}, False), ((), {"debug": "on"}, False), ((), {"other": True}, False)]
        (defaults.parent / "yes.plist").write_bytes(plistlib.dumps({"debug": True}))
        for arguments, stored, debug in rows:
            with self.subTest(arguments, stored=stored):
                defaults.write_bytes(plistlib.dumps(stored))
                self.assert_run(self.run_tool(API_KEY, *arguments), 0,
                                (lines if debug else "") + self.uploaded())
        # A folder that depends on where the tool is started counts for nothing.
        shutil.copy(defaults.parent / "yes.plist", self.app.project / defaults.name)
        self.settings["XDG_CONFIG_HOME"] = "."
        self.assert_run(self.run_tool(), 0, self.uploaded())

    def test_the_flag_word_silences_the_warning_in_any_case_and_place(self):
        shutil.rmtree(self.app.dsym)
        warning = (
            "warning: DEBUG_INFORMATION_FORMAT should be set to dwarf-with-dsym for all configurations. This "
            "could also be a timing issue, make sure the Vendra run script build phase is the last build "
            "phase and no other scripts have moved the dSYM from the location Xcode generated it. Unable to process "
            f"{self.app.dsym.name} at path {self.app.dsym}\n"
            "Make sure your project build settings are generating a dSYM file.\n\n\n")
        rows = [((), None, True), (("no-warn-missing-dsym",), None, False),
                ((BUILD_SECRET, "x", "NO-WARN-MISSING-DSYM"), None, False),
                ((), "No-Warn-Missing-dSYM", False),
                (("--no-warn-missing-dsym",), None, True), (("no-warn-missing-dsym ",), None, True),
                ((b"no-warn-missing-dsym\xff",), None, True)]
        for arguments, name, warned in rows:
            with self.subTest(arguments, name=name):
                self.assert_run(self.run_tool(API_KEY, *arguments, name=name), 1,
                                (warning if warned else "") + self.compression_failed(), (self.no_dsym(),))
        self.assertEqual([API_HOST] * len(rows), [exchange.host for exchange in self.service.exchanges])


if __name__ == "__main__":
    unittest.main()
