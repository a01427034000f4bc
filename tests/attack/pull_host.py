"""The program pull_host (see pull_host.cpp), for the scripts of this folder."""

import os
import subprocess


class Fault(Exception):
    pass


class PullHost:
    """Works in `base`, whose folders it makes; `feeds` are addresses by name."""

    def __init__(self, program, base, jobs, feeds, exempt="nothing"):
        for folder in ("cache", "config", "feed_imgs"):
            os.makedirs(os.path.join(base, folder), exist_ok=True)
        self._process = subprocess.Popen([program, base, str(jobs), exempt, *map("=".join, feeds.items())],
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                         text=True)

    def say(self, *lines):
        try:
            self._process.stdin.write("\n".join(lines) + "\n")
            self._process.stdin.flush()
        except BrokenPipeError:
            pass  # which the next answer tells

    def ask(self, line):
        """What it tells, by name. It prints other things, too."""
        self.say(line)
        for answer in self._process.stdout:
            if answer.startswith("= "):
                told = dict(word.split("=") for word in answer.split()[1:])
                return {name: value if name == "news" else int(value) for name, value in told.items()}
        raise Fault(f"ended with status {self._process.wait()}")

    def __enter__(self):
        return self

    def __exit__(self, fault, *_):
        """Ends it by its returning from main, or at once where something has gone wrong."""
        with self._process as process:
            if fault:
                process.kill()
                return
            process.stdin.close()
            process.stdout.read()
        if process.returncode != 0:
            raise Fault(f"ended with status {process.returncode}")
