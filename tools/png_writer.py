"""Writes PNG files of any colour type and depth with Python's standard library."""
import struct
import zlib

CHANNELS = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}  # of each colour type: grey, colour, palette, grey and colour with alpha
ADAM7 = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2))


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def packed_row(samples, depth):
    if depth == 16:
        return struct.pack(f">{len(samples)}H", *samples)
    if depth == 8:
        return bytes(samples)
    bits = "".join(format(sample, f"0{depth}b") for sample in samples)
    bits += "0" * (-len(bits) % 8)
    return bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8))


def png(width, height, sample, colour=0, depth=8, palette=None, transparent=None, interlaced=False, claim=None):
    """The bytes of a picture. sample(x, y) gives the pixel, a number or a tuple of one number a channel, of `depth` bits.

    palette: rows of (r, g, b); transparent: bytes of the tRNS chunk; claim: another size for the header.
    """
    def row(y, columns):
        samples = []
        for x in columns:
            pixel = sample(x, y)
            samples += pixel if CHANNELS[colour] > 1 else [pixel]
        return b"\0" + packed_row(samples, depth)

    passes = ADAM7 if interlaced else ((0, 0, 1, 1),)
    data = b"".join(row(y, range(x0, width, dx))
                    for x0, y0, dx, dy in passes if x0 < width for y in range(y0, height, dy))
    header = struct.pack(">IIBBBBB", *(claim or (width, height)), depth, colour, 0, 0, int(interlaced))
    parts = [chunk(b"IHDR", header)]
    if palette:
        parts.append(chunk(b"PLTE", b"".join(bytes(entry) for entry in palette)))
    if transparent is not None:
        parts.append(chunk(b"tRNS", transparent))
    return b"\x89PNG\r\n\x1a\n" + b"".join([*parts, chunk(b"IDAT", zlib.compress(data, 9)), chunk(b"IEND", b"")])
