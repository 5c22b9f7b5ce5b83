// Work on the selection: a bulk action (each camera gets its own command;
// the panel shows each camera pending, done or failed with the reason), a
// copy of one camera's settings to the others, and a firmware rollout whose
// files the browser uploads once.
'use strict';

const MIB = 1024 * 1024;
const OTHER_ACTIONS = [
  {name: 'stream', label: 'Start stream'},
  {name: 'screenshot', label: 'Take a screenshot'},
  {name: 'refresh', label: 'Refresh parameters'},
  {name: 'reboot', label: 'Reboot'},
];
const RUN_ORDER = {failed: 0, waiting: 1, pending: 1, done: 2};

let shownRun = null;      // the id of the run the panel shows
let rolloutInfo = null;   // limits and the current rollout (GET /api/rollout)
let rollout = null;

function selection() {
  return order.filter((ip) => selected.has(ip));
}

// ---- Bulk actions

// The settings whose range every camera states, the mode, then the rest.
function fillBulkActions() {
  const select = $('bulk-action');
  const settings = settingsTable.filter((setting) => setting.min_member || setting.range);
  select.replaceChildren(...settings.concat(OTHER_ACTIONS).map((action) => {
    const option = document.createElement('option');
    option.value = action.name;
    option.textContent = action.unit ? `${action.label} (${action.unit})` : action.label;
    option.dataset.value = action.member ? 'yes' : '';
    return option;
  }));
  onBulkActionChosen();
}

function onBulkActionChosen() {
  const option = $('bulk-action').selectedOptions[0];
  $('bulk-value').hidden = !option || !option.dataset.value;
  const apply = $('bulk-apply');
  apply.dataset.armed = '';
  apply.textContent = 'Apply';
}

async function applyBulk() {
  const action = $('bulk-action').value;
  const cameras = selection();
  const apply = $('bulk-apply');
  // A reboot of many cameras asks twice.
  if (action === 'reboot' && apply.dataset.armed !== 'yes') {
    apply.dataset.armed = 'yes';
    apply.textContent = `Confirm reboot of ${cameras.length}`;
    return;
  }
  onBulkActionChosen();
  const body = {action, cameras};
  if (!$('bulk-value').hidden) body.value = Number($('bulk-value').value);
  const answer = await request('POST', '/api/bulk', body);
  showStatus($('toolbar-status'), answer.ok, answer.ok ? '' : answer.body.error);
  if (answer.ok) showRun(answer.body);
}

function showRun(run) {
  shownRun = run.id;
  $('run-panel').hidden = false;
  onRun(run);
}

function onRun(run) {
  if (run.id !== shownRun) return;
  text($('run-title'), `${run.title}: ${run.cameras.length} cameras`);
  const counts = run.counts;
  text($('run-counts'), `${counts.done} done · ${counts.failed} failed · ${counts.pending} pending`);
  const list = run.cameras.slice().sort((a, b) => RUN_ORDER[a.state] - RUN_ORDER[b.state]);
  $('run-cameras').replaceChildren(...list.map((camera) => {
    const li = document.createElement('li');
    li.dataset.ip = camera.ip;
    li.dataset.state = camera.state;
    const steps = camera.steps > 1 ? ` (${camera.done}/${camera.steps})` : '';
    li.textContent = `${nameOf(camera.ip)}: ${camera.state}${steps}` +
        (camera.message ? ` – ${camera.message}` : '');
    return li;
  }));
}

// ---- Copy

function renderCopyButton() {
  const button = $('copy-settings');
  const targets = selection().filter((ip) => ip !== detailIp).length;
  button.textContent = `Copy settings from this camera to the ${targets} selected`;
  button.disabled = viewer || targets === 0;
}

async function copySettings(from) {
  const status = $('action-status');
  const answer = await request('POST', '/api/copy', {from, cameras: selection()});
  showStatus(status, answer.ok, answer.ok ?
      `Copying the settings of ${from}; each camera's result is in the run panel.` :
      answer.body.error);
  if (answer.ok) showRun(answer.body);
}

// ---- Firmware rollout

async function openRollout() {
  $('rollout-panel').hidden = false;
  const answer = await request('GET', '/api/rollout');
  if (!answer.ok) return;
  rolloutInfo = answer.body;
  text($('rollout-rule'), `Updates the selected cameras at most ${rolloutInfo.parallel} at a ` +
      `time, the next one starting as one finishes; starts no more once ` +
      `${rolloutInfo.stop_after} have failed. Files up to ` +
      `${Math.floor(rolloutInfo.max_upload_bytes / MIB)} MiB in all.`);
  if (rolloutInfo.rollout) onRollout(rolloutInfo.rollout);
}

function startRollout(event) {
  event.preventDefault();
  const form = new FormData($('rollout-form'));
  form.append('cameras', selection().join(','));
  const status = $('rollout-status');
  const xhr = new XMLHttpRequest();
  xhr.open('POST', '/api/rollout');
  xhr.upload.addEventListener('progress', (progress) => {
    if (!progress.lengthComputable) return;
    showStatus(status, null, `Uploading: ${Math.round(100 * progress.loaded / progress.total)} % ` +
        `of ${(progress.total / MIB).toFixed(1)} MiB`);
  });
  xhr.addEventListener('load', () => {
    status.dataset.code = xhr.status;
    let answer = {};
    try {
      answer = JSON.parse(xhr.responseText);
    } catch (error) {
      answer = {error: `the console answered ${xhr.status}`};
    }
    if (xhr.status !== 202) return showStatus(status, false, answer.error);
    $('rollout-form').reset();
    onRollout(answer);
  });
  xhr.addEventListener('error', () => showStatus(status, false, 'The upload did not reach the console.'));
  showStatus(status, null, 'Uploading…');
  delete status.dataset.code;
  xhr.send(form);
}

function rolloutBar(li, ip) {
  const update = cameras.get(ip)?.row.update;
  const bar = li.querySelector('progress');
  const stage = li.querySelector('.stage');
  bar.value = update ? update.value : 0;
  const step = li.dataset.step;
  const said = step === 'failed' || step === 'not started' ? li.dataset.message :
      step === 'running' && update ? `${update.value} % ${update.text}` : '';
  text(stage, said || step);
}

function onRollout(next) {
  rollout = next;
  const c = next.counts;
  const total = next.cameras.length;
  const status = $('rollout-status');
  showStatus(status, c.failed === 0 ? true : false,
      `${c.done} of ${total} done · ${c.failed} failed · ${c.running} running · ` +
      `${c.waiting} waiting` + (c['not started'] ? ` · ${c['not started']} not started` : '') +
      (next.stop_reason ? ` · ${next.stop_reason}` : '') +
      (next.active ? '' : ' · ended, files removed'));
  $('rollout-stop').hidden = !next.active;
  $('rollout-start').disabled = viewer || next.active;
  $('rollout-cameras').replaceChildren(...next.cameras.map((camera) => {
    const li = document.createElement('li');
    li.dataset.ip = camera.ip;
    li.dataset.step = camera.step;
    li.dataset.message = camera.message;
    li.innerHTML = '<span class="who"></span><progress max="100" value="0"></progress>' +
        '<span class="stage"></span>';
    text(li.querySelector('.who'), nameOf(camera.ip));
    rolloutBar(li, camera.ip);
    return li;
  }));
}

function onRolloutRow(row) {
  if (!rollout) return;
  const li = $('rollout-cameras').querySelector(`li[data-ip="${CSS.escape(row.ip)}"]`);
  if (li) rolloutBar(li, row.ip);
}

function setUpActions() {
  $('bulk-action').addEventListener('change', onBulkActionChosen);
  $('bulk-apply').addEventListener('click', applyBulk);
  $('rollout-open').addEventListener('click', openRollout);
  $('rollout-form').addEventListener('submit', startRollout);
  $('rollout-stop').addEventListener('click', async () => {
    const answer = await request('POST', '/api/rollout/stop', {});
    if (answer.ok && answer.body.rollout) onRollout(answer.body.rollout);
  });
}
