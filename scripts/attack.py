#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Attacks a daemon, kind after kind; scripts/attack.sh runs this.

During each kind a good client asks what a terminal is, on a connection that it keeps and on new
ones, and its longest wait must stay below the limit. Afterwards the daemon must still run, hold no
more memory or descriptors than it should, and know all that it acknowledged. With --minutes all of
this goes on at once, while a model says what every answer has to be. Faults are reported, and the
exit status is then 1.
"""

import argparse
import fcntl
import multiprocessing
import os
import pwd
import random
import re
import resource
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

import soak
from soak import (AGENT, AUTHORIZATION, BULK, CODE, GET, MORE, NAME, NESTED_REQUEST, OK, OPTIONS,
                  ORIGIN, PHASE, SELECTOR, SET, STATUS, UNDO, WATCH, Fault, Gone, expect, number,
                  number_of, request, text, text_of)

EXPLAIN, UNKNOWN, RELOAD, IDLE, CATEGORIES = 1000, 1002, 1009, 1010, 1011
REASON = 1001
BLOCK = 60000
CLIENTS = 1000
AGENT_TEXT = 'Mozilla/5.0 (Linux; Android 9; SM-G960F) AppleWebKit/537.36 Chrome/80.0 Mobile Safari/537.36'
QUESTION = request(GET, 3, text(AGENT, AGENT_TEXT))
NOBODY = pwd.getpwnam('nobody')


def block_of(data):
    return data * (BLOCK // len(data))


def become_nobody():
    """Attackers have no rights, where this can be had."""
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY.pw_gid)
        os.setuid(NOBODY.pw_uid)


class Client(soak.Client):
    """As the library does it, waits until the daemon has taken it in."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.socket.settimeout(60)
        self.used = time.monotonic()


class Daemon(soak.Daemon):
    """With room for a thousand attackers of one user."""

    def __init__(self, program, directory, ieee):
        super().__init__(program, directory, soak.ROOT + '/rules', ieee)
        self.options = ['--max-connections', '3000', '--user-share', '100', '--socket-group',
                        'nogroup' if os.geteuid() == 0 else '']
        self.environment = dict(os.environ)
        os.chmod(directory, 0o755)

    def command(self, *more):
        options = ['--config', '/dev/null', '--socket', self.path, '--rules', self.rules,
                   '--state-dir', self.directory + '/state', '--idle-timeout',
                   str(soak.IDLE_TIMEOUT)]
        if os.path.isdir(self.ieee):
            options += ['--ieee', self.ieee]
        given = [option for option in self.options if option]
        if not self.options[-1]:
            given = given[:-1]
        return [self.program] + options + given + list(more)

    def start(self):
        with open(self.directory + '/log', 'ab') as log:
            self.process = subprocess.Popen(self.command(), stderr=log, env=self.environment)
        end = time.monotonic() + 120
        while time.monotonic() < end:
            expect(self.process.poll() is None, 'the daemon does not start\n' + self.log())
            try:
                client = Client(self.path)
                client.ask(request(GET, STATUS))
                client.close()
                break
            except (OSError, Gone):
                time.sleep(0.02)
        if self.base_descriptors == 0:
            time.sleep(0.1)
            self.base_descriptors = self.descriptors()


# ---------------------------------------------------------------- the good client

class GoodClient:
    """Asks all the time, in a process of its own."""

    def __init__(self, path, daemon_stays=True):
        self.path = path
        self.daemon_stays = daemon_stays  # else it is also stopped, and its configuration changed
        self.stop = multiprocessing.Event()
        self.results = multiprocessing.Queue()
        self.process = multiprocessing.Process(target=self.run)

    def __enter__(self):
        self.process.start()
        return self

    def __exit__(self, *_):
        self.stop.set()
        self.waits, self.faults = self.results.get(timeout=120)
        self.process.join()

    def run(self):
        waits, faults, kept = [], [], None
        while not self.stop.is_set():
            start = time.monotonic()
            try:
                fresh = len(waits) % 4 == 3
                if fresh or kept is None:
                    client = Client(self.path)
                client = client if fresh or kept is None else kept
                reply = client.ask(QUESTION)
                if self.daemon_stays and number_of(reply, CODE) != OK:
                    faults.append('identified with %#x' % number_of(reply, CODE))
                if fresh:
                    client.close()
                else:
                    kept = client
            except (OSError, Gone) as fault:
                kept = None
                if not self.daemon_stays:
                    time.sleep(0.02)
                    continue
                faults.append('no answer: %r' % fault)
            waits.append(time.monotonic() - start)
            time.sleep(0.002)
        self.results.put((waits, faults[:5]))


# ---------------------------------------------------------------- floods

class Flood:
    """Clients that send the same block again as soon as they have its answers, or never read."""

    def __init__(self, path, data, clients=CLIENTS, reads=True, again=True):
        self.path = path
        self.data = data
        self.clients = clients
        self.reads = reads
        self.again = again
        self.inputs = 0

    def connect(self):
        client = socket.socket(socket.AF_UNIX)
        client.setblocking(False)
        for _ in range(1000):
            try:
                client.connect(self.path)
                return client
            except BlockingIOError:
                time.sleep(0.001)
        raise Fault('nobody is accepted')

    def send(self, state):
        try:
            state['left'] = state['left'][state['socket'].send(state['left']):]
        except BlockingIOError:
            pass
        except OSError:
            return False
        return True

    def run(self, seconds):
        """@return how many requests were sent"""
        poll = select.epoll()
        states = {}
        try:
            for _ in range(self.clients):
                client = self.connect()
                states[client.fileno()] = {'socket': client, 'left': memoryview(self.data)}
                self.send(states[client.fileno()])
                self.inputs += 1
                poll.register(client.fileno(), (select.EPOLLIN if self.reads else 0))
            end = time.monotonic() + seconds
            while time.monotonic() < end:
                for descriptor, _ in poll.poll(0.05, 64):
                    self.turn(poll, states, descriptor)
                # One that does not keep up with its own replies has enough to do.
                time.sleep(0.002)
        finally:
            for state in states.values():
                state['socket'].close()
        return self.inputs

    def turn(self, poll, states, descriptor):
        state = states[descriptor]
        try:
            got = state['socket'].recv(1 << 20)
        except BlockingIOError:
            return
        except OSError:
            got = b''
        if not got:
            poll.unregister(descriptor)
            return
        if not state['left'] and self.again:
            state['left'] = memoryview(self.data)
            self.inputs += 1
        if state['left'] and not self.send(state):
            poll.unregister(descriptor)


def in_background(function, *arguments):
    """Runs it as nobody in a process. @return (process, queue)"""
    results = multiprocessing.Queue()

    def run():
        try:
            become_nobody()
            results.put(function(*arguments))
        except (Fault, OSError) as fault:
            results.put(fault)
    process = multiprocessing.Process(target=run)
    process.start()
    return process, results


def result_of(background):
    process, results = background
    result = results.get(timeout=600)
    process.join()
    if isinstance(result, Exception):
        raise Fault('an attacker failed: %r' % result)
    return result


def flood(data, **options):
    def attack(world):
        attacker = Flood(world.daemon.path, data, **options)
        return result_of(in_background(attacker.run, world.seconds))
    return attack


def connect_flood(path, seconds):
    inputs = 0
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        with socket.socket(socket.AF_UNIX) as client:
            client.connect(path)
            if inputs % 3 == 0:
                client.send(QUESTION)
        inputs += 1
    return inputs


def nonsense(path, seconds, seed):
    """Random bytes, mutated requests and lengths that lie."""
    rng = random.Random(seed)
    requests = [request(GET, kind, text(AGENT, AGENT_TEXT), number(SELECTOR, 1))
                for kind in list(range(0, 20)) + list(range(1000, 1030))]
    inputs = 0
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        with socket.socket(socket.AF_UNIX) as client:
            client.connect(path)
            client.setblocking(False)
            try:
                for _ in range(rng.randrange(1, 50)):
                    data = bytearray(rng.choice(requests))
                    for _ in range(rng.randrange(4)):
                        data[rng.randrange(8, len(data))] = rng.randrange(256)
                    if rng.random() < 0.02:
                        data = rng.randbytes(rng.randrange(1, 3000))
                    client.send(data)
                    inputs += 1
                client.recv(1 << 16)
            except OSError:
                pass
    return inputs


def unknown_fingerprints(world):
    """Fills the list of unknown fingerprints with the longest; then a thousand ask for it and do not
    read. Their memory must be bounded, and be given back."""
    client = Client(world.daemon.path)
    for i in range(300):
        client.ask(request(GET, 3, soak.element(OPTIONS, bytes([i % 200 + 1]) * 255),
                           text(AGENT, ('%05d ' % i) + 'x' * 240)))
    client.close()
    time.sleep(0.2)
    before = world.daemon.memory()
    background = in_background(Flood(world.daemon.path, request(GET, UNKNOWN), reads=False).run,
                               world.seconds)
    time.sleep(world.seconds * 0.8)
    during = world.daemon.memory()
    inputs = result_of(background)
    after = world.wait_for_memory(before)
    world.note('%d clients hold %d KiB, %d KiB are kept' % (CLIENTS, during - before, after - before))
    expect(during - before < CLIENTS * 48, 'each client holds', (during - before) // CLIENTS, 'KiB')
    expect(after - before < 8192, 'memory is not given back:', after - before, 'KiB')
    return inputs


# ---------------------------------------------------------------- hogs

def take_places(path, count, seconds):
    """Opens connections that stay busy, and watches."""
    kept = []
    for i in range(count):
        client = socket.socket(socket.AF_UNIX)
        client.setblocking(False)
        try:
            client.connect(path)
            client.send(QUESTION + QUESTION[:20] if i % 4 else request(GET, WATCH))
        except BlockingIOError:
            time.sleep(0.001)
        except OSError:
            pass
        kept.append(client)
    time.sleep(seconds)
    return len(kept)


def all_places(world):
    """One user takes all places that it can get: root still gets in."""
    if os.geteuid() != 0:
        return None
    with world.restarted(['--max-connections', '200', '--user-share', '100']):
        background = in_background(take_places, world.daemon.path, 1500, world.seconds)
        with GoodClient(world.daemon.path) as good:
            inputs = result_of(background)
        world.take_waits(good)
    return inputs


def share_of_places(world):
    """The same with the usual share, beside a good client of a third user."""
    if os.geteuid() != 0:
        return None
    with world.restarted(['--max-connections', '200']):
        background = in_background(take_places, world.daemon.path, 1500, world.seconds)
        time.sleep(0.5)
        watch = Client(world.daemon.path)
        reply = watch.ask(request(GET, WATCH))
        expect(number_of(reply, CODE) == MORE, 'root may not watch:', text_of(reply, REASON))
        watch.close()
        inputs = result_of(background)
        lines = open(world.daemon.directory + '/log', encoding='utf-8').read().count('too many')
        expect(lines < 20, 'the log has', lines, 'lines about it')
    return inputs


def slow_messages(path, seconds):
    """Requests byte by byte, of many clients."""
    clients = []
    for _ in range(200):
        client = socket.socket(socket.AF_UNIX)
        client.connect(path)
        clients.append(client)
    inputs = 0
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        for client in clients:
            try:
                client.send(QUESTION[inputs // len(clients) % len(QUESTION):][:1])
            except OSError:
                pass
            inputs += 1
        time.sleep(0.01)
    for client in clients:
        client.close()
    return inputs


def open_bulk(world):
    """A bulk that is kept open on purpose: another change is refused in time, and made after it."""
    with world.restarted(['--bulk-timeout', '8']):
        hog, other = Client(world.daemon.path), Client(world.daemon.path)
        expect(number_of(hog.ask(request(SET, BULK, number(PHASE, 0))), CODE) == OK, 'no bulk')
        inputs, refused, start = 0, 0, time.monotonic()
        while True:
            other.send(request(SET, 15, text(AGENT, 'attack-behind-a-bulk')))
            answered = False
            while not answered:
                hog.ask(request(SET, BULK, number(PHASE, 1)))
                inputs += 1
                answered = bool(select.select([other.socket], [], [], 0.5)[0])
            reply = other.receive()
            if number_of(reply, CODE) == OK:
                break
            expect(text_of(reply, REASON).startswith('busy: a change by uid'), text_of(reply, REASON))
            refused += 1
            expect(time.monotonic() - start < 30, 'a bulk never ends')
        took = time.monotonic() - start
        world.note('refused %d times, made after %.1f s' % (refused, took))
        expect(took < 12, 'a bulk is kept open for', took)
        expect(number_of(hog.ask(request(SET, BULK, number(PHASE, 2))), CODE) != OK, 'committed')
        expect(number_of(other.ask(request(UNDO, 15, text(AGENT, 'attack-behind-a-bulk'))), CODE) == OK,
               'the change is not there')
        hog.close()
        other.close()
    return inputs


def gone_clients(world):
    """Changes of clients that go while the daemon is held up."""
    inputs = 0
    end = time.monotonic() + world.seconds
    while time.monotonic() < end:
        world.daemon.process.send_signal(signal.SIGSTOP)
        for i in range(20):
            client = Client(world.daemon.path)
            client.send(request(SET, 15, text(AGENT, 'attack-gone-%d' % i)))
            client.close()
            inputs += 1
        world.daemon.process.send_signal(signal.SIGCONT)
        time.sleep(0.05)
    client = Client(world.daemon.path)
    for i in range(20):
        reply = client.ask(request(GET, 1, text(AGENT, 'attack-gone-%d' % i)))
        expect(number_of(reply, CODE) != OK, 'a change was made whose client had gone')
    client.close()
    return inputs


# ---------------------------------------------------------------- locks and files

def hold_locks(directory, seconds):
    """Locks all that another user can open."""
    held, inputs = [], 0
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        for name in (directory, directory + '/run', directory + '/state', directory + '/run/socket.lock',
                     directory + '/state/lauthd.lock', directory + '/rules'):
            try:
                file = os.open(name, os.O_RDONLY)
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
                held.append(file)
            except OSError:
                pass
            inputs += 1
        time.sleep(0.05)
        for file in held[:-6]:
            os.close(file)
        held = held[-6:]
    return inputs


def locks(world):
    """Another user holds every lock that it can get: the daemon starts all the same; a second one
    does not."""
    background = in_background(hold_locks, world.daemon.directory, world.seconds)
    end = time.monotonic() + world.seconds * 0.8
    starts = 0
    while time.monotonic() < end:
        world.daemon.stop(signal.SIGTERM if starts % 2 else signal.SIGKILL)
        begin = time.monotonic()
        world.daemon.start()
        expect(time.monotonic() - begin < 20, 'the start took', time.monotonic() - begin)
        second = subprocess.run(world.daemon.command(), capture_output=True, timeout=20, check=False)
        expect(second.returncode == 1 and b'another daemon, process' in second.stderr,
               'a second daemon starts', second)
        starts += 1
    return result_of(background) + starts


def special_files(world):
    """FIFOs, devices, directories and sockets as rule files, backups and captures: each is refused
    within its time."""
    scratch = world.daemon.directory + '/special'
    shutil.rmtree(scratch, ignore_errors=True)
    os.mkdir(scratch)
    os.mkfifo(scratch + '/fifo')
    os.mkdir(scratch + '/directory')
    server = socket.socket(socket.AF_UNIX)
    server.bind(scratch + '/socket')
    places = [scratch + '/fifo', scratch + '/directory', scratch + '/socket', '/dev/zero', '/dev/tty',
              '/dev/full', scratch + '/missing']
    inputs = 0

    def refused(command, allowed=(0,)):
        nonlocal inputs
        inputs += 1
        try:
            ended = subprocess.run(command, capture_output=True, timeout=10, check=False,
                                   stdin=subprocess.DEVNULL)
        except subprocess.TimeoutExpired as hung:
            raise Fault('hangs: ' + ' '.join(command)) from hung
        expect(ended.returncode > 0 and ended.returncode not in allowed, 'not refused:',
               ' '.join(command), ended)

    for place in places:
        for name in ('user-agent.csv', 'mac.csv', 'dhcp-option.csv'):
            rules = tempfile.mkdtemp(dir=scratch)
            os.symlink(place, rules + '/' + name)
            refused([world.daemon.program, '--config', '/dev/null', '--rules', rules, '--check'])
            refused([world.byodctl, 'check', rules + '/' + name])
            shutil.rmtree(rules)
        refused(world.byodctl_command('restore', place))
        refused([world.byodctl, 'identify', '--pcap', place])
        if place != scratch + '/fifo':  # which import waits for, as for any pipe
            refused(world.byodctl_command('import', place))
        if not place.startswith(('/dev', scratch + '/missing')):  # which a backup may be written to
            refused(world.byodctl_command('backup', place))
    server.close()
    rules = world.daemon.rules + '/user-agent.csv'
    os.rename(rules, rules + '.kept')
    try:
        for place in places[:-1]:
            os.symlink(place, rules)
            refused(world.byodctl_command('reload'))
            os.unlink(rules)
    finally:
        os.rename(rules + '.kept', rules)
    return inputs


# ---------------------------------------------------------------- kills, memory, power

class Changes:
    """Changes of rules, and what each may have led to."""

    def __init__(self, world):
        self.world = world
        self.random = random.Random(world.seed)
        self.possible = {}  # key: names, None for no rule
        self.client = None
        self.acknowledged = 0

    def change(self):
        """One change, or a bulk of some. @return whether it was answered"""
        try:
            if self.client is None:
                self.client = Client(self.world.daemon.path)
            self.bulk() if self.random.random() < 0.1 else self.single()
            return True
        except (OSError, Gone):
            if self.client is not None:
                self.client.close()
            self.client = None
            return False

    def draw(self):
        key = 'attack-%d' % self.random.randrange(300)
        if self.random.random() < 0.3:
            return key, None, request(UNDO, 15, text(AGENT, key))
        name = 'name %d' % self.random.randrange(1000)
        return key, name, request(SET, 1, number(ORIGIN, 1), text(AGENT, key), text(NAME, name))

    def states(self, key):
        return self.possible.setdefault(key, {None})

    def single(self):
        key, name, data = self.draw()
        before = self.states(key)
        self.possible[key] = before | {name}  # until it is answered
        code = number_of(self.client.ask(data), CODE)
        self.possible[key] = {name} if code == OK else before
        self.acknowledged += 1

    def bulk(self):
        changes = [self.draw() for _ in range(self.random.randrange(1, 30))]
        reply = self.client.ask(request(SET, BULK, number(PHASE, 0)))
        if number_of(reply, CODE) != OK:
            return
        reply = self.client.ask(request(SET, BULK, number(PHASE, 1),
                                        *(soak.element(NESTED_REQUEST, data)
                                          for _, _, data in changes)))
        codes = [struct.unpack('>I', value)[0] for kind, value in reply if kind == soak.RESULT]
        if number_of(reply, CODE) != OK or len(codes) != len(changes):
            self.client.ask(request(SET, BULK, number(PHASE, 3)))
            return
        after = {}
        for (key, name, _), code in zip(changes, codes):
            if code == OK:
                after[key] = name
        commit = self.random.random() < 0.7
        before = {key: self.states(key) for key in after}
        if commit:
            for key, name in after.items():
                self.possible[key] = before[key] | {name}
        code = number_of(self.client.ask(request(SET, BULK, number(PHASE, 2 if commit else 3))), CODE)
        if commit:
            for key, name in after.items():
                self.possible[key] = {name} if code == OK else before[key]
        self.acknowledged += len(after)

    def compare(self):
        client = Client(self.world.daemon.path)
        found = {}
        for rule in client.ask_series(request(GET, 8, number(SELECTOR, 2), number(soak.INFO, 2))):
            elements = soak.elements_of(rule)
            found[text_of(elements, AGENT)] = text_of(elements, NAME)
        client.close()
        for key, names in self.possible.items():
            expect(found.get(key) in names, key, 'is', found.get(key), 'and not', names)
            self.possible[key] = {found.get(key)}
        expect(all(key in self.possible for key in found if key.startswith('attack-')),
               'there are rules that nobody made')


def kills(world):
    """SIGKILL in the middle of changes: nothing that was acknowledged is lost."""
    changes = Changes(world)
    count = 0
    end = time.monotonic() + world.seconds * 2
    while time.monotonic() < end:
        killer_at = time.monotonic() + changes.random.random() * 0.1
        while time.monotonic() < killer_at:
            changes.change()
        pid = os.fork()
        if pid == 0:
            time.sleep(changes.random.random() * 0.01)
            os.kill(world.daemon.process.pid, signal.SIGKILL)
            os._exit(0)
        while changes.change():
            pass
        os.waitpid(pid, 0)
        world.daemon.process.wait(60)
        changes.client = None
        world.daemon.start()
        changes.compare()
        count += 1
    world.note('%d kills, %d acknowledged changes' % (count, changes.acknowledged))
    return count + changes.acknowledged


def failing_memory(world):
    """Allocations fail while everything is asked and changed: each answer is a refusal, or the
    connection ends, and the daemon lives and agrees with what it answered."""
    library = world.daemon.directory + '/failing_memory.so'
    subprocess.run(['gcc', '-shared', '-fPIC', '-O1', '-o', library,
                    soak.ROOT + '/tests/support/failing_memory.c'], check=True)
    period = world.daemon.directory + '/period'

    def set_period(value):
        with open(period, 'r+b') as file:
            file.write(struct.pack('=I', value))
    with open(period, 'wb') as file:
        file.write(bytes(4))
    questions = [request(GET, kind, text(AGENT, AGENT_TEXT), number(SELECTOR, 2))
                 for kind in (0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 1000, STATUS, UNKNOWN,
                              WATCH, AUTHORIZATION, 1005, 1010, 1011)]
    questions += [request(SET, RELOAD)]
    with world.restarted([], {'LD_PRELOAD': library, 'FAILING_MEMORY': period}):
        changes = Changes(world)
        inputs = 0
        end = time.monotonic() + world.seconds * 2
        while time.monotonic() < end:
            set_period(changes.random.choice((10, 30, 100, 300, 1000)))
            for _ in range(200):
                changes.change()
                inputs += 1
                if changes.random.random() < 0.5:
                    inputs += 1
                    try:
                        client = Client(world.daemon.path)
                        client.socket.settimeout(5)
                        client.send(changes.random.choice(questions))
                        client.socket.recv(1 << 20)
                        client.close()
                    except (OSError, Gone):
                        pass
            set_period(0)
            world.daemon.check_running()
            changes.compare()
        world.daemon.stop(signal.SIGKILL)
        world.daemon.start()
        changes.compare()
    return inputs


def power_cuts(world):
    """The database over a file system of which any part may be missing after a power cut."""
    program = world.build + '/tests/platform/dbm_crash_test'
    ended = subprocess.run([program], capture_output=True, text=True, check=False, timeout=3600)
    expect(ended.returncode == 0, ended.stdout[-2000:])
    images = re.findall(r'(\d+) images', ended.stdout)
    return sum(int(count) for count in images) or len(re.findall(r'\[       OK \]', ended.stdout))


# ---------------------------------------------------------------- all of them

# Name, attack, the good client's longest wait in ms: None where it is measured within, or where the
# daemon is stopped and started.
ATTACKS = [
    ('nothing', lambda world: time.sleep(world.seconds) or 0, 50),
    ('explanations', flood(block_of(request(GET, EXPLAIN, text(AGENT, AGENT_TEXT)))), 50),
    ('explanations, never read', flood(block_of(request(GET, EXPLAIN, text(AGENT, AGENT_TEXT))),
                                       reads=False), 50),
    ('statuses', flood(block_of(request(GET, STATUS))), 50),
    ('next configured rules', flood(block_of(request(GET, 2, number(SELECTOR, 2)))), 50),
    ('categories', flood(block_of(request(GET, CATEGORIES))), 50),
    ('listings', flood(request(GET, 8), clients=200), 50),
    ('listings, never read', flood(request(GET, 8), reads=False), 50),
    ('unknown fingerprints, never read', unknown_fingerprints, 50),
    ('connections', lambda world: result_of(in_background(connect_flood, world.daemon.path,
                                                          world.seconds)), 50),
    ('nonsense', lambda world: result_of(in_background(nonsense, world.daemon.path, world.seconds,
                                                       world.seed)), 50),
    ('byte by byte', lambda world: result_of(in_background(slow_messages, world.daemon.path,
                                                           world.seconds)), 50),
    ('all places', all_places, None),
    ('a share of the places', share_of_places, None),
    ('an open bulk', open_bulk, None),
    ('clients that have gone', gone_clients, None),
    ('locks', locks, None),
    ('special files', special_files, None),
    ('kills', kills, None),
    ('failing memory', failing_memory, None),
    ('power cuts', power_cuts, None),
]


class World:
    """What an attack needs, and what came of it."""

    def __init__(self, options, daemon):
        self.daemon = daemon
        self.build = options.build
        self.byodctl = options.build + '/byodctl/byodctl'
        self.seconds = options.seconds
        self.seed = options.seed
        self.waits = []
        self.notes = []

    def byodctl_command(self, *words):
        return [self.byodctl, '--socket', self.daemon.path, *words]

    def note(self, words):
        self.notes.append(words)

    def take_waits(self, good):
        self.waits += good.waits
        expect(not good.faults, 'the good client:', good.faults)

    def wait_for_memory(self, wanted):
        """@return its memory when it has come near to what is wanted, or after a while"""
        end = time.monotonic() + 10
        while self.daemon.memory() > wanted + 4096 and time.monotonic() < end:
            time.sleep(0.1)
        return self.daemon.memory()

    def restarted(self, options, environment=None):
        """A scope in which the daemon runs with other options."""
        world = self

        class Scope:
            def __enter__(self):
                self.before = world.daemon.options
                world.daemon.options = options + self.before[-2:]
                world.daemon.environment.update(environment or {})
                world.daemon.stop(signal.SIGTERM)
                world.daemon.start()

            def __exit__(self, *_):
                world.daemon.options = self.before
                for name in environment or {}:
                    del world.daemon.environment[name]
                if world.daemon.process.poll() is None:
                    world.daemon.stop(signal.SIGTERM)
                world.daemon.start()
        return Scope()


def attack_one(world, name, attack, limit):
    """@return a row of the table"""
    world.waits, world.notes = [], []
    fault, inputs = None, 0
    start = time.monotonic()
    try:
        if limit is None:
            inputs = attack(world)
        else:
            with GoodClient(world.daemon.path) as good:
                inputs = attack(world)
            world.take_waits(good)
        world.daemon.check_running()
        if limit is not None and max(world.waits) * 1000 > limit:
            fault = 'longer than %d ms' % limit
    except (Fault, Gone, OSError, subprocess.SubprocessError) as error:
        fault = str(error)
        if world.daemon.process.poll() is not None:
            world.daemon.start()
    worst = '%.1f' % (max(world.waits) * 1000) if world.waits else '-'
    verdict = 'not run: needs root' if inputs is None else 'FAILED: ' + fault if fault else 'held'
    print('%-34s %10s %10s %9d %7.1f  %s' % (name, inputs, worst, len(world.waits),
                                             time.monotonic() - start,
                                             '; '.join([verdict] + world.notes)), flush=True)
    return fault is None


class Attacker(soak.Visitor):
    """A visitor of the long run that attacks besides."""

    def flood(self, client):
        client.socket.setblocking(False)
        try:
            client.socket.send(block_of(self.random.choice((
                request(GET, EXPLAIN, text(AGENT, AGENT_TEXT)), request(GET, STATUS),
                request(GET, 2, number(SELECTOR, 2)), request(GET, CATEGORIES),
                request(GET, UNKNOWN), request(GET, IDLE)))))
        except OSError:
            pass
        self.keep(client)

    def keep(self, client):
        self.kept.append(client)
        if len(self.kept) > 400:
            self.kept.pop(self.random.randrange(len(self.kept))).close()

    def visit(self):
        if self.random.random() < 0.5:
            return super().visit()
        try:
            self.flood(Client(self.path))
        except OSError:
            time.sleep(0.02)
        self.counts['flood'] = self.counts.get('flood', 0) + 1
        return None

    def run(self, stop, results):
        become_nobody()
        super().run(stop, results)


def attack_with_everything(options, directory, daemon):
    """The long run, with attackers for visitors and a good client beside them."""
    soak.Visitor = Attacker
    with GoodClient(daemon.path, daemon_stays=False) as good:
        soak.soak(argparse.Namespace(seconds=options.minutes * 60, seed=options.seed), directory,
                  daemon)
    waits = sorted(good.waits)
    print('good client: %d answers, the median in %.1f ms, 99.9 %% within %.1f ms, the longest %.1f ms'
          % (len(waits), waits[len(waits) // 2] * 1000, waits[len(waits) * 999 // 1000] * 1000,
             waits[-1] * 1000))
    expect(not good.faults, 'the good client:', good.faults)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--build', required=True, help='folder of a build')
    parser.add_argument('--only', action='append', help='attacks whose name begins so')
    parser.add_argument('--seconds', type=float, default=5, help='for each attack')
    parser.add_argument('--minutes', type=float, help='everything at once for so long')
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--ieee', default='/usr/share/ieee-data')
    options = parser.parse_args()
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, 8192), hard))
    held = True
    with tempfile.TemporaryDirectory(prefix='attack-') as directory:
        daemon = Daemon(options.build + '/lauthd/lauthd', directory, options.ieee)
        try:
            if options.minutes is not None:
                attack_with_everything(options, directory, daemon)
            else:
                daemon.start()
                world = World(options, daemon)
                print('%-34s %10s %10s %9s %7s  %s' % ('attack', 'inputs', 'worst ms', 'answers',
                                                       'seconds', 'outcome'))
                for name, attack, limit in ATTACKS:
                    if not options.only or any(name.startswith(one) for one in options.only):
                        held = attack_one(world, name, attack, limit) and held
        except (Fault, Gone, OSError) as fault:
            print('attack: FAILED: %s' % fault)
            print(daemon.log())
            held = False
        finally:
            if daemon.process is not None and daemon.process.poll() is None:
                daemon.process.kill()
                daemon.process.wait()
    print('attack: ' + ('held' if held else 'FAILED'))
    return 0 if held else 1


if __name__ == '__main__':
    sys.exit(main())
