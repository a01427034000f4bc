#!/usr/bin/env python3
"""Takes away the ground under pulls: files, disk, descriptors, address space.

Each case is a pull whose ground is spoiled; what it must say and leave stands beside it. Sweeps pull under rising
limits, from where the program can be loaded, until three pulls in a row are right; nothing but a failure may come of
one before. The full form tries every limit.
"""

import collections
import fcntl
import itertools
import os
import re
import shutil
import sys
from typing import Callable, NamedTuple

sys.path.append(f"{sys.path[0]}/../support")
from attacks import FOLDERS, MIB, PICTURE, arguments, attack, base_folder, feed, pull_command, run
from feed_server import FeedServer, response

SETTINGS = "config/quillmoria.ini"
# Root's privilege of ignoring permissions goes, and what is too large for a limit is an error.
UNDER = ("setpriv --bounding-set=-dac_override,-dac_read_search " if os.geteuid() == 0 else "") + (
    "env --ignore-signal=XFSZ prlimit --")


class Ground:
    """A base folder with the cache file of a feed of two items, whose server has three by now."""

    def __init__(self, base):
        self.base = base
        self._server = FeedServer(self._answer)
        self.old = self.new = b""
        self.restore()
        for self._items, edition in ((range(90, 92), "old"), (range(90, 93), "new")):
            self.pull()
            setattr(self, edition, (base / "cache/feed").read_bytes())

    def _answer(self, target, _):
        if target.endswith("png"):
            return response(PICTURE + bytes(self.padding))
        self.at_fetch()
        return response(feed("feed", self._items, self._server.url("/logo.png")))

    def restore(self):
        """The ground as it was before any case."""
        for folder in (self.base, *self.base.glob("*/")):
            folder.chmod(0o700)
        for path in self.base.iterdir():
            shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()
        for folder in FOLDERS:
            (self.base / folder).mkdir()
        (self.base / "cache/feed").write_bytes(self.old)
        self.at_fetch, self.padding = lambda: None, 0

    def pull(self, limit="nofile=1000", jobs=1):
        """The run, and what has come of it: exit status, new items, the cache file, and whether there is a picture."""
        feeds = {"feed": self._server.url("/feed")}
        result = run([*(UNDER + limit).split(), *pull_command(options.program, self.base, feeds, f"--jobs={jobs}")])
        told = re.search(r": 3 items, (\d+) new", result.errors)
        # A case may have put the file or its folder elsewhere.
        file = next(path for path in map(self.base.joinpath, ("aside/feed", "aside", "cache/feed")) if path.is_file())
        edition = {self.old: "old", self.new: "new"}.get(file.read_bytes(), "neither")
        if {path.name for path in self.base.glob("*/*")} - {"feed", "logo.png", "quillmoria.ini"}:
            edition += ", and others"
        has_picture = (self.base / "feed_imgs/logo.png").is_file()
        return result, (result.status, int(told[1]) if told else 0, edition, has_picture)


# How the ground is spoiled.

def aside(name, make=lambda path: None):
    """What `make` makes stands in the place of a file, or, once the feed is asked for, in that of a folder: the program
    makes a missing one."""
    def spoil():
        os.rename(ground.base / name, ground.base / "aside")
        make(ground.base / name)
    return spoil if "/" in name else lambda: setattr(ground, "at_fetch", spoil)


def mode(bits, name):
    return lambda: (ground.base / name).chmod(bits)


class Case(NamedTuple):
    """A spoiled ground, and what must come of a pull."""
    name: str
    spoil: Callable = lambda: None
    new: int = 1
    says: str = ""  # or nothing
    file: str = "new"
    picture: bool = True
    limit: str = "nofile=1000"

    def attempt(self):
        ground.restore()
        self.spoil()
        result, outcome = ground.pull(self.limit)
        said = " ".join(line for line in result.errors.splitlines() if not line.startswith("["))  # those tell progress
        said += result.output[:result.output.find("News\n")]
        expected = (int(self.file == "old"), self.new, self.file, self.picture)
        faults = [f"ended as {outcome} instead of {expected}"] if outcome != expected else []
        return said, faults + [f"said {said!r}"] * (self.says not in said or bool(said) > bool(self.says))


def unwritten(name, new, *spoil, **more):
    return Case(name, *spoil, new=new, says="cache file cannot be written", file="old", **more)


def without_picture(name, *spoil, **more):
    return Case(name, *spoil, says="unhandled exception", picture=False, **more)


def unread(name, *spoil):
    return Case(name, *spoil, new=0, says="The settings file cannot be read", file="old", picture=False)


CASES = [
    Case("nothing is spoiled"),
    unwritten("no cache folder", 3, aside("cache")),
    without_picture("no picture folder", aside("feed_imgs")),
    Case("no settings folder", aside("config")),
    unwritten("a read-only cache folder", 1, mode(0o500, "cache")),
    unwritten("a locked-up cache folder", 3, mode(0, "cache")),
    without_picture("a read-only picture folder", mode(0o500, "feed_imgs")),
    unwritten("a disk full within the cache file", 1, limit="fsize=4000"),
    without_picture("a disk full within the picture", lambda: setattr(ground, "padding", 1 << 16), limit="fsize=40000"),
    unwritten("a FIFO for a cache folder", 3, aside("cache", os.mkfifo)),
    Case("a link to the cache folder", aside("cache", lambda path: path.symlink_to("aside"))),
    unwritten("a folder for a cache file", 3, aside("cache/feed", os.mkdir)),
    unwritten("a FIFO for a cache file", 3, aside("cache/feed", os.mkfifo)),
    unwritten("a link for a cache file", 3, aside("cache/feed", lambda path: path.symlink_to("../aside"))),
    unwritten("a cache file that may not be read", 3, mode(0, "cache/feed")),
    unwritten("a cache file that may not be written", 1, mode(0o400, "cache/feed")),
    unwritten("a cache file that another process has locked", 1,
              lambda: fcntl.flock(os.open(ground.base / "cache/feed", os.O_RDONLY), fcntl.LOCK_EX)),
    Case("half a cache file", lambda: (ground.base / "cache/feed").write_bytes(ground.old[:len(ground.old) // 2]), 3),
    unread("a locked-up settings folder", mode(0, "config")),
    unread("settings of a gigabyte", lambda: run(["truncate", "-s1G", ground.base / SETTINGS])),
    unread("a FIFO for settings", lambda: os.mkfifo(ground.base / SETTINGS)),
]


class Sweep(NamedTuple):
    name: str
    resource: str
    limits: range
    jobs: int

    def attempt(self):
        faults, outcomes, right = [], collections.Counter(), 0
        for limit in itertools.dropwhile(self.is_too_low, self.limits):
            ground.restore()
            result, (status, new, file, has_picture) = ground.pull(f"{self.resource}={limit}", self.jobs)
            outcomes[status] += 1
            if not (status > 0 and file == "old" and new <= 1 or status >= 0 and file == "new" and new == 1):
                faults.append(f"{limit}: ended with {status}, {new} new, {file} file: {result.errors[-300:]}")
            right = right + 1 if status == 0 and has_picture else 0
            if right == 3:
                return f"right from {limit}; pulls by exit status {dict(outcomes)}", faults
        return "", [*faults, "never enough"]

    def is_too_low(self, limit):
        return run([*f"{UNDER}{self.resource}={limit}".split(), options.program, "--version"]).status != 0


if __name__ == "__main__":
    options = arguments(__doc__, "program")
    step = (1, MIB // 4) if options.full else (3, 8 * MIB)
    with base_folder() as folder:
        ground = Ground(folder)
        limits = (("descriptors", "nofile", range(3, 200, step[0])),
                  ("address space", "as", range(16 * MIB, 4096 * MIB, step[1])))
        sweeps = [Sweep(f"{limit[0]}, {jobs} at once", *limit[1:], jobs) for jobs in (1, 8) for limit in limits]
        attack(options, [*CASES, *sweeps], lambda case: case.attempt())
