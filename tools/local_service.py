#!/usr/bin/env python3
"""A service on this machine that the tool can report to and upload to, over TLS, as it would to the real one.

It is a CONNECT proxy on a port of 127.0.0.1 that ends the TLS of the service's hosts itself, with
certificates of a CA of its own: whoever sets HTTPS_PROXY and SSL_CERT_FILE as it says reaches it.
"""

import argparse
import os
import signal
import threading
from pathlib import Path

from service.behaviours import reply
from service.exchange import Exchange
from service.server import SERVICE_HOSTS, LocalService


def _statuses(text: str) -> tuple[str | None, list[int]]:
    path, _, numbers = text.rpartition("=")
    return path or None, [int(number) for number in numbers.split(",")]


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        description="Serves the tool's service on a port of 127.0.0.1 until SIGTERM or SIGINT.")
    parser.add_argument("--status", metavar="[PATH=]N,...", type=_statuses, action="append", default=[],
                        help="answer requests (whose path contains PATH) with these, the last one for good")
    parser.add_argument("--host", metavar="HOST", action="append", default=[], help="serve this host as well")
    parser.add_argument("--ready-file", metavar="FILE", type=Path,
                        help="write the two settings there, as shell assignments, once the service is up")
    return parser.parse_args()


def main() -> None:
    arguments = _arguments()
    signals = {signal.SIGTERM, signal.SIGINT, signal.SIGHUP}
    # Blocked in every thread to come, so that a signal at any moment is taken below, and all is removed.
    signal.pthread_sigmask(signal.SIG_BLOCK, signals)
    printing = threading.Lock()

    def show(exchange: Exchange) -> None:
        with printing:
            print(exchange.describe(), end="", flush=True)

    with LocalService((*SERVICE_HOSTS, *arguments.host), show) as service:
        # What is said of one path counts more than what is said of all, whichever came first.
        for path, statuses in sorted(arguments.status, key=lambda rule: rule[0] is not None):
            service.answer(*(reply(status) for status in statuses), path=path)
        settings = f"HTTPS_PROXY={service.proxy_url}\nSSL_CERT_FILE={service.ca_file}\n"
        print(settings, end="", flush=True)
        if arguments.ready_file:
            unfinished = arguments.ready_file.with_name(arguments.ready_file.name + ".unfinished")
            unfinished.write_text(settings)
            os.replace(unfinished, arguments.ready_file)
        signal.sigwait(signals)


if __name__ == "__main__":
    main()
