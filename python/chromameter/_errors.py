"""The exceptions chromameter raises."""


class InstrumentError(Exception):
    """The instrument or a measurement failed.

    ``code`` is the library's result code (``0x80000008`` for a failed operation, ``0xE0833000``
    for a lost port, ...; 0 when there is none) and ``message`` says what went wrong.
    """

    def __init__(self, message: str, code: int = 0) -> None:
        super().__init__(message, code)
        self.message = message
        self.code = code

    def __str__(self) -> str:
        if self.code:
            return f"{self.message} (0x{self.code:08X})"
        return self.message


class NoInstrumentError(InstrumentError):
    """No instrument answered on the ports detection tried (with ``family=``, not that family)."""


class MeasurementTimeout(InstrumentError, TimeoutError):
    """No reading came within the time-out; the reading was given up on."""


class UsageError(InstrumentError, ValueError):
    """An argument was not understood (an unknown family, patch set or target, a journal that exists)."""
