// The frame of the page: which view, which slot, and whether the gateway is there.

import { byId, element, setText } from './dom.js';
import { checkLive, live, onLive, startLive } from './live.js';
import { showEvents } from './events.js';
import { showHistory } from './history.js';
import { showMessages } from './messages.js';
import { showOverview, stateWords } from './overview.js';
import { leaveSignal, prepareSignal, sampleSignals, showSignal } from './signal.js';

const TICK_MS = 1000;

// Shown again with each news (live), or once when the view is opened.
const VIEWS = {
  overview: { live: showOverview },
  signal: { live: showSignal, leave: leaveSignal },
  history: { open: showHistory },
  events: { open: showEvents },
  messages: { open: showMessages },
};

let view = '';
let wantedSlot = null;
let openedFor = null;

function chosenSlot() {
  return live.slots.find((slot) => slot.slot === wantedSlot) || live.slots[0] || null;
}

function showSlots() {
  const choice = byId('slot');
  const numbers = live.slots.map((slot) => slot.slot).join(' ');
  byId('slot-choice').hidden = live.slots.length < 2;
  if (choice.dataset.numbers === numbers) return;
  choice.dataset.numbers = numbers;
  choice.replaceChildren(...live.slots.map((slot) => element('option', { value: slot.slot }, String(slot.slot))));
}

function showLink() {
  const link = byId('link');
  const isLost = live.receivedMs > 0 && !live.isLinked;
  link.className = isLost ? 'lost' : '';
  byId('main').className = isLost ? 'old' : '';
  if (!live.receivedMs) setText(link, 'Connecting to the gateway …');
  else if (isLost) setText(link, 'No connection to the gateway: what is shown is old.');
  else if (!live.slots.length) setText(link, 'No modem is configured on this gateway.');
  else setText(link, 'Live');
}

function show() {
  showLink();
  showSlots();
  const slot = chosenSlot();
  if (!slot) return;
  document.title = `${stateWords(slot)[0]} – slot ${slot.slot}`;
  setText(byId('title'), live.slots.length > 1 ? 'Cellular modems' : 'Cellular modem');
  const current = VIEWS[view];
  if (current.live) current.live(slot);
  const opened = `${view} ${slot.slot}`;
  if (openedFor === opened) return;
  openedFor = opened;
  if (current.open) current.open(slot);
}

function openView() {
  const wanted = location.hash.slice(1);
  if (wanted === 'main') return; // the link that skips the navigation
  if (VIEWS[view]?.leave) VIEWS[view].leave();
  const isFirst = view === '';
  view = VIEWS[wanted] ? wanted : 'overview';
  openedFor = null;
  for (const name of Object.keys(VIEWS)) byId(name).hidden = name !== view;
  for (const link of document.querySelectorAll('nav a')) {
    if (link.hash === `#${view}`) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  if (!isFirst) byId('main').focus({ preventScroll: true });
  show();
}

prepareSignal();
byId('slot').addEventListener('change', () => {
  wantedSlot = Number(byId('slot').value);
  show();
});
addEventListener('hashchange', openView);
onLive(show);
openView();
startLive();
setInterval(() => {
  checkLive();
  sampleSignals();
  show();
}, TICK_MS);
