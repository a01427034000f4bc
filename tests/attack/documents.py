#!/usr/bin/env python3
"""Serves hostile documents on loopback and watches what the host program makes of each.

    documents.py [--full] [--no-memory] [--only TEXT] HOST_PROGRAM

Each document must end as its row of the table says, with nothing fetched that was not asked for. A document that can be
made larger comes in two sizes, one to four: neither time nor memory may grow faster than it does. The full form has
documents of up to 64 MiB and prints a Markdown table. --no-memory leaves out the bounds of memory, since sanitizers keep
a lot of their own.
"""

import argparse
import http.server
import os
import re
import resource
import subprocess
import sys
import tempfile
import threading
from typing import Callable, NamedTuple

MIB = 1 << 20
SHORT = 16  # the full form's documents are so many times as large
GROWTH = 4 * 2.5  # of the time, from a document to one four times as large
GROWTH_FLOOR_S = 0.3  # a large document that takes less is not compared
DEADLINE_S = 240
ADDRESS_SPACE = 6 << 30

OK = (0, "")
UNPARSED = (1, "Failed to parse feed")
TOO_LARGE = (1, "The body is too large")
NO_LIST = (2, "holds no subscription list")


class Case(NamedTuple):
    name: str
    parts: Callable  # of a count: bytes, and pairs of bytes and how often they stand; %d in them becomes 0, 1, 2, …
    count: int = 0  # in the full form; 0: the document has one size
    outcome: tuple = OK  # exit status, and a text on standard error
    shown: Callable = None  # of the count: items of a feed or outlines of a list that must be shown
    command: str = "feed"
    memory: int = 30  # bytes at most for each byte of the document, and
    base: int = 96 * MIB  # beside them
    before: Callable = None  # what the address served at an earlier pull
    requests: int = 1
    whole: bool = False  # also large in the short form


def pieces(parts):
    """The document in blocks, so that it never stands in this process's memory, which a child's peak begins with."""
    for part in parts:
        if isinstance(part, bytes):
            yield part
            continue
        text, count = part
        step = max(1, 65536 // len(text))
        for start in range(0, count, step):
            numbers = range(start, min(start + step, count))
            yield b"".join(text % n for n in numbers) if b"%0" in text else text * len(numbers)


def rss(*inner, before=b""):
    return lambda n: [before, b"<rss><channel>", *(part(n) if callable(part) else part for part in inner),
                      b"</channel></rss>"]


def many(text, share=1):
    return lambda n: (text, n // share)


def atom(*inner):
    return lambda n: [b"<feed>", *(part(n) if callable(part) else part for part in inner), b"</feed>"]


def opml(*inner):
    return lambda n: [b'<opml version="1.1"><body>', *(part(n) if callable(part) else part for part in inner),
                      b"</body></opml>"]


def document(text):
    return lambda n: [text.replace("OTHER", OTHER_HOST).encode() if isinstance(text, str) else text]


def declaring(declarations, *inner):
    """A feed with one item behind an internal subset."""
    return lambda n: [b"<!DOCTYPE rss [", *(part(n) if callable(part) else part for part in declarations), b"]>",
                      *rss(ITEM, *inner)(n)]


def laughs():
    entities = "<!ENTITY e0 'ha'>" + "".join(f"<!ENTITY e{i} '{f'&e{i - 1};' * 10}'>" for i in range(1, 20))
    return f"<!DOCTYPE rss [{entities}]><rss><channel><title>&e19;</title></channel></rss>"


def sample(title="t", head=""):
    return f"{head}<rss><channel><title>{title}</title><item><link>l</link></item></channel></rss>"


OTHER_HOST = "127.0.0.1:0"
ITEM = b"<item><link>l</link></item>"
ONE = lambda n: 1
NONE = lambda n: 0
ALL = lambda n: n
BIG = 32 * MIB

EXTERNAL = """<!DOCTYPE rss %s><rss xmlns:xi="http://www.w3.org/2001/XInclude"><channel><title>%s</title>
<item><link>l</link></item></channel></rss>"""

CASES = [
    # Entities and declarations.
    Case("billion laughs", document(laughs()), outcome=UNPARSED),
    Case("billion laughs in an attribute", document(laughs().replace("<title>&e19;", "<title a='&e19;'>")),
         outcome=UNPARSED),
    Case("quadratic blow-up", declaring([b"<!ENTITY e '", many(b"x", 5), b"'>"], b"<title>", many(b"&e;", 4),
                                        b"</title>"), BIG // 2, UNPARSED),
    Case("an entity loop", document("<!DOCTYPE rss [<!ENTITY a '&b;'><!ENTITY b '&a;'>]>" + sample("&a;")),
         outcome=UNPARSED),
    Case("a million entities", declaring([many(b"<!ENTITY e%08d 'x'>")], b"<title>&e00000000;</title>"), 1_000_000,
         outcome=UNPARSED),
    Case("a chain of entities up to the bound", lambda n: chain(n, b"<rss><channel><title>&e%08d;</title>"), 1_000,
         shown=ONE, whole=True),
    Case("a chain of entities", lambda n: chain(n, b"<rss><channel><title>&e%08d;</title>"), 500_000, UNPARSED),
    Case("a chain of entities in an attribute", lambda n: chain(n, b"<rss a='&e%08d;'><channel>"), 500_000, UNPARSED),
    Case("a chain of parameter entities", lambda n: chain(n, b"<rss><channel>", b"%"), 500_000, UNPARSED),
    Case("a chain of entities in a list", lambda n: chain(n, b"<opml><head><title>&e%08d;</title></head><body/></opml>"),
         500_000, command="opml", outcome=NO_LIST),
    Case("external general entity", document(EXTERNAL % ("[<!ENTITY e SYSTEM 'http://OTHER/e'>]", "&e;")), shown=ONE),
    Case("external parameter entity", document(EXTERNAL % ("[<!ENTITY % e SYSTEM 'http://OTHER/e'> %e;]", "t")),
         shown=ONE),
    Case("external DTD", document(EXTERNAL % ("SYSTEM 'http://OTHER/rss.dtd'", "t")), shown=ONE),
    Case("a file as entity", document(EXTERNAL % ("[<!ENTITY e SYSTEM 'file:///etc/passwd'>]", "&e;")), shown=ONE),
    Case("inclusion and style sheet", document(EXTERNAL % (
        "", "t<xi:include href='http://OTHER/x'/><?xml-stylesheet href='http://OTHER/s'?>")), shown=ONE),
    Case("a deep content model", declaring([b"<!ELEMENT a ", many(b"("), b"b", many(b")"), b">"]), BIG - 100, shown=ONE),
    Case("a million declared elements", declaring([many(b"<!ELEMENT e%08d ANY>")]), 1_000_000, shown=ONE),
    Case("a million attribute defaults", declaring([b"<!ATTLIST item ", many(b"a%08d CDATA '' "), b">"]), 1_000_000,
         UNPARSED),
    Case("defaults for many elements", declaring(
        [b"<!ATTLIST a ", many(b"a%08d CDATA '' ", 16), b">"], many(b"<a/>")), 1_000_000, UNPARSED),
    Case("sixty defaults for many elements", declaring([b"<!ATTLIST a ", (b"a%02d CDATA '' ", 60), b">"],
                                                       many(b"<a/>")), 4_000_000, shown=ONE),
    Case("hundreds of attributes", declaring([b"<!ATTLIST item ", (b"a%08d CDATA #IMPLIED ", 900), b">"]), shown=ONE),
    Case("attributes for many elements", declaring(
        [b"<!ATTLIST a ", many(b"a%08d NMTOKEN #IMPLIED ", 16), b">"], many(b"<a/>")), 1_000_000, UNPARSED, whole=True),
    Case("a huge default for many elements", declaring(
        [b"<!ATTLIST guid isPermaLink CDATA 'true", many(b"x"), b"'>"], many(b"<guid/>", 4)), BIG // 2, shown=ONE),
    Case("a huge name of a default", declaring(
        [b"<!ATTLIST guid ", many(b"x"), b" CDATA ''>"], many(b"<guid/>", 4)), BIG // 2, shown=ONE),
    Case("a huge default in a list", lambda n: [
        b"<!DOCTYPE opml [<!ATTLIST opml v CDATA '", (b"x", n), b"'><!ATTLIST outline ", (b"x", n), b" CDATA ''>]>",
        b"<opml>", (b"<opml/>", n // 4), (b"<outline/>", n // 64), b"</opml>"], BIG // 4, command="opml"),

    # Elements and attributes.
    Case("a million levels", rss(many(b"<a>"), many(b"</a>"), ITEM), 1_000_000 - 2, shown=ONE),
    Case("levels without end", rss(many(b"<a>")), 64 * MIB // 3 - 100, UNPARSED),
    Case("a million attributes", rss(b"<a ", many(b"a%08d='' "), b"/>", ITEM), 1_000_000, shown=ONE),
    Case("a million name spaces", rss(b"<a ", many(b"xmlns:a%08d='u' "), b"/>", ITEM), 1_000_000, shown=ONE),
    Case("one attribute twice", rss(b"<a ", many(b"xmlns:a='u' "), b"/>", ITEM), 1_000_000, UNPARSED),
    Case("a million names", rss(many(b"<a%08d/>"), ITEM), 1_000_000, shown=ONE),
    Case("a huge attribute", rss(b"<a b='", many(b"x"), b"'/>", ITEM), BIG, shown=ONE),
    Case("a huge link", atom(b"<entry><link href='", many(b"x"), b"'/></entry>"), BIG, shown=ONE),
    Case("a huge text", rss(b"<title>", many(b"x"), b"</title>", ITEM), BIG, shown=ONE),
    Case("a huge text of references", rss(b"<title>", many(b"&#233;"), b"</title>", ITEM), BIG // 6, shown=ONE),
    Case("a huge text of line ends", rss(b"<description>", many(b"x\n"), b"</description>", ITEM), BIG // 2, shown=ONE),
    Case("a huge name", rss(b"<", many(b"x"), b"/>", ITEM), BIG, shown=ONE),
    Case("a huge comment", rss(b"<!--", many(b"x"), b"-->", ITEM), BIG, shown=ONE),
    Case("a huge processing instruction", rss(b"<?p ", many(b"x"), b"?>", ITEM), BIG, shown=ONE),
    Case("a huge number", rss(b"<syn:updateFrequency>", many(b"9"), b"</syn:updateFrequency>", ITEM), BIG, shown=ONE),
    Case("a huge date", rss(b"<item><link>l</link><pubDate>Mon, ", many(b"1 "), b"</pubDate></item>"), BIG // 2,
         shown=ONE),
    Case("a huge date of another kind", rss(b"<item><link>l</link><dc:date>", many(b"9"), b"</dc:date></item>"), BIG,
         shown=ONE),
    Case("a text of tables", rss(b"<item><link>l</link><description>&lt;table", many(b"&lt;/table&lt;tabl"),
                                 b"</description></item>"), BIG // 16, shown=ONE),
    Case("white space", rss(many(b" "), ITEM), BIG, shown=ONE),
    Case("white space before all", lambda n: [(b"\r\n", n), sample().encode()], BIG // 2, shown=ONE),
    Case("line ends only", lambda n: [(b"\n", n)], 64 * MIB, UNPARSED),
    Case("carriage returns only", lambda n: [(b"\r", n)], 64 * MIB, UNPARSED),
    Case("white space beyond the bound", lambda n: [(b" ", 100_000_000)], outcome=TOO_LARGE, whole=True),
    Case("unclosed text", rss(b"<title><![CDATA[", many(b"]]")), BIG // 2, UNPARSED),
    Case("an unclosed tag", rss(b"<a ", many(b"x")), BIG, UNPARSED),

    # Items.
    Case("a million empty items", rss(many(b"<item/>"), ITEM), 1_000_000, shown=ONE, memory=80),
    Case("empty items up to the bound", rss(many(b"<item/>"), ITEM), 64 * MIB // 7 - 100, UNPARSED, whole=True),
    Case("empty items beyond the bound", lambda n: [(b"<item/>", 64 * MIB // 7 + 1)], outcome=TOO_LARGE),
    Case("a million items", rss(many(ITEM)), 1_000_000, shown=ALL),
    Case("items with an identifier alone", rss(many(b"<item><guid isPermaLink='true'>g%08d</guid></item>")), 500_000,
         shown=ALL),
    Case("one item many times", lambda n: [
        b"<feed>", (b"<item>", 2000), b"<entry><link href='", (b"x", n), b"'/></entry>", (b"</item>", 2000),
        b"</feed>"], 8 * MIB, UNPARSED, base=700 * MIB),
    Case("many finishes", lambda n: [b"<rss>", (b"<channel>", n), (b"</channel>", n), b"</rss>"], 1_000_000 - 2,
         shown=NONE),
    Case("many finishes of items", lambda n: [
        b"<rss>", (b"<channel>" + ITEM + b"</channel>", n), b"</rss>"], 1_000_000, shown=ALL),
    Case("many inner feeds", atom(many(b"<feed><entry><link href='l'/></entry></feed>")), 1_000_000, shown=ALL),
    Case("pictures", rss(lambda n: (b"<image><url>http://%s/%%08d.png</url></image>" % SERVER, n), ITEM), 100_000,
         shown=ONE, requests=17),
    Case("pictures without another address", rss(
        lambda n: b"<image><url>http://%s/" % SERVER, many(b"x"), b"</url></image>", (b"<image></image>", 20), ITEM),
        BIG // 4, shown=ONE),
    Case("a picture behind a huge path", rss(
        lambda n: b"<image><url>http://%s/" % SERVER, many(b"x/", 2), b"a.png</url></image>", (b"<image></image>", 20),
        ITEM), BIG // 4, shown=ONE),
    Case("equal items at each pull", rss(many(ITEM)), 500_000, command="pull", before=rss(many(ITEM))),
    Case("look-ups beside huge identifiers", rss(many(b"<item><link>l</link><guid>%08d</guid></item>", 64)), BIG,
         command="pull", before=lambda n: [b"<rss><channel>", *huge_identifiers(n), b"</channel></rss>"]),

    # Encodings.
    Case("NUL", document(sample("\0")), outcome=UNPARSED),
    Case("a reference to NUL", document(sample("&#0;")), outcome=UNPARSED),
    Case("a surrogate in UTF-8", document(sample("").encode().replace(b"<title>", b"<title>\xed\xa0\x80")),
         outcome=UNPARSED),
    Case("a reference to a surrogate", document(sample("&#xD800;")), outcome=UNPARSED),
    Case("UTF-16 little end first", document(sample("é").encode("utf-16")), outcome=UNPARSED),
    Case("UTF-16 of an odd length", document(sample("t").encode("utf-16-be") + b"x"), outcome=UNPARSED),
    Case("another encoding than declared", document(sample("é", "<?xml version='1.0' encoding='utf-8'?>").encode(
        "latin-1")), outcome=UNPARSED),
    Case("UTF-8 declared UTF-16", document(sample("é", "<?xml version='1.0' encoding='utf-16'?>")), outcome=UNPARSED),
    Case("an unknown encoding", document(sample("t", "<?xml version='1.0' encoding='klingon'?>")), outcome=UNPARSED),
    Case("a huge name of an encoding", lambda n: [
        b"<?xml version='1.0' encoding='", (b"x", n), b"'?>", sample().encode()], BIG, UNPARSED),

    # Lists.
    Case("a million outlines", opml(many(b"<outline/>")), 1_000_000, command="opml", shown=lambda n: n + 1),
    Case("a million levels of outlines", opml(many(b"<outline>"), many(b"</outline>")), 1_000_000 - 2, command="opml"),
    Case("outlines without end", opml(many(b"<outline>")), 64 * MIB // 9 - 100, command="opml"),
    Case("levels of other elements", opml(b"<outline/>", many(b"<a>")), 64 * MIB // 3 - 100, command="opml",
         shown=lambda n: 1),
    Case("a huge attribute of an outline", opml(b"<outline text='", many(b"x"), b"'/>"), BIG, command="opml",
         shown=lambda n: 2),
    Case("a huge title of a list", lambda n: [
        b"<opml><head><title>", (b"x", n), b"</title><windowTop>", (b"9", n), b"</windowTop></head><body/></opml>"],
        BIG // 2, command="opml"),
    Case("many lists in one", lambda n: [b"<opml>", (b"<opml><outline/></opml>", n), b"</opml>"], 1_000_000,
         command="opml"),
    Case("laughs in a list", document(laughs().replace("rss", "opml")), command="opml", outcome=NO_LIST),
    Case("external entity in a list", document(
        "<!DOCTYPE opml SYSTEM 'http://OTHER/d' [<!ENTITY e SYSTEM 'http://OTHER/e'>]>"
        "<opml><outline text='a'/>&e;</opml>"), command="opml", shown=lambda n: 2),
]


def chain(n, opening, kind=b"&"):
    """Entities that refer each to the one before, and what refers to the last."""
    declared, reference = (b"% ", b"&#37;") if kind == b"%" else (b"", b"&")
    yield b"<!DOCTYPE rss [<!ENTITY %se00000000 ''>" % declared
    for start in range(1, n, 4096):
        yield b"".join(b"<!ENTITY %se%08d '%se%08d;'>" % (declared, i, reference, i - 1)
                       for i in range(start, min(start + 4096, n)))
    if kind == b"%":
        yield b"%%e%08d;" % (n - 1)
    yield from [b"]>", opening % (n - 1) if b"%" in opening else opening, ITEM, b"</channel></rss>"]


def huge_identifiers(n):
    for i in range(8):
        yield from [b"<item><link>l</link><guid>%d" % i, (b"x", n // 8), b"</guid></item>"]


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        server = self.server
        server.requests.append(self.path)
        if self.path != "/document" or server.parts is None:
            return self.send_error(404)
        self.send_response(200)
        self.send_header("Content-Length", str(sum(map(len, pieces(server.parts())))))
        self.end_headers()
        try:
            for piece in pieces(server.parts()):
                self.wfile.write(piece)
        except OSError:
            pass  # the reader has had enough

    def log_message(self, *_):
        pass


def serve():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    server.requests, server.parts = [], None
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server, "127.0.0.1:%d" % server.server_address[1]


def shown(output, command):
    """The items or outlines in the output: an empty line stands before each item, and each outline is a line."""
    count, begins = 0, True
    for piece in iter(lambda: output.readline(65536), b""):
        ends = piece.endswith(b"\n")
        count += ends and (command == "opml" or (begins and piece == b"\n"))
        begins = ends
    return count


class Run(NamedTuple):
    status: int
    errors: str
    shown: int
    seconds: float
    peak: int
    size: int
    requests: int


def run(options, base, case, parts):
    """One run of the program over the document."""
    site.requests.clear()
    other.requests.clear()
    site.parts = parts
    url = "http://%s/document" % SERVER.decode()
    arguments = {"pull": ["--feed", "Feed=" + url, "--online"]}.get(case.command, [url])
    environment = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "QUILLMORIA_OFFLINE": "0"}
    environment.update((k, v) for k, v in os.environ.items() if k.endswith("SAN_OPTIONS"))
    with tempfile.TemporaryFile(dir=base) as out, tempfile.TemporaryFile(dir=base) as errors:
        child = subprocess.Popen([options.program, case.command, *arguments, "--base", base], stdout=out, stderr=errors,
                                 stdin=subprocess.DEVNULL, env=environment)
        if not options.no_memory:
            resource.prlimit(child.pid, resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))
        end = threading.Timer(DEADLINE_S, child.kill)
        end.start()
        _, status, usage = os.wait4(child.pid, 0)
        end.cancel()
        child.returncode = os.waitstatus_to_exitcode(status)
        out.seek(0)
        lines = shown(out, case.command)
        errors.seek(0)
        text = errors.read(4000).decode("utf-8", "replace")
    size = sum(map(len, pieces(parts())))
    return Run(child.returncode, text, lines, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024, size,
               len(site.requests))


def faults_of(options, case, count, result):
    status, text = case.outcome
    if result.status != status or text not in result.errors:
        yield f"ended with {result.status} and {result.errors[-300:]!r} instead of {case.outcome}"
    if case.shown and result.shown != case.shown(count):
        yield f"showed {result.shown} instead of {case.shown(count)}"
    if other.requests or result.requests != case.requests:
        yield f"asked for {site.requests[:20]}, and another host for {other.requests}"
    bound = case.base + case.memory * min(result.size, 64 * MIB)
    if not options.no_memory and result.peak > bound:
        yield f"took {result.peak // MIB} MB, which is above {bound // MIB} MB"


def attack(options, case):
    """Runs the case; returns its last run and all that is wrong."""
    largest = case.count if options.full or case.whole else case.count // SHORT
    faults, runs = [], []
    for count in [largest // 4, largest] if case.count else [0]:
        with tempfile.TemporaryDirectory(prefix="quillmoria-documents-") as base:
            if case.before:
                run(options, base, case, lambda: case.before(count))
            runs.append(run(options, base, case, lambda: case.parts(count)))
        faults += faults_of(options, case, count, runs[-1])
    small, large = runs[0].seconds, runs[-1].seconds
    if large > GROWTH_FLOOR_S and len(runs) == 2 and large > GROWTH * small:
        faults.append(f"took {large:.2f} s, but {small:.2f} s with a quarter of the document")
    return runs[-1], faults


def main():
    reader = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    reader.add_argument("--full", action="store_true")
    reader.add_argument("--no-memory", action="store_true")
    reader.add_argument("--only", default="", metavar="TEXT", help="only cases whose name contains TEXT")
    reader.add_argument("program")
    options = reader.parse_args()

    failed = 0
    print("| Case | Document MB | CPU s | Peak MB | Outcome |\n|---|---|---|---|---|")
    for case in (case for case in CASES if options.only in case.name):
        result, faults = attack(options, case)
        said = re.sub(r"http://\S*document:? ?", "", result.errors.strip().rsplit("\n", 1)[-1])[:60]
        print(f"| {case.name} | {result.size / MIB:.2f} | {result.seconds:.2f} | {result.peak / MIB:.0f} | "
              f"{result.status} {said} |", flush=True)
        for fault in faults:
            print(f"documents.py: {case.name}: {fault}", file=sys.stderr, flush=True)
        failed += bool(faults)
    return 1 if failed else 0


if __name__ == "__main__":
    site, name = serve()
    SERVER = name.encode()
    other, OTHER_HOST = serve()
    sys.exit(main())
