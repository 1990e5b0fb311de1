// Elements, and the words for what the tool put into the page. Everything that comes from
// events is somebody's attack: it becomes text and never markup, an address or code.
export const byId = (id) => document.getElementById(id);
export const number = new Intl.NumberFormat('en');

// An element with attributes and children; a string becomes text.
export function make(tag, settings, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(settings)) {
    if (name === 'onclick') element.addEventListener('click', value);
    else if (value !== undefined) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

export async function unpack(text) {
  const packed = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Response(stream).json();
}

export const data = JSON.parse(byId('data').textContent);
byId('data').remove();
// An event may be named like a property that every object has.
for (const words of [data.words, data.category_words, data.verdict_words]) {
  Object.setPrototypeOf(words, null);
}
const verdict_titles = {
  __proto__: null,
  blocked: 'Blocked',
  reported: 'Let through',
  logged: 'Record',
};

export const title = (event) => data.words[event]?.[0] ?? event;
export const category_title = (name) =>
  name === '' ? 'Plain records' : (name[0].toUpperCase() + name.slice(1)).replaceAll('_', ' ');
export const verdict_title = (name) => verdict_titles[name] ?? name;
export const verdict_class = (name) => (name in verdict_titles ? name : '');
export const moment = (time, from = 0, to = 19) =>
  time === null ? 'unknown' : new Date(time).toISOString().replace('T', ' ').slice(from, to);
export const count_of = (count, word) => `${number.format(count)} ${word}${count === 1 ? '' : 's'}`;
export const badge = (verdict) =>
  make('span', { class: `verdict ${verdict_class(verdict)}` }, verdict_title(verdict));

// The first and the last time; the first is later than the last where no event has one.
export function span_of(events) {
  let least = Infinity;
  let most = -Infinity;
  for (const { time } of events) {
    if (time === null) continue;
    if (time < least) least = time;
    if (time > most) most = time;
  }
  return [least, most];
}

// From the page to the call.
export function way_of(calls, script, verdict) {
  const steps = [script || 'script', ...calls];
  const kind = (i) =>
    i === 0 ? 'page' : i === calls.length ? `end ${verdict_class(verdict)}` : '';
  return make(
    'ol',
    { class: 'way' },
    ...steps.map((step, i) =>
      make('li', { class: `d${Math.min(i, 8)} ${kind(i)}` }, make('code', {}, step)),
    ),
  );
}
