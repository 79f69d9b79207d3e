"""What the pages about formats document, and the formats that the peer in examples/python has no use for."""
import pathlib
import re
import struct
import sys
import zlib

from programs import check

ROOT = pathlib.Path(sys.argv[1])
PEER_PROGRAM = ROOT / "examples/python/quarn_peer.py"
PAGES = {path.name: path.read_text() for path in (ROOT / "docs").glob("*.md")}

sys.dont_write_bytecode = True
sys.path.insert(0, str(PEER_PROGRAM.parent))
import quarn_peer as peer  # noqa: E402


def rows(page, pattern, count):
    """The groups of every line of the page that the pattern matches as a whole."""
    found = re.findall(f"^{pattern}$", PAGES[page], re.MULTILINE)
    check(f"{page}: number of lines like {pattern}", len(found), count)
    return found


def byte_blocks(page):
    """The bytes of each indented block, without the remarks in front of them and behind."""
    remark = "(?:sender|receiver|request|reply|message|on the link|[<>])"
    byte = "[0-9A-F]{2}"
    for block in re.findall(r"(?:^    .*\n)+", PAGES[page], re.MULTILINE):
        lines = re.findall(rf"^    (?:{remark} +)?({byte}(?: +{byte})*)(?: .*)?$", block, re.MULTILINE)
        if lines:
            yield bytes.fromhex(" ".join(lines))


VARIABLES = rows("unit.md", r"\| 0x(\w{8}) \| (\S+\.\S+) \| (\w+) \| (.*) \|", 22)
SETTABLE = {key for _, key, _, at_start in VARIABLES if not at_start.startswith("measured")}
VALUES = [(kind, peer.parse_value(kind, re.findall(r'[^" ]+|(?<=")(?=")', text)), bytes.fromhex(blob))
          for kind, text, blob in rows("formats.md", r"\| (?:\d+) \| (\w+) \| .* \| (.*) \| `([0-9A-F ]+)` \|", 18)]


def u32(number):
    return struct.pack(">I", number)


def sentence(tag, *blobs):
    return peer.encode_message(tag, peer.join_blobs(b"\xB2", blobs))


def message_in_layout(sync, stream, tag, payload):
    fields, has_header_crc, crc = peer.LAYOUTS[sync]
    total = struct.calcsize(fields) + 2 * has_header_crc + len(payload) + len(crc(b""))
    header = struct.pack(fields, sync, total, *([stream] if sync >= 0xC1 else []), tag)
    message = header + peer.crc16(header) * has_header_crc + payload
    return message + crc(message)


def gpio_sentence(tag, action_id, *blobs):
    return sentence(tag, struct.pack(">H", action_id), *blobs)


def bulk_transfer(token, content, chunk):
    """What the two ends say to each other, in turns."""
    yield sentence(0xBB01, u32(token), u32(len(content)))
    for at in range(0, len(content), chunk):
        part = content[at:at + chunk]
        yield sentence(0xBB02, u32(at), part)
        yield sentence(0xBB03, u32(at + len(part)))


def clock_datagram(sequence, time_us):
    return struct.pack("<2sHI", b"SC", sequence, time_us)


def slip_frame(message):
    return message.replace(b"\xDB", b"\xDB\xDD").replace(b"\xC0", b"\xDB\xDC") + b"\xC0"


def storage_block(version, stamp, messages):
    def crc32(seed, data):
        return zlib.crc32(data, seed) ^ 0xFFFFFFFF
    messages += b"\xA0" * (-len(messages) % 4)
    fields = struct.pack("<IIQI", 0x1D766D74, version, stamp, len(messages))
    header = fields + struct.pack("<I", crc32(0, fields + bytes(4)))
    trailer = 0x0193CAD8
    overall = crc32(crc32(crc32(0, header), messages), struct.pack("<II", 0, trailer))
    return header + messages + struct.pack("<II", overall, trailer)
