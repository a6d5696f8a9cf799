"""A second reader of recordings, written from docs/format.md alone, in another language.

Reads names of files, one a line, and answers each with the length of a text, a line feed and the
text: what is in that file, in the words of the tests' describe(), with what breaks a rule left out.
"""

import functools
import struct
import sys

import zstandard

TABLE = []
for byte in range(256):
    for _ in range(8):
        byte = byte >> 1 ^ (0x82F63B78 if byte & 1 else 0)
    TABLE.append(byte)

SYNC = b"\xB3\x51\x72\xF8"
MAX_TIME = 1 << 62
MAX_DATA = 268435456
MAX_DECODED = 1 << 20  # bytes of pixels that are worth the time of a test
BYTES_PER_PIXEL = [0, 1, 1, 1, 2, 2] + [4] * 8


class Lie(Exception):
    """The bytes break a rule of the format."""


def require(condition):
    if not condition:
        raise Lie


@functools.lru_cache(1 << 14)
def crc32c(data, start=0):
    value = ~start & 0xFFFFFFFF
    for byte in data:
        value = value >> 8 ^ TABLE[(value ^ byte) & 255]
    return ~value & 0xFFFFFFFF


class Fields:
    """Little-endian values one behind the other."""

    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, length):
        require(length <= len(self.data) - self.at)
        self.at += length
        return self.data[self.at - length:self.at]

    def get(self, layout):
        return struct.unpack("<" + layout, self.take(struct.calcsize("<" + layout)))

    def rest(self):
        return self.take(len(self.data) - self.at)

    def text(self):
        (length,) = self.get("I")
        if length == 0xFFFFFFFF:
            return b" none"
        text = self.take(length)
        require(length <= 1048576 and 0 not in text)
        return b' "' + text + b'"'

    def end(self):
        require(self.at == len(self.data))


def words(*numbers):
    return "".join(f" {number}" for number in numbers).encode()


def digits(data):
    return f" {len(data)}:{data.hex()}".encode()


def row_bytes(width, pixel_format, pad):
    unit = pad or 8
    return (width * BYTES_PER_PIXEL[pixel_format] * 8 + unit - 1) // unit * unit // 8


def image_bytes(width, height, pixel_format, pad):
    require(1 <= width <= 16384 and 1 <= height <= 16384)
    length = row_bytes(width, pixel_format, pad) * height
    require(length <= MAX_DATA)
    return length


class Header:
    def __init__(self, data):
        fields = Fields(data)
        (self.start, depth, self.pad, self.format, low, high, version, colours, width,
         height) = fields.get("QBBBBBBHHH")
        palette = fields.take(8 * colours)
        require(1 <= self.format <= 13 and self.pad in (0, 8, 16, 32) and self.start <= MAX_TIME)
        require(1 <= depth <= 8 * BYTES_PER_PIXEL[self.format])
        image_bytes(width, height, self.format, self.pad)
        self.text = (words(version, depth, width, height, self.format, self.pad, low, high) +
                     digits(palette) + fields.text() + fields.text())


# --- compressed pixels ---------------------------------------------------------------------------


def decompress(data, least, most):
    """One zstd frame that states its size, within these bounds, and has no bytes after it."""
    try:
        size = zstandard.get_frame_parameters(data).content_size
        require(least <= size <= most)
        decompressor = zstandard.ZstdDecompressor().decompressobj()
        raw = decompressor.decompress(data)
    except zstandard.ZstdError as error:
        raise Lie from error
    require(len(raw) == size and decompressor.eof and not decompressor.unused_data)
    return raw


def undo_left_differences(raw, row):
    raw = bytearray(raw)
    for i in range(len(raw)):
        if i % row >= 4:
            raw[i] = raw[i] + raw[i - 4] & 255
    return bytes(raw)


class Residuals:
    """What stands in front of packed blocks: three kinds of residuals, in four planes."""

    def __init__(self, fields):
        self.left = list(fields.get("III"))
        self.next = [0, self.left[0], self.left[0] + self.left[1]]
        self.planes = [fields.take(sum(self.left)) for _ in range(4)]

    def unpack(self, width, height):
        rows, pixels = [], bytearray()
        for y in range(height):
            row = []
            for x in range(width):
                left = row[x - 1] if x else rows[y - 1][0] if y else (128, 0, 128, 0)
                above = rows[y - 1][x] if y else left
                corner = left if y == 0 else rows[y - 1][x - 1] if x else above
                near = list(zip(left, above, corner))
                spread = sum(max(three) - min(three) for three in near)
                kind = 0 if spread < 3 else 1 if spread < 14 else 2
                require(self.left[kind] > 0)
                self.left[kind] -= 1
                value = tuple(
                    (min(max(l + a - c, min(l, a)), max(l, a)) + plane[self.next[kind]]) & 255
                    for (l, a, c), plane in zip(near, self.planes))
                self.next[kind] += 1
                row.append(value)
                p1 = value[1]
                pixels += bytes(((value[0] + p1 - 128) & 255, p1, (value[2] + p1 - 128) & 255,
                                 value[3]))
            rows.append(row)
        return pixels


def unpack_colours(fields, method, colours, width, height):
    row = (width + 1) // 2 if method == 1 else width
    pixels = bytearray()
    for _ in range(height):
        numbers = fields.take(row)
        if method == 1:
            numbers = [half for byte in numbers for half in (byte & 15, byte >> 4)][:width]
        for number in numbers:
            pixels += colours[4 * number:4 * number + 4] or bytes(4)
    return pixels


def unpack_blocks(packed, length):
    fields = Fields(packed)
    residuals = Residuals(fields)
    blocks = bytearray()
    while fields.at < len(packed):
        method, colour_count, count = fields.get("BBH")
        require(1 <= method <= 3 and count > 0)
        heads = Fields(fields.take(8 * count))
        colours = fields.take(4 * (colour_count + 1)) if method < 3 else b""
        for _ in range(count):
            blocks += (head := heads.take(8))
            width, height = struct.unpack("<4xHH", head)
            require(width and height and len(blocks) + 4 * width * height <= length)
            blocks += (residuals.unpack(width, height) if method == 3 else
                       unpack_colours(fields, method, colours, width, height))
    require(len(blocks) == length and not any(residuals.left))
    return bytes(blocks)


def join_tiles(packed, width, height):
    tiles = [(x, y, min(128, width - x), min(64, height - y))
             for y in range(0, height, 64) for x in range(0, width, 128)]
    fields = Fields(unpack_blocks(packed, 4 * width * height + 8 * len(tiles)))
    image = bytearray(4 * width * height)
    for tile in tiles:
        require(fields.get("hhHH") == tile)
        x, y, tile_width, tile_height = tile
        for line in range(y, y + tile_height):
            at = 4 * (line * width + x)
            image[at:at + 4 * tile_width] = fields.take(4 * tile_width)
    return bytes(image)


def decoded(data, codec, raw_length, image, header):
    """A line with the pixels. Bytes that do not decompress are the matter of who wants the pixels:
    the record is there all the same."""
    if raw_length > MAX_DECODED:
        return b""
    packed = codec == 3
    least, most = ((raw_length + 7) // 8, raw_length + raw_length // 16 + 64) if packed else (
        raw_length, raw_length)
    try:
        raw = decompress(data, least, most)
        if codec == 2:
            require(header.format >= 6)
            raw = undo_left_differences(raw, raw_length // image[1])
        elif packed:
            require(header.format >= 6)
            raw = join_tiles(raw, *image) if image else unpack_blocks(raw, raw_length)
    except Lie:
        return b""
    return b"=" + raw.hex().encode() + b"\n"


# --- records -------------------------------------------------------------------------------------


def image_record(kind, codec, raw_length, fields, header):
    width, height, x, y, pixel_format, pad = fields.get("HHhhBBxx")
    require((pixel_format, pad) == (header.format, header.pad))
    require(raw_length == image_bytes(width, height, pixel_format, pad))
    text = words(width, height, x, y, pixel_format, pad, raw_length)
    data = fields.rest()
    if kind == 3:
        require(len(data) == raw_length)
        return text + words(row_bytes(width, pixel_format, pad)) + digits(data), b""
    require(1 <= codec <= 3)
    return (text + digits(bytes([codec]) + data),
            decoded(data, codec, raw_length, (width, height), header))


def cursor_record(codec, raw_length, fields):
    width, height, x, y, column, row, serial = fields.get("HHhhHHI")
    require(1 <= width <= 1024 and 1 <= height <= 1024 and column <= width and row <= height)
    require(raw_length == 4 * width * height)
    data = fields.rest()
    if codec:
        data = decompress(data, raw_length, raw_length)
    require(len(data) == raw_length)
    return words(width, height, x, y, column, row, serial) + digits(data)


@functools.lru_cache(1 << 12)
def record_text(kind, codec, raw_length, payload, header):
    """Its fields, and its decoded pixels on a line of their own."""
    fields, pixels = Fields(payload), b""
    codecs = {4: (1, 2, 3), 15: (1, 3), 5: (0, 1)}.get(kind, (0,))
    require(codec in codecs and (raw_length == 0 or kind in (3, 4, 5, 14, 15)))
    if kind <= 1:
        text = b""
    elif kind == 2:
        return Header(payload).text, b""
    elif kind in (3, 4):
        text, pixels = image_record(kind, codec, raw_length, fields, header)
    elif kind == 5:
        text = cursor_record(codec, raw_length, fields)
    elif kind in (6, 7):
        text = words(*fields.get("hh" if kind == 6 else "HH"))
    elif kind == 8:
        text = fields.text() + fields.text()
    elif kind in (14, 15):
        data = fields.rest()
        require(raw_length <= MAX_DATA and (kind == 15 or len(data) == raw_length))
        text = digits(data)
        if kind == 15:
            text = words(raw_length) + digits(bytes([codec]) + data)
            pixels = decoded(data, codec, raw_length, None, header)
    else:
        text = fields.text()
    fields.end()
    return text, pixels


# --- the file ------------------------------------------------------------------------------------


class Recording:
    def __init__(self, data):
        self.data = data
        self.records, self.texts = [], []  # (position, length, type, time); lines
        self.marks, self.gaps = set(), []
        self.index_agrees = True
        self.find_head()
        self.time = self.header.start
        self.walk()

    def read_head(self, data):
        magic, major, _, length = struct.unpack_from("<8sHHI", data + bytes(16))
        require(magic == b"\x89QOM\r\n\x1a\n" and major == 1 and length <= 4194304)
        require(len(data) >= 20 + length)
        self.first_frame = 20 + length
        self.salt = data[16 + length:20 + length]
        require(struct.unpack("<I", self.salt)[0] == crc32c(data[:16 + length]))
        self.header = Header(data[16:16 + length])

    def find_head(self):
        """The head of the file, or the first copy of it that proves itself."""
        try:
            return self.read_head(self.data)
        except Lie:
            pass
        at = -1
        while (at := self.data.find(SYNC, at + 1)) >= 0:
            if self.data[at + 4:at + 5] != b"\xE4":
                continue
            try:
                self.read_head(self.data[at + 32:])
            except Lie:
                continue
            head = self.frame_head(at)
            payload = self.data[at + 32:at + 32 + self.first_frame]
            if head and head[3] == len(payload) and head[5] == crc32c(payload):
                return
        raise Lie

    def frame_head(self, at):
        head = self.data[at:at + 32]
        if len(head) < 32 or struct.unpack_from("<I", head, 28)[0] != crc32c(self.salt + head[:28]):
            return None
        return struct.unpack("<4xBBxxQIIIxxxx", head)

    def walk(self):
        at = self.first_frame
        while (at := self.data.find(SYNC, at)) >= 0:
            head = self.frame_head(at)
            if not head:
                at += 1
                continue
            kind, codec, time, stored, raw_length, payload_crc = head
            payload = self.data[at + 32:at + 32 + stored]
            if len(payload) < stored:
                break
            if crc32c(payload) == payload_crc:
                try:
                    self.add(at, kind, codec, time, raw_length, payload)
                except Lie:
                    pass
            at += 32 + stored

    def add(self, at, kind, codec, time, raw_length, payload):
        if kind <= 16:
            require(time <= MAX_TIME)
            fields, pixels = record_text(kind, codec, raw_length, payload, self.header)
            self.time = max(self.time, time)
            self.records.append((at, 32 + len(payload), kind, self.time))
            self.texts.append(words(kind)[1:] + b" at" + words(self.time) + fields + b"\n" + pixels)
        elif kind == 227 and len(payload) == 16:
            self.marks.add(struct.unpack("<QQ", payload))
        elif kind == 229 and len(payload) == 32:
            begin, end, offset, reason = struct.unpack("<QQqBxxxxxxx", payload)
            require(begin <= end <= MAX_TIME and abs(offset) <= MAX_TIME and reason)
            self.gaps.append(words(begin, end, offset, reason))
        elif kind in (224, 225):
            try:
                self.check_index(at, Fields(payload))
            except Lie:
                self.index_agrees = False

    def check_index(self, at, fields):
        position, _, first, entries, spans = fields.get("QQQII")
        require(position == at)
        for i in range(first, first + entries):
            position, _, kind, zero, stored = fields.get("QQBxHI")
            require(i < len(self.records) and zero == 0)
            require((position, 32 + stored, kind) == self.records[i][:3])
        for _ in range(spans):
            require(fields.get("QQ") in self.marks)
        fields.end()

    def checkpoints(self):
        """Number of the first record, and of the one behind the last, of each."""
        numbers = {record[0]: i for i, record in enumerate(self.records)}
        behind = 0
        for position, count in sorted(self.marks):
            first = numbers.get(position, len(self.records))
            run = self.records[first:first + count] if count <= 256 else []
            joined = all(a[0] + a[1] == b[0] for a, b in zip(run, run[1:]))
            if len(run) == count > 0 and first >= behind and joined and any(r[2] == 4 for r in run):
                behind = first + count
                yield first, behind

    def text(self):
        lines = [b"2 at" + words(self.header.start) + self.header.text + b"\n", *self.texts]
        lines += [b"checkpoint" + words(*span) + b"\n" for span in self.checkpoints()]
        lines += [b"gap" + gap + b"\n" for gap in self.gaps]
        lines += [b"index agrees\n" if self.index_agrees else b"an index lies\n"]
        return b"".join(lines)


def answer(name):
    with open(name, "rb") as file:
        data = file.read()
    try:
        return Recording(data).text()
    except Lie:
        return b"not a recording\n"


for name in sys.stdin.buffer:
    text = answer(name[:-1])
    sys.stdout.buffer.write(b"%d\n" % len(text) + text)
    sys.stdout.buffer.flush()
