import {clockTime, copy, count, h, localTime, plural} from './dom.js';
import {modelName} from './lists.js';
import {matches, nameless, payloadVerdict} from './model.js';

const kMostDots = 400;  // at first, and again when there are three times as many

/** The payloads of one device: a band for each visit, a dot for each payload. */
export class Timeline {
  /** `open(payload)` shows one, `compare(a, b)` what differs between two. */
  constructor(host, {open, compare}) {
    Object.assign(this, {host, open, compare, device: null, filter: null});
    this.title = h('h2', {});
    this.facts = h('p', {class: 'facts quiet'});
    this.comparing = h('button', {class: 'plain', 'aria-pressed': 'false', onclick: () => this.setComparing(!this.isComparing)}, 'Compare two');
    this.hint = h('span', {class: 'quiet', role: 'status'});
    this.earlier = h('button', {class: 'plain', hidden: true, onclick: () => this.draw(Infinity)});
    this.bands = h('div', {class: 'bands', role: 'list', 'aria-label': 'Visits'});
    this.legend = h('p', {class: 'legend quiet', 'aria-hidden': 'true'},
      ...[['good', 'good'], ['odd', 'suspicious'], ['bad', 'bad'], ['refused', 'not accepted'], ['odd equal', 'equal payload']].map(
        ([mark, text]) => h('span', {}, h('i', {class: `dot ${mark}`}), text)),
      h('span', {}, h('i', {class: 'bracket'}), 'waited offline'));
    host.append(
      h('div', {class: 'panelhead'}, this.title, this.comparing), this.facts, this.earlier, this.bands,
      h('div', {class: 'under'}, this.legend, this.hint));
    this.bands.addEventListener('click', (event) => this.click(event));
    this.bands.addEventListener('keydown', (event) => this.key(event));
    this.show(null);
  }

  show(device) {
    this.device = device;
    this.chosen = this.other = null;
    this.setComparing(false);
    this.draw(kMostDots);
  }

  clear() {
    this.show(null);
  }

  draw(most) {
    const device = this.device;
    this.host.classList.toggle('idle', !device);
    this.bands.replaceChildren();
    this.bandOf = new Map();
    this.dotOf = new Map();
    this.drawn = device ? Math.max(0, device.payloads.length - most) : 0;
    this.shown = 0;
    this.earlier.hidden = this.drawn === 0;
    if (this.drawn > 0) this.earlier.textContent = `Show ${plural(this.drawn, 'earlier payload')}`;
    this.update();
    if (this.chosen) this.mark();
  }

  /** Adds what has come since. */
  update() {
    const device = this.device;
    if (!device) {
      this.title.textContent = 'Timeline';
      this.facts.textContent = 'Choose a device or a request.';
      return;
    }
    if (this.shown > 3 * kMostDots && device.payloads.length - this.drawn > 0) return this.draw(kMostDots);
    this.title.textContent = modelName(device.model);
    if (this.told !== device) {
      this.told = device;
      this.tell();
    }
    const atEnd = this.bands.scrollHeight - this.bands.scrollTop - this.bands.clientHeight < 40;
    const before = this.drawn;
    for (; this.drawn < device.payloads.length; ++this.drawn, ++this.shown) this.add(device.payloads[this.drawn]);
    if (this.drawn !== before) {
      this.tell();
      if (atEnd) this.bands.scrollTop = this.bands.scrollHeight;
    }
  }

  tell() {
    const device = this.device;
    const id = device.uuid === nameless
      ? 'payloads without a uuid'
      : h('button', {class: 'mono link-like', title: 'Copy the uuid', onclick: () => copy(device.uuid, 'uuid')}, device.uuid);
    const badges = [...device.reasons].map(([reason, times]) =>
      h('span', {class: reason === 'refused' ? 'badge bad' : 'badge odd'}, times > 1 ? `${reason} ×${count(times)}` : reason));
    this.facts.replaceChildren(id, ` ${device.application || ''} · ${plural(device.begun, 'visit')} · ${plural(device.payloads.length, 'payload')} `, ...badges);
  }

  add(payload) {
    let band = this.bandOf.get(payload.vtTz);
    if (!band) {
      const name = payload.vtTz ? `visit ${payload.ltvt}` : 'no visit';
      const dots = h('div', {class: 'dots', role: 'group', 'aria-label': name});
      band = {dots, upload: null, into: null};
      this.bands.append(h('div', {class: 'band', role: 'listitem'},
        h('div', {class: 'when'}, h('strong', {}, name), h('span', {class: 'quiet'}, payload.vtTz ? localTime(payload.vtTz) : 'vtTz is missing')), dots));
      this.bandOf.set(payload.vtTz, band);
    }
    if (band.upload !== payload.request) {
      const waited = payload.request.payloads > 1;
      band.into = waited
        ? h('span', {class: 'upload', title: `one upload of ${payload.request.payloads} payloads: they waited offline`})
        : band.dots;
      if (waited) band.dots.append(band.into);
    }
    band.upload = payload.request;
    const dot = h('button', {class: this.look(payload), 'aria-label': describe(payload), tabindex: this.dotOf.size === 0 ? '0' : '-1'});
    dot.title = describe(payload);
    dot.payload = payload;
    this.dotOf.set(payload, dot);
    band.into.append(dot);
  }

  look(payload) {
    const marks = {good: 'good', suspicious: 'odd', bad: 'bad'};
    const names = ['dot', marks[payloadVerdict(payload)]];
    if (payload.request.verdict !== 'bad' && !payload.request.accepted) names.push('refused');
    if (payload.equalTo) names.push('equal');
    if (!matches(payload.request, this.filter)) names.push('dim');
    return names.join(' ');
  }

  setFilter(filter) {
    this.filter = filter;
    if (this.dotOf) for (const [payload, dot] of this.dotOf) dot.className = this.look(payload);
  }

  /** `payload` is what the page shows now. */
  choose(payload) {
    this.chosen = payload;
    this.other = null;
    if (payload && !this.dotOf.has(payload) && this.device.payloads.includes(payload)) this.draw(Infinity);
    this.mark();
    this.dotOf.get(payload)?.scrollIntoView({block: 'nearest'});
  }

  mark() {
    for (const dot of this.bands.querySelectorAll('[aria-pressed=true]')) dot.setAttribute('aria-pressed', 'false');
    for (const dot of this.bands.querySelectorAll('[tabindex="0"]')) dot.tabIndex = -1;
    const chosen = this.dotOf.get(this.chosen) ?? this.bands.querySelector('.dot');
    if (chosen) chosen.tabIndex = 0;
    for (const payload of [this.chosen, this.other]) this.dotOf.get(payload)?.setAttribute('aria-pressed', 'true');
  }

  get isComparing() {
    return this.comparing.getAttribute('aria-pressed') === 'true';
  }

  setComparing(on) {
    this.comparing.setAttribute('aria-pressed', String(on));
    this.comparing.hidden = !this.device;
    this.hint.textContent = on ? (this.chosen ? 'Choose the dot to compare with.' : 'Choose two dots.') : '';
  }

  click(event) {
    const payload = event.target.closest('.dot')?.payload;
    if (!payload) return;
    if ((this.isComparing || event.shiftKey) && this.chosen && this.chosen !== payload) {
      this.other = payload;
      this.mark();
      this.setComparing(false);
      this.compare(this.chosen, payload);
      return;
    }
    this.open(payload);
    if (this.isComparing) this.setComparing(true);
  }

  key(event) {
    const all = [...this.bands.querySelectorAll('.dot')];
    const at = all.indexOf(event.target);
    const next = {ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: all.length - 1}[event.key] ?? this.nextBand(event, all, at);
    if (at < 0 || next === undefined || !all[next]) return;
    event.preventDefault();
    all[at].tabIndex = -1;
    all[next].tabIndex = 0;
    all[next].focus();
  }

  nextBand(event, all, at) {
    const step = {ArrowDown: 1, ArrowUp: -1}[event.key];
    if (!step || at < 0) return undefined;
    const band = all[at].closest('.band');
    const other = step > 0 ? band.nextElementSibling : band.previousElementSibling;
    return other ? all.indexOf(other.querySelector('.dot')) : undefined;
  }
}

function describe(payload) {
  const {request, index} = payload;
  const parts = [`request ${request.seq}`];
  if (request.payloads > 1) parts.push(`payload ${index + 1} of ${request.payloads}, waited offline`);
  parts.push(clockTime(request.t), payloadVerdict(payload));
  if (payload.equalTo) parts.push(`equal to one of request ${payload.equalTo}`);
  else if (request.problem) parts.push(request.problem);
  else if (!request.accepted) parts.push('not accepted');
  for (const [at, key, reason] of (request.odd ?? []).slice(0, 3)) {
    if (at === index && !payload.equalTo) parts.push(`${key} ${reason}`);
  }
  return parts.join(', ');
}
