// Drives the catalogue in headless Chromium, from its files: links, search, themes, a phone's width,
// keyboard, print, and accessibility by axe.
// Usage: node catalogue_test.mjs CATALOGUE CHROMIUM
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { resolve } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const [catalogue, executablePath] = process.argv.slice(2);
const site = `${pathToFileURL(resolve(catalogue))}/`;
const axe = createRequire(import.meta.url).resolve('axe-core/axe.min.js');

const start = 'index.html';
const table = 'contracts/ovix.telemetry.contract.storage.device_profile.HwBattery.html';
const payload = 'contracts/ovix.telemetry.contract.upload.analytics.PcAppInventorySummaryAsCDM.html';
const list = 'privacy.html';
const wide = { width: 1280, height: 900 };
const phone = { width: 360, height: 740 };

let browser;
before(async () => {
  // The sandbox of Chromium refuses root, who runs the tests in a container.
  browser = await chromium.launch({ executablePath, chromiumSandbox: false });
});
after(() => browser.close());

// A page of a new visitor. What it must not do is in its `faults`: errors, and requests that leave
// the catalogue.
async function visit(address, options = {}) {
  const context = await browser.newContext({ viewport: wide, colorScheme: 'light', ...options });
  const page = await context.newPage();
  page.faults = [];
  page.on('console', (message) => {
    if (['error', 'warning'].includes(message.type())) page.faults.push(message.text());
  });
  page.on('pageerror', (error) => page.faults.push(String(error)));
  page.on('requestfailed', (request) => page.faults.push(`failed: ${request.url()}`));
  page.on('request', (request) => {
    if (!request.url().startsWith(site) && !request.url().startsWith('data:')) {
      page.faults.push(`leaves the catalogue: ${request.url()}`);
    }
  });
  await page.goto(site + address, { waitUntil: 'domcontentloaded' });
  return page;
}

async function leave(page) {
  assert.deepEqual(page.faults, []);
  await page.context().close();
}

async function searchFor(page, query) {
  await page.keyboard.press('/');
  await page.keyboard.type(query);
  await page.waitForFunction(() => document.querySelector('[role=status]').textContent !== '');
}

const options = (page) => page.locator('[role=option]');
const background = (page) => page.evaluate(() => getComputedStyle(document.body).backgroundColor);

test('every page: links and anchors resolve, nothing is wider than a phone', async () => {
  const page = await visit(start, { viewport: phone });
  const anchors = new Map();  // by address, without the site's
  const links = new Map();    // one page that has the link, by the link's address
  const rows = new Set();
  const waiting = [start];
  while (waiting.length > 0) {
    const address = waiting.pop();
    if (anchors.has(address)) continue;
    if (anchors.size > 0) await page.goto(site + address, { waitUntil: 'domcontentloaded' });
    const seen = await page.evaluate(() => ({
      ids: [...document.querySelectorAll('[id]')].map((element) => element.id),
      rows: [...document.querySelectorAll('.fields tbody tr, .nested')].map((row) => row.id),
      links: [...document.links].map((link) => link.href),
      overflow: document.documentElement.scrollWidth - innerWidth,
      handlers: [...document.querySelectorAll('*')].flatMap((element) => element.getAttributeNames())
        .filter((name) => name.startsWith('on') || name === 'style').length,
      scripts: [...document.scripts].filter((script) => !script.src).length,
      headings: document.querySelectorAll('h1').length,
    }));
    const { ids, overflow, handlers, scripts, headings } = seen;
    assert.deepEqual({ overflow, handlers, scripts, headings },
      { overflow: 0, handlers: 0, scripts: 0, headings: 1 }, address);
    assert.equal(new Set(ids).size, ids.length, `${address}: an id stands twice`);
    anchors.set(address, new Set(ids));
    for (const id of seen.rows) rows.add(`${address}#${id}`);
    for (const link of seen.links) {
      assert.ok(link.startsWith(site), `${address} links to ${link}`);
      const target = link.slice(site.length);
      if (!links.has(target)) links.set(target, address);
      waiting.push(target.split('#')[0]);
    }
  }
  for (const [target, address] of links) {
    const [file, anchor] = target.split('#');
    assert.ok(!anchor || anchors.get(file).has(decodeURIComponent(anchor)), `${address}: ${target}`);
  }
  const written = readFileSync(`${catalogue}/files.txt`, 'utf8').split('\n')
    .filter((file) => file.endsWith('.html'));
  assert.deepEqual([...anchors.keys()].sort(), written.sort(), 'pages that no link leads to');

  // The search knows them all.
  await page.addScriptTag({ url: `${site}assets/index.js` });
  const indexed = await page.evaluate(() => window.ovixCatalogue.entries.map(
    ([, , place, anchor]) => `contracts/${window.ovixCatalogue.pages[place]}#${anchor}`));
  assert.deepEqual(indexed.filter((entry) => !entry.endsWith('#')).sort(), [...rows].sort());
  // All but the start page and that of personal data.
  assert.equal(indexed.filter((entry) => entry.endsWith('#')).length, written.length - 2);
  await leave(page);
});

test('search finds names, fields, guns and comments, by keyboard alone', async () => {
  const health = 'ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM.html';
  const cases = [
    ['HwBattery', 'storage.device_profile.HwBattery.html'],
    ['batteryhealthlog.cycle_count', 'storage.device_health.BatteryHealthLog.html#cycle_count'],
    ['battery health log serial', 'storage.device_health.BatteryHealthLog.html#serial_number'],
    ['pcLogHwBatteryHealth', health],
    ['com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1', health],
    ['offset can be negative', 'DeviceLocation.html#current_time_zone'],
    ['privacy:location time_zone', 'storage.device_profile.DeviceLocation.html#current_time_zone'],
    ['privacy:loc', 'storage.device_profile.DeviceLocation.html'],
    ['OS_ARCH_64_BITS', 'OSArchitecture.html#OS_ARCH_64_BITS'],
  ];
  const page = await visit(table);
  for (const [query, expected] of cases) {
    // A page that no case looks for: what is waited for is not there yet.
    await page.goto(site + start);
    await searchFor(page, query);
    const found = await options(page).evaluateAll((all) => all.map((option) => option.href));
    const place = found.findIndex((href) => href.endsWith(expected));
    assert.ok(place >= 0 && place < 5, `${query}: ${expected} is not among the first of ${found}`);
    for (let i = 0; i < place; ++i) await page.keyboard.press('ArrowDown');
    const active = await page.getAttribute('#page-search', 'aria-activedescendant');
    assert.equal(await page.evaluate((id) => document.getElementById(id).href, active), found[place]);
    await page.keyboard.press('Enter');
    await page.waitForURL((url) => url.href.endsWith(expected));
    if (expected.includes('#')) {
      // In sight, below the bar.
      const bar = await page.locator('.bar').boundingBox();
      const row = await page.locator(':target').boundingBox();
      assert.ok(row.y >= bar.height && row.y < wide.height, `${expected} is at ${row.y}`);
    }
  }
  await leave(page);
});

test('search: no result, markup, Escape, wrapping round, the page it is on', async () => {
  const page = await visit(table);
  await searchFor(page, 'zzz <img src=x>');
  assert.match(await page.textContent('[role=status]'), /^Nothing/);
  assert.equal(await page.locator('.panel img').count(), 0);
  await page.keyboard.press('Escape');
  assert.equal(await page.isVisible('.panel'), false);
  assert.equal(await page.inputValue('#page-search'), '');
  await page.keyboard.type('hwbattery.');
  await options(page).first().waitFor();
  await page.keyboard.press('ArrowUp');
  const last = await options(page).count() - 1;
  assert.equal(await options(page).nth(last).getAttribute('aria-selected'), 'true');
  await page.keyboard.press('ArrowDown');
  assert.equal(await options(page).first().getAttribute('aria-selected'), 'true');
  assert.equal(await page.locator('[aria-selected=true]').count(), 1);
  await page.fill('#page-search', 'HwBattery.energy_design');
  await page.keyboard.press('Enter');
  await page.waitForURL(/#energy_design$/);
  assert.equal(await page.isVisible('.panel'), false);
  // A slash in the search is a slash.
  await page.keyboard.press('/');
  await page.keyboard.type('a/b');
  assert.equal(await page.inputValue('#page-search'), 'a/b');
  await page.mouse.click(5, 500);
  assert.equal(await page.isVisible('.panel'), false);
  await leave(page);
});

test('search: a privacy class takes its fields and the contracts that have them', async () => {
  const page = await visit(table);
  const count = async (query) => {
    await page.fill('#page-search', query);
    await page.waitForFunction(() => /result|^Nothing/.test(
      document.querySelector('.search [role=status]').textContent));
    return parseInt(await page.textContent('.search [role=status]'), 10) || 0;
  };
  const classes = ['identifier', 'location', 'content', 'interaction'];
  const byClass = [];
  for (const name of classes) byClass.push(await count(`privacy:${name}`));
  assert.ok(byClass.every((number) => number > 5), String(byClass));
  assert.ok(await count('privacy:') > Math.max(...byClass));
  assert.equal(await count('privacy:identifier serial_number privacy:location'), 0);
  assert.equal(await count('privacy:nonsense'), 0);
  assert.ok(await count('privacy:identifier serial_number') < await count('serial_number'));
  await leave(page);
});

test('personal data: filtered by class and kind, by a link, and whole without scripts', async () => {
  const page = await visit(list);
  const rows = () => page.locator('.personal [data-privacy]').evaluateAll((all) => all
    .filter((row) => row.checkVisibility())
    .map((row) => `${row.dataset.privacy} ${row.parentElement.dataset.kind}`));
  const status = () => page.textContent('.filter [role=status]');
  const all = await rows();
  assert.equal((await status()).split(' ')[0], String(all.length));
  await page.getByLabel('identifier').focus();
  await page.keyboard.press('Space');
  assert.deepEqual(await rows(), all.filter((row) => !row.startsWith('identifier')));
  await page.getByLabel('in tables').uncheck();
  const left = all.filter((row) => !row.startsWith('identifier') && row.endsWith('payload'));
  assert.deepEqual(await rows(), left);
  assert.equal((await status()).split(' ')[0], String(left.length));
  // No heading is left without rows.
  const empty = await page.locator('.personal tbody').evaluateAll((groups) => groups.filter((group) =>
    group.checkVisibility() && ![...group.querySelectorAll('[data-privacy]')].some(
      (row) => row.checkVisibility())).length);
  assert.equal(empty, 0);
  for (const name of ['location', 'content', 'interaction']) await page.getByLabel(name).uncheck();
  assert.deepEqual(await rows(), []);
  assert.match(await status(), /^0 fields/);

  // The label of a field leads here, to its class.
  await page.goto(site + table);
  await page.locator('#serial_number .privacy').click();
  await page.waitForURL(/privacy\.html#class-identifier$/);
  assert.deepEqual(new Set((await rows()).map((row) => row.split(' ')[0])), new Set(['identifier']));
  await leave(page);

  const plain = await visit(list, { javaScriptEnabled: false });
  assert.equal(await plain.isVisible('.filter'), false);
  assert.equal(await plain.locator('.personal [data-privacy]:visible').count(), all.length);
  await leave(plain);
});

test('themes: the system\'s, the reader\'s, and without a storage', async () => {
  const light = await visit(start, { colorScheme: 'light' });
  const dark = await visit(start, { colorScheme: 'dark' });
  const [paper, night] = [await background(light), await background(dark)];
  assert.notEqual(paper, night);
  assert.equal(await light.getAttribute('.theme', 'aria-label'), 'Switch to the dark theme');
  assert.equal(await dark.getAttribute('.theme', 'aria-label'), 'Switch to the light theme');
  await light.click('.theme');
  assert.equal(await background(light), night);
  await light.goto(site + table);
  assert.equal(await background(light), night, 'the choice is kept');
  await light.focus('.theme');
  await light.keyboard.press('Enter');
  assert.equal(await background(light), paper);
  await light.emulateMedia({ colorScheme: 'dark' });
  assert.equal(await background(light), night, 'back at the system\'s, it follows that');
  await leave(light);
  await leave(dark);

  const context = await browser.newContext({ colorScheme: 'light' });
  await context.addInitScript(() => Object.defineProperty(window, 'localStorage', {
    get() { throw new DOMException('forbidden', 'SecurityError'); },
  }));
  const page = await context.newPage();
  page.on('pageerror', (error) => assert.fail(String(error)));
  await page.goto(site + start);
  await page.click('.theme');
  assert.equal(await background(page), night);
  await context.close();
});

test('keyboard: the skip link, and a focus that is seen', async () => {
  const page = await visit(table);
  await page.keyboard.press('Tab');
  assert.equal(await page.evaluate(() => document.activeElement.className), 'skip');
  assert.ok((await page.locator('.skip').boundingBox()).y >= 0);
  const unseen = [];
  let stops = 0;
  for (; await page.evaluate(() => document.activeElement !== document.body); ++stops) {
    unseen.push(...await page.evaluate(() => {
      const style = getComputedStyle(document.activeElement);
      const seen = style.outlineStyle !== 'none' && parseFloat(style.outlineWidth) >= 2;
      return seen ? [] : [document.activeElement.outerHTML.slice(0, 120)];
    }));
    await page.keyboard.press('Tab');
  }
  assert.deepEqual(unseen, []);
  assert.ok(stops > 20, `only ${stops} stops`);
  await page.focus('.skip');
  await page.keyboard.press('Enter');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'page-main');
  await leave(page);
});

test('without scripts: everything but the search and the button', async () => {
  const page = await visit(payload, { javaScriptEnabled: false });
  assert.equal(await page.isVisible('.search'), false);
  assert.equal(await page.isVisible('.theme'), false);
  assert.ok(await page.isVisible('#version'));
  await leave(page);
});

test('print: the contents alone, dark on white', async () => {
  const page = await visit(table, { colorScheme: 'dark' });
  await page.emulateMedia({ media: 'print', colorScheme: 'dark' });
  assert.equal(await background(page), 'rgb(255, 255, 255)');
  for (const [selector, shown] of [['.bar', false], ['.crumbs', false], ['h1', true],
    ['.facts', true], ['#serial_number', true], ['thead', true]]) {
    assert.equal(await page.isVisible(selector), shown, selector);
  }
  assert.ok((await page.pdf({ format: 'A4' })).length > 10_000);
  await leave(page);
});

test('accessibility: no violation that axe knows', async () => {
  const states = [];
  for (const address of [start, table, payload]) {
    states.push([address, { colorScheme: 'light' }], [address, { colorScheme: 'dark' }]);
  }
  // Of the list the colours of the dark theme, and one class of it on a phone, for it is long.
  states.push([table, { viewport: phone }], [list, { colorScheme: 'dark' }],
    [`${list}#class-location`, { viewport: phone }], [table, {}, 'battery'],
    [table, {}, 'privacy:'],
    [table, { colorScheme: 'dark' }, 'battery']);
  for (const [address, options, query] of states) {
    const page = await visit(address, options);
    if (query) await searchFor(page, query);
    await page.addScriptTag({ path: axe });
    const { violations, passes } = await page.evaluate(
      () => window.axe.run({ preload: false, resultTypes: ['violations'] }));
    assert.ok(passes.length > 20, `axe looked at ${passes.length} rules only`);
    assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.length, nodes[0].html]), [],
      `${address} ${JSON.stringify(options)} ${query ?? ''}`);
    await leave(page);
  }
});
