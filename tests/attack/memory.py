#!/usr/bin/env python3
"""Lets memory run out at each allocation of a pull of two feeds with a picture and of the read of a list.

    memory.py PROGRAM PULL_HOST [--step K] [--exempt LIBRARY]

In a process each, the n-th allocation (or all from it on) fails, for one n after the other until none is reached; in
warm ones a pull goes before. Then the next pull must be right, whatever came of the first. With leak, pulls that fail
alternate with others in one process, which must not grow. With threads, it is the n-th thread and all from it on that
cannot be started. What LIBRARY allocates never fails, for it ends the process then.

Of the long sequences every K-th allocation is tried, starting at another one in each. The full form is --step 1.
"""

import argparse
import base64
import collections
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

sys.path.append(f"{sys.path[0]}/../support")
from feed_server import FeedServer, response
from pull_host import Fault, PullHost

PICTURE = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAMAAAACCAYAAACddGYaAAAABHNCSVQICAgIfAhkiAAAABRJREFUCJljPKGh8Z8BCpgYEIARADEZ"
                           "AhxoVkWtAAAAAElFTkSuQmCC")
FEEDS = ("one", "two")
LIST = b'<opml version="1.1"><head><title>List</title></head><body><outline text="A list of one feed" ' \
       b'xmlUrl="http://127.0.0.1/one"/></body></opml>'

# which allocations fail, what went before in the process, feeds fetched at once, how much rarer than every step-th (0: all)
SEQUENCES = [
    ("one", "cold", 1, 8),
    ("one", "cold", 8, 8),
    ("one", "warm", 1, 1),
    ("one", "warm", 8, 1),
    ("all", "cold", 1, 8),
    ("all", "cold", 8, 8),
    ("all", "warm", 1, 1),
    ("all", "warm", 8, 1),
    ("threads", "cold", 1, 0),
    ("threads", "warm", 8, 0),
    ("one", "leak", 1, 4),
    ("all", "leak", 1, 4),
]


def feed(name, items, port):
    """A feed without a date of its own, so that its cache file is the same whenever it is written."""
    parts = [f'<rdf:RDF xmlns="http://purl.org/rss/1.0/"><channel><title>A feed named {name}</title></channel><image>'
             f"<title>Its picture</title><url>http://127.0.0.1:{port}/{name}.png</url></image>"]
    for i in range(items):
        parts.append(f"<item><title>Item {i} of {name}</title><link>http://127.0.0.1/{name}/items/{i}</link>"
                     f"<description>{'A text of some length. ' * 200}</description>"
                     "<pubDate>Sat, 07 Sep 2002 00:00:01 GMT</pubDate></item>")
    return "".join(parts + ["</rdf:RDF>"]).encode()


class Attack:
    """The tries of one sequence, in a folder of its own below `base`, where old/ and new/ hold the cache files."""

    ROUNDS = 4
    FAULTS_SHOWN = 20

    def __init__(self, options, base, url, number):
        self._failing, self._history, jobs, rarer = SEQUENCES[number]
        self._kept, self._base, self._url = base, base / str(number), url
        self._step = options.step * rarer if options.step > 1 and rarer else 1
        self._first = 1 if self._failing == "all" else 1 + number % self._step  # no memory at all is always a case
        self._start = lambda: PullHost(options.host, str(self._base), jobs,
                                       {name: url + "/" + name for name in FEEDS}, options.exempt)
        self._name = f"{self._failing} failing, {self._history}, jobs {jobs}, step {self._step}"
        self._outcomes = collections.Counter()

    def run(self):
        """What went wrong."""
        began = time.monotonic()
        faults = []
        n, is_reached = self._first, True
        while is_reached and len(faults) < self.FAULTS_SHOWN:
            try:
                is_reached = self._attempt(n)
            except Fault as fault:
                faults.append(f"{self._name}, {n}: {fault}")
            n += self._step
        print(f"{self._name}: up to {n}, {dict(self._outcomes)}, {len(faults)} faults in "
              f"{time.monotonic() - began:.1f} s", *faults, sep="\n", flush=True)
        return faults

    def _attempt(self, n):
        """Whether an n-th allocation was asked for."""
        with self._start() as host:
            host.say("online")
            self._restore()
            if self._history != "cold":
                host.ask("pull")
            live = []
            for _ in range(self.ROUNDS if self._history == "leak" else 1):
                self._restore()
                pull = host.ask(f"pull {self._failing} {n} {self._url}/list")
                self._outcomes["refused" if pull["refused"] else "ended" if not pull["ended"] else
                               "whole" if pull["ok"] == len(FEEDS) else "with a failed feed"] += 1
                if pull["hangs"]:
                    raise Fault("the pull does not end")
                if host.ask(f"list {self._url}/list")["outlines"] != 1:
                    raise Fault("the list cannot be read again")
                live.append(self._check_what_is_left(pull, host)["live"])
        if all(before < after for before, after in zip(live, live[1:])) and len(live) > 1:
            raise Fault(f"the process grows: {live} allocations")
        return pull["allocations"] >= n

    def _restore(self):
        """Both feeds as they were, and no picture."""
        for name in FEEDS:
            shutil.copy(self._kept / "old" / name, self._base / "cache" / name)
        for picture in (self._base / "feed_imgs").iterdir():
            picture.unlink()

    def _check_what_is_left(self, pull, host):
        """The cache files are whole, what is in them has been told, and the next pull is right, which is returned."""
        expected = 0
        for name in FEEDS:
            content, old, new = ((folder / name).read_bytes() for folder in (
                self._base / "cache", self._kept / "old", self._kept / "new"))
            if content not in (old, new):
                raise Fault("a cache file is neither old nor new")
            if content == new and name not in pull["news"].split(","):
                raise Fault("a new item is stored that nobody was told of")
            expected += content == old
        if sorted(os.listdir(self._base / "cache")) != sorted(FEEDS):
            raise Fault("a file is left over")
        host.say("stop 0")  # no pull is left that this could stop
        following = host.ask("pull")
        right = {"begun": 1, "ended": 1, "ok": len(FEEDS), "failed": 0, "new": expected, "hangs": 0, "refused": 0}
        if not right.items() <= following.items():
            raise Fault(f"the next pull is wrong: {following}")
        return following


def main():
    options = argparse.ArgumentParser()
    options.add_argument("program")
    options.add_argument("host")
    options.add_argument("--step", type=int, default=1)
    options.add_argument("--exempt", default="libglib-2.0")
    options = options.parse_args()

    items = 2

    def answer(target, _):
        if target == "/list":
            return response(LIST)
        return response(PICTURE) if target.endswith(".png") else response(feed(target[1:], items, server.port))
    server = FeedServer(answer)

    with tempfile.TemporaryDirectory() as base:
        pull = [options.program, "--base", base, "pull", "--online"]
        pull += [word for name in FEEDS for word in ("--feed", f"{name}={server.url('/' + name)}")]
        for items, kept in ((2, "old"), (3, "new")):
            subprocess.run(pull, check=True, stdout=subprocess.DEVNULL)
            shutil.copytree(os.path.join(base, "cache"), os.path.join(base, kept))

        with ThreadPoolExecutor(len(SEQUENCES)) as pool:
            attacks = (Attack(options, pathlib.Path(base), server.url(""), number) for number in range(len(SEQUENCES)))
            faults = sum(map(len, pool.map(Attack.run, attacks)))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
