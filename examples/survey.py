#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A host in Python: what survey_c.c tells, with nothing to install but libzvsurvey.

usage: survey.py FILE    (ZVSURVEY_LIBRARY: the library, where the loader does not find it)
"""
import ctypes
import os
import sys
from ctypes import POINTER, c_char_p, c_double, c_int32, c_size_t, c_uint8, c_uint16, c_uint32, c_uint64

NONE = -1  # ZV_SURVEY_NONE


def record(*members):
    """The first members of a record; the library fills no more than it is told the size of."""
    return type("Record", (ctypes.Structure,), {"_fields_": members})


Event = record(("time_s", c_double), ("offset", c_uint64), ("pid", c_int32), ("kind", c_char_p),
               ("indicator", c_char_p), ("message", c_char_p))
OnEvent = ctypes.CFUNCTYPE(None, ctypes.c_void_p, POINTER(Event))
Options = record(("size", c_size_t), ("arg", ctypes.c_void_p), ("on_event", OnEvent))
Totals = record(("packet_size", c_uint32), ("bytes", c_uint64), ("packets", c_uint64))
Service = record(("service_id", c_uint16), ("name", c_char_p), ("provider", c_char_p),
                 ("type", c_uint8), ("type_name", c_char_p))
Program = record(("program_number", c_uint16), ("pmt_pid", c_uint16), ("pmt_version", c_int32),
                 ("pcr_pid", c_int32))
Stream = record(("pid", c_uint16), ("stream_type", c_uint8), ("codec", c_char_p),
                ("kind", c_char_p), ("languages", c_char_p))
Pid = record(("pid", c_uint16), ("use", c_char_p), ("stream_type", c_int32), ("codec", c_char_p),
             ("packets", c_uint64), ("scrambled_packets", c_uint64), ("transport_errors", c_uint64),
             ("unit_starts", c_uint64), ("random_access_points", c_uint64),
             ("crc_errors", c_uint64), ("continuity_errors", c_uint64), ("packets_lost", c_uint64))
CrcError = record(("offset", c_uint64), ("pid", c_uint16), ("table_id", c_uint8))
SyncLoss = record(("offset", c_uint64), ("skipped_bytes", c_uint64))

library = ctypes.CDLL(os.environ.get("ZVSURVEY_LIBRARY", "libzvsurvey.so.1"))
library.zvsurvey_new.restype = ctypes.c_void_p


@OnEvent
def print_event(_, event):
    event = event.contents
    pid = "" if event.pid == NONE else f", PID 0x{event.pid:x}"
    print(f"byte {event.offset}{pid}: {event.kind.decode()}: {event.message.decode()}")


def records(what, kind, survey, *owner):
    """Every record of a kind, in order; of a programme's streams, `owner` is its index."""
    out, index = kind(), 0
    while getattr(library, "zvsurvey_" + what)(
            survey, *map(c_size_t, (*owner, index)), ctypes.byref(out), c_size_t(ctypes.sizeof(out))):
        yield out
        index += 1


def print_programs(survey):
    for s in records("service", Service, survey):
        print(f'service {s.service_id} "{s.name.decode()}", {s.type_name.decode()}')
    for index, program in enumerate(records("program", Program, survey)):
        pcr = "" if program.pcr_pid == NONE else f", PCR 0x{program.pcr_pid:x}"
        print(f"program {program.program_number}, PMT 0x{program.pmt_pid:x}{pcr}")
        for s in records("stream", Stream, survey, index):
            codec = s.codec or b"unknown"
            languages = f" ({s.languages.decode()})" if s.languages else ""
            print(f"  0x{s.pid:x} {s.kind.decode()} {codec.decode()}{languages}")


def print_damage(survey):
    for p in records("pid", Pid, survey):
        if p.continuity_errors or p.transport_errors:
            print(f"PID 0x{p.pid:x}: continuity errors {p.continuity_errors}, "
                  f"lost {p.packets_lost}, transport errors {p.transport_errors}")
    for loss in records("sync_loss", SyncLoss, survey):
        print(f"sync lost at byte {loss.offset} for {loss.skipped_bytes} bytes")
    for error in records("crc_error", CrcError, survey):
        print(f"wrong CRC at byte {error.offset}, PID 0x{error.pid:x}, table 0x{error.table_id:02x}")


def main(path):
    options = Options(size=ctypes.sizeof(Options), on_event=print_event)
    survey = ctypes.c_void_p(library.zvsurvey_new(ctypes.byref(options)))
    with open(path, "rb") as file:
        while chunk := file.read(1 << 18):
            if library.zvsurvey_feed(survey, chunk, c_size_t(len(chunk))) != 0:
                raise MemoryError("libzvsurvey")
    library.zvsurvey_finish(survey)
    totals = Totals()
    if library.zvsurvey_totals(survey, ctypes.byref(totals), c_size_t(ctypes.sizeof(totals))):
        print(f"{totals.packet_size}-byte packets: {totals.packets} in {totals.bytes} bytes")
    print_programs(survey)
    print_damage(survey)
    library.zvsurvey_free(survey)


if len(sys.argv) != 2:
    sys.exit(__doc__)
main(sys.argv[1])
