"""The report page and the display profile from Python are those the command writes."""

import json
import subprocess

import pytest

import chromameter

PATCHES = "grey:5,primaries"


@pytest.fixture(scope="module")
def journal(tmp_path_factory):
    """A finished run on an ideal simulated sRGB display, with its page and profile from Python."""
    folder = tmp_path_factory.mktemp("run")
    path = folder / "run.jsonl"
    with chromameter.Instrument(simulate="analyser", sim_display="srgb-ideal", sim_line="instant") as meter:
        figures = chromameter.characterise(
            meter, patches=PATCHES, settle=0.02, journal=str(path), report=str(folder / "python.html"),
            icc=str(folder / "python.icc"), icc_version=4, display_name="Desk LCD",
        )
    return path, figures


def command_report(cli, journal, *options):
    return subprocess.run(
        [str(cli), "report", str(journal), "--format", "json", *options],
        capture_output=True, text=True, timeout=120, check=True,
    )


def icc_version(path):
    header = path.read_bytes()[:128]
    assert header[36:40] == b"acsp"
    return header[8], header[9]


def profile_without_stamp(path):
    """The profile's bytes but its creation time (LittleCMS stamps the moment it was written) and
    the version 4 profile ID, a digest that covers that time."""
    data = bytearray(path.read_bytes())
    data[24:36] = bytes(12)
    data[84:100] = bytes(16)
    return bytes(data)


def test_characterise_writes_the_page_and_profile_the_report_command_writes(journal, cli):
    path, _ = journal
    folder = path.parent
    command_report(cli, path, "--report", str(folder / "cli.html"), "--icc", str(folder / "cli.icc"),
                   "--icc-version", "4", "--display-name", "Desk LCD")
    page = (folder / "python.html").read_bytes()
    assert b"Desk LCD" in page
    assert page == (folder / "cli.html").read_bytes()
    assert profile_without_stamp(folder / "python.icc") == profile_without_stamp(folder / "cli.icc")
    assert icc_version(folder / "python.icc") == (4, 0x30)


def test_report_recomputes_the_figures_of_a_saved_run_as_the_command_does(journal, cli, tmp_path):
    path, figures = journal
    again = chromameter.report(str(path), report=str(tmp_path / "python.html"), icc=str(tmp_path / "python.icc"),
                               display_name="Desk LCD")
    assert again == figures
    command = command_report(cli, path, "--report", str(tmp_path / "cli.html"), "--icc", str(tmp_path / "cli.icc"),
                             "--display-name", "Desk LCD")
    assert again == json.loads(command.stdout)["characterisation"]
    assert (tmp_path / "python.html").read_bytes() == (tmp_path / "cli.html").read_bytes()
    assert profile_without_stamp(tmp_path / "python.icc") == profile_without_stamp(tmp_path / "cli.icc")
    # Version 2 is written as 2.4, the form the widest range of programs reads.
    assert icc_version(tmp_path / "python.icc") == (2, 0x40)


def test_report_against_another_target_gives_the_commands_figures_for_it(journal, cli):
    path, figures = journal
    again = chromameter.report(str(path), target_space="p3")
    assert again["target"]["space"] == "p3"
    assert again["delta_E2000"] != figures["delta_E2000"]
    command = command_report(cli, path, "--target-space", "p3")
    assert again == json.loads(command.stdout)["characterisation"]


def test_report_of_a_missing_journal_or_unknown_target_is_a_usage_error(journal, tmp_path):
    path, _ = journal
    with pytest.raises(chromameter.UsageError):
        chromameter.report(str(tmp_path / "none.jsonl"))
    with pytest.raises(chromameter.UsageError, match="target"):
        chromameter.report(str(path), target_space="no-such-space")
    with pytest.raises(chromameter.UsageError):
        chromameter.report(str(path), icc=str(path), icc_version=3)


def test_an_output_that_cannot_be_written_is_a_usage_error_naming_it(journal, tmp_path):
    path, _ = journal
    unwritable = tmp_path / "no-such-folder" / "page.html"
    with pytest.raises(chromameter.UsageError, match="page.html"):
        chromameter.report(str(path), report=str(unwritable))


def test_show_window_says_why_it_is_not_available():
    with chromameter.Instrument(simulate="analyser", sim_display="srgb-ideal", sim_line="instant") as meter:
        with pytest.raises(chromameter.UsageError, match="QCoreApplication"):
            chromameter.characterise(meter, patches="grey:2", show="window")
