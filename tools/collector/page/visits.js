import {count, h, localTime, plural} from './dom.js';
import {culprits} from './model.js';
import {modelName, shortId} from './lists.js';

const kMost = 200;

const ways = [
  ['byBegin', 'Distinct uuid and vtTz', 'Each visit has its begin; two payloads with the same one are of the same visit. Repeats do no harm: count this way.'],
  ['byNew', 'Payloads with isVisitNew "Y"', 'Every payload made until the collector has accepted the visit says "Y": a visit that waited offline says it several times.'],
  ['byDevice', 'The devices’ own ltvt', 'From the lowest to the highest number that came from each device, whether or not all between have come.'],
];

/** The ways of counting visits side by side, and where they part. */
export class VisitsView {
  constructor(host, {model, open}) {
    Object.assign(this, {model, open, listed: false});
    this.numbers = {};
    this.cards = {};
    const cards = ways.map(([key, title, text]) => {
      this.numbers[key] = h('strong', {class: 'number'}, '0');
      return (this.cards[key] = h('section', {class: 'card', 'aria-label': title}, h('h3', {}, title), this.numbers[key], h('p', {class: 'quiet'}, text)));
    });
    this.button = h('button', {id: 'show-culprits', 'aria-expanded': 'false', 'aria-controls': 'culprits', onclick: () => this.toggle()}, 'Where they differ');
    this.list = h('div', {id: 'culprits', hidden: true});
    host.append(h('p', {class: 'quiet above'}, 'Counted over the accepted payloads that this page knows.'),
      h('div', {class: 'cards three'}, cards), h('div', {class: 'choices'}, this.button), this.list);
    this.update();
  }

  update() {
    const {visits} = this.model();
    for (const [key] of ways) {
      this.numbers[key].textContent = count(visits[key]);
      this.cards[key].classList.toggle('differs', visits[key] !== visits.byBegin);
    }
  }

  toggle() {
    this.listed = !this.listed;
    this.button.setAttribute('aria-expanded', String(this.listed));
    this.list.hidden = !this.listed;
    if (this.listed) this.fill();
  }

  fill() {
    const found = [];
    let more = 0;
    for (const device of this.model().devices.values()) {
      for (const culprit of culprits(device)) {
        if (found.length < kMost) found.push({device, ...culprit});
        else more++;
      }
    }
    if (found.length === 0) {
      this.list.replaceChildren(h('p', {class: 'quiet above'}, 'Nothing: each visit was told once as new, and no number is left out.'));
      return;
    }
    this.list.replaceChildren(
      h('table', {class: 'fields culprits'},
        h('thead', {}, h('tr', {}, ['Device', 'Visit', 'Why it counts differently'].map((title) => h('th', {scope: 'col'}, title)))),
        h('tbody', {}, found.map(({device, visit, text}) => h('tr', {},
          h('th', {scope: 'row'}, h('button', {class: 'link-like', onclick: () => this.open(visit.payloads[0])}, `${modelName(device.model)} ${shortId(device.uuid)}`)),
          h('td', {}, `${visit.payloads[0].ltvt}, ${localTime(visit.vtTz)}`), h('td', {}, text))))),
      more ? h('p', {class: 'quiet'}, `and ${plural(more, 'more')}`) : '');
  }
}
