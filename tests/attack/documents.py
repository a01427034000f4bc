#!/usr/bin/env python3
"""Serves hostile documents on loopback and watches what the program makes of each.

Each must end as its row of the table says, with nothing fetched that was not asked for. A document that can be made
larger comes in two sizes, one to four: neither time nor memory may grow faster than it does. The full form has
documents of up to 64 MiB. What is told of each: its MB, the CPU's seconds, the peak in MB, and how it ends.
"""

import itertools
import re
import sys
from typing import NamedTuple

sys.path.append(f"{sys.path[0]}/../support")
from attacks import MIB, arguments, attack, base_folder, pull_command, run
from feed_server import FeedServer, response

GROWTH = 4 * 2.5  # of the time, from a document to one four times as large
GROWTH_FLOOR_S = 0.3  # a large document that takes less is not compared
ADDRESS_SPACE = 6 << 30
MANY = 250_000  # items, beyond which a document may end by the modern rules

OK = (0, "")
UNPARSED = (1, "Failed to parse feed")
TOO_LARGE = (1, "is too large")
NO_LIST = (2, "holds no subscription list")


class Case(NamedTuple):
    name: str
    document: str  # see `pieces`
    count: int = 0  # in the full form; 0: the document has one size
    outcome: tuple = OK  # exit status, and a text on standard error
    shown: object = None  # how many items of a feed or outlines of a list must be shown: a number, or ALL
    command: str = "feed"
    memory: int = 30  # bytes at most for each byte of the document, and
    base: int = 96 * MIB  # beside them
    before: str = ""  # what the address served at an earlier pull
    requests: int = 1
    whole: bool = False  # also large in the short form
    jobs: int = 0  # of a pull of twelve such documents
    modern: dict = {}  # what is otherwise in the modern profile


READ = {"outcome": OK}
DAMAGED = {"outcome": (1, "nothing of it can be read")}


def pieces(document, count):
    """The document in blocks, so that it never stands in this process's memory. «…» stands `count` times, and «…÷4» a
    quarter as often; the first two "%0…" in it become the numbers 0, 1, 2, … and the next one, and elsewhere the count.
    """
    for text, repeated, share in re.findall("([^«]*)(?:«([^»÷]*)(?:÷(\\d+))?»)?", document):
        yield (text % count if "%0" in text else text).encode()
        step, numbers, times = 65536 // (len(repeated) or 1), repeated.count("%0"), count // int(share or 1)
        for start in range(0, times if repeated else 0, step):
            block = range(start, min(start + step, times))
            each = (repeated % (n, n + 1)[:numbers] for n in block) if numbers else (repeated * len(block),)
            yield "".join(each).encode()


def answer(target, _):
    if target != "/document":
        return response(b"", "404 No")
    length = sum(map(len, pieces(*served)))
    return itertools.chain([b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % length], pieces(*served))


served = ["", 0]
site, *others = [FeedServer(answer, address=f"127.0.0.{n}") for n in range(1, 13)]
elsewhere = FeedServer(lambda *_: response(b"", "404 No"))

rss = "<rss><channel>{}</channel></rss>".format
atom = "<feed>{}</feed>".format
opml = '<opml version="1.1"><body>{}</body></opml>'.format
ALL = "all"
BIG = 32 * MIB
ITEM = "<item><link>l</link></item>"
DECLARING = "<!DOCTYPE rss [{}]>{}".format
LAUGHS = DECLARING("<!ENTITY e0 'ha'>" + "".join(f"<!ENTITY e{i} '{f'&e{i - 1};' * 10}'>" for i in range(1, 20)), "{}")
CHAIN = DECLARING("«<!ENTITY e%08d '&e%08d;'>»<!ENTITY e%08d ''>", "{}")
PARAMETER_CHAIN = "«<!ENTITY %% e%08d '&#37;e%08d;'>»<!ENTITY %% e%08d ''>%%e00000000;"
EXTERNAL = f"""<!DOCTYPE rss SYSTEM '{elsewhere.url("/d")}' [<!ENTITY e SYSTEM '{elsewhere.url("/e")}'>
<!ENTITY f SYSTEM 'file:///etc/passwd'><!ENTITY % p SYSTEM '{elsewhere.url("/p")}'> %p;]>
<?xml-stylesheet href='{elsewhere.url("/s")}'?><ROOT xmlns:x='http://www.w3.org/2001/XInclude'><channel><title>&e;&f;
</title><x:include href='{elsewhere.url("/x")}'/>{ITEM}</channel><outline text='a'/>&e;</ROOT>"""
PICTURE = f"<image><url>{site.url('/')}" "{}</url></image>"

CLASSIC = [
    # Entities and declarations.
    Case("billion laughs", LAUGHS.format(rss("<title>&e19;</title>")), outcome=UNPARSED, modern=DAMAGED),
    Case("quadratic blow-up", DECLARING("<!ENTITY e '«x÷5»'>", rss("<title>«&e;÷4»</title>")), BIG // 2, UNPARSED,
         modern=DAMAGED),
    Case("a million entities", DECLARING("«<!ENTITY e%08d 'x'>»", rss("&e00000000;")), 1_000_000, UNPARSED,
         modern=DAMAGED),
    Case("a chain of entities up to the bound", CHAIN.format(rss("&e00000000;" + ITEM)), 999, shown=1, whole=True),
    Case("a chain of entities", CHAIN.format(rss("&e00000000;")), 500_000, UNPARSED, modern=DAMAGED),
    Case("a chain of parameter entities", DECLARING(PARAMETER_CHAIN, rss(ITEM)), 500_000, UNPARSED, modern=READ),
    Case("a chain of entities in a list", CHAIN.format(opml("&e00000000;")), 500_000, NO_LIST, command="opml"),
    Case("external entities", EXTERNAL.replace("ROOT", "rss"), shown=1),
    Case("external entities in a list", EXTERNAL.replace("ROOT", "opml"), command="opml", shown=2),
    Case("a deep content model", DECLARING("<!ELEMENT a «(»b«)»>", rss(ITEM)), BIG - 100, shown=1),
    Case("a million declared elements", DECLARING("«<!ELEMENT e%08d ANY>»", rss(ITEM)), 1_000_000, shown=1),
    Case("a million attribute defaults", DECLARING("<!ATTLIST a «a%08d CDATA '' »>", rss(ITEM)), 1_000_000, UNPARSED,
         modern=READ),
    Case("hundreds of attributes", DECLARING("<!ATTLIST item " + "".join(
        f"a{i} CDATA #IMPLIED " for i in range(900)) + ">", rss(ITEM)), shown=1),
    Case("attributes for many elements", DECLARING("<!ATTLIST a «a%08d NMTOKEN #IMPLIED ÷16»>", rss(ITEM + "«<a/>»")),
         1_000_000, UNPARSED, whole=True, modern=READ),
    Case("sixty defaults for many elements", DECLARING("<!ATTLIST a " + "".join(
        f"a{i} CDATA '' " for i in range(60)) + ">", rss(ITEM + "«<a/>»")), 4_000_000, shown=1),
    Case("a huge default for many elements", DECLARING(
        "<!ATTLIST guid isPermaLink CDATA 'true«x»' «x» CDATA ''>", rss(ITEM + "«<guid/>÷4»")), BIG // 4, shown=1),
    Case("a huge default in a list", DECLARING("<!ATTLIST opml v CDATA '«x»'><!ATTLIST outline «x» CDATA ''>", opml(
        "«<opml/>÷4»«<outline/>÷64»")), BIG // 4, command="opml"),

    # Elements and attributes.
    Case("a million levels", rss("«<a>»«</a>»" + ITEM), 1_000_000 - 2, shown=1),
    Case("levels without end", rss("«<a>»"), 64 * MIB // 3 - 100, UNPARSED, modern=DAMAGED | {"memory": 80}),
    Case("a million attributes", rss("<a «a%08d='' »/>" + ITEM), 1_000_000, shown=1),
    Case("a million names", rss("«<a%08d/>»" + ITEM), 1_000_000, shown=1),
    Case("a huge link", atom("<entry><link href='«x»'/></entry>"), BIG, shown=1),
    Case("a huge text", rss("<title>«x»</title>" + ITEM), BIG, shown=1),
    Case("a huge text of references", rss("<title>«&#233;»</title>" + ITEM), BIG // 6, shown=1),
    Case("a huge text of line ends", rss("<description>«x\n»</description>" + ITEM), BIG // 2, shown=1),
    Case("a huge name", rss("<«x»/>" + ITEM), BIG, shown=1),
    Case("a huge name of an encoding", "<?xml version='1.0' encoding='«x»'?>" + rss(ITEM), BIG, UNPARSED, modern=READ),
    Case("a huge comment", rss("<!--«x»-->" + ITEM), BIG, shown=1),
    Case("a huge number", rss("<syn:updateFrequency>«9»</syn:updateFrequency>" + ITEM), BIG, shown=1),
    Case("a huge date", rss("<item><link>l</link><pubDate>Mon, «1 »</pubDate></item>"), BIG // 2, shown=1),
    Case("a huge date of another kind", rss("<item><link>l</link><dc:date>«9»</dc:date></item>"), BIG, shown=1),
    Case("a text of tables", rss("<item><link>l</link><description>&lt;table«&lt;/table&lt;tabl»</description></item>"),
         BIG // 16, shown=1),
    Case("white space", "«\r\n÷4»" + rss("« ÷2»" + ITEM), BIG, shown=1),
    Case("white space beyond the bound", "« »", 400_000_000, TOO_LARGE, whole=True),
    Case("line ends only", "«\n»", 64 * MIB, UNPARSED, modern={"outcome": (1, "The document is empty")}),
    Case("unclosed text", rss("<title><![CDATA[«]]»"), BIG // 2, UNPARSED, modern=READ),
    Case("an unclosed tag", rss("<a «x»"), BIG, UNPARSED, modern=DAMAGED),

    # Items.
    Case("a million empty items", rss("«<item/>»" + ITEM), 1_000_000, shown=1, memory=80,
         modern={"shown": None, "memory": 80, "base": 300 * MIB}),
    Case("empty items up to the bound", rss("«<item/>»" + ITEM), 64 * MIB // 7 - 100, UNPARSED, whole=True,
         modern=READ),
    Case("a million items", rss(f"«{ITEM}»"), 1_000_000, shown=ALL),
    Case("items with an identifier alone", rss("«<item><guid isPermaLink='true'>%08d</guid></item>»"), 500_000,
         shown=ALL),
    Case("one item many times", atom("<item>" * 2000 + "<entry><link href='«x»'/></entry>" + "</item>" * 2000), 8 * MIB,
         UNPARSED, base=700 * MIB, modern=READ),
    Case("many finishes", "<rss>«<channel>»«</channel>»</rss>", 1_000_000 - 2, shown=0),
    Case("many finishes of items", f"<rss>«<channel>{ITEM}</channel>»</rss>", 1_000_000, shown=ALL),
    Case("many inner feeds", atom("«<feed><entry><link href='l'/></entry></feed>»"), 1_000_000, shown=ALL),
    Case("pictures", rss(f"«{PICTURE.format('%08d.png')}»" + ITEM), 100_000, shown=1, requests=17,
         modern={"requests": 2}),
    *(Case(f"pictures without an address after one with {what}", rss(
        PICTURE.format(f"«{filler}»a.png") + "<image></image>" * 20 + ITEM), BIG // 8, shown=1, whole=True)
      for what, filler in (("a huge name", "x"), ("a huge path", "x/"))),
    Case("equal items at each pull", rss(f"«{ITEM}»"), 500_000, command="pull", before=rss(f"«{ITEM}»")),
    Case("look-ups beside huge identifiers", rss("«<item><link>l</link><guid>%08d</guid></item>÷64»"), BIG,
         command="pull", before=rss("".join(f"<item><link>l</link><guid>{i}«x÷8»</guid></item>" for i in range(8)))),
    *(Case(f"twelve feeds of 15 MB, {jobs} at once", rss(
        f"«<item><link>%08d</link><description>{'x' * 1000}</description></item>»"), 15_000, command="pull", jobs=jobs,
        whole=True) for jobs in (1, 8)),

    # Lists.
    Case("laughs in a list", LAUGHS.format(opml("&e19;")), command="opml", outcome=NO_LIST),
    Case("a million outlines", opml("«<outline/>»"), 1_000_000, command="opml", shown=ALL),
    Case("a million levels of outlines", opml("«<outline>»«</outline>»"), 1_000_000 - 2, command="opml"),
    Case("outlines without end", opml("«<outline>»"), 64 * MIB // 9 - 100, command="opml"),
    Case("levels of other elements", opml("<outline/>«<a>»"), 64 * MIB // 3 - 100, command="opml", shown=1),
    Case("a huge attribute of an outline", opml("<outline text='«x»'/>"), BIG, command="opml", shown=2),
    Case("a huge title of a list", "<opml><head><title>«x»</title><windowTop>«9»</windowTop></head></opml>", BIG // 2,
         command="opml"),
    Case("many lists in one", "<opml>«<opml><outline/></opml>»</opml>", 1_000_000, command="opml"),
]

described = "<rss><channel><item><link>l</link><description>{}</description></item></channel></rss>".format
json = '{{"version": "https://jsonfeed.org/version/1.1", "items": [{{"id": "1", {}}}]}}'.format
LONG_BASE = f"xml:base='http://a/{'b' * 1000}/'"
LIMITED = {"memory": 5, "base": 300 * MIB}

# What only the modern profile reads.
MODERN = [Case(name, document, count, **{"shown": 1, **LIMITED, **more}) for name, document, count, more in (
    # HTML in an item.
    *((f"levels of <{name}>", described(f"«&lt;{name}&gt;»x"), 1_000_000, {}) for name in ("div", "b", "table", "svg")),
    ("levels of HTML with ends", described("«&lt;div&gt;»x«&lt;/div&gt;»"), 1_000_000, {}),
    ("HTML of ends alone", described("«&lt;/b&gt;»x"), 1_000_000, {}),
    ("a million attributes in HTML", described("&lt;p «a%08d=x »&gt;x"), 1_000_000, {}),
    ("a huge attribute in HTML", described("&lt;a href='«x»'&gt;x"), BIG, {}),
    ("a huge srcset", described("&lt;img srcset='«a 1w,»'&gt;x"), BIG // 5, {}),
    ("a huge style", described("&lt;style&gt;«x{}»"), BIG // 3, {}),
    ("references in HTML", described("«&amp;eacute;»"), BIG // 12, {}),
    ("references without an end in HTML", described("«&amp;#x11111111»"), BIG // 15, {}),
    ("a picture as data", described("&lt;img src='data:image/png;base64,«QUJD»'&gt;x"), 30 * MIB // 4, {}),
    ("comments without an end in HTML", described("«&lt;!--»"), BIG // 7, {}),
    ("tags without an end in HTML", described("«&lt;a href='»"), BIG // 12, {}),
    ("relative links", described("«&lt;a href=x&gt;»"), BIG // 15, {"base": 600 * MIB}),
    *((f"links by a long base in {kind}", document, 300_000, {"whole": True}) for kind, document in (
        ("HTML", f"<rss {LONG_BASE}>" + described("«&lt;a href=x&gt;»")[5:]),
        ("XHTML", atom(f"<entry><id>i</id><content type='xhtml' {LONG_BASE}>«<a href='x'/>»</content></entry>")))),
    ("items of many authors", rss(f"<dc:creator>{'x' * 100_000}</dc:creator>«{ITEM}»"), 300_000,
     {"shown": ALL, "base": 500 * MIB, "whole": True}),
    ("items of a long language", f"<rss xml:lang='{'x' * 200_000}'>" + f"<channel>«{ITEM}»</channel></rss>", 300_000,
     {"shown": ALL, "base": 500 * MIB, "whole": True}),
    ("XHTML of a million levels", atom("<entry><content type='xhtml'>«<div>»«</div>»</content></entry>"), 999_000, {}),
    # What an item and a channel have many of.
    *((f"a million {what}", document, 1_000_000, {}) for what, document in (
        ("categories", rss("<item><link>l</link>«<category>%08d</category>»</item>")),
        ("categories of the channel", rss("«<category>%08d</category>»" + ITEM)),
        ("enclosures", rss("<item><link>l</link>«<enclosure url='%08d'/>»</item>")),
        ("links", atom("<entry>«<link href='%08d'/>»</entry>")),
        ("authors", atom("<entry><link href='l'/>«<author><name>%08d</name></author>»</entry>")),
        ("texts", rss("<item><link>l</link>«<description>%08d</description>»</item>")),
        ("declared prefixes", rss("<a «xmlns:p%08d='u' »/>" + ITEM)),
        ("prefixes in a row", rss("«<p%08d:a xmlns:p%08d='u'/>»" + ITEM)),
        ("bases in a row", rss("«<a xml:base='%08d/'/>»" + ITEM)),
        ("languages in a row", rss("«<a xml:lang='l%08d'/>»" + ITEM)))),
    ("a million roots", "«<rss/>»", 1_000_000, {"shown": 0} | DAMAGED),
    ("a million starts of a feed", "<a>«<rss »", 1_000_000, {"shown": 0, "outcome": (1, "not a feed")}),
    *((f"{what} within each other", rss(f"«<a {what}>»{ITEM}«</a>»"), 999_000, {}) for what in (
        "xmlns='u'", "xmlns:p%08d='u'", "xml:base='a/'", "xml:base='http://a/%08d/'", "xml:lang='en'")),
    # JSON.
    ("levels of lists in JSON", json('"x": «[»«]»'), 1_000_000, {}),
    ("levels of objects in JSON", json('"x": «{"a":»1«}»'), 1_000_000, {}),
    ("levels without end in JSON", '{"items": «[»', BIG, {"shown": 0} | DAMAGED),
    *((f"a million {what} in JSON", json(document + "0"), 1_000_000, {}) for what, document in (
        ("keys", '«"k%08d": 1, »"x": '), ("equal keys", '«"title": "%08d", »"x": '),
        ("tags", '"tags": [«"%08d", »""], "x": '), ("authors", '"authors": [«{"name": "%08d"}, »{}], "x": '),
        ("files", '"attachments": [«{"url": "%08d"}, »{}], "x": '))),
    ("a million items in JSON", json('"x": 0}, «{"id": "%08d"}, »{"x": 0'), 1_000_000,
     {"shown": None, "base": 700 * MIB}),
    ("a huge text in JSON", json('"content_text": "«x»"'), BIG, {}),
    ("escapes in JSON", json('"content_html": "«\\u00e9»"'), BIG // 6, {}),
    ("a huge number in JSON", json('"x": «9»'), BIG, {"shown": 0} | DAMAGED),
    # What is mended, and so is read twice.
    *((f"damage by {damage!r}", rss(ITEM + f"<item><title>«{damage}»"), BIG // len(damage),
       {"shown": None, "base": 450 * MIB}) for damage in (
        "&", "<", "]]>", "&#xffffffff;", "\x01", "</item>", "<b></i>", "<a b='", "<a b=>", "<a b b>", "<![CDATA[",
        "<!--", "<?", "<!DOCTYPE ", "<!ENTITY a ", "<item>", "<rss>")),
)]
CASES = {"classic": CLASSIC, "modern": [
    *(case._replace(**case.modern) for case in CLASSIC if case.command != "opml"), *MODERN]}


def take(case, base, *document):
    """What one run of the program makes of the document."""
    served[:] = document
    for server in (site, elsewhere, *others):
        server.requests.clear()
    command = [options.program, case.command, site.url("/document"), "--base", base]
    if case.command == "pull":
        feeds = {server.host: server.url("/document") for server in (site, *others[:11 * bool(case.jobs)])}
        command = pull_command(options.program, base, feeds, f"--jobs={case.jobs or 1}")
    return run([*([] if options.sanitized else ["prlimit", f"--as={ADDRESS_SPACE}"]), *command], 240)


def faults_of(case, count, size, result):
    status, text = case.outcome
    if result.status != status or text not in result.errors:
        yield f"ended with {result.status} and {result.errors[-300:]!r} instead of {case.outcome}"
    expected = count + (case.command == "opml") if case.shown == ALL else case.shown
    shown = result.output.count("\n" if case.command == "opml" else "\n\n")  # an empty line stands before each item
    if options.profile == "modern" and case.shown == ALL:
        expected, shown = min(expected, MANY), min(shown, MANY)
    if expected not in (None, shown):
        yield f"showed {shown} instead of {expected}"
    if elsewhere.requests or len(site.requests) != case.requests:
        yield f"asked {len(site.requests)} times, and another host for {elsewhere.requests}"
    bound = options.pull if case.jobs else (case.base + case.memory * min(size, 64 * MIB)) / MIB
    if not options.sanitized and result.peak > bound:
        yield f"took {result.peak:.0f} MiB, which is above {bound:.0f}"


def attempt(case):
    largest = case.count // (1 if options.full or case.whole else options.shrink)
    faults, seconds = [], []
    for count in [largest // 4, largest] if case.count else [0]:
        size = sum(map(len, pieces(case.document, count)))
        with base_folder() as base:
            if case.before:
                take(case, base, case.before, count)
            result = take(case, base, case.document, count)
        seconds.append(result.cpu)
        faults += faults_of(case, count, size, result)
    if len(seconds) == 2 and seconds[1] > max(GROWTH_FLOOR_S, GROWTH * seconds[0]):
        faults.append(f"took {seconds[1]:.2f} s, but {seconds[0]:.2f} s with a quarter of the document")
    said = re.sub(r"http://\S*document:? ?", "", result.errors.strip().rsplit("\n", 1)[-1])[:60]
    return f"| {size / MIB:.1f} | {result.cpu:.2f} | {result.peak:.0f} | {result.status} {said} |", faults


if __name__ == "__main__":
    options = arguments(__doc__, "program", pull=450, shrink=16)
    leaves_out_jobs = options.sanitized or options.shrink > 16
    attack(options, [case for case in CASES[options.profile] if not (case.jobs and leaves_out_jobs)], attempt)
