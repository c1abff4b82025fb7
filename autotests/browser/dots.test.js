#!/usr/bin/env node
// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT
// The dot counter on pictures made up here, so that the browser test cannot pass by counting
// nothing: node dots.test.js exits 1 when a count is wrong.
'use strict';

const { countDots } = require('./dots');

function picture(width, height, paint) {
    const rgba = Buffer.alloc(width * height * 4, 255);
    for (let y = 0; y < height; ++y) {
        for (let x = 0; x < width; ++x) {
            const colour = paint(x, y);
            if (colour)
                rgba.set([...colour, 255], (y * width + x) * 4);
        }
    }
    return { width, height, rgba };
}

function disc(cx, cy, r, colour) {
    return (x, y) => ((x - cx) ** 2 + (y - cy) ** 2 <= r * r ? colour : null);
}

function layers(...paints) {
    return (x, y) => paints.reduce((c, paint) => paint(x, y) || c, null);
}

const cases = [
    ['blank', picture(40, 40, () => null), 0],
    ['one black dot', picture(40, 40, disc(20, 20, 4, [0, 0, 0])), 1],
    ['lightest dot', picture(40, 40, disc(20, 20, 4, [0x70, 0x70, 0x70])), 1],
    ['grid of 6 x 4', picture(120, 80, (x, y) => {
        const cx = 10 + 20 * Math.round((x - 10) / 20), cy = 10 + 20 * Math.round((y - 10) / 20);
        return (x - cx) ** 2 + (y - cy) ** 2 <= 16 ? [0x38, 0x38, 0x38] : null;
    }), 24],
    ['two touching dots are one', picture(40, 20, layers(disc(10, 10, 5, [0, 0, 0]),
                                                        disc(18, 10, 5, [0, 0, 0]))), 1],
    ['blue caption, red hatch, light edge ignored', picture(60, 20, (x, y) =>
        x < 20 ? [0x1d, 0x3f, 0x7a] : x < 40 ? [0xd0, 0, 0] : [0xb0, 0xb0, 0xb0]), 0],
    ['dot on the red hatch', picture(40, 40, layers((x) => (x % 3 === 0 ? [0xd0, 0, 0] : null),
                                                    disc(20, 20, 4, [0, 0, 0]))), 1],
    ['a speck is no dot', picture(10, 10, (x, y) => (x === 5 && y === 5 ? [0, 0, 0] : null)), 0],
];

let failed = 0;
for (const [name, image, want] of cases) {
    const got = countDots(image);
    console.log(`${got === want ? 'ok' : 'FAIL'}: ${name}: ${got} dots${got === want ? '' : `, not ${want}`}`);
    failed += got === want ? 0 : 1;
}
process.exit(failed ? 1 : 0);
