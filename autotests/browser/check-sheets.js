#!/usr/bin/env node
// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT
// Looks at an output folder's index.html and sheet pictures in a headless browser.
//
//   node check-sheets.js --chromium PATH --index DIR/index.html --refresh yes|no
//                        [--sheet DIR/NAME.svg] [--expected DIR/expected.json]
//                        [--screenshot FILE.png]
//
// - axe-core finds no violation on index.html, which lists the jobs newest first;
// - index.html asks for a reload every 2 seconds exactly when --refresh yes, and the browser
//   does reload it then (and does not when no);
// - every picture, in index.html and (--sheet) opened alone, shows as many dark dots as the sheet
//   has raised dots: expected.json's count when given, else the picture's <circle> elements.
// With --screenshot, the top of index.html as a reader first sees it is saved as a PNG (the
// picture in docs/simulator.md). Prints one line per check; exits 1 on the first failure.
'use strict';

const fs = require('fs');
const path = require('path');
const { pathToFileURL } = require('url');
const puppeteer = require('puppeteer-core');
const axe = require('axe-core');
const { countDots } = require('./dots');

function options(argv) {
    const result = {};
    for (let i = 0; i < argv.length; i += 2) {
        if (!argv[i].startsWith('--') || argv[i + 1] === undefined)
            throw new Error(`unexpected argument ${argv[i]}`);
        result[argv[i].slice(2)] = argv[i + 1];
    }
    for (const required of ['chromium', 'index', 'refresh']) {
        if (!result[required])
            throw new Error(`--${required} is required`);
    }
    return result;
}

function fail(message) {
    const error = new Error(message);
    error.checkFailed = true;
    throw error;
}

function ok(message) {
    console.log(`ok: ${message}`);
}

// The pixels of a PNG as RGBA, decoded by the browser itself: drawn onto a canvas and read back.
async function decodePng(browser, png) {
    const page = await browser.newPage();
    try {
        const data = await page.evaluate(async (base64) => {
            const image = new Image();
            image.src = `data:image/png;base64,${base64}`;
            await image.decode();
            const canvas = document.createElement('canvas');
            canvas.width = image.naturalWidth;
            canvas.height = image.naturalHeight;
            const context = canvas.getContext('2d');
            context.drawImage(image, 0, 0);
            const pixels = context.getImageData(0, 0, canvas.width, canvas.height).data;
            let binary = '';
            for (let i = 0; i < pixels.length; i += 0x8000)
                binary += String.fromCharCode.apply(null, pixels.subarray(i, i + 0x8000));
            return { width: canvas.width, height: canvas.height, rgba: btoa(binary) };
        }, Buffer.from(png).toString('base64'));
        return { width: data.width, height: data.height, rgba: Buffer.from(data.rgba, 'base64') };
    } finally {
        await page.close();
    }
}

async function runAxe(page, disabledRules) {
    await page.addScriptTag({ content: axe.source });
    const rules = {};
    for (const rule of disabledRules)
        rules[rule] = { enabled: false };
    const results = await page.evaluate((rules) => window.axe.run(document, { rules }), rules);
    if (results.violations.length > 0) {
        const lines = results.violations.map((v) =>
            `${v.id} (${v.impact}): ${v.help}; ${v.nodes.map((n) => n.target.join(' ')).join(', ')}`);
        fail(`axe-core found ${results.violations.length} violation(s):\n  ${lines.join('\n  ')}`);
    }
    return results;
}

// Whether the page loads again, by itself, within ms.
async function reloadsWithin(page, ms) {
    return new Promise((resolve) => {
        const timer = setTimeout(() => {
            page.off('load', onLoad);
            resolve(false);
        }, ms);
        function onLoad() {
            clearTimeout(timer);
            page.off('load', onLoad);
            resolve(true);
        }
        page.on('load', onLoad);
    });
}

async function checkIndex(browser, opts, expected) {
    const indexUrl = pathToFileURL(path.resolve(opts.index)).href;
    const wantRefresh = opts.refresh === 'yes';

    // The reload, as the browser sees it.
    let page = await browser.newPage();
    await page.goto(indexUrl, { waitUntil: 'load' });
    const refresh = await page.$$eval('meta[http-equiv="refresh" i]', (metas) =>
        metas.map((m) => m.getAttribute('content')));
    if (wantRefresh && (refresh.length !== 1 || refresh[0] !== '2'))
        fail(`index.html should ask for a reload every 2 seconds, has ${JSON.stringify(refresh)}`);
    if (!wantRefresh && refresh.length !== 0)
        fail(`index.html should not reload with no job running, has ${JSON.stringify(refresh)}`);
    const jobs = await page.$$eval('h2', (headings) =>
        headings.map((h) => parseInt(h.textContent.replace(/^Job /, ''), 10)));
    if (jobs.length === 0 || jobs.some((id, i) => i > 0 && id >= jobs[i - 1]))
        fail(`index.html should list the jobs newest first, lists ${JSON.stringify(jobs)}`);
    ok(`jobs newest first: ${jobs.join(', ')}`);
    const reloaded = await reloadsWithin(page, 4000);
    if (reloaded !== wantRefresh)
        fail(wantRefresh ? 'the browser did not reload index.html within 4 s'
                         : 'the browser reloaded index.html with no job running');
    ok(wantRefresh ? 'reloads every 2 seconds while a job runs' : 'holds still with no job running');
    await page.close();

    // Accessibility. A page that reloads would be reloaded under axe's feet: while a job runs the
    // page is served with its refresh taken out, and axe's meta-refresh rule is left out, since
    // that rule fails any reload sooner than 20 hours and reloading is the point of the page
    // while the device works. With no job running the page is checked as it is, every rule on.
    page = await browser.newPage();
    if (wantRefresh) {
        const html = fs.readFileSync(opts.index, 'utf8')
                         .replace(/<meta http-equiv="refresh"[^>]*>\n?/i, '');
        await page.setRequestInterception(true);
        page.on('request', (request) => {
            if (request.url() === indexUrl)
                request.respond({ status: 200, contentType: 'text/html; charset=utf-8', body: html });
            else
                request.continue();
        });
    }
    await page.goto(indexUrl, { waitUntil: 'load' });
    const results = await runAxe(page, wantRefresh ? ['meta-refresh'] : []);
    ok(`axe-core ${results.testEngine.version}: no violation, ${results.passes.length} rules passed`
       + (wantRefresh ? ' (meta-refresh left out while a job runs)' : ''));

    // The pictures as the page shows them.
    await page.setViewport({ width: 1400, height: 1000, deviceScaleFactor: 3 });
    const images = await page.$$('img');
    if (images.length !== Object.keys(expected || {}).length && expected)
        fail(`index.html shows ${images.length} pictures, the folder has ${Object.keys(expected).length}`);
    for (const image of images) {
        await image.evaluate((img) => img.scrollIntoView());
        await page.waitForFunction((img) => img.complete && img.naturalWidth > 0, { timeout: 20000 },
                                   image);
        const src = await image.evaluate((img) => img.getAttribute('src'));
        const want = expected ? expected[src] : await circlesIn(path.join(path.dirname(opts.index), src));
        const got = countDots(await decodePng(browser, await image.screenshot({ type: 'png' })));
        if (got !== want)
            fail(`${src} in index.html shows ${got} dots, the sheet has ${want}`);
        ok(`${src} in index.html shows its ${want} dots`);
    }
    await page.close();
}

async function circlesIn(file) {
    return (fs.readFileSync(file, 'utf8').match(/<circle /g) || []).length;
}

async function checkSheet(browser, opts, expected) {
    const page = await browser.newPage();
    await page.setViewport({ width: 800, height: 600, deviceScaleFactor: 2 });
    await page.goto(pathToFileURL(path.resolve(opts.sheet)).href, { waitUntil: 'load' });
    const name = path.basename(opts.sheet);
    // At true size: CSS millimetres, 96 pixels to the inch.
    const size = await page.evaluate(() => {
        const svg = document.documentElement;
        return { width: svg.getAttribute('width'), px: svg.getBoundingClientRect().width,
                 circles: document.querySelectorAll('circle').length };
    });
    const mm = parseFloat(size.width);
    if (!size.width.endsWith('mm') || Math.abs(size.px - mm * 96 / 25.4) > 1)
        fail(`${name} is ${size.px} px wide, not ${size.width} at true size`);
    const png = await page.screenshot({ type: 'png', fullPage: true });
    const got = countDots(await decodePng(browser, png));
    const want = expected ? expected[name] : size.circles;
    if (got !== want || size.circles !== want)
        fail(`${name} shows ${got} dots and has ${size.circles} circles; the sheet has ${want}`);
    ok(`${name} alone shows its ${want} dots at true size`);
    await page.close();
}

async function screenshot(browser, opts) {
    const page = await browser.newPage();
    await page.setViewport({ width: 900, height: 1000, deviceScaleFactor: 1 });
    await page.goto(pathToFileURL(path.resolve(opts.index)).href, { waitUntil: 'load' });
    await page.evaluate(async () => {
        for (const img of document.images) {
            img.loading = 'eager';
            await img.decode().catch(() => {});
        }
    });
    await page.screenshot({ path: opts.screenshot, type: 'png' });
    ok(`screenshot of index.html in ${opts.screenshot}`);
    await page.close();
}

async function main() {
    const opts = options(process.argv.slice(2));
    const expected = opts.expected ? JSON.parse(fs.readFileSync(opts.expected, 'utf8')) : null;
    const browser = await puppeteer.launch({
        executablePath: opts.chromium,
        headless: true,
        // Root in a container has no sandbox to offer; pictures load from file:// beside the page.
        args: ['--no-sandbox', '--allow-file-access-from-files', '--disable-gpu'],
    });
    try {
        await checkIndex(browser, opts, expected);
        if (opts.sheet)
            await checkSheet(browser, opts, expected);
        if (opts.screenshot)
            await screenshot(browser, opts);
    } finally {
        await browser.close();
    }
}

main().catch((error) => {
    console.error(error.checkFailed ? `FAIL: ${error.message}` : error.stack || String(error));
    process.exit(1);
});
