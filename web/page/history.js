// How it was: plots and figures for a range from an hour to a year.

import { byId, bytesText, durationText, element, fetchJson, replaceFacts, setText, table, timeText } from './dom.js';

const RANGES = [['1h', '1 hour'], ['6h', '6 hours'], ['24h', '1 day'], ['7d', '1 week'], ['30d', '1 month'], ['365d', '1 year']];
const FIRST_RANGE = '24h';
const NARROW = 700;
const MINUTE_S = 60;
const HOUR_S = 3600;
const DAY_S = 86400;
// For an axis of time: least distance of two ticks, its words, and those added where a year, a month, a
// day, an hour, a minute or a second begins.
const TIME_WORDS = [
  [28 * DAY_S, '{MMM}', '\n{YYYY}', null, null, null, null, null, 1],
  [DAY_S, '{D} {MMM}', '\n{YYYY}', null, null, null, null, null, 1],
  [HOUR_S, '{HH}:{mm}', '\n{D} {MMM}', null, '\n{D} {MMM}', null, null, null, 1],
  [MINUTE_S, '{HH}:{mm}', '\n{D} {MMM}', null, '\n{D} {MMM}', null, null, null, 1],
];

let slot = null;
let range = FIRST_RANGE;
let charts = [];
let shown = null;
let request = 0;

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function axis(more = {}) {
  return { stroke: colour('--faint'), grid: { stroke: colour('--line'), width: 0.5 }, ticks: { stroke: colour('--line') }, ...more };
}

const isKnown = (values) => values && values.some((value) => value !== null);

// The first measure of strength that was known in the range.
function strengthSeries(series) {
  return ['rsrp', 'rscp', 'rssi'].map((name) => series[name]).find((one) => one && isKnown(one.average));
}

function plots(history) {
  const { series } = history;
  const list = [];
  const strength = strengthSeries(series);
  if (strength) {
    list.push({ title: `${strength.words} in ${strength.unit}: average, least and greatest`, series: [
      ['average', strength.average, '--accent', 2], ['least', strength.least, '--faint', 1], ['greatest', strength.greatest, '--faint', 1]] });
  }
  if (isKnown(series.connected.average)) {
    list.push({ title: 'Connected in percent of the time', range: [-3, 103], series: [
      ['connected', series.connected.average.map((share) => (share === null ? null : 100 * share)), '--good', 2]] });
  }
  if (isKnown(series.received.average)) {
    list.push({ title: 'Data in bytes per second', bytes: true, range: (_, least, greatest) => [0, 1.05 * greatest || 1], series: [
      ['received', series.received.average, '--accent', 2], ['sent', series.sent.average, '--fair', 2]] });
  }
  if (isKnown(series.temperature.average))
    list.push({ title: 'Temperature in °C', series: [['temperature', series.temperature.average, '--poor', 2]] });
  return list;
}

// For who cannot see the plot.
function plotWords(plot) {
  const values = plot.series[0][1].filter((value) => value !== null);
  const round = (value) => (plot.bytes ? bytesText(value) : value.toFixed(1));
  return `${plot.title}: between ${round(Math.min(...values))} and ${round(Math.max(...values))}`;
}

function draw(uPlot, history) {
  for (const chart of charts) chart.destroy();
  const place = byId('plots');
  const list = plots(history);
  place.replaceChildren();
  charts = list.map((plot) => {
    const words = element('h3', {}, plot.title);
    const node = element('div', { class: 'plot', role: 'img', 'aria-label': plotWords(plot) });
    place.append(words, node);
    const options = {
      width: place.clientWidth,
      height: innerWidth < NARROW ? 200 : 240,
      scales: { y: plot.range ? { range: plot.range } : {} },
      legend: { live: false, show: plot.series.length > 1 },
      cursor: { drag: { x: false, y: false } },
      // The same width for all: what is below each other is of the same time.
      axes: [axis({ values: TIME_WORDS }), axis({ size: 70, ...(plot.bytes ? { values: (_, values) => values.map(bytesText) } : {}) })],
      series: [{}, ...plot.series.map(([label, , stroke, width]) => ({ label, stroke: colour(stroke), width, spanGaps: false, points: { show: false } }))],
    };
    return new uPlot(options, [history.times, ...plot.series.map(([, values]) => values)], node);
  });
}

// Never "100 %" for a time that was not all connected.
function shareText({ connected_seconds: connected, known_seconds: known }) {
  if (!known) return 'not known';
  const percent = connected < known ? (Math.floor(10000 * connected / known) / 100).toFixed(2) : '100';
  return `${percent} % of ${durationText(known)} that are known`;
}

function usageText({ received_bytes: received, sent_bytes: sent }) {
  if (received === null && sent === null) return 'not known';
  return [received === null ? 'not known how much was received' : `${bytesText(received)} received`,
    sent === null ? 'not known how much was sent' : `${bytesText(sent)} sent`].join(', ');
}

function lengthText(outage) {
  if (outage.to === null) return 'lasts';
  return durationText(outage.to - outage.from) + (outage.ends_unknown ? ' or longer' : '');
}

function showFigures(history) {
  const { availability, outages, outages_total: total, usage } = history; // a list has the newest of many
  replaceFacts(byId('history-facts'), [
    ['Connected', shareText(availability)],
    ['Outages', String(total)],
    ['Data', usageText(usage)],
  ]);
  const rows = outages.map((outage) => [timeText(outage.from), lengthText(outage), outage.text || 'cause not known']).reverse();
  byId('outages').replaceChildren(...(rows.length
    ? [element('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': 'Table of outages' },
      table(rows.length < total ? `The newest ${rows.length} outages` : 'Outages, the newest first', ['Since', 'Duration', 'Cause'], rows))] : []));
}

async function load() {
  const note = byId('history-note');
  const own = ++request;
  setText(note, 'Loading …');
  try {
    const [{ default: uPlot }, history] = await Promise.all([import('./uplot.js'),
      fetchJson(`api/history?slot=${slot.slot}&range=${range}`)]);
    if (own !== request) return; // another range was chosen meanwhile
    shown = { uPlot, history };
    setText(note, isKnown(history.series.connected.average) ? '' : 'Nothing is known about this range.');
    showFigures(history);
    draw(uPlot, history);
  } catch (error) {
    if (own !== request) return;
    shown = null;
    byId('plots').replaceChildren();
    byId('outages').replaceChildren();
    byId('history-facts').replaceChildren();
    setText(note, error.message);
  }
}

function prepare() {
  const place = byId('ranges');
  if (place.querySelector('input')) return;
  for (const [value, words] of RANGES) {
    const input = element('input', { type: 'radio', name: 'range', value });
    input.checked = value === range;
    input.addEventListener('change', () => {
      range = value;
      load();
    });
    place.append(element('label', {}, input, element('span', {}, words)));
  }
  document.head.append(element('link', { rel: 'stylesheet', href: 'uplot.css' }));
  const redraw = () => shown && !byId('history').hidden && draw(shown.uPlot, shown.history);
  addEventListener('resize', redraw);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redraw);
}

export function showHistory(chosen) {
  slot = chosen;
  prepare();
  load();
}
