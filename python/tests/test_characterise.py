"""Characterising a simulated display from Python: its figures are the command's."""

import json
import socket
import subprocess

import pytest

import chromameter

PATCHES = "grey:5,primaries"


def characterise_on_simulator(tmp_path, name, **options):
    with chromameter.Instrument(simulate="analyser", sim_display="srgb-ideal", sim_line="instant") as meter:
        return chromameter.characterise(
            meter, patches=PATCHES, settle=0.02, journal=str(tmp_path / f"{name}.jsonl"), **options
        )


def test_show_simulator_gives_the_figures_of_an_ideal_srgb_display(tmp_path):
    figures = characterise_on_simulator(tmp_path, "run")
    assert figures["target"]["space"] == "srgb"
    assert figures["white"]["x"] == pytest.approx(0.3127, abs=1e-4)
    assert figures["white"]["y"] == pytest.approx(0.3290, abs=1e-4)
    primaries = figures["primaries"]
    assert (primaries["red"]["x"], primaries["red"]["y"]) == pytest.approx((0.64, 0.33), abs=1e-3)
    assert (primaries["green"]["x"], primaries["green"]["y"]) == pytest.approx((0.30, 0.60), abs=1e-3)
    assert (primaries["blue"]["x"], primaries["blue"]["y"]) == pytest.approx((0.15, 0.06), abs=1e-3)
    assert figures["gamut"]["srgb"]["coverage_xy"] == pytest.approx(1.0, abs=1e-3)
    assert len(figures["patches"]) == 5 + 6
    assert not any(patch["failed"] for patch in figures["patches"])


def test_the_figures_equal_the_commands_json_for_the_same_run(tmp_path, cli):
    journal = tmp_path / "run.jsonl"
    figures = characterise_on_simulator(tmp_path, "run")
    # The command gives the figures of a finished run when asked to resume it.
    command = subprocess.run(
        [str(cli), "--simulate", "analyser", "--sim-display", "srgb-ideal", "--sim-line", "instant",
         "characterise", "--resume", str(journal), "--format", "json"],
        capture_output=True, text=True, timeout=120, check=True,
    )
    assert figures == json.loads(command.stdout)["characterisation"]


def test_the_figures_equal_those_of_the_command_measuring_the_same_display(tmp_path, cli):
    figures = characterise_on_simulator(tmp_path, "python")
    command = subprocess.run(
        [str(cli), "--simulate", "analyser", "--sim-display", "srgb-ideal", "--sim-line", "instant",
         "characterise", "--patches", PATCHES, "--settle", "20", "--save", str(tmp_path / "cli.jsonl"),
         "--format", "json"],
        capture_output=True, text=True, timeout=120, check=True,
    )
    assert figures == json.loads(command.stdout)["characterisation"]


def test_the_outputs_are_written_as_the_command_writes_them(tmp_path, cli):
    figures = characterise_on_simulator(
        tmp_path, "run", json_path=str(tmp_path / "f.json"), csv=str(tmp_path / "f.csv"), ti3=str(tmp_path / "f.ti3")
    )
    assert json.loads((tmp_path / "f.json").read_text())["characterisation"] == figures
    csv_lines = (tmp_path / "f.csv").read_text().splitlines()
    assert len(csv_lines) == 1 + len(figures["patches"])
    ti3 = (tmp_path / "f.ti3").read_text()
    assert ti3.startswith("CTI3") and "RGB_XYZ" in ti3
    command = subprocess.run(
        [str(cli), "--simulate", "analyser", "--sim-display", "srgb-ideal", "characterise",
         "--resume", str(tmp_path / "run.jsonl"), "--format", "csv"],
        capture_output=True, text=True, timeout=120, check=True,
    )
    assert command.stdout.splitlines() == csv_lines


class VirtualDisplayClient:
    """Shows patches on a chromameter-sim's virtual display through its control socket."""

    def __init__(self, control_path):
        self.control_path = control_path
        self.shown = []

    def __call__(self, r, g, b):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.settimeout(10)
            connection.connect(self.control_path)
            connection.sendall(f"show {r!r} {g!r} {b!r}\n".encode())
            answer = connection.makefile().readline().strip()
        assert answer == "ok", answer
        self.shown.append((r, g, b))


@pytest.fixture
def simulator_process(cli):
    sim = cli.parent.parent / "simulator" / "tool" / "chromameter-sim"
    process = subprocess.Popen(
        [str(sim), "analyser", "--sim-display", "srgb-ideal", "--line", "instant", "--quiet"],
        stdout=subprocess.PIPE, text=True,
    )
    try:
        port = process.stdout.readline().strip()
        control = process.stdout.readline().strip()
        yield port, control
    finally:
        process.terminate()
        process.wait(10)


def test_a_python_callable_shows_the_patches_on_the_simulators_virtual_display(tmp_path, simulator_process):
    port, control = simulator_process
    show = VirtualDisplayClient(control)
    with chromameter.Instrument(port=port) as meter:
        assert meter.family == "analyser"
        figures = chromameter.characterise(meter, patches=PATCHES, show=show, settle=0.02)
    assert len(show.shown) == 5 + 6
    assert (1.0, 0.0, 0.0) in show.shown
    # The same display measured through show="simulator" gives the same figures.
    assert figures == characterise_on_simulator(tmp_path, "reference")


def test_an_exception_in_the_show_callable_ends_the_run_with_that_exception(tmp_path):
    class Broken(Exception):
        pass

    calls = []

    def show(r, g, b):
        calls.append((r, g, b))
        if len(calls) == 3:
            raise Broken("the window closed")

    with chromameter.Instrument(simulate="analyser", sim_display="srgb-ideal", sim_line="instant") as meter:
        with pytest.raises(Broken, match="the window closed"):
            chromameter.characterise(meter, patches=PATCHES, show=show, settle=0.0, journal=str(tmp_path / "j.jsonl"))
        # The instrument is still usable afterwards.
        assert meter.measure().status == 0
    assert len(calls) == 3
    # The two patches measured before are kept in the journal.
    assert len((tmp_path / "j.jsonl").read_text().splitlines()) == 1 + 2


def test_an_unknown_patch_set_is_a_usage_error():
    with chromameter.Instrument(simulate="analyser", sim_display="srgb-ideal", sim_line="instant") as meter:
        with pytest.raises(chromameter.UsageError):
            chromameter.characterise(meter, patches="plaid:3")
        with pytest.raises(chromameter.UsageError, match="virtual display"):
            with chromameter.Instrument(simulate="analyser", sim_line="instant") as plain:
                chromameter.characterise(plain)
