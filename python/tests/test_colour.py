"""chromameter.colour: the conversions and differences on floats and on sequences."""

import math

import pytest

from chromameter import colour


def test_xy_to_xyz_and_back_on_d65():
    X, Y, Z = colour.xyz_from_xy(0.3127, 0.3290, 100.0)
    assert Y == pytest.approx(100.0)
    assert X == pytest.approx(0.3127 / 0.3290 * 100.0)
    assert Z == pytest.approx((1 - 0.3127 - 0.3290) / 0.3290 * 100.0)
    assert colour.xy_from_xyz(X, Y, Z) == pytest.approx((0.3127, 0.3290))


def test_uv_prime_of_d65():
    # CIE 1976 UCS of D65 (x 0.3127, y 0.3290): u' 0.1978, v' 0.4683.
    u, v = colour.uv_prime_from_xy(0.3127, 0.3290)
    assert (u, v) == pytest.approx((0.19783, 0.46832), abs=1e-5)


def test_cct_of_illuminant_a_and_none_off_the_locus():
    cct, duv = colour.cct_duv(0.44757, 0.40745)
    assert cct == pytest.approx(2856, abs=3)
    assert abs(duv) < 0.0005
    assert colour.cct_duv(0.64, 0.33) is None  # the sRGB red is no white


def test_delta_e2000_of_published_pairs():
    # Sharma, Wu and Dalal (2005), pairs 1 and 17.
    assert colour.delta_e2000((50.0, 2.6772, -79.7751), (50.0, 0.0, -82.7485)) == pytest.approx(2.0425, abs=1e-4)
    assert colour.delta_e2000((50.0, 2.5, 0.0), (73.0, 25.0, -18.0)) == pytest.approx(27.1492, abs=1e-4)


def test_lab_of_the_white_is_100_0_0():
    white = colour.xyz_from_xy(0.3127, 0.3290, 1.0)
    assert colour.lab_from_xyz(*white, white) == pytest.approx((100.0, 0.0, 0.0), abs=1e-9)


def test_sequences_give_one_result_per_element():
    xs, ys = [0.3127, 0.64, 0.15], [0.3290, 0.33, 0.06]
    uvs = colour.uv_prime_from_xy(xs, ys)
    assert uvs == [pytest.approx(colour.uv_prime_from_xy(x, y)) for x, y in zip(xs, ys)]
    xyzs = colour.xyz_from_xy(xs, ys, 50.0)  # a number stands for every element
    assert [xyz[1] for xyz in xyzs] == pytest.approx([50.0] * 3)
    ccts = colour.cct_duv(xs, ys)
    assert ccts[0] is not None and ccts[1] is None and ccts[2] is None
    pairs = colour.delta_e2000([(50, 2.6772, -79.7751), (50, 0, 0)], [(50, 0, -82.7485), (50, 0, 0)])
    assert pairs == pytest.approx([2.0425, 0.0], abs=1e-4)
    with pytest.raises(ValueError):
        colour.uv_prime_from_xy([0.3, 0.4], [0.3])
    assert all(math.isfinite(v) for uv in uvs for v in uv)
