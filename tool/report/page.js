// The report's page: the overview, and the filter that everything below it follows.
import * as charts from './charts.js';
import { open_detail } from './detail.js';
import { filter_table, make_table, show_table } from './table.js';
import * as words from './words.js';

const { byId, count_of, data, make, moment, number } = words;
const shown_in_top = 8;
const tops = { sink: 'Function', client: 'Client', page: 'Page' };
const titles = { category: words.category_title, verdict: words.verdict_title };
const shades = {
  category: {
    code_execution: 3,
    command_execution: 1,
    file_access: 0,
    deserialisation: 2,
    query_injection: 4,
    '': 5,
  },
  verdict: { blocked: 2, reported: 1, logged: 5 },
};

let events; // all
let matching; // what the filter lets pass
let names; // of the verdicts and categories in the logs
let colours = 'category';
const chosen = new Map(); // what was clicked in a list: column -> text

// ---- Filter ----------------------------------------------------------------

function filter() {
  const value = (id) => byId(id).value;
  const limit = (id, none) => (value(id) === '' ? none : Date.parse(`${value(id)}Z`));
  const [category, verdict, from, to] = ['category', 'verdict', 'from', 'to'].map(value);
  const wanted = value('search').toLowerCase().split(/\s+/).filter(Boolean);
  const findings = names.verdict.filter((name) => name !== 'logged');
  matching = filter_table({
    text: wanted.length > 0 ? wanted : undefined,
    category: category === '' ? undefined : [category],
    verdict: verdict !== '' ? [verdict] : byId('records').checked ? undefined : findings,
    // Seconds in the field, milliseconds in the event.
    time: from || to ? [limit('from', -Infinity), limit('to', Infinity) + 1000] : undefined,
    ...Object.fromEntries([...chosen].map(([column, text]) => [column, [text]])),
  });
  show();
}

function toggle(column, text) {
  if (chosen.get(column) === text) chosen.delete(column);
  else chosen.set(column, text);
  filter();
}

function show_chosen() {
  const button = ([column, text]) => {
    const onclick = () => {
      toggle(column, text);
      byId('search').focus();
    };
    const remove = make('span', { class: 'sr' }, ' remove');
    const label = `${tops[column]}: ${text || 'none'} \u00d7`;
    return make('button', { type: 'button', onclick }, label, remove);
  };
  byId('chosen').replaceChildren(...[...chosen].map(button));
  byId('chosen').hidden = chosen.size === 0;
}

// ---- Overview --------------------------------------------------------------

function show_numbers() {
  const findings = events.filter((event) => event.verdict !== 'logged');
  const of = (verdict) => findings.filter((event) => event.verdict === verdict).length;
  const different = (column) => new Set(findings.map((event) => event[column])).size;
  const tiles = [
    ['Findings', findings.length],
    ['Blocked', of('blocked')],
    ['Let through', of('reported'), of('reported') > 0 ? 'alarm' : undefined],
    ['Clients', different('client')],
    ['Pages', different('page')],
    ['Plain records', events.length - findings.length],
  ];
  const tile = ([name, value, kind]) =>
    make('div', { class: kind }, make('dt', {}, name), make('dd', {}, number.format(value)));
  byId('numbers').replaceChildren(...tiles.map(tile));
  byId('period').textContent = period();
  const skipped = (log) =>
    log.skipped > 0 ? `, ${count_of(log.skipped, 'line')} without one` : '';
  const logs = data.logs.map(
    (log) => `${log.path} (${count_of(log.events, 'event')}${skipped(log)})`,
  );
  byId('made').textContent =
    `Made by vorgate-agent ${data.version} on ${moment(data.made)} UTC from ${logs.join(', ')}.`;
}

function period() {
  const [least, most] = words.span_of(events);
  if (most < least) return 'No events';
  const [from, to] = [moment(least), moment(most)];
  if (from === to) return `${from} UTC`;
  return `${from} to ${from.slice(0, 10) === to.slice(0, 10) ? to.slice(11) : to} UTC`;
}

function show_top(column) {
  const counts = new Map();
  for (const event of matching) counts.set(event[column], (counts.get(event[column]) ?? 0) + 1);
  const top = [...counts].sort((a, b) => b[1] - a[1]).slice(0, shown_in_top);
  const entry = ([text, count]) => {
    const name = text || 'none';
    const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    const bar = document.createElementNS('http://www.w3.org/2000/svg', 'rect');
    svg.setAttribute('aria-hidden', 'true');
    bar.setAttribute('width', `${((100 * count) / top[0][1]).toFixed(2)}%`);
    bar.setAttribute('height', '100%');
    svg.append(bar);
    const settings = {
      type: 'button',
      title: name,
      'aria-pressed': chosen.get(column) === text,
      onclick: () => toggle(column, text),
    };
    const sum = make('span', { class: 'count' }, number.format(count));
    return make('li', {}, make('button', settings, svg, make('span', {}, name), sum));
  };
  show_list(`${column}s`, top.map(entry), 'Nothing to show.');
}

function show_list(id, entries, none) {
  if (entries.length === 0) entries = [make('li', { class: 'empty' }, none)];
  byId(id).replaceChildren(...entries);
}

function show_chains() {
  const entry = ({ row, event, calls, script, count, let_go }) => {
    const verdict = let_go > 0 ? 'reported' : 'blocked';
    const onclick = () => open_detail(events[row]);
    const part = let_go > 0 && let_go < count ? `, ${number.format(let_go)} let through` : '';
    const head = make(
      'div',
      {},
      make('button', { type: 'button', onclick }, words.title(event)),
      make('small', {}, words.badge(verdict), ` ${count_of(count, 'time')}${part}`),
    );
    return make('li', {}, head, words.way_of(calls, script, verdict));
  };
  show_list('chains', data.chains.map(entry), 'No findings in the logs.');
}

// Names that this page does not know are drawn with the records' colour.
function kinds_of(column) {
  const known = Object.keys(shades[column]);
  const all = [...known, ...names[column].filter((name) => !known.includes(name))];
  return all.map((value) => ({
    value,
    name: titles[column](value),
    shade: known.includes(value) ? shades[column][value] : 5,
  }));
}

function show_charts() {
  const set_period = (from, to) => {
    if (to - from < 1000) return; // finer than the fields
    byId('from').value = new Date(from).toISOString().slice(0, 19);
    byId('to').value = new Date(to - 1000).toISOString().slice(0, 19);
    filter();
  };
  const set_category = (category) => {
    byId('category').value = category;
    filter();
  };
  charts.over_time(matching, colours, kinds_of(colours), set_period);
  charts.by_category(matching, kinds_of('verdict'), titles.category, set_category);
}

// ---- All of it -------------------------------------------------------------

function show() {
  byId('status').textContent =
    `${number.format(matching.length)} of ${count_of(events.length, 'event')} shown`;
  const why_none = events.length > 0 ? 'No event passes the filter.' : 'The logs hold no events.';
  byId('none').textContent = matching.length > 0 ? '' : why_none;
  show_chosen();
  Object.keys(tops).forEach(show_top);
  show_charts();
  show_table();
}

function listen() {
  for (const id of ['category', 'verdict', 'from', 'to', 'records']) {
    byId(id).addEventListener('change', filter);
  }
  let waiting;
  byId('search').addEventListener('input', () => {
    clearTimeout(waiting);
    waiting = setTimeout(filter, 120);
  });
  byId('filter').addEventListener('submit', (event) => event.preventDefault());
  byId('filter').addEventListener('reset', () => {
    chosen.clear();
    setTimeout(filter);
  });
  for (const name of ['category', 'verdict']) {
    byId(`by-${name}`).addEventListener('click', () => {
      colours = name;
      for (const each of ['category', 'verdict']) {
        byId(`by-${each}`).setAttribute('aria-pressed', each === name);
      }
      show_charts();
    });
  }
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', show_charts);
}

async function start() {
  const columns = await words.unpack(data.columns);
  delete data.columns;
  const text = (list, column, row) => columns[list][columns[column][row]];
  events = columns.time.map((time, row) => ({
    row,
    time,
    verdict: text('verdicts', 'verdict', row),
    event: text('events', 'event', row),
    category: text('categories', 'category', row),
    sink: text('sinks', 'sink', row),
    subject: text('subjects', 'subject', row),
    client: text('clients', 'client', row),
    page: text('pages', 'page', row),
    method: text('methods', 'method', row),
  }));
  names = { category: columns.categories, verdict: columns.verdicts };
  for (const [id, all] of Object.entries(names)) {
    const option = (name) => make('option', { value: name }, titles[id](name));
    byId(id).append(...all.filter(Boolean).sort().map(option));
  }
  show_numbers();
  show_chains();
  make_table(events, (row) => open_detail(events[row]));
  listen();
  filter();
  document.documentElement.dataset.ready = 'yes';
}

start();
