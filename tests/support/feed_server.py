"""A server on a loopback port that answers with exact bytes, for test scripts."""

import socket
import threading


def response(body, status="200 OK", headers=()):
    """A complete response with its length."""
    lines = [f"HTTP/1.1 {status}", *headers, f"Content-Length: {len(body)}", "", ""]
    return "\r\n".join(lines).encode() + body


class FeedServer:
    """Sends what `answer(target, head)` returns: the bytes of a response, or those and False to close behind them.

    Connections are kept open; each has a thread of its own, so `answer` may block. With a `context` of TLS they speak it.
    """

    def __init__(self, answer, context=None):
        self._answer = answer
        self._listener = socket.create_server(("127.0.0.1", 0), backlog=256)
        self._context = context
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def url(self, target):
        return f"http://127.0.0.1:{self.port}{target}"

    def _accept(self):
        while True:
            connection, _ = self._listener.accept()
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        pending = b""
        try:
            if self._context:
                connection = self._context.wrap_socket(connection, server_side=True)
            with connection:
                while piece := connection.recv(65536):
                    pending += piece
                    while b"\r\n\r\n" in pending:
                        head, pending = pending.split(b"\r\n\r\n", 1)
                        head = head.decode("latin-1")
                        answer = self._answer(head.split(" ")[1], head)
                        content, stays = answer if isinstance(answer, tuple) else (answer, True)
                        connection.sendall(content)
                        if not stays:
                            return
        except OSError:
            pass  # the other side was killed, or trusts nobody
