from collections.abc import Iterator
from datetime import datetime, timedelta
from os import PathLike
from types import TracebackType
from typing import Any, NamedTuple, SupportsFloat, SupportsIndex, TypedDict, final

import numpy
from numpy.typing import NDArray
from typing_extensions import Buffer, Self, TypeAlias

__version__: str

# Seconds or a timedelta since the first picture, or a datetime with a time zone.
_Moment: TypeAlias = SupportsFloat | SupportsIndex | timedelta | datetime
