// Received messages, if the operator allows it.

import { byId, element, fetchJson, setText } from './dom.js';

function messageNode(message) {
  return element('li', {}, element('strong', {}, message.from), ' ',
    element('span', { class: 'faint' }, message.time), element('p', { class: 'text' }, message.text));
}

export async function showMessages() {
  const note = byId('messages-note');
  const list = byId('messages-list');
  try {
    const { messages } = await fetchJson('api/messages');
    list.replaceChildren(...messages.map(messageNode));
    setText(note, messages.length ? 'All slots, the newest first.' : 'No message has been received.');
  } catch (error) {
    list.replaceChildren();
    setText(note, error.message);
  }
}
