"""What the scripts of tests/reader share: feeds to pull, a folder with what came of them, the program that shows it,
and a client of its server."""

import contextlib
import html
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
from urllib.parse import urlencode, urlsplit
from xml.sax.saxutils import quoteattr

sys.path.append(str(pathlib.Path(__file__).parent.parent / "support"))
from attacks import environment
from feed_server import FeedServer, response

DEADLINE = 30  # seconds, for what takes much less
SAMPLES = pathlib.Path(__file__).parent.parent / "samples"


class Late(AssertionError):
    pass


def until(condition, what, seconds=DEADLINE):
    """The first value of `condition()` that counts as true."""
    end = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > end:
            raise Late(f"not within {seconds} s: {what() if callable(what) else what}")
        time.sleep(0.02)
    return value


def rss(title, items, **channel):
    """A document of items, which are titles or elements by name, the newest first; texts are XML already."""
    def elements(values):
        return "".join(f"<{name}>{text}</{name.split()[0]}>" for name, text in values.items())
    parts = []
    for i, item in enumerate(items):
        moment = time.strftime("%a, %d %b %Y %H:%M:%S GMT", time.gmtime(1767225600 - 60 * i))
        base = {"title": item, "guid isPermaLink='false'": f"{title}#{i}", "link": f"http://example.org/{i}",
                "pubDate": moment, "description": f"&lt;p&gt;The text of {item}.&lt;/p&gt;"}
        parts.append(f"<item>{elements(base if isinstance(item, str) else {**base, 'title': '', **item})}</item>")
    document = f"<rss version='2.0'><channel>{elements({'title': title, **channel})}{''.join(parts)}</channel></rss>"
    return document.encode("utf-8", "surrogatepass")


def opml(feeds):
    """A list of (category, name, address)."""
    outlines = [f"<outline text={quoteattr(category)}><outline text={quoteattr(name)} type='rss' "
                f"xmlUrl={quoteattr(url)}/></outline>" for category, name, url in feeds]
    return f"<opml version='2.0'><body>{''.join(outlines)}</body></opml>".encode()


class Feeds(FeedServer):
    """Serves `pages`: by target a body, or a function of the request's head that gives the response."""

    def __init__(self, **pages):
        self.pages = {"/" + name: page for name, page in pages.items()}
        super().__init__(self._page)

    def _page(self, target, head):
        page = self.pages.get(target.split("?")[0])
        if page is None:
            return response(b"", "404 Not Found")
        return page(head) if callable(page) else response(page)


class Answer:
    """What came back of a request; `status` is 0 where the connection was closed without one."""

    def __init__(self, received):
        head, _, self.body = received.partition(b"\r\n\r\n")
        self.head = head.decode("latin-1")
        line = re.match(r"HTTP/1\.[01] (\d{3})", self.head)
        self.status = int(line[1]) if line else 0

    def field(self, name):
        found = re.search(rf"(?im)^{name}: *([^\r]*)", self.head)
        return found[1] if found else ""


class Reader:
    """`read` on a base folder, which is `base` or one of its own, and what a browser knows of it."""

    def __init__(self, program, base=None):
        self.program = program
        self._folder = None if base else tempfile.TemporaryDirectory(prefix="quillmoria-")
        self.base = pathlib.Path(base or self._folder.name)
        self.process = None
        self.network = ["--online"]  # or nothing: then no feed is asked for

    def run(self, *words):
        """What a command prints, on the same folder."""
        command = [self.program, *map(str, words), "--base", self.base]
        run = subprocess.run(command, capture_output=True, timeout=DEADLINE, env=environment())
        if run.returncode != 0:
            raise AssertionError(f"{words}: {run.returncode}, {run.stderr.decode()}")
        return run.stdout

    def subscribe(self, feeds, pull=True):
        (self.base / "list").write_bytes(opml(feeds))
        self.run("import", self.base / "list")
        (self.base / "list").unlink()
        if pull:
            self.run("pull", "--online")

    def state(self):
        """All that requests could change."""
        return self.run("export"), self.run("news", "--json", "--limit", "100000")

    def popen(self, *words):
        command = [self.program, "read", "--no-browser", "--base", self.base, *self.network, *words]
        variables = environment() | {"QUILLMORIA_OFFLINE": "0" if self.network else "1"}
        return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=variables, text=True)

    def start(self, *words):
        self.process = self.popen(*words)
        killer = threading.Timer(DEADLINE, self.process.kill)
        killer.start()
        self.address = self.process.stdout.readline().strip()
        killer.cancel()
        if not self.address.startswith("http://127.0.0.1:"):
            raise AssertionError(f"prints {self.address!r}: {self.process.stderr.read()}")
        self.port = urlsplit(self.address).port
        self.origin = f"http://127.0.0.1:{self.port}"
        self.place = urlsplit(self.address).path
        self.cookie = self.form_token = ""
        return self

    def enter(self):
        """As a browser does: takes the cookie and the forms' token."""
        entrance = self.ask(target=self.address[len(self.origin):], Cookie=None)
        self.cookie = entrance.field("Set-Cookie").partition(";")[0]
        page = self.ask().body.decode()
        self.form_token = html.unescape(re.search(r'name="?token"? value="?([^">]+)', page)[1])
        return self

    def stop(self, how=signal.SIGINT):
        """Ends it; its status."""
        if self.process is None:
            return None
        self.process.send_signal(how)
        status = self.process.wait(DEADLINE)
        self.errors = self.process.stderr.read()
        self.process.stdout.close()
        self.process.stderr.close()
        self.process = None
        return status

    def close(self):
        self.stop()
        if self._folder:
            self._folder.cleanup()

    def bytes_of(self, method="GET", target="", form=None, body=None, **lines):
        """A request as the page's own would be, but for what is given: a target that begins with a slash is whole,
        header lines (with _ for -) that are None are left out, those that are lists come more than once."""
        fields = {"Host": urlsplit(self.origin).netloc, "Cookie": self.cookie, "Sec_Fetch_Site": "same-origin"}
        if method == "POST":
            fields |= {"Origin": self.origin, "Content_Type": "application/x-www-form-urlencoded"}
            if body is None:
                body = urlencode({"token": self.form_token, "back": "", **(form or {})}).encode()
            fields["Content_Length"] = str(len(body))
        fields |= lines
        target = target if target.startswith("/") else self.place + target
        head = [f"{method} {target} HTTP/1.1"]
        for name, value in fields.items():
            head += [f"{name.replace('_', '-')}: {one}" for one in (value if isinstance(value, list) else [value])
                     if one is not None]
        return "\r\n".join([*head, "", ""]).encode("latin-1") + (body or b"")

    def connect(self, sent=b""):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=DEADLINE)
        with contextlib.suppress(ConnectionError):  # who is refused may be hung up on before all is sent
            connection.sendall(sent)
        return connection

    def ask(self, method="GET", target="", seconds=DEADLINE, **more):
        return self.send(self.bytes_of(method, target, **{"Connection": "close", **more}), seconds)

    def send(self, request, seconds=DEADLINE):
        received = b""
        with self.connect(request) as connection, contextlib.suppress(ConnectionError):
            connection.settimeout(seconds)
            while piece := connection.recv(65536):
                received += piece
        return Answer(received)
