#!/usr/bin/env python3
"""Kills pulls of twenty feeds at random moments, and looks at what is left.

Half of the moments are spread over a whole pull's time, the others are the next one at which a file is under way. After
each kill every cache file is the previous one or the new one, whole; so is every picture that has its name; there
is nothing else but files on the way of being written, which the next pull replaces; and that pull counts exactly the
items as new that are not in the cache files that survived.
"""

import argparse
import collections
import itertools
import json
import os
import pathlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time

sys.path.append(f"{sys.path[0]}/../support")
from feed_server import FeedServer, response

FEEDS = [f"Feed {number}" for number in range(20)]
PICTURES = [f"{number}.bmp" for number in range(20)]
ITEMS = 150  # of each document
NEW = 10  # of them in each round
SIDE = 100  # of a picture, in pixels
UNDER_WAY = re.compile(r"[0-9a-z]{8}\.qmu")  # the name of a file that is being written
Mode = collections.namedtuple("Mode", "name share online jobs pictures")
MODES = [
    Mode("one at a time", 0.35, True, 1, False),
    Mode("eight ahead", 0.35, True, 8, False),
    Mode("pictures", 0.12, True, 1, True),
    Mode("pictures, eight ahead", 0.1, True, 8, True),
    Mode("offline", 0.08, False, 1, False),
]


def items_of(feed, round_number):
    """The records of a document's items, in the order of the cache file, without time and time suffix."""
    return [
        (f"Item {n} of {feed} – é", f"{feed}#{n}", 0, f"http://example.org/{n}", "Long. " * (n % 100 * 5) + str(n), "A")
        for n in range(round_number * NEW, round_number * NEW + ITEMS)
    ]


def document(feed, round_number, picture):
    items = "".join(
        f"<item><title>{title}</title><guid>{guid}</guid><link>{link}</link><description>{text}</description>"
        f"<dc:creator>{by}</dc:creator></item>" for title, guid, _, link, text, by in items_of(feed, round_number))
    return (f"<rss version='2.0'><channel><title>Round {round_number}</title><image><url>{picture}</url></image>"
            f"{items}</channel></rss>").encode()


def bitmap():
    size = SIDE * SIDE * 3
    return struct.pack("<2sIHHIIiiHHIIiiII", b"BM", 54 + size, 0, 0, 54, 40, SIDE, SIDE, 1, 24, 0, size, 0, 0, 0,
                       0) + bytes(range(250)) * (size // 250)


class CacheFile:
    """The channel's title and the items of a cache file (docs/cache-format.md). Raises for one that is not whole."""

    def __init__(self, content):
        self._content = content
        self._at = 0
        assert self._text() == "Quillmoria News Items" and self._int() == 4
        count = self._int()
        self._text()  # source note
        self.title = self._text()
        for field in "tttititittt":  # link to image link
            self._text() if field == "t" else self._int()
        self._int(), self._int(), self._text()
        self.items = []
        for _ in range(count):
            self.items.append((self._text(), self._text(), self._int(), self._text(), self._text(), self._text()))
            self._int(), self._text()
        assert self._at == len(content), "there are bytes behind the last record"

    def _take(self, size):
        assert self._at + size <= len(self._content), "the file ends early"
        self._at += size
        return self._content[self._at - size:self._at]

    def _int(self):
        return struct.unpack("<i", self._take(4))[0]

    def _text(self):
        size = self._take(1)[0]
        if size == 255:
            size = struct.unpack("<H", self._take(2))[0]
        if size == 65535:
            size = struct.unpack("<I", self._take(4))[0]
        return self._take(size).decode()


class Attack:
    def __init__(self, host, base, seed):
        self._host, self._base = host, pathlib.Path(base)
        self._random = random.Random(seed)
        self._round = 0
        self._stored = {}  # the round of each feed's cache file
        self._bitmap = bitmap()
        self._server = FeedServer(self._answer)
        self.left = collections.Counter()
        for folder in ("cache", "config", "feed_imgs"):
            (self._base / folder).mkdir()

    def run(self, mode, kills):
        """Kills that many pulls, each at a moment of a whole pull's time, and makes a whole one after most."""
        if not mode.online:
            self._whole_pull(MODES[0])  # brings the pictures, too
        took = self._whole_pull(mode, mode.pictures)
        for _ in range(kills):
            if mode.online:
                self._round += 1
            if mode.pictures:
                self._forget_pictures()
            self._kill(mode, took * self._random.random())
            if self._random.random() < 0.75:
                self._whole_pull(mode)

    def _answer(self, target, _):
        if target.startswith("/picture"):
            time.sleep(0.003)  # so that a good part of the time goes into pictures
            return response(self._bitmap)
        feed = FEEDS[int(target[1:])]
        return response(document(feed, self._round, self._server.url("/picture" + target + ".bmp")))

    def _start(self, mode):
        feeds = [f"--feed={feed}={self._server.url('/' + str(i))}" for i, feed in enumerate(FEEDS)]
        command = [self._host, "pull", "--json", "--base", self._base, "--jobs", str(mode.jobs), "--jobs-per-host",
                   str(mode.jobs), "--online" if mode.online else "--offline", *feeds]
        environment = dict(os.environ, LC_ALL="C.UTF-8")
        self._output, self._complaints = tempfile.TemporaryFile(), tempfile.TemporaryFile()
        return subprocess.Popen(command, stdout=self._output, stderr=self._complaints, env=environment)

    def _kill(self, mode, delay):
        process = self._start(mode)
        try:
            process.wait(delay)
        except subprocess.TimeoutExpired:
            if self._random.random() < 0.5:
                self._wait_for_a_file_under_way(process)
            process.kill()
        if process.wait() == 0:
            self.left["ended before"] += 1
        before = dict(self._stored)
        unfinished = self._look(mode)
        changed = sum(self._stored.get(feed) != before.get(feed) for feed in FEEDS)
        self.left["some stored"] += 0 < changed < len(FEEDS)
        self.left["within a file"] += bool(unfinished)

    def _wait_for_a_file_under_way(self, process):
        folders = [str(self._base / folder) for folder in ("cache", "feed_imgs")]
        names = lambda: itertools.chain.from_iterable(map(os.listdir, folders))
        while process.poll() is None and not any(map(UNDER_WAY.fullmatch, names())):
            pass

    def _look(self, mode):
        """Compares what there is with the previous and the new documents. Returns the unfinished files."""
        unfinished = []
        for path in (self._base / "cache").iterdir():
            if UNDER_WAY.fullmatch(path.name):
                unfinished.append(path)
                continue
            assert path.name in FEEDS, f"a file {path.name}"
            file = CacheFile(path.read_bytes())
            stored = int(file.title.split()[1])
            possible = [self._stored.get(path.name)] + [self._round] * mode.online
            assert stored in possible, f"{path.name} is of round {stored}, not of {possible}"
            assert file.items == items_of(path.name, stored), f"{path.name} has other items"
            self._stored[path.name] = stored
        for path in (self._base / "feed_imgs").iterdir():
            if UNDER_WAY.fullmatch(path.name):
                unfinished.append(path)
            else:
                assert path.name in PICTURES, f"a file {path.name}"
                assert path.read_bytes() == self._bitmap, f"{path.name} is no whole picture"
        return unfinished

    def _whole_pull(self, mode, without_pictures=False):
        """Returns its time in seconds."""
        expected = {}
        if mode.online:
            self._round += 1
            fresh = {feed: {item[1] for item in items_of(feed, self._round)} for feed in FEEDS}
            for feed in FEEDS:
                known = items_of(feed, self._stored[feed]) if feed in self._stored else []
                expected[feed] = len(fresh[feed] - {item[1] for item in known})
        if without_pictures:
            self._forget_pictures()
        began = time.monotonic()
        status = self._start(mode).wait()
        took = time.monotonic() - began
        self._complaints.seek(0)
        said = self._complaints.read().decode()
        assert status == 0, f"the host ends with {status}: {said}"
        self._output.seek(0)
        reports = {report["feed"]: report for report in map(json.loads, self._output)}
        for feed in FEEDS:
            assert reports[feed]["newItemCount"] == expected.get(feed, 0), f"{feed} has not {expected[feed]} new items"
            assert reports[feed]["itemCount"] == ITEMS
            assert reports[feed]["picture"] == {"width": SIDE, "height": SIDE}, f"{feed} has no picture: {said}"
        unfinished = self._look(mode)
        assert not mode.online or not unfinished, f"{unfinished} are still there"
        assert not mode.online or set(self._stored.values()) == {self._round}
        return took

    def _forget_pictures(self):
        shutil.rmtree(self._base / "feed_imgs")
        (self._base / "feed_imgs").mkdir()


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("host", help="the program quillmoria")
    arguments.add_argument("--kills", type=int, default=500)
    arguments.add_argument("--seed", type=int, default=1)
    options = arguments.parse_args()
    print(f"seed {options.seed}", flush=True)
    with tempfile.TemporaryDirectory(prefix="quillmoria-") as base:
        attack = Attack(options.host, base, options.seed)
        for mode in MODES:
            attack.left.clear()
            kills = round(options.kills * mode.share)
            began = time.monotonic()
            attack.run(mode, kills)
            print(f"{mode.name}: {kills} kills in {time.monotonic() - began:.0f} s, of them {dict(attack.left)}",
                  flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
