#!/usr/bin/env python3
"""Writes the small PNG files the tool's tests read (run once; the files are
checked in): a palette picture with transparency, grey + alpha, 16-bit grey,
1-bit grey and RGBA."""
import struct
import zlib


def chunk(kind, data):
    c = kind + data
    return struct.pack(">I", len(data)) + c + struct.pack(">I", zlib.crc32(c) & 0xFFFFFFFF)


def png(name, width, height, depth, colour, rows, extra=b""):
    raw = b"".join(b"\x00" + r for r in rows)
    head = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, 0)
    with open(name, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + extra +
                chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


# 4 x 2 palette picture: entries red, green, blue, half-transparent white.
plte = chunk(b"PLTE", bytes([255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255]))
trns = chunk(b"tRNS", bytes([255, 255, 255, 128]))
png("palette.png", 4, 2, 8, 3, [bytes([0, 1, 2, 3]), bytes([3, 2, 1, 0])], plte + trns)
# Opaque palette without tRNS.
png("palette-opaque.png", 2, 1, 8, 3, [bytes([0, 1])], chunk(b"PLTE", bytes([10, 20, 30, 200, 100, 50])))
# Grey + alpha, 2 x 1.
png("grey-alpha.png", 2, 1, 8, 4, [bytes([10, 255, 200, 0])])
# 16-bit grey, 2 x 1: 0x0000 and 0xFFFF.
png("grey16.png", 2, 1, 16, 0, [bytes([0, 0, 255, 255])])
# 1-bit grey, 8 x 1: 10110000.
png("grey1.png", 8, 1, 1, 0, [bytes([0xB0])])
# RGBA, 1 x 1.
png("rgba.png", 1, 1, 8, 6, [bytes([1, 2, 3, 4])])
