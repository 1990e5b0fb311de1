// The report's page, made by the tool from logs that are written here and looked at in
// a browser: report_test.mjs TOOL WORK-FOLDER [SCREENSHOT LOG]
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

const [tool, work, screenshot, screenshot_log] = process.argv.slice(2);
const { chromium } = createRequire(resolve(work, 'x.js'))('playwright-core');
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM,
  args: ['--no-sandbox'] });  // which a container may not have

// An event as the agent writes it.
function event(i, more = {}) {
  const names = [['command_execution', 'command_execution', 'system'],
    ['query_injection', 'sql_injection', 'PDO::query'], ['file_access', 'file_read', 'fopen']];
  const [category, name, detail] = names[i % names.length];
  const { request, ...rest } = more;
  return { time: new Date(Date.UTC(2026, 0, 5) + i * 5000).toISOString().replace('Z', '000Z'),
    host: 'web', pid: 7, tid: 7, event: name, code: 0x20011, category,
    verdict: i % 5 === 0 ? 'reported' : 'blocked', kind: 'execute_command', detail,
    target: 'command', subject: `subject ${i}`, ...rest,
    request: { server_name: 'www.example.org', script_path: '/srv/index.php',
      request_uri: `/page${i % 7}.php?id=${i}`, query_string: `id=subject ${i}`,
      request_method: 'GET', remote_addr: `192.0.2.${i % 9}`, user_agent: '', referer: '',
      cookie: '', forwarded_for: '', content_type: '', reserved: '', upload_file_name: '',
      stack_trace: `${detail}(subject ${i})\nrun(1)\n`, ...request } };
}

function report(name, events) {
  const log = join(work, `${name}.jsonl`);
  writeFileSync(log, events.map((each) => `${JSON.stringify(each)}\n`).join(''));
  execFileSync(tool, ['report', log, '-o', join(work, `${name}.html`)], { stdio: 'pipe' });
  return join(work, `${name}.html`);
}

// Opens a report. Whatever the page asks of the network, says on the console or pops up
// is an error.
async function open(file, options = {}) {
  const page = await browser.newPage({ viewport: { width: 1280, height: 900 }, ...options });
  const wrong = [];
  page.on('console', (message) => wrong.push(message.text()));
  page.on('pageerror', (error) => wrong.push(error.message));
  page.on('dialog', (dialog) => { wrong.push(dialog.message()); dialog.dismiss(); });
  page.on('request', (request) => {
    if (!request.isNavigationRequest()) wrong.push(request.url());
  });
  const start = Date.now();
  await page.goto(pathToFileURL(file).href);
  await page.waitForSelector('html[data-ready]', { timeout: 120000 });
  return { page, wrong, took: Date.now() - start };
}

const bars = (page, id) => page.locator(`#${id} svg path`).count();
const rows = (page) => page.locator('#rows tr').count();
const status = (page) => page.locator('#status').textContent();

async function overview() {
  const { page, wrong } = await open(report('plain', Array.from({ length: 240 }, (_, i) => event(i))));
  assert.ok(await bars(page, 'time-chart') > 20 && await bars(page, 'category-chart') > 3, 'charts');
  assert.equal(await rows(page), 50);
  assert.match(await page.locator('#pages').textContent(), /\/page0\.php/);
  assert.match(await page.locator('#chains').textContent(), /run\(1\)system\(subject 0\)/);
  await page.fill('#search', 'Subject 17');
  await page.waitForFunction(() => document.querySelector('#status').textContent.startsWith('13 '));
  await page.selectOption('#category', 'file_access');
  assert.match(await status(page), /^5 of 240/);  // 17, 170, 173, 176 and 179
  await page.click('#reset');
  await page.selectOption('#verdict', 'reported');
  assert.match(await status(page), /^48 of 240/);
  await page.selectOption('#verdict', '');
  await page.fill('#from', '2026-01-05T00:19:50');
  await page.dispatchEvent('#from', 'change');
  assert.match(await status(page), /^2 of 240/);
  await page.click('#reset');
  await page.click('#next');
  assert.match(await page.locator('#range').textContent(), /^51 to 100 of 240/);
  await page.click('#sort-time');
  assert.match(await page.locator('#rows tr').first().textContent(), /00:00:00.*subject 0/);
  // By keyboard: the next row, open it, close it, and be back where one was.
  await page.locator('#rows tr').first().focus();
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await page.waitForSelector('#detail[open]');
  const detail = await page.locator('#detail-body').textContent();
  for (const part of ['subject 1', '/page1.php?id=1', 'uri_prefix = "/page1.php"',
    'client = "192.0.2.1"', 'exactly this value', 'prepared statements']) {
    assert.ok(detail.includes(part), `${part} in: ${detail}`);
  }
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate(() => document.activeElement.dataset.row), '1');
  assert.deepEqual(wrong, []);
}

async function hostile() {
  const attacks = ['<script>alert(1)</script>', '<img src=hostile onerror=alert(1)>',
    '</script><script>alert(2)</script>', '<!--<script>', 'javascript:alert(3)',
    'abc\u202Egnp.exe', 'x'.repeat(100000), '\u0000\u001b[2J', '__proto__', '{a|b}', '"><svg onload=alert(4)>'];
  const events = attacks.map((text, i) => event(i, { subject: text, event: 'command_execution',
    category: 'command_execution', detail: text, verdict: 'reported',
    request: { ...Object.fromEntries(['server_name', 'user_agent', 'referer', 'cookie',
      'remote_addr', 'query_string'].map((name) => [name, text])), request_uri: `/${text}`,
    stack_trace: `system(${text})\n` } }));
  events.push(event(20, { subject: 'a\ufffd', raw: { subject: 'Yf8=' }, category: '<b>', event: '<i>',
    verdict: '<u>' }));
  const { page, wrong } = await open(report('hostile', events));
  assert.equal(await page.locator('script').count(), 1, 'no element of theirs');
  assert.equal(await page.locator('img, b, i:not(.legend i), u, a:not(.skip), [onload], [onerror]').count(), 0);
  assert.match(await page.locator('#rows').textContent(), /a\\xff/);
  assert.match(await page.locator('#rows').textContent(), /abc\\u\{202e\}gnp\.exe/);
  for (let row = 0; row < events.length; ++row) {
    await page.locator('#rows tr').nth(row).focus();
    await page.keyboard.press('Enter');
    await page.waitForSelector('#detail[open]');
    const text = await page.locator('#detail-body').textContent();
    assert.doesNotMatch(text, /[\u0000-\u0009\u001b\u202e]/);
    if (row === events.length - 1 - 6) assert.ok(text.includes('x'.repeat(100000)), 'all of it');
    await page.keyboard.press('Escape');
  }
  await page.hover('#time-chart', { position: { x: 640, y: 120 } });
  assert.deepEqual(wrong, []);
}

async function small() {
  for (const [name, events, told] of [['none', [], /hold no events/], ['one', [event(0)], /^$/]]) {
    const { page, wrong } = await open(report(name, events), { viewport: { width: 360, height: 740 },
      colorScheme: 'dark' });
    assert.match(await page.locator('#none').textContent(), told);
    assert.deepEqual(wrong, []);
  }
  const wide = [event(0, { subject: 'w'.repeat(900), request: { request_uri: `/${'u'.repeat(900)}` } })];
  const { page } = await open(report('wide', wide), { viewport: { width: 360, height: 740 } });
  const fits = () => page.evaluate(() => document.documentElement.scrollWidth <= innerWidth);
  assert.ok(await fits(), 'no scrolling to the side');
  await page.locator('#rows tr').first().click();
  await page.waitForSelector('#detail[open]');
  assert.ok(await fits() && await page.locator('#detail-body').evaluate(
    (body) => body.scrollWidth <= body.clientWidth), 'nor in an event');
}

async function large() {
  for (const count of [1000, 100000]) {
    const file = report(`many-${count}`, Array.from({ length: count }, (_, i) => event(i)));
    const { page, wrong, took } = await open(file);
    console.log(`${count} events: open after ${took} ms`);
    assert.match(await status(page), new RegExp(`of ${count.toLocaleString('en')} events`));
    await page.click('#last');
    assert.ok(await rows(page) > 0);
    assert.deepEqual(wrong, []);
    await page.close();
  }
}

try {
  if (screenshot) {
    const file = join(work, 'screenshot.html');
    execFileSync(tool, ['report', screenshot_log, '-o', file], { stdio: 'inherit' });
    const { page } = await open(file);
    const height = await page.locator('#chains').evaluate((list) => list.getBoundingClientRect().top + 150);
    await page.screenshot({ path: screenshot, fullPage: true, clip: { x: 0, y: 0, width: 1280, height } });
  } else {
    for (const test of [overview, hostile, small, large]) {
      await test();
      console.log(`${test.name}: passed`);
    }
  }
} finally {
  await browser.close();
}
