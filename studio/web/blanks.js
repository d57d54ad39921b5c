// The blanks in the 3D view: each highlighted body's blank (the bodies of the
// selected material rows) as a wire box in the body's blank system, with the
// system's axes and the three extents; the view menu's toggle shows every
// listed body's blank. The boxes come from the snapshot's "blanks", so a
// changed orientation is drawn as soon as the server holds it.
(function () {
  "use strict";
  if (!window.THREE || !window.studioView) return;
  const View = window.studioView;
  const AXIS_COLORS = [0xd02020, 0x20a020, 0x2050e0];
  const BOX_COLOR = 0xff8c00;
  let showAll = false;
  let last = null;
  const drawn = new Map(); // tag -> {group, key}
  let root = null;

  function world(b, x, y, z) {
    const o = b.origin, a = b.axes;
    return new THREE.Vector3(
      o[0] + x * a[0][0] + y * a[1][0] + z * a[2][0],
      o[1] + x * a[0][1] + y * a[1][1] + z * a[2][1],
      o[2] + x * a[0][2] + y * a[1][2] + z * a[2][2]);
  }

  function label(text, color) {
    const c = document.createElement("canvas");
    c.width = 256;
    c.height = 64;
    const g = c.getContext("2d");
    g.font = "bold 34px sans-serif";
    g.fillStyle = "rgba(255,255,255,0.85)";
    const w = Math.min(256, g.measureText(text).width + 16);
    g.fillRect(0, 8, w, 48);
    g.fillStyle = color;
    g.fillText(text, 8, 44);
    const s = new THREE.Sprite(new THREE.SpriteMaterial({ map: new THREE.CanvasTexture(c), depthTest: false }));
    s.renderOrder = 10;
    s.raycast = () => {};
    return s;
  }

  function fmt(n) {
    return (Math.round(n * 10) / 10).toFixed(1);
  }

  // One blank: the box's twelve edges, the axes from the box's low corner and
  // the extents written at the middle of the box's edges along each axis.
  function blankObject(b) {
    const group = new THREE.Group();
    const lo = b.low, hi = b.high;
    const corner = (i) => world(b, i & 1 ? hi[0] : lo[0], i & 2 ? hi[1] : lo[1], i & 4 ? hi[2] : lo[2]);
    const pts = [];
    for (let i = 0; i < 8; i++) {
      for (const bit of [1, 2, 4]) if (!(i & bit)) pts.push(corner(i), corner(i | bit));
    }
    const box = new THREE.LineSegments(new THREE.BufferGeometry().setFromPoints(pts),
      new THREE.LineBasicMaterial({ color: BOX_COLOR, depthTest: false, transparent: true }));
    box.renderOrder = 5;
    box.raycast = () => {};
    group.add(box);
    const size = Math.max(b.extents[0], b.extents[1], b.extents[2], 1);
    const start = world(b, lo[0], lo[1], lo[2]);
    for (let k = 0; k < 3; k++) {
      const dir = new THREE.Vector3().fromArray(b.axes[k]).normalize();
      const arrow = new THREE.ArrowHelper(dir, start, size * 0.35, AXIS_COLORS[k], size * 0.06, size * 0.03);
      arrow.traverse((o) => { o.raycast = () => {}; if (o.material) { o.material.depthTest = false; } o.renderOrder = 6; });
      group.add(arrow);
      const t = [lo[0], lo[1], lo[2]];
      t[k] = (lo[k] + hi[k]) / 2;
      const s = label("XYZ"[k] + " " + fmt(b.extents[k]), "#" + AXIS_COLORS[k].toString(16).padStart(6, "0"));
      s.position.copy(world(b, t[0], t[1], t[2]));
      const scale = size * 0.3;
      s.scale.set(scale, scale / 4, 1);
      group.add(s);
    }
    group.userData.blank = b;
    return group;
  }

  function dispose(g) {
    g.traverse((o) => {
      if (o.geometry) o.geometry.dispose();
      if (o.material) {
        if (o.material.map) o.material.map.dispose();
        o.material.dispose();
      }
    });
  }

  function paint(snap) {
    if (!View.ok) return;
    last = snap;
    if (!root) {
      root = new THREE.Group();
      View.scene.add(root);
    }
    const bodies = new Map((snap.bodies || []).map((b) => [b.tag, b]));
    const want = new Map();
    for (const b of snap.blanks || []) {
      const body = bodies.get(b.tag);
      if (!body || b.error || !b.extents) continue;
      const shown = !body.blanked && body.layer_visible !== false;
      if (body.highlighted || (showAll && shown)) want.set(b.tag, b);
    }
    let changed = false;
    for (const [tag, d] of drawn) {
      const b = want.get(tag);
      if (!b || JSON.stringify(b) !== d.key) {
        root.remove(d.group);
        dispose(d.group);
        drawn.delete(tag);
        changed = true;
      }
    }
    for (const [tag, b] of want) {
      if (drawn.has(tag)) continue;
      const group = blankObject(b);
      root.add(group);
      drawn.set(tag, { group, key: JSON.stringify(b) });
      changed = true;
    }
    // A frame of a large die is costly: draw only when a blank came or went.
    if (changed) View.draw();
  }

  function toggle() {
    showAll = !showAll;
    button.classList.toggle("on", showAll);
    button.dataset.on = showAll ? "1" : "0";
    if (last) paint(last);
  }

  const menu = document.getElementById("view-menu");
  const button = document.createElement("button");
  button.dataset.view = "blanks";
  button.dataset.on = "0";
  button.textContent = "显示全部毛坯 (B)";
  button.addEventListener("click", toggle);
  if (menu) menu.appendChild(button);
  window.addEventListener("keydown", (e) => {
    const t = e.target;
    if (t && (t.tagName === "INPUT" || t.tagName === "TEXTAREA" || t.tagName === "SELECT")) return;
    if ((e.key === "b" || e.key === "B") && !e.ctrlKey && !e.metaKey && !e.altKey) toggle();
  });
  window.addEventListener("studio-paint", (e) => paint(e.detail));

  if (window.studioTest) {
    // The blanks drawn now: body tag, extents and the box's corners in the world.
    window.studioTest.drawnBlanks = () => [...drawn.values()].map((d) => {
      const b = d.group.userData.blank;
      return { tag: b.tag, extents: b.extents, source: b.source };
    });
    window.studioTest.toggleBlanks = toggle;
  }
})();
