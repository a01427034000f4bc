#!/usr/bin/env python3
"""tables.py BUILD RESULTS: the tables of scripts/bench, from what the benchmarks left in RESULTS and what it measures
itself with the programs under BUILD. Every figure is a median, and every comparison one within a run."""
import json, os, statistics, subprocess, sys, tempfile, time

FORMATS = ("rss2", "rss1", "atom")
SIZES = ("10K", "100K", "1M", "10M")
ITEMS = ("100", "1000", "10000", "100000")
WIDTHS = ((1, 0), (8, 0), (8, 20), (8, 100))
ITEM = ("<item><title>Item %d</title>\n<link>http://example.org/%d</link>\n<description>" +
        "About nothing in particular, at some length. " * 8 + "</description></item>\n")


def medians(path, key):
    with open(path) as file:
        runs = json.load(file)["benchmarks"]
    return {run["run_name"]: run[key] for run in runs if run.get("aggregate_name") == "median"}


def table(title, *rows):
    print("\n### %s\n" % title)
    for i, row in enumerate(rows):
        print("| %s |" % " | ".join(str(cell) for cell in row))
        if i == 0:
            print("|%s" % (" --- |" + " ---: |" * (len(row) - 1)))


def parse_shares(engine):
    rows = [["parse, share of expat's speed"] + list(SIZES)]
    for name in FORMATS:
        shares = (engine["expat/%s/%s" % (name, size)] / engine["parse/%s/%s" % (name, size)] for size in SIZES)
        rows.append([name] + ["%.0f %%" % (100 * share) for share in shares])
    table("From text to finished object, CPU time", *rows)


def growth(engine):
    rows = [["ns per item"] + list(ITEMS) + ["growth, 100 to 100,000"]]
    for work in ("parseItems", "matchAgainstAFullCache", "store", "load"):
        each = [engine["%s/%s" % (work, items)] / int(items) for items in ITEMS]
        rows.append([work] + ["%.0f" % cost for cost in each] + ["%.2f" % (each[-1] / each[0])])
    table("Growth with the items of a feed, CPU time", *rows)


def pulls(pull):
    rows = [["at once, delay", "floor, ms", "engine, ms", "times the floor"]]
    for at_once, delay in WIDTHS:
        floor, engine = (pull["%s/%d/%d/real_time" % (name, at_once, delay)] for name in ("floorOfFeeds", "pullFeeds"))
        rows.append(["%d, %d ms" % (at_once, delay), "%.0f" % floor, "%.0f" % engine, "%.2f" % (engine / floor)])
    table("A pull of 300 feeds whose items are all known, wall time", *rows)


def memory(adapter):
    rows = [["document", "MB"]]
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "feed")
        for size in (1_000_000, 10_000_000):
            with open(path, "w") as file:
                file.write('<rss version="2.0"><channel>')
                written = 0
                while written < size:
                    written += file.write(ITEM % (written, written))
                file.write("</channel></rss>")
            line = subprocess.run([adapter, "ours", path, "0", "0"], check=True, capture_output=True, text=True).stdout
            values = dict(part.split("=") for part in line.split())
            rows.append(["%d MB" % (size // 1_000_000), "%.1f" % (int(values["rss_kb"]) / 1024)])
    table("Peak memory of a process that holds and parses a document", *rows)


def start(host):
    commands = {"true": ["true"], "curl --version": ["curl", "--version"], "quillmoria --version": [host, "--version"]}
    times = {name: [] for name in commands}
    for _ in range(25):
        for name, command in commands.items():
            begin = time.perf_counter()
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
            times[name].append(1000 * (time.perf_counter() - begin))
    rows = [["start to exit", "ms"]] + [[name, "%.1f" % statistics.median(taken)] for name, taken in times.items()]
    table("Start", *rows)


def main(build, results):
    engine = medians(os.path.join(results, "engine.json"), "cpu_time")
    parse_shares(engine)
    growth(engine)
    pulls(medians(os.path.join(results, "pull.json"), "real_time"))
    memory(os.path.join(build, "benchmarks", "parse_adapter"))
    start(os.path.join(build, "host", "quillmoria"))


if __name__ == "__main__":
    main(*sys.argv[1:])
