"""What the scripts of tests/attack share: their arguments, the cases they try, the runs of programs they look at."""

import argparse
import collections
import contextlib
import functools
import itertools
import os
import pathlib
import random
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
from concurrent.futures import ThreadPoolExecutor

subprocess._USE_VFORK = False  # a program's peak memory would begin with the peak of this process
MIB = 1 << 20
FOLDERS = ("cache", "config", "feed_imgs")
LIST = b"<opml version='1.1'><body><outline text='A list'><outline xmlUrl='http://127.0.0.1/'/></outline></body></opml>"
PICTURE = (pathlib.Path(__file__).parent.parent / "samples" / "images" / "red.png").read_bytes()


class Fault(Exception):
    pass


class NotRun(Exception):
    """The system does not allow it."""


def arguments(doc, *programs, **numbers):
    """The script's arguments: its programs, what all scripts take, and numbers with their defaults."""
    parser = argparse.ArgumentParser(description=doc, formatter_class=argparse.RawDescriptionHelpFormatter)
    for program in programs:
        parser.add_argument(program)
    parser.add_argument("--full", action="store_true", help="the long form")
    parser.add_argument("--sanitized", action="store_true", help="without bounds of memory, and with more time to end")
    parser.add_argument("--only", default="", metavar="TEXT", help="the cases whose name contains TEXT")
    parser.add_argument("--profile", choices=("classic", "modern"), default="classic")
    for name, default in numbers.items():
        parser.add_argument("--" + name, type=type(default), default=default, help=f"{default} if not given")
    options = parser.parse_args()
    os.environ["QUILLMORIA_PROFILE"] = options.profile
    return options


def attack(options, cases, attempt, workers=1):
    """Tries the cases, which have names, and exits with 1 where one has a fault. `attempt(case)` returns what came of
    it, for the reader, and the faults, or raises the only one."""
    def outcome(case):
        try:
            return attempt(case)
        except Fault as fault:
            return "", [str(fault)]
        except NotRun as reason:
            return f"not run: {reason}", []

    chosen = [case for case in cases if options.only in case.name]
    failed = not_run = 0
    with ThreadPoolExecutor(workers) as pool:
        for case, (told, faults) in zip(chosen, pool.map(outcome, chosen)):
            faults = list(faults)
            print(f"{case.name}: {told}", *("FAULT: " + fault for fault in faults), sep="\n  ", flush=True)
            failed += bool(faults)
            not_run += told.startswith("not run")
    print(f"{len(chosen)} cases, {failed} with faults, {not_run} not run")
    sys.exit(1 if failed or not chosen else 0)


@contextlib.contextmanager
def base_folder():
    with tempfile.TemporaryDirectory(prefix="quillmoria-") as name:
        for folder in FOLDERS:
            (pathlib.Path(name) / folder).mkdir()
        yield pathlib.Path(name)


def stored_files(base):
    """The files in which the profile keeps feeds below the base folder, as bytes by path."""
    pattern = "archive.sqlite" if os.environ["QUILLMORIA_PROFILE"] == "modern" else "cache/*"
    return {path.relative_to(base): path.read_bytes() for path in base.glob(pattern)}


def stored_feeds(base):
    """What is kept of each feed's last document, by its name; an archive must be whole."""
    if os.environ["QUILLMORIA_PROFILE"] != "modern":
        return {path.name: content for path, content in stored_files(base).items()}
    with contextlib.closing(sqlite3.connect(base / "archive.sqlite")) as archive:
        wrong = [text for text, in archive.execute("PRAGMA integrity_check")]
        if wrong != ["ok"]:
            raise Fault(f"the archive is damaged: {wrong}")
        rows = archive.execute(
            "SELECT name, date, guid, items.link, items.title, published, plain FROM feeds JOIN items ON feed = feeds.id "
            "JOIN texts ON item = moment WHERE place IS NOT NULL ORDER BY name, place")
        return {name: list(items) for name, items in itertools.groupby(rows, lambda row: row[0])}


@functools.cache
def feed(name, items, picture="", day=7):
    """A document of the items that `items` counts. All its dates are its own, so that a cache file is the same whenever
    it is written."""
    parts = [f"<rss><channel><title>A feed named {name}</title><dc:date>2002-09-{day:02}T00:00:00Z</dc:date>"
             f"<image><url>{picture}</url></image>"]
    for i in items:
        parts.append(f"<item><title>Item {i} of {name} – é</title><guid>{name}#{i}</guid><link>http://example.org/{i}"
                     f"</link><description>{'A text of some length. ' * (i % 100)}{i}</description>"
                     "<pubDate>Sat, 07 Sep 2002 00:00:01 GMT</pubDate></item>")
    return "".join(parts + ["</channel></rss>"]).encode()


def pull_command(program, base, feeds, *more):
    """A pull of the feeds, addresses by name, from the network."""
    return [program, "--base", base, "pull", "--online", *map("--feed={0[0]}={0[1]}".format, feeds.items()), *more]


@contextlib.contextmanager
def silent_name_server():
    """What goes before a command to have it ask a server for names that never answers. Takes the right to mount, and a
    port for the privileged."""
    address = f"127.{random.randrange(1, 255)}.{random.randrange(255)}.53"
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as server, tempfile.NamedTemporaryFile("w") as settings:
        settings.write(f"nameserver {address}\noptions timeout:30 attempts:5\n")
        settings.flush()
        before = ["unshare", "--mount", "sh", "-c", f'mount --bind {settings.name} /etc/resolv.conf && exec "$0" "$@"']
        try:
            server.bind((address, 53))
            subprocess.run([*before, "true"], check=True, capture_output=True)
        except (OSError, subprocess.CalledProcessError) as error:
            raise NotRun(f"no name server of our own: {error}") from None
        yield before


# Of a program: its status, negative for a signal and None where it had to be killed; what it has printed; the CPU's
# seconds; its peak in MiB, or that of this process where that is more; when it ended, by time.monotonic; seconds in all.
Run = collections.namedtuple("Run", "status output errors cpu peak ended seconds")


def environment(**more):
    return dict(os.environ, LC_ALL="C.UTF-8", TZ="UTC", QUILLMORIA_OFFLINE="0", **more)


def run(command, deadline=120, **how):
    """Runs the program to its end."""
    how = {"stdin": subprocess.DEVNULL, "env": environment(), **how}
    began = time.monotonic()
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
        process = subprocess.Popen(list(map(str, command)), **how, stdout=output, stderr=errors)
        killer = threading.Timer(deadline, process.kill)
        killer.start()
        _, status, usage = os.wait4(process.pid, 0)
        ended = time.monotonic()
        killer.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        texts = [(file.seek(0), file.read().decode(errors="replace"))[1] for file in (output, errors)]
    was_killed = process.returncode == -signal.SIGKILL and ended - began >= deadline
    return Run(None if was_killed else process.returncode, *texts, usage.ru_utime + usage.ru_stime,
               usage.ru_maxrss / 1024, ended, ended - began)
