# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
"""hbtag.py as a second reader of all that the library writes: the examples of Doc/formats/, the golden files beside what
hbtag says of them, and every cut and every flipped bit of small ones.

    python3 test_hbtag.py SOURCES BIN [--without-numpy]
"""
import ast
import builtins
import io
import json
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stderr, redirect_stdout

SOURCES, BIN = sys.argv[1:3]
if "--without-numpy" in sys.argv:
    sys.modules["numpy"] = None
TOOL = os.path.join(SOURCES, "Tools", "python", "hbtag.py")
GOLDEN = os.path.join(SOURCES, "Tests", "data", "golden")
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(TOOL))
import hbtag  # noqa: E402


def content(path):
    with builtins.open(path, "rb") as file:
        return file.read()


def golden_files(*endings):
    for folder, _, names in sorted(os.walk(GOLDEN)):
        yield from (os.path.join(folder, name) for name in sorted(names) if name.endswith(endings))


def examples(page):
    """The blocks of lines "offset  bytes  meaning" of a page."""
    text = content(os.path.join(SOURCES, "Doc", "formats", page)).decode()
    for block in re.findall(r"(?:^    [0-9A-F]{2}  .*\n)+", text, re.M):
        lines = re.findall(r"^    [0-9A-F]{2}((?:  ?[0-9A-F]{2})+)(?:   +.*)?$", block, re.M)
        yield bytes.fromhex("".join(lines).replace(" ", ""))


def module(section, taken):
    """The smallest module around a section."""
    names = b"\0" + section + b"\0"
    table = 64 + len(taken) + len(names)
    part = lambda name, type, at, size: struct.pack("<IIQQQQ24x", name, type, 0, 0, at, size)  # noqa: E731
    return (b"\x7fELF\x02\x01\x01".ljust(40, b"\0") + struct.pack("<Q10xHHH", table, 64, 3, 2) + taken + names +
            part(0, 0, 0, 0) + part(1, 1, 64, len(taken)) + part(0, 3, 64 + len(taken), len(names)))


def node(name, is_text, value, *children):
    """A node of a version block."""
    def padded(taken):
        return taken + bytes(-len(taken) % 4)
    utf16 = lambda text: (text + "\0").encode("utf-16-le")  # noqa: E731
    length = len(value) + 1 if is_text else len(value)
    body = padded(bytes(6) + utf16(name)) + (utf16(value) if is_text else value)
    for child in children:
        body = padded(body) + child
    return struct.pack("<HHH", len(body), length, is_text) + body[6:]


def flat(value):
    return [number for part in value for number in flat(part)] if isinstance(value, list) else [value]


def bits(numbers, letter):
    """Numbers as bits: every NaN the same, but the two zeros not."""
    kind = float if letter in "fd" else int
    return ["nan" if float(number) != float(number) else struct.pack("<" + letter, kind(number)) for number in flat(numbers)]


def everything(source):
    """What all operations say of a file, with errors in their place; anything but a ValueError goes through."""
    said = []

    def attempt(call):
        try:
            said.append(call())
        except ValueError as error:
            said.append(str(error))
    try:
        file = hbtag.open(source)
    except ValueError as error:
        return [str(error)]
    attempt(lambda: [str(node) for node in file.objects()])
    records = []
    attempt(lambda: records.extend(record for _, record in file.walk()))
    for record in records:
        for call in (lambda: record.kind, record.bytes, record.text, record.vector, record.object, record.properties,
                     lambda: record.object_types, lambda: [len(part) for part in record.parts(2)],
                     lambda: len(record.array("vec3d")), lambda: len(record.array("vec3f2d"))):
            attempt(call)
    attempt(file.graph)
    return said


class Examples(unittest.TestCase):
    def test_tags(self):
        nested, scalar, ints, points = map(hbtag.open, examples("tags.md"))
        self.assertEqual([(level, record.id) for level, record in nested.walk()], [(0, 100), (1, 101), (0, 102)])
        self.assertEqual((nested[100][101].number(), nested[102].text(), nested.find(101).position), (42, "Ab", 0x12))
        self.assertEqual((scalar[101].form, scalar[101].version, scalar[101].number()), (64, 100, 42))
        self.assertEqual((ints[200].kind, ints[200].array().tolist()), ("ints", [1, -2]))
        self.assertEqual((points[201].array().shape, points[201].array().tolist()), ((1, 3), [[1, -2, 0.5]]))
        self.assertEqual([part.tolist() for part in ints[200].parts(1)], [[1], [-2]])
        for wrong in (lambda: nested[7], lambda: nested[102][7], lambda: nested.find(7)):
            self.assertRaises(KeyError, wrong)
        for wrong in (lambda: nested[102].number(), nested[102].array, nested[102].vector, nested[102].properties,
                      lambda: ints[200].array("vec3d")):
            self.assertRaises(hbtag.TagError, wrong)

    def test_objects(self):
        image, graph = examples("objects.md")
        root, = hbtag.open(image).objects()
        child = root.pop("children")[0]
        self.assertEqual(root, {"kind": "list", "class": "KxN::KxPropertyList", "version": 100, "number": None,
                                "name": "l", "format": "", "group": 3})
        self.assertEqual((child["name"], child["type"], child["value"], child["format"]), ("n", "int", -2, "%d"))
        head = struct.pack("<IHIII", 300, 100, 0, 18, 0)
        self.assertEqual(hbtag.open(head + image)[300].properties(), {"n": -2})
        object = hbtag.open(graph)[208001]
        self.assertEqual((object.object_types, object.object_address, object[1].number()), ((10, 20), 0x1000, 7))

    def test_modules(self):
        page = content(os.path.join(SOURCES, "Doc", "formats", "satellites.md")).decode()
        table = bytes.fromhex(re.search("```\n(68 62[0-9a-f \n]+)```", page).group(1))
        self.assertEqual(hbtag.texts(module(b".hbtools.texts", table)), ("ENU", {7: "a", 9: "bc"}))
        for place, number in ((24, 0), (24, 9), (32, 65536), (28, 41), (12, 3), (16, 44), (8, 2)):
            changed = table[:place] + struct.pack("<I", number) + table[place + 4:]
            self.assertRaises(hbtag.TagError, hbtag.texts, module(b".hbtools.texts", changed))
        fixed = bytes.fromhex("BD04EFFE 00000100 02000100 04000300 02000100 00000300") + bytes(28)
        entry = node("FileVersion", 1, "1.2.3")
        translation = node("VarFileInfo", 1, "", node("Translation", 0, bytes.fromhex("0904B004")))
        block = node("VS_VERSION_INFO", 0, fixed, node("StringFileInfo", 1, "", node("040904B0", 1, "", entry)), translation)
        self.assertEqual(hbtag.version_block(module(b".hbtools.version", block)), {
            "file": (1, 2, 3, 4), "product": (1, 2, 3, 0), "flags": 0, "type": 0,
            "texts": {"040904B0": {"FileVersion": "1.2.3"}}, "translations": [(0x409, 0x4B0)]})
        self.assertIsNone(hbtag.texts(module(b".hbtools.version", block)))
        for read, whole in ((hbtag.texts, module(b".hbtools.texts", table)),
                            (hbtag.version_block, module(b".hbtools.version", block))):
            for changed in variants(whole):
                try:
                    read(changed)
                except ValueError:
                    pass


def variants(whole):
    """Every cut and every flipped bit."""
    for length in range(len(whole)):
        yield whole[:length]
    for place in range(8 * len(whole)):
        changed = bytearray(whole)
        changed[place // 8] ^= 1 << place % 8
        yield bytes(changed)


class BesideHbtag(unittest.TestCase):
    """The same files through hbtag of the library; it and this reader were written from the same pages."""

    KINDS = {"marker": "null", "text": "text", "scalar": "number", "bytes": "bytes", "KxVec2s": "vec2s",
             "KxVec2d": "vec2d", "KxVec3d": "vec3d", "KxVec3f": "vec3f", "array of int": "ints",
             "array of double tags": "doubles", "histogram": "histogram", "array of KxVec2s": "array",
             "array of KxVec3f": "array", "array of KxVec3i": "array", "array of KxVec3d": "array",
             "2-D array of KxVec3f": "array", "2-D array of KxVec3d": "array", "empty array": "array",
             "persistent object": "image", "object of a graph": "object"}
    ARRAYS = {"array of KxVec2s": "vec2s", "array of KxVec3f": "vec3f", "array of KxVec3i": "vec3i",
              "array of KxVec3d": "vec3d", "2-D array of KxVec3f": "vec3f2d", "2-D array of KxVec3d": "vec3d2d"}

    def compare(self, path):
        said = subprocess.run([os.path.join(BIN, "hbtag"), "dump", "--json", "--values", "-1", path],
                              stdout=subprocess.PIPE, check=True).stdout
        # A JSON number -0 is an integer to Python, which has no negative one.
        said = json.loads(said, parse_int=lambda digits: -0.0 if digits == "-0" else int(digits))
        with hbtag.open(path) as file:
            records = list(file.walk())
            self.assertEqual(len(records), len(said["records"]))
            addresses = {record.object_address: record.position for record in file.graph().values()}
            for (level, record), other in zip(records, said["records"]):
                with self.subTest(file=os.path.basename(path), position=record.position):
                    self.compare_record(level, record, other)
                    if "refersTo" in other:
                        self.assertEqual(addresses[record.number("long long")], other["refersTo"])
            for root, image in zip(file.objects(), said.get("images", ())):
                self.compare_objects(root, image)
            if file.header:
                header = said["header"]
                self.assertEqual([file.header[name] for name in ("companyID", "dataType", "width", "height")],
                                 [header[name] for name in ("company", "dataType", "width", "height")])
                self.assertEqual([list(row) for row in file.header["trafoMatrix"]], header["matrix"])

    def compare_record(self, level, record, other):
        self.assertEqual([level] + [getattr(record, name) for name in (
            "position", "id", "version", "form", "size", "address", "next", "kind")], [other[name] for name in (
                "depth", "position", "id", "version", "form", "size", "address", "next")] + [self.KINDS[other["kind"]]])
        kind, value = record.kind, other.get("value")
        if kind == "text":
            self.assertEqual(record.text(), value)
        elif kind == "number":
            value = value if isinstance(value, dict) else {"int": value}
            for type, number in record.readings.items():
                name = "int" if type in ("short", "long long") else type
                self.assertEqual(bits(number, hbtag.NUMBERS[type]), bits(value[name], hbtag.NUMBERS[type]))
        elif kind in ("vec2s", "vec2d", "vec3f", "vec3d"):
            self.assertEqual(bits(list(record.vector()), kind[-1].replace("s", "h")),
                             bits(other["values"], kind[-1].replace("s", "h")))
        elif kind in ("ints", "doubles", "histogram", "array"):
            raw = self.ARRAYS.get(other["kind"])
            letter = hbtag.RAW_ARRAYS[raw][0] if raw else "i" if kind == "ints" else "d"
            self.assertEqual(bits(record.array(raw).tolist(), letter), bits(other["values"], letter))
            parts = [part.tolist() for part in record.parts(2, raw)]
            self.assertEqual(bits(parts, letter), bits(other["values"], letter))
            if raw:
                self.assertEqual(record.array_kinds()[0], raw)
                self.assertEqual(record.array(raw).shape[-2], other.get("width", other["count"]))
        elif kind == "image":
            self.compare_objects(record.object(), other["objects"])
        elif kind == "object":
            self.assertEqual((list(record.object_types), hex(record.object_address)),
                             (other["types"], other["objectAddress"]))

    def compare_objects(self, root, others):
        nodes = list(hbtag._flat(root))
        self.assertEqual(len(nodes), len(others))
        for node, other in zip(nodes, others):
            if node["kind"] == "reference":
                self.assertEqual(node["number"], other["refersTo"])
                continue
            self.assertEqual((node["level"], "class " + node["class"], node["number"], node["name"], node["format"],
                              node["group"] & 0x7FFF, bool(node["group"] & 0x8000)),
                             tuple(map(other.get, ("depth", "class", "number", "name", "format", "group", "hidden"))))
            if node["kind"] in ("number", "numbers"):
                letter = hbtag.NUMBERS[node["type"]]
                self.assertEqual(bits(node["value"], letter), bits(other.get("values", other.get("value")), letter))
            elif node["kind"] == "text":
                self.assertEqual(node["value"], other["value"])
            else:
                self.assertEqual(node["count"], other["children"])

    def test_golden_files(self):
        files = list(golden_files(".tag", ".stream"))
        self.assertGreater(len(files), 8)
        for path in files + [os.path.join(SOURCES, "Tests", "data", "tag_chain", "grown-level")]:
            self.compare(path)

    def test_scan_in_both_forms(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([os.path.join(BIN, "scanlab"), "--ini", os.path.join(folder, "lab.ini"), "--out", folder, "do",
                            "Synthesize plate TRUE 2000;", "FitPlane *;", "Deviations *;", "Save 32.tag * 32 TRUE;",
                            "Save 64.tag * 64 TRUE;"], stdout=subprocess.DEVNULL, check=True)
            listings = []
            for name in ("32.tag", "64.tag"):
                self.compare(os.path.join(folder, name))
                with hbtag.open(os.path.join(folder, name)) as file:
                    listings.append([(level, record.id, record.kind) for level, record in file.walk()])
                    points = file.find(1002).array()
                self.assertEqual(points.shape, (2000, 3))  # good after the file was closed
                self.assertEqual(len(points[1999].tolist() if hbtag.numpy else points.tolist()[1999]), 3)
            self.assertEqual(*listings)

    def test_guide(self):
        page = content(os.path.join(SOURCES, "Doc", "python.md")).decode()
        code, names = re.search("```python\n(.*?)```", page, re.S).group(1), {"print": lambda *_: None}
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "first.tag")
            subprocess.run([os.path.join(BIN, "firstprogram"), path], stdout=subprocess.DEVNULL, check=True)
            exec(code.replace('"first.tag"', repr(path)), names)
        self.assertEqual((names["points"].shape, names["conditions"]), ((5, 3), {"Operator": "Meier", "Temperature": 20.5}))
        self.assertEqual(len(names["deviations"]), 5)

    def test_golden_modules(self):
        for path in golden_files(".ENU"):
            self.assertEqual(hbtag.texts(path), ("ENU", {7: "seven", 9: "Müller, 20 °C", 11: ""}))
            self.assertEqual(hbtag.version_block(path)["file"], (3, 1, 2, 3))

    def test_properties_keep_their_order(self):
        for path in golden_files("properties.tag"):
            with hbtag.open(path) as file:
                tree = file[300].properties()
            self.assertEqual(list(tree)[:4], ["char", "char[]", "unsigned char", "unsigned char[]"])
            self.assertEqual((tree["long[]"], tree["inner"]), ((-2147483648, 0, 1), {"hidden": 1}))


class Hostile(unittest.TestCase):
    def test_cuts_and_flips_end(self):
        reads, read = [0], hbtag._Bytes.read

        def counted(data, position, count, what):
            reads[0] += 1
            self.assertLessEqual(count, 1 << 16)
            return read(data, position, count, what)
        hbtag._Bytes.read = counted
        self.addCleanup(setattr, hbtag._Bytes, "read", read)
        all_of_them = ("simple-32.tag", "mixed.tag", "properties.stream", "graph.tag")
        for path in golden_files(*(("mixed.tag",) if hbtag.numpy else all_of_them)):  # the same code but for arrays
            whole = content(path)
            everything(whole)
            bound, reads[0] = 40 * reads[0] + 1000, 0
            for changed in variants(whole):
                everything(changed)
                self.assertLess(reads[0], bound, path)
                reads[0] = 0

    def test_table(self):
        head = lambda id, size, address, next: struct.pack("<IHIII", id, 100, size, address, next)  # noqa: E731
        ring = head(1, 0, 18, 18) + head(2, 0, 36, 18)
        grown = head(1, 0, 18, 36) + head(2, 0, 36, 54) + head(3, 0, 54, 0) + head(4, 0, 72, 0)
        outward = head(1, 0, 18, 0) + head(2, 0, 36, 54) + bytes(18) + head(3, 0, 72, 36)
        both = head(1, 0, 18, 36) + head(2, 0, 36, 72) + head(3, 0, 54, 0) + head(4, 0, 72, 90) + head(5, 0, 90, 0) + head(
            6, 0, 108, 0)
        self.assertEqual([(level, record.id) for level, record in hbtag.open(both).walk()],
                         [(0, 1), (1, 2), (1, 5), (0, 3), (1, 4), (1, 6)], "two levels that have grown in turns")
        self.assertEqual(next(iter(hbtag.open(struct.pack("<IHQQQ", 1, 0xC064, 0, 30, 0)))).version, 100)
        deep = b"".join(head(i, 0, 18 * i + 18, 0) for i in range(20000))
        count = lambda *numbers: head(9, 0, 18, 0) + struct.pack("<%di" % len(numbers), *numbers)  # noqa: E731
        cases = [(ring, "ring"), (head(1, 0, 18, 99), "ends inside the head"), (head(1, 5, 18, 0), "inside the payload"),
                 (head(1, 0, 2**32 - 1, 0), "no record"), (outward, "no record")]
        for bytes_, words in cases:
            with self.assertRaisesRegex(hbtag.TagError, words) as caught:
                list(hbtag.open(bytes_).walk())
            self.assertLessEqual(caught.exception.offset, len(bytes_))
        self.assertEqual([(level, record.id) for level, record in hbtag.open(grown).walk()], [(0, 1), (1, 2), (1, 4), (0, 3)],
                         "a level that has grown behind its neighbours is one")
        self.assertEqual(max(level for level, _ in hbtag.open(deep).walk()), 19999)
        for numbers, kind in (((-1,), "vec3d"), ((2**31 - 1,), "vec3d"), ((65536, 65536), "vec3f2d"), ((-1, -1), "vec3d2d"),
                              ((1, 0), "vec3d")):
            self.assertRaisesRegex(hbtag.TagError, "count", hbtag.open(count(*numbers))[9].array, kind)
        self.assertEqual(list(hbtag.open(count(0, 2**31 - 1))[9].parts(1, "vec3f2d")), [])
        text = lambda at: head(2, 3, at + 18, 0) + b"ab\0"  # noqa: E731
        for kind, numbers in (("vec2s", (1, 65538)), ("vec3f", (1, 0x3F800000, 0, 0x40000000)), ("vec3d2d", (0, 3))):
            unlinked = count(*numbers) + text(18 + 4 * len(numbers))
            self.assertEqual(hbtag.open(unlinked)[9].array_kinds()[0], kind, "a record behind it has no link")
        everything(b"")

    def test_lists_within_lists(self):
        def text(characters):
            return b"\xff\xfe\xff" + bytes([len(characters)]) + characters.encode("utf-16-le")
        one = bytes(4) + text("class KxN::KxPropertyList") + b"\x64\0" + text("l") + text("") + bytes(4) + b"\1\0\0\0"
        self.assertRaisesRegex(hbtag.TagError, "nested", lambda: list(hbtag.open(one * 5000).objects()))
        last = one[:-4] + bytes(4)
        self.assertEqual(len(list(hbtag._flat(next(hbtag.open(one * 4000 + last).objects())))), 4001)


class Program(unittest.TestCase):
    def run_it(self, *arguments):
        out, errors = io.StringIO(), io.StringIO()
        with redirect_stdout(out), redirect_stderr(errors):
            code = hbtag.main([str(argument) for argument in arguments])
        return code, out.getvalue(), errors.getvalue()

    def test_commands(self):
        for path in golden_files(".tag", ".stream", ".ENU"):
            before = content(path)
            for command in ("ls", "dump"):
                self.assertEqual(self.run_it(command, path)[0], 0)
                code, out, _ = self.run_it(command, path, "--json")
                self.assertEqual((code, type(json.loads(out))), (0, dict))
            self.assertEqual(content(path), before)
        path = next(golden_files("composite-64.tag"))
        self.assertEqual(self.run_it("array", path, 231), (0, "1 -2 3\n4 5 70000\n", ""))
        self.assertEqual(json.loads(self.run_it("array", path, 202, "--json")[1]), [0.1, -0.0])
        self.assertEqual(self.run_it("array", path, 999)[0], 1)
        with tempfile.TemporaryDirectory() as folder:
            cut = os.path.join(folder, "cut.tag")
            with builtins.open(cut, "wb") as file:
                file.write(content(path)[:200])
            code, out, errors = self.run_it("dump", cut, "--json")
            self.assertEqual((code, len(json.loads(out)["records"])), (2, 3))
            self.assertIn("at byte", errors)
            self.assertEqual(self.run_it("ls", os.path.join(folder, "missing"))[0], 1)
            os.mkfifo(os.path.join(folder, "pipe"))
            self.assertRegex("".join(map(str, self.run_it("ls", os.path.join(folder, "pipe")))), "^1.*pipe: not a regular")
        for arguments, output, code in ((["ls", path], ">&-", 1), (["ls", path], ">/dev/full", 1), (["dig", path], "", 1),
                                        (["array", path], "", 1), (["ls", path], "| true", 0), (["ls", path], "", 0)):
            shell = subprocess.run(" ".join([sys.executable, TOOL, *arguments, output]), shell=True, text=True,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            self.assertEqual(shell.returncode, code, (arguments, output, shell.stderr))
            self.assertNotIn(path, shell.stderr)

    def test_old_interpreters_can_read_it(self):
        ast.parse(content(TOOL), feature_version=(3, 9))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
