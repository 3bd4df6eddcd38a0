"""Naming the family makes detection try it alone, at its own line speed: the connection is quick,
and another family attached is no instrument."""

import re
import time

import pytest

import chromameter


def connect_seconds(**options):
    start = time.monotonic()
    with chromameter.Instrument(simulate="jingce", **options) as meter:
        elapsed = time.monotonic() - start
        assert meter.family == "jingce"
        assert meter.measure().Lv > 0
    return elapsed


def test_a_named_family_connects_five_times_faster_than_a_full_detection():
    # The jingce answers only at 115200 baud, after every other family has had its silent trial.
    unhinted = connect_seconds()
    hinted = connect_seconds(family="jingce")
    assert unhinted > 4.0
    # About 0.3 s on an idle machine; the bound leaves room for a loaded one.
    assert hinted * 5 < unhinted


def test_a_named_family_connects_again_quickly():
    # No detection budget of another family is waited out: well under the 4 s of a full one.
    assert connect_seconds(family="jingce") < 2.0
    assert connect_seconds(family="jingce") < 2.0


def test_a_wrong_family_raises_no_instrument_error_naming_the_family_and_the_port():
    # A Jingce meter attached, the spectroradiometer named: only its trial runs, so it fails in about
    # its failing budget (1.1 s) instead of going on to find the Jingce meter.
    start = time.monotonic()
    with pytest.raises(chromameter.NoInstrumentError) as raised:
        chromameter.Instrument(simulate="jingce", family="spectro", sim_line="instant")
    elapsed = time.monotonic() - start
    assert re.search(r"the spectro family did not answer on \S+/dev/cu\.usbserial-SIM", raised.value.message)
    print(f"a wrong family failed in {elapsed:.2f} s")
    # A full detection reaches the Jingce meter only after more than 4 s.
    assert elapsed < 4.0
