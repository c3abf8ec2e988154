#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Loads a daemon for a long time, and checks what is left of it; scripts/soak.sh runs this.

A first fifth of the time goes by with restarts, by SIGTERM and by SIGKILL, also in the middle of a
change. In the rest one daemon has to live through everything else: identifications, changes, bulks,
listings, reloads of changing rule files, and clients that send half a message, garbage or a message
by the byte, that never read, or that go without a word. All of it comes from one seed.

Changes are made by this process alone, which keeps a model of what they must have led to. Listings,
orders, authorization sets and identifications are compared with it throughout, after each restart,
and at the end. Then there must be as many descriptors as at the start, no more memory than after
the warm-up, and a whole database. Faults are reported, and the exit status is then 1.
"""

import argparse
import multiprocessing
import os
import random
import select
import shutil
import signal
import socket
import sqlite3
import statistics
import struct
import subprocess
import sys
import tempfile
import time

UNDO, SET, GET = 0, 1, 2
OK, FAILED, NO_CHANGE, MORE = 0, 0x40010001, 0x40010006, 0x40010009
OPERATION, KIND, ORIGIN, DHCP, AGENT, MAC, MASK, NAME, CODE, OPTIONS = 1, 2, 3, 4, 5, 6, 7, 8, 12, 14
ORDER, VENDOR, OS, CATEGORY, ATTRIBUTE, SELECTOR, INFO = 15, 16, 17, 18, 19, 20, 22
NESTED_RULE, GROUP, NESTED_SET, ATTR_NAME, ATTR_VALUE = 1002, 1010, 1050, 1051, 1052
PHASE, NESTED_REQUEST, RESULT = 1060, 1063, 1064
STATUS, WATCH, AUTHORIZATION, BULK = 1001, 1003, 1004, 1008
ORDER_KIND = 11

IDLE_TIMEOUT = 5
RULES_OF_A_KIND = 2000
LONG_ENOUGH = 300  # seconds; before that memory may still grow to what reloads need at most
KINDS = ('dhcp', 'agent', 'mac')  # in the order of the message kinds 0, 1, 2
FIELDS = {NAME: 'name', VENDOR: 'vendor', CATEGORY: 'category', OS: 'os'}
ATTRIBUTES = {'vendor': (1, VENDOR), 'category': (2, CATEGORY), 'os': (3, OS)}


class Fault(Exception):
    """Something is not as it has to be."""


class Gone(Exception):
    """The daemon has closed the connection."""


def expect(truth, *what):
    if not truth:
        raise Fault(' '.join(str(part) for part in what))


def element(kind, value):
    return struct.pack('>HH', kind, len(value)) + value


def number(kind, value):
    return element(kind, struct.pack('>I', value))


def text(kind, value):
    return element(kind, value.encode() + b'\0')


def message(*elements):
    body = b''.join(elements)
    return b'\xf9LM\x01' + struct.pack('>I', 8 + len(body)) + body


def request(operation, kind, *elements):
    return message(number(OPERATION, operation), number(KIND, kind), *elements)


def elements_of(received):
    expect(received[:4] == b'\xf9LM\x01', 'a reply is no message')
    at = 8
    found = []
    while at < len(received):
        kind, length = struct.unpack_from('>HH', received, at)
        found.append((kind, received[at + 4:at + 4 + length]))
        at += 4 + length
    expect(at == len(received), 'a reply is not consistent')
    return found


def number_of(elements, kind):
    for found, value in elements:
        if found == kind:
            return struct.unpack('>I', value)[0]
    return None


def text_of(elements, kind):
    for found, value in elements:
        if found == kind:
            return value[:-1].decode()
    return ''


class Client:
    """One connection."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(60)
        self.socket.connect(path)
        self.used = time.monotonic()

    def close(self):
        self.socket.close()

    def send(self, data):
        try:
            self.socket.sendall(data)
        except (BrokenPipeError, ConnectionResetError) as error:
            raise Gone() from error

    def read(self, count):
        data = b''
        while len(data) < count:
            try:
                some = self.socket.recv(count - len(data))
            except ConnectionResetError as error:
                raise Gone() from error
            if not some:
                raise Gone()
            data += some
        return data

    def receive(self):
        header = self.read(8)
        self.used = time.monotonic()
        return elements_of(header + self.read(struct.unpack('>I', header[4:])[0] - 8))

    def ask(self, data):
        self.send(data)
        return self.receive()

    def ask_series(self, data):
        self.send(data)
        found = []
        while True:
            reply = self.receive()
            code = number_of(reply, CODE)
            expect(code in (OK, MORE), 'a listing ends with', hex(code))
            found += [value for kind, value in reply if kind >= 1000]
            if code == OK:
                return found


class Daemon:
    """The daemon under test, in a directory of its own."""

    def __init__(self, program, directory, rules, ieee):
        self.program = program
        self.directory = directory
        self.path = directory + '/run/socket'
        self.rules = directory + '/rules'
        self.ieee = ieee
        self.process = None
        self.base_descriptors = 0
        shutil.copytree(rules, self.rules)
        with open(self.rules + '/user-agent.csv', encoding='utf-8') as file:
            self.shipped = file.read()

    def start(self):
        options = ['--config', '/dev/null', '--socket', self.path, '--rules', self.rules,
                   '--state-dir', self.directory + '/state', '--idle-timeout', str(IDLE_TIMEOUT)]
        if os.path.isdir(self.ieee):
            options += ['--ieee', self.ieee]
        log = open(self.directory + '/log', 'ab')
        self.process = subprocess.Popen([self.program] + options, stderr=log)
        log.close()
        end = time.monotonic() + 60
        while time.monotonic() < end:
            expect(self.process.poll() is None, 'the daemon does not start\n' + self.log())
            try:
                client = Client(self.path)
                client.ask(request(GET, STATUS))
                client.close()
                break
            except (OSError, Gone):
                time.sleep(0.02)
        if self.base_descriptors == 0:  # the first time, before there are clients
            time.sleep(0.1)
            self.base_descriptors = self.descriptors()

    def stop(self, how):
        self.process.send_signal(how)
        status = self.process.wait(60)
        expect(status == (0 if how == signal.SIGTERM else -how), 'the daemon ended with', status)

    def check_running(self):
        expect(self.process.poll() is None, 'the daemon has ended\n' + self.log())

    def log(self):
        with open(self.directory + '/log', encoding='utf-8', errors='replace') as file:
            return ''.join(file.readlines()[-20:])

    def descriptors(self):
        return len(os.listdir('/proc/%d/fd' % self.process.pid))

    def memory(self):
        with open('/proc/%d/status' % self.process.pid, encoding='ascii') as file:
            for line in file:
                if line.startswith('VmRSS:'):
                    return int(line.split()[1])
        return 0

    def write_rules(self, variant):
        """Installs rule files that can be recognised by the daemon's answers."""
        path = self.rules + '/user-agent.csv'
        header = next(line for line in self.shipped.splitlines() if not line.startswith('#'))
        row = {'expression': 'soak-variant', 'name': 'variant %d' % variant}
        line = ','.join(row.get(column, '') for column in header.split(','))
        with open(path + '.new', 'w', encoding='utf-8') as file:
            file.write(self.shipped.rstrip('\n') + '\n' + line + '\n')
        os.rename(path + '.new', path)


class Model:
    """What the changes must have led to."""

    def __init__(self):
        self.rules = {kind: {} for kind in KINDS}  # key: a dictionary of fields
        self.order = None                          # None: the default
        self.sets = {}                             # (group, category): names and values

    def copy(self):
        other = Model()
        other.rules = {kind: {key: dict(info) for key, info in rules.items()}
                       for kind, rules in self.rules.items()}
        other.order = self.order
        other.sets = {key: dict(values) for key, values in self.sets.items()}
        return other


def key_of(kind, index):
    """Keys that no shipped rule knows."""
    if kind == 'agent':
        return 'soak-%05d-' % index
    if kind == 'dhcp':
        return '250,251,%d,%d' % (index // 256, index % 256)
    return '0250%08x' % (index * 7919)


def key_elements(kind, key):
    if kind == 'agent':
        return [text(AGENT, key)]
    if kind == 'dhcp':
        return [text(DHCP, key)]
    return [element(MAC, bytes.fromhex(key)), element(MASK, b'\xff' * 6)]


def fingerprint(kind, key):
    if kind == 'agent':
        return text(AGENT, 'Mozilla ' + key + ' rest')
    if kind == 'dhcp':
        return element(OPTIONS, bytes(int(part) for part in key.split(',')))
    return element(MAC, bytes.fromhex(key))


class Administrator:
    """Makes changes and holds them against the model."""

    def __init__(self, daemon, rng):
        self.daemon = daemon
        self.random = rng
        self.model = Model()
        self.client = None
        self.counts = {}
        self.variant = 0

    def count(self, what, by=1):
        self.counts[what] = self.counts.get(what, 0) + by

    def connection(self):
        if self.client is not None and time.monotonic() - self.client.used > IDLE_TIMEOUT / 3:
            self.disconnect()
        if self.client is not None and self.random.random() < 0.05:
            self.disconnect()
        if self.client is None:
            self.client = Client(self.daemon.path)
        return self.client

    def disconnect(self):
        if self.client is not None:
            self.client.close()
        self.client = None

    def any_key(self):
        kind = self.random.choice(KINDS)
        return kind, key_of(kind, self.random.randrange(RULES_OF_A_KIND))

    def make_change(self, model):
        """@return a change of a rule, the code it must have, and what it does to the model"""
        kind, key = self.any_key()
        number_of_kind = KINDS.index(kind)
        rules = model.rules[kind]
        info = rules.get(key)
        value = '%s %d' % (self.random.choice(('One', 'Two', 'Three')), self.random.randrange(50))
        elements = key_elements(kind, key)
        choice = self.random.random()

        def put(field, wanted):
            fields = dict(info or {})
            fields.pop(field, None)
            if wanted:
                fields[field] = wanted
            rules[key] = fields

        if choice < 0.35:
            code = NO_CHANGE if info is not None and info.get('name') == value else OK
            return (request(SET, number_of_kind, number(ORIGIN, 1), *elements, text(NAME, value)),
                    code, lambda: put('name', value))
        if choice < 0.6:
            field = self.random.choice(tuple(ATTRIBUTES))
            which, kind_of_text = ATTRIBUTES[field]
            code = NO_CHANGE if info is not None and info.get(field) == value else OK
            return (request(SET, 17 + number_of_kind, number(ATTRIBUTE, which), *elements,
                            text(kind_of_text, value)),
                    code, lambda: put(field, value))
        if choice < 0.65:
            return (request(SET, 14 + number_of_kind, *elements),
                    OK if info is None else NO_CHANGE, lambda: rules.setdefault(key, {}))
        if choice < 0.75:
            code = FAILED if info is None else OK if 'name' in info else NO_CHANGE
            return (request(UNDO, number_of_kind, number(ORIGIN, 1), *elements),
                    code, lambda: put('name', None))
        return (request(UNDO, 14 + number_of_kind, *elements),
                FAILED if info is None else OK, lambda: rules.pop(key))

    def change(self):
        data, code, apply = self.make_change(self.model)
        got = number_of(self.connection().ask(data), CODE)
        expect(got == code, 'a change is answered with', hex(got), 'not', hex(code))
        if code == OK:
            apply()
        self.count('changes')

    def bulk(self):
        client = self.connection()
        model = self.model.copy()
        expect(number_of(client.ask(request(SET, BULK, number(PHASE, 0))), CODE) == OK, 'no bulk')
        for _ in range(self.random.randrange(1, 4)):
            changes = []
            codes = []
            for _ in range(self.random.randrange(1, 20)):
                data, code, apply = self.make_change(model)
                changes.append(element(NESTED_REQUEST, data))
                codes.append(code)
                if code == OK:
                    apply()
            reply = client.ask(request(SET, BULK, number(PHASE, 1), *changes))
            results = [struct.unpack('>I', value)[0] for kind, value in reply if kind == RESULT]
            expect(results == codes, 'a bulk is answered with', results, 'not', codes)
        end = self.random.randrange(3)
        if end == 0:  # the end of the connection takes it back as well
            self.disconnect()
        else:
            reply = client.ask(request(SET, BULK, number(PHASE, 1 + end)))
            expect(number_of(reply, CODE) == OK, 'a bulk does not end')
        if end == 1:
            self.model = model
        self.count('bulks')

    def change_order(self):
        methods = [0, 1, 2]
        self.random.shuffle(methods)
        methods = methods[:self.random.randrange(0, 4)]
        if methods:
            data = request(SET, ORDER_KIND, *(number(ORDER, method) for method in methods))
        else:
            data = request(UNDO, ORDER_KIND)
        code = number_of(self.connection().ask(data), CODE)
        expect(code in (OK, NO_CHANGE), 'an order is answered with', hex(code))
        self.model.order = methods or None
        self.count('orders')

    def change_authorization(self):
        group = 'group%d' % self.random.randrange(20)
        category = self.random.choice(('Mobile', 'PC', '*'))
        values = self.model.sets.setdefault((group, category), {})
        if self.random.random() < 0.7:
            name = self.random.choice(('vlan', 'acl', 'user-profile'))
            value = str(self.random.randrange(100))
            data = request(SET, AUTHORIZATION, text(GROUP, group), text(CATEGORY, category),
                           text(ATTR_NAME, name), text(ATTR_VALUE, value))
            code = number_of(self.connection().ask(data), CODE)
            expect(code in (OK, NO_CHANGE), 'authorization is answered with', hex(code))
            values[name] = value
        else:
            data = request(UNDO, AUTHORIZATION, text(GROUP, group), text(CATEGORY, category))
            code = number_of(self.connection().ask(data), CODE)
            expect((code == OK) == bool(values), 'authorization is answered with', hex(code))
            values.clear()
        if not values:
            del self.model.sets[(group, category)]
        self.count('authorizations')

    def identify(self):
        kind, key = self.any_key()
        info = self.model.rules[kind].get(key, {})
        by_name = self.random.random() < 0.3
        reply = self.connection().ask(request(GET, 3 if by_name else 13, fingerprint(kind, key)))
        # With an order that leaves a method out its rules do not count.
        asked = self.model.order is None or KINDS.index(kind) in self.model.order
        fields = (NAME,) if by_name else (VENDOR, CATEGORY, OS)
        expected = {FIELDS[field]: info.get(FIELDS[field], '') if asked else ''
                    for field in fields}
        got = {FIELDS[field]: text_of(reply, field) for field in fields}
        code = number_of(reply, CODE)
        expect(got == expected, 'identified', kind, key, 'as', got, 'not', expected)
        # What is answered of a rule without anything to say is not looked at.
        expect(code in (OK, FAILED) and (code == OK or not any(expected.values())) and
               (code == FAILED or key in self.model.rules[kind]), 'identified', kind, key, 'with', hex(code))
        self.count('identifications')

    def compare(self):
        """Everything that is configured, against the model."""
        for number_of_kind, kind in enumerate(KINDS):
            found = {}
            nested = self.connection().ask_series(
                request(GET, 7 + number_of_kind, number(SELECTOR, 2), number(INFO, 2)))
            for rule in nested:
                elements = elements_of(rule)
                if kind == 'mac':
                    key = dict(elements)[MAC].hex()
                else:
                    key = text_of(elements, AGENT if kind == 'agent' else DHCP)
                expect(key not in found, 'a listing has twice', key)
                found[key] = {FIELDS[field]: value[:-1].decode() for field, value in elements
                              if field in FIELDS and value != b'\0'}
            expect(found == self.model.rules[kind], 'the', kind, 'rules are', len(found), 'not',
                   len(self.model.rules[kind]), 'or others:',
                   sorted(set(found) ^ set(self.model.rules[kind]))[:5])
        reply = self.connection().ask(request(GET, ORDER_KIND))
        order = [struct.unpack('>I', value)[0] for kind, value in reply if kind == ORDER]
        if self.model.order is not None:
            expect(order == self.model.order, 'the order is', order, 'not', self.model.order)
        for group in sorted({group for group, _ in self.model.sets}):
            nested = self.connection().ask_series(request(GET, AUTHORIZATION, text(GROUP, group)))
            found = {}
            for some in nested:
                elements = elements_of(some)
                names = [value[:-1].decode() for kind, value in elements if kind == ATTR_NAME]
                values = [value[:-1].decode() for kind, value in elements if kind == ATTR_VALUE]
                found[(group, text_of(elements, CATEGORY))] = dict(zip(names, values))
            expected = {key: values for key, values in self.model.sets.items() if key[0] == group}
            expect(found == expected, 'authorization is', found, 'not', expected)
        self.count('comparisons')

    def reload(self):
        self.variant += 1
        self.daemon.write_rules(self.variant)
        self.daemon.process.send_signal(signal.SIGHUP)
        self.disconnect()
        wanted = 'variant %d' % self.variant
        end = time.monotonic() + 60
        order = self.model.order
        while order is None or 1 in order:
            reply = self.connection().ask(request(GET, 3, text(AGENT, 'soak-variant')))
            if text_of(reply, NAME) == wanted:
                break
            expect(time.monotonic() < end, 'the rules are not reloaded\n' + self.daemon.log())
            time.sleep(0.05)
        self.count('reloads')

    def restart(self):
        abruptly = self.random.random() < 0.7
        in_flight = None
        if abruptly and self.random.random() < 0.5:
            data, code, apply = self.make_change(self.model)
            self.connection().send(data)
            time.sleep(self.random.random() * 0.002)
            in_flight = (data, code, apply)
        self.daemon.stop(signal.SIGKILL if abruptly else signal.SIGTERM)
        self.disconnect()
        self.daemon.start()
        if in_flight is not None and in_flight[1] == OK:
            # Both are right: it was kept, or it was not.
            before = self.model.copy()
            in_flight[2]()
            try:
                self.compare()
            except Fault:
                self.model = before
        self.compare()
        self.count('restarts')

    def step(self):
        choice = self.random.random()
        if choice < 0.55:
            self.identify()
        elif choice < 0.97:
            self.change()
        elif choice < 0.98:
            self.bulk()
        elif choice < 0.985:
            self.change_order()
        else:
            self.change_authorization()


class Visitor:
    """Reads, and behaves badly, in a process of its own; the daemon may go at any time."""

    def __init__(self, path, seed, user_agents):
        self.path = path
        self.random = random.Random(seed)
        self.user_agents = user_agents
        self.kept = []  # connections that stay
        self.counts = {}

    def keep(self, client):
        self.kept.append(client)
        if len(self.kept) > 40:
            self.kept.pop(self.random.randrange(len(self.kept))).close()

    def identify(self, client):
        for _ in range(self.random.randrange(1, 20)):
            client.ask(request(GET, self.random.choice((3, 12, 13)),
                               text(AGENT, self.random.choice(self.user_agents))))

    def list_rules(self, client):
        kind = self.random.choice((7, 8, 9))
        client.ask_series(request(GET, kind, number(SELECTOR, self.random.choice((0, 2)))))

    def half_a_message(self, client):
        data = request(GET, 13, text(AGENT, 'half'))
        client.send(data[:self.random.randrange(1, len(data))])
        self.keep(client)

    def garbage(self, client):
        client.send(self.random.randbytes(self.random.randrange(1, 5000)))
        self.keep(client)

    def too_long(self, client):
        client.send(b'\xf9LM\x01' + struct.pack('>I', 0x7fffffff) + b'x' * 100)
        self.keep(client)

    def byte_by_byte(self, client):
        for byte in request(GET, 5):
            client.send(bytes([byte]))
        client.receive()

    def never_read(self, client):
        client.send(request(GET, 8) * 3)
        self.keep(client)

    def watch(self, client):
        client.send(request(GET, WATCH))
        self.keep(client)

    def go_at_once(self, client):
        client.send(request(GET, self.random.choice((5, 8, 13))))

    def visit(self):
        action = self.random.choices(
            (self.identify, self.list_rules, self.half_a_message, self.garbage, self.too_long,
             self.byte_by_byte, self.never_read, self.watch, self.go_at_once),
            (60, 2, 5, 5, 2, 5, 2, 2, 10))[0]
        try:
            client = Client(self.path)
            client.socket.settimeout(20)
            action(client)
            if client not in self.kept:
                client.close()
        except (OSError, Gone):
            time.sleep(0.02)
        name = action.__name__.replace('_', ' ')
        self.counts[name] = self.counts.get(name, 0) + 1

    def run(self, stop, results):
        try:
            while not stop.is_set():
                self.visit()
                # The system's events say that a listing that nobody reads has ended.
                select.select([], [], [], 0.002)
        except Fault as fault:
            results.put(('fault', str(fault)))
        for client in self.kept:
            client.close()
        results.put(('counts', self.counts))


class Curve:
    """The daemon's memory over time."""

    def __init__(self):
        self.start = time.monotonic()
        self.samples = []  # seconds, KiB, descriptors

    def take(self, daemon):
        self.samples.append((time.monotonic() - self.start, daemon.memory(),
                             daemon.descriptors()))

    def show(self):
        step = max(1, len(self.samples) // 40)
        print('   seconds  resident KiB  descriptors')
        for seconds, memory, descriptors in self.samples[::step]:
            print('%10.0f  %12d  %11d' % (seconds, memory, descriptors))

    def check(self):
        """After a third of the time memory grows no more."""
        later = [memory for _, memory, _ in self.samples[len(self.samples) // 3:]]
        quarter = len(later) // 4
        before = statistics.median(later[:quarter])
        after = statistics.median(later[-quarter:])
        print('memory: %d KiB after the warm-up, %d KiB at the end (%+.1f %%)'
              % (before, after, 100 * (after - before) / before))
        expect(after <= before * 1.03 + 512, 'memory has grown')


def check_database(path):
    with sqlite3.connect('file:' + path + '?mode=ro', uri=True) as database:
        verdict = database.execute('PRAGMA integrity_check').fetchall()
    expect(verdict == [('ok',)], 'the database is damaged:', verdict)


def read_user_agents(path):
    strings = ['Mozilla/5.0 (iPhone; CPU iPhone OS 16_0 like Mac OS X)', 'curl/8.0', 'unheard-of']
    with open(path, encoding='utf-8') as file:
        for line in file:
            fields = line.rstrip('\n').split('\t')
            strings += [field for field in fields if 'Mozilla' in field and len(field) < 255]
    return strings


ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def soak(options, directory, daemon):
    rng = random.Random(options.seed)
    daemon.write_rules(0)
    daemon.start()
    administrator = Administrator(daemon, rng)
    stop = multiprocessing.Event()
    results = multiprocessing.Queue()
    agents = read_user_agents(ROOT + '/examples/terminals.tsv')
    visitors = [multiprocessing.Process(
        target=Visitor(daemon.path, options.seed * 1000 + i, agents).run, args=(stop, results))
        for i in range(2)]
    for visitor in visitors:
        visitor.start()
    try:
        begin = time.monotonic()
        restarts_until = begin + options.seconds / 5
        while time.monotonic() < restarts_until:
            pause = min(5.0, options.seconds / 25)
            next_restart = time.monotonic() + rng.random() * pause
            while time.monotonic() < next_restart:
                administrator.step()
            daemon.check_running()
            administrator.restart()

        curve = Curve()
        end = begin + options.seconds
        sample_pause = max(0.1, options.seconds / 400)
        reload_pause = max(1.0, min(20.0, options.seconds / 20))
        next_sample = time.monotonic()
        next_reload = next_sample + reload_pause
        while time.monotonic() < end:
            now = time.monotonic()
            if now >= next_sample:
                daemon.check_running()
                curve.take(daemon)
                next_sample = now + sample_pause
            if now >= next_reload:
                administrator.reload()
                administrator.compare()
                next_reload = time.monotonic() + reload_pause
            administrator.step()
    finally:
        stop.set()
        counts = {}
        faults = []
        for _ in visitors:
            while True:
                what, content = results.get(timeout=120)
                if what == 'counts':
                    break
                faults.append(content)
            for name, some in content.items():
                counts[name] = counts.get(name, 0) + some
        for visitor in visitors:
            visitor.join()

    print('administrator:', ', '.join('%d %s' % (some, name)
                                      for name, some in sorted(administrator.counts.items())))
    print('visitors:', ', '.join('%d %s' % (some, name) for name, some in sorted(counts.items())))
    curve.show()
    expect(not faults, 'a visitor says:', faults)
    administrator.compare()
    administrator.disconnect()
    gone_by = time.monotonic() + IDLE_TIMEOUT + 5
    while daemon.descriptors() != daemon.base_descriptors and time.monotonic() < gone_by:
        time.sleep(0.1)
    print('descriptors: %d at the start, %d at the end'
          % (daemon.base_descriptors, daemon.descriptors()))
    expect(daemon.descriptors() == daemon.base_descriptors, 'descriptors are left open')
    if options.seconds >= LONG_ENOUGH:
        curve.check()
    else:
        print('memory: not checked in so short a run')
    daemon.stop(signal.SIGTERM)
    check_database(directory + '/state/eBYOD.db')
    daemon.start()
    administrator.compare()
    administrator.disconnect()
    daemon.stop(signal.SIGTERM)
    print('rules at the end: %s; the database is whole and equals the model'
          % ', '.join('%d %s' % (len(rules), kind)
                      for kind, rules in administrator.model.rules.items()))


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--lauthd', required=True, help='the program')
    parser.add_argument('--seconds', type=float, default=1800)
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--ieee', default='/usr/share/ieee-data')
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix='soak-') as directory:
        daemon = Daemon(options.lauthd, directory, ROOT + '/rules', options.ieee)
        try:
            soak(options, directory, daemon)
        except (Fault, Gone, OSError) as fault:
            print('soak: FAILED: %r %s' % (type(fault).__name__, fault))
            with open(directory + '/log', encoding='utf-8', errors='replace') as log:
                print('the daemon said last:\n' + ''.join(log.readlines()[-10:]))
            return 1
        finally:
            if daemon.process is not None and daemon.process.poll() is None:
                daemon.process.kill()
                daemon.process.wait()
    print('soak: passed')
    return 0


if __name__ == '__main__':
    sys.exit(main())
