// The collector's events. What comes is put into the model piece by piece, between two frames, so that the page stays
// at hand however much comes at once.

const kBudget = 8;  // ms a frame

export class Feed {
  /** `head` gets each event, then `take` its requests one by one; `after` is called when a piece is in. */
  constructor({head, take, after, link}) {
    Object.assign(this, {head, take, after, link});
    this.waiting = [];  // of events
    this.at = 0;  // in the first of them
    this.scheduled = false;
    this.connect();
  }

  connect() {
    this.source = new EventSource('/events');
    this.source.onopen = () => this.link(true);
    this.source.onmessage = (event) => {
      this.waiting.push(JSON.parse(event.data));
      this.schedule();
    };
    this.source.onerror = () => {
      this.link(false);
      if (this.source.readyState !== EventSource.CLOSED) return;  // it tries again by itself
      this.source.close();
      setTimeout(() => this.connect(), 2000);
    };
  }

  schedule() {
    if (this.scheduled) return;
    this.scheduled = true;
    const work = () => this.work();
    if (document.hidden) setTimeout(work, 200);  // a page that nobody sees has no frames
    else requestAnimationFrame(work);
  }

  work() {
    this.scheduled = false;
    const end = performance.now() + kBudget;
    while (this.waiting.length > 0 && performance.now() < end) {
      const event = this.waiting[0];
      if (this.at === 0) this.head(event);
      const next = Math.min(this.at + 50, event.requests.length);
      while (this.at < next) this.take(event.requests[this.at++]);
      if (this.at < event.requests.length) continue;
      this.waiting.shift();
      this.at = 0;
    }
    this.after();
    if (this.waiting.length > 0) this.schedule();
  }
}
