// The frame of the page: which view is shown, and of which slot.

import { byId, setText } from './dom.js';
import { showEvents } from './events.js';
import { chosenSlot, prepareSlots, showLink, showSlots } from './frame.js';
import { checkLive, live, onLive, startLive } from './live.js';
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
let openedFor = null;

function show() {
  showLink('gateway', live.slots.length ? '' : 'No modem is configured on this gateway.');
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
prepareSlots(show);
addEventListener('hashchange', openView);
onLive(show);
openView();
startLive();
setInterval(() => {
  checkLive();
  sampleSignals();
  show();
}, TICK_MS);
