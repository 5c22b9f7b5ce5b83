// The fleet console's page: the fleet view kept current by the server's event
// stream (fleet_view.js), a detail view per camera (detail_view.js), and work
// on the selection: bulk actions, copying settings, firmware rollouts
// (fleet_actions.js). This file holds what they share and starts the page.
'use strict';

const RETRIES = 40;      // tries of an action the console asks to repeat (409),
const RETRY_MS = 500;    // this far apart
const FLEET_LOG = 200;   // handler log lines kept on the page

const cameras = new Map();  // ip -> {row, element}
// The settings a camera takes one number for, from the console's table
// (GET /api/settings).
let settingsTable = [];
let viewer = false;  // a viewer may look, not act (GET /api/session)

// Read by the browser test and the measurements in docs/performance.md.
const stats = {events: 0, lastLagMs: 0, maxLagMs: 0, lastRowCreatedAt: 0};
window.consoleStats = stats;

const $ = (id) => document.getElementById(id);

function text(element, value) {
  const shown = value === undefined || value === null || value === '' ? '–' : String(value);
  if (element.textContent !== shown) element.textContent = shown;
}

function clock(ms) {
  return new Date(ms).toLocaleTimeString([], {hour12: false});
}

function apiPath(ip, what) {
  return `/api/cameras/${encodeURIComponent(ip)}${what ? '/' + what : ''}`;
}

function nameOf(ip) {
  const entry = cameras.get(ip);
  return entry && entry.row.name ? `${entry.row.name} (${ip})` : ip;
}

// A JSON request to the console; 409 (busy for a moment) is tried again.
// Resolves to {ok, status, body}; a console that does not answer, to ok false.
async function request(method, path, body, onWait) {
  try {
    for (let attempt = 0; ; attempt += 1) {
      const response = await fetch(path, {
        method,
        headers: body === undefined ? {} : {'Content-Type': 'application/json'},
        body: body === undefined ? undefined : JSON.stringify(body),
      });
      const answer = await response.json();
      if (response.status !== 409 || attempt + 1 >= RETRIES) {
        return {ok: response.ok, status: response.status, body: answer};
      }
      if (onWait) onWait(answer.error);
      await new Promise((resolve) => setTimeout(resolve, RETRY_MS));
    }
  } catch (error) {
    return {ok: false, status: 0, body: {error: `The console did not answer: ${error}`}};
  }
}

function showStatus(element, ok, message) {
  element.dataset.ok = ok === null ? 'wait' : ok ? 'yes' : 'no';
  element.textContent = message;
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

// ---- Start

function connect() {
  const connection = $('connection');
  const source = new EventSource('/api/events');
  const on = (name, handler) =>
    source.addEventListener(name, (event) => handler(JSON.parse(event.data)));
  on('row', onRow);
  on('fleet', onFleet);
  on('log', onFleetLog);
  on('run', onRun);
  on('rollout', onRollout);
  source.addEventListener('open', () => {
    connection.dataset.state = 'live';
    connection.textContent = 'live';
  });
  source.addEventListener('error', () => {
    connection.dataset.state = 'lost';
    connection.textContent = 'reconnecting';
  });
}

// A viewer's page offers nothing that would act; a failed question leaves
// the controls on (the console refuses what a viewer may not do anyway).
async function learnRole() {
  try {
    const response = await fetch('/api/session');
    if (!response.ok) return;
    viewer = (await response.json()).role === 'viewer';
  } catch (error) {
    return;
  }
  document.body.classList.toggle('viewer', viewer);
  for (const control of document.querySelectorAll('[data-acts]')) control.disabled = viewer;
}

document.addEventListener('DOMContentLoaded', () => {
  $('log-open').addEventListener('click', () => {
    $('log-panel').hidden = !$('log-panel').hidden;
  });
  for (const close of document.querySelectorAll('[data-close]')) {
    close.addEventListener('click', () => {
      $(close.dataset.close).hidden = true;
    });
  }
  setUpFleetView();
  setUpDetail();
  setUpActions();
  fetch('/api/settings').then((response) => response.json()).then((table) => {
    settingsTable = table;
    fillBulkActions();
    if (detailIp) renderDetailDocument();
  });
  learnRole();
  connect();
});
