import {ago, clockTime, count, h, plural, setText} from './dom.js';
import {Grid} from './grid.js';
import {matches, nameless} from './model.js';

/** An array from its end. */
class Reversed {
  constructor(array) {
    this.array = array;
  }
  get length() {
    return this.array.length;
  }
  at(n) {
    return this.array[this.array.length - 1 - n];
  }
  indexOf(item) {
    const at = this.array.lastIndexOf(item);
    return at < 0 ? -1 : this.array.length - 1 - at;
  }
}

const kMostBadges = 1;

/** Fills a cell with spans, of which as many are made as there ever were. */
function spans(cell, texts) {
  while (cell.children.length < texts.length) cell.append(h('span'));
  [...cell.children].forEach((span, n) => {
    span.hidden = n >= texts.length;
    if (span.hidden) return;
    const [text, name] = texts[n];
    setText(span, text);
    if (span.className !== name) span.className = name;
  });
}

/** A model that the user has not consented to tell is no name. */
export const modelName = (model) => (model === 'ANP' ? 'model hidden' : model || 'unknown model');

export const shortId = (uuid) => (uuid === nameless ? 'no uuid' : uuid.slice(0, 8));

export class DeviceList {
  constructor(host, choose) {
    this.host = host;
    this.grid = new Grid(host, {
      label: 'Devices', kind: 'devices', height: 52, columns: ['Device', 'Application', 'Visits', 'Payloads', 'Seen'],
      choose, render: (row, device) => this.render(row, device)});
  }

  render(row, device) {
    const [name, application, visits, payloads, seen] = row.children;
    const reasons = [...device.reasons.keys()];
    const badges = reasons.slice(0, kMostBadges).map((reason) => [reason, reason === 'refused' ? 'badge bad' : 'badge odd']);
    if (reasons.length > kMostBadges) badges.push([`+${reasons.length - kMostBadges}`, 'badge odd']);
    spans(name, [[modelName(device.model), 'strong'], [shortId(device.uuid), 'mono quiet']]);
    spans(application, [[device.application || '–', 'ellipsis'], ...badges]);
    setText(visits, count(device.begun));
    setText(payloads, count(device.payloads.length));
    setText(seen, ago(device.last).replace(' ago', ''));
    row.title = [device.uuid, ...reasons].join('\n');
  }

  /** `search` is lower case. Sorted by the last one seen, unless somebody is about to point at a row. */
  update(model, filter, search) {
    const held = this.host.matches(':hover') || this.host.contains(document.activeElement);
    const order = held && this.order ? this.order : new Map();
    const found = [...model.devices.values()].filter((device) => {
      if (filter && device.has[filter] === 0) return false;
      return !search || `${device.uuid} ${device.model} ${device.application}`.toLowerCase().includes(search);
    });
    const place = (device) => order.get(device) ?? -device.number - 1;
    found.sort(held ? (a, b) => place(a) - place(b) : (a, b) => b.last - a.last || b.number - a.number);
    this.order = new Map(found.map((device, n) => [device, n]));
    this.grid.show(found);
    this.grid.empty(found.length === 0 ? 'No device to show.' : '');
  }
}

export class RequestList {
  constructor(host, choose) {
    this.grid = new Grid(host, {
      label: 'Requests, latest first', kind: 'requests', height: 40, columns: ['Time', 'Endpoint', 'Device', 'Verdict'],
      choose, render: (row, request) => this.render(row, request)});
    this.clear();
  }

  clear() {
    this.found = [];
    this.seen = 0;
    this.key = null;
  }

  render(row, request) {
    const [time, endpoint, device, verdict] = row.children;
    spans(time, [[clockTime(request.t), ''], [`#${request.seq}`, 'quiet']]);
    const what = request.endpoint === 'unknown' ? request.path : request.endpoint;
    spans(endpoint, [[what, 'ellipsis'], [request.payloads > 1 ? plural(request.payloads, 'payload') : '', 'quiet']]);
    const last = request.of.at(-1);
    spans(device, last ? [[modelName(last.model), 'ellipsis'], [shortId(last.uuid), 'mono quiet']] : [['–', 'quiet']]);
    const [, key, reason] = request.odd?.[0] ?? [];
    const why = request.problem ?? (key ? `${key} ${reason}` : request.accepted || request.endpoint !== 'upload' ? '' : 'not accepted');
    const marks = {good: 'verdict good', suspicious: 'verdict odd', bad: 'verdict bad'};
    spans(verdict, [[request.verdict, marks[request.verdict]], [why, 'ellipsis quiet']]);
  }

  update(model, filter, search) {
    const key = `${filter} ${search}`;
    if (key !== this.key) this.clear();
    this.key = key;
    const before = this.found.length;
    for (; this.seen < model.requests.length; ++this.seen) {
      const request = model.requests[this.seen];
      if (matches(request, filter) && (!search || describes(request, search))) this.found.push(request);
    }
    this.grid.show(new Reversed(this.found), before > 0 ? this.found.length - before : 0);
    this.grid.empty(this.found.length === 0 ? 'No request to show.' : '');
  }
}

function describes(request, search) {
  const texts = [`#${request.seq}`, request.endpoint, request.path ?? '', request.problem ?? ''];
  for (const payload of request.of) texts.push(payload.uuid, payload.model, payload.application);
  for (const [, key, reason] of request.odd ?? []) texts.push(key, reason);
  return texts.join(' ').toLowerCase().includes(search);
}
