#!/usr/bin/env python3
"""Damaged copies of a die model, and diebom run on every one of them.

Makes COUNT damaged copies of a STEP file (bytes changed, entity names
misspelt, references broken or pointed at other entities, entities dropped or
doubled, the file cut short) and COUNT forged part files (contents damaged and
the check record written again over them, so the file passes the check and
reaches the reader; some cut short or with the record left as it was), runs
`diebom blanks --format csv` on each in a scratch folder and checks that the
tool

  - ends with exit 0 and a list of the model's bodies (as many rows as the
    undamaged model gives, no size "nan" or "inf"), or with exit 1 and one
    line on standard error naming the file;
  - never crashes, never hangs, never uses exit 2;
  - leaves nothing in its temporary folder (TMPDIR) or beside the file.

Usage:
  damaged-models.py --diebom BIN (--generate-die BIN [--bodies N] | --step F --xbf F)
                    [--config DIR] [--count 200] [--seed 1] [--jobs 2] [--keep DIR]

With --generate-die the undamaged model is the sample die written by that
program (its first N bodies, default 8, to keep the run short). Exit status 0
when every copy was handled as above; otherwise the bad cases are listed and
kept in the scratch folder (or --keep DIR), and the status is 1.
"""

import argparse
import binascii
import concurrent.futures
import csv
import io
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile

TRAILER_MAGIC = b"DIEBOMPF"
TRAILER_SIZE = 8 + 8 + 16
TIMEOUT = 120

# Entity names that a STEP file of solids holds; a reference pointed at an
# entity of another of these types must not bring the reader down.
ENTITY_RE = re.compile(rb"^#(\d+)\s*=\s*([A-Z_0-9]+)\s*\(", re.M)
REF_RE = re.compile(rb"#(\d+)")


def data_section(step):
    start = step.find(b"DATA;")
    end = step.rfind(b"ENDSEC;")
    if start < 0 or end < start:
        return 0, len(step)
    return start + 5, end


# --- STEP mutations ------------------------------------------------------------


def step_byte(rng, step):
    a, b = data_section(step)
    out = bytearray(step)
    for _ in range(rng.randint(1, 3)):
        i = rng.randrange(a, b)
        out[i] = rng.choice([rng.randrange(256), ord(rng.choice("#()=,;'.0123456789EXYZ$*"))])
    return bytes(out), "bytes changed"


def step_rename(rng, step):
    entities = list(ENTITY_RE.finditer(step))
    m = rng.choice(entities)
    name = bytearray(m.group(2))
    kind = rng.randrange(3)
    if kind == 0:  # a letter misspelt
        name[rng.randrange(len(name))] = ord(rng.choice("ABCDEFGHIJKLMNOPQRSTUVWXYZ_"))
    elif kind == 1:  # the name of another entity of the file
        name = bytearray(rng.choice(entities).group(2))
    else:  # cut short
        name = name[: rng.randint(1, max(1, len(name) - 1))]
    out = step[: m.start(2)] + bytes(name) + step[m.end(2) :]
    return out, "entity #%s renamed" % m.group(1).decode()


def step_reference(rng, step):
    a, b = data_section(step)
    ids = [int(m.group(1)) for m in ENTITY_RE.finditer(step)]
    refs = [m for m in REF_RE.finditer(step, a, b) if step[m.end() : m.end() + 1] != b"="]
    refs = [m for m in refs if not step[m.start() - 1 : m.start()] in (b"\n",)]
    out = step
    for m in sorted(rng.sample(refs, rng.randint(1, 3)), key=lambda m: -m.start()):
        target = rng.choice([max(ids) + rng.randint(1, 1000), rng.choice(ids), 0])
        out = out[: m.start(1)] + str(target).encode() + out[m.end(1) :]
    return out, "references broken"


def step_drop(rng, step):
    lines = step.split(b"\n")
    entity_lines = [i for i, l in enumerate(lines) if l.startswith(b"#")]
    for i in sorted(rng.sample(entity_lines, rng.randint(1, 5)), reverse=True):
        if rng.random() < 0.5:
            del lines[i]
        else:
            lines.insert(i, lines[rng.choice(entity_lines)])  # an id defined twice
    return b"\n".join(lines), "entities dropped or doubled"


def step_truncate(rng, step):
    return step[: rng.randrange(len(step) // 20, len(step))], "cut short"


STEP_MUTATIONS = [step_byte, step_rename, step_reference, step_drop, step_truncate]


# --- Part file mutations -----------------------------------------------------------


def with_trailer(payload):
    crc = binascii.crc32(payload) & 0xFFFFFFFF
    return payload + TRAILER_MAGIC + b"%08x%016x" % (crc, len(payload))


def part_payload(xbf):
    assert xbf[-TRAILER_SIZE:].startswith(TRAILER_MAGIC), "not a part file"
    return xbf[:-TRAILER_SIZE]


def part_bytes(rng, xbf):
    out = bytearray(part_payload(xbf))
    for _ in range(rng.choice([1, 1, 2, 4, 16])):
        i = rng.randrange(7, len(out))  # the "BINFILE" magic stays
        out[i] = rng.choice([rng.randrange(256), out[i] ^ (1 << rng.randrange(8)), 0, 0xFF])
    return with_trailer(bytes(out)), "bytes changed, check record written again"


def part_splice(rng, xbf):
    payload = part_payload(xbf)
    i = rng.randrange(7, len(payload))
    n = rng.randint(1, 64)
    if rng.random() < 0.5:
        payload = payload[:i] + payload[i + n :]
    else:
        payload = payload[:i] + bytes(rng.randrange(256) for _ in range(n)) + payload[i:]
    return with_trailer(payload), "bytes cut or inserted, check record written again"


def part_truncate(rng, xbf):
    payload = part_payload(xbf)
    cut = payload[: rng.randrange(7, len(payload))]
    if rng.random() < 0.8:
        return with_trailer(cut), "cut short, check record written again"
    return cut, "cut short"


def part_unchecked(rng, xbf):
    out = bytearray(xbf)
    i = rng.randrange(7, len(out) - TRAILER_SIZE)
    out[i] ^= 0x55
    return bytes(out), "bytes changed, check record left as it was"


PART_MUTATIONS = [part_bytes, part_bytes, part_splice, part_truncate, part_unchecked]


# --- Running the tool ------------------------------------------------------------------


def run(diebom, config, path, tmp):
    os.makedirs(tmp, exist_ok=True)
    env = dict(os.environ, TMPDIR=tmp, LC_ALL="C.UTF-8")
    command = [diebom, "blanks", path, "--format", "csv"]
    if config:
        command += ["--config", config]
    try:
        p = subprocess.run(command, env=env, capture_output=True, timeout=TIMEOUT,
                           stdin=subprocess.DEVNULL)
    except subprocess.TimeoutExpired:
        return None, b"", b"timed out"
    return p.returncode, p.stdout, p.stderr


def rows_of(out):
    rows = list(csv.reader(io.StringIO(out.decode("utf-8"))))
    return rows[1:] if rows else rows


def check(case, reference_rows, result, tmp):
    path, what = case
    code, out, err = result
    name = os.path.basename(path)
    problems = []
    text = err.decode("utf-8", "replace")
    if code is None:
        problems.append("hung (no end after %d s)" % TIMEOUT)
    elif code < 0:
        problems.append("crashed (signal %d)" % -code)
    elif code == 0:
        try:
            rows = rows_of(out)
        except (UnicodeDecodeError, csv.Error) as e:
            problems.append("exit 0 with a list that is no CSV: %s" % e)
            rows = None
        if rows is not None:
            # Fewer bodies only with a word on what became of the rest (a
            # broken reference that leaves a shell open makes a sheet).
            if len(rows) != reference_rows and not (len(rows) < reference_rows and "left out" in text):
                problems.append("exit 0 with %d rows, the model has %d" % (len(rows), reference_rows))
            if any(re.search(r"nan|inf", r[5] if len(r) > 5 else "") for r in rows):
                problems.append("exit 0 with a size that is not a number")
    elif code == 1:
        if "internal error" in text:
            problems.append("the kernel failed after reading (caught only by the last resort)")
        lines = [l for l in text.splitlines() if name in l]
        if len(lines) != 1 or not text.startswith("diebom blanks: "):
            problems.append("exit 1 without one line naming the file")
    else:
        problems.append("exit %d" % code)
    if "nan" in text.split(name)[-1]:
        problems.append("'nan' on standard error")
    left = os.listdir(tmp) if os.path.isdir(tmp) else []
    if left:
        problems.append("left behind in TMPDIR: %s" % ", ".join(left))
    return problems, code, text.strip()


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--diebom", required=True)
    ap.add_argument("--generate-die")
    ap.add_argument("--bodies", type=int, default=8)
    ap.add_argument("--step")
    ap.add_argument("--xbf")
    ap.add_argument("--config")
    ap.add_argument("--count", type=int, default=200)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--keep")
    a = ap.parse_args()

    scratch = tempfile.mkdtemp(prefix="diebom-damaged-")
    ok = False
    try:
        if a.generate_die:
            subprocess.run([a.generate_die, scratch, "--bodies", str(a.bodies), "--name", "model"],
                           check=True, capture_output=True)
            step_path, xbf_path = [os.path.join(scratch, "model" + e) for e in (".step", ".xbf")]
        elif a.step and a.xbf:
            step_path, xbf_path = a.step, a.xbf
        else:
            ap.error("give --generate-die, or --step and --xbf")
        step = open(step_path, "rb").read()
        xbf = open(xbf_path, "rb").read()

        references = {}
        for kind, path in (("step", step_path), ("xbf", xbf_path)):
            code, out, err = run(a.diebom, a.config, path, os.path.join(scratch, "tmp-ref"))
            if code != 0:
                print("the undamaged %s gives exit %s: %s" % (kind, code, err.decode()), file=sys.stderr)
                return 1
            references[kind] = len(rows_of(out))

        rng = random.Random(a.seed)
        corpus = os.path.join(scratch, "corpus")
        os.makedirs(corpus)
        cases = []
        for i in range(a.count):
            data, what = STEP_MUTATIONS[i % len(STEP_MUTATIONS)](rng, step)
            path = os.path.join(corpus, "step-%03d.step" % i)
            open(path, "wb").write(data)
            cases.append(("step", (path, what)))
        for i in range(a.count):
            data, what = PART_MUTATIONS[i % len(PART_MUTATIONS)](rng, xbf)
            path = os.path.join(corpus, "part-%03d.xbf" % i)
            open(path, "wb").write(data)
            cases.append(("xbf", (path, what)))

        def one(n_case):
            n, (kind, case) = n_case
            tmp = os.path.join(scratch, "tmp-%d" % n)
            problems, code, err = check(case, references[kind], run(a.diebom, a.config, case[0], tmp), tmp)
            shutil.rmtree(tmp, ignore_errors=True)
            return kind, case, problems, code, err

        bad = []
        tally = {}
        with concurrent.futures.ThreadPoolExecutor(max_workers=max(1, a.jobs)) as pool:
            for kind, case, problems, code, err in pool.map(one, enumerate(cases)):
                tally[(kind, code)] = tally.get((kind, code), 0) + 1
                if "failed on it" in err or "without an answer" in err:
                    tally[(kind, "reader down")] = tally.get((kind, "reader down"), 0) + 1
                if problems:
                    bad.append((case, problems, err))
        left = sorted(set(os.listdir(corpus)) - {os.path.basename(c[1][0]) for c in cases})
        if left:
            bad.append((("(corpus folder)", ""), ["files left beside the models: " + ", ".join(left)], ""))

        for (kind, code), n in sorted(tally.items(), key=lambda t: (t[0][0], str(t[0][1]))):
            label = "of them: the reader went down in its child" if code == "reader down" else "exit %s" % code
            print("%-4s %-45s %4d files" % (kind, label, n))
        for (path, what), problems, err in bad:
            print("BAD %s (%s): %s\n    %s" % (os.path.basename(path), what, "; ".join(problems),
                                                err.replace("\n", "\n    ")))
        ok = not bad
        print("%d damaged STEP files and %d forged part files: %s" %
              (a.count, a.count, "all handled" if ok else "%d handled badly" % len(bad)))
        return 0 if ok else 1
    finally:
        if a.keep and not ok:
            shutil.copytree(scratch, a.keep, dirs_exist_ok=True)
        if ok or a.keep:
            shutil.rmtree(scratch, ignore_errors=True)
        else:
            print("kept in " + scratch, file=sys.stderr)


if __name__ == "__main__":
    sys.exit(main())
