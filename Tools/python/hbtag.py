#!/usr/bin/env python3
# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
"""Reads the files of hbTools in Python: tag files, persistent streams, language packs and version blocks.

    import hbtag
    with hbtag.open("scan.tag") as file:
        for record in file:                    # the records of the first level, in the order of their chain
            print(record.id, record.kind)
        points = file[100][101].array()        # record 101 of the level behind record 100: shape (n, 3)
        for part in file[100][101].parts(1 << 20):
            ...                                # the same, a million elements at a time
        conditions = file.find(102).properties()

It needs Python 3.9 and nothing else. Where numpy is installed, arrays are numpy arrays that map the file and read what
is looked at; elsewhere they are memoryviews of a copy. Nothing is ever written.

The file does not tell the type of most payloads: the id does, and ids are the application's. So who reads says what it is
(`number("double")`, `array("vec3i")`); `kind` and `readings` are guesses, for people who look around.

Errors: what is wrong with a file raises TagError, a ValueError with the `offset` where it was seen, and so does asking a
record for what it does not hold; an id that is missing is a KeyError. No count in a file is believed before it was compared
with the bytes that are there. Objects of this module belong to one thread at a time.

As a program: hbtag.py ls|dump|array FILE [ID] [--json]
"""
import argparse
import bisect
import builtins
import errno
import io
import json
import math
import os
import stat
import struct
import sys

try:
    import numpy
except ImportError:
    numpy = None

NESTING = 4096  # images within one another; more are refused

SHORT_HEAD, LONG_HEAD = struct.Struct("<IHIII"), struct.Struct("<IHQQQ")

NUMBERS = {  # name in C++ -> letter of struct; long has 4 bytes in files
    "char": "b", "unsigned char": "B", "short": "h", "unsigned short": "H", "int": "i", "unsigned int": "I",
    "long": "i", "unsigned long": "I", "long long": "q", "float": "f", "double": "d"}

# Arrays of raw elements: letter, components, extents in front (one count, or width and height).
RAW_ARRAYS = {"vec2s": ("h", 2, 1), "vec3i": ("i", 3, 1), "vec3f": ("f", 3, 1), "vec3d": ("d", 3, 1),
              "vec3f2d": ("f", 3, 2), "vec3d2d": ("d", 3, 2)}

OBJECT, OBJECT_TYPES, OBJECT_ADDRESS = 208001, 208002, 208003
HISTOGRAM_VALUES, DOUBLES_COUNT, DOUBLES_ELEMENT, INTS_COUNT = 208009, 208104, 208105, 208113
VECTORS = {208010: ("vec3d", "d", 3), 208013: ("vec3f", "f", 3), 208016: ("vec2s", "h", 2), 208018: ("vec2d", "d", 2)}
COMPOSITES = {INTS_COUNT: "ints", DOUBLES_COUNT: "doubles", HISTOGRAM_VALUES: "histogram",
              **{id: name for id, (name, _, _) in VECTORS.items()}}


class TagError(ValueError):
    """What is wrong with a file. `offset`: the byte of the file at which it was seen."""

    def __init__(self, message, offset):
        super().__init__(f"{message}, at byte {offset}")
        self.offset = offset


class _Bytes:
    """A file as bytes. Every read is compared with its size; small ones are served from a window of it."""

    WINDOW = 1 << 16

    def __init__(self, file):
        self.file = file
        self.size = file.seek(0, io.SEEK_END)
        self._begin, self._window = 0, b""

    def read(self, position, count, what):
        if position < 0 or count < 0 or position + count > self.size:
            raise TagError(f"the file ends inside {what}", min(position, self.size))
        offset = position - self._begin
        if 0 <= offset and offset + count <= len(self._window):
            return self._window[offset:offset + count]
        self.file.seek(position)
        taken = self.file.read(max(count, min(self.WINDOW, self.size - position)))
        if len(taken) < count:
            raise TagError(f"the file was cut inside {what}", position)
        if count <= self.WINDOW:
            self._begin, self._window = position, taken
        return taken[:count]

    def unpack(self, position, layout, what):
        return struct.unpack("<" + layout, self.read(position, struct.calcsize("<" + layout), what))


class _Cursor:
    """Reads on from a position of a file up to an end, which is that of a payload."""

    def __init__(self, data, position, end):
        self.data, self.position, self.end = data, position, end

    def take(self, count, what):
        if count > self.end - self.position:
            raise TagError(f"{what} promises more than is there", self.position)
        taken = self.data.read(self.position, count, what)
        self.position += count
        return taken

    def unpack(self, layout, what):
        return struct.unpack("<" + layout, self.take(struct.calcsize("<" + layout), what))

    def text(self, what, encoding):
        """A text of an image: wide behind a mark, else in the code page; the length has 1, 3, 7 or 15 bytes."""
        wide = self.end - self.position >= 3 and self.data.read(self.position, 3, what) == b"\xff\xfe\xff"
        self.position += 3 if wide else 0
        begin = self.position
        count, = self.unpack("B", what)
        if count == 0xFF:
            count, = self.unpack("H", what)
            if count == 0xFFFE:
                raise TagError(f"{what} has two marks", begin)
            if count == 0xFFFF:
                count, = self.unpack("I", what)
                if count == 0xFFFFFFFF:
                    count, = self.unpack("Q", what)
        taken = self.take(count * 2 if wide else count, what)
        return taken.decode("utf-16-le", "surrogatepass") if wide else decode(taken, encoding)


def decode(taken, encoding="cp1252"):
    """Bytes of a code page as text. What the code page leaves open becomes the control character of the same number."""
    try:
        return taken.decode(encoding)
    except UnicodeDecodeError:
        return "".join(_character(taken[i:i + 1], encoding) for i in range(len(taken)))


def _character(byte, encoding):
    try:
        return byte.decode(encoding)
    except UnicodeDecodeError:
        return chr(byte[0])


def _numbers(taken, letter, shape):
    """Little-endian bytes as an array of this shape: of numpy, or a memoryview; an empty memoryview is flat."""
    if numpy is not None:
        return numpy.frombuffer(taken, "<" + numpy.dtype(letter).str[1:]).reshape(shape)
    size = struct.calcsize("<" + letter)
    if sys.byteorder == "big":
        taken = b"".join(taken[i:i + size][::-1] for i in range(0, len(taken), size))
    view = memoryview(taken)
    return view.cast(letter, shape) if taken and len(shape) > 1 else view.cast(letter)


class Record:
    """One record of a tag file.

    position, address, next: bytes from the begin of the file; next is 0 at the end of a level. size: declared size of the
    payload in bytes, 0 also for composite kinds. form: 32 or 64. Iterating over a record, `len` of its `level` and
    `record[id]` go to the level that begins behind it, or to the records of which it is made.
    """

    __slots__ = ("file", "position", "id", "version", "size", "address", "next", "form")

    def __init__(self, file, position):
        """Reads the head at a position. Raises TagError if the file ends before it does."""
        self.file, self.position, self.form = file, position, 32
        head = file._data.read(position, 18, "the head of a record")
        self.id, self.version, self.size, self.address, self.next = SHORT_HEAD.unpack(head)
        if self.version & 0x8000:
            self.form = 64
            head = file._data.read(position, 30, "the head of a record")
            _, self.version, self.size, self.address, self.next = LONG_HEAD.unpack(head)
            self.version &= 0x3FFF

    def __repr__(self):
        return f"<record {self.id} at byte {self.position}, {self.kind}>"

    def __iter__(self):
        return iter(self.level)

    def __getitem__(self, id):
        """The first record with this id in the level behind the record. Raises KeyError if there is none."""
        return self.level[id]

    @property
    def level(self):
        """The records behind this one, a Level, empty if it is no marker."""
        return self.file._structure().get(self.position, Level(self.file))

    @property
    def end(self):
        """Where the payload ends: at the next record that stands in the file behind it, or where the file does."""
        return self.address + self.size if self.size else self.file._end_of(self.position, self.address)

    def bytes(self):
        """The payload: `size` bytes, or all up to the next record where no size is declared."""
        return self.file._data.read(self.address, self.end - self.address, "a payload")

    def _names_its_place(self):
        """Any bytes can look like the head of a record, but hardly ever do they name their own place. A long record that was
        patched in the short form still has its payload behind 30 bytes."""
        return self.address - self.position in ((30,) if self.form == 64 else (18, 30))

    def _inner(self):
        """The first record of the payload of a composite kind or object, else None."""
        if self.size or not self.file._is_record(self.address):
            return None
        inner = Record(self.file, self.address)
        return inner if inner.id in COMPOSITES or inner.id == OBJECT_TYPES else None

    def _behind(self):
        """Where a level behind the record would begin: behind the payload, as far as it tells its length."""
        inner = self._inner()
        try:
            if inner is None:
                end = self.next if self.next > self.position else self.file.size
                if self.size or not self.file._is_image(self.address, end):
                    return self.address + self.size
                cursor = _Cursor(self.file._data, self.address, end)
                _image(cursor, {}, "cp1252")
                return cursor.position
            if inner.id in VECTORS:
                parts = [part for part, _ in zip(self.file._chain(self.address), range(VECTORS[inner.id][2]))]
                return parts[-1].address + parts[-1].size
            if inner.id == INTS_COUNT:
                return inner.address + inner.size + 4 * max(0, inner.number("int"))
            if inner.id in (DOUBLES_COUNT, HISTOGRAM_VALUES):
                behind = Record(self.file, inner.address) if inner.id == HISTOGRAM_VALUES else inner
                for behind in self._double_records() or ():
                    pass
                return behind.address + behind.size
        except TagError:
            pass  # it is told to whoever asks for the payload
        return self.address

    @property
    def kind(self):
        """What the record seems to be: "null" (a marker, or an object that is none), "number" (2, 4 or 8 bytes), "text",
        "bytes", "ints", "doubles", "histogram", "vec3d", "vec3f", "vec2s", "vec2d", "object" (of a graph), "image" (of a
        persistent object), "reference" (8 bytes, to an image), or "array" with raw elements."""
        if self.size:
            return "text" if self._looks_like_text() else "number" if self.size in (2, 4, 8) else "bytes"
        inner = self._inner()
        if inner is not None:
            return COMPOSITES.get(inner.id, "object")
        length = self.end - self.address
        if length <= 0:
            return "null"
        if self.file._is_image(self.address, self.end):
            return "image"
        if self.array_kinds():
            return "array"
        return "reference" if length == 8 and self._unpack("i") == (1,) else "bytes"

    def _looks_like_text(self):
        taken = self.file._data.read(self.address, min(self.size, 256), "a payload")
        return self.size != 2 and (taken[-1] == 0 or self.size > 256) and all(
            byte >= 32 or byte in b"\t\r\n" for byte in taken[:-1])

    def _unpack(self, layout, offset=0):
        return _Cursor(self.file._data, self.address + offset, self.end).unpack(layout, "a payload")

    def number(self, type="int"):
        """The payload as a number. type: as in C++, such as "short", "double", "unsigned long" (4 bytes). A float becomes
        a double; what a NaN carries is to be seen in `bytes` only.
        Raises TagError unless the declared size is that of the type."""
        letter = NUMBERS[type]
        if self.size != struct.calcsize("<" + letter):
            raise TagError(f"record {self.id} has {self.size} bytes, a {type} has another size", self.position)
        return self._unpack(letter)[0]

    @property
    def readings(self):
        """All that a number of this size could be, by type: {"int": 42, "float": 5.9e-44}. Empty for other kinds."""
        types = {2: ("short",), 4: ("int", "float"), 8: ("double", "long long")}.get(self.size, ())
        return {type: self.number(type) for type in types}

    def text(self, encoding="cp1252"):
        """The payload as a text, up to its first zero. encoding: the code page of the program that wrote it."""
        taken = self.file._data.read(self.address, self.size, "a text")
        return decode(taken.split(b"\0", 1)[0], encoding)

    def vector(self):
        """A vector of 2 or 3 numbers, as a tuple."""
        inner = self._inner()
        if inner is None or inner.id not in VECTORS:
            raise TagError(f"record {self.id} holds no vector", self.position)
        _, letter, components = VECTORS[inner.id]
        found = {}
        for part in self.file._chain(self.address):
            found.setdefault(part.id, part)
            if len(found) > components:
                break
        try:
            parts = [found[inner.id + i] for i in range(components)]
        except KeyError:
            raise TagError(f"record {self.id} lacks components of its vector", self.position) from None
        type = {"d": "double", "f": "float", "h": "short"}[letter]
        return tuple(part.number(type) for part in parts)

    def array_kinds(self):
        """The kinds of raw arrays that fill the payload, or end in front of a record, the likeliest first, as `array` takes them. A count of 0
        fits them all. Three integers and three floats look alike: small integers are taken for integers."""
        if self.size or self._inner() is not None:
            return []
        length, sizes = self.end - self.address, {}
        for kind in ("vec3d", "vec3f", "vec3i", "vec2s", "vec3d2d", "vec3f2d"):
            letter, components, extents = RAW_ARRAYS[kind]
            if length >= 4 * extents:
                counts = self._unpack("i" * extents)
                if min(counts) >= 0:
                    sizes[kind] = 4 * extents + math.prod(counts) * components * struct.calcsize(letter)
        # No link tells where the last payload of a level ends; a record may stand behind it that was never linked.
        kinds = [kind for kind, size in sizes.items() if self.next == 0 and size < length and
                 self.file._is_record(self.address + size)] or [kind for kind, size in sizes.items() if size == length]
        length = sizes[kinds[0]] if kinds else length
        if kinds[:2] == ["vec3f", "vec3i"] and length > 4:
            some = self._unpack("i" * (min(length - 4, 768) // 4), 4)
            if any(some) and all(abs(number) < 1 << 23 for number in some):
                kinds[:2] = ["vec3i", "vec3f"]
        return kinds

    def _raw(self, kind):
        """Position of the first element, shape and letter of an array whose elements follow one another."""
        data = self.file._data
        if kind in ("int", None) and self.kind == "ints":
            count = Record(self.file, self.address)
            position, shape, letter = count.address + count.size, (count.number("int"),), "i"
        else:
            kind = kind or next(iter(self.array_kinds()), None)
            if kind not in RAW_ARRAYS or self.size:
                raise TagError(f"record {self.id} holds no array of a kind that can be told ({kind or 'none fits'})",
                               self.position)
            letter, components, extents = RAW_ARRAYS[kind]
            counts = self._unpack("i" * extents)
            position, shape = self.address + 4 * extents, tuple(reversed(counts)) + (components,)
        elements = math.prod(shape[:-1] if len(shape) > 1 else shape)
        if min(shape) < 0 or elements > 0x7FFFFFFF:
            raise TagError("a count is out of range", self.address)
        if math.prod(shape) * struct.calcsize(letter) > min(self.end, data.size) - position:
            raise TagError("a count promises more than is there", self.address)
        return position, shape, letter

    def array(self, kind=None):
        """All elements. kind: "int", "double" (also of a histogram), "vec2s", "vec3i", "vec3f", "vec3d" (shape (n, 2) or
        (n, 3)), "vec3f2d", "vec3d2d" (height, width, 3); left out, the likeliest. Numbers are as in the file: what a
        compact array never had has x with the bits 0x7F7FFFFF. Raises TagError for counts that the payload cannot hold.

        Returns a numpy array; of raw elements one that maps the file, read only, and outlives it: who cuts the file meanwhile
        ends the process that looks there; `parts` reads instead. Without numpy a
        memoryview, of the same shape unless it is empty, and of a copy: for much data take `parts`."""
        doubles = self._doubles(kind)
        if doubles is not None:
            parts = [struct.pack(f"<{len(part)}d", *part) for part in doubles(1 << 16)]
            taken = b"".join(parts)
            return _numbers(taken, "d", (len(taken) // 8,))
        position, shape, letter = self._raw(kind)
        count = math.prod(shape) * struct.calcsize(letter)
        if numpy is not None and count and self.file._maps:
            return numpy.memmap(self.file._data.file, "<" + numpy.dtype(letter).str[1:], "r", position, shape)
        return _numbers(self.file._data.read(position, count, "an array"), letter, shape)

    def parts(self, elements, kind=None):
        """The array in parts of at most so many elements (of a two-dimensional one: rows), each read when its turn comes."""
        if elements < 1:
            raise ValueError("a part has at least one element")
        doubles = self._doubles(kind)
        if doubles is not None:
            for part in doubles(elements):
                yield _numbers(struct.pack(f"<{len(part)}d", *part), "d", (len(part),))
            return
        position, shape, letter = self._raw(kind)
        stride = math.prod(shape[1:]) * struct.calcsize(letter)
        for first in range(0, shape[0] if stride else 0, elements):
            count = min(elements, shape[0] - first)
            taken = self.file._data.read(position + first * stride, count * stride, "an array")
            yield _numbers(taken, letter, (count,) + shape[1:])

    def _doubles(self, kind):
        """For an array of records, or a histogram with one: what yields lists of at most so many of its numbers."""
        if self.size or kind not in ("double", None):
            return None
        records = self._double_records()
        if records is None:
            return None

        def lists(most):
            part = []
            for record in records:
                part.append(record.number("double"))
                if len(part) == most:
                    yield part
                    part = []
            if part:
                yield part
        return lists

    def _double_records(self):
        """What yields the records of the numbers of an array of records, or of a histogram with one; else None."""
        inner = self._inner()
        if inner is not None and inner.id == HISTOGRAM_VALUES:
            inner = inner._inner()
        if inner is None or inner.id != DOUBLES_COUNT:
            return None
        return self._elements(inner)

    def _elements(self, count):
        missing = count.number("int")
        if missing < 0 or missing > (self.file._data.size - count.address) // 26:
            raise TagError("a count is out of range, or promises more than is there", count.position)
        for record in self.file._chain(count.position):
            if missing and record.id == DOUBLES_ELEMENT:
                missing -= 1
                yield record
            if not missing:
                return
        raise TagError(f"an array lacks {missing} elements", count.position)

    def object(self, encoding="cp1252"):
        """The image of a persistent object, as `Stream` gives it; for a mere reference {"kind": "reference", ...}."""
        cursor = _Cursor(self.file._data, self.address, self.end)
        if self.size == 0 and cursor.end - cursor.position == 8 and self._unpack("i") == (1,):
            return {"kind": "reference", "number": self._unpack("ii")[1]}
        return _image(cursor, {}, encoding)

    def properties(self, encoding="cp1252"):
        """A property tree as plain values: {name: number, text, tuple of numbers, or dict of a list}, in their order; of a
        single property its value. Types, formats and groups are in `object`. Raises TagError if two names are the same."""
        return _plain(self.object(encoding), self.position)

    @property
    def object_types(self):
        """Of an object of a graph: the ids of its types, from the root to the most derived one; else ()."""
        inner = self._inner()
        return tuple(inner.array("int").tolist()) if inner is not None and inner.id == OBJECT_TYPES else ()

    @property
    def object_address(self):
        """Of an object of a graph: its identity in the file, which a record of 8 bytes refers to by; else None."""
        if not self.object_types:
            return None
        for part in self.level:
            if part.id == OBJECT_ADDRESS:
                return part.number("long long")
        return None


class Level:
    """The records of one level, in the order of their chain. Iterating raises TagError behind the last whole one if the
    chain is broken there. `level[id]` is the first of an id, KeyError if there is none."""

    def __init__(self, file):
        self._file, self._records, self._tail, self._error = file, [], None, None

    def __iter__(self):
        level = self
        while level is not None:
            yield from level._records
            if level._error is not None:
                raise level._error
            level = level._tail

    def __len__(self):
        return sum(1 for _ in self)

    def __getitem__(self, id):
        for record in self:
            if record.id == id:
                return record
        raise KeyError(id)


class File:
    """A tag file that is open for reading; `open` makes it. Iterating goes over the first level, file[id] finds there.

    header: of the file as a dict, or None. size: in bytes. is_stream: images of persistent objects instead of records,
    which `objects` gives. Close it, or use it in a `with`; arrays of numpy stay valid.
    """

    def __init__(self, file, maps=False):
        self._data, self._maps = _Bytes(file), maps
        self.size = self._data.size
        self._levels, self._positions = None, []
        self.header = None if self._is_record(0) else _header(self._data)
        self.begin = 512 if self.header else 0
        self.is_stream = self.header is None and self._is_image(0, self.size)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Closes the file; records of it cannot be asked any longer."""
        self._data.file.close()

    def __iter__(self):
        return self._chain(self.begin) if self.begin < self.size and not self.is_stream else iter(())

    def __getitem__(self, id):
        """The first record with this id in the first level. Raises KeyError if there is none."""
        for record in self:
            if record.id == id:
                return record
        raise KeyError(id)

    def find(self, id):
        """The first record with this id in any level, from the begin of the file. Raises KeyError if there is none."""
        for _, record in self.walk():
            if record.id == id:
                return record
        raise KeyError(id)

    def walk(self):
        """All records with their level, 0 the outermost, each followed by the level behind it. What is broken is told by
        a TagError when everything whole was given."""
        levels, broken, given = self._structure(), None, 0
        stack = [(0, iter(levels.get(None, ())))]
        while stack:
            depth, records = stack[-1]
            try:
                record = next(records)
            except StopIteration:
                stack.pop()
                continue
            except TagError as error:
                broken = broken or error
                stack.pop()
                continue
            given += 1
            yield depth, record
            level = levels.get(record.position)
            if level is not None:
                stack.append((depth + 1, iter(level)))
        if broken is None and given < len(self._positions):
            broken = TagError("a chain leads back into a level further out", self.begin)
        if broken is not None:
            raise broken

    def objects(self, encoding="cp1252"):
        """The objects of a stream, one dict each: "class", "version", "number" (of the run, or None), "kind" and what it
        tells of the object: of a "number" name, format, group, type, value; "numbers" and "text" alike; of a "list"
        children; of "unknown" the count of bytes that cannot be told; a "reference" has a number only."""
        cursor, known = _Cursor(self._data, 0, self.size), {}
        while self.is_stream and cursor.position < cursor.end:
            yield _image(cursor, known, encoding)

    def graph(self):
        """The objects of graphs by their addresses: {address: record}. A record of 8 bytes in there that is one of the
        addresses refers to that object."""
        return {record.object_address: record for _, record in self.walk() if record.object_address is not None}

    # A walk visits no position twice: so it ends, and a ring is told as one.
    def _chain(self, position):
        seen = set()
        while True:
            if position in seen:
                raise TagError("the chain of records is a ring", position)
            seen.add(position)
            record = Record(self, position)
            if not record._names_its_place():
                raise TagError("no record stands where a link leads", position)
            if record.address + record.size > self.size:
                raise TagError(f"the file ends inside the payload of record {record.id}", position)
            yield record
            if record.next == 0:
                return
            position = record.next

    def _is_record(self, position):
        if position + 18 > self.size:
            return False
        try:
            record = Record(self, position)
        except TagError:
            return False
        return record._names_its_place() and record.address + record.size <= self.size

    def _is_image(self, position, end):
        """Whether a class name stands where that of an image would."""
        head = self._data.read(position, min(44, end - position), "a payload") if position < end else b""
        if len(head) < 4:
            return False
        head = head[8:] if head[:4] == b"\1\0\0\0" else head[4:]
        wide = head[:3] == b"\xff\xfe\xff"
        head = head[3:] if wide else head
        skip = 1 if head[:1] != b"\xff" else 3 if head[1:3] != b"\xff\xff" else 7
        name = "class ".encode("utf-16-le" if wide else "ascii")
        return head[skip:skip + len(name)] == name

    def _structure(self):
        """All levels: {position of the marker, None for the first: Level}. Found once, without recursion.

        A level begins behind the payload of a record, if a record stands there that no other one links to. One that a later
        walk reaches by a link was none: it is the tail of that chain, as levels grow at the end of the file.
        """
        if self._levels is not None:
            return self._levels
        levels, owned, firsts = {}, set(), {}
        work = [(None, self.begin)] if self.begin < self.size and not self.is_stream else []
        while work:
            marker, position = work.pop()
            if position in owned:
                continue
            level = levels[marker] = Level(self)
            firsts[position] = marker
            try:
                for record in self._chain(position):
                    if record.position in owned:
                        if firsts.get(record.position) is None:
                            raise TagError("a chain leads into another one", record.position)
                        level._tail = levels.pop(firsts.pop(record.position))
                        break
                    owned.add(record.position)
                    level._records.append(record)
            except TagError as error:
                level._error = error
            for record in reversed(level._records):
                behind = record._behind()
                if behind not in owned and self._is_record(behind):
                    work.append((record.position, behind))
        self._positions = sorted(owned)
        self._levels = levels
        return levels

    def _end_of(self, position, address):
        self._structure()
        found = bisect.bisect_right(self._positions, position)
        end = self._positions[found] if found < len(self._positions) else self.size
        return max(end, address)


def _header(data):
    if data.size < 6 or data.unpack(0, "HHH", "the header")[::2] != (0x4949, 512):
        return None
    names = "version companyID dataType elementSize maxBlocks width height time date maskValue tagFormat".split()
    header = dict(zip(names, data.unpack(2, "H2x2sHHHhhiIfH", "the header")))
    header["companyID"] = decode(header["companyID"])
    numbers = data.unpack(128, "16d", "the header")
    header["trafoMatrix"] = [numbers[row:row + 4] for row in range(0, 16, 4)]
    return header


def _image(cursor, known, encoding):
    """The object at the cursor with all that it holds; known: objects of the run by number. Lists are met iteratively."""
    stack, root = [], None
    while True:
        node, missing = _one_object(cursor, known, encoding, bool(stack))
        if stack:
            stack[-1][0]["children"].append(node)
            stack[-1][1] -= 1
        else:
            root = node
        if node["kind"] == "unknown":  # it has no end: nothing behind it can be told
            return root
        if missing:
            if len(stack) == NESTING:
                raise TagError("lists are nested too deeply", cursor.position)
            stack.append([node, missing])
        while stack and stack[-1][1] == 0:
            stack.pop()
        if not stack:
            return root


def _one_object(cursor, known, encoding, child):
    begin = cursor.position
    flag, = cursor.unpack("i", "an object")
    number = cursor.unpack("I", "an object")[0] if flag == 1 else None
    if number in known:  # a new run may use the number again: then a class follows
        behind = cursor.position
        try:
            name = cursor.text("a class name", encoding)
        except TagError:
            name = ""
        cursor.position = behind
        if not name.startswith("class "):
            if child:
                raise TagError("a list holds a reference", begin)
            return {"kind": "reference", "number": number}, 0
    place = cursor.position
    name = cursor.text("a class name", encoding)
    if not name.startswith("class "):
        raise TagError("no class name where an object is to be", place)
    name = name[6:]
    version, = cursor.unpack("H", "an object")
    node = {"kind": "unknown", "class": name, "version": version, "number": number}
    if number is not None:
        known[number] = node
    family, _, type = name.rstrip(">").partition("<")
    kinds = {"KxN::KxTProperty": "number", "KxN::KxTBuf1DProperty": "numbers", "KxN::KxStringProperty": "text",
             "KxN::KxPropertyList": "list"}
    kind = kinds.get(family)
    numeric = kind in ("number", "numbers")
    if version != 100 or kind is None or (numeric and (type not in NUMBERS or type == "long long")):
        node["bytes"] = cursor.end - cursor.position
        cursor.position = cursor.end
        return node, 0
    node.update(kind=kind, name=cursor.text("a name", encoding), format=cursor.text("a format", encoding))
    node["group"], = cursor.unpack("I", "a group")
    if kind == "text":
        node["value"] = cursor.text("a value", encoding)
    elif kind == "number":
        node.update(type=type, value=cursor.unpack(NUMBERS[type], "a value")[0])
    else:
        begin = cursor.position
        count, = cursor.unpack("I", "a count")
        if kind == "numbers":
            letter = NUMBERS[type]
            taken = cursor.take(count * struct.calcsize("<" + letter), "a row of numbers")
            node.update(type=type, value=struct.unpack(f"<{count}{letter}", taken))
        else:
            if count > 65535:
                raise TagError("a list has too many children", begin)
            node["children"] = []
            return node, count
    return node, 0


def _plain(root, position):
    """The tree below an object as nested dicts of plain values."""
    if root["kind"] != "list":
        return root.get("value")
    result = {}
    work = [(root, result)]
    while work:
        node, into = work.pop()
        for child in node["children"]:
            if child["kind"] in ("unknown", "reference"):
                raise TagError(f"nothing is known of class {child.get('class')}", position)
            if child["name"] in into:
                raise TagError(f'two properties have the name "{child["name"]}"', position)
            into[child["name"]] = {} if child["kind"] == "list" else child["value"]
            if child["kind"] == "list":
                work.append((child, into[child["name"]]))
    return result


def open(source):
    """Opens a tag file or a persistent stream. source: a path, bytes, or a binary file that can be sought in, which is
    then closed with it. Raises OSError if it cannot be read."""
    if isinstance(source, (builtins.bytes, bytearray)):
        return File(io.BytesIO(source))
    if hasattr(source, "read"):
        return File(source)
    return File(_open_regular(source), maps=True)


def _open_regular(path):
    """A file for reading. Raises OSError also for what is no regular file: a pipe would be waited for without end."""
    file = os.open(path, os.O_RDONLY | getattr(os, "O_NONBLOCK", 0) | getattr(os, "O_BINARY", 0))
    if not stat.S_ISREG(os.fstat(file).st_mode):
        os.close(file)
        raise OSError(errno.EINVAL, "not a regular file", path)
    return os.fdopen(file, "rb")


# Modules: what satellites and version blocks have in their sections

def _section(source, wanted):
    """The bytes of a section of an ELF file (64 bit, little-endian) and their position, or None."""
    with (io.BytesIO(source) if isinstance(source, builtins.bytes) else _open_regular(source)) as file:
        data = _Bytes(file)
        if data.read(0, min(6, data.size), "a head") != b"\x7fELF\x02\x01":
            raise TagError("no module of 64 bit, little-endian", 0)
        table, = data.unpack(40, "Q", "a head")
        size, count, names = data.unpack(58, "HHH", "a head")
        if size < 64 or names >= count:
            raise TagError("a table of sections that makes no sense", 58)
        data.read(table, count * size, "the table of sections")  # all of it, or the file was cut
        _, _, _, _, names_at, names_size = data.unpack(table + names * size, "IIQQQQ", "the table of sections")
        for index in range(count):
            name, type, _, _, begin, length = data.unpack(table + index * size, "IIQQQQ", "the table of sections")
            end = min(name + len(wanted) + 1, names_size)
            if data.read(names_at + name, max(0, end - name), "the names of sections") == wanted + b"\0" and type == 1:
                return data.read(begin, length, "a section"), begin
    return None


def texts(source):
    """The texts of a language pack. source: a path, or bytes. Returns (code of the language, {id: text}), or None if it is a
    module without texts. Raises TagError for what is no module and for texts that are damaged."""
    found = _section(source, b".hbtools.texts")
    if found is None:
        return None
    taken, begin = found
    if len(taken) < 24 or taken[:8] != b"hbTexts\0":
        raise TagError("no mark of texts", begin)
    format, count, size = struct.unpack_from("<III", taken, 8)
    if format != 1 or size != len(taken) or taken[23] != 0 or count > (size - 24) // 9:
        raise TagError("a head of texts that makes no sense", begin + 8)
    result, expected, last = {}, 24 + 8 * count, 0
    for index in range(count):
        id, offset = struct.unpack_from("<II", taken, 24 + 8 * index)
        end = taken.find(b"\0", offset)
        if not last < id <= 65535 or offset != expected or end < 0:
            raise TagError("a text is not where it is to be", begin + 24 + 8 * index)
        try:
            result[id] = taken[offset:end].decode("utf-8")
        except UnicodeDecodeError:
            raise TagError(f"text {id} is no UTF-8", begin + offset) from None
        last, expected = id, end + 1
    if expected != size:
        raise TagError("bytes are left behind the texts", begin + expected)
    return decode(taken[20:23]), result


def version_block(source):
    """The version block of a module, or None if it has none. source: a path, or bytes. Returns a dict: "file" and "product"
    (four numbers each), "flags", "type", "texts" ({table: {key: text}}), "translations" ([(language, code page)]).
    Raises TagError for what is no module and for blocks that are damaged."""
    found = _section(source, b".hbtools.version")
    if found is None:
        return None
    taken, begin = found
    if len(taken) > 65535:
        raise TagError("a version block that is too large", begin)
    name, _, value, children = _node(taken, 0, len(taken), begin)
    if name != "VS_VERSION_INFO" or len(value) != 52 or value[:4] != b"\xbd\x04\xef\xfe":
        raise TagError("no version block", begin)
    numbers = struct.unpack("<13I", value)
    result = {"file": _four(numbers[2:4]), "product": _four(numbers[4:6]), "flags": numbers[7], "type": numbers[9],
              "texts": {}, "translations": []}
    for name, _, _, inner in map(lambda at: _node(taken, *at, begin), children):
        for name_of_table, _, value, entries in map(lambda at: _node(taken, *at, begin), inner):
            if name == "StringFileInfo":
                nodes = [_node(taken, *at, begin) for at in entries]
                result["texts"][name_of_table] = {key: _until_zero(value) for key, _, value, _ in nodes}
            elif name_of_table == "Translation":
                pairs = struct.unpack(f"<{len(value) // 4 * 2}H", value[:len(value) // 4 * 4])
                result["translations"] = list(zip(pairs[::2], pairs[1::2]))
    return result


def _four(pair):
    return tuple(part for number in pair for part in (number >> 16, number & 0xFFFF))


def _until_zero(value):
    return value[:len(value) // 2 * 2].decode("utf-16-le", "surrogatepass").split("\0", 1)[0]


def _node(taken, at, end, begin):
    """A node of a version block: its name, whether its value is a text, the value, and where its nodes stand."""
    if end - at < 6:
        raise TagError("a node is cut off", begin + at)
    size, length, is_text = struct.unpack_from("<HHH", taken, at)
    if size < 6 or size > end - at:
        raise TagError("the size of a node makes no sense", begin + at)
    end, place = at + size, at + 6
    while taken[place:place + 2] != b"\0\0":
        place += 2
        if place + 2 > end:
            raise TagError("the name of a node has no end", begin + at)
    name = taken[at + 6:place].decode("utf-16-le", "surrogatepass")
    place = (place + 2 + 3) & ~3
    length *= 2 if is_text == 1 else 1
    if length > max(0, end - place):
        raise TagError("the value of a node promises more than is there", begin + at)
    value = taken[place:place + length]
    children, place = [], (place + length + 3) & ~3
    while place + 6 <= end:
        child, = struct.unpack_from("<H", taken, place)
        if child < 6 or child > end - place:
            raise TagError("the size of a node makes no sense", begin + place)
        children.append((place, place + child))
        place = (place + child + 3) & ~3
    return name, is_text == 1, value, children


# The program

def _shown(value):
    """A value as JSON can hold it: numbers that are none become texts."""
    if isinstance(value, float) and not math.isfinite(value):
        return str(value)
    if isinstance(value, (list, tuple)):
        return [_shown(part) for part in value]
    if isinstance(value, dict):
        return {key: _shown(part) for key, part in value.items()}
    return value


def _flat(root):
    """An object and all that it holds, as dicts with a level instead of children."""
    work = [(0, root)]
    while work:
        level, node = work.pop()
        children = node.get("children", ())
        shown = {"level": level, **{key: _shown(value) for key, value in node.items() if key != "children"}}
        if node["kind"] == "list":
            shown["count"] = len(children)
        yield shown
        work.extend((level + 1, child) for child in reversed(children))


def _addresses(file):
    """Where the objects of graphs stand, by their addresses, as far as the file is whole."""
    found = {}
    try:
        for _, record in file.walk():
            try:
                found[record.object_address] = record.position
            except TagError:
                pass
    except TagError:
        pass  # it is told by the walk that lists
    return found


def _content(record, addresses, most):
    """What a record holds, for `dump`: a dict; of arrays the first elements."""
    kind = record.kind
    if kind == "number":
        number = record.number("long long") if record.size == 8 and record.id != OBJECT_ADDRESS else None
        refers = {"refers_to": addresses[number]} if number in addresses else {}
        return {"readings": _shown(record.readings), **refers}
    if kind == "text":
        return {"text": record.text()}
    if kind in ("vec2s", "vec2d", "vec3f", "vec3d"):
        return {"vector": _shown(record.vector())}
    if kind in ("ints", "doubles", "histogram", "array"):
        kinds = record.array_kinds()
        part = next(record.parts(most), None)
        shown = {"elements": [] if part is None else _shown(part.tolist())}
        if kinds:
            shown.update(kinds=kinds, shape=list(record._raw(None)[1]))
        return shown
    if kind in ("image", "reference"):
        return {"objects": list(_flat(record.object()))}
    if kind == "object":
        return {"types": list(record.object_types), "object": record.object_address}
    return {"bytes": record.bytes()[:most].hex(" ")} if kind == "bytes" else {}


def _text(value):
    return json.dumps(value, ensure_ascii=False)


def _line(shown):
    """A record of `dump` as a line for people."""
    head = "{position:>10}  {indent}{id} version {version}, {form} bit, {size} bytes, {kind}".format(
        indent="  " * shown["level"], **shown)
    facts = [f"{type} {value}" for type, value in shown.get("readings", {}).items()]
    facts += [_text(shown["text"])] if "text" in shown else []
    facts += [f"{name} {_text(shown[name])}" for name in (
        "vector", "kinds", "shape", "elements", "types", "object", "refers_to", "bytes", "error") if name in shown]
    return head + (": " if facts else "") + ", ".join(facts)


def _object_line(node, level):
    """An object of `dump` as a line for people."""
    head = " " * 12 + "  " * (level + node["level"])
    if node["kind"] == "reference":
        return f"{head}reference to object {node['number']}"
    if node["kind"] == "unknown":
        return f"{head}{node['class']}, version {node['version']}: {node['bytes']} bytes that only this class can read"
    value = f"list of {node['count']}" if node["kind"] == "list" else f"{node.get('type', 'text')} {_text(node['value'])}"
    facts = [f", group {node['group']}" if node["group"] else "", f", object {node['number']}" if node["number"] else "",
             f", shown as {_text(node['format'])}" if node["format"] else ""]
    return f"{head}{node['name'] or '(no name)'}: {value}" + "".join(facts)


def _list(file, deep, most):
    """Yields what `ls` and `dump` show, one dict per record or object of a stream."""
    if file.is_stream:
        for root in file.objects():
            yield from _flat(root)
        return
    addresses = _addresses(file) if deep else {}
    for level, record in file.walk():
        shown = {"level": level, **{name: getattr(record, name) for name in (
            "position", "id", "version", "form", "size", "address", "next", "kind")}}
        if deep:
            try:
                shown.update(_content(record, addresses, most))
            except TagError as error:
                shown["error"] = str(error)
        yield shown


class _OutputError(Exception):
    """Standard output cannot be written; nothing is wrong with the file that is read."""


def _say(*values, end="\n"):
    try:
        print(*values, end=end)
    except OSError as error:
        raise _OutputError(error) from None


def _print_module(path, as_json):
    found, block = texts(path), version_block(path)
    if as_json:
        _say(json.dumps({"language": found and found[0], "texts": found and found[1], "version": block}))
        return
    if block is not None:
        _say("version", ".".join(map(str, block["file"])))
        for table, entries in block["texts"].items():
            for key, text in entries.items():
                _say(f"  {table} {key}: {text}")
    if found is not None:
        _say("texts in", found[0])
        for id, text in found[1].items():
            _say(f"  {id}  {json.dumps(text, ensure_ascii=False)}")


def _print_list(file, command, as_json, most):
    if as_json:
        header = file.header and _shown(file.header)
        _say('{"size": %d, "header": %s, "stream": %s, "records": [' % (
            file.size, json.dumps(header), json.dumps(file.is_stream)))
        separator, fault = "", None
        try:
            for shown in _list(file, command == "dump", most):
                _say(separator + json.dumps(shown, allow_nan=False), end="")
                separator = ",\n"
        except TagError as error:
            fault = error
        _say('\n], "error": %s}' % json.dumps(fault and str(fault)))
        if fault is not None:
            raise fault
        return
    for key, value in (file.header or {}).items():
        _say(f"{key}: {value}")
    for shown in _list(file, command == "dump", most):
        if file.is_stream:
            _say(_object_line(shown, 0))
            continue
        _say(_line(shown))
        for node in shown.get("objects", ()):
            _say(_object_line(node, shown["level"] + 1))


def _print_array(record, kind, as_json):
    separator = "[" if as_json else ""
    for part in record.parts(1 << 14, kind):
        for element in part.tolist():
            if as_json:
                _say(separator + json.dumps(_shown(element), allow_nan=False), end="")
                separator = ",\n"
            else:
                rows = element if isinstance(element, list) and element and isinstance(element[0], list) else [element]
                for row in rows:
                    _say(" ".join(map(repr, row)) if isinstance(row, list) else repr(row))
    if as_json:
        _say("[]" if separator == "[" else "]")


def _finished(error=None):
    """Writes what is left of the output: 0, or 1 if it, or what was before it, could not be written."""
    try:
        if error is None:
            sys.stdout.flush()
            return 0
        error = error.args[0]
    except OSError as failed:
        error = failed
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # so that nothing fails again at the end of the process
    if error.errno != errno.EPIPE:
        print(f"standard output: {error.strerror}", file=sys.stderr)
    return 1


class _Arguments(argparse.ArgumentParser):
    def error(self, message):
        self.print_usage(sys.stderr)
        self.exit(1, f"{self.prog}: {message}\n")


def main(arguments=None):
    """Runs the program and returns its exit code: 0, 1 for wrong usage, a file that cannot be read and output that cannot be
    written, 2 for a file that is damaged."""
    parser = _Arguments(prog="hbtag.py", description="Shows what is in files of hbTools.")
    parser.add_argument("command", choices=("ls", "dump", "array"),
                        help="the records; what they hold; all elements of an array")
    parser.add_argument("file", help="tag file, persistent stream, or module with texts or a version block")
    parser.add_argument("id", nargs="?", type=int, help="of the array: the first record with it in any level")
    parser.add_argument("--kind", choices=("int", "double", *RAW_ARRAYS), help="of the array, where it is known")
    parser.add_argument("--elements", type=int, default=8, help="how many elements of an array dump shows (8)")
    parser.add_argument("--json", action="store_true", help="for programs")
    options = parser.parse_args(arguments)
    if (options.command == "array") != (options.id is not None):
        parser.error("array needs the id of a record, ls and dump take none")
    if sys.stdout is None:
        print("standard output is closed", file=sys.stderr)
        return 1
    try:
        with _open_regular(options.file) as opened:
            head = opened.read(4)
        if not head:
            raise TagError("the file ends after 0 bytes", 0)
        if head == b"\x7fELF":
            _print_module(options.file, options.json)
            return _finished()
        with open(options.file) as file:
            if options.command == "array":
                _print_array(file.find(options.id), options.kind, options.json)
            else:
                _print_list(file, options.command, options.json, max(1, options.elements))
    except KeyError:
        print(f"{options.file}: there is no record {options.id}", file=sys.stderr)
        return 1
    except ValueError as error:
        code = _finished()
        print(f"{options.file}: {error}", file=sys.stderr)
        return code or 2
    except _OutputError as error:
        return _finished(error)
    except OSError as error:
        print(f"{options.file}: {error.strerror}", file=sys.stderr)
        return 1
    return _finished()


if __name__ == "__main__":
    sys.exit(main())
