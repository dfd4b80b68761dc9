"""What a proof module hands to prove.py."""
from dataclasses import dataclass
from typing import Callable


class Refused(Exception):
    """The claim does not follow; the message says for which function, and with which counterexample if there is one."""


@dataclass
class Theorem:
    family: str  # sm2p256, ecp256, u256, sm3 or sm4
    kernel: str  # as the library names it; '' for what every kernel uses
    function: str  # the field of the kernel's record, or a function's name
    claim: str
    run: Callable[[], set]  # returns the addresses of the instructions that the claim covers, or raises
    time: bool = False  # whether the claim is about time, and says nothing about results

    def __str__(self):
        return f'{self.family} {self.kernel} {self.function}: {self.claim}'
