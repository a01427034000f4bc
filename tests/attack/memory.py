#!/usr/bin/env python3
"""Lets memory run out at each allocation of a pull of two feeds with a picture and of the read of a list.

In a process each, the n-th allocation (or all from it on) fails, for one n after the other until none is reached. Then
the next pull must be right, whatever came of the first. Where there are four such pulls, they follow one that went
well, and must not grow. With threads, it is the n-th thread and all from it on that cannot be started.

Of the long sequences every step-th allocation is tried, starting at another one in each. The full form has steps of 1.
"""

import collections
import itertools
import sys

sys.path.append(f"{sys.path[0]}/../support")
from attacks import (LIST, PICTURE, Fault, arguments, attack, base_folder, environment, feed, pull_command, run,
                     stored_feeds, stored_files)
from feed_server import FeedServer, response

# How much rarer a sequence's tries are than every step-th comes last.
Case = collections.namedtuple("Case", "name failing jobs rounds rarer")
CASES = [Case(f"{failing} failing, {jobs} at once, {rounds} times", failing, jobs, rounds, rarer)
         for failing in ("one", "all", "threads") for jobs in (1, 8) for rounds, rarer in ((1, 8), (4, 2))]


def answer(target, head):
    if target == "/list":
        return response(LIST)
    name, tag = target[1:], f'"{items}"'
    if f"If-None-Match: {tag}" in head:
        return response(b"", "304 Not Modified", ["ETag: " + tag])
    body = PICTURE if name.endswith("png") else feed(name, range(90, 90 + items), server.url(f"/{name}.png"))
    return response(body, headers=["ETag: " + tag])


def attempt(case):
    step = 1 if options.step == 1 or case.failing == "threads" else options.step * case.rarer
    first = 1 if case.failing == "all" else 1 + CASES.index(case) % step  # no memory at all is always a case
    for n in itertools.count(first, step):
        with base_folder() as base:
            (base / "old" / "cache").mkdir(parents=True)
            for path, content in old.items():
                for kept in (base / path, base / "old" / path):
                    kept.write_bytes(content)
            command = [options.host, options.library, base, server.url("/"), "short", case.jobs, case.failing, n,
                       case.rounds]
            # Loaded from the start: the C library ends a process without memory for what a later load has a thread.
            result = run(command, env=environment(LD_PRELOAD=options.library))
            feeds = stored_feeds(base)
        if result.status not in (0, 2) or feeds != new:
            raise Fault(f"{n}: exit status {result.status}: {result.errors}")
        if result.status == 2:
            return f"up to {n}", []


if __name__ == "__main__":
    options = arguments(__doc__, "program", "host", "library", step=1)
    server = FeedServer(answer)
    with base_folder() as base:
        pull = pull_command(options.program, base, {name: server.url("/" + name) for name in "01"})
        for items in (2, 3):
            run(pull)
            if items == 2:
                old = stored_files(base)
        new = stored_feeds(base)
        attack(options, CASES, attempt, len(CASES))
