// The signal for whoever turns an antenna: one big number, a word, and the last two minutes.

import { byId, setText } from './dom.js';
import { live } from './live.js';
import { signalText } from './overview.js';
import { setTone, startTone, stopTone } from './tone.js';

const TRACE_S = 120;
const WIDTH = 1200;
const HEIGHT = 300;
const SVG = 'http://www.w3.org/2000/svg';
const COLOURS = { good: 'good', fair: 'fair', poor: 'poor' };

const traces = new Map(); // by slot: [{ atS, percent }]
let isToneOn = false;

const nowS = () => Date.now() / 1000;

// The measure of strength: the first that is known.
function strength(signal) {
  const measures = [['RSRP', signal.rsrp_dbm], ['RSCP', signal.rscp_dbm], ['RSSI', signal.rssi_dbm]];
  return measures.find(([, value]) => value !== null) || null;
}

function isLive(slot) {
  return live.isLinked && !live.isPaused && slot.signal && slot.daemon_running && !slot.stale;
}

// Once a second, whatever comes: the trace is about time.
export function sampleSignals() {
  for (const slot of live.slots) {
    const trace = traces.get(slot.slot) || [];
    trace.push({ atS: nowS(), percent: isLive(slot) ? slot.signal.strength_percent : null });
    while (trace.length && trace[0].atS < nowS() - TRACE_S) trace.shift();
    traces.set(slot.slot, trace);
  }
}

// What comes is of another modem.
export function forgetTraces() {
  traces.clear();
}

// Pieces of line; where nothing was known there is a gap.
function pieces(trace) {
  const lines = [[]];
  for (const { atS, percent } of trace) {
    if (percent === null) {
      lines.push([]);
      continue;
    }
    const x = WIDTH * (1 - (nowS() - atS) / TRACE_S);
    lines[lines.length - 1].push(`${x.toFixed(0)},${(HEIGHT * (1 - percent / 100)).toFixed(0)}`);
  }
  return lines.filter((points) => points.length > 0);
}

function drawTrace(trace) {
  const svg = byId('trace');
  svg.replaceChildren(...pieces(trace).map((points) => {
    const line = document.createElementNS(SVG, 'polyline');
    // A line of one point is not drawn.
    line.setAttribute('points', [...points, points[points.length - 1]].join(' '));
    line.setAttribute('stroke-linecap', 'round');
    line.setAttribute('fill', 'none');
    line.setAttribute('stroke', 'currentColor');
    line.setAttribute('stroke-width', '3');
    line.setAttribute('vector-effect', 'non-scaling-stroke');
    return line;
  }));
  const known = trace.map(({ percent }) => percent).filter((percent) => percent !== null);
  svg.setAttribute('aria-label', known.length === 0 ? 'No signal measured yet'
    : `Signal strength in the last two minutes: between ${Math.min(...known)} and ${Math.max(...known)} percent`);
}

function showNumber(slot) {
  const measure = isLive(slot) ? strength(slot.signal) : null;
  const quality = measure ? slot.signal.quality : null;
  setText(byId('big-name'), measure ? `${measure[0]} in dBm` : '');
  setText(byId('big-number'), measure ? String(Math.round(measure[1])) : '–');
  setText(byId('big-word'), quality || 'no signal measured');
  byId('big-word').className = `word ${COLOURS[quality] || ''}`;
  setText(byId('figures'), measure ? signalText(slot.signal) : '');
  const percent = measure ? slot.signal.strength_percent : 0;
  const bar = byId('bar');
  bar.setAttribute('aria-valuenow', String(percent));
  bar.setAttribute('aria-valuetext', quality ? `${percent} percent, ${quality}` : 'not known');
  bar.className = COLOURS[quality] || '';
  byId('bar-fill').style.width = `${percent}%`;
  setTone(isToneOn && measure ? percent : null);
}

export function showSignal(slot) {
  showNumber(slot);
  drawTrace(traces.get(slot.slot) || []);
}

export function leaveSignal() {
  isToneOn = false;
  byId('tone').setAttribute('aria-pressed', 'false');
  stopTone();
}

export function prepareSignal() {
  byId('tone').addEventListener('click', () => {
    isToneOn = !isToneOn;
    byId('tone').setAttribute('aria-pressed', String(isToneOn));
    if (isToneOn) startTone();
    else stopTone();
  });
}
