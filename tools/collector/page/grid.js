import {h} from './dom.js';

// A list of any length, of which only the rows in sight exist. One stop of the Tab key; the arrow keys, Home, End and
// the page keys move within, Enter chooses.
export class Grid {
  /**
   * `columns` are names; `render(row, item)` fills a row's cells; `choose(item)` is called for a click, Enter or arrow.
   */
  constructor(host, {label, columns, height, render, choose, kind}) {
    Object.assign(this, {height, render, choose, kind, items: [], rows: [], active: null});
    this.head = h('div', {class: 'row head', role: 'row'}, columns.map((name) => h('span', {role: 'columnheader'}, name)));
    this.sizer = h('div', {class: 'sizer', role: 'rowgroup'});
    this.body = h('div', {class: 'scroll', role: 'presentation'}, this.sizer);
    this.none = h('p', {class: 'none quiet', hidden: true});
    this.host = h('div', {class: `grid ${kind}`, role: 'grid', 'aria-label': label, 'aria-colcount': columns.length, tabindex: '0'},
      h('div', {role: 'rowgroup'}, this.head), this.body);
    host.append(this.host, this.none);
    this.columns = columns.length;
    this.body.addEventListener('scroll', () => this.draw(), {passive: true});
    new ResizeObserver(() => this.draw()).observe(this.body);
    this.sizer.addEventListener('click', (event) => {
      const row = event.target.closest('.row');
      if (row) this.move(row.at, true);
    });
    this.host.addEventListener('keydown', (event) => this.key(event));
  }

  /** With `onTop` more items were put in front: who has scrolled down goes on seeing the same ones. */
  show(items, onTop = 0) {
    this.items = items;
    this.sizer.style.height = `${items.length * this.height}px`;
    if (onTop > 0 && this.body.scrollTop > 0) this.body.scrollTop += onTop * this.height;
    this.host.setAttribute('aria-rowcount', items.length + 1);
    this.draw();
  }

  empty(text) {
    this.none.hidden = !text;
    this.none.textContent = text;
  }

  draw() {
    const first = Math.max(0, Math.floor(this.body.scrollTop / this.height) - 4);
    const last = Math.min(this.items.length, Math.ceil((this.body.scrollTop + this.body.clientHeight) / this.height) + 4);
    while (this.rows.length < last - first) this.addRow();
    let activeId = '';
    this.rows.forEach((row, n) => {
      const at = first + n;
      row.hidden = at >= last;
      if (row.hidden) return;
      const item = this.items.at(at);
      row.at = at;
      row.style.transform = `translateY(${at * this.height}px)`;
      row.setAttribute('aria-rowindex', at + 2);
      const isActive = item === this.active;
      row.setAttribute('aria-selected', String(isActive));
      if (isActive) activeId = row.id;
      this.render(row, item);
    });
    if (activeId) this.host.setAttribute('aria-activedescendant', activeId);
    else this.host.removeAttribute('aria-activedescendant');
  }

  addRow() {
    const row = h('div', {class: 'row', role: 'row', id: `${this.kind}-row-${this.rows.length}`});
    for (let n = 0; n < this.columns; ++n) row.append(h('span', {role: 'gridcell'}));
    this.rows.push(row);
    this.sizer.append(row);
  }

  /** Marks an item as the chosen one, without choosing it. */
  mark(item) {
    this.active = item;
    this.draw();
  }

  move(at, chosen) {
    if (this.items.length === 0) return;
    const item = this.items.at(Math.max(0, Math.min(at, this.items.length - 1)));
    this.active = item;
    this.draw();
    if (chosen) this.choose(item);
  }

  reveal(at) {
    const top = at * this.height;
    if (top < this.body.scrollTop) this.body.scrollTop = top;
    const below = top + this.height - this.body.clientHeight;
    if (below > this.body.scrollTop) this.body.scrollTop = below;
  }

  key(event) {
    const page = Math.max(1, Math.floor(this.body.clientHeight / this.height) - 1);
    const at = this.items.indexOf(this.active);
    const next = {
      ArrowDown: at + 1, ArrowUp: Math.max(0, at - 1), PageDown: at + page, PageUp: at - page, Home: 0, End: this.items.length - 1,
      Enter: at, ' ': at}[event.key];
    if (next === undefined || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    const target = Math.max(0, Math.min(next, this.items.length - 1));
    this.reveal(target);
    this.move(target, true);
  }
}
