#!/usr/bin/env python3
"""Draws the channel pictures of the sample feeds into this folder. Needs nothing but Python."""

import pathlib
import struct
import zlib

FOLDER = pathlib.Path(__file__).parent


def png(width, height, color_at):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = b"".join(b"\0" + b"".join(bytes(color_at(x, y)) for x in range(width)) for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def gif(width, height, palette, index_at):
    """A palette of four colours. The codes are written without compression: a clear code comes before they grow."""
    bits, clear, end = 3, 4, 5
    codes = []
    for i in range(width * height):
        if i % 2 == 0:
            codes.append(clear)
        codes.append(index_at(i % width, i // width))
    codes.append(end)
    packed = sum(code << (bits * i) for i, code in enumerate(codes)).to_bytes((bits * len(codes) + 7) // 8, "little")
    blocks = b"".join(bytes([len(packed[i:i + 255])]) + packed[i:i + 255] for i in range(0, len(packed), 255))
    return (b"GIF89a" + struct.pack("<HHBBB", width, height, 0x81, 0, 0) + b"".join(bytes(c) for c in palette) +
            b"," + struct.pack("<HHHHB", 0, 0, width, height, 0) + b"\x02" + blocks + b"\0;")


def disc(x, y):
    inside = (x - 15.5) ** 2 + (y - 15.5) ** 2 < 14 ** 2
    return (40, 90 + 4 * y, 160) if inside else (255, 255, 255)


def stripes(x, y):
    return 3 if x in (0, 87) or y in (0, 30) else (x + y) // 8 % 3


FOLDER.joinpath("example-news.png").write_bytes(png(32, 32, disc))
FOLDER.joinpath("example-weekly.gif").write_bytes(
    gif(88, 31, [(250, 240, 200), (230, 160, 60), (120, 60, 20), (0, 0, 0)], stripes))
