#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""hardening_test.py [--fortified FILE...] [--control-flow] FILE...: programs and libraries have their
guards: they load anywhere, nothing that is resolved at start stays writable, no stack is executable,
functions check their stack, and checked versions of the C library's functions are called. Reads the
ELF files of any machine."""

import argparse
import struct
import sys
import unittest

PT_DYNAMIC, PT_GNU_STACK, PT_GNU_RELRO = 2, 0x6474e551, 0x6474e552
DT_TEXTREL, DT_FLAGS, DT_BIND_NOW, DT_FLAGS_1 = 22, 30, 24, 0x6ffffffb
DF_TEXTREL, DF_BIND_NOW, DF_1_NOW = 4, 8, 1
SHT_SYMTAB, SHT_DYNSYM = 2, 11
STT_FUNC = 2
ENDBR64 = bytes.fromhex('f30f1efa')
FILES, FORTIFIED, CONTROL_FLOW = [], [], False


class Elf:
    def __init__(self, path):
        with open(path, 'rb') as file:
            self.data = file.read()
        assert self.data[:4] == b'\x7fELF', path
        self.wide = self.data[4] == 2
        self.order = '<' if self.data[5] == 1 else '>'
        (self.type, self.machine) = self.unpack('HH', 16)
        if self.wide:
            segments, sections = self.unpack('QQ', 32)
            size, count, section_size, section_count = self.unpack('HHHH', 54)
        else:
            segments, sections = self.unpack('II', 28)
            size, count, section_size, section_count = self.unpack('HHHH', 42)
        self.segments = [self.segment(segments + i * size) for i in range(count)]
        self.sections = [self.section(sections + i * section_size) for i in range(section_count)]

    def unpack(self, form, at):
        return struct.unpack_from(self.order + form, self.data, at)

    def segment(self, at):
        if self.wide:
            kind, flags, offset, address, _, size = self.unpack('IIQQQQ', at)
        else:
            kind, offset, address, _, size, _, flags = self.unpack('IIIIIII', at)
        return {'kind': kind, 'flags': flags, 'offset': offset, 'address': address, 'size': size}

    def section(self, at):
        form = 'IIQQQQII' if self.wide else 'IIIIIIII'
        _, kind, _, _, offset, size, link, _ = self.unpack(form, at)
        return {'kind': kind, 'offset': offset, 'size': size, 'link': link}

    def segments_of(self, kind):
        return [one for one in self.segments if one['kind'] == kind]

    def dynamic(self):
        form, step = ('qQ', 16) if self.wide else ('iI', 8)
        entries = {}
        for segment in self.segments_of(PT_DYNAMIC):
            for at in range(segment['offset'], segment['offset'] + segment['size'], step):
                tag, value = self.unpack(form, at)
                entries[tag] = value
        return entries

    def symbols(self, kind):
        """Yields name, type, section and address."""
        for section in (one for one in self.sections if one['kind'] == kind):
            names = self.sections[section['link']]['offset']
            step = 24 if self.wide else 16
            for at in range(section['offset'], section['offset'] + section['size'], step):
                if self.wide:
                    name, info, _, index, address = self.unpack('IBBHQ', at)
                else:
                    name, address, _, info, _, index = self.unpack('IIIBBH', at)
                end = self.data.index(b'\0', names + name)
                yield self.data[names + name:end].decode(), info & 15, index, address

    def imports(self):
        return {name for name, _, section, _ in self.symbols(SHT_DYNSYM) if section == 0}

    def bytes_at(self, address, count):
        for segment in self.segments_of(1):
            at = address - segment['address']
            if 0 <= at < segment['size']:
                return self.data[segment['offset'] + at:segment['offset'] + at + count]
        return b''


class Guards(unittest.TestCase):
    def each(self, files=None):
        for path in FILES if files is None else files:
            with self.subTest(path):
                yield Elf(path)

    def test_it_loads_anywhere(self):
        for elf in self.each():
            self.assertEqual(elf.type, 3, 'position-independent')
            dynamic = elf.dynamic()
            self.assertNotIn(DT_TEXTREL, dynamic)
            self.assertEqual(dynamic.get(DT_FLAGS, 0) & DF_TEXTREL, 0)

    def test_what_is_resolved_at_the_start_is_read_only_afterwards(self):
        for elf in self.each():
            self.assertEqual(len(elf.segments_of(PT_GNU_RELRO)), 1)
            dynamic = elf.dynamic()
            self.assertTrue(DT_BIND_NOW in dynamic or dynamic.get(DT_FLAGS, 0) & DF_BIND_NOW
                            or dynamic.get(DT_FLAGS_1, 0) & DF_1_NOW)

    def test_the_stack_is_not_executable(self):
        for elf in self.each():
            stacks = elf.segments_of(PT_GNU_STACK)
            self.assertEqual([stack['flags'] & 1 for stack in stacks], [0])

    def test_functions_check_their_stack(self):
        for elf in self.each():
            self.assertIn('__stack_chk_fail', elf.imports())

    def test_calls_that_write_memory_are_checked(self):
        for elf in self.each(FORTIFIED):
            checked = [name for name in elf.imports()
                       if name.endswith('_chk') and name != '__stack_chk_fail']
            self.assertNotEqual(checked, [])

    def test_functions_begin_with_a_landing_place(self):
        if not CONTROL_FLOW:
            self.skipTest('the compiler has none for this machine')
        for elf in self.each():
            self.assertEqual(elf.machine, 62, 'x86-64')
            functions = [(name, elf.bytes_at(address, 4))
                         for name, kind, section, address in elf.symbols(SHT_DYNSYM)
                         if kind == STT_FUNC and section != 0]
            functions += [(name, elf.bytes_at(address, 4))
                          for name, kind, section, address in elf.symbols(SHT_SYMTAB)
                          if kind == STT_FUNC and section != 0 and name == 'main']
            self.assertNotEqual(functions, [])
            self.assertEqual([name for name, start in functions if start != ENDBR64], [])


if __name__ == '__main__':
    parser = argparse.ArgumentParser()
    parser.add_argument('--fortified', nargs='*', default=[])
    parser.add_argument('--control-flow', action='store_true')
    parser.add_argument('files', nargs='*')
    options = parser.parse_args()
    FORTIFIED, CONTROL_FLOW, FILES = options.fortified, options.control_flow, options.files
    unittest.main(argv=sys.argv[:1])
