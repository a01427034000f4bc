#!/usr/bin/env python3
"""Takes away the ground under pulls of the command-line host: files, disk, descriptors, address space.

    ground.py PROGRAM [--full]

Each case is a pull whose ground is spoiled; what it must say and leave behind stands beside it. Then the ground is
restored and another pull must be right. The full form tries every limit of the two sweeps.
"""

import argparse
import contextlib
import ctypes
import fcntl
import itertools
import json
import os
import random
import re
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading

sys.path.append(f"{sys.path[0]}/../support")
from feed_server import FeedServer, response
from memory import PICTURE as PNG

DEADLINE = 120
OLD_ITEMS, NEW_ITEMS = 2, 3
ITEM_TEXT = "A text of some length. " * 200
FEED, PICTURE = "feed", "logo.png"
CANNOT_WRITE = "cache file cannot be written"
CANNOT_READ = "The settings file cannot be read"


class Ground:
    """A base folder with the cache file of a feed of two items, whose server has three by now."""

    def __init__(self, program):
        self.program = program
        self.base = tempfile.mkdtemp(prefix="quillmoria-ground-")
        self.items = OLD_ITEMS
        self.at_fetch = None
        self.padding = 0
        self.server = FeedServer(self._answer)
        self.run()
        self.old = self.read()
        self.items = NEW_ITEMS
        self.run()
        self.new = self.read()
        self.restore()

    def _answer(self, target, _):
        if target == "/" + PICTURE:
            return response(PNG + bytes(self.padding))
        if spoil := self.at_fetch:
            self.at_fetch = None
            spoil()
        items = "".join(f"<item><title>Item {i}</title><link>http://127.0.0.1/{i}</link><description>{ITEM_TEXT}"
                        "</description><pubDate>Sat, 07 Sep 2002 00:00:01 GMT</pubDate></item>"
                        for i in range(self.items))
        return response(('<rdf:RDF xmlns="http://purl.org/rss/1.0/"><channel><title>Feed</title></channel><image><url>'
                         f'{self.server.url("/" + PICTURE)}</url></image>{items}</rdf:RDF>').encode())

    def path(self, *names):
        return os.path.join(self.base, *names)

    @property
    def cache_file(self):
        return self.path("cache", FEED)

    def read(self):
        with open(self.cache_file, "rb") as file:
            return file.read()

    def restore(self):
        """The ground as it was before any case."""
        for name in os.listdir(self.base):
            remove(self.path(name))
        for name in ("cache", "config", "feed_imgs"):
            os.mkdir(self.path(name))
        write(self.cache_file, self.old)
        self.padding = 0

    def run(self, jobs=1, limit=None, json_too=True):
        """The outcome of a pull: exit status (negative: a signal), standard error and the feed as JSON, or {}.

        Without memory the JSON library of the host ends it; without `json_too` only the count of new items is told."""
        command = [self.program, "--base", self.base, "pull", "--online", "--jobs", str(jobs), "--feed",
                   f"{FEED}={self.server.url('/feed')}", *(["--json"] if json_too else [])]
        run = self._start(command, limit)
        told = re.search(r": 3 items, (\d+) new", run.stderr)
        feed = {"newItemCount": int(told[1]) if told else 0}
        if json_too:
            feed = json.loads(run.stdout) if run.stdout.strip() else {}
        errors = "\n".join(line for line in run.stderr.splitlines() if not line.startswith("["))  # those tell progress
        return run.returncode, errors, feed

    def starts(self, limit):
        """Whether the program can be loaded at all."""
        return self._start([self.program, "--version"], limit).returncode == 0

    @staticmethod
    def _start(command, limit):
        def prepare():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            obey_permissions()
            if limit:
                resource.setrlimit(limit[0], (limit[1], limit[1]))
        return subprocess.run(command, capture_output=True, text=True, timeout=DEADLINE, preexec_fn=prepare,
                              restore_signals=False)


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def remove(path):
    if os.path.isdir(path) and not os.path.islink(path):
        for folder, _, _ in os.walk(path):
            os.chmod(folder, 0o700)
        shutil.rmtree(path)
    else:
        os.remove(path)


def obey_permissions():
    """Takes from a process of root, and what it runs, the privilege of ignoring permissions."""
    PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH = 24, 1, 2
    if os.geteuid() == 0:
        for privilege in (CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH):
            if ctypes.CDLL(None).prctl(PR_CAPBSET_DROP, privilege, 0, 0, 0) != 0:
                raise OSError("root keeps the privilege of ignoring permissions")


# How the ground is spoiled. Each takes the ground, and as a context manager undoes what restore() does not.

def at_fetch(spoil):
    """Spoils once the feed is asked for, when the host has made what was missing."""
    @contextlib.contextmanager
    def spoiled(ground):
        with contextlib.ExitStack() as undo:
            ground.at_fetch = lambda: undo.enter_context(as_context(spoil)(ground))
            yield
    return spoiled


def as_context(spoil):
    @contextlib.contextmanager
    def spoiled(ground):
        result = spoil(ground)
        if hasattr(result, "__enter__"):
            with result:
                yield
        else:
            yield
    return spoiled


def kept_aside(folder, make=lambda path: None):
    """The folder stands elsewhere, and what `make` makes in its place."""
    def spoil(ground):
        os.rename(ground.path(folder), ground.path("aside"))
        make(ground.path(folder))
        return back(ground)

    @contextlib.contextmanager
    def back(ground):
        yield
        if os.path.lexists(ground.path(folder)):
            remove(ground.path(folder))
        os.rename(ground.path("aside"), ground.path(folder))
    return spoil


def in_place_of_file(make):
    """The cache file stands elsewhere, and what `make` makes in its place."""
    return lambda ground: (os.rename(ground.cache_file, ground.path("aside")), make(ground.cache_file),
                           back_to_file(ground))[2]


@contextlib.contextmanager
def back_to_file(ground):
    yield
    remove(ground.cache_file)
    os.rename(ground.path("aside"), ground.cache_file)


def make_socket(path):
    with socket.socket(socket.AF_UNIX) as end:
        end.bind(path)


def mode(bits, *names):
    return lambda ground: os.chmod(ground.path(*names), bits)


def content(make, *names):
    def spoil(ground):
        write(ground.path(*names), make(ground))
    return spoil


def huge_settings(ground):
    with open(ground.path("config", "quillmoria.ini"), "wb") as file:
        file.truncate(1 << 30)


@contextlib.contextmanager
def locked(ground):
    with open(ground.cache_file, "rb") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield


@contextlib.contextmanager
def written_meanwhile(ground):
    ends = threading.Event()

    def rewrite():
        while not ends.is_set():
            write(ground.cache_file, ground.old)
    writer = threading.Thread(target=rewrite)
    writer.start()
    yield
    ends.set()
    writer.join()


@contextlib.contextmanager
def full(ground):
    """The cache folder has 4 KiB left: less than the new file takes."""
    with contextlib.ExitStack() as undo:
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k,mode=700", "tmpfs", ground.path("cache")], check=True)
        undo.callback(subprocess.run, ["umount", ground.path("cache")], check=True)
        write(ground.cache_file, ground.old)
        room = os.statvfs(ground.path("cache"))
        write(ground.path("cache", "filler"), bytes((room.f_bavail - 1) * room.f_bsize))
        yield
        os.remove(ground.path("cache", "filler"))
        assert os.listdir(ground.path("cache")) == [FEED], "something is left on the full disk"
        assert ground.read() == ground.old, "a full disk has spoiled the cache file"


def large_picture(ground):
    ground.padding = 1 << 16


def newer_version(ground):
    at = 1 + ground.old[0]
    return ground.old[:at] + b"\x05" + ground.old[at + 1:]


def unspoiled(ground):
    pass


# name; how; limit; then what must be: exit status, what standard error holds, new items (None: whatever the file that
# was found had to say), the cache file and whether there is a picture.
FSIZE = resource.RLIMIT_FSIZE
CASES = [
    ("nothing is spoiled", unspoiled, None, 0, "", 1, "new", True),
    ("no cache folder", at_fetch(kept_aside("cache")), None, 1, CANNOT_WRITE, 3, "old", True),
    ("no picture folder", at_fetch(kept_aside("feed_imgs")), None, 0, "unhandled exception", 1, "new", False),
    ("no settings folder", at_fetch(kept_aside("config")), None, 0, "", 1, "new", True),
    ("a read-only cache folder", mode(0o500, "cache"), None, 1, CANNOT_WRITE, 1, "old", True),
    ("a read-only picture folder", mode(0o500, "feed_imgs"), None, 0, "unhandled exception", 1, "new", False),
    ("a locked-up cache folder", mode(0, "cache"), None, 1, CANNOT_WRITE, 3, "old", True),
    ("a locked-up settings folder", mode(0, "config"), None, 1, CANNOT_READ, 0, "old", False),
    ("a read-only base folder", mode(0o500), None, 0, "", 1, "new", True),
    ("a full disk", full, None, 1, CANNOT_WRITE, 1, "old", True),
    ("a disk full within the cache file", unspoiled, (FSIZE, 6000), 1, CANNOT_WRITE, 1, "old", True),
    ("a disk full within the picture", large_picture, (FSIZE, 40000), 0, "unhandled exception", 1, "new", False),
    ("a disk full before the first byte", unspoiled, (FSIZE, 0), 1, CANNOT_WRITE, 1, "old", False),
    ("a file for a cache folder", at_fetch(kept_aside("cache", lambda path: write(path, b""))), None, 1, CANNOT_WRITE,
     3, "old", True),
    ("a FIFO for a cache folder", at_fetch(kept_aside("cache", os.mkfifo)), None, 1, CANNOT_WRITE, 3, "old", True),
    ("a FIFO for a picture folder", at_fetch(kept_aside("feed_imgs", os.mkfifo)), None, 0, "unhandled exception", 1,
     "new", False),
    ("a dangling link for a cache folder", at_fetch(kept_aside("cache", lambda path: os.symlink("nowhere", path))),
     None, 1, CANNOT_WRITE, 3, "old", True),
    ("a link to the cache folder", at_fetch(kept_aside("cache", lambda path: os.symlink("aside", path))), None, 0, "",
     1, "new", True),
    ("a folder for a cache file", in_place_of_file(os.mkdir), None, 1, CANNOT_WRITE, 3, "old", True),
    ("a FIFO for a cache file", in_place_of_file(os.mkfifo), None, 1, CANNOT_WRITE, 3, "old", True),
    ("a socket for a cache file", in_place_of_file(make_socket), None, 1, CANNOT_WRITE, 3, "old", True),
    ("a link for a cache file", in_place_of_file(lambda path: os.symlink("../aside", path)), None, 1, CANNOT_WRITE, 3,
     "old", True),
    ("a cache file that may not be read", mode(0, "cache", FEED), None, 1, CANNOT_WRITE, 3, "old", True),
    ("a cache file that may not be written", mode(0o400, "cache", FEED), None, 1, CANNOT_WRITE, 1, "old", True),
    ("a cache file that another process has locked", locked, None, 1, CANNOT_WRITE, 1, "old", True),
    ("a cache file that another process writes", written_meanwhile, None, None, "", None, None, True),
    ("a cache file of a newer version", content(newer_version, "cache", FEED), None, 0, "", None, "new", True),
    ("a cache file of no bytes", content(lambda ground: b"", "cache", FEED), None, 0, "", 3, "new", True),
    ("half a cache file", content(lambda ground: ground.old[:len(ground.old) // 2], "cache", FEED), None, 0, "", 3,
     "new", True),
    ("a cache file of random bytes", content(lambda ground: random.Random(1).randbytes(5000), "cache", FEED), None, 0,
     "", 3, "new", True),
    ("settings that may not be read", lambda ground: (write(ground.path("config", "quillmoria.ini"), b"[Proxy]\n"),
                                                      mode(0, "config", "quillmoria.ini")(ground))[1],
     None, 1, CANNOT_READ, 0, "old", False),
    ("settings of a gigabyte", huge_settings, None, 1, CANNOT_READ, 0, "old", False),
    ("settings of random bytes", content(lambda ground: b"\xff" + random.Random(2).randbytes(100000), "config",
                                         "quillmoria.ini"), None, 0, "Failing on char -1", 1, "new", True),
    ("a FIFO for settings", lambda ground: os.mkfifo(ground.path("config", "quillmoria.ini")), None, 1, CANNOT_READ, 0,
     "old", False),
]


def differences(ground, case, outcome):
    _, _, _, status, said, new_items, file, picture = case
    exit_status, errors, feed = outcome
    expected = (CANNOT_READ, -1) if said == CANNOT_READ else ("OK", NEW_ITEMS)
    checks = {
        f"ended with {exit_status}": exit_status in ((0, 1) if status is None else (status,)),
        f"said {errors.strip()!r}": said in errors and (said or status is None or not errors.strip()),
        f"status {feed.get('status')!r}": (feed.get("status"), feed.get("itemCount")) == expected,
        f"{feed.get('newItemCount')} new": new_items is None or feed.get("newItemCount") == new_items,
        f"picture {feed.get('picture')}": bool(feed.get("picture")) == picture,
        "a file is left over": os.listdir(ground.path("cache")) == [FEED],
        f"the cache file is not {file}": file is None or ground.read() == getattr(ground, file),
    }
    return [name for name, holds in checks.items() if not holds]


def try_case(ground, case):
    name, spoil, limit = case[:3]
    ground.restore()
    with as_context(spoil)(ground):
        outcome = ground.run(limit=limit)
    ground.at_fetch = None
    for folder in ("cache", "feed_imgs", "config"):
        os.chmod(ground.path(folder), 0o700)
    os.chmod(ground.base, 0o700)
    os.chmod(ground.cache_file, 0o600)
    wrong = differences(ground, case, outcome)
    for path in ("config/quillmoria.ini", "feed_imgs/" + PICTURE):
        with contextlib.suppress(FileNotFoundError):
            os.remove(ground.path(path))
    ground.padding = 0
    expected = 0 if ground.read() == ground.new else 1 if ground.read() == ground.old else None
    again = ("", None, None, 0, "", expected, "new", True)
    wrong += ["afterwards: " + what for what in differences(ground, again, ground.run())]
    return wrong


def sweep(ground, name, kind, limits, json_too):
    """Pulls under rising limits, from where the program can be loaded, until three in a row are right; nothing but a
    failure may come of one before."""
    faults = []
    for jobs in (1, 8):
        outcomes = {}
        right = 0
        for limit in itertools.dropwhile(lambda limit: not ground.starts((kind, limit)), limits):
            ground.restore()
            exit_status, errors, feed = ground.run(jobs=jobs, limit=(kind, limit), json_too=json_too)
            outcomes[exit_status] = outcomes.get(exit_status, 0) + 1
            told = feed.get("newItemCount", 0)
            ground_file = ground.read()
            wrong = []
            if exit_status < 0:
                wrong.append(f"ended by signal {-exit_status}")
            if ground_file not in (ground.old, ground.new) or os.listdir(ground.path("cache")) != [FEED]:
                wrong.append("the cache is neither old nor new")
            if told > 1 or (ground_file == ground.new and told != 1):
                wrong.append(f"told of {told} new items")
            if exit_status == 0 and ground_file != ground.new:
                wrong.append("not stored")
            faults += [f"{name}, jobs {jobs}, {limit}: {what}; {errors.strip()[-300:]}" for what in wrong]
            right = right + 1 if exit_status == 0 and feed.get("picture", not json_too) else 0
            if right == 3:
                break
        else:
            faults.append(f"{name}, jobs {jobs}: never enough")
        print(f"{name}, jobs {jobs}: right from {limit}; pulls by exit status {outcomes}", flush=True)
    return faults


def can_mount():
    with tempfile.TemporaryDirectory() as folder:
        mount = subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], capture_output=True)
        return mount.returncode == 0 and subprocess.run(["umount", folder]).returncode == 0


def main():
    options = argparse.ArgumentParser()
    options.add_argument("program")
    options.add_argument("--full", action="store_true")
    options = options.parse_args()
    mounts = can_mount()
    print("permissions hold for", "root too, without its privilege" if os.geteuid() == 0 else "this user",
          "; full disk:", "a small file system" if mounts else "a limit on file sizes alone", flush=True)
    ground = Ground(options.program)
    faults = []
    tried = 0
    try:
        for case in CASES:
            if case[1] is full and not mounts:
                continue
            tried += 1
            faults += [f"{case[0]}: {what}" for what in try_case(ground, case)]
        print(f"{tried} cases tried", flush=True)
        step = 1 if options.full else 3
        faults += sweep(ground, "descriptors", resource.RLIMIT_NOFILE, range(3, 200, step), True)
        mib = 1 << 20
        step = mib // 4 if options.full else 8 * mib
        faults += sweep(ground, "address space", resource.RLIMIT_AS, range(16 * mib, 4096 * mib, step), False)
    finally:
        remove(ground.base)
    print("\n".join(faults) or "no faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
