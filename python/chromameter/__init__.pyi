import datetime
from typing import Callable, List, Optional, Union, overload

from . import colour as colour

__version__: str

class InstrumentError(Exception):
    message: str
    code: int
    def __init__(self, message: str, code: int = ...) -> None: ...

class NoInstrumentError(InstrumentError): ...
class MeasurementTimeout(InstrumentError, TimeoutError): ...
class UsageError(InstrumentError, ValueError): ...

def ports() -> List[dict]: ...

class Reading:
    Lv: float
    x: Optional[float]
    y: Optional[float]
    X: Optional[float]
    Y: Optional[float]
    Z: Optional[float]
    u_prime: Optional[float]
    v_prime: Optional[float]
    CCT: Optional[float]
    Duv: Optional[float]
    Tcp: Optional[float]
    status: int
    time: datetime.datetime
    def as_dict(self) -> dict: ...

class Instrument:
    timeout: float
    def __init__(
        self,
        port: Optional[str] = ...,
        family: Optional[str] = ...,
        simulate: Optional[str] = ...,
        sim_display: Optional[str] = ...,
        timeout: float = ...,
        *,
        sim_values: Optional[str] = ...,
        sim_fault: Optional[str] = ...,
        sim_line: Optional[str] = ...,
        read_tcp: bool = ...,
    ) -> None: ...
    @property
    def family(self) -> str: ...
    @property
    def type(self) -> int: ...
    @property
    def title(self) -> str: ...
    @property
    def port(self) -> str: ...
    @property
    def serial_number(self) -> Optional[str]: ...
    @property
    def gives_colour(self) -> bool: ...
    @property
    def closed(self) -> bool: ...
    @overload
    def measure(self) -> Reading: ...
    @overload
    def measure(self, n: int) -> List[Reading]: ...
    def close(self) -> None: ...
    def __enter__(self) -> Instrument: ...
    def __exit__(self, *exc_info: object) -> None: ...

ShowCallable = Callable[[float, float, float], object]

def characterise(
    instrument: Instrument,
    patches: str = ...,
    show: Union[str, ShowCallable] = ...,
    settle: float = ...,
    target: str = ...,
    journal: Optional[str] = ...,
    *,
    target_white: str = ...,
    target_eotf: str = ...,
    order: str = ...,
    retries: int = ...,
    white_every: int = ...,
    normalise_drift: bool = ...,
    resume: bool = ...,
    json_path: Optional[str] = ...,
    csv: Optional[str] = ...,
    table: Optional[str] = ...,
    ti3: Optional[str] = ...,
    report: Optional[str] = ...,
    icc: Optional[str] = ...,
    icc_version: int = ...,
    display_name: Optional[str] = ...,
) -> dict: ...
def report(
    journal: str,
    report: Optional[str] = ...,
    icc: Optional[str] = ...,
    target_space: Optional[str] = ...,
    *,
    target_white: Optional[str] = ...,
    target_eotf: Optional[str] = ...,
    icc_version: int = ...,
    display_name: Optional[str] = ...,
    normalise_drift: bool = ...,
    json_path: Optional[str] = ...,
    csv: Optional[str] = ...,
    table: Optional[str] = ...,
    ti3: Optional[str] = ...,
) -> dict: ...
