// The studio's page: it draws the snapshot the server publishes (dialogs,
// trees, boxes, bodies) and sends back what the person does as actions. The
// dialogs' behaviour lives in the host and the plug-in; the page only shows.
(function () {
  "use strict";

  // ---------------------------------------------------------------------------
  // Talking to the server
  // ---------------------------------------------------------------------------

  const token = new URLSearchParams(location.search).get("t") || "";
  const tab = (function () {
    let id = sessionStorage.getItem("studio-tab");
    if (!id) {
      id = Math.random().toString(36).slice(2, 10);
      sessionStorage.setItem("studio-tab", id);
    }
    return id;
  })();

  const S = {
    snap: null, // the snapshot drawn
    dialogs: [], // drawn dialogs, outermost first: {file, sig, el, blocks}
    activeSelection: null, // "file/block" of the body selection that takes picks
    pending: [], // bodies picked for an object selection, before its OK
    pendingKey: null,
    meshVersion: null,
    lastError: null,
    dismissedListing: null,
    positions: {}, // dialog positions the person dragged to, by file
    queue: Promise.resolve(),
    forbidden: false,
  };

  function headers(extra) {
    return Object.assign({ "X-Studio-Token": token }, extra || {});
  }

  function withToken(url) {
    return url + (url.indexOf("?") >= 0 ? "&" : "?") + "t=" + encodeURIComponent(token);
  }

  async function getJson(url) {
    const r = await fetch(url, { headers: headers() });
    if (r.status === 403) {
      forbidden();
      throw new Error("403");
    }
    const j = await r.json().catch(() => null);
    if (!r.ok) throw new Error((j && j.error) || r.status + " " + r.statusText);
    return j;
  }

  function forbidden() {
    S.forbidden = true;
    banner("此页面的地址缺少本次运行的令牌 (token)，服务器拒绝了请求。请使用 diebom studio 打印的完整地址。",
           "error");
  }

  // Actions on the innermost dialog name it, so that a stale page is refused.
  const DIALOG_ACTIONS = new Set(["set", "vector", "point", "press", "pick", "unpick", "click", "check",
    "editor", "edit", "option", "menu", "menu-item", "double-click", "expand", "ok", "apply",
    "cancel", "close"]);

  // Sends one action; actions go out one after another, in the order made.
  function act(body) {
    const run = () => send(body);
    const p = S.queue.then(run, run);
    S.queue = p.catch(() => null);
    return p;
  }

  async function send(body) {
    body = Object.assign({ tab: tab }, body);
    if (S.snap) body.have = S.snap.version; // the answer carries only what changed
    if (DIALOG_ACTIONS.has(body.action) && !body.dialog) {
      const d = innermost();
      if (d) body.dialog = d.file;
    }
    setBusy(1);
    let r;
    try {
      r = await fetch("/api/action", {
        method: "POST", headers: headers({ "Content-Type": "application/json" }), body: JSON.stringify(body),
      });
    } catch (e) {
      setBusy(-1);
      banner("无法连接 studio 服务器：" + e.message, "error");
      return null;
    }
    const j = await readSnapshot(r, false);
    setBusy(-1);
    if (r.status === 403) {
      forbidden();
      return null;
    }
    if (j && typeof j.version === "number") apply(j);
    if (r.status === 200) return j;
    const message = (j && j.error) || r.status + " " + r.statusText;
    if (r.status === 409 && j && j.acting_tab && j.acting_tab !== tab) {
      otherTabBanner();
    } else {
      banner(message, "error");
    }
    return null;
  }

  // A snapshot's text is large (every body and row): the long poll does not
  // parse one whose version is drawn already (an action's answer brought
  // it). The version is the object's last key.
  async function readSnapshot(r, skipDrawn) {
    const text = await r.text().catch(() => "");
    const m = skipDrawn && /"version":(\d+)\}\s*$/.exec(text.slice(-40));
    if (m && S.snap && Number(m[1]) <= S.snap.version) return S.snap;
    try {
      return JSON.parse(text);
    } catch (e) {
      return null;
    }
  }

  async function poll() {
    let since = null;
    for (;;) {
      if (S.forbidden) return;
      try {
        const url = "/api/state?tab=" + tab + (since === null ? "" : "&since=" + since + "&have=" + since);
        const r = await fetch(url, { headers: headers() });
        if (r.status === 403) {
          forbidden();
          return;
        }
        if (!r.ok) throw new Error(r.status + " " + r.statusText);
        const j = await readSnapshot(r, true);
        if (!apply(j) && j && "base" in j && (!S.snap || S.snap.version < j.base)) {
          since = null; // a change this page never saw: the whole snapshot again
          continue;
        }
        since = S.snap ? S.snap.version : null;
      } catch (e) {
        if (S.forbidden) return;
        await new Promise((ok) => setTimeout(ok, 1000));
      }
    }
  }

  // ---------------------------------------------------------------------------
  // Drawing a snapshot
  // ---------------------------------------------------------------------------

  // An answer with "base" carries only what changed after that version: the
  // sections named in "keep" are the ones drawn now, and "rows_patch" gives
  // the tree rows that changed within dialogs that kept their shape.
  function apply(j) {
    if (!j || typeof j.version !== "number") return false;
    if (S.snap && j.version <= S.snap.version) return true; // drawn already
    let snap = j;
    if ("base" in j) {
      if (!S.snap || S.snap.version < j.base) return false;
      snap = {};
      for (const k of j.keep) snap[k] = S.snap[k];
      for (const k in j) if (k !== "base" && k !== "keep" && k !== "rows_patch") snap[k] = j[k];
      for (const p of j.rows_patch || []) patchRows(snap.dialogs[p.dialog], p.tree, p.rows);
    }
    S.snap = snap;
    render();
    return true;
  }

  function patchRows(dialog, treeId, rows) {
    const find = (blocks) => {
      for (const b of blocks || []) {
        if (b.id === treeId) return b;
        const c = find(b.children);
        if (c) return c;
      }
      return null;
    };
    const tree = find(dialog && dialog.blocks);
    if (!tree) return;
    for (const r of rows) {
      let list = tree.rows, row = null;
      for (const i of r.path.split(".")) {
        row = list && list[Number(i)];
        list = row && row.children;
      }
      if (row) Object.assign(row, r);
    }
  }

  function $(sel, root) {
    return (root || document).querySelector(sel);
  }

  function esc(text) {
    return String(text === undefined || text === null ? "" : text).replace(/[&<>"']/g, (c) =>
      ({ "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;", "'": "&#39;" })[c]);
  }

  function el(tag, attrs, children) {
    const e = document.createElement(tag);
    for (const k in attrs || {}) {
      const v = attrs[k];
      if (v === undefined || v === null || v === false) continue;
      if (k === "text") e.textContent = v;
      else if (k === "className") e.className = v;
      else if (k.startsWith("on")) e.addEventListener(k.slice(2), v);
      else e.setAttribute(k, v === true ? "" : v);
    }
    for (const c of children || []) if (c) e.appendChild(c);
    return e;
  }

  function innermost() {
    return S.snap && S.snap.dialogs && S.snap.dialogs.length
      ? S.snap.dialogs[S.snap.dialogs.length - 1] : null;
  }

  function render() {
    const t0 = performance.now();
    const snap = S.snap;
    renderBar(snap);
    renderBanners(snap);
    renderDialogs(snap);
    renderBoxes(snap);
    renderSelectionBar(snap);
    renderBodies(snap);
    renderListing(snap);
    document.body.dataset.version = String(snap.version);
    S.renderMs = performance.now() - t0;
  }

  function renderBar(snap) {
    const idle = !snap.running && !snap.busy;
    for (const b of document.querySelectorAll("[data-command]")) b.disabled = !idle;
    const part = snap.part;
    const name = $("#part-name");
    name.textContent = part ? part.name : "(没有部件)";
    name.title = part ? part.path : "";
    name.classList.toggle("modified", !!(part && part.modified));
    showBusy();
    const files = snap.files || [];
    $("#files-count").textContent = files.length ? "(" + files.length + ")" : "";
    $("#files-button").disabled = !files.length;
  }

  let inFlight = 0;
  function setBusy(delta) {
    inFlight = Math.max(0, inFlight + delta);
    showBusy();
  }

  function showBusy() {
    $("#busy").hidden = !(inFlight > 0 || (S.snap && S.snap.busy));
  }

  // --- Banners -----------------------------------------------------------------

  function banner(text, kind, actionLabel, action) {
    const b = $("#banner");
    b.hidden = false;
    b.className = kind || "";
    b.dataset.kind = kind || "info";
    $("#banner-text").textContent = text;
    const a = $("#banner-action");
    a.hidden = !actionLabel;
    a.textContent = actionLabel || "";
    a.onclick = action || null;
  }

  function hideBanner(kind) {
    const b = $("#banner");
    if (!kind || b.dataset.kind === kind) b.hidden = true;
  }

  function otherTabBanner() {
    banner("另一个标签页正在操作这个 studio。这里只显示它的状态。", "other-tab", "在此操作", () => {
      hideBanner();
      act({ action: "take-over" });
    });
  }

  // What the last open or save said shows once, when it is new; that another
  // tab acts shows for as long as it does.
  function renderBanners(snap) {
    if ((snap.error || null) !== S.lastError) {
      S.lastError = snap.error || null;
      if (snap.error) banner(snap.error, "error");
    }
    if (snap.acting_tab && snap.acting_tab !== tab) otherTabBanner();
    else hideBanner("other-tab");
  }

  // --- Dialogs -------------------------------------------------------------------

  function signature(blocks) {
    return blocks.map((b) => b.id + ":" + b.type + (b.children ? "[" + signature(b.children) + "]" : "")).join(",");
  }

  function renderDialogs(snap) {
    const dialogs = snap.dialogs || [];
    const desk = $("#desktop");
    // Keep the drawn dialogs that are still shown as they were; draw the rest.
    let keep = 0;
    while (keep < S.dialogs.length && keep < dialogs.length &&
           S.dialogs[keep].file === dialogs[keep].file &&
           S.dialogs[keep].sig === signature(dialogs[keep].blocks)) keep++;
    for (const d of S.dialogs.splice(keep)) d.el.remove();
    for (let i = keep; i < dialogs.length; i++) {
      S.dialogs.push(createDialog(dialogs[i], i, desk));
      if (hasTree(dialogs[i].blocks)) View.fit(); // the part beside the dialog
    }
    dialogs.forEach((d, i) => updateDialog(S.dialogs[i], d, i === dialogs.length - 1));
  }

  function createDialog(d, depth, desk) {
    const view = {
      file: d.file, sig: signature(d.blocks), blocks: new Map(), el: null,
    };
    const title = el("span", { className: "title" });
    const close = el("button", {
      "data-dialog-button": "close", title: "关闭", text: "×",
      onclick: () => act({ action: "close" }),
    });
    const bar = el("div", { className: "titlebar" }, [title, close]);
    const content = el("div", { className: "content" });
    for (const b of d.blocks) content.appendChild(createBlock(b, view));
    const buttons = el("div", { className: "buttons" });
    const labels = { ok: "确定", apply: "应用", cancel: "取消" };
    for (const name of ["ok", "apply", "cancel"]) {
      if (d.buttons.indexOf(name) < 0) continue;
      buttons.appendChild(el("button", {
        "data-dialog-button": name, text: labels[name], onclick: () => act({ action: name }),
      }));
    }
    const root = el("div", { className: "dialog" + (hasTree(d.blocks) ? "" : " column"), "data-dialog": d.file },
                    [bar, content, buttons]);
    if (!buttons.children.length) buttons.hidden = true;
    view.el = root;
    view.title = title;
    desk.appendChild(root);
    place(root, d, depth);
    drag(root, bar, d.file);
    return view;
  }

  function hasTree(blocks) {
    return blocks.some((b) => b.type === "Tree" || (b.children && hasTree(b.children)));
  }

  // A dialog with a tree stands at the right of the graphics window, beside the
  // part; a small one in the middle of it, nested ones a little lower.
  function place(root, d, depth) {
    const pos = S.positions[d.file];
    const W = window.innerWidth, H = window.innerHeight;
    const list = $("#bodies").getBoundingClientRect().width;
    if (hasTree(d.blocks)) {
      const width = Math.max(520, Math.min(1060, Math.round((W - list) * 0.64)));
      root.style.width = width + "px";
      root.style.height = Math.max(300, H - 52) + "px";
    }
    const r = root.getBoundingClientRect();
    let left, top;
    if (pos) {
      left = pos.left; top = pos.top;
    } else if (hasTree(d.blocks)) {
      left = W - list - r.width - 8; top = 40;
    } else {
      left = (W - list - r.width) / 2 + depth * 24; top = Math.max(40, (H - r.height) / 3) + depth * 24;
    }
    root.style.left = Math.max(0, Math.round(left)) + "px";
    root.style.top = Math.max(34, Math.round(top)) + "px";
  }

  function drag(root, handle, file) {
    handle.addEventListener("mousedown", (e) => {
      if (e.target.tagName === "BUTTON") return;
      const x0 = e.clientX, y0 = e.clientY, l0 = root.offsetLeft, t0 = root.offsetTop;
      const move = (m) => {
        root.style.left = l0 + m.clientX - x0 + "px";
        root.style.top = Math.max(0, t0 + m.clientY - y0) + "px";
      };
      const up = () => {
        S.positions[file] = { left: root.offsetLeft, top: root.offsetTop };
        document.removeEventListener("mousemove", move);
        document.removeEventListener("mouseup", up);
      };
      document.addEventListener("mousemove", move);
      document.addEventListener("mouseup", up);
      e.preventDefault();
    });
  }

  function updateDialog(view, d, active) {
    view.title.textContent = d.title;
    view.el.classList.toggle("inactive", !active);
    view.el.inert = !active;
    view.el.style.zIndex = String(20 + S.dialogs.indexOf(view));
    view.data = d;
    if (active) chooseActiveSelection(view, d);
    updateBlocks(view, d.blocks, true, true);
  }

  function updateBlocks(view, blocks, shown, enabled) {
    for (const b of blocks) {
      const v = view.blocks.get(b.id);
      if (!v) continue;
      v.el.hidden = !b.show;
      v.el.classList.toggle("enabled-false", !b.enable);
      v.update(b, enabled && b.enable);
      if (b.children) updateBlocks(view, b.children, shown && b.show, enabled && b.enable);
    }
  }

  // The body selection that takes picks: the one the person clicked last, else
  // the first shown and enabled one of the innermost dialog.
  function chooseActiveSelection(view, d) {
    const all = [];
    const walk = (blocks, shown, enabled) => {
      for (const b of blocks) {
        const s = shown && b.show, e = enabled && b.enable;
        if (b.type === "BodyCollector" && s && e) all.push(d.file + "/" + b.id);
        if (b.children) walk(b.children, s, e);
      }
    };
    walk(d.blocks, true, true);
    if (all.indexOf(S.activeSelection) < 0) S.activeSelection = all.length ? all[0] : null;
  }

  function activeSelectionBlock() {
    const d = innermost();
    if (!d || !S.activeSelection) return null;
    const [file, id] = S.activeSelection.split("/");
    return file === d.file ? id : null;
  }

  // --- Blocks ----------------------------------------------------------------------

  // Each block is made once and brought up to date by its update function; a
  // field the person is typing in keeps what they typed.
  function createBlock(b, view) {
    const make = BLOCKS[b.type] || BLOCKS.Unknown;
    const v = make(b, view);
    v.el.classList.add("block");
    v.el.dataset.block = b.id;
    view.blocks.set(b.id, v);
    return v.el;
  }

  function field(b, input, cls) {
    const lbl = el("span", { className: "lbl", text: b.label || "" });
    const e = el("label", { className: "field " + (cls || "") }, [lbl, input]);
    return { e, lbl };
  }

  function typing(input) {
    return document.activeElement === input && input.dataset.dirty === "1";
  }

  function watchTyping(input) {
    input.addEventListener("input", () => { input.dataset.dirty = "1"; });
    input.addEventListener("blur", () => { input.dataset.dirty = ""; });
  }

  function numberBlock(kind) {
    return function (b, view) {
      const input = el("input", { type: "text", className: "num", inputmode: "decimal" });
      const f = field(b, input, "blk-number");
      watchTyping(input);
      let shown = null;
      input.addEventListener("change", () => {
        const text = input.value.trim();
        const ok = kind === "int" ? /^[+-]?\d+$/.test(text) : text !== "" && isFinite(Number(text));
        if (!ok) {
          input.classList.add("invalid");
          banner("“" + (b.label || b.id) + "”需要" + (kind === "int" ? "一个整数" : "一个数值") +
                 "，“" + text + "”不是。已恢复原值 " + shown + "。", "error");
          input.value = shown;
          input.dataset.dirty = "";
          return;
        }
        input.classList.remove("invalid");
        const value = kind === "int" ? parseInt(text, 10) : Number(text);
        act({ action: "set", block: b.id, value });
      });
      return {
        el: f.e,
        update(nb, enabled) {
          f.lbl.textContent = nb.label || "";
          input.disabled = !enabled;
          shown = String(nb.value);
          if (!typing(input)) input.value = shown;
        },
      };
    };
  }

  function pickerFor(b) {
    return b.type === "BodyCollector" || b.type === "SpecifyCSYS";
  }

  const BLOCKS = {
    Group(b, view) {
      const head = el("div", { className: "group-head" });
      const body = el("div", { className: "group-body" });
      for (const c of b.children || []) body.appendChild(createBlock(c, view));
      const root = el("div", { className: "blk-group" }, [head, body]);
      head.addEventListener("click", () => {
        act({ action: "set", block: b.id, value: root.classList.contains("collapsed") });
      });
      return {
        el: root,
        update(nb) {
          head.textContent = nb.label || nb.id;
          root.classList.toggle("collapsed", nb.expanded === false);
        },
      };
    },
    ScrolledWindow(b, view) {
      const root = el("div", { className: "blk-scrolled" });
      for (const c of b.children || []) root.appendChild(createBlock(c, view));
      return { el: root, update() {} };
    },
    Separator() {
      return { el: el("hr", { className: "blk-separator" }), update() {} };
    },
    Label(b) {
      const root = el("div", { className: "blk-label" });
      return { el: root, update(nb) { root.textContent = nb.label || ""; } };
    },
    Button(b) {
      const btn = el("button", { onclick: () => act({ action: "press", block: b.id }) });
      return {
        el: btn,
        update(nb, enabled) {
          btn.textContent = nb.label || nb.id;
          btn.disabled = !enabled;
        },
      };
    },
    Toggle(b) {
      const box = el("input", { type: "checkbox" });
      const lbl = el("span", { className: "lbl" });
      const root = el("label", { className: "field blk-toggle" }, [box, lbl]);
      box.addEventListener("click", (e) => {
        // The box shows what the host holds: the click asks for the state it
        // flipped to, then undoes its own flip.
        const wanted = box.checked;
        e.preventDefault();
        act({ action: "set", block: b.id, value: wanted });
      });
      return {
        el: root,
        update(nb, enabled) {
          lbl.textContent = nb.label || "";
          box.checked = !!nb.value;
          box.disabled = !enabled;
        },
      };
    },
    Integer: numberBlock("int"),
    Double: numberBlock("double"),
    String(b, view) {
      const input = el("input", { type: "text" });
      const list = el("datalist", { id: "dl-" + view.file.replace(/\W/g, "") + "-" + b.id });
      input.setAttribute("list", list.id);
      const f = field(b, input, "blk-string");
      f.e.appendChild(list);
      watchTyping(input);
      input.addEventListener("change", () => {
        input.dataset.dirty = "";
        act({ action: "set", block: b.id, value: input.value });
      });
      let items = "";
      return {
        el: f.e,
        update(nb, enabled) {
          f.lbl.textContent = nb.label || "";
          input.disabled = !enabled;
          if (!typing(input)) input.value = nb.value || "";
          const now = JSON.stringify(nb.items || []);
          if (now !== items) {
            items = now;
            list.innerHTML = (nb.items || []).map((i) => '<option value="' + esc(i) + '">').join("");
          }
        },
      };
    },
    MultilineString(b) {
      const area = el("textarea", { rows: 4 });
      const lbl = el("span", { className: "lbl" });
      const root = el("label", { className: "blk-multiline" }, [lbl, area]);
      watchTyping(area);
      area.addEventListener("change", () => {
        area.dataset.dirty = "";
        act({ action: "set", block: b.id, value: area.value.split("\n") });
      });
      return {
        el: root,
        update(nb, enabled) {
          lbl.textContent = nb.label || "";
          area.disabled = !enabled;
          const text = (nb.value || []).join("\n");
          if (!typing(area)) area.value = text;
          area.rows = Math.min(8, Math.max(2, (nb.value || []).length));
        },
      };
    },
    Enumeration(b) {
      const select = el("select");
      const f = field(b, select, "blk-enum");
      select.addEventListener("change", () => act({ action: "set", block: b.id, value: select.selectedIndex }));
      let members = null;
      return {
        el: f.e,
        update(nb, enabled) {
          f.lbl.textContent = nb.label || "";
          const now = JSON.stringify(nb.members || []);
          if (now !== members) {
            members = now;
            select.innerHTML = (nb.members || []).map((m, i) =>
              '<option value="' + i + '">' + (m === "" ? "&nbsp;" : esc(m)) + "</option>").join("");
          }
          select.selectedIndex = typeof nb.value === "number" ? nb.value : -1;
          select.disabled = !enabled;
        },
      };
    },
    FolderSelection(b) {
      const input = el("input", { type: "text" });
      const browse = el("button", { text: "…", title: "浏览文件夹" });
      const f = field(b, input, "blk-folder");
      f.e.appendChild(browse);
      watchTyping(input);
      const send = (path) => act({ action: "set", block: b.id, value: path });
      input.addEventListener("change", () => { input.dataset.dirty = ""; send(input.value); });
      browse.addEventListener("click", (e) => {
        e.preventDefault();
        chooser({ mode: "folder", title: b.label || "选择文件夹", dir: input.value, done: send });
      });
      return {
        el: f.e,
        update(nb, enabled) {
          f.lbl.textContent = nb.label || "";
          input.disabled = browse.disabled = !enabled;
          if (!typing(input)) input.value = nb.value || "";
        },
      };
    },
    BodyCollector(b, view) {
      const key = view.file + "/" + b.id;
      const lbl = el("span", { className: "lbl" });
      const count = el("span", { className: "count" });
      const clear = el("button", { text: "清除", title: "清除选择" });
      const root = el("div", { className: "field blk-selection" }, [lbl, count, clear]);
      root.title = "激活后，在图形窗口或实体列表中单击实体来选择它 (Shift+单击取消选择)";
      root.addEventListener("click", () => {
        S.activeSelection = key;
        render();
      });
      clear.addEventListener("click", (e) => {
        e.stopPropagation();
        act({ action: "unpick", block: b.id, tags: [] });
      });
      return {
        el: root,
        update(nb, enabled) {
          lbl.textContent = "▶ " + (nb.label || "选择实体");
          const sel = nb.selected || [];
          count.textContent = sel.length ? "(" + sel.length + ") " + bodyNames(sel) : "(0)";
          clear.disabled = !enabled || !sel.length;
          root.classList.toggle("active", S.activeSelection === key);
        },
      };
    },
    SpecifyCSYS(b) {
      const select = el("select");
      const f = field(b, select, "blk-csys");
      select.addEventListener("change", () => {
        const tag = Number(select.value);
        if (tag) act({ action: "pick", block: b.id, tags: [tag] });
        else act({ action: "unpick", block: b.id, tags: [] });
      });
      let options = "";
      return {
        el: f.e,
        update(nb, enabled) {
          f.lbl.textContent = nb.label || "";
          const systems = (S.snap.systems || []);
          const now = JSON.stringify(systems.map((s) => [s.tag, s.name]));
          if (now !== options) {
            options = now;
            select.innerHTML = '<option value="0">(未选择)</option>' + systems.map((s) =>
              '<option value="' + s.tag + '">' + esc(s.name || "#" + s.tag) + " (图层 " + s.layer + ")</option>").join("");
          }
          select.value = String((nb.selected || [])[0] || 0);
          select.disabled = !enabled;
        },
      };
    },
    SpecifyVector(b) {
      const ins = [0, 1, 2, 3, 4, 5].map(() => el("input", { type: "text", className: "num" }));
      ins.forEach(watchTyping);
      const lbl = el("span", { className: "lbl" });
      const axes = ["+X", "-X", "+Y", "-Y", "+Z", "-Z"].map((a) => el("button", {
        text: a, title: "方向 " + a,
        onclick: (e) => {
          e.preventDefault();
          const v = [0, 0, 0];
          v["XYZ".indexOf(a[1])] = a[0] === "-" ? -1 : 1;
          send(v, ins.slice(3).map((i) => Number(i.value) || 0));
        },
      }));
      const send = (vector, point) => act({ action: "vector", block: b.id, vector, point });
      const changed = () => {
        const nums = ins.map((i) => Number(i.value.trim()));
        if (nums.some((n, k) => ins[k].value.trim() === "" || !isFinite(n))) {
          banner("“" + (b.label || b.id) + "”的方向和点需要六个数值。", "error");
          return;
        }
        send(nums.slice(0, 3), nums.slice(3));
      };
      ins.forEach((i) => i.addEventListener("change", changed));
      const root = el("div", { className: "field blk-vector" }, [lbl, el("span", { text: "方向" }),
        ins[0], ins[1], ins[2], el("span", { text: "点" }), ins[3], ins[4], ins[5]].concat(axes));
      return {
        el: root,
        update(nb, enabled) {
          lbl.textContent = nb.label || "";
          const vals = (nb.vector || [0, 0, 0]).concat(nb.point || [0, 0, 0]);
          ins.forEach((i, k) => { if (!typing(i)) i.value = fmt(vals[k]); i.disabled = !enabled; });
          axes.forEach((a) => { a.disabled = !enabled; });
        },
      };
    },
    SpecifyPoint(b) {
      const ins = [0, 1, 2].map(() => el("input", { type: "text", className: "num" }));
      ins.forEach(watchTyping);
      const lbl = el("span", { className: "lbl" });
      ins.forEach((i) => i.addEventListener("change", () => {
        const nums = ins.map((x) => Number(x.value.trim()));
        if (nums.some((n, k) => ins[k].value.trim() === "" || !isFinite(n))) {
          banner("“" + (b.label || b.id) + "”需要三个坐标数值。", "error");
          return;
        }
        act({ action: "point", block: b.id, point: nums });
      }));
      const root = el("div", { className: "field blk-point" }, [lbl].concat(ins));
      return {
        el: root,
        update(nb, enabled) {
          lbl.textContent = nb.label || "";
          ins.forEach((i, k) => { if (!typing(i)) i.value = fmt((nb.point || [0, 0, 0])[k]); i.disabled = !enabled; });
        },
      };
    },
    Tree(b, view) {
      return createTree(b, view);
    },
    Unknown(b) {
      const root = el("div", { className: "blk-label" });
      return { el: root, update(nb) { root.textContent = (nb.label || nb.id) + " (" + nb.type + ")"; } };
    },
  };

  function fmt(n) {
    return Number.isInteger(n) ? String(n) : String(Math.round(n * 1e6) / 1e6);
  }

  function bodyNames(tags) {
    const byTag = bodyIndex();
    const names = tags.slice(0, 4).map((t) => (byTag.get(t) || { name: "#" + t }).name);
    return names.join(", ") + (tags.length > 4 ? " …" : "");
  }

  function bodyIndex() {
    if (S.bodyIndexOf !== S.snap) {
      S.bodyIndex = new Map((S.snap.bodies || []).map((b) => [b.tag, b]));
      S.bodyIndexOf = S.snap;
    }
    return S.bodyIndex;
  }

  // --- Trees -------------------------------------------------------------------------

  // A tree is one scrolling box: a header of columns and the rows as one block
  // of HTML. A new snapshot redraws only the rows whose drawing changed, and
  // all of them only when rows came or went.
  function createTree(b, view) {
    const lbl = el("div", { className: "lbl" });
    const head = el("div", { className: "thead" });
    const body = el("div", { className: "tbody" });
    const box = el("div", { className: "tree", tabindex: "0" }, [head, body]);
    const root = el("div", { className: "blk-tree" }, [lbl, box]);
    const T = {
      id: b.id, data: b, colSig: "", order: [], html: [], rows: new Map(), editTimer: 0, editor: null,
      box, body,
    };

    const rowOf = (e) => {
      const tr = e.target.closest(".tr");
      return tr ? tr.dataset.row : null;
    };
    const colOf = (e) => {
      const td = e.target.closest(".td[data-col]");
      return td ? Number(td.dataset.col) : firstColumn(T.data);
    };

    box.addEventListener("click", (e) => {
      if (T.editor && T.editor.contains(e.target)) return;
      const row = rowOf(e);
      if (row === null) return;
      const col = colOf(e);
      if (e.target.classList.contains("tw")) {
        const r = T.rows.get(row);
        act({ action: "expand", tree: T.id, row, expanded: !(r && r.expanded) });
        return;
      }
      if (e.target.classList.contains("cb")) {
        e.preventDefault(); // the handler decides the new state
        act({ action: "check", tree: T.id, row });
        return;
      }
      const r = T.rows.get(row);
      if (e.ctrlKey || e.metaKey) {
        act({ action: "click", tree: T.id, row, col, ctrl: true });
      } else if (r && r.selected && e.detail === 1) {
        // A second, slow click on the selected row edits the cell (unless it
        // turns out to be a double-click).
        clearTimeout(T.editTimer);
        T.editTimer = setTimeout(() => beginEdit(T, row, col), 350);
      } else if (e.detail === 1) {
        act({ action: "click", tree: T.id, row, col, ctrl: false });
      }
    });
    box.addEventListener("dblclick", (e) => {
      const row = rowOf(e);
      if (row === null || e.target.classList.contains("tw") || e.target.classList.contains("cb")) return;
      if (T.editor && T.editor.contains(e.target)) return;
      clearTimeout(T.editTimer);
      act({ action: "double-click", tree: T.id, row, col: colOf(e) });
    });
    box.addEventListener("contextmenu", async (e) => {
      e.preventDefault();
      closeEditor(T);
      const row = rowOf(e);
      const col = colOf(e);
      const x = e.clientX, y = e.clientY;
      let answer;
      if (row === null) {
        answer = await act({ action: "menu", tree: T.id, col });
      } else {
        const r = T.rows.get(row);
        if (r && !r.selected) await act({ action: "click", tree: T.id, row, col, ctrl: false });
        answer = await act({ action: "menu", tree: T.id, row, col });
      }
      if (answer && answer.menu && answer.menu.length) showMenu(T, answer.menu, row, col, x, y);
    });
    box.addEventListener("keydown", (e) => {
      if (e.key === "F2") {
        const sel = firstSelected(T.data.rows);
        if (sel) beginEdit(T, sel.path, firstEditableGuess(T));
      }
    });

    return {
      el: root,
      update(nb, enabled) {
        lbl.textContent = nb.label || "";
        lbl.hidden = !nb.label;
        box.classList.toggle("disabled", !enabled);
        T.data = nb;
        drawTree(T, head);
      },
      tree: T,
    };
  }

  function firstColumn(t) {
    const c = (t.columns || []).find((c) => c.visible !== false);
    return c ? c.id : 0;
  }

  function firstEditableGuess(T) {
    return firstColumn(T.data);
  }

  function firstSelected(rows) {
    for (const r of rows || []) {
      if (r.selected) return r;
      const c = r.children && firstSelected(r.children);
      if (c) return c;
    }
    return null;
  }

  // Rows are drawn behind a gutter that holds their indentation, expander
  // and check box, so that every column shows its text in its own width.
  function drawTree(T, head) {
    const t = T.data;
    const cols = (t.columns || []).filter((c) => c.visible !== false);
    const depth = maxDepth(t.rows || [], 0);
    const checks = hasChecks(t.rows || []);
    const gutter = 4 + depth * 12 + 12 + (checks ? 16 : 0);
    const colSig = JSON.stringify(cols) + t.tooltips + "/" + gutter;
    if (colSig !== T.colSig) {
      T.colSig = colSig;
      head.innerHTML = '<div class="th gutter" style="width:' + gutter + 'px"></div>' + cols.map((c) =>
        '<div class="th" data-col="' + c.id + '" style="width:' + width(c) + 'px" title="' + esc(c.title) + '">' +
        esc(c.title) + "</div>").join("");
      T.order = [];
    }
    // Flatten the shown rows and draw each as one line of HTML.
    const order = [], html = [];
    T.rows = new Map();
    const walk = (rows, level) => {
      for (const r of rows) {
        T.rows.set(r.path, r);
        order.push(r.path);
        html.push(rowHtml(r, level, cols, gutter, t.tooltips));
        if (r.expanded && r.children && r.children.length) walk(r.children, level + 1);
      }
    };
    walk(t.rows || [], 0);
    const sameRows = order.length === T.order.length && order.every((p, i) => p === T.order[i]);
    if (!sameRows) {
      T.body.innerHTML = html.join("") || '<div class="empty">(空)</div>';
    } else {
      const kids = T.body.children;
      for (let i = 0; i < html.length; i++) if (html[i] !== T.html[i]) kids[i].outerHTML = html[i];
    }
    T.order = order;
    T.html = html;
    if (T.editor && !T.rows.has(T.editor.dataset.row)) closeEditor(T);
  }

  function maxDepth(rows, level) {
    let d = level;
    for (const r of rows) if (r.expanded && r.children && r.children.length) d = Math.max(d, maxDepth(r.children, level + 1));
    return d;
  }

  function hasChecks(rows) {
    return rows.some((r) => r.state === 1 || r.state === 2 || (r.children && hasChecks(r.children)));
  }

  function width(c) {
    return Math.max(24, c.width || 80);
  }

  function rowHtml(r, level, cols, gutter, tips) {
    const texts = r.texts || {};
    const kids = r.children && r.children.length;
    const tw = kids ? (r.expanded ? "▼" : "▶") : "";
    const cb = r.state === 1 || r.state === 2
      ? '<input type="checkbox" class="cb"' + (r.state === 2 ? " checked" : "") + ">" : "";
    let s = '<div class="tr' + (r.selected ? " sel" : "") + '" data-row="' + r.path + '"' +
      (r.rgb ? ' style="color:' + r.rgb + '"' : "") + '><div class="td gutter" style="width:' + gutter +
      "px;padding-left:" + (2 + level * 12) + 'px"><span class="tw">' + tw + "</span>" + cb + "</div>";
    for (const c of cols) {
      const text = esc(texts[c.id]);
      const tip = tips && text ? ' title="' + text + '"' : "";
      s += '<div class="td" data-col="' + c.id + '" style="width:' + width(c) + 'px"' + tip + ">" + text + "</div>";
    }
    return s + "</div>";
  }

  // In-cell editing: the tree's handlers say which editor the cell offers.
  async function beginEdit(T, row, col) {
    closeEditor(T);
    const answer = await act({ action: "editor", tree: T.id, row, col });
    if (!answer || !answer.editor) return;
    const ed = answer.editor;
    const tr = T.body.querySelector('.tr[data-row="' + row + '"]');
    const td = tr && tr.querySelector('.td[data-col="' + col + '"]');
    if (!td) return;
    const boxRect = T.box.getBoundingClientRect(), cell = td.getBoundingClientRect();
    const left = cell.left - boxRect.left + T.box.scrollLeft, top = cell.top - boxRect.top + T.box.scrollTop;
    let editor;
    if ((ed.control === "list" || ed.control === "combo") && ed.options && ed.options.length) {
      editor = el("select", { className: "editor", "data-editor": "list" });
      editor.size = Math.min(10, Math.max(2, ed.options.length));
      editor.innerHTML = ed.options.map((o, i) =>
        '<option value="' + i + '">' + (o === "" ? "&nbsp;" : esc(o)) + "</option>").join("");
      editor.selectedIndex = typeof ed.selected === "number" ? ed.selected : -1;
      editor.style.height = "auto";
      const choose = () => {
        const index = editor.selectedIndex;
        closeEditor(T);
        if (index >= 0) act({ action: "option", tree: T.id, row, col, index });
      };
      editor.addEventListener("change", choose);
      editor.addEventListener("keydown", (e) => {
        if (e.key === "Enter") choose();
        if (e.key === "Escape") closeEditor(T);
      });
      editor.addEventListener("blur", () => setTimeout(() => { if (T.editor === editor) closeEditor(T); }, 150));
    } else if (ed.can_edit) {
      const r = T.rows.get(row);
      const before = ((r && r.texts) || {})[col] || "";
      editor = el("input", { type: "text", className: "editor", "data-editor": "text" });
      editor.value = before;
      let done = false;
      const commit = () => {
        if (done) return;
        done = true;
        const text = editor.value;
        closeEditor(T);
        if (text !== before) act({ action: "edit", tree: T.id, row, col, text });
      };
      editor.addEventListener("keydown", (e) => {
        if (e.key === "Enter") commit();
        if (e.key === "Escape") { done = true; closeEditor(T); }
      });
      editor.addEventListener("blur", commit);
    } else {
      return; // the cell is read-only
    }
    editor.dataset.row = row;
    editor.dataset.col = String(col);
    editor.style.left = left + "px";
    editor.style.top = top + "px";
    editor.style.width = Math.max(cell.width, 120) + "px";
    T.box.appendChild(editor);
    T.editor = editor;
    editor.focus();
    if (editor.select && editor.tagName === "INPUT") editor.select();
  }

  function closeEditor(T) {
    if (T.editor) {
      const e = T.editor;
      T.editor = null;
      e.remove();
    }
  }

  function showMenu(T, entries, row, col, x, y) {
    closePopups();
    const menu = el("div", { className: "popup context-menu", "data-menu": T.id });
    for (const m of entries) {
      if (m.separator) { menu.appendChild(el("hr")); continue; }
      const item = { action: "menu-item", tree: T.id, col, item: m.id };
      if (row !== null) item.row = row;
      menu.appendChild(el("button", {
        "data-menu-item": String(m.id), text: m.text,
        onclick: () => { closePopups(); act(item); },
      }));
    }
    menu.style.position = "fixed";
    menu.style.left = x + "px";
    menu.style.top = y + "px";
    menu.style.zIndex = "80";
    document.body.appendChild(menu);
    const r = menu.getBoundingClientRect();
    if (r.bottom > window.innerHeight) menu.style.top = Math.max(0, y - r.height) + "px";
    if (r.right > window.innerWidth) menu.style.left = Math.max(0, x - r.width) + "px";
  }

  function closePopups() {
    for (const m of document.querySelectorAll(".context-menu")) m.remove();
    $("#view-menu").hidden = true;
  }

  document.addEventListener("mousedown", (e) => {
    if (!e.target.closest(".popup") && !e.target.closest("#view-menu-button")) closePopups();
  });
  document.addEventListener("keydown", (e) => {
    if (e.key === "Escape") closePopups();
  });

  // --- Boxes: message, text prompt, coordinate-system input ---------------------------

  function renderBoxes(snap) {
    const key = JSON.stringify([snap.message, snap.prompt, snap.csys]);
    if (key === S.boxKey) return;
    S.boxKey = key;
    for (const b of document.querySelectorAll(".host-box, .host-box-backdrop")) b.remove();
    if (snap.message) messageBox(snap.message);
    else if (snap.prompt) promptBox(snap.prompt);
    else if (snap.csys) csysBox(snap.csys);
  }

  function hostBox(title, body, buttons, attrs) {
    const backdrop = el("div", { className: "box-backdrop host-box-backdrop" });
    const box = el("div", Object.assign({ className: "box host-box", role: "dialog" }, attrs), [
      el("div", { className: "titlebar", text: title }), body, el("div", { className: "buttons" }, buttons)]);
    document.body.appendChild(backdrop);
    document.body.appendChild(box);
    return box;
  }

  const ICONS = ["✖", "⚠", "ℹ", "?"];

  function messageBox(m) {
    const body = el("div", { className: "box-body" }, [
      el("div", { className: "icon t" + m.type, text: ICONS[m.type] || "ℹ" }),
      el("div", { className: "lines", text: (m.lines || []).join("\n") })]);
    const answer = (i) => {
      for (const b of buttons) b.disabled = true;
      // The next box may say the same again: draw it anew.
      act({ action: "answer", button: i }).then(() => {
        S.boxKey = null;
        render();
      });
    };
    const buttons = (m.buttons && m.buttons.length ? m.buttons : ["确定"]).map((label, i) =>
      el("button", { "data-button": String(i + 1), text: label, onclick: () => answer(i + 1) }));
    const box = hostBox(m.title || "", body, buttons, { "data-message": String(m.type) });
    buttons[0].focus();
    return box;
  }

  function promptBox(p) {
    const input = el("input", { type: "text", "data-prompt-input": "" });
    input.value = p.initial || "";
    const ok = () => act({ action: "text", text: input.value });
    const cancel = () => act({ action: "text", cancel: true });
    input.addEventListener("keydown", (e) => {
      if (e.key === "Enter") ok();
      if (e.key === "Escape") cancel();
    });
    const body = el("div", { className: "box-body" }, [el("label", { text: p.prompt || "" }, [input])]);
    body.firstChild.style.flex = "1";
    hostBox(p.title || "输入", body, [
      el("button", { "data-button": "ok", text: "确定", onclick: ok }),
      el("button", { "data-button": "cancel", text: "取消", onclick: cancel })], { "data-prompt": "" });
    input.focus();
  }

  function csysBox(c) {
    const names = ["原点", "X 轴", "Y 轴"];
    const defaults = [[0, 0, 0], [1, 0, 0], [0, 1, 0]];
    const ins = defaults.map((row) => row.map((v) => {
      const i = el("input", { type: "text" });
      i.value = String(v);
      return i;
    }));
    const grid = el("div", { className: "coords" });
    grid.appendChild(el("span"));
    for (const a of ["X", "Y", "Z"]) grid.appendChild(el("b", { text: a }));
    ins.forEach((row, k) => {
      grid.appendChild(el("span", { text: names[k] }));
      row.forEach((i) => grid.appendChild(i));
    });
    const ok = () => {
      const v = ins.map((row) => row.map((i) => Number(i.value.trim())));
      if (ins.some((row) => row.some((i) => i.value.trim() === "" || !isFinite(Number(i.value.trim()))))) {
        banner("坐标系的原点和两个轴需要九个数值。", "error");
        return;
      }
      act({ action: "csys-input", origin: v[0], x: v[1], y: v[2] });
    };
    hostBox(c.title || "坐标系", el("div", { className: "box-body" }, [grid]), [
      el("button", { "data-button": "ok", text: "确定", onclick: ok }),
      el("button", { "data-button": "cancel", text: "取消", onclick: () => act({ action: "csys-input", cancel: true }) }),
    ], { "data-csys": "" });
  }

  // --- Object selection ----------------------------------------------------------------

  function renderSelectionBar(snap) {
    const sel = snap.selection;
    const bar = $("#select-bar");
    const key = sel ? JSON.stringify(sel) : null;
    if (key !== S.pendingKey) {
      S.pendingKey = key;
      S.pending = [];
    }
    bar.hidden = !sel;
    bar.toggleAttribute("data-selection", !!sel);
    if (sel) {
      $("#select-title").textContent = sel.title || "";
      $("#select-prompt").textContent = sel.prompt || "";
      $("#select-count").textContent = "已选 " + S.pending.length;
    }
  }

  $("#select-bar").addEventListener("click", (e) => {
    const what = e.target.dataset.select;
    if (!what) return;
    if (what === "ok") act({ action: "select", tags: S.pending.slice() });
    else act({ action: "select", response: what });
  });

  // A body clicked in the view or the list: it goes to the object selection
  // when one runs, else to the active body selection of the innermost dialog.
  function pickBody(tag, unpick) {
    const snap = S.snap;
    if (!snap || snap.message || snap.prompt || snap.csys) return;
    if (snap.selection) {
      const i = S.pending.indexOf(tag);
      if (i >= 0) S.pending.splice(i, 1);
      else if (snap.selection.multiple === false) S.pending = [tag];
      else S.pending.push(tag);
      $("#select-count").textContent = "已选 " + S.pending.length;
      renderBodies(snap);
      return;
    }
    const block = activeSelectionBlock();
    if (!block) return;
    act({ action: unpick ? "unpick" : "pick", block, tags: [tag] });
  }

  function picking() {
    const snap = S.snap;
    return !!(snap && (snap.selection || activeSelectionBlock()));
  }

  // --- Bodies: the list beside the view and the 3D view -----------------------------------

  function renderBodies(snap) {
    const bodies = snap.bodies || [];
    const list = $("#body-list");
    const sig = bodies.map((b) => b.tag + b.name + "|" + b.layer + b.rgb).join(",");
    if (sig !== S.bodySig) {
      S.bodySig = sig;
      list.innerHTML = bodies.map((b) =>
        '<div class="body-item" data-body="' + esc(b.name) + '" data-tag="' + b.tag + '" title="' +
        esc(b.name) + " · 图层 " + b.layer + " · 颜色 " + b.color + '"><span class="swatch" style="background:' +
        esc(b.rgb) + '"></span><span class="name">' + esc(b.name) + '</span><span class="layer">' + b.layer +
        "</span></div>").join("");
      $("#bodies-count").textContent = "(" + bodies.length + ")";
    }
    const items = list.children;
    bodies.forEach((b, i) => {
      const it = items[i];
      if (!it) return;
      it.classList.toggle("hidden", b.blanked || b.layer_visible === false);
      it.classList.toggle("highlighted", !!b.highlighted);
      it.classList.toggle("pending", S.pending.indexOf(b.tag) >= 0);
    });
    const on = picking();
    $("#bodies").classList.toggle("picking", on);
    $("#view").classList.toggle("picking", on);
    View.update(snap);
  }

  $("#body-list").addEventListener("click", (e) => {
    const it = e.target.closest(".body-item");
    if (it) pickBody(Number(it.dataset.tag), e.shiftKey);
  });

  const HIGHLIGHT = 0xff8a00;
  const PENDING = 0xffd000;
  const EDGE_MATERIAL = window.THREE ? new THREE.LineBasicMaterial({ color: 0x303840 }) : null;

  const View = {
    ok: false,
    meshes: new Map(), // tag -> THREE.Mesh
    init() {
      const host = $("#view");
      if (!window.THREE) {
        this.say("没有 three.js：3D 视图不可用。");
        return;
      }
      try {
        this.renderer = new THREE.WebGLRenderer({ antialias: true, preserveDrawingBuffer: true, alpha: true });
      } catch (e) {
        this.say("这个浏览器不能绘制 WebGL：3D 视图不可用，实体列表照常可用。");
        return;
      }
      this.ok = true;
      const r = this.renderer;
      r.setPixelRatio(window.devicePixelRatio || 1);
      host.insertBefore(r.domElement, host.firstChild);
      this.scene = new THREE.Scene();
      this.camera = new THREE.PerspectiveCamera(35, 1, 1, 1e6);
      this.camera.up.set(0, 0, 1);
      this.camera.position.set(1, -1, 1);
      this.scene.add(new THREE.AmbientLight(0x9a9a9a));
      const light = new THREE.DirectionalLight(0xffffff, 0.75);
      light.position.set(0.4, 0.6, 1);
      this.camera.add(light);
      this.scene.add(this.camera);
      this.group = new THREE.Group();
      this.scene.add(this.group);
      this.controls = new THREE.OrbitControls(this.camera, r.domElement);
      this.controls.screenSpacePanning = true;
      this.controls.addEventListener("change", () => this.draw());
      this.raycaster = new THREE.Raycaster();
      new ResizeObserver(() => this.resize()).observe(host);
      this.resize();
      let down = null;
      r.domElement.addEventListener("pointerdown", (e) => { down = [e.clientX, e.clientY, e.button]; });
      r.domElement.addEventListener("pointerup", (e) => {
        if (!down || down[2] !== 0) return;
        const moved = Math.hypot(e.clientX - down[0], e.clientY - down[1]);
        down = null;
        if (moved > 4 || !picking()) return;
        const tag = this.tagAt(e.clientX, e.clientY);
        if (tag) pickBody(tag, e.shiftKey);
      });
    },
    say(text) {
      const m = $("#view-message");
      m.hidden = !text;
      m.textContent = text || "";
    },
    resize() {
      const host = $("#view");
      const w = host.clientWidth || 1, h = host.clientHeight || 1;
      this.renderer.setSize(w, h, false);
      this.camera.aspect = w / h;
      this.camera.updateProjectionMatrix();
      this.draw();
    },
    draw() {
      if (!this.ok || this.frame) return;
      this.frame = requestAnimationFrame(() => {
        this.frame = 0;
        this.renderer.render(this.scene, this.camera);
      });
    },
    drawNow() {
      if (!this.ok) return;
      cancelAnimationFrame(this.frame);
      this.frame = 0;
      this.renderer.render(this.scene, this.camera);
    },
    async update(snap) {
      if (!this.ok) return;
      if (snap.mesh_version !== undefined && snap.mesh_version !== S.meshVersion) {
        S.meshVersion = snap.mesh_version;
        await this.load(snap.mesh_version);
        if (S.meshVersion !== snap.mesh_version) return;
      }
      this.paint(S.snap);
    },
    async load(version) {
      let buf;
      try {
        const r = await fetch(withToken("/api/mesh?v=" + encodeURIComponent(version)), { headers: headers() });
        if (!r.ok) throw new Error(r.status + " " + r.statusText);
        buf = await r.arrayBuffer();
      } catch (e) {
        this.say("读取实体的网格失败：" + e.message);
        return;
      }
      const first = this.meshes.size === 0;
      for (const m of this.meshes.values()) {
        for (const e of m.children) e.geometry.dispose();
        m.geometry.dispose();
        m.material.dispose();
        this.group.remove(m);
      }
      this.meshes.clear();
      const dv = new DataView(buf);
      let o = 0;
      const count = dv.getUint32(o, true);
      o += 4;
      for (let i = 0; i < count; i++) {
        const tag = dv.getUint32(o, true), vc = dv.getUint32(o + 4, true), ic = dv.getUint32(o + 8, true);
        o += 12;
        const pos = new Float32Array(buf, o, 3 * vc); o += 12 * vc;
        const nor = new Float32Array(buf, o, 3 * vc); o += 12 * vc;
        const idx = new Uint32Array(buf, o, ic); o += 4 * ic;
        const g = new THREE.BufferGeometry();
        g.setAttribute("position", new THREE.BufferAttribute(pos, 3));
        g.setAttribute("normal", new THREE.BufferAttribute(nor, 3));
        g.setIndex(new THREE.BufferAttribute(idx, 1));
        g.computeBoundingBox();
        g.computeBoundingSphere();
        const mat = new THREE.MeshPhongMaterial({
          color: 0xc0c0c0, side: THREE.DoubleSide, shininess: 25,
          polygonOffset: true, polygonOffsetFactor: 1, polygonOffsetUnits: 1,
        });
        const mesh = new THREE.Mesh(g, mat);
        mesh.userData.tag = tag;
        // The body's sharp edges, drawn dark as the host draws them.
        const edges = new THREE.LineSegments(new THREE.EdgesGeometry(g, 25), EDGE_MATERIAL);
        edges.raycast = () => {};
        mesh.add(edges);
        this.meshes.set(tag, mesh);
        this.group.add(mesh);
      }
      window.dispatchEvent(new CustomEvent("studio-mesh", { detail: { buf, offset: o } })); // 3D add-ons
      this.say("");
      if (first) this.paint(S.snap, true);
    },
    // Brings the meshes to the snapshot's colours, visibility and highlight;
    // the view is drawn again only when one of them changed.
    paint(snap, fit) {
      const pending = new Set(S.pending);
      let changed = false;
      for (const b of snap.bodies || []) {
        const m = this.meshes.get(b.tag);
        if (!m) continue;
        const visible = !b.blanked && b.layer_visible !== false;
        const marked = pending.has(b.tag) ? 2 : b.highlighted ? 1 : 0;
        const key = (visible ? "v" : "h") + marked + b.rgb;
        if (m.userData.key === key) continue;
        m.userData.key = key;
        changed = true;
        m.visible = visible;
        m.material.color.setHex(marked === 2 ? PENDING : marked === 1 ? HIGHLIGHT
          : new THREE.Color(b.rgb || "#c0c0c0").getHex());
        m.material.emissive.setHex(marked ? 0x402000 : 0x000000);
      }
      if (fit) this.fit();
      if (changed || fit) this.draw();
      window.dispatchEvent(new CustomEvent("studio-paint", { detail: snap })); // 3D add-ons draw after
    },
    visibleBox() {
      const box = new THREE.Box3();
      for (const m of this.meshes.values()) if (m.visible) box.union(m.geometry.boundingBox);
      if (box.isEmpty()) for (const m of this.meshes.values()) box.union(m.geometry.boundingBox);
      return box;
    },
    // Fits the shown bodies into the part of the view that no docked dialog
    // covers.
    fit(dir) {
      if (!this.ok) return;
      const box = this.visibleBox();
      if (box.isEmpty()) return;
      const c = box.getCenter(new THREE.Vector3());
      const radius = Math.max(1, box.getSize(new THREE.Vector3()).length() / 2);
      const d = dir || this.camera.position.clone().sub(this.controls.target).normalize();
      if (d.lengthSq() < 1e-9) d.set(1, -1, 1).normalize();
      const rect = this.renderer.domElement.getBoundingClientRect();
      let freeLeft = rect.left, freeRight = rect.right;
      for (const v of S.dialogs) {
        const r = v.el.getBoundingClientRect();
        if (r.left > rect.left + rect.width * 0.3 && r.left < freeRight) freeRight = r.left;
      }
      const freeW = Math.max(rect.width * 0.3, freeRight - freeLeft);
      const halfV = (this.camera.fov * Math.PI) / 360;
      const halfH = Math.atan(Math.tan(halfV) * freeW / rect.height);
      const dist = (radius / Math.sin(Math.min(halfV, halfH))) * 1.02;
      // Shift the picture so that its middle is the middle of the free part.
      const shift = ((freeLeft + freeRight) / 2 - (rect.left + rect.right) / 2) / rect.width;
      const halfWidthAtTarget = dist * Math.tan(halfV) * this.camera.aspect;
      const right = new THREE.Vector3().crossVectors(this.camera.up, d).normalize();
      const target = c.clone().addScaledVector(right, -shift * 2 * halfWidthAtTarget);
      this.camera.position.copy(target).addScaledVector(d, dist);
      this.camera.near = Math.max(0.1, dist - radius * 2);
      this.camera.far = dist + radius * 4;
      this.camera.updateProjectionMatrix();
      this.controls.target.copy(target);
      this.controls.update();
      this.draw();
    },
    viewFrom(name) {
      if (!this.ok) return;
      const dirs = { iso: [1, -1, 1], top: [0, -0.0001, 1], front: [0, -1, 0], right: [1, 0, 0] };
      this.fit(new THREE.Vector3().fromArray(dirs[name]).normalize());
    },
    tagAt(x, y) {
      const rect = this.renderer.domElement.getBoundingClientRect();
      const p = new THREE.Vector2(((x - rect.left) / rect.width) * 2 - 1, -((y - rect.top) / rect.height) * 2 + 1);
      this.raycaster.setFromCamera(p, this.camera);
      const shown = [...this.meshes.values()].filter((m) => m.visible);
      const hit = this.raycaster.intersectObjects(shown, false)[0];
      return hit ? hit.object.userData.tag : 0;
    },
    // Where a body shows on the screen: the first point over its middle that
    // really hits it, in client coordinates.
    screenPoint(tag) {
      const m = this.meshes.get(tag);
      if (!this.ok || !m || !m.visible) return null;
      this.drawNow();
      const rect = this.renderer.domElement.getBoundingClientRect();
      const c = m.geometry.boundingBox.getCenter(new THREE.Vector3()).project(this.camera);
      const x0 = rect.left + ((c.x + 1) / 2) * rect.width, y0 = rect.top + ((1 - c.y) / 2) * rect.height;
      for (let r = 0; r < 160; r += 4) {
        for (let a = 0; a < 16; a++) {
          const x = x0 + r * Math.cos(a * Math.PI / 8), y = y0 + r * Math.sin(a * Math.PI / 8);
          if (this.tagAt(x, y) === tag) return { x: Math.round(x), y: Math.round(y) };
          if (r === 0) break;
        }
      }
      return null;
    },
  };

  // --- Listing window ---------------------------------------------------------------------

  function renderListing(snap) {
    const text = snap.listing || "";
    const box = $("#listing");
    if (text && text !== S.dismissedListing) {
      box.hidden = false;
      const pre = $("#listing-text");
      if (pre.textContent !== text) {
        pre.textContent = text;
        pre.scrollTop = pre.scrollHeight;
      }
    } else if (!text) {
      box.hidden = true;
    }
  }

  $("#listing-close").addEventListener("click", () => {
    S.dismissedListing = S.snap ? S.snap.listing : null;
    $("#listing").hidden = true;
  });

  // --- Window commands, choosers and the exported workbooks ---------------------------------

  function dirOf(path) {
    const i = path ? path.lastIndexOf("/") : -1;
    return i > 0 ? path.slice(0, i) : i === 0 ? "/" : "";
  }

  function joinPath(dir, name) {
    return dir.endsWith("/") ? dir + name : dir + "/" + name;
  }

  // A file or folder chooser on the local disk. mode: "open", "save" or "folder".
  function chooser(o) {
    closeChooser();
    const dirLine = el("div", { className: "dirline" });
    const entries = el("div", { className: "entries" });
    const name = el("input", { type: "text", "data-chooser-name": "" });
    const up = el("button", { text: "↑ 上一级" });
    // A revision is opened with the part file of the revision before it, whose BOM it takes over.
    const previous = el("input", { type: "text", "data-chooser-previous": "" });
    const body = el("div", { className: "box-body" }, [el("div", {}, [up]), dirLine, entries,
      el("label", { text: o.mode === "folder" ? "文件夹" : "文件名" }, [name]),
      ...(o.mode === "open" ? [el("label", { text: "上一版本 (.xbf，可空)" }, [previous])] : [])]);
    let dir = o.dir || "", parent = null;
    const okText = { open: "打开", save: "保存", folder: "选择" }[o.mode];
    const finish = () => {
      const n = name.value.trim();
      if (o.mode === "folder") {
        closeChooser();
        o.done(n || dir);
        return;
      }
      if (!n) {
        banner("请先选择或输入一个文件名。", "error");
        return;
      }
      closeChooser();
      const p = previous.value.trim();
      o.done(n.startsWith("/") ? n : joinPath(dir, n), p && (p.startsWith("/") ? p : joinPath(dir, p)));
    };
    const box = hostChooser(o.title, body, [
      el("button", { "data-button": "ok", text: okText, onclick: finish }),
      el("button", { "data-button": "cancel", text: "取消", onclick: closeChooser })], o.mode);
    name.addEventListener("keydown", (e) => { if (e.key === "Enter") finish(); });
    const go = async (d) => {
      let answer;
      try {
        answer = await getJson("/api/browse?dir=" + encodeURIComponent(d));
      } catch (e) {
        banner("不能打开文件夹 " + d + "：" + e.message, "error");
        return;
      }
      dir = answer.dir;
      parent = answer.parent;
      dirLine.textContent = dir;
      up.disabled = !parent;
      if (o.mode === "folder") name.value = dir;
      const shown = (answer.entries || []).filter((e) => e.dir || o.mode !== "folder");
      entries.innerHTML = shown.map((e) =>
        '<div class="entry' + (e.dir ? " dir" : "") + '" data-entry="' + esc(e.name) + '" data-dir="' +
        (e.dir ? "1" : "") + '">' + esc(e.name) + "</div>").join("");
    };
    up.addEventListener("click", () => { if (parent) go(parent); });
    entries.addEventListener("click", (e) => {
      const it = e.target.closest(".entry");
      if (!it) return;
      if (it.dataset.dir) { go(joinPath(dir, it.dataset.entry)); return; }
      for (const s of entries.querySelectorAll(".sel")) s.classList.remove("sel");
      it.classList.add("sel");
      name.value = it.dataset.entry;
    });
    entries.addEventListener("dblclick", (e) => {
      const it = e.target.closest(".entry");
      if (it && !it.dataset.dir) finish();
    });
    if (o.name) name.value = o.name;
    go(dir);
    return box;
  }

  function hostChooser(title, body, buttons, mode) {
    const backdrop = el("div", { className: "box-backdrop chooser-part" });
    const box = el("div", { className: "box chooser chooser-part", "data-chooser": mode }, [
      el("div", { className: "titlebar", text: title }), body, el("div", { className: "buttons" }, buttons)]);
    document.body.appendChild(backdrop);
    document.body.appendChild(box);
    return box;
  }

  function closeChooser() {
    for (const b of document.querySelectorAll(".chooser-part")) b.remove();
  }

  function command(name) {
    const snap = S.snap;
    if (!snap) return;
    if (name === "run-material" || name === "run-parts") {
      act({ action: name });
    } else if (name === "open") {
      chooser({
        mode: "open", title: "打开部件 (STEP 或 .xbf)", dir: dirOf(snap.part && snap.part.path),
        done: (path, previous) => act(previous ? { action: "open", path, previous } : { action: "open", path }),
      });
    } else if (name === "save") {
      const part = snap.part;
      chooser({
        mode: "save", title: "保存部件文件 (.xbf)", dir: dirOf(part && part.path),
        name: part ? part.name + ".xbf" : "", done: (path) => act({ action: "save", path }),
      });
    }
  }

  document.addEventListener("click", (e) => {
    const c = e.target.closest("[data-command]");
    if (c && !c.disabled) command(c.dataset.command);
    const v = e.target.closest("[data-view]");
    if (v) {
      closePopups();
      if (v.dataset.view === "fit") View.fit();
      else View.viewFrom(v.dataset.view);
    }
  });

  $("#view-menu-button").addEventListener("click", () => {
    $("#view-menu").hidden = !$("#view-menu").hidden;
  });

  document.addEventListener("keydown", (e) => {
    const t = e.target.tagName;
    if ((e.key === "f" || e.key === "F") && t !== "INPUT" && t !== "TEXTAREA" && t !== "SELECT") View.fit();
  });

  $("#files-button").addEventListener("click", async () => {
    closeChooser();
    let files = [];
    try {
      files = await getJson("/api/files");
    } catch (e) {
      banner("不能列出导出的工作簿：" + e.message, "error");
      return;
    }
    const list = el("div", { className: "files" });
    for (const f of files) {
      list.appendChild(el("div", { className: "file" }, [
        el("a", { href: withToken("/api/file?path=" + encodeURIComponent(f.path)), download: f.name,
                  "data-file": f.name, text: f.name, title: f.path }),
        el("span", { className: "size", text: Math.round((f.size || 0) / 1024) + " KB" })]));
    }
    const body = el("div", { className: "box-body" }, [list]);
    hostChooser("导出的工作簿", body, [el("button", { "data-button": "ok", text: "关闭", onclick: closeChooser })],
                "files");
  });

  $("#banner-close").addEventListener("click", () => {
    $("#banner").hidden = true;
  });

  // --- For tests -------------------------------------------------------------------------------

  window.studioTest = {
    tab,
    // The client point over the middle of a body (by name or tag), or null.
    bodyPoint(body) {
      const b = typeof body === "number" ? { tag: body }
        : (S.snap.bodies || []).find((x) => x.name === body);
      return b ? View.screenPoint(b.tag) : null;
    },
    tagAt: (x, y) => (View.ok ? View.tagAt(x, y) : 0),
    meshCount: () => View.meshes.size,
    shownTags: () => [...View.meshes.values()].filter((m) => m.visible).map((m) => m.userData.tag),
    highlightedTags: () => [...View.meshes.values()].filter((m) => m.material.color.getHex() === HIGHLIGHT)
      .map((m) => m.userData.tag),
    webgl: () => View.ok,
    meshVersion: () => S.meshVersion,
    fit: () => View.fit(),
    renderMs: () => S.renderMs, // how long the last snapshot took to draw
  };

  // The 3D add-ons (blanks.js, picking.js) hook on here.
  window.studioView = View;
  window.studioSend = send;
  window.studioState = S;

  View.init();
  poll();
})();
