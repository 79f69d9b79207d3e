#!/usr/bin/env python3
"""Computes the examples of bytes in the pages about formats, apart from the library.

usage: documented_bytes_test.py SOURCE-FOLDER"""
import struct

from documented_formats import (VALUES, VARIABLES, bulk_transfer, byte_blocks, check, clock_datagram,
                                gpio_sentence, message_in_layout, peer, rows, sentence, slip_frame, storage_block, u32)

for kind, value, blob in VALUES:
    check(f"formats.md: {kind}", peer.encode_value(kind, value), blob)
    check(f"formats.md: {kind} back", peer.decode_value(kind, blob), value)
check("unit.md: variables", {int(tag, 16): (key, kind) for tag, key, kind, _ in VARIABLES}, peer.VARIABLES)

for sync, start, crc, shortest in rows(
        "messages.md", r"\| `(\w\w)` \| at .* \| (\d+) \| (CRC\d\d) \| (\d+) \|", 15):
    fields, has_header_crc, trailing = peer.LAYOUTS[int(sync, 16)]
    header = struct.calcsize(fields) + 2 * has_header_crc
    check(f"messages.md: layout {sync}", (int(start), crc, int(shortest)),
          (header, trailing.__name__.upper(), header + len(trailing(b""))))

words = [struct.pack(">H", 5), b"FM", u32(470000)]
expected = {
    "messages.md": [
        message_in_layout(0xA1, 0, 0x1234, b"\xFF\xF4"),
        b"".join(message_in_layout(sync, 3, 0x1234, b"\xFF\xF4") for sync in peer.LAYOUTS),
        peer.encode_message(0x00A10001, b"\xFF\xF4") + peer.encode_message(0x00A10001, b"\xFF\xF4", 3),
        peer.encode_message(7, b"") + peer.encode_message(5, b""),
        sentence(0x00510099, *words),
        sentence(0x00510099, *words[:2])],
    "slip.md": [b"\x01\xC0\xDB\x02" + slip_frame(b"\x01\xC0\xDB\x02")],
    "bulk-transfer.md": [b"".join(bulk_transfer(0x1234ABCD, b"hello", 3))],
    "gpio-server.md": [gpio_sentence(0x0101, 0x1234, b"in") + gpio_sentence(0x0301, 0x1234, u32(3))],
    "clocks.md": [clock_datagram(7, 0) + clock_datagram(7, 2271560481)],
    "storage.md": [storage_block(7, 1, peer.encode_message(5, b"\x42"))]}
for page, blocks in expected.items():
    check(page, [block.hex(" ") for block in byte_blocks(page)], [block.hex(" ") for block in blocks])
