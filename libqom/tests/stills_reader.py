"""Restores stills as docs/format.md says, in the plainest way.

Takes the name of a recording whose records are blocks of one still each and, behind each, the same
blocks with the exact pixels that it gives; fails when it gives others.
"""

import struct
import sys

# Places of coefficients in the order of a still: along diagonals, up and down in turn.
ORDER = sorted(range(64), key=lambda i: (i // 8 + i % 8, i // 8 if (i // 8 + i % 8) % 2 else i % 8))


class Codes:
    """The bits of a scan."""

    def __init__(self, data):
        self.bits = "".join(f"{byte:08b}" for byte in data.replace(b"\xFF\x00", b"\xFF"))
        self.at = 0

    def symbol(self, table):
        code = ""
        while code not in table:
            code += self.bits[self.at]
            self.at += 1
        return table[code]

    def number(self, size):
        value = int(self.bits[self.at:self.at + size] or "0", 2)
        self.at += size
        return value if size == 0 or value >> size - 1 else value - (1 << size) + 1


def huffman(counts, values):
    code, table, values = 0, {}, iter(values)
    for size, count in enumerate(counts, 1):
        for _ in range(count):
            table[f"{code:0{size}b}"] = next(values)
            code += 1
        code *= 2
    return table


def transform(v, shift):
    """Eight values, with so many bits cut off in the end."""
    z = (v[2] + v[6]) * 4433
    a, b, c, d = v[0] + v[4] << 13, v[0] - v[4] << 13, z - v[6] * 15137, z + v[2] * 6270
    even = (a + d, b + c, b - c, a - d)
    z5 = (v[7] + v[3] + v[5] + v[1]) * 9633
    z1, z2 = (v[7] + v[1]) * -7373, (v[5] + v[3]) * -20995
    z3, z4 = (v[7] + v[3]) * -16069 + z5, (v[5] + v[1]) * -3196 + z5
    odd = (v[1] * 12299 + z1 + z4, v[3] * 25172 + z2 + z3, v[5] * 16819 + z2 + z4,
           v[7] * 2446 + z1 + z3)
    sums = [e + o for e, o in zip(even, odd)] + [e - o for e, o in zip(even, odd)][::-1]
    return [sum_ + (1 << shift - 1) >> shift for sum_ in sums]


def limited(value):
    return max(0, min(255, value))


def restored(still):
    """Blue, green, red and 0 of each pixel."""
    at, tables, quantisers = 2, {}, {}
    while True:
        marker, size = still[at + 1], struct.unpack_from(">H", still, at + 2)[0]
        body, at = still[at + 4:at + 2 + size], at + 2 + size
        if marker == 0xDA:
            break
        while marker == 0xDB and body:
            quantisers[body[0]], body = body[1:65], body[65:]
        while marker == 0xC4 and body:
            end = 17 + sum(body[1:17])
            tables[body[0]], body = huffman(body[1:17], body[17:end]), body[end:]
        if marker == 0xC0:
            height, width = struct.unpack_from(">HH", body, 1)
            parts = [(body[7 + i] & 15, quantisers[body[8 + i]]) for i in (0, 3, 6)]
    codes, last, side = Codes(still[at:-2]), [0] * 3, parts[0][0]
    planes = [{} for _ in parts]
    columns, rows = (-(-length // (8 * side)) for length in (width, height))
    squares = [(x, y, p, i) for y in range(rows) for x in range(columns) for p in range(3)
               for i in range(parts[p][0] ** 2)]
    for x, y, p, i in squares:
        sampling, quantiser = parts[p]
        kind, k = body[2 + 2 * p], 1
        values = [0] * 64
        last[p] += codes.number(codes.symbol(tables[kind >> 4]))
        values[0] = last[p] * quantiser[0]
        while k < 64 and (symbol := codes.symbol(tables[16 | kind & 15])):
            k += symbol >> 4
            values[ORDER[k]] = codes.number(symbol & 15) * quantiser[k]
            k += 1
        halves = [transform(values[column::8], 11) for column in range(8)]
        for row in range(8):
            for column, value in enumerate(transform([half[row] for half in halves], 18)):
                planes[p][(x * sampling + i % sampling) * 8 + column,
                          (y * sampling + i // sampling) * 8 + row] = limited(value + 128)
    pixels = bytearray()
    for y in range(height):
        for x in range(width):
            light = planes[0][x, y]
            b, r = (plane[x // side, y // side] - 128 for plane in planes[1:])
            pixels += bytes((limited(light + (116130 * b + 32768 >> 16)),
                             limited(light + (32768 - 22554 * b - 46802 * r >> 16)),
                             limited(light + (91881 * r + 32768 >> 16)), 0))
    return bytes(pixels)


def records(data):
    at = 20 + struct.unpack_from("<I", data, 12)[0]
    while at < len(data):
        kind, codec, stored = struct.unpack_from("<4xBB10xI", data, at)
        if kind in (14, 15):
            yield codec, data[at + 32:at + 32 + stored]
        at += 32 + stored


with open(sys.argv[1], "rb") as file:
    found = list(records(file.read()))
assert found
for (codec, lossy), (_, exact) in zip(found[::2], found[1::2]):
    pixel_format, exact_codec, count = struct.unpack_from("<BBxxI", lossy)
    assert (codec, pixel_format, exact_codec, count) == (5, 6, 0, 1)
    assert lossy[8:16] == exact[:8] and struct.unpack_from("<I", lossy, 16)[0] == len(lossy) - 20
    assert restored(lossy[20:]) == exact[8:], "other pixels"
