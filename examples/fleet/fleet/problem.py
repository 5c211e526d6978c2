"""What ends a run in one line."""


class Problem(Exception):
    """Names the input, what is wrong with it and the fix."""
