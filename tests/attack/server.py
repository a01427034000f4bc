#!/usr/bin/env python3
"""Servers and proxies that mean harm, on raw sockets.

Each run of the program's "feed" must say what its row of the table expects, end by itself in time, and take no more
memory than the row allows. --full adds the servers that only the engine's own bounds end, of 30 s and more.
"""

import contextlib
import gzip
import itertools
import pathlib
import re
import sys
import tempfile
import zlib
from typing import NamedTuple

sys.path.append(f"{sys.path[0]}/../support")
from attacks import MIB, arguments, attack, base_folder, environment, run, silent_name_server
from feed_server import CLOSE, HOLD, RESET, FeedServer, Forever, make_certificates, response, tls_context

FEED = b"<rss><channel><title>Whole</title></channel></rss>"
EMPTY = "Failed to parse feed"  # what becomes of a response without a body
FAILS = r"quillmoria: https?://\S+: \w"  # with a status text
DENIED = "HTTP_STATUS_DENIED|HTTP 40[17]"
TOO_LARGE = "is too large"
TLS_FAILS = "(?i)ssl|tls|wrong version"
BOMB = 256 << 20  # bytes
ZSTD_BOMB = b"\x28\xb5\x2f\xfd\x00\x58" + b"\x02\x00\x10x" * (BOMB >> 17)  # blocks of one byte 128 Ki times
LONG = 90_000  # about what a header line may have
HEADERS_TOO_LARGE = "header lines are too large"

CREDENTIALS = "70E74277DFE5C69B7CC15DAB36F6A6F0"  # "reader~~secret`", enciphered by OpenSSL
SETTINGS = "[Proxy]\nType=3\nServer=127.0.0.1\nPort={}\nCredentials=" + CREDENTIALS + "\n"


class Case(NamedTuple):
    name: str
    says: str  # a pattern in what the program prints
    replies: list  # to one request after the other, over all connections; the last one to all further ones
    scheme: str = "http"
    tls: str = ""  # the certificate that the server speaks TLS with
    proxy: bool = False  # is the proxy of the settings, not the server
    host: str = ""  # of the address, if it is not the server's
    user: str = ""
    never: str = ""  # a pattern that no request bears
    requests: int = 0  # how many there are, if not 0
    mebibytes: int = 48  # that the program may take
    seconds: tuple = (0, 60)  # that it may take, at least and at most; only in the full form beyond 10
    modern: str = ""  # what it says in the modern profile, if that is something else


def head(status, *lines):
    return b"HTTP/1.1 " + b"\r\n".join((status, *lines)) + b"\r\n\r\n"


def moved(location, more=b""):
    return head(b"302 Found", b"Location: " + location, b"Content-Length: 0") + more


def refusal(challenge, status=b"401 No", name=b"WWW-Authenticate"):
    return head(status, name + b": " + challenge, b"Content-Length: 0")


def cases():
    good, chunked = [response(FEED)], head(b"200 OK", b"Transfer-Encoding: chunked")
    yield Case("is well", "Whole", good)
    for what, sent in (("before the status line", b""), ("in the header lines", b"HTTP/1.1 200 OK\r\nContent-Le"),
                       ("in the body", head(b"200 OK", b"Content-Length: 9") + b"<rss"),
                       ("in a chunk", chunked + b"30\r\n<rss")):
        yield Case("resets " + what, FAILS, [[sent, RESET]])

    # Floods
    lines, body = Forever(b"X: y\r\n" * 1000), Forever(b"x" * 10000)
    yield Case("sends header lines for ever", HEADERS_TOO_LARGE, [[b"HTTP/1.1 200 OK\r\n", lines]])
    yield Case("sends one header line for ever", FAILS, [[b"HTTP/1.1 200 OK\r\nX: ", body]])
    yield Case("sends trailers for ever", FAILS, [[chunked + b"0\r\n", lines]])
    yield Case("sends hints for ever", HEADERS_TOO_LARGE, [[Forever(head(b"103 Hints") * 1000)]])
    yield Case("sends a body for ever", TOO_LARGE, [[head(b"200 OK"), body]], mebibytes=192)
    yield Case("sends chunks for ever", TOO_LARGE, [[chunked, Forever(b"400\r\n" + b"x" * 1024 + b"\r\n")]],
               mebibytes=192)
    yield Case("refuses with a body for ever", DENIED, [[head(b"401 No", b'WWW-Authenticate: Basic realm="r"'), body]],
               user="me")
    yield Case("packs its body", EMPTY, [response(gzip.compress(FEED), headers=["Content-Encoding: gzip"])],
               modern="Whole")

    # Redirects and refusals
    yield Case("redirects to a file", "location failed to load", [moved(b"file:///etc/passwd")], requests=1,
               modern="no web address")
    yield Case("sets cookies and announces other services", "Whole",
               [moved(b"http://HOST/b\r\nSet-Cookie: a=b\r\nAlt-Svc: h2=\":1\"\r\n"
                      b"Strict-Transport-Security: max-age=99"), *good], never="(?i)cookie:")
    yield Case("redirects credentials that nobody asks for", "Whole", [moved(b"http://HOST/b"), *good], user="me",
               never="(?i)authorization")
    yield Case("asks for the proxy's credentials in a proxy's place", EMPTY,
               [refusal(b'Basic realm="r"', b"407 No", b"Proxy-Authenticate")], user="me", requests=1, modern=DENIED)
    yield Case("has a hostile user name quoted", DENIED, [refusal(b'Digest realm="r", nonce="n"'), *good],
               user='me"\r\nX-Evil: 1', never=r"[\r\n]X-Evil")
    yield Case("has its own challenge quoted", FAILS, [refusal(b'Digest realm="a\rX-Evil: 1", nonce="n"')], user="me",
               never=r"[\r\n]X-Evil")

    # Connections that are kept
    for what, says, end in (("closes what it keeps", b"keep-alive", CLOSE), ("keeps what it closes", b"close", HOLD)):
        yield Case(what, "Whole", [[moved(b"http://HOST/b\r\nConnection: " + says), end], *good], requests=2)
    smuggled = response(FEED.replace(b"Whole", b"Smuggled"))
    for what, carrier in (("a length", moved(b"http://HOST/b", smuggled)),
                          ("chunks", moved(b"http://HOST/b\r\nTransfer-Encoding: chunked", b"0\r\n\r\n" + smuggled)),
                          ("two lengths", moved(b"http://HOST/b\r\nContent-Length: 9", smuggled))):
        yield Case("sends another response after one with " + what, "Whole", [carrier, *good])

    # TLS
    secure = {"scheme": "https", "tls": "server"}
    yield Case("speaks TLS well", "Whole", good, **secure)
    yield Case("shows a certificate of another name", "(?i)certificate", good, scheme="https", tls="other")
    yield Case("shows a certificate that it has signed itself", "(?i)certificate", good, scheme="https", tls="own")
    yield Case("redirects from https to http, still over TLS", TLS_FAILS + "|Failed", [moved(b"http://127.0.0.1:1/")],
               requests=1, **secure)
    half_hello = b"\x16\x03\x03\x00\x7a\x02\x00\x00\x76\x03\x03" + bytes(32)
    for what, sent in (("HTTP", *good), ("half a hello", half_hello), ("garbage", bytes(range(256))), ("nothing", b"")):
        yield Case(f"answers a handshake with {what} and closes", FAILS, [[sent, CLOSE]], scheme="https")

    # Proxies
    tunnel = {"scheme": "https", "proxy": True}
    yield Case("opens a tunnel to garbage", TLS_FAILS, [[head(b"200 OK") + b"garbage" * 99, CLOSE]], **tunnel)
    yield Case("refuses a tunnel with a body for ever", "too large",
               [[head(b"407 No", b'Proxy-Authenticate: Basic realm="p"'), body]], **tunnel)
    yield Case("refuses for ever", DENIED + "|" + EMPTY,
               [refusal(b'Basic realm="p"', b"407 No", b"Proxy-Authenticate")], proxy=True, requests=2)
    for what, *reply in (("404", head(b"404 No", b"Content-Length: 0")), ("a redirect", moved(b"http://HOST/b")),
                         ("header lines for ever", b"HTTP/1.1 200 OK\r\n", lines), ("a reset", RESET)):
        yield Case("answers a tunnel with " + what, FAILS, [reply], requests=1, **tunnel)

    if options.profile == "modern":
        yield from modern_cases()

    # What only time ends
    idle, slow, drip = {"seconds": (28, 32)}, {"seconds": (58, 66)}, Forever(b"x", 0.5)
    yield Case("says nothing", "stopped sending", [[HOLD]], **idle)
    yield Case("says nothing over TLS", "stopped sending", [[HOLD]], **idle, **secure)
    yield Case("drips a body over TLS", "too slowly", [[head(b"200 OK"), drip]], **slow, **secure)
    yield Case("says half a hello", "(?i)time", [[half_hello, HOLD]], scheme="https", **idle)
    yield Case("never opens a tunnel", "(?i)time", [[HOLD]], **idle, **tunnel)
    yield Case("drips a tunnel's header lines", "(?i)time|slow", [[b"HTTP/1.1 200 OK\r\nX: ", drip]], **idle, **tunnel)
    yield Case("has a name that no name server tells", "(?i)time|resolve", good, host="silent.example", **idle)


def modern_cases():
    """What the classic profile does not look at."""
    for coding, packed in (("gzip", gzip.compress(bytes(BOMB))), ("deflate", zlib.compress(bytes(BOMB))),
                           ("gzip, gzip", gzip.compress(gzip.compress(bytes(BOMB)))), ("zstd", ZSTD_BOMB)):
        yield Case(f"sends a bomb in {coding}", TOO_LARGE, [response(packed, headers=["Content-Encoding: " + coding])],
                   mebibytes=192)
    yield Case("names a thousand codings", "Whole", [response(FEED, headers=["Content-Encoding: " + "gzip, " * 1000])])
    for what, line in (("a path as charset", "Content-Type: text/xml; charset=../../../../dev/zero"),
                       ("a long charset", "Content-Type: text/xml; charset=" + "x" * LONG),
                       ("a long entity tag", "ETag: " + "x" * LONG), ("a long link", "Link: <" + "x" * LONG + ">"),
                       ("a long age", "Cache-Control: max-age=" + "9" * LONG),
                       ("a thousand lines of a kind", "\r\n".join(["ETag: x", "Link: <a>; rel=hub"] * 1000))):
        yield Case("sends " + what, "Whole", [response(FEED, headers=[line])])
    for name in (b"ETag", b"Location", b"Content-Type", b"Retry-After"):
        yield Case(f"sends 200 KB of {name.decode()}", FAILS, [head(b"302 Found", name + b": " + b"x" * 200_000)])
    for wait in (b"9" * LONG, b"-1", b"Fri, 31 Dec " + b"9" * LONG, b"\xff", b"1e9"):
        yield Case(f"wants to be left alone for {wait[:9]!r}", "HTTP 429",
                   [head(b"429 No", b"Retry-After: " + wait, b"Content-Length: 0")], requests=1)
    yield Case("redirects for ever", "redirects too often", [moved(b"http://HOST/%d" % step) for step in range(20)],
               requests=11)
    yield Case("redirects in a circle", "circle", [moved(b"http://HOST/b"), moved(b"http://HOST/feed")], requests=2)
    yield Case("redirects to a long address", FAILS, [moved(b"http://HOST/" + b"x" * LONG)], requests=2)


def attempt(case):
    replies = itertools.chain(case.replies, itertools.repeat(case.replies[-1]))

    def answer(*_):
        reply = next(replies)
        return [piece.replace(b"HOST", server.host.encode()) if isinstance(piece, bytes) else piece
                for piece in ([reply] if isinstance(reply, bytes) else reply)]
    server = FeedServer(answer, case.tls and tls_context(certificates / f"{case.tls}.pem"))
    host = case.host or ("feeds.example" if case.proxy else server.host)
    with base_folder() as base, silent_name_server() if case.host else contextlib.nullcontext(()) as before:
        (base / "config/quillmoria.ini").write_text(SETTINGS.format(server.port) if case.proxy else "")
        (base / "password").write_text("secret\n")
        command = [*before, options.program, "feed", f"{case.scheme}://{host}/feed", "--base", base]
        if case.user:
            command += ["--user", case.user, "--password-file", base / "password"]
        result = run(command, 180, env=environment(SSL_CERT_FILE=str(certificates / "ca.pem")))
    text = result.output + result.errors
    said = (text.strip().splitlines() or [""])[-1].replace(server.host, "")[:160]
    return (f"| {said} | {result.status} | {result.seconds:.1f} s | {result.peak:.0f} MiB |",
            faults_of(case, server.requests, text, result))


def faults_of(case, requests, text, result):
    if result.status not in (0, 1):
        yield f"exit status {result.status}"
    if not case.seconds[0] <= result.seconds <= case.seconds[1]:
        yield f"took {result.seconds:.1f} s, not {case.seconds}"
    says = options.profile == "modern" and case.modern or case.says
    if not re.search(says, text) or "unhandled" in text:
        yield f"says {text[:300]!r}, not {says!r}"
    if case.never and any(re.search(case.never, request) for request in requests):
        yield f"a request bears {case.never!r}: {requests!r:.900}"
    if case.requests and len(requests) != case.requests:
        yield f"{len(requests)} requests, not {case.requests}"
    if not options.sanitized and result.peak > case.mebibytes:
        yield f"{result.peak:.0f} MiB, more than {case.mebibytes}"


if __name__ == "__main__":
    options = arguments(__doc__, "program")
    with tempfile.TemporaryDirectory() as folder:
        certificates = pathlib.Path(folder)
        make_certificates(certificates)
        attack(options, [case for case in cases() if options.full or case.seconds[0] == 0], attempt, 4)
