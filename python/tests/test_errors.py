"""Errors and time-outs raise chromameter's exceptions, with the library's result code."""

import time

import pytest

import chromameter


def test_an_unplugged_adapter_during_a_measurement_raises_instrument_error_with_the_lost_port_code():
    with chromameter.Instrument(simulate="analyser", sim_fault="unplug", sim_line="instant", timeout=20) as meter:
        with pytest.raises(chromameter.InstrumentError) as raised:
            meter.measure()
    assert raised.value.code == 0xE0833000
    assert "E0833000" in str(raised.value)
    assert not isinstance(raised.value, chromameter.MeasurementTimeout)


def test_a_silent_instrument_is_no_instrument():
    start = time.monotonic()
    with pytest.raises(chromameter.NoInstrumentError) as raised:
        chromameter.Instrument(simulate="spectro", sim_fault="silent", sim_line="instant")
    assert "no instrument answered" in raised.value.message
    assert raised.value.code == 0x80000008
    assert isinstance(raised.value, chromameter.InstrumentError)
    assert time.monotonic() - start < 60


def test_another_family_than_the_one_asked_for_is_no_instrument():
    with pytest.raises(chromameter.NoInstrumentError, match="jingce"):
        chromameter.Instrument(simulate="spectro", family="jingce", sim_line="instant")


def test_a_slow_measurement_past_the_timeout_raises_measurement_timeout_without_hanging():
    with chromameter.Instrument(simulate="analyser", sim_fault="slow", sim_line="instant", timeout=0.5) as meter:
        start = time.monotonic()
        with pytest.raises(chromameter.MeasurementTimeout) as raised:
            meter.measure()
        waited = time.monotonic() - start
    assert 0.4 < waited < 2.0
    assert isinstance(raised.value, TimeoutError)
    assert raised.value.code == 0x80000008


def test_an_unknown_family_is_a_usage_error():
    with pytest.raises(chromameter.UsageError) as raised:
        chromameter.Instrument(simulate="toaster")
    assert isinstance(raised.value, ValueError)


def test_an_instrument_is_used_from_the_thread_that_opened_it():
    import threading

    with chromameter.Instrument(simulate="analyser", sim_line="instant") as meter:
        errors = []

        def measure_elsewhere():
            try:
                meter.measure()
            except chromameter.InstrumentError as error:
                errors.append(error)

        worker = threading.Thread(target=measure_elsewhere)
        worker.start()
        worker.join(30)
        assert len(errors) == 1 and "thread that opened it" in str(errors[0])
        assert meter.measure().status == 0
