"""Blocking calls: Ctrl-C interrupts them within a second, and other Python threads run meanwhile."""

import os
import signal
import subprocess
import threading
import time

import pytest

import chromameter


def interrupt_after(seconds):
    """Sends this process SIGINT after `seconds`; returns a list that gets the time it was sent."""
    sent = []

    def send():
        sent.append(time.monotonic())
        os.kill(os.getpid(), signal.SIGINT)

    timer = threading.Timer(seconds, send)
    timer.start()
    return timer, sent


@pytest.fixture
def frozen_instrument(cli):
    """An analyser served by a chromameter-sim process, which is stopped once detection found it:
    the instrument then never answers a measurement."""
    sim = cli.parent.parent / "simulator" / "tool" / "chromameter-sim"
    process = subprocess.Popen([str(sim), "analyser", "--line", "instant", "--quiet"], stdout=subprocess.PIPE, text=True)
    port = process.stdout.readline().strip()
    meter = chromameter.Instrument(port=port, timeout=30)
    try:
        process.send_signal(signal.SIGSTOP)
        yield meter
    finally:
        process.send_signal(signal.SIGCONT)
        meter.close()
        process.terminate()
        process.wait(10)


def test_ctrl_c_interrupts_a_measurement_that_never_ends_within_a_second(frozen_instrument):
    timer, sent = interrupt_after(0.3)
    try:
        with pytest.raises(KeyboardInterrupt):
            frozen_instrument.measure()
        returned = time.monotonic()
    finally:
        timer.cancel()
    assert len(sent) == 1
    assert returned - sent[0] < 1.0


def test_a_signal_handlers_own_exception_comes_out_of_the_measurement(frozen_instrument):
    class Stop(Exception):
        pass

    def handler(number, frame):
        raise Stop(number)

    previous = signal.signal(signal.SIGINT, handler)
    timer, sent = interrupt_after(0.2)
    try:
        with pytest.raises(Stop):
            frozen_instrument.measure()
        returned = time.monotonic()
    finally:
        timer.cancel()
        signal.signal(signal.SIGINT, previous)
    assert returned - sent[0] < 1.0


def test_ctrl_c_ends_a_characterisation_keeping_its_journal(tmp_path):
    journal = tmp_path / "run.jsonl"
    with chromameter.Instrument(simulate="analyser", sim_display="srgb-ideal", sim_line="instant") as meter:
        timer, sent = interrupt_after(1.0)
        try:
            with pytest.raises(KeyboardInterrupt):
                chromameter.characterise(meter, patches="grey:40", settle=0.05, journal=str(journal))
            returned = time.monotonic()
        finally:
            timer.cancel()
        assert returned - sent[0] < 1.0
        readings = len(journal.read_text().splitlines()) - 1
        assert 0 < readings < 40
        # The rest of the run is measured by resuming it.
        figures = chromameter.characterise(meter, journal=str(journal), resume=True, settle=0.0)
    assert len(figures["patches"]) == 40
    assert not any(patch["failed"] for patch in figures["patches"])


def test_other_python_threads_run_while_a_measurement_waits():
    ticks = []
    stop = threading.Event()

    def tick():
        while not stop.is_set():
            ticks.append(time.monotonic())
            time.sleep(0.01)

    with chromameter.Instrument(simulate="analyser", sim_fault="slow", sim_line="instant", timeout=30) as meter:
        worker = threading.Thread(target=tick)
        worker.start()
        try:
            start = time.monotonic()
            meter.measure()
            end = time.monotonic()
        finally:
            stop.set()
            worker.join()
    during = [t for t in ticks if start < t < end]
    # A one-second measurement: the thread ticked through it, not only before or after.
    assert end - start > 0.5
    assert len(during) > 0.5 * (end - start) / 0.01


def test_a_reading_after_an_interrupted_one_is_a_new_measurement_not_the_interrupted_ones_outcome():
    # A slow measurement lasts about a second; the one interrupted goes on in the library.
    with chromameter.Instrument(simulate="analyser", sim_fault="slow", sim_line="instant", timeout=30) as meter:
        timer, sent = interrupt_after(0.2)
        try:
            with pytest.raises(KeyboardInterrupt):
                meter.measure()
        finally:
            timer.cancel()
        start = time.monotonic()
        reading = meter.measure()
        took = time.monotonic() - start
    assert reading.status == 0
    # The rest of the interrupted measurement (about 0.8 s), then a whole one of its own (about 1 s).
    assert took > 1.5
