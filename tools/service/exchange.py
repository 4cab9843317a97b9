"""What the local service received: proxy requests, exchanges, form fields, and a text for people."""

import email
import email.policy
import hashlib
import io
import zipfile
from dataclasses import dataclass, field
from pathlib import Path

# A body larger than this lies in a file of the service's folder and is gone once the service stopped.
MEMORY_LIMIT = 8 << 20
# Beyond this, taking a form apart costs more time and memory than a person wants to wait for.
DESCRIBED_LIMIT = 64 << 20

LABELS = {
    "app_name": "app",
    "tool_details": "sent from",
    "project[identifier]": "app",
    "project[display_version]": "display version",
    "project[build_version]": "build version",
    "code_mapping[build_configuration]": "configuration",
    "code_mapping[type]": "type",
    "com_quorvex_run_version": "tool build",
}
IDENTIFIER_FIELD = "code_mapping[executables][][identifier]"
ARCHITECTURE_FIELD = "code_mapping[executables][][arch]"

Headers = list[tuple[str, str]]


def parse_head(head: bytes) -> tuple[str, Headers]:
    """The first line and the header fields, in order, of a head without its empty line (Latin-1 text)."""
    first, *lines = head.decode("latin-1").split("\r\n")
    return first, [(name, value.strip()) for name, _, value in (line.partition(":") for line in lines)]


class Body:
    """The bytes of a request as they came, with their SHA-256; large ones are kept on disk."""

    def __init__(self, spool: Path):
        """The spool is made when the body outgrows the memory limit."""
        self._spool = spool
        self._data = bytearray()
        self._digest = hashlib.sha256()
        self.size = 0

    def append(self, piece: bytes) -> None:
        self._digest.update(piece)
        self.size += len(piece)
        self._data += piece
        if len(self._data) > MEMORY_LIMIT:
            with open(self._spool, "ab") as file:
                file.write(self._data)
            self._data.clear()

    def bytes(self) -> bytes:
        spooled = self._spool.read_bytes() if self.size > len(self._data) else b""
        return spooled + self._data

    @property
    def sha256(self) -> str:
        return self._digest.hexdigest()


@dataclass(frozen=True)
class Field:
    """One part of a multipart form."""

    name: str
    value: bytes
    content_type: str
    file_name: str | None
    headers: Headers

    @property
    def text(self) -> str:
        return self.value.decode("utf-8")


@dataclass
class ProxyRequest:
    """A request to the proxy itself. `head` is all that the proxy could read of it, empty line excluded."""

    method: str
    target: str
    headers: Headers
    head: bytes
    secured: bool = False  # whether a TLS handshake followed and succeeded


@dataclass
class Exchange:
    """One request inside a TLS tunnel and the status it got, None when it got no whole status line."""

    connection: int
    host: str
    method: str
    path: str
    headers: Headers
    head: bytes
    body: Body
    status: int | None = None
    _fields: list[Field] | None = field(default=None, repr=False)

    def header(self, name: str) -> str | None:
        """The value of the first such header, in any letter case."""
        return next((value for key, value in self.headers if key.lower() == name.lower()), None)

    @property
    def length(self) -> int:
        return int(self.header("Content-Length") or 0)

    @property
    def chunked(self) -> bool:
        return "chunked" in (self.header("Transfer-Encoding") or "").lower()

    @property
    def complete(self) -> bool:
        return not self.chunked and self.body.size == self.length

    @property
    def fields(self) -> list[Field]:
        """The form's parts in order; needs a few times the body's size in memory."""
        if self._fields is None:
            self._fields = _parse_form(self.header("Content-Type") or "", self.body.bytes())
        return self._fields

    def field(self, name: str) -> Field | None:
        return next((part for part in self.fields if part.name == name), None)

    def describe(self) -> str:
        """Some lines for a person. Header values are left out, since some of them are secret."""
        answer = f"answered {self.status}" if self.status else "not answered"
        lines = [f"{self.method} https://{self.host}{self.path}, {answer}"]
        if not self.complete:
            lines.append(f"  {self.body.size} of {self.length} bytes arrived")
        elif self.body.size > DESCRIBED_LIMIT:
            lines.append(f"  {self.body.size} bytes, SHA-256 {self.body.sha256}")
        else:
            lines += _describe_fields(self.fields)
        return "\n".join(lines) + "\n"


class _Utf8Headers(email.policy.Compat32):
    """Header text beyond ASCII is UTF-8, which the parser keeps as lone surrogates."""

    def header_fetch_parse(self, name: str, value: str) -> str:
        return value.encode("ascii", "surrogateescape").decode("utf-8", "replace")


def _parse_form(content_type: str, body: bytes) -> list[Field]:
    if not content_type.lower().startswith("multipart/"):
        return []
    # The body opens with a header line of its own, so the type joins it and the whole is one message.
    head = b"Content-Type: " + content_type.encode("latin-1") + b"\r\n"
    message = email.message_from_bytes(head + body, policy=_Utf8Headers())
    fields = []
    for part in message.get_payload() if message.is_multipart() else []:
        fields.append(Field(
            name=part.get_param("name", "", header="Content-Disposition"),
            value=part.get_payload(decode=True),
            content_type=part.get_content_type(),
            file_name=part.get_filename(),
            headers=part.items()))
    return fields


def _describe_fields(fields: list[Field]) -> list[str]:
    lines = []
    uuid = ""
    for part in fields:
        if part.file_name is not None:
            lines += _describe_file(part)
        elif part.name == IDENTIFIER_FIELD:
            uuid = part.text
        elif part.name == ARCHITECTURE_FIELD:
            lines.append(f"  {'executable':<16}{uuid} ({part.text})")
        else:
            lines.append(f"  {LABELS.get(part.name, part.name):<16}{part.value.decode('utf-8', 'replace')}")
    return lines


def _describe_file(part: Field) -> list[str]:
    lines = [f"  {'file':<16}{part.file_name}, {part.content_type}, {len(part.value)} bytes"]
    try:
        with zipfile.ZipFile(io.BytesIO(part.value)) as archive:
            damaged = archive.testzip()
            lines += [f"  {entry.file_size:>14}  {entry.filename}" for entry in archive.infolist()]
    except zipfile.BadZipFile as error:
        return lines + [f"  not a zip: {error}"]
    return lines + ([f"  damaged entry: {damaged}"] if damaged else [])
