// The two charts. Their texts are names of the report's own; what an event says is
// never given to the library.
import { BarChart } from 'echarts/charts';
import { GridComponent, TooltipComponent } from 'echarts/components';
import { init, use } from 'echarts/core';
import { SVGRenderer } from 'echarts/renderers';

use([BarChart, GridComponent, TooltipComponent, SVGRenderer]);

const number = new Intl.NumberFormat('en');
const second = 1000;
const minute = 60 * second;
const hour = 60 * minute;
const day = 24 * hour;
const steps = [10, 50, 200, second, 5 * second, 15 * second, minute, 5 * minute, 15 * minute, hour, 3 * hour,
  6 * hour, day, 7 * day, 30 * day];
const made = new Map();

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}

// One chart for an element, as wide as it is.
function chart_in(element, clicked) {
  if (!made.has(element)) {
    const chart = init(element, null, { renderer: 'svg' });
    made.set(element, chart);
    new ResizeObserver(() => chart.resize()).observe(element);
  }
  const chart = made.get(element);
  chart.off('click');
  chart.on('click', clicked);
  return chart;
}

function common() {
  return {
    animation: false,
    textStyle: { fontFamily: getComputedStyle(document.body).fontFamily },
    tooltip: {
      trigger: 'axis', renderMode: 'richText', confine: true, axisPointer: { type: 'shadow' },
      backgroundColor: colour('card'), borderColor: colour('line'),
      textStyle: { color: colour('ink'), fontSize: 13 },
    },
  };
}

const lines_of = (head, points) => [head, ...points.filter((point) => point.value > 0)
  .map((point) => `${point.seriesName}: ${number.format(point.value)}`)].join('\n');
const value_axis = () => ({
  type: 'value', minInterval: 1, axisLabel: { color: colour('soft'), hideOverlap: true },
  splitLine: { lineStyle: { color: colour('line') } },
});
const bars = (kind, data) => ({
  name: kind.name, type: 'bar', stack: 'all', data, barMaxWidth: 34, barCategoryGap: '22%',
  itemStyle: { color: colour(`c${kind.shade}`) }, emphasis: { disabled: true },
});

// The kinds that are in the rows, for the legend.
export function over_time(element, columns, rows, column, kinds, clicked) {
  let least = Infinity;
  let most = -Infinity;
  for (const row of rows) {
    const time = columns.time[row];
    if (time === null) continue;
    if (time < least) least = time;
    if (time > most) most = time;
  }
  const room = Math.max(12, Math.floor(element.clientWidth / 16));
  const step = most < least ? minute
    : steps.find((each) => (most - least) / each < room)
      ?? Math.ceil((most - least) / room / day) * day;
  // A single moment gets neighbours, to look like a time line.
  const missing = most < least ? 0 : Math.max(0, 11 - Math.floor((most - least) / step));
  const start = most < least ? 0 : Math.floor(least / step) * step - Math.floor(missing / 2) * step;
  const count = most < least ? 0 : Math.floor((most - start) / step) + 1 + Math.ceil(missing / 2);
  const sums = new Map(kinds.map((kind) => [kind.value, new Array(count).fill(0)]));
  for (const row of rows) {
    const time = columns.time[row];
    if (time !== null) ++sums.get(columns[column][row])[Math.floor((time - start) / step)];
  }
  const present = kinds.filter((kind) => sums.get(kind.value).some((sum) => sum > 0));
  const text = (i, from, to) => new Date(start + i * step).toISOString().replace('T', ' ').slice(from, to);
  const days = count > 0 && text(0, 0, 10) !== text(count - 1, 0, 10);
  const label = (i) => (step >= day ? text(i, 0, 10)
    : (days ? `${text(i, 5, 10)} ` : '') + text(i, 11, step < second ? 22 : step < minute ? 19 : 16));
  const chart = chart_in(element, (event) => {
    clicked(start + event.dataIndex * step, start + (event.dataIndex + 1) * step);
  });
  chart.setOption({
    ...common(),
    grid: { left: 4, right: 8, top: 12, bottom: 2, containLabel: true },
    xAxis: {
      type: 'category', data: Array.from({ length: count }, (_, i) => label(i)),
      axisLabel: { color: colour('soft'), hideOverlap: true },
      axisLine: { lineStyle: { color: colour('line') } }, axisTick: { show: false },
    },
    yAxis: value_axis(),
    series: present.map((kind) => bars(kind, sums.get(kind.value))),
    tooltip: { ...common().tooltip,
      formatter: (points) => lines_of(`${text(points[0].dataIndex, 0, step < second ? 23 : 19)} UTC`, points) },
  }, true);
  element.setAttribute('aria-label', count === 0 ? 'Time line: nothing to show'
    : `Time line of ${number.format(rows.length)} events: ${present.map((kind) => `${kind.name} ${
      number.format(sums.get(kind.value).reduce((a, b) => a + b, 0))}`).join(', ')}`);
  return present;
}

export function by_category(element, columns, rows, kinds, title, clicked) {
  const sums = columns.categories.map(() => new Map());
  for (const row of rows) {
    const sum = sums[columns.category[row]];
    sum.set(columns.verdict[row], (sum.get(columns.verdict[row]) ?? 0) + 1);
  }
  const total = (sum) => [...sum.values()].reduce((a, b) => a + b, 0);
  const shown = sums.map((sum, i) => ({ sum, name: columns.categories[i] }))
    .filter((each) => total(each.sum) > 0).sort((a, b) => total(a.sum) - total(b.sum));
  const present = kinds.filter((kind) => shown.some((each) => each.sum.has(kind.value)));
  const chart = chart_in(element, (event) => clicked(shown[event.dataIndex].name));
  chart.setOption({
    ...common(),
    grid: { left: 4, right: 18, top: 4, bottom: 2, containLabel: true },
    yAxis: {
      type: 'category', data: shown.map((each) => title(each.name)),
      axisLabel: { color: colour('ink'), fontSize: 13 }, axisLine: { show: false },
      axisTick: { show: false },
    },
    xAxis: value_axis(),
    series: present.map((kind) => bars(kind, shown.map((each) => each.sum.get(kind.value) ?? 0))),
    tooltip: { ...common().tooltip, formatter: (points) => lines_of(points[0].axisValue, points) },
  }, true);
  element.setAttribute('aria-label', shown.length === 0 ? 'Categories: nothing to show'
    : `Categories: ${shown.map((each) => `${title(each.name)} ${number.format(total(each.sum))}`)
      .reverse().join(', ')}`);
  return present;
}

export function legend(list, kinds) {
  list.replaceChildren(...kinds.map((kind) => {
    const entry = document.createElement('li');
    const mark = document.createElement('i');
    entry.className = `m${kind.shade}`;
    entry.append(mark, kind.name);
    return entry;
  }));
}
