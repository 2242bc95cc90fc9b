// The frame of the fleet's page: the list, or one gateway in detail.

import { byId, element, fetchJson, replaceFacts, setText } from './dom.js';
import { chosenSlot, prepareSlots, showLink, showSlots } from './frame.js';
import { checkLive, live, onLive, startLive } from './live.js';
import { heardText, prepareList, showList } from './list.js';
import { fleet, isOfLine, takeAll, takeChanges, timeless } from './model.js';
import { problemNode, showOverview } from './overview.js';
import { forgetTraces, leaveSignal, prepareSignal, sampleSignals, showSignal } from './signal.js';

const TICK_MS = 1000;

let name = ''; // of the gateway in detail; empty: the list
let detail = null;
let request = 0;

function showLine() {
  const problems = detail.problems.filter(isOfLine).map(timeless);
  const place = byId('line');
  const text = JSON.stringify(problems);
  if (place.dataset.shown !== text) {
    place.dataset.shown = text;
    place.replaceChildren(...problems.map(problemNode));
  }
  const said = detail.availability;
  replaceFacts(byId('gateway-facts'), [
    ['Gateway', detail.online ? 'online' : 'offline: what follows is what it said last'],
    ['Last heard', heardText(detail)],
    ['Agent', said?.version ? `version ${said.version}` : ''],
    ['Waiting', said?.waiting ? `${said.waiting} messages in its spool` : ''],
  ]);
}

// A gateway can publish what it likes: of a state that is not as ours are, nothing is shown, above all
// not what was shown of another one before. False then.
function showSlot(slot) {
  try {
    showOverview(slot);
    showSignal(slot);
    setText(byId('gateway-note'), '');
    return true;
  } catch {
    byId('slot-part').hidden = true;
    setText(byId('gateway-note'), `The state of slot ${slot.slot} is not as cellslot-agent publishes it, and cannot be shown.`);
    return false;
  }
}

function showDetail() {
  setText(byId('gateway-title'), name);
  if (!detail) return;
  showLine();
  showSlots();
  const slot = chosenSlot();
  byId('slot-part').hidden = !slot;
  if (!slot || !showSlot(slot)) return;
  // What it said before it went must not look as if it were true now.
  const { online } = detail;
  byId('slot-part').className = online ? '' : 'past';
  byId('signal').hidden = !online;
  byId('problems-part').hidden = !online && !slot.problems.length;
  setText(byId('slot-title'), online ? 'Modem' : 'Modem, as it was when the gateway was last heard');
}

// What an online gateway said is true now: it would have reported a change.
function refreshAges() {
  if (live.isLinked) live.receivedMs = Date.now();
  if (!detail || detail.online) return;
  for (const slot of live.slots) {
    slot.stale = true;
    slot.age_seconds = Math.round((live.receivedMs - Date.parse(slot.time)) / 1000);
  }
}

function takeDetail(gateway) {
  detail = gateway;
  live.slots = gateway.slots;
  refreshAges();
}

async function load() {
  const own = ++request;
  const note = byId('gateway-note');
  try {
    const gateway = await fetchJson(`api/gateway/${encodeURIComponent(name)}`);
    if (own !== request) return; // another one was chosen meanwhile
    takeDetail(gateway);
    setText(note, '');
  } catch (error) {
    if (own !== request) return;
    detail = null;
    live.slots = [];
    for (const id of ['slot-part', 'slot-choice']) byId(id).hidden = true;
    for (const id of ['line', 'gateway-facts']) byId(id).replaceChildren();
    delete byId('line').dataset.shown;
    setText(note, error.message);
  }
  showDetail();
}

function show() {
  showLink('server', '', fleet.trouble && `Nothing comes from the broker, the last states are shown: ${fleet.trouble}`);
  if (name) showDetail();
  else if (live.receivedMs) showList();
  document.title = name ? `${name} – gateway` : `Gateways (${fleet.gateways.size})`;
}

function showNews() {
  const isOurs = fleet.changed.has(name);
  fleet.changed.clear();
  if (name && isOurs) load();
  show();
}

function openView() {
  if (location.hash === '#main') return; // the link that skips to the content
  const [view, wantedName = ''] = location.hash.slice(1).split('/');
  const before = name;
  name = view === 'gateway' ? wantedName : '';
  byId('list').hidden = name !== '';
  byId('gateway').hidden = name === '';
  if (name !== before) {
    leaveSignal();
    forgetTraces();
    detail = null;
    live.slots = [];
    setText(byId('gateway-note'), '');
    byId('slot-part').hidden = true;
    byId('main').focus({ preventScroll: true });
    if (name) scrollTo(0, 0);
  }
  if (name) load();
  show();
}

prepareList();
prepareSignal();
prepareSlots(showDetail);
addEventListener('hashchange', openView);
onLive(showNews);
openView();
startLive('api/events', { fleet: takeAll, changes: takeChanges });
setInterval(() => {
  checkLive();
  refreshAges();
  sampleSignals();
  show();
}, TICK_MS);
