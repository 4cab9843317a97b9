"""A desktop app that is really registered for the tool's URL scheme, and ancestors of given names."""

import plistlib
import shutil
from pathlib import Path

from support import EndToEndTest, wait_for

# Writes down what its descriptors are, its process and session, and where it was started and with what, each followed
# by a NUL, all at once.
HANDLER = """\
#!/bin/sh
(readlink /proc/$$/fd/* > "$0.descriptors")
read -r line < /proc/$$/stat; set -- "$line" "$@"
(set -- ${1##*) }; echo $$ $4 > "$0.session"); shift
printf '%s\\0' "$PWD" "$@" > "$0.unfinished"
mv "$0.unfinished" "$0.called"
"""


class HandOffTest(EndToEndTest):
    def install(self, program: Path, info: dict | None, then: str = ""):
        """Makes an app of this program that goes on as told, without an Info.plist if None is given."""
        program.parent.mkdir(parents=True, exist_ok=True)
        program.write_text(HANDLER + then)
        program.chmod(0o755)
        program.with_name("Vendra.called").unlink(missing_ok=True)
        info_plist = program.parents[1] / "Info.plist"
        info_plist.unlink(missing_ok=True)
        if info is not None:
            info_plist.write_bytes(plistlib.dumps(info))

    def called(self, program: Path) -> list[str]:
        """Where the app was started, and its arguments; waits for them, and forgets them."""
        file = program.with_name(program.name + ".called")
        wait_for(file.exists)
        called = file.read_text().split("\0")[:-1]
        file.unlink()
        return called

    def register(self, scheme: str = "quorvex", info: dict | None = None, then: str = "") -> Path:
        """Registers an app for the scheme, made as by `install`; its program is returned."""
        program = self.folder / f"apps/{scheme}/Vendra.app/Contents/MacOS/Vendra"
        self.install(program, info, then)
        applications = Path(self.settings["XDG_DATA_HOME"]) / "applications"
        applications.mkdir(exist_ok=True)
        (applications / f"{scheme}.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Vendra\nExec={program} %u\n"
            f"MimeType=x-scheme-handler/{scheme};\n")
        with open(applications / "mimeapps.list", "a", encoding="utf-8") as file:
            file.write(f"[Default Applications]\nx-scheme-handler/{scheme}={scheme}.desktop\n")
        return program

    def received(self, program: Path) -> str:
        """The URL that the app was given."""
        return self.called(program)[1]

    def ancestors(self, *names: str) -> tuple:
        """A command that runs what follows it below processes with these names, the first the farthest."""
        shells = []
        for name in names:
            shell = self.folder / name
            shutil.copy("/bin/sh", shell)
            # What follows keeps the shell from becoming the program that it runs.
            shells += [shell, "-c", '"$0" "$@"; exit $?']
        return tuple(shells)
