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
import subprocess
import sys
import tempfile
import time

from feed_server import FeedServer, response

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


def run(host, pulls, jobs):
    """The samples that the host prints, a list of integers each."""
    feeds = Feeds()
    server = FeedServer(feeds.answer)
    feeds.url = server.url
    with tempfile.TemporaryDirectory(prefix="quillmoria-") as base, socket.socket() as refused:
        refused.bind(("127.0.0.1", 0))  # and never listens
        for folder in ("cache", "config", "feed_imgs"):
            (pathlib.Path(base) / folder).mkdir()
        (pathlib.Path(base) / "list.opml").write_bytes(LIST)
        command = [host, str(pulls), str(jobs), base, server.url(""),
                   f"http://127.0.0.1:{refused.getsockname()[1]}/feed"]
        output = subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout
    # The library says "unhandled exception" of an image whose download was cut off by a stop.
    return [[int(number) for number in line.split()] for line in output.splitlines() if line[0].isdigit()]


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
        assert len(samples) == options.pulls
        print(f"{options.pulls} pulls of 20 feeds, {jobs} at once, {time.monotonic() - began:.0f} s: "
              "%d feeds with new items, %d without, %d failed, %d pictures" % tuple(samples[-1][3:]))
        assert min(samples[-1][3:]) >= options.pulls, "one kind of feed is missing"
        for column, (name, unit) in enumerate((("descriptors", 1), ("threads", 1), ("memory, KiB", 4))):
            marks = range(options.early, options.pulls + 1, options.early)
            medians = [statistics.median(sample[column] * unit for sample in samples[mark - options.samples:mark])
                       for mark in marks]
            highest = max(sample[column] for sample in samples) * unit
            print(f"  {name}: {', '.join(map(str, medians))} after each {options.early} pulls, at most {highest}")
            early, late = medians[0], medians[-1]
            slack = options.connections if name == "descriptors" else 0
            grown |= late > early * (1 + options.margin / 100) + slack
    return 1 if grown else 0


if __name__ == "__main__":
    sys.exit(main())
