// The head of the page: which modem is shown, and whether the server is there.

import { byId, element, setText } from './dom.js';
import { live } from './live.js';

let wantedSlot = null;

// listener: another one was chosen.
export function prepareSlots(listener) {
  byId('slot').addEventListener('change', () => {
    wantedSlot = Number(byId('slot').value);
    listener();
  });
}

export function chosenSlot() {
  return live.slots.find((slot) => slot.slot === wantedSlot) || live.slots[0] || null;
}

export function showSlots() {
  const choice = byId('slot');
  const numbers = live.slots.map((slot) => slot.slot).join(' ');
  byId('slot-choice').hidden = live.slots.length < 2;
  if (choice.dataset.numbers === numbers) return;
  choice.dataset.numbers = numbers;
  choice.replaceChildren(...live.slots.map((slot) => element('option', { value: slot.slot }, String(slot.slot))));
  if (live.slots.length) choice.value = chosenSlot().slot;
}

// server: what is asked. note: what there is to say while it answers; trouble: it is wrong.
export function showLink(server, note = '', trouble = '') {
  const link = byId('link');
  const isLost = live.receivedMs > 0 && !live.isLinked;
  link.className = isLost || trouble ? 'lost' : '';
  byId('main').className = isLost ? 'old' : '';
  if (!live.receivedMs) setText(link, `Connecting to the ${server} …`);
  else if (isLost) setText(link, `No connection to the ${server}: what is shown is old.`);
  else setText(link, trouble || note || 'Live');
}
