"""Which of the applications that are installed is the desktop app, and what it is started with."""

import os
import re
import subprocess
import unittest

from desktop_app import HandOffTest

TYPE = "x-scheme-handler/quorvex"


def listed(group: str, ids: str) -> str:
    return f"[{group}]\ntext/plain=other.desktop;\n{TYPE}={ids}\n"


def defaults(ids: str) -> str:
    return listed("Default Applications", ids)


def of_the_user(text: str) -> dict[str, str]:
    return {"config_home/mimeapps.list": text}


class ApplicationsTest(HandOffTest):
    def setUp(self):
        super().setUp()
        self.root = self.folder / "xdg"
        for name in ("config", "data"):
            folders = f"{self.root}/{name}_"
            self.settings |= {f"XDG_{name.upper()}_HOME": f"{folders}home",
                              f"XDG_{name.upper()}_DIRS": f"{folders}dirs1:{folders}dirs2"}
        self.settings |= {"XDG_CURRENT_DESKTOP": "Some:Other", "LC_ALL": "C"}

    def program(self, name: str):
        """The path of an app's program."""
        path = self.folder / f"{name}.app/Contents/MacOS/Vendra"
        if not path.exists():
            self.install(path, {"CFBundleVersion": "203"})
        return path

    def entry(self, name: str, more: str = "", line: str = "{program} %u") -> str:
        command = line.format(program=self.program(name))
        return f"[Desktop Entry]\nType=Application\nName=An app\nExec={command}\n{more}"

    def lay_out(self, files: dict[str, str]):
        subprocess.run(["rm", "-rf", self.root], check=True)
        for name, text in files.items():
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_bytes(text.encode(errors="surrogateescape"))

    def chosen(self, settings: dict | None = None) -> str | None:
        """The name of the app that the tool chose, by its debug output."""
        printed = self.run_tool("0" * 40, "-debug", "YES", settings=self.settings | (settings or {})).stdout.decode()
        found = re.search(r"Install path file://.*/(\w+)\.app/", printed)
        if found:
            self.called(self.program(found[1]))
        return found and found[1]

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
        # One folder's cache says that c opens the scheme, a more important one's that b does.
        cache = installed | {"data_dirs2/applications/mimeinfo.cache": listed("MIME Cache", "c.desktop;")}
        both = cache | {"data_dirs1/applications/mimeinfo.cache": listed("MIME Cache", "gone.desktop;b.desktop;")}
        useless = {
            "no file of the kind": "a", "nothing": "", "no command": "[Desktop Entry]\n",
            "not an application": a.replace("Application", "Link"),
            "a blank too many": a.replace("Application", "Application "),
            "needs another program": a + "TryExec=/no/such\n",
            "a program that is not there": self.entry("a", line="/no/such %u"),
            "a quote that stays open": self.entry("a", line='"{program}'),
            "a backslash that quotes nothing": self.entry("a", line="{program} a\\\\")}
        rows = {
            "nothing installed": ({}, None),
            "nothing said": (installed, None),
            "said by the desktop file": (cache, "c"),
            "the more important folder": (both, "b"),
            "hidden by the user's own file": (cache | {"data_home/applications/c.desktop": c}, None),
            "a default": (cache | {"data_dirs2/applications/mimeapps.list": defaults("a.desktop")}, "a"),
            "the user's default": (installed | of_the_user(defaults("b.desktop")) | {
                "config_dirs1/mimeapps.list": defaults("a.desktop")}, "b"),
            "the administrator's default": (installed | {
                "config_dirs2/mimeapps.list": defaults("b.desktop"),
                "data_home/applications/mimeapps.list": defaults("a.desktop")}, "b"),
            "the default of this desktop": (installed | of_the_user(defaults("a.desktop")) | {
                "config_home/other-mimeapps.list": defaults("c.desktop")}, "c"),
            "several defaults": (installed | of_the_user(defaults("gone.desktop;b.desktop")), "b"),
            "indented, with blanks and comments": (installed | of_the_user(
                f"\n# none\n  [Default Applications]\n  #{TYPE}=a.desktop\n"
                f" \t{TYPE} \t= b.desktop\r\n{TYPE}2=a.desktop"), "b"),
            "said twice": (installed | of_the_user(
                defaults("a.desktop") + "[Other]\n" + defaults("b.desktop")), "b"),
            "an escaped semicolon": (installed | of_the_user(defaults("a\\;b.desktop;b.desktop")), "b"),
            "no ids": (installed | of_the_user(defaults(
                "../applications/a.desktop;..-applications-a.desktop;-a.desktop;a;;b.desktop")), "b"),
            "associations that one desktop makes": (cache | {
                "config_home/other-mimeapps.list": listed("Added Associations", "b.desktop")
                + listed("Removed Associations", "c.desktop")}, "c"),
            "a default that is gone": (installed | of_the_user(defaults("gone.desktop")) | {
                "config_dirs1/mimeapps.list": defaults("a.desktop")}, "a"),
            "added": (cache | of_the_user(listed("Added Associations", "b.desktop")), "b"),
            "removed by the user, added by the administrator": (both | of_the_user(
                listed("Removed Associations", "a.desktop")) | {
                    "config_dirs1/mimeapps.list": listed("Added Associations", "a.desktop")}, "b"),
            "removed": (both | of_the_user(listed("Removed Associations", "b.desktop")), "c"),
            "folders in the name": (of_the_user(defaults("some-kde-apps-a.desktop")) | {
                "data_home/applications/some-kde/apps/a.desktop": a}, "a"),
            "nothing needed": (of_the_user(defaults("a.desktop")) | {
                "data_home/applications/a.desktop": a + "TryExec=\n"}, "a"),
            **{name: (installed | of_the_user(defaults("a.desktop;b.desktop")) | {
                "data_home/applications/a.desktop": text}, "b") for name, text in useless.items()},
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
            ("%i %u", ["URL"]),
            ('"a  b" \'c\' d\\\\ e "" 100%% %u', ["a  b", "c", "d e", "", "100%", "URL"])]
        place = self.folder / "some where"
        place.mkdir()
        for number, (line, expected) in enumerate(rows):
            with self.subTest(line):
                more = "Icon=pic\nName[fr]=Une chose\nName[de]=Ein Ding\nName[de_CH]=Es Ding\n"
                more = more.replace("Icon=pic\n", "" if line == "%i %u" else "Icon=pic\n")
                more += f"Path={place if number % 2 else ''}\n"
                self.lay_out({"data_home/applications/a.desktop": self.entry("a", more, "{program} " + line)}
                             | of_the_user(defaults("a.desktop")))
                self.assertEqual(0, self.run_tool().status)
                where, *arguments = self.called(self.program("a"))
                self.assertEqual(str(place if number % 2 else self.app.project), where)
                urls = re.compile(r"quorvex://xcode\?\S+")
                self.assertEqual(expected, [urls.sub("URL", argument) for argument in arguments])

    def test_programs_that_are_not_started(self):
        here = self.app.project / "applications"
        here.mkdir()
        (here / "a.desktop").write_text(self.entry("a"))
        (self.app.project / "mimeapps.list").write_text(defaults("a.desktop"))
        of_here = {"XDG_DATA_HOME": "."} | {name: f".:{self.settings[name]}"
                                            for name in ("XDG_DATA_DIRS", "XDG_CONFIG_DIRS")}
        program = self.program("a")
        linked = self.folder / "programs-of-a"
        linked.symlink_to(program.parent)
        path = {"PATH": f"{program.parent}{os.pathsep}{self.settings['PATH']}"}
        broken = (f"what is this?\n{defaults('b.desktop')}\udcff\n=\n{TYPE}=\udcff.desktop\n{TYPE}\n"
                  f"[Default Applications\n{TYPE}[de]=a.desktop\n")
        fifos = ("config_home/some-mimeapps.list", "data_dirs1/applications/a.desktop")
        rows = {  # the desktop file of a, more files, more settings, pipes that never end
            "deleted": (self.entry("a", "Hidden=true\n"), {}, {}),
            "for a terminal": (self.entry("a", "Terminal=true\n"), {}, {}),
            "not executable": (self.entry("a", line=f"{program.parents[1]}/Info.plist %u"), {}, {}),
            "folders that depend on where the tool is started": (None, {}, of_here),
            "files that never end": (None, {}, {}, *fifos),
            "a list with lines that are none": (None, {"config_dirs1/mimeapps.list": broken}
                                                | of_the_user(defaults("a.desktop\\q")), {}),
            "behind a link to its folder, so started": (self.entry("a", line=f"{linked}/Vendra %u"), {}, {}),
            "found by its name alone, so started": (self.entry("a", line="Vendra %u"), {}, path)}
        for name, (text, files, settings, *pipes) in rows.items():
            with self.subTest(name):
                self.lay_out({"data_dirs1/applications/b.desktop": self.entry("b")}
                             | of_the_user(defaults("a.desktop;b.desktop")) | files
                             | ({"data_home/applications/a.desktop": text} if text else {}))
                for pipe in pipes:
                    os.mkfifo(self.root / pipe)
                self.assertEqual("a" if "so started" in name else "b", self.chosen(settings))


if __name__ == "__main__":
    unittest.main()
