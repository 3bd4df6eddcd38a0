"""chromameter: measure light and characterise displays from Python.

Open an instrument (a real one on a USB-serial adapter, or the built-in simulator), measure with
it, and characterise a display, with the same code the ``chromameter`` command-line host runs::

    import chromameter

    with chromameter.Instrument(simulate="analyser") as meter:
        for reading in meter.measure(5):
            print(reading.Lv, reading.x, reading.y, reading.CCT)
"""

import dataclasses
import datetime
import json
from typing import Callable, List, Optional, Union, overload

from . import _core, colour
from ._errors import InstrumentError, MeasurementTimeout, NoInstrumentError, UsageError
from ._version import __version__

__all__ = [
    "Instrument",
    "InstrumentError",
    "MeasurementTimeout",
    "NoInstrumentError",
    "Reading",
    "UsageError",
    "characterise",
    "colour",
    "report",
    "ports",
    "__version__",
]


def ports() -> List[dict]:
    """The serial ports, as ``chromameter ports --format json`` lists them.

    Each port is a dict with ``port``, ``description``, ``tried`` (whether detection tries it),
    ``path`` (what detection opens, or None), ``reason`` (why it is skipped, or None) and
    ``explanation``.
    """
    return [json.loads(line) for line in _core.ports_json().splitlines() if line.strip()]


@dataclasses.dataclass(frozen=True)
class Reading:
    """One reading of the instrument.

    ``Lv`` is the luminance in cd/m². ``x``, ``y`` (CIE 1931), ``X``, ``Y``, ``Z`` (cd/m², Y = Lv),
    ``u_prime``, ``v_prime`` (CIE 1976 UCS) are None for a luminance meter, which gives Lv only.
    ``CCT`` (K) and ``Duv`` are None also where a colour is off the Planckian locus (|Duv| > 0.05)
    or outside 1000–20000 K. ``Tcp`` is the instrument's own colour temperature when it was asked
    for (``read_tcp=True``) and the family gives one. ``status`` is the library's result code
    (0: the values hold); ``time`` is when the measurement was started (UTC).
    """

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

    def as_dict(self) -> dict:
        """The reading as a dict of its fields (``time`` as a datetime)."""
        return dataclasses.asdict(self)

    @classmethod
    def _from_core(cls, values: dict) -> "Reading":
        stamp = datetime.datetime.fromtimestamp(values.pop("time_ms") / 1000.0, tz=datetime.timezone.utc)
        return cls(time=stamp, **values)


class Instrument:
    """An instrument, found by the library's detection; a context manager that closes it.

    ``port``: try only this port (a name from :func:`ports` or a path); by default every port
    detection tries. ``family``: the family expected (``spectro``, ``analyser``, ``luminance``,
    ``photoresearch``, ``jingce``): detection tries only that family, at its own line speed, so it
    connects at once; when it does not answer, no other family is tried and opening raises
    :class:`NoInstrumentError` naming the family and the port.
    ``simulate``: a family name to measure the built-in simulator instead of a real instrument, with
    ``sim_display`` (a virtual display such as ``"srgb-ideal"`` or ``"wide-lcd,noise=0.002"``),
    ``sim_values`` (``"Lv,x,y[,Tcp]"``), ``sim_fault`` and ``sim_line`` as ``chromameter
    --sim-...`` takes them. ``timeout``: seconds a reading may take before it raises
    :class:`MeasurementTimeout`. ``read_tcp``: ask for the instrument's own colour temperature.

    Opening blocks while detection tries the families (up to about 5 s each port; a named
    ``family`` is tried alone); raises
    :class:`NoInstrumentError` when none answers. Use it from the thread that opened it.
    """

    def __init__(
        self,
        port: Optional[str] = None,
        family: Optional[str] = None,
        simulate: Optional[str] = None,
        sim_display: Optional[str] = None,
        timeout: float = 10.0,
        *,
        sim_values: Optional[str] = None,
        sim_fault: Optional[str] = None,
        sim_line: Optional[str] = None,
        read_tcp: bool = False,
    ) -> None:
        if timeout <= 0:
            raise UsageError("timeout must be positive")
        self.timeout = float(timeout)
        self._session = _core.Session(
            port=port,
            family=family,
            simulate=simulate,
            sim_display=sim_display,
            sim_values=sim_values,
            sim_fault=sim_fault,
            sim_line=sim_line,
            read_tcp=read_tcp,
            timeout=self.timeout,
        )
        self._info = self._session.info()

    @property
    def family(self) -> str:
        """The instrument family detection found, e.g. ``"analyser"``."""
        return self._info["family"]

    @property
    def type(self) -> int:
        """The family's type number (0 to 4)."""
        return self._info["type"]

    @property
    def title(self) -> str:
        """What the family is called, e.g. ``"Minolta colour analyser"``."""
        return self._info["title"]

    @property
    def port(self) -> str:
        """The port the instrument answered on."""
        return self._info["port"]

    @property
    def serial_number(self) -> Optional[str]:
        """The instrument's serial number where its family reports one; None otherwise.

        None of the five families reports one through the plugin's interface today.
        """
        return None

    @property
    def gives_colour(self) -> bool:
        """Whether readings carry chromaticity (every family but the luminance meter)."""
        return self._info["gives_colour"]

    @property
    def closed(self) -> bool:
        """Whether :meth:`close` was called."""
        return not self._session.is_open()

    @overload
    def measure(self) -> Reading: ...

    @overload
    def measure(self, n: int) -> List[Reading]: ...

    def measure(self, n: Optional[int] = None) -> Union[Reading, List[Reading]]:
        """One reading, or with ``n`` a list of ``n`` readings taken one after the other.

        Blocks until the reading comes (the GIL released meanwhile); Ctrl-C interrupts it within a
        second (KeyboardInterrupt). Raises :class:`InstrumentError` when the measurement fails and
        :class:`MeasurementTimeout` when it takes longer than the time-out.
        """
        if n is None:
            return Reading._from_core(self._session.measure(self.timeout))
        if n < 0:
            raise UsageError("n must not be negative")
        return [Reading._from_core(self._session.measure(self.timeout)) for _ in range(n)]

    def close(self) -> None:
        """Takes the instrument out of remote mode and releases the port. Closing twice is fine."""
        self._session.close()

    def __enter__(self) -> "Instrument":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self.closed else "open"
        return f"<chromameter.Instrument {self.family} on {self.port} ({state})>"


ShowCallable = Callable[[float, float, float], object]


def characterise(
    instrument: Instrument,
    patches: str = "grey:11,primaries",
    show: Union[str, ShowCallable] = "simulator",
    settle: float = 0.2,
    target: str = "srgb",
    journal: Optional[str] = None,
    *,
    target_white: str = "D65",
    target_eotf: str = "gamma:2.2",
    order: str = "set",
    retries: int = 1,
    white_every: int = 0,
    normalise_drift: bool = False,
    resume: bool = False,
    json_path: Optional[str] = None,
    csv: Optional[str] = None,
    table: Optional[str] = None,
    ti3: Optional[str] = None,
    report: Optional[str] = None,
    icc: Optional[str] = None,
    icc_version: int = 2,
    display_name: Optional[str] = None,
) -> dict:
    """Characterises the display the instrument looks at; returns its figures as a dict.

    The run is ``chromameter characterise``'s: ``patches`` (``grey:N``, ``primaries``,
    ``saturations:N``, ``ramps:N``, ``colorchecker``, ``file:PATH``, ``rgb:R,G,B;...``, comma
    separated) are shown one after the other, each measured ``settle`` seconds after it was shown,
    and the figures (white, black, contrast, gamma, primaries, gamut, ΔE2000, drift, patches) are
    those of ``chromameter characterise --format json``, the ``"characterisation"`` object's
    contents. ``show`` is ``"simulator"`` (the simulator's virtual display), ``"command:CMD"``
    (a command run once a patch, as ``--show command:``) or a callable taking (r, g, b) in 0–1 that
    puts the patch on screen before it returns. ``target`` (``srgb``, ``p3``, ``bt2020``),
    ``target_white`` and ``target_eotf`` name what the display is measured against.

    Every reading is kept in ``journal`` (a JSON-lines file; by default a temporary one); with
    ``resume=True`` the run saved there is continued. ``json_path``, ``csv``, ``table`` and ``ti3``
    also write the figures in those forms (the CTI3 file for profiling tools); ``report`` writes the
    HTML page and ``icc`` the display profile (``icc_version`` 2, written as 2.4, or 4), both named
    ``display_name``, exactly as ``chromameter characterise --report --icc`` writes them. ``show``
    cannot be ``"window"`` here: see the package's documentation. Ctrl-C ends the run
    with KeyboardInterrupt, the journal kept; an exception raised by ``show`` ends it too.
    """
    if isinstance(show, str):
        shown: object = show
    elif callable(show):
        shown = show
    else:
        raise UsageError("show must be a string or a callable taking (r, g, b)")
    text = instrument._session.characterise(
        patches=patches,
        order=order,
        show=shown,
        settle_ms=int(round(settle * 1000.0)),
        retries=retries,
        white_every=white_every,
        target_space=target,
        target_white=target_white,
        target_eotf=target_eotf,
        journal=journal,
        resume=resume,
        normalise_drift=normalise_drift,
        json=json_path,
        csv=csv,
        table=table,
        ti3=ti3,
        report=report,
        icc=icc,
        icc_version=icc_version,
        display_name=display_name,
        timeout=instrument.timeout,
    )
    return json.loads(text)["characterisation"]


def report(
    journal: str,
    report: Optional[str] = None,
    icc: Optional[str] = None,
    target_space: Optional[str] = None,
    *,
    target_white: Optional[str] = None,
    target_eotf: Optional[str] = None,
    icc_version: int = 2,
    display_name: Optional[str] = None,
    normalise_drift: bool = False,
    json_path: Optional[str] = None,
    csv: Optional[str] = None,
    table: Optional[str] = None,
    ti3: Optional[str] = None,
) -> dict:
    """The figures of a saved run, computed again from its journal; no instrument is needed.

    As ``chromameter report JOURNAL``: the figures are those :func:`characterise` returned for the
    run, against another target when ``target_space``, ``target_white`` or ``target_eotf`` name one
    (None: the run's own). ``report``, ``icc`` (with ``icc_version`` and ``display_name``),
    ``json_path``, ``csv``, ``table`` and ``ti3`` write the same outputs the command writes, byte for
    byte. An unreadable journal, an unknown target or an output that cannot be written raises
    :class:`UsageError`.
    """
    text = _core.report(
        journal=journal,
        target_space=target_space,
        target_white=target_white,
        target_eotf=target_eotf,
        normalise_drift=normalise_drift,
        json=json_path,
        csv=csv,
        table=table,
        ti3=ti3,
        report=report,
        icc=icc,
        icc_version=icc_version,
        display_name=display_name,
    )
    return json.loads(text)["characterisation"]
