"""Strange networks: every fault becomes a status and an error of the right code, and no zip stays behind."""

import re
import socket
import unittest

from support import API_KEY, BUILD_SECRET, PICKY_CURL, EndToEndTest, Flaw, Result, behaviours


def failed(code: int, status: int = 0) -> str:
    return f"{status} Error Domain=NSURLErrorDomain Code={code}"


def without_texts(output: bytes) -> str:
    """The details of an error are the HTTP library's."""
    return re.sub(r'( Error Domain=\w+ Code=-?\d+) "[^"\n]*"', r"\1", output.decode())


class NetworkTest(EndToEndTest):
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
                    self.settings["HTTPS_PROXY"] = proxy
                    self.assert_outcome(self.run_tool(), 1, self.refused(failed(code)))

    def test_connections_that_break(self):
        rows = [
            ("in the body", behaviours.reset_in_body, failed(-1005)),
            ("after the body", behaviours.reset_after_body, failed(-1005)),
            ("half a status line", behaviours.half_status_line, failed(-1005)),
            ("in the reply", behaviours.break_reply(500), failed(-1005, 500)),
            ("endless redirects", behaviours.redirect(302, "/around"), failed(-1007, 302)),
            ("to a host that is not UTF-8", behaviours.redirect(307, f"https://{15 * 'a'}%FC/"), failed(-1000)),
            ("to plain HTTP", behaviours.redirect(307, "http://other.example/"), "307")]
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
        self.settings |= {"LD_LIBRARY_PATH": str(PICKY_CURL), "SSL_CERT_DIR": str(self.folder)}
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


if __name__ == "__main__":
    unittest.main()
