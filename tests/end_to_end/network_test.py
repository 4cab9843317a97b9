"""Strange networks: every fault becomes a status and an error of the right code, and no zip stays behind."""

import functools
import itertools
import os
import re
import socket
import subprocess
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

from support import (
    API_HOST, API_KEY, BUILD_SECRET, SERVICE_HOSTS, UPLOAD_HOST, EndToEndTest, Flaw, LocalService, Result,
    behaviours)

OTHER_HOST = "other.example"
SLOW_BYTES = 11 << 20  # far more than the kernel takes on behalf of a slow reader
SLOW_RATE = 500_000  # per second


def failed(code: int, status: int = 0) -> str:
    return f"{status} Error Domain=NSURLErrorDomain Code={code}"


def without_texts(output: bytes) -> str:
    """The details of an error are the HTTP library's."""
    return re.sub(r'( Error Domain=\w+ Code=-?\d+) "[^"\n]*"', r"\1", output.decode())


class NetworkTest(EndToEndTest):
    hosts = (*SERVICE_HOSTS, OTHER_HOST)

    def assert_outcome(self, result: Result, status: int, stdout: str):
        self.assert_run(result._replace(stdout=without_texts(result.stdout).encode()), status, stdout)
        self.assert_no_zip_left()

    def test_what_fails_before_a_request_is_sent(self):
        rows = [
            ("expired", behaviours.tunnel(Flaw.EXPIRED), -1201),
            ("other name", behaviours.tunnel(Flaw.OTHER_HOST), -1202),
            ("unknown CA", behaviours.tunnel(Flaw.UNKNOWN_CA), -1203),
            ("refused by the proxy", behaviours.refuse(403), -1004),
            ("password wanted", behaviours.refuse(407, [("Proxy-Authenticate", 'Basic realm="p"')]), -1004),
            ("dead proxy", behaviours.die, -1005)]
        for name, behaviour, code in rows:
            with self.subTest(name):
                self.service.at_connect(behaviour)
                self.assert_outcome(self.run_tool(API_KEY, BUILD_SECRET), 1, self.refused(failed(code)))
        self.assertEqual([], self.service.exchanges)

    def test_nobody_there(self):
        with socket.socket() as unheard:  # holds a port on which nobody listens
            unheard.bind(("127.0.0.1", 0))
            # Longer than a label of a host name may be, so that no name server is asked.
            unknown = f"http://{64 * 'a'}.example:1"
            for proxy, code in [(f"http://127.0.0.1:{unheard.getsockname()[1]}", -1004), (unknown, -1003)]:
                with self.subTest(code):
                    result = self.run_tool(settings=self.settings | {"HTTPS_PROXY": proxy})
                    self.assert_outcome(result, 1, self.refused(failed(code)))

    def test_connections_that_break(self):
        rows = [
            ("in the body", behaviours.reset_in_body, failed(-1005)),
            ("after the body", behaviours.reset_after_body, failed(-1005)),
            ("half a status line", behaviours.half_status_line, failed(-1005)),
            ("in the reply", behaviours.break_reply(500), failed(-1005, 500)),
            ("endless redirects", behaviours.redirect(302, "/around"), failed(-1007, 302)),
            ("to a host that is not UTF-8", behaviours.redirect(307, f"https://{15 * 'a'}%FC/"), failed(-1000)),
            ("to plain HTTP", behaviours.redirect(307, f"http://{OTHER_HOST}/"), "307")]
        for name, behaviour, outcome in rows:
            with self.subTest(name):
                self.service.answer(behaviour)
                self.assert_outcome(self.run_tool(), 1, self.refused(outcome))
        self.service.at_connect(behaviours.reset_before_request)
        self.assert_outcome(self.run_tool(), 1, self.refused(failed(-1005)))
        # Three requests, each with the sixteen redirects that are followed.
        self.assertEqual(3 * 16, [exchange.path for exchange in self.service.exchanges].count("/around"))
        self.assertEqual({"CONNECT"}, {request.method for request in self.service.proxy_requests})

    def test_what_the_http_library_does_not_know(self):
        self.settings |= {"LD_LIBRARY_PATH": os.environ["QVX_PICKY_CURL"], "SSL_CERT_DIR": str(self.folder)}
        needed = {"CURLOPT_CAINFO": "10065", "CURLOPT_CAPATH": "10097", "CURLOPT_SSLVERSION": "32",
                  "CURLOPT_PROTOCOLS": "10318,181", "CURLOPT_DISALLOW_USERNAME_IN_URL": "278",
                  "CURLOPT_POSTFIELDSIZE_LARGE": "30120", "CURLOPT_XFERINFOFUNCTION": "20219"}
        for name, numbers in needed.items():
            with self.subTest(name):
                outcome = f'{failed(-1)} "unknown error (libcurl does not take {name})"'
                self.assert_run(self.run_tool(settings=self.settings | {"PICKY_CURL_OPTIONS": numbers}), 1,
                                self.refused(outcome))
        self.assertEqual([], self.service.proxy_requests)
        younger = "10318,322,280,20108,10246,10247"  # as before 7.85, without OpenSSL, without TLS to proxies
        self.assert_run(self.run_tool(settings=self.settings | {"PICKY_CURL_OPTIONS": younger}), 0, self.uploaded())

    def test_a_status_that_came_counts_though_the_reply_broke(self):
        self.service.answer(behaviours.break_reply(201))
        self.assert_outcome(self.run_tool(), 0, self.uploaded())

    def test_redirects_keep_the_identity_at_home(self):
        for status, method in [(301, "GET"), (302, "GET"), (303, "GET"), (307, "POST"), (308, "POST")]:
            with self.subTest(status):
                self.service.exchanges.clear()
                self.service.answer(behaviours.redirect(status, f"https://{OTHER_HOST}/taken?"))
                self.service.answer(behaviours.reply(201), host=OTHER_HOST)
                self.assert_outcome(self.run_tool(API_KEY, BUILD_SECRET), 0, self.uploaded())
                self.assertEqual([API_HOST, OTHER_HOST, UPLOAD_HOST, OTHER_HOST],
                                 [exchange.host for exchange in self.service.exchanges])
                for sent, repeated in zip(self.service.exchanges[::2], self.service.exchanges[1::2]):
                    self.assertEqual((method, "/taken?"), (repeated.method, repeated.path))
                    self.assertEqual(sent.body.bytes() if method == "POST" else b"", repeated.body.bytes())
                    self.assertNotIn(b"X-Quorvex", repeated.head)
                    self.assertNotIn(API_KEY.encode(), repeated.head)
        for request in self.service.proxy_requests:
            self.assertNotIn(b"Quorvex-", request.head)

    def test_large_replies_take_bounded_memory(self):
        piece = bytes(1 << 20)
        headers = [(f"X-Field-{number}", "v" * 64) for number in range(1000)]
        # Where an address sanitizer would keep freed memory from being used again.
        self.settings["ASAN_OPTIONS"] = "quarantine_size_mb=1"
        peaks = []
        for count in (1, 100):
            pieces = functools.partial(itertools.repeat, piece, count)
            self.service.answer(behaviours.reply(201, headers, pieces))
            child = self.start_tool(API_KEY, stderr=subprocess.DEVNULL)
            stdout = child.stdout.read()
            child.stdout.close()
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual((0, self.uploaded()), (child.returncode, stdout.decode()))
            peaks.append(usage.ru_maxrss)
        self.assertLess(peaks[1] - peaks[0], 96 << 10, f"peaks in KiB: {peaks}")


class Silence:
    """Behaviours that say nothing more, and for how long the client endured that."""

    def __init__(self):
        self.seconds: list[float] = []

    def hold(self, connection):
        start = time.monotonic()
        connection.hold()
        self.seconds.append(time.monotonic() - start)
        if connection.open:
            connection.close()

    def connect(self, connection, _certificate):
        self.hold(connection)

    def handshake(self, connection, _certificate):
        connection.send(behaviours.head_of(200, []))
        self.hold(connection)

    def request(self, connection, exchange):
        connection.read_body(exchange.body, exchange.length)
        self.hold(connection)

    def reply(self, connection, exchange):
        connection.read_body(exchange.body, exchange.length)
        connection.send(behaviours.head_of(500, [("Content-Length", "9")]) + b"half")
        self.hold(connection)


class PatienceTest(EndToEndTest):
    """All of these take their time, and so run side by side, each with a service of its own."""

    def test_silence_ends_an_exchange_and_slowness_does_not(self):
        silent, broken = (f"Could not be onboarded statusCode {failed(-1001, status)}" for status in (0, 500))
        again = behaviours.reply(201)
        trickle = behaviours.reply(201, body=b"slow", pause=0.8, piece=2)
        cases = [  # what the service does, and what that makes of the report
            (lambda service, silence: service.answer(silence.request, host=API_HOST), silent),
            (lambda service, silence: service.answer(silence.request, again, host=UPLOAD_HOST), ""),
            (lambda service, silence: service.answer(silence.reply, host=API_HOST), broken),
            (lambda service, silence: service.at_connect(silence.connect, host=API_HOST), silent),
            (lambda service, silence: service.at_connect(silence.handshake, host=API_HOST), silent),
            (lambda service, _: service.answer(behaviours.stall_in_body, again, host=UPLOAD_HOST), ""),
            (lambda service, _: service.answer(behaviours.reply(201, rate=SLOW_RATE), host=UPLOAD_HOST), ""),
            (lambda service, _: service.answer(trickle, host=API_HOST), "")]
        with ThreadPoolExecutor(len(cases)) as pool:
            running = [pool.submit(self.run_case, number, *case) for number, case in enumerate(cases)]
        for number, future in enumerate(running):
            with self.subTest(number):
                future.result()

    def run_case(self, number: int, configure, report: str):
        app = self.made_app.copy_to(self.folder / f"case-{number}")
        (app.dsym / "Contents/Resources/large").write_bytes(os.urandom(SLOW_BYTES))
        silence = Silence()
        with LocalService() as service:
            configure(service, silence)
            settings = self.settings | app.environment() | self.network_settings(service)
            result = self.run_tool(settings=settings, directory=app.project)
        stdout = without_texts(result.stdout).encode()
        self.assert_run(result._replace(stdout=stdout), 0, report + self.uploaded())
        self.assertEqual([], list(app.products.glob("*.zip")))
        for seconds in silence.seconds:
            self.assertGreater(seconds, 14.5)  # the service's clock started a little later than the tool's


if __name__ == "__main__":
    unittest.main()
