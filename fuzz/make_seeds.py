#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
"""Writes the seed corpora under fuzz/corpus/, in the input formats the fuzz_*.cpp headers
describe. Run it again after changing a format; the fuzzers never write into these folders."""

import math
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def write(target, name, data):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


# fuzz_dbusvalue: a type as its signature text, then the value's bytes.

def complete_types(signature):
    types, i = [], 0
    while i < len(signature):
        start = i
        while signature[i] == "a":
            i += 1
        if signature[i] in "({":
            depth = 0
            while True:
                depth += {"(": 1, "{": 1, ")": -1, "}": -1}.get(signature[i], 0)
                i += 1
                if depth == 0:
                    break
        else:
            i += 1
        types.append(signature[start:i])
    return types


PACKING = {"n": "<h", "q": "<H", "i": "<i", "u": "<I", "x": "<q", "t": "<Q", "d": "<d"}
PATH_CHARACTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_"


def value_bytes(signature, value):
    code = signature[0]
    if code in "yb":
        return bytes([value])
    if code in PACKING:
        return struct.pack(PACKING[code], value)
    if code == "s":
        raw = value if isinstance(value, bytes) else value.encode()
        return bytes([len(raw)]) + raw
    if code == "o":
        elements = [e for e in value.split("/") if e]
        out = bytes([len(elements)])
        for element in elements:
            assert 1 <= len(element) <= 8, element
            out += bytes([len(element) - 1]) + bytes(PATH_CHARACTERS.index(c) for c in element)
        return out
    if code == "g":
        types = complete_types(value)
        return bytes([len(types)]) + value.encode()
    if code == "h":
        return b""
    if code == "v":
        inner, content = value
        return inner.encode() + value_bytes(inner, content)
    if code == "(":
        fields = complete_types(signature[1:-1])
        return b"".join(value_bytes(t, v) for t, v in zip(fields, value))
    element = signature[1:]
    out = b""
    if element.startswith("{"):
        key, entry = element[1], element[2:-1]
        for k, v in value:
            out += b"\x01" + value_bytes(key, k) + value_bytes(entry, v)
    else:
        for v in value:
            out += b"\x01" + value_bytes(element, v)
    return out + b"\x00"


def dbus_program(signature, value):
    return signature.encode() + value_bytes(signature, value)


def variants(count, signature, value):
    """The content of a variant holding count - 1 variants around the value."""
    content = (signature, value)
    for _ in range(count - 1):
        content = ("v", content)
    return content


def sv(pairs):
    return [(k, v) for k, v in pairs]


def string_variant(text):
    return ("s", text)


def catalogue_entry(name, description, arguments=None):
    pairs = [("id", string_variant(name)), ("description", string_variant(description))]
    if arguments is not None:
        records = [("a{sv}", sv([("name", string_variant(n)), ("type", string_variant(t))]))
                   for n, t in arguments]
        pairs += [("argumentCount", ("i", len(arguments))), ("argumentTypes", ("av", records))]
    return ("a{sv}", sv(pairs))


def reply(key, entries):
    return sv([("resultId", string_variant("Success")), ("errorId", string_variant("NoError")),
               (key, ("av", entries))])


CATEGORIES = [("ConfigurationCommandId", "Configuration"), ("PaperFeedCommandId", "Paper feed"),
              ("DocumentCommandId", "Document"), ("EmbossCommandId", "Emboss"),
              ("TestingCommandId", "Testing"), ("IpcCommandId", "Inter-process communication")]


def dbusvalue_seeds():
    write("fuzz_dbusvalue", "categories_reply",
          dbus_program("a{sv}", reply("commandCategories",
                                      [catalogue_entry(n, d) for n, d in CATEGORIES])))
    write("fuzz_dbusvalue", "commands_reply",
          dbus_program("a{sv}", reply("commands", [
              catalogue_entry("Ping", "Check that the service answers", []),
              catalogue_entry("Echo", "Answer with the given text", [("text", "string")]),
              catalogue_entry("StartEmbossing", "Emboss copies of a closed document",
                              [("document", "int"), ("copies", "int")])])))
    write("fuzz_dbusvalue", "request",
          dbus_program("a{sv}", sv([("commandId", string_variant("HandleCommand")),
                                    ("subCommandId", ("i", 603)),
                                    ("senderId", string_variant("CommandHandler")),
                                    ("args", ("av", [string_variant("a"),
                                                     string_variant("b")]))])))
    write("fuzz_dbusvalue", "deep_variants", dbus_program("v", variants(70, "i", 7)))
    nested = [[]]
    for _ in range(30):
        nested = [nested]
    write("fuzz_dbusvalue", "deep_arrays", dbus_program("a" * 32 + "i", nested))
    lists = ("av", [])
    for _ in range(22):
        lists = ("av", [lists])
    write("fuzz_dbusvalue", "deep_lists", dbus_program("av", lists[1]))
    write("fuzz_dbusvalue", "dict_byte_keys",
          dbus_program("a{yv}", [(0, ("s", "zero")), (65, ("y", 66)), (255, ("ay", [1, 2])),
                                 (65, ("b", 1))]))
    write("fuzz_dbusvalue", "dict_keys_of_each_type",
          dbus_program("(a{bs}a{nq}a{xt}a{ds}a{oi}a{gi})", [
              [(1, "yes"), (0, "no"), (1, "again")], [(-5, 5), (32767, 1)],
              [(-(2 ** 63), 2 ** 64 - 1), (0, 0)],
              [(0.5, "half"), (-0.0, "minus zero"), (math.inf, "inf"), (math.nan, "nan"),
               (1e300, "big")],
              [("/se/tarnvik", 1), ("/", 2)], [("a{sv}", 1), ("", 2)]]))
    write("fuzz_dbusvalue", "all_basic_types",
          dbus_program("(ybnqiuxtdsogh)", [255, 1, -32768, 65535, -(2 ** 31), 2 ** 32 - 1,
                                           -(2 ** 63), 2 ** 64 - 1, 3.25, "text \u00e5\u00e4",
                                           "/se/tarnvik/Command", "a{sv}(iai)v", None]))
    write("fuzz_dbusvalue", "bytes", dbus_program("(ayay)", [[0, 1, 2, 254, 255], []]))
    write("fuzz_dbusvalue", "descriptors", dbus_program("(aha{hs}v)",
                                                        [[None, None], [(None, "fd")],
                                                         ("h", None)]))
    write("fuzz_dbusvalue", "structs_in_arrays",
          dbus_program("a(sa{sv}(dv))", [("one", [("k", ("i", 1))], (1.5, ("as", ["x"]))),
                                         ("two", [], (0.0, ("(ii)", (1, 2))))]))
    write("fuzz_dbusvalue", "empty_containers_deep",
          dbus_program("v", variants(63, "a{sv}", [])))
    write("fuzz_dbusvalue", "invalid_utf8", dbus_program("as", [b"ok", b"\xff\xfe bad"]))
    write("fuzz_dbusvalue", "noncharacter", dbus_program("s", "\ufdd0".encode()))
    write("fuzz_dbusvalue", "nul_in_text", dbus_program("s", b"before\x00after"))


# fuzz_catalogue: an enum byte, entries, look-ups.

def text(s):
    raw = s.encode()
    return b"\xff" + bytes([len(raw)]) + raw


def cvalue(v):
    if v is None:
        return b"\x00"
    if isinstance(v, bool):
        return b"\x01" + bytes([int(v)])
    if isinstance(v, int):
        return b"\x02" + struct.pack("<i", v)
    if isinstance(v, float):
        return b"\x05" + struct.pack("<d", v)
    if isinstance(v, str):
        return b"\x06" + text(v)
    if isinstance(v, bytes):
        return b"\x07" + bytes([len(v)]) + v
    if isinstance(v, tuple) and v[0] == "strings":
        return b"\x08" + b"".join(b"\x01" + text(s) for s in v[1]) + b"\x00"
    if isinstance(v, list):
        return b"\x09" + b"".join(b"\x01" + cvalue(e) for e in v) + b"\x00"
    if isinstance(v, dict):
        return b"\x0a" + b"".join(b"\x01" + text(k) + cvalue(e) for k, e in v.items()) + b"\x00"
    raise TypeError(v)


def centry(fields):
    if not isinstance(fields, dict):
        return b"\x07" + cvalue(fields)
    return b"\x00" + b"".join(b"\x01" + text(k) + cvalue(v) for k, v in fields.items()) + b"\x00"


def catalogue(enum, entries, lookups=(), built_enum=None):
    out = bytes([enum])
    if built_enum is not None:
        out += bytes([len(built_enum)])
        for null, name, value in built_enum:
            out += bytes([int(null)]) + text(name) + struct.pack("<h", value)
    for key, fields in entries:
        out += b"\x01" + text(key) + centry(fields)
    out += b"\x00"
    for key in lookups:
        out += b"\x01" + text(key)
    return out + b"\x00"


def command(name, description, arguments=None, count=None):
    fields = {"id": name, "description": description}
    if arguments is not None:
        fields["argumentCount"] = len(arguments) if count is None else count
        fields["argumentTypes"] = [{"name": n, "type": t} for n, t in arguments]
    return name, fields


def catalogue_seeds():
    write("fuzz_catalogue", "categories",
          catalogue(0, [(n, {"id": n, "description": d}) for n, d in CATEGORIES]))
    write("fuzz_catalogue", "ipc_commands", catalogue(6, [
        command("Ping", "Check that the service answers", []),
        command("GetServiceInfo", "Show the service version, uptime and requests served", []),
        command("Echo", "Answer with the given text", [("text", "string")]),
        command("GetDeviceState", "Show a summary of the device state", [])]))
    write("fuzz_catalogue", "document_commands", catalogue(3, [
        command("OpenDocument", "Open a new document for text", [("title", "string")]),
        command("AddText", "Append text to an open document",
                [("document", "int"), ("text", "string")]),
        command("CloseDocument", "Close a document so it can be embossed", [("document", "int")])
    ], lookups=["AddText", "Missing"]))
    write("fuzz_catalogue", "missing_fields", catalogue(1, [
        ("GetConfiguration", {"id": "GetConfiguration"}),
        ("SetPaperFormat", {"description": "Set the paper format"}),
        ("SetCellsPerLine", {"description": "Cells", "argumentCount": 2}),
        ("", {"description": "entry without id"})]))
    write("fuzz_catalogue", "odd_types", catalogue(5, [
        ("RunSelfTest", {"description": 7, "argumentCount": "2",
                         "argumentTypes": ("strings", ["a", "b"])}),
        ("EmbossTestPage", {"description": ["list"], "argumentCount": 1.5,
                            "argumentTypes": [{"name": 1, "type": None}, "not a map",
                                              {"name": ["x"], "type": {"nested": True}}]}),
        ("TestSensors", "an entry that is no map"),
        ("GetErrorLog", {"description": b"\xff\xfe", "argumentCount": True,
                         "argumentTypes": [{"name": "n"}]})]))
    write("fuzz_catalogue", "built_enum", catalogue(7, [
        ("Alpha", {"description": "first", "argumentCount": 1,
                   "argumentTypes": [{"name": "a", "type": "int"}]}),
        ("Beta", {"description": "second"})],
        built_enum=[(False, "Alpha", 1), (False, "Beta", 1), (True, "Null", 2),
                    (False, "Alpha", 3), (False, "Gamma", -32768)]))


# fuzz_logprefix: a mode byte and four texts.

def logprefix(name, before, after, tag, inside=True):
    out = bytes([int(inside)])
    for part in (name, before, after, tag):
        raw = part.encode()
        out += bytes([len(raw)]) + raw
    return out


def logprefix_seeds():
    write("fuzz_logprefix", "get_commands",
          logprefix("getCommands", "const QVariantList CommandHandler::",
                    "(const QString&) const", "ERROR:"))
    write("fuzz_logprefix", "display",
          logprefix("display", "void CommandParser::",
                    "(const ls::MetaEnum&, const QVariantMap&) const", "ERROR:"))
    write("fuzz_logprefix", "execute_failed",
          logprefix("executeCommand", "const QVariantMap CommandHandler::",
                    "(int, const QList<QVariant>&) const", "FAILED!"))
    write("fuzz_logprefix", "name_missing",
          logprefix("listCommands", "void CommandParser::", "(int) const", "ERROR:", False))
    write("fuzz_logprefix", "no_space_no_parenthesis",
          logprefix("f", "", "", "T"))
    write("fuzz_logprefix", "lambda",
          logprefix("operator()", "main(int, char**)::<lambda(int)>::", "(int) const", ""))


# fuzz_commandline: the arguments, each ended by a NUL.

def argv(*arguments):
    return b"".join(a.encode() + b"\x00" for a in arguments)


def commandline_seeds():
    seeds = {
        "list_categories": ["-l"],
        "list_commands": ["-c", "2"],
        "list_commands_long": ["--listCommands=6"],
        "list_commands_bad": ["-c", "x"],
        "execute_echo": ["-e", "603", "-a", "a b"],
        "execute_ping": ["-e", "601"],
        "execute_empty_arguments": ["-e", "603", "-a", ""],
        "execute_unknown": ["-e", "99999999999"],
        "execute_without_value": ["-e"],
        "help": ["--help"],
        "version": ["-v"],
        "no_options": [],
        "several": ["-l", "-c", "1", "-e", "101"],
        "unknown_option": ["--frobnicate"],
    }
    for name, arguments in seeds.items():
        write("fuzz_commandline", name, argv(*arguments))


if __name__ == "__main__":
    dbusvalue_seeds()
    catalogue_seeds()
    logprefix_seeds()
    commandline_seeds()
