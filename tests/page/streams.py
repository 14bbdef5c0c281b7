# SPDX-License-Identifier: MIT
"""Transport streams for the tests of the page: tables, a clock, and packets without a meaning."""
import struct

NULL_PID = 0x1FFF
HOSTILE = '<script>bad()</script>\u2028"\'&<b>'


def crc32(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1) ^ (0x04C11DB7 if crc & 0x80000000 else 0)
        crc &= 0xFFFFFFFF
    return struct.pack(">I", crc)


def section(table_id, extension, body):
    inner = struct.pack(">HBBB", extension, 0xC1, 0, 0) + body
    head = struct.pack(">BH", table_id, 0xB000 | len(inner) + 4)
    return head + inner + crc32(head + inner)


class Stream:
    """Packets of 188 bytes; each PID counts by itself."""

    def __init__(self):
        self.packets = []
        self.counters = {}

    def add(self, pid, payload, start=False, adaptation=b""):
        counter = self.counters.get(pid, 0)
        self.counters[pid] = counter + 1 & 15
        head = struct.pack(">BHB", 0x47, (0x4000 if start else 0) | pid,
                           (0x30 if adaptation else 0x10) | counter)
        self.packets.append((head + adaptation + payload).ljust(188, b"\xff"))

    def table(self, pid, data):
        self.add(pid, b"\0" + data, start=True)

    def pcr(self, pid, seconds):
        base = int(seconds * 90000)
        field = struct.pack(">BBIH", 7, 0x10, base >> 1, (base & 1) << 15 | 0x7E00)
        self.add(pid, b"", adaptation=field)

    def write(self, path):
        with open(path, "wb") as out:
            out.write(b"".join(self.packets))


def tables(stream, name=""):
    stream.table(0, section(0x00, 1, struct.pack(">HH", 1, 0xE100)))
    video = struct.pack(">BHH", 0x1B, 0xE101, 0xF000)
    stream.table(0x100, section(0x02, 1, struct.pack(">HH", 0xE101, 0xF000) + video))
    text = b"\x15" + name.encode()
    service = struct.pack(">BB", 0x48, len(text) + 3) + b"\x01\x00" + bytes([len(text)]) + text
    head = struct.pack(">HBHBH", 1, 0xFF, 1, 0xFC, 0x8000 | len(service))
    stream.table(0x11, section(0x42, 1, head + service))


def hostile():
    """A programme whose name tries to be more than a name."""
    stream = Stream()
    for i in range(40):
        tables(stream, HOSTILE)
        stream.pcr(0x101, i * 0.04)
    return stream


def faulty():
    """Ten seconds; PID 0x101 loses a packet at 4 s, and 0x200 belongs to nothing."""
    stream = Stream()
    for i in range(250):
        if i % 5 == 0:
            tables(stream, "Faulty")
        stream.pcr(0x101, i * 0.04)
        for _ in range(4):
            stream.add(0x101, b"\0")
        stream.add(0x200 if i % 2 else NULL_PID, b"\0")
        if i == 100:
            stream.counters[0x101] += 3
    return stream


def a_day_of_all_pids():
    stream = Stream()
    tables(stream)
    for i in range(24 * 3600):
        stream.pcr(0x101, i % 95000)
        stream.add(i % 8192, b"\0" * (i % 2))
        if i % 50 == 0:
            stream.counters[i % 8192] += 5
    return stream
