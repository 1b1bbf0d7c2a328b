# SPDX-License-Identifier: GPL-3.0-or-later
"""Damages MXF files by their structure: triplets, partition packs, local sets, index segments, the random index."""
import struct

from damaging.quicktime import LARGEST_FILE, extreme

# Offsets of a partition pack's fields: grid, this, previous, footer, header bytes, index bytes, index SID, offset, SID.
PACK_FIELDS = [(4, 4), (8, 8), (16, 8), (24, 8), (32, 8), (40, 8), (48, 4), (52, 8), (60, 4)]
RATES = [(0, 0), (1, 0), (0, 1), (1, 1_000_000_000), (1_000_000_000, 1), (-1, 1), (25, -1), (2**31 - 1, 2**31 - 1),
         (1, 3600), (48_000, 1), (1, 1), (240, 1), (2**31 - 1, 1), (1, 2**31 - 1), (24_000, 1001)]


class Triplet:
    def __init__(self, offset, key, length, value):
        self.offset, self.key, self.length, self.value = offset, bytearray(key), length, bytearray(value)
        self.stated = None  # overrides the length's bytes

    def bytes(self):
        if self.stated is not None:
            length = self.stated
        else:  # as wide as it is, where that is enough
            size = len(self.value)
            count = max(len(self.length) - 1, 0 if size < 0x80 else (size.bit_length() + 7) // 8)
            length = bytes([0x80 | count]) + size.to_bytes(count, "big") if count else bytes([size])
        return bytes(self.key) + length + bytes(self.value)

    def copy(self):
        other = Triplet(None, self.key, self.length, self.value)
        other.stated = self.stated
        return other

    def is_pack(self):
        return self.key[4:13] == b"\x02\x05\x01\x01\x0d\x01\x02\x01\x01" and 2 <= self.key[13] <= 4

    def is_random_index(self):
        return self.key[4:14] == b"\x02\x05\x01\x01\x0d\x01\x02\x01\x01\x11"

    def is_index(self):
        return self.key[4:6] == b"\x02\x53" and self.key[8:14] == b"\x0d\x01\x02\x01\x01\x10"

    def is_set(self):
        return self.key[4:6] == b"\x02\x53"

    def is_essence(self):
        return self.key[8:12] == b"\x0d\x01\x03\x01"

    def items(self):
        """(tag, value) of a local set."""
        found, at = [], 0
        while at + 4 <= len(self.value):
            tag, size = struct.unpack_from(">HH", self.value, at)
            found.append((tag, bytes(self.value[at + 4:at + 4 + size])))
            at += 4 + size
        return found

    def set_items(self, items):
        self.value = bytearray(b"".join(struct.pack(">HH", tag, len(value) & 0xFFFF) + value for tag, value in items))


def parse(data):
    triplets, at = [], 0
    while at + 17 <= len(data):
        count = data[at + 16]
        head = 17 if count < 0x80 else 17 + (count & 0x7F)
        length = count if count < 0x80 else int.from_bytes(data[at + 17:at + head], "big")
        triplets.append(Triplet(at, data[at:at + 16], data[at + 16:at + head], data[at + head:at + head + length]))
        at += head + length
    return triplets


def shrunk(data):
    """The file with its pictures cut to a few bytes and without fill, so that it is small and all structure."""
    triplets = parse(data)
    kept = []
    for triplet in triplets:
        if triplet.key[4:9] == b"\x01\x01\x01\x02\x03" or triplet.key[4:12] == b"\x01\x01\x01\x01\x03\x01\x02\x10":
            continue
        if triplet.is_essence() and triplet.key[4] == 1 and triplet.key[12] in (0x05, 0x15):
            del triplet.value[64:]
        kept.append(triplet)
    return relaid(kept)


def relaid(triplets):
    """The file's bytes, with partition packs and the random index pointing at where things went."""
    moved, at = {}, 0
    for triplet in triplets:
        if triplet.offset is not None:
            moved[triplet.offset] = at
        at += len(triplet.bytes())
    for triplet in triplets:
        if triplet.is_pack() and len(triplet.value) >= 88:
            header = struct.unpack_from(">Q", triplet.value, 32)[0]
            for offset in (8, 16, 24):
                old = struct.unpack_from(">Q", triplet.value, offset)[0]
                struct.pack_into(">Q", triplet.value, offset, moved.get(old, old))
            if header and triplet.offset is not None:
                old = triplet.offset + 16 + len(triplet.length) + len(triplet.value)
                new = moved[triplet.offset] + 16 + len(triplet.length) + len(triplet.value)
                end = moved.get(old + header)
                if end is not None:
                    struct.pack_into(">Q", triplet.value, 32, max(0, end - new))
        elif triplet.is_random_index():
            for entry in range(4, len(triplet.value) - 11, 12):
                old = struct.unpack_from(">Q", triplet.value, entry)[0]
                struct.pack_into(">Q", triplet.value, entry, moved.get(old, old))
    return b"".join(triplet.bytes() for triplet in triplets)


class Damage:
    """One damaged variant of a file."""

    def __init__(self, data, random):
        self.random, self.triplets, self.tail, self.grown = random, parse(data), b"", None

    def pick(self, condition):
        found = [triplet for triplet in self.triplets if condition(triplet)]
        return self.random.choice(found) if found else None

    def value_of(self, value):
        """Something else in place of an item's value."""
        random, size = self.random, len(value)
        if size == 8 and random.random() < 0.5:
            return struct.pack(">ii", *random.choice(RATES))
        if size in (1, 2, 4, 8):
            return extreme(random, size, int.from_bytes(value, "big")).to_bytes(size, "big")
        if size >= 8 and random.random() < 0.6:  # a batch: count and size
            head = bytearray(value)
            place = random.choice([0, 4])
            head[place:place + 4] = extreme(random, 4, int.from_bytes(head[place:place + 4], "big")).to_bytes(4, "big")
            return bytes(head)
        return random.choice([b"", value[:-1], value + value, random.randbytes(size), bytes(size), b"\xff" * size])

    def item(self):
        chosen = self.pick(Triplet.is_set)
        items = chosen.items() if chosen else []
        if not items:
            return
        place = self.random.randrange(len(items))
        tag, value = items[place]
        action = self.random.randrange(10)
        if action == 0:
            del items[place]
        elif action == 1:
            items.insert(self.random.randrange(len(items)), (tag, self.value_of(value)))
        elif action == 2:
            items[place] = (self.random.choice([0x3f0a, 0x3f0d, 0x3001, 0x1001, 0x1101, 0x0202, 0x3c0a, 0x3d03]), value)
        else:
            items[place] = (tag, self.value_of(value))
        chosen.set_items(items)
        if self.random.random() < 0.05 and len(chosen.value) > 4:  # a length that the set does not have
            struct.pack_into(">H", chosen.value, 2, extreme(self.random, 2))

    def rate(self):
        """Every rate of one tag the same nonsense."""
        random = self.random
        tag, rate = random.choice([0x4b01, 0x3f0b, 0x3d03, 0x3001, 0x1502]), random.choice(RATES)
        for triplet in self.triplets:
            if triplet.is_set():
                items = triplet.items()
                changed = [(t, struct.pack(">ii", *rate) if t == tag and len(v) == 8 else v) for t, v in items]
                if changed != items:
                    triplet.set_items(changed)

    def duration(self):
        """Every length, start or count of one tag the same extreme."""
        random = self.random
        tag = random.choice([0x0202, 0x1201, 0x4b02, 0x3002, 0x3f0c, 0x3f0d, 0x1501, 0x3f05, 0x3d07, 0x3d01, 0x3d0a])
        value = extreme(random, 8, random.choice([1, 50, 1_000_000]))
        for triplet in self.triplets:
            if triplet.is_set():
                items = triplet.items()
                changed = [(t, (value & (1 << 8 * len(v)) - 1).to_bytes(len(v), "big") if t == tag else v)
                           for t, v in items]
                if changed != items:
                    triplet.set_items(changed)

    def reference(self):
        """One set refers to another in place of its own: circles and strangers."""
        ids = [value for t in self.triplets if t.is_set() for tag, value in t.items() if tag == 0x3c0a]
        chosen = self.pick(Triplet.is_set)
        if not ids or chosen is None:
            return
        items = chosen.items()
        for place, (tag, value) in enumerate(items):
            if len(value) >= 24 and (len(value) - 8) % 16 == 0 and self.random.random() < 0.5:
                many = self.random.choice([1, 2, 50, 3000])
                items[place] = (tag, (struct.pack(">II", many, 16) + self.random.choice(ids) * many)[:65_000])
            elif len(value) == 16 and self.random.random() < 0.3:
                items[place] = (tag, self.random.choice(ids))
        chosen.set_items(items)

    def pack(self):
        chosen = self.pick(Triplet.is_pack)
        if chosen is None or len(chosen.value) < 88:
            return
        if self.random.random() < 0.15:
            chosen.key[self.random.choice([13, 14])] = self.random.randrange(6)
            return
        offset, size = self.random.choice(PACK_FIELDS)
        places = [t.offset for t in self.triplets if t.offset is not None]
        value = self.random.choice(places) if size == 8 and self.random.random() < 0.5 else extreme(
            self.random, size, int.from_bytes(chosen.value[offset:offset + size], "big"))
        chosen.value[offset:offset + size] = value.to_bytes(size, "big")

    def index(self):
        random = self.random
        chosen = self.pick(Triplet.is_index)
        if chosen is None:
            return
        if random.random() < 0.3:
            place = self.triplets.index(chosen)
            self.triplets[place:place] = [chosen.copy() for _ in range(random.choice([1, 5, 200]))]
            return
        items = chosen.items()
        for place, (tag, value) in enumerate(items):
            if tag in (0x3f0a, 0x3f09) and len(value) >= 8 and random.random() < 0.7:
                count, size = struct.unpack_from(">II", value)
                body = value[8:]
                if random.random() < 0.3 and size:
                    row = bytearray(body[:size])
                    if len(row) >= 11:
                        row[3:11] = extreme(random, 8).to_bytes(8, "big")
                    body = bytes(row) * min(count, 5000)
                else:
                    count, size = random.choice([(extreme(random, 4, count), size), (count, extreme(random, 4, size))])
                items[place] = (tag, struct.pack(">II", count, size) + body)
            elif random.random() < 0.2:
                items[place] = (tag, self.value_of(value))
        chosen.set_items(items)

    def random_index(self):
        chosen = self.pick(Triplet.is_random_index)
        if chosen is None:
            return
        entries = range(0, len(chosen.value) - 15, 12)
        if self.random.random() < 0.3:
            chosen.value[0:0] = bytes(chosen.value[:12]) * self.random.choice([1, 50, 2000])
        elif entries:
            at = self.random.choice(entries) + 4
            places = [t.offset for t in self.triplets if t.offset is not None] + [extreme(self.random, 8)]
            struct.pack_into(">Q", chosen.value, at, self.random.choice(places))
        if self.random.random() < 0.7:
            struct.pack_into(">I", chosen.value, len(chosen.value) - 4, len(chosen.bytes()))

    def structure(self):
        random = self.random
        place = random.randrange(len(self.triplets))
        triplet = self.triplets[place]
        action = random.randrange(7)
        if action == 0:
            del self.triplets[place]
        elif action == 1:
            self.triplets[place:place] = [triplet.copy() for _ in range(random.choice([1, 3, 100, 1000]))]
        elif action == 2:
            other = random.randrange(len(self.triplets))
            self.triplets[place], self.triplets[other] = self.triplets[other], triplet
        elif action == 3:
            triplet.stated = random.choice([b"\x80", b"\x00", b"\x7f", b"\xff", b"\x88" + b"\xff" * 8,
                                            b"\x88" + (1 << 40).to_bytes(8, "big"), b"\x84\x7f\xff\xff\xff",
                                            b"\x83" + extreme(random, 3).to_bytes(3, "big")])
        elif action == 4:
            triplet.key[random.randrange(16)] = random.getrandbits(8)
        elif action == 5:
            fill = Triplet(None, bytes.fromhex("060e2b34010101020301021001000000"), b"\x83\0\0\0",
                           bytes(random.choice([0, 1, 50])))
            self.triplets[place:place] = [fill] * random.choice([1, 100, 3000])
        else:
            del triplet.value[random.randrange(len(triplet.value) + 1):]

    def sound(self):
        """Widths, channels and block sizes of the sound descriptors."""
        random = self.random
        for triplet in self.triplets:
            if triplet.is_set():
                items = triplet.items()
                if any(tag == 0x3d03 for tag, _ in items):
                    triplet.set_items([(t, self.value_of(v) if 0x3d01 <= t <= 0x3d0a and random.random() < 0.3 else v)
                                       for t, v in items])

    def bytes_(self):
        triplet = self.random.choice(self.triplets)
        for _ in range(self.random.choice([1, 1, 2, 8, 40])):
            if triplet.value:
                at = self.random.randrange(min(len(triplet.value), 4096))
                triplet.value[at] = self.random.choice([0, 0xFF, 0x7F, 0x80, 1, self.random.getrandbits(8)])

    def cut(self):
        data = self.result()
        kind = self.random.randrange(4)
        if kind == 0:
            data = data[:self.random.randrange(len(data) + 1)]
        elif kind == 1:
            data += self.random.randbytes(self.random.randrange(2000))
        elif kind == 2:
            data = bytes(self.random.choice([1, 100, 60_000])) + data
        else:
            self.grown = len(data) + self.random.choice([1 << 20, 1 << 30, 1 << 37])
        self.triplets, self.tail = [], data

    def result(self):
        fixed = self.random.random() < 0.7
        return (relaid(self.triplets) if fixed else b"".join(t.bytes() for t in self.triplets)) + self.tail


ACTIONS = [("item", 22), ("rate", 6), ("duration", 10), ("reference", 6), ("pack", 10), ("index", 12),
           ("random_index", 5), ("structure", 12), ("sound", 8), ("bytes_", 5), ("cut", 4)]


def damage(data, random):
    """A damaged variant as (bytes, size to stretch the file to or None)."""
    variant = Damage(data, random)
    names = [name for name, _ in ACTIONS]
    weights = [weight for _, weight in ACTIONS]
    for name in random.choices(names, weights, k=random.choice([1, 1, 2, 2, 3, 5])):
        if not variant.triplets:
            break
        before = [triplet.copy() for triplet in variant.triplets]
        for copy, triplet in zip(before, variant.triplets):
            copy.offset = triplet.offset
        getattr(variant, name)()
        if sum(len(t.value) + 20 for t in variant.triplets) > LARGEST_FILE:
            variant.triplets = before
    return variant.result(), variant.grown
