"""A server on a loopback port that answers with exact bytes, for test scripts, and certificates for it."""

import collections
import socket
import ssl
import struct
import subprocess
import threading
import time

# What the pieces of an answer may end with; after any other the connection is kept.
CLOSE, RESET, HOLD = False, "reset", "hold"
TLS_HANDSHAKE = b"\x16"


# A piece that is sent again and again, with pauses in seconds, until the other side has had enough.
Forever = collections.namedtuple("Forever", "piece pause", defaults=[0])


def response(body, status="200 OK", headers=()):
    """A complete response with its length."""
    lines = [f"HTTP/1.1 {status}", *headers, f"Content-Length: {len(body)}", "", ""]
    return "\r\n".join(lines).encode() + body


class FeedServer:
    """Sends what `answer(target, head)` returns: the bytes of a response, or pieces of one, bytes and a Forever, of
    which the last may be CLOSE, RESET or HOLD.

    Each connection has a thread of its own, so `answer` may block. With a `context` of TLS a connection that begins
    with a handshake speaks it; without, the handshake is answered as a request is.
    """

    def __init__(self, answer, context=None, address="127.0.0.1"):
        self.requests = []  # their heads
        self._answer = answer
        self._listener = socket.create_server((address, 0), backlog=256)
        self._context = context
        self.port = self._listener.getsockname()[1]
        self.host = f"{address}:{self.port}"
        threading.Thread(target=self._accept, daemon=True).start()

    def url(self, target, scheme="http"):
        return f"{scheme}://{self.host}{target}"

    def _accept(self):
        while True:
            connection, _ = self._listener.accept()
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        pending = b""
        try:
            if self._context and connection.recv(1, socket.MSG_PEEK) == TLS_HANDSHAKE:
                connection = self._context.wrap_socket(connection, server_side=True)
            with connection:
                while piece := connection.recv(65536):
                    pending += piece
                    while b"\r\n\r\n" in pending or pending.startswith(TLS_HANDSHAKE):
                        head, _, pending = pending.partition(b"\r\n\r\n")
                        if not self._respond(connection, head.decode("latin-1")):
                            return
        except OSError:
            pass  # the other side was killed, or trusts nobody

    def _respond(self, connection, head):
        """Whether the connection is kept."""
        self.requests.append(head)
        answer = self._answer(head.partition(" ")[2].partition(" ")[0], head)
        for piece in [answer] if isinstance(answer, bytes) else answer:
            if piece == RESET:
                connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                return False
            if piece in (CLOSE, HOLD):
                if piece == CLOSE:
                    connection.shutdown(socket.SHUT_WR)  # what has been sent arrives, whatever is left unread here
                while connection.recv(65536):
                    pass
                return False
            while isinstance(piece, Forever):
                connection.sendall(piece.piece)
                time.sleep(piece.pause)
            connection.sendall(piece)
        return True


def make_certificates(folder):
    """Certificates with their keys: server.pem for 127.0.0.1 and other.pem for another name by ca.pem, whom nobody else
    knows, and own.pem, which is signed by itself."""
    by_authority = ("-CA", "ca.pem", "-CAkey", "ca.pem")
    for name, server, *signed in (("ca", "IP:127.0.0.1"), ("server", "IP:127.0.0.1", *by_authority),
                                  ("other", "DNS:elsewhere.example", *by_authority), ("own", "IP:127.0.0.1")):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-subj", "/CN=" + name, "-addext", "subjectAltName=" + server, "-days", "2", *signed, "-keyout",
                        name + ".pem", "-out", name + ".pem"], cwd=folder, check=True, stderr=subprocess.DEVNULL)


def tls_context(certificate):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate)
    return context
