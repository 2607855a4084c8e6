# SPDX-License-Identifier: MIT
"""Type stubs of the korv package, for editors and type checkers."""

import datetime
import ipaddress
import os
from typing import Any, Iterator, List, Optional, Set, Tuple, Union

__version__: str

Buffer = Union[bytes, bytearray, memoryview]
TagKey = Union[str, int]
Value = Any

class Error(ValueError):
    """Base of korv's errors; a ValueError."""

class DefinitionsError(Error):
    """A definitions file that cannot be read."""
    message: str
    file: str
    line: int
    column: int

class ParseError(Error):
    """Text in the notation, or a pattern, that does not parse; lines and columns count from 1."""
    message: str
    text: str
    line: int
    column: int
    end_line: int
    end_column: int

class MessageError(Error):
    """Bytes that are no message, or a value that its element cannot hold."""

class FrameError(Error):
    """Bytes that are no BiS frame, or a frame that cannot be sent."""

class Tag:
    """What the definitions say about one tag."""
    code: int
    name: Optional[str]
    type: str
    enums: dict[str, int]
    bits: dict[str, int]
    secure: bool

class Pattern:
    """A message pattern read once, as answer rules and sequence expects use."""
    text: str
    def matches(self, message: Union["Message", "Element", Buffer]) -> bool: ...

class Definitions:
    """A tag definitions file (.qrvdef); without one, tags go by their codes."""
    name: str
    warnings: List[str]
    tags: List[Tag]
    def __init__(self, path: Union[str, os.PathLike[str], None] = None) -> None: ...
    @staticmethod
    def from_bytes(data: Buffer, name: str = "<bytes>") -> "Definitions": ...
    def tag(self, tag: TagKey) -> Tag: ...
    def encode(self, text: str) -> bytes: ...
    def decode(self, data: Buffer, *, multi_line: bool = False, hungarian: bool = False) -> str: ...
    def message(self, data: Union[Buffer, str]) -> "Message": ...
    def pattern(self, text: str) -> Pattern: ...
    def match(self, pattern: str, message: Union["Message", "Element", Buffer]) -> bool: ...

class _Reading:
    @property
    def tag(self) -> int: ...
    @property
    def name(self) -> Optional[str]: ...
    @property
    def type(self) -> str: ...
    @property
    def value(self) -> Value:
        """int, bool, str, bytes, datetime.date/time/datetime (None for no date),
        ipaddress.IPv4Address, a set of bit names and numbers, a tuple of ints,
        or for a nested element a list of Elements."""
    @property
    def enum(self) -> Optional[str]: ...
    @property
    def raw(self) -> bytes: ...
    @property
    def text(self) -> str: ...
    def __iter__(self) -> Iterator["Element"]: ...
    def __len__(self) -> int: ...
    def __getitem__(self, tag: TagKey) -> Value: ...
    def __contains__(self, tag: TagKey) -> bool: ...
    def get(self, tag: TagKey, default: Value = None) -> Value: ...
    def element(self, tag: TagKey) -> "Element": ...
    def find(self, tag: TagKey) -> Optional["Element"]: ...
    def values(self) -> List[Value]: ...
    def items(self) -> List[Tuple[TagKey, Value]]: ...
    def __bytes__(self) -> bytes: ...

class Element(_Reading):
    """One element of a message."""
    @property
    def offset(self) -> int: ...

class Message(_Reading):
    """One message: read from bytes, or built element by element."""
    def __init__(
        self,
        data: Union[Buffer, TagKey, None] = None,
        items: Optional[List[Tuple[TagKey, Value]]] = None,
        *,
        defs: Optional[Definitions] = None,
    ) -> None: ...
    @property
    def defs(self) -> Definitions: ...
    def append(self, tag: Union[TagKey, "Message", Element], value: Value = None) -> "Message": ...
    def extend(self, items: List[Tuple[TagKey, Value]]) -> "Message": ...

class Collector:
    """Cuts received bytes into messages by their length fields."""
    pending: int
    garbage: int
    def __init__(self, defs: Optional[Definitions] = None) -> None: ...
    def feed(self, data: Buffer) -> None: ...
    def __iter__(self) -> "Collector": ...
    def __next__(self) -> Message: ...
    def reset(self) -> None: ...

class BiSFrame:
    """One BiS bus frame."""
    payload: bytes
    answer: bool
    type: int
    seq: int
    dst: int
    src: int
    address_mode: Optional[int]
    def __init__(
        self,
        payload: Buffer = b"",
        *,
        answer: bool = False,
        type: int = 34,
        seq: int = 0,
        dst: int = 0,
        src: int = 0,
        address_mode: Optional[int] = None,
    ) -> None: ...
    @property
    def crc(self) -> int: ...
    def encode(self) -> bytes: ...
    def __bytes__(self) -> bytes: ...
    @staticmethod
    def decode(data: Buffer) -> "BiSFrame": ...

class BiSFrameReader:
    """Finds BiS frames in a byte stream and skips what is not one."""
    errors: List[str]
    error_count: int
    position: int
    def __init__(self) -> None: ...
    def feed(self, data: Buffer) -> None: ...
    def __iter__(self) -> "BiSFrameReader": ...
    def __next__(self) -> BiSFrame: ...
    def reset(self) -> None: ...
