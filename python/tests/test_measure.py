"""Measuring on every simulated family through chromameter.Instrument."""

import datetime
import math

import pytest

import chromameter

COLOUR_FAMILIES = ["spectro", "analyser", "photoresearch", "jingce"]


@pytest.mark.parametrize("family", COLOUR_FAMILIES)
def test_a_colour_family_gives_the_simulated_reading_with_its_colour_quantities(family):
    with chromameter.Instrument(simulate=family, sim_values="87.25,0.4476,0.4074", sim_line="instant") as meter:
        assert meter.family == family
        assert meter.gives_colour
        assert meter.port.endswith(meter.port.split("/")[-1]) and "/dev/cu.usbserial-SIM" in meter.port
        reading = meter.measure()
    assert reading.status == 0
    assert reading.Lv == pytest.approx(87.25, abs=1e-3)
    assert reading.x == pytest.approx(0.4476, abs=1e-4)
    assert reading.y == pytest.approx(0.4074, abs=1e-4)
    # Y is the luminance; X and Z follow from x and y.
    assert reading.Y == pytest.approx(reading.Lv)
    assert reading.X == pytest.approx(reading.x / reading.y * reading.Lv, rel=1e-9)
    assert reading.Z == pytest.approx((1 - reading.x - reading.y) / reading.y * reading.Lv, rel=1e-9)
    denominator = -2 * reading.x + 12 * reading.y + 3
    assert reading.u_prime == pytest.approx(4 * reading.x / denominator, rel=1e-9)
    assert reading.v_prime == pytest.approx(9 * reading.y / denominator, rel=1e-9)
    # Illuminant A's chromaticity: about 2856 K, on the locus.
    assert reading.CCT == pytest.approx(2856, abs=5)
    assert abs(reading.Duv) < 0.001
    assert reading.time.tzinfo is datetime.timezone.utc
    assert abs((datetime.datetime.now(datetime.timezone.utc) - reading.time).total_seconds()) < 60


def test_the_luminance_meter_gives_luminance_only():
    with chromameter.Instrument(simulate="luminance", sim_values="42.5,0.3127,0.3290", sim_line="instant") as meter:
        assert meter.family == "luminance"
        assert not meter.gives_colour
        reading = meter.measure()
    assert reading.Lv == pytest.approx(42.5, abs=1e-3)
    for name in ("x", "y", "X", "Y", "Z", "u_prime", "v_prime", "CCT", "Duv"):
        assert getattr(reading, name) is None, name


def test_measure_n_gives_a_list_of_n_readings_in_time_order():
    with chromameter.Instrument(simulate="photoresearch", sim_line="instant") as meter:
        readings = meter.measure(3)
        assert meter.measure(0) == []
    assert len(readings) == 3
    assert all(isinstance(r, chromameter.Reading) for r in readings)
    assert [r.time for r in readings] == sorted(r.time for r in readings)
    assert all(r.Lv == pytest.approx(120.5, abs=1e-3) for r in readings)


def test_a_reading_converts_to_a_dict_of_its_fields():
    with chromameter.Instrument(simulate="analyser", sim_line="instant") as meter:
        reading = meter.measure()
    values = reading.as_dict()
    assert set(values) >= {"Lv", "x", "y", "X", "Y", "Z", "u_prime", "v_prime", "CCT", "Duv", "status", "time"}
    assert values["Lv"] == reading.Lv and values["CCT"] == reading.CCT
    assert math.isclose(values["x"], 0.3127, abs_tol=1e-4)


def test_an_instrument_closes_on_leaving_the_with_block_and_measures_no_more():
    with chromameter.Instrument(simulate="analyser", sim_line="instant") as meter:
        assert not meter.closed
    assert meter.closed
    with pytest.raises(chromameter.InstrumentError):
        meter.measure()
    meter.close()  # closing twice is fine


def test_ports_lists_what_detection_tries_and_why_not():
    ports = chromameter.ports()
    assert isinstance(ports, list)
    for port in ports:
        assert set(port) >= {"port", "description", "tried", "path", "reason", "explanation"}
        assert (port["path"] is not None) == port["tried"]
        assert (port["reason"] is None) == port["tried"]
