"""What a person at a terminal sees while the archive is made and sent, through a pseudo-terminal."""

import fcntl
import os
import pty
import re
import shutil
import signal
import struct
import termios
import threading
import unittest
from pathlib import Path

from support import API_KEY, UPLOAD_HOST, EndToEndTest, behaviours, wait_for

ERASE = "\r\x1b[K"
# Writes a zip of 4.5 MB and waits for a file, or for a second and a half; what it says is not for the terminal.
ARCHIVER = """#!/bin/sh
head -c 4500000 /dev/urandom > "$5"
echo packing >&2
[ -n "$GO_ON" ] || exec sleep 1.5
while [ ! -e "$GO_ON" ]; do sleep 0.05; done
"""


@unittest.skipIf(os.path.exists("/usr/bin/ditto"), "the machine has an archiver of its own")
class ProgressTest(EndToEndTest):
    def setUp(self):
        super().setUp()
        self.framework = shutil.copytree(self.framework, self.folder / "Vendra.framework")
        (self.framework / "ditto").write_text(ARCHIVER)
        self.settings["TERM"] = "xterm"

    def start_at_terminal(self, columns, *arguments):
        """The tool with its standard output and error on one terminal, and what has come out of that."""
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.terminal = os.ttyname(theirs)
        child = self.start_tool(API_KEY, *arguments, stdout=theirs, stderr=theirs)
        os.close(theirs)
        screen = bytearray()

        def read():
            try:
                while data := os.read(ours, 65536):
                    screen.extend(data)
            except OSError:  # the other side is closed
                os.close(ours)
        reader = threading.Thread(target=read)
        reader.start()
        self.addCleanup(reader.join)
        return child, screen, reader

    def see(self, columns, *arguments):
        """Runs the tool to its end; returns what was drawn, and what is left on the screen when all was erased."""
        shown, self.settings["GO_ON"] = threading.Event(), str(self.folder / f"go on {columns}")

        def answer(connection, exchange):
            connection.read_body(exchange.body, exchange.length)
            shown.wait()
            behaviours.reply(201)(connection, exchange)
        self.service.answer(answer, host=UPLOAD_HOST)
        child, screen, reader = self.start_at_terminal(columns, *arguments)
        wait_for(lambda: b"Archiving" in screen)
        Path(self.settings["GO_ON"]).touch()
        wait_for(lambda: b"Uploading 4" in screen)
        shown.set()
        self.assertEqual(0, child.wait())
        reader.join()
        text = screen.decode().replace("\r\n", "\n")
        # A drawing goes from one erasure to the next, and nothing else may stand there.
        drawing = r"\r\x1b\[K([^\r\n]+)(?=\r\x1b\[K)"
        return re.findall(drawing, text), re.sub(drawing, "", text).replace(ERASE, "")

    def test_archiving_and_uploading_are_told_in_what_fits(self):
        name, rest = self.app.dsym.name, "Uploading 4.5 of 4.5 MB"
        rows = [(200, (), f"Archiving {name}  4.5 MB", rest + r"  \d\.\d MB/s  0 s left"),
                (40, ("-debug", "YES"), f"Archiving {name}  4.5 MB", rest + r"  \d\.\d MB/s"),
                (29, (), r"Archiving Sam\.\.\.dSYM  4\.5 MB", rest)]
        for columns, arguments, archiving, uploading in rows:
            with self.subTest(columns=columns):
                drawings, screen = self.see(columns, *arguments)
                self.assertRegex(drawings[0], f"^{archiving}$")
                self.assertRegex(drawings[-1], f"^{uploading}$")
                self.assertLessEqual(max(map(len, drawings)), columns)
                self.assertTrue(screen.endswith(self.uploaded()), screen)
                if arguments:
                    self.assertIn(f"\nUploading dSYM at path {self.app.dsym}\n", "\n" + screen)

    def test_nothing_is_drawn_elsewhere(self):
        for terminal in ("dumb", ""):
            with self.subTest(terminal=terminal):
                self.settings["TERM"] = terminal
                child, screen, reader = self.start_at_terminal(80)
                self.assertEqual(0, child.wait())
                reader.join()
                self.assertNotIn(b"\x1b", screen)
        self.settings["TERM"] = "xterm"
        self.assert_run(self.run_tool(), 0, self.uploaded())

    def test_a_signal_erases_it(self):
        self.settings["GO_ON"] = "never"
        child, screen, reader = self.start_at_terminal(80)
        wait_for(lambda: b"Archiving" in screen)
        child.send_signal(signal.SIGTERM)
        self.assertEqual(-signal.SIGTERM, child.wait())
        reader.join()
        self.assertTrue(screen.endswith(ERASE.encode()), screen)

    def test_a_terminal_that_takes_nothing_holds_nobody(self):
        self.settings["GO_ON"] = "never"
        child, screen, reader = self.start_at_terminal(80)
        wait_for(lambda: b"Archiving" in screen)
        terminal = os.open(self.terminal, os.O_RDWR | os.O_NOCTTY)
        termios.tcflow(terminal, termios.TCOOFF)
        child.send_signal(signal.SIGTERM)
        self.assertEqual(-signal.SIGTERM, child.wait())
        self.assert_no_zip_left()
        termios.tcflow(terminal, termios.TCOON)
        os.close(terminal)

    def test_names_of_any_bytes_do_no_harm(self):
        name = b"\xc2\x9b\x1b[2J\xff\xe6\xbc\xa2" + 20 * b"\xc3\xa4" + b".dSYM"
        os.rename(self.app.dsym, os.path.join(os.fsencode(self.app.products), name))
        self.settings["DWARF_DSYM_FILE_NAME"] = os.fsdecode(name)
        self.settings["GO_ON"] = "never"
        child, screen, reader = self.start_at_terminal(40)
        wait_for(lambda: b"Archiving" in screen)
        child.send_signal(signal.SIGTERM)
        child.wait()
        reader.join()
        drawing = screen.decode().partition(ERASE)[2].partition(ERASE)[0]
        self.assertRegex(drawing, r"^Archiving \?\?\[2J.*\.\.\..*dSYM  4\.5 MB$")
        self.assertLessEqual(sum(1 if letter < "\x80" else 2 for letter in drawing), 40)


if __name__ == "__main__":
    unittest.main()
