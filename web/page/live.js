// The stream of live values. While nobody sees the page there is no stream, so the gateway can stop
// its server and spends no data.

const RETRY_MS = 2000;
// The gateway says something every five seconds. A connection that nobody has closed, as when a
// telephone leaves the wireless network, is noticed only so.
const SILENCE_MS = 15000;
const listeners = new Set();
let source = null;
let retry = null;
let stream = null; // where it is, and what takes its events
let heardMs = 0;

export const live = {
  slots: [],
  receivedMs: 0, // when the ages of the slots were true
  isLinked: false,
  isPaused: false, // nobody sees the page
};

export function onLive(listener) {
  listeners.add(listener);
  if (live.receivedMs) listener();
}

function notify() {
  for (const listener of listeners) listener();
}

function setLinked(isLinked) {
  if (live.isLinked === isLinked) return;
  live.isLinked = isLinked;
  notify();
}

function takeNews() {
  heardMs = Date.now();
  live.receivedMs = heardMs;
  live.isLinked = true;
  notify();
}

function takeStatus(data) {
  live.slots = data.slots;
}

function takeAge(data) {
  for (const news of data.slots) {
    const slot = live.slots.find((one) => one.slot === news.slot);
    if (!slot) continue;
    slot.age_seconds = news.age_seconds;
    if (slot.session) slot.session.seconds = news.seconds;
  }
}

function takeSign() {
  heardMs = Date.now();
  setLinked(true);
}

function stop() {
  clearTimeout(retry);
  if (source) source.close();
  source = null;
}

function start() {
  stop();
  heardMs = Date.now();
  source = new EventSource(stream.address);
  for (const [name, take] of Object.entries(stream.takers)) {
    source.addEventListener(name, (event) => {
      take(JSON.parse(event.data));
      takeNews();
    });
  }
  source.addEventListener('alive', takeSign);
  source.addEventListener('error', () => {
    setLinked(false);
    // The browser tries again by itself, but not after every error.
    if (source && source.readyState === EventSource.CLOSED) retry = setTimeout(start, RETRY_MS);
  });
}

// takers: by the event's name, what takes its data.
export function startLive(address = 'api/live', takers = { status: takeStatus, age: takeAge }) {
  stream = { address, takers };
  const follow = () => {
    live.isPaused = document.hidden;
    if (live.isPaused) stop();
    else start();
  };
  document.addEventListener('visibilitychange', follow);
  follow();
}

// Call it every second.
export function checkLive() {
  if (!source || Date.now() - heardMs < SILENCE_MS) return;
  setLinked(false);
  start();
}

// Seconds since the daemon wrote what is shown; null if it never did.
export function ageNow(slot) {
  if (slot.age_seconds === null || slot.age_seconds === undefined) return null;
  return slot.age_seconds + Math.round((Date.now() - live.receivedMs) / 1000);
}
