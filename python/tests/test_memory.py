"""Measuring in a loop does not make the process grow.

1,000 readings on the fastest simulated family (Photo Research, whole replies at once) take about
2.5 minutes, too long for every run of the suite: by default the loop takes 300 readings and allows
1 KiB a reading (the rate of 1 MiB per 1,000); CHROMA_PYTHON_READINGS=1000 runs the full loop.
"""

import os

import pytest

import chromameter

READINGS = int(os.environ.get("CHROMA_PYTHON_READINGS", "300"))
WARM_UP = 20


def resident_bytes():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


@pytest.mark.skipif(not os.path.exists("/proc/self/statm"), reason="the resident size is read from /proc")
def test_readings_in_a_loop_grow_the_process_by_less_than_a_kibibyte_each():
    with chromameter.Instrument(simulate="photoresearch", sim_line="instant") as meter:
        # The first readings settle the allocator, Qt's and Python's caches.
        for _ in range(WARM_UP):
            meter.measure()
        before = resident_bytes()
        for _ in range(READINGS):
            reading = meter.measure()
            assert reading.status == 0
        growth = resident_bytes() - before
    assert growth < READINGS * 1024, f"grew {growth} bytes over {READINGS} readings"
