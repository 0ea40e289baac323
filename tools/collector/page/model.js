// What has come so far, as the page counts it. Knows nothing of the document.

export const nameless = '';  // the device of payloads without a uuid

class Device {
  constructor(uuid, number) {
    this.uuid = uuid;
    this.number = number;
    this.model = this.application = '';
    this.last = 0;
    this.payloads = [];  // in the order of their coming
    this.visits = new Map();  // by vtTz
    this.reasons = new Map();  // key and reason, and how many payloads or requests
    this.has = {good: 0, suspicious: 0, bad: 0, duplicates: 0};  // requests; payloads of the last
    this.accepted = 0;
    this.begun = 0;  // visits of which something was accepted
    this.visitNews = 0;
    this.lowest = Infinity;
    this.highest = -Infinity;
  }

  /** The visits that the device's own counter says it has made while we looked. */
  get ownCount() {
    return this.highest < this.lowest ? 0 : this.highest - this.lowest + 1;
  }

  add(payload) {
    this.payloads.push(payload);
    this.model = payload.model || this.model;
    this.application = payload.application || this.application;
    this.last = Math.max(this.last, payload.request.t);
    if (payload.equalTo) this.has.duplicates++;
    let visit = this.visits.get(payload.vtTz);
    if (!visit) this.visits.set(payload.vtTz, (visit = {vtTz: payload.vtTz, payloads: [], counts: new Set(), accepted: 0, news: 0}));
    visit.payloads.push(payload);
    if (!payload.request.accepted) return;
    this.accepted++;
    if (payload.isVisitNew) this.visitNews++;
    if (payload.vtTz === 0 && payload.ltvt === 0) return;  // an empty session tells of no visit
    if (visit.accepted++ === 0) this.begun++;
    visit.counts.add(payload.ltvt);
    if (payload.isVisitNew) visit.news++;
    this.lowest = Math.min(this.lowest, payload.ltvt);
    this.highest = Math.max(this.highest, payload.ltvt);
  }

  blame(key, reason) {
    const text = reasonKind(key, reason);
    this.reasons.set(text, (this.reasons.get(text) ?? 0) + 1);
  }
}

/** Reasons that differ only in a number or an id are one badge. */
function reasonKind(key, reason) {
  if (reason.startsWith('the payload is equal')) return 'duplicate';
  if (reason.startsWith('goes back')) return `${key} goes back`;
  if (reason.startsWith('is the one of another uuid')) return 'vendorId shared';
  if (reason.startsWith('no such key')) return `${key} unknown`;
  if (reason.startsWith('is missing')) return `${key} missing`;
  if (reason.startsWith('should be')) return `${key} mistyped`;
  if (reason.startsWith('is empty')) return 'empty session';
  return key;
}

export class Model {
  constructor() {
    this.requests = [];
    this.devices = new Map();
    this.bySequence = new Map();
    this.counts = {good: 0, suspicious: 0, bad: 0, duplicates: 0};
    this.visits = {byBegin: 0, byNew: 0, byDevice: 0};
    this.last = 0;
  }

  add(entry) {
    const request = {...entry, of: [], devices: new Set()};
    let before = null;
    for (const [uuid, vtTz, ltvt, isVisitNew, equalTo, model, application] of entry.of ?? []) {
      const payload = {
        request, index: request.of.length, vtTz, ltvt, isVisitNew, equalTo,
        uuid: uuid ?? before.uuid, model: model ?? before.model, application: application ?? before.application};
      request.of.push(payload);
      before = payload;
    }
    this.requests.push(request);
    this.bySequence.set(request.seq, request);
    this.counts[request.verdict]++;
    this.last = Math.max(this.last, request.t);
    for (const payload of request.of) this.addPayload(payload);
    for (const device of request.devices) {
      device.has[request.verdict]++;
      if (request.problem) device.blame('refused', '');
    }
    for (const [index, key, reason] of request.odd ?? []) {
      const payload = request.of[index];
      if (payload) this.devices.get(payload.uuid).blame(key, reason);
    }
    return request;
  }

  addPayload(payload) {
    let device = this.devices.get(payload.uuid);
    if (!device) this.devices.set(payload.uuid, (device = new Device(payload.uuid, this.devices.size)));
    const own = device.ownCount;
    const begun = device.begun;
    device.add(payload);
    payload.request.devices.add(device);
    if (payload.equalTo) this.counts.duplicates++;
    this.visits.byDevice += device.ownCount - own;
    this.visits.byBegin += device.begun - begun;
    if (payload.request.accepted && payload.isVisitNew) this.visits.byNew++;
  }

  /** The latest ones alone, in a model of their own. */
  cutTo(most) {
    const model = new Model();
    for (const request of this.requests.slice(-most)) {
      model.add({...request, of: request.of.map((p) => [p.uuid, p.vtTz, p.ltvt, p.isVisitNew, p.equalTo, p.model, p.application])});
    }
    return model;
  }
}

export function matches(request, filter) {
  if (!filter) return true;
  if (filter === 'duplicates') return request.of.some((payload) => payload.equalTo);
  return request.verdict === filter;
}

/** Good, suspicious, bad; a payload's own share in the request's verdict. */
export function payloadVerdict(payload) {
  if (payload.request.verdict === 'bad') return 'bad';
  const odd = payload.equalTo || (payload.request.odd ?? []).some(([index]) => index === payload.index);
  return odd ? 'suspicious' : 'good';
}

/** Why the ways of counting visits differ: what is odd about a device's visits, each in a sentence. */
export function culprits(device) {
  const found = [];
  const seen = [...device.visits.values()].filter((visit) => visit.accepted > 0).sort((a, b) => a.vtTz - b.vtTz);
  const visitOf = new Map();  // by ltvt
  for (const visit of seen) {
    const duplicates = visit.payloads.filter((payload) => payload.isVisitNew && payload.equalTo).length;
    if (visit.news > 1 && duplicates > 0) {
      found.push({visit, text: `isVisitNew is "Y" ${visit.news} times, ${duplicates} of them in a payload that came twice`});
    } else if (visit.news > 1) {
      found.push({visit, text: `isVisitNew is "Y" ${visit.news} times: these payloads were made before the collector had accepted the first of them`});
    } else if (visit.news === 0) {
      found.push({visit, text: 'no payload says isVisitNew "Y": the first one of this visit has not come'});
    }
    if (visit.counts.size > 1) found.push({visit, text: `one vtTz goes with ltvt ${[...visit.counts].join(' and ')}`});
    for (const ltvt of visit.counts) {
      const other = visitOf.get(ltvt);
      if (other) found.push({visit, text: `ltvt ${ltvt} was another visit's already: vtTz has changed and the count has not`});
      visitOf.set(ltvt, visit);
    }
  }
  if (device.highest > device.lowest) {
    let gap = 0;
    for (const ltvt of [...visitOf.keys()].sort((a, b) => a - b)) {
      if (gap && ltvt > gap) {
        const what = ltvt - gap === 1 ? `visit ${gap} has` : `visits ${gap} to ${ltvt - 1} have`;
        found.push({visit: visitOf.get(ltvt), text: `ltvt goes from ${gap - 1} to ${ltvt}: ${what} not come`});
      }
      gap = ltvt + 1;
    }
  }
  return found;
}
