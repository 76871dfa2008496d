#!/usr/bin/env python3
"""Scans a page of a network device into a picture: page.py DEVICE-IDENTITY FILE.ppm"""
import ctypes
import struct
import sys
import uuid

CLSID_SCANNER = uuid.UUID("7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37").bytes_le
IID_ISCANNER = uuid.UUID("5E2A7C93-1B6D-4E85-A0F4-3D9C8B7E2A16").bytes_le
IID_ICLASSFACTORY = uuid.UUID("00000001-0000-0000-C000-000000000046").bytes_le
END_OF_PAGE = 15


def call(this, slot, *arguments):
    """Calls the method in that slot of the object's table. Success may come with an error code."""
    table = ctypes.cast(this, ctypes.POINTER(ctypes.POINTER(ctypes.c_void_p))).contents
    method = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p)(table[slot])
    if (result := method(this, *arguments)) < 0 or error.value not in (0, END_OF_PAGE):
        raise OSError(f"slot {slot}: 0x{result & 0xFFFFFFFF:08x}, error code {error.value}")


library, factory, scanner = ctypes.CDLL("libscantk1.so"), ctypes.c_void_p(), ctypes.c_void_p()
session, error, size = ctypes.c_uint32(), ctypes.c_uint32(), ctypes.c_uint32()
library.DllGetClassObject(CLSID_SCANNER, IID_ICLASSFACTORY, ctypes.byref(factory))
call(factory, 3, None, IID_ISCANNER, ctypes.byref(scanner))  # IClassFactory::CreateInstance
name = ctypes.create_string_buffer((sys.argv[1] + "\0").encode("utf-16-le"))
# SCANNER_PARAMETERS: 4 x 6 inches in 1/300 inch, T_COLOR, 8 bits, 300 dpi
page = ctypes.create_string_buffer(struct.pack("6IB2H", 0, 0, 1200, 1800, 1, 0, 8, 300, 300), 84)
info = (ctypes.c_uint32 * 13)()  # BUFFER_INFO: width, height, bytes of a row
call(scanner, 3, name, 5, ctypes.byref(session), ctypes.byref(error))  # OpenScannerSession, T_IO_NETWORK
try:
    call(scanner, 5, session, 0, 10000, ctypes.byref(error))  # LockScanner
    call(scanner, 14, session, page, ctypes.byref(error))  # SetScannerParameters
    call(scanner, 11, session, page, info, ctypes.byref(error))  # GetBufferInfo
    call(scanner, 16, session, ctypes.byref(error))  # StartScan
    rows, picture = ctypes.create_string_buffer(64 * info[2]), b""
    while error.value != END_OF_PAGE:
        call(scanner, 19, session, rows, len(rows), ctypes.byref(size), ctypes.byref(error))  # ReadScanEx
        picture += rows.raw[:size.value]
finally:
    call(scanner, 17, session, ctypes.byref(error))  # StopScan
    call(scanner, 4, session, ctypes.byref(error))  # CloseScannerSession, which unlocks, too
with open(sys.argv[2], "wb") as file:
    file.write(b"P6 %d %d 255\n" % (info[0], len(picture) // info[2]) + picture)
