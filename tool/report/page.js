// The report's page. Everything that comes from events is somebody's attack: it
// becomes text (textContent) and never markup, an address or code.
import * as charts from './charts.js';

const byId = (id) => document.getElementById(id);
const number = new Intl.NumberFormat('en');
const rows_a_page = 50;
const shown_in_top = 8;

// An element with classes, attributes and children; a string becomes text.
function make(tag, settings, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(settings ?? {})) {
    if (name === 'onclick') element.addEventListener('click', value);
    else if (value !== undefined && value !== false) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

async function unpack(text) {
  const packed = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Response(stream).json();
}

const data = JSON.parse(byId('data').textContent);
byId('data').remove();
let columns;  // a number for each event in each, and the texts that the numbers stand for
let matching = [];  // rows that the filter lets pass, in the table's order
let page = 0;
let sorting = { key: 'time', down: true };
let colours = 'category';
const chosen = {};  // what was clicked in a list: column -> number
const verdict_titles = { blocked: 'Blocked', reported: 'Let through', logged: 'Record' };

const title = (event) => data.words[event]?.[0] ?? event;
const category_title = (name) =>
  name === '' ? 'Plain records' : (name[0].toUpperCase() + name.slice(1)).replaceAll('_', ' ');
const verdict_title = (name) => verdict_titles[name] ?? name;
const moment = (time, from = 0, to = 19) =>
  time === null ? 'unknown' : new Date(time).toISOString().replace('T', ' ').slice(from, to);
const count_of = (count, word) => `${number.format(count)} ${word}${count === 1 ? '' : 's'}`;
const text_in = (list, column, row) => columns[list][columns[column][row]];
const badge = (verdict) => make('span', {
  class: `verdict ${verdict in verdict_titles ? verdict : ''}` }, verdict_title(verdict));

// ---- Filter ----------------------------------------------------------------

function filter() {
  const words = byId('search').value.toLowerCase().split(/\s+/).filter(Boolean);
  const category = byId('category').value;
  const verdict = byId('verdict').value;
  const limit = (id) => {
    const value = byId(id).value;
    return value === '' ? null : Date.parse(`${value}Z`);
  };
  const from = limit('from');
  const to = limit('to');
  const records = byId('records').checked || verdict === 'logged';
  const logged = columns.verdicts.indexOf('logged');
  // A word is looked for once in each different text, not in each event.
  const hits = words.map((word) => Object.entries({
    subject: columns.subjects, client: columns.clients, page: columns.pages, sink: columns.sinks,
    event: columns.events.map((name) => `${title(name)} ${name}`), category: columns.categories,
  }).map(([column, texts]) =>
    [columns[column], texts.map((text) => text.toLowerCase().includes(word))]));
  const wanted_category = category === '' ? -1 : columns.categories.indexOf(category);
  const wanted_verdict = verdict === '' ? -1 : columns.verdicts.indexOf(verdict);
  const picks = Object.entries(chosen).map(([column, value]) => [columns[column], value]);
  matching = [];
  for (let row = 0; row < columns.time.length; ++row) {
    if (!records && columns.verdict[row] === logged) continue;
    if (wanted_category >= 0 && columns.category[row] !== wanted_category) continue;
    if (wanted_verdict >= 0 && columns.verdict[row] !== wanted_verdict) continue;
    const time = columns.time[row];
    if (from !== null && !(time >= from)) continue;
    // Seconds in the field, milliseconds in the event.
    if (to !== null && !(time !== null && time < to + 1000)) continue;
    if (!picks.every(([column, value]) => column[row] === value)) continue;
    if (hits.every((places) => places.some(([column, found]) => found[column[row]]))) {
      matching.push(row);
    }
  }
  page = 0;
  sort();
  show();
}

function sort() {
  const column = columns[sorting.key];
  const lists = { verdict: 'verdicts', event: 'events', sink: 'sinks', subject: 'subjects',
    client: 'clients', page: 'pages' };
  let rank = column;
  if (sorting.key in lists) {
    const texts = columns[lists[sorting.key]];
    const order = texts.map((_, i) => i).sort((a, b) => (texts[a] < texts[b] ? -1 : 1));
    const place = [];
    order.forEach((value, i) => { place[value] = i; });
    rank = column.map((value) => place[value]);
  }
  const sign = sorting.down ? -1 : 1;
  matching.sort((a, b) => sign * ((rank[a] ?? 0) - (rank[b] ?? 0)) || sign * (a - b));
}

function show_chosen() {
  const lists = { sink: 'sinks', client: 'clients', page: 'pages' };
  const names = { sink: 'Function', client: 'Client', page: 'Page' };
  byId('chosen').replaceChildren(...Object.keys(chosen).map((column) => make('button', {
    type: 'button',
    onclick: () => { delete chosen[column]; filter(); byId('search').focus(); },
  }, `${names[column]}: ${columns[lists[column]][chosen[column]] || 'none'} \u00d7`,
  make('span', { class: 'sr' }, ' remove'))));
  byId('chosen').hidden = Object.keys(chosen).length === 0;
}

// ---- Overview --------------------------------------------------------------

function show_numbers() {
  const all = columns.time.length;
  const of = (verdict) => {
    const wanted = columns.verdicts.indexOf(verdict);
    return columns.verdict.reduce((sum, each) => sum + (each === wanted), 0);
  };
  const logged = of('logged');
  const reported = of('reported');
  const findings = (column) => new Set(columns[column].filter(
    (_, row) => columns.verdicts[columns.verdict[row]] !== 'logged')).size;
  const tiles = [['Findings', all - logged], ['Blocked', of('blocked')],
    ['Let through', reported, reported > 0 ? 'alarm' : undefined], ['Clients', findings('client')],
    ['Pages', findings('page')], ['Plain records', logged]];
  byId('numbers').replaceChildren(...tiles.map(([name, value, kind]) =>
    make('div', { class: kind }, make('dt', {}, name), make('dd', {}, number.format(value)))));
  let least = Infinity;
  let most = -Infinity;
  for (const time of columns.time) {
    if (time !== null && time < least) least = time;
    if (time !== null && time > most) most = time;
  }
  byId('period').textContent = most < least ? 'No events'
    : moment(least) === moment(most) ? `${moment(least)} UTC`
    : `${moment(least)} to ${moment(most, moment(least, 0, 10) === moment(most, 0, 10) ? 11 : 0)} UTC`;
  const logs = data.logs.map((log) => `${log.path} (${count_of(log.events, 'event')}${
    log.skipped > 0 ? `, ${count_of(log.skipped, 'line')} without one` : ''})`);
  byId('made').textContent =
    `Made by vorgate-agent ${data.version} on ${moment(data.made)} UTC from ${logs.join(', ')}.`;
}

function show_top(id, column, list) {
  const counts = new Map();
  for (const row of matching) {
    const value = columns[column][row];
    counts.set(value, (counts.get(value) ?? 0) + 1);
  }
  const top = [...counts].sort((a, b) => b[1] - a[1] || a[0] - b[0]).slice(0, shown_in_top);
  const most = top.length > 0 ? top[0][1] : 1;
  byId(id).replaceChildren(...top.map(([value, count]) => {
    const name = columns[list][value] || 'none';
    const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    const bar = document.createElementNS('http://www.w3.org/2000/svg', 'rect');
    svg.setAttribute('aria-hidden', 'true');
    bar.setAttribute('width', `${(100 * count / most).toFixed(2)}%`);
    bar.setAttribute('height', '100%');
    svg.append(bar);
    return make('li', {}, make('button', {
      type: 'button', title: name, 'aria-pressed': String(chosen[column] === value),
      onclick: () => {
        if (chosen[column] === value) delete chosen[column]; else chosen[column] = value;
        filter();
      },
    }, svg, make('span', {}, name), make('span', { class: 'count' }, number.format(count))));
  }));
  if (top.length === 0) byId(id).append(make('li', { class: 'empty' }, 'Nothing to show.'));
}

function way_of(calls, script, verdict) {
  const steps = [script || 'script', ...calls];
  return make('ol', { class: 'way' }, ...steps.map((step, i) => make('li', {
    class: `d${Math.min(i, 8)} ${i === 0 ? 'page' : ''} ${
      i === steps.length - 1 && i > 0 ? `end ${verdict in verdict_titles ? verdict : ''}` : ''}`,
  }, make('code', {}, step))));
}

function show_chains() {
  byId('chains').replaceChildren(...data.chains.map((chain) => {
    const verdict = chain.let_go > 0 ? 'reported' : 'blocked';
    return make('li', {}, make('div', {}, make('button', {
      type: 'button', onclick: () => open_detail(chain.row) }, title(chain.event)),
    make('small', {}, badge(verdict), ` ${count_of(chain.count, 'time')}${
      chain.let_go > 0 && chain.let_go < chain.count
        ? `, ${number.format(chain.let_go)} let through` : ''}`)),
    way_of(chain.calls, chain.script, verdict));
  }));
  if (data.chains.length === 0) {
    byId('chains').append(make('li', { class: 'empty' }, 'No findings in the logs.'));
  }
}

// ---- Table -----------------------------------------------------------------

const table_columns = [['time', 'Time (UTC)', '188px'], ['verdict', 'Verdict', '128px'],
  ['event', 'Event', '18%'], ['sink', 'Function', '11%'], ['subject', 'Subject', 'auto'],
  ['client', 'Client', '124px'], ['page', 'Page', '14%']];

function show_table() {
  byId('columns').replaceChildren(...table_columns.map(([key, name, width]) => {
    const cell = make('th', { scope: 'col', 'aria-sort': sorting.key === key
      ? (sorting.down ? 'descending' : 'ascending') : undefined },
    make('button', { type: 'button', id: `sort-${key}`, onclick: () => {
      sorting = { key, down: sorting.key === key ? !sorting.down : key === 'time' };
      page = 0;
      sort();
      show_table();
      byId(`sort-${key}`).focus();
    } }, name));
    cell.style.width = width;
    return cell;
  }));
  const pages = Math.max(1, Math.ceil(matching.length / rows_a_page));
  const start = page * rows_a_page;
  const shown = matching.slice(start, start + rows_a_page);
  byId('rows').replaceChildren(...shown.map((row) => {
    const subject = text_in('subjects', 'subject', row);
    const where = `${text_in('methods', 'method', row)} ${text_in('pages', 'page', row)}`.trim();
    const line = make('tr', { tabindex: '0', 'data-row': row, 'aria-haspopup': 'dialog' },
      make('td', { class: 'num' }, moment(columns.time[row])),
      make('td', {}, badge(text_in('verdicts', 'verdict', row))),
      make('td', {}, title(text_in('events', 'event', row))),
      make('td', { class: 'mono' }, text_in('sinks', 'sink', row)),
      make('td', { class: 'mono subject', title: subject }, subject),
      make('td', { class: 'num' }, text_in('clients', 'client', row)),
      make('td', { title: where }, where));
    return line;
  }));
  byId('table').hidden = matching.length === 0;
  byId('none').hidden = matching.length > 0;
  byId('none').textContent = matching.length > 0 ? ''
    : columns.time.length === 0 ? 'The logs hold no events.' : 'No event passes the filter.';
  byId('range').textContent = matching.length === 0 ? '' : `${number.format(start + 1)} to ${
    number.format(start + shown.length)} of ${number.format(matching.length)}`;
  byId('page').textContent = `Page ${number.format(page + 1)} of ${number.format(pages)}`;
  byId('pager').hidden = pages === 1;
  byId('first').disabled = byId('back').disabled = page === 0;
  byId('next').disabled = byId('last').disabled = page === pages - 1;
}

function turn_to(target) {
  const pages = Math.max(1, Math.ceil(matching.length / rows_a_page));
  page = Math.min(Math.max(target, 0), pages - 1);
  show_table();
  byId('events').scrollIntoView();
}

// ---- One event -------------------------------------------------------------

function fields(entries) {
  const list = make('dl');
  for (const [name, value, kind] of entries) {
    if (value === '' || value === null || value === undefined) continue;
    list.append(make('dt', {}, name), make('dd', { class: kind }, String(value)));
  }
  return list;
}

async function open_detail(row) {
  const chunk = await unpack(data.chunks[Math.floor(row / data.chunk_events)]);
  const [time, kind, detail, target, subject, code, host, pid, tid, lost, calls, request, sources,
    allow] = chunk[row % data.chunk_events];
  const event = text_in('events', 'event', row);
  const verdict = text_in('verdicts', 'verdict', row);
  const category = text_in('categories', 'category', row);
  const words = data.words[event] ?? data.words.unknown;
  const relations = ['exactly this value.', 'a value that holds it: ', 'a value that stands in it: '];
  byId('detail-title').replaceChildren(title(event), badge(verdict));
  const body = [
    make('p', {}, `${words[1]} ${data.verdict_words[verdict] ?? ''}`),
    make('pre', { tabindex: '0', 'aria-label': 'Subject' }, subject || '(empty)'),
    make('h3', {}, 'Calls, outermost first'),
    way_of(calls, text_in('pages', 'page', row), verdict),
    make('h3', {}, words[3] === '' ? 'Why there is a line' : 'Why it is a finding'),
    make('p', {}, words[2]),
    ...sources.map(([place, name, value, relation]) => make('p', {}, `Here the ${place} `,
      make('code', {}, name), ` has ${relations[relation]}`,
      relation === 0 ? '' : make('code', {}, value))),
    make('h3', {}, 'Event'),
    fields([['Time', time], ['Name', code === null ? event : `${event} (0x${code.toString(16)})`],
      ['Category', category === '' ? '' : `${category}: ${data.category_words[category] ?? ''}`],
      ['Tried', kind], ['Function or chain', detail, 'mono'], ['Acted on', target],
      ['Machine', host], ['Process, thread', `${pid}, ${tid}`],
      ['Lost before it', lost > 0 ? count_of(lost, 'event') : '']]),
    make('h3', {}, 'Request'),
    request.some(Boolean)
      ? fields(request.map((text, i) => [data.labels[i], text.trimEnd(), 'mono']))
      : make('p', {}, 'None: it was not made by a web request.'),
  ];
  if (words[3] !== '') body.push(make('h3', {}, 'What to do'), make('p', {}, words[3]));
  if (allow !== null && allow !== undefined) {
    if (allow[0] !== '') {
      body.push(make('p', {}, 'If the request is an ordinary one, this in the policy exempts it:'),
        make('pre', { tabindex: '0', 'aria-label': 'Allow entry' }, allow[0]));
    }
    body.push(...allow[1].map((text) => make('p', { class: 'hint' }, text)));
  }
  byId('detail-body').replaceChildren(...body);
  byId('detail').showModal();
  byId('detail-body').scrollTop = 0;
  byId('close').focus();
}

// ---- All of it -------------------------------------------------------------

const series_of = {
  category: () => ['code_execution', 'command_execution', 'file_access', 'deserialisation',
    'query_injection', ''],
  verdict: () => ['blocked', 'reported', 'logged'],
};
const shade_of = { category: [3, 1, 0, 2, 4, 5], verdict: [2, 1, 5] };

function show_charts() {
  const names = series_of[colours]();
  const list = colours === 'category' ? columns.categories : columns.verdicts;
  const label = colours === 'category' ? category_title : verdict_title;
  const used = names.map((name, i) => ({ name: label(name), shade: shade_of[colours][i],
    value: list.indexOf(name) })).filter((each) => each.value >= 0);
  // What this page has no name for is drawn with the records' colour.
  list.forEach((name, value) => {
    if (!names.includes(name)) used.push({ name: label(name), shade: 5, value });
  });
  const present = charts.over_time(byId('time-chart'), columns, matching, colours, used,
    (from, to) => {
      if (to - from < 1000) return;  // finer than the fields
      byId('from').value = new Date(from).toISOString().slice(0, 19);
      byId('to').value = new Date(to - 1000).toISOString().slice(0, 19);
      filter();
    });
  charts.legend(byId('time-legend'), present);
  const verdicts = columns.verdicts.map((name, value) => ({ value, name: verdict_title(name),
    shade: { blocked: 2, reported: 1 }[name] ?? 5 }));
  charts.legend(byId('category-legend'), charts.by_category(byId('category-chart'), columns,
    matching, verdicts, category_title, (category) => {
      byId('category').value = category;
      filter();
    }));
}

function show() {
  const all = columns.time.length;
  byId('status').textContent = `${number.format(matching.length)} of ${count_of(all, 'event')} shown`;
  show_chosen();
  show_top('sinks', 'sink', 'sinks');
  show_top('clients', 'client', 'clients');
  show_top('pages', 'page', 'pages');
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
    for (const column of Object.keys(chosen)) delete chosen[column];
    setTimeout(filter);
  });
  for (const name of ['category', 'verdict']) {
    byId(`by-${name}`).addEventListener('click', () => {
      colours = name;
      for (const each of ['category', 'verdict']) {
        byId(`by-${each}`).setAttribute('aria-pressed', String(each === name));
      }
      show_charts();
    });
  }
  byId('first').addEventListener('click', () => turn_to(0));
  byId('back').addEventListener('click', () => turn_to(page - 1));
  byId('next').addEventListener('click', () => turn_to(page + 1));
  byId('last').addEventListener('click', () => turn_to(Infinity));
  const row_of = (event) => event.target.closest('tr[data-row]');
  byId('rows').addEventListener('click', (event) => {
    const line = row_of(event);
    if (line && getSelection().isCollapsed) open_detail(Number(line.dataset.row));
  });
  byId('rows').addEventListener('keydown', (event) => {
    const line = row_of(event);
    if (!line) return;
    if (event.key === 'Enter' || event.key === ' ') open_detail(Number(line.dataset.row));
    else if (event.key === 'ArrowDown') line.nextElementSibling?.focus();
    else if (event.key === 'ArrowUp') line.previousElementSibling?.focus();
    else return;
    event.preventDefault();
  });
  byId('close').addEventListener('click', () => byId('detail').close());
  byId('detail').addEventListener('click', (event) => {
    if (event.target === byId('detail')) byId('detail').close();
  });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', show_charts);
}

async function start() {
  columns = await unpack(data.columns);
  delete data.columns;
  const fill = (id, names, label) => byId(id).append(...names.filter((name) => name !== '')
    .sort().map((name) => make('option', { value: name }, label(name))));
  fill('category', columns.categories, category_title);
  fill('verdict', columns.verdicts, verdict_title);
  show_numbers();
  show_chains();
  listen();
  filter();
  document.documentElement.dataset.ready = 'yes';
}

start();
