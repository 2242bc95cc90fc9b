// The list of gateways, its filters, and what is wrong by kind.

import { byId, durationText, element, setText } from './dom.js';
import { stateWords } from './overview.js';
import { fleet, kinds, kindWords, levelOf, NO_FILTER, timeless, valuesOf, wanted } from './model.js';

// So many rows are made at a time: a screen of a telephone shows ten.
const PAGE_ROWS = 100;
const CHOICES = { state: (value) => words(value), operator: null, signal: null, firmware: null };
const SIGNALS = ['good', 'fair', 'poor', 'unknown'];

const filter = { ...NO_FILTER };
let shownRows = PAGE_ROWS;
const nodes = new Map(); // by name: { node, text }

const words = (state) => (state === 'offline' ? 'Offline' : stateWords({ state: state === 'not_known' ? '' : state })[0]);

const colourOf = (state) => (state === 'offline' ? 'poor' : stateWords({ state })[1]);

export function heardText(gateway) {
  if (gateway.problems.some(({ id }) => id === 'clock_wrong')) return 'at a time not known';
  return gateway.heard ? `${durationText((Date.now() - Date.parse(gateway.heard)) / 1000)} ago` : 'never';
}

function part(name, text, colour = '') {
  return element('span', { class: `${name} ${colour}` }, text);
}

function rowNode(gateway) {
  // What an offline gateway said last is not true now.
  const row = element('a', { href: `#gateway/${gateway.name}`, class: gateway.online ? '' : 'past' }, part('name', gateway.name),
    part('state-word', words(gateway.state), colourOf(gateway.state)),
    part('network', [gateway.operator, gateway.technology].filter(Boolean).join(' ')),
    part('quality', gateway.quality ? `signal ${gateway.quality}` : ''),
    part('heard faint', ''));
  if (gateway.problems.length) {
    const more = gateway.problems.length - 1;
    row.append(element('p', { class: `what ${levelOf(gateway)}` },
      timeless(gateway.problems[0]).what + (more > 0 ? ` (and ${more} more)` : '')));
  }
  return element('li', {}, row);
}

// A row that has not changed stays as it is.
function rowOf(gateway) {
  const text = JSON.stringify(gateway);
  let made = nodes.get(gateway.name);
  if (!made || made.text !== text) {
    made = { text, node: rowNode(gateway) };
    nodes.set(gateway.name, made);
  }
  setText(made.node.querySelector('.heard'), `heard ${heardText(gateway)}`);
  return made.node;
}

function showRows(chosen) {
  const rows = chosen.slice(0, shownRows).map(rowOf);
  const list = byId('rows');
  const isSame = rows.length === list.children.length && rows.every((row, i) => row === list.children[i]);
  if (!isSame) {
    const focused = document.activeElement?.closest('#rows a')?.hash;
    list.replaceChildren(...rows);
    if (focused) [...list.querySelectorAll('a')].find((link) => link.hash === focused)?.focus({ preventScroll: true });
  }
  for (const name of nodes.keys()) if (!fleet.gateways.has(name)) nodes.delete(name);
  byId('more').hidden = chosen.length <= shownRows;
  setText(byId('more'), `Show ${Math.min(PAGE_ROWS, chosen.length - shownRows)} more`);
}

function showCount(chosen) {
  const all = fleet.gateways.size;
  const offline = chosen.filter((gateway) => !gateway.online).length;
  const well = chosen.filter((gateway) => gateway.online && ['', 'note'].includes(levelOf(gateway))).length;
  const start = chosen.length === all ? `${all} gateways` : `${chosen.length} of ${all} gateways`;
  setText(byId('count'), `${start}: ${offline} offline, ${chosen.length - offline - well} with something wrong, ${well} well`);
}

function showKinds() {
  const found = kinds();
  const place = byId('kinds');
  const text = JSON.stringify([found, filter.kind]);
  if (place.dataset.shown === text) return;
  place.dataset.shown = text;
  const focused = document.activeElement?.dataset?.kind;
  place.replaceChildren(...(found.length ? found.map(({ id, level, count }) => {
    const button = element('button', { type: 'button', class: level, 'data-kind': id, 'aria-pressed': String(filter.kind === id) },
      element('strong', {}, String(count)), ` ${kindWords(id)}`);
    button.addEventListener('click', () => {
      filter.kind = filter.kind === id ? '' : id;
      changed();
    });
    return element('li', {}, button);
  }) : [element('li', {}, 'Nothing.')]));
  if (focused !== undefined) [...place.querySelectorAll('button')].find((one) => one.dataset.kind === focused)?.focus();
}

function showChoice(name) {
  const values = name === 'signal' ? SIGNALS : [...valuesOf(name), ...(name === 'state' ? [] : ['unknown'])];
  const choice = byId(`filter-${name}`);
  if (filter[name] && !values.includes(filter[name])) values.push(filter[name]);
  const text = values.join('\n');
  if (choice.dataset.shown === text) return;
  choice.dataset.shown = text;
  const toWords = CHOICES[name] || ((value) => value);
  choice.replaceChildren(element('option', { value: '' }, 'all'),
    ...values.map((value) => element('option', { value }, toWords(value))));
  choice.value = filter[name];
}

export function showList() {
  const chosen = wanted(filter);
  showKinds();
  for (const name of Object.keys(CHOICES)) showChoice(name);
  showCount(chosen);
  showRows(chosen);
}

function changed() {
  shownRows = PAGE_ROWS;
  showList();
}

export function prepareList() {
  // On a telephone the list would begin below the screen.
  byId('filters-part').open = matchMedia('(min-width: 45rem)').matches;
  for (const name of ['name', ...Object.keys(CHOICES)]) {
    byId(`filter-${name}`).addEventListener('input', () => {
      filter[name] = byId(`filter-${name}`).value;
      changed();
    });
  }
  byId('filters').addEventListener('submit', (event) => event.preventDefault());
  byId('filters').addEventListener('reset', () => {
    Object.assign(filter, NO_FILTER);
    changed();
  });
  byId('more').addEventListener('click', () => {
    shownRows += PAGE_ROWS;
    showList();
  });
}
