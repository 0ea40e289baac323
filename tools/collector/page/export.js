import {getPayload} from './source.js';

const kMostSteps = 100;  // payloads that a script makes

/** A text that a shell takes for one word, whatever is in it. */
const quote = (text) => `'${text.replaceAll("'", String.raw`'\''`)}'`;

/** A command that sends the same request once more. */
export function curlOf(request, bytes) {
  const url = `${location.origin}${request.path}${request.query ? `?${request.query}` : ''}`;
  const skipped = ['host', 'content-length', 'connection', 'transfer-encoding', 'expect'];
  const headers = Object.entries(request.headers).filter(([name]) => !skipped.includes(name.toLowerCase()));
  const words = headers.map(([name, value]) => `-H ${quote(`${name}: ${value}`)}`);
  if (request.method === 'POST' && !headers.some(([name]) => name.toLowerCase() === 'content-type')) words.push("-H 'Content-Type:'");
  const send = bytes.length > 0 ? ' --data-binary @-' : '';
  const before = bytes.length > 0 ? `printf %s ${quote(base64(bytes))} | base64 -d | ` : '';
  return `${before}curl -sS -g -X ${quote(request.method)} ${[...words, send.trim(), quote(url)].filter(Boolean).join(' ')}`;
}

function base64(bytes) {
  let text = '';
  for (let at = 0; at < bytes.length; at += 8192) text += String.fromCharCode(...bytes.subarray(at, at + 8192));
  return btoa(text);
}

const parsed = (members) =>
  new Map(members.map(([key, text]) => {
    try {
      return [key, JSON.parse(text)];
    } catch {
      return [key, undefined];
    }
  }));

/** A script for zul-sim in which a device with the same settings makes the payloads of this one, up to `payload`. */
export async function scriptOf(request, payload, device) {
  if (!payload || !device) throw new Error('Only an upload of a device can be played again.');
  const detail = await getPayload(request.seq, payload.index);
  const values = parsed(detail.members ?? []);
  if (!values.get('useMode')) throw new Error('An empty session tells nothing that could be played again.');
  const until = device.payloads.indexOf(payload) + 1;
  const made = device.payloads.slice(Math.max(0, until - kMostSteps), until);
  const begin = made[0].vtTz || payload.request.t;
  const lines = [
    `# Makes the payloads of the device ${oneLine(device.uuid)} again, up to request ${request.seq}, in virtual time:`,
    '#   zul-sim --no-log SCRIPT',
    '# Member, push, campaigns, attribution and scripted answers are left out.', ''];
  lines.push(`clock ${new Date(begin - 5000).toISOString().slice(0, 19)} UTC`);
  const settings = deviceOf(values);
  if (Object.keys(settings).length > 0) lines.push(`device ${JSON.stringify(settings)}`);
  if (isText(values.get('lng'))) lines.push('document ATTAuthStatusInfo {"ATTAuthStatus":3}');
  lines.push(`config ${JSON.stringify(configOf(values))}`, ...steps(made), '', 'show payload', '');
  return lines.join('\n');
}

const oneLine = (text) => text.replaceAll(/[^\x21-\x7e]/g, '?');
const isText = (value) => typeof value === 'string' && value !== '' && value !== 'ANP';

function deviceOf(values) {
  const device = {};
  if (isText(values.get('phone'))) device.model = values.get('phone');
  if (isText(values.get('osvr'))) device.systemVersion = values.get('osvr');
  if (isText(values.get('lng'))) device.preferredLanguages = [values.get('lng').toLowerCase()];
  if (isText(values.get('cntr'))) device.countryCode = values.get('cntr');
  const screen = /^(\d+)\*(\d+)\/([\d.]+)$/.exec(values.get('sr') ?? '');
  if (screen) Object.assign(device, {screenWidth: +screen[1], screenHeight: +screen[2], screenScale: +screen[3]});
  if (values.get('advtFlag') === 0) device.advertisingTrackingEnabled = true;
  return device;
}

function configOf(values) {
  const config = {
    serviceNumber: values.get('_qzno'), useMode: values.get('useMode'), expireDate: values.get('_qzUdays'), isDebug: values.get('_qzDebug'),
    isInstallRetention: values.get('_qzUseRetention'), isFingerPrint: values.get('_qzUseFingerPrint')};
  return Object.fromEntries(Object.entries(config).filter(([, value]) => ['number', 'boolean'].includes(typeof value)));
}

/** What the host and the time have to do for these payloads. */
function steps(made) {
  const lines = [];
  let visit = null;
  let offline = false;
  for (const [n, payload] of made.entries()) {
    const waited = payload.request.payloads > 1 && payload.index + 1 < payload.request.payloads && made[n + 1]?.request === payload.request;
    if (waited !== offline) lines.push(waited ? 'network offline  # what follows waits' : 'network wifi');
    offline = waited;
    if (visit === null) {
      lines.push('', `# visit ${payload.ltvt}`, 'launch', 'advance 6s');
    } else if (payload.vtTz !== visit) {
      const seconds = Math.max(1, Math.round((payload.vtTz - visit) / 1000) - 6);
      lines.push('', `# visit ${payload.ltvt}`, 'restart', `advance ${seconds}s`, 'launch', 'advance 6s');
    } else {
      lines.push('call sendTransaction', 'advance 1s');
    }
    visit = payload.vtTz;
  }
  return lines;
}
