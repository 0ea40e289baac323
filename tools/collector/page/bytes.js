import {count, cut, h, plural} from './dom.js';

const kMostBytes = 256;  // in a dump
const kMostText = 20000;
const kMostInflated = 8 << 20;

/** What became of a body, step by step, decoded here once more by the browser's own means. */
export async function showBytes(request, bytes) {
  const steps = [step('As sent', plural(bytes.length, 'byte'), bytes.length ? dump(bytes) : h('p', {class: 'quiet'}, 'There is no body.'))];
  if (bytes.length === 0) return h('div', {class: 'bytes'}, steps);
  let text;
  if (request.endpoint === 'upload') {
    const [unpacked, failure] = await inflate(bytes);
    const encoded = new TextDecoder('latin1').decode(unpacked);
    steps[0].append(h('p', {class: 'quiet'}, zlibHead(bytes)));
    steps.push(step('1. zlib', failure ?? `${plural(unpacked.length, 'byte')}, ${(unpacked.length / bytes.length).toFixed(1)} times as many`, pre(encoded), failure));
    if (failure && unpacked.length === 0) return h('div', {class: 'bytes'}, steps);
    let wrong = null;
    try {
      text = decodeURIComponent(encoded);
    } catch {
      wrong = 'this is not the percent-encoding of UTF-8';
    }
    steps.push(step('2. percent-encoding', wrong ?? `${plural(new TextEncoder().encode(text).length, 'byte')} of UTF-8`, wrong ? null : pre(text), wrong));
    if (wrong) return h('div', {class: 'bytes'}, steps);
  } else {
    text = new TextDecoder().decode(bytes);
  }
  steps.push(jsonStep(text, request.endpoint === 'upload' ? '3. JSON' : 'JSON'));
  if (request.endpoint === 'upload') steps.push(step('The same in a terminal', '', h('pre', {}, inTerminal(request))));
  return h('div', {class: 'bytes'}, steps);
}

function step(title, note, content, failed) {
  return h('section', {class: 'step'}, h('h3', {}, title), note && h('p', {class: failed ? 'failure' : 'quiet'}, note), content);
}

const pre = (text) => h('pre', {}, cut(text, kMostText));

function jsonStep(text, title) {
  try {
    const value = JSON.parse(text);
    const note = Array.isArray(value) ? `an array of ${plural(value.length, 'payload')}` : `${typeof value}`;
    return step(title, note, pre(JSON.stringify(value, null, 2)));
  } catch (error) {
    return step(title, error.message, pre(text), true);
  }
}

function dump(bytes) {
  const lines = [];
  for (let at = 0; at < Math.min(bytes.length, kMostBytes); at += 16) {
    const piece = [...bytes.slice(at, at + 16)];
    const hex = piece.map((byte) => byte.toString(16).padStart(2, '0')).join(' ');
    const text = piece.map((byte) => (byte > 31 && byte < 127 ? String.fromCharCode(byte) : '.')).join('');
    lines.push(`${at.toString(16).padStart(6, '0')}  ${hex.padEnd(47)}  ${text}`);
  }
  if (bytes.length > kMostBytes) lines.push(`… ${count(bytes.length - kMostBytes)} more`);
  return h('pre', {}, lines.join('\n'));
}

function zlibHead([method, flags, ...rest]) {
  if (flags === undefined) return 'Too short for a zlib stream.';
  if (method === 0x1f && flags === 0x8b) return 'This is a gzip member; a zlib stream begins with 78.';
  if ((method & 15) !== 8 || ((method << 8) | flags) % 31 !== 0) return 'This is not the head of a zlib stream.';
  const level = ['fastest', 'fast', 'default', 'best'][flags >> 6];
  const sum = rest.slice(-4).map((byte) => byte.toString(16).padStart(2, '0')).join(' ');
  return `Head: deflate, a window of ${2 ** ((method >> 4) - 2)} KB, ${level} compression. The last four bytes, ${sum}, are the Adler-32 of what is inside.`;
}

/** What could be unpacked, and why no more. */
async function inflate(bytes) {
  const pieces = [];
  let size = 0;
  let failure = null;
  try {
    const reader = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate')).getReader();
    for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
      pieces.push(piece.value);
      size += piece.value.length;
      if (size < kMostInflated) continue;
      failure = `more than ${count(kMostInflated)} bytes; the page stops here`;
      await reader.cancel();
      break;
    }
  } catch (error) {
    failure = `this is not a whole zlib stream: ${error.message}`;
  }
  return [new Uint8Array(await new Blob(pieces).arrayBuffer()), failure];
}

const inTerminal = (request) => `curl -s '${location.origin}/inspect/body?seq=${request.seq}' | python3 -c '
import sys, zlib, urllib.parse
print(urllib.parse.unquote(zlib.decompress(sys.stdin.buffer.read()).decode()))'`;
