#!/usr/bin/env python3
"""Ends a host, or unloads the library, at every call of a pull of ten feeds and at random moments in between.

Each way of ending (dlclose, return from main, exit, quick_exit, _exit, exit of a forked child), from within the callback,
from another thread and from main's, with one and with eight feeds fetched at once. The host must end well and soon, and
leave whole files.
"""

import argparse
import concurrent.futures
import itertools
import pathlib
import random
import subprocess
import sys
import tempfile
import time

sys.path.append(f"{sys.path[0]}/../support")
from feed_server import FeedServer, response
from kills import CacheFile, bitmap

CALLS = 34  # 1, 12, three for each feed, 13, 3
ENDS = [(how, where) for how in ("close", "leave", "exit", "quick_exit", "_exit", "fork")
        for where in ("callback", "thread", "main") if how != "leave" or where == "main"]
ITEMS = "".join(f"<item><title>{n}</title><link>http://example.org/{n}</link></item>" for n in range(300))
BITMAP = bitmap()


def answer(target, _):
    time.sleep(0.002)  # so that there are moments to hit in each fetch
    if target.endswith("bmp"):
        return response(BITMAP)
    picture = SERVER.url(target + ".bmp")
    return response(f"<rss><channel><image><url>{picture}</url></image>{ITEMS}</channel></rss>".encode())


SERVER = FeedServer(answer)


def attempt(host, library, how, where, jobs, call, microseconds):
    """What went wrong, or nothing."""
    with tempfile.TemporaryDirectory(prefix="quillmoria-") as base:
        for folder in ("cache", "config", "feed_imgs"):
            (pathlib.Path(base) / folder).mkdir()
        command = [host, how, library, base, SERVER.url("/"), where, str(jobs), str(call), str(microseconds)]
        what = f"{how} in {where}, {jobs} at once, {microseconds} us after call {call}"
        try:
            run = subprocess.run(command, timeout=120, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        except subprocess.TimeoutExpired:
            return what + ": hangs"
        if run.returncode != 0:
            return f"{what}: exit status {run.returncode}\n{run.stdout.decode(errors='replace')}"
        for path in pathlib.Path(base).glob("*/*"):
            if path.name[0] == ":":
                if how in ("leave", "close"):
                    return f"{what}: {path.name} is left"
            elif path.parent.name == "cache":
                if len(CacheFile(path.read_bytes()).items) != 300:
                    return f"{what}: {path.name} is incomplete"
            elif path.read_bytes() != BITMAP:
                return f"{what}: the picture {path.name} is incomplete"
    return None


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("host", help="module_host")
    arguments.add_argument("library")
    arguments.add_argument("--every", type=int, default=1, help="take one row in so many")
    arguments.add_argument("--random", type=int, default=40, help="random moments for each way of ending")
    arguments.add_argument("--seed", type=int, default=1)
    options = arguments.parse_args()
    print(f"seed {options.seed}", flush=True)
    chance = random.Random(options.seed)
    rows = [(*end, jobs, call, 0) for end, jobs, call in itertools.product(ENDS, (1, 8), range(1, CALLS + 1))]
    rows = rows[::options.every]
    for end, jobs, _ in itertools.product(ENDS, (1, 8), range(options.random)):
        rows.append((*end, jobs, chance.randint(1, CALLS), chance.randint(1, 15000)))
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        failures = list(filter(None, pool.map(lambda row: attempt(options.host, options.library, *row), rows)))
    print(f"{len(rows)} ends, {len(failures)} went wrong", *failures[:20], sep="\n")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
