"""The checks before either road: settings, Info.plist, source folder, deployment target, executable."""

import os
import plistlib
import tempfile
import unittest
from pathlib import Path

from support import API_HOST, API_KEY, UNPRIVILEGED, EndToEndTest, failure, sample_app, uuid_log

REQUIRED = ("BUILT_PRODUCTS_DIR", "INFOPLIST_PATH", "DWARF_DSYM_FILE_NAME", "DWARF_DSYM_FOLDER_PATH")
POST_ACTIONS = failure(
    "Use a Target Run Script Build Phase",
    "Make sure the Vendra command is added to your project Target and not the scheme 'Post-actions'.\n\n"
    "Then, Build your project to continue.\n\n(Quorvex error 602)")


def unsupported(system: str, least: str, setting: str) -> str:
    return failure(
        f"Unsupported {system} Version",
        "We have detected that this build of Sample uses an unsupported OS Deployment Target. Vendra is only "
        f"compatible with {system} {least} and greater. To use Vendra, you'll have to adjust your project's "
        f"{setting} Deployment Target.\n\n")


class EnvironmentTest(EndToEndTest):
    def test_the_first_required_setting_that_is_missing_or_empty_is_named(self):
        for number, name in enumerate(REQUIRED):
            missing = failure("Failed to Detect Build Environment", f"{name} value not found in environment")
            others = {key: value for key, value in self.settings.items() if key not in REQUIRED[number:]}
            rest = {key: self.settings[key] for key in REQUIRED[number + 1:]}
            for settings in (others, others | dict.fromkeys(REQUIRED[number:], ""), others | rest):
                with self.subTest(name, count=len(settings)):
                    self.assert_run(self.run_tool(settings=settings), 1, missing)

    def test_an_info_plist_that_is_not_there(self):
        for path, wrapper in [("no/%@.plist", {"WRAPPER_NAME": "Sample %@.app"}), ("no", {})]:
            with self.subTest(path):
                del self.settings["WRAPPER_NAME"]
                self.settings |= {"INFOPLIST_PATH": path} | wrapper
                self.assert_run(self.run_tool(), 1, failure("Info.plist Error", (
                    f"Unable to process Info.plist at path {self.app.products}/{path}\n"
                    "This could be a timing issue, make sure the Vendra run script build phase is the last "
                    "build phase and no other scripts have moved "
                    f"{wrapper.get('WRAPPER_NAME', '(null)')} from the location Xcode generated it.")))

    def test_an_info_plist_without_a_bundle_identifier(self):
        path = self.app.info_plist
        text = failure("Required Info.plist Value Not Found", (
            "A CFBundleIdentifier value in your Info.plist is required. Please confirm this value is present "
            f"in {path} \n\n"))
        rows = [path.mkdir, lambda: os.mkfifo(path), lambda: path.symlink_to("/dev/zero")]
        rows += [lambda content=content: path.write_bytes(content) for content in (
            b"", plistlib.dumps(["CFBundleIdentifier"]), plistlib.dumps({"CFBundleIdentifier": ""}),
            plistlib.dumps({"CFBundleIdentifier": 7}), plistlib.dumps({"CFBundleIdentifier": "x"})[:-40])]
        for number, make in enumerate(rows):
            with self.subTest(number):
                path.unlink() if not path.is_dir() else path.rmdir()
                make()
                self.assert_run(self.run_tool(), 1, text)

    def test_the_phase_must_run_in_the_source_folder(self):
        project, link = self.app.project, self.folder / "link"
        link.symlink_to(project)
        here, resolved = f"Current directory path {project}", f"Current directory path resolved {project}"
        rows = [(project, link, f"Src root {project}{here}", True), (f"{project}/", project, None, True),
                (link, project, f"Src root {link}{here}{resolved}Src root resolved {project}", True),
                (project, self.folder, None, False), ("", project, None, False), (None, project, None, False),
                ("/no/%@", project, f"Src root /no/%@{here}{resolved}Src root resolved /no/%@", False)]
        for source, directory, lines, accepted in rows:
            with self.subTest(source, directory=directory):
                settings = {**self.settings, "SRCROOT": str(source)}
                if source is None:
                    del settings["SRCROOT"]
                result = self.run_tool(settings=settings, directory=directory)
                self.assert_run(result, 0 if accepted else 1, self.uploaded() if accepted else POST_ACTIONS)
                if lines:
                    debug = self.run_tool(API_KEY, "-debug", "YES", settings=settings, directory=directory)
                    end = "Run script build phase" if accepted else POST_ACTIONS
                    self.assertEqual(lines + end, debug.stdout.decode()[:len(lines + end)])


    def test_a_source_folder_without_a_name_is_not_the_one_that_was_removed(self):
        gone = self.folder / "gone"
        gone.mkdir()
        through = ("sh", "-c", 'cd "$0" && rmdir "$0" && "$@"; exit $?', str(gone))
        self.assert_run(self.run_tool(API_KEY, settings=self.settings | {"SRCROOT": ""}, through=through), 1, POST_ACTIONS)


class DeploymentTargetTest(EndToEndTest):
    def test_every_slice_must_be_new_enough(self):
        ios = unsupported("iOS", "6.0", "iOS")
        mac = unsupported("OS X", "10.7", "Mac OS X")
        absent = {"IPHONEOS_DEPLOYMENT_TARGET": None}
        older = sample_app.older_phone()
        rows = [  # from iOS 13 and macOS 10.14 on the executable says its version elsewhere
            ("ios", {older: "6.0", "arm64": "7.0"}, absent, None),
            ("ios", {older: "5.0", "arm64": "7.0"}, {}, ios),
            ("ios", {older: "7.0", "arm64": "5.1"}, {}, ios),
            ("ios", {"arm64": "13.0"}, absent, ios),
            ("ios", {"arm64": "13.0"}, {"IPHONEOS_DEPLOYMENT_TARGET": " 6.x"}, None),
            ("ios", {"arm64": "13.0"}, {"IPHONEOS_DEPLOYMENT_TARGET": "5.9"}, ios),
            ("ios", {"arm64": "7.0"}, {"TARGETED_DEVICE_FAMILY": None}, mac),
            ("ios", {"arm64": "7.0"}, {"TARGETED_DEVICE_FAMILY": ""}, None),
            ("mac", {"x86_64": "10.7"}, {}, None), ("mac", {"x86_64": "10.6"}, {}, mac),
            ("mac", {"x86_64": "10.14"}, {}, mac), ("mac", {"x86_64": "11.0"}, {}, mac),
        ]
        for platform, slices, changes, text in rows:
            with self.subTest(platform, slices=slices, changes=changes), tempfile.TemporaryDirectory() as made:
                app = sample_app.make(Path(made).resolve(), platform, slices)
                build = app.environment()
                settings = {key: value for key, value in (self.settings | build | changes).items()
                            if value is not None and (key in build or key not in self.app.environment())}
                result = self.run_tool(settings=settings, directory=app.project)
                uploaded = self.uploaded(uuid_log=uuid_log(app.executable))
                self.assert_run(result, 1 if text else 0, text or uploaded)


class ExecutableTest(EndToEndTest):
    def test_executables_that_are_none(self):
        path, whole = self.app.executable, self.made_app.executable.read_bytes()
        line = [f"{text}\n" for text in self.uuid_log.splitlines()]
        unnamed = f"Unable to extract uuid-architecture pairs from binary {path}"
        second = int.from_bytes(whole[36:40], "big")  # where the fat file's second slice starts
        rows = [(b"", "", ""), (whole[:8], "", ""),
                (b"\xca\xfe\xba\xbe\xff\xff\xff\xff" + os.urandom(4096), "", ""),
                (whole[:second], "", line[0]), (whole[:-1], "", line[0]),
                (whole[:second] + bytes(len(whole) - second), unnamed, line[0]),
                (bytes.fromhex("cffaedfe0c0000010000000002000000ffffffff") + bytes(4096), unnamed, "")]
        for number, (content, before, log) in enumerate(rows):
            with self.subTest(number):
                path.write_bytes(content)
                self.assert_run(self.run_tool(), 0, before + self.uploaded(uuid_log=log))

    def test_executables_that_are_no_files_and_paths_that_are_no_url(self):
        wrapper = self.app.wrapper
        name = self.app.executable.name
        os.mkfifo(wrapper / "pipe")
        (wrapper / "circle").symlink_to("circle")
        (wrapper / "zero").symlink_to("/dev/zero")
        for copy in ("a b", "a%@b", "ä"):
            (wrapper / copy).write_bytes(self.app.executable.read_bytes())
        rows = [("pipe", False), ("circle", False), ("zero", False), (".", False), ("missing", False),
                ("a b", False), ("a%@b", False), ("ä", False), ("a%20b", True), ("a%25@b", True),
                ("%c3%A4", True), (f"{name}#fragment", True), (f"{name}?query", True), (name, True)]
        for path, found in rows:
            with self.subTest(path):
                settings = self.settings | {"EXECUTABLE_PATH": f"{wrapper.name}/{path}"}
                self.assert_run(self.run_tool(settings=settings), 0,
                                self.uploaded() if found else self.uploaded(uuid_log=""))
        self.assertEqual(len(rows), len(self.exchanges(API_HOST)))
        settings = self.settings | {"EXECUTABLE_PATH": f"{wrapper.name}/a b"}
        self.assertIn(f"{wrapper}/a b is no text of a URL, so it is not checked and no UUIDs are sent.\n",
                      self.run_tool(API_KEY, "-debug", "YES", settings=settings).stdout.decode())

    def test_an_unreadable_executable_is_no_error(self):
        self.app.executable.chmod(0)
        self.assert_run(self.run_tool(API_KEY, through=UNPRIVILEGED), 0, self.uploaded(uuid_log=""))


if __name__ == "__main__":
    unittest.main()
