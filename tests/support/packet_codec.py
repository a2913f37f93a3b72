"""Packets as bytes, from docs/packet-protocol.md; for the tests' clients and for those who play the driver."""

import struct

ARGUMENT, END, ENTRY = "argument", "end of arguments", "entry"
KINDS = {ARGUMENT: b"A", END: b"E", ENTRY: b"N"}
HEADER = struct.Struct(">4sHHIQ")  # magic, version, flags, length of the body, result


def packet(command, *items, result=0, encoding="utf-8"):
    """The bytes of a packet; items are (ARGUMENT, text), (END,) or (ENTRY, name, value), as bytes or str."""

    def counted(text):
        raw = text if isinstance(text, bytes) else text.encode(encoding)
        return struct.pack(">I", len(raw)) + raw

    body = b"C" + counted(command)
    for kind, *texts in items:
        body += KINDS[kind] + b"".join(map(counted, texts))
    return HEADER.pack(b"TVX4", 1, 0, len(body), result) + body


def header_of(data):
    """Length of the body, and result, of the packet that begins there."""
    magic, version, _, length, result = HEADER.unpack_from(data)
    if (magic, version) != (b"TVX4", 1):
        raise AssertionError("this is no packet")
    return length, result


def command_and_items(body, encoding="utf-8"):
    """The command of a packet, and its further items in their order."""
    texts, at = [], 0

    def text():
        nonlocal at
        (length,) = struct.unpack_from(">I", body, at)
        at += 4 + length
        return body[at - length : at].decode(encoding)

    while at < len(body):
        kind = body[at : at + 1]
        at += 1
        if kind == b"E":
            texts.append((END,))
        elif kind == b"N":
            texts.append((ENTRY, text(), text()))
        else:
            texts.append(({b"C": "command", b"A": ARGUMENT}[kind], text()))
    (_, command), *items = texts
    return command, items
