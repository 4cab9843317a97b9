"""Which of the applications that are installed is the desktop app, and what it is started with."""

import os
import plistlib
import re
import subprocess
import unittest

from support import EndToEndTest, wait_for

TYPE = "x-scheme-handler/quorvex"
# Writes down where it was started and with what, each followed by a NUL, and all of it at once.
HANDLER = """\
#!/bin/sh
{ printf '%s\\0' "$PWD" "$@" > "$0.unfinished"; mv "$0.unfinished" "$0.called"; }
"""


def listed(group: str, ids: str) -> str:
    return f"[{group}]\ntext/plain=other.desktop;\n{TYPE}={ids}\n"


def defaults(ids: str) -> str:
    return listed("Default Applications", ids)


class ApplicationsTest(EndToEndTest):
    def setUp(self):
        super().setUp()
        self.root = self.folder / "xdg"
        for name in ("CONFIG_HOME", "DATA_HOME"):
            self.settings[f"XDG_{name}"] = str(self.root / name.lower())
        for name in ("CONFIG_DIRS", "DATA_DIRS"):
            self.settings[f"XDG_{name}"] = f"{self.root}/{name.lower()}1:{self.root}/{name.lower()}2"
        self.settings |= {"XDG_CURRENT_DESKTOP": "Some:Other", "LC_ALL": "C"}

    def program(self, name: str):
        """The path of an app's program."""
        path = self.folder / f"{name}.app/Contents/MacOS/Vendra"
        if not path.exists():
            path.parent.mkdir(parents=True)
            path.write_text(HANDLER)
            path.chmod(0o755)
            (path.parents[1] / "Info.plist").write_bytes(plistlib.dumps({"CFBundleVersion": "203"}))
        return path

    def entry(self, name: str, more: str = "", line: str = "{program} %u") -> str:
        command = line.format(program=self.program(name))
        return f"[Desktop Entry]\nType=Application\nName=An app\nExec={command}\n{more}"

    def lay_out(self, files: dict[str, str]):
        subprocess.run(["rm", "-rf", self.root], check=True)
        for name, text in files.items():
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_bytes(text.encode(errors="surrogateescape"))

    def chosen(self) -> str | None:
        """The name of the app that the tool chose, by its debug output."""
        printed = self.run_tool("0" * 40, "-debug", "YES").stdout.decode()
        found = re.search(r"Install path file://.*/(\w+)\.app/", printed)
        if found:
            self.called(found[1])
        return found and found[1]

    def called(self, name: str) -> list[str]:
        """Where the app was started, and its arguments."""
        file = self.program(name).with_name("Vendra.called")
        wait_for(file.exists)
        called = file.read_bytes().decode().split("\0")[:-1]
        file.unlink()
        return called

    def chosen_by_the_desktop(self) -> str | None:
        """The same by the desktop's own program."""
        printed = subprocess.run(["gio", "mime", TYPE], env=self.settings, check=True, capture_output=True,
                                 text=True).stdout
        found = re.match(r"Default application for .*: (?:some-kde-apps-)?(\w+)\.desktop", printed)
        return found and found[1]

    def test_the_choice_is_that_of_the_desktop(self):
        a, b, c = (self.entry(name) for name in "abc")
        installed = {"data_home/applications/a.desktop": a, "data_dirs1/applications/b.desktop": b,
                     "data_dirs2/applications/c.desktop": c}
        cache = {"data_dirs2/applications/mimeinfo.cache": listed("MIME Cache", "c.desktop;")}
        other_cache = {"data_dirs1/applications/mimeinfo.cache": listed("MIME Cache", "gone.desktop;b.desktop;")}
        useless = {"not an application": a.replace("Application", "Link"), "a quote that stays open": self.entry("a", line='"{program}'), "no command": "[Desktop Entry]\n",
                  "a program that is not there": self.entry("a", line="/no/such %u"), "nothing": "",
                  "needs another program": a + "TryExec=/no/such\n", "a blank too many": a.replace("Application", "Application "),
                   "a backslash that quotes nothing": self.entry("a", line="{program} a\\\\"), "no file of the kind": "a"}
        rows = {
            "nothing installed": ({}, None),
            "nothing said": (installed, None),
            "said by the desktop file": (installed | cache, "c"),
            "the more important folder": (installed | cache | other_cache, "b"),
            "hidden by the user's own file": (
                installed | cache | {"data_home/applications/c.desktop": c}, None),
            "a default": (
                installed | cache | {"data_dirs2/applications/mimeapps.list": defaults("a.desktop")}, "a"),
            "the user's default": (installed | {"config_home/mimeapps.list": defaults("b.desktop"),
                                                "config_dirs1/mimeapps.list": defaults("a.desktop")}, "b"),
            "the administrator's default": (
                installed | {"config_dirs2/mimeapps.list": defaults("b.desktop"),
                             "data_home/applications/mimeapps.list": defaults("a.desktop")}, "b"),
            "the default of this desktop": (
                installed | {"config_home/other-mimeapps.list": defaults("c.desktop"),
                             "config_home/mimeapps.list": defaults("a.desktop")}, "c"),
            "several defaults": (
                installed | {"config_home/mimeapps.list": defaults("gone.desktop;b.desktop")}, "b"),
            "indented, with blanks and comments": (installed | {
                "config_home/mimeapps.list": f"\n# none\n  [Default Applications]\n  #{TYPE}=a.desktop\n"
                f" \t{TYPE} \t= b.desktop\r\n{TYPE}2=a.desktop"}, "b"),
            "said twice": (installed | {"config_home/mimeapps.list": defaults("a.desktop") + "[Other]\n" +
                                        defaults("b.desktop")}, "b"),
            "an escaped semicolon": (
                installed | {"config_home/mimeapps.list": defaults("a\\;b.desktop;b.desktop")}, "b"),
            "no ids": (installed | {"config_home/mimeapps.list": defaults(
                "../applications/a.desktop;..-applications-a.desktop;-a.desktop;a;;b.desktop")}, "b"),
            "associations that one desktop makes": (installed | cache | {
                "config_home/other-mimeapps.list": listed("Added Associations", "b.desktop")
                + listed("Removed Associations", "c.desktop")}, "c"),
            "a default that is gone": (installed | {"config_home/mimeapps.list": defaults("gone.desktop"),
                                                    "config_dirs1/mimeapps.list": defaults("a.desktop")}, "a"),
            "added": (installed | cache | {
                "config_home/mimeapps.list": listed("Added Associations", "b.desktop")}, "b"),
            "removed": (installed | cache | other_cache | {
                "config_home/mimeapps.list": listed("Removed Associations", "b.desktop")}, "c"),
            "folders in the name": ({"data_home/applications/some-kde/apps/a.desktop": a,
                                     "config_home/mimeapps.list": defaults("some-kde-apps-a.desktop")}, "a"),
            "nothing needed": ({"data_home/applications/a.desktop": a + "TryExec=\n",
                                "config_home/mimeapps.list": defaults("a.desktop")}, "a"),
            **{name: ({"data_home/applications/a.desktop": text, "data_dirs1/applications/b.desktop": b,
                       "config_home/mimeapps.list": defaults("a.desktop;b.desktop")}, "b")
               for name, text in useless.items()},
        }
        for name, (files, expected) in rows.items():
            with self.subTest(name):
                self.lay_out(files)
                self.assertEqual(expected, self.chosen_by_the_desktop())
                self.assertEqual(expected, self.chosen())

    def test_what_the_program_is_started_with(self):
        file = self.root / "data_home/applications/a.desktop"
        self.settings["LC_ALL"] = "de_AT.UTF-8@euro"
        rows = [  # the command line behind the program, its arguments
            ("%u", ["URL"]), ("%U", ["URL"]), ("--open %u --url=%u -x", ["--open", "URL", "--url=URL", "-x"]),
            ("", []), ("%f %F %d %m %é%", ["é"]), ("%i %c %k", ["--icon", "pic", "Ein Ding", str(file)]),
            ('"a  b" \'c\' d\\\\ e "" 100%% %u', ["a  b", "c", "d e", "", "100%", "URL"])]
        for line, expected in rows:
            for place in (None, self.folder / "some where"):
                with self.subTest(line, place=place):
                    more = "Icon=pic\nName[fr]=Une chose\nName[de]=Ein Ding\nName[de_CH]=Es Ding\n"
                    if place:
                        place.mkdir(exist_ok=True)
                        more += f"Path={place}\n"
                    self.lay_out({"data_home/applications/a.desktop": self.entry("a", more, "{program} " + line),
                                  "config_home/mimeapps.list": defaults("a.desktop")})
                    self.assertEqual(0, self.run_tool().status)
                    where, *arguments = self.called("a")
                    self.assertEqual(str(place or self.app.project), where)
                    urls = re.compile(r"quorvex://xcode\?\S+")
                    self.assertEqual(expected, [urls.sub("URL", argument) for argument in arguments])

    def test_programs_that_are_not_started(self):
        files = {"config_home/mimeapps.list": defaults("a.desktop;b.desktop"),
                 "data_dirs1/applications/b.desktop": self.entry("b")}
        program = self.program("a")
        for name, text in {
                "deleted": self.entry("a", "Hidden=true\n"),
                "for a terminal": self.entry("a", "Terminal=true\n"),
                "not executable": self.entry("a", line=f"{program.parents[1]}/Info.plist %u")}.items():
            with self.subTest(name):
                self.lay_out(files | {"data_home/applications/a.desktop": text})
                self.assertEqual("b", self.chosen())
        with self.subTest("folders that depend on where the tool is started"):
            self.lay_out(files)
            applications = self.app.project / "applications"
            applications.mkdir()
            (applications / "a.desktop").write_text(self.entry("a"))
            (self.app.project / "mimeapps.list").write_text(defaults("a.desktop"))
            settings = self.settings
            self.settings = settings | {"XDG_DATA_HOME": "."} | {
                name: f".:{settings[name]}" for name in ("XDG_DATA_DIRS", "XDG_CONFIG_DIRS")}
            self.assertEqual("b", self.chosen())
            self.settings = settings
        with self.subTest("files that never end"):
            self.lay_out(files)
            os.mkfifo(self.root / "config_home/some-mimeapps.list")
            os.mkfifo(self.root / "data_dirs1/applications/a.desktop")
            self.assertEqual("b", self.chosen())
        with self.subTest("a list with lines that are none"):
            self.lay_out(files | {"config_dirs1/mimeapps.list": "what is this?\n" + defaults("b.desktop") +
                                  f"\udcff\n=\n{TYPE}=\udcff.desktop\n{TYPE}\n[Default Applications\n{TYPE}[de]=a.desktop\n",
                                  "config_home/mimeapps.list": defaults("a.desktop\\q")})
            self.assertEqual("b", self.chosen())
        with self.subTest("found by its name alone"):
            self.lay_out(files | {"data_home/applications/a.desktop": self.entry("a", line="Vendra %u")})
            self.settings["PATH"] = f"{program.parent}{os.pathsep}{self.settings['PATH']}"
            self.assertEqual("a", self.chosen())


if __name__ == "__main__":
    unittest.main()
