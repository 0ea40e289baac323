// What the page asks of the collector beside the events.

async function ask(path, options) {
  const reply = await fetch(path, options);
  if (!reply.ok) {
    const answer = await reply.json().catch(() => ({}));
    throw new Error(answer.msg ?? `the collector answers ${reply.status}`);
  }
  return reply;
}

export const getJson = async (path) => (await ask(path)).json();
export const post = (path, value) =>
  ask(path, {method: 'POST', body: value === undefined ? '' : typeof value === 'string' ? value : JSON.stringify(value)});
export const getBytes = async (sequence) => new Uint8Array(await (await ask(`/inspect/body?seq=${sequence}`)).arrayBuffer());

const kKept = 40;
const payloads = new Map();

/** One payload as the collector shows it; requests without payloads have null as `index`. */
export function getPayload(sequence, index) {
  const path = `/inspect/request?seq=${sequence}${index === null ? '' : `&payload=${index}`}`;
  let found = payloads.get(path);
  if (!found) {
    found = getJson(path);
    found.catch(() => payloads.delete(path));
    payloads.set(path, found);
    if (payloads.size > kKept) payloads.delete(payloads.keys().next().value);
  }
  return found;
}

export const forgetPayloads = () => payloads.clear();

/** The keys of a payload, in the order in which they are shown: [{key, group, kind, meaning, time}]. */
export const catalogue = getJson('/inspect/keys').catch(() => []);
