"""Certificates for the local service: a CA of its own and one certificate per host, made with openssl."""

import enum
import ssl
import subprocess
import threading
from pathlib import Path

OPENSSL_CONFIGURATION = """\
[req]
distinguished_name = name
prompt = no
[name]
CN = local service
[ca]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign
subjectKeyIdentifier = hash
[host]
basicConstraints = critical, CA:FALSE
extendedKeyUsage = serverAuth
"""


class Flaw(enum.Enum):
    """What is wrong with a certificate."""

    EXPIRED = "expired"
    OTHER_HOST = "other-host"
    UNKNOWN_CA = "unknown-ca"


class Certificates:
    """Makes what is asked for in a folder of the caller's, which also holds the private keys."""

    def __init__(self, folder: Path):
        self._folder = folder
        self._contexts: dict[tuple[str, Flaw | None], ssl.SSLContext] = {}
        self._lock = threading.Lock()
        self._configuration = folder / "openssl.cnf"
        self._configuration.write_text(OPENSSL_CONFIGURATION)
        self.ca_file = self._make_ca("trusted")

    def context(self, host: str, flaw: Flaw | None = None) -> ssl.SSLContext:
        """The server side of a TLS handshake for the host, made when it is first asked for."""
        with self._lock:
            if (host, flaw) not in self._contexts:
                self._contexts[host, flaw] = self._make_context(host, flaw)
            return self._contexts[host, flaw]

    def _make_ca(self, name: str) -> Path:
        return self._request(name, "ca", "-x509", "-days", "2", "-subj", f"/CN=local service CA ({name})")

    def _make_context(self, host: str, flaw: Flaw | None) -> ssl.SSLContext:
        issuer = self.ca_file if flaw is not Flaw.UNKNOWN_CA else self._make_ca("unknown")
        signing = ["-CA", issuer, "-CAkey", issuer.with_suffix(".key"), "-days"]
        name = f"{host}-{flaw.value if flaw else 'good'}"
        named_host = "elsewhere.example" if flaw is Flaw.OTHER_HOST else host
        names = ["-addext", f"subjectAltName=DNS:{named_host}"]
        if flaw is Flaw.EXPIRED:
            # Over as soon as it is made; "req" itself would take no such number of days.
            unsigned = self._request(name, "host", *names)
            certificate = unsigned.with_suffix(".signed.pem")
            self._openssl("x509", "-req", "-in", unsigned, *signing, "0", "-out", certificate,
                          "-copy_extensions", "copy", "-extfile", self._configuration, "-extensions", "host")
        else:
            certificate = self._request(name, "host", *names, "-x509", *signing, "2")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.minimum_version = ssl.TLSVersion.TLSv1_2
        context.load_cert_chain(certificate, self._folder / f"{name}.key")
        return context

    def _request(self, name: str, extensions: str, *options) -> Path:
        made = self._folder / f"{name}.pem"
        self._openssl(
            "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
            "-config", self._configuration, "-extensions", extensions,
            "-keyout", self._folder / f"{name}.key", "-out", made, *options)
        return made

    @staticmethod
    def _openssl(*arguments) -> None:
        done = subprocess.run(["openssl", *arguments], capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError(f"openssl {arguments[0]} failed: {done.stderr}")
