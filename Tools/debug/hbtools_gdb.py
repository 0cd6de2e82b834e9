# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
"""How a debugger shows the classes of hbTools.

gdb reads this file by itself when it loads an installed libhbtools, or by `source hbtools_gdb.py`. Run by Python it prints
hbtools.natvis, made from the same table, for debuggers that take that format.

Nothing of the program is called, so that a core and a broken process can be looked at; what cannot be read is shown as such.
Containers show `set print elements` elements at most and do not follow longer chains than their counts say.
"""
import collections
import datetime
import re
import sys

try:
    import gdb
except ImportError:  # run by Python, to write the other format
    gdb = None

# One row: the class ("*" stands for the arguments of a template), the text, and what it holds. A text takes members in
# braces, as paths such as m_image.id, or *m_list for what a pointer leads to. The first row that fits counts; children of classes without a row look like their base.
Row = collections.namedtuple("Row", "name text items", defaults=[None])
Array = collections.namedtuple("Array", "data count")
Chain = collections.namedtuple("Chain", "head next value count")  # nodes
Blocks = collections.namedtuple("Blocks", "head next elements used count")  # nodes with several elements each
Slots = collections.namedtuple("Slots", "blocks count")  # pointers to heads of blocks, each with marks and elements
Buckets = collections.namedtuple("Buckets", "heads size next key value count")  # arrays of chains of pairs
Grid = collections.namedtuple("Grid", "data height width")  # row after row
Rows = collections.namedtuple("Rows", "data height width")  # an array of rows

TABLE = [
    # texts, paths, dates and small values
    Row("KxTools::String", "{m_text}"),
    Row("KxN::CStringT<*>", "{m_text}"),
    Row("KxTools::DirEntry", "{m_path}"),
    Row("KxN::KxDateTime", "{m_value:date}"),
    Row("KxN::CTime", "{m_seconds} s since 1970"),
    Row("KxN::KxVersion", "{m_number}"),
    Row("KxN::KxResId", "text {m_id}"),
    Row("KxN::KxAngle", "{m_degrees} degrees"),
    Row("KxN::KxGuid", "{m_guid:guid}"),
    Row("KxN::KxColor", "{m_value:hex}"),
    Row("KxN::KxFileSpec", "{m_name}, {m_size} bytes"),
    Row("KxN::KxTSmartPointer<*>", "{m_object}"),
    # containers
    Row("KxN::KxTArray<*>", "{m_count} elements", Array("m_data", "m_count")),
    Row("KxN::KxTDynArray<*>", "{m_count} elements", Array("m_data", "m_count")),
    Row("KxN::KxTMem<*>", "{m_count} elements", Array("m_data", "m_count")),
    Row("KxN::KxTBuf1D<*>", "{m_count} elements", Array("m_data", "m_count")),
    Row("KxN::KxTBlockMem<*>", "{m_elements.m_count} elements", Array("m_elements.m_data", "m_elements.m_count")),
    Row("KxN::CArray<*>", "{m_size} elements", Array("m_data", "m_size")),
    Row("KxN::CPList", "{m_count} pointers", Array("m_entries", "m_count")),
    Row("KxN::KxTList<*>", "{m_count} elements", Chain("m_head", "next", "value", "m_count")),
    Row("KxN::CList<*>", "{m_count} elements", Chain("m_head", "next", "value", "m_count")),
    Row("KxN::KxTSVQueue<*>", "{m_count} elements", Blocks("m_first", "next", "elements", "used", "m_count")),
    Row("KxN::KxTMap<*>", "{m_count} pairs",
        Buckets("m_buckets.m_data", "m_buckets.m_count", "next", "key", "value", "m_count")),
    Row("KxN::KxT2dArray<*>", "{m_height} rows of {m_width}", Grid("m_values.m_data", "m_height", "m_width")),
    Row("KxN::KxCompactArray<*>", "{m_used} of {m_size} elements", Array("m_dense.m_data", "m_used")),
    Row("KxN::KxTBlockHeap<*>", "{m_blockCount} blocks of {m_capacity} elements, {m_freeCount} of them free",
        Slots("m_blocks.m_data", "m_blocks.m_count")),
    # vectors, matrices, histograms
    *[Row("KxN::KxVec2" + kind, "({m_values[0]}, {m_values[1]})") for kind in "sifd"],
    *[Row("KxN::KxVec3" + kind, "({m_values[0]}, {m_values[1]}, {m_values[2]})") for kind in "ifd"],
    *[Row("KxN::KxVec4" + kind, "({m_values[0]}, {m_values[1]}, {m_values[2]}, {m_values[3]})") for kind in "ifd"],
    Row("KxN::KxMatrix3", "3 x 3", Rows("m_rows", "3", "3")),
    Row("KxN::KxMatrix4", "4 x 4", Rows("m_rows", "4", "4")),
    Row("KxN::KxMatrix", "{m_height} x {m_width}", Rows("m_rows", "m_height", "m_width")),
    Row("KxN::KxSparseMatrix", "{m_values.m_count} elements", Array("m_values.m_data", "m_values.m_count")),
    Row("KxN::KxHistogram", "{m_values.m_count} values from {m_min} to {m_max}",
        Chain("m_values.m_head", "next", "value", "m_values.m_count")),
    Row("KxN::KxRangeHistogram", "{m_columns} columns from {m_low} to {m_high}",
        Array("m_counts.m_data", "m_counts.m_count")),
    # properties
    Row("KxN::KxPropertyList", "{m_name}: {m_count} properties", Chain("m_first", "m_links.next", "", "m_count")),
    Row("KxN::KxTProperty<*>", "{m_name} = {m_value}"),
    Row("KxN::KxStringProperty", "{m_name} = {m_value}"),
    Row("KxN::KxTBuf1DProperty<*>", "{m_name}: {m_value.m_count} elements", Array("m_value.m_data", "m_value.m_count")),
    Row("KxN::KxProperty", "{m_name}"),
    # tags
    Row("KxN::STag", "id {id}, version {version}, {dataSize} bytes at {dataAddress}, next {nextTag}"),
    Row("KxN::STag32", "id {id}, version {version}, {dataSize} bytes at {dataAddress}, next {nextTag}"),
    Row("KxN::KxTTag<*>", "id {m_image.id}, version {m_image.version}: {m_value}"),
    Row("KxN::KxStringTag", "id {m_image.id}, version {m_image.version}: {m_text}"),
    Row("KxN::KxNumeratedTag", "id {m_image.id}, version {m_image.version}: number {m_wanted}"),
    Row("KxN::KxTBasicTypeArrayTag<*>", "id {m_image.id}, version {m_image.version}: {m_values}"),
    Row("KxN::KxTTagArrayTag<*>", "id {m_image.id}, version {m_image.version}: {m_values}"),
    Row("KxN::KxPropertyTag", "id {m_image.id}, version {m_image.version}: {*m_property}"),
    Row("KxN::KxPropertyListTag", "id {m_image.id}, version {m_image.version}: {*m_list}"),
    Row("KxN::KxDynamicObjectTag", "id {m_image.id}, version {m_image.version}: bound to {m_object}"),
    *[Row("KxN::Kx" + kind + "Tag", "id {m_image.id}, version {m_image.version}: {m_value}")
      for kind in ("Vec2s", "Vec2d", "Vec3f", "Vec3d", "Vec2sArray", "Vec3iArray", "Vec3fArray", "Vec3dArray", "Vec3dList",
                   "Vec3f2dArray", "Vec3d2dArray", "Vec3fCompactArray", "Histogram")],
    Row("KxN::KxTag", "id {m_image.id}, version {m_image.version}"),
    # exceptions
    Row("KxN::CFileException", "cause {m_cause}, system error {m_osError}, {m_fileName}"),
    Row("KxN::CArchiveException", "cause {m_cause}, {m_fileName}"),
    Row("KxN::KxDirEntryException", "{m_path}, system error {m_code}"),
    Row("KxN::KxDllException", "{m_name}: {m_reason}, system error {m_code}"),
    Row("KxN::KxVersionException", "{m_name}: version {m_found}, needed {m_needed}"),
    Row("KxN::KxException", "{m_message} from {m_srcFileName}, line {m_srcLine}"),
    Row("KxN::COleException", "code {m_code}"),
    Row("KxN::CMemoryException", "no memory"),
    Row("KxN::CInvalidArgException", "an argument that cannot be"),
    Row("KxN::CException", "an exception without a text"),
]


def pattern(row):
    """The row as a pattern for names of classes."""
    return re.compile("^" + re.escape(row.name).replace(r"<\*>", "<.*>") + "$")


# ---------------------------------------------------------------------------------------------------------------- gdb


def stripped(value):
    """Without references, as the most derived class only where that is asked for by `set print object`."""
    while value.type.strip_typedefs().code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
        value = value.referenced_value()
    return value


def member(value, path):
    """The member that a path such as m_buckets.m_data or m_values[0] leads to; a number stands for itself."""
    if path.isdigit():
        return gdb.Value(int(path))
    if path.startswith("*"):
        pointer = member(value, path[1:])
        return stripped(pointer.dereference().cast(pointer.dynamic_type.target())) if int(pointer) else pointer
    for name, index in re.findall(r"(\w+)(?:\[(\d+)\])?", path):
        value = stripped(value)
        value = value[name]
        if index:
            value = value[int(index)]
    return stripped(value)


def text_of(value):
    """Characters of a std::basic_string."""
    length = int(value["_M_string_length"])
    if not 0 <= length < 1 << 31:
        return "<damaged text>"
    shown = min(length, gdb.parameter("print elements") or length)
    data = value["_M_dataplus"]["_M_p"]
    if data.type.target().sizeof == 1:
        result = data.string("utf-8", "replace", length=shown)
    else:
        result = data.string("utf-32-le", "replace", length=shown)
    return '"' + result.replace('"', '\\"') + '"' + ("..." if shown < length else "")


def date_of(value, owner):
    """Days since 1899-12-30 as a date and a time, in hundredths of a second."""
    days, hundredths = divmod(round(float(value) * 8640000), 8640000)
    parts = []
    try:
        if owner["m_hasDate"]:
            parts.append(str(datetime.date(1899, 12, 30) + datetime.timedelta(days)))
    except OverflowError:
        return "<no date>"
    if int(owner["m_time"]) == 1:
        parts.append("%02d:%02d:%05.2f" % (hundredths // 360000, hundredths // 6000 % 60, hundredths % 6000 / 100))
    return " ".join(parts) or "<not set>"


def shown(value, form, owner):
    """A member within the text of its owner."""
    if form == "date":
        return date_of(value, owner)
    if form == "guid":
        last = "".join("%02x" % int(value["Data4"][i]) for i in range(8))
        return "%08x-%04x-%04x-%s-%s" % (*(int(value["Data%d" % i]) for i in (1, 2, 3)), last[:4], last[4:])
    if form == "hex":
        return "0x%08x" % int(value)
    if value.type.strip_typedefs().code == gdb.TYPE_CODE_PTR and not int(value):
        return "nothing"
    if str(value.type.strip_typedefs().unqualified()).startswith("std::__cxx11::basic_string<"):
        return text_of(value)
    printer = lookup(value)
    return printer.to_string() if printer else value.format_string(raw=False)


def undescribed(kind):
    """The class, or its base, whose members the program does not tell: the compiler describes one with virtual functions only
    where its table is, which is in the library."""
    kind = kind.strip_typedefs()
    if kind.code != gdb.TYPE_CODE_STRUCT:
        return None
    if not kind.sizeof:
        return kind.name
    return next(filter(None, (undescribed(field.type) for field in kind.fields() if field.is_base_class)), None)


class Text:
    """A class that shows a text and nothing else."""

    def __init__(self, row, value):
        self.row, self.value = row, value

    def to_string(self):
        def replace(match):
            try:
                return shown(member(self.value, match[1]), match[2], self.value)
            except gdb.error:
                return "<cannot be read>"

        missing = undescribed(self.value.type)
        if missing:
            return "<nothing describes %s: compile with -femit-class-debug-always>" % missing
        return re.sub(r"\{([\w.\[\]*]+)(?::(\w+))?\}", replace, self.row.text)


class Container(Text):
    def display_hint(self):
        return "map" if isinstance(self.row.items, Buckets) else None

    def children(self):
        limit = gdb.parameter("print elements") or 1 << 30
        if undescribed(self.value.type):
            return
        count = 0
        try:
            for index, item in enumerate(WALKS[type(self.row.items)](self.value, self.row.items)):
                if index > limit:  # gdb itself cuts at the limit, and tells so by what comes behind it
                    return
                item.fetch_lazy()  # or its place is read where nobody catches what goes wrong
                yield ("[%d]" % index, item)
                count += 1
        except gdb.error:
            if self.display_hint() and count % 2 == 0:
                yield ("[...]", "...")  # in the place of a key
            yield ("[...]", "cannot be read")


def array(value, items):
    data = member(value, items.data)
    for index in range(int(member(value, items.count))):
        yield data[index]


def chain(value, items):
    node, count = member(value, items.head), int(member(value, items.count))
    while int(node) and count > 0:
        there = node.dereference()
        yield member(there, items.value) if items.value else there.cast(there.dynamic_type)
        node, count = member(there, items.next), count - 1


def blocks(value, items):
    block, count = member(value, items.head), int(member(value, items.count))
    while int(block) and count > 0:
        there = block.dereference()
        for index in range(min(int(there[items.used]), count)):
            yield there[items.elements][index]
        block, count = there[items.next], count - int(there[items.used])


def slots(value, items):
    for index in range(int(member(value, items.count))):
        block = member(value, items.blocks)[index]
        if not int(block):
            continue
        marks = (block + 1).cast(gdb.lookup_type("unsigned char").pointer())
        for slot in range(int(block["capacity"])):
            if int(marks[slot]):
                yield block["elements"][slot]


def buckets(value, items):
    heads, count = member(value, items.heads), int(member(value, items.count))
    for bucket in range(int(member(value, items.size))):
        node = heads[bucket]
        while int(node) and count > 0:
            yield node[items.key]
            yield node[items.value]
            node, count = node[items.next], count - 1


def grid(value, items):
    data, width = member(value, items.data), int(member(value, items.width))
    for row in range(int(member(value, items.height))):
        if width > 0:
            yield (data + row * width).cast(data.type.target().array(width - 1).pointer()).dereference()


def rows(value, items):
    data, width = member(value, items.data), int(member(value, items.width))
    for row in range(int(member(value, items.height))):
        there = data[row]
        if there.type.code == gdb.TYPE_CODE_STRUCT:
            there = there["m_values"]
        else:
            there = there.cast(there.type.target().array(width - 1).pointer()).dereference()
        yield there


WALKS = {Array: array, Chain: chain, Blocks: blocks, Slots: slots, Buckets: buckets, Grid: grid, Rows: rows}
PATTERNS = [(pattern(row), row) for row in TABLE]


def row_of(kind):
    """The row of a class or of the nearest of its bases that has one."""
    name = kind.name or ""
    for regex, row in PATTERNS:
        if regex.match(name):
            return row
    for field in kind.fields():
        if field.is_base_class:
            row = row_of(field.type.strip_typedefs())
            if row:
                return row
    return None


def lookup(value):
    kind = value.type.strip_typedefs().unqualified()
    if kind.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
        return lookup(value.referenced_value())
    if kind.code != gdb.TYPE_CODE_STRUCT or not (kind.name or "").startswith("Kx"):
        return None
    row = row_of(kind)
    if not row:
        return None
    return (Container if row.items else Text)(row, value)


# --------------------------------------------------------------------------------------------------------- the other format


def natvis():
    def name(row):
        return row.name.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")

    lines = ['<?xml version="1.0" encoding="utf-8"?>',
             "<!-- Made from the table in hbtools_gdb.py: change it there. -->",
             '<AutoVisualizer xmlns="http://schemas.microsoft.com/vstudio/debugger/natvis/2010">']
    for row in TABLE:
        text = row.text.replace(":date}", "} days since 1899-12-30").replace(":hex}", ",x}")
        text = re.sub(r"\{(\w+):guid\}", lambda match: "-".join("{%s.Data%d,xb}" % (match[1], i) for i in (1, 2, 3))
                      + "-" + "".join(("-" if i == 2 else "") + "{%s.Data4[%d],xb}" % (match[1], i) for i in range(8)), text)
        lines.append('  <Type Name="%s">' % name(row))
        lines.append("    <DisplayString>%s</DisplayString>" % text)
        items = row.items
        if items:
            lines.append("    <Expand>")
        if isinstance(items, Array):
            lines += ["      <ArrayItems>", "        <Size>%s</Size>" % items.count,
                      "        <ValuePointer>%s</ValuePointer>" % items.data, "      </ArrayItems>"]
        elif isinstance(items, Chain):
            lines += ["      <LinkedListItems>", "        <Size>%s</Size>" % items.count,
                      "        <HeadPointer>%s</HeadPointer>" % items.head,
                      "        <NextPointer>%s</NextPointer>" % items.next,
                      "        <ValueNode>%s</ValueNode>" % (items.value or "*this"), "      </LinkedListItems>"]
        elif isinstance(items, Grid):
            lines += ["      <ArrayItems>", "        <Direction>Forward</Direction>", "        <Rank>2</Rank>",
                      "        <Size>$i == 0 ? %s : %s</Size>" % (items.height, items.width),
                      "        <ValuePointer>%s</ValuePointer>" % items.data, "      </ArrayItems>"]
        elif isinstance(items, Rows):
            element = ".m_values" if items.height.isdigit() else ""
            lines += ["      <IndexListItems>", "        <Size>%s</Size>" % items.height,
                      "        <ValueNode>%s[$i]%s%s</ValueNode>"
                      % (items.data, element, "" if element else ",[%s]" % items.width), "      </IndexListItems>"]
        elif isinstance(items, Slots):
            block = items.blocks + "[block]"
            lines += ["      <CustomListItems>", "        <Variable Name=\"block\" InitialValue=\"0\"/>",
                      "        <Variable Name=\"slot\" InitialValue=\"0\"/>",
                      "        <Loop Condition=\"block &lt; %s\">" % items.count, "          <Exec>slot = 0</Exec>",
                      "          <Loop Condition=\"%s != nullptr &amp;&amp; slot &lt; %s-&gt;capacity\">" % (block, block),
                      "            <Item Condition=\"((unsigned char*)(%s + 1))[slot] != 0\">%s-&gt;elements[slot]</Item>"
                      % (block, block), "            <Exec>slot = slot + 1</Exec>", "          </Loop>",
                      "          <Exec>block = block + 1</Exec>", "        </Loop>", "      </CustomListItems>"]
        elif isinstance(items, (Blocks, Buckets)):
            lines += ["      <CustomListItems>", "        <Variable Name=\"node\" InitialValue=\"%s\"/>"
                      % (items.head if isinstance(items, Blocks) else items.heads + "[0]"),
                      "        <Variable Name=\"index\" InitialValue=\"0\"/>", "        <Size>%s</Size>" % items.count]
            if isinstance(items, Blocks):
                lines += ["        <Loop Condition=\"node != nullptr\">",
                          "          <Item>node-&gt;%s[index]</Item>" % items.elements,
                          "          <Exec>index = index + 1</Exec>",
                          "          <If Condition=\"index == node-&gt;%s\">" % items.used,
                          "            <Exec>node = node-&gt;%s</Exec>" % items.next,
                          "            <Exec>index = 0</Exec>", "          </If>", "        </Loop>"]
            else:
                lines += ["        <Loop Condition=\"index &lt; %s\">" % items.size,
                          "          <Exec>node = %s[index]</Exec>" % items.heads,
                          "          <Loop Condition=\"node != nullptr\">",
                          "            <Item Name=\"[{node-&gt;%s}]\">node-&gt;%s</Item>" % (items.key, items.value),
                          "            <Exec>node = node-&gt;%s</Exec>" % items.next, "          </Loop>",
                          "          <Exec>index = index + 1</Exec>", "        </Loop>"]
            lines.append("      </CustomListItems>")
        if items:
            lines.append("    </Expand>")
        lines.append("  </Type>")
    return "\n".join(lines + ["</AutoVisualizer>", ""])


if gdb:
    lookup.__name__ = "hbtools"
    lookup.name, lookup.enabled = "hbtools", True
    gdb.pretty_printers[:] = [p for p in gdb.pretty_printers if getattr(p, "name", "") != "hbtools"] + [lookup]
elif __name__ == "__main__":
    sys.stdout.write(natvis())
