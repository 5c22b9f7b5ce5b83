// The fleet console's page: cards kept current by the server's event stream,
// a detail view per camera, and actions sent back to the console's API.
'use strict';

const CARD_RESULTS = 3;  // results and log lines shown on a card
const FLEET_LOG = 200;   // handler log lines kept on the page
const MESSAGE_SHOWN = 120;  // characters of a result's message; all in its tooltip
const RETRIES = 40;      // tries of an action the console asks to repeat,
const RETRY_MS = 500;    // this far apart
const SVG = 'http://www.w3.org/2000/svg';

const cameras = new Map();  // ip -> {card, element}
const documents = new Map();  // ip -> parameter document
const openPaths = new Set();  // unfolded nodes of the parameter tree
let detailIp = null;
// The settings a camera takes one number for, from the console's table
// (GET /api/settings); the mode, with its fixed range, has its own choice.
let numberSettings = [];

// Read by the browser test and the measurements in docs/performance.md.
const stats = {events: 0, lastLagMs: 0, maxLagMs: 0, lastCardCreatedAt: 0};
window.consoleStats = stats;

const $ = (id) => document.getElementById(id);

function text(element, value) {
  const shown = value === undefined || value === null || value === '' ? '–' : String(value);
  if (element.textContent !== shown) element.textContent = shown;
}

function clock(ms) {
  return new Date(ms).toLocaleTimeString([], {hour12: false});
}

function ipOrder(ip) {
  return ip.split('.').map((part) => part.padStart(3, '0')).join('.');
}

function apiPath(ip, what) {
  return `/api/cameras/${encodeURIComponent(ip)}/${what}`;
}

// ---- Cards

function createCard(card) {
  const element = $('card-template').content.firstElementChild.cloneNode(true);
  element.dataset.ip = card.ip;
  element.addEventListener('click', () => openDetail(card.ip));
  element.addEventListener('keydown', (event) => {
    if (event.key === 'Enter') openDetail(card.ip);
  });
  const list = $('cards');
  const before = [...list.children].find((other) => ipOrder(other.dataset.ip) > ipOrder(card.ip));
  list.insertBefore(element, before || null);
  stats.lastCardCreatedAt = performance.now();
  return element;
}

function field(element, name) {
  return element.querySelector(`[data-field="${name}"]`);
}

function fillList(list, items, limit, render) {
  const shown = items.slice(-limit).reverse();
  list.replaceChildren(...shown.map((item) => {
    const li = document.createElement('li');
    render(li, item);
    return li;
  }));
}

// GetROI answers with the whole layout; the detail view draws it.
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
  return last === 'restarting' ? `${path} (the handler waits 40 s)` : path;
}

function renderCard(element, card) {
  const health = card.health || {};
  const versions = card.versions || {};
  element.dataset.link = card.link;
  element.dataset.seq = card.seq;
  text(field(element, 'name'), card.name || card.ip);
  const link = field(element, 'link');
  text(link, card.link);
  link.dataset.link = card.link;
  link.title = card.link_reason || `since ${clock(card.link_since)}`;
  text(field(element, 'address'), `${card.ip}:${card.port}`);
  text(field(element, 'mode'), card.mode);
  text(field(element, 'process'), card.health ? (health.process_ok ? 'ok' : 'FAILED') : '');
  text(field(element, 'cpu'), card.health ? `${health.cpu.toFixed(1)} %` : '');
  text(field(element, 'memory'), card.health ? `${health.memory.toFixed(1)} %` : '');
  text(field(element, 'preview'), card.health ? (health.in_preview ? 'running' : 'stopped') : '');
  text(field(element, 'ast1220'), versions.ast1220);
  text(field(element, 'ast1230'), versions.ast1230);
  text(field(element, 'reboot'), rebootText(card.reboot));
  element.classList.toggle('busy', Boolean(card.health && health.cpu >= 80));

  const update = field(element, 'update');
  update.hidden = !card.update;
  if (card.update) {
    const bar = update.querySelector('progress');
    bar.value = card.update.value;
    update.dataset.state = card.update.failed ? 'failed' : card.update.done ? 'done' : 'active';
    text(update.querySelector('.stage'), `${card.update.value} % ${card.update.text}`);
  }
  fillList(field(element, 'results'), card.results, CARD_RESULTS, renderResult);
  fillList(field(element, 'log'), card.log, CARD_RESULTS, renderLogLine);
}

function renderSummary() {
  const counts = {online: 0, 'not answering': 0, unknown: 0};
  for (const {card} of cameras.values()) counts[card.link] = (counts[card.link] || 0) + 1;
  text($('summary'), `${cameras.size} cameras · ${counts.online} online · ` +
      `${counts['not answering']} not answering · ${counts.unknown} not heard yet`);
}

function onCard(card) {
  stats.events += 1;
  stats.lastLagMs = Math.max(0, Date.now() - card.changed_at);
  stats.maxLagMs = Math.max(stats.maxLagMs, stats.lastLagMs);
  let entry = cameras.get(card.ip);
  if (!entry) {
    entry = {element: createCard(card)};
    cameras.set(card.ip, entry);
  }
  entry.card = card;
  renderCard(entry.element, card);
  renderSummary();
  if (detailIp === card.ip) renderDetailCard();
}

function onParams(message) {
  documents.set(message.ip, message.doc);
  if (detailIp === message.ip) renderDetailDocument();
}

function onFleetLog(lines) {
  const list = $('fleet-log');
  for (const line of lines) {
    const li = document.createElement('li');
    li.textContent = line;
    list.append(li);
  }
  while (list.children.length > FLEET_LOG) list.firstElementChild.remove();
}

// ---- Detail view

function openDetail(ip) {
  detailIp = ip;
  for (const edited of $('detail').querySelectorAll('[data-edited]')) delete edited.dataset.edited;
  $('action-status').textContent = '';
  $('detail').hidden = false;
  renderDetailCard();
  renderDetailDocument();
  $('detail-close').focus();
}

function closeDetail() {
  const ip = detailIp;
  detailIp = null;
  $('detail').hidden = true;
  const entry = cameras.get(ip);
  if (entry) entry.element.focus();
}

function renderDetailCard() {
  const {card} = cameras.get(detailIp);
  text($('detail-title'), `${card.name || card.ip} (${card.ip}:${card.port})`);
  const link = $('detail-link');
  text(link, card.link);
  link.dataset.link = card.link;
  fillList($('detail-results'), card.results, card.results.length, renderResult);
  fillList($('detail-log'), card.log, card.log.length, renderLogLine);
  const img = $('picture-img');
  const source = card.screenshot ? `${apiPath(card.ip, 'screenshot.jpeg')}?v=${card.screenshot}` : '';
  if (img.dataset.source !== source) {
    img.dataset.source = source;
    img.hidden = !source;
    if (source) img.src = source; else img.removeAttribute('src');
  }
  $('picture-empty').hidden = Boolean(source);
}

function renderDetailDocument() {
  const doc = documents.get(detailIp);
  renderSettings(doc);
  renderRoi(doc);
  const tree = $('params-tree');
  if (!doc) {
    tree.textContent = 'The parameter document has not arrived yet.';
    return;
  }
  tree.replaceChildren(jsonNode('document', doc, 'document'));
}

function renderSettings(doc) {
  const form = $('settings');
  if (!doc) {
    form.textContent = 'The controls appear with the parameter document.';
    return;
  }
  if (!form.querySelector('.row')) {
    form.replaceChildren(...numberSettings.map((setting) => settingRow(setting)));
  }
  for (const setting of numberSettings) {
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
      `<input type="number" id="set-${action}" step="1" required>` +
      `<span class="current" id="current-${action}" title="value on the camera"></span>` +
      `<button type="button" data-action="${action}">Set</button>`;
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

// ---- Actions

function firmwareBody() {
  const image = $('fw-1220').value.trim();
  const files = ['fw-1230-1', 'fw-1230-2', 'fw-1230-3'].map((id) => $(id).value.trim());
  const body = {};
  if (image) body.ast1220 = image;
  if (files.some(Boolean)) body.ast1230 = files;
  return body;
}

function actionBody(action) {
  if (action === 'firmware') return firmwareBody();
  const control = controlOf(action);
  return control ? {value: Number(control.value)} : {};
}

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
  const body = JSON.stringify(actionBody(action));
  try {
    let response;
    let answer;
    // 409: the camera is busy for a moment (its parameters are being read).
    for (let attempt = 0; attempt < RETRIES; attempt += 1) {
      response = await fetch(apiPath(ip, `actions/${action}`), {
        method: 'POST',
        headers: {'Content-Type': 'application/json'},
        body,
      });
      answer = await response.json();
      if (response.status !== 409) break;
      status.dataset.ok = 'wait';
      status.textContent = answer.error;
      await new Promise((resolve) => setTimeout(resolve, RETRY_MS));
    }
    const control = controlOf(action);
    if (control && response.ok) delete control.dataset.edited;
    status.dataset.ok = response.ok ? 'yes' : 'no';
    status.textContent = response.ok ?
        `${answer.queued} queued for ${ip}; the result appears on the card.` : answer.error;
  } catch (error) {
    status.dataset.ok = 'no';
    status.textContent = `The console did not answer: ${error}`;
  }
}

// ---- Start

function connect() {
  const connection = $('connection');
  const source = new EventSource('/api/events');
  source.addEventListener('card', (event) => onCard(JSON.parse(event.data)));
  source.addEventListener('params', (event) => onParams(JSON.parse(event.data)));
  source.addEventListener('log', (event) => onFleetLog(JSON.parse(event.data)));
  source.addEventListener('open', () => {
    connection.dataset.state = 'live';
    connection.textContent = 'live';
  });
  source.addEventListener('error', () => {
    connection.dataset.state = 'lost';
    connection.textContent = 'reconnecting';
  });
}

document.addEventListener('DOMContentLoaded', () => {
  $('detail-close').addEventListener('click', closeDetail);
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
    if (button) act(button.dataset.action, button);
  });
  renderSummary();
  fetch('/api/settings').then((response) => response.json()).then((table) => {
    numberSettings = table.filter((setting) => !setting.range);
    if (detailIp) renderDetailDocument();
  });
  connect();
});
