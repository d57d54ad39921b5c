#!/usr/bin/python3
"""The studio in a real browser (Debian's chromium, headless, driven by
chromium-driver): a designer's whole task on the sample die, then the ways a
person can get it wrong.

The studio runs as a person starts it (`diebom studio PART --no-browser
--port 0`); the page is read as a person reads it (the cells' texts, the
boxes' lines); the workbooks are fetched through the page's own download
links and read back by xlrd. Every wait is on the version of the snapshot the
page drew, or on what the page shows; nothing sleeps.
"""
import argparse
import csv
import io
import os
import queue
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.error
import urllib.request

import xlrd
from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

ARGS = None
MATERIAL = "ExportMaterialBom.dlx"
OPTIONS = "SetBomOption.dlx"
OFFSET = "SetBoOffset.dlx"
PARTS = "ExportPartBom.dlx"
TREE = "tree_control0"

# The header a designer types, by block of the material BOM dialog.
HEADER = {
    "string03": "SO-2026-118", "string02": "ERP-40017", "string031": "SPCC", "string01": "PD24-001",
    "string032": "80T", "string033": "BR-2231", "string0": "华锐汽车部件", "string034": "0.8",
    "string035": "连续模", "string036": "张伟", "string04": "后座椅安装支架",
}


def chrome():
    options = webdriver.ChromeOptions()
    for a in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1600,1000",
              "--use-angle=swiftshader", "--enable-unsafe-swiftshader", "--lang=zh-CN"):
        options.add_argument(a)
    options.binary_location = "/usr/bin/chromium"
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class Studio:
    """`diebom studio` running on a part, and the address it printed."""

    def __init__(self, part, workdir):
        self.proc = subprocess.Popen(
            [ARGS.diebom, "studio", part, "--no-browser", "--port", "0", "--config", ARGS.config],
            cwd=workdir, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        lines = queue.Queue()
        self.output = []

        def read(stream):
            for line in stream:
                self.output.append(line)
                lines.put(line)
        for s in (self.proc.stdout, self.proc.stderr):
            threading.Thread(target=read, args=(s,), daemon=True).start()
        while True:
            try:
                line = lines.get(timeout=1)
            except queue.Empty:
                if self.proc.poll() is None:
                    continue
                raise AssertionError("diebom studio ended without an address: " + "".join(self.output))
            m = re.search(r"(http://127\.0\.0\.1:(\d+)/\?t=([0-9A-Za-z_-]+))", line)
            if m:
                self.url, self.port, self.token = m.group(1), int(m.group(2)), m.group(3)
                return

    def stop(self):
        """Ctrl-C, as in the terminal; the run ends by itself."""
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGINT)
            try:
                return self.proc.wait(timeout=60)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                raise AssertionError("diebom studio did not end on Ctrl-C")
        return self.proc.returncode

    def get(self, path, headers=None):
        """A plain request as another program would send it: (status, body)."""
        req = urllib.request.Request("http://127.0.0.1:%d%s" % (self.port, path), headers=headers or {})
        try:
            with urllib.request.urlopen(req, timeout=30) as r:
                return r.status, r.read()
        except urllib.error.HTTPError as e:
            return e.code, e.read()


class Page:
    """The studio's page in one browser tab, read and worked as a person does."""

    def __init__(self, driver, test):
        self.d = driver
        self.t = test

    # --- waiting ----------------------------------------------------------------
    def version(self):
        return int(self.d.execute_script("return Number(document.body.dataset.version || -1)"))

    def wait(self, what, timeout=60, message=""):
        def probe(_):
            try:
                return what()
            except StaleElementReferenceException:
                return False
        return WebDriverWait(self.d, timeout, poll_frequency=0.05).until(probe, message)

    def acted(self, do, until=lambda: True, timeout=120):
        """Does something and waits until the page drew a newer snapshot in
        which `until` holds."""
        v = self.version()
        do()
        return self.wait(lambda: self.version() > v and not self.busy() and until(), timeout,
                         "no new snapshot after an action")

    def busy(self):
        """An action is on its way or the host is working."""
        return self.one("#busy").is_displayed()

    # --- finding ------------------------------------------------------------------
    def all(self, css):
        return self.d.find_elements(By.CSS_SELECTOR, css)

    def one(self, css, timeout=60):
        return self.wait(lambda: (self.all(css) or [None])[0], timeout, "nothing matches " + css)

    def dialog(self, layout):
        return '[data-dialog="%s"]' % layout

    def block(self, layout, block):
        return self.one('%s [data-block="%s"]' % (self.dialog(layout), block))

    def dialogs(self):
        return [e.get_attribute("data-dialog") for e in self.all("[data-dialog]")]

    # --- boxes ----------------------------------------------------------------------
    def box_text(self):
        boxes = self.all("[data-message]")
        return boxes[0].find_element(By.CSS_SELECTOR, ".lines").text if boxes else None

    def answer(self, button, contains):
        """Waits for a message box saying `contains`, presses a button of it."""
        box = self.one("[data-message]")
        text = box.find_element(By.CSS_SELECTOR, ".lines").text
        self.t.assertIn(contains, text)
        self.acted(lambda: box.find_element(By.CSS_SELECTOR, '[data-button="%d"]' % button).click())
        return text

    def answer_all(self, button=1):
        """Answers every box that comes up; their texts in order."""
        texts = []
        while True:
            try:
                boxes = self.all("[data-message]")
                if not boxes:
                    return texts
                text = boxes[0].find_element(By.CSS_SELECTOR, ".lines").text
                press = boxes[0].find_element(By.CSS_SELECTOR, '[data-button="%d"]' % button)
                self.acted(press.click)
                texts.append(text)
            except StaleElementReferenceException:
                continue  # drawn anew meanwhile

    # --- window -----------------------------------------------------------------------
    def command(self, name):
        self.one('[data-command="%s"]' % name).click()

    def idle(self):
        """Nothing runs: the window's commands can be used."""
        return (not self.one("#busy").is_displayed() and
                all(b.is_enabled() for b in self.all("[data-command]")))

    def choose_file(self, mode, path):
        """The open or save chooser: the path typed into its name field; waits
        until the part is read or written."""
        self.command(mode)
        name = self.one('[data-chooser="%s"] [data-chooser-name]' % mode)
        name.clear()
        name.send_keys(path)
        self.acted(lambda: self.one('[data-chooser="%s"] [data-button="ok"]' % mode).click(), self.idle)

    def part_name(self):
        return self.one("#part-name").text

    # --- dialogs ------------------------------------------------------------------------
    def press(self, layout, block, until=lambda: True):
        self.acted(lambda: self.block(layout, block).click(), until)

    def dialog_button(self, layout, name, until=lambda: True):
        self.acted(lambda: self.one('%s [data-dialog-button="%s"]' % (self.dialog(layout), name)).click(), until)

    def toggle(self, layout, block):
        box = self.block(layout, block).find_element(By.CSS_SELECTOR, "input")
        return box.is_selected()

    def set_toggle(self, layout, block, value):
        if self.toggle(layout, block) != value:
            self.acted(lambda: self.block(layout, block).find_element(By.CSS_SELECTOR, "input").click(),
                       lambda: self.toggle(layout, block) == value)

    def type_field(self, layout, block, text, refused=False):
        """Types over a field's text and leaves it; the host takes the new
        value unless the page refuses it."""
        field = self.block(layout, block).find_element(By.CSS_SELECTOR, "input, textarea")
        keys = lambda: field.send_keys(Keys.CONTROL, "a", Keys.NULL, text, Keys.TAB)
        if refused:
            keys()
        else:
            self.acted(keys)

    def field(self, layout, block):
        return self.block(layout, block).find_element(By.CSS_SELECTOR, "input, textarea, select").get_attribute("value")

    # --- trees ------------------------------------------------------------------------------
    def rows(self, layout, tree=TREE):
        """Every drawn row: (path, {column: text}, selected, check box)."""
        return self.d.execute_script("""
          const t = document.querySelector('[data-dialog="' + arguments[0] + '"] [data-block="' + arguments[1] + '"]');
          return [...t.querySelectorAll('.tr')].map(tr => {
            const texts = {};
            for (const td of tr.querySelectorAll('.td[data-col]')) texts[td.dataset.col] = td.textContent;
            const cb = tr.querySelector('.cb');
            return [tr.dataset.row, texts, tr.classList.contains('sel'), cb ? (cb.checked ? 2 : 1) : 0];
          });""", layout, tree)

    def table(self, layout, tree=TREE, width=20):
        """The drawn rows as (level, texts of columns 0 to width-1)."""
        return [(path.count("."), [cells.get(str(c), "") for c in range(width)])
                for path, cells, _, _ in self.rows(layout, tree)]

    def texts(self, layout, columns, tree=TREE):
        """The rows as lines of the columns' texts, children indented."""
        return lines(self.table(layout, tree, max(columns) + 1), columns)

    def row_path(self, layout, column, text, tree=TREE):
        for path, cells, _, _ in self.rows(layout, tree):
            if cells[str(column)] == text:
                return path
        raise AssertionError("no row shows %r in column %d" % (text, column))

    def cell_el(self, layout, path, col, tree=TREE):
        """A cell, scrolled to the middle of its tree (clear of the sticky
        column titles)."""
        cell = self.one('%s [data-block="%s"] [data-row="%s"] [data-col="%d"]' % (self.dialog(layout), tree, path, col))
        self.d.execute_script("arguments[0].scrollIntoView({block: 'center', inline: 'center'})", cell)
        return cell

    def cell(self, layout, path, col, tree=TREE):
        return self.cell_el(layout, path, col, tree).text

    def selected(self, layout, tree=TREE):
        return [path for path, _, sel, _ in self.rows(layout, tree) if sel]

    def expand_all(self, layout, tree=TREE):
        while True:
            closed = [t for t in self.all('%s [data-block="%s"] .tw' % (self.dialog(layout), tree)) if t.text == "▶"]
            if not closed:
                return
            self.d.execute_script("arguments[0].scrollIntoView({block: 'center'})", closed[0])
            self.acted(closed[0].click)

    def click_row(self, layout, path, col=0, tree=TREE):
        """Selects the row (a click, unless it is selected already)."""
        if path in self.selected(layout, tree):
            return
        self.acted(lambda: self.cell_el(layout, path, col, tree).click(),
                   lambda: path in self.selected(layout, tree))

    def open_editor(self, layout, path, col, tree=TREE):
        """A second, slow click on the selected row's cell: the editor the
        tree offers. The two clicks land apart, so they are no double-click."""
        self.click_row(layout, path, col, tree)
        cell = self.cell_el(layout, path, col, tree)
        ActionChains(self.d).move_to_element_with_offset(cell, cell.size["width"] // 4, 0).click().perform()
        return self.one("[data-editor]")

    def type_cell(self, layout, path, col, text, tree=TREE):
        editor = self.open_editor(layout, path, col, tree)
        self.t.assertEqual("text", editor.get_attribute("data-editor"))
        editor.send_keys(Keys.CONTROL, "a")
        self.acted(lambda: editor.send_keys(text + Keys.ENTER), lambda: self.cell(layout, path, col, tree) == text)

    def choose_cell(self, layout, path, col, option, tree=TREE):
        """Chooses an option of a cell's list; returns the options offered
        and the one preselected."""
        editor = self.open_editor(layout, path, col, tree)
        self.t.assertEqual("list", editor.get_attribute("data-editor"))
        select = Select(editor)
        offered = [o.text.strip() for o in select.options]
        preselected = select.first_selected_option.text.strip() if select.all_selected_options else None
        self.acted(lambda: select.select_by_visible_text(option),
                   lambda: self.cell(layout, path, col, tree) == option)
        return offered, preselected

    def menu(self, layout, path, col=1, tree=TREE):
        """Right-click on a row: the entries of its context menu."""
        ActionChains(self.d).context_click(self.cell_el(layout, path, col, tree)).perform()
        menu = self.one("[data-menu]")
        return {e.text: e for e in menu.find_elements(By.CSS_SELECTOR, "[data-menu-item]")}

    # --- bodies ---------------------------------------------------------------------------------
    def click_body_in_view(self, name):
        """Clicks the body where the 3D view shows it, clear of the dialogs."""
        point = self.d.execute_script("return studioTest.bodyPoint(arguments[0])", name)
        self.t.assertIsNotNone(point, name + " is not to be seen in the view")
        canvas = self.one("#view canvas")
        self.t.assertEqual("CANVAS", self.d.execute_script(
            "return document.elementFromPoint(arguments[0], arguments[1]).tagName", point["x"], point["y"]))
        box = self.d.execute_script("const r = arguments[0].getBoundingClientRect(); return [r.left + r.width / 2, r.top + r.height / 2]", canvas)
        ActionChains(self.d).move_to_element_with_offset(canvas, int(point["x"] - box[0]), int(point["y"] - box[1])).click().perform()

    def hidden_bodies(self):
        return sorted(e.get_attribute("data-body") for e in self.all(".body-item.hidden"))


def cli_tree(part, out):
    """The tree `diebom bom --same-body` prints: its column titles and its
    rows as (level, texts of columns 0 to 19)."""
    run = subprocess.run([ARGS.diebom, "bom", part, "--same-body", "--format", "csv", "--config", ARGS.config,
                          "--header", ARGS.header, "--out", out], capture_output=True, text=True, timeout=600)
    if run.returncode != 0:
        raise AssertionError("diebom bom failed: " + run.stderr)
    rows = list(csv.reader(io.StringIO(run.stdout)))
    return rows[0][1:], [(int(r[0]) - 1, r[1:]) for r in rows[1:]]


def lines(rows, columns):
    """Rows as lines of the columns' texts, children indented."""
    return ["  " * level + " | ".join(cells[c] for c in columns) for level, cells in rows]


def stored_quantities(rows):
    """The rows as they read back after a save: the group row's quantity (column 5) was stored on
    the body its row stands for, so the head child, a copy of the group row, shows it; the other
    children keep their own."""
    out, group = [], None
    for level, cells in rows:
        if level == 0:
            group = cells[5]
            out.append((level, cells))
        else:
            out.append((level, cells if group is None else cells[:5] + [group] + cells[6:]))
            group = None
    return out


def size_cells(size):
    """How the workbook spreads a size over its L, x, W, x, T cells."""
    m = re.fullmatch(r"Φ(.*)xH(.*)", size)
    if m:
        return ["", "", "Φ" + m.group(1), "x", m.group(2)]
    l, w, t = size.split("x")
    return [l, "x", w, "x", t]


class StudioTest(unittest.TestCase):
    maxDiff = None
    @classmethod
    def setUpClass(cls):
        cls.driver = chrome()

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()

    def setUp(self):
        self.tmp = tempfile.mkdtemp(prefix="studio-browser-")
        self.part = os.path.join(self.tmp, "sample_die.xbf")
        shutil.copy(ARGS.part, self.part)
        self.studio = Studio(self.part, self.tmp)

    def tearDown(self):
        # What the page showed when a step failed, for the log.
        if not self._outcome.success:
            shot = os.path.join(tempfile.gettempdir(), "studio-browser-%s.png" % self._testMethodName)
            self.driver.save_screenshot(shot)
            print("the page at the failure: " + shot, file=sys.stderr)
        for handle in self.driver.window_handles[1:]:
            self.driver.switch_to.window(handle)
            self.driver.close()
        self.driver.switch_to.window(self.driver.window_handles[0])
        # Ctrl-C ends the run, whatever dialog is open.
        code = self.studio.stop()
        shutil.rmtree(self.tmp, ignore_errors=True)
        self.assertIn(code, (0, 130, -2), "diebom studio ended so: " + "".join(self.studio.output))

    def fetch(self, page, link):
        """A workbook through the page's download link, read by xlrd."""
        href = link.get_attribute("href")
        status, body = self.studio.get(href[href.index("/api/"):])
        self.assertEqual(200, status)
        return xlrd.open_workbook(file_contents=body).sheet_by_index(0)

    def export_links(self, page):
        page.one("#files-button").click()
        page.one('[data-chooser="files"] [data-file]')
        links = {a.get_attribute("data-file"): a for a in page.all('[data-chooser="files"] [data-file]')}
        return links

    def close_files(self, page):
        page.one('[data-chooser="files"] [data-button="ok"]').click()

    # ------------------------------------------------------------------------------------------
    def test_1_material_and_standard_part_boms(self):
        page = Page(self.driver, self)
        cli_out = os.path.join(self.tmp, "cli")
        os.makedirs(cli_out)
        shutil.copy(ARGS.part, os.path.join(self.tmp, "cli.xbf"))
        headings, printed = cli_tree(os.path.join(self.tmp, "cli.xbf"), cli_out)
        everything = list(range(20))

        self.driver.get(self.studio.url)
        page.wait(lambda: page.version() >= 0)
        self.assertEqual("sample_die", page.part_name())
        page.wait(lambda: self.driver.execute_script("return studioTest.meshCount()") == 61)

        # The options dialog (its toggles coupled by the host), then the
        # material BOM with identical bodies grouped: the rows diebom bom prints.
        page.acted(lambda: page.command("run-material"), lambda: OPTIONS in page.dialogs())
        page.set_toggle(OPTIONS, "toggle01", True)
        self.assertTrue(page.toggle(OPTIONS, "toggle0"))
        page.set_toggle(OPTIONS, "toggle01", False)
        self.assertTrue(page.toggle(OPTIONS, "toggle0"))
        page.dialog_button(OPTIONS, "ok", lambda: page.box_text() is not None)
        outside = "检测到标准图层以外的实体。\n请先用\"图层优化\"把实体移到标准图层,再生成材料BOM。"
        self.assertEqual(["提示：不在标准图层中部件，程序不会写BOM表清单，标准图层外的部件，程序自动将关闭，只显示标准模板图层",
                          outside], page.answer_all())
        page.one('%s [data-block="%s"] .tr' % (page.dialog(MATERIAL), TREE))
        self.assertEqual([MATERIAL], page.dialogs())
        self.assertEqual(headings, [h.text for h in page.all('%s [data-block="%s"] .th[data-col]' % (page.dialog(MATERIAL), TREE))])
        page.expand_all(MATERIAL)
        self.assertEqual(lines(printed, everything), page.texts(MATERIAL, everything))
        first_rows = page.texts(MATERIAL, [0, 1, 2, 3, 13])
        self.assertEqual(38, len(first_rows))
        self.assertEqual(["001 | 上模座 | UB-01 | 45# | ", "  008 | 入子 | IN-01 |  | 新增", "  018 | 导料板 | GP-01 | 45# | "],
                         [first_rows[i] for i in (0, 10, 37)])

        # Cells: the remark takes typed text; the name and the material come
        # from their lists (heat treatment and process follow the material);
        # the quantity offers no editor.
        top = page.row_path(MATERIAL, 2, "UB-01")
        page.type_cell(MATERIAL, top, 8, "客户指定材料")
        names, current = page.choose_cell(MATERIAL, top, 1, "上垫板")
        self.assertEqual(("上模座", 17), (current, len(names)))
        plate = page.row_path(MATERIAL, 2, "PH-01")
        materials, current = page.choose_cell(MATERIAL, plate, 3, "Cr12MoV")
        self.assertEqual(["Cr12MoV", "SKD11", "DC53", "45#", "P20", "A3", "SKH-51", "HT250"], materials)
        self.assertEqual("P20", current)
        self.assertEqual(["上夹板 | PH-01 | Cr12MoV | 淬火HRC58-60 | CNC开粗-热处理-磨床-慢丝"],
                         [t for t in page.texts(MATERIAL, [1, 2, 3, 7, 16]) if "PH-01" in t])
        self.assertEqual(["上垫板 | UB-01 | 45# | 客户指定材料"],
                         [t for t in page.texts(MATERIAL, [1, 2, 3, 8]) if "UB-01" in t])
        page.click_row(MATERIAL, plate, 5)
        cell = page.cell_el(MATERIAL, plate, 5)
        page.acted(lambda: ActionChains(self.driver).move_to_element_with_offset(cell, 10, 0).click().perform())
        self.assertEqual([], page.all("[data-editor]"))

        # A group's material goes to every body of the group.
        group = page.row_path(MATERIAL, 2, "PU-01")
        page.choose_cell(MATERIAL, group, 3, "SKD11")
        self.assertEqual(["010 | PU-01 | SKD11 | 真空淬火HRC60-62", "  010 | PU-01 | SKD11 | 真空淬火HRC60-62",
                          "  010 | PU-01 | SKD11 | 真空淬火HRC60-62"],
                         [t for t in page.texts(MATERIAL, [0, 2, 3, 7]) if "PU-01" in t])

        # Hide a row with the context menu, then show it again.
        hidden = page.hidden_bodies()
        shown = self.driver.execute_script("return studioTest.shownTags().length")
        base = page.row_path(MATERIAL, 2, "LB-01")
        page.click_row(MATERIAL, base)
        entries = page.menu(MATERIAL, base)
        self.assertEqual(["隐藏", "显示", "设置余量"], list(entries))
        page.acted(entries["隐藏"].click, lambda: page.hidden_bodies() == sorted(hidden + ["下模座"]))
        self.assertEqual(1, [r[3] for r in page.rows(MATERIAL) if r[0] == base][0])
        self.assertEqual(shown - 1, self.driver.execute_script("return studioTest.shownTags().length"))
        page.acted(page.menu(MATERIAL, base)["显示"].click, lambda: page.hidden_bodies() == hidden)
        self.assertEqual(2, [r[3] for r in page.rows(MATERIAL) if r[0] == base][0])
        self.assertEqual(shown, self.driver.execute_script("return studioTest.shownTags().length"))

        # Reorder: its question answered Yes; it saves, which wants the header
        # first: the handler's message, and the dialog goes on.
        page.press(MATERIAL, "button0611", lambda: page.box_text() is not None)
        page.answer(1, "是否要执行重新排序？")
        self.assertEqual(["产品材质不可以为空"], page.answer_all())
        for block, text in HEADER.items():
            page.type_field(MATERIAL, block, text)
        page.press(MATERIAL, "button0611", lambda: page.box_text() is not None)
        page.answer(1, "是否要执行重新排序？")
        self.assertEqual([], page.answer_all())
        self.assertEqual(
            ["UB-01", "UP-01", "PH-01", "SP-01", "DP-01", "LP-01", "LB-01", "IN-01", "IN-02",
             "PU-01", "PU-02", "PU-03", "BP-01", "UF-01", "LF-01", "ST-01", "ST-02", "GP-01"],
            [cells["2"] for path, cells, _, _ in page.rows(MATERIAL) if "." not in path])

        # A body picked in the list while the body selection is active
        # selects its row.
        self.assertIn("active", page.block(MATERIAL, "bodySelect0").get_attribute("class"))
        page.acted(lambda: page.one('[data-body="下模座"]').click(),
                   lambda: page.selected(MATERIAL) == [page.row_path(MATERIAL, 2, "LB-01")])
        self.assertIn("(1) 下模座", page.block(MATERIAL, "bodySelect0").text)
        # The top plate clicked in the 3D view, after the selection is cleared.
        page.acted(lambda: page.block(MATERIAL, "bodySelect0").find_element(By.CSS_SELECTOR, "button").click(),
                   lambda: "(0)" in page.block(MATERIAL, "bodySelect0").text)
        page.acted(lambda: page.click_body_in_view("上模座"),
                   lambda: "(1) 上模座" in page.block(MATERIAL, "bodySelect0").text)
        self.assertEqual([page.row_path(MATERIAL, 2, "UB-01")], page.selected(MATERIAL))

        # The allowance dialog of a row, stacked over the material BOM; the
        # body highlighted; the blank's coordinate system asked for; saved.
        page.acted(lambda: ActionChains(self.driver).double_click(page.cell_el(MATERIAL, top, 1)).perform(),
                   lambda: OFFSET in page.dialogs())
        self.assertEqual([MATERIAL, OFFSET], page.dialogs())
        self.assertIn("inactive", page.one(page.dialog(MATERIAL)).get_attribute("class"))
        self.assertEqual(1, len(self.driver.execute_script("return studioTest.highlightedTags()")))
        page.type_field(OFFSET, "double01", "3.5")
        page.type_field(OFFSET, "double05", "abc", refused=True)
        page.wait(lambda: "“厚度余量”需要一个数值，“abc”不是" in page.one("#banner").text)
        self.assertEqual("0", page.field(OFFSET, "double05"))
        page.dialog_button(OFFSET, "ok", lambda: page.all("[data-csys]"))
        self.assertEqual("指定坐标系", page.one("[data-csys] .titlebar").text)
        page.acted(lambda: page.one('[data-csys] [data-button="ok"]').click(), lambda: page.box_text() is not None)
        page.answer(1, "保存BOM属性成功！")
        self.assertEqual([MATERIAL], page.dialogs())
        self.assertEqual(["上垫板 | UB-01 | 400.0x253.5x45.0 | 3.500_0.000_0.000_0.000_0.000"],
                         [t for t in page.texts(MATERIAL, [1, 2, 4, 19]) if "UB-01" in t])

        # Export; the workbook, fetched through the page's link, equals the tree.
        page.expand_all(MATERIAL)
        edited = page.table(MATERIAL)
        page.press(MATERIAL, "button01", lambda: page.box_text() is not None)
        boxes = page.answer_all()
        self.assertEqual(2, len(boxes))
        self.assertIn("导出BOM前,请检查代号顺序是否按照（UB-01、UB-02、UB-03、.....）排列？", boxes[0])
        self.assertIn("导出材料BOM成功！", boxes[1])
        links = self.export_links(page)
        self.assertEqual(["sample_die材料BOM.xls"], list(links))
        sheet = self.fetch(page, links["sample_die材料BOM.xls"])
        self.close_files(page)
        self.assertEqual(["产品名称", "后座椅安装支架", "", "客户名称", "华锐汽车部件"], sheet.row_values(1)[:5])
        tops = [cells for path, cells, _, _ in page.rows(MATERIAL) if "." not in path]
        written = [sheet.row_values(6 + i) for i in range(len(tops))]
        self.assertEqual(
            [[str(i + 1), c["1"], c["2"], c["3"]] + size_cells(c["4"]) + [c["5"], "块", c["7"], c["8"], c["15"],
             c["16"], c["9"], c["10"], c["11"], c["12"], c["13"], c["14"]] for i, c in enumerate(tops)],
            written)
        self.assertEqual(["1", "上垫板", "UB-01", "45#", "400.0", "x", "253.5", "x", "45.0"], written[0][:9])
        self.assertEqual("客户指定材料", written[0][12])
        self.assertEqual(["3", "上夹板", "PH-01", "Cr12MoV"], written[2][:4])

        # A reload shows the dialog as it stands.
        self.driver.refresh()
        page.one('%s [data-block="%s"] .tr' % (page.dialog(MATERIAL), TREE))
        page.expand_all(MATERIAL)
        self.assertEqual(edited, page.table(MATERIAL))

        # Close the dialog, save the part file, open it again: the same tree,
        # except that the colour table gives the bodies of its colours their
        # material again, as it does on every build of the tree.
        page.dialog_button(MATERIAL, "cancel", lambda: page.dialogs() == [])
        saved = os.path.join(self.tmp, "edited.xbf")
        page.choose_file("save", saved)
        self.assertTrue(os.path.exists(saved))
        page.choose_file("open", self.part)
        self.assertEqual("sample_die", page.part_name())
        page.choose_file("open", saved)
        self.assertEqual("edited", page.part_name())
        page.acted(lambda: page.command("run-material"), lambda: OPTIONS in page.dialogs())
        page.set_toggle(OPTIONS, "toggle0", True)
        page.dialog_button(OPTIONS, "ok", lambda: MATERIAL in page.dialogs())
        self.assertEqual([], page.answer_all())  # the layers outside the template were saved hidden
        page.one('%s [data-block="%s"] .tr' % (page.dialog(MATERIAL), TREE))
        page.expand_all(MATERIAL)
        colour = [3, 7, 16]
        kept = [c for c in everything if c not in colour + [14]]
        # The save stored each group's quantity on its bodies, and a child row
        # shows the quantity its body carries.
        self.assertEqual(lines(stored_quantities(edited), kept), page.texts(MATERIAL, kept))
        self.assertEqual(lines(printed, colour), page.texts(MATERIAL, colour))
        stamp = page.texts(MATERIAL, [2, 13, 14])[10]
        self.assertRegex(stamp, r"^  IN-01 \| 新增 \| 20\d\d-\d\d-\d\d \d\d:\d\d:\d\d$")
        self.assertEqual("SO-2026-118", page.field(MATERIAL, "string03"))
        page.dialog_button(MATERIAL, "cancel", lambda: page.dialogs() == [])

        # The standard-part BOM: a brand chosen from its list, the export.
        page.acted(lambda: page.command("run-parts"), lambda: PARTS in page.dialogs())
        page.one('%s [data-block="%s"] .tr' % (page.dialog(PARTS), TREE))
        self.assertEqual(["001 | 外导柱 | Φ25x180 | MISUMI | 4", "002 | 外导套 | Φ25xΦ38x45 | MISUMI | 4",
                          "003 | 矩形弹簧 | TF25x50 | 盘起 | 4"], page.texts(PARTS, [0, 1, 2, 3, 4])[:3])
        self.assertEqual(["华锐汽车部件", "PD24-001", "BR-2231", "SO-2026-118"],
                         [page.field(PARTS, b) for b in ("string0", "string01", "string02", "string03")])
        spring = page.row_path(PARTS, 1, "矩形弹簧")
        # The brand list as the table holds it, its blank cells included.
        self.assertEqual((["", "MISUMI", "盘起", "大圆", "国产"] + [""] * 9, "盘起"),
                         page.choose_cell(PARTS, spring, 3, "MISUMI"))
        page.press(PARTS, "button01", lambda: page.box_text() is not None)
        self.assertIn("导出标准件BOM成功！", page.answer_all()[-1])
        links = self.export_links(page)
        self.assertEqual(["sample_die材料BOM.xls", "edited标准件BOM.xls"], list(links))
        sheet = self.fetch(page, links["edited标准件BOM.xls"])
        self.close_files(page)
        self.assertEqual(["", "客户名称", "华锐汽车部件", "", "", ""], sheet.row_values(1)[:6])
        self.assertEqual(["", "模具编号", "PD24-001", "设计担当", "张伟", ""], sheet.row_values(2)[:6])
        self.assertEqual(["3", "矩形弹簧", "TF25x50", "MISUMI", "4", "无"], sheet.row_values(8)[:6])
        page.dialog_button(PARTS, "cancel", lambda: page.dialogs() == [])

    # ------------------------------------------------------------------------------------------
    def test_2_bad_use(self):
        page = Page(self.driver, self)
        studio = self.studio
        host = "127.0.0.1:%d" % studio.port

        # Requests without the token, from a foreign name or another site.
        self.assertEqual(403, studio.get("/api/state")[0])
        self.assertEqual(403, studio.get("/?t=wrong")[0])
        self.assertEqual(403, studio.get("/api/state", {"X-Studio-Token": studio.token, "Host": "evil.example:%d" % studio.port})[0])
        self.assertEqual(403, studio.get("/api/state", {"X-Studio-Token": studio.token, "Origin": "http://evil.example"})[0])
        self.assertEqual(200, studio.get("/api/state", {"X-Studio-Token": studio.token, "Host": host})[0])

        self.assertEqual(403, studio.get("/")[0])

        # A part that cannot be read: the message in the page, the studio goes on.
        self.driver.get(studio.url)
        page.wait(lambda: page.version() >= 0)
        broken = os.path.join(self.tmp, "broken.step")
        with open(broken, "w") as f:
            f.write("ISO-10303-21;\nthis is no model\n")
        before = page.part_name()
        page.choose_file("open", broken)
        banner = page.one("#banner")
        page.wait(lambda: banner.is_displayed() and "broken.step" in banner.text)
        self.assertEqual(before, page.part_name())
        page.acted(lambda: page.command("run-parts"), lambda: PARTS in page.dialogs())
        page.dialog_button(PARTS, "cancel", lambda: page.dialogs() == [])

        # A second tab: it says another tab acts, until it takes over.
        first = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        self.driver.get(studio.url)
        page.wait(lambda: page.version() >= 0)
        page.wait(lambda: page.one("#banner").get_attribute("data-kind") == "other-tab")
        self.assertIn("另一个标签页正在操作", page.one("#banner").text)
        page.command("run-parts")
        page.wait(lambda: page.one("#banner").get_attribute("data-kind") == "other-tab")
        self.assertEqual([], page.dialogs())
        page.acted(lambda: page.one("#banner-action").click())
        page.acted(lambda: page.command("run-parts"), lambda: PARTS in page.dialogs())
        self.driver.switch_to.window(first)
        page.wait(lambda: PARTS in page.dialogs())
        page.wait(lambda: page.one("#banner").get_attribute("data-kind") == "other-tab")


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--diebom", required=True)
    parser.add_argument("--part", required=True)
    parser.add_argument("--config", required=True)
    parser.add_argument("--header", required=True)
    ARGS, rest = parser.parse_known_args()
    for name in ("diebom", "part", "config", "header"):
        setattr(ARGS, name, os.path.abspath(getattr(ARGS, name)))
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
