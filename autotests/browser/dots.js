// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

'use strict';

// Counts the dots in decoded RGBA pixels: 8-connected blobs of dark grey. Dots are grey, from
// #707070 (lightest strength) to black; captions are blue, off-sheet marks red, the sheet's edge
// and the page's picture frame lighter grey, so none of them counts.
const darkest = 128; // #808080 and lighter are not a dot
const greyness = 24; // channels this close together are grey
const smallest = 4; // pixels; less is a speck of antialiasing

function isDot(rgba, i) {
    const r = rgba[i], g = rgba[i + 1], b = rgba[i + 2];
    const max = Math.max(r, g, b), min = Math.min(r, g, b);
    return rgba[i + 3] > 200 && max <= darkest && max - min <= greyness;
}

function countDots({ width, height, rgba }) {
    const seen = new Uint8Array(width * height);
    const stack = new Int32Array(width * height);
    let dots = 0;
    for (let start = 0; start < width * height; ++start) {
        if (seen[start] || !isDot(rgba, start * 4))
            continue;
        let size = 0;
        let top = 0;
        stack[top++] = start;
        seen[start] = 1;
        while (top > 0) {
            const p = stack[--top];
            ++size;
            const x = p % width, y = (p - x) / width;
            for (let dy = -1; dy <= 1; ++dy) {
                for (let dx = -1; dx <= 1; ++dx) {
                    const nx = x + dx, ny = y + dy;
                    if (nx < 0 || ny < 0 || nx >= width || ny >= height)
                        continue;
                    const q = ny * width + nx;
                    if (!seen[q] && isDot(rgba, q * 4)) {
                        seen[q] = 1;
                        stack[top++] = q;
                    }
                }
            }
        }
        if (size >= smallest)
            ++dots;
    }
    return dots;
}

module.exports = { countDots };
