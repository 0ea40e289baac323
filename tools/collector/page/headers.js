import {cut, h} from './dom.js';

const kKey = 'hxQoPvNq4rTeLwbj';  // the library's, for authType alone; no secret
const kWords = {upload: 'ZUL', errorlog: 'ZUL', pushclick: 'ZUL', token: 'TOKEN', fingerprint: 'FRP'};

const notes = {
  'user-agent': 'ZUL, the version of the library, the model and the system',
  authtoken: 'the access token that the token endpoint answered, or the one in the settings',
  'content-type': 'an upload alone has one: application/octet-stream',
};

export async function showHeaders(request) {
  const rows = [['request line', `${request.method} ${request.path}${request.query ? `?${request.query}` : ''}`, '']];
  for (const [name, value] of Object.entries(request.headers)) {
    const note = name.toLowerCase() === 'authtype' ? await explainAuthType(value, request.endpoint) : notes[name.toLowerCase()] ?? '';
    rows.push([name, value, note]);
  }
  return h('table', {class: 'fields headers'},
    h('thead', {}, h('tr', {}, ['Header', 'Value', 'Meaning'].map((title) => h('th', {scope: 'col'}, title)))),
    h('tbody', {}, rows.map(([name, value, note]) => h('tr', {},
      h('th', {scope: 'row', class: 'mono'}, name), h('td', {class: 'value mono'}, cut(value, 4000)), h('td', {class: 'meaning'}, note)))));
}

async function explainAuthType(value, endpoint) {
  const how = `base64 of AES-128-CBC with PKCS#7 padding; key and first block are both the 16 bytes ${kKey}`;
  const due = kWords[endpoint];
  const word = await decrypt(value);
  if (word === undefined) return `The word ${due ?? 'of the endpoint'}: ${how}.`;
  if (word === null) return `This does not decrypt. It should hold the word ${due}: ${how}.`;
  return `Decrypts to the word “${cut(word, 40)}”${!due || word === due ? '' : `, where ${due} belongs`}: ${how}.`;
}

/** Null where it is nothing of the kind, undefined where the browser gives a page no ciphers. */
async function decrypt(value) {
  if (!crypto.subtle) return undefined;
  try {
    const bytes = Uint8Array.from(atob(value), (char) => char.charCodeAt(0));
    const key = new TextEncoder().encode(kKey);
    const imported = await crypto.subtle.importKey('raw', key, 'AES-CBC', false, ['decrypt']);
    return new TextDecoder('utf-8', {fatal: true}).decode(await crypto.subtle.decrypt({name: 'AES-CBC', iv: key}, imported, bytes));
  } catch {
    return null;
  }
}

export function showAnswer(request) {
  const {status, body, delay, close, accepted} = request.answer;
  const lines = [];
  if (close) lines.push('The connection was closed without an answer.');
  else lines.push(`Status ${status}${delay ? `, after ${delay} ms` : ''}.`);
  if (request.endpoint === 'upload' && request.good) {
    lines.push(accepted
      ? 'Code RES001: the payloads are delivered, and leave the device’s queue.'
      : 'This is no acceptance: the payloads stay in the device’s queue, and come again with its next upload.');
  } else if (!request.good) {
    lines.push('The request broke the contract, and was refused. It used up no answer.');
  }
  return h('div', {}, h('p', {class: 'above'}, lines.join(' ')), close ? null : h('pre', {}, cut(pretty(body), 20000)));
}

function pretty(text) {
  try {
    return JSON.stringify(JSON.parse(text), null, 2);
  } catch {
    return text;
  }
}
