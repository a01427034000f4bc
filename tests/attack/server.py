#!/usr/bin/env python3
"""Servers and proxies that mean harm, on raw sockets.

server.py PROGRAM [--full] [--no-memory] [--only TEXT] [--show]

Runs the program's "feed" against one case after the other, and requires of each run that it says what is expected, that
it ends by itself in time, and that its peak memory stays below the case's bound. --full adds the cases that only the
engine's own bounds end, of 30 s and more. --show prints a table of what came out.
"""

import argparse
import concurrent.futures
import dataclasses
import os
import pathlib
import re
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib

MIB = 1 << 20
FEED = b"<rss><channel><title>Whole</title></channel></rss>"
EMPTY = "Failed to parse feed"  # what becomes of a response without a body
RESET, HOLD, KEEP = "reset", "hold", "keep"  # what a reply may end with; otherwise it closes

# "reader~~secret`", enciphered by OpenSSL.
CREDENTIALS = "70E74277DFE5C69B7CC15DAB36F6A6F0"


@dataclasses.dataclass
class Forever:
    """A piece of a reply that is sent again and again until the other side has had enough."""
    piece: bytes
    pause: float = 0


def ok(body=FEED, headers=b""):
    return b"HTTP/1.1 200 OK\r\n%sContent-Length: %d\r\n\r\n%s" % (headers, len(body), body)


def head(status, *lines):
    return b"HTTP/1.1 " + b"\r\n".join((status, *lines)) + b"\r\n\r\n"


def moved(location, more=b""):
    return head(b"302 Found", b"Location: " + location, b"Content-Length: 0") + more


def refused(challenge, status=b"401 No", name=b"WWW-Authenticate", length=0):
    return head(status, name + b": " + challenge, b"Content-Length: %d" % length)


def packed(piece, times, head=b""):
    """`head` and `times` times `piece` as gzip data without an end. Made bit by bit: the peak memory of a process
    includes what its parent held."""
    packer = zlib.compressobj(9, zlib.DEFLATED, 31)
    packed_head = packer.compress(head)
    return packed_head + b"".join(packer.compress(piece) for _ in range(times)) + packer.flush(zlib.Z_FULL_FLUSH)


def bottomless(gibibytes):
    """Gzip data in gzip data in gzip data, of which the innermost is a file's name without end: unpacked it is nothing
    at all."""
    start = packed(b"x" * MIB, 1, b"\x1f\x8b\x08\x08" + bytes(6))
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    mebibyte = packer.compress(b"x" * MIB) + packer.flush(zlib.Z_FULL_FLUSH)
    return packed(mebibyte, gibibytes * 1024, start)


@dataclasses.dataclass
class Case:
    name: str
    says: str  # a pattern in what the program prints
    replies: list  # to one request after the other, over all connections; the last one to all further ones
    scheme: str = "http"
    tls: str = ""  # the certificate that the server speaks TLS with
    greets: bool = False  # does not wait for a request
    proxy: bool = False  # is the proxy of the settings, not the server
    path: str = "/feed"
    user: str = ""
    never: str = ""  # a pattern that no request bears
    requests: int = 0  # how many there are, if not 0
    mebibytes: int = 48  # that the program may take
    full: bool = False


GOOD = [[ok()]]
CHUNKED = head(b"200 OK", b"Transfer-Encoding: chunked")
FAILS = r"quillmoria: https?://\S+: \w"  # with a status text
DENIED = "HTTP_STATUS_DENIED"
FAILED_LOAD = "Redirected location failed to load"
FAILED_FOLLOW = "Loading from the redirected location failed"


def stages():
    """A response that stops at each of its stages, properly and not."""
    for what, sent in (("before the status line", b""), ("in the status line", b"HTTP/1."),
                       ("in the header lines", b"HTTP/1.1 200 OK\r\nContent-Le"),
                       ("after the header lines", head(b"200 OK", b"Content-Length: 9")),
                       ("in the body", head(b"200 OK", b"Content-Length: 9") + b"<rss"),
                       ("in a chunk size", CHUNKED + b"3"), ("in a chunk", CHUNKED + b"30\r\n<rss"),
                       ("before the last chunk", CHUNKED + b"4\r\n<rss\r\n"),
                       ("in a trailer", CHUNKED + b"4\r\n<rss\r\n0\r\nX: ")):
        yield Case("closes " + what, FAILS, [[sent]])
        yield Case("resets " + what, FAILS, [[sent, RESET]])


def cases():
    yield Case("is well", "Whole", GOOD)
    yield from stages()

    # Lengths that lie
    for length, says in ((b"5", EMPTY), (b"60", "10 bytes remaining"), (b"-1", FAILS), (b"x", FAILS), (b"", FAILS),
                         (b"0x10", EMPTY),
                         (b"99999999999999999999999", "Whole"), (b"9223372036854775807", FAILS), (b"67108865", FAILS),
                         (b"5\r\nContent-Length: 60", FAILS), (b"60\r\nContent-Length: 5", FAILS)):
        yield Case("states the length %r" % length, says, [[head(b"200 OK", b"Content-Length: " + length) + FEED]])
    for size in (b"-1", b"x", b"", b"FFFFFFFFFFFFFFFF", b"FFFFFFFFFFFFFFFFFFFF", b"7FFFFFFFFFFFFFFF"):
        yield Case("states the chunk size %r" % size, FAILS, [[CHUNKED + size + b"\r\n" + FEED + b"\r\n0\r\n\r\n"]])

    # Status lines
    for line in (b"garbage", b"", b"HTTP/0.9 200 OK", b"HTTP/9.9 200 OK", b"HTTP/1.1 000 No",
                 b"HTTP/1.1 99 Low", b"HTTP/1.1 1000 High", b"HTTP/1.1", b"HTTP/1.1 ", b"HTTP/1.1 2x0 OK",
                 b"HTTP/1.1 -200 OK", b"HTTP/1.1 101 Switching", b"HTTP/1.1 999 Odd", b"ICY 200 OK",
                 b"RTSP/1.0 200 OK"):
        yield Case("begins with %r" % line, FAILS, [[line + b"\r\nContent-Length: %d\r\n\r\n" % len(FEED) + FEED]])
    for status in (b"204 None", b"304 Same"):
        yield Case("sends a body with %r" % status, EMPTY, [[head(status, b"Content-Length: %d" % len(FEED)) + FEED]])

    # Header lines
    yield Case("sends a header line of 1 MiB", FAILS, [[b"HTTP/1.1 200 OK\r\nX: " + b"x" * MIB + b"\r\n\r\n"]])
    yield Case("sends 1 MiB of header lines", "header lines are too large",
               [[b"HTTP/1.1 200 OK\r\n" + (b"X: " + b"x" * 995 + b"\r\n") * 1024 + b"\r\n"]])
    yield Case("sends a million tiny header lines", "header lines are too large",
               [[b"HTTP/1.1 200 OK\r\n" + b"X:y\r\n" * 1_000_000 + b"\r\n"]])
    yield Case("sends header lines for ever", "header lines are too large",
               [[b"HTTP/1.1 200 OK\r\n", Forever(b"X: y\r\n" * 1000)]])
    yield Case("sends one header line for ever", FAILS, [[b"HTTP/1.1 200 OK\r\nX: ", Forever(b"x" * 10000)]])
    yield Case("sends trailers for ever", FAILS, [[CHUNKED + b"0\r\n", Forever(b"X: y\r\n" * 1000)]])
    for status in (b"100 Continue", b"103 Hints"):
        yield Case("sends %r for ever" % status, "header lines are too large", [[Forever(head(status) * 1000)]])
    yield Case("sends NUL in a header line", FAILS, [[ok(headers=b"X: \0y\r\n")]])
    yield Case("sets cookies", "Whole",
               [[moved(b"http://HOST/b\r\nSet-Cookie: a=b"), KEEP], [ok()]], never="(?i)cookie:")
    yield Case("announces other services", "Whole",
               [[moved(b"http://HOST/b\r\nAlt-Svc: h2=\":1\"\r\nStrict-Transport-Security: max-age=99"), KEEP], [ok()]])

    # Bodies
    yield Case("sends a body for ever", "body is too large", [[head(b"200 OK"), Forever(b"x" * 10000)]], mebibytes=192)
    yield Case("sends chunks for ever", "body is too large", [[CHUNKED, Forever(b"400\r\n" + b"x" * 1024 + b"\r\n")]],
               mebibytes=192)
    yield Case("states 65 MiB", "body is too large",
               [[head(b"200 OK", b"Content-Length: %d" % (65 * MIB)), Forever(b"x" * 10000)]])
    bomb = packed(bytes(MIB), 200)
    yield Case("sends a gzip bomb", EMPTY, [[ok(bomb, b"Content-Encoding: gzip\r\n")]])
    yield Case("sends a gzip bomb as its transfer coding", "transfer coding",
               [[head(b"200 OK", b"Transfer-Encoding: gzip") + bomb]])
    yield Case("sends codings without end", "transfer coding",
               [[head(b"200 OK", b"Transfer-Encoding: gzip, gzip, gzip") + bottomless(32)]])

    # Redirects
    yield Case("redirects to itself", FAILED_FOLLOW, [[moved(b"http://HOST/feed"), KEEP]], requests=2)
    yield Case("redirects twice", FAILED_FOLLOW,
               [[moved(b"http://HOST/a"), KEEP], [moved(b"http://HOST/b"), KEEP], [ok()]], requests=2)
    for target in (b"file:///etc/passwd", b"ftp://HOST/", b"data:text/xml,<rss/>", b"gopher://HOST/", b"javascript:1",
                   b"", b"//HOST/", b"http:\\\\HOST\\", b"http://HOST\\@x/", b"http://me@HOST/", b"http://a:b@HOST/",
                   b"http://127.0.0.1:0/", b"http://127.0.0.1:65536/", b"http://HO ST/", b"http://[::1", b"http://%31/",
                   b" ", b"http://", b"http:///x", b"h" * 65536):
        yield Case("redirects to %r" % target[:20], FAILED_LOAD, [[moved(target), KEEP], [ok()]], requests=1)
    yield Case("redirects to nowhere", FAILS, [[moved(b"http://no-such-host.invalid/")]], requests=1)
    yield Case("redirects to a closed port", "Failed to connect", [[moved(b"http://127.0.0.1:1/")]], requests=1)
    yield Case("redirects to an IPv6 address", "Failed to connect", [[moved(b"http://[::1]:1/")]], requests=1)
    yield Case("redirects to a path of 64 KiB", "Whole", [[moved(b"http://HOST/" + b"x" * 65536), KEEP], [ok()]])
    yield Case("redirects to a server of 64 KiB", FAILS, [[moved(b"http://" + b"x" * 65536), KEEP], [ok()]], requests=1)
    yield Case("redirects to a path with a lone CR", "Whole", [[moved(b"http://HOST/\rX-Evil: 1"), KEEP], [ok()]],
               never=r"[\r\n]X-Evil")
    yield Case("redirects to a path with a folded line", "Whole",
               [[moved(b"http://HOST/a\r\n X-Evil: 1"), KEEP], [ok()]],
               never=r"[\r\n]X-Evil")
    yield Case("redirects to a path with NUL", FAILS, [[moved(b"http://HOST/a\0b"), KEEP], [ok()]])
    yield Case("redirects to a path with spaces and backslashes", "Whole",
               [[moved(b"http://HOST/a b\\c HTTP/1.1"), KEEP], [ok()]], never=r"GET .* .* HTTP|\\")
    yield Case("redirects twice in one response", FAILED_LOAD,
               [[moved(b"file:///a\r\nLocation: http://HOST/b"), KEEP], [ok()]], requests=1)

    # Refusals
    for challenge in (b'Basic realm="r"', b'Digest realm="r", nonce="n", stale=true', b'Negotiate', b'Unknown x="y"',
                      b'Basic realm="' + b"r" * 65536 + b'"', b'Digest realm="' + b"r" * 65536 + b'", nonce="n"',
                      b'Digest', b'Digest realm="r", nonce="n", algorithm=unknown', b'Basic, Digest, NTLM, Bearer'):
        yield Case("refuses with %r" % challenge[:30], DENIED, [[refused(challenge), KEEP]], user="me")
    yield Case("refuses with a body for ever", DENIED,
               [[head(b"401 No", b'WWW-Authenticate: Basic realm="r"'), Forever(b"x" * 10000)]], user="me")
    yield Case("asks for the proxy's credentials in a proxy's place", EMPTY,
               [[refused(b'Basic realm="r"', b"407 No", b"Proxy-Authenticate"), KEEP]], user="me", requests=1)
    yield Case("redirects credentials that nobody asks for", "Whole",
               [[moved(b"http://HOST/b"), KEEP], [ok()]], user="me",
               never="(?i)authorization")
    yield Case("has a hostile user name quoted", DENIED,
               [[refused(b'Digest realm="r", nonce="n"'), KEEP], [ok()]], user='me"\r\nX-Evil: 1',
               never=r"[\r\n]X-Evil")

    yield Case("has its own challenge quoted", FAILS,
               [[refused(b'Digest realm="a\rX-Evil: 1", nonce="n"'), KEEP], [ok()]],
               user="me", never=r"[\r\n]X-Evil")

    # Connections that are kept
    yield Case("closes what it says it keeps", "Whole",
               [[moved(b"http://HOST/b\r\nConnection: keep-alive")], [ok()]], requests=2)
    yield Case("keeps what it says it closes", "Whole", [[moved(b"http://HOST/b\r\nConnection: close"), HOLD], [ok()]])
    smuggled = ok(FEED.replace(b"Whole", b"Smuggled"))
    for what, carrier in (("a length", moved(b"http://HOST/b", smuggled)),
                          ("chunks", moved(b"http://HOST/b\r\nTransfer-Encoding: chunked", b"0\r\n\r\n" + smuggled)),
                          ("no body", head(b"302 Found", b"Location: http://HOST/b", b"Content-Length: 0") + smuggled),
                          ("two lengths", moved(b"http://HOST/b\r\nContent-Length: 9", smuggled))):
        yield Case("sends another response behind one with " + what, "Whole", [[carrier, KEEP], [ok()]])

    # TLS
    certificates = "(?i)certificate"
    yield Case("speaks TLS well", "Whole", GOOD, scheme="https", tls="server.pem")
    yield Case("shows a certificate that has expired", certificates, GOOD, scheme="https", tls="old.pem")
    yield Case("shows a certificate of another name", certificates, GOOD, scheme="https", tls="other.pem")
    yield Case("shows a certificate that it has signed itself", certificates, GOOD, scheme="https", tls="own.pem")
    yield Case("speaks HTTP where TLS is expected", "(?i)ssl|tls|wrong version", GOOD, scheme="https", greets=True)
    yield Case("speaks TLS where HTTP is expected", FAILS, GOOD, tls="server.pem")
    half_hello = b"\x16\x03\x03\x00\x7a\x02\x00\x00\x76\x03\x03" + bytes(32)
    for what, sent in (("half a hello", half_hello), ("garbage", bytes(range(256)) * 40), ("nothing", b"")):
        yield Case("closes the handshake after " + what, FAILS, [[sent]], scheme="https", greets=True)
    yield Case("resets the handshake", FAILS, [[half_hello, RESET]], scheme="https", greets=True)
    yield Case("redirects from https to http, still over TLS", "(?i)ssl|tls|wrong version|Failed",
               [[moved(b"http://127.0.0.1:1/")]], scheme="https", tls="server.pem", requests=1)

    # Proxies
    tunnel = dict(scheme="https", proxy=True)
    yield Case("opens a tunnel to garbage", "(?i)ssl|tls|wrong version",
               [[head(b"200 OK") + b"garbage" * 99]], **tunnel)
    yield Case("opens a tunnel and closes it", FAILS, [[head(b"200 OK")]], **tunnel)
    yield Case("refuses a tunnel for ever", "refused the credentials",
               [[refused(b'Basic realm="p"', b"407 No", b"Proxy-Authenticate"), KEEP]], requests=2, **tunnel)
    yield Case("refuses for ever", DENIED + "|" + EMPTY,
               [[refused(b'Basic realm="p"', b"407 No", b"Proxy-Authenticate"), KEEP]], proxy=True, requests=2)
    yield Case("refuses a tunnel with a body for ever", "too large",
               [[head(b"407 No", b'Proxy-Authenticate: Basic realm="p"'), Forever(b"x" * 10000)]], **tunnel)
    for what, reply in (("404", [head(b"404 No", b"Content-Length: 0")]), ("a redirect", [moved(b"http://HOST/b")]),
                        ("header lines for ever", [b"HTTP/1.1 200 OK\r\n", Forever(b"X: y\r\n" * 1000)]),
                        ("100 for ever", [Forever(head(b"100 Continue") * 1000)]), ("nothing and closes", []),
                        ("a reset", [RESET]), ("garbage", [b"garbage\r\n" * 99])):
        yield Case("answers a tunnel with " + what, FAILS, [reply], requests=1, **tunnel)
    yield Case("redirects through a proxy to a file", FAILED_LOAD,
               [[moved(b"file:///etc/passwd")]], proxy=True, requests=1)

    # What only time ends
    stopped, slow = "stopped sending", "too slowly"
    timed = dict(full=True)
    yield Case("says nothing", stopped, [[HOLD]], **timed)
    yield Case("stops in the header lines", stopped, [[b"HTTP/1.1 200 OK\r\nX", HOLD]], **timed)
    yield Case("stops in the body", stopped, [[head(b"200 OK") + b"<", HOLD]], **timed)
    yield Case("drips header lines", slow, [[b"HTTP/1.1 200 OK\r\nX: ", Forever(b"x", 0.5)]], **timed)
    yield Case("drips a body", slow, [[head(b"200 OK"), Forever(b"x", 0.5)]], **timed)
    yield Case("extends a chunk size for ever", slow, [[CHUNKED + b"5;", Forever(b"x" * 10000)]], **timed)
    yield Case("refuses with a body of 64 GiB", slow,
               [[refused(b'Basic realm="r"', length=64 * 1024 * MIB), Forever(b"x" * 10000)]], user="me", **timed)
    yield Case("says nothing in the handshake", "(?i)time", [[HOLD]], scheme="https", greets=True, **timed)
    yield Case("says half a hello", "(?i)time", [[half_hello, HOLD]], scheme="https", greets=True, **timed)
    yield Case("never opens a tunnel", "(?i)time", [[HOLD]], **timed, **tunnel)
    yield Case("drips a tunnel's header lines", "(?i)time|slow",
               [[b"HTTP/1.1 200 OK\r\nX: ", Forever(b"x", 0.5)]], full=True,
               **tunnel)


class Server:
    """One case's server on a port of its own; a thread a connection."""

    def __init__(self, case, folder):
        self.case = case
        self.requests = []
        self.sockets = []
        self.lock = threading.Lock()
        self.answered = 0
        self.context = None
        if case.tls:
            self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.context.load_cert_chain(folder / case.tls, folder / "server.key")
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        with self.lock:
            for connection in self.sockets:
                try:
                    connection.close()
                except OSError:
                    pass

    def accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        try:
            connection.settimeout(120)
            if self.context:
                connection = self.context.wrap_socket(connection, server_side=True)
            with self.lock:
                self.sockets.append(connection)
            goes_on = True
            while goes_on and (self.case.greets or self.read_head(connection)):
                with self.lock:
                    reply = self.case.replies[min(self.answered, len(self.case.replies) - 1)]
                    self.answered += 1
                goes_on = self.answer(connection, reply)
        except OSError:
            pass
        finally:
            connection.close()

    def read_head(self, connection):
        received = b""
        while not received.endswith(b"\r\n\r\n"):
            piece = connection.recv(65536)
            if not piece:
                return False
            received += piece
        with self.lock:
            self.requests.append(received.decode("latin-1"))
        return True

    def answer(self, connection, reply):
        for piece in reply:
            if piece == RESET:
                connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                return False
            if piece in (HOLD, KEEP):
                return piece == KEEP or self.wait_for_end(connection)
            if isinstance(piece, Forever):
                while True:
                    connection.sendall(piece.piece)
                    time.sleep(piece.pause)
            connection.sendall(piece.replace(b"HOST", b"127.0.0.1:%d" % self.port))
        # An orderly end: what has been sent arrives, whatever is left unread here.
        connection.shutdown(socket.SHUT_WR)
        return self.wait_for_end(connection)

    @staticmethod
    def wait_for_end(connection):
        while connection.recv(65536):
            pass
        return False


def run_program(program, case, server, base, deadline):
    """What it prints, its exit status, seconds and peak memory in MiB; the status is None if it had to be killed."""
    host = "feeds.example" if case.proxy else f"127.0.0.1:{server.port}"
    (base / "config").mkdir()
    settings = ""
    if case.proxy:
        settings = f"[Proxy]\nType=3\nServer=127.0.0.1\nPort={server.port}\nCredentials={CREDENTIALS}\n"
    (base / "config/quillmoria.ini").write_text(settings)
    command = [program, "feed", f"{case.scheme}://{host}{case.path}", "--base", str(base)]
    if case.user:
        (base / "password").write_text("secret\n")
        command += ["--user", case.user, "--password-file", str(base / "password")]
    environment = dict(os.environ, SSL_CERT_FILE=str(base.parent / "ca.pem"), TZ="UTC")
    start = time.monotonic()
    with tempfile.TemporaryFile() as printed:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=printed, stderr=printed, env=environment)
        killer = threading.Timer(deadline, process.kill)
        killer.start()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        killer.cancel()
        printed.seek(0)
        text = printed.read(MIB).decode("utf-8", "replace")
    seconds = time.monotonic() - start
    killed = process.returncode == -signal.SIGKILL and seconds >= deadline
    return text, None if killed else process.returncode, seconds, usage.ru_maxrss / 1024


def faults_of(case, server, text, status, seconds, mebibytes, checks_memory):
    if status is None:
        yield f"had to be killed after {seconds:.0f} s"
    elif status not in (0, 1):
        yield f"exit status {status}"
    if not re.search(case.says, text) or "unhandled" in text:
        yield f"says {text[:300]!r}, not {case.says!r}"
    if case.never and any(re.search(case.never, request) for request in server.requests):
        yield f"a request bears {case.never!r}: {server.requests!r:.900}"
    if case.requests and len(server.requests) != case.requests:
        yield f"{len(server.requests)} requests, not {case.requests}"
    if checks_memory and mebibytes > case.mebibytes:
        yield f"{mebibytes:.0f} MiB, more than {case.mebibytes}"


def make_certificates(folder):
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, stderr=subprocess.DEVNULL)

    def sign(name, days, certificate):
        (folder / "names").write_text("subjectAltName=" + name)
        openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
                "-days", days, "-extfile", "names", "-out", certificate)

    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Authority", "-days", "2",
            "-keyout", "ca.key", "-out", "ca.pem")
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Server",
            "-keyout", "server.key", "-out", "server.csr")
    sign("IP:127.0.0.1", "2", "server.pem")
    sign("IP:127.0.0.1", "-1", "old.pem")
    sign("DNS:elsewhere.example", "2", "other.pem")
    openssl("req", "-x509", "-key", "server.key", "-subj", "/CN=127.0.0.1", "-days", "2",
            "-addext", "subjectAltName=IP:127.0.0.1", "-out", "own.pem")


def attack(options, folder, number, case):
    """The case's row of the table, and its faults."""
    server = Server(case, folder)
    base = folder / str(number)
    base.mkdir()
    result = run_program(options.program, case, server, base, 180 if case.full else 60)
    server.close()
    text, status, seconds, mebibytes = result
    said = (text.strip().splitlines() or [""])[-1].replace(f":{server.port}", "")[:160]
    row = f"| {case.name} | {said} | {status} | {seconds:.1f} s | {mebibytes:.0f} MiB |"
    return row, [f"FAULT: a server that {case.name}: {fault}"
                 for fault in faults_of(case, server, *result, not options.no_memory)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--full", action="store_true")
    parser.add_argument("--no-memory", action="store_true")
    parser.add_argument("--only", default="")
    parser.add_argument("--show", action="store_true")
    options = parser.parse_args()
    chosen = [case for case in cases() if options.only in case.name and (options.full or not case.full)]
    failed = 0
    with tempfile.TemporaryDirectory() as name, concurrent.futures.ThreadPoolExecutor(4) as workers:
        folder = pathlib.Path(name)
        make_certificates(folder)
        for row, faults in workers.map(lambda numbered: attack(options, folder, *numbered), enumerate(chosen)):
            failed += bool(faults)
            print("\n".join([row] * options.show + faults), end="\n" if options.show or faults else "", flush=True)
    print(f"{len(chosen)} servers, {failed} with faults")
    return 1 if failed or not chosen else 0


if __name__ == "__main__":
    sys.exit(main())
