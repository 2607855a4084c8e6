# SPDX-License-Identifier: MIT
"""The QRV16 message format for Python benches.

Definitions name tags, enum values and bits; Message reads received bytes
and builds messages to send; Collector cuts a byte stream into messages;
BiSFrame and BiSFrameReader frame and unframe the BiS bus. Bytes in, bytes
out: nothing here opens a port, blocks or waits. Use Python's socket or
pyserial for the link.
"""

from ._korv import (
    BiSFrame,
    BiSFrameReader,
    Collector,
    DefinitionsError,
    Definitions,
    Element,
    Error,
    FrameError,
    Message,
    MessageError,
    ParseError,
    Pattern,
    Tag,
    __version__,
)

__all__ = [
    "BiSFrame",
    "BiSFrameReader",
    "Collector",
    "Definitions",
    "DefinitionsError",
    "Element",
    "Error",
    "FrameError",
    "Message",
    "MessageError",
    "ParseError",
    "Pattern",
    "Tag",
    "__version__",
]
