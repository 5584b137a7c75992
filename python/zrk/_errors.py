"""The exception of this module."""


class Error(ValueError):
    """What can't be done, and what to do about it.

    Attributes
    ----------
    place : str
        Where the fault lies, from the outside inwards: ``part.zrk.json, node 2 (Gyroid), "contour"``.
    finding : str
        What is there.
    expectation : str
        What would be right.
    remedy : str
        What can be done about it.
    """

    place: str
    finding: str
    expectation: str
    remedy: str

    def __init__(self, place, finding, expectation, remedy):
        super().__init__(place, finding, expectation, remedy)
        self.place = place
        self.finding = finding
        self.expectation = expectation
        self.remedy = remedy

    def __str__(self):
        return f"{self.place}: found {self.finding}, expected {self.expectation}\n  remedy: {self.remedy}"
