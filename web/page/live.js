// The stream of live values. While nobody sees the page there is no stream, so the gateway can stop
// its server and spends no data.

const RETRY_MS = 2000;
const listeners = new Set();
let source = null;
let retry = null;

export const live = {
  slots: [],
  receivedMs: 0, // when the ages of the slots were true
  isLinked: false,
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

function takeStatus(event) {
  live.slots = JSON.parse(event.data).slots;
  live.receivedMs = Date.now();
  live.isLinked = true;
  notify();
}

function takeAge(event) {
  for (const news of JSON.parse(event.data).slots) {
    const slot = live.slots.find((one) => one.slot === news.slot);
    if (!slot) continue;
    slot.age_seconds = news.age_seconds;
    if (slot.session) slot.session.seconds = news.seconds;
  }
  live.receivedMs = Date.now();
  live.isLinked = true;
  notify();
}

function stop() {
  clearTimeout(retry);
  if (source) source.close();
  source = null;
}

function start() {
  stop();
  source = new EventSource('api/live');
  source.addEventListener('status', takeStatus);
  source.addEventListener('age', takeAge);
  source.addEventListener('error', () => {
    setLinked(false);
    // The browser tries again by itself, but not after every error.
    if (source && source.readyState === EventSource.CLOSED) retry = setTimeout(start, RETRY_MS);
  });
}

export function startLive() {
  document.addEventListener('visibilitychange', () => (document.hidden ? stop() : start()));
  if (!document.hidden) start();
}

// Seconds since the daemon wrote what is shown; null if it never did.
export function ageNow(slot) {
  if (slot.age_seconds === null || slot.age_seconds === undefined) return null;
  return slot.age_seconds + Math.round((Date.now() - live.receivedMs) / 1000);
}
