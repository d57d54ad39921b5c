// Faces in the 3D view: the mesh says which face of the host each triangle
// belongs to; the face under the cursor is lit while a dialog or a selection
// is open, and a test can ask where a face is drawn. Rays are tested against
// a grid of each body's triangles, not against every triangle.
(function () {
  "use strict";
  if (!window.THREE || !window.studioView) return;
  const View = window.studioView;
  const S = window.studioState;
  const FACE_SECTION = 0x45434146; // "FACE"
  const CELLS = 16; // per axis of a body's box

  // The face tags of every body's triangles, from the mesh buffer's face section.
  function readFaces(buf, offset) {
    const dv = new DataView(buf);
    if (offset + 4 > buf.byteLength || dv.getUint32(offset, true) !== FACE_SECTION) return;
    let o = offset + 4;
    for (const mesh of View.meshes.values()) {
      if (o + 4 > buf.byteLength) return;
      const n = dv.getUint32(o, true);
      o += 4;
      mesh.userData.faces = new Uint32Array(buf.slice(o, o + 4 * n));
      o += 4 * n;
      mesh.userData.grid = null;
    }
  }

  // A uniform grid over the body's box: each cell lists the triangles whose
  // box touches it. A ray walks only the cells it crosses.
  function gridOf(mesh) {
    if (mesh.userData.grid) return mesh.userData.grid;
    const g = mesh.geometry, pos = g.attributes.position.array, idx = g.index.array;
    const box = g.boundingBox, size = box.getSize(new THREE.Vector3());
    const step = [0, 1, 2].map((k) => Math.max(size.getComponent(k) / CELLS, 1e-6));
    const cells = new Map();
    const cell = (k, v) => Math.min(CELLS - 1, Math.max(0, Math.floor((v - box.min.getComponent(k)) / step[k])));
    for (let t = 0; t < idx.length / 3; t++) {
      const lo = [Infinity, Infinity, Infinity], hi = [-Infinity, -Infinity, -Infinity];
      for (let c = 0; c < 3; c++) {
        const v = idx[3 * t + c];
        for (let k = 0; k < 3; k++) {
          lo[k] = Math.min(lo[k], pos[3 * v + k]);
          hi[k] = Math.max(hi[k], pos[3 * v + k]);
        }
      }
      for (let i = cell(0, lo[0]); i <= cell(0, hi[0]); i++)
        for (let j = cell(1, lo[1]); j <= cell(1, hi[1]); j++)
          for (let k = cell(2, lo[2]); k <= cell(2, hi[2]); k++) {
            const key = (i * CELLS + j) * CELLS + k;
            let list = cells.get(key);
            if (!list) cells.set(key, (list = []));
            list.push(t);
          }
    }
    mesh.userData.grid = { box, step, cells };
    return mesh.userData.grid;
  }

  const A = new THREE.Vector3(), B = new THREE.Vector3(), C = new THREE.Vector3(), P = new THREE.Vector3();

  // The nearest hit of the ray on one body: {distance, triangle, point} or null.
  function hitBody(mesh, ray) {
    if (!ray.intersectsBox(mesh.geometry.boundingBox)) return null;
    const grid = gridOf(mesh), pos = mesh.geometry.attributes.position.array, idx = mesh.geometry.index.array;
    const seen = new Set();
    let best = null;
    // Walk the ray through the box in small steps of the smallest cell.
    const enter = ray.intersectBox(grid.box, new THREE.Vector3());
    if (!enter) return null;
    const stepLen = Math.min(...grid.step) / 2;
    const diag = grid.box.getSize(new THREE.Vector3()).length();
    const p = enter.clone();
    for (let s = 0; s * stepLen <= diag + stepLen; s++) {
      p.copy(enter).addScaledVector(ray.direction, s * stepLen);
      const c = [0, 1, 2].map((k) => Math.floor((p.getComponent(k) - grid.box.min.getComponent(k)) / grid.step[k]));
      if (c.some((v) => v < -1 || v > CELLS)) break;
      const key = (Math.min(CELLS - 1, Math.max(0, c[0])) * CELLS + Math.min(CELLS - 1, Math.max(0, c[1]))) * CELLS
        + Math.min(CELLS - 1, Math.max(0, c[2]));
      const list = grid.cells.get(key);
      if (list) {
        for (const t of list) {
          if (seen.has(t)) continue;
          seen.add(t);
          A.fromArray(pos, 3 * idx[3 * t]);
          B.fromArray(pos, 3 * idx[3 * t + 1]);
          C.fromArray(pos, 3 * idx[3 * t + 2]);
          if (!ray.intersectTriangle(A, B, C, false, P)) continue;
          const d = P.distanceTo(ray.origin);
          if (!best || d < best.distance) best = { distance: d, triangle: t, point: P.toArray() };
        }
      }
      if (best && best.distance < enter.distanceTo(ray.origin) + s * stepLen - stepLen * 2) break;
    }
    return best;
  }

  function rayAt(x, y) {
    const rect = View.renderer.domElement.getBoundingClientRect();
    const p = new THREE.Vector2(((x - rect.left) / rect.width) * 2 - 1, -((y - rect.top) / rect.height) * 2 + 1);
    View.raycaster.setFromCamera(p, View.camera);
    return View.raycaster.ray;
  }

  // The face under a client point: {body, face, point} or null.
  function faceAt(x, y) {
    if (!View.ok) return null;
    const ray = rayAt(x, y);
    let best = null;
    for (const m of View.meshes.values()) {
      if (!m.visible) continue;
      const h = hitBody(m, ray);
      if (h && (!best || h.distance < best.distance)) best = Object.assign(h, { mesh: m });
    }
    if (!best) return null;
    const faces = best.mesh.userData.faces;
    return { body: best.mesh.userData.tag, face: faces ? faces[best.triangle] : 0, point: best.point };
  }

  // --- The lit face -----------------------------------------------------------------------

  const LIT = new THREE.MeshBasicMaterial({
    color: 0x33aaff, transparent: true, opacity: 0.55, side: THREE.DoubleSide, depthTest: true,
    polygonOffset: true, polygonOffsetFactor: -2, polygonOffsetUnits: -2,
  });
  let lit = null; // {body, face, object}

  function faceGeometry(mesh, face) {
    const faces = mesh.userData.faces, g = mesh.geometry, idx = g.index.array;
    const out = [];
    for (let t = 0; t < faces.length; t++) if (faces[t] === face) out.push(idx[3 * t], idx[3 * t + 1], idx[3 * t + 2]);
    const fg = new THREE.BufferGeometry();
    fg.setAttribute("position", g.attributes.position);
    fg.setIndex(out);
    return fg;
  }

  function light(hit) {
    if (lit && hit && lit.body === hit.body && lit.face === hit.face) return;
    if (lit) {
      lit.object.parent.remove(lit.object);
      lit.object.geometry.dispose();
      lit = null;
    }
    if (hit && hit.face) {
      const mesh = View.meshes.get(hit.body);
      const object = new THREE.Mesh(faceGeometry(mesh, hit.face), LIT);
      object.raycast = () => {};
      mesh.add(object);
      lit = { body: hit.body, face: hit.face, object };
    }
    View.draw();
  }

  function asking() {
    const snap = S.snap;
    return !!(snap && (snap.selection || (snap.dialogs && snap.dialogs.length)));
  }

  let pending = null;
  function hover(e) {
    if (pending) return;
    pending = requestAnimationFrame(() => {
      pending = null;
      light(asking() ? faceAt(e.clientX, e.clientY) : null);
    });
  }

  window.addEventListener("studio-mesh", (e) => {
    lit = null;
    readFaces(e.detail.buf, e.detail.offset);
  });
  if (View.ok) {
    View.renderer.domElement.addEventListener("pointermove", hover);
    View.renderer.domElement.addEventListener("pointerleave", () => light(null));
  }

  if (window.studioTest) {
    window.studioTest.faceAt = faceAt;
    window.studioTest.litFace = () => (lit ? { body: lit.body, face: lit.face } : null);
    // Where a face of a body is drawn: a client point whose ray really meets
    // that face first, or null when it is hidden from this view.
    window.studioTest.facePoint = (bodyTag, face) => {
      const mesh = View.meshes.get(bodyTag);
      if (!mesh || !mesh.userData.faces) return null;
      View.drawNow();
      const rect = View.renderer.domElement.getBoundingClientRect();
      const faces = mesh.userData.faces, pos = mesh.geometry.attributes.position.array, idx = mesh.geometry.index.array;
      for (let t = 0; t < faces.length; t++) {
        if (faces[t] !== face) continue;
        const c = new THREE.Vector3();
        for (let k = 0; k < 3; k++) c.add(new THREE.Vector3().fromArray(pos, 3 * idx[3 * t + k]));
        c.multiplyScalar(1 / 3).project(View.camera);
        const x = Math.round(rect.left + ((c.x + 1) / 2) * rect.width), y = Math.round(rect.top + ((1 - c.y) / 2) * rect.height);
        const hit = faceAt(x, y);
        if (hit && hit.body === bodyTag && hit.face === face) return { x, y };
      }
      return null;
    };
    window.studioTest.faceCount = (bodyTag) => {
      const m = View.meshes.get(bodyTag);
      return m && m.userData.faces ? new Set(m.userData.faces).size : 0;
    };
  }
})();
