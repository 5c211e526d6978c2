// Drives the catalogue in headless Chromium, from its files: links, search, navigation, what can be
// copied, themes, a phone's width, keyboard, print, and accessibility by axe.
// Usage: node catalogue_test.mjs CATALOGUE CHROMIUM OVIX_CONTRACTS
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readdirSync, readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { resolve } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const [catalogue, executablePath, tool] = process.argv.slice(2);
const site = `${pathToFileURL(resolve(catalogue))}/`;
const axe = createRequire(import.meta.url).resolve('axe-core/axe.min.js');

const start = 'index.html';
const table = 'contracts/ovix.telemetry.contract.storage.device_profile.HwBattery.html';
const payload = 'contracts/ovix.telemetry.contract.upload.analytics.PcAppInventorySummaryAsCDM.html';
const list = 'privacy.html';
// Far down in the list of all contracts.
const part = 'contracts/ovix.telemetry.contract.upload.device_profile.HwTrustedPlatformModule.html';
const enumeration = 'contracts/ovix.telemetry.contract.storage.device_profile.OSArchitecture.html';
const wide = { width: 1280, height: 900 };
const phone = { width: 320, height: 640 };

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
    assert.equal(new Set(ids).size, ids.length, `${address}: an id appears twice`);
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
    ['ovix.telemetry.contract.storage.device_profile.HwBattery', 'device_profile.HwBattery.html'],
    ['device_profile.hwbattery.serial_number', 'device_profile.HwBattery.html#serial_number'],
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
  // What was pasted by mistake: each word is looked for once.
  await page.fill('#page-search', 'lorem ipsum dolor '.repeat(5000));
  await page.focus('#page-search');
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

// Searches without the keyboard: the hits, and what is said of them.
async function resultsOf(page, query) {
  await page.focus('#page-search');
  await page.waitForFunction(() => window.ovixCatalogue);
  await page.fill('#page-search', '');
  await page.fill('#page-search', query);
  return {
    hits: await options(page).evaluateAll((all) => all.map((option) => ({
      href: option.href, text: option.innerText.replace(/\s+/g, ' ').trim(),
    }))),
    status: await page.textContent('.search [role=status]'),
  };
}

test('search: a word of a similar spelling is found, after those that are spelled so', async () => {
  const log = 'storage.device_health.BatteryHealthLog.html';
  const cases = [  // the query, the first hit, what is said
    ['battry', log, /^No exact match: /],  // a letter less
    ['batttery', log, /^No exact match: /],  // one more
    ['batrery', log, /^No exact match: /],  // another
    ['btatery', log, /^No exact match: /],  // two that changed places
    ['battr', log, /^No exact match: /],  // not typed to its end
    ['battry health', log, /^No exact match: /],
    ['BatteryHealthLog.cycl_count', `${log}#cycle_count`, /^No exact match: /],
    ['pcLogHwBatteryHelth', 'HwBatteryHealthLogAsCDM.html', /^No exact match: /],
    ['tmprature', 'TemperatureSensor.html', /^No exact match: /],  // two edits of a long word
    ['tmprture', null, /^Nothing/],  // three
    ['bttry', null, /^Nothing has this.* Did you mean “battery”\?$/],  // two of a short one
    ['usv', null, /^Nothing/],  // too short for any
    ['battery qqqqqq', null, /Did you mean “battery”\?$/],
    ['privacy:locaton', null, /Did you mean “privacy:location”\?$/],
    ['qqqqqq', null, /^Nothing has this in its name or comment\.$/],
    ['swell', 'BatteryCellSwellProtectionLog.html', /^\d+ results, the last \d+ with a similar spelling$/],
    ['HwBattery', 'storage.device_profile.HwBattery.html', /^\d+ results$/],
  ];
  const page = await visit(table);
  for (const [query, first, said] of cases) {
    const { hits, status } = await resultsOf(page, query);
    assert.match(status, said, query);
    if (first) assert.ok(hits[0].href.endsWith(first), `${query}: ${hits[0].href}`);
  }
  // The suggestion is a result that searches.
  await resultsOf(page, 'bttry');
  await page.keyboard.press('Enter');
  assert.equal(await page.inputValue('#page-search'), 'battery');
  assert.match(await page.textContent('.search [role=status]'), /^\d+ results$/);
  assert.equal(await page.locator('[aria-selected=true]').count(), 1);
  // Spelled so before spelled nearly so: from the first of the latter on no hit has the word.
  const { hits, status } = await resultsOf(page, 'swell');
  const [all, last] = status.match(/\d+/g).map(Number);
  assert.deepEqual(hits.map(({ text }) => /swell/i.test(text)),
    hits.map((hit, place) => place < all - last));
  await leave(page);
});

test('search: a contract is one hit, which says what matched', async () => {
  const page = await visit(table);
  for (const query of ['battery', 'serial_number', 'time', 'battry', 'privacy:', 'events', 'a']) {
    const { hits } = await resultsOf(page, query);
    const pages = hits.map(({ href }) => href.split('#')[0]);
    assert.ok(pages.length > 3, query);
    assert.equal(new Set(pages).size, pages.length, query);
  }
  const textOf = async (query, end) => {
    const { hits } = await resultsOf(page, query);
    return hits.find(({ href }) => href.endsWith(end))?.text ?? `not in ${JSON.stringify(hits)}`;
  };
  assert.match(await textOf('serial_number', 'storage.device_profile.HwBattery.html#serial_number'),
    /^TABLE HwBattery DeviceProfile · identifier field serial_number/);
  assert.match(await textOf('battery', 'BatteryHealthLog.html'), / In it: battery_status, /);
  assert.match(await textOf('cycle_count serial_number', 'storage.device_health.BatteryHealthLog.html'),
    / In it: .*cycle_count/, 'the words are those of two fields');
  assert.match(await textOf('voltage', 'BatteryUsageEvent.html#voltage'), / field voltage .*Also: voltage_/);
  assert.match(await textOf('OS_ARCH_64_BITS', '#OS_ARCH_64_BITS'), /^ENUMERATION .* value OS_ARCH_64_BITS/);
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

const unescaped = (html) => html.replaceAll('&lt;', '<').replaceAll('&gt;', '>')
  .replaceAll('&quot;', '"').replaceAll('&amp;', '&');
// A block of text on a page, by its id; without one undefined.
const block = (address, id) => {
  const found = readFileSync(`${catalogue}/${address}`, 'utf8')
    .match(new RegExp(`<pre id="page-${id}"[^>]*>([^<]*)</pre>`));
  return found ? unescaped(found[1]) : undefined;
};

test('texts: the SQL is that of ddl, the sample that of sample and decode', () => {
  const run = (input, ...args) => execFileSync(tool, args,
    { encoding: 'utf8', input, stdio: ['pipe', 'pipe', 'ignore'] });
  const ddl = run('', 'ddl');
  const names = readdirSync(`${catalogue}/contracts`).map((file) => file.replace('.html', ''));
  const tables = new Set(run('', 'list', '--tables', '--format', 'json').match(/ovix\.[\w.]+/g));
  let statements = '';
  for (const name of names) {
    const sql = block(`contracts/${name}.html`, 'sql');
    assert.equal(sql !== undefined, tables.has(name), name);
    if (sql === undefined) continue;
    assert.ok(ddl.includes(`\n${sql}`), `${name}: ${sql}`);
    statements += sql;
  }
  const creating = (text) => text.split('\n').filter((line) => /^CREATE .* ON |^CREATE TABLE "[^_]/.test(line));
  assert.deepEqual(creating(statements).sort(), creating(ddl).sort());
  for (const address of [table, payload]) {
    const name = address.replace('contracts/', '').replace('.html', '');
    const json = run('', 'sample', name, '-n', '1', '--seed', '1');
    const bytes = execFileSync(tool, ['encode', name], { input: json });
    assert.equal(block(address, 'sample'), run(bytes, 'decode', name));
  }
  assert.equal(block(enumeration, 'sample'), undefined);
  for (const name of names) assert.ok(block(`contracts/${name}.html`, 'schema')?.endsWith('}\n'), name);
});

test('texts: a button copies each, with and without a clipboard', async () => {
  const page = await visit(table, { permissions: ['clipboard-read', 'clipboard-write'] });
  for (const id of ['sql', 'sample', 'schema']) {
    const text = page.locator('.text').filter({ has: page.locator(`#page-${id}`) });
    assert.equal(await text.locator('pre').isVisible(), false, 'closed at first');
    await text.locator('summary').focus();
    await page.keyboard.press('Enter');
    await text.locator('button').click();
    assert.equal(await page.evaluate(() => navigator.clipboard.readText()), block(table, id));
    assert.equal(await text.locator('button').textContent(), 'Copied');
    assert.match(await text.locator('[role=status]').textContent(), /copied$/);
  }
  await leave(page);

  // As on a server without TLS.
  const plain = await visit(table, { permissions: ['clipboard-read', 'clipboard-write'] });
  await plain.evaluate(() => {
    window.reader = navigator.clipboard;
    Object.defineProperty(navigator, 'clipboard', { value: undefined });
  });
  await plain.click('.text summary');
  await plain.click('.text button');
  assert.equal(await plain.textContent('.text button'), 'Copied');
  assert.equal((await plain.evaluate(() => window.reader.readText())).trim(), block(table, 'sql').trim());
  await leave(plain);

  // An address opens its block.
  const linked = await visit(`${table}#page-schema`);
  assert.deepEqual(await linked.locator('.text pre').evaluateAll((all) => all.map(
    (pre) => pre.checkVisibility())), [false, false, true]);
  await leave(linked);

  // On a phone a wide line is scrolled in its block.
  const narrow = await visit(payload, { viewport: phone, javaScriptEnabled: false });
  for (const summary of await narrow.locator('.text summary').all()) await summary.click();
  assert.deepEqual(await narrow.evaluate(() => {
    const schema = document.querySelector('#page-schema');
    return [document.documentElement.scrollWidth <= innerWidth,
      schema.scrollWidth > schema.clientWidth, document.querySelectorAll('.copy').length];
  }), [true, true, 0]);
  await leave(narrow);
});

test('navigation: every contract, the current one marked and in sight, by keyboard', async () => {
  const page = await visit(part);
  const side = page.locator('.side');
  assert.ok(await side.isVisible());
  assert.equal(await page.isVisible('.menu'), false);
  const written = readFileSync(`${catalogue}/files.txt`, 'utf8').split('\n')
    .filter((file) => file.startsWith('contracts/'));
  const links = await side.locator('a').evaluateAll((all) => all.map((link) => link.href));
  for (const file of written) {
    assert.equal(links.filter((href) => href === site + file).length, 1, file);
  }
  const current = side.locator('[aria-current=page]');
  assert.equal(await current.count(), 1);
  assert.equal(await current.evaluate((link) => link.href), site + part);
  const [box, list] = [await current.boundingBox(), await side.boundingBox()];
  assert.ok(box.y > list.y && box.y + box.height < list.y + list.height, JSON.stringify([box, list]));
  assert.equal(await page.evaluate(() => scrollY), 0);
  // Only its own group is open; another opens by keyboard and leads to its pages.
  assert.deepEqual(await side.locator('details[open] > summary > span').allTextContents(),
    ['Other messages', 'upload/device_profile']);
  await side.locator('summary', { hasText: 'Payloads' }).focus();
  await page.keyboard.press('Enter');
  await side.locator('summary', { hasText: /^analytics/ }).press('Enter');
  await side.locator('a', { hasText: 'PcAppInventorySummaryAsCDM' }).press('Enter');
  await page.waitForURL(site + payload);
  assert.deepEqual(await side.locator('details[open] > summary > span').allTextContents(),
    ['Payloads', 'analytics']);
  await page.goto(site + start);
  assert.equal(await current.count(), 0);
  await leave(page);
});

test('a phone: a header of one line, the menu and the search in it', async () => {
  for (const [width, title, colorScheme] of [[390, 'Telemetry data contracts', 'dark'],
    [360, 'Data contracts', 'light'], [320, 'Data contracts', 'light']]) {
    const page = await visit(part, { viewport: { width, height: 700 }, colorScheme });
    const header = await page.evaluate(() => {
      const home = document.querySelector('.home');
      const inner = [...document.querySelector('.bar-inner').children].map((element) => {
        const { top, bottom, left, right } = element.getBoundingClientRect();
        return { middle: Math.round((top + bottom) / 2), left, right };
      });
      return {
        height: document.querySelector('.bar').offsetHeight,
        lines: home.getClientRects().length * Math.round(home.offsetHeight / 20),
        isWhole: home.scrollWidth <= home.clientWidth,
        title: home.innerText,
        middles: new Set(inner.map(({ middle }) => middle)).size,
        overlaps: inner.filter(({ left }, place) => place > 0 && left < inner[place - 1].right).length,
        overflow: document.documentElement.scrollWidth - innerWidth,
      };
    });
    assert.deepEqual({ ...header, height: header.height < 60 },
      { height: true, lines: 1, isWhole: true, title, middles: 1, overlaps: 0, overflow: 0 }, String(width));

    assert.equal(await page.isVisible('.side'), false);
    await page.click('.menu');
    assert.ok(await page.isVisible('.side'));
    const current = page.locator('.side [aria-current=page]');
    const box = await current.boundingBox();
    assert.ok(box.y > 0 && box.y < 700, `the current page is at ${box.y}`);
    await page.keyboard.press('Escape');
    assert.equal(await page.isVisible('.side'), false);
    assert.equal(await page.evaluate(() => document.activeElement.className), 'menu');
    await page.keyboard.press('Enter');
    await page.mouse.click(width - 5, 500);
    assert.equal(await page.isVisible('.side'), false, 'a tap next to it closes it');
    await page.click('.menu');
    await page.setViewportSize({ width: 1280, height: 700 });
    await page.waitForFunction(() => !document.querySelector('.side').matches(':popover-open'));
    assert.ok(await page.isVisible('.side'), 'a column of a wide page');
    await page.setViewportSize({ width, height: 700 });

    const input = page.locator('#page-search');
    assert.ok((await input.boundingBox()).width < 45);
    await input.click();
    assert.ok((await input.boundingBox()).width > width * .7);
    await page.keyboard.type('battery');
    await options(page).first().waitFor();
    const panel = await page.locator('.panel').boundingBox();
    assert.ok(panel.x >= 0 && panel.x + panel.width <= width && panel.width > width * .9);
    await page.click('.leave');
    assert.equal(await page.isVisible('.panel'), false);
    assert.equal(await input.inputValue(), '');
    assert.ok((await input.boundingBox()).width < 45);

    // A link to the page itself closes the list too.
    await page.goto(site + start);
    await page.click('.menu');
    await page.locator('.side a', { hasText: 'Overview' }).nth(1).click();
    assert.ok(page.url().endsWith('#page-payloads'));
    assert.equal(await page.isVisible('.side'), false);
    await leave(page);
  }
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

test('without scripts: everything but the search and the buttons', async () => {
  const page = await visit(payload, { javaScriptEnabled: false });
  assert.equal(await page.isVisible('.search'), false);
  assert.equal(await page.isVisible('.theme'), false);
  assert.ok(await page.isVisible('#version'));
  // The sections lead to the start page, the group of the page is there.
  assert.equal(await page.locator('.side [aria-current=page]').isVisible(), true);
  await page.locator('.side a', { hasText: 'Databases' }).click();
  await page.waitForURL(/index\.html#page-databases$/);
  await leave(page);
  const narrow = await visit(payload, { javaScriptEnabled: false, viewport: phone });
  await narrow.click('.menu');
  assert.ok(await narrow.locator('.side [aria-current=page]').isVisible());
  await leave(narrow);
});

test('print: the contents alone, dark on white', async () => {
  const page = await visit(table, { colorScheme: 'dark' });
  await page.emulateMedia({ media: 'print', colorScheme: 'dark' });
  assert.equal(await background(page), 'rgb(255, 255, 255)');
  for (const [selector, shown] of [['.bar', false], ['.side', false], ['.text', false], ['.crumbs', false], ['h1', true],
    ['.facts', true], ['#serial_number', true], ['thead', true]]) {
    assert.equal(await page.isVisible(selector), shown, selector);
  }
  assert.ok((await page.pdf({ format: 'A4' })).length > 10_000);
  await leave(page);
});

test('accessibility: no violation that axe knows', async () => {
  const open = async (page) => {
    for (const summary of await page.locator('.text summary').all()) await summary.click();
  };
  const menu = (page) => page.click('.menu');
  const states = [];
  for (const colorScheme of ['light', 'dark']) {
    states.push([start, { colorScheme }], [payload, { colorScheme }], [table, { colorScheme }, '', open],
      [table, { colorScheme }, 'battery'], [table, { colorScheme, viewport: phone }, '', menu]);
  }
  // Of the list the colours of the dark theme, and one class of it on a phone, for it is long.
  states.push([table, { viewport: phone }], [list, { colorScheme: 'dark' }],
    [`${list}#class-location`, { viewport: phone }], [table, {}, 'privacy:'],
    [table, { viewport: phone }, 'battry'], [table, {}, 'bttry'], [enumeration, {}]);
  for (const [address, options, query, act] of states) {
    const page = await visit(address, options);
    if (query) await searchFor(page, query);
    if (act) await act(page);
    await page.addScriptTag({ path: axe });
    const { violations, passes } = await page.evaluate(
      () => window.axe.run({ preload: false, resultTypes: ['violations'] }));
    assert.ok(passes.length > 20, `axe looked at ${passes.length} rules only`);
    assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.length, nodes[0].html]), [],
      `${address} ${JSON.stringify(options)} ${query ?? ''} ${act?.name ?? ''}`);
    await leave(page);
  }
});
