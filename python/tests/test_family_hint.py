"""Naming the family makes detection try it first, at its own line speed: the connection is quick."""

import time

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
