import {AnswersView} from './answers.js';
import {ago, copy, count, find, h, setText, tabs} from './dom.js';
import {Feed} from './feed.js';
import {DeviceList, RequestList} from './lists.js';
import {Model} from './model.js';
import {PayloadView} from './payload.js';
import {forgetPayloads, post} from './source.js';
import {Timeline} from './timeline.js';
import {VisitsView} from './visits.js';

const kMostRequests = 40000;  // what the page keeps at most; it then goes on with half of them
const kSlow = 1000;  // ms between two drawings of what nobody watches for its speed

let model = new Model();
let filter = null;
let search = '';
let answersVersion = null;
let missed = 0;
let total = 0;
let caughtUp = false;

// The views.

const timeline = new Timeline(find('timeline'), {open: openPayload, compare: (a, b) => payloadView.show(a.request, a, b)});
const payloadView = new PayloadView(find('payload'), {model: () => model, open: openPayload});
const visitsView = new VisitsView(find('visits'), {model: () => model, open: (payload) => {
  chooseView('tab-traffic');
  openPayload(payload);
}});
const answersView = new AnswersView(find('answers'));
const deviceList = new DeviceList(find('devices'), openDevice);
const requestList = new RequestList(find('requests'), openRequest);

const views = {'tab-traffic': 'traffic', 'tab-visits': 'visits', 'tab-answers': 'answers'};
let view = 'tab-traffic';
const chooseView = tabs(document.querySelector('.bar [role=tablist]'), (tab) => {
  view = tab.id;
  drawNow();
});
const lists = {'tab-devices': 'devices', 'tab-requests': 'requests'};
let list = 'tab-devices';
const chooseList = tabs(document.querySelector('.listbar [role=tablist]'), (tab) => {
  list = tab.id;
  for (const [id, panel] of Object.entries(lists)) find(panel).hidden = id !== list;
  drawNow();
});

function openPayload(payload) {
  const device = model.devices.get(payload.uuid);
  if (timeline.device !== device) timeline.show(device);
  timeline.choose(payload);
  payloadView.show(payload.request, payload);
  deviceList.grid.mark(device);
  requestList.grid.mark(payload.request);
}

function openDevice(device) {
  openPayload(device.payloads.at(-1));
}

function openRequest(request) {
  if (request.of.length > 0) return openPayload(request.of.at(-1));
  timeline.show(null);
  payloadView.show(request, null);
  requestList.grid.mark(request);
  deviceList.grid.mark(null);
}

// The strip: what has come, each number a filter.

const strip = {};

function addStat(name, title, click, isFilter = false) {
  const number = h('strong', {}, '0');
  strip[name] = {number, button: h('button', {
    class: `stat ${name}`, id: `stat-${name}`, 'aria-pressed': isFilter ? 'false' : null, title, onclick: click}, number, ` ${name}`)};
  find('strip').append(strip[name].button);
}

const kFilters = {
  good: 'requests with nothing odd about them', suspicious: 'good uploads in which something should not be so',
  bad: 'requests that break the contract', duplicates: 'payloads equal to one that was accepted before'};
for (const [name, title] of Object.entries(kFilters)) {
  addStat(name, title, () => {
    setFilter(filter === name ? null : name);
    chooseView('tab-traffic');
    // What has no device is found among the requests.
    if (filter) chooseList('tab-requests');
  }, true);
}
addStat('devices', 'all devices', () => {
  setFilter(null);
  chooseView('tab-traffic');
  chooseList('tab-devices');
});
addStat('visits', 'distinct uuid and vtTz; click for the other ways of counting', () => chooseView('tab-visits'));
addStat('last', 'opens the latest request', () => {
  const latest = model.requests.at(-1);
  if (!latest) return;
  chooseView('tab-traffic');
  openRequest(latest);
});
strip.last.button.replaceChildren('last request ', strip.last.number);

function setFilter(next) {
  filter = next;
  for (const name of Object.keys(kFilters)) strip[name].button.setAttribute('aria-pressed', String(name === filter));
  timeline.setFilter(filter);
}

find('search').addEventListener('input', (event) => {
  search = event.target.value.trim().toLowerCase();
  drawNow();
});

// Drawing.

function drawStrip() {
  for (const name of Object.keys(kFilters)) setText(strip[name].number, count(model.counts[name]));
  setText(strip.devices.number, count(model.devices.size));
  setText(strip.visits.number, count(model.visits.byBegin));
  setText(strip.last.number, model.last ? ago(model.last) : 'never');
}

function drawNotice() {
  const texts = [];
  if (missed > 0) texts.push(`${count(missed)} requests went from the collector’s memory before this page could take them.`);
  if (caughtUp && total > model.requests.length + missed) texts.push(`The latest ${count(model.requests.length)} of ${count(total)} requests.`);
  if (texts.length > 0) texts.push('--keep N keeps more, --record FILE keeps all.');
  const notice = find('notice');
  notice.hidden = texts.length === 0;
  setText(notice, texts.join(' '));
}

function drawShape() {
  const none = model.requests.length === 0;
  find('empty').hidden = !none || !caughtUp || view !== 'tab-traffic';
  for (const [tab, id] of Object.entries(views)) find(id).hidden = tab !== view || (tab === 'tab-traffic' && none);
}

let lastLists = 0;

function drawNow() {
  lastLists = performance.now();
  drawShape();
  drawStrip();
  drawNotice();
  if (view === 'tab-visits') visitsView.update();
  if (view !== 'tab-traffic') return;
  if (list === 'tab-devices') deviceList.update(model, filter, search);
  else requestList.update(model, filter, search);
  timeline.update();
  payloadView.siblings();
}

let planned = null;

/** Soon, and not more often than anybody can read. */
function draw() {
  drawStrip();
  if (planned !== null) return;
  const wait = Math.max(0, lastLists + 250 - performance.now());
  planned = setTimeout(() => {
    planned = null;
    requestAnimationFrame(drawNow);
  }, wait);
}

function startAnew(next) {
  const shown = payloadView.subject;
  model = next;
  requestList.clear();
  timeline.clear();
  payloadView.clear();
  forgetPayloads();
  const same = shown && model.bySequence.get(shown.request.seq);
  if (same && shown.payload) openPayload(same.of[shown.payload.index]);
}

new Feed({
  head(event) {
    if (event.begun) {
      missed = 0;
      startAnew(new Model());
    }
    missed += event.missed;
    total = event.counts.total;
    caughtUp = true;
    if (answersVersion !== event.answers) answersView.refresh();
    answersVersion = event.answers;
  },
  take(entry) {
    model.add(entry);
  },
  after() {
    if (model.requests.length > kMostRequests) startAnew(model.cutTo(kMostRequests / 2));
    draw();
  },
  link(up) {
    const link = find('link');
    setText(link, up ? 'live' : 'reconnecting');
    link.classList.toggle('up', up);
    link.classList.toggle('down', !up);
  },
});
setInterval(() => {
  if (!document.hidden) drawNow();
}, kSlow);

// The rest.

find('address').textContent = location.host;

find('forget').addEventListener('click', () => {
  const button = find('forget');
  if (button.dataset.sure) {
    post('/inspect/reset');
    delete button.dataset.sure;
    setText(button, 'Forget all');
    return;
  }
  button.dataset.sure = 'yes';
  setText(button, 'Really forget all?');
  setTimeout(() => {
    delete button.dataset.sure;
    setText(button, 'Forget all');
  }, 3000);
});

const recipes = [
  ['Info.plist', `<key>zulAuthorizationKey</key>
<dict>
  <key>serviceNumber</key><integer>1001</integer>
  <key>useMode</key><integer>1</integer>
  <key>expireDate</key><integer>30</integer>
  <key>isDebug</key><true/>
</dict>`],
  ['Deployment', `platform.deployment.collectorBaseUrl = "${location.origin}";`],
  ['No device at hand', `printf 'config {"serviceNumber":1001,"useMode":1}\\nlaunch\\nadvance 6s\\n' | zul-sim --collector ${location.origin}`],
];
find('empty').querySelector('.recipes').append(...recipes.map(([title, text]) =>
  h('section', {class: 'recipe', 'aria-label': title}, h('div', {class: 'cardhead'}, h('h3', {}, title),
    h('button', {class: 'plain', 'aria-label': `Copy: ${title}`, onclick: () => copy(text, title)}, 'Copy')), h('pre', {}, text))));

drawNow();
