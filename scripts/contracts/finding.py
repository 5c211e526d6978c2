"""What a check says."""

import dataclasses


@dataclasses.dataclass(frozen=True, order=True)
class Finding:
    """Something that is wrong: where, against which rule, what it is, and how it is fixed."""

    file: str
    line: int
    rule: str
    what: str
    fix: str

    def __str__(self):
        return f"{self.file}:{self.line}: {self.rule}: {self.what}; {self.fix}"
