// SPDX-License-Identifier: MIT
// How a series of steps is drawn: each value holds from the start of its step to the start of the
// next, and a step without a value is left open.

// lowOf  null, or gives the values that the filled area reaches down to (null: down to the axis)
// joins  draw over steps without a value: for what comes now and then
function stepPaths({lowOf = null, fills = false, joins = false} = {}) {
    return (u, seriesIndex, first, last) => {
        const x = u.data[0];
        const y = u.data[seriesIndex];
        const scale = u.series[seriesIndex].scale;
        const low = lowOf ? lowOf(seriesIndex) : null;
        const stroke = new Path2D();
        const fill = fills ? new Path2D() : null;
        const across = (i) => u.valToPos(x[i], "x", true);
        const up = (value) => u.valToPos(value, scale, true);
        const floor = up(u.scales[scale].min);
        let open = false;
        for (let i = Math.max(first - 1, 0); i <= Math.min(last + 1, x.length - 2); ++i) {
            if (!isKnown(y[i])) {
                open = open && joins;
                continue;
            }
            const [left, right, top] = [across(i), across(i + 1), up(y[i])];
            if (open)
                stroke.lineTo(left, top);
            else
                stroke.moveTo(left, top);
            stroke.lineTo(right, top);
            open = true;
            if (!fill) continue;
            const bottom = low && isKnown(low[i]) ? up(low[i]) : floor;
            fill.rect(left, top, right - left, bottom - top);
        }
        return {stroke, fill, clip: null, band: null, gaps: null, flags: 3};
    };
}
