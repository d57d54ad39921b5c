#!/usr/bin/python3
"""The studio's 3D view in a real browser on the sample die: the face under
the cursor lit while a dialog is open, the blank of a selected material row
drawn as a wire box, and every body's blank at once from the view's toggle.
The cursor moves over real pixels the page says a face is drawn at."""
import argparse
import os
import shutil
import sys
import tempfile
import unittest

from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.common.action_chains import ActionChains

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import studio_browser_test as sb  # noqa: E402

ARGS = None


class View3dTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.mkdtemp(prefix="studio-3d-")
        shutil.copy(ARGS.part, os.path.join(self.tmp, "die.xbf"))
        self.studio = sb.Studio(os.path.join(self.tmp, "die.xbf"), self.tmp)
        self.driver = sb.chrome()

    def tearDown(self):
        self.driver.quit()
        self.studio.stop()
        shutil.rmtree(self.tmp, ignore_errors=True)

    def js(self, script, *args):
        return self.driver.execute_script(script, *args)

    def test_faces_lit_and_blanks_drawn(self):
        page = sb.Page(self.driver, self)
        self.driver.get(self.studio.url)
        page.wait(lambda: self.js("return studioTest.meshCount()") == 61)
        snap_bodies = self.js("return studioState.snap.bodies")
        first = snap_bodies[0]["tag"]
        self.assertEqual(6, self.js("return studioTest.faceCount(arguments[0])", first))

        # No dialog open: nothing lights under the cursor.
        self.assertEqual([], self.js("return studioTest.drawnBlanks()"))

        page.acted(lambda: page.command("run-material"), lambda: sb.OPTIONS in page.dialogs())
        page.dialog_button(sb.OPTIONS, "ok", lambda: page.box_text() is not None)
        # The layer notices the command gives on this die, each answered.
        tree = '%s [data-block="%s"] .tr' % (page.dialog(sb.MATERIAL), sb.TREE)
        while not page.all(tree):
            page.wait(lambda: page.all("[data-message] [data-button]") or page.all(tree))
            buttons = page.all('[data-message] [data-button="1"]')
            if buttons:
                try:
                    page.acted(buttons[0].click)
                except StaleElementReferenceException:
                    pass  # the box was drawn again meanwhile

        # The cursor over a face of the lower foot lights exactly that face.
        canvas = self.driver.find_element(sb.By.CSS_SELECTOR, "#view canvas")
        lit = None
        for face in sorted(set(self.js(
                "return Array.from(studioView.meshes.get(arguments[0]).userData.faces)", first))):
            p = self.js("return studioTest.facePoint(arguments[0], arguments[1])", first, face)
            if not p:
                continue
            r = canvas.rect
            ActionChains(self.driver).move_to_element_with_offset(
                canvas, p["x"] - r["x"] - r["width"] / 2, p["y"] - r["y"] - r["height"] / 2).perform()
            page.wait(lambda: self.js("return studioTest.litFace()") is not None, 10)
            lit = self.js("return studioTest.litFace()")
            self.assertEqual({"body": first, "face": face}, lit)
            break
        self.assertIsNotNone(lit, "no face of the foot is in sight")

        # Every body's blank from the view's toggle; the material command
        # oriented the turned stop block, so its box is drawn in its own
        # system (on the world axes it measured 42.64 x 33.86 x 20).
        self.js("studioTest.toggleBlanks()")
        blanks = {b["tag"]: b for b in self.js("return studioTest.drawnBlanks()")}
        shown = self.js("return studioTest.shownTags()")
        self.assertEqual(sorted(shown), sorted(blanks))
        stop = [b["tag"] for b in snap_bodies if b["name"] == "斜置挡块"][0]
        for got, want in zip(blanks[stop]["extents"], [40.0, 16.0, 20.0]):
            self.assertAlmostEqual(want, got, places=5)
        for got, want in zip(blanks[first]["extents"], [400.0, 50.0, 40.0]):
            self.assertAlmostEqual(want, got, places=6)
        self.js("studioTest.toggleBlanks()")
        self.assertEqual([], self.js("return studioTest.drawnBlanks()"))

        # For the picture: a row selected and every blank drawn.
        page.click_row(sb.MATERIAL, page.row_path(sb.MATERIAL, 2, "PH-01"))
        self.js("studioTest.toggleBlanks()")
        if ARGS.screenshot:
            self.js("studioView.drawNow()")
            self.driver.save_screenshot(ARGS.screenshot)
        page.dialog_button(sb.MATERIAL, "cancel", lambda: page.dialogs() == [])


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--diebom", required=True)
    parser.add_argument("--part", required=True)
    parser.add_argument("--config", required=True)
    parser.add_argument("--screenshot", default="")
    ARGS, rest = parser.parse_known_args()
    for name in ("diebom", "part", "config"):
        setattr(ARGS, name, os.path.abspath(getattr(ARGS, name)))
    sb.ARGS = ARGS
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
