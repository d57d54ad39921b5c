"""Compares a written workbook with its template through xlrd.

Usage: /usr/bin/python3 check_xls.py TEMPLATE OUTPUT EXPECTED
EXPECTED: the sheet's index on the first line, then one line per written
cell: "ROW COL HEX", HEX being the cell's text in UTF-8.

Checks: the written cells read back exactly and keep the format (XF) of the
template's cell there, or below the template's last row the format of that
row's cell in the same column; every other cell, the merged ranges, column
and row formats, and every other sheet equal the template's; every stream but
Workbook is byte-identical. Prints the differences and exits 1 on any.
"""
import sys

import xlrd
from xlrd import compdoc

template_path, output_path, expected_path = sys.argv[1:4]
with open(expected_path, encoding="ascii") as f:
    lines = f.read().split("\n")
expected = {"sheet": int(lines[0]), "cells": []}
for line in filter(None, lines[1:]):
    r, c, text = (line.split(" ") + [""])[:3]
    expected["cells"].append((int(r), int(c), bytes.fromhex(text).decode("utf-8")))
problems = []


def problem(text):
    if len(problems) < 40:
        problems.append(text)


def cell(sheet, r, c):
    if r < sheet.nrows and c < sheet.ncols:
        return sheet.cell_type(r, c), sheet.cell_value(r, c), sheet.cell_xf_index(r, c)
    return xlrd.XL_CELL_EMPTY, "", None


def xf_rule(sheet, r, c):
    """The format a cell at (r, c) has or would get: its own, its row's, its
    column's, else the default."""
    if r < sheet.nrows and c < sheet.ncols and sheet._cell_xf_indexes[r][c] > -1:
        return sheet._cell_xf_indexes[r][c]
    ri = sheet.rowinfo_map.get(r)
    if ri is not None and ri.has_default_xf_index:
        return ri.xf_index
    ci = sheet.colinfo_map.get(c)
    if ci is not None:
        return ci.xf_index
    return 15


def same_cell(a, b):
    # An empty cell and a missing one are the same thing.
    if a[0] == xlrd.XL_CELL_EMPTY and b[0] == xlrd.XL_CELL_EMPTY:
        return True
    return a == b


tb = xlrd.open_workbook(template_path, formatting_info=True)
ob = xlrd.open_workbook(output_path, formatting_info=True)
if tb.sheet_names() != ob.sheet_names():
    problem("sheet names %r != %r" % (ob.sheet_names(), tb.sheet_names()))
if len(tb.xf_list) != len(ob.xf_list) or len(tb.font_list) != len(ob.font_list):
    problem("XF or font tables differ")

written = {(r, c): text for r, c, text in expected["cells"]}
for index in range(min(tb.nsheets, ob.nsheets)):
    t, o = tb.sheet_by_index(index), ob.sheet_by_index(index)
    mine = written if index == expected["sheet"] else {}
    last = max([t.nrows - 1] + list(t.rowinfo_map))  # the last row with cells or a format
    if sorted(t.merged_cells) != sorted(o.merged_cells):
        problem("sheet %d: merged ranges differ" % index)
    for c, info in t.colinfo_map.items():
        oi = o.colinfo_map.get(c)
        if oi is None or (oi.width, oi.xf_index, oi.hidden) != (info.width, info.xf_index, info.hidden):
            problem("sheet %d: column %d format differs" % (index, c))
    for r, info in t.rowinfo_map.items():
        oi = o.rowinfo_map.get(r)
        if oi is None or oi.height != info.height:
            problem("sheet %d: row %d height differs" % (index, r))
    for r in range(max(t.nrows, o.nrows)):
        for c in range(max(t.ncols, o.ncols)):
            tc, oc = cell(t, r, c), cell(o, r, c)
            if (r, c) in mine:
                want_xf = xf_rule(t, min(r, last), c)
                if oc[0] != xlrd.XL_CELL_TEXT or oc[1] != mine[(r, c)]:
                    problem("(%d,%d) reads %r, wrote %r" % (r, c, oc[1], mine[(r, c)]))
                if oc[2] != want_xf:
                    problem("(%d,%d) has XF %r, template %r" % (r, c, oc[2], want_xf))
            elif not same_cell(tc, oc):
                problem("sheet %d (%d,%d): %r, template %r" % (index, r, c, oc, tc))
    if mine:
        for r in sorted({r for r, c in mine if r > last}):
            ti, oi = t.rowinfo_map.get(last), o.rowinfo_map.get(r)
            if ti is not None and (oi is None or oi.height != ti.height):
                problem("new row %d has not the height of the template's last row" % r)

td = compdoc.CompDoc(open(template_path, "rb").read())
od = compdoc.CompDoc(open(output_path, "rb").read())
def entries(doc):
    names = [(d.name, d.etype) for d in doc.dirlist]
    while names and names[-1] == ("", 0):  # unused entries that fill a sector
        names.pop()
    return names


tnames, onames = entries(td), entries(od)
if tnames != onames:
    problem("directory differs: %r != %r" % (onames, tnames))
for name, etype in tnames:
    if etype == 2 and name != "Workbook":
        if td.get_named_stream(name) != od.get_named_stream(name):
            problem("stream %s differs" % name)

for p in problems:
    print(p)
print("OK" if not problems else "%d problems" % len(problems))
sys.exit(1 if problems else 0)
