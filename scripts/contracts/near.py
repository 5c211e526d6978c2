"""Names that come near a name, as ovix-contracts judges it."""


def distance(a, b):
    """The edits that make one of the other, without regard to case."""
    a, b = a.lower(), b.lower()
    row = list(range(len(b) + 1))
    for i, left in enumerate(a, 1):
        diagonal, row[0] = row[0], i
        for j, right in enumerate(b, 1):
            diagonal, row[j] = row[j], min(diagonal + (left != right), row[j] + 1, row[j - 1] + 1)
    return row[len(b)]


def nearest(name, known):
    """The one that comes nearest; nothing where none does."""
    least, candidate = min(((distance(name, each), each) for each in known), default=(0, None))
    if candidate is None or least > max(2, len(name) // 4):
        return None
    # Two edits make any name of two letters of any other: a third of a name must stay.
    return candidate if 3 * least <= 2 * max(len(name), len(candidate)) else None
