// What all views share: making elements, and words for numbers.

export const byId = (id) => document.getElementById(id);

// Text that is already there is not set again: a screen reader would read it again.
export function setText(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

export function element(name, attributes = {}, ...children) {
  const node = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  node.append(...children);
  return node;
}

export function replaceFacts(list, facts) {
  list.replaceChildren(...facts.filter(([, value]) => value !== null && value !== '')
    .flatMap(([name, value]) => [element('dt', {}, name), element('dd', {}, String(value))]));
}

export function table(caption, heads, rows) {
  const head = element('tr', {}, ...heads.map((text) => element('th', { scope: 'col' }, text)));
  const body = rows.map((row) => element('tr', {}, ...row.map((text) => element('td', {}, text))));
  return element('table', {}, element('caption', {}, caption), element('thead', {}, head),
    element('tbody', {}, ...body));
}

const UNITS = [[86400, 'd'], [3600, 'h'], [60, 'min'], [1, 's']];

// "3 h 12 min", "45 s": the two largest units.
export function durationText(seconds) {
  let left = Math.max(0, Math.round(seconds));
  const parts = [];
  for (const [length, unit] of UNITS) {
    const count = Math.floor(left / length);
    left -= count * length;
    if (count > 0) parts.push(`${count} ${unit}`);
    if (parts.length === 2) break;
  }
  return parts.join(' ') || '0 s';
}

export function bytesText(bytes) {
  for (const [size, unit] of [[1e9, 'GB'], [1e6, 'MB'], [1e3, 'kB']])
    if (bytes >= size) return `${(bytes / size).toFixed(bytes < 10 * size ? 1 : 0)} ${unit}`;
  return `${Math.round(bytes)} B`;
}

const TIME = new Intl.DateTimeFormat(undefined, { dateStyle: 'short', timeStyle: 'short' });
export const timeText = (seconds) => TIME.format(new Date(seconds * 1000));

// The answer as JSON. Throws an Error with the gateway's own words.
export async function fetchJson(address) {
  const answer = await fetch(address, { headers: { Accept: 'application/json' } });
  if (!answer.ok) throw new Error((await answer.text()).trim() || `the gateway answered ${answer.status}`);
  return answer.json();
}
