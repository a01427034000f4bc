#!/usr/bin/env python3
"""Lets one process pull twenty feeds over and over, and compares what it holds early on with what it holds at the end.

The feeds change, fail in many ways, are read from the cache at times; pulls are stopped, subscribers throw, lists are
read, servers come and go, and in the last case the library, too. Compared are the medians of descriptors, threads and
memory over the samples (one a pull) before the early mark and before the end.
"""

import collections
import itertools
import statistics
import sys

sys.path.append(f"{sys.path[0]}/../support")
from attacks import LIST, PICTURE, Fault, arguments, attack, base_folder, feed, run
from feed_server import CLOSE, FeedServer, response

HELD = ("descriptors", "threads", "kibibytes", "allocations")
OUTCOMES = ("changed", "unchanged", "failed", "pictures")
Case = collections.namedtuple("Case", "name jobs loads")


def answer(target, _, requests=itertools.count()):
    special = {
        "/logo.png": response(PICTURE), "/list": response(LIST), "/13": [document(13, 0)[:-900], CLOSE],
        "/14": response(b"<rss><channel><title>"), "/15": response(b"gone", "404 Not Found"),
        "/16": response(b"", "302 Found", ["Location: " + site.url("/1")]), "/18": [CLOSE],
        "/17": response(b"", "401 Unauthorized", ['WWW-Authenticate: Basic realm="x"']),
        "/19": b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n<rss>\r\n0\r\n\r\n"}
    # Thirty items, of which every few requests one is another.
    return special.get(target) or document(int(target[1:]), next(requests) // 50)


def document(name, first):
    return response(feed(name, range(first, first + 30), site.url("/logo.png")))


def attempt(case):
    with base_folder() as base:
        command = [options.host, options.library, base, site.url("/"), "soak", case.jobs, options.pulls, case.loads]
        result = run(command, 60 + options.pulls)
    if result.status != 0:
        raise Fault(f"exit status {result.status}: {result.errors}")
    columns = list(zip(*(map(int, line.split()) for line in result.output.splitlines())))
    told, faults = [], []
    factories = (options.pulls - options.early) * (case.loads == "reload")  # each load leaves one
    slack = {"descriptors": options.connections, "allocations": factories}
    for name, samples in zip(HELD, columns):
        early, late = (statistics.median(samples[mark - options.samples:mark])
                       for mark in (options.early, options.pulls))
        told.append(f"{name} {early:.0f} and {late:.0f}, at most {max(samples)}")
        if late > early * (1 + options.margin / 100) + slack.get(name, 0):
            faults.append("grows: " + told[-1])
    for name, samples in zip(OUTCOMES, columns[len(HELD):]):
        told.append(f"{sum(samples)} {name}")
        if sum(samples) < options.pulls:
            faults.append(f"no feed is {name}")
    return "; ".join(told), faults


if __name__ == "__main__":
    options = arguments(__doc__, "program", "host", "library", pulls=5000, early=1000, samples=100, margin=2.0,
                        connections=0)
    site = FeedServer(answer)
    cases = Case("one at a time", 1, "once"), Case("eight at once", 8, "once"), Case("a load for each", 8, "reload")
    attack(options, cases, attempt)
