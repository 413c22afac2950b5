#!/usr/bin/env python3
"""Runs transcript tests: shell sessions with their expected output.

A transcript (*.t) holds commands and what they print:

    Lines not indented by two blanks are commentary.
      $ zolt ax lib                 a command, run by bash in the scratch directory
      > more                        continues the command on a new line
        -->  error: ...             (indented) an expected line of standard output
      ! stderr text                 an expected line of standard error (after stdout)
      [1]                           the exit status, when it is not 0

A command that exits with status 77 skips the rest of its file: what it
printed is shown as the reason, and transcript.py exits with 77 (which
ctest counts as skipped) unless another file failed.

An expected line ending in " (re)" is a regular expression for the whole
line; " (no-eol)" says the output ends without a newline. Every command of
a file runs in one fresh scratch directory (removed afterwards), after
tests/e2e/prelude.sh, with zolt first on PATH.

usage: transcript.py --zolt BINARY [--update] FILE.t ..."""
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
    """Commentary lines, and the commands with their expected output."""
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
    """Output bytes as transcript lines."""
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
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        out, err = p.communicate()
        return render(out, '') + render(err, '! ') + ['[timeout]']
    status = p.returncode if p.returncode >= 0 else 128 - p.returncode
    got = render(out, '') + render(err, '! ')
    return got + (['[%d]' % status] if status else [])


def matches(expected, actual):
    if len(expected) != len(actual):
        return False
    for e, a in zip(expected, actual):
        if e.endswith(' (re)'):
            try:
                if not re.fullmatch(e[:-5], a):
                    return False
            except re.error:
                return False
        elif e != a:
            return False
    return True


def run_file(path, zolt, update):
    with open(path, encoding='utf-8') as f:
        lines = f.read().split('\n')
    if lines and lines[-1] == '':
        lines.pop()
    items = parse(lines)
    top = tempfile.mkdtemp(prefix='zolt-t-')
    scratch = top + '/work'
    os.mkdir(scratch)
    os.mkdir(top + '/tmp')
    env = dict(os.environ, PATH=os.path.dirname(os.path.abspath(zolt)) + ':' + os.environ['PATH'],
               ZOLT=os.path.abspath(zolt), TESTDIR=os.path.dirname(os.path.abspath(path)),
               SRCDIR=os.path.dirname(HERE), PRELUDE=os.path.join(HERE, 'e2e', 'prelude.sh'),
               TZ='UTC', LC_ALL='C', TMPDIR=top + '/tmp', HOME=top)
    for name in ('SOURCE_DATE_EPOCH', 'TMP', 'TEMP'):
        env.pop(name, None)
    old_umask = os.umask(0o022)
    expected_text, actual_text = [], []
    skipped = None
    try:
        for item in items:
            if isinstance(item, str):
                expected_text.append(item)
                actual_text.append(item)
                continue
            shown = ['  $ ' + item['cmd'][0]] + ['  > ' + c for c in item['cmd'][1:]]
            got = run('\n'.join(item['cmd']), scratch, env)
            if got and got[-1] == '[%d]' % SKIP:
                skipped = [l[2:] if l.startswith('! ') else l for l in got[:-1]]
                break
            expected_text += shown + ['  ' + e for e in item['expect']]
            actual_text += shown + ['  ' + a for a in merge(item['expect'], got)]
    finally:
        os.umask(old_umask)
        subprocess.run(['chmod', '-R', 'u+rwx', top], stderr=subprocess.DEVNULL)
        shutil.rmtree(top, ignore_errors=True)
    if skipped is not None:
        print('SKIPPED: %s: %s' % (path, ' '.join(skipped)))
        return SKIP
    if expected_text == actual_text:
        return True
    sys.stdout.writelines(difflib.unified_diff([l + '\n' for l in expected_text],
                                               [l + '\n' for l in actual_text],
                                               path, path + ' (actual)'))
    if update:
        with open(path, 'w', encoding='utf-8') as f:
            f.write('\n'.join(actual_text) + '\n')
    return False


def merge(expected, got):
    """The actual lines, keeping an expected pattern wherever it matches, so
    that a diff shows only real differences."""
    if matches(expected, got):
        return expected
    return [e if e is not None and matches([e], [a]) else a
            for e, a in zip(expected + [None] * (len(got) - len(expected)), got)]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--zolt', required=True)
    ap.add_argument('--update', action='store_true', help='write the actual output back')
    ap.add_argument('files', nargs='+')
    a = ap.parse_args()
    results = {f: run_file(f, a.zolt, a.update) for f in a.files}
    failed = [f for f, r in results.items() if r is False]
    for f in failed:
        print('FAILED: ' + f)
    return 1 if failed else SKIP if SKIP in results.values() else 0


if __name__ == '__main__':
    sys.exit(main())
