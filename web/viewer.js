// The viewer page: a job's layers drawn as tiles by the library, a click
// describes a feature, checks run on the server while their progress shows.
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

let marker = null;
function drawMarkers() {
  const svg = $('markers');
  svg.textContent = '';
  if (!marker) return;
  const [x, y] = toScreen(marker.x, marker.y);
  const c = document.createElementNS('http://www.w3.org/2000/svg', 'circle');
  c.setAttribute('cx', x); c.setAttribute('cy', y);
  c.setAttribute('r', Math.max(8, marker.r * scale()));
  c.setAttribute('fill', 'none'); c.setAttribute('stroke', '#ff0'); c.setAttribute('stroke-width', 2);
  svg.appendChild(c);
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
    const job = await api('/api/open', { path });
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
    listLayers();
    draw();
  } catch (e) { showError(e.message); }
}

async function clickAt(x, y) {
  if (!state.active) return;
  try {
    const r = await api('/api/click', { job: state.job, step: state.step, layer: state.active, x, y });
    $('feature').textContent = r.features.length ? JSON.stringify(r.features, null, 1) : 'No feature of ' + state.active + ' there.';
  } catch (e) { showError(e.message); }
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
        li.addEventListener('click', () => centre(v));
        list.appendChild(li);
      }
    }
  }
}

// A finding's marker numbers start with its centre or first point, in nm.
function centre(values) {
  if (values.length < 2) return;
  marker = { x: values[0] / 1e6, y: values[1] / 1e6, r: values.length >= 4 ? values[2] / 2e6 : 0 };
  state.cx = marker.x; state.cy = marker.y;
  draw();
}

function wire() {
  $('open-form').addEventListener('submit', (e) => { e.preventDefault(); openJob($('path').value); });
  $('drill-check').addEventListener('click', () => runCheck('drill'));
  $('signal-check').addEventListener('click', () => runCheck('signal'));
  const b = $('board');
  let drag = null;
  b.addEventListener('mousedown', (e) => { drag = { x: e.clientX, y: e.clientY, cx: state.cx, cy: state.cy, moved: false }; });
  window.addEventListener('mousemove', (e) => {
    if (!drag) return;
    const dx = e.clientX - drag.x, dy = e.clientY - drag.y;
    if (Math.abs(dx) + Math.abs(dy) > 3) drag.moved = true;
    if (!drag.moved) return;
    state.cx = drag.cx - dx / scale(); state.cy = drag.cy + dy / scale();
    draw();
  });
  window.addEventListener('mouseup', (e) => {
    if (drag && !drag.moved) {
      const r = b.getBoundingClientRect();
      clickAt(...toBoard(e.clientX - r.left, e.clientY - r.top));
    }
    drag = null;
  });
  b.addEventListener('wheel', (e) => {
    e.preventDefault();
    state.z += e.deltaY < 0 ? 1 : -1;
    draw();
  }, { passive: false });
  window.addEventListener('resize', draw);
}

// Actions carried in the address, for scripted runs:
// ?open=PATH&toggle=LAYER&active=LAYER&click=X,Y
async function scripted() {
  const q = new URLSearchParams(location.search);
  if (!q.get('open')) return;
  $('path').value = q.get('open');
  await openJob(q.get('open'));
  for (const name of q.getAll('toggle')) toggleLayer(name);
  if (q.get('active')) { state.active = q.get('active'); listLayers(); }
  if (q.get('click')) await clickAt(...q.get('click').split(',').map(Number));
  await Promise.all([...document.querySelectorAll('#tiles img')].map((img) =>
    img.complete ? null : new Promise((done) => { img.onload = img.onerror = done; })));
  document.body.dataset.tilesDrawn = [...document.querySelectorAll('#tiles img')].filter((img) => img.naturalWidth > 0).length;
  document.body.dataset.ready = 'yes';
}

wire();
scripted();
