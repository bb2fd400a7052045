// The viewer page: a job's layers drawn as tiles by the library, a click
// describes a feature (a shift-drag box picks every feature in it), checks run
// on the server while their progress shows, files dropped onto the board open
// as a job, and a layer or the view exports as a download.
'use strict';

const TILE = 256;
const state = { job: '', step: '', layers: [], visible: new Set(), active: '', z: 0, cx: 0, cy: 0, uuid: '', kind: '' };
const $ = (id) => document.getElementById(id);

function showError(text) {
  const box = $('error');
  box.textContent = text;
  box.hidden = !text;
}

async function api(path, body) {
  const init = body === undefined ? {} : { method: 'POST', body: JSON.stringify(body) };
  const res = await fetch(path, init);
  const data = await res.json().catch(() => ({ error: 'The server gave an unreadable answer.' }));
  if (!res.ok || data.error) throw new Error(data.error || ('The server answered ' + res.status));
  return data;
}

// Screen pixels per mm at zoom z is 2^z; y grows upward on the board.
function scale() { return Math.pow(2, state.z); }
function toScreen(x, y) {
  const b = $('board');
  return [(x - state.cx) * scale() + b.clientWidth / 2, (state.cy - y) * scale() + b.clientHeight / 2];
}
function toBoard(px, py) {
  const b = $('board');
  return [(px - b.clientWidth / 2) / scale() + state.cx, state.cy - (py - b.clientHeight / 2) / scale()];
}

function draw() {
  const tiles = $('tiles');
  tiles.textContent = '';
  drawMarkers();
  if (!state.job || state.visible.size === 0) return;
  const layers = state.layers.filter((l) => state.visible.has(l)).join(',');
  const s = TILE / scale();
  const b = $('board');
  const [x0, y1] = toBoard(0, 0);
  const [x1, y0] = toBoard(b.clientWidth, b.clientHeight);
  for (let ty = Math.floor(y0 / s); ty <= Math.floor(y1 / s); ty++) {
    for (let tx = Math.floor(x0 / s); tx <= Math.floor(x1 / s); tx++) {
      const img = document.createElement('img');
      const [left, top] = toScreen(tx * s, (ty + 1) * s);
      img.style.left = Math.round(left) + 'px';
      img.style.top = Math.round(top) + 'px';
      img.src = `/api/tile?job=${encodeURIComponent(state.job)}&step=${encodeURIComponent(state.step)}` +
        `&layers=${encodeURIComponent(layers)}&z=${state.z}&x=${tx}&y=${ty}`;
      tiles.appendChild(img);
    }
  }
}

// The finding shown, as its marker: { type, v } with v the marker numbers in
// mm (circle 0: centre and size; segment 1 and line 2: both ends; arc 3: ends
// and centre; point 4; rectangle 5: centre and size).
let marker = null;
let band = null; // the box being dragged out, in board mm
function svgNode(name, attrs) {
  const n = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [k, v] of Object.entries(attrs)) n.setAttribute(k, v);
  n.setAttribute('fill', 'none'); n.setAttribute('stroke', attrs.stroke || '#ff0'); n.setAttribute('stroke-width', 2);
  return n;
}
function drawMarkers() {
  const svg = $('markers');
  svg.textContent = '';
  if (band) {
    const [x0, y0] = toScreen(Math.min(band.x0, band.x1), Math.max(band.y0, band.y1));
    const [x1, y1] = toScreen(Math.max(band.x0, band.x1), Math.min(band.y0, band.y1));
    svg.appendChild(svgNode('rect', { x: x0, y: y0, width: x1 - x0, height: y1 - y0, stroke: '#6af', class: 'band' }));
  }
  if (!marker) return;
  const v = marker.v;
  const [x, y] = toScreen(v[0], v[1]);
  const kind = marker.type;
  if ((kind === 1 || kind === 2 || kind === 3) && v.length >= 4) {
    const [ex, ey] = toScreen(v[2], v[3]);
    svg.appendChild(svgNode('line', { x1: x, y1: y, x2: ex, y2: ey, class: 'marker-segment' }));
    for (const [px, py] of [[x, y], [ex, ey]]) svg.appendChild(svgNode('circle', { cx: px, cy: py, r: 4 }));
  } else if (kind === 5 && v.length >= 4) {
    const w = Math.max(8, v[2] * scale()), h = Math.max(8, v[3] * scale());
    svg.appendChild(svgNode('rect', { x: x - w / 2, y: y - h / 2, width: w, height: h, class: 'marker-box' }));
  } else if (kind === 0 && v.length >= 3) {
    svg.appendChild(svgNode('circle', { cx: x, cy: y, r: Math.max(8, v[2] * scale() / 2), class: 'marker-ring' }));
  } else {
    svg.appendChild(svgNode('path', { d: `M${x - 8},${y}h16M${x},${y - 8}v16`, class: 'marker-point' }));
  }
}

function listLayers() {
  const list = $('layer-list');
  list.textContent = '';
  for (const name of state.layers) {
    const li = document.createElement('li');
    li.dataset.layer = name;
    li.classList.toggle('active', name === state.active);
    li.classList.toggle('shown', state.visible.has(name));
    const box = document.createElement('input');
    box.type = 'checkbox';
    box.checked = state.visible.has(name);
    box.addEventListener('change', () => toggleLayer(name));
    li.appendChild(box);
    const swatch = document.createElement('span');
    swatch.className = 'swatch';
    swatch.style.background = COLOURS[state.types[name]] || '#aaa';
    li.appendChild(swatch);
    li.appendChild(document.createTextNode(' ' + name));
    li.addEventListener('click', (e) => { if (e.target !== box) { state.active = name; listLayers(); } });
    list.appendChild(li);
  }
}

function toggleLayer(name) {
  if (state.visible.has(name)) state.visible.delete(name); else state.visible.add(name);
  listLayers();
  draw();
}

function layerName(info) { return info.name || info.layer_name || info.layername || ''; }

async function openJob(path) {
  showError('');
  try {
    showJob(await api('/api/open', { path }));
  } catch (e) { showError(e.message); }
}

function showJob(job) {
  state.job = job.job;
  state.step = (job.steps || [])[0] || '';
  state.layers = (job.layers || []).map(layerName).filter((n) => n);
  state.types = {};
  for (const info of job.layers || []) state.types[layerName(info)] = info.type || '';
  state.visible = new Set(state.layers.slice(0, 1));
  state.active = state.layers[0] || '';
  $('job-name').textContent = state.job + ' / ' + state.step;
  const p = job.profile;
  const b = $('board');
  if (p && p.Xmax > p.Xmin) {
    state.cx = (p.Xmin + p.Xmax) / 2e6; state.cy = (p.Ymin + p.Ymax) / 2e6;
    const fit = Math.min(b.clientWidth / ((p.Xmax - p.Xmin) / 1e6), b.clientHeight / ((p.Ymax - p.Ymin) / 1e6));
    state.z = Math.floor(Math.log2(fit));
  }
  $('drill-check').disabled = $('signal-check').disabled = false;
  $('export-layer').disabled = $('export-picture').disabled = false;
  listLayers();
  draw();
}

async function clickAt(x, y, x2, y2) {
  if (!state.active) return;
  const box = x2 !== undefined;
  try {
    const r = await api('/api/click', Object.assign({ job: state.job, step: state.step, layer: state.active, x, y },
      box ? { x2, y2 } : {}));
    const head = box ? `${r.count} feature${r.count === 1 ? '' : 's'} of ${state.active} in the box` +
      (r.count > r.features.length ? ` (the first ${r.features.length} described)` : '') + '\n' : '';
    $('feature').textContent = r.features.length ? head + JSON.stringify(r.features, null, 1)
      : 'No feature of ' + state.active + (box ? ' in the box.' : ' there.');
    document.body.dataset.picked = r.count;
  } catch (e) { showError(e.message); }
}

// Files dropped onto the board go to the server, which opens them as a job.
async function dropFiles(files) {
  showError('');
  const form = new FormData();
  for (const f of files) form.append('files', f, f.name);
  $('progress').textContent = 'reading ' + files.length + ' file' + (files.length === 1 ? '' : 's') + '…';
  try {
    const res = await fetch('/api/upload', { method: 'POST', body: form });
    const job = await res.json().catch(() => ({ error: 'The server gave an unreadable answer.' }));
    if (!res.ok || job.error) throw new Error(job.error || ('The server answered ' + res.status));
    showJob(job);
  } catch (e) { showError(e.message); }
  $('progress').textContent = '';
}

// The server's answer for an export becomes a download of the file.
async function exportAs(body) {
  showError('');
  try {
    const res = await fetch('/api/export', { method: 'POST', body: JSON.stringify(body) });
    if (!res.ok) {
      const data = await res.json().catch(() => ({}));
      throw new Error(data.error || ('The server answered ' + res.status));
    }
    const name = (/filename="([^"]+)"/.exec(res.headers.get('Content-Disposition') || '') || [])[1] || 'export';
    const a = document.createElement('a');
    a.href = URL.createObjectURL(await res.blob());
    a.download = name;
    document.body.appendChild(a);
    a.click();
    a.remove();
    document.body.dataset.exported = name;
  } catch (e) { showError(e.message); }
}
function exportLayer() {
  if (!state.active) return showError('Make a layer active first: click its name.');
  const format = ['DRILL', 'ROUT'].includes(state.types[state.active]) ? 'excellon' : 'gerber';
  exportAs({ format, job: state.job, step: state.step, layer: state.active });
}
function exportPicture() {
  const b = $('board');
  const [xmin, ymax] = toBoard(0, 0);
  const [xmax, ymin] = toBoard(b.clientWidth, b.clientHeight);
  const side = Math.max(xmax - xmin, ymax - ymin);
  exportAs({ format: 'picture', job: state.job, step: state.step, size: 2048,
    layers: state.layers.filter((l) => state.visible.has(l)),
    xmin: (xmin + xmax - side) / 2, xmax: (xmin + xmax + side) / 2, ymin: (ymin + ymax - side) / 2, ymax: (ymin + ymax + side) / 2 });
}

async function runCheck(kind) {
  showError('');
  const wanted = kind === 'drill' ? ['DRILL'] : ['SIGNAL', 'MIXED', 'POWER_GROUND'];
  const layers = state.layers.filter((l) => wanted.includes(state.types[l]));
  try {
    await api('/api/check', { kind, job: state.job, step: state.step, layers, options: CHECK_OPTIONS[kind] });
  } catch (e) { return showError(e.message); }
  state.kind = kind;
  pollCheck();
}

async function pollCheck() {
  let s;
  try { s = await api('/api/check'); } catch (e) { return showError(e.message); }
  $('progress').textContent = s.running ? `${s.kind} check: ${s.total ? Math.round(100 * s.done / s.total) : 0}%` : '';
  if (s.running) return setTimeout(pollCheck, 300);
  if (s.error) return showError(s.error);
  if (s.result) showCategories(s.result);
}

const TYPES = { drill: 2, signal: 1 };
// Every check item on, with the usual thresholds in mm.
const CHECK_OPTIONS = {
  drill: { hole_size: true, hole_seperation: true, missing_hole: true, extra_holes: true, npth_to_rout: true,
    rout_distance: 0.5, use_pth: true, use_npth: true, use_via: true,
    ranges: { rangesList: [{ name: 'Close Holes', RedLv: 100, YellowLv: 150, GreenLv: 200 }] } },
  signal: {},
};
// Layer colours by the matrix row's type.
const COLOURS = { SIGNAL: '#d93', MIXED: '#c84', POWER_GROUND: '#b63', SOLDER_MASK: '#3a6', SILK_SCREEN: '#ddd',
  SOLDER_PASTE: '#999', DRILL: '#6af', ROUT: '#a6f', DOCUMENT: '#888', COMPONENT: '#c6c', DIELECTRIC: '#776' };
function showCategories(result) {
  state.uuid = result.analysis_uuid;
  const box = $('categories');
  box.textContent = '';
  for (const layer of result.analysis_result || []) {
    for (const item of layer.result || []) {
      for (let level = 1; level <= 4; level++) {
        const n = item['lv' + level + 'count'] || 0;
        if (!n) continue;
        const a = document.createElement('div');
        a.className = 'category level' + level;
        a.textContent = `${layer.layer}: ${item.check_item}, level ${level} (${n})`;
        a.addEventListener('click', () => showFindings(layer.layer, item.check_item, level - 1, 0));
        box.appendChild(a);
      }
    }
  }
  if (!box.childNodes.length) box.textContent = 'No findings.';
}

async function showFindings(layer, item, level, page) {
  const q = new URLSearchParams({ uuid: state.uuid, type: TYPES[state.kind], layer, item, level, page, count: 20 });
  let r;
  try { r = await api('/api/findings?' + q); } catch (e) { return showError(e.message); }
  const list = $('findings');
  list.textContent = '';
  for (const l of r.page) {
    for (const fr of l.filter_result || []) {
      for (const f of fr.check_info_list || []) {
        const li = document.createElement('li');
        const v = f.values || [];
        li.textContent = `#${f.DispNum} ${(f.symbolnames || []).join(' ')} ${v.length ? (v[v.length - 1] / 1e3).toFixed(1) + ' µm' : ''}`;
        li.addEventListener('click', () => centre(f.type, v));
        list.appendChild(li);
      }
    }
  }
}

// A finding's marker numbers (nm) come first in its values; the view centres
// on the marker and draws it in its own shape.
function centre(type, values) {
  if (values.length < 2) return;
  const v = values.map((n) => n / 1e6);
  marker = { type, v };
  const ends = (type === 1 || type === 2 || type === 3) && v.length >= 4;
  state.cx = ends ? (v[0] + v[2]) / 2 : v[0];
  state.cy = ends ? (v[1] + v[3]) / 2 : v[1];
  draw();
}

function wire() {
  $('open-form').addEventListener('submit', (e) => { e.preventDefault(); openJob($('path').value); });
  $('drill-check').addEventListener('click', () => runCheck('drill'));
  $('signal-check').addEventListener('click', () => runCheck('signal'));
  $('export-layer').addEventListener('click', exportLayer);
  $('export-picture').addEventListener('click', exportPicture);
  const b = $('board');
  const at = (e) => { const r = b.getBoundingClientRect(); return toBoard(e.clientX - r.left, e.clientY - r.top); };
  let drag = null;
  b.addEventListener('mousedown', (e) => {
    drag = { x: e.clientX, y: e.clientY, cx: state.cx, cy: state.cy, moved: false, box: e.shiftKey };
    if (drag.box) { const [x, y] = at(e); band = { x0: x, y0: y, x1: x, y1: y }; }
  });
  window.addEventListener('mousemove', (e) => {
    if (!drag) return;
    const dx = e.clientX - drag.x, dy = e.clientY - drag.y;
    if (Math.abs(dx) + Math.abs(dy) > 3) drag.moved = true;
    if (!drag.moved) return;
    if (drag.box) { [band.x1, band.y1] = at(e); return drawMarkers(); }
    state.cx = drag.cx - dx / scale(); state.cy = drag.cy + dy / scale();
    draw();
  });
  window.addEventListener('mouseup', (e) => {
    if (drag && drag.box && drag.moved) clickAt(band.x0, band.y0, band.x1, band.y1);
    else if (drag && !drag.moved) clickAt(...at(e));
    band = null;
    drag = null;
    drawMarkers();
  });
  b.addEventListener('dragover', (e) => { e.preventDefault(); b.classList.add('dropping'); });
  b.addEventListener('dragleave', () => b.classList.remove('dropping'));
  b.addEventListener('drop', (e) => {
    e.preventDefault();
    b.classList.remove('dropping');
    if (e.dataTransfer.files.length) dropFiles([...e.dataTransfer.files]);
  });
  b.addEventListener('wheel', (e) => {
    e.preventDefault();
    state.z += e.deltaY < 0 ? 1 : -1;
    draw();
  }, { passive: false });
  window.addEventListener('resize', draw);
}

// Actions carried in the address, for scripted runs:
// ?open=PATH&toggle=LAYER&active=LAYER&click=X,Y&box=X0,Y0,X1,Y1&finding=TYPE,N,N,...
async function scripted() {
  const q = new URLSearchParams(location.search);
  if (!q.get('open')) return;
  $('path').value = q.get('open');
  await openJob(q.get('open'));
  for (const name of q.getAll('toggle')) toggleLayer(name);
  if (q.get('active')) { state.active = q.get('active'); listLayers(); }
  if (q.get('click')) await clickAt(...q.get('click').split(',').map(Number));
  if (q.get('box')) await clickAt(...q.get('box').split(',').map(Number));
  if (q.get('finding')) { const [type, ...v] = q.get('finding').split(',').map(Number); centre(type, v); }
  await Promise.all([...document.querySelectorAll('#tiles img')].map((img) =>
    img.complete ? null : new Promise((done) => { img.onload = img.onerror = done; })));
  document.body.dataset.tilesDrawn = [...document.querySelectorAll('#tiles img')].filter((img) => img.naturalWidth > 0).length;
  document.body.dataset.ready = 'yes';
}

wire();
scripted();
