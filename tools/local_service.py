#!/usr/bin/env python3
"""A service on this machine that the tool can report to and upload to, over TLS, as it would to the real one.

It is a CONNECT proxy on a port of 127.0.0.1 that ends the TLS of the service's hosts itself, with
certificates of a CA of its own: whoever sets HTTPS_PROXY and SSL_CERT_FILE as it says reaches it.

With a command it is a dry run: the command reaches this service instead of the real one, and what it sent is shown.
"""

import argparse
import os
import signal
import subprocess
import sys
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
        usage="%(prog)s [OPTION...] [-- COMMAND...]",
        description="Serves the tool's service on a port of 127.0.0.1: to COMMAND, with the proxy and the certificates "
                    "set in its environment, printing what arrived and ending with its status; else until SIGTERM or "
                    "SIGINT.")
    parser.add_argument("--status", metavar="[PATH=]N,...", type=_statuses, action="append", default=[],
                        help="answer requests (whose path contains PATH) with these, the last one for good")
    parser.add_argument("--host", metavar="HOST", action="append", default=[], help="serve this host as well")
    parser.add_argument("--ready-file", metavar="FILE", type=Path,
                        help="write the two settings there, as shell assignments, once the service is up")
    parser.add_argument("command", nargs=argparse.REMAINDER, help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.command[:1] == ["--"]:
        del arguments.command[0]
    return arguments


def _dry_run(arguments: argparse.Namespace) -> int:
    """Runs the command and returns its status as a shell says it."""
    with LocalService((*SERVICE_HOSTS, *arguments.host)) as service:
        _script(service, arguments)
        environment = {name: value for name, value in os.environ.items() if name.lower() != "no_proxy"}
        environment |= {"HTTPS_PROXY": service.proxy_url, "https_proxy": service.proxy_url,
                        "SSL_CERT_FILE": str(service.ca_file)}
        # What a terminal sends goes to the command as well, which decides what to make of it; the rest is passed on.
        before = signal.signal(signal.SIGINT, signal.SIG_IGN)
        try:
            command = subprocess.Popen(arguments.command, env=environment,
                                       preexec_fn=lambda: signal.signal(signal.SIGINT, before))
        except OSError as error:
            print(f"{arguments.command[0]}: {error.strerror}", file=sys.stderr)
            return 127
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, lambda number, _: command.send_signal(number))
        status = command.wait()
        for exchange in service.exchanges:
            print(exchange.describe(), end="")
        if not service.exchanges:
            print("Nothing arrived.")
        return status if status >= 0 else 128 - status


def _script(service: LocalService, arguments: argparse.Namespace) -> None:
    # What is said of one path counts more than what is said of all, whichever came first.
    for path, statuses in sorted(arguments.status, key=lambda rule: rule[0] is not None):
        service.answer(*(reply(status) for status in statuses), path=path)


def main() -> int:
    arguments = _arguments()
    if arguments.command:
        return _dry_run(arguments)
    signals = {signal.SIGTERM, signal.SIGINT, signal.SIGHUP}
    # Blocked in every thread to come, so that a signal at any moment is taken below, and all is removed.
    signal.pthread_sigmask(signal.SIG_BLOCK, signals)
    printing = threading.Lock()

    def show(exchange: Exchange) -> None:
        with printing:
            print(exchange.describe(), end="", flush=True)

    with LocalService((*SERVICE_HOSTS, *arguments.host), show) as service:
        _script(service, arguments)
        settings = f"HTTPS_PROXY={service.proxy_url}\nSSL_CERT_FILE={service.ca_file}\n"
        print(settings, end="", flush=True)
        if arguments.ready_file:
            unfinished = arguments.ready_file.with_name(arguments.ready_file.name + ".unfinished")
            unfinished.write_text(settings)
            os.replace(unfinished, arguments.ready_file)
        signal.sigwait(signals)
    return 0


if __name__ == "__main__":
    sys.exit(main())
