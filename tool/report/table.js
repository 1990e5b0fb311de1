// The table of the events. The library filters, sorts and pages; it never sees the document.
import * as tanstack from '@tanstack/table-core';
import { storeReactivityBindings } from '@tanstack/table-core/store-reactivity-bindings';
import { badge, byId, make, moment, number, title } from './words.js';

const features = tanstack.tableFeatures({
  coreReactivityFeature: storeReactivityBindings(),
  columnFilteringFeature: tanstack.columnFilteringFeature,
  rowSortingFeature: tanstack.rowSortingFeature,
  rowPaginationFeature: tanstack.rowPaginationFeature,
  filteredRowModel: tanstack.createFilteredRowModel(),
  sortedRowModel: tanstack.createSortedRowModel(),
  paginatedRowModel: tanstack.createPaginatedRowModel(),
});

const one_of = (row, id, values) => values.includes(row.original[id]);
const within = ({ original: { time } }, _, [from, to]) =>
  time !== null && time >= from && time < to;

function has_words({ original: { subject, client, page, sink, event, category } }, _, words) {
  const texts = [subject, client, page, sink, title(event), event, category];
  const text = texts.join('\n').toLowerCase();
  return words.every((word) => text.includes(word));
}

// What is alike stays in the order of the log, or in the opposite one.
function in_order(a, b, id) {
  const [left, right] = [a.original[id], b.original[id]];
  return left === right ? a.index - b.index : left < right ? -1 : 1;
}

const shown = [
  { id: 'time', header: 'Time (UTC)', kind: 'num', cell: ({ time }) => moment(time) },
  { id: 'verdict', header: 'Verdict', cell: ({ verdict }) => badge(verdict) },
  { id: 'event', header: 'Event', cell: ({ event }) => title(event) },
  { id: 'sink', header: 'Function', kind: 'mono' },
  { id: 'subject', header: 'Subject', kind: 'mono subject' },
  { id: 'client', header: 'Client', kind: 'num' },
  { id: 'page', header: 'Page', cell: ({ method, page }) => `${method} ${page}`.trim() },
];
const pager = {
  first: ['firstPage', 'getCanPreviousPage'],
  back: ['previousPage', 'getCanPreviousPage'],
  next: ['nextPage', 'getCanNextPage'],
  last: ['lastPage', 'getCanNextPage'],
};
let table;

export function make_table(events, open) {
  const more = { time: { filterFn: within, sortDescFirst: true } };
  table = tanstack.constructTable({
    features,
    data: events,
    columns: [
      ...shown.map(({ id }) => ({ id, accessorKey: id, ...more[id] })),
      { id: 'category', accessorKey: 'category' },
      { id: 'text', filterFn: has_words },
    ],
    defaultColumn: { filterFn: one_of, sortFn: in_order, sortDescFirst: false },
    enableSortingRemoval: false,
    initialState: {
      sorting: [{ id: 'time', desc: true }],
      pagination: { pageIndex: 0, pageSize: 50 },
    },
  });
  const sort_button = ({ id, header }) =>
    make('button', { type: 'button', id: `sort-${id}`, onclick: () => sort_by(id) }, header);
  byId('columns').append(
    ...shown.map((column) => make('th', { scope: 'col' }, sort_button(column))),
  );
  for (const [id, [turn]] of Object.entries(pager)) {
    byId(id).addEventListener('click', () => {
      table[turn]();
      show_table();
      byId('events').scrollIntoView();
    });
  }
  const row_of = (event) => event.target.closest('tr[data-row]');
  byId('rows').addEventListener('click', (event) => {
    const line = row_of(event);
    if (line && getSelection().isCollapsed) open(Number(line.dataset.row));
  });
  byId('rows').addEventListener('keydown', (event) => {
    const line = row_of(event);
    if (!line) return;
    if (event.key === 'Enter' || event.key === ' ') open(Number(line.dataset.row));
    else if (event.key === 'ArrowDown') line.nextElementSibling?.focus();
    else if (event.key === 'ArrowUp') line.previousElementSibling?.focus();
    else return;
    event.preventDefault();
  });
}

function sort_by(id) {
  table.getColumn(id).toggleSorting();
  table.firstPage();
  show_table();
}

// A filter for each column, the texts of one event together being one; undefined lets
// every event pass.
export function filter_table(filters) {
  table.setColumnFilters(Object.entries(filters).map(([id, value]) => ({ id, value })));
  table.firstPage();
  return table.getFilteredRowModel().rows.map((row) => row.original);
}

function cell_of({ kind, id, cell }, event) {
  const content = cell ? cell(event) : event[id];
  const tip = typeof content === 'string' ? content : undefined;
  return make('td', { class: kind, title: tip }, content);
}

export function show_table() {
  for (const { id } of shown) {
    const order = { asc: 'ascending', desc: 'descending' }[table.getColumn(id).getIsSorted()];
    byId(`sort-${id}`).parentElement.setAttribute('aria-sort', order ?? 'none');
  }
  const { rows } = table.getRowModel();
  byId('rows').replaceChildren(
    ...rows.map(({ original: event }) =>
      make(
        'tr',
        { tabindex: '0', 'data-row': event.row, 'aria-haspopup': 'dialog' },
        ...shown.map((column) => cell_of(column, event)),
      ),
    ),
  );
  const total = table.getRowCount();
  const pages = table.getPageCount();
  const { pageIndex, pageSize } = table.store.state.pagination;
  const start = pageIndex * pageSize;
  byId('table').hidden = total === 0;
  byId('none').hidden = total > 0;
  byId('range').textContent =
    total === 0
      ? ''
      : `${number.format(start + 1)} to ${number.format(start + rows.length)} of ${number.format(total)}`;
  byId('page').textContent = `Page ${number.format(pageIndex + 1)} of ${number.format(pages)}`;
  byId('pager').hidden = pages < 2;
  for (const [id, [, can]] of Object.entries(pager)) byId(id).disabled = !table[can]();
}
