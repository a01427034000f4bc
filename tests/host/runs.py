#!/usr/bin/env python3
"""Runs the program and compares what it says and leaves with what it should.

    runs.py PROGRAM [TEST …]

In commands and samples "@FILES" stands for the folder of the test's files and "@SERVER" for the server's address.
"""

import fcntl
import os
import pathlib
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time
import unittest

SAMPLES = pathlib.Path(__file__).parent.parent / "samples"
sys.path.insert(0, str(SAMPLES.parent / "attack"))
from feed_server import FeedServer, response

PROGRAM = os.path.abspath(sys.argv.pop(1))
TIMEOUT = 120

# "reader~~secret`." and "reader~~guess`..", enciphered by OpenSSL
KNOWN, GUESS = "70E74277DFE5C69B7CC15DAB36F6A6F0", "70E74277DFE5C69B79D6FCF1B7855B61"


def sample(name):
    return (SAMPLES / "host" / name).read_bytes()


def shown_on_terminal(width, command, environment):
    """What the command writes to a terminal of that width as its standard error, up to 4 KiB."""
    ours, terminal = os.openpty()
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=terminal, timeout=TIMEOUT, env=environment)
    os.close(terminal)
    shown = os.read(ours, 4096)
    os.close(ours)
    return shown


def tinyproxy(folder):
    """A proxy that knows the user "reader" with the password "secret" alone, and its port."""
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    settings = folder / "tinyproxy.conf"
    settings.write_text("Listen 127.0.0.1\nBasicAuth reader secret\nDisableViaHeader Yes\n"
                        f"Port {port}\nLogFile \"{folder}/log\"\n")
    process = subprocess.Popen(["tinyproxy", "-d", "-c", settings], stdout=subprocess.DEVNULL)
    for _ in range(400):
        with socket.socket() as client:
            if client.connect_ex(("127.0.0.1", port)) == 0:
                break
        time.sleep(0.05)
    return process, port


class Program(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quillmoria-")
        self.addCleanup(folder.cleanup)
        self.files = pathlib.Path(folder.name)
        self.base = self.files / "data" / "quillmoria"
        self.requests = []
        self.pages = {}  # by target: the body, or a function of the request's head that gives the response
        self.server = FeedServer(self.answer)
        for name in ("one.atom", "two.atom", "controls.atom", "places.opml"):
            self.pages["/" + name] = self.filled(sample(name))
        self.environment = dict(os.environb)
        self.environment.update({b"XDG_DATA_HOME": os.fsencode(self.base.parent), b"TZ": b"UTC", b"TERM": b"xterm"})

    def answer(self, target, head):
        self.requests.append(target)
        page = self.pages.get(target)
        if page is None:
            return response(b"", "404 Not Found")
        return page(head) if callable(page) else response(page)

    def filled(self, text):
        for mark, value in ((b"@FILES", bytes(self.files)), (b"@SERVER", self.server.url("").encode())):
            text = text.replace(mark, value)
        return text

    def command(self, words):
        return [PROGRAM, *self.filled(words if isinstance(words, bytes) else words.encode()).split()]

    def run_program(self, words):
        """The status, standard output and standard error."""
        run = subprocess.run(self.command(words), capture_output=True, timeout=TIMEOUT, env=self.environment)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def output(self, words):
        return self.run_program(words)[1]

    def test_lists_new_items_once_and_reads_them_from_the_cache_offline(self):
        def pull(state):
            return self.output("pull --category Tech --feed A=@SERVER/two.atom " + state)
        self.assertEqual(pull("--online"),
                         "Tech\n  A: 2 items, 2 new\n  * 2026-01-01 10:00  One\n  * 2026-01-02 10:00  Two words\n"
                         "1 of 1 feeds: 2 items, 2 new, 0 failed\n")
        seen = ("Tech\n  A: 2 items, 0 new\n    2026-01-01 10:00  One\n    2026-01-02 10:00  Two words\n"
                "1 of 1 feeds: 2 items, 0 new, 0 failed\n")
        self.assertEqual(pull("--online"), seen)
        self.assertEqual(pull("--offline"), seen)
        self.assertEqual(len(self.requests), 2)

    def test_prints_all_records_of_a_feed_as_one_line_of_json(self):
        self.assertEqual(self.output(b"pull --online --json --category C --feed A\xff=@SERVER/one.atom"),
                         self.filled(sample("one.json")).decode())

    def test_shows_one_feed_with_the_credentials_that_the_server_asks_for(self):
        def closed(head):
            if "Authorization: Basic bWU6c2VjcmV0\r\n" in head + "\r\n":  # "me:secret"
                return response(sample("one.atom"))
            return response(b"", "401 Unauthorized", ['WWW-Authenticate: Basic realm="r"'])
        self.pages["/closed"] = closed
        (self.files / "password").write_bytes(b"secret\r\nignored\n")
        self.assertEqual(self.output("feed @SERVER/closed --user me --password-file @FILES/password"),
                         "Exämple\n  http://example.org/\n\n2026-01-01 10:00  One\n  by A. Writer\n  "
                         "http://example.org/1\n")
        status, _, errors = self.run_program("feed @SERVER/closed")
        self.assertEqual(status, 1)
        self.assertIn(self.server.url("/closed: HTTP_STATUS_DENIED"), errors)

    def test_goes_through_the_proxy_of_the_settings_with_its_deciphered_credentials(self):
        subprocess.run([pathlib.Path(__file__).with_name("make-authority"), self.files, "IP:127.0.0.1"], check=True)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.files / "server.pem", self.files / "server.key")
        secure = FeedServer(self.answer, context).url("/one.atom").replace("http", "https", 1)
        proxy, port = tinyproxy(self.files)
        self.addCleanup(proxy.wait)
        self.addCleanup(proxy.terminate)

        self.environment[b"SSL_CERT_FILE"] = bytes(self.files / "ca.pem")

        def feed(address, credentials):
            (self.base / "config").mkdir(parents=True, exist_ok=True)
            (self.base / "config/quillmoria.ini").write_text(
                f"[Proxy]\nType=3\nServer=127.0.0.1\nPort={port}\nCredentials={credentials}\n")
            return "".join(self.run_program("feed " + address)[1:])
        self.assertIn("Exämple", feed(secure, KNOWN))
        self.assertIn("refused the credentials", feed(secure, GUESS))
        self.assertIn("HTTP_STATUS_DENIED", feed("@SERVER/one.atom", GUESS))
        self.assertEqual(self.requests, ["/one.atom"])
        del self.environment[b"SSL_CERT_FILE"]
        self.assertIn("certificate", feed(secure, KNOWN))

    def test_lets_no_control_character_of_a_feed_reach_the_terminal(self):
        status, output, errors = self.run_program(
            "pull --online --category \x1b]0;title\a --feed A\x1b[1m=@SERVER/controls.atom "
            "--feed Missing=@SERVER/\x1b[2J")
        self.assertEqual(status, 1)
        self.assertIn("2JTitle\n", output)
        self.assertNotRegex(output + errors, "[\0-\x09\x0b-\x1f\x7f\x9b\u202e]")

    def test_tells_feeds_of_a_list_apart_and_takes_their_categories_from_its_containers(self):
        status, output, errors = self.run_program(
            "pull --online --category Rest --opml @SERVER/places.opml --base @FILES/new/base")
        self.assertEqual(status, 0)
        self.assertIn("Gopher: gopher://example.org/ is no http or https address; left out", errors)
        self.assertCountEqual(os.listdir(self.files / "new/base/cache"),
                              [f"127.0.0.1_{self.server.port}_one.atom", "A_B", "A_B (2)", "A_B (3)", "A_B (4)"])
        self.assertEqual(output.count(": 1 item, 1 new"), 5)
        self.assertRegex(output, "^News\n  A:B: ")
        self.assertIn("\nNews / Local\n  A*B (2): ", output)
        self.assertIn("\nRest\n  A_B (3): ", output)

    def test_shows_a_tree_of_any_depth_but_indents_no_further_than_thirty_two_levels(self):
        outlines = "".join(f"<outline text='level {level}'>" for level in range(40))
        (self.files / "list.opml").write_text(
            f"<o>{outlines}<outline text='feed' xmlUrl='http://example.org/&#x9B;'/>{'</outline>' * 40}</o>")
        tree = self.output("opml @FILES/list.opml")
        self.assertIn("\n  level 1\n    level 2\n", tree)
        self.assertTrue(tree.endswith("\n" + " " * 64 + "feed <http://example.org/>\n"), tree)
        last = self.output("opml --json @FILES/list.opml").splitlines()[-1]
        self.assertEqual(last, r'{"level":40,"text":"feed","type":"rss","xmlUrl":"http://example.org/\u009b","url":"",'
                               r'"description":"","dateCreated":null}')

    def test_warns_of_lines_so_long_that_outlines_may_be_missing(self):
        (self.files / "long.opml").write_text(f"<o><outline text='{'a' * 2500}'/></o>")
        self.assertIn("outlines may be missing", self.run_program("opml @FILES/long.opml")[2])

    def test_stops_a_pull_on_ctrl_c_and_leaves_whole_cache_files(self):
        feeds = 400
        requested, signalled = threading.Event(), threading.Event()

        def first(_):
            requested.set()
            signalled.wait(TIMEOUT)
            return response(sample("one.atom"))
        self.pages.update({f"/{i}": sample("one.atom") for i in range(feeds)})
        self.pages["/0"] = first
        outlines = "".join(f"<outline text='/{i}' xmlUrl='@SERVER/{i}'/>\n" for i in range(feeds))
        (self.files / "list.opml").write_bytes(self.filled(f"<opml>{outlines}</opml>".encode()))

        pull = subprocess.Popen(self.command("pull --online --json --opml @FILES/list.opml"), stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, env=self.environment, text=True)
        self.addCleanup(pull.kill)
        self.assertTrue(requested.wait(TIMEOUT))
        pull.send_signal(signal.SIGINT)
        signalled.set()
        output, errors = pull.communicate(timeout=TIMEOUT)
        self.assertEqual(pull.returncode, 130)
        pulled = output.count('"status":"OK"')
        self.assertLess(pulled, feeds)
        self.assertEqual(errors.count("stopping after the fetch under way; Ctrl-C again"), 1)
        self.assertIn(f"stopped after {pulled} of 400 feeds", errors)
        self.assertEqual(len(os.listdir(self.base / "cache")), pulled)
        cached = self.output("pull --offline --json --opml @FILES/list.opml")
        self.assertEqual(cached.count('"status":"","itemCount":1'), pulled)

    def test_draws_a_bar_on_a_terminal_that_fits_it_and_is_erased_at_the_end(self):
        command = self.command(f"pull --online --feed A=@SERVER/one.atom --feed {'B' * 60}=@SERVER/one.atom")
        self.assertEqual(shown_on_terminal(40, command, self.environment),
                         b"\r[-------------] 0/2  0 new  A\x1b[K"
                         b"\r[######-------] 1/2  1 new  A\x1b[K"
                         b"\r[######-------] 1/2  1 new  BBBBBBBBBBB\x1b[K"
                         b"\r[#############] 2/2  2 new  BBBBBBBBBBB\x1b[K"
                         b"\r\x1b[K")

    def test_shows_a_demo_that_checks_itself_and_leaves_nothing(self):
        (self.files / "config").mkdir()
        status, output, errors = self.run_program("demo --base @FILES/config")
        self.assertEqual(status, 0, errors)
        self.assertTrue(output.endswith("\nAll came as expected.\n"), output)
        self.assertEqual(os.listdir(self.files / "config"), [])

    def test_ends_with_its_status_and_says_why(self):
        self.environment[b"QUILLMORIA_OFFLINE"] = b"1"
        (self.files / "empty").touch()
        (self.files / "page.html").write_text("<!DOCTYPE html><html><head><title>Feeds</title></head></html>")
        (self.files / "no-feeds.opml").write_text("<opml><outline text='News'/></opml>")
        self.pages["/page.html"] = b"<!DOCTYPE html><html></html>"
        self.pages["/closed"] = lambda head: (b"", False)
        (self.base / "cache/Folder_").mkdir(parents=True)
        rows = [line for line in sample("uses.tsv").decode().splitlines() if line and line[0] != "#"]
        for row in rows:
            expected, says, words = [*row.split("\t"), ""][:3]
            with self.subTest(words):
                status, output, errors = self.run_program(words)
                self.assertEqual(status, int(expected))
                self.assertIn(says.replace(r"\n", "\n"), errors if status else output)
        self.assertCountEqual(os.listdir(self.base), ["cache", "config", "feed_imgs"])


if __name__ == "__main__":
    unittest.main()
