#!/usr/bin/env python3
"""Kills pulls of thirty feeds at random moments, alone and beside other pulls and a process that marks items, and damages
the archive at random bytes.

After each kill the archive is whole: every feed has the document before or the new one, items that were read or starred
still are, and the next pull counts as new exactly the items that the archive does not have. After each damage a pull
delivers all, and what it says of the archive is true; what is set aside is never lost.
"""

import contextlib
import itertools
import json
import os
import random
import re
import sqlite3
import subprocess
import sys
import time
from typing import Callable, NamedTuple

sys.path.append(f"{sys.path[0]}/../support")
from attacks import Fault, arguments, attack, base_folder, environment, feed, pull_command, run
from feed_server import FeedServer, response

# Root's privilege of ignoring permissions goes, and what is too large for a limit is an error.
UNDER = ("setpriv --bounding-set=-dac_override,-dac_read_search " if os.geteuid() == 0 else "") + (
    "env --ignore-signal=XFSZ prlimit --")
FEEDS = [f"feed{number:02}" for number in range(30)]
ITEMS, STEP = 20, 3  # of a document, and how many are new in the next edition


def edition(number):
    """The numbers of its items."""
    return range(number * STEP, number * STEP + ITEMS)


class Site:
    """Thirty feeds whose documents gain items with each edition, from a server that says when one has not changed."""

    def __init__(self):
        self.edition = 0
        self._server = FeedServer(self._answer)

    def addresses(self):
        return {name: self._server.url(f"/{name}") for name in FEEDS}

    def _answer(self, target, head):
        time.sleep(0.002)  # so that there are moments to hit in each fetch
        number, tag = self.edition, f'"{self.edition}"'
        if f"If-None-Match: {tag}\r\n" in head + "\r\n":
            return b"HTTP/1.1 304 Not Modified\r\n\r\n"
        return response(feed(target[1:], edition(number)), headers=["ETag: " + tag])


def program(base, *words):
    return [options.program, "--base", base, *words]


def rows(base, sql):
    with contextlib.closing(sqlite3.connect(base / "archive.sqlite", timeout=10)) as archive:
        return archive.execute(sql).fetchall()


def state(base):
    """Of each feed the numbers of the items in its last document, and of those in the archive; and all marks."""
    documents, known, marks = {}, {}, {}
    for name, guid, place, *mark in rows(base, "SELECT name, guid, place, read, starred FROM items JOIN feeds "
                                               "ON feeds.id = items.feed ORDER BY place"):
        number = int(guid.partition("#")[2])
        known.setdefault(name, set()).add(number)
        marks[guid] = mark
        if place is not None:
            documents.setdefault(name, []).append(number)
    return documents, known, marks


def whole_pull(base):
    """New items by feed, as a pull that nobody disturbs tells them."""
    result = run(pull_command(options.program, base, site.addresses(), "--json", "--jobs=8"))
    if result.status != 0:
        raise Fault(f"the next pull ends with {result.status}: {result.errors[-500:]}")
    return {line["feed"]: line["newItemCount"] for line in map(json.loads, result.output.splitlines())}


class Kill(NamedTuple):
    number: int
    processes: int  # pulls at once; beyond one, another process marks items
    milliseconds: float

    @property
    def name(self):
        return f"kill {self.number} of {self.processes} after {self.milliseconds:.1f} ms"

    def attempt(self):
        before = site.edition
        site.edition += 1
        pulls = [pull_command(options.program, folder, site.addresses(), f"--jobs={chance.choice((1, 8))}")
                 for _ in range(self.processes)]
        read = [str(row[0]) for row in rows(folder, "SELECT id FROM items ORDER BY random() LIMIT 5")]
        if self.processes > 1:
            pulls.append(program(folder, "mark", "--star", "--read", *read))
        running = [subprocess.Popen(list(map(str, pull)), env=environment(), stdin=subprocess.DEVNULL,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for pull in pulls]
        time.sleep(self.milliseconds / 1000)
        for process in chance.sample(running, len(running)):
            process.kill()
            time.sleep(chance.random() / 200)
        for process in running:
            process.wait()
        return self.told(*state(folder), before)

    def told(self, documents, known, marks, before):
        faults = []
        if check := run(program(folder, "archive", "--check")).status:
            faults.append(f"the check ends with {check}")
        after = 0
        for name in FEEDS:
            after += documents.get(name) == list(edition(before + 1))
            if documents.get(name) not in map(list, (edition(before), edition(before + 1))):
                faults.append(f"{name} has {documents.get(name)}")
        faults += [f"{guid} is no longer marked" for guid, mark in marked.items() if marks.get(guid, mark) < mark]
        faults += [f"{guid} is gone" for guid in marked if guid not in marks]
        expected = {name: len(set(edition(site.edition)) - known[name]) for name in FEEDS}
        if (counted := whole_pull(folder)) != expected:
            faults.append(f"new items are {counted} instead of {expected}")
        marked.update({guid: mark for guid, mark in state(folder)[2].items() if any(mark)})
        return f"{after} of {len(FEEDS)} stored", faults


class Damage(NamedTuple):
    number: int

    @property
    def name(self):
        return f"damage {self.number}"

    def attempt(self):
        with base_folder() as base:
            (base / "archive.sqlite").write_bytes(self.spoiled())
            asked = run(pull_command(options.program, base, site.addresses(), "--json", "--jobs=8"))
            lines = [json.loads(line) for line in asked.output.splitlines()]
            aside = [path.name for path in base.glob("archive.sqlite.damaged-*") if path.suffix != ".x"]
            faults = []
            if asked.status < 0 or "Sanitizer" in asked.errors:
                faults.append(f"ends with {asked.status}: {asked.errors[-2000:]}")
            if [line["feed"] for line in lines] != FEEDS or any(line["itemCount"] != ITEMS for line in lines):
                faults.append("not all is delivered")
            told = {name for line in lines for name in re.findall(r"archive\.sqlite\.damaged-[\d-]*\d", line["status"])}
            if told != {name for name in aside if not name.endswith(("-wal", "-shm"))}:
                faults.append(f"told is {told}, set aside {aside}")
            for words in (["news", "--limit=1000"], ["search", "text"], ["archive", "--check"], ["archive", "--repair"]):
                if (after := run(program(base, *words), 60)).status not in (0, 1) or "Sanitizer" in after.errors:
                    faults.append(f"{words} ends with {after.status}: {after.errors[-2000:]}")
            if run(program(base, "archive", "--check")).status != 0:
                faults.append("is not whole after its repair")
            return "set aside" if aside else "", faults

    def spoiled(self):
        spoilt = bytearray(sound)
        for _ in range(chance.choice((1, 10, 100))):
            at = chance.randrange(len(spoilt))
            piece = chance.choice((1, 4, 100, 4096))
            spoilt[at:at + piece] = chance.randbytes(len(spoilt[at:at + piece]))
        return spoilt[:chance.randrange(len(spoilt))] if chance.random() < 0.2 else spoilt


class Hindrance(NamedTuple):
    """A pull that finds the archive as `spoil` makes it, which `mend` undoes: all is delivered, and what is not stored
    says so and is new again next time."""
    name: str
    spoil: Callable = lambda base: None
    mend: Callable = lambda base, made: None
    limit: str = "nofile=1000"

    def attempt(self):
        with base_folder() as base:
            (base / "archive.sqlite").write_bytes(sound)
            site.edition = 1
            made = self.spoil(base)
            began = time.monotonic()
            # Its output goes through a pipe, as the limit is not for that.
            result = run(["bash", "-o", "pipefail", "-c", '"$@" | cat', "pull", *(UNDER + self.limit).split(),
                          *pull_command(options.program, base, site.addresses(), "--json")])
            took = time.monotonic() - began
            self.mend(base, made)
            lines = [json.loads(line) for line in result.output.splitlines()]
            stored = {line["feed"] for line in lines if line["stored"]}
            faults = []
            if result.status != (0 if len(stored) == len(FEEDS) else 1) or "Sanitizer" in result.errors:
                faults.append(f"ends with {result.status}: {result.errors[-1000:]}")
            if [(line["feed"], line["itemCount"]) for line in lines] != [(name, ITEMS) for name in FEEDS]:
                faults.append("not all is delivered")
            if took > 15:
                faults.append(f"takes {took:.0f} s")
            site.edition = 1
            new = {name: STEP * (name not in stored) for name in FEEDS}
            if (counted := whole_pull(base)) != new:
                faults.append(f"the next pull counts {counted} after {stored} were stored")
            return f"{len(stored)} stored in {took:.1f} s", faults


def locked(base):
    archive = sqlite3.connect(base / "archive.sqlite", isolation_level=None)
    archive.execute("BEGIN IMMEDIATE")
    return archive


def aside(make):
    """What `make` makes stands in the place of the archive."""
    def spoil(base):
        os.rename(base / "archive.sqlite", base / "aside")
        make(base / "archive.sqlite")

    def mend(base, _):
        path = base / "archive.sqlite"
        path.rmdir() if path.is_dir() and not path.is_symlink() else path.unlink()
        for file in base.glob("archive.sqlite-*"):
            file.unlink()
        os.rename(base / "aside", path)
    return spoil, mend


def newer(base):
    rows(base, "PRAGMA user_version = 999")


HINDRANCES = [
    Hindrance("nothing is spoiled"),
    Hindrance("a read-only folder", lambda base: base.chmod(0o500), lambda base, _: base.chmod(0o700)),
    Hindrance("a read-only archive", lambda base: (base / "archive.sqlite").chmod(0o400),
              lambda base, _: (base / "archive.sqlite").chmod(0o600)),
    Hindrance("an archive that may not be read", lambda base: (base / "archive.sqlite").chmod(0),
              lambda base, _: (base / "archive.sqlite").chmod(0o600)),
    Hindrance("an archive that is locked for ever", locked, lambda base, archive: archive.close()),
    Hindrance("a newer archive", newer, lambda base, _: rows(base, "PRAGMA user_version = 1")),
    Hindrance("a folder", *aside(os.mkdir)),
    Hindrance("a FIFO", *aside(os.mkfifo)),
    Hindrance("a link", *aside(lambda path: path.symlink_to("aside"))),
]


def cases():
    for number, processes in itertools.chain(((number, 1) for number in range(options.kills)),
                                             ((number, 3) for number in range(options.crowds))):
        yield Kill(number, processes, chance.uniform(1, 150 if processes == 1 else 300))
    yield from HINDRANCES
    for size in range(0, 600_000, options.step):
        yield Hindrance(f"files of {size} bytes at most", limit=f"fsize={size}")
    yield from map(Damage, range(options.damages))


if __name__ == "__main__":
    options = arguments(__doc__, "program", kills=1000, crowds=200, damages=1000, step=4000, seed=1)
    chance = random.Random(options.seed)
    site, marked = Site(), {}
    with base_folder() as folder:
        whole_pull(folder)
        rows(folder, "PRAGMA wal_checkpoint(TRUNCATE)")
        sound = (folder / "archive.sqlite").read_bytes()
        attack(options, list(cases()), lambda case: case.attempt())
