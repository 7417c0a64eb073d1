"""Makes a failing case smaller: as long as it still fails, parts of it are left out."""

import dataclasses
import time

TRIES = 3  # a case that fails now and then
LIMIT_S = 60


def shrunk(case, fields, fails):
    """The smallest case found that fails. `fields` name the lists of the dataclass `case` that may
    lose elements, all but one; `fails(case)` tells whether a case fails."""
    end = time.monotonic() + LIMIT_S
    for field in fields:
        piece = len(getattr(case, field)) // 2
        while piece > 0 and time.monotonic() < end:
            smaller = _without_a_piece(case, field, piece, fails, end)
            if smaller is None:
                piece //= 2
            else:
                case = smaller
    return case


def _without_a_piece(case, field, piece, fails, end):
    """The case without some `piece` elements in a row, if one fails."""
    elements = getattr(case, field)
    for at in range(0, len(elements), piece):
        smaller = dataclasses.replace(case, **{field: elements[:at] + elements[at + piece:]})
        if time.monotonic() < end and any(fails(smaller) for _ in range(TRIES)):
            return smaller
    return None
