// The fleet view: one tile or table row per camera, in the console's order
// (what needs attention first), the summary bar that counts and filters by
// state, the text filter, and the selection the bulk actions work on.
'use strict';

const VIEW_KEY = 'osc-console-view';
const TABLE_COLUMNS = ['', '', 'Name', 'Address', 'State', 'Mode', 'CPU', 'Mem.', 'AST1220',
  'AST1230', 'Attention, last failure'];

let order = [];           // ips as the console orders them
let stateFilter = '';     // '', 'attention' or a state
let textFilter = '';
const selected = new Set();
let anchor = null;        // the camera a shift-click selects from

function createCamera(row) {
  const element = $('camera-template').content.firstElementChild.cloneNode(true);
  element.dataset.ip = row.ip;
  $('fleet').append(element);
  stats.lastRowCreatedAt = performance.now();
  const fields = {};
  for (const child of element.querySelectorAll('[data-field]')) fields[child.dataset.field] = child;
  return {element, fields};
}

function percent(value) {
  return `${value.toFixed(0)}%`;
}

// The most telling line: an update's progress, what needs attention, the
// last failure, else nothing.
function renderNote(note, row) {
  const bar = note.querySelector('progress');
  const update = row.update;
  const updating = update && (update.active || update.done) && !update.failed;
  bar.hidden = !updating;
  let line = '';
  note.dataset.kind = '';
  if (updating) {
    bar.value = update.value;
    line = update.done ? 'update done' : `${update.value} % ${update.text}`;
    note.dataset.kind = update.done ? 'done' : 'progress';
  } else if (row.attention) {
    line = row.attention;
    note.dataset.kind = 'attention';
  } else if (row.last_failure) {
    const failure = row.last_failure;
    line = `${clock(failure.at)} ${failure.command} failed: ${failure.message}`;
    note.dataset.kind = 'past';
  }
  const span = note.querySelector('.text');
  if (span.textContent !== line) span.textContent = line;
  note.title = line;
}

function renderThumbnail(element, row) {
  const img = element.querySelector('.thumb');
  const source = row.thumbnail ? `${apiPath(row.ip, 'thumbnail.jpeg')}?v=${row.screenshot}` : '';
  if (img.dataset.source === source) return;
  img.dataset.source = source;
  img.hidden = !source;
  if (source) img.src = source; else img.removeAttribute('src');
}

function renderRow({element, fields}, row) {
  const health = row.health;
  const versions = row.versions || {};
  element.dataset.state = row.state;
  element.dataset.concern = row.concern;
  element.dataset.seq = row.seq;
  element.title = row.attention || row.state;
  text(fields.name, row.name || row.ip);
  text(fields.address, `${row.ip}:${row.port}`);
  text(fields.state, row.state);
  text(fields.mode, row.mode);
  text(fields.cpu, health ? percent(health.cpu) : '');
  text(fields.memory, health ? percent(health.memory) : '');
  text(fields.ast1220, versions.ast1220);
  text(fields.ast1230, versions.ast1230);
  renderNote(fields.note, row);
  renderThumbnail(element, row);
}

function matches(row) {
  if (stateFilter === 'attention' && !row.attention) return false;
  if (stateFilter && stateFilter !== 'attention' && row.state !== stateFilter) return false;
  if (!textFilter) return true;
  const versions = row.versions || {};
  return [row.name, `${row.ip}:${row.port}`, row.model, versions.ast1220, versions.ast1230]
      .some((value) => value && value.toLowerCase().includes(textFilter));
}

function shownCameras() {
  return order.filter((ip) => cameras.has(ip) && !cameras.get(ip).element.hidden);
}

function applyFilter(entry) {
  const hidden = !matches(entry.row);
  if (entry.element.hidden !== hidden) entry.element.hidden = hidden;
}

// Once per batch of events, however many rows it brought.
let layoutPending = false;
function layoutSoon() {
  if (layoutPending) return;
  layoutPending = true;
  requestAnimationFrame(() => {
    layoutPending = false;
    layoutTable();
  });
}

function layoutTable() {
  const fleet = $('fleet');
  const shown = [...cameras.values()].filter((entry) => !entry.element.hidden).length;
  const columns = fleet.classList.contains('table') && window.innerWidth >= 1300 ? 2 : 1;
  fleet.style.setProperty('--rows', Math.max(1, Math.ceil(shown / columns)));
  const head = $('table-head');
  const template = fleet.classList.contains('table') ? `repeat(${columns}, 1fr)` : '';
  fleet.style.gridTemplateColumns = template;
  head.style.gridTemplateColumns = template;
  if (head.children.length !== columns) {
    head.replaceChildren(...Array.from({length: columns}, () => {
      const strip = document.createElement('div');
      strip.className = 'camera head';
      strip.append(...TABLE_COLUMNS.map((label) => {
        const cell = document.createElement('span');
        cell.textContent = label;
        return cell;
      }));
      return strip;
    }));
  }
}

function refilter() {
  for (const entry of cameras.values()) applyFilter(entry);
  layoutTable();
  renderSelection();
}

function onRow(row) {
  stats.events += 1;
  stats.lastLagMs = Math.max(0, Date.now() - row.changed_at);
  stats.maxLagMs = Math.max(stats.maxLagMs, stats.lastLagMs);
  let entry = cameras.get(row.ip);
  const created = !entry;
  if (created) {
    entry = createCamera(row);
    cameras.set(row.ip, entry);
  }
  entry.row = row;
  renderRow(entry, row);
  const wasHidden = entry.element.hidden;
  applyFilter(entry);
  if (created || wasHidden !== entry.element.hidden) layoutSoon();
  if (detailIp === row.ip) onDetailRow(row);
  onRolloutRow(row);
}

function onFleet(summary) {
  for (const count of document.querySelectorAll('[data-count]')) {
    const name = count.dataset.count;
    const value = name === 'all' ? summary.order.length :
        name === 'attention' ? summary.attention : summary.counts[name] || 0;
    text(count, value);
  }
  if (summary.order.join() === order.join()) return;
  order = summary.order;
  const fleet = $('fleet');
  for (const ip of order) {
    const entry = cameras.get(ip);
    if (entry) fleet.append(entry.element);
  }
}

// ---- Selection

function renderSelection() {
  for (const [ip, entry] of cameras) {
    const on = selected.has(ip);
    if (entry.element.classList.contains('selected') !== on) {
      entry.element.classList.toggle('selected', on);
      entry.element.setAttribute('aria-selected', String(on));
    }
  }
  const hiddenSelected = [...selected].filter((ip) => cameras.get(ip)?.element.hidden).length;
  text($('selection-count'), `${selected.size} selected` +
      (hiddenSelected ? ` (${hiddenSelected} not shown)` : ''));
  renderCopyButton();
}

function select(ips, on) {
  for (const ip of ips) {
    if (on) selected.add(ip); else selected.delete(ip);
  }
  renderSelection();
}

function selectRange(from, to) {
  const shown = shownCameras();
  const a = shown.indexOf(from);
  const b = shown.indexOf(to);
  if (a < 0 || b < 0) return select([to], true);
  select(shown.slice(Math.min(a, b), Math.max(a, b) + 1), true);
}

function onCameraClick(event) {
  const element = event.target.closest('.camera');
  if (!element || !element.dataset.ip) return;
  const ip = element.dataset.ip;
  if (event.target.closest('.name')) return openDetail(ip);
  if (viewer) return;
  if (event.shiftKey && anchor) selectRange(anchor, ip);
  else select([ip], !selected.has(ip));
  anchor = ip;
}

function setView(view) {
  const fleet = $('fleet');
  fleet.classList.toggle('tiles', view === 'tiles');
  fleet.classList.toggle('table', view === 'table');
  $('table-head').hidden = view !== 'table';
  for (const button of document.querySelectorAll('[data-view]')) {
    button.setAttribute('aria-pressed', String(button.dataset.view === view));
  }
  try {
    localStorage.setItem(VIEW_KEY, view);
  } catch (error) {
    // a page without storage keeps the choice until it is reloaded
  }
  layoutTable();
}

function setUpFleetView() {
  let view = 'tiles';
  try {
    view = localStorage.getItem(VIEW_KEY) === 'table' ? 'table' : 'tiles';
  } catch (error) {
    // tiles, then
  }
  setView(view);
  for (const button of document.querySelectorAll('[data-view]')) {
    button.addEventListener('click', () => setView(button.dataset.view));
  }
  for (const button of document.querySelectorAll('[data-filter]')) {
    button.addEventListener('click', () => {
      stateFilter = button.dataset.filter;
      for (const other of document.querySelectorAll('[data-filter]')) {
        other.setAttribute('aria-pressed', String(other === button));
      }
      refilter();
    });
  }
  $('filter').addEventListener('input', (event) => {
    textFilter = event.target.value.trim().toLowerCase();
    refilter();
  });
  const fleet = $('fleet');
  fleet.addEventListener('click', onCameraClick);
  // A shift-click selects cameras, not the page's text.
  fleet.addEventListener('mousedown', (event) => {
    if (event.shiftKey) event.preventDefault();
  });
  fleet.addEventListener('dblclick', (event) => {
    const element = event.target.closest('.camera');
    if (element) openDetail(element.dataset.ip);
  });
  fleet.addEventListener('keydown', (event) => {
    const element = event.target.closest('.camera');
    if (!element) return;
    if (event.key === 'Enter') openDetail(element.dataset.ip);
    if (event.key === ' ' && !viewer) {
      event.preventDefault();
      select([element.dataset.ip], !selected.has(element.dataset.ip));
    }
  });
  $('select-shown').addEventListener('click', () => {
    selected.clear();
    select(shownCameras(), true);
  });
  $('select-all').addEventListener('click', () => select(cameras.keys(), true));
  $('select-none').addEventListener('click', () => {
    selected.clear();
    renderSelection();
  });
  window.addEventListener('resize', layoutTable);
  renderSelection();
}
