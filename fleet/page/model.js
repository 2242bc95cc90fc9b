// The gateways as the server's stream has said they are, and which of them are wanted.

const LEVELS = ['error', 'warning', 'note'];
const FINE = LEVELS.length;

export const fleet = {
  gateways: new Map(), // by name
  trouble: '', // why the server has no connection to the broker
  changed: new Set(), // names, since they were last taken
};

export const NO_FILTER = { name: '', state: '', operator: '', signal: '', firmware: '', kind: '' };

function take(data) {
  fleet.trouble = data.trouble;
  for (const gateway of data.gateways) fleet.gateways.set(gateway.name, gateway);
  for (const name of data.gone) fleet.gateways.delete(name);
  for (const { name } of data.gateways) fleet.changed.add(name);
  for (const name of data.gone) fleet.changed.add(name);
}

export function takeChanges(data) {
  take(data);
}

export function takeAll(data) {
  for (const name of fleet.gateways.keys()) fleet.changed.add(name);
  fleet.gateways.clear();
  take(data);
}

export function levelOf(gateway) {
  return gateway.problems.length ? gateway.problems[0].severity : '';
}

// Of the gateway, not of one of its modems.
const LINE_PROBLEMS = ['lost', 'silent', 'agent_stopped', 'never_online', 'clock_wrong'];

export const isOfLine = (problem) => LINE_PROBLEMS.includes(problem.id);

// How long ago was true when the server made the sentence; the page says it beside, every second.
export function timeless(problem) {
  return isOfLine(problem) ? { ...problem, what: problem.what.replace(/ \([^()]* ago\)/, '') } : problem;
}

function rank(gateway) {
  const level = LEVELS.indexOf(levelOf(gateway));
  return (gateway.online ? FINE + 1 : 0) + (level < 0 ? FINE : level);
}

// Those that do not say it by their name.
const KIND_WORDS = { lost: 'Lost by the broker', silent: 'No sign of life' };

export function kindWords(id) {
  if (Object.hasOwn(KIND_WORDS, id)) return KIND_WORDS[id];
  const words = (id || 'not named').replaceAll('_', ' ').replace(/\bsim\b/g, 'SIM').replace(/\bpin\b/g, 'PIN').replace(/\bpuk\b/g, 'PUK');
  return words[0].toUpperCase() + words.slice(1);
}

// [{ id, level, count }], the worst and most frequent first.
export function kinds() {
  const found = new Map();
  for (const { problems } of fleet.gateways.values()) {
    for (const id of new Set(problems.map((problem) => problem.id))) {
      const level = problems.find((problem) => problem.id === id).severity;
      const kind = found.get(id) || { id, level, count: 0 };
      kind.count += 1;
      found.set(id, kind);
    }
  }
  return [...found.values()].sort((a, b) => LEVELS.indexOf(a.level) - LEVELS.indexOf(b.level) || b.count - a.count
    || a.id.localeCompare(b.id));
}

// The different values of a field, for a choice.
export function valuesOf(field) {
  return [...new Set([...fleet.gateways.values()].map((gateway) => gateway[field]).filter(Boolean))].sort();
}

const same = (wanted, value) => !wanted || wanted === (value || 'unknown');

function isWanted(filter, gateway) {
  return gateway.name.toLowerCase().includes(filter.name.toLowerCase())
    && (!filter.state || filter.state === gateway.state)
    && same(filter.operator, gateway.operator)
    && same(filter.signal, gateway.quality)
    && same(filter.firmware, gateway.firmware)
    && (!filter.kind || gateway.problems.some((problem) => problem.id === filter.kind));
}

// The worst first, then by name.
export function wanted(filter) {
  return [...fleet.gateways.values()].filter((gateway) => isWanted(filter, gateway))
    .map((gateway) => [rank(gateway), gateway])
    .sort(([a, one], [b, other]) => a - b || (one.name < other.name ? -1 : 1))
    .map(([, gateway]) => gateway);
}
