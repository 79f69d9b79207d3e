#!/usr/bin/env python3
"""A peer of quarn-unit without the library, written from docs/formats.md and the pages that it names.

usage: quarn_peer.py [-u HOST:PORT] PATTERN [KEY VALUE...]

Subscribes to the variables that match PATTERN, sets the variable KEY (a vector or list takes several values), asks for
all that match, and prints what the unit says until that is answered. Ends with status 1 when the unit refuses."""
import argparse
import socket
import struct
import sys
import zlib

# Values of a fixed width, as struct knows them.
FIXED = {"UINT8": "B", "INT16": "h", "UINT16": "H", "INT32": "i", "UINT32": "I", "FLOAT": "f", "BOOLEAN": "?",
         "INT64": "q", "UINT64": "Q", "IP_ADDRESS": "4s"}


def element_type(kind):
    return kind.removesuffix("_VECTOR").removesuffix("_LIST")


def join_blobs(mark, blobs):
    return b"".join(mark + struct.pack(">I", len(blob)) + blob for blob in blobs)


def split_blobs(mark, data):
    blobs = []
    while data:
        start = len(mark) + 4
        if not data.startswith(mark) or len(data) < start:
            raise ValueError("no length")
        end = start + struct.unpack_from(">I", data, len(mark))[0]
        if len(data) < end:
            raise ValueError("a length runs over the end")
        blobs.append(data[start:end])
        data = data[end:]
    return blobs


def encode_value(kind, value):
    """The blob of a number, text or bool; for a vector or list, of a list of them."""
    if kind == "STRING":
        return value.encode()
    if kind == "IP_ADDRESS":
        return socket.inet_aton(value)
    if kind in FIXED:
        return struct.pack(">" + FIXED[kind], value)
    blobs = [encode_value(element_type(kind), element) for element in value]
    return join_blobs(b"", blobs) if kind == "STRING_LIST" else b"".join(blobs)


def decode_value(kind, blob):
    if kind == "STRING":
        return blob.decode(errors="replace")
    if kind == "IP_ADDRESS":
        return socket.inet_ntoa(blob)
    if kind in FIXED:
        return struct.unpack(">" + FIXED[kind], blob)[0]
    if kind == "STRING_LIST":
        return [decode_value("STRING", text) for text in split_blobs(b"", blob)]
    element = element_type(kind)
    width = struct.calcsize(">" + FIXED[element])
    return [decode_value(element, blob[at:at + width]) for at in range(0, len(blob), width)]


def parse_value(kind, words):
    """The value of the words of a command line."""
    if kind.endswith(("_VECTOR", "_LIST")):
        return [parse_value(element_type(kind), [word]) for word in words]
    text = " ".join(words)
    if kind == "BOOLEAN":
        return {"true": True, "false": False}[text]
    return text if kind in ("STRING", "IP_ADDRESS") else float(text) if kind == "FLOAT" else int(text, 0)


def crc16(data):
    register = 0
    for byte in data:
        register ^= byte
        for _ in range(8):
            register = register >> 1 ^ (0x8408 if register & 1 else 0)
    return struct.pack(">H", register)


def crc32(data):
    return struct.pack(">I", zlib.crc32(data) ^ 0xFFFFFFFF)  # zlib complements, messages do not


# Of a sync byte: the header in front of its CRC, whether that has one, the trailing CRC.
LAYOUTS = {first + step: (f">B{total}{stream}{tag}", first != 0xA1, crc16 if first == 0xA1 else crc32)
           for first, stream, tag in ((0xA1, "", "H"), (0xA4, "", "I"), (0xAA, "", "H"),
                                      (0xC1, "B", "H"), (0xC4, "B", "I"))
           for step, total in enumerate("BHI")}


def encode_message(tag, payload, stream=0):
    first = (0xC1 if stream else 0xA1) + (3 if tag > 0xFFFF else 0)
    for sync in range(first, first + 3):
        fields, has_header_crc, crc = LAYOUTS[sync]
        total = struct.calcsize(fields) + 2 * has_header_crc + len(payload) + len(crc(b""))
        if total < 256 ** struct.calcsize(fields[2]):
            break
    header = struct.pack(fields, *([sync, total] + [stream] * (stream > 0) + [tag]))
    message = header + crc16(header) * has_header_crc + payload
    return message + crc(message)


def take_message(backlog):
    """Takes (tag, payload) from a bytearray, and drops bytes that start no message; None when there is none yet."""
    while backlog:
        if backlog[0] in LAYOUTS:
            fields, has_header_crc, crc = LAYOUTS[backlog[0]]
            bare = struct.calcsize(fields)
            start = bare + 2 * has_header_crc
            if len(backlog) < start:
                return None
            if not has_header_crc or crc16(backlog[:bare]) == backlog[bare:start]:
                _, total, *_, tag = struct.unpack_from(fields, backlog)
                if len(backlog) < total:
                    return None
                end = total - len(crc(b""))
                if end >= start and crc(backlog[:end]) == backlog[end:total]:
                    payload = bytes(backlog[start:end])
                    del backlog[:total]
                    return tag, payload
        del backlog[0]
    return None


PARTS = {"unit": "name STRING, uptime-s UINT32, temperature-c INT16",
         "rf": "channel UINT8, frequency-khz UINT32, afc-offset-hz INT16, squelch-level UINT16, rssi-dbm FLOAT, "
               "pairing-code UINT8_VECTOR, scan-frequencies-khz UINT32_VECTOR, packets-received UINT64, "
               "packets-lost UINT64_VECTOR",
         "audio": "mute BOOLEAN, gain-db FLOAT, delay-samples UINT16, outputs STRING_LIST, peaks-mdb INT32_VECTOR, "
                  "equalizer-db FLOAT_VECTOR",
         "network": "address IP_ADDRESS, time-servers IP_ADDRESS_LIST",
         "clock": "offset-us INT32, utc-us INT64"}
VARIABLES = {(high << 16) + low: tuple(f"{part}.{variable}".split())  # of a tag: key, type
             for high, (part, variables) in enumerate(PARTS.items(), 1)
             for low, variable in enumerate(variables.split(", "), 1)}
SENTENCES = {0x00510001: ("subscribe", ["STRING_LIST"]), 0x00510002: ("query", ["STRING"]),  # of a tag: name, words
             0x00510011: ("value", ["STRING", "STRING", "STRING"]), 0x00510013: ("done", ["UINT32"]),
             0x00510014: ("refused", ["STRING"])}
TAGS = {name: tag for tag, (name, _) in [*VARIABLES.items(), *SENTENCES.items()]}


class Unit:
    def __init__(self, host, port, timeout_s=10):
        self.socket = socket.create_connection((host, port), timeout_s)
        self.backlog = bytearray()

    def set(self, key, value):
        self.socket.sendall(encode_message(TAGS[key], encode_value(VARIABLES[TAGS[key]][1], value)))

    def say(self, name, *words):
        blobs = [encode_value(*word) for word in zip(SENTENCES[TAGS[name]][1], words)]
        self.socket.sendall(encode_message(TAGS[name], join_blobs(b"\xB2", blobs)))

    def receive(self):
        """Waits for a message: its name, and the variable's value or a list of the sentence's words."""
        while (message := take_message(self.backlog)) is None:
            received = self.socket.recv(65536)
            if not received:
                raise ConnectionError("the unit closed the connection")
            self.backlog += received
        tag, payload = message
        if tag in VARIABLES:
            return VARIABLES[tag][0], decode_value(VARIABLES[tag][1], payload)
        name, kinds = SENTENCES[tag]
        return name, [decode_value(*word) for word in zip(kinds, split_blobs(b"\xB2", payload))]


def main():
    parser = argparse.ArgumentParser(usage=__doc__.split("usage: ")[1])
    parser.add_argument("-u", default="127.0.0.1:7400")
    parser.add_argument("pattern")
    parser.add_argument("key", nargs="?", choices=[key for key, _ in VARIABLES.values()])
    parser.add_argument("value", nargs="*")
    options = parser.parse_args()
    host, port = options.u.rsplit(":", 1)
    unit = Unit(host, int(port))
    unit.say("subscribe", [options.pattern])
    if options.key:
        unit.set(options.key, parse_value(VARIABLES[TAGS[options.key]][1], options.value))
    unit.say("query", options.pattern)
    while True:
        name, said = unit.receive()
        print(name, said)
        if name in ("done", "refused"):
            return 0 if name == "done" else 1


if __name__ == "__main__":
    sys.exit(main())
