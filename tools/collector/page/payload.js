import {showBytes} from './bytes.js';
import {copy, cut, find, h, localTime, plural, tabs} from './dom.js';
import {curlOf, scriptOf} from './export.js';
import {showAnswer, showHeaders} from './headers.js';
import {catalogue, getBytes, getPayload} from './source.js';

const kLongest = 2000;  // characters of a value that are shown

const texts = (members) => new Map(members);

/** The request or payload that is looked at: decoded, its bytes, its headers, what it was answered. */
export class PayloadView {
  /** `model()` is the present one; `open(payload or request)` goes to another. */
  constructor(host, {model, open}) {
    Object.assign(this, {host, model, open, subject: null, turn: 0, onlyChanged: false});
    this.title = h('h2', {});
    this.verdict = h('span', {class: 'verdict'});
    this.before = h('button', {class: 'plain', 'aria-label': 'Previous payload of the device', onclick: () => this.step(-1)}, '‹');
    this.next = h('button', {class: 'plain', 'aria-label': 'Next payload of the device', onclick: () => this.step(1)}, '›');
    this.reasons = h('ul', {class: 'reasons', 'aria-label': 'What is wrong'});
    const tab = (id, name, chosen) => h('button', {
      role: 'tab', id: `tab-${id}`, 'aria-controls': 'shown', 'aria-selected': String(Boolean(chosen)), tabindex: chosen ? '0' : '-1'}, name);
    this.tabs = h('div', {class: 'tabs small', role: 'tablist', 'aria-label': 'The payload as'},
      tab('decoded', 'Decoded', true), tab('bytes', 'Bytes'), tab('headers', 'Headers'), tab('answer', 'Answer'));
    this.shown = h('div', {class: 'shown', id: 'shown', role: 'tabpanel', tabindex: '0', 'aria-labelledby': 'tab-decoded'});
    this.tab = 'decoded';
    this.chooseTab = tabs(this.tabs, (chosen) => {
      this.tab = chosen.id.replace('tab-', '');
      this.shown.setAttribute('aria-labelledby', chosen.id);
      this.draw();
    });
    this.body = h('div', {hidden: true}, this.reasons,
      h('div', {class: 'tools'}, this.tabs,
        h('button', {class: 'plain', id: 'copy-curl', onclick: () => this.copyCurl()}, 'Copy as curl'),
        h('button', {class: 'plain', id: 'copy-script', onclick: () => this.copyScript()}, 'Copy as zul-sim script')),
      this.shown);
    host.append(h('div', {class: 'panelhead'}, this.title, this.verdict, h('span', {class: 'steps'}, this.before, this.next)), this.body);
    this.clear();
  }

  clear() {
    this.subject = null;
    this.title.textContent = 'Payload';
    this.verdict.textContent = '';
    this.body.hidden = true;
    this.before.hidden = this.next.hidden = true;
    this.host.classList.add('idle');
  }

  /** `payload` is null for a request that has none. `other` is another one to compare it with. */
  show(request, payload, other = null) {
    this.subject = {request, payload, other};
    this.host.classList.remove('idle');
    this.title.textContent = other
      ? `${nameOf(payload)} and ${nameOf(other)}`
      : payload && request.payloads > 1 ? nameOf(payload) : `Request ${request.seq}, ${request.endpoint}`;
    const marks = {good: 'good', suspicious: 'odd', bad: 'bad'};
    this.verdict.textContent = other ? '' : request.verdict;
    this.verdict.className = `verdict ${marks[request.verdict]}`;
    this.body.hidden = false;
    this.before.hidden = this.next.hidden = !payload;
    this.siblings();
    if (other && this.tab !== 'decoded') this.chooseTab('tab-decoded');
    else this.draw();
  }

  siblings() {
    if (!this.subject?.payload) return;
    const {payload} = this.subject;
    const all = this.model().devices.get(payload.uuid)?.payloads ?? [];
    const at = all.lastIndexOf(payload);
    this.before.disabled = at <= 0;
    this.next.disabled = at < 0 || at + 1 >= all.length;
    return {all, at};
  }

  step(by) {
    const {all, at} = this.siblings();
    if (all[at + by]) this.open(all[at + by]);
  }

  /** Draws what is chosen; an earlier drawing that is still waiting for the collector gives up. */
  async draw() {
    if (!this.subject) return;
    const turn = ++this.turn;
    const {request, payload, other} = this.subject;
    let content;
    let reasons = [];
    try {
      const detail = await getPayload(request.seq, payload ? payload.index : null);
      if (turn !== this.turn) return;
      const whole = detail.request ?? detail;
      reasons = this.reasonsOf(request, detail);
      if (other) content = await this.difference(payload, other);
      else if (this.tab === 'bytes') content = await showBytes(request, await getBytes(request.seq));
      else if (this.tab === 'headers') content = await showHeaders(whole);
      else if (this.tab === 'answer') content = showAnswer(whole);
      else content = await this.decoded(detail, payload);
    } catch (error) {
      content = h('p', {class: 'failure'}, error.message);
      if (request.problem) reasons = [['', request.problem]];
    }
    if (turn !== this.turn) return;
    this.reasons.replaceChildren(...(other ? [] : reasons).map(([key, reason]) =>
      h('li', {class: request.problem ? 'bad' : 'odd'}, key && h('code', {}, key), ` ${reason}`)));
    this.shown.replaceChildren(content);
  }

  reasonsOf(request, detail) {
    if (request.problem) return [['', request.problem]];
    return (detail.suspicions ?? []).map(({key, reason}) => [key, reason]);
  }

  async decoded(detail, payload) {
    if (!detail.members) {
      const {query, body = null} = detail.request ?? detail;
      const asked = query ? [h('h3', {}, 'Query'), queryTable(query)] : [];
      return h('div', {}, ...asked, h('h3', {}, 'Body'),
        body === null ? h('p', {class: 'quiet'}, 'No body that could be decoded.') : h('pre', {}, cut(JSON.stringify(body, null, 2), 100000)));
    }
    const {all, at} = this.siblings();
    const earlier = at > 0 ? all[at - 1] : null;
    const before = earlier ? await getPayload(earlier.request.seq, earlier.index).catch(() => null) : null;
    const rows = rowsOf(await catalogue, detail, before?.members ? before : null);
    const list = h('div', {class: 'groups'});
    const fill = () => list.replaceChildren(...groupsOf(this.onlyChanged ? rows.filter((row) => row.changed || row.reason) : rows));
    const box = h('input', {type: 'checkbox', id: 'only-changed', onchange: () => {
      this.onlyChanged = box.checked;
      fill();
    }});
    box.checked = this.onlyChanged;
    fill();
    const changes = rows.filter((row) => row.changed).length;
    const compared = before?.members ? `, ${plural(changes, 'value')} changed since the one before` : ', the first of its device here';
    return h('div', {}, h('p', {class: 'above quiet'}, plural(rows.filter((row) => !row.missing).length, 'key'), compared,
      before?.members && h('label', {class: 'check'}, box, ' only what changed')), list);
  }

  async difference(first, second) {
    const [a, b] = await Promise.all([first, second].map((one) => getPayload(one.request.seq, one.index)));
    if (!a.members || !b.members) return h('p', {class: 'above'}, 'One of the two could not be decoded.');
    const [left, right] = [a, b].map((detail) => texts([...detail.members, ...detail.beside]));
    const known = await catalogue;
    const order = [...new Set([...known.map(({key}) => key), ...left.keys(), ...right.keys()])];
    const meanings = new Map(known.map((entry) => [entry.key, entry]));
    const rows = order.filter((key) => left.get(key) !== right.get(key));
    if (rows.length === 0) return h('p', {class: 'above'}, 'The two payloads are equal.');
    const cell = (text, entry) => h('td', {class: 'value'}, text === undefined ? h('span', {class: 'quiet'}, 'absent') : valueOf(text, entry));
    return h('div', {}, h('p', {class: 'above quiet'}, `${plural(rows.length, 'key')} differ${rows.length === 1 ? 's' : ''}`),
      h('table', {class: 'fields difference'},
        h('thead', {}, h('tr', {}, ['Key', nameOf(first), nameOf(second), 'Meaning'].map((name) => h('th', {scope: 'col'}, name)))),
        h('tbody', {}, rows.map((key) => h('tr', {},
          h('th', {scope: 'row', class: 'mono'}, cut(key, 80)), cell(left.get(key), meanings.get(key)), cell(right.get(key), meanings.get(key)),
          h('td', {class: 'quiet'}, meanings.get(key)?.meaning ?? ''))))));
  }

  async copyCurl() {
    const {request, payload} = this.subject;
    try {
      const detail = await getPayload(request.seq, payload ? payload.index : null);
      copy(await curlOf(detail.request ?? detail, await getBytes(request.seq)), 'curl command');
    } catch (error) {
      find('say').textContent = error.message;
    }
  }

  async copyScript() {
    const {request, payload} = this.subject;
    const device = payload && this.model().devices.get(payload.uuid);
    try {
      copy(await scriptOf(request, payload, device), 'script');
    } catch (error) {
      find('say').textContent = error.message;
    }
  }
}

const nameOf = (payload) =>
  payload.request.payloads > 1 ? `Request ${payload.request.seq}, payload ${payload.index + 1} of ${payload.request.payloads}` : `Request ${payload.request.seq}`;

/** A value as it was sent, JSON text; a time with the local one. */
function valueOf(text, entry) {
  const shown = [cut(text, kLongest)];
  if (entry?.time && /^[1-9]\d*$/.test(text)) shown.push(h('time', {class: 'quiet'}, localTime(Number(text))));
  return shown.map((part) => (typeof part === 'string' ? h('span', {}, part) : part));
}

/** One row for each key that is there or should be: the known ones in their groups, then what nobody knows. */
function rowsOf(known, detail, before) {
  const values = texts(detail.members);
  const earlier = before && texts([...before.members, ...before.beside]);
  const reasons = new Map();
  for (const {key, reason} of detail.suspicions) reasons.set(key, [...(reasons.get(key) ?? []), reason]);
  const rows = [];
  const add = (key, text, group, entry) => {
    const old = earlier?.get(key);
    const missing = text === undefined;
    if (missing && !reasons.has(key) && old === undefined) return;
    rows.push({
      key, text, group, entry, missing, old,
      reason: reasons.get(key)?.join('; ') ?? '', changed: Boolean(earlier) && old !== text});
  };
  for (const entry of known) add(entry.key, values.get(entry.key), entry.group, entry);
  const names = new Set(known.map(({key}) => key));
  for (const [key, text] of values) if (!names.has(key)) add(key, text, 'unknown', null);
  for (const [key, text] of detail.beside) add(key, text, 'beside the session', null);
  return rows;
}

function groupsOf(rows) {
  const groups = new Map();
  for (const row of rows) groups.set(row.group, [...(groups.get(row.group) ?? []), row]);
  if (groups.size === 0) return [h('p', {class: 'quiet above'}, 'Nothing.')];
  return [...groups].map(([name, members]) => h('section', {class: 'group', 'aria-label': name}, h('h3', {}, name),
    h('table', {class: 'fields', role: 'table'},
      h('thead', {}, h('tr', {}, ['Key', 'Value', 'Meaning', 'Kind', 'Changed'].map((title) => h('th', {scope: 'col'}, title)))),
      h('tbody', {role: 'rowgroup'}, members.map(rowElement)))));
}

function rowElement({key, text, entry, missing, reason, changed, old}) {
  const change = !changed ? '' : old === undefined ? 'new' : missing ? 'gone' : `was ${cut(old, 60)}`;
  // The roles are said because a narrow page lays the row out in another way, and a browser then takes it for no row.
  return h('tr', {role: 'row', class: [reason && 'odd', changed && 'changed'].filter(Boolean).join(' ')},
    h('th', {scope: 'row', role: 'rowheader', class: 'mono'}, cut(key, 80)),
    h('td', {role: 'cell', class: 'value mono'}, missing ? h('span', {class: 'quiet'}, 'absent') : valueOf(text, entry),
      reason && h('span', {class: 'reason'}, reason)),
    h('td', {role: 'cell', class: 'meaning'}, entry?.meaning ?? 'not a key of ours'),
    h('td', {role: 'cell', class: 'kind quiet'}, (entry?.kind ?? '').replace(/^an? /, '')),
    h('td', {role: 'cell', class: 'change'}, change));
}

function queryTable(query) {
  const pairs = query.split('&').map((piece) => {
    const [key, ...rest] = piece.split('=');
    return [key, rest.join('=')];
  });
  return h('table', {class: 'fields'}, h('tbody', {}, pairs.map(([key, value]) =>
    h('tr', {}, h('th', {scope: 'row', class: 'mono'}, key), h('td', {class: 'value mono'}, value)))));
}
