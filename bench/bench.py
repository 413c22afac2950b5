#!/usr/bin/env python3
"""Times zolt against GNU ar and llvm-ar on the same files, and against the
floors no archiver can beat (cat, copy+fsync, starting a process, cp).

Workloads:
  libc       the members of this machine's libc.a
  gen-N      N generated small objects with long (20+ character) names
  large      a few hundred objects of several MB each
  llvm       the 200 largest members of LLVM's static libraries (found
             through llvm-config): real C++ objects, with their many
             sections and long mangled names; skipped where LLVM's static
             libraries are absent
  data       files of 1-8 MB of random bytes, not objects

The archives go to a scratch directory on disk, so that syncing them costs
what it costs. The members and the extraction directories go to /dev/shm:
read from there they are as fast as freshly compiled files in the page
cache, and deleting the hundreds of thousands of files that the runs make
costs nothing there, which on disk can take longer than the runs themselves.

Each operation runs the tools round-robin (the starting tool rotates every
round) after a warm-up round, which runs them under /usr/bin/time for their
peak memory. The table shows median wall times, zolt's peak memory and the
median over the rounds of zolt's time divided by the other's time in the
same round.
"""

import argparse
import concurrent.futures
import csv
import datetime
import os
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass, field

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
PEERS = ('gnu', 'llvm')
TIME = '/usr/bin/time'

# Targets: zolt's time over the peer's, zolt's time over the floor's, and
# zolt's peak memory in MiB.
PEER_TARGET = {'gnu': 0.5, 'llvm': 0.8}
FLOOR_TARGET = {'create': {'libc': 1.5, 'gen': 1.5, 'large': 1.25, 'data': 1.25,
                            'llvm': 1.5},
                'replace': 2.0, 'delete': 2.0, 'list': 2.0, 'extract': 1.25}
MEM_TARGET = {'libc': 16, 'large': 16, 'data': 16, 'llvm': 16, 'gen': 64}
SCALE_TARGET = 1.25

# Assembled once; copies differ only in the digits, so every object has its
# own global symbols without running the assembler a hundred thousand times.
SMALL_TEMPLATE = """\
\t.text
\t.globl\tzb_fn_XXXXXXXX
\t.type\tzb_fn_XXXXXXXX, @function
zb_fn_XXXXXXXX:
\tmovl\t$1, %eax
\tret
\t.data
\t.globl\tzb_var_XXXXXXXX
zb_var_XXXXXXXX:
\t.long\t0x12345678
\t.ascii\t"XXXXXXXX"
"""

LARGE_TEMPLATE = """\
\t.text
\t.globl\tlarge_fn_{i:04d}
large_fn_{i:04d}:
\tret
\t.data
\t.globl\tlarge_start_{i:04d}
large_start_{i:04d}:
\t.skip\t{size}, {fill}
\t.globl\tlarge_end_{i:04d}
large_end_{i:04d}:
\t.long\t{i}
"""


@dataclass
class Workload:
    name: str           # libc, gen-1000, large, data
    kind: str           # libc, gen, large, data
    indir: str          # holds the members and nothing else
    work: str           # archives, command files, extraction directories
    names: list
    nbytes: int = 0
    archive_bytes: int = 0
    pristine: dict = field(default_factory=dict)   # tool -> archive


@dataclass
class Step:
    argv: list
    cwd: str
    out: str = None      # stdout goes here (the cat floor), else nowhere
    before: object = None
    after: object = None


@dataclass
class Result:
    workload: Workload
    op: str
    floor: str
    times: dict         # tool -> [seconds], one per timed round it ran in
    rounds: list        # [{tool: seconds}]
    rss: dict           # tool -> peak KiB
    status: dict        # tool -> 'ok', 'once', 'timeout' or 'exit N'

    def ok(self, tool):
        return bool(self.times.get(tool))

    def median(self, tool):
        t = self.times.get(tool)
        return statistics.median(t) if t else None

    def ratio(self, other, timeout):
        """zolt/other as (value, bound): bound is '<' when the other timed
        out and the value is only an upper bound."""
        if not self.ok('zolt') or other not in self.status:
            return None, ''
        if self.status[other] == 'timeout':
            return self.median('zolt') / timeout, '<'
        pairs = [r['zolt'] / r[other] for r in self.rounds
                 if 'zolt' in r and other in r and r[other] > 0]
        if pairs:
            return statistics.median(pairs), ''
        if self.ok(other):   # one of them ran only once
            return self.median('zolt') / self.median(other), ''
        return None, ''


def log(msg):
    print(msg, file=sys.stderr, flush=True)


def sh(argv, cwd=None):
    subprocess.run(argv, cwd=cwd, check=True, stdout=subprocess.DEVNULL)


def write_file(path, data):
    with open(path, 'wb') as f:
        f.write(data)


def run(argv, cwd, out, timeout, errpath, mempath=None):
    """Runs one command; returns (seconds, status), status being the exit
    status or 'timeout'. With mempath, the command runs under /usr/bin/time,
    which writes its peak memory in KiB there: the rusage python gets from
    its own children counts the interpreter's pages the child had before
    exec."""
    if mempath:
        argv = [TIME, '-f', '%M', '-o', mempath] + argv
    stdout = open(out, 'wb') if out else subprocess.DEVNULL
    with open(errpath, 'wb') as err:
        t0 = time.perf_counter()
        p = subprocess.Popen(argv, cwd=cwd, stdout=stdout, stderr=err,
                             start_new_session=True)
        timer = threading.Timer(timeout, kill_group, (p.pid,))
        timer.start()
        try:
            p.wait()
        except BaseException:   # interrupted: the child has its own session
            kill_group(p.pid)
            raise
        secs = time.perf_counter() - t0
        timer.cancel()
    if out:
        stdout.close()
    if secs >= timeout:
        kill_group(p.pid)   # whatever outlived the command
        return secs, 'timeout'
    return secs, p.returncode


def kill_group(pid):
    try:
        os.killpg(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def peak_kib(mempath):
    """The last line /usr/bin/time wrote (it may note a signal before it)."""
    try:
        with open(mempath) as f:
            return int(f.read().split()[-1])
    except (OSError, ValueError, IndexError):
        return 0


# ---------------------------------------------------------------- workloads

def new_workload(scratch, files, name, kind):
    indir = os.path.join(files, name)
    work = os.path.join(scratch, name)
    os.makedirs(indir)
    os.makedirs(work)
    return Workload(name, kind, indir, work, [])


def finish(wl, names):
    wl.names = names
    wl.nbytes = sum(os.path.getsize(os.path.join(wl.indir, n)) for n in names)
    return wl


def make_libc(scratch, files, gnu_ar):
    wl = new_workload(scratch, files, 'libc', 'libc')
    lib = subprocess.run(['gcc', '-print-file-name=libc.a'], check=True,
                         capture_output=True, text=True).stdout.strip()
    sh([gnu_ar, 'x', lib], cwd=wl.indir)
    listed = subprocess.run([gnu_ar, 't', lib], check=True, capture_output=True,
                            text=True).stdout.split()
    # zolt pairs names without regard to case, and one directory holds one
    # file per name: keep the first of any names that collide.
    seen, names = set(), []
    for n in listed:
        if n.lower() not in seen:
            seen.add(n.lower())
            names.append(n)
    for n in set(os.listdir(wl.indir)) - set(names):
        os.remove(os.path.join(wl.indir, n))
    if len(names) != len(listed):
        log(f'libc: {lib} has {len(listed)} members, {len(names)} unique names kept')
    return finish(wl, names)


def make_generated(scratch, files, n):
    wl = new_workload(scratch, files, f'gen-{n}', 'gen')
    src = os.path.join(wl.work, 'template.s')
    obj = os.path.join(wl.work, 'template.o')
    write_file(src, SMALL_TEMPLATE.encode())
    sh(['as', src, '-o', obj])
    with open(obj, 'rb') as f:
        template = f.read()
    names = [f'member_object_{i:06d}.o' for i in range(n)]
    for i, name in enumerate(names):
        write_file(os.path.join(wl.indir, name),
                   template.replace(b'XXXXXXXX', b'%08d' % i))
    return finish(wl, names)


def make_large(scratch, files, count, mib):
    wl = new_workload(scratch, files, 'large', 'large')
    names = [f'large_object_file_{i:04d}.o' for i in range(count)]

    def assemble(i):
        src = os.path.join(wl.work, f'large_{i:04d}.s')
        write_file(src, LARGE_TEMPLATE.format(i=i, size=mib << 20,
                                              fill=i % 251 + 1).encode())
        sh(['as', src, '-o', os.path.join(wl.indir, names[i])])
        os.remove(src)

    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        list(pool.map(assemble, range(count)))
    return finish(wl, names)


def make_llvm(scratch, files, gnu_ar, count):
    """The `count` largest members of LLVM's static libraries, each name
    once (without regard to case); None when there are none."""
    try:
        libdir = subprocess.run(['llvm-config', '--libdir'], check=True,
                                capture_output=True, text=True).stdout.strip()
        libs = sorted(os.path.join(libdir, n) for n in os.listdir(libdir)
                      if n.startswith('libLLVM') and n.endswith('.a'))
    except (OSError, subprocess.CalledProcessError):
        libs = []
    found = []   # (size, name, library)
    for lib in libs:
        listing = subprocess.run([gnu_ar, 'tv', lib], check=True,
                                 capture_output=True, text=True).stdout
        names = [line.split() for line in listing.splitlines()]
        counts = {}
        for f in names:
            counts[f[-1]] = counts.get(f[-1], 0) + 1
        found += [(int(f[2]), f[-1], lib) for f in names if counts[f[-1]] == 1]
    chosen, seen = [], set()
    for size, name, lib in sorted(found, reverse=True):
        if name.lower() not in seen and len(chosen) < count:
            seen.add(name.lower())
            chosen.append((name, lib))
    if not chosen:
        return None
    wl = new_workload(scratch, files, 'llvm', 'llvm')
    by_lib = {}
    for name, lib in chosen:
        by_lib.setdefault(lib, []).append(name)
    for lib, names in by_lib.items():
        sh([gnu_ar, 'x', lib] + names, cwd=wl.indir)
    return finish(wl, [name for name, _ in chosen])


def make_data(scratch, files, count, lo_mib, hi_mib):
    wl = new_workload(scratch, files, 'data', 'data')
    rng = random.Random(1)
    names = [f'data_file_number_{i:03d}.bin' for i in range(count)]
    for name in names:
        size = rng.randint(lo_mib << 20, hi_mib << 20)
        write_file(os.path.join(wl.indir, name), os.urandom(size))
    return finish(wl, names)


# --------------------------------------------------------------- operations

class Bench:
    def __init__(self, args, xbase):
        self.args = args
        self.xbase = xbase   # extraction directories go here, beside the members
        self.on_tmpfs = subprocess.run(['stat', '-f', '-c', '%T', xbase],
                                       capture_output=True,
                                       text=True).stdout.strip() == 'tmpfs'
        self.trash = os.path.join(xbase, 'trash')
        self.trashed = 0
        self.exe = {'zolt': args.zolt, 'gnu': args.gnu_ar, 'llvm': args.llvm_ar}
        self.results = []

    def measure(self, wl, op, steps, floor):
        """Runs the steps round-robin and collects their times."""
        a = self.args
        names = list(steps)
        res = Result(wl, op, floor, {n: [] for n in names}, [],
                     {n: 0 for n in names}, {n: 'ok' for n in names})
        errpath = os.path.join(wl.work, 'stderr.txt')
        mempath = os.path.join(wl.work, 'peak.txt')
        start = time.monotonic()
        r = 0
        while len(res.rounds) < a.rounds:
            if (len(res.rounds) >= a.min_rounds
                    and time.monotonic() - start > a.budget):
                break
            live = [n for n in names if res.status[n] == 'ok']
            if not live:
                break
            order = live[r % len(live):] + live[:r % len(live)]
            got = {}
            warm = r < a.warmup
            for n in order:
                st = steps[n]
                if st.before:
                    st.before()
                os.sync()   # nobody pays for the previous run's writeback
                secs, code = run(st.argv, st.cwd, st.out, a.timeout, errpath,
                                 mempath if warm else None)
                if st.after:
                    st.after()
                if code == 'timeout':
                    res.status[n] = 'timeout'
                    log(f'  {wl.name} {op}: {n} took more than {a.timeout:g} s, dropped')
                elif code != 0:
                    with open(errpath, errors='replace') as f:
                        err = f.read().strip().splitlines()[:3]
                    res.status[n] = f'exit {code}'
                    log(f'  {wl.name} {op}: {n} failed (status {code}): '
                        + ' | '.join(err))
                elif warm:
                    res.rss[n] = max(res.rss[n], peak_kib(mempath))
                    if secs > a.budget / 4:
                        # Minutes of rounds would add nothing to a figure
                        # this far off: the warm-up run is its one sample.
                        res.status[n] = 'once'
                        res.times[n].append(secs)
                else:
                    got[n] = secs
            if r >= a.warmup:
                res.rounds.append(got)
                for n, s in got.items():
                    res.times[n].append(s)
            r += 1
        self.results.append(res)
        log(f'  {wl.name} {op}: {len(res.rounds)} rounds, '
            f'{time.monotonic() - start:.1f} s')
        return res

    def cmdfile(self, wl, tool, word, archive):
        """Writes the option word, the archive and every member name into a
        command (zolt) or response (ar, llvm-ar) file; both read the same
        white-space separated form."""
        path = os.path.join(wl.work, f'{word}-{tool}.cmd')
        with open(path, 'w') as f:
            f.write(f'{word} {archive}\n')
            f.write('\n'.join(wl.names) + '\n')
        return '@' + path

    def fresh_copy(self, src, dst):
        def go():
            if os.path.exists(dst):
                os.remove(dst)
            shutil.copyfile(src, dst)
        return go

    def run_workload(self, wl):
        a = self.args
        exe = self.exe
        log(f'{wl.name}: {len(wl.names)} members, {wl.nbytes / 2**20:.1f} MiB')
        member = wl.names[len(wl.names) // 2]
        tools = [t for t in ('zolt',) + PEERS if exe[t]]
        listfile = os.path.join(wl.work, 'names.txt')
        with open(listfile, 'w') as f:
            f.write('\n'.join(wl.names) + '\n')

        # create
        out = {t: os.path.join(wl.work, f'new-{t}.a') for t in tools}
        word = {'zolt': 'rq', 'gnu': 'rcs', 'llvm': 'rcs'}
        steps = {t: Step([exe[t], self.cmdfile(wl, t, word[t], out[t])], wl.indir,
                         before=self.remover(out[t])) for t in tools}
        catout = os.path.join(wl.work, 'cat.out')
        steps['floor'] = Step(['xargs', '-a', listfile, 'cat'], wl.indir, out=catout,
                              before=self.remover(catout))
        res = self.measure(wl, 'create', steps, 'cat')
        made = [t for t in ('llvm', 'gnu', 'zolt') if res.ok(t)]
        if not made:
            log(f'{wl.name}: no tool made an archive, nothing more to time')
            return
        for t in tools:
            wl.pristine[t] = os.path.join(wl.work, f'pristine-{t}.a')
            if t in made:
                os.replace(out[t], wl.pristine[t])
        for t in tools:
            if t not in made:
                # GNU ar takes minutes for 100,000 members, with q as with r:
                # the operations that follow work on another tool's archive.
                log(f'  {wl.name}: {t} works on the archive {made[0]} made')
                shutil.copyfile(wl.pristine[made[0]], wl.pristine[t])
        os.remove(catout)
        if 'zolt' in made:
            self.check_members(wl)
        ref = wl.pristine['zolt']
        wl.archive_bytes = os.path.getsize(ref)

        # replace one member, delete one member: against copy + fsync
        floor_out = os.path.join(wl.work, 'copy.a')
        copy_floor = Step(['dd', f'if={ref}', f'of={floor_out}', 'bs=4M',
                           'conv=fsync', 'status=none'], wl.work,
                          before=self.remover(floor_out))
        for op, word in (('replace', {'zolt': 'rq', 'gnu': 'r', 'llvm': 'r'}),
                         ('delete', {'zolt': 'dq', 'gnu': 'd', 'llvm': 'd'})):
            steps = {}
            for t in tools:
                arc = os.path.join(wl.work, f'op-{t}.a')
                steps[t] = Step([exe[t], word[t], arc, member], wl.indir,
                                before=self.fresh_copy(wl.pristine[t], arc))
            steps['floor'] = copy_floor
            self.measure(wl, op, steps, 'copy+fsync')

        # list
        steps = {t: Step([exe[t], 't', wl.pristine[t]], wl.work) for t in tools}
        steps['floor'] = Step([shutil.which('true')], wl.work)
        self.measure(wl, 'list', steps, 'true')

        # extract everything into a fresh empty directory
        steps = {}
        for t in tools + ['floor']:
            xdir = os.path.join(self.xbase, f'{wl.name}-{t}')
            argv = ([exe[t], 'xq' if t == 'zolt' else 'x', wl.pristine[t]]
                    if t != 'floor' else ['cp', '-R', wl.indir + '/.', xdir])
            steps[t] = Step(argv, wl.work if t == 'floor' else xdir,
                            before=self.fresh_dir(xdir),
                            after=self.extract_check(wl, xdir, t == 'zolt'))
        self.measure(wl, 'extract', steps, 'cp')

        # replace every member: the scale figure
        if wl.kind == 'gen':
            steps = {}
            for t in tools:
                arc = os.path.join(wl.work, f'op-{t}.a')
                w = 'rq' if t == 'zolt' else 'r'
                steps[t] = Step([exe[t], self.cmdfile(wl, t, w, arc)], wl.indir,
                                before=self.fresh_copy(wl.pristine[t], arc))
            self.measure(wl, 'replace-all', steps, '')

    def remover(self, path):
        def go():
            if os.path.exists(path):
                os.remove(path)
        return go

    def fresh_dir(self, path):
        def go():
            shutil.rmtree(path, ignore_errors=True)
            os.mkdir(path)
        return go

    def extract_check(self, wl, xdir, check):
        def go():
            if check:
                got = len(os.listdir(xdir))
                if got != len(wl.names):
                    log(f'  {wl.name} extract: zolt wrote {got} files, '
                        f'expected {len(wl.names)}')
            self.discard(wl, xdir)
        return go

    def discard(self, wl, path):
        """Removes an extraction directory, or on disk sets it aside until
        the end when it holds many files: for minutes after many files were
        deleted, ext4 without a journal takes several times longer to create
        new ones, and whichever run came next would pay for it."""
        if self.on_tmpfs or len(wl.names) < 1000:
            shutil.rmtree(path, ignore_errors=True)
        else:
            os.makedirs(self.trash, exist_ok=True)
            self.trashed += 1
            os.rename(path, os.path.join(self.trash, str(self.trashed)))

    def check_members(self, wl):
        listed = subprocess.run([self.exe['gnu'] or self.exe['llvm'], 't',
                                 wl.pristine['zolt']], capture_output=True,
                                text=True).stdout.split()
        if len(listed) != len(wl.names):
            log(f'  {wl.name}: zolt\'s archive lists {len(listed)} members, '
                f'expected {len(wl.names)}')


# ------------------------------------------------------------------ reports

def verdict(value, bound, target):
    if value is None or target is None:
        return ''
    if value <= target:
        return 'PASS'
    return '?' if bound == '<' else 'MISS'


def rows(bench):
    timeout = bench.args.timeout
    for res in bench.results:
        wl, op = res.workload, res.op
        row = {'workload': wl.name, 'members': len(wl.names),
               'input_mib': round(wl.nbytes / 2**20, 2),
               'archive_mib': round(wl.archive_bytes / 2**20, 2), 'op': op,
               'rounds': len(res.rounds)}
        for t in ('zolt',) + PEERS + ('floor',):
            if t in res.status:
                st = res.status[t]
                row[f'{t}_ms'] = (round(res.median(t) * 1000, 2)
                                  if res.ok(t) else st)
                row[f'{t}_maxrss_mib'] = round(res.rss[t] / 1024, 1)
                row[f'{t}_runs'] = len(res.times[t])
        row['floor'] = res.floor
        for other in PEERS + ('floor',):
            if other not in res.status:
                continue
            value, bound = res.ratio(other, timeout)
            if other == 'floor':
                target = FLOOR_TARGET.get(op)
                if isinstance(target, dict):
                    target = target[wl.kind]
            else:
                target = PEER_TARGET[other]
            row[f'zolt_over_{other}'] = '' if value is None else f'{bound}{value:.2f}'
            row[f'{other}_target'] = target
            row[f'{other}_verdict'] = verdict(value, bound, target)
        if res.rss.get('zolt'):
            mem = res.rss['zolt'] / 1024
            row['mem_target_mib'] = MEM_TARGET[wl.kind]
            row['mem_verdict'] = 'PASS' if mem <= MEM_TARGET[wl.kind] else 'MISS'
        yield row


def scale_rows(bench):
    """Time per member at the largest N over the smallest, per tool."""
    gen = {}
    for res in bench.results:
        if res.workload.kind == 'gen' and res.op in ('create', 'replace-all'):
            gen.setdefault(res.op, []).append(res)
    for op, results in gen.items():
        results.sort(key=lambda r: len(r.workload.names))
        small, big = results[0], results[-1]
        if small is big:
            continue
        ns, nb = len(small.workload.names), len(big.workload.names)
        for t in ('zolt',) + PEERS:
            ts, tb = small.median(t), big.median(t)
            row = {'op': op, 'tool': t, 'n_small': ns, 'n_large': nb,
                   'us_per_member_small': '' if ts is None else round(ts / ns * 1e6, 2),
                   'us_per_member_large': '' if tb is None else round(tb / nb * 1e6, 2)}
            if ts and tb:
                ratio = (tb / nb) / (ts / ns)
                row['ratio'] = round(ratio, 2)
                if t == 'zolt':
                    row['target'] = SCALE_TARGET
                    row['verdict'] = 'PASS' if ratio <= SCALE_TARGET else 'MISS'
            else:
                row['ratio'] = big.status.get(t, '') if tb is None else ''
            yield row


def print_table(table, scale):
    cols = [('workload', 'workload', 11), ('members', 'members', 7),
            ('op', 'op', 11), ('zolt_ms', 'zolt ms', 9),
            ('zolt_maxrss_mib', 'MiB', 5), ('mem_verdict', 'mem', 4),
            ('gnu_ms', 'gnu ms', 9), ('zolt_over_gnu', 'z/gnu', 6),
            ('gnu_verdict', '<=0.5', 5), ('llvm_ms', 'llvm ms', 9),
            ('zolt_over_llvm', 'z/llvm', 6), ('llvm_verdict', '<=0.8', 5),
            ('floor', 'floor', 10), ('floor_ms', 'floor ms', 9),
            ('zolt_over_floor', 'z/floor', 7), ('floor_target', '<=', 4),
            ('floor_verdict', '', 4)]
    print(' '.join(h.rjust(w) if i > 2 else h.ljust(w)
                   for i, (_, h, w) in enumerate(cols)))
    once = False
    for row in table:
        cells = []
        for i, (k, _, w) in enumerate(cols):
            cell = str(row.get(k, ''))
            if (k.endswith('_ms') and row.get(k[:-3] + '_runs') == 1
                    and row['rounds'] > 1):
                cell += '*'
                once = True
            cells.append(cell.rjust(w) if i > 2 else cell.ljust(w))
        print(' '.join(cells))
    if once:
        print('* one run: its warm-up run took more than a quarter of the budget')
    if scale:
        print('\ntime per member, largest N over smallest N (target <= 1.25 for zolt)')
        print(f'{"op":12} {"tool":5} {"N":>7} {"us/member":>10} '
              f'{"N":>7} {"us/member":>10} {"ratio":>8}')
        for r in scale:
            print(f'{r["op"]:12} {r["tool"]:5} {r["n_small"]:>7} '
                  f'{r["us_per_member_small"]:>10} {r["n_large"]:>7} '
                  f'{r["us_per_member_large"]:>10} {r["ratio"]:>8} '
                  f'{r.get("verdict", "")}')


def write_csv(path, table):
    if not table:
        return
    keys = []
    for row in table:
        keys += [k for k in row if k not in keys]
    with open(path, 'w', newline='') as f:
        w = csv.DictWriter(f, keys)
        w.writeheader()
        w.writerows(table)


# --------------------------------------------------------------------- main

def default_zolt():
    for rel in ('build/bench/zolt', 'build/gcc/zolt', 'build/zolt'):
        path = os.path.join(ROOT, rel)
        if os.access(path, os.X_OK):
            return path
    return None


def parse_args():
    p = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    p.add_argument('--quick', action='store_true',
                   help='small sizes and 3 rounds, for trying the harness')
    p.add_argument('--zolt', default=default_zolt(), help='zolt binary')
    p.add_argument('--gnu-ar', default=shutil.which('ar'))
    p.add_argument('--llvm-ar', default=shutil.which('llvm-ar'))
    p.add_argument('--scratch', help='where the archives go (kept); default '
                   'a temporary directory removed at the end')
    p.add_argument('--files-in', metavar='DIR',
                   help='where the members and the extraction directories go '
                   '(kept); default a temporary directory in /dev/shm')
    p.add_argument('--keep', action='store_true',
                   help='keep the workloads and the scratch directory')
    p.add_argument('--csv', help='result file; default bench/results/<time>.csv '
                   '(scale figures go to the same name with -scale)')
    p.add_argument('--workloads', default='libc,gen,large,llvm,data',
                   help='comma-separated subset of libc,gen,large,llvm,data')
    p.add_argument('--sizes', help='member counts of the gen workloads '
                   '(default 1000,10000,100000)')
    p.add_argument('--large', help='COUNTxMIB of the large objects (default 200x3)')
    p.add_argument('--llvm', type=int,
                   help='number of LLVM members (default 200)')
    p.add_argument('--data', type=int, help='number of 1-8 MiB data files (default 50)')
    p.add_argument('--rounds', type=int, help='timed rounds (default 5)')
    p.add_argument('--min-rounds', type=int, default=3,
                   help='rounds run even past the budget (default 3)')
    p.add_argument('--warmup', type=int, default=1,
                   help='untimed rounds first, which also measure the peak '
                   'memory (at least 1)')
    p.add_argument('--budget', type=float, default=20,
                   help='seconds per operation after which only --min-rounds '
                   'are run; a command whose warm-up run takes a quarter of '
                   'it runs only that once (default 20)')
    p.add_argument('--timeout', type=float, default=20,
                   help='seconds after which a run is killed and its tool '
                   'dropped from the operation (default 20)')
    a = p.parse_args()
    quick = a.quick
    a.sizes = [int(n) for n in (a.sizes or ('200,2000' if quick else
                                            '1000,10000,100000')).split(',')]
    count, mib = (a.large or ('8x1' if quick else '200x3')).split('x')
    a.large = (int(count), int(mib))
    a.llvm = a.llvm or (20 if quick else 200)
    a.data = a.data if a.data is not None else (8 if quick else 50)
    a.data_mib = (1, 2) if quick else (1, 8)
    a.rounds = a.rounds or (3 if quick else 5)
    a.min_rounds = min(a.min_rounds, a.rounds)
    a.warmup = max(a.warmup, 1)
    if not os.access(TIME, os.X_OK):
        p.error(f'{TIME} is needed for the peak memory')
    a.workloads = a.workloads.split(',')
    if not a.zolt or not os.access(a.zolt, os.X_OK):
        p.error('no zolt binary: build it (bench/run.sh does) or give --zolt')
    a.zolt = os.path.abspath(a.zolt)
    return a


def main():
    a = parse_args()
    stamp = datetime.datetime.now().strftime('%Y%m%d-%H%M%S')
    csv_path = a.csv or os.path.join(HERE, 'results', f'{stamp}.csv')
    if a.scratch:
        scratch = os.path.abspath(a.scratch)
        os.makedirs(scratch, exist_ok=True)
    else:
        scratch = tempfile.mkdtemp(prefix='zolt-bench.')
    if any(c.isspace() or c in '#;"' for c in scratch):
        sys.exit(f'scratch path {scratch!r} cannot go into a command file')
    if a.files_in and any(c.isspace() for c in a.files_in):
        sys.exit(f'path {a.files_in!r} cannot go into a command line')
    if a.files_in:
        files = os.path.abspath(a.files_in)
        os.makedirs(files, exist_ok=True)
    else:
        files = tempfile.mkdtemp(prefix='zolt-bench-files.', dir='/dev/shm'
                                 if os.path.isdir('/dev/shm') else scratch)
    log(f'zolt {a.zolt}\narchives in {scratch}\nmembers and extractions in {files}')
    bench = Bench(a, files)
    started = time.monotonic()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))   # cleans up
    try:
        makers = []
        if 'libc' in a.workloads:
            makers.append(lambda: make_libc(scratch, files, a.gnu_ar))
        if 'gen' in a.workloads:
            makers += [lambda n=n: make_generated(scratch, files, n)
                       for n in a.sizes]
        if 'large' in a.workloads:
            makers.append(lambda: make_large(scratch, files, *a.large))
        if 'llvm' in a.workloads:
            makers.append(lambda: make_llvm(scratch, files, a.gnu_ar, a.llvm))
        if 'data' in a.workloads:
            makers.append(lambda: make_data(scratch, files, a.data, *a.data_mib))
        for make in makers:
            t0 = time.monotonic()
            wl = make()
            if wl is None:
                log('llvm: no static LLVM libraries (llvm-config --libdir), skipped')
                continue
            log(f'{wl.name}: built in {time.monotonic() - t0:.1f} s')
            bench.run_workload(wl)
            if not a.keep:   # keeps disk and memory use down
                sh(['rm', '-rf', wl.indir, wl.work])
    finally:
        if not a.keep:
            sh(['rm', '-rf', bench.trash])
            if not a.files_in:
                sh(['rm', '-rf', files])
            if not a.scratch:
                sh(['rm', '-rf', scratch])
    table = list(rows(bench))
    scale = list(scale_rows(bench))
    print_table(table, scale)
    os.makedirs(os.path.dirname(os.path.abspath(csv_path)), exist_ok=True)
    write_csv(csv_path, table)
    scale_path = os.path.splitext(csv_path)[0] + '-scale.csv'
    write_csv(scale_path, scale)
    verdicts = [v for r in table for k, v in r.items() if k.endswith('verdict')]
    verdicts += [r['verdict'] for r in scale if 'verdict' in r]
    print(f'\n{verdicts.count("PASS")} PASS, {verdicts.count("MISS")} MISS, '
          f'{verdicts.count("?")} unknown; {time.monotonic() - started:.0f} s; '
          f'written {csv_path}' + (f' and {scale_path}' if scale else ''))


if __name__ == '__main__':
    main()
