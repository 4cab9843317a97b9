"""Disks, signals, the archiver and the dSYM at fault: nothing is left behind and nothing hangs."""

import contextlib
import errno
import os
import resource
import signal
import subprocess
import threading
import unittest
from pathlib import Path

from support import (
    API_HOST, API_KEY, FRAMEWORK, UNPRIVILEGED, UPLOAD_HOST, EndToEndTest, behaviours, finish, posix_error,
    wait_for)

ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


def setUpModule():
    # What is ignored here, as in a background job of a shell, would stay ignored in the tool.
    for number in ENDING:
        if signal.getsignal(number) is signal.SIG_IGN:
            signal.signal(number, signal.SIG_DFL)


class DiskTest(EndToEndTest):
    def test_no_room_for_the_zip(self):
        (self.app.dsym / "large").write_bytes(os.urandom(200_000))
        disk = self.folder / "small"
        through = self.small_disk(disk)
        self.settings["DWARF_DSYM_FOLDER_PATH"] = str(disk)
        self.assert_run(self.run_tool(API_KEY, through=through), 1, self.compression_failed(),
                        (f"ditto: {disk}/UNIQUE.zip: {os.strerror(errno.ENOSPC)}",))
        self.assertEqual(f"{self.app.dsym.name}\n", disk.with_name("small.listing").read_text())

    def test_a_zip_that_vanishes_or_cannot_be_deleted(self):
        self.addCleanup(self.app.products.chmod, 0o700)
        for change, code in [(lambda zip_path: zip_path.unlink(), errno.ENOENT),
                             (lambda zip_path: zip_path.parent.chmod(0o500), errno.EACCES)]:
            with self.subTest(code):
                found = []

                def behave(connection, exchange, change=change, found=found):
                    found.extend(self.app.products.glob("*.zip"))
                    change(found[-1])
                    behaviours.reply(201)(connection, exchange)

                self.service.answer(behave, host=UPLOAD_HOST)
                result = self.run_tool(API_KEY, through=UNPRIVILEGED)
                self.assert_run(result, 0, f"Could not delete zipped dSYM at path {found[-1]} "
                                f"{posix_error(code, found[-1])}{self.uploaded()}")

    def test_a_zip_that_shrinks_while_it_is_sent(self):
        (self.app.dsym / "large").write_bytes(os.urandom(8_000_000))

        def behave(connection, exchange):
            os.truncate(next(self.app.products.glob("*.zip")), 0)
            behaviours.reply(201)(connection, exchange)

        self.service.answer(behave, host=UPLOAD_HOST)
        self.assert_run(self.run_tool(), 1,
                        "error: Vendra: A file became shorter or unreadable while it was read. Make sure the "
                        "Vendra run script build phase is the last build phase.\n")
        self.assert_no_zip_left()

    def test_an_artifact_is_never_half_written(self):
        path = self.folder / "artifact.plist"
        path.write_text("old")
        before = set(os.listdir(self.folder))

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (64, 64))

        self.settings |= {"QUORVEX_CREATE_ARTIFACT": "YES", "QUORVEX_ARTIFACT_PATH": str(path)}
        self.assert_run(self.run_tool(preexec_fn=limit), 1,
                        f"Failed to write data to artifact path {path}\n\n" + self.compression_failed(),
                        (f"ditto: {self.app.products}/UNIQUE.zip: {os.strerror(errno.EFBIG)}",))
        self.assertEqual("old", path.read_text())
        self.assertEqual(before, set(os.listdir(self.folder)))


class SignalTest(EndToEndTest):
    def start_zipping(self, then: str) -> tuple[subprocess.Popen, int]:
        """The tool and its archiver, which has made half a zip and goes on as told."""
        note = self.folder / "archiver"
        self.copy_framework(f'echo half > "$5"; echo $$ > {note}.new; mv {note}.new {note}; {then}')
        child = self.start_tool(API_KEY)
        process = int(wait_for(lambda: note.exists() and note.read_text()))
        self.addCleanup(self.kill, os.pidfd_open(process))
        note.unlink()
        self.assertEqual(1, len(list(self.app.products.glob("*.zip"))))
        return child, process

    def kill(self, descriptor: int):
        with contextlib.suppress(ProcessLookupError):
            signal.pidfd_send_signal(descriptor, signal.SIGKILL)
        os.close(descriptor)

    def assert_ended_by(self, number: int, child: subprocess.Popen):
        self.assert_run(finish(child), -number, "")
        self.assert_no_zip_left()

    def test_signals_while_zipping(self):
        for number, then, state in [*((number, "exec sleep 1000", "S") for number in ENDING),
                                    (signal.SIGTERM, "kill -STOP $$", "T")]:
            with self.subTest(number, state=state):
                child, archiver = self.start_zipping(then)
                stat = Path(f"/proc/{archiver}/stat")
                wait_for(lambda stat=stat, state=state: stat.read_text().rpartition(") ")[2].startswith(state))
                child.send_signal(number)
                self.assert_ended_by(number, child)
                self.assertFalse(stat.exists())

    def test_signals_while_reporting_and_uploading(self):
        for host in (API_HOST, UPLOAD_HOST):
            for number in ENDING:
                with self.subTest(host, number=number):
                    self.service.exchanges.clear()
                    self.service.answer(behaviours.reply(201))
                    self.service.answer(behaviours.stall, host=host)
                    child = self.start_tool(API_KEY)
                    wait_for(lambda host=host: any(exchange.complete for exchange in self.exchanges(host)))
                    child.send_signal(number)
                    self.assert_ended_by(number, child)

    def test_a_signal_that_the_parent_ignores_stays_ignored(self):
        sent = threading.Event()

        def behave(connection, exchange):
            connection.read_body(exchange.body, exchange.length)
            sent.wait()
            behaviours.reply(201)(connection, exchange)

        self.service.answer(behave, host=UPLOAD_HOST)
        child = self.start_tool(API_KEY, preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        try:
            wait_for(lambda: any(exchange.complete for exchange in self.exchanges(UPLOAD_HOST)))
            child.send_signal(signal.SIGHUP)
        finally:
            sent.set()
        self.assert_run(finish(child), 0, self.uploaded())

    def test_a_reader_that_left_changes_no_status(self):
        note = self.folder / "ignored"
        self.copy_framework(f'grep SigIgn /proc/self/status > {note}\nexec "{FRAMEWORK}/ditto" "$@"')
        for answer, status in [(201, 0), (500, 1)]:
            with self.subTest(answer):
                self.service.answer(behaviours.reply(answer))
                reading, writing = os.pipe()
                os.close(reading)
                child = self.start_tool(API_KEY, "-debug", "YES", stdout=writing, stderr=writing)
                os.close(writing)
                self.assertEqual(status, finish(child).status)
                ignored = int(note.read_text().split()[1], 16)
                self.assertEqual(0, ignored & 1 << signal.SIGPIPE - 1, "the archiver ignores it too")

    def test_two_runs_at_once(self):
        children = [self.start_tool(API_KEY) for _ in range(4)]
        for child in children:
            self.assert_run(finish(child), 0, self.uploaded())
        names = {exchange.field("code_mapping[file]").file_name for exchange in self.exchanges(UPLOAD_HOST)}
        self.assertEqual(len(children), len(names))
        self.assert_no_zip_left()


if __name__ == "__main__":
    unittest.main()
