"""A shipped library as the proofs read it: its bytes, its names, its records of function pointers, its instructions."""
import re
import subprocess

from elftools.elf.elffile import ELFFile


class Library:
    def __init__(self, path):
        self.path = path
        with open(path, 'rb') as file:
            elf = ELFFile(file)
            self.arm = elf['e_machine'] == 'EM_AARCH64'
            self.segments = [(s['p_vaddr'], s.data()) for s in elf.iter_segments('PT_LOAD')]
            self.pointers = {}  # where the loader writes an address -> that address, or the name of another file's symbol
            dynamic = elf.get_section_by_name('.dynsym')
            for section in ('.rela.dyn', '.rela.plt'):
                for r in elf.get_section_by_name(section).iter_relocations():
                    symbol = dynamic.get_symbol(r['r_info_sym'])
                    value = symbol['st_value'] if r['r_info_sym'] else 0
                    self.pointers[r['r_offset']] = value + r['r_addend'] if value or not r['r_info_sym'] else symbol.name
        self.tool = 'aarch64-linux-gnu-' if self.arm else ''
        self.symbols = {}  # demangled name -> [(address, size)]; distinct local symbols may share a name
        for line in self._run('nm', '-CS', '--defined-only'):
            m = re.match(r'([0-9a-f]+) ([0-9a-f]+) \w (.*)', line)
            if m:
                self.symbols.setdefault(m[3], []).append((int(m[1], 16), int(m[2], 16)))
        self.text = {}  # address -> (mnemonic, operands as objdump prints them, address of the next instruction)
        self.function = {}  # address -> name of the function that begins there
        previous = None
        for line in self._run('objdump', '-dC', '--no-show-raw-insn', *([] if self.arm else ['-Mintel', '-w'])):
            m = re.match(r'([0-9a-f]+) <(.*)>:$', line)
            if m:
                self.function[int(m[1], 16)] = m[2]
            m = re.match(r' +([0-9a-f]+):\t(\S+)(?:\s+(.*))?$', line)
            if m:
                address = int(m[1], 16)
                if previous is not None:
                    self.text[previous[0]] = (*previous[1:], address)
                comment = r'\s*(//|<).*' if self.arm else r'\s*(#|<).*'
                previous = (address, m[2], re.sub(comment, '', m[3] or '').strip())
        self.text[previous[0]] = (*previous[1:], None)

    def _run(self, tool, *options):
        command = [self.tool + tool, *options, self.path]
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()

    def byte(self, address):
        """A byte of the file as loaded; None outside of it."""
        for start, data in self.segments:
            if start <= address < start + len(data):
                return data[address - start]
        return None

    def word(self, address, size=8):
        if address in self.pointers:
            return self.pointers[address]
        return int.from_bytes(bytes(self.byte(address + i) for i in range(size)), 'little')

    def string(self, address):
        text = bytearray()
        while self.byte(address):
            text.append(self.byte(address))
            address += 1
        return text.decode()

    def find(self, name):
        """The address of the one symbol of this name."""
        (address, _), = self.symbols[name]
        return address

    def records(self, family):
        """The kernels of `ulmaro::family`: name -> (address of the record, its size)."""
        found = {}
        for symbol, places in self.symbols.items():
            if re.fullmatch(rf'ulmaro::{family}::\w+_kernels', symbol):
                (address, size), = places
                found[self.string(self.word(address))] = (address, size)
        return found

    def owner(self, address):
        """The function that the instruction at address belongs to, for messages."""
        start = max((a for a in self.function if a <= address), default=None)
        return self.function.get(start, '?')

    def place(self, address):
        """The symbol that a byte of data belongs to, and how far in, for messages."""
        inside = ((a, name) for name, places in self.symbols.items() for a, size in places if a <= address < a + size)
        start, name = min(inside, default=(address, f'{address:#x}'))
        return f'{name}+{address - start:#x}'
