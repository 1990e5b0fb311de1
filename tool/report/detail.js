// All that is known of one event, in a dialog.
import { badge, byId, count_of, data, make, title, unpack, way_of } from './words.js';

const relations = ['exactly this value.', 'a value that holds it: ', 'a value that stands in it: '];
const heading = (text) => make('h3', {}, text);
const line = (...parts) => make('p', {}, ...parts);
const block = (name, text) => make('pre', { tabindex: '0', 'aria-label': name }, text);

function fields(entries) {
  const list = make('dl', {});
  for (const [name, value, kind] of entries) {
    if (value === '' || value === null) continue;
    list.append(make('dt', {}, name), make('dd', { class: kind }, String(value)));
  }
  return list;
}

function source([place, name, value, relation]) {
  const rest = relation === 0 ? '' : make('code', {}, value);
  return line(`Here the ${place} `, make('code', {}, name), ` has ${relations[relation]}`, rest);
}

function allowing(allow) {
  if (!allow) return [];
  const [text, warnings] = allow;
  const told = 'If the request is an ordinary one, this in the policy exempts it:';
  return [
    ...(text === '' ? [] : [line(told), block('Allow entry', text)]),
    ...warnings.map((warning) => make('p', { class: 'hint' }, warning)),
  ];
}

export async function open_detail({ row, event, verdict, category, page }) {
  const chunk = await unpack(data.chunks[Math.floor(row / data.chunk_events)]);
  const details = chunk[row % data.chunk_events];
  const [time, kind, detail, target, subject, code, host, pid, tid, lost, calls] = details;
  const [request, sources, allow] = details.slice(11);
  const [, what, why, remedy] = data.words[event] ?? data.words.unknown;
  byId('detail-title').replaceChildren(title(event), badge(verdict));
  byId('detail-body').replaceChildren(
    line(`${what} ${data.verdict_words[verdict] ?? ''}`),
    block('Subject', subject || '(empty)'),
    heading('Calls, outermost first'),
    way_of(calls, page, verdict),
    heading(remedy === '' ? 'Why there is a line' : 'Why it is a finding'),
    line(why),
    ...sources.map(source),
    heading('Event'),
    fields([
      ['Time', time],
      ['Name', code === null ? event : `${event} (0x${code.toString(16)})`],
      ['Category', category === '' ? '' : `${category}: ${data.category_words[category] ?? ''}`],
      ['Tried', kind],
      ['Function or chain', detail, 'mono'],
      ['Acted on', target],
      ['Machine', host],
      ['Process, thread', `${pid}, ${tid}`],
      ['Lost before it', lost > 0 ? count_of(lost, 'event') : ''],
    ]),
    heading('Request'),
    request.some(Boolean)
      ? fields(request.map((text, i) => [data.labels[i], text.trimEnd(), 'mono']))
      : line('None: it was not made by a web request.'),
    ...(remedy === '' ? [] : [heading('What to do'), line(remedy)]),
    ...allowing(allow),
  );
  byId('detail').showModal();
  byId('detail-body').scrollTop = 0;
  byId('close').focus();
}

byId('close').addEventListener('click', () => byId('detail').close());
byId('detail').addEventListener('click', (event) => {
  if (event.target === byId('detail')) byId('detail').close();
});
