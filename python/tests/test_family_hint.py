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


def test_a_named_family_connects_in_under_a_second_where_a_full_detection_takes_seconds():
    # The jingce answers only at 115200 baud, after every other family has had its silent trial.
    unhinted = connect_seconds()
    hinted = connect_seconds(family="jingce")
    assert unhinted > 4.0
    assert hinted < 1.0


def test_a_named_family_connects_again_quickly():
    assert connect_seconds(family="jingce") < 1.0
    assert connect_seconds(family="jingce") < 1.0
