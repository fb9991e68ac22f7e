"""String names of the library's enumerated arguments (aliases map to the same value)."""

WINDOW = {"hann": 1, "hanning": 1, "hamming": 2}
# "zeros" and "constant" both mean zero padding here; "none"/"false" and None mean no centring.
CENTER = {"none": 0, "false": 0, "reflect": 1, "true": 1, "zeros": 2, "constant": 2, None: 0}
NORM = {"none": 0, "torch": 1, "window": 1, "scipy": 2, None: 0}
MEL_NORM = {"none": 0, "slaney": 1, "area": 1, None: 0}
MEL_SCALE = {"slaney": 0, "htk": 1}
# "constant" repeats the edge sample (numpy.pad's "edge"); "even" mirrors as "reflect" does.
PADTYPE = {"none": 0, "odd": 1, "even": 2, "reflect": 2, "constant": 3, "edge": 3, None: 0}
PHASE = {"angle": 0, "complex": 1}


def center_value(center):
    """center may also be given as a bool, as the usual stacks take it (True: reflect)."""
    if center is True:
        return 1
    if center is False:
        return 0
    from ._call import option
    return option(center, CENTER, "center")
