#!/usr/bin/python3
"""The studio on the 1,000-body die, in headless chromium:

- from the run command to the material tree drawn in the browser (the options
  dialog confirmed as soon as it shows, every body a row of its own), against
  `diebom bom` on the same part file, and their ratio (goal: at most 1.5);
- a cell edit's round trip: from the Enter that ends the typing to the row
  drawn again with the new text (goal: median at most 50 ms, 95th percentile
  at most 150 ms);
- the bytes of the page and the meshes sent to the browser (goal: 30 MB).

A benchmark, not a test: it prints its figures and whether each goal is met.
"""
import argparse
import os
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import queue
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.common.exceptions import ElementClickInterceptedException, StaleElementReferenceException
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

MATERIAL = '[data-dialog="ExportMaterialBom.dlx"]'
OPTIONS = '[data-dialog="SetBomOption.dlx"]'


def chrome():
    o = webdriver.ChromeOptions()
    for a in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1600,1000",
              "--use-angle=swiftshader", "--enable-unsafe-swiftshader"):
        o.add_argument(a)
    o.binary_location = "/usr/bin/chromium"
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=o)


def start_studio(args, part, cwd):
    proc = subprocess.Popen([args.diebom, "studio", part, "--no-browser", "--port", "0", "--config", args.config],
                            cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    lines = queue.Queue()
    threading.Thread(target=lambda: [lines.put(l) for l in proc.stdout], daemon=True).start()
    while True:
        m = re.search(r"(http://127\.0\.0\.1:\d+/\?t=\S+)", lines.get(timeout=300))
        if m:
            return proc, m.group(1)


def timed(command, cwd):
    t0 = time.perf_counter()
    subprocess.run(command, cwd=cwd, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - t0


def wait(driver, what, timeout=600):
    return WebDriverWait(driver, timeout, poll_frequency=0.01).until(lambda d: what())


# Types a text into a cell's open editor, presses Enter, and resolves with the
# milliseconds until the row shows the text (taken from the page's own clock).
EDIT_JS = """
const [text, done] = [arguments[0], arguments[arguments.length - 1]];
const editor = document.querySelector('[data-editor="text"]');
const row = editor.dataset.row, col = editor.dataset.col;
const tree = editor.closest('.tree');
editor.value = text;
const t0 = performance.now();
const check = () => {
  const cell = tree.querySelector('[data-row="' + row + '"] [data-col="' + col + '"]');
  if (cell && cell.textContent === text) {
    obs.disconnect();
    const total = performance.now() - t0;
    const calls = performance.getEntriesByType('resource').filter(e => e.name.includes('/api/action'));
    const last = calls[calls.length - 1];
    const server = last ? last.duration : 0;
    const before = last ? last.startTime - t0 : 0;
    performance.clearResourceTimings();
    done([total, server, studioTest.renderMs(), before]);
  }
};
const obs = new MutationObserver(check);
obs.observe(tree, {childList: true, subtree: true, characterData: true});
editor.dispatchEvent(new KeyboardEvent('keydown', {key: 'Enter', bubbles: true}));
"""


# A person's click on a cell (scrolled into the middle of its tree first);
# the cell is looked up anew, as rows are drawn anew.
CLICK_JS = """
const cell = document.querySelector(arguments[0]);
cell.scrollIntoView({block: 'center'});
const r = cell.getBoundingClientRect();
cell.dispatchEvent(new MouseEvent('click', {bubbles: true, detail: 1, clientX: r.left + 5, clientY: r.top + 5}));
"""


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--diebom", required=True)
    p.add_argument("--generate-die", required=True)
    p.add_argument("--config", required=True)
    p.add_argument("--header", required=True)
    p.add_argument("--bodies", type=int, default=1000)
    p.add_argument("--edits", type=int, default=60)
    args, _ = p.parse_known_args()

    tmp = tempfile.mkdtemp(prefix="studio-bench-")
    try:
        # The die, its first BOM run saved to a part file, which both runs read.
        subprocess.run([args.generate_die, tmp, "--bodies", str(args.bodies), "--name", "die"], check=True,
                       stdout=subprocess.DEVNULL)
        out = os.path.join(tmp, "out")
        os.makedirs(out)
        part = os.path.join(tmp, "saved.xbf")
        bom = [args.diebom, "bom", "--config", args.config, "--header", args.header, "--out", out]
        timed(bom[:2] + [os.path.join(tmp, "die.xbf"), "--save", part] + bom[2:], tmp)
        cli = min(timed(bom[:2] + [part] + bom[2:], tmp) for _ in range(2))

        proc, url = start_studio(args, part, tmp)
        driver = chrome()
        try:
            driver.get(url)
            wait(driver, lambda: driver.execute_script("return window.studioTest && studioTest.meshCount() > 0"))
            t0 = time.perf_counter()
            driver.find_element(By.CSS_SELECTOR, '[data-command="run-material"]').click()
            wait(driver, lambda: driver.find_elements(By.CSS_SELECTOR, OPTIONS))
            driver.find_element(By.CSS_SELECTOR, OPTIONS + ' [data-dialog-button="ok"]').click()
            while True:
                boxes = driver.find_elements(By.CSS_SELECTOR, '[data-message] [data-button="1"]:not(:disabled)')
                if boxes:
                    try:
                        boxes[0].click()  # the start-up's notes, answered at once
                    except (StaleElementReferenceException, ElementClickInterceptedException):
                        pass  # drawn anew meanwhile
                    continue
                if driver.find_elements(By.CSS_SELECTOR, MATERIAL + ' [data-block="tree_control0"] .tr'):
                    break
            studio = time.perf_counter() - t0
            rows = len(driver.find_elements(By.CSS_SELECTOR, MATERIAL + ' [data-block="tree_control0"] .tr'))

            # Edits of the remark of rows all over the tree.
            paths = driver.execute_script(
                "return [...document.querySelectorAll('%s [data-block=\"tree_control0\"] .tr')]"
                ".map(r => r.dataset.row).filter(p => !p.includes('.'))" % MATERIAL)
            sent = driver.execute_script("""
              const nav = performance.getEntriesByType('navigation')[0];
              let page = nav.transferSize || nav.encodedBodySize, mesh = 0, other = 0;
              for (const e of performance.getEntriesByType('resource')) {
                const n = e.transferSize || e.encodedBodySize;
                if (e.name.includes('/api/mesh')) mesh += n;
                else if (e.name.includes('/web/') || e.name.includes('/three/')) page += n;
                else other += n;
              }
              return [page, mesh];""")
            snapshot = driver.execute_script(
                "return performance.getEntriesByType('resource').filter(e => e.name.includes('/api/action'))"
                ".map(e => e.encodedBodySize).pop() || 0")
            print("run command to material tree drawn: %.2f s (diebom bom: %.2f s), %d rows drawn"
                  % (studio, cli, rows), flush=True)
            times, parts = [], []
            for i in range(args.edits):
                path = paths[(i * 37) % len(paths)]
                cell = MATERIAL + ' [data-row="%s"] [data-col="8"]' % path
                # Select the row (a click), then a second click opens the cell's editor.
                v = int(driver.execute_script("return document.body.dataset.version"))
                driver.execute_script(CLICK_JS, cell)
                wait(driver, lambda: int(driver.execute_script("return document.body.dataset.version")) > v)
                wait(driver, lambda: driver.execute_script(
                    "return document.querySelector(arguments[0]).classList.contains('sel')",
                    MATERIAL + ' [data-row="%s"]' % path), 30)
                driver.execute_script(CLICK_JS, cell)
                wait(driver, lambda: driver.find_elements(By.CSS_SELECTOR, '[data-editor="text"]'), 30)
                total, server, drawn, before = driver.execute_async_script(EDIT_JS, "备注%d" % i)
                times.append(total)
                parts.append((server, drawn, before, total - before - server))

        finally:
            driver.quit()
            proc.send_signal(signal.SIGINT)
            proc.wait(timeout=120)

        times.sort()
        median = statistics.median(times)
        p95 = times[min(len(times) - 1, int(round(0.95 * (len(times) - 1))))]
        total = (sent[0] + sent[1]) / 1e6
        ratio = studio / cli
        print("studio bench, %d bodies, %d tree rows" % (args.bodies, rows))
        print("  run command to material tree drawn: %.2f s; diebom bom on the same part: %.2f s; ratio %.2f (goal <= 1.5: %s)"
              % (studio, cli, ratio, "met" if ratio <= 1.5 else "NOT met"))
        print("  cell edit round trip over %d edits: median %.1f ms (goal <= 50: %s), 95th percentile %.1f ms (goal <= 150: %s), max %.1f ms"
              % (len(times), median, "met" if median <= 50 else "NOT met", p95, "met" if p95 <= 150 else "NOT met", times[-1]))
        print("  of which (medians): before the request %.1f ms, the action's request and answer %.1f ms, "
              "after the answer %.1f ms (drawing the snapshot %.1f ms)"
              % tuple(statistics.median(p[k] for p in parts) for k in (2, 0, 3, 1)))
        print("  sent: page %.2f MB + meshes %.2f MB = %.2f MB (goal <= 30: %s); one snapshot %.2f MB"
              % (sent[0] / 1e6, sent[1] / 1e6, total, "met" if total <= 30 else "NOT met", snapshot / 1e6))
    finally:
        shutil.rmtree(tmp, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
