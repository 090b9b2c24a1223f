#!/usr/bin/python3
"""Prints the report of a saved snapshot. Usage: report.py <SNAPSHOT"""

import ctypes
import sys

OK = 0  # EGRESS_OK

egress = ctypes.CDLL("libegress-c.so.1")
egress.egress_diagnose.argtypes = [ctypes.c_char_p, ctypes.c_size_t]
egress.egress_diagnose.restype = ctypes.c_void_p
egress.egress_result_status.argtypes = [ctypes.c_void_p]
egress.egress_result_status.restype = ctypes.c_uint32
egress.egress_result_text.argtypes = [ctypes.c_void_p]
egress.egress_result_text.restype = ctypes.c_void_p
egress.egress_result_length.argtypes = [ctypes.c_void_p]
egress.egress_result_length.restype = ctypes.c_size_t
egress.egress_result_free.argtypes = [ctypes.c_void_p]
egress.egress_result_free.restype = None


def diagnose(snapshot):
    """The report of a snapshot, both as bytes. Raises ValueError if it is not a snapshot."""
    result = egress.egress_diagnose(snapshot, len(snapshot))
    try:
        text = ctypes.string_at(egress.egress_result_text(result),
                                egress.egress_result_length(result))
        if egress.egress_result_status(result) != OK:
            raise ValueError(text.decode())
        return text
    finally:
        egress.egress_result_free(result)


try:
    sys.stdout.buffer.write(diagnose(sys.stdin.buffer.read()) + b"\n")
except ValueError as refused:
    sys.exit(str(refused))
