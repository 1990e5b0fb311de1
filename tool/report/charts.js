// The two charts. Their texts are names of the report's own; what an event says is
// never given to the library.
import { BarChart } from 'echarts/charts';
import { GridComponent, TooltipComponent } from 'echarts/components';
import { init, use } from 'echarts/core';
import { SVGRenderer } from 'echarts/renderers';
import { byId, make, number, span_of } from './words.js';

use([BarChart, GridComponent, TooltipComponent, SVGRenderer]);

const second = 1000;
const minute = 60 * second;
const day = 24 * 60 * minute;
const steps = [0.01, 0.05, 0.2, 1, 5, 15, 60, 300, 900, 3600, 10800, 21600]
  .map((seconds) => seconds * second)
  .concat(day, 7 * day, 30 * day);
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
      trigger: 'axis',
      renderMode: 'richText',
      confine: true,
      axisPointer: { type: 'shadow' },
      backgroundColor: colour('card'),
      borderColor: colour('line'),
      textStyle: { color: colour('ink'), fontSize: 13 },
    },
  };
}

const line_of = ({ seriesName, value }) => `${seriesName}: ${number.format(value)}`;
const lines_of = (head, points) =>
  [head, ...points.filter(({ value }) => value > 0).map(line_of)].join('\n');
const value_axis = () => ({
  type: 'value',
  minInterval: 1,
  axisLabel: { color: colour('soft'), hideOverlap: true },
  splitLine: { lineStyle: { color: colour('line') } },
});
const bars = (kind, data) => ({
  name: kind.name,
  type: 'bar',
  stack: 'all',
  data,
  barMaxWidth: 34,
  barCategoryGap: '22%',
  itemStyle: { color: colour(`c${kind.shade}`) },
  emphasis: { disabled: true },
});

// Each kind has the value of the column that it is about, a name and a shade.
export function over_time(events, column, kinds, clicked) {
  const element = byId('time-chart');
  const [least, most] = span_of(events);
  const room = Math.max(12, Math.floor(element.clientWidth / 16));
  const step =
    most < least
      ? minute
      : (steps.find((each) => (most - least) / each < room) ??
        Math.ceil((most - least) / room / day) * day);
  // A single moment gets neighbours, to look like a time line.
  const missing = most < least ? 0 : Math.max(0, 11 - Math.floor((most - least) / step));
  const start = most < least ? 0 : Math.floor(least / step) * step - Math.floor(missing / 2) * step;
  const count = most < least ? 0 : Math.floor((most - start) / step) + 1 + Math.ceil(missing / 2);
  const sums = new Map(kinds.map((kind) => [kind.value, new Array(count).fill(0)]));
  for (const event of events) {
    if (event.time !== null) ++sums.get(event[column])[Math.floor((event.time - start) / step)];
  }
  const present = kinds.filter((kind) => sums.get(kind.value).some((sum) => sum > 0));
  const text = (i, from, to) =>
    new Date(start + i * step).toISOString().replace('T', ' ').slice(from, to);
  const days = count > 0 && text(0, 0, 10) !== text(count - 1, 0, 10);
  const label = (i) =>
    step >= day
      ? text(i, 0, 10)
      : (days ? `${text(i, 5, 10)} ` : '') +
        text(i, 11, step < second ? 22 : step < minute ? 19 : 16);
  const chart = chart_in(element, (event) => {
    clicked(start + event.dataIndex * step, start + (event.dataIndex + 1) * step);
  });
  chart.setOption(
    {
      ...common(),
      grid: { left: 4, right: 8, top: 12, bottom: 2, containLabel: true },
      xAxis: {
        type: 'category',
        data: Array.from({ length: count }, (_, i) => label(i)),
        axisLabel: { color: colour('soft'), hideOverlap: true },
        axisLine: { lineStyle: { color: colour('line') } },
        axisTick: { show: false },
      },
      yAxis: value_axis(),
      series: present.map((kind) => bars(kind, sums.get(kind.value))),
      tooltip: {
        ...common().tooltip,
        formatter: (points) =>
          lines_of(`${text(points[0].dataIndex, 0, step < second ? 23 : 19)} UTC`, points),
      },
    },
    true,
  );
  const sum = ({ name, value }) => [name, sums.get(value).reduce((a, b) => a + b, 0)];
  const what = count === 0 ? 'Time line' : `Time line of ${number.format(events.length)} events`;
  describe(element, what, present.map(sum));
  legend('time-legend', present);
}

export function by_category(events, kinds, title, clicked) {
  const element = byId('category-chart');
  const sums = new Map();
  for (const { category, verdict } of events) {
    const sum = sums.get(category) ?? { name: category, total: 0, of: new Map() };
    ++sum.total;
    sum.of.set(verdict, (sum.of.get(verdict) ?? 0) + 1);
    sums.set(category, sum);
  }
  const shown = [...sums.values()].sort((a, b) => a.total - b.total);
  const present = kinds.filter((kind) => shown.some((each) => each.of.has(kind.value)));
  const chart = chart_in(element, (event) => clicked(shown[event.dataIndex].name));
  chart.setOption(
    {
      ...common(),
      grid: { left: 4, right: 18, top: 4, bottom: 2, containLabel: true },
      yAxis: {
        type: 'category',
        data: shown.map((each) => title(each.name)),
        axisLabel: { color: colour('ink'), fontSize: 13 },
        axisLine: { show: false },
        axisTick: { show: false },
      },
      xAxis: value_axis(),
      series: present.map((kind) =>
        bars(
          kind,
          shown.map((each) => each.of.get(kind.value) ?? 0),
        ),
      ),
      tooltip: {
        ...common().tooltip,
        formatter: (points) => lines_of(points[0].axisValue, points),
      },
    },
    true,
  );
  const totals = shown.map((each) => [title(each.name), each.total]).reverse();
  describe(element, 'Categories', totals);
  legend('category-legend', present);
}

function describe(element, what, sums) {
  const told = sums.map(([name, sum]) => `${name} ${number.format(sum)}`).join(', ');
  element.setAttribute('aria-label', `${what}: ${told || 'nothing to show'}`);
}

function legend(id, kinds) {
  const entry = ({ shade, name }) => make('li', { class: `m${shade}` }, make('i', {}), name);
  byId(id).replaceChildren(...kinds.map(entry));
}
