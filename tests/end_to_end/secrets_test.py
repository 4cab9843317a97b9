"""What a run must keep to itself: the key, the build secret, the environment and the proxy's password."""

import shutil
import socket
import stat
import unittest
from pathlib import Path

from desktop_app import HandOffTest
from support import API_HOST, CHECKER, FRAMEWORK, SERVICE_HOSTS, UPLOAD_HOST, behaviours, wait_for

KEY = "fake-key-" + "k" * 31
SECRET = "fake-secret-" + "s" * 52
SETTING = "fake-setting-of-the-environment"
PASSWORD = "fake-password"
SECRETS = tuple(text.encode() for text in (KEY, SECRET, SETTING, PASSWORD))
OTHER_HOST = "other.example"


def secrets_in(content: bytes) -> list[bytes]:
    return [secret for secret in SECRETS if secret in content]


class SecretsTest(HandOffTest):
    hosts = (*SERVICE_HOSTS, OTHER_HOST)

    def setUp(self):
        super().setUp()
        self.artifact = self.folder / "artifact.plist"
        self.settings |= {"DEPLOY_TOKEN": SETTING, "QUORVEX_CREATE_ARTIFACT": "YES",
                          "QUORVEX_ARTIFACT_PATH": str(self.artifact)}
        # Keeps the archiver's arguments and what it made.
        self.copy_framework(f'printf "%s\\n" "$0" "$@" >> {self.folder}/arguments; "{FRAMEWORK}/ditto" "$@"\n'
                            f'status=$?; cp "$5" {self.folder}/kept.zip; exit $status')

    def run_with_secrets(self):
        """Runs the tool with debug lines and a careless umask; nothing that it prints may hold a secret."""
        self.settings["SSLKEYLOGFILE"] = str(self.folder / "session-keys")
        result = self.run_tool(KEY, SECRET, "-debug", "YES", umask=0)
        self.assertFalse((self.folder / "session-keys").exists())
        self.assertEqual([], secrets_in(result.stdout + result.stderr), result)
        return result

    def files_with_secrets(self) -> set[Path]:
        """Every file below the test's folder that holds one; its mode and its folders' are checked."""
        found = {path for path in self.folder.rglob("*") if path.is_file() and secrets_in(path.read_bytes())}
        for path in found:
            self.assertEqual(0o600, stat.S_IMODE(path.stat().st_mode), path)
            for folder in path.parents[:len(path.relative_to(self.folder).parts)]:
                self.assertEqual(0, folder.stat().st_mode & (stat.S_IWGRP | stat.S_IWOTH), folder)
        return found

    def assert_wire_is_clean(self):
        for request in self.service.proxy_requests:
            self.assertEqual(("CONNECT", []), (request.method, secrets_in(request.head)))
        for exchange in self.service.exchanges:
            body = exchange.body.bytes()
            self.assertEqual([], secrets_in(body))
            held = {API_HOST: SECRETS[:2], UPLOAD_HOST: SECRETS[:1]}.get(exchange.host, ())
            self.assertEqual(list(held), secrets_in(exchange.head), exchange.host)

    def test_direct_runs_that_succeed_fail_and_are_sent_elsewhere(self):
        away = behaviours.redirect(307, f"https://{OTHER_HOST}/")
        rows = [(behaviours.reply(201), 0), (behaviours.reply(500, body=b"no"), 1), (away, 0),
                (behaviours.redirect(302, f"http://{OTHER_HOST}/"), 1), (behaviours.reset_after_body, 1)]
        self.service.answer(behaviours.reply(201), host=OTHER_HOST)
        for number, (answer, status) in enumerate(rows):
            with self.subTest(number):
                for host in SERVICE_HOSTS:
                    self.service.answer(answer, host=host)
                self.assertEqual(status, self.run_with_secrets().status)
                self.assert_wire_is_clean()
                self.assertEqual({self.artifact}, self.files_with_secrets())
        self.assertIn(OTHER_HOST, [exchange.host for exchange in self.service.exchanges])
        self.assertIn(str(self.app.dsym), (self.folder / "arguments").read_text())

    @unittest.skipIf(CHECKER, "the arguments are the checker's")
    def test_the_arguments_show_neither_while_it_uploads(self):
        self.service.answer(behaviours.stall, host=UPLOAD_HOST)
        child = self.start_tool(KEY, SECRET, "-debug", "YES")
        wait_for(lambda: any(exchange.complete for exchange in self.exchanges(UPLOAD_HOST)))
        words = Path(f"/proc/{child.pid}/cmdline").read_bytes().split(b"\0")[1:-1]
        self.assertEqual([b" " * 40, b" " * 64, b"-debug", b"YES"], words)
        child.terminate()

    def test_the_proxys_password_is_in_no_message(self):
        with socket.socket() as unheard:  # holds a port on which nobody listens
            unheard.bind(("127.0.0.1", 0))
            port = unheard.getsockname()[1]
            service = self.service.proxy_url.rpartition(":")[2]
            for address in (f"127.0.0.1:{port}", f"127.0.0.1:{service}", f"{64 * 'a'}.example:1", "[bad",
                            "bad:x"):
                with self.subTest(address):
                    self.service.at_connect(behaviours.refuse(407))
                    self.settings["HTTPS_PROXY"] = f"http://user:{PASSWORD}@{address}"
                    self.assertEqual(1, self.run_with_secrets().status)
        self.assertEqual([], [request for request in self.service.proxy_requests if secrets_in(request.head)])

    def test_a_hand_off_leaves_them_in_the_record_and_the_artifact_only(self):
        program = self.register(info={"CFBundleVersion": "203"})
        shutil.rmtree(self.settings["XDG_CACHE_HOME"])
        self.assertEqual(0, self.run_with_secrets().status)
        url = self.received(program)
        self.assertEqual([], secrets_in(url.encode()))
        record, = Path(self.settings["XDG_CACHE_HOME"]).rglob("Build.plist")
        self.assertEqual({self.artifact, record}, self.files_with_secrets())
        # The key and the environment belong there; the build secret does not.
        self.assertEqual([KEY.encode(), SETTING.encode()], secrets_in(record.read_bytes()))


if __name__ == "__main__":
    unittest.main()
