// A short tone every second: the stronger the signal, the higher. Silence: no signal is known.

const LOWEST_HZ = 220;
const OCTAVES = 2.5;
const LOUDNESS = 0.2;
const BEEP_S = 0.15;
const EVERY_MS = 1000;

let context = null;
let timer = null;
let percent = null;

function beep() {
  if (percent === null || !context) return;
  const oscillator = context.createOscillator();
  const gain = context.createGain();
  const start = context.currentTime;
  oscillator.frequency.value = LOWEST_HZ * 2 ** (OCTAVES * percent / 100);
  gain.gain.setValueAtTime(0, start);
  gain.gain.linearRampToValueAtTime(LOUDNESS, start + 0.01);
  gain.gain.linearRampToValueAtTime(0, start + BEEP_S);
  oscillator.connect(gain).connect(context.destination);
  oscillator.start(start);
  oscillator.stop(start + BEEP_S);
}

export function setTone(value) {
  percent = value;
}

// Browsers allow sound only after the user has pressed something.
export function startTone() {
  context = context || new AudioContext();
  context.resume();
  clearInterval(timer);
  timer = setInterval(beep, EVERY_MS);
}

export function stopTone() {
  clearInterval(timer);
  timer = null;
  if (context) context.suspend();
}
