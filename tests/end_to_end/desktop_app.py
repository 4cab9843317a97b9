"""A desktop app that is really registered for the tool's URL scheme, and ancestors of given names."""

import plistlib
import shutil
from pathlib import Path

from support import EndToEndTest, wait_for

# Writes down the URL that it was given and what its descriptors are, the URL last and at once.
HANDLER = """\
#!/bin/sh
(readlink /proc/$$/fd/* > '{folder}/descriptors')
printf '%s' "$*" > '{folder}/url.unfinished'
mv '{folder}/url.unfinished' '{folder}/url'
{then}
"""


class HandOffTest(EndToEndTest):
    def register(self, scheme: str = "quorvex", info: dict | None = None, then: str = "") -> Path:
        """Registers an app for the scheme, without an Info.plist if None is given; its folder is returned."""
        contents = self.folder / f"apps/{scheme}/Vendra.app/Contents"
        program = contents / "MacOS/Vendra"
        program.parent.mkdir(parents=True, exist_ok=True)
        program.write_text(HANDLER.format(folder=contents, then=then))
        program.chmod(0o755)
        (contents / "Info.plist").unlink(missing_ok=True)
        if info is not None:
            (contents / "Info.plist").write_bytes(plistlib.dumps(info))
        (contents / "url").unlink(missing_ok=True)
        applications = Path(self.settings["XDG_DATA_HOME"]) / "applications"
        applications.mkdir(exist_ok=True)
        (applications / f"{scheme}.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Vendra\nExec={program} %u\n"
            f"MimeType=x-scheme-handler/{scheme};\n")
        with open(applications / "mimeapps.list", "a", encoding="utf-8") as file:
            file.write(f"[Default Applications]\nx-scheme-handler/{scheme}={scheme}.desktop\n")
        return contents

    def received(self, contents: Path) -> str:
        """The URL that the app was given; waits for it, and forgets it."""
        url = wait_for(lambda: (contents / "url").exists() and (contents / "url").read_text())
        (contents / "url").unlink()
        return url

    def ancestors(self, *names: str) -> tuple:
        """A command that runs what follows it below processes with these names, the first the farthest."""
        shells = []
        for name in names:
            shell = self.folder / name
            shutil.copy("/bin/sh", shell)
            # What follows keeps the shell from becoming the program that it runs.
            shells += [shell, "-c", '"$0" "$@"; exit $?']
        return tuple(shells)
