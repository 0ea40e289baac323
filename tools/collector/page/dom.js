// Elements are made here, and nowhere from markup: a text is a text, whatever is in it.

/** An element with attributes (on... are listeners) and children, which are elements or texts. */
export function h(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'class') element.className = value;
    else element.setAttribute(name, value === true ? '' : String(value));
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined && child !== false));
  return element;
}

export const find = (id) => document.getElementById(id);

/** Writes only what differs: the screen reader and the layout are spared the rest. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function say(text) {
  find('say').textContent = text;
}

export async function copy(text, what) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // Without TLS a browser gives the clipboard to pages of this machine alone.
    const area = h('textarea', {class: 'unseen', 'aria-hidden': 'true'});
    area.value = text;
    document.body.append(area);
    area.select();
    document.execCommand('copy');
    area.remove();
  }
  say(`${what} copied`);
  const toast = h('div', {class: 'toast', 'aria-hidden': 'true'}, `${what} copied`);
  document.body.append(toast);
  setTimeout(() => toast.remove(), 1600);
}

/** Arrow keys, Home and End go through the tabs of a list; only the chosen one is in the order of Tab. */
export function tabs(list, choose) {
  const all = [...list.querySelectorAll('[role=tab]')];
  const select = (tab, focus) => {
    for (const other of all) {
      other.setAttribute('aria-selected', String(other === tab));
      other.tabIndex = other === tab ? 0 : -1;
    }
    if (focus) tab.focus();
    choose(tab);
  };
  list.addEventListener('click', (event) => {
    const tab = event.target.closest('[role=tab]');
    if (tab) select(tab, false);
  });
  list.addEventListener('keydown', (event) => {
    const at = all.indexOf(event.target);
    const next = {ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: all.length - 1}[event.key];
    if (at < 0 || next === undefined) return;
    event.preventDefault();
    select(all[(next + all.length) % all.length], true);
  });
  return (id) => select(all.find((tab) => tab.id === id), false);
}

/** What has come, and what it will do, stay readable at any length. */
export function cut(text, length) {
  return text.length <= length ? text : `${text.slice(0, length)}…`;
}

export function ago(t, now = Date.now()) {
  const seconds = Math.max(0, Math.round((now - t) / 1000));
  if (seconds < 60) return `${seconds} s ago`;
  if (seconds < 3600) return `${Math.floor(seconds / 60)} min ago`;
  if (seconds < 86400) return `${Math.floor(seconds / 3600)} h ago`;
  return `${Math.floor(seconds / 86400)} d ago`;
}

const dayAndTime = new Intl.DateTimeFormat(undefined, {
  year: 'numeric', month: 'short', day: '2-digit', hour: '2-digit', minute: '2-digit', second: '2-digit', hour12: false});
const timeOnly = new Intl.DateTimeFormat(undefined, {hour: '2-digit', minute: '2-digit', second: '2-digit', hour12: false});

export const clockTime = (t) => timeOnly.format(t);
/** Empty for a number that is no time. */
export const localTime = (t) => (Number.isFinite(t) && Math.abs(t) < 8.64e15 ? dayAndTime.format(t) : '');

export const count = (number) => String(number).replace(/\B(?=(\d{3})+$)/g, ' ');
export const plural = (number, one, many = `${one}s`) => `${count(number)} ${number === 1 ? one : many}`;
