#!/usr/bin/python3
"""The 3D view on the 1,000-body die in headless chromium with software
rendering: the time of one orbit frame and of a face pick under the cursor."""
import argparse
import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import studio_bench as sb  # noqa: E402

FRAMES = """
const V = studioView, c = V.controls, n = 40, t0 = performance.now();
for (let i = 0; i < n; i++) {
  const o = V.camera.position.clone().sub(c.target);
  o.applyAxisAngle(new THREE.Vector3(0, 0, 1), 0.05);
  V.camera.position.copy(c.target).add(o);
  V.camera.lookAt(c.target);
  V.renderer.render(V.scene, V.camera);
  V.renderer.getContext().finish();
}
return (performance.now() - t0) / n;
"""

PICKS = """
const r = studioView.renderer.domElement.getBoundingClientRect(), times = [];
let hits = 0;
for (let i = 0; i < 60; i++) {
  const x = r.left + r.width * (0.2 + 0.6 * ((i * 37) % 60) / 60), y = r.top + r.height * (0.2 + 0.6 * ((i * 23) % 60) / 60);
  const t0 = performance.now();
  if (studioTest.faceAt(x, y)) hits++;
  times.push(performance.now() - t0);
}
times.sort((a, b) => a - b);
return [times[30], times[57], hits];
"""


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--diebom", required=True)
    p.add_argument("--generate-die", required=True)
    p.add_argument("--config", required=True)
    p.add_argument("--bodies", type=int, default=1000)
    args, _ = p.parse_known_args()
    with tempfile.TemporaryDirectory() as tmp:
        subprocess.run([args.generate_die, tmp, "--bodies", str(args.bodies), "--name", "die"], check=True,
                       stdout=subprocess.DEVNULL)
        proc, url = sb.start_studio(args, os.path.join(tmp, "die.xbf"), tmp)
        driver = sb.chrome()
        try:
            driver.get(url)
            sb.wait(driver, lambda: driver.execute_script("return studioTest.meshCount()") == args.bodies)
            driver.execute_script("studioTest.fit()")
            frame = driver.execute_script(FRAMES)
            driver.execute_script(PICKS)  # the grids are built on a body's first pick
            median, p95, hits = driver.execute_script(PICKS)
            print("orbit frame: %.1f ms (%.1f frames/s)" % (frame, 1000 / frame))
            print("face pick: median %.1f ms, 95th %.1f ms (%d of 60 rays hit)" % (median, p95, hits))
        finally:
            driver.quit()
            proc.terminate()
            proc.wait()


if __name__ == "__main__":
    main()
