#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
"""Turns what bench/run.sh collected in its work folder into the markdown report on stdout.

    bench/report.py WORK_DIR
"""
import glob
import json
import os
import re
import shlex
import statistics
import sys

work = sys.argv[1]


def path(name):
    return os.path.join(work, name)


def read_tsv(name):
    with open(path(name)) as f:
        return [line.rstrip('\n').split('\t') for line in f if line.strip()]


rows = read_tsv('programs.tsv')
programs = [dict(zip(rows[0], row)) for row in rows[1:]]
machine = dict(read_tsv('machine.tsv'))


def instructions(index):
    counts = []
    for name in glob.glob(path(f'callgrind.{index}.*')):
        with open(name) as f:
            for line in f:
                if line.startswith(('summary:', 'totals:')):
                    counts.append(int(line.split()[1]))
                    break
    return statistics.median(counts) if counts else None


def peak_rss_kib(index):
    sizes = []
    for name in glob.glob(path(f'time.{index}.*')):
        with open(name) as f:
            m = re.search(r'Maximum resident set size \(kbytes\): (\d+)', f.read())
            if m:
                sizes.append(int(m.group(1)))
    return statistics.median(sizes) if sizes else None


def peak_threads(index):
    """The most threads of the measured process alive at once, replayed from strace's record of
    every clone, clone3 and exit system call, in the order strace saw them."""
    group, alive, exited_early = set(), set(), set()
    pending = {}
    peak = 1
    with open(path(f'strace.{index}')) as f:
        lines = f.read().splitlines()
    for line in lines:
        m = re.match(r'(\d+)\s+(.*)', line)
        if not m:
            continue
        tid, call = int(m.group(1)), m.group(2)
        if not group:
            group.add(tid)
            alive.add(tid)
        result = None
        if re.match(r'clone3?\(', call):
            pending[tid] = 'CLONE_THREAD' in call
            r = re.search(r'= (\d+)\s*$', call)
            result = int(r.group(1)) if r else None
        elif re.match(r'<\.\.\. clone3? resumed>', call):
            r = re.search(r'= (\d+)\s*$', call)
            result = int(r.group(1)) if r else None
        elif call.startswith('exit('):
            if tid in alive:
                alive.discard(tid)
            elif tid not in group:
                # Its creation is reported after its end: it was alive next to all alive now.
                exited_early.add(tid)
                peak = max(peak, len(alive) + 1)
        if result is not None and result > 0 and tid in group and pending.pop(tid, False):
            group.add(result)
            if result in exited_early:
                continue
            alive.add(result)
            peak = max(peak, len(alive))
    return peak


times = {}
for name in sorted(glob.glob(path('wall.*.json'))):
    with open(name) as f:
        for result in json.load(f)['results']:
            times.setdefault(result['command'], []).extend(result['times'])
walls = {label: statistics.median(values) * 1000 for label, values in times.items()}
wall_runs = min((len(values) for values in times.values()), default=0)

for index, program in enumerate(programs):
    program['instructions'] = instructions(index)
    program['wall'] = walls.get(program['label'])
    program['rss'] = peak_rss_kib(index)
    program['threads'] = peak_threads(index)

by_role = {p['role']: p for p in programs if p['role'] != 'tool'}
floor, qtdbus, busctl = by_role['floor'], by_role['qtdbus'], by_role['busctl']
references = [('bare Qt', floor), ('QtDBus', qtdbus), ('busctl', busctl)]


def quoted(arg):
    """Shell quoting that leaves the gdbus request readable."""
    if "'" in arg and not re.search(r'["$`\\]', arg):
        return f'"{arg}"'
    return shlex.quote(arg)


def ratio(value, reference):
    if value is None or not reference:
        return '–'
    return f'{value / reference:.2f}'


def count(value):
    return '–' if value is None else f'{round(value):,}'


def ms(value):
    return '–' if value is None else f'{value:.2f}'


def mib(kib):
    return '–' if kib is None else f'{kib / 1024:.2f}'


quick = machine.get('quick') == '1'
print('### Side by side')
print()
print(f"Machine: {machine['cpu']}, {machine['cores']} cores, Linux {machine['kernel']}, "
      f"Debian {machine['debian']}, {machine['qt']} (libsystemd {machine['libsystemd']}, "
      f"dbus-daemon {machine['dbus']}; load average {machine['load']} when measuring began, "
      f"{machine['load_end']} at the end)")
print()
context = open(path('context')).read().strip()
kept = re.match(r'\S+\.(cpp|h):[1-9]\d* \S', context) is not None and 'unknown' not in context
shown = context.replace(machine['root'] + '/', '')
print(f"Message context: {'kept' if kept else 'LOST'} in this Release build — "
      f"`QT_MESSAGE_PATTERN='%{{file}}:%{{line}} %{{function}}' command-parser -l` writes "
      f"`{shown or '(nothing)'}`.")
if quick:
    print()
    print('**Quick run (smoke check): too few runs for figures to compare.**')
print()
head = ['program', 'instructions'] + [f'× {n}' for n, _ in references] + ['wall median ms'] + [
    f'× {n}' for n, _ in references] + ['peak RSS MiB', 'threads']
print('| ' + ' | '.join(head) + ' |')
print('|' + '|'.join(['---'] + ['---:'] * (len(head) - 1)) + '|')
for p in programs:
    cells = [p['label'], count(p['instructions'])]
    cells += [ratio(p['instructions'], r['instructions']) for _, r in references]
    cells += [ms(p['wall'])]
    cells += [ratio(p['wall'], r['wall']) for _, r in references]
    cells += [mib(p['rss']), str(p['threads'])]
    print('| ' + ' | '.join(cells) + ' |')
print()
repeats = machine['repeats']
print("- × columns: the figure divided by that of bare Qt, of the QtDBus client and of busctl.")
print(f"- Instructions: callgrind, whole run, all threads, median of {repeats} run(s).")
print(f"- Wall: hyperfine -N, median of {wall_runs} runs, taken in rounds of every program in "
      "turn.")
print(f"- Peak RSS: GNU time's maximum resident set size, median of {repeats} run(s).")
print("- Threads: the most threads alive at once, replayed from every clone, clone3 and exit "
      "system call of the process under strace -f (exact however short the run).")
print("- busctl and gdbus send GetCommandCategories; the QtDBus client sends the `-e 601` "
      "request. The commands, with ADDRESS the private bus and BUILD the build folder:")
print()
print('```')
for index, program in enumerate(programs):
    with open(path(f'command.{index}'), 'rb') as f:
        argv = [arg.decode() for arg in f.read().split(b'\0')[:-1]]
    line = ' '.join(quoted(arg) for arg in argv).replace(machine['address'], 'ADDRESS')
    print(line.replace(machine['build'].rstrip('/') + '/', 'BUILD/'))
print('```')
print()


def check(ok):
    return 'met' if ok else 'MISSED'


print('### Targets')
print()
rss_limit = floor['rss'] + 1.5 * 1024
for p in (p for p in programs if p['role'] == 'tool'):
    i, w, rss = p['instructions'], p['wall'], p['rss']
    print(f"`{p['label']}`")
    print()
    limit = 0.85 * qtdbus['instructions']
    print(f"- instructions ≤ 0.85 × QtDBus client: {count(i)}, limit {count(limit)} "
          f"({ratio(i, qtdbus['instructions'])} × the client) — {check(i <= limit)}")
    limit = 0.65 * busctl['instructions']
    print(f"- instructions ≤ 0.65 × busctl: {count(i)}, limit {count(limit)} "
          f"({ratio(i, busctl['instructions'])} × busctl) — {check(i <= limit)}")
    print(f"- wall median ≤ busctl's: {ms(w)} ms, busctl {ms(busctl['wall'])} ms — "
          f"{check(w <= busctl['wall'])}")
    print(f"- peak RSS ≤ bare Qt + 1.5 MiB: {mib(rss)} MiB, limit {mib(rss_limit)} MiB — "
          f"{check(rss <= rss_limit)}")
    print(f"- exactly one thread: {p['threads']} — {check(p['threads'] == 1)}")
    print()

windows = {}
late = False
for who, clients, answers, was_late in read_tsv('rates.tsv'):
    windows.setdefault((who, int(clients)), []).append(int(answers) / float(machine['rate_seconds']))
    late = late or was_late == '1'
rates = {key: statistics.median(values) for key, values in windows.items()}

print('### Request rate')
print()
print('| clients | simulator req/s | echo req/s | simulator / echo | ≥ 80 % of echo |')
print('|---:|---:|---:|---:|---|')
for clients in (1, 4, 16):
    s, e = rates.get(('sim', clients)), rates.get(('echo', clients))
    share = s / e if s is not None and e else None
    cells = [str(clients), count(s), count(e), '–' if share is None else f'{share:.0%}',
             '–' if share is None else check(share >= 0.8)]
    print('| ' + ' | '.join(cells) + ' |')
print()
print(f"Each client (bench-rate-client, sd-bus) has its own connection and sends the `-e 601` "
      f"request in a loop, each call waiting for its answer; all clients of a row count the "
      f"answers received within one shared window of {machine['rate_seconds']} s. Median of "
      f"{machine['rate_repeats']} window(s), simulator and echo alternating. The echo service "
      "(bench-echo, sd-bus) answers with the request it was given; both serve the same bus.")
if late:
    print()
    print('Some clients connected only after their window had begun: those rows are low.')
