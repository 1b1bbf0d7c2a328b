# SPDX-License-Identifier: GPL-3.0-or-later
"""Damages QuickTime and ISO base media files by their structure: boxes, their fields, tables, edit lists, fragments."""
import struct
import zlib

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl", b"edts", b"dinf", b"udta", b"mvex", b"moof", b"traf",
              b"gmhd", b"wave"}

# Fields of the boxes as (offset in the payload, bytes); tables as (offset of the count, bytes of an entry's columns).
FIELDS = {
    b"mvhd": [(0, 1), (4, 4), (12, 4), (16, 4)],
    b"tkhd": [(0, 1), (0, 4), (12, 4), (20, 4)],
    b"mdhd": [(0, 1), (12, 4), (16, 4)],
    b"hdlr": [(4, 4), (8, 4)],
    b"elst": [(0, 1), (4, 4)],
    b"stsd": [(4, 4), (8, 4), (12, 4), (22, 2), (24, 2), (32, 2), (34, 2), (36, 2), (40, 4), (44, 4), (48, 4), (52, 4),
              (56, 4), (60, 4), (32, 4), (36, 4), (28, 4), (40, 1)],
    b"stts": [(4, 4)], b"ctts": [(4, 4)], b"stsc": [(4, 4)], b"stco": [(4, 4)], b"co64": [(4, 4)],
    b"stsz": [(4, 4), (8, 4)], b"stz2": [(4, 4), (7, 1), (8, 4)],
    b"mehd": [(0, 1), (4, 4)], b"trex": [(4, 4), (8, 4), (12, 4), (16, 4)],
    b"tfhd": [(1, 3), (4, 4), (8, 4), (12, 4), (16, 4)],
    b"tfdt": [(0, 1), (4, 4), (8, 4)],
    b"trun": [(1, 3), (4, 4), (8, 4), (12, 4)],
    b"mfhd": [(4, 4)], b"dref": [(4, 4), (16, 4)], b"keys": [(4, 4)], b"sgpd": [(4, 4), (8, 4)],
}
TABLES = {
    b"elst": (4, (4, 4, 2, 2)), b"stts": (4, (4, 4)), b"ctts": (4, (4, 4)), b"stsc": (4, (4, 4, 4)), b"stco": (4, (4,)),
    b"co64": (4, (8,)), b"stsz": (8, (4,)), b"trun": (4, (4,)),
}
LARGEST_FILE = 400_000


def extreme(random, size, old=0):
    """A value that some counter, length, rate or offset of that many bytes breaks at."""
    top = (1 << 8 * size) - 1
    choices = [0, 0, 1, 2, 3, top, top - 1, top >> 1, (top >> 1) + 1, 1000, 48_000, 0xFFFF, 0x10000, 1_000_000,
               1_000_000_000, old + 1, old - 1, old * 2, old * 1000, old * 3600, old * 172_800, old * 90_000, old // 2,
               random.getrandbits(8 * size), 1 << random.randrange(8 * size)]
    return random.choice(choices) & top


class Box:
    """A box in memory. A leaf has `data`; `size` overrides the stated size."""

    def __init__(self, kind, data=b"", children=None):
        self.kind, self.data, self.children, self.size, self.wide = kind, bytearray(data), children, None, False

    def bytes(self):
        content = bytes(self.data)
        if self.children is not None:
            content += b"".join([child.bytes() for child in self.children])
        if self.wide:
            stated = len(content) + 16 if self.size is None else self.size
            return struct.pack(">I4sQ", 1, self.kind, stated & (1 << 64) - 1) + content
        stated = len(content) + 8 if self.size is None else self.size
        return struct.pack(">I4s", stated & 0xFFFFFFFF, self.kind) + content

    def copy(self):
        other = Box(self.kind, self.data, None if self.children is None else [c.copy() for c in self.children])
        other.size, other.wide = self.size, self.wide
        return other

    def walk(self):
        yield self
        for child in self.children or []:
            yield from child.walk()


def parse(data, begin=0, end=None):
    boxes = []
    end = len(data) if end is None else end
    while end - begin >= 8:
        size, kind = struct.unpack_from(">I4s", data, begin)
        head = 8
        if size == 1:
            size, head = struct.unpack_from(">Q", data, begin + 8)[0], 16
        size = end - begin if size == 0 else size
        if size < head or size > end - begin:
            break
        if kind in CONTAINERS:
            boxes.append(Box(kind, b"", parse(data, begin + head, begin + size)))
        else:
            boxes.append(Box(kind, data[begin + head:begin + size]))
        boxes[-1].wide = head == 16
        begin += size
    return boxes


def put(box, offset, size, value):
    if offset + size <= len(box.data):
        box.data[offset:offset + size] = (value & (1 << 8 * size) - 1).to_bytes(size, "big")


def get(box, offset, size):
    return int.from_bytes(box.data[offset:offset + size], "big")


def compressed(moov, padding=0):
    """The same movie header in a `cmov`, padded by zeros that compress to nothing."""
    data = moov.bytes()
    if padding:
        data = Box(b"moov", data[8:] + Box(b"free", bytes(padding)).bytes()).bytes()
    packed = struct.pack(">I", len(data) & 0xFFFFFFFF) + zlib.compress(data)
    return Box(b"moov", b"", [Box(b"cmov", b"", [Box(b"dcom", b"zlib"), Box(b"cmvd", packed)])])


class Damage:
    """One damaged variant of a file."""

    def __init__(self, data, random):
        self.random = random
        self.top = parse(data)
        self.tail = b""
        self.grown = None  # a size that the file is stretched to without holding it

    def all(self):
        return [box for top in self.top for box in top.walk()]

    def leaves(self, kinds=None):
        return [box for box in self.all() if box.children is None and (kinds is None or box.kind in kinds)]

    def pick(self, kinds):
        found = self.leaves(kinds)
        return self.random.choice(found) if found else None

    def one(self, kind):
        return next((box for box in self.all() if box.kind == kind), None)

    def field(self):
        box = self.pick(FIELDS)
        if box is not None:
            offset, size = self.random.choice(FIELDS[box.kind])
            put(box, offset, size, extreme(self.random, size, get(box, offset, size)))

    def table(self):
        random = self.random
        box = self.pick(TABLES)
        if box is None:
            return
        count_at, columns = TABLES[box.kind]
        first, row = count_at + 4, sum(columns)
        held = (len(box.data) - first) // row
        if held <= 0:
            return
        action = random.randrange(6)
        column = random.randrange(len(columns))
        at = sum(columns[:column])
        if action == 0:  # one value
            place = first + random.randrange(held) * row + at
            put(box, place, columns[column], extreme(random, columns[column], get(box, place, columns[column])))
        elif action == 1:  # the whole column
            value = extreme(random, columns[column], get(box, first + at, columns[column]))
            for i in range(held):
                put(box, first + i * row + at, columns[column], value)
        elif action == 2:  # many more entries, all like one of them
            entry = random.randrange(held)
            times = random.choice([2, 10, 100, 1000, 5000])
            box.data += bytes(box.data[first + entry * row:first + (entry + 1) * row]) * times
            put(box, count_at, 4, held + times)
        elif action == 3:  # fewer
            kept = random.randrange(held)
            del box.data[first + kept * row:]
            if random.random() < 0.7:
                put(box, count_at, 4, kept)
        elif action == 4:  # disordered
            rows = [bytes(box.data[first + i * row:first + (i + 1) * row]) for i in range(held)]
            random.shuffle(rows)
            box.data[first:first + held * row] = b"".join(rows)
        else:  # a count that the table doesn't have
            put(box, count_at, 4, extreme(random, 4, held))

    def edits(self):
        random = self.random
        tracks = [box for box in self.all() if box.kind == b"trak"]
        if not tracks:
            return
        track = random.choice(tracks)
        movie, media = self.one(b"mvhd"), next((b for b in track.walk() if b.kind == b"mdhd"), None)
        if movie is None or media is None:
            return
        second = get(movie, 12, 4) or 600
        ticks = get(media, 12, 4) or 600
        version = random.choice([0, 0, 1])
        rows = []
        for _ in range(random.choice([1, 2, 3, 8, 300, 4000])):
            length = random.choice([0, 1, second // 25, second, 3600 * second, 86_400 * second, 172_799 * second,
                                    1_209_600 * second, extreme(random, 8 if version else 4)])
            start = random.choice([-1, -1, 0, 0, 1, -second, ticks, ticks // 2, extreme(random, 8 if version else 4)])
            rate = random.choice([0x10000, 0x10000, 0x10000, 0, 0x20000, 0xFFFF0000])
            mask = (1 << 64) - 1 if version else 0xFFFFFFFF
            rows.append(struct.pack(">QQI" if version else ">III", length & mask, start & mask, rate))
        if random.random() < 0.5:  # one entry over and over
            rows = [random.choice(rows)] * len(rows)
        table = Box(b"elst", struct.pack(">II", version << 24, len(rows)) + b"".join(rows))
        track.children = [c for c in track.children if c.kind != b"edts"]
        track.children.insert(min(1, len(track.children)), Box(b"edts", b"", [table]))

    def structure(self):
        random = self.random
        parents = [box for box in self.all() if box.children]
        if not parents:
            return
        parent = random.choice(parents)
        place = random.randrange(len(parent.children))
        child = parent.children[place]
        action = random.randrange(8)
        if action == 0:
            del parent.children[place]
        elif action == 1:
            parent.children.insert(place, child.copy())
        elif action == 2:
            other = random.choice(parents)
            if other is not child and other not in child.walk():
                other.children.append(child.copy())
        elif action == 3:
            child.kind = random.choice(list(FIELDS) + list(CONTAINERS) + [b"free", b"cmov", b"\0\0\0\0"])
        elif action == 4:
            box = random.choice(self.all())
            box.wide = random.random() < 0.3
            box.size = extreme(random, 8 if box.wide else 4, len(box.bytes()))
        elif action == 5:  # deep in itself
            for _ in range(random.choice([1, 30, 300])):
                child = Box(random.choice([child.kind, parent.kind, b"udta", b"meta"]), b"", [child])
            parent.children[place] = child
        elif action == 6:
            clones = random.choice([2, 8, 60, 250])
            tracks = [box for box in parent.children if box.kind in (b"trak", b"traf", b"moof", b"trun")]
            if tracks:
                source = random.choice(tracks)
                parent.children += [source.copy() for _ in range(clones)]
        else:
            random.shuffle(parent.children)

    def bytes_(self):
        box = self.pick(None)
        if box is None or not box.data:
            return
        for _ in range(self.random.choice([1, 1, 2, 8, 40])):
            at = self.random.randrange(min(len(box.data), 4096))
            box.data[at] = self.random.choice([0, 0xFF, 0x7F, 0x80, 1, self.random.getrandbits(8)])

    def flood(self):
        random = self.random
        moov = self.one(b"moov")
        many = random.choice([100, 5000])
        if moov is None or moov.children is None:
            return
        kind = random.randrange(4)
        if kind == 0:
            text = Box(b"\xa9nam", struct.pack(">HH", 4, 0) + b"abcd")
            moov.children.append(Box(b"udta", b"", [text] * many))
        elif kind == 1:
            keys = b"".join(Box(b"mdta", b"k%d" % i).bytes() for i in range(many))
            items = [Box(struct.pack(">I", i % many + 1), b"", [Box(b"data", struct.pack(">II", 1, 0) + b"x")])
                     for i in range(many)]
            moov.children.append(Box(b"meta", b"", [Box(b"hdlr", bytes(8) + b"mdta" + bytes(13)),
                                                    Box(b"keys", struct.pack(">II", 0, many) + keys),
                                                    Box(b"ilst", b"", items)]))
        elif kind == 2:
            self.top += [Box(b"free", b"")] * many
        else:
            fragment = next((box for box in self.top if box.kind == b"moof"), None)
            if fragment is not None:
                self.top += [fragment] * min(many, 300)

    def sound(self):
        """Sample rates, channels and widths of a sound description, wherever they may stand."""
        random = self.random
        tables = [box for box in self.leaves({b"stsd"}) if len(box.data) > 44]
        if not tables:
            return
        box = random.choice(tables)
        for _ in range(random.choice([1, 2])):
            offset, size = random.choice([(24, 2), (32, 2), (34, 2), (40, 4), (40, 2), (44, 4), (48, 4), (52, 4), (56, 4),
                                          (60, 4), (48, 8), (12, 4)])
            value = random.choice([0, 1, 2, 3, 8, 24, 32, 64, 65, 255, 65535, 0xBB800000, 0xFFFFFFFF, 1,
                                   struct.unpack(">Q", struct.pack(">d", random.choice([0.0, 1.0, 1e9, 1e300, -1.0])))[0],
                                   int.from_bytes(random.choice([b"sowt", b"twos", b"raw ", b"fl64", b"lpcm", b"alac",
                                                                 b"mp4a", b"ima4", b"alaw", b"fLaC", b"Opus", b"ac-3"]),
                                                  "big")])
            put(box, offset, size, value)

    def stretch(self):
        """States media that the file does not hold: sparse, or not at all."""
        random = self.random
        for box in self.top:
            if box.kind == b"mdat":
                if random.random() < 0.5:
                    box.wide, box.size = True, random.choice([1 << 32, 1 << 40, 1 << 62, 17])
                else:
                    self.top.remove(box)
                    self.top.append(box)
                    self.grown = random.choice([1 << 24, 1 << 30, 1 << 37])
                    box.wide, box.size = True, self.grown
                break

    def squeeze(self):
        moov = self.one(b"moov")
        if moov is not None and moov in self.top:
            padding = self.random.choice([0, 0, 0, 1 << 16, 1 << 22])
            self.top[self.top.index(moov)] = compressed(moov, padding)

    def cut(self):
        data = self.result()
        kind = self.random.randrange(3)
        if kind == 0:
            data = data[:self.random.randrange(len(data) + 1)]
        elif kind == 1:
            begin = self.random.randrange(len(data) + 1)
            data = data[:begin] + data[begin + self.random.randrange(64):]
        else:
            data += self.random.randbytes(self.random.randrange(2000))
        self.top, self.tail = [], data

    def result(self):
        return b"".join(box.bytes() for box in self.top) + self.tail


ACTIONS = [("field", 24), ("table", 24), ("edits", 12), ("structure", 12), ("bytes_", 8), ("sound", 8), ("flood", 2),
           ("stretch", 2), ("squeeze", 2), ("cut", 4)]


def damage(data, random):
    """A damaged variant as (bytes, size to stretch the file to or None)."""
    variant = Damage(data, random)
    names = [name for name, _ in ACTIONS]
    weights = [weight for _, weight in ACTIONS]
    for name in random.choices(names, weights, k=random.choice([1, 1, 2, 2, 3, 5])):
        before = [box.copy() for box in variant.top]
        if variant.tail:
            break
        getattr(variant, name)()
        if len(variant.result()) > LARGEST_FILE:
            variant.top = before
    return variant.result(), variant.grown
