#!/usr/bin/env python3
# Runs transcript tests: shell sessions with their expected output.
#
# A transcript (*.t) holds commands and what they print:
#   # commentary (any line not indented by two blanks)
#     $ zolt ax lib           a command, run by bash in the scratch directory
#     > more                  continues the command on a new line
#       -->  error: ...       (indented) a line of standard output
#     ! text                  a line of standard error (shown after standard output)
#     [1]                     the exit status, when it is not 0
# An expected line ending in " (re)" is a regular expression for the whole
# line; " (no-eol)" marks output that does not end with a newline. A
# command that exits with 77 skips the rest of its file, with what it printed
# as the reason (ctest counts the file as skipped). All
# commands of a file run in one fresh scratch directory (removed afterwards),
# after tests/e2e/prelude.sh, with zolt first on PATH, TZ=UTC and LC_ALL=C.
#
# usage: transcript.py --zolt BINARY [--update] FILE.t ...
#   --update writes the actual output back into the file: review every line.
import argparse
import difflib
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
TIMEOUT = int(os.environ.get('TRANSCRIPT_TIMEOUT', '600'))
SKIP = 77


def parse(lines):
    """Commentary lines as they are; commands as {'cmd': [...], 'expect': [...]}."""
    items, cmd = [], None
    for line in lines:
        if line.startswith('  $ '):
            cmd = {'cmd': [line[4:]], 'expect': []}
            items.append(cmd)
        elif line.startswith('  > ') and cmd is not None and not cmd['expect']:
            cmd['cmd'].append(line[4:])
        elif line.startswith('  ') and cmd is not None:
            cmd['expect'].append(line[2:])
        else:
            cmd = None
            items.append(line)
    return items


def render(data, prefix):
    text = data.decode('utf-8', 'backslashreplace')
    if not text:
        return []
    out = [prefix + l for l in text.split('\n')]
    if text.endswith('\n'):
        out.pop()
    else:
        out[-1] += ' (no-eol)'
    return out


def run(command, cwd, env):
    p = subprocess.Popen(['bash', '-c', '. "$PRELUDE"\n' + command], cwd=cwd, env=env,
                         stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, start_new_session=True)
    try:
        out, err = p.communicate(timeout=TIMEOUT)
        status = p.returncode if p.returncode >= 0 else 128 - p.returncode
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        out, err = p.communicate()
        status = 'timeout'
    return render(out, '') + render(err, '! ') + (['[%s]' % status] if status else [])


def same(expected, actual):
    if expected is None or actual is None:
        return False
    if expected.endswith(' (re)'):
        try:
            return re.fullmatch(expected[:-5], actual) is not None
        except re.error:
            return False
    return expected == actual


def merge(expected, got):
    """The actual lines, each replaced by the next expected pattern that
    matches it, so that a diff shows only real differences."""
    out, j = [], 0
    for a in got:
        k = next((k for k in range(j, len(expected)) if same(expected[k], a)), None)
        out.append(a if k is None else expected[k])
        j = j if k is None else k + 1
    return out


def run_file(path, zolt, update):
    with open(path, encoding='utf-8') as f:
        items = parse(f.read().rstrip('\n').split('\n'))
    top = tempfile.mkdtemp(prefix='zolt-t-')
    os.mkdir(top + '/work')
    os.mkdir(top + '/tmp')
    env = dict(os.environ, PATH=os.path.dirname(os.path.abspath(zolt)) + ':' + os.environ['PATH'],
               ZOLT=os.path.abspath(zolt), SRCDIR=os.path.dirname(HERE),
               PRELUDE=os.path.join(os.path.dirname(HERE), 'tests', 'e2e', 'prelude.sh'), TZ='UTC', LC_ALL='C',
               TMPDIR=top + '/tmp', HOME=top)
    for name in ('SOURCE_DATE_EPOCH', 'TMP', 'TEMP'):
        env.pop(name, None)
    old_umask = os.umask(0o022)
    expected, actual, skipped = [], [], None
    try:
        for item in items:
            if isinstance(item, str):
                expected.append(item)
                actual.append(item)
                continue
            shown = ['  $ ' + item['cmd'][0]] + ['  > ' + c for c in item['cmd'][1:]]
            got = run('\n'.join(item['cmd']), top + '/work', env)
            if got and got[-1] == '[%d]' % SKIP:
                skipped = [l[2:] if l.startswith('! ') else l for l in got[:-1]]
                break
            expected += shown + ['  ' + e for e in item['expect']]
            actual += shown + ['  ' + a for a in merge(item['expect'], got)]
    finally:
        os.umask(old_umask)
        subprocess.run(['chmod', '-R', 'u+rwx', top], stderr=subprocess.DEVNULL)
        shutil.rmtree(top, ignore_errors=True)
    if skipped is not None:
        print('SKIPPED: %s: %s' % (path, ' '.join(skipped)))
        return SKIP
    if expected == actual:
        return True
    sys.stdout.writelines(difflib.unified_diff([l + '\n' for l in expected],
                                               [l + '\n' for l in actual], path, path + ' (actual)'))
    if update:
        with open(path, 'w', encoding='utf-8') as f:
            f.write('\n'.join(actual) + '\n')
    return False


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--zolt', required=True)
    ap.add_argument('--update', action='store_true')
    ap.add_argument('files', nargs='+')
    a = ap.parse_args()
    results = {f: run_file(f, a.zolt, a.update) for f in a.files}
    failed = [f for f, r in results.items() if r is False]
    for f in failed:
        print('FAILED: ' + f)
    return 1 if failed else SKIP if SKIP in results.values() else 0


if __name__ == '__main__':
    sys.exit(main())
