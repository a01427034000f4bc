#!/usr/bin/env python3
"""Has a host load and unload the library a hundred times, unused and used, and compare what it holds.

    loads.py MODULE_HOST LIBRARY
"""

import os
import pathlib
import subprocess
import sys
import tempfile

sys.path.append(f"{sys.path[0]}/../support")
from feed_server import FeedServer, response

FEED = b"<rss><channel><item><link>http://example.org/</link></item></channel></rss>"


def main():
    host, library = sys.argv[1:]
    requests = []
    server = FeedServer(lambda target, _: requests.append(target) or response(FEED))
    # What the allocator's caches hold would count as in use.
    environment = dict(os.environ, GLIBC_TUNABLES="glibc.malloc.tcache_count=0")
    for mode, fetches in (("unused", 0), ("used", 100)):
        with tempfile.TemporaryDirectory(prefix="quillmoria-") as base:
            for folder in ("cache", "config", "feed_imgs"):
                (pathlib.Path(base) / folder).mkdir()
            subprocess.run([host, mode, library, base, server.url("/feed")], env=environment, check=True, timeout=300)
        assert len(requests) == fetches, f"{len(requests)} fetches"


if __name__ == "__main__":
    main()
