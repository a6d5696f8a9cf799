"""A second reader of recordings, written from docs/format.md alone, in another language.

Reads names of files, one a line, and answers each with the length of a text, a line feed and the
text: what is in that file, in the words of the tests' describe(), with what breaks a rule left out.
Pixels stay as compressed as they are. After a name with "pixels " in front the text is the pixels of
each image and of each record of blocks, as they are uncompressed, one a line.
"""

import functools
import re
import struct
import sys

import zstandard

import independent_pixels

TABLE = []
for byte in range(256):
    for _ in range(8):
        byte = byte >> 1 ^ (0x82F63B78 if byte & 1 else 0)
    TABLE.append(byte)

SYNC = b"\xB3\x51\x72\xF8"
MAX_TIME = 1 << 62
MAX_DATA = 268435456
DRAWING = (3, 4, 14, 15, 17)
COUNTED = {8: 2, 6: 3, 9: 4, 16: 4}  # places in a step
BYTES_PER_PIXEL = [0, 1, 1, 1, 2, 2] + [4] * 8


class Lie(Exception):
    """The bytes break a rule of the format."""


def require(condition):
    if not condition:
        raise Lie


@functools.lru_cache(1 << 14)
def crc32c(data):
    value = 0xFFFFFFFF
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


# --- records -------------------------------------------------------------------------------------


def image_record(kind, codec, raw_length, fields, header):
    width, height, x, y, pixel_format, pad = fields.get("HHhhBBxx")
    require((pixel_format, pad) == (header.format, header.pad))
    require(raw_length == image_bytes(width, height, pixel_format, pad))
    text = words(width, height, x, y, pixel_format, pad, raw_length)
    data = fields.rest()
    if kind == 4:
        return text + digits(bytes([codec]) + data)
    require(len(data) == raw_length)
    return text + words(row_bytes(width, pixel_format, pad)) + digits(data)


def cursor_record(codec, raw_length, fields):
    width, height, x, y, column, row, serial = fields.get("HHhhHHI")
    require(1 <= width <= 1024 and 1 <= height <= 1024 and column <= width and row <= height)
    require(raw_length == 4 * width * height)
    data = fields.rest()
    if codec:  # one zstd frame that states its size, and has no bytes after it
        try:
            require(zstandard.get_frame_parameters(data).content_size == raw_length)
            decompressor = zstandard.ZstdDecompressor().decompressobj()
            data = decompressor.decompress(data)
        except zstandard.ZstdError as error:
            raise Lie from error
        require(decompressor.eof and not decompressor.unused_data)
    require(len(data) == raw_length)
    return words(width, height, x, y, column, row, serial) + digits(data)


def blocks_record(kind, codec, raw_length, fields):
    data = fields.rest()
    require(raw_length <= MAX_DATA)
    if kind == 15:
        return words(raw_length) + digits(bytes([codec]) + data)
    require(len(data) == raw_length)
    return digits(data)


def copies_record(raw_length, fields, header):
    data = fields.rest()
    copies = [struct.unpack_from("<hhHHhh", data, at) for at in range(0, len(data) // 12 * 12, 12)]
    require(len(data) == 12 * len(copies) and 1 <= len(copies) <= 65536)
    require(all(1 <= c[2] <= 16384 and 1 <= c[3] <= 16384 for c in copies))
    require(raw_length == sum(c[2] * c[3] for c in copies) * BYTES_PER_PIXEL[header.format])
    require(raw_length <= MAX_DATA)
    return b"".join(words(*copy) for copy in copies)


LAYOUTS = {6: "hh", 7: "HH"}
TEXTS = {8: 2, 9: 1, 10: 1, 11: 1, 12: 1, 13: 1, 16: 1}
CODECS = {4: (1, 2, 3, 4, 5, 6), 15: (1, 3, 4, 5), 5: (0, 1)}


@functools.lru_cache(1 << 12)
def record_text(kind, codec, raw_length, payload, header):
    fields = Fields(payload)
    require(codec in CODECS.get(kind, (0,)) and (raw_length == 0 or kind in (3, 4, 5, 14, 15, 17)))
    if kind == 2:
        return Header(payload).text
    if kind in (3, 4):
        return image_record(kind, codec, raw_length, fields, header)
    if kind == 5:
        return cursor_record(codec, raw_length, fields)
    if kind == 17:
        return copies_record(raw_length, fields, header)
    if kind in (14, 15):
        return blocks_record(kind, codec, raw_length, fields)
    text = words(*fields.get(LAYOUTS.get(kind, "")))
    text += b"".join(fields.text() for _ in range(TEXTS.get(kind, 0)))
    fields.end()
    return text


# --- the file ------------------------------------------------------------------------------------


class Recording:
    def __init__(self, data):
        self.data = data
        self.records, self.texts = [], []  # (position, length, type, time); lines
        self.marks, self.gaps, self.film = set(), [], []
        self.origins = []  # since the last record
        self.areas = {}  # by position
        self.flags = {}  # of index entries, by position
        self.drawn = []  # type, codec, bytes of pixels, payload
        self.find_head()
        self.time = self.header.start
        self.walk()

    def read_head(self, data):
        magic, self.major, self.minor, length = struct.unpack_from("<8sHHI", data + bytes(16))
        require(magic == b"\x89QOM\r\n\x1a\n" and self.major in (1, 2) and length <= 4194304)
        require(len(data) >= 20 + length)
        self.head = data[:20 + length]
        self.salt = self.head[-4:]
        require(struct.unpack("<I", self.salt)[0] == crc32c(self.head[:-4]))
        self.header = Header(self.head[16:-4])

    def find_head(self):
        """That of the file, or the first copy of it that proves itself."""
        for at in [-32, *(copy.start() for copy in re.finditer(re.escape(SYNC) + b"\xE4", self.data))]:
            try:
                self.read_head(self.data[at + 32:])
            except Lie:
                continue
            frame = self.frame_head(at) if at >= 0 else None
            if at < 0 or frame and (frame[3], frame[5]) == (len(self.head), crc32c(self.head)):
                return
        raise Lie

    def frame_head(self, at):
        head = self.data[at:at + 32]
        if len(head) < 32 or struct.unpack_from("<I", head, 28)[0] != crc32c(self.salt + head[:28]):
            return None
        return struct.unpack("<4xBBxxQIIIxxxx", head)

    def walk(self):
        at = len(self.head)
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
        if kind <= 17:
            require(time <= MAX_TIME)
            fields = record_text(kind, codec, raw_length, payload, self.header)
            self.time = max(self.time, time)
            self.records.append((at, 32 + len(payload), kind, self.time))
            self.origins.clear()
            self.areas[at] = self.area(kind, raw_length)
            self.flags[at] = 2 if codec == 5 else 0
            if kind in (3, 4, 14, 15):
                self.drawn.append((kind, codec, raw_length, payload))
            self.texts.append(words(kind)[1:] + b" at" + words(self.time) + fields + b"\n")
        elif kind == 227 and len(payload) == 16:
            self.marks.add(struct.unpack("<QQ", payload))
        elif kind == 229 and len(payload) == 32:
            begin, end, offset, reason = struct.unpack("<QQqBxxxxxxx", payload)
            require(begin <= end <= MAX_TIME and abs(offset) <= MAX_TIME and reason)
            self.gaps.append(words(begin, end, offset, reason))
        elif kind == 233 and len(payload) == 32:
            begin, end, *area, rate, quality = struct.unpack("<QQHHHHIBxxx", payload)
            x, y, width, height = area
            require(begin <= end <= MAX_TIME and min(width, height) > 0 and quality <= 100)
            require(max(x + width, y + height) <= 16384)
            self.film.append(words(begin, end, *area, rate, quality))
        elif kind == 232:
            self.origins.append(self.origin(Fields(payload)))

    def origin(self, fields):
        begin, end, start, size, lost, hash, flags, count = fields.get("QQQQQ32sII")
        require(begin <= end and max(end, start) <= MAX_TIME and count <= 1024)
        masks = [fields.get("iiii") for _ in range(count)]
        require(all(min(x, y) >= 0 and min(w, h) > 0 and max(x + w, y + h) <= 65536
                    for x, y, w, h in masks))
        name = fields.text()
        require(len(name) <= 4096 + len(b' ""'))
        fields.end()
        return (words(begin, end, start, size, lost, flags & 1, flags >> 1 & 1) + digits(hash) +
                words(count, *(side for mask in masks for side in mask)) + name)

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

    def area(self, kind, raw_length):
        """What an index entry can hold of it: twelve bits and how far to shift them."""
        if kind not in DRAWING or (self.major, self.minor) < (1, 2):
            return 0
        pixels, shift = raw_length // BYTES_PER_PIXEL[self.header.format], 0
        while pixels >> shift > 4095:
            shift += 1
        return pixels >> shift << shift

    def strip(self):
        """Start and width of the strip, and its steps."""
        if not self.records:
            return 0, 1, []
        start, end = self.records[0][3], self.records[-1][3]
        width = (end - start) // 4096 + 1
        steps = [[0] * 5 for _ in range((end - start) // width + 1)]
        restated = {i for span in self.checkpoints() for i in range(*span)}
        for i, (at, length, kind, time) in enumerate(self.records):
            step = steps[(time - start) // width]
            if i in restated:
                continue
            if kind in DRAWING:
                step[0] = min(step[0] + length, 0xFFFFFFFF)
                step[1] = min(step[1] + self.areas[at], 0xFFFFFFFF)
            elif kind in COUNTED:
                step[COUNTED[kind]] += 1
        return start, width, steps

    def overview(self):
        """What the overview tells, of a finished recording that has one; None of others."""
        end = self.frame_head(len(self.data) - 64) if len(self.data) > 64 else None
        if not end or end[0] != 226 or end[4] == 0:
            return None
        fields = Fields(self.data[-32:])
        _, first_part, records, checkpoints = fields.get("QQQQ")
        head = self.frame_head(first_part - end[4])
        require(head and head[0] == 230 and 32 + head[3] == end[4])
        fields = Fields(self.data[first_part - end[4] + 32:first_part])
        require(crc32c(fields.data) == head[5])
        here, count, image, image_time, start, width, *numbers, _ = fields.get("QQQQQQIIII")
        rest = fields.rest()
        if head[1]:
            rest = zstandard.ZstdDecompressor().decompress(rest)
        require(len(rest) == head[4] and here == first_part - end[4])
        require((count, numbers[1]) == (records, checkpoints))
        fields = Fields(rest)
        parts, spans, steps = ([fields.get(layout) for _ in range(number)]
                               for number, layout in zip(numbers, ("QQQII", "QQQII", "IIIII")))
        return first_part, (image, image_time), parts, spans, (start, width, list(map(list, steps)))

    def check_overview(self, told):
        """Holds everything that the overview tells against the records."""
        at, image, parts, spans, strip = told
        first = 0
        for position, start, end, entries, checkpoints in parts:
            run = self.records[first:first + entries]
            require((position, start, end) == (run[0][0], run[0][3], run[-1][3]))
            head = self.frame_head(at)
            require(head[0] == 225 and head[3] == 32 + 24 * entries + 16 * checkpoints)
            index = Fields(self.data[at + 32:at + 32 + head[3]])
            require(index.get("QQQII") == (at, 0, first, entries, checkpoints))
            for record in run:
                position, time, kind, flags, area, stored = index.get("QQBBHI")
                area = area & 2047 if area < 2048 else (2048 + area % 2048) << (area // 2048 - 1)
                require((position, time, kind, stored + 32) == (record[0], record[3], record[2],
                                                                record[1]))
                require((area, flags) == (self.areas[position], self.flags[position]))
            at, first = at + 32 + head[3], first + entries
        require(at == len(self.data) - 64 and first == len(self.records))
        require(spans == [(self.records[a][0], a, self.records[a][3], b - a, 0)
                          for a, b in self.checkpoints()])
        images = [i for i, record in enumerate(self.records) if record[2] in (3, 4)]
        require(image == ((images[0], self.records[images[0]][3]) if images else (first, 0)))
        require(strip == self.strip())

    def strip_text(self):
        told = self.overview()
        if told:
            self.check_overview(told)
        start, width, steps = self.strip()
        yield b"strip" + words(start, width, len(steps)) + b"\n"
        for i, step in enumerate(steps):
            if any(step):
                yield b"step" + words(i, *step) + b"\n"

    def text(self):
        lines = [b"2 at" + words(self.header.start) + self.header.text + b"\n", *self.texts]
        lines += [b"checkpoint" + words(*span) + b"\n" for span in self.checkpoints()]
        lines += [b"gap" + gap + b"\n" for gap in self.gaps]
        lines += [b"film" + film + b"\n" for film in self.film]
        lines += [b"origin" + origin + b"\n" for origin in self.origins]
        try:
            lines += self.strip_text()
        except Lie:
            lines.append(b"strip: the overview is not what the document says\n")
        return b"".join(lines)


def pixels(kind, codec, raw_length, payload):
    if kind in (14, 15):
        data, size = payload, None
    else:
        data, size = payload[12:], struct.unpack_from("<HH", payload)
    return independent_pixels.unpacked(codec, data, raw_length, size) if codec else data


def answer(name):
    unpack = name.startswith(b"pixels ")
    with open(name[7:] if unpack else name, "rb") as file:
        data = file.read()
    try:
        recording = Recording(data)
        if unpack:
            return b"".join(digits(pixels(*drawn))[1:] + b"\n" for drawn in recording.drawn)
        return recording.text()
    except Lie:
        return b"not a recording\n"


for name in sys.stdin.buffer:
    text = answer(name[:-1])
    sys.stdout.buffer.write(b"%d\n" % len(text) + text)
    sys.stdout.buffer.flush()
