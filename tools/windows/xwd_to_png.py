#!/usr/bin/python3
"""Writes an X window dump of 24/32-bit TrueColor (what Xvfb -fbdir keeps
of its screen) as a PNG, optionally cut to a rectangle.
usage: xwd_to_png.py <xwd file> <png file> [x y width height]"""
import struct
import sys
import zlib


def read_xwd(name):
    data = open(name, "rb").read()
    fields = struct.unpack(">25I", data[:100])
    header_size, bits_per_pixel, bytes_per_line = fields[0], fields[11], fields[12]
    width, height, byte_order, ncolors = fields[4], fields[5], fields[7], fields[19]
    masks = fields[14:17]
    if bits_per_pixel != 32:
        sys.exit("only 32 bits per pixel are read")
    pixels = data[header_size + 12 * ncolors:]
    fmt = "<I" if byte_order == 0 else ">I"
    return width, height, bytes_per_line, pixels, fmt, masks


def shift_of(mask):
    return (mask & -mask).bit_length() - 1


def png_rows(width, height, bytes_per_line, pixels, fmt, masks, box):
    x0, y0, w, h = box
    shifts = [shift_of(m) for m in masks]
    for y in range(y0, y0 + h):
        row = bytearray([0])
        line = pixels[y * bytes_per_line:(y + 1) * bytes_per_line]
        for (value,) in struct.iter_unpack(fmt, line[4 * x0:4 * (x0 + w)]):
            row += bytes(((value & m) >> s) & 0xFF for m, s in zip(masks, shifts))
        yield bytes(row)


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)


def main():
    width, height, bpl, pixels, fmt, masks = read_xwd(sys.argv[1])
    box = tuple(int(v) for v in sys.argv[3:7]) if len(sys.argv) >= 7 else (0, 0, width, height)
    x0, y0, w, h = box
    w, h = min(w, width - x0), min(h, height - y0)
    raw = b"".join(png_rows(width, height, bpl, pixels, fmt, masks, (x0, y0, w, h)))
    with open(sys.argv[2], "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n")
        out.write(chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 2, 0, 0, 0)))
        out.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        out.write(chunk(b"IEND", b""))


main()
