"""Colour arithmetic on plain floats and on sequences: the command-line host's own.

Every function takes numbers, or sequences (lists, tuples, anything iterable) of equal length in
their place; given sequences it returns a list with one result per element.
"""


from . import _core

__all__ = ["xyz_from_xy", "xy_from_xyz", "uv_prime_from_xy", "cct_duv", "lab_from_xyz", "delta_e2000"]


def _apply(function, *arguments):
    if all(isinstance(a, (int, float)) for a in arguments):
        return function(*(float(a) for a in arguments))
    columns = [list(a) if not isinstance(a, (int, float)) else None for a in arguments]
    lengths = {len(c) for c in columns if c is not None}
    if len(lengths) != 1:
        raise ValueError("the sequences must have the same length")
    (length,) = lengths
    rows = zip(*[c if c is not None else [a] * length for a, c in zip(arguments, columns)])
    return [function(*(float(v) for v in row)) for row in rows]


def xyz_from_xy(x, y, Y=1.0):
    """X, Y, Z of chromaticity x, y (CIE 1931) at luminance Y; (0, 0, 0) for y = 0."""
    return _apply(_core.xyz_from_xy, x, y, Y)


def xy_from_xyz(X, Y, Z):
    """The CIE 1931 chromaticity x, y of X, Y, Z; (0, 0) for black."""
    return _apply(_core.xy_from_xyz, X, Y, Z)


def uv_prime_from_xy(x, y):
    """The CIE 1976 UCS u′, v′ of chromaticity x, y."""
    return _apply(_core.uv_prime_from_xy, x, y)


def cct_duv(x, y):
    """(CCT in kelvin, Duv) of chromaticity x, y by Ohno's method on the CIE 1931 2° Planckian locus.

    None where the colour is farther than 0.05 from the locus or outside 1000–20000 K. Duv is
    positive above the locus (towards green).
    """
    return _apply(_core.cct_duv_from_xy, x, y)


def lab_from_xyz(X, Y, Z, white):
    """CIELAB (L*, a*, b*) of X, Y, Z with ``white`` = (Xw, Yw, Zw) as the reference white."""
    Xw, Yw, Zw = white
    return _apply(_core.lab_from_xyz, X, Y, Z, Xw, Yw, Zw)


def delta_e2000(lab1, lab2):
    """CIEDE2000 (kL = kC = kH = 1) between two CIELAB colours, or between two sequences of them."""
    if len(lab1) == 3 and all(isinstance(v, (int, float)) for v in lab1):
        return _core.delta_e2000(*map(float, lab1), *map(float, lab2))
    pairs = list(zip(lab1, lab2))
    if len(pairs) != len(lab1) or len(pairs) != len(lab2):
        raise ValueError("the sequences must have the same length")
    return [_core.delta_e2000(*map(float, a), *map(float, b)) for a, b in pairs]
