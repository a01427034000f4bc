#!/usr/bin/env python3
"""Ends a host, kills it, or unloads the library, at every call of a pull of ten feeds, at random moments in between,
and while a thread of the host's own is in a fetch.

Each way of ending (dlclose, return from main, exit, quick_exit, _exit, exit of a forked child) comes from within the
callback, from another thread and from main's, with one and with eight feeds fetched at once, over http and https. Under
a host's own fetch the server is well, silent, slow, does not go on with the TLS handshake, or has a name that no name
server tells. The host must end well and soon, and leave each feed whole: as it was kept before, or as it is now.

After a kill there may be files on the way of being written, which the next pull replaces; and that pull counts exactly
the items as new that are not in what survived.
"""

import contextlib
import itertools
import pathlib
import random
import re
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
from typing import NamedTuple

sys.path.append(f"{sys.path[0]}/../support")
from attacks import (PICTURE, Fault, arguments, attack, base_folder, environment, feed, pull_command, run,
                     silent_name_server, stored_feeds, stored_files)
from feed_server import HOLD, FeedServer, Forever, make_certificates, response, tls_context

FEEDS = "0123456789"
CALLS = 34  # 1, 12, three for each feed, 13, 3
HOWS = [(how, where) for how in ("close", "leave", "exit", "quick_exit", "_exit", "fork")
        for where in ("callback", "thread", "main") if how != "leave" or where == "main"]
SERVERS = ("silent http", "silent https", "silent https without TLS", "slow http", "slow https", "well http",
           "well https")
UNNAMED = "silent http of a name never told"
ANSWERS = {"silent": [HOLD], "slow": [b"HTTP/1.1 200 OK\r\n\r\n", Forever(b"<rss>", 0.005)], "well": response(PICTURE)}
STARTS = {"a": 0, "b": 10, "c": 10}  # where the items of each edition begin; the last two differ in their date alone
LARGE_PICTURE = PICTURE + bytes(30000)


class End(NamedTuple):
    how: str
    what: str  # a thread of the host's own fetches (a list, a feed, a picture), or where it ends during a pull
    server: str
    microseconds: int
    pull: tuple = ()  # how many feeds at once, and after which call
    editions: str = "ab"  # that are in the cache and on the server

    @property
    def name(self):
        return " ".join(map(str, self))

    def attempt(self):
        begun, beginning = socket.socketpair()  # tells the host that its fetch has begun

        def tell(*_):
            beginning.send(b".")
            return ANSWERS[self.server.split()[0]]
        scheme = self.server.split()[1]
        server = site if self.pull else FeedServer(tell, None if "without" in self.server else context)
        is_named = self.server != UNNAMED
        with begun, beginning, base_folder() as base, (
                contextlib.nullcontext(()) if is_named else silent_name_server()) as before:
            for path, content in files[scheme, self.editions[0]].items():
                (base / path).write_bytes(content)
            if options.profile == "modern":
                self.readdress(base / "archive.sqlite")
            url = server.url(f"/{scheme}/{self.editions[1]}/", scheme) if is_named else "http://silent.example/"
            result = run([*before, options.host, options.library, base, url, self.how, self.microseconds, self.what,
                          *self.pull], 30, env=trusting, stdin=begun if is_named else subprocess.DEVNULL)
            if result.status != (-signal.SIGKILL if self.how == "kill" else 0) or "Sanitizer" in result.errors:
                raise Fault(f"exit status {result.status}: {result.errors[:5000]}")
            took = result.ended - float(result.output.split()[0])
            faults = [f"ends {took:.1f} s later"] if took > options.within * (1 + 3 * options.sanitized) else []
            told = f"{took:.2f} s" + ", within a file" * any(base.glob("*/*.qmu"))
            return told, [*faults, *self.faults_of(base, scheme)]

    def readdress(self, path):
        """An edition has addresses of its own, by which an archive knows feeds."""
        with contextlib.closing(sqlite3.connect(path)) as archive, archive:
            for table in ("feeds", "addresses"):
                archive.execute(f"UPDATE {table} SET url = replace(url, ?, ?)", [f"/{name}/" for name in self.editions])

    def faults_of(self, base, scheme):
        old, new = (whole[scheme, edition] for edition in self.editions)
        unfinished = [path for path in base.glob("*/*.qmu")]
        stored = {name: kept for name, kept in stored_feeds(base).items() if not name.endswith(".qmu")}
        if unfinished and self.pull and self.how in ("leave", "close"):
            yield f"{unfinished} are left"
        if not all(stored.get(name) in (old[name], new[name]) for name in FEEDS) or len(stored) != len(FEEDS):
            yield "a feed is neither old nor new"
        for path in set(base.glob("feed_imgs/*")) - set(unfinished) if self.pull else ():
            if path.read_bytes() != LARGE_PICTURE:
                yield f"{path.name} is incomplete"
        if self.how == "kill":
            start = {edition: STARTS[edition] for edition in self.editions}
            fresh = abs(start[self.editions[1]] - start[self.editions[0]])
            expected = [(name, str(fresh if stored[name] == old[name] else 0)) for name in FEEDS]
            if pull(base, scheme, self.editions[1]) != (expected, new):
                yield "the next pull is wrong"


def pull(base, scheme, edition):
    """What a whole pull tells of each feed's new items, and leaves of them."""
    feeds = {name: site.url(f"/{scheme}/{edition}/{name}", scheme) for name in FEEDS}
    result = run(pull_command(options.program, base, feeds), env=trusting)
    told = sorted(re.findall(r"\] (\d): 150 items, (\d+) new", result.errors))
    return told, stored_feeds(base)


def cases():
    pulls = list(itertools.product(SERVERS[-2:], (1, 8)))
    at_calls = [End(*how, server, 0, (jobs, call)) for how, (server, jobs), call in itertools.product(
        HOWS, pulls, range(1, CALLS + 1))]
    yield from at_calls[::options.every]
    for how in HOWS * options.random * 2 + [("kill", "main")] * options.kills:
        server, jobs = chance.choice(pulls)
        editions = chance.choice(["ab", "bc", "ca"])
        yield End(*how, server, chance.randint(1, 15000), (jobs, chance.randint(1, CALLS)), editions)
    for what, number in itertools.product(("list", "feed", "picture"), range(options.exits + options.unloads)):
        how = "close" if number >= options.exits else chance.choice(("leave", "exit"))
        # A thread whose fetch may have come to its end has no right to the library any more once that is let go of.
        servers = SERVERS[:-2] if how == "close" else SERVERS
        yield End(how, what, servers[number % len(servers)], round(10 ** chance.uniform(2, 5)))
    for how, (what, *more) in itertools.product(("leave", "exit", "close"), (["list"], ["main", 1, 3], ["main", 8, 3])):
        yield End(how, what, UNNAMED, 100_000, more)


def answer(target, _):
    time.sleep(0.002)  # so that there are moments to hit in each fetch
    if target.endswith("png"):
        return response(LARGE_PICTURE)
    _, scheme, edition, name = target.split("/")
    start = STARTS[edition]
    return response(feed(name, range(start, start + 150), site.url(f"/{name}.png", scheme), 1 + "abc".index(edition)))


if __name__ == "__main__":
    options = arguments(__doc__, "program", "host", "library", every=1, random=40, kills=500, exits=1000, unloads=200,
                        within=1.5, seed=1)
    chance = random.Random(options.seed)
    with tempfile.TemporaryDirectory() as folder:
        certificates = pathlib.Path(folder)
        make_certificates(certificates)
        trusting = environment(SSL_CERT_FILE=str(certificates / "ca.pem"))
        context = tls_context(certificates / "server.pem")
        site = FeedServer(answer, context)
        whole, files = {}, {}
        for scheme, edition in itertools.product(("http", "https"), STARTS):
            with base_folder() as base:
                whole[scheme, edition] = pull(base, scheme, edition)[1]
                files[scheme, edition] = stored_files(base)
        attack(options, list(cases()), lambda case: case.attempt(), 2)
