// What happened, in words.

import { byId, element, fetchJson, setText, table, timeText } from './dom.js';

let request = 0;

export async function showEvents(slot) {
  const own = ++request;
  const note = byId('events-note');
  const place = byId('events-table');
  try {
    const { events } = await fetchJson(`api/events?slot=${slot.slot}`);
    if (own !== request) return; // another slot was chosen meanwhile
    setText(note, events.length ? '' : 'Nothing has happened yet.');
    const rows = events.map((event) => [timeText(event.time), event.text]).reverse();
    place.replaceChildren(...(rows.length
      ? [element('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': 'Table of events' },
        table(`Slot ${slot.slot}, the newest first`, ['When', 'What'], rows))] : []));
  } catch (error) {
    if (own !== request) return;
    place.replaceChildren();
    setText(note, error.message);
  }
}
