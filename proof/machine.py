"""Runs machine code on values of a domain. What an instruction means is in x86.py and arm.py."""
from values import Leak, Unsupported

STACK = 0x7fff_0000_0000
GUARD = 0x7ffe_0000_0000  # the stack protector's word
END = 0x7ffd_0000_0000  # where the outermost function returns to


class Fault(Exception):
    """The run did something that no correct function does."""


def copy(m):
    to, source, size = (m.public(m.argument(i), 'an argument of memcpy') for i in range(3))
    pieces = [m.load(source + i, 1) for i in range(size)]
    for i, v in enumerate(pieces):
        m.store(to + i, v, 1)


def fill(m, address, value, size):
    for i in range(m.public(size, 'a size')):
        m.store(address + i, value & 255, 1)


def wipe(m):
    fill(m, m.argument(0), 0, m.argument(1))


IMPORTS = {'memcpy': copy, 'memmove': copy, 'memset': lambda m: fill(m, *(m.argument(i) for i in range(3))),
           'explicit_bzero': wipe, '__explicit_bzero_chk': wipe}


class Machine:
    """Registers, memory and flags. A subclass decodes instructions and has the calling convention."""

    def __init__(self, library, domain, code=None):
        self.library, self.d = library, domain
        self.code = {} if code is None else code  # decoded instructions, shared between runs
        self.memory = {}  # address of each byte written -> (value, its bytes, its address)
        self.file = {}  # the same of bytes read that nothing has written
        self.hooks = {}  # address of a function -> what is done instead, a Python function of the machine
        self.imports = dict(IMPORTS)  # name of another file's function -> the same
        self.regions = []
        self.lookups = False  # whether an address may be a byte beside a public one, in 256 constants
        self.tables = {}
        self.executed, self.limit = 0, float('inf')
        self.covered = set()  # addresses of the instructions executed
        self.next_region = 0x1000_0000_0000
        self.store(GUARD, 0x57ac_c0de, 8)
        self.reset()

    # -- memory
    def region(self, size, values=None, w=8):
        """Fresh memory of size bytes, far from all other; values of w bytes from its beginning on."""
        address = self.next_region
        self.next_region += (size + 0xffff) // 0x1_0000 * 0x1_0000 + 0x1_0000
        self.regions.append((address, size))
        for i, v in enumerate(values or []):
            self.store(address + w * i, v, w)
        return address

    def store(self, address, value, size):
        cell = (value, size, address)
        for i in range(size):
            self.memory[address + i] = cell

    def cell(self, address):
        return self.memory.get(address) or self.file.get(address) or self.from_file(address)

    def from_file(self, address):
        """The cell of a byte that nothing has written: an aligned word of the file where that is possible."""
        start = address & ~7
        if start in self.library.pointers:
            cell = (self.library.pointers[start], 8, start)
        elif None not in (data := [self.library.byte(a) for a in range(start, start + 8)]):
            cell = (int.from_bytes(bytes(data), 'little'), 8, start)
        elif self.library.byte(address) is not None:
            start, cell = address, (self.library.byte(address), 1, address)
        else:
            raise Fault(f'reads {address:#x}, which nothing has written')
        self.file.update(dict.fromkeys(range(start, start + cell[1]), cell))
        return cell

    def load(self, address, size):
        value, n, start = first = self.cell(address)
        if address + size <= start + n and all(self.cell(address + i) is first for i in range(1, size)):
            return value if n == size else self.d.cut(8 * size, 8 * n, value, 8 * (address - start))
        if n > size or start != address:
            return self.d.join(8, [self._byte(address + i) for i in range(size)])
        return self.d.join(*self.load_lanes(address, size))

    def _byte(self, address):
        value, n, start = self.cell(address)
        return self.d.cut(8, 8 * n, value, 8 * (address - start))

    def look_up(self, base, index, scale, size):
        """A load of size bytes at base + scale * index, where `lookups` allows an index that is not public."""
        index, *above = self.d.regroup(64, [index], 8)
        if any(not isinstance(v, int) or v for v in above):
            raise Leak('an address depends on more than a byte')
        key = base, scale, size
        if key not in self.tables:
            entries = [self.public(self.load(base + scale * k, size), 'an entry of a table') for k in range(256)]
            self.tables[key] = [bytes(e >> 8 * i & 255 for e in entries) for i in range(size)]
        return self.d.join(8, [self.d.op('table', 8, index, t) for t in self.tables[key]])

    def load_lanes(self, address, size):
        """(w, values): as it was stored, if that was in equal pieces, else bytes."""
        n = self.cell(address)[1]
        if size % n == 0 and n <= min(8, size) and all(self.cell(a)[1:] == (n, a) and self.cell(a + n - 1)[2] == a
                                                       for a in range(address, address + size, n)):
            return 8 * n, [self.load(a, n) for a in range(address, address + size, n)]
        return 8, [self._byte(address + i) for i in range(size)]

    def store_lanes(self, address, w, values):
        for i, v in enumerate(values):
            self.store(address + w // 8 * i, v, w // 8)

    def written(self, address, size):
        """Whether a byte of [address, address + size) was written."""
        return any(address + i in self.memory for i in range(size))

    # -- control
    def public(self, value, what):
        if not isinstance(value, int):
            raise Leak(f'{what} depends on a symbol')
        return value

    def taken(self, bit):
        return bit if isinstance(bit, (int, bool)) else self.d.decide(bit)

    def run(self, address):
        """From address until the function that begins there returns."""
        self.pc = address
        code, covered = self.code, self.covered
        while self.pc != END:
            here = self.pc
            if here in self.hooks:
                self.hooks[here](self)
                self.leave()
                continue
            instruction = code.get(here)
            if instruction is None:
                instruction = code[here] = self.decode(here)
            self.pc = instruction.next
            self.executed += 1
            if self.executed > self.limit:
                raise Fault('does not end')
            covered.add(here)
            try:
                instruction.run(self, instruction)
            except (Leak, Fault, Unsupported, AssertionError) as e:
                where = f'{here:x} {instruction.op} {instruction.text} in {self.library.owner(here)}'
                raise type(e)(*e.args, where) from e
