"""Compressed pixels unpacked as docs/format.md describes it, for independent_reader.py."""

import struct

import zstandard

import independent_stills


def unzstd(data, most):
    """What frames of zstd that state their sizes give, all together."""
    whole = b""
    while data:
        size = zstandard.get_frame_parameters(data).content_size
        assert 0 < size <= most - len(whole)
        decompressor = zstandard.ZstdDecompressor().decompressobj()
        whole += decompressor.decompress(data)
        assert decompressor.eof
        data = decompressor.unused_data
    return whole


def predicted(left, above, corner):
    return max(min(left, above), min(max(left, above), left + above - corner))


class Kinds:
    """The residuals of codec 3."""

    def __init__(self, data, at):
        counts = struct.unpack_from("<3I", data, at)
        self.data, self.plane = data, sum(counts)
        self.next = [at + 12 + sum(counts[:kind]) for kind in range(3)]
        self.end = at + 12 + 4 * self.plane

    def block(self, width, height):
        values = [[None] * width for _ in range(height)]
        for y in range(height):
            for x in range(width):
                left = values[y][x - 1] if x else values[y - 1][x] if y else [128, 0, 128, 0]
                above = values[y - 1][x] if y else left
                corner = values[y - 1][x - 1] if x and y else left if not y else above
                near = list(zip(left, above, corner))
                spread = sum(max(three) - min(three) for three in near)
                kind = 0 if spread < 3 else 1 if spread < 14 else 2
                at = self.next[kind]
                self.next[kind] += 1
                values[y][x] = [(predicted(*near[p]) + self.data[at + p * self.plane]) % 256
                                for p in range(4)]
        return [bytes(((v[0] + v[1] - 128) % 256, v[1], (v[2] + v[1] - 128) % 256, v[3]))
                for row in values for v in row]


def lengths_at(data, at, count):
    """So many lengths, and what is behind them."""
    lengths = []
    for _ in range(count):
        length = shift = 0
        while True:
            length |= (data[at] & 127) << shift
            shift, at = shift + 7, at + 1
            if data[at - 1] < 128:
                break
        lengths.append(length)
    return lengths, at


class Strips:
    """The residuals of codecs 4 and 6."""

    def __init__(self, data, at):
        lengths, at = lengths_at(data, at, 19)
        self.streams = []
        for length in lengths:
            self.streams.append(iter(data[at:at + length]))
            at += length
        self.end = at

    def residuals(self, plane, depth, count):
        if depth == 0:
            return [0] * count
        stream, bits = self.streams[3 + 4 * plane + depth - 1], (0, 2, 4, 8, 8)[depth]
        packed = int.from_bytes([next(stream) for _ in range((count * bits + 7) // 8)], "little")
        small = [packed >> bits * i & (1 << bits) - 1 for i in range(count)]
        return [-(z + 1) // 2 if z % 2 else z // 2 for z in small]

    def strip(self, pixels, x0, y0, width, height):
        less = next(self.streams[0])
        wanted = [[[0] * 4 for _ in range(width)] for _ in range(height)]
        for x in range(0, width, 8):
            three, fourth = next(self.streams[1]), next(self.streams[2])
            columns = min(8, width - x)
            for plane, depth in enumerate((three // 25, three // 5 % 5, three % 5, fourth)):
                for i, z in enumerate(self.residuals(plane, depth, columns * height)):
                    wanted[i // columns][x + i % columns][plane] = z

        def values(x, y):
            p = pixels[y][x] if x >= 0 and y >= 0 else (0, 0, 0, 0)
            return ((p[0] - p[1] + 128) % 256, p[1], (p[2] - p[1] + 128) % 256, p[3]) if less else p

        for y in range(y0, y0 + height):
            for x in range(x0, x0 + width):
                near = zip(values(x - 1, y), values(x, y - 1), values(x - 1, y - 1))
                v = [(predicted(*three) + residual) % 256
                     for three, residual in zip(near, wanted[y - y0][x - x0])]
                pixels[y][x] = ((v[0] + v[1] - 128) % 256, v[1], (v[2] + v[1] - 128) % 256,
                                v[3]) if less else tuple(v)

    def rectangle(self, pixels, x0, y0, width, height):
        for y in range(0, height, 4):
            for x in range(0, width, 64):
                self.strip(pixels, x0 + x, y0 + y, min(64, width - x), min(4, height - y))

    def block(self, width, height):
        pixels = [[None] * width for _ in range(height)]
        self.rectangle(pixels, 0, 0, width, height)
        return [bytes(pixel) for row in pixels for pixel in row]


def bands(data, width, height):
    """The rows of an image of codec 6."""
    strips = Strips(data, 0)
    (count, *lengths), at = lengths_at(data, strips.end, 4)
    colours = [tuple(data[at + 4 * i:at + 4 * i + 4]) for i in range(count)]
    at += 4 * count
    streams = []
    for length in lengths:
        streams.append(data[at:at + length])
        at += length
    assert at == len(data)
    kinds, indices, escapes = map(iter, streams)

    def colour():
        number = next(indices)
        if count > 256 and number == 255:
            number = next(escapes) + 256 * next(escapes)
        return colours[number] if number < count else (0, 0, 0, 0)

    rows = [[None] * width for _ in range(height)]
    for left in range(0, width, 64):
        columns = range(left, min(left + 64, width))
        y = 0
        while y < height:
            band = next(kinds)
            kind, ends = band >> 6, y + band % 64 + 1
            if kind == 3:
                strips.rectangle(rows, left, y, len(columns), ends - y)
            plain = colour() if kind == 1 else None
            for x in columns if kind < 3 else ():
                for i in range(y, ends):
                    rows[i][x] = (rows[y - 1][x], plain)[kind] if kind < 2 else colour()
            y = ends
    return b"".join(bytes(pixel) for row in rows for pixel in row)


def blocks(codec, data):
    """Heads and rows of the packed blocks."""
    residuals = (Kinds if codec == 3 else Strips)(data, 0)
    at = residuals.end
    while at < len(data):
        method, colours, count = struct.unpack_from("<BBH", data, at)
        heads = [struct.unpack_from("<hhHH", data, at + 4 + 8 * i) for i in range(count)]
        at += 4 + 8 * count
        palette = []
        if method != 3:
            palette = [data[at + 4 * i:at + 4 * i + 4] for i in range(colours + 1)]
            at += 4 * (colours + 1)
        palette += [bytes(4)] * (256 - len(palette))
        for head in heads:
            width, height = head[2:]
            if method == 3:
                yield head, residuals.block(width, height)
                continue
            pixels = []
            for _ in range(height):
                if method == 1:
                    row = data[at:at + (width + 1) // 2]
                    pixels += [palette[row[x // 2] >> 4 * (x % 2) & 15] for x in range(width)]
                else:
                    row = data[at:at + width]
                    pixels += [palette[index] for index in row]
                at += len(row)
            yield head, pixels


def lay(image, stride, head, pixels):
    x, y, width, height = head
    for row in range(height):
        at = 4 * ((y + row) * stride + x)
        image[at:at + 4 * width] = b"".join(pixels[row * width:(row + 1) * width])


def lossy(data, raw_length, size):
    """Those of codec 5."""
    pixel_format, exact_codec, count = struct.unpack_from("<BBxxI", data)
    order = {6: (2, 1, 0, 3), 7: (0, 1, 2, 3), 8: (3, 2, 1, 0), 9: (3, 0, 1, 2)}[pixel_format]
    at, stills = 8 + 12 * count, []
    for *head, length in struct.iter_unpack("<hhHHI", data[8:at]):
        if length:
            pixels = independent_stills.restored(data[at:at + length])
            stills.append((head, [bytes((*pixel, 0)[i] for i in order) for pixel in pixels]))
        at += length
    blocks = b"".join(struct.pack("<hhHH", *head) + b"".join(pixels) for head, pixels in stills)
    if size:
        image = bytearray(unpacked(exact_codec, data[at:], raw_length, size))
        for head, pixels in stills:
            lay(image, size[0], head, pixels)
        return bytes(image)
    return blocks + (unpacked(exact_codec, data[at:], raw_length - len(blocks)) if exact_codec else b"")


def unpacked(codec, data, raw_length, size=None):
    """The pixels of an image of `size` (width and height), or else blocks."""
    if codec == 5:
        return lossy(data, raw_length, size)
    if codec < 3:
        raw = bytearray(unzstd(data, raw_length))
        if codec == 2:
            row = 4 * size[0]
            for at in range(len(raw)):
                if at % row >= 4:
                    raw[at] = (raw[at] + raw[at - 4]) % 256
        return bytes(raw)
    whole = unzstd(data, raw_length + raw_length // 16 + 64)
    if not size:
        return b"".join(struct.pack("<hhHH", *head) + b"".join(pixels)
                        for head, pixels in blocks(codec, whole))
    if codec == 6:
        return bands(whole, *size)
    image = bytearray(raw_length)
    for head, pixels in blocks(codec, whole):
        lay(image, size[0], head, pixels)
    return bytes(image)
