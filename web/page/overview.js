// What is wrong and what to do first, and the state in a few lines.

import { byId, durationText, element, replaceFacts, setText } from './dom.js';
import { ageNow } from './live.js';

const STATES = {
  connected: ['Connected', 'good'],
  not_connected: ['Not connected', 'poor'],
  data_off: ['Data is off', 'fair'],
  starting: ['Starting', 'fair'],
  stale: ['No news from the daemon', 'poor'],
  no_daemon: ['No daemon is running', 'poor'],
  no_data: ['No status', 'poor'],
};

const SEVERITIES = { error: 'Error', warning: 'Warning', note: 'Note' };

export function stateWords(slot) {
  return Object.hasOwn(STATES, slot.state) ? STATES[slot.state] : [String(slot.state || 'Not known'), 'fair'];
}

export function problemNode(problem) {
  const node = element('div', { class: `problem ${problem.severity}` },
    element('p', { class: 'what' }, `${SEVERITIES[problem.severity] || 'Note'}: ${problem.what}`));
  if (problem.mend) node.append(element('p', {}, `What to do: ${problem.mend}`));
  return node;
}

function joined(...parts) {
  return parts.filter((part) => part && part !== 'Unknown' && part !== 'UNKNOWN').join(', ');
}

export function signalText(signal) {
  const figures = [['RSRP', signal.rsrp_dbm, 'dBm'], ['RSRQ', signal.rsrq_db, 'dB'],
    ['RSCP', signal.rscp_dbm, 'dBm'], ['Ec/Io', signal.ecio_db, 'dB'], ['RSSI', signal.rssi_dbm, 'dBm']];
  return figures.filter(([, value]) => value !== null)
    .map(([name, value, unit]) => `${name} ${value} ${unit}`).join(', ');
}

// "LTE band 4"
function technologyText({ technology, band }) {
  return [technology, /^\d/.test(band || '') ? `band ${band}` : band].filter((part) => part && part !== 'Unknown').join(' ');
}

function facts(slot) {
  const age = ageNow(slot);
  const updated = age === null ? 'never' : `${durationText(age)} ago`;
  if (!slot.network) return [['Updated', updated], ['Data', slot.data.why]];
  const { network, session, sim, modem, signal, sms } = slot;
  return [
    ['Network', joined(network.registration, network.operator, technologyText(network))],
    ['Cell', joined(network.cell, network.area && `area ${network.area}`)],
    ['Signal', joined(signal.quality, signalText(signal)) || 'not known'],
    ['Session', session.connected ? joined(session.seconds !== null && `up for ${durationText(session.seconds)}`,
      session.apn && `APN ${session.apn}`) : 'down'],
    ['Addresses', session.addresses.join(', ')],
    ['Data', slot.data.why],
    ['SIM', joined(sim.status, sim.carrier, sim.iccid && `ICCID ${sim.iccid}`)],
    ['Modem', joined(modem.model, modem.firmware && `firmware ${modem.firmware}`)],
    ['Temperature', modem.temperature_c === null ? '' : `${modem.temperature_c} °C`],
    ['GPS', slot.gps.state],
    ['Messages', `${sms.received ?? 0} received, ${sms.sent ?? 0} sent, ${sms.failed ?? 0} failed`],
    ['Updated', updated],
  ];
}

export function showOverview(slot) {
  const [words, colour] = stateWords(slot);
  const state = byId('state');
  setText(state, words);
  state.className = `state ${colour}`;
  const problems = byId('problems');
  const text = JSON.stringify(slot.problems);
  if (problems.dataset.shown !== text) {
    problems.dataset.shown = text;
    problems.replaceChildren(...(slot.problems.length ? slot.problems.map(problemNode)
      : [element('p', {}, 'Nothing. The modem works as configured.')]));
  }
  replaceFacts(byId('facts'), facts(slot));
}
