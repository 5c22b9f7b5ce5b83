// The detail view of one camera: its last screenshot under its ROI layout,
// its results and log lines, its parameter document, and controls for it
// alone. Its details and document are fetched when it opens and again when
// its row says they changed.
'use strict';

const MESSAGE_SHOWN = 120;  // characters of a result's message; all in its tooltip
// Log lines alone send no row event (a health poll brings three): the open
// detail fetches them this often.
const DETAIL_REFRESH_MS = 5000;
const SVG = 'http://www.w3.org/2000/svg';

let detailIp = null;
let detailDoc = null;
let detailSeq = -1;       // the row change the shown details are of
let detailParams = -1;    // the document version shown
let detailLoading = null;  // the fetch in flight
const openPaths = new Set();  // unfolded nodes of the parameter tree

function fillList(list, items, render) {
  list.replaceChildren(...items.slice().reverse().map((item) => {
    const li = document.createElement('li');
    render(li, item);
    return li;
  }));
}

// GetROI answers with the whole layout; the picture shows it.
function shownMessage(result) {
  if (result.command === 'GetROI' && result.ok) {
    try {
      return `layout of ${JSON.parse(result.message)._roi.roiNum} regions`;
    } catch (error) {
      // not a layout after all: shown as it came
    }
  }
  return result.message.length > MESSAGE_SHOWN ?
      `${result.message.slice(0, MESSAGE_SHOWN)}…` : result.message;
}

function renderResult(li, result) {
  const message = shownMessage(result);
  li.className = result.ok ? 'ok' : 'failed';
  li.textContent = `${clock(result.at)} ${result.command || result.request || 'request'} ` +
      `${result.ok ? 'ok' : 'failed'}${message ? ': ' + message : ''}`;
  li.title = result.message;
}

function renderLogLine(li, entry) {
  li.textContent = `${clock(entry.at)} ${entry.line}`;
}

function rebootText(steps) {
  if (!steps.length) return '';
  const last = steps[steps.length - 1].state;
  const path = steps.map((step) => `${step.state} ${clock(step.at)}`).join(' → ');
  // The handler sends nothing to a camera for 40 s after its reboot.
  return `Reboot: ${path}${last === 'restarting' ? ' (the handler waits 40 s)' : ''}`;
}

function openDetail(ip) {
  detailIp = ip;
  detailDoc = null;
  detailSeq = -1;
  detailParams = -1;
  for (const edited of $('detail').querySelectorAll('[data-edited]')) delete edited.dataset.edited;
  $('action-status').textContent = '';
  $('detail').hidden = false;
  $('detail-results').replaceChildren();
  $('detail-log').replaceChildren();
  renderCopyButton();
  renderDetailDocument();
  onDetailRow(cameras.get(ip).row);
  $('detail-close').focus();
}

function closeDetail() {
  const ip = detailIp;
  detailIp = null;
  $('detail').hidden = true;
  const entry = cameras.get(ip);
  if (entry) entry.element.focus();
}

// A row changed: fetch what the detail view shows of it, one fetch at a time.
async function onDetailRow(row) {
  text($('detail-title'), `${row.name || row.ip} (${row.ip}:${row.port})`);
  const badge = $('detail-link');
  text(badge, row.state);
  badge.dataset.state = row.state;
  if (row.params !== detailParams) loadDocument(row.ip, row.params);
  if (detailLoading || row.seq === detailSeq) return;
  detailSeq = row.seq;
  detailLoading = fetch(apiPath(row.ip)).then((response) => response.json());
  try {
    const detail = await detailLoading;
    if (detailIp === row.ip) renderDetail(detail);
  } catch (error) {
    // the next row event tries again
  } finally {
    detailLoading = null;
  }
  const latest = cameras.get(row.ip).row;
  if (detailIp === row.ip && latest.seq !== detailSeq) onDetailRow(latest);
}

async function loadDocument(ip, version) {
  detailParams = version;
  if (!version) return;
  const response = await fetch(apiPath(ip, 'params'));
  if (!response.ok || detailIp !== ip) return;
  detailDoc = await response.json();
  renderDetailDocument();
}

function renderDetail(detail) {
  fillList($('detail-results'), detail.results, renderResult);
  fillList($('detail-log'), detail.log, renderLogLine);
  text($('detail-reboot'), rebootText(detail.reboot_steps));
  const img = $('picture-img');
  const source = detail.screenshot ?
      `${apiPath(detail.ip, 'screenshot.jpeg')}?v=${detail.screenshot}` : '';
  if (img.dataset.source !== source) {
    img.dataset.source = source;
    img.hidden = !source;
    if (source) img.src = source; else img.removeAttribute('src');
  }
  $('picture-empty').hidden = Boolean(source);
}

function renderDetailDocument() {
  const doc = detailDoc;
  renderSettings(doc);
  renderRoi(doc);
  const tree = $('params-tree');
  if (!doc) {
    tree.textContent = 'The parameter document has not arrived yet.';
    return;
  }
  tree.replaceChildren(jsonNode('document', doc, 'document'));
}

function numberSettings() {
  return settingsTable.filter((setting) => !setting.range);
}

function renderSettings(doc) {
  const form = $('settings');
  if (!doc) {
    form.textContent = 'The controls appear with the parameter document.';
    return;
  }
  if (!form.querySelector('.row')) {
    form.replaceChildren(...numberSettings().map((setting) => settingRow(setting)));
    for (const control of form.querySelectorAll('[data-acts]')) control.disabled = viewer;
  }
  for (const setting of numberSettings()) {
    const input = $(`set-${setting.name}`);
    if (setting.min_member) {
      input.min = doc[setting.min_member];
      input.max = doc[setting.max_member];
    }
    // A value changed on the page stays as the user left it until it is sent.
    if (!input.dataset.edited) input.value = doc[setting.member];
    $(`current-${setting.name}`).textContent = doc[setting.member];
  }
  if (!$('set-mode').dataset.edited) $('set-mode').value = String(doc.mode);
}

function controlOf(action) {
  return action === 'mode' ? $('set-mode') : $(`set-${action}`);
}

function settingRow({name: action, label, unit}) {
  const row = document.createElement('div');
  row.className = 'row';
  row.innerHTML = `<label for="set-${action}"></label>` +
      `<input type="number" id="set-${action}" step="1" required data-acts>` +
      `<span class="current" id="current-${action}" title="value on the camera"></span>` +
      `<button type="button" data-action="${action}" data-acts>Set</button>`;
  row.querySelector('label').textContent = unit ? `${label} (${unit})` : label;
  return row;
}

function renderRoi(doc) {
  const overlay = $('roi-overlay');
  const roi = doc && doc._roi;
  overlay.replaceChildren();
  if (!roi) {
    text($('roi-note'), doc ? `No ROI layout in mode ${doc.mode}.` : '');
    return;
  }
  overlay.setAttribute('viewBox', `0 0 ${roi.srcWidth} ${roi.srcHeight}`);
  $('picture').style.aspectRatio = `${roi.srcWidth} / ${roi.srcHeight}`;
  const odd = [];
  roi.roiParam.forEach((region, index) => {
    // A perspective height is computed by the handler and can come out
    // negative (a region spanning half the panorama); draw what fits.
    const height = Math.min(Math.max(region.srcH, 0), roi.srcHeight - region.srcY);
    if (height !== region.srcH) odd.push(`${index + 1} (height ${region.srcH})`);
    // A region may run past the right edge of the panorama and wrap around.
    for (const shift of [0, -roi.srcWidth]) {
      if (shift && region.srcX + region.srcW <= roi.srcWidth) continue;
      const rect = document.createElementNS(SVG, 'rect');
      rect.setAttribute('x', region.srcX + shift);
      rect.setAttribute('y', region.srcY);
      rect.setAttribute('width', region.srcW);
      rect.setAttribute('height', height);
      rect.setAttribute('class', region.projection === 1 ? 'perspective' : '');
      const label = document.createElementNS(SVG, 'text');
      label.setAttribute('x', region.srcX + shift + roi.srcWidth / 100);
      label.setAttribute('y', region.srcY + roi.srcHeight / 12);
      label.setAttribute('font-size', roi.srcHeight / 14);
      label.textContent = String(index + 1);
      overlay.append(rect, label);
    }
  });
  text($('roi-note'), `${roi.roiNum} regions of a ${roi.srcWidth}×${roi.srcHeight} source, ` +
      `composed into ${roi.dstWidth}×${roi.dstHeight}; dashed: perspective.` +
      (odd.length ? ` Drawn clipped: region ${odd.join(', ')}.` : ''));
}

// A foldable view of a JSON value; unfolded nodes stay unfolded across updates.
function jsonNode(key, value, path) {
  if (value === null || typeof value !== 'object') {
    const row = document.createElement('div');
    row.className = 'leaf';
    const name = document.createElement('span');
    name.className = 'key';
    name.textContent = `${key}: `;
    const shown = document.createElement('span');
    shown.className = `value ${typeof value}`;
    shown.textContent = JSON.stringify(value);
    row.append(name, shown);
    return row;
  }
  const node = document.createElement('details');
  node.open = path === 'document' || openPaths.has(path);
  node.addEventListener('toggle', () => {
    if (node.open) openPaths.add(path); else openPaths.delete(path);
  });
  const summary = document.createElement('summary');
  const size = Array.isArray(value) ? `[${value.length}]` : `{${Object.keys(value).length}}`;
  summary.textContent = `${key} ${size}`;
  node.append(summary);
  for (const [childKey, child] of Object.entries(value)) {
    node.append(jsonNode(childKey, child, `${path}.${childKey}`));
  }
  return node;
}

// ---- This camera's own controls

async function act(action, button) {
  const ip = detailIp;
  // A reboot asks twice.
  if (action === 'reboot' && button.dataset.armed !== 'yes') {
    button.dataset.armed = 'yes';
    button.textContent = 'Confirm reboot';
    setTimeout(() => {
      button.dataset.armed = '';
      button.textContent = 'Reboot';
    }, 4000);
    return;
  }
  if (action === 'reboot') {
    button.dataset.armed = '';
    button.textContent = 'Reboot';
  }
  const status = $('action-status');
  const control = controlOf(action);
  const body = control ? {value: Number(control.value)} : {};
  const answer = await request('POST', apiPath(ip, `actions/${action}`), body,
      (why) => showStatus(status, null, why));
  if (control && answer.ok) delete control.dataset.edited;
  showStatus(status, answer.ok, answer.ok ?
      `${answer.body.queued} queued for ${ip}; its result appears below.` : answer.body.error);
}

function setUpDetail() {
  $('detail-close').addEventListener('click', closeDetail);
  setInterval(() => {
    if (!detailIp || detailLoading) return;
    detailSeq = -1;
    onDetailRow(cameras.get(detailIp).row);
  }, DETAIL_REFRESH_MS);
  document.addEventListener('keydown', (event) => {
    if (event.key === 'Escape' && detailIp) closeDetail();
  });
  for (const type of ['input', 'change']) {
    $('detail').addEventListener(type, (event) => {
      if (event.target.matches('#settings input, #set-mode')) event.target.dataset.edited = 'yes';
    });
  }
  $('detail').addEventListener('click', (event) => {
    const button = event.target.closest('button[data-action]');
    if (button && !viewer) act(button.dataset.action, button);
  });
  $('copy-settings').addEventListener('click', () => copySettings(detailIp));
}
