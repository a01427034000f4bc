#!/usr/bin/env python3
"""Lets one process pull twenty feeds over and over, and compares what it holds early on with what it holds at the end.

The feeds change, fail in many ways, are read from the cache at times; pulls are stopped, subscribers throw, lists are
read, servers come and go. Compared are the medians of descriptors, threads and resident memory over the samples (one
a pull) before the early mark and before the end.
"""

import argparse
import itertools
import pathlib
import socket
import statistics
import sys
import tempfile
import time

sys.path.append(f"{sys.path[0]}/../support")
from feed_server import FeedServer, response
from pull_host import PullHost

SAMPLES = pathlib.Path(__file__).parent.parent / "samples"
LIST = b"<opml version='1.1'><body><outline text='a'><outline text='b'/></outline><outline text='c'/></body></opml>"


class Feeds:
    """What is behind each of the targets /1 to /19, /logo.png and /list."""

    def __init__(self):
        self.url = None
        self._logo = (SAMPLES / "images" / "red.png").read_bytes()
        self._requests = itertools.count()
        self._special = {
            "/logo.png": lambda head: response(self._logo),
            "/list": lambda head: response(LIST),
            "/13": lambda head: (response(self._document(13))[:-900], False),
            "/14": lambda head: response(b"<rss><channel><title>"),
            "/15": lambda head: response(b"gone", "404 Not Found"),
            "/16": lambda head: response(b"", "302 Found", ["Location: " + self.url("/1")]),
            "/17": lambda head: response(b"", "401 Unauthorized", ['WWW-Authenticate: Basic realm="x"']),
            "/18": lambda head: (b"", False),
            "/19": lambda head: b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n<rss>\r\n0\r\n\r\n",
        }

    def answer(self, target, head):
        special = self._special.get(target)
        return special(head) if special else response(self._document(int(target[1:])))

    def _document(self, feed):
        """Thirty items, of which every few requests one is another."""
        first = next(self._requests) // 50
        items = "".join(
            f"<item><title>Item {n}</title><link>http://example.org/{feed}/{n}</link>"
            f"<description>{'What there is to say. ' * (5 + n % 7)}</description></item>"
            for n in range(first, first + 30))
        image = f"<image><url>{self.url('/logo.png')}</url></image>"
        return f"<rss version='2.0'><channel><title>Feed {feed}</title>{image}{items}</channel></rss>".encode()


def round_of(host, number, base, url):
    """What the host tells of the pull. What a round has beside it, every few have."""
    def is_due(every):
        return number % every == 0
    if is_due(3):
        host.say("server")
    host.say("offline" if is_due(7) else "online", f"enable {int(is_due(100))}")
    if is_due(10):
        (base / "feed_imgs" / "logo.png").unlink(missing_ok=True)
    for act, every in (("stop", 11), ("throw", 13)):
        if is_due(every):
            host.say(f"{act} {number % 40 + 1}")
    told = host.ask("pull")
    for source in [url("/list"), base / "list.opml"] if is_due(5) else []:
        assert host.ask(f"list {source}")["outlines"] == 2, "the list was not read"
    return told


def run(program, pulls, jobs):
    """What the host tells of each pull."""
    feeds = Feeds()
    server = FeedServer(feeds.answer)
    feeds.url = server.url
    with tempfile.TemporaryDirectory(prefix="quillmoria-") as base, socket.socket() as refused:
        refused.bind(("127.0.0.1", 0))  # and never listens
        addresses = {f"feed{n}": server.url(f"/{n}") for n in range(1, 20)}
        addresses["refused"] = f"http://127.0.0.1:{refused.getsockname()[1]}/feed"
        base = pathlib.Path(base)
        (base / "list.opml").write_bytes(LIST)
        with PullHost(program, str(base), jobs, addresses) as host:
            return [round_of(host, number, base, server.url) for number in range(1, pulls + 1)]


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("host")
    arguments.add_argument("--pulls", type=int, default=5000)
    arguments.add_argument("--early", type=int, default=1000, help="pulls before the early mark")
    arguments.add_argument("--samples", type=int, default=100, help="pulls of which each median is taken")
    arguments.add_argument("--jobs", type=int, nargs="+", default=[1, 8])
    arguments.add_argument("--margin", type=float, default=2, help="per cent that may lie between the medians")
    arguments.add_argument("--connections", type=int, default=0, help="descriptors that may be there beyond that")
    options = arguments.parse_args()

    grown = False
    for jobs in options.jobs:
        began = time.monotonic()
        samples = run(options.host, options.pulls, jobs)
        outcomes = {kind: sum(sample[kind] for sample in samples)
                    for kind in ("changed", "unchanged", "failed", "pictures")}
        print(f"{options.pulls} pulls of 20 feeds, {jobs} at once, {time.monotonic() - began:.0f} s: {outcomes}")
        assert min(outcomes.values()) >= options.pulls, "one kind of feed is missing"
        for name in ("descriptors", "threads", "kibibytes"):
            marks = range(options.early, options.pulls + 1, options.early)
            medians = [statistics.median(sample[name] for sample in samples[mark - options.samples:mark])
                       for mark in marks]
            highest = max(sample[name] for sample in samples)
            print(f"  {name}: {', '.join(map(str, medians))} after each {options.early} pulls, at most {highest}")
            early, late = medians[0], medians[-1]
            slack = options.connections if name == "descriptors" else 0
            grown |= late > early * (1 + options.margin / 100) + slack
    return 1 if grown else 0


if __name__ == "__main__":
    sys.exit(main())
