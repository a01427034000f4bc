#!/usr/bin/env python3
"""Lets memory run out at each allocation of a pull of two feeds with a picture; see memory_host.cpp.

    memory.py PROGRAM MEMORY_HOST [--step K] [--exempt LIBRARY]

What LIBRARY allocates never fails, for it ends the process then.

Of the long sequences every K-th allocation is tried, starting at another one in each. The full form is --step 1.
"""

import argparse
import base64
import os
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

from feed_server import FeedServer, response

PICTURE = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAMAAAACCAYAAACddGYaAAAABHNCSVQICAgIfAhkiAAAABRJREFUCJljPKGh8Z8BCpgYEIARADEZ"
                           "AhxoVkWtAAAAAElFTkSuQmCC")
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
        pull += [word for name in ("one", "two") for word in ("--feed", f"{name}={server.url('/' + name)}")]
        for items, kept in ((2, "old"), (3, "new")):
            subprocess.run(pull, check=True, stdout=subprocess.DEVNULL)
            shutil.copytree(os.path.join(base, "cache"), os.path.join(base, kept))

        def attack(number):
            failing, history, jobs, rarer = SEQUENCES[number]
            own = os.path.join(base, str(number))
            for folder in ("cache", "config", "feed_imgs"):
                os.makedirs(os.path.join(own, folder))
            for kept in ("old", "new"):
                shutil.copytree(os.path.join(base, kept), os.path.join(own, kept))
            step = options.step * rarer if options.step > 1 and rarer else 1
            start = time.monotonic()
            run = subprocess.run([options.host, own, server.url(""), failing, history, str(jobs),
                                  str(1 + number % step), str(step), options.exempt],
                                 stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
            told = [line for line in run.stdout.splitlines() if line != "unhandled exception"]
            print(f"{failing} failing, {history}, jobs {jobs}, step {step}: {chr(10).join(told)} "
                  f"in {time.monotonic() - start:.1f} s", flush=True)
            return run.returncode

        with ThreadPoolExecutor(len(SEQUENCES)) as pool:
            faults = sum(code != 0 for code in pool.map(attack, range(len(SEQUENCES))))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
