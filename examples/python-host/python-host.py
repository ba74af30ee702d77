#!/usr/bin/python3
"""Replaces a tree by a copy of another one, all or nothing: python-host.py SOURCE DESTINATION

Needs nothing but Python and the library. Any language that can call C functions does the same.
"""

import ctypes
import sys


class Kest:
    """The library's C interface (kest/c_api.h): bool has one byte, wchar_t what the system has."""

    def __init__(self, library="libkest.so.0"):
        self._library = ctypes.CDLL(library)
        text = ctypes.c_wchar_p
        self._library.setRecorderFile.argtypes = [text]
        self._library.setRecorderFile.restype = None
        self._library.CopyDirectoryTransacted.argtypes = [text, text, ctypes.POINTER(text)]
        self._library.CopyDirectoryTransacted.restype = ctypes.c_bool
        self._library.deleteKESTArray.argtypes = [ctypes.POINTER(text)]
        self._library.deleteKESTArray.restype = None

    def trace_to(self, path):
        """Without a file the trace goes to the console."""
        self._library.setRecorderFile(path)

    def copy_directory(self, source, destination):
        error = ctypes.c_wchar_p()
        if self._library.CopyDirectoryTransacted(source, destination, ctypes.byref(error)):
            return
        reason = error.value  # A copy: the text itself belongs to the library, which frees it.
        self._library.deleteKESTArray(ctypes.byref(error))
        assert error.value is None
        raise OSError(reason)


def main(arguments):
    if len(arguments) != 3:
        sys.exit("usage: python-host.py SOURCE DESTINATION")
    kest = Kest()
    kest.trace_to("python-host.log")
    try:
        kest.copy_directory(arguments[1], arguments[2])
    except OSError as error:
        sys.exit(f"python-host: {error}")
    print("copied")


if __name__ == "__main__":
    main(sys.argv)
