import {cut, h, say} from './dom.js';
import {getJson, post} from './source.js';

const link = encodeURIComponent('https://shop.example/item/42?from=campaign');
const refusal = {code: 'ERR001', msg: 'refused from the live page'};
const bean = {qzsNm: 'example%20media', qzcNm: 'spring%20campaign', adid: 'ad-7'};

const always = [
  ['500', {body: {raw: 'broken'}, status: 500}, 'status 500, and a body that is no JSON'],
  ['Delay', {delay: 5000}, 'the usual answer, after five seconds'],
  ['Close', {close: true}, 'closes the connection without an answer'],
];

// What each endpoint is asked for in a test again and again: name, answer, what it is.
const endpoints = {
  upload: ['Payloads', [
    ['Accept', {}, 'code RES001: the payloads are delivered'],
    ['Refuse', {body: refusal}, 'another code: they come again with the next upload'],
    ...always,
    ['Attribution', {body: {code: 'RES001', msg: 'OK', attributedInfo: {open: {bean}, install: {bean}}}},
      'accepted, with the media and the campaign of open and install'],
    ['Deferred link', {body: {code: 'RES001', msg: 'OK', attributedInfo: {open: {bean}, install: {bean: {...bean, dfrdForIos: link}}}}},
      'accepted, with a link that getDeferredUrl gives'],
    ['Conversion value', {body: {code: 'RES001', msg: 'OK', updateConversionValue: 7, coarseValue: 'high', lockWindow: false}},
      'accepted, with a fine and a coarse value to report'],
  ]],
  token: ['Access token', [
    ['Accept', {}, 'a token'], ['Refuse', {body: refusal}, 'an answer without a token'], ...always]],
  fingerprint: ['Fingerprint', [
    ['No match', {}, 'an empty object'],
    ['Match', null, 'a click of a minute ago'],
    ['Refuse', {body: {raw: 'no'}}, 'an answer that is no JSON'], ...always]],
  errorlog: ['Error log', [['Accept', {}, 'the usual answer'], ['Refuse', {body: refusal}, 'another code'], ...always]],
  pushclick: ['Push click', [['Accept', {}, 'the usual answer'], ['Refuse', {body: refusal}, 'another code'], ...always]],
  appstore: ['App-store look-up', [
    ['Found', {}, 'a number made of the bundle identifier'],
    ['Not found', {body: {resultCount: 0, results: []}}, 'no such application'], ...always]],
};

function match() {
  const now = Date.now();
  return {body: {qzs: 'media', qzm: 'cpc', qzc: 'spring', qzw: 'word', qzp: 7, itp: 1440, qzaffid: 'a1', qzbffid: 'b1',
    qzclkTime: now - 60000, qzref: 'https://track.example/?qzs=media&qzc=spring', responseTime: now}};
}

/** Tells the collector what to answer, and what it is going to answer. */
export class AnswersView {
  constructor(host) {
    this.queues = {};
    this.failure = h('p', {class: 'failure', role: 'alert', hidden: true});
    const mode = (value, text, chosen) => {
      const radio = h('input', {type: 'radio', name: 'mode', value});
      radio.checked = chosen;
      return h('label', {class: 'check'}, radio, ` ${text}`);
    };
    this.mode = h('fieldset', {class: 'mode'}, h('legend', {}, 'A chosen answer is given'),
      mode('once', 'once, before those that follow', true), mode('each', 'from now on'));
    host.append(h('div', {class: 'answershead'}, this.mode, this.failure), h('div', {class: 'cards'}, Object.entries(endpoints).map(([name, [title, buttons]]) => this.card(name, title, buttons))), this.other());
    this.refresh();
  }

  card(name, title, buttons) {
    this.queues[name] = h('ol', {class: 'queue', 'aria-label': `Answers to come, ${title}`});
    return h('section', {class: 'card', 'aria-label': title},
      h('div', {class: 'cardhead'}, h('h3', {}, title), h('code', {class: 'quiet'}, name),
        h('button', {class: 'plain', 'aria-label': `Clear the answers, ${title}`, onclick: () => this.tell('each', {[name]: []}, `${title}: the usual answer`)}, 'Clear')),
      h('div', {class: 'choices'}, buttons.map(([text, answer, what]) =>
        h('button', {title: what, 'aria-label': `${title}: ${text}, ${what}`, onclick: () => this.give(name, answer ?? match(), `${title}: ${text}`)}, text))),
      this.queues[name]);
  }

  other() {
    this.text = h('textarea', {id: 'other', rows: '4', spellcheck: 'false', 'aria-describedby': 'other-form'});
    this.text.value = '{"upload": [{"status": 503, "delay": 200, "body": {"code": "ERR503", "msg": "too busy"}}]}';
    return h('section', {class: 'card wide', 'aria-label': 'Any other answer'}, h('h3', {}, h('label', {for: 'other'}, 'Any other')),
      h('p', {class: 'quiet', id: 'other-form'}, 'A JSON object of lists by endpoint. An answer has body (any JSON, or {"raw": "text"}), status, delay in milliseconds and close, none of which it needs.'),
      this.text, h('div', {class: 'choices'}, h('button', {id: 'give-other', onclick: () => this.tell(this.how(), this.text.value, 'answers')}, 'Give')));
  }

  how() {
    return this.mode.querySelector(':checked').value;
  }

  give(name, answer, what) {
    return this.tell(this.how(), {[name]: [answer]}, what);
  }

  async tell(how, lists, what) {
    this.failure.hidden = true;
    try {
      await post(`/inspect/answers/${how}`, lists);
      say(`${what}, ${how === 'once' ? 'queued' : 'set'}`);
    } catch (error) {
      this.failure.textContent = error.message;
      this.failure.hidden = false;
    }
    this.refresh();
  }

  async refresh() {
    const lists = await getJson('/inspect/answers').catch(() => null);
    for (const [name, queue] of Object.entries(this.queues)) {
      const answers = lists?.[name] ?? [];
      const shown = answers.length > 0 ? answers : [{}];
      queue.replaceChildren(...shown.slice(0, 20).map((answer, n) => h('li', {},
        h('span', {class: 'quiet'}, n + 1 === shown.length ? (n === 0 ? 'always' : 'then') : 'once'), ' ', h('code', {}, describe(name, answer)))),
        ...(shown.length > 20 ? [h('li', {class: 'quiet'}, `${shown.length - 20} more`)] : []));
    }
  }
}

function describe(name, answer) {
  const known = endpoints[name][1].find(([, other]) => other && JSON.stringify(other) === JSON.stringify(answer));
  return known ? known[0] : cut(JSON.stringify(answer), 160);
}
